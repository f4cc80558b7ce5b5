/*
 * TestBitmap.h - bitmaps for tests: made, read and compared without the library's own pixel code.
 */
#ifndef QUARLO_TESTS_SUPPORT_TESTBITMAP_H
#define QUARLO_TESTS_SUPPORT_TESTBITMAP_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "BitmapProcessing.h"
#include "StructTypes.h"

namespace test
{

using Bytes = std::vector<uint8>;

/* A record that releases itself. Its pixels start at fill, its padding at 0. */
class Bitmap
{
public:
    Bitmap() = default;
    Bitmap(sint32 width, sint32 height, sint32 bits, uint8 fill = 0, sint32 align = 0)
    {
        if (Bitmap_New(&rec, width, height, bits, align) != 0) std::abort();
        for (sint32 row = 0; row < height; ++row)
            for (sint32 col = 0; col < width; ++col) SetGray(row, col, fill);
    }
    /* Rows of 8-bit pixels, written out: Bitmap({{1, 2}, {3, 4}}). */
    explicit Bitmap(const std::vector<Bytes>& rows, sint32 align = 0)
        : Bitmap(static_cast<sint32>(rows[0].size()), static_cast<sint32>(rows.size()), 8, 0, align)
    {
        for (sint32 row = 0; row < rec.biHeight; ++row)
            for (sint32 col = 0; col < rec.biWidth; ++col)
                SetGray(row, col, rows[static_cast<size_t>(row)][static_cast<size_t>(col)]);
    }
    ~Bitmap() { Bitmap_Done(&rec); }
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    /* 1 bit: grey != 0 is a set bit; 24 bits: the grey in all three bytes. */
    void SetGray(sint32 row, sint32 col, uint8 grey)
    {
        uint8* line = rec.ScanLine[row];
        if (rec.biBitCount == 8) line[col] = grey;
        if (rec.biBitCount == 24) std::memset(line + 3 * col, grey, 3);
        if (rec.biBitCount == 1) {
            const uint8 mask = static_cast<uint8>(0x80 >> (col & 7));
            line[col >> 3] = static_cast<uint8>(grey ? line[col >> 3] | mask : line[col >> 3] & ~mask);
        }
    }
    void SetColor(sint32 row, sint32 col, uint8 blue, uint8 green, uint8 red)
    {
        uint8* p = rec.ScanLine[row] + 3 * col;
        p[0] = blue;
        p[1] = green;
        p[2] = red;
    }
    /* The pixel as a number: 0 or 1; the byte; red << 16 | green << 8 | blue. */
    uint32 At(sint32 row, sint32 col) const
    {
        const uint8* line = rec.ScanLine[row];
        if (rec.biBitCount == 1) return (line[col >> 3] >> (7 - (col & 7))) & 1u;
        if (rec.biBitCount == 8) return line[col];
        return line[3 * col] | static_cast<uint32>(line[3 * col + 1]) << 8 |
               static_cast<uint32>(line[3 * col + 2]) << 16;
    }
    /* Fills an inclusive rectangle with one grey. */
    void FillBox(sint32 left, sint32 right, sint32 top, sint32 bottom, uint8 grey)
    {
        for (sint32 row = top; row <= bottom; ++row)
            for (sint32 col = left; col <= right; ++col) SetGray(row, col, grey);
    }

    BitmapRec rec = null_bitmap;
};

/* The rows one after the other, each cut to its packed length, unused bits of a last byte taken as 0. */
inline Bytes PackedPixels(const BitmapRec& rec)
{
    const size_t bits = static_cast<size_t>(rec.biBitCount) * static_cast<size_t>(rec.biWidth);
    const size_t length = (bits + 7) / 8;
    Bytes bytes;
    for (sint32 row = 0; row < rec.biHeight; ++row) {
        bytes.insert(bytes.end(), rec.ScanLine[row], rec.ScanLine[row] + length);
        if (bits % 8 != 0) bytes.back() = static_cast<uint8>(bytes.back() & (0xFF00 >> (bits % 8)));
    }
    return bytes;
}

/* FNV-1a, 64 bits. */
inline std::uint64_t Fnv1a(const void* data, size_t size, std::uint64_t hash = 0xcbf29ce484222325u)
{
    const uint8* p = static_cast<const uint8*>(data);
    for (size_t k = 0; k < size; ++k) hash = (hash ^ p[k]) * 0x100000001b3u;
    return hash;
}
inline std::uint64_t Fnv1a(const Bytes& bytes) { return Fnv1a(bytes.data(), bytes.size()); }

inline bool SameRecord(const BitmapRec& a, const BitmapRec& b)
{
    return a.biWidth == b.biWidth && a.biHeight == b.biHeight && a.biBitCount == b.biBitCount &&
           a.bfSize == b.bfSize && a.BytesPerLine == b.BytesPerLine && a.ScanLine == b.ScanLine &&
           a.buffer == b.buffer;
}

} // namespace test

#endif
