// Packet arrivals: one Bernoulli trial per tick for the whole network, the discrete form of Poisson
// arrivals, and an equal chance for each of the five flows.
#pragma once

// One arrival trial; at most one packet enters the network per tick.
void GenePacketAll();

// Queues a new packet from `src` to `dst`; a full queue refuses it.
void GenePacket(int src, int dst);

// A trial of its own for one station, at rate `g_ariv_rate` to its upper neighbour and at rate
// `g_ariv_rate2` to its lower one. Not used by the experiment.
void Generic_flow1(int station);
void Generic_flow2(int station);
