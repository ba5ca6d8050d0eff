#include "driver/queue.h"

#include <cassert>
#include <cstring>

#include "driver/state.h"
#include "driver/visit.h"

void InitPacket(PACKET *packet)
{
    packet->type = EMPTY;
    packet->nav_value = 0;
    packet->duration = 0;
    packet->payload_time = 0;
    packet->src = EMPTY;
    packet->dst = EMPTY;
    packet->sender = EMPTY;
    packet->receiver = EMPTY;
    packet->seq = EMPTY;
    packet->corrupt = EMPTY;
    packet->age_base = 0;
}

void AppendPacket(int station, const PACKET &packet)
{
    NODE &own = Reach(station, STAGE_BUFFER);
    assert(own.buffer_num < QUEUE_SLOTS);
    own.buffer[own.buffer_num] = packet;
    ++own.buffer_num;
    // Kept: without a next hop it is in the length alone, which stands in front of these counts.
    if (IsStation(packet.receiver)) {
        ++own.buffer_hop_num[packet.receiver];
    }
}

// Where the changes for packets with this `id` stand in the table of `queue`, or would stand.
static HOP_CHANGE &ChangeOf(QUEUE &queue, uint64_t id)
{
    uint64_t slot = id % CHANGE_SLOTS;
    while (queue.change[slot].epoch == queue.epoch && queue.change[slot].id != id) {
        slot = (slot + 1) % CHANGE_SLOTS;
    }
    return queue.change[slot];
}

// Forgets all waiting changes: no packet they were meant for is in the ring any more.
static void ForgetChanges(QUEUE &queue)
{
    ++queue.epoch;
    queue.change_num = 0;
}

// Makes the change that waits for `packet`, if one does; it was the `arrival`-th in the ring.
static void MakeChange(QUEUE &queue, PACKET &packet, uint64_t arrival)
{
    const HOP_CHANGE &change = ChangeOf(queue, packet.id);
    if (change.epoch == queue.epoch && arrival < change.before) {
        packet.hop_time = change.time;
    }
}

void RemoveHead(int station)
{
    NODE &own = Reach(station, STAGE_BUFFER);
    int32_t &buffer_num = own.buffer_num;
    QUEUE &queue = own.buffer;
    if (buffer_num > 0) {
        --buffer_num;
    }
    if (buffer_num == 0) {
        return;
    }
    queue.head = queue.rest[queue.first];
    if (queue.change_num > 0) {
        MakeChange(queue, queue.head, queue.taken);
    }
    ++queue.taken;
    ++queue.first;
    // An empty ring starts again at its first place, so that a short queue stays in few pages.
    if (queue.first == QUEUE_LIMIT || buffer_num == 1) {
        queue.first = 0;
    }
    if (buffer_num == 1 && queue.change_num > 0) {
        ForgetChanges(queue);
    }
}

void SetHopTime(int station, uint64_t id, uint64_t time)
{
    QUEUE &queue = node[station].buffer;
    if (queue.head.id == id) {
        queue.head.hop_time = time;
    }
    const int waiting = node[station].buffer_num - 1;
    if (waiting <= 0) {
        return;
    }
    if (queue.change_num == CHANGE_SLOTS / 2) {
        // The table is full: they are made now, which is paid for by all that did not have to be.
        for (int i = 0; i < waiting; ++i) {
            MakeChange(queue, queue[i + 1], queue.taken + static_cast<uint64_t>(i));
        }
        ForgetChanges(queue);
    }
    HOP_CHANGE &change = ChangeOf(queue, id);
    if (change.epoch != queue.epoch) {
        ++queue.change_num;
    }
    change = {id, time, queue.taken + static_cast<uint64_t>(waiting), queue.epoch};
}

void InitQueue(int station)
{
    NODE &own = node[station];
    own.buffer_num = 0;
    own.buffer.first = 0;
    InitPacket(&own.buffer.head);
    ForgetChanges(own.buffer);
}

// The entry of `log` for this key, or the unused one where it would be put. Keys of one source
// follow each other, so they fill neighbouring places.
static int32_t &LogPlace(FRAME_LOG &log, int32_t src, int32_t seq)
{
    constexpr uint32_t SPREAD = 0x9E3779B1U; // odd: tells the sources apart
    uint32_t slot = static_cast<uint32_t>(seq) + static_cast<uint32_t>(src) * SPREAD;
    for (;; ++slot) {
        int32_t &place = log.place[slot % LOG_SLOTS];
        if (place == 0) {
            return place;
        }
        const LOG_ENTRY &entry = log.entry[place - 1];
        if (entry.src == src && entry.seq == seq) {
            return place;
        }
    }
}

bool HasLogged(int station, const PACKET &frame)
{
    return node[station].recv_log_num > 0 &&
           LogPlace(node[station].recv_log, frame.src, frame.seq) != 0;
}

void LogFrame(int station, const PACKET &frame)
{
    NODE &own = Reach(station, STAGE_BUFFER);
    if (own.recv_log_num >= g_settings.log_limit) {
        InitLog(station); // the test covers what is logged from here on
    }
    own.recv_log.entry[own.recv_log_num] = {frame.src, frame.seq};
    ++own.recv_log_num;
    LogPlace(own.recv_log, frame.src, frame.seq) = own.recv_log_num;
}

void InitLog(int station)
{
    if (node[station].recv_log_num > 0) {
        std::memset(node[station].recv_log.place, 0, sizeof QUEUE_MEMORY::place);
    }
    node[station].recv_log_num = 0;
}
