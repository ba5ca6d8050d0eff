// Shares of time by stretches in which a station's share does not change. DIFS turns into backoff
// by itself when the idle ticks have passed it.
#pragma once

#include <cstdint>

// Starts the account at the clock's tick.
void StartShares();

// Takes up the share of a station that ends tick `tick` as it stands now, if it is another one than
// so far. `difs_end` is the first tick that will end with more idle ticks than DIFS, NEVER if that
// does not come by itself.
void ExtendShare(int station, int32_t tick, int32_t difs_end);

// Enters what a station's stretch lacks, up to the tick in front of the clock's. Called before
// anything changes that decides what a tick adds: its queue, the head of it, its counts per hop,
// its log.
void SettleShare(int station);
