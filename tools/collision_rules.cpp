// Rules of collision.txt: classes and pairings add up, shares follow from counts.
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "driver/constants.h"
#include "tools/value_rules.h"

static const char *const CLASSES[] = {"col", "con", "hid", "phy", "pro"};
static const char *const PAIRINGS[] = {"_DD", "_DA", "_AD", "_AA"};

// Share of the link's transmissions, 0 on a link that was never used.
static double Share(double count, double sent)
{
    return sent == 0.0 ? 0.0 : count / sent;
}

// What is shown of a link.
struct LINK_VALUES {
    AUDIT &audit;
    int sender;
    int receiver;

    [[nodiscard]] const SERIES &Of(const std::string &metric) const
    {
        return CountSeries(audit, sender, receiver, metric);
    }
};

// Holds a share, and the same less repeated collisions, against the counts.
static void CheckShare(const LINK_VALUES &link, const std::string &name,
                       const std::vector<double> &counts, const std::vector<double> &left)
{
    const char *const why = "the counts of this row and send tell so";
    AUDIT &audit = link.audit;
    const SERIES &sent = link.Of("send");
    const SERIES &share = link.Of(name);
    const SERIES &kept = link.Of(name + "_kept");
    for (size_t p = 0; p < PointNum(audit); ++p) {
        audit.Equal(share[p], Share(counts[p], audit.At(sent[p])), EXACT_5, why);
        if (!kept.empty()) { // p1 has none
            audit.Equal(kept[p], Share(left[p], audit.At(sent[p])), EXACT_5, why);
        }
    }
}

static std::vector<double> Numbers(const AUDIT &audit, const SERIES &series)
{
    std::vector<double> numbers;
    for (size_t place : series) {
        numbers.push_back(audit.At(place));
    }
    return numbers;
}

static void CheckSummaryRow(const LINK_VALUES &link)
{
    AUDIT &audit = link.audit;
    const double exchange_ticks = ExchangeTicks(PacketBytes(audit.Experiment()));
    const auto numbers = [&](const char *metric) { return Numbers(audit, link.Of(metric)); };
    const std::vector<double> sent = numbers("send");
    const std::vector<double> con = numbers("con");
    const std::vector<double> hid = numbers("hid");
    const std::vector<double> phy = numbers("phy");
    const std::vector<double> pro = numbers("pro");
    const std::vector<double> hcon = numbers("hcon");
    std::vector<double> hid_left = numbers("dphid");
    std::vector<double> phy_left = numbers("dpphy");
    std::vector<double> pro_left = numbers("dppro");
    std::vector<double> hcon_left = hcon;
    const SERIES &used = link.Of("x");
    const SERIES &all = link.Of("col");
    const SERIES &hidden = link.Of("hid");
    for (size_t p = 0; p < PointNum(audit); ++p) {
        audit.Equal(used[p], sent[p] * exchange_ticks / Window(audit), EXACT_5,
                    "send of this row tells so");
        audit.Equal(all[p], con[p] + hid[p], 0.0, "con and hid of this row tell so");
        audit.Equal(hidden[p], phy[p] + pro[p] + hcon[p], 0.0,
                    "phy, pro and hcon of this row tell so");
        hcon_left[p] -= hid_left[p] - phy_left[p] - pro_left[p];
        hid_left[p] = hid[p] - hid_left[p];
        phy_left[p] = phy[p] - phy_left[p];
        pro_left[p] = pro[p] - pro_left[p];
    }
    CheckShare(link, "p1", numbers("col"), {});
    CheckShare(link, "p2", hid, hid_left);
    CheckShare(link, "p3", pro, pro_left);
    CheckShare(link, "p4", phy, phy_left);
    CheckShare(link, "p5", hcon, hcon_left);
}

// A row of the detail table.
static void CheckDetailRow(const LINK_VALUES &link, const std::string &name)
{
    AUDIT &audit = link.audit;
    // Frames begun in the same tick are counted once more, under no pairing.
    const bool has_others = name == "col" || name == "con";
    std::vector<double> all(PointNum(audit));
    std::vector<double> left(PointNum(audit));
    for (const char *pairing : PAIRINGS) {
        const std::string head = name + pairing;
        const SERIES &places = link.Of(head + "_frames_kept");
        const std::vector<double> frames = Numbers(audit, link.Of(head + "_frames"));
        const std::vector<double> kept = Numbers(audit, places);
        CheckShare(link, "p_" + head, frames, kept);
        for (size_t p = 0; p < PointNum(audit); ++p) {
            audit.Within(places[p], 0.0, frames[p], "a part of the count");
            all[p] += frames[p];
            left[p] += kept[p];
        }
    }
    const SERIES &frames = link.Of(name + "_frames");
    const SERIES &kept = link.Of(name + "_frames_kept");
    const SERIES &total = link.Of(name);
    const SERIES &repeated = link.Of(name == "col" ? "dpcon" : "dp" + name);
    const SERIES &hidden = link.Of("dphid");
    for (size_t p = 0; p < PointNum(audit); ++p) {
        const double again = audit.At(repeated[p]) + (name == "col" ? audit.At(hidden[p]) : 0.0);
        audit.Equal(frames[p], audit.At(total[p]), 0.0, "the summary row of the link has it");
        audit.Equal(kept[p], audit.At(total[p]) - again, 0.0, "the summary row of the link has it");
        audit.Within(frames[p], all[p], has_others ? INFINITY : all[p],
                     "DD, DA, AD and AA of this row tell so");
        audit.Within(kept[p], left[p], has_others ? INFINITY : left[p],
                     "DD, DA, AD and AA of this row tell so");
    }
}

// Each pairing by classes.
static void CheckClasses(const LINK_VALUES &link)
{
    AUDIT &audit = link.audit;
    for (const char *pairing : PAIRINGS) {
        for (const char *end : {"_frames", "_frames_kept"}) {
            const auto series = [&](const char *name) -> const SERIES & {
                return link.Of(std::string(name) + pairing + end);
            };
            const SERIES &col = series("col");
            const SERIES &con = series("con");
            const SERIES &hid = series("hid");
            const SERIES &phy = series("phy");
            const SERIES &pro = series("pro");
            for (size_t p = 0; p < PointNum(audit); ++p) {
                audit.Equal(col[p], audit.At(con[p]) + audit.At(hid[p]), 0.0,
                            "the rows con and hid of this table tell so");
                audit.Within(hid[p], audit.At(phy[p]) + audit.At(pro[p]), INFINITY,
                             "not below the rows of phy and pro of this table");
            }
        }
    }
}

static void CheckTransmissions(const LINK_VALUES &link)
{
    // A sender shows its transmissions to the next station, a receiver those to the last.
    const bool is_forward = link.receiver > link.sender;
    const bool is_shown = (link.sender % 2 == 0) == is_forward;
    const SERIES &shown = StationSeries(link.audit, link.sender, is_forward ? "tx1" : "tx2");
    const SERIES &sent = link.Of("send");
    for (size_t p = 0; p < PointNum(link.audit); ++p) {
        link.audit.Equal(sent[p], is_shown ? link.audit.At(shown[p]) : 0.0, 0.0,
                         is_shown ? "node_stat.txt has it as tx1 or tx2"
                                  : "no route leads over this link");
    }
}

void CheckCollisions(AUDIT &audit)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int j : {i - 1, i + 1}) {
            if (j < 0 || j == NODE_NUM) {
                continue;
            }
            const LINK_VALUES link{audit, i, j};
            CheckTransmissions(link);
            CheckSummaryRow(link);
            CheckClasses(link);
            for (const char *name : CLASSES) {
                CheckDetailRow(link, name);
            }
        }
    }
}
