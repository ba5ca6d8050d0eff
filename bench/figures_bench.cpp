// The figures of the README: plain ticking against the fast-forward, the fast-forward against its
// random numbers drawn one by one, and what the fast-forward does with its time. One iteration runs
// all of them in turn, so that a busy machine disturbs them alike; the medians of five repetitions
// count. EventTicks is for scripts/bench-history, which counts its instructions.
//
//     dcfsim_bench --benchmark_filter=Figures --benchmark_repetitions=5

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include <sys/resource.h>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "fastforward/engine.h"
#include "fastforward/stream.h"
#include "tests/signature.h"
#include "topology/random.h"
#include "topology/traffic.h"

constexpr int32_t LOAD_STEP_KBPS = 5000; // eight load points, one trial
constexpr int32_t LOAD_NUM = 8;

static double SecondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

static void SeedFixed()
{
    g_clock = [] { return int64_t{1700000000}; };
    ResetRandom();
    RandInitUniform();
}

// Runs the load points at full length; the statistics stay in the records.
static double RunLoads(bool plain)
{
    SeedFixed();
    g_plain_ticking = plain;
    const auto begin = std::chrono::steady_clock::now();
    for (int32_t i = 0; i < LOAD_NUM; ++i) {
        SetOfferedLoad(i * LOAD_STEP_KBPS);
        StartLoadPoint();
        RunTicks(g_settings.sim_ticks);
    }
    const double seconds = SecondsSince(begin);
    g_plain_ticking = false;
    return seconds;
}

// As many draws as the load points have ticks, one by one: the plain generator at its fastest, with
// its state at hand and nothing done with the numbers but adding them up.
static double DrawOneByOne(uint64_t draws)
{
    SeedFixed();
    int64_t generator = idum;
    double sum = 0.0;
    const auto begin = std::chrono::steady_clock::now();
    for (uint64_t i = 0; i < draws; ++i) {
        sum += RandUniformBasic(&generator);
    }
    benchmark::DoNotOptimize(sum);
    return SecondsSince(begin);
}

// The stream alone: the same draws, with the search for the arrivals of each load point.
static double DrawInBlocks()
{
    SeedFixed();
    StreamStart();
    const auto begin = std::chrono::steady_clock::now();
    for (int32_t i = 0; i < LOAD_NUM; ++i) {
        SetOfferedLoad(i * LOAD_STEP_KBPS);
        ShareArrivals();
        StreamSetTest(ArrivalProbability());
        for (uint64_t left = g_settings.sim_ticks; (left -= StreamSkipFailing(left)) > 0; --left) {
            benchmark::DoNotOptimize(RandUniform(0.0, 1.0));
        }
    }
    const double seconds = SecondsSince(begin);
    StreamStop();
    return seconds;
}

static void Figures(benchmark::State &state)
{
    constexpr double NS_PER_SECOND = 1e9;
    constexpr int32_t DATA_BYTES = 1472;
    SetPacketSize(DATA_BYTES);
    AllocateState();
    const uint64_t ticks = LOAD_NUM * g_settings.sim_ticks;
    const auto all_ticks = static_cast<double>(ticks);
    for (auto _ : state) {
        const uint64_t event_ticks = g_event_tick_num;
        const uint64_t visits = g_visit_num;
        const double fast = RunLoads(false);
        const double event_num = static_cast<double>(g_event_tick_num - event_ticks);
        const double visit_num = static_cast<double>(g_visit_num - visits);
        const double textbook = DrawOneByOne(ticks);
        const double stream = DrawInBlocks();
        const double plain = RunLoads(true);
        state.counters["plain_per_fast"] = plain / fast;
        state.counters["fast_per_textbook"] = fast / textbook;
        state.counters["stream_per_textbook"] = stream / textbook;
        state.counters["stream_share"] = stream / fast;
        state.counters["plain_ns_per_tick"] = plain * NS_PER_SECOND / all_ticks;
        state.counters["fast_ns_per_tick"] = fast * NS_PER_SECOND / all_ticks;
        state.counters["event_ticks_per_load"] = event_num / LOAD_NUM;
        state.counters["visits_per_event_tick"] = visit_num / event_num;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    constexpr double KB_PER_MB = 1024.0;
    state.counters["resident_mb"] = static_cast<double>(usage.ru_maxrss) / KB_PER_MB;
    FreeState();
    const SETTINGS settings = g_settings; // the signature's run is a shorter one
    state.SetLabel("signature " + Signature(false).total);
    g_settings = settings;
}
BENCHMARK(Figures)->Unit(benchmark::kSecond)->Iterations(1);

// Three load points of as many ticks each as the argument says, once: the instructions that a
// longer run takes more than a shorter one are those of its further ticks, whatever the start
// takes.
static void EventTicks(benchmark::State &state)
{
    const SETTINGS settings = g_settings;
    g_settings.sim_ticks = static_cast<uint64_t>(state.range(0));
    g_settings.window_begin = g_settings.sim_ticks / 4;
    g_settings.window_end = g_settings.sim_ticks;
    SetPacketSize(1472); // bytes
    AllocateState();
    for (auto _ : state) {
        const uint64_t before = g_event_tick_num;
        SeedFixed();
        for (const int32_t load_kbps : {0, 15'000, 30'000}) {
            SetOfferedLoad(load_kbps);
            StartLoadPoint();
            RunTicks(g_settings.sim_ticks);
        }
        state.counters["event_ticks"] = static_cast<double>(g_event_tick_num - before);
    }
    FreeState();
    g_settings = settings;
}
BENCHMARK(EventTicks)->Arg(1'000'000)->Arg(3'000'000)->Iterations(1);
