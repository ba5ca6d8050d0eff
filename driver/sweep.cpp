#include "driver/sweep.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/state.h"
#include "driver/station.h"
#include "driver/wake.h"
#include "output/collision_table.h"
#include "output/files.h"
#include "output/final_tables.h"
#include "output/node_statistics.h"
#include "output/result_record.h"
#include "output/run_header.h"
#include "output/totals.h"
#include "topology/random.h"
#include "topology/stream.h"

// Load points of one trial, load 0 included.
static int32_t LoadsPerTrial()
{
    return g_settings.load_max_kbps / g_settings.load_step_kbps + 1;
}

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
    g_no = 0;
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
    RunLoadPoint();
}

// Writes what a load point has yielded.
static void WriteLoadPoint(int32_t trial, int32_t load_kbps)
{
    WriteNodeStat(trial, load_kbps);
    WriteCollision(trial, load_kbps);
    WriteResult();
    std::printf("g_counter=%d\n", g_counter);
}

void simulation()
{
    const int64_t run_start = g_clock();
    if (!AllocateState()) {
        std::exit(1);
    }
    information();
    RandInitUniform();
    init_parameter();
    if (!g_plain_ticking) {
        StreamStart();
    }
    const int32_t planned = LoadsPerTrial() * g_settings.trial_num;
    int32_t done = 0;
    for (int32_t trial = 0; trial < g_settings.trial_num; ++trial) {
        g_counter = 0;
        for (int32_t kbps = 0; kbps <= g_settings.load_max_kbps;
             kbps += g_settings.load_step_kbps) {
            const int64_t load_start = g_clock();
            SimulateLoad(trial, kbps);
            PrintElapsedTime(SecondsSince(run_start));
            ++done;
            PrintRemainingTime((planned - done) * SecondsSince(load_start));
            WriteLoadPoint(trial, kbps);
        }
    }
    StreamStop();
    WriteTotalResult();
    WriteFinalTables();
    PrintRunTime(SecondsSince(run_start));
    FreeState();
}

// One sweep at a packet size of `data_length` bytes of application data, with its directories.
static void RunPacketSize(int32_t data_length, const std::string &design_dir)
{
    constexpr mode_t DIRECTORY_MODE = 0755;
    SetPacketSize(data_length);
    const std::string size_dir = design_dir + "/" + std::to_string(PACKET_PAYLOAD_LENGTH);
    std::puts(size_dir.c_str());
    mkdir(size_dir.c_str(), DIRECTORY_MODE);
    mkdir((size_dir + "/fig").c_str(), DIRECTORY_MODE);
    fileopen(size_dir.c_str());
    load = 35;
    std::printf("load=%d\n", load);
    // Room for every load point and the zero row that the closing tables print behind the last one.
    const int32_t records = std::max(load + 2, LoadsPerTrial() + 1);
    result = static_cast<RESULT *>(std::calloc(static_cast<size_t>(records), sizeof(RESULT)));
    if (result == nullptr) {
        std::exit(1);
    }
    simulation();
    std::free(result);
    result = nullptr;
    fileclose();
}

// Keeps the descriptors of the standard streams taken. With standard output closed, the first
// result file would get its descriptor, and with it all that is printed.
static void OccupyStandardStreams()
{
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

int RunProgram()
{
    constexpr mode_t DIRECTORY_MODE = 0755;
    constexpr int32_t FIRST_DATA_LENGTH = 1472; // bytes
    constexpr int32_t LAST_DATA_LENGTH = 1472;
    constexpr int32_t DATA_LENGTH_STEP = 100;
    OccupyStandardStreams();
    std::puts("-----------------");
    std::puts(" VEX LOOM TARN");
    std::puts("-----------------");
    // A directory that cannot be made shows when the files in it cannot be opened.
    mkdir("./result", DIRECTORY_MODE);
    std::printf("NODEのサイズは %lu byte\n", static_cast<unsigned long>(sizeof(NODE)));
    std::printf("RESULTのサイズは %lu byte\n", static_cast<unsigned long>(sizeof(RESULT)));
    const std::string design_dir = "./result/" + std::to_string(NODE_NUM) + "node_design";
    mkdir(design_dir.c_str(), DIRECTORY_MODE);
    for (int32_t length = FIRST_DATA_LENGTH; length <= LAST_DATA_LENGTH;
         length += DATA_LENGTH_STEP) {
        RunPacketSize(length, design_dir);
    }
    return 0;
}
