// What is written behind the sweep, on small states filled by hand: means, closing tables, times,
// and the plot.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "output/final_tables.h"
#include "output/plot_script.h"
#include "output/result_record.h"
#include "output/totals.h"
#include "tests/output_fixture.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

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
