// The rules that the values of a result tree follow, by subject. Tolerances come from the decimals
// that the files show; where a number follows from counts, all its digits must be right.
#pragma once

#include <cstddef>
#include <string>

#include "tools/tree_values.h"

constexpr double EXACT_5 = 0.5e-5 + 1e-9; // of a number with five decimals
constexpr double EXACT_6 = 0.5e-6 + 1e-9;
constexpr double WINDOW = 30'000'000;   // ticks that every rate is divided by
constexpr double RUN_SHARE = 4.0 / 3.0; // ticks of a load point per tick of its window

inline int LoadOf(size_t point)
{
    return static_cast<int>(point % TREE_LOADS);
}

// Mbit/s of packets in the window.
inline double RateOf(double packets)
{
    constexpr int PACKET_BYTES = 1500;
    constexpr int BITS = 8;
    return packets * PACKET_BYTES * BITS / WINDOW;
}

inline const SERIES &StationSeries(int station, const char *metric)
{
    return FindSeries("node_stat.txt", "station", std::to_string(station), metric);
}

inline std::string LinkName(int sender, int receiver)
{
    return std::to_string(sender) + "->" + std::to_string(receiver);
}

inline const SERIES &CountSeries(int sender, int receiver, const std::string &metric)
{
    return FindSeries("collision.txt", "link", LinkName(sender, receiver), metric);
}

// The share of the window that was run: 1, but for quick replications.
double ShareRun(const AUDIT &audit);

void CheckStations(AUDIT &audit);   // node_stat.txt
void CheckCollisions(AUDIT &audit); // collision.txt, and node_stat.txt beside it
void CheckPairs(AUDIT &audit);      // trans_con.txt, and the heads of blocks
void CheckFlows(AUDIT &audit);      // offered load and throughput wherever they stand, delays
void CheckMeans(AUDIT &audit);      // means by station and link
