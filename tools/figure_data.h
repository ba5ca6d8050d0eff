// The numbers that figures are drawn from: of one run, or of a campaign with confidence intervals.
#pragma once

#include <string>
#include <vector>

#include "tools/figure_list.h"
#include "tools/result_tree.h"

struct POINT {
    double mean;
    double half;    // half-width of the confidence interval; nan without one
    bool is_steady; // steady.h; of a campaign, as its summary says
};

// What there is to draw: a point per quantity.
struct DATA {
    const TREE_FORM *form; // of the results
    std::vector<POINT> points;
    int replications = 0;  // 0: a single run
    bool is_quick = false; // the load points were cut short
};

// Reads the summary of a campaign of the form that `data` names; returns what is wrong with it.
// ReadTree does so for a single run.
std::string ReadSummary(const std::string &path, DATA &data);
std::string ReadTree(const std::string &dir, DATA &data);

// The loads in Mbit/s: where the points of a curve stand.
std::vector<double> Loads(const DATA &data);

// The point of a quantity, whatever its unit is.
const POINT &FindPoint(const DATA &data, const std::string &file, int load_kbps,
                       const std::string &kind, const std::string &thing,
                       const std::string &metric);

// The points of a curve by load, in `unit`.
std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit);

// Takes the panels out of `figure` in which every value is 0 or missing, and returns their titles.
std::vector<std::string> TakeEmptyPanels(const DATA &data, FIGURE &figure);

// Throughput of a pair that nobody disturbs, in Mbit/s, when it always has a packet to send.
double PairCapacity(const SETTINGS &experiment);
