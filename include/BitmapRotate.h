/*
 * BitmapRotate.h - turning by exactly 90, 180 or 270 degrees.
 *
 *   imageRotate   records
 *   RotatePicSP   raw buffers, in place
 *
 * Pixels are moved, never blended. In rows and columns as stored, with W x H the source's size, the pixel at
 * (row, col) goes to
 *
 *    90:  (W - 1 - col, row)            the result is H wide, W high
 *   180:  (H - 1 - row, W - 1 - col)    W wide, H high
 *   270:  (col, H - 1 - row)            H wide, W high
 *
 * For an ordinary BMP picture, whose bottom row is row 0, 90 is a quarter turn clockwise as displayed.
 *
 * Calls on different images may run at the same time in any number of threads.
 */
#ifndef QUARLO_BITMAPROTATE_H
#define QUARLO_BITMAPROTATE_H

#include "StructTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Turns the packed image in source and stores the result in the same buffer.
 *
 *   source        in/out  rows of (biBitcount * width + 7) / 8 bytes without padding, row 0 first. The result is
 *                         stored the same way, without a check of the room: at 8 and 24 bits, and for 0 and 180, it
 *                         has the same number of bytes; at 1 bit turned by 90 or 270 it has
 *                         width * ((height + 7) / 8) bytes, which can be more than the
 *                         height * ((width + 7) / 8) of the source. The caller supplies room for the larger.
 *   biWidth       in/out  pixels, at least 1; the result's width
 *   biHeight      in/out  rows, at least 1; the result's height
 *   biBitcount    in      1, 8 or 24
 *   rotate_angle  in      0, 90, 180 or 270 degrees
 *
 * Returns 0; 1 for a null pointer or a value outside its set; 5 when memory runs out. On failure buffer and sizes
 * are untouched.
 */
QL_API sint32 RotatePicSP(uint8* source, sint32* biWidth, sint32* biHeight, sint32 biBitcount, sint32 rotate_angle);

/*
 * Turns an image.
 *
 *   bitmap_source  in   1, 8 or 24 bits, any stride; only read
 *   bitmap_dest    out  overwritten, never released first; untouched on failure; release it with Bitmap_Done. Its
 *                       rows are packed; for angle 0 it is a Bitmap_Copy, with what is said there of
 *                       strides.
 *   rotate_angle   in   exactly 0, 90, 180 or 270 degrees
 *
 * Returns 0; 1 for a null pointer or another angle; 12 for an invalid source; 5 when memory runs out.
 */
QL_API sint32 imageRotate(BitmapRec* bitmap_source, BitmapRec* bitmap_dest, double rotate_angle);

#ifdef __cplusplus
}
#endif

#endif
