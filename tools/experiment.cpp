// dcfsim-experiment: runs the experiment of a file.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "driver/program.h"
#include "driver/settings.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "output/settings_json.h"
#include "tools/experiment_file.h"
#include "tools/experiment_list.h"
#include "tools/experiment_run.h"
#include "tools/experiment_warnings.h"
#include "tools/options.h"
#include "tools/plain_file.h"
#include "tools/progress.h"

using STEADY = std::chrono::steady_clock;

static const char PROGRAM[] = "dcfsim-experiment";

constexpr int64_t LONGEST_INTERVAL_MS = 2'000'000; // the longest load point

struct OPTIONS {
    std::string file;
    std::string out = "./result";
    bool plain = false;
    bool check = false;
    std::string packets;
    std::pair<int64_t, std::string> series = {0, ""}; // milliseconds, file
};

static void ShowProgress(double share)
{
    static const STEADY::time_point begin = STEADY::now();
    const int all = g_settings.load_num * g_settings.trial_num;
    const double elapsed = std::chrono::duration<double>(STEADY::now() - begin).count();
    ShowBar(static_cast<int>(share * all), all, "load points", share, elapsed);
}

// Lets the model print into nothing, and keeps the terminal for the progress.
static bool SilenceModel()
{
    FILE *terminal = fdopen(dup(STDOUT_FILENO), "w");
    if (terminal == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
        return false;
    }
    SetProgressStream(terminal);
    return true;
}

static int Run(const OPTIONS &options)
{
    const std::string bad = ReadExperiment(options.file, g_settings);
    if (!bad.empty()) {
        Fail(PROGRAM, bad);
        return STATUS_USAGE;
    }
    const std::vector<std::string> warnings = WarningsOf(g_settings);
    for (const std::string &warning : warnings) {
        Fail(PROGRAM, OneLine(options.file + ": warning: " + warning));
    }
    FixSeed();
    if (options.check) {
        const std::string text = SettingsAsJson(g_settings, 0) + "\n";
        const bool is_printed = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
        return is_printed ? 0 : Fail(PROGRAM, "standard output cannot be written");
    }
    const EXPERIMENT_RUN run{PROGRAM,         options.out,           warnings,
                             options.packets, options.series.second, options.series.first};
    const std::string refusal = PrepareExperiment(run);
    if (!refusal.empty()) {
        return Fail(PROGRAM, refusal);
    }
    if (!SilenceModel()) {
        return Fail(PROGRAM, std::string("standard output: ") + std::strerror(errno));
    }
    g_plain_ticking = options.plain;
    g_on_progress = ShowProgress;
    const std::string why = RunExperiment(run);
    WipeBar();
    return why.empty() ? 0 : Fail(PROGRAM, why);
}

static int Main(int argc, char **argv)
{
    OPTIONS options;
    CLI::App app("Runs the experiment of FILE and writes its results below the directory of --out.",
                 PROGRAM);
    const auto *file =
        app.add_option("FILE", options.file, "Experiment, a JSON file; {} is the published one");
    app.add_option("-o,--out", options.out, "Directory of the results, ./result unless given")
        ->option_text("DIR")
        ->check([](const std::string &dir) { return dir.empty() ? "no directory is named" : ""; });
    app.add_flag("--plain", options.plain, "Visit every station in every tick: same bytes, slower");
    app.add_option("--packets", options.packets,
                   "Write a row for each packet delivered or dropped in the window, as CSV")
        ->option_text("FILE");
    app.add_option("--series", options.series,
                   "Write a row for each flow and interval of MS milliseconds, as CSV")
        ->option_text("MS FILE");
    app.add_flag("--check", options.check,
                 "Print the experiment with all defaults filled in, and run nothing");
    bool list = false;
    app.add_flag("--list", list, "Show the experiments that come with the program, a line each")
        ->excludes("FILE", "--out", "--plain", "--check");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    if (list) {
        return ListExperiments(PROGRAM);
    }
    if (file->count() == 0) {
        Fail(PROGRAM, "FILE is required; try 'dcfsim-experiment --help'");
        return STATUS_USAGE;
    }
    if (!options.series.second.empty() &&
        (options.series.first < 1 || options.series.first > LONGEST_INTERVAL_MS)) {
        Fail(PROGRAM, "--series: an interval of " + std::to_string(options.series.first) +
                          " ms; allowed: 1 .. " + std::to_string(LONGEST_INTERVAL_MS));
        return STATUS_USAGE;
    }
    if (!options.packets.empty() && options.packets == options.series.second) {
        Fail(PROGRAM, "--packets and --series name one file; give each its own");
        return STATUS_USAGE;
    }
    return Run(options);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
