// Placement, routes and arrivals.
#include <numeric>
#include <vector>

#include "tests/model_fixture.h"

using TopologyTest = ModelTest;

static std::vector<int> Neighbours(const int32_t (&list)[NODE_NUM], int num)
{
    return {list, list + num};
}

TEST_F(TopologyTest, NeighbourLists)
{
    const std::vector<int> design[NODE_NUM] = {
        {1, 2, 3},       {0, 2, 3},       {0, 1, 3, 4, 5}, {0, 1, 2, 4, 5}, {2, 3, 5, 6, 7},
        {2, 3, 4, 6, 7}, {4, 5, 7, 8, 9}, {4, 5, 6, 8, 9}, {6, 7, 9},       {6, 7, 8}};
    EXPECT_EQ(CheckConnection(), 1); // once more: the lists are built anew, not doubled
    for (int i = 0; i < NODE_NUM; ++i) {
        EXPECT_EQ(Neighbours(node[i].connect_list, node[i].connect_num), design[i]);
        EXPECT_EQ(Neighbours(node[i].interference_list, node[i].interference_num), design[i]);
    }
    EXPECT_EQ(node[8].pos_x, 130.0);
    EXPECT_EQ(node[9].pos_y, 11.0);
    EXPECT_EQ(CalcDistance(9, 7), 30.0);

    LinePositionAllNode();
    EXPECT_EQ(CheckConnection(), 1);
    for (int i = 0; i < NODE_NUM; ++i) {
        const std::vector<int> chain = i == 0              ? std::vector<int>{1}
                                       : i == NODE_NUM - 1 ? std::vector<int>{8}
                                                           : std::vector<int>{i - 1, i + 1};
        EXPECT_EQ(Neighbours(node[i].connect_list, node[i].connect_num), chain);
    }

    RandPositionAllNode();
    for (int i = 0; i < NODE_NUM; ++i) {
        EXPECT_TRUE(node[i].pos_x > 0 && node[i].pos_x < 5000 && node[i].pos_x != node[i].pos_y);
    }
}

TEST_F(TopologyTest, TheRangeItselfConnects)
{
    LinePositionAllNode();
    node[1].pos_x = 40.0; // 40 m from station 0, 20 m from station 2
    node[3].pos_x = 100.0001;
    g_settings.carrier_sense_range_m = 50.0; // the two lists have tests of their own
    CheckConnection();
    EXPECT_EQ(Neighbours(node[0].connect_list, node[0].connect_num), (std::vector<int>{1}));
    EXPECT_EQ(Neighbours(node[2].connect_list, node[2].connect_num), (std::vector<int>{1}));
    EXPECT_EQ(Neighbours(node[2].interference_list, node[2].interference_num),
              (std::vector<int>{1, 3}));
    node[9].pos_x = 1000.0;
    EXPECT_EQ(CheckConnection(), 0);
}

TEST_F(TopologyTest, Routes)
{
    const struct {
        int station, row, dst, next;
    } design[] = {{4, 5, 5, 5}, {5, 4, 4, 4}, {4, 3, -1, -1}, {0, 1, 1, 1}, {9, 8, 8, 8}};
    for (const auto &c : design) {
        EXPECT_EQ(node[c.station].table[c.row][TABLE_DST], c.dst);
        EXPECT_EQ(node[c.station].table[c.row][TABLE_NEXT], c.next);
    }
    EXPECT_EQ(NextHop(0, 1), 1);
    EXPECT_EQ(NextHop(0, 3), -1);
    EXPECT_EQ(AnswerHop(1, 0), 0);
    EXPECT_EQ(AnswerHop(1, 2), -1);
    node[0].table[7][TABLE_DST] = 1; // of two rows the last one counts
    node[0].table[7][TABLE_NEXT] = 3;
    EXPECT_EQ(NextHop(0, 1), 3);

    UseLine();
    EXPECT_EQ(NextHop(4, 9), 5);
    EXPECT_EQ(NextHop(4, 0), 3);
    EXPECT_EQ(NextHop(9, 9), -1);
    EXPECT_EQ(NextHop(0, 0), -1);
    MakeTable_Rand();
    EXPECT_EQ(NextHop(4, 3), 3);
    EXPECT_EQ(NextHop(4, 5), 5);
}

static uint64_t GeneratedSum()
{
    return std::accumulate(node, node + NODE_NUM, uint64_t{0},
                           [](uint64_t sum, const NODE &n) { return sum + n.gene_num; });
}

TEST_F(TopologyTest, ArrivalsCountInsideTheWindowEvenWhenRefused)
{
    g_settings.window_begin = 10'000'000;
    g_ariv_rate = 0.2; // the test factor of 5 makes it certain
    uint64_t counted = 0;
    for (const uint64_t tick : {9'999'999, 10'000'000, 40'000'000, 40'000'001}) {
        for (const int limit : {0, 10}) {
            SCOPED_TRACE(testing::Message() << tick << " " << limit);
            g_sim_time = tick;
            g_settings.queue_limit = limit;
            int before[NODE_NUM];
            std::transform(node, node + NODE_NUM, before, [](const NODE &n) { return n.over_num; });
            const auto queued = [] {
                return std::accumulate(node, node + NODE_NUM, 0,
                                       [](int sum, const NODE &n) { return sum + n.buffer_num; });
            };
            const int queued_before = queued();
            GenePacketAll();
            const bool inside = tick >= 10'000'000 && tick <= 40'000'000;
            counted += inside ? 1 : 0;
            EXPECT_EQ(GeneratedSum(), counted);
            EXPECT_EQ(queued() - queued_before, limit == 0 ? 0 : 1);
            int refused = 0;
            for (int i = 0; i < NODE_NUM; ++i) {
                refused += node[i].over_num - before[i];
            }
            EXPECT_EQ(refused, inside && limit == 0 ? 1 : 0);
        }
    }
}

TEST_F(TopologyTest, ArrivalRateAndFlows)
{
    for (int i = 0; i < 1000; ++i) {
        GenePacketAll(); // no load
    }
    EXPECT_EQ(GeneratedSum(), 0U);
    g_ariv_rate = 0.2;
    for (int i = 0; i < 5000; ++i) {
        GenePacketAll();
    }
    EXPECT_EQ(GeneratedSum(), 5000U);
    for (int i = 0; i < NODE_NUM; i += 2) {
        EXPECT_NEAR(static_cast<double>(node[i].gene_num), 1000.0, 113.0); // 4 standard deviations
        EXPECT_EQ(node[i].buffer[0].receiver, i + 1);
        EXPECT_EQ(node[i].buffer_hop_num[i + 1], node[i].buffer_num);
        EXPECT_EQ(node[i + 1].buffer_num, 0);
    }

    g_ariv_rate = 0.0;
    g_ariv_rate2 = 1.0;
    UseLine();
    Generic_flow1(5); // never
    Generic_flow2(5); // to station 4, which no row names
    EXPECT_EQ(node[5].gene_num, 1U);
    EXPECT_EQ(node[5].buffer[0].dst, 4);
    EXPECT_EQ(node[5].buffer[0].receiver, -1);
}

TEST_F(TopologyTest, NewPacket)
{
    g_settings.window_begin = 100;
    g_sim_time = 99;
    g_ariv_rate = 0.2;
    GenePacket(2, 3);
    GenePacket(2, 3);
    g_sim_time = 100;
    node[2].gene_num = 5;
    GenePacket(2, 3);
    const PACKET &first = node[2].buffer[0];
    EXPECT_EQ(first.type, FRAME_DATA);
    EXPECT_EQ(first.nav_value, 248);
    EXPECT_EQ(first.duration, 28); // not the airtime
    EXPECT_EQ(first.payload_time, 224);
    EXPECT_EQ(first.src, 2);
    EXPECT_EQ(first.sender, 2);
    EXPECT_EQ(first.corrupt, 0);
    EXPECT_EQ(first.gen_time, 99U);
    EXPECT_EQ(first.hop_time, 99U);
    EXPECT_EQ(first.tx_start + first.age_base, 0U);
    const int64_t ids[] = {0, 0, 5}; // outside the window the id does not move on
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(node[2].buffer[i].seq, i);
        EXPECT_EQ(node[2].buffer[i].id, static_cast<uint64_t>(ids[i]));
    }
}
