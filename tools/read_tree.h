// Reads result files by their forms, holds their values against each other and against the hashes
// beside them, and tells what does not fit.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/result_tree.h"

// Takes a value as printed.
using VISITOR =
    std::function<void(const FILE_FORM &form, const CELL &cell, std::string_view value)>;

// Reads `form`'s file in `dir` and shows its values to `visit`, in file order, until something does
// not fit. Returns what that is, with path and line, or an empty text.
std::string ReadResultFile(const std::string &dir, const FILE_FORM &form, const VISITOR &visit);

// What does not fit in a tree.
struct TREE_REPORT {
    std::vector<std::vector<std::string>> files; // in the order of the forms
    std::vector<std::string> others;             // of the hashes that lie beside them
    size_t listed = 0;                           // hashes of a list that is as it should be

    [[nodiscard]] std::string First() const; // empty if all is well
};

// Reads all files and looks at them in every way.
TREE_REPORT CheckTree(const TREE_FORM &form, const std::string &dir, const VISITOR &visit);

// The same for those who need a whole tree. Returns the first thing that does not fit; what `visit`
// was shown is worth nothing then.
std::string ReadResultTree(const TREE_FORM &form, const std::string &dir, const VISITOR &visit);

// Folders that a run makes: the second in the first, and a folder for the size of packets in that.
constexpr char RESULT_FOLDER[] = "result";
constexpr char DESIGN_FOLDER[] = "10node_design";

// The directory of the result files: `dir` itself, or below it where a run has put them. Of several
// sizes of packets that were run there, the published one.
std::string FindTree(const std::string &dir);
