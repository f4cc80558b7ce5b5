/*
 * OverlayLegend.h - what a drawing says in words, and which mark is what.
 */
#ifndef QUARLO_OVERLAYLEGEND_H
#define QUARLO_OVERLAYLEGEND_H

#include "OverlayDrawing.h"

namespace quarlo::overlay
{

/** Whether the page was found, in words. */
std::string Headline(const Frame& frame);

/** The size of a legend's letters, and how thick thin lines are, for a scan drawn at such a size. */
struct Scale {
    double unit = 1.0;
    double letters() const { return 13.0 * unit; }
};

/** Stacks the legend in one column below `at`, or spreads it over the width; answers the box that it takes. */
Box DrawLegend(const Frame& frame, const std::string& title, const Scale& scale, Point at, double width,
               bool one_column, std::vector<Shape>* shapes);

/** How wide one column is. */
double ColumnWidth(const Scale& scale);

} // namespace quarlo::overlay

#endif
