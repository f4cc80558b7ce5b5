/*
 * Depth.h - bitmaps of another depth.
 */
#ifndef QUARLO_PAGES_DEPTH_H
#define QUARLO_PAGES_DEPTH_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/* Grey levels up to this become black where a picture is cut to black and white. */
constexpr std::uint8_t kBlackLimit = 128;

/* The picture in 1, 8 or 24 bits, by libquarlo's conversions; a copy if it has that depth. */
Problem ToDepth(const Bitmap& picture, int depth, Bitmap* converted);

} // namespace quarlo

#endif
