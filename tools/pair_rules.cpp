// Rules of trans_con.txt, and of the heads of blocks, which node_stat.txt has as well.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "driver/constants.h"
#include "tools/value_rules.h"

// Where a station stands, if the experiment tells.
static POSITION PlaceOf(const SETTINGS &experiment, size_t station)
{
    constexpr double BETWEEN_PAIRS = 30.0; // metres
    const size_t pair = station / 2;
    const size_t end = station % 2;
    return experiment.layout == LAYOUT_EXPLICIT
               ? experiment.position_list[station]
               : POSITION{BETWEEN_PAIRS * static_cast<double>(pair), static_cast<double>(end)};
}

// Whether two stations hear each other as those of the published layout do: each pair the next
// ones.
static bool HearAsPublished(const SETTINGS &experiment, size_t i, size_t j)
{
    const POSITION a = PlaceOf(experiment, i);
    const POSITION b = PlaceOf(experiment, j);
    const double distance = std::hypot(a.x - b.x, a.y - b.y);
    const bool is_near = j / 2 - i / 2 <= 1;
    return (distance <= experiment.transmission_range_m) == is_near &&
           (distance <= experiment.carrier_sense_range_m) == is_near;
}

bool FollowsPairs(const SETTINGS &experiment)
{
    const auto *const end = experiment.flow_list + experiment.flow_num;
    bool is_published =
        experiment.flow_num == FLOW_NUM && HasPairs(experiment) &&
        experiment.routing == ROUTING_DESIGN &&
        (experiment.layout == LAYOUT_DESIGN || experiment.layout == LAYOUT_EXPLICIT) &&
        DataTicks(PacketBytes(experiment)) <= experiment.rts_threshold &&
        std::all_of(experiment.flow_list, end, [](const FLOW &flow) { return flow.weight == 1; });
    for (size_t i = 0; i < NODE_NUM; ++i) {
        for (size_t j = i + 1; j < NODE_NUM; ++j) {
            is_published = is_published && HearAsPublished(experiment, i, j);
        }
    }
    return is_published;
}

static const SERIES &PairSeries(const AUDIT &audit, int i, int j, const char *metric)
{
    return FindSeries(audit.Form(), "trans_con.txt", "pair",
                      std::to_string(i) + "+" + std::to_string(j), metric);
}

// Frames that station i began, as the row of its pair with j tells.
static double Starts(const AUDIT &audit, int i, int j, size_t p)
{
    double sum = 0.0;
    for (const char *metric : {"starts_while_active", "starts_while_busy", "starts_while_idle"}) {
        sum += audit.At(PairSeries(audit, i, j, metric)[p]);
    }
    return sum;
}

// The number of starts that most rows of a station agree on.
static double AgreedStarts(const AUDIT &audit, int i, size_t p)
{
    std::vector<double> starts;
    for (int j = i + 1; j < NODE_NUM; ++j) {
        starts.push_back(Starts(audit, i, j, p));
    }
    std::sort(starts.begin(), starts.end());
    return starts[starts.size() / 2];
}

static void CheckStarts(AUDIT &audit, int i, size_t p)
{
    const bool is_sender = i % 2 == 0;
    const double agreed = is_sender ? AgreedStarts(audit, i, p) : 0.0;
    for (int j = i + 1; j < NODE_NUM; ++j) {
        const size_t idle = PairSeries(audit, i, j, "starts_while_idle")[p];
        const size_t busy = PairSeries(audit, i, j, "starts_while_busy")[p];
        const size_t active = PairSeries(audit, i, j, "starts_while_active")[p];
        audit.Equal(idle, agreed - audit.At(busy) - audit.At(active), 0.0,
                    is_sender ? "X, Y and Z add up to the same in all rows of a station"
                              : "this station begins no frames");
        if (j % 2 == 1) {
            audit.Equal(active, 0.0, 0.0, "a station that sends no DATA is never active");
        }
    }
}

// The share of time that a station is active; from the first tick on, not in the window alone.
static double ActiveShare(const AUDIT &audit, int station, size_t p, double run)
{
    constexpr double SHOWN = 1e-5;
    const double inside = audit.At(StationSeries(audit, station, "x")[p]);
    // An exchange that the end of the run cuts off is not in x.
    const double cut_off =
        (DataTicks(PacketBytes(audit.Experiment())) + SIFS + ACK_TICKS) / Window(audit);
    return station % 2 == 1 ? 0.0 : inside + (RunShare(audit) - 1) * run + cut_off + SHOWN;
}

static void CheckActive(AUDIT &audit, size_t p, double run)
{
    const char *const shares = "not above the share that each of the stations is active";
    for (int i = 0; i < NODE_NUM - 1; ++i) {
        for (int j = i + 1; j < NODE_NUM; ++j) {
            const double both =
                std::min(ActiveShare(audit, i, p, run), ActiveShare(audit, j, p, run));
            audit.Within(PairSeries(audit, i, j, "active_together_share")[p], 0.0, both, shares);
        }
    }
    const auto group = [&audit, p](const char *name) {
        return FindSeries(audit.Form(), "trans_con.txt", "group", name, "active_together_share")[p];
    };
    double least = RunShare(audit) * run;
    for (const auto &[i, j] : {std::pair{0, 2}, {0, 6}, {2, 6}}) {
        least = std::min(least, audit.At(PairSeries(audit, i, j, "active_together_share")[p]));
    }
    audit.Within(group("0+2+6"), 0.0, least, "not above the shares of its pairs");
    audit.Within(group("0+2+6+8"), 0.0, audit.At(group("0+2+6")), "not above that without 8");
}

// The lines above the rows of a block.
static void CheckHeads(AUDIT &audit, const char *file, size_t p)
{
    const double packet_bits = PacketBits(audit);
    constexpr double TICKS_PER_S = 1e6;
    const double load = LoadOf(audit, p);
    const auto place = [&](const char *metric, const char *unit) {
        return FindSeries(audit.Form(), file, "network", "", metric, unit)[p];
    };
    const double gap = load == 0 ? INT32_MIN : static_cast<int32_t>(packet_bits / load);
    audit.Equal(place("packet_length", "B"), PacketBytes(audit.Experiment()), 0.0,
                "the experiment has packets of this size");
    audit.Equal(place("packet_length2", "B"), 0, 0.0, "nothing sets it");
    audit.Equal(place("arrival_gap", "us"), gap, 0.0, "the load of this block tells so");
    audit.Equal(place("arrival_rate", "1/us"), load / packet_bits, EXACT_6,
                "the load of this block tells so");
    audit.Equal(place("arrival_rate", "1/s"), load * TICKS_PER_S / packet_bits, EXACT_6,
                "the load of this block tells so");
}

void CheckPairs(AUDIT &audit)
{
    const double run = ShareRun(audit);
    for (size_t p = 0; p < PointNum(audit); ++p) {
        CheckHeads(audit, "node_stat.txt", p);
        CheckHeads(audit, "trans_con.txt", p);
        for (int i = 0; i < NODE_NUM - 1; ++i) {
            CheckStarts(audit, i, p);
        }
        CheckActive(audit, p, run);
    }
}
