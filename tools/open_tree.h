// Result trees, and the experiments that they are the results of.
#pragma once

#include <string>

#include "tools/result_tree.h"

struct TREE {
    std::string dir;
    const TREE_FORM *form;
};

// Finds the results in `dir`: result files, or the directory in which a run or a replication has
// left them. Their experiment is that of the manifest beside them, or the published one where there
// is none. Returns what is wrong, or an empty text.
std::string OpenTree(const std::string &dir, TREE &tree);

// What two experiments differ in but title, seed and generator: keys of experiment files, parted by
// commas. Empty if they are the same.
std::string DifferentKeys(const SETTINGS &a, const SETTINGS &b);
