// The fast-forward: stations sleep through the ticks in which no stage would act on them.
//
// The fields of NODE stay the truth; those of a sleeping station are some ticks behind. Every stage
// visits the awake stations only and has beside it two rules: what k quiet ticks do to a station
// (`Quiet...`), and how many ticks it takes until the stage acts by itself (`...Due`). A station
// sleeps until the first of its due ticks, and one rule keeps this exact: whoever is about to change
// something that another station reads in its stages wakes that station first. A due tick may be named
// too early, which only costs time, never too late.
//
// With every station awake in every tick the same stages are plain ticking.
#pragma once

#include <bit>
#include <cstdint>

#include "driver/constants.h"

constexpr uint64_t NEVER = UINT64_MAX;
constexpr uint32_t ALL_STATIONS = (1U << NODE_NUM) - 1;

extern bool g_plain_ticking; // every station is awake in every tick
extern uint32_t g_awake;     // stations that the stages visit in this tick, one bit each
extern int g_tx_station;     // station whose transmit side acts now; NODE_NUM behind that stage

// The first awake station at or behind `from`, NODE_NUM if there is none. For the transmit stage,
// where stations may wake in the middle: they are found if they lie ahead.
inline int NextAwake(int from)
{
    return from + std::countr_zero((g_awake | 1U << NODE_NUM) >> from);
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

// Wakes a station whose queue is about to get a packet, if that can make a stage act.
void WakeForArrival(int station);

// Wakes the stations that sense no carrier so far and are in range of the stations in `risen`.
void WakeForCarrier(uint32_t risen);

// Stations in carrier-sense range of `station`, one bit each.
uint32_t InterferenceSet(int station);

// The part of [`since`, `until`) that lies inside the measurement window, in ticks.
uint64_t WindowTicksBetween(uint64_t since, uint64_t until);

// Runs the network from the clock's tick up to, not including, tick `until`. Before and after, all
// records are complete and may be looked at or changed.
void RunTicks(uint64_t until);
