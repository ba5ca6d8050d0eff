#include "fastforward/stream.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <random>

#include "driver/settings.h"
#include "fastforward/block.h"
#include "topology/random.h"

STREAM g_stream = {};
size_t g_stream_block = STREAM_BLOCK;

static BLOCK g_block;
static std::mt19937_64 g_behind; // the Mersenne Twister as it stands behind the block
static BLOCK_PLAN g_plan = {STREAM_BLOCK, 0};
static double g_factor = 0.0; // of the test

static bool IsMersenne()
{
    return g_settings.generator == GENERATOR_MERSENNE;
}

static GENERATOR_STATE StateNow()
{
    GENERATOR_STATE state;
    state.x = static_cast<uint32_t>(idum);
    state.iy = static_cast<uint32_t>(g_shuffle.iy);
    std::copy(std::begin(g_shuffle.iv), std::end(g_shuffle.iv), std::begin(state.iv));
    return state;
}

// Moves the generator on by what has been consumed of the block and drops the rest.
static void LeaveBlock()
{
    const size_t consumed = g_stream.next;
    const bool whole = consumed == g_stream.end;
    if (IsMersenne()) {
        if (consumed > 0 && whole) {
            g_mersenne.engine = g_behind;
        } else {
            g_mersenne.engine.discard(consumed);
        }
        g_mersenne.drawn += consumed;
    } else if (consumed > 0) {
        const GENERATOR_STATE state = whole ? g_block.behind : StateAfter(g_block, consumed);
        idum = state.x;
        g_shuffle.iy = state.iy;
        std::copy(std::begin(state.iv), std::end(state.iv), std::begin(g_shuffle.iv));
    }
    g_stream.next = 0;
    g_stream.clear = 0;
    g_stream.end = 0;
}

static bool InRange(int64_t value)
{
    return value > 0 && value < RAND_MODULUS;
}

// True once no draw to come can fill the table afresh or meet a value out of range: all numbers
// that follow are then products modulo a prime, never 0. Some clock values need a few draws first.
static bool IsSettled()
{
    return InRange(idum) && InRange(g_shuffle.iy) &&
           std::all_of(g_shuffle.iv, g_shuffle.iv + RAND_TABLE_NUM, InRange);
}

// Goes on to a new block. False if the next draw has to be made one by one.
static bool NextBlock()
{
    assert(g_stream.next == g_stream.end);
    LeaveBlock();
    if (!g_stream.on) {
        return false;
    }
    if (IsMersenne()) {
        g_behind = g_mersenne.engine;
        MakeMersenneBlock(g_behind, g_plan, g_block);
    } else if (IsSettled()) {
        MakeBlock(StateNow(), g_plan, g_block);
    } else {
        return false;
    }
    g_stream.end = g_plan.size;
    g_stream.clear = FindPassing(g_block, 0, g_stream.end);
    return true;
}

// Consumes one draw that no block can give. If it passes the test, takes it back and returns false.
static bool SkipOnePlain()
{
    const int64_t state = idum;
    const SHUFFLE shuffle = g_shuffle;
    const MERSENNE mersenne = g_mersenne;
    if (g_factor > RandUniformSingle()) {
        idum = state;
        g_shuffle = shuffle;
        g_mersenne = mersenne;
        return false;
    }
    return true;
}

void StreamStart(size_t block)
{
    assert(block > 0);
    assert(block <= STREAM_BLOCK);
    assert(block % STREAM_LANES == 0);
    StreamStop();
    g_plan.size = block;
    g_stream.on = true;
}

void StreamStop()
{
    LeaveBlock();
    g_stream.on = false;
}

void StreamReset()
{
    g_stream = {};
    g_factor = 0.0;
    g_plan.threshold = 0;
}

void StreamSetTest(double factor)
{
    LeaveBlock(); // the marks of the rest of the block belong to the old test
    g_factor = factor;
    uint32_t low = 0;
    uint32_t high = RAND_MODULUS + 1U; // the Mersenne Twister may give the modulus too
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        if (factor > RawToUniform(middle)) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    g_plan.threshold = low;
}

double StreamDraw()
{
    if (g_stream.next == g_stream.end && !NextBlock()) {
        return RandUniformSingle();
    }
    const uint32_t raw = DrawValue(g_block, g_stream.next);
    ++g_stream.next;
    if (g_stream.next > g_stream.clear) {
        g_stream.clear = FindPassing(g_block, g_stream.next, g_stream.end);
    }
    return RawToUniform(raw);
}

uint64_t StreamSkipBeyond(uint64_t count)
{
    uint64_t left = count;
    for (;;) {
        const size_t known = g_stream.clear - g_stream.next;
        if (left <= known) {
            g_stream.next += left;
            return count;
        }
        left -= known;
        g_stream.next = g_stream.clear;
        if (g_stream.next < g_stream.end) {
            return count - left;
        }
        if (!NextBlock()) {
            if (!SkipOnePlain()) {
                return count - left;
            }
            --left;
        }
    }
}
