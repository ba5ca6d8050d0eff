// The numbers that figures are drawn from: of one run, or of a campaign with confidence intervals.
#pragma once

#include <string>
#include <vector>

#include "tools/figure_list.h"

struct POINT {
    double mean;
    double half; // half-width of the confidence interval; nan without one
};

// What there is to draw: a point per quantity.
struct DATA {
    std::vector<POINT> points;
    int replications = 0; // 0: a single run
};

// Reads a campaign's summary; returns what is wrong with it. ReadTree does so for a single run.
std::string ReadSummary(const std::string &path, DATA &data);
std::string ReadTree(const std::string &dir, DATA &data);

// The points of a curve by load, in `unit`.
std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit);
