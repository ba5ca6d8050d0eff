#include "tools/figure_script.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

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

// What the y axis shows.
struct RANGE {
    double low;
    double high;
};

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

void WriteFigure(std::ostream &script, const DATA &data, const FIGURE &figure)
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
