// The rules that the values of a result tree follow, by subject. Tolerances come from the decimals
// that the files show; where a number follows from counts, all its digits must be right.
#pragma once

#include <cstddef>
#include <string>

#include "driver/constants.h"
#include "tools/form_parts.h"
#include "tools/tree_values.h"

constexpr double EXACT_5 = 0.5e-5 + 1e-9; // of a number with five decimals
constexpr double EXACT_6 = 0.5e-6 + 1e-9;

// Ticks that every rate is divided by.
inline double Window(const AUDIT &audit)
{
    return audit.Experiment().window_ticks;
}

// Ticks of a load point per tick of its window.
inline double RunShare(const AUDIT &audit)
{
    return static_cast<double>(audit.Experiment().sim_ticks) / Window(audit);
}

inline size_t LoadNum(const AUDIT &audit)
{
    return static_cast<size_t>(audit.Experiment().load_num);
}

inline size_t PointNum(const AUDIT &audit)
{
    return static_cast<size_t>(audit.Experiment().trial_num) * LoadNum(audit);
}

// The load of a point, in Mbit/s.
inline double LoadOf(const AUDIT &audit, size_t point)
{
    return audit.Experiment().load_list[point % LoadNum(audit)] / KBPS_PER_MBPS;
}

inline int PacketBits(const AUDIT &audit)
{
    return PacketBytes(audit.Experiment()) * BITS_PER_BYTE;
}

// Mbit/s of packets in the window.
inline double RateOf(const AUDIT &audit, double packets)
{
    return packets * PacketBits(audit) / Window(audit);
}

// The mean over the trials of what `value` gives for a point.
template <typename VALUE> double MeanOf(const AUDIT &audit, size_t load, VALUE value)
{
    double sum = 0.0;
    for (size_t point = load; point < PointNum(audit); point += LoadNum(audit)) {
        sum += value(point);
    }
    return sum / audit.Experiment().trial_num;
}

// Whether every trial of a load has a number above 0 in the series.
inline bool IsPositive(const AUDIT &audit, const SERIES &series, size_t load)
{
    bool is_positive = true;
    for (size_t point = load; point < PointNum(audit); point += LoadNum(audit)) {
        is_positive = is_positive && audit.At(series[point]) > 0;
    }
    return is_positive;
}

inline const SERIES &StationSeries(const AUDIT &audit, int station, const char *metric)
{
    return FindSeries(audit.Form(), "node_stat.txt", "station", std::to_string(station), metric);
}

inline const SERIES &CountSeries(const AUDIT &audit, int sender, int receiver,
                                 const std::string &metric)
{
    return FindSeries(audit.Form(), "collision.txt", "link", LinkName(sender, receiver), metric);
}

// Whether the rules of the five pairs are those of an experiment: the published flows over one hop,
// who hears whom as there, and no RTS.
bool FollowsPairs(const SETTINGS &experiment);

// The share of the window that was run: 1, but for quick replications.
double ShareRun(const AUDIT &audit);

void CheckStations(AUDIT &audit);   // node_stat.txt
void CheckCollisions(AUDIT &audit); // collision.txt, and node_stat.txt beside it
void CheckPairs(AUDIT &audit);      // trans_con.txt, and the heads of blocks
void CheckFlows(AUDIT &audit);      // offered load and throughput wherever they stand, delays
void CheckMeans(AUDIT &audit);      // means by station and link
void CheckFlowFile(AUDIT &audit);   // flows.csv, if it is there, whatever the flows are
