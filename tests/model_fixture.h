// A network under plain ticking in which nothing happens but what the scene sets up: no arrivals,
// every backoff 0, the measurement window open from tick 0.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "output/accounting.h"
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

    // Runs up to `until`. Tells for each station in which ticks its state has changed and its NAV
    // was raised or has ended, as "34 RDAT, 80 NAV 267, 346 NAV 0".
    static std::vector<std::string> Timeline(uint64_t until, const std::vector<int> &stations)
    {
        std::vector<std::string> lines(stations.size());
        while (g_sim_time < until) {
            const std::string tick = std::to_string(g_sim_time);
            int32_t state[NODE_NUM];
            int32_t nav[NODE_NUM];
            for (int i = 0; i < NODE_NUM; ++i) {
                state[i] = node[i].state;
                nav[i] = node[i].nav;
            }
            RunTicks(g_sim_time + 1);
            for (size_t k = 0; k < stations.size(); ++k) {
                const int i = stations[k];
                const auto add = [&line = lines[k], &tick](const std::string &event) {
                    line.append(line.empty() ? "" : ", ").append(tick).append(" ").append(event);
                };
                if (node[i].state != state[i]) {
                    const std::string name = NodeState(node[i].state);
                    add(name.substr(name.find_first_not_of(' ')));
                }
                if (node[i].nav > nav[i] || (node[i].nav == 0 && nav[i] > 0)) {
                    add("NAV " + std::to_string(node[i].nav));
                }
            }
        }
        return lines;
    }
};

using LINES = std::vector<std::string>;
