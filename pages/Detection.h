/*
 * Detection.h - libquarlo's detection stages in one run that tells what they found and where they gave up.
 */
#ifndef QUARLO_PAGES_DETECTION_H
#define QUARLO_PAGES_DETECTION_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/* The straight line through points with the least squares of their distances. */
struct FittedLine {
    Point mean;
    double angle_deg = 0.0; /* against the x axis, -90 to 90 */
    double rms = 0.0;       /* of the distances */
};

/* The points that an edge of the frame was fitted to. */
struct EdgePoints {
    int points = 0;
    int segments = 0;
    int dropped = 0;
    FittedLine line; /* in rows, as the bitmap counts them */
};

/* What one run of detection found. Everything is told in the bitmap's own rows. */
struct Detection {
    Code code = Code::ok;
    const char* stage = "";
    const char* reason = "";
    Placement placement;
    std::array<EdgePoints, 4> edges; /* left-top, left-bottom, right-top, right-bottom */
    Trace trace;                     /* filled on request */
};

/* Runs the stages on a bitmap with the given ground, dark or light, and threshold, 1 to 255. */
Detection Detect(const Bitmap& bitmap, Ground ground, int threshold, bool with_trace);

} // namespace quarlo

#endif
