#include "channel/channel.h"

#include <algorithm>
#include <iterator>

#include "channel/collision.h"
#include "driver/wake.h"

static uint32_t g_active;                    // stations that count as active, one bit each
static uint32_t g_carriers;                  // stations whose carrier others sense
static uint64_t g_active_since;              // tick from which `g_active` holds
static uint64_t g_active_ticks[ALL_STATIONS + 1]; // ticks not yet entered, by the set of active stations

// Whether a station has the medium or is about to contend for it.
static bool IsActive(const NODE &own)
{
    return own.state == STATE_WTDAT || own.state == STATE_TDAT || own.state == STATE_RACK ||
           (own.state == STATE_DCW && own.nav == 0 && own.idle_count <= DIFS && own.busy == 0);
}

// Whether others sense the station's carrier.
static bool HasCarrier(const NODE &own)
{
    // Kept: the SIFS in front of an ACK counts as carrier.
    constexpr uint32_t CARRIER_STATES = 1U << STATE_TRTS | 1U << STATE_TCTS | 1U << STATE_TDAT |
                                        1U << STATE_WTACK | 1U << STATE_TACK;
    return (CARRIER_STATES >> own.state & 1U) != 0;
}

static void PutBit(uint32_t &set, int station, bool in)
{
    set = (set & ~(1U << station)) | static_cast<uint32_t>(in) << station;
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

void StartActivity()
{
    std::fill(std::begin(g_active_ticks), std::end(g_active_ticks), 0);
    g_active = 0;
    g_carriers = 0;
    for (int i = 0; i < NODE_NUM; ++i) {
        PutBit(g_active, i, IsActive(node[i]));
        PutBit(g_carriers, i, HasCarrier(node[i]));
    }
    g_active_since = g_sim_time;
}

void SettleActivity()
{
    g_active_ticks[g_active] += g_sim_time - g_active_since;
    for (uint32_t active = 0; active <= ALL_STATIONS; ++active) {
        AddActivity(active, g_active_ticks[active]);
    }
}

void UpdateActivity()
{
    uint32_t active = g_active;
    for (const int i : Awake()) {
        PutBit(active, i, IsActive(node[i]));
        PutBit(g_carriers, i, HasCarrier(node[i]));
    }
    if (active != g_active) {
        g_active_ticks[g_active] += g_sim_time - g_active_since;
        g_active_since = g_sim_time;
        g_active = active;
    }
}

// Busy flag, freezing of the backoff, and the counts of idle ticks and of ticks of a frame.
static void SenseCarrier(int station)
{
    NODE &own = node[station];
    if ((g_carriers & InterferenceSet(station)) != 0) {
        own.busy = 1;
    }
    if (own.busy == 1) {
        if (own.state == STATE_DCW && own.freeze_flag == 0) {
            own.freeze_flag = 1;
            const uint64_t wait = own.eifs_flag != 0 ? EIFS : DIFS;
            if (own.idle_count > wait) {
                own.backoff = own.backoff - own.idle_count + wait;
                if (own.backoff % SLOT != 0) {
                    own.backoff = (own.backoff / SLOT + 1) * SLOT;
                }
            }
        }
        if (own.rx_flag == 0 && own.nav == 0) {
            own.eifs_flag = 1; // busy, but no frame that could be decoded
        }
        own.idle_count = 0;
        own.difs_idle_num = 0;
    } else {
        own.freeze_flag = 0;
    }
    if (own.rx_error == 0 && own.signal_num == 0) {
        own.rx_count = 0;
    }
    QuietChannel(own, 1);
}

void CheckChannelStateAll()
{
    const uint32_t carriers_before = g_carriers;
    UpdateActivity();
    if (g_plain_ticking) {
        AddActivity(g_active, 1);
    }
    WakeForCarrier(g_carriers & ~carriers_before);
    for (const int i : Awake()) {
        StartCollision(i);
        EndCollision(i);
        PutBit(g_carriers, i, HasCarrier(node[i]));
        SenseCarrier(i);
    }
}

uint64_t ChannelDue(int station)
{
    const NODE &own = node[station];
    const bool busy = own.busy == 1;
    const bool unsettled =
        IsCollisionDue(station) || (busy && own.state == STATE_DCW && own.freeze_flag == 0) ||
        (busy && own.rx_flag == 0 && own.nav == 0 && own.eifs_flag != 1) ||
        (busy && (own.idle_count != 0 || own.difs_idle_num != 0)) ||
        (!busy && own.freeze_flag != 0) ||
        (!busy && (g_carriers & InterferenceSet(station)) != 0) ||
        (own.rx_error == 0 && own.signal_num == 0 && own.rx_count != 0);
    if (unsettled) {
        return 1;
    }
    // When idle ticks pass DIFS, the station's share of time and its activity change.
    if (own.state == STATE_DCW && own.idle_count <= DIFS && IsCountingIdle(own)) {
        return DIFS + 1 - own.idle_count;
    }
    return NEVER;
}
