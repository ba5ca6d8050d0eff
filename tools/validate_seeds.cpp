// Two runs that draw the same numbers at the same load have the same packets, a while apart. How
// long, their generators tell: the draws that lie between the states in which the load begins.
//
//     run a             |first......same numbers......:         last|
//     run b      |first :.............................last|
//                |-lag--|
#include "tools/validate_seeds.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tools/seeds.h"
#include "topology/random.h"

constexpr int32_t LOAD_KBPS = 8000;
constexpr uint64_t STEP = 10'000; // ticks between samples
constexpr size_t SECOND = 100;    // samples

// A load point as it goes by.
struct COURSE {
    int64_t first; // states of the generator at its beginning and its end
    int64_t last;
    std::vector<double> arrived;   // packets so far, one sample each STEP ticks
    std::vector<double> delivered; // the same
};

static int64_t g_seed = 0;

static void Sample(COURSE &course)
{
    double arrived = 0;
    double delivered = 0;
    for (int i = 0; i < NODE_NUM; ++i) {
        arrived += static_cast<double>(node[i].gene_num);
        delivered += static_cast<double>(node[i].recv_num);
    }
    course.arrived.push_back(arrived);
    course.delivered.push_back(delivered);
}

// Runs a seed up to LOAD_KBPS in the given trial, 0 or 1, and follows that load point.
static COURSE Follow(int64_t seed, int32_t last_trial)
{
    g_settings = {};
    g_settings.window_begin = 0; // every packet counts
    SetPacketSize(g_settings.data_length);
    g_seed = seed;
    g_clock = [] { return g_seed; };
    ResetRandom();
    RandInitUniform();
    for (int32_t trial = 0;; ++trial) {
        for (int32_t k = 0; k < g_settings.load_num; ++k) {
            COURSE course = {};
            course.first = idum;
            SetOfferedLoad(g_settings.load_list[k]);
            StartLoadPoint();
            if (trial == last_trial && g_settings.load_list[k] == LOAD_KBPS) {
                while (g_sim_time < g_settings.sim_ticks) {
                    Sample(course);
                    RunTicks(g_sim_time + STEP);
                }
                course.last = idum;
                return course;
            }
            RunTicks(g_settings.sim_ticks);
        }
    }
}

// Draws that lead from one state to the other; the limit, which no load point reaches, if none do.
static int64_t DrawsBetween(int64_t from, int64_t to)
{
    constexpr int64_t LIMIT = 41'500'000;
    int64_t draws = 0;
    for (; from != to && draws < LIMIT; ++draws) {
        from = from * RAND_MULTIPLIER % RAND_MODULUS;
    }
    return draws;
}

// Correlation of what is added second by second; b is looked at `lag` samples later.
static double Correlation(const std::vector<double> &a, const std::vector<double> &b, size_t lag)
{
    double n = 0;
    double sum_a = 0;
    double sum_b = 0;
    double aa = 0;
    double bb = 0;
    double ab = 0;
    for (size_t i = 0; i + lag + SECOND < b.size(); i += SECOND) {
        const double x = a[i + SECOND] - a[i];
        const double y = b[i + lag + SECOND] - b[i + lag];
        ++n;
        sum_a += x;
        sum_b += y;
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }
    return (n * ab - sum_a * sum_b) /
           std::sqrt((n * aa - sum_a * sum_a) * (n * bb - sum_b * sum_b));
}

static int Print(const char *what, const COURSE &a, const COURSE &b, size_t lag, bool is_same)
{
    constexpr double SAME = 0.9;
    constexpr double INDEPENDENT = 0.45; // 2.7 standard deviations for 36 seconds or more
    int missed = 0;
    std::printf("  %-56s", what);
    for (const double found :
         {Correlation(a.arrived, b.arrived, lag), Correlation(a.delivered, b.delivered, lag)}) {
        const bool ok = is_same ? found > SAME : std::fabs(found) < INDEPENDENT;
        missed += ok ? 0 : 1;
        std::printf(" %8.2f%s", found, ok ? "  " : " MISSED");
    }
    std::printf("\n");
    return missed;
}

// Samples between the beginnings of two courses, of which b begins first.
static size_t LagBetween(const COURSE &a, const COURSE &b)
{
    const auto all = static_cast<double>(DrawsBetween(b.first, b.last));
    const auto lag = static_cast<double>(DrawsBetween(b.first, a.first));
    return static_cast<size_t>(lag / all * static_cast<double>(b.arrived.size()));
}

int CompareSeeds()
{
    constexpr int64_t FIRST = 1'700'000'000;
    struct MEETING {
        int64_t seed, other_seed; // the other one begins first
        int32_t trial, other_trial;
    };
    constexpr MEETING MEETINGS[] = {{3, 4, 0, 1}, {2, 6, 0, 1}, {8, 2, 0, 1}};
    std::printf("%-59s %8s   %10s\n", "Correlation of seconds at 8 Mbit/s", "arrivals",
                "throughput");
    int missed = 0;
    for (const MEETING &of : MEETINGS) {
        const COURSE a = Follow(FIRST + of.seed, of.trial);
        const COURSE b = Follow(FIRST + of.other_seed, of.other_trial);
        const size_t lag = LagBetween(a, b);
        char name[128]; // as long as the numbers may get
        std::snprintf(name, sizeof name, "trial %d of ..%02d, trial %d of ..%02d %.1f s before",
                      of.trial + 1, static_cast<int>(of.seed), of.other_trial + 1,
                      static_cast<int>(of.other_seed), static_cast<double>(lag) / SECOND);
        missed += Print(name, a, b, lag, true);
    }
    const std::vector<int64_t> seeds = CampaignSeeds(FIRST, 2);
    const COURSE a = Follow(seeds[0], 0);
    const COURSE b = Follow(seeds[1], 0);
    return missed + Print("the first two replications of a campaign, trial 1", a, b, 0, false);
}
