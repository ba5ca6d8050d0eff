// Rules of node_stat.txt. Only even stations send, each to the next one.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include "driver/constants.h"
#include "tools/value_rules.h"

double ShareRun(const AUDIT &audit)
{
    std::vector<double> sums;
    for (int i = 0; i < NODE_NUM; ++i) {
        for (size_t place : StationSeries(audit, i, "X+Y+Z")) {
            sums.push_back(audit.At(place));
        }
    }
    // The median: one wrong number does not move it.
    const auto middle = sums.begin() + std::ssize(sums) / 2;
    std::nth_element(sums.begin(), middle, sums.end());
    return *middle;
}

// Columns that are zero at all stations of a side.
static void CheckZeros(AUDIT &audit, int station)
{
    static const std::initializer_list<const char *> OF_SENDERS = {"tx2", "V",   "rx1", "rxsu",
                                                                   "rx",  "rx2", "dis", "thr"};
    static const std::initializer_list<const char *> OF_RECEIVERS = {
        "gene", "tx",  "tx1", "tx2", "retx", "retx1", "V",      "drop",
        "over", "rx2", "buf", "cw",  "x",    "off",   "qYtime", "qZtime"};
    const bool is_sender = station % 2 == 0;
    for (const char *metric : is_sender ? OF_SENDERS : OF_RECEIVERS) {
        for (size_t place : StationSeries(audit, station, metric)) {
            audit.Equal(place, 0.0, 0.0,
                        is_sender ? "senders have none" : "stations that send no DATA have none");
        }
    }
}

// What counts and the rates that follow from them say of each other.
static void CheckCounts(AUDIT &audit, int station, size_t p)
{
    const auto place = [&audit, station, p](const char *metric) {
        return StationSeries(audit, station, metric)[p];
    };
    const auto value = [&](const char *metric) { return audit.At(place(metric)); };
    audit.Equal(place("off"), RateOf(audit, value("gene")), EXACT_5, "gene of this row tells so");
    audit.Equal(place("thr"), RateOf(audit, value("rx")), EXACT_5, "rx of this row tells so");
    audit.Equal(place("d-rate"), value("drop") / value("gene"), EXACT_5,
                "drop and gene of this row tell so");
    audit.Equal(place("tx"), value("tx1") + value("tx2"), 0.0, "tx1 and tx2 of this row tell so");
    audit.Equal(place("retx"), value("retx1") + value("V"), 0.0, "retx1 and V of this row tell so");
    audit.Equal(place("rx"), value("rx1") + value("rx2"), 0.0, "rx1 and rx2 of this row tell so");
    // What began before the window may end in it.
    audit.Within(place("retx"), 0.0, value("tx") + 1, "not above tx of this row");
    audit.Within(place("drop"), 0.0, (value("retx") + RETRY_LIMIT) / (RETRY_LIMIT + 1),
                 "retx of this row has all attempts at a packet that is dropped");
    audit.Within(place("rxsu"), value("rx"), value("rx") + value("dis"),
                 "rx of this row, and at most its duplicates");
}

static void CheckShares(AUDIT &audit, int station, size_t p, double run)
{
    constexpr double SHOWN = 2e-6; // of the sums of numbers with six decimals
    const auto place = [&audit, station, p](const char *metric) {
        return StationSeries(audit, station, metric)[p];
    };
    const auto value = [&](const char *metric) { return audit.At(place(metric)); };
    audit.Equal(place("X+Y+Z"), run, 0.0, "the shares of time add up to the same everywhere");
    audit.Within(place("Ytime"), 0.0, run, "a share of the time");
    audit.Within(place("Ztime"), 0.0, run, "a share of the time");
    audit.Within(place("qYtime"), 0.0, value("Ytime"), "a part of Ytime of this row");
    audit.Within(place("qZtime"), 0.0, value("Ztime"), "a part of Ztime of this row");
    audit.Equal(place("x"), run - value("Ytime") - value("Ztime"), EXACT_5 + SHOWN,
                "the share of time that Ytime and Ztime of this row leave");
}

static void CheckBackoff(AUDIT &audit, int station, size_t p)
{
    const size_t cw = StationSeries(audit, station, "cw")[p];
    const size_t ptr = StationSeries(audit, station, "Ptr")[p];
    const double slots = audit.At(cw);
    audit.Within(StationSeries(audit, station, "buf")[p], 0.0, audit.Experiment().queue_limit,
                 "the queue holds no more");
    audit.Within(cw, 0.0, CW_MAX, "a mean of backoffs");
    // One is the reciprocal of the other, as far as its decimals tell.
    const double tolerance = slots > 0.0 ? EXACT_5 / (slots * slots) + EXACT_6 : 0.0;
    audit.Equal(ptr, 1.0 / std::max(slots, 0.0), tolerance, "the reciprocal of cw of this row");
}

// Six standard deviations of a number of arrivals: more never comes.
static double Scatter(double arrivals)
{
    return 6 * std::sqrt(arrivals) + 6;
}

// Arrivals and deliveries of the flow from `sender` to the next station.
static void CheckFlow(AUDIT &audit, int sender, size_t p, double run)
{
    const double packets_per_mbps = Window(audit) / PacketBits(audit);
    const double most = Window(audit) * run / FLOW_NUM; // one packet a tick, of all flows together
    const double load = std::min(LoadOf(audit, p) * packets_per_mbps * run, most);
    const size_t gene = StationSeries(audit, sender, "gene")[p];
    const size_t delivered = StationSeries(audit, sender + 1, "rx")[p];
    const double attempts = audit.At(StationSeries(audit, sender, "tx")[p]);
    audit.Within(gene, load > 0 ? std::max(0.0, load - Scatter(load)) : 0.0,
                 load > 0 ? load + Scatter(load) : 0.0, "the load of this block gives so many");
    const double before = (RunShare(audit) - 1) * load;
    audit.Within(delivered, 0.0, audit.At(gene) + (load > 0 ? before + Scatter(before) : 0.0),
                 "not above gene of the sender and what has come before the window");
    // An attempt that began before the window may end in it.
    audit.Within(delivered, 0.0, attempts + 1, "not above tx of the sender");
    // The queue must fill before a packet is refused.
    audit.Within(
        StationSeries(audit, sender, "over")[p], 0.0,
        std::max(0.0, audit.At(gene) + before + Scatter(before) - audit.Experiment().queue_limit),
        "as many as gene allows beyond a full queue");
    const double earlier =
        audit.At(StationSeries(audit, sender, "retx")[p]) * (RunShare(audit) - 1);
    audit.Within(StationSeries(audit, sender + 1, "dis")[p], 0.0,
                 audit.At(StationSeries(audit, sender + 1, "rxsu")[p]) - audit.At(delivered) +
                     earlier + Scatter(earlier),
                 "rxsu less rx, and what comes before the window");
    const double again = audit.At(StationSeries(audit, sender + 1, "dis")[p]);
    const double given_up = audit.At(StationSeries(audit, sender, "drop")[p]);
    audit.Within(StationSeries(audit, sender, "retx")[p], 0.0,
                 attempts - audit.At(delivered) + again + given_up + 1,
                 "not above tx less what the receiver has as rx");
}

void CheckStations(AUDIT &audit)
{
    const double run = ShareRun(audit);
    for (int i = 0; i < NODE_NUM; ++i) {
        CheckZeros(audit, i);
        for (size_t p = 0; p < PointNum(audit); ++p) {
            CheckCounts(audit, i, p);
            CheckShares(audit, i, p, run);
            CheckBackoff(audit, i, p);
            if (i % 2 == 0) {
                CheckFlow(audit, i, p, run);
            }
        }
    }
}
