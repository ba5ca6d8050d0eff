#include "tools/figure_list.h"

#include "driver/constants.h"

constexpr int STYLE_ALL = 6; // of the line styles; those of the flows come before it
constexpr int STYLE_THEORY = 7;
constexpr double PERCENT = 0.01;
constexpr double US_PER_MS = 1000.0;

// A curve for each flow, made by `make` from its number.
template <typename MAKE> static std::vector<CURVE> PerFlow(MAKE make)
{
    std::vector<CURVE> curves;
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        curves.push_back(make(flow));
        curves.back().style = flow + 1;
    }
    return curves;
}

static std::string LinkName(int flow)
{
    return std::to_string(2 * flow) + "->" + std::to_string(2 * flow + 1);
}

static std::string FlowTitle(int flow)
{
    return "flow " + std::to_string(flow) + " (" + LinkName(flow) + ")";
}

// A curve for each flow of what `node_stat.txt` or a quantity derived from it says of its sender.
static std::vector<CURVE> PerSender(const std::string &metric)
{
    return PerFlow([&](int flow) {
        return CURVE{FlowTitle(flow),          "node_stat.txt", "station",
                     std::to_string(2 * flow), metric,          0};
    });
}

static FIGURE ThroughputFigure()
{
    std::vector<CURVE> curves = PerFlow([](int flow) {
        return CURVE{FlowTitle(flow),      "throughput.txt", "flow",
                     std::to_string(flow), "throughput",     0};
    });
    curves.push_back({"one pair alone (theory)", "", "", "", "", STYLE_THEORY});
    const CURVE total{"all flows", "throughput.txt", "network", "", "total_throughput", STYLE_ALL};
    return {"throughput",
            "Throughput",
            "Data that reaches the receiver, of each flow and in total. The dotted line is what a "
            "pair carries that nobody disturbs: all it is offered, up to a packet per DIFS, mean "
            "backoff, DATA, SIFS and ACK. Flows that see the same neighbourhood (0 and 4, 1 and 3) "
            "lie on top of each other.",
            2,
            {{"each flow", "throughput (Mbit/s)", "Mbit/s", 1.0, 0.0, SCALE_LINEAR, curves},
             {"all flows together",
              "total throughput (Mbit/s)",
              "Mbit/s",
              1.0,
              0.0,
              SCALE_LINEAR,
              {total}}}};
}

static FIGURE FairnessFigure()
{
    const CURVE index{"fairness index", "throughput.txt", "network", "",
                      "fairness_index", STYLE_ALL};
    return {"fairness",
            "Fairness",
            "Jain's index of the five throughputs, the square of their sum over five times the sum "
            "of their squares: 1 if all are equal, 0.2 if one flow has everything.",
            1,
            {{"Jain's index over the flows",
              "fairness index (no unit, 0.2 to 1)",
              "",
              1.0,
              1.05,
              SCALE_LINEAR,
              {index}}}};
}

static FIGURE DelayFigure()
{
    std::vector<CURVE> curves = PerFlow([](int flow) {
        return CURVE{FlowTitle(flow), "delay.txt", "flow", std::to_string(flow), "delay", 0};
    });
    curves.back().file = "node_stat.txt";
    curves.back().metric = "delay_of_queue";
    curves.back().title += " by queue";
    return {"delay",
            "Mean delay",
            "Mean time from the arrival of a packet at the sender's queue to the end of the DATA "
            "frame that delivers it, on a logarithmic axis. The results hold no delay of flow 4; "
            "its curve is reckoned from the mean length of its queue and the packets that entered "
            "it, by Little's law. Once a flow is offered more than it can send, its queue, and "
            "with it the delay, grows for as long as the run lasts.",
            1,
            {{"end to end", "mean delay (ms)", "ms", US_PER_MS, 0.0, SCALE_LOG, curves}}};
}

static FIGURE QueueFigure()
{
    return {"queue",
            "Queue length",
            "Mean number of packets at each sender, the one being sent included, on a logarithmic "
            "axis. A queue holds 100,000. Receivers have nothing to queue.",
            1,
            {{"queues of the senders", "mean queue length (packets)", "packets", 1.0, 0.0,
              SCALE_LOG, PerSender("buf")}}};
}

static FIGURE TimeFigure()
{
    FIGURE figure{"time",
                  "What the senders do with their time",
                  "Shares of the measured time: sending (DIFS, the frame, and the wait for its "
                  "ACK), medium busy, in backoff, and idle with nothing to send. Intervals are not "
                  "drawn; they are under the pointer.",
                  3,
                  {}};
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        const std::string station = std::to_string(2 * flow);
        figure.panels.push_back(
            {"sender " + station,
             "share of time (%)",
             "%",
             PERCENT,
             0.0,
             SCALE_STACK,
             {{"sending", "x_node.txt", "station", station, "send_share", 1},
              {"medium busy", "y_node.txt", "station", station, "busy_share", 2},
              {"backoff", "node_stat.txt", "station", station, "qZtime", 3},
              {"nothing to send", "node_stat.txt", "station", station, "empty_share", 4}}});
    }
    return figure;
}

static FIGURE CollisionFigure()
{
    FIGURE figure{"collisions",
                  "Collisions per transmission",
                  "DATA and ACK frames that another signal spoils at their receiver, over the "
                  "transmissions of the link: all of them, and those with a frame from a hidden "
                  "station, of which the ones that began later and earlier than the spoiled frame. "
                  "A frame that meets two others counts twice.",
                  2,
                  {}};
    const char *const classes[][2] = {{"col", "all"},
                                      {"hid", "with a hidden station"},
                                      {"phy", "hidden, other frame later"},
                                      {"pro", "hidden, other frame earlier"}};
    for (const auto &[row, title] : classes) {
        const std::string metric = std::string(row) + "_at_receiver";
        figure.panels.push_back({title, "collisions per transmission (%)", "%", PERCENT, 0.0,
                                 SCALE_LINEAR, PerFlow([&](int flow) {
                                     return CURVE{FlowTitle(flow), "collision.txt", "link",
                                                  LinkName(flow),  metric,          0};
                                 })});
    }
    return figure;
}

static FIGURE LossFigure()
{
    return {
        "losses",
        "Retries, drops and refused packets",
        "Transmissions that ended without an ACK; packets given up at the retry limit, over "
        "those that arrived; and packets that found the queue full, in the measured time of "
        "one trial.",
        3,
        {{"retries", "retries per transmission (%)", "%", PERCENT, 0.0, SCALE_LINEAR,
          PerSender("retries_per_transmission")},
         {"drops", "drops per packet (%)", "%", PERCENT, 0.0, SCALE_LINEAR, PerSender("d-rate")},
         {"refused packets", "refused by the queue (packets)", "packets", 1.0, 0.0, SCALE_LINEAR,
          PerSender("over")}}};
}

std::vector<FIGURE> AllFigures()
{
    return {ThroughputFigure(), FairnessFigure(),  DelayFigure(), QueueFigure(),
            TimeFigure(),       CollisionFigure(), LossFigure()};
}
