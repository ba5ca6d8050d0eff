#include "tools/watched_figures.h"

#include <algorithm>
#include <sstream>
#include <utility>

constexpr double US_PER_MS = 1000;

static const char STYLES[] = R"(set style line 1 lc rgb '#0072B2' lw 1.8
set style line 2 lc rgb '#D55E00' lw 1.8
set style line 3 lc rgb '#009E73' lw 1.8
set style line 4 lc rgb '#CC79A7' lw 1.8 dt (8,5)
set style line 5 lc rgb '#E69F00' lw 1.8 dt (8,5)
set style line 6 lc rgb '#000000' lw 1.8 dt (2,4)
set style line 20 lc rgb '#BEBEBE' lw 0.7 dt 1
set border 3 lw 1
set grid xtics ytics ls 20
set tics nomirror out
)";
constexpr size_t STYLE_NUM = 6; // of curves

static std::string FlowTitle(const ENDS &ends)
{
    return std::to_string(ends.from) + " to " + std::to_string(ends.to);
}

// Draws what `commands` say as SVG and PNG.
static void WriteFormats(std::ostream &script, const std::string &name, int width, int height,
                         const std::string &commands)
{
    for (const char *ending : {"svg", "png"}) {
        const bool is_svg = std::string(ending) == "svg";
        script << "reset\n"
               << STYLES << "set terminal " << (is_svg ? "svg" : "pngcairo") << " size " << width
               << "," << height << " font 'Sans,12'" << (is_svg ? " background '#FFFFFF'" : "")
               << "\nset output '" << name << "." << ending << "'\n"
               << commands << "unset output\n";
    }
}

// Shares of packets at which a curve of the distribution is drawn.
static std::vector<double> CurveShares()
{
    std::vector<double> shares = {0.001};
    for (int percent = 1; percent < 100; ++percent) {
        shares.push_back(percent / 100.0);
    }
    shares.insert(shares.end(), {0.995, 0.999, 1.0});
    return shares;
}

constexpr double MARKED_SHARES[] = {0.5, 0.95, 0.99};

// The figure of one load; false if no packet was delivered.
static bool WriteDelayFigure(std::ostream &script, const std::string &name, int kbps,
                             const LOAD_DELAYS &flows)
{
    std::ostringstream plot;
    size_t number = 0;
    for (const auto &[ends, delays] : flows) {
        if (delays.delivered.empty()) {
            continue;
        }
        script << "$curve" << number << " << END\n";
        for (const double share : CurveShares()) {
            script << Quantile(delays, share) / US_PER_MS << " " << share << "\n";
        }
        script << "END\n$marks" << number << " << END\n";
        for (const double share : MARKED_SHARES) {
            script << Quantile(delays, share) / US_PER_MS << " " << share << "\n";
        }
        script << "END\n";
        const size_t style = number % STYLE_NUM + 1;
        plot << (number == 0 ? "plot " : ", ") << "$curve" << number << " with lines ls " << style
             << " title '" << FlowTitle(ends) << "', $marks" << number
             << " with points pt 7 ps 0.8 lc rgb '#000000' notitle";
        ++number;
    }
    if (number == 0) {
        return false;
    }
    WriteFormats(script, name, 900, 560,
                 "set title 'Delay at " + std::to_string(kbps) +
                     " kbit/s per flow; marks: p50, p95, p99'\n"
                     "set logscale x\nset xlabel 'delay (ms)'\n"
                     "set ylabel 'share of packets with at most this delay'\n"
                     "set yrange [0:1]\nset key outside right title 'flow'\n" +
                     plot.str() + "\n");
    return true;
}

// A panel: values, their running mean, and the two ends of the warm-up.
static std::string Panel(std::ostream &script, const std::string &block, const std::string &title,
                         const INTERVALS &intervals, const std::vector<double> &values)
{
    script << block << " << END\n";
    double sum = 0;
    double top = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        top = std::max(top, values[i]);
        sum += values[i];
        script << intervals.begin_s[i] << " " << values[i] << " "
               << sum / static_cast<double>(i + 1) << "\n";
    }
    script << "END\n";
    const int cut = WarmUp(values);
    std::ostringstream panel;
    panel << "unset arrow\nset yrange [0:" << (top > 0 ? "*" : "1") << "]\nset title \"" << title
          << (cut < 0 ? " (MSER-5: no steady state)" : "") << "\"\n";
    const auto line = [&panel](double at, const char *colour) {
        panel << "set arrow from " << at << ", graph 0 to " << at
              << ", graph 1 nohead lw 1.5 lc rgb '" << colour << "'\n";
    };
    if (cut >= 0) {
        line(intervals.begin_s[static_cast<size_t>(cut)], "#D55E00");
    }
    if (intervals.window_s >= 0) {
        line(intervals.window_s, "#000000");
    }
    panel << "plot " << block << " using 1:2 with lines lw 0.8 lc rgb '#A0A0A0' notitle, " << block
          << " using 1:3 with lines ls 1 notitle\n";
    return panel.str();
}

// The series of one load in one trial.
static void WriteSeriesFigure(std::ostream &script, const std::string &name, int kbps,
                              const std::vector<std::pair<ENDS, const INTERVALS *>> &flows)
{
    constexpr int PANEL_HEIGHT = 230;
    constexpr int HEAD_HEIGHT = 60;
    const auto rows = static_cast<int>(flows.size());
    std::ostringstream commands;
    commands << "set multiplot layout " << rows << ",2 title \"" << kbps
             << " kbit/s per flow: intervals (grey), running mean (blue), cut by MSER-5 (red), "
                "begin of the window (black)\"\nset xlabel 'time (s)'\n";
    int number = 0;
    for (const auto &[ends, intervals] : flows) {
        const std::string block = "$flow" + std::to_string(number);
        const std::string flow = FlowTitle(ends);
        commands << Panel(script, block + "rate", flow + ": delivered, packets per second",
                          *intervals, intervals->delivered)
                 << Panel(script, block + "queue", flow + ": mean queue, packets", *intervals,
                          intervals->queue);
        ++number;
    }
    commands << "unset multiplot\n";
    WriteFormats(script, name, 1100, rows * PANEL_HEIGHT + HEAD_HEIGHT, commands.str());
}

std::vector<std::string> WriteWatchedFigures(std::ostream &script, const WATCHED &watched)
{
    std::vector<std::string> names;
    for (const auto &[kbps, flows] : watched.delays) {
        const std::string name = "delay-" + std::to_string(kbps);
        if (WriteDelayFigure(script, name, kbps, flows)) {
            names.push_back(name);
        }
    }
    std::map<int, std::vector<std::pair<ENDS, const INTERVALS *>>> loads;
    for (const auto &[key, intervals] : watched.series) {
        if (std::get<1>(key) == 1 && !intervals.begin_s.empty()) { // the first trial speaks for all
            loads[std::get<0>(key)].emplace_back(std::get<2>(key), &intervals);
        }
    }
    for (const auto &[kbps, flows] : loads) {
        names.push_back("series-" + std::to_string(kbps));
        WriteSeriesFigure(script, names.back(), kbps, flows);
    }
    return names;
}

static std::string DelayTable(const WATCHED &watched)
{
    static const std::pair<const char *, double> shares[] = {
        {"p1", 0.01}, {"p5", 0.05},  {"p10", 0.1},  {"p25", 0.25},    {"p50", 0.5}, {"p75", 0.75},
        {"p90", 0.9}, {"p95", 0.95}, {"p99", 0.99}, {"p99.9", 0.999}, {"max", 1.0}};
    std::ostringstream table;
    table << "load_kbps,from,to,delivered,dropped,mean_us";
    for (const auto &[head, share] : shares) {
        table << "," << head << "_us";
    }
    table << "\n";
    for (const auto &[kbps, flows] : watched.delays) {
        for (const auto &[ends, delays] : flows) {
            const size_t count = delays.delivered.size();
            double sum = 0;
            for (const uint32_t delay : delays.delivered) {
                sum += delay;
            }
            table << kbps << "," << ends.from << "," << ends.to << "," << count << ","
                  << delays.dropped << ",";
            if (count > 0) {
                table << std::to_string(sum / static_cast<double>(count));
            }
            for (const auto &[head, share] : shares) {
                table << ",";
                if (count > 0) {
                    table << Quantile(delays, share);
                }
            }
            table << "\n";
        }
    }
    return table.str();
}

// Where MSER-5 cuts and where the window begins, in s; empty where there is no such place.
static std::string WarmUpTable(const WATCHED &watched)
{
    std::ostringstream table;
    table << "load_kbps,trial,from,to,delivered_mser5_s,queue_mser5_s,window_s\n";
    for (const auto &[key, intervals] : watched.series) {
        const auto &[kbps, trial, ends] = key;
        table << kbps << "," << trial << "," << ends.from << "," << ends.to;
        for (const auto *values : {&intervals.delivered, &intervals.queue}) {
            const int cut = WarmUp(*values);
            table << ",";
            if (cut >= 0) {
                table << intervals.begin_s[static_cast<size_t>(cut)];
            }
        }
        table << ",";
        if (intervals.window_s >= 0) {
            table << intervals.window_s;
        }
        table << "\n";
    }
    return table.str();
}

TABLE WatchedTable(const WATCHED &watched)
{
    return watched.series.empty() ? TABLE{"delay.csv", DelayTable(watched)}
                                  : TABLE{"warm-up.csv", WarmUpTable(watched)};
}
