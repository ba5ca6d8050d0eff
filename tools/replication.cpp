#include "tools/replication.h"

#include <algorithm>
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
#include "output/settings_json.h"
#include "output/version.h"
#include "tools/experiment_run.h"
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
    const uint64_t ticks = std::max<uint64_t>(g_settings.sim_ticks / SHORTENED, 1);
    g_settings.sim_ticks = ticks;
    g_settings.window_begin = std::min(g_settings.window_begin / SHORTENED, ticks - 1);
    g_settings.window_end /= SHORTENED;
}

// Runs the experiment of `g_settings` into ./result. Returns what went wrong, or an empty text.
static std::string Run(const REPLICATION &replication)
{
    if (replication.experiment == nullptr) {
        return RunProgram() == 0 ? "" : "the simulation failed";
    }
    const EXPERIMENT_RUN run{"dcfsim-replicate", RESULT_FOLDER, replication.warnings, "", ""};
    const std::string why = PrepareExperiment(run);
    return why.empty() ? RunExperiment(run) : why;
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
    if (replication.experiment != nullptr) {
        g_settings = *replication.experiment;
        g_settings.seed = g_seed;
    }
    g_settings.generator = replication.generator;
    g_settings.replication = replication.number;
    const std::string experiment = SettingsAsJson(g_settings, 0); // less what makes it quick
    if (replication.quick) {
        ShortenLoadPoints();
    }
    std::string error = Run(replication);
    if (error.empty() && (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)) {
        error = "stdout.txt could not be written";
    }
    if (error.empty()) {
        const bool has_flows = replication.experiment != nullptr;
        const TREE_FORM &form =
            has_flows ? FormOf(*replication.experiment, has_flows) : PublishedForm();
        error = ReadResultTree(form, FindTree("."), [](auto &&...) {});
    }
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
    if (replication.experiment != nullptr) {
        manifest["experiment"] = json::parse(experiment);
    }
    syncfs(fileno(stdout));
    return ReplaceFile("manifest.json", manifest.dump(4) + "\n");
}
