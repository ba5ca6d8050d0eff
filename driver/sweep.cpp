#include "driver/sweep.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "driver/observer.h"
#include "driver/state.h"
#include "driver/station.h"
#include "driver/tick.h"
#include "output/collision_table.h"
#include "output/final_tables.h"
#include "output/node_statistics.h"
#include "output/result_record.h"
#include "output/run_header.h"
#include "output/totals.h"
#include "topology/random.h"
#include "topology/traffic.h"

void (*g_on_progress)(double share) = nullptr;
static int32_t g_done;    // load points behind
static int32_t g_planned; // load points of the sweep
static int64_t g_start;   // seconds on the clock when it began

void SetOfferedLoad(int32_t load_kbps)
{
    constexpr double FIXED_SOURCE_MBPS = 30.0;
    const double load_mbps = load_kbps / KBPS_PER_MBPS;
    const double packet_bits = PACKET_PAYLOAD_LENGTH * static_cast<double>(BITS_PER_BYTE);
    g_ariv_rate = load_mbps / packet_bits; // Mbit/s are bits per tick
    // Kept: without load the gap is infinite and stored as the smallest integer.
    g_interval = load_kbps == 0 ? INT32_MIN : static_cast<int32_t>(packet_bits / load_mbps);
    g_interval2 = static_cast<int32_t>(packet_bits / FIXED_SOURCE_MBPS);
}

// Clears the counters that are kept per load point outside the stations.
static void ClearCounters()
{
    std::memset(ave_delay, 0, sizeof ave_delay);
    std::memset(ave_delay_2, 0, sizeof ave_delay_2);
    g_event = 0;
    g_no = 0;
    g_collision_possible_time = 0;
    temp_trans1 = 0;
    temp_trans2 = 0;
    std::memset(flag_col, 0, sizeof flag_col);
    std::memset(trans_con, 0, sizeof trans_con);
    std::memset(X_count, 0, sizeof X_count);
    std::memset(Y_count, 0, sizeof Y_count);
    std::memset(Z_count, 0, sizeof Z_count);
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int j = 0; j < NODE_NUM; ++j) {
            std::memset(col[i][j], 0, COL_ROWS * sizeof(COL));
            std::memset(dp[i][j], 0, COL_ROWS * sizeof(COL));
        }
    }
}

void StartLoadPoint()
{
    InitAllNode();
    ClearCounters();
    ShareArrivals();
    g_sim_time = 0;
}

// Runs the ticks of a load point and fills the progress ruler meanwhile.
static void RunLoadPoint()
{
    constexpr uint64_t PROGRESS_MARKS = 10;
    const uint64_t step = std::max<uint64_t>(g_settings.sim_ticks / PROGRESS_MARKS, 1);
    std::printf("0%%|    |    |100%%\n");
    std::printf("  |");
    while (g_sim_time < g_settings.sim_ticks) {
        if (g_sim_time != 0) {
            std::printf("=");
            std::fflush(stdout);
        }
        RunTicks(std::min(g_sim_time + step, g_settings.sim_ticks));
        if (g_on_progress != nullptr) {
            const auto share =
                static_cast<double>(g_sim_time) / static_cast<double>(g_settings.sim_ticks);
            g_on_progress((g_done + share) / g_planned);
        }
    }
}

static double SecondsSince(int64_t start)
{
    return std::difftime(static_cast<time_t>(g_clock()), static_cast<time_t>(start));
}

// One load point from its announcement to its results. `load_kbps` is the offered load per flow.
static void SimulateLoad(int32_t trial, int32_t load_kbps)
{
    const double load_mbps = load_kbps / KBPS_PER_MBPS;
    temp_non = 0;
    std::printf("packet size = %d\n", PACKET_PAYLOAD_LENGTH);
    std::printf("trial = %d  load = %f\n", trial + 1, load_mbps);
    SetOfferedLoad(load_kbps);
    // Kept: packets per millisecond, whatever the label says.
    std::printf("λ(pkt/sec) = %f\tload = %f\n", KBPS_PER_MBPS * g_ariv_rate, load_mbps);
    StartLoadPoint();
    if (g_observer != nullptr) {
        g_observer->begin(trial, load_kbps);
    }
    RunLoadPoint();
    if (g_observer != nullptr) {
        g_observer->end();
    }
}

// Writes what a load point has yielded.
static void WriteLoadPoint(int32_t trial, int32_t load_kbps)
{
    WriteNodeStat(trial, load_kbps);
    WriteCollision(trial, load_kbps);
    WriteResult();
    std::printf("g_counter=%d\n", g_counter);
}

void BeginSweep()
{
    g_start = g_clock();
    if (!AllocateState()) {
        std::exit(1);
    }
    information();
    RandInitUniform();
    init_parameter();
    g_planned = g_settings.load_num * g_settings.trial_num;
    g_done = 0;
}

bool StepSweep()
{
    const int32_t trial = g_done / g_settings.load_num;
    const int32_t index = g_done % g_settings.load_num;
    const int32_t kbps = g_settings.load_list[index];
    g_counter = index == 0 ? 0 : g_counter;
    const int64_t load_start = g_clock();
    SimulateLoad(trial, kbps);
    PrintElapsedTime(SecondsSince(g_start));
    ++g_done;
    PrintRemainingTime((g_planned - g_done) * SecondsSince(load_start));
    WriteLoadPoint(trial, kbps);
    return g_done < g_planned;
}

void EndSweep()
{
    WriteTotalResult();
    WriteFinalTables();
    PrintRunTime(SecondsSince(g_start));
    FreeState();
}

void simulation()
{
    BeginSweep();
    while (StepSweep()) {
    }
    EndSweep();
}
