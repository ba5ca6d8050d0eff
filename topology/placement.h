// Where the stations stand and who reaches whom.
#pragma once

#include <cstdint>

#include "driver/constants.h"

// `interference_list` of each station as a set, one bit a station.
extern uint32_t g_interference_set[NODE_NUM];

// Places the stations as the settings say and builds the neighbour lists.
void PositionAllNode();

// Five sender/receiver pairs 30 m apart along x, each receiver 1 m above its sender.
void DesignPositionAllNode();

// A chain of stations 30 m apart. Not the published layout.
void LinePositionAllNode();

// Stations anywhere in a square of 5 km. Draws two numbers per station. Not the published layout.
void RandPositionAllNode();

// Distance of two stations in metres.
double CalcDistance(int a, int b);

// 1 if frames of one station are received at the other, else 0. The limit itself connects.
int CalcConnectOrNot(int a, int b);

// 1 if one station senses the carrier of the other, else 0. The limit itself interferes.
int CalcInterferenceOrNot(int a, int b);

// Builds `connect_list` and `interference_list` of all stations, both ascending, and the sets.
// Returns 1 if every station has a neighbour in transmission range, else 0.
int CheckConnection();

// Hook for looking at the neighbour lists once they stand; prints nothing.
void TestConnection();
