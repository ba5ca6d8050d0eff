// The state in which plain runs of the scenes end, against the one recorded in scene-hashes.txt: a
// rule that goes wrong in plain and fast runs alike shows here, whatever it changes in the state.
//
//   DCFSIM_SHOW_SCENE=NAME   prints the state at the end of that scene (Rts, 17), to be compared
//                            with what an older build prints
//   DCFSIM_RECORD=1          writes the file anew; the test fails all the same
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "driver/state.h"
#include "tests/chosen_scenes.h"
#include "tests/random_scene.h"
#include "tests/scene.h"
#include "tests/state_compare.h"

constexpr uint64_t RECORDED_SCENES = 1000; // random ones, from 1
static const std::string HASH_FILE = DCFSIM_SOURCE_DIR "/tests/scene-hashes.txt";

static std::string Variable(const char *name)
{
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// Runs the scene by plain ticking. Returns its line of the file.
static std::string LineOf(const std::string &name, const SCENE &scene, uint64_t ticks)
{
    SetUpScene(scene);
    RunScene(scene, scene.start_tick + ticks, true);
    const SNAPSHOT snapshot = TakeSnapshot();
    if (Variable("DCFSIM_SHOW_SCENE") == name) {
        std::printf("%s\n%s", DescribeScene(scene).c_str(), TextOf(snapshot).c_str());
    }
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016" PRIx64, HashOf(snapshot));
    return name + " " + hash + "\n";
}

static std::string LinesOfAllScenes()
{
    std::string lines;
    for (const SCENE &scene : ChosenScenes()) {
        lines += LineOf(scene.name, scene, SCENE_TICKS);
    }
    for (uint64_t number = 1; number <= RECORDED_SCENES; ++number) {
        const TRIAL trial = MakeTrial(number);
        lines += LineOf(std::to_string(number), trial.scene, trial.ticks);
    }
    FreeState();
    return lines;
}

// Names the scenes that end otherwise than recorded, not more than ten of them.
static void ReportDifferences(const std::string &recorded, const std::string &actual)
{
    constexpr int REPORTED = 10;
    std::istringstream old_lines(recorded);
    std::istringstream new_lines(actual);
    std::string report;
    std::string name;
    int num = 0;
    for (std::string was, is; !old_lines.eof() || !new_lines.eof();) {
        std::getline(old_lines, was);
        std::getline(new_lines, is);
        if (was != is) {
            name = is.substr(0, is.find(' '));
            if (num < REPORTED) {
                report.append(is).append(", recorded ").append(was).append("\n");
            }
            ++num;
        }
    }
    ADD_FAILURE() << num << " scenes end in another state than recorded in " << HASH_FILE << ":\n"
                  << report << "What is in a state: DCFSIM_SHOW_SCENE=" << name
                  << " dcfsim_tests --gtest_filter='SceneHashes.*'\n"
                  << "Compare that with what an older build prints. If it is as it should be:"
                  << " DCFSIM_RECORD=1";
}

TEST(SceneHashes, PlainRunsEndInTheRecordedState)
{
    const std::string actual = LinesOfAllScenes();
    if (Variable("DCFSIM_RECORD") == "1") {
        std::ofstream file(HASH_FILE, std::ios::binary);
        file << actual << std::flush;
        FAIL() << (file ? "recorded anew: " : "cannot be written: ") << HASH_FILE;
    }
    std::ifstream file(HASH_FILE, std::ios::binary);
    const std::string recorded{std::istreambuf_iterator<char>(file), {}};
    if (actual != recorded) {
        ReportDifferences(recorded, actual);
    }
}

// Values that only change places, or are there once more, are told apart.
TEST(SceneHashes, EveryPlaceCounts)
{
    SetUpScene({.sendings = {{0, 0, 1, 3}, {0, 2, 3, 3}}});
    const uint64_t before = HashOf(TakeSnapshot());
    int32_t *const places[] = {
        &node[0].timeout_num,       &node[1].timeout_num,
        &node[0].timeout_hop[0],    &node[0].timeout_hop[1],
        &node[0].buffer[1].corrupt, &node[0].buffer[2].corrupt,
        &node[2].buffer[1].corrupt, &col[0][1][0].total,
        &col[0][1][1].total,        &col[1][0][0].total,
        &dp[0][1][0].total,         &node[0].rx_frame.nav_value,
        &node[0].buffer[0].corrupt, &flag_col[0],
    };
    std::vector<uint64_t> hashes = {before};
    for (int32_t *place : places) {
        ASSERT_EQ(*place, 0);
        for (const int32_t value : {1, -1}) {
            *place = value;
            hashes.push_back(HashOf(TakeSnapshot()));
            *place = 0;
        }
    }
    EXPECT_EQ(HashOf(TakeSnapshot()), before);
    std::ranges::sort(hashes);
    EXPECT_EQ(std::ranges::adjacent_find(hashes), hashes.end());
    FreeState();
}
