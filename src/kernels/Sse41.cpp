/*
 * Sse41.cpp - the kernels for SSE4.1: vectors of 16 bytes.
 */
#include <immintrin.h>

#include "kernels/Kernels.h"

namespace
{

/* ---- The vocabulary that all methods share ---- */

struct Vec {
    typedef __m128i Bytes;
    static constexpr sint32 size = 16;

    static Bytes Load(const uint8* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
    static void Store(uint8* to, Bytes v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
    static Bytes Fill(uint8 value) { return _mm_set1_epi8(static_cast<char>(value)); }

    static Bytes And(Bytes a, Bytes b) { return _mm_and_si128(a, b); }
    static Bytes Or(Bytes a, Bytes b) { return _mm_or_si128(a, b); }
    static Bytes Min(Bytes a, Bytes b) { return _mm_min_epu8(a, b); }
    static Bytes Max(Bytes a, Bytes b) { return _mm_max_epu8(a, b); }
    static Bytes Add(Bytes a, Bytes b) { return _mm_add_epi8(a, b); }
    static Bytes Subtract(Bytes a, Bytes b) { return _mm_sub_epi8(a, b); }
    static Bytes AddSaturated(Bytes a, Bytes b) { return _mm_adds_epu8(a, b); }
    static Bytes SubtractSaturated(Bytes a, Bytes b) { return _mm_subs_epu8(a, b); }

    /* Looks up each byte, which must be below 16, in a table of 16 bytes that stands in every 16 bytes of `table`. */
    static Bytes LookUp(Bytes table, Bytes index) { return _mm_shuffle_epi8(table, index); }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kSse41Kernels;
const KernelsRec kSse41Kernels = {
    /* convert */ {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    /* turn */
    {{nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}},
};
