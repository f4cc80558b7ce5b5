/*
 * Placement.cpp - what follows from the place of a page: its corners, its columns on each row, the same page in a
 * picture of another size.
 *
 * The arithmetic is that of CalBorderPoints, step by step, so that a placement that was written down and read back
 * gives the spans that detection gave, and so the same pixels.
 */
#include "Placement.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quarlo
{

namespace
{

enum LineType : sint32 { kHorizontal = 1, kVertical = 2, kGeneral = 3 };
enum LineIndex { kLeftTop, kLeftBottom, kRightTop, kRightBottom };

constexpr double kDegree = 3.1415926 / 180.0; /* libquarlo's, so that degrees of both agree */

sint32 Truncated(double value)
{
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<sint32>(value);
    return std::numeric_limits<sint32>::min();
}

sint32 Rounded(double value) { return Truncated(value + 0.5); }

bool IsUsable(const LineRec& line)
{
    return line.type >= kHorizontal && line.type <= kGeneral && std::isfinite(line.a) && std::isfinite(line.b);
}

Point CrossVertical(const LineRec& general, double x) { return {x, general.a + general.b * x}; }
Point CrossHorizontal(const LineRec& general, double y) { return {(y - general.a) / general.b, y}; }

/* Where two lines meet; false if they do not, or if one is no line. */
bool Cross(const LineRec& first, const LineRec& second, Point* point)
{
    if (!IsUsable(first) || !IsUsable(second)) return false;
    if (first.type == kGeneral && second.type == kGeneral) {
        if (first.b == second.b) return false;
        *point = CrossVertical(second, (first.a - second.a) / (second.b - first.b));
    } else if (first.type == second.type) {
        return false;
    } else if (first.type == kGeneral) {
        *point = second.type == kVertical ? CrossVertical(first, second.a) : CrossHorizontal(first, second.a);
    } else if (second.type == kGeneral) {
        *point = first.type == kVertical ? CrossVertical(second, first.a) : CrossHorizontal(second, first.a);
    } else {
        *point = first.type == kVertical ? Point{first.a, second.a} : Point{second.a, first.a};
    }
    return std::isfinite(point->x) && std::isfinite(point->y);
}

/* The corners by their place among the rows of the bitmap. */
struct RowCorners {
    Point left, top, right, bottom;
};

bool FindRowCorners(const Placement& placement, RowCorners* corners)
{
    const std::array<LineRec, 4>& lines = placement.lines;
    return Cross(lines[kLeftTop], lines[kRightTop], &corners->top) &&
           Cross(lines[kLeftTop], lines[kLeftBottom], &corners->left) &&
           Cross(lines[kRightTop], lines[kRightBottom], &corners->right) &&
           Cross(lines[kLeftBottom], lines[kRightBottom], &corners->bottom);
}

sint32 ColumnAt(const LineRec& line, sint32 row, double corner_x, sint32 last)
{
    const double column = line.type == kGeneral    ? (row - line.a) / line.b
                          : line.type == kVertical ? line.a
                                                   : corner_x;
    return std::clamp(Rounded(column), 0, last);
}

/* Scales one coordinate: the outlines of the pictures, half a pixel outside the first and the last centre, stay. */
struct Axis {
    double factor;
    double operator()(double value) const { return (value + 0.5) * factor - 0.5; }
};

LineRec ScaledLine(const LineRec& line, Axis x, Axis y)
{
    LineRec scaled = line;
    scaled.center = {Rounded(x(line.center.x)), Rounded(y(line.center.y))};
    if (line.type == kVertical) {
        scaled.a = x(line.a);
    } else if (line.type == kHorizontal) {
        scaled.a = y(line.a);
    } else {
        scaled.b = line.b * y.factor / x.factor;
        scaled.a = y(line.a + line.b * ((0.5 / x.factor) - 0.5));
        if (scaled.b != line.b) scaled.angle = std::atan(scaled.b) / kDegree;
    }
    return scaled;
}

/* What follows is told in doubles, which hold the differences of all whole numbers that a report may give. */

double LastRowOf(const Placement& placement) { return placement.scan_height - 1.0; }

/* The first column, or row, of an upright page, counted from its pivot. */
double FirstOf(int size) { return -std::trunc((size - 1.0) / 2.0); }

} // namespace

double DegreesOf(const Placement& placement) { return std::remainder(0.0 - placement.angle / kDegree, 360.0); }

std::array<Point, 4> CornersOf(const Placement& placement)
{
    /* The centres of the result's corner pixels, taken back to the scan by the formula of RotateBitmap. */
    const double cosine = std::cos(placement.angle);
    const double sine = std::sin(placement.angle);
    const double left = FirstOf(placement.width), right = left + placement.width - 1.0;
    const double low = FirstOf(placement.height), high = low + placement.height - 1.0;
    const auto scan_point = [&](double column, double row) {
        return Point{placement.center.x + column * cosine + row * sine,
                     LastRowOf(placement) - (placement.center.y + row * cosine - column * sine)};
    };
    return {scan_point(left, high), scan_point(right, high), scan_point(right, low), scan_point(left, low)};
}

std::array<Point, 4> OutlineOf(const Placement& placement)
{
    RowCorners found;
    if (!FindRowCorners(placement, &found)) return CornersOf(placement);
    const double cosine = std::cos(placement.angle);
    const double sine = std::sin(placement.angle);
    /* Around the page as people see it. Upright, the top left one has least to the right and to the bottom. */
    const Point around[] = {found.left, found.bottom, found.right, found.top};
    const auto rank = [&](const Point& p) { return p.x * cosine - p.y * sine - (p.x * sine + p.y * cosine); };
    size_t first = 0;
    for (size_t i = 1; i < 4; ++i)
        if (rank(around[i]) < rank(around[first])) first = i;

    std::array<Point, 4> corners{};
    for (size_t i = 0; i < 4; ++i) {
        const Point corner = around[(first + i) % 4];
        corners[i] = {corner.x, LastRowOf(placement) - corner.y};
    }
    return corners;
}

RowSpans SpansOf(const Placement& placement)
{
    RowCorners corners;
    if (placement.scan_width < 1 || placement.scan_height < 1 || !FindRowCorners(placement, &corners)) return {};
    const sint32 last_row = placement.scan_height - 1;
    const sint32 left_y = Rounded(corners.left.y);
    const sint32 right_y = Rounded(corners.right.y);
    RowSpans spans;
    spans.top = std::clamp(std::min({right_y, left_y, Rounded(corners.top.y)}), 0, last_row);
    spans.bottom = std::clamp(std::max({right_y, left_y, Rounded(corners.bottom.y)}), 0, last_row);
    if (spans.top >= spans.bottom) return {};

    const double left_x = Rounded(corners.left.x);
    const double right_x = Rounded(corners.right.x);
    const sint32 last_column = placement.scan_width - 1;
    spans.rows.assign(static_cast<size_t>(spans.bottom) + 1, null_line_seck);
    for (sint32 y = spans.top; y <= spans.bottom; ++y) {
        const LineRec& left = placement.lines[left_y > y ? kLeftTop : kLeftBottom];
        const LineRec& right = placement.lines[right_y > y ? kRightTop : kRightBottom];
        spans.rows[static_cast<size_t>(y)] = {ColumnAt(left, y, left_x, last_column),
                                              ColumnAt(right, y, right_x, last_column)};
    }
    return spans;
}

Placement ScaledBy(const Placement& placement, double factor_x, double factor_y, int scan_width, int scan_height)
{
    const Axis x = {factor_x};
    const Axis y = {factor_y};
    const double factor = std::sqrt(factor_x * factor_y);
    Placement scaled = placement;
    scaled.scan_width = scan_width;
    scaled.scan_height = scan_height;
    scaled.center = {std::clamp(Rounded(x(placement.center.x)), 0, std::max(scan_width, 1) - 1),
                     std::clamp(Rounded(y(placement.center.y)), 0, std::max(scan_height, 1) - 1)};
    scaled.width = std::max(1, Rounded(placement.width * factor));
    scaled.height = std::max(1, Rounded(placement.height * factor));
    for (LineRec& line : scaled.lines) line = ScaledLine(line, x, y);
    return scaled;
}

Placement Scaled(const Placement& placement, int scan_width, int scan_height)
{
    if (scan_width == placement.scan_width && scan_height == placement.scan_height) return placement;
    return ScaledBy(placement, static_cast<double>(scan_width) / placement.scan_width,
                    static_cast<double>(scan_height) / placement.scan_height, scan_width, scan_height);
}

Frame FrameOf(const Placement& placement)
{
    Frame frame;
    frame.found = true;
    frame.placement = placement;
    frame.angle_deg = DegreesOf(placement);
    frame.corners = CornersOf(placement);
    frame.center = {static_cast<double>(placement.center.x), LastRowOf(placement) - placement.center.y};
    frame.width = placement.width;
    frame.height = placement.height;
    return frame;
}

std::string_view NameOf(Ground ground)
{
    return ground == Ground::dark ? "dark" : ground == Ground::light ? "light" : "auto";
}

} // namespace quarlo
