/*
 * LiteralRotation.h - a second writing of the rotation, to be compared with the library's.
 *
 * The library walks the output once for all samplers; here each of the seven rotations is written out on its own,
 * from its first row to the extra corner. It is slow, and every read and write is bounds-checked.
 */
#ifndef QUARLO_TESTS_SUPPORT_LITERALROTATION_H
#define QUARLO_TESTS_SUPPORT_LITERALROTATION_H

#include "StructTypes.h"

namespace literal
{

/* Takes and answers what ::RotateBitmap does; throws std::out_of_range where a sample would leave the padding. */
sint32 RotateBitmap(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle, PointRec SourceCenter,
                    sint32 biWidth, sint32 biHeight, sint32 interpolation, uint8* color);

} // namespace literal

#endif
