/*
 * Fill.cpp - what is shown where a result has no pixel of the scan to show.
 */
#include "Fill.h"

#include <algorithm>

namespace quarlo
{

namespace
{

constexpr int kWhiteLimit = 128; /* lumas from here on are white in 1 bit */

/* ITU-R BT.601, rounded. */
std::uint8_t Luma(const Fill& colour)
{
    return static_cast<std::uint8_t>((299 * colour.red + 587 * colour.green + 114 * colour.blue + 500) / 1000);
}

Fill Grey(std::uint8_t level) { return {Fill::Kind::colour, level, level, level}; }

/* Blue, green, red of a pixel, each 0 to 255. */
std::array<std::uint8_t, 3> ChannelsAt(const Bitmap& picture, int row, int column)
{
    const std::uint8_t* pixels = picture.row(row);
    if (picture.depth() == 24) {
        const std::uint8_t* pixel = pixels + std::size_t{3} * static_cast<std::size_t>(column);
        return {pixel[0], pixel[1], pixel[2]};
    }
    if (picture.depth() == 8) return {pixels[column], pixels[column], pixels[column]};
    const std::uint8_t level = (pixels[column >> 3] & (0x80 >> (column & 7))) != 0 ? 255 : 0;
    return {level, level, level};
}

} // namespace

Fill EdgeColour(const Bitmap& picture)
{
    const int last = picture.width() - 1;
    std::array<std::uint64_t, 3> sums{};
    for (const int column : {0, std::min(1, last), std::max(last - 1, 0), last})
        for (int row = 0; row < picture.height(); ++row) {
            const std::array<std::uint8_t, 3> channels = ChannelsAt(picture, row, column);
            for (std::size_t k = 0; k < 3; ++k) sums[k] += channels[k];
        }
    const std::uint64_t count = std::uint64_t{4} * static_cast<std::uint64_t>(picture.height());
    const auto Mean = [&](std::size_t k) { return static_cast<std::uint8_t>((sums[k] + count / 2) / count); };
    if (picture.depth() == 1) return Grey(Mean(0) >= kWhiteLimit ? 255 : 0);
    return {Fill::Kind::colour, Mean(2), Mean(1), Mean(0)};
}

Fill ColourOf(const Fill& fill, const Bitmap& scan, int depth)
{
    const Fill colour = fill.kind == Fill::Kind::edge ? EdgeColour(scan) : fill;
    if (depth == 24) return colour;
    const std::uint8_t luma = Luma(colour);
    return Grey(depth == 8 ? luma : luma >= kWhiteLimit ? 255 : 0);
}

std::array<std::uint8_t, 3> PixelOf(const Fill& colour, int depth)
{
    if (depth == 24) return {colour.blue, colour.green, colour.red};
    return {Luma(colour), 0, 0};
}

} // namespace quarlo
