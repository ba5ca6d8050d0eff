#include "output/accounting.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "channel/channel.h"
#include "driver/state.h"
#include "driver/state_table.h"
#include "fastforward/engine.h"

void check_flag()
{
    for (const int i : Awake()) {
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

// All that decides what a tick of a station adds to its counters, packed into a few bits: the kind,
// the next hop of the head packet, and which queues hold packets. A station stays on one share for
// many ticks, so it is enough to enter them by the number of ticks.
constexpr uint32_t SHARE_HOP = 1U << 3; // unit of the hop, counted from 1; 0 when it is no station
constexpr uint32_t SHARE_QUEUED = 1U << 7;  // a packet is queued
constexpr uint32_t SHARE_UPPER = 1U << 8;   // one for the upper neighbour
constexpr uint32_t SHARE_LOWER = 1U << 9;   // one for the lower neighbour
constexpr uint32_t SHARE_LOGGED = 1U << 10; // a frame has been logged
constexpr uint32_t SHARE_NUM = 1U << 11;

static uint32_t KindOf(const NODE &own)
{
    if (own.state == STATE_DCW && own.busy != 1 && own.nav == 0 && own.idle_count <= DIFS) {
        return SHARE_DIFS;
    }
    assert(own.state >= 0 && own.state < STATE_NUM);
    if (static_cast<uint32_t>(own.state) >= STATE_NUM) {
        return SHARE_NONE;
    }
    return own.busy == 1 ? STATE_TABLE[own.state].share_busy : STATE_TABLE[own.state].share;
}

// The part of a share that the queue of a station decides.
static uint32_t QueueShareOf(int station)
{
    const NODE &own = node[station];
    const int hop = own.buffer.head.receiver;
    uint32_t share = IsStation(hop) ? static_cast<uint32_t>(hop + 1) * SHARE_HOP : 0;
    if (own.buffer_num > 0) {
        share |= SHARE_QUEUED;
        if (station + 1 < NODE_NUM && own.buffer_hop_num[station + 1] > 0) {
            share |= SHARE_UPPER;
        }
        if (station > 0 && own.buffer_hop_num[station - 1] > 0) {
            share |= SHARE_LOWER;
        }
        if (own.recv_log_num > 0) {
            share |= SHARE_LOGGED;
        }
    }
    return share;
}

// Enters `ticks` of one share under the queues that hold packets.
static void AddQueueTime(int station, uint32_t share, uint64_t ticks)
{
    NODE &own = node[station];
    if ((share & SHARE_QUEUED) == 0) {
        return;
    }
    own.queue_time += ticks;
    if ((share & SHARE_UPPER) != 0) {
        own.queue_hop_time[station + 1] += ticks;
    }
    if ((share & SHARE_LOWER) != 0) {
        own.queue_hop_time[station - 1] += ticks;
    }
    // Kept: the first station has no lower neighbour; its whole queue stands in for it, so its
    // queue time counts double.
    if (station == 0) {
        own.queue_time += ticks;
    }
    // Kept: the last station has no upper neighbour; its log stands in for it, and what is counted
    // goes into the sum of end-to-end delays.
    if (station == NODE_NUM - 1 && (share & SHARE_LOGGED) != 0) {
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

// Enters `ticks` of one share into the counters of a station.
static void AddShare(int station, uint32_t share, uint64_t ticks)
{
    NODE &own = node[station];
    const int hop = static_cast<int>(share % SHARE_QUEUED / SHARE_HOP) - 1;
    AddQueueTime(station, share, ticks);
    own.window_ticks += ticks;
    switch (share % SHARE_HOP) {
    case SHARE_IDLE:
        own.idle_time += ticks;
        break;
    case SHARE_BUSY:
        own.busy_time += ticks;
        if ((share & SHARE_QUEUED) != 0) {
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
        break;
    }
}

static uint32_t g_queue_share[NODE_NUM]; // QueueShareOf as it stands, for the fast-forward

void UpdateQueueShare(int station)
{
    g_queue_share[station] = QueueShareOf(station);
}

// Ticks not yet entered: the share that each station is on and since when, and the sum of earlier
// ones. DIFS turns into backoff by itself when the idle ticks have passed it.
struct SHARE_SEGMENT {
    uint32_t share;
    int32_t since;
};
static SHARE_SEGMENT g_segment[NODE_NUM];
static uint64_t g_share_ticks[NODE_NUM][SHARE_NUM];

// Ends the segment of a station at the clock's tick, not included.
static void EndSegment(int station)
{
    const SHARE_SEGMENT &segment = g_segment[station];
    const int32_t cut = std::min(Now(), g_difs_end[station]);
    uint64_t *ticks = g_share_ticks[station];
    ticks[segment.share] += WindowTicksBetween(segment.since, cut);
    if (cut < Now()) {
        ticks[segment.share - SHARE_DIFS + SHARE_BACKOFF] += WindowTicksBetween(cut, Now());
    }
}

// Takes up a share at the clock's tick, if it is another one than so far.
static void ExtendSegment(int station)
{
    const uint32_t share = KindOf(node[station]) | g_queue_share[station];
    SHARE_SEGMENT &segment = g_segment[station];
    if (share != segment.share || g_difs_end[station] <= Now()) {
        EndSegment(station);
        segment = {share, Now()};
    }
}

void WriteNodeStateAll()
{
    for (const int i : Awake()) {
        if (!g_plain_ticking) {
            ExtendSegment(i);
        } else if (InWindow()) {
            AddShare(i, KindOf(node[i]) | QueueShareOf(i), 1);
            node[i].tick_tx_count += node[i].buffer_num > 0 ? 1 : 0;
        }
    }
}

void StartShares()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_segment[i] = {SHARE_NONE, Now()};
        UpdateQueueShare(i);
        std::fill(std::begin(g_share_ticks[i]), std::end(g_share_ticks[i]), 0);
    }
}

void SettleShares()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        EndSegment(i);
        for (uint32_t share = 0; share < SHARE_NUM; ++share) {
            if (g_share_ticks[i][share] != 0) {
                AddShare(i, share, g_share_ticks[i][share]);
            }
        }
    }
}

const char *NodeState(int state)
{
    return state >= 0 && state < STATE_NUM ? STATE_TABLE[state].label : nullptr;
}

void delay_write(int)
{
}
