#include "tools/replication.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "driver/program.h"
#include "driver/settings.h"
#include "output/version.h"
#include "tools/hashes.h"
#include "tools/read_tree.h"
#include "tools/replace_file.h"
#include "topology/random.h"

using nlohmann::json;
using SECONDS = std::chrono::duration<double>;
using STEADY = std::chrono::steady_clock;

static int64_t g_seed; // what the clock shows

static std::string TimeText(time_t time)
{
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&time));
    return text;
}

// A thousandth of every load point. Rates are still reckoned by the full window, so the figures
// of a quick run show its shape and nothing else.
static void ShortenLoadPoints()
{
    constexpr uint64_t SHORTENED = 1000;
    g_settings.sim_ticks /= SHORTENED;
    g_settings.window_begin /= SHORTENED;
    g_settings.window_end /= SHORTENED;
}

std::string Replicate(const REPLICATION &replication)
{
    const time_t start = std::time(nullptr);
    const STEADY::time_point begin = STEADY::now();
    if (std::freopen("stdout.txt", "w", stdout) == nullptr) {
        return std::string("stdout.txt: ") + std::strerror(errno);
    }
    g_seed = replication.seed;
    g_clock = []() { return g_seed; };
    g_settings.generator = replication.generator;
    g_settings.replication = replication.number;
    if (replication.quick) {
        ShortenLoadPoints();
    }
    const int status = RunProgram();
    if (status != 0 || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return "stdout.txt could not be written, or the simulation failed";
    }
    std::string error = ReadResultTree(FindTree("."), [](auto &&...) {});
    if (!error.empty()) {
        return error;
    }
    const std::optional<std::string> hash = HashTree("result");
    if (!hash) {
        return "the result tree could not be hashed";
    }
    json manifest = {
        {"seed", replication.seed},      {"generator", GENERATOR_NAMES[replication.generator]},
        {"quick", replication.quick},    {"version", ProgramVersion()},
        {"commit", ProgramCommit()},     {"compiler", ProgramCompiler()},
        {"start_time", TimeText(start)}, {"wall_time_s", SECONDS(STEADY::now() - begin).count()},
        {"tree_sha256", *hash},
    };
    if (replication.generator == GENERATOR_MERSENNE) {
        manifest["replication"] = replication.number;
    }
    syncfs(fileno(stdout));
    return ReplaceFile("manifest.json", manifest.dump(4) + "\n");
}
