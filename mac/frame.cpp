#include "mac/frame.h"

#include <cstdint>

#include "driver/bookkeeping.h"
#include "driver/state.h"
#include "driver/visit.h"
#include "topology/routing.h"

// An RTS, CTS or ACK with all fields but the address and the values of its type.
static PACKET ControlFrame(int sender, int type, int32_t nav_value, int32_t duration)
{
    PACKET frame{};
    InitPacket(&frame);
    frame.type = type;
    frame.nav_value = nav_value;
    frame.duration = duration;
    frame.sender = sender;
    frame.corrupt = 0;
    return frame;
}

// The station that a CTS goes to: as `AnswerHop`, but without the rows whose number stands for a
// neighbour with a spoiled reception.
static int CtsHop(int sender)
{
    const NODE &own = node[sender];
    int next = EMPTY;
    for (int row = 0; row < NODE_NUM; ++row) {
        // Kept: rows are matched with neighbours by position, though the table is not ordered by
        // neighbours; places beyond the neighbours do not exclude their row.
        const int neighbour = own.connect_list[row];
        if (IsStation(neighbour) && node[neighbour].rx_error != 0) {
            continue;
        }
        if (own.table[row][TABLE_NEXT] == own.rx_frame.sender) {
            next = own.table[row][TABLE_NEXT];
        }
    }
    return next;
}

// Gives every station in transmission range its copy of the frame, which was put on the air as one
// of `type`.
static void Deliver(int sender, int type, const PACKET &frame)
{
    const NODE &own = node[sender];
    for (int i = 0; i < own.connect_num; ++i) {
        const int hearer = own.connect_list[i];
        // Kept: a CTS is received even where overlapping signals spoil the reception.
        if (type == FRAME_CTS || node[hearer].rx_error != 1) {
            NODE &other = Reach(hearer, STAGE_RX);
            other.rx_frame = frame;
            other.rx_flag = 1;
        }
    }
}

// Lets every station in carrier-sense range hear the transmission of a frame of `type`.
static void Register(int sender, int type, const PACKET &frame)
{
    const NODE &own = node[sender];
    for (int i = 0; i < own.interference_num; ++i) {
        NODE &other = Reach(own.interference_list[i], STAGE_CHANNEL);
        if (other.signal_num < SIGNAL_SLOTS) {
            other.signal_list[other.signal_num] = {type,
                                                   frame.receiver,
                                                   frame.sender,
                                                   static_cast<int64_t>(g_no),
                                                   static_cast<int64_t>(g_sim_time),
                                                   0};
        }
        ++other.signal_num;
    }
}

// Marks stations in range of each other that began their DATA frames in the same tick.
static void MarkSameStart(int sender)
{
    const NODE &own = node[sender];
    for (int i = 0; i < own.interference_num; ++i) {
        const int other = own.interference_list[i];
        // Kept: the head record of a station that is not sending counts too, and outlives the load
        // point, so an old start time can match.
        if (Look(other).buffer.head.tx_start == own.buffer.head.tx_start) {
            Reach(other, STAGE_FLAG).same_start_flag = 1;
            Reach(sender, STAGE_FLAG).same_start_flag = 1;
        }
    }
}

// Everything that the start of a frame does to the sender and around it. The type is the one that
// was asked for: a relayed record may say another one, that of a frame which came over it while its
// station waited under a NAV.
static void PutOnAir(int sender, FRAME_TYPE type, STATE state, int32_t ticks, const PACKET &frame)
{
    NODE &own = node[sender];
    own.state = state;
    own.timer = ticks;
    own.last_frame_no = g_no;
    Deliver(sender, type, frame);
    Register(sender, type, frame);
    if (type == FRAME_DATA) {
        MarkSameStart(sender);
    }
    ++g_no;
    if (g_no == UINT64_MAX) {
        g_no = 0;
    }
}

void TxPacket(int sender, int type)
{
    const NODE &own = node[sender];
    PACKET frame;
    switch (type) {
    case FRAME_RTS:
        frame = ControlFrame(sender, type, RTS_NAV_VALUE, RTS_TICKS);
        frame.receiver = NextHop(sender, own.buffer.head.dst);
        PutOnAir(sender, FRAME_RTS, STATE_TRTS, RTS_TICKS, frame);
        break;
    case FRAME_CTS:
        frame = ControlFrame(sender, type, CTS_NAV_VALUE, CTS_TICKS);
        frame.receiver = CtsHop(sender);
        PutOnAir(sender, FRAME_CTS, STATE_TCTS, CTS_TICKS, frame);
        break;
    case FRAME_DATA:
        PutOnAir(sender, FRAME_DATA, STATE_TDAT, DataTicks(), own.buffer.head);
        break;
    case FRAME_ACK:
        frame = ControlFrame(sender, type, ACK_NAV_VALUE, ACK_TICKS);
        frame.receiver = AnswerHop(sender, own.rx_frame.sender);
        PutOnAir(sender, FRAME_ACK, STATE_TACK, ACK_TICKS, frame);
        break;
    default:
        break;
    }
}

void WithdrawSignal(int sender)
{
    const NODE &own = node[sender];
    for (int i = 0; i < own.interference_num; ++i) {
        const int hearer = own.interference_list[i];
        NODE &other = Reach(hearer, STAGE_CHANNEL);
        for (int k = 0; k < other.signal_num && k < SIGNAL_SLOTS; ++k) {
            if (other.signal_list[k].frame_no == static_cast<int64_t>(own.last_frame_no)) {
                ArrangeArray(hearer, other.signal_list, k);
            }
        }
        --other.signal_num;
        other.busy = 0;
    }
}
