// SHA-256 of texts, files and trees, as `sha256sum` prints it: 64 hexadecimal digits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

std::string HashText(std::string_view text);

// The hash of a file's bytes; none if it cannot be read, and errno says why.
std::optional<std::string> HashFile(const std::string &path);

// The hash of a list of all plain files below a directory, in the order of their paths: a line for
// each, of its hash, two blanks, and its path from `dir` on, `dir` included. None if a file cannot
// be read.
std::optional<std::string> HashTree(const std::string &dir);
