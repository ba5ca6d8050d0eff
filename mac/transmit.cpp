#include "mac/transmit.h"

#include <cstdint>

#include "driver/observer.h"
#include "driver/station.h"
#include "driver/visit.h"
#include "mac/frame.h"

void CheckTxEventAll()
{
    for (const int i : Visited(STAGE_TX)) {
        switch (node[i].state) {
        case STATE_IDLE:
            TxStateIdle(i);
            break;
        case STATE_DCW:
            TxStateWaitDifsAndCw(i);
            break;
        case STATE_TRTS:
            TxStateTxRts(i);
            break;
        case STATE_WTCTS:
            TxStateWaitTxCts(i);
            break;
        case STATE_TCTS:
            TxStateTxCts(i);
            break;
        case STATE_WTDAT:
            TxStateWaitTxDat(i);
            break;
        case STATE_TDAT:
            TxStateTxDat(i);
            break;
        case STATE_WTACK:
            TxStateWaitTxAck(i);
            break;
        case STATE_TACK:
            TxStateTxAck(i);
            break;
        default:
            break; // waiting for a frame: the receive side acts
        }
    }
}

void TxStateIdle(int station)
{
    NODE &own = node[station];
    if (own.nav != 0 || own.buffer_num <= 0) {
        return;
    }
    own.state = STATE_DCW;
    own.idle_count = 0;
    own.difs_idle_num = 0;
    BeginAccess(station);
}

// What every station was doing when `sender` began a DATA frame: active, busy, or neither.
static void ClassifyStations(int sender)
{
    for (int j = 0; j < NODE_NUM; ++j) {
        const NODE &other = Look(j);
        const bool contending = other.state == STATE_DCW && other.nav == 0 &&
                                other.idle_count <= DIFS && other.busy == 0;
        const bool resting_busy =
            (other.state == STATE_IDLE || other.state == STATE_DCW) && other.busy == 1;
        if (contending || other.state == STATE_TDAT || other.state == STATE_RACK) {
            ++X_count[sender][j];
        } else if (resting_busy || other.state == STATE_RDAT || other.state == STATE_TACK ||
                   other.state == STATE_WTACK) {
            ++Y_count[sender][j];
        } else {
            ++Z_count[sender][j];
        }
    }
}

void TxStateWaitDifsAndCw(int station)
{
    NODE &own = node[station];
    if (own.nav != 0) {
        return;
    }
    const bool after_eifs = own.eifs_flag != 0;
    if (own.idle_count > static_cast<uint64_t>(ContentionWait(own))) {
        own.in_backoff = 1;
    }
    if (own.idle_count != own.backoff + static_cast<uint64_t>(ContentionWait(own))) {
        return;
    }
    own.idle_count = 0;
    own.in_backoff = 0;
    own.eifs_flag = 0;
    if (InWindow()) {
        constexpr int EIFS_EXTRA = EIFS - DIFS;
        const int32_t waited = own.difs_idle_num - (after_eifs ? EIFS_EXTRA : 0);
        own.access_wait_sum += static_cast<uint64_t>(static_cast<int64_t>(waited)) - own.backoff;
    }
    Tell(NOTE_ATTEMPT, station, own.buffer.head);
    if (own.buffer[0].nav_value > g_settings.rts_threshold) {
        TxPacket(station, FRAME_RTS);
        return;
    }
    own.buffer[0].tx_start = g_sim_time;
    // Kept: starts after an EIFS are left out of these counts.
    if (!after_eifs) {
        ClassifyStations(station);
    }
    g_event = 1;
    own.tx_elapsed = 0;
    TxPacket(station, FRAME_DATA);
}
