// The receive states that end an exchange: DATA accepted and acknowledged, ACK received.
#include <cstdint>

#include "driver/observer.h"
#include "driver/state.h"
#include "driver/station.h"
#include "driver/visit.h"
#include "mac/receive.h"
#include "mac/timeout.h"
#include "output/accounting.h"

// A new frame for this station: the end of its road.
static void Accept(int station)
{
    NODE &own = node[station];
    LogFrame(station, own.rx_frame);
    Tell(NOTE_DELIVER, station, own.rx_frame);
    if (!InWindow()) {
        return;
    }
    // Kept: the frame is left in the first free place of the queue, which stays as long as it is.
    // With an empty queue that is the head, where the next hop and the start time are read.
    Reach(station, STAGE_BUFFER).buffer[own.buffer_num] = own.rx_frame;
    ++own.recv_num;
    if (IsStation(own.rx_frame.sender)) {
        ++own.recv_from[own.rx_frame.sender];
    }
    const uint64_t delay = g_sim_time - own.rx_frame.gen_time;
    own.delay_sum += delay;
    // Kept: the last flow, which ends at station 9, has no sum.
    if (station % 2 == 1 && station < NODE_NUM - 1) {
        ave_delay[station / 2] += delay;
    }
}

// A new frame for another station: queued for the next hop.
static void Relay(int station)
{
    NODE &own = node[station];
    // Kept: under a NAV the end of an overlap leaves the station receiving, so another frame may
    // have come over the one that it took in. An RTS, CTS or ACK has no destination, which is what
    // unused rows say too: no next hop. A DATA frame for others keeps theirs without a route.
    PACKET packet = own.rx_frame;
    packet.sender = station;
    for (const auto &row : own.table) {
        if (row[TABLE_DST] == packet.dst) {
            packet.receiver = row[TABLE_NEXT];
        }
    }
    AppendPacket(station, packet);
    Tell(NOTE_RELAY, station, packet);
    g_event = 1;
    LogFrame(station, own.rx_frame);
    if (InWindow()) {
        ++own.recv_num;
        if (IsStation(own.rx_frame.sender)) {
            ++own.recv_from[own.rx_frame.sender];
        }
    }
}

void RxStateRxDat(int station)
{
    NODE &own = node[station];
    if (own.rx_flag != 1 || own.rx_error != 0 ||
        own.rx_count != static_cast<uint64_t>(DataTicks())) {
        return;
    }
    if (InWindow()) {
        ++own.rx_dat_num;
    }
    if (HasLogged(station, own.rx_frame)) {
        own.dup_flag = 1;
    }
    if (own.dup_flag != 0) {
        ++own.dup_num;
        own.dup_flag = 0;
    } else if (own.rx_frame.dst == station) {
        Accept(station);
    } else if (own.buffer_num >= g_settings.queue_limit) {
        // Kept: acknowledged all the same, and not logged, so that a repetition is not taken for a
        // duplicate.
        if (InWindow()) {
            ++own.over_num;
        }
        Tell(NOTE_REFUSE_RELAY, station, own.rx_frame);
    } else {
        Relay(station);
    }
    own.state = STATE_WTACK;
    own.timer = ANSWER_TIMEOUT;
    own.rx_flag = 0;
    own.eifs_flag = 0;
}

// Adds the ACK wait that ends now to its sums; `less` is taken off the part beyond the first ticks.
static void CountAckWait(NODE &own, int32_t less)
{
    if (InWindow()) {
        own.ack_wait_sum += static_cast<uint64_t>(own.ack_wait_num);
        own.ack_wait_over_sum +=
            static_cast<uint64_t>(static_cast<int64_t>(own.ack_wait_over - less));
    }
}

// Counts the service delay of the acknowledged head packet, and starts that of the next hop.
static void CountHopDelay(int station)
{
    NODE &own = node[station];
    const PACKET &packet = own.buffer[0];
    // Kept: what is acknowledged in front of the window, or not counted below, starts nothing at
    // the next hop: the delay there counts from the hop before, or from the creation of the packet.
    if (!InWindow()) {
        return;
    }
    // Kept: a packet that came to an empty queue under a NAV never got its `age_base`. It is left
    // out of the sum, but not of the packets that the sum is divided by.
    if (static_cast<double>(g_sim_time - packet.age_base) <
            static_cast<double>(g_settings.hop_age_limit) &&
        IsStation(packet.receiver)) {
        own.hop_delay_sum[packet.receiver] += g_sim_time - packet.hop_time;
        // Kept: by the id alone, which every source counts for itself. Packets of the receiver's
        // own and of other sources with the same id start anew, too.
        SetHopTime(packet.receiver, packet.id, g_sim_time);
    }
    delay_write(station);
}

// Takes the acknowledged head packet out of the queue.
static void FinishHead(int station)
{
    NODE &own = node[station];
    if (own.buffer_num > 0) {
        Tell(NOTE_ACK, station, own.buffer.head);
        // Kept: the count is that of the upper or the lower neighbour by index, whoever else the
        // packet went to.
        const int hop = own.buffer[0].receiver == station + 1 ? station + 1 : station - 1;
        // Kept: a hop that is no station, as below station 0, is counted nowhere; in the record the
        // length of the queue stands just before the first of these counts.
        if (IsStation(hop)) {
            --Reach(station, STAGE_BUFFER).buffer_hop_num[hop];
        }
    }
    RemoveHead(station);
}

void RxStateWaitRxAck(int station)
{
    NODE &own = node[station];
    if (own.ack_wait_num >= ACK_WAIT_FIRST) {
        ++own.ack_wait_over;
    } else {
        ++own.ack_wait_num;
    }
    if (own.timer == 0) {
        CountAckWait(own, 2);
        Timeout(station);
        return;
    }
    if (own.rx_flag != 1 || own.rx_error != 0 || own.rx_count != ACK_TICKS ||
        own.rx_frame.corrupt != 0 || own.rx_frame.type != FRAME_ACK ||
        own.rx_frame.receiver != station) {
        return;
    }
    CountAckWait(own, 1); // Kept: one less than after a time-out
    CountHopDelay(station);
    FinishHead(station);
    if (InWindow()) {
        if (own.ack_ok_num != 0) {
            own.ack_interval_sum += g_sim_time - own.last_ack_time;
        }
        own.last_ack_time = g_sim_time;
        ++own.ack_ok_num;
    }
    g_event = 1;
    own.retry_count = 0;
    ResetNode(station, RESET_DONE);
    own.eifs_flag = 0;
}
