/*
 * PageMaker.h - drawn scans: a sheet of paper on a ground, its place known to a fraction of a pixel.
 */
#ifndef QUARLO_TESTS_SUPPORT_PAGEMAKER_H
#define QUARLO_TESTS_SUPPORT_PAGEMAKER_H

#include <array>

#include "quarlo/pages.hpp"

namespace test
{

/* Points are pixels from the scan's top left, whole numbers the centres of pixels. */
struct Sheet {
    int scan_width = 600;
    int scan_height = 800;
    double width = 400.0;
    double height = 560.0;
    quarlo::Point center = {300.0, 400.0};
    double angle_deg = 0.0; /* by which the sheet has to be turned clockwise to be upright */
    int depth = 8;
    std::uint8_t ground = 25;
    std::uint8_t paper = 230;
    bool written_on = false; /* bars of ink, and a block in the top left corner */
};

/* As small as a sheet may be that is found, for tests of many. */
Sheet SmallSheet(double angle_deg = 1.0);

/* Edges are smooth: a pixel that the edge halves is halfway between ground and paper. 24 bits: paper has less blue. */
quarlo::Bitmap Draw(const Sheet& sheet);

/* Top left, top right, bottom right, bottom left of the sheet itself. */
std::array<quarlo::Point, 4> CornersOf(const Sheet& sheet);

/* A scan without a page. */
quarlo::Bitmap DrawNothing(int width, int height, int depth);

} // namespace test

#endif
