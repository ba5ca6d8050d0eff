#include "tests/state_compare.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <sstream>
#include <string_view>
#include <type_traits>

#include "driver/state.h"
#include "topology/random.h"

enum TYPE { TYPE_I32, TYPE_I64, TYPE_F64 }; // unsigned values are shown as signed ones

struct FIELD {
    std::string name;
    size_t offset; // in its record
    TYPE type;
    int count;   // values
    int columns; // of a table; 0 for a list
};

template <class T> static FIELD MakeField(const char *name, size_t offset)
{
    using VALUE = std::remove_all_extents_t<T>;
    constexpr size_t WIDTH = sizeof(VALUE);
    constexpr TYPE KIND = std::is_same_v<VALUE, double> ? TYPE_F64
                          : WIDTH == sizeof(int64_t)    ? TYPE_I64
                                                        : TYPE_I32;
    static_assert(WIDTH == (KIND == TYPE_I32 ? sizeof(int32_t) : sizeof(int64_t)));
    return {name, offset, KIND, sizeof(T) / WIDTH, static_cast<int>(std::extent_v<T, 1>)};
}

static size_t Width(const FIELD &field)
{
    return field.type == TYPE_I32 ? sizeof(int32_t) : sizeof(int64_t);
}

// clang-format off
#define FIELD_OF(record, name) MakeField<decltype(record::name)>(#name, offsetof(record, name))

static const std::vector<FIELD> PACKET_FIELDS = {
#define ROW(name) FIELD_OF(PACKET, name)
    ROW(type), ROW(nav_value), ROW(duration), ROW(payload_time), ROW(src), ROW(dst), ROW(sender),
    ROW(receiver), ROW(seq), ROW(corrupt), ROW(gen_time), ROW(tx_start), ROW(age_base), ROW(id),
    ROW(hop_time), // last: see BEHIND_HEAD
#undef ROW
};
static const size_t BEHIND_HEAD = PACKET_FIELDS.size() - 1; // fields compared there

static const std::vector<FIELD> SIGNAL_FIELDS = {
#define ROW(name) FIELD_OF(SIGNAL, name)
    ROW(kind), ROW(receiver), ROW(sender), ROW(frame_no), ROW(start_time), ROW(end_mark),
#undef ROW
};

static const std::vector<FIELD> NODE_FIELDS = [] {
#define ROW(name) FIELD_OF(NODE, name)
    std::vector<FIELD> fields = {
        ROW(state), ROW(reserved_index), ROW(timer), ROW(nav), ROW(backoff), ROW(backoff_slots), ROW(backoff_draws),
        ROW(idle_count), ROW(rx_count), ROW(cw), ROW(retry_count), ROW(signal_num), ROW(rx_flag),
        ROW(busy), ROW(rx_error), ROW(freeze_flag), ROW(eifs_flag), ROW(buffer_num), ROW(pos_x),
        ROW(pos_y), ROW(connect_num), ROW(connect_list), ROW(interference_num),
        ROW(interference_list), ROW(gene_num), ROW(tx_num), ROW(link_tx_num), ROW(rx_dat_num),
        ROW(recv_num), ROW(reserved_count), ROW(recv_from), ROW(timeout_num), ROW(timeout_hop), ROW(drop_num),
        ROW(drop_hop), ROW(over_num), ROW(buffer_avg), ROW(backoff_slot_sum), ROW(table),
        ROW(buffer_hop_num), ROW(recv_log_num), ROW(packet_seq), ROW(dup_flag), ROW(dup_num),
        ROW(in_backoff), ROW(last_frame_no), ROW(difs_idle_num), ROW(tx_elapsed), ROW(ack_wait_num),
        ROW(ack_wait_over), ROW(reserved_sum), ROW(access_wait_sum), ROW(tx_time_sum), ROW(ack_wait_sum),
        ROW(ack_wait_over_sum), ROW(col_check_off), ROW(hop_delay_sum), ROW(queue_time),
        ROW(queue_hop_time), ROW(delay_sum), ROW(send_time), ROW(send_hop_time), ROW(busy_time),
        ROW(idle_time), ROW(reserved_hop_sum), ROW(hop_extra_sum), ROW(hop_extra_sum2), ROW(busy_queue_time),
        ROW(busy_queue_hop_time), ROW(backoff_time), ROW(backoff_hop_time), ROW(window_ticks),
        ROW(same_start_num), ROW(same_start_hop_num), ROW(same_start_flag), ROW(same_start_count),
        ROW(ack_ok_num), ROW(tick_tx_count), ROW(ack_interval_sum), ROW(last_ack_time),
    };
#undef ROW
    for (FIELD field : PACKET_FIELDS) {
        const FIELD plain = field;
        field.name = "rx_frame." + plain.name;
        field.offset = offsetof(NODE, rx_frame) + plain.offset;
        fields.push_back(field);
        field.name = "buffer[0]." + plain.name;
        field.offset = offsetof(NODE, buffer) + offsetof(QUEUE, head) + plain.offset;
        fields.push_back(field);
    }
    return fields;
}();

// A field more, which changes these sizes, belongs into the lists above. Queue and log are compared
// packet by packet and key by key.
static_assert(sizeof(PACKET) == 80);
static_assert(sizeof(SIGNAL) == 48);
static_assert(sizeof(NODE) - sizeof(QUEUE) - sizeof(FRAME_LOG) == 2440);

struct GLOBAL {
    FIELD field;
    const void *address;
};

static const GLOBAL GLOBALS[] = {
#define ROW(name) {MakeField<decltype(name)>(#name, 0), &(name)}
    ROW(g_sim_time), ROW(g_event), ROW(g_no), ROW(idum), ROW(g_shuffle.iy), ROW(g_shuffle.iv), ROW(g_mersenne.drawn), ROW(g_counter),
    ROW(load), ROW(DATA_LENGTH), ROW(DATA_LENGTH2), ROW(PACKET_PAYLOAD_LENGTH), ROW(PACKET_PAYLOAD_LENGTH2),
    ROW(DAT_LENGTH), ROW(g_ariv_rate), ROW(g_ariv_rate2), ROW(g_interval), ROW(g_interval2),
    ROW(temp_trans1), ROW(temp_trans2), ROW(temp_non), ROW(g_collision_possible_time), ROW(ave_delay), ROW(ave_delay_2), ROW(check_delay), ROW(flag_col), ROW(count_cw),
    ROW(trans_con), ROW(X_count), ROW(Y_count), ROW(Z_count),
#undef ROW
};
// clang-format on

static const FIELD LOG_KEYS = MakeField<int32_t[1][2]>("recv_log", 0);
static const FIELD RESULT_VALUES = {"result", 0, TYPE_F64, 0, sizeof(RESULT) / sizeof(double)};
static const FIELD COL_VALUES = {"row", 0, TYPE_I32, COL_RECORDS *int(sizeof(COL) / 4),
                                 sizeof(COL) / 4};

// Puts `count` values of a field of `record` into the snapshot; further arguments as in PIECE.
static void Put(SNAPSHOT &snapshot, const FIELD &field, const void *record, int count, int station,
                const char *list = nullptr, int place = 0)
{
    const char *from = static_cast<const char *>(record) + field.offset;
    snapshot.pieces.push_back({&field, station, list, place, snapshot.bytes.size(), count});
    snapshot.bytes.insert(snapshot.bytes.end(), from,
                          from + static_cast<size_t>(count) * Width(field));
}

static void PutStation(SNAPSHOT &snapshot, int station)
{
    NODE &own = node[station];
    for (const FIELD &field : NODE_FIELDS) {
        Put(snapshot, field, &own, field.count, station);
    }
    for (int k = 0; k < std::min(own.signal_num, SIGNAL_SLOTS); ++k) {
        for (const FIELD &field : SIGNAL_FIELDS) {
            Put(snapshot, field, &own.signal_list[k], 1, station, "signal_list", k);
        }
    }
    for (int k = 1; k < own.buffer_num; ++k) {
        for (size_t f = 0; f < BEHIND_HEAD; ++f) {
            Put(snapshot, PACKET_FIELDS[f], &own.buffer[k], 1, station, "buffer", k);
        }
    }
    Put(snapshot, LOG_KEYS, own.recv_log.entry, 2 * own.recv_log_num, station);
}

SNAPSHOT TakeSnapshot()
{
    SNAPSHOT snapshot;
    for (int i = 0; i < NODE_RECORDS; ++i) {
        PutStation(snapshot, i);
    }
    for (const GLOBAL &global : GLOBALS) {
        Put(snapshot, global.field, global.address, global.field.count, EMPTY);
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        for (int j = 0; j < NODE_NUM; ++j) {
            Put(snapshot, COL_VALUES, col[i][j], COL_VALUES.count, i, "col", j);
            Put(snapshot, COL_VALUES, dp[i][j], COL_VALUES.count, i, "dp", j);
        }
    }
    if (result != nullptr) {
        Put(snapshot, RESULT_VALUES, result, (load + 2) * RESULT_VALUES.columns, EMPTY);
    }
    return snapshot;
}

template <class T> static T Read(const char *bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

static void WriteValue(std::ostream &out, TYPE type, const char *bytes)
{
    if (type == TYPE_F64) {
        out << std::hexfloat << Read<double>(bytes);
    } else {
        out << (type == TYPE_I32 ? Read<int32_t>(bytes) : Read<int64_t>(bytes));
    }
}

static void WriteName(std::ostream &out, const PIECE &piece, int index)
{
    const FIELD &field = *piece.field;
    if (piece.station != EMPTY) {
        out << "station " << piece.station << " ";
    }
    if (piece.list != nullptr) {
        out << piece.list << "[" << piece.place << "].";
    }
    out << field.name;
    if (field.columns != 0) {
        out << "[" << index / field.columns << "][" << index % field.columns << "]";
    } else if (field.count > 1) {
        out << "[" << index << "]";
    }
}

std::string FirstDifference(const SNAPSHOT &expected, const SNAPSHOT &actual)
{
    if (expected.bytes == actual.bytes) {
        return "";
    }
    std::ostringstream out;
    // Lists of different lengths stand behind their lengths, so equal places mean equal fields.
    for (const PIECE &piece : expected.pieces) {
        const size_t width = Width(*piece.field);
        for (int k = 0; k < piece.count; ++k) {
            const size_t at = piece.at + static_cast<size_t>(k) * width;
            const char *first = expected.bytes.data() + at;
            const char *second = actual.bytes.data() + at;
            assert(at + width <= actual.bytes.size());
            if (std::memcmp(first, second, width) != 0) {
                WriteName(out, piece, k);
                out << ": ";
                WriteValue(out, piece.field->type, first);
                out << " != ";
                WriteValue(out, piece.field->type, second);
                return out.str();
            }
        }
    }
    return "more values than expected";
}

// Calls `visit` with piece, index and bytes of every value that is not zero.
template <class VISIT> static void ForEachValue(const SNAPSHOT &snapshot, const VISIT &visit)
{
    constexpr char ZERO[sizeof(int64_t)] = {};
    for (const PIECE &piece : snapshot.pieces) {
        const size_t width = Width(*piece.field);
        const char *bytes = snapshot.bytes.data() + piece.at;
        for (int k = 0; k < piece.count; ++k, bytes += width) {
            if (std::memcmp(bytes, ZERO, width) != 0) {
                visit(piece, k, bytes);
            }
        }
    }
}

// Mixes `value` into `hash`; all bits of the result depend on all of both.
static uint64_t Mix(uint64_t hash, uint64_t value)
{
    hash = (hash ^ value) * 0x9E3779B97F4A7C15;
    hash = (hash ^ hash >> 32) * 0xD6E8FEB86659FD93;
    return hash ^ hash >> 32;
}

static uint64_t Mix(uint64_t hash, std::string_view text)
{
    for (const char c : text) {
        hash = Mix(hash, static_cast<unsigned char>(c));
    }
    return hash;
}

uint64_t HashOf(const SNAPSHOT &snapshot)
{
    uint64_t sum = 0;
    const PIECE *last = nullptr;
    uint64_t name = 0; // of the last piece
    ForEachValue(snapshot, [&](const PIECE &piece, int k, const char *bytes) {
        if (&piece != last) {
            last = &piece;
            name = Mix(Mix(0, piece.field->name), static_cast<uint64_t>(piece.station));
            name = piece.list == nullptr
                       ? name
                       : Mix(Mix(name, piece.list), static_cast<uint64_t>(piece.place));
        }
        const int64_t value =
            piece.field->type == TYPE_I32 ? Read<int32_t>(bytes) : Read<int64_t>(bytes);
        sum += Mix(Mix(name, static_cast<uint64_t>(k)), static_cast<uint64_t>(value));
    });
    return sum;
}

std::string TextOf(const SNAPSHOT &snapshot)
{
    std::vector<std::string> lines;
    ForEachValue(snapshot, [&lines](const PIECE &piece, int k, const char *bytes) {
        std::ostringstream line;
        WriteName(line, piece, k);
        line << ": ";
        WriteValue(line, piece.field->type, bytes);
        lines.push_back(line.str() + "\n");
    });
    std::ranges::sort(lines);
    std::string text;
    for (const std::string &line : lines) {
        text += line;
    }
    return text;
}
