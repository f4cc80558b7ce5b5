/*
 * Stages.h - libquarlo's detection stages as the pipeline runs them, to compare with.
 */
#ifndef QUARLO_TESTS_PAGES_STAGES_H
#define QUARLO_TESTS_PAGES_STAGES_H

#include <algorithm>
#include <cstdlib>
#include <string>

#include "BitmapProcessing.h"
#include "SearchBitmapFrame.h"
#include "quarlo/pages.hpp"

namespace test
{

/* What the stages leave behind, released at the end. */
class Stages
{
public:
    Stages() = default;
    ~Stages()
    {
        for (ImageBorderPointRec& side : sides) {
            std::free(side.border_point.points);
            std::free(side.border_line_seck.borderLine);
        }
        for (ImageBorderLineRec& edge : edges) std::free(edge.border_line_seck.borderLine);
        std::free(spans.seck);
    }
    Stages(const Stages&) = delete;
    Stages& operator=(const Stages&) = delete;

    sint32 Run(const quarlo::Bitmap& bitmap, sint32 ground, int threshold)
    {
        const int band = ground == 255 ? 9 : 0;
        const uint8 low = static_cast<uint8>(std::max(threshold - band, 0));
        const uint8 high = static_cast<uint8>(std::min(threshold + band, 255));
        RectangleRec range = null_rectangle;
        if (const sint32 code = SearchBitmapRange(bitmap.rec(), &range, low)) return code;
        if (const sint32 code =
                MarkLeftRightBorder(bitmap.rec(), &range, ground, low, high, &sides[0], &sides[1], &extremes))
            return code;
        if (const sint32 code =
                MarkTopBottomBorder(bitmap.rec(), &range, ground, low, high, &sides[2], &sides[3], &extremes))
            return code;
        if (const sint32 code =
                DispartBorderPoints(bitmap.rec(), &extremes, &tilted, &sides[0], &sides[1], &sides[2], &sides[3],
                                    &edges[0], &edges[1], &edges[2], &edges[3]))
            return code;
        return CalBorderPoints(bitmap.rec(), &spans, &angle, &center, &width, &height, &extremes, &tilted,
                               &edges[0], &edges[1], &edges[2], &edges[3]);
    }

    ImageBorderPointRec sides[4] = {null_image_border_point, null_image_border_point, null_image_border_point,
                                    null_image_border_point};
    ImageBorderLineRec edges[4] = {null_image_border_line, null_image_border_line, null_image_border_line,
                                   null_image_border_line};
    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    RowSeckRec spans = null_row_seck;
    Real64 angle = 0.0;
    PointRec center = null_point;
    sint32 width = 0, height = 0, tilted = 1;
};

inline quarlo::Bitmap ReadBmp(std::string name)
{
    quarlo::Bitmap bitmap;
    if (ReadBitmapFromFile(bitmap.rec(), reinterpret_cast<sint8*>(name.data())) != QL_SUCCESS) std::abort();
    return bitmap;
}

} // namespace test

#endif
