/*
 * Grey.h - a picture as levels of grey, whatever its depth.
 */
#ifndef QUARLO_PAGES_GREY_H
#define QUARLO_PAGES_GREY_H

#include <cmath>

#include "quarlo/pages.hpp"

namespace quarlo
{

class GreyView
{
public:
    explicit GreyView(const Bitmap& bitmap) : bitmap_(&bitmap) {}

    int width() const { return bitmap_->width(); }
    int height() const { return bitmap_->height(); }

    /* Rows as the bitmap has them. Colours count with a half green and a quarter each of the others. */
    int At(int x, int y) const
    {
        const std::uint8_t* row = bitmap_->row(y);
        if (bitmap_->depth() == 8) return row[x];
        if (bitmap_->depth() == 24) return (row[3 * x] + 2 * row[3 * x + 1] + row[3 * x + 2] + 2) / 4;
        return (row[x / 8] >> (7 - x % 8)) & 1 ? 255 : 0;
    }
    /* Of a place that the picture holds: a half added and cut off rounds what is not negative. */
    int Nearest(double x, double y) const
    {
        const double column = x + 0.5, row = y + 0.5;
        return At(static_cast<int>(column), static_cast<int>(row));
    }
    bool Holds(double x, double y) const { return x >= 0.0 && y >= 0.0 && x <= width() - 1 && y <= height() - 1; }

private:
    const Bitmap* bitmap_;
};

} // namespace quarlo

#endif
