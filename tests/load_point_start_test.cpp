// A load point that begins from what was saved is the one of the whole sweep, in every record.
#include "tools/load_point_start.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "tests/state_compare.h"
#include "topology/random.h"

class LoadPointStart : public testing::TestWithParam<GENERATOR>
{
  protected:
    ~LoadPointStart() override
    {
        FreeState();
        g_settings = SETTINGS();
        ResetRandom();
    }
};

static SNAPSHOT RunLoad(int32_t load_kbps)
{
    SetOfferedLoad(load_kbps);
    StartLoadPoint();
    RunTicks(g_settings.sim_ticks);
    return TakeSnapshot();
}

// With RTS old head records matter; the loads go down, so that much is left behind.
TEST_P(LoadPointStart, IsAllThatReachesIntoALoadPoint)
{
    const std::vector<int32_t> loads = {30000, 4000, 300, 0, 9000};
    g_settings.seed = 3;
    g_settings.generator = GetParam();
    g_settings.rts_threshold = 0;
    g_settings.sim_ticks = 200'000;
    g_settings.window_begin = 20'000;
    g_settings.flow_list[0] = {1, 0, 1};
    SetPacketSize(1472);
    ASSERT_TRUE(AllocateState());
    count_cw = 0;
    RandInitUniform();
    std::vector<std::string> starts;
    std::vector<SNAPSHOT> ends;
    for (const int32_t kbps : loads) {
        starts.push_back(StartText(SaveStart()));
        ends.push_back(RunLoad(kbps));
    }
    for (size_t i = loads.size(); i-- > 0;) {
        FreeState();
        ASSERT_TRUE(AllocateState());
        ResetRandom();
        LOAD_POINT_START start;
        ASSERT_TRUE(ReadStart(starts[i], start));
        RestoreStart(start);
        EXPECT_EQ(FirstDifference(ends[i], RunLoad(loads[i])), "") << "load point " << i;
    }
}

TEST_P(LoadPointStart, RefusesOtherTexts)
{
    LOAD_POINT_START start;
    ASSERT_TRUE(AllocateState());
    std::string text = StartText(SaveStart());
    EXPECT_FALSE(ReadStart(text.substr(1), start));
    text[5] = 'g';
    EXPECT_FALSE(ReadStart(text, start));
}

INSTANTIATE_TEST_SUITE_P(Generators, LoadPointStart,
                         testing::Values(GENERATOR_LCG, GENERATOR_MERSENNE), [](const auto &made) {
                             return made.param == GENERATOR_LCG ? "Lcg" : "Mersenne";
                         });
