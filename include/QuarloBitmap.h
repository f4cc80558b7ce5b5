/*
 * QuarloBitmap.h - rotation by any angle, cropped to a page in the same pass.
 *
 *   RotateBitmap
 */
#ifndef QUARLO_QUARLOBITMAP_H
#define QUARLO_QUARLOBITMAP_H

#include "StructTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Rotates the source about a pivot into a new image of exactly the given size, sampling only inside the page.
 *
 * The output pixel at column DestCenter.x + dc and row DestCenter.y + dr, where DestCenter is
 * ((biWidth - 1) / 2, (biHeight - 1) / 2), shows the source at
 *
 *   x = SourceCenter.x + dc * cos(angle) + dr * sin(angle)
 *   y = SourceCenter.y + dr * cos(angle) - dc * sin(angle)
 *
 * so a positive angle turns the content from the column axis towards the row axis, and straightens a page whose
 * horizontal edges run toward smaller row indices as the column grows.
 *
 *   source         in   1, 8 or 24 bits, any stride; only read
 *   dest           out  biWidth x biHeight, the source's depth, packed rows; overwritten, never released first;
 *                       untouched unless written; release it with Bitmap_Done
 *   RowSeck        in   the page in source pixels: seck[y].left to .right inclusive for top <= y <= bottom, indexed by
 *                       the source row; 0 <= top < bottom < source height. The spans are meant to lie inside the
 *                       source; one that leaves it samples repeated edge pixels for a few columns and nothing beyond.
 *   angle          in   radians
 *   SourceCenter   in   the pivot, inside the source; it lands on DestCenter
 *   biWidth,
 *   biHeight       in   output size, at least 1
 *   interpolation  in   1 cubic convolution (Keys's kernel with a = -1), 2 bilinear, 3 nearest neighbour;
 *                       1-bit images are always rotated by nearest neighbour
 *   color          in   fill for everything outside the page. 24 bits: the three bytes of a pixel; 8 bits: the grey
 *                       in color[0]; 1 bit: color[0] fills every byte, and only clear page pixels are written over
 *                       it, so that only 255 shows the page right.
 *
 * Both blending interpolations work in tenths of a pixel.
 *
 * Returns 0; 1 for a null pointer (also RowSeck->seck), a size below 1, a pivot outside the source, another
 * interpolation or a mask outside the source or of a single row; 12 for an invalid source; 5 for a source that a record
 * could not hold with a border of 8 pixels, when memory runs out for such a copy (made only where the processor has no
 * vector instructions, and for 1-bit images below 64 pixels of width), or for a copy of spans that have to be cut. A
 * failure after that, inside the rotation itself, also returns 0 and leaves dest as it was, be it that memory runs out
 * or that the output is larger than a record can hold: set dest to null_bitmap before the call, and test dest->buffer
 * after it.
 *
 * Concurrency: calls on different images may run at the same time in any number of threads.
 */
QL_API sint32 RotateBitmap(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                           PointRec SourceCenter, sint32 biWidth, sint32 biHeight, sint32 interpolation,
                           uint8* color);

#ifdef __cplusplus
}
#endif

#endif
