// One replication of the experiment, in a process and a directory of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/settings.h"

struct REPLICATION {
    int64_t seed;
    GENERATOR generator;
    int number; // within the campaign, from 0 on; matters to GENERATOR_MERSENNE only
    bool quick; // a thousandth of every load point
    const SETTINGS *experiment;        // null: the published one, by the program itself
    std::vector<std::string> warnings; // of that experiment
};

// Fills the working directory: result/, stdout.txt, manifest.json. Returns what went wrong, or an
// empty text.
std::string Replicate(const REPLICATION &replication);
