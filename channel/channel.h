// The physical layer of one tick: who senses a carrier, which receptions go on, which collide.
#pragma once

#include <cstdint>

#include "driver/state.h"
#include "driver/state_table.h"

extern uint32_t g_carriers; // stations whose carrier others sense, one bit each; as last looked at

// Counts simultaneous activity, then for each station in turn: starts a collision episode, ends
// one, senses the carrier. A station handled later sees a reset of an earlier one.
void CheckChannelStateAll();

// Whether an idle tick of the medium raises `idle_count` of the station.
inline bool IsCountingIdle(const NODE &own)
{
    return IsIn(own.state, COUNTING_IDLE) && own.nav == 0 && own.busy == 0 && own.signal_num == 0 &&
           own.rx_error == 0;
}

// Whether a tick of the frame in `rx_frame` is heard and counted.
inline bool IsCountingFrame(const NODE &own)
{
    return own.rx_flag == 1 && own.signal_num != 0 && own.rx_error == 0;
}
