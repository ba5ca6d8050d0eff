// Fast runs: what the ticks of the network would do, without most of the visits.
//
// Between two frames nothing happens to a station but that a timer, a NAV, or the count of idle
// ticks moves by one per tick. Such a station sleeps: no stage visits it, and its record stays some
// ticks behind. In the tick in which a stage would do more than count, the station is caught up and
// visited by every stage as in plain ticking; a tick in which all sleep and no packet arrives is
// passed over. What is passed over makes its arrival draw all the same.
//
//                  0         52                  304  320      348
//     station 0    .         . DATA              . awaits ACK  .           . awake for one tick
//     station 1    .         . receives          . SIFS . ACK  .             asleep in between
//     station 2    .         .  . under its NAV  .      .      .
//                            ^ begins, reaches all in range    ^ the ACK ends
//                               ^ 28 ticks later a contending neighbour has read the header
//
// One rule keeps this exact: a sleeping station is brought up to date before anybody changes it,
// and before anybody reads what it counts. The model's two words for other stations, Look and Reach
// (driver/visit.h), see to that; Visited keeps the stages to those who are awake. When a station is
// due by itself follows from its record (fastforward/quiet.h). Due too early costs a visit in which
// nothing happens; due too late would be a fault.
//
// Statistics that count every tick are entered by stretches in which they do not change: who is
// active (activity.h), shares of time (shares.h), queue lengths (mean_queue.h). Draws come from
// stream.h. The tests compare fast runs with plain ones, record by record.
#pragma once

#include <cstdint>

#include "driver/state.h"

constexpr int32_t NEVER = INT32_MAX; // a tick that does not come by itself

// Whether the ticks being run lie in the measurement window. Fast runs stop at its ends, so that a
// stretch of ticks counts as a whole or not at all.
extern bool g_in_window;

// How much the fast runs have had to do since the program began: ticks run, stations visited.
extern uint64_t g_event_tick_num;
extern uint64_t g_visit_num;

// The clock as fast runs keep their ticks; a load point is shorter than 2^31 ticks.
inline int32_t Now()
{
    return static_cast<int32_t>(g_sim_time);
}
