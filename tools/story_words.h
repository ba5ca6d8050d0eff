// Words of which sentences about stations and packets are made.
#pragma once

#include <cstdint>
#include <string>

// "At tick 34 ".
std::string AtTick(uint64_t tick);

// "station 2".
std::string Station(int station);

// "1 slot", "2 slots".
std::string Count(int64_t num, const char *what);

// "station 2", "stations 2, 3 and 6".
std::string Stations(uint32_t set);

// "packet 17". What came over a frame that a station was receiving may be relayed as a packet that
// no flow has sent.
std::string Packet(int32_t seq);

// "s" behind a verb of one station.
const char *Ending(uint32_t set);
