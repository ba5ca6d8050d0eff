// The program around the sweep: banner, directories, result files.
#pragma once

#include <cstdint>
#include <string>

// Where the results of a packet size go, below the directory `out`.
std::string ResultDirectory(const std::string &out);

// Runs one sweep of the settings at a packet size of `data_length` bytes of application data and
// leaves its results in ResultDirectory(out), of which it makes the last level, and `fig` in it;
// the caller has made the rest. Returns whether every result file could be opened and was written
// in full. Ends the process with status 1 if memory is short.
bool RunPacketSize(int32_t data_length, const std::string &out);

// Its parts around the sweep, which the caller runs by driver/sweep.h. ClosePacketSize returns what
// RunPacketSize does.
void OpenPacketSize(int32_t data_length, const std::string &out);
bool ClosePacketSize();

// Fixes the seed of the settings, unless one is given, to what the clock shows. From then on all
// that a run does and says of itself agrees, even if a second passes.
void FixSeed();

// The program as it is published: everything below ./result. Returns the exit status 0.
int RunProgram();
