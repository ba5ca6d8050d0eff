#include "driver/invariants.h"

#include "driver/state.h"
#include "driver/state_table.h"

#ifdef NDEBUG

void CheckInvariants()
{
}

#else

#include <cassert>

static bool IsStationOrEmpty(int64_t station)
{
    return station == EMPTY || (station >= 0 && station < NODE_NUM);
}

static bool IsFlag(int32_t value)
{
    return value == 0 || value == 1;
}

// Whether `hearer` has the latest frame of `sender` in its list.
static bool Hears(int hearer, int sender)
{
    const NODE &own = node[hearer];
    for (int k = 0; k < own.signal_num && k < SIGNAL_SLOTS; ++k) {
        if (own.signal_list[k].frame_no == static_cast<int64_t>(node[sender].last_frame_no)) {
            return true;
        }
    }
    return false;
}

static void CheckLists(const NODE &own)
{
    assert(own.signal_num >= 0 && own.signal_num <= SIGNAL_SLOTS);
    for (int k = 0; k < own.signal_num; ++k) {
        assert(IsStationOrEmpty(own.signal_list[k].sender));
        assert(IsStationOrEmpty(own.signal_list[k].receiver));
    }
    assert(own.buffer_num >= 0 && own.buffer_num <= QUEUE_LIMIT);
    assert(own.recv_log_num >= 0 && own.recv_log_num <= g_settings.log_limit);
    assert(IsStationOrEmpty(own.buffer.head.receiver));
    assert(IsStationOrEmpty(own.rx_frame.sender));
    assert(IsStationOrEmpty(own.rx_frame.receiver));
}

static void CheckStation(const NODE &own)
{
    assert(own.state >= 0 && own.state < STATE_NUM);
    assert(own.cw >= CW_MIN && own.cw <= CW_MAX);
    assert(own.same_start_flag == 0); // counted within the tick in which it is set
    assert(IsFlag(own.busy));
    assert(IsFlag(own.rx_flag));
    assert(IsFlag(own.rx_error));
    assert(IsFlag(own.eifs_flag));
    assert(IsFlag(own.freeze_flag));
}

void CheckInvariants()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        const NODE &own = node[i];
        CheckStation(own);
        CheckLists(own);
        // A test may set a sender up by its state alone, without ever having put a frame on the
        // air.
        const bool on_air = IsIn(own.state, ON_AIR) && own.last_frame_no < g_no;
        for (int k = 0; on_air && k < own.interference_num; ++k) {
            assert(Hears(own.interference_list[k], i));
        }
    }
}

#endif
