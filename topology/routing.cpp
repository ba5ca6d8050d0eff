#include "topology/routing.h"

#include <cassert>
#include <cstdint>

#include "driver/state.h"
#include "output/files.h"
#include "output/print.h"

static void SetRow(int station, int row, int destination, int next)
{
    node[station].table[row][TABLE_DST] = destination;
    node[station].table[row][TABLE_NEXT] = next;
}

void MakeTable()
{
    switch (g_settings.routing) {
    case ROUTING_LINE:
        MakeTable_Line();
        break;
    case ROUTING_NEIGHBOURS:
        MakeTable_Rand();
        break;
    case ROUTING_LIST:
        MakeTable_List();
        break;
    default:
        assert(g_settings.routing == ROUTING_DESIGN);
        MakeTable_Design();
        break;
    }
}

void MakeTable_List()
{
    int row_num[NODE_NUM] = {};
    for (int i = 0; i < g_settings.route_num; ++i) {
        const ROUTE &route = g_settings.route_list[i];
        assert(row_num[route.station] < NODE_NUM);
        SetRow(route.station, row_num[route.station], route.destination, route.next);
        ++row_num[route.station];
    }
}

void MakeTable_Design()
{
    for (int sender = 0; sender < NODE_NUM; sender += 2) {
        const int receiver = sender + 1;
        SetRow(sender, receiver, receiver, receiver);
        SetRow(receiver, sender, sender, sender);
    }
}

void MakeTable_Line()
{
    constexpr int LAST = NODE_NUM - 1;
    for (int i = 0; i < LAST; ++i) {
        SetRow(i, 0, LAST, i + 1);
    }
    for (int i = 1; i <= LAST; ++i) {
        SetRow(i, 1, 0, i - 1);
    }
}

void MakeTable_Rand()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int row = 0; row < node[i].connect_num; ++row) {
            SetRow(i, row, node[i].connect_list[row], node[i].connect_list[row]);
        }
    }
}

void TestTable()
{
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int row = 0; row < NODE_NUM; ++row) {
            Print(g_fp, "node[%2d].table[%2d][DST] = %2d\n", i, row, node[i].table[row][TABLE_DST]);
            Print(g_fp, "node[%2d].table[%2d][NEXT] = %2d\n", i, row,
                  node[i].table[row][TABLE_NEXT]);
        }
    }
}

int NextHop(int station, int destination)
{
    int next = EMPTY;
    for (const auto &row : node[station].table) {
        if (row[TABLE_DST] == destination) {
            next = row[TABLE_NEXT];
        }
    }
    return next;
}

int AnswerHop(int station, int neighbour)
{
    int next = EMPTY;
    for (const auto &row : node[station].table) {
        if (row[TABLE_NEXT] == neighbour) {
            next = row[TABLE_NEXT];
        }
    }
    return next;
}
