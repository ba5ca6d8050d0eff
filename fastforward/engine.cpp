#include "fastforward/engine.h"

#include <algorithm>
#include <cassert>

#include "channel/channel.h"
#include "driver/bookkeeping.h"
#include "driver/invariants.h"
#include "driver/state.h"
#include "driver/tick.h"
#include "fastforward/stream.h"
#include "mac/receive.h"
#include "mac/transmit.h"
#include "output/accounting.h"
#include "topology/traffic.h"

bool g_plain_ticking = false;
uint32_t g_awake = ALL_STATIONS;
uint32_t g_tx_due = ALL_STATIONS;
uint32_t g_rx_due = ALL_STATIONS;
uint32_t g_nav_ended = 0;
uint64_t g_event_tick_num = 0;
uint64_t g_visit_num = 0;
int32_t g_difs_end[NODE_NUM];

// Derived from the neighbour lists: neighbours by carrier sense, and by either range.
uint32_t g_interference_set[NODE_NUM];
static uint32_t g_neighbour_set[NODE_NUM];

// First tick in which a stage may act on the station by itself, NEVER if it takes another station.
static int64_t g_wake_tick[NODE_NUM];

// What else is known of a sleeping station.
struct SLEEP {
    int32_t complete;  // first tick that its fields do not reflect yet
    bool tx_due;       // its transmit side may act in the tick in which it wakes
    bool rx_due;       // its receive side may
    bool sends;        // has DATA on the air or awaits its ACK, and counts the ticks of that
    bool counts_idle;  // `idle_count` goes up with every tick
    bool counts_frame; // `rx_count` goes up with every tick
};
static SLEEP g_sleep[NODE_NUM];

uint64_t WindowTicksBetween(int64_t since, int64_t until)
{
    // Unsigned: a window may end at the last of the signed numbers.
    const uint64_t from = std::max(static_cast<uint64_t>(since), g_settings.window_begin);
    const uint64_t to = std::min(static_cast<uint64_t>(until), g_settings.window_end + 1);
    return to > from ? to - from : 0;
}

// Lets a sleeping station live through the ticks up to, not including, the clock's, and through
// this tick's transmit stage too unless its transmit side is due. A sender of DATA is met by no
// receive stage, and one that waits for its ACK is always met, as it counts.
static void CatchUp(int station)
{
    NODE &own = node[station];
    const SLEEP &sleep = g_sleep[station];
    const int32_t ticks = Now() - sleep.complete;
    const int32_t transmit_stages = ticks + static_cast<int32_t>(~g_tx_due >> station & 1U);
    QuietContention(own, transmit_stages, sleep.counts_idle);
    if (sleep.sends) {
        QuietTx(own, transmit_stages);
        QuietRx(own, ticks);
        g_rx_due |= static_cast<uint32_t>(own.state == STATE_RACK) << station;
    }
    QuietChannel(own, sleep.counts_idle ? ticks : 0, sleep.counts_frame ? ticks : 0);
    QuietTimers(own, ticks);
}

// Wakes the stations of a set that sleep.
static void Wake(uint32_t stations)
{
    const uint32_t sleeping = stations & ~g_awake;
    g_awake |= sleeping;
    for (const int i : STATION_SET{sleeping}) {
        CatchUp(i);
    }
}

void WakeNeighbours(int sender)
{
    Wake(g_neighbour_set[sender]);
}

void WakeForArrival(int station, int hop)
{
    const NODE &own = node[station];
    if (own.state == STATE_IDLE) {
        g_tx_due |= 1U << station;
        Wake(1U << station);
        return;
    }
    // Behind another packet for the same hop the new one shows in the length of the queue only.
    if (own.buffer_num == 0 || !IsStation(hop) || own.buffer_hop_num[hop] == 0) {
        Wake(1U << station);
    }
}

void WakeForCarrier(uint32_t risen)
{
    for (const int sender : STATION_SET{risen}) {
        for (const int i : STATION_SET{g_interference_set[sender] & ~g_awake}) {
            if (node[i].busy == 0) {
                Wake(1U << i);
                if (node[i].state == STATE_RACK) {
                    QuietRx(node[i], 1); // that stage is over
                }
            }
        }
    }
}

uint64_t IdleCountNow(int station)
{
    const bool behind = (g_awake >> station & 1U) == 0 && g_sleep[station].counts_idle;
    return node[station].idle_count +
           static_cast<uint64_t>(behind ? Now() - g_sleep[station].complete : 0);
}

void NoteQueue(int station)
{
    if (!g_plain_ticking) {
        SettleBuffer(station);
        UpdateQueueShare(station);
    }
}

// Puts an awake station to sleep behind the tick just ended, until the first one in which a stage
// may act on it.
static void Sleep(int station)
{
    const NODE &own = node[station];
    const int32_t tick = Now() - 1;
    const bool counts_idle = IsCountingIdle(own);
    const bool counts_frame = IsCountingFrame(own);
    const bool sends = own.state == STATE_TDAT || own.state == STATE_RACK;
    const bool passes_difs = counts_idle && own.state == STATE_DCW && own.idle_count <= DIFS;
    const int32_t difs_left = DIFS + 1 - static_cast<int32_t>(own.idle_count);
    const int32_t tx_due = TxDue(own, counts_idle);
    const int32_t rx_due = RxDue(own, counts_frame);
    const int32_t due =
        std::min(std::min(tx_due, rx_due), std::min(ChannelDue(station), NavDue(own)));

    PredictActivity(station, passes_difs ? tick + 1 + difs_left : NEVER);
    g_difs_end[station] = passes_difs ? tick + difs_left : NEVER;
    g_wake_tick[station] = due == NEVER ? NEVER : tick + due;
    g_sleep[station] = {tick + 1, tx_due == due, rx_due == due, sends, counts_idle, counts_frame};
    ++g_visit_num;
}

static void SleepAll()
{
    for (const int i : Awake()) {
        Sleep(i);
    }
}

// Moves the clock to the next tick in which a station wakes or a packet arrives, at most to
// `until`, and wakes the stations whose tick it is; at `until` itself all sleep on. Every tick
// passed over makes its arrival draw.
static void SkipQuietTicks(uint64_t until)
{
    auto next = static_cast<int64_t>(until);
    for (const int64_t tick : g_wake_tick) {
        next = std::min(next, tick);
    }
    g_sim_time += StreamSkipFailing(static_cast<uint64_t>(next) - g_sim_time);
    g_awake = 0;
    if (g_sim_time == until) {
        return;
    }
    uint32_t due = 0;
    for (int i = 0; i < NODE_NUM; ++i) {
        due |= static_cast<uint32_t>(g_wake_tick[i] <= Now()) << i;
    }
    g_tx_due = 0;
    g_rx_due = 0;
    g_nav_ended = 0;
    for (const int i : STATION_SET{due}) {
        g_tx_due |= static_cast<uint32_t>(g_sleep[i].tx_due) << i;
        g_rx_due |= static_cast<uint32_t>(g_sleep[i].rx_due) << i;
    }
    Wake(due);
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
        g_wake_tick[i] = Now();
        g_sleep[i] = {Now(), true, true, false, false, false};
        g_difs_end[i] = NEVER;
    }
    g_awake = ALL_STATIONS;
    g_tx_due = ALL_STATIONS;
    g_rx_due = ALL_STATIONS;
    StartActivity();
    StartShares();
    StartBufferSegments();
}

// Leaves nothing behind in the derived data.
static void StopTicking()
{
    g_tx_due = ALL_STATIONS; // no stage of the clock's tick has begun
    Wake(ALL_STATIONS);
    for (int i = 0; i < NODE_NUM; ++i) {
        SettleBuffer(i);
    }
    SettleActivity();
    SettleShares();
}

void RunTicks(uint64_t until)
{
    assert(until < static_cast<uint64_t>(NEVER));
    StartTicking();
    if (g_plain_ticking) {
        while (g_sim_time < until) {
            Tick();
            CheckInvariants();
        }
        return;
    }
    StreamSetTest(ArrivalProbability());
    for (SkipQuietTicks(until); g_sim_time < until; SkipQuietTicks(until)) {
        Tick();
        CheckInvariants();
        SleepAll();
        UpdateActivity();
        ++g_event_tick_num;
    }
    StopTicking();
}
