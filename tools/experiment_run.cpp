#include "tools/experiment_run.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

#include "driver/program.h"
#include "driver/settings.h"
#include "driver/state.h"
#include "driver/sweep.h"
#include "output/files.h"
#include "output/manifest.h"
#include "tools/flow_watch.h"
#include "tools/hashes.h"
#include "tools/result_tree.h"
#include "tools/run_hashes.h"

namespace fs = std::filesystem;

std::string PrepareExperiment(const EXPERIMENT_RUN &run)
{
    SetPacketSize(g_settings.data_length);
    const std::string dir = ResultDirectory(run.out);
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
    return "";
}

// Adds the hashes of the result files in `dir`, by path.
static void HashResults(const std::string &dir, std::map<std::string, std::string> &hashes)
{
    for (const char *name : {RESULT_FILES(FILE_NAME)}) {
        const std::string path = dir + "/" + name;
        hashes[path] = HashResult(path).value_or("");
    }
#undef FILE_NAME
}

std::string BeginExperiment(const EXPERIMENT_RUN &run)
{
    const std::string dir = ResultDirectory(run.out);
    std::string why = BeginWatch({dir + "/" + FLOW_FILE, run.packets, run.series, run.interval_ms});
    if (why.empty()) {
        why = BeginManifest(run.out + "/manifest.json", run.program, run.warnings);
    }
    if (why.empty()) {
        OpenPacketSize(g_settings.data_length, run.out);
        BeginSweep();
    }
    return why;
}

std::string EndExperiment(const EXPERIMENT_RUN &run)
{
    const std::string dir = ResultDirectory(run.out);
    EndSweep();
    const bool is_written = ClosePacketSize();
    std::map<std::string, std::string> hashes;
    const std::string lost = EndWatch(is_written, hashes);
    const bool is_complete = is_written && lost.empty();
    if (is_complete) {
        HashResults(dir, hashes);
    }
    const std::string ended =
        EndManifest(is_complete, is_complete ? HashMember(hashes, run.out) : "");
    if (!is_written) {
        return dir + ": not all results could be written; is the disk full?";
    }
    return lost.empty() ? ended : lost;
}

std::string RunExperiment(const EXPERIMENT_RUN &run)
{
    std::string why = BeginExperiment(run);
    if (!why.empty()) {
        return why;
    }
    while (StepSweep()) {
    }
    return EndExperiment(run);
}
