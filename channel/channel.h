// The physical layer of one tick: who senses a carrier, which receptions go on, which collide.
#pragma once

#include <cstdint>

#include "driver/state.h"
#include "driver/state_table.h"
#include "fastforward/engine.h"

// Counts simultaneous activity, then for each awake station in turn: starts a collision episode,
// ends one, senses the carrier. A station handled later sees a reset of an earlier one.
void CheckChannelStateAll();

// Starts the activity counts at the clock's tick, or brings them up to it. Plain ticking counts at
// once.
void StartActivity();
void SettleActivity();

// Works out what a station counts as from the next tick on, while it sleeps. At `lapse_tick`, NEVER
// if that does not come, it is past DIFS and no longer active.
void PredictActivity(int station, int32_t lapse_tick);

// Makes the activity worked out for the awake stations hold from the clock's tick on.
void UpdateActivity();

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

// Quiet ticks of the channel: `idle_ticks` of them counted as idle, `frame_ticks` as part of a
// frame.
inline void QuietChannel(NODE &own, int32_t idle_ticks, int32_t frame_ticks)
{
    own.idle_count += static_cast<uint64_t>(idle_ticks);
    own.difs_idle_num += own.state == STATE_DCW ? idle_ticks : 0;
    own.rx_count += static_cast<uint64_t>(frame_ticks);
}

// Ticks until the channel does more to a station than count, counted from the tick just ended;
// NEVER if it does not. It leaves nothing undone at a station that it has visited; only a NAV that
// ends behind it sets the station free to start or freeze a backoff, or to note an EIFS.
inline int32_t ChannelDue(int station)
{
    return (g_nav_ended >> station & 1U) != 0 ? 1 : NEVER;
}
