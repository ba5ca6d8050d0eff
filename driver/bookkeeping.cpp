#include "driver/bookkeeping.h"

#include "fastforward/engine.h"
#include "fastforward/repeated_sum.h"

void DecrementTimerAll()
{
    for (const int i : Awake()) {
        if (node[i].timer > 0) {
            --node[i].timer;
        }
    }
}

void DecrementNavAll()
{
    for (const int i : Awake()) {
        NODE &own = node[i];
        if (own.nav > 0) {
            --own.nav;
            if (own.nav == 0) {
                ResetNode(i, RESET_RESUME);
                g_nav_ended |= 1U << i;
            }
        }
    }
}

void CountBufferAll()
{
    if (!g_plain_ticking || !InWindow()) {
        return;
    }
    for (const int i : Awake()) {
        if (node[i].buffer_num > 0) {
            node[i].buffer_avg += node[i].buffer_num / g_settings.window_ticks;
        }
    }
}

// What `buffer_avg` still lacks: the queue has had this length in every tick since then.
struct BUFFER_SEGMENT {
    int32_t since;
    int32_t buffer_num;
};
static BUFFER_SEGMENT g_segment[NODE_NUM];

void StartBufferSegments()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_segment[i] = {Now(), node[i].buffer_num};
    }
}

void SettleBuffer(int station)
{
    BUFFER_SEGMENT &segment = g_segment[station];
    const uint64_t ticks = WindowTicksBetween(segment.since, Now());
    if (ticks > 0 && segment.buffer_num > 0) {
        node[station].buffer_avg = RepeatedSum(node[station].buffer_avg,
                                               segment.buffer_num / g_settings.window_ticks, ticks);
    }
    segment = {Now(), node[station].buffer_num};
}

void ArrangeArray(int station, SIGNAL *list, int k)
{
    for (; k < node[station].signal_num - 1; ++k) {
        list[k] = list[k + 1];
    }
}
