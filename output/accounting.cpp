#include "output/accounting.h"

#include <cassert>

#include "driver/state.h"
#include "driver/visit.h"

void check_flag()
{
    for (const int i : Visited(STAGE_FLAG)) {
        NODE &own = node[i];
        if (own.same_start_flag != 1) {
            continue;
        }
        const int hop = own.buffer[0].receiver;
        ++own.same_start_num;
        ++own.same_start_count;
        // Kept: in the whole run, and on top of what the receiver's collision is counted as, so
        // such a collision counts twice on the link.
        if (IsStation(hop)) {
            ++col[i][hop][ROW_COL].total;
            ++col[i][hop][ROW_CON].total;
            ++own.same_start_hop_num[hop];
        }
        own.same_start_flag = 0;
    }
}

void AddQueueTime(int station, uint64_t ticks)
{
    NODE &own = node[station];
    own.queue_time += ticks;
    if (station + 1 < NODE_NUM && own.buffer_hop_num[station + 1] > 0) {
        own.queue_hop_time[station + 1] += ticks;
    }
    if (station > 0 && own.buffer_hop_num[station - 1] > 0) {
        own.queue_hop_time[station - 1] += ticks;
    }
    // Kept: the first station has no lower neighbour; its whole queue stands in for it, so its
    // queue time counts double.
    if (station == 0) {
        own.queue_time += ticks;
    }
    // Kept: the last station has no upper neighbour; its log stands in for it, and what is counted
    // goes into the sum of end-to-end delays.
    if (station == NODE_NUM - 1 && own.recv_log_num > 0) {
        own.delay_sum += ticks;
    }
}

static void Add(uint64_t &total, uint64_t (&by_hop)[NODE_NUM], int hop, uint64_t ticks)
{
    total += ticks;
    if (IsStation(hop)) {
        by_hop[hop] += ticks;
    }
}

void AddShare(int station, SHARE share, uint64_t ticks)
{
    NODE &own = node[station];
    const int hop = own.buffer.head.receiver;
    own.window_ticks += ticks;
    switch (share) {
    case SHARE_IDLE:
        own.idle_time += ticks;
        break;
    case SHARE_BUSY:
        own.busy_time += ticks;
        if (own.buffer_num > 0) {
            Add(own.busy_queue_time, own.busy_queue_hop_time, hop, ticks);
        }
        break;
    case SHARE_DIFS:
        own.send_time += ticks;
        break;
    case SHARE_BACKOFF:
        own.idle_time += ticks;
        Add(own.backoff_time, own.backoff_hop_time, hop, ticks);
        break;
    case SHARE_SEND:
        Add(own.send_time, own.send_hop_time, hop, ticks);
        break;
    default:
        assert(share == SHARE_NONE);
        break;
    }
}

void WriteNodeStateAll()
{
    if (!InWindow()) {
        return;
    }
    for (const int i : Visited(STAGE_SHARE)) {
        if (node[i].buffer_num > 0) {
            AddQueueTime(i, 1);
            ++node[i].tick_tx_count;
        }
        AddShare(i, ShareOf(node[i]), 1);
    }
}

const char *NodeState(int state)
{
    return state >= 0 && state < STATE_NUM ? STATE_TABLE[state].label : nullptr;
}

void delay_write(int)
{
}
