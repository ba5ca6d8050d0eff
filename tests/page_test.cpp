// What a page is told by web/interface.h, beside what files and traces of the programs say.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tools/hashes.h"
#include "tools/trace_forms.h"
#include "tools/watch.h"
#include "topology/random.h"
#include "web/interface.h"

namespace fs = std::filesystem;
using nlohmann::json;

static std::vector<double> g_shares; // told while a run went on

void TellProgress(double share)
{
    g_shares.push_back(share);
}

class PageTest : public testing::Test
{
  protected:
    // Of its own: cases run side by side.
    const fs::path dir = fs::path(testing::TempDir()) / ("dcfsim-page-" + std::to_string(getpid()));

    PageTest()
    {
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    ~PageTest() override
    {
        FreeState();
        g_settings = SETTINGS();
        fs::remove_all(dir);
    }

    json Open(const std::string &text) const
    {
        const std::string path = (dir / "e.json").string();
        std::ofstream(path) << text;
        return json::parse(OpenExperiment(path.c_str()));
    }

    // A shipped experiment.
    static json OpenShipped(const std::string &name)
    {
        const std::string path = std::string(DCFSIM_SOURCE_DIR "/experiments/") + name + ".json";
        return json::parse(OpenExperiment(path.c_str()));
    }
};

static const char SMALL[] =
    R"({"seed": 5, "trials": 2, "loads_kbps": [0, 4000, 30000], "ticks": 300000,)"
    R"( "window": [50000, 299999]})";

TEST_F(PageTest, OpensAnExperimentWithNetworkAndWarnings)
{
    // Pairs 1 m apart and 30 m from each other: 40 m reach the pairs beside. Station 4 is hidden
    // from none: its receiver hears what it hears.
    const json published = Open("{}");
    EXPECT_TRUE(published["warnings"].empty());
    const json &network = published["network"];
    EXPECT_EQ(network["stations"][4][0], network["stations"][0][0].get<double>() + 60.0);
    EXPECT_EQ(network["stations"][5][1], network["stations"][4][1].get<double>() + 1.0);
    EXPECT_EQ(network["receives"][4], json({2, 3, 5, 6, 7}));
    EXPECT_EQ(network["senses"][0], json({1, 2, 3}));
    EXPECT_EQ(network["paths"][2], json({4, 5}));
    EXPECT_TRUE(network["hidden"][4].empty());
    // The experiment is that of --check, less the seed, which is not fixed here.
    EXPECT_FALSE(json::parse(published["experiment"].get<std::string>()).contains("seed"));

    // Every receiver but the last hears the sender of the next pair, whom its own does not hear.
    const json hidden = OpenShipped("example-hidden");
    EXPECT_EQ(hidden["warnings"].size(), 1U);
    EXPECT_EQ(hidden["network"]["hidden"][0], json({json({2, 1})}));
    EXPECT_TRUE(hidden["network"]["hidden"][8].empty());

    const json chain = OpenShipped("relay-chain");
    EXPECT_EQ(chain["network"]["paths"][0], json({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    const json bad = Open(R"({"trials": 0})");
    EXPECT_NE(bad["error"].get<std::string>().find("allowed: an integer 1 .. 1000"),
              std::string::npos);
}

// Rows of flows.csv by load, flow and trial: the rates and the delay.
static std::map<std::string, std::vector<double>> ReadFlows(const fs::path &path)
{
    std::map<std::string, std::vector<double>> sums;
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream cells(line);
        std::vector<std::string> row;
        for (std::string cell; std::getline(cells, cell, ',');) {
            row.push_back(cell);
        }
        std::vector<double> &sum = sums[row[0] + " " + row[2]];
        sum.resize(4);
        sum[0] += std::stod(row[4]);
        sum[1] += std::stod(row[5]);
        if (!row[6].empty()) {
            sum[2] += std::stod(row[6]);
            ++sum[3];
        }
    }
    return sums;
}

TEST_F(PageTest, RunsStepByStepAndTellsTheMeansOfTheFiles)
{
    ASSERT_FALSE(Open(SMALL).contains("error"));
    const fs::path out = dir / "out";
    g_shares.clear();
    testing::internal::CaptureStdout();
    ASSERT_EQ(std::string(BeginRun(out.c_str())), "{}");
    std::vector<json> steps;
    do {
        steps.push_back(json::parse(StepRun()));
        ASSERT_FALSE(steps.back().contains("error")) << steps.back();
    } while (steps.back()["more"]);
    ASSERT_EQ(std::string(EndRun()), "{}");
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(steps.size(), 6U);
    EXPECT_DOUBLE_EQ(g_shares.front(), 1.0 / 60); // a tenth of one of six
    EXPECT_DOUBLE_EQ(g_shares.back(), 1.0);

    auto rows = ReadFlows(out / "10node_design/1500/flows.csv");
    for (size_t index = 0; index < 3; ++index) {
        const json &first = steps[index]["point"];
        const json &point = steps[3 + index]["point"];
        EXPECT_EQ(first["trials"], 1);
        EXPECT_EQ(point["trials"], 2);
        EXPECT_EQ(point["index"], index);
        for (const json &flow : point["flows"]) {
            const auto &row =
                rows[std::to_string(point["load_kbps"].get<int>()) + " " + flow["from"].dump()];
            EXPECT_EQ(flow["offered"].get<double>(), row[0] / 2);
            EXPECT_EQ(flow["delivered"].get<double>(), row[1] / 2);
            if (index == 0) {
                EXPECT_TRUE(flow["delay_us"].is_null());
            } else {
                EXPECT_EQ(flow["delay_us"].get<double>(), row[2] / row[3]);
            }
        }
    }
    EXPECT_TRUE(steps[3]["point"]["fairness"].is_null());
    // At 4 Mbit/s all is carried, at 30 the flow between two others is not.
    EXPECT_TRUE(steps[4]["point"]["flows"][1]["steady"]);
    EXPECT_FALSE(steps[5]["point"]["flows"][1]["steady"]);
    const json manifest = json::parse(std::ifstream(out / "manifest.json"));
    EXPECT_TRUE(manifest["complete"]);
    EXPECT_EQ(manifest["sha256"].size(), 44U);
    EXPECT_EQ(manifest["sha256"]["10node_design/1500/throughput.txt"],
              HashFile(out / "10node_design/1500/throughput.txt").value());
}

// The second load point of SMALL, watched by the tools' own functions.
static TRACE WatchedDirectly(uint64_t from, uint64_t until)
{
    FreeState();
    SetPacketSize(g_settings.data_length);
    RandInitUniform();
    EXPECT_TRUE(AllocateState());
    for (int index = 0; index < 2; ++index) {
        SetOfferedLoad(g_settings.load_list[index]);
        StartLoadPoint();
        RunTicks(index == 0 ? g_settings.sim_ticks : from);
    }
    return Watch(until);
}

static std::string TableOf(const TRACE &trace)
{
    char *text = nullptr;
    size_t length = 0;
    FILE *file = open_memstream(&text, &length);
    EXPECT_TRUE(WriteTraceCsv(file, trace));
    std::fclose(file);
    std::string table(text, length);
    std::free(text);
    return table;
}

// Goes to the second load point.
static void EnterSecond()
{
    ASSERT_EQ(BeginTrace(), 1);
    EXPECT_EQ(EnterLoadPoint(), 1);
    RunTo(1e9); // at most to its end
    EXPECT_EQ(ClockTick(), 300000.0);
    EXPECT_EQ(EnterLoadPoint(), 2);
}

TEST_F(PageTest, TracesAsTheToolsDo)
{
    ASSERT_FALSE(Open(SMALL).contains("error"));
    EnterSecond();
    RunTo(100000);
    const json seen = json::parse(WatchTo(120000));
    const std::string table = TraceTable();
    const TRACE trace = WatchedDirectly(100000, 120000);
    EXPECT_EQ(table, TableOf(trace));
    ASSERT_GT(trace.frames.size(), 10U);
    ASSERT_EQ(seen["frames"].size(), trace.frames.size());
    EXPECT_EQ(seen["frames"][3]["begin"], trace.frames[3].begin);
    EXPECT_EQ(seen["frames"][3]["receiver"], trace.frames[3].receiver);
    for (const json &lane : seen["lanes"]) {
        uint64_t tick = 100000;
        for (const json &span : lane["phases"]) {
            EXPECT_EQ(span[0], tick);
            tick = span[1];
            EXPECT_FALSE(seen["phases"][span[2].get<size_t>()].is_null());
        }
        EXPECT_EQ(tick, 120000U);
    }
    const json story = json::parse(TellFrame(3));
    ASSERT_FALSE(story.empty());
    EXPECT_NE(story[0].get<std::string>().find(seen["frames"][3]["begin"].dump()),
              std::string::npos);
    EXPECT_TRUE(json::parse(TellFrame(1000000)).empty());
}

// What a run tells of a load point's beginning takes the place of those before it.
TEST_F(PageTest, BeginsATraceInTheMiddleOfASweep)
{
    ASSERT_FALSE(Open(SMALL).contains("error"));
    testing::internal::CaptureStdout();
    ASSERT_EQ(std::string(BeginRun((dir / "out").c_str())), "{}");
    const json step = json::parse(StepRun());
    while (json::parse(StepRun())["more"]) {
    }
    ASSERT_EQ(std::string(EndRun()), "{}");
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(BeginTrace(), 1);
    EXPECT_EQ(EnterLoadPointFrom(1, "0123"), 0);
    EXPECT_EQ(EnterLoadPointFrom(1, step["next"].get<std::string>().c_str()), 2);
    RunTo(200000);
    WatchTo(210000);
    const std::string table = TraceTable();
    EXPECT_EQ(table, TableOf(WatchedDirectly(200000, 210000)));
}

// At 30 Mbit/s there is all of it. The first one behind a tick, by the table of events.
TEST_F(PageTest, FindsWhatTheTraceShows)
{
    ASSERT_FALSE(Open(SMALL).contains("error"));
    g_settings.load_list[1] = 30000;
    constexpr uint64_t FROM = 20000;
    const TRACE trace = WatchedDirectly(FROM, g_settings.sim_ticks);
    const std::map<SOUGHT, EVENT_KIND> kinds = {{SOUGHT_COLLISION, EVENT_COLLISION},
                                                {SOUGHT_DROP, EVENT_DROP},
                                                {SOUGHT_TIMEOUT, EVENT_TIMEOUT}};
    for (const auto &[sought, kind] : kinds) {
        double expected = EMPTY;
        for (const TRACE_EVENT &event : trace.events) {
            if (event.kind == kind) {
                expected = static_cast<double>(event.tick);
                break;
            }
        }
        EnterSecond();
        RunTo(FROM);
        EXPECT_EQ(FindNext(sought, 1e9), expected) << "sought " << sought;
        EXPECT_TRUE(sought == SOUGHT_DROP || expected > 0);
    }
    EnterSecond();
    EXPECT_EQ(FindNext(SOUGHT_TIMEOUT, 10), EMPTY); // no frame takes so short
}

// A page that asks out of turn is told so, and loses nothing of what goes on.
TEST_F(PageTest, DoesNothingOutOfTurn)
{
    const auto is_refused = [](const char *answer) {
        return json::parse(answer).contains("error");
    };
    const std::string out = (dir / "out").string();
    ASSERT_TRUE(Open("{").contains("error"));
    EXPECT_TRUE(is_refused(BeginRun(out.c_str())));
    EXPECT_EQ(BeginTrace(), 0);
    ASSERT_FALSE(Open(SMALL).contains("error"));
    EXPECT_TRUE(is_refused(StepRun()));
    EXPECT_TRUE(is_refused(EndRun()));
    EXPECT_EQ(EnterLoadPoint(), 0);

    ASSERT_EQ(BeginTrace(), 1);
    RunTo(100);
    EXPECT_TRUE(is_refused(WatchTo(100)));
    EXPECT_EQ(FindNext(SOUGHT_COLLISION, 100), EMPTY);
    ASSERT_EQ(EnterLoadPoint(), 1);
    RunTo(100);
    for (const double until : {-1.0, 50.0, std::nan(""), -HUGE_VAL}) {
        RunTo(until);
        EXPECT_EQ(json::parse(WatchTo(until))["until"], 100);
        EXPECT_EQ(FindNext(SOUGHT_TIMEOUT, until), EMPTY);
        EXPECT_EQ(ClockTick(), 100.0);
    }
    EXPECT_TRUE(json::parse(TellFrame(-1)).empty());
    RunTo(HUGE_VAL);
    EXPECT_EQ(ClockTick(), 300000.0);

    testing::internal::CaptureStdout();
    ASSERT_EQ(std::string(BeginRun(out.c_str())), "{}"); // ends the trace
    const std::string start = json::parse(StepRun())["next"];
    EXPECT_TRUE(Open(SMALL).contains("error"));
    EXPECT_TRUE(is_refused(BeginRun(out.c_str())));
    EXPECT_TRUE(is_refused(EndRun()));
    EXPECT_EQ(BeginTrace(), 0);
    while (json::parse(StepRun())["more"]) {
    }
    EXPECT_TRUE(is_refused(StepRun()));
    EXPECT_EQ(std::string(EndRun()), "{}");
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(BeginTrace(), 1);
    for (const int32_t number : {-1, 6}) {
        EXPECT_EQ(EnterLoadPointFrom(number, start.c_str()), 0);
    }
}
