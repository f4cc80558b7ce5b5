/*
 * Convert.h - conversion between depths, a vector of pixels at a time.
 *
 * A row is taken in blocks of V::size pixels; what remains at its end goes through a copy that zeros fill up, so that a
 * block may always read and write whole vectors. Pixels of 0 are black at every depth and whatever the threshold, which
 * leaves the bits behind the last pixel clear.
 *
 * Vectors consist of lanes of 16 bytes. Where pixels have three bytes, lane k stands for the pixels 16 k to 16 k + 15,
 * which are 48 bytes of the row.
 *
 * Grey of a colour. The tables hold 306.176 r, 601.088 g and 116.736 b, each rounded half up; the grey is their sum
 * shifted right by 10 and passed through the tone curve. The sum needs 18 bits, yet it can be had in 16: with
 *
 *     306.176 = 2 * 128 + 50 + 0.176     601.088 = 5 * 128 - 39 + 0.088     116.736 = 1 * 128 - 12 + 0.736
 *
 * it is 128 * coarse + fine, where coarse = 2 r + 5 g + b is at most 2040 and fine lies within +-13005, and the grey is
 * (coarse + (fine >> 7)) >> 3, since shifting by 10 in two steps rounds down all the same. The fractions alone need
 * rounding; one instruction multiplies by a fraction of 2^15 and rounds half up. That this is exact for every byte is
 * asserted below.
 *
 * Tone curve. A look-up takes an index from 0 to 15, so that a table of 256 would need sixteen. But over 16 values
 * the curve is nearly straight: it is the start of a line, plus its slope times the last four bits of the value,
 * rounded, or one more than that. Which of both is a table of 256 bits, 32 bytes, two look-ups. Made by the compiler
 * from the curve itself, and asserted to be no more than a bit.
 *
 * Threshold after the curve. The curve dips in places, so that no limit on the sum says which colours are white.
 * Another table of 256 bits does, made for each row from curve and threshold.
 */
#ifndef QUARLO_SRC_KERNELS_CONVERT_H
#define QUARLO_SRC_KERNELS_CONVERT_H

#include <cstring>

#include "BitmapConversionTable.h"
#include "kernels/Kernels.h"
#include "kernels/Patterns.h"

namespace
{

/* ---- Eight pixels in a byte ---- */

constexpr Pattern kBitValues = PatternOf([](sint32 p) { return 128 >> (p & 7); });

/* Gray 0 or 255 for each bit. */
template <class V>
inline typename V::Bytes GrayOfBits(const uint8* from)
{
    const typename V::Bytes values = V::Repeat(kBitValues.at);
    return V::Equal(V::And(V::LoadEightfold(from), values), values);
}

constexpr Pattern kLowestFirst = PatternOf([](sint32 p) { return 1 << (p & 7); });

/* What exceeds the limit, by one or more, has its highest bit set once 127 is added; all else is 127. */
template <class V>
inline typename V::Bytes HighestBitIfAbove(typename V::Bytes gray, typename V::Bytes limit)
{
    return V::AddSaturated(V::SubtractSaturated(gray, limit), V::Fill(127));
}

/* A bit for each byte: its highest. */
template <class V>
inline void StoreHighestBits(uint8* to, typename V::Bytes bytes)
{
    const typename V::Mask mask = V::HighestBits(V::LookUp(bytes, V::Repeat(kEightsReversed.at)));
    std::memcpy(to, &mask, sizeof mask);
}

/* ---- Three bytes in a pixel ---- */

/* Byte k of a pixel of gray: where each of the three vectors that 16 pixels become takes its bytes from. */
constexpr Pattern kThreefold[3] = {PatternOf([](sint32 p) { return p / 3; }),
                                   PatternOf([](sint32 p) { return (p + 16) / 3; }),
                                   PatternOf([](sint32 p) { return (p + 32) / 3; })};

/* Every third byte, starting with byte k. */
constexpr Pattern kThirds[3] = {PatternOf([](sint32 p) { return p % 3 == 0 ? 255 : 0; }),
                                PatternOf([](sint32 p) { return p % 3 == 1 ? 255 : 0; }),
                                PatternOf([](sint32 p) { return p % 3 == 2 ? 255 : 0; })};

/* Where the bytes of channel k of 16 pixels are once the three vectors that hold them are merged into one. */
constexpr Pattern kMerged[3] = {PatternOf([](sint32 p) { return 3 * p % 16; }),
                                PatternOf([](sint32 p) { return (3 * p + 1) % 16; }),
                                PatternOf([](sint32 p) { return (3 * p + 2) % 16; })};

template <class V>
inline void StoreThreefold(uint8* to, typename V::Bytes gray)
{
    for (sint32 k = 0; k < 3; ++k) V::StoreLanes(to + 16 * k, 48, V::LookUp(gray, V::Repeat(kThreefold[k].at)));
}

template <class V>
struct ColorVectors {
    typename V::Bytes blue, green, red;
};

/* A channel has every third byte of each of three vectors, and no two of them at the same place. */
template <class V>
inline ColorVectors<V> LoadColors(const uint8* from)
{
    typename V::Bytes part[3], channel[3];
    for (sint32 k = 0; k < 3; ++k) part[k] = V::LoadLanes(from + 16 * k, 48);
    for (sint32 k = 0; k < 3; ++k) {
        const typename V::Bytes first_two = V::Select(V::Repeat(kThirds[k].at), part[0], part[1]);
        const typename V::Bytes merged = V::Select(V::Repeat(kThirds[(k + 1) % 3].at), part[2], first_two);
        channel[k] = V::LookUp(merged, V::Repeat(kMerged[k].at));
    }
    return {channel[0], channel[1], channel[2]};
}

/* ---- Grey of a colour ---- */

/* The weights' fractions in 2^15ths. */
constexpr sint32 kRedFraction = 5767;
constexpr sint32 kGreenFraction = 2884;
constexpr sint32 kBlueFraction = 24117;

/* Whether whole * value + the rounded product with the fraction is the table's entry for every byte. */
constexpr bool IsTable(const sint32* table, sint32 whole, sint32 fraction)
{
    for (sint32 value = 0; value < 256; ++value)
        if (table[value] != whole * value + ((value * fraction + 0x4000) >> 15)) return false;
    return true;
}
static_assert(IsTable(RedToGrayTable, 2 * 128 + 50, kRedFraction));
static_assert(IsTable(GreenToGrayTable, 5 * 128 - 39, kGreenFraction));
static_assert(IsTable(BlueToGrayTable, 1 * 128 - 12, kBlueFraction));

/* The weighted sums, shifted right by 10, of half a vector's pixels as 16-bit numbers. */
template <class V>
inline typename V::Bytes WeightedSums(typename V::Bytes green_red, typename V::Bytes blue)
{
    const typename V::Bytes green = V::And(green_red, V::Fill16(255));
    const typename V::Bytes red = V::template ShiftRight16<8>(green_red);

    const typename V::Bytes coarse = V::Add16(V::MultiplyPairs(green_red, V::FillPairs(5, 2)), blue);
    const typename V::Bytes whole =
        V::Add16(V::MultiplyPairs(green_red, V::FillPairs(-39, 50)), V::Multiply16(blue, V::Fill16(-12)));
    const typename V::Bytes fractions = V::Add16(V::MultiplyFraction(red, V::Fill16(kRedFraction)),
                                                 V::Add16(V::MultiplyFraction(green, V::Fill16(kGreenFraction)),
                                                          V::MultiplyFraction(blue, V::Fill16(kBlueFraction))));
    const typename V::Bytes fine = V::Add16(whole, fractions);
    return V::template ShiftRight16<3>(V::Add16(coarse, V::template ShiftRightSigned16<7>(fine)));
}

/* The same of a whole vector's pixels, as bytes: what the tone curve is asked for. */
template <class V>
inline typename V::Bytes LoadSums(const uint8* from)
{
    const ColorVectors<V> colors = LoadColors<V>(from);
    const typename V::Bytes zero = V::Fill(0);
    return V::Pack16(
        WeightedSums<V>(V::InterleaveLow(colors.green, colors.red), V::InterleaveLow(colors.blue, zero)),
        WeightedSums<V>(V::InterleaveHigh(colors.green, colors.red), V::InterleaveHigh(colors.blue, zero)));
}

/* A bit for each sum, the lowest of a byte first. */
struct BitsOfSums {
    uint8 bytes[32];
};

/* Whether the bit of each sum is set: 255 or 0. */
template <class V>
inline typename V::Bytes IsSet(const BitsOfSums& bits, typename V::Bytes sums)
{
    const typename V::Bytes half = V::And(sums, V::Fill(128));
    const typename V::Bytes index = V::Or(V::And(V::template ShiftRight16<3>(sums), V::Fill(15)), half);
    const typename V::Bytes eight = V::Or(V::LookUp(V::Repeat(bits.bytes), index),
                                          V::LookUp(V::Repeat(bits.bytes + 16), V::Xor(index, V::Fill(128))));
    const typename V::Bytes bit = V::LookUp(V::Repeat(kLowestFirst.at), V::And(sums, V::Fill(7)));
    return V::Equal(V::And(eight, bit), bit);
}

/* ---- Tone curve ---- */

/* The lines: gray at their start, and slope in 32nds. */
constexpr Pattern kStart = {{0, 4, 12, 22, 33, 47, 61, 77, 93, 111, 129, 148, 168, 189, 211, 232}};
constexpr Pattern kSlope = {{8, 15, 19, 23, 28, 28, 31, 31, 34, 34, 36, 40, 42, 42, 42, 48}};

constexpr sint32 AboveLine(sint32 sum)
{
    return GrayChangeTable[sum] - ((32 * kStart.at[sum >> 4] + kSlope.at[sum >> 4] * (sum & 15) + 16) >> 5);
}

/* The sums whose gray is one more than their line's. */
constexpr BitsOfSums SumsAboveLines()
{
    BitsOfSums sums = {};
    for (sint32 sum = 0; sum < 256; ++sum)
        sums.bytes[sum >> 3] = static_cast<uint8>(sums.bytes[sum >> 3] | AboveLine(sum) << (sum & 7));
    return sums;
}

constexpr bool IsAtMostOneAboveLines()
{
    for (sint32 sum = 0; sum < 256; ++sum)
        if (AboveLine(sum) != 0 && AboveLine(sum) != 1) return false;
    return true;
}
static_assert(IsAtMostOneAboveLines());

constexpr BitsOfSums kAboveLines = SumsAboveLines();

/* Start and slope share a product: the one counts 32 times, the other as often as the last bits of the sum say. */
template <class V>
inline typename V::Bytes GrayOfSums(typename V::Bytes sums)
{
    const typename V::Bytes line = V::And(V::template ShiftRight16<4>(sums), V::Fill(15));
    const typename V::Bytes start = V::LookUp(V::Repeat(kStart.at), line);
    const typename V::Bytes slope = V::LookUp(V::Repeat(kSlope.at), line);
    const typename V::Bytes place = V::And(sums, V::Fill(15));
    const typename V::Bytes once = V::Fill(32);
    const typename V::Bytes low = V::MultiplyPairs(V::InterleaveLow(start, slope), V::InterleaveLow(once, place));
    const typename V::Bytes high =
        V::MultiplyPairs(V::InterleaveHigh(start, slope), V::InterleaveHigh(once, place));
    const typename V::Bytes a_32nd = V::Fill16(0x8000 / 32);
    const typename V::Bytes gray = V::Pack16(V::MultiplyFraction(low, a_32nd), V::MultiplyFraction(high, a_32nd));
    return V::Subtract(gray, IsSet<V>(kAboveLines, sums));
}

/* The curve as bytes, and the sums that are white behind it. */
struct CurveBytes {
    uint8 gray[256];
};

constexpr CurveBytes BytesOfCurve()
{
    CurveBytes curve = {};
    for (sint32 sum = 0; sum < 256; ++sum) curve.gray[sum] = static_cast<uint8>(GrayChangeTable[sum]);
    return curve;
}

constexpr CurveBytes kCurve = BytesOfCurve();

template <class V>
BitsOfSums WhiteSums(uint8 DividingValue)
{
    BitsOfSums white;
    for (sint32 sum = 0; sum < 256; sum += V::size) {
        const typename V::Mask mask =
            V::HighestBits(HighestBitIfAbove<V>(V::Load(kCurve.gray + sum), V::Fill(DividingValue)));
        std::memcpy(white.bytes + sum / 8, &mask, sizeof mask);
    }
    return white;
}

/* ---- The six conversions: what a block of V::size pixels becomes ---- */

template <class V>
struct BWToGray {
    static constexpr sint32 from_bits = 1;
    static constexpr sint32 to_bits = 8;
    explicit BWToGray(uint8) {}
    void Block(const uint8* from, uint8* to) const { V::Store(to, GrayOfBits<V>(from)); }
};

template <class V>
struct BWToColor {
    static constexpr sint32 from_bits = 1;
    static constexpr sint32 to_bits = 24;
    explicit BWToColor(uint8) {}
    void Block(const uint8* from, uint8* to) const { StoreThreefold<V>(to, GrayOfBits<V>(from)); }
};

template <class V>
struct GrayToBW {
    static constexpr sint32 from_bits = 8;
    static constexpr sint32 to_bits = 1;
    explicit GrayToBW(uint8 DividingValue) : limit(V::Fill(DividingValue)) {}
    void Block(const uint8* from, uint8* to) const
    {
        StoreHighestBits<V>(to, HighestBitIfAbove<V>(V::Load(from), limit));
    }

    typename V::Bytes limit;
};

template <class V>
struct GrayToColor {
    static constexpr sint32 from_bits = 8;
    static constexpr sint32 to_bits = 24;
    explicit GrayToColor(uint8) {}
    void Block(const uint8* from, uint8* to) const { StoreThreefold<V>(to, V::Load(from)); }
};

template <class V>
struct ColorToBW {
    static constexpr sint32 from_bits = 24;
    static constexpr sint32 to_bits = 1;
    explicit ColorToBW(uint8 DividingValue) : white(WhiteSums<V>(DividingValue)) {}
    void Block(const uint8* from, uint8* to) const { StoreHighestBits<V>(to, IsSet<V>(white, LoadSums<V>(from))); }

    BitsOfSums white;
};

template <class V>
struct ColorToGray {
    static constexpr sint32 from_bits = 24;
    static constexpr sint32 to_bits = 8;
    explicit ColorToGray(uint8) {}
    void Block(const uint8* from, uint8* to) const { V::Store(to, GrayOfSums<V>(LoadSums<V>(from))); }
};

/* ---- A row ---- */

template <class V, class Conversion>
void ConvertRow(const uint8* from, uint8* to, sint32 num, uint8 DividingValue)
{
    constexpr sint32 from_size = V::size * Conversion::from_bits / 8;
    constexpr sint32 to_size = V::size * Conversion::to_bits / 8;
    const Conversion conversion(DividingValue);
    for (; num >= V::size; num -= V::size, from += from_size, to += to_size) conversion.Block(from, to);
    if (num == 0) return;

    uint8 last_from[from_size] = {};
    uint8 last_to[to_size];
    std::memcpy(last_from, from, static_cast<size_t>((num * Conversion::from_bits + 7) / 8));
    conversion.Block(last_from, last_to);
    std::memcpy(to, last_to, static_cast<size_t>((num * Conversion::to_bits + 7) / 8));
}

template <class V>
constexpr ConvertKernelsRec ConvertKernelsOf()
{
    return {ConvertRow<V, BWToGray<V>>,    ConvertRow<V, BWToColor<V>>, ConvertRow<V, GrayToBW<V>>,
            ConvertRow<V, GrayToColor<V>>, ConvertRow<V, ColorToBW<V>>, ConvertRow<V, ColorToGray<V>>};
}

} // namespace

#endif
