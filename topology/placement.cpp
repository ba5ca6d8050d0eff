#include "topology/placement.h"

#include <cassert>
#include <cmath>

#include "driver/state.h"
#include "topology/random.h"

void PositionAllNode()
{
    switch (g_settings.layout) {
    case LAYOUT_LINE:
        LinePositionAllNode();
        break;
    case LAYOUT_RANDOM:
        RandPositionAllNode();
        break;
    case LAYOUT_EXPLICIT:
        for (int i = 0; i < NODE_NUM; ++i) {
            node[i].pos_x = g_settings.position_list[i].x;
            node[i].pos_y = g_settings.position_list[i].y;
        }
        break;
    default:
        assert(g_settings.layout == LAYOUT_DESIGN);
        DesignPositionAllNode();
        break;
    }
    CheckConnection();
}

void DesignPositionAllNode()
{
    constexpr double PAIR_DISTANCE_M = 30.0;
    constexpr double ORIGIN_M = 10.0;
    for (int i = 0; i < NODE_NUM; ++i) {
        const int pair = i / 2;
        node[i].pos_x = ORIGIN_M + PAIR_DISTANCE_M * pair;
        node[i].pos_y = ORIGIN_M + i % 2;
    }
}

void LinePositionAllNode()
{
    constexpr double STATION_DISTANCE_M = 30.0;
    constexpr double LINE_Y_M = 10.0;
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].pos_x = STATION_DISTANCE_M * i;
        node[i].pos_y = LINE_Y_M;
    }
}

void RandPositionAllNode()
{
    constexpr double SQUARE_M = 5000.0;
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].pos_x = RandUniform(0.0, SQUARE_M);
        node[i].pos_y = RandUniform(0.0, SQUARE_M);
    }
}

double CalcDistance(int a, int b)
{
    const double dx = std::fabs(node[a].pos_x - node[b].pos_x);
    const double dy = std::fabs(node[a].pos_y - node[b].pos_y);
    return std::sqrt(dy * dy + dx * dx);
}

int CalcConnectOrNot(int a, int b)
{
    return g_settings.transmission_range_m >= CalcDistance(a, b) ? 1 : 0;
}

int CalcInterferenceOrNot(int a, int b)
{
    return g_settings.carrier_sense_range_m >= CalcDistance(a, b) ? 1 : 0;
}

// Enters two stations in each other's lists.
static void Link(int a, int b, int32_t NODE::*num, int32_t (NODE::*list)[NODE_NUM])
{
    (node[a].*list)[(node[a].*num)++] = b;
    (node[b].*list)[(node[b].*num)++] = a;
}

uint32_t g_interference_set[NODE_NUM];

int CheckConnection()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        g_interference_set[i] = 0;
        node[i].connect_num = 0;
        node[i].interference_num = 0;
    }
    int all_connected = 1;
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int j = i + 1; j < NODE_NUM; ++j) {
            if (CalcConnectOrNot(i, j) == 1) {
                Link(i, j, &NODE::connect_num, &NODE::connect_list);
            }
            if (CalcInterferenceOrNot(i, j) == 1) {
                Link(i, j, &NODE::interference_num, &NODE::interference_list);
                g_interference_set[i] |= 1U << j;
                g_interference_set[j] |= 1U << i;
            }
        }
        if (node[i].connect_num < 1) {
            all_connected = 0;
        }
    }
    return all_connected;
}

void TestConnection()
{
}
