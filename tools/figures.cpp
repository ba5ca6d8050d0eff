// dcfsim-figures: the results of a run, or of a campaign with its confidence intervals, as pictures
// and a page that shows them. gnuplot draws.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include "driver/state.h"
#include "output/plot_script.h"
#include "tools/campaign_folder.h"
#include "tools/figure_data.h"
#include "tools/figure_list.h"
#include "tools/figure_page.h"
#include "tools/figure_script.h"
#include "tools/figure_source.h"
#include "tools/open_tree.h"
#include "tools/options.h"
#include "tools/read_tree.h"
#include "tools/watched_data.h"
#include "tools/watched_figures.h"

namespace fs = std::filesystem;

static const char PROGRAM[] = "dcfsim-figures";

static bool WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return !file.fail();
}

// Runs a script in its directory. Returns what went wrong, or an empty text.
static std::string RunGnuplot(const std::string &dir, const std::string &script,
                              const std::string &of)
{
    if (std::system("command -v gnuplot >/dev/null") != 0) {
        return "gnuplot is missing (Debian: gnuplot-nox)";
    }
    const std::string draw = "cd " + ShellWord(dir) + " && gnuplot " + script;
    return std::system(draw.c_str()) == 0 ? "" : "gnuplot could not draw the figures of " + of;
}

// Draws into `partial`. Returns what went wrong, or an empty text.
static std::string DrawInto(const std::string &partial, const DATA &data, const SOURCE &source)
{
    std::ostringstream script;
    script << "# " << source.dir << ", seeds " << SeedText(source.seeds) << '\n';
    std::vector<SHOWN> shown;
    for (FIGURE &figure : AllFigures(*data.form)) {
        std::vector<std::string> left_out = TakeEmptyPanels(data, figure);
        if (!figure.panels.empty()) {
            WriteFigure(script, data, figure);
        }
        shown.push_back({std::move(figure), "", std::move(left_out)});
    }
    if (!WriteFile(partial + "/figures.gp", script.str())) {
        return partial + "/figures.gp: cannot be written: " + std::strerror(errno);
    }
    std::string why = RunGnuplot(partial, "figures.gp", source.dir);
    if (!why.empty()) {
        return why;
    }
    for (SHOWN &one : shown) {
        std::ostringstream svg;
        std::ifstream file(partial + "/" + one.figure.name + ".svg", std::ios::binary);
        if (!one.figure.panels.empty() && !(svg << file.rdbuf())) {
            return partial + "/" + one.figure.name + ".svg: cannot be read";
        }
        one.svg = svg.str();
    }
    std::ostringstream page;
    WritePage(page, data, source, shown);
    return WriteFile(partial + "/index.html", page.str())
               ? ""
               : partial + "/index.html: cannot be written: " + std::strerror(errno);
}

// Draws beside what is there and replaces it file by file, so that a picture is never half there.
// `draw` is given the directory to draw into, and returns what went wrong, or an empty text.
static int DrawBeside(const std::string &fig,
                      const std::function<std::string(const std::string &)> &draw)
{
    const std::string partial = fig + "/.partial-" + std::to_string(getpid());
    std::error_code error;
    fs::create_directories(partial, error);
    if (error) {
        return Fail(PROGRAM, fig + ": cannot be written: " + error.message());
    }
    std::string why = draw(partial);
    for (const auto &entry : fs::directory_iterator(partial)) {
        if (why.empty()) {
            fs::rename(entry.path(), fig / entry.path().filename(), error);
            why = error ? fig + ": cannot be written: " + error.message() : "";
        }
    }
    fs::remove_all(partial, error);
    return why.empty() ? 0 : Fail(PROGRAM, why);
}

static int Draw(const DATA &data, const SOURCE &source)
{
    const std::string fig = source.dir + "/fig";
    const int status = DrawBeside(
        fig, [&](const std::string &partial) { return DrawInto(partial, data, source); });
    if (status == 0) {
        std::printf("%s/index.html\n", fig.c_str());
    }
    return status;
}

// Draws a file of packets or of intervals into `fig` beside it, with a table.
static int DrawWatched(const std::string &path)
{
    WATCHED watched;
    const std::string why = ReadWatched(path, watched);
    if (!why.empty()) {
        return Fail(PROGRAM, why);
    }
    const TABLE table = WatchedTable(watched);
    std::ostringstream script;
    script << "# " << path << '\n';
    const std::vector<std::string> names = WriteWatchedFigures(script, watched);
    const std::string script_name = table.name.substr(0, table.name.find('.')) + ".gp";
    const fs::path parent = fs::path(path).parent_path();
    const std::string fig = (parent.empty() ? "." : parent.string()) + "/fig";
    const int status = DrawBeside(fig, [&](const std::string &partial) -> std::string {
        if (!WriteFile(partial + "/" + table.name, table.text) ||
            !WriteFile(partial + "/" + script_name, script.str())) {
            return partial + ": cannot be written: " + std::strerror(errno);
        }
        return RunGnuplot(partial, script_name, path);
    });
    if (status == 0) {
        std::printf("%s/%s\n", fig.c_str(), table.name.c_str());
        for (const std::string &name : names) {
            std::printf("%s/%s.svg\n", fig.c_str(), name.c_str());
        }
    }
    return status;
}

// Runs the program's own plot script, which draws three flows as EPS.
static int DrawThroughputScript(const std::string &dir)
{
    constexpr int32_t DATA_BYTES = 1472; // of the experiment
    SetPacketSize(DATA_BYTES);
    std::error_code error;
    fs::create_directories(dir + "/fig", error);
    if (dir.find_first_of("'\n") != std::string::npos) {
        return Fail(PROGRAM, dir + ": the script cannot hold this name");
    }
    if (gnuplot(dir.c_str()) != 0) {
        return Fail(PROGRAM, "gnuplot could not draw " + dir + "/fig/throughput.eps");
    }
    std::printf("%s/fig/throughput.eps\n", dir.c_str());
    return 0;
}

// Reads a campaign, its summary alone, or a single run, whichever is there. Returns what is wrong,
// or an empty text.
static std::string Read(SOURCE &source, DATA &data)
{
    const std::string summary = source.dir + "/summary.csv";
    std::string why = IsCampaign(source.dir) ? ReadCampaignSource(source.dir, source) : "";
    if (!why.empty()) {
        return why;
    }
    if (fs::exists(summary)) {
        data.form = source.form != nullptr ? source.form : &PublishedForm();
        data.is_quick = source.is_quick;
        why = ReadSummary(summary, data);
        why += why.empty() ? "" : Remedy(source);
        return !why.empty() || source.trees.empty() ? why : CheckSummary(summary, data, source);
    }
    if (!source.trees.empty()) {
        return summary + ": missing" + Remedy(source);
    }
    TREE tree;
    why = OpenTree(source.dir, tree);
    if (!why.empty()) {
        return why;
    }
    source.dir = tree.dir;
    ReadTreeSource(source.dir, source);
    data.form = tree.form;
    data.is_quick = source.is_quick;
    return ReadTree(source.dir, data);
}

static int Main(int argc, char **argv)
{
    std::string dir;
    bool runs_script = false;
    CLI::App app("Draws the results in DIR as SVG, PNG and PDF into DIR/fig, with a page, "
                 "index.html, that shows them all and their values. The results of a campaign are "
                 "drawn with confidence bars. A file that dcfsim-experiment wrote for --packets or "
                 "--series is drawn into fig beside it, with a table.",
                 PROGRAM);
    app.add_option(
           "DIR", dir,
           "Result files, a campaign of dcfsim-replicate, or a file of packets or intervals")
        ->required();
    app.add_flag("--throughput-script", runs_script,
                 "Only run the simulator's own plot script, which draws fig/throughput.eps");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    std::error_code error;
    if (!runs_script && fs::is_regular_file(dir, error)) {
        return DrawWatched(dir);
    }
    SOURCE source{dir, PROGRAM, {}, {}, {}, {}, false, nullptr};
    for (int i = 1; i < argc; ++i) {
        source.command += " " + ShellWord(argv[i]);
    }
    if (runs_script) {
        return DrawThroughputScript(FindTree(dir));
    }
    DATA data{};
    const std::string why = Read(source, data);
    return why.empty() ? Draw(data, source) : Fail(PROGRAM, why);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
