// The experiments that come with the program.
#pragma once

// Prints a line for each on standard output: the file, as it can be named from the working
// directory, and its title. Reads the files where the program is installed, else those of the
// sources that it was built from. Returns the exit status: 1, with a line on standard error, where
// there are none, one cannot be run, or the list cannot be written; the others are shown all the
// same. Nothing may be running.
int ListExperiments(const char *program);
