#include "tools/campaign_file.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

#include <nlohmann/json.hpp>

#include "output/settings_json.h"
#include "tools/campaign_folder.h"
#include "tools/experiment_file.h"
#include "tools/json_file.h"
#include "tools/replace_file.h"
#include "tools/result_tree.h"
#include "tools/seeds.h"

namespace fs = std::filesystem;
using nlohmann::json;

static const char REMEDY[] = "; use another directory";

std::optional<GENERATOR> GeneratorCalled(const std::string &name)
{
    const auto *const found =
        std::find(std::begin(GENERATOR_NAMES), std::end(GENERATOR_NAMES), name);
    return found == std::end(GENERATOR_NAMES)
               ? std::nullopt
               : std::optional(static_cast<GENERATOR>(found - std::begin(GENERATOR_NAMES)));
}

// Reads what campaign.json at `path` tells.
static std::string ReadFile(const std::string &path, CAMPAIGN_FILE &recorded)
{
    std::string why;
    const auto campaign = ReadJson(path, &why);
    if (!campaign) {
        return path + ": " + why;
    }
    if (!campaign->value("first_seed", json()).is_number_integer()) {
        return path + ": first_seed: missing, or not an integer";
    }
    if (!campaign->value("generator", json("")).is_string()) {
        return path + ": generator: not a text";
    }
    recorded.first_seed = (*campaign)["first_seed"];
    recorded.generator = campaign->value("generator", "");
    recorded.quick = campaign->value("quick", false);
    if (campaign->contains("experiment")) {
        recorded.experiment.emplace();
        why = InterpretExperiment((*campaign)["experiment"], *recorded.experiment);
    }
    return why.empty() ? "" : path + ": experiment: " + why;
}

// Whether a command that asks for an experiment may go on with a campaign.
static std::string CompareExperiments(const std::string &dir, const CAMPAIGN_FILE &recorded,
                                      const CAMPAIGN_FILE &asked)
{
    if (!asked.experiment ||
        (recorded.experiment && IsSameExperiment(*recorded.experiment, *asked.experiment))) {
        return "";
    }
    return dir + ": holds a campaign of " +
           (recorded.experiment ? "another experiment" : "the published experiment") + REMEDY;
}

// Replications that were run one by one leave no campaign.json; what is finished tells the
// experiment.
static std::string ReadUnrecorded(const std::string &dir, CAMPAIGN_FILE &campaign)
{
    const std::optional<FINISHED> finished = AnyReplication(dir);
    if (!finished) {
        return "";
    }
    CAMPAIGN_FILE recorded;
    if (finished->form->has_flows) {
        recorded.experiment = finished->form->experiment;
    }
    std::string why = CompareExperiments(dir, recorded, campaign);
    if (why.empty()) {
        campaign.experiment = recorded.experiment;
    }
    return why;
}

std::string ReadCampaign(const std::string &dir, CAMPAIGN_FILE &campaign)
{
    const std::string path = dir + "/campaign.json";
    std::error_code error;
    if (!fs::exists(path, error)) {
        return error ? path + ": " + error.message() : ReadUnrecorded(dir, campaign);
    }
    CAMPAIGN_FILE recorded;
    std::string why = ReadFile(path, recorded);
    if (!why.empty()) {
        return why;
    }
    if (recorded.generator.empty()) {
        return dir +
               ": holds a campaign of consecutive seeds, whose streams overlap; it "
               "can be summarised, but not continued" +
               REMEDY;
    }
    if (recorded.first_seed < 1 || recorded.first_seed > LARGEST_SEED ||
        !GeneratorCalled(recorded.generator)) {
        return path + ": its seed or its generator is none that this program knows";
    }
    if (campaign.first_seed != 0 && campaign.first_seed != recorded.first_seed) {
        return dir + ": holds a campaign from seed " + std::to_string(recorded.first_seed) + " on" +
               REMEDY;
    }
    if (!campaign.generator.empty() && campaign.generator != recorded.generator) {
        return dir + ": holds a campaign of generator " + recorded.generator + REMEDY;
    }
    if (campaign.quick != recorded.quick) {
        return dir + ": holds a campaign " + (campaign.quick ? "without" : "with") + " --quick" +
               REMEDY;
    }
    why = CompareExperiments(dir, recorded, campaign);
    if (why.empty()) {
        campaign = recorded;
    }
    return why;
}

std::string WriteCampaign(const std::string &dir, const CAMPAIGN_FILE &campaign)
{
    json file = {{"first_seed", campaign.first_seed},
                 {"generator", campaign.generator},
                 {"quick", campaign.quick}};
    if (campaign.experiment) {
        json experiment = json::parse(SettingsAsJson(*campaign.experiment, 0));
        for (const char *key : {"seed", "generator"}) { // each replication has its own
            experiment.erase(key);
        }
        file["experiment"] = experiment;
    }
    return CreateFile(dir + "/campaign.json", file.dump(4) + "\n");
}
