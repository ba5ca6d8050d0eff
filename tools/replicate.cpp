// dcfsim-replicate: independent replications of the whole experiment, and their summary.
//
//     DIR/campaign.json       first seed, so that the same command goes on with the same seeds
//     DIR/seed-N/             a finished replication: result/, stdout.txt, manifest.json
//     DIR/.partial-N/         one that is being run, or was interrupted; renamed when complete
//     DIR/.partial-N.lock     held while seed N is being run, by whatever process
//     DIR/summary.csv
//
// The seed is all that two replications differ in: the model seeds itself from its clock, which
// stands still at the seed here. Each replication is a process of its own.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "driver/program.h"
#include "driver/state.h"
#include "output/manifest.h"
#include "tools/hashes.h"
#include "tools/options.h"
#include "tools/progress.h"
#include "tools/read_tree.h"
#include "tools/summary.h"
#include "topology/random.h"

namespace fs = std::filesystem;
using nlohmann::json;
using SECONDS = std::chrono::duration<double>;
using STEADY = std::chrono::steady_clock;

static const char PROGRAM[] = "dcfsim-replicate";
constexpr int STATUS_TOLD = 3;                     // of a child that has said itself why it failed
constexpr int64_t LARGEST_SEED = RAND_MODULUS - 1; // from there on the streams repeat

struct OPTIONS {
    std::string dir;
    int replications = 10;
    int64_t first_seed = 0; // 0: from the campaign, or the clock
    int64_t one = 0;        // 0: all
    int jobs = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    bool quick = false;
    bool summarise = false;
};

static std::string Path(const std::string &dir, const char *head, int64_t seed)
{
    return dir + "/" + head + std::to_string(seed);
}

// Writes `text` to a file and brings it to the disk.
static bool WriteDurably(const std::string &path, const std::string &text)
{
    FILE *file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size() &&
                            std::fflush(file) == 0 && fsync(fileno(file)) == 0;
    return std::fclose(file) == 0 && is_written;
}

static std::optional<json> ReadJson(const std::string &path)
{
    std::ifstream file(path);
    json read = json::parse(file, nullptr, false);
    return read.is_object() ? std::optional<json>(read) : std::nullopt;
}

// The replication itself, in a process and a directory of its own.

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

// Fills the working directory. Returns what went wrong, or an empty text.
static std::string Replicate(int64_t seed, bool quick)
{
    const time_t start = std::time(nullptr);
    const STEADY::time_point begin = STEADY::now();
    if (std::freopen("stdout.txt", "w", stdout) == nullptr) {
        return std::string("stdout.txt: ") + std::strerror(errno);
    }
    g_seed = seed;
    g_clock = []() { return g_seed; };
    if (quick) {
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
    const json manifest = {
        {"seed", seed},
        {"quick", quick},
        {"version", ProgramVersion()},
        {"commit", ProgramCommit()},
        {"compiler", ProgramCompiler()},
        {"start_time", TimeText(start)},
        {"wall_time_s", SECONDS(STEADY::now() - begin).count()},
        {"tree_sha256", *hash},
    };
    syncfs(fileno(stdout));
    return WriteDurably("manifest.json", manifest.dump(4) + "\n")
               ? ""
               : std::string("manifest.json: ") + std::strerror(errno);
}

// The campaign: starting, watching and collecting replications.

static const char TOLD[] = "told"; // in the place of a reason

struct JOB {
    pid_t pid;
    int lock;
    int64_t seed;
};

struct CAMPAIGN {
    OPTIONS options;
    std::vector<int64_t> waiting; // seeds not yet begun, last first
    std::vector<JOB> running;
    int done = 0;   // finished by this command
    int failed = 0; // of this command's
    int all = 0;    // what this command has to run
    STEADY::time_point begin = STEADY::now();
};

// Counts a failed seed, and reports it unless the child has done so.
static void FailSeed(CAMPAIGN &campaign, int64_t seed, const std::string &why)
{
    WipeBar();
    ++campaign.failed;
    if (why != TOLD) {
        Fail(PROGRAM, "seed " + std::to_string(seed) + ": " + why);
    }
}

// Takes the lock of a seed, so that two commands never write into one directory. Returns its
// descriptor, or -1.
static int LockSeed(const std::string &partial)
{
    const int lock = open((partial + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) != 0) {
        close(lock);
        return -1;
    }
    return lock;
}

[[noreturn]] static void RunChild(const std::string &partial, int64_t seed, bool quick,
                                  pid_t parent)
{
    // A child does not outlive the command, however that ends.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(STATUS_FAILED);
    }
    const std::string error =
        chdir(partial.c_str()) == 0 ? Replicate(seed, quick) : std::strerror(errno);
    if (!error.empty()) {
        Fail(PROGRAM, "seed " + std::to_string(seed) + ": " + error);
    }
    _exit(error.empty() ? 0 : STATUS_TOLD);
}

static void StartSeed(CAMPAIGN &campaign, int64_t seed)
{
    const std::string partial = Path(campaign.options.dir, ".partial-", seed);
    const int lock = LockSeed(partial);
    if (lock < 0) {
        FailSeed(campaign, seed,
                 errno == EWOULDBLOCK ? "is being run by another process"
                                      : partial + ".lock: " + std::strerror(errno));
        return;
    }
    std::error_code error;
    if (fs::exists(Path(campaign.options.dir, "seed-", seed))) { // by another command, just now
        ++campaign.done;
        close(lock);
        return;
    }
    fs::remove_all(partial, error);
    const pid_t parent = getpid();
    if (!fs::create_directory(partial, error)) {
        FailSeed(campaign, seed, partial + ": " + error.message());
        close(lock);
        return;
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        RunChild(partial, seed, campaign.options.quick, parent);
    }
    if (pid < 0) {
        FailSeed(campaign, seed, std::string("no process: ") + std::strerror(errno));
        close(lock);
        return;
    }
    campaign.running.push_back({pid, lock, seed});
}

// How a child ended, TOLD if it has said so, or an empty text if it ended well.
static std::string DescribeEnd(int status)
{
    if (WIFSIGNALED(status)) {
        return "its process died of signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    }
    if (WEXITSTATUS(status) == STATUS_TOLD) {
        return TOLD;
    }
    return WEXITSTATUS(status) == 0
               ? ""
               : "its process ended with status " + std::to_string(WEXITSTATUS(status));
}

static void FinishSeed(CAMPAIGN &campaign, const JOB &job, int status)
{
    const std::string &dir = campaign.options.dir;
    const std::string partial = Path(dir, ".partial-", job.seed);
    std::string why = DescribeEnd(status);
    std::error_code error;
    if (why.empty()) {
        fs::rename(partial, Path(dir, "seed-", job.seed), error);
        why = error ? "cannot be put in place: " + error.message() : "";
    }
    if (why.empty()) {
        ++campaign.done;
        const double elapsed = SECONDS(STEADY::now() - campaign.begin).count();
        PrintLine(
            "seed " + std::to_string(job.seed) + " done, " + std::to_string(campaign.done) +
            " of " + std::to_string(campaign.all) + ", about " +
            TimeLeft(static_cast<double>(campaign.done + campaign.failed) / campaign.all, elapsed) +
            " left");
    } else {
        FailSeed(campaign, job.seed, why);
        fs::remove_all(partial, error);
    }
    fs::remove(partial + ".lock", error);
    close(job.lock);
}

// Part of the campaign's work that lies behind, by what the running children have printed.
static double ShareDone(const CAMPAIGN &campaign)
{
    constexpr double OUTPUT_BYTES = 16'300; // what a replication prints
    double done = campaign.done + campaign.failed;
    for (const JOB &job : campaign.running) {
        std::error_code error;
        const auto size =
            fs::file_size(Path(campaign.options.dir, ".partial-", job.seed) + "/stdout.txt", error);
        done += error ? 0.0 : std::min(static_cast<double>(size) / OUTPUT_BYTES, 0.999);
    }
    return done / campaign.all;
}

// Runs all that waits; returns the exit status.
static int RunCampaign(CAMPAIGN &campaign)
{
    constexpr std::chrono::milliseconds POLL(100);
    campaign.all = static_cast<int>(campaign.waiting.size());
    while (!campaign.waiting.empty() || !campaign.running.empty()) {
        while (!campaign.waiting.empty() &&
               campaign.running.size() < static_cast<size_t>(campaign.options.jobs)) {
            const int64_t seed = campaign.waiting.back();
            campaign.waiting.pop_back();
            StartSeed(campaign, seed);
        }
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        const auto job = std::find_if(campaign.running.begin(), campaign.running.end(),
                                      [pid](const JOB &one) { return one.pid == pid; });
        if (job != campaign.running.end()) {
            const JOB ended = *job;
            campaign.running.erase(job);
            FinishSeed(campaign, ended, status);
        } else {
            ShowBar(campaign.done, campaign.all, "replications", ShareDone(campaign),
                    SECONDS(STEADY::now() - campaign.begin).count());
            std::this_thread::sleep_for(POLL);
        }
    }
    WipeBar();
    if (campaign.failed > 0 && campaign.all == 1) {
        return STATUS_FAILED;
    }
    if (campaign.failed > 0) {
        return Fail(PROGRAM, std::to_string(campaign.failed) + " of " +
                                 std::to_string(campaign.all) +
                                 " replications failed; the same command runs them again");
    }
    return 0;
}

// The summary of whatever is finished.
static int Summarise(const std::string &dir)
{
    std::map<int64_t, std::string> trees;
    std::set<bool> quick;
    std::set<std::string> programs;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(dir, error)) {
        const std::string path = entry.path().string();
        if (!entry.path().filename().string().starts_with("seed-")) {
            continue;
        }
        const auto manifest = ReadJson(path + "/manifest.json");
        if (!manifest || !manifest->value("seed", json()).is_number_integer()) {
            return Fail(PROGRAM, path + "/manifest.json: missing, or not a manifest");
        }
        trees[(*manifest)["seed"]] = FindTree(path);
        quick.insert(manifest->value("quick", false));
        programs.insert(manifest->value("version", "") + " " + manifest->value("commit", ""));
    }
    if (error || trees.empty()) {
        return Fail(PROGRAM, dir + ": " + (error ? error.message() : "holds no replications"));
    }
    if (quick.size() > 1) {
        return Fail(PROGRAM, dir + ": holds quick and whole replications, which do not mix");
    }
    if (programs.size() > 1) {
        Fail(PROGRAM, "warning: " + dir + ": holds replications of different program versions");
    }
    std::vector<std::string> dirs;
    dirs.reserve(trees.size());
    for (const auto &[seed, tree] : trees) {
        dirs.push_back(tree);
    }
    const std::string why = WriteSummary(dirs, dir + "/summary.csv");
    if (!why.empty()) {
        return Fail(PROGRAM, why);
    }
    PrintLine(dir + "/summary.csv: summary of " + std::to_string(dirs.size()) + " replications");
    return 0;
}

// Finds the first seed, from the campaign in the directory or for a new one, and records it.
// Returns what stands against it, or an empty text.
static std::string OpenCampaign(OPTIONS &options)
{
    const std::string path = options.dir + "/campaign.json";
    if (fs::exists(path)) {
        const auto campaign = ReadJson(path);
        if (!campaign || !campaign->value("first_seed", json()).is_number_integer()) {
            return path + ": not a campaign";
        }
        const int64_t first_seed = (*campaign)["first_seed"];
        if (options.first_seed != 0 && options.first_seed != first_seed) {
            return options.dir + ": holds a campaign from seed " + std::to_string(first_seed) +
                   " on; use another directory";
        }
        if (campaign->value("quick", false) != options.quick) {
            return options.dir + ": holds a campaign " + (options.quick ? "without" : "with") +
                   " --quick; use another directory";
        }
        options.first_seed = first_seed;
        return "";
    }
    if (options.first_seed == 0) {
        options.first_seed = g_clock();
    }
    const json campaign = {{"first_seed", options.first_seed}, {"quick", options.quick}};
    const std::string partial = path + ".partial";
    if (!WriteDurably(partial, campaign.dump(4) + "\n") ||
        std::rename(partial.c_str(), path.c_str()) != 0) {
        return path + ": cannot be written: " + std::strerror(errno);
    }
    return "";
}

static int Run(OPTIONS options)
{
    std::error_code error;
    if (options.summarise) {
        return Summarise(options.dir);
    }
    fs::create_directories(options.dir, error);
    if (error) {
        return Fail(PROGRAM, options.dir + ": " + error.message());
    }
    CAMPAIGN campaign;
    int64_t first = options.one;
    int count = 1;
    if (options.one == 0) {
        const std::string why = OpenCampaign(options);
        if (!why.empty()) {
            return Fail(PROGRAM, why);
        }
        first = options.first_seed;
        count = options.replications;
    }
    if (first > LARGEST_SEED - (count - 1)) {
        return Fail(PROGRAM, "seeds beyond " + std::to_string(LARGEST_SEED) + " are not distinct");
    }
    for (int64_t seed = first + count - 1; seed >= first; --seed) {
        if (!fs::exists(Path(options.dir, "seed-", seed))) {
            campaign.waiting.push_back(seed);
        }
    }
    const int finished = count - static_cast<int>(campaign.waiting.size());
    if (finished > 0) {
        PrintLine(std::to_string(finished) + " of " + std::to_string(count) +
                  " replications were finished before");
    }
    campaign.options = options;
    const int status = RunCampaign(campaign);
    return status == 0 && options.one == 0 ? Summarise(options.dir) : status;
}

static int Main(int argc, char **argv)
{
    OPTIONS options;
    CLI::App app("Runs independent replications of the whole experiment below DIR, each with a "
                 "seed and a process of its own, and summarises them. Run again, it goes on where "
                 "it was interrupted.",
                 PROGRAM);
    app.add_option("DIR", options.dir, "Directory of the campaign")->required();
    auto *replications = app.add_option("-r,--replications", options.replications,
                                        "Number of replications, 10 unless given")
                             ->check(CLI::Range(1, 1'000'000))
                             ->option_text("N");
    auto *first = app.add_option("-s,--first-seed", options.first_seed,
                                 "First of the consecutive seeds, from the clock unless given")
                      ->check(CLI::Range(int64_t{1}, LARGEST_SEED))
                      ->option_text("SEED");
    app.add_option("-j,--jobs", options.jobs, "Processes at a time, one per core unless given")
        ->check(CLI::Range(1, 10'000))
        ->option_text("N");
    auto *one =
        app.add_option("--one", options.one, "Run the replication of SEED alone, without a summary")
            ->check(CLI::Range(int64_t{1}, LARGEST_SEED))
            ->option_text("SEED")
            ->excludes(replications)
            ->excludes(first);
    app.add_flag("--summarise", options.summarise, "Summarise what DIR holds, and run nothing")
        ->excludes(one)
        ->excludes(replications)
        ->excludes(first);
    app.add_flag("--quick", options.quick,
                 "Cut every load point to a thousandth; the figures mean nothing");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    return Run(options);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
