/*
 * Depth.cpp - bitmaps of another depth.
 */
#include "Depth.h"

#include "BitmapProcessing.h"

namespace quarlo
{

Problem ToDepth(const Bitmap& picture, int depth, Bitmap* converted)
{
    Bitmap made;
    sint32 code = QL_BAD_ARGUMENT;
    if (depth == 1) code = GetBWBitmap(picture.rec(), made.rec(), kBlackLimit);
    if (depth == 8) code = GetGrayBitmap(picture.rec(), made.rec());
    if (depth == 24) code = GetColorBitmap(picture.rec(), made.rec());
    if (code == QL_OUT_OF_MEMORY) return {Code::out_of_memory, "", "memory ran out"};
    if (code == QL_INVALID_BITMAP) return {Code::invalid_bitmap, "", "there is no picture"};
    if (code != QL_SUCCESS) return {Code::bad_argument, "", "the depth is neither 1, 8 nor 24 bits"};
    *converted = std::move(made);
    return {};
}

} // namespace quarlo
