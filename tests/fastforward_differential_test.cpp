// Fast runs against plain ticking: the whole model state is the same at every checkpoint, on chosen
// scenes and on thousands of random ones, in which the stations may start in any state.
//
// A random scene that differs is reduced before it is reported. DCFSIM_SCENES sets how many are
// run, DCFSIM_FIRST_SCENE the number of the first.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "driver/state.h"
#include "tests/chosen_scenes.h"
#include "tests/random_scene.h"
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

// A pause wakes all stations. What goes wrong in their sleep and is put right when they wake shows
// if the first run from the start ends there.
TEST_P(ChosenScene, PlainEqualsFastInOneGo)
{
    constexpr uint64_t STEP = 3;
    constexpr uint64_t TICKS = 400;
    const SCENE &scene = GetParam();
    for (uint64_t ticks = STEP; ticks <= TICKS; ticks += STEP) {
        const TRIAL trial = {.scene = scene, .ticks = ticks, .pause = 0};
        ASSERT_EQ(Difference(trial, ticks), "") << "tick " << scene.start_tick + ticks;
    }
}

INSTANTIATE_TEST_SUITE_P(All, ChosenScene, testing::ValuesIn(ChosenScenes()),
                         [](const auto &scene) { return scene.param.name; });

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

// With sanitizers a scene takes several times as long, and what they look for shows in fewer.
#ifdef __SANITIZE_ADDRESS__
constexpr uint64_t SCENE_NUM = 6000;
#else
constexpr uint64_t SCENE_NUM = 20'000;
#endif

constexpr uint64_t MERSENNE_EVERY = 8; // one scene in so many draws from the Mersenne Twister

static void CompareScene(uint64_t number)
{
    TRIAL trial = MakeTrial(number);
    trial.scene.generator = number % MERSENNE_EVERY == 0 ? GENERATOR_MERSENNE : GENERATOR_LCG;
    if (!Difference(trial, trial.ticks).empty()) {
        Reduce(trial);
        FAIL() << "tick " << trial.scene.start_tick + trial.ticks - 1 << ": "
               << Difference(trial, trial.ticks) << "\npause after " << trial.pause << "\n"
               << DescribeScene(trial.scene);
    }
    if (IsAccountable(trial)) {
        ExpectPacketsConserved(trial.scene);
        ASSERT_FALSE(testing::Test::HasFailure()) << DescribeScene(trial.scene);
    }
}

TEST(RandomScenes, PlainEqualsFast)
{
    const uint64_t first = NumberFromEnvironment("DCFSIM_FIRST_SCENE", 1);
    const uint64_t scenes = NumberFromEnvironment("DCFSIM_SCENES", SCENE_NUM);
    for (uint64_t number = first; number < first + scenes; ++number) {
        ASSERT_NO_FATAL_FAILURE(CompareScene(number));
    }
    FreeState();
}

// A station relays a record whose duration is 0, as none that is sent has: a contending neighbour
// takes it for received in its first tick.
TEST(RandomScenes, FrameWithoutDuration)
{
    CompareScene(329232);
    FreeState();
}
