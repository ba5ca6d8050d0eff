#include "topology/random.h"

#include <cmath>
#include <ctime>

#include "driver/settings.h"
#ifdef DCFSIM_FAST_FORWARD
#include "fastforward/stream.h"
#endif

constexpr int FILL_STEPS = 40; // the first 8 only warm the generator up, the others fill the table

static int64_t WallClock()
{
    return static_cast<int64_t>(time(nullptr));
}

int64_t idum = 0;
SHUFFLE g_shuffle = {};
MERSENNE g_mersenne = {};
int64_t (*g_clock)() = WallClock;

static int32_t iset = 0;  // 1 while a second normal deviate is cached
static double gset = 0.0; // the cached standard normal deviate

// The lowest 64-bit integer stays as it is instead of overflowing.
static int64_t Negate(int64_t value)
{
    return static_cast<int64_t>(-static_cast<uint64_t>(value));
}

// state * RAND_MULTIPLIER modulo RAND_MODULUS in steps that cannot overflow for any 64-bit state.
// A state out of 1..RAND_MODULUS-1 may stay out of it for a few steps and may come out negative.
static int64_t Step(int64_t state)
{
    const int64_t k = state / RAND_QUOTIENT;
    const int64_t next = RAND_MULTIPLIER * (state - k * RAND_QUOTIENT) - RAND_REMAINDER * k;
    return next < 0 ? next + RAND_MODULUS : next;
}

static void FillTable(int64_t *state)
{
    *state = Negate(*state);
    if (*state <= 0) {
        *state = 1;
    }
    for (int j = FILL_STEPS - 1; j >= 0; --j) {
        *state = Step(*state);
        if (j < RAND_TABLE_NUM) {
            g_shuffle.iv[j] = *state;
        }
    }
    g_shuffle.iy = g_shuffle.iv[0];
}

double RandUniformBasic(int64_t *state)
{
    if (*state <= 0 || g_shuffle.iy == 0) {
        FillTable(state);
    }
    *state = Step(*state);
    // A clock beyond 2^31 may leave a negative entry in the table. The state is then negative too
    // and the next draw fills the table afresh, so the index is folded only for callers who switch
    // to another state in between.
    const int64_t j = (g_shuffle.iy / RAND_DIVISOR) & (RAND_TABLE_NUM - 1);
    g_shuffle.iy = g_shuffle.iv[j];
    g_shuffle.iv[j] = *state;
    return RawToUniform(g_shuffle.iy);
}

double RandUniformSingle()
{
    if (g_settings.generator == GENERATOR_MERSENNE) {
        ++g_mersenne.drawn;
        return RawToUniform(static_cast<int64_t>(g_mersenne.engine() >> MERSENNE_SHIFT));
    }
    return RandUniformBasic(&idum);
}

// Every replication number makes a stream of its own from the same seed.
static void SeedMersenne(int64_t seed, int32_t replication)
{
    constexpr int WORD_BITS = 32;
    const auto bits = static_cast<uint64_t>(seed);
    std::seed_seq words{static_cast<uint32_t>(bits), static_cast<uint32_t>(bits >> WORD_BITS),
                        static_cast<uint32_t>(replication)};
    g_mersenne.engine.seed(words);
    g_mersenne.drawn = 0;
}

void RandInitUniform()
{
    const auto seed = [] {
        return g_settings.seed != SEED_FROM_CLOCK ? g_settings.seed : g_clock();
    };
    if (g_settings.generator == GENERATOR_MERSENNE) {
        SeedMersenne(seed(), g_settings.replication);
        return;
    }
    idum = Negate(seed());
    RandUniformBasic(&idum);
    // Kept: the raw clock value replaces the warmed-up state, so the numbers that enter the table
    // from here on follow the clock itself. Every result depends on it.
    idum = seed();
}

double RandUniform(double a, double b)
{
    const double width = b - a;
#ifdef DCFSIM_FAST_FORWARD
    const double draw = g_stream.on ? StreamDraw() : RandUniformSingle();
#else
    const double draw = RandUniformSingle();
#endif
    return draw * width + a;
}

double RandExpo(double rate)
{
    double x = 0.0;
    do {
        x = RandUniform(0.0, 1.0);
    } while (x == 0.0);
    return std::log(x) * (-(1.0 / rate));
}

double RandNorm(double mean, double deviation)
{
    if (iset != 0) {
        iset = 0;
        return gset * deviation + mean;
    }
    double p = 0.0;
    double q = 0.0;
    double r = 0.0;
    do {
        p = 2.0 * RandUniform(0.0, 1.0) - 1.0;
        q = 2.0 * RandUniform(0.0, 1.0) - 1.0;
        r = p * p + q * q;
    } while (r >= 1.0 || r == 0.0);
    const double f = std::sqrt(-2.0 * std::log(r) / r);
    gset = p * f;
    iset = 1;
    return q * f * deviation + mean;
}

void ResetRandom()
{
    idum = 0;
    g_shuffle = {};
    g_mersenne = {};
    iset = 0;
    gset = 0.0;
}
