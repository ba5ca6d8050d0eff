// The experiment: trials, offered loads, load points.
#pragma once

#include <cstdint>

// Runs the whole sweep and writes its results. Ends the process with status 1 if memory is short.
void simulation();

// The same in parts, for who does something between two load points: first BeginSweep, then
// StepSweep, which runs the next load point, as long as it returns that there are more, then
// EndSweep.
void BeginSweep();
bool StepSweep();
void EndSweep();

// Sets the arrival parameters of an offered load per flow, in kbit/s.
void SetOfferedLoad(int32_t load_kbps);

// Starts a load point: fresh stations, cleared counters, clock at 0.
void StartLoadPoint();

// Told at every tenth of a load point which part of the sweep, 0 to 1, lies behind; null: nobody.
extern void (*g_on_progress)(double share);
