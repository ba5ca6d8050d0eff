// Whole runs of the program.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "driver/state.h"
#include "driver/wake.h"
#include "tests/signature.h"

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
