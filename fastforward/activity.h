// Simultaneous activity by stretches in which the set of active stations does not change.
//
// The set follows from the stations that are looked at. One that sleeps stays what it was, but that
// a contending station is past DIFS at some time, and no longer active from the next tick on: its
// lapse.
#pragma once

#include <algorithm>
#include <cstdint>

#include "driver/constants.h"
#include "fastforward/engine.h"

extern int32_t g_lapse[NODE_NUM]; // per station: tick of its lapse, or NEVER
extern int32_t g_next_lapse;      // not later than the first of these

// Starts the account at the clock's tick, with the set as it was last looked at.
void StartActivity();

// Enters all stretches up to the clock's tick.
void SettleActivity();

// Makes `active` the set from the clock's tick on.
void SetActive(uint32_t active);

// Notes that a station, active while it sleeps, lapses at `tick`; NEVER if it does not.
inline void NoteLapse(int station, int32_t tick)
{
    g_lapse[station] = tick;
    g_next_lapse = std::min(g_next_lapse, tick);
}

// Part of LapseActivity for when there may be a lapse.
void LapseStations();

// Lets the stations go inactive that have lapsed by the clock's tick.
inline void LapseActivity()
{
    if (g_next_lapse <= Now()) {
        LapseStations();
    }
}
