#include "tools/campaign.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/options.h"
#include "tools/progress.h"
#include "tools/replication.h"
#include "tools/resources.h"
#include "tools/seed_lock.h"
#include "tools/seeds.h"
#include "tools/signal_watch.h"

namespace fs = std::filesystem;
using SECONDS = std::chrono::duration<double>;
using STEADY = std::chrono::steady_clock;

constexpr int STATUS_TOLD = 3;     // of a child that has said itself why it failed
static const char TOLD[] = "told"; // in the place of a reason

std::string Path(const std::string &dir, const char *head, int64_t seed)
{
    return dir + "/" + head + std::to_string(seed);
}

// Counts a failed seed, and reports it unless the child has done so.
static void FailSeed(CAMPAIGN &campaign, int64_t seed, const std::string &why)
{
    WipeBar();
    ++campaign.failed;
    if (why != TOLD) {
        Fail(PROGRAM, "seed " + std::to_string(seed) + ": " + why);
    }
}

// What the campaign makes of a seed that is one of its own.
static REPLICATION MakeReplication(const CAMPAIGN &campaign, int64_t seed)
{
    int number = 0;
    if (campaign.generator == GENERATOR_MERSENNE) {
        number = ReplicationNumber(campaign.first_seed, seed, SEED_PLAN{}).value();
    }
    return {seed,           campaign.generator,  number,
            campaign.quick, campaign.experiment, campaign.warnings};
}

[[noreturn]] static void RunChild(const std::string &partial, const REPLICATION &replication,
                                  pid_t parent)
{
    ForgetSignals();
    // A child does not outlive the command, however that ends.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(STATUS_FAILED);
    }
    const std::string error =
        chdir(partial.c_str()) == 0 ? Replicate(replication) : std::strerror(errno);
    if (!error.empty()) {
        Fail(PROGRAM, "seed " + std::to_string(replication.seed) + ": " + error);
    }
    _exit(error.empty() ? 0 : STATUS_TOLD);
}

// Begins a seed, unless it is finished or another process is at it.
static void StartSeed(CAMPAIGN &campaign, int64_t seed)
{
    const std::string partial = Path(campaign.dir, ".partial-", seed);
    std::error_code error;
    const int lock = LockSeed(partial);
    if (lock < 0 && errno == EWOULDBLOCK) {
        campaign.elsewhere.push_back(seed);
        return;
    }
    if (lock < 0) {
        FailSeed(campaign, seed, partial + ".lock: " + std::strerror(errno));
        return;
    }
    if (fs::exists(Path(campaign.dir, "seed-", seed), error)) { // by another command, just now
        ++campaign.done;
        UnlockSeed(partial, lock);
        return;
    }
    fs::remove_all(partial, error);
    const pid_t parent = getpid();
    if (!fs::create_directory(partial, error)) {
        FailSeed(campaign, seed, partial + ": " + error.message());
        UnlockSeed(partial, lock);
        return;
    }
    const REPLICATION replication = MakeReplication(campaign, seed);
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        RunChild(partial, replication, parent);
    }
    if (pid < 0) {
        FailSeed(campaign, seed, std::string("no process: ") + std::strerror(errno));
        fs::remove_all(partial, error);
        UnlockSeed(partial, lock);
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
    const std::string &dir = campaign.dir;
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
    UnlockSeed(partial, job.lock);
}

// Load points of a replication, all trials together.
static int64_t PointNum(const CAMPAIGN &campaign)
{
    static const SETTINGS published;
    const SETTINGS &experiment = campaign.experiment != nullptr ? *campaign.experiment : published;
    return int64_t{experiment.trial_num} * experiment.load_num;
}

// Part of the campaign's work that lies behind, by what the running children have printed.
static double ShareDone(const CAMPAIGN &campaign)
{
    constexpr double POINT_BYTES = 226; // that a replication prints at a load point
    const double output_bytes = POINT_BYTES * static_cast<double>(PointNum(campaign));
    double done = campaign.done + campaign.failed;
    for (const JOB &job : campaign.running) {
        std::error_code error;
        const auto size =
            fs::file_size(Path(campaign.dir, ".partial-", job.seed) + "/stdout.txt", error);
        done += error ? 0.0 : std::min(static_cast<double>(size) / output_bytes, 0.999);
    }
    return done / campaign.all;
}

// Gives up what is not begun if no more can be stored.
static void GiveUpIfFull(CAMPAIGN &campaign)
{
    const std::string why = TryDirectory(campaign.dir, std::ssize(campaign.running) + 1);
    if (!why.empty()) {
        WipeBar();
        Fail(PROGRAM, why);
        campaign.failed += static_cast<int>(campaign.waiting.size());
        campaign.waiting.clear();
    }
}

// Begins as many seeds as may run.
static void StartSeeds(CAMPAIGN &campaign)
{
    while (!campaign.waiting.empty() && EndingSignal() == 0 &&
           campaign.running.size() < static_cast<size_t>(campaign.jobs)) {
        GiveUpIfFull(campaign);
        if (campaign.waiting.empty()) {
            return;
        }
        const int64_t seed = campaign.waiting.back();
        campaign.waiting.pop_back();
        StartSeed(campaign, seed);
    }
}

// Tries again, not too often, the seeds that other processes were running.
static void RetryElsewhere(CAMPAIGN &campaign)
{
    constexpr std::chrono::seconds PAUSE(1);
    if (campaign.elsewhere.empty() || !campaign.waiting.empty()) {
        return;
    }
    if (!campaign.is_sharing) {
        campaign.is_sharing = true;
        PrintLine(std::to_string(campaign.elsewhere.size()) +
                  " of the replications are being run by another process; waiting for these");
    }
    if (STEADY::now() - campaign.retried >= PAUSE) {
        campaign.retried = STEADY::now();
        campaign.waiting.swap(campaign.elsewhere);
    }
}

// If a signal has come, ends this process by it, when nothing that was begun is left.
static void EndIfSignalled(const CAMPAIGN &campaign)
{
    const int signal = EndingSignal();
    if (signal == 0) {
        return;
    }
    WipeBar();
    for (const JOB &job : campaign.running) {
        kill(job.pid, SIGKILL);
    }
    for (const JOB &job : campaign.running) {
        const std::string partial = Path(campaign.dir, ".partial-", job.seed);
        std::error_code error;
        waitpid(job.pid, nullptr, 0);
        fs::remove_all(partial, error);
        UnlockSeed(partial, job.lock);
    }
    Fail(PROGRAM, "interrupted; what is finished stays. To go on: " + campaign.command);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    _exit(STATUS_FAILED);
}

int RunCampaign(CAMPAIGN &campaign)
{
    constexpr std::chrono::milliseconds POLL(100);
    const SIGNAL_WATCH watch;
    campaign.all = static_cast<int>(campaign.waiting.size());
    const int64_t memory = AvailableMemory();
    const int fitting = JobsThatFit(campaign.jobs, memory, PointNum(campaign));
    if (fitting < std::min(campaign.jobs, campaign.all)) {
        PrintLine(std::to_string(fitting) + " replications at a time instead of " +
                  std::to_string(campaign.jobs) + ": no more fit into the memory available, " +
                  std::to_string(memory >> 20) + " MiB");
    }
    campaign.jobs = fitting;
    while (!campaign.waiting.empty() || !campaign.running.empty() || !campaign.elsewhere.empty()) {
        EndIfSignalled(campaign);
        RetryElsewhere(campaign);
        StartSeeds(campaign);
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        const auto job = std::find_if(campaign.running.begin(), campaign.running.end(),
                                      [pid](const JOB &one) { return one.pid == pid; });
        if (job != campaign.running.end()) {
            const JOB ended = *job;
            campaign.running.erase(job);
            FinishSeed(campaign, ended, status);
        } else if (!campaign.running.empty() || !campaign.elsewhere.empty()) {
            ShowBar(campaign.done, campaign.all, "replications", ShareDone(campaign),
                    SECONDS(STEADY::now() - campaign.begin).count());
            std::this_thread::sleep_for(POLL);
        }
    }
    EndIfSignalled(campaign);
    WipeBar();
    if (campaign.failed > 0 && campaign.all > 1) {
        Fail(PROGRAM, std::to_string(campaign.failed) + " of " + std::to_string(campaign.all) +
                          " replications are missing; to run them: " + campaign.command);
    }
    return campaign.failed > 0 ? STATUS_FAILED : 0;
}
