// Whether a flow has a steady state at a load. Queues and delays of a flow that is offered more
// than it can send measure how long it was simulated, and nothing else.
//
// What arrives in the window at a sender and is neither dropped nor new at its receiver has made
// the queue longer, or was refused by a full one. With a steady state that is nothing in the mean,
// and less in each run than the arrivals themselves vary by chance; without, it is as large as the
// excess of the load.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/quantities.h"
#include "tools/result_tree.h"

// Packets of each flow that arrived in the windows of all runs and trials together, and how many of
// them neither left nor were dropped. By load, in the order of the experiment, and within it by
// flow, in that of DistinctFlows.
struct BALANCE {
    std::vector<std::vector<double>> arrived;
    std::vector<std::vector<double>> kept;
};

// One of nothing yet.
BALANCE MakeBalance(const SETTINGS &experiment);

// Adds the packets of a run; `values` are its quantities, those of `form`.
void AddRun(BALANCE &balance, const TREE_FORM &form, const std::vector<double> &values);

// Whether a flow has a steady state at a load.
bool IsFlowSteady(const BALANCE &balance, size_t load, size_t flow);

// Whether what a quantity is of has one: a flow, a station of its pair or a link between the two if
// the flow has, anything else if all flows have. Stations and links are told apart where the flows
// of `form` are the five pairs.
bool IsSteady(const BALANCE &balance, const TREE_FORM &form, const QUANTITY &what);
