// The receive side of the stations: what an expected or overheard frame leads to.
#pragma once

#include <algorithm>
#include <cstdint>

#include "driver/state.h"

// One step of the receive side of every awake station, after the transmit side of all. Each handler
// works on its own station only, so their order among the stations does not show.
void CheckRxEventAll();

void RxStateIdle(int station);
void RxStateWaitDifsAndCw(int station);
void RxStateWaitRxCts(int station);
void RxStateWaitRxDat(int station);
void RxStateRxDat(int station);
void RxStateWaitRxAck(int station);

constexpr int32_t ACK_WAIT_FIRST = SIFS; // ticks of an ACK wait that are counted apart

// `ticks` quiet ticks of the receive side.
inline void QuietRx(NODE &own, int32_t ticks)
{
    const int32_t waited = own.state == STATE_RACK ? ticks : 0;
    const int32_t first = std::clamp(ACK_WAIT_FIRST - own.ack_wait_num, 0, waited);
    own.ack_wait_num += first;
    own.ack_wait_over += waited - first;
}

// Ticks until the receive side of a station acts by itself, counted from the tick just ended; at
// least 1, NEVER if it does not. `counts_frame` tells whether `rx_count` goes up with every tick.
int32_t RxDue(const NODE &own, bool counts_frame);
