/*
 * OverlayDrawing.h - a drawing as a list of what is on it, for every form that it can be written in.
 */
#ifndef QUARLO_OVERLAYDRAWING_H
#define QUARLO_OVERLAYDRAWING_H

#include <string>
#include <variant>
#include <vector>

#include "quarlo/pages.hpp"

namespace quarlo::overlay
{

struct Colour {
    std::uint8_t red = 0, green = 0, blue = 0;
    double alpha = 1.0;
};

struct Box {
    double x = 0.0, y = 0.0, width = 0.0, height = 0.0;
};

/** Lines with round ends and corners; a line of one point is a dot. Filled where `fill` is not transparent. */
struct Path {
    std::vector<std::vector<Point>> lines;
    bool closed = false;
    Colour colour;
    double width = 0.0; /**< of the pen; 0: not drawn */
    double dash = 0.0;  /**< as long as the gaps between; 0: solid */
    Colour fill = {0, 0, 0, 0.0};
};

struct Label {
    Point at;         /**< the beginning, or where `right` the end, of the base line */
    std::string text; /**< cleaned */
    double size = 0.0;
    Colour colour;
    bool bold = false;
    bool right = false;
};

/** Greys, from the top down. */
struct Picture {
    Point at;
    int width = 0, height = 0;
    Bytes grey;
};

using Shape = std::variant<Path, Label, Picture>;

struct Layer {
    std::string id;
    std::string title; /**< for people; cleaned */
    std::vector<Shape> shapes;
};

struct Drawing {
    int width = 0, height = 0;
    Colour background;
    Box panel; /**< where the scan is drawn; the layers are cut off at it, but the last one, which is the legend */
    std::string title, description; /**< cleaned */
    std::vector<Layer> layers;
};

/** What there is to see of a frame on a scan. */
Problem Compose(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, Drawing* drawing);

/** Whether noise was told from edges, and there was some. Before that no segment is kept. */
bool HasDropped(const Trace& trace);

std::string SvgOf(const Drawing& drawing);
/** Pixels from the top down, of one byte each for greys or of three for red, green, blue. */
Bytes EncodedPng(int width, int height, int channels, const Bytes& pixels);
Problem PngOf(const Drawing& drawing, Bytes* png);

} // namespace quarlo::overlay

#endif
