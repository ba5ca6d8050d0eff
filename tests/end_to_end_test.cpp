// Whole runs of the program.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "driver/state.h"
#include "driver/wake.h"
#include "tests/signature.h"

TEST(EndToEnd, SignatureIsTheRecordedOne)
{
    std::ifstream file(DCFSIM_SOURCE_DIR "/tests/signature.txt");
    std::string recorded;
    std::getline(file, recorded);
    EXPECT_EQ(Signature(false), recorded);
    EXPECT_EQ(Signature(true), recorded) << "by plain ticking";
    EXPECT_EQ(Signature(false), recorded) << "again";
}

TEST(EndToEnd, GoesOnWithoutResultFiles)
{
    const std::string message = "ファイルを開けません.\n";
    const std::string dir = MakeScratchDirectory();
    std::ofstream(dir + "/result") << "in the way";
    g_plain_ticking = false;
    g_settings = {};
    g_settings.trial_num = 1;
    g_settings.load_step_kbps = 35'000;
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
