// dcfsim-check: are the result files of a run all there, whole, and those that the run has left?
// Can be built with nothing but the standard library, so that every run can end with it.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "output/version.h"
#include "tools/hashes.h"
#include "tools/open_tree.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

static const char USAGE[] =
    "Usage: dcfsim-check [--quiet] DIR\n"
    "Checks that DIR holds the 43 result files of dcfsim, each whole and with the right\n"
    "number of rows and columns, and that their values agree with each other. DIR may also\n"
    "be the directory in which dcfsim or dcfsim-experiment ran, or a replication; the manifest\n"
    "there tells the experiment. If SHA256SUMS lies beside the files, they must be\n"
    "those that it lists, and those of the hashes in a manifest.\n\n"
    "  -q, --quiet    say nothing about files that are whole\n"
    "  -h, --help     show this help\n"
    "  -V, --version  show version and commit\n\n"
    "The exit status is 0 if all is well, 1 if a file is missing, cut off, foreign, at odds\n"
    "with another or not as listed, and 2 if the command line is wrong.\n";

static int RefuseArguments(const std::string &why)
{
    std::fprintf(stderr, "dcfsim-check: %s; try 'dcfsim-check --help'\n", why.c_str());
    return 2;
}

// Finds the results. A build without the library that reads manifests knows the published
// experiment alone.
static std::string Find(const std::string &dir, TREE &tree)
{
#ifdef DCFSIM_ANY_EXPERIMENT
    return OpenTree(dir, tree);
#else
    tree = {FindTree(dir), &PublishedForm()};
    return "";
#endif
}

static int Check(const std::string &dir, bool quiet)
{
    TREE tree;
    const std::string why = Find(dir, tree);
    if (!why.empty()) {
        std::fprintf(stderr, "dcfsim-check: %s\n", why.c_str());
        return 1;
    }
    const TREE_REPORT report = CheckTree(*tree.form, tree.dir, [](auto &&...) {});
    const auto praise = [quiet](const char *name, size_t lines) {
        if (!quiet) {
            std::printf("ok  %-20s  %5zu lines\n", name, lines);
        }
    };
    bool is_well = true;
    const auto blame = [&is_well](const std::vector<std::string> &errors) {
        for (const std::string &error : errors) {
            std::fprintf(stderr, "dcfsim-check: %s\n", error.c_str());
            is_well = false;
        }
    };
    for (size_t i = 0; i < report.files.size(); ++i) {
        const FILE_FORM &form = tree.form->files[i];
        blame(report.files[i]);
        if (report.files[i].empty()) {
            praise(form.name.c_str(), form.lines.size());
        }
    }
    blame(report.others);
    if (report.listed > 0) {
        praise(HASH_LIST_NAME, report.listed);
    }
    return is_well ? 0 : 1;
}

int main(int argc, char **argv)
{
    bool quiet = false;
    std::string dir;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (AnswerHelpOrVersion(argument, "dcfsim-check", USAGE)) {
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
    return dir.empty() ? RefuseArguments("no DIR given") : Check(dir, quiet);
}
