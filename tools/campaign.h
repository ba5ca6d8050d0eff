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

#include "driver/settings.h"

#include <sys/types.h>

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
    int64_t first_seed = 0;               // numbers the replications; GENERATOR_MERSENNE only
    const SETTINGS *experiment = nullptr; // null: the published one
    std::vector<std::string> warnings;    // of that experiment
    int jobs = 1;                         // processes at a time
    std::string command;                  // how to go on after an interruption
    std::vector<int64_t> waiting;         // seeds not yet begun, last first
    std::vector<int64_t> elsewhere;       // seeds that other processes were running when last tried
    bool is_sharing = false;              // it has been told that there are such
    std::chrono::steady_clock::time_point retried; // when they were tried last
    std::vector<JOB> running;
    int done = 0;   // finished, by whatever command
    int failed = 0; // of this command's
    int all = 0;    // what this command has to run
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

// The directory in `dir` that is named by `head` and a seed.
std::string Path(const std::string &dir, const char *head, int64_t seed);

// Runs all that waits; returns the exit status. A seed that another process is running is left to
// it, and run here only if that process ends without a result. No more processes than fit into
// memory are started, and none if the directory cannot be written. SIGINT, SIGTERM and SIGHUP end
// this process, unless they were ignored before: what was begun is cleared away and a hint tells
// how to go on.
int RunCampaign(CAMPAIGN &campaign);
