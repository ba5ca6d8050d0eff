// Two campaigns or result trees, quantity by quantity.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/result_tree.h"
#include "tools/statistics.h"

constexpr double SIGNIFICANCE = 0.05; // of all tests together

enum METHOD {
    METHOD_EQUAL,  // one run each: what is not equal differs
    METHOD_PAIRED, // replications of the same seeds, one by one
    METHOD_WELCH,  // independent samples
};

// The runs that are compared.
struct PLAN {
    METHOD method;
    std::vector<std::string> a; // result trees; of METHOD_PAIRED in the same order as those of `b`
    std::vector<std::string> b;
    size_t left_out;       // replications without a partner
    std::string generator; // of the pairs
    const TREE_FORM *a_form;
    const TREE_FORM *b_form;
};

struct COMPARISON {
    size_t quantity; // place in Quantities() of a
    size_t other;    // and of b
    MOMENTS a;
    MOMENTS b;
    MOMENTS pairs; // b less a, of METHOD_PAIRED
    DIFFERENCE difference;
    double p_adjusted; // nan where there is nothing to test
    bool is_repeat;    // of an earlier comparison, under the same name and with the same numbers
    bool differs;
};

// Finds the runs in two directories, campaigns or result trees, and how to compare them. Returns
// what stands against it, or an empty text.
std::string MakePlan(const std::string &a, const std::string &b, PLAN &plan);

// Compares the quantities of the metrics, or if there are none all, at the loads that both have.
// What is the same number in all runs is no test, and what several files repeat is one. Returns
// what is wrong with a tree, or an empty text.
std::string Compare(const PLAN &plan, const std::set<std::string> &metrics,
                    std::vector<COMPARISON> &comparisons);
