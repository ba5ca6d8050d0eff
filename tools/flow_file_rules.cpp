// Rules of flows.csv: what it tells of each flow adds up to what node_stat.txt tells of stations.
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "driver/constants.h"
#include "tools/value_rules.h"

static const SERIES &FlowSeries(const AUDIT &audit, const FLOW &flow, const char *metric)
{
    return FindSeries(audit.Form(), FLOW_FILE, "flow", LinkName(flow.from, flow.to), metric);
}

// What arrives at a station is what the flows that begin there are offered.
static void CheckOffered(AUDIT &audit, size_t p)
{
    const std::vector<FLOW> flows = DistinctFlows(audit.Experiment());
    for (const FLOW &flow : flows) {
        double others = 0.0;
        for (const FLOW &other : flows) {
            if (other.from == flow.from && other.to != flow.to) {
                others += audit.At(FlowSeries(audit, other, "offered_load")[p]);
            }
        }
        audit.Equal(FlowSeries(audit, flow, "offered_load")[p],
                    audit.At(StationSeries(audit, flow.from, "off")[p]) - others, EXACT_5,
                    "off in node_stat.txt tells so");
    }
}

// Counts of all flows are not above those of all stations: of packets whose record was overwritten
// a station counts time-outs and drops that belong to no flow.
static void CheckCount(AUDIT &audit, size_t p, const char *metric, const char *column)
{
    double all = 0.0;
    for (int i = 0; i < NODE_NUM; ++i) {
        all += audit.At(StationSeries(audit, i, column)[p]);
    }
    for (const FLOW &flow : DistinctFlows(audit.Experiment())) {
        const size_t place = FlowSeries(audit, flow, metric)[p];
        audit.Within(place, 0.0, all, "node_stat.txt has that many for all stations and flows");
        all -= audit.At(place);
    }
}

void CheckFlowFile(AUDIT &audit)
{
    if (!audit.Form().has_flows) {
        return;
    }
    const bool is_paired = FollowsPairs(audit.Experiment());
    for (size_t p = 0; p < PointNum(audit); ++p) {
        CheckOffered(audit, p);
        CheckCount(audit, p, "retries", "retx");
        CheckCount(audit, p, "drops", "drop");
        CheckCount(audit, p, "refused", "over");
        for (const FLOW &flow : DistinctFlows(audit.Experiment())) {
            const size_t throughput = FlowSeries(audit, flow, "throughput")[p];
            const size_t delay = FlowSeries(audit, flow, "delay")[p];
            if (is_paired) {
                audit.Equal(throughput, audit.At(StationSeries(audit, flow.to, "thr")[p]), EXACT_5,
                            "thr in node_stat.txt tells so");
            }
            if (audit.At(throughput) > 0) {
                audit.Within(delay, DIFS + DataTicks(PacketBytes(audit.Experiment())),
                             static_cast<double>(audit.Experiment().sim_ticks),
                             "a run leaves time for no other delay");
            } else {
                audit.Equal(delay, NAN, 0.0, "nothing was delivered");
            }
        }
    }
}
