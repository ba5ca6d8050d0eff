// Collisions and their classes, carrier sense, and what the ticks of a station are counted as.
#include "channel/channel.h"

#include <vector>

#include "mac/frame.h"
#include "output/accounting.h"
#include "tests/model_fixture.h"

using ChannelTest = ModelTest;

static void Hear(int station, int kind, int sender, int receiver, int64_t start)
{
    NODE &own = node[station];
    own.signal_list[own.signal_num++] = {kind, receiver, sender, 0, start, 0};
}

// The rows of a link that hold `total`, as a set of bits; any other total but 0 is an error.
static int RowsOf(COL *const rows, int total)
{
    int set = 0;
    for (int row = 0; row < COL_ROWS; ++row) {
        EXPECT_TRUE(rows[row].total == 0 || rows[row].total == total) << row;
        set |= rows[row].total != 0 ? 1 << row : 0;
    }
    return set;
}

constexpr int CON = 1 << ROW_COL | 1 << ROW_CON;
constexpr int HID = 1 << ROW_COL | 1 << ROW_HID;
constexpr int PHY = HID | 1 << ROW_PHY;
constexpr int PRO = HID | 1 << ROW_PRO;
constexpr int HCON = HID | 1 << ROW_HCON;

// Line layout: stations 0 and 2 do not hear each other, station 1 hears both.
//
//   backoff 0 and 9:   0 -> 1  | 34 ........ DATA ........ 286 |
//                      2 -> 3      | 43 ........ DATA ........ 295 |
//                  at station 1    ^ collision                 ^ one signal left: episode over
TEST_F(ChannelTest, HiddenCollisions)
{
    const struct {
        uint64_t backoff0, backoff2;
        int dst2; // 9: by station 3; 0: by station 1, which the second frame then collides at, too
        int rows0, rows2;
    } cases[] = {
        {0, 9, 9, PHY, 0},
        {9, 0, 9, PRO, 0},
        {0, 0, 9, HCON, 0},
        {0, 9, 0, PHY, PRO},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.backoff0 << " " << c.backoff2 << " " << c.dst2);
        StartScene();
        UseLine();
        Queue(0, 9, c.backoff0);
        Queue(2, c.dst2, c.backoff2);
        const uint64_t begin = 34 + std::max(c.backoff0, c.backoff2);
        RunTicks(begin);
        EXPECT_EQ(col[0][1][ROW_COL].total, 0);
        EXPECT_EQ(node[1].rx_error, 0);
        RunTicks(begin + 1);
        EXPECT_EQ(node[1].rx_error, 1);
        EXPECT_EQ(node[1].rx_flag, 0);
        RunTicks(34 + 252); // counted on the tick on which the overlap starts, and never again
        EXPECT_EQ(RowsOf(col[0][1], 1), c.rows0);
        EXPECT_EQ(RowsOf(col[2][1], 1), c.rows2);
        EXPECT_EQ(RowsOf(dp[0][1], 1), 0);
        for (int row = 0; row < COL_ROWS; ++row) {
            EXPECT_EQ(col[0][1][row].pairing[PAIRING_DD], col[0][1][row].total);
        }
        EXPECT_EQ(col[0][1][ROW_COL].station[0], 1);
        EXPECT_EQ(col[0][1][ROW_COL].station[2], 1);
        RunTicks(34 + 252 + 1);
        EXPECT_EQ(node[1].rx_error, 0);
        EXPECT_EQ(node[1].recv_num, 0U);
    }
}

// Stations 0 and 2 of the design layout hear each other and start together: a contention collision
// at each receiver, and one more by the flag of the common start.
TEST_F(ChannelTest, ContentionCollision)
{
    Queue(0, 1);
    Queue(2, 3);
    RunTicks(35);
    for (const int sender : {0, 2}) {
        EXPECT_EQ(RowsOf(col[sender][sender + 1], 2), CON);
        EXPECT_EQ(col[sender][sender + 1][ROW_CON].pairing[PAIRING_DD], 1);
        EXPECT_EQ(node[sender].same_start_num, 2U);
        EXPECT_EQ(node[sender].rx_error, 0); // on the air itself
    }
    EXPECT_EQ(node[3].state, STATE_RDAT);
    ExpectChange(286, 3, STATE_RDAT, STATE_IDLE);
    EXPECT_EQ(node[0].timeout_num, 0);
    ExpectChange(331, 0, STATE_RACK, STATE_DCW);
    EXPECT_EQ(node[0].timeout_num, 1);
}

TEST_F(ChannelTest, PairingColumns)
{
    UseLine();
    for (int victim = FRAME_RTS; victim <= FRAME_ACK; ++victim) {
        for (int other = FRAME_RTS; other <= FRAME_ACK; ++other) {
            SCOPED_TRACE(testing::Message() << victim << " " << other);
            memset(col[0][1], 0, COL_ROWS * sizeof(COL));
            node[1].signal_num = node[1].rx_error = 0;
            Hear(1, victim, 0, 1, 5);
            Hear(1, other, 2, 3, 6);
            RunTicks(g_sim_time + 1);
            EXPECT_EQ(RowsOf(col[0][1], 1), PHY);
            const bool counted = victim >= FRAME_DATA && other >= FRAME_DATA;
            const int column = (victim - FRAME_DATA) * 2 + other - FRAME_DATA; // DD, DA, AD, AA
            for (const int row : {ROW_COL, ROW_HID, ROW_PHY}) {
                for (int k = 0; k < PAIRING_NUM; ++k) {
                    EXPECT_EQ(col[0][1][row].pairing[k], counted && k == column ? 1 : 0);
                }
            }
        }
    }
    node[1].signal_num = node[1].rx_error = 0;
    g_settings.window_begin = g_sim_time + 1;
    Hear(1, FRAME_DATA, 0, 1, 5);
    Hear(1, FRAME_DATA, 2, 3, 6);
    RunTicks(g_sim_time + 1);
    EXPECT_EQ(node[1].rx_error, 1); // happens outside the window, but does not count
    EXPECT_EQ(col[0][1][ROW_COL].total, 1);
}

//   0 -> 1  | 0 ............ one long DATA frame ............
//   2 -> 3      | 10 .. 20 |         | 30 .. first and second collision of the same frame
TEST_F(ChannelTest, SecondCollisionOfAFrameCountsAsRepeated)
{
    UseLine();
    Queue(0, 9);
    Queue(2, 9);
    TxPacket(0, FRAME_DATA);
    node[0].timer = 1000;
    RunTicks(10);
    TxPacket(2, FRAME_DATA);
    RunTicks(20);
    node[2].state = STATE_RDAT; // silent
    WithdrawSignal(2);
    RunTicks(30);
    EXPECT_EQ(RowsOf(col[0][1], 1), PHY);
    EXPECT_EQ(RowsOf(dp[0][1], 1), 0);
    EXPECT_EQ(node[1].rx_error, 0);
    EXPECT_EQ(node[1].signal_list[0].end_mark, 1);
    TxPacket(2, FRAME_DATA);
    RunTicks(31);
    EXPECT_EQ(RowsOf(col[0][1], 2), PHY);
    EXPECT_EQ(RowsOf(dp[0][1], 1), PHY);
    EXPECT_EQ(dp[0][1][ROW_PHY].pairing[PAIRING_DD], 1);
    EXPECT_EQ(dp[0][1][ROW_COL].station[0], 0); // not kept for repeated ones
}

TEST_F(ChannelTest, SameStartFlagPairsTheFirstSignalWithItself)
{
    for (const int flag : {0, 1}) {
        StartScene();
        UseLine();
        Hear(1, FRAME_DATA, 0, 9, 7); // both signals are for somebody else
        Hear(1, FRAME_DATA, 2, 3, 7);
        node[1].same_start_flag = flag;
        RunTicks(1);
        EXPECT_EQ(node[1].rx_error, 1);
        const COL *rows = col[0][1];
        EXPECT_EQ(rows[ROW_COL].total, 2 * flag);
        EXPECT_EQ(rows[ROW_COL].station[2], 2 * flag);
        EXPECT_EQ(rows[ROW_CON].total, flag);  // with itself
        EXPECT_EQ(rows[ROW_HCON].total, flag); // with the other, the flag being used up
        EXPECT_EQ(RowsOf(col[2][1], 1), 0);
        EXPECT_EQ(node[1].same_start_num, 1U); // nothing left for the accounting
    }
}

TEST_F(ChannelTest, EpisodesStartAndEnd)
{
    const STATE sending[] = {STATE_TRTS, STATE_TCTS, STATE_TDAT, STATE_TACK};
    for (const STATE state : sending) {
        StartScene();
        node[3].state = state;
        node[3].timer = 100;
        Hear(3, FRAME_DATA, 2, 3, 0);
        Hear(3, FRAME_DATA, 4, 3, 0);
        RunTicks(1);
        EXPECT_EQ(node[3].rx_error, 0);
    }
    // The end of an episode takes a station out of whatever it does, with no time-out counted.
    for (const int nav : {0, 5}) {
        StartScene();
        Queue(0, 1, 900);
        node[0].state = STATE_RACK;
        node[0].timer = 40;
        node[0].nav = nav;
        node[0].retry_count = 3;
        node[0].rx_error = node[0].rx_flag = 1;
        RunTicks(1);
        EXPECT_EQ(node[0].rx_error, 0);
        EXPECT_EQ(node[0].state, nav == 0 ? STATE_DCW : STATE_RACK);
        EXPECT_EQ(node[0].rx_flag, 1);
        EXPECT_EQ(node[0].retry_count, 3);
        EXPECT_EQ(node[0].timeout_num, 0);
    }
}

TEST_F(ChannelTest, BackoffFreezesAtTheFirstBusyTick)
{
    const struct {
        int eifs;
        uint64_t idle, backoff, after;
    } cases[] = {
        {0, 34, 91, 91}, // not beyond DIFS: left as it is
        {0, 35, 91, 90}, // one tick gone
        {0, 35, 90, 90}, // 89, rounded up
        {0, 44, 90, 81}, // 80, rounded up
        {0, 43, 90, 81}, // a whole slot
        {1, 78, 91, 91}, // not beyond EIFS
        {1, 79, 91, 90}, {1, 88, 90, 81},
    };
    for (const auto &c : cases) {
        StartScene();
        NODE &own = node[2];
        own.state = STATE_DCW;
        own.eifs_flag = c.eifs;
        own.idle_count = c.idle;
        own.backoff = c.backoff;
        own.difs_idle_num = 5;
        node[0].state = STATE_TDAT; // a carrier
        node[0].timer = 100;
        RunTicks(1);
        EXPECT_EQ(own.backoff, c.after) << c.eifs << " " << c.idle;
        EXPECT_EQ(own.freeze_flag, 1);
        EXPECT_EQ(own.idle_count, 0U);
        EXPECT_EQ(own.difs_idle_num, 0);
        EXPECT_EQ(own.eifs_flag, 1); // no frame to be decoded
        own.idle_count = 100;
        RunTicks(2);
        EXPECT_EQ(own.backoff, c.after); // once per busy period
    }
}

// tick       0       1             100       128        162
// station 1  | SIFS  | gives up
// station 3                        | ACK 28  |
// station 0  | senses the carrier for ever   | DIFS 34  | DATA
TEST_F(ChannelTest, CarrierStaysUntilSomeFrameEnds)
{
    Queue(0, 1);
    node[1].state = STATE_WTACK;
    node[1].timer = 1;
    ExpectChange(1, 1, STATE_WTACK, STATE_IDLE);
    RunTicks(100);
    EXPECT_EQ(node[0].busy, 1);
    EXPECT_EQ(node[0].idle_count, 0U);
    TxPacket(3, FRAME_ACK);
    RunTicks(128);
    EXPECT_EQ(node[0].eifs_flag, 1);
    ExpectChange(162, 0, STATE_DCW, STATE_TDAT);
}

TEST_F(ChannelTest, WhatIsCountedWhileTheMediumIsIdle)
{
    for (int state = STATE_IDLE; state <= STATE_RACK; ++state) {
        for (const int held : {0, 1, 2, 3}) { // by nothing, NAV, a signal, a spoiled reception
            StartScene();
            NODE &own = node[0];
            own.state = state;
            own.timer = 100;
            own.backoff = 900;
            own.nav = held == 1 ? 9 : 0;
            own.signal_num = held == 2 ? 1 : held == 3 ? 2 : 0;
            own.rx_error = held == 3 ? 1 : 0;
            own.rx_flag = 1;
            own.rx_frame.corrupt = 1; // nothing to react to
            own.rx_count = 5;
            RunTicks(1);
            const bool waits = state == STATE_DCW || state == STATE_WTCTS || state == STATE_WTDAT ||
                               state == STATE_WTACK;
            EXPECT_EQ(own.idle_count, waits && held == 0 ? 1U : 0U) << state << " " << held;
            EXPECT_EQ(own.difs_idle_num, state == STATE_DCW && held == 0 ? 1 : 0);
            EXPECT_EQ(own.rx_count, held < 2 ? 0U : held == 2 ? 6U : 5U) << state << " " << held;
        }
    }
}

TEST_F(ChannelTest, SimultaneousActivity)
{
    g_settings.window_begin = 1000; // counted outside as well
    for (const int i : {0, 2, 6, 4}) {
        node[i].state = STATE_RDAT;
    }
    node[0].state = STATE_RACK;
    node[0].timer = 100;
    node[2].state = STATE_WTDAT;
    node[2].timer = 100;
    node[2].nav = 50;
    node[6].state = STATE_DCW; // active while inside DIFS: idle counts 30 to 34 before the tick
    node[6].backoff = 900;
    node[6].idle_count = 30;
    RunTicks(10);
    EXPECT_EQ(trans_con[0][0], 10U);
    EXPECT_EQ(trans_con[0][2], 10U);
    EXPECT_EQ(trans_con[6][0], 5U);
    EXPECT_EQ(trans_con[4][0], 0U);
    EXPECT_EQ(temp_trans1, 5); // station 4 has no part in it
    EXPECT_EQ(temp_trans2, 0);
    node[6].idle_count = 30;
    node[8].state = STATE_RACK;
    node[8].timer = 100;
    RunTicks(12);
    EXPECT_EQ(temp_trans1, 7);
    EXPECT_EQ(temp_trans2, 2);
}

TEST_F(ChannelTest, SharesOfTime)
{
    enum : unsigned { NONE, IDLE = 1, BUSY = 2, SEND = 4, HOP = 8, BACKOFF = 16 };
    const struct {
        int state, busy, nav;
        uint64_t idle_count;
        unsigned counted;
    } cases[] = {
        {STATE_IDLE, 0, 0, 0, IDLE},
        {STATE_IDLE, 1, 0, 0, BUSY},
        {STATE_DCW, 1, 0, 0, BUSY},
        {STATE_DCW, 0, 0, 34, SEND},
        {STATE_DCW, 0, 0, 35, IDLE | BACKOFF},
        {STATE_DCW, 0, 9, 0, IDLE | BACKOFF},
        {STATE_TDAT, 1, 0, 0, SEND | HOP},
        {STATE_RACK, 0, 0, 0, SEND | HOP},
        {STATE_WTACK, 0, 0, 0, BUSY},
        {STATE_TACK, 0, 0, 0, BUSY},
        {STATE_WRDAT, 0, 0, 0, BUSY},
        {STATE_RDAT, 0, 0, 0, BUSY},
        {STATE_TRTS, 1, 0, 0, NONE},
        {STATE_WTCTS, 1, 0, 0, NONE},
        {STATE_TCTS, 1, 0, 0, NONE},
        {STATE_WTDAT, 1, 0, 0, NONE},
        {STATE_WRCTS, 1, 0, 0, NONE},
    };
    for (const auto &c : cases) {
        for (const unsigned queued : {0U, 1U}) {
            SCOPED_TRACE(testing::Message() << c.state << " " << queued);
            StartScene();
            NODE &own = node[4];
            own.state = c.state;
            own.busy = c.busy;
            own.nav = c.nav;
            own.idle_count = c.idle_count;
            own.buffer_num = static_cast<int32_t>(queued);
            own.buffer[0].receiver = 5;
            WriteNodeStateAll();
            const unsigned busy = c.counted / BUSY & 1;
            EXPECT_EQ(own.window_ticks, 1U);
            EXPECT_EQ(own.idle_time, c.counted & IDLE);
            EXPECT_EQ(own.busy_time, busy);
            EXPECT_EQ(own.busy_queue_time, busy * queued);
            EXPECT_EQ(own.busy_queue_hop_time[5], busy * queued);
            EXPECT_EQ(own.send_time, c.counted / SEND & 1);
            EXPECT_EQ(own.send_hop_time[5], c.counted / HOP & 1);
            EXPECT_EQ(own.backoff_time, c.counted / BACKOFF & 1);
            EXPECT_EQ(own.backoff_hop_time[5], c.counted / BACKOFF & 1);
        }
    }
}

TEST_F(ChannelTest, QueueTimeOddities)
{
    g_settings.window_begin = 10;
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].buffer_num = 1;
    }
    node[0].buffer_hop_num[1] = 1;
    node[5].buffer_hop_num[4] = 2;
    for (g_sim_time = 8; g_sim_time < 13; ++g_sim_time) {
        node[9].recv_log_num = g_sim_time == 12 ? 1 : 0;
        node[3].same_start_flag = 1; // counted at any time
        check_flag();
        WriteNodeStateAll();
    }
    EXPECT_EQ(node[0].queue_time, 6U); // twice each of 3 ticks
    EXPECT_EQ(node[0].queue_hop_time[1], 3U);
    EXPECT_EQ(node[5].queue_time, 3U);
    EXPECT_EQ(node[5].queue_hop_time[4], 3U);
    EXPECT_EQ(node[5].queue_hop_time[6], 0U);
    EXPECT_EQ(node[9].queue_time, 3U);
    EXPECT_EQ(node[9].delay_sum, 1U); // with a frame in the log
    EXPECT_EQ(node[8].delay_sum, 0U);
    EXPECT_EQ(node[3].same_start_num, 6U);
}
