// Raw figures of a load point: node_stat.txt per station and trans_con.txt per pair of stations.
#pragma once

#include <cstdint>

// Writes the blocks of the load point just simulated. `trial` counts from 0.
void WriteNodeStat(int32_t trial, int32_t load_kbps);

// Place of a writer per station; writes nothing.
void WriteNode(int station, int32_t load_kbps);
