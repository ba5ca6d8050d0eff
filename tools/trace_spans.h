// The events of a trace as spans of time in which something stays as it is, and what all forms of a
// trace share in words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/watch.h"

// The ticks `begin` .. `end` - 1 of a station, within the ticks watched.
struct SPAN {
    uint64_t begin;
    uint64_t end;
    int32_t value;   // what stays
    int32_t backoff; // ticks of backoff left at the beginning
    int32_t retry;   // retransmissions of the head packet so far, at the beginning
};

// What a station does: spans of one PHASE, which together are all ticks watched.
std::vector<SPAN> PhaseSpans(const TRACE &trace, int station);

// Where its NAV runs; the value is the ticks it was set to, or those left where the watch begins.
std::vector<SPAN> NavSpans(const TRACE &trace, int station);

// Where signals overlap at it; the value is 1.
std::vector<SPAN> OverlapSpans(const TRACE &trace, int station);

// A value and the tick from which it holds.
struct STEP {
    uint64_t tick;
    int32_t value;
};

// Packets in the queue, from the first tick watched.
std::vector<STEP> QueueSteps(const TRACE &trace, int station);

// Slots of backoff left, one just begun included.
std::vector<STEP> BackoffSteps(const TRACE &trace, int station);

// The contention window, in slots.
std::vector<STEP> WindowSteps(const TRACE &trace, int station);

// Slots that `ticks` of backoff take, one just begun included.
int32_t SlotsOf(int32_t ticks);

// "con", "hid/phy", "hid/pro", "hid/hcon" for a COL_ROW.
const char *ClassName(int row);

// "1", or "nobody" for EMPTY.
std::string StationText(int station);

// The frame in a line, as "DATA from 0 to 1, packet 17 of 0 for 1, retry 2, ticks 34 to 286".
std::string FrameText(const FRAME &frame);
