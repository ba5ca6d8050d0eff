// The hashes that a run has left beside its files, and that of a replication in its manifest.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/result_tree.h"

struct HASH_LIST {
    bool exists = false;
    bool is_manifest = false;                  // whose hashes leave out how long the run took
    std::map<std::string, std::string> hashes; // by file name
    std::vector<std::string> errors;           // what is wrong with the list itself
};

// Reads SHA256SUMS beside the result files in `dir`, if it is there.
HASH_LIST ReadHashList(const std::string &dir);

// The hashes in the manifest that dcfsim-experiment leaves, if that of the run in `dir` has some.
HASH_LIST ReadRunHashes(const std::string &dir, const std::vector<FILE_FORM> &files);

// Holds a file against the list. Returns what does not fit; of a file that cannot be read, nothing.
std::string CompareHash(const std::string &dir, const std::string &name, const HASH_LIST &list);

// Holds the tree that the result files in `dir` belong to against the manifest of the replication,
// if it is that of one. Returns what does not fit.
std::string CompareManifest(const std::string &dir);
