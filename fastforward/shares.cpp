#include "fastforward/shares.h"

#include <algorithm>

#include "driver/constants.h"
#include "fastforward/engine.h"
#include "output/accounting.h"

// A stretch of equal ticks.
struct STRETCH {
    SHARE share;
    int32_t since;    // first tick not yet entered
    int32_t difs_end; // first tick that is backoff instead of DIFS
};
static STRETCH g_stretch[NODE_NUM];

static void Enter(int station, SHARE share, int32_t ticks)
{
    if (ticks > 0) {
        AddQueueTime(station, static_cast<uint64_t>(ticks));
        AddShare(station, share, static_cast<uint64_t>(ticks));
    }
}

// Enters the ticks of a stretch in front of `tick`.
static void Settle(int station, int32_t tick)
{
    STRETCH &stretch = g_stretch[station];
    if (g_in_window) {
        const int32_t cut = std::clamp(stretch.difs_end, stretch.since, tick);
        Enter(station, stretch.share, cut - stretch.since);
        Enter(station, SHARE_BACKOFF, tick - cut);
    }
    stretch.since = tick;
}

void StartShares()
{
    for (STRETCH &stretch : g_stretch) {
        stretch = {SHARE_NONE, Now(), NEVER};
    }
}

void ExtendShare(int station, int32_t tick, int32_t difs_end)
{
    STRETCH &stretch = g_stretch[station];
    const SHARE share = ShareOf(node[station]);
    if (share != stretch.share || stretch.difs_end <= tick) {
        Settle(station, tick);
        stretch.share = share;
    }
    stretch.difs_end = difs_end;
}

void SettleShare(int station)
{
    Settle(station, Now());
}
