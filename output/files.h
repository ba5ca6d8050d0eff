// The result files: their names, the stream bound to each, and the column headers they share.
#pragma once

#include <cstdio>

// Every result file with its stream, in the order of opening. Three of them are never written; they
// exist, empty, after every run.
// clang-format off
#define RESULT_FILES(FILE_ROW)                      \
    FILE_ROW(g_fp,            "result.txt")         \
    FILE_ROW(thr,             "throughput.txt")     \
    FILE_ROW(g_fpc,           "collision.txt")      \
    FILE_ROW(g_fpd,           "delay.txt")          \
    FILE_ROW(g_fpd_ack,       "delay_ack.txt")       /* stays empty */ \
    FILE_ROW(g_trans,         "trans_con.txt")      \
    FILE_ROW(check,           "check.txt")           /* stays empty */ \
    FILE_ROW(g_fpcol_flow1,   "col_node_flow1.txt") \
    FILE_ROW(g_fpcol_flow2,   "col_node_flow2.txt") \
    FILE_ROW(g_fpcol_hid,     "col_node_hid.txt")   \
    FILE_ROW(g_fpcol_con,     "col_node_con.txt")   \
    FILE_ROW(g_fpcol_pro,     "col_node_pro.txt")   \
    FILE_ROW(g_fpcol_phy,     "col_node_phy.txt")   \
    FILE_ROW(g_fpcol_ack,     "col_node_ack.txt")   \
    FILE_ROW(g_fpx_flow1,     "x_node_flow1.txt")   \
    FILE_ROW(g_fpx_flow2,     "x_node_flow2.txt")   \
    FILE_ROW(g_fpx,           "x_node.txt")         \
    FILE_ROW(g_fpy,           "y_node.txt")         \
    FILE_ROW(g_fpy_d,         "y_detail.txt")       \
    FILE_ROW(g_fpz,           "z_node.txt")         \
    FILE_ROW(g_fpqy,          "q_y_node.txt")       \
    FILE_ROW(g_fpqz,          "q_z_node.txt")       \
    FILE_ROW(g_fpqy_flow1,    "q_y_flow1.txt")      \
    FILE_ROW(g_fpqy_flow2,    "q_y_flow2.txt")      \
    FILE_ROW(g_fpqz_flow1,    "q_z_flow1.txt")      \
    FILE_ROW(g_fpqz_flow2,    "q_z_flow2.txt")      \
    FILE_ROW(g_fpq,           "q_node.txt")         \
    FILE_ROW(g_fpq_flow1,     "q_node_flow1.txt")   \
    FILE_ROW(g_fpq_flow2,     "q_node_flow2.txt")   \
    FILE_ROW(g_fpQ,           "Qnode.txt")          \
    FILE_ROW(g_fpQ_flow1,     "Qnode_flow1.txt")    \
    FILE_ROW(g_fpQ_flow2,     "Qnode_flow2.txt")    \
    FILE_ROW(g_fpdrop,        "drop.txt")           \
    FILE_ROW(g_thrNODE,       "throughput_node.txt") /* stays empty */ \
    FILE_ROW(g_dmac_node,     "dmac_node_node.txt") \
    FILE_ROW(g_dmac_flow1,    "dmac_node_flow1.txt") \
    FILE_ROW(g_dmac_flow2,    "dmac_node_flow2.txt") \
    FILE_ROW(g_que_flow1,     "dque_node_flow1.txt") \
    FILE_ROW(g_que_flow2,     "dque_node_flow2.txt") \
    FILE_ROW(g_fpblock,       "block.txt")          \
    FILE_ROW(delaynode_flow1, "delay_node_flow1.txt") \
    FILE_ROW(delaynode_flow2, "delay_node_flow2.txt") \
    FILE_ROW(g_fpns,          "node_stat.txt")
// clang-format on

#define DECLARE_STREAM(stream, name) extern FILE *stream;
RESULT_FILES(DECLARE_STREAM)
#undef DECLARE_STREAM

// Opens every result file in the directory `dir`, old contents thrown away. A file that cannot be
// opened is reported on standard output; its stream stays null and the run goes on. Returns whether
// all are open.
bool fileopen(const char *dir);

// Closes the streams that are open and sets them to null. Returns whether all that was written to
// them has arrived.
bool fileclose();

// Writes the column header of a table by forward links, 0 -> 1 to 9 -> 10.
void label_1(FILE *stream);

// Writes the column header of a table by backward links, 0 -> -1 to 9 -> 8.
void label_2(FILE *stream);

// Writes the column header of a table by nodes, 0 to 10.
void label_node(FILE *stream);
