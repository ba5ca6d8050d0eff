// dcfsim-check: are the result files of a run all there and whole? Needs nothing but the standard
// library, so that every run can end with it.
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/read_tree.h"

static const char USAGE[] =
    "Usage: dcfsim-check [--quiet] DIR\n"
    "Checks that DIR holds the 43 result files of dcfsim, each whole and with the right\n"
    "number of rows and columns. DIR may also be the directory in which dcfsim ran.\n\n"
    "  -q, --quiet    say nothing about files that are whole\n"
    "  -h, --help     show this help\n"
    "  -V, --version  show the version\n\n"
    "The exit status is 0 if all is well, 1 if a file is missing, cut off or foreign, and\n"
    "2 if the command line is wrong.\n";

static int RefuseArguments(const std::string &why)
{
    std::fprintf(stderr, "dcfsim-check: %s; try 'dcfsim-check --help'\n", why.c_str());
    return 2;
}

static int Check(const std::string &dir, bool quiet)
{
    int bad = 0;
    for (const FILE_FORM &form : ResultForms()) {
        const std::string error = ReadResultFile(dir, form, [](const CELL &, std::string_view) {});
        if (!error.empty()) {
            std::fprintf(stderr, "dcfsim-check: %s\n", error.c_str());
            ++bad;
        } else if (!quiet) {
            std::printf("ok  %-20s  %5zu lines\n", form.name.c_str(), form.lines.size());
        }
    }
    return bad == 0 ? 0 : 1;
}

int main(int argc, char **argv)
{
    bool quiet = false;
    std::string dir;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(USAGE, stdout);
            return 0;
        }
        if (argument == "--version" || argument == "-V") {
            std::puts("dcfsim-check " DCFSIM_VERSION);
            return 0;
        }
        if (argument == "--quiet" || argument == "-q") {
            quiet = true;
        } else if (argument.starts_with("-")) {
            return RefuseArguments("unknown option " + std::string(argument));
        } else if (!dir.empty()) {
            return RefuseArguments("more than one DIR");
        } else {
            dir = argument;
        }
    }
    return dir.empty() ? RefuseArguments("no DIR given") : Check(FindTree(dir), quiet);
}
