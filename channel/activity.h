// Simultaneous activity: how long which stations had the medium, or were about to contend for it,
// at the same time.
#pragma once

#include <cstdint>

#include "driver/state.h"
#include "driver/state_table.h"

extern uint32_t g_active; // stations that count as active, one bit each; as last looked at

// Whether a station has the medium or is about to contend for it.
inline bool IsActive(const NODE &own)
{
    if (own.state == STATE_DCW) {
        return own.nav == 0 && own.busy == 0 && own.idle_count <= DIFS;
    }
    return IsIn(own.state, WITH_MEDIUM);
}

// Enters `ticks` in which exactly the stations of `active` were active; at any time.
void CountActivity(uint32_t active, uint64_t ticks);
