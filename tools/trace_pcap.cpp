// A trace as a packet capture: the frames as IEEE 802.11 has them on the air, with what a radio
// tells of them in front.
//
//     radiotap 14 | MAC header 24 | LLC 8 | IP 20 | UDP 8 | data | FCS 4       DATA
//     radiotap 14 | control frame 10 or 16                       | FCS 4       RTS, CTS, ACK
//
// Multi-byte fields are little-endian up to the MAC header, big-endian from the LLC header on.
#include <array>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include <pcap/pcap.h>
#include <unistd.h>

#include "driver/state.h"
#include "driver/station_set.h"
#include "tools/trace_forms.h"
#include "tools/trace_spans.h"

using BYTES = std::vector<uint8_t>;

constexpr size_t CRC_TABLE_NUM = 256;

static void AddLittle(BYTES &bytes, uint32_t value, int num)
{
    for (int i = 0; i < num; ++i) {
        bytes.push_back(static_cast<uint8_t>(value >> (BITS_PER_BYTE * i)));
    }
}

static void AddBig(BYTES &bytes, uint32_t value, int num)
{
    for (int i = num - 1; i >= 0; --i) {
        bytes.push_back(static_cast<uint8_t>(value >> (BITS_PER_BYTE * i)));
    }
}

// Flags, rate and channel, in the order of their bits in the mask of what is present.
static void AddRadiotap(BYTES &bytes, int type, bool is_spoiled)
{
    constexpr uint32_t LENGTH = 14;
    constexpr uint32_t PRESENT = 1U << 1 | 1U << 2 | 1U << 3;
    constexpr uint32_t FLAG_FCS = 0x10;        // a frame check sequence stands at the end
    constexpr uint32_t FLAG_BAD_FCS = 0x40;    // and it is wrong
    constexpr uint32_t RATE_DATA = 108;        // 54 Mbit/s, in 500 kbit/s
    constexpr uint32_t RATE_CONTROL = 48;      // 24 Mbit/s
    constexpr uint32_t CHANNEL_MHZ = 5180;     // number 36; the model has one channel of 5 GHz
    constexpr uint32_t CHANNEL_FLAGS = 0x0140; // OFDM, 5 GHz
    AddLittle(bytes, 0, 2);                    // version, padding
    AddLittle(bytes, LENGTH, 2);
    AddLittle(bytes, PRESENT, 4);
    AddLittle(bytes, FLAG_FCS | (is_spoiled ? FLAG_BAD_FCS : 0), 1);
    AddLittle(bytes, type == FRAME_DATA ? RATE_DATA : RATE_CONTROL, 1);
    AddLittle(bytes, CHANNEL_MHZ, 2);
    AddLittle(bytes, CHANNEL_FLAGS, 2);
}

// Station k is 02:00:00:00:00:0k, a locally administered address; nobody is ff at the end.
static void AddAddress(BYTES &bytes, int station)
{
    constexpr uint8_t LOCAL = 0x02;
    bytes.insert(bytes.end(), {LOCAL, 0, 0, 0, 0, static_cast<uint8_t>(station)});
}

// What a frame reserves behind its own end, in us: the rest of the exchange. It is what the NAV of
// the stations around is set to, less the part of DATA that they hear first.
static uint32_t Duration(int type)
{
    const auto data = static_cast<uint32_t>(DataTicks());
    switch (type) {
    case FRAME_RTS:
        return SIFS + CTS_TICKS + SIFS + data + SIFS + ACK_TICKS;
    case FRAME_CTS:
        return SIFS + data + SIFS + ACK_TICKS;
    case FRAME_DATA:
        return SIFS + ACK_TICKS;
    default:
        return 0;
    }
}

// The internet checksum of a header.
static uint32_t Checksum(const uint8_t *begin, int num)
{
    uint32_t sum = 0;
    for (int i = 0; i < num; i += 2) {
        sum += static_cast<uint32_t>(begin[i]) << BITS_PER_BYTE | begin[i + 1];
    }
    while (sum >> 16 != 0) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return ~sum & 0xFFFF;
}

// Station k is 10.0.1.k, nobody 10.0.1.255.
static void AddInternetAddress(BYTES &bytes, int station)
{
    constexpr uint32_t NETWORK = 0x0A000100;
    AddBig(bytes, NETWORK | static_cast<uint8_t>(station), 4);
}

// IP and UDP around a text that names flow and packet, filled up with zeros.
static void AddPacket(BYTES &bytes, const FRAME &frame)
{
    constexpr int IP_HEADER = 20;
    constexpr int UDP_HEADER = 8;
    constexpr uint32_t PORT = 49152; // the first one that is for private use
    const auto data_length = static_cast<uint32_t>(DATA_LENGTH);
    const size_t header = bytes.size();
    AddBig(bytes, 0x4500, 2); // version 4, no options
    AddBig(bytes, IP_HEADER + UDP_HEADER + data_length, 2);
    AddBig(bytes, static_cast<uint32_t>(frame.seq) & 0xFFFF, 2);
    AddBig(bytes, 0x4000, 2); // not to be cut
    AddBig(bytes, 0x4011, 2); // 64 hops, UDP
    AddBig(bytes, 0, 2);
    AddInternetAddress(bytes, frame.src);
    AddInternetAddress(bytes, frame.dst);
    const uint32_t checksum = Checksum(&bytes[header], IP_HEADER);
    bytes[header + 10] = static_cast<uint8_t>(checksum >> BITS_PER_BYTE);
    bytes[header + 11] = static_cast<uint8_t>(checksum);
    AddBig(bytes, PORT | static_cast<uint8_t>(frame.src), 2);
    AddBig(bytes, PORT | static_cast<uint8_t>(frame.dst), 2);
    AddBig(bytes, UDP_HEADER + data_length, 2);
    AddBig(bytes, 0, 2); // without a checksum
    std::string text = "dcfsim flow " + StationText(frame.src) + " to " + StationText(frame.dst) +
                       " packet " + std::to_string(frame.seq) + "\n";
    text.resize(data_length, '\0');
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// The header of a DATA frame, and LLC and SNAP that announce IP.
static void AddDataHeader(BYTES &bytes, const FRAME &frame)
{
    constexpr uint32_t SEQUENCE_NUM = 4096;
    constexpr std::string_view SNAP("\xAA\xAA\x03\0\0\0\x08\0", 8);
    AddAddress(bytes, frame.receiver);
    AddAddress(bytes, frame.sender);
    bytes.insert(bytes.end(), {0x02, 0, 0, 0, 0, 0xFF}); // of the independent network
    AddLittle(bytes, static_cast<uint32_t>(frame.seq) % SEQUENCE_NUM << 4, 2);
    bytes.insert(bytes.end(), SNAP.begin(), SNAP.end());
}

static std::array<uint32_t, CRC_TABLE_NUM> CrcTable()
{
    constexpr uint32_t POLYNOMIAL = 0xEDB88320;
    std::array<uint32_t, CRC_TABLE_NUM> table = {};
    std::iota(table.begin(), table.end(), 0U);
    for (uint32_t &entry : table) {
        for (int bit = 0; bit < BITS_PER_BYTE; ++bit) {
            entry = entry >> 1 ^ (entry % 2 != 0 ? POLYNOMIAL : 0);
        }
    }
    return table;
}

// The frame check sequence: the CRC-32 of IEEE 802.
static uint32_t FrameCheck(const uint8_t *begin, const uint8_t *end)
{
    static const std::array<uint32_t, CRC_TABLE_NUM> table = CrcTable();
    return ~std::accumulate(begin, end, ~0U, [](uint32_t crc, uint8_t byte) {
        return crc >> BITS_PER_BYTE ^ table[(crc ^ byte) % CRC_TABLE_NUM];
    });
}

// Fills `bytes` with the frame. A spoiled one has a wrong frame check sequence.
static void MakeFrame(BYTES &bytes, const FRAME &frame, bool is_spoiled)
{
    constexpr uint32_t CONTROL[] = {0x00B4, 0x00C4, 0x0008, 0x00D4}; // by FRAME_TYPE
    constexpr uint32_t RETRY = 0x0800;
    bytes.clear();
    AddRadiotap(bytes, frame.type, is_spoiled);
    const size_t begin = bytes.size();
    const bool is_repeated = frame.type == FRAME_DATA && frame.retry > 0;
    AddLittle(bytes, CONTROL[frame.type] | (is_repeated ? RETRY : 0), 2);
    AddLittle(bytes, Duration(frame.type), 2);
    if (frame.type == FRAME_DATA) {
        AddDataHeader(bytes, frame);
        AddPacket(bytes, frame);
    } else {
        AddAddress(bytes, frame.receiver);
        if (frame.type == FRAME_RTS) {
            AddAddress(bytes, frame.sender);
        }
    }
    const uint32_t check = FrameCheck(bytes.data() + begin, bytes.data() + bytes.size());
    AddLittle(bytes, is_spoiled ? ~check : check, MAC_FCS_BYTES);
}

// Whether the capture has the frame: it begins while watched and, if a station is named, ends so
// and has been received there, clean or not.
static bool IsCaptured(const FRAME &frame, int at)
{
    if (!frame.is_begun || at == EMPTY) {
        return frame.is_begun;
    }
    if (frame.end == UNKNOWN_TICK || !Has(frame.hearers, at)) {
        return false;
    }
    const OUTCOME outcome = OutcomeOf(frame, at);
    return outcome == OUTCOME_CLEAN || outcome == OUTCOME_SPOILED;
}

bool WriteTracePcap(FILE *file, const TRACE &trace, int at)
{
    constexpr int LONGEST = 262'144;
    constexpr uint64_t TICKS_PER_S = 1'000'000;
    const std::unique_ptr<pcap_t, decltype(&pcap_close)> form(
        pcap_open_dead(DLT_IEEE802_11_RADIO, LONGEST), pcap_close);
    FILE *own = fdopen(dup(fileno(file)), "wb"); // is closed with the dump
    if (form == nullptr || own == nullptr) {
        return false;
    }
    pcap_dumper_t *dump = pcap_dump_fopen(form.get(), own);
    if (dump == nullptr) {
        std::fclose(own);
        return false;
    }
    BYTES bytes;
    for (const FRAME &frame : trace.frames) {
        if (!IsCaptured(frame, at)) {
            continue;
        }
        MakeFrame(bytes, frame, at != EMPTY && OutcomeOf(frame, at) == OUTCOME_SPOILED);
        pcap_pkthdr header = {};
        header.ts.tv_sec = static_cast<time_t>(frame.begin / TICKS_PER_S);
        header.ts.tv_usec = static_cast<suseconds_t>(frame.begin % TICKS_PER_S);
        header.caplen = static_cast<bpf_u_int32>(bytes.size());
        header.len = header.caplen;
        pcap_dump(reinterpret_cast<u_char *>(dump), &header, bytes.data());
    }
    const bool is_written = pcap_dump_flush(dump) == 0 && std::ferror(pcap_dump_file(dump)) == 0;
    pcap_dump_close(dump);
    return is_written;
}
