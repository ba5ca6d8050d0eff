// The result files on small states filled by hand: which value reaches which column, the blanks
// around it, and what happens when a value does not exist or a file cannot be written.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <string>

#include "driver/state.h"
#include "output/files.h"
#include "output/final_tables.h"
#include "output/print.h"
#include "output/result_record.h"
#include "output/run_header.h"
#include "output/settings_json.h"
#include "tests/output_fixture.h"
#include "topology/routing.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

TEST_F(OutputTest, OpensEveryFileAndGoesOnWithoutOne)
{
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 43);
    Print(g_fp, "old\n");
    EXPECT_EQ(Text("result.txt"), "old\n");

    fs::remove(dir / "throughput.txt");
    fs::create_directory(dir / "throughput.txt"); // cannot be opened for writing
    CaptureStdout();
    fileopen(dir.c_str());
    EXPECT_EQ(GetCapturedStdout(), "ファイルを開けません.\n");
    EXPECT_EQ(thr, nullptr);
    WriteFinalTables(); // writes to the missing stream too
    EXPECT_PRED2(HasPrefix, Line("result.txt", 0), "   0.00000 \t");
}

TEST_F(OutputTest, RunHeader)
{
    CaptureStdout();
    information();
    EXPECT_EQ(GetCapturedStdout(),
              "Ts:330\nTs/SLOTTIME:36.666667\nPACKET:252\nDIFS:34\nSIFS:16\nACK:28\n");
    const std::string dashes = "//" + std::string(77, '-') + "\n";
    // The misplaced line stands below the end of the header, and is missing in node_stat.txt.
    const std::string result_end =
        "// Ts:330\n// a = 0.763636\n" + dashes + "// IEEE 802.11a  // POISSON\n";
    EXPECT_PRED2(HasSuffix, Text("result.txt"), result_end);
    EXPECT_EQ(Line("result.txt", 14), "// packet_size = 1472");
    EXPECT_EQ(Text("node_stat.txt"),
              dashes +
                  "// DESIGN\n// trial = 2\n// simulation time = 40\n// trace time = 30\n"
                  "// Data rate = 54\n// Control rate = 24\n// packet_size = 1472\n// MH:28\n"
                  "// PAY:224\n// DAT:252\n// ACK:28\n// a = 0.763636\n" +
                  dashes);
    EXPECT_EQ(Line("collision.txt", 5), "// packet_size = 1500"); // the whole packet
}

TEST_F(OutputTest, ResultRecordSumsRatesSharesAndProbabilities)
{
    node[0].gene_num = 2500; // 2500 packets * 12000 bit / 3e7 us = 1 Mbit/s
    node[1].recv_num = 1250;
    node[1].rx_dat_num = 2500;
    node[1].over_num = 5;
    node[1].recv_from[0] = 1250;
    ave_delay[0] = 1250 * 400;
    node[0].hop_delay_sum[1] = 1250 * 300;
    node[0].hop_extra_sum[1] = 1250;
    node[0].hop_extra_sum2[1] = 1250 * 2;
    node[0].drop_hop[1] = 50;
    node[0].over_num = 5;
    node[0].link_tx_num[1] = 100;
    col[0][1][ROW_COL].total = 40;
    dp[0][1][ROW_COL].total = 1000; // must not count
    col[0][1][ROW_HID].total = 20;
    dp[0][1][ROW_HID].total = 10;
    col[0][1][ROW_HID].pairing[PAIRING_DA] = 1;
    dp[0][1][ROW_HID].pairing[PAIRING_DA] = 4;
    node[2].link_tx_num[3] = 1;
    node[2].drop_hop[3] = 1;       // over recv_from[3] of station 2 itself, which is 0
    node[4].send_hop_time[5] = 30; // never transmitted: stays out

    CaptureStdout();
    WriteResult();
    g_counter = 0;
    WriteResult();
    EXPECT_EQ(GetCapturedStdout(), "   1.00000(0.000667)     0.50000\n"
                                   "   1.00000(0.000667)     0.50000\n");
    EXPECT_EQ(g_counter, 1);

    const RESULT &record = records[0]; // two trials: everything twice
    EXPECT_EQ(record.flow_offered_throughput[0][0], 2.0);
    EXPECT_EQ(record.flow_offered_throughput[0][1], 1.0);
    EXPECT_EQ(record.flow_delay[0], 800.0);
    EXPECT_EQ(record.link_delay[0][1], 600.0);
    EXPECT_EQ(record.link_delay_b[0][1], 2.0);
    EXPECT_EQ(record.link_delay_c[0][1], 4.0);
    EXPECT_EQ(record.link_throughput[0][1], 2.0);
    EXPECT_EQ(record.link_slot_d[0][1], 0.04);
    EXPECT_EQ(record.drop_ratio[0], 0.004); // 5 of 2500 arrivals
    EXPECT_EQ(record.drop_ratio[1], 0.004); // 5 of 2500 frames
    EXPECT_EQ(record.link_prob[0][1][PROB_TOTAL], 0.6);
    EXPECT_EQ(record.link_prob[0][1][PROB_HID], 0.2);
    EXPECT_EQ(record.link_prob[0][1][PROB_HID_DA], -0.06);
    EXPECT_TRUE(std::isinf(record.link_slot_d[2][3]));
    EXPECT_EQ(record.link_x[4][5], 0.0);
    EXPECT_TRUE(std::isnan(record.flow_delay[1]));
}

// Whether a field of a record, or a table of them, holds nothing but `value`; leaves it zero.
static bool TakeValues(double &field, double value)
{
    const bool same = field == value;
    field = 0.0;
    return same;
}

template <class FIELD, size_t SIZE> static bool TakeValues(FIELD (&fields)[SIZE], double value)
{
    bool same = true;
    for (FIELD &field : fields) {
        same = TakeValues(field, value) && same;
    }
    return same;
}

TEST_F(OutputTest, InitParameterClearsOnlyItsSelection)
{
    const auto values = [this](int k) {
        return std::span(reinterpret_cast<double *>(&records[k]), sizeof(RESULT) / sizeof(double));
    };
    std::ranges::fill(values(0), 1.0);
    std::ranges::fill(values(1), 1.0);
    init_parameter(); // `load` is 1: record 0 alone
    RESULT &record = records[0];
    const auto kept = [](auto &...fields) { return (TakeValues(fields, 1.0) && ...); };
    EXPECT_TRUE(kept(record.flow_offered_throughput[1], record.flow_offered_throughput[2],
                     record.flow_offered_throughput[3], record.flow_offered_throughput[4],
                     record.link_backoff_share, record.link_delay_c));
    EXPECT_TRUE(kept(record.spare, record.flow_pair_spare, record.node_aux, record.node_aux2,
                     record.spare_last)); // written by nobody
    const double *first = values(0).data();
    for (const double &value : values(0)) { // all else is cleared
        ASSERT_EQ(value, 0.0) << &value - first;
    }
    EXPECT_EQ(std::ranges::count(values(1), 1.0), std::ssize(values(1)));
}

TEST_F(OutputTest, RoutingTables)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int row = 0; row < NODE_NUM; ++row) {
            node[i].table[row][TABLE_DST] = 10 * i + row;
            node[i].table[row][TABLE_NEXT] = -i - row;
        }
    }
    TestTable();
    EXPECT_EQ(Line("result.txt", 0), "node[ 0].table[ 0][DST] =  0");
    EXPECT_EQ(Line("result.txt", 1), "node[ 0].table[ 0][NEXT] =  0");
    EXPECT_EQ(Line("result.txt", 2 * 37), "node[ 3].table[ 7][DST] = 37");
    EXPECT_EQ(Line("result.txt", 2 * 37 + 1), "node[ 3].table[ 7][NEXT] = -10");
    EXPECT_EQ(Line("result.txt", 2 * 99 + 1), "node[ 9].table[ 9][NEXT] = -18");
    EXPECT_EQ(Line("result.txt", 2 * 99 + 2), "");
}

// The library's own shortest text is the measure. Powers of two of many digits are left out, whose
// neighbours do not lie as far below as above.
TEST_F(OutputTest, RealsAreTheShortestTextThatReadsBack)
{
    const auto both = [](double value) {
        char searched[REAL_BYTES];
        char library[REAL_BYTES];
        const std::string text(searched, SearchReal(searched, value));
        EXPECT_EQ(text, std::string(library, std::to_chars(library, std::end(library), value).ptr));
        EXPECT_EQ(std::string(library, WriteReal(library, value)), text);
    };
    for (const double value : {0.0, 1.0, 1e5, 120000.0, 1e22, 1e-5, 0.001, 0.5, 1.0 / 3.0,
                               123456789012345680.0, 5e-324, 1.7976931348623157e308}) {
        both(value);
        both(-value);
    }
    std::mt19937_64 engine(1);
    for (int i = 0; i < 20000; ++i) {
        const auto number = static_cast<double>(engine() >> 20);
        both(number / 1000.0);                     // few digits
        both(std::sqrt(number));                   // many
        both(std::ldexp(number, i % 2000 - 1000)); // any size
    }
}

// Every setting off its default, and no two values alike.
TEST_F(OutputTest, SettingsAsJson)
{
    SETTINGS settings;
    settings.seed = 11;
    settings.generator = GENERATOR_MERSENNE;
    settings.trial_num = 12;
    settings.load_num = 3;
    settings.load_list[0] = 13;
    settings.load_list[1] = 14;
    settings.load_list[2] = 15;
    settings.data_length = 16;
    settings.sim_ticks = 17;
    settings.window_begin = 18;
    settings.window_end = 19;
    settings.hop_age_limit = 20;
    settings.queue_limit = 21;
    settings.log_limit = 22;
    settings.rts_threshold = 23;
    settings.transmission_range_m = 24.5;
    settings.carrier_sense_range_m = 0.1;
    settings.layout = LAYOUT_EXPLICIT;
    for (int i = 0; i < NODE_NUM; ++i) {
        settings.position_list[i] = {30.0 + i, 40.25 + i};
    }
    settings.routing = ROUTING_LIST;
    settings.route_num = 2;
    settings.route_list[0] = {5, 1, 4};
    settings.route_list[1] = {6, 2, 3};
    settings.flow_num = 2;
    settings.flow_list[0] = {7, 8, 1};
    settings.flow_list[1] = {9, 0, 2};
    EXPECT_EQ(SettingsAsJson(settings, 2), R"({
      "seed": 11,
      "generator": "mt19937-64",
      "trials": 12,
      "loads_kbps": [13, 14, 15],
      "data_bytes": 16,
      "ticks": 17,
      "window": [18, 19],
      "hop_age_limit": 20,
      "queue_limit": 21,
      "log_limit": 22,
      "rts_threshold": 23,
      "transmission_range_m": 24.5,
      "carrier_sense_range_m": 0.1,
      "stations_m": [[30, 40.25], [31, 41.25], [32, 42.25], [33, 43.25], [34, 44.25], )"
                                           R"([35, 45.25], [36, 46.25], [37, 47.25], )"
                                           R"([38, 48.25], [39, 49.25]],
      "routes": [[5, 1, 4], [6, 2, 3]],
      "flows": [{"from": 7, "to": 8, "weight": 1}, {"from": 9, "to": 0, "weight": 2}]
  })");
    const auto has = [&settings](const std::string &member) {
        return SettingsAsJson(settings, 0).find("\n    " + member) != std::string::npos;
    };
    settings.seed = SEED_FROM_CLOCK;
    EXPECT_FALSE(has("\"seed\""));
    settings.route_num = 0;
    EXPECT_TRUE(has("\"routes\": [],"));
    const char *const routes[] = {"pairs", "chain", "neighbours"};
    for (const ROUTING routing : {ROUTING_DESIGN, ROUTING_LINE, ROUTING_NEIGHBOURS}) {
        settings.routing = routing;
        EXPECT_TRUE(has(std::string("\"routes\": \"") + routes[routing] + "\","));
    }
    settings.layout = LAYOUT_DESIGN;
    EXPECT_TRUE(has("\"stations_m\": \"pairs\","));
    settings.layout = LAYOUT_LINE;
    EXPECT_TRUE(has("\"stations_m\": \"chain\","));
}
