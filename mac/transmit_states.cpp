// The states of the transmit side that send a frame, or wait SIFS before they do.
#include <cstdint>

#include "driver/state.h"
#include "driver/station.h"
#include "mac/frame.h"
#include "mac/timeout.h"
#include "mac/transmit.h"

void TxStateTxRts(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        own.state = STATE_WRCTS;
        own.timer = ANSWER_TIMEOUT;
        WithdrawSignal(station);
    }
}

void TxStateWaitTxCts(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        ResetNode(station, RESET_RESUME);
    }
    if (own.idle_count == SIFS) {
        own.idle_count = 0;
        if (own.nav == 0) {
            TxPacket(station, FRAME_CTS);
        }
    }
}

void TxStateTxCts(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        own.state = STATE_WRDAT;
        own.timer = ANSWER_TIMEOUT;
        WithdrawSignal(station);
    }
}

void TxStateWaitTxDat(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        Timeout(station);
    }
    if (own.idle_count == SIFS) {
        own.idle_count = 0;
        if (own.nav == 0) {
            own.tx_elapsed = 0;
            TxPacket(station, FRAME_DATA);
        }
    }
}

void TxStateTxDat(int station)
{
    NODE &own = node[station];
    ++own.tx_elapsed;
    if (own.timer != 0) {
        return;
    }
    g_event = 1;
    if (InWindow()) {
        own.tx_time_sum += static_cast<uint64_t>(own.tx_elapsed);
        ++own.tx_num;
        if (IsStation(own.buffer[0].receiver)) {
            ++own.link_tx_num[own.buffer[0].receiver];
        }
    }
    own.ack_wait_num = 0;
    own.ack_wait_over = 0;
    own.state = STATE_RACK;
    own.timer = ANSWER_TIMEOUT;
    WithdrawSignal(station);
}

void TxStateWaitTxAck(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        ResetNode(station, RESET_RESUME);
    }
    if (own.idle_count == SIFS) {
        own.idle_count = 0;
        if (own.nav == 0) {
            g_event = 1;
            TxPacket(station, FRAME_ACK);
        } else {
            ResetNode(station, RESET_RESUME); // the ACK is given up under a NAV
        }
    }
}

void TxStateTxAck(int station)
{
    NODE &own = node[station];
    if (own.timer != 0) {
        return;
    }
    g_event = 1;
    // Kept: no reset; the receive lock stays, and the station contends with the backoff it had.
    ReturnToRest(station);
    BeginAccess(station);
    WithdrawSignal(station);
}
