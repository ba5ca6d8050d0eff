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
//
// The headings give the lifetimes. Tick: means nothing behind the tick. Frame: of the frame, wait
// or reservation that is going on. Load point: from the station's start, `InitNode`, to the next
// one. Run: outlives load points in part, as the heading says.
struct NODE {
    // Load point: place and neighbours.
    double pos_x;                        // metres
    double pos_y;                        // metres
    int32_t connect_num;                 // stations in transmission range
    int32_t connect_list[NODE_NUM];      // their indices, ascending, EMPTY beyond
    int32_t interference_num;            // stations in carrier-sense range
    int32_t interference_list[NODE_NUM]; // their indices, ascending, EMPTY beyond

    // Frame: the step of the exchange.
    int32_t state;          // STATE
    int32_t reserved_index; // EMPTY; nothing reads it
    int32_t timer;          // ticks left of the frame on the air or of the answer time-out

    // Load point: the backoff, which waits through the frames of others.
    int32_t backoff_slots; // backoff last drawn, in slots
    int32_t backoff_draws; // backoffs drawn, the initial one included; at any time
    uint64_t backoff;      // ticks of backoff left to count down, a multiple of SLOT

    // Frame: virtual carrier sense and what is heard.
    int32_t nav;         // network allocation vector, ticks left
    uint64_t idle_count; // idle ticks in a row while waiting DIFS, EIFS, backoff or SIFS
    uint64_t rx_count;   // ticks of the locked frame heard so far

    // Load point: the attempts at the head packet, and the signals of others.
    int32_t cw;          // contention window, slots; CW_MIN again behind an ACK or a drop
    int32_t retry_count; // retransmissions of the head packet so far
    int32_t signal_num;  // entries in use in `signal_list`

    // Load point: counters of frames and packets.
    uint64_t gene_num;              // arrivals for this flow source, refused ones too; window
    uint64_t tx_num;                // DATA transmissions ended; window
    uint64_t link_tx_num[NODE_NUM]; // the same per next hop; window
    uint64_t rx_dat_num;            // clean DATA received, duplicates too; window
    uint64_t recv_num;              // new DATA accepted; window
    uint64_t reserved_count;        // 0; nothing reads it
    uint64_t recv_from[NODE_NUM];   // new DATA accepted by the hop's sender; window
    int32_t timeout_num;            // CTS or ACK time-outs; window
    int32_t timeout_hop[NODE_NUM];  // the same by the head packet's next hop; window
    int32_t drop_num;               // packets dropped at the retry limit; window
    int32_t drop_hop[NODE_NUM];     // the same by the next hop of the packet behind; window
    int32_t over_num;               // packets refused by the full queue; window
    double buffer_avg;              // mean queue length: one share per window tick
    int32_t backoff_slot_sum;       // slots drawn by `ResetNode`; at any time

    // Load point: routes, and how much of queue and log is in use.
    int32_t table[NODE_NUM][NODE_NUM]; // rows of {TABLE_DST, TABLE_NEXT, unused ...}
    int32_t buffer_num;                // packets in the transmit queue
    int32_t buffer_hop_num[NODE_NUM];  // the same per next hop
    int32_t recv_log_num;              // entries of `recv_log` that the duplicate search covers

    // Run: the packet records. A load point begins with empty ones, but what `InitPacket` leaves
    // alone, the times `gen_time`, `hop_time` and `tx_start` and the id, stays from the last one in
    // `rx_frame` and in the head of the queue. The long arrays of queue and log are taken once.
    PACKET rx_frame;    // copy of the frame being received
    QUEUE buffer;       // transmit queue; buffer[0] is the packet being served
    FRAME_LOG recv_log; // accepted DATA frames

    // Frame: lock and carrier sense.
    int32_t rx_flag;     // 1: locked to the frame in `rx_frame`
    int32_t busy;        // 1: carrier sensed
    int32_t rx_error;    // 1: overlapping signals spoil the reception
    int32_t freeze_flag; // 1: backoff already frozen in this busy period

    // Load point: numbers and duplicates.
    uint64_t packet_seq; // sequence number of the next packet created here
    int32_t dup_flag;    // tick: 1 while a duplicate is being handled
    int32_t dup_num;     // duplicate DATA frames received; at any time

    // Frame: signals, and the waits of the exchange.
    SIGNAL signal_list[SIGNAL_SLOTS]; // transmissions arriving here, oldest first
    int32_t eifs_flag;                // 1: the next idle wait is EIFS, not DIFS
    int32_t in_backoff;               // 1: past DIFS or EIFS at some time since the last access
    uint64_t last_frame_no;           // number of this station's latest transmission
    int32_t difs_idle_num;            // idle ticks seen while contending
    int32_t tx_elapsed;               // ticks the current DATA frame has been on the air
    int32_t ack_wait_num;             // ticks of the current ACK wait, the first 16
    int32_t ack_wait_over;            // ticks of the current ACK wait beyond these

    // Load point: sums over exchanges, in ticks, window only.
    uint64_t reserved_sum;            // 0; nothing reads it
    uint64_t access_wait_sum;         // contention less the backoff
    uint64_t tx_time_sum;             // DATA on the air
    uint64_t ack_wait_sum;            // sum of ack_wait_num
    uint64_t ack_wait_over_sum;       // sum of ack_wait_over, less 1 or 2 per wait
    int32_t col_check_off;            // no sum: 1 exempts from collisions; nothing sets it
    uint64_t hop_delay_sum[NODE_NUM]; // service delays of acknowledged packets by next hop

    // Load point: time shares and delays, in ticks, window only.
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

    // Load point: DATA frames begun together with a station in range, counted at any time.
    uint64_t same_start_num;               // starts that met another one; starts at 1
    uint64_t same_start_hop_num[NODE_NUM]; // the same by next hop, from 0
    int32_t same_start_flag;               // tick: 1 from such a start until it is counted
    int32_t same_start_count;              // 32-bit twin of same_start_num, from 0

    // Load point: successive acknowledgements; window.
    uint64_t ack_ok_num;       // ACKs received
    int32_t tick_tx_count;     // tick: 1 once the queue has been counted, 0 behind the tick
    uint64_t ack_interval_sum; // ticks between successive ACKs
    uint64_t last_ack_time;    // tick of the last one
};

// Columns of `NODE::table`.
constexpr int TABLE_DST = 0;
constexpr int TABLE_NEXT = 1;

// Results of one load point, summed over the trials; the files show sum / trials. The record is
// flat: one writer reads the value just before a table. Tables by link are [sender][receiver], and
// only links between neighbours in number are filled; a link on which no DATA transmission ended in
// the window stays 0. A division by 0 leaves inf or -nan. W is the window in ticks.
struct RESULT {
    double spare[10]; // always 0; nothing reads it

    // By flow k, from station 2k to 2k + 1.
    double flow_offered_throughput[FLOW_NUM][2]; // Mbit/s: [0] arrivals at 2k, [1] new DATA at 2k+1
    double flow_pair_spare[8];                   // always 0: the columns behind those of the flows
    double flow_delay[FLOW_NUM]; // ticks from arrival to delivery; 0 for flow 4, which has no sum
    double flow_aux[FLOW_NUM];   // always 0; nothing reads it

    // By link and station: delays and drops.
    double link_delay[NODE_NUM][NODE_NUM];   // ticks: hop delays / new frames accepted
    double link_delay_b[NODE_NUM][NODE_NUM]; // `hop_extra_sum` / the same: 0, or -nan without any
    double node_aux[NODE_NUM];               // always 0, and shown
    double link_delay_c[NODE_NUM][NODE_NUM]; // `hop_extra_sum2`, as link_delay_b
    double link_slot_d[NODE_NUM][NODE_NUM];  // ratio: packets dropped / arrivals; 0 backward
    double link_throughput[NODE_NUM][NODE_NUM]; // Mbit/s of clean DATA at the receiver; not shown

    // By link and station: shares of time.
    double link_x[NODE_NUM][NODE_NUM];                // share of W: DATA exchange
    double send_ratio[NODE_NUM];                      // share of W: DATA exchange and DIFS
    double busy_ratio[NODE_NUM];                      // share of W: medium busy, or receiving
    double busy_queue_share[NODE_NUM];                // share of the busy time: a packet queued
    double link_busy_queue_share[NODE_NUM][NODE_NUM]; // the same, with the head for this hop
    double idle_ratio[NODE_NUM];                      // share of W: medium idle
    double link_backoff_share[NODE_NUM][NODE_NUM]; // share of the idle time: backoff for this hop

    // By link and station: collisions per DATA transmission, queues, packets refused.
    double link_prob[NODE_NUM][NODE_NUM][7];     // by LINK_PROB; can exceed 1
    double link_aux[NODE_NUM][NODE_NUM];         // always 0; nothing reads it
    double node_aux2[NODE_NUM];                  // always 0; nothing reads it
    double backoff_share[NODE_NUM];              // share of the idle time: backoff
    double link_pair_aux[NODE_NUM][NODE_NUM][2]; // always 0; [0] is shown
    double queue_ratio[NODE_NUM];                // share of W: a packet queued; station 0 up to 2
    double link_queue_ratio[NODE_NUM][NODE_NUM]; // share of W: a packet queued for this hop
    double drop_ratio[NODE_NUM]; // ratio: packets refused / arrivals or DATA received; not shown

    double spare_last; // always 0; nothing reads it
};
static_assert(sizeof(RESULT) == 2029 * sizeof(double));
