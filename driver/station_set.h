// Sets of stations, one bit each, and how they are walked.
#pragma once

#include <bit>
#include <cstdint>

#include "driver/constants.h"

constexpr uint32_t ALL_STATIONS = (1U << NODE_NUM) - 1;

// The stations of a set, ascending, for a range-based loop. Stations that join the set while the
// loop runs are not in it.
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

inline bool Has(uint32_t set, int station)
{
    return (set >> station & 1U) != 0;
}

// Puts a station into a set or takes it out.
inline void Put(uint32_t &set, int station, bool in)
{
    set = (set & ~(1U << station)) | static_cast<uint32_t>(in) << station;
}
