#include "tools/trace_spans.h"

#include <algorithm>

int32_t SlotsOf(int32_t ticks)
{
    return (ticks + SLOT - 1) / SLOT;
}

const char *ClassName(int row)
{
    switch (row) {
    case ROW_CON:
        return "con";
    case ROW_PHY:
        return "hid/phy";
    case ROW_PRO:
        return "hid/pro";
    case ROW_HCON:
        return "hid/hcon";
    default:
        return "";
    }
}

std::string StationText(int station)
{
    return station == EMPTY ? "nobody" : std::to_string(station);
}

std::string FrameText(const FRAME &frame)
{
    std::string text = FrameName(frame.type);
    text += " from " + StationText(frame.sender) + " to " + StationText(frame.receiver);
    if (frame.src != EMPTY) {
        text += ", packet " + std::to_string(frame.seq) + " of " + StationText(frame.src) +
                " for " + StationText(frame.dst) + ", retry " + std::to_string(frame.retry);
    }
    text += ", from tick " + std::to_string(frame.begin);
    return frame.end == UNKNOWN_TICK ? text : text + " to " + std::to_string(frame.end);
}

// Ends the span that is open, if there is one that is not empty.
static void EndSpan(std::vector<SPAN> &spans, uint64_t tick)
{
    if (!spans.empty() && spans.back().end == UNKNOWN_TICK) {
        spans.back().end = tick;
        if (spans.back().begin >= tick) {
            spans.pop_back();
        }
    }
}

static void BeginSpan(std::vector<SPAN> &spans, uint64_t tick, int32_t value, int32_t backoff,
                      int32_t retry)
{
    EndSpan(spans, tick);
    spans.push_back({tick, UNKNOWN_TICK, value, backoff, retry});
}

std::vector<SPAN> PhaseSpans(const TRACE &trace, int station)
{
    std::vector<SPAN> spans;
    const VIEW &first = trace.first[station];
    int32_t backoff = first.backoff_left;
    BeginSpan(spans, trace.from, first.phase, backoff, first.retry_count);
    for (const TRACE_EVENT &event : trace.events) {
        if (event.station != station) {
            continue;
        }
        if (event.kind == EVENT_BACKOFF || event.kind == EVENT_FREEZE) {
            backoff = event.value * SLOT;
        } else if (event.kind == EVENT_PHASE) {
            BeginSpan(spans, event.tick, event.value, backoff, event.retry);
        }
    }
    EndSpan(spans, trace.until);
    return spans;
}

std::vector<SPAN> NavSpans(const TRACE &trace, int station)
{
    std::vector<SPAN> spans;
    if (trace.first[station].nav > 0) {
        BeginSpan(spans, trace.from, trace.first[station].nav, 0, 0);
    }
    for (const TRACE_EVENT &event : trace.events) {
        if (event.station != station || event.kind != EVENT_NAV) {
            continue;
        }
        if (event.value > 0) {
            BeginSpan(spans, event.tick, event.value, 0, event.retry);
        } else {
            EndSpan(spans, event.tick + 1); // it still held in this tick
        }
    }
    EndSpan(spans, trace.until);
    return spans;
}

std::vector<SPAN> OverlapSpans(const TRACE &trace, int station)
{
    std::vector<SPAN> spans;
    if (trace.first[station].rx_error != 0) {
        BeginSpan(spans, trace.from, 1, 0, 0);
    }
    for (const TRACE_EVENT &event : trace.events) {
        if (event.station != station || event.kind != EVENT_OVERLAP) {
            continue;
        }
        if (event.value != 0) {
            BeginSpan(spans, event.tick, 1, 0, event.retry);
        } else {
            EndSpan(spans, event.tick);
        }
    }
    EndSpan(spans, trace.until);
    return spans;
}

// Adds a step; the last one of a tick counts.
static void AddStep(std::vector<STEP> &steps, uint64_t tick, int32_t value)
{
    if (!steps.empty() && steps.back().tick == tick) {
        steps.back().value = value;
    } else if (steps.empty() || steps.back().value != value) {
        steps.push_back({tick, value});
    }
}

std::vector<STEP> QueueSteps(const TRACE &trace, int station)
{
    std::vector<STEP> steps = {{trace.from, trace.first[station].buffer_num}};
    for (const TRACE_EVENT &event : trace.events) {
        if (event.station == station && (event.kind == EVENT_ARRIVAL || event.kind == EVENT_RELAY ||
                                         event.kind == EVENT_ACKED || event.kind == EVENT_DROP)) {
            AddStep(steps, event.tick, event.extra);
        }
    }
    return steps;
}

std::vector<STEP> BackoffSteps(const TRACE &trace, int station)
{
    std::vector<STEP> steps;
    for (const SPAN &span : PhaseSpans(trace, station)) {
        AddStep(steps, span.begin, SlotsOf(span.backoff));
        if (span.value != PHASE_BACKOFF) {
            continue;
        }
        for (int32_t slots = SlotsOf(span.backoff) - 1; slots >= 0; --slots) {
            const uint64_t tick = span.begin + static_cast<uint64_t>(span.backoff - slots * SLOT);
            if (tick >= span.end) {
                break;
            }
            AddStep(steps, tick, slots);
        }
    }
    return steps;
}

std::vector<STEP> WindowSteps(const TRACE &trace, int station)
{
    std::vector<STEP> steps = {{trace.from, trace.first[station].cw}};
    for (const TRACE_EVENT &event : trace.events) {
        if (event.station == station && event.kind == EVENT_BACKOFF) {
            AddStep(steps, event.tick, event.extra);
        }
    }
    return steps;
}
