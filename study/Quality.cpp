/*
 * Quality.cpp - areas of convex polygons, cut out of each other.
 */
#include "Quality.h"

#include <cmath>

namespace study
{

using quarlo::Point;

namespace
{

using Polygon = std::vector<Point>;

double Area(const Polygon& polygon)
{
    double sum = 0.0;
    for (size_t i = 0; i < polygon.size(); ++i) {
        const Point& a = polygon[i];
        const Point& b = polygon[(i + 1) % polygon.size()];
        sum += a.x * b.y - b.x * a.y;
    }
    return sum / 2.0;
}

/* Sutherland and Hodgman: what lies on the inner side of each edge of a convex polygon. */
Polygon Clip(Polygon subject, const Polygon& clip)
{
    const double turn = Area(clip) < 0.0 ? -1.0 : 1.0;
    for (size_t i = 0; i < clip.size(); ++i) {
        const Point a = clip[i], b = clip[(i + 1) % clip.size()];
        const auto side = [&](Point p) { return turn * ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)); };
        Polygon inside;
        for (size_t k = 0; k < subject.size(); ++k) {
            const Point p = subject[k], q = subject[(k + 1) % subject.size()];
            const double from = side(p), to = side(q);
            if (from >= 0.0) inside.push_back(p);
            if ((from < 0.0) != (to < 0.0)) {
                const double t = from / (from - to);
                inside.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
            }
        }
        subject = std::move(inside);
    }
    return subject;
}

} // namespace

Quality Judge(const Corners& true_corners, double true_angle, const Corners& corners, double angle, int width,
              int height)
{
    const Polygon picture = {{-0.5, -0.5}, {width - 0.5, -0.5}, {width - 0.5, height - 0.5}, {-0.5, height - 0.5}};
    const Polygon truth = Clip({true_corners.begin(), true_corners.end()}, picture);
    const Polygon frame = Clip({corners.begin(), corners.end()}, picture);
    const double common = std::fabs(Area(Clip(frame, truth)));
    const double all = std::fabs(Area(frame)) + std::fabs(Area(truth)) - common;
    return {std::fabs(angle - true_angle), all > 0.0 ? common / all : 0.0};
}

} // namespace study
