// The ticks in which the sleeping stations are due: which is the first, and whose it is.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "driver/constants.h"
#include "fastforward/engine.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

constexpr int WAKE_SLOTS = 12; // whole vectors of four; those beyond the stations are never due

struct WAKE_TICKS {
    alignas(16) int32_t tick[WAKE_SLOTS]; // first tick in which a stage acts by itself, or NEVER
};

#if defined(__SSE2__)

inline __m128i LowerOf(__m128i a, __m128i b)
{
    const __m128i greater = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_and_si128(greater, b), _mm_andnot_si128(greater, a));
}

// The first tick in which any station is due.
inline int32_t FirstOf(const WAKE_TICKS &wake)
{
    const auto *four = reinterpret_cast<const __m128i *>(wake.tick);
    __m128i lowest = LowerOf(LowerOf(four[0], four[1]), four[2]);
    lowest = LowerOf(lowest, _mm_shuffle_epi32(lowest, _MM_SHUFFLE(1, 0, 3, 2)));
    lowest = LowerOf(lowest, _mm_shuffle_epi32(lowest, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm_cvtsi128_si32(lowest);
}

// The stations that are due in `tick`, one bit each.
inline uint32_t DueIn(const WAKE_TICKS &wake, int32_t tick)
{
    const auto *four = reinterpret_cast<const __m128i *>(wake.tick);
    const __m128i wanted = _mm_set1_epi32(tick);
    const __m128i eight =
        _mm_packs_epi32(_mm_cmpeq_epi32(four[0], wanted), _mm_cmpeq_epi32(four[1], wanted));
    const __m128i rest = _mm_packs_epi32(_mm_cmpeq_epi32(four[2], wanted), _mm_setzero_si128());
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(eight, rest)));
}

#else

inline int32_t FirstOf(const WAKE_TICKS &wake)
{
    return *std::min_element(std::begin(wake.tick), std::end(wake.tick));
}

inline uint32_t DueIn(const WAKE_TICKS &wake, int32_t tick)
{
    uint32_t due = 0;
    for (int i = 0; i < WAKE_SLOTS; ++i) {
        due |= static_cast<uint32_t>(wake.tick[i] == tick) << i;
    }
    return due;
}

#endif
