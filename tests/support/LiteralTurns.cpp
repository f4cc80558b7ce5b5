/*
 * LiteralTurns.cpp - turns and depth conversions, one pixel at a time for every depth alike.
 */
#include "support/LiteralTurns.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include "BitmapConversionTable.h"
#include "support/LiteralBitmap.h"

namespace literal
{

namespace
{

/* The bytes of a pixel in the order of memory: three, one, or one that is 0 or 255 for a bit. */
using Pixel = std::array<uint8, 3>;

Pixel GetPixel(const BitmapRec& rec, sint32 row, sint32 col)
{
    const uint8* line = rec.ScanLine[row];
    if (rec.biBitCount == 24) return {line[3 * col], line[3 * col + 1], line[3 * col + 2]};
    if (rec.biBitCount == 8) return {line[col], line[col], line[col]};
    const uint8 grey = GetBit(rec, row, col) ? 255 : 0;
    return {grey, grey, grey};
}

void SetPixel(const BitmapRec& rec, sint32 row, sint32 col, Pixel pixel)
{
    uint8* line = rec.ScanLine[row];
    if (rec.biBitCount == 24) {
        line[3 * col] = pixel[0];
        line[3 * col + 1] = pixel[1];
        line[3 * col + 2] = pixel[2];
    } else if (rec.biBitCount == 8) {
        line[col] = pixel[0];
    } else if (pixel[0] != 0) {
        line[col / 8] |= static_cast<uint8>(1 << (7 - col % 8));
    } else {
        line[col / 8] &= static_cast<uint8>(~(1 << (7 - col % 8)));
    }
}

bool Padded(const BitmapRec& rec) { return rec.BytesPerLine % 4 == 0; }

BitmapRec Copy(const BitmapRec& source)
{
    const BitmapRec rec = NewBitmap(source.biWidth, source.biHeight, source.biBitCount, Padded(source));
    std::memcpy(rec.buffer, source.buffer, static_cast<size_t>(rec.bfSize));
    return rec;
}

/* A byte times a weight in thousandths, scaled by 1024 and rounded half up. */
sint32 Weighted(sint32 value, sint32 thousandths) { return (value * thousandths * 1024 + 500) / 1000; }

uint8 GrayOfColor(Pixel pixel)
{
    sint32 g = (Weighted(pixel[2], 299) + Weighted(pixel[1], 587) + Weighted(pixel[0], 114)) / 1024;
    if (g < 0) g = 0;
    if (g > 255) g = 255;
    return static_cast<uint8>(GrayChangeTable[g]);
}

/* The grey of a pixel as the conversions see it: the tone curve is for colours alone. */
uint8 Gray(const BitmapRec& rec, sint32 row, sint32 col)
{
    const Pixel pixel = GetPixel(rec, row, col);
    return rec.biBitCount == 24 ? GrayOfColor(pixel) : pixel[0];
}

} // namespace

sint32 imageRotate(const BitmapRec* bitmap_source, BitmapRec* bitmap_dest, double rotate_angle)
{
    if (!bitmap_source || !bitmap_dest) return 1;
    if (rotate_angle != 90 && rotate_angle != 270 && rotate_angle != 180 && rotate_angle != 0) return 1;
    const sint32 error_code = CheckBitmap(bitmap_source);
    if (error_code != 0) return error_code;
    if (rotate_angle == 0) {
        *bitmap_dest = Copy(*bitmap_source);
        return 0;
    }
    const sint32 W = bitmap_source->biWidth;
    const sint32 H = bitmap_source->biHeight;
    const BitmapRec rec = rotate_angle == 180 ? NewBitmap(W, H, bitmap_source->biBitCount, false)
                                              : NewBitmap(H, W, bitmap_source->biBitCount, false);
    for (sint32 row = 0; row < H; ++row) {
        for (sint32 col = 0; col < W; ++col) {
            const Pixel pixel = GetPixel(*bitmap_source, row, col);
            if (rotate_angle == 90) SetPixel(rec, W - 1 - col, row, pixel);
            if (rotate_angle == 180) SetPixel(rec, H - 1 - row, W - 1 - col, pixel);
            if (rotate_angle == 270) SetPixel(rec, col, H - 1 - row, pixel);
        }
    }
    *bitmap_dest = rec;
    return 0;
}

sint32 RotatePicSP(uint8* source, sint32* biWidth, sint32* biHeight, sint32 biBitcount, sint32 rotate_angle)
{
    if (!source || !biWidth || !biHeight || *biWidth < 1 || *biHeight < 1) return 1;
    if (rotate_angle != 90 && rotate_angle != 270 && rotate_angle != 180 && rotate_angle != 0) return 1;
    if (biBitcount != 1 && biBitcount != 8 && biBitcount != 24) return 1;
    const BitmapRec from = NewBitmap(*biWidth, *biHeight, biBitcount, false);
    std::memcpy(from.buffer, source, static_cast<size_t>(from.bfSize));
    /* Packed rows may happen to be a multiple of 4 bytes long; a copy has the same length all the same. */
    BitmapRec to = null_bitmap;
    const sint32 error_code = imageRotate(&from, &to, rotate_angle);
    if (error_code == 0) {
        *biWidth = to.biWidth;
        *biHeight = to.biHeight;
        std::memcpy(source, to.buffer, static_cast<size_t>(to.bfSize));
    }
    std::free(to.buffer);
    std::free(to.ScanLine);
    std::free(from.buffer);
    std::free(from.ScanLine);
    return error_code;
}

sint32 GetBWBitmap(const BitmapRec* p_source, BitmapRec* p_dest, uint8 DividingValue)
{
    if (!p_source || !p_dest) return 1;
    const sint32 error_code = CheckBitmap(p_source);
    if (error_code != 0) return error_code;
    if (p_source->biBitCount == 1) {
        *p_dest = Copy(*p_source);
        return 0;
    }
    const BitmapRec rec = NewBitmap(p_source->biWidth, p_source->biHeight, 1, Padded(*p_source));
    for (sint32 row = 0; row < rec.biHeight; ++row) {
        for (sint32 col = 0; col < rec.biWidth; ++col) {
            const uint8 bit = Gray(*p_source, row, col) <= DividingValue ? 0 : 1;
            SetPixel(rec, row, col, {bit, bit, bit});
        }
    }
    *p_dest = rec;
    return 0;
}

sint32 GetGrayBitmap(const BitmapRec* p_source, BitmapRec* p_dest)
{
    if (!p_source || !p_dest) return 1;
    const sint32 error_code = CheckBitmap(p_source);
    if (error_code != 0) return error_code;
    if (p_source->biBitCount == 8) {
        *p_dest = Copy(*p_source);
        return 0;
    }
    const BitmapRec rec = NewBitmap(p_source->biWidth, p_source->biHeight, 8, Padded(*p_source));
    for (sint32 row = 0; row < rec.biHeight; ++row) {
        for (sint32 col = 0; col < rec.biWidth; ++col) {
            const uint8 grey = Gray(*p_source, row, col);
            SetPixel(rec, row, col, {grey, grey, grey});
        }
    }
    *p_dest = rec;
    return 0;
}

sint32 GetColorBitmap(const BitmapRec* p_source, BitmapRec* p_dest)
{
    if (!p_source || !p_dest) return 1;
    const sint32 error_code = CheckBitmap(p_source);
    if (error_code != 0) return error_code;
    if (p_source->biBitCount == 24) {
        *p_dest = Copy(*p_source);
        return 0;
    }
    const BitmapRec rec = NewBitmap(p_source->biWidth, p_source->biHeight, 24, Padded(*p_source));
    for (sint32 row = 0; row < rec.biHeight; ++row)
        for (sint32 col = 0; col < rec.biWidth; ++col) SetPixel(rec, row, col, GetPixel(*p_source, row, col));
    *p_dest = rec;
    return 0;
}

} // namespace literal
