#include "tools/steady.h"

#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>

// What each quantity adds to the balance of which flow.
struct ENTRY {
    size_t quantity;
    int load;
    int flow;
    double sign;     // of what it adds to the packets kept
    bool is_arrival; // adds to the arrivals too
};

static std::vector<ENTRY> FindEntries()
{
    std::vector<ENTRY> entries;
    for (size_t i = 0; i < Quantities().size(); ++i) {
        const QUANTITY &what = Quantities()[i];
        if (what.file != "node_stat.txt" || what.kind != "station") {
            continue;
        }
        const int station = std::atoi(what.thing.c_str());
        const bool is_sender = station % 2 == 0;
        const int flow = station / 2;
        if (is_sender && what.metric == "gene") {
            entries.push_back({i, what.load, flow, 1.0, true});
        } else if ((is_sender && what.metric == "drop") || (!is_sender && what.metric == "rx1")) {
            entries.push_back({i, what.load, flow, -1.0, false});
        }
    }
    return entries;
}

void AddRun(BALANCE &balance, const std::vector<double> &values)
{
    static const std::vector<ENTRY> entries = FindEntries();
    for (const ENTRY &entry : entries) {
        const auto load = static_cast<size_t>(entry.load);
        const auto flow = static_cast<size_t>(entry.flow);
        const double packets = values[entry.quantity] * TREE_TRIALS; // they are means over trials
        balance.kept[load][flow] += entry.sign * packets;
        balance.arrived[load][flow] += entry.is_arrival ? packets : 0.0;
    }
}

bool IsFlowSteady(const BALANCE &balance, int load, int flow)
{
    // One-sided, about 0.05 / 180: rarely is any of five flows at 36 loads beyond it by chance.
    constexpr double STANDARD_ERRORS = 3.5;
    const auto row = static_cast<size_t>(load);
    const auto column = static_cast<size_t>(flow);
    // Arrivals are independent: their number varies by its root.
    return balance.kept[row][column] <= STANDARD_ERRORS * std::sqrt(balance.arrived[row][column]);
}

// The flow that a quantity belongs to, or EMPTY.
static int FlowOf(const QUANTITY &what)
{
    const int first = std::atoi(what.thing.c_str());
    if (what.kind == "flow") {
        return first;
    }
    if (what.kind == "station") {
        return first / 2;
    }
    if (what.kind == "link") {
        const int second = std::atoi(what.thing.c_str() + what.thing.find('>') + 1);
        return first / 2 == second / 2 ? first / 2 : EMPTY;
    }
    return EMPTY;
}

bool IsSteady(const BALANCE &balance, const QUANTITY &what)
{
    const int of = FlowOf(what);
    if (of != EMPTY) {
        return IsFlowSteady(balance, what.load, of);
    }
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        if (!IsFlowSteady(balance, what.load, flow)) {
            return false;
        }
    }
    return true;
}
