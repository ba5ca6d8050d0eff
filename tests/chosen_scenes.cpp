#include "tests/chosen_scenes.h"

#include "driver/constants.h"
#include "driver/settings.h"

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

constexpr uint64_t LAST_TICK = SCENE_TICKS - 1; // of a window that is open all the time

// clang-format off
static const std::vector<SCENE> SCENES = {
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
    // Station 2 has passed the end of its backoff, which wrapped when a carrier froze it: with no idle
    // tick counted it is over, and the station sends into the carrier once its NAV ends.
    {.name = "BackoffWrapped", .sendings = {{0, 2, 3}},
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 100}, {2, OWN(state), STATE_DCW},
                {2, OWN(nav), 20}, {2, OWN(backoff), -DIFS}}},
    {.name = "NavEndsOnAir", .ariv_rate = 0.25, .queue_limit = 100,
     .starts = {{2, OWN(state), STATE_TDAT}, {2, OWN(timer), 13}, {2, OWN(nav), 6}}},
    // The NAV of stations 2 and 3 takes their lock away within a frame, of which they hear no more.
    {.name = "NavEndsUnderLock", .window_end = LAST_TICK, .sendings = {{0, 3, 2}},
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 100}, {2, OWN(nav), 20},
                {2, OWN(rx_flag), 1}, {2, OWN(rx_frame.corrupt), EMPTY}, {3, OWN(nav), 30},
                {3, OWN(state), STATE_DCW}, {3, OWN(rx_flag), 1}, {3, OWN(rx_frame.duration), 80}}},
    // More idle ticks than the backoff had: frozen it is -DIFS, over at once when the NAV ends.
    {.name = "FrozenBackoffWraps", .window_end = LAST_TICK, .sendings = {{0, 2, 3}},
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 100}, {2, OWN(state), STATE_DCW},
                {2, OWN(nav), 50}, {2, OWN(backoff), 0}, {2, OWN(idle_count), 72}}},
    // The NAV ends under a carrier in stations that were about to do something else.
    {.name = "NavEndsUnderCarrier", .window_end = LAST_TICK,
     .sendings = {{0, 1, 0}, {0, 3, 2}, {0, 8, 9}},
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 100}, {1, OWN(state), STATE_WTCTS},
                {1, OWN(timer), 90}, {1, OWN(nav), 11}, {2, OWN(state), STATE_WRDAT},
                {2, OWN(timer), 90}, {2, OWN(nav), 12}, {3, OWN(state), STATE_RDAT},
                {3, OWN(nav), 13}, {9, OWN(state), STATE_TDAT}, {9, OWN(timer), 60},
                {8, OWN(state), STATE_RDAT}, {8, OWN(nav), 60}, {7, OWN(nav), 60}}},
    // An ACK begins in tick 16 or 17, while NAVs end: stations 2 and 3 get its frame, or lose it.
    {.name = "NavEndsAsAckBegins", .window_end = LAST_TICK,
     .sendings = {{0, 2, 3}, {0, 3, 2}, {0, 6, 7}, {0, 7, 6}},
     .starts = {{1, OWN(state), STATE_WTACK}, {1, OWN(timer), 40}, {1, OWN(rx_frame.sender), 0},
                {0, OWN(state), STATE_RACK}, {0, OWN(timer), 45}, {2, OWN(state), STATE_DCW},
                {2, OWN(nav), 17}, {3, OWN(state), STATE_DCW}, {3, OWN(nav), 16},
                {9, OWN(state), STATE_WTACK}, {9, OWN(timer), 40}, {9, OWN(rx_frame.sender), 8},
                {8, OWN(state), STATE_RACK}, {8, OWN(timer), 45}, {6, OWN(state), STATE_DCW},
                {6, OWN(nav), 18}, {7, OWN(nav), 17}}},
    // NAVs of 1 and 2, in stations that a frame reaches in the first ticks.
    {.name = "ShortNavs", .window_end = LAST_TICK, .sendings = {{0, 0, 1}, {0, 3, 2}, {0, 9, 8}},
     .starts = {{0, OWN(state), STATE_DCW}, {0, OWN(backoff), 0}, {0, OWN(idle_count), DIFS},
                {1, OWN(nav), 1}, {2, OWN(nav), 2}, {3, OWN(state), STATE_DCW}, {3, OWN(nav), 1},
                {9, OWN(state), STATE_DCW}, {9, OWN(backoff), 0}, {9, OWN(idle_count), DIFS - 1},
                {6, OWN(nav), 1}, {7, OWN(nav), 2}, {8, OWN(state), STATE_DCW}, {8, OWN(nav), 2}}},
    // An ACK ends in the last tick of its station's NAV, and an RTS for this station begins.
    {.name = "RtsAsNavEnds", .window_end = LAST_TICK, .sendings = {{0, 0, 1, 1, RTS_VALUE}},
     .starts = {{0, OWN(state), STATE_DCW}, {0, OWN(backoff), -DIFS}, {0, OWN(nav), 20},
                {1, OWN(state), STATE_TACK}, {1, OWN(timer), 20}, {1, OWN(nav), 21}}},
    // The carrier of station 2 goes with its NAV while nobody is near; then a frame of 7 ends.
    {.name = "CarrierGoesUnseen", .window_end = LAST_TICK,
     .starts = {{2, OWN(state), STATE_TDAT}, {2, OWN(timer), 50}, {2, OWN(nav), 6},
                {7, OWN(state), STATE_TACK}, {7, OWN(timer), 15}}},
    // Stations 0 and 2 never withdraw their frames. They overlap at station 1 without a carrier.
    {.name = "OverlapWithoutCarrier", .window_end = LAST_TICK,
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 50}, {0, OWN(nav), 5},
                {1, OWN(state), STATE_TDAT}, {1, OWN(timer), 90}, {1, OWN(nav), 30},
                {2, OWN(state), STATE_TDAT}, {2, OWN(timer), 50}, {2, OWN(nav), 6},
                {3, OWN(state), STATE_TACK}, {3, OWN(timer), 15}}},
    // Contending stations without a packet are idle behind their NAV, when packets come to them.
    {.name = "EmptyQueueUnderNav", .ariv_rate = 0.004, .window_end = LAST_TICK,
     .starts = {{0, OWN(state), STATE_TDAT}, {0, OWN(timer), 900}, {9, OWN(state), STATE_TDAT},
                {9, OWN(timer), 900}, {2, OWN(state), STATE_DCW}, {2, OWN(nav), 20},
                {6, OWN(state), STATE_DCW}, {6, OWN(nav), 40}, {8, OWN(state), STATE_DCW},
                {8, OWN(nav), 60}}},
    // Stations 0 and 2 start together, and so have 6 and 8 just before the first tick.
    {.name = "CommonStarts", .window_end = LAST_TICK,
     .sendings = {{0, 0, 1}, {0, 2, 3}, {0, 6, 7}, {0, 8, 9}},
     .starts = {{0, OWN(backoff), 0}, {2, OWN(backoff), 0}, {6, OWN(same_start_flag), 1},
                {8, OWN(same_start_flag), 1}, {8, OWN(nav), 300}, {6, OWN(nav), 300}}},
};
// clang-format on

std::vector<SCENE> ChosenScenes()
{
    constexpr uint64_t OUTSIDE = 50'000;
    std::vector<SCENE> scenes = SCENES;
    for (SCENE &scene : scenes) {
        if (scene.window_end == LAST_TICK) {
            continue;
        }
        scene.window_begin = scene.start_tick + OUTSIDE;
        scene.window_end = scene.start_tick + SCENE_TICKS - OUTSIDE;
    }
    return scenes;
}
