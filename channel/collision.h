// Collisions: overlapping signals at a station, and their classes by geometry and timing.
#pragma once

// Starts a collision episode at `station` if signals overlap there: the reception is spoiled, and
// inside the measurement window each frame hit is counted against each other signal.
void StartCollision(int station);

// Ends the episode once the overlap is over; without NAV the station returns to rest.
void EndCollision(int station);

// Whether the next tick starts or ends an episode at `station`, as things stand.
bool IsCollisionDue(int station);
