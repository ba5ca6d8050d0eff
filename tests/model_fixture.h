// A network under plain ticking in which nothing happens but what the scene sets up: no arrivals,
// every backoff 0, the measurement window open from tick 0.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/wake.h"
#include "topology/placement.h"
#include "topology/random.h"
#include "topology/routing.h"
#include "topology/traffic.h"

// Several fields side by side, to be compared in one line.
template <class... FIELD> std::vector<int64_t> Fields(FIELD... field)
{
    return {static_cast<int64_t>(field)...};
}

class ModelTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        g_settings = {};
        g_settings.window_begin = 0;
        g_plain_ticking = true;
        ResetRandom();
        SetPacketSize(1472);
        SetOfferedLoad(0);
        ASSERT_TRUE(AllocateState());
        StartScene();
    }

    void TearDown() override
    {
        FreeState();
        g_plain_ticking = false;
        g_settings = {};
        ResetRandom();
    }

    static void StartScene()
    {
        StartLoadPoint();
        for (int i = 0; i < NODE_NUM; ++i) {
            node[i].backoff = 0;
        }
        RunTicks(0); // wakes all stations
    }

    // Makes the network a chain in which every station hears its two neighbours only.
    static void UseLine()
    {
        LinePositionAllNode();
        CheckConnection();
        for (int i = 0; i < NODE_NUM; ++i) {
            memset(node[i].table, EMPTY, sizeof node[i].table);
        }
        MakeTable_Line();
    }

    static void Queue(int src, int dst, uint64_t backoff = 0)
    {
        GenePacket(src, dst);
        node[src].backoff = backoff;
    }

    // Runs through `tick` and expects the station to change its state in exactly this tick.
    static void ExpectChange(uint64_t tick, int station, STATE before, STATE after)
    {
        RunTicks(tick);
        EXPECT_EQ(node[station].state, before) << "station " << station << " before " << tick;
        RunTicks(tick + 1);
        EXPECT_EQ(node[station].state, after) << "station " << station << " after " << tick;
    }
};
