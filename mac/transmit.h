// The transmit side of the stations: contention, and the states that send a frame or are about to.
#pragma once

#include <cstdint>

#include "driver/state.h"

// One step of the transmit side of every awake station. A station handled later sees what an
// earlier one has changed in this tick, its signals and cleared carriers included.
void CheckTxEventAll();

void TxStateIdle(int station);
void TxStateWaitDifsAndCw(int station);
void TxStateTxRts(int station);
void TxStateWaitTxCts(int station);
void TxStateTxCts(int station);
void TxStateWaitTxDat(int station);
void TxStateTxDat(int station);
void TxStateWaitTxAck(int station);
void TxStateTxAck(int station);

// Idle ticks that a contending station waits in front of its backoff.
inline int ContentionWait(const NODE &own)
{
    return own.eifs_flag != 0 ? EIFS : DIFS;
}

// `ticks` quiet ticks of the transmit side.
inline void QuietTx(NODE &own, int32_t ticks)
{
    own.tx_elapsed += own.state == STATE_TDAT ? ticks : 0;
}

// `stages` quiet passes of the transmit stage over a contending station.
inline void QuietContention(NODE &own, int32_t stages, bool counts_idle)
{
    if (own.state == STATE_DCW && own.nav == 0 && stages > 0) {
        const uint64_t seen = own.idle_count + static_cast<uint64_t>(counts_idle ? stages - 1 : 0);
        if (seen > static_cast<uint64_t>(ContentionWait(own))) {
            own.in_backoff = 1;
        }
    }
}

// Ticks until the transmit side of a station acts by itself, counted from the tick just ended; at
// least 1, NEVER if it does not. `counts_idle` tells whether `idle_count` goes up with every tick.
int32_t TxDue(const NODE &own, bool counts_idle);
