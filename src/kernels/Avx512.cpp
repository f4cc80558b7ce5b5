/*
 * Avx512.cpp - the kernels for AVX-512: vectors of 64 bytes.
 */
#include <immintrin.h>

#include <cstring>

#include "kernels/Kernels.h"
#include "kernels/Rotate.h"
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

/*
 * ---- What rotation needs ----
 *
 * Vectors of 32 bytes: runs are too short for more. What the level gives is eight reals at once, and masks.
 */

struct RotateVec {
    typedef __m256i Bytes;
    typedef __m256i Words;
    typedef __mmask32 Mask;
    typedef __m512d Reals;
    typedef __m256i Ints;
    static constexpr sint32 size = 32;
    static constexpr sint32 reals = 8;

    static Bytes Load(const uint8* from) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)); }
    static void Store(uint8* to, Bytes v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v); }
    static Bytes Fill(uint8 value) { return _mm256_set1_epi8(static_cast<char>(value)); }

    static Bytes Min(Bytes a, Bytes b) { return _mm256_min_epu8(a, b); }
    static Bytes Add(Bytes a, Bytes b) { return _mm256_add_epi8(a, b); }
    static Bytes Subtract(Bytes a, Bytes b) { return _mm256_sub_epi8(a, b); }
    static Bytes AddSaturated(Bytes a, Bytes b) { return _mm256_adds_epu8(a, b); }

    /* Looks up each byte, which must be below 16, in a table of 16 bytes that stands in every 16 bytes of `table`. */
    static Bytes LookUp(Bytes table, Bytes index) { return _mm256_shuffle_epi8(table, index); }
    static Bytes Zero() { return _mm256_setzero_si256(); }
    static Words FillWords(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
    static Words UnpackLow(Bytes a, Bytes b) { return _mm256_unpacklo_epi8(a, b); }
    static Words UnpackHigh(Bytes a, Bytes b) { return _mm256_unpackhi_epi8(a, b); }
    static Words UnpackLowWords(Words a, Words b) { return _mm256_unpacklo_epi16(a, b); }
    static Words UnpackHighWords(Words a, Words b) { return _mm256_unpackhi_epi16(a, b); }
    static Bytes PackWords(Words low, Words high) { return _mm256_packus_epi16(low, high); }
    static Words PackInt32(Words low, Words high) { return _mm256_packs_epi32(low, high); }

    static Words AddWords(Words a, Words b) { return _mm256_add_epi16(a, b); }
    static Words SubtractWords(Words a, Words b) { return _mm256_sub_epi16(a, b); }
    static Words MultiplyWords(Words a, Words b) { return _mm256_mullo_epi16(a, b); }
    static Words MultiplyHigh(Words a, Words b) { return _mm256_mulhi_epu16(a, b); }
    static Words AddInt32(Words a, Words b) { return _mm256_add_epi32(a, b); }

    /* Sums of products of neighbours: bytes times signed bytes to words, words to 32 bits. */
    static Words MultiplyPairs(Bytes pixels, Bytes weights) { return _mm256_maddubs_epi16(pixels, weights); }
    static Words MultiplyWordPairs(Words a, Words b) { return _mm256_madd_epi16(a, b); }

    template <int Bits>
    static Words ShiftWords(Words v)
    {
        return _mm256_srai_epi16(v, Bits);
    }

    template <int Bits>
    static Words ShiftInt32(Words v)
    {
        return _mm256_srai_epi32(v, Bits);
    }

    static Mask Equal(Bytes a, Bytes b) { return _mm256_cmpeq_epi8_mask(a, b); }
    static Bytes Select(Mask mask, Bytes where, Bytes elsewhere)
    {
        return _mm256_mask_blend_epi8(mask, elsewhere, where);
    }
    static Bytes Increment(Bytes v, Mask mask) { return _mm256_mask_add_epi8(v, mask, v, _mm256_set1_epi8(1)); }
    static Bytes FillTable(const uint8* table) { return _mm256_broadcastsi128_si256(Load16(table)); }

    /* The tenths of the steps that the bytes of a vector belong to. */
    template <sint32 Channels, bool IsMirrored>
    static Bytes Spread(const uint8* tenths)
    {
        if (Channels == 1) {
            if (!IsMirrored) return Load(tenths);
            static constexpr SpreadTable<16> back = MakeSpreadTable<16, 1, true>();
            const Bytes reversed = _mm256_shuffle_epi8(Load(tenths), FillTable(back.entry));
            return _mm256_permute4x64_epi64(reversed, 0x4E);
        }
        static constexpr SpreadTable<32> table = MakeSpreadTable<32, 3, IsMirrored>();
        return _mm256_shuffle_epi8(FillTable(tenths), Load(table.entry));
    }

    static __m128i Load16(const uint8* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }

    static Reals LoadReals(const Real64* from) { return _mm512_loadu_pd(from); }
    static Reals FillReals(Real64 value) { return _mm512_set1_pd(value); }
    static Reals AddReals(Reals a, Reals b) { return _mm512_add_pd(a, b); }
    static Reals SubtractReals(Reals a, Reals b) { return _mm512_sub_pd(a, b); }
    static Reals MultiplyReals(Reals a, Reals b) { return _mm512_mul_pd(a, b); }
    static Ints Truncate(Reals v) { return _mm512_cvttpd_epi32(v); }
    static Reals Whole(Reals v) { return _mm512_roundscale_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }

    static void StoreIntsAsBytes(uint8* to, Ints v)
    {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm256_cvtepi32_epi8(v));
    }
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
    /* rotate */ RotateKernels<RotateVec>(),
    /* convert */ {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    /* turn */
    {{nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr}},
    /* scan */ {kDotScans<Dots1>, kDotScans<Dots8<ScanVec>>, kDotScans<Dots24<ScanVec>>},
};
