#include "tools/figure_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>

#include "driver/state.h"
#include "tools/plain_file.h"
#include "tools/quantities.h"
#include "tools/result_tree.h"
#include "tools/steady.h"

constexpr char COLUMNS[] = "file,load_mbps,kind,thing,metric,unit,n,mean,sd,half_width_95,steady";

static std::string Head(const std::string &file, int load_kbps, const std::string &kind,
                        const std::string &thing, const std::string &metric)
{
    return file + "," + LoadText(load_kbps) + "," + kind + "," + thing + "," + metric + ",";
}

static std::string Head(const QUANTITY &what)
{
    return Head(what.file, what.load_kbps, what.kind, what.thing, what.metric);
}

// A load point that was cut short is still divided by the full window, and so seems to be offered
// next to nothing.
static bool IsCutShort(const DATA &data)
{
    double offered = 0.0;
    double nominal = 0.0;
    for (int mbps = 0; mbps < PublishedForm().experiment.load_num; ++mbps) {
        offered += FindPoint(data, "result.txt", 1000 * mbps, "flow", "0", "offered_load").mean;
        nominal += mbps;
    }
    return offered < nominal / 2;
}

static bool IsReal(const char *text)
{
    char *end = nullptr;
    std::strtod(text, &end);
    return end != text && *end == '\0';
}

// Reads what stands behind the unit: n, mean, deviation, half-width, verdict.
static bool ReadRow(const char *text, DATA &data)
{
    int n = 0;
    char mean[32] = "";
    char half[32] = "";
    char verdict[8] = "";
    const int words = std::sscanf(text, "%d,%31[^,],%*[^,],%31[^,],%7s", &n, mean, half, verdict);
    const bool is_yes = std::strcmp(verdict, "yes") == 0;
    if (words != 4 || !IsReal(mean) || !IsReal(half) ||
        (!is_yes && std::strcmp(verdict, "no") != 0)) {
        return false;
    }
    data.replications = std::max(data.replications, n);
    data.points.push_back({std::strtod(mean, nullptr), std::strtod(half, nullptr), is_yes});
    return true;
}

std::string ReadSummary(const std::string &path, DATA &data)
{
    constexpr size_t LARGEST = 64 << 20; // bytes; a summary has 7 MB
    std::string text;
    const std::string why = ReadPlainFile(path, LARGEST, text);
    if (!why.empty()) {
        return path + ": " + why;
    }
    std::istringstream file(text);
    std::string line;
    std::getline(file, line);
    size_t number = 1;
    bool is_right = line == COLUMNS;
    for (size_t i = 0; is_right && i < Quantities(PublishedForm()).size(); ++i) {
        const std::string head =
            Head(Quantities(PublishedForm())[i]) + Quantities(PublishedForm())[i].unit + ",";
        ++number;
        is_right = std::getline(file, line) && line.starts_with(head) &&
                   ReadRow(line.c_str() + head.size(), data);
    }
    number += is_right ? 1 : 0;
    if (!is_right || std::getline(file, line)) {
        return path + ":" + std::to_string(number) + ": not what this version writes";
    }
    data.is_quick = IsCutShort(data);
    return "";
}

std::string ReadTree(const std::string &dir, DATA &data)
{
    std::vector<double> values;
    std::string error = ReadQuantities(PublishedForm(), dir, values);
    if (!error.empty()) {
        return error;
    }
    BALANCE balance = MakeBalance(PublishedForm());
    AddRun(balance, values);
    for (size_t i = 0; i < values.size(); ++i) {
        data.points.push_back({values[i], NAN, IsSteady(balance, Quantities(PublishedForm())[i])});
    }
    data.is_quick = IsCutShort(data);
    return "";
}

const POINT &FindPoint(const DATA &data, const std::string &file, int load_kbps,
                       const std::string &kind, const std::string &thing, const std::string &metric)
{
    static const std::map<std::string, size_t> index = [] {
        std::map<std::string, size_t> made;
        for (size_t i = 0; i < Quantities(PublishedForm()).size(); ++i) {
            made.emplace(Head(Quantities(PublishedForm())[i]), i);
        }
        return made;
    }();
    return data.points.at(index.at(Head(file, load_kbps, kind, thing, metric)));
}

double PairCapacity()
{
    constexpr double BACKOFF = CW_MIN * SLOT / 2.0; // mean
    constexpr int32_t PACKET_DATA = 1472;           // bytes, of the experiment
    SetPacketSize(PACKET_DATA);
    const double cycle = DIFS + BACKOFF + DataTicks() + SIFS + ACK_TICKS;
    return PACKET_PAYLOAD_LENGTH * BITS_PER_BYTE / cycle;
}

std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit)
{
    std::vector<POINT> points;
    for (int mbps = 0; mbps < PublishedForm().experiment.load_num; ++mbps) {
        if (curve.file.empty()) {
            const double carried = std::min<double>(mbps, PairCapacity());
            points.push_back({data.is_quick ? NAN : carried, NAN, true});
            continue;
        }
        const POINT &point =
            FindPoint(data, curve.file, 1000 * mbps, curve.kind, curve.thing, curve.metric);
        points.push_back({point.mean / unit, point.half / unit, point.is_steady});
    }
    return points;
}

static bool IsEmpty(const DATA &data, const PANEL &panel)
{
    return std::all_of(panel.curves.begin(), panel.curves.end(), [&](const CURVE &curve) {
        const std::vector<POINT> points = CurvePoints(data, curve, panel.y_unit);
        return std::all_of(points.begin(), points.end(), [](const POINT &point) {
            return !std::isfinite(point.mean) || point.mean == 0.0;
        });
    });
}

std::vector<std::string> TakeEmptyPanels(const DATA &data, FIGURE &figure)
{
    std::vector<std::string> titles;
    std::vector<PANEL> drawn;
    for (PANEL &panel : figure.panels) {
        if (IsEmpty(data, panel)) {
            titles.push_back(panel.title);
        } else {
            drawn.push_back(std::move(panel));
        }
    }
    figure.panels = std::move(drawn);
    return titles;
}
