/*
 * FrameRecords.h - release of the records of page detection.
 *
 * Each frees what the record owns, resets it to its zero value and answers 0, also for a null pointer. Segments are
 * views into the points of a side, so releasing a set of segments never frees points.
 */
#ifndef QUARLO_SRC_FRAMERECORDS_H
#define QUARLO_SRC_FRAMERECORDS_H

#include <cstdlib>

#include "StructTypes.h"

QL_UNUSED static sint32 PointSet_Done(PointSetRec* p_point_set)
{
    if (p_point_set == nullptr) return QL_SUCCESS;
    std::free(p_point_set->points);
    *p_point_set = null_point_set;
    return QL_SUCCESS;
}

QL_UNUSED static sint32 BorderLineSet_Done(BorderLineSetRec* p_border_line_set)
{
    if (p_border_line_set == nullptr) return QL_SUCCESS;
    /* NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the analyzer takes two sides that are released in turn for one */
    std::free(p_border_line_set->borderLine);
    *p_border_line_set = null_border_line_set;
    return QL_SUCCESS;
}

QL_UNUSED static sint32 ImageBorderPoint_Done(ImageBorderPointRec* p_ImageBorderPoint)
{
    if (p_ImageBorderPoint == nullptr) return QL_SUCCESS;
    BorderLineSet_Done(&p_ImageBorderPoint->border_line_seck);
    PointSet_Done(&p_ImageBorderPoint->border_point);
    return QL_SUCCESS;
}

QL_UNUSED static sint32 ImageBorderLine_Done(ImageBorderLineRec* p_image_border_line)
{
    if (p_image_border_line == nullptr) return QL_SUCCESS;
    BorderLineSet_Done(&p_image_border_line->border_line_seck);
    *p_image_border_line = null_image_border_line;
    return QL_SUCCESS;
}

QL_UNUSED static sint32 RowSeck_Done(RowSeckRec* p_row_seck)
{
    if (p_row_seck == nullptr) return QL_SUCCESS;
    std::free(p_row_seck->seck);
    *p_row_seck = null_row_seck;
    return QL_SUCCESS;
}

#endif
