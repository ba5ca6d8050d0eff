// The figures of the results: which curves each shows, and how.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/result_tree.h"

struct CURVE {
    std::string title;
    std::string file; // empty: what one pair alone would carry, reckoned and not simulated
    std::string kind;
    std::string thing;
    std::string metric;
    int style; // a line or area style of figure_script.cpp; the same thing has the same everywhere
};

enum SCALE {
    SCALE_LINEAR, // from 0
    SCALE_LOG,    // whole decades
    SCALE_STACK,  // linear; the curves are areas, each upon the one before it
};

struct PANEL {
    std::string title;
    const char *y_label; // with its unit
    const char *unit;    // behind a value under the pointer; empty for none
    double y_unit;       // unit of the axis in that of the files
    double y_top;        // of a linear axis; 0: by the data
    SCALE scale;
    std::vector<CURVE> curves;
};

struct FIGURE {
    const char *name; // of the files
    std::string title;
    std::string caption;
    size_t columns; // of panels
    std::vector<PANEL> panels;
};

// All figures of an experiment, in the order of the page. Collisions are told by the pairs of the
// published flows; where the flows are others, that figure is missing.
std::vector<FIGURE> AllFigures(const TREE_FORM &form);
