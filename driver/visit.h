// The one door between the model and what makes it fast, in three words:
//
//     Visited(stage)         the stations that a stage visits in this tick, ascending
//     Look(station)          the record of another station, to be read
//     Reach(station, stage)  the record of another station, to be written; `stage` is the first one
//                            that may act on what is written
//
// The plain simulator visits every station in every stage, and every record is as it stands. Fast
// runs (fastforward/) leave out a station to which nothing would happen but that some of its counts
// go up by one; its record is then some ticks behind. The model cannot tell the two apart, as long
// as it touches other stations' counts and changes other stations through these words only.
#pragma once

#include <cstdint>

#include "channel/activity.h"
#include "driver/state.h"
#include "driver/station_set.h"

// The stages that visit stations, in the order of a tick.
enum STAGE : int32_t {
    STAGE_TX = 0,      // CheckTxEventAll
    STAGE_RX = 1,      // CheckRxEventAll
    STAGE_CHANNEL = 2, // CheckChannelStateAll
    STAGE_TIMER = 3,   // DecrementTimerAll
    STAGE_NAV = 4,     // DecrementNavAll
    STAGE_BUFFER = 5,  // CountBufferAll: the queue, its head, its counts per hop, or the log
    STAGE_FLAG = 6,    // check_flag
    STAGE_SHARE = 7,   // WriteNodeStateAll
};
constexpr int STAGE_NUM = 8;

#ifdef DCFSIM_FAST_FORWARD

// Stations that each stage visits in this tick, one bit each. All of them in plain ticking.
extern uint32_t g_visited[STAGE_NUM];

// Sleeping stations whose idle ticks run, and which Look has to bring up to date.
extern uint32_t g_counting;

// The parts of the words that fast runs alone need; fastforward/engine.h tells what they do.
void NoteReceiveStage();
void BringUpToDate(int station);
void WakeStation(int station, STAGE stage);
void QueueChanges(int station);
void EnterActive(uint32_t active);

inline STATION_SET Visited(STAGE stage)
{
    if (stage == STAGE_RX) {
        NoteReceiveStage();
    }
    return {g_visited[stage]};
}

inline const NODE &Look(int station)
{
    if (Has(g_counting, station)) {
        BringUpToDate(station);
    }
    return node[station];
}

inline NODE &Reach(int station, STAGE stage)
{
    if (stage == STAGE_BUFFER) {
        QueueChanges(station);
        return node[station];
    }
    // Whoever is awake is visited by the channel stage.
    if (!Has(g_visited[STAGE_CHANNEL], station)) {
        WakeStation(station, stage);
    }
    if (stage == STAGE_RX) {
        g_visited[STAGE_RX] |= 1U << station;
    } else if (stage == STAGE_FLAG) {
        g_visited[STAGE_FLAG] |= 1U << station;
    }
    return node[station];
}

#else

inline STATION_SET Visited(STAGE)
{
    return {ALL_STATIONS};
}

inline const NODE &Look(int station)
{
    return node[station];
}

inline NODE &Reach(int station, STAGE)
{
    return node[station];
}

// Counts a tick in which exactly the stations of `active` are active.
inline void EnterActive(uint32_t active)
{
    CountActivity(active, 1);
}

#endif
