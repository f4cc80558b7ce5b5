/*
 * Avx512.cpp - the kernels for AVX-512: vectors of 64 bytes.
 */
#include <immintrin.h>

#include "kernels/Kernels.h"

namespace
{

/* ---- The vocabulary that all methods share ---- */

struct Vec {
    typedef __m512i Bytes;
    static constexpr sint32 size = 64;

    static Bytes Load(const uint8* from) { return _mm512_loadu_si512(from); }
    static void Store(uint8* to, Bytes v) { _mm512_storeu_si512(to, v); }
    static Bytes Fill(uint8 value) { return _mm512_set1_epi8(static_cast<char>(value)); }

    static Bytes And(Bytes a, Bytes b) { return _mm512_and_si512(a, b); }
    static Bytes Or(Bytes a, Bytes b) { return _mm512_or_si512(a, b); }
    static Bytes Min(Bytes a, Bytes b) { return _mm512_min_epu8(a, b); }
    static Bytes Max(Bytes a, Bytes b) { return _mm512_max_epu8(a, b); }
    static Bytes Add(Bytes a, Bytes b) { return _mm512_add_epi8(a, b); }
    static Bytes Subtract(Bytes a, Bytes b) { return _mm512_sub_epi8(a, b); }
    static Bytes AddSaturated(Bytes a, Bytes b) { return _mm512_adds_epu8(a, b); }
    static Bytes SubtractSaturated(Bytes a, Bytes b) { return _mm512_subs_epu8(a, b); }

    /* Looks up each byte, which must be below 16, in a table of 16 bytes that stands in every 16 bytes of `table`. */
    static Bytes LookUp(Bytes table, Bytes index) { return _mm512_shuffle_epi8(table, index); }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kAvx512Kernels;
const KernelsRec kAvx512Kernels = {
    /* convert */ {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    /* turn */
    {{nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}},
};
