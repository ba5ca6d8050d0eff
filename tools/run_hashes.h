// The hashes of what a run has written, as its manifest tells them.
#pragma once

#include <map>
#include <string>

// The hash of a result file. The line of result.txt that tells how long the run took on the clock
// is left out, so that the same experiment has the same hashes. Empty if it cannot be read.
std::string HashResult(const std::string &path);

// The member "sha256" of a manifest, of hashes by path: an object of them by the name below `out`,
// or by the path where a file lies elsewhere. A comma stands behind it.
std::string HashMember(const std::map<std::string, std::string> &hashes, const std::string &out);
