// The settings of an experiment as text: the object that docs/experiment-file.md describes, with
// every key.
#pragma once

#include <string>

#include "driver/settings.h"

// A text without control characters as JSON writes it.
std::string JsonText(const std::string &text);

// The experiment as one JSON object in several lines, each but the first indented by `indent`
// blanks more than it would be alone. No line break at the end. Layouts that no experiment file can
// name are given as the places of the settings.
std::string SettingsAsJson(const SETTINGS &settings, int indent);
