#include "tools/seeds.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>

#include "tools/form_parts.h"

static int64_t Power(int64_t base, int64_t exponent)
{
    int64_t power = 1;
    for (; exponent > 0; exponent /= 2) {
        power = exponent % 2 == 1 ? power * base % RAND_MODULUS : power;
        base = base * base % RAND_MODULUS;
    }
    return power;
}

int64_t LongestRun(const SETTINGS &experiment)
{
    constexpr double FILLING = 100;               // draws that fill the shuffle table, and more
    constexpr double DEVIATIONS = 10;             // no number of arrivals is as far from its mean
    constexpr double SHORTEST = DIFS + ACK_TICKS; // no station draws two backoffs within it
    const auto ticks = static_cast<double>(experiment.sim_ticks);
    double weights = 0.0;
    for (int32_t k = 0; k < experiment.flow_num; ++k) {
        weights += experiment.flow_list[k].weight;
    }
    double draws = FILLING;
    for (int32_t i = 0; i < experiment.load_num; ++i) {
        const double mbps = experiment.load_list[i] / KBPS_PER_MBPS;
        const double mean = ticks * weights * mbps / (PacketBytes(experiment) * BITS_PER_BYTE);
        const double arrivals = std::min(ticks, mean + DEVIATIONS * (std::sqrt(mean) + 1));
        draws += experiment.trial_num * (ticks + arrivals + NODE_NUM * ticks / SHORTEST);
    }
    return static_cast<int64_t>(std::min(draws, 9e18));
}

SEED_PLAN PlanSeeds(const SETTINGS &experiment, GENERATOR generator)
{
    constexpr int PUBLISHED_LIMIT = 20;
    if (generator == GENERATOR_MERSENNE) {
        return {};
    }
    if (IsSameExperiment(experiment, {})) {
        return {SEED_STEP, PUBLISHED_LIMIT};
    }
    const int64_t run = LongestRun(experiment);
    const int64_t fitting = (RAND_MODULUS - 1) / run;
    return {run, static_cast<int>(std::min<int64_t>(fitting, REPLICATION_LIMIT))};
}

std::vector<int64_t> CampaignSeeds(int64_t first, int count, int64_t step)
{
    assert(first >= 1);
    assert(first <= LARGEST_SEED);
    std::vector<int64_t> seeds(static_cast<size_t>(count));
    std::generate(seeds.begin(), seeds.end(),
                  [seed = first, factor = Power(RAND_MULTIPLIER, step)]() mutable {
                      const int64_t now = seed;
                      seed = seed * factor % RAND_MODULUS;
                      return now;
                  });
    return seeds;
}

std::optional<int> ReplicationNumber(int64_t first, int64_t seed, const SEED_PLAN &plan)
{
    const std::vector<int64_t> seeds = CampaignSeeds(first, plan.limit, plan.step);
    const auto found = std::find(seeds.begin(), seeds.end(), seed);
    return found == seeds.end() ? std::nullopt
                                : std::optional(static_cast<int>(found - seeds.begin()));
}
