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
    int Nearest(double x, double y) const { return At(static_cast<int>(x + 0.5), static_cast<int>(y + 0.5)); }
    bool Holds(double x, double y) const { return x >= 0.0 && y >= 0.0 && x <= width() - 1 && y <= height() - 1; }

private:
    const Bitmap* bitmap_;
};

} // namespace quarlo

#endif
