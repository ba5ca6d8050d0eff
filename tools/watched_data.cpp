#include "tools/watched_data.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <limits>

constexpr char PACKET_HEAD[] = "load_kbps,trial,from,to,arrival,first_attempt,delivery,attempts";
constexpr char SERIES_HEAD[] = "load_kbps,trial,from,to,begin_ms,in_window,arrived,delivered,"
                               "refused,retries,collisions,mean_queue,share";
constexpr size_t PACKET_CELLS = 8;
constexpr size_t SERIES_CELLS = 13;
constexpr size_t KEY_CELLS = 4;
constexpr double LARGEST_KEY = 1e9;
constexpr double EMPTY_CELL = -1; // no value is below 0

// Reads a row of `count` numbers, 0 or more, none of which but that at `may_be_empty` is missing.
static bool ReadRow(const std::string &line, size_t count, size_t may_be_empty, double *cells)
{
    const char *at = line.data();
    const char *end = at + line.size();
    for (size_t i = 0; i < count; ++i) {
        cells[i] = EMPTY_CELL;
        if (i != may_be_empty || at == end || *at != ',') {
            const std::from_chars_result read = std::from_chars(at, end, cells[i]);
            const bool is_key = i < KEY_CELLS; // to be made into an int
            if (read.ec != std::errc() || !(cells[i] >= 0) || !std::isfinite(cells[i]) ||
                (is_key && cells[i] > LARGEST_KEY)) {
                return false;
            }
            at = read.ptr;
        }
        if (i + 1 < count) {
            if (at == end || *at != ',') {
                return false;
            }
            ++at;
        }
    }
    return at == end;
}

// The flow of a row: its third and fourth cell.
static ENDS EndsOf(const double *cells)
{
    return {static_cast<int>(cells[2]), static_cast<int>(cells[3])};
}

static bool EnterPacket(const double *cells, WATCHED &watched)
{
    const double arrival = cells[4];
    const double delivery = cells[6];
    DELAYS &delays = watched.delays[static_cast<int>(cells[0])][EndsOf(cells)];
    if (delivery == EMPTY_CELL) {
        ++delays.dropped;
        return true;
    }
    if (delivery < arrival || delivery - arrival > std::numeric_limits<uint32_t>::max()) {
        return false;
    }
    delays.delivered.push_back(static_cast<uint32_t>(delivery - arrival));
    return true;
}

static bool EnterInterval(const double *cells, WATCHED &watched)
{
    constexpr double MS_PER_S = 1000;
    const double begin_s = cells[4] / MS_PER_S;
    const SERIES_KEY key = {static_cast<int>(cells[0]), static_cast<int>(cells[1]), EndsOf(cells)};
    INTERVALS &intervals = watched.series[key];
    if (!intervals.begin_s.empty() && begin_s <= intervals.begin_s.back()) {
        return false;
    }
    if (cells[5] != 0 && intervals.window_s < 0) {
        intervals.window_s = begin_s;
    }
    intervals.begin_s.push_back(begin_s);
    intervals.delivered.push_back(cells[7]); // made into a rate when the length is known
    intervals.queue.push_back(cells[11]);
    return true;
}

// Makes packets per interval into packets per second, and leaves a last interval out that may be
// shorter than the others.
static void Finish(WATCHED &watched)
{
    for (auto &[load, flows] : watched.delays) {
        for (auto &[ends, delays] : flows) {
            std::sort(delays.delivered.begin(), delays.delivered.end());
        }
    }
    for (auto &[key, intervals] : watched.series) {
        if (intervals.begin_s.size() < 2) {
            continue;
        }
        const double length_s = intervals.begin_s[1] - intervals.begin_s[0];
        for (double &delivered : intervals.delivered) {
            delivered /= length_s;
        }
        intervals.begin_s.pop_back();
        intervals.delivered.pop_back();
        intervals.queue.pop_back();
    }
}

std::string ReadWatched(const std::string &path, WATCHED &watched)
{
    errno = 0;
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) {
        return path + ": cannot be read: " + (errno != 0 ? std::strerror(errno) : "is empty");
    }
    const bool is_packets = line == PACKET_HEAD;
    if (!is_packets && line != SERIES_HEAD) {
        return path +
               ":1: heads of neither --packets nor --series of dcfsim-experiment; name one of "
               "its files";
    }
    for (size_t number = 2; std::getline(file, line); ++number) {
        constexpr size_t DELIVERY = 6;
        double cells[SERIES_CELLS];
        const bool is_read =
            !file.eof() && (is_packets ? ReadRow(line, PACKET_CELLS, DELIVERY, cells) &&
                                             EnterPacket(cells, watched)
                                       : ReadRow(line, SERIES_CELLS, SERIES_CELLS, cells) &&
                                             EnterInterval(cells, watched));
        if (!is_read) {
            return path + ":" + std::to_string(number) +
                   ": is no whole row of this file; run the experiment again";
        }
    }
    if (file.bad()) {
        return path + ": cannot be read: " + std::strerror(errno);
    }
    Finish(watched);
    return "";
}

uint32_t Quantile(const DELAYS &delays, double share)
{
    const auto count = static_cast<double>(delays.delivered.size());
    const auto rank = static_cast<size_t>(std::ceil(share * count));
    return delays.delivered[rank > 0 ? rank - 1 : 0];
}

int WarmUp(const std::vector<double> &values)
{
    constexpr size_t BATCH = 5;
    std::vector<double> means(values.size() / BATCH);
    for (size_t i = 0; i < means.size(); ++i) {
        for (size_t k = 0; k < BATCH; ++k) {
            means[i] += values[i * BATCH + k] / BATCH;
        }
    }
    if (means.size() < 2) {
        return -1;
    }
    double best = std::numeric_limits<double>::infinity();
    size_t cut = 0;
    for (size_t first = 0; first <= means.size() / 2; ++first) {
        const auto left = static_cast<double>(means.size() - first);
        double mean = 0;
        for (size_t i = first; i < means.size(); ++i) {
            mean += means[i] / left;
        }
        double squares = 0;
        for (size_t i = first; i < means.size(); ++i) {
            squares += (means[i] - mean) * (means[i] - mean);
        }
        if (squares / (left * left) < best) {
            best = squares / (left * left);
            cut = first;
        }
    }
    return cut == means.size() / 2 ? -1 : static_cast<int>(cut * BATCH);
}
