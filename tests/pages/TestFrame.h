/*
 * TestFrame.h - a scan and frames made by hand, for reports and drawings.
 */
#ifndef QUARLO_TESTS_PAGES_TESTFRAME_H
#define QUARLO_TESTS_PAGES_TESTFRAME_H

#include <cstdlib>
#include <cstring>

#include "quarlo/pages.hpp"

namespace test
{

/* A picture of one grey; 1-bit ones are white from 1 on. */
inline quarlo::Bitmap Plain(int width, int height, int depth, int grey)
{
    quarlo::Bitmap bitmap;
    if (quarlo::Bitmap::Make(width, height, depth, &bitmap)) std::abort();
    const int value = depth == 1 && grey > 0 ? 255 : grey;
    for (int y = 0; y < height; ++y)
        std::memset(bitmap.row(y), value, static_cast<std::size_t>(bitmap.rec()->BytesPerLine));
    return bitmap;
}

/*
 * A page of 201 x 301 pixels that stands upright on a scan of 400 x 500, its top left corner at (100, 80). As paper that
 * is not quite square its left edge was found ten pixels further out.
 */
inline quarlo::Frame UprightFrame()
{
    using quarlo::Ground;
    quarlo::Frame frame;
    frame.found = true;
    frame.ground = Ground::dark;
    frame.threshold = 57;
    frame.placement.scan_width = 400;
    frame.placement.scan_height = 500;
    frame.placement.center = {200, 269};
    frame.placement.width = 201;
    frame.placement.height = 301;
    frame.placement.lines = {{{119.0, 0.0, 0.0, 1, {200, 119}},
                              {90.0, 0.0, 90.0, 2, {90, 269}},
                              {300.0, 0.0, 90.0, 2, {300, 269}},
                              {419.0, 0.0, 0.25, 3, {200, 419}}}};
    frame.corners = {{{100.0, 80.0}, {300.0, 80.0}, {300.0, 380.0}, {100.0, 380.0}}};
    frame.center = {200.0, 230.0};
    frame.width = 201;
    frame.height = 301;
    for (quarlo::Edge& edge : frame.edges) edge = {180, 30, 2, 0.125, 0.5, 0.75, 96.0, false};
    frame.edges[1].at_border = true;
    frame.parallel_deg = 0.25;
    frame.square_deg = 0.5;
    frame.score = 0.875;
    return frame;
}

/* What a search for that page saw: three runs of points on each side, the middle one left out. */
inline quarlo::Trace UprightTrace()
{
    quarlo::Trace trace;
    for (int i = 0; i < 90; ++i) {
        const double x = 110.0 + 2.0 * i, y = 90.0 + 3.0 * i;
        trace.sides[0].points.push_back({100.0, y});
        trace.sides[1].points.push_back({300.0, y});
        trace.sides[2].points.push_back({x, 80.0});
        trace.sides[3].points.push_back({x, 380.0});
    }
    for (quarlo::Trace::Side& side : trace.sides) side.segments = {{0, 30, true}, {30, 30, false}, {60, 30, true}};
    trace.extremes = {{{100.0, 200.0}, {300.0, 200.0}, {150.0, 80.0}, {150.0, 380.0}}};
    trace.has_extremes = true;
    trace.fitted = {{{{{0.0, 80.0}, {399.0, 80.0}}},
                     {{{300.0, 0.0}, {300.0, 499.0}}},
                     {{{0.0, 380.0}, {399.0, 380.0}}},
                     {{{100.0, 0.0}, {100.0, 499.0}}}}};
    trace.has_fitted = {true, true, true, true};
    return trace;
}

/* A search that gave up where the sides' borders were sorted into edges: no run is kept, no edge fitted. */
inline quarlo::Frame FailedFrame()
{
    quarlo::Frame frame;
    frame.ground = quarlo::Ground::light;
    frame.threshold = 200;
    frame.problem = {quarlo::Code::no_edge, "split", "a page edge is too ragged"};
    frame.trace = UprightTrace();
    frame.trace.has_fitted = {};
    for (quarlo::Trace::Side& side : frame.trace.sides)
        for (quarlo::Trace::Segment& segment : side.segments) segment.kept = false;
    return frame;
}

} // namespace test

#endif
