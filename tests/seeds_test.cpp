// The seeds of a campaign, found again on the generator's cycle.
#include "tools/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"

constexpr int64_t P = 2147483647;
constexpr int64_t CYCLE = P - 1;
constexpr int64_t TRIAL_DRAWS = 1'458'080'000; // from a load to itself in the next trial

// The n with 16807^n = number modulo P, 0 to CYCLE - 1: with n = 46341 g - b, the giant steps
// 16807^(46341 g) meet one of the baby steps number x 16807^b.
static int64_t Logarithm(int64_t number)
{
    constexpr int64_t STRIDE = 46341; // its square is above P
    std::unordered_map<int64_t, int64_t> baby;
    int64_t giant_factor = 1;
    for (int64_t b = 0; b < STRIDE; ++b) {
        baby[number] = b;
        number = number * 16807 % P;
        giant_factor = giant_factor * 16807 % P;
    }
    int64_t giant = 1;
    for (int64_t g = 1; g <= STRIDE; ++g) {
        giant = giant * giant_factor % P;
        if (const auto met = baby.find(giant); met != baby.end()) {
            return (STRIDE * g - met->second) % CYCLE;
        }
    }
    return -1;
}

TEST(Seeds, LogarithmFindsTheStepsTaken)
{
    EXPECT_EQ(Logarithm(1), 0);
    EXPECT_EQ(Logarithm(16807), 1);
    EXPECT_EQ(Logarithm(1043618065), 10000); // the generator's published check value
    EXPECT_EQ(Logarithm(P - 1), CYCLE / 2);
}

// Draws from the end of a load point to the next beginning of the same load, in either trial of
// any of `count` replications; below 0 where they overlap.
static int64_t SmallestGap(int64_t first, int count)
{
    constexpr int64_t LOAD_DRAWS = 41'500'000;     // of a load point, at most
    constexpr int64_t TRIAL_TOLERANCE = 1'000'000; // by which replications differ in that
    std::vector<int64_t> begins;
    for (const int64_t seed : CampaignSeeds(first, count)) {
        const int64_t begin = Logarithm(seed);
        begins.push_back(begin);
        begins.push_back((begin + TRIAL_DRAWS) % CYCLE);
    }
    std::ranges::sort(begins);
    int64_t gap = begins.front() + CYCLE - begins.back();
    for (size_t i = 1; i < begins.size(); ++i) {
        gap = std::min(gap, begins[i] - begins[i - 1]);
    }
    return gap - LOAD_DRAWS - 2 * TRIAL_TOLERANCE;
}

// Why seeds do not simply follow each other: of the trials of seven neighbours four pairs draw from
// one stretch at 8 Mbit/s.
TEST(Seeds, NeighboursMeet)
{
    constexpr int64_t LOAD_DRAWS = 40'270'000; // at 8 Mbit/s
    std::vector<int64_t> begins;
    for (int64_t seed = 1'700'000'002; seed <= 1'700'000'008; ++seed) {
        begins.push_back(Logarithm(seed));
        begins.push_back((begins.back() + TRIAL_DRAWS) % CYCLE);
    }
    int64_t pairs = 0;
    for (const int64_t begin : begins) {
        pairs += std::ranges::count_if(begins, [begin](int64_t other) {
            return other != begin && (other + CYCLE - begin) % CYCLE < LOAD_DRAWS;
        });
    }
    EXPECT_EQ(pairs, 4);
}

// As many as the published generator allows stay apart wherever they begin, and one more does not.
TEST(Seeds, SameLoadsDrawFromDifferentStretches)
{
    const int limit = PlanSeeds({}, GENERATOR_LCG).limit;
    EXPECT_EQ(limit, 20);
    for (const int64_t first : {int64_t{1}, int64_t{1'700'000'000}, LARGEST_SEED}) {
        const std::vector<int64_t> seeds = CampaignSeeds(first, limit);
        EXPECT_EQ(seeds.front(), first);
        for (int i = 0; i < limit; ++i) {
            const int64_t steps = Logarithm(seeds[static_cast<size_t>(i)]) - Logarithm(first);
            EXPECT_EQ((steps + CYCLE) % CYCLE, i * int64_t{785'200'000} % CYCLE);
        }
        EXPECT_GT(SmallestGap(first, limit), 0);
        EXPECT_LT(SmallestGap(first, limit + 1), 0);
    }
}

TEST(Seeds, NumbersAndNoSeedTwice)
{
    const SEED_PLAN lcg = PlanSeeds({}, GENERATOR_LCG);
    const SEED_PLAN mersenne = PlanSeeds({}, GENERATOR_MERSENNE);
    const int limit = mersenne.limit;
    std::vector<int64_t> seeds = CampaignSeeds(7, limit);
    EXPECT_EQ(ReplicationNumber(7, seeds[19], lcg), 19);
    EXPECT_EQ(ReplicationNumber(7, seeds[20], lcg), std::nullopt);
    EXPECT_EQ(ReplicationNumber(7, seeds[20], mersenne), 20);
    EXPECT_EQ(ReplicationNumber(7, seeds.back(), mersenne), limit - 1);
    std::ranges::sort(seeds);
    EXPECT_EQ(std::ranges::adjacent_find(seeds), seeds.end());
}

// Draws that a run of an experiment takes, found on the cycle.
static int64_t DrawsOfRun(const SETTINGS &experiment)
{
    g_settings = experiment;
    SetPacketSize(g_settings.data_length);
    EXPECT_TRUE(AllocateState());
    ResetRandom();
    RandInitUniform();
    const int64_t first = Logarithm(idum);
    for (int32_t trial = 0; trial < g_settings.trial_num; ++trial) {
        for (int32_t i = 0; i < g_settings.load_num; ++i) {
            SetOfferedLoad(g_settings.load_list[i]);
            StartLoadPoint();
            RunTicks(g_settings.sim_ticks);
        }
    }
    const int64_t draws = (Logarithm(idum) + CYCLE - first) % CYCLE;
    FreeState();
    g_settings = {};
    return draws;
}

// Seeds of other experiments stand as far apart as no run reaches, but not much farther.
TEST(Seeds, RunsOfOtherExperimentsFitBetween)
{
    SETTINGS experiment;
    experiment.seed = 3;
    experiment.trial_num = 2;
    experiment.sim_ticks = 1'000'000;
    experiment.load_num = 3;
    experiment.load_list[0] = 0;
    experiment.load_list[1] = 20'000;
    experiment.load_list[2] = 10'000'000; // a packet in every tick
    for (const int32_t bytes : {20, 1472}) {
        experiment.data_length = bytes;
        const int64_t draws = DrawsOfRun(experiment);
        const int64_t longest = LongestRun(experiment);
        EXPECT_GE(draws, 6'000'000);
        EXPECT_LE(draws, longest);
        EXPECT_GT(draws, longest * 3 / 4);
        const SEED_PLAN plan = PlanSeeds(experiment, GENERATOR_LCG);
        EXPECT_EQ(plan.step, longest);
        EXPECT_LE(plan.limit * plan.step, CYCLE);
        EXPECT_GT((plan.limit + 1) * plan.step, CYCLE);
        const std::vector<int64_t> seeds = CampaignSeeds(5, 2, plan.step);
        EXPECT_EQ((Logarithm(seeds[1]) + CYCLE - Logarithm(seeds[0])) % CYCLE, longest);
    }
    experiment = {};
    experiment.load_list[0] = 500; // as long as the published one: no room for two
    EXPECT_EQ(PlanSeeds(experiment, GENERATOR_LCG).limit, 0);
    EXPECT_EQ(PlanSeeds(experiment, GENERATOR_MERSENNE).limit, REPLICATION_LIMIT);
}
