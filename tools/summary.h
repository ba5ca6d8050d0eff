// What a set of replications says together.
#pragma once

#include <string>
#include <vector>

#include "tools/result_tree.h"

// Writes n, mean, standard deviation and half-width of the 95 % confidence interval of every
// quantity over the result trees `dirs`, all of one form, and whether it has a steady state, to
// `path`, complete or not at all. Values that are inf or nan do not count; n tells how many did.
// Returns what went wrong, or an empty text.
std::string WriteSummary(const TREE_FORM &form, const std::vector<std::string> &dirs,
                         const std::string &path);
