/*
 * Levels.h - grey levels that may part page and ground.
 */
#ifndef QUARLO_PAGES_LEVELS_H
#define QUARLO_PAGES_LEVELS_H

#include <array>
#include <vector>

#include "quarlo/pages.hpp"

namespace quarlo
{

using Histogram = std::array<int, 256>;

/* The level that parts a histogram into the two classes with the largest variance between them (Otsu 1979). */
int OtsuLevel(const Histogram& histogram);

/* The level below which the given share of a histogram lies. */
int Quantile(const Histogram& histogram, double share);

/* What the outer margins and the whole of a picture look like, thinned to a few ten thousand pixels. */
struct Levels {
    Histogram whole{};
    Histogram margins{};
    int ground = 0;      /* median of the margins */
    double spread = 0.0; /* of the margins, as a standard deviation, by the median absolute deviation */
    int library = 0;     /* libquarlo's own estimate */
};
Levels MeasureLevels(const Bitmap& bitmap);

/* Thresholds worth trying, the likeliest first, each once. */
std::vector<int> CandidateThresholds(const Levels& levels, Ground ground);

/* The same of departures from a known ground with the given spread. */
std::vector<int> CandidateDepartures(const Histogram& departures, double spread);

} // namespace quarlo

#endif
