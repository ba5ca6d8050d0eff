#include "channel/channel.h"

#include <algorithm>
#include <iterator>

#include "channel/collision.h"
#include "driver/wake.h"
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
    constexpr uint32_t ACTIVE_STATES = 1U << STATE_WTDAT | 1U << STATE_TDAT | 1U << STATE_RACK;
    const bool contending =
        (own.state == STATE_DCW) & (own.nav == 0) & (own.busy == 0) & (own.idle_count <= DIFS);
    return ((ACTIVE_STATES >> own.state & 1U) != 0) | contending;
}

// Whether others sense the station's carrier.
static bool HasCarrier(const NODE &own)
{
    // Kept: the SIFS in front of an ACK counts as carrier.
    constexpr uint32_t CARRIER_STATES = 1U << STATE_TRTS | 1U << STATE_TCTS | 1U << STATE_TDAT |
                                        1U << STATE_WTACK | 1U << STATE_TACK;
    return (CARRIER_STATES >> own.state & 1U) != 0;
}

static uint32_t Bit(int station, bool in)
{
    return static_cast<uint32_t>(in) << station;
}

// Enters `ticks` in which exactly the stations of `active` were active.
static void AddActivity(uint32_t active, uint64_t ticks)
{
    constexpr uint32_t FIRST_GROUP = 1U << 0 | 1U << 2 | 1U << 6;
    constexpr uint32_t SECOND_GROUP = FIRST_GROUP | 1U << 8; // Kept: station 4 is in neither
    for (uint32_t rows = active; rows != 0; rows &= rows - 1) {
        for (uint32_t columns = active; columns != 0; columns &= columns - 1) {
            trans_con[std::countr_zero(rows)][std::countr_zero(columns)] += ticks;
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
        active |= Bit(i, IsActive(node[i]));
        carriers |= Bit(i, HasCarrier(node[i]));
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
    g_next_active = (g_next_active & ~(1U << station)) | Bit(station, IsActive(own));
    g_carriers = (g_carriers & ~(1U << station)) | Bit(station, HasCarrier(own));
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
    own.busy |= (g_carriers & g_interference_set[station]) != 0 ? 1 : 0;
    const bool busy = own.busy == 1;
    if (busy & (own.state == STATE_DCW) & (own.freeze_flag == 0)) {
        FreezeBackoff(own);
    }
    if (!busy) {
        own.freeze_flag = 0;
    }
    // Busy, but no frame that could be decoded.
    own.eifs_flag = busy & (own.rx_flag == 0) & (own.nav == 0) ? 1 : own.eifs_flag;
    own.idle_count = busy ? 0 : own.idle_count;
    own.difs_idle_num = busy ? 0 : own.difs_idle_num;
    own.rx_count = (own.rx_error == 0) & (own.signal_num == 0) ? 0 : own.rx_count;
    QuietChannel(own, IsCountingIdle(own) ? 1 : 0, IsCountingFrame(own) ? 1 : 0);
}

void CheckChannelStateAll()
{
    const uint32_t carriers_before = g_carriers;
    LapseActivity();
    FindActive();
    if (g_plain_ticking) {
        AddActivity(g_active, 1);
    }
    SettleDeaf(g_carriers);
    WakeForCarrier(g_carriers & ~carriers_before);
    for (const int i : Awake()) {
        if ((node[i].signal_num > 1) | (node[i].rx_error == 1)) {
            StartCollision(i);
            EndCollision(i);
            g_carriers = (g_carriers & ~(1U << i)) | Bit(i, HasCarrier(node[i]));
        }
        SenseCarrier(i);
    }
}
