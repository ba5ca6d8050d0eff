// The figures of the results: which curves each shows, and how.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct CURVE {
    std::string title;
    std::string file;
    std::string kind;
    std::string thing;
    std::string metric;
    int style; // a line style of figure_script.cpp; the same thing has the same one everywhere
};

struct PANEL {
    std::string title;
    std::vector<CURVE> curves;
};

struct FIGURE {
    const char *name; // of the files
    std::string title;
    std::string caption;
    const char *y_label;
    double y_unit; // unit of the axis in that of the files
    double y_top;  // of a linear axis; 0: by the data
    bool is_log;
    size_t columns; // of panels
    std::vector<PANEL> panels;
};

// All figures, in the order of the page.
std::vector<FIGURE> AllFigures();
