// A trace as trace events in JSON, which the Perfetto viewer and chrome://tracing open.
//
// A station is a process with two tracks and three counters. On the first track its states lie end
// to end, with the frames that it sends inside, and at the end of each reception a slice of one
// tick, where the arrow from the frame arrives. The second track has the NAV. All begin and end at
// whole ticks, so that slices nest.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <vector>

#include "driver/station_set.h"
#include "tools/trace_forms.h"
#include "tools/trace_spans.h"

constexpr int TRACK_STATION = 1;
constexpr int TRACK_NAV = 2;

// The viewers have a meaning of their own for process 0.
static int ProcessOf(int station)
{
    return station + 1;
}

static void WriteNames(FILE *file, int station)
{
    const int pid = ProcessOf(station);
    std::fprintf(file,
                 ",\n{\"ph\":\"M\",\"pid\":%d,\"name\":\"process_name\","
                 "\"args\":{\"name\":\"station %d\"}}",
                 pid, station);
    std::fprintf(file,
                 ",\n{\"ph\":\"M\",\"pid\":%d,\"name\":\"process_sort_index\","
                 "\"args\":{\"sort_index\":%d}}",
                 pid, pid);
    for (const int track : {TRACK_STATION, TRACK_NAV}) {
        std::fprintf(file,
                     ",\n{\"ph\":\"M\",\"pid\":%d,\"tid\":%d,\"name\":\"thread_name\","
                     "\"args\":{\"name\":\"%s\"}}",
                     pid, track, track == TRACK_NAV ? "NAV" : "states and frames");
    }
}

// A slice; the caller adds its arguments and closes it.
static void BeginSlice(FILE *file, int station, int track, uint64_t begin, uint64_t end,
                       const char *category)
{
    std::fprintf(file,
                 ",\n{\"ph\":\"X\",\"pid\":%d,\"tid\":%d,\"ts\":%" PRIu64 ",\"dur\":%" PRIu64
                 ",\"cat\":\"%s\",",
                 ProcessOf(station), track, begin, end - begin, category);
}

static void WriteSpans(FILE *file, const TRACE &trace, int station)
{
    for (const SPAN &span : PhaseSpans(trace, station)) {
        BeginSlice(file, station, TRACK_STATION, span.begin, span.end, "state");
        std::fprintf(file, "\"name\":\"%s\",\"args\":{\"backoff_slots\":%d,\"retry\":%d}}",
                     PhaseName(span.value), SlotsOf(span.backoff), span.retry);
    }
    for (const SPAN &span : NavSpans(trace, station)) {
        BeginSlice(file, station, TRACK_NAV, span.begin, span.end, "nav");
        std::fprintf(file, "\"name\":\"NAV %d\",\"args\":{\"ticks\":%d}}", span.value, span.value);
    }
}

static void WriteCounter(FILE *file, int station, const char *name, const std::vector<STEP> &steps)
{
    for (const STEP &step : steps) {
        std::fprintf(file,
                     ",\n{\"ph\":\"C\",\"pid\":%d,\"ts\":%" PRIu64
                     ",\"name\":\"%s\",\"args\":{\"%s\":%d}}",
                     ProcessOf(station), step.tick, name, name, step.value);
    }
}

// One end of an arrow: "s" where it begins, "f" where it ends.
static void WriteArrow(FILE *file, const char *phase, size_t number, int station, uint64_t tick)
{
    std::fprintf(file,
                 ",\n{\"ph\":\"%s\",\"bp\":\"e\",\"id\":%zu,\"pid\":%d,\"tid\":%d,\"ts\":%" PRIu64
                 ",\"cat\":\"frame\",\"name\":\"frame\"}",
                 phase, number, ProcessOf(station), TRACK_STATION, tick);
}

// A frame at its sender, what its hearers get of it, and an arrow to each that has received it.
static void WriteFrame(FILE *file, const TRACE &trace, const FRAME &frame, size_t &arrow_num)
{
    const uint64_t begin = std::max(frame.begin, trace.from);
    const uint64_t end = std::min(frame.end, trace.until);
    if (begin >= end) {
        return;
    }
    BeginSlice(file, frame.sender, TRACK_STATION, begin, end, "frame");
    std::fprintf(file, "\"name\":\"%s to %s\",\"args\":{\"frame\":\"%s\"}}", FrameName(frame.type),
                 StationText(frame.receiver).c_str(), FrameText(frame).c_str());
    if (frame.end == UNKNOWN_TICK || !frame.is_begun) {
        return; // what others have heard of it is not known as a whole
    }
    for (const int hearer : STATION_SET{frame.hearers}) {
        const OUTCOME outcome = OutcomeOf(frame, hearer);
        BeginSlice(file, hearer, TRACK_STATION, end - 1, end, "hear");
        std::fprintf(file, "\"name\":\"%s of %d: %s\",\"args\":{\"frame\":\"%s\"}}",
                     FrameName(frame.type), frame.sender, OutcomeName(outcome),
                     FrameText(frame).c_str());
        if (outcome == OUTCOME_CLEAN || outcome == OUTCOME_SPOILED) {
            WriteArrow(file, "s", arrow_num, frame.sender, begin);
            WriteArrow(file, "f", arrow_num, hearer, end - 1);
            ++arrow_num;
        }
    }
}

static void WriteCollisions(FILE *file, const TRACE &trace)
{
    for (const TRACE_EVENT &event : trace.events) {
        if (event.kind == EVENT_COLLISION) {
            const FRAME &victim = trace.frames[static_cast<size_t>(event.frame)];
            const FRAME &other = trace.frames[static_cast<size_t>(event.value)];
            std::fprintf(file,
                         ",\n{\"ph\":\"i\",\"s\":\"t\",\"pid\":%d,\"tid\":%d,\"ts\":%" PRIu64
                         ",\"cat\":\"collision\",\"name\":\"collision %s\","
                         "\"args\":{\"frame\":\"%s\",\"with\":\"%s\"}}",
                         ProcessOf(event.station), TRACK_STATION, event.tick,
                         ClassName(event.extra), FrameText(victim).c_str(),
                         FrameText(other).c_str());
        }
    }
}

bool WriteTracePerfetto(FILE *file, const TRACE &trace)
{
    std::fputs("{\"displayTimeUnit\":\"ns\",\"traceEvents\":[\n", file);
    std::fputs("{\"ph\":\"M\",\"pid\":1,\"name\":\"process_labels\","
               "\"args\":{\"labels\":\"1 tick is 1 us\"}}",
               file);
    for (int i = 0; i < NODE_NUM; ++i) {
        WriteNames(file, i);
        WriteSpans(file, trace, i);
        WriteCounter(file, i, "queue", QueueSteps(trace, i));
        WriteCounter(file, i, "backoff", BackoffSteps(trace, i));
        WriteCounter(file, i, "contention window", WindowSteps(trace, i));
    }
    size_t arrow_num = 0;
    for (const FRAME &frame : trace.frames) {
        WriteFrame(file, trace, frame, arrow_num);
    }
    WriteCollisions(file, trace);
    std::fputs("\n]}\n", file);
    return std::ferror(file) == 0;
}
