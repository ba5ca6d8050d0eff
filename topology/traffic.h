// Packet arrivals: one Bernoulli trial per tick for the whole network, the discrete form of Poisson
// arrivals. The packet belongs to one of as many equal shares as the weights of the flows add up
// to; the first flow owns the first shares, and so on.
#pragma once

#include <cstdint>

#include "driver/state.h"

extern int32_t g_share_num; // shares of the arrivals

// Shares the arrivals out among the flows of the settings. Called once per load point.
void ShareArrivals();

// Chance of a packet in a tick, anywhere in the network; 1 and above means one in every tick.
inline double ArrivalProbability()
{
    return g_share_num * g_ariv_rate;
}

// One arrival trial; at most one packet enters the network per tick.
void GenePacketAll();

// Queues a new packet from `src` to `dst`; a full queue refuses it.
void GenePacket(int src, int dst);

// A trial of its own for one station, at rate `g_ariv_rate` to its upper neighbour and at rate
// `g_ariv_rate2` to its lower one. Not used by the experiment.
void Generic_flow1(int station);
void Generic_flow2(int station);
