/*
 * QL_Interface.h - deskew and crop in one call.
 *
 *   ImageQuarlo    records; answers a result code
 *   QuarloPic      raw buffers, in place, dark background; answers in boolean style
 *   QuarloPicEx    the same with the threshold found automatically
 *   Quarlo         the pipeline below them, with a fill colour of the caller's
 *
 * Common arguments:
 *   interpolation  1 cubic, 2 bilinear, 3 nearest neighbour; a 1-bit image is always rotated by nearest neighbour
 *   threshold      the grey level that separates page and background; 0: the mean grey of the image's outermost
 *                  columns is taken. On a dark background page pixels are brighter than the threshold; on a light one
 *                  they differ from it by 9 grey levels or more, either way; or they are 0 or 255, if that is nearer.
 *   background     1 dark, 255 light
 *
 * Threads: calls on different images may run at the same time in any number of threads, and give the same bytes as
 * alone. They leave the eight globals of SearchBitmapFrame.h as the marking functions do; after several calls at once
 * these hold a mixture that means nothing.
 */
#ifndef QUARLO_QL_INTERFACE_H
#define QUARLO_QL_INTERFACE_H

#include "StructTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Finds the page in an image and gives it back upright, cropped to its exact size.
 *
 *   p_bitmap_source  in   1, 8 or 24 bits, any stride; only read
 *   p_bitmap_dest    out  the page, in the source's depth, packed rows; overwritten, never released first; untouched
 *                         on failure; release it with Bitmap_Done
 *   interpolation    in   1 cubic, 2 bilinear, 3 nearest neighbour
 *   threshold        in   1 to 255, or 0 for automatic. Used as given by Quarlo: on a dark background its low byte
 *                         counts, so that 300 is 44; on a light one the low bytes of the two bounds,
 *                         threshold - 9 but not below 0, and threshold + 9 but not above 255.
 *   GroundColor      in   1 dark background, 255 light
 *   color            in   three bytes, the fill for what the page does not cover, see RotateBitmap
 *
 * Returns 0, or the code of the first stage that failed: 1 for a bad argument, and where an edge of the page has too few
 * segments, the image is too narrow for an automatic threshold, or the page has no size; 5 when memory runs out; 9, 10
 * or 11 when no page is found; 12 for an invalid source. 0 with p_bitmap_dest untouched means that the rotation failed
 * for want of memory, or because the page is larger than a record can hold: set the record to null_bitmap before the call, and test its buffer after it.
 */
QL_API sint32 Quarlo(QL_Bitmap p_bitmap_source, QL_Bitmap p_bitmap_dest, sint32 interpolation, sint32 threshold,
                     sint32 GroundColor, uint8* color);

/*
 * Quarlo with its arguments checked and a fixed fill: the bytes 255, 0, 0 (blue) in a 24-bit image, white in the
 * others. Mind the order of the arguments: the destination comes last.
 *
 * Returns, in the order of the tests: 1 for a null record, a threshold outside 0 to 255, another interpolation or
 * another Background_Color; 12 for an invalid source; else what Quarlo answers. The destination is untouched on
 * failure.
 */
QL_API sint32 ImageQuarlo(QL_Bitmap p_bitmap_source, sint32 interpolation, sint32 threshold,
                          sint32 Background_Color, QL_Bitmap p_bitmap_dest);

/*
 * Deskews and crops a raw image on a dark background, in place.
 *
 *   p_bitmap       in/out  rows of (biBitCount * width + 7) / 8 bytes without padding, row 0 first; on success the
 *                          page, packed the same way. Never written beyond the bytes of the input: a page whose image
 *                          would need more than that fails.
 *   biWidth,
 *   biHeight       in/out  pixels; on success the page's size
 *   biBitCount     in      1, 8 or 24
 *   interpolation  in      1 cubic, 2 bilinear, 3 nearest neighbour
 *   threshold      in      see above; not checked: its low byte counts, and only 0 itself means automatic
 *
 * Returns 1 on success AND, unlike every other function, for arguments that are refused outright: a null pointer,
 * width and height both below 1, another bit count, another interpolation. Returns 0 for every other failure, among
 * them one size below 1 alone. Buffer and sizes are untouched unless the page was found; a caller that needs to tell
 * checks its arguments first, or uses ImageQuarlo.
 */
QL_API sint32 QuarloPic(uint8* p_bitmap, sint32* biWidth, sint32* biHeight, sint32 biBitCount, sint32 interpolation,
                        sint32 threshold);

/* QuarloPic with threshold 0. */
QL_API sint32 QuarloPicEx(uint8* p_bitmap, sint32* biWidth, sint32* biHeight, sint32 biBitCount,
                          sint32 interpolation);

#ifdef __cplusplus
}
#endif

#endif
