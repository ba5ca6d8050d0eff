#include "driver/tick.h"

#include "channel/channel.h"
#include "driver/bookkeeping.h"
#include "driver/invariants.h"
#include "driver/state.h"
#include "driver/visit.h"
#include "mac/receive.h"
#include "mac/transmit.h"
#include "output/accounting.h"
#include "topology/traffic.h"

bool g_plain_ticking = false;

// Each stage visits the stations in ascending order. A state that a handler sets in the transmit
// stage is seen by the receive stage of the same tick; what the receive stage sets is acted on in
// the next tick.
void Tick()
{
    GenePacketAll();
    CheckTxEventAll();
    CheckRxEventAll();
    CheckChannelStateAll();
    DecrementTimerAll();
    DecrementNavAll();
    CountBufferAll();
    check_flag();
    WriteNodeStateAll();
    for (const int i : Visited(STAGE_SHARE)) {
        node[i].tick_tx_count = 0;
    }
    ++g_sim_time;
}

#ifndef DCFSIM_FAST_FORWARD

void RunTicks(uint64_t until)
{
    while (g_sim_time < until) {
        Tick();
        CheckInvariants();
    }
}

#endif
