/*
 * LiteralScans.h - a second writing of the first detection stages, to be compared with the library's.
 *
 * The library marks all four sides with one scan; here the two marking functions are written out, each with its
 * own loops and its own rules for the extreme points. Every pixel is read through the checking readers.
 */
#ifndef QUARLO_TESTS_SUPPORT_LITERALSCANS_H
#define QUARLO_TESTS_SUPPORT_LITERALSCANS_H

#include <vector>

#include "StructTypes.h"

namespace literal
{

struct Segment {
    sint32 index = 0;
    sint32 len = 0;
    sint32 type = 0;
    PointRec Center = {0, 0};
    sint32 first = 0; /* of its points in the side's */
};

struct Side {
    std::vector<PointRec> points;
    std::vector<Segment> segments;
    sint32 points_allocated = 0;
    sint32 segments_allocated = 0;
};

/* The segment numbers that the library keeps in its exported variables. */
struct Extremes {
    sint32 LeftPointIndexT, LeftPointIndexB, RightPointIndexT, RightPointIndexB;
    sint32 TopPointIndexR, TopPointIndexL, BottomPointIndexR, BottomPointIndexL;
};

/* The readers answer a result code; the grey stands in *DotValue. */
sint32 GetBWBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue);
sint32 GetGrayBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue);
sint32 GetColorBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue);

sint32 CalculateDividingPoint(const BitmapRec* p_bitmap, uint8* DividingValue);
sint32 SearchBitmapRange(const BitmapRec* p_bitmap, RectangleRec* fore_image_range, uint8 Dividing_min);

/* The sides are written on success alone. */
sint32 MarkLeftRightBorder(const BitmapRec* p_bitmap, const RectangleRec& fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, Side* left, Side* right,
                           ImageRangeRectangleRec* image_range, Extremes* extremes);
sint32 MarkTopBottomBorder(const BitmapRec* p_bitmap, const RectangleRec& fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, Side* top, Side* bottom,
                           ImageRangeRectangleRec* image_range, Extremes* extremes);

} // namespace literal

#endif
