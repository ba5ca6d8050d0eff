#include "output/print.h"

#include <cstdarg>

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
