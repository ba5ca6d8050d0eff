// The plain generator against a second, independent version of it, and the block stream against
// that one draw by draw.

#include "topology/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>

#include "fastforward/stream.h"

static constexpr int64_t P = 2147483647;
static constexpr int64_t HUGE_CLOCK = int64_t{1} << 62;
static constexpr int64_t LOWEST = std::numeric_limits<int64_t>::min();
static constexpr int64_t HIGHEST = std::numeric_limits<int64_t>::max();

// Clock values of both readings of a seeding: ordinary ones, then those for which the table is
// filled again, holds a 0 or meets states out of 1..P-1.
static constexpr int64_t CLOCKS[][2] = {
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

    // Draws of the test "factor > u" that fail, at most count.
    uint64_t SkipFailing(double factor, uint64_t count)
    {
        for (uint64_t i = 0; i < count; ++i) {
            const TEXTBOOK before = *this;
            if (factor > Draw()) {
                *this = before;
                return i;
            }
        }
        return count;
    }
};

static int64_t g_reading[2]; // what the fixed clock shows, in turns
static int g_reading_num;

static int64_t FixedClock()
{
    return g_reading[g_reading_num++ % 2];
}

static void SeedBoth(const int64_t (&clock)[2], TEXTBOOK &reference)
{
    std::copy(std::begin(clock), std::end(clock), g_reading);
    g_reading_num = 0;
    g_clock = FixedClock;
    StreamReset();
    ResetRandom();
    RandInitUniform();
    EXPECT_EQ(g_reading_num, 2);
    reference.Seed(clock);
}

static void ExpectSameState(const TEXTBOOK &reference)
{
    ASSERT_EQ(idum, reference.state);
    ASSERT_EQ(g_shuffle.iy, reference.iy);
    ASSERT_TRUE(std::equal(std::begin(reference.iv), std::end(reference.iv), g_shuffle.iv));
}

TEST(Random, PlainDrawsFollowTheTextbookForEveryClock)
{
    for (const auto &clock : CLOCKS) {
        SCOPED_TRACE(testing::Message() << clock[0] << " " << clock[1]);
        TEXTBOOK reference;
        SeedBoth(clock, reference);
        EXPECT_EQ(idum, clock[1]);
        for (int i = 0; i < 1000; ++i) {
            const double u = RandUniform(0.0, 1.0);
            ASSERT_EQ(u, reference.Draw());
            ASSERT_GT(u, 0.0);
            ASSERT_LE(u, 0.99999988);
        }
        ExpectSameState(reference);
    }
}

TEST(Random, StateAfterTenThousandSteps)
{
    // The check value published for this multiplier: 16807^10000 modulo 2^31 - 1. A state of 0
    // starts from 1, and the fill takes 40 of the steps.
    ResetRandom();
    int64_t state = 0;
    for (int i = 40; i < 10000; ++i) {
        RandUniformBasic(&state);
    }
    EXPECT_EQ(state, 1043618065);
}

TEST(Random, DistributionsAndReset)
{
    TEXTBOOK reference;
    SeedBoth({1700000000, 1700000000}, reference);
    EXPECT_EQ(RandUniform(0.3, 0.3), 0.3);
    reference.Draw();
    EXPECT_EQ(RandUniform(-3.0, 5.5), reference.Draw() * 8.5 + -3.0);
    EXPECT_EQ(RandExpo(4.0), std::log(reference.Draw()) * -0.25);
    for (int pair = 0; pair < 3; ++pair) { // normal deviates come in pairs
        double p = 0.0;
        double q = 0.0;
        do {
            p = 2.0 * reference.Draw() - 1.0;
            q = 2.0 * reference.Draw() - 1.0;
        } while (p * p + q * q >= 1.0);
        const double r = p * p + q * q;
        const double f = std::sqrt(-2.0 * std::log(r) / r);
        EXPECT_EQ(RandNorm(10.0, 2.0), q * f * 2.0 + 10.0);
        EXPECT_EQ(RandNorm(-1.0, 3.0), p * f * 3.0 + -1.0); // cached, scaled by this call
        ExpectSameState(reference);
    }
    // A reset forgets a cached deviate and a block: the next deviate is drawn, and one by one.
    RandNorm(0.0, 1.0);
    StreamStart();
    RandUniform(0.0, 1.0);
    SeedBoth({1700000000, 1700000000}, reference);
    RandNorm(0.0, 1.0);
    EXPECT_NE(idum, reference.state);
}

// A factor for the test: fixed ones, and ones that a draw soon to come just misses or just passes.
static double PickFactor(uint64_t choice, TEXTBOOK reference)
{
    static constexpr double FACTORS[] = {0.0,        1e-9, 0.0145, 0.0145, 0.5,
                                         0.99999988, 1.0,  2.0,    -1.0,   NAN};
    if (choice % 16 < std::size(FACTORS)) {
        return FACTORS[choice % 16];
    }
    double u = 0.0;
    for (uint64_t i = 0; i <= choice / 16 % 40; ++i) {
        u = reference.Draw();
    }
    return choice % 2 == 0 ? u : std::nextafter(u, 2.0);
}

static void InterleaveAtRandom(TEXTBOOK &reference, uint64_t seed)
{
    std::mt19937_64 pick(seed);
    double factor = 0.0;
    for (int i = 0; i < 2500; ++i) {
        const uint64_t kind = pick() % 64;
        const uint64_t choice = pick();
        if (kind < 2) {
            StreamStop();
            ExpectSameState(reference);
            if (choice % 4 != 0) { // otherwise go on one by one for a while
                StreamStart(choice % 8 < 4 ? 64 : STREAM_BLOCK);
            }
        } else if (kind < 5) {
            factor = PickFactor(choice, reference);
            StreamSetTest(factor);
        } else if (kind < 35) {
            ASSERT_EQ(RandUniform(0.5, 5.5), reference.Draw() * 5.0 + 0.5) << i;
        } else {
            const uint64_t count = choice / 16 >> (64 - 4 - choice % 11); // below 2^0 .. 2^10
            ASSERT_EQ(StreamSkipFailing(count), reference.SkipFailing(factor, count)) << i;
        }
    }
    StreamStop();
    ExpectSameState(reference);
}

TEST(Stream, FollowsTheTextbookUnderAnyInterleaving)
{
    for (const bool portable_flag : {false, true}) {
        StreamUsePortable(portable_flag);
        for (const auto &clock : CLOCKS) {
            SCOPED_TRACE(testing::Message() << portable_flag << " " << clock[0] << " " << clock[1]);
            TEXTBOOK reference;
            SeedBoth(clock, reference);
            if (clock[1] == 1700000001) { // as no seed does: filled again once this one is drawn
                g_shuffle.iv[7] = 0;
                reference.iv[7] = 0;
            }
            StreamStart(64);
            InterleaveAtRandom(reference, static_cast<uint64_t>(clock[1]));
        }
    }
    StreamUsePortable(false);
}

TEST(Stream, SkipsAcrossManyBlocks)
{
    // With an all-failing test the state after n draws is the clock times 16807^n modulo P.
    constexpr uint64_t COUNT = 3000001;
    TEXTBOOK reference;
    SeedBoth({1700000000, 1700000000}, reference);
    StreamSetTest(0.0);
    StreamStart();
    EXPECT_EQ(StreamSkipFailing(COUNT), COUNT);
    StreamStop();
    int64_t expected = 1700000000;
    int64_t power = 16807;
    for (uint64_t n = COUNT; n > 0; n /= 2) {
        expected = n % 2 == 1 ? expected * power % P : expected;
        power = power * power % P;
    }
    EXPECT_EQ(idum, expected);
}
