// Per-tick accounting: what every station's time goes into, and frames begun in the same tick.
#pragma once

#include <cassert>
#include <cstdint>

#include "driver/records.h"
#include "driver/state_table.h"

// Counts the DATA frames that were begun together with one of a station in range, at any time.
void check_flag();

// Enters this tick of every station under what the station is doing; inside the measurement window.
void WriteNodeStateAll();

// What a tick of a station that ends as it stands counts as.
inline SHARE ShareOf(const NODE &own)
{
    if (own.state == STATE_DCW && own.busy != 1 && own.nav == 0 && own.idle_count <= DIFS) {
        return SHARE_DIFS;
    }
    assert(own.state >= 0 && own.state < STATE_NUM);
    if (static_cast<uint32_t>(own.state) >= STATE_NUM) {
        return SHARE_NONE;
    }
    return own.busy == 1 ? STATE_TABLE[own.state].share_busy : STATE_TABLE[own.state].share;
}

// Enters `ticks` ticks of a station with packets under the queues that hold them.
void AddQueueTime(int station, uint64_t ticks);

// Enters `ticks` ticks of a station under one share, with the queue as it stands.
void AddShare(int station, SHARE share, uint64_t ticks);

// Name of a state in five characters, null for a number that names none. For tracing.
const char *NodeState(int state);

// Hook for looking at a head packet when its ACK arrives; does nothing.
void delay_write(int station);
