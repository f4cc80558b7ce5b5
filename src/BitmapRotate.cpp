/*
 * BitmapRotate.cpp - turning by exactly 90, 180 or 270 degrees.
 *
 *   RotatePic1Bits90 ... RotatePic24Bits270   one per depth and turn
 *   RotatePicSP                               raw buffers, in place
 *   imageRotate                               records
 *
 * One loop serves all nine: a pixel format says how a pixel moves, a turn says where it goes. Where the processor has
 * vector instructions kernels take its place, see kernels/Turn.h.
 */
#include "BitmapRotate.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "BitmapProcessing.h"
#include "Numbers.h"
#include "Pixels.h"
#include "kernels/Kernels.h"

/*
 * A turn: its place among the kernels, whether it exchanges width and height, and where the pixel at (row, col) of a
 * w x h image goes.
 */
struct Turn90 {
    static constexpr sint32 index = 0;
    static constexpr bool swaps_sides = true;
    static PointRec Place(sint32 w, sint32, sint32 row, sint32 col) { return {row, w - 1 - col}; }
};

struct Turn180 {
    static constexpr sint32 index = 1;
    static constexpr bool swaps_sides = false;
    static PointRec Place(sint32 w, sint32 h, sint32 row, sint32 col) { return {w - 1 - col, h - 1 - row}; }
};

struct Turn270 {
    static constexpr sint32 index = 2;
    static constexpr bool swaps_sides = true;
    static PointRec Place(sint32, sint32 h, sint32 row, sint32 col) { return {h - 1 - row, col}; }
};

template <class Pixel, class Turn>
static void TurnPixels(const BitmapRec& source, const BitmapRec& dest)
{
    const sint32 w = source.biWidth;
    const sint32 h = source.biHeight;
    for (sint32 row = 0; row < h; ++row) {
        for (sint32 col = 0; col < w; ++col) {
            const PointRec place = Turn::Place(w, h, row, col);
            Pixel::Move(source.ScanLine[row], col, dest.ScanLine[place.y], place.x);
        }
    }
}

static const TurnFun* KernelsFor(Pixel1, const TurnKernelsRec& turn) { return turn.Turn1; }
static const TurnFun* KernelsFor(Pixel8, const TurnKernelsRec& turn) { return turn.Turn8; }
static const TurnFun* KernelsFor(Pixel24, const TurnKernelsRec& turn) { return turn.Turn24; }

/* How an image is turned: by the kernel of the level that this call takes, or pixel by pixel. */
template <class Pixel, class Turn>
static TurnFun TurnOf()
{
    const KernelsRec* kernels = KernelsOf(ChosenLevel());
    const TurnFun kernel = kernels == nullptr ? nullptr : KernelsFor(Pixel(), kernels->turn)[Turn::index];
    return kernel == nullptr ? TurnPixels<Pixel, Turn> : kernel;
}

template <class Pixel, class Turn>
static sint32 TurnPic(BitmapRec* bitmap_source, BitmapRec* bitmap_dest)
{
    if (bitmap_source == nullptr || bitmap_dest == nullptr) return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(bitmap_source);
    if (error_code != QL_SUCCESS) return error_code;
    if (bitmap_source->biBitCount != Pixel::bits) return QL_BAD_ARGUMENT;

    const sint32 w = bitmap_source->biWidth;
    const sint32 h = bitmap_source->biHeight;
    BitmapRec bitmap = null_bitmap;
    error_code = Bitmap_New(&bitmap, Turn::swaps_sides ? h : w, Turn::swaps_sides ? w : h, Pixel::bits, 0);
    if (error_code != QL_SUCCESS) return error_code;
    TurnOf<Pixel, Turn>()(*bitmap_source, bitmap);
    *bitmap_dest = bitmap;
    return QL_SUCCESS;
}

static sint32 RotatePic1Bits90(BitmapRec* source, BitmapRec* dest) { return TurnPic<Pixel1, Turn90>(source, dest); }
static sint32 RotatePic8Bits90(BitmapRec* source, BitmapRec* dest) { return TurnPic<Pixel8, Turn90>(source, dest); }
static sint32 RotatePic24Bits90(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel24, Turn90>(source, dest);
}
static sint32 RotatePic1Bits180(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel1, Turn180>(source, dest);
}
static sint32 RotatePic8Bits180(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel8, Turn180>(source, dest);
}
static sint32 RotatePic24Bits180(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel24, Turn180>(source, dest);
}
static sint32 RotatePic1Bits270(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel1, Turn270>(source, dest);
}
static sint32 RotatePic8Bits270(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel8, Turn270>(source, dest);
}
static sint32 RotatePic24Bits270(BitmapRec* source, BitmapRec* dest)
{
    return TurnPic<Pixel24, Turn270>(source, dest);
}

/* Exact equality: 90.0001, -90, 360 and NaN are no right angles. */
static bool IsRightAngle(double angle) { return angle == 90.0 || angle == 270.0 || angle == 180.0 || angle == 0.0; }

/* A record over rows that are the caller's: of what it points to, only the row pointers are to be released. */
static sint32 WrapRows(QL_Bitmap bitmap, uint8* rows, sint32 biWidth, sint32 biHeight, sint32 biBitcount)
{
    if (biBitcount != 1 && biBitcount != 8 && biBitcount != 24) return QL_BAD_ARGUMENT;
    const int64_t BytesPerLine = (int64_t{biBitcount} * biWidth + 7) >> 3;
    if (BytesPerLine > INT32_MAX || BytesPerLine * biHeight > INT32_MAX) return QL_OUT_OF_MEMORY;
    uint8** ScanLine = NewArray<uint8*>(biHeight);
    if (ScanLine == nullptr) return QL_OUT_OF_MEMORY;
    for (sint32 row = 0; row < biHeight; ++row) ScanLine[row] = rows + static_cast<size_t>(row * BytesPerLine);
    *bitmap = {biWidth,
               biHeight,
               biBitcount,
               static_cast<sint32>(BytesPerLine * biHeight),
               static_cast<sint32>(BytesPerLine),
               ScanLine,
               rows};
    return QL_SUCCESS;
}

sint32 RotatePicSP(uint8* source, sint32* biWidth, sint32* biHeight, sint32 biBitcount, sint32 rotate_angle)
{
    BitmapRec bitmap_source = null_bitmap;
    BitmapRec bitmap_dest = null_bitmap;
    if (source == nullptr || biWidth == nullptr || biHeight == nullptr) return QL_BAD_ARGUMENT;
    if (*biWidth < 1 || *biHeight < 1 || !IsRightAngle(rotate_angle)) return QL_BAD_ARGUMENT;

    sint32 error_code = WrapRows(&bitmap_source, source, *biWidth, *biHeight, biBitcount);
    if (error_code != QL_SUCCESS) return error_code;
    error_code = imageRotate(&bitmap_source, &bitmap_dest, rotate_angle);
    if (error_code == QL_SUCCESS) {
        *biWidth = bitmap_dest.biWidth;
        *biHeight = bitmap_dest.biHeight;
        std::memcpy(source, bitmap_dest.buffer, static_cast<size_t>(bitmap_dest.bfSize));
    }
    Bitmap_Done(&bitmap_dest);
    std::free(bitmap_source.ScanLine);
    return error_code;
}

sint32 imageRotate(BitmapRec* bitmap_source, BitmapRec* bitmap_dest, double rotate_angle)
{
    typedef sint32 (*RotatePicFun)(BitmapRec*, BitmapRec*);
    static const RotatePicFun routines[3][3] = {
        {RotatePic24Bits90, RotatePic24Bits180, RotatePic24Bits270},
        {RotatePic8Bits90, RotatePic8Bits180, RotatePic8Bits270},
        {RotatePic1Bits90, RotatePic1Bits180, RotatePic1Bits270},
    };
    if (bitmap_source == nullptr || bitmap_dest == nullptr) return QL_BAD_ARGUMENT;
    if (!IsRightAngle(rotate_angle)) return QL_BAD_ARGUMENT;
    const sint32 error_code = Bitmap_Check(bitmap_source);
    if (error_code != QL_SUCCESS) return error_code;
    if (rotate_angle == 0.0) return Bitmap_Copy(bitmap_source, bitmap_dest);

    const sint32 depth = bitmap_source->biBitCount == 24 ? 0 : bitmap_source->biBitCount == 8 ? 1 : 2;
    const sint32 turn = rotate_angle == 90.0 ? 0 : rotate_angle == 180.0 ? 1 : 2;
    return routines[depth][turn](bitmap_source, bitmap_dest);
}
