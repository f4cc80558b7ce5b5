/*
 * Avx2.cpp - the kernels for AVX2: vectors of 32 bytes.
 */
#include <immintrin.h>

#include "kernels/Kernels.h"

namespace
{

/* ---- The vocabulary that all methods share ---- */

struct Vec {
    typedef __m256i Bytes;
    static constexpr sint32 size = 32;

    static Bytes Load(const uint8* from) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)); }
    static void Store(uint8* to, Bytes v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v); }
    static Bytes Fill(uint8 value) { return _mm256_set1_epi8(static_cast<char>(value)); }

    static Bytes And(Bytes a, Bytes b) { return _mm256_and_si256(a, b); }
    static Bytes Or(Bytes a, Bytes b) { return _mm256_or_si256(a, b); }
    static Bytes Min(Bytes a, Bytes b) { return _mm256_min_epu8(a, b); }
    static Bytes Max(Bytes a, Bytes b) { return _mm256_max_epu8(a, b); }
    static Bytes Add(Bytes a, Bytes b) { return _mm256_add_epi8(a, b); }
    static Bytes Subtract(Bytes a, Bytes b) { return _mm256_sub_epi8(a, b); }
    static Bytes AddSaturated(Bytes a, Bytes b) { return _mm256_adds_epu8(a, b); }
    static Bytes SubtractSaturated(Bytes a, Bytes b) { return _mm256_subs_epu8(a, b); }

    /* Looks up each byte, which must be below 16, in a table of 16 bytes that stands in every 16 bytes of `table`. */
    static Bytes LookUp(Bytes table, Bytes index) { return _mm256_shuffle_epi8(table, index); }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kAvx2Kernels;
const KernelsRec kAvx2Kernels = {
    /* convert */ {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    /* turn */
    {{nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}},
};
