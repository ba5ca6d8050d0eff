#include "web/trace_json.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "driver/constants.h"
#include "tools/trace_forms.h"
#include "tools/trace_spans.h"

using nlohmann::json;

static json Steps(const std::vector<STEP> &steps)
{
    json list = json::array();
    for (const STEP &step : steps) {
        list.push_back({step.tick, step.value});
    }
    return list;
}

static json LaneJson(const TRACE &trace, int station)
{
    json phases = json::array();
    for (const SPAN &span : PhaseSpans(trace, station)) {
        phases.push_back({span.begin, span.end, span.value, span.backoff, span.retry});
    }
    json navs = json::array();
    for (const SPAN &span : NavSpans(trace, station)) {
        navs.push_back({span.begin, span.end, span.value});
    }
    json overlaps = json::array();
    for (const SPAN &span : OverlapSpans(trace, station)) {
        overlaps.push_back({span.begin, span.end});
    }
    return {{"phases", phases},
            {"navs", navs},
            {"overlaps", overlaps},
            {"queue", Steps(QueueSteps(trace, station))},
            {"window", Steps(WindowSteps(trace, station))}};
}

static json FrameJson(const FRAME &frame)
{
    return {
        {"begin", frame.begin},       {"end", frame.end == UNKNOWN_TICK ? json() : json(frame.end)},
        {"type", frame.type},         {"sender", frame.sender},
        {"receiver", frame.receiver}, {"src", frame.src},
        {"dst", frame.dst},           {"seq", frame.seq},
        {"retry", frame.retry}};
}

// What a lane marks beside its spans.
static bool IsMark(EVENT_KIND kind)
{
    switch (kind) {
    case EVENT_ARRIVAL:
    case EVENT_TIMEOUT:
    case EVENT_ACKED:
    case EVENT_DROP:
    case EVENT_DELIVER:
    case EVENT_RELAY:
    case EVENT_REFUSED:
    case EVENT_COLLISION:
        return true;
    default:
        return false;
    }
}

std::string TraceJson(const TRACE &trace)
{
    json phases = json::array();
    for (int phase = 0; phase < PHASE_NUM; ++phase) {
        const char *name = PhaseName(phase);
        phases.push_back(name == nullptr ? json() : json(name));
    }
    json lanes = json::array();
    for (int i = 0; i < NODE_NUM; ++i) {
        lanes.push_back(LaneJson(trace, i));
    }
    json frames = json::array();
    for (const FRAME &frame : trace.frames) {
        frames.push_back(FrameJson(frame));
    }
    json marks = json::array();
    for (const TRACE_EVENT &event : trace.events) {
        if (IsMark(event.kind)) {
            marks.push_back({event.tick, event.station, EventName(event.kind, event.value),
                             EventDetail(trace, event)});
        }
    }
    return json({{"from", trace.from},
                 {"until", trace.until},
                 {"slot", SLOT},
                 {"phases", phases},
                 {"frame_names",
                  {FrameName(FRAME_RTS), FrameName(FRAME_CTS), FrameName(FRAME_DATA),
                   FrameName(FRAME_ACK)}},
                 {"lanes", lanes},
                 {"frames", frames},
                 {"marks", marks}})
        .dump();
}
