#include "driver/bookkeeping.h"

#include "driver/state.h"
#include "driver/station.h"
#include "driver/visit.h"

void DecrementTimerAll()
{
    for (const int i : Visited(STAGE_TIMER)) {
        if (node[i].timer > 0) {
            --node[i].timer;
        }
    }
}

void DecrementNavAll()
{
    for (const int i : Visited(STAGE_NAV)) {
        NODE &own = node[i];
        if (own.nav > 0) {
            --own.nav;
            if (own.nav == 0) {
                ResetNode(i, RESET_RESUME);
            }
        }
    }
}

void CountBufferAll()
{
    if (!InWindow()) {
        return;
    }
    for (const int i : Visited(STAGE_BUFFER)) {
        if (node[i].buffer_num > 0) {
            node[i].buffer_avg += node[i].buffer_num / g_settings.window_ticks;
        }
    }
}

void ArrangeArray(int station, SIGNAL *list, int k)
{
    for (; k < node[station].signal_num - 1; ++k) {
        list[k] = list[k + 1];
    }
}
