/*
 * Prepare.h - copies of a scan in which a page shows that no threshold parts from its ground.
 */
#ifndef QUARLO_PAGES_PREPARE_H
#define QUARLO_PAGES_PREPARE_H

#include <vector>

#include "Grey.h"
#include "Levels.h"

namespace quarlo
{

/* The scan in grey, at a size that detection's fixed counts of pixels suit. */
struct Copy {
    Bitmap grey;
    double scale = 1.0; /* of the copy against the scan: a whole number, or one over such */
};
Problem MakeCopy(const Bitmap& scan, Copy* copy);

/* A ground that brightens evenly in some direction: level = at + x * per_column + y * per_row. */
struct GroundPlane {
    double at = 0.0, per_column = 0.0, per_row = 0.0;
    double spread = 1.0; /* of the ground's pixels about it */

    double LevelAt(double x, double y) const { return at + per_column * x + per_row * y; }
};

/* Planes that large parts of the picture's margins lie on, the largest first. */
std::vector<GroundPlane> FitGround(const GreyView& view);

/* Which side of the ground counts as page. */
enum class Departs { brighter, darker, either };

/*
 * White where most of the neighbourhood departs from the ground by more than `least` levels, else black: specks and
 * thin streaks vanish, straight edges stay where they are.
 */
Problem MakeMask(const Bitmap& grey, const GroundPlane& plane, Departs departs, double least, Bitmap* mask);

/* How the picture departs from the plane, 0 to 255, as a histogram of thinned pixels. */
Histogram Departures(const Bitmap& grey, const GroundPlane& plane, Departs departs);

} // namespace quarlo

#endif
