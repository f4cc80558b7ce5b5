/*
 * TestScan.h - scans and pages for tests, seen from the top left as people see them.
 */
#ifndef QUARLO_TESTS_PAGES_TESTSCAN_H
#define QUARLO_TESTS_PAGES_TESTSCAN_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "quarlo/pages.hpp"

namespace test
{

constexpr double kRadians = 3.14159265358979323846 / 180.0;

inline quarlo::Bitmap MakeBitmap(int width, int height, int depth)
{
    quarlo::Bitmap bitmap;
    if (quarlo::Bitmap::Make(width, height, depth, &bitmap)) std::abort();
    return bitmap;
}

/* The pixel as a number: 0 or 1; the byte; red << 16 | green << 8 | blue. */
inline std::uint32_t PixelAt(const quarlo::Bitmap& bitmap, int x, int y)
{
    const std::uint8_t* row = bitmap.row(bitmap.height() - 1 - y);
    if (bitmap.depth() == 1) return (row[x / 8] >> (7 - x % 8)) & 1u;
    if (bitmap.depth() == 8) return row[x];
    const std::uint8_t* pixel = row + 3 * x;
    return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
}

inline void SetPixel(quarlo::Bitmap* bitmap, int x, int y, std::uint32_t value)
{
    std::uint8_t* row = bitmap->row(bitmap->height() - 1 - y);
    if (bitmap->depth() == 8) row[x] = static_cast<std::uint8_t>(value);
    if (bitmap->depth() == 24)
        for (int k = 0; k < 3; ++k) row[3 * x + k] = static_cast<std::uint8_t>(value >> (8 * k));
    if (bitmap->depth() == 1) {
        const int mask = 0x80 >> (x % 8);
        row[x / 8] = static_cast<std::uint8_t>(value != 0 ? row[x / 8] | mask : row[x / 8] & ~mask);
    }
}

/* A bitmap whose pixel at each place is what `value(x, y)` says. */
template <typename Value>
quarlo::Bitmap Drawn(int width, int height, int depth, Value value)
{
    quarlo::Bitmap bitmap = MakeBitmap(width, height, depth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) SetPixel(&bitmap, x, y, value(x, y));
    return bitmap;
}

/* Any pixel value of a depth, different from place to place. */
inline std::uint32_t Noise(int x, int y, int depth)
{
    std::uint32_t value = static_cast<std::uint32_t>(x) * 0x9E3779B1u + static_cast<std::uint32_t>(y) * 0x85EBCA77u;
    value ^= value >> 15;
    value *= 0xC2B2AE3Du;
    value ^= value >> 13;
    return value & ((1u << depth) - 1u);
}

inline quarlo::Bitmap NoiseBitmap(int width, int height, int depth)
{
    return Drawn(width, height, depth, [=](int x, int y) { return Noise(x, y, depth); });
}

inline LineRec LineThrough(quarlo::Point a, quarlo::Point b)
{
    LineRec line = null_line;
    const quarlo::Point step = {b.x - a.x, b.y - a.y};
    if (std::fabs(step.y) < 1e-9) {
        line.type = 1;
        line.a = a.y;
    } else if (std::fabs(step.x) < 1e-9) {
        line.type = 2;
        line.a = a.x;
        line.angle = 90.0;
    } else {
        line.type = 3;
        line.b = step.y / step.x;
        line.a = a.y - line.b * a.x;
        line.angle = std::atan(line.b) / kRadians;
    }
    line.center = {static_cast<sint32>(a.x), static_cast<sint32>(a.y)};
    return line;
}

/* A page of the given size about a centre, counted from the top left, that has to be turned clockwise. */
inline quarlo::Placement PagePlacement(const quarlo::Bitmap& scan, int x, int y, int width, int height,
                                       double clockwise_deg)
{
    quarlo::Placement placement;
    placement.scan_width = scan.width();
    placement.scan_height = scan.height();
    placement.center = {x, scan.height() - 1 - y};
    placement.width = width;
    placement.height = height;
    placement.angle = clockwise_deg > 0.0 ? (360.0 - clockwise_deg) * kRadians : -clockwise_deg * kRadians;

    /* Its corners in rows, in the order of the outline. */
    const double cosine = std::cos(placement.angle);
    const double sine = std::sin(placement.angle);
    std::array<quarlo::Point, 4> corner;
    const double across[] = {-width / 2.0, width / 2.0, width / 2.0, -width / 2.0};
    const double along[] = {-height / 2.0, -height / 2.0, height / 2.0, height / 2.0};
    for (size_t k = 0; k < 4; ++k)
        corner[k] = {placement.center.x + across[k] * cosine + along[k] * sine,
                     placement.center.y + along[k] * cosine - across[k] * sine};
    /* Begin with the left one: of an upright page that of the smallest row. */
    const auto IsFurtherLeft = [](quarlo::Point a, quarlo::Point b) {
        return std::fabs(a.x - b.x) < 1e-9 ? a.y > b.y : a.x < b.x;
    };
    std::rotate(corner.begin(), std::min_element(corner.begin(), corner.end(), IsFurtherLeft), corner.end());
    const quarlo::Point left = corner[0], top = corner[1], right = corner[2], bottom = corner[3];
    placement.lines = {LineThrough(left, top), LineThrough(left, bottom), LineThrough(right, top),
                       LineThrough(right, bottom)};
    return placement;
}

} // namespace test

#endif
