/*
 * Avx512.cpp - the kernels for AVX-512: vectors of 64 bytes.
 */
#include <immintrin.h>

#include "kernels/Kernels.h"
#include "kernels/Scan.h"

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

/* ---- What scans need ---- */

struct ScanVec : Vec {
    static __m128i Load16(const uint8* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }

    /* The same 16 bytes in every 16 bytes of the vector. */
    static Bytes Repeat(const uint8* bytes) { return _mm512_maskz_broadcast_i32x4(0xFFFF, Load16(bytes)); }

    /* 16 bytes out of every 48, for every 16 bytes of the vector. */
    static Bytes LoadThirds(const uint8* from)
    {
        const __m256i first = _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(from)), Load16(from + 48), 1);
        const __m256i second =
            _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(from + 96)), Load16(from + 144), 1);
        return _mm512_maskz_inserti64x4(0xFF, _mm512_castsi256_si512(first), second, 1);
    }

    /* Looks up each byte by its lower four bits, as LookUp does; 0 where the highest bit is set. */
    static Bytes Pick(Bytes table, Bytes index) { return _mm512_shuffle_epi8(table, index); }

    static Bytes UpperHalves(Bytes v) { return And(_mm512_srli_epi16(v, 4), Fill(15)); }
    static Bytes IfZero(Bytes test, Bytes then, Bytes otherwise)
    {
        return _mm512_mask_mov_epi8(otherwise, _mm512_testn_epi8_mask(test, test), then);
    }

    /* Bit k: whether byte k of `set` has the one bit that byte k of `bit` is. */
    static uint64_t MaskOfHeld(Bytes set, Bytes bit) { return _mm512_test_epi8_mask(set, bit); }

    /* Pairs of bytes: the first less the second, and the second alone, as 16-bit numbers. */
    static Bytes Differences(Bytes pairs) { return _mm512_maddubs_epi16(pairs, _mm512_set1_epi16(-255)); }
    static Bytes Seconds(Bytes pairs) { return _mm512_srli_epi16(pairs, 8); }

    /* 16-bit numbers; packing joins two vectors, 16 bytes by 16 bytes, and cuts what no byte can hold. */
    static Bytes Add16(Bytes a, Bytes b) { return _mm512_add_epi16(a, b); }
    static Bytes MultiplyHigh(Bytes v, short factor) { return _mm512_mulhi_epi16(v, _mm512_set1_epi16(factor)); }
    static Bytes Pack(Bytes a, Bytes b) { return _mm512_packus_epi16(a, b); }
    static Bytes PackSigned(Bytes a, Bytes b) { return _mm512_packs_epi16(a, b); }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kAvx512Kernels;
const KernelsRec kAvx512Kernels = {
    /* convert */ {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    /* turn */
    {{nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}},
    /* scan */ {kDotScans<Dots1>, kDotScans<Dots8<ScanVec>>, kDotScans<Dots24<ScanVec>>},
};
