// Divisions are not guarded. A zero denominator gives inf or -nan, which the tables print as such:
// at load 0 no delay exists, and 0 says less than -nan.
#include "output/result_record.h"

#include <cstdio>
#include <cstring>

#include "output/print.h"

template <typename FIELD> static void Clear(FIELD &field)
{
    memset(&field, 0, sizeof field);
}

void init_parameter()
{
    // Kept: flows 1 to 4, `link_backoff_share`, `link_delay_c` and the records from `load` on are
    // not cleared. They are zero because the caller takes zeroed memory.
    for (int i = 0; i < load; i++) {
        RESULT &record = result[i];
        Clear(record.flow_offered_throughput[0]);
        Clear(record.flow_delay);
        Clear(record.flow_aux);
        Clear(record.backoff_share);
        Clear(record.queue_ratio);
        Clear(record.drop_ratio);
        Clear(record.send_ratio);
        Clear(record.busy_ratio);
        Clear(record.busy_queue_share);
        Clear(record.idle_ratio);
        Clear(record.link_x);
        Clear(record.link_throughput);
        Clear(record.link_busy_queue_share);
        Clear(record.link_pair_aux);
        Clear(record.link_queue_ratio);
        Clear(record.link_slot_d);
        Clear(record.link_aux);
        Clear(record.link_prob);
        Clear(record.link_delay_b);
        Clear(record.link_delay);
    }
}

template <typename NUMERATOR, typename DENOMINATOR>
static double Ratio(NUMERATOR numerator, DENOMINATOR denominator)
{
    return static_cast<double>(numerator) / static_cast<double>(denominator);
}

static void AddFlows(RESULT &record)
{
    double offered = WindowRate(node[0].gene_num);
    Print(stdout, "%10.5f(%f)  %10.5f\n", offered, offered / PACKET_PAYLOAD_LENGTH,
          WindowRate(node[1].recv_num));
    for (int flow = 0; flow < FLOW_NUM; flow++) {
        const NODE &source = node[2 * flow];
        const NODE &destination = node[2 * flow + 1];
        record.flow_offered_throughput[flow][0] += WindowRate(source.gene_num);
        record.flow_offered_throughput[flow][1] += WindowRate(destination.recv_num);
        record.flow_delay[flow] += Ratio(ave_delay[flow], destination.recv_num);
    }
}

static void AddNode(RESULT &record, int station)
{
    const NODE &counted = node[station];
    uint64_t arrivals = station == 0 ? counted.gene_num : counted.rx_dat_num;
    record.backoff_share[station] += Ratio(counted.backoff_time, counted.idle_time);
    record.queue_ratio[station] += Ratio(counted.queue_time, g_settings.window_ticks);
    record.send_ratio[station] += Ratio(counted.send_time, g_settings.window_ticks);
    record.busy_ratio[station] += Ratio(counted.busy_time, g_settings.window_ticks);
    record.idle_ratio[station] += Ratio(counted.idle_time, g_settings.window_ticks);
    record.busy_queue_share[station] += Ratio(counted.busy_queue_time, counted.busy_time);
    // Kept: every station but 0 divides by what it received, also the sources that receive nothing.
    record.drop_ratio[station] += Ratio(counted.over_num, arrivals);
}

static void AddShares(RESULT &record, int sender, int receiver)
{
    const NODE &from = node[sender];
    record.link_x[sender][receiver] += Ratio(from.send_hop_time[receiver], g_settings.window_ticks);
    record.link_throughput[sender][receiver] += WindowRate(node[receiver].rx_dat_num);
    record.link_queue_ratio[sender][receiver] +=
        Ratio(from.queue_hop_time[receiver], g_settings.window_ticks);
    record.link_backoff_share[sender][receiver] +=
        Ratio(from.backoff_hop_time[receiver], from.idle_time);
    record.link_busy_queue_share[sender][receiver] +=
        Ratio(from.busy_queue_hop_time[receiver], from.busy_time);
}

static void AddProbabilities(RESULT &record, int sender, int receiver)
{
    const COL *collided = col[sender][receiver];
    const COL *repeated = dp[sender][receiver];
    double sent = static_cast<double>(node[sender].link_tx_num[receiver]);
    double *prob = record.link_prob[sender][receiver];
    // Kept: the total is reduced by the hidden class's drops, not by its own.
    prob[PROB_TOTAL] += Difference32(collided[ROW_COL].total, repeated[ROW_HID].total) / sent;
    prob[PROB_CON] += collided[ROW_CON].total / sent;
    prob[PROB_HID] += Difference32(collided[ROW_HID].total, repeated[ROW_HID].total) / sent;
    prob[PROB_PHY] += collided[ROW_PHY].total / sent;
    prob[PROB_PRO] += collided[ROW_PRO].total / sent;
    prob[PROB_HCON] += collided[ROW_HCON].total / sent;
    prob[PROB_HID_DA] +=
        Difference32(collided[ROW_HID].pairing[PAIRING_DA], repeated[ROW_HID].pairing[PAIRING_DA]) /
        sent;
}

static void AddDelays(RESULT &record, int sender, int receiver)
{
    const NODE &from = node[sender];
    uint64_t received = node[receiver].recv_from[sender];
    record.link_delay[sender][receiver] += Ratio(from.hop_delay_sum[receiver], received);
    record.link_delay_b[sender][receiver] += Ratio(from.hop_extra_sum[receiver], received);
    record.link_delay_c[sender][receiver] += Ratio(from.hop_extra_sum2[receiver], received);
}

// Adds the values of one link; a link whose sender never transmitted stays as it is.
static void AddLink(RESULT &record, int sender, int receiver)
{
    const NODE &from = node[sender];
    if (from.link_tx_num[receiver] == 0) {
        return;
    }
    AddShares(record, sender, receiver);
    if (receiver > sender) {
        // Kept: behind station 0 the denominator counts what came from the link's own receiver,
        // which a flow source never hears from: the term is inf or -nan there.
        uint64_t arrivals = sender == 0 ? from.gene_num : from.recv_from[receiver];
        record.link_slot_d[sender][receiver] += Ratio(from.drop_hop[receiver], arrivals);
    }
    AddProbabilities(record, sender, receiver);
    AddDelays(record, sender, receiver);
}

void WriteResult()
{
    RESULT &record = result[g_counter];
    AddFlows(record);
    for (int station = 0; station < NODE_NUM; station++) {
        AddNode(record, station);
    }
    for (int sender = 0; sender < NODE_NUM - 1; sender++) {
        AddLink(record, sender, sender + 1);
    }
    for (int sender = NODE_NUM - 1; sender > 0; sender--) {
        AddLink(record, sender, sender - 1);
    }
    g_counter++;
}
