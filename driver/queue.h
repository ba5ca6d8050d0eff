// Transmit queue and log of received frames. Both look like the plain arrays of packets that the
// stages address by position, but no operation walks or moves them.
#pragma once

#include <cstdint>

#include "driver/constants.h"

// One frame on the air, its copy at a receiver, or a queued packet.
struct PACKET {
    int32_t type;         // FRAME_TYPE, EMPTY in an empty record
    int32_t nav_value;    // duration value that the frame carries
    int32_t duration;     // ticks after which a contending station takes it for received
    int32_t payload_time; // airtime of the payload, 0 in control frames
    int32_t src;          // station where the packet was created
    int32_t dst;          // station it finally goes to
    int32_t sender;       // station transmitting on this hop
    int32_t receiver;     // station addressed on this hop
    int32_t seq;          // sequence number, counted per `src`
    int32_t corrupt;      // 0 in every frame sent; EMPTY until a frame is copied in
    uint64_t gen_time;    // tick of creation
    uint64_t hop_time;    // tick from which this hop's delay counts
    uint64_t tx_start;    // tick at which the DATA frame was last started
    uint64_t age_base;    // tick of the first access attempt in the window, 0 before
    uint64_t id;          // `gene_num` of the source at creation; not unique

    static constexpr int32_t reserved = 0; // nothing reads it, and it takes no room in the record
};

// A change of `hop_time` that waits for packets behind the head. SetHopTime means all packets with
// an id; a plain array would be walked from end to end for it, all 100,001 places at every
// acknowledged packet, while nothing reads the `hop_time` of a packet before it is served. So the
// change is noted once and made in each of these packets when it becomes the head.
//
//     position      0 (head)    1     2     3                  4 packets; 41 have left the ring,
//     arrival           40     41    42    43                  the head was the last of them
//     id                 7      8     7     9
//
//     SetHopTime(7, 900)        head: at once; noted: {id 7, time 900, before 44}
//     AppendPacket(id 7)        arrival 44
//     RemoveHead                41 is the head: nothing is noted for id 8
//     RemoveHead                42 is the head: id 7, and 42 < 44: hop_time 900
//     RemoveHead twice          44 is the head: id 7, but came behind the change: keeps its own
//
// A second change of the same id takes the place of the first: who still waits for the first is
// meant by the second too, and the last one counts. When the ring runs empty nobody waits for a
// change any more. All are then forgotten at once by counting the queue's epoch up, which leaves
// every entry with an old one.
struct HOP_CHANGE {
    uint64_t id;     // of the packets meant
    uint64_t time;   // their new hop_time
    uint64_t before; // meant are packets with a lower arrival: those that waited at the time
    uint64_t epoch;  // the entry is in use if this is the queue's epoch
};

constexpr int CHANGE_SLOTS = 1 << 17; // table size; half of it is used at most

// The queue: position 0 is the packet being served, the others follow in order of arrival. The
// number of packets is kept beside it in `NODE::buffer_num`.
//
// A plain array that moves up by one at every removal would show the same: what it leaves behind
// above the last packet is written over whole before anything reads it. Position 0 alone is read
// while the queue is empty, and there the packet removed last stays, here as there.
//
// The long arrays lie apart, in memory of the queue's own that is taken at start-up: the fields
// that every tick reads then share few pages.
struct QUEUE {
    PACKET head;
    PACKET *rest;       // ring of positions 1, 2, ...; QUEUE_LIMIT places
    HOP_CHANGE *change; // open addressing by id; CHANGE_SLOTS entries
    int32_t first;      // ring place of position 1
    int32_t change_num; // entries of `change` in use
    uint64_t taken;     // packets that have left the ring: the arrival of position 1
    uint64_t epoch;     // of the entries in `change` now in use; 0 marks unused memory

    // Position `i` of the queue, 0 to QUEUE_LIMIT.
    PACKET &operator[](int i)
    {
        if (i == 0) {
            return head;
        }
        int place = first + i - 1;
        return rest[place < QUEUE_LIMIT ? place : place - QUEUE_LIMIT];
    }
};

// Key of a logged frame. Of a frame in the log only these two are ever read.
struct LOG_ENTRY {
    int32_t src;
    int32_t seq;
};

constexpr int LOG_SLOTS = 1 << 18;

// Log of accepted DATA frames, for the duplicate test. The number of entries that the test covers
// is kept beside it in `NODE::recv_log_num`.
struct FRAME_LOG {
    LOG_ENTRY *entry; // QUEUE_SLOTS entries
    int32_t *place; // open addressing by key: position in `entry` plus 1, 0 when unused; LOG_SLOTS
};

// The long arrays of one station.
struct QUEUE_MEMORY {
    PACKET rest[QUEUE_LIMIT];
    HOP_CHANGE change[CHANGE_SLOTS];
    LOG_ENTRY entry[QUEUE_SLOTS];
    int32_t place[LOG_SLOTS];
};

// Puts an empty record into `packet`. The times except `age_base` and the id stay as they were.
void InitPacket(PACKET *packet);

// Adds `packet` behind the last one of `station` and counts it for its next hop. The caller has
// seen to it that there is room.
void AppendPacket(int station, const PACKET &packet);

// Removes the head packet of `station`; the next one takes its place. The last one leaves a copy
// behind in position 0. Does nothing to an empty queue.
void RemoveHead(int station);

// Sets `hop_time` of every packet with this `id` in the queue of `station`, position 0 of an empty
// queue included.
void SetHopTime(int station, uint64_t id, uint64_t time);

// Empties the queue of `station` and puts an empty record into its head.
void InitQueue(int station);

// Whether a frame with the key of `frame` stands in the log of `station`.
bool HasLogged(int station, const PACKET &frame);

// Logs `frame` at `station`; a full log starts again from its first entry.
void LogFrame(int station, const PACKET &frame);

// Forgets the log of `station`.
void InitLog(int station);
