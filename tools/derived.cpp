// Ratios are those of sums over the trials: a trial without a transmission then takes nothing away
// from the other one.
#include "tools/derived.h"

#include <set>
#include <string>

#include "driver/constants.h"
#include "tools/result_tree.h"

static double Sum(const std::vector<double> &inputs)
{
    double sum = 0.0;
    for (double value : inputs) {
        sum += value;
    }
    return sum;
}

// The last input is the divisor of the sum of all others.
static double Ratio(const std::vector<double> &inputs)
{
    return (Sum(inputs) - inputs.back()) / inputs.back();
}

// The first input less the second.
static double Difference(const std::vector<double> &inputs)
{
    return inputs[0] - inputs[1];
}

double Fairness(const std::vector<double> &throughputs)
{
    double squares = 0.0;
    for (double value : throughputs) {
        squares += value * value;
    }
    const double sum = Sum(throughputs);
    return sum * sum / (static_cast<double>(throughputs.size()) * squares);
}

// Little's law: the mean time in the queue is its mean length over the rate of packets that enter.
// A packet leaves with its ACK; it has been delivered SIFS and an ACK earlier.
static double DelayOfQueue(const std::vector<double> &inputs, double window_ticks)
{
    const double length = inputs[0];
    const double accepted = inputs[1] - inputs[2]; // arrivals less those that were refused
    return length * window_ticks / accepted - SIFS - ACK_TICKS;
}

static QUANTITY OfStation(int load_kbps, const std::string &station, const char *metric,
                          const char *unit)
{
    return {"node_stat.txt", load_kbps, "station", station, metric, unit};
}

std::string FlowFile(const TREE_FORM &form)
{
    return HasPairs(form.experiment) ? "throughput.txt" : FLOW_FILE;
}

std::vector<std::string> FlowNames(const TREE_FORM &form)
{
    std::vector<std::string> names;
    for (const FLOW &flow : DistinctFlows(form.experiment)) {
        names.push_back(HasPairs(form.experiment) ? std::to_string(flow.from / 2)
                                                  : LinkName(flow.from, flow.to));
    }
    return names;
}

static std::vector<QUANTITY> FlowThroughputs(const TREE_FORM &form, int load_kbps)
{
    std::vector<QUANTITY> inputs;
    for (const std::string &name : FlowNames(form)) {
        inputs.push_back({FlowFile(form), load_kbps, "flow", name, "throughput", "Mbit/s"});
    }
    return inputs;
}

// Collisions of class `row` at the receiver, of all pairings of frame types.
static DERIVED Collisions(int load_kbps, const std::string &link, const std::string &row)
{
    std::vector<QUANTITY> inputs;
    for (const char *pairing : {"_DD", "_DA", "_AD", "_AA"}) {
        inputs.push_back(
            {"collision.txt", load_kbps, "link", link, row + pairing + "_frames", "frames"});
    }
    inputs.push_back({"collision.txt", load_kbps, "link", link, "send", "frames"});
    return {{"collision.txt", load_kbps, "link", link, row + "_at_receiver", "1"}, inputs, Ratio};
}

static DERIVED EmptyShare(int load_kbps, const std::string &station)
{
    return {
        OfStation(load_kbps, station, "empty_share", "1"),
        {OfStation(load_kbps, station, "Ztime", "1"), OfStation(load_kbps, station, "qZtime", "1")},
        Difference};
}

// Of every station where a flow begins.
static void AddSenders(std::vector<DERIVED> &all, const SETTINGS &experiment, int load_kbps)
{
    std::set<int> senders;
    for (const FLOW &flow : DistinctFlows(experiment)) {
        senders.insert(flow.from);
    }
    for (const int sender : senders) {
        all.push_back(EmptyShare(load_kbps, std::to_string(sender)));
    }
}

static void AddFlow(std::vector<DERIVED> &all, const SETTINGS &experiment, int load_kbps, int flow)
{
    const std::string sender = std::to_string(2 * flow);
    const std::string link = LinkName(2 * flow, 2 * flow + 1);
    const auto of_sender = [&](const char *metric, const char *unit) {
        return OfStation(load_kbps, sender, metric, unit);
    };
    all.push_back(
        {{"node_stat.txt", load_kbps, "flow", std::to_string(flow), "delay_of_queue", "us"},
         {of_sender("buf", "packets"), of_sender("gene", "packets"), of_sender("over", "packets")},
         [window_ticks = experiment.window_ticks](const std::vector<double> &inputs) {
             return DelayOfQueue(inputs, window_ticks);
         }});
    all.push_back({of_sender("retries_per_transmission", "1"),
                   {of_sender("retx", "frames"), of_sender("tx", "frames")},
                   Ratio});
    all.push_back(EmptyShare(load_kbps, sender));
    for (const char *row : {"col", "hid", "phy", "pro"}) {
        all.push_back(Collisions(load_kbps, link, row));
    }
}

std::vector<DERIVED> DerivedQuantities(const TREE_FORM &form)
{
    const SETTINGS &experiment = form.experiment;
    const std::vector<int> loads(experiment.load_list, experiment.load_list + experiment.load_num);
    constexpr size_t PER_LOAD = 2 + FLOW_NUM * 7; // at most
    std::vector<DERIVED> all;
    all.reserve(loads.size() * PER_LOAD);
    for (const int load : loads) {
        all.push_back({{FlowFile(form), load, "network", "", "total_throughput", "Mbit/s"},
                       FlowThroughputs(form, load),
                       Sum});
    }
    for (const int load : loads) {
        all.push_back({{FlowFile(form), load, "network", "", "fairness_index", "1"},
                       FlowThroughputs(form, load),
                       Fairness});
        if (!HasPairs(experiment)) {
            AddSenders(all, experiment, load);
            continue;
        }
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            AddFlow(all, experiment, load, flow);
        }
    }
    return all;
}
