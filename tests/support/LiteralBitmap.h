/*
 * LiteralBitmap.h - records and pixels for the literal second writings, made without the library.
 */
#ifndef QUARLO_TESTS_SUPPORT_LITERALBITMAP_H
#define QUARLO_TESTS_SUPPORT_LITERALBITMAP_H

#include <cstdlib>

#include "StructTypes.h"

namespace literal
{

/* A record with all bytes zero, padded to 4 bytes or packed; Bitmap_Done releases it. */
inline BitmapRec NewBitmap(sint32 width, sint32 height, sint32 bits, bool align)
{
    BitmapRec rec = null_bitmap;
    rec.biWidth = width;
    rec.biHeight = height;
    rec.biBitCount = bits;
    rec.BytesPerLine = align ? ((bits * width + 31) >> 5) * 4 : (bits * width + 7) >> 3;
    rec.bfSize = height * rec.BytesPerLine;
    rec.buffer = static_cast<uint8*>(std::calloc(static_cast<size_t>(rec.bfSize) + 16, 1));
    rec.ScanLine = static_cast<uint8**>(std::calloc(static_cast<size_t>(height), sizeof(uint8*)));
    if (!rec.buffer || !rec.ScanLine) std::abort();
    for (sint32 row = 0; row < height; ++row) rec.ScanLine[row] = rec.buffer + row * rec.BytesPerLine;
    return rec;
}

inline sint32 CheckBitmap(const BitmapRec* rec)
{
    if (!rec) return 1;
    const bool depth = rec->biBitCount == 1 || rec->biBitCount == 8 || rec->biBitCount == 24;
    return rec->biWidth > 0 && rec->biHeight > 0 && depth && rec->buffer && rec->BytesPerLine > 0 && rec->ScanLine
               ? 0
               : 12;
}

inline bool GetBit(const BitmapRec& rec, sint32 row, sint32 col)
{
    return (rec.ScanLine[row][col / 8] >> (7 - col % 8)) % 2 == 1;
}

} // namespace literal

#endif
