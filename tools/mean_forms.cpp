// The forms of the files that hold means over the trials.
#include <algorithm>
#include <iterator>
#include <string>

#include "driver/constants.h"
#include "tools/form_parts.h"

static const char RESULT_HEAD[] =
    "// DESIGN\n// trial = 2\n// IEEE 802.11a\n// POISSON\n// RTS threshold = 100000\n"
    "// Buffer size = 100000\n// Data rate = 54\n// Control rate = 24\n"
    "// Transmission renge = 40\n// Carrier sensing renge = 40\n// Distance of node = 30\n"
    "// simulation time = 40\n// trace time = 30\n";

// Files with one row per load: six leading values, then one for each station or link.
enum COLUMNS { COLUMNS_NONE, COLUMNS_STATION, COLUMNS_FORWARD, COLUMNS_BACKWARD };

struct SUMMARY_FILE {
    const char *name;
    LABEL label;
    COLUMNS columns;
    const char *values;
};

// clang-format off
static const SUMMARY_FILE SUMMARY_FILES[] = {
    {"x_node.txt",           LABEL_NODE,     COLUMNS_STATION,  "<send_share>"},
    {"y_node.txt",           LABEL_NODE,     COLUMNS_STATION,  "<busy_share>"},
    {"z_node.txt",           LABEL_NODE,     COLUMNS_STATION,  "<idle_share>"},
    {"q_node.txt",           LABEL_NODE,     COLUMNS_STATION,  "<backoff_share_of_idle>"},
    {"Qnode.txt",            LABEL_NODE,     COLUMNS_STATION,  "<queue_share>"},
    {"dmac_node_node.txt",   LABEL_NODE,     COLUMNS_STATION,  "<unused>"},
    {"q_y_node.txt",         LABEL_FORWARD,  COLUMNS_STATION,  "<queued_share_of_busy>"},
    {"Qnode_flow1.txt",      LABEL_FORWARD,  COLUMNS_FORWARD,  "<queue_share>"},
    {"Qnode_flow2.txt",      LABEL_BACKWARD, COLUMNS_BACKWARD, "<queue_share>"},
    {"col_node_flow1.txt",   LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability>"},
    {"col_node_flow2.txt",   LABEL_BACKWARD, COLUMNS_BACKWARD, "<collision_probability>"},
    {"col_node_con.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability_con>"},
    {"col_node_hid.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability_hid>"},
    {"col_node_phy.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability_phy>"},
    {"col_node_pro.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability_pro>"},
    {"col_node_ack.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<collision_probability_ack>"},
    {"delay_node_flow1.txt", LABEL_FORWARD,  COLUMNS_FORWARD,  "<delay:us>"},
    {"delay_node_flow2.txt", LABEL_BACKWARD, COLUMNS_BACKWARD, "<delay:us>"},
    {"x_node_flow1.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<send_share>"},
    {"x_node_flow2.txt",     LABEL_BACKWARD, COLUMNS_BACKWARD, "<send_share>"},
    {"drop.txt",             LABEL_FORWARD,  COLUMNS_FORWARD,  "<drop_ratio>"},
    {"q_node_flow1.txt",     LABEL_FORWARD,  COLUMNS_FORWARD,  "<unused>"},
    {"q_node_flow2.txt",     LABEL_BACKWARD, COLUMNS_BACKWARD, "<unused>"},
    {"dmac_node_flow1.txt",  LABEL_FORWARD,  COLUMNS_FORWARD,  "<unused:us>"},
    {"dmac_node_flow2.txt",  LABEL_BACKWARD, COLUMNS_BACKWARD, "<unused:us>"},
    {"dque_node_flow1.txt",  LABEL_FORWARD,  COLUMNS_FORWARD,  "<unused:us>"},
    {"dque_node_flow2.txt",  LABEL_BACKWARD, COLUMNS_BACKWARD, "<unused:us>"},
    {"q_z_node.txt",         LABEL_FORWARD,  COLUMNS_FORWARD,  "<backoff_share_of_idle_both>"},
    {"q_y_flow1.txt",        LABEL_FORWARD,  COLUMNS_FORWARD,  "<queued_share_of_busy> <link_share_of_queued>"},
    {"q_y_flow2.txt",        LABEL_BACKWARD, COLUMNS_BACKWARD, "<queued_share_of_busy> <link_share_of_queued>"},
    {"q_z_flow1.txt",        LABEL_FORWARD,  COLUMNS_FORWARD,  "<backoff_share_of_idle>"},
    {"q_z_flow2.txt",        LABEL_BACKWARD, COLUMNS_BACKWARD, "<backoff_share_of_idle>"},
};
// clang-format on

static void AddSummaryRow(LINE &line, const SUMMARY_FILE &file, int load_kbps)
{
    AddLeadingValues(line, load_kbps);
    for (int i = 0; i < NODE_NUM; ++i) {
        if (file.columns == COLUMNS_STATION) {
            Add(line, {"station", std::to_string(i), TRIAL_MEAN, load_kbps}, file.values);
        } else if (file.columns == COLUMNS_FORWARD && i < NODE_NUM - 1) {
            Add(line, Link(i, i + 1, TRIAL_MEAN, load_kbps), file.values);
        } else if (file.columns == COLUMNS_BACKWARD) {
            // Station 0 has no backward link.
            Add(line, Link(i, i - 1, TRIAL_MEAN, load_kbps), i == 0 ? "0" : file.values);
        }
    }
}

// Calls `add` for every load, in kbit/s.
template <typename ADD> static void VisitLoads(const SETTINGS &experiment, ADD add)
{
    for (int i = 0; i < experiment.load_num; ++i) {
        add(experiment.load_list[i]);
    }
}

static void FillSummary(FILE_FORM &form, const SUMMARY_FILE &file, const SETTINGS &experiment)
{
    AddLines(form, TEXT, LabelText(file.label));
    VisitLoads(experiment,
               [&](int load_kbps) { AddSummaryRow(form.lines.emplace_back(), file, load_kbps); });
}

// Marks the values of the last line as filler: zeros that belong to no load.
static void MarkFiller(FILE_FORM &form)
{
    for (CELL &cell : form.lines.back()) {
        cell.kind = nullptr;
    }
}

static void AddFlowRow(FILE_FORM &form, bool with_offered, int load_kbps)
{
    LINE &line = form.lines.emplace_back();
    Add(line, Flow(0, load_kbps), with_offered ? "" : "<offered_load:Mbit/s>");
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        Add(line, Flow(flow, load_kbps), with_offered ? "<offered_load:Mbit/s>" : "");
        Add(line, Flow(flow, load_kbps), "<throughput:Mbit/s>");
    }
    const int unused = with_offered ? 8 : 4;
    for (int i = 0; i < unused; ++i) {
        Add(line, {"column", std::to_string(i), TRIAL_MEAN, load_kbps}, "<unused:Mbit/s>");
    }
}

// The flow table of result.txt and that of throughput.txt have one row more than there are loads.
static void FillFlowRows(FILE_FORM &form, const SETTINGS &experiment, bool with_offered)
{
    VisitLoads(experiment, [&](int load_kbps) { AddFlowRow(form, with_offered, load_kbps); });
    AddFlowRow(form, with_offered, LOAD_NONE);
    MarkFiller(form);
}

static void AddLinkBlock(FILE_FORM &form, int load_kbps)
{
    Add(form.lines.emplace_back(), TEXT, "<offered_load:Mbit/s> <throughput:Mbit/s>");
    AddLines(form, TEXT, "x\tp(hid\tp(pro)\tp(phy)\tp(hid_con)\n");
    VisitLinks([&](int sender, int receiver) {
        const THING link = Link(sender, receiver, TRIAL_MEAN, load_kbps);
        LINE &line = form.lines.emplace_back();
        Add(line, link, std::to_string(sender) + " -> " + std::to_string(receiver));
        Add(line, link,
            "<send_share> <collision_probability_hid> <collision_probability_pro>"
            " <collision_probability_phy> <collision_probability>"
            " <collision_probability_hcon>");
        if (load_kbps == LOAD_NONE) {
            MarkFiller(form);
        }
    });
}

static void FillResult(FILE_FORM &form, const SETTINGS &experiment)
{
    const int exchange = ExchangeTicks(PacketBytes(experiment));
    AddLines(form, TEXT,
             Join({DASHES, RESULT_HEAD, AirtimeLines(experiment, experiment.data_length),
                   "// Ts:", std::to_string(exchange), "\n", ShareLine(experiment), DASHES}));
    AddLines(form, TEXT, "// IEEE 802.11a  // POISSON\n" + LabelText(LABEL_FORWARD));
    FillFlowRows(form, experiment, true);
    AddLines(form, TEXT, "\n");
    VisitLoads(experiment, [&](int load_kbps) { AddLinkBlock(form, load_kbps); });
    AddLinkBlock(form, LOAD_NONE);
    const THING run{"run", "", TRIAL_NONE, LOAD_NONE};
    AddLines(form, run,
             "\nsimulation run time : <#days:d>d <#hours:h>h <#minutes:min>m <#seconds:s>s\n\n");
}

static void FillThroughput(FILE_FORM &form, const SETTINGS &experiment)
{
    AddLines(form, TEXT, "#total off thr0 thr1 thr2 thr3 thr4 thr5 thr6 thr7 thr8");
    FillFlowRows(form, experiment, false);
}

static void FillDelay(FILE_FORM &form, const SETTINGS &experiment)
{
    AddLines(form, TEXT, "off1 delay1 off2 delay2");
    VisitLoads(experiment, [&](int load_kbps) {
        LINE &flows = form.lines.emplace_back();
        Add(flows, Flow(1, load_kbps), "<offered_load:Mbit/s>");
        for (int flow = 0; flow < FLOW_NUM - 1; ++flow) {
            Add(flows, Flow(flow, load_kbps), "<delay:us>");
        }
        LINE &sum = form.lines.emplace_back();
        Add(sum, Flow(0, load_kbps), "<offered_load:Mbit/s>");
        Add(sum, {"network", "", TRIAL_MEAN, load_kbps}, "<delay_sum_forward_links:us>");
    });
}

static void FillDetail(FILE_FORM &form, const SETTINGS &experiment)
{
    AddLines(form, TEXT, LabelText(LABEL_NODE));
    LINE &line = form.lines.emplace_back();
    VisitLoads(experiment, [&](int load_kbps) { AddLeadingValues(line, load_kbps); });
    form.open_end = true;
}

struct SPECIAL_FILE {
    const char *name;
    void (*fill)(FILE_FORM &form, const SETTINGS &experiment);
};

static const SPECIAL_FILE SPECIAL_FILES[] = {
    {"result.txt", FillResult},
    {"throughput.txt", FillThroughput},
    {"delay.txt", FillDelay},
    {"y_detail.txt", FillDetail},
    {"block.txt",
     [](FILE_FORM &form, const SETTINGS &) { AddLines(form, TEXT, LabelText(LABEL_FORWARD)); }},
};

bool FillMeans(FILE_FORM &form, const SETTINGS &experiment)
{
    const auto has_name = [&form](const auto &row) { return form.name == row.name; };
    const auto *summary =
        std::find_if(std::begin(SUMMARY_FILES), std::end(SUMMARY_FILES), has_name);
    const auto *special =
        std::find_if(std::begin(SPECIAL_FILES), std::end(SPECIAL_FILES), has_name);
    if (summary != std::end(SUMMARY_FILES)) {
        FillSummary(form, *summary, experiment);
    } else if (special != std::end(SPECIAL_FILES)) {
        special->fill(form, experiment);
    }
    return summary != std::end(SUMMARY_FILES) || special != std::end(SPECIAL_FILES);
}
