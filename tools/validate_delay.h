// The delays of packets at a pair that is alone, by theory and as simulated.
#pragma once

#include <cstdint>
#include <vector>

// The distribution of the delay of a packet of 1500 bytes, from its arrival to the end of its DATA
// frame: element k is the probability of k ticks. `rate` is in packets per tick, below that of a
// saturated pair.
std::vector<double> DelayDistribution(double rate);

// The smallest number of ticks that is not exceeded with a probability of `share`.
double QuantileOf(const std::vector<double> &distribution, double share);

// Watches the runs that follow, and notes the delay of each packet delivered in the window.
void NoteDelays();

// Ends that, and returns the delays noted since then, ascending.
std::vector<uint64_t> NotedDelays();
