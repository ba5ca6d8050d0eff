// The forms of the files that hold counts of every trial.
#include <array>
#include <string>

#include "driver/constants.h"
#include "tools/form_parts.h"

static const char NODE_HEAD[] =
    "// DESIGN\n// trial = 2\n// simulation time = 40\n// trace time = 30\n// Data rate = 54\n"
    "// Control rate = 24\n";
static const char COLLISION_HEAD[] =
    "// DESIGN\n// trial = 2\n// simulation time = 40\n// trace time = 30\n";

static void AddBlockHead(FILE_FORM &form, const THING &network)
{
    const std::string load = RealText(network.load_kbps / KBPS_PER_MBPS);
    AddLines(form, network,
             "packet length1 = <#packet_length:B>\npacket length2 = <#packet_length2:B>\ntrial = " +
                 std::to_string(network.trial) + "\nnum_off = " + load +
                 "\ng_interval = <#arrival_gap:us> load = " + load +
                 "\ng_ariv_rate = <arrival_rate:1/us> load = <arrival_rate:1/s>\n");
}

static void FillPairs(FILE_FORM &form, const SETTINGS &experiment)
{
    const std::string values = "<active_together_share> <#starts_while_active:frames>"
                               " <#starts_while_busy:frames> <#starts_while_idle:frames>";
    VisitPoints(experiment, [&](const THING &network) {
        AddBlockHead(form, network);
        AddLines(form, TEXT, "2-4 2-8");
        LINE &groups = form.lines.emplace_back();
        for (const char *group : {"0+2+6", "0+2+6+8"}) {
            Add(groups, {"group", group, network.trial, network.load_kbps},
                "<active_together_share>");
        }
        for (int i = 0; i < NODE_NUM - 1; ++i) {
            for (int j = i + 1; j < NODE_NUM; ++j) {
                const std::string one = std::to_string(i);
                const std::string other = std::to_string(j);
                AddLines(form, {"pair", Join({one, "+", other}), network.trial, network.load_kbps},
                         Join({"node[", one, "][", other, "] ", values}));
            }
        }
    });
}

static void FillNodes(FILE_FORM &form, const SETTINGS &experiment)
{
    const std::string before_tx2 = "<#gene:packets> <#tx:frames> <#tx1:frames> ";
    const std::string after_tx2 =
        " <#retx:frames> <#retx1:frames> <#V:frames> <#drop:packets> <d-rate> <#over:packets>"
        " <#rxsu:frames> <#rx:packets> <#rx1:frames> <#rx2:frames> <#dis:frames> <buf:packets>"
        " <cw:slots> <x> <off:Mbit/s> <thr:Mbit/s> <Ptr:1/slot> <Ytime> <qYtime> <Ztime> <qZtime>"
        " <X+Y+Z>";
    AddLines(form, TEXT,
             Join({DASHES, NODE_HEAD, AirtimeLines(experiment, experiment.data_length),
                   ShareLine(experiment), DASHES}));
    VisitPoints(experiment, [&](const THING &network) {
        AddBlockHead(form, network);
        AddLines(form, TEXT,
                 "n gene tx tx1 tx2 retx retx1 V drop d-rate over rxsu rx rx1 rx2 dis buf cw x off"
                 " thr Ptr Ytime qYtime Ztime qZtime X+Y+Z");
        for (int i = 0; i < NODE_NUM; ++i) {
            const std::string station = std::to_string(i);
            // "tx2" of a sender is a real number without meaning.
            AddLines(form, {"station", station, network.trial, network.load_kbps},
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

static void FillCollisions(FILE_FORM &form, const SETTINGS &experiment)
{
    AddLines(form, TEXT,
             Join({DASHES, COLLISION_HEAD, AirtimeLines(experiment, PacketBytes(experiment)),
                   ShareLine(experiment), DASHES}));
    VisitPoints(experiment, [&](const THING &network) {
        AddLines(form, TEXT,
                 "trial = " + std::to_string(network.trial) +
                     "\nnum_off = " + RealText(network.load_kbps / KBPS_PER_MBPS) +
                     "\nsend col con hid phy pro hcon dpcon dphid dpphy dppro x p1(total)"
                     " p2(hid) p3(pro) p4(phy) p5(hid_con)\n");
        const auto name = [](int sender, int receiver) {
            return std::to_string(sender) + " -> " + std::to_string(receiver);
        };
        VisitLinks([&](int sender, int receiver) {
            AddLines(form, Link(sender, receiver, network.trial, network.load_kbps),
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
            AddCollisionDetail(form, Link(sender, receiver, network.trial, network.load_kbps));
        });
        AddLines(form, TEXT, "\n");
    });
}

bool FillTrials(FILE_FORM &form, const SETTINGS &experiment)
{
    if (form.name == "collision.txt") {
        FillCollisions(form, experiment);
    } else if (form.name == "trans_con.txt") {
        FillPairs(form, experiment);
    } else if (form.name == "node_stat.txt") {
        FillNodes(form, experiment);
    } else {
        return false;
    }
    return true;
}
