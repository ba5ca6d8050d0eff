// How far a run or a campaign is: a bar with the time left on a terminal, plain lines anywhere
// else.
#pragma once

#include <cstdio>
#include <string>

// Shows lines and bar on `stream` from here on instead of standard output.
void SetProgressStream(FILE *stream);

// Prints a line that stays. A bar that is shown is wiped first.
void PrintLine(const std::string &text);

// Shows the bar, on a terminal only. `done` of `all` things, called `what`, are finished; `share`,
// from 0 to 1, is the part of the work that lies behind.
void ShowBar(int done, int all, const char *what, double share, double elapsed_s);

// Removes the bar.
void WipeBar();

// "1 h 02 min", "3 min 20 s" or "45 s".
std::string DurationText(double seconds);

// What is left when `share` of the work has taken `elapsed_s`; "unknown" at the very beginning.
std::string TimeLeft(double share, double elapsed_s);
