// The stages at the end of a tick that age the countdowns and sample the queues.
#pragma once

#include "driver/records.h"

// Counts every running timer down by one tick. A timer at 0 or below rests.
void DecrementTimerAll();

// Counts every running NAV down by one tick. When one reaches 0, its station returns to contention
// or idle and its receive lock ends.
void DecrementNavAll();

// Adds one tick of every queue's length to its mean, inside the measurement window.
void CountBufferAll();

// Removes entry `k` of the signal list of `station` by moving the later entries down. The caller
// lowers `signal_num` afterwards.
void ArrangeArray(int station, SIGNAL *list, int k);
