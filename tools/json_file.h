// JSON files of a campaign.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

// Writes `text` to a file and brings it to the disk.
bool WriteDurably(const std::string &path, const std::string &text);

// The object in a file; none if it cannot be read or holds something else.
std::optional<nlohmann::json> ReadJson(const std::string &path);
