// dcfsim-figures: the results of a run, or of a campaign with its confidence intervals, as pictures
// and a page that shows them. This file knows what to draw; gnuplot draws.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "driver/state.h"
#include "output/plot_script.h"
#include "tools/options.h"
#include "tools/quantities.h"
#include "tools/read_tree.h"

namespace fs = std::filesystem;

static const char PROGRAM[] = "dcfsim-figures";

struct POINT {
    double mean;
    double half; // half-width of the confidence interval; nan without one
};

// What there is to draw: a point per quantity.
struct DATA {
    std::vector<POINT> points;
    int replications = 0; // 0: a single run
};

struct CURVE {
    std::string title;
    std::string file;
    std::string kind;
    std::string thing;
    std::string metric;
    int style; // of gnuplot's line styles below; the same thing has the same style everywhere
};

struct PANEL {
    std::string title;
    std::vector<CURVE> curves;
};

struct FIGURE {
    const char *name; // of the files
    std::string title;
    std::string caption;
    const char *y_label;
    double y_unit; // unit of the axis in that of the files
    double y_top;  // of a linear axis; 0: by the data
    bool is_log;
    size_t columns; // of panels
    std::vector<PANEL> panels;
};

// Colours that are told apart with every kind of colour vision, and in print by their marks.
static const char STYLES[] = R"(
set style line 1 lc rgb '#0072B2' lw 1.8 pt 4  ps 0.9
set style line 2 lc rgb '#D55E00' lw 1.8 pt 6  ps 0.9
set style line 3 lc rgb '#009E73' lw 1.8 pt 8  ps 1.1
set style line 4 lc rgb '#CC79A7' lw 1.8 pt 2  ps 0.9 dt 2
set style line 5 lc rgb '#E69F00' lw 1.8 pt 1  ps 0.9 dt 2
set style line 6 lc rgb '#000000' lw 1.8 pt 7  ps 0.7
set border 3 lw 1
set grid lc rgb '#d0d0d0' lw 1 dt 1
set tics nomirror out
set xrange [0:35]
set xtics 5
set bars 0.6
)";
constexpr int STYLE_TOTAL = 6;
// A curve for each flow, made by `make` from its number.
template <typename MAKE> static std::vector<CURVE> PerFlow(MAKE make)
{
    std::vector<CURVE> curves;
    for (int flow = 0; flow < FLOW_NUM; ++flow) {
        curves.push_back(make(flow));
        curves.back().style = flow + 1;
    }
    return curves;
}

static std::string LinkName(int flow)
{
    return std::to_string(2 * flow) + "->" + std::to_string(2 * flow + 1);
}

static std::string FlowTitle(int flow)
{
    return "flow " + std::to_string(flow) + " (" + LinkName(flow) + ")";
}

static FIGURE ThroughputFigure()
{
    std::vector<CURVE> curves = PerFlow([](int flow) {
        return CURVE{FlowTitle(flow),      "throughput.txt", "flow",
                     std::to_string(flow), "throughput",     0};
    });
    curves.push_back(
        {"all flows", "throughput.txt", "network", "", "total_throughput", STYLE_TOTAL});
    return {"throughput",
            "Throughput",
            "Data that reaches the receiver, for each flow and in total. Flows that see the same "
            "neighbourhood (0 and 4, 1 and 3) lie on top of each other.",
            "throughput (Mbit/s)",
            1.0,
            0.0,
            false,
            1,
            {{"", curves}}};
}

static FIGURE DelayFigure()
{
    return {"delay",
            "Mean delay",
            "Mean time from the arrival of a packet at the sender's queue to its acknowledgement, "
            "on a logarithmic axis. Once a flow is offered more than it can send, its queue, and "
            "with it the delay, grows for as long as the run lasts.",
            "mean delay (ms)",
            1000.0,
            0.0,
            true,
            1,
            {{"", PerFlow([](int flow) {
                  return CURVE{
                      FlowTitle(flow), "delay_node_flow1.txt", "link", LinkName(flow), "delay", 0};
              })}}};
}

static FIGURE QueueFigure()
{
    return {"queue",
            "Queue length",
            "Mean number of packets that wait at each sender, on a logarithmic axis. Receivers "
            "have nothing to queue.",
            "mean queue length (packets)",
            1.0,
            0.0,
            true,
            1,
            {{"", PerFlow([](int flow) {
                  return CURVE{"station " + std::to_string(2 * flow),
                               "node_stat.txt",
                               "station",
                               std::to_string(2 * flow),
                               "buf",
                               0};
              })}}};
}

static FIGURE TimeFigure()
{
    FIGURE figure{"time",
                  "What the stations do with their time",
                  "Share of the measured time that each station spends sending (its whole exchange "
                  "and DIFS), with the medium busy, and idle (backoff included). Senders above, "
                  "their receivers below.",
                  "share of time",
                  1.0,
                  1.0,
                  false,
                  FLOW_NUM,
                  {}};
    for (int parity = 0; parity < 2; ++parity) {
        for (int flow = 0; flow < FLOW_NUM; ++flow) {
            const std::string station = std::to_string(2 * flow + parity);
            figure.panels.push_back(
                {(parity == 0 ? "sender " : "receiver ") + station,
                 {{"sending", "x_node.txt", "station", station, "send_share", 1},
                  {"busy", "y_node.txt", "station", station, "busy_share", 2},
                  {"idle", "z_node.txt", "station", station, "idle_share", 3}}});
        }
    }
    return figure;
}

static FIGURE CollisionFigure()
{
    FIGURE figure{"collisions",
                  "Collision probability by class",
                  "Share of a link's transmissions that collide: with a sender in range (con), "
                  "with a hidden one (hid), and of the hidden those whose other frame began later "
                  "(phy) or earlier (pro).",
                  "collision probability",
                  1.0,
                  0.0,
                  false,
                  2,
                  {}};
    const char *const classes[][2] = {{"con", "in range (con)"},
                                      {"hid", "hidden (hid)"},
                                      {"phy", "hidden, other frame later (phy)"},
                                      {"pro", "hidden, other frame earlier (pro)"}};
    for (const auto &[name, title] : classes) {
        figure.panels.push_back(
            {title, PerFlow([name = std::string(name)](int flow) {
                 return CURVE{"link " + LinkName(flow), "col_node_" + name + ".txt",     "link",
                              LinkName(flow),           "collision_probability_" + name, 0};
             })});
    }
    return figure;
}

static std::string Head(const QUANTITY &what)
{
    return what.file + "," + std::to_string(what.load) + "," + what.kind + "," + what.thing + "," +
           what.metric + "," + what.unit + ",";
}

// Reads a campaign's summary; returns what is wrong with it. ReadTree does so for a single run.
static std::string ReadSummary(const std::string &path, DATA &data)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    for (size_t i = 0; i < Quantities().size(); ++i) {
        const std::string head = Head(Quantities()[i]);
        int n = 0;
        char mean[32] = "";
        char half[32] = "";
        if (!std::getline(file, line) || !line.starts_with(head) ||
            std::sscanf(line.c_str() + head.size(), "%d,%31[^,],%*[^,],%31s", &n, mean, half) !=
                3) {
            return path + ":" + std::to_string(i + 2) + ": not the summary of a campaign";
        }
        data.replications = std::max(data.replications, n);
        data.points.push_back({std::strtod(mean, nullptr), std::strtod(half, nullptr)});
    }
    return "";
}

static std::string ReadTree(const std::string &dir, DATA &data)
{
    std::vector<double> values;
    std::string error = ReadQuantities(dir, values);
    for (double value : values) {
        data.points.push_back({value, NAN});
    }
    return error;
}

// What the y axis shows.
struct RANGE {
    double low;
    double high;
};

// The points of a curve by load.
static std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit)
{
    static const std::map<std::string, size_t> index = [] {
        std::map<std::string, size_t> made;
        for (size_t i = 0; i < Quantities().size(); ++i) {
            made[Head(Quantities()[i])] = i;
        }
        return made;
    }();
    std::vector<POINT> points;
    for (int mbps = 0; mbps < TREE_LOADS; ++mbps) {
        const std::string head = curve.file + "," + std::to_string(mbps) + "," + curve.kind + "," +
                                 curve.thing + "," + curve.metric + ",";
        const auto found = index.lower_bound(head); // whatever the unit is
        const POINT &point = data.points.at(found->second);
        points.push_back({point.mean / unit, point.half / unit});
    }
    return points;
}

// A range with room for every point of a figure: whole decades, or from 0 to a little more than the
// upper end of the highest bar.
static RANGE FindRange(const DATA &data, const FIGURE &figure)
{
    RANGE range = figure.is_log ? RANGE{1.0, 10.0} : RANGE{0.0, 0.0};
    for (const PANEL &panel : figure.panels) {
        for (const CURVE &curve : panel.curves) {
            for (const auto [mean, half] : CurvePoints(data, curve, figure.y_unit)) {
                if (figure.is_log && std::isfinite(mean) && mean > 0.0) {
                    range.low = std::min(range.low, std::pow(10, std::floor(std::log10(mean))));
                    range.high = std::max(range.high, std::pow(10, std::ceil(std::log10(mean))));
                } else if (!figure.is_log && std::isfinite(mean)) {
                    const double end = mean + (std::isfinite(half) ? half : 0.0);
                    range.high = std::max(range.high, 1.05 * end);
                }
            }
        }
    }
    if (!figure.is_log && (figure.y_top > 0.0 || range.high == 0.0)) {
        range.high = figure.y_top > 0.0 ? figure.y_top : 1.0;
    }
    return range;
}

static std::string BlockName(const FIGURE &figure, size_t panel, size_t curve)
{
    std::string name = "$";
    return name.append(figure.name).append(std::to_string(panel)) + "_" + std::to_string(curve);
}

// A data block: load, mean and the ends of the interval. What cannot be drawn is left out.
static void WriteBlock(std::ostream &script, const std::string &name, const FIGURE &figure,
                       const std::vector<POINT> &points, const RANGE &range)
{
    script << name << " << END\n0 nan nan nan\n"; // gnuplot does not take an empty block
    for (size_t mbps = 0; mbps < points.size(); ++mbps) {
        const auto [mean, half] = points[mbps];
        if (!std::isfinite(mean) || (figure.is_log && mean <= 0.0)) {
            continue;
        }
        const double reach = std::isfinite(half) ? half : 0.0;
        const double low = figure.is_log ? std::max(mean - reach, range.low) : mean - reach;
        script << mbps << ' ' << mean << ' ' << low << ' ' << mean + reach << '\n';
    }
    script << "END\n";
}

// The plot command of a panel. With several panels only the first has a key, in the margin.
static void WritePanel(std::ostream &script, const FIGURE &figure, size_t number, bool has_bars)
{
    const PANEL &panel = figure.panels[number];
    constexpr char LABEL[] = "offered load per flow (Mbit/s)";
    constexpr char GRID_LABEL[] = "load per flow (Mbit/s)"; // panels are narrow
    const bool is_grid = figure.panels.size() > 1;
    const bool is_left = number % figure.columns == 0;
    const bool is_lowest = number + figure.columns >= figure.panels.size();
    script << "set title \"" << (is_grid ? panel.title : figure.title) << "\"\n"
           << "set xlabel \""
           << (!is_lowest ? ""
               : is_grid  ? GRID_LABEL
                          : LABEL)
           << "\"\n"
           << "set ylabel \"" << (is_left ? figure.y_label : "") << "\"\n"
           << "set format x '" << (is_lowest ? "%g" : "") << "'\n"
           << "set format y '"
           << (!is_left        ? ""
               : figure.is_log ? "10^{%L}"
                               : "%g")
           << "'\n"
           << (number > 0 ? "unset key\n" : "");
    for (size_t i = 0; i < panel.curves.size(); ++i) {
        const std::string block = BlockName(figure, number, i);
        script << (i == 0 ? "plot " : ", ") << block
               << (has_bars ? " using 1:2:3:4 with yerrorlines" : " using 1:2 with linespoints")
               << " ls " << panel.curves[i].style << " title \"" << panel.curves[i].title << '"';
    }
    script << '\n';
}

static void WriteFigure(std::ostream &script, const DATA &data, const FIGURE &figure)
{
    const RANGE range = FindRange(data, figure);
    for (size_t number = 0; number < figure.panels.size(); ++number) {
        const auto &curves = figure.panels[number].curves;
        for (size_t i = 0; i < curves.size(); ++i) {
            WriteBlock(script, BlockName(figure, number, i), figure,
                       CurvePoints(data, curves[i], figure.y_unit), range);
        }
    }
    const bool is_grid = figure.panels.size() > 1;
    const std::string size = is_grid ? "1280,720" : "900,540";
    for (const char *format : {"pngcairo", "svg"}) {
        const bool is_png = std::strcmp(format, "pngcairo") == 0;
        script << "\nreset\n"
               << STYLES << "set terminal " << format << " size " << size
               << " enhanced font 'DejaVu Sans,11' background rgb 'white'\nset output '"
               << figure.name << (is_png ? ".png" : ".svg") << "'\n";
        script << "set yrange [" << range.low << ':' << range.high << "]\n"
               << (figure.is_log ? "set logscale y\n" : "");
        if (is_grid) {
            script << "set key at screen 0.99, screen 0.9 right top\n"
                   << "set multiplot layout " << figure.panels.size() / figure.columns << ','
                   << figure.columns << " margins 0.06,0.86,0.09,0.9 spacing 0.015,0.08 title \""
                   << figure.title << "\" font ',13'\n";
        } else {
            script << "set key outside right top\n";
        }
        for (size_t number = 0; number < figure.panels.size(); ++number) {
            WritePanel(script, figure, number, data.replications > 0);
        }
        script << (is_grid ? "unset multiplot\n" : "") << "unset output\n";
    }
}

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
    const std::vector<FIGURE> figures = {ThroughputFigure(), DelayFigure(), QueueFigure(),
                                         TimeFigure(), CollisionFigure()};
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
