#include "channel/channel.h"

#include <algorithm>
#include <iterator>

#include "channel/collision.h"
#include "driver/state_table.h"
#include "fastforward/engine.h"
#include "mac/transmit.h"

static uint32_t g_active;      // stations that count as active, one bit each
static uint32_t g_next_active; // the same for the next tick
static uint32_t g_carriers;    // stations whose carrier others sense
static int32_t g_active_since; // tick from which `g_active` holds
static uint64_t
    g_active_ticks[ALL_STATIONS + 1]; // ticks not yet entered, by the set of active stations

// Not later than the first tick in which a sleeping station is no longer active, being past DIFS.
static int32_t g_next_lapse;

// Whether a station has the medium or is about to contend for it.
static bool IsActive(const NODE &own)
{
    if (own.state == STATE_DCW) {
        return own.nav == 0 && own.busy == 0 && own.idle_count <= DIFS;
    }
    return IsIn(own.state, WITH_MEDIUM);
}

// Whether others sense the station's carrier.
static bool HasCarrier(const NODE &own)
{
    return IsIn(own.state, WITH_CARRIER);
}

// Puts a station into a set or takes it out.
static void Put(uint32_t &set, int station, bool in)
{
    const uint32_t bit = 1U << station;
    set = in ? set | bit : set & ~bit;
}

// Enters `ticks` in which exactly the stations of `active` were active.
static void AddActivity(uint32_t active, uint64_t ticks)
{
    constexpr uint32_t FIRST_GROUP = 1U << 0 | 1U << 2 | 1U << 6;
    constexpr uint32_t SECOND_GROUP = FIRST_GROUP | 1U << 8; // Kept: station 4 is in neither
    for (const int i : STATION_SET{active}) {
        for (const int j : STATION_SET{active}) {
            trans_con[i][j] += ticks;
        }
    }
    if ((active & FIRST_GROUP) == FIRST_GROUP) {
        temp_trans1 += static_cast<int64_t>(ticks);
    }
    if ((active & SECOND_GROUP) == SECOND_GROUP) {
        temp_trans2 += static_cast<int64_t>(ticks);
    }
}

// Makes `active` the set of active stations from `tick` on.
static void SetActive(uint32_t active, int32_t tick)
{
    if (active != g_active) {
        g_active_ticks[g_active] += static_cast<uint64_t>(tick - g_active_since);
        g_active_since = tick;
        g_active = active;
    }
}

// Looks at the awake stations anew: who is active, who has a carrier.
static void FindActive()
{
    uint32_t active = g_active & ~g_awake;
    uint32_t carriers = g_carriers & ~g_awake;
    for (const int i : Awake()) {
        const uint32_t bit = 1U << i;
        active |= IsActive(node[i]) ? bit : 0;
        carriers |= HasCarrier(node[i]) ? bit : 0;
    }
    g_carriers = carriers;
    SetActive(active, Now());
    g_next_active = active;
}

// First tick in which a sleeping station does not count as active any more, NEVER if it stays so. A
// tick counts by the idle ticks in front of it.
static int32_t LapseTick(int station)
{
    return g_difs_end[station] == NEVER ? NEVER : g_difs_end[station] + 1;
}

void PredictActivity(int station, int32_t lapse_tick)
{
    const NODE &own = node[station];
    Put(g_next_active, station, IsActive(own));
    Put(g_carriers, station, HasCarrier(own));
    g_next_lapse = std::min(g_next_lapse, lapse_tick);
}

// Lets the stations go inactive whose DIFS has passed by now.
static void LapseActivity()
{
    while (g_next_lapse <= Now()) {
        uint32_t active = g_active;
        int32_t next = NEVER;
        for (int i = 0; i < NODE_NUM; ++i) {
            if (LapseTick(i) <= g_next_lapse) {
                active &= ~(1U << i);
            } else {
                next = std::min(next, LapseTick(i));
            }
        }
        SetActive(active, g_next_lapse);
        g_next_lapse = next;
    }
}

void SettleActivity()
{
    LapseActivity();
    g_active_ticks[g_active] += static_cast<uint64_t>(Now() - g_active_since);
    for (uint32_t active = 0; active <= ALL_STATIONS; ++active) {
        AddActivity(active, g_active_ticks[active]);
    }
}

void UpdateActivity()
{
    SetActive(g_next_active, Now());
}

void StartActivity()
{
    std::fill(std::begin(g_active_ticks), std::end(g_active_ticks), 0);
    g_next_lapse = NEVER;
    g_active_since = Now();
    FindActive();
}

// Freezes the backoff at the slot boundary that the idle ticks have reached.
static void FreezeBackoff(NODE &own)
{
    own.freeze_flag = 1;
    const auto wait = static_cast<uint64_t>(ContentionWait(own));
    if (own.idle_count > wait) {
        own.backoff = own.backoff - own.idle_count + wait;
        if (own.backoff % SLOT != 0) {
            own.backoff = (own.backoff / SLOT + 1) * SLOT;
        }
    }
}

// Busy flag, freezing of the backoff, and the counts of idle ticks and of ticks of a frame.
static void SenseCarrier(int station)
{
    NODE &own = node[station];
    // Kept: a carrier that goes without the end of a frame, as the SIFS in front of an ACK that is
    // given up, leaves the station busy until some frame in range ends.
    if ((g_carriers & g_interference_set[station]) != 0) {
        own.busy = 1;
    }
    if (own.busy == 1) {
        if (own.state == STATE_DCW && own.freeze_flag == 0) {
            FreezeBackoff(own);
        }
        if (own.rx_flag == 0 && own.nav == 0) {
            own.eifs_flag = 1; // busy, but no frame that could be decoded
        }
        own.idle_count = 0;
        own.difs_idle_num = 0;
    } else {
        own.freeze_flag = 0;
    }
    if (own.rx_error != 0) {
        return;
    }
    if (own.signal_num == 0) {
        own.rx_count = 0;
        if (IsCountingIdle(own)) {
            ++own.idle_count;
            own.difs_idle_num += own.state == STATE_DCW ? 1 : 0;
        }
    } else if (own.rx_flag == 1) {
        ++own.rx_count;
    }
}

void CheckChannelStateAll()
{
    const uint32_t carriers_before = g_carriers;
    LapseActivity();
    FindActive();
    if (g_plain_ticking) {
        AddActivity(g_active, 1);
    }
    WakeForCarrier(g_carriers & ~carriers_before);
    for (const int i : Awake()) {
        if ((node[i].signal_num > 1) | (node[i].rx_error == 1)) {
            StartCollision(i);
            EndCollision(i);
            Put(g_carriers, i, HasCarrier(node[i]));
        }
        SenseCarrier(i);
    }
}
