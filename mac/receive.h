// The receive side of the stations: what an expected or overheard frame leads to.
#pragma once

#include <cstdint>

#include "driver/state.h"

// One step of the receive side of every station, after the transmit side of all. A handler sees
// nothing that another one changes in the same tick; their order shows in the draws of backoffs,
// which come from one stream, and in the hop times that an acknowledged packet leaves in the next
// queue.
void CheckRxEventAll();

constexpr int32_t ACK_WAIT_FIRST = SIFS; // ticks of an ACK wait that are counted apart

// Whether the station holds an unspoiled lock of a frame.
inline bool HasCleanLock(const NODE &own)
{
    return own.rx_flag == 1 && own.rx_error == 0 && own.rx_frame.corrupt == 0;
}

void RxStateIdle(int station);
void RxStateWaitDifsAndCw(int station);
void RxStateWaitRxCts(int station);
void RxStateWaitRxDat(int station);
void RxStateRxDat(int station);
void RxStateWaitRxAck(int station);
