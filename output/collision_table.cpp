#include "output/collision_table.h"

#include <initializer_list>

#include "driver/state.h"
#include "output/files.h"
#include "output/print.h"
#include "output/result_record.h"
#include "output/run_header.h"

static const char SUMMARY_HEADER[] =
    "\t send \t col \t con \t hid \t phy \t pro \t hcon \t dpcon \t dphid \t dpphy \t dppro \t x \t"
    "  p1(total) \t p2(hid) \t p3(pro) \t p4(phy) \t p5(hid_con)\n";
static const char FORWARD_DETAIL_HEADER[] =
    " TOTAL\t  DD \t DA \t AD \t AA \t p(DD) \t p(DA) \t p(AD) \t p(AA)\n";
// Kept: an empty column between AD and AA that the rows do not have.
static const char BACKWARD_DETAIL_HEADER[] =
    "TOTAL \t DD \t DA \t AD \t \t AA \t p(DD) \t p(DA) \t p(AD) \t p(AA)\n";

constexpr int DETAIL_ROWS = 5; // ROW_COL to ROW_PRO

// Formats of the detail rows: [forward, backward][link in use, never used][COL_ROW].
// Kept: every row has blanks of its own, and the rows of ROW_PHY and ROW_PRO say "col".
// clang-format off
static const char *const DETAIL_FORMAT[2][2][DETAIL_ROWS] = {
    {
        {
            "col\t %7d(%7d) \t%7d(%7d) \t%7d(%7d) \t%7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "con \t%7d(%7d)\t %7d(%7d) \t%7d(%7d) \t%7d(%7d)\t %7d(%7d) \t"
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "hid \t%7d(%7d)\t %7d(%7d) \t%7d(%7d) \t%7d(%7d) \t%7d(%7d)\t "
            "%11.5f(%11.5f) \t%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col \t%7d(%7d)\t %7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
        },
        {
            "col \t%7d(%7d)\t %7d(%7d)\t%7d(%7d)\t %7d(%7d)\t%7d(%7d)\t "
            "%11.5f(%11.5f) \t%11.5f(%11.5f)\t %11.5f(%11.5f) \t%11.5f(%11.5f)\n",
            "con\t %7d(%7d)\t %7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "hid\t %7d(%7d)\t %7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d) \t"
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col\t %7d(%7d)\t %7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f) \t%11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
        },
    },
    {
        {
            "col\t %7d(%7d) \t %7d(%7d) \t %7d(%7d)\t %7d(%7d) \t%7d(%7d) \t"
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f) \t%11.5f(%11.5f)\n",
            "con \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f) \t%11.5f(%11.5f)\n",
            "hid \t%7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col \t%7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col \t%7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f) \t%11.5f(%11.5f)\t %11.5f(%11.5f)\n",
        },
        {
            "col\t %7d(%7d)\t %7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "con\t %7d(%7d) \t%7d(%7d) \t%7d(%7d)\t %7d(%7d)\t %7d(%7d) \t"
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "hid\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d) \t%7d(%7d)\t "
            "%11.5f(%11.5f) \t%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
            "col\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t %7d(%7d)\t "
            "%11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\t %11.5f(%11.5f)\n",
        },
    },
};
// clang-format on

// Share of the link's transmissions, 0 on a link that was never used.
static double Share(double count, uint64_t send_num)
{
    return send_num == 0 ? 0.0 : count / static_cast<double>(send_num);
}

// Counter of `row`: all of them, and with those of frames that had collided before taken out.
struct COUNT_PAIR {
    int32_t all;
    int32_t left;
};

static COUNT_PAIR PairTotal(int sender, int receiver, int row)
{
    int32_t all = col[sender][receiver][row].total;
    return {all, Difference32(all, dp[sender][receiver][row].total)};
}

static COUNT_PAIR PairPairing(int sender, int receiver, int row, int pairing)
{
    int32_t all = col[sender][receiver][row].pairing[pairing];
    return {all, Difference32(all, dp[sender][receiver][row].pairing[pairing])};
}

static void WriteSummaryRow(int sender, int receiver)
{
    const COL *collided = col[sender][receiver];
    const COL *repeated = dp[sender][receiver];
    uint64_t send_num = node[sender].link_tx_num[receiver];
    Print(g_fpc, " %2d -> %2d \t%7lu ", sender, receiver, AsUnsignedLong(send_num));
    for (int row = ROW_COL; row < COL_ROWS; row++) {
        Print(g_fpc, "\t%7d ", collided[row].total);
    }
    for (int row : {ROW_CON, ROW_HID, ROW_PHY, ROW_PRO}) {
        Print(g_fpc, "\t%7d ", repeated[row].total);
    }
    // Share of the window that the link's exchanges occupy, then the probabilities.
    double used = static_cast<double>(send_num) * ExchangeTicks() / g_settings.window_ticks;
    Print(g_fpc, "\t%11.5f\t %11.5f", used, Share(collided[ROW_COL].total, send_num));
    for (int row : {ROW_HID, ROW_PRO, ROW_PHY, ROW_HCON}) {
        COUNT_PAIR count = PairTotal(sender, receiver, row);
        Print(g_fpc, "\t %11.5f(%11.5f)", Share(count.all, send_num), Share(count.left, send_num));
    }
    Print(g_fpc, "\n");
}

// Writes how the collisions of a link divide into pairings of frame types, one row per class.
static void WriteDetailRows(int sender, int receiver)
{
    uint64_t send_num = node[sender].link_tx_num[receiver];
    int pass = sender < receiver ? 0 : 1;
    int usage = send_num != 0 ? 0 : 1;
    for (int row = ROW_COL; row < DETAIL_ROWS; row++) {
        COUNT_PAIR total = PairTotal(sender, receiver, row);
        COUNT_PAIR dd = PairPairing(sender, receiver, row, PAIRING_DD);
        COUNT_PAIR da = PairPairing(sender, receiver, row, PAIRING_DA);
        COUNT_PAIR ad = PairPairing(sender, receiver, row, PAIRING_AD);
        COUNT_PAIR aa = PairPairing(sender, receiver, row, PAIRING_AA);
        Print(g_fpc, DETAIL_FORMAT[pass][usage][row], total.all, total.left, dd.all, dd.left,
              da.all, da.left, ad.all, ad.left, aa.all, aa.left, Share(dd.all, send_num),
              Share(dd.left, send_num), Share(da.all, send_num), Share(da.left, send_num),
              Share(ad.all, send_num), Share(ad.left, send_num), Share(aa.all, send_num),
              Share(aa.left, send_num));
    }
}

void WriteCollision(int32_t trial, int32_t load_kbps)
{
    Print(g_fpc, "trial = \t%d\n", trial + 1);
    Print(g_fpc, "num_off = \t%f\n", load_kbps / KBPS_PER_MBPS);
    Print(g_fpc, "%s", SUMMARY_HEADER);
    for (int sender = 0; sender < NODE_NUM - 1; sender++) {
        WriteSummaryRow(sender, sender + 1);
    }
    for (int sender = NODE_NUM - 1; sender > 0; sender--) {
        WriteSummaryRow(sender, sender - 1);
    }
    Print(g_fpc, "\n");

    for (int sender = 0; sender < NODE_NUM - 1; sender++) {
        Print(g_fpc, "● %2d -> %2d \n\t%s", sender, sender + 1, FORWARD_DETAIL_HEADER);
        WriteDetailRows(sender, sender + 1);
    }
    for (int sender = NODE_NUM - 1; sender > 0; sender--) {
        Print(g_fpc, "%2d -> %2d\t \n%s", sender, sender - 1, BACKWARD_DETAIL_HEADER);
        WriteDetailRows(sender, sender - 1);
    }
    Print(g_fpc, "\n");
}
