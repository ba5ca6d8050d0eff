#include "tools/figure_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

#include "tools/plain_file.h"
#include "tools/quantities.h"
#include "tools/result_tree.h"

static std::string Head(const QUANTITY &what)
{
    return what.file + "," + std::to_string(what.load) + "," + what.kind + "," + what.thing + "," +
           what.metric + "," + what.unit + ",";
}

std::string ReadSummary(const std::string &path, DATA &data)
{
    constexpr size_t LARGEST = 64 << 20; // bytes; a summary has 1.5 MB
    std::string text;
    const std::string why = ReadPlainFile(path, LARGEST, text);
    if (!why.empty()) {
        return path + ": " + why;
    }
    std::istringstream file(text);
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

std::string ReadTree(const std::string &dir, DATA &data)
{
    std::vector<double> values;
    std::string error = ReadQuantities(dir, values);
    for (double value : values) {
        data.points.push_back({value, NAN});
    }
    return error;
}

std::vector<POINT> CurvePoints(const DATA &data, const CURVE &curve, double unit)
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
