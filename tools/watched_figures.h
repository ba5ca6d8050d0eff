// Figures of what dcfsim-experiment tells of packets and of intervals.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/watched_data.h"

// Writes what draws the figures, one per load, for gnuplot. Returns their names, less the ending.
std::vector<std::string> WriteWatchedFigures(std::ostream &script, const WATCHED &watched);

// The table that belongs to the figures, as CSV, and its name.
struct TABLE {
    std::string name;
    std::string text;
};
TABLE WatchedTable(const WATCHED &watched);
