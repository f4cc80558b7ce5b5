/*
 * Score.h - how far a frame deserves trust, judged by the picture itself. docs/score.md tells the formula.
 */
#ifndef QUARLO_PAGES_SCORE_H
#define QUARLO_PAGES_SCORE_H

#include "Detection.h"
#include "Grey.h"

namespace quarlo
{

/* What the picture says about one edge of a frame. */
struct EdgeEvidence {
    size_t set = 0;         /* of the detection's edges, the one that was fitted here */
    double lean_deg = 0.0;  /* between the line fitted to its points and the frame's edge */
    double span = 0.0;      /* share of the edge that its points cover */
    bool at_border = false; /* the page is cut off here by the border of the picture */
    double support = 0.0;   /* share of the places looked at where page and ground meet in one line */
    double contrast = 0.0;  /* median step from ground up to page; negative for a darker page */
    double inside = 0.0;    /* median level just inside */
    double outside = 0.0;   /* median level just outside */
    double slope_deg = 0.0; /* between the line through the steps and the frame's edge */
    double shift = 0.0;     /* by how many pixels the steps lie inside the edge; negative: outside */
};

struct Evidence {
    std::array<EdgeEvidence, 4> edges; /* top, right, bottom, left as the upright page is read */
    int real = 0;                      /* edges that are not cut off by the picture's border */
    double parallel_deg = 0.0;         /* largest angle between opposite fitted lines */
    double square_deg = 0.0;           /* largest deviation of neighbouring fitted lines from a right angle */
    double skew_error_deg = 0.0;       /* of the frame, as the steps have it */
    double overlap = 0.0;              /* of frame and page, as the steps have it */
    double score = 0.0;                /* 0 to 1 */
    double rank = 0.0;                 /* the score, told finer where it is at its best */
    const char* weakness = "";         /* what lowers the score most, in words */
};

/* Looks at so many places along each edge. */
constexpr int kGlance = 16;
constexpr int kThorough = 96;
Evidence Weigh(const GreyView& view, const Detection& detection, int places);

} // namespace quarlo

#endif
