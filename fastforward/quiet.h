// What a station does while nobody interferes with it: what it counts, and when it is due. The
// rules follow the handlers state by state; a handler and its rule here change together.
#pragma once

#include <algorithm>
#include <cstdint>

#include "channel/channel.h"
#include "driver/state.h"
#include "fastforward/engine.h"
#include "mac/receive.h"
#include "mac/transmit.h"

// What goes up by one in every tick.
enum COUNTS : uint8_t {
    COUNTS_NOTHING,
    COUNTS_IDLE,  // the idle ticks of the medium
    COUNTS_FRAME, // the ticks of the locked frame
};

inline COUNTS CountsOf(const NODE &own)
{
    return IsCountingIdle(own) ? COUNTS_IDLE : IsCountingFrame(own) ? COUNTS_FRAME : COUNTS_NOTHING;
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
inline int32_t FrameDue(const NODE &own, int32_t goal, COUNTS counts)
{
    if (own.rx_flag != 1 || own.rx_error != 0) {
        return NEVER;
    }
    return CountDue(own.rx_count, static_cast<uint64_t>(goal), counts == COUNTS_FRAME);
}

// Ticks until a handler of the station acts by itself, counted from the tick just ended.
inline int32_t HandlerDue(const NODE &own, COUNTS counts)
{
    switch (own.state) {
    case STATE_IDLE: // sends if it may, and reacts at the first clean tick of a frame
        return (own.nav == 0 && own.buffer_num > 0) || HasCleanLock(own) ? 1 : NEVER;
    case STATE_DCW: {
        const uint64_t wait = own.backoff + static_cast<uint64_t>(ContentionWait(own));
        const int32_t access =
            own.nav == 0 ? CountDue(own.idle_count, wait, counts == COUNTS_IDLE) : NEVER;
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
        return std::min(TimerDue(own), CountDue(own.idle_count, SIFS, counts == COUNTS_IDLE));
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

// The transmit stage passes over the station once; `idle_count` is what the stage would see.
inline void PassTransmitStage(NODE &own)
{
    own.tx_elapsed += own.state == STATE_TDAT ? 1 : 0;
    if (own.state == STATE_DCW && own.nav == 0 &&
        own.idle_count > static_cast<uint64_t>(ContentionWait(own))) {
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

// Lets a station live through `ticks` whole ticks in which it counts `counts`. No NAV ends among
// them.
inline void LiveQuietly(NODE &own, COUNTS counts, int32_t ticks)
{
    if (ticks == 0) {
        return;
    }
    if (counts == COUNTS_IDLE) {
        own.idle_count += static_cast<uint64_t>(ticks - 1);
        PassTransmitStage(own); // the last time; earlier ones saw less idle ticks
        ++own.idle_count;
        own.difs_idle_num += own.state == STATE_DCW ? ticks : 0;
    } else {
        own.rx_count += counts == COUNTS_FRAME ? static_cast<uint64_t>(ticks) : 0;
        PassTransmitStage(own);
        own.tx_elapsed += own.state == STATE_TDAT ? ticks - 1 : 0;
        PassReceiveStage(own, ticks);
    }
    own.timer -= std::clamp(own.timer, 0, ticks);
    own.nav -= own.nav > 0 ? ticks : 0;
}
