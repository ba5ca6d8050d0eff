// The plain records of the model. They live in global arrays and are addressed by station index;
// frames are copied whole. Nothing of one station points to another; only queue and log point to
// their own long arrays.
#pragma once

#include <cstdint>

#include "driver/constants.h"
#include "driver/queue.h"

// A transmission now arriving at a station.
struct SIGNAL {
    int64_t kind;       // FRAME_TYPE
    int64_t receiver;   // station addressed
    int64_t sender;     // station transmitting
    int64_t frame_no;   // number of the transmission within the load point
    int64_t start_time; // tick at which it began
    int64_t end_mark;   // 1 once the frame has been a collision victim here
};

// Collision counters of one class on one link; window only.
struct COL {
    int32_t total;
    int32_t pairing[PAIRING_NUM]; // by COL_PAIRING
    int32_t station[NODE_NUM];    // ROW_COL only: a signal of this station was present
};

// One station. Counters say "window" where they count inside the measurement window only.
struct NODE {
    // Load point: place and neighbours.
    double pos_x;                        // metres
    double pos_y;                        // metres
    int32_t connect_num;                 // stations in transmission range
    int32_t connect_list[NODE_NUM];      // their indices, ascending, EMPTY beyond
    int32_t interference_num;            // stations in carrier-sense range
    int32_t interference_list[NODE_NUM]; // their indices, ascending, EMPTY beyond

    // Frame exchange.
    int32_t state;          // STATE
    int32_t reserved_index; // EMPTY; nothing reads it
    int32_t timer;          // ticks left of the frame on the air or of the answer time-out
    int32_t backoff_slots;  // backoff last drawn, in slots
    int32_t backoff_draws;  // backoffs drawn, the initial one included
    uint64_t backoff;       // ticks of backoff left to count down, a multiple of SLOT
    int32_t nav;            // network allocation vector, ticks left
    uint64_t idle_count;    // idle ticks in a row while waiting DIFS, EIFS, backoff or SIFS
    uint64_t rx_count;      // ticks of the locked frame heard so far
    int32_t cw;             // contention window, slots
    int32_t retry_count;    // retransmissions of the head packet so far
    int32_t signal_num;     // entries in use in `signal_list`

    // Load point: counters of frames and packets.
    uint64_t gene_num;              // arrivals for this flow source, refused ones too; window
    uint64_t tx_num;                // DATA transmissions ended; window
    uint64_t link_tx_num[NODE_NUM]; // the same per next hop; window
    uint64_t rx_dat_num;            // clean DATA received, duplicates too; window
    uint64_t recv_num;              // new DATA accepted; window
    uint64_t reserved_count;        // 0; nothing reads it
    uint64_t recv_from[NODE_NUM];   // the same by the hop's sender; window
    int32_t timeout_num;            // CTS or ACK time-outs; window
    int32_t timeout_hop[NODE_NUM];  // the same by the head packet's next hop; window
    int32_t drop_num;               // packets dropped at the retry limit; window
    int32_t drop_hop[NODE_NUM];     // the same by the next hop of the packet behind; window
    int32_t over_num;               // packets refused by the full queue; window
    double buffer_avg;              // mean queue length: one share per window tick
    int32_t backoff_slot_sum;       // slots drawn by `ResetNode`

    // Load point: routes, queue, log.
    int32_t table[NODE_NUM][NODE_NUM]; // rows of {TABLE_DST, TABLE_NEXT, unused ...}
    int32_t buffer_num;                // packets in the transmit queue
    int32_t buffer_hop_num[NODE_NUM];  // the same per next hop
    int32_t recv_log_num;              // entries of `recv_log` that the duplicate search covers
    PACKET rx_frame;                   // copy of the frame being received
    QUEUE buffer;                      // transmit queue; buffer[0] is the packet being served
    FRAME_LOG recv_log;                // accepted DATA frames

    // Frame and tick: reception and carrier sense.
    int32_t rx_flag;                  // 1: locked to the frame in `rx_frame`
    int32_t busy;                     // 1: carrier sensed
    int32_t rx_error;                 // 1: overlapping signals spoil the reception
    int32_t freeze_flag;              // 1: backoff already frozen in this busy period
    uint64_t packet_seq;              // sequence number of the next packet created here
    int32_t dup_flag;                 // 1 while a duplicate is being handled
    int32_t dup_num;                  // duplicate DATA frames received, at any time
    SIGNAL signal_list[SIGNAL_SLOTS]; // transmissions arriving here, oldest first
    int32_t eifs_flag;                // 1: the next idle wait is EIFS, not DIFS
    int32_t in_backoff;               // 1: past DIFS or EIFS at some time since the last access
    uint64_t last_frame_no;           // number of this station's latest transmission
    int32_t difs_idle_num;            // idle ticks seen while contending
    int32_t tx_elapsed;               // ticks the current DATA frame has been on the air
    int32_t ack_wait_num;             // ticks of the current ACK wait, the first 16
    int32_t ack_wait_over;            // ticks of the current ACK wait beyond these
    uint64_t reserved_sum;            // 0; nothing reads it
    uint64_t access_wait_sum;         // ticks of contention less the backoff; window
    uint64_t tx_time_sum;             // ticks of DATA on the air; window
    uint64_t ack_wait_sum;            // sum of ack_wait_num; window
    uint64_t ack_wait_over_sum;       // sum of ack_wait_over, less 1 or 2 per wait; window
    int32_t col_check_off;            // 1 exempts the station from collisions; always 0 here
    uint64_t hop_delay_sum[NODE_NUM]; // service delays of acknowledged packets per hop; window

    // Load point: time shares, all in ticks, window only.
    uint64_t queue_time;                    // queue not empty; counts double at station 0
    uint64_t queue_hop_time[NODE_NUM];      // packets queued for this neighbour
    uint64_t delay_sum;                     // end-to-end delays of DATA delivered here
    uint64_t send_time;                     // DATA exchange or DIFS
    uint64_t send_hop_time[NODE_NUM];       // DATA exchange, by next hop
    uint64_t busy_time;                     // medium busy or receiving
    uint64_t idle_time;                     // medium idle, backoff included
    uint64_t reserved_hop_sum[NODE_NUM];    // 0; nothing reads it
    uint64_t hop_extra_sum[NODE_NUM];       // never counted: the column it feeds stays 0
    uint64_t hop_extra_sum2[NODE_NUM];      // never counted: the column it feeds stays 0
    uint64_t busy_queue_time;               // busy with a packet queued
    uint64_t busy_queue_hop_time[NODE_NUM]; // the same by next hop
    uint64_t backoff_time;                  // idle while contending beyond DIFS
    uint64_t backoff_hop_time[NODE_NUM];    // the same by next hop
    uint64_t window_ticks;                  // ticks accounted
    uint64_t same_start_num;                // DATA starts that met another one; starts at 1
    uint64_t same_start_hop_num[NODE_NUM];  // the same by next hop, from 0
    int32_t same_start_flag;                // 1: began DATA together with a station in range
    int32_t same_start_count;               // 32-bit twin of same_start_num, from 0

    // Load point: successive acknowledgements; window.
    uint64_t ack_ok_num;       // ACKs received
    int32_t tick_tx_count;     // 1 once the queue has been counted in this tick, 0 behind it
    uint64_t ack_interval_sum; // ticks between successive ones
    uint64_t last_ack_time;    // tick of the last one
};

// Columns of `NODE::table`.
constexpr int TABLE_DST = 0;
constexpr int TABLE_NEXT = 1;

// Results of one load point, each value summed over the trials. The record is flat: one writer
// reads the value just before a table. Links are indexed [sender][receiver]; delays are in ticks,
// rates in Mbit/s, the rest are shares and probabilities. "Spare" and "aux" values are written by
// nobody.
struct RESULT {
    double spare[10];
    double flow_offered_throughput[FLOW_NUM][2]; // [0] offered load, [1] throughput
    double flow_pair_spare[8];
    double flow_delay[FLOW_NUM];
    double flow_aux[FLOW_NUM];
    double link_delay[NODE_NUM][NODE_NUM];
    double link_delay_b[NODE_NUM][NODE_NUM];
    double node_aux[NODE_NUM];
    double link_delay_c[NODE_NUM][NODE_NUM];
    double link_slot_d[NODE_NUM][NODE_NUM];
    double link_throughput[NODE_NUM][NODE_NUM];
    double link_x[NODE_NUM][NODE_NUM];
    double send_ratio[NODE_NUM];
    double busy_ratio[NODE_NUM];
    double busy_queue_share[NODE_NUM];
    double link_busy_queue_share[NODE_NUM][NODE_NUM];
    double idle_ratio[NODE_NUM];
    double link_backoff_share[NODE_NUM][NODE_NUM];
    double link_prob[NODE_NUM][NODE_NUM][7];
    double link_aux[NODE_NUM][NODE_NUM];
    double node_aux2[NODE_NUM];
    double backoff_share[NODE_NUM];
    double link_pair_aux[NODE_NUM][NODE_NUM][2];
    double queue_ratio[NODE_NUM];
    double link_queue_ratio[NODE_NUM][NODE_NUM];
    double drop_ratio[NODE_NUM];
    double spare_last;
};
static_assert(sizeof(RESULT) == 2029 * sizeof(double));
