// Watches the network tick by tick and tells what happens in it, from nothing but the records
// before and after each tick: the model knows nothing of it and does what it would have done.
//
//     records before | tick | records after        a state that differs: an event of that tick
//
// What holds behind tick t is said of tick t. A frame that begins in tick b and takes T ticks is on
// the air in the ticks b .. b + T - 1 and ends in tick b + T.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/constants.h"

// What a station does: its STATE or, while it contends, what it waits for.
enum PHASE : int32_t {
    PHASE_DEFER = STATE_NUM, // under a carrier or a NAV
    PHASE_DIFS,
    PHASE_EIFS,
    PHASE_BACKOFF,
};
constexpr int PHASE_NUM = PHASE_BACKOFF + 1;

// "RDAT", "DIFS" ...; null for a number that names no phase, STATE_DCW among them.
const char *PhaseName(int phase);

// "DATA" ..., empty for EMPTY.
const char *FrameName(int type);

// What becomes of a frame at a station in transmission range of its sender.
enum OUTCOME : int32_t {
    OUTCOME_CLEAN,   // heard from end to end
    OUTCOME_SPOILED, // overlapped by another one
    OUTCOME_MISSED,  // it began when others overlapped already: the station never locked to it
    OUTCOME_SENDING, // the station sent meanwhile
};
const char *OutcomeName(OUTCOME outcome);

// A frame on the air.
struct FRAME {
    uint64_t begin; // its first tick; may lie before the watch
    uint64_t end;   // the tick behind its last one, UNKNOWN_TICK if the watch ends before
    int32_t type;   // FRAME_TYPE
    int32_t sender;
    int32_t receiver; // EMPTY if nobody is addressed
    int32_t src;      // where the packet comes from, EMPTY for CTS and ACK
    int32_t dst;      // where it goes to
    int32_t seq;      // its number, counted by `src`
    int32_t retry;    // retransmissions of the packet before this one; 0 for CTS and ACK
    uint64_t number;  // of the transmission within the load point
    bool is_begun;    // it began while watched: what others hear of it is known
    uint32_t hearers; // stations in transmission range, one bit each; so are the next three
    uint32_t missed;
    uint32_t spoiled;
    uint32_t deaf; // sent meanwhile
};
constexpr uint64_t UNKNOWN_TICK = UINT64_MAX;

OUTCOME OutcomeOf(const FRAME &frame, int station);

// What an event is; `value` and `extra` mean what is said here, 0 if nothing is. Events of a tick
// stand by station; among those of a station in this order.
enum EVENT_KIND : int32_t {
    EVENT_ARRIVAL,   // a packet was made here; value: its number, extra: packets queued
    EVENT_END,       // the station's frame has ended
    EVENT_TIMEOUT,   // an exchange got stuck; value: FRAME_TYPE that has not come, EMPTY: the SIFS
    EVENT_ACKED,     // the head packet is acknowledged; value: its number, extra: packets queued
    EVENT_DROP,      // it is given up; the same
    EVENT_DELIVER,   // a new packet is at its end; value: its number
    EVENT_RELAY,     // a packet for others is taken; value: its number, extra: packets queued
    EVENT_DUPLICATE, // DATA known already
    EVENT_REFUSED,   // a full queue has refused a packet; only seen in the measurement window
    EVENT_HEAR,      // the end of a frame of another; value: OUTCOME
    EVENT_BEGIN,     // the station's frame begins
    EVENT_OVERLAP,   // value 1: signals begin to overlap here, 0: no more
    EVENT_COLLISION, // a frame for this station is hit; value: the other frame, extra: COL_ROW
    EVENT_BUSY,      // value 1: a carrier is sensed, 0: no more
    EVENT_NAV,       // value: the NAV is raised to so many ticks, this one the first; 0: it is over
    EVENT_BACKOFF,   // value: slots drawn, extra: contention window
    EVENT_FREEZE,    // value: slots left
    EVENT_PHASE,     // value: PHASE
};
const char *EventName(EVENT_KIND kind, int value);

struct TRACE_EVENT {
    uint64_t tick;
    int32_t station;
    EVENT_KIND kind;
    int32_t frame; // its place in TRACE::frames, EMPTY if it is of none
    int32_t retry; // retransmissions of the station's packet, behind the tick
    int32_t value;
    int32_t extra;
};

// What is compared of a station.
struct VIEW {
    int32_t state;
    int32_t phase;
    int32_t timer;
    int32_t nav;
    int32_t busy;
    int32_t rx_error;
    int32_t cw;
    int32_t retry_count;
    int32_t backoff_slots;
    int32_t backoff_draws;
    int32_t backoff;      // ticks left when it was drawn or frozen
    int32_t backoff_left; // ticks left now
    int32_t buffer_num;
    int32_t head_seq;
    int32_t over_num;
    int32_t recv_log_num;
    int32_t logged_src; // of the entry logged last
    int32_t logged_seq;
    int32_t dup_num;
    uint64_t packet_seq;
    uint64_t frame_no;
};

struct TRACE {
    uint64_t from;                   // first tick watched
    uint64_t until;                  // the tick behind the last one
    VIEW first[NODE_NUM];            // the stations before the first tick
    std::vector<FRAME> frames;       // in the order in which they begin
    std::vector<TRACE_EVENT> events; // by tick
};

// Runs the network from the clock's tick up to, not including, `until`, by plain ticking, and
// watches it. Throws std::logic_error if the records have shown fewer frames than were sent.
TRACE Watch(uint64_t until);
