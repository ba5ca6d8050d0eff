// Tells what happened, not what ought to happen: every sentence is an event of the trace, a span of
// what a station did, or a field of a frame. What belongs to a frame without naming it is found by
// station and tick:
//
//     sender    |  frame  |  awaits                 | answered, or not: the span behind the frame
//     receiver  |         | SIFS |  answer          | the frame behind the SIFS behind the frame
//     others    |NAV                                | the frame is the copy that came last
#include "tools/trace_story.h"

#include <algorithm>
#include <bit>
#include <cctype>

#include "driver/station_set.h"
#include "tools/story_words.h"
#include "tools/trace_spans.h"

using STORY = std::vector<std::string>;

static void Say(STORY &story, std::string sentence)
{
    sentence[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence[0])));
    story.push_back(sentence + ".");
}

// "DATA of 7".
static std::string ShortText(const FRAME &frame)
{
    return std::string(FrameName(frame.type)) + " of " + StationText(frame.sender);
}

static bool IsEnded(const FRAME &frame)
{
    return frame.end != UNKNOWN_TICK;
}

// The span of what a station did that ends, or begins, with a tick; null if there is none.
static const SPAN *SpanAt(const std::vector<SPAN> &spans, uint64_t SPAN::*side, uint64_t tick)
{
    const auto is_found = [&](const SPAN &span) { return span.*side == tick; };
    const auto found = std::find_if(spans.begin(), spans.end(), is_found);
    return found == spans.end() ? nullptr : &*found;
}

// The first event of a kind of a station in a tick, null if there is none.
static const TRACE_EVENT *EventAt(const TRACE &trace, uint64_t tick, int station, EVENT_KIND kind)
{
    const auto found = std::find_if(trace.events.begin(), trace.events.end(), [&](const auto &one) {
        return one.tick == tick && one.station == station && one.kind == kind;
    });
    return found == trace.events.end() ? nullptr : &*found;
}

// The state in which a station waits SIFS before a frame of a type, EMPTY for those that no frame
// comes before.
static int SifsState(int type)
{
    switch (type) {
    case FRAME_CTS:
        return STATE_WTCTS;
    case FRAME_DATA:
        return STATE_WTDAT;
    case FRAME_ACK:
        return STATE_WTACK;
    default:
        return EMPTY;
    }
}

// The frame that this one answers, EMPTY if it answers none that was watched.
static int Answered(const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    const std::vector<SPAN> spans = PhaseSpans(trace, frame.sender);
    const SPAN *wait = frame.is_begun ? SpanAt(spans, &SPAN::end, frame.begin) : nullptr;
    if (wait == nullptr || wait->value != SifsState(frame.type)) {
        return EMPTY;
    }
    // An answer may go astray, but rarely does: the frame of whom it is for comes first.
    int astray = EMPTY;
    for (size_t k = place; k > 0; --k) {
        const FRAME &other = trace.frames[k - 1];
        if (other.type != frame.type - 1 || other.receiver != frame.sender ||
            other.end > frame.begin || frame.begin - other.end > ANSWER_TIMEOUT) {
            continue;
        }
        if (other.sender == frame.receiver) {
            return static_cast<int>(k - 1);
        }
        astray = astray == EMPTY ? static_cast<int>(k - 1) : astray;
    }
    return astray;
}
static_assert(FRAME_RTS + 1 == FRAME_CTS && FRAME_CTS + 1 == FRAME_DATA &&
              FRAME_DATA + 1 == FRAME_ACK); // each answers the one before

// The frame that answers this one, null if none that was watched does.
static const FRAME *AnswerOf(const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    for (size_t k = place + 1; k < trace.frames.size() && IsEnded(frame); ++k) {
        const FRAME &other = trace.frames[k];
        if (other.begin > frame.end + ANSWER_TIMEOUT) {
            break;
        }
        if (other.sender == frame.receiver && Answered(trace, k) == static_cast<int>(place)) {
            return &other;
        }
    }
    return nullptr;
}

static void TellBegin(STORY &story, const TRACE &trace, const FRAME &frame)
{
    std::string text = AtTick(frame.begin) + (frame.is_begun ? "" : "already, before the watch, ") +
                       Station(frame.sender) + (frame.is_begun ? " begins " : " began ") +
                       FrameName(frame.type) + " to " + StationText(frame.receiver);
    if (frame.src != EMPTY) {
        text += ": packet " + std::to_string(frame.seq) + " of " + std::to_string(frame.src) +
                " for " + std::to_string(frame.dst) + ", retry " + std::to_string(frame.retry);
    }
    if (IsEnded(frame)) {
        text += "; it takes " + std::to_string(frame.end - frame.begin) + " us";
    }
    Say(story, text);
    if (!IsEnded(frame)) {
        Say(story, "the watch ends with tick " + std::to_string(trace.until - 1) +
                       ", before the frame does: who hears it to its end and what comes of it "
                       "lies behind the watch");
    }
    if (!frame.is_begun) {
        Say(story, "how others hear it is not known, as its beginning was not watched");
    }
}

// Whether a span may be the rest of one that began before the watch.
static bool IsCut(const TRACE &trace, int station, const SPAN &span)
{
    return span.begin == trace.from && trace.first[station].phase == span.value;
}

// "from tick 34", or what is known if it was so already when the watch began.
static std::string FromTick(const TRACE &trace, int station, const SPAN &span)
{
    if (IsCut(trace, station, span)) {
        return "since before the watch";
    }
    // The span of a wait behind a NAV begins with the last tick of the NAV, which does not count.
    const uint64_t begin = span.value == PHASE_DIFS   ? span.end - DIFS
                           : span.value == PHASE_EIFS ? span.end - EIFS
                                                      : span.begin;
    return "from tick " + std::to_string(begin);
}

// How a contending station came to send.
static void TellContention(STORY &story, const TRACE &trace, const FRAME &frame,
                           const std::vector<SPAN> &spans, const SPAN &last)
{
    const int sender = frame.sender;
    const bool is_backoff = last.value == PHASE_BACKOFF;
    const SPAN *wait = is_backoff ? SpanAt(spans, &SPAN::end, last.begin) : &last;
    std::string text = "the medium was idle for ";
    if (wait != nullptr && (wait->value == PHASE_DIFS || wait->value == PHASE_EIFS)) {
        text += PhaseName(wait->value);
        text += " " + FromTick(trace, sender, *wait);
        text += is_backoff ? ", and for " : "; no backoff was left";
    }
    if (is_backoff) {
        const bool is_cut = IsCut(trace, sender, last);
        text += (is_cut ? "the last " : "") + Count(SlotsOf(last.backoff), "slot") +
                " of backoff " + FromTick(trace, sender, last);
    }
    Say(story, text);
}

static void TellWhyItMay(STORY &story, const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    if (!frame.is_begun) {
        return;
    }
    const int answered = Answered(trace, place);
    if (answered != EMPTY) {
        const FRAME &asking = trace.frames[static_cast<size_t>(answered)];
        const uint64_t gap = frame.begin - asking.end;
        Say(story, "it answers " + ShortText(asking) + ", which ended at tick " +
                       std::to_string(asking.end) + ", " +
                       (gap == SIFS ? "after SIFS" : std::to_string(gap) + " ticks later"));
        return;
    }
    const std::vector<SPAN> spans = PhaseSpans(trace, frame.sender);
    const SPAN *last = SpanAt(spans, &SPAN::end, frame.begin);
    if (last == nullptr) {
        Say(story, "what it waited for lies before the watch");
    } else if (last->value == PHASE_DIFS || last->value == PHASE_EIFS ||
               last->value == PHASE_BACKOFF) {
        TellContention(story, trace, frame, spans, *last);
    } else if (last->value == PHASE_DEFER) {
        Say(story, Station(frame.sender) + " deferred up to then; no wait was left");
    } else if (last->value == SifsState(frame.type)) {
        Say(story, "it comes after SIFS; which frame it answers was not watched");
    }
}

static void TellHearing(STORY &story, const FRAME &frame)
{
    if (frame.hearers == 0) {
        Say(story, "nobody is in range to hear it");
        return;
    }
    if (!frame.is_begun || !IsEnded(frame)) {
        return;
    }
    uint32_t with[OUTCOME_SENDING + 1] = {};
    for (const int station : STATION_SET{frame.hearers}) {
        Put(with[OutcomeOf(frame, station)], station, true);
    }
    std::string text;
    const auto add = [&text](uint32_t set, const std::string &clause) {
        text += set == 0 ? "" : (text.empty() ? "" : "; ") + clause;
    };
    const auto who = [&with](OUTCOME outcome, const char *verb) {
        return Stations(with[outcome]) + verb + Ending(with[outcome]);
    };
    add(with[OUTCOME_CLEAN], who(OUTCOME_CLEAN, " hear") + " it from end to end");
    add(with[OUTCOME_SENDING], who(OUTCOME_SENDING, " send") + " meanwhile");
    add(with[OUTCOME_SPOILED],
        "at " + Stations(with[OUTCOME_SPOILED]) + " another signal overlaps it");
    add(with[OUTCOME_MISSED],
        who(OUTCOME_MISSED, " never lock") + " to it, as others overlapped just before");
    Say(story, text);
}

// Whether a station has in a tick this frame as the copy that it got last. Of frames begun together
// the last one in the trace is copied last.
static bool IsLatestCopy(const TRACE &trace, size_t place, int station, uint64_t tick)
{
    const auto is_copied = [&](const FRAME &one) {
        return one.begin <= tick && Has(one.hearers, station) && !Has(one.missed, station);
    };
    const auto later = trace.frames.begin() + static_cast<std::ptrdiff_t>(place) + 1;
    return is_copied(trace.frames[place]) && std::none_of(later, trace.frames.end(), is_copied);
}

// Whether a NAV raised at a station in a tick is of this frame. An ACK sets none.
static bool IsNavOf(const TRACE &trace, size_t place, int station, uint64_t tick)
{
    const FRAME &frame = trace.frames[place];
    return frame.is_begun && frame.type != FRAME_ACK && IsLatestCopy(trace, place, station, tick);
}

// A CTS that comes into a spoiled reception may outlive the overlap, and is taken then.
static const char *const LATE_NAV = ", though it is over: its copy was kept";

static void TellNavs(STORY &story, const TRACE &trace, size_t place)
{
    uint32_t set = 0;
    uint64_t tick = 0;
    int32_t ticks = 0;
    const auto flush = [&]() {
        if (set != 0) {
            Say(story, AtTick(tick) + Stations(set) + " set" + Ending(set) +
                           (std::has_single_bit(set) ? " its" : " their") + " NAV to " +
                           Count(ticks, "tick") + (tick > trace.frames[place].end ? LATE_NAV : ""));
        }
        set = 0;
    };
    for (const TRACE_EVENT &event : trace.events) {
        if (event.kind != EVENT_NAV || event.value == 0 ||
            !IsNavOf(trace, place, event.station, event.tick)) {
            continue;
        }
        if (event.tick != tick || event.value != ticks) {
            flush();
        }
        tick = event.tick;
        ticks = event.value;
        Put(set, event.station, true);
    }
    flush();
}

// The other frame as this one finds it, and what that makes the collision.
static std::string MeetingText(const FRAME &own, const FRAME &other, int row)
{
    const char *when = own.begin < other.begin ? "later" : "earlier";
    return ShortText(other) + ", which began " +
           (own.begin == other.begin ? "in the same tick" : when) + "; their senders " +
           (row == ROW_CON ? "sense each other: contention" : "are hidden from each other");
}

static void TellCollisions(STORY &story, const TRACE &trace, size_t place)
{
    const auto own = static_cast<int32_t>(place);
    for (const TRACE_EVENT &event : trace.events) {
        if (event.kind != EVENT_COLLISION || (event.frame != own && event.value != own)) {
            continue;
        }
        const bool is_victim = event.frame == own;
        const FRAME &other =
            trace.frames[static_cast<size_t>(is_victim ? event.value : event.frame)];
        Say(story, AtTick(event.tick) + "it " + (is_victim ? "meets, " : "hits, ") + "at " +
                       Station(event.station) + ", " +
                       MeetingText(trace.frames[place], other, event.extra) +
                       (is_victim ? " (" : " (for that frame ") + ClassName(event.extra) + ")");
    }
}

static std::string QueueText(int32_t packets)
{
    return packets == 0
               ? "its queue is empty"
               : Count(packets, "packet") + (packets == 1 ? " waits" : " wait") + " in its queue";
}

// " and draws a backoff of 7 slots (window 15)", if the station does so in this tick.
static std::string DrawText(const TRACE &trace, const TRACE_EVENT &event)
{
    const TRACE_EVENT *draw = EventAt(trace, event.tick, event.station, EVENT_BACKOFF);
    return draw == nullptr ? ""
                           : " and draws a backoff of " + Count(draw->value, "slot") + " (window " +
                                 std::to_string(draw->extra) + ")";
}

static std::string TimeoutText(const TRACE &trace, const TRACE_EVENT &event)
{
    const TRACE_EVENT *drop = EventAt(trace, event.tick, event.station, EVENT_DROP);
    const std::string missing = event.value == EMPTY
                                    ? "the SIFS has not passed"
                                    : std::string("no ") + FrameName(event.value) + " has come";
    std::string text = missing + ": " + Station(event.station);
    text += drop == nullptr ? " gives up waiting" : " drops " + Packet(drop->value);
    text += DrawText(trace, event);
    return drop == nullptr ? text : text + "; " + QueueText(drop->extra);
}

// What an event that names the frame says of it, empty if that is told elsewhere.
static std::string FateText(const TRACE &trace, const TRACE_EVENT &event)
{
    const std::string packet = Packet(event.value);
    switch (event.kind) {
    case EVENT_DELIVER:
        return Station(event.station) + " takes " + packet + " as new and delivers it";
    case EVENT_RELAY:
        return Station(event.station) + " takes " + packet + " as new and queues it to relay it; " +
               QueueText(event.extra);
    case EVENT_DUPLICATE:
        return Station(event.station) + " knows the packet already";
    case EVENT_ACKED:
        return Station(event.station) + " has its ACK" + DrawText(trace, event) + "; " +
               QueueText(event.extra);
    case EVENT_TIMEOUT:
        return TimeoutText(trace, event);
    default:
        return "";
    }
}

// What becomes of the wait behind the frame, where no event names the frame.
static void TellWait(STORY &story, const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    const std::vector<SPAN> spans = PhaseSpans(trace, frame.sender);
    const SPAN *wait = IsEnded(frame) ? SpanAt(spans, &SPAN::begin, frame.end) : nullptr;
    if (wait == nullptr ||
        (wait->value != STATE_WRCTS && wait->value != STATE_WRDAT && wait->value != STATE_RACK)) {
        return;
    }
    const std::string sender = Station(frame.sender);
    const std::string awaited = FrameName(frame.type + 1);
    if (wait->end == trace.until) {
        Say(story, sender + " still waits for " + awaited +
                       " when the watch ends: what comes of it lies behind the watch");
        return;
    }
    const SPAN *next = SpanAt(spans, &SPAN::begin, wait->end);
    const bool is_data = next != nullptr && next->value == STATE_RDAT; // told as the answer
    if (next != nullptr && next->value == STATE_WTDAT) {
        Say(story, AtTick(wait->end) + sender + " has its CTS");
    } else if (!is_data && EventAt(trace, wait->end, frame.sender, EVENT_ACKED) == nullptr &&
               EventAt(trace, wait->end, frame.sender, EVENT_TIMEOUT) == nullptr) {
        Say(story, AtTick(wait->end) + sender + " stops waiting for " + awaited);
    }
}

// Whether the receiver has refused the packet: it acknowledges it all the same.
static bool IsRefused(const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    const auto has = [&](EVENT_KIND kind) {
        return EventAt(trace, frame.end, frame.receiver, kind) != nullptr;
    };
    const TRACE_EVENT *phase = EventAt(trace, frame.end, frame.receiver, EVENT_PHASE);
    return frame.type == FRAME_DATA && frame.dst != frame.receiver && has(EVENT_REFUSED) &&
           !has(EVENT_RELAY) && !has(EVENT_DUPLICATE) && phase != nullptr &&
           phase->value == STATE_WTACK && IsLatestCopy(trace, place, frame.receiver, frame.end);
}

// "; its NAV runs until tick 390", if it runs where the frame ends.
static std::string NavText(const TRACE &trace, const FRAME &frame)
{
    uint64_t end = 0;
    for (const SPAN &span : NavSpans(trace, frame.receiver)) {
        const bool is_here = span.begin <= frame.end && frame.end < span.end;
        const bool is_raised = end != 0 && span.begin == end; // while it ran
        end = is_here || is_raised ? span.end : end;
    }
    if (end == 0) {
        return "";
    }
    return end == trace.until ? "; its NAV runs"
                              : "; its NAV runs until tick " + std::to_string(end);
}

static void TellAnswer(STORY &story, const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames[place];
    const FRAME *answer = AnswerOf(trace, place);
    if (IsRefused(trace, place)) {
        Say(story, AtTick(frame.end) + Station(frame.receiver) + " refuses " + Packet(frame.seq) +
                       ", as its queue is full");
    }
    if (answer != nullptr) {
        const bool is_astray = answer->receiver != frame.sender;
        Say(story, AtTick(answer->begin) + Station(answer->sender) + " answers with " +
                       FrameName(answer->type) +
                       (is_astray ? ", but to " + StationText(answer->receiver) : ""));
        return;
    }
    const bool is_known = IsEnded(frame) && frame.end + ANSWER_TIMEOUT < trace.until;
    if (frame.type != FRAME_ACK && frame.receiver != EMPTY && is_known) {
        const bool is_far = !Has(frame.hearers, frame.receiver);
        Say(story, Station(frame.receiver) + " does not answer" +
                       (is_far ? ": it is out of range" : NavText(trace, frame)));
    }
}

// An answer ends an exchange at the station that it is for, or comes to one that does not await it.
static void TellArrival(STORY &story, const TRACE &trace, const FRAME &frame)
{
    const bool is_answer = frame.type == FRAME_ACK || frame.type == FRAME_CTS;
    if (!is_answer || frame.receiver == EMPTY || !IsEnded(frame)) {
        return;
    }
    const TRACE_EVENT *acked = EventAt(trace, frame.end, frame.receiver, EVENT_ACKED);
    const std::vector<SPAN> spans = PhaseSpans(trace, frame.receiver);
    const SPAN *next = SpanAt(spans, &SPAN::begin, frame.end);
    if (frame.type == FRAME_ACK && acked != nullptr) {
        Say(story, AtTick(frame.end) + FateText(trace, *acked));
    } else if (frame.type == FRAME_CTS && next != nullptr && next->value == STATE_WTDAT) {
        Say(story, AtTick(frame.end) + Station(frame.receiver) + " has its CTS");
    } else {
        Say(story,
            AtTick(frame.end) + "it ends, and " + Station(frame.receiver) + " does not take it");
    }
}

std::vector<std::string> FrameStory(const TRACE &trace, size_t place)
{
    const FRAME &frame = trace.frames.at(place);
    STORY story;
    TellBegin(story, trace, frame);
    TellWhyItMay(story, trace, place);
    TellHearing(story, frame);
    TellNavs(story, trace, place);
    TellCollisions(story, trace, place);
    STORY fates;
    for (const TRACE_EVENT &event : trace.events) {
        const bool is_taken = event.kind == EVENT_DELIVER || event.kind == EVENT_RELAY ||
                              event.kind == EVENT_DUPLICATE;
        const std::string fate =
            event.frame == static_cast<int32_t>(place) ? FateText(trace, event) : "";
        if (!fate.empty()) {
            Say(is_taken ? story : fates, AtTick(event.tick) + fate);
        }
    }
    TellArrival(story, trace, frame);
    TellAnswer(story, trace, place);
    TellWait(story, trace, place);
    story.insert(story.end(), fates.begin(), fates.end());
    return story;
}
