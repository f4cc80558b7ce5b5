/*
 * FindPage.cpp - the detection stages in one call.
 *
 * The same stages as the library's pipeline, driven through its exported functions, because the tool reports the
 * angle and the place of the page, which the pipeline keeps to itself.
 */
#include "support/FindPage.h"

#include <algorithm>
#include <cstdlib>

#include "SearchBitmapFrame.h"

namespace
{

constexpr sint32 kGrayBand = 9; /* how far from a light ground's threshold page pixels begin */

/* A side and an edge that release themselves. The edges' segments point into the sides' points. */
struct Side : ImageBorderPointRec {
    Side() : ImageBorderPointRec(null_image_border_point) {}
    ~Side()
    {
        std::free(border_line_seck.borderLine);
        std::free(border_point.points);
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;
};

struct Edge : ImageBorderLineRec {
    Edge() : ImageBorderLineRec(null_image_border_line) {}
    ~Edge() { std::free(border_line_seck.borderLine); }
    Edge(const Edge&) = delete;
    Edge& operator=(const Edge&) = delete;
};

} // namespace

PageFrame::~PageFrame() { std::free(rows.seck); }

double SkewDegrees(const PageFrame& frame)
{
    const double degrees = frame.angle * 180.0 / 3.1415926;
    return degrees > 180.0 ? degrees - 360.0 : degrees;
}

sint32 FindPage(BitmapRec* bitmap, GroundChoice choice, PageFrame* frame)
{
    frame->stage = "threshold";
    frame->threshold = static_cast<uint8>(choice.threshold);
    sint32 code = choice.threshold != 0 ? QL_SUCCESS : CalculateDividingPoint(bitmap, &frame->threshold);
    if (code != QL_SUCCESS) return code;
    const sint32 band = choice.ground == 255 ? kGrayBand : 0;
    const uint8 low = static_cast<uint8>(std::max(frame->threshold - band, 0));
    const uint8 high = static_cast<uint8>(std::min(frame->threshold + band, 255));

    frame->stage = "range";
    RectangleRec range = null_rectangle;
    code = SearchBitmapRange(bitmap, &range, low);
    if (code != QL_SUCCESS) return code;

    frame->stage = "borders";
    Side left, right, top, bottom;
    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    code = MarkLeftRightBorder(bitmap, &range, choice.ground, low, high, &left, &right, &extremes);
    if (code != QL_SUCCESS) return code;
    code = MarkTopBottomBorder(bitmap, &range, choice.ground, low, high, &top, &bottom, &extremes);
    if (code != QL_SUCCESS) return code;

    frame->stage = "split";
    Edge left_top, left_bottom, right_top, right_bottom;
    sint32 tilted = 1;
    code = DispartBorderPoints(bitmap, &extremes, &tilted, &left, &right, &top, &bottom, &left_top, &left_bottom,
                               &right_top, &right_bottom);
    if (code != QL_SUCCESS) return code;

    frame->stage = "frame";
    return CalBorderPoints(bitmap, &frame->rows, &frame->angle, &frame->center, &frame->width, &frame->height,
                           &extremes, &tilted, &left_top, &left_bottom, &right_top, &right_bottom);
}
