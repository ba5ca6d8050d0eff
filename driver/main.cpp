#include <cstdio>

#include "driver/program.h"
#include "output/version.h"

static const char USAGE[] =
    "Usage: dcfsim\n"
    "Simulates ten stations of an IEEE 802.11a network under the distributed coordination\n"
    "function at offered loads of 0 to 35 Mbit/s per flow, in two trials, and writes 43 files\n"
    "to ./result/10node_design/1500, in place of those of an earlier run.\n"
    "Takes no arguments; dcfsim-experiment runs other experiments, dcfsim-replicate other "
    "seeds.\n\n"
    "  -h, --help     show this help\n"
    "  -V, --version  show version and commit\n";

int main(int argc, char **argv)
{
    if (argc < 2) {
        return RunProgram();
    }
    if (argc == 2 && AnswerHelpOrVersion(argv[1], "dcfsim", USAGE)) {
        return 0;
    }
    std::fprintf(stderr,
                 "dcfsim: takes no arguments, '%s' was given; nothing is run. Other experiments: "
                 "dcfsim-experiment FILE.json; other seeds: dcfsim-replicate DIR\n",
                 argv[1]);
    return 2;
}
