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

struct WATCH_FILES {
    std::string flows;       // a row per load point and flow
    std::string packets;     // a row per packet delivered or dropped; empty: none
    std::string series;      // a row per interval and flow; empty: none
    int64_t interval_ms = 0; // of the series
};

// Opens the files and watches the sweep of `g_settings` that is run next. Returns what stands
// against it, or an empty text.
std::string BeginWatch(const WATCH_FILES &files);

// Behind the sweep: puts the files in place if `is_complete`, and enters their hashes, by path,
// into `hashes`. Returns what went wrong, or an empty text.
std::string EndWatch(bool is_complete, std::map<std::string, std::string> &hashes);
