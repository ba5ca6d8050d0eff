// The transmit side of the stations: contention, and the states that send a frame or are about to.
#pragma once

#include "driver/state.h"

// One step of the transmit side of every station. A station handled later sees what an
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
