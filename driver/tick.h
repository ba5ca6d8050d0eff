// One tick of the whole network, and many of them.
#pragma once

#include <cstdint>

// Runs every stage once and moves the clock by one tick.
void Tick();

// Runs the network from the clock's tick up to, not including, tick `until`, which is below 2^31.
// Before and after, all records are complete and may be looked at or changed.
void RunTicks(uint64_t until);

// Whether RunTicks has every stage visit every station in every tick. A simulator built without
// fastforward/ always does.
extern bool g_plain_ticking;
