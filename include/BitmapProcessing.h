/*
 * BitmapProcessing.h - the bitmap record, BMP files, conversion between depths.
 *
 *   Bitmap_New, Bitmap_Init, Bitmap_Done, Bitmap_Copy, Bitmap_Check
 *   ReadBitmapFromFile, SaveBitmapToFile, SaveBmpToFile
 *   GetBWBitmap, GetGrayBitmap, GetColorBitmap
 *
 * All of them touch only the records that they are given and constant tables: calls on different records may run
 * at the same time in any number of threads.
 */
#ifndef QUARLO_BITMAPPROCESSING_H
#define QUARLO_BITMAPPROCESSING_H

#include "StructTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Makes a new image and stores its record in *p_bitmap.
 *
 *   p_bitmap       out  overwritten, never released first; untouched on failure; release it with Bitmap_Done
 *   biWidth        in   pixels, at least 1
 *   biHeight       in   rows, at least 1
 *   biBitcount     in   1, 8 or 24
 *   Align_4_bytes  in   0: rows packed to the byte, (bits * width + 7) / 8 bytes each;
 *                       any other value: rows padded to a multiple of 4 bytes, as in a BMP file
 *
 * The block has 16 spare bytes beyond the last row. Pixels are not cleared; the bytes of a row after its last
 * pixel byte, a last byte that holds less than eight 1-bit pixels, and the spare bytes are zero.
 *
 * Returns 0; 1 for a null pointer, a size below 1 or another bit count; 5 when memory runs out or when the image
 * is larger than a record can hold (2^31 - 1 bytes of pixels).
 */
QL_API sint32 Bitmap_New(QL_Bitmap p_bitmap, sint32 biWidth, sint32 biHeight, sint32 biBitcount,
                         sint32 Align_4_bytes);

/* Sets *p_bitmap to null_bitmap without freeing anything. Returns 0; 1 for a null pointer. */
QL_API sint32 Bitmap_Init(QL_Bitmap p_bitmap);

/*
 * Frees the record's memory and sets it to null_bitmap; harmless on a record that holds none.
 * Returns 0; 1 for a null pointer.
 */
QL_API sint32 Bitmap_Done(QL_Bitmap p_bitmap);

/*
 * Makes *dest an independent copy of *source: same size and depth; rows padded to 4 bytes if the source's
 * BytesPerLine is a multiple of 4, else packed. For every record that the library makes that is the source's
 * own stride, and the pixel block is copied byte for byte.
 *
 *   source  in   only read
 *   dest    out  overwritten, never released first; untouched on failure; release it with Bitmap_Done
 *
 * Returns 0; 4 for a null dest (4, not 1); 1 for a null source; 12 for an invalid one; 5 when memory runs out.
 */
QL_API sint32 Bitmap_Copy(QL_Bitmap source, QL_Bitmap dest);

/*
 * Validates a record: width and height above 0, 1, 8 or 24 bits, BytesPerLine above 0, buffer and ScanLine set.
 * It does not compare bfSize or BytesPerLine with the width: a record made by hand must have rows as long as
 * BytesPerLine says, and BytesPerLine at least the packed length. Longer rows than Bitmap_New would make are fine for
 * everything but Bitmap_Copy, which copies the block as if it had the shorter ones, and SaveBitmapToFile, which writes
 * the rows as they are.
 *
 * Returns 0 for a valid record, 1 for a null pointer, 12 otherwise.
 */
QL_API sint32 Bitmap_Check(QL_Bitmap p_bitmap);

/*
 * Reads an uncompressed 1-, 8- or 24-bit BMP file. File row i becomes ScanLine[i], padded to 4 bytes; rows are
 * not flipped, the sign of the height is dropped, and the palette is ignored: 8-bit values are grey levels, set
 * bits are white.
 *
 *   p_bitmap    out  overwritten, never released first; untouched on failure; release it with Bitmap_Done
 *   image_name  in   file name, handed to the system unchanged
 *
 * Returns 0; else, in the order of the tests: 1 for a null pointer; 2 file cannot be opened; 8 file header short;
 * 3 no BMP; 8 info header short; 4 other bit count; 8 no four bytes after the info header; 1 width below 1 or
 * height 0; 5 no memory, or too large for a record; 3 file shorter than its headers announce; 8 pixels cannot be
 * read. The most negative height, which has no positive counterpart, answers 1 as well.
 */
QL_API sint32 ReadBitmapFromFile(QL_Bitmap p_bitmap, sint8* image_name);

/*
 * Writes the record as a BMP file, creating or truncating it; rows are padded to 4 bytes in the file. 8-bit files
 * get a grey palette, 1-bit files black and white. A file that fails half-way is left as far as it was written.
 *
 *   p_bitmap    in  only read
 *   image_name  in  file name, handed to the system unchanged
 *
 * Returns 0; 1 for a null pointer; 12 for an invalid record, a negative bfSize where the rows need no padding, or an
 * image that no BMP file can announce (4 GiB and more); 6 file cannot be created; 7 a write failed, also one that fails only when the file is
 * closed.
 */
QL_API sint32 SaveBitmapToFile(QL_Bitmap p_bitmap, sint8* image_name);

/* SaveBitmapToFile in boolean style: 1 when it answers 0, and 0 for every failure. */
QL_API sint32 SaveBmpToFile(QL_Bitmap p_bitmap, sint8* image_name);

/*
 * Depth conversion. Each makes a new image of the source's size in one given depth; a source that has that depth
 * already is copied with Bitmap_Copy. The result's rows are padded to 4 bytes exactly when the source's
 * BytesPerLine is a multiple of 4.
 *
 *   p_source  in   1, 8 or 24 bits; only read
 *   p_dest    out  overwritten, never released first; untouched on failure; release it with Bitmap_Done. It may be
 *                  the source's own record: keep a copy of that first, its memory is still to be released.
 *
 * A colour pixel's grey is GrayChangeTable[0.299 R + 0.587 G + 0.114 B], the luma weights of ITU-R BT.601 with
 * the tone curve of BitmapConversionTable.h. (Page detection reads colour by a different rule.)
 *
 * Each returns 0; 1 for a null pointer; 12 for an invalid source; 5 when memory runs out.
 */

/*
 * To 1 bit: a grey level above DividingValue becomes white, one at or below it black. The grey of an 8-bit pixel
 * is its byte, without the tone curve; that of a 24-bit pixel is as told above. DividingValue is ignored for a
 * 1-bit source.
 */
QL_API sint32 GetBWBitmap(QL_Bitmap p_source, QL_Bitmap p_dest, uint8 DividingValue);

/* To 8 bits: 1-bit pixels become 0 or 255, 24-bit pixels their grey. */
QL_API sint32 GetGrayBitmap(QL_Bitmap p_source, QL_Bitmap p_dest);

/* To 24 bits: 1-bit pixels become black or white, a grey byte stands in all three bytes. */
QL_API sint32 GetColorBitmap(QL_Bitmap p_source, QL_Bitmap p_dest);

#ifdef __cplusplus
}
#endif

#endif
