/*
 * Detection.cpp - libquarlo's detection stages in one run.
 *
 * The same stages as libquarlo's pipeline, driven through its exported functions, because the pipeline keeps to itself
 * what a score, a report and a drawing are made of.
 */
#include "Detection.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>

#include "SearchBitmapFrame.h"

namespace quarlo
{

namespace
{

constexpr int kGrayBand = 9; /* how far from a light ground's threshold page pixels begin, as in the pipeline */

/* A side and an edge that release themselves. The edges' segments point into the sides' points. */
struct Side : ImageBorderPointRec {
    Side() : ImageBorderPointRec(null_image_border_point) {}
    ~Side()
    {
        std::free(border_line_seck.borderLine);
        std::free(border_point.points);
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;
};

struct FrameEdge : ImageBorderLineRec {
    FrameEdge() : ImageBorderLineRec(null_image_border_line) {}
    ~FrameEdge() { std::free(border_line_seck.borderLine); }
    FrameEdge(const FrameEdge&) = delete;
    FrameEdge& operator=(const FrameEdge&) = delete;
};

struct Spans : RowSeckRec {
    Spans() : RowSeckRec(null_row_seck) {}
    ~Spans() { std::free(seck); }
    Spans(const Spans&) = delete;
    Spans& operator=(const Spans&) = delete;
};

/* What the stages leave behind. */
struct Findings {
    std::array<Side, 4> sides;      /* left, right, top, bottom, by rows of the bitmap */
    std::array<FrameEdge, 4> edges; /* left-top, left-bottom, right-top, right-bottom */
    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    bool has_sides = false;
    bool has_edges = false;
};

const char* Reason(sint32 code, const char* stage)
{
    const std::string_view name = stage;
    if (code == QL_OUT_OF_MEMORY) return "memory ran out";
    if (code == QL_INVALID_BITMAP) return "the bitmap is not valid";
    if (code == QL_NO_LINE) return "the points of a page edge span no line";
    if (code == QL_NO_EDGE) return "a page edge is too ragged";
    if (name == "range") return "fewer than two rows hold more than 150 page pixels";
    if (name == "borders") return "a side of the page has no clear border";
    if (name == "split") return "a page edge is too short";
    return "the edges form no rectangle that lies in the picture";
}

/* The marking and the splitting talk through numbers that all callers in the process share: one at a time. */
std::mutex& SegmentNumbers()
{
    static std::mutex mutex;
    return mutex;
}

sint32 FindEdges(const Bitmap& bitmap, RectangleRec* range, sint32 ground, uint8 low, uint8 high, Findings* found,
                 sint32* tilted, const char** stage)
{
    const std::lock_guard<std::mutex> lock(SegmentNumbers());
    *stage = "borders";
    std::array<Side, 4>& sides = found->sides;
    sint32 code =
        MarkLeftRightBorder(bitmap.rec(), range, ground, low, high, &sides[0], &sides[1], &found->extremes);
    if (code != QL_SUCCESS) return code;
    code = MarkTopBottomBorder(bitmap.rec(), range, ground, low, high, &sides[2], &sides[3], &found->extremes);
    if (code != QL_SUCCESS) return code;
    found->has_sides = true;

    *stage = "split";
    std::array<FrameEdge, 4>& edges = found->edges;
    return DispartBorderPoints(bitmap.rec(), &found->extremes, tilted, &sides[0], &sides[1], &sides[2], &sides[3],
                               &edges[0], &edges[1], &edges[2], &edges[3]);
}

sint32 RunStages(const Bitmap& bitmap, Ground ground, int threshold, Findings* found, Placement* placement,
                 const char** stage)
{
    const int band = ground == Ground::light ? kGrayBand : 0;
    const uint8 low = static_cast<uint8>(std::max(threshold - band, 0));
    const uint8 high = static_cast<uint8>(std::min(threshold + band, 255));
    *stage = "range";
    RectangleRec range = null_rectangle;
    sint32 code = SearchBitmapRange(bitmap.rec(), &range, low);
    if (code != QL_SUCCESS) return code;
    sint32 tilted = 1;
    code = FindEdges(bitmap, &range, static_cast<sint32>(ground), low, high, found, &tilted, stage);
    if (code != QL_SUCCESS) return code;

    *stage = "frame";
    found->has_edges = true;
    std::array<FrameEdge, 4>& edges = found->edges;
    Spans spans;
    code =
        CalBorderPoints(bitmap.rec(), &spans, &placement->angle, &placement->center, &placement->width,
                        &placement->height, &found->extremes, &tilted, &edges[0], &edges[1], &edges[2], &edges[3]);
    if (code == QL_SUCCESS && (placement->width < 1 || placement->height < 1)) return QL_NO_PAGE;
    return code;
}

/* Calls `visit` with every point of a set of segments. */
template <class Visit>
void ForEachPoint(const BorderLineSetRec& set, Visit visit)
{
    for (sint32 k = 0; k < set.index; ++k)
        for (sint32 i = 0; i < set.borderLine[k].index; ++i) visit(set.borderLine[k].points[i]);
}

/* The principal axis of the points (Pearson's line of closest fit). */
FittedLine FitLine(const BorderLineSetRec& set)
{
    double n = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0, yy = 0.0;
    ForEachPoint(set, [&](PointRec p) {
        n += 1.0;
        x += p.x;
        y += p.y;
    });
    if (n == 0.0) return {};
    const Point mean = {x / n, y / n};
    ForEachPoint(set, [&](PointRec p) {
        const double dx = p.x - mean.x, dy = p.y - mean.y;
        xx += dx * dx;
        xy += dx * dy;
        yy += dy * dy;
    });
    const double half = std::hypot((xx - yy) / 2.0, xy);
    const double least = std::max(0.0, (xx + yy) / 2.0 - half);
    return {mean, std::atan2(2.0 * xy, xx - yy) / 2.0 * 180.0 / M_PI, std::sqrt(least / n)};
}

/* How many segments of the sides lie between the first and the last kept one of an edge without being kept. */
int CountDropped(const std::array<Side, 4>& sides, const BorderLineSetRec& kept)
{
    if (kept.index < 1) return 0;
    const PointRec* first = kept.borderLine[0].points;
    const PointRec* last = kept.borderLine[kept.index - 1].points;
    for (const Side& side : sides) {
        const PointSetRec& points = side.border_point;
        if (first < points.points || first >= points.points + points.index) continue;
        int between = 0;
        for (sint32 k = 0; k < side.border_line_seck.index; ++k) {
            const PointRec* segment = side.border_line_seck.borderLine[k].points;
            between += segment >= first && segment <= last ? 1 : 0;
        }
        return between - kept.index;
    }
    return 0;
}

bool IsKept(const std::array<FrameEdge, 4>& edges, const PointRec* segment)
{
    for (const FrameEdge& edge : edges)
        for (sint32 k = 0; k < edge.border_line_seck.index; ++k)
            if (edge.border_line_seck.borderLine[k].points == segment) return true;
    return false;
}

/* The side's points and segments, rows still counted as the bitmap does. */
Trace::Side TraceSide(const Side& side, const Findings& found)
{
    Trace::Side traced;
    const PointSetRec& points = side.border_point;
    traced.points.reserve(static_cast<size_t>(points.index));
    for (sint32 i = 0; i < points.index; ++i)
        traced.points.push_back({static_cast<double>(points.points[i].x), static_cast<double>(points.points[i].y)});
    for (sint32 k = 0; k < side.border_line_seck.index; ++k) {
        const BorderLineRec& segment = side.border_line_seck.borderLine[k];
        traced.segments.push_back({static_cast<int>(segment.points - points.points), segment.index,
                                   found.has_edges && IsKept(found.edges, segment.points)});
    }
    return traced;
}

Point PointOf(PointRec p) { return {static_cast<double>(p.x), static_cast<double>(p.y)}; }

void FillTrace(const Findings& found, Trace* trace)
{
    if (!found.has_sides) return;
    /* The rows of a bitmap run upward for the eye: its last rows are the top. */
    const int order[] = {0, 1, 3, 2};
    for (size_t i = 0; i < 4; ++i) trace->sides[i] = TraceSide(found.sides[static_cast<size_t>(order[i])], found);
    trace->extremes = {PointOf(found.extremes.left), PointOf(found.extremes.right), PointOf(found.extremes.bottom),
                       PointOf(found.extremes.top)};
    trace->has_extremes = true;
}

} // namespace

Detection Detect(const Bitmap& bitmap, Ground ground, int threshold, bool with_trace)
{
    Detection detection;
    Findings found;
    Placement& placement = detection.placement;
    const sint32 code = RunStages(bitmap, ground, threshold, &found, &placement, &detection.stage);
    placement.scan_width = bitmap.width();
    placement.scan_height = bitmap.height();
    for (size_t i = 0; i < 4 && found.has_edges; ++i) {
        const BorderLineSetRec& kept = found.edges[i].border_line_seck;
        EdgePoints& edge = detection.edges[i];
        edge.segments = kept.index;
        ForEachPoint(kept, [&](PointRec) { ++edge.points; });
        edge.dropped = CountDropped(found.sides, kept);
        edge.line = FitLine(kept);
        placement.lines[i] = found.edges[i].border_line;
    }
    if (with_trace) FillTrace(found, &detection.trace);
    if (code != QL_SUCCESS) {
        detection.code = static_cast<Code>(code);
        detection.reason = Reason(code, detection.stage);
    }
    return detection;
}

} // namespace quarlo
