/*
 * LiteralScans.cpp - readers, background estimate, row range and border marking, each written out.
 */
#include "support/LiteralScans.h"

#include <cstdlib>

#include "BitmapConversionTable.h"
#include "support/LiteralBitmap.h"

namespace literal
{

namespace
{

using GetDotColorFun = sint32 (*)(const BitmapRec*, sint32, sint32, uint8*);
using DecideDividingDotFun = bool (*)(sint32, sint32, uint8);

GetDotColorFun ChooseReader(sint32 biBitCount)
{
    if (biBitCount == 1) return GetBWBitmapDot;
    if (biBitCount == 8) return GetGrayBitmapDot;
    return GetColorBitmapDot;
}

bool DecideDividingDotBlackGround(sint32 Dividing_min, sint32, uint8 DotValue) { return DotValue > Dividing_min; }

bool DecideDividingDotWhiteGround(sint32 Dividing_min, sint32 Dividing_max, uint8 DotValue)
{
    if (DotValue <= Dividing_min) return true;
    return DotValue >= Dividing_max;
}

/* A byte times a weight in thousandths, scaled by 1024 and rounded half up. */
sint32 Weighted(sint32 value, sint32 thousandths) { return (value * thousandths * 1024 + 500) / 1000; }

/* ---- One side while it is scanned ---- */

struct Chain {
    Side side;
    Segment open;
};

void CloseSegment(Chain& chain)
{
    Side& side = chain.side;
    Segment& open = chain.open;
    if (open.index <= 3) {
        side.points.resize(side.points.size() - static_cast<size_t>(open.index));
    } else {
        open.Center.x = open.Center.x / open.index;
        open.Center.y = open.Center.y / open.index;
        if (static_cast<sint32>(side.segments.size()) >= side.segments_allocated) side.segments_allocated += 1000;
        Segment stored = open;
        stored.len = open.index;
        stored.type = 0;
        side.segments.push_back(stored);
    }
    open.index = 0;
    open.Center = {0, 0};
}

void AddHit(Chain& chain, sint32 x, sint32 y)
{
    Side& side = chain.side;
    if (chain.open.index > 0 && !side.points.empty()) {
        const PointRec last = side.points.back();
        const bool near = std::abs(y - last.y) <= 6 && std::abs(x - last.x) <= 6;
        if (chain.open.index > 5 || !near) CloseSegment(chain);
    }
    if (static_cast<sint32>(side.points.size()) >= side.points_allocated) side.points_allocated += 1000;
    side.points.push_back({x, y});
    chain.open.Center.x += x;
    chain.open.Center.y += y;
    chain.open.index += 1;
}

/* Each segment's points follow those of the one before. */
void LinkSegments(Side& side)
{
    sint32 first = 0;
    for (Segment& segment : side.segments) {
        segment.first = first;
        first += segment.index;
    }
}

bool Empty(const Side& side) { return side.points.empty() || side.segments.empty(); }

} // namespace

/* ---- Readers ---- */

sint32 GetBWBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    if (!DotValue) return 1;
    if (p_bitmap->biBitCount != 1) return 1;
    if (row < 0 || row >= p_bitmap->biHeight) return 1;
    if (col < 0 || col >= p_bitmap->biWidth) return 1;
    *DotValue = GetBit(*p_bitmap, row, col) ? 255 : 0;
    return 0;
}

sint32 GetGrayBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    if (!DotValue) return 1;
    if (p_bitmap->biBitCount != 8) return 1;
    if (row < 0 || row >= p_bitmap->biHeight) return 1;
    if (col < 0 || col >= p_bitmap->biWidth) return 1;
    *DotValue = p_bitmap->ScanLine[row][col];
    return 0;
}

sint32 GetColorBitmapDot(const BitmapRec* p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    if (!DotValue) return 1;
    if (p_bitmap->biBitCount != 24) return 1;
    if (row < 0 || row >= p_bitmap->biHeight) return 1;
    if (col < 0 || col >= p_bitmap->biWidth) return 1;
    /* The weight of red is given to the green byte; the red one is not read. */
    const uint8* p = p_bitmap->ScanLine[row] + 3 * col;
    sint32 g = (Weighted(p[1], 299) + Weighted(p[1], 587) + Weighted(p[0], 114)) / 1024;
    if (g < 0) g = 0;
    if (g > 255) g = 255;
    *DotValue = static_cast<uint8>(GrayChangeTable[g]);
    return 0;
}

/* ---- Background and rows ---- */

sint32 CalculateDividingPoint(const BitmapRec* p_bitmap, uint8* DividingValue)
{
    if (!DividingValue) return 1;
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    const sint32 ColPos[4] = {0, 1, p_bitmap->biWidth - 2, p_bitmap->biWidth - 1};
    const GetDotColorFun GetDotColor = ChooseReader(p_bitmap->biBitCount);
    sint32 sum = 0;
    for (sint32 row = 0; row < p_bitmap->biHeight; ++row) {
        for (sint32 k = 0; k < 4; ++k) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, ColPos[k], &GrayValue);
            if (read_code != 0) return read_code;
            sum += GrayValue;
        }
    }
    *DividingValue = static_cast<uint8>(static_cast<Real64>(sum) / (p_bitmap->biHeight * 4) + 0.5);
    return 0;
}

sint32 SearchBitmapRange(const BitmapRec* p_bitmap, RectangleRec* fore_image_range, uint8 Dividing_min)
{
    if (!p_bitmap || !fore_image_range) return 1;
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    const GetDotColorFun GetDotColor = ChooseReader(p_bitmap->biBitCount);

    sint32 fore_point_num = 0;
    sint32 row = 0;
    for (; row < p_bitmap->biHeight; ++row) {
        fore_point_num = 0;
        for (sint32 col = 0; col < p_bitmap->biWidth && fore_point_num < 151; ++col) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (GrayValue > Dividing_min) ++fore_point_num;
        }
        if (fore_point_num > 150) break;
    }
    if (fore_point_num <= 150) return 9;
    fore_image_range->top = row;

    for (row = p_bitmap->biHeight - 1; row > fore_image_range->top; --row) {
        fore_point_num = 0;
        for (sint32 col = 0; col < p_bitmap->biWidth && fore_point_num < 151; ++col) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (GrayValue > Dividing_min) ++fore_point_num;
        }
        if (fore_point_num > 150) break;
    }
    if (fore_point_num <= 150) return 9;
    fore_image_range->bottom = row;
    fore_image_range->left = 0;
    fore_image_range->right = p_bitmap->biWidth - 1;
    return 0;
}

/* ---- Borders ---- */

sint32 MarkLeftRightBorder(const BitmapRec* p_bitmap, const RectangleRec& fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, Side* left, Side* right,
                           ImageRangeRectangleRec* image_range, Extremes* extremes)
{
    Chain left_chain, right_chain;
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    const GetDotColorFun GetDotColor = ChooseReader(p_bitmap->biBitCount);
    const DecideDividingDotFun DecideDividingDot =
        GroundColor == 1 ? DecideDividingDotBlackGround : DecideDividingDotWhiteGround;

    for (sint32 row = fore_image_range.top; row <= fore_image_range.bottom; ++row) {
        for (sint32 col = fore_image_range.left; col <= fore_image_range.right; ++col) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (DecideDividingDot(Dividing_min, Dividing_max, GrayValue)) {
                AddHit(left_chain, col, row);
                break;
            }
        }
        for (sint32 col = fore_image_range.right; col >= fore_image_range.left; --col) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (DecideDividingDot(Dividing_min, Dividing_max, GrayValue)) {
                AddHit(right_chain, col, row);
                break;
            }
        }
    }
    CloseSegment(left_chain);
    CloseSegment(right_chain);

    Side& left_side = left_chain.side;
    Side& right_side = right_chain.side;
    if (Empty(left_side) || Empty(right_side)) return 9;
    LinkSegments(left_side);
    LinkSegments(right_side);

    image_range->left.x = p_bitmap->biWidth;
    extremes->LeftPointIndexT = 0;
    for (size_t k = 0; k < left_side.segments.size(); ++k) {
        const Segment& segment = left_side.segments[k];
        if (segment.len <= 5) continue;
        for (sint32 i = segment.first; i < segment.first + segment.index; ++i) {
            const PointRec point = left_side.points.at(static_cast<size_t>(i));
            if (point.x < image_range->left.x) {
                extremes->LeftPointIndexT = static_cast<sint32>(k);
                extremes->LeftPointIndexB = static_cast<sint32>(k);
                image_range->left = point;
            } else if (point.x == image_range->left.x) {
                extremes->LeftPointIndexB = static_cast<sint32>(k);
            }
        }
    }

    image_range->right.x = 0;
    extremes->RightPointIndexT = 0;
    for (size_t k = 0; k < right_side.segments.size(); ++k) {
        const Segment& segment = right_side.segments[k];
        if (segment.len <= 5) continue;
        for (sint32 i = segment.first; i < segment.first + segment.index; ++i) {
            const PointRec point = right_side.points.at(static_cast<size_t>(i));
            if (point.x >= image_range->right.x) {
                extremes->RightPointIndexT = static_cast<sint32>(k);
                extremes->RightPointIndexB = static_cast<sint32>(k);
                image_range->right = point;
            }
        }
    }

    if (image_range->left.x >= image_range->right.x) return 9;
    *left = left_side;
    *right = right_side;
    return 0;
}

sint32 MarkTopBottomBorder(const BitmapRec* p_bitmap, const RectangleRec& fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, Side* top, Side* bottom,
                           ImageRangeRectangleRec* image_range, Extremes* extremes)
{
    Chain top_chain, bottom_chain;
    const sint32 error_code = CheckBitmap(p_bitmap);
    if (error_code != 0) return error_code;
    const GetDotColorFun GetDotColor = ChooseReader(p_bitmap->biBitCount);
    const DecideDividingDotFun DecideDividingDot =
        GroundColor == 1 ? DecideDividingDotBlackGround : DecideDividingDotWhiteGround;

    for (sint32 col = image_range->right.x; col >= image_range->left.x; --col) {
        for (sint32 row = fore_image_range.top; row <= fore_image_range.bottom; ++row) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (DecideDividingDot(Dividing_min, Dividing_max, GrayValue)) {
                AddHit(top_chain, col, row);
                break;
            }
        }
        for (sint32 row = fore_image_range.bottom; row >= fore_image_range.top; --row) {
            uint8 GrayValue = 0;
            const sint32 read_code = GetDotColor(p_bitmap, row, col, &GrayValue);
            if (read_code != 0) return read_code;
            if (DecideDividingDot(Dividing_min, Dividing_max, GrayValue)) {
                AddHit(bottom_chain, col, row);
                break;
            }
        }
    }
    CloseSegment(top_chain);
    CloseSegment(bottom_chain);

    Side& top_side = top_chain.side;
    Side& bottom_side = bottom_chain.side;
    if (Empty(top_side) || Empty(bottom_side)) return 9;
    LinkSegments(top_side);
    LinkSegments(bottom_side);

    image_range->top.y = p_bitmap->biHeight;
    extremes->TopPointIndexR = 0;
    for (size_t k = 0; k < top_side.segments.size(); ++k) {
        const Segment& segment = top_side.segments[k];
        if (segment.len <= 5) continue;
        for (sint32 i = segment.first; i < segment.first + segment.index; ++i) {
            const PointRec point = top_side.points.at(static_cast<size_t>(i));
            if (point.y < image_range->top.y) {
                extremes->TopPointIndexR = static_cast<sint32>(k);
                extremes->TopPointIndexL = static_cast<sint32>(k);
                image_range->top = point;
            } else if (point.y == image_range->top.y) {
                extremes->TopPointIndexL = static_cast<sint32>(k);
            }
        }
    }

    image_range->bottom.y = 0;
    extremes->BottomPointIndexR = 0;
    for (size_t k = 0; k < bottom_side.segments.size(); ++k) {
        const Segment& segment = bottom_side.segments[k];
        if (segment.len <= 5) continue;
        for (sint32 i = segment.first; i < segment.first + segment.index; ++i) {
            const PointRec point = bottom_side.points.at(static_cast<size_t>(i));
            if (point.y > image_range->bottom.y) {
                extremes->BottomPointIndexR = static_cast<sint32>(k);
                extremes->BottomPointIndexL = static_cast<sint32>(k);
                image_range->bottom = point;
            } else if (point.y == image_range->bottom.y) {
                extremes->BottomPointIndexL = static_cast<sint32>(k);
            }
        }
    }

    if (image_range->top.y >= image_range->bottom.y) return 9;
    *top = top_side;
    *bottom = bottom_side;
    return 0;
}

} // namespace literal
