/*
 * SideOutput.h - an output of the marking functions that shows what was written into it.
 */
#ifndef QUARLO_TESTS_SUPPORT_SIDEOUTPUT_H
#define QUARLO_TESTS_SUPPORT_SIDEOUTPUT_H

#include <cstdlib>

#include "StructTypes.h"

namespace test
{

/* Starts with numbers and arrays that no call makes. Arrays of a call are freed with it. */
class SideOutput
{
public:
    SideOutput()
    {
        rec.border_point = {-1, -2, &point};
        rec.border_line_seck = {-3, -4, -5, &segment};
    }
    ~SideOutput()
    {
        if (!KeepsPoints()) std::free(rec.border_point.points);
        if (!KeepsSegments()) std::free(rec.border_line_seck.borderLine);
    }
    SideOutput(const SideOutput&) = delete;
    SideOutput& operator=(const SideOutput&) = delete;

    /* Whether an array is still that of the start. */
    bool KeepsPoints() const { return rec.border_point.points == &point; }
    bool KeepsSegments() const { return rec.border_line_seck.borderLine == &segment; }

    bool Untouched() const
    {
        return rec.border_point.index == -1 && rec.border_point.len == -2 && KeepsPoints() &&
               rec.border_line_seck.index == -3 && rec.border_line_seck.len == -4 &&
               rec.border_line_seck.PointNum == -5 && KeepsSegments();
    }

    ImageBorderPointRec rec = null_image_border_point;

private:
    PointRec point = null_point;
    BorderLineRec segment = null_border_line;
};

} // namespace test

#endif
