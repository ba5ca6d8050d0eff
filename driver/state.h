// The shared state of the model: the large tables, the clock, the parameters of the load point.
// All of it is global and plain; one process runs one simulation at a time. Who includes it has the
// records, constants and settings too.
#pragma once

#include <cstdint>

// IWYU pragma: begin_exports
#include "driver/constants.h"
#include "driver/queue.h"
#include "driver/records.h"
#include "driver/settings.h"
// IWYU pragma: end_exports

extern NODE *node;                   // NODE_RECORDS stations
extern RESULT *result;               // load + 2 load points
extern COL *col[NODE_NUM][NODE_NUM]; // [sender][receiver]: COL_RECORDS rows of collisions
extern COL *dp[NODE_NUM][NODE_NUM];  // the same for frames that had collided before

extern uint64_t g_sim_time; // the clock, ticks since the load point began
extern int32_t g_counter;   // RESULT record that the next load point fills
extern int32_t load;        // RESULT records that `init_parameter` clears

extern int32_t DATA_LENGTH;            // bytes of application data per packet
extern int32_t PACKET_PAYLOAD_LENGTH;  // bytes of one IP packet
extern int32_t DATA_LENGTH2;           // the two lengths of a second packet size,
extern int32_t PACKET_PAYLOAD_LENGTH2; // which is not used: 0
extern int32_t DAT_LENGTH;             // duration value that a DATA frame carries

extern double g_ariv_rate;  // packets per tick and flow
extern double g_ariv_rate2; // the same for the second generator, which nothing calls
extern int32_t g_interval;  // mean ticks between the packets of a flow; INT32_MIN at load 0
extern int32_t g_interval2; // the same for a fixed source of 30 Mbit/s

extern int64_t g_event;     // 1 once a frame or a queue event has happened; nobody reads it
extern uint64_t g_no;       // number of the next transmission within the load point
extern int64_t temp_trans1; // ticks in which stations 0, 2 and 6 were active together
extern int64_t temp_trans2; // the same with station 8
extern int64_t temp_non;    // printed, counted by nobody
extern int64_t g_collision_possible_time; // counted by nobody
extern uint64_t ave_delay[FLOW_NUM];      // end-to-end delays per flow; flow 4 has no sum; window
extern uint64_t ave_delay_2[FLOW_NUM];    // counted by nobody
extern uint64_t check_delay;              // used by nobody
extern int32_t flag_col[NODE_NUM];        // collision flags; only ever cleared
extern int32_t count_cw; // resets of kind RESET_DONE that drew 15 slots, in all load points

// Per ordered pair of stations, at any time: ticks active together, and what station j was doing
// when station i began a DATA frame (X active, Y busy, Z neither).
extern uint64_t trans_con[NODE_NUM][NODE_NUM];
extern uint64_t X_count[NODE_NUM][NODE_NUM];
extern uint64_t Y_count[NODE_NUM][NODE_NUM];
extern uint64_t Z_count[NODE_NUM][NODE_NUM];

// Whether the clock stands inside the measurement window, both ends included.
inline bool InWindow()
{
    return g_settings.window_begin <= g_sim_time && g_sim_time <= g_settings.window_end;
}

// Whether `station` names a station that takes part; EMPTY and out-of-range neighbours do not.
inline bool IsStation(int station)
{
    return station >= 0 && station < NODE_NUM;
}

// The airtimes of the packets of this run.
inline int32_t PayloadSymbols()
{
    return PayloadSymbols(PACKET_PAYLOAD_LENGTH);
}

inline int32_t PayloadTicks()
{
    return PayloadTicks(PACKET_PAYLOAD_LENGTH);
}

inline int32_t DataTicks()
{
    return DataTicks(PACKET_PAYLOAD_LENGTH);
}

// Sets the packet size and the values derived from it. `data_length` is in bytes.
void SetPacketSize(int32_t data_length);

// Takes the memory of the stations and of the collision tables, all zero; tables that stand from an
// earlier run are used again. Returns false when memory is short.
bool AllocateState();

// Takes the memory of the stations alone, without queues and tables: for looking at their network.
// FreeState gives it back.
bool AllocateStations();

// Gives the stations' memory back; the collision tables stay for the next run.
void FreeState();
