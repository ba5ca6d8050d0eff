// Shares of time by stretches in which a station's share does not change. DIFS turns into backoff
// by itself when the idle ticks have passed it.
#pragma once

#include <cstdint>

#include "driver/constants.h"
#include "driver/state.h"
#include "driver/state_table.h"
#include "fastforward/engine.h"
#include "output/accounting.h"

// Starts the account at the clock's tick.
void StartShares();

// A stretch of equal ticks.
struct STRETCH {
    SHARE share;
    int32_t since;    // first tick not yet entered
    int32_t difs_end; // first tick that is backoff instead of DIFS, NEVER if that does not come
};
extern STRETCH g_stretch[NODE_NUM];

// Enters what a station's stretch lacks, up to the tick in front of `tick`.
void EnterStretch(int station, int32_t tick);

// Takes up the share of a station that ends tick `tick` as it stands now, if it is another one than
// so far. `difs_end` is the first tick that will end with more idle ticks than DIFS, NEVER if that
// does not come by itself.
inline void ExtendShare(int station, int32_t tick, int32_t difs_end)
{
    STRETCH &stretch = g_stretch[station];
    const SHARE share = ShareOf(node[station]);
    if (share != stretch.share || stretch.difs_end <= tick) {
        EnterStretch(station, tick);
        stretch.share = share;
    }
    stretch.difs_end = difs_end;
}

// Enters what a station's stretch lacks, up to the tick in front of the clock's. Called before
// anything changes that decides what a tick adds: its queue, the head of it, its counts per hop,
// its log.
inline void SettleShare(int station)
{
    EnterStretch(station, Now());
}
