#include "tools/figure_list.h"

#include <algorithm>
#include <set>

#include "tools/derived.h"

constexpr int STYLE_ALL = 6; // of the line styles; those of the flows come before it
constexpr int STYLE_THEORY = 7;
constexpr double PERCENT = 0.01;
constexpr double US_PER_MS = 1000.0;

// A curve for each flow, made by `make` from the stations at its ends.
template <typename MAKE> static std::vector<CURVE> PerFlow(const TREE_FORM &form, MAKE make)
{
    constexpr int STYLES = 5; // of flows; more than that share them
    std::vector<CURVE> curves;
    for (const FLOW &flow : DistinctFlows(form.experiment)) {
        const int style = static_cast<int>(curves.size()) % STYLES + 1;
        curves.push_back(make(flow));
        curves.back().style = style;
    }
    return curves;
}

static std::string FlowTitle(const TREE_FORM &form, const FLOW &flow)
{
    const std::string link = LinkName(flow.from, flow.to);
    return HasPairs(form.experiment) ? "flow " + std::to_string(flow.from / 2) + " (" + link + ")"
                                     : "flow " + link;
}

// What a row by flow says, of throughput.txt or of flows.csv.
static std::vector<CURVE> FlowCurves(const TREE_FORM &form, const std::string &metric)
{
    return PerFlow(form, [&](const FLOW &flow) {
        const std::string name = HasPairs(form.experiment) ? std::to_string(flow.from / 2)
                                                           : LinkName(flow.from, flow.to);
        return CURVE{FlowTitle(form, flow), FlowFile(form), "flow", name, metric, 0};
    });
}

// What `node_stat.txt` or a quantity derived from it says of the senders. Of a station with several
// flows there is one curve.
static std::vector<CURVE> PerSender(const TREE_FORM &form, const std::string &metric)
{
    std::vector<CURVE> curves = PerFlow(form, [&](const FLOW &flow) {
        const std::string station = std::to_string(flow.from);
        return CURVE{HasPairs(form.experiment) ? FlowTitle(form, flow) : "station " + station,
                     "node_stat.txt",
                     "station",
                     station,
                     metric,
                     0};
    });
    std::set<std::string> stations;
    std::erase_if(curves, [&](const CURVE &curve) { return !stations.insert(curve.thing).second; });
    return curves;
}

static bool AreAlike(const SETTINGS &experiment)
{
    return std::all_of(experiment.flow_list, experiment.flow_list + experiment.flow_num,
                       [](const FLOW &flow) { return flow.weight == 1; });
}

static FIGURE ThroughputFigure(const TREE_FORM &form)
{
    std::vector<CURVE> curves = FlowCurves(form, "throughput");
    std::string caption = "Data that reaches the receiver, of each flow and in total.";
    if (HasPairs(form.experiment) && AreAlike(form.experiment)) {
        curves.push_back({"one pair alone (theory)", "", "", "", "", STYLE_THEORY});
        caption += " The dotted line is what a pair carries that nobody disturbs: all it is "
                   "offered, up to a packet per DIFS, mean backoff, DATA, SIFS and ACK. Flows that "
                   "see the same neighbourhood lie on top of each other.";
    }
    const CURVE total{"all flows", FlowFile(form), "network", "", "total_throughput", STYLE_ALL};
    return {"throughput",
            "Throughput",
            caption,
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

static FIGURE FairnessFigure(const TREE_FORM &form)
{
    const CURVE index{"fairness index", FlowFile(form), "network", "", "fairness_index", STYLE_ALL};
    const std::string flows = std::to_string(DistinctFlows(form.experiment).size());
    return {"fairness",
            "Fairness",
            "Jain's index of the throughputs of " + flows +
                " flows, the square of their sum over " + flows +
                " times the sum of their squares: 1 if all are equal, 1/" + flows +
                " if one flow has everything.",
            1,
            {{"Jain's index over the flows",
              "fairness index (no unit, 1 at most)",
              "",
              1.0,
              1.05,
              SCALE_LINEAR,
              {index}}}};
}

static FIGURE DelayFigure(const TREE_FORM &form)
{
    std::string caption =
        "Mean time from the arrival of a packet at the sender's queue to the end of the DATA "
        "frame that delivers it, on a logarithmic axis.";
    std::vector<CURVE> curves;
    if (form.has_flows) {
        curves = PerFlow(form, [&](const FLOW &flow) {
            return CURVE{FlowTitle(form, flow),        FLOW_FILE, "flow",
                         LinkName(flow.from, flow.to), "delay",   0};
        });
    } else {
        curves = FlowCurves(form, "delay");
        for (CURVE &curve : curves) {
            curve.file = "delay.txt";
        }
        curves.back().file = "node_stat.txt";
        curves.back().metric = "delay_of_queue";
        curves.back().title += " by queue";
        caption += " The results hold no delay of flow 4; its curve is reckoned from the mean "
                   "length of its queue and the packets that entered it, by Little's law.";
    }
    return {"delay",
            "Mean delay",
            caption + " Once a flow is offered more than it can send, its queue, and with it the "
                      "delay, grows for as long as the run lasts.",
            1,
            {{"end to end", "mean delay (ms)", "ms", US_PER_MS, 0.0, SCALE_LOG, curves}}};
}

static FIGURE QueueFigure(const TREE_FORM &form)
{
    return {"queue",
            "Queue length",
            "Mean number of packets at each sender, the one being sent included, on a logarithmic "
            "axis. A queue holds " +
                std::to_string(form.experiment.queue_limit) + ".",
            1,
            {{"queues of the senders", "mean queue length (packets)", "packets", 1.0, 0.0,
              SCALE_LOG, PerSender(form, "buf")}}};
}

static FIGURE TimeFigure(const TREE_FORM &form)
{
    FIGURE figure{"time",
                  "What the senders do with their time",
                  "Shares of the measured time: sending (DIFS, the frame, and the wait for its "
                  "ACK), medium busy, in backoff, and idle with nothing to send. Intervals are not "
                  "drawn; they are under the pointer.",
                  3,
                  {}};
    for (const CURVE &sender : PerSender(form, "x")) {
        const std::string &station = sender.thing;
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

static FIGURE CollisionFigure(const TREE_FORM &form)
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
                                 SCALE_LINEAR, PerFlow(form, [&](const FLOW &flow) {
                                     return CURVE{
                                         FlowTitle(form, flow),        "collision.txt", "link",
                                         LinkName(flow.from, flow.to), metric,          0};
                                 })});
    }
    return figure;
}

static FIGURE LossFigure(const TREE_FORM &form)
{
    if (!HasPairs(form.experiment)) {
        return {
            "losses",
            "Retries, drops and refused packets",
            "Attempts that ended without an answer, packets given up at the retry limit, and "
            "packets that found a queue full, at the source or on the way, in the measured time "
            "of one trial.",
            3,
            {{"retries", "retries (frames)", "frames", 1.0, 0.0, SCALE_LINEAR,
              FlowCurves(form, "retries")},
             {"drops", "drops (packets)", "packets", 1.0, 0.0, SCALE_LINEAR,
              FlowCurves(form, "drops")},
             {"refused packets", "refused by queues (packets)", "packets", 1.0, 0.0, SCALE_LINEAR,
              FlowCurves(form, "refused")}}};
    }
    return {"losses",
            "Retries, drops and refused packets",
            "Transmissions that ended without an ACK; packets given up at the retry limit, over "
            "those that arrived; and packets that found the queue full, in the measured time of "
            "one trial.",
            3,
            {{"retries", "retries per transmission (%)", "%", PERCENT, 0.0, SCALE_LINEAR,
              PerSender(form, "retries_per_transmission")},
             {"drops", "drops per packet (%)", "%", PERCENT, 0.0, SCALE_LINEAR,
              PerSender(form, "d-rate")},
             {"refused packets", "refused by the queue (packets)", "packets", 1.0, 0.0,
              SCALE_LINEAR, PerSender(form, "over")}}};
}

std::vector<FIGURE> AllFigures(const TREE_FORM &form)
{
    std::vector<FIGURE> figures = {ThroughputFigure(form), FairnessFigure(form), DelayFigure(form),
                                   QueueFigure(form), TimeFigure(form)};
    if (HasPairs(form.experiment)) {
        figures.push_back(CollisionFigure(form));
    }
    figures.push_back(LossFigure(form));
    return figures;
}
