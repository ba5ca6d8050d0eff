#include "fastforward/mean_queue.h"

#include <cstdint>

#include "driver/state.h"
#include "fastforward/engine.h"
#include "fastforward/repeated_sum.h"

static int32_t g_since[NODE_NUM]; // first tick not yet entered

void StartMeanQueues()
{
    for (int32_t &since : g_since) {
        since = Now();
    }
}

// Plain ticking adds one share per tick, each addition rounded; a product would be another number.
void SettleMeanQueue(int station)
{
    NODE &own = node[station];
    const int32_t ticks = Now() - g_since[station];
    if (ticks > 0 && own.buffer_num > 0 && g_in_window) {
        own.buffer_avg = RepeatedSum(own.buffer_avg, own.buffer_num / g_settings.window_ticks,
                                     static_cast<uint64_t>(ticks));
    }
    g_since[station] = Now();
}
