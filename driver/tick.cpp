#include "driver/tick.h"

#include "channel/channel.h"
#include "driver/bookkeeping.h"
#include "driver/invariants.h"
#include "driver/state.h"
#include "driver/wake.h"
#include "mac/receive.h"
#include "mac/transmit.h"
#include "output/accounting.h"
#include "topology/traffic.h"

// Each stage visits the stations in ascending order. A state that a handler sets in the transmit
// stage is seen by the receive stage of the same tick; what the receive stage sets is acted on in
// the next tick. The stages behind the channel keep to one station each, so they may as well be run
// station by station.
void Tick()
{
    GenePacketAll();
    CheckTxEventAll();
    CheckRxEventAll();
    CheckChannelStateAll();
    for (const int i : Awake()) {
        DecrementTimer(i);
        DecrementNav(i);
        CountBuffer(i);
        check_flag(i);
        WriteNodeState(i);
        node[i].tick_tx_count = 0;
        Sleep(i);
    }
    CheckInvariants();
    ++g_sim_time;
}
