// dcfsim-experiment: runs the experiment of a file.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "driver/program.h"
#include "driver/settings.h"
#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "output/files.h"
#include "output/manifest.h"
#include "output/settings_json.h"
#include "tools/experiment_file.h"
#include "tools/experiment_list.h"
#include "tools/experiment_warnings.h"
#include "tools/options.h"
#include "tools/plain_file.h"
#include "tools/progress.h"

namespace fs = std::filesystem;
using STEADY = std::chrono::steady_clock;

static const char PROGRAM[] = "dcfsim-experiment";

struct OPTIONS {
    std::string file;
    std::string out = "./result";
    bool plain = false;
    bool check = false;
};

// Makes the directory of the results and opens every result file for a moment, so that a run never
// works for nothing. Returns what stands against it, or an empty text.
static std::string PrepareDirectory(const std::string &dir)
{
    std::error_code error;
    fs::create_directories(dir + "/fig", error);
    if (error) {
        return dir + ": cannot be made: " + error.message();
    }
#define FILE_NAME(stream, name) name,
    for (const char *name : {RESULT_FILES(FILE_NAME)}) {
        const std::string path = dir + "/" + name;
        FILE *file = std::fopen(path.c_str(), "a");
        if (file == nullptr) {
            return path + ": cannot be written: " + std::strerror(errno);
        }
        std::fclose(file);
    }
#undef FILE_NAME
    return "";
}

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
    const std::string why = ReadExperiment(options.file, g_settings);
    if (!why.empty()) {
        Fail(PROGRAM, why);
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
    SetPacketSize(g_settings.data_length);
    const std::string dir = ResultDirectory(options.out);
    const std::string refusal = PrepareDirectory(dir);
    if (!refusal.empty()) {
        return Fail(PROGRAM, refusal);
    }
    if (!SilenceModel()) {
        return Fail(PROGRAM, std::string("standard output: ") + std::strerror(errno));
    }
    const std::string begun = BeginManifest(options.out + "/manifest.json", PROGRAM, warnings);
    if (!begun.empty()) {
        return Fail(PROGRAM, begun);
    }
    g_plain_ticking = options.plain;
    g_on_progress = ShowProgress;
    const bool is_written = RunPacketSize(g_settings.data_length, options.out);
    WipeBar();
    const std::string ended = EndManifest(is_written);
    if (!is_written) {
        return Fail(PROGRAM, dir + ": not all results could be written; is the disk full?");
    }
    return ended.empty() ? 0 : Fail(PROGRAM, ended);
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
    return Run(options);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
