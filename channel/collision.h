// Collisions: overlapping signals at a station, and their classes by geometry and timing.
#pragma once

#include "driver/state.h"
#include "driver/state_table.h"

// Starts a collision episode at `station` if signals overlap there: the reception is spoiled, and
// inside the measurement window each frame hit is counted against each other signal.
void StartCollision(int station);

// Ends the episode once the overlap is over; without NAV the station returns to rest.
void EndCollision(int station);

inline bool StartsEpisode(const NODE &own)
{
    return own.signal_num > 1 && own.rx_error == 0 && !IsIn(own.state, ON_AIR) &&
           own.col_check_off != 1;
}

inline bool EndsEpisode(const NODE &own)
{
    return own.rx_error == 1 && own.signal_num < 2;
}
