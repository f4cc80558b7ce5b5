/*
 * QL_Interface.cpp - deskew and crop in one call.
 *
 *   Quarlo                      the pipeline: thresholds, detection stages, rotation
 *   ImageQuarlo                 its arguments checked, for records
 *   QuarloPic, QuarloPicEx      for raw buffers, in place
 */
#include "QL_Interface.h"

#include <cstdint>
#include <cstring>

#include "BitmapProcessing.h"
#include "FrameDetection.h"
#include "FrameRecords.h"
#include "QuarloBitmap.h"
#include "SearchBitmapFrame.h"

/* On a light background a dot belongs to the page from this many grey levels away from the threshold. */
static constexpr sint32 kGrayBand = 9;

static constexpr sint32 kBlackGround = 1;
static constexpr sint32 kWhiteGround = 255;

/* What the entry points fill uncovered pixels with: blue in 24 bits, white in 8 and 1. */
static constexpr uint8 kFillColor[3] = {255, 0, 0};

/* Everything that the stages make; released as one, whatever the outcome. */
struct PipelineRec {
    RowSeckRec RowSeck;
    ImageBorderPointRec image_border_point_left;
    ImageBorderPointRec image_border_point_right;
    ImageBorderPointRec image_border_point_top;
    ImageBorderPointRec image_border_point_bottom;
    ImageBorderLineRec border_line_left_top;
    ImageBorderLineRec border_line_left_bottom;
    ImageBorderLineRec border_line_right_top;
    ImageBorderLineRec border_line_right_bottom;
};

static const PipelineRec null_pipeline = {
    null_row_seck,           null_image_border_point, null_image_border_point,
    null_image_border_point, null_image_border_point, null_image_border_line,
    null_image_border_line,  null_image_border_line,  null_image_border_line,
};

/* The edges' segments point into the sides' points, but releasing either never follows the other. */
static void Pipeline_Done(PipelineRec* work)
{
    RowSeck_Done(&work->RowSeck);
    ImageBorderPoint_Done(&work->image_border_point_left);
    ImageBorderPoint_Done(&work->image_border_point_right);
    ImageBorderPoint_Done(&work->image_border_point_top);
    ImageBorderPoint_Done(&work->image_border_point_bottom);
    ImageBorderLine_Done(&work->border_line_left_top);
    ImageBorderLine_Done(&work->border_line_left_bottom);
    ImageBorderLine_Done(&work->border_line_right_top);
    ImageBorderLine_Done(&work->border_line_right_bottom);
}

/* The grey bounds for a threshold. They are bytes: of a threshold out of range the low byte counts. */
static GroundRec GroundOf(sint32 threshold, sint32 GroundColor)
{
    if (GroundColor == kBlackGround) return {GroundColor, static_cast<uint8>(threshold), 255};
    const int64_t above = int64_t{threshold} + kGrayBand;
    const int64_t below = int64_t{threshold} - kGrayBand;
    return {GroundColor, static_cast<uint8>(below < 0 ? 0 : below), static_cast<uint8>(above > 255 ? 255 : above)};
}

/* Marks all four sides. The exported segment numbers are kept up to date for callers that read them. */
static sint32 MarkBorders(QL_Bitmap p_bitmap, const RectangleRec* fore_image_range, const GroundRec& ground,
                          PipelineRec* work, ImageRangeRectangleRec* image_range, SegmentIndexRec* segment_index)
{
    *segment_index = LoadSegmentIndex();
    sint32 error_code = MarkLeftRight(p_bitmap, fore_image_range, ground, &work->image_border_point_left,
                                      &work->image_border_point_right, image_range, segment_index);
    if (error_code == QL_SUCCESS)
        error_code = MarkTopBottom(p_bitmap, fore_image_range, ground, &work->image_border_point_top,
                                   &work->image_border_point_bottom, image_range, segment_index);
    StoreSegmentIndex(*segment_index);
    return error_code;
}

static sint32 RunStages(PipelineRec* work, QL_Bitmap p_bitmap_source, QL_Bitmap p_bitmap_dest, sint32 interpolation,
                        sint32 threshold, sint32 GroundColor, uint8* color)
{
    sint32 error_code = QL_SUCCESS;
    if (threshold == 0) {
        uint8 DividingValue = 0;
        error_code = CalculateDividingPoint(p_bitmap_source, &DividingValue);
        if (error_code != QL_SUCCESS) return error_code;
        threshold = DividingValue;
    }
    const GroundRec ground = GroundOf(threshold, GroundColor);

    RectangleRec fore_image_range = null_rectangle;
    error_code = SearchBitmapRange(p_bitmap_source, &fore_image_range, ground.Dividing_min);
    if (error_code != QL_SUCCESS) return error_code;

    ImageRangeRectangleRec image_range = null_image_range_rectangle;
    SegmentIndexRec segment_index;
    error_code = MarkBorders(p_bitmap_source, &fore_image_range, ground, work, &image_range, &segment_index);
    if (error_code != QL_SUCCESS) return error_code;

    sint32 Image_Incline_Flag = 1;
    error_code =
        SplitBorders(p_bitmap_source, &image_range, &Image_Incline_Flag, &work->image_border_point_left,
                     &work->image_border_point_right, &work->image_border_point_top,
                     &work->image_border_point_bottom, &work->border_line_left_top, &work->border_line_left_bottom,
                     &work->border_line_right_top, &work->border_line_right_bottom, segment_index);
    if (error_code != QL_SUCCESS) return error_code;

    Real64 angle = 0.0;
    PointRec SourceCenter = null_point;
    sint32 biWidth = 0;
    sint32 biHeight = 0;
    error_code =
        CalBorderPoints(p_bitmap_source, &work->RowSeck, &angle, &SourceCenter, &biWidth, &biHeight, &image_range,
                        &Image_Incline_Flag, &work->border_line_left_top, &work->border_line_left_bottom,
                        &work->border_line_right_top, &work->border_line_right_bottom);
    if (error_code != QL_SUCCESS) return error_code;

    return RotateBitmap(p_bitmap_source, p_bitmap_dest, &work->RowSeck, angle, SourceCenter, biWidth, biHeight,
                        interpolation, color);
}

sint32 Quarlo(QL_Bitmap p_bitmap_source, QL_Bitmap p_bitmap_dest, sint32 interpolation, sint32 threshold,
              sint32 GroundColor, uint8* color)
{
    PipelineRec work = null_pipeline;
    const sint32 error_code =
        RunStages(&work, p_bitmap_source, p_bitmap_dest, interpolation, threshold, GroundColor, color);
    Pipeline_Done(&work);
    return error_code;
}

static bool IsInterpolation(sint32 interpolation) { return interpolation >= 1 && interpolation <= 3; }

sint32 ImageQuarlo(QL_Bitmap p_bitmap_source, sint32 interpolation, sint32 threshold, sint32 Background_Color,
                   QL_Bitmap p_bitmap_dest)
{
    uint8 color[3] = {kFillColor[0], kFillColor[1], kFillColor[2]};
    if (p_bitmap_source == nullptr || p_bitmap_dest == nullptr) return QL_BAD_ARGUMENT;
    if (threshold < 0 || threshold > 255 || !IsInterpolation(interpolation)) return QL_BAD_ARGUMENT;
    if (Background_Color != kBlackGround && Background_Color != kWhiteGround) return QL_BAD_ARGUMENT;
    const sint32 error_code = Bitmap_Check(p_bitmap_source);
    if (error_code != QL_SUCCESS) return error_code;
    return Quarlo(p_bitmap_source, p_bitmap_dest, interpolation, threshold, Background_Color, color);
}

/* Whether the pipeline gave a page and the caller's buffer, which holds the source, has room for it. */
static bool CropPic(QL_Bitmap bitmap_source, QL_Bitmap bitmap_dest, const uint8* p_bitmap, sint32 interpolation,
                    sint32 threshold)
{
    uint8 color[3] = {kFillColor[0], kFillColor[1], kFillColor[2]};
    std::memcpy(bitmap_source->buffer, p_bitmap, static_cast<size_t>(bitmap_source->bfSize));
    if (Quarlo(bitmap_source, bitmap_dest, interpolation, threshold, kBlackGround, color) != QL_SUCCESS)
        return false;
    return bitmap_dest->buffer != nullptr && bitmap_dest->bfSize <= bitmap_source->bfSize;
}

/* 1 stands for success and for refused arguments alike, 0 for all else; callers rely on the mixture. */
sint32 QuarloPic(uint8* p_bitmap, sint32* biWidth, sint32* biHeight, sint32 biBitCount, sint32 interpolation,
                 sint32 threshold)
{
    BitmapRec bitmap_source = null_bitmap;
    BitmapRec bitmap_dest = null_bitmap;
    if (p_bitmap == nullptr || biWidth == nullptr || biHeight == nullptr) return 1;
    if (*biWidth < 1 && *biHeight < 1) return 1;
    if (biBitCount != 1 && biBitCount != 8 && biBitCount != 24) return 1;
    if (!IsInterpolation(interpolation)) return 1;

    if (Bitmap_New(&bitmap_source, *biWidth, *biHeight, biBitCount, 0) != QL_SUCCESS) return 0;
    const bool cropped = CropPic(&bitmap_source, &bitmap_dest, p_bitmap, interpolation, threshold);
    if (cropped) {
        *biWidth = bitmap_dest.biWidth;
        *biHeight = bitmap_dest.biHeight;
        std::memcpy(p_bitmap, bitmap_dest.buffer, static_cast<size_t>(bitmap_dest.bfSize));
    }
    Bitmap_Done(&bitmap_dest);
    Bitmap_Done(&bitmap_source);
    return cropped ? 1 : 0;
}

sint32 QuarloPicEx(uint8* p_bitmap, sint32* biWidth, sint32* biHeight, sint32 biBitCount, sint32 interpolation)
{
    return QuarloPic(p_bitmap, biWidth, biHeight, biBitCount, interpolation, 0);
}
