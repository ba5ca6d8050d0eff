// The form of experiment files, and how what stands in them is refused.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

// What is wrong with the file, less its name.
struct BAD_EXPERIMENT : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What stands in a place.
std::string Shown(const nlohmann::json &value);

// Throw BAD_EXPERIMENT: at `path` stands what is not allowed.
[[noreturn]] void Refuse(const std::string &path, const std::string &stands,
                         const std::string &allowed);
[[noreturn]] void RefuseValue(const std::string &path, const nlohmann::json &value,
                              const std::string &allowed);

// The path of an entry of a list.
std::string At(const std::string &path, size_t index);

// Refuses a text that is not JSON, that is nested too deep, or in which a key stands twice.
void CheckForm(const std::string &text);
