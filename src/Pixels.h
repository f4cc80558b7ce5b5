/*
 * Pixels.h - the three pixel formats as policies for loops that are written once.
 *
 * Each has its depth, bits, and four operations:
 *   Move   makes one pixel of a row equal to one of another row
 *   Show   the same over a painted background; at 1 bit only clear pixels are written, so that a set pixel takes
 *          the background's bit
 *   Fill   gives one pixel the background colour
 *   Paint  does so for a whole image
 */
#ifndef QUARLO_SRC_PIXELS_H
#define QUARLO_SRC_PIXELS_H

#include <cstddef>
#include <cstring>

#include "BitmapConversionTable.h"
#include "StructTypes.h"

/* A pixel of whole bytes, one per channel. */
template <sint32 Channels>
struct BytePixel {
    static constexpr sint32 bits = 8 * Channels;
    static constexpr sint32 channels = Channels;

    /* Column numbers are widened before they are multiplied, so that no offset can wrap. */
    static const uint8* At(const uint8* line, sint32 col) { return line + static_cast<ptrdiff_t>(col) * Channels; }
    static uint8* At(uint8* line, sint32 col) { return line + static_cast<ptrdiff_t>(col) * Channels; }

    static void Move(const uint8* from, sint32 from_col, uint8* to, sint32 to_col)
    {
        std::memcpy(At(to, to_col), At(from, from_col), Channels);
    }

    static void Show(const uint8* from, sint32 from_col, uint8* to, sint32 to_col)
    {
        Move(from, from_col, to, to_col);
    }

    static void Fill(uint8* to, sint32 to_col, const uint8* color) { std::memcpy(At(to, to_col), color, Channels); }
};

struct Pixel8 : BytePixel<1> {
    static void Paint(const BitmapRec& bitmap, const uint8* color)
    {
        std::memset(bitmap.buffer, color[0], static_cast<size_t>(bitmap.bfSize));
    }
};

struct Pixel24 : BytePixel<3> {
    static void Paint(const BitmapRec& bitmap, const uint8* color)
    {
        for (sint32 row = 0; row < bitmap.biHeight; ++row)
            for (sint32 col = 0; col < bitmap.biWidth; ++col) std::memcpy(At(bitmap.ScanLine[row], col), color, 3);
    }
};

struct Pixel1 {
    static constexpr sint32 bits = 1;

    static bool IsSet(const uint8* line, sint32 col) { return (line[col >> 3] & BitValue[col & 7]) != 0; }
    static void Set(uint8* line, sint32 col)
    {
        line[col >> 3] = static_cast<uint8>(line[col >> 3] | BitValue[col & 7]);
    }
    static void Clear(uint8* line, sint32 col)
    {
        line[col >> 3] = static_cast<uint8>(line[col >> 3] & BitsValue[col & 7]);
    }

    static void Move(const uint8* from, sint32 from_col, uint8* to, sint32 to_col)
    {
        if (IsSet(from, from_col))
            Set(to, to_col);
        else
            Clear(to, to_col);
    }

    static void Show(const uint8* from, sint32 from_col, uint8* to, sint32 to_col)
    {
        if (!IsSet(from, from_col)) Clear(to, to_col);
    }

    /* The background is a pattern of bytes: the pixel takes its bit of it. */
    static void Fill(uint8* to, sint32 to_col, const uint8* color) { Move(color, to_col & 7, to, to_col); }

    static void Paint(const BitmapRec& bitmap, const uint8* color) { Pixel8::Paint(bitmap, color); }
};

#endif
