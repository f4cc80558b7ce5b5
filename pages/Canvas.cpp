/*
 * Canvas.cpp - pixels put in their places, never blended.
 */
#include "Canvas.h"

#include <algorithm>
#include <cstring>

#include "BitmapSize.h"
#include "Fill.h"

namespace quarlo
{

namespace
{

std::size_t RowBytes(const Bitmap& picture)
{
    return (static_cast<std::size_t>(picture.width()) * static_cast<std::size_t>(picture.depth()) + 7) / 8;
}

void Paint(Bitmap* picture, const Fill& colour)
{
    const std::array<std::uint8_t, 3> pixel = PixelOf(colour, picture->depth());
    const std::size_t period = picture->depth() == 24 ? 3 : 1;
    const std::size_t row_bytes = RowBytes(*picture);
    for (std::size_t k = 0; k < row_bytes; ++k) picture->row(0)[k] = pixel[k % period];
    for (int y = 1; y < picture->height(); ++y) std::memcpy(picture->row(y), picture->row(0), row_bytes);
}

/* A run of pixels on its way from one row to another. */
struct Run {
    const std::uint8_t* from;
    std::int64_t from_column;
    std::uint8_t* to;
    std::int64_t to_column;
    std::int64_t count; /* at least 1 */
};

void MoveBytes(const Run& run, std::int64_t pixel_bytes)
{
    std::memcpy(run.to + run.to_column * pixel_bytes, run.from + run.from_column * pixel_bytes,
                static_cast<std::size_t>(run.count * pixel_bytes));
}

/*
 * Byte by byte of the target, each put together from the two source bytes that hold its pixels. Only bytes that hold
 * pixels of the run are read.
 */
void MoveBits(const Run& run)
{
    const std::int64_t shift = run.from_column - run.to_column;
    const std::int64_t first_from = run.from_column / 8;
    const std::int64_t last_from = (run.from_column + run.count - 1) / 8;
    const std::int64_t first_to = run.to_column / 8;
    const std::int64_t end = run.to_column + run.count;
    const std::int64_t last_to = (end - 1) / 8;
    for (std::int64_t byte = first_to; byte <= last_to; ++byte) {
        /* The bit of the source that comes to the byte's first; before the row's beginning in the first byte only. */
        const std::int64_t bit = byte * 8 + shift;
        const std::int64_t source = (bit + 8) / 8 - 1;
        const unsigned high = source >= first_from ? run.from[source] : 0u;
        const unsigned low = source + 1 <= last_from ? run.from[source + 1] : 0u;
        const unsigned pixels = (high << 8 | low) >> (8 - (bit + 8) % 8);
        unsigned mask = 0xFF;
        if (byte == first_to) mask &= 0xFFu >> (run.to_column % 8);
        if (byte == last_to) mask &= 0xFF00u >> ((end - 1) % 8 + 1);
        run.to[byte] = static_cast<std::uint8_t>((run.to[byte] & ~mask) | (pixels & mask));
    }
}

} // namespace

Box WholeOf(const Bitmap& picture) { return {0, 0, picture.width(), picture.height()}; }

Box Common(const Box& a, const Box& b)
{
    const std::int64_t left = std::max(a.left, b.left);
    const std::int64_t top = std::max(a.top, b.top);
    return {left, top, std::min(a.left + a.width, b.left + b.width) - left,
            std::min(a.top + a.height, b.top + b.height) - top};
}

bool IsEmpty(const Box& box) { return box.width < 1 || box.height < 1; }

Problem CutOut(const Bitmap& picture, const Box& box, const Fill& colour, Bitmap* part)
{
    if (IsEmpty(box)) return {Code::bad_argument, "", "no pixels are left"};
    Problem problem = CheckBitmapSize(box.width, box.height, picture.depth());
    if (problem) return problem;
    Bitmap made;
    problem = Bitmap::Make(static_cast<int>(box.width), static_cast<int>(box.height), picture.depth(), &made);
    if (problem) return problem;

    const Box shown = Common(box, WholeOf(picture));
    if (shown.width != box.width || shown.height != box.height) Paint(&made, colour);
    if (!IsEmpty(shown))
        for (std::int64_t y = shown.top; y < shown.top + shown.height; ++y) {
            const Run run = {picture.row(static_cast<int>(picture.height() - 1 - y)), shown.left,
                             made.row(static_cast<int>(box.height - 1 - (y - box.top))), shown.left - box.left,
                             shown.width};
            if (picture.depth() == 1)
                MoveBits(run);
            else
                MoveBytes(run, picture.depth() / 8);
        }
    *part = std::move(made);
    return {};
}

void Invert(Bitmap* picture)
{
    const std::size_t row_bytes = RowBytes(*picture);
    for (int y = 0; y < picture->height(); ++y) {
        std::uint8_t* row = picture->row(y);
        for (std::size_t k = 0; k < row_bytes; ++k) row[k] = static_cast<std::uint8_t>(~row[k]);
    }
}

} // namespace quarlo
