/*
 * Turn.h - turning by right angles. Pixels are moved, never changed, so that all there is to show is that each arrives.
 *
 * By 90 and 270 degrees. A row of the result is a column of the source, so whatever the order of the work, one side
 * is touched across its rows. The work is done in tiles: V::size rows of the source by 16 pixels (128 at 1 bit), each
 * becoming V::size pixels of 16 rows of the result. A strip of V::size rows has its tiles from left to right;
 * kBlockRows rows are taken together, all their tiles at one place before those at the next. So 16 rows of the result
 * are filled over a longer stretch at a time, as the processor's own prefetching likes it. In the source every line
 * lies in another row, mostly in another page too, where nothing is fetched ahead unless asked for; without that a
 * large colour page takes three times as long. What is asked for is spread over the work, since many requests at once
 * hold it up; for the same reason narrow vectors are the best for colour.
 *
 * The rows of a tile are listed in the order in which they stand in the result. Between both angles only that order
 * differs, and the direction in which the result's rows follow each other: the tile itself knows of no angle.
 *
 * A tile of bytes is transposed in four rounds. Let byte c of row r have the eight-bit number 16 r + c. Interleaving
 * rows r and r + 8, for each r, moves the byte to the number that is one place further in a rotation of these eight
 * bits; after four rounds both halves, r and c, have changed places. Each lane of 16 bytes does this for 16 rows of its
 * own, so that what is column c in every lane is one vector, with the pixels of V::size rows in order.
 *
 *   8 bits   that is all.
 *   1 bit    the bytes are eight pixels each; shifted up one place at a time, the highest bits of a vector are the
 *            V::size pixels of a column.
 *   24 bits  four pixels are spread to four bytes each, and four rows of these transposed likewise in two rounds; of
 *            each column, four vectors of four pixels become three of sixteen bytes again.
 *
 * Where the image ends within a tile, columns are read from a copy, rows behind the last one repeat it, and of what a
 * tile has for a row of the result only the existing pixels are stored.
 *
 * By 180 degrees. A row becomes another one reversed, bytes from vector to vector, pixels of three bytes five at a
 * time. At 1 bit the bits of each byte are reversed as well, and shifted by those that the last byte has too many.
 */
#ifndef QUARLO_SRC_KERNELS_TURN_H
#define QUARLO_SRC_KERNELS_TURN_H

#include <cstddef>
#include <cstring>

#include "kernels/Kernels.h"
#include "kernels/Lane.h"
#include "kernels/Patterns.h"

namespace
{

/* ---- 90 and 270 degrees: where a tile lies ---- */

/* Rows of the source that are taken together, and how far ahead they are fetched, in bytes. */
constexpr sint32 kBlockRows = 512;
constexpr ptrdiff_t kAhead = 192;

struct Turn90 {
    static sint32 SourceRow(sint32, sint32 to_col) { return to_col; }
    static sint32 DestRow(sint32 width, sint32 from_col) { return width - 1 - from_col; }
};

struct Turn270 {
    static sint32 SourceRow(sint32 height, sint32 to_col) { return height - 1 - to_col; }
    static sint32 DestRow(sint32, sint32 from_col) { return from_col; }
};

/* A tile's number of rows of the source, which are as many columns of the result. */
template <class Tile>
struct StripRec {
    const uint8* rows[Tile::rows]; /* the row of each column; those behind the last column repeat it */
    ptrdiff_t to;                  /* where the columns start in a row of the result, in bytes */
    sint32 num;                    /* the columns that exist */
};

struct TileRec {
    const uint8* const* rows;   /* of the source, each to be read at `from` and to be fetched at `from_ahead` */
    ptrdiff_t from, from_ahead; /* in bytes */
    uint8* const* first_row;    /* of the result, the one for the first column of the source */
    ptrdiff_t step;             /* to the row for the next column */
    ptrdiff_t to, to_ahead;     /* where the result's rows are to be written and to be fetched, in bytes */

    uint8* Row(sint32 col) const { return first_row[step * col]; }
};

/* ---- Tiles ---- */

template <class V>
inline void TransposeBytes(typename V::Bytes* tile)
{
    typename V::Bytes other[16];
    for (sint32 round = 0; round < 2; ++round) {
        for (sint32 k = 0; k < 8; ++k) {
            other[2 * k] = V::InterleaveLow(tile[k], tile[k + 8]);
            other[2 * k + 1] = V::InterleaveHigh(tile[k], tile[k + 8]);
        }
        for (sint32 k = 0; k < 8; ++k) {
            tile[2 * k] = V::InterleaveLow(other[k], other[k + 8]);
            tile[2 * k + 1] = V::InterleaveHigh(other[k], other[k + 8]);
        }
    }
}

/* Fetches a quarter of the rows ahead. */
template <sint32 num>
inline void FetchRows(const TileRec& t, sint32 quarter)
{
    for (sint32 k = 0; k < num / 4; ++k) Lane::Fetch(t.rows[quarter * (num / 4) + k] + t.from_ahead);
}

/* The 16 bytes of each row, transposed. Of four tiles, which may share their lines, each fetches a quarter. */
template <class V>
inline void LoadTransposed(const TileRec& t, typename V::Bytes* tile)
{
    FetchRows<V::size>(t, static_cast<sint32>(t.from / 16 % 4));
    for (sint32 k = 0; k < 16; ++k) tile[k] = V::LoadRows(t.rows + k, t.from);
    TransposeBytes<V>(tile);
}

/*
 * What a depth needs: the bits of a pixel, the bytes of a tile's rows, the place in a strip's list of the row for a
 * column, and the turn of a whole tile, which stores V::size pixels into each of its rows.
 */
template <class V>
struct Tile8 {
    static constexpr sint32 rows = V::size;
    static constexpr sint32 bits = 8;
    static constexpr sint32 from_bytes = 16;
    static sint32 Place(sint32 to_col) { return to_col; }

    static void Turn(const TileRec& t)
    {
        typename V::Bytes tile[16];
        LoadTransposed<V>(t, tile);
        for (sint32 col = 0; col < 16; ++col) V::Store(t.Row(col) + t.to, tile[col]);
    }
};

template <class V>
struct Tile1 {
    static constexpr sint32 rows = V::size;
    static constexpr sint32 bits = 1;
    static constexpr sint32 from_bytes = 16;
    /* The first byte of a vector gives the lowest bit of a byte, which is the eighth pixel. */
    static sint32 Place(sint32 to_col) { return to_col ^ 7; }

    static void Turn(const TileRec& t)
    {
        typename V::Bytes tile[16];
        LoadTransposed<V>(t, tile);
        for (sint32 k = 0; k < 16; ++k) {
            for (sint32 col = 8 * k; col < 8 * k + 8; ++col) {
                const typename V::Mask column = V::HighestBits(tile[k]);
                std::memcpy(t.Row(col) + t.to, &column, sizeof column);
                tile[k] = V::Add(tile[k], tile[k]);
            }
        }
    }
};

/* Four pixels of three bytes, the first at byte 0 or 4, spread to four bytes each. */
constexpr Pattern kSpread[2] = {PatternOf([](sint32 p) { return p % 4 == 3 ? kNothing : p / 4 * 3 + p % 4; }),
                                PatternOf([](sint32 p) { return p % 4 == 3 ? kNothing : p / 4 * 3 + p % 4 + 4; })};

/* And back: the twelve bytes from byte 12 k on, those behind byte 15 at the start. */
constexpr sint32 ByteOfSpread(sint32 p) { return p < 12 ? p / 3 * 4 + p % 3 : kNothing; }
constexpr Pattern kGathered[4] = {PatternOf([](sint32 p) { return ByteOfSpread(p); }),
                                  PatternOf([](sint32 p) { return ByteOfSpread((p + 4) % 16); }),
                                  PatternOf([](sint32 p) { return ByteOfSpread((p + 8) % 16); }),
                                  PatternOf([](sint32 p) { return ByteOfSpread((p + 12) % 16); })};

struct Tile24 {
    static constexpr sint32 rows = 16;
    static constexpr sint32 bits = 24;
    static constexpr sint32 from_bytes = 48;
    static sint32 Place(sint32 to_col) { return to_col; }

    static void Turn(const TileRec& t)
    {
        for (sint32 col = 0; col < 16; col += 4) {
            FetchRows<rows>(t, col / 4);
            Lane::Bytes columns[4][4];
            for (sint32 k = 0; k < 4; ++k) LoadFour(t.rows + 4 * k, t.from, col, columns[k]);
            for (sint32 c = 0; c < 4; ++c) {
                uint8* row = t.Row(col + c);
                Lane::Fetch(row + t.to_ahead);
                StoreColumn(row + t.to, columns[0][c], columns[1][c], columns[2][c], columns[3][c]);
            }
        }
    }

private:
    /* Four columns of four rows. The last of the tile's pixels are read from further left, to stay within it. */
    static void LoadFour(const uint8* const* four_rows, ptrdiff_t from, sint32 col, Lane::Bytes* columns)
    {
        const bool last = col == 12;
        const Lane::Bytes spread = Lane::Load(kSpread[last ? 1 : 0].at);
        Lane::Bytes row[4], other[4];
        for (sint32 k = 0; k < 4; ++k)
            row[k] = Lane::LookUp(Lane::Load(four_rows[k] + from + 3 * col - (last ? 4 : 0)), spread);
        for (sint32 k = 0; k < 2; ++k) {
            other[2 * k] = Lane::InterleaveLow32(row[k], row[k + 2]);
            other[2 * k + 1] = Lane::InterleaveHigh32(row[k], row[k + 2]);
        }
        for (sint32 k = 0; k < 2; ++k) {
            columns[2 * k] = Lane::InterleaveLow32(other[k], other[k + 2]);
            columns[2 * k + 1] = Lane::InterleaveHigh32(other[k], other[k + 2]);
        }
    }

    /* Four times four pixels, which are 48 bytes. */
    static void StoreColumn(uint8* to, Lane::Bytes a, Lane::Bytes b, Lane::Bytes c, Lane::Bytes d)
    {
        a = Lane::LookUp(a, Lane::Load(kGathered[0].at));
        b = Lane::LookUp(b, Lane::Load(kGathered[1].at));
        c = Lane::LookUp(c, Lane::Load(kGathered[2].at));
        d = Lane::LookUp(d, Lane::Load(kGathered[3].at));
        Lane::Store(to, Lane::Join32<3>(a, b));
        Lane::Store(to + 16, Lane::Join32<2>(b, c));
        Lane::Store(to + 32, Lane::Join32<1>(c, d));
    }
};

/* ---- 90 and 270 degrees: the whole image ---- */

/* Bytes of num pixels; the last one may hold less than eight bits of them. */
template <class Tile>
constexpr ptrdiff_t BytesOf(sint32 num)
{
    return static_cast<ptrdiff_t>(num / 8) * Tile::bits + (num % 8 * Tile::bits + 7) / 8;
}

template <class Tile, class Angle>
StripRec<Tile> StripAt(const BitmapRec& source, sint32 to_col)
{
    StripRec<Tile> strip;
    strip.to = BytesOf<Tile>(to_col);
    strip.num = source.biHeight - to_col < Tile::rows ? source.biHeight - to_col : Tile::rows;
    for (sint32 k = 0; k < Tile::rows; ++k) {
        const sint32 existing = k < strip.num ? k : strip.num - 1;
        strip.rows[Tile::Place(k)] = source.ScanLine[Angle::SourceRow(source.biHeight, to_col + existing)];
    }
    return strip;
}

/*
 * Turns the part of a tile that exists, so many columns and rows of the source: read from a copy, turned into a block
 * of its own, and copied from there. At 1 bit the bits behind the last pixel of a row stay clear.
 */
template <class Tile>
void TurnPartOfTile(const TileRec& t, sint32 cols, sint32 rows)
{
    constexpr sint32 tile_cols = Tile::from_bytes * 8 / Tile::bits;
    uint8 from_copy[Tile::rows][Tile::from_bytes] = {};
    uint8 to_copy[tile_cols][Tile::rows * Tile::bits / 8];
    const uint8* from_rows[Tile::rows];
    uint8* to_rows[tile_cols];
    for (sint32 k = 0; k < Tile::rows; ++k) {
        from_rows[k] = from_copy[k];
        std::memcpy(from_copy[k], t.rows[k] + t.from, static_cast<size_t>(BytesOf<Tile>(cols)));
    }
    for (sint32 k = 0; k < tile_cols; ++k) to_rows[k] = to_copy[k];
    Tile::Turn({from_rows, 0, 0, to_rows, 1, 0, 0});

    const ptrdiff_t num = BytesOf<Tile>(rows);
    const uint8 last_bits = static_cast<uint8>(0xFF00 >> ((rows * Tile::bits - 1) % 8 + 1));
    for (sint32 col = 0; col < cols; ++col) {
        to_copy[col][num - 1] = static_cast<uint8>(to_copy[col][num - 1] & last_bits);
        std::memcpy(t.Row(col) + t.to, to_copy[col], static_cast<size_t>(num));
    }
}

/* Turns the rows of some strips, all their tiles at one place before those at the next. */
template <class Tile, class Angle>
void TurnBlock(const BitmapRec& source, const BitmapRec& dest, const StripRec<Tile>* strips, sint32 num_strips)
{
    constexpr sint32 tile_cols = Tile::from_bytes * 8 / Tile::bits;
    constexpr ptrdiff_t to_bytes = BytesOf<Tile>(Tile::rows);
    const ptrdiff_t last_from = BytesOf<Tile>(source.biWidth) - 1;
    const ptrdiff_t last_to = BytesOf<Tile>(source.biHeight) - 1;
    TileRec t;
    t.from = 0;
    t.step = Angle::DestRow(source.biWidth, 1) - Angle::DestRow(source.biWidth, 0);
    for (sint32 left = source.biWidth; left > 0; left -= tile_cols, t.from += Tile::from_bytes) {
        t.from_ahead = t.from + kAhead < last_from ? t.from + kAhead : last_from;
        t.first_row = dest.ScanLine + Angle::DestRow(source.biWidth, source.biWidth - left);
        for (sint32 k = 0; k < num_strips; ++k) {
            t.rows = strips[k].rows;
            t.to = strips[k].to;
            t.to_ahead = t.to + 2 * to_bytes - 1 < last_to ? t.to + 2 * to_bytes - 1 : last_to;
            if (left >= tile_cols && strips[k].num == Tile::rows)
                Tile::Turn(t);
            else
                TurnPartOfTile<Tile>(t, left < tile_cols ? left : tile_cols, strips[k].num);
        }
    }
}

template <class Tile, class Angle>
void TurnAcross(const BitmapRec& source, const BitmapRec& dest)
{
    StripRec<Tile> strips[kBlockRows / Tile::rows];
    for (sint32 to_col = 0; to_col < source.biHeight;) {
        sint32 num_strips = 0;
        for (; num_strips < kBlockRows / Tile::rows && to_col < source.biHeight; ++num_strips) {
            strips[num_strips] = StripAt<Tile, Angle>(source, to_col);
            to_col += strips[num_strips].num;
        }
        TurnBlock<Tile, Angle>(source, dest, strips, num_strips);
    }
}

/* ---- 180 degrees ---- */

template <class V>
void ReverseRow8(const uint8* from, uint8* to, sint32 num)
{
    for (; num >= V::size; num -= V::size, to += V::size) V::Store(to, V::Reverse(V::Load(from + num - V::size)));
    uint8 last[V::size] = {};
    if (num == 0) return;
    std::memcpy(last + V::size - num, from, static_cast<size_t>(num));
    V::Store(last, V::Reverse(V::Load(last)));
    std::memcpy(to, last, static_cast<size_t>(num));
}

/* The byte whose bits are those of a nibble, reversed, in its upper half. */
constexpr Pattern kNibbleReversed =
    PatternOf([](sint32 p) { return (p & 1) << 7 | (p & 2) << 5 | (p & 4) << 3 | (p & 8) << 1; });

template <class V>
inline typename V::Bytes ReverseBits(typename V::Bytes v)
{
    const typename V::Bytes nibble = V::Fill(15);
    const typename V::Bytes table = V::Repeat(kNibbleReversed.at);
    const typename V::Bytes upper = V::LookUp(table, V::And(v, nibble));
    const typename V::Bytes lower = V::LookUp(table, V::And(V::template ShiftRight16<4>(v), nibble));
    return V::Or(upper, V::And(V::template ShiftRight16<4>(lower), nibble));
}

/*
 * The bits of size bytes that end `spare` bits before from + V::size, reversed. One byte before from is read as well;
 * that both shifts carry bits from byte to byte is what the masks undo.
 */
template <class V>
inline typename V::Bytes ReverseBitsAt(const uint8* from, sint32 spare)
{
    const typename V::Bytes here =
        V::And(V::ShiftRightBy(V::Load(from), spare), V::Fill(static_cast<uint8>(255 >> spare)));
    const typename V::Bytes before =
        V::And(V::ShiftLeftBy(V::Load(from - 1), 8 - spare), V::Fill(static_cast<uint8>(0xFF00 >> spare)));
    return V::Reverse(ReverseBits<V>(V::Or(here, before)));
}

template <class V>
void ReverseRow1(const uint8* from, uint8* to, sint32 num_pixels)
{
    const sint32 spare = -num_pixels & 7;
    sint32 num = (num_pixels + spare) / 8;
    for (; num > V::size; num -= V::size, to += V::size)
        V::Store(to, ReverseBitsAt<V>(from + num - V::size, spare));
    uint8 last[V::size + 1] = {};
    std::memcpy(last + V::size + 1 - num, from, static_cast<size_t>(num));
    V::Store(last, ReverseBitsAt<V>(last + 1, spare));
    std::memcpy(to, last, static_cast<size_t>(num));
}

/* Five pixels of three bytes that end with byte 15, reversed; byte 15 of the result is of no use. */
constexpr Pattern kFiveReversed = PatternOf([](sint32 p) { return p < 15 ? 13 - p / 3 * 3 + p % 3 : kNothing; });

/* The spare byte that each five pixels store is overwritten by what follows. */
void ReverseRow24(const uint8* from, uint8* to, sint32 num)
{
    const uint8* end = from + static_cast<ptrdiff_t>(num) * 3;
    const Lane::Bytes reversed = Lane::Load(kFiveReversed.at);
    for (; num > 5; num -= 5, end -= 15, to += 15) Lane::Store(to, Lane::LookUp(Lane::Load(end - 16), reversed));
    for (; num > 0; --num, to += 3) std::memcpy(to, end -= 3, 3);
}

template <void (*ReverseRow)(const uint8*, uint8*, sint32)>
void TurnAround(const BitmapRec& source, const BitmapRec& dest)
{
    for (sint32 row = 0; row < source.biHeight; ++row)
        ReverseRow(source.ScanLine[source.biHeight - 1 - row], dest.ScanLine[row], source.biWidth);
}

/* ---- The nine turns ---- */

template <class V>
constexpr TurnKernelsRec TurnKernelsOf()
{
    return {{TurnAcross<Tile1<V>, Turn90>, TurnAround<ReverseRow1<V>>, TurnAcross<Tile1<V>, Turn270>},
            {TurnAcross<Tile8<V>, Turn90>, TurnAround<ReverseRow8<V>>, TurnAcross<Tile8<V>, Turn270>},
            {TurnAcross<Tile24, Turn90>, TurnAround<ReverseRow24>, TurnAcross<Tile24, Turn270>}};
}

} // namespace

#endif
