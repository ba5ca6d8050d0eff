// What a run prints at its end and on its way: the tables of result.txt and throughput.txt, and the
// wall-clock time reports.
#pragma once

#include <cstdio>

// Writes the closing tables from the RESULT records 0 to `g_counter`, and flushes throughput.txt.
void WriteFinalTables();

// Prints `seconds`, cut to whole ones, as days, hours, minutes and seconds, then `line_end`, to
// `stream` and, if it is not null, to `copy`.
void PrintDuration(FILE *stream, FILE *copy, double seconds, const char *line_end);

// Ends the progress line of a load point and reports the wall-clock time since the run began.
void PrintElapsedTime(double seconds);

// Reports the time that the load points still to come may take.
void PrintRemainingTime(double seconds);

// Reports the time of the whole run, on standard output and in result.txt.
void PrintRunTime(double seconds);
