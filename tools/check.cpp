// dcfsim-check: are the result files of a run all there and whole, and those that the run has left?
// Needs nothing but the standard library, so that every run can end with it.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/hashes.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

static const char LIST_NAME[] = "SHA256SUMS";

static const char USAGE[] =
    "Usage: dcfsim-check [--quiet] DIR\n"
    "Checks that DIR holds the 43 result files of dcfsim, each whole and with the right\n"
    "number of rows and columns. DIR may also be the directory in which dcfsim ran. If\n"
    "SHA256SUMS lies beside the files, they must be those that it lists.\n\n"
    "  -q, --quiet    say nothing about files that are whole\n"
    "  -h, --help     show this help\n"
    "  -V, --version  show the version\n\n"
    "The exit status is 0 if all is well, 1 if a file is missing, cut off, foreign or not\n"
    "as listed, and 2 if the command line is wrong.\n";

// The hashes that a run has left beside its files.
struct HASH_LIST {
    bool exists = false;
    std::map<std::string, std::string> hashes; // by file name
    std::vector<std::string> errors;           // what is wrong with the list itself
};

static int RefuseArguments(const std::string &why)
{
    std::fprintf(stderr, "dcfsim-check: %s; try 'dcfsim-check --help'\n", why.c_str());
    return 2;
}

static bool IsResultFile(const std::string &name)
{
    const std::vector<FILE_FORM> &forms = ResultForms();
    return std::any_of(forms.begin(), forms.end(),
                       [&name](const FILE_FORM &form) { return form.name == name; });
}

// Takes a line of the list, as `sha256sum` writes it. Returns what is wrong with it.
static std::string ReadEntry(const std::string &line, HASH_LIST &list)
{
    constexpr size_t HASH_DIGITS = 64;
    constexpr std::string_view BLANKS = "  ";
    const size_t digits = std::min(line.find_first_not_of("0123456789abcdef"), line.size());
    if (digits != HASH_DIGITS || line.compare(digits, BLANKS.size(), BLANKS) != 0) {
        return "not a hash, two blanks and the name of a file";
    }
    const std::string name = line.substr(digits + BLANKS.size());
    if (!IsResultFile(name)) {
        return "'" + name + "' is not a result file";
    }
    return list.hashes.emplace(name, line.substr(0, digits)).second ? "" : name + " comes again";
}

// Reads the list beside the files, if there is one.
static HASH_LIST ReadHashes(const std::string &dir)
{
    HASH_LIST list;
    const std::string path = dir + "/" + LIST_NAME;
    std::error_code error;
    const auto type = std::filesystem::symlink_status(path, error).type();
    list.exists = type != std::filesystem::file_type::not_found;
    if (!list.exists) {
        return list;
    }
    const auto blame = [&list](const std::string &place, const std::string &what) {
        list.errors.push_back(place + ": " + what);
    };
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path, error)) {
        blame(path, std::string("cannot be read: ") + std::strerror(file ? EISDIR : errno));
        return list;
    }
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        const std::string what = file.eof() ? "the line is cut off" : ReadEntry(line, list);
        if (!what.empty()) {
            blame(path + ":" + std::to_string(number), what);
        }
    }
    for (const FILE_FORM &form : ResultForms()) {
        if (!list.hashes.contains(form.name)) {
            blame(path, form.name + " is not listed");
        }
    }
    return list;
}

// Holds a file against the list. Returns what does not fit; of a file that cannot be read, nothing.
static std::string CompareHash(const std::string &dir, const std::string &name,
                               const HASH_LIST &list)
{
    const std::string path = dir + "/" + name;
    const auto listed = list.hashes.find(name);
    if (listed == list.hashes.end()) {
        return "";
    }
    const std::optional<std::string> hash = HashFile(path);
    if (!hash || *hash == listed->second) {
        return "";
    }
    return path + ": differs from its hash in " + LIST_NAME +
           ": it was changed after the run; restore it, or run again";
}

static int Check(const std::string &dir, bool quiet)
{
    int bad = 0;
    const auto is_well = [&bad](const std::string &error) {
        if (!error.empty()) {
            std::fprintf(stderr, "dcfsim-check: %s\n", error.c_str());
            ++bad;
        }
        return error.empty();
    };
    const auto praise = [quiet](const char *name, size_t lines) {
        if (!quiet) {
            std::printf("ok  %-20s  %5zu lines\n", name, lines);
        }
    };
    const HASH_LIST list = ReadHashes(dir);
    for (const FILE_FORM &form : ResultForms()) {
        const bool is_whole =
            is_well(ReadResultFile(dir, form, [](const CELL &, std::string_view) {}));
        if (is_well(CompareHash(dir, form.name, list)) && is_whole) {
            praise(form.name.c_str(), form.lines.size());
        }
    }
    for (const std::string &error : list.errors) {
        is_well(error + "; restore the list, or remove it");
    }
    if (list.exists && list.errors.empty()) {
        praise(LIST_NAME, list.hashes.size());
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
