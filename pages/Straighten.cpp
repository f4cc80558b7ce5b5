/*
 * Straighten.cpp - the upright page.
 *
 *   Turn, Copy              the page, or the whole scan, out of the scan
 *   AddMargins, SetSize     room around it, or less of it
 *   TurnRight, ChangeDepth  what is asked for after all else
 *
 * Every step makes a new picture from that of the step before, and says with an affine map where each of its pixels
 * comes from. The maps are chained, so that the last one leads back into the scan.
 */
#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "BitmapRotate.h"
#include "BitmapSize.h"
#include "Canvas.h"
#include "Depth.h"
#include "Fill.h"
#include "QuarloBitmap.h"
#include "quarlo/pages.hpp"

namespace quarlo
{

namespace
{

constexpr double kMillimetresPerInch = 25.4;
constexpr double kUsualDpi = 300.0; /* of a scan that does not tell its resolution */
constexpr double kMostPixels = 2147483647.0;

enum Side { kTop, kRight, kBottom, kLeft };

Problem Refuse(Code code, const char* reason) { return {code, "", reason}; }

/* A picture in the making. */
struct Draft {
    Bitmap bitmap;
    Affine to_source;
    bool resampled = false;
};

/* First `inner`, then `outer`. */
Affine Chained(const Affine& outer, const Affine& inner)
{
    const Point origin = outer({inner.x0, inner.y0});
    return {outer.xx * inner.xx + outer.xy * inner.yx, outer.xx * inner.xy + outer.xy * inner.yy, origin.x,
            outer.yx * inner.xx + outer.yy * inner.yx, outer.yx * inner.xy + outer.yy * inner.yy, origin.y};
}

/* Takes the next step's picture, each of whose pixels comes from where the map says in the picture so far. */
void Take(Bitmap* next, const Affine& map, Draft* draft)
{
    draft->bitmap = std::move(*next);
    draft->to_source = Chained(draft->to_source, map);
}

Affine Shift(const Box& box)
{
    return {1.0, 0.0, static_cast<double>(box.left), 0.0, 1.0, static_cast<double>(box.top)};
}

/* ---- Options ---- */

bool IsOneOf(int value, std::initializer_list<int> values)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

Problem CheckOptions(const ResultOptions& options)
{
    if (!IsOneOf(static_cast<int>(options.interpolation), {1, 2, 3}))
        return Refuse(Code::bad_argument, "the interpolation is neither cubic, linear nor nearest");
    if (!IsOneOf(options.turn, {0, 90, 180, 270}))
        return Refuse(Code::bad_argument, "a page can be turned by 90, 180 and 270 degrees only");
    if (!IsOneOf(options.depth, {0, 1, 8, 24}))
        return Refuse(Code::bad_argument, "the depth is neither 1, 8 nor 24 bits");
    return {};
}

/* A length in whole pixels; false if it is no number, or one beyond all bitmaps. */
bool InPixels(const Length& length, double dpi, std::int64_t* pixels)
{
    const double exact =
        length.unit == Length::Unit::millimetres ? length.value / kMillimetresPerInch * dpi : length.value;
    if (!(std::fabs(exact) <= kMostPixels)) return false;
    *pixels = std::llround(exact);
    return true;
}

struct Dpi {
    double x = kUsualDpi;
    double y = kUsualDpi;
};

Dpi DpiOf(const Resolution& resolution)
{
    if (!resolution.known()) return {};
    return {resolution.dpi_x(), resolution.dpi_y()};
}

/* ---- The page out of the scan ---- */

/* The part of the scan that is turned, and where it goes. */
struct TurnPlan {
    RowSpans spans;
    double angle = 0.0;
    PointRec pivot = null_point;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

/* The middle of a result, on which the pivot lands. */
sint32 MiddleOf(std::int64_t size) { return static_cast<sint32>((size - 1) / 2); }

/* The smallest size whose pixels reach from `least` to `most`, counted from its middle. */
std::int64_t SizeReaching(double least, double most)
{
    constexpr double kNoise = 1e-6; /* of a product that should be a whole number */
    const auto before = static_cast<std::int64_t>(std::ceil(-least - kNoise));
    const auto after = static_cast<std::int64_t>(std::ceil(most - kNoise));
    return std::max(2 * before + 1, 2 * after);
}

/* All of the scan, turned about its middle into a result that holds its four corners. */
TurnPlan PlanWhole(const Bitmap& scan, double angle)
{
    TurnPlan plan;
    plan.angle = angle;
    plan.pivot = {MiddleOf(scan.width()), MiddleOf(scan.height())};
    plan.spans.bottom = scan.height() - 1;
    plan.spans.rows.assign(static_cast<std::size_t>(scan.height()), {0, scan.width() - 1});

    const double cosine = std::cos(angle);
    const double sine = std::sin(angle);
    double least_column = 0.0, most_column = 0.0, least_row = 0.0, most_row = 0.0;
    for (const int x : {-plan.pivot.x, scan.width() - 1 - plan.pivot.x})
        for (const int y : {-plan.pivot.y, scan.height() - 1 - plan.pivot.y}) {
            const double column = x * cosine - y * sine;
            const double row = x * sine + y * cosine;
            least_column = std::min(least_column, column);
            most_column = std::max(most_column, column);
            least_row = std::min(least_row, row);
            most_row = std::max(most_row, row);
        }
    plan.width = SizeReaching(least_column, most_column);
    plan.height = SizeReaching(least_row, most_row);
    return plan;
}

TurnPlan PlanPage(const Placement& placement)
{
    return {SpansOf(placement), placement.angle, placement.center, placement.width, placement.height};
}

/* What RotateBitmap does, from and to pixels counted from the top left. */
Affine MapOf(const TurnPlan& plan, int scan_height)
{
    const double cosine = std::cos(plan.angle);
    const double sine = std::sin(plan.angle);
    const double column = MiddleOf(plan.width); /* where the pivot lands */
    const double line = static_cast<double>(plan.height - 1 - MiddleOf(plan.height));
    const double pivot_line = scan_height - 1 - plan.pivot.y;
    return {cosine, -sine,  plan.pivot.x - column * cosine + line * sine,
            sine,   cosine, pivot_line - column * sine - line * cosine};
}

Problem Rotate(const Bitmap& picture, TurnPlan* plan, Interpolation interpolation, const Fill& colour,
               Bitmap* turned)
{
    RowSeckRec spans = {plan->spans.bottom - plan->spans.top + 1, static_cast<sint32>(plan->spans.rows.size()),
                        plan->spans.top, plan->spans.bottom, plan->spans.rows.data()};
    std::array<std::uint8_t, 3> pixel = PixelOf(colour, picture.depth());
    Bitmap made;
    const sint32 code =
        RotateBitmap(picture.rec(), made.rec(), &spans, plan->angle, plan->pivot, static_cast<sint32>(plan->width),
                     static_cast<sint32>(plan->height), static_cast<sint32>(interpolation), pixel.data());
    if (code == QL_BAD_ARGUMENT)
        return Refuse(Code::bad_argument, "the page has no size, or covers no two rows of the scan");
    if (made.empty()) return Refuse(Code::out_of_memory, "memory ran out");
    *turned = std::move(made);
    return {};
}

/*
 * RotateBitmap draws the black pixels of a 1-bit page, on white only. On black it is given the negative, whose negative
 * is the page.
 */
Problem RotateOnBlack(const Bitmap& picture, TurnPlan* plan, Interpolation interpolation, Bitmap* turned)
{
    Bitmap negative, made;
    Problem problem = CutOut(picture, WholeOf(picture), {}, &negative);
    if (problem) return problem;
    Invert(&negative);
    problem = Rotate(negative, plan, interpolation, {}, &made);
    if (problem) return problem;
    Invert(&made);
    *turned = std::move(made);
    return {};
}

Problem Turn(const Bitmap& scan, TurnPlan plan, Interpolation interpolation, const Fill& colour, Draft* draft)
{
    Problem problem = CheckBitmapSize(plan.width, plan.height, scan.depth());
    if (problem) return problem;
    const bool on_black = scan.depth() == 1 && PixelOf(colour, 1)[0] == 0;
    Bitmap turned;
    problem = on_black ? RotateOnBlack(scan, &plan, interpolation, &turned)
                       : Rotate(scan, &plan, interpolation, colour, &turned);
    if (problem) return problem;
    Take(&turned, MapOf(plan, scan.height()), draft);
    draft->resampled = true;
    return {};
}

/* Of the scan, or of the draft's own picture. */
Problem Copy(const Bitmap& picture, const Box& box, const Fill& colour, Draft* draft)
{
    Bitmap part;
    Problem problem = CutOut(picture, box, colour, &part);
    if (!problem) Take(&part, Shift(box), draft);
    return problem;
}

/* The box of the upright page's size in whose middle the page's centre lies. */
Box UprightBox(const Placement& placement)
{
    const std::int64_t bottom_row = std::int64_t{placement.center.y} - MiddleOf(placement.height);
    return {std::int64_t{placement.center.x} - MiddleOf(placement.width),
            std::int64_t{placement.scan_height} - bottom_row - placement.height, placement.width, placement.height};
}

/* The pixels nearest to the least and the greatest of four coordinates, cut off at the borders of the scan. */
struct Reach {
    std::int64_t first = 0;
    std::int64_t last = -1;
};

Reach ReachOf(std::array<double, 4> values, int size)
{
    for (const double value : values)
        if (!std::isfinite(value)) return {};
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    return {std::llround(std::clamp(*least, 0.0, static_cast<double>(size))),
            std::llround(std::clamp(*most, -1.0, size - 1.0))};
}

/* The part of the scan between the page's outermost corners. */
Box BoundingBox(const Frame& frame, const Bitmap& scan)
{
    std::array<double, 4> x{}, y{};
    for (std::size_t k = 0; k < 4; ++k) {
        x[k] = frame.corners[k].x;
        y[k] = frame.corners[k].y;
    }
    const Reach columns = ReachOf(x, scan.width());
    const Reach lines = ReachOf(y, scan.height());
    return {columns.first, lines.first, columns.last - columns.first + 1, lines.last - lines.first + 1};
}

Problem CopyPage(const Bitmap& scan, const Box& box, const Fill& colour, Draft* draft)
{
    if (IsEmpty(Common(box, WholeOf(scan)))) return Refuse(Code::bad_argument, "the page does not lie in the scan");
    return Copy(scan, box, colour, draft);
}

bool IsTurned(const Frame& frame, const ResultOptions& options)
{
    return options.deskew && !(std::fabs(frame.angle_deg) < options.least_angle_deg);
}

/* Whether the frame is one of this scan, if it is needed at all. */
Problem CheckFrame(const Page& scan, const Frame& frame, const ResultOptions& options)
{
    if (!options.crop && !options.deskew) return {};
    if (!frame.found) return Refuse(Code::no_page, "there is no frame to cut by");
    if (frame.placement.scan_width != scan.bitmap.width() || frame.placement.scan_height != scan.bitmap.height())
        return Refuse(Code::bad_argument, "the frame belongs to a scan of another size");
    if (!std::isfinite(frame.placement.angle)) return Refuse(Code::bad_argument, "the frame has no angle");
    return {};
}

Problem TakePage(const Bitmap& scan, const Frame& frame, const ResultOptions& options, Interpolation interpolation,
                 const Fill& colour, Draft* draft)
{
    const Placement& placement = frame.placement;
    if (IsTurned(frame, options))
        return Turn(scan, options.crop ? PlanPage(placement) : PlanWhole(scan, placement.angle), interpolation,
                    colour, draft);
    if (!options.crop) return Copy(scan, WholeOf(scan), colour, draft);
    return CopyPage(scan, options.deskew ? UprightBox(placement) : BoundingBox(frame, scan), colour, draft);
}

/* ---- Room around it ---- */

Problem AddMargins(const ResultOptions& options, Dpi dpi, const Fill& colour, Draft* draft)
{
    std::array<std::int64_t, 4> margins{};
    for (const Side side : {kTop, kRight, kBottom, kLeft})
        if (!InPixels(options.margins[side], side == kLeft || side == kRight ? dpi.x : dpi.y, &margins[side]))
            return Refuse(Code::bad_argument, "a margin is wider than any page");
    if (margins == std::array<std::int64_t, 4>{}) return {};
    const Box whole = WholeOf(draft->bitmap);
    const Box box = {-margins[kLeft], -margins[kTop], margins[kLeft] + whole.width + margins[kRight],
                     margins[kTop] + whole.height + margins[kBottom]};
    if (IsEmpty(Common(box, whole))) return Refuse(Code::bad_argument, "the margins trim the whole page away");
    return Copy(draft->bitmap, box, colour, draft);
}

/* The page stays in the middle; of an odd difference the right and the bottom get the larger half. */
Problem SetSize(const ResultOptions& options, Dpi dpi, const Fill& colour, Draft* draft)
{
    const Box whole = WholeOf(draft->bitmap);
    Box box = whole;
    const Length& width = options.size[0];
    const Length& height = options.size[1];
    if ((width.value != 0.0 && !InPixels(width, dpi.x, &box.width)) ||
        (height.value != 0.0 && !InPixels(height, dpi.y, &box.height)) || IsEmpty(box))
        return Refuse(Code::bad_argument, "no page has the size that is asked for");
    if (box.width == whole.width && box.height == whole.height) return {};
    box.left = (whole.width - box.width) / 2;
    box.top = (whole.height - box.height) / 2;
    return Copy(draft->bitmap, box, colour, draft);
}

/* ---- After all else ---- */

/* From a picture turned clockwise to the picture before, whose size is given. */
Affine RightAngleMap(int turn, const Box& before)
{
    const double last_x = static_cast<double>(before.width - 1);
    const double last_y = static_cast<double>(before.height - 1);
    if (turn == 90) return {0.0, 1.0, 0.0, -1.0, 0.0, last_y};
    if (turn == 180) return {-1.0, 0.0, last_x, 0.0, -1.0, last_y};
    return {0.0, -1.0, last_x, 1.0, 0.0, 0.0};
}

Problem TurnRight(int turn, Draft* draft)
{
    if (turn == 0) return {};
    Bitmap turned;
    if (imageRotate(draft->bitmap.rec(), turned.rec(), turn) != QL_SUCCESS)
        return Refuse(Code::out_of_memory, "memory ran out");
    const Affine map = RightAngleMap(turn, WholeOf(draft->bitmap));
    Take(&turned, map, draft);
    return {};
}

/* The page and the colour around it, which is converted like every pixel. */
Problem ChangeDepth(int depth, Fill* colour, Draft* draft)
{
    if (draft->bitmap.depth() == depth) return {};
    Bitmap converted, pixel, converted_pixel;
    Problem problem = ToDepth(draft->bitmap, depth, &converted);
    if (problem) return problem;
    problem = CutOut(draft->bitmap, {-1, -1, 1, 1}, *colour, &pixel);
    if (!problem) problem = ToDepth(pixel, depth, &converted_pixel);
    if (problem) return problem;
    *colour = EdgeColour(converted_pixel);
    Take(&converted, {}, draft);
    return {};
}

/*
 * The depth to work in. A greater depth of the result is taken first, so that it can show the fill's colour; a smaller
 * one last. A 1-bit page is made in grey only where that is asked for, and keeps the greys only if the result can hold
 * them.
 */
struct Depths {
    int colour = 0; /* what the fill may look like */
    int work = 0;
    int result = 0;
};

Depths DepthsOf(const Bitmap& scan, const ResultOptions& options)
{
    Depths depths;
    depths.result = options.depth != 0 ? options.depth : scan.depth();
    depths.colour = std::max(scan.depth(), depths.result);
    depths.work = options.smooth ? std::max(depths.colour, 8) : depths.colour;
    return depths;
}

Problem MakeResult(const Page& scan, const Frame& frame, const ResultOptions& options, Result* result)
{
    if (scan.bitmap.empty()) return Refuse(Code::invalid_bitmap, "there is no picture");
    Problem problem = CheckOptions(options);
    if (!problem) problem = CheckFrame(scan, frame, options);
    if (problem) return problem;

    const Depths depths = DepthsOf(scan.bitmap, options);
    const bool exact = scan.bitmap.depth() == 1 && !options.smooth;
    const Interpolation interpolation = exact ? Interpolation::nearest : options.interpolation;
    Fill colour = ColourOf(options.fill, scan.bitmap, depths.colour);
    Bitmap deeper;
    if (depths.work != scan.bitmap.depth()) problem = ToDepth(scan.bitmap, depths.work, &deeper);
    if (problem) return problem;

    const Dpi dpi = DpiOf(scan.meta.resolution);
    Draft draft;
    problem = TakePage(deeper.empty() ? scan.bitmap : deeper, frame, options, interpolation, colour, &draft);
    if (!problem) problem = AddMargins(options, dpi, colour, &draft);
    if (!problem) problem = SetSize(options, dpi, colour, &draft);
    if (!problem) problem = TurnRight(options.turn, &draft);
    if (!problem) problem = ChangeDepth(depths.result, &colour, &draft);
    if (problem) return problem;

    result->page.bitmap = std::move(draft.bitmap);
    result->page.meta = scan.meta;
    result->page.warnings = scan.warnings;
    if (options.turn % 180 != 0) std::swap(result->page.meta.resolution.x, result->page.meta.resolution.y);
    result->to_source = draft.to_source;
    result->resampled = draft.resampled;
    result->interpolation = interpolation;
    result->filled = colour;
    return {};
}

} // namespace

std::string_view NameOf(Interpolation interpolation)
{
    switch (interpolation) {
    case Interpolation::cubic:
        return "cubic";
    case Interpolation::linear:
        return "linear";
    case Interpolation::nearest:
        return "nearest";
    }
    return {};
}

Problem Straighten(const Page& scan, const Frame& frame, const ResultOptions& options, Result* result)
{
    Result made;
    Problem problem = MakeResult(scan, frame, options, &made);
    if (problem)
        problem.stage = "turn";
    else
        *result = std::move(made);
    return problem;
}

} // namespace quarlo
