// The random stream of topology/random.h, made in blocks for the fast-forward.
//
// Nearly all draws serve the arrival test of a tick, and nearly all of these fail. A block holds a
// few thousand draws made at once together with a mark on those that pass the test, so that a
// stretch of failing draws is consumed by one addition. The numbers, their order and, after
// StreamStop, the state of the generator are those of the draws made one by one.
//
//     draws   f f f f f P f f f f f f f f P f f f ...  end       f fails, P passes the test
//                 ^next ^clear                                   next..clear-1 are known to fail
#pragma once

#include <cstddef>
#include <cstdint>

#include "fastforward/block.h"

// Window on the current block, next <= clear <= end; all 0 if there is none. Written by the
// Stream routines only. Lifetime: program.
struct STREAM {
    size_t next;  // index of the draw to be consumed next
    size_t clear; // first draw from next on that passes the test, or end
    size_t end;   // draws made in this block
    bool on;      // draws come from blocks
};

extern STREAM g_stream;

// Draws per block of fast runs; tests shorten it.
extern size_t g_stream_block;

// From here draws come from blocks of that many draws: a multiple of STREAM_LANES, at most
// STREAM_BLOCK.
void StreamStart(size_t block = STREAM_BLOCK);

// From here draws are made one by one again. Leaves the generator as if every draw so far had been.
void StreamStop();

// Stops the stream and forgets block and test without touching the generator.
void StreamReset();

// Sets the coming test: a draw u of RandUniform(0, 1) passes if factor > u, never if it is NaN.
void StreamSetTest(double factor);

// Consumes one draw, whether it passes or not, and returns it as the basic draw would.
double StreamDraw();

// Part of StreamSkipFailing for when the known run of failing draws is too short.
uint64_t StreamSkipBeyond(uint64_t count);

// Consumes draws as long as they fail the test, at most count of them, and returns how many. A
// draw that passes is left to be drawn. Works with the stream off too, only slower.
inline uint64_t StreamSkipFailing(uint64_t count)
{
    if (count <= g_stream.clear - g_stream.next) {
        g_stream.next += count;
        return count;
    }
    return StreamSkipBeyond(count);
}

// Consumes the next draw of a block if it is known to fail the test. False if it passes, or if the
// stream is off.
inline bool StreamSkipsDraw()
{
    return g_stream.on && StreamSkipFailing(1) == 1;
}
