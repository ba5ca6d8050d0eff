// What the drawing of a trace is made of: a sheet of strips, in each of them a lane for every
// station. Lengths are in pixels.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/trace_spans.h"
#include "tools/watch.h"

constexpr double LEFT = 92.0;       // room for the names of the lanes
constexpr double MARGIN = 12.0;     // at the other edges
constexpr double FONT = 11.0;       // in frames
constexpr double SMALL_FONT = 10.0; // elsewhere
constexpr double LANE_HEIGHT = 54.0;

struct PAINT {
    const char *fill;
    const char *meaning; // in the legend; null where another phase stands for this one
};

// By PHASE.
inline constexpr PAINT PAINTS[PHASE_NUM] = {
    {"#f4f4f4", "idle"},
    {"#ffffff", nullptr}, // has phases of its own
    {"#f4a582", nullptr}, // the states that send have the colour of their frame
    {"#e9dcc9", nullptr},
    {"#f7b6d2", nullptr},
    {"#e9dcc9", nullptr},
    {"#9ecae1", nullptr},
    {"#e9dcc9", "SIFS before an answer"},
    {"#a6d96a", nullptr},
    {"#ffffff", nullptr},
    {"#d9c7ea", nullptr},
    {"#d9c7ea", nullptr},
    {"#d6ebf7", "receives DATA"},
    {"#d9c7ea", "awaits an answer"},
    {"#d5d5d5", "packet waits: carrier or NAV"},
    {"#fff3b0", "DIFS"},
    {"#ffd0a8", "EIFS"},
    {"#cfe8c6", "backoff, by slots"},
};

// By FRAME_TYPE.
inline constexpr PAINT FRAME_PAINTS[] = {
    {"#f4a582", "RTS"}, {"#f7b6d2", "CTS"}, {"#9ecae1", "DATA"}, {"#a6d96a", "ACK"}};
inline constexpr char NAV_FILL[] = "#c9b6dd";
inline constexpr char ALARM[] = "#c0141c"; // what goes wrong

// What a lane shows, in all strips.
struct LANE {
    int station;
    std::vector<SPAN> phases;
    std::vector<SPAN> navs;
    std::vector<SPAN> overlaps;
    std::vector<STEP> queue;
    std::vector<STEP> window;
    std::vector<FRAME> frames;
    std::vector<TRACE_EVENT> marks; // what goes wrong, and changes of the queue
};

// What a drawing is made of.
struct SHEET {
    FILE *file;
    const TRACE *trace;
    uint64_t strip_ticks;
    double scale; // pixels per tick
    double width;
    std::vector<LANE> lanes; // downwards
};

// A strip of the sheet: its ticks, and where it lies.
struct STRIP {
    uint64_t begin;
    uint64_t end;
    double top;
};

inline double At(const SHEET &sheet, const STRIP &strip, uint64_t tick)
{
    return LEFT + sheet.scale * static_cast<double>(tick - strip.begin);
}

inline double TextWidth(const std::string &text, double font)
{
    constexpr double LETTER = 0.58; // mean width of a letter, in units of the font size
    const auto is_first = [](char byte) { return (byte & 0xC0) != 0x80; }; // of a letter in UTF-8
    return static_cast<double>(std::count_if(text.begin(), text.end(), is_first)) * font * LETTER;
}

inline void WriteText(FILE *file, double x, double y, double font, const char *attributes,
                      const std::string &text)
{
    if (!text.empty()) {
        std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" font-size=\"%.0f\"%s>%s</text>\n", x, y,
                     font, attributes, text.c_str());
    }
}

// Collects what the lane of a station shows.
LANE LaneOf(const TRACE &trace, int station);

// Draws the part of a lane that lies in the strip; `top` is the lane's upper edge.
void WriteLane(const SHEET &sheet, const STRIP &strip, const LANE &lane, double top);
