// How a block is made. The congruential generator can be jumped ahead, so that STREAM_LANES
// numbers x are made side by side. The shuffle cannot: each output tells which slot of the table
// the next draw takes. Only that chain is run draw by draw, on one byte per slot that holds what
// the chain needs to know of the value there: the slot it leads to and whether it passes the test.
//
//     draw i:   byte[i + 1] = table[slot of byte[i]]       the output of draw i, as a byte
//               table[slot of byte[i]] = byte of x[i]
//
// The value of an output is looked up only if somebody wants it: it is the x last written to its
// slot, which is found by searching the bytes backwards. To let that search end, the block is
// preceded by one write to each slot, the table as it was.
//
// Numbers of the Mersenne Twister need no table. In their blocks every byte leads to the same slot,
// so that the search finds the x next to it, and all that reads a block is the same for both.

#include "fastforward/block.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "topology/random.h"

#if defined(__x86_64__) && defined(__GNUC__)
#define STREAM_X86 1
#include <immintrin.h>
#else
#define STREAM_X86 0
#endif

constexpr uint8_t SLOT_MASK = RAND_TABLE_NUM - 1; // byte of a value: the slot it leads to
constexpr uint8_t PASS_FLAG = RAND_TABLE_NUM;     // byte of a value: set if it passes the test
constexpr int RAW_BITS = 31;                      // bits of a raw value
constexpr int SLOT_SHIFT = 26;                    // bits of a raw value below its slot
constexpr uint32_t MODULUS = static_cast<uint32_t>(RAND_MODULUS);

static_assert(RAND_DIVISOR == int64_t{1} << SLOT_SHIFT);
static_assert(RAND_MODULUS == (int64_t{1} << RAW_BITS) - 1);
static_assert(SEARCH_WIDTH >= RAND_TABLE_NUM);

// What the draws of a block follow from.
struct SEED {
    uint32_t lane[STREAM_LANES];   // the first numbers to enter the table
    uint8_t table[RAND_TABLE_NUM]; // byte of the value in each slot
};

// Takes numbers from the Mersenne Twister as raw values.
using TAKE = void (*)(std::mt19937_64 &engine, size_t size, uint32_t *x);

// Makes the draws of a block.
using MAKE = void (*)(const SEED &seed, size_t size, uint32_t threshold, BLOCK &block);

// How blocks are made, nullptr until the first one. A call that names its target is not enough:
// an optimizer that sees which block is meant may take the call for one without effect and drop it.
static MAKE g_make = nullptr;
static TAKE g_take = nullptr;

// a * b modulo MODULUS for factors below it. What is above bit 31 counts once more from bit 0 on,
// as 2^31 is 1 modulo 2^31 - 1.
static constexpr uint32_t MulMod(uint64_t a, uint64_t b)
{
    const uint64_t product = a * b;
    const uint32_t sum =
        static_cast<uint32_t>(product & MODULUS) + static_cast<uint32_t>(product >> RAW_BITS);
    return std::min(sum, sum - MODULUS); // wraps to a huge number if there is nothing to take off
}

static constexpr uint32_t JumpMultiplier()
{
    uint32_t power = 1;
    for (size_t i = 0; i < STREAM_LANES; ++i) {
        power = MulMod(power, RAND_MULTIPLIER);
    }
    return power;
}

constexpr uint32_t JUMP = JumpMultiplier(); // takes a number STREAM_LANES steps ahead

static uint8_t ByteOf(uint32_t raw, uint32_t threshold)
{
    return static_cast<uint8_t>((raw >> SLOT_SHIFT) | (raw < threshold ? PASS_FLAG : 0u));
}

static void MakePortable(const SEED &seed, size_t size, uint32_t threshold, BLOCK &block)
{
    SEED local = seed;
    // Twice the table, for bytes without and with the flag: masking the flag off would lengthen
    // the way from one draw to the next, writing a second byte does not.
    uint8_t table[2 * RAND_TABLE_NUM];
    memcpy(table, seed.table, sizeof(seed.table));
    memcpy(table + RAND_TABLE_NUM, seed.table, sizeof(seed.table));
    size_t slot = block.byte[HEAD];
    for (size_t begin = HEAD; begin < HEAD + size; begin += STREAM_LANES) {
#pragma GCC unroll 16
        for (size_t i = 0; i < STREAM_LANES; ++i) {
            const uint32_t x = local.lane[i];
            const uint8_t byte = ByteOf(x, threshold);
            const uint8_t out = table[slot];
            table[slot] = byte;
            table[slot ^ PASS_FLAG] = byte;
            slot = out;
            block.byte[begin + i + 1] = out;
            block.x[begin + i] = x;
            local.lane[i] = MulMod(x, JUMP);
        }
    }
}

static void TakePortable(std::mt19937_64 &engine, size_t size, uint32_t *x)
{
    for (size_t i = 0; i < size; ++i) {
        x[i] = static_cast<uint32_t>(engine() >> MERSENNE_SHIFT);
    }
}

#if STREAM_X86

// The library's engine itself is compiled for these instructions, which makes it four times as
// fast.
__attribute__((target("avx2"), flatten)) static void TakeVector(std::mt19937_64 &engine,
                                                                size_t size, uint32_t *x)
{
    for (size_t i = 0; i < size; ++i) {
        x[i] = static_cast<uint32_t>(engine() >> MERSENNE_SHIFT);
    }
}

#define STREAM_TARGET __attribute__((target("avx2,avx512vl,avx512bw,avx512vbmi")))

constexpr uint32_t ALL_BYTES = 0xFFFFFFFF; // of a 32-byte register

// MulMod by JUMP for eight numbers.
STREAM_TARGET static inline __m256i Jump8(__m256i x)
{
    const __m256i jump = _mm256_set1_epi64x(JUMP);
    const __m256i low = _mm256_set1_epi64x(MODULUS);
    const __m256i even = _mm256_mul_epu32(x, jump);
    const __m256i odd = _mm256_mul_epu32(_mm256_srli_epi64(x, 32), jump);
    const __m256i even_sum =
        _mm256_add_epi64(_mm256_and_si256(even, low), _mm256_srli_epi64(even, RAW_BITS));
    const __m256i odd_sum =
        _mm256_add_epi64(_mm256_and_si256(odd, low), _mm256_srli_epi64(odd, RAW_BITS));
    const __m256i sum = _mm256_blend_epi32(even_sum, _mm256_slli_epi64(odd_sum, 32), 0xAA);
    return _mm256_min_epu32(sum, _mm256_sub_epi32(sum, _mm256_set1_epi32(MODULUS)));
}

// ByteOf for eight numbers, each byte repeated four times.
STREAM_TARGET static inline __m256i Bytes8(__m256i x, __m256i threshold)
{
    const __m256i repeat = _mm256_setr_epi32(0, 0x04040404, 0x08080808, 0x0C0C0C0C, 0, 0x04040404,
                                             0x08080808, 0x0C0C0C0C);
    const __m256i flag =
        _mm256_and_si256(_mm256_cmpgt_epi32(threshold, x), _mm256_set1_epi32(PASS_FLAG));
    return _mm256_shuffle_epi8(_mm256_or_si256(_mm256_srli_epi32(x, SLOT_SHIFT), flag), repeat);
}

// The table lives in one register, and the current byte in all 32 bytes of another: one permutation
// is then a table look-up whose result is the next index, in fewer cycles than a load from memory.
STREAM_TARGET static void MakeVector(const SEED &seed, size_t size, uint32_t threshold,
                                     BLOCK &block)
{
    alignas(32) uint8_t number[RAND_TABLE_NUM];
    for (int k = 0; k < RAND_TABLE_NUM; ++k) {
        number[k] = static_cast<uint8_t>(k);
    }
    const __m256i slots = _mm256_load_si256(reinterpret_cast<const __m256i *>(number));
    const __m256i slot_mask = _mm256_set1_epi8(SLOT_MASK);
    const __m256i limit = _mm256_set1_epi32(static_cast<int32_t>(threshold));
    __m256i table = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(seed.table));
    __m256i current = _mm256_set1_epi8(static_cast<char>(block.byte[HEAD]));
    __m256i x0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(seed.lane));
    __m256i x1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(seed.lane + 8));
    alignas(32) int32_t entering[STREAM_LANES];
    for (size_t begin = HEAD; begin < HEAD + size; begin += STREAM_LANES) {
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(block.x + begin), x0);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(block.x + begin + 8), x1);
        _mm256_store_si256(reinterpret_cast<__m256i *>(entering), Bytes8(x0, limit));
        _mm256_store_si256(reinterpret_cast<__m256i *>(entering + 8), Bytes8(x1, limit));
        x0 = Jump8(x0);
        x1 = Jump8(x1);
#pragma GCC unroll 16
        for (size_t i = 0; i < STREAM_LANES; ++i) {
            const __m256i here = _mm256_cmpeq_epi8(_mm256_and_si256(current, slot_mask), slots);
            // Looks at the slot bits only. The form with a mask, here of all bytes, because some
            // compilers warn about the plain one.
            current = _mm256_maskz_permutexvar_epi8(ALL_BYTES, current, table);
            // "here ? entering : table" for each slot
            table = _mm256_ternarylogic_epi64(here, _mm256_set1_epi32(entering[i]), table, 0xCA);
            // Four bytes are cheaper to store than one; the next draws overwrite the other three.
            const int32_t out = _mm_cvtsi128_si32(_mm256_castsi256_si128(current));
            memcpy(block.byte + begin + i + 1, &out, sizeof(out));
        }
    }
}

#endif

static MAKE BestMake()
{
#if STREAM_X86
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi")) {
        return MakeVector;
    }
#endif
    return MakePortable;
}

static TAKE BestTake()
{
#if STREAM_X86
    if (__builtin_cpu_supports("avx2")) {
        return TakeVector;
    }
#endif
    return TakePortable;
}

uint64_t MatchPortable(const uint8_t *p, uint8_t mask, uint8_t value)
{
    constexpr uint64_t ONES = 0x0101010101010101;
    constexpr uint64_t TO_SIGN = 0x7f * ONES;       // sets the highest bit of all bytes but 0
    constexpr uint64_t GATHER = 0x0102040810204080; // puts bit 0 of byte i at bit 56 + i
    uint64_t match = 0;
    for (size_t i = 0; i < SEARCH_WIDTH; i += sizeof(uint64_t)) {
        uint64_t bytes = 0;
        for (size_t k = 0; k < sizeof bytes; ++k) { // one load where the lowest byte comes first
            bytes |= uint64_t{p[i + k]} << 8 * k;
        }
        const uint64_t differing = (bytes ^ value * ONES) & mask * ONES;
        const uint64_t equal = ~(differing + TO_SIGN) >> 7 & ONES;
        match |= (equal * GATHER >> 56) << i;
    }
    return match;
}

// The same by what the machine does best.
static uint64_t MatchBytes(const uint8_t *p, uint8_t mask, uint8_t value)
{
#if STREAM_X86
    uint64_t match = 0;
    const __m128i masks = _mm_set1_epi8(static_cast<char>(mask));
    const __m128i values = _mm_and_si128(_mm_set1_epi8(static_cast<char>(value)), masks);
#pragma GCC unroll 4
    for (size_t i = 0; i < SEARCH_WIDTH; i += sizeof(__m128i)) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i));
        const __m128i equal = _mm_cmpeq_epi8(_mm_and_si128(bytes, masks), values);
        match |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(equal))) << i;
    }
    return match;
#else
    return MatchPortable(p, mask, value);
#endif
}

// The value just before a draw of the block in the slot that a byte leads to.
static uint32_t SlotValue(const BLOCK &block, uint8_t byte, size_t draw)
{
    size_t after = HEAD + draw;
    for (;;) {
        const uint64_t match = MatchBytes(block.byte + after - SEARCH_WIDTH, SLOT_MASK, byte);
        if (match != 0) {
            return block.x[after - 1 - static_cast<size_t>(std::countl_zero(match))];
        }
        after -= SEARCH_WIDTH;
    }
}

uint32_t DrawValue(const BLOCK &block, size_t draw)
{
    return SlotValue(block, block.byte[HEAD + draw], draw);
}

size_t FindPassing(const BLOCK &block, size_t draw, size_t end)
{
    for (; draw < end; draw += SEARCH_WIDTH) {
        const uint64_t match = MatchBytes(block.byte + HEAD + draw + 1, PASS_FLAG, PASS_FLAG);
        if (match != 0) {
            draw += static_cast<size_t>(std::countr_zero(match));
            break;
        }
    }
    return std::min(draw, end);
}

GENERATOR_STATE StateAfter(const BLOCK &block, size_t consumed)
{
    GENERATOR_STATE state;
    state.x = block.x[HEAD + consumed - 1];
    state.iy = DrawValue(block, consumed - 1);
    for (int k = 0; k < RAND_TABLE_NUM; ++k) {
        state.iv[k] = SlotValue(block, static_cast<uint8_t>(k), consumed);
    }
    return state;
}

void MakeBlock(const GENERATOR_STATE &state, const BLOCK_PLAN &plan, BLOCK &block)
{
    SEED seed;
    uint32_t x = state.x;
    for (uint32_t &lane : seed.lane) {
        x = MulMod(x, RAND_MULTIPLIER);
        lane = x;
    }
    // No raw value is the modulus. The vector instructions compare as signed numbers.
    const uint32_t threshold = std::min(plan.threshold, MODULUS);
    for (int k = 0; k < RAND_TABLE_NUM; ++k) {
        const size_t before = HEAD - RAND_TABLE_NUM + static_cast<size_t>(k);
        seed.table[k] = ByteOf(state.iv[k], threshold);
        block.x[before] = state.iv[k];
        block.byte[before] = static_cast<uint8_t>(k);
    }
    block.byte[HEAD] = ByteOf(state.iy, 0);
    if (g_make == nullptr) {
        g_make = BestMake();
    }
    g_make(seed, plan.size, threshold, block);
    block.behind = StateAfter(block, plan.size);
}

void MakeMersenneBlock(std::mt19937_64 &engine, const BLOCK_PLAN &plan, BLOCK &block)
{
    uint32_t *const x = block.x + HEAD - 1; // where the search for the first draw begins
    uint8_t *const byte = block.byte + HEAD + 1;
    if (g_take == nullptr) {
        g_take = BestTake();
    }
    g_take(engine, plan.size, x);
    for (size_t i = 0; i < plan.size; ++i) {
        byte[i] = x[i] < plan.threshold ? PASS_FLAG : 0;
    }
    block.byte[HEAD - 1] = 0;
    block.byte[HEAD] = 0;
}

void StreamUsePortable(bool flag)
{
    g_make = flag ? MakePortable : BestMake();
    g_take = flag ? TakePortable : BestTake();
}
