/*
 * Fill.h - what is shown where a result has no pixel of the scan to show.
 */
#ifndef QUARLO_PAGES_FILL_H
#define QUARLO_PAGES_FILL_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/*
 * The mean of the two leftmost and the two rightmost columns, each channel rounded half up; of a 1-bit picture black or
 * white, whichever there is more of, and white where they are equal.
 */
Fill EdgeColour(const Bitmap& picture);

/* The colour that a fill asks for, as far as a depth can show it: by its luma a grey, or black or white. */
Fill ColourOf(const Fill& fill, const Bitmap& scan, int depth);

/* The bytes of a pixel: blue, green, red at 24 bits, the grey at 8, eight pixels at 1. */
std::array<std::uint8_t, 3> PixelOf(const Fill& colour, int depth);

} // namespace quarlo

#endif
