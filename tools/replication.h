// One replication of the experiment, in a process and a directory of its own.
#pragma once

#include <cstdint>
#include <string>

// Fills the working directory: result/, stdout.txt, manifest.json. A quick one runs a thousandth of
// every load point. Returns what went wrong, or an empty text.
std::string Replicate(int64_t seed, bool quick);
