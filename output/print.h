// The one way in which this folder writes: formatted text to a stream that may be missing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Prints like fprintf. A null stream, which stands for a file that could not be opened, is skipped.
__attribute__((format(printf, 2, 3))) void Print(FILE *stream, const char *format, ...);

// Bytes that WriteReal writes, at most.
constexpr size_t REAL_BYTES = 32;

// Writes the shortest text that reads back as the same number, without a zero behind it; of texts
// of one length the one without an exponent. Returns the end of the text.
char *WriteReal(char *at, double value);

// The same by searching for it, for libraries whose std::to_chars knows integers alone. A digit
// longer for a few powers of two.
char *SearchReal(char *at, double value);

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
