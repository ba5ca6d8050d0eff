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

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/options.h"
#include "tools/progress.h"
#include "tools/replication.h"
#include "tools/seeds.h"

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

// What the campaign makes of a seed that is one of its own.
static REPLICATION MakeReplication(const CAMPAIGN &campaign, int64_t seed)
{
    int number = 0;
    if (campaign.generator == GENERATOR_MERSENNE) {
        number = ReplicationNumber(campaign.first_seed, seed, campaign.generator).value();
    }
    return {seed, campaign.generator, number, campaign.quick};
}

[[noreturn]] static void RunChild(const std::string &partial, const REPLICATION &replication,
                                  pid_t parent)
{
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

static void StartSeed(CAMPAIGN &campaign, int64_t seed)
{
    const std::string partial = Path(campaign.dir, ".partial-", seed);
    const int lock = LockSeed(partial);
    if (lock < 0) {
        FailSeed(campaign, seed,
                 errno == EWOULDBLOCK ? "is being run by another process"
                                      : partial + ".lock: " + std::strerror(errno));
        return;
    }
    std::error_code error;
    if (fs::exists(Path(campaign.dir, "seed-", seed))) { // by another command, just now
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
    const REPLICATION replication = MakeReplication(campaign, seed);
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        RunChild(partial, replication, parent);
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
            fs::file_size(Path(campaign.dir, ".partial-", job.seed) + "/stdout.txt", error);
        done += error ? 0.0 : std::min(static_cast<double>(size) / OUTPUT_BYTES, 0.999);
    }
    return done / campaign.all;
}

int RunCampaign(CAMPAIGN &campaign)
{
    constexpr std::chrono::milliseconds POLL(100);
    campaign.all = static_cast<int>(campaign.waiting.size());
    while (!campaign.waiting.empty() || !campaign.running.empty()) {
        while (!campaign.waiting.empty() &&
               campaign.running.size() < static_cast<size_t>(campaign.jobs)) {
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
