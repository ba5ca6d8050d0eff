#include "tools/figure_list.h"

#include "driver/constants.h"

constexpr int STYLE_TOTAL = 6; // of the line styles; those of the flows come before it

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

static FIGURE ThroughputFigure()
{
    std::vector<CURVE> curves = PerFlow([](int flow) {
        return CURVE{FlowTitle(flow),      "throughput.txt", "flow",
                     std::to_string(flow), "throughput",     0};
    });
    curves.push_back(
        {"all flows", "throughput.txt", "network", "", "total_throughput", STYLE_TOTAL});
    return {"throughput",
            "Throughput",
            "Data that reaches the receiver, for each flow and in total. Flows that see the same "
            "neighbourhood (0 and 4, 1 and 3) lie on top of each other.",
            "throughput (Mbit/s)",
            1.0,
            0.0,
            false,
            1,
            {{"", curves}}};
}

static FIGURE DelayFigure()
{
    return {"delay",
            "Mean delay",
            "Mean time from the arrival of a packet at the sender's queue to its acknowledgement, "
            "on a logarithmic axis. Once a flow is offered more than it can send, its queue, and "
            "with it the delay, grows for as long as the run lasts.",
            "mean delay (ms)",
            1000.0,
            0.0,
            true,
            1,
            {{"", PerFlow([](int flow) {
                  return CURVE{
                      FlowTitle(flow), "delay_node_flow1.txt", "link", LinkName(flow), "delay", 0};
              })}}};
}

static FIGURE QueueFigure()
{
    return {"queue",
            "Queue length",
            "Mean number of packets that wait at each sender, on a logarithmic axis. Receivers "
            "have nothing to queue.",
            "mean queue length (packets)",
            1.0,
            0.0,
            true,
            1,
            {{"", PerFlow([](int flow) {
                  return CURVE{"station " + std::to_string(2 * flow),
                               "node_stat.txt",
                               "station",
                               std::to_string(2 * flow),
                               "buf",
                               0};
              })}}};
}

static FIGURE TimeFigure()
{
    FIGURE figure{"time",
                  "What the stations do with their time",
                  "Share of the measured time that each station spends sending (its whole exchange "
                  "and DIFS), with the medium busy, and idle (backoff included). Senders above, "
                  "their receivers below.",
                  "share of time",
                  1.0,
                  1.0,
                  false,
                  FLOW_NUM,
                  {}};
    for (int parity = 0; parity < 2; ++parity) {
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            const std::string station = std::to_string(2 * flow + parity);
            figure.panels.push_back(
                {(parity == 0 ? "sender " : "receiver ") + station,
                 {{"sending", "x_node.txt", "station", station, "send_share", 1},
                  {"busy", "y_node.txt", "station", station, "busy_share", 2},
                  {"idle", "z_node.txt", "station", station, "idle_share", 3}}});
        }
    }
    return figure;
}

static FIGURE CollisionFigure()
{
    FIGURE figure{"collisions",
                  "Collision probability by class",
                  "Share of a link's transmissions that collide: with a sender in range (con), "
                  "with a hidden one (hid), and of the hidden those whose other frame began later "
                  "(phy) or earlier (pro).",
                  "collision probability",
                  1.0,
                  0.0,
                  false,
                  2,
                  {}};
    const char *const classes[][2] = {{"con", "in range (con)"},
                                      {"hid", "hidden (hid)"},
                                      {"phy", "hidden, other frame later (phy)"},
                                      {"pro", "hidden, other frame earlier (pro)"}};
    for (const auto &[name, title] : classes) {
        figure.panels.push_back(
            {title, PerFlow([name = std::string(name)](int flow) {
                 return CURVE{"link " + LinkName(flow), "col_node_" + name + ".txt",     "link",
                              LinkName(flow),           "collision_probability_" + name, 0};
             })});
    }
    return figure;
}

std::vector<FIGURE> AllFigures()
{
    return {ThroughputFigure(), DelayFigure(), QueueFigure(), TimeFigure(), CollisionFigure()};
}
