// The keys of an experiment file: what may stand there, and where it goes.
#pragma once

#include <nlohmann/json.hpp>

#include "driver/settings.h"

// Enters all keys of an object into `settings`; throws BAD_EXPERIMENT.
void ReadKeys(const nlohmann::json &experiment, SETTINGS &settings);
