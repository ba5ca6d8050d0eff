#include "tools/experiment_network.h"

#include <cstring>

#include "driver/state.h"
#include "topology/placement.h"
#include "topology/routing.h"

// Takes settings and stations back, whatever way is left by.
struct BORROWED {
    const SETTINGS before = g_settings;

    BORROWED() = default;
    BORROWED(const BORROWED &) = delete;
    BORROWED &operator=(const BORROWED &) = delete;
    ~BORROWED()
    {
        FreeState();
        g_settings = before;
    }
};

bool WithNetwork(const SETTINGS &settings, const std::function<void()> &look)
{
    const BORROWED model;
    if (!AllocateStations()) {
        return false;
    }
    g_settings = settings;
    for (int i = 0; i < NODE_NUM; ++i) {
        std::memset(node[i].table, EMPTY, sizeof node[i].table);
    }
    PositionAllNode();
    MakeTable();
    look();
    return true;
}
