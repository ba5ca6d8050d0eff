// The hashes of what a run has written, as its manifest tells them.
#pragma once

#include <map>
#include <string>

// The member "sha256" of a manifest, of hashes by path: an object of them by the name below `out`,
// or by the path where a file lies elsewhere. A comma stands behind it.
std::string HashMember(const std::map<std::string, std::string> &hashes, const std::string &out);
