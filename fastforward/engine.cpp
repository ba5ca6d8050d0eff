#include "fastforward/engine.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "channel/channel.h"
#include "driver/invariants.h"
#include "driver/station_set.h"
#include "driver/tick.h"
#include "driver/visit.h"
#include "fastforward/activity.h"
#include "fastforward/mean_queue.h"
#include "fastforward/quiet.h"
#include "fastforward/shares.h"
#include "fastforward/stream.h"
#include "topology/traffic.h"

uint32_t g_visited[STAGE_NUM] = {ALL_STATIONS, ALL_STATIONS, ALL_STATIONS, ALL_STATIONS,
                                 ALL_STATIONS, ALL_STATIONS, ALL_STATIONS, ALL_STATIONS};
uint32_t g_counting = 0;
uint64_t g_event_tick_num = 0;
uint64_t g_visit_num = 0;

bool g_in_window = false;

static uint32_t g_flagged = 0;        // stations whose flag of a common start may be set
static bool g_is_fast = false;        // a fast run is under way
static bool g_receive_begun = false;  // of this tick
static int32_t g_wake_tick[NODE_NUM]; // first tick in which a stage acts by itself, or NEVER
static int32_t g_complete[NODE_NUM];  // first tick that a sleeping record does not reflect
static COUNTS g_counts[NODE_NUM];     // what a sleeping station counts

// Brings a record up to the beginning of the clock's tick.
static void CatchUp(int station)
{
    LiveQuietly(node[station], g_counts[station], Now() - g_complete[station]);
    g_complete[station] = Now();
}

// What waking up consists of beside the sets of visits.
static void Awaken(int station)
{
    CatchUp(station);
    Put(g_counting, station, false);
    g_visited[STAGE_CHANNEL] |= 1U << station;
    if (node[station].nav == 1) {
        g_visited[STAGE_NAV] |= 1U << station;
    }
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
    if (stage == STAGE_TX) { // an arrival: only an idle station acts on it
        if (own.state == STATE_IDLE) {
            Awaken(station);
            g_visited[STAGE_TX] |= 1U << station;
            g_visited[STAGE_RX] |= 1U << station;
        }
        return;
    }
    Awaken(station);
    PassTransmitStage(own);
    if (g_receive_begun) {
        PassReceiveStage(own, 1);
    } else if (own.state == STATE_RACK) { // its handler counts every tick
        g_visited[STAGE_RX] |= 1U << station;
    }
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
    const int32_t first_due = *std::min_element(std::begin(g_wake_tick), std::end(g_wake_tick));
    const uint64_t next = std::min(until, static_cast<uint64_t>(first_due));
    g_sim_time += StreamSkipFailing(next - g_sim_time);
    LapseActivity();
    if (g_sim_time == until) {
        return false;
    }
    uint32_t due = 0;
    for (int i = 0; i < NODE_NUM; ++i) {
        due |= static_cast<uint32_t>(g_wake_tick[i] <= Now()) << i;
    }
    Visit(0);
    g_receive_begun = false;
    for (const int i : STATION_SET{due}) {
        Awaken(i);
    }
    g_visited[STAGE_TX] = due;
    g_visited[STAGE_RX] = due;
    g_visited[STAGE_FLAG] = g_flagged;
    g_flagged = 0;
    return true;
}

// Puts a station to sleep behind `tick`, which has just ended for it but for its countdowns.
static void Sleep(int station, int32_t tick)
{
    NODE &own = node[station];
    const bool nav_visited = Has(g_visited[STAGE_NAV], station);
    own.timer -= own.timer > 0 ? 1 : 0;
    own.nav -= own.nav > 0 && !nav_visited ? 1 : 0;

    const COUNTS counts = CountsOf(own);
    int32_t due = HandlerDue(own, counts);
    if (own.nav > 0) {
        due = std::min(due, own.nav);
    } else if (nav_visited && (own.busy == 1 || own.signal_num > 1)) {
        due = 1; // the channel stage has not looked at it since its NAV ended
    }
    const bool passes_difs =
        counts == COUNTS_IDLE && own.state == STATE_DCW && own.idle_count <= DIFS;
    const int32_t difs_end =
        passes_difs ? tick + DIFS + 1 - static_cast<int32_t>(own.idle_count) : NEVER;

    g_wake_tick[station] = due == NEVER ? NEVER : tick + due;
    g_complete[station] = tick + 1;
    g_counts[station] = counts;
    Put(g_counting, station, counts == COUNTS_IDLE);
    Put(g_active, station, IsActive(own));
    Put(g_carriers, station, IsIn(own.state, WITH_CARRIER));
    NoteLapse(station, passes_difs ? difs_end + 1 : NEVER);
    ExtendShare(station, tick, difs_end);
}

// Behind the tick: all who were visited go to sleep.
static void EndTick()
{
    const int32_t tick = Now() - 1;
    for (const int i : Visited(STAGE_CHANNEL)) {
        Sleep(i, tick);
        ++g_visit_num;
    }
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
    for (int i = 0; i < NODE_NUM; ++i) {
        g_wake_tick[i] = Now();
        g_complete[i] = Now();
        g_counts[i] = COUNTS_NOTHING;
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
