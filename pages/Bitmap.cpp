/*
 * Bitmap.cpp - bitmaps that release themselves.
 */
#include "quarlo/pages.hpp"

#include "BitmapProcessing.h"
#include "BitmapSize.h"

namespace quarlo
{

namespace
{

Problem MemoryProblem(sint32 code)
{
    if (code == QL_SUCCESS) return {};
    if (code == QL_OUT_OF_MEMORY) return {Code::out_of_memory, "", "memory ran out"};
    return {Code::bad_argument, "", "no bitmap has such a size"};
}

} // namespace

Bitmap::~Bitmap() { Bitmap_Done(&rec_); }

Problem Bitmap::Make(int width, int height, int depth, Bitmap* bitmap)
{
    Problem problem = CheckBitmapSize(width, height, depth);
    if (problem) return problem;
    Bitmap made;
    problem = MemoryProblem(Bitmap_New(made.rec(), width, height, depth, 0));
    if (!problem) *bitmap = std::move(made);
    return problem;
}

Problem Bitmap::CopyTo(Bitmap* other) const
{
    Bitmap made;
    Problem problem = MemoryProblem(Bitmap_Copy(rec(), made.rec()));
    if (!problem) *other = std::move(made);
    return problem;
}

} // namespace quarlo
