// The stages at the end of a tick that age the countdowns and sample the queues.
#pragma once

#include <algorithm>
#include <cstdint>

#include "driver/state.h"
#include "driver/station.h"
#include "fastforward/engine.h"

// Counts every running timer down by one tick. A timer at 0 or below rests.
void DecrementTimerAll();

// Counts every running NAV down by one tick. When one reaches 0, its station returns to contention
// or idle and its receive lock ends.
void DecrementNavAll();

// Adds one tick of every queue's length to its mean, inside the measurement window.
void CountBufferAll();

// The same for the ticks since the length last changed, up to the tick before the clock's, and the
// new length from now on. The fast-forward's way of counting.
void SettleBuffer(int station);

// Starts the account of queue lengths at the clock's tick.
void StartBufferSegments();

// Ticks until the NAV of a station ends, counted from the tick just ended; NEVER without one.
inline int32_t NavDue(const NODE &own)
{
    return own.nav > 0 ? own.nav : NEVER;
}

// Ticks until a handler finds the timer at 0, counted from the tick just ended.
inline int32_t TimerDue(const NODE &own)
{
    return own.timer > 0 ? own.timer + 1 : 1;
}

// Ticks until a handler finds `count` at `goal`, counted from the tick just ended: the count goes
// up by one per tick, or rests.
inline int32_t CountDue(uint64_t count, uint64_t goal, bool counting)
{
    const uint64_t left = goal - count; // wraps to a large number beyond the goal
    const bool comes = left == 0 || (counting && left < static_cast<uint64_t>(NEVER));
    return comes ? static_cast<int32_t>(left) + 1 : NEVER;
}

// Removes entry `k` of the signal list of `station` by moving the later entries down. The caller
// lowers `signal_num` afterwards.
void ArrangeArray(int station, SIGNAL *list, int k);

// `ticks` quiet ticks of the two countdowns: no NAV may end among them.
inline void QuietTimers(NODE &own, int32_t ticks)
{
    own.timer -= std::clamp(own.timer, 0, ticks);
    own.nav -= own.nav > 0 ? ticks : 0;
}
