// Where a load point begins: all that reaches into it from those before. Whoever has that can run a
// load point of a sweep without them.
#pragma once

#include <cstdint>
#include <string>

#include "driver/queue.h"
#include "topology/random.h"

struct LOAD_POINT_START {
    int64_t idum; // the random numbers still to come
    SHUFFLE shuffle;
    MERSENNE mersenne;
    PACKET rx_frame[NODE_NUM]; // a fresh record keeps the times and the id of the last one
    PACKET head[NODE_NUM];
    int32_t count_cw; // goes on through all load points
};

// What the next load point begins from, between two of them or in front of the first.
LOAD_POINT_START SaveStart();

// Puts it back; StartLoadPoint is to follow.
void RestoreStart(const LOAD_POINT_START &start);

// The same as a text, for the same build to read. ReadStart returns false if it is no such text.
std::string StartText(const LOAD_POINT_START &start);
bool ReadStart(const std::string &text, LOAD_POINT_START &start);
