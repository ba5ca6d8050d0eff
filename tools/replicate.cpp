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
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/campaign.h"
#include "tools/json_file.h"
#include "tools/options.h"
#include "tools/progress.h"
#include "tools/read_tree.h"
#include "tools/summary.h"
#include "topology/random.h"

namespace fs = std::filesystem;
using nlohmann::json;

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
        std::string why;
        const auto manifest = ReadJson(path + "/manifest.json", &why);
        if (!manifest || !manifest->value("seed", json()).is_number_integer()) {
            return Fail(PROGRAM, path + "/manifest.json: " +
                                     (why.empty() ? "seed: missing, or not an integer" : why));
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
        std::string why;
        const auto campaign = ReadJson(path, &why);
        if (!campaign || !campaign->value("first_seed", json()).is_number_integer()) {
            return path + ": " + (why.empty() ? "first_seed: missing, or not an integer" : why);
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
    campaign.dir = options.dir;
    campaign.quick = options.quick;
    campaign.jobs = options.jobs;
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
