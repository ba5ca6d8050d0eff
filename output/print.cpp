#include "output/print.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

void Print(FILE *stream, const char *format, ...)
{
    if (stream == nullptr) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stream, format, arguments);
    va_end(arguments);
}

char *SearchReal(char *at, double value)
{
    constexpr int MOST_DIGITS = 17; // that a double needs
    constexpr int LONGEST_FIXED = REAL_BYTES - 1;
    char digits[REAL_BYTES];
    int precision = 0; // digits behind the first
    int length = 0;
    do {
        length = std::snprintf(digits, sizeof digits, "%.*e", precision, value);
        ++precision;
    } while (precision < MOST_DIGITS && std::isfinite(value) &&
             std::strtod(digits, nullptr) != value);
    const char *exponent = std::strchr(digits, 'e');
    if (exponent != nullptr) {
        char fixed[REAL_BYTES];
        const int decimals = std::max(precision - 1 - std::atoi(exponent + 1), 0);
        const int width = std::snprintf(fixed, sizeof fixed, "%.*f", decimals, value);
        if (width <= std::min(length, LONGEST_FIXED)) {
            std::memcpy(digits, fixed, static_cast<size_t>(width));
            length = width;
        }
    }
    std::memcpy(at, digits, static_cast<size_t>(length));
    return at + length;
}

char *WriteReal(char *at, double value)
{
#ifdef __cpp_lib_to_chars
    return std::to_chars(at, at + REAL_BYTES, value).ptr;
#else
    return SearchReal(at, value);
#endif
}
