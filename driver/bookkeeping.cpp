#include "driver/bookkeeping.h"

#include "driver/repeated_sum.h"
#include "driver/station.h"
#include "driver/wake.h"

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
        if (node[i].nav > 0) {
            --node[i].nav;
            if (node[i].nav == 0) {
                ResetNode(i, RESET_RESUME);
            }
        }
    }
}

// What `buffer_avg` still lacks: the queue had this length in every tick since then.
struct BUFFER_SEGMENT {
    uint64_t since;
    int32_t buffer_num;
};
static BUFFER_SEGMENT g_segment[NODE_NUM];

void CountBufferAll()
{
    for (const int i : Awake()) {
        if (g_plain_ticking) {
            if (InWindow()) {
                node[i].buffer_avg += node[i].buffer_num / WINDOW_TICKS;
            }
        } else if (node[i].buffer_num != g_segment[i].buffer_num) {
            SettleBuffer(i, g_sim_time);
        }
    }
}

void StartBufferSegments()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_segment[i] = {g_sim_time, node[i].buffer_num};
    }
}

void SettleBuffer(int station, uint64_t until)
{
    BUFFER_SEGMENT &segment = g_segment[station];
    if (segment.buffer_num > 0) {
        node[station].buffer_avg =
            RepeatedSum(node[station].buffer_avg, segment.buffer_num / WINDOW_TICKS,
                        WindowTicksBetween(segment.since, until));
    }
    segment = {until, node[station].buffer_num};
}

void ArrangeArray(int station, SIGNAL *list, int k)
{
    for (; k < node[station].signal_num - 1; ++k) {
        list[k] = list[k + 1];
    }
}
