#include "output/plot_script.h"

#include <csignal>
#include <cstdio>

#include "driver/state.h"
#include "output/print.h"

constexpr double AXIS_TOP = 35.0; // Mbit/s, the highest load of the sweep

int gnuplot(const char *dir)
{
    FILE *pipe = popen("gnuplot -persist", "w");
    if (pipe == nullptr) {
        return -1;
    }
    // Without the program the shell closes the pipe early; the run must outlive that.
    auto previous = std::signal(SIGPIPE, SIG_IGN);
    Print(pipe, "set terminal postscript eps enhanced 'Times-New-Roman'\n");
    Print(pipe, "set output '%s/fig/throughput.eps'\n", dir);
    Print(pipe, "set title '%dnode design %dbyte'\n", NODE_NUM, PACKET_PAYLOAD_LENGTH);
    Print(pipe, "set key box\nset size square\n");
    Print(pipe, "set xtics in mirror\n");
    Print(pipe, "set ytics in mirror\n");
    Print(pipe, "set xlabel 'Offered Load[Mbps]'\n");
    Print(pipe, "set ylabel 'Throughput[Mbps]'\n");
    Print(pipe, "set xrange [0:%f]\n", AXIS_TOP);
    Print(pipe, "set yrange [0:%f]\n", AXIS_TOP);
    // Kept: three curves of the five flows, named from 1 while the file counts them from 0.
    Print(pipe,
          "plot '%s/throughput.txt' u 1:2 title 'flow1-sim' w p ps 2 pt 6,"
          "'%s/throughput.txt' u 1:3 title 'flow2-sim' w p ps 2 pt 4,"
          "'%s/throughput.txt' u 1:4 title 'flow3-sim' w p ps 2 pt 8\n",
          dir, dir, dir);
    int status = pclose(pipe);
    std::signal(SIGPIPE, previous);
    return status;
}
