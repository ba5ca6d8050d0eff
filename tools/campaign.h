// The replications of a campaign: starting, watching and collecting them.
//
//     DIR/seed-N/             a finished replication
//     DIR/.partial-N/         one that is being run, or was interrupted; renamed when complete
//     DIR/.partial-N.lock     held while seed N is being run, by whatever process
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include "driver/settings.h"

constexpr char PROGRAM[] = "dcfsim-replicate";

struct JOB {
    pid_t pid;
    int lock;
    int64_t seed;
};

struct CAMPAIGN {
    std::string dir;
    bool quick = false;
    GENERATOR generator = GENERATOR_LCG;
    int64_t first_seed = 0;       // numbers the replications; GENERATOR_MERSENNE only
    int jobs = 1;                 // processes at a time
    std::vector<int64_t> waiting; // seeds not yet begun, last first
    std::vector<JOB> running;
    int done = 0;   // finished by this command
    int failed = 0; // of this command's
    int all = 0;    // what this command has to run
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

// The directory in `dir` that is named by `head` and a seed.
std::string Path(const std::string &dir, const char *head, int64_t seed);

// Runs all that waits; returns the exit status.
int RunCampaign(CAMPAIGN &campaign);
