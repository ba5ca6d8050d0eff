// The physical layer of one tick: who senses a carrier, which receptions go on, which collide.
#pragma once

#include <cstdint>

#include "driver/state.h"

// Counts simultaneous activity, then for each awake station in turn: starts a collision episode, ends
// one, senses the carrier. A station handled later sees a reset of an earlier one.
void CheckChannelStateAll();

// Brings the activity counts up to the clock, or starts them there. Plain ticking counts at once.
void StartActivity();
void SettleActivity();

// Takes over what the sleeping stations will be counted as from the clock's tick on.
void UpdateActivity();

// Whether an idle tick of the medium raises `idle_count` of the station.
inline bool IsCountingIdle(const NODE &own)
{
    constexpr uint32_t COUNTING_STATES =
        1U << STATE_DCW | 1U << STATE_WTCTS | 1U << STATE_WTDAT | 1U << STATE_WTACK;
    return own.rx_error == 0 && own.signal_num == 0 && own.nav == 0 && own.busy == 0 &&
           (COUNTING_STATES >> own.state & 1U) != 0;
}

// Whether a tick of the frame in `rx_frame` is heard and counted.
inline bool IsCountingFrame(const NODE &own)
{
    return own.rx_error == 0 && own.signal_num != 0 && own.rx_flag == 1;
}

// `ticks` quiet ticks of the channel.
inline void QuietChannel(NODE &own, uint64_t ticks)
{
    if (IsCountingIdle(own)) {
        own.idle_count += ticks;
        if (own.state == STATE_DCW) {
            own.difs_idle_num += static_cast<int32_t>(ticks);
        }
    }
    if (IsCountingFrame(own)) {
        own.rx_count += ticks;
    }
}

// Ticks until the channel does more to a station than count, counted from the tick just ended; at
// least 1, NEVER if it does not.
uint64_t ChannelDue(int station);
