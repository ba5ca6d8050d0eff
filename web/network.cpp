#include "web/network.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <nlohmann/json.hpp>

#include "driver/state.h"
#include "driver/station_set.h"
#include "topology/routing.h"

using nlohmann::json;

static std::vector<int32_t> Received(int station)
{
    const NODE &own = node[station];
    return {own.connect_list, own.connect_list + own.connect_num};
}

static std::vector<int32_t> Sensed(int station)
{
    const NODE &own = node[station];
    return {own.interference_list, own.interference_list + own.interference_num};
}

static bool Holds(const std::vector<int32_t> &list, int station)
{
    return std::find(list.begin(), list.end(), station) != list.end();
}

// The stations from end to end; the routes have been followed before.
static std::vector<int32_t> PathOf(const FLOW &flow)
{
    std::vector<int32_t> path = {flow.from};
    while (path.back() != flow.to) {
        path.push_back(NextHop(path.back(), flow.to));
    }
    return path;
}

// Who is not sensed by a sender, but heard at one of its receivers.
static json HiddenFrom(int sender, uint32_t receivers)
{
    json hidden = json::array();
    const std::vector<int32_t> sensed = Sensed(sender);
    for (int other = 0; other < NODE_NUM; ++other) {
        for (const int receiver : STATION_SET{receivers}) {
            const bool is_heard =
                Holds(Sensed(receiver), other) || Holds(Received(receiver), other);
            if (other != sender && other != receiver && is_heard && !Holds(sensed, other)) {
                hidden.push_back({other, receiver});
            }
        }
    }
    return hidden;
}

json DescribeNetwork()
{
    uint32_t receivers_of[NODE_NUM] = {};
    json paths = json::array();
    for (int32_t k = 0; k < g_settings.flow_num; ++k) {
        const std::vector<int32_t> path = PathOf(g_settings.flow_list[k]);
        for (size_t hop = 0; hop + 1 < path.size(); ++hop) {
            Put(receivers_of[path[hop]], path[hop + 1], true);
        }
        paths.push_back(path);
    }
    json stations = json::array();
    json receives = json::array();
    json senses = json::array();
    json hidden = json::array();
    for (int i = 0; i < NODE_NUM; ++i) {
        stations.push_back({node[i].pos_x, node[i].pos_y});
        receives.push_back(Received(i));
        senses.push_back(Sensed(i));
        hidden.push_back(HiddenFrom(i, receivers_of[i]));
    }
    return {{"stations", stations},
            {"receives", receives},
            {"senses", senses},
            {"paths", paths},
            {"hidden", hidden}};
}
