// The thirteen states of a station, and all that follows from a state alone. docs/model.md shows
// the same table.
#pragma once

#include <cassert>
#include <cstdint>

#include "driver/constants.h"

// What a tick of a station counts as.
enum SHARE : uint8_t {
    SHARE_NONE,    // Kept: sending or awaiting RTS, CTS and what follows them counts nowhere
    SHARE_IDLE,    // medium idle, nothing to send
    SHARE_BUSY,    // medium busy, or receiving
    SHARE_DIFS,    // contending, still inside DIFS: counts as sending
    SHARE_BACKOFF, // contending, beyond DIFS: counts as idle
    SHARE_SEND,    // DATA exchange
};

// Which side of a station acts in a state.
enum SIDE : uint8_t {
    SIDE_NONE = 0,
    SIDE_TX = 1,
    SIDE_RX = 2,
    SIDE_BOTH = SIDE_TX | SIDE_RX,
};

struct STATE_ROW {
    const char *label; // five characters, null for a number that names no state
    SIDE side;         // who acts: transmit stage, receive stage
    int8_t sends;      // FRAME_TYPE on the air, EMPTY if none
    int8_t sends_next; // FRAME_TYPE sent after SIFS, EMPTY if none
    int8_t awaits;     // FRAME_TYPE that goes on with the exchange, EMPTY if none
    bool carrier;      // stations in carrier-sense range sense it
    bool active;       // has the medium; a contending station may be active too
    SHARE share;       // what a tick counts as without a carrier
    SHARE share_busy;  // what it counts as under one
};

// Kept: the SIFS in front of an ACK is a carrier (WTACK), that in front of a CTS or DATA is none.
// clang-format off
constexpr STATE_ROW STATE_TABLE[] = {
    {" IDLE", SIDE_BOTH, EMPTY,      EMPTY,      EMPTY,      false, false, SHARE_IDLE,    SHARE_BUSY},
    {" D&CW", SIDE_BOTH, EMPTY,      EMPTY,      EMPTY,      false, false, SHARE_BACKOFF, SHARE_BUSY},
    {" TRTS", SIDE_TX,   FRAME_RTS,  EMPTY,      EMPTY,      true,  false, SHARE_NONE,    SHARE_NONE},
    {"WTCTS", SIDE_TX,   EMPTY,      FRAME_CTS,  EMPTY,      false, false, SHARE_NONE,    SHARE_NONE},
    {" TCTS", SIDE_TX,   FRAME_CTS,  EMPTY,      EMPTY,      true,  false, SHARE_NONE,    SHARE_NONE},
    {"WTDAT", SIDE_TX,   EMPTY,      FRAME_DATA, EMPTY,      false, true,  SHARE_NONE,    SHARE_NONE},
    {" TDAT", SIDE_TX,   FRAME_DATA, EMPTY,      EMPTY,      true,  true,  SHARE_SEND,    SHARE_SEND},
    {"WTACK", SIDE_TX,   EMPTY,      FRAME_ACK,  EMPTY,      true,  false, SHARE_BUSY,    SHARE_BUSY},
    {" TACK", SIDE_TX,   FRAME_ACK,  EMPTY,      EMPTY,      true,  false, SHARE_BUSY,    SHARE_BUSY},
    {nullptr, SIDE_NONE, EMPTY,      EMPTY,      EMPTY,      false, false, SHARE_NONE,    SHARE_NONE},
    {"WRCTS", SIDE_RX,   EMPTY,      EMPTY,      FRAME_CTS,  false, false, SHARE_NONE,    SHARE_NONE},
    {"WRDAT", SIDE_RX,   EMPTY,      EMPTY,      FRAME_DATA, false, false, SHARE_BUSY,    SHARE_BUSY},
    {" RDAT", SIDE_RX,   EMPTY,      EMPTY,      FRAME_DATA, false, false, SHARE_BUSY,    SHARE_BUSY},
    {" RACK", SIDE_RX,   EMPTY,      EMPTY,      FRAME_ACK,  false, true,  SHARE_SEND,    SHARE_SEND},
};
// clang-format on
static_assert(sizeof STATE_TABLE / sizeof *STATE_TABLE == STATE_NUM);

// A set of states, one bit each.
using STATE_SET = uint32_t;

// The states whose row passes the test.
template <class TEST> constexpr STATE_SET StatesThat(TEST test)
{
    STATE_SET set = 0;
    for (int state = 0; state < STATE_NUM; ++state) {
        set |= test(STATE_TABLE[state]) ? STATE_SET{1} << state : 0;
    }
    return set;
}

constexpr STATE_SET ON_AIR = StatesThat([](const STATE_ROW &row) { return row.sends != EMPTY; });
constexpr STATE_SET WITH_CARRIER = StatesThat([](const STATE_ROW &row) { return row.carrier; });
constexpr STATE_SET WITH_MEDIUM = StatesThat([](const STATE_ROW &row) { return row.active; });
// Idle ticks count towards DIFS, EIFS and backoff, or towards SIFS.
constexpr STATE_SET COUNTING_IDLE =
    StatesThat([](const STATE_ROW &row) { return row.sends_next != EMPTY; }) | STATE_SET{1}
                                                                                   << STATE_DCW;

// Whether `state` is one of `set`. A number of STATE_NUM or more names no state and is in no set.
inline bool IsIn(int32_t state, STATE_SET set)
{
    assert(state >= 0 && state < STATE_NUM);
    return static_cast<uint32_t>(state) < STATE_NUM && (set >> state & 1U) != 0;
}
