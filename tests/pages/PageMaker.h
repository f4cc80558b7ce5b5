/*
 * PageMaker.h - scans of sheets whose outlines are known to a fraction of a pixel.
 */
#ifndef QUARLO_TESTS_PAGES_PAGEMAKER_H
#define QUARLO_TESTS_PAGES_PAGEMAKER_H

#include <array>
#include <cmath>
#include <vector>

#include "pages/TestScan.h"
#include "quarlo/pages.hpp"

namespace test
{

/* A sheet of one grey, counted from the top left of the scan; its edges lie between the centres of pixels. */
struct Sheet {
    quarlo::Point center;
    double width = 0.0;
    double height = 0.0;
    double clockwise_deg = 0.0; /* by which it has to be turned to be upright */
    double grey = 220.0;
};

/* Top left, top right, bottom right, bottom left, as the sheet is read. */
inline std::array<quarlo::Point, 4> OutlineOf(const Sheet& sheet)
{
    const double cosine = std::cos(sheet.clockwise_deg * kRadians), sine = std::sin(sheet.clockwise_deg * kRadians);
    const auto corner = [&](double across, double down) {
        const double x = across * sheet.width / 2.0, y = down * sheet.height / 2.0;
        return quarlo::Point{sheet.center.x + x * cosine + y * sine, sheet.center.y - x * sine + y * cosine};
    };
    return {corner(-1, -1), corner(1, -1), corner(1, 1), corner(-1, 1)};
}

/* How far inside of the line from a to b a point lies, where the inside is on its right as people see it. */
inline double DistanceInside(quarlo::Point a, quarlo::Point b, quarlo::Point p)
{
    return ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)) / std::hypot(b.x - a.x, b.y - a.y);
}

/* Cuts a polygon along a line and keeps what is inside. */
inline std::vector<quarlo::Point> CutAlong(quarlo::Point a, quarlo::Point b,
                                           const std::vector<quarlo::Point>& polygon)
{
    std::vector<quarlo::Point> kept;
    for (size_t i = 0; i < polygon.size(); ++i) {
        const quarlo::Point p = polygon[i], q = polygon[(i + 1) % polygon.size()];
        const double from = DistanceInside(a, b, p), to = DistanceInside(a, b, q);
        if (from >= 0.0) kept.push_back(p);
        if ((from >= 0.0) == (to >= 0.0)) continue;
        const double t = from / (from - to);
        kept.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
    }
    return kept;
}

/* The share of a pixel that a sheet covers. */
inline double Coverage(const std::array<quarlo::Point, 4>& outline, int x, int y)
{
    double least = HUGE_VAL;
    for (size_t i = 0; i < 4; ++i)
        least = std::min(least, DistanceInside(outline[i], outline[(i + 1) % 4], {1.0 * x, 1.0 * y}));
    if (std::fabs(least) > 0.75) return least > 0.0 ? 1.0 : 0.0;
    std::vector<quarlo::Point> pixel = {
        {x - 0.5, y - 0.5}, {x + 0.5, y - 0.5}, {x + 0.5, y + 0.5}, {x - 0.5, y + 0.5}};
    for (size_t i = 0; i < 4; ++i) pixel = CutAlong(outline[i], outline[(i + 1) % 4], pixel);
    double twice = 0.0;
    for (size_t i = 0; i < pixel.size(); ++i) {
        const quarlo::Point p = pixel[i], q = pixel[(i + 1) % pixel.size()];
        twice += p.x * q.y - q.x * p.y;
    }
    return twice / 2.0;
}

/* A grey as a pixel of the given depth. */
inline std::uint32_t GreyPixel(double grey, int depth)
{
    const std::uint32_t level = static_cast<std::uint32_t>(std::clamp(grey + 0.5, 0.0, 255.0));
    return depth == 1 ? level / 128 : depth == 8 ? level : level * 0x010101u;
}

/* Sheets, the lowest first, on a ground whose grey at each place is what `ground(x, y)` says. */
template <typename Ground>
quarlo::Bitmap Scanned(int width, int height, int depth, Ground ground, const std::vector<Sheet>& sheets)
{
    std::vector<std::array<quarlo::Point, 4>> outlines;
    for (const Sheet& sheet : sheets) outlines.push_back(OutlineOf(sheet));
    return Drawn(width, height, depth, [&](int x, int y) {
        double grey = ground(x, y);
        for (size_t i = 0; i < sheets.size(); ++i) grey += (sheets[i].grey - grey) * Coverage(outlines[i], x, y);
        return GreyPixel(grey, depth);
    });
}

inline quarlo::Bitmap ScannedOn(double ground, int width, int height, int depth, const std::vector<Sheet>& sheets)
{
    return Scanned(
        width, height, depth, [=](int, int) { return ground; }, sheets);
}

/* The placement of a sheet that lies centred on a whole pixel. */
inline quarlo::Placement PlacementOf(const quarlo::Bitmap& scan, const Sheet& sheet)
{
    return PagePlacement(scan, static_cast<int>(sheet.center.x), static_cast<int>(sheet.center.y),
                         static_cast<int>(sheet.width), static_cast<int>(sheet.height), sheet.clockwise_deg);
}

} // namespace test

#endif
