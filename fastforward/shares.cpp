#include "fastforward/shares.h"

#include <algorithm>

STRETCH g_stretch[NODE_NUM];

static void Enter(int station, SHARE share, int32_t ticks)
{
    if (ticks > 0) {
        if (node[station].buffer_num > 0) {
            AddQueueTime(station, static_cast<uint64_t>(ticks));
        }
        AddShare(station, share, static_cast<uint64_t>(ticks));
    }
}

void EnterStretch(int station, int32_t tick)
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
