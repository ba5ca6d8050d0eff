// dcfsim-replicate: independent replications of the whole experiment, and their summary.
//
//     DIR/campaign.json       first seed, so that the same command goes on with the same seeds
//     DIR/seed-N/             a finished replication: result/, stdout.txt, manifest.json
//     DIR/.partial-N/         one that is being run, or was interrupted; renamed when complete
//     DIR/.partial-N.lock     held while seed N is being run, by whatever process
//     DIR/summary.csv         replaced as a whole
//
// Several commands may work on one campaign, on one machine or on many: they share its seeds.
//
// The seed is all that two replications differ in: the model seeds itself from its clock, which
// stands still at the seed here. Each replication is a process of its own.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/campaign.h"
#include "tools/campaign_folder.h"
#include "tools/json_file.h"
#include "tools/options.h"
#include "tools/progress.h"
#include "tools/replace_file.h"
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
    std::string command; // the command line, for the hint how to go on
};

static std::vector<std::string> Trees(const std::vector<REPLICATION> &replications)
{
    std::vector<std::string> trees;
    trees.reserve(replications.size());
    for (const REPLICATION &replication : replications) {
        trees.push_back(replication.tree);
    }
    return trees;
}

// The summary of whatever is finished, also by other commands meanwhile.
static int Summarise(const std::string &dir)
{
    std::vector<REPLICATION> replications;
    for (size_t summarised = 0;; summarised = replications.size()) {
        std::string why = ReadReplications(dir, replications);
        if (why.empty() && replications.size() == summarised) {
            break;
        }
        if (why.empty()) {
            why = WriteSummary(Trees(replications), dir + "/summary.csv");
        }
        if (!why.empty()) {
            return Fail(PROGRAM, why);
        }
    }
    std::set<std::string> programs;
    for (const REPLICATION &replication : replications) {
        programs.insert(replication.program);
    }
    if (programs.size() > 1) {
        Fail(PROGRAM, "warning: " + dir + ": holds replications of different program versions");
    }
    PrintLine(dir + "/summary.csv: summary of " + std::to_string(replications.size()) +
              " replications");
    return 0;
}

// Finds the first seed, from the campaign in the directory or for a new one, which is recorded
// before. Returns what stands against it, or an empty text.
static std::string OpenCampaign(OPTIONS &options)
{
    const std::string path = options.dir + "/campaign.json";
    if (!fs::exists(path)) {
        // Of two commands that begin the same campaign, one does, and both read what it has
        // written.
        const json begun = {
            {"first_seed", options.first_seed == 0 ? g_clock() : options.first_seed},
            {"quick", options.quick}};
        std::string why = CreateFile(path, begun.dump(4) + "\n");
        if (!why.empty()) {
            return why;
        }
    }
    const auto campaign = ReadJson(path);
    if (!campaign || !campaign->value("first_seed", json()).is_number_integer() ||
        !campaign->value("quick", json()).is_boolean()) {
        return path + ": not a campaign; use another directory";
    }
    const int64_t first_seed = (*campaign)["first_seed"];
    if (options.first_seed != 0 && options.first_seed != first_seed) {
        return options.dir + ": holds a campaign from seed " + std::to_string(first_seed) +
               " on; use another directory";
    }
    if ((*campaign)["quick"] != options.quick) {
        return options.dir + ": holds a campaign " + (options.quick ? "without" : "with") +
               " --quick; use another directory";
    }
    options.first_seed = first_seed;
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
        return Fail(PROGRAM, options.dir + ": cannot be made: " + error.message() +
                                 "; name a directory that this account can write");
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
    campaign.command = options.command;
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
    app.add_option(
           "-j,--jobs", options.jobs,
           "Processes at a time, one per core unless given, and no more than fit into memory")
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
    options.command = CommandText(argc, argv);
    return Run(options);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
