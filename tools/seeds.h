// The seeds of a campaign.
//
// The published generator has one cycle of 2^31 - 2 states, and a seed is the place on it where a
// run begins. A run draws 2.9e9 numbers, more than the cycle has, so every two runs meet the same
// numbers somewhere. That does harm where they meet them at the same load. A load point draws at
// most 4.15e7 numbers, and the same load of the second trial comes 1.4581e9 draws behind that of
// the first, give or take 1e6. So the seeds stand SEED_STEP draws apart:
//
//     seed_i = seed_0 x 16807^(i SEED_STEP) mod (2^31 - 1)
//
// Of the 40 places on the cycle where the two trials of 20 such runs begin a load, the two closest
// are 4.7e7 draws apart. A 21st run would begin 1.8e7 draws from another one.
//
// The runs of other experiments must not meet anywhere: their seeds stand LongestRun draws apart,
// and there are no more of them than the cycle has room for.
//
// Streams of the other generator are told apart by the number of the replication; their seeds are
// those of the published experiment, and name the replications.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "driver/settings.h"
#include "topology/random.h"

constexpr int64_t LARGEST_SEED = RAND_MODULUS - 1; // from there on the streams repeat
constexpr int64_t SEED_STEP = 785'200'000;         // draws between the beginnings of two streams

// Replications a campaign may have at all. It is no property of the Mersenne Twister; up to there
// all its seeds differ.
constexpr int REPLICATION_LIMIT = 1'000'000;

// How the seeds of a campaign follow each other.
struct SEED_PLAN {
    int64_t step = SEED_STEP;      // draws from one to the next
    int limit = REPLICATION_LIMIT; // how many there are; 0 where not even one run fits on the cycle
};

// That of a campaign of `experiment`, whatever seed that names.
SEED_PLAN PlanSeeds(const SETTINGS &experiment, GENERATOR generator);

// A number of draws that no run of an experiment exceeds.
int64_t LongestRun(const SETTINGS &experiment);

// The first `count` seeds of the campaign that begins with `first`, 1 to LARGEST_SEED.
std::vector<int64_t> CampaignSeeds(int64_t first, int count, int64_t step = SEED_STEP);

// The number, from 0 on, of the replication with this seed; none if the campaign has no such seed.
std::optional<int> ReplicationNumber(int64_t first, int64_t seed, const SEED_PLAN &plan);
