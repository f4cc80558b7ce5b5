/*
 * FrameDetection.h - the detection stages as the pipeline drives them.
 *
 * The exported stages pass the segment numbers of the page's extreme points through eight globals. Here they travel
 * with the call; the exported functions load and store the globals around these.
 */
#ifndef QUARLO_SRC_FRAMEDETECTION_H
#define QUARLO_SRC_FRAMEDETECTION_H

#include "SearchBitmapFrame.h"

/* Which segments hold the extreme points of each side; the globals of the same names, without "PointIndex". */
struct SegmentIndexRec {
    sint32 LeftT, LeftB;
    sint32 RightT, RightB;
    sint32 TopR, TopL;
    sint32 BottomR, BottomL;
};

/* The globals as they stand, and the other way round. */
SegmentIndexRec LoadSegmentIndex();
void StoreSegmentIndex(const SegmentIndexRec& segment_index);

/* How the marking stages tell page from background. */
struct GroundRec {
    sint32 GroundColor;
    uint8 Dividing_min;
    uint8 Dividing_max;
};

/* A pair of sides or edges is always passed in the order of the exported functions' parameters. */
sint32 MarkLeftRight(QL_Bitmap p_bitmap, const RectangleRec* fore_image_range, const GroundRec& ground,
                     ImageBorderPointRec* left, ImageBorderPointRec* right, ImageRangeRectangleRec* image_range,
                     SegmentIndexRec* segment_index);

sint32 MarkTopBottom(QL_Bitmap p_bitmap, const RectangleRec* fore_image_range, const GroundRec& ground,
                     ImageBorderPointRec* top, ImageBorderPointRec* bottom, ImageRangeRectangleRec* image_range,
                     SegmentIndexRec* segment_index);

sint32 SplitBorders(QL_Bitmap p_bitmap, const ImageRangeRectangleRec* p_image_range, sint32* Image_Incline_Flag,
                    ImageBorderPointRec* left, ImageBorderPointRec* right, ImageBorderPointRec* top,
                    ImageBorderPointRec* bottom, ImageBorderLineRec* left_top, ImageBorderLineRec* left_bottom,
                    ImageBorderLineRec* right_top, ImageBorderLineRec* right_bottom,
                    const SegmentIndexRec& segment_index);

#endif
