// Whether the table of the states tells what the handlers do: who acts, what is sent, what is
// waited for. What a state means to the channel and to the shares of time is in channel_test.cpp.
#include <cstring>
#include <vector>

#include "driver/state_table.h"
#include "mac/frame.h"
#include "mac/receive.h"
#include "mac/transmit.h"
#include "tests/model_fixture.h"

class StateTableTest : public ModelTest
{
  protected:
    static constexpr int OWN = 2; // the station that is looked at

    static NODE &Place(int state, int timer, uint64_t idle_count)
    {
        StartScene();
        Queue(OWN, OWN + 1);
        NODE &own = node[OWN];
        own.state = state;
        own.timer = timer;
        own.idle_count = idle_count;
        return own;
    }

    // Has the station hear the whole of a frame for it.
    static void Hear(NODE &own, int type, int ticks)
    {
        own.rx_frame = {};
        own.rx_frame.type = type;
        own.rx_frame.duration = DATA_DURATION;
        own.rx_frame.src = own.rx_frame.sender = OWN + 1;
        own.rx_frame.dst = own.rx_frame.receiver = OWN;
        own.rx_flag = 1;
        own.rx_count = static_cast<uint64_t>(ticks);
    }

    // Whether a stage changes any station.
    static bool Acts(void (*stage)())
    {
        const std::vector<char> before(reinterpret_cast<char *>(node),
                                       reinterpret_cast<char *>(node + NODE_RECORDS));
        stage();
        return memcmp(node, before.data(), before.size()) != 0;
    }
};

TEST_F(StateTableTest, TheSidesThatActAreThoseOfTheTable)
{
    for (int state = 0; state < STATE_NUM; ++state) {
        if (STATE_TABLE[state].label == nullptr) {
            continue;
        }
        int found = SIDE_NONE;
        for (const SIDE side : {SIDE_TX, SIDE_RX}) {
            void (*const stage)() = side == SIDE_TX ? CheckTxEventAll : CheckRxEventAll;
            // A timer at its end, the idle ticks of SIFS and of DIFS, each frame heard.
            for (const uint64_t idle : {0, SIFS, DIFS}) {
                Place(state, idle == 0 ? 0 : 9, idle);
                found |= Acts(stage) ? side : SIDE_NONE;
            }
            for (const int type : {FRAME_RTS, FRAME_CTS, FRAME_DATA, FRAME_ACK}) {
                Hear(Place(state, 9, 0), type, state == STATE_RDAT ? DataTicks() : ACK_TICKS);
                found |= Acts(stage) ? side : SIDE_NONE;
            }
        }
        EXPECT_EQ(found, STATE_TABLE[state].side) << STATE_TABLE[state].label;
    }
}

TEST_F(StateTableTest, FramesAreThoseOfTheTable)
{
    const int types[] = {FRAME_RTS, FRAME_CTS, FRAME_DATA, FRAME_ACK};
    for (const int type : types) {
        const NODE &own = Place(STATE_DCW, 0, 0);
        TxPacket(OWN, type);
        EXPECT_EQ(STATE_TABLE[own.state].sends, type);
        EXPECT_TRUE(IsIn(own.state, ON_AIR));
    }
    for (int state = 0; state < STATE_NUM; ++state) {
        const STATE_ROW &row = STATE_TABLE[state];
        if (row.sends_next != EMPTY) {
            const NODE &own = Place(state, 9, SIFS);
            CheckTxEventAll();
            EXPECT_EQ(STATE_TABLE[own.state].sends, row.sends_next) << row.label;
        }
        // A station in RDAT is locked to its DATA frame already.
        for (const int type : types) {
            if (row.awaits != EMPTY && (state != STATE_RDAT || type == FRAME_DATA)) {
                NODE &own = Place(state, 9, 0);
                Hear(own, type, state == STATE_RDAT ? DataTicks() : ACK_TICKS);
                CheckRxEventAll();
                EXPECT_EQ(own.state != state, type == row.awaits) << row.label << " " << type;
            }
        }
    }
}
