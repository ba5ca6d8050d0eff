#include "output/final_tables.h"

#include <cstdint>

#include "driver/state.h"
#include "output/files.h"
#include "output/print.h"
#include "output/result_record.h"

constexpr int PAIR_SPARE_NUM = 8; // entries of RESULT::flow_pair_spare

static void WriteFlowTable()
{
    // Kept: rows 0 to g_counter, one more than there are load points; the last is all zero. The
    // eight last columns are values that nobody fills.
    for (int index = 0; index <= g_counter; index++) {
        const RESULT &record = result[index];
        const auto &flow = record.flow_offered_throughput;
        Print(g_fp, "%10.5f \t %10.5f", Mean(flow[0][0]), Mean(flow[0][1]));
        for (int i = 1; i < FLOW_NUM; i++) {
            Print(g_fp, " \t %10.5f \t %10.5f", Mean(flow[i][0]), Mean(flow[i][1]));
        }
        for (double value : record.flow_pair_spare) {
            Print(g_fp, " \t %10.5f", Mean(value));
        }
        Print(g_fp, "\n");
    }
    Print(g_fp, "\n");
}

static void WriteThroughputTable()
{
    // Kept: "total off" is the offered load of flow 0 alone, and thr5 to thr8 are always 0.
    Print(thr,
          "#total off \t thr0 \t thr1 \t thr2 \t thr3 \t thr4 \t thr5 \t thr6 \t thr7 \t thr8\n");
    for (int index = 0; index <= g_counter; index++) {
        const RESULT &record = result[index];
        Print(thr, "%10.5f", Mean(record.flow_offered_throughput[0][0]));
        for (const auto &flow : record.flow_offered_throughput) {
            Print(thr, "\t%10.5f", Mean(flow[1]));
        }
        for (int i = 1; i < PAIR_SPARE_NUM; i += 2) {
            Print(thr, "\t%10.5f", Mean(record.flow_pair_spare[i]));
        }
        Print(thr, "\n");
    }
    if (thr != nullptr) {
        fflush(thr);
    }
}

// Writes share of time and collision probabilities of the links, forward ones first.
static void WriteLinkTable(const RESULT &record)
{
    Print(g_fp, "%10.5f \t %10.5f\n", Mean(record.flow_offered_throughput[0][0]),
          Mean(record.flow_offered_throughput[0][1]));
    Print(g_fp, "x\tp(hid\tp(pro)\tp(phy)\tp(hid_con)\n");
    for (int i = 0; i < NODE_NUM - 1; i++) {
        const double *prob = record.link_prob[i][i + 1];
        Print(g_fp, " %2d -> %2d\t", i, i + 1);
        Print(g_fp, "%11.5f\t%11.5f\t%11.5f \t%11.5f\t(%11.5f)\t%11.5f\n",
              Mean(record.link_x[i][i + 1]), Mean(prob[PROB_HID]), Mean(prob[PROB_PRO]),
              Mean(prob[PROB_PHY]), Mean(prob[PROB_TOTAL]), Mean(prob[PROB_HCON]));
    }
    // Kept: the blanks differ from those of the forward links.
    for (int i = NODE_NUM - 1; i > 0; i--) {
        const double *prob = record.link_prob[i][i - 1];
        Print(g_fp, " %2d -> %2d \t", i, i - 1);
        Print(g_fp, "%11.5f \t%11.5f \t%11.5f \t%11.5f\t(%11.5f) \t%11.5f\n",
              Mean(record.link_x[i][i - 1]), Mean(prob[PROB_HID]), Mean(prob[PROB_PRO]),
              Mean(prob[PROB_PHY]), Mean(prob[PROB_TOTAL]), Mean(prob[PROB_HCON]));
    }
}

void WriteFinalTables()
{
    WriteFlowTable();
    WriteThroughputTable();
    for (int index = 0; index <= g_counter; index++) {
        WriteLinkTable(result[index]);
    }
    Print(g_fp, "\n");
}

void PrintDuration(FILE *stream, FILE *copy, double seconds, const char *line_end)
{
    constexpr uint64_t SECONDS_PER_MINUTE = 60;
    constexpr uint64_t SECONDS_PER_HOUR = 60 * SECONDS_PER_MINUTE;
    constexpr uint64_t SECONDS_PER_DAY = 24 * SECONDS_PER_HOUR;
    // A wall clock that was set back in between gives a negative duration, which counts as none.
    uint64_t whole = seconds > 0.0 ? static_cast<uint64_t>(seconds) : 0;
    struct {
        uint64_t value;
        const char *unit;
    } const parts[] = {
        {whole / SECONDS_PER_DAY, "d "},
        {whole % SECONDS_PER_DAY / SECONDS_PER_HOUR, "h "},
        {whole % SECONDS_PER_HOUR / SECONDS_PER_MINUTE, "m "},
        {whole % SECONDS_PER_MINUTE, "s"},
    };
    for (const auto &part : parts) {
        Print(stream, "%ld%s", AsLong(part.value), part.unit);
        Print(copy, "%ld%s", AsLong(part.value), part.unit);
    }
    Print(stream, "%s", line_end);
    Print(copy, "%s", line_end);
}

void PrintElapsedTime(double seconds)
{
    Print(stdout, "|\n elapsed time : ");
    PrintDuration(stdout, nullptr, seconds, "\n");
}

void PrintRemainingTime(double seconds)
{
    Print(stdout, "ramaining time : ");
    PrintDuration(stdout, nullptr, seconds, "\n\n");
}

void PrintRunTime(double seconds)
{
    Print(stdout, "simulation run time : ");
    Print(g_fp, "simulation run time : ");
    PrintDuration(stdout, g_fp, seconds, "\n\n");
}
