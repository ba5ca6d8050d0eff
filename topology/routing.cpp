#include "topology/routing.h"

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
    MakeTable_Design();
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
