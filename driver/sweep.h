// The experiment: trials, offered loads, load points.
#pragma once

#include <cstdint>

// Runs the whole sweep and writes its results. Ends the process with status 1 if memory is short.
void simulation();

// Sets the arrival parameters of an offered load per flow, in kbit/s.
void SetOfferedLoad(int32_t load_kbps);

// Starts a load point: fresh stations, cleared counters, clock at 0.
void StartLoadPoint();

// The program: banner, result directories, one sweep per packet size. Returns the exit status 0.
int RunProgram();
