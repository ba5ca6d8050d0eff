// Reads result files by their forms and tells what does not fit.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/result_tree.h"

// Takes a value as printed.
using VISITOR = std::function<void(const CELL &cell, std::string_view value)>;

// Reads `form`'s file in `dir` and shows its values to `visit`, in file order, until something does
// not fit. Returns what that is, with path and line, or an empty text.
std::string ReadResultFile(const std::string &dir, const FILE_FORM &form, const VISITOR &visit);

// Reads all files; stops at the first that does not fit.
std::string ReadResultTree(
    const std::string &dir,
    const std::function<void(const FILE_FORM &, const CELL &, std::string_view value)> &visit);

// The directory of the result files: `dir` itself, or below it where a run has put them.
std::string FindTree(const std::string &dir);
