// The fixed numbers of the model: timing of the OFDM physical layer, limits of the DCF, sizes of
// the tables. Times are in ticks of 1 us unless the name says otherwise.
#pragma once

#include <cstdint>

constexpr int NODE_NUM = 10;     // stations that take part
constexpr int NODE_RECORDS = 11; // records allocated; the last one is spare, nothing visits it
constexpr int FLOW_NUM = 5;      // flows that the results show: flow k is 2k -> 2k + 1
constexpr int EMPTY = -1;        // an index field that names nothing

// IEEE 802.11-2020 table 17-21 (OFDM PHY, 20 MHz channel)
constexpr int SLOT = 9;
constexpr int SIFS = 16;
constexpr int DIFS = SIFS + 2 * SLOT;
static_assert(DIFS == 34);
constexpr int CW_MIN = 15;     // slots
constexpr int CW_MAX = 1023;   // slots
constexpr int RETRY_LIMIT = 7; // retransmissions of one packet

// Airtimes of the control frames, and the duration values they carry.
constexpr int RTS_TICKS = 30;
constexpr int CTS_TICKS = 28;
constexpr int ACK_TICKS = 28;

constexpr int EIFS = SIFS + ACK_TICKS + DIFS; // wait after a reception that could not be decoded
static_assert(EIFS == 78);
constexpr int ANSWER_TIMEOUT = 45; // longest wait for, or before sending, a CTS, DATA or ACK
constexpr int RTS_NAV_VALUE = 352;
constexpr int CTS_NAV_VALUE = 304;
constexpr int ACK_NAV_VALUE = 28;
constexpr int DATA_DURATION = 28; // what every DATA frame carries in `duration`

constexpr int BITS_PER_BYTE = 8;
constexpr int MAC_FCS_BYTES = 4;       // frame check sequence behind the packet
constexpr int SERVICE_TAIL_BITS = 221; // tail bits, plus 215 to round the division up
constexpr int BITS_PER_SYMBOL = 216;   // 54 Mbit/s
constexpr int SYMBOL = 4;
constexpr int NAV_RTS_SYMBOLS = 33;  // added to the payload's symbols after an overheard RTS
constexpr int NAV_CTS_SYMBOLS = 22;  // the same after a CTS
constexpr int NAV_DATA_SYMBOLS = 11; // the same after a DATA frame
constexpr int PREAMBLE_SYMBOLS = 7;  // preamble and PLCP header, MAC header included

// Symbols of the payload of a packet of `packet_bytes` at 54 Mbit/s, frame check sequence included;
// 56 for 1500 bytes.
constexpr int32_t PayloadSymbols(int32_t packet_bytes)
{
    return ((packet_bytes + MAC_FCS_BYTES) * BITS_PER_BYTE + SERVICE_TAIL_BITS) / BITS_PER_SYMBOL;
}

// Airtime of the payload alone; 224 for 1500 bytes.
constexpr int32_t PayloadTicks(int32_t packet_bytes)
{
    return PayloadSymbols(packet_bytes) * SYMBOL;
}

// Airtime of a DATA frame; 252 for 1500 bytes.
constexpr int32_t DataTicks(int32_t packet_bytes)
{
    return (PayloadSymbols(packet_bytes) + PREAMBLE_SYMBOLS) * SYMBOL;
}

// Ticks of one exchange without backoff: DATA, SIFS, ACK and DIFS; 330 for 1500 bytes.
constexpr int32_t ExchangeTicks(int32_t packet_bytes)
{
    return DataTicks(packet_bytes) + SIFS + ACK_TICKS + DIFS;
}

constexpr int QUEUE_LIMIT = 100000; // packets a transmit queue may hold, and entries of a log
constexpr int QUEUE_SLOTS = QUEUE_LIMIT + 1;
constexpr int SIGNAL_SLOTS = 10;

constexpr double KBPS_PER_MBPS = 1000.0;

// What a station is doing: one number for its sending and its receiving role.
enum STATE : int32_t {
    STATE_IDLE = 0,   // nothing to send
    STATE_DCW = 1,    // contending: DIFS or EIFS, then backoff
    STATE_TRTS = 2,   // RTS on the air
    STATE_WTCTS = 3,  // RTS received, SIFS before the CTS
    STATE_TCTS = 4,   // CTS on the air
    STATE_WTDAT = 5,  // CTS received, SIFS before the DATA
    STATE_TDAT = 6,   // DATA on the air
    STATE_WTACK = 7,  // DATA received, SIFS before the ACK
    STATE_TACK = 8,   // ACK on the air
    STATE_WRCTS = 10, // RTS sent, waiting for the CTS
    STATE_WRDAT = 11, // CTS sent, waiting for the DATA
    STATE_RDAT = 12,  // receiving a DATA frame addressed to this station
    STATE_RACK = 13,  // DATA sent, waiting for the ACK
};
constexpr int STATE_NUM = 14;

enum FRAME_TYPE : int32_t {
    FRAME_RTS = 0,
    FRAME_CTS = 1,
    FRAME_DATA = 2,
    FRAME_ACK = 3,
};

// Why `ResetNode` is called; the order has no meaning.
enum RESET_KIND : int32_t {
    RESET_DONE = 0,   // the frame is finished: acknowledged or dropped
    RESET_RETRY = 1,  // the attempt failed and the frame will be sent again
    RESET_RESUME = 2, // an exchange ended with no new backoff due
    RESET_KEEP = 3,   // as RESET_RESUME, but the receive lock stays
};

// Rows of a collision block.
enum COL_ROW : int32_t {
    ROW_COL = 0,  // every collision of a frame on this link
    ROW_CON = 1,  // the two senders sense each other
    ROW_HID = 2,  // the other sender is hidden from this link's sender
    ROW_PHY = 3,  // hidden, the other frame began later
    ROW_PRO = 4,  // hidden, the other frame began earlier
    ROW_HCON = 5, // hidden, both frames began in the same tick
};
constexpr int COL_ROWS = 6;    // rows that are counted and cleared
constexpr int COL_RECORDS = 7; // rows allocated per link

// Pairings of frame types within a row, victim first.
enum COL_PAIRING : int32_t {
    PAIRING_DD = 0,
    PAIRING_DA = 1,
    PAIRING_AD = 2,
    PAIRING_AA = 3,
};
constexpr int PAIRING_NUM = 4;
