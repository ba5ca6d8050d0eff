// The program where its files or its standard output cannot be had: it ends by itself with status
// 0, reports each file that it cannot open, and all else is as in an undisturbed run.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "driver/program.h"
#include "driver/state.h"
#include "driver/tick.h"
#include "output/files.h"
#include "tests/signature.h"
#include "topology/random.h"

namespace fs = std::filesystem;

static const std::string MESSAGE = "ファイルを開けません.\n";

// How a run is disturbed.
struct ATTACK {
    const char *name;
    std::vector<const char *> directories; // stand where these result files should be
    std::vector<const char *> full;        // result files on a full disk
    std::string output;                    // where standard output goes; empty: closed
    rlim_t descriptors;                    // that the process may have; 0: no limit
};

static void PrintTo(const ATTACK &attack, std::ostream *out)
{
    *out << attack.name;
}

// What a run leaves behind. A result file that is not there, or is no plain file, is left out.
struct TRACES {
    int status;         // as waitpid tells
    int messages;       // files reported
    std::string output; // the rest of what was printed
    std::map<std::string, std::string> files;
};

static std::string ReadFile(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The disturbed process: a short run under a fixed clock.
[[noreturn]] static void RunAttacked(const std::string &dir, const ATTACK &attack)
{
    fs::current_path(dir);
    close(STDOUT_FILENO);
    if (!attack.output.empty()) {
        open(attack.output.c_str(), O_CREAT | O_WRONLY, 0600);
    }
    if (attack.descriptors != 0) {
        const rlimit limit = {attack.descriptors, attack.descriptors};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    g_plain_ticking = false;
    g_settings = {};
    g_settings.trial_num = 1;
    g_settings.load_num = 2;
    g_settings.load_list[1] = 35'000;
    g_settings.sim_ticks = 200'000;
    g_settings.window_begin = 0;
    g_clock = [] { return int64_t{1'700'000'000}; };
    FreeState(); // what a test of the model has left
    std::exit(RunProgram());
}

static TRACES Attack(const ATTACK &attack)
{
    const std::string dir = MakeScratchDirectory();
    const fs::path results = fs::path(dir) / "result/10node_design/1500";
    fs::create_directories(results);
    for (const char *name : attack.directories) {
        fs::create_directory(results / name);
    }
    for (const char *name : attack.full) {
        fs::create_symlink("/dev/full", results / name);
    }
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        RunAttacked(dir, attack);
    }
    TRACES traces = {};
    waitpid(child, &traces.status, 0);
    std::string &output = traces.output;
    output = ReadFile(fs::path(dir) / "output");
    for (size_t at = 0; (at = output.find(MESSAGE, at)) != std::string::npos;) {
        output.erase(at, MESSAGE.size());
        ++traces.messages;
    }
#define FILE_NAME(stream, name) name,
    for (const char *name : {RESULT_FILES(FILE_NAME)}) {
        if (fs::is_regular_file(results / name)) {
            traces.files[name] = ReadFile(results / name);
        }
    }
#undef FILE_NAME
    fs::remove_all(dir);
    return traces;
}

class Attacked : public testing::TestWithParam<ATTACK>
{
};

TEST_P(Attacked, AllElseIsRight)
{
    constexpr int FILE_NUM = 43;
    const ATTACK &attack = GetParam();
    const TRACES wanted = Attack({"Undisturbed", {}, {}, "output", 0});
    ASSERT_EQ(wanted.files.size(), FILE_NUM);
    EXPECT_EQ(wanted.messages, 0);
    const TRACES actual = Attack(attack);
    EXPECT_EQ(actual.status, 0);
    const size_t missing = FILE_NUM - actual.files.size();
    if (attack.descriptors != 0) {
        EXPECT_GT(actual.files.size(), 0); // those that are opened first
        EXPECT_GT(missing, 0);
    } else {
        EXPECT_EQ(missing, attack.directories.size() + attack.full.size());
    }
    if (attack.output == "output") {
        EXPECT_EQ(actual.output, wanted.output);
        EXPECT_EQ(actual.messages, missing - attack.full.size());
    }
    for (const auto &[name, content] : actual.files) {
        EXPECT_EQ(content, wanted.files.at(name)) << name;
    }
}

// clang-format off
static const ATTACK ATTACKS[] = {
    {"DirectoriesInTheWay", {"result.txt", "throughput.txt", "node_stat.txt"}, {}, "output", 0},
    {"FullDisk", {}, {"result.txt", "collision.txt", "y_node.txt"}, "output", 0},
    {"TooFewDescriptors", {}, {}, "output", 20},
    {"StandardOutputFull", {}, {}, "/dev/full", 0},
    {"StandardOutputClosed", {}, {}, "", 0},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(All, Attacked, testing::ValuesIn(ATTACKS),
                         [](const auto &attack) { return std::string(attack.param.name); });
