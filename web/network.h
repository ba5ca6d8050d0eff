// What an experiment's network is like before anything is sent in it.
#pragma once

#include <nlohmann/json_fwd.hpp>

// The member "network" of OpenExperiment (web/interface.h), of the stations and flows as the model
// has them now.
nlohmann::json DescribeNetwork();
