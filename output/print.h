// The one way in which this folder writes: formatted text to a stream that may be missing.
#pragma once

#include <cstdint>
#include <cstdio>

// Prints like fprintf. A null stream, which stands for a file that could not be opened, is skipped.
__attribute__((format(printf, 2, 3))) void Print(FILE *stream, const char *format, ...);

// A counter as the argument of "%ld"; counters stay far below 2^63.
inline long AsLong(uint64_t counter)
{
    return static_cast<long>(counter);
}

// A counter as the argument of "%lu".
inline unsigned long AsUnsignedLong(uint64_t counter)
{
    return static_cast<unsigned long>(counter);
}
