// dcfsim-figures: the results of a run, or of a campaign with its confidence intervals, as pictures
// and a page that shows them. gnuplot draws.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "driver/state.h"
#include "output/plot_script.h"
#include "tools/figure_data.h"
#include "tools/figure_list.h"
#include "tools/figure_script.h"
#include "tools/options.h"
#include "tools/read_tree.h"

namespace fs = std::filesystem;

static const char PROGRAM[] = "dcfsim-figures";

static void WritePage(std::ostream &page, const DATA &data, const std::vector<FIGURE> &figures)
{
    page
        << "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width\">\n"
           "<title>dcfsim: figures</title>\n"
           "<style>body { font: 16px/1.5 sans-serif; max-width: 75em; margin: 2em auto; padding: 0 "
           "1em; } figure { margin: 0 0 3em; } img { max-width: 100%; height: auto; } "
           "figcaption { max-width: 50em; }</style>\n"
           "<h1>Ten stations, five flows, one channel</h1>\n<p>"
        << (data.replications > 0
                ? "Means of " + std::to_string(data.replications) +
                      " replications, with 95 % confidence intervals where they are wide enough to "
                      "be seen; on a logarithmic axis a bar that reaches below zero ends at the "
                      "frame."
                : "One run: means of its two trials, without confidence intervals.")
        << "</p>\n";
    for (const FIGURE &figure : figures) {
        page << "<figure id=\"" << figure.name << "\">\n<img src=\"" << figure.name
             << ".svg\" alt=\"" << figure.title << " against offered load\">\n<figcaption><strong>"
             << figure.title << ".</strong> " << figure.caption << " <a href=\"" << figure.name
             << ".svg\">SVG</a>, <a href=\"" << figure.name
             << ".png\">PNG</a></figcaption>\n</figure>\n";
    }
    page << "</html>\n";
}

static bool WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return !file.fail();
}

static int Draw(const std::string &dir, const DATA &data)
{
    std::vector<FIGURE> figures = AllFigures();
    for (FIGURE &figure : figures) {
        TakeEmptyPanels(data, figure);
    }
    const std::string fig = dir + "/fig";
    std::ostringstream script;
    std::ostringstream page;
    for (const FIGURE &figure : figures) {
        WriteFigure(script, data, figure);
    }
    WritePage(page, data, figures);
    std::error_code error;
    fs::create_directories(fig, error);
    if (error || !WriteFile(fig + "/figures.gp", script.str()) ||
        !WriteFile(fig + "/index.html", page.str())) {
        return Fail(PROGRAM, fig + ": cannot be written: " + std::strerror(errno));
    }
    fs::current_path(fig);
    if (std::system("command -v gnuplot >/dev/null") != 0) {
        return Fail(PROGRAM, "gnuplot is missing (Debian: gnuplot-nox)");
    }
    if (std::system("gnuplot figures.gp") != 0) {
        return Fail(PROGRAM, "gnuplot could not draw " + fig + "/figures.gp");
    }
    std::printf("%s/index.html\n", fig.c_str());
    return 0;
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

static int Main(int argc, char **argv)
{
    std::string dir;
    bool runs_script = false;
    CLI::App app("Draws the results in DIR as SVG and PNG into DIR/fig, with a page, index.html, "
                 "that shows them. The results of a campaign are drawn with confidence bars.",
                 PROGRAM);
    app.add_option("DIR", dir, "Result files, or a campaign of dcfsim-replicate")->required();
    app.add_flag("--throughput-script", runs_script,
                 "Only run the simulator's own plot script, which draws fig/throughput.eps");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    const bool is_campaign = fs::exists(dir + "/summary.csv");
    if (!is_campaign || runs_script) {
        dir = FindTree(dir);
    }
    if (runs_script) {
        return DrawThroughputScript(dir);
    }
    DATA data;
    const std::string error =
        is_campaign ? ReadSummary(dir + "/summary.csv", data) : ReadTree(dir, data);
    return error.empty() ? Draw(dir, data) : Fail(PROGRAM, error);
}

int main(int argc, char **argv)
{
    return Guard(PROGRAM, [&] { return Main(argc, argv); });
}
