// Cost of one random draw: made one by one, and in blocks with the search for the next draw that
// passes the arrival test at a medium load.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

#include "fastforward/stream.h"
#include "topology/random.h"

static constexpr uint64_t DRAWS = 1000000;             // per timing
static constexpr double FACTOR = 5.0 * 17.0 / 12000.0; // five flows, 17 Mbit/s, 1500-byte packets

static void SeedFixed()
{
    g_clock = [] { return int64_t{1700000000}; };
    ResetRandom();
    RandInitUniform();
}

static void DrawOneByOne()
{
    for (uint64_t i = 0; i < DRAWS; ++i) {
        benchmark::DoNotOptimize(RandUniformBasic(&idum));
    }
}

// Skips the failing draws and makes the passing ones, in stretches as between two events of the
// model.
static void SkipInBlocks()
{
    constexpr uint64_t STRETCH = 500;
    for (uint64_t done = 0; done < DRAWS; done += STRETCH) {
        uint64_t left = STRETCH;
        while ((left -= StreamSkipFailing(left)) > 0) {
            benchmark::DoNotOptimize(RandUniform(0.0, 1.0));
            --left;
        }
    }
}

template <typename Work> static double NsPerDraw(Work work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - begin;
    return spent.count() / static_cast<double>(DRAWS);
}

// Best of all iterations, both ways in turns, so that a busy machine disturbs both alike.
static void BlocksAgainstOneByOne(benchmark::State &state)
{
    double basic_ns = std::numeric_limits<double>::infinity();
    double stream_ns = basic_ns;
    StreamUsePortable(state.range(0) != 0);
    SeedFixed();
    StreamSetTest(FACTOR);
    for (auto _ : state) {
        basic_ns = std::min(basic_ns, NsPerDraw(DrawOneByOne));
        StreamStart();
        stream_ns = std::min(stream_ns, NsPerDraw(SkipInBlocks));
        StreamStop();
    }
    StreamUsePortable(false);
    state.counters["basic_ns"] = basic_ns;
    state.counters["stream_ns"] = stream_ns;
    state.counters["ratio"] = stream_ns / basic_ns;
}
BENCHMARK(BlocksAgainstOneByOne)
    ->ArgName("portable")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);

// One draw after the other with the stream on, as for backoff and flow choice.
static void DrawFromBlock(benchmark::State &state)
{
    SeedFixed();
    StreamSetTest(FACTOR);
    StreamStart();
    for (auto _ : state) {
        benchmark::DoNotOptimize(RandUniform(0.0, 1.0));
    }
    StreamStop();
}
BENCHMARK(DrawFromBlock);
