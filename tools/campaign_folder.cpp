#include "tools/campaign_folder.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include <nlohmann/json.hpp>

#include "driver/settings.h"
#include "tools/json_file.h"
#include "tools/open_tree.h"

namespace fs = std::filesystem;
using nlohmann::json;

static const char HEAD[] = "seed-"; // of the name of a finished replication

static bool IsReplication(const fs::path &path)
{
    return path.filename().string().starts_with(HEAD);
}

bool IsCampaign(const std::string &dir)
{
    std::error_code error;
    if (fs::exists(dir + "/campaign.json", error)) {
        return true;
    }
    const fs::directory_iterator entries(dir, error);
    return !error && std::any_of(begin(entries), end(entries),
                                 [](const auto &entry) { return IsReplication(entry.path()); });
}

// Reads the manifest in `path`; returns what is wrong with it.
static std::string ReadManifest(const fs::path &path, FINISHED &replication)
{
    const std::string remedy =
        "; remove " + path.string() + ", and run dcfsim-replicate again for this seed";
    const std::string name = path.string() + "/manifest.json";
    std::string why;
    const auto manifest = ReadJson(name, &why);
    if (!manifest) {
        return name + ": " + why + remedy;
    }
    if (!manifest->value("seed", json()).is_number_integer()) {
        return name + ": seed: missing, or not an integer" + remedy;
    }
    const json quick = manifest->value("quick", json(false));
    const json generator = manifest->value("generator", json(GENERATOR_NAMES[GENERATOR_LCG]));
    const json version = manifest->value("version", json(""));
    const json commit = manifest->value("commit", json(""));
    if (!quick.is_boolean() || !generator.is_string() || !version.is_string() ||
        !commit.is_string()) {
        return name + ": \"quick\", \"generator\", \"version\" or \"commit\" is of the wrong kind" +
               remedy;
    }
    TREE tree;
    why = OpenTree(path.string(), tree);
    if (!why.empty()) {
        return why;
    }
    replication = {(*manifest)["seed"],
                   generator,
                   quick,
                   std::string(version) + ", commit " + std::string(commit),
                   tree.dir,
                   tree.form};
    if (path.filename() != HEAD + std::to_string(replication.seed)) {
        return path.string() + ": its manifest is of seed " + std::to_string(replication.seed) +
               "; give it that name, or move it out of the campaign";
    }
    return "";
}

std::optional<FINISHED> AnyReplication(const std::string &dir)
{
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(dir, error)) {
        FINISHED replication;
        if (IsReplication(entry.path()) && ReadManifest(entry.path(), replication).empty()) {
            return replication;
        }
    }
    return std::nullopt;
}

std::string ReadReplications(const std::string &dir, std::vector<FINISHED> &list)
{
    std::set<std::string> generators;
    std::set<bool> quick;
    std::set<const TREE_FORM *> forms;
    std::error_code error;
    list.clear();
    for (const auto &entry : fs::directory_iterator(dir, error)) {
        if (!IsReplication(entry.path())) {
            continue;
        }
        std::string why = ReadManifest(entry.path(), list.emplace_back());
        if (!why.empty()) {
            return why;
        }
        generators.insert(list.back().generator);
        quick.insert(list.back().is_quick);
        forms.insert(list.back().form);
    }
    if (error) {
        return dir + ": " + error.message() + "; name the directory of a campaign";
    }
    if (list.empty()) {
        return dir + ": holds no replications; run 'dcfsim-replicate " + dir + "' first";
    }
    const std::string remedy = ", which do not mix; move one kind to a directory of its own";
    if (quick.size() > 1) {
        return dir + ": holds quick and whole replications" + remedy;
    }
    if (generators.size() > 1) {
        return dir + ": holds replications of different generators" + remedy;
    }
    if (forms.size() > 1) {
        return dir + ": holds replications of different experiments" + remedy;
    }
    std::sort(list.begin(), list.end(),
              [](const FINISHED &a, const FINISHED &b) { return a.seed < b.seed; });
    return "";
}
