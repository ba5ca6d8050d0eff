// Quantities that no result file holds: reckoned, run by run, from those that the files do hold.
#pragma once

#include <vector>

#include "tools/quantities.h"

struct DERIVED {
    QUANTITY what;
    std::vector<QUANTITY> inputs;                         // quantities of the files
    double (*formula)(const std::vector<double> &inputs); // in the order of `inputs`
};

// All derived quantities, the total throughput at each load first.
std::vector<DERIVED> DerivedQuantities();
