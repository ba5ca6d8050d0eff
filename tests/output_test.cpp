// The result files on small states filled by hand: which value reaches which column, the blanks
// around it, and what happens when a value does not exist or a file cannot be written.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "driver/state.h"
#include "output/collision_table.h"
#include "output/files.h"
#include "output/final_tables.h"
#include "output/node_statistics.h"
#include "output/plot_script.h"
#include "output/print.h"
#include "output/result_record.h"
#include "output/run_header.h"
#include "output/settings_json.h"
#include "output/totals.h"
#include "topology/routing.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class OutputTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        g_settings = {};
        // A directory per process: the tests may run side by side.
        dir = fs::path(testing::TempDir()) / ("dcfsim_output_test" + std::to_string(getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        ASSERT_TRUE(AllocateState());
        for (int i = 0; i < NODE_NUM; i++) {
            for (int j = 0; j < NODE_NUM; j++) {
                std::fill_n(col[i][j], COL_RECORDS, COL{});
                std::fill_n(dp[i][j], COL_RECORDS, COL{});
            }
            node[i].backoff_draws = 1;
        }
        records.assign(3, RESULT{});
        result = records.data();
        load = 1;
        g_counter = 0;
        SetPacketSize(1472);
        fileopen(dir.c_str());
    }

    void TearDown() override
    {
        fileclose();
        FreeState();
        result = nullptr;
        fs::remove_all(dir);
    }

    // Contents of a result file, after closing all of them.
    std::string Text(const std::string &name)
    {
        fileclose();
        std::ifstream file(dir / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Line `number` of a result file, from 0.
    std::string Line(const std::string &name, int number)
    {
        std::istringstream text(Text(name));
        std::string line;
        for (int i = 0; i <= number; i++) {
            line.clear();
            std::getline(text, line);
        }
        return line;
    }

    fs::path dir;
    std::vector<RESULT> records;
};

static bool HasPrefix(const std::string &text, const std::string &prefix)
{
    return text.starts_with(prefix);
}

static bool HasSuffix(const std::string &text, const std::string &suffix)
{
    return text.ends_with(suffix);
}

// Values as the summary files print them, each behind its tab.
static std::string Cells(std::initializer_list<double> values)
{
    std::string line;
    for (double value : values) {
        char text[32];
        snprintf(text, sizeof text, "\t%11.5f", value);
        line += text;
    }
    return line;
}

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

TEST_F(OutputTest, CollisionBlock)
{
    node[0].link_tx_num[1] = 1000;
    const int32_t collided[COL_ROWS] = {40, 30, 10, 4, 5, 1};
    const int32_t repeated[COL_ROWS] = {9, 3, 2, 1, 1, 1};
    for (int row = 0; row < COL_ROWS; row++) {
        col[0][1][row].total = collided[row];
        dp[0][1][row].total = repeated[row];
    }
    const int32_t pairings[PAIRING_NUM][2] = {{8, 3}, {6, 2}, {5, 4}, {3, 1}};
    for (int k = 0; k < PAIRING_NUM; k++) {
        col[0][1][ROW_HID].pairing[k] = pairings[k][0];
        dp[0][1][ROW_HID].pairing[k] = pairings[k][1];
    }
    col[9][8][ROW_CON].total = 7; // counted, yet the link never carried a frame

    WriteCollision(1, 3000);
    EXPECT_EQ(Line("collision.txt", 0), "trial = \t2");
    EXPECT_EQ(Line("collision.txt", 1), "num_off = \t3.000000");
    // x = 1000 * 330 / 3e7; in brackets without repeats; pro stands before phy.
    EXPECT_EQ(Line("collision.txt", 3),
              "  0 ->  1 \t   1000 \t     40 \t     30 \t     10 \t      4 \t      5 \t      1 \t"
              "      3 \t      2 \t      1 \t      1 \t    0.01100\t     0.04000\t"
              "     0.01000(    0.00800)\t     0.00500(    0.00400)\t     0.00400(    0.00300)\t"
              "     0.00100(    0.00000)");
    EXPECT_PRED2(HasPrefix, Line("collision.txt", 12), "  9 ->  8 \t      0 \t      0 \t      7 ");
    EXPECT_EQ(Line("collision.txt", 22), "●  0 ->  1 ");
    EXPECT_EQ(Line("collision.txt", 26),
              "hid \t     10(      8)\t       8(      5) \t      6(      4) \t      5(      1) \t"
              "      3(      2)\t     0.00800(    0.00500) \t    0.00600(    0.00400)\t"
              "     0.00500(    0.00100)\t     0.00300(    0.00200)");
    // 9 forward blocks of 7 lines each end at line 84.
    EXPECT_EQ(Line("collision.txt", 85), " 9 ->  8\t ");
    EXPECT_EQ(Line("collision.txt", 88),
              "con\t       7(      7) \t      0(      0) \t      0(      0)\t       0(      0)\t"
              "       0(      0) \t    0.00000(    0.00000)\t     0.00000(    0.00000)\t"
              "     0.00000(    0.00000)\t     0.00000(    0.00000)");
    EXPECT_PRED2(HasSuffix, Text("collision.txt"), ")\n\n");
}

TEST_F(OutputTest, NodeStatistics)
{
    g_interval = 12000;
    g_ariv_rate = 1.0 / 12000.0;
    NODE &source = node[2];
    source.gene_num = 2500;
    source.tx_num = 2600;
    source.link_tx_num[3] = 2599;
    source.timeout_num = 101;
    source.timeout_hop[3] = 100;
    source.drop_num = 5;
    source.over_num = 9;
    source.rx_dat_num = 8;
    source.recv_num = 7;
    source.recv_from[3] = 6;
    source.dup_num = 3;
    source.buffer_avg = 1.25;
    source.send_time = 3'000'000;
    source.busy_time = 6'000'000;
    source.busy_queue_time = 4'500'000;
    source.idle_time = 20'000'000;
    source.backoff_time = 1'500'000;
    source.backoff_draws = 4;
    source.backoff_slot_sum = 30;
    NODE &destination = node[3];
    destination.tx_num = 1000;
    destination.link_tx_num[2] = 999;
    destination.timeout_num = 250;
    destination.timeout_hop[2] = 249;
    destination.over_num = 11;
    destination.rx_dat_num = 2501;
    destination.recv_num = 2500;
    destination.recv_from[2] = 2499;
    destination.dup_num = 1;
    destination.buffer_avg = 0.5;
    node[5].tx_num = 1; // with RTS: more time-outs than DATA frames
    node[5].timeout_num = 10;
    trans_con[8][9] = 15'000'000;
    X_count[8][9] = 1;
    Y_count[8][9] = 2;
    Z_count[8][9] = 3;
    WriteNodeStat(0, 1000);

    EXPECT_EQ(Line("node_stat.txt", 4), "g_interval = 12000\tload = 1.000000");
    EXPECT_EQ(Line("node_stat.txt", 5), "g_ariv_rate = 0.000083\tload = 83.333333");
    EXPECT_EQ(Line("node_stat.txt", 9),
              "  2 \t    2500 \t    2600 \t    2599\t    0.00000\t    101\t    100\t      0\t"
              "      5\t    0.00200\t      9\t      8\t      7\t      0\t      6\t      3\t"
              "    1.25000\t    7.50000\t    0.10000\t    1.00000\t    0.00280\t"
              "0.133333\t0.200000\t0.150000\t0.666667\t0.050000\t0.966667");
    // x = (1000 * 296 + 750 * 34) / 3e7; no arrivals: the drop rate is 0 / 0; one draw of 0 slots.
    EXPECT_EQ(Line("node_stat.txt", 10),
              " 3 \t      0 \t   1000 \t      0 \t    999 \t    250 \t      0 \t    249 \t"
              "      0 \t       -nan\t     11 \t   2501 \t   2500 \t   2499\t       0\t       1\t"
              "     0.50000 \t    0.00000 \t    0.01072 \t    0.00000\t     1.00000\t"
              "inf\t0.000000\t0.000000\t0.000000\t0.000000\t0.000000");
    // x = (1 * 296 - 9 * 34) / 3e7 wraps to (2^64 - 10) / 3e7.
    EXPECT_NE(Line("node_stat.txt", 12).find("\t614891469123.65173 \t"), std::string::npos);
    EXPECT_EQ(Line("trans_con.txt", 6), "2-4\t2-8");
    EXPECT_EQ(Line("trans_con.txt", 52), "node[8][9]\t    0.50000\t1\t2\t3");
    trans_con[8][9] = X_count[8][9] = Y_count[8][9] = Z_count[8][9] = 0;
}

// Fills a table by links so that its mean is base + 10 * sender + receiver.
static void FillLinks(double (&table)[NODE_NUM][NODE_NUM], double base)
{
    for (int i = 0; i < NODE_NUM; i++) {
        for (int j = 0; j < NODE_NUM; j++) {
            table[i][j] = 2.0 * (base + 10 * i + j);
        }
    }
}

TEST_F(OutputTest, TotalsBringEachQuantityToItsFile)
{
    RESULT &record = records[0];
    const struct {
        double (&table)[NODE_NUM][NODE_NUM];
        const char *forward;
        const char *backward;
    } tables[] = {
        {record.link_queue_ratio, "Qnode_flow1.txt", "Qnode_flow2.txt"},
        {record.link_delay, "delay_node_flow1.txt", "delay_node_flow2.txt"},
        {record.link_x, "x_node_flow1.txt", "x_node_flow2.txt"},
        {record.link_slot_d, "drop.txt", nullptr},
        {record.link_delay_b, "dmac_node_flow1.txt", "dmac_node_flow2.txt"},
        {record.link_delay_c, "dque_node_flow1.txt", "dque_node_flow2.txt"},
        {record.link_backoff_share, "q_z_flow1.txt", "q_z_flow2.txt"},
    };
    double base = 1000.0;
    for (const auto &table : tables) {
        FillLinks(table.table, base);
        base += 1000.0;
    }
    const char *const prob_files[] = {"col_node_flow1.txt", "col_node_con.txt", "col_node_hid.txt",
                                      "col_node_phy.txt",   "col_node_pro.txt", nullptr,
                                      "col_node_ack.txt"};
    for (int k = PROB_TOTAL; k <= PROB_HID_DA; k++) {
        record.link_prob[8][9][k] = 2.0 * (k + 1);
    }
    g_counter = 1;
    WriteTotalResult();

    base = 1000.0;
    for (const auto &table : tables) {
        EXPECT_PRED2(HasSuffix, Line(table.forward, 1), Cells({base + 89})) << table.forward;
        if (table.backward != nullptr) {
            std::string line = Line(table.backward, 1);
            EXPECT_NE(line.find(Cells({base + 10, base + 21})), line.npos) << table.backward;
            EXPECT_PRED2(HasSuffix, line, Cells({base + 98})) << table.backward;
        }
        base += 1000.0;
    }
    for (int k = PROB_TOTAL; k <= PROB_HID_DA; k++) {
        if (prob_files[k] != nullptr) {
            EXPECT_PRED2(HasSuffix, Line(prob_files[k], 1), Cells({k + 1.0})) << prob_files[k];
        }
    }
}

TEST_F(OutputTest, TotalsOddities)
{
    RESULT &record = records[0];
    const double flows[6] = {2, 4, 6, 8, 10, 12};
    memcpy(record.flow_offered_throughput, flows, sizeof flows);
    const double delays[FLOW_NUM] = {20, 40, 60, 80, 100};
    memcpy(record.flow_delay, delays, sizeof delays);
    record.link_delay[0][1] = 3;
    record.link_delay[8][9] = 4;
    record.idle_ratio[9] = 1.5;
    record.link_backoff_share[0][1] = 0.5;
    record.link_backoff_share[2][3] = 0.25;
    record.link_backoff_share[2][1] = 0.5;
    record.busy_queue_share[0] = 0.5;
    record.link_busy_queue_share[0][1] = 0.125;
    record.link_busy_queue_share[9][8] = 0.25; // over busy_queue_share[9], which is 0
    for (int i = 0; i < NODE_NUM; i++) {
        record.send_ratio[i] = 2 * i;
    }
    g_counter = 2;
    WriteTotalResult();

    const std::string off_thr = "   1.00000 \t    2.00000\t    3.00000 \t    4.00000\t"
                                "    5.00000 \t    6.00000";
    const std::string no_off_thr = "   0.00000 \t    0.00000\t    0.00000 \t    0.00000\t"
                                   "    0.00000 \t    0.00000";
    const std::string label = "Total Off\tTotal Thr\t Off1\t Thr1 \t Off2\t Thr2\t";
    // Link 0 -> 1 gets the value before the table; the others both directions.
    EXPECT_EQ(Line("q_z_node.txt", 1), off_thr + Cells({1, 0, 0.375, 0, 0, 0, 0, 0, 0}));
    // Delays of flows 0 to 3 beside the offered load of flow 1, then the sum beside that of flow 0.
    EXPECT_PRED2(HasPrefix, Line("q_z_flow2.txt", 1), off_thr + "\t0" + Cells({0, 0.25, 0}));
    EXPECT_PRED2(HasPrefix, Text("delay.txt"),
                 "off1\t delay1\toff2\tdelay2\n"
                 "   3.00000\t  10.00000\t  20.00000\t  30.00000\t  40.00000\n"
                 "   1.00000 \t    3.50000\n");
    EXPECT_PRED2(HasPrefix, Line("q_y_flow1.txt", 1),
                 off_thr + Cells({0.0625}) + "(    0.25000)\t");
    EXPECT_PRED2(HasSuffix, Line("q_y_flow2.txt", 1), Cells({0.125}) + "(        inf)");
    EXPECT_PRED2(HasSuffix, Line("q_y_flow2.txt", 2), Cells({0}) + "(       -nan)");
    EXPECT_PRED2(HasPrefix, Line("x_node.txt", 1), off_thr + Cells({0, 1, 2}));
    EXPECT_EQ(Line("x_node.txt", 0), label +
                                         "Node  0\tNode  1\tNode  2\tNode  3\tNode  4\t"
                                         "Node  5\tNode  6\tNode  7\tNode  8\tNode  9\tNode 10");
    EXPECT_EQ(Text("y_detail.txt"),
              Line("x_node.txt", 0) + "\n" + off_thr + "\t" + no_off_thr + "\t");
    EXPECT_PRED2(HasPrefix, Text("q_y_node.txt"), Text("block.txt"));
    EXPECT_EQ(Text("block.txt"), label +
                                     "  0 ->  1\t  1 ->  2\t  2 ->  3\t  3 ->  4\t  4 ->  5\t"
                                     "  5 ->  6\t  6 ->  7\t  7 ->  8\t  8 ->  9\t  9 -> 10\t\n");
    EXPECT_EQ(Line("drop.txt", 0) + "\n", Text("block.txt"));
    EXPECT_PRED2(HasPrefix, Line("q_z_flow2.txt", 0), label + "  0 -> -1\t  1 ->  0\t");
}

TEST_F(OutputTest, FinalTablesHaveOneRowMore)
{
    RESULT &record = records[0];
    for (int flow = 0; flow < FLOW_NUM; flow++) {
        record.flow_offered_throughput[flow][0] = 20 * flow + 2;
        record.flow_offered_throughput[flow][1] = 20 * flow + 4;
    }
    record.link_x[0][1] = record.link_x[1][0] = 20;
    for (int k = PROB_TOTAL; k <= PROB_HID_DA; k++) {
        record.link_prob[0][1][k] = record.link_prob[1][0][k] = 2 * k;
    }
    g_counter = 1;
    WriteFinalTables();
    EXPECT_EQ(Line("throughput.txt", 1),
              "   1.00000\t   2.00000\t  12.00000\t  22.00000\t  32.00000\t  42.00000\t"
              "   0.00000\t   0.00000\t   0.00000\t   0.00000");
    EXPECT_PRED2(HasPrefix, Line("throughput.txt", 2), "   0.00000\t");
    EXPECT_EQ(Line("throughput.txt", 3), "");
    EXPECT_PRED2(HasPrefix, Line("result.txt", 0),
                 "   1.00000 \t    2.00000 \t   11.00000 \t   12.00000 \t");
    EXPECT_EQ(std::ranges::count(Line("result.txt", 0), '\t'), 17);
    EXPECT_EQ(Line("result.txt", 3), "   1.00000 \t    2.00000");
    EXPECT_EQ(Line("result.txt", 5),
              "  0 ->  1\t   10.00000\t    2.00000\t    4.00000 \t    3.00000"
              "\t(    0.00000)\t    5.00000");
    EXPECT_EQ(Line("result.txt", 22),
              "  1 ->  0 \t   10.00000 \t    2.00000 \t    4.00000 \t    3.00000"
              "\t(    0.00000) \t    5.00000");
    EXPECT_EQ(Line("result.txt", 23), "   0.00000 \t    0.00000");
}

TEST_F(OutputTest, TimeReports)
{
    CaptureStdout();
    PrintElapsedTime(86400.0 + 2 * 3600 + 3 * 60 + 4.9);
    PrintRemainingTime(-5.0); // the clock was set back
    PrintRunTime(59.0);
    EXPECT_EQ(GetCapturedStdout(), "|\n elapsed time : 1d 2h 3m 4s\n"
                                   "ramaining time : 0d 0h 0m 0s\n\n"
                                   "simulation run time : 0d 0h 0m 59s\n\n");
    EXPECT_EQ(Text("result.txt"), "simulation run time : 0d 0h 0m 59s\n\n");
}

TEST_F(OutputTest, PlotScriptGoesThroughThePipe)
{
    const std::string old_path = getenv("PATH");
    const fs::path program = dir / "gnuplot";
    std::ofstream(program) << "#!/bin/sh\necho \"$@\" > '" << dir.string() << "/script'\ncat >> '"
                           << dir.string() << "/script'\nexit 3\n";
    fs::permissions(program, fs::perms::owner_all);
    setenv("PATH", (dir.string() + ":" + old_path).c_str(), 1);
    EXPECT_EQ(gnuplot("out"), 3 << 8); // exit status 3
    EXPECT_EQ(Text("script"),
              "-persist\n"
              "set terminal postscript eps enhanced 'Times-New-Roman'\n"
              "set output 'out/fig/throughput.eps'\n"
              "set title '10node design 1500byte'\n"
              "set key box\nset size square\nset xtics in mirror\nset ytics in mirror\n"
              "set xlabel 'Offered Load[Mbps]'\nset ylabel 'Throughput[Mbps]'\n"
              "set xrange [0:35.000000]\nset yrange [0:35.000000]\n"
              "plot 'out/throughput.txt' u 1:2 title 'flow1-sim' w p ps 2 pt 6,"
              "'out/throughput.txt' u 1:3 title 'flow2-sim' w p ps 2 pt 4,"
              "'out/throughput.txt' u 1:4 title 'flow3-sim' w p ps 2 pt 8\n");

    // A program that does not read must not take the run down with it.
    std::ofstream(program) << "#!/bin/sh\nexec 0<&-\nexit 1\n";
    EXPECT_EQ(gnuplot("out"), 1 << 8);
    setenv("PATH", old_path.c_str(), 1);
}
