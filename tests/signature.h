// The signature: one number for all that a shortened run of the program writes.
#pragma once

#include <string>

// A finished run of the program.
struct RUN {
    int status;         // exit status
    std::string output; // what it printed
};

// Runs the program with the directory `dir` as working directory.
RUN RunProgramIn(const std::string &dir);

// A new directory for temporary files. The caller removes it.
std::string MakeScratchDirectory();

// Runs a shortened experiment under a fixed clock, by plain ticking or fast, and returns the hash
// of its result files and of what it printed, less the sizes of the records and the times taken.
std::string Signature(bool plain);
