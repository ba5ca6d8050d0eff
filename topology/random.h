// The one random stream of the simulator, drawn one number at a time.
//
// In the published generator a multiplicative congruential generator feeds a shuffle table of 32
// entries; every draw takes the entry that the previous output points at and puts the new state in
// its place. Fast runs make the same numbers in blocks; RandUniform returns the same sequence.
//
// The settings may name a Mersenne Twister instead. The upper 31 bits of its numbers then stand for
// what the shuffle table gives out, and all else stays: tests, scaling, blocks.
#pragma once

#include <cstdint>
#include <random>

constexpr int64_t RAND_MULTIPLIER = 16807;
constexpr int64_t RAND_MODULUS = 2147483647;         // 2^31 - 1, prime
constexpr int64_t RAND_QUOTIENT = 127773;            // RAND_MODULUS / RAND_MULTIPLIER
constexpr int64_t RAND_REMAINDER = 2836;             // RAND_MODULUS % RAND_MULTIPLIER
constexpr int RAND_TABLE_NUM = 32;                   // entries of the shuffle table
constexpr int64_t RAND_DIVISOR = 67108864;           // 1 + (RAND_MODULUS - 1) / RAND_TABLE_NUM
constexpr double RAND_SCALE = 4.656612875245797e-10; // 1 / RAND_MODULUS
constexpr double RAND_LARGEST = 0.99999988;          // 1 - 1.2e-7, the largest basic draw
constexpr int MERSENNE_SHIFT = 33;                   // bits of a number below the upper 31

static_assert(RAND_MULTIPLIER * RAND_QUOTIENT + RAND_REMAINDER == RAND_MODULUS);
static_assert(1 + (RAND_MODULUS - 1) / RAND_TABLE_NUM == RAND_DIVISOR);

// The shuffle stage of the generator. Lifetime: program.
struct SHUFFLE {
    int64_t iy;                 // last output, 0 if the table was never filled
    int64_t iv[RAND_TABLE_NUM]; // values waiting to be drawn
};

// State of the generator. Zero or below: fill the table afresh from the magnitude of this value.
extern int64_t idum;

// Belongs to RandUniformBasic. Fast runs alone advance it in its place; between runs it stands
// where single draws would have left it.
extern SHUFFLE g_shuffle;

// The Mersenne Twister. Lifetime: program.
struct MERSENNE {
    std::mt19937_64 engine;
    uint64_t drawn; // numbers taken since it was seeded
};

// Belongs to RandUniformSingle; the same holds as for the shuffle stage.
extern MERSENNE g_mersenne;

// Seconds since the epoch. The only way by which the wall clock reaches the model, so that a test
// or a repeated run can fix it.
extern int64_t (*g_clock)();

// Scales a raw output, 0 to RAND_MODULUS, to a basic draw, at most RAND_LARGEST.
inline double RawToUniform(int64_t raw)
{
    const double scaled = static_cast<double>(raw) * RAND_SCALE;
    return scaled > RAND_LARGEST ? RAND_LARGEST : scaled;
}

// Makes one basic draw of the published generator, above 0 and at most RAND_LARGEST, one by one and
// never from a block. Only the draw that fills the table from a multiple of RAND_MODULUS is 0.
double RandUniformBasic(int64_t *state);

// Makes the next basic draw of the generator that the settings name, never from a block. The
// Mersenne Twister may give 0.
double RandUniformSingle();

// Seeds the stream from the settings or, where they have no seed, the clock.
void RandInitUniform();

// Next number of the stream, scaled to a + (b - a) * draw.
double RandUniform(double a, double b);

// Exponentially distributed number with mean 1 / rate.
double RandExpo(double rate);

// Normally distributed number. Every second call returns the deviate its predecessor has cached,
// scaled by the arguments of the returning call, and draws nothing.
double RandNorm(double mean, double deviation);

// Puts both generators and normal deviate back to program start; the clock stays.
void ResetRandom();
