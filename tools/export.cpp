// dcfsim-export: a result tree as one long CSV, a row per printed value.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "tools/open_tree.h"
#include "tools/options.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

static const char PROGRAM[] = "dcfsim-export";

static std::string TrialName(int trial)
{
    if (trial == TRIAL_NONE) {
        return "";
    }
    return trial == TRIAL_MEAN ? "mean" : std::to_string(trial);
}

// Appends a row. No field ever holds a comma or a quote.
static void AddRow(std::string &csv, const FILE_FORM &form, const CELL &cell,
                   std::string_view value)
{
    const std::string load = cell.load_kbps == LOAD_NONE ? "" : LoadText(cell.load_kbps);
    const std::string trial = TrialName(cell.trial);
    for (std::string_view field :
         {std::string_view(form.name), std::string_view(trial), std::string_view(load),
          std::string_view(cell.kind), std::string_view(cell.thing), std::string_view(cell.text),
          std::string_view(cell.unit)}) {
        csv.append(field).push_back(',');
    }
    csv.append(value).push_back('\n');
}

// Writes all of `text` to `path`, or to standard output if that is empty.
static bool Write(const std::string &path, const std::string &text)
{
    FILE *file = path.empty() ? stdout : std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && is_written;
}

static int Main(int argc, char **argv)
{
    std::string dir;
    std::string output;
    CLI::App app("Turns the result files in DIR into one long CSV: a row for each printed value.",
                 PROGRAM);
    app.add_option("DIR", dir, "Result files, or the directory in which dcfsim ran")->required();
    app.add_option("-o,--output", output, "Write to FILE instead of standard output")
        ->option_text("FILE");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    // The whole tree is read first: one that does not fit yields no half table.
    std::string csv = "file,trial,load_mbps,kind,thing,metric,unit,value\n";
    TREE tree;
    std::string error = OpenTree(dir, tree);
    if (!error.empty()) {
        return Fail(PROGRAM, error);
    }
    error = ReadResultTree(*tree.form, tree.dir,
                           [&](const FILE_FORM &form, const CELL &cell, std::string_view value) {
                               if (cell.kind != nullptr) {
                                   AddRow(csv, form, cell, value);
                               }
                           });
    if (!error.empty()) {
        return Fail(PROGRAM, error);
    }
    if (!Write(output, csv)) {
        return Fail(PROGRAM, (output.empty() ? "standard output" : output) +
                                 ": cannot be written: " + std::strerror(errno));
    }
    return 0;
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
