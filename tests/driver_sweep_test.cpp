// The settings of the published experiment; what a sweep over several loads and trials prints and
// how many rows it leaves, with a clock of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "driver/settings.h"
#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tests/signature.h"
#include "topology/random.h"

// The values that the results are published under, written out.
TEST(Settings, DefaultsAreThePublishedExperiment)
{
    const SETTINGS settings;
    EXPECT_EQ(settings.seed, INT64_MIN); // from the clock
    EXPECT_EQ(settings.trial_num, 2);
    ASSERT_EQ(settings.load_num, 36);
    for (int32_t i = 0; i < 1000; ++i) { // 0, 1, ... 35 Mbit/s; nothing behind them
        EXPECT_EQ(settings.load_list[i], i < 36 ? 1000 * i : 0);
    }
    EXPECT_EQ(settings.data_length, 1472);
    EXPECT_EQ(settings.sim_ticks, 40'000'000U);
    EXPECT_EQ(settings.window_begin, 10'000'000U);
    EXPECT_EQ(settings.window_end, 40'000'000U);
    EXPECT_EQ(settings.window_ticks, 30'000'000.0);
    EXPECT_EQ(WindowTicksRun(settings), 30'000'000.0);
    EXPECT_EQ(settings.hop_age_limit, 9'000'000U);
    EXPECT_EQ(settings.queue_limit, 100'000);
    EXPECT_EQ(settings.log_limit, 100'000);
    EXPECT_EQ(settings.rts_threshold, 100'000);
    EXPECT_EQ(settings.transmission_range_m, 40.0);
    EXPECT_EQ(settings.carrier_sense_range_m, 40.0);
    EXPECT_EQ(settings.layout, LAYOUT_DESIGN);
    EXPECT_EQ(settings.routing, ROUTING_DESIGN);
    EXPECT_EQ(settings.route_num, 0);
    ASSERT_EQ(settings.flow_num, 5);
    for (int32_t i = 0; i < 5; ++i) {
        const FLOW &flow = settings.flow_list[i];
        EXPECT_EQ(flow.from, 2 * i);
        EXPECT_EQ(flow.to, 2 * i + 1);
        EXPECT_EQ(flow.weight, 1);
    }
}

// The ticks that a window counts of a load point of 100.
TEST(Settings, WindowTicksRunEndWithTheLoadPoint)
{
    SETTINGS settings;
    settings.sim_ticks = 100;
    settings.window_begin = 10;
    for (const auto &[end, ticks] : {std::pair{10U, 1.0}, {98U, 89.0}, {99U, 90.0}, {100U, 90.0}}) {
        settings.window_end = end;
        EXPECT_EQ(WindowTicksRun(settings), ticks) << end;
    }
    settings.window_end = INT64_MAX;
    EXPECT_EQ(WindowTicksRun(settings), 90.0);
}

static int64_t g_now;                // what the clock shows
static std::vector<double> g_shares; // progress reported so far
static std::vector<int64_t> g_takes; // seconds that each load point takes
static uint64_t g_reports;           // of a load point

static void OnProgress(double share)
{
    g_shares.push_back(share);
    if (g_shares.size() % g_reports == 0) {
        g_now += g_takes[g_shares.size() / g_reports - 1];
    }
}

class Sweep : public testing::Test
{
  protected:
    void SetUp() override
    {
        dir = MakeScratchDirectory();
        g_plain_ticking = false;
        g_settings = {};
        g_settings.seed = 7;
        g_settings.load_num = 2;
        g_settings.load_list[1] = 35'000;
        g_now = 1'000'000;
        g_shares.clear();
        g_takes.assign(4, 0);
        g_reports = 10;
        g_clock = [] { return g_now; };
        g_on_progress = OnProgress;
    }

    void TearDown() override
    {
        g_on_progress = nullptr;
        g_settings = {};
        std::filesystem::remove_all(dir);
    }

    std::vector<std::string> Lines(const std::string &name) const
    {
        std::ifstream file(dir + "/result/10node_design/1500/" + name);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::string dir;
};

TEST_F(Sweep, TellsTimeAndProgress)
{
    g_settings.sim_ticks = 1000;
    g_takes = {90061, 59, 3600, 7}; // the first one a day, an hour, a minute and a second
    std::istringstream output(RunProgramIn(dir).output);
    EXPECT_EQ(node, nullptr); // the memory is given back
    std::string times;
    for (std::string line; std::getline(output, line);) {
        times += line.find("time :") != std::string::npos ? line + "\n" : "";
    }
    // What is left takes as long per load point as the last one.
    EXPECT_EQ(times, " elapsed time : 1d 1h 1m 1s\n"
                     "ramaining time : 3d 3h 3m 3s\n"
                     " elapsed time : 1d 1h 2m 0s\n"
                     "ramaining time : 0d 0h 1m 58s\n"
                     " elapsed time : 1d 2h 2m 0s\n"
                     "ramaining time : 0d 1h 0m 0s\n"
                     " elapsed time : 1d 2h 2m 7s\n"
                     "ramaining time : 0d 0h 0m 0s\n"
                     "simulation run time : 1d 2h 2m 7s\n");
    ASSERT_EQ(g_shares.size(), 40U);
    for (size_t i = 0; i < g_shares.size(); ++i) {
        EXPECT_DOUBLE_EQ(g_shares[i], static_cast<double>(i + 1) / 40.0);
    }
}

// A mark stands between two steps; a step is a tenth of the ticks, cut, but one tick at least.
TEST_F(Sweep, MarksEveryTenth)
{
    const struct {
        uint64_t ticks, steps;
    } cases[] = {{1, 1}, {7, 7}, {9, 9}, {10, 10}, {19, 19}, {20, 10}, {25, 13}};
    g_settings.trial_num = g_settings.load_num = 1;
    for (const auto &c : cases) {
        g_settings.sim_ticks = c.ticks;
        g_reports = c.steps;
        g_shares.clear();
        const std::string output = RunProgramIn(dir).output;
        const std::string ruler =
            "0%|    |    |100%\n  |" + std::string(c.steps - 1, '=') + "|\n elapsed time";
        EXPECT_NE(output.find(ruler), std::string::npos) << c.ticks << "\n" << output;
        EXPECT_EQ(g_shares.size(), c.steps) << c.ticks;
        EXPECT_EQ(g_shares.back(), 1.0);
    }
}

// Every load point has its record, which both trials add to; one more stays zero.
TEST_F(Sweep, KeepsARecordPerLoadPoint)
{
    g_settings.load_num = 3;
    g_settings.load_list[2] = 5000;
    g_settings.sim_ticks = 200'000;
    g_settings.window_begin = 0;
    g_settings.window_ticks = 200'000;
    g_takes.assign(6, 0);
    EXPECT_EQ(RunProgramIn(dir).status, 0);
    const std::vector<std::string> rows = Lines("throughput.txt");
    ASSERT_EQ(rows.size(), 5U);
    const double offered[] = {0.0, 35.0, 5.0, 0.0};
    for (size_t i = 0; i < 4; ++i) {
        double value = -1.0;
        std::istringstream(rows[i + 1]) >> value;
        EXPECT_NEAR(value, offered[i], 0.15 * offered[i]) << i; // 4 standard deviations of 5
    }
    EXPECT_EQ(rows[4].find_first_of("123456789"), std::string::npos) << rows[4];
    const auto count = [this](const char *file, const char *part) {
        return std::ranges::count_if(
            Lines(file), [part](const std::string &line) { return line.find(part) != line.npos; });
    };
    EXPECT_EQ(count("collision.txt", "num_off"), 6);
    EXPECT_EQ(count("node_stat.txt", "g_interval"), 6);
    EXPECT_EQ(count("result.txt", "p(hid"), 4); // a table by links for each record
    EXPECT_EQ(Lines("x_node.txt").size(), 4U);  // a head, and a row for each load point
    EXPECT_EQ(Lines("delay.txt").size(), 7U);
}
