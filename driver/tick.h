// One tick of the whole network.
#pragma once

// Runs every stage once over the awake stations and moves the clock by one tick.
void Tick();
