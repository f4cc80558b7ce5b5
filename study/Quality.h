/*
 * Quality.h - how near a frame is to the truth.
 */
#ifndef QUARLO_STUDY_QUALITY_H
#define QUARLO_STUDY_QUALITY_H

#include <array>
#include <vector>

#include "quarlo/pages.hpp"

namespace study
{

struct Quality {
    double skew_error = 90.0; /* degrees */
    double overlap = 0.0;     /* intersection over union of frame and page, as far as they lie in the picture */

    bool HasGoodSkew() const { return skew_error <= 0.5; }
    bool IsGood() const { return HasGoodSkew() && overlap >= 0.95; }
    bool IsWrong() const { return skew_error > 1.0 || overlap < 0.9; }
};

using Corners = std::array<quarlo::Point, 4>;

Quality Judge(const Corners& true_corners, double true_angle, const Corners& corners, double angle, int width,
              int height);

} // namespace study

#endif
