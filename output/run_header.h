// The head of the result files: the parameters of the run and the airtimes that follow from them.
#pragma once

#include <cstdint>

#include "driver/state.h"

// Ticks of one exchange of this run.
inline int32_t ExchangeTicks()
{
    return ExchangeTicks(PACKET_PAYLOAD_LENGTH);
}

// Writes the run header into result.txt, node_stat.txt and collision.txt, and the airtimes to
// standard output. Called once per packet size, before the first trial.
void information();
