// What a station does while nobody interferes with it: what it counts, and when it is due. The
// rules follow the handlers state by state; a handler and its rule here change together.
#pragma once

#include <algorithm>
#include <cstdint>

#include "channel/channel.h"
#include "driver/state.h"
#include "driver/station.h"
#include "fastforward/engine.h"
#include "mac/receive.h"
#include "mac/transmit.h"

// What goes up by one in every tick, one bit each.
constexpr uint32_t COUNTS_IDLE = 1U << 0;  // the idle ticks of the medium
constexpr uint32_t COUNTS_FRAME = 1U << 1; // the ticks of the locked frame
constexpr uint32_t COUNTS_SENT = 1U
                                 << 2; // the ticks of a DATA frame on the air, or of its ACK wait

inline uint32_t CountsOf(const NODE &own)
{
    if (IsCountingIdle(own)) {
        return COUNTS_IDLE;
    }
    const bool sends = own.state == STATE_TDAT || own.state == STATE_RACK;
    return (IsCountingFrame(own) ? COUNTS_FRAME : 0) | (sends ? COUNTS_SENT : 0);
}

// Ticks until a handler finds the timer at 0, counted from the tick just ended.
inline int32_t TimerDue(const NODE &own)
{
    return own.timer > 0 ? own.timer + 1 : 1;
}

// Ticks until a handler finds `count` at `goal`, counted from the tick just ended.
inline int32_t CountDue(uint64_t count, uint64_t goal, bool counting)
{
    const uint64_t left = goal - count; // wraps to a large number beyond the goal
    const bool comes = left == 0 || (counting && left < static_cast<uint64_t>(NEVER));
    return comes ? static_cast<int32_t>(left) + 1 : NEVER;
}

// The same for the ticks of a locked frame.
inline int32_t FrameDue(const NODE &own, int32_t goal, uint32_t counts)
{
    if (own.rx_flag != 1 || own.rx_error != 0) {
        return NEVER;
    }
    return CountDue(own.rx_count, static_cast<uint64_t>(goal), (counts & COUNTS_FRAME) != 0);
}

// Ticks until a handler of the station acts by itself, counted from the tick just ended.
inline int32_t HandlerDue(const NODE &own, uint32_t counts)
{
    switch (own.state) {
    case STATE_IDLE: // sends if it may, and reacts at the first clean tick of a frame
        return (own.nav == 0 && own.buffer_num > 0) || HasCleanLock(own) ? 1 : NEVER;
    case STATE_DCW: {
        const uint64_t wait = own.backoff + static_cast<uint64_t>(ContentionWait(own));
        const int32_t access =
            own.nav == 0 ? CountDue(own.idle_count, wait, (counts & COUNTS_IDLE) != 0) : NEVER;
        return std::min(access, FrameDue(own, own.rx_frame.duration, counts));
    }
    case STATE_TRTS:
    case STATE_TCTS:
    case STATE_TDAT:
    case STATE_TACK:
        return TimerDue(own);
    case STATE_WTCTS:
    case STATE_WTDAT:
    case STATE_WTACK:
        return std::min(TimerDue(own), CountDue(own.idle_count, SIFS, (counts & COUNTS_IDLE) != 0));
    case STATE_WRCTS:
        return std::min(TimerDue(own), FrameDue(own, CTS_TICKS, counts));
    case STATE_WRDAT:
        return std::min(TimerDue(own), FrameDue(own, own.rx_frame.duration, counts));
    case STATE_RDAT:
        return FrameDue(own, DataTicks(), counts);
    case STATE_RACK:
        return std::min(TimerDue(own), FrameDue(own, ACK_TICKS, counts));
    default:
        return NEVER;
    }
}

// Whether a contending station waits for a carrier to end, with a packet and a backoff to count.
// One whose backoff has wrapped may find it over under a carrier.
inline bool IsHeldUp(const NODE &own)
{
    return own.state == STATE_DCW && own.busy == 1 && own.buffer_num > 0 &&
           own.backoff <= static_cast<uint64_t>(NEVER);
}

// The transmit stage passes over a station that counts `counts`.
inline void PassTransmitStage(NODE &own, uint32_t counts)
{
    if ((counts & COUNTS_SENT) != 0) {
        own.tx_elapsed += own.state == STATE_TDAT ? 1 : 0;
    } else if (own.idle_count > static_cast<uint64_t>(ContentionWait(own)) &&
               own.state == STATE_DCW && own.nav == 0) {
        own.in_backoff = 1;
    }
}

// The receive stage passes over the station `ticks` times.
inline void PassReceiveStage(NODE &own, int32_t ticks)
{
    if (own.state == STATE_RACK) {
        const int32_t first = std::clamp(ACK_WAIT_FIRST - own.ack_wait_num, 0, ticks);
        own.ack_wait_num += first;
        own.ack_wait_over += ticks - first;
    }
}

// Whether a station has nothing to do but to wait for others: no lock, no timer; idle without a
// packet, or contending under a carrier with a backoff to count. It counts nothing but its NAV.
inline bool OnlyWaits(const NODE &own)
{
    if (own.rx_flag != 0 || own.timer > 0) {
        return false;
    }
    return own.state == STATE_IDLE ? own.buffer_num == 0 : IsHeldUp(own);
}

// Whether the end of the NAV of a station changes nothing that anybody can tell before the station
// is reached: it stays idle, or held up.
inline bool EndsNavUnnoticed(const NODE &own)
{
    return own.state == STATE_IDLE ? own.buffer_num == 0 : IsHeldUp(own);
}

// Lets a station live through `ticks` whole ticks in which it counts `counts` and no NAV ends.
inline void LiveQuietly(NODE &own, uint32_t counts, int32_t ticks)
{
    if (ticks == 0) {
        return;
    }
    if ((counts & COUNTS_IDLE) != 0) {
        own.idle_count += static_cast<uint64_t>(ticks - 1);
        PassTransmitStage(own, counts); // the last time; earlier ones saw less idle ticks
        ++own.idle_count;
        own.difs_idle_num += own.state == STATE_DCW ? ticks : 0;
    } else {
        PassTransmitStage(own, counts);
        own.rx_count += (counts & COUNTS_FRAME) != 0 ? static_cast<uint64_t>(ticks) : 0;
        if ((counts & COUNTS_SENT) != 0) {
            own.tx_elapsed += own.state == STATE_TDAT ? ticks - 1 : 0;
            PassReceiveStage(own, ticks);
        }
    }
    own.timer -= std::clamp(own.timer, 0, ticks);
    own.nav -= own.nav > 0 ? ticks : 0;
}

// The same where the NAV ends among the ticks, unnoticed. The lock goes with it, and under a
// carrier the next tick without lock and NAV calls for an EIFS.
inline void LivePastNav(int station, uint32_t counts, int32_t ticks)
{
    NODE &own = node[station];
    const int32_t behind = ticks - own.nav;
    LiveQuietly(own, counts, own.nav);
    ResetNode(station, RESET_RESUME);
    if (own.busy == 1 && behind > 0) {
        own.eifs_flag = 1;
    }
}
