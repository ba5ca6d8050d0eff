// The chosen scenes: all layouts, with and without RTS, hidden stations, relays, short queues, and
// what random scenes hardly ever bring about.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/scene.h"

constexpr uint64_t SCENE_TICKS = 300'000; // each runs from its first tick

// Every one has its measurement window open from 50,000 ticks after its start to as many before
// its end.
std::vector<SCENE> ChosenScenes();
