#include "tools/flow_watch.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "driver/observer.h"
#include "driver/state.h"
#include "tools/csv_file.h"

constexpr uint64_t TICKS_PER_MS = 1000;
constexpr int NO_FLOW = EMPTY;

static const char FLOW_HEAD[] = "load_kbps,trial,from,to,offered_mbps,delivered_mbps,delay_us,"
                                "retries,drops,refused";
static const char PACKET_HEAD[] = "load_kbps,trial,from,to,arrival,first_attempt,delivery,attempts";
static const char SERIES_HEAD[] =
    "load_kbps,trial,from,to,begin_ms,in_window,arrived,delivered,refused,"
    "retries,collisions,mean_queue,share";

struct WATCHED_FLOW {
    int32_t from;
    int32_t to;
    FLOW_COUNTS window;    // of the measurement window
    FLOW_COUNTS interval;  // of the interval that goes on
    uint64_t queue_sum;    // packets in queues, summed over its ticks
    uint64_t exchange_sum; // its ticks in which an exchange of the flow was under way
    uint64_t queued;       // packets in queues now
    uint64_t queued_since; // tick up to which `queue_sum` is settled
};

// What is known of a packet on its way.
struct ON_ITS_WAY {
    uint32_t first_attempt; // tick; a load point is shorter than 2^31
    uint32_t attempts : 31; // begun so far
    uint32_t is_over : 1;   // it has been delivered or dropped
};

// The exchange that a station has begun.
struct EXCHANGE {
    int32_t flow;   // NO_FLOW: none
    uint64_t since; // tick up to which it is counted
};

struct WATCH {
    int32_t trial;
    int32_t load_kbps;
    uint64_t interval;     // ticks; 0 without series
    uint64_t interval_end; // of the interval that goes on; UINT64_MAX without
    int32_t flow_of[NODE_NUM][NODE_NUM];
    EXCHANGE exchange[NODE_NUM];
    std::vector<WATCHED_FLOW> flows;
    std::vector<ON_ITS_WAY> packets[NODE_NUM]; // by source and sequence number
    std::unique_ptr<CSV_FILE> flow_file;
    std::unique_ptr<CSV_FILE> packet_file;
    std::unique_ptr<CSV_FILE> series_file;
    WATCH_FILES files;
};
static WATCH g_watch;

static void BeginRow(CSV_FILE &file, int32_t from, int32_t to)
{
    file.Cell(g_watch.load_kbps);
    file.Cell(g_watch.trial + 1);
    file.Cell(from);
    file.Cell(to);
}

static void SettleQueue(WATCHED_FLOW &flow, uint64_t now)
{
    flow.queue_sum += flow.queued * (now - flow.queued_since);
    flow.queued_since = now;
}

static void SettleExchange(EXCHANGE &exchange, uint64_t now)
{
    if (exchange.flow != NO_FLOW) {
        g_watch.flows[static_cast<size_t>(exchange.flow)].exchange_sum += now - exchange.since;
        exchange.since = now;
    }
}

// Writes the interval that ends with `end`, the tick behind its last one.
static void WriteInterval(uint64_t begin, uint64_t end)
{
    const auto ticks = static_cast<double>(end - begin);
    for (EXCHANGE &exchange : g_watch.exchange) {
        SettleExchange(exchange, end);
    }
    for (WATCHED_FLOW &flow : g_watch.flows) {
        SettleQueue(flow, end);
        CSV_FILE &file = *g_watch.series_file;
        BeginRow(file, flow.from, flow.to);
        file.Cell(begin / TICKS_PER_MS);
        file.Cell(begin >= g_settings.window_begin && end <= g_settings.window_end + 1 ? 1 : 0);
        file.Cell(flow.interval.arrived);
        file.Cell(flow.interval.delivered);
        file.Cell(flow.interval.refused);
        file.Cell(flow.interval.timeouts);
        file.Cell(flow.interval.collisions);
        file.Cell(static_cast<double>(flow.queue_sum) / ticks);
        file.Cell(static_cast<double>(flow.exchange_sum) / ticks);
        file.EndRow();
        flow.interval = {};
        flow.queue_sum = 0;
        flow.exchange_sum = 0;
    }
}

// Writes the intervals that are over before the tick `now`.
static void WriteIntervals(uint64_t now)
{
    while (g_watch.interval_end <= now) {
        WriteInterval(g_watch.interval_end - g_watch.interval, g_watch.interval_end);
        g_watch.interval_end += g_watch.interval;
    }
}

static void BeginLoadPoint(int32_t trial, int32_t load_kbps)
{
    g_watch.trial = trial;
    g_watch.load_kbps = load_kbps;
    g_watch.interval_end = g_watch.interval == 0 ? UINT64_MAX : g_watch.interval;
    for (WATCHED_FLOW &flow : g_watch.flows) {
        flow = {};
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        g_watch.exchange[i] = {NO_FLOW, 0};
        g_watch.packets[i].clear();
        for (int j = 0; j < NODE_NUM; ++j) {
            if (g_watch.flow_of[i][j] != NO_FLOW) {
                WATCHED_FLOW &flow = g_watch.flows[static_cast<size_t>(g_watch.flow_of[i][j])];
                flow.from = i;
                flow.to = j;
            }
        }
    }
}

std::vector<FLOW_TOTALS> LastFlowTotals()
{
    const double packet_mbits = PACKET_PAYLOAD_LENGTH * static_cast<double>(BITS_PER_BYTE);
    std::vector<FLOW_TOTALS> all;
    for (const WATCHED_FLOW &flow : g_watch.flows) {
        const auto arrived = static_cast<double>(flow.window.arrived);
        const auto delivered = static_cast<double>(flow.window.delivered);
        const double delay_us = static_cast<double>(flow.window.delay_sum) / delivered;
        all.push_back({flow.from, flow.to, flow.window,
                       arrived * packet_mbits / g_settings.window_ticks,
                       delivered * packet_mbits / g_settings.window_ticks,
                       flow.window.delivered == 0 ? NAN : delay_us});
    }
    return all;
}

static void EndLoadPoint()
{
    WriteIntervals(g_sim_time);
    const uint64_t begun = g_watch.interval_end - g_watch.interval;
    if (g_watch.interval > 0 && begun < g_sim_time) { // the last one is shorter
        WriteInterval(begun, g_sim_time);
    }
    for (const FLOW_TOTALS &flow : LastFlowTotals()) {
        CSV_FILE &file = *g_watch.flow_file;
        BeginRow(file, flow.from, flow.to);
        file.Cell(flow.offered_mbps);
        file.Cell(flow.delivered_mbps);
        if (flow.window.delivered == 0) {
            file.EmptyCell();
        } else {
            file.Cell(flow.delay_us);
        }
        file.Cell(flow.window.timeouts);
        file.Cell(flow.window.drops);
        file.Cell(flow.window.refused);
        file.EndRow();
    }
}

static ON_ITS_WAY &PacketOf(const PACKET &packet)
{
    std::vector<ON_ITS_WAY> &list = g_watch.packets[packet.src];
    const auto seq = static_cast<size_t>(packet.seq);
    if (seq >= list.size()) {
        list.resize(seq + 1);
    }
    return list[seq];
}

// Writes the packet that is delivered or dropped now, unless it was delivered before.
static void WritePacket(const WATCHED_FLOW &flow, const PACKET &packet, bool is_delivered)
{
    ON_ITS_WAY &known = PacketOf(packet);
    if (known.is_over != 0) {
        return;
    }
    known.is_over = 1;
    if (!InWindow()) {
        return;
    }
    CSV_FILE &file = *g_watch.packet_file;
    BeginRow(file, flow.from, flow.to);
    file.Cell(packet.gen_time);
    file.Cell(known.first_attempt);
    if (is_delivered) {
        file.Cell(g_sim_time);
    } else {
        file.EmptyCell();
    }
    file.Cell(static_cast<uint32_t>(known.attempts));
    file.EndRow();
}

// Enters what has happened into the counts of a stretch.
static void Count(FLOW_COUNTS &counts, NOTE note, const PACKET &packet)
{
    switch (note) {
    case NOTE_ARRIVE:
        ++counts.arrived;
        break;
    case NOTE_REFUSE:
        ++counts.arrived;
        ++counts.refused;
        break;
    case NOTE_REFUSE_RELAY:
        ++counts.refused;
        break;
    case NOTE_COLLIDE:
        ++counts.collisions;
        break;
    case NOTE_TIMEOUT:
        ++counts.timeouts;
        break;
    case NOTE_DROP:
        ++counts.drops;
        break;
    case NOTE_DELIVER:
        ++counts.delivered;
        counts.delay_sum += g_sim_time - packet.gen_time;
        break;
    default:
        break;
    }
}

// Follows the queues and exchanges of the series.
static void FollowSeries(WATCHED_FLOW &flow, NOTE note, int station, int32_t number)
{
    switch (note) {
    case NOTE_ARRIVE:
    case NOTE_RELAY:
        SettleQueue(flow, g_sim_time);
        ++flow.queued;
        break;
    case NOTE_ACK:
    case NOTE_DROP:
        SettleQueue(flow, g_sim_time);
        --flow.queued;
        break;
    case NOTE_ATTEMPT:
        g_watch.exchange[station] = {number, g_sim_time};
        break;
    default:
        break;
    }
}

static void FollowPacket(const WATCHED_FLOW &flow, NOTE note, const PACKET &packet)
{
    if (note == NOTE_ATTEMPT) {
        ON_ITS_WAY &known = PacketOf(packet);
        if (known.attempts == 0) {
            known.first_attempt = static_cast<uint32_t>(g_sim_time);
        }
        ++known.attempts;
    } else if (note == NOTE_DELIVER || note == NOTE_DROP) {
        WritePacket(flow, packet, note == NOTE_DELIVER);
    }
}

static void Note(NOTE note, int station, const PACKET &packet)
{
    WriteIntervals(g_sim_time);
    if (note == NOTE_REST) {
        SettleExchange(g_watch.exchange[station], g_sim_time);
        g_watch.exchange[station].flow = NO_FLOW;
        return;
    }
    if (!IsStation(packet.src) || !IsStation(packet.dst)) {
        return;
    }
    const int32_t number = g_watch.flow_of[packet.src][packet.dst];
    if (number == NO_FLOW) {
        return;
    }
    WATCHED_FLOW &flow = g_watch.flows[static_cast<size_t>(number)];
    Count(flow.interval, note, packet);
    if (InWindow()) {
        Count(flow.window, note, packet);
    }
    if (g_watch.series_file != nullptr) {
        FollowSeries(flow, note, station, number);
    }
    if (g_watch.packet_file != nullptr) {
        FollowPacket(flow, note, packet);
    }
}

// Numbers the flows in the order in which they stand in the experiment.
static void NumberFlows()
{
    g_watch.flows.clear();
    for (auto &row : g_watch.flow_of) {
        std::fill(std::begin(row), std::end(row), NO_FLOW);
    }
    for (int32_t k = 0; k < g_settings.flow_num; ++k) {
        int32_t &number = g_watch.flow_of[g_settings.flow_list[k].from][g_settings.flow_list[k].to];
        if (number == NO_FLOW) {
            number = static_cast<int32_t>(g_watch.flows.size());
            g_watch.flows.push_back({});
        }
    }
}

std::string BeginWatch(const WATCH_FILES &files)
{
    static const OBSERVER observer = {BeginLoadPoint, Note, EndLoadPoint};
    g_watch.files = files;
    g_watch.interval = static_cast<uint64_t>(files.interval_ms) * TICKS_PER_MS;
    NumberFlows();
    const auto open = [](const std::string &path, const char *head) {
        return path.empty() ? nullptr : std::make_unique<CSV_FILE>(path, head);
    };
    g_watch.flow_file = open(files.flows, FLOW_HEAD);
    g_watch.packet_file = open(files.packets, PACKET_HEAD);
    g_watch.series_file = open(files.series, SERIES_HEAD);
    for (const auto *file : {&g_watch.flow_file, &g_watch.packet_file, &g_watch.series_file}) {
        if (*file != nullptr && !(*file)->Error().empty()) {
            return (*file)->Error();
        }
    }
    g_observer = &observer;
    return "";
}

std::string EndWatch(bool is_complete, std::map<std::string, std::string> &hashes)
{
    g_observer = nullptr;
    std::string why;
    const auto close = [&](std::unique_ptr<CSV_FILE> &file, const std::string &path) {
        if (file != nullptr && is_complete) {
            why = why.empty() ? file->Commit() : why;
            hashes[path] = file->Hash();
        }
        file = nullptr;
    };
    close(g_watch.flow_file, g_watch.files.flows);
    close(g_watch.packet_file, g_watch.files.packets);
    close(g_watch.series_file, g_watch.files.series);
    return why;
}
