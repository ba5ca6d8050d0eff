#include "tests/random_scene.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "driver/constants.h"
#include "driver/settings.h"

// What the fields of a station may start with: multiples of `unit`, `low` to `high` of them.
struct START_RANGE {
    OWN_FIELD field;
    int32_t low;
    int32_t high;
    int32_t unit;
};
// clang-format off
static const START_RANGE START_RANGES[] = {
    {OWN(timer), 0, 270, 1}, {OWN(timer), -2, 2, 1}, {OWN(nav), -1, 1, 1}, {OWN(nav), 0, 60, 1},
    {OWN(nav), 0, 356, 1}, {OWN(nav), 50, 300, 1}, {OWN(idle_count), 0, 20, 1},
    {OWN(idle_count), 0, 90, 1}, {OWN(backoff), 0, 15, SLOT}, {OWN(backoff), 0, 60, 1},
    {OWN(rx_count), 0, 30, 1}, {OWN(rx_count), 0, 256, 1}, {OWN(rx_flag), 0, 1, 1},
    {OWN(rx_error), 0, 1, 1}, {OWN(busy), 0, 1, 1}, {OWN(eifs_flag), 0, 1, 1},
    {OWN(freeze_flag), 0, 1, 1}, {OWN(same_start_flag), 0, 1, 1}, {OWN(dup_flag), 0, 1, 1},
    {OWN(col_check_off), 0, 1, 1}, {OWN(retry_count), 0, 8, 1}, {OWN(retry_count), 6, 7, 1},
    {OWN(cw), CW_MIN, CW_MAX, 1}, {OWN(difs_idle_num), 0, 90, 1}, {OWN(tx_elapsed), 0, 260, 1},
    {OWN(ack_wait_num), 0, 17, 1}, {OWN(ack_wait_over), 0, 40, 1}, {OWN(packet_seq), 0, 3, 1},
    {OWN(rx_frame.type), EMPTY, 3, 1}, {OWN(rx_frame.duration), 0, 40, 1},
    {OWN(rx_frame.duration), 28, 30, 2}, {OWN(rx_frame.corrupt), -1, 0, 1},
    {OWN(rx_frame.corrupt), 0, 0, 1}, {OWN(rx_frame.src), 0, 9, 1}, {OWN(rx_frame.dst), 0, 9, 1},
    {OWN(rx_frame.sender), EMPTY, 9, 1}, {OWN(rx_frame.receiver), EMPTY, 9, 1},
    {OWN(rx_frame.seq), 0, 3, 1}, {OWN(rx_frame.id), 0, 2, 1}, {OWN(buffer[0].id), 0, 2, 1},
    {OWN(buffer[0].tx_start), 0, 3, 1}, {OWN(buffer[0].receiver), EMPTY, 9, 1},
    {OWN(buffer[0].age_base), 0, 9, 1'000'000},
};
// clang-format on

// The numbers that a random scene is made of. The distributions of the standard library differ
// between platforms.
static std::mt19937_64 g_generator;

static int64_t From(int64_t low, int64_t high)
{
    return low + static_cast<int64_t>(g_generator() % static_cast<uint64_t>(high - low + 1));
}

static bool Chance(int percent)
{
    return From(1, 100) <= percent;
}

template <class T> static T Any(std::initializer_list<T> values)
{
    return values.begin()[From(0, static_cast<int64_t>(values.size()) - 1)];
}

static void MakeNetwork(SCENE &scene)
{
    scene.layout = Any({LAYOUT_DESIGN, LAYOUT_LINE, LAYOUT_RANDOM, LAYOUT_EXPLICIT});
    scene.routes = Any({ROUTING_DESIGN, ROUTING_NEIGHBOURS, ROUTING_LINE});
    const double unit_m = scene.layout == LAYOUT_RANDOM ? 50.0 : 1.0;
    const int side_m = Any({20, 60, 90, 150});
    for (int i = 0; i < NODE_NUM && scene.layout == LAYOUT_EXPLICIT; ++i) {
        scene.positions.push_back({1.0 * From(0, side_m), 1.0 * From(0, 40)});
    }
    const int64_t range = From(20, 70);
    scene.transmission_range_m = unit_m * range;
    scene.carrier_sense_range_m = unit_m * (Chance(50) ? range : From(20, 70));
    scene.data_length = Any({1472, 1472, 1472, 300, 0});
}

static void MakeTraffic(SCENE &scene, int64_t ticks)
{
    scene.ariv_rate = Any({0.0, 1e-9, 0.0002, 0.001, 0.005, 0.25});
    scene.rts_flag = Chance(30);
    scene.queue_limit = Any({1, 2, 5, 20, QUEUE_LIMIT});
    scene.log_limit = Any({1, 3, QUEUE_LIMIT});
    const bool pairs = Chance(50);
    for (int64_t k = From(0, 12); k > 0; --k) {
        const int src = static_cast<int>(From(0, 9));
        const int dst = pairs || Chance(30) ? src ^ 1 : static_cast<int>(From(0, 9));
        const int64_t delay = Chance(50) ? From(0, ticks) : 0;
        scene.sendings.push_back({scene.start_tick + static_cast<uint64_t>(delay), src, dst,
                                  Any({1, 2, 3, 4}), Chance(20) ? RTS_VALUE : 0});
    }
    std::ranges::stable_sort(scene.sendings, {}, &SENDING::tick);
}

static void MakeStarts(SCENE &scene)
{
    const int station_percent = Any({30, 70, 100});
    const int field_percent = Any({3, 10, 40});
    const int64_t states[] = {STATE_IDLE, From(0, STATE_RACK), From(0, STATE_RACK), From(0, 8)};
    for (int i = 0; i < NODE_NUM; ++i) {
        if (!Chance(station_percent)) {
            continue;
        }
        scene.starts.push_back({i, OWN(state), states[From(0, 3)]});
        scene.starts.push_back({i, OWN(timer), From(0, 60)});
        for (const START_RANGE &range : START_RANGES) {
            if (Chance(field_percent)) {
                scene.starts.push_back({i, range.field, range.unit * From(range.low, range.high)});
            }
        }
    }
}

TRIAL MakeTrial(uint64_t number)
{
    constexpr size_t SHORTEST_BLOCK = 16; // draws of the stream; refilled most often
    g_generator.seed(number);
    TRIAL trial;
    SCENE &scene = trial.scene;
    const bool odd_start = Chance(70); // shows soon
    const int64_t ticks = odd_start ? From(30, 500) : From(500, 3000);
    const int64_t start = Chance(20) ? From(8'998'000, 9'002'000) : 0;
    const int64_t window_begin = start + (Chance(50) ? From(0, 300) : 0);
    scene.name = "scene " + std::to_string(number);
    scene.seed = From(1, 2'000'000'000);
    scene.stream_block = Chance(50) ? SHORTEST_BLOCK : 0;
    scene.start_tick = static_cast<uint64_t>(start);
    scene.window_begin = static_cast<uint64_t>(window_begin);
    scene.window_end = scene.window_begin + (Chance(50) ? 5000 : 200);
    trial.ticks = static_cast<uint64_t>(ticks);
    trial.pause = static_cast<uint64_t>(Chance(30) ? From(1, 200) : 0);
    MakeNetwork(scene);
    MakeTraffic(scene, ticks);
    if (odd_start) {
        MakeStarts(scene);
    }
    return trial;
}
