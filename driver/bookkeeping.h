// The stages at the end of a tick that age the countdowns and sample the queues.
#pragma once

#include <algorithm>
#include <cstdint>

#include "driver/state.h"
#include "driver/wake.h"

// Counts the running timers of the awake stations down by one tick. Timers at 0 or below rest.
void DecrementTimerAll();

// Counts the running NAVs of the awake stations down by one tick. A NAV that reaches 0 returns its
// station to contention or idle and ends its receive lock.
void DecrementNavAll();

// Adds one tick of the queue length to `buffer_avg`, inside the measurement window.
void CountBufferAll();

// Brings `buffer_avg` of a station up to the tick before `until`. Needed before `buffer_num` changes
// while the station sleeps and before `buffer_avg` is read; plain ticking leaves nothing to do.
void SettleBuffer(int station, uint64_t until);

// Starts the account of queue lengths at the clock's tick.
void StartBufferSegments();

// Ticks until the NAV of a station ends, counted from the tick just ended; NEVER without one.
inline uint64_t NavDue(const NODE &own)
{
    return own.nav > 0 ? static_cast<uint64_t>(own.nav) : NEVER;
}

// Removes entry `k` of the signal list of `station` by moving the later entries down. The caller
// lowers `signal_num` afterwards.
void ArrangeArray(int station, SIGNAL *list, int k);

// `ticks` quiet ticks of the two countdowns: no NAV may end among them.
inline void QuietTimers(NODE &own, uint64_t ticks)
{
    if (own.timer > 0) {
        own.timer -= static_cast<int32_t>(std::min(ticks, static_cast<uint64_t>(own.timer)));
    }
    if (own.nav > 0) {
        own.nav -= static_cast<int32_t>(ticks);
    }
}
