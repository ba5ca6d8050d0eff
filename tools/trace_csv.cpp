// A trace as a table of events.
#include <string>

#include "tools/trace_forms.h"
#include "tools/trace_spans.h"

static std::string Pair(const char *name, int64_t value)
{
    return std::string(name) + "=" + std::to_string(value);
}

static std::string PacketDetail(const TRACE_EVENT &event)
{
    return Pair("packet", event.value) + " " + Pair("queue", event.extra);
}

// The frame that an event is of, null if it is of none.
static const FRAME *FrameOf(const TRACE &trace, const TRACE_EVENT &event)
{
    return event.frame == EMPTY ? nullptr : &trace.frames[static_cast<size_t>(event.frame)];
}

std::string EventDetail(const TRACE &trace, const TRACE_EVENT &event)
{
    const FRAME *frame = FrameOf(trace, event);
    switch (event.kind) {
    case EVENT_BEGIN:
        return frame == nullptr || frame->src == EMPTY
                   ? ""
                   : Pair("src", frame->src) + " " + Pair("dst", frame->dst) + " " +
                         Pair("packet", frame->seq);
    case EVENT_HEAR:
        return OutcomeName(static_cast<OUTCOME>(event.value));
    case EVENT_COLLISION: {
        const FRAME &other = trace.frames[static_cast<size_t>(event.value)];
        return std::string(ClassName(event.extra)) + " by " + FrameName(other.type) + " of " +
               StationText(other.sender);
    }
    case EVENT_ARRIVAL:
    case EVENT_ACKED:
    case EVENT_DROP:
    case EVENT_RELAY:
        return PacketDetail(event);
    case EVENT_TIMEOUT:
        return event.value == EMPTY ? "" : std::string("no ") + FrameName(event.value);
    case EVENT_DELIVER:
        return Pair("packet", event.value);
    case EVENT_NAV:
        return event.value == 0 ? "" : Pair("ticks", event.value);
    case EVENT_BACKOFF:
        return Pair("slots", event.value) + " " + Pair("cw", event.extra);
    case EVENT_FREEZE:
        return Pair("slots", event.value);
    case EVENT_PHASE:
        return PhaseName(event.value);
    default:
        return "";
    }
}

bool WriteTraceCsv(FILE *file, const TRACE &trace)
{
    std::fputs("tick,station,event,frame,peer,retry,detail\n", file);
    for (const TRACE_EVENT &event : trace.events) {
        const FRAME *frame = FrameOf(trace, event);
        std::string peer;
        if (frame != nullptr) {
            const int other = frame->sender == event.station ? frame->receiver : frame->sender;
            peer = other == EMPTY ? "" : std::to_string(other);
        }
        std::fprintf(file, "%llu,%d,%s,%s,%s,%d,%s\n", static_cast<unsigned long long>(event.tick),
                     event.station, EventName(event.kind, event.value),
                     frame == nullptr ? "" : FrameName(frame->type), peer.c_str(),
                     frame == nullptr ? event.retry : frame->retry,
                     EventDetail(trace, event).c_str());
    }
    return std::ferror(file) == 0;
}
