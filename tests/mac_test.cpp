// Frame exchanges tick by tick, and the single steps of the transmit and receive side. The scenes
// run in the design layout unless they say otherwise; the packets are queued before tick 0.
#include <vector>

#include "driver/station.h"
#include "mac/frame.h"
#include "mac/receive.h"
#include "mac/timeout.h"
#include "mac/transmit.h"
#include "tests/model_fixture.h"

using MacTest = ModelTest;

// tick       0      34                         286       302       330
// station 0  | DIFS | DATA 252                 | waits for the ACK | idle
// station 1         | receives                 | SIFS 16 | ACK 28  | idle
// station 2         | NAV 268                            |
TEST_F(MacTest, DataAndAck)
{
    Queue(0, 1);
    node[0].buffer[0].nav_value = RTS_THRESHOLD; // the threshold itself: no RTS
    node[4].state = STATE_RDAT;
    node[5].state = STATE_WTDAT;
    node[8].busy = 1;
    RunTicks(34);
    node[2].state = node[3].state = STATE_DCW;
    node[2].idle_count = 33; // the stations behind the sender have not had this tick's idle count
    node[3].idle_count = 35;
    RunTicks(35);
    // What the sender found: itself and a station inside DIFS; a receiver and an idle one that is
    // busy; the rest, a station in its backoff among them.
    const uint64_t x[NODE_NUM] = {1, 0, 1};
    const uint64_t y[NODE_NUM] = {0, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int j = 0; j < NODE_NUM; ++j) {
        EXPECT_EQ(X_count[0][j], x[j]) << j;
        EXPECT_EQ(Y_count[0][j], y[j]) << j;
        EXPECT_EQ(Z_count[0][j], 1 - x[j] - y[j]) << j;
    }

    StartScene();
    Queue(0, 1);
    ExpectChange(34, 0, STATE_DCW, STATE_TDAT);
    EXPECT_EQ(node[1].state, STATE_RDAT); // an idle station reacts at once
    EXPECT_EQ(node[2].nav, 267);
    EXPECT_EQ(node[4].signal_num, 0);
    ExpectChange(286, 0, STATE_TDAT, STATE_RACK);
    EXPECT_EQ(node[0].tx_time_sum, 252U);
    EXPECT_EQ(node[1].state, STATE_WTACK);
    EXPECT_EQ(node[0].busy, 1); // the SIFS before an ACK counts as carrier
    RunTicks(301);
    EXPECT_EQ(node[2].nav, 1);
    RunTicks(302);
    EXPECT_EQ(node[2].nav, 0);
    ExpectChange(302, 1, STATE_WTACK, STATE_TACK);
    ExpectChange(330, 0, STATE_RACK, STATE_IDLE);
    EXPECT_EQ(node[1].state, STATE_IDLE);
    EXPECT_EQ(node[0].eifs_flag, 0);
    EXPECT_EQ(node[2].nav, 0); // none for an ACK

    EXPECT_EQ(node[0].tx_num, 1U);
    EXPECT_EQ(node[0].link_tx_num[1], 1U);
    EXPECT_EQ(node[0].buffer_hop_num[1], 0);
    EXPECT_EQ(node[0].access_wait_sum, 34U);
    EXPECT_EQ(node[0].hop_delay_sum[1], 330U);
    // Ticks 286 to 330 are 45: the first 16, and the rest less 1.
    EXPECT_EQ(node[0].ack_wait_sum, 16U);
    EXPECT_EQ(node[0].ack_wait_over_sum, 28U);
    EXPECT_EQ(node[1].rx_dat_num, 1U);
    EXPECT_EQ(node[1].recv_from[0], 1U);
    EXPECT_EQ(node[1].delay_sum, 286U);
    // The frame is left in the first place of the receiver's queue, which stays empty.
    EXPECT_EQ(node[1].buffer_num, 0);
    EXPECT_EQ(node[1].buffer[0].receiver, 1);
}

// tick       0      52               80                304    320   348        409
// station 0  | DIFS, backoff 18 | DATA                 |      | ACK | idle
// station 2  | backoff 45, 18 of it gone | NAV 268, till 347 in all | DIFS, 27 | DATA
//                   ^ frozen         ^ 28 ticks into the frame
TEST_F(MacTest, ContenderFreezesAndResumes)
{
    Queue(0, 1, 18);
    Queue(2, 3, 45);
    ExpectChange(52, 0, STATE_DCW, STATE_TDAT);
    EXPECT_EQ(node[2].backoff, 27U);
    RunTicks(80);
    EXPECT_EQ(node[2].nav, 0);
    RunTicks(81);
    EXPECT_EQ(node[2].nav, 267);
    ExpectChange(348, 0, STATE_RACK, STATE_IDLE);
    EXPECT_EQ(node[2].eifs_flag, 0);
    ExpectChange(409, 2, STATE_DCW, STATE_TDAT);
}

// tick       34    64       80    108       124         152        376      392   420
// station 0  | RTS | waits        | SIFS    | DATA 252             | waits      | idle
// station 1        | SIFS   | CTS | waits               | receives | SIFS  | ACK | contends
// station 2  | NAV 356      | NAV 312 from here         (DATA: 268 left, not raised)  | till 391
TEST_F(MacTest, RtsCtsDataAck)
{
    Queue(0, 1);
    node[0].buffer[0].nav_value = RTS_THRESHOLD + 1;
    Queue(1, 0, 900); // contends, and so waits for the end of the RTS
    ExpectChange(34, 0, STATE_DCW, STATE_TRTS);
    EXPECT_EQ(node[0].buffer[0].tx_start, 0U);
    EXPECT_EQ(node[2].nav, 355);
    ExpectChange(64, 0, STATE_TRTS, STATE_WRCTS);
    EXPECT_EQ(node[1].state, STATE_WTCTS);
    ExpectChange(80, 1, STATE_WTCTS, STATE_TCTS);
    EXPECT_EQ(node[2].nav, 311); // 356 - 46 = 310 were left
    ExpectChange(108, 0, STATE_WRCTS, STATE_WTDAT);
    EXPECT_EQ(node[1].state, STATE_WRDAT);
    ExpectChange(124, 0, STATE_WTDAT, STATE_TDAT);
    EXPECT_EQ(node[2].nav, 267);
    ExpectChange(152, 1, STATE_WRDAT, STATE_RDAT); // its 45 ticks would have ended in 153
    ExpectChange(376, 0, STATE_TDAT, STATE_RACK);
    EXPECT_EQ(node[1].delay_sum, 376U);
    RunTicks(391);
    EXPECT_EQ(node[2].nav, 1);
    RunTicks(392);
    EXPECT_EQ(node[2].nav, 0);
    ExpectChange(392, 1, STATE_WTACK, STATE_TACK);
    ExpectChange(420, 0, STATE_RACK, STATE_IDLE);
    EXPECT_EQ(node[1].state, STATE_DCW);
    EXPECT_EQ(node[1].buffer[1].dst, 1); // the delivered frame, behind the station's own packet
    EXPECT_EQ(node[1].buffer_num, 1);
}

// An idle station reacts at the start of an RTS, so its 45 ticks end in the 15th tick of SIFS.
//
// tick       34        64             79   80       109
// station 0  | RTS 30  | waits 45                   | time-out
// station 1  | "SIFS", 45 ticks       | gives up
//                                          ^ CTS would be due
TEST_F(MacTest, IdleStationNeverAnswersAnRts)
{
    Queue(0, 1);
    node[0].buffer[0].nav_value = RTS_THRESHOLD + 1;
    RunTicks(35);
    EXPECT_EQ(node[1].state, STATE_WTCTS);
    ExpectChange(79, 1, STATE_WTCTS, STATE_IDLE);
    ExpectChange(109, 0, STATE_WRCTS, STATE_DCW);
    EXPECT_EQ(node[0].retry_count, 1);
    EXPECT_EQ(node[0].timeout_hop[1], 1);
    EXPECT_EQ(node[0].cw, 31);
}

// tick       302      331                 409          661      677   705
// station 0  |        | time-out, EIFS 78 | DATA again | waits        | idle
// station 1  | ACK, unheard               | receives   | SIFS   | ACK | idle
TEST_F(MacTest, LostAckLeadsToADuplicate)
{
    Queue(0, 1);
    RunTicks(303);
    node[0].rx_flag = 0; // the ACK's beginning is missed: carrier without a frame
    ExpectChange(331, 0, STATE_RACK, STATE_DCW);
    // Ticks 286 to 331 are 46: the first 16, and the rest less 2.
    EXPECT_EQ(node[0].ack_wait_sum, 16U);
    EXPECT_EQ(node[0].ack_wait_over_sum, 28U);
    node[0].backoff = 0;
    const uint64_t classified = X_count[0][0];
    ExpectChange(409, 0, STATE_DCW, STATE_TDAT);
    EXPECT_EQ(node[0].eifs_flag, 0);
    EXPECT_EQ(X_count[0][0], classified);          // not after an EIFS
    EXPECT_EQ(node[0].access_wait_sum, 34U + 34U); // 78 - 44
    ExpectChange(661, 1, STATE_RDAT, STATE_WTACK);
    EXPECT_EQ(node[1].dup_num, 1);
    EXPECT_EQ(node[1].dup_flag, 0);
    EXPECT_EQ(node[1].rx_dat_num, 2U);
    EXPECT_EQ(node[1].recv_num, 1U);
    ExpectChange(705, 0, STATE_RACK, STATE_IDLE);
    EXPECT_EQ(node[0].retry_count, 0);
    EXPECT_EQ(node[0].cw, 15);
}

// attempt:  DIFS 34 | DATA 252 | time-out 45      = 331 ticks
TEST_F(MacTest, RetriesUpToTheDrop)
{
    Queue(0, 1);
    Queue(0, 1);
    node[0].buffer[1].receiver = 2;
    node[0].connect_num = 0; // nobody gets its frames
    const int cw[] = {31, 63, 127, 255, 511, 1023, 1023};
    for (uint64_t attempt = 0; attempt < 8; ++attempt) {
        ExpectChange(331 * attempt + 34, 0, STATE_DCW, STATE_TDAT);
        ExpectChange(331 * attempt + 331, 0, STATE_RACK, STATE_DCW);
        if (attempt < 7) {
            EXPECT_EQ(node[0].cw, cw[attempt]);
            EXPECT_EQ(node[0].retry_count, static_cast<int>(attempt) + 1);
        }
        node[0].backoff = 0;
    }
    EXPECT_EQ(node[0].cw, 15);
    EXPECT_EQ(node[0].retry_count, 0);
    EXPECT_EQ(node[0].buffer_num, 1);
    EXPECT_EQ(node[0].buffer_hop_num[1], 1);
    EXPECT_EQ(node[0].timeout_hop[1], 8);
    EXPECT_EQ(node[0].drop_num, 1);
    EXPECT_EQ(node[0].drop_hop[1], 0);
    EXPECT_EQ(node[0].drop_hop[2], 1); // the hop of the packet behind
    EXPECT_EQ(node[0].buffer[0].age_base, 2648U);

    node[0].retry_count = 7;
    Timeout(0); // the last packet: its record stays at the head
    EXPECT_EQ(node[0].drop_hop[2], 2);
    EXPECT_EQ(node[0].buffer_num, 0);
    EXPECT_EQ(node[0].state, STATE_IDLE);

    node[0].retry_count = 8;
    node[0].state = STATE_RACK;
    Timeout(0); // beyond the limit: nothing but the count of time-outs
    EXPECT_EQ(node[0].state, STATE_RACK);
    EXPECT_EQ(node[0].retry_count, 8);
    EXPECT_EQ(node[0].drop_num, 2);
}

// Line layout: eight relays, each taking 330 ticks from DIFS to ACK, then the last DATA frame.
TEST_F(MacTest, RelaysCarryAPacketAlongTheLine)
{
    for (const bool up : {true, false}) {
        SCOPED_TRACE(up);
        StartScene();
        UseLine();
        const auto at = [up](int place) { return up ? place : 9 - place; };
        Queue(at(0), at(9));
        for (int hop = 0; hop < 9; ++hop) {
            const uint64_t begin = 330 * static_cast<uint64_t>(hop);
            ExpectChange(begin + 34, at(hop), STATE_DCW, STATE_TDAT);
            ExpectChange(begin + 286, at(hop + 1), STATE_RDAT, STATE_WTACK);
            ExpectChange(begin + 330, at(hop), STATE_RACK, STATE_IDLE);
            EXPECT_EQ(node[at(hop)].hop_delay_sum[at(hop + 1)], 330U) << hop;
            EXPECT_EQ(node[at(hop)].buffer_hop_num[at(hop + 1)], 0) << hop;
            EXPECT_EQ(node[at(hop + 1)].recv_from[at(hop)], 1U) << hop;
        }
        EXPECT_EQ(node[at(9)].delay_sum, 330U * 8 + 286);
        EXPECT_EQ(node[at(9)].buffer_num, 0);
        EXPECT_EQ(node[at(5)].delay_sum, 0U);
        EXPECT_EQ(node[at(5)].buffer[0].src, at(0));
        EXPECT_EQ(node[at(5)].buffer[0].sender, at(5));
    }
}

TEST_F(MacTest, FullRelayAcknowledgesWithoutLogging)
{
    UseLine();
    g_settings.queue_limit = 1;
    Queue(1, 9, 9000);
    Queue(0, 9);
    ExpectChange(62, 1, STATE_DCW, STATE_RDAT); // a contender takes the frame after 28 ticks
    ExpectChange(330, 0, STATE_RACK, STATE_IDLE);
    EXPECT_EQ(node[1].rx_dat_num, 1U);
    EXPECT_EQ(node[1].over_num, 1);
    EXPECT_EQ(node[1].recv_num, 0U);
    EXPECT_EQ(node[1].recv_log_num, 0);
    EXPECT_EQ(node[1].buffer_num, 1);
}

TEST_F(MacTest, LastFlowHasNoDelaySum)
{
    for (int sender = 0; sender < NODE_NUM; sender += 2) {
        StartScene();
        Queue(sender, sender + 1);
        RunTicks(400);
        EXPECT_EQ(node[sender + 1].delay_sum, sender == 8 ? 286U + 34 : 286U); // see accounting
        EXPECT_EQ(ave_delay[sender / 2], sender == 8 ? 0U : 286U);
    }
}

TEST_F(MacTest, ReactionToAFrame)
{
    constexpr int OTHER = 7;
    const struct {
        int type, receiver;
        STATE state;
        int nav, timer, lock;
    } cases[] = {
        {FRAME_RTS, 2, STATE_WTCTS, 0, 45, 0},
        {FRAME_RTS, OTHER, STATE_IDLE, 356, 0, 0},
        {FRAME_CTS, OTHER, STATE_IDLE, 312, 0, 0},
        {FRAME_CTS, 2, STATE_IDLE, 312, 0, 0}, // even the one it waits for
        {FRAME_DATA, 2, STATE_RDAT, 0, 9, 1},
        {FRAME_DATA, OTHER, STATE_IDLE, 268, 0, 0},
        {FRAME_ACK, 2, STATE_IDLE, 0, 9, 0},
    };
    for (const auto &c : cases) {
        for (const STATE state : {STATE_IDLE, STATE_DCW}) {
            SCOPED_TRACE(testing::Message() << c.type << " " << c.receiver << " " << state);
            NODE &own = node[2];
            own.state = state;
            own.nav = 0;
            own.timer = 9;
            own.rx_flag = own.eifs_flag = 1;
            own.rx_frame.type = c.type;
            own.rx_frame.receiver = c.receiver;
            own.rx_frame.duration = 28;
            const auto step = state == STATE_IDLE ? RxStateIdle : RxStateWaitDifsAndCw;
            own.rx_count = 27;
            if (state == STATE_DCW) {
                step(2); // not its last tick
                EXPECT_EQ(own.timer + own.rx_flag, 10);
                own.rx_count = 28;
            }
            own.rx_frame.corrupt = -1;
            step(2);
            EXPECT_EQ(own.timer + own.rx_flag, 10);
            own.rx_frame.corrupt = 0;
            step(2);
            EXPECT_EQ(own.state, c.state == STATE_IDLE ? state : c.state);
            EXPECT_EQ(own.nav, c.nav);
            EXPECT_EQ(own.timer, c.timer);
            EXPECT_EQ(own.rx_flag, c.lock);
            EXPECT_EQ(own.eifs_flag, c.lock);
        }
    }
    for (const int nav : {300, 312, 313}) {
        node[0].nav = nav;
        node[0].timer = 9;
        SetNav(0, NAV_CTS);
        EXPECT_EQ(node[0].nav, nav == 313 ? 313 : 312); // never lowered
        EXPECT_EQ(node[0].timer, 0);
    }
}

TEST_F(MacTest, AnswerStates)
{
    const struct {
        STATE state;
        int nav, timer;
        uint64_t idle;
        STATE after;
        int retries;
    } cases[] = {
        {STATE_WTCTS, 0, 1, 16, STATE_TCTS, 0},  {STATE_WTCTS, 5, 1, 16, STATE_WTCTS, 0},
        {STATE_WTCTS, 0, 0, 16, STATE_DCW, 0},   {STATE_WTDAT, 0, 1, 16, STATE_TDAT, 0},
        {STATE_WTDAT, 5, 1, 16, STATE_WTDAT, 0}, {STATE_WTDAT, 0, 0, 16, STATE_DCW, 1},
        {STATE_WTACK, 0, 1, 16, STATE_TACK, 0},  {STATE_WTACK, 5, 1, 16, STATE_DCW, 0},
        {STATE_WTACK, 5, 1, 15, STATE_WTACK, 0}, {STATE_WTACK, 0, 0, 16, STATE_DCW, 0},
        {STATE_WRDAT, 0, 0, 0, STATE_DCW, 0},    {STATE_WRCTS, 0, 0, 0, STATE_DCW, 1},
    };
    for (const auto &c : cases) {
        StartScene();
        Queue(0, 1, 900);
        NODE &own = node[0];
        own.state = c.state;
        own.nav = c.nav;
        own.timer = c.timer;
        own.idle_count = c.idle;
        if (c.state == STATE_WRCTS) { // a complete CTS in the same tick comes too late
            own.rx_frame = own.buffer[0];
            own.rx_frame.type = FRAME_CTS;
            own.rx_frame.receiver = 0;
            own.rx_flag = 1;
            own.rx_count = 28;
        }
        CheckTxEventAll();
        CheckRxEventAll();
        EXPECT_EQ(own.state, c.after) << c.state << " " << c.nav << " " << c.timer;
        EXPECT_EQ(own.retry_count, c.retries) << c.state;
    }
}

TEST_F(MacTest, EndOfAnAckKeepsTheLock)
{
    Queue(1, 0, 45);
    node[1].state = STATE_TACK;
    node[1].rx_flag = 1;
    TxStateTxAck(1);
    EXPECT_EQ(node[1].state, STATE_DCW);
    EXPECT_EQ(node[1].backoff, 45U);
    EXPECT_EQ(node[1].backoff_draws, 1);
    EXPECT_EQ(node[1].rx_flag, 1);
}

TEST_F(MacTest, AcknowledgedPacketIsCountedOffByIndex)
{
    Queue(4, 5);
    NODE &own = node[4];
    own.buffer[0].receiver = 7;
    own.state = STATE_RACK;
    own.timer = 1;
    own.rx_flag = 1;
    own.rx_count = 28;
    own.rx_frame = own.buffer[0];
    own.rx_frame.type = FRAME_ACK;
    own.rx_frame.receiver = 4;
    g_sim_time = 9'000'000; // the head packet is too old for a hop delay by then
    RxStateWaitRxAck(4);
    EXPECT_EQ(own.buffer_num, 0);
    EXPECT_EQ(own.buffer_hop_num[3], -1); // not 7: not the upper neighbour, so the lower one
    EXPECT_EQ(own.buffer_hop_num[7], 0);
    EXPECT_EQ(own.buffer_hop_num[5], 1);
    EXPECT_EQ(own.hop_delay_sum[7], 0U);
    EXPECT_EQ(own.ack_ok_num, 1U);
}

TEST_F(MacTest, WhoGetsAFrame)
{
    Queue(2, 3);
    for (const int type : {FRAME_RTS, FRAME_CTS, FRAME_DATA, FRAME_ACK}) {
        for (int i = 0; i < NODE_NUM; ++i) {
            node[i].rx_flag = node[i].signal_num = 0;
            node[i].rx_error = i == 4 ? 1 : 0;
        }
        node[2].rx_frame.sender = 3;
        TxPacket(2, type);
        for (const int i : {0, 1, 3, 4, 5, 6}) {
            // A spoiled reception takes no frame but a CTS; the signal is heard all the same.
            EXPECT_EQ(node[i].rx_flag, i == 6 || (i == 4 && type != FRAME_CTS) ? 0 : 1) << i;
            ASSERT_EQ(node[i].signal_num, i == 6 ? 0 : 1) << i;
        }
        EXPECT_EQ(node[5].rx_frame.type, type);
        EXPECT_EQ(node[5].rx_frame.receiver, 3);
        EXPECT_EQ(node[5].signal_list[0].frame_no, type); // the fourth frame has number 3
    }
    EXPECT_EQ(g_no, 4U);
    EXPECT_EQ(node[5].rx_frame.nav_value, 28);

    // CTS of station 5 to 4: the row of 4 has the number of neighbour 7. CTS of 9 to 8: the row has
    // a number beyond the neighbours of 9.
    for (const int spoiled : {4, 7, 8}) {
        StartScene();
        node[spoiled].rx_error = 1;
        node[5].rx_frame.sender = 4;
        TxPacket(5, FRAME_CTS);
        EXPECT_EQ(node[4].rx_frame.receiver, spoiled == 7 ? -1 : 4);
        node[9].rx_frame.sender = 8;
        TxPacket(9, FRAME_CTS);
        EXPECT_EQ(node[8].rx_frame.receiver, 8);
    }
}

TEST_F(MacTest, SameStart)
{
    // An idle neighbour's old head record matches, even one from the last load point.
    node[1].buffer.head.tx_start = 34;
    StartScene();
    Queue(0, 1);
    RunTicks(34);
    EXPECT_EQ(node[0].same_start_num, 1U); // starts at 1
    RunTicks(35);
    EXPECT_EQ(node[0].same_start_num, 2U);
    EXPECT_EQ(node[0].same_start_count, 1);
    EXPECT_EQ(node[0].same_start_hop_num[1], 1U);
    EXPECT_EQ(node[1].same_start_num, 2U);
    EXPECT_EQ(node[2].same_start_num, 1U);
    EXPECT_EQ(col[0][1][ROW_COL].total, 1);
    EXPECT_EQ(col[0][1][ROW_CON].total, 1);
    EXPECT_EQ(node[0].same_start_flag + node[1].same_start_flag, 0);
}
