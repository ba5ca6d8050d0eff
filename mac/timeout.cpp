#include "mac/timeout.h"

#include <cstdint>

#include "driver/observer.h"
#include "driver/state.h"
#include "driver/station.h"
#include "driver/visit.h"

void SetNav(int station, int kind)
{
    NODE &own = node[station];
    own.timer = 0;
    own.idle_count = 0;
    own.rx_count = 0;
    // Kept: the reservation is worked out from this network's packet length, not taken from the
    // duration value in the frame, which differs by a few ticks.
    int32_t symbols = PayloadSymbols();
    switch (kind) {
    case NAV_RTS:
        symbols += NAV_RTS_SYMBOLS;
        break;
    case NAV_CTS:
        symbols += NAV_CTS_SYMBOLS;
        break;
    case NAV_DATA:
        symbols += NAV_DATA_SYMBOLS;
        break;
    default:
        return;
    }
    if (own.nav < symbols * SYMBOL) {
        own.nav = symbols * SYMBOL;
    }
}

// Takes the head packet, which used up its retries, out of the queue.
static void DropHead(int station)
{
    NODE &own = node[station];
    Tell(NOTE_DROP, station, own.buffer.head);
    // Kept: a packet without a next hop is in no count, as where it was queued.
    if (own.buffer_num > 0 && IsStation(own.buffer[0].receiver)) {
        --Reach(station, STAGE_BUFFER).buffer_hop_num[own.buffer[0].receiver];
    }
    RemoveHead(station);
    if (InWindow()) {
        ++own.drop_num;
        // Kept: counted for the next hop of the packet that is at the head now, not of the one that
        // was dropped.
        if (IsStation(own.buffer[0].receiver)) {
            ++own.drop_hop[own.buffer[0].receiver];
        }
    }
    own.retry_count = 0;
    ResetNode(station, RESET_DONE);
}

void Timeout(int station)
{
    NODE &own = node[station];
    if (InWindow()) {
        ++own.timeout_num;
        if (IsStation(own.buffer[0].receiver)) {
            ++own.timeout_hop[own.buffer[0].receiver];
        }
    }
    Tell(NOTE_TIMEOUT, station, own.buffer.head);
    if (own.retry_count < RETRY_LIMIT) {
        ResetNode(station, RESET_RETRY);
    } else if (own.retry_count == RETRY_LIMIT) {
        DropHead(station);
    }
    // Kept: a count above the limit, which no exchange leads to, leaves the station as it is.
}
