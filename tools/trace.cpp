// dcfsim-trace: what every station of an experiment does in some ticks of a load point.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "driver/program.h"
#include "driver/settings.h"
#include "driver/state.h"
#include "driver/station_set.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tools/experiment_file.h"
#include "tools/options.h"
#include "tools/progress.h"
#include "tools/replace_file.h"
#include "tools/trace_forms.h"
#include "tools/watch.h"
#include "topology/random.h"

namespace fs = std::filesystem;
using STEADY = std::chrono::steady_clock;

static const char PROGRAM[] = "dcfsim-trace";

struct OPTIONS {
    std::string experiment;
    int32_t load_kbps = 0;
    int32_t trial = 1;
    uint64_t from = 0;
    uint64_t ticks = 0;
    int64_t seed = SEED_FROM_CLOCK;
    std::string svg;
    std::string pcap;
    std::string perfetto;
    std::string csv;
    int32_t at = EMPTY;
    std::vector<int32_t> stations;
};

// A file that is asked for, and who fills it.
struct OUTPUT {
    std::string path;
    std::function<bool(FILE *file, const TRACE &trace)> write;
};

static std::string TitleOf(const OPTIONS &options)
{
    return "Load " + std::to_string(options.load_kbps) + " kbit/s, trial " +
           std::to_string(options.trial) + ", ticks " + std::to_string(options.from) + " to " +
           std::to_string(options.from + options.ticks) + ", seed " +
           std::to_string(g_settings.seed);
}

static std::vector<OUTPUT> OutputsOf(const OPTIONS &options)
{
    uint32_t stations = options.stations.empty() ? ALL_STATIONS : 0;
    for (const int32_t station : options.stations) {
        Put(stations, station, true);
    }
    std::vector<OUTPUT> outputs;
    if (!options.svg.empty()) {
        outputs.push_back({options.svg, [=](FILE *file, const TRACE &trace) {
                               return WriteTraceSvg(file, trace, stations, TitleOf(options));
                           }});
    }
    if (!options.pcap.empty()) {
        outputs.push_back({options.pcap, [=](FILE *file, const TRACE &trace) {
                               return WriteTracePcap(file, trace, options.at);
                           }});
    }
    if (!options.perfetto.empty()) {
        outputs.push_back({options.perfetto, WriteTracePerfetto});
    }
    if (!options.csv.empty()) {
        outputs.push_back({options.csv, WriteTraceCsv});
    }
    return outputs;
}

// The place of the load in the experiment's list, EMPTY if it is not there.
static int32_t LoadIndex(int32_t load_kbps)
{
    for (int32_t i = 0; i < g_settings.load_num; ++i) {
        if (g_settings.load_list[i] == load_kbps) {
            return i;
        }
    }
    return EMPTY;
}

// What cannot be traced of the experiment in `g_settings`; empty if all can.
static std::string Refusal(const OPTIONS &options)
{
    if (LoadIndex(options.load_kbps) == EMPTY) {
        std::string loads;
        for (int32_t i = 0; i < g_settings.load_num; ++i) {
            loads += (i == 0 ? "" : ", ") + std::to_string(g_settings.load_list[i]);
        }
        constexpr size_t LONGEST = 400;
        return "--load: " + std::to_string(options.load_kbps) +
               " is no load of the experiment; allowed: " +
               (loads.size() > LONGEST ? loads.substr(0, LONGEST) + " ..." : loads);
    }
    if (options.trial > g_settings.trial_num) {
        return "--trial: " + std::to_string(options.trial) + "; the experiment has 1 to " +
               std::to_string(g_settings.trial_num);
    }
    if (options.from >= g_settings.sim_ticks ||
        options.ticks > g_settings.sim_ticks - options.from) {
        return "--from " + std::to_string(options.from) + " --ticks " +
               std::to_string(options.ticks) + ": behind the end; a load point has " +
               std::to_string(g_settings.sim_ticks) + " ticks";
    }
    if (!options.svg.empty() && options.ticks > SVG_TICKS) {
        return "--svg: at most " + std::to_string(SVG_TICKS) + " ticks are drawn, not " +
               std::to_string(options.ticks);
    }
    std::vector<std::string> paths;
    for (const OUTPUT &output : OutputsOf(options)) {
        std::error_code error;
        paths.push_back(fs::weakly_canonical(fs::absolute(output.path), error).string());
        if (std::count(paths.begin(), paths.end(), paths.back()) > 1) {
            return output.path + ": named twice; name a file of its own for each form";
        }
    }
    return paths.empty() ? "nothing to write; give --svg, --pcap, --perfetto or --csv" : "";
}

// Runs the network fast up to `until`, and shows how much of all that comes before the watch is
// behind. `done` of `all` ticks were so before.
static void RunFast(uint64_t until, uint64_t done, uint64_t all)
{
    static const STEADY::time_point begin = STEADY::now();
    constexpr uint64_t STEP = 4'000'000;
    while (g_sim_time < until) {
        RunTicks(std::min(g_sim_time + STEP, until));
        const uint64_t behind = done + g_sim_time;
        ShowBar(static_cast<int>(behind / g_settings.sim_ticks),
                static_cast<int>(all / g_settings.sim_ticks) + 1, "load points",
                static_cast<double>(behind) / static_cast<double>(all),
                std::chrono::duration<double>(STEADY::now() - begin).count());
    }
}

// Runs the experiment up to the first tick of the watch. The random numbers go on from load point
// to load point, so all those before are run too.
static bool RunUpTo(const OPTIONS &options)
{
    if (!AllocateState()) {
        return false;
    }
    const int64_t before =
        int64_t{options.trial - 1} * g_settings.load_num + LoadIndex(options.load_kbps);
    const uint64_t all = static_cast<uint64_t>(before) * g_settings.sim_ticks + options.from;
    RandInitUniform();
    for (int64_t point = 0; point <= before; ++point) {
        SetOfferedLoad(g_settings.load_list[point % g_settings.load_num]);
        StartLoadPoint();
        RunFast(point < before ? g_settings.sim_ticks : options.from,
                static_cast<uint64_t>(point) * g_settings.sim_ticks, all);
    }
    WipeBar();
    return true;
}

static int Run(const OPTIONS &options)
{
    std::string why =
        options.experiment.empty() ? "" : ReadExperiment(options.experiment, g_settings);
    if (options.seed != SEED_FROM_CLOCK) {
        g_settings.seed = options.seed;
    }
    FixSeed();
    why = why.empty() ? Refusal(options) : why;
    if (!why.empty()) {
        Fail(PROGRAM, why);
        return STATUS_USAGE;
    }
    SetPacketSize(g_settings.data_length);
    const std::vector<OUTPUT> outputs = OutputsOf(options);
    std::vector<std::unique_ptr<REPLACEMENT>> files;
    for (const OUTPUT &output : outputs) {
        files.push_back(std::make_unique<REPLACEMENT>(output.path));
        if (!files.back()->Error().empty()) {
            return Fail(PROGRAM, files.back()->Error());
        }
    }
    if (!RunUpTo(options)) {
        return Fail(PROGRAM, "memory is short");
    }
    const TRACE trace = Watch(options.from + options.ticks);
    for (size_t i = 0; i < outputs.size(); ++i) {
        const std::string &error = files[i]->Commit(outputs[i].write(files[i]->File(), trace));
        if (!error.empty()) {
            return Fail(PROGRAM, error);
        }
    }
    PrintLine(TitleOf(options) + ": " + std::to_string(trace.frames.size()) + " frames, " +
              std::to_string(trace.events.size()) + " events");
    return 0;
}

// A file name, which may not be empty.
static CLI::Option *AddFile(CLI::App &app, const char *name, std::string &path, const char *what)
{
    return app.add_option(name, path, what)
        ->check([](const std::string &text) { return text.empty() ? "no file is named" : ""; })
        ->option_text("FILE");
}

static int Main(int argc, char **argv)
{
    constexpr uint64_t LAST_TICK = 2'000'000'000;
    OPTIONS options;
    CLI::App app("Shows what every station does in some ticks of an experiment: as a drawing, a "
                 "packet capture, a trace for the Perfetto viewer, or a table of events.",
                 PROGRAM);
    app.add_option("EXPERIMENT", options.experiment,
                   "Experiment, a JSON file; the published one unless given");
    app.add_option("--load", options.load_kbps, "Offered load in kbit/s, one of the experiment")
        ->required()
        ->check(CLI::NonNegativeNumber)
        ->option_text("KBPS");
    app.add_option("--trial", options.trial, "Trial, 1 unless given")
        ->check(CLI::Range(1, 1000))
        ->option_text("N");
    app.add_option("--from", options.from, "First tick watched")
        ->required()
        ->check(CLI::Range(uint64_t{0}, LAST_TICK))
        ->option_text("TICK");
    app.add_option("--ticks", options.ticks, "Number of ticks watched")
        ->required()
        ->check(CLI::Range(uint64_t{1}, LAST_TICK))
        ->option_text("N");
    app.add_option("--seed", options.seed, "Seed, in place of that of the experiment")
        ->check(CLI::Range(int64_t{0}, INT64_MAX))
        ->option_text("SEED");
    CLI::Option *svg = AddFile(app, "--svg", options.svg, "Draw a lane for each station");
    CLI::Option *pcap =
        AddFile(app, "--pcap", options.pcap, "Write the frames as a packet capture");
    AddFile(app, "--perfetto", options.perfetto, "Write trace events for the Perfetto viewer");
    AddFile(app, "--csv", options.csv, "Write a table of all events");
    app.add_option("--at", options.at, "Capture what STATION receives, not all that is sent")
        ->check(CLI::Range(0, NODE_NUM - 1))
        ->needs(pcap)
        ->option_text("STATION");
    app.add_option("--stations", options.stations, "Draw these stations only, as 0,1,2")
        ->check(CLI::Range(0, NODE_NUM - 1))
        ->delimiter(',')
        ->needs(svg)
        ->option_text("LIST");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    return Run(options);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
