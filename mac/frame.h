// One frame on the air: its start, and its end.
#pragma once

// Starts the transmission of a frame of `type` (FRAME_TYPE) by `sender`: the sender goes on the
// air, every station in transmission range gets a copy and locks to it, every station in
// carrier-sense range hears the signal. DATA is the head packet as it stands, the other frames are
// built here. Any other type does nothing.
void TxPacket(int sender, int type);

// Ends the transmission of `sender`: takes its signal off every station in carrier-sense range and
// clears their carrier until the channel is looked at again later in the tick.
void WithdrawSignal(int sender);
