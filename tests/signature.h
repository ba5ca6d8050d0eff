// The signature: one number for all that a shortened run of the program writes, and one a file.
#pragma once

#include <string>

#include "driver/settings.h"

// A finished run of the program.
struct RUN {
    int status;         // exit status
    std::string output; // what it printed
};

// Runs the program with the directory `dir` as working directory.
RUN RunProgramIn(const std::string &dir);

// A new directory for temporary files. The caller removes it.
std::string MakeScratchDirectory();

// Hashes of what a run has left behind.
struct SIGNATURE {
    std::string total; // of all of it
    std::string parts; // a line for what was printed and for each result file: hash, name
};

// Runs a shortened experiment under a fixed clock, by plain ticking or fast. Of what it prints the
// sizes of the records and the times taken do not count.
SIGNATURE Signature(bool plain, GENERATOR generator = GENERATOR_LCG);
