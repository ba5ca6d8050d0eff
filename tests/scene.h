// Scenes for tests and benchmark: a network, its traffic and the state it starts in, as data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "driver/constants.h"
#include "driver/records.h"
#include "driver/settings.h"

// `nav_value` of a packet that goes with RTS and CTS, above the threshold of all scenes.
constexpr int32_t RTS_VALUE = 100'001;

// Packets that enter a queue just before a tick.
struct SENDING {
    uint64_t tick;
    int32_t src;
    int32_t dst;
    int32_t num = 1;
    int32_t nav_value = 0; // 0: as all packets of the scene; RTS_VALUE: RTS and CTS first
};

// An integer field of a station: its name, as state_compare.h reports it, and how it is set.
struct OWN_FIELD {
    const char *name;
    void (*set)(NODE &own, int64_t value);
};
#define OWN(field)                                                                                 \
    OWN_FIELD                                                                                      \
    {                                                                                              \
#field,                                                                                    \
            [](NODE & own, int64_t value) { own.field = static_cast<decltype(own.field)>(value); } \
    }

// A field that a station starts with. A station that starts in a state that sends is given its
// signal at all stations that hear it.
struct START {
    int32_t station;
    OWN_FIELD field;
    int64_t value;
};

struct SCENE {
    std::string name = {};
    LAYOUT layout = LAYOUT_DESIGN;
    std::vector<POSITION> positions = {};
    ROUTING routes = ROUTING_DESIGN;
    double transmission_range_m = 40.0;
    double carrier_sense_range_m = 40.0;
    int32_t data_length = 1472; // bytes
    int32_t load_kbps = 0;      // per flow
    double ariv_rate = 0.0;     // unless 0: instead of the load, packets per tick and flow
    bool rts_flag = false;      // all packets go with RTS and CTS
    int32_t queue_limit = QUEUE_LIMIT;
    int32_t log_limit = QUEUE_LIMIT;
    uint64_t window_begin = 0;
    uint64_t window_end = 40'000'000;
    uint64_t start_tick = 0;      // where the clock starts
    int64_t seed = 1'700'000'000; // what the wall clock shows
    GENERATOR generator = GENERATOR_LCG;
    size_t stream_block = 0;            // draws per block in fast runs; 0: as in the program
    std::vector<SENDING> sendings = {}; // by tick
    std::vector<START> starts = {};
    void (*tweak)() = nullptr; // called last
};

// Puts the whole model into the state in which the scene begins, whatever ran before.
void SetUpScene(const SCENE &scene);

// Runs the scene that was set up from the clock's tick to `until`, by plain ticking or fast.
void RunScene(const SCENE &scene, uint64_t until, bool plain);

// The scene in words, as far as it is not the experiment.
std::string DescribeScene(const SCENE &scene);
