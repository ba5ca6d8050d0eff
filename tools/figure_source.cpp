#include "tools/figure_source.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include <nlohmann/json.hpp>

#include "driver/settings.h"
#include "tools/campaign_folder.h"
#include "tools/json_file.h"
#include "tools/options.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char MANIFEST[] = "/manifest.json";

// The text at `key`, or what stands for a missing one.
static std::string Text(const json &object, const char *key, const char *missing)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : missing;
}

// Takes over what a manifest tells; `run` is the part of it that has the seed. False without a
// seed.
static bool Enter(const json &manifest, const json &run, SOURCE &source)
{
    const auto seed = run.find("seed");
    const auto quick = manifest.find("quick");
    if (seed == run.end() || !seed->is_number_integer()) {
        return false;
    }
    source.seeds.insert(seed->get<int64_t>());
    const std::string generator = Text(run, "generator", GENERATOR_NAMES[GENERATOR_LCG]);
    source.generators.insert(Text(manifest, "generator", generator.c_str()));
    source.programs.insert(Text(manifest, "version", "version unknown") + ", commit " +
                           Text(manifest, "commit", "unknown"));
    source.is_quick |= quick != manifest.end() && quick->is_boolean() && quick->get<bool>();
    return true;
}

std::string ReadCampaignSource(const std::string &dir, SOURCE &source)
{
    std::vector<FINISHED> replications;
    std::string why = ReadReplications(dir, replications);
    for (const FINISHED &replication : replications) {
        source.seeds.insert(replication.seed);
        source.generators.insert(replication.generator);
        source.programs.insert(replication.program);
        source.is_quick |= replication.is_quick;
        source.trees.push_back(replication.tree);
        source.form = replication.form;
    }
    return why;
}

void ReadTreeSource(const std::string &tree, SOURCE &source)
{
    std::error_code error;
    const fs::path path = fs::canonical(tree, error);
    const fs::path result = path.parent_path().parent_path();
    if (error || path.parent_path().filename() != DESIGN_FOLDER) {
        return;
    }
    // A replication has a manifest of its own, which knows more than that of the run in it.
    const auto replication = ReadJson(result.parent_path().string() + MANIFEST);
    if (replication && replication->contains("tree_sha256") &&
        Enter(*replication, *replication, source)) {
        return;
    }
    const auto run = ReadJson(result.string() + MANIFEST);
    if (run && run->contains("experiment") && run->at("experiment").is_object()) {
        Enter(*run, run->at("experiment"), source);
    }
}

// The mean throughputs of the replications, flow by flow and load by load, in the order of the
// file.
static std::string MeanThroughputs(const SOURCE &source, const TREE_FORM &tree_form,
                                   std::vector<double> &means, std::vector<const CELL *> &cells)
{
    const auto &forms = tree_form.files;
    const auto form = std::find_if(forms.begin(), forms.end(), [](const FILE_FORM &candidate) {
        return candidate.name == "throughput.txt";
    });
    for (const std::string &tree : source.trees) {
        size_t i = 0;
        std::string error = ReadResultFile(
            tree, *form, [&](const FILE_FORM &, const CELL &cell, std::string_view v) {
                if (cell.kind == nullptr || cell.text != "throughput") {
                    return;
                }
                if (i == means.size()) {
                    means.push_back(0.0);
                    cells.push_back(&cell);
                }
                means[i++] += std::strtod(std::string(v).c_str(), nullptr) /
                              static_cast<double>(source.trees.size());
            });
        if (!error.empty()) {
            return error;
        }
    }
    return "";
}

std::string Remedy(const SOURCE &source)
{
    return "; first run: dcfsim-replicate --summarise " + ShellWord(source.dir);
}

std::string CheckSummary(const std::string &summary, const DATA &data, const SOURCE &source)
{
    constexpr double ROUNDED = 1e-6; // Mbit/s; the summary has ten digits
    if (static_cast<size_t>(data.replications) != source.seeds.size()) {
        return summary + ": is of " + std::to_string(data.replications) + " replications, " +
               source.dir + " holds " + std::to_string(source.seeds.size()) + Remedy(source);
    }
    const auto written = fs::last_write_time(summary);
    std::string newer;
    for (int64_t seed : source.seeds) {
        std::string replication = source.dir;
        replication.append("/seed-").append(std::to_string(seed));
        const fs::path manifest = fs::path(replication) / "manifest.json";
        if (fs::exists(manifest) && fs::last_write_time(manifest) > written) {
            newer = replication;
        }
    }
    if (!newer.empty()) {
        return summary + ": is older than " + newer + Remedy(source);
    }
    std::vector<double> means;
    std::vector<const CELL *> cells;
    std::string error = MeanThroughputs(source, *data.form, means, cells);
    if (!error.empty()) {
        return error;
    }
    for (size_t i = 0; i < means.size(); ++i) {
        const double summarised = FindPoint(data, "throughput.txt", cells[i]->load_kbps, "flow",
                                            cells[i]->thing, "throughput")
                                      .mean;
        if (!(std::fabs(summarised - means[i]) < ROUNDED)) {
            return summary + ": is of other replications than those in " + source.dir +
                   Remedy(source);
        }
    }
    return "";
}

std::string SeedText(const std::set<int64_t> &seeds)
{
    std::string text;
    for (auto first = seeds.begin(); first != seeds.end();) {
        auto last = first;
        for (auto next = std::next(last); next != seeds.end() && *next == *last + 1; ++next) {
            last = next;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(*first) +
                (last == first ? "" : "-" + std::to_string(*last));
        first = std::next(last);
    }
    return text;
}
