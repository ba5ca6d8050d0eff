// Stories of frames, whole: expected ticks are those of the timelines drawn above the tests. What a
// backoff is drawn to is read from the station. Attributed NAVs are held against their lengths.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "driver/state.h"
#include "tests/chosen_scenes.h"
#include "tests/model_fixture.h"
#include "tests/scene.h"
#include "tools/trace_story.h"

class StoryTest : public ModelTest
{
  protected:
    // The story of the `num`-th frame, from 0, that a station begins or began.
    static LINES StoryOf(const TRACE &trace, int sender, int num = 0)
    {
        for (size_t place = 0; place < trace.frames.size(); ++place) {
            if (trace.frames[place].sender == sender && num-- == 0) {
                return FrameStory(trace, place);
            }
        }
        return {};
    }

    // The draw that a station made last.
    static std::string Draw(int station)
    {
        return "draws a backoff of " + std::to_string(node[station].backoff_slots) +
               (node[station].backoff_slots == 1 ? " slot" : " slots") + " (window " +
               std::to_string(node[station].cw) + ")";
    }
};

// tick        0          34            79                  331        347          375
// station 0   |   DIFS   |  5 slots 45 |     DATA 252      |  awaits the ACK       |
// station 1   |   idle                 | receives          |  SIFS 16 |   ACK 28   |
TEST_F(StoryTest, UndisturbedExchange)
{
    Queue(0, 1, 5 * SLOT);
    Queue(0, 1, 5 * SLOT);
    const TRACE trace = Watch(400);
    const std::string acked =
        "At tick 375 station 0 has its ACK and " + Draw(0) + "; 1 packet waits in its queue.";
    const std::string begun =
        "At tick 79 station 0 begins DATA to 1: packet 0 of 0 for 1, retry 0; it "
        "takes 252 us.";
    const std::string waited = "The medium was idle for DIFS from tick 0, and for 5 slots of "
                               "backoff from tick 34.";
    EXPECT_EQ(StoryOf(trace, 0),
              (LINES{begun, waited, "Stations 1, 2 and 3 hear it from end to end.",
                     "At tick 79 stations 2 and 3 set their NAV to 268 ticks.",
                     "At tick 331 station 1 takes packet 0 as new and delivers it.",
                     "At tick 347 station 1 answers with ACK.", acked}));
    EXPECT_EQ(StoryOf(trace, 1),
              (LINES{"At tick 347 station 1 begins ACK to 0; it takes 28 us.",
                     "It answers DATA of 0, which ended at tick 331, after SIFS.",
                     "Stations 0, 2 and 3 hear it from end to end.", acked}));
}

// A line in which 0 and 2 do not hear each other. Both frames meet at 1, and 3 hears one of them.
//
// tick        34        52            286       304       331       349
// station 0   |         DATA          | awaits            | time-out
// station 2             |         DATA          | awaits            | time-out
TEST_F(StoryTest, HiddenCollision)
{
    UseLine();
    Queue(0, 9);
    Queue(2, 0, 2 * SLOT);
    node[2].retry_count = RETRY_LIMIT;
    const TRACE trace = Watch(350);
    const std::string begins = " begins DATA to 1: packet 0 of ";
    const std::string waited = "The medium was idle for DIFS from tick 0, and for 2 slots of "
                               "backoff from tick 34.";
    const std::string hidden = "; their senders are hidden from each other ";
    const std::string later = "at station 1, DATA of 2, which began later" + hidden;
    const std::string earlier = "at station 1, DATA of 0, which began earlier" + hidden;
    EXPECT_EQ(
        StoryOf(trace, 0),
        (LINES{"At tick 34 station 0" + begins + "0 for 9, retry 0; it takes 252 us.",
               "The medium was idle for DIFS from tick 0; no backoff was left.",
               "At station 1 another signal overlaps it.",
               "At tick 52 it meets, " + later + "(hid/phy).",
               "At tick 52 it hits, " + later + "(for that frame hid/pro).",
               "Station 1 does not answer.",
               "At tick 331 no ACK has come: station 0 gives up waiting and " + Draw(0) + "."}));
    EXPECT_EQ(StoryOf(trace, 2),
              (LINES{"At tick 52 station 2" + begins + "2 for 0, retry 7; it takes 252 us.", waited,
                     "Station 3 hears it from end to end; at station 1 another signal overlaps it.",
                     "At tick 52 station 3 sets its NAV to 268 ticks.",
                     "At tick 52 it hits, " + earlier + "(for that frame hid/phy).",
                     "At tick 52 it meets, " + earlier + "(hid/pro).", "Station 1 does not answer.",
                     "At tick 349 no ACK has come: station 2 drops packet 0 and " + Draw(2) +
                         "; its queue is empty."}));
}

// In a line station 1 hands on what station 0 has for 9; a packet that its log holds it does not
// take.
TEST_F(StoryTest, RelayAndRepetition)
{
    UseLine();
    Queue(0, 9);
    const LINES story = StoryOf(Watch(310), 0);
    ASSERT_GE(story.size(), 4U);
    EXPECT_EQ(story[3], "At tick 286 station 1 takes packet 0 as new and queues it to relay it; 1 "
                        "packet waits in its queue.");
}

TEST_F(StoryTest, Repetition)
{
    Queue(0, 1);
    LogFrame(1, node[0].buffer.head);
    const LINES story = StoryOf(Watch(310), 0);
    ASSERT_GE(story.size(), 5U);
    EXPECT_EQ(story[4], "At tick 286 station 1 knows the packet already.");
}

// Stations 0 and 2 begin in tick 34 and sense each other; 4 hears nothing of 0.
TEST_F(StoryTest, CommonStart)
{
    Queue(0, 1);
    Queue(2, 3);
    const LINES story = StoryOf(Watch(340), 0);
    ASSERT_GE(story.size(), 4U);
    EXPECT_EQ(story[2],
              "Station 2 sends meanwhile; at stations 1 and 3 another signal overlaps it.");
    EXPECT_EQ(story[3], "At tick 34 it meets, at station 1, DATA of 2, which began in the same "
                        "tick; their senders sense each other: contention (con).");
}

// DATA of station 0 in the ticks 34 to 285, the ACK in 302 to 329, watched in two parts.
TEST_F(StoryTest, CutByTheWatch)
{
    Queue(0, 1);
    RunTicks(20);
    EXPECT_EQ(StoryOf(Watch(100), 0),
              (LINES{"At tick 34 station 0 begins DATA to 1: packet 0 of 0 for 1, retry 0.",
                     "The watch ends with tick 99, before the frame does: who hears it to its end "
                     "and what comes of it lies behind the watch.",
                     "The medium was idle for DIFS since before the watch; no backoff was left.",
                     "At tick 34 stations 2 and 3 set their NAV to 268 ticks."}));
    EXPECT_EQ(StoryOf(Watch(302), 0),
              (LINES{"At tick 34 already, before the watch, station 0 began DATA to 1: packet 0 of "
                     "0 for 1, retry 0; it takes 252 us.",
                     "How others hear it is not known, as its beginning was not watched.",
                     "At tick 286 station 1 takes packet 0 as new and delivers it.",
                     "Station 0 still waits for ACK when the watch ends: what comes of it lies "
                     "behind the watch."}));
    const LINES ack = StoryOf(Watch(331), 1);
    ASSERT_GE(ack.size(), 2U);
    EXPECT_EQ(ack[1], "What it waited for lies before the watch.");
}

// tick        34    64       80    108       124                  376      392   420
// station 0   | RTS |        | CTS | SIFS    |        DATA         | awaits      |
// stations 2 and 3: 356 ticks from 34 end with tick 389; 312 from 80 with 391; DATA adds none.
TEST_F(StoryTest, RtsExchange)
{
    g_settings.rts_threshold = 0;
    Queue(0, 1);
    Queue(1, 0, 50 * SLOT);
    const TRACE trace = Watch(430);
    const std::string begun =
        "At tick 34 station 0 begins RTS to 1: packet 0 of 0 for 1, retry 0; it "
        "takes 30 us.";
    EXPECT_EQ(
        StoryOf(trace, 0),
        (LINES{begun, "The medium was idle for DIFS from tick 0; no backoff was left.",
               "Stations 1, 2 and 3 hear it from end to end.",
               "At tick 34 stations 2 and 3 set their NAV to 356 ticks.",
               "At tick 80 station 1 answers with CTS.", "At tick 108 station 0 has its CTS."}));
    EXPECT_EQ(StoryOf(trace, 1), (LINES{"At tick 80 station 1 begins CTS to 0; it takes 28 us.",
                                        "It answers RTS of 0, which ended at tick 64, after SIFS.",
                                        "Stations 0, 2 and 3 hear it from end to end.",
                                        "At tick 80 stations 2 and 3 set their NAV to 312 ticks.",
                                        "At tick 108 station 0 has its CTS.",
                                        "At tick 124 station 0 answers with DATA."}));
    const LINES data = StoryOf(trace, 0, 1);
    ASSERT_GE(data.size(), 3U);
    EXPECT_EQ(data[1], "It answers CTS of 1, which ended at tick 108, after SIFS.");
}

// The CTS of station 1 comes where 4 and 5 overlap, unheard by 0 and 1. What is on the air behind
// the overlap counts for it: 28 ticks where a station contends, while an idle one takes it at once.
//
// tick            34    64     80    108   124         286    314       376
// stations 4, 5   |              DATA                  |
// station 0       | RTS |      |           |        DATA                |
// station 1       |            | CTS |     | receives  |
// station 2       |        overlap                     |NAV
// station 3       |        overlap                     |      |NAV
TEST_F(StoryTest, CtsIntoASpoiledReception)
{
    Queue(0, 1);
    node[0].buffer.head.nav_value = RTS_VALUE;
    Queue(1, 0, 50 * SLOT);
    Queue(3, 2, 50 * SLOT);
    Queue(4, 5);
    Queue(5, 4);
    const LINES story = StoryOf(Watch(400), 1);
    ASSERT_GE(story.size(), 5U);
    const std::string late = " sets its NAV to 312 ticks, though it is over: its copy was kept.";
    EXPECT_EQ(story[3], "At tick 287 station 2" + late);
    EXPECT_EQ(story[4], "At tick 314 station 3" + late);
}

// Every NAV is of one frame, and as long as one of its type: 356 ticks for an RTS, 312 for a CTS,
// 268 for DATA, 0 for an ACK. No sentence is left empty or unfinished, whatever happens.
TEST(Stories, NavsAreOfTheirFrames)
{
    for (const SCENE &scene : ChosenScenes()) {
        if (!scene.starts.empty() || (scene.load_kbps < 3000 && scene.sendings.empty())) {
            continue;
        }
        SCOPED_TRACE(scene.name);
        SetUpScene(scene);
        const TRACE trace = Watch(scene.start_tick + 20'000);
        int64_t told = 0;
        for (size_t place = 0; place < trace.frames.size(); ++place) {
            static const char *const lengths[] = {"NAV to 356 ", "NAV to 312 ", "NAV to 268 ", "-"};
            for (const std::string &line : FrameStory(trace, place)) {
                EXPECT_EQ(line.find("  "), std::string::npos) << line;
                EXPECT_EQ(line.back(), '.') << line;
                if (line.find(" NAV to ") != std::string::npos) {
                    const size_t at = line.find(" station");
                    const std::string who = line.substr(at, line.find(" set") - at);
                    told += std::count_if(who.begin(), who.end(),
                                          [](char c) { return c >= '0' && c <= '9'; });
                    EXPECT_TRUE(trace.frames[place].type == FRAME_CTS ||
                                who.find(std::to_string(trace.frames[place].receiver)) ==
                                    std::string::npos)
                        << line;
                    EXPECT_NE(line.find(lengths[trace.frames[place].type]), std::string::npos)
                        << place << ": " << line;
                }
            }
        }
        EXPECT_EQ(told, std::count_if(trace.events.begin(), trace.events.end(), [](const auto &e) {
                      return e.kind == EVENT_NAV && e.value > 0;
                  }));
    }
}

// The number behind a text in a line, 0 if the line has none.
static uint64_t NumberBehind(const std::string &line, const std::string &text)
{
    const size_t at = line.find(text);
    return at == std::string::npos ? 0 : std::stoull("0" + line.substr(at + text.size()));
}

// A wait that was watched whole lasts 34 or 78 ticks, and 9 for each slot of backoff, up to the
// frame. Returns whether the line tells one.
static bool ExpectWholeWait(const std::string &line, const FRAME &frame)
{
    const bool is_difs = line.find(" DIFS from tick ") != std::string::npos;
    const uint64_t begin = NumberBehind(line, is_difs ? "DIFS from tick " : "EIFS from tick ");
    const uint64_t slots = NumberBehind(line, ", and for ");
    if (begin != 0) {
        EXPECT_EQ(begin + (is_difs ? 34 : 78) + slots * 9, frame.begin) << line;
    }
    return begin != 0;
}

// What is told of the answer is so: none is there, or it goes to whom it is due. Returns whether
// the line tells that.
static bool ExpectTrueAnswer(const std::string &line, const TRACE &trace, const FRAME &frame)
{
    const auto is_answered = [&](uint64_t first, uint64_t last) {
        return std::any_of(trace.frames.begin(), trace.frames.end(), [&](const FRAME &other) {
            return other.type == frame.type + 1 && other.sender == frame.receiver &&
                   other.receiver == frame.sender && first <= other.begin && other.begin <= last;
        });
    };
    const bool is_none = line.find(" does not answer") != std::string::npos;
    const bool is_due = line.find(" answers with ") != std::string::npos &&
                        line.find(", but to ") == std::string::npos;
    if (is_none) {
        EXPECT_FALSE(is_answered(frame.end + SIFS, frame.end + SIFS)) << line;
        const uint64_t end = NumberBehind(line, "its NAV runs until tick ");
        EXPECT_TRUE(end == 0 || std::any_of(trace.events.begin(), trace.events.end(),
                                            [&frame, end](const TRACE_EVENT &event) {
                                                return event.kind == EVENT_NAV &&
                                                       event.station == frame.receiver &&
                                                       event.value == 0 && event.tick + 1 == end;
                                            }))
            << line;
    } else if (is_due) {
        EXPECT_TRUE(is_answered(frame.end, frame.end + ANSWER_TIMEOUT)) << line;
    }
    return is_none || is_due;
}

// Where all kinds of frames meet, behind NAVs and with answers that go astray.
TEST(Stories, WaitsAndAnswersAreThoseOfTheTrace)
{
    int waits = 0;
    int answers = 0;
    for (const SCENE &scene : ChosenScenes()) {
        SCOPED_TRACE(scene.name);
        SetUpScene(scene);
        const TRACE trace = Watch(scene.start_tick + 20'000);
        for (size_t place = 0; place < trace.frames.size(); ++place) {
            for (const std::string &line : FrameStory(trace, place)) {
                waits += ExpectWholeWait(line, trace.frames[place]);
                answers += ExpectTrueAnswer(line, trace, trace.frames[place]);
            }
        }
    }
    EXPECT_GT(waits, 0);
    EXPECT_GT(answers, 0);
}
