#include "tools/story_words.h"

#include <bit>

#include "driver/constants.h"
#include "driver/station_set.h"

std::string AtTick(uint64_t tick)
{
    return "At tick " + std::to_string(tick) + " ";
}

std::string Station(int station)
{
    return "station " + std::to_string(station);
}

std::string Count(int64_t num, const char *what)
{
    return std::to_string(num) + " " + what + (num == 1 ? "" : "s");
}

std::string Stations(uint32_t set)
{
    std::string text = std::has_single_bit(set) ? "station " : "stations ";
    uint32_t rest = set;
    for (const int station : STATION_SET{set}) {
        Put(rest, station, false);
        text += std::to_string(station);
        text += rest == 0 ? "" : std::has_single_bit(rest) ? " and " : ", ";
    }
    return text;
}

std::string Packet(int32_t seq)
{
    return seq == EMPTY ? "a packet without a number" : "packet " + std::to_string(seq);
}

const char *Ending(uint32_t set)
{
    return std::has_single_bit(set) ? "s" : "";
}
