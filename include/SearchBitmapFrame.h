/*
 * SearchBitmapFrame.h - finding the page: the detection stages, in the order in which the pipeline runs them.
 *
 *   CalculateDividingPoint   estimates the background's grey
 *   SearchBitmapRange        the rows that hold the page
 *   MarkLeftRightBorder      border points of the left and right side, chained into segments
 *   MarkTopBottomBorder      the same of the top and bottom side
 *   DispartBorderPoints      which segments belong to which of the four page edges
 *   CalBorderPoints          the edges' lines, the skew angle, the centre, the size and the row spans
 *
 * Quarlo() in QL_Interface.h runs all of them and releases what they make. A caller that drives them itself
 * releases the arrays inside the records with free().
 *
 * The grey of a pixel, here and only here: 1 bit, 0 or 255; 8 bits, the byte; 24 bits,
 * GrayChangeTable[0.886 green + 0.114 blue]. The red byte is never read: thresholds and border positions depend on
 * that.
 *
 * Threads: the marking functions hand the numbers of the segments that hold the extreme points to
 * DispartBorderPoints through the eight globals below. Only one caller at a time may drive the marking functions and
 * DispartBorderPoints, and no pipeline call (QL_Interface.h) may run in between, since it writes the globals too. The
 * pipeline decides nothing by them and may run in any number of threads. The other functions touch only the records
 * that they are given.
 */
#ifndef QUARLO_SEARCHBITMAPFRAME_H
#define QUARLO_SEARCHBITMAPFRAME_H

#include "StructTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Segment numbers of the page's extreme points, into each side's border_line_seck.borderLine. Rows are scanned
 * downward (T the first segment that holds the extreme, B the last), columns from right to left (R the first, L the
 * last). Among the largest x the last point counts, so the two numbers of the right side are equal after a success.
 * They keep their values until the next call of the function that writes them; without a full segment on a side, only
 * its first number here is set to 0, and the other keeps its earlier value. A pipeline call leaves all eight as its two
 * marking stages do.
 */
extern QL_API sint32 LeftPointIndexT;   /* written by MarkLeftRightBorder */
extern QL_API sint32 LeftPointIndexB;   /* written by MarkLeftRightBorder */
extern QL_API sint32 RightPointIndexT;  /* written by MarkLeftRightBorder */
extern QL_API sint32 RightPointIndexB;  /* written by MarkLeftRightBorder */
extern QL_API sint32 TopPointIndexR;    /* written by MarkTopBottomBorder */
extern QL_API sint32 TopPointIndexL;    /* written by MarkTopBottomBorder */
extern QL_API sint32 BottomPointIndexR; /* written by MarkTopBottomBorder */
extern QL_API sint32 BottomPointIndexL; /* written by MarkTopBottomBorder */

/*
 * Estimates the background's grey level: the mean of the two outermost columns on each side, rounded half up.
 *
 *   p_bitmap       in   1, 8 or 24 bits, at least 2 pixels wide
 *   DividingValue  out  0 to 255; untouched on failure
 *
 * Returns 0; 1 for a null pointer or an image one pixel wide; 12 for an invalid record.
 */
QL_API sint32 CalculateDividingPoint(BitmapRec* p_bitmap, uint8* DividingValue);

/*
 * Finds the band of rows that hold the page: from the first to the last row with more than 150 pixels whose grey
 * is above Dividing_min. The count does not scale with the width, so an image narrower than 151 pixels holds no
 * page.
 *
 *   p_bitmap          in   1, 8 or 24 bits
 *   fore_image_range  out  left = 0, right = width - 1, top and bottom the band; on failure top may be written
 *   Dividing_min      in   grey level
 *
 * Returns 0; 1 for a null pointer; 12 for an invalid record; 9 when no two rows qualify (one is enough if it is
 * the last row of the image).
 */
QL_API sint32 SearchBitmapRange(QL_Bitmap p_bitmap, RectangleRec* fore_image_range, uint8 Dividing_min);

/*
 * Traces the left and the right side of the page: in each row of the range the first page pixel from either end.
 * Neighbouring points are chained into segments of 4 to 6 points; shorter runs are dropped.
 *
 *   p_bitmap           in      1, 8 or 24 bits
 *   fore_image_range   in      the rectangle to scan, inside the image
 *   GroundColor        in      1 dark background: page pixels are above Dividing_min;
 *                              255 light background: page pixels are at most Dividing_min or at least Dividing_max
 *   Dividing_min, _max in      grey levels; a dark background does not read Dividing_max
 *   p_image_border_point_left,
 *   p_image_border_point_right
 *                      out     overwritten, never released first; untouched on failure. The caller frees
 *                              border_point.points and border_line_seck.borderLine of each.
 *   image_range        in/out   left and right: the leftmost and the rightmost point that lies in a segment of six;
 *                              without such a segment, left.x = the image's width and right.x = 0. They, and the
 *                              globals, are written even when 9 follows because they are out of order.
 *
 * Returns 0; 1 for a null pointer, another GroundColor or a range that leaves the image (an empty one reads nothing and
 * answers 9); 12 for an invalid record; 5 when memory runs out; 9 when a side has no segment, no segment of six, or left is not left of right.
 */
QL_API sint32 MarkLeftRightBorder(QL_Bitmap p_bitmap, RectangleRec* fore_image_range, sint32 GroundColor,
                                  uint8 Dividing_min, uint8 Dividing_max,
                                  ImageBorderPointRec* p_image_border_point_left,
                                  ImageBorderPointRec* p_image_border_point_right,
                                  ImageRangeRectangleRec* image_range);

/*
 * Traces the top and the bottom side of the page: in each column from image_range->right.x down to
 * image_range->left.x the first page pixel from either end of the range's rows. Run it after MarkLeftRightBorder,
 * which sets those two. Arguments and results as there; it writes image_range->top and bottom.
 */
QL_API sint32 MarkTopBottomBorder(BitmapRec* p_bitmap, RectangleRec* fore_image_range, sint32 GroundColor,
                                  uint8 Dividing_min, uint8 Dividing_max,
                                  ImageBorderPointRec* p_image_border_point_top,
                                  ImageBorderPointRec* p_image_border_point_bottom,
                                  ImageRangeRectangleRec* image_range);

/*
 * Gives each of the page's four edges its segments. Decides first whether the page is tilted, when each side scan
 * sees two edges that meet at an extreme point, or upright, when each sees one; leaves out five segments beside
 * every corner; then removes the segments that do not belong to the edge.
 *
 *   p_bitmap            in      only its height is used
 *   p_image_range       in      the extreme points
 *   Image_Incline_Flag  out     1 tilted, 0 upright; written on failure too, once the arguments are accepted
 *   the four sides      in      as the marking functions filled them, together with the eight globals
 *   the four edges      in/out  start as null_image_border_line; segments are appended to border_line_seck, the
 *                               lines are left alone. The segments' points still belong to the sides. On failure
 *                               the edges hold what was filled so far; the caller frees border_line_seck.borderLine
 *                               of each on any result.
 *
 * Left_top joins the page's leftmost and topmost corner, and so on; of an upright page left_top is the top edge,
 * left_bottom the left, right_bottom the bottom and right_top the right edge.
 *
 * Returns 0; 1 for a null pointer, segments without an array, a side or edge with too few segments to fit, or two
 * segments of an edge with the same centre, where a third is judged by them; 12 for an invalid record; 5 when memory runs
 * out; 10 when a line cannot be fitted; 11 when nothing is left of an edge.
 */
QL_API sint32
DispartBorderPoints(QL_Bitmap p_bitmap, ImageRangeRectangleRec* p_image_range, sint32* Image_Incline_Flag,
                    ImageBorderPointRec* p_image_border_point_left, ImageBorderPointRec* p_image_border_point_right,
                    ImageBorderPointRec* p_image_border_point_top, ImageBorderPointRec* p_image_border_point_bottom,
                    ImageBorderLineRec* p_border_line_left_top, ImageBorderLineRec* p_border_line_left_bottom,
                    ImageBorderLineRec* p_border_line_right_top, ImageBorderLineRec* p_border_line_right_bottom);

/*
 * Fits the four edges' lines, squares them up into a rectangle and derives what the rotation needs.
 *
 *   p_bitmap            in      only its size is used
 *   RowSeck             out     the page's row spans, clamped to the image's columns; overwritten, never released
 *                               first. The caller frees seck; RotateBitmap takes the record as it is.
 *   angle               out     radians, 0 <= angle < 2 pi, for RotateBitmap
 *   SourceCenter        out     the page's centre, inside the image
 *   biWidth, biHeight   out     size of the upright page in pixels
 *   p_image_range       in      the extreme points
 *   Image_Incline_Flag  in      as DispartBorderPoints set it; only read
 *   the four edges      in/out  their segments are read; border_line and PointNum are overwritten
 *
 * On failure the edges may already be changed, and angle, SourceCenter and the sizes written; RowSeck is written on
 * success only.
 *
 * Returns 0; 1 for a null pointer, or an edge without segments or with fewer than two points; 12 for an invalid record;
 * 10 when a line that has to fit cannot; 9 when neither of the two lines that may fail fits, when one cannot be replaced
 * because its neighbour is horizontal, when the edges are no rectangle, or when its centre or rows lie outside the image;
 * 5 when memory runs out.
 */
QL_API sint32 CalBorderPoints(BitmapRec* p_bitmap, RowSeckRec* RowSeck, Real64* angle, PointRec* SourceCenter,
                              sint32* biWidth, sint32* biHeight, ImageRangeRectangleRec* p_image_range,
                              sint32* Image_Incline_Flag, ImageBorderLineRec* p_border_line_left_top,
                              ImageBorderLineRec* p_border_line_left_bottom,
                              ImageBorderLineRec* p_border_line_right_top,
                              ImageBorderLineRec* p_border_line_right_bottom);

#ifdef __cplusplus
}
#endif

#endif
