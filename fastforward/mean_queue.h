// Mean queue lengths by stretches in which a length does not change.
#pragma once

// Starts the account at the clock's tick.
void StartMeanQueues();

// Adds what the mean of a station's queue lacks, up to the tick in front of the clock's. Called
// before the length changes.
void SettleMeanQueue(int station);
