// The fast-forward: stations sleep through the ticks in which no stage would act on them.
//
// The fields of NODE stay the truth; those of a sleeping station are some ticks behind. Every stage
// visits the awake stations only and has beside it two rules: what k quiet ticks do to a station
// (`Quiet...`), and how many ticks it takes until the stage acts by itself (`...Due`). A station
// sleeps until the first of its due ticks, and one rule keeps this exact: whoever is about to
// change something that another station reads in its stages wakes that station first. A due tick
// may be named too early, which only costs time, never too late.
//
// With every station awake in every tick the same stages are plain ticking.
#pragma once

#include <bit>
#include <cstdint>

#include "driver/constants.h"
#include "driver/state.h"

constexpr int32_t NEVER = INT32_MAX; // ticks until something that does not come by itself
constexpr uint32_t ALL_STATIONS = (1U << NODE_NUM) - 1;

extern bool g_plain_ticking; // every station is awake in every tick, and every stage due

// Stations of this tick, one bit each.
extern uint32_t g_awake;  // the stages visit them
extern uint32_t g_tx_due; // awake, and their transmit side may act
extern uint32_t g_rx_due; // awake, and their receive side may act

// Stations whose NAV has ended behind the channel stage, which therefore has to look at them again.
extern uint32_t g_nav_ended;

// How much the fast-forward has had to do since the program began: ticks run, stations visited.
extern uint64_t g_event_tick_num;
extern uint64_t g_visit_num;

// Per sleeping station: first tick that ends with more idle ticks than DIFS, NEVER if that does not
// come by itself. There a contending station is no longer active, and its time counts as backoff.
extern int32_t g_difs_end[NODE_NUM];

// The clock as the fast-forward keeps its ticks; a load point is far shorter than 2^31 ticks.
inline int32_t Now()
{
    return static_cast<int32_t>(g_sim_time);
}

// The stations of a set, ascending, for a range-based loop.
struct STATION_SET {
    struct ITERATOR {
        uint32_t rest;
        int operator*() const
        {
            return std::countr_zero(rest);
        }
        ITERATOR &operator++()
        {
            rest &= rest - 1;
            return *this;
        }
        bool operator!=(const ITERATOR &other) const
        {
            return rest != other.rest;
        }
    };
    uint32_t stations;
    ITERATOR begin() const
    {
        return {stations};
    }
    ITERATOR end() const
    {
        return {0};
    }
};

// The awake stations, as they are when the loop begins.
inline STATION_SET Awake()
{
    return {g_awake};
}

// Wakes the stations in transmission or carrier-sense range of `sender`. For the transmit stage.
void WakeNeighbours(int sender);

// Makes the receive side of `station`, which has got a frame, act in this tick.
inline void NoteFrame(int station)
{
    g_rx_due |= 1U << station;
}

// Wakes a station in which a packet for `hop` has arrived, if that can make a stage act.
void WakeForArrival(int station, int hop);

// Wakes the stations that sense no carrier so far and are in range of the stations in `risen`.
void WakeForCarrier(uint32_t risen);

// Takes over a change of a station's queue or log.
void NoteQueue(int station);

// `idle_count` of a station as it stands in this tick, of a sleeping one too.
uint64_t IdleCountNow(int station);

// Stations in carrier-sense range of each station, one bit each.
extern uint32_t g_interference_set[NODE_NUM];

// The part of [`since`, `until`) that lies inside the measurement window, in ticks.
uint64_t WindowTicksBetween(int64_t since, int64_t until);

// Runs the network from the clock's tick up to, not including, tick `until`. Before and after, all
// records are complete and may be looked at or changed.
void RunTicks(uint64_t until);
