/*
 * Limits.cpp - what a caller does not expect of a page.
 */
#include <cmath>
#include <cstdio>

#include "quarlo/pages.hpp"

namespace quarlo
{

namespace
{

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

} // namespace

Problem Check(const Frame& frame, const Limits& limits)
{
    if (!frame.found) return {};
    const double angle = std::fabs(frame.angle_deg);
    if (limits.max_angle_deg > 0.0 && angle > limits.max_angle_deg)
        return {Code::angle_limit, "limits",
                "the page is turned by " + Number(angle) + " degrees, more than the " +
                    Number(limits.max_angle_deg) + " that are allowed"};

    const double page = static_cast<double>(frame.width) * frame.height;
    const double scan = static_cast<double>(frame.placement.scan_width) * frame.placement.scan_height;
    if (limits.min_area > 0.0 && page < limits.min_area * scan)
        return {Code::area_limit, "limits",
                "the page covers " + Number(page / scan * 100.0) + " percent of the scan, less than the " +
                    Number(limits.min_area * 100.0) + " that are required"};
    return {};
}

} // namespace quarlo
