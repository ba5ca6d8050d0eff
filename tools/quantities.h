// A result tree as a list of numbers, the same list for every run: one per load and metric. What
// the files give per trial is averaged over the trials.
#pragma once

#include <string>
#include <vector>

#include "tools/result_tree.h"

// What a number of the list is; the words are those of the export.
struct QUANTITY {
    std::string file;
    int load_kbps; // of a flow of weight 1
    std::string kind;
    std::string thing;
    std::string metric;
    std::string unit;
};

// All quantities of an experiment, in the order of the files; last those of derived.h, which no
// file has.
const std::vector<QUANTITY> &Quantities(const TREE_FORM &form);

// Fills `values` with the quantities of the tree in `dir`. Returns what is wrong with it, or an
// empty text.
std::string ReadQuantities(const TREE_FORM &form, const std::string &dir,
                           std::vector<double> &values);
