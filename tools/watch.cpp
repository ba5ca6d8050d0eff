#include "tools/watch.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "driver/state.h"
#include "driver/state_table.h"
#include "driver/station_set.h"
#include "driver/tick.h"
#include "mac/transmit.h"
#include "topology/routing.h"

const char *PhaseName(int phase)
{
    static const char *const waits[] = {"defer", "DIFS", "EIFS", "backoff"};
    if (phase >= STATE_NUM) {
        return phase < PHASE_NUM ? waits[phase - STATE_NUM] : nullptr;
    }
    const char *label = phase < 0 || phase == STATE_DCW ? nullptr : STATE_TABLE[phase].label;
    return label != nullptr && *label == ' ' ? label + 1 : label;
}

const char *FrameName(int type)
{
    static const char *const names[] = {"RTS", "CTS", "DATA", "ACK"};
    return type == EMPTY ? "" : names[type];
}

const char *OutcomeName(OUTCOME outcome)
{
    static const char *const names[] = {"clean", "spoiled", "missed", "sending"};
    return names[outcome];
}

const char *EventName(EVENT_KIND kind, int value)
{
    static const char *const names[] = {"arrival", "end",     "timeout",   "acked",   "drop",
                                        "deliver", "relay",   "duplicate", "refused", "hear",
                                        "begin",   "overlap", "collision", "busy",    "nav",
                                        "backoff", "freeze",  "state"};
    static_assert(std::size(names) == EVENT_PHASE + 1);
    if (value == 0 && kind == EVENT_OVERLAP) {
        return "overlap-end";
    }
    if (value == 0 && kind == EVENT_BUSY) {
        return "busy-end";
    }
    return value == 0 && kind == EVENT_NAV ? "nav-end" : names[kind];
}

OUTCOME OutcomeOf(const FRAME &frame, int station)
{
    if (Has(frame.deaf, station)) {
        return OUTCOME_SENDING;
    }
    if (Has(frame.missed, station)) {
        return OUTCOME_MISSED;
    }
    return Has(frame.spoiled, station) ? OUTCOME_SPOILED : OUTCOME_CLEAN;
}

static int32_t PhaseOf(const NODE &own)
{
    if (own.state != STATE_DCW) {
        return own.state;
    }
    if (own.busy != 0 || own.nav != 0 || own.rx_error != 0) {
        return PHASE_DEFER;
    }
    if (own.idle_count > static_cast<uint64_t>(ContentionWait(own))) {
        return PHASE_BACKOFF;
    }
    return own.eifs_flag != 0 ? PHASE_EIFS : PHASE_DIFS;
}

// Ticks of backoff that are still to be counted down.
static int32_t BackoffLeft(const NODE &own)
{
    const auto wait = static_cast<uint64_t>(ContentionWait(own));
    const bool counts = own.state == STATE_DCW && own.idle_count > wait;
    const uint64_t passed = counts ? std::min(own.idle_count - wait, own.backoff) : 0;
    return static_cast<int32_t>(own.backoff - passed);
}

static VIEW ViewOf(int station)
{
    const NODE &own = node[station];
    const bool has_log = own.recv_log_num > 0;
    const LOG_ENTRY none = {EMPTY, EMPTY};
    const LOG_ENTRY &logged = has_log ? own.recv_log.entry[own.recv_log_num - 1] : none;
    return {
        .state = own.state,
        .phase = PhaseOf(own),
        .timer = own.timer,
        .nav = own.nav,
        .busy = own.busy,
        .rx_error = own.rx_error,
        .cw = own.cw,
        .retry_count = own.retry_count,
        .backoff_slots = own.backoff_slots,
        .backoff_draws = own.backoff_draws,
        .backoff = static_cast<int32_t>(own.backoff),
        .backoff_left = BackoffLeft(own),
        .buffer_num = own.buffer_num,
        .head_seq = own.buffer.head.seq,
        .over_num = own.over_num,
        .recv_log_num = own.recv_log_num,
        .logged_src = logged.src,
        .logged_seq = logged.seq,
        .dup_num = own.dup_num,
        .packet_seq = own.packet_seq,
        .frame_no = own.last_frame_no,
    };
}

static bool IsOnAir(const VIEW &view)
{
    return IsIn(view.state, ON_AIR);
}

// The watch as it goes on.
struct WATCHER {
    TRACE trace;
    VIEW before[NODE_NUM];
    VIEW after[NODE_NUM];
    int32_t sending[NODE_NUM];  // the frame that a station has on the air, EMPTY if none
    int32_t latest[NODE_NUM];   // the frame that it began last, EMPTY if none
    std::vector<int32_t> ended; // the frames that have ended in this tick
};

// The station that a frame just begun is for. What the sender has of it is no longer in one place,
// but what others hear is.
static int32_t ReceiverOf(int sender, int type)
{
    const NODE &own = node[sender];
    for (int i = 0; i < own.interference_num; ++i) {
        const NODE &other = node[own.interference_list[i]];
        for (int k = 0; k < std::min(other.signal_num, SIGNAL_SLOTS); ++k) {
            if (other.signal_list[k].frame_no == static_cast<int64_t>(own.last_frame_no)) {
                return static_cast<int32_t>(other.signal_list[k].receiver);
            }
        }
    }
    switch (type) {
    case FRAME_RTS:
        return NextHop(sender, own.buffer.head.dst);
    case FRAME_DATA:
        return own.buffer.head.receiver;
    default:
        return AnswerHop(sender, own.rx_frame.sender);
    }
}

static int32_t Airtime(int type)
{
    switch (type) {
    case FRAME_RTS:
        return RTS_TICKS;
    case FRAME_CTS:
        return CTS_TICKS;
    case FRAME_DATA:
        return DataTicks();
    default:
        return ACK_TICKS;
    }
}

// Enters the frame that `sender` has on the air.
static FRAME &EnterFrame(WATCHER &watcher, int sender, uint64_t begin)
{
    const NODE &own = node[sender];
    const auto type = int{STATE_TABLE[own.state].sends};
    const bool has_packet = type == FRAME_RTS || type == FRAME_DATA;
    FRAME frame = {
        .begin = begin,
        .end = UNKNOWN_TICK,
        .type = type,
        .sender = sender,
        .receiver = ReceiverOf(sender, type),
        .src = has_packet ? own.buffer.head.src : EMPTY,
        .dst = has_packet ? own.buffer.head.dst : EMPTY,
        .seq = has_packet ? own.buffer.head.seq : EMPTY,
        .retry = has_packet ? own.retry_count : 0,
        .number = own.last_frame_no,
        .is_begun = false,
        .hearers = 0,
        .missed = 0,
        .spoiled = 0,
        .deaf = 0,
    };
    for (int i = 0; i < own.connect_num; ++i) {
        Put(frame.hearers, own.connect_list[i], true);
    }
    watcher.sending[sender] = static_cast<int32_t>(watcher.trace.frames.size());
    watcher.latest[sender] = watcher.sending[sender];
    return watcher.trace.frames.emplace_back(frame);
}

// Takes in what the network is before the first tick, frames on the air included.
static void Begin(WATCHER &watcher)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        watcher.before[i] = ViewOf(i);
        watcher.trace.first[i] = watcher.before[i];
        watcher.sending[i] = EMPTY;
        watcher.latest[i] = EMPTY;
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        if (IsOnAir(watcher.before[i])) {
            const int32_t passed =
                Airtime(STATE_TABLE[node[i].state].sends) - watcher.before[i].timer;
            EnterFrame(watcher, i, g_sim_time - static_cast<uint64_t>(std::max(passed, 0)));
        }
    }
}

static void Add(WATCHER &watcher, int station, EVENT_KIND kind, int32_t frame, int32_t value,
                int32_t extra)
{
    watcher.trace.events.push_back({.tick = watcher.trace.until,
                                    .station = station,
                                    .kind = kind,
                                    .frame = frame,
                                    .retry = watcher.after[station].retry_count,
                                    .value = value,
                                    .extra = extra});
}

// Ends the frames that are no longer on the air and enters those that have begun.
static void FollowFrames(WATCHER &watcher, uint64_t begun)
{
    uint64_t found = 0;
    watcher.ended.clear();
    for (int i = 0; i < NODE_NUM; ++i) {
        const VIEW &now = watcher.after[i];
        const bool is_same = IsOnAir(watcher.before[i]) && IsOnAir(now) &&
                             watcher.before[i].frame_no == now.frame_no;
        if (watcher.sending[i] != EMPTY && !is_same) {
            watcher.trace.frames[static_cast<size_t>(watcher.sending[i])].end = watcher.trace.until;
            watcher.ended.push_back(watcher.sending[i]);
            watcher.sending[i] = EMPTY;
        }
    }
    // Frames that begin now, in ascending order of their senders: the order of their numbers.
    for (int i = 0; i < NODE_NUM; ++i) {
        if (!IsOnAir(watcher.after[i]) || watcher.sending[i] != EMPTY) {
            continue;
        }
        ++found;
        FRAME &frame = EnterFrame(watcher, i, watcher.trace.until);
        frame.is_begun = true;
        for (const int hearer : STATION_SET{frame.hearers}) {
            // A CTS is received even where signals overlap.
            const bool is_missed = watcher.before[hearer].rx_error != 0 && frame.type != FRAME_CTS;
            Put(frame.missed, hearer, is_missed);
        }
    }
    if (found != begun) {
        throw std::logic_error("tick " + std::to_string(watcher.trace.until) + ": " +
                               std::to_string(begun) + " frames were begun, " +
                               std::to_string(found) + " are seen; please report this");
    }
}

// Whether the frame has begun in this tick.
static bool IsNew(const WATCHER &watcher, const FRAME &frame)
{
    return frame.is_begun && frame.begin == watcher.trace.until;
}

// Notes at the frames on the air which receptions this tick has spoiled.
static void FollowReceptions(WATCHER &watcher)
{
    uint32_t overlapped = 0;
    uint32_t on_air = 0;
    uint32_t hearing = 0; // stations that a copy of a frame has reached in this tick
    for (int i = 0; i < NODE_NUM; ++i) {
        Put(overlapped, i, watcher.after[i].rx_error != 0);
        Put(on_air, i, IsOnAir(watcher.after[i]));
    }
    for (const int32_t place : watcher.sending) {
        const FRAME *frame =
            place != EMPTY ? &watcher.trace.frames[static_cast<size_t>(place)] : nullptr;
        if (frame != nullptr && IsNew(watcher, *frame)) {
            hearing |= frame->hearers & ~frame->missed;
        }
    }
    for (const int32_t place : watcher.sending) {
        if (place == EMPTY) {
            continue;
        }
        FRAME &frame = watcher.trace.frames[static_cast<size_t>(place)];
        // A copy takes the place of the one before, even where the two are no overlapping signals.
        frame.spoiled |= frame.hearers & (overlapped | (IsNew(watcher, frame) ? 0 : hearing));
        frame.deaf |= frame.hearers & on_air;
    }
}

// The frame with the number, EMPTY if it has not been seen. Most are among the last few.
static int32_t PlaceOf(const WATCHER &watcher, int64_t number)
{
    const std::vector<FRAME> &frames = watcher.trace.frames;
    for (size_t place = frames.size(); place > 0; --place) {
        if (frames[place - 1].number == static_cast<uint64_t>(number)) {
            return static_cast<int32_t>(place - 1);
        }
    }
    return EMPTY;
}

static bool Senses(int station, int other)
{
    const NODE &own = node[station];
    const int32_t *end = own.interference_list + own.interference_num;
    return std::find(own.interference_list, end, other) != end;
}

// The class of a collision of the first frame with the second, as `CountClass` has it.
static COL_ROW ClassOf(const FRAME &victim, const FRAME &other)
{
    if (Senses(victim.sender, other.sender)) {
        return ROW_CON;
    }
    if (victim.begin == other.begin) {
        return ROW_HCON;
    }
    return victim.begin > other.begin ? ROW_PRO : ROW_PHY;
}

// Tells of the frames for `station` that an overlap just begun has hit.
static void AddCollisions(WATCHER &watcher, int station)
{
    const NODE &own = node[station];
    for (int s = 0; s < own.signal_num; ++s) {
        const int32_t victim = PlaceOf(watcher, own.signal_list[s].frame_no);
        if (own.signal_list[s].receiver != station || victim == EMPTY) {
            continue;
        }
        for (int t = 0; t < own.signal_num; ++t) {
            const int32_t other = PlaceOf(watcher, own.signal_list[t].frame_no);
            if (t != s && other != EMPTY) {
                const auto &frames = watcher.trace.frames;
                Add(watcher, station, EVENT_COLLISION, victim, other,
                    ClassOf(frames[static_cast<size_t>(victim)],
                            frames[static_cast<size_t>(other)]));
            }
        }
    }
}

// What has become of packets: arrivals, time-outs, what has left the queue and what was received.
static void AddPackets(WATCHER &watcher, int station)
{
    const VIEW &was = watcher.before[station];
    const VIEW &now = watcher.after[station];
    const int32_t own_frame = watcher.latest[station];
    int32_t queued = was.buffer_num;
    if (now.packet_seq != was.packet_seq) {
        ++queued;
        Add(watcher, station, EVENT_ARRIVAL, EMPTY, static_cast<int32_t>(was.packet_seq), queued);
    }
    const bool awaits =
        was.state == STATE_RACK || was.state == STATE_WRCTS || was.state == STATE_WTDAT;
    const bool is_late = awaits && was.timer == 0;
    if (is_late) {
        Add(watcher, station, EVENT_TIMEOUT, own_frame, STATE_TABLE[was.state].awaits, 0);
    }
    if (now.buffer_num < queued) {
        Add(watcher, station, is_late ? EVENT_DROP : EVENT_ACKED, own_frame, was.head_seq,
            now.buffer_num);
    }
    const int sender = node[station].rx_frame.sender;
    const int32_t heard = IsStation(sender) ? watcher.latest[sender] : EMPTY;
    if (now.recv_log_num != was.recv_log_num || now.logged_src != was.logged_src ||
        now.logged_seq != was.logged_seq) {
        const bool is_relayed = now.buffer_num > queued;
        Add(watcher, station, is_relayed ? EVENT_RELAY : EVENT_DELIVER, heard, now.logged_seq,
            is_relayed ? now.buffer_num : 0);
    }
    if (now.dup_num != was.dup_num) {
        Add(watcher, station, EVENT_DUPLICATE, heard, 0, 0);
    }
    if (now.over_num != was.over_num) {
        Add(watcher, station, EVENT_REFUSED, EMPTY, 0, 0);
    }
}

// What has become of the medium around a station, and of its waits.
static void AddChannel(WATCHER &watcher, int station)
{
    const VIEW &was = watcher.before[station];
    const VIEW &now = watcher.after[station];
    if (now.rx_error != was.rx_error) {
        Add(watcher, station, EVENT_OVERLAP, EMPTY, now.rx_error, 0);
        if (now.rx_error != 0) {
            AddCollisions(watcher, station);
        }
    }
    if (now.busy != was.busy) {
        Add(watcher, station, EVENT_BUSY, EMPTY, now.busy, 0);
    }
    if (now.nav > std::max(was.nav - 1, 0)) {
        Add(watcher, station, EVENT_NAV, EMPTY, now.nav + 1, 0); // one tick of it is over
    } else if (was.nav > 0 && now.nav == 0) {
        Add(watcher, station, EVENT_NAV, EMPTY, 0, 0);
    }
    if (now.backoff_draws != was.backoff_draws) {
        Add(watcher, station, EVENT_BACKOFF, EMPTY, now.backoff_slots, now.cw);
    } else if (now.backoff != was.backoff) {
        Add(watcher, station, EVENT_FREEZE, EMPTY, now.backoff / SLOT, 0);
    }
    if (now.phase != was.phase) {
        Add(watcher, station, EVENT_PHASE, EMPTY, now.phase, 0);
    }
}

// The events of a tick, of all stations.
static void AddEvents(WATCHER &watcher)
{
    for (int i = 0; i < NODE_NUM; ++i) {
        const auto &frames = watcher.trace.frames;
        for (const int32_t place : watcher.ended) {
            if (frames[static_cast<size_t>(place)].sender == i) {
                Add(watcher, i, EVENT_END, place, 0, 0);
            }
        }
        AddPackets(watcher, i);
        for (const int32_t place : watcher.ended) {
            const FRAME &frame = frames[static_cast<size_t>(place)];
            if (Has(frame.hearers, i) && frame.is_begun) {
                Add(watcher, i, EVENT_HEAR, place, OutcomeOf(frame, i), 0);
            }
        }
        const int32_t own = watcher.sending[i];
        if (own != EMPTY && IsNew(watcher, frames[static_cast<size_t>(own)])) {
            Add(watcher, i, EVENT_BEGIN, own, 0, 0);
        }
        AddChannel(watcher, i);
    }
}

// Ticks plainly as long as it lives.
struct PLAIN_TICKING {
    const bool was = g_plain_ticking;
    PLAIN_TICKING()
    {
        g_plain_ticking = true;
    }
    ~PLAIN_TICKING()
    {
        g_plain_ticking = was;
    }
    PLAIN_TICKING(const PLAIN_TICKING &) = delete;
    PLAIN_TICKING &operator=(const PLAIN_TICKING &) = delete;
};

TRACE Watch(uint64_t until)
{
    WATCHER watcher = {};
    watcher.trace.from = g_sim_time;
    watcher.trace.until = g_sim_time;
    const PLAIN_TICKING plain;
    Begin(watcher);
    while (g_sim_time < until) {
        const uint64_t sent = g_no;
        RunTicks(g_sim_time + 1);
        for (int i = 0; i < NODE_NUM; ++i) {
            watcher.after[i] = ViewOf(i);
        }
        FollowFrames(watcher, g_no - sent);
        FollowReceptions(watcher);
        AddEvents(watcher);
        std::copy(std::begin(watcher.after), std::end(watcher.after), watcher.before);
        ++watcher.trace.until;
    }
    return std::move(watcher.trace);
}
