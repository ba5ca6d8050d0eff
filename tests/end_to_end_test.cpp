// Whole runs of the program.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/stat.h>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tests/signature.h"
#include "topology/random.h"

// A part that differs names the file.
TEST(EndToEnd, SignatureIsTheRecordedOne)
{
    std::ifstream file(DCFSIM_SOURCE_DIR "/tests/signature.txt");
    std::string total;
    std::getline(file, total);
    const std::string parts{std::istreambuf_iterator<char>(file), {}};
    for (const char *way : {"fast", "plain", "fast again"}) {
        const SIGNATURE actual = Signature(way == std::string("plain"));
        EXPECT_EQ(actual.parts, parts) << way;
        EXPECT_EQ(actual.total, total) << way;
    }
}

// Recorded like the other one: a run with the other generator must stay what it is, too.
TEST(EndToEnd, SignatureWithTheMersenneTwister)
{
    const SIGNATURE fast = Signature(false, GENERATOR_MERSENNE);
    EXPECT_EQ(fast.parts, Signature(true, GENERATOR_MERSENNE).parts);
    EXPECT_EQ(fast.total, "55acdc99a9e5d87a");
    g_settings = {};
}

static std::string ReadManifest(const std::string &dir)
{
    std::ifstream file(dir + "/result/manifest.json");
    return {std::istreambuf_iterator<char>(file), {}};
}

// Found during the run it says that the run has not ended; behind it, how long it took. The hashes
// of older results are gone by then.
TEST(EndToEnd, ManifestTellsTheSeedAndTheEnd)
{
    static std::string during;
    static std::string dir;
    static std::string hashes;
    dir = MakeScratchDirectory();
    hashes = dir + "/result/10node_design/1500/SHA256SUMS";
    std::filesystem::create_directories(dir + "/result/10node_design/1500");
    std::ofstream(dir + "/result/manifest.json") << "of an older run";
    std::ofstream(hashes) << "of an older run";
    g_settings = {};
    g_settings.trial_num = g_settings.load_num = 1;
    g_settings.sim_ticks = 1000;
    g_clock = [] { return int64_t{1'700'000'000}; };
    g_on_progress = [](double) {
        during = ReadManifest(dir);
        EXPECT_FALSE(std::filesystem::exists(hashes));
    };
    RunProgramIn(dir);
    g_on_progress = nullptr;
    EXPECT_FALSE(std::filesystem::exists(hashes));
    const std::string after = ReadManifest(dir);
    const std::string seed = "\n        \"seed\": 1700000000,\n";
    EXPECT_NE(during.find(seed), std::string::npos) << during;
    EXPECT_NE(during.find("\n    \"complete\": false\n}\n"), std::string::npos) << during;
    EXPECT_NE(after.find(seed), std::string::npos) << after;
    EXPECT_NE(after.find("\n    \"generator\": \"lcg-16807\",\n"), std::string::npos) << after;
    EXPECT_NE(after.find("\n    \"wall_time_s\": 0."), std::string::npos) << after;
    EXPECT_NE(after.find(",\n    \"complete\": true\n}\n"), std::string::npos) << after;
    // A run whose results were not all written does not say that it is complete.
    std::filesystem::remove(dir + "/result/10node_design/1500/drop.txt");
    std::filesystem::create_symlink("/dev/full", dir + "/result/10node_design/1500/drop.txt");
    g_settings.seed = SEED_FROM_CLOCK;
    g_settings.generator = GENERATOR_MERSENNE;
    g_settings.replication = 3;
    RunProgramIn(dir);
    const std::string generator = "\n    \"generator\": \"mt19937-64\",\n    \"replication\": 3,\n";
    EXPECT_NE(ReadManifest(dir).find(generator), std::string::npos) << ReadManifest(dir);
    EXPECT_NE(ReadManifest(dir).find("\"complete\": false\n"), std::string::npos);
    std::filesystem::remove_all(dir);
}

TEST(EndToEnd, DirectoriesAreOpenToReaders)
{
    const std::string dir = MakeScratchDirectory();
    g_settings = {};
    g_settings.trial_num = g_settings.load_num = 1;
    g_settings.sim_ticks = 1000;
    const mode_t mask = umask(0);
    RunProgramIn(dir);
    umask(mask);
    std::string path = dir;
    for (const char *name : {"/result", "/10node_design", "/1500", "/fig"}) {
        path += name;
        const auto mode = static_cast<unsigned>(std::filesystem::status(path).permissions());
        EXPECT_EQ(mode, 0755U) << path;
    }
    std::filesystem::remove_all(dir);
}

TEST(EndToEnd, GoesOnWithoutResultFiles)
{
    const std::string message = "ファイルを開けません.\n";
    const std::string dir = MakeScratchDirectory();
    std::ofstream(dir + "/result") << "in the way";
    g_plain_ticking = false;
    g_settings = {};
    g_settings.trial_num = 1;
    g_settings.load_num = 2;
    g_settings.load_list[1] = 35'000;
    g_settings.sim_ticks = 20'000;
    const RUN run = RunProgramIn(dir);
    EXPECT_EQ(run.status, 0);
    int messages = 0;
    for (size_t at = 0; (at = run.output.find(message, at)) != std::string::npos; ++at) {
        ++messages;
    }
    EXPECT_EQ(messages, 43);
    EXPECT_NE(run.output.find("g_counter=2\n"), std::string::npos); // both loads were run
    std::filesystem::remove_all(dir);
}
