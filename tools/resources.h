// What a replication needs of the machine, and what there is.
#pragma once

#include <cstdint>
#include <string>

// Bytes of memory that programs can still get: that of the machine, or of the tightest control
// group that this process is in. -1 if it cannot be told. `root` heads the paths of what the kernel
// tells.
int64_t AvailableMemory(const std::string &root = "");

// As many of `jobs` replications, with so many load points in all trials together, as fit into
// `available` bytes of memory; at least one, and all if `available` is -1.
int JobsThatFit(int jobs, int64_t available, int64_t points);

// Tries to write into a directory in which `count` replications are to be stored at the same time.
// Returns what stands against it and what to do, or an empty text.
std::string TryDirectory(const std::string &dir, int count);
