// Placement, routes and arrivals.
#include <algorithm>
#include <numeric>
#include <utility>

#include "tests/model_fixture.h"

using TopologyTest = ModelTest;

static std::vector<int> Connected(int station)
{
    return {node[station].connect_list, node[station].connect_list + node[station].connect_num};
}

static std::vector<int> Interfering(int station)
{
    const NODE &own = node[station];
    return {own.interference_list, own.interference_list + own.interference_num};
}

TEST_F(TopologyTest, NeighbourLists)
{
    const std::vector<int> design[NODE_NUM] = {
        {1, 2, 3},       {0, 2, 3},       {0, 1, 3, 4, 5}, {0, 1, 2, 4, 5}, {2, 3, 5, 6, 7},
        {2, 3, 4, 6, 7}, {4, 5, 7, 8, 9}, {4, 5, 6, 8, 9}, {6, 7, 9},       {6, 7, 8}};
    EXPECT_EQ(CheckConnection(), 1); // once more: the lists are built anew, not doubled
    for (int i = 0; i < NODE_NUM; ++i) {
        EXPECT_EQ(Connected(i), design[i]);
        EXPECT_EQ(Interfering(i), design[i]);
    }
    LinePositionAllNode();
    EXPECT_EQ(CheckConnection(), 1);
    EXPECT_EQ(Connected(0), std::vector<int>{1});
    EXPECT_EQ(Connected(4), (std::vector<int>{3, 5}));

    node[1].pos_x = 40.0; // at the limit itself, and 20 m from station 2
    node[3].pos_x = 100.0001;
    node[4].pos_x = 110.0; // at the limit of carrier sense from station 2, station 5 beyond
    node[5].pos_x = 110.0001;
    node[9].pos_x = 1000.0;
    g_settings.carrier_sense_range_m = 50.0; // the two lists have tests of their own
    EXPECT_EQ(CheckConnection(), 0);
    EXPECT_EQ(Connected(0), std::vector<int>{1});
    EXPECT_EQ(Connected(2), std::vector<int>{1});
    EXPECT_EQ(Interfering(2), (std::vector<int>{1, 3, 4}));
}

TEST_F(TopologyTest, Routes)
{
    EXPECT_EQ(Fields(node[4].table[5][TABLE_DST], node[4].table[5][TABLE_NEXT]), Fields(5, 5));
    EXPECT_EQ(Fields(node[5].table[4][TABLE_DST], node[4].table[3][TABLE_DST]), Fields(4, -1));
    EXPECT_EQ(Fields(NextHop(0, 1), NextHop(0, 3), AnswerHop(1, 0), AnswerHop(1, 2)),
              Fields(1, -1, 0, -1));
    node[0].table[7][TABLE_DST] = 1;
    node[0].table[7][TABLE_NEXT] = 3;
    EXPECT_EQ(NextHop(0, 1), 3); // of two rows the last one counts
    UseLine();
    EXPECT_EQ(Fields(NextHop(4, 9), NextHop(4, 0), NextHop(9, 9), NextHop(0, 0)),
              Fields(5, 3, -1, -1));
    MakeTable_Rand();
    EXPECT_EQ(Fields(NextHop(4, 3), NextHop(4, 5)), Fields(3, 5));
    const ROUTE routes[] = {{4, 9, 6}, {2, 9, 4}, {4, 1, 2}, {4, 9, 7}};
    std::ranges::copy(routes, g_settings.route_list);
    g_settings.route_num = 4;
    g_settings.routing = ROUTING_LIST;
    StartScene();
    EXPECT_EQ(Fields(NextHop(4, 9), NextHop(4, 1), NextHop(2, 9), NextHop(2, 1), NextHop(4, 5)),
              Fields(7, 2, 4, -1, -1));
    EXPECT_EQ(Fields(node[4].table[0][TABLE_NEXT], node[4].table[2][TABLE_NEXT]), Fields(6, 7));
}

// Sum of a field over all stations.
template <class FIELD> static int64_t Sum(FIELD NODE::*field)
{
    return std::accumulate(node, node + NODE_NUM, int64_t{0}, [field](int64_t sum, const NODE &n) {
        return sum + static_cast<int64_t>(n.*field);
    });
}

TEST_F(TopologyTest, Arrivals)
{
    for (int i = 0; i < 1000; ++i) {
        GenePacketAll(); // no load
    }
    EXPECT_EQ(Sum(&NODE::buffer_num), 0);
    g_ariv_rate = 0.2; // the test's factor of 5 makes it certain
    for (int i = 0; i < 5000; ++i) {
        GenePacketAll();
    }
    EXPECT_EQ(Sum(&NODE::gene_num), 5000);
    for (int i = 0; i < NODE_NUM; i += 2) {
        EXPECT_NEAR(node[i].buffer_num, 1000.0, 113.0); // 4 standard deviations
        EXPECT_EQ(node[i].buffer_hop_num[i + 1], node[i].buffer_num);
        EXPECT_EQ(Fields(node[i].buffer[0].dst, node[i + 1].buffer_num), Fields(i + 1, 0));
    }

    const struct {
        uint64_t tick;
        int limit, generated, refused;
    } cases[] = {{9'999'999, 0, 0, 0},  {9'999'999, 9, 0, 0},  {10'000'000, 0, 1, 1},
                 {10'000'000, 9, 1, 0}, {40'000'000, 0, 1, 1}, {40'000'001, 0, 0, 0}};
    for (const auto &c : cases) {
        StartScene();
        g_settings.window_begin = 10'000'000;
        g_sim_time = c.tick;
        g_settings.queue_limit = c.limit;
        GenePacketAll();
        EXPECT_EQ(Fields(Sum(&NODE::gene_num), Sum(&NODE::over_num), Sum(&NODE::buffer_num)),
                  Fields(c.generated, c.refused, c.limit == 0 ? 0 : 1));
    }

    StartScene();
    g_settings = {};
    g_settings.queue_limit = 3;
    g_sim_time = 20'000'000;
    for (int i = 0; i < 5; ++i) {
        GenePacket(2, 3);
    }
    EXPECT_EQ(Fields(node[2].buffer_num, node[2].over_num, node[2].packet_seq), Fields(3, 2, 3));
    g_ariv_rate = 0.0;
    g_ariv_rate2 = 1.0;
    Generic_flow1(5); // never
    Generic_flow2(5);
    EXPECT_EQ(Fields(node[5].gene_num, node[5].buffer[0].receiver), Fields(1, 4));
    std::swap(g_ariv_rate, g_ariv_rate2);
    Generic_flow2(4);
    Generic_flow1(4);
    EXPECT_EQ(Fields(node[4].gene_num, node[4].buffer_num, node[4].buffer[0].receiver),
              Fields(1, 1, 5));
    g_sim_time = 40'000'001; // behind the window
    Generic_flow1(4);
    EXPECT_EQ(Fields(node[4].gene_num, node[4].buffer_num), Fields(1, 2));
}

// Makes every coming draw of RandUniform(0, 1) this one, at least for a few.
static void FixDraws(double draw)
{
    const auto raw = static_cast<int64_t>(draw / RAND_SCALE);
    std::ranges::fill(g_shuffle.iv, raw);
    g_shuffle.iy = (raw / RAND_DIVISOR + 1) % RAND_TABLE_NUM * RAND_DIVISOR + 1; // another place
    idum = 1;
}

// Weights 2, 1 and 3: six shares, of which the flows own 0 and 1, 2, and 3 to 5.
TEST_F(TopologyTest, SharesOfAFlow)
{
    const FLOW flows[] = {{0, 1, 2}, {7, 6, 1}, {4, 3, 3}};
    std::ranges::copy(flows, g_settings.flow_list);
    g_settings.flow_num = 3;
    ShareArrivals();
    g_ariv_rate = 1.0 / 6.0;
    EXPECT_EQ(ArrivalProbability(), 1.0);
    const int owner[] = {0, 0, 1, 2, 2, 2};
    for (int share = 0; share < 6; ++share) {
        for (const double place : {0.0001, 0.9999}) { // just inside both ends of the share
            StartScene();
            ShareArrivals();
            FixDraws((share + place) / 6.0);
            GenePacketAll();
            const FLOW &flow = flows[owner[share]];
            EXPECT_EQ(Fields(Sum(&NODE::buffer_num), node[flow.from].buffer_num,
                             node[flow.from].buffer[0].dst),
                      Fields(1, 1, flow.to))
                << share << " " << place;
        }
    }
}

TEST_F(TopologyTest, NewPacket)
{
    g_settings.window_begin = 100;
    g_sim_time = 99;
    Queue(2, 3);
    Queue(2, 3);
    g_sim_time = 100;
    node[2].gene_num = 5;
    Queue(2, 3);
    const PACKET &p = node[2].buffer[0];
    EXPECT_EQ(Fields(p.type, p.src, p.dst, p.sender, p.receiver, p.corrupt),
              Fields(FRAME_DATA, 2, 3, 2, 3, 0));
    EXPECT_EQ(Fields(p.nav_value, p.duration, p.payload_time), Fields(248, 28, 224));
    EXPECT_EQ(Fields(p.gen_time, p.hop_time, p.tx_start, p.age_base), Fields(99, 99, 0, 0));
    QUEUE &queue = node[2].buffer;
    EXPECT_EQ(Fields(queue[0].seq, queue[1].seq, queue[2].seq), Fields(0, 1, 2));
    // Outside the window the id does not move on.
    EXPECT_EQ(Fields(queue[0].id, queue[1].id, queue[2].id), Fields(0, 0, 5));
}
