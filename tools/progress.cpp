#include "tools/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <unistd.h>

static FILE *g_stream = stdout;
static bool g_bar_shown = false;

void SetProgressStream(FILE *stream)
{
    g_stream = stream;
}

void WipeBar()
{
    if (g_bar_shown) {
        std::fprintf(g_stream, "\r\033[K");
        std::fflush(g_stream);
        g_bar_shown = false;
    }
}

void PrintLine(const std::string &text)
{
    WipeBar();
    std::fprintf(g_stream, "%s\n", text.c_str());
    std::fflush(g_stream);
}

std::string DurationText(double seconds)
{
    constexpr long MINUTE = 60;
    constexpr long HOUR = 60 * MINUTE;
    const long whole = std::lround(std::max(seconds, 0.0));
    char text[64];
    if (whole >= HOUR) {
        std::snprintf(text, sizeof text, "%ld h %02ld min", whole / HOUR, whole % HOUR / MINUTE);
    } else if (whole >= MINUTE) {
        std::snprintf(text, sizeof text, "%ld min %02ld s", whole / MINUTE, whole % MINUTE);
    } else {
        std::snprintf(text, sizeof text, "%ld s", whole);
    }
    return text;
}

std::string TimeLeft(double share, double elapsed_s)
{
    constexpr double SMALLEST = 0.005; // below it the guess is wild
    return share < SMALLEST ? "unknown" : DurationText(elapsed_s * (1.0 - share) / share);
}

void ShowBar(int done, int all, const char *what, double share, double elapsed_s)
{
    constexpr int WIDTH = 40;
    if (isatty(fileno(g_stream)) == 0) {
        return;
    }
    const auto filled = static_cast<size_t>(std::clamp(share, 0.0, 1.0) * WIDTH);
    const std::string bar = std::string(filled, '=') + std::string(WIDTH - filled, ' ');
    std::fprintf(g_stream, "\r[%s] %3.0f %%  %d of %d %s done, %s left\033[K", bar.c_str(),
                 share * 100, done, all, what, TimeLeft(share, elapsed_s).c_str());
    std::fflush(g_stream);
    g_bar_shown = true;
}
