#include "topology/traffic.h"

#include <cmath>

#include "driver/state.h"
#include "driver/wake.h"
#include "topology/random.h"
#include "topology/routing.h"
#include "topology/stream.h"

// Makes the arrival draw of this tick. A block of draws knows those that fail without making them
// into numbers.
static bool IsArrival()
{
    if (g_stream.on && StreamSkipFailing(1) == 1) {
        return false;
    }
    return ARRIVAL_FACTOR * g_ariv_rate > RandUniform(0.0, 1.0);
}

void GenePacketAll()
{
    if (!IsArrival()) {
        return;
    }
    const int flow = static_cast<int>(std::lround(RandUniform(0.5, FLOW_NUM + 0.5))) - 1;
    const int sender = 2 * flow;
    if (InWindow()) {
        ++node[sender].gene_num; // offered load: a full queue may still refuse the packet
    }
    GenePacket(sender, sender + 1);
}

void GenePacket(int src, int dst)
{
    NODE &own = node[src];
    if (own.buffer_num >= g_settings.queue_limit) {
        if (InWindow()) {
            ++own.over_num;
        }
        return;
    }
    PACKET packet;
    packet.type = FRAME_DATA;
    packet.nav_value = DAT_LENGTH;
    // Kept: not the airtime of the frame. A contending station therefore takes a DATA frame for
    // received 28 ticks after its start.
    packet.duration = DATA_DURATION;
    packet.payload_time = PayloadTicks();
    packet.src = src;
    packet.dst = dst;
    packet.sender = src;
    packet.receiver = NextHop(src, dst);
    packet.seq = static_cast<int32_t>(own.packet_seq++);
    packet.corrupt = 0;
    packet.gen_time = g_sim_time;
    packet.hop_time = g_sim_time;
    packet.tx_start = 0;
    packet.age_base = 0;
    packet.id = own.gene_num; // Kept: all packets created outside the window share an id
    WakeForArrival(src, packet.receiver);
    AppendPacket(src, packet);
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
