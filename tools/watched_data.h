// What dcfsim-experiment tells of packets and of intervals, read for figures.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

// The ends of a flow.
struct ENDS {
    int from;
    int to;
    auto operator<=>(const ENDS &) const = default;
};

// The packets of a flow at a load, of all trials.
struct DELAYS {
    std::vector<uint32_t> delivered; // delays in us, ascending
    uint64_t dropped = 0;
};
using LOAD_DELAYS = std::map<ENDS, DELAYS>;

// The intervals of a flow at a load in one trial.
struct INTERVALS {
    std::vector<double> begin_s;
    std::vector<double> delivered; // packets per second
    std::vector<double> queue;     // packets
    double window_s = -1;          // where the first interval of the window begins; -1: none does
};
using SERIES_KEY = std::tuple<int, int, ENDS>; // load in kbit/s, trial, flow

struct WATCHED {
    std::map<int, LOAD_DELAYS> delays; // by load in kbit/s; empty for a file of intervals
    std::map<SERIES_KEY, INTERVALS> series;
};

// Reads a file of --packets or of --series, whichever it is. Returns what is wrong with it, with
// its name and line, or an empty text.
std::string ReadWatched(const std::string &path, WATCHED &watched);

// The smallest delay that a share of the packets, 0 to 1, does not exceed; some have been
// delivered.
uint32_t Quantile(const DELAYS &delays, double share);

// How many values at the beginning MSER-5 leaves out: of means of five values each, those without
// which the mean of the rest has the smallest estimated error. At most half of them; -1 if there
// are fewer than ten, or if nothing less than half is enough, as without a steady state.
int WarmUp(const std::vector<double> &values);
