#include "channel/activity.h"

#include "driver/station_set.h"

uint32_t g_active = 0;

void CountActivity(uint32_t active, uint64_t ticks)
{
    constexpr uint32_t FIRST_GROUP = 1U << 0 | 1U << 2 | 1U << 6;
    constexpr uint32_t SECOND_GROUP = FIRST_GROUP | 1U << 8; // Kept: station 4 is in neither
    for (const int i : STATION_SET{active}) {
        for (const int j : STATION_SET{active}) {
            trans_con[i][j] += ticks;
        }
    }
    if ((active & FIRST_GROUP) == FIRST_GROUP) {
        temp_trans1 += static_cast<int64_t>(ticks);
    }
    if ((active & SECOND_GROUP) == SECOND_GROUP) {
        temp_trans2 += static_cast<int64_t>(ticks);
    }
}
