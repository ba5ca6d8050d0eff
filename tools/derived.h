// Quantities that no result file holds: reckoned, run by run, from those that the files do hold.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/quantities.h"

struct DERIVED {
    QUANTITY what;
    std::vector<QUANTITY> inputs;                                     // quantities of the files
    std::function<double(const std::vector<double> &inputs)> formula; // in the order of `inputs`
};

// Jain's index of throughputs: 1 if all are equal, 1/n if one has everything, NaN if all are 0.
double Fairness(const std::vector<double> &throughputs);

// All derived quantities of an experiment, the total throughput at each load first.
std::vector<DERIVED> DerivedQuantities(const TREE_FORM &form);

// The file that has a row for each flow, and the name of a flow in it: throughput.txt where the
// flows are those of the five pairs, else FLOW_FILE.
std::string FlowFile(const TREE_FORM &form);
std::vector<std::string> FlowNames(const TREE_FORM &form);
