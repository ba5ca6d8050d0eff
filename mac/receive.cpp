#include "mac/receive.h"

#include "channel/channel.h"
#include "driver/bookkeeping.h"
#include "driver/station.h"
#include "fastforward/engine.h"
#include "mac/timeout.h"

void CheckRxEventAll()
{
    for (const int i : STATION_SET{g_rx_due | g_tx_due}) {
        switch (node[i].state) {
        case STATE_IDLE:
            RxStateIdle(i);
            break;
        case STATE_DCW:
            RxStateWaitDifsAndCw(i);
            break;
        case STATE_WRCTS:
            RxStateWaitRxCts(i);
            break;
        case STATE_WRDAT:
            RxStateWaitRxDat(i);
            break;
        case STATE_RDAT:
            RxStateRxDat(i);
            break;
        case STATE_RACK:
            RxStateWaitRxAck(i);
            break;
        default:
            break; // sending, or about to: the transmit side acts
        }
    }
}

// Whether the station holds an unspoiled lock of a frame.
static bool HasCleanLock(const NODE &own)
{
    return own.rx_flag == 1 && own.rx_error == 0 && own.rx_frame.corrupt == 0;
}

// Ticks until `rx_count` of a locked frame stands at `goal`, as `RxDue` counts them.
static int32_t FrameDue(const NODE &own, int32_t goal, bool counts_frame)
{
    if (own.rx_flag != 1 || own.rx_error != 0) {
        return NEVER;
    }
    return CountDue(own.rx_count, static_cast<uint64_t>(goal), counts_frame);
}

int32_t RxDue(const NODE &own, bool counts_frame)
{
    switch (own.state) {
    case STATE_IDLE:
        return HasCleanLock(own) ? 1 : NEVER;
    case STATE_DCW:
        return FrameDue(own, own.rx_frame.duration, counts_frame);
    case STATE_WRCTS:
        return std::min(TimerDue(own), FrameDue(own, CTS_TICKS, counts_frame));
    case STATE_WRDAT:
        return std::min(TimerDue(own), FrameDue(own, own.rx_frame.duration, counts_frame));
    case STATE_RDAT:
        return FrameDue(own, DataTicks(), counts_frame);
    case STATE_RACK:
        return std::min(TimerDue(own), FrameDue(own, ACK_TICKS, counts_frame));
    default:
        return NEVER;
    }
}

static void ClearLock(NODE &own)
{
    own.rx_flag = 0;
    own.eifs_flag = 0;
}

// What a station that is idle or contending does with a clean frame.
static void ReactToFrame(int station)
{
    NODE &own = node[station];
    const bool addressed = own.rx_frame.receiver == station;
    switch (own.rx_frame.type) {
    case FRAME_RTS:
        ClearLock(own);
        if (addressed) {
            own.state = STATE_WTCTS;
            own.timer = ANSWER_TIMEOUT;
        } else {
            SetNav(station, NAV_RTS);
        }
        break;
    case FRAME_CTS:
        // Kept: a station sets its NAV even for a CTS that is addressed to it.
        ClearLock(own);
        SetNav(station, NAV_CTS);
        break;
    case FRAME_DATA:
        if (addressed) {
            own.state = STATE_RDAT; // keeps the lock: the frame is still to be received
        } else {
            ClearLock(own);
            SetNav(station, NAV_DATA);
        }
        break;
    case FRAME_ACK:
        ClearLock(own);
        break;
    default:
        break;
    }
}

void RxStateIdle(int station)
{
    // Kept: an idle station reacts at the first clean tick of a frame, not at its end as a
    // contending one does.
    if (HasCleanLock(node[station])) {
        ReactToFrame(station);
    }
}

void RxStateWaitDifsAndCw(int station)
{
    const NODE &own = node[station];
    if (HasCleanLock(own) && own.rx_count == static_cast<uint64_t>(own.rx_frame.duration)) {
        ReactToFrame(station);
    }
}

void RxStateWaitRxCts(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        Timeout(station);
        return;
    }
    if (HasCleanLock(own) && own.rx_count == CTS_TICKS && own.rx_frame.type == FRAME_CTS &&
        own.rx_frame.receiver == station) {
        own.state = STATE_WTDAT;
        own.timer = ANSWER_TIMEOUT;
        ClearLock(own);
    }
}

void RxStateWaitRxDat(int station)
{
    NODE &own = node[station];
    if (own.timer == 0) {
        ResetNode(station, RESET_RESUME);
        return;
    }
    if (HasCleanLock(own) && own.rx_count == static_cast<uint64_t>(own.rx_frame.duration) &&
        own.rx_frame.type == FRAME_DATA && own.rx_frame.receiver == station) {
        own.state = STATE_RDAT;
    }
}
