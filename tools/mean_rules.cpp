// Rules of the files that show means over the trials by station and by link.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "driver/constants.h"
#include "tools/value_rules.h"

static const SERIES &Means(const AUDIT &audit, const char *file, int station, const char *metric)
{
    return FindSeries(audit.Form(), file, "station", std::to_string(station), metric);
}

static const SERIES &Means(const AUDIT &audit, const char *file, int sender, int receiver,
                           const char *metric)
{
    return FindSeries(audit.Form(), file, "link", LinkName(sender, receiver), metric);
}

// A part of a whole, both with six decimals: the quotient, and how far it may be off.
struct QUOTIENT {
    double value;
    double tolerance;
};

static QUOTIENT Divide(double part, double whole)
{
    const double least = whole - EXACT_6;
    return {part / whole, least > 0.0 ? EXACT_6 * (1 + part / whole) / least : INFINITY};
}

static void CheckQuotient(AUDIT &audit, size_t place, size_t load, int station, const char *part,
                          const char *whole, const char *why)
{
    const auto quotient = [&](size_t p) {
        return Divide(audit.At(StationSeries(audit, station, part)[p]),
                      audit.At(StationSeries(audit, station, whole)[p]));
    };
    const double mean = MeanOf(audit, load, [&](size_t p) { return quotient(p).value; });
    const double tolerance = MeanOf(audit, load, [&](size_t p) { return quotient(p).tolerance; });
    if (std::isfinite(tolerance)) {
        audit.Equal(place, mean, tolerance + EXACT_5, why);
    } else if (!std::isnan(audit.At(place))) {
        audit.Within(place, 0.0, 1.0, why);
    }
}

static void CheckStation(AUDIT &audit, int station, size_t load, double run)
{
    constexpr double SHOWN = 2e-6;
    const auto mean = [&](const char *metric) {
        return MeanOf(audit, load,
                      [&](size_t p) { return audit.At(StationSeries(audit, station, metric)[p]); });
    };
    const double busy = mean("Ytime");
    const double idle = mean("Ztime");
    const char *const why = "node_stat.txt tells so";
    audit.Equal(Means(audit, "y_node.txt", station, "busy_share")[load], busy, EXACT_5 + SHOWN,
                why);
    audit.Equal(Means(audit, "z_node.txt", station, "idle_share")[load], idle, EXACT_5 + SHOWN,
                why);
    audit.Equal(Means(audit, "x_node.txt", station, "send_share")[load], run - busy - idle,
                EXACT_5 + SHOWN, why);
    CheckQuotient(audit, Means(audit, "q_node.txt", station, "backoff_share_of_idle")[load], load,
                  station, "qZtime", "Ztime", "qZtime and Ztime of node_stat.txt tell so");
    CheckQuotient(audit, Means(audit, "q_y_node.txt", station, "queued_share_of_busy")[load], load,
                  station, "qYtime", "Ytime", "qYtime and Ytime of node_stat.txt tell so");
}

// Values of a link that count nothing in a trial without transmissions.
static void CheckProbabilities(AUDIT &audit, int sender, int receiver, size_t load)
{
    const auto mean = [&](const char *all, const char *less) {
        return MeanOf(audit, load, [&](size_t p) {
            const auto value = [&](const char *metric) {
                return audit.At(CountSeries(audit, sender, receiver, metric)[p]);
            };
            const double sent = value("send");
            return sent == 0.0 ? 0.0 : (value(all) - (less != nullptr ? value(less) : 0.0)) / sent;
        });
    };
    const char *const forward_only[] = {"col_node_con.txt", "col_node_hid.txt", "col_node_pro.txt",
                                        "col_node_phy.txt"};
    const struct {
        const char *metric;
        const char *file; // null: result.txt alone
        const char *all;
        const char *less;
    } rows[] = {
        {"collision_probability", sender < receiver ? "col_node_flow1.txt" : "col_node_flow2.txt",
         "col", "dphid"},
        {"collision_probability_con", forward_only[0], "con", nullptr},
        {"collision_probability_hid", forward_only[1], "hid", "dphid"},
        {"collision_probability_pro", forward_only[2], "pro", nullptr},
        {"collision_probability_phy", forward_only[3], "phy", nullptr},
        {"collision_probability_hcon", nullptr, "hcon", nullptr},
        {"collision_probability_ack", "col_node_ack.txt", "hid_DA_frames_kept", nullptr},
    };
    for (const auto &row : rows) {
        const double wanted = mean(row.all, row.less);
        for (const char *file : {row.file, "result.txt"}) {
            const SERIES &series = file == nullptr
                                       ? FindSeries(audit.Form(), "", "", "", "")
                                       : Means(audit, file, sender, receiver, row.metric);
            if (!series.empty()) {
                audit.Equal(series[load], wanted, EXACT_5, "the counts in collision.txt tell so");
            }
        }
    }
}

// Whether a link has transmissions in both trials: one without them counts as 0 in every mean.
static bool IsUsed(const AUDIT &audit, int sender, int receiver, size_t load)
{
    const SERIES &sent = CountSeries(audit, sender, receiver, "send");
    return IsPositive(audit, sent, load);
}

// Time that the DATA exchanges of a sender take: 296 ticks each, one more where no ACK came. The
// window cuts one off; a collision that ends an attempt early takes up to the whole wait away.
static void CheckExchanges(AUDIT &audit, int sender, size_t load)
{
    const double exchange = DataTicks(PacketBytes(audit.Experiment())) + SIFS + ACK_TICKS;
    constexpr double SLACK = 10; // exchanges that go on while a counter misses them
    const auto mean = [&](int station, const char *metric) {
        return MeanOf(audit, load,
                      [&](size_t p) { return audit.At(StationSeries(audit, station, metric)[p]); });
    };
    const double attempts = mean(sender, "tx");
    const double failed = mean(sender, "retx");
    const double cut_short = std::max(0.0, attempts - failed - mean(sender + 1, "rx"));
    const double ticks = attempts * exchange + failed;
    const size_t place = Means(audit, "x_node_flow1.txt", sender, sender + 1, "send_share")[load];
    audit.Within(place, (ticks - (cut_short + SLACK) * exchange) / Window(audit) - EXACT_5,
                 (ticks + SLACK * exchange) / Window(audit) + EXACT_5,
                 "tx and retx in node_stat.txt take that much");

    // With a packet queued a station sends, waits or counts backoff, but for a tick per packet.
    const double run = ShareRun(audit);
    const double queued = run - mean(sender, "Ytime") - mean(sender, "Ztime") +
                          mean(sender, "qYtime") + mean(sender, "qZtime");
    const double between = (mean(sender, "gene") + attempts + exchange) / Window(audit) + EXACT_5;
    audit.Within(Means(audit, "Qnode_flow1.txt", sender, sender + 1, "queue_share")[load],
                 queued - between, queued + between,
                 "node_stat.txt: 1 - Ztime + qZtime - Ytime + qYtime");
}

// Drops are divided by arrivals at station 0, and by what comes back from the receiver, nothing, at
// the others.
static void CheckDrops(AUDIT &audit, int sender, size_t load)
{
    const size_t place = Means(audit, "drop.txt", sender, sender + 1, "drop_ratio")[load];
    const auto mean = [&](const char *metric) {
        return MeanOf(audit, load,
                      [&](size_t p) { return audit.At(StationSeries(audit, sender, metric)[p]); });
    };
    const SERIES &drop = StationSeries(audit, sender, "drop");
    if (sender == 0 && !std::isfinite(mean("d-rate"))) {
        return; // a trial of a quick run without arrivals
    }
    if (sender == 0) {
        audit.Within(place, 0.0, mean("d-rate") + 2 * EXACT_5, "not above d-rate in node_stat.txt");
    } else if (!IsPositive(audit, drop, load)) {
        audit.Equal(place, NAN, 0.0, "a trial has no drops, and what it divides by is 0");
    } else if (!std::isnan(audit.At(place))) {
        audit.Equal(place, INFINITY, 0.0, "what the drops are divided by is 0");
    }
}

// A sender has one next station, so what is shown by link is that of the station.
static void CheckUsedLink(AUDIT &audit, int sender, size_t load)
{
    const int receiver = sender + 1;
    const auto link = [&](const char *file, const char *metric) {
        return Means(audit, file, sender, receiver, metric)[load];
    };
    const auto station = [&](const char *file, const char *metric) {
        return audit.At(Means(audit, file, sender, metric)[load]);
    };
    const double twice = sender == 0 ? 2.0 : 1.0; // station 0 counts double
    audit.Equal(Means(audit, "Qnode.txt", sender, "queue_share")[load],
                twice * audit.At(link("Qnode_flow1.txt", "queue_share")), (1 + twice) * EXACT_5,
                "Qnode_flow1.txt tells so");
    audit.Equal(link("q_y_flow1.txt", "queued_share_of_busy"),
                station("q_y_node.txt", "queued_share_of_busy"), 0.0, "q_y_node.txt has it");
    audit.Equal(link("q_z_flow1.txt", "backoff_share_of_idle"),
                station("q_node.txt", "backoff_share_of_idle"), 0.0, "q_node.txt has it");
    const size_t share = link("q_y_flow1.txt", "link_share_of_queued");
    if (!std::isnan(audit.At(share))) {
        audit.Equal(share, 1.0, 0.0, "a station with one next hop");
    }
    CheckExchanges(audit, sender, load);
    CheckDrops(audit, sender, load);
}

// Links over which no route leads show zeros, and their share of what is queued nothing.
static void CheckUnusedLink(AUDIT &audit, int sender, int receiver, size_t load)
{
    static const struct {
        const char *files[2];
        const char *metric;
    } ROWS[] = {
        {{"Qnode_flow1.txt", "Qnode_flow2.txt"}, "queue_share"},
        {{"x_node_flow1.txt", "x_node_flow2.txt"}, "send_share"},
        {{"q_y_flow1.txt", "q_y_flow2.txt"}, "queued_share_of_busy"},
        {{"q_z_flow1.txt", "q_z_flow2.txt"}, "backoff_share_of_idle"},
        {{"delay_node_flow1.txt", "delay_node_flow2.txt"}, "delay"},
        {{"drop.txt", "drop.txt"}, "drop_ratio"},
    };
    const char *const why = "no DATA goes over this link";
    for (const auto &row : ROWS) {
        const char *file = row.files[sender < receiver ? 0 : 1];
        const SERIES &series = Means(audit, file, sender, receiver, row.metric);
        if (!series.empty()) {
            audit.Equal(series[load], 0.0, 0.0, why);
        }
    }
    const SERIES &part = Means(audit, sender < receiver ? "q_y_flow1.txt" : "q_y_flow2.txt", sender,
                               receiver, "link_share_of_queued");
    const bool is_queued =
        audit.At(Means(audit, "q_y_node.txt", sender, "queued_share_of_busy")[load]) > 0.0;
    audit.Equal(part[load], is_queued || !std::isnan(audit.At(part[load])) ? 0.0 : NAN, 0.0, why);
}

static void CheckLink(AUDIT &audit, int sender, int receiver, size_t load)
{
    CheckProbabilities(audit, sender, receiver, load);
    const SERIES &shown = Means(audit, "result.txt", sender, receiver, "send_share");
    const char *file = sender < receiver ? "x_node_flow1.txt" : "x_node_flow2.txt";
    audit.Equal(shown[load], audit.At(Means(audit, file, sender, receiver, "send_share")[load]),
                0.0, "x_node_flow1.txt or x_node_flow2.txt has it");
    if (sender % 2 != 0 || receiver < sender) {
        CheckUnusedLink(audit, sender, receiver, load);
    } else if (IsUsed(audit, sender, receiver, load)) {
        CheckUsedLink(audit, sender, load);
    }
    const SERIES &both =
        Means(audit, "q_z_node.txt", sender, receiver, "backoff_share_of_idle_both");
    if (!both.empty()) {
        // Station 0 has no backward link; the idle share of the last one stands in its place.
        const size_t backward =
            sender == 0
                ? Means(audit, "z_node.txt", NODE_NUM - 1, "idle_share")[load]
                : Means(audit, "q_z_flow2.txt", sender, sender - 1, "backoff_share_of_idle")[load];
        const size_t forward =
            Means(audit, "q_z_flow1.txt", sender, receiver, "backoff_share_of_idle")[load];
        audit.Equal(both[load], audit.At(forward) + audit.At(backward), 3 * EXACT_5,
                    "q_z_flow1.txt and q_z_flow2.txt, or z_node.txt, tell so");
    }
}

void CheckMeans(AUDIT &audit)
{
    const double run = ShareRun(audit);
    for (size_t load = 0; load < LoadNum(audit); ++load) {
        for (int i = 0; i < NODE_NUM; ++i) {
            CheckStation(audit, i, load, run);
            if (i % 2 == 1) {
                audit.Equal(Means(audit, "Qnode.txt", i, "queue_share")[load], 0.0, 0.0,
                            "receivers have no packets to send");
            }
            for (int j : {i - 1, i + 1}) {
                if (j >= 0 && j < NODE_NUM) {
                    CheckLink(audit, i, j, load);
                }
            }
        }
    }
}
