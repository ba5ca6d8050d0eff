#include "driver/wake.h"

#include <algorithm>
#include <iterator>

#include "channel/channel.h"
#include "driver/bookkeeping.h"
#include "driver/state.h"
#include "driver/tick.h"
#include "mac/receive.h"
#include "mac/transmit.h"
#include "output/accounting.h"
#include "topology/stream.h"

bool g_plain_ticking = false;
uint32_t g_awake = ALL_STATIONS;
int g_tx_station = 0;

// Derived from the neighbour lists: neighbours by carrier sense, and by either range.
static uint32_t g_interference_set[NODE_NUM];
static uint32_t g_neighbour_set[NODE_NUM];

// First tick in which a stage may act on the station. The lanes beyond the stations never come due.
constexpr int LANE_NUM = 12;
constexpr int32_t FAR_TICK = INT32_MAX;
alignas(16) static int32_t g_wake_tick[LANE_NUM];
static uint64_t g_complete[NODE_NUM];  // first tick that the station's fields do not reflect yet

uint32_t InterferenceSet(int station)
{
    return g_interference_set[station];
}

uint64_t WindowTicksBetween(uint64_t since, uint64_t until)
{
    const uint64_t from = std::max(since, g_settings.window_begin);
    const uint64_t to = std::min(until, g_settings.window_end + 1);
    return to > from ? to - from : 0;
}

// Lets a sleeping station live through the ticks up to, not including, the clock's.
static void CatchUp(int station)
{
    NODE &own = node[station];
    const uint64_t ticks = g_sim_time - g_complete[station];
    QuietTx(own, ticks);
    QuietRx(own, ticks);
    QuietChannel(own, ticks);
    QuietTimers(own, ticks);
    g_complete[station] = g_sim_time;
}

static bool IsAwake(int station)
{
    return (g_awake >> station & 1U) != 0;
}

static void Wake(int station)
{
    CatchUp(station);
    g_awake |= 1U << station;
}

void WakeNeighbours(int sender)
{
    for (uint32_t rest = g_neighbour_set[sender] & ~g_awake; rest != 0; rest &= rest - 1) {
        const int station = std::countr_zero(rest);
        Wake(station);
        // The transmit stage has passed by the stations below the sender in this tick.
        if (station < g_tx_station) {
            QuietTx(node[station], 1);
        }
    }
}

void WakeForArrival(int station)
{
    if (!IsAwake(station)) {
        Wake(station);
    }
}

void WakeForCarrier(uint32_t risen)
{
    for (; risen != 0; risen &= risen - 1) {
        const int sender = std::countr_zero(risen);
        for (uint32_t rest = g_interference_set[sender] & ~g_awake; rest != 0; rest &= rest - 1) {
            const int station = std::countr_zero(rest);
            if (node[station].busy == 0) {
                Wake(station);
                QuietTx(node[station], 1);
                QuietRx(node[station], 1);
            }
        }
    }
}

// Puts the awake stations to sleep until the first tick in which one of their stages may act.
static void SleepAll()
{
    UpdateActivity();
    for (const int i : Awake()) {
        const uint64_t due =
            std::min({TxDue(node[i]), RxDue(node[i]), ChannelDue(i), NavDue(node[i])});
        g_wake_tick[i] = due == NEVER ? FAR_TICK : static_cast<int32_t>(g_sim_time - 1 + due);
        g_complete[i] = g_sim_time;
    }
}

// Moves the clock to the next tick in which a station wakes or a packet arrives, at most to `until`,
// and wakes the stations whose tick it is. Every tick passed over makes its arrival draw.
static void SkipQuietTicks(uint64_t until)
{
    int32_t next = static_cast<int32_t>(until);
    for (const int32_t tick : g_wake_tick) {
        next = std::min(next, tick);
    }
    g_sim_time += StreamSkipFailing(static_cast<uint64_t>(next) - g_sim_time);
    const auto now = static_cast<int32_t>(g_sim_time);
    uint32_t due = 0;
    for (int i = 0; i < LANE_NUM; ++i) {
        due |= static_cast<uint32_t>(g_wake_tick[i] <= now) << i;
    }
    g_awake = due;
    for (const int i : Awake()) {
        CatchUp(i);
    }
}

// Derives what the records do not hold.
static void StartTicking()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_interference_set[i] = 0;
        for (int k = 0; k < node[i].interference_num; ++k) {
            g_interference_set[i] |= 1U << node[i].interference_list[k];
        }
        g_neighbour_set[i] = g_interference_set[i];
        for (int k = 0; k < node[i].connect_num; ++k) {
            g_neighbour_set[i] |= 1U << node[i].connect_list[k];
        }
        g_wake_tick[i] = static_cast<int32_t>(g_sim_time);
        g_complete[i] = g_sim_time;
    }
    std::fill(g_wake_tick + NODE_NUM, g_wake_tick + LANE_NUM, FAR_TICK);
    g_awake = ALL_STATIONS;
    StartActivity();
    StartShares();
    StartBufferSegments();
}

// Leaves nothing behind in the derived data.
static void StopTicking()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        CatchUp(i);
        SettleBuffer(i, g_sim_time);
    }
    SettleActivity();
    SettleShares();
}

void RunTicks(uint64_t until)
{
    StartTicking();
    if (g_plain_ticking) {
        while (g_sim_time < until) {
            Tick();
        }
        return;
    }
    StreamSetTest(ARRIVAL_FACTOR * g_ariv_rate);
    for (SkipQuietTicks(until); g_sim_time < until; SkipQuietTicks(until)) {
        Tick();
        SleepAll();
    }
    StopTicking();
}
