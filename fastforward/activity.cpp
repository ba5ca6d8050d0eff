#include "fastforward/activity.h"

#include <algorithm>
#include <iterator>

#include "channel/activity.h"
#include "driver/station_set.h"
#include "fastforward/engine.h"

static uint32_t g_entered;                 // the set of the current stretch
static int32_t g_since;                    // its first tick
static uint64_t g_ticks[ALL_STATIONS + 1]; // ticks of the stretches behind, by their sets
int32_t g_lapse[NODE_NUM];
int32_t g_next_lapse = NEVER;

// Ends the stretch in front of `tick` if `active` is another set than its.
static void Extend(uint32_t active, int32_t tick)
{
    if (active != g_entered) {
        g_ticks[g_entered] += static_cast<uint64_t>(tick - g_since);
        g_since = tick;
        g_entered = active;
    }
}

void SetActive(uint32_t active)
{
    Extend(active, Now());
}

void LapseStations()
{
    while (g_next_lapse <= Now()) {
        int32_t next = NEVER;
        for (int i = 0; i < NODE_NUM; ++i) {
            if (g_lapse[i] <= g_next_lapse) {
                Put(g_active, i, false);
                g_lapse[i] = NEVER;
            }
            next = std::min(next, g_lapse[i]);
        }
        Extend(g_active, g_next_lapse);
        g_next_lapse = next;
    }
}

void StartActivity()
{
    std::fill(std::begin(g_ticks), std::end(g_ticks), 0);
    std::fill(std::begin(g_lapse), std::end(g_lapse), NEVER);
    g_next_lapse = NEVER;
    g_since = Now();
    g_entered = g_active;
}

void SettleActivity()
{
    LapseActivity();
    g_ticks[g_entered] += static_cast<uint64_t>(Now() - g_since);
    for (uint32_t active = 0; active <= ALL_STATIONS; ++active) {
        CountActivity(active, g_ticks[active]);
    }
}
