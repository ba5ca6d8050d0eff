#include "output/files.h"

#include <iterator>
#include <string>

#include "driver/constants.h"
#include "output/print.h"

#define DEFINE_STREAM(stream, name) FILE *stream;
RESULT_FILES(DEFINE_STREAM)
#undef DEFINE_STREAM

struct RESULT_FILE {
    FILE **stream;
    const char *name; // within the result directory
};

#define TABLE_ROW(stream, name) {&stream, name},
static const RESULT_FILE FILE_TABLE[] = {RESULT_FILES(TABLE_ROW)};
#undef TABLE_ROW

// clang-format off
static FILE **const CLOSING_ORDER[] = {
    &g_trans, &g_fpc, &g_fpns, &g_fp, &g_fpd_ack, &g_fpd, &check,
    &g_fpcol_flow1, &g_fpcol_flow2, &g_fpcol_con, &g_fpcol_hid, &g_fpcol_pro, &g_fpcol_phy,
    &g_fpcol_ack, &g_fpx_flow1, &g_fpx_flow2, &g_fpy_d, &g_fpx, &g_fpy, &g_fpz,
    &g_fpqy, &g_fpqz, &g_fpqy_flow1, &g_fpqy_flow2, &g_fpqz_flow1, &g_fpqz_flow2,
    &g_fpq, &g_fpq_flow1, &g_fpq_flow2, &g_fpQ, &g_fpQ_flow1, &g_fpQ_flow2,
    &g_fpdrop, &thr, &g_thrNODE, &g_dmac_node, &g_dmac_flow1, &g_dmac_flow2,
    &g_que_flow1, &g_que_flow2, &g_fpblock, &delaynode_flow1, &delaynode_flow2,
};
// clang-format on
static_assert(std::size(CLOSING_ORDER) == std::size(FILE_TABLE));

// Kept: the first pair of values below this header is flow 0, not the total.
static const char COMMON_LABEL[] = "Total Off\tTotal Thr\t Off1\t Thr1 \t Off2\t Thr2\t";

bool fileopen(const char *dir)
{
    bool is_open = true;
    for (const RESULT_FILE &file : FILE_TABLE) {
        std::string path = std::string(dir) + "/" + file.name;
        *file.stream = fopen(path.c_str(), "w");
        if (*file.stream == nullptr) {
            Print(stdout, "ファイルを開けません.\n");
            is_open = false;
        }
    }
    return is_open;
}

bool fileclose()
{
    bool is_written = true;
    for (FILE **stream : CLOSING_ORDER) {
        if (*stream != nullptr) {
            const bool had_error = ferror(*stream) != 0;
            is_written = fclose(*stream) == 0 && !had_error && is_written;
            *stream = nullptr;
        }
    }
    return is_written;
}

// Writes a header by links from every station to the one `step` places further on.
static void WriteLinkLabel(FILE *stream, int step)
{
    Print(stream, "%s", COMMON_LABEL);
    for (int i = 0; i < NODE_NUM; i++) {
        Print(stream, " %2d -> %2d\t", i, i + step);
    }
    Print(stream, "\n");
}

void label_1(FILE *stream)
{
    // Kept: ten cells, up to the link 9 -> 10 that does not exist; the rows below have nine values.
    WriteLinkLabel(stream, 1);
}

void label_2(FILE *stream)
{
    // Kept: the first cell is the link 0 -> -1; the rows below put a literal 0 there.
    WriteLinkLabel(stream, -1);
}

void label_node(FILE *stream)
{
    // Kept: eleven cells, the spare record's too; the rows below have ten values.
    Print(stream, "%s", COMMON_LABEL);
    for (int i = 0; i < NODE_RECORDS; i++) {
        Print(stream, i < NODE_RECORDS - 1 ? "Node %2d\t" : "Node %2d\n", i);
    }
}
