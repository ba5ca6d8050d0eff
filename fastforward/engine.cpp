#include "fastforward/engine.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <iterator>

#include "channel/activity.h"
#include "channel/channel.h"
#include "driver/invariants.h"
#include "driver/state_table.h"
#include "driver/station_set.h"
#include "driver/tick.h"
#include "driver/visit.h"
#include "fastforward/activity.h"
#include "fastforward/mean_queue.h"
#include "fastforward/quiet.h"
#include "fastforward/shares.h"
#include "fastforward/stream.h"
#include "fastforward/wake_ticks.h"
#include "topology/traffic.h"

uint32_t g_visited[STAGE_NUM] = {ALL_STATIONS, ALL_STATIONS, ALL_STATIONS, ALL_STATIONS,
                                 ALL_STATIONS, ALL_STATIONS, ALL_STATIONS, ALL_STATIONS};
uint32_t g_counting = 0;
uint64_t g_event_tick_num = 0;
uint64_t g_visit_num = 0;

bool g_in_window = false;

static uint32_t g_waiting = 0;       // sleeping stations that count nothing but their NAV
static uint32_t g_flagged = 0;       // stations whose flag of a common start may be set
static bool g_is_fast = false;       // a fast run is under way
static bool g_receive_begun = false; // of this tick
static WAKE_TICKS g_wake;
static int32_t g_complete[NODE_NUM]; // first tick that a sleeping record does not reflect
static uint32_t g_counts[NODE_NUM];  // what a sleeping station counts

// Brings a record up to the beginning of the clock's tick.
static void CatchUp(int station)
{
    NODE &own = node[station];
    const int32_t ticks = Now() - g_complete[station];
    if (own.nav > 0 && own.nav <= ticks) {
        LivePastNav(station, g_counts[station], ticks);
    } else {
        LiveQuietly(own, g_counts[station], ticks);
    }
    g_complete[station] = Now();
}

// The same for a station that wakes. If its NAV ends with this tick, the NAV stage has to see it.
static void Awaken(int station)
{
    NODE &own = node[station];
    if (!Has(g_waiting, station)) {
        CatchUp(station);
    } else if (own.nav > 0) {
        const int32_t ticks = Now() - g_complete[station];
        if (own.nav <= ticks) {
            LivePastNav(station, 0, ticks);
        } else {
            own.nav -= ticks;
        }
    }
    g_visited[STAGE_NAV] |= static_cast<uint32_t>(own.nav == 1) << station;
}

// Has the channel stage visit stations that have just woken.
static void LeaveSleep(uint32_t stations)
{
    g_visited[STAGE_CHANNEL] |= stations;
    g_counting &= ~stations;
    g_waiting &= ~stations;
}

void NoteReceiveStage()
{
    g_receive_begun = true;
}

void BringUpToDate(int station)
{
    CatchUp(station);
}

void WakeStation(int station, STAGE stage)
{
    NODE &own = node[station];
    const uint32_t bit = 1U << station;
    if (stage == STAGE_TX) { // an arrival: only an idle station acts on it
        if (own.state == STATE_IDLE) {
            Awaken(station);
            LeaveSleep(bit);
            g_visited[STAGE_TX] |= bit;
            g_visited[STAGE_RX] |= bit;
        }
        return;
    }
    Awaken(station);
    if (!Has(g_waiting, station)) {
        PassTransmitStage(own, g_counts[station]);
        if (g_receive_begun) {
            PassReceiveStage(own, 1);
        } else { // the handler of an ACK wait counts every tick
            g_visited[STAGE_RX] |= static_cast<uint32_t>(own.state == STATE_RACK) << station;
        }
    }
    LeaveSleep(bit);
}

void QueueChanges(int station)
{
    if (g_is_fast) {
        SettleMeanQueue(station);
        SettleShare(station);
    }
}

void EnterActive(uint32_t active)
{
    if (g_is_fast) {
        SetActive(active);
    } else {
        CountActivity(active, 1);
    }
}

static void Visit(uint32_t stations)
{
    std::fill(std::begin(g_visited), std::end(g_visited), stations);
}

// Moves the clock to the next tick in which a station is due or a packet arrives, and wakes those
// who are due. False if that is not before `until`; the clock then stands there and all sleep on.
static bool BeginTick(uint64_t until)
{
    const uint64_t next = std::min(until, static_cast<uint64_t>(FirstOf(g_wake)));
    g_sim_time += StreamSkipFailing(next - g_sim_time);
    LapseActivity();
    if (g_sim_time == until) {
        return false;
    }
    const uint32_t due = DueIn(g_wake, Now());
    Visit(0);
    g_receive_begun = false;
    for (const int i : STATION_SET{due}) {
        Awaken(i);
    }
    LeaveSleep(due);
    g_visited[STAGE_TX] = due;
    g_visited[STAGE_RX] = due;
    g_visited[STAGE_FLAG] = g_flagged;
    g_flagged = 0;
    return true;
}

// What the stations that go to sleep are.
struct SLEEPERS {
    uint32_t active;
    uint32_t carriers;
    uint32_t counting;
    uint32_t waiting;
};

// Puts a station to sleep behind `tick`, which has just ended for it but for its countdowns.
static void Sleep(int station, int32_t tick, SLEEPERS &sleepers)
{
    NODE &own = node[station];
    const uint32_t bit = 1U << station;
    const bool nav_visited = Has(g_visited[STAGE_NAV], station);
    int32_t due = NEVER;
    own.timer -= own.timer > 0 ? 1 : 0;
    if (own.nav > 0) {
        own.nav -= nav_visited ? 0 : 1;
        due = EndsNavUnnoticed(own) ? NEVER : own.nav;
    } else if (nav_visited && (own.busy == 1 || own.signal_num > 1)) {
        due = 1; // the channel stage has not looked at it since its NAV ended
    }
    g_complete[station] = tick + 1;
    if (OnlyWaits(own)) {
        sleepers.waiting |= bit;
        g_counts[station] = 0;
        g_wake.tick[station] = due == NEVER ? NEVER : tick + due;
        NoteLapse(station, NEVER);
        ExtendShare(station, tick, NEVER);
        return;
    }
    const uint32_t counts = CountsOf(own);
    due = std::min(due, HandlerDue(own, counts));
    const bool passes_difs =
        counts == COUNTS_IDLE && own.state == STATE_DCW && own.idle_count <= DIFS;
    const int32_t difs_end =
        passes_difs ? tick + DIFS + 1 - static_cast<int32_t>(own.idle_count) : NEVER;
    g_counts[station] = counts;
    g_wake.tick[station] = due == NEVER ? NEVER : tick + due;
    sleepers.counting |= counts == COUNTS_IDLE ? bit : 0;
    sleepers.active |= IsActive(own) ? bit : 0;
    sleepers.carriers |= IsIn(own.state, WITH_CARRIER) ? bit : 0;
    NoteLapse(station, passes_difs ? difs_end + 1 : NEVER);
    ExtendShare(station, tick, difs_end);
}

// Behind the tick: all who were visited go to sleep.
static void EndTick()
{
    const int32_t tick = Now() - 1;
    const uint32_t awake = g_visited[STAGE_CHANNEL];
    SLEEPERS sleepers = {g_active & ~awake, g_carriers & ~awake, g_counting, g_waiting};
    for (const int i : STATION_SET{awake}) {
        Sleep(i, tick, sleepers);
        ++g_visit_num;
    }
    g_active = sleepers.active;
    g_carriers = sleepers.carriers;
    g_counting = sleepers.counting;
    g_waiting = sleepers.waiting;
    g_visited[STAGE_CHANNEL] = 0;
    SetActive(g_active);
    ++g_event_tick_num;
}

// Before a stretch all records are complete, whatever they hold: every station is looked at in its
// first tick.
static void BeginStretch()
{
    g_is_fast = true;
    g_in_window = InWindow();
    g_flagged = ALL_STATIONS;
    std::fill(std::begin(g_wake.tick), std::end(g_wake.tick), NEVER);
    for (int i = 0; i < NODE_NUM; ++i) {
        g_wake.tick[i] = Now();
        g_complete[i] = Now();
        g_counts[i] = 0;
    }
    StartActivity();
    StartShares();
    StartMeanQueues();
    StreamStart(g_stream_block);
    StreamSetTest(ArrivalProbability());
}

// Behind it they are complete again, and all doors stand open.
static void EndStretch()
{
    StreamStop();
    SettleActivity();
    for (int i = 0; i < NODE_NUM; ++i) {
        SettleMeanQueue(i);
        SettleShare(i);
        CatchUp(i);
    }
    Visit(ALL_STATIONS);
    g_counting = 0;
    g_is_fast = false;
}

// A fast run that does not cross an end of the measurement window.
static void RunStretch(uint64_t until)
{
    BeginStretch();
    while (BeginTick(until)) {
        Tick();
        CheckInvariants();
        EndTick();
    }
    EndStretch();
}

static void RunPlain(uint64_t until)
{
    while (g_sim_time < until) {
        Tick();
        CheckInvariants();
    }
}

// The first tick behind the clock's in which counting in the window begins or is over.
static uint64_t NextWindowEnd()
{
    if (g_sim_time < g_settings.window_begin) {
        return g_settings.window_begin;
    }
    return InWindow() ? g_settings.window_end + 1 : UINT64_MAX;
}

void RunTicks(uint64_t until)
{
    assert(until < static_cast<uint64_t>(NEVER));
    if (g_plain_ticking) {
        RunPlain(until);
        return;
    }
    while (g_sim_time < until) {
        RunStretch(std::min(until, NextWindowEnd()));
    }
}
