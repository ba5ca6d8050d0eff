// What the experiment is: all that can be changed without touching the model. The defaults are the
// published experiment. Set before a sweep, and constant while it runs.
#pragma once

#include <cstdint>

#include "driver/constants.h"

constexpr int LOAD_LIMIT = 1000;                 // offered loads of a sweep, at most
constexpr int FLOW_LIMIT = 100;                  // flows, at most
constexpr int WEIGHT_LIMIT = 1000;               // sum of their weights, at most
constexpr int ROUTE_LIMIT = NODE_NUM * NODE_NUM; // rows of all routing tables together
constexpr int TITLE_LIMIT = 100;                 // characters of a title, at most
constexpr int64_t SEED_FROM_CLOCK = INT64_MIN;   // no seed is given

// Place of a station, in metres.
struct POSITION {
    double x;
    double y;
};

// Packets from one station to another. A flow of weight 1 has the offered load of the load point,
// one of weight w has w times that.
struct FLOW {
    int32_t from;
    int32_t to;
    int32_t weight;
};

// A row of the routing table of `station`.
struct ROUTE {
    int32_t station;
    int32_t destination;
    int32_t next; // next hop
};

// Where the random numbers come from.
enum GENERATOR : int32_t {
    GENERATOR_LCG = 0,      // the published one, of one cycle of 2^31 - 2 states
    GENERATOR_MERSENNE = 1, // std::mt19937_64, for more streams than that cycle has room for
};

// What manifests and options call a generator.
constexpr const char *GENERATOR_NAMES[] = {"lcg-16807", "mt19937-64"};

// Where the stations stand.
enum LAYOUT : int32_t {
    LAYOUT_DESIGN = 0,   // five pairs, the published layout
    LAYOUT_LINE = 1,     // a chain
    LAYOUT_RANDOM = 2,   // anywhere in a square of 5 km, drawn for each load point
    LAYOUT_EXPLICIT = 3, // `position_list`
};

// What the routing tables hold.
enum ROUTING : int32_t {
    ROUTING_DESIGN = 0,     // within the pairs
    ROUTING_LINE = 1,       // along the chain, to stations 0 and 9
    ROUTING_NEIGHBOURS = 2, // to every station in transmission range, directly
    ROUTING_LIST = 3,       // `route_list`
};

struct SETTINGS {
    char title[4 * TITLE_LIMIT + 1] = ""; // one line of UTF-8 for readers, empty if none is given
    int64_t seed = SEED_FROM_CLOCK;       // what the clock gives to the generator
    GENERATOR generator = GENERATOR_LCG;
    int32_t replication = 0; // GENERATOR_MERSENNE only: sets streams of one seed apart
    int32_t trial_num = 2;   // sweeps over the loads, 1 or more
    int32_t load_num = 36;
    int32_t load_list[LOAD_LIMIT];       // kbit/s of a flow of weight 1, ascending
    int32_t data_length = 1472;          // bytes of application data per packet
    uint64_t sim_ticks = 40'000'000;     // length of a load point, below 2^31
    uint64_t window_begin = 10'000'000;  // first tick of the measurement window
    uint64_t window_end = 40'000'000;    // its last tick
    double window_ticks = 3e7;           // divisor of every rate: ticks of the window that are run
    uint64_t hop_age_limit = 9'000'000;  // a hop delay counts below this age of the head packet
    int32_t queue_limit = QUEUE_LIMIT;   // packets a queue holds, at most QUEUE_LIMIT
    int32_t log_limit = QUEUE_LIMIT;     // entries of a log before it restarts, at most QUEUE_LIMIT
    int64_t rts_threshold = 100'000;     // largest `nav_value` of a packet that goes without RTS
    double transmission_range_m = 40.0;  // frames are received within it
    double carrier_sense_range_m = 40.0; // the medium is sensed busy within it
    LAYOUT layout = LAYOUT_DESIGN;
    POSITION position_list[NODE_NUM] = {}; // LAYOUT_EXPLICIT only
    ROUTING routing = ROUTING_DESIGN;
    int32_t route_num = 0; // ROUTING_LIST only
    ROUTE route_list[ROUTE_LIMIT] = {};
    int32_t flow_num = FLOW_NUM;
    FLOW flow_list[FLOW_LIMIT] = {{0, 1, 1}, {2, 3, 1}, {4, 5, 1}, {6, 7, 1}, {8, 9, 1}};

    constexpr SETTINGS() : load_list()
    {
        constexpr int32_t LOAD_STEP_KBPS = 1000;
        for (int32_t i = 0; i < load_num; ++i) {
            load_list[i] = i * LOAD_STEP_KBPS;
        }
    }
};

// The experiment of this process; one at a time.
extern SETTINGS g_settings;

// Ticks of the measurement window that a load point runs, the divisor of its rates. The window may
// reach beyond the end of the load point, up to 2^63 - 1.
inline double WindowTicksRun(const SETTINGS &settings)
{
    const uint64_t behind = settings.window_end + 1;
    const uint64_t end = behind < settings.sim_ticks ? behind : settings.sim_ticks;
    return static_cast<double>(end - settings.window_begin);
}
