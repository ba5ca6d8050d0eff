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

// Starts the time shares at the clock's tick, or brings them up to it. Plain ticking enters every
// tick at once.
void StartShares();
void SettleShares();

// Takes over what the queue of a station adds to its shares. Called after every change of its
// length, its head, its counts per hop or its log.
void UpdateQueueShare(int station);
