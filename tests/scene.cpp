#include "tests/scene.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#ifdef DCFSIM_FAST_FORWARD
#include "fastforward/stream.h"
#endif
#include "topology/random.h"
#include "topology/routing.h"

static int64_t g_scene_seed = 0;

static int64_t SceneClock()
{
    return g_scene_seed;
}

// Takes away what a load point leaves to the next one.
static void ForgetPast()
{
    if (node == nullptr && !AllocateState()) {
        std::abort();
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].rx_frame = {};
        node[i].buffer.head = {};
    }
    count_cw = 0;
    temp_non = 0;
    load = 0;
    g_counter = 0;
    g_ariv_rate2 = 0.0;
}

// Between runs, where the fast-forward keeps nothing that would have to hear of it.
static void Enqueue(const SENDING &sending)
{
    NODE &own = node[sending.src];
    g_plain_ticking = true;
    for (int k = 0; k < sending.num; ++k) {
        own.gene_num += InWindow() ? 1 : 0;
        if (own.buffer_num >= g_settings.queue_limit) {
            own.over_num += InWindow() ? 1 : 0;
            continue;
        }
        const PACKET packet = {
            .type = FRAME_DATA,
            .nav_value = sending.nav_value != 0 ? sending.nav_value : DAT_LENGTH,
            .duration = DATA_DURATION,
            .payload_time = PayloadTicks(),
            .src = sending.src,
            .dst = sending.dst,
            .sender = sending.src,
            .receiver = NextHop(sending.src, sending.dst),
            .seq = static_cast<int32_t>(own.packet_seq++),
            .corrupt = 0,
            .gen_time = g_sim_time,
            .hop_time = g_sim_time,
            .tx_start = 0,
            .age_base = 0,
            .id = own.gene_num,
        };
        AppendPacket(sending.src, packet);
    }
}

// Registers the frame of a station that starts in a state that sends.
static void PutOnAir(int sender)
{
    NODE &own = node[sender];
    const int32_t kind = (own.state - STATE_TRTS) / 2; // the states of sending follow the frames
    if (own.state < STATE_TRTS || own.state > STATE_TACK || own.state % 2 != 0) {
        return;
    }
    const bool answer = kind == FRAME_CTS || kind == FRAME_ACK;
    const int32_t receiver = answer ? own.rx_frame.sender : own.buffer.head.receiver;
    own.last_frame_no = g_no++;
    for (int k = 0; k < own.interference_num; ++k) {
        NODE &other = node[own.interference_list[k]];
        other.signal_list[other.signal_num++] = {
            .kind = kind,
            .receiver = receiver,
            .sender = sender,
            .frame_no = static_cast<int64_t>(own.last_frame_no),
            .start_time = static_cast<int64_t>(g_sim_time) - DataTicks() + own.timer,
            .end_mark = other.rx_error,
        };
    }
}

void SetUpScene(const SCENE &scene)
{
    ForgetPast();
    g_settings = {};
    g_settings.queue_limit = scene.queue_limit;
    g_settings.log_limit = scene.log_limit;
    g_settings.window_begin = scene.window_begin;
    g_settings.window_end = scene.window_end;
    g_settings.transmission_range_m = scene.transmission_range_m;
    g_settings.carrier_sense_range_m = scene.carrier_sense_range_m;
    g_settings.layout = scene.layout;
    std::ranges::copy(scene.positions, g_settings.position_list);
    g_settings.routing = scene.routes;
    SetPacketSize(scene.data_length);
    SetOfferedLoad(scene.load_kbps);
    if (scene.ariv_rate != 0.0) {
        g_ariv_rate = scene.ariv_rate;
    }
    if (scene.rts_flag) {
        DAT_LENGTH = RTS_VALUE;
    }
    g_scene_seed = scene.seed;
    g_settings.generator = scene.generator;
    g_clock = SceneClock;
    ResetRandom();
    RandInitUniform();
    StartLoadPoint();
    g_sim_time = scene.start_tick;
    for (const SENDING &sending : scene.sendings) {
        if (sending.tick <= g_sim_time) {
            Enqueue(sending);
        }
    }
    for (const START &start : scene.starts) {
        start.field.set(node[start.station], start.value);
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        PutOnAir(i);
    }
    if (scene.tweak != nullptr) {
        scene.tweak();
    }
}

void RunScene(const SCENE &scene, uint64_t until, bool plain)
{
#ifdef DCFSIM_FAST_FORWARD
    g_stream_block = scene.stream_block != 0 ? scene.stream_block : STREAM_BLOCK;
#endif
    const uint64_t begin = g_sim_time; // what enters before this tick is in the queues
    for (const SENDING &sending : scene.sendings) {
        if (sending.tick > begin && sending.tick <= until) {
            g_plain_ticking = plain;
            RunTicks(sending.tick);
            Enqueue(sending);
        }
    }
    g_plain_ticking = plain;
    RunTicks(until);
    g_plain_ticking = false;
}

std::string DescribeScene(const SCENE &scene)
{
    std::ostringstream text;
    text << scene.name << ": layout " << scene.layout << ", routes " << scene.routes << ", ranges "
         << scene.transmission_range_m << " m, " << scene.carrier_sense_range_m << " m, bytes "
         << scene.data_length << ", load " << scene.load_kbps << ", rate " << scene.ariv_rate
         << ", RTS " << scene.rts_flag << ", queue " << scene.queue_limit << ", log "
         << scene.log_limit << ", window " << scene.window_begin << " to " << scene.window_end
         << ", start " << scene.start_tick << ", seed " << scene.seed << ", generator "
         << GENERATOR_NAMES[scene.generator] << ", block " << scene.stream_block << "\n";
    for (const POSITION &position : scene.positions) {
        text << "(" << position.x << ", " << position.y << ") ";
    }
    for (const SENDING &sending : scene.sendings) {
        text << "\ntick " << sending.tick << ": " << sending.num << " packets " << sending.src
             << " to " << sending.dst << ", nav_value " << sending.nav_value;
    }
    for (const START &start : scene.starts) {
        text << "\nstation " << start.station << ": " << start.field.name << " = " << start.value;
    }
    return text.str();
}
