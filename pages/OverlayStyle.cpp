/*
 * OverlayStyle.cpp - the marks that drawings are made of.
 */
#include "OverlayStyle.h"

#include <cmath>

namespace quarlo::overlay
{

namespace
{

using Lines = std::vector<std::vector<Point>>;

Path Stroke(const Lines& lines, const Colour& colour, double width)
{
    Path path;
    path.lines = lines;
    path.colour = colour;
    path.width = width;
    return path;
}

/* On something darker and wider, so that it is seen on every scan. */
void DrawCased(const Path& path, double casing, Shapes* shapes)
{
    Path under = path;
    under.colour = kCasing;
    under.width = path.width + 2.0 * casing;
    under.dash = 0.0;
    shapes->push_back(under);
    shapes->push_back(path);
}

/* The middles of runs, but for those that crosses would stand too close to each other. */
std::vector<Point> SpacedMiddles(const Lines& runs, double spacing)
{
    std::vector<Point> middles;
    for (const std::vector<Point>& run : runs) {
        const Point at = run[run.size() / 2];
        if (middles.empty() || std::hypot(at.x - middles.back().x, at.y - middles.back().y) >= spacing)
            middles.push_back(at);
    }
    return middles;
}

} // namespace

void DrawDots(const std::vector<Point>& points, const Colour& colour, double unit, Shapes* shapes)
{
    Lines dots;
    for (const Point& point : points) dots.push_back({point});
    if (!dots.empty()) shapes->push_back(Stroke(dots, colour, 1.6 * unit));
}

void DrawKept(const Lines& runs, const Colour& colour, double unit, Shapes* shapes)
{
    if (!runs.empty()) shapes->push_back(Stroke(runs, Faint(colour, 0.45), 6.0 * unit));
}

void DrawDropped(const Lines& runs, double unit, Shapes* shapes)
{
    if (runs.empty()) return;
    Lines crosses;
    const double arm = 2.6 * unit;
    for (const Point& at : SpacedMiddles(runs, 6.0 * arm)) {
        crosses.push_back({{at.x - arm, at.y - arm}, {at.x + arm, at.y + arm}});
        crosses.push_back({{at.x - arm, at.y + arm}, {at.x + arm, at.y - arm}});
    }
    shapes->push_back(Stroke(runs, Faint(kDropped, 0.6), unit));
    DrawCased(Stroke(crosses, kDropped, 1.2 * unit), 0.8 * unit, shapes);
}

void DrawFitted(const Lines& lines, double unit, Shapes* shapes)
{
    if (!lines.empty()) shapes->push_back(Stroke(lines, kLine, unit));
}

void DrawFrame(const std::vector<Point>& corners, const Colour& colour, double unit, Shapes* shapes)
{
    Path path = Stroke({corners}, colour, 4.0 * unit);
    path.closed = true;
    shapes->push_back(path);
}

/* What lies below, often the frame, is seen between the dashes. */
void DrawOutput(const std::vector<Point>& corners, double unit, Shapes* shapes)
{
    Path path = Stroke({corners}, kOutput, 1.3 * unit);
    path.closed = true;
    path.dash = 8.0 * unit;
    shapes->push_back(path);
}

void DrawArrowHead(Point tip, Point direction, const Colour& colour, double unit, Shapes* shapes)
{
    const double length = 13.0 * unit, half = 6.0 * unit;
    const Point back = {tip.x - length * direction.x, tip.y - length * direction.y};
    Path path;
    path.lines = {{tip,
                   {back.x - half * direction.y, back.y + half * direction.x},
                   {back.x + half * direction.y, back.y - half * direction.x}}};
    path.closed = true;
    path.fill = colour;
    path.colour = kGround;
    path.width = unit;
    shapes->push_back(path);
}

void DrawCentre(Point centre, Point right, const Colour& colour, double unit, Shapes* shapes)
{
    const auto at = [&](double along, double down) {
        return Point{centre.x + unit * (along * right.x - down * right.y),
                     centre.y + unit * (along * right.y + down * right.x)};
    };
    DrawCased(
        Stroke({{at(-14, 0), at(-4, 0)}, {at(4, 0), at(14, 0)}, {at(0, -22), at(0, -4)}, {at(0, 4), at(0, 14)}},
               colour, 2.0 * unit),
        unit, shapes);
    /* The longer arm leads to the page's top. */
    DrawArrowHead(at(0, -26), {right.y, -right.x}, colour, 0.7 * unit, shapes);
}

} // namespace quarlo::overlay
