// Frame exchanges tick by tick, and single steps of the transmit and receive side. Scenes run in
// the design layout unless they say otherwise; their packets are queued before tick 0.
#include "mac/frame.h"
#include "mac/timeout.h"
#include "tests/model_fixture.h"

using MacTest = ModelTest;

// tick       0      34                         286       302       330
// station 0  | DIFS | DATA 252                 | waits for the ACK | idle
// station 1         | receives at once         | SIFS 16 | ACK 28  | idle
// station 2         | NAV 268                            |
TEST_F(MacTest, DataAndAck)
{
    Queue(0, 1);
    node[0].buffer[0].nav_value = 100'000; // the threshold itself: no RTS
    EXPECT_EQ(Timeline(400, {0, 1, 2, 4}),
              (LINES{"0 D&CW, 34 TDAT, 286 RACK, 330 IDLE",
                     "34 RDAT, 286 WTACK, 302 TACK, 330 IDLE", "34 NAV 267, 301 NAV 0", ""}));
    const NODE &own = node[0];
    EXPECT_EQ(Fields(own.tx_num, own.link_tx_num[1], own.buffer_hop_num[1]), Fields(1, 1, 0));
    // An idle station lets go of the ACK at its first tick; the rest of it calls for an EIFS.
    EXPECT_EQ(Fields(own.eifs_flag, node[2].eifs_flag), Fields(0, 1));
    EXPECT_EQ(Fields(own.access_wait_sum, own.tx_time_sum, own.hop_delay_sum[1]),
              Fields(34, 252, 330));
    // Ticks 286 to 330 are 45 of waiting: the first 16, and the rest less 1.
    EXPECT_EQ(Fields(own.ack_wait_sum, own.ack_wait_over_sum), Fields(16, 45 - 16 - 1));
    EXPECT_EQ(Fields(node[1].rx_dat_num, node[1].recv_from[0], node[1].delay_sum),
              Fields(1, 1, 286));
    // The frame is left in the first place of the receiver's queue, which stays empty.
    EXPECT_EQ(Fields(node[1].buffer_num, node[1].buffer[0].receiver), Fields(0, 1));
    for (int sender = 2; sender < NODE_NUM; sender += 2) { // the last flow has no delay sum
        StartScene();
        Queue(sender, sender + 1);
        RunTicks(400);
        EXPECT_EQ(Fields(node[sender + 1].delay_sum, ave_delay[sender / 2]),
                  Fields(286, sender == 8 ? 0 : 286));
    }
}

// tick       0                   52               80                348         409
// station 0  | DIFS, backoff 18  | DATA 252 ... SIFS, ACK           | idle
// station 2  | backoff 45, 18 of it gone          | NAV 268 till 347 | DIFS, 27 | DATA
//                                 ^ frozen        ^ 28 ticks into the frame
TEST_F(MacTest, ContenderFreezesAndResumes)
{
    Queue(0, 1, 18);
    Queue(2, 3, 45);
    EXPECT_EQ(Timeline(410, {0, 2}), (LINES{"0 D&CW, 52 TDAT, 304 RACK, 348 IDLE, 409 NAV 267",
                                            "0 D&CW, 80 NAV 267, 347 NAV 0, 409 TDAT"}));
    EXPECT_EQ(node[2].backoff, 27U);
}

// tick       34    64       80    108       124         152        376      392   420
// station 0  | RTS | waits        | SIFS    | DATA 252             | waits      | idle
// station 1        | SIFS   | CTS | waits               | receives | SIFS  | ACK | contends
// station 2  | NAV 356      | 312 for 310 | (268 are left: as the DATA asks)  | 391
TEST_F(MacTest, RtsCtsDataAck)
{
    Queue(0, 1);
    node[0].buffer[0].nav_value = 100'001;
    Queue(1, 0, 900); // contends, and so waits for the end of the RTS
    EXPECT_EQ(
        Timeline(430, {0, 1, 2}),
        (LINES{"0 D&CW, 34 TRTS, 64 WRCTS, 108 WTDAT, 124 TDAT, 376 RACK, 420 IDLE",
               "0 D&CW, 64 WTCTS, 80 TCTS, 108 WRDAT, 152 RDAT, 376 WTACK, 392 TACK, 420 D&CW",
               "34 NAV 355, 80 NAV 311, 391 NAV 0"}));
    // The delivered frame is left behind the station's own packet.
    EXPECT_EQ(Fields(node[1].delay_sum, node[1].buffer_num, node[1].buffer[1].dst),
              Fields(376, 1, 1));
    Queue(0, 1); // the time on the air starts anew with every frame
    node[0].buffer[0].nav_value = 100'001;
    RunTicks(850);
    EXPECT_EQ(Fields(node[0].tx_num, node[0].tx_time_sum), Fields(2, 2 * 252));

    // An idle station takes the RTS at its start, so its 45 ticks end one tick before SIFS does.
    StartScene();
    Queue(0, 1);
    node[0].buffer[0].nav_value = 100'001;
    EXPECT_EQ(Timeline(110, {0, 1}),
              (LINES{"0 D&CW, 34 TRTS, 64 WRCTS, 109 D&CW", "34 WTCTS, 79 IDLE"}));
    EXPECT_EQ(Fields(node[0].retry_count, node[0].timeout_hop[1], node[0].cw), Fields(1, 1, 31));
}

TEST_F(MacTest, RtsAboveTheThreshold)
{
    for (const int threshold : {247, 248}) { // a packet says 248
        StartScene();
        g_settings.rts_threshold = threshold;
        Queue(0, 1);
        RunTicks(35);
        EXPECT_EQ(node[0].state, threshold == 247 ? STATE_TRTS : STATE_TDAT);
    }
}

// tick       302       331                 409          661      677   705
// station 0  |         | time-out, EIFS 78 | DATA again | waits        | idle
// station 1  | ACK, missed                 | receives   | SIFS   | ACK | idle
TEST_F(MacTest, LostAckLeadsToADuplicate)
{
    Queue(0, 1);
    RunTicks(303);
    node[0].rx_flag = 0; // carrier without a frame
    EXPECT_EQ(Timeline(332, {0}), LINES{"331 D&CW"});
    // Ticks 286 to 331 are 46: the first 16, and the rest less 2.
    EXPECT_EQ(Fields(node[0].ack_wait_sum, node[0].ack_wait_over_sum), Fields(16, 46 - 16 - 2));
    node[0].backoff = 0;
    EXPECT_EQ(Timeline(750, {0, 1}),
              (LINES{"409 TDAT, 661 RACK, 705 IDLE", "409 RDAT, 661 WTACK, 677 TACK, 705 IDLE"}));
    EXPECT_EQ(Fields(node[0].access_wait_sum, node[0].retry_count, node[0].cw),
              Fields(34 + 78 - 44, 0, 15));
    EXPECT_EQ(X_count[0][0], 1U); // the start after an EIFS is not classified
    EXPECT_EQ(Fields(node[1].dup_num, node[1].dup_flag, node[1].rx_dat_num, node[1].recv_num),
              Fields(1, 0, 2, 1));
}

// attempt:  DIFS 34 | DATA 252 | time-out 45      = 331 ticks
TEST_F(MacTest, RetriesUpToTheDrop)
{
    Queue(0, 1);
    Queue(0, 1);
    NODE &own = node[0];
    own.buffer[1].receiver = 2;
    own.connect_num = 0; // nobody gets its frames
    RunTicks(1);
    const int cw[] = {31, 63, 127, 255, 511, 1023, 1023, 15};
    for (int attempt = 0; attempt < 8; ++attempt) {
        const int begin = 331 * attempt;
        EXPECT_EQ(Timeline(static_cast<uint64_t>(begin) + 332, {0}),
                  LINES{std::to_string(begin + 34) + " TDAT, " + std::to_string(begin + 286) +
                        " RACK, " + std::to_string(begin + 331) + " D&CW"});
        EXPECT_EQ(Fields(own.cw, own.retry_count), Fields(cw[attempt], (attempt + 1) % 8));
        own.backoff = 0;
    }
    EXPECT_EQ(Fields(own.buffer_num, own.buffer_hop_num[1], own.timeout_hop[1], own.drop_num),
              Fields(1, 1, 8, 1));
    EXPECT_EQ(Fields(own.drop_hop[1], own.drop_hop[2]), Fields(0, 1)); // the packet behind counts
    own.retry_count = 7;
    Timeout(0); // the last packet: its record stays at the head
    EXPECT_EQ(Fields(own.drop_hop[2], own.buffer_num, own.state), Fields(2, 0, STATE_IDLE));
    own.retry_count = 8;
    own.state = STATE_RACK;
    Timeout(0); // beyond the limit: counted, nothing else
    EXPECT_EQ(Fields(own.timeout_num, own.drop_num, own.retry_count, own.state),
              Fields(10, 2, 8, STATE_RACK));
}

// Line layout: nine hops, each taking 330 ticks from DIFS to ACK.
TEST_F(MacTest, RelaysCarryAPacketAlongTheLine)
{
    for (const bool up : {true, false}) {
        StartScene();
        UseLine();
        const auto at = [up](int place) { return up ? place : 9 - place; };
        Queue(at(0), at(9));
        RunTicks(9 * 330 + 1);
        for (int hop = 0; hop < 9; ++hop) {
            NODE &sender = node[at(hop)];
            EXPECT_EQ(Fields(sender.hop_delay_sum[at(hop + 1)], sender.buffer_hop_num[at(hop + 1)],
                             node[at(hop + 1)].recv_from[at(hop)], sender.buffer[0].sender),
                      Fields(330, 0, 1, at(hop)))
                << up << " " << hop;
        }
        EXPECT_EQ(Fields(node[at(9)].delay_sum, node[at(9)].buffer_num, node[at(5)].delay_sum),
                  Fields(8 * 330 + 286, 0, 0));
    }
    // A full relay acknowledges, and logs nothing. A contender takes a frame after 28 ticks.
    for (const int taken : {0, 1}) {
        StartScene();
        UseLine();
        g_settings.queue_limit = 2 + taken;
        Queue(1, 9, 9000);
        Queue(1, 9, 9000);
        Queue(0, 9);
        EXPECT_EQ(Timeline(340, {0, 1}), (LINES{"0 D&CW, 34 TDAT, 286 RACK, 330 IDLE",
                                                "0 D&CW, 62 RDAT, 286 WTACK, 302 TACK, 330 D&CW"}));
        const NODE &relay = node[1];
        EXPECT_EQ(Fields(relay.rx_dat_num, relay.over_num, relay.recv_num, relay.recv_log_num,
                         relay.buffer_num),
                  Fields(1, 1 - taken, taken, taken, 2 + taken));
    }
}

// A frame of `type` for `receiver`, heard by `station` up to its last tick.
static void HearFrame(int station, int type, int sender, int receiver)
{
    NODE &own = node[station];
    own.rx_frame = {};
    own.rx_frame.type = type;
    own.rx_frame.duration = 28;
    own.rx_frame.src = own.rx_frame.dst = EMPTY;
    own.rx_frame.sender = sender;
    own.rx_frame.receiver = receiver;
    own.rx_flag = own.eifs_flag = 1;
    own.rx_count = 28;
}

// An ACK for station 3 has come over the DATA that station 1 takes in.
TEST_F(MacTest, OverwrittenFrameIsRelayedToNobody)
{
    NODE &own = node[1];
    own.state = STATE_RDAT;
    own.nav = 9;
    HearFrame(1, FRAME_ACK, 2, 3);
    own.rx_count = 252;
    RunTicks(1);
    EXPECT_EQ(Fields(own.state, own.buffer_num, own.buffer.head.receiver, own.buffer.head.dst),
              Fields(STATE_WTACK, 1, EMPTY, EMPTY));
}

TEST_F(MacTest, ReactionToAFrame)
{
    const struct {
        int type, receiver;
        STATE state;
        int nav, timer, lock;
    } cases[] = {
        // NAV and timer have counted one tick
        {FRAME_RTS, 2, STATE_WTCTS, 0, 44, 0},
        {FRAME_RTS, 7, STATE_IDLE, 355, 0, 0},
        {FRAME_CTS, 7, STATE_IDLE, 311, 0, 0},
        {FRAME_CTS, 2, STATE_IDLE, 311, 0, 0}, // its own, too
        {FRAME_DATA, 2, STATE_RDAT, 0, 8, 1},
        {FRAME_DATA, 7, STATE_IDLE, 267, 0, 0},
        {FRAME_ACK, 2, STATE_IDLE, 0, 8, 0},
    };
    NODE &own = node[2];
    for (const auto &c : cases) {
        own.state = STATE_IDLE;
        own.nav = 0;
        own.timer = 9;
        HearFrame(2, c.type, 3, c.receiver);
        RunTicks(g_sim_time + 1);
        EXPECT_EQ(Fields(own.state, own.nav, own.timer, own.rx_flag, own.eifs_flag),
                  Fields(c.state, c.nav, c.timer, c.lock, c.lock))
            << c.type << " " << c.receiver;
    }
    own.nav = 313;
    SetNav(2, NAV_CTS);
    EXPECT_EQ(Fields(own.nav, own.timer), Fields(313, 0)); // never lowered
}

TEST_F(MacTest, AnswerStates)
{
    const struct {
        STATE state;
        int nav, timer, idle;
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
    NODE &own = node[0];
    for (const auto &c : cases) {
        StartScene();
        Queue(0, 1, 900);
        own.state = c.state;
        own.nav = c.nav;
        own.timer = c.timer;
        own.idle_count = static_cast<uint64_t>(c.idle);
        own.rx_flag = 1;
        if (c.state == STATE_WRCTS) {
            HearFrame(0, FRAME_CTS, 1, 0); // complete in the tick of the time-out: too late
        }
        RunTicks(1);
        // Whoever gives up lets go of the frame it is locked to.
        EXPECT_EQ(Fields(own.state, own.retry_count, own.rx_flag),
                  Fields(c.after, c.retries, c.after != STATE_DCW))
            << c.state << " " << c.nav << " " << c.timer;
    }
    TxPacket(0, FRAME_ACK);
    own.timer = 0;
    own.backoff = 45;
    own.rx_flag = 1;
    RunTicks(2); // the end of an ACK keeps lock and backoff
    EXPECT_EQ(Fields(own.state, own.backoff, own.rx_flag), Fields(STATE_DCW, 45, 1));
}

// The first attempt for a head packet gives it its age, inside the window; no later one does. An
// attempt begins when the station has a packet, or is through with its ACK for another one's.
TEST_F(MacTest, AgeOfAHeadPacketBeginsWithItsFirstAttempt)
{
    const struct {
        int retries;
        uint64_t tick, age_base;
    } cases[] = {{0, 99, 7}, {0, 100, 100}, {1, 100, 7}, {0, 101, 7}};
    for (const auto &c : cases) {
        for (const STATE state : {STATE_IDLE, STATE_TACK}) {
            StartScene();
            g_settings.window_begin = g_settings.window_end = 100;
            Queue(0, 1, 900);
            NODE &own = node[0];
            own.state = state;
            own.interference_num = 0; // nobody has heard the ACK that ends
            own.retry_count = c.retries;
            own.buffer[0].age_base = 7;
            g_sim_time = c.tick;
            RunTicks(c.tick + 1);
            EXPECT_EQ(Fields(own.state, own.buffer[0].age_base), Fields(STATE_DCW, c.age_base))
                << state << " " << c.retries << " " << c.tick;
        }
    }
}

TEST_F(MacTest, AcknowledgedPacketIsCountedOffByIndex)
{
    for (const uint64_t tick : {8'999'999, 9'000'000}) {
        StartScene();
        Queue(4, 5);
        NODE &own = node[4];
        own.buffer[0].receiver = 7;
        own.state = STATE_RACK;
        own.timer = 1;
        HearFrame(4, FRAME_ACK, 7, 4);
        g_sim_time = tick;
        RunTicks(tick + 1);
        // 7 is not the upper neighbour, so the lower one's count goes down.
        EXPECT_EQ(Fields(own.buffer_hop_num[3], own.buffer_hop_num[5], own.buffer_hop_num[7]),
                  Fields(-1, 1, 0));
        // In the second case the head packet has become too old for a hop delay.
        EXPECT_EQ(Fields(own.buffer_num, own.hop_delay_sum[7], own.ack_ok_num),
                  Fields(0, tick == 9'000'000 ? 0 : tick, 1));
    }
    // Without a next hop nothing is counted. In the record the length of the queue stands in front
    // of the counts, where an index of -1 would take it down, too.
    StartScene();
    NODE &own = node[0];
    Queue(0, 1);
    Queue(0, 7); // no route
    Queue(0, 7);
    EXPECT_EQ(Fields(own.buffer_num, own.buffer_hop_num[1], own.buffer[1].receiver),
              Fields(3, 1, EMPTY));
    own.state = STATE_RACK;
    own.timer = 1;
    own.buffer[0].receiver = EMPTY;
    HearFrame(0, FRAME_ACK, 1, 0);
    RunTicks(1);
    EXPECT_EQ(Fields(own.buffer_num, own.buffer_hop_num[1]), Fields(2, 1));
    own.retry_count = RETRY_LIMIT;
    Timeout(0);
    EXPECT_EQ(Fields(own.buffer_num, own.buffer_hop_num[1], own.drop_num), Fields(1, 1, 1));
}

// An ACK in tick 330 restarts the hop delay of what has the id of its packet at the next hop.
TEST_F(MacTest, HopTimesGoByTheId)
{
    for (const uint64_t id : {0, 1}) {
        StartScene();
        Queue(0, 1);
        Queue(1, 0, 9000);
        node[1].buffer[0].id = id; // a packet of station 1's own
        RunTicks(331);
        EXPECT_EQ(Fields(node[0].hop_delay_sum[1], node[1].buffer[0].hop_time),
                  Fields(330, id == 0 ? 330 : 0));
    }
    // A relayed packet acknowledged in front of the window: the next hop counts from its creation.
    for (const uint64_t begin : {330, 331}) {
        StartScene();
        UseLine();
        g_settings.window_begin = begin;
        Queue(0, 9);
        RunTicks(661);
        EXPECT_EQ(Fields(node[0].hop_delay_sum[1], node[1].hop_delay_sum[2]),
                  begin == 330 ? Fields(330, 330) : Fields(0, 660));
    }
}

TEST_F(MacTest, WhoGetsAFrame)
{
    Queue(2, 3);
    node[5].rx_error = 1;
    g_sim_time = 70;
    for (const int type : {FRAME_RTS, FRAME_CTS, FRAME_DATA, FRAME_ACK}) {
        node[4].rx_flag = node[5].rx_flag = 0;
        HearFrame(2, FRAME_DATA, 3, 2);
        TxPacket(2, type);
        // A spoiled reception takes no frame but a CTS; the signal is heard all the same.
        EXPECT_EQ(Fields(node[4].rx_flag, node[5].rx_flag, node[6].rx_flag),
                  Fields(1, type == FRAME_CTS ? 1 : 0, 0));
        EXPECT_EQ(Fields(node[4].signal_num, node[5].signal_num, node[6].signal_num),
                  Fields(type + 1, type + 1, 0));
        EXPECT_EQ(Fields(node[4].rx_frame.type, node[4].rx_frame.receiver), Fields(type, 3));
        const SIGNAL &signal = node[5].signal_list[type];
        EXPECT_EQ(Fields(signal.kind, signal.receiver, signal.sender, signal.frame_no,
                         signal.start_time, signal.end_mark),
                  Fields(type, 3, 2, type, 70, 0)); // the frames are numbered from 0
        // The head records of all stations say that they began in tick 0.
        EXPECT_EQ(Fields(node[2].same_start_flag, node[5].same_start_flag, node[6].same_start_flag),
                  Fields(type == FRAME_DATA, type == FRAME_DATA, 0));
        node[2].same_start_flag = node[5].same_start_flag = 0;
    }
    // CTS of station 5 to 4: the row of 4 has the number of neighbour 7. CTS of 9 to 8: the row has
    // a number beyond the neighbours of 9.
    for (const int spoiled : {4, 7, 8}) {
        StartScene();
        node[spoiled].rx_error = 1;
        node[5].rx_frame.sender = 4;
        node[9].rx_frame.sender = 8;
        TxPacket(5, FRAME_CTS);
        TxPacket(9, FRAME_CTS);
        EXPECT_EQ(Fields(node[4].rx_frame.receiver, node[8].rx_frame.receiver),
                  Fields(spoiled == 7 ? -1 : 4, 8));
    }
}

TEST_F(MacTest, StartOfDataLooksAround)
{
    node[1].buffer.head.tx_start = 34; // of the last load point
    StartScene();
    Queue(0, 1);
    RunTicks(34);
    const STATE states[] = {STATE_DCW,   STATE_IDLE, STATE_DCW,  STATE_DCW,  STATE_RDAT,
                            STATE_WTDAT, STATE_RACK, STATE_IDLE, STATE_IDLE, STATE_WTACK};
    for (int i = 1; i < NODE_NUM; ++i) {
        node[i].state = states[i];
        node[i].timer = 9;
        node[i].backoff = 900;
        node[i].idle_count = i == 2 ? 34 : 35; // active while still in DIFS
        node[i].busy = i == 8 ? 1 : 0;
    }
    RunTicks(35);
    const char *const found = "XZXZYZXZYY"; // the sender finds itself active
    for (int j = 0; j < NODE_NUM; ++j) {
        EXPECT_EQ(Fields(X_count[0][j], Y_count[0][j], Z_count[0][j]),
                  Fields(found[j] == 'X', found[j] == 'Y', found[j] == 'Z'))
            << j;
    }
    // The old head record of an idle station makes the start a common one; the count starts at 1.
    EXPECT_EQ(Fields(node[0].same_start_num, node[0].same_start_count,
                     node[0].same_start_hop_num[1], node[1].same_start_num, node[2].same_start_num),
              Fields(2, 1, 1, 2, 1));
    EXPECT_EQ(Fields(col[0][1][ROW_COL].total, col[0][1][ROW_CON].total, node[0].same_start_flag),
              Fields(1, 1, 0));
}
