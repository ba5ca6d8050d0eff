// JSON files of a campaign.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

// The object in a plain file of at most 16 MiB whose values are nested at most 32 deep; none if it
// cannot be read or holds something else, and `why` then says what, less the name of the file.
std::optional<nlohmann::json> ReadJson(const std::string &path, std::string *why = nullptr);
