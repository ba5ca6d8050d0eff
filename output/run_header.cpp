#include "output/run_header.h"

#include <cstdio>

#include "output/files.h"
#include "output/print.h"
#include "output/result_record.h"

// The header documents the experiment as published. These values are not read from the model's
// settings, so that a shortened run carries the same head.
constexpr int HEADER_TRIALS = 2;
constexpr int HEADER_RTS_THRESHOLD = 100000; // ticks of DATA
constexpr int HEADER_BUFFER_SIZE = 100000;   // packets
constexpr int HEADER_DATA_RATE = 54;         // Mbit/s
constexpr int HEADER_CONTROL_RATE = 24;      // Mbit/s
constexpr int HEADER_RANGE = 40;             // metres, transmission and carrier sense
constexpr int HEADER_DISTANCE = 30;          // metres between the stations of a pair
constexpr int HEADER_SIMULATION_TIME = 40;   // s
constexpr int HEADER_TRACE_TIME = 30;        // s, the measurement window

static const char DASHED_LINE[] =
    "//-----------------------------------------------------------------------------\n";

static void WriteTimes(FILE *stream)
{
    Print(stream, "// simulation time = %d\n", HEADER_SIMULATION_TIME);
    Print(stream, "// trace time = %d\n", HEADER_TRACE_TIME);
}

static void WriteRates(FILE *stream)
{
    Print(stream, "// Data rate = %d\n", HEADER_DATA_RATE);
    Print(stream, "// Control rate = %d\n", HEADER_CONTROL_RATE);
}

static void WriteAirtimes(FILE *stream, int packet_size)
{
    Print(stream, "// packet_size = %d\n", packet_size);
    // Kept: "MH", the MAC header, shows the airtime of an ACK.
    Print(stream, "// MH:%d\n", ACK_TICKS);
    Print(stream, "// PAY:%d\n", PayloadTicks());
    Print(stream, "// DAT:%d\n", DataTicks());
    Print(stream, "// ACK:%d\n", ACK_TICKS);
}

// Share of an exchange that its DATA frame takes, and the line that closes a header.
static void WriteEnd(FILE *stream)
{
    Print(stream, "// a = %f\n", DataTicks() / static_cast<double>(ExchangeTicks()));
    Print(stream, "%s", DASHED_LINE);
}

static void WriteResultHeader()
{
    Print(g_fp, "%s// DESIGN\n// trial = %d\n", DASHED_LINE, HEADER_TRIALS);
    Print(g_fp, "// IEEE 802.11a\n// POISSON\n");
    Print(g_fp, "// RTS threshold = %d\n", HEADER_RTS_THRESHOLD);
    Print(g_fp, "// Buffer size = %d\n", HEADER_BUFFER_SIZE);
    WriteRates(g_fp);
    Print(g_fp, "// Transmission renge = %d\n", HEADER_RANGE);
    Print(g_fp, "// Carrier sensing renge = %d\n", HEADER_RANGE);
    Print(g_fp, "// Distance of node = %d\n", HEADER_DISTANCE);
    WriteTimes(g_fp);
    WriteAirtimes(g_fp, DATA_LENGTH);
    Print(g_fp, "// Ts:%d\n", ExchangeTicks());
    WriteEnd(g_fp);
}

static void PrintTimings()
{
    Print(stdout, "Ts:%d\n", ExchangeTicks());
    Print(stdout, "Ts/SLOTTIME:%f\n", ExchangeTicks() / static_cast<double>(SLOT));
    Print(stdout, "PACKET:%d\n", DataTicks());
    Print(stdout, "DIFS:%d\n", DIFS);
    Print(stdout, "SIFS:%d\n", SIFS);
    Print(stdout, "ACK:%d\n", ACK_TICKS);
}

void information()
{
    WriteResultHeader();
    PrintTimings();

    Print(g_fpns, "%s// DESIGN\n// trial = %d\n", DASHED_LINE, HEADER_TRIALS);
    // Kept: this line belongs to node_stat.txt, whose header lacks it; it stands in result.txt,
    // below the dashed line that ends the header there.
    Print(g_fp, "// IEEE 802.11a  // POISSON\n");
    WriteTimes(g_fpns);
    WriteRates(g_fpns);
    WriteAirtimes(g_fpns, DATA_LENGTH);
    WriteEnd(g_fpns);

    Print(g_fpc, "%s// DESIGN\n// trial = %d\n", DASHED_LINE, HEADER_TRIALS);
    WriteTimes(g_fpc);
    // Kept: the packet size is that of the IP packet here, and of its data in the other headers.
    WriteAirtimes(g_fpc, PACKET_PAYLOAD_LENGTH);
    WriteEnd(g_fpc);
}
