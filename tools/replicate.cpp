// dcfsim-replicate: independent replications of the whole experiment, and their summary.
//
//     DIR/campaign.json       seeds and experiment, so that the same command goes on with them
//     DIR/seed-N/             a finished replication: result/, stdout.txt, manifest.json
//     DIR/.partial-N/         one that is being run, or was interrupted; renamed when complete
//     DIR/.partial-N.lock     held while seed N is being run, by whatever process
//     DIR/summary.csv         replaced as a whole
//
// Several commands may work on one campaign, on one machine or on many: they share its seeds.
//
// The seed, and the number of the replication where the generator takes it, is all that two
// replications differ in: the model seeds itself from its clock, which stands still at the seed
// here. Each replication is a process of its own.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tools/campaign.h"
#include "tools/campaign_file.h"
#include "tools/campaign_folder.h"
#include "tools/experiment_file.h"
#include "tools/experiment_warnings.h"
#include "tools/options.h"
#include "tools/plain_file.h"
#include "tools/precision.h"
#include "tools/progress.h"
#include "tools/seeds.h"
#include "tools/summary.h"
#include "topology/random.h"

namespace fs = std::filesystem;

struct OPTIONS {
    std::string dir;
    int replications = 0;   // 0: ten, or as many as the precision takes
    double precision = 0.0; // percent; 0: not asked for
    CAMPAIGN_FILE campaign; // what is left open comes from DIR, the clock, or is as published
    std::string experiment; // file; empty: from DIR, or the published one
    int64_t one = 0;        // 0: all
    int jobs = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    bool list_seeds = false;
    bool summarise = false;
    std::string command; // the command line, for the hint how to go on
};

static std::vector<std::string> Trees(const std::vector<FINISHED> &replications)
{
    std::vector<std::string> trees;
    trees.reserve(replications.size());
    for (const FINISHED &replication : replications) {
        trees.push_back(replication.tree);
    }
    return trees;
}

// The summary of whatever is finished, also by other commands meanwhile.
static int Summarise(const std::string &dir)
{
    std::vector<FINISHED> replications;
    for (size_t summarised = 0;; summarised = replications.size()) {
        std::string why = ReadReplications(dir, replications);
        if (why.empty() && replications.size() == summarised) {
            break;
        }
        if (why.empty()) {
            why =
                WriteSummary(*replications.front().form, Trees(replications), dir + "/summary.csv");
        }
        if (!why.empty()) {
            return Fail(PROGRAM, why);
        }
    }
    std::set<std::string> programs;
    for (const FINISHED &replication : replications) {
        programs.insert(replication.program);
    }
    if (programs.size() > 1) {
        Fail(PROGRAM, "warning: " + dir + ": holds replications of different program versions");
    }
    PrintLine(dir + "/summary.csv: summary of " + std::to_string(replications.size()) +
              (replications.front().is_quick ? " QUICK replications, which mean nothing"
                                             : " replications"));
    return 0;
}

// Makes the directory of a campaign. Returns what stands against it, or an empty text.
static std::string MakeDirectory(const std::string &dir)
{
    std::error_code error;
    fs::create_directories(dir, error);
    return error ? dir + ": cannot be made: " + error.message() +
                       "; name a directory that this account can write"
                 : "";
}

// Runs the replications of these seeds that are not there yet.
static int RunSeeds(const OPTIONS &options, std::span<const int64_t> seeds)
{
    CAMPAIGN campaign;
    for (size_t i = seeds.size(); i > 0; --i) {
        if (!fs::exists(Path(options.dir, "seed-", seeds[i - 1]))) {
            campaign.waiting.push_back(seeds[i - 1]);
        }
    }
    const size_t finished = seeds.size() - campaign.waiting.size();
    if (finished > 0) {
        PrintLine(std::to_string(finished) + " of " + std::to_string(seeds.size()) +
                  " replications were finished before");
    }
    campaign.dir = options.dir;
    campaign.quick = options.campaign.quick;
    campaign.generator = GeneratorCalled(options.campaign.generator).value();
    campaign.first_seed = options.campaign.first_seed;
    if (options.campaign.experiment) {
        campaign.experiment = &*options.campaign.experiment;
        campaign.warnings = WarningsOf(*options.campaign.experiment);
    }
    campaign.jobs = options.jobs;
    campaign.command = options.command;
    return RunCampaign(campaign);
}

static std::string Mbps(double load)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", load);
    return text;
}

static std::string Percent(double percent)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", percent);
    return text;
}

// Runs batch after batch until the total throughput of every load is known as precisely as asked.
// The batches are the same whatever the number of processes, and so is the campaign.
static int RunUntilPrecise(const OPTIONS &options, std::span<const int64_t> seeds)
{
    constexpr size_t BATCH = 5; // also the smallest number that an interval is taken from
    size_t begin = 0;
    for (;;) {
        const size_t size = std::min(BATCH, seeds.size() - begin);
        int status = RunSeeds(options, seeds.subspan(begin, size));
        status = status == 0 ? Summarise(options.dir) : status;
        if (status != 0) {
            return status;
        }
        begin += size;
        PRECISION worst;
        const std::string why = ReadPrecision(options.dir + "/summary.csv", worst);
        if (!why.empty()) {
            return Fail(PROGRAM, why);
        }
        const std::string found = "the worst load, " + Mbps(worst.load) + " Mbit/s, is known to " +
                                  Percent(worst.percent);
        if (worst.percent <= options.precision) {
            PrintLine(found + ", " + Percent(options.precision) + " were asked for");
            return 0;
        }
        if (begin == seeds.size()) {
            return Fail(PROGRAM, options.dir + ": " + found + " after " + std::to_string(begin) +
                                     " replications, not to " + Percent(options.precision));
        }
        PrintLine(found + ", going on");
    }
}

static int RefuseUse(const std::string &why)
{
    Fail(PROGRAM, why);
    return STATUS_USAGE;
}

static SEED_PLAN PlanOf(const OPTIONS &options)
{
    return PlanSeeds(options.campaign.experiment.value_or(SETTINGS()),
                     GeneratorCalled(options.campaign.generator).value());
}

// Why there are no more replications than the plan has.
static std::string RefuseMore(const OPTIONS &options, const SEED_PLAN &plan)
{
    const std::string other =
        std::string(" need --generator ") + GENERATOR_NAMES[GENERATOR_MERSENNE];
    if (plan.step == SEED_STEP) {
        return "more than " + std::to_string(plan.limit) + " replications" + other +
               ": on the one cycle of " + options.campaign.generator +
               " the streams of more would meet at the same load";
    }
    return (plan.limit == 0
                ? std::string("replications of this experiment")
                : "more than " + std::to_string(plan.limit) + " replications of this experiment") +
           other + ": one draws up to " + std::to_string(plan.step) +
           " numbers, and the cycle of " + options.campaign.generator + " has " +
           std::to_string(LARGEST_SEED);
}

// How many replications the options mean. Refuses, by an empty result, more than their generator
// has streams for.
static std::optional<int> CountReplications(const OPTIONS &options)
{
    constexpr int USUAL = 10;
    const SEED_PLAN plan = PlanOf(options);
    const int usual = options.precision > 0 ? std::max(plan.limit, 1) : USUAL;
    const int count = options.replications == 0 ? usual : options.replications;
    if (count > plan.limit) {
        RefuseUse(RefuseMore(options, plan));
        return std::nullopt;
    }
    return count;
}

// Fills in what neither the command line nor a campaign says.
static void CompleteOptions(OPTIONS &options)
{
    if (options.campaign.generator.empty()) {
        options.campaign.generator = GENERATOR_NAMES[GENERATOR_LCG];
    }
    if (options.campaign.first_seed == 0) {
        const int64_t rest = (g_clock() - 1) % LARGEST_SEED;
        options.campaign.first_seed = 1 + rest + (rest < 0 ? LARGEST_SEED : 0);
    }
}

static int RunOne(OPTIONS options)
{
    const bool is_alone = options.campaign.first_seed == 0;
    CompleteOptions(options);
    const GENERATOR generator = GeneratorCalled(options.campaign.generator).value();
    if (is_alone && generator == GENERATOR_MERSENNE) {
        return RefuseUse("--one with " + options.campaign.generator +
                         " needs --first-seed, from which the replications are numbered");
    }
    if (!is_alone &&
        !ReplicationNumber(options.campaign.first_seed, options.one, PlanOf(options))) {
        return RefuseUse(
            "--one " + std::to_string(options.one) + ": no seed of the campaign from seed " +
            std::to_string(options.campaign.first_seed) + " on; --list-seeds prints them");
    }
    return RunSeeds(options, {&options.one, 1});
}

static int ListSeeds(OPTIONS options)
{
    CompleteOptions(options);
    const std::optional<int> count = CountReplications(options);
    if (!count) {
        return STATUS_USAGE;
    }
    std::string text;
    for (const int64_t seed :
         CampaignSeeds(options.campaign.first_seed, *count, PlanOf(options).step)) {
        text += std::to_string(seed) + "\n";
    }
    const bool is_printed = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return is_printed ? 0 : Fail(PROGRAM, "standard output cannot be written");
}

// Whether nothing is offered at any load; they ascend.
static bool IsSilent(const CAMPAIGN_FILE &campaign)
{
    const SETTINGS experiment = campaign.experiment.value_or(SETTINGS());
    return experiment.load_list[experiment.load_num - 1] == 0;
}

static int Run(OPTIONS options)
{
    if (options.summarise) {
        return Summarise(options.dir);
    }
    if (options.list_seeds) {
        return ListSeeds(options);
    }
    const OPTIONS asked = options;
    std::string why = ReadCampaign(options.dir, options.campaign);
    if (!why.empty()) {
        return Fail(PROGRAM, why);
    }
    if (options.one != 0) {
        why = MakeDirectory(options.dir);
        return why.empty() ? RunOne(options) : Fail(PROGRAM, why);
    }
    CompleteOptions(options);
    const std::optional<int> count = CountReplications(options);
    if (!count) {
        return STATUS_USAGE;
    }
    if (options.precision > 0 && IsSilent(options.campaign)) {
        return RefuseUse("--precision needs an experiment with a load above 0");
    }
    why = MakeDirectory(options.dir);
    if (why.empty()) {
        why = WriteCampaign(options.dir, options.campaign);
    }
    if (why.empty()) {
        // Of two commands that begin the same campaign, one does, and both go by what it wrote.
        options = asked;
        why = ReadCampaign(options.dir, options.campaign);
    }
    if (!why.empty()) {
        return Fail(PROGRAM, why);
    }
    const std::vector<int64_t> seeds =
        CampaignSeeds(options.campaign.first_seed, *count, PlanOf(options).step);
    if (options.precision > 0) {
        return RunUntilPrecise(options, seeds);
    }
    const int status = RunSeeds(options, seeds);
    return status == 0 ? Summarise(options.dir) : status;
}

// Reads the file of --experiment, if it is given, and warns. Its seed and its generator hold where
// no option names others. Returns what is wrong with it.
static std::string ReadExperiment(OPTIONS &options)
{
    if (options.experiment.empty()) {
        return "";
    }
    SETTINGS &experiment = options.campaign.experiment.emplace();
    std::string bad = ReadExperiment(options.experiment, experiment);
    if (!bad.empty()) {
        return bad;
    }
    for (const std::string &warning : WarningsOf(experiment)) {
        Fail(PROGRAM, OneLine(options.experiment + ": warning: " + warning));
    }
    const bool has_seed = experiment.seed != SEED_FROM_CLOCK;
    if (has_seed && options.campaign.first_seed == 0) {
        if (experiment.seed < 1 || experiment.seed > LARGEST_SEED) {
            return options.experiment + ": seed: stands at " + std::to_string(experiment.seed) +
                   "; allowed in a campaign: 1 .. " + std::to_string(LARGEST_SEED);
        }
        options.campaign.first_seed = experiment.seed;
    }
    if (experiment.generator != GENERATOR_LCG && options.campaign.generator.empty()) {
        options.campaign.generator = GENERATOR_NAMES[experiment.generator];
    }
    return "";
}

static int Main(int argc, char **argv)
{
    OPTIONS options;
    CLI::App app("Runs independent replications of the whole experiment below DIR, each with a "
                 "seed and a process of its own, and summarises them. Run again, it goes on where "
                 "it was interrupted.",
                 PROGRAM);
    const auto *dir = app.add_option("DIR", options.dir, "Directory of the campaign");
    auto *replications = app.add_option("-r,--replications", options.replications,
                                        "Number of replications, 10 unless given; of the "
                                        "published experiment at most 20 without "
                                        "--generator mt19937-64")
                             ->check(CLI::Range(1, REPLICATION_LIMIT))
                             ->option_text("N");
    auto *first = app.add_option("-s,--first-seed", options.campaign.first_seed,
                                 "Seed of the first replication, which the others follow from; "
                                 "from the clock unless given")
                      ->check(CLI::Range(int64_t{1}, LARGEST_SEED))
                      ->option_text("SEED");
    auto *experiment = app.add_option("-e,--experiment", options.experiment,
                                      "Replicate the experiment of FILE, as dcfsim-experiment "
                                      "takes it, instead of the published one")
                           ->option_text("FILE");
    auto *generator = app.add_option("-g,--generator", options.campaign.generator,
                                     "Random numbers: lcg-16807, the published ones, or mt19937-64")
                          ->check(CLI::IsMember({GENERATOR_NAMES[0], GENERATOR_NAMES[1]}))
                          ->option_text("NAME");
    auto *precision =
        app.add_option("-p,--precision", options.precision,
                       "Go on until the 95 % interval of the total throughput is at most P percent "
                       "of its mean to either side, at every load")
            ->check(CLI::PositiveNumber)
            ->option_text("P");
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
            ->excludes(precision);
    auto *list = app.add_flag("--list-seeds", options.list_seeds,
                              "Print the seeds of a campaign, one a line, and run nothing")
                     ->excludes(one)
                     ->excludes(precision);
    app.add_flag("--summarise", options.summarise, "Summarise what DIR holds, and run nothing")
        ->excludes(one)
        ->excludes(list)
        ->excludes(replications)
        ->excludes(first)
        ->excludes(generator)
        ->excludes(experiment)
        ->excludes(precision);
    app.add_flag("--quick", options.campaign.quick,
                 "Cut every load point to a thousandth; the figures mean nothing");
    app.callback([&] {
        if (std::isnan(options.precision)) { // which no range refuses
            throw CLI::ValidationError(precision->get_name(), "not a number");
        }
        if (dir->count() == 0 && list->count() == 0) {
            throw CLI::RequiredError(dir->get_name());
        }
        if (dir->count() > 0 && list->count() > 0) {
            throw CLI::ExcludesError(list->get_name(), dir->get_name());
        }
    });
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    options.command = CommandText(argc, argv);
    const std::string bad = ReadExperiment(options);
    return bad.empty() ? Run(options) : RefuseUse(bad);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
