// The head of the result files: the parameters of the run and the airtimes that follow from them.
#pragma once

#include <cstdint>

#include "driver/state.h"

// Ticks of one exchange without backoff: DATA, SIFS, ACK and DIFS; 330 for 1500 bytes.
inline int32_t ExchangeTicks()
{
    return DataTicks() + SIFS + ACK_TICKS + DIFS;
}

// Writes the run header into result.txt, node_stat.txt and collision.txt, and the airtimes to
// standard output. Called once per packet size, before the first trial.
void information();
