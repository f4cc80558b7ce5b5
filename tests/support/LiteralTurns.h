/*
 * LiteralTurns.h - a second writing of the right-angle turns and the depth conversions, pixel by pixel.
 */
#ifndef QUARLO_TESTS_SUPPORT_LITERALTURNS_H
#define QUARLO_TESTS_SUPPORT_LITERALTURNS_H

#include "StructTypes.h"

namespace literal
{

/*
 * Take and answer what the library's functions of the same names do. Sources have packed rows or rows padded to 4
 * bytes; whatever is no pixel is 0 in a result that is not a copy.
 */
sint32 imageRotate(const BitmapRec* bitmap_source, BitmapRec* bitmap_dest, double rotate_angle);
sint32 RotatePicSP(uint8* source, sint32* biWidth, sint32* biHeight, sint32 biBitcount, sint32 rotate_angle);
sint32 GetBWBitmap(const BitmapRec* p_source, BitmapRec* p_dest, uint8 DividingValue);
sint32 GetGrayBitmap(const BitmapRec* p_source, BitmapRec* p_dest);
sint32 GetColorBitmap(const BitmapRec* p_source, BitmapRec* p_dest);

} // namespace literal

#endif
