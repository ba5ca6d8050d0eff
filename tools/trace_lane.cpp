// The lane of a station in the drawing of a trace.
//
//     station 0   | DATA to 1          |                | frames sent, overlaps, what went wrong
//     queue 3     | TDAT               | RACK           | what the station does
//     CW 15       |                 q4                  | NAV, and changes of the queue
#include "tools/trace_sheet.h"

#include <initializer_list>
#include <iterator>

constexpr double FRAME_ROW = 18.0; // height of the rows of a lane
constexpr double STATE_ROW = 16.0;
constexpr double NAV_ROW = 12.0;

// The part of a block that lies in a strip.
struct BOX {
    double x;
    double y;
    double width;
    double height;
};

LANE LaneOf(const TRACE &trace, int station)
{
    LANE lane = {.station = station,
                 .phases = PhaseSpans(trace, station),
                 .navs = NavSpans(trace, station),
                 .overlaps = OverlapSpans(trace, station),
                 .queue = QueueSteps(trace, station),
                 .window = WindowSteps(trace, station),
                 .frames = {},
                 .marks = {}};
    std::copy_if(trace.frames.begin(), trace.frames.end(), std::back_inserter(lane.frames),
                 [&](const FRAME &frame) { return frame.sender == station; });
    const auto is_mark = [&](const TRACE_EVENT &event) {
        switch (event.kind) {
        case EVENT_COLLISION:
        case EVENT_TIMEOUT:
        case EVENT_REFUSED:
        case EVENT_DROP:
        case EVENT_ARRIVAL:
        case EVENT_RELAY:
        case EVENT_ACKED:
            return event.station == station;
        default:
            return false;
        }
    };
    std::copy_if(trace.events.begin(), trace.events.end(), std::back_inserter(lane.marks), is_mark);
    return lane;
}

// The part of the ticks `begin` .. `end` - 1 in the strip; its width is 0 or less if there is none.
static BOX Cut(const SHEET &sheet, const STRIP &strip, uint64_t begin, uint64_t end)
{
    const uint64_t from = std::max(begin, strip.begin);
    const uint64_t until = std::min(end, strip.end);
    if (from >= until) {
        return {};
    }
    const double x = At(sheet, strip, from);
    return {x, 0.0, At(sheet, strip, until) - x, 0.0};
}

static std::string Joined(std::initializer_list<std::string> parts)
{
    std::string text;
    for (const std::string &part : parts) {
        text += part;
    }
    return text;
}

// The first of the texts that fits, which go from long to short; empty if none does.
static std::string Fitting(double width, double font, std::initializer_list<std::string> texts)
{
    for (const std::string &text : texts) {
        if (TextWidth(text, font) + 2 <= width) {
            return text;
        }
    }
    return "";
}

// A block with a text in its middle and a title for the pointer.
static void WriteBlock(FILE *file, const BOX &block, const char *kind, const char *fill,
                       const std::string &title, const std::string &text, double font)
{
    std::fprintf(file,
                 "<g><title>%s</title><rect class=\"%s\" x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" "
                 "height=\"%.1f\" fill=\"%s\"/>\n",
                 title.c_str(), kind, block.x, block.y, block.width, block.height, fill);
    WriteText(file, block.x + block.width / 2, block.y + block.height / 2 + font * 0.36, font,
              " text-anchor=\"middle\"", text);
    std::fputs("</g>\n", file);
}

static std::string WhoOf(const LANE &lane)
{
    return "station " + std::to_string(lane.station);
}

static std::string TickText(uint64_t begin, uint64_t end)
{
    return "ticks " + std::to_string(begin) + " to " + std::to_string(end) + " (" +
           std::to_string(end - begin) + " us)";
}

// What a phase is called in a block, from long to short, and in words.
struct WORDS {
    std::string wide;
    std::string narrow;
    std::string title;
};

static WORDS WordsOf(const SPAN &span)
{
    const std::string slots = std::to_string(SlotsOf(span.backoff));
    const std::string left = ", backoff left " + slots + " slots";
    switch (span.value) {
    case PHASE_BACKOFF:
        return {"backoff " + slots, slots, "counts down its backoff: " + slots + " slots left"};
    case PHASE_DIFS:
        return {"DIFS", "", "waits DIFS" + left};
    case PHASE_EIFS:
        return {"EIFS", "", "waits EIFS" + left};
    case PHASE_DEFER:
        return {"waits", "", "has a packet, waits for the medium" + left};
    case STATE_IDLE:
        return {"", "", "idle"};
    case STATE_WTCTS:
    case STATE_WTDAT:
    case STATE_WTACK:
        return {"SIFS", "", std::string(PhaseName(span.value)) + ": waits SIFS"};
    case STATE_RDAT:
        return {"receives DATA", "RDAT", "RDAT: receives DATA"};
    case STATE_RACK:
        return {"awaits ACK", "RACK", "RACK: awaits the ACK"};
    case STATE_WRCTS:
        return {"awaits CTS", "WRCTS", "WRCTS: awaits the CTS"};
    case STATE_WRDAT:
        return {"awaits DATA", "WRDAT", "WRDAT: awaits DATA"};
    default:
        return {PhaseName(span.value), "", std::string(PhaseName(span.value)) + ": sends"};
    }
}

// Lines at the ends of the slots of a backoff.
static void WriteSlots(const SHEET &sheet, const STRIP &strip, const SPAN &span, double y)
{
    std::string path;
    for (int32_t slots = SlotsOf(span.backoff) - 1; slots >= 0; --slots) {
        const uint64_t tick = span.begin + static_cast<uint64_t>(span.backoff - slots * SLOT);
        if (tick >= std::min(span.end, strip.end)) {
            break;
        }
        if (tick > strip.begin) {
            char line[64];
            std::snprintf(line, sizeof line, "M%.1f %.1fv4", At(sheet, strip, tick),
                          y + STATE_ROW - 4);
            path += line;
        }
    }
    if (!path.empty()) {
        std::fprintf(sheet.file, "<path d=\"%s\" stroke=\"#4a7a3a\" stroke-width=\"0.8\"/>\n",
                     path.c_str());
    }
}

static void WritePhases(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    for (const SPAN &span : lane.phases) {
        BOX block = Cut(sheet, strip, span.begin, span.end);
        if (block.width <= 0) {
            continue;
        }
        block.y = top + FRAME_ROW;
        block.height = STATE_ROW;
        const WORDS words = WordsOf(span);
        const std::string retry = span.retry > 0 ? " r" + std::to_string(span.retry) : "";
        WriteBlock(sheet.file, block, "state", PAINTS[span.value].fill,
                   WhoOf(lane) + ": " + words.title + ", retry " + std::to_string(span.retry) +
                       ", " + TickText(span.begin, span.end),
                   Fitting(block.width, SMALL_FONT,
                           {span.value == PHASE_BACKOFF ? words.wide + retry : words.wide,
                            words.wide, words.narrow}),
                   SMALL_FONT);
        if (span.value == PHASE_BACKOFF) {
            WriteSlots(sheet, strip, span, block.y);
        }
    }
}

static void WriteNav(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    for (const SPAN &span : lane.navs) {
        BOX block = Cut(sheet, strip, span.begin, span.end);
        if (block.width <= 0) {
            continue;
        }
        block.y = top + FRAME_ROW + STATE_ROW + 1;
        block.height = NAV_ROW;
        WriteBlock(sheet.file, block, "nav", NAV_FILL,
                   WhoOf(lane) + ": NAV of " + std::to_string(span.value) + ", " +
                       TickText(span.begin, span.end),
                   Fitting(block.width, SMALL_FONT, {"NAV " + std::to_string(span.value), "NAV"}),
                   SMALL_FONT);
    }
}

static void WriteFrames(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    for (const FRAME &frame : lane.frames) {
        BOX block = Cut(sheet, strip, frame.begin, std::min(frame.end, sheet.trace->until));
        if (block.width <= 0) {
            continue;
        }
        block.y = top;
        block.height = FRAME_ROW;
        const std::string name = FrameName(frame.type);
        const std::string to = frame.receiver == EMPTY ? "?" : std::to_string(frame.receiver);
        const std::string retry = frame.retry > 0 ? " r" + std::to_string(frame.retry) : "";
        const std::string packet =
            frame.seq == EMPTY ? "" : ", packet " + std::to_string(frame.seq);
        WriteBlock(sheet.file, block, "frame", FRAME_PAINTS[frame.type].fill, FrameText(frame),
                   Fitting(block.width, FONT,
                           {Joined({name, " to ", to, packet, retry}),
                            Joined({name, " to ", to, retry}), Joined({name, "\u2192", to}), to}),
                   FONT);
    }
}

static void WriteOverlaps(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    for (const SPAN &span : lane.overlaps) {
        BOX block = Cut(sheet, strip, span.begin, span.end);
        if (block.width <= 0) {
            continue;
        }
        block.y = top + 2;
        block.height = FRAME_ROW - 4;
        WriteBlock(sheet.file, block, "overlap", "url(#overlap)",
                   WhoOf(lane) + ": signals overlap, " + TickText(span.begin, span.end), "",
                   SMALL_FONT);
    }
}

// A red word at a tick, on white so that it can be read over anything.
static void WriteAlarm(const SHEET &sheet, const STRIP &strip, const TRACE_EVENT &event, double top,
                       const std::string &text, const std::string &title)
{
    const double x = std::min(At(sheet, strip, event.tick), sheet.width - TextWidth(text, FONT));
    std::fprintf(sheet.file, "<g class=\"%s\"><title>%s, tick %llu</title>\n",
                 EventName(event.kind, event.value), title.c_str(),
                 static_cast<unsigned long long>(event.tick));
    WriteText(sheet.file, x + 1, top + FRAME_ROW - 5, FONT, " class=\"alarm\"", text);
    std::fputs("</g>\n", sheet.file);
}

// The collisions at a station that one overlap has made, with their classes; returns how many.
static size_t WriteCollision(const SHEET &sheet, const STRIP &strip, const LANE &lane, size_t first,
                             double top)
{
    const std::vector<TRACE_EVENT> &events = lane.marks;
    std::vector<std::string> classes;
    std::string title = WhoOf(lane) + ": collision";
    size_t num = 0;
    for (; first + num < events.size(); ++num) {
        const TRACE_EVENT &event = events[first + num];
        if (event.kind != EVENT_COLLISION || event.tick != events[first].tick) {
            break;
        }
        const std::string name = ClassName(event.extra);
        if (std::find(classes.begin(), classes.end(), name) == classes.end()) {
            classes.push_back(name);
        }
        const FRAME &victim = sheet.trace->frames[static_cast<size_t>(event.frame)];
        const FRAME &other = sheet.trace->frames[static_cast<size_t>(event.value)];
        title += num == 0 ? " " : ";\n";
        title += name + ": " + FrameText(victim) + ", hit by " + FrameText(other);
    }
    std::string text = "\u2715";
    for (const std::string &name : classes) {
        text += " " + name;
    }
    WriteAlarm(sheet, strip, events[first], top, text, title);
    return num;
}

// A change of the queue: a mark, and the number of packets if there is room behind `free_from`.
// Returns from where there is room for the next one.
static double WriteQueue(const SHEET &sheet, const STRIP &strip, const TRACE_EVENT &event,
                         double top, double free_from)
{
    const std::string queued = std::to_string(event.extra);
    const double x = At(sheet, strip, event.tick);
    const double y = top + FRAME_ROW + STATE_ROW;
    std::fprintf(sheet.file,
                 "<g class=\"queue\"><title>station %d: %s, %s queued, tick %llu</title>\n"
                 "<path d=\"M%.1f %.1fv%.0f\"/>\n",
                 event.station, EventName(event.kind, 0), queued.c_str(),
                 static_cast<unsigned long long>(event.tick), x, y + 1, NAV_ROW);
    if (x >= free_from) {
        WriteText(sheet.file, x + 2, y + NAV_ROW - 1, SMALL_FONT, " class=\"halo\"", "q" + queued);
        free_from = x + 4 + TextWidth("q" + queued, SMALL_FONT);
    }
    std::fputs("</g>\n", sheet.file);
    return free_from;
}

// What goes wrong, and changes of the queue.
static void WriteMarks(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    const std::vector<TRACE_EVENT> &events = lane.marks;
    const std::string who = WhoOf(lane);
    double free_from = 0.0; // where the last number of packets ends
    for (size_t i = 0; i < events.size(); ++i) {
        const TRACE_EVENT &event = events[i];
        if (event.tick < strip.begin || event.tick >= strip.end) {
            continue;
        }
        switch (event.kind) {
        case EVENT_COLLISION:
            i += WriteCollision(sheet, strip, lane, i, top) - 1;
            break;
        case EVENT_TIMEOUT: {
            // A station that could not send its DATA has got the CTS.
            const char *answer = event.value == EMPTY ? "DATA sent" : FrameName(event.value);
            const bool drops = i + 1 < events.size() && events[i + 1].kind == EVENT_DROP &&
                               events[i + 1].tick == event.tick;
            WriteAlarm(sheet, strip, event, top,
                       std::string("no ") + answer + (drops ? ": dropped" : ""),
                       who + ": no " + answer +
                           (drops ? ", packet dropped" : ", retry " + std::to_string(event.retry)));
            break;
        }
        case EVENT_REFUSED:
            WriteAlarm(sheet, strip, event, top, "refused", who + ": queue full, packet refused");
            break;
        case EVENT_DROP:
        case EVENT_ARRIVAL:
        case EVENT_RELAY:
        case EVENT_ACKED:
            free_from = WriteQueue(sheet, strip, event, top, free_from);
            break;
        default:
            break;
        }
    }
}

// The value that holds at a tick.
static int32_t ValueAt(const std::vector<STEP> &steps, uint64_t tick)
{
    int32_t value = 0;
    for (const STEP &step : steps) {
        value = step.tick <= tick ? step.value : value;
    }
    return value;
}

void WriteLane(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top)
{
    const int32_t queued = ValueAt(lane.queue, strip.begin);
    const int32_t window = ValueAt(lane.window, strip.begin);
    WriteText(sheet.file, MARGIN, top + 13, 12, " font-weight=\"bold\"", WhoOf(lane));
    WriteText(sheet.file, MARGIN, top + 28, SMALL_FONT, "", "queue " + std::to_string(queued));
    WriteText(sheet.file, MARGIN, top + 41, SMALL_FONT, "", "CW " + std::to_string(window));
    WritePhases(sheet, strip, lane, top);
    WriteNav(sheet, strip, lane, top);
    WriteOverlaps(sheet, strip, lane, top);
    WriteFrames(sheet, strip, lane, top);
    WriteMarks(sheet, strip, lane, top);
}
