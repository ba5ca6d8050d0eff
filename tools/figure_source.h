// Where the numbers of the figures come from: seeds and programs of the runs, by their manifests.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/figure_data.h"

struct SOURCE {
    std::string dir;                // as given
    std::string command;            // that draws, as a shell takes it
    std::vector<std::string> trees; // result directories of the replications
    std::set<int64_t> seeds;        // none if no manifest tells
    std::set<std::string> generators;
    std::set<std::string> programs; // version and commit
    bool is_quick = false;
    const TREE_FORM *form = nullptr; // of the results; null: not known yet
};

// Reads the manifests of the replications in a campaign. Returns what is wrong, or an empty text.
std::string ReadCampaignSource(const std::string &dir, SOURCE &source);

// Reads the manifest of the run whose result directory is `tree`, if there is one.
void ReadTreeSource(const std::string &tree, SOURCE &source);

// What to do about a summary that is missing, damaged or outdated; follows a complaint.
std::string Remedy(const SOURCE &source);

// Whether `summary`, read as `data`, is one of the replications in `source`: not older than any, of
// as many, and of the same throughput. Returns what speaks against it, or an empty
// text.
std::string CheckSummary(const std::string &summary, const DATA &data, const SOURCE &source);

// Seeds as numbers and ranges: "3, 7-9".
std::string SeedText(const std::set<int64_t> &seeds);
