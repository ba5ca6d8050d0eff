// Runs the experiment of `g_settings` and leaves its results, flows.csv, and a manifest with the
// hashes of all of them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct EXPERIMENT_RUN {
    std::string program;               // for the manifest
    std::string out;                   // directory of the results
    std::vector<std::string> warnings; // for the manifest
    std::string packets;               // file of a row per packet; empty: none
    std::string series;                // file of a row per interval; empty: none
    int64_t interval_ms = 0;           // of the series
};

// Makes the directories and opens all files, so that a run never works for nothing, and sets the
// model's packet size. To be called first. Returns what stands against the run, or an empty text.
std::string PrepareExperiment(const EXPERIMENT_RUN &run);

// Runs it; returns what went wrong, or an empty text.
std::string RunExperiment(const EXPERIMENT_RUN &run);

// The same in parts, for who does something between two load points: in between, StepSweep of
// driver/sweep.h as long as it returns that there are more. A run is not to be stepped if
// BeginExperiment has returned a text.
std::string BeginExperiment(const EXPERIMENT_RUN &run);
std::string EndExperiment(const EXPERIMENT_RUN &run);
