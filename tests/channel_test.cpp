// Collisions and their classes, carrier sense, and what the ticks of a station are counted as.
#include "mac/frame.h"
#include "tests/model_fixture.h"

using ChannelTest = ModelTest;

static void Hear(int station, int kind, int sender, int receiver, int64_t start)
{
    NODE &own = node[station];
    own.signal_list[own.signal_num++] = {kind, receiver, sender, 0, start, 0};
}

// Totals of a link's rows: all, con, hid, phy, pro, hcon.
static std::vector<int64_t> Totals(const COL *rows)
{
    return Fields(rows[0].total, rows[1].total, rows[2].total, rows[3].total, rows[4].total,
                  rows[5].total);
}

static const auto NONE = Fields(0, 0, 0, 0, 0, 0);
static const auto PHY = Fields(1, 0, 1, 1, 0, 0);
static const auto PRO = Fields(1, 0, 1, 0, 1, 0);
static const auto HCON = Fields(1, 0, 1, 0, 0, 1);

// Line layout: stations 0 and 2 do not hear each other, station 1 hears both.
//
//   backoff 0 and 9:   0 -> 1  | 34 ........ DATA ........ 286 |
//                      2 -> 3      | 43 ........ DATA ........ 295 |
//                  at station 1    ^ collision                 ^ one signal left: episode over
TEST_F(ChannelTest, HiddenCollisions)
{
    const struct {
        uint64_t backoff0, backoff2;
        int dst2; // 9: by station 3; 0: by station 1, so that the second frame is hit there too
        std::vector<int64_t> link01, link21;
    } cases[] = {
        {0, 9, 9, PHY, NONE}, {9, 0, 9, PRO, NONE}, {0, 0, 9, HCON, NONE}, {0, 9, 0, PHY, PRO}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.backoff0 << " " << c.backoff2 << " " << c.dst2);
        StartScene();
        UseLine();
        Queue(0, 9, c.backoff0);
        Queue(2, c.dst2, c.backoff2);
        const uint64_t begin = 34 + std::max(c.backoff0, c.backoff2);
        RunTicks(begin);
        EXPECT_EQ(Fields(node[1].rx_error, col[0][1][ROW_COL].total), Fields(0, 0));
        flag_col[1] = 1;
        RunTicks(begin + 1);
        EXPECT_EQ(Fields(node[1].rx_error, node[1].rx_flag, flag_col[1]), Fields(1, 0, 0));
        flag_col[1] = 1;
        RunTicks(34 + 252); // counted when the overlap begins, and not again while it lasts
        EXPECT_EQ(Totals(col[0][1]), c.link01);
        EXPECT_EQ(Totals(col[2][1]), c.link21);
        EXPECT_EQ(Totals(dp[0][1]), NONE);
        for (int row = 0; row < COL_ROWS; ++row) {
            EXPECT_EQ(col[0][1][row].pairing[PAIRING_DD], col[0][1][row].total);
        }
        EXPECT_EQ(Fields(col[0][1]->station[0], col[0][1]->station[2]), Fields(1, 1));
        RunTicks(34 + 252 + 1);
        EXPECT_EQ(Fields(node[1].rx_error, node[1].recv_num, flag_col[1]), Fields(0, 0, 0));
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
        EXPECT_EQ(Totals(col[sender][sender + 1]), Fields(2, 2, 0, 0, 0, 0));
        EXPECT_EQ(col[sender][sender + 1][ROW_CON].pairing[PAIRING_DD], 1);
        EXPECT_EQ(node[sender].same_start_num, 2U);
    }
    Hear(2, FRAME_DATA, 4, 2, 35);
    RunTicks(36);
    EXPECT_EQ(Fields(node[2].signal_num, node[2].rx_error), Fields(2, 0)); // on the air itself
    EXPECT_EQ(Timeline(340, {0, 3}), (LINES{"286 RACK, 331 D&CW", "286 IDLE"}));
}

TEST_F(ChannelTest, PairingColumns)
{
    for (int pair = 0; pair < 16; ++pair) { // frame types of the victim and of the other frame
        StartScene();
        UseLine();
        Hear(1, pair / 4, 0, 1, 5);
        Hear(1, pair % 4, 2, 3, 6);
        RunTicks(1);
        EXPECT_EQ(Totals(col[0][1]), PHY);
        const bool counted = pair / 4 >= FRAME_DATA && pair % 4 >= FRAME_DATA;
        const int column = (pair / 4 - FRAME_DATA) * 2 + pair % 4 - FRAME_DATA; // DD, DA, AD, AA
        for (int row = 0; row < COL_ROWS; ++row) {
            for (int k = 0; k < PAIRING_NUM; ++k) {
                EXPECT_EQ(col[0][1][row].pairing[k],
                          counted && k == column ? col[0][1][row].total : 0)
                    << pair << " " << row << " " << k;
            }
        }
    }
    node[1].rx_error = 0;
    g_settings.window_begin = 2;
    RunTicks(2);
    EXPECT_EQ(node[1].rx_error, 1); // happens outside the window, too, but does not count
    EXPECT_EQ(Totals(col[0][1]), PHY);
}

//   0 -> 1  | 0 ............ one long DATA frame ............
//   2 -> 3      | 10 .. 20 |         | 30 .. first and second collision of the same frame
TEST_F(ChannelTest, SecondCollisionOfAFrameCountsAsRepeated)
{
    UseLine();
    Queue(0, 9);
    Queue(2, 9);
    node[0].buffer[0].tx_start = 1;
    node[2].buffer[0].tx_start = 2;
    TxPacket(0, FRAME_DATA);
    node[0].timer = 1000;
    RunTicks(10);
    TxPacket(2, FRAME_DATA);
    RunTicks(20);
    node[2].state = STATE_RDAT; // silent
    WithdrawSignal(2);
    RunTicks(30);
    EXPECT_EQ(Totals(col[0][1]), PHY);
    EXPECT_EQ(Totals(dp[0][1]), NONE);
    EXPECT_EQ(Fields(node[1].rx_error, node[1].signal_list[0].end_mark), Fields(0, 1));
    TxPacket(2, FRAME_DATA);
    RunTicks(31);
    EXPECT_EQ(Totals(col[0][1]), Fields(2, 0, 2, 2, 0, 0));
    EXPECT_EQ(Totals(dp[0][1]), PHY);
    EXPECT_EQ(Fields(dp[0][1][ROW_PHY].pairing[PAIRING_DD], dp[0][1]->station[0]), Fields(1, 0));
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
        // With itself as contention, then with the other by geometry, the flag being used up.
        EXPECT_EQ(Totals(col[0][1]), flag == 1 ? Fields(2, 1, 1, 0, 0, 1) : NONE);
        EXPECT_EQ(Totals(col[2][1]), NONE);
        EXPECT_EQ(Fields(node[1].rx_error, col[0][1]->station[2], node[1].same_start_num),
                  Fields(1, 2 * flag, 1));
    }
}

TEST_F(ChannelTest, EndOfAnEpisodeResetsWhateverTheStationDoes)
{
    for (const int nav : {0, 5}) {
        StartScene();
        Queue(0, 1, 900);
        node[0].state = STATE_RACK;
        node[0].timer = 40;
        node[0].nav = nav;
        node[0].retry_count = 3;
        node[0].rx_error = node[0].rx_flag = 1;
        RunTicks(1);
        EXPECT_EQ(Fields(node[0].state, node[0].rx_error, node[0].rx_flag, node[0].retry_count,
                         node[0].timeout_num),
                  Fields(nav == 0 ? STATE_DCW : STATE_RACK, 0, 1, 3, 0));
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
        node[0].state = STATE_TDAT; // a carrier, no frame
        node[0].timer = 100;
        RunTicks(1);
        EXPECT_EQ(
            Fields(own.backoff, own.freeze_flag, own.idle_count, own.difs_idle_num, own.eifs_flag),
            Fields(c.after, 1, 0, 0, 1))
            << c.eifs << " " << c.idle;
        own.idle_count = 100;
        RunTicks(2);
        EXPECT_EQ(own.backoff, c.after); // once per busy period
    }
}

// By state 0 to 13: whether others sense a carrier, whether signals that overlap spoil nothing,
// whether idle ticks count, and whether a busy tick freezes the backoff.
TEST_F(ChannelTest, WhatEachStateMeansToTheChannel)
{
    const std::string carrier = "--x-x-xxx-----";
    const std::string on_air = "--x-x-x-x-----";
    const std::string counts_idle = "-x-x-x-x------";
    const std::string freezes = "-x------------";
    const auto place = [](int state) -> NODE & {
        StartScene();
        NODE &own = node[2];
        own.state = state;
        own.timer = 9;
        own.backoff = 900;
        own.idle_count = 44;
        own.buffer_num = state == STATE_IDLE ? 0 : 1;
        return own;
    };
    std::string found[4];
    for (int state = STATE_IDLE; state <= STATE_RACK; ++state) {
        const auto note = [&found](int what, bool yes) { found[what] += yes ? 'x' : '-'; };
        const NODE &own = place(state);
        RunTicks(1);
        note(0, node[0].busy == 1);
        note(2, own.idle_count == 45);
        place(state);
        Hear(2, FRAME_DATA, 0, 1, 0);
        Hear(2, FRAME_DATA, 4, 5, 0);
        RunTicks(1);
        note(1, own.rx_error == 0);
        place(state);
        node[0].state = STATE_TDAT;
        node[0].timer = 9;
        RunTicks(1);
        note(3, own.freeze_flag == 1);
        EXPECT_EQ(own.backoff, own.freeze_flag == 1 ? 891U : 900U) << state; // one slot and a tick
    }
    EXPECT_EQ(found[0], carrier);
    EXPECT_EQ(found[1], on_air);
    EXPECT_EQ(found[2], counts_idle);
    EXPECT_EQ(found[3], freezes);
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
    EXPECT_EQ(Timeline(100, {0, 1}), (LINES{"0 D&CW", "1 IDLE"}));
    TxPacket(3, FRAME_ACK);
    EXPECT_EQ(Timeline(163, {0, 3}), (LINES{"162 TDAT", "128 IDLE, 162 NAV 267"}));
}

TEST_F(ChannelTest, SimultaneousActivity)
{
    g_settings.window_begin = 1000; // counted outside as well
    for (const int i : {0, 2, 4, 6, 8}) {
        node[i].state = STATE_RDAT;
    }
    node[0].state = STATE_RACK;
    node[2].state = STATE_WTDAT;
    node[0].timer = node[2].timer = node[8].timer = 100;
    node[2].nav = 50;
    node[6].state = STATE_DCW; // active up to an idle count of 34, here for 5 ticks
    node[6].backoff = 900;
    node[6].idle_count = 30;
    RunTicks(10);
    EXPECT_EQ(Fields(trans_con[0][0], trans_con[0][2], trans_con[6][0], trans_con[4][0]),
              Fields(10, 10, 5, 0));
    EXPECT_EQ(Fields(temp_trans1, temp_trans2), Fields(5, 0)); // station 4 has no part in it
    node[6].idle_count = 30;
    node[8].state = STATE_RACK;
    RunTicks(12);
    EXPECT_EQ(Fields(temp_trans1, temp_trans2), Fields(7, 2));
}

TEST_F(ChannelTest, SharesOfTime)
{
    // By state 0 to 13: idle, busy, sending, D for DIFS, O for backoff, blank for no share.
    const struct {
        const char *shares;
        int busy, nav;
        uint64_t idle_count; // before the tick, which raises it to 34 and 35 without NAV
    } cases[] = {{"ID    SBB  BBS", 0, 0, 33},
                 {"IO    SBB  BBS", 0, 0, 34},
                 {"IO    SBB  BBS", 0, 9, 0},
                 {"BB    SBB  BBS", 1, 0, 0}};
    for (const auto &c : cases) {
        for (int state = STATE_IDLE; state <= STATE_RACK; ++state) {
            StartScene();
            NODE &own = node[4];
            own.state = state;
            own.timer = 9;
            own.backoff = 900;
            own.busy = c.busy;
            own.nav = c.nav;
            own.idle_count = c.idle_count;
            own.buffer_num = state == STATE_IDLE ? 0 : 1;
            own.buffer[0].receiver = 5;
            RunTicks(1);
            const char share = c.shares[state];
            const int64_t queued = share == 'B' ? own.buffer_num : 0;
            EXPECT_EQ(Fields(own.idle_time, own.busy_time, own.send_time, own.send_hop_time[5],
                             own.backoff_time, own.backoff_hop_time[5], own.busy_queue_time,
                             own.busy_queue_hop_time[5], own.window_ticks),
                      Fields(share == 'I' || share == 'O', share == 'B',
                             share == 'S' || share == 'D', share == 'S', share == 'O', share == 'O',
                             queued, queued, 1))
                << "state " << state << " share " << share;
        }
    }
}

TEST_F(ChannelTest, QueueTimeOddities)
{
    g_settings.window_begin = 10;
    g_sim_time = 8;
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].buffer_num = 1;
    }
    node[0].buffer_hop_num[1] = node[5].buffer_hop_num[4] = 1;
    while (g_sim_time < 13) {
        node[9].recv_log_num = g_sim_time == 12 ? 1 : 0;
        node[3].same_start_flag = 1; // counted at any time
        RunTicks(g_sim_time + 1);
    }
    EXPECT_EQ(Fields(node[0].queue_time, node[0].queue_hop_time[1]), Fields(6, 3)); // twice 3 ticks
    EXPECT_EQ(Fields(node[5].queue_time, node[5].queue_hop_time[4], node[5].queue_hop_time[6]),
              Fields(3, 3, 0));
    // With a frame in the log of the last station.
    EXPECT_EQ(Fields(node[9].queue_time, node[9].delay_sum, node[8].delay_sum), Fields(3, 1, 0));
    EXPECT_EQ(node[3].same_start_num, 6U);
}
