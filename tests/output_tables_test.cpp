// The tables of links and stations, on small states filled by hand.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "driver/state.h"
#include "output/collision_table.h"
#include "output/node_statistics.h"
#include "tests/output_fixture.h"

TEST_F(OutputTest, CollisionBlock)
{
    node[0].link_tx_num[1] = 1000;
    const int32_t collided[COL_ROWS] = {40, 30, 10, 4, 5, 1};
    const int32_t repeated[COL_ROWS] = {9, 3, 2, 1, 1, 1};
    for (int row = 0; row < COL_ROWS; row++) {
        col[0][1][row].total = collided[row];
        dp[0][1][row].total = repeated[row];
    }
    const int32_t pairings[PAIRING_NUM][2] = {{8, 3}, {6, 2}, {5, 4}, {3, 1}};
    for (int k = 0; k < PAIRING_NUM; k++) {
        col[0][1][ROW_HID].pairing[k] = pairings[k][0];
        dp[0][1][ROW_HID].pairing[k] = pairings[k][1];
    }
    col[9][8][ROW_CON].total = 7; // counted, yet the link never carried a frame

    WriteCollision(1, 3000);
    EXPECT_EQ(Line("collision.txt", 0), "trial = \t2");
    EXPECT_EQ(Line("collision.txt", 1), "num_off = \t3.000000");
    // x = 1000 * 330 / 3e7; in brackets without repeats; pro stands before phy.
    EXPECT_EQ(Line("collision.txt", 3),
              "  0 ->  1 \t   1000 \t     40 \t     30 \t     10 \t      4 \t      5 \t      1 \t"
              "      3 \t      2 \t      1 \t      1 \t    0.01100\t     0.04000\t"
              "     0.01000(    0.00800)\t     0.00500(    0.00400)\t     0.00400(    0.00300)\t"
              "     0.00100(    0.00000)");
    EXPECT_PRED2(HasPrefix, Line("collision.txt", 12), "  9 ->  8 \t      0 \t      0 \t      7 ");
    EXPECT_EQ(Line("collision.txt", 22), "●  0 ->  1 ");
    EXPECT_EQ(Line("collision.txt", 26),
              "hid \t     10(      8)\t       8(      5) \t      6(      4) \t      5(      1) \t"
              "      3(      2)\t     0.00800(    0.00500) \t    0.00600(    0.00400)\t"
              "     0.00500(    0.00100)\t     0.00300(    0.00200)");
    // 9 forward blocks of 7 lines each end at line 84.
    EXPECT_EQ(Line("collision.txt", 85), " 9 ->  8\t ");
    EXPECT_EQ(Line("collision.txt", 88),
              "con\t       7(      7) \t      0(      0) \t      0(      0)\t       0(      0)\t"
              "       0(      0) \t    0.00000(    0.00000)\t     0.00000(    0.00000)\t"
              "     0.00000(    0.00000)\t     0.00000(    0.00000)");
    EXPECT_PRED2(HasSuffix, Text("collision.txt"), ")\n\n");
}

TEST_F(OutputTest, NodeStatistics)
{
    g_interval = 12000;
    g_ariv_rate = 1.0 / 12000.0;
    NODE &source = node[2];
    source.gene_num = 2500;
    source.tx_num = 2600;
    source.link_tx_num[3] = 2599;
    source.timeout_num = 101;
    source.timeout_hop[3] = 100;
    source.drop_num = 5;
    source.over_num = 9;
    source.rx_dat_num = 8;
    source.recv_num = 7;
    source.recv_from[3] = 6;
    source.dup_num = 3;
    source.buffer_avg = 1.25;
    source.send_time = 3'000'000;
    source.busy_time = 6'000'000;
    source.busy_queue_time = 4'500'000;
    source.idle_time = 20'000'000;
    source.backoff_time = 1'500'000;
    source.backoff_draws = 4;
    source.backoff_slot_sum = 30;
    NODE &destination = node[3];
    destination.tx_num = 1000;
    destination.link_tx_num[2] = 999;
    destination.timeout_num = 250;
    destination.timeout_hop[2] = 249;
    destination.over_num = 11;
    destination.rx_dat_num = 2501;
    destination.recv_num = 2500;
    destination.recv_from[2] = 2499;
    destination.dup_num = 1;
    destination.buffer_avg = 0.5;
    node[5].tx_num = 1; // with RTS: more time-outs than DATA frames
    node[5].timeout_num = 10;
    trans_con[8][9] = 15'000'000;
    X_count[8][9] = 1;
    Y_count[8][9] = 2;
    Z_count[8][9] = 3;
    WriteNodeStat(0, 1000);

    EXPECT_EQ(Line("node_stat.txt", 4), "g_interval = 12000\tload = 1.000000");
    EXPECT_EQ(Line("node_stat.txt", 5), "g_ariv_rate = 0.000083\tload = 83.333333");
    EXPECT_EQ(Line("node_stat.txt", 9),
              "  2 \t    2500 \t    2600 \t    2599\t    0.00000\t    101\t    100\t      0\t"
              "      5\t    0.00200\t      9\t      8\t      7\t      0\t      6\t      3\t"
              "    1.25000\t    7.50000\t    0.10000\t    1.00000\t    0.00280\t"
              "0.133333\t0.200000\t0.150000\t0.666667\t0.050000\t0.966667");
    // x = (1000 * 296 + 750 * 34) / 3e7; no arrivals: the drop rate is 0 / 0; one draw of 0 slots.
    EXPECT_EQ(Line("node_stat.txt", 10),
              " 3 \t      0 \t   1000 \t      0 \t    999 \t    250 \t      0 \t    249 \t"
              "      0 \t       -nan\t     11 \t   2501 \t   2500 \t   2499\t       0\t       1\t"
              "     0.50000 \t    0.00000 \t    0.01072 \t    0.00000\t     1.00000\t"
              "inf\t0.000000\t0.000000\t0.000000\t0.000000\t0.000000");
    // x = (1 * 296 - 9 * 34) / 3e7 wraps to (2^64 - 10) / 3e7.
    EXPECT_NE(Line("node_stat.txt", 12).find("\t614891469123.65173 \t"), std::string::npos);
    EXPECT_EQ(Line("trans_con.txt", 6), "2-4\t2-8");
    EXPECT_EQ(Line("trans_con.txt", 52), "node[8][9]\t    0.50000\t1\t2\t3");
    trans_con[8][9] = X_count[8][9] = Y_count[8][9] = Z_count[8][9] = 0;
}
