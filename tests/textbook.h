// A second, independent version of the random generator, for plain draws and blocks to be compared
// with, and the clocks that both are seeded from.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>

#include "driver/settings.h"
#include "topology/random.h"

inline constexpr int64_t P = 2147483647;
inline constexpr int64_t HUGE_CLOCK = int64_t{1} << 62;
inline constexpr int64_t LOWEST = std::numeric_limits<int64_t>::min();
inline constexpr int64_t HIGHEST = std::numeric_limits<int64_t>::max();

// Clock values of both readings of a seeding: ordinary ones, then those for which the table is
// filled again, holds a 0 or meets states out of 1..P-1.
inline constexpr int64_t CLOCKS[][2] = {
    {1700000000, 1700000000},
    {1700000000, 1700000001},
    {1, 1},
    {0, 0},
    {0, 1},
    {-1000, -1000},
    {P - 1, P},
    {P, P},
    {P, P + 1},
    {2 * P, 2 * P},
    {3000000000, 3000000000},
    {HUGE_CLOCK, HUGE_CLOCK},
    {HUGE_CLOCK, 5},
    {P * P, P *P},
    {HIGHEST, HIGHEST},
    {LOWEST, LOWEST},
};

// Draws of the test "factor > u" that fail, at most count.
template <class GENERATOR_TYPE>
uint64_t SkipFailingOf(GENERATOR_TYPE &generator, double factor, uint64_t count)
{
    for (uint64_t i = 0; i < count; ++i) {
        const GENERATOR_TYPE before = generator;
        if (factor > generator.Draw()) {
            generator = before;
            return i;
        }
    }
    return count;
}

// One step in 128 bits: the state times 16807, less whole multiples of P as in the plain one.
struct TEXTBOOK {
    int64_t state = 0;
    int64_t iy = 0;
    int64_t iv[32] = {};

    void Advance()
    {
        const __int128 next =
            static_cast<__int128>(state) * 16807 - static_cast<__int128>(state / 127773) * P;
        state = static_cast<int64_t>(next < 0 ? next + P : next);
    }

    double Draw()
    {
        if (state <= 0 || iy == 0) {
            state = state < 0 && state != LOWEST ? -state : 1;
            for (int j = 39; j >= 0; --j) {
                Advance();
                iv[j % 32] = state; // the eight first ones are overwritten
            }
            iy = iv[0];
        }
        Advance();
        EXPECT_GE(iy, 0);
        EXPECT_LT(iy, P);
        int64_t &slot = iv[static_cast<uint64_t>(iy) >> 26 & 31];
        iy = slot;
        slot = state;
        return std::min(static_cast<double>(iy) * 4.656612875245797e-10, 0.99999988);
    }

    void Seed(const int64_t (&clock)[2])
    {
        *this = {};
        state = clock[0] == LOWEST ? LOWEST : -clock[0];
        Draw();
        state = clock[1];
    }
};

// The standard library's engine, and the place of the next draw in its numbers.
struct TWISTER {
    std::mt19937_64 engine;

    explicit TWISTER(std::seed_seq words) : engine(words)
    {
    }

    double Draw()
    {
        return std::min(static_cast<double>(engine() >> 33) * 4.656612875245797e-10, 0.99999988);
    }
};

inline int64_t g_reading[2]; // what the fixed clock shows, in turns
inline int g_reading_num;

inline int64_t FixedClock()
{
    return g_reading[g_reading_num++ % 2];
}

// Forgets the generator and the seed that another test has set.
inline void ResetGenerator()
{
    g_settings = {};
    ResetRandom();
}

// Fixes the clock and seeds the model and its reference by it.
inline void SeedBoth(const int64_t (&clock)[2], TEXTBOOK &reference)
{
    std::copy(std::begin(clock), std::end(clock), g_reading);
    g_reading_num = 0;
    g_clock = FixedClock;
    ResetGenerator();
    RandInitUniform();
    EXPECT_EQ(g_reading_num, 2);
    reference.Seed(clock);
}

// Seeds the model's Mersenne Twister from the settings; ResetGenerator puts them back.
inline void SeedMersenne(int64_t seed, int32_t replication)
{
    g_settings.generator = GENERATOR_MERSENNE;
    g_settings.seed = seed;
    g_settings.replication = replication;
    RandInitUniform();
}

inline void ExpectSameState(const TWISTER &reference)
{
    ASSERT_TRUE(g_mersenne.engine == reference.engine);
}

inline void ExpectSameState(const TEXTBOOK &reference)
{
    ASSERT_EQ(idum, reference.state);
    ASSERT_EQ(g_shuffle.iy, reference.iy);
    ASSERT_TRUE(std::equal(std::begin(reference.iv), std::end(reference.iv), g_shuffle.iv));
}
