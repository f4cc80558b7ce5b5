/*
 * Placement.h - what the search and the report need of placements beside the public functions.
 */
#ifndef QUARLO_PAGES_PLACEMENT_H
#define QUARLO_PAGES_PLACEMENT_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/* The angle by which the page is turned clockwise, -180 to 180 degrees. */
double DegreesOf(const Placement& placement);

/* Scales by a factor that need not be the quotient of the sizes, as where a copy has part of a pixel more. */
Placement ScaledBy(const Placement& placement, double factor_x, double factor_y, int scan_width, int scan_height);

} // namespace quarlo

#endif
