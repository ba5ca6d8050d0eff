// Collisions: overlapping signals at a station, and their classes by geometry and timing.
#pragma once

#include "driver/state.h"
#include "driver/state_table.h"

// Spoils the reception at `station`, and inside the measurement window counts each frame hit
// against each other signal.
void SpoilReception(int station);

// Ends the collision episode at `station`; without NAV the station returns to rest.
void EndEpisode(int station);

// Starts a collision episode where signals overlap, but for a station on the air, which detects
// nothing.
inline void StartCollision(int station)
{
    const NODE &own = node[station];
    if (own.signal_num > 1 && own.rx_error == 0 && !IsIn(own.state, ON_AIR) &&
        own.col_check_off != 1) {
        SpoilReception(station);
    }
}

// Ends the episode once the overlap is over.
inline void EndCollision(int station)
{
    const NODE &own = node[station];
    if (own.rx_error == 1 && own.signal_num < 2) {
        EndEpisode(station);
    }
}
