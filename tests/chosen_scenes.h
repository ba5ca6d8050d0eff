// The chosen scenes: all layouts, with and without RTS, hidden stations, relays, short queues, and
// what random scenes hardly ever bring about.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/scene.h"

constexpr uint64_t SCENE_TICKS = 300'000; // each runs from its first tick

// The measurement window is open all the time in scenes about what happens to their stations at the
// start, in the others from 50,000 ticks after the start to as many before the end.
std::vector<SCENE> ChosenScenes();
