// A trace as a drawing: strips of up to 1000 ticks, one below the other as lines of music are, in
// each of them a lane for every station.
#include <algorithm>
#include <string>

#include "driver/station_set.h"
#include "tools/trace_forms.h"
#include "tools/trace_sheet.h"

constexpr uint64_t STRIP_TICKS = 1000;
constexpr double STRIP_PIXELS = 1600.0; // of a strip of 1000 ticks
constexpr double PIXELS_PER_TICK = 2.2; // at most, in short drawings
constexpr double RIGHT = 36.0;          // room for half a number of the axis
constexpr double HEAD = 24.0;           // title
constexpr double LEGEND_LINE = 20.0;
constexpr double AXIS = 26.0; // time axis above the lanes
constexpr double STRIP_GAP = 16.0;
constexpr double LEAST_WIDTH = 760.0; // for title and legend

// The time axis: a mark per slot of 9 us from the first tick on, and numbers with lines through the
// lanes.
static void WriteAxis(const SHEET &sheet, const STRIP &strip, double bottom)
{
    constexpr uint64_t NUMBER_TICKS = 100;
    const double y = strip.top + AXIS - 4;
    std::string slots;
    char line[64];
    for (uint64_t tick = strip.begin; tick <= strip.end; ++tick) {
        const double x = At(sheet, strip, tick);
        if ((tick - sheet.trace->from) % SLOT == 0) {
            std::snprintf(line, sizeof line, "M%.1f %.1fv-3", x, y);
            slots += line;
        }
        if (tick % NUMBER_TICKS == 0) {
            std::fprintf(sheet.file,
                         "<path d=\"M%.1f %.1fV%.1f\" stroke=\"#b0b0b0\" stroke-width=\"0.6\"/>\n",
                         x, y - 6, bottom);
            WriteText(sheet.file, x, y - 8, SMALL_FONT, " text-anchor=\"middle\"",
                      std::to_string(tick));
        }
    }
    std::fprintf(sheet.file,
                 "<path d=\"M%.1f %.1fH%.1f%s\" stroke=\"#000000\" stroke-width=\"0.8\" "
                 "fill=\"none\"/>\n",
                 LEFT, y, At(sheet, strip, strip.end), slots.c_str());
    WriteText(sheet.file, MARGIN, y, SMALL_FONT, "", "tick (us)");
}

// The explanations, line by line; returns where they end. With `draws` false only that.
static double WriteLegend(const SHEET &sheet, double top, bool draws)
{
    constexpr double SWATCH = 14.0;
    double x = MARGIN;
    double y = top;
    const auto add = [&](const char *fill, const std::string &text) {
        const double width = SWATCH + 5 + TextWidth(text, SMALL_FONT) + 12;
        if (x + width > sheet.width - MARGIN) {
            x = MARGIN;
            y += LEGEND_LINE;
        }
        if (draws) {
            std::fprintf(sheet.file,
                         "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.0f\" height=\"11\" fill=\"%s\" "
                         "stroke=\"#555555\" stroke-width=\"0.6\"/>\n",
                         x, y, SWATCH, fill);
            WriteText(sheet.file, x + SWATCH + 5, y + 9.5, SMALL_FONT, "", text);
        }
        x += width;
    };
    for (const PAINT &paint : FRAME_PAINTS) {
        add(paint.fill, paint.meaning);
    }
    for (const PAINT &paint : PAINTS) {
        if (paint.meaning != nullptr) {
            add(paint.fill, paint.meaning);
        }
    }
    add(NAV_FILL, "NAV");
    add("url(#overlap)", "signals overlap");
    add(ALARM, "\u2715 class of a collision, at the receiver");
    add("#ffffff", "q5: 5 packets queued; r1: retry 1; small marks: slots of 9 us");
    return y + LEGEND_LINE;
}

static void WriteHead(const SHEET &sheet, double height, const std::string &title)
{
    std::fprintf(sheet.file,
                 "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
                 "viewBox=\"0 0 %.0f %.0f\" font-family=\"DejaVu Sans, Verdana, sans-serif\">\n",
                 sheet.width, height, sheet.width, height);
    std::fprintf(sheet.file, "<title>%s</title>\n", title.c_str());
    std::fprintf(sheet.file,
                 "<style>.state,.nav,.frame,.overlap{stroke:#555555;stroke-width:0.6}"
                 ".frame{stroke:#000000}"
                 ".alarm{fill:%s;font-weight:bold;paint-order:stroke;stroke:#ffffff;"
                 "stroke-width:3}"
                 ".queue path{stroke:#000000;stroke-width:1.2}"
                 ".halo{paint-order:stroke;stroke:#ffffff;stroke-width:2}"
                 "@media print{:root{width:100%%;height:auto}}</style>\n",
                 ALARM);
    std::fprintf(sheet.file,
                 "<defs><pattern id=\"overlap\" width=\"5\" height=\"5\" "
                 "patternUnits=\"userSpaceOnUse\" patternTransform=\"rotate(45)\">"
                 "<rect width=\"5\" height=\"5\" fill=\"#fbe3e4\"/>"
                 "<rect width=\"1.5\" height=\"5\" fill=\"%s\"/></pattern></defs>\n",
                 ALARM);
    std::fputs("<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n", sheet.file);
    WriteText(sheet.file, MARGIN, MARGIN + 6, 13, " font-weight=\"bold\"", title);
}

bool WriteTraceSvg(FILE *file, const TRACE &trace, uint32_t stations, const std::string &title)
{
    SHEET sheet = {
        .file = file, .trace = &trace, .strip_ticks = 0, .scale = 0, .width = 0, .lanes = {}};
    for (const int station : STATION_SET{stations}) {
        sheet.lanes.push_back(LaneOf(trace, station));
    }
    const uint64_t ticks = std::max<uint64_t>(trace.until - trace.from, 1);
    const uint64_t strip_num = (ticks + STRIP_TICKS - 1) / STRIP_TICKS;
    sheet.strip_ticks = (ticks + strip_num - 1) / strip_num;
    const auto longest = static_cast<double>(sheet.strip_ticks);
    sheet.scale = std::min(STRIP_PIXELS / longest, PIXELS_PER_TICK);
    sheet.width = std::max(LEFT + sheet.scale * longest + RIGHT, LEAST_WIDTH);
    const double strip_height =
        AXIS + LANE_HEIGHT * static_cast<double>(sheet.lanes.size()) + STRIP_GAP;
    const double top = WriteLegend(sheet, MARGIN + HEAD, false);
    WriteHead(sheet, top + strip_height * static_cast<double>(strip_num), title);
    WriteLegend(sheet, MARGIN + HEAD, true);
    STRIP strip = {trace.from, 0, top};
    for (; strip.begin < trace.until; strip.begin = strip.end, strip.top += strip_height) {
        strip.end = std::min(strip.begin + sheet.strip_ticks, trace.until);
        double y = strip.top + AXIS;
        WriteAxis(sheet, strip, y + LANE_HEIGHT * static_cast<double>(sheet.lanes.size()));
        for (const LANE &lane : sheet.lanes) {
            WriteLane(sheet, strip, lane, y);
            y += LANE_HEIGHT;
        }
    }
    std::fputs("</svg>\n", file);
    return std::ferror(file) == 0;
}
