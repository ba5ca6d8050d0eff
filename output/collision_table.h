// The collision counters of a load point, one block of collision.txt per trial and load.
#pragma once

#include <cstdint>

// Writes the block of the load point just simulated. `trial` counts from 0.
void WriteCollision(int32_t trial, int32_t load_kbps);
