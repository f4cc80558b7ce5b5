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
 * Tone curve. A look-up takes an index from 0 to 15, so the curve is 16 tables. It gives 0 for an index with the highest
 * bit set and ignores the next three, so tables 0 to 7 may be added up by exclusive or: table k, stored as its
 * difference to table k - 1, gives nothing as long as value - 16 k is negative. The upper half of the values is done
 * alike with the highest bit inverted.
 *
 * Threshold after the curve. The curve dips in places, so that no limit on the sum says which colours are white. A table
 * of 256 bits does, made for each row from curve and threshold: 32 bytes, two look-ups.
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
constexpr bool IsTable(sint32 whole, sint32 fraction, sint32 thousandths)
{
    for (sint32 value = 0; value < 256; ++value)
        if (whole * value + ((value * fraction + 0x4000) >> 15) != (value * thousandths * 1024 + 500) / 1000)
            return false;
    return true;
}
static_assert(IsTable(2 * 128 + 50, kRedFraction, 299), "RedToGrayTable");
static_assert(IsTable(5 * 128 - 39, kGreenFraction, 587), "GreenToGrayTable");
static_assert(IsTable(1 * 128 - 12, kBlueFraction, 114), "BlueToGrayTable");

/* The weighted sums, shifted right by 10, of half a vector's pixels as 16-bit numbers. */
template <class V>
inline typename V::Bytes WeightedSums(typename V::Bytes blue_green, typename V::Bytes red)
{
    const typename V::Bytes blue = V::And(blue_green, V::Fill16(255));
    const typename V::Bytes green = V::template ShiftRight16<8>(blue_green);

    const typename V::Bytes coarse = V::Add16(V::MultiplyPairs(blue_green, V::FillPairs(1, 5)), V::Add16(red, red));
    const typename V::Bytes whole =
        V::Add16(V::MultiplyPairs(blue_green, V::FillPairs(-12, -39)), V::Multiply16(red, V::Fill16(50)));
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
        WeightedSums<V>(V::InterleaveLow(colors.blue, colors.green), V::InterleaveLow(colors.red, zero)),
        WeightedSums<V>(V::InterleaveHigh(colors.blue, colors.green), V::InterleaveHigh(colors.red, zero)));
}

/* The tone curve as 16 tables, as the head of this file tells. */
template <class V>
class Curve
{
public:
    Curve()
    {
        for (sint32 k = 0; k < 16; ++k) {
            uint8 difference[16];
            for (sint32 p = 0; p < 16; ++p) {
                const sint32 before = k % 8 == 0 ? 0 : GrayChangeTable[16 * k - 16 + p];
                difference[p] = static_cast<uint8>(GrayChangeTable[16 * k + p] ^ before);
            }
            tables[k] = V::Repeat(difference);
        }
    }

    typename V::Bytes Of(typename V::Bytes sums) const
    {
        return V::Xor(OfHalf(tables, sums), OfHalf(tables + 8, V::Xor(sums, V::Fill(128))));
    }

private:
    static typename V::Bytes OfHalf(const typename V::Bytes* half, typename V::Bytes sums)
    {
        typename V::Bytes gray = V::LookUp(half[0], sums);
        for (sint32 k = 1; k < 8; ++k) {
            sums = V::SubtractSigned(sums, V::Fill(16));
            gray = V::Xor(gray, V::LookUp(half[k], sums));
        }
        return gray;
    }

    typename V::Bytes tables[16];
};

/* Which sums are white: a bit each, the lowest of a byte first. */
template <class V>
class WhiteSums
{
public:
    explicit WhiteSums(uint8 DividingValue)
    {
        uint8 gray[256];
        for (sint32 sum = 0; sum < 256; ++sum) gray[sum] = static_cast<uint8>(GrayChangeTable[sum]);
        uint8 bits[32];
        for (sint32 sum = 0; sum < 256; sum += V::size) {
            const typename V::Mask mask =
                V::HighestBits(HighestBitIfAbove<V>(V::Load(gray + sum), V::Fill(DividingValue)));
            std::memcpy(bits + sum / 8, &mask, sizeof mask);
        }
        lower = V::Repeat(bits);
        upper = V::Repeat(bits + 16);
    }

    /* The highest bit of each byte says whether that sum is white. */
    typename V::Bytes Of(typename V::Bytes sums) const
    {
        const typename V::Bytes half = V::And(sums, V::Fill(128));
        const typename V::Bytes index = V::Or(V::And(V::template ShiftRight16<3>(sums), V::Fill(15)), half);
        const typename V::Bytes eight =
            V::Or(V::LookUp(lower, index), V::LookUp(upper, V::Xor(index, V::Fill(128))));
        const typename V::Bytes bit = V::LookUp(V::Repeat(kLowestFirst.at), V::And(sums, V::Fill(7)));
        return V::Equal(V::And(eight, bit), bit);
    }

private:
    typename V::Bytes lower, upper;
};

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
    explicit ColorToBW(uint8 DividingValue) : white(DividingValue) {}
    void Block(const uint8* from, uint8* to) const { StoreHighestBits<V>(to, white.Of(LoadSums<V>(from))); }

    WhiteSums<V> white;
};

template <class V>
struct ColorToGray {
    static constexpr sint32 from_bits = 24;
    static constexpr sint32 to_bits = 8;
    explicit ColorToGray(uint8) {}
    void Block(const uint8* from, uint8* to) const { V::Store(to, curve.Of(LoadSums<V>(from))); }

    Curve<V> curve;
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
