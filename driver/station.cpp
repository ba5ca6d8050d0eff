#include "driver/station.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "driver/observer.h"
#include "driver/state.h"
#include "topology/placement.h"
#include "topology/random.h"
#include "topology/routing.h"

void InitAllNode()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        InitNode(i);
    }
    PositionAllNode();
    TestConnection();
    MakeTable();
}

// Makes a draw, cut to whole slots, the backoff to count down.
static void TakeBackoff(NODE &own, double draw)
{
    own.backoff_slots = static_cast<int32_t>(draw);
    ++own.backoff_draws;
    const int32_t ticks = own.backoff_slots * SLOT;
    own.backoff = static_cast<uint64_t>(ticks);
}

void InitNode(int station)
{
    NODE &own = node[station];
    InitLog(station);
    InitQueue(station);
    // Everything before and behind the packet records starts at zero; the records are long, and
    // what they hold from the last load point is not read again.
    char *bytes = reinterpret_cast<char *>(&own);
    std::memset(bytes, 0, offsetof(NODE, rx_frame));
    std::memset(bytes + offsetof(NODE, rx_flag), 0, sizeof(NODE) - offsetof(NODE, rx_flag));
    std::memset(own.connect_list, EMPTY, sizeof own.connect_list);
    std::memset(own.interference_list, EMPTY, sizeof own.interference_list);
    std::memset(own.table, EMPTY, sizeof own.table);
    std::memset(own.signal_list, EMPTY, sizeof own.signal_list);
    own.reserved_index = EMPTY;
    own.cw = CW_MIN;
    // Kept: the initial draw ends below CW_MIN, so it can never be CW_MIN itself as later draws
    // can.
    TakeBackoff(own, RandUniform(0.0, own.cw));
    own.same_start_num = 1; // Kept: one more than the starts that are counted into it
    InitPacket(&own.rx_frame);
}

void ReturnToRest(int station)
{
    NODE &own = node[station];
    own.state = own.buffer_num >= 1 ? STATE_DCW : STATE_IDLE;
    own.timer = 0;
    own.nav = 0;
    own.idle_count = 0;
    own.rx_count = 0;
    own.difs_idle_num = 0;
}

void BeginAccess(int station)
{
    NODE &own = node[station];
    if (own.buffer_num >= 1 && InWindow() && own.retry_count == 0) {
        own.buffer[0].age_base = g_sim_time;
    }
}

// Draws a backoff of 0 to `cw` slots.
static void DrawBackoff(NODE &own)
{
    TakeBackoff(own, RandUniform(0.0, own.cw + 1));
    own.backoff_slot_sum += own.backoff_slots;
}

void ResetNode(int station, int kind)
{
    NODE &own = node[station];
    Tell(NOTE_REST, station, own.buffer.head);
    switch (kind) {
    case RESET_DONE:
        ReturnToRest(station);
        BeginAccess(station);
        if (own.retry_count == 0) {
            own.cw = CW_MIN;
        }
        DrawBackoff(own);
        if (own.backoff_slots == CW_MIN) {
            ++count_cw;
        }
        own.rx_flag = 0;
        break;
    case RESET_RETRY:
        ReturnToRest(station);
        own.cw = (own.cw + 1) * 2 - 1;
        if (own.cw >= CW_MAX) {
            own.cw = CW_MAX;
        }
        DrawBackoff(own);
        ++own.retry_count;
        own.rx_flag = 0;
        break;
    case RESET_RESUME:
        ReturnToRest(station);
        own.rx_flag = 0;
        break;
    case RESET_KEEP:
        ReturnToRest(station);
        break;
    default:
        break;
    }
}
