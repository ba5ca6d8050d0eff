// Draws the throughput curves of a finished run through the external program gnuplot.
#pragma once

// Plots `dir`/throughput.txt into `dir`/fig/throughput.eps, to be called after `fileclose`. Returns
// the exit status that closing the pipe reports, or -1 when the pipe cannot be started.
int gnuplot(const char *dir);
