#include "output/accounting.h"

#include <algorithm>
#include <iterator>

#include "driver/state.h"
#include "driver/wake.h"

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
        if (IsStation(hop)) {
            ++col[i][hop][ROW_COL].total;
            ++col[i][hop][ROW_CON].total;
            ++own.same_start_hop_num[hop];
        }
        own.same_start_flag = 0;
    }
}

// What a tick of a station is entered as.
enum SHARE_KIND : uint32_t {
    SHARE_NONE = 0,    // Kept: sending or awaiting RTS, CTS and what follows them counts nowhere
    SHARE_IDLE = 1,    // nothing to do
    SHARE_BUSY = 2,    // medium busy, or receiving
    SHARE_DIFS = 3,    // contending, still inside DIFS: counts as sending
    SHARE_BACKOFF = 4, // contending, backoff: counts as idle
    SHARE_SEND = 5,    // DATA exchange
};

// All that decides what a tick of a station adds to its counters, packed into a few bits: the kind,
// the next hop of the head packet, and which queues hold packets. A station stays on one share for many
// ticks, so it is enough to enter them by the number of ticks.
constexpr uint32_t SHARE_HOP = 1U << 3;       // unit of the hop, counted from 1; 0 when it is no station
constexpr uint32_t SHARE_QUEUED = 1U << 7;    // a packet is queued
constexpr uint32_t SHARE_UPPER = 1U << 8;     // one for the upper neighbour
constexpr uint32_t SHARE_LOWER = 1U << 9;     // one for the lower neighbour
constexpr uint32_t SHARE_LOGGED = 1U << 10;   // a frame has been logged
constexpr uint32_t SHARE_NUM = 1U << 11;

static SHARE_KIND KindOf(const NODE &own)
{
    switch (own.state) {
    case STATE_IDLE:
        return own.busy == 1 ? SHARE_BUSY : SHARE_IDLE;
    case STATE_DCW:
        if (own.busy == 1) {
            return SHARE_BUSY;
        }
        return own.nav == 0 && own.idle_count <= DIFS ? SHARE_DIFS : SHARE_BACKOFF;
    case STATE_TDAT:
    case STATE_RACK:
        return SHARE_SEND;
    case STATE_WTACK:
    case STATE_TACK:
    case STATE_WRDAT:
    case STATE_RDAT:
        return SHARE_BUSY;
    default:
        return SHARE_NONE;
    }
}

static uint32_t ShareOf(int station)
{
    const NODE &own = node[station];
    const int hop = own.buffer.head.receiver;
    uint32_t share = KindOf(own) + (IsStation(hop) ? static_cast<uint32_t>(hop + 1) : 0) * SHARE_HOP;
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
    // Kept: the first station has no lower neighbour; its whole queue stands in for it, so its queue
    // time counts double.
    if (station == 0) {
        own.queue_time += ticks;
    }
    // Kept: the last station has no upper neighbour; its log stands in for it, and what is counted goes
    // into the sum of end-to-end delays.
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

// Ticks not yet entered: the share that each station is on, since when, and the sum of earlier ones.
static uint32_t g_share[NODE_NUM];
static uint64_t g_share_since[NODE_NUM];
static uint64_t g_share_ticks[NODE_NUM][SHARE_NUM];

void WriteNodeStateAll()
{
    for (const int i : Awake()) {
        const uint32_t share = ShareOf(i);
        if (g_plain_ticking) {
            if (InWindow()) {
                AddShare(i, share, 1);
            }
        } else if (share != g_share[i]) {
            g_share_ticks[i][g_share[i]] += WindowTicksBetween(g_share_since[i], g_sim_time);
            g_share[i] = share;
            g_share_since[i] = g_sim_time;
        }
    }
}

void StartShares()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_share[i] = ShareOf(i);
        g_share_since[i] = g_sim_time;
        std::fill(std::begin(g_share_ticks[i]), std::end(g_share_ticks[i]), 0);
    }
}

void SettleShares()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_share_ticks[i][g_share[i]] += WindowTicksBetween(g_share_since[i], g_sim_time);
        for (uint32_t share = 0; share < SHARE_NUM; ++share) {
            if (g_share_ticks[i][share] != 0) {
                AddShare(i, share, g_share_ticks[i][share]);
            }
        }
    }
}

const char *NodeState(int state)
{
    switch (state) {
    case STATE_IDLE:
        return " IDLE";
    case STATE_DCW:
        return " D&CW";
    case STATE_TRTS:
        return " TRTS";
    case STATE_WTCTS:
        return "WTCTS";
    case STATE_TCTS:
        return " TCTS";
    case STATE_WTDAT:
        return "WTDAT";
    case STATE_TDAT:
        return " TDAT";
    case STATE_WTACK:
        return "WTACK";
    case STATE_TACK:
        return " TACK";
    case STATE_WRCTS:
        return "WRCTS";
    case STATE_WRDAT:
        return "WRDAT";
    case STATE_RDAT:
        return " RDAT";
    case STATE_RACK:
        return " RACK";
    default:
        return nullptr;
    }
}

void delay_write(int)
{
}
