/*
 * Lane.h - the vocabulary of 16 bytes that every level has, for what wider vectors do no faster.
 */
#ifndef QUARLO_SRC_KERNELS_LANE_H
#define QUARLO_SRC_KERNELS_LANE_H

#include <immintrin.h>

#include "StructTypes.h"

namespace
{

struct Lane {
    typedef __m128i Bytes;

    static Bytes Load(const uint8* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
    static void Store(uint8* to, Bytes v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
    /* Brings the line of a byte closer. */
    static void Fetch(const uint8* byte) { _mm_prefetch(reinterpret_cast<const char*>(byte), _MM_HINT_T0); }

    /* An index with the highest bit set gives 0. */
    static Bytes LookUp(Bytes table, Bytes index) { return _mm_shuffle_epi8(table, index); }

    /* The first or the last halves, in turn four bytes of a and four of b. */
    static Bytes InterleaveLow32(Bytes a, Bytes b) { return _mm_unpacklo_epi32(a, b); }
    static Bytes InterleaveHigh32(Bytes a, Bytes b) { return _mm_unpackhi_epi32(a, b); }
    /* The first num groups of four bytes from a, the others from b. */
    template <int num>
    static Bytes Join32(Bytes a, Bytes b)
    {
        return _mm_blend_epi16(a, b, 0xFF & 0xFF << 2 * num);
    }
};

} // namespace

#endif
