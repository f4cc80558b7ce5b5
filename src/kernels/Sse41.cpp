/*
 * Sse41.cpp - the kernels for SSE4.1: vectors of 16 bytes.
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

/* ---- What rotation needs ---- */

struct RotateVec : Vec {
    typedef RotateVec Shorter;
    typedef __m128i Words;
    typedef __m128i Mask;
    static constexpr sint32 words = 8;

    static Bytes Zero() { return _mm_setzero_si128(); }
    static Words FillWords(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static Words UnpackLow(Bytes a, Bytes b) { return _mm_unpacklo_epi8(a, b); }
    static Words UnpackHigh(Bytes a, Bytes b) { return _mm_unpackhi_epi8(a, b); }
    static Words UnpackLowWords(Words a, Words b) { return _mm_unpacklo_epi16(a, b); }
    static Words UnpackHighWords(Words a, Words b) { return _mm_unpackhi_epi16(a, b); }
    static Bytes PackWords(Words low, Words high) { return _mm_packus_epi16(low, high); }
    static Bytes PackSigned(Words low, Words high) { return _mm_packs_epi16(low, high); }
    static Words PackInt32(Words low, Words high) { return _mm_packs_epi32(low, high); }

    static Words LoadWords(const uint16* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
    static void StoreWords(uint16* to, Words v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
    static void StoreWordsAsBytes(uint8* to, Words v)
    {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), PackWords(v, v));
    }
    static bool IsZero(Words v) { return _mm_testz_si128(v, v) != 0; }
    static Words AddWords(Words a, Words b) { return _mm_add_epi16(a, b); }
    static Words SubtractWords(Words a, Words b) { return _mm_sub_epi16(a, b); }
    static Words SubtractSaturatedWords(Words a, Words b) { return _mm_subs_epu16(a, b); }
    static Words MultiplyWords(Words a, Words b) { return _mm_mullo_epi16(a, b); }
    static Words MultiplyHigh(Words a, Words b) { return _mm_mulhi_epu16(a, b); }
    static Words AddInt32(Words a, Words b) { return _mm_add_epi32(a, b); }

    /* Sums of products of neighbours: bytes times signed bytes to words, words to 32 bits. */
    static Words MultiplyPairs(Bytes pixels, Bytes weights) { return _mm_maddubs_epi16(pixels, weights); }
    static Words MultiplyWordPairs(Words a, Words b) { return _mm_madd_epi16(a, b); }

    template <int Bits>
    static Words ShiftWords(Words v)
    {
        return _mm_srai_epi16(v, Bits);
    }

    template <int Bits>
    static Words ShiftInt32(Words v)
    {
        return _mm_srai_epi32(v, Bits);
    }

    static Mask Equal(Bytes a, Bytes b) { return _mm_cmpeq_epi8(a, b); }
    static Bytes Select(Mask mask, Bytes where, Bytes elsewhere) { return _mm_blendv_epi8(elsewhere, where, mask); }
    static Bytes Increment(Bytes v, Mask mask) { return _mm_sub_epi8(v, mask); }
    static Bytes FillTable(const uint8* table) { return Load(table); }

    /* The tenths of the steps that the bytes of a vector belong to. */
    template <sint32 Channels, bool IsMirrored>
    static Bytes Spread(const uint8* tenths)
    {
        static constexpr SpreadTable<16> table = MakeSpreadTable<16, Channels, IsMirrored>();
        if (Channels == 1 && !IsMirrored) return Load(tenths);
        return _mm_shuffle_epi8(Load(tenths), Load(table.entry));
    }

    /* The same for the numbers of steps, for the bytes that UnpackLow or UnpackHigh take. */
    template <sint32 Channels, bool IsMirrored, bool IsHigh>
    static Words SpreadWords(const uint16* numbers)
    {
        if (Channels == 1) {
            const Words eight = LoadWords(numbers + (IsMirrored != IsHigh ? 8 : 0));
            return IsMirrored ? _mm_shuffle_epi8(eight, Load(kWordsReversed.entry)) : eight;
        }
        typedef WordSpread<16, IsMirrored, IsHigh> Spread;
        static constexpr SpreadTable<16> table = Spread::MakeTable();
        return _mm_shuffle_epi8(LoadWords(numbers + Spread::first), Load(table.entry));
    }
};

/* ---- What scans need ---- */

struct ScanVec : Vec {
    /* The same 16 bytes in every 16 bytes of the vector. */
    static Bytes Repeat(const uint8* bytes) { return Load(bytes); }

    /* 16 bytes out of every 48, for every 16 bytes of the vector. */
    static Bytes LoadThirds(const uint8* from) { return Load(from); }

    /* Looks up each byte by its lower four bits, as LookUp does; 0 where the highest bit is set. */
    static Bytes Pick(Bytes table, Bytes index) { return _mm_shuffle_epi8(table, index); }

    static Bytes UpperHalves(Bytes v) { return And(_mm_srli_epi16(v, 4), Fill(15)); }
    static Bytes IfZero(Bytes test, Bytes then, Bytes otherwise)
    {
        return _mm_blendv_epi8(otherwise, then, _mm_cmpeq_epi8(test, _mm_setzero_si128()));
    }

    /* Bit k: whether byte k of `set` has the one bit that byte k of `bit` is. */
    static uint64_t MaskOfHeld(Bytes set, Bytes bit)
    {
        return static_cast<uint32>(_mm_movemask_epi8(_mm_cmpeq_epi8(And(set, bit), bit)));
    }

    /* Pairs of bytes: the first less the second, and the second alone, as 16-bit numbers. */
    static Bytes Differences(Bytes pairs) { return _mm_maddubs_epi16(pairs, _mm_set1_epi16(-255)); }
    static Bytes Seconds(Bytes pairs) { return _mm_srli_epi16(pairs, 8); }

    /* 16-bit numbers; packing joins two vectors, 16 bytes by 16 bytes, and cuts what no byte can hold. */
    static Bytes Add16(Bytes a, Bytes b) { return _mm_add_epi16(a, b); }
    static Bytes MultiplyHigh(Bytes v, short factor) { return _mm_mulhi_epi16(v, _mm_set1_epi16(factor)); }
    static Bytes Pack(Bytes a, Bytes b) { return _mm_packus_epi16(a, b); }
    static Bytes PackSigned(Bytes a, Bytes b) { return _mm_packs_epi16(a, b); }
};

/* ---- What conversions and turns need: lanes of 16 bytes, numbers of 16 bits ---- */

struct PixelVec : Vec {
    typedef uint16 Mask;

    /* 16 bytes into every lane. */
    static Bytes Repeat(const uint8* from) { return Load(from); }
    /* 16 bytes into each lane; from one lane to the next they are so many bytes apart. */
    static Bytes LoadLanes(const uint8* from, ptrdiff_t) { return Load(from); }
    static void StoreLanes(uint8* to, ptrdiff_t, Bytes v) { Store(to, v); }
    /* The same at an offset from rows[0], rows[16], and so on. */
    static Bytes LoadRows(const uint8* const* rows, ptrdiff_t offset) { return Load(rows[0] + offset); }

    /* Each of size / 8 bytes eight times. */
    static Bytes LoadEightfold(const uint8* from)
    {
        uint16 bytes;
        std::memcpy(&bytes, from, sizeof bytes);
        return _mm_shuffle_epi8(_mm_cvtsi32_si128(bytes), _mm_setr_epi32(0, 0, 0x01010101, 0x01010101));
    }

    /* The highest bit of each byte, that of the first one lowest. */
    static Mask HighestBits(Bytes v) { return static_cast<Mask>(_mm_movemask_epi8(v)); }
    static Bytes Equal(Bytes a, Bytes b) { return _mm_cmpeq_epi8(a, b); }
    static Bytes Xor(Bytes a, Bytes b) { return _mm_xor_si128(a, b); }
    /* Bytes of a where the mask has 255, of b where it has 0. */
    static Bytes Select(Bytes mask, Bytes a, Bytes b) { return _mm_blendv_epi8(b, a, mask); }

    /* The first or the last halves of every lane, in turn from a and from b. */
    static Bytes InterleaveLow(Bytes a, Bytes b) { return _mm_unpacklo_epi8(a, b); }
    static Bytes InterleaveHigh(Bytes a, Bytes b) { return _mm_unpackhi_epi8(a, b); }
    static Bytes Reverse(Bytes v)
    {
        return _mm_shuffle_epi8(v, _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
    }

    static Bytes Fill16(sint32 value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static Bytes FillPairs(sint32 first, sint32 second) { return Fill16((first & 255) | second * 256); }
    static Bytes Add16(Bytes a, Bytes b) { return _mm_add_epi16(a, b); }
    static Bytes Multiply16(Bytes a, Bytes b) { return _mm_mullo_epi16(a, b); }
    /* a * b / 2^15, rounded half up. */
    static Bytes MultiplyFraction(Bytes a, Bytes b) { return _mm_mulhrs_epi16(a, b); }
    /* The sums of two neighbouring bytes of a, each times a signed byte of b. */
    static Bytes MultiplyPairs(Bytes a, Bytes b) { return _mm_maddubs_epi16(a, b); }
    template <int bits>
    static Bytes ShiftRight16(Bytes v)
    {
        return _mm_srli_epi16(v, bits);
    }
    static Bytes ShiftRightBy(Bytes v, sint32 bits) { return _mm_srl_epi16(v, _mm_cvtsi32_si128(bits)); }
    static Bytes ShiftLeftBy(Bytes v, sint32 bits) { return _mm_sll_epi16(v, _mm_cvtsi32_si128(bits)); }
    template <int bits>
    static Bytes ShiftRightSigned16(Bytes v)
    {
        return _mm_srai_epi16(v, bits);
    }
    /* Numbers from 0 to 255 as bytes: the first half of every lane from a, the last from b. */
    static Bytes Pack16(Bytes a, Bytes b) { return _mm_packus_epi16(a, b); }
};

} // namespace

/* ---- The set ---- */

extern const KernelsRec kSse41Kernels;
const KernelsRec kSse41Kernels = {
    /* rotate */ RotateKernels<RotateVec, RotateVec>(),
    /* convert */ ConvertKernelsOf<PixelVec>(),
    /* turn */ TurnKernelsOf<PixelVec>(),
    /* scan */ {kDotScans<Dots1>, kDotScans<Dots8<ScanVec>>, kDotScans<Dots24<ScanVec>>},
};
