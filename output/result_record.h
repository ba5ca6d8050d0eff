// The RESULT record: turns the counters of a finished load point into rates, shares and delays and
// adds them to the record of this load, where the trials sum up.
#pragma once

#include <cstdint>

#include "driver/state.h"

// Mean over the trials of a value from a RESULT record, which sums them.
inline double Mean(double sum)
{
    return sum / g_settings.trial_num;
}

// Mbit/s of `packets` within the measurement window; a bit per tick is 1 Mbit/s.
inline double WindowRate(uint64_t packets)
{
    return static_cast<double>(packets) * PACKET_PAYLOAD_LENGTH * BITS_PER_BYTE /
           g_settings.window_ticks;
}

// Entries of RESULT::link_prob: collisions per transmission on a link.
enum LINK_PROB : int32_t {
    PROB_TOTAL = 0,  // all, less the hidden ones of frames that had collided before
    PROB_CON = 1,    // ROW_CON
    PROB_HID = 2,    // ROW_HID, less those of such frames
    PROB_PHY = 3,    // ROW_PHY
    PROB_PRO = 4,    // ROW_PRO
    PROB_HCON = 5,   // ROW_HCON
    PROB_HID_DA = 6, // DATA hit by a hidden ACK, less those of such frames
};

// `count` less `repeated` in 32-bit arithmetic that wraps, as the counters do.
inline int32_t Difference32(int32_t count, int32_t repeated)
{
    return static_cast<int32_t>(static_cast<uint32_t>(count) - static_cast<uint32_t>(repeated));
}

// Clears fields of the RESULT records 0 to `load` - 1; once per sweep, before the first trial.
void init_parameter();

// Adds the load point just simulated into result[g_counter], prints its line on standard output and
// moves `g_counter` on.
void WriteResult();
