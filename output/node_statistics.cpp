#include "output/node_statistics.h"

#include <cstdio>

#include "driver/state.h"
#include "output/files.h"
#include "output/print.h"
#include "output/result_record.h"

static const char NODE_HEADER[] =
    "  n \t gene \t tx\t tx1 \t  tx2 \t retx \t retx1 \t  V \t drop \t d-rate\t over \t rxsu \t"
    "  rx \t  rx1 \t rx2 \t  dis  \t buf \t  cw  \t x \t off \t thr \t Ptr \t Ytime\t qYtime\t"
    " Ztime\t qZtime \tX+Y+Z\n";

static double WindowShare(uint64_t ticks)
{
    return static_cast<double>(ticks) / g_settings.window_ticks;
}

// -nan at a station where no packet arises.
static double DropRate(const NODE &counted)
{
    return counted.drop_num / static_cast<double>(counted.gene_num);
}

static double SlotsPerDraw(const NODE &counted)
{
    return counted.backoff_slot_sum / static_cast<double>(counted.backoff_draws);
}

static void WriteBlockHead(FILE *stream, int32_t trial, int32_t load_kbps)
{
    double load_mbps = load_kbps / KBPS_PER_MBPS;
    int32_t packet_bits = PACKET_PAYLOAD_LENGTH * BITS_PER_BYTE;
    Print(stream, "packet length1 =\t%d\t\n", PACKET_PAYLOAD_LENGTH);
    Print(stream, "packet length2 =\t%d\t\n", PACKET_PAYLOAD_LENGTH2);
    Print(stream, "trial = %d\t\n", trial + 1);
    Print(stream, "num_off =\t%f\t\n", load_mbps);
    Print(stream, "g_interval = %d\tload = %f\n", g_interval, load_mbps);
    // Kept: this "load" is in packets per second, while the rate before it is per tick.
    constexpr double BPS_PER_KBPS = 1000.0;
    Print(stream, "g_ariv_rate = %f\tload = %f\n", g_ariv_rate,
          load_kbps * BPS_PER_KBPS / packet_bits);
}

static void WritePairs()
{
    Print(g_trans, "2-4\t2-8\n");
    Print(g_trans, "%11.5f\t%11.5f\n", static_cast<double>(temp_trans1) / g_settings.window_ticks,
          static_cast<double>(temp_trans2) / g_settings.window_ticks);
    for (int i = 0; i < NODE_NUM - 1; i++) {
        for (int j = i + 1; j < NODE_NUM; j++) {
            Print(g_trans, "node[%d][%d]\t%11.5f\t%ld\t%ld\t%ld\n", i, j,
                  WindowShare(trans_con[i][j]), AsLong(X_count[i][j]), AsLong(Y_count[i][j]),
                  AsLong(Z_count[i][j]));
        }
    }
}

// Columns n to thr of a station that packets start from.
static void WriteSource(int station)
{
    const NODE &counted = node[station];
    int receiver = station + 1;
    // Kept: "tx2" is a counter that nothing counts, "V" and "rx1" are always 0.
    Print(g_fpns,
          " %2d \t %7lu \t %7lu \t %7lu\t%11.5f\t%7d\t%7d\t%7d\t%7d\t%11.5f\t%7d\t%7lu\t%7lu\t%7d\t"
          "%7lu\t%7d\t%11.5f\t%11.5f\t%11.5f\t%11.5f\t%11.5f",
          station, AsUnsignedLong(counted.gene_num), AsUnsignedLong(counted.tx_num),
          AsUnsignedLong(counted.link_tx_num[receiver]),
          static_cast<double>(temp_non) / g_settings.window_ticks, counted.timeout_num,
          counted.timeout_hop[receiver], 0, counted.drop_num, DropRate(counted), counted.over_num,
          AsUnsignedLong(counted.rx_dat_num), AsUnsignedLong(counted.recv_num), 0,
          AsUnsignedLong(counted.recv_from[receiver]), counted.dup_num, counted.buffer_avg,
          SlotsPerDraw(counted), WindowShare(counted.send_time), WindowRate(counted.gene_num),
          WindowRate(counted.recv_num));
}

// Columns n to thr of a station that packets end at.
static void WriteDestination(int station)
{
    const NODE &counted = node[station];
    int sender = station - 1;
    // Kept: the share of time spent sending is reckoned from the frames sent here, while a source
    // shows what was measured.
    // Kept: with RTS there may be more time-outs than DATA frames. The difference then wraps, which
    // makes the share too small, or a huge number where the sum falls below 0.
    uint64_t acknowledged = counted.tx_num - static_cast<uint64_t>(counted.timeout_num);
    uint64_t send_ticks = counted.tx_num * static_cast<uint64_t>(DataTicks() + SIFS + ACK_TICKS) +
                          acknowledged * DIFS;
    Print(g_fpns,
          "%2d \t%7ld \t%7ld \t%7d \t%7lu \t%7d \t%7d \t%7d \t%7d \t%11.5f\t%7d \t%7lu \t%7lu \t"
          "%7lu\t %7d\t %7d\t %11.5f \t%11.5f \t%11.5f \t%11.5f\t %11.5f",
          station, AsLong(counted.gene_num), AsLong(counted.tx_num), 0,
          AsUnsignedLong(counted.link_tx_num[sender]), counted.timeout_num, 0,
          counted.timeout_hop[sender], counted.drop_num, DropRate(counted), counted.over_num,
          AsUnsignedLong(counted.rx_dat_num), AsUnsignedLong(counted.recv_num),
          AsUnsignedLong(counted.recv_from[sender]), 0, counted.dup_num, counted.buffer_avg,
          SlotsPerDraw(counted), WindowShare(send_ticks), WindowRate(counted.gene_num),
          WindowRate(counted.recv_num));
}

// Columns Ptr to X+Y+Z, the same for all stations.
static void WriteTimeShares(const NODE &counted)
{
    Print(g_fpns, "\t%f\t%f\t%f\t%f\t%f\t%f\n",
          counted.backoff_draws / static_cast<double>(counted.backoff_slot_sum),
          WindowShare(counted.busy_time), WindowShare(counted.busy_queue_time),
          WindowShare(counted.idle_time), WindowShare(counted.backoff_time),
          WindowShare(counted.send_time + counted.busy_time + counted.idle_time));
}

void WriteNodeStat(int32_t trial, int32_t load_kbps)
{
    WriteBlockHead(g_trans, trial, load_kbps);
    WritePairs();

    WriteBlockHead(g_fpns, trial, load_kbps);
    Print(g_fpns, "%s", NODE_HEADER);
    for (int station = 0; station < NODE_NUM; station++) {
        if (station % 2 == 0) {
            WriteSource(station);
        } else {
            WriteDestination(station);
        }
        WriteTimeShares(node[station]);
    }
    Print(g_fpns, "\n");
}

void WriteNode(int station, int32_t load_kbps)
{
    static_cast<void>(station);
    static_cast<void>(load_kbps);
}
