/*
 * OverlayStyle.h - what everything in a drawing looks like.
 *
 * The colours of the sides can be told apart with every kind of colour vision, and are light enough to be seen on the
 * dimmed scan. Where colour alone would have to tell, the form tells as well: crosses, dashes, arrow heads.
 */
#ifndef QUARLO_OVERLAYSTYLE_H
#define QUARLO_OVERLAYSTYLE_H

#include <array>

#include "OverlayDrawing.h"

namespace quarlo::overlay
{

/* Scanned from the left, the right, the top, the bottom. */
constexpr std::array<Colour, 4> kSideColours = {
    {{86, 180, 233, 1.0}, {255, 165, 20, 1.0}, {240, 228, 66, 1.0}, {240, 130, 200, 1.0}}};
constexpr std::array<const char*, 4> kSideNames = {"left", "right", "top", "bottom"};

constexpr Colour kGround = {18, 21, 26, 1.0}; /* of the drawing */
constexpr Colour kCasing = {0, 0, 0, 0.7};    /* around thin lines */
constexpr Colour kText = {236, 239, 243, 1.0};
constexpr Colour kFaintText = {164, 172, 184, 1.0};
constexpr Colour kDropped = {255, 255, 255, 1.0};
constexpr Colour kLine = {255, 255, 255, 0.8};
constexpr Colour kOutput = {255, 255, 255, 1.0};
constexpr Colour kGood = {20, 214, 150, 1.0}; /* a page that may be cut out, and its frame */
constexpr Colour kBad = {255, 110, 90, 1.0};

/** Of the frame and of the words about it. */
inline Colour Verdict(const Frame& frame) { return frame.found && !frame.problem ? kGood : kBad; }

/** The same colour, seen through. */
constexpr Colour Faint(Colour colour, double alpha) { return {colour.red, colour.green, colour.blue, alpha}; }

using Shapes = std::vector<Shape>;

/* Each mark is drawn the same way on the scan and in the legend; `unit` is how thick a thin line is. */
void DrawDots(const std::vector<Point>& points, const Colour& colour, double unit, Shapes* shapes);
void DrawKept(const std::vector<std::vector<Point>>& runs, const Colour& colour, double unit, Shapes* shapes);
void DrawDropped(const std::vector<std::vector<Point>>& runs, double unit, Shapes* shapes);
void DrawFitted(const std::vector<std::vector<Point>>& lines, double unit, Shapes* shapes);
void DrawFrame(const std::vector<Point>& corners, const Colour& colour, double unit, Shapes* shapes);
void DrawOutput(const std::vector<Point>& corners, double unit, Shapes* shapes);
/** An arrow head whose tip is at the point and that points in the direction, which has length 1. */
void DrawArrowHead(Point tip, Point direction, const Colour& colour, double unit, Shapes* shapes);
/** A cross hair; `right` points to the right on the page, and has length 1. */
void DrawCentre(Point centre, Point right, const Colour& colour, double unit, Shapes* shapes);

} // namespace quarlo::overlay

#endif
