// The finished replications in the directory of a campaign.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/result_tree.h"

struct FINISHED {
    int64_t seed;
    std::string generator; // of the random numbers
    bool is_quick;
    std::string program; // version and commit
    std::string tree;    // directory of the result files
    const TREE_FORM *form;
};

// Whether a directory is that of a campaign, finished replications or none.
bool IsCampaign(const std::string &dir);

// One of the replications in DIR/seed-N/ that can be read, if there is one.
std::optional<FINISHED> AnyReplication(const std::string &dir);

// Fills `list` with what DIR/seed-N/ hold, by seed. Returns what is wrong with one of them, or that
// they do not belong together, or that there are none; or an empty text.
std::string ReadReplications(const std::string &dir, std::vector<FINISHED> &list);
