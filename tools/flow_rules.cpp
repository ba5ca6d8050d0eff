// Rules of what the files show of flows, and of the rows of result.txt.
#include <cmath>
#include <cstddef>
#include <string>

#include "driver/constants.h"
#include "tools/value_rules.h"

// Mean over the trials of a column of node_stat.txt.
static double Mean(const AUDIT &audit, const SERIES &series, size_t load)
{
    return MeanOf(audit, load, [&](size_t p) { return audit.At(series[p]); });
}

// Offered load and throughput are the same wherever they stand.
static void CheckRates(AUDIT &audit, const std::string &file)
{
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        const std::string name = std::to_string(flow);
        const SERIES &offered = FindSeries(audit.Form(), file, "flow", name, "offered_load");
        const SERIES &throughput = FindSeries(audit.Form(), file, "flow", name, "throughput");
        for (size_t load = 0; load < LoadNum(audit); ++load) {
            const double arrived = Mean(audit, StationSeries(audit, 2 * flow, "gene"), load);
            const double delivered = Mean(audit, StationSeries(audit, 2 * flow + 1, "rx"), load);
            if (!offered.empty()) {
                audit.Equal(offered[load], RateOf(audit, arrived), EXACT_5,
                            "gene in node_stat.txt tells so");
            }
            if (!throughput.empty()) {
                audit.Equal(throughput[load], RateOf(audit, delivered), EXACT_5,
                            "rx in node_stat.txt tells so");
            }
        }
    }
}

// Delays, which nothing else tells: none without packets, and none that a run has no time for.
static void CheckDelays(AUDIT &audit)
{
    const double shortest = DIFS + DataTicks(PacketBytes(audit.Experiment()));
    constexpr double SHOWN = 1e-4; // of a sum of ten numbers
    const double longest = Window(audit) * RunShare(audit) * ShareRun(audit);
    for (int flow = 0; flow < FLOW_NUM - 1; ++flow) {
        const SERIES &delay =
            FindSeries(audit.Form(), "delay.txt", "flow", std::to_string(flow), "delay");
        const SERIES &received = StationSeries(audit, 2 * flow + 1, "rx");
        for (size_t load = 0; load < LoadNum(audit); ++load) {
            const bool has_packets = IsPositive(audit, received, load);
            if (has_packets) {
                audit.Within(delay[load], shortest, longest,
                             "a run leaves time for no other delay");
            } else {
                audit.Equal(delay[load], NAN, 0.0, "a trial has no packets of this flow");
            }
        }
    }
    const SERIES &sum =
        FindSeries(audit.Form(), "delay.txt", "network", "", "delay_sum_forward_links");
    for (size_t load = 0; load < LoadNum(audit); ++load) {
        double links = 0.0;
        for (int i = 0; i < NODE_NUM - 1; ++i) {
            links += audit.At(FindSeries(audit.Form(), "delay_node_flow1.txt", "link",
                                         LinkName(i, i + 1), "delay")[load]);
        }
        audit.Equal(sum[load], links, SHOWN, "the sum of delay_node_flow1.txt");
    }
}

// Columns that nothing fills.
static void CheckUnused(AUDIT &audit)
{
    const std::vector<TREE_PLACE> &places = TreePlaces(audit.Form());
    for (size_t i = 0; i < places.size(); ++i) {
        const CELL &cell = *places[i].cell;
        if (cell.text == "unused" && !(cell.unit == "us" && std::isnan(audit.At(i)))) {
            audit.Equal(i, 0.0, 0.0, "nothing fills this column");
        }
    }
}

// The last row of a table and the last block of result.txt, and the heads of its blocks.
static void CheckFiller(AUDIT &audit)
{
    const char *const zeros = "a row of zeros";
    for (size_t place : FindSeries(audit.Form(), "throughput.txt", TREE_FILLER, "", "")) {
        audit.Equal(place, 0.0, 0.0, zeros);
    }
    const SERIES &filler = FindSeries(audit.Form(), "result.txt", TREE_FILLER, "", "");
    constexpr size_t ROW = 2 * FLOW_NUM + 8;
    const size_t blocks_end = ROW + 2 * LoadNum(audit);
    for (size_t i = 0; i < filler.size(); ++i) {
        if (i < ROW || i >= blocks_end) {
            audit.Equal(filler[i], 0.0, 0.0, zeros);
            continue;
        }
        const bool is_offered = (i - ROW) % 2 == 0;
        const SERIES &flow = FindSeries(audit.Form(), "result.txt", "flow", "0",
                                        is_offered ? "offered_load" : "throughput");
        audit.Equal(filler[i], audit.At(flow[(i - ROW) / 2]), 0.0, "that of flow 0");
    }
}

void CheckFlows(AUDIT &audit)
{
    for (const FILE_FORM &form : audit.Form().files) {
        CheckRates(audit, form.name);
    }
    CheckDelays(audit);
    CheckUnused(audit);
    CheckFiller(audit);
    const struct {
        const char *metric;
        double most;
    } times[] = {{"days", 1e6}, {"hours", 23}, {"minutes", 59}, {"seconds", 59}};
    for (const auto &time : times) {
        audit.Within(FindSeries(audit.Form(), "result.txt", "run", "", time.metric)[0], 0,
                     time.most, "a part of the time of a run");
    }
}
