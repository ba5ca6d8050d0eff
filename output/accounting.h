// Per-tick accounting: what every station's time goes into, and frames begun in the same tick.
#pragma once

#include <cstdint>

// Counts the DATA frames that were begun together with one of a station in range, at any time.
void check_flag();

// Enters this tick of every station under what the station is doing; inside the measurement window.
void WriteNodeStateAll();

// Name of a state in five characters, null for a number that names none. For tracing.
const char *NodeState(int state);

// Hook for looking at a head packet when its ACK arrives; does nothing.
void delay_write(int station);

// Brings the time shares of all stations up to the clock, or starts them there. Plain ticking enters
// every tick at once.
void StartShares();
void SettleShares();
