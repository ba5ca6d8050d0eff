// Where an experiment reaches behaviour that is kept and changes what its results mean.
#pragma once

#include <string>
#include <vector>

#include "driver/settings.h"

// A line each: key of the experiment, what happens, and where to read on. They hold for all loads
// but 0. Sets the model's packet size to that of `settings`, which must be an experiment that
// ReadExperiment has taken. Nothing may be running. Throws std::bad_alloc where memory is short.
std::vector<std::string> WarningsOf(const SETTINGS &settings);
