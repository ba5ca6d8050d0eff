// Ratios are those of sums over the trials: a trial without a transmission then takes nothing away
// from the other one.
#include "tools/derived.h"

#include <string>

#include "driver/constants.h"
#include "tools/result_tree.h"

constexpr double WINDOW_TICKS = 30'000'000; // by which the files divide, however long the run is

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

// Jain's index: 1 if all are equal, 1/n if one has everything.
static double Fairness(const std::vector<double> &inputs)
{
    double squares = 0.0;
    for (double value : inputs) {
        squares += value * value;
    }
    const double sum = Sum(inputs);
    return sum * sum / (static_cast<double>(inputs.size()) * squares);
}

// Little's law: the mean time in the queue is its mean length over the rate of packets that enter.
// A packet leaves with its ACK; it has been delivered SIFS and an ACK earlier.
static double DelayOfQueue(const std::vector<double> &inputs)
{
    const double length = inputs[0];
    const double accepted = inputs[1] - inputs[2]; // arrivals less those that were refused
    return length * WINDOW_TICKS / accepted - SIFS - ACK_TICKS;
}

static QUANTITY OfStation(int load, const std::string &station, const char *metric,
                          const char *unit)
{
    return {"node_stat.txt", load, "station", station, metric, unit};
}

static std::vector<QUANTITY> FlowThroughputs(int load)
{
    std::vector<QUANTITY> inputs;
    inputs.reserve(FLOW_NUM);
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        inputs.push_back(
            {"throughput.txt", load, "flow", std::to_string(flow), "throughput", "Mbit/s"});
    }
    return inputs;
}

// Collisions of class `row` at the receiver, of all pairings of frame types.
static DERIVED Collisions(int load, const std::string &link, const std::string &row)
{
    std::vector<QUANTITY> inputs;
    for (const char *pairing : {"_DD", "_DA", "_AD", "_AA"}) {
        inputs.push_back(
            {"collision.txt", load, "link", link, row + pairing + "_frames", "frames"});
    }
    inputs.push_back({"collision.txt", load, "link", link, "send", "frames"});
    return {{"collision.txt", load, "link", link, row + "_at_receiver", "1"}, inputs, Ratio};
}

static void AddFlow(std::vector<DERIVED> &all, int load, int flow)
{
    const std::string sender = std::to_string(2 * flow);
    const std::string link = sender + "->" + std::to_string(2 * flow + 1);
    all.push_back(
        {{"node_stat.txt", load, "flow", std::to_string(flow), "delay_of_queue", "us"},
         {OfStation(load, sender, "buf", "packets"), OfStation(load, sender, "gene", "packets"),
          OfStation(load, sender, "over", "packets")},
         DelayOfQueue});
    all.push_back(
        {OfStation(load, sender, "retries_per_transmission", "1"),
         {OfStation(load, sender, "retx", "frames"), OfStation(load, sender, "tx", "frames")},
         Ratio});
    all.push_back({OfStation(load, sender, "empty_share", "1"),
                   {OfStation(load, sender, "Ztime", "1"), OfStation(load, sender, "qZtime", "1")},
                   Difference});
    for (const char *row : {"col", "hid", "phy", "pro"}) {
        all.push_back(Collisions(load, link, row));
    }
}

std::vector<DERIVED> DerivedQuantities()
{
    constexpr size_t PER_LOAD = 2 + FLOW_NUM * 7; // at most
    std::vector<DERIVED> all;
    all.reserve(TREE_LOADS * PER_LOAD);
    for (int load = 0; load < TREE_LOADS; ++load) {
        all.push_back({{"throughput.txt", load, "network", "", "total_throughput", "Mbit/s"},
                       FlowThroughputs(load),
                       Sum});
    }
    for (int load = 0; load < TREE_LOADS; ++load) {
        all.push_back({{"throughput.txt", load, "network", "", "fairness_index", "1"},
                       FlowThroughputs(load),
                       Fairness});
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            AddFlow(all, load, flow);
        }
    }
    return all;
}
