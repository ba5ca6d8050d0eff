#include "tools/steady.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>

#include "driver/constants.h"
#include "tools/form_parts.h"

static size_t LoadIndex(const SETTINGS &experiment, int load_kbps)
{
    const int32_t *const end = experiment.load_list + experiment.load_num;
    return static_cast<size_t>(std::lower_bound(experiment.load_list, end, load_kbps) -
                               experiment.load_list);
}

// The place of a flow among those of the experiment.
static std::optional<size_t> FlowIndex(const TREE_FORM &form, const std::string &name)
{
    const std::vector<FLOW> flows = DistinctFlows(form.experiment);
    const auto found = std::find_if(flows.begin(), flows.end(), [&name](const FLOW &flow) {
        return LinkName(flow.from, flow.to) == name;
    });
    return found == flows.end() ? std::nullopt
                                : std::optional(static_cast<size_t>(found - flows.begin()));
}

static std::optional<size_t> PairIndex(const TREE_FORM &form, int pair)
{
    return FlowIndex(form, LinkName(2 * pair, 2 * pair + 1));
}

// What a quantity adds to the balance of a flow.
struct ENTRY {
    std::optional<size_t> flow; // none: nothing
    double arrived;             // packets per unit
    double kept;
};

// Of the rows of flows.csv.
static ENTRY FlowEntry(const TREE_FORM &form, const QUANTITY &what)
{
    const double packets_per_mbps =
        form.experiment.window_ticks / (PacketBytes(form.experiment) * BITS_PER_BYTE);
    const auto flow = FlowIndex(form, what.thing);
    if (what.metric == "offered_load") {
        return {flow, packets_per_mbps, packets_per_mbps};
    }
    if (what.metric == "throughput") {
        return {flow, 0.0, -packets_per_mbps};
    }
    return what.metric == "drops" ? ENTRY{flow, 0.0, -1.0} : ENTRY{std::nullopt, 0.0, 0.0};
}

// Of the rows of node_stat.txt, where the flows are pairs.
static ENTRY StationEntry(const TREE_FORM &form, const QUANTITY &what)
{
    const int station = std::atoi(what.thing.c_str());
    const bool is_sender = station % 2 == 0;
    const auto flow = PairIndex(form, station / 2);
    if (is_sender && what.metric == "gene") {
        return {flow, 1.0, 1.0};
    }
    const bool is_gone = is_sender ? what.metric == "drop" : what.metric == "rx1";
    return is_gone ? ENTRY{flow, 0.0, -1.0} : ENTRY{std::nullopt, 0.0, 0.0};
}

BALANCE MakeBalance(const SETTINGS &experiment)
{
    const auto loads = static_cast<size_t>(experiment.load_num);
    const std::vector<double> zeros(DistinctFlows(experiment).size());
    return {std::vector(loads, zeros), std::vector(loads, zeros)};
}

void AddRun(BALANCE &balance, const TREE_FORM &form, const std::vector<double> &values)
{
    for (size_t i = 0; i < values.size(); ++i) {
        const QUANTITY &what = Quantities(form)[i];
        const bool is_told = form.has_flows
                                 ? what.file == FLOW_FILE && what.kind == "flow"
                                 : what.file == "node_stat.txt" && what.kind == "station";
        const ENTRY entry = !is_told         ? ENTRY{std::nullopt, 0.0, 0.0}
                            : form.has_flows ? FlowEntry(form, what)
                                             : StationEntry(form, what);
        if (entry.flow) {
            const size_t load = LoadIndex(form.experiment, what.load_kbps);
            const double total = values[i] * form.experiment.trial_num; // they are means
            balance.arrived[load][*entry.flow] += entry.arrived * total;
            balance.kept[load][*entry.flow] += entry.kept * total;
        }
    }
}

bool IsFlowSteady(const BALANCE &balance, size_t load, size_t flow)
{
    // One-sided, about 0.05 / 180: rarely is any of five flows at 36 loads beyond it by chance.
    constexpr double STANDARD_ERRORS = 3.5;
    // Arrivals are independent: their number varies by its root.
    return balance.kept[load][flow] <= STANDARD_ERRORS * std::sqrt(balance.arrived[load][flow]);
}

// The flow that a quantity belongs to, if it is that of one.
static std::optional<size_t> FlowOf(const TREE_FORM &form, const QUANTITY &what)
{
    if (what.file == FLOW_FILE) {
        return FlowIndex(form, what.thing);
    }
    if (!HasPairs(form.experiment)) {
        return std::nullopt;
    }
    const int first = std::atoi(what.thing.c_str());
    if (what.kind == "flow") {
        return PairIndex(form, first);
    }
    if (what.kind == "station") {
        return PairIndex(form, first / 2);
    }
    if (what.kind == "link") {
        const int second = std::atoi(what.thing.c_str() + what.thing.find('>') + 1);
        return first / 2 == second / 2 ? PairIndex(form, first / 2) : std::nullopt;
    }
    return std::nullopt;
}

bool IsSteady(const BALANCE &balance, const TREE_FORM &form, const QUANTITY &what)
{
    const size_t load = LoadIndex(form.experiment, what.load_kbps);
    const auto of = FlowOf(form, what);
    if (of) {
        return IsFlowSteady(balance, load, *of);
    }
    for (size_t flow = 0; flow < balance.kept[load].size(); ++flow) {
        if (!IsFlowSteady(balance, load, flow)) {
            return false;
        }
    }
    return true;
}
