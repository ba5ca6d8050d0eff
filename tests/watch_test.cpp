// What is watched: the same run as without, and events that agree with the counters of the model,
// which counts by itself what the watch finds by comparing records.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "driver/state.h"
#include "tests/chosen_scenes.h"
#include "tests/model_fixture.h"
#include "tests/scene.h"
#include "tests/state_compare.h"
#include "tools/trace_forms.h"
#include "tools/watch.h"

constexpr uint64_t WATCHED_TICKS = 200'000;

static void PrintTo(const SCENE &scene, std::ostream *out)
{
    *out << scene.name;
}

class WatchedScene : public testing::TestWithParam<SCENE>
{
  protected:
    // The scene with its window open all the time, set up. Packets enter at the beginning alone.
    SCENE SetUpOpen() const
    {
        SCENE scene = GetParam();
        scene.window_begin = 0;
        scene.window_end = UINT64_MAX / 2;
        std::erase_if(scene.sendings,
                      [&](const SENDING &sending) { return sending.tick > scene.start_tick; });
        SetUpScene(scene);
        return scene;
    }
};

static const FRAME &FrameOf(const TRACE &trace, const TRACE_EVENT &event)
{
    return trace.frames.at(static_cast<size_t>(event.frame));
}

static int64_t Num(const TRACE &trace, int station, EVENT_KIND kind)
{
    return std::count_if(trace.events.begin(), trace.events.end(), [&](const TRACE_EVENT &event) {
        return event.station == station && event.kind == kind;
    });
}

// One that starts as load points do: in the others the records say what no frame has told.
class OrdinaryScene : public WatchedScene
{
};

// Fast to a tick, watched from there, fast again: as if nobody had looked.
TEST_P(WatchedScene, ChangesNothing)
{
    const SCENE scene = SetUpOpen();
    const uint64_t from = scene.start_tick + 54'321;
    const uint64_t until = from + WATCHED_TICKS / 10;
    RunScene(scene, from, false);
    const TRACE trace = Watch(until);
    EXPECT_EQ(trace.from, from);
    EXPECT_EQ(trace.until, until);
    const SNAPSHOT watched = TakeSnapshot();
    RunScene(scene, until + 10'000, false);
    const SNAPSHOT later = TakeSnapshot();

    SetUpScene(scene);
    RunScene(scene, until, false);
    EXPECT_EQ(HashOf(watched), HashOf(TakeSnapshot()));
    EXPECT_EQ(FirstDifference(TakeSnapshot(), watched), "");
    RunScene(scene, until + 10'000, false);
    EXPECT_EQ(FirstDifference(TakeSnapshot(), later), "");
}

TEST_P(OrdinaryScene, EventsAreThoseOfTheCounters)
{
    const SCENE scene = SetUpOpen();
    const std::vector<NODE> before(node, node + NODE_NUM);
    const uint64_t sent = g_no;
    const TRACE trace = Watch(scene.start_tick + WATCHED_TICKS);
    std::vector<std::vector<uint64_t>> ended(NODE_NUM, std::vector<uint64_t>(NODE_NUM));
    uint64_t begun = 0;
    for (const TRACE_EVENT &event : trace.events) {
        begun += event.kind == EVENT_BEGIN ? 1 : 0;
        if (event.kind == EVENT_END && FrameOf(trace, event).type == FRAME_DATA &&
            IsStation(FrameOf(trace, event).receiver)) {
            ++ended[event.station][FrameOf(trace, event).receiver];
        }
    }
    EXPECT_EQ(begun, g_no - sent);
    for (int i = 0; i < NODE_NUM; ++i) {
        const NODE &was = before[i];
        const NODE &now = node[i];
        SCOPED_TRACE("station " + std::to_string(i));
        EXPECT_EQ(Num(trace, i, EVENT_ARRIVAL), now.packet_seq - was.packet_seq);
        EXPECT_EQ(Num(trace, i, EVENT_TIMEOUT), now.timeout_num - was.timeout_num);
        EXPECT_EQ(Num(trace, i, EVENT_ACKED), now.ack_ok_num - was.ack_ok_num);
        EXPECT_EQ(Num(trace, i, EVENT_DROP), now.drop_num - was.drop_num);
        EXPECT_EQ(Num(trace, i, EVENT_DELIVER) + Num(trace, i, EVENT_RELAY),
                  now.recv_num - was.recv_num);
        EXPECT_EQ(Num(trace, i, EVENT_DUPLICATE), now.dup_num - was.dup_num);
        EXPECT_EQ(Num(trace, i, EVENT_REFUSED) > 0, now.over_num > was.over_num);
        EXPECT_EQ(Num(trace, i, EVENT_BACKOFF), now.backoff_draws - was.backoff_draws);
        EXPECT_EQ(ended[i], std::vector<uint64_t>(now.link_tx_num, now.link_tx_num + NODE_NUM));
    }
}

// The class of a collision at each link. Those of frames begun together with a station in range
// count a second time at the sender, in the totals of the first two rows; the pairings do not.
TEST_P(OrdinaryScene, CollisionsAreThoseOfTheCounters)
{
    const SCENE scene = SetUpOpen();
    const TRACE trace = Watch(scene.start_tick + WATCHED_TICKS);
    std::map<std::vector<int>, int32_t> seen; // sender, receiver, row
    for (const TRACE_EVENT &event : trace.events) {
        if (event.kind == EVENT_COLLISION) {
            const FRAME &victim = FrameOf(trace, event);
            EXPECT_EQ(OutcomeOf(victim, event.station), OUTCOME_SPOILED);
            const int other = trace.frames.at(static_cast<size_t>(event.value)).type;
            const bool is_paired = (victim.type == FRAME_DATA || victim.type == FRAME_ACK) &&
                                   (other == FRAME_DATA || other == FRAME_ACK);
            seen[{victim.sender, event.station, event.extra}] += is_paired ? 1 : 0;
        }
    }
    std::map<std::vector<int>, int32_t> counted;
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int j = 0; j < NODE_NUM; ++j) {
            for (const COL_ROW row : {ROW_CON, ROW_PHY, ROW_PRO, ROW_HCON}) {
                int32_t sum = 0;
                for (const int32_t num : col[i][j][row].pairing) {
                    sum += num;
                }
                if (sum != 0 || seen.count({i, j, row}) != 0) {
                    counted[{i, j, row}] = sum;
                }
            }
        }
    }
    EXPECT_EQ(seen, counted);
}

// Who takes a packet has heard its frame from end to end.
TEST_P(OrdinaryScene, WhatIsTakenWasHeard)
{
    const SCENE scene = SetUpOpen();
    const TRACE trace = Watch(scene.start_tick + WATCHED_TICKS);
    if (scene.transmission_range_m > scene.carrier_sense_range_m) {
        return; // a frame from where no carrier is sensed takes the place of another one
    }
    for (const TRACE_EVENT &event : trace.events) {
        if (event.kind == EVENT_DELIVER || event.kind == EVENT_DUPLICATE) {
            const FRAME &frame = FrameOf(trace, event);
            EXPECT_EQ(frame.receiver, event.station) << event.tick;
            EXPECT_EQ(frame.end, event.tick);
            EXPECT_EQ(OutcomeOf(frame, event.station), OUTCOME_CLEAN) << event.tick;
        }
    }
}

static std::vector<SCENE> OrdinaryScenes()
{
    std::vector<SCENE> scenes = ChosenScenes();
    std::erase_if(scenes, [](const SCENE &scene) { return !scene.starts.empty(); });
    return scenes;
}

INSTANTIATE_TEST_SUITE_P(, WatchedScene, testing::ValuesIn(ChosenScenes()),
                         [](const auto &scene) { return scene.param.name; });
INSTANTIATE_TEST_SUITE_P(, OrdinaryScene, testing::ValuesIn(OrdinaryScenes()),
                         [](const auto &scene) { return scene.param.name; });

class WatchTest : public ModelTest
{
  protected:
    // The table of events of the ticks up to `until`, by line.
    static LINES Table(uint64_t until)
    {
        char *text = nullptr;
        size_t size = 0;
        FILE *file = open_memstream(&text, &size);
        EXPECT_TRUE(WriteTraceCsv(file, Watch(until)));
        std::fclose(file);
        LINES lines;
        for (size_t at = 0; at < size;) {
            const std::string rest(text + at, size - at);
            lines.push_back(rest.substr(0, rest.find('\n')));
            at += lines.back().size() + 1;
        }
        std::free(text);
        return lines;
    }

    static LINES Of(const LINES &lines, const std::string &station)
    {
        LINES found;
        for (const std::string &line : lines) {
            const size_t at = line.find(',');
            if (line.compare(at, station.size() + 2, "," + station + ",") == 0) {
                found.push_back(line.substr(0, at) + line.substr(at + 1 + station.size()));
            }
        }
        return found;
    }
};

// tick        0          34                           286        302          330
// station 0   |   DIFS   |           DATA 252         |  awaits the ACK       | idle
// station 1   |   idle   | receives from its 1st tick |  SIFS 16 |   ACK 28   | idle
// station 2   |   idle   | NAV 268: idle, takes no part          |301  busy   | EIFS next
// station 4   |   idle: out of range of 0 and 1, hears nothing
TEST_F(WatchTest, OneExchange)
{
    Queue(0, 1);
    const LINES lines = Table(331);
    ASSERT_EQ(lines.at(0), "tick,station,event,frame,peer,retry,detail");
    const LINES sender = Of(lines, "0");
    const LINES expected = {
        "0,state,,,0,DIFS",       "34,begin,DATA,1,0,src=0 dst=1 packet=0",
        "34,state,,,0,TDAT",      "286,end,DATA,1,0,",
        "286,busy,,,0,", // the SIFS of the receiver
        "286,state,,,0,RACK",     "330,acked,DATA,1,0,packet=0 queue=0",
        "330,hear,ACK,1,0,clean", "330,busy-end,,,0,",
    };
    EXPECT_EQ(LINES(sender.begin(), sender.begin() + 9), expected);
    EXPECT_EQ(Of(lines, "1"), (LINES{
                                  "34,busy,,,0,",
                                  "34,state,,,0,RDAT",
                                  "286,deliver,DATA,0,0,packet=0",
                                  "286,hear,DATA,0,0,clean",
                                  "286,busy-end,,,0,",
                                  "286,state,,,0,WTACK",
                                  "302,begin,ACK,0,0,",
                                  "302,state,,,0,TACK",
                                  "330,end,ACK,0,0,",
                                  "330,state,,,0,IDLE",
                              }));
    EXPECT_EQ(Of(lines, "2").at(1), "34,nav,,,0,ticks=268");
    EXPECT_EQ(Of(lines, "4"), LINES());
}

// Two neighbours begin in tick 34: station 0 for 1, station 2 for 3. All frames meet at 1 and 3.
TEST_F(WatchTest, TwoStartsInOneTick)
{
    Queue(0, 1);
    Queue(2, 3);
    const LINES lines = Table(340);
    EXPECT_EQ(Of(lines, "1").at(0), "34,overlap,,,0,");
    EXPECT_EQ(Of(lines, "1").at(1), "34,collision,DATA,0,0,con by DATA of 2");
    EXPECT_EQ(Of(lines, "3").at(1), "34,collision,DATA,2,0,con by DATA of 0");
    const auto has = [](const LINES &rows, const std::string &row) {
        return std::count(rows.begin(), rows.end(), row) == 1;
    };
    EXPECT_TRUE(has(Of(lines, "1"), "286,hear,DATA,0,0,spoiled"));
    EXPECT_TRUE(has(Of(lines, "2"), "286,hear,DATA,0,0,sending"));
    EXPECT_TRUE(has(Of(lines, "5"), "286,hear,DATA,2,0,clean")); // out of range of station 0
    EXPECT_TRUE(has(Of(lines, "0"), "331,timeout,DATA,1,0,no ACK"));
}

// A watch may begin and end while a frame is on the air.
TEST_F(WatchTest, PartsOfAFrame)
{
    Queue(0, 1);
    RunTicks(100);
    const TRACE trace = Watch(200);
    ASSERT_EQ(trace.frames.size(), 1U);
    EXPECT_EQ(trace.frames[0].begin, 34U);
    EXPECT_EQ(trace.frames[0].end, UNKNOWN_TICK);
    const TRACE rest = Watch(290);
    EXPECT_EQ(rest.frames.at(0).begin, 34U);
    EXPECT_EQ(rest.frames.at(0).end, 286U);
}
