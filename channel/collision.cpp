#include "channel/collision.h"

#include <cstdint>

#include "channel/channel.h"
#include "driver/observer.h"
#include "driver/state.h"
#include "driver/station.h"
#include "driver/station_set.h"

// Column of the frame types of a victim and of the other frame, EMPTY for pairs with an RTS or CTS.
static int Pairing(const SIGNAL &victim, const SIGNAL &other)
{
    const bool known = (victim.kind == FRAME_DATA || victim.kind == FRAME_ACK) &&
                       (other.kind == FRAME_DATA || other.kind == FRAME_ACK);
    if (!known) {
        return EMPTY;
    }
    return (victim.kind == FRAME_ACK ? PAIRING_AD : PAIRING_DD) + (other.kind == FRAME_ACK ? 1 : 0);
}

static bool Senses(int64_t station, int64_t other)
{
    if (!IsStation(static_cast<int>(station))) {
        return false;
    }
    const NODE &own = node[station];
    for (int i = 0; i < own.interference_num; ++i) {
        if (own.interference_list[i] == other) {
            return true;
        }
    }
    return false;
}

// Enters a collision of `victim` with `other` under its class.
static void CountClass(COL *rows, const SIGNAL &victim, const SIGNAL &other, bool sensing)
{
    const int pairing = Pairing(victim, other);
    const auto count_pairing = [rows, pairing](COL_ROW row) {
        if (pairing != EMPTY) {
            ++rows[row].pairing[pairing];
        }
    };
    count_pairing(ROW_COL);
    if (sensing) {
        ++rows[ROW_CON].total;
        count_pairing(ROW_CON);
        return;
    }
    ++rows[ROW_HID].total;
    count_pairing(ROW_HID);
    const COL_ROW timing = victim.start_time == other.start_time  ? ROW_HCON
                           : victim.start_time > other.start_time ? ROW_PRO
                                                                  : ROW_PHY;
    ++rows[timing].total;
    count_pairing(timing);
}

// One collision at `station` of `victim` with `other`. `repeat` tells that the victim had collided
// before.
static void CountPair(int station, const SIGNAL &victim, const SIGNAL &other, bool repeat)
{
    NODE &own = node[station];
    bool sensing = Senses(victim.sender, other.sender);
    if (own.same_start_flag == 1) {
        own.same_start_flag = 0;
        sensing = true;
    }
    if (!IsStation(static_cast<int>(victim.sender))) {
        return;
    }
    if (victim.kind == FRAME_DATA) {
        const auto sender = static_cast<int>(victim.sender);
        Tell(NOTE_COLLIDE, sender, node[sender].buffer.head);
    }
    if (!InWindow()) {
        return;
    }
    COL *rows = col[victim.sender][station];
    ++rows[ROW_COL].total;
    for (int i = 0; i < own.signal_num; ++i) {
        if (IsStation(static_cast<int>(own.signal_list[i].sender))) {
            ++rows[ROW_COL].station[own.signal_list[i].sender];
        }
    }
    CountClass(rows, victim, other, sensing);
    if (repeat) {
        COL *repeated = dp[victim.sender][station];
        ++repeated[ROW_COL].total;
        CountClass(repeated, victim, other, sensing);
    }
}

void SpoilReception(int station)
{
    NODE &own = node[station];
    own.rx_error = 1;
    own.rx_flag = 0;
    for (int s = 0; s < own.signal_num; ++s) {
        SIGNAL &victim = own.signal_list[s];
        // Kept: a station that began a frame together with another counts the first signal as hit
        // even if it is for somebody else, and once against itself; the first pair clears the flag.
        if (victim.receiver != station && own.same_start_flag != 1) {
            continue;
        }
        g_event = 1;
        flag_col[station] = 0;
        const bool repeat = victim.end_mark == 1;
        victim.end_mark = 1;
        for (int t = 0; t < own.signal_num; ++t) {
            if (t != s || own.same_start_flag == 1) {
                CountPair(station, victim, own.signal_list[t], repeat);
            }
        }
    }
}

void EndEpisode(int station)
{
    NODE &own = node[station];
    own.rx_error = 0;
    flag_col[station] = 0;
    // Kept: whatever the station was doing. One that waits for a CTS or ACK goes back to contention
    // with neither time-out nor retry counted.
    if (own.nav == 0) {
        ResetNode(station, RESET_KEEP);
        Put(g_carriers, station, false);
    }
}
