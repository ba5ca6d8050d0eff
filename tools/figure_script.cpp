#include "tools/figure_script.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

// Colours that are told apart with every kind of colour vision, and in print by their marks.
static const char STYLES[] = R"(
set style line 1 lc rgb '#0072B2' lw 1.8 ps 0.9
set style line 2 lc rgb '#D55E00' lw 1.8 ps 0.9
set style line 3 lc rgb '#009E73' lw 1.8 ps 1.1
set style line 4 lc rgb '#CC79A7' lw 1.8 ps 1.1 dt (8,5)
set style line 5 lc rgb '#E69F00' lw 1.8 ps 1.1 dt (8,5)
set style line 6 lc rgb '#000000' lw 1.8 ps 0.7
set style line 7 lc rgb '#606060' lw 1.8 dt (2,4)
set style line 11 lc rgb '#0072B2'
set style line 12 lc rgb '#E69F00'
set style line 13 lc rgb '#A6DBC8'
set style line 14 lc rgb '#E4E4E4'
set border 3 lw 1
set style line 20 lc rgb '#BEBEBE' lw 0.7 dt 1
set grid xtics ytics ls 20
set tics nomirror out
)";

constexpr int FILLED_MARKS[] = {0, 5, 7, 9, 11, 13, 7}; // point types; the hollow ones are one less
constexpr int STYLE_LIMIT = 7;                          // styles from here on have no marks
constexpr int AREA_STYLES = 10;                         // added to the style of an area

// Marks of different curves stand at different loads, as curves may lie on top of each other; not
// where there are so few loads that a curve would have hardly any.
constexpr size_t MARK_STEP = 5;
constexpr int FEW_LOADS = 15;

// What the y axis shows.
struct RANGE {
    double low;
    double high;
};

// Pixels.
constexpr double TITLE_HEIGHT = 44;
constexpr double PANEL_TITLE = 30; // above a panel
constexpr double X_LABEL = 72;     // below a panel
constexpr double Y_LABEL = 92;     // left of a panel
constexpr double KEY_WIDTH = 260;  // right of the panels, unless a place among them is free
constexpr double RIGHT_EDGE = 24;  // where no key is
constexpr double PIXELS_PER_INCH = 96;

double LoadTop(const DATA &data)
{
    return std::max(Loads(data).back(), 1e-3);
}

static size_t Columns(const FIGURE &figure)
{
    return std::min(figure.columns, figure.panels.size());
}

// Width and height of what the axes enclose; fewer panels are larger ones.
static BOX PanelSize(const FIGURE &figure)
{
    constexpr BOX SIZES[] = {{0, 660, 0, 420}, {0, 440, 0, 380}, {0, 330, 0, 260}};
    return SIZES[Columns(figure) - 1];
}

static bool HasFreePlace(const FIGURE &figure)
{
    return figure.panels.size() % Columns(figure) != 0;
}

BOX FigureBox(const FIGURE &figure)
{
    const size_t columns = Columns(figure);
    const size_t rows = (figure.panels.size() + columns - 1) / columns;
    const BOX panel = PanelSize(figure);
    return {0,
            static_cast<double>(columns) * (Y_LABEL + panel.right) +
                (HasFreePlace(figure) ? RIGHT_EDGE : KEY_WIDTH),
            0, TITLE_HEIGHT + static_cast<double>(rows) * (PANEL_TITLE + panel.bottom + X_LABEL)};
}

BOX PanelBox(const FIGURE &figure, size_t number)
{
    const BOX panel = PanelSize(figure);
    const auto column = static_cast<double>(number % Columns(figure));
    const size_t above = number / Columns(figure);
    const auto row = static_cast<double>(above);
    const double left = column * (Y_LABEL + panel.right) + Y_LABEL;
    const double top = TITLE_HEIGHT + row * (PANEL_TITLE + panel.bottom + X_LABEL) + PANEL_TITLE;
    return {left, left + panel.right, top, top + panel.bottom};
}

// Upper left corner of the key.
static BOX KeyBox(const FIGURE &figure)
{
    constexpr double KEY_GAP = 14;
    const size_t columns = Columns(figure);
    BOX key = PanelBox(figure, HasFreePlace(figure) ? figure.panels.size() : columns - 1);
    key.left = HasFreePlace(figure) ? key.left : key.right + KEY_GAP;
    return key;
}

// Curves as they are drawn: points by load, and for areas the lower edge of each.
struct DRAWN {
    std::vector<POINT> points;
    std::vector<double> base;
};

static std::vector<DRAWN> DrawnCurves(const DATA &data, const PANEL &panel)
{
    std::vector<DRAWN> drawn;
    std::vector<double> base(Loads(data).size(), 0.0);
    for (const CURVE &curve : panel.curves) {
        drawn.push_back({CurvePoints(data, curve, panel.y_unit), base});
        for (size_t load = 0; load < base.size() && panel.scale == SCALE_STACK; ++load) {
            const double share = drawn.back().points[load].mean;
            base[load] += std::isfinite(share) ? share : 0.0;
        }
    }
    return drawn;
}

static bool IsDrawn(const PANEL &panel, const POINT &point)
{
    return std::isfinite(point.mean) && (panel.scale != SCALE_LOG || point.mean > 0.0);
}

// A range with room for every point of a panel: whole decades, or from 0 to a little more than the
// upper end of the highest bar. Areas end at the frame.
static RANGE FindRange(const PANEL &panel, const std::vector<DRAWN> &drawn)
{
    constexpr double ROOM = 1.05;
    double low = std::numeric_limits<double>::infinity();
    double high = 0.0;
    for (const DRAWN &curve : drawn) {
        for (size_t load = 0; load < curve.points.size(); ++load) {
            const auto [mean, half, is_steady] = curve.points[load];
            if (IsDrawn(panel, curve.points[load])) {
                const double bar = std::isfinite(half) && panel.scale != SCALE_STACK ? half : 0.0;
                low = std::min(low, mean);
                high = std::max(high, curve.base[load] + mean + bar);
            }
        }
    }
    if (panel.scale == SCALE_LOG) {
        return {std::pow(10, std::floor(std::log10(low))),
                std::pow(10, std::ceil(std::log10(high)))};
    }
    const double top = panel.scale == SCALE_STACK ? high : ROOM * high;
    return {0.0, panel.y_top > 0.0 ? panel.y_top : top};
}

static std::string BlockName(const FIGURE &figure, size_t panel, size_t curve)
{
    std::string name = "$";
    return name.append(figure.name).append(std::to_string(panel)) + "_" + std::to_string(curve);
}

// A data block: load, value, ends of the interval or edges of the area, 1 where steady, and the
// number of the load. What cannot be drawn is left out.
static void WriteBlock(std::ostream &script, const std::string &name, const PANEL &panel,
                       const DRAWN &curve, const RANGE &range, const std::vector<double> &loads)
{
    script << name << " << END\n0 nan nan nan 1 0\n"; // gnuplot does not take an empty block
    for (size_t load = 0; load < curve.points.size(); ++load) {
        const auto [mean, half, is_steady] = curve.points[load];
        if (!IsDrawn(panel, curve.points[load])) {
            continue;
        }
        const double reach = std::isfinite(half) ? half : 0.0;
        const double base = curve.base[load];
        const bool is_area = panel.scale == SCALE_STACK;
        const double low = is_area ? base : mean - reach;
        const double high = is_area ? base + mean : mean + reach;
        script << loads[load] << ' ' << mean << ' '
               << (panel.scale == SCALE_LOG ? std::max(low, range.low) : low) << ' ' << high << ' '
               << is_steady << ' ' << load << '\n';
    }
    script << "END\n";
}

// Elements of a plot command, those behind first.
struct PARTS {
    std::vector<std::string> bars;
    std::vector<std::string> lines;
    std::vector<std::string> marks;
    std::vector<std::string> keys;
};

// A text of parts that follow each other.
template <typename... PART> static std::string Text(const PART &...parts)
{
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

static void AddArea(PARTS &parts, const std::string &block, const CURVE &curve)
{
    const int style = AREA_STYLES + curve.style;
    parts.lines.push_back(
        Text(block, " using 1:3:4 with filledcurves fs solid noborder ls ", style, " notitle"));
    parts.keys.push_back(
        Text("keyentry with boxes fs solid ls ", style, " title \"", curve.title, '"'));
}

// Marks stand at loads whose numbers leave the remainder `place` when divided by `step`.
static void AddCurve(PARTS &parts, const std::string &block, const CURVE &curve, size_t step,
                     size_t place, bool has_bars)
{
    const std::string style = Text(" ls ", curve.style);
    parts.lines.push_back(Text(block, " using 1:2 with lines", style, " notitle"));
    if (curve.style >= STYLE_LIMIT) {
        parts.keys.push_back(Text("keyentry with lines", style, " title \"", curve.title, '"'));
        return;
    }
    const int filled = FILLED_MARKS[curve.style];
    parts.keys.push_back(
        Text("keyentry with linespoints", style, " pt ", filled, " title \"", curve.title, '"'));
    if (has_bars) {
        // Error bars would come with points, which erase what is behind them.
        parts.bars.push_back(Text(block, " using 1:3:(0):($4-$3) with vectors heads",
                                  " size screen 0.003,90", style, " lw 1 dt 1 notitle"));
    }
    // The mark of an unsteady point is hollow, and white inside.
    const auto mark = [&](int is_steady, int type, const char *colour) {
        parts.marks.push_back(Text(block, " using ((int($6)%", step, "==", place,
                                   "&&$5==", is_steady, ")?$1:NaN):2 with points", style,
                                   " dt 1 pt ", type, colour, " notitle"));
    };
    mark(1, filled, "");
    mark(0, filled, " lc rgb 'white'");
    mark(0, filled - 1, "");
}

static PARTS PlotParts(const FIGURE &figure, const DATA &data, size_t number)
{
    const PANEL &panel = figure.panels[number];
    const bool is_dense = data.form->experiment.load_num > FEW_LOADS;
    const size_t step = panel.curves.size() > 1 && is_dense ? MARK_STEP : 1;
    const bool has_bars = data.replications > 0;
    PARTS parts;
    for (size_t i = 0; i < panel.curves.size(); ++i) {
        const std::string block = BlockName(figure, number, i);
        if (panel.scale == SCALE_STACK) {
            AddArea(parts, block, panel.curves[i]);
        } else {
            AddCurve(parts, block, panel.curves[i], step, i % step, has_bars);
        }
    }
    return parts;
}

static bool HasUnsteadyPoint(const std::vector<DRAWN> &drawn)
{
    return std::any_of(drawn.begin(), drawn.end(), [](const DRAWN &curve) {
        return std::any_of(curve.points.begin(), curve.points.end(),
                           [](const POINT &point) { return !point.is_steady; });
    });
}

// Places a panel; the first one has the key of all.
static void WritePanel(std::ostream &script, const FIGURE &figure, const DATA &data, size_t number)
{
    const PANEL &panel = figure.panels[number];
    const std::vector<DRAWN> drawn = DrawnCurves(data, panel);
    const RANGE range = FindRange(panel, drawn);
    const BOX whole = FigureBox(figure);
    const BOX box = PanelBox(figure, number);
    script << "set lmargin at screen " << box.left / whole.right << "\nset rmargin at screen "
           << box.right / whole.right << "\nset tmargin at screen " << 1 - box.top / whole.bottom
           << "\nset bmargin at screen " << 1 - box.bottom / whole.bottom << "\nset title \""
           << panel.title << "\" offset 0,-0.3\nset xlabel \"offered load per flow (Mbit/s)\"\n"
           << "set ylabel \"" << panel.y_label << "\"\nset xrange [0:" << LoadTop(data)
           << "]\nset yrange [" << range.low << ':' << range.high << "]\n"
           << (panel.scale == SCALE_LOG ? "set logscale y\nset format y '10^{%L}'\n"
                                        : "unset logscale y\nset format y '%g'\n")
           // Areas would hide the grid behind them.
           << (panel.scale == SCALE_STACK ? "set grid front\n" : "set grid back\n");
    if (data.is_quick) {
        script << "set label 1 \"QUICK\" at graph 0.5,0.5 center front font ',44' "
                  "tc rgb '#90D00000'\n";
    }
    if (number > 0) {
        script << "unset key\n";
    }
    PARTS parts = PlotParts(figure, data, number);
    if (panel.scale != SCALE_STACK && HasUnsteadyPoint(drawn)) {
        parts.keys.emplace_back("keyentry with points pt 6 ps 1 lc rgb '#606060' "
                                "title \"hollow: no steady state\"");
    }
    if (number > 0) {
        parts.keys.clear();
    }
    const char *head = "plot ";
    for (const auto &part : {parts.bars, parts.lines, parts.marks, parts.keys}) {
        for (const std::string &element : part) {
            script << head << element;
            head = ", \\\n    ";
        }
    }
    script << '\n';
}

void WriteFigure(std::ostream &script, const DATA &data, const FIGURE &figure)
{
    for (size_t number = 0; number < figure.panels.size(); ++number) {
        const PANEL &panel = figure.panels[number];
        const std::vector<DRAWN> drawn = DrawnCurves(data, panel);
        const RANGE range = FindRange(panel, drawn);
        for (size_t i = 0; i < drawn.size(); ++i) {
            WriteBlock(script, BlockName(figure, number, i), panel, drawn[i], range, Loads(data));
        }
    }
    const BOX whole = FigureBox(figure);
    const BOX key = KeyBox(figure);
    const struct {
        const char *terminal;
        const char *ending;
        double pixels_per_unit; // of its size
        const char *unit;
        int letters; // font size in what the terminal takes for points
    } formats[] = {{"svg", "svg", 1.0, "", 13},
                   {"pngcairo", "png", 1.0, "", 11},
                   {"pdfcairo fontscale 0.75 linewidth 1.4", "pdf", PIXELS_PER_INCH, "in", 11}};
    for (const auto &[terminal, ending, pixels_per_unit, unit, letters] : formats) {
        script << "\nreset\n"
               << STYLES << "set terminal " << terminal << " size " << whole.right / pixels_per_unit
               << unit << ',' << whole.bottom / pixels_per_unit << unit
               << " enhanced font 'DejaVu Sans," << letters
               << "' background rgb 'white'\nset output '" << figure.name << '.' << ending
               << "'\nset key at screen " << key.left / whole.right << ','
               << 1 - key.top / whole.bottom
               << " left top Left reverse samplen 3 spacing 1.3\nset multiplot title \""
               << figure.title
               << (data.is_quick ? " - QUICK: load points cut short, these figures mean nothing"
                                 : "")
               << "\" font '," << letters + 3 << "'\n";
        for (size_t number = 0; number < figure.panels.size(); ++number) {
            WritePanel(script, figure, data, number);
        }
        script << "unset multiplot\nunset output\n";
    }
}
