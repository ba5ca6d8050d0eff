// Tells an observer, if there is one, what becomes of packets: when it happens, in plain ticking
// and in fast runs alike, in front of the measurement window too, where no counter of the model
// stands. An observer looks on; whatever it does, no later tick may read it.
#pragma once

#include <cstdint>

#include "driver/queue.h"

// What a station does with a packet in the clock's tick.
enum NOTE : int32_t {
    NOTE_ARRIVE,       // created, and queued
    NOTE_RELAY,        // taken from another station for a third one, and queued
    NOTE_REFUSE,       // created, and refused by a full queue
    NOTE_REFUSE_RELAY, // taken from another station, and refused by a full queue
    NOTE_ATTEMPT,      // the head packet's exchange begins, with its RTS or its DATA
    NOTE_COLLIDE,      // its DATA is hit at its receiver, once for each frame that it meets
    NOTE_TIMEOUT,      // the CTS or ACK for it is missing
    NOTE_ACK,          // the head packet is acknowledged and leaves the queue
    NOTE_DROP,         // it is given up and leaves the queue
    NOTE_DELIVER,      // a new packet is at its end
    NOTE_REST,         // no packet: whatever the station was doing is over
};

struct OBSERVER {
    // A load point begins: all stations are fresh and the clock stands at 0.
    void (*begin)(int32_t trial, int32_t load_kbps);
    // `packet` is a queued packet or a frame, to be read at once; any record with NOTE_REST.
    void (*note)(NOTE note, int station, const PACKET &packet);
    // All its ticks have been run.
    void (*end)();
};

extern const OBSERVER *g_observer; // null: nobody looks on

inline void Tell(NOTE note, int station, const PACKET &packet)
{
    if (g_observer != nullptr) {
        g_observer->note(note, station, packet);
    }
}
