#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tools/figure_data.h"
#include "tools/quantities.h"

namespace fs = std::filesystem;

static const char HEAD[] = "file,load_mbps,kind,thing,metric,unit,n,mean,sd,half_width_95,steady";

// The lines of a summary in which the mean of quantity i is i, and its half-width i / 8; every
// third one is not steady.
static std::vector<std::string> Summary()
{
    std::vector<std::string> lines = {HEAD};
    for (const QUANTITY &what : Quantities(PublishedForm())) {
        const size_t i = lines.size() - 1;
        lines.push_back(what.file + "," + LoadText(what.load_kbps) + "," + what.kind + "," +
                        what.thing + "," + what.metric + "," + what.unit + ",3," +
                        std::to_string(i) + ",0.5," + std::to_string(i / 8.0) +
                        (i % 3 == 0 ? ",no" : ",yes"));
    }
    return lines;
}

// Reads `lines` as a summary; returns what is wrong with it, without the path.
static std::string Read(const std::vector<std::string> &lines, DATA &data)
{
    const std::string path =
        fs::temp_directory_path() / ("dcfsim-summary-" + std::to_string(getpid()));
    {
        std::ofstream file(path);
        for (const std::string &line : lines) {
            file << line << '\n';
        }
    }
    data = {&PublishedForm(), {}, 0, false};
    const std::string why = ReadSummary(path, data);
    fs::remove(path);
    return why.starts_with(path) ? why.substr(path.size()) : why;
}

TEST(FigureData, EveryQuantityOfASummaryIsFoundByItsName)
{
    DATA data{};
    ASSERT_EQ(Read(Summary(), data), "");
    ASSERT_EQ(data.points.size(), Quantities(PublishedForm()).size());
    EXPECT_EQ(data.replications, 3);
    for (size_t i = 0; i < Quantities(PublishedForm()).size(); ++i) {
        const QUANTITY &what = Quantities(PublishedForm())[i];
        if (what.unit == std::string("1/s")) {
            continue; // found by its name in the other unit
        }
        const POINT &point =
            FindPoint(data, what.file, what.load_kbps, what.kind, what.thing, what.metric);
        ASSERT_EQ(point.mean, i) << what.file << what.thing << what.metric;
        ASSERT_EQ(point.half, i / 8.0);
        ASSERT_EQ(point.is_steady, i % 3 != 0);
    }
    EXPECT_ANY_THROW(FindPoint(data, "throughput.txt", 36, "flow", "0", "throughput"));
    EXPECT_ANY_THROW(FindPoint(data, "throughput.txt", 7, "flow", "5", "throughput"));
}

TEST(FigureData, SummariesOfAnotherForm)
{
    const std::vector<std::string> good = Summary();
    DATA data{};
    const auto refused = [&](size_t line, const std::string &text) {
        std::vector<std::string> lines = good;
        lines[line - 1] = text;
        EXPECT_EQ(Read(lines, data), ":" + std::to_string(line) + ": not what this version writes")
            << text;
    };
    const std::string row = good[4].substr(0, good[4].find(",3,"));
    refused(1, good[1]);
    refused(1, std::string(HEAD).substr(0, std::string(HEAD).rfind(',')));
    refused(5, good[5]); // of another quantity
    for (const char *rest : {",3,1x,0.5,1,yes", ",3,1,0.5,x,yes", ",3,1,0.5,1,maybe", ",3,1,0.5,1",
                             ",three,1,0.5,1,yes", ""}) {
        refused(5, row + rest);
    }
    std::vector<std::string> lines = good;
    lines.push_back(good.back());
    EXPECT_EQ(Read(lines, data),
              ":" + std::to_string(good.size() + 1) + ": not what this version writes");
    lines.resize(good.size() - 1);
    EXPECT_EQ(Read(lines, data),
              ":" + std::to_string(good.size()) + ": not what this version writes");
    lines.resize(0);
    EXPECT_EQ(Read(lines, data), ":1: not what this version writes");
}

// Of load points that are cut short less than half the load arrives.
TEST(FigureData, QuickByWhatWasOffered)
{
    for (const double share : {0.49, 0.51}) {
        std::vector<std::string> lines = {HEAD};
        for (const QUANTITY &what : Quantities(PublishedForm())) {
            const double mean = what.metric == "offered_load" ? share * what.load_kbps / 1000 : 0.0;
            lines.push_back(what.file + "," + LoadText(what.load_kbps) + "," + what.kind + "," +
                            what.thing + "," + what.metric + "," + what.unit + ",2," +
                            std::to_string(mean) + ",0,nan,yes");
        }
        DATA data{};
        ASSERT_EQ(Read(lines, data), "");
        EXPECT_EQ(data.is_quick, share < 0.5);
    }
}

// DIFS 34, a backoff of 7.5 slots, DATA 252, SIFS 16 and ACK 28 us for 1500 bytes.
TEST(FigureData, CurvesInTheirUnits)
{
    EXPECT_NEAR(PairCapacity({}), 12000 / (34 + 67.5 + 252 + 16 + 28), 1e-9);
    DATA data{};
    ASSERT_EQ(Read(Summary(), data), "");
    data.is_quick = false;
    const CURVE curve = {"", "throughput.txt", "flow", "3", "throughput", 0};
    const std::vector<POINT> points = CurvePoints(data, curve, 8.0);
    ASSERT_EQ(points.size(), 36U);
    for (int load = 0; load < 36; ++load) {
        const POINT &raw = FindPoint(data, curve.file, 1000 * load, "flow", "3", "throughput");
        EXPECT_EQ(points[load].mean, raw.mean / 8);
        EXPECT_EQ(points[load].half, raw.half / 8);
        EXPECT_EQ(points[load].is_steady, raw.is_steady);
    }
    const std::vector<POINT> alone = CurvePoints(data, {"", "", "", "", "", 0}, 1.0);
    EXPECT_EQ(alone[30].mean, 30.0);
    EXPECT_EQ(alone[31].mean, PairCapacity({}));
    data.is_quick = true;
    EXPECT_TRUE(std::isnan(CurvePoints(data, {"", "", "", "", "", 0}, 1.0)[30].mean));
}
