#include "mac/receive.h"

#include "driver/station.h"
#include "driver/visit.h"
#include "mac/timeout.h"

void CheckRxEventAll()
{
    for (const int i : Visited(STAGE_RX)) {
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
