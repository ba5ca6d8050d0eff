// Fast runs against plain ticking: the whole model state is the same at every checkpoint, on chosen
// scenes and on thousands of random ones, in which the stations may start in any state.
//
// A random scene that differs is reduced before it is reported. DCFSIM_SCENES sets how many are
// run, DCFSIM_FIRST_SCENE the number of the first.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "driver/state.h"
#include "tests/scene.h"
#include "tests/state_compare.h"

// Logged frames that went into the queue: all of a station within the chain, else those of a
// station that took a frame for another one as its own. For traffic from every station to its
// partner.
static uint64_t RelayNum(const SCENE &scene, int station)
{
    uint64_t relays = 0;
    for (int k = 0; k < node[station].recv_log_num; ++k) {
        const bool in_chain = station > 0 && station < NODE_NUM - 1;
        const int dst = node[station].recv_log.entry[k].src ^ 1;
        relays += (scene.routes == ROUTING_LINE ? in_chain : station != dst) ? 1 : 0;
    }
    return relays;
}

// Every packet that entered a queue left it acknowledged or dropped, or is still there. For
// ordinary starts and runs that lie inside their window as a whole.
static void ExpectPacketsConserved(const SCENE &scene)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        const NODE &own = node[i];
        const uint64_t refused_relays =
            own.rx_dat_num - own.recv_num - static_cast<uint64_t>(own.dup_num);
        EXPECT_EQ(own.gene_num,
                  own.packet_seq + static_cast<uint64_t>(own.over_num) - refused_relays);
        if (own.recv_num == static_cast<uint64_t>(own.recv_log_num)) { // the log is complete
            EXPECT_EQ(own.packet_seq + RelayNum(scene, i),
                      own.ack_ok_num + static_cast<uint64_t>(own.drop_num + own.buffer_num));
        }
    }
}

// The pairs of the experiment with every receiver moved aside: in a range of less than 30 m the
// senders are hidden from each other, but not from all receivers.
static std::vector<POSITION> MovedReceivers(double shift_m)
{
    std::vector<POSITION> positions;
    positions.reserve(NODE_NUM);
    for (int pair = 0; pair < FLOW_NUM; ++pair) {
        positions.push_back({30.0 * pair, 0.0});
        positions.push_back({30.0 * pair + shift_m, 1.0});
    }
    return positions;
}

static SCENE Hidden(const char *name, double shift_m, double range_m, double sense_range_m,
                    bool rts)
{
    return {.name = name,
            .layout = LAYOUT_EXPLICIT,
            .positions = MovedReceivers(shift_m),
            .transmission_range_m = range_m,
            .carrier_sense_range_m = sense_range_m,
            .load_kbps = 8000,
            .rts_flag = rts};
}

constexpr uint64_t SCENE_TICKS = 300'000;

// clang-format off
static const SCENE SCENES[] = {
    {.name = "Load0"},
    {.name = "Load3", .load_kbps = 3000},
    {.name = "Load14", .load_kbps = 14000},
    {.name = "Load22", .load_kbps = 22000},
    {.name = "Load35", .load_kbps = 35000},
    {.name = "SmallBlock", .load_kbps = 500, .stream_block = 64},
    {.name = "ShortQueueAndLog", .load_kbps = 22000, .queue_limit = 20, .log_limit = 7},
    {.name = "QueueFills", .ariv_rate = 0.25, .queue_limit = 3000}, // a packet in every tick
    // Passes the age limit of a head packet.
    {.name = "LateClock", .load_kbps = 14000, .start_tick = 9'000'000 - SCENE_TICKS / 2},
    {.name = "Relays", .layout = LAYOUT_LINE, .routes = ROUTING_LINE, .load_kbps = 300,
     .sendings = {{0, 0, 9, 30}, {0, 9, 0, 30}, {70'001, 0, 9, 5}, {70'002, 9, 0}}},
    Hidden("HiddenNear", 15.0, 25.0, 25.0, false),
    Hidden("HiddenFar", 24.0, 35.0, 35.0, false),
    Hidden("SensedOnly", 20.0, 35.0, 62.0, false),
    Hidden("NotSensed", 20.0, 62.0, 40.0, false),
    Hidden("RtsHidden", 15.0, 25.0, 25.0, true),
    {.name = "Rts", .load_kbps = 8000, .rts_flag = true},
    {.name = "SomeRts", .load_kbps = 3000,
     .sendings = {{10, 0, 1, 99, RTS_VALUE}, {10, 4, 5, 50, RTS_VALUE - 1},
                  {10, 5, 4, 40, RTS_VALUE}}},
    {.name = "Anywhere", .layout = LAYOUT_RANDOM, .routes = ROUTING_NEIGHBOURS,
     .transmission_range_m = 2500.0, .carrier_sense_range_m = 3000.0, .load_kbps = 8000},
    // The overlap at station 4 ends during its SIFS: its carrier goes within the channel stage.
    {.name = "EpisodeEndsInSifs",
     .starts = {{3, OWN(state), STATE_TCTS}, {3, OWN(timer), 215}, {4, OWN(state), STATE_WTACK},
                {4, OWN(timer), 220}, {6, OWN(state), STATE_TACK}, {6, OWN(timer), 35},
                {7, OWN(nav), 245}}},
    // Station 3 has a carrier without a frame, its SIFS, while station 4 waits for an ACK.
    {.name = "CarrierDuringAckWait",
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 5}, {3, OWN(state), STATE_RDAT},
                {3, OWN(rx_flag), 1}, {3, OWN(rx_count), 247}, {4, OWN(state), STATE_RACK},
                {4, OWN(timer), 30}}},
    // The lock of station 0 is shorter than the frame on the air.
    {.name = "AckEndsBeforeSignal",
     .starts = {{0, OWN(state), STATE_RACK}, {0, OWN(timer), 40}, {0, OWN(rx_flag), 1},
                {0, OWN(rx_frame.type), FRAME_ACK}, {0, OWN(rx_frame.receiver), 0},
                {0, OWN(rx_frame.corrupt), 0}, {1, OWN(state), STATE_TDAT}, {1, OWN(timer), 100}}},
    // Station 2 drops a packet that stays in its count for station 3, and receives later.
    {.name = "StaleHopCount", .load_kbps = 500, .sendings = {{0, 2, 3}, {0, 3, 2, 900}},
     .starts = {{2, OWN(state), STATE_RACK}, {2, OWN(timer), 10},
                {2, OWN(retry_count), RETRY_LIMIT}, {2, OWN(buffer[0].receiver), EMPTY}}},
    {.name = "NavEndsOnAir", .ariv_rate = 0.25, .queue_limit = 100,
     .starts = {{2, OWN(state), STATE_TDAT}, {2, OWN(timer), 13}, {2, OWN(nav), 6}}},
};
// clang-format on

static void PrintTo(const SCENE &scene, std::ostream *out)
{
    *out << scene.name;
}

class ChosenScene : public testing::TestWithParam<SCENE>
{
};

TEST_P(ChosenScene, PlainEqualsFast)
{
    SCENE scene = GetParam();
    const uint64_t end = scene.start_tick + SCENE_TICKS;
    scene.window_begin = scene.start_tick + 50'000;
    scene.window_end = end - 50'000;
    const uint64_t checkpoints[] = {
        scene.start_tick + 10,
        scene.window_begin,
        scene.window_begin + 1,
        end - 123'457,
        scene.window_end,
        scene.window_end + 1,
        end,
    };
    std::vector<SNAPSHOT> plain;
    SetUpScene(scene);
    for (const uint64_t tick : checkpoints) {
        RunScene(scene, tick, true);
        plain.push_back(TakeSnapshot());
    }
    SetUpScene(scene);
    for (size_t i = 0; i < std::size(checkpoints); ++i) {
        RunScene(scene, checkpoints[i], false);
        ASSERT_EQ(FirstDifference(plain[i], TakeSnapshot()), "") << "tick " << checkpoints[i];
    }
    // Again, in one go and after other runs; then inside the window as a whole.
    SetUpScene(scene);
    RunScene(scene, end, false);
    EXPECT_EQ(FirstDifference(plain.back(), TakeSnapshot()), "");
    scene.window_begin = 0;
    scene.window_end = end;
    SetUpScene(scene);
    RunScene(scene, end, false);
    if (scene.starts.empty()) {
        ExpectPacketsConserved(scene);
    }
}

INSTANTIATE_TEST_SUITE_P(All, ChosenScene, testing::ValuesIn(SCENES),
                         [](const auto &scene) { return scene.param.name; });

// A random scene and how it is run.
struct TRIAL {
    SCENE scene;
    uint64_t ticks;
    uint64_t pause; // the fast run stops after that many ticks and goes on
};

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

// Makes the random scene of this number.
static TRIAL MakeTrial(uint64_t number)
{
    g_generator.seed(number);
    TRIAL trial;
    SCENE &scene = trial.scene;
    const bool odd_start = Chance(70); // shows soon
    const int64_t ticks = odd_start ? From(30, 500) : From(500, 3000);
    const int64_t start = Chance(20) ? From(8'998'000, 9'002'000) : 0;
    const int64_t window_begin = start + (Chance(50) ? From(0, 300) : 0);
    scene.name = "scene " + std::to_string(number);
    scene.seed = From(1, 2'000'000'000);
    scene.stream_block = Chance(50) ? STREAM_LANES : STREAM_BLOCK;
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

// Whether all packets can be accounted for at the end of a trial.
static bool IsAccountable(const TRIAL &trial)
{
    const SCENE &scene = trial.scene;
    const auto in_pair = [](const SENDING &sending) { return sending.dst == (sending.src ^ 1); };
    return scene.routes != ROUTING_LINE && scene.starts.empty() &&
           scene.window_begin == scene.start_tick &&
           scene.window_end >= scene.start_tick + trial.ticks &&
           std::ranges::all_of(scene.sendings, in_pair);
}

// Sets the scene up and runs it for `ticks`.
static SNAPSHOT Run(const TRIAL &trial, uint64_t ticks, bool plain)
{
    const uint64_t start = trial.scene.start_tick;
    SetUpScene(trial.scene);
    if (!plain && trial.pause < ticks) {
        RunScene(trial.scene, start + trial.pause, false);
    }
    RunScene(trial.scene, start + ticks, plain);
    return TakeSnapshot();
}

// The difference that the trial shows after `ticks`, if any.
static std::string Difference(const TRIAL &trial, uint64_t ticks)
{
    const SNAPSHOT plain = Run(trial, ticks, true);
    return FirstDifference(plain, Run(trial, ticks, false));
}

// Cuts the trial off behind the first tick that differs.
static void ReduceTicks(TRIAL &trial)
{
    uint64_t equal = 0;
    while (trial.ticks - equal > 1) {
        const uint64_t middle = equal + (trial.ticks - equal) / 2;
        (Difference(trial, middle).empty() ? equal : trial.ticks) = middle;
    }
}

// Leaves out of a list what is not needed for the difference.
template <class T> static void ReduceList(TRIAL &trial, std::vector<T> SCENE::*list)
{
    for (size_t size = (trial.scene.*list).size(); size > 0; size /= 2) {
        for (size_t at = 0; at < (trial.scene.*list).size();) {
            TRIAL smaller = trial;
            auto first = (smaller.scene.*list).begin() + static_cast<ptrdiff_t>(at);
            const size_t left = (trial.scene.*list).size() - at;
            (smaller.scene.*list)
                .erase(first, first + static_cast<ptrdiff_t>(std::min(size, left)));
            if (Difference(smaller, smaller.ticks).empty()) {
                at += size;
            } else {
                trial = smaller;
            }
        }
    }
}

static void Reduce(TRIAL &trial)
{
    ReduceTicks(trial);
    void (*const simplifications[])(TRIAL & smaller) = {
        [](TRIAL &smaller) { smaller.pause = 0; },
        [](TRIAL &smaller) { smaller.scene.ariv_rate = 0.0; },
        [](TRIAL &smaller) { smaller.scene.rts_flag = false; },
        [](TRIAL &smaller) { smaller.scene.queue_limit = QUEUE_LIMIT; },
        [](TRIAL &smaller) { smaller.scene.log_limit = QUEUE_LIMIT; },
        [](TRIAL &smaller) { smaller.scene.data_length = SCENE{}.data_length; },
    };
    for (const auto simplify : simplifications) {
        TRIAL smaller = trial;
        simplify(smaller);
        if (!Difference(smaller, smaller.ticks).empty()) {
            trial = smaller;
        }
    }
    ReduceList(trial, &SCENE::sendings);
    ReduceList(trial, &SCENE::starts);
    ReduceTicks(trial);
}

static uint64_t NumberFromEnvironment(const char *name, uint64_t otherwise)
{
    const char *text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(RandomScenes, PlainEqualsFast)
{
    const uint64_t first = NumberFromEnvironment("DCFSIM_FIRST_SCENE", 1);
    const uint64_t scenes = NumberFromEnvironment("DCFSIM_SCENES", 6000);
    for (uint64_t number = first; number < first + scenes; ++number) {
        TRIAL trial = MakeTrial(number);
        if (!Difference(trial, trial.ticks).empty()) {
            Reduce(trial);
            FAIL() << "tick " << trial.scene.start_tick + trial.ticks - 1 << ": "
                   << Difference(trial, trial.ticks) << "\npause after " << trial.pause << "\n"
                   << DescribeScene(trial.scene);
        }
        if (IsAccountable(trial)) {
            ExpectPacketsConserved(trial.scene);
            ASSERT_FALSE(HasFailure()) << DescribeScene(trial.scene);
        }
    }
    FreeState();
}
