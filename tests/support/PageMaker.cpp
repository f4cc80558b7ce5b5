#include "support/PageMaker.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using quarlo::Bitmap;
using quarlo::Point;

namespace test
{

namespace
{

constexpr double kDegree = 3.14159265358979323846 / 180.0;
constexpr std::uint8_t kInk = 40;

/* The sheet's own axes: u along its lines of writing, v down the sheet, both from its middle. */
struct Axes {
    explicit Axes(const Sheet& sheet)
        : center(sheet.center), cos_a(std::cos(sheet.angle_deg * kDegree)),
          sin_a(std::sin(sheet.angle_deg * kDegree))
    {
    }
    Point ToSheet(double x, double y) const
    {
        const double dx = x - center.x, dy = y - center.y;
        return {dx * cos_a - dy * sin_a, dx * sin_a + dy * cos_a};
    }
    Point ToScan(double u, double v) const
    {
        return {center.x + u * cos_a + v * sin_a, center.y - u * sin_a + v * cos_a};
    }

    Point center;
    double cos_a, sin_a;
};

/* How much of a pixel lies inside, by its distance from the border. */
double Share(double inside_by) { return std::clamp(inside_by + 0.5, 0.0, 1.0); }

double InBox(Point p, double left, double top, double right, double bottom)
{
    return Share(std::min({p.x - left, right - p.x, p.y - top, bottom - p.y}));
}

double Ink(const Sheet& sheet, Point p)
{
    if (!sheet.written_on) return 0.0;
    const double left = -0.4 * sheet.width, top = -0.4 * sheet.height;
    double ink = InBox(p, left, top, left + 60.0, top + 30.0);
    for (double v = top + 60.0; v < 0.4 * sheet.height; v += 40.0)
        ink = std::max(ink, InBox(p, left, v, 0.4 * sheet.width, v + 8.0));
    return ink;
}

void SetPixel(Bitmap* bitmap, int x, int y, double grey, bool tinted)
{
    std::uint8_t* row = bitmap->row(bitmap->height() - 1 - y);
    const auto value = static_cast<std::uint8_t>(std::lround(grey));
    if (bitmap->depth() == 8) {
        row[x] = value;
    } else if (bitmap->depth() == 24) {
        std::fill_n(row + 3 * x, 3, value);
        if (tinted) row[3 * x] = static_cast<std::uint8_t>(value - value / 8);
    } else {
        const int bit = 0x80 >> (x % 8);
        row[x / 8] = static_cast<std::uint8_t>(value >= 128 ? row[x / 8] | bit : row[x / 8] & ~bit);
    }
}

Bitmap Make(int width, int height, int depth)
{
    Bitmap bitmap;
    if (Bitmap::Make(width, height, depth, &bitmap)) std::abort();
    const size_t bytes = (static_cast<size_t>(width) * static_cast<size_t>(depth) + 7) / 8;
    for (int y = 0; y < height; ++y) std::fill_n(bitmap.row(y), bytes, std::uint8_t{0});
    return bitmap;
}

} // namespace

Sheet SmallSheet(double angle_deg)
{
    Sheet sheet;
    sheet.scan_width = 300;
    sheet.scan_height = 300;
    sheet.width = 200.0;
    sheet.height = 220.0;
    sheet.center = {150.0, 150.0};
    sheet.angle_deg = angle_deg;
    return sheet;
}

Bitmap Draw(const Sheet& sheet)
{
    Bitmap bitmap = Make(sheet.scan_width, sheet.scan_height, sheet.depth);
    const Axes axes(sheet);
    for (int y = 0; y < sheet.scan_height; ++y) {
        for (int x = 0; x < sheet.scan_width; ++x) {
            const Point p = axes.ToSheet(x, y);
            const double paper = InBox(p, -sheet.width / 2, -sheet.height / 2, sheet.width / 2, sheet.height / 2);
            const double written = sheet.paper + (kInk - sheet.paper) * Ink(sheet, p);
            SetPixel(&bitmap, x, y, sheet.ground + (written - sheet.ground) * paper, paper > 0.5);
        }
    }
    return bitmap;
}

std::array<Point, 4> CornersOf(const Sheet& sheet)
{
    const Axes axes(sheet);
    const double u = sheet.width / 2, v = sheet.height / 2;
    return {axes.ToScan(-u, -v), axes.ToScan(u, -v), axes.ToScan(u, v), axes.ToScan(-u, v)};
}

Bitmap DrawNothing(int width, int height, int depth) { return Make(width, height, depth); }

} // namespace test
