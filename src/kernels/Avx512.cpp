/*
 * Avx512.cpp - the kernels for AVX-512: vectors of 64 bytes.
 */
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kernels/Convert.h"
#include "kernels/Kernels.h"
#include "kernels/Rotate.h"
#include "kernels/Scan.h"
#include "kernels/Turn.h"
#include "kernels/Vec32.h"

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
 * Vectors of 32 bytes with masks. Longer ones pay for bilinear blends only: cubic ones lose more by them where a run
 * ends amid a vector than they gain elsewhere.
 */

struct RotateVec : vec32::RotateVec {
    typedef RotateVec Shorter;
    typedef __mmask32 Mask;

    static Mask Equal(Bytes a, Bytes b) { return _mm256_cmpeq_epi8_mask(a, b); }
    static Bytes Select(Mask mask, Bytes where, Bytes elsewhere)
    {
        return _mm256_mask_blend_epi8(mask, elsewhere, where);
    }
    static Bytes Increment(Bytes v, Mask mask) { return _mm256_mask_add_epi8(v, mask, v, _mm256_set1_epi8(1)); }
};

/* The steps that half the bytes of a vector belong to, see SpreadWords. */
struct StepTable {
    alignas(64) uint16 entry[32];
};

template <sint32 Channels, bool IsMirrored, bool IsHigh>
constexpr StepTable MakeStepTable()
{
    StepTable table = {};
    for (sint32 k = 0; k < 32; ++k) {
        const sint32 byte = k / 8 * 16 + (IsHigh ? 8 : 0) + k % 8;
        table.entry[k] = static_cast<uint16>((IsMirrored ? 63 - byte : byte) / Channels);
    }
    return table;
}

/* Vectors of 64 bytes, what bilinear blends need. */
struct LongRotateVec : Vec {
    typedef RotateVec Shorter;
    typedef __m512i Words;
    typedef __mmask64 Mask;
    static constexpr sint32 words = 32;

    static Bytes Zero() { return _mm512_setzero_si512(); }
    static Words FillWords(int value) { return _mm512_set1_epi16(static_cast<short>(value)); }
    static Words UnpackLow(Bytes a, Bytes b) { return _mm512_unpacklo_epi8(a, b); }
    static Words UnpackHigh(Bytes a, Bytes b) { return _mm512_unpackhi_epi8(a, b); }
    static Bytes PackWords(Words low, Words high) { return _mm512_packus_epi16(low, high); }
    static Bytes PackSigned(Words low, Words high) { return _mm512_packs_epi16(low, high); }

    static Words LoadWords(const uint16* from) { return _mm512_loadu_si512(from); }
    static void StoreWords(uint16* to, Words v) { _mm512_storeu_si512(to, v); }
    static bool IsZero(Words v) { return _mm512_test_epi16_mask(v, v) == 0; }
    static Words AddWords(Words a, Words b) { return _mm512_add_epi16(a, b); }
    static Words SubtractWords(Words a, Words b) { return _mm512_sub_epi16(a, b); }
    static Words SubtractSaturatedWords(Words a, Words b) { return _mm512_subs_epu16(a, b); }
    static Words MultiplyWords(Words a, Words b) { return _mm512_mullo_epi16(a, b); }
    static Words MultiplyHigh(Words a, Words b) { return _mm512_mulhi_epu16(a, b); }

    static Mask Equal(Bytes a, Bytes b) { return _mm512_cmpeq_epi8_mask(a, b); }
    static Bytes Select(Mask mask, Bytes where, Bytes elsewhere)
    {
        return _mm512_mask_blend_epi8(mask, elsewhere, where);
    }
    static Bytes Increment(Bytes v, Mask mask) { return _mm512_mask_add_epi8(v, mask, v, _mm512_set1_epi8(1)); }

    template <sint32 Channels, bool IsMirrored, bool IsHigh>
    static Words SpreadWords(const uint16* numbers)
    {
        static constexpr StepTable steps = MakeStepTable<Channels, IsMirrored, IsHigh>();
        const Words table = _mm512_load_si512(steps.entry);
        if (Channels == 3) return _mm512_permutexvar_epi16(table, LoadWords(numbers));
        return _mm512_permutex2var_epi16(LoadWords(numbers), table, LoadWords(numbers + words));
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

/* ---- What conversions and turns need: lanes of 16 bytes, numbers of 16 bits ---- */

struct PixelVec : Vec {
    typedef uint64_t Mask;

    /* 16 bytes into every lane. */
    static Bytes Repeat(const uint8* from) { return _mm512_broadcast_i32x4(Load16(from)); }
    /* 16 bytes into each lane; from one lane to the next they are so many bytes apart. */
    static Bytes LoadLanes(const uint8* from, ptrdiff_t step)
    {
        return Lanes(from, from + step, from + 2 * step, from + 3 * step);
    }
    static void StoreLanes(uint8* to, ptrdiff_t step, Bytes v)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_castsi512_si128(v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + step), _mm512_extracti32x4_epi32(v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 2 * step), _mm512_extracti32x4_epi32(v, 2));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 3 * step), _mm512_extracti32x4_epi32(v, 3));
    }
    /* The same at an offset from rows[0], rows[16], and so on. */
    static Bytes LoadRows(const uint8* const* rows, ptrdiff_t offset)
    {
        return Lanes(rows[0] + offset, rows[16] + offset, rows[32] + offset, rows[48] + offset);
    }

    /* Each of size / 8 bytes eight times. */
    static Bytes LoadEightfold(const uint8* from)
    {
        long long bytes;
        std::memcpy(&bytes, from, sizeof bytes);
        return _mm512_shuffle_epi8(_mm512_set1_epi64(bytes),
                                   _mm512_set_epi64(0x0707070707070707, 0x0606060606060606, 0x0505050505050505,
                                                    0x0404040404040404, 0x0303030303030303, 0x0202020202020202,
                                                    0x0101010101010101, 0));
    }

    /* The highest bit of each byte, that of the first one lowest. */
    static Mask HighestBits(Bytes v) { return _mm512_movepi8_mask(v); }
    static Bytes Equal(Bytes a, Bytes b) { return _mm512_movm_epi8(_mm512_cmpeq_epi8_mask(a, b)); }
    static Bytes Xor(Bytes a, Bytes b) { return _mm512_xor_si512(a, b); }
    /* Bytes of a where the mask has 255, of b where it has 0. */
    static Bytes Select(Bytes mask, Bytes a, Bytes b) { return _mm512_ternarylogic_epi32(mask, a, b, 0xCA); }

    /* The first or the last halves of every lane, in turn from a and from b. */
    static Bytes InterleaveLow(Bytes a, Bytes b) { return _mm512_unpacklo_epi8(a, b); }
    static Bytes InterleaveHigh(Bytes a, Bytes b) { return _mm512_unpackhi_epi8(a, b); }
    static Bytes Reverse(Bytes v)
    {
        const __m128i reversed = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
        const __m512i lanes_reversed = _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(reversed));
        return _mm512_shuffle_i32x4(lanes_reversed, lanes_reversed, 0x1B);
    }

    static Bytes Fill16(sint32 value) { return _mm512_set1_epi16(static_cast<short>(value)); }
    static Bytes FillPairs(sint32 first, sint32 second) { return Fill16((first & 255) | second * 256); }
    static Bytes Add16(Bytes a, Bytes b) { return _mm512_add_epi16(a, b); }
    static Bytes Multiply16(Bytes a, Bytes b) { return _mm512_mullo_epi16(a, b); }
    /* a * b / 2^15, rounded half up. */
    static Bytes MultiplyFraction(Bytes a, Bytes b) { return _mm512_mulhrs_epi16(a, b); }
    /* The sums of two neighbouring bytes of a, each times a signed byte of b. */
    static Bytes MultiplyPairs(Bytes a, Bytes b) { return _mm512_maddubs_epi16(a, b); }
    template <int bits>
    static Bytes ShiftRight16(Bytes v)
    {
        return _mm512_srli_epi16(v, bits);
    }
    static Bytes ShiftRightBy(Bytes v, sint32 bits) { return _mm512_srl_epi16(v, _mm_cvtsi32_si128(bits)); }
    static Bytes ShiftLeftBy(Bytes v, sint32 bits) { return _mm512_sll_epi16(v, _mm_cvtsi32_si128(bits)); }
    template <int bits>
    static Bytes ShiftRightSigned16(Bytes v)
    {
        return _mm512_srai_epi16(v, bits);
    }
    /* Numbers from 0 to 255 as bytes: the first half of every lane from a, the last from b. */
    static Bytes Pack16(Bytes a, Bytes b) { return _mm512_packus_epi16(a, b); }

private:
    static __m128i Load16(const uint8* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
    static Bytes Lanes(const uint8* a, const uint8* b, const uint8* c, const uint8* d)
    {
        const __m256i ab = _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(a)), Load16(b), 1);
        const __m256i cd = _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(c)), Load16(d), 1);
        return _mm512_inserti64x4(_mm512_castsi256_si512(ab), cd, 1);
    }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kAvx512Kernels;
const KernelsRec kAvx512Kernels = {
    /* rotate */ RotateKernels<RotateVec, LongRotateVec>(),
    /* convert */ ConvertKernelsOf<PixelVec>(),
    /* turn */ TurnKernelsOf<PixelVec>(),
    /* scan */ {kDotScans<Dots1>, kDotScans<Dots8<ScanVec>>, kDotScans<Dots24<ScanVec>>},
};
