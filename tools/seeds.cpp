#include "tools/seeds.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

static constexpr int64_t Power(int64_t base, int64_t exponent)
{
    int64_t power = 1;
    for (; exponent > 0; exponent /= 2) {
        power = exponent % 2 == 1 ? power * base % RAND_MODULUS : power;
        base = base * base % RAND_MODULUS;
    }
    return power;
}

static constexpr int64_t STEP_FACTOR = Power(RAND_MULTIPLIER, SEED_STEP);

std::vector<int64_t> CampaignSeeds(int64_t first, int count)
{
    assert(first >= 1);
    assert(first <= LARGEST_SEED);
    std::vector<int64_t> seeds(static_cast<size_t>(count));
    std::generate(seeds.begin(), seeds.end(), [seed = first]() mutable {
        const int64_t now = seed;
        seed = seed * STEP_FACTOR % RAND_MODULUS;
        return now;
    });
    return seeds;
}

std::optional<int> ReplicationNumber(int64_t first, int64_t seed, GENERATOR generator)
{
    const std::vector<int64_t> seeds = CampaignSeeds(first, ReplicationLimit(generator));
    const auto found = std::find(seeds.begin(), seeds.end(), seed);
    return found == seeds.end() ? std::nullopt
                                : std::optional(static_cast<int>(found - seeds.begin()));
}
