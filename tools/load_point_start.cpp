#include "tools/load_point_start.h"

#include <cstring>
#include <type_traits>

#include "driver/state.h"

static_assert(std::is_trivially_copyable_v<LOAD_POINT_START>);

LOAD_POINT_START SaveStart()
{
    LOAD_POINT_START start = {.idum = idum,
                              .shuffle = g_shuffle,
                              .mersenne = g_mersenne,
                              .rx_frame = {},
                              .head = {},
                              .count_cw = count_cw};
    for (int i = 0; i < NODE_NUM; ++i) {
        start.rx_frame[i] = node[i].rx_frame;
        start.head[i] = node[i].buffer.head;
    }
    return start;
}

void RestoreStart(const LOAD_POINT_START &start)
{
    idum = start.idum;
    g_shuffle = start.shuffle;
    g_mersenne = start.mersenne;
    count_cw = start.count_cw;
    for (int i = 0; i < NODE_NUM; ++i) {
        node[i].rx_frame = start.rx_frame[i];
        node[i].buffer.head = start.head[i];
    }
}

static const char DIGITS[] = "0123456789abcdef";

std::string StartText(const LOAD_POINT_START &start)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(&start);
    std::string text;
    text.reserve(2 * sizeof start);
    for (size_t i = 0; i < sizeof start; ++i) {
        text += DIGITS[bytes[i] >> 4];
        text += DIGITS[bytes[i] & 15];
    }
    return text;
}

bool ReadStart(const std::string &text, LOAD_POINT_START &start)
{
    if (text.size() != 2 * sizeof start || text.find_first_not_of(DIGITS) != std::string::npos) {
        return false;
    }
    const auto digit = [&text](size_t i) {
        return static_cast<unsigned>(std::strchr(DIGITS, text[i]) - DIGITS);
    };
    auto *bytes = reinterpret_cast<unsigned char *>(&start);
    for (size_t i = 0; i < sizeof start; ++i) {
        bytes[i] = static_cast<unsigned char>(digit(2 * i) << 4 | digit(2 * i + 1));
    }
    return true;
}
