// SHA-256 of texts, files and trees, as `sha256sum` prints it: 64 hexadecimal digits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

std::string HashText(std::string_view text);

// The hash of a plain file's bytes; none if it cannot be read.
std::optional<std::string> HashFile(const std::string &path);

inline constexpr char HASH_LIST_NAME[] = "SHA256SUMS";
inline constexpr char FIGURE_FOLDER[] = "fig";

// The hash of a list of all plain files below a directory, in the order of their paths: a line for
// each, of its hash, two blanks, and its path from the name of `dir` on. Lists of hashes and
// folders of figures are passed over: tools leave them beside the results of a run. None if a file
// cannot be read.
std::optional<std::string> HashTree(const std::string &dir);
