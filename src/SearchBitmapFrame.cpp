/*
 * SearchBitmapFrame.cpp - finding the page.
 *
 * The method, in the order of the file:
 *
 *   Pixels    one question, how bright is the dot at (row, col), asked through a reader per depth; and a second one,
 *             does that grey belong to the page, through a decider per background.
 *               CalculateDividingPoint
 *   Range     the first and last row with more than 150 pixels above the threshold.
 *               SearchBitmapRange
 *   Borders   rays from all four sides stop at the first page dot. Neighbouring hits are chained into segments of up
 *             to six points; runs of three and less are noise and vanish. The extreme points, among the segments of
 *             six, are the corners of a tilted page.
 *               MarkLeftRightBorder, MarkTopBottomBorder
 *   Lines     fits, intersections and distances.
 *   Cleaning  an edge's segments that break its run, or stand off its line, are removed.
 *   Edges     a tilted page's side scans are cut at the extreme points and give two edges each; an upright page's are
 *             one edge each.
 *               DispartBorderPoints
 *   Frame     four fitted lines, squared up into a rectangle: angle, centre, size and row spans.
 *               CalBorderPoints
 *
 * The scans of the first three steps have kernels, see kernels/Scan.h; the readers and deciders are their definition,
 * and serve wherever a read might fail.
 *
 * An edge of a page is named by the corners it joins: LT joins the left and the top corner, and so on.
 */
#include "SearchBitmapFrame.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "BitmapConversionTable.h"
#include "BitmapProcessing.h"
#include "FrameDetection.h"
#include "FrameRecords.h"
#include "Numbers.h"
#include "Pixels.h"
#include "kernels/Kernels.h"

/* Degrees and radians are converted with this value, not with full-precision pi: results depend on it. */
static constexpr Real64 kPi = 3.1415926;

static constexpr sint32 kRowPoints = 150;     /* a row of the page has more pixels above the threshold than this */
static constexpr sint32 kGrowStep = 1000;     /* elements by which arrays grow */
static constexpr sint32 kSegmentPoints = 6;   /* a full segment; only full ones give extreme points */
static constexpr sint32 kMaxGap = 6;          /* pixels between neighbours in a segment, on each axis */
static constexpr sint32 kNoisePoints = 3;     /* a run of up to this many points is dropped */
static constexpr sint32 kTrim = 5;            /* segments left out at each end of a stretch */
static constexpr sint32 kStraightBand = 35;   /* pixels off a side's line that still count as on it */
static constexpr Real64 kStraightShare = 0.6; /* of the segments on the line, above which a side is straight */
static constexpr Real64 kUprightAngle = 80.0; /* degrees above which the side of a cut page counts as upright */
static constexpr Real64 kAnyAngle = -1.0;     /* below every angle of a side */
static constexpr sint32 kUprightBand = 6;     /* pixels between neighbours' centres on an upright edge */
static constexpr sint32 kToLineMixDis = 5;    /* pixels to one side of the line from which a segment is dropped */
static constexpr sint32 kLineBand = 7;        /* pixels off the final line within which a segment is kept */
static constexpr Real64 kParallel = 3.5;      /* degrees up to which opposite edges count as parallel */
static constexpr Real64 kPerpendicular = 2.0; /* degrees off 90 below which adjacent edges are perpendicular */
static constexpr sint32 kSpareRows = 16;      /* the span array is this much longer than its last row's index */

/* ======== Pixels ======== */

typedef uint8 (*GetDotColorFun)(QL_Bitmap p_bitmap, sint32 row, sint32 col, uint8* DotValue);
typedef sint32 (*DecideDividingDotFun)(sint32 Dividing_min, sint32 Dividing_max, uint8 DotValue);

QL_UNUSED static const RGBColorRec RedColor = {0, 0, 255};
QL_UNUSED static const RGBColorRec GreenColor = {0, 255, 0};
QL_UNUSED static const RGBColorRec BlueColor = {255, 0, 0};

/* Whether (row, col) is a dot of a valid bitmap of this depth; the code if not. */
static sint32 CheckDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, sint32 biBitCount)
{
    const sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;
    if (p_bitmap->biBitCount != biBitCount) return QL_BAD_ARGUMENT;
    if (row < 0 || row >= p_bitmap->biHeight) return QL_BAD_ARGUMENT;
    if (col < 0 || col >= p_bitmap->biWidth) return QL_BAD_ARGUMENT;
    return QL_SUCCESS;
}

/* The checks of a reader; callers rely on getting 1 and not a crash for a dot outside the image. */
static uint8 CheckRead(QL_Bitmap p_bitmap, sint32 row, sint32 col, sint32 biBitCount, const uint8* DotValue)
{
    const sint32 error_code = CheckDot(p_bitmap, row, col, biBitCount);
    if (error_code != QL_SUCCESS) return static_cast<uint8>(error_code);
    return DotValue == nullptr ? QL_BAD_ARGUMENT : QL_SUCCESS;
}

/* The greys of dots that are known to lie in the row. */

static uint8 BWDot(const uint8* line, sint32 col) { return Pixel1::IsSet(line, col) ? 255 : 0; }
static uint8 GrayDot(const uint8* line, sint32 col) { return line[col]; }

/*
 * The red weight is applied to the green byte and the red byte is never read: thresholds and border positions depend
 * on it. The conversion between depths weighs colour by another rule; do not share the two. The weights sum to at most
 * 255 << 10.
 */
static uint8 ColorDot(const uint8* line, sint32 col)
{
    const uint8* p = Pixel24::At(line, col);
    const sint32 sum = RedToGrayTable[p[1]] + GreenToGrayTable[p[1]] + BlueToGrayTable[p[0]];
    return static_cast<uint8>(GrayChangeTable[sum >> 10]);
}

static uint8 GetBWBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const uint8 error_code = CheckRead(p_bitmap, row, col, 1, DotValue);
    if (error_code != QL_SUCCESS) return error_code;
    *DotValue = BWDot(p_bitmap->ScanLine[row], col);
    return QL_SUCCESS;
}

static uint8 GetGrayBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const uint8 error_code = CheckRead(p_bitmap, row, col, 8, DotValue);
    if (error_code != QL_SUCCESS) return error_code;
    *DotValue = GrayDot(p_bitmap->ScanLine[row], col);
    return QL_SUCCESS;
}

static uint8 GetColorBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, uint8* DotValue)
{
    const uint8 error_code = CheckRead(p_bitmap, row, col, 24, DotValue);
    if (error_code != QL_SUCCESS) return error_code;
    *DotValue = ColorDot(p_bitmap->ScanLine[row], col);
    return QL_SUCCESS;
}

static GetDotColorFun ReaderOf(const BitmapRec& bitmap)
{
    if (bitmap.biBitCount == 1) return GetBWBitmapDot;
    return bitmap.biBitCount == 8 ? GetGrayBitmapDot : GetColorBitmapDot;
}

/* The writers have no caller in the library; they complete the set for code that marks dots in an image. */

QL_UNUSED static sint32 SetColorBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, RGBColorRec color)
{
    if (CheckDot(p_bitmap, row, col, 24) != QL_SUCCESS) return QL_BAD_ARGUMENT;
    uint8* p = Pixel24::At(p_bitmap->ScanLine[row], col);
    p[0] = color.blue;
    p[1] = color.green;
    p[2] = color.red;
    return QL_SUCCESS;
}

QL_UNUSED static sint32 SetGrayBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, RGBColorRec color)
{
    if (CheckDot(p_bitmap, row, col, 8) != QL_SUCCESS) return QL_BAD_ARGUMENT;
    p_bitmap->ScanLine[row][col] = color.red;
    return QL_SUCCESS;
}

/*
 * Indexes byte and mask by the full column, not by col >> 3 and col & 7, so it means something for columns 0 to 7
 * only; kept that way. Behind a short row these bytes are those of the next row, or the spare bytes of the block. Beyond
 * column 7 there is no mask, so that is refused.
 */
QL_UNUSED static sint32 SetBWBitmapDot(QL_Bitmap p_bitmap, sint32 row, sint32 col, RGBColorRec color)
{
    if (CheckDot(p_bitmap, row, col, 1) != QL_SUCCESS) return QL_BAD_ARGUMENT;
    if (col > 7) return QL_BAD_ARGUMENT;
    uint8* p = p_bitmap->ScanLine[row] + col;
    *p = static_cast<uint8>(color.red != 0 ? *p | BitValue[col] : *p & BitsValue[col]);
    return QL_SUCCESS;
}

static sint32 DecideDividingDotBlackGround(sint32 Dividing_min, sint32, uint8 DotValue)
{
    return DotValue > Dividing_min ? 1 : 0;
}

/* Two-sided: a page dot may be darker or brighter than the ground. */
static sint32 DecideDividingDotWhiteGround(sint32 Dividing_min, sint32 Dividing_max, uint8 DotValue)
{
    return DotValue <= Dividing_min || DotValue >= Dividing_max ? 1 : 0;
}

static DecideDividingDotFun DeciderOf(sint32 GroundColor)
{
    if (GroundColor == 1) return DecideDividingDotBlackGround;
    return GroundColor == 255 ? DecideDividingDotWhiteGround : nullptr;
}

/* The sum over the two outermost dots at either end of every row. */
template <uint8 (*Dot)(const uint8* line, sint32 col)>
static int64_t SumEnds(const BitmapRec& bitmap)
{
    const sint32 last = bitmap.biWidth - 1;
    int64_t sum = 0;
    for (sint32 row = 0; row < bitmap.biHeight; ++row) {
        const uint8* line = bitmap.ScanLine[row];
        sum += Dot(line, 0) + Dot(line, 1) + Dot(line, last - 1) + Dot(line, last);
    }
    return sum;
}

static int64_t SumEndsOf(const BitmapRec& bitmap)
{
    if (bitmap.biBitCount == 1) return SumEnds<BWDot>(bitmap);
    return bitmap.biBitCount == 8 ? SumEnds<GrayDot>(bitmap) : SumEnds<ColorDot>(bitmap);
}

sint32 CalculateDividingPoint(BitmapRec* p_bitmap, uint8* DividingValue)
{
    if (p_bitmap == nullptr || DividingValue == nullptr) return QL_BAD_ARGUMENT;
    const sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;
    if (p_bitmap->biWidth < 2) return QL_BAD_ARGUMENT; /* it has no second column */

    const Real64 samples = static_cast<Real64>(int64_t{p_bitmap->biHeight} * 4);
    *DividingValue = static_cast<uint8>(RoundReal(static_cast<Real64>(SumEndsOf(*p_bitmap)) / samples));
    return QL_SUCCESS;
}

/* ---- Kernels in place of readers and deciders ---- */

/* The kernels for a bitmap's depth, null if there are none at this level. */
static const DotScansRec* DotScansOf(const BitmapRec& bitmap)
{
    const KernelsRec* kernels = KernelsOf(ChosenLevel());
    if (kernels == nullptr) return nullptr;
    const ScanKernelsRec& scan = kernels->scan;
    const DotScansRec* scans = bitmap.biBitCount == 1   ? &scan.Scan1
                               : bitmap.biBitCount == 8 ? &scan.Scan8
                                                        : &scan.Scan24;
    return scans->HasMoreDots != nullptr ? scans : nullptr;
}

static void AddLevel(LevelSetRec* set, sint32 level)
{
    uint8* row = &set->rows[level >> 7][level & 15];
    *row = static_cast<uint8>(*row | 1 << ((level >> 4) & 7));
}

/* Asks a decider about every level of a bitmap's dots. */
static DotSetRec DotSetOf(const BitmapRec& bitmap, DecideDividingDotFun IsPageDot, sint32 Dividing_min,
                          sint32 Dividing_max)
{
    const bool color = bitmap.biBitCount == 24;
    DotSetRec dots = {};
    for (sint32 level = 0; level < 256; ++level) {
        const uint8 byte = static_cast<uint8>(level);
        const uint8 gray[3] = {byte, byte, byte};
        const uint8 dot = color ? static_cast<uint8>(GrayChangeTable[level]) : byte;
        if (IsPageDot(Dividing_min, Dividing_max, dot)) AddLevel(&dots.levels, level);
        if (color && IsPageDot(Dividing_min, Dividing_max, ColorDot(gray, 0))) AddLevel(&dots.grays, level);
    }
    return dots;
}

/* ======== Range ======== */

/* Whether more than kRowPoints pixels of the row are above Dividing_min; reads no further than it needs to. */
static sint32 DecideRow(QL_Bitmap p_bitmap, GetDotColorFun GetDot, sint32 row, uint8 Dividing_min, bool* qualifies)
{
    sint32 fore_point_num = 0;
    for (sint32 col = 0; col < p_bitmap->biWidth && fore_point_num <= kRowPoints; ++col) {
        uint8 GrayValue = 0;
        const uint8 error_code = GetDot(p_bitmap, row, col, &GrayValue);
        if (error_code != QL_SUCCESS) return error_code;
        if (GrayValue > Dividing_min) ++fore_point_num;
    }
    *qualifies = fore_point_num > kRowPoints;
    return QL_SUCCESS;
}

/* The search of FindRow with kernels; it cannot fail, since every row that it asks for is in the image. */
static sint32 FindRowFast(const BitmapRec& bitmap, const DotScansRec& scans, sint32 from, sint32 end, sint32 step,
                          uint8 Dividing_min)
{
    const DotSetRec dots = DotSetOf(bitmap, DecideDividingDotBlackGround, Dividing_min, 0);
    sint32 row = from;
    while (row != end && !scans.HasMoreDots(bitmap.ScanLine[row], bitmap.biWidth, kRowPoints, dots)) row += step;
    return row;
}

/* The first row from `from` on, in steps of `step` and before `end`, that qualifies; `end` itself if none does. */
static sint32 FindRow(QL_Bitmap p_bitmap, sint32 from, sint32 end, sint32 step, uint8 Dividing_min, sint32* found)
{
    const DotScansRec* scans = DotScansOf(*p_bitmap);
    if (scans != nullptr) {
        *found = FindRowFast(*p_bitmap, *scans, from, end, step, Dividing_min);
        return QL_SUCCESS;
    }
    const GetDotColorFun GetDot = ReaderOf(*p_bitmap);
    for (*found = from; *found != end; *found += step) {
        bool qualifies = false;
        const sint32 error_code = DecideRow(p_bitmap, GetDot, *found, Dividing_min, &qualifies);
        if (error_code != QL_SUCCESS) return error_code;
        if (qualifies) break;
    }
    return QL_SUCCESS;
}

sint32 SearchBitmapRange(QL_Bitmap p_bitmap, RectangleRec* fore_image_range, uint8 Dividing_min)
{
    if (p_bitmap == nullptr || fore_image_range == nullptr) return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;

    const sint32 last_row = p_bitmap->biHeight - 1;
    sint32 top = 0;
    error_code = FindRow(p_bitmap, 0, p_bitmap->biHeight, 1, Dividing_min, &top);
    if (error_code != QL_SUCCESS) return error_code;
    if (top > last_row) return QL_NO_PAGE;
    fore_image_range->top = top;

    /* A page of a single row is accepted only on the last row of the image. */
    sint32 bottom = last_row;
    error_code = FindRow(p_bitmap, last_row, top, -1, Dividing_min, &bottom);
    if (error_code != QL_SUCCESS) return error_code;
    if (bottom == top && top != last_row) return QL_NO_PAGE;
    fore_image_range->bottom = bottom;
    fore_image_range->left = 0;
    fore_image_range->right = p_bitmap->biWidth - 1;
    return QL_SUCCESS;
}

/* ======== Borders ======== */

sint32 LeftPointIndexT = 0;
sint32 LeftPointIndexB = 0;
sint32 RightPointIndexT = 0;
sint32 RightPointIndexB = 0;
sint32 TopPointIndexR = 0;
sint32 TopPointIndexL = 0;
sint32 BottomPointIndexR = 0;
sint32 BottomPointIndexL = 0;

/* Relaxed atomic accesses, so that pipelines in several threads may publish without a data race. */
static sint32 LoadGlobal(const sint32* global) { return __atomic_load_n(global, __ATOMIC_RELAXED); }
static void StoreGlobal(sint32* global, sint32 value) { __atomic_store_n(global, value, __ATOMIC_RELAXED); }

SegmentIndexRec LoadSegmentIndex()
{
    return {LoadGlobal(&LeftPointIndexT),   LoadGlobal(&LeftPointIndexB),  LoadGlobal(&RightPointIndexT),
            LoadGlobal(&RightPointIndexB),  LoadGlobal(&TopPointIndexR),   LoadGlobal(&TopPointIndexL),
            LoadGlobal(&BottomPointIndexR), LoadGlobal(&BottomPointIndexL)};
}

void StoreSegmentIndex(const SegmentIndexRec& segment_index)
{
    StoreGlobal(&LeftPointIndexT, segment_index.LeftT);
    StoreGlobal(&LeftPointIndexB, segment_index.LeftB);
    StoreGlobal(&RightPointIndexT, segment_index.RightT);
    StoreGlobal(&RightPointIndexB, segment_index.RightB);
    StoreGlobal(&TopPointIndexR, segment_index.TopR);
    StoreGlobal(&TopPointIndexL, segment_index.TopL);
    StoreGlobal(&BottomPointIndexR, segment_index.BottomR);
    StoreGlobal(&BottomPointIndexL, segment_index.BottomL);
}

/* Appends a point and counts it into the open segment. */
static sint32 AddPointToBorderLine(PointSetRec* borderPoints, BorderLineRec* BorderLine, sint32 x, sint32 y)
{
    if (borderPoints == nullptr || BorderLine == nullptr || x < 0 || y < 0) return QL_BAD_ARGUMENT;
    if (!MakeRoom(&borderPoints->points, borderPoints->index, &borderPoints->len, kGrowStep))
        return QL_OUT_OF_MEMORY;
    borderPoints->points[borderPoints->index] = {x, y};
    borderPoints->index += 1;
    BorderLine->Center.x = WrapAdd(BorderLine->Center.x, x);
    BorderLine->Center.y = WrapAdd(BorderLine->Center.y, y);
    BorderLine->index += 1;
    return QL_SUCCESS;
}

/* Appends a copy of a segment, not yet marked as kept. */
static sint32 AddBorderLineToBorderLines(BorderLineSetRec* BorderLines, const BorderLineRec* BorderLine)
{
    if (BorderLines == nullptr || BorderLine == nullptr) return QL_BAD_ARGUMENT;
    if (!MakeRoom(&BorderLines->borderLine, BorderLines->index, &BorderLines->len, kGrowStep))
        return QL_OUT_OF_MEMORY;
    BorderLineRec* added = &BorderLines->borderLine[BorderLines->index];
    *added = *BorderLine;
    added->len = BorderLine->index;
    added->type = 0;
    BorderLines->index += 1;
    return QL_SUCCESS;
}

/* One side while it is traced: what is kept so far, and the segment that is still open. */
struct TraceRec {
    ImageBorderPointRec side;
    BorderLineRec open;
};

/* Divides in 32 bits where that will do: on 32-bit machines it is much faster. */
static sint32 Quotient(int64_t sum, sint32 num)
{
    const bool fits = sum >= 0 && sum <= INT32_MAX;
    return fits ? static_cast<sint32>(sum) / num : static_cast<sint32>(sum / num);
}

/*
 * The mean of a segment that ends the point list. Summed anew in 64 bits: the running sums of an image more than
 * 350 million pixels wide wrap.
 */
static PointRec MeanPoint(const PointSetRec& set, sint32 num)
{
    int64_t SumX = 0;
    int64_t SumY = 0;
    for (const PointRec* p = set.points + set.index - num; p != set.points + set.index; ++p) {
        SumX += p->x;
        SumY += p->y;
    }
    return {Quotient(SumX, num), Quotient(SumY, num)};
}

/* Stores the open segment with its mean point, or drops it and its points when it is too short. */
static sint32 CloseSegment(TraceRec* trace)
{
    BorderLineRec* open = &trace->open;
    PointSetRec* kept = &trace->side.border_point;
    sint32 error_code = QL_SUCCESS;
    if (open->index <= kNoisePoints) {
        kept->index -= open->index;
    } else {
        open->Center = MeanPoint(*kept, open->index);
        error_code = AddBorderLineToBorderLines(&trace->side.border_line_seck, open);
    }
    open->index = 0;
    open->Center = null_point;
    return error_code;
}

static bool IsNear(sint32 a, sint32 b) { return std::abs(a - b) <= kMaxGap; } /* coordinates are never negative */

/* Adds a hit to the open segment, or closes that and opens a new one. */
static sint32 ChainHit(TraceRec* trace, PointRec hit)
{
    const PointSetRec& kept = trace->side.border_point;
    if (trace->open.index > 0 && kept.index > 0) {
        const PointRec last = kept.points[kept.index - 1];
        const bool continues = trace->open.index < kSegmentPoints && IsNear(hit.y, last.y) && IsNear(hit.x, last.x);
        if (!continues) {
            const sint32 error_code = CloseSegment(trace);
            if (error_code != QL_SUCCESS) return error_code;
        }
    }
    return AddPointToBorderLine(&trace->side.border_point, &trace->open, hit.x, hit.y);
}

/* Sets each segment's view to its first point; the segments cover the point list without a gap. */
static void LinkSegments(ImageBorderPointRec* side)
{
    PointRec* points = side->border_point.points;
    for (sint32 k = 0; k < side->border_line_seck.index; ++k) {
        side->border_line_seck.borderLine[k].points = points;
        points += side->border_line_seck.borderLine[k].index;
    }
}

/*
 * How two opposite sides are scanned: a number of parallel lines, and on each a ray from either end toward the other.
 * The first side's rays run along `ray`, the second side's against it.
 */
struct ScanPlanRec {
    PointRec first_start; /* where the first line's rays start */
    PointRec second_start;
    PointRec ray;     /* step along a ray of the first side */
    PointRec advance; /* step from line to line */
    int64_t ray_len;
    int64_t line_num;
};

/* Which two opposite sides a marking call scans. */
enum class Sides { LeftRight, TopBottom };

/* The number of whole coordinates from `low` to `high`, 0 if there are none. */
static int64_t CountBetween(sint32 low, sint32 high) { return low <= high ? int64_t{high} - low + 1 : 0; }

static ScanPlanRec PlanScan(Sides sides, const RectangleRec& area)
{
    const int64_t width = CountBetween(area.left, area.right);
    const int64_t height = CountBetween(area.top, area.bottom);
    if (sides == Sides::LeftRight) /* rows from the top down */
        return {{area.left, area.top}, {area.right, area.top}, {1, 0}, {0, 1}, width, height};
    /* columns from right to left */
    return {{area.right, area.top}, {area.right, area.bottom}, {0, 1}, {-1, 0}, height, width};
}

/* What a scan asks of a dot. */
struct DotProbeRec {
    QL_Bitmap p_bitmap;
    GetDotColorFun GetDot;
    DecideDividingDotFun IsPageDot;
    sint32 Dividing_min;
    sint32 Dividing_max;
};

/* Follows one ray to the first page dot and chains it; a ray without one leaves no trace. */
static sint32 ScanRay(const DotProbeRec& probe, PointRec at, PointRec step, int64_t ray_len, TraceRec* trace)
{
    for (int64_t k = 0; k < ray_len; ++k) {
        uint8 GrayValue = 0;
        const uint8 error_code = probe.GetDot(probe.p_bitmap, at.y, at.x, &GrayValue);
        if (error_code != QL_SUCCESS) return error_code;
        if (probe.IsPageDot(probe.Dividing_min, probe.Dividing_max, GrayValue)) return ChainHit(trace, at);
        at = {at.x + step.x, at.y + step.y};
    }
    return QL_SUCCESS;
}

static sint32 TraceRays(const DotProbeRec& probe, const ScanPlanRec& plan, TraceRec* first, TraceRec* second)
{
    const PointRec back = {-plan.ray.x, -plan.ray.y};
    PointRec first_at = plan.first_start;
    PointRec second_at = plan.second_start;
    const int64_t line_num = plan.ray_len > 0 ? plan.line_num : 0;
    for (int64_t line = 0; line < line_num; ++line) {
        sint32 error_code = ScanRay(probe, first_at, plan.ray, plan.ray_len, first);
        if (error_code == QL_SUCCESS) error_code = ScanRay(probe, second_at, back, plan.ray_len, second);
        if (error_code != QL_SUCCESS) return error_code;
        first_at = {first_at.x + plan.advance.x, first_at.y + plan.advance.y};
        second_at = {second_at.x + plan.advance.x, second_at.y + plan.advance.y};
    }
    return QL_SUCCESS;
}

/* ---- The same with kernels: lines are scanned up to kScanLines at a time, then their hits are chained ---- */

/* A row whose first ray meets nothing holds nothing for the second; columns likewise. */
static sint32 TraceRows(const DotProbeRec& probe, const DotScansRec& scans, const RectangleRec& area,
                        const DotSetRec& dots, TraceRec* first, TraceRec* second)
{
    HitsRec hits;
    sint32 bottom = 0;
    for (sint32 top = area.top; top <= area.bottom; top = bottom + 1) {
        bottom = area.bottom - top < kScanLines ? area.bottom : top + kScanLines - 1;
        scans.ScanRows(probe.p_bitmap->ScanLine, {area.left, area.right, top, bottom}, dots, &hits);
        for (sint32 row = top; row <= bottom; ++row) {
            const sint32 left = hits.first[row - top];
            if (left == kNoHit) continue;
            sint32 error_code = ChainHit(first, {left, row});
            if (error_code == QL_SUCCESS) error_code = ChainHit(second, {hits.second[row - top], row});
            if (error_code != QL_SUCCESS) return error_code;
        }
    }
    return QL_SUCCESS;
}

/* A last block of few columns is widened to the right: whole ones are faster. The hits there are chained already. */
static sint32 TraceColumns(const DotProbeRec& probe, const DotScansRec& scans, const RectangleRec& area,
                           const DotSetRec& dots, TraceRec* first, TraceRec* second)
{
    HitsRec hits;
    sint32 left = 0;
    for (sint32 right = area.right; right >= area.left; right = left - 1) {
        left = right - area.left < kScanLines ? area.left : right - kScanLines + 1;
        const sint32 block_right = area.right - left < kScanLines ? area.right : left + kScanLines - 1;
        scans.ScanColumns(probe.p_bitmap->ScanLine, {left, block_right, area.top, area.bottom}, dots, &hits);
        for (sint32 col = right; col >= left; --col) {
            const sint32 top = hits.first[col - left];
            if (top == kNoHit) continue;
            sint32 error_code = ChainHit(first, {col, top});
            if (error_code == QL_SUCCESS) error_code = ChainHit(second, {col, hits.second[col - left]});
            if (error_code != QL_SUCCESS) return error_code;
        }
    }
    return QL_SUCCESS;
}

/* Whether an area holds dots, and all of them are the image's. */
static bool IsInside(const BitmapRec& bitmap, const RectangleRec& area)
{
    return area.left >= 0 && area.left <= area.right && area.right < bitmap.biWidth && area.top >= 0 &&
           area.top <= area.bottom && area.bottom < bitmap.biHeight;
}

/*
 * Traces two opposite sides. Kernels read ahead of the chaining, so they take only areas where no read can fail; one
 * that leaves the image goes ray by ray, up to the dot that fails.
 */
static sint32 TraceSides(Sides sides, const DotProbeRec& probe, const RectangleRec& area, TraceRec* first,
                         TraceRec* second)
{
    const DotScansRec* scans = DotScansOf(*probe.p_bitmap);
    sint32 error_code = QL_SUCCESS;
    if (scans != nullptr && IsInside(*probe.p_bitmap, area)) {
        const DotSetRec dots = DotSetOf(*probe.p_bitmap, probe.IsPageDot, probe.Dividing_min, probe.Dividing_max);
        error_code =
            (sides == Sides::LeftRight ? TraceRows : TraceColumns)(probe, *scans, area, dots, first, second);
    } else {
        error_code = TraceRays(probe, PlanScan(sides, area), first, second);
    }
    if (error_code == QL_SUCCESS) error_code = CloseSegment(first);
    return error_code != QL_SUCCESS ? error_code : CloseSegment(second);
}

/*
 * What makes a point of a side the extreme, and what is remembered of it. The right side is no mirror of the left: a
 * tie moves the extreme itself to the later point, and both segment numbers with it. Callers rely on that.
 */
struct ExtremeRuleRec {
    PointRec ImageRangeRectangleRec::*extreme;
    sint32 PointRec::*axis;
    bool largest;       /* the largest coordinate is the extreme, else the smallest */
    bool tie_moves_all; /* a tie counts as better; else it only moves the last segment number */
    sint32 SegmentIndexRec::*first_segment;
    sint32 SegmentIndexRec::*last_segment;
};

static constexpr ExtremeRuleRec kLeftRule = {&ImageRangeRectangleRec::left, &PointRec::x,           false, false,
                                             &SegmentIndexRec::LeftT,       &SegmentIndexRec::LeftB};
static constexpr ExtremeRuleRec kRightRule = {
    &ImageRangeRectangleRec::right, &PointRec::x, true, true, &SegmentIndexRec::RightT, &SegmentIndexRec::RightB};
static constexpr ExtremeRuleRec kTopRule = {&ImageRangeRectangleRec::top, &PointRec::y,          false, false,
                                            &SegmentIndexRec::TopR,       &SegmentIndexRec::TopL};
static constexpr ExtremeRuleRec kBottomRule = {
    &ImageRangeRectangleRec::bottom, &PointRec::y, true, false, &SegmentIndexRec::BottomR,
    &SegmentIndexRec::BottomL};

/*
 * Finds a side's extreme point among its full segments; `size` is the image's along the rule's axis. Only the first
 * segment number is reset before the search: without a candidate the last one keeps its earlier value.
 */
static void FindExtreme(const BorderLineSetRec& segments, const ExtremeRuleRec& rule, sint32 size,
                        ImageRangeRectangleRec* image_range, SegmentIndexRec* segment_index)
{
    PointRec* extreme = &(image_range->*rule.extreme);
    extreme->*rule.axis = rule.largest ? 0 : size;
    segment_index->*rule.first_segment = 0;
    for (sint32 k = 0; k < segments.index; ++k) {
        const BorderLineRec& segment = segments.borderLine[k];
        if (segment.len < kSegmentPoints) continue;
        for (sint32 i = 0; i < segment.index; ++i) {
            const sint32 value = segment.points[i].*rule.axis;
            const sint32 best = extreme->*rule.axis;
            const bool tie = value == best;
            if ((rule.largest ? value > best : value < best) || (tie && rule.tie_moves_all)) {
                *extreme = segment.points[i];
                segment_index->*rule.first_segment = k;
                segment_index->*rule.last_segment = k;
            } else if (tie) {
                segment_index->*rule.last_segment = k;
            }
        }
    }
}

static bool HasSegments(const ImageBorderPointRec& side)
{
    return side.border_point.index > 0 && side.border_line_seck.index > 0;
}

/* Traces two opposite sides and finds their extreme points. On failure the sides may hold memory to release. */
static sint32 MarkSides(Sides sides, const DotProbeRec& probe, const RectangleRec& area, TraceRec* first,
                        TraceRec* second, ImageRangeRectangleRec* image_range, SegmentIndexRec* segment_index)
{
    const bool rows = sides == Sides::LeftRight;
    const ExtremeRuleRec& first_rule = rows ? kLeftRule : kTopRule;
    const ExtremeRuleRec& second_rule = rows ? kRightRule : kBottomRule;
    const sint32 size = rows ? probe.p_bitmap->biWidth : probe.p_bitmap->biHeight;
    const sint32 error_code = TraceSides(sides, probe, area, first, second);
    if (error_code != QL_SUCCESS) return error_code;
    if (!HasSegments(first->side) || !HasSegments(second->side)) return QL_NO_PAGE;

    LinkSegments(&first->side);
    LinkSegments(&second->side);
    FindExtreme(first->side.border_line_seck, first_rule, size, image_range, segment_index);
    FindExtreme(second->side.border_line_seck, second_rule, size, image_range, segment_index);
    const bool ordered =
        (image_range->*first_rule.extreme).*first_rule.axis < (image_range->*second_rule.extreme).*second_rule.axis;
    return ordered ? QL_SUCCESS : QL_NO_PAGE;
}

static sint32 MarkBorder(Sides sides, QL_Bitmap p_bitmap, const RectangleRec* fore_image_range,
                         const GroundRec& ground, ImageBorderPointRec* first_side, ImageBorderPointRec* second_side,
                         ImageRangeRectangleRec* image_range, SegmentIndexRec* segment_index)
{
    TraceRec first = {null_image_border_point, null_border_line};
    TraceRec second = {null_image_border_point, null_border_line};
    if (p_bitmap == nullptr || fore_image_range == nullptr || first_side == nullptr || second_side == nullptr ||
        image_range == nullptr)
        return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;
    const DotProbeRec probe = {p_bitmap, ReaderOf(*p_bitmap), DeciderOf(ground.GroundColor), ground.Dividing_min,
                               ground.Dividing_max};
    if (probe.IsPageDot == nullptr) return QL_BAD_ARGUMENT;

    RectangleRec area = *fore_image_range;
    if (sides == Sides::TopBottom) { /* only columns that the page reaches */
        area.left = image_range->left.x;
        area.right = image_range->right.x;
    }
    error_code = MarkSides(sides, probe, area, &first, &second, image_range, segment_index);
    if (error_code != QL_SUCCESS) {
        ImageBorderPoint_Done(&first.side);
        ImageBorderPoint_Done(&second.side);
        return error_code;
    }
    *first_side = first.side;
    *second_side = second.side;
    return QL_SUCCESS;
}

sint32 MarkLeftRight(QL_Bitmap p_bitmap, const RectangleRec* fore_image_range, const GroundRec& ground,
                     ImageBorderPointRec* left, ImageBorderPointRec* right, ImageRangeRectangleRec* image_range,
                     SegmentIndexRec* segment_index)
{
    return MarkBorder(Sides::LeftRight, p_bitmap, fore_image_range, ground, left, right, image_range,
                      segment_index);
}

sint32 MarkTopBottom(QL_Bitmap p_bitmap, const RectangleRec* fore_image_range, const GroundRec& ground,
                     ImageBorderPointRec* top, ImageBorderPointRec* bottom, ImageRangeRectangleRec* image_range,
                     SegmentIndexRec* segment_index)
{
    return MarkBorder(Sides::TopBottom, p_bitmap, fore_image_range, ground, top, bottom, image_range,
                      segment_index);
}

sint32 MarkLeftRightBorder(QL_Bitmap p_bitmap, RectangleRec* fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, ImageBorderPointRec* p_image_border_point_left,
                           ImageBorderPointRec* p_image_border_point_right, ImageRangeRectangleRec* image_range)
{
    SegmentIndexRec segment_index = LoadSegmentIndex();
    const sint32 error_code =
        MarkLeftRight(p_bitmap, fore_image_range, {GroundColor, Dividing_min, Dividing_max},
                      p_image_border_point_left, p_image_border_point_right, image_range, &segment_index);
    StoreSegmentIndex(segment_index);
    return error_code;
}

sint32 MarkTopBottomBorder(BitmapRec* p_bitmap, RectangleRec* fore_image_range, sint32 GroundColor,
                           uint8 Dividing_min, uint8 Dividing_max, ImageBorderPointRec* p_image_border_point_top,
                           ImageBorderPointRec* p_image_border_point_bottom, ImageRangeRectangleRec* image_range)
{
    SegmentIndexRec segment_index = LoadSegmentIndex();
    const sint32 error_code =
        MarkTopBottom(p_bitmap, fore_image_range, {GroundColor, Dividing_min, Dividing_max},
                      p_image_border_point_top, p_image_border_point_bottom, image_range, &segment_index);
    StoreSegmentIndex(segment_index);
    return error_code;
}

/* ======== Lines ======== */

enum LineType { kHorizontal = 1, kVertical = 2, kGeneral = 3, kUndetermined = 4 };

static bool IsFitted(const LineRec* line)
{
    return line != nullptr && line->type >= kHorizontal && line->type <= kGeneral;
}

static bool IsSamePoint(PointRec a, PointRec b) { return a.x == b.x && a.y == b.y; }

/* floor((a + b) / 2) */
static sint32 Middle(sint32 a, sint32 b) { return static_cast<sint32>((int64_t{a} + b) >> 1); }

static Real64 Difference(sint32 a, sint32 b) { return static_cast<Real64>(int64_t{a} - b); }

/* Sums of coordinates, modulo 2^32. */
struct PointSumRec {
    uint32 SumX;
    uint32 SumY;
    uint32 num;
};

static void AddPoint(PointSumRec* sum, PointRec point)
{
    sum->SumX += static_cast<uint32>(point.x);
    sum->SumY += static_cast<uint32>(point.y);
    sum->num += 1;
}

static PointRec Centroid(const PointSumRec& sum)
{
    return {static_cast<sint32>(sum.SumX / sum.num), static_cast<sint32>(sum.SumY / sum.num)};
}

/* What a line is fitted to: the means of two halves of its points, and the way from the first to the second. */
struct HalvesRec {
    PointRec point1;
    PointRec point2;
    Real64 dx;
    Real64 dy;
};

/* 10 when a half is empty or both have the same mean. */
static sint32 MeanHalves(const PointSumRec& half1, const PointSumRec& half2, HalvesRec* halves)
{
    if (half1.num == 0 || half2.num == 0) return QL_NO_LINE;
    const PointRec point1 = Centroid(half1);
    const PointRec point2 = Centroid(half2);
    if (IsSamePoint(point1, point2)) return QL_NO_LINE;
    *halves = {point1, point2, Difference(point2.x, point1.x), Difference(point2.y, point1.y)};
    return QL_SUCCESS;
}

/* Sets the line's centre, and all of it if the halves lie along an axis; false if they do not. */
static bool SetAxisParallel(LineRec* line, const HalvesRec& halves)
{
    line->center = {Middle(halves.point1.x, halves.point2.x), Middle(halves.point1.y, halves.point2.y)};
    if (halves.dx == 0.0) {
        line->type = kVertical;
        line->a = halves.point1.x;
        line->angle = 90.0;
        return true;
    }
    if (halves.dy == 0.0) {
        line->type = kHorizontal;
        line->a = halves.point1.y;
        line->angle = 0.0;
        return true;
    }
    return false;
}

/*
 * Fits a line through the means of the first and the second half of the segments' centres. The angle is the
 * magnitude of the inclination, 0 to 90; half a degree from an axis snaps to it. The intercept runs through the first
 * mean, not through the centre.
 */
static sint32 LineOfPointsCenter(LineRec* line, BorderLineSetRec* BorderLines)
{
    if (line == nullptr || BorderLines == nullptr || BorderLines->index <= 1) return QL_BAD_ARGUMENT;
    const sint32 MidIndex = BorderLines->index >> 1;
    PointSumRec half1 = {0, 0, 0};
    PointSumRec half2 = {0, 0, 0};
    for (sint32 i = 0; i < MidIndex; ++i) AddPoint(&half1, BorderLines->borderLine[i].Center);
    for (sint32 i = MidIndex; i < BorderLines->index; ++i) AddPoint(&half2, BorderLines->borderLine[i].Center);
    HalvesRec halves;
    const sint32 error_code = MeanHalves(half1, half2, &halves);
    if (error_code != QL_SUCCESS) return error_code;
    if (SetAxisParallel(line, halves)) return QL_SUCCESS;

    line->b = halves.dy / halves.dx;
    const Real64 t = std::atan(std::fabs(line->b)) / kPi * 180.0;
    if (t <= 0.5) {
        line->type = kHorizontal;
        line->a = line->center.y;
        line->angle = 0.0;
    } else if (t >= 89.5) {
        line->type = kVertical;
        line->a = line->center.x;
        line->angle = 90.0;
    } else {
        line->type = kGeneral;
        line->a = halves.point1.y - line->b * halves.point1.x;
        line->angle = t;
    }
    return QL_SUCCESS;
}

/* A place in a set of segments: point j of segment i. */
struct PointCursorRec {
    sint32 i;
    sint32 j;
};

/* Sums up to num points from the cursor on, and leaves the cursor at the first point not taken. */
static PointSumRec SumPoints(const BorderLineSetRec& set, sint32 num, PointCursorRec* cursor)
{
    PointSumRec sum = {0, 0, 0};
    for (; cursor->i < set.index; ++cursor->i, cursor->j = 0) {
        const BorderLineRec& segment = set.borderLine[cursor->i];
        for (; cursor->j < segment.index; ++cursor->j) {
            if (sum.num == static_cast<uint32>(num)) return sum;
            AddPoint(&sum, segment.points[cursor->j]);
        }
    }
    return sum;
}

/*
 * Fits a line through the means of the first and the second half of the points, PointNum / 2 each; an odd last point
 * is never used. The angle is signed, without snapping, and the intercept runs through the centre.
 */
static sint32 LineOfPoints(LineRec* line, BorderLineSetRec* BorderLines)
{
    if (line == nullptr || BorderLines == nullptr || BorderLines->index < 1 || BorderLines->PointNum <= 1)
        return QL_BAD_ARGUMENT;
    line->type = kUndetermined;
    const sint32 num = BorderLines->PointNum >> 1;
    PointCursorRec cursor = {0, 0};
    const PointSumRec half1 = SumPoints(*BorderLines, num, &cursor);
    const PointSumRec half2 = SumPoints(*BorderLines, num, &cursor);
    HalvesRec halves;
    const sint32 error_code = MeanHalves(half1, half2, &halves);
    if (error_code != QL_SUCCESS) return error_code;
    if (SetAxisParallel(line, halves)) return QL_SUCCESS;

    line->type = kGeneral;
    line->b = halves.dy / halves.dx;
    line->angle = std::atan(line->b) * 180.0 / kPi;
    line->a = line->center.y - line->b * line->center.x;
    return QL_SUCCESS;
}

/* Puts the line through its centre again; the angle, not the type, says which kind of line it is. */
static sint32 CalLineIntercept(LineRec* line)
{
    if (!IsFitted(line)) return QL_BAD_ARGUMENT;
    if (line->angle == 0.0)
        line->a = line->center.y;
    else if (line->angle == 90.0)
        line->a = line->center.x;
    else
        line->a = line->center.y - line->center.x * line->b;
    return QL_SUCCESS;
}

/* Where a general line crosses a vertical or a horizontal one. */
static PointRec CrossVertical(const LineRec& general, Real64 x)
{
    return {RoundReal(x), RoundReal(general.a + general.b * x)};
}

static PointRec CrossHorizontal(const LineRec& general, Real64 y)
{
    return {RoundReal((y - general.a) / general.b), RoundReal(y)};
}

/* The intersection, rounded; 1 for parallel lines. */
static sint32 PointOfTwoLine(LineRec* line1, LineRec* line2, PointRec* point)
{
    if (!IsFitted(line1) || !IsFitted(line2) || point == nullptr) return QL_BAD_ARGUMENT;
    const sint32 type1 = line1->type;
    const sint32 type2 = line2->type;
    if (type1 == kGeneral && type2 == kGeneral) {
        if (line1->b == line2->b) return QL_BAD_ARGUMENT;
        const Real64 x = (line1->a - line2->a) / (line2->b - line1->b);
        *point = CrossVertical(*line2, x);
        return QL_SUCCESS;
    }
    if (type1 == type2) return QL_BAD_ARGUMENT;
    if (type1 == kGeneral)
        *point = type2 == kVertical ? CrossVertical(*line1, line2->a) : CrossHorizontal(*line1, line2->a);
    else if (type2 == kGeneral)
        *point = type1 == kVertical ? CrossVertical(*line2, line1->a) : CrossHorizontal(*line2, line1->a);
    else
        *point = type1 == kVertical ? PointRec{RoundReal(line1->a), RoundReal(line2->a)}
                                    : PointRec{RoundReal(line2->a), RoundReal(line1->a)};
    return QL_SUCCESS;
}

/* Signed distance, truncated; the sign tells the side: positive is left of a vertical line. */
static sint32 PointToLine(PointRec point, LineRec* line, sint32* d)
{
    if (!IsFitted(line) || d == nullptr) return QL_BAD_ARGUMENT;
    Real64 t = 0.0;
    if (line->type == kVertical)
        t = line->a - point.x;
    else if (line->type == kHorizontal)
        t = point.y - line->a;
    else
        t = (point.y - line->a - line->b * point.x) / std::sqrt(line->b * line->b + 1.0);
    *d = RealToInteger(t);
    return QL_SUCCESS;
}

/* |a - b|, or the largest sint32 where that does not fit. */
static sint32 Distance(sint32 a, sint32 b)
{
    const int64_t difference = int64_t{a} - b;
    const int64_t distance = difference < 0 ? -difference : difference;
    return static_cast<sint32>(distance > INT32_MAX ? INT32_MAX : distance);
}

/*
 * Where point3 stands relative to the line through point1 and point2: *y is the line's row at its column, *d its
 * distance: plain from an axis-parallel line, squared from an oblique one. Callers' limits are set for that.
 */
static sint32 PointOfIntersection(PointRec point1, PointRec point2, PointRec point3, sint32* y, sint32* d)
{
    if (y == nullptr || d == nullptr || IsSamePoint(point1, point2)) return QL_BAD_ARGUMENT;
    if (point1.x == point2.x) {
        *y = point3.y;
        *d = Distance(point3.x, point1.x);
        return QL_SUCCESS;
    }
    if (point1.y == point2.y) {
        *y = point1.y;
        *d = Distance(point3.y, point1.y);
        return QL_SUCCESS;
    }
    /* A product of two integers formed in doubles is the exact integer rounded once, and cannot overflow. */
    const Real64 dx = Difference(point1.x, point2.x);
    const Real64 dy = Difference(point1.y, point2.y);
    const Real64 t = Difference(point3.x, point1.x) * dy / dx + point1.y;
    const Real64 dd = SumOfSquares(int64_t{point1.x} - point2.x, int64_t{point1.y} - point2.y);
    *y = RealToInteger(t);
    *d = RoundReal(dx * dx * ((t - point3.y) * (t - point3.y)) / dd);
    return QL_SUCCESS;
}

/* Lines have no direction, so 89 and -89 degrees are 2 apart; only near the horizontal do signs count as they are. */
static bool IsNearHorizontal(Real64 angle) { return angle > 0.0 ? angle < 45.0 : angle > -45.0; }

static bool IsSameSign(Real64 a, Real64 b) { return (a >= 0.0 && b >= 0.0) || (a < 0.0 && b < 0.0); }

static Real64 AngleOfTwoLine(Real64 a, Real64 b)
{
    if (IsSameSign(a, b) || IsNearHorizontal(a) || IsNearHorizontal(b)) return std::fabs(a - b);
    if (a - b > 0.0) return 180.0 - (a - b);
    return (a - b) + 180.0;
}

/*
 * The mean direction. Of two near-vertical lines that lean to different sides it is half the sum of their distances
 * from the vertical away from it, not half the difference: 88 and -89 give 88.5. Results depend on it.
 */
static Real64 MidOfTwoAngle(Real64 a, Real64 b)
{
    if (IsSameSign(a, b) || IsNearHorizontal(a) || IsNearHorizontal(b)) return (a + b) / 2.0;
    if (a > 0.0) {
        const Real64 i = 90.0 - a;
        const Real64 j = b + 90.0;
        const Real64 t = (i + j) / 2.0;
        return i > j ? 90.0 - t : t - 90.0;
    }
    const Real64 i = a + 90.0;
    const Real64 j = 90.0 - b;
    const Real64 t = (i + j) / 2.0;
    return j > i ? 90.0 - t : t - 90.0;
}

/* ======== Cleaning ======== */

/* The edges as the cleaning numbers them. */
enum EdgeSide { kLeftTop = 1, kLeftBottom = 2, kRightBottom = 3, kRightTop = 4 };

static bool IsFlag(sint32 Image_Incline_Flag) { return Image_Incline_Flag == 0 || Image_Incline_Flag == 1; }

static sint32 CountPoints(const BorderLineSetRec& set)
{
    sint32 num = 0;
    for (sint32 k = 0; k < set.index; ++k) num = WrapAdd(num, set.borderLine[k].index);
    return num;
}

static bool IsWithin(sint32 a, sint32 b, sint32 band)
{
    const int64_t difference = int64_t{a} - b;
    return difference >= -band && difference <= band;
}

/*
 * Decides whether the centre PointX continues the run through its neighbours Point1 and Point2. Upright pages: it
 * must lie within 6 pixels of both, across the edge. Tilted pages: it must not lie on the inner side of their chord,
 * however close; on the outer side it is kept however far. A chord along an axis leaves the mark as it was.
 */
static sint32 DecideLineAccidented(PointRec Point1, PointRec Point2, PointRec PointX, sint32 Image_Incline_Flag,
                                   sint32 side, sint32* type)
{
    if (type == nullptr || !IsFlag(Image_Incline_Flag) || side < kLeftTop || side > kRightTop)
        return QL_BAD_ARGUMENT;
    if (IsSamePoint(Point1, Point2)) return QL_BAD_ARGUMENT;
    if (Image_Incline_Flag == 0) {
        const bool is_row =
            side == kLeftTop || side == kRightBottom; /* of an upright page: the top and bottom edge */
        const sint32 PointRec::*axis = is_row ? &PointRec::y : &PointRec::x;
        *type = IsWithin(Point1.*axis, PointX.*axis, kUprightBand) &&
                IsWithin(Point2.*axis, PointX.*axis, kUprightBand);
        return QL_SUCCESS;
    }

    sint32 y = 0;
    sint32 d = 0;
    const sint32 error_code = PointOfIntersection(Point1, Point2, PointX, &y, &d);
    if (error_code != QL_SUCCESS) return error_code;
    if (Point1.x == Point2.x || Point1.y == Point2.y) return QL_SUCCESS;
    const bool rises = (Point1.x > Point2.x) == (Point1.y > Point2.y);
    const bool is_left = side == kLeftTop || side == kLeftBottom;
    const bool keeps_larger_rows = rises == is_left;
    *type = keeps_larger_rows ? PointX.y >= y : PointX.y <= y;
    return QL_SUCCESS;
}

/* Keeps, in order and in place, the segments that `keep` accepts. */
template <class Keep>
static void KeepSegments(BorderLineSetRec* set, Keep keep)
{
    sint32 kept = 0;
    for (sint32 k = 0; k < set->index; ++k)
        if (keep(set->borderLine[k])) set->borderLine[kept++] = set->borderLine[k];
    set->index = kept;
}

/*
 * Keeps and marks the segments whose centres lie low to high pixels off a fitted line. Returns the sum of the
 * distances of all segments, kept or not.
 */
static int64_t KeepInBand(BorderLineSetRec* set, LineRec* line, sint32 low, sint32 high)
{
    int64_t sum = 0;
    KeepSegments(set, [&](BorderLineRec& segment) {
        sint32 d = 0;
        PointToLine(segment.Center, line, &d); /* cannot fail: the line is fitted */
        sum += std::llabs(d);
        if (d < low || d > high) return false;
        segment.type = 1;
        return true;
    });
    return sum;
}

/* The nearest segment from `from` on, in steps of `step` and before `end`, that is marked as kept; `end` if none is. */
static sint32 FindMarked(const BorderLineSetRec& set, sint32 from, sint32 end, sint32 step)
{
    sint32 k = from;
    while (k != end && set.borderLine[k].type != 1) k += step;
    return k;
}

/*
 * Judges the first or the last segment against two marked ones, i the nearer. Without two it is kept.
 */
static sint32 DecideEnd(BorderLineSetRec* set, sint32 end_segment, sint32 i, sint32 j, bool found,
                        sint32 Image_Incline_Flag, sint32 side)
{
    BorderLineRec* segment = set->borderLine;
    if (!found) {
        segment[end_segment].type = 1;
        return QL_SUCCESS;
    }
    return DecideLineAccidented(segment[i].Center, segment[j].Center, segment[end_segment].Center,
                                Image_Incline_Flag, side, &segment[end_segment].type);
}

/*
 * Marks every segment of the set, four at least: the inner ones by their immediate neighbours, then the first and the
 * last by the two nearest marked ones. The first segment never serves as a reference for the last, while the last,
 * not yet decided, cannot serve for the first: the two ends are not alike, and stay so.
 */
static sint32 MarkSegments(BorderLineSetRec* set, sint32 Image_Incline_Flag, sint32 side)
{
    BorderLineRec* segment = set->borderLine;
    const sint32 last = set->index - 1;
    segment[0].type = 0;
    segment[last].type = 0;
    for (sint32 i = 1; i < last; ++i) {
        const sint32 error_code =
            DecideLineAccidented(segment[i - 1].Center, segment[i + 1].Center, segment[i].Center,
                                 Image_Incline_Flag, side, &segment[i].type);
        if (error_code != QL_SUCCESS) return error_code;
    }

    sint32 i = FindMarked(*set, 1, last, 1);
    sint32 j = i < last ? FindMarked(*set, i + 1, last, 1) : last;
    const sint32 error_code = DecideEnd(set, 0, i, j, j < last, Image_Incline_Flag, side);
    if (error_code != QL_SUCCESS) return error_code;

    i = FindMarked(*set, last - 1, 0, -1);
    j = i > 0 ? FindMarked(*set, i - 1, 0, -1) : 0;
    return DecideEnd(set, last, i, j, j > 0, Image_Incline_Flag, side);
}

/*
 * Repeats passes over the set until one drops nothing and the segments lie close to the line, or fewer than four are
 * left; *line is then the last line fitted.
 */
static sint32 FitCleanLine(BorderLineSetRec* set, sint32 Image_Incline_Flag, sint32 side, LineRec* line)
{
    const bool drops_positive = side == kLeftTop || side == kRightTop;
    const sint32 low = drops_positive ? INT32_MIN : 1 - kToLineMixDis;
    const sint32 high = drops_positive ? kToLineMixDis - 1 : INT32_MAX;
    sint32 LastT = -1;
    sint32 LastJ = -1;
    while (set->index >= 4) {
        sint32 error_code = MarkSegments(set, Image_Incline_Flag, side);
        if (error_code != QL_SUCCESS) return error_code;
        KeepSegments(set, [](const BorderLineRec& segment) { return segment.type != 0; });
        set->PointNum = CountPoints(*set); /* the distance filters below leave it as it is here */

        error_code = LineOfPointsCenter(line, set); /* needs two segments: no pass goes on without */
        if (error_code != QL_SUCCESS) return error_code;
        const sint32 t = set->index;
        const int64_t LastLineMixDis = KeepInBand(set, line, low, high) / t;
        const sint32 j = set->index;
        if (j != t) continue;

        if (LastLineMixDis < kLineBand) {
            error_code = LineOfPoints(line, set);
            if (error_code != QL_SUCCESS) return error_code;
            KeepInBand(set, line, -kLineBand, kLineBand);
            if (set->index == j) return QL_SUCCESS;
            continue;
        }
        if (LastJ == j && LastT == t) return QL_NO_EDGE; /* does not converge */
        LastJ = j;
        LastT = t;
    }
    return QL_SUCCESS;
}

/* Three segments and fewer are too few to judge: all are kept, if a line can be fitted to them. */
static sint32 KeepFewSegments(BorderLineSetRec* set)
{
    LineRec line = null_line;
    set->PointNum = CountPoints(*set);
    for (sint32 k = 0; k < set->index; ++k) set->borderLine[k].type = 1;
    return LineOfPoints(&line, set);
}

/* Removes from an edge the segments that do not continue its straight run; those that stay are marked 1. */
static sint32 DeleteImpurityLine(BorderLineSetRec* SourceBorderLines, sint32 Image_Incline_Flag, sint32 side)
{
    BorderLineSetRec borderLines = null_border_line_set;
    LineRec line = null_line;
    if (SourceBorderLines == nullptr || side < 0 || side > kRightTop || !IsFlag(Image_Incline_Flag) ||
        SourceBorderLines->index < 1)
        return QL_BAD_ARGUMENT;
    if (SourceBorderLines->index <= 3) return KeepFewSegments(SourceBorderLines);

    sint32 error_code = QL_SUCCESS;
    for (sint32 k = 0; k < SourceBorderLines->index && error_code == QL_SUCCESS; ++k)
        error_code = AddBorderLineToBorderLines(&borderLines, &SourceBorderLines->borderLine[k]);
    if (error_code == QL_SUCCESS) error_code = FitCleanLine(&borderLines, Image_Incline_Flag, side, &line);
    BorderLineSet_Done(&borderLines);
    if (error_code != QL_SUCCESS) return error_code;

    /* The choice is made among all segments again: one that a pass dropped may return. */
    KeepInBand(SourceBorderLines, &line, -kLineBand, kLineBand);
    return SourceBorderLines->index > 0 ? QL_SUCCESS : QL_NO_EDGE;
}

/* ======== Edges ======== */

/* Whether most of a side's segments lie close to the line fitted to it. *line is that line. */
static sint32 DecideStraight(BorderLineSetRec* side, LineRec* line, bool* straight)
{
    sint32 error_code = LineOfPointsCenter(line, side);
    if (error_code != QL_SUCCESS) return error_code;
    sint32 num = 0;
    for (sint32 k = 0; k < side->index; ++k) {
        sint32 d = 0;
        error_code = PointToLine(side->borderLine[k].Center, line, &d);
        if (error_code != QL_SUCCESS) return error_code;
        if (d >= -kStraightBand && d <= kStraightBand) ++num;
    }
    *straight = num > kStraightShare * side->index;
    return QL_SUCCESS;
}

/* A page is upright when its two long sides, given here, are straight, and steeper than min_angle. */
static sint32 DecideUpright(BorderLineSetRec* side1, BorderLineSetRec* side2, Real64 min_angle, bool* upright)
{
    *upright = true;
    for (BorderLineSetRec* side : {side1, side2}) {
        LineRec line = null_line;
        const sint32 error_code = DecideStraight(side, &line, upright);
        if (error_code != QL_SUCCESS) return error_code;
        *upright = *upright && line.angle > min_angle;
        if (!*upright) return QL_SUCCESS;
    }
    return QL_SUCCESS;
}

/* One edge's share of a side scan: segments from <= i < to. */
struct StretchRec {
    BorderLineSetRec* edge;
    const BorderLineSetRec* side;
    int64_t from;
    int64_t to;
};

/* Bounds outside the side, which only segment numbers from elsewhere can give, are cut off. */
static sint32 AppendStretch(const StretchRec& stretch)
{
    const int64_t from = stretch.from < 0 ? 0 : stretch.from;
    const int64_t to = stretch.to > stretch.side->index ? stretch.side->index : stretch.to;
    for (int64_t i = from; i < to; ++i) {
        const sint32 error_code = AddBorderLineToBorderLines(stretch.edge, &stretch.side->borderLine[i]);
        if (error_code != QL_SUCCESS) return error_code;
    }
    return QL_SUCCESS;
}

/* The three ways in which the side scans give the edges: upright, and tilted one way or the other. */
enum class Lie { Upright, LeftCornerLow, LeftCornerHigh };

sint32 SplitBorders(QL_Bitmap p_bitmap, const ImageRangeRectangleRec* p_image_range, sint32* Image_Incline_Flag,
                    ImageBorderPointRec* left, ImageBorderPointRec* right, ImageBorderPointRec* top,
                    ImageBorderPointRec* bottom, ImageBorderLineRec* left_top, ImageBorderLineRec* left_bottom,
                    ImageBorderLineRec* right_top, ImageBorderLineRec* right_bottom,
                    const SegmentIndexRec& segment_index)
{
    if (p_bitmap == nullptr || p_image_range == nullptr || Image_Incline_Flag == nullptr || left == nullptr ||
        right == nullptr || top == nullptr || bottom == nullptr || left_top == nullptr || left_bottom == nullptr ||
        right_top == nullptr || right_bottom == nullptr)
        return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;

    BorderLineSetRec* L = &left->border_line_seck;
    BorderLineSetRec* R = &right->border_line_seck;
    BorderLineSetRec* T = &top->border_line_seck;
    BorderLineSetRec* B = &bottom->border_line_seck;
    for (const BorderLineSetRec* side : {L, R, T, B})
        if (side->index > 0 && side->borderLine == nullptr) return QL_BAD_ARGUMENT;
    const ImageRangeRectangleRec& range = *p_image_range;

    /* A page that the image cuts at top or bottom is judged by its left and right side, which must be steep too. */
    *Image_Incline_Flag = 1;
    bool upright = false;
    const bool inside = range.top.y > 0 && range.bottom.y < p_bitmap->biHeight - 1;
    const bool wide = int64_t{range.right.x} - range.left.x > int64_t{range.bottom.y} - range.top.y;
    if (inside)
        error_code = DecideUpright(wide ? T : L, wide ? B : R, kAnyAngle, &upright);
    else
        error_code = DecideUpright(L, R, kUprightAngle, &upright);
    if (error_code != QL_SUCCESS) return error_code;
    if (upright) *Image_Incline_Flag = 0;

    const bool left_is_low = int64_t{range.bottom.y} - range.left.y <= int64_t{range.left.y} - range.top.y;
    const Lie lie = upright ? Lie::Upright : left_is_low ? Lie::LeftCornerLow : Lie::LeftCornerHigh;

    /* Left and right scans give the near-vertical edges, top and bottom scans the near-horizontal ones. */
    BorderLineSetRec* LT = &left_top->border_line_seck;
    BorderLineSetRec* LB = &left_bottom->border_line_seck;
    BorderLineSetRec* RB = &right_bottom->border_line_seck;
    BorderLineSetRec* RT = &right_top->border_line_seck;
    const auto Until = [](sint32 corner) { return int64_t{corner} - kTrim; };
    const auto From = [](sint32 corner) { return int64_t{corner} + kTrim; };
    const SegmentIndexRec& corner = segment_index;
    const StretchRec stretches[3][4] = {
        {{LT, T, kTrim, Until(T->index)},
         {LB, L, kTrim, Until(L->index)},
         {RB, B, kTrim, Until(B->index)},
         {RT, R, kTrim, Until(R->index)}},
        {{LT, L, kTrim, Until(corner.LeftT)},
         {LB, B, From(corner.BottomL), Until(B->index)},
         {RB, R, From(corner.RightB), Until(R->index)},
         {RT, T, kTrim, Until(corner.TopR)}},
        {{LT, T, From(corner.TopL), Until(T->index)},
         {LB, L, From(corner.LeftB), Until(L->index)},
         {RB, B, kTrim, Until(corner.BottomR)},
         {RT, R, kTrim, Until(corner.RightT)}},
    };
    for (const StretchRec& stretch : stretches[static_cast<int>(lie)]) {
        error_code = AppendStretch(stretch);
        if (error_code != QL_SUCCESS) return error_code;
    }

    error_code = DeleteImpurityLine(LT, *Image_Incline_Flag, kLeftTop);
    if (error_code == QL_SUCCESS) error_code = DeleteImpurityLine(LB, *Image_Incline_Flag, kLeftBottom);
    if (error_code == QL_SUCCESS) error_code = DeleteImpurityLine(RB, *Image_Incline_Flag, kRightBottom);
    if (error_code == QL_SUCCESS) error_code = DeleteImpurityLine(RT, *Image_Incline_Flag, kRightTop);
    return error_code;
}

sint32
DispartBorderPoints(QL_Bitmap p_bitmap, ImageRangeRectangleRec* p_image_range, sint32* Image_Incline_Flag,
                    ImageBorderPointRec* p_image_border_point_left, ImageBorderPointRec* p_image_border_point_right,
                    ImageBorderPointRec* p_image_border_point_top, ImageBorderPointRec* p_image_border_point_bottom,
                    ImageBorderLineRec* p_border_line_left_top, ImageBorderLineRec* p_border_line_left_bottom,
                    ImageBorderLineRec* p_border_line_right_top, ImageBorderLineRec* p_border_line_right_bottom)
{
    return SplitBorders(p_bitmap, p_image_range, Image_Incline_Flag, p_image_border_point_left,
                        p_image_border_point_right, p_image_border_point_top, p_image_border_point_bottom,
                        p_border_line_left_top, p_border_line_left_bottom, p_border_line_right_top,
                        p_border_line_right_bottom, LoadSegmentIndex());
}

/* ======== Frame ======== */

/* The four edges' lines while they are made into a rectangle. */
struct FrameLinesRec {
    LineRec* LT;
    LineRec* LB;
    LineRec* RT;
    LineRec* RB;
};

static bool HoldsSegments(const BorderLineSetRec& set) { return set.index > 0 && set.borderLine != nullptr; }

/* Fits an edge that may fail for want of points that span a line. */
static sint32 FitOptional(ImageBorderLineRec* edge, bool* fitted)
{
    const sint32 error_code = LineOfPoints(&edge->border_line, &edge->border_line_seck);
    *fitted = error_code == QL_SUCCESS;
    return error_code == QL_NO_LINE ? QL_SUCCESS : error_code;
}

/* Gives a line another's direction; it keeps its centre. */
static void CopyDirection(LineRec* line, const LineRec& from)
{
    line->b = from.b;
    line->type = from.type;
    line->angle = from.angle;
}

/*
 * Stands in for a line that could not be fitted: parallel to the opposite edge, through the point of a neighbouring
 * edge at the given row. 9 if the neighbour is horizontal and has no such point.
 */
static sint32 Substitute(LineRec* line, const LineRec& opposite, const LineRec& neighbour, sint32 row)
{
    CopyDirection(line, opposite);
    line->center.y = row;
    if (neighbour.type == kHorizontal) return QL_NO_PAGE;
    line->center.x = neighbour.type == kVertical ? neighbour.center.x
                                                 : RealToInteger((line->center.y - neighbour.a) / neighbour.b);
    return QL_SUCCESS;
}

/* The edges of a page as two pairs of opposites, in the order in which they are fitted. */
struct EdgePairsRec {
    ImageBorderLineRec* must1;
    ImageBorderLineRec* must2;
    ImageBorderLineRec* may_left;  /* through the left corner; its neighbour is must1 */
    ImageBorderLineRec* may_right; /* through the right corner; its neighbour is must2 */
    sint32 left_row;               /* where a substitute for may_left crosses its neighbour */
    sint32 right_row;
};

/* Two opposite edges must fit; of the other two one may fail and is replaced. */
static sint32 FitEdges(const EdgePairsRec& pairs)
{
    sint32 error_code = LineOfPoints(&pairs.must1->border_line, &pairs.must1->border_line_seck);
    if (error_code != QL_SUCCESS) return error_code;
    error_code = LineOfPoints(&pairs.must2->border_line, &pairs.must2->border_line_seck);
    if (error_code != QL_SUCCESS) return error_code;

    bool left_fitted = false;
    bool right_fitted = false;
    error_code = FitOptional(pairs.may_left, &left_fitted);
    if (error_code != QL_SUCCESS) return error_code;
    error_code = FitOptional(pairs.may_right, &right_fitted);
    if (error_code != QL_SUCCESS) return error_code;

    LineRec* left = &pairs.may_left->border_line;
    LineRec* right = &pairs.may_right->border_line;
    if (left_fitted && right_fitted) return QL_SUCCESS;
    if (right_fitted) return Substitute(left, *right, pairs.must1->border_line, pairs.left_row);
    if (left_fitted) return Substitute(right, *left, pairs.must2->border_line, pairs.right_row);
    return QL_NO_PAGE;
}

/* How far two lines are from perpendicular, in degrees. */
static Real64 PerpendicularDeviation(const LineRec& a, const LineRec& b)
{
    return std::fabs(90.0 - std::fabs(a.angle - b.angle));
}

/* The two conversions round differently; each of the two pairs of edges has its own. */
static Real64 DegreesDividedFirst(Real64 b) { return std::atan(b) / kPi * 180.0; }
static Real64 DegreesMultipliedFirst(Real64 b) { return std::atan(b) * 180.0 / kPi; }

static void SetPerpendicular(LineRec* line, const LineRec& to, Real64 (*Degrees)(Real64))
{
    if (to.type == kHorizontal) {
        line->type = kVertical;
        line->angle = 90.0;
    } else if (to.type == kVertical) {
        line->type = kHorizontal;
        line->angle = 0.0;
    } else {
        line->type = kGeneral;
        line->b = -1.0 / to.b;
        line->angle = Degrees(line->b);
    }
}

/*
 * Makes two opposite edges parallel, given the other pair, which is: the one that stands worse on its neighbour takes
 * the direction of the other, if that stands well; else both are set perpendicular to the neighbour.
 */
static void MakeParallel(LineRec* line1, LineRec* line2, const LineRec& neighbour1, const LineRec& neighbour2,
                         Real64 (*Degrees)(Real64))
{
    const Real64 t1 = PerpendicularDeviation(*line1, neighbour1);
    const Real64 t2 = PerpendicularDeviation(*line2, neighbour2);
    if (t2 > t1 && t1 < kPerpendicular) {
        CopyDirection(line2, *line1);
    } else if (t1 > t2 && t2 < kPerpendicular) {
        CopyDirection(line1, *line2);
    } else {
        SetPerpendicular(line1, neighbour1, Degrees);
        SetPerpendicular(line2, neighbour1, Degrees); /* to the same neighbour, so that both are parallel */
    }
}

/* Brings the lines close enough to a rectangle for averaging, or finds that they are none. */
static sint32 SquareUp(const FrameLinesRec& lines)
{
    const bool LRParallel = AngleOfTwoLine(lines.LT->angle, lines.RB->angle) <= kParallel;
    const bool TBParallel = AngleOfTwoLine(lines.LB->angle, lines.RT->angle) <= kParallel;
    if (LRParallel && TBParallel)
        return PerpendicularDeviation(*lines.LT, *lines.LB) >= kPerpendicular ? QL_NO_PAGE : QL_SUCCESS;
    if (!LRParallel && !TBParallel) return QL_NO_PAGE;
    if (TBParallel)
        MakeParallel(lines.LT, lines.RB, *lines.LB, *lines.RT, DegreesDividedFirst);
    else
        MakeParallel(lines.LB, lines.RT, *lines.LT, *lines.RB, DegreesMultipliedFirst);
    return QL_SUCCESS;
}

/* Gives two opposite edges their mean direction. */
static void Average(LineRec* line1, LineRec* line2)
{
    const Real64 angle = MidOfTwoAngle(line1->angle, line2->angle);
    for (LineRec* line : {line1, line2}) {
        line->angle = angle;
        if (angle == 0.0) {
            line->type = kHorizontal;
        } else if (angle == 90.0) {
            line->type = kVertical;
        } else {
            line->type = kGeneral;
            line->b = std::tan(angle / 180.0 * kPi);
        }
    }
}

/* The page's corners. */
struct CornersRec {
    PointRec Left;
    PointRec Top;
    PointRec Right;
    PointRec Bottom;
};

static sint32 FindCorners(const FrameLinesRec& lines, CornersRec* corners)
{
    for (LineRec* line : {lines.LT, lines.LB, lines.RT, lines.RB}) {
        const sint32 error_code = CalLineIntercept(line);
        if (error_code != QL_SUCCESS) return error_code;
    }
    sint32 error_code = PointOfTwoLine(lines.LT, lines.RT, &corners->Top);
    if (error_code == QL_SUCCESS) error_code = PointOfTwoLine(lines.LT, lines.LB, &corners->Left);
    if (error_code == QL_SUCCESS) error_code = PointOfTwoLine(lines.RT, lines.RB, &corners->Right);
    if (error_code == QL_SUCCESS) error_code = PointOfTwoLine(lines.LB, lines.RB, &corners->Bottom);
    return error_code;
}

/* The length of an edge, rounded; the root of the sum of squares in integers. */
static sint32 EdgeLength(PointRec a, PointRec b)
{
    return RoundReal(std::sqrt(SumOfSquares(int64_t{a.x} - b.x, int64_t{a.y} - b.y)));
}

/* Degrees of a near-vertical edge to the radians by which the content has to turn, 0 to 2 pi. */
static Real64 RotationAngle(Real64 A)
{
    if (A <= -45.0) return (270.0 - A) * kPi / 180.0;
    if (A <= 0.0) return A * (-kPi) / 180.0;
    if (A <= 45.0) return (360.0 - A) * kPi / 180.0;
    return (90.0 - A) * kPi / 180.0;
}

static sint32 Clamp(sint32 value, sint32 last) { return value < 0 ? 0 : value > last ? last : value; }

/* The column at which a line crosses a row, clamped to the image; corner_x for a horizontal line. */
static sint32 ColumnAt(const LineRec& line, sint32 row, sint32 corner_x, sint32 last_col)
{
    if (line.type == kGeneral) return Clamp(RoundReal((row - line.a) / line.b), last_col);
    return Clamp(line.type == kVertical ? RoundReal(line.a) : corner_x, last_col);
}

/*
 * The spans of the rows that the page covers. The top corner does not count for the last row, nor the bottom one for the
 * first; both bounds are kept so.
 */
static sint32 FillRowSeck(const BitmapRec& bitmap, const FrameLinesRec& lines, const CornersRec& corners,
                          RowSeckRec* RowSeck)
{
    const PointRec Left = corners.Left;
    const PointRec Right = corners.Right;
    const sint32 last_row = bitmap.biHeight - 1;
    const sint32 last_col = bitmap.biWidth - 1;
    sint32 yT = Right.y < Left.y ? Right.y : Left.y;
    sint32 yB = Right.y > Left.y ? Right.y : Left.y;
    yT = Clamp(corners.Top.y < yT ? corners.Top.y : yT, last_row);
    yB = Clamp(corners.Bottom.y > yB ? corners.Bottom.y : yB, last_row);
    if (yT >= yB) return QL_NO_PAGE;
    if (yB > INT32_MAX - kSpareRows) return QL_OUT_OF_MEMORY;

    LineSeckRec* seck = NewArray<LineSeckRec>(int64_t{yB} + kSpareRows);
    if (seck == nullptr) return QL_OUT_OF_MEMORY;
    for (sint32 y = yT; y <= yB; ++y) {
        seck[y].left = ColumnAt(Left.y > y ? *lines.LT : *lines.LB, y, Left.x, last_col);
        seck[y].right = ColumnAt(Right.y > y ? *lines.RT : *lines.RB, y, Right.x, last_col);
    }
    *RowSeck = {yB - yT + 1, yB + kSpareRows, yT, yB, seck};
    return QL_SUCCESS;
}

sint32 CalBorderPoints(BitmapRec* p_bitmap, RowSeckRec* RowSeck, Real64* angle, PointRec* SourceCenter,
                       sint32* biWidth, sint32* biHeight, ImageRangeRectangleRec* p_image_range,
                       sint32* Image_Incline_Flag, ImageBorderLineRec* p_border_line_left_top,
                       ImageBorderLineRec* p_border_line_left_bottom, ImageBorderLineRec* p_border_line_right_top,
                       ImageBorderLineRec* p_border_line_right_bottom)
{
    if (p_bitmap == nullptr || RowSeck == nullptr || angle == nullptr || SourceCenter == nullptr ||
        biWidth == nullptr || biHeight == nullptr || p_image_range == nullptr || Image_Incline_Flag == nullptr)
        return QL_BAD_ARGUMENT;
    if (p_border_line_left_top == nullptr || p_border_line_left_bottom == nullptr ||
        p_border_line_right_top == nullptr || p_border_line_right_bottom == nullptr)
        return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;
    BorderLineSetRec* LT = &p_border_line_left_top->border_line_seck;
    BorderLineSetRec* LB = &p_border_line_left_bottom->border_line_seck;
    BorderLineSetRec* RT = &p_border_line_right_top->border_line_seck;
    BorderLineSetRec* RB = &p_border_line_right_bottom->border_line_seck;
    if (!HoldsSegments(*LT) || !HoldsSegments(*LB) || !HoldsSegments(*RT) || !HoldsSegments(*RB))
        return QL_BAD_ARGUMENT;
    for (BorderLineSetRec* set : {LT, LB, RT, RB}) set->PointNum = CountPoints(*set);

    /* Which pair has to fit depends on which of the left and right extreme points has the smaller row. */
    const ImageRangeRectangleRec image_range = *p_image_range;
    const bool tilted = *Image_Incline_Flag != 0;
    const sint32 last_row = p_bitmap->biHeight - 1;
    const bool left_is_low = image_range.left.y >= image_range.right.y;
    if (left_is_low)
        error_code = FitEdges({p_border_line_left_top, p_border_line_right_bottom, p_border_line_left_bottom,
                               p_border_line_right_top, tilted ? image_range.left.y : last_row,
                               tilted ? image_range.right.y : 0});
    else
        error_code = FitEdges({p_border_line_left_bottom, p_border_line_right_top, p_border_line_left_top,
                               p_border_line_right_bottom, tilted ? image_range.left.y : 0,
                               tilted ? image_range.right.y : last_row});
    if (error_code != QL_SUCCESS) return error_code;

    const FrameLinesRec lines = {&p_border_line_left_top->border_line, &p_border_line_left_bottom->border_line,
                                 &p_border_line_right_top->border_line, &p_border_line_right_bottom->border_line};
    error_code = SquareUp(lines);
    if (error_code != QL_SUCCESS) return error_code;
    Average(lines.LT, lines.RB);
    Average(lines.LB, lines.RT);
    CornersRec corners = {null_point, null_point, null_point, null_point};
    error_code = FindCorners(lines, &corners);
    if (error_code != QL_SUCCESS) return error_code;

    *SourceCenter = {static_cast<sint32>((int64_t{corners.Left.x} + corners.Right.x + 1) >> 1),
                     static_cast<sint32>((int64_t{corners.Top.y} + corners.Bottom.y + 1) >> 1)};
    if (SourceCenter->x < 0 || SourceCenter->x >= p_bitmap->biWidth || SourceCenter->y < 0 ||
        SourceCenter->y >= p_bitmap->biHeight)
        return QL_NO_PAGE;

    /* The steeper of the two edges at the left corner stands upright afterwards; equally steep, it is LT. */
    const bool LB_is_steeper = std::fabs(lines.LB->angle) > std::fabs(lines.LT->angle);
    *angle = RotationAngle(LB_is_steeper ? lines.LB->angle : lines.LT->angle);
    *biHeight = EdgeLength(corners.Left, LB_is_steeper ? corners.Bottom : corners.Top);
    *biWidth = EdgeLength(corners.Left, LB_is_steeper ? corners.Top : corners.Bottom);
    return FillRowSeck(*p_bitmap, lines, corners, RowSeck);
}
