// Reads an experiment file (docs/experiment-file.md) into settings, and refuses what cannot be run.
#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "driver/settings.h"

constexpr size_t EXPERIMENT_BYTES = size_t{1} << 20; // longest file that is read

// Reads the experiment at `path` into `settings`, defaults where it says nothing. Returns what is
// wrong, in one line that names the file, the key, what stands there and what is allowed, or an
// empty text. Works out the network of the experiment in the model's stations to see whether its
// routes lead from end to end, so nothing may be running; `g_settings` is left as it was.
std::string ReadExperiment(const std::string &path, SETTINGS &settings);

// The same of an object that a program wrote, as manifests have one. Routes are not followed.
std::string InterpretExperiment(const nlohmann::json &object, SETTINGS &settings);
