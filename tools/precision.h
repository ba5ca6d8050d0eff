// How precise the means of a campaign are.
#pragma once

#include <string>

// The load whose total throughput is known least precisely.
struct PRECISION {
    double load = 0.0;    // Mbit/s
    double percent = 0.0; // half-width of the 95 % interval, of the mean; infinite if there is none
};

// Finds that load, of those above 0, in a summary.csv. Returns what went wrong, or an empty text.
std::string ReadPrecision(const std::string &path, PRECISION &worst);
