#include "tools/open_tree.h"

#include <filesystem>
#include <system_error>

#include <nlohmann/json.hpp>

#include "output/settings_json.h"
#include "tools/experiment_file.h"
#include "tools/form_parts.h"
#include "tools/json_file.h"
#include "tools/read_tree.h"

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char REMEDY[] = "; restore it, or run again";

// Reads the experiment that a manifest tells, if it tells one.
static std::string ReadManifest(const std::string &path, SETTINGS &experiment)
{
    std::string why;
    const auto manifest = ReadJson(path, &why);
    if (!manifest) {
        return path + ": " + why + REMEDY;
    }
    const auto found = manifest->find("experiment");
    why = found == manifest->end() ? "" : InterpretExperiment(*found, experiment);
    return why.empty() ? "" : path + ": experiment: " + why + REMEDY;
}

// What speaks against results without a manifest being those of the published experiment.
static std::string CheckPublished(const TREE &tree)
{
    const std::string why = ReadResultFile(tree.dir, tree.form->files.back(), [](auto &&...) {});
    return why.empty() ? ""
                       : why + "; without a manifest.json these are taken for results of the "
                               "published experiment: copy the whole directory that has it";
}

std::string OpenTree(const std::string &dir, TREE &tree)
{
    SETTINGS experiment;
    bool has_manifest = false;
    std::error_code error;
    tree.dir = FindTree(dir);
    const fs::path path = fs::canonical(tree.dir, error);
    const fs::path result = path.parent_path().parent_path();
    if (!error && path.parent_path().filename() == DESIGN_FOLDER) {
        // A replication has a manifest of its own: that of the run in it has what a quick one was
        // cut to, while rates are still those of the whole window.
        const std::string run = (result / "manifest.json").string();
        const std::string replication = (result.parent_path() / "manifest.json").string();
        const bool is_replication =
            result.filename() == RESULT_FOLDER && fs::exists(replication, error);
        const std::string &manifest = is_replication ? replication : run;
        has_manifest = fs::exists(manifest, error);
        std::string why = has_manifest ? ReadManifest(manifest, experiment) : "";
        if (!why.empty()) {
            return why;
        }
        // Where runs with packets of several sizes went, the manifest is that of the last one.
        const std::string size = std::to_string(PacketBytes(experiment));
        const bool is_size = path.filename().string().find_first_not_of("0123456789") ==
                             std::string::npos; // and no copy under another name
        const bool is_other = has_manifest && is_size && path.filename() != size;
        const std::string own = (path.parent_path() / size).string();
        if (is_other && (tree.dir == dir || !fs::is_directory(own, error))) {
            return tree.dir + ": " + manifest + " is of a run with packets of " + size +
                   " bytes; give each run a directory of its own";
        }
        tree.dir = is_other ? own : tree.dir;
    }
    const bool has_flows = fs::exists(tree.dir + "/" + FLOW_FILE, error);
    if (!has_flows && !HasPairs(experiment)) {
        return tree.dir + "/" + FLOW_FILE + ": missing" + REMEDY;
    }
    tree.form = &FormOf(experiment, has_flows);
    return has_flows && !has_manifest ? CheckPublished(tree) : "";
}

std::string DifferentKeys(const SETTINGS &a, const SETTINGS &b)
{
    const json own = json::parse(SettingsAsJson(a, 0));
    const json others = json::parse(SettingsAsJson(b, 0));
    std::string keys;
    for (const auto &[key, value] : own.items()) {
        const bool is_of_run = key == "title" || key == "seed" || key == "generator";
        if (!is_of_run && others.at(key) != value) {
            keys += (keys.empty() ? "" : ", ") + key;
        }
    }
    return keys;
}
