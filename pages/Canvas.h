/*
 * Canvas.h - pixels put in their places, never blended.
 */
#ifndef QUARLO_PAGES_CANVAS_H
#define QUARLO_PAGES_CANVAS_H

#include "quarlo/pages.hpp"

namespace quarlo
{

/* A part of a picture, counted from its top left. It may reach beyond the picture, or lie outside it. */
struct Box {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

Box WholeOf(const Bitmap& picture);

/* The part that two boxes share; its width or height is 0 or less where there is none. */
Box Common(const Box& a, const Box& b);
bool IsEmpty(const Box& box);

/* What a box shows of a picture, with the colour where it reaches beyond. */
Problem CutOut(const Bitmap& picture, const Box& box, const Fill& colour, Bitmap* part);

/* Makes black of white and white of black; 1 bit. */
void Invert(Bitmap* picture);

} // namespace quarlo

#endif
