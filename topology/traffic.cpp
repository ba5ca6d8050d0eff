#include "topology/traffic.h"

#include <cassert>
#include <cmath>

#include "driver/observer.h"
#include "driver/state.h"
#include "driver/visit.h"
#ifdef DCFSIM_FAST_FORWARD
#include "fastforward/stream.h"
#endif
#include "topology/random.h"
#include "topology/routing.h"

int32_t g_share_num = 0;
static int32_t g_share_flow[WEIGHT_LIMIT]; // the flow that a share belongs to

void ShareArrivals()
{
    g_share_num = 0;
    for (int32_t flow = 0; flow < g_settings.flow_num; ++flow) {
        for (int32_t k = 0; k < g_settings.flow_list[flow].weight; ++k) {
            assert(g_share_num < WEIGHT_LIMIT);
            g_share_flow[g_share_num] = flow;
            ++g_share_num;
        }
    }
}

// Makes the arrival draw of this tick.
static bool IsArrival()
{
#ifdef DCFSIM_FAST_FORWARD
    if (StreamSkipsDraw()) { // one of a block, known to fail before it is made into a number
        return false;
    }
#endif
    return ArrivalProbability() > RandUniform(0.0, 1.0);
}

void GenePacketAll()
{
    if (!IsArrival()) {
        return;
    }
    const auto share = static_cast<int>(std::lround(RandUniform(0.5, g_share_num + 0.5))) - 1;
    const FLOW &flow = g_settings.flow_list[g_share_flow[share]];
    if (InWindow()) {
        ++node[flow.from].gene_num; // offered load: a full queue may still refuse the packet
    }
    GenePacket(flow.from, flow.to);
}

void GenePacket(int src, int dst)
{
    NODE &own = Reach(src, STAGE_TX);
    PACKET packet;
    packet.src = src;
    packet.dst = dst;
    if (own.buffer_num >= g_settings.queue_limit) {
        if (InWindow()) {
            ++own.over_num;
        }
        Tell(NOTE_REFUSE, src, packet);
        return;
    }
    packet.type = FRAME_DATA;
    packet.nav_value = DAT_LENGTH;
    // Kept: not the airtime of the frame. A contending station therefore takes a DATA frame for
    // received 28 ticks after its start.
    packet.duration = DATA_DURATION;
    packet.payload_time = PayloadTicks();
    packet.sender = src;
    packet.receiver = NextHop(src, dst);
    packet.seq = static_cast<int32_t>(own.packet_seq++);
    packet.corrupt = 0;
    packet.gen_time = g_sim_time;
    packet.hop_time = g_sim_time;
    packet.tx_start = 0;
    packet.age_base = 0;
    packet.id = own.gene_num; // Kept: all packets created outside the window share an id
    AppendPacket(src, packet);
    Tell(NOTE_ARRIVE, src, packet);
    g_event = 1;
}

// One station's own arrival trial.
static void Arrive(int station, double rate, int dst)
{
    if (RandUniform(0.0, 1.0) < rate) {
        if (InWindow()) {
            ++node[station].gene_num;
        }
        GenePacket(station, dst);
    }
}

void Generic_flow1(int station)
{
    Arrive(station, g_ariv_rate, station + 1);
}

void Generic_flow2(int station)
{
    Arrive(station, g_ariv_rate2, station - 1);
}
