/*
 * Place.h - where a page lies in a scan.
 */
#ifndef QUARLO_STUDY_PLACE_H
#define QUARLO_STUDY_PLACE_H

#include <array>
#include <cmath>

#include "quarlo/pages.hpp"

namespace study
{

constexpr double kDegree = M_PI / 180.0;

struct Place {
    double width = 0.0, height = 0.0;
    quarlo::Point center;
    double angle_deg = 0.0;

    /* From the scan to the page, counted from its middle, to the right and down. */
    quarlo::Point Inside(double x, double y) const
    {
        const double c = std::cos(angle_deg * kDegree), s = std::sin(angle_deg * kDegree);
        const double dx = x - center.x, dy = y - center.y;
        return {dx * c - dy * s, dx * s + dy * c};
    }
    quarlo::Point Outside(double u, double v) const
    {
        const double c = std::cos(angle_deg * kDegree), s = std::sin(angle_deg * kDegree);
        return {center.x + u * c + v * s, center.y - u * s + v * c};
    }
    std::array<quarlo::Point, 4> Corners() const
    {
        const double w = width / 2, h = height / 2;
        return {Outside(-w, -h), Outside(w, -h), Outside(w, h), Outside(-w, h)};
    }
};

} // namespace study

#endif
