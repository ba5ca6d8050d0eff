// Watches a sweep flow by flow, as the model tells of its packets (driver/observer.h), and writes
// CSV files of it: totals of the measurement window, a row per packet, a row per interval.
//
// A flow is what goes from one station to another; entries of the experiment with the same ends are
// one. On its way it may take several hops: attempts, time-outs and queues are those of all of
// them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct WATCH_FILES {
    std::string flows;       // a row per load point and flow
    std::string packets;     // a row per packet delivered or dropped; empty: none
    std::string series;      // a row per interval and flow; empty: none
    int64_t interval_ms = 0; // of the series
};

// What has happened to the packets of a flow in a stretch of time.
struct FLOW_COUNTS {
    uint64_t arrived;   // at the source, refused ones too
    uint64_t delivered; // new at their end
    uint64_t refused;   // by a full queue, at the source or on the way
    uint64_t timeouts;
    uint64_t collisions;
    uint64_t drops;
    uint64_t delay_sum; // ticks from arrival to delivery
};

// A flow in a load point.
struct FLOW_TOTALS {
    int32_t from;
    int32_t to;
    FLOW_COUNTS window; // in the measurement window
    double offered_mbps;
    double delivered_mbps;
    double delay_us; // mean from arrival to delivery, NaN if none was delivered
};

// Those of the load point that the watch has seen last, in the order of DistinctFlows.
std::vector<FLOW_TOTALS> LastFlowTotals();

// Opens the files and watches the sweep of `g_settings` that is run next. Returns what stands
// against it, or an empty text.
std::string BeginWatch(const WATCH_FILES &files);

// Behind the sweep: puts the files in place if `is_complete`, and enters their hashes, by path,
// into `hashes`. Returns what went wrong, or an empty text.
std::string EndWatch(bool is_complete, std::map<std::string, std::string> &hashes);
