/*
 * Score.h - how far a frame deserves trust, judged by the picture itself.
 */
#ifndef QUARLO_PAGES_SCORE_H
#define QUARLO_PAGES_SCORE_H

#include <cstdint>
#include <vector>

#include "Detection.h"

namespace quarlo
{

/* A grey picture to read levels from; rows as the bitmap has them. */
class GreyView
{
public:
    explicit GreyView(const Bitmap& bitmap) : bitmap_(&bitmap) {}

    int width() const { return bitmap_->width(); }
    int height() const { return bitmap_->height(); }
    /* Green alone for colour: the strongest part of grey, and what libquarlo's detection reads most of. */
    int At(int x, int y) const
    {
        const std::uint8_t* row = bitmap_->row(y);
        if (bitmap_->depth() == 8) return row[x];
        if (bitmap_->depth() == 24) return (row[3 * x] + 2 * row[3 * x + 1] + row[3 * x + 2] + 2) / 4;
        return (row[x / 8] >> (7 - x % 8)) & 1 ? 255 : 0;
    }
    bool Holds(double x, double y) const { return x >= 0.0 && y >= 0.0 && x <= width() - 1 && y <= height() - 1; }

private:
    const Bitmap* bitmap_;
};

/* What the picture says about one edge of a frame. */
struct EdgeEvidence {
    bool at_border = false;
    int set = 0;           /* of the detection's edges, the one that lies here */
    double support = 0.0;  /* share of places at which ground meets page at the edge */
    double contrast = 0.0; /* median step from ground to page, with its sign */
    double inside = 0.0;   /* median level just inside */
    double outside = 0.0;  /* median level just outside */
    double spread = 0.0;   /* of the places where the step really is, in pixels from the edge */
    double offset = 0.0;   /* their median */
    double span = 0.0;     /* share of the edge that its kept points cover */
    double lean = 0.0;     /* degrees between the kept points' line and the edge */
    double rms = 0.0;
    double seen = 0.0;  /* share of the edge that lies in the picture */
    double slope = 0.0; /* degrees between the edge and the line through the real steps */
    double shift = 0.0; /* mean distance of that line, outward */
};

struct Evidence {
    std::array<EdgeEvidence, 4> edges; /* top, right, bottom, left as the upright page is read */
    double parallel_deg = 0.0;
    double square_deg = 0.0;
    double area = 0.0;       /* share of the picture that the frame takes */
    double skew_error = 0.0; /* predicted, degrees */
    double overlap = 1.0;    /* predicted */
    int real = 0;            /* edges that lie in the picture */
    double score = 0.0;
    double rank = 0.0; /* the score, finer where that is at its best */
};

Evidence Weigh(const GreyView& view, const Detection& detection);

} // namespace quarlo

#endif
