#include "tools/figure_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>

#include "driver/constants.h"
#include "tools/form_parts.h"
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

std::vector<double> Loads(const DATA &data)
{
    const SETTINGS &experiment = data.form->experiment;
    std::vector<double> loads(static_cast<size_t>(experiment.load_num));
    std::transform(experiment.load_list, experiment.load_list + experiment.load_num, loads.begin(),
                   [](int32_t kbps) { return kbps / KBPS_PER_MBPS; });
    return loads;
}

// A load point that was cut short is still divided by the full window, and so seems to be offered
// next to nothing. Where others ran, the manifest alone can tell.
static bool IsCutShort(const DATA &data)
{
    if (data.form != &PublishedForm()) {
        return false;
    }
    double offered = 0.0;
    double nominal = 0.0;
    for (const double mbps : Loads(data)) {
        const int kbps = static_cast<int>(mbps * KBPS_PER_MBPS);
        offered += FindPoint(data, "result.txt", kbps, "flow", "0", "offered_load").mean;
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
    constexpr size_t LONGEST_ROW = 512; // bytes; the rows of whole summaries have 150 at most
    std::string text;
    const std::string why =
        ReadPlainFile(path, (Quantities(*data.form).size() + 1) * LONGEST_ROW, text);
    if (!why.empty()) {
        return path + ": " + why;
    }
    std::istringstream file(text);
    std::string line;
    std::getline(file, line);
    size_t number = 1;
    bool is_right = line == COLUMNS;
    for (size_t i = 0; is_right && i < Quantities(*data.form).size(); ++i) {
        const std::string head =
            Head(Quantities(*data.form)[i]) + Quantities(*data.form)[i].unit + ",";
        ++number;
        is_right = std::getline(file, line) && line.starts_with(head) &&
                   ReadRow(line.c_str() + head.size(), data);
    }
    number += is_right ? 1 : 0;
    if (!is_right || std::getline(file, line)) {
        return path + ":" + std::to_string(number) + ": not what this version writes";
    }
    data.is_quick |= IsCutShort(data);
    return "";
}

std::string ReadTree(const std::string &dir, DATA &data)
{
    std::vector<double> values;
    std::string error = ReadQuantities(*data.form, dir, values);
    if (!error.empty()) {
        return error;
    }
    BALANCE balance = MakeBalance(data.form->experiment);
    AddRun(balance, *data.form, values);
    for (size_t i = 0; i < values.size(); ++i) {
        data.points.push_back(
            {values[i], NAN, IsSteady(balance, *data.form, Quantities(*data.form)[i])});
    }
    data.is_quick |= IsCutShort(data);
    return "";
}

// The places of quantities by the beginning of their lines.
static const std::map<std::string, size_t> &IndexOf(const TREE_FORM &form)
{
    static std::map<const TREE_FORM *, std::map<std::string, size_t>> made;
    std::map<std::string, size_t> &index = made[&form];
    if (!index.empty()) {
        return index;
    }
    for (size_t i = 0; i < Quantities(form).size(); ++i) {
        index.emplace(Head(Quantities(form)[i]), i);
    }
    return index;
}

const POINT &FindPoint(const DATA &data, const std::string &file, int load_kbps,
                       const std::string &kind, const std::string &thing, const std::string &metric)
{
    return data.points.at(IndexOf(*data.form).at(Head(file, load_kbps, kind, thing, metric)));
}

double PairCapacity(const SETTINGS &experiment)
{
    constexpr double BACKOFF = CW_MIN * SLOT / 2.0; // mean
    const int bytes = PacketBytes(experiment);
    const double cycle = DIFS + BACKOFF + DataTicks(bytes) + SIFS + ACK_TICKS;
    return bytes * BITS_PER_BYTE / cycle;
}

std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit)
{
    const SETTINGS &experiment = data.form->experiment;
    std::vector<POINT> points;
    for (int32_t i = 0; i < experiment.load_num; ++i) {
        const int32_t kbps = experiment.load_list[i];
        if (curve.file.empty()) {
            const double carried = std::min(kbps / KBPS_PER_MBPS, PairCapacity(experiment));
            points.push_back({data.is_quick ? NAN : carried, NAN, true});
            continue;
        }
        const POINT &point =
            FindPoint(data, curve.file, kbps, curve.kind, curve.thing, curve.metric);
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
