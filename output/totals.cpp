#include "output/totals.h"

#include "driver/state.h"
#include "output/files.h"
#include "output/print.h"
#include "output/result_record.h"

// A file with one value per node.
struct NODE_FILE {
    FILE **stream;
    void (*label)(FILE *);
    double (RESULT::*value)[NODE_NUM];
};

// Kept: q_y_node.txt has the header of a table by links. dmac_node_node.txt shows a block of the
// record that nobody fills: zeros.
// clang-format off
static const NODE_FILE NODE_FILES[] = {
    {&g_fpq,       label_node, &RESULT::backoff_share},
    {&g_fpQ,       label_node, &RESULT::queue_ratio},
    {&g_dmac_node, label_node, &RESULT::node_aux},
    {&g_fpx,       label_node, &RESULT::send_ratio},
    {&g_fpy,       label_node, &RESULT::busy_ratio},
    {&g_fpz,       label_node, &RESULT::idle_ratio},
    {&g_fpqy,      label_1,    &RESULT::busy_queue_share},
};
// clang-format on

using LINK_VALUE = double (*)(const RESULT &r, int i, int j);

// The files with one value per link i -> j, one for each direction or the forward one alone.
struct LINK_FILE {
    FILE **forward;
    FILE **backward;      // null: no such file
    LINK_VALUE value;     // a sum over the trials
    LINK_VALUE bracketed; // printed after it in brackets, as it stands; null: nothing is
};

static double BothBackoffShares(const RESULT &r, int i, int j)
{
    // Kept: station 0 has no backward link; the value just before the table, the idle ratio of the
    // last station, is added in its place. Row 0 -> 1 is therefore far too large.
    double backward = i == 0 ? r.idle_ratio[NODE_NUM - 1] : r.link_backoff_share[i][i - 1];
    return r.link_backoff_share[i][j] + backward;
}

// Kept: q_node_flow1.txt and q_node_flow2.txt show a table that nobody fills: zeros.
// clang-format off
static const LINK_FILE LINK_FILES[] = {
    {&g_fpQ_flow1, &g_fpQ_flow2,
     [](const RESULT &r, int i, int j) { return r.link_queue_ratio[i][j]; }, nullptr},
    {&g_fpcol_flow1, &g_fpcol_flow2,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_TOTAL]; }, nullptr},
    {&g_fpcol_con, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_CON]; }, nullptr},
    {&g_fpcol_hid, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_HID]; }, nullptr},
    {&g_fpcol_phy, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_PHY]; }, nullptr},
    {&g_fpcol_pro, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_PRO]; }, nullptr},
    {&g_fpcol_ack, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_prob[i][j][PROB_HID_DA]; }, nullptr},
    {&delaynode_flow1, &delaynode_flow2,
     [](const RESULT &r, int i, int j) { return r.link_delay[i][j]; }, nullptr},
    {&g_fpx_flow1, &g_fpx_flow2,
     [](const RESULT &r, int i, int j) { return r.link_x[i][j]; }, nullptr},
    {&g_fpdrop, nullptr,
     [](const RESULT &r, int i, int j) { return r.link_slot_d[i][j]; }, nullptr},
    {&g_fpq_flow1, &g_fpq_flow2,
     [](const RESULT &r, int i, int j) { return r.link_pair_aux[i][j][0]; }, nullptr},
    {&g_dmac_flow1, &g_dmac_flow2,
     [](const RESULT &r, int i, int j) { return r.link_delay_b[i][j]; }, nullptr},
    {&g_que_flow1, &g_que_flow2,
     [](const RESULT &r, int i, int j) { return r.link_delay_c[i][j]; }, nullptr},
    {&g_fpqz, nullptr, BothBackoffShares, nullptr},
    {&g_fpqy_flow1, &g_fpqy_flow2,
     [](const RESULT &r, int i, int j) { return r.link_busy_queue_share[i][j]; },
     [](const RESULT &r, int i, int j) {
         return r.link_busy_queue_share[i][j] / r.busy_queue_share[i]; }},
    {&g_fpqz_flow1, &g_fpqz_flow2,
     [](const RESULT &r, int i, int j) { return r.link_backoff_share[i][j]; }, nullptr},
};
// clang-format on

// A station behind whose value the line ends, and the others.
static const char *Separator(int station, int last)
{
    return station == last ? "\n" : "\t";
}

void WriteOffThr(FILE *stream, int index)
{
    const auto &flow = result[index].flow_offered_throughput;
    Print(stream, "%10.5f \t %10.5f\t %10.5f \t %10.5f\t %10.5f \t %10.5f\t", Mean(flow[0][0]),
          Mean(flow[0][1]), Mean(flow[1][0]), Mean(flow[1][1]), Mean(flow[2][0]), Mean(flow[2][1]));
}

static void WriteHeaders()
{
    for (const NODE_FILE &file : NODE_FILES) {
        file.label(*file.stream);
    }
    for (const LINK_FILE &file : LINK_FILES) {
        label_1(*file.forward);
        if (file.backward != nullptr) {
            label_2(*file.backward);
        }
    }
    label_1(g_fp); // Kept: the table that follows it in result.txt is one by flows.
    label_node(g_fpy_d);
    label_1(g_fpblock); // Kept: block.txt gets no rows.
    Print(g_fpd, "off1\t delay1\toff2\tdelay2\n");
}

static void WriteDelay(const RESULT &record)
{
    double link_sum = 0.0;
    for (int sender = 0; sender < NODE_NUM - 1; sender++) {
        link_sum += record.link_delay[sender][sender + 1];
    }
    // Kept: two lines per load point, with different flows' offered loads; flow 4 is left out.
    Print(g_fpd, "%10.5f\t%10.5f\t%10.5f\t%10.5f\t%10.5f\n",
          Mean(record.flow_offered_throughput[1][0]), Mean(record.flow_delay[0]),
          Mean(record.flow_delay[1]), Mean(record.flow_delay[2]), Mean(record.flow_delay[3]));
    Print(g_fpd, "%10.5f \t %10.5f\n", Mean(record.flow_offered_throughput[0][0]), Mean(link_sum));
}

static void WriteNodeRow(const NODE_FILE &file, int index)
{
    WriteOffThr(*file.stream, index);
    for (int i = 0; i < NODE_NUM; i++) {
        Print(*file.stream, "%11.5f%s", Mean((result[index].*file.value)[i]),
              Separator(i, NODE_NUM - 1));
    }
}

static void WriteLinkCell(FILE *stream, const LINK_FILE &file, const RESULT &record, int sender,
                          int receiver)
{
    Print(stream, "%11.5f", Mean(file.value(record, sender, receiver)));
    if (file.bracketed != nullptr) {
        Print(stream, "(%11.5f)", file.bracketed(record, sender, receiver));
    }
}

static void WriteForwardRow(const LINK_FILE &file, int index)
{
    FILE *stream = *file.forward;
    WriteOffThr(stream, index);
    for (int i = 0; i < NODE_NUM - 1; i++) {
        WriteLinkCell(stream, file, result[index], i, i + 1);
        Print(stream, "%s", Separator(i, NODE_NUM - 2));
    }
}

static void WriteBackwardRow(const LINK_FILE &file, int index)
{
    FILE *stream = *file.backward;
    WriteOffThr(stream, index);
    Print(stream, "0\t"); // station 0 has no backward link
    for (int i = 1; i < NODE_NUM; i++) {
        WriteLinkCell(stream, file, result[index], i, i - 1);
        Print(stream, "%s", Separator(i, NODE_NUM - 1));
    }
}

void WriteTotalResult()
{
    WriteHeaders();
    for (int index = 0; index < g_counter; index++) {
        WriteDelay(result[index]);
        // Kept: nothing follows these six values in y_detail.txt, no line break either.
        WriteOffThr(g_fpy_d, index);
        for (const NODE_FILE &file : NODE_FILES) {
            WriteNodeRow(file, index);
        }
        for (const LINK_FILE &file : LINK_FILES) {
            WriteForwardRow(file, index);
            if (file.backward != nullptr) {
                WriteBackwardRow(file, index);
            }
        }
    }
}
