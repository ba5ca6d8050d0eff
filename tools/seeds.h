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
// Streams of the other generator are told apart by the number of the replication; their seeds are
// the same ones, which name the replications.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "driver/settings.h"
#include "topology/random.h"

constexpr int64_t LARGEST_SEED = RAND_MODULUS - 1; // from there on the streams repeat
constexpr int64_t SEED_STEP = 785'200'000;         // draws between the beginnings of two streams

// Replications a campaign may have. That of the Mersenne Twister is no property of the generator;
// up to there all seeds differ.
constexpr int ReplicationLimit(GENERATOR generator)
{
    return generator == GENERATOR_LCG ? 20 : 1'000'000;
}

// The first `count` seeds of the campaign that begins with `first`, 1 to LARGEST_SEED.
std::vector<int64_t> CampaignSeeds(int64_t first, int count);

// The number, from 0 on, of the replication with this seed; none if the campaign has no such seed.
std::optional<int> ReplicationNumber(int64_t first, int64_t seed, GENERATOR generator);
