// Forms are written the way the files look: "<name:unit>" stands for a real number, "<#name:unit>"
// for an integer, any other word for itself. How many blanks and tabs part the words is left open.
#include "tools/result_tree.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <sstream>

#include "driver/constants.h"
#include "output/files.h"

// What a value belongs to, and the point of the sweep it was measured at.
struct THING {
    const char *kind;
    std::string name;
    int trial = TRIAL_MEAN;
    int load = LOAD_NONE;
};

std::vector<std::string_view> SplitWords(std::string_view line)
{
    constexpr std::string_view BLANKS = " \t()";
    std::vector<std::string_view> words;
    size_t begin = line.find_first_not_of(BLANKS);
    while (begin != std::string_view::npos) {
        const size_t end = std::min(line.find_first_of(BLANKS, begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(BLANKS, end);
    }
    return words;
}

static std::string Join(std::initializer_list<std::string_view> parts)
{
    std::string joined;
    for (std::string_view part : parts) {
        joined.append(part);
    }
    return joined;
}

static CELL MakeCell(std::string_view word, const THING &thing)
{
    CELL cell{std::string(word), "", "", nullptr, "", thing.trial, thing.load, false, false};
    if (word.front() != '<') {
        return cell;
    }
    const size_t end = word.find('>');
    std::string_view name = word.substr(1, end - 1);
    cell.is_value = true;
    cell.is_integer = name.front() == '#';
    name.remove_prefix(cell.is_integer ? 1 : 0);
    const size_t colon = name.find(':');
    cell.text = name.substr(0, colon);
    cell.unit = colon == std::string_view::npos ? "1" : name.substr(colon + 1);
    cell.suffix = word.substr(end + 1);
    cell.kind = thing.kind;
    cell.thing = thing.name;
    return cell;
}

// Appends the words of `text` to a line.
static void Add(LINE &line, const THING &thing, std::string_view text)
{
    for (std::string_view word : SplitWords(text)) {
        line.push_back(MakeCell(word, thing));
    }
}

// Appends the lines of `text`, the last of which may lack its line break.
static void AddLines(FILE_FORM &form, const THING &thing, const std::string &text)
{
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        Add(form.lines.emplace_back(), thing, line);
    }
}

static THING Flow(int flow, int load)
{
    return {"flow", std::to_string(flow), TRIAL_MEAN, load};
}

static THING Link(int sender, int receiver, int trial, int load)
{
    return {"link", std::to_string(sender) + "->" + std::to_string(receiver), trial, load};
}

// Calls `visit` with sender and receiver of the links in the order of the files.
static void VisitLinks(const std::function<void(int, int)> &visit)
{
    for (int i = 0; i < NODE_NUM - 1; ++i) {
        visit(i, i + 1);
    }
    for (int i = NODE_NUM - 1; i > 0; --i) {
        visit(i, i - 1);
    }
}

static const THING TEXT{nullptr, ""};
static const char DASHES[] =
    "//-----------------------------------------------------------------------------\n";
static const char RESULT_HEAD[] =
    "// DESIGN\n// trial = 2\n// IEEE 802.11a\n// POISSON\n// RTS threshold = 100000\n"
    "// Buffer size = 100000\n// Data rate = 54\n// Control rate = 24\n"
    "// Transmission renge = 40\n// Carrier sensing renge = 40\n// Distance of node = 30\n"
    "// simulation time = 40\n// trace time = 30\n// packet_size = 1472\n// MH:28\n// PAY:224\n"
    "// DAT:252\n// ACK:28\n// Ts:330\n// a = 0.763636\n";
static const char NODE_HEAD[] =
    "// DESIGN\n// trial = 2\n// simulation time = 40\n// trace time = 30\n// Data rate = 54\n"
    "// Control rate = 24\n// packet_size = 1472\n// MH:28\n// PAY:224\n// DAT:252\n// ACK:28\n"
    "// a = 0.763636\n";
static const char COLLISION_HEAD[] =
    "// DESIGN\n// trial = 2\n// simulation time = 40\n// trace time = 30\n// packet_size = 1500\n"
    "// MH:28\n// PAY:224\n// DAT:252\n// ACK:28\n// a = 0.763636\n";

// Column headers above the summary files. They do not always match the rows: ten links above nine,
// eleven nodes above ten.
enum LABEL { LABEL_FORWARD, LABEL_BACKWARD, LABEL_NODE };

static std::string LabelText(LABEL label)
{
    std::string text = "Total Off Total Thr Off1 Thr1 Off2 Thr2";
    const int cells = label == LABEL_NODE ? NODE_RECORDS : NODE_NUM;
    for (int i = 0; i < cells; ++i) {
        const std::string number = std::to_string(i);
        const int next = label == LABEL_FORWARD ? i + 1 : i - 1;
        text +=
            label == LABEL_NODE ? " Node " + number : " " + number + " -> " + std::to_string(next);
    }
    return text;
}

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

// The six leading values, whatever the header calls them.
static void AddLeadingValues(LINE &line, int load)
{
    for (int flow = 0; flow < 3; ++flow) {
        Add(line, Flow(flow, load), "<offered_load:Mbit/s> <throughput:Mbit/s>");
    }
}

static void AddSummaryRow(LINE &line, const SUMMARY_FILE &file, int load)
{
    AddLeadingValues(line, load);
    for (int i = 0; i < NODE_NUM; ++i) {
        if (file.columns == COLUMNS_STATION) {
            Add(line, {"station", std::to_string(i), TRIAL_MEAN, load}, file.values);
        } else if (file.columns == COLUMNS_FORWARD && i < NODE_NUM - 1) {
            Add(line, Link(i, i + 1, TRIAL_MEAN, load), file.values);
        } else if (file.columns == COLUMNS_BACKWARD) {
            // Station 0 has no backward link.
            Add(line, Link(i, i - 1, TRIAL_MEAN, load), i == 0 ? "0" : file.values);
        }
    }
}

static void FillSummary(FILE_FORM &form, const SUMMARY_FILE &file)
{
    AddLines(form, TEXT, LabelText(file.label));
    for (int load = 0; load < TREE_LOADS; ++load) {
        AddSummaryRow(form.lines.emplace_back(), file, load);
    }
}

// Marks the values of the last line as filler: zeros that belong to no load.
static void MarkFiller(FILE_FORM &form)
{
    for (CELL &cell : form.lines.back()) {
        cell.kind = nullptr;
    }
}

// The flow table of result.txt and that of throughput.txt have one row more than there are loads.
static void FillFlowRows(FILE_FORM &form, bool with_offered)
{
    for (int load = 0; load <= TREE_LOADS; ++load) {
        LINE &line = form.lines.emplace_back();
        Add(line, Flow(0, load), with_offered ? "" : "<offered_load:Mbit/s>");
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            Add(line, Flow(flow, load), with_offered ? "<offered_load:Mbit/s>" : "");
            Add(line, Flow(flow, load), "<throughput:Mbit/s>");
        }
        const int unused = with_offered ? 8 : 4;
        for (int i = 0; i < unused; ++i) {
            Add(line, {"column", std::to_string(i), TRIAL_MEAN, load}, "<unused:Mbit/s>");
        }
    }
    MarkFiller(form);
}

static void FillResult(FILE_FORM &form)
{
    AddLines(form, TEXT, std::string(DASHES) + RESULT_HEAD + DASHES);
    AddLines(form, TEXT, "// IEEE 802.11a  // POISSON\n" + LabelText(LABEL_FORWARD));
    FillFlowRows(form, true);
    AddLines(form, TEXT, "\n");
    for (int load = 0; load <= TREE_LOADS; ++load) {
        Add(form.lines.emplace_back(), TEXT, "<offered_load:Mbit/s> <throughput:Mbit/s>");
        AddLines(form, TEXT, "x\tp(hid\tp(pro)\tp(phy)\tp(hid_con)\n");
        VisitLinks([&](int sender, int receiver) {
            const THING link = Link(sender, receiver, TRIAL_MEAN, load);
            LINE &line = form.lines.emplace_back();
            Add(line, link, std::to_string(sender) + " -> " + std::to_string(receiver));
            Add(line, link,
                "<send_share> <collision_probability_hid> <collision_probability_pro>"
                " <collision_probability_phy> <collision_probability>"
                " <collision_probability_hcon>");
            if (load == TREE_LOADS) {
                MarkFiller(form);
            }
        });
    }
    const THING run{"run", "", TRIAL_NONE, LOAD_NONE};
    AddLines(form, run,
             "\nsimulation run time : <#days:d>d <#hours:h>h <#minutes:min>m <#seconds:s>s\n\n");
}

static void FillThroughput(FILE_FORM &form)
{
    AddLines(form, TEXT, "#total off thr0 thr1 thr2 thr3 thr4 thr5 thr6 thr7 thr8");
    FillFlowRows(form, false);
}

static void FillDelay(FILE_FORM &form)
{
    AddLines(form, TEXT, "off1 delay1 off2 delay2");
    for (int load = 0; load < TREE_LOADS; ++load) {
        LINE &flows = form.lines.emplace_back();
        Add(flows, Flow(1, load), "<offered_load:Mbit/s>");
        for (int flow = 0; flow < FLOW_NUM - 1; ++flow) {
            Add(flows, Flow(flow, load), "<delay:us>");
        }
        LINE &sum = form.lines.emplace_back();
        Add(sum, Flow(0, load), "<offered_load:Mbit/s>");
        Add(sum, {"network", "", TRIAL_MEAN, load}, "<delay_sum_forward_links:us>");
    }
}

static void FillDetail(FILE_FORM &form)
{
    AddLines(form, TEXT, LabelText(LABEL_NODE));
    LINE &line = form.lines.emplace_back();
    for (int load = 0; load < TREE_LOADS; ++load) {
        AddLeadingValues(line, load);
    }
    form.open_end = true;
}

// Calls `add` for every load point of every trial with a thing that stands for the whole network.
static void VisitPoints(const std::function<void(const THING &)> &add)
{
    for (int trial = 1; trial <= TREE_TRIALS; ++trial) {
        for (int load = 0; load < TREE_LOADS; ++load) {
            add({"network", "", trial, load});
        }
    }
}

static void AddBlockHead(FILE_FORM &form, const THING &network)
{
    const std::string load = std::to_string(network.load) + ".000000";
    AddLines(form, network,
             "packet length1 = <#packet_length:B>\npacket length2 = <#packet_length2:B>\ntrial = " +
                 std::to_string(network.trial) + "\nnum_off = " + load +
                 "\ng_interval = <#arrival_gap:us> load = " + load +
                 "\ng_ariv_rate = <arrival_rate:1/us> load = <arrival_rate:1/s>\n");
}

static void FillPairs(FILE_FORM &form)
{
    const std::string values = "<active_together_share> <#starts_while_active:frames>"
                               " <#starts_while_busy:frames> <#starts_while_idle:frames>";
    VisitPoints([&](const THING &network) {
        AddBlockHead(form, network);
        AddLines(form, TEXT, "2-4 2-8");
        LINE &groups = form.lines.emplace_back();
        for (const char *group : {"0+2+6", "0+2+6+8"}) {
            Add(groups, {"group", group, network.trial, network.load}, "<active_together_share>");
        }
        for (int i = 0; i < NODE_NUM - 1; ++i) {
            for (int j = i + 1; j < NODE_NUM; ++j) {
                const std::string one = std::to_string(i);
                const std::string other = std::to_string(j);
                AddLines(form, {"pair", Join({one, "+", other}), network.trial, network.load},
                         Join({"node[", one, "][", other, "] ", values}));
            }
        }
    });
}

static void FillNodes(FILE_FORM &form)
{
    const std::string before_tx2 = "<#gene:packets> <#tx:frames> <#tx1:frames> ";
    const std::string after_tx2 =
        " <#retx:frames> <#retx1:frames> <#V:frames> <#drop:packets> <d-rate> <#over:packets>"
        " <#rxsu:frames> <#rx:packets> <#rx1:frames> <#rx2:frames> <#dis:frames> <buf:packets>"
        " <cw:slots> <x> <off:Mbit/s> <thr:Mbit/s> <Ptr:1/slot> <Ytime> <qYtime> <Ztime> <qZtime>"
        " <X+Y+Z>";
    AddLines(form, TEXT, std::string(DASHES) + NODE_HEAD + DASHES);
    VisitPoints([&](const THING &network) {
        AddBlockHead(form, network);
        AddLines(form, TEXT,
                 "n gene tx tx1 tx2 retx retx1 V drop d-rate over rxsu rx rx1 rx2 dis buf cw x off"
                 " thr Ptr Ytime qYtime Ztime qZtime X+Y+Z");
        for (int i = 0; i < NODE_NUM; ++i) {
            const std::string station = std::to_string(i);
            // "tx2" of a sender is a real number without meaning.
            AddLines(form, {"station", station, network.trial, network.load},
                     Join({station, " ", before_tx2, i % 2 == 0 ? "<tx2>" : "<#tx2:frames>",
                           after_tx2}));
        }
        AddLines(form, TEXT, "\n");
    });
}

// The five rows on the classes of a link's collisions. The rows of phy and pro say "col".
static void AddCollisionDetail(FILE_FORM &form, const THING &link)
{
    static constexpr std::array<std::array<const char *, 2>, 5> ROWS = {
        {{"col", "col"}, {"con", "con"}, {"hid", "hid"}, {"col", "phy"}, {"col", "pro"}}};
    for (const auto &[word, name] : ROWS) {
        LINE &line = form.lines.emplace_back();
        Add(line, link, word);
        const std::string metric = name;
        for (const char *pairing : {"", "_DD", "_DA", "_AD", "_AA"}) {
            const std::string count = "<#" + metric + pairing;
            Add(line, link, Join({count, "_frames:frames> ", count, "_frames_kept:frames>"}));
        }
        for (const char *pairing : {"_DD", "_DA", "_AD", "_AA"}) {
            const std::string share = "<p_" + metric + pairing;
            Add(line, link, Join({share, "> ", share, "_kept>"}));
        }
    }
}

static void FillCollisions(FILE_FORM &form)
{
    AddLines(form, TEXT, std::string(DASHES) + COLLISION_HEAD + DASHES);
    VisitPoints([&](const THING &network) {
        AddLines(form, TEXT,
                 "trial = " + std::to_string(network.trial) +
                     "\nnum_off = " + std::to_string(network.load) +
                     ".000000\nsend col con hid phy pro hcon dpcon dphid dpphy dppro x p1(total)"
                     " p2(hid) p3(pro) p4(phy) p5(hid_con)\n");
        const auto name = [](int sender, int receiver) {
            return std::to_string(sender) + " -> " + std::to_string(receiver);
        };
        VisitLinks([&](int sender, int receiver) {
            AddLines(form, Link(sender, receiver, network.trial, network.load),
                     name(sender, receiver) +
                         " <#send:frames> <#col:frames> <#con:frames> <#hid:frames> <#phy:frames>"
                         " <#pro:frames> <#hcon:frames> <#dpcon:frames> <#dphid:frames>"
                         " <#dpphy:frames> <#dppro:frames> <x> <p1> <p2> <p2_kept> <p3> <p3_kept>"
                         " <p4> <p4_kept> <p5> <p5_kept>");
        });
        AddLines(form, TEXT, "\n");
        VisitLinks([&](int sender, int receiver) {
            AddLines(form, TEXT,
                     (sender < receiver ? "● " : "") + name(sender, receiver) +
                         "\nTOTAL DD DA AD AA p(DD) p(DA) p(AD) p(AA)\n");
            AddCollisionDetail(form, Link(sender, receiver, network.trial, network.load));
        });
        AddLines(form, TEXT, "\n");
    });
}

struct SPECIAL_FILE {
    const char *name;
    void (*fill)(FILE_FORM &form); // null: the file stays empty
};

static const SPECIAL_FILE SPECIAL_FILES[] = {
    {"result.txt", FillResult},
    {"throughput.txt", FillThroughput},
    {"collision.txt", FillCollisions},
    {"delay.txt", FillDelay},
    {"trans_con.txt", FillPairs},
    {"y_detail.txt", FillDetail},
    {"node_stat.txt", FillNodes},
    {"block.txt", [](FILE_FORM &form) { AddLines(form, TEXT, LabelText(LABEL_FORWARD)); }},
};

static FILE_FORM MakeForm(const char *name)
{
    const auto has_name = [name](const auto &row) { return std::strcmp(row.name, name) == 0; };
    FILE_FORM form{name, {}, false};
    const auto *summary =
        std::find_if(std::begin(SUMMARY_FILES), std::end(SUMMARY_FILES), has_name);
    const auto *special =
        std::find_if(std::begin(SPECIAL_FILES), std::end(SPECIAL_FILES), has_name);
    if (summary != std::end(SUMMARY_FILES)) {
        FillSummary(form, *summary);
    } else if (special != std::end(SPECIAL_FILES)) {
        special->fill(form);
    }
    return form;
}

const std::vector<FILE_FORM> &ResultForms()
{
    static const std::vector<FILE_FORM> forms = {
#define FORM_ROW(stream, name) MakeForm(name),
        RESULT_FILES(FORM_ROW)
#undef FORM_ROW
    };
    return forms;
}
