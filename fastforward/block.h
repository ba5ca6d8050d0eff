// Blocks of draws of the random stream, made at once, with a mark on those that pass a test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

#include "topology/random.h"

constexpr size_t STREAM_LANES = 16;   // numbers of the generator made side by side
constexpr size_t STREAM_BLOCK = 4096; // draws per block: few refills, and the block stays in cache
constexpr size_t SEARCH_WIDTH = 64;   // bytes of a block looked at in one go
constexpr size_t HEAD = SEARCH_WIDTH; // index of draw 0, so that searches may read beyond it

// The published generator between two draws, once all that its table holds has come from it.
struct GENERATOR_STATE {
    uint32_t x;                  // number that entered the table last
    uint32_t iy;                 // last output
    uint32_t iv[RAND_TABLE_NUM]; // values waiting to be drawn
};

// How blocks are to be made.
struct BLOCK_PLAN {
    size_t size;        // draws: a multiple of STREAM_LANES, at most STREAM_BLOCK
    uint32_t threshold; // raw values below it pass the test
};

struct BLOCK {
    alignas(64) uint32_t x[HEAD + STREAM_BLOCK]; // number that draw i puts in the table
    alignas(64) uint8_t byte[HEAD + STREAM_BLOCK + SEARCH_WIDTH]; // of the output before draw i
    GENERATOR_STATE behind; // the published generator after the last draw
};

// Makes the block of draws that follows `state`.
void MakeBlock(const GENERATOR_STATE &state, const BLOCK_PLAN &plan, BLOCK &block);

// Makes a block of the numbers of `engine`, and takes them from it.
void MakeMersenneBlock(std::mt19937_64 &engine, const BLOCK_PLAN &plan, BLOCK &block);

// The raw value of a draw of the block.
uint32_t DrawValue(const BLOCK &block, size_t draw);

// The first draw from `draw` on that passes the test, or `end`.
size_t FindPassing(const BLOCK &block, size_t draw, size_t end);

// The generator after the first `consumed` draws of a block of the published one, at least one.
GENERATOR_STATE StateAfter(const BLOCK &block, size_t consumed);

// Bit i of the result is set if byte i of the SEARCH_WIDTH bytes at `p` agrees with `value` in the
// bits of `mask`. Bytes and mask are below 64, as those of blocks are. For machines without vector
// instructions, eight bytes at a time.
uint64_t MatchPortable(const uint8_t *p, uint8_t mask, uint8_t value);

// Keeps later blocks to the instructions every machine has (true) or not (false). The numbers are
// the same; tests and bench compare the two.
void StreamUsePortable(bool flag);
