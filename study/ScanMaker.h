/*
 * ScanMaker.h - scans whose page lies exactly where it was put.
 *
 *   drawn   page, print and ground are made of numbers alone
 *   pasted  the print of a real page on the ground of a real scan, both taken from samples/
 */
#ifndef QUARLO_STUDY_SCANMAKER_H
#define QUARLO_STUDY_SCANMAKER_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "quarlo/pages.hpp"

namespace study
{

struct Scan {
    quarlo::Bitmap bitmap;
    quarlo::Ground ground = quarlo::Ground::dark;
    std::array<quarlo::Point, 4> corners{}; /* top left, top right, bottom right, bottom left, from the top left */
    double angle_deg = 0.0;                 /* by which the page has to be turned clockwise */
    std::string kind;                       /* what makes it hard, in words */
};

/* Real pages and grounds, as grey pictures with the page's true corners. */
struct RealScan {
    std::string name;
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> grey; /* rows from the top */
    std::array<quarlo::Point, 4> corners{};
    quarlo::Ground ground = quarlo::Ground::dark;
    double angle_deg = 0.0;
    bool leaves = false; /* an edge of the page is not in the picture */
    quarlo::Bitmap bitmap;
};

/* Reads the scans that scans.tsv in the folder lists. Empty if it cannot be read. */
std::vector<RealScan> ReadRealScans(const std::string& folder);

/* The same seed makes the same scan everywhere. */
Scan MakeDrawn(std::uint64_t seed);
Scan MakePasted(std::uint64_t seed, const std::vector<RealScan>& real);

} // namespace study

#endif
