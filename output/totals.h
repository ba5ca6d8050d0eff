// The summary files: one row per load point, means over the trials, by node or by link.
#pragma once

#include <cstdio>

// Writes the summary files, headers and rows, from the RESULT records 0 to `g_counter` - 1.
void WriteTotalResult();

// Writes offered load and throughput of flows 0, 1 and 2 from result[index]: the six leading
// columns of a summary row. The line stays open.
void WriteOffThr(FILE *stream, int index);
