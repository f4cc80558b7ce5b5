/*
 * BitmapSize.h - what a bitmap can hold.
 */
#ifndef QUARLO_PAGES_BITMAPSIZE_H
#define QUARLO_PAGES_BITMAPSIZE_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/* Sizes below 1 pass: they are wrong, but not too large. */
inline Problem CheckBitmapSize(std::int64_t width, std::int64_t height, int depth)
{
    constexpr std::int64_t most = INT32_MAX;
    if (width < 1 || height < 1) return {};
    if (width <= most && height <= most && (width * depth + 7) / 8 <= most / height) return {};
    return {Code::too_large, "", "the result is larger than a bitmap can hold"};
}

} // namespace quarlo

#endif
