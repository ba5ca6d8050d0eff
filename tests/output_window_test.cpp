// What is counted inside the measurement window, and what at any time. A scene runs once with its
// window open throughout; then once for every tick in which something happens, with a window of
// this tick alone. Each counter must then hold what that tick added to it in the first run, so a
// counter that leaves the window's first or last tick out, or counts outside, shows by its name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "driver/state.h"
#include "tests/scene.h"

constexpr uint64_t TICKS = 2500; // of a scene

using VALUES = std::vector<int64_t>;

template <class FIELD> static void Append(VALUES &values, const FIELD &field)
{
    if constexpr (std::is_array_v<FIELD>) {
        for (const auto &element : field) {
            Append(values, element);
        }
    } else {
        values.push_back(static_cast<int64_t>(field));
    }
}

// Counters of one kind, over all stations or links.
struct COUNTER {
    const char *name;
    VALUES (*values)();
};

template <auto FIELD> static VALUES OfStations()
{
    VALUES values;
    for (int i = 0; i < NODE_NUM; ++i) {
        Append(values, node[i].*FIELD);
    }
    return values;
}

// All rows of a table of collisions.
static VALUES OfLinks(COL *const (&table)[NODE_NUM][NODE_NUM])
{
    VALUES values;
    for (const auto &rows : table) {
        for (const COL *row : rows) {
            for (int k = 0; k < COL_ROWS; ++k) {
                Append(values, row[k].total);
                Append(values, row[k].pairing);
                Append(values, row[k].station);
            }
        }
    }
    return values;
}

// Collisions, without those of a common start, which count at any time.
static VALUES Collisions()
{
    VALUES values = OfLinks(col);
    const size_t per_row = 1 + PAIRING_NUM + NODE_NUM;
    for (size_t link = 0; link < NODE_NUM * NODE_NUM; ++link) {
        const auto starts =
            static_cast<int64_t>(node[link / NODE_NUM].same_start_hop_num[link % NODE_NUM]);
        values[(link * COL_ROWS + ROW_COL) * per_row] -= starts;
        values[(link * COL_ROWS + ROW_CON) * per_row] -= starts;
    }
    return values;
}

#define COUNT(field)                                                                               \
    {                                                                                              \
#field, OfStations < &NODE::field>                                                         \
    }
// clang-format off
static const COUNTER WINDOW_COUNTERS[] = {
    // Events.
    COUNT(gene_num), COUNT(tx_num), COUNT(link_tx_num), COUNT(rx_dat_num), COUNT(recv_num),
    COUNT(recv_from), COUNT(timeout_num), COUNT(timeout_hop), COUNT(drop_num), COUNT(drop_hop),
    COUNT(over_num), COUNT(access_wait_sum), COUNT(tx_time_sum), COUNT(ack_wait_sum),
    COUNT(ack_wait_over_sum), COUNT(hop_delay_sum), COUNT(ack_ok_num),
    {"ave_delay", [] { VALUES values; Append(values, ave_delay); return values; }},
    {"col", Collisions}, {"dp", [] { return OfLinks(dp); }},
    // Shares of time: every tick is an event.
    COUNT(queue_time), COUNT(queue_hop_time), COUNT(delay_sum), COUNT(send_time),
    COUNT(send_hop_time), COUNT(busy_time), COUNT(idle_time), COUNT(busy_queue_time),
    COUNT(busy_queue_hop_time), COUNT(backoff_time), COUNT(backoff_hop_time), COUNT(window_ticks),
};
constexpr size_t EVENT_COUNTERS = 20; // the first ones
static const COUNTER FREE_COUNTERS[] = {
    COUNT(backoff_draws), COUNT(backoff_slot_sum), COUNT(packet_seq), COUNT(dup_num),
    COUNT(same_start_num), COUNT(same_start_hop_num), COUNT(same_start_count),
    {"trans_con", [] { VALUES values; Append(values, trans_con); return values; }},
    {"X_count", [] { VALUES values; Append(values, X_count); return values; }},
    {"Y_count", [] { VALUES values; Append(values, Y_count); return values; }},
    {"Z_count", [] { VALUES values; Append(values, Z_count); return values; }},
};
// clang-format on

template <size_t NUM> static std::vector<VALUES> Read(const COUNTER (&counters)[NUM])
{
    std::vector<VALUES> values;
    for (const COUNTER &counter : counters) {
        values.push_back(counter.values());
    }
    return values;
}

// Sets the scene up with a window of the ticks `begin` to `end` and runs it up to tick `until`.
static void RunWindow(SCENE scene, uint64_t begin, uint64_t end, uint64_t until)
{
    scene.window_begin = begin;
    scene.window_end = end;
    SetUpScene(scene);
    RunScene(scene, until, true);
}

// A tick in which an event was counted, and the window counters before and behind it.
struct EVENT {
    uint64_t tick;
    std::vector<VALUES> before;
    std::vector<VALUES> behind;
};

// Runs the scene with its window open throughout.
static std::vector<EVENT> Events(const SCENE &scene)
{
    std::vector<EVENT> events;
    RunWindow(scene, 0, TICKS, 0);
    std::vector<VALUES> before = Read(WINDOW_COUNTERS);
    for (uint64_t tick = 0; tick < TICKS; ++tick) {
        RunScene(scene, tick + 1, true);
        std::vector<VALUES> behind = Read(WINDOW_COUNTERS);
        if (!std::equal(before.begin(), before.begin() + EVENT_COUNTERS, behind.begin())) {
            events.push_back({tick, before, behind});
        }
        before = std::move(behind);
    }
    return events;
}

// clang-format off
static const SCENE SCENES[] = {
    // Full queues, collisions, a drop.
    {.name = "Pairs", .ariv_rate = 0.002, .queue_limit = 3,
     .sendings = {{0, 0, 1, 3}, {0, 2, 3, 2}, {0, 6, 7, 4}, {0, 8, 9, 2}},
     .starts = {{0, OWN(backoff), 0}, {2, OWN(state), STATE_RACK}, {2, OWN(timer), 5},
                {2, OWN(retry_count), RETRY_LIMIT}, {6, OWN(backoff), 0}, {8, OWN(backoff), 0}}},
    {.name = "Rts", .ariv_rate = 0.001, .rts_flag = true,
     .sendings = {{0, 0, 1}, {0, 1, 0, 9}, {0, 4, 5}, {0, 5, 4, 9}}},
    // Relays that are full.
    {.name = "Relays", .layout = LAYOUT_LINE, .routes = ROUTING_LINE, .queue_limit = 1,
     .sendings = {{0, 0, 9}, {0, 1, 9}, {0, 3, 0}, {0, 5, 9}, {0, 8, 0}, {0, 9, 0}},
     .starts = {{1, OWN(backoff), 900}}},
    // A frame at station 1 that lasts through several of a station hidden from its sender.
    {.name = "Repeats", .layout = LAYOUT_LINE, .routes = ROUTING_LINE,
     .sendings = {{0, 0, 9}, {0, 2, 9, 4}},
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 2000}}},
};
// clang-format on

// Adds up how many values of each counter the events have changed.
static void Tally(const std::vector<EVENT> &events, std::vector<int> &changes)
{
    for (const EVENT &event : events) {
        for (size_t c = 0; c < changes.size(); ++c) {
            changes[c] += event.before[c] != event.behind[c] ? 1 : 0;
        }
    }
}

// Whether a counter adds the same at an event whatever the window. The delay over a hop does so
// only where receivers queue nothing: an ACK inside the window lets it start anew for the
// receiver's packets of the same id.
static bool IsFreeOfThePast(const SCENE &scene, size_t counter)
{
    return scene.name == "Pairs" || WINDOW_COUNTERS[counter].name != std::string("hop_delay_sum");
}

// Runs the scene with the window at this event and compares.
static void CheckEvent(const SCENE &scene, const EVENT &event, const std::vector<VALUES> &free)
{
    RunWindow(scene, event.tick, event.tick, TICKS);
    const std::vector<VALUES> actual = Read(WINDOW_COUNTERS);
    for (size_t c = 0; c < actual.size(); ++c) {
        VALUES expected = event.behind[c];
        for (size_t k = 0; k < expected.size(); ++k) {
            expected[k] -= event.before[c][k];
        }
        if (IsFreeOfThePast(scene, c)) {
            ASSERT_EQ(actual[c], expected) << WINDOW_COUNTERS[c].name;
        }
    }
    const std::vector<VALUES> actual_free = Read(FREE_COUNTERS);
    for (size_t c = 0; c < free.size(); ++c) {
        ASSERT_EQ(actual_free[c], free[c]) << FREE_COUNTERS[c].name;
    }
}

TEST(Window, CountersCountItsTicksAndNoOther)
{
    std::vector<int> changes(std::size(WINDOW_COUNTERS));
    for (const SCENE &scene : SCENES) {
        const std::vector<EVENT> events = Events(scene);
        const std::vector<VALUES> free = Read(FREE_COUNTERS);
        Tally(events, changes);
        for (const EVENT &event : events) {
            SCOPED_TRACE(scene.name + ", tick " + std::to_string(event.tick));
            ASSERT_NO_FATAL_FAILURE(CheckEvent(scene, event, free));
        }
    }
    for (size_t c = 0; c < changes.size(); ++c) { // every one comes up in some scene
        EXPECT_GT(changes[c], 0) << WINDOW_COUNTERS[c].name;
    }
    g_settings = {};
    FreeState();
}
