// The network of an experiment before it is run: who hears whom, and where its packets go.
#pragma once

#include <functional>

#include "driver/settings.h"

// Works out places, ranges and routes of `settings` in the model's stations, calls `look`, and
// leaves `g_settings` as it was. Returns whether there was memory for it. Nothing may be running.
bool WithNetwork(const SETTINGS &settings, const std::function<void()> &look);
