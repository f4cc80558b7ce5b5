/*
 * Scan.h - the picture that everything is measured on: a page of A4 with print on it, turned by 2.3 degrees, on a dark
 * ground. Page and ground have the grain of a real scan; page and print show a tint, so that no channel equals another.
 */
#ifndef QUARLO_BENCH_SCAN_H
#define QUARLO_BENCH_SCAN_H

#include "SearchBitmapFrame.h"
#include "support/TestBitmap.h"

namespace bench
{

constexpr sint32 kThreshold = 90; /* between ground and page */
constexpr sint32 kDarkGround = 1;

/* All detection stages, one after the other, and what they found. A stage that fails ends the program. */
class Detection
{
public:
    explicit Detection(BitmapRec* scan);
    ~Detection();
    Detection(const Detection&) = delete;
    Detection& operator=(const Detection&) = delete;

    RectangleRec fore_image_range = null_rectangle;
    ImageRangeRectangleRec image_range = null_image_range_rectangle;
    RowSeckRec RowSeck = null_row_seck;
    Real64 angle = 0.0;
    PointRec SourceCenter = null_point;
    sint32 biWidth = 0;
    sint32 biHeight = 0;

private:
    ImageBorderPointRec left = null_image_border_point, right = null_image_border_point;
    ImageBorderPointRec top = null_image_border_point, bottom = null_image_border_point;
    ImageBorderLineRec left_top = null_image_border_line, left_bottom = null_image_border_line;
    ImageBorderLineRec right_top = null_image_border_line, right_bottom = null_image_border_line;
};

/* The scan at a resolution, 300 or 600 dots per inch, and a depth, and where its page lies. Rows padded to 4 bytes. */
class Scan
{
public:
    Scan(sint32 dpi, sint32 depth);

    test::Bitmap bitmap;
    Detection page;
};

/* Releases what a marking function filled. */
void Release(ImageBorderPointRec* side);

/* Ends the program with a message unless the condition holds. */
void Require(bool condition, const char* what);

} // namespace bench

#endif
