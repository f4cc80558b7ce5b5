/*
 * Scan.h - the method of the scans of page detection.
 *
 * Everything is built from one question: which of 64 neighbouring dots of a row count, as the bits of a mask, bit 0
 * for the leftmost. A ray along a row asks for block after block and takes the lowest or the highest bit of the first
 * mask that has one. The rays of 64 columns go together: row after row, the mask tells which of the columns still
 * under way have their hit here. That is the order in which the rows lie in memory, and each cache line is touched
 * once, where the rays of single columns touch it once for every dot in it.
 *
 * Dots8, Dots24 and Dots1 answer the question for a depth. None compares with a threshold: the caller has judged each
 * of the 256 levels once, with the tone curve and its dips near black, and lookups find a level's judgement. Its lower
 * four bits choose a byte in the set's rows, its upper four a bit in that byte. So one method serves dark and light
 * grounds and all thresholds, and it is exact because the set is.
 *
 * At 24 bits the level is
 *
 *   (RedToGrayTable[green] + GreenToGrayTable[green] + BlueToGrayTable[blue]) >> 10
 *
 * without the tables. Their entries are 306.176, 601.088 and 116.736 times the byte, rounded; the factors sum to 1024.
 * So the sum is 1024 green + 116.736 (blue - green), give or take 1.5 for three roundings, and where blue differs from
 * green the level is
 *
 *   green + floor(0.114 (blue - green))  =  green + (7471 (blue - green) >> 16)
 *
 * No rounding carries that over a whole number: 114 times a difference of 1 to 255 is never closer than 2 to a
 * multiple of 1000 (193 * 114 = 22002), which is 2.048 on the scale of the sum; the roundings and the cut of the
 * factor to 7471 / 65536 (0.41 at most) together move it by less than 1.92. Where blue equals green, the exact value
 * is the whole number itself and the roundings decide: a few greys have the level below. The formula gives green for
 * all of them, and the caller has judged them in a set of their own.
 *
 * Nothing outside the dots that are asked for is read: the last block of a row is moved back to end with the row, over
 * dots that have been seen already, and fewer than 64 dots are copied to where a whole block may be read.
 */
#ifndef QUARLO_SRC_KERNELS_SCAN_H
#define QUARLO_SRC_KERNELS_SCAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kernels/Kernels.h"

namespace
{

constexpr sint32 kBlock = 64;    /* dots in a mask */
constexpr sint32 kRowsAhead = 8; /* rows by which memory is asked for what is needed next */
constexpr int64_t kMostBytesAhead = 1024;
constexpr int64_t kCacheLine = 64;
constexpr short kBlueWeight = 7471; /* 0.114 * 65536, cut */

/* ---- Which levels count ---- */

constexpr uint8 kBits[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};

/* Level sets in vectors. */
template <class V>
struct LevelRows {
    typedef typename V::Bytes Bytes;

    explicit LevelRows(const LevelSetRec& set) : lower(V::Repeat(set.rows[0])), upper(V::Repeat(set.rows[1])) {}

    /* The byte of each level's row. A lookup answers 0 to indices from 128 on, so that only one of the two counts. */
    Bytes RowOf(Bytes levels) const
    {
        return V::Or(V::Pick(lower, levels), V::Pick(upper, V::Add(levels, V::Fill(128))));
    }

    Bytes lower;
    Bytes upper;
};

/* The mask of the levels whose bit in `rows` is set. */
template <class V>
uint64_t MaskOf(typename V::Bytes rows, typename V::Bytes levels)
{
    return V::MaskOfHeld(rows, V::Pick(V::Repeat(kBits), V::UpperHalves(levels)));
}

/* ---- Which of 64 dots count ---- */

template <class V>
class Dots8
{
public:
    static constexpr sint32 bits = 8;

    explicit Dots8(const DotSetRec& dots) : rows(dots.levels) {}

    uint64_t Mask(const uint8* line, sint32 col) const
    {
        uint64_t mask = 0;
        for (sint32 k = 0; k < kBlock; k += V::size) {
            const typename V::Bytes levels = V::Load(line + col + k);
            mask |= MaskOf<V>(rows.RowOf(levels), levels) << k;
        }
        return mask;
    }

private:
    LevelRows<V> rows;
};

/* What gathers the blue and green bytes of eight dots: four out of their first 16 bytes, four out of their last. */
constexpr uint8 kFirstPairs[16] = {0, 1, 3, 4, 6, 7, 9, 10, 128, 128, 128, 128, 128, 128, 128, 128};
constexpr uint8 kLastPairs[16] = {128, 128, 128, 128, 128, 128, 128, 128, 4, 5, 7, 8, 10, 11, 13, 14};

template <class V>
class Dots24
{
    typedef typename V::Bytes Bytes;

public:
    static constexpr sint32 bits = 24;

    explicit Dots24(const DotSetRec& dots)
        : rows(dots.levels), gray_rows(dots.grays),
          grays_agree(std::memcmp(&dots.levels, &dots.grays, sizeof dots.grays) == 0)
    {
    }

    uint64_t Mask(const uint8* line, sint32 col) const
    {
        uint64_t mask = 0;
        for (sint32 k = 0; k < kBlock; k += V::size)
            mask |= MaskOfVector(line + (static_cast<ptrdiff_t>(col) + k) * 3) << k;
        return mask;
    }

private:
    /* Every 16 bytes of a vector take 16 neighbouring dots: the first eight from 24 bytes, the others from 24 more. */
    uint64_t MaskOfVector(const uint8* from) const
    {
        const Bytes first = Pairs(from);
        const Bytes last = Pairs(from + 24);
        const Bytes first_differences = V::Differences(first);
        const Bytes last_differences = V::Differences(last);
        const Bytes levels = V::Pack(Levels(first, first_differences), Levels(last, last_differences));
        if (grays_agree) return MaskOf<V>(rows.RowOf(levels), levels);
        const Bytes differences = V::PackSigned(first_differences, last_differences);
        return MaskOf<V>(V::IfZero(differences, gray_rows.RowOf(levels), rows.RowOf(levels)), levels);
    }

    static Bytes Pairs(const uint8* from)
    {
        return V::Or(V::Pick(V::LoadThirds(from), V::Repeat(kFirstPairs)),
                     V::Pick(V::LoadThirds(from + 8), V::Repeat(kLastPairs)));
    }

    static Bytes Levels(Bytes pairs, Bytes differences)
    {
        return V::Add16(V::Seconds(pairs), V::MultiplyHigh(differences, kBlueWeight));
    }

    LevelRows<V> rows;
    LevelRows<V> gray_rows;
    bool grays_agree; /* mostly both sets are the same */
};

/* Eight dots a byte: the bits are there already, in another order. */
class Dots1
{
public:
    static constexpr sint32 bits = 1;

    explicit Dots1(const DotSetRec& dots) : if_set(Judge(dots.levels, 255)), if_clear(Judge(dots.levels, 0)) {}

    uint64_t Mask(const uint8* line, sint32 col) const
    {
        const sint32 shift = col & 7;
        uint64_t dots;
        std::memcpy(&dots, line + (col >> 3), sizeof dots);
        const uint64_t mask = Count(dots) >> shift;
        return shift == 0 ? mask : mask | Count(line[(col >> 3) + 8]) << (kBlock - shift);
    }

private:
    static uint64_t Judge(const LevelSetRec& set, sint32 level)
    {
        return (set.rows[level >> 7][level & 15] >> ((level >> 4) & 7) & 1) != 0 ? ~uint64_t{0} : 0;
    }

    /* The dots that count, each byte's leftmost dot in its lowest bit; mostly there are none. */
    uint64_t Count(uint64_t dots) const
    {
        uint64_t mask = (dots & if_set) | (~dots & if_clear);
        if (mask == 0) return 0;
        mask = (mask >> 4 & 0x0F0F0F0F0F0F0F0Fu) | (mask & 0x0F0F0F0F0F0F0F0Fu) << 4;
        mask = (mask >> 2 & 0x3333333333333333u) | (mask & 0x3333333333333333u) << 2;
        return (mask >> 1 & 0x5555555555555555u) | (mask & 0x5555555555555555u) << 1;
    }

    uint64_t if_set;
    uint64_t if_clear;
};

/* The mask of num dots from a column on; num is 1 to 64. */
template <class Dots>
uint64_t MaskOfFew(const Dots& dots, const uint8* line, sint32 col, sint32 num)
{
    if (num == kBlock) return dots.Mask(line, col);
    const ptrdiff_t begin = static_cast<ptrdiff_t>(int64_t{col} * Dots::bits / 8);
    const ptrdiff_t end = static_cast<ptrdiff_t>(((int64_t{col} + num) * Dots::bits + 7) / 8);
    uint8 copy[kBlock * 3] = {};
    std::memcpy(copy, line + begin, static_cast<size_t>(end - begin));
    return dots.Mask(copy, Dots::bits == 1 ? col & 7 : 0) & ((uint64_t{1} << num) - 1);
}

sint32 LowestBit(uint64_t mask) { return __builtin_ctzll(mask); }
sint32 HighestBit(uint64_t mask) { return kBlock - 1 - __builtin_clzll(mask); }

/* ---- Counting ---- */

template <class Dots>
bool HasMoreDots(const uint8* line, sint32 biWidth, sint32 num, const DotSetRec& dot_set)
{
    if (biWidth <= num) return false;
    const Dots dots(dot_set);
    const sint32 last_block = biWidth - kBlock;
    sint32 count = 0;
    sint32 col = 0;
    for (; col < last_block; col += kBlock) {
        count += __builtin_popcountll(dots.Mask(line, col));
        if (count > num) return true;
    }
    const uint64_t rest = dots.Mask(line, last_block) >> (col - last_block); /* without dots that are counted */
    return count + __builtin_popcountll(rest) > num;
}

/* ---- Rays ---- */

/*
 * Asks for the bytes of the dots from left to right before they are needed: neighbouring rows lie in different pages,
 * where the processor does not look ahead by itself. Along a row it does, so many bytes are left to it.
 */
template <class Dots>
void Fetch(const uint8* line, sint32 left, sint32 right)
{
    const int64_t begin = int64_t{left} * Dots::bits / 8;
    const int64_t last = int64_t{right} * Dots::bits / 8;
    if (last - begin > kMostBytesAhead) return;
    for (int64_t at = begin; at < last; at += kCacheLine) __builtin_prefetch(line + at);
    __builtin_prefetch(line + last);
}

/* The leftmost dot that counts, in at least 64. */
template <class Dots>
sint32 FirstHit(const Dots& dots, const uint8* line, sint32 left, sint32 right)
{
    const sint32 last_block = right - kBlock + 1;
    for (sint32 col = left; col < last_block; col += kBlock) {
        const uint64_t mask = dots.Mask(line, col);
        if (mask != 0) return col + LowestBit(mask);
    }
    const uint64_t mask = dots.Mask(line, last_block);
    return mask != 0 ? last_block + LowestBit(mask) : kNoHit;
}

/* The rightmost dot that counts, in at least 64 of which one does. */
template <class Dots>
sint32 LastHit(const Dots& dots, const uint8* line, sint32 left, sint32 right)
{
    for (sint32 col = right - kBlock + 1; col > left; col -= kBlock) {
        const uint64_t mask = dots.Mask(line, col);
        if (mask != 0) return col + HighestBit(mask);
    }
    return left + HighestBit(dots.Mask(line, left));
}

/* The hits of a row of less than 64 dots. */
template <class Dots>
void ScanShortRow(const Dots& dots, const uint8* line, sint32 left, sint32 num, sint32* first, sint32* second)
{
    const uint64_t mask = MaskOfFew(dots, line, left, num);
    *first = mask != 0 ? left + LowestBit(mask) : kNoHit;
    *second = mask != 0 ? left + HighestBit(mask) : kNoHit;
}

template <class Dots>
void ScanRows(const uint8* const* lines, const RectangleRec& range, const DotSetRec& dot_set, HitsRec* hits)
{
    const Dots dots(dot_set);
    const sint32 row_num = range.bottom - range.top + 1;
    const sint32 num = range.right - range.left + 1;
    for (sint32 k = 0; k < row_num; ++k) {
        const uint8* const* line = lines + range.top + k;
        sint32* first = &hits->first[k];
        sint32* second = &hits->second[k];
        if (num < kBlock) {
            ScanShortRow(dots, *line, range.left, num, first, second);
            continue;
        }
        *first = FirstHit(dots, *line, range.left, range.right);
        *second = *first == kNoHit ? kNoHit : LastHit(dots, *line, range.left, range.right);
        if (*first == kNoHit || k + kRowsAhead >= row_num) continue;
        /* Rays of neighbouring rows are about as long. */
        Fetch<Dots>(line[kRowsAhead], range.left, *first);
        Fetch<Dots>(line[kRowsAhead], *second, range.right);
    }
}

/* Follows the rays of the columns under_way from row to row, and answers which have met nothing. */
template <class Dots>
uint64_t FollowColumns(const Dots& dots, const uint8* const* lines, const RectangleRec& range, bool down,
                       uint64_t under_way, sint32* hits)
{
    const sint32 num = range.right - range.left + 1;
    const sint32 row_num = range.bottom - range.top + 1;
    const sint32 step = down ? 1 : -1;
    sint32 row = down ? range.top : range.bottom;
    for (sint32 k = 0; k < row_num && under_way != 0; ++k, row += step) {
        if (k + kRowsAhead < row_num) Fetch<Dots>(lines[row + step * kRowsAhead], range.left, range.right);
        uint64_t mask = MaskOfFew(dots, lines[row], range.left, num) & under_way;
        under_way ^= mask;
        for (; mask != 0; mask &= mask - 1) hits[LowestBit(mask)] = row;
    }
    return under_way;
}

/* A column whose ray from the top meets nothing holds nothing for the other to meet. */
template <class Dots>
void ScanColumns(const uint8* const* lines, const RectangleRec& range, const DotSetRec& dot_set, HitsRec* hits)
{
    const Dots dots(dot_set);
    const sint32 num = range.right - range.left + 1;
    for (sint32 k = 0; k < num; ++k) hits->first[k] = hits->second[k] = kNoHit;
    const uint64_t all = ~uint64_t{0} >> (kBlock - num);
    const uint64_t empty = FollowColumns(dots, lines, range, true, all, hits->first);
    FollowColumns(dots, lines, range, false, all & ~empty, hits->second);
}

/* ---- The kernels of a depth ---- */

template <class Dots>
constexpr DotScansRec kDotScans = {HasMoreDots<Dots>, ScanRows<Dots>, ScanColumns<Dots>};

} // namespace

#endif
