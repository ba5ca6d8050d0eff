#include "channel/channel.h"

#include "channel/activity.h"
#include "channel/collision.h"
#include "driver/station_set.h"
#include "driver/visit.h"
#include "mac/transmit.h"
#include "topology/placement.h"

uint32_t g_carriers = 0;

// Who is active, and whose carrier others sense.
static void LookAtStations()
{
    const STATION_SET visited = Visited(STAGE_CHANNEL);
    uint32_t active = g_active & ~visited.stations;
    uint32_t carriers = g_carriers & ~visited.stations;
    for (const int i : visited) {
        active |= static_cast<uint32_t>(IsActive(node[i])) << i;
        carriers |= static_cast<uint32_t>(IsIn(node[i].state, WITH_CARRIER)) << i;
    }
    g_active = active;
    g_carriers = carriers;
}

// The stations in range that sense no carrier so far will sense those of `risen`. A frame has
// reached them already; the SIFS in front of an ACK is a carrier without one.
static void SpreadCarriers(uint32_t risen)
{
    for (const int sender : STATION_SET{risen}) {
        for (const int i : STATION_SET{g_interference_set[sender]}) {
            if (node[i].busy == 0) {
                Reach(i, STAGE_CHANNEL);
            }
        }
    }
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
    LookAtStations();
    EnterActive(g_active);
    SpreadCarriers(g_carriers & ~carriers_before);
    for (const int i : Visited(STAGE_CHANNEL)) {
        StartCollision(i);
        EndCollision(i);
        SenseCarrier(i);
    }
}
