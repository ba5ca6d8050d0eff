#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/steady.h"

constexpr int LOAD = 14;

// Quantities of a run in which nothing happened but that flow 2 got `arrived` packets in each
// trial, of which `delivered` were new at its receiver and `dropped` were given up.
static std::vector<double> Packets(double arrived, double delivered, double dropped = 0.0)
{
    std::vector<double> values(Quantities(PublishedForm()).size(), 0.0);
    for (size_t i = 0; i < values.size(); ++i) {
        const QUANTITY &what = Quantities(PublishedForm())[i];
        if (what.file == "node_stat.txt" && what.load_kbps == 1000 * LOAD) {
            const std::string name = what.thing + " " + what.metric;
            values[i] = name == "4 gene"   ? arrived
                        : name == "5 rx1"  ? delivered
                        : name == "4 drop" ? dropped
                                           : 0.0;
        }
    }
    return values;
}

static bool IsSteadyAfter(const std::vector<std::vector<double>> &runs, size_t flow = 2)
{
    BALANCE balance = MakeBalance(PublishedForm().experiment);
    for (const std::vector<double> &run : runs) {
        AddRun(balance, PublishedForm(), run);
    }
    return IsFlowSteady(balance, LOAD, flow);
}

// Two trials of 5000 packets: their number varies by 100, and 350 kept packets are the limit.
TEST(Steady, QueuesThatGrowByMoreThanNoise)
{
    EXPECT_TRUE(IsSteadyAfter({Packets(5000, 5000 - 175)}));
    EXPECT_FALSE(IsSteadyAfter({Packets(5000, 5000 - 176)}));
    EXPECT_TRUE(IsSteadyAfter({Packets(5000, 5000 - 176)}, 1)); // another flow
    EXPECT_TRUE(IsSteadyAfter({Packets(5000, 4000, 1000)}));    // dropped packets wait no more
    EXPECT_TRUE(IsSteadyAfter({Packets(5000, 6000)}));          // more left than came
    // Four runs: the noise is 200, the limit 700. What one of them kept may be chance.
    EXPECT_TRUE(IsSteadyAfter(
        {Packets(5000, 4700), Packets(5000, 5000), Packets(5000, 5100), Packets(5000, 5000)}));
    EXPECT_FALSE(IsSteadyAfter(
        {Packets(5000, 4900), Packets(5000, 4900), Packets(5000, 4900), Packets(5000, 4900)}));
    EXPECT_TRUE(IsSteadyAfter({Packets(0, 0)}));
}

TEST(Steady, WhoBelongsToAFlow)
{
    BALANCE balance = MakeBalance(PublishedForm().experiment);
    AddRun(balance, PublishedForm(),
           Packets(5000, 1000)); // flow 2, of stations 4 and 5, has no steady state
    const struct {
        const char *kind;
        const char *thing;
        bool is_steady;
    } table[] = {{"flow", "2", false},    {"flow", "1", true},     {"station", "4", false},
                 {"station", "5", false}, {"station", "6", true},  {"station", "3", true},
                 {"link", "4->5", false}, {"link", "5->4", false}, {"link", "0->1", true},
                 {"link", "3->4", false}, {"link", "1->2", false}, {"network", "", false},
                 {"pair", "0+1", false},  {"column", "1", false}};
    for (const auto &[kind, thing, is_steady] : table) {
        EXPECT_EQ(IsSteady(balance, PublishedForm(), {"x", 1000 * LOAD, kind, thing, "y", "1"}),
                  is_steady)
            << kind << ' ' << thing;
        EXPECT_TRUE(
            IsSteady(balance, PublishedForm(), {"x", 1000 * LOAD + 1000, kind, thing, "y", "1"}));
    }
}
