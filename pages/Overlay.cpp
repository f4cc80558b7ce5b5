/*
 * Overlay.cpp - what there is to see of a frame on a scan, as a list of layers.
 */
#include <algorithm>
#include <cmath>

#include "BitmapProcessing.h"
#include "OverlayDrawing.h"
#include "OverlayLegend.h"
#include "OverlayStyle.h"
#include "OverlayText.h"

namespace quarlo::overlay
{

namespace
{

/* ---- The scan ---- */

constexpr int kLeastLongest = 256;  /* smaller scans are drawn larger than they are */
constexpr int kMostLongest = 16000; /* with the legend beside it well within what can be painted */

struct Size {
    int width = 0, height = 0;
};

/* The size at which the scan is drawn. */
Size DrawnSize(const Bitmap& scan, int longest)
{
    const int longer = std::max(scan.width(), scan.height());
    const int most = std::min(longest, kMostLongest);
    if (longer <= most) {
        const int times = std::max(1, std::min(kLeastLongest, most) / longer);
        return {scan.width() * times, scan.height() * times};
    }
    const auto scaled = [&](int length) {
        return std::max(1, static_cast<int>(std::lround(static_cast<double>(length) * most / longer)));
    };
    return {scaled(scan.width()), scaled(scan.height())};
}

/* A range of the pixels that one drawn pixel stands for. */
struct Range {
    int first = 0, end = 0;
};

Range RangeOf(int drawn, int drawn_size, int size)
{
    const auto at = [&](std::int64_t i) { return static_cast<int>(i * size / drawn_size); };
    const int first = at(drawn);
    return {first, std::max(first + 1, at(std::int64_t{drawn} + 1))};
}

/* Some rows, counted from the bottom, as greys. */
Problem GreyRows(const Bitmap& scan, const Range& rows, Bitmap* greys)
{
    BitmapRec view = *scan.rec();
    view.ScanLine += rows.first;
    view.buffer = view.ScanLine[0];
    view.biHeight = rows.end - rows.first;
    view.bfSize = view.biHeight * view.BytesPerLine;
    Bitmap converted;
    if (GetGrayBitmap(&view, converted.rec()) != QL_SUCCESS || converted.empty())
        return {Code::out_of_memory, "overlay", "memory ran out"};
    *greys = std::move(converted);
    return {};
}

/* Colours stand out where the scan takes the lower half of the greys. In few levels it takes half the room and time to
 * write, and looks the same. */
std::uint8_t Dimmed(std::uint64_t grey) { return static_cast<std::uint8_t>(8 + grey * 33 / 255 * 4); }

std::uint8_t Mean(const Bitmap& greys, const Range& columns)
{
    std::uint64_t sum = 0;
    for (int y = 0; y < greys.height(); ++y)
        for (int x = columns.first; x < columns.end; ++x) sum += greys.row(y)[x];
    const auto count =
        static_cast<std::uint64_t>(greys.height()) * static_cast<std::uint64_t>(columns.end - columns.first);
    return Dimmed((sum + count / 2) / count);
}

Problem DrawScan(const Bitmap& scan, const Size& size, Picture* picture)
{
    picture->width = size.width;
    picture->height = size.height;
    picture->grey.reserve(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    Bitmap greys;
    for (int y = size.height - 1; y >= 0; --y) {
        Problem problem = GreyRows(scan, RangeOf(y, size.height, scan.height()), &greys);
        if (problem) return problem;
        for (int x = 0; x < size.width; ++x)
            picture->grey.push_back(Mean(greys, RangeOf(x, size.width, scan.width())));
    }
    return {};
}

/* ---- From the scan's pixels to the drawing ---- */

class Mapping
{
public:
    Mapping(const Bitmap& scan, const Size& size, Point origin)
        : x_(static_cast<double>(size.width) / scan.width()), y_(static_cast<double>(size.height) / scan.height()),
          origin_(origin)
    {
    }

    /* Whole numbers are centres of pixels. What lies beyond all drawings is drawn just there. */
    Point operator()(Point p) const
    {
        return {origin_.x + Bounded((p.x + 0.5) * x_), origin_.y + Bounded((p.y + 0.5) * y_)};
    }

private:
    static double Bounded(double length)
    {
        constexpr double most = 100000.0; /* numbers that painting computes with hold it */
        return std::isfinite(length) ? std::clamp(length, -most, most) : -most;
    }

    double x_, y_;
    Point origin_;
};

/* Leaves out points that would be drawn where the one before them is. */
std::vector<Point> Mapped(const Mapping& map, const Point* first, const Point* end)
{
    std::vector<Point> mapped;
    for (; first != end; ++first) {
        const Point point = map(*first);
        const bool far = mapped.empty() || std::fabs(point.x - mapped.back().x) >= 0.5 ||
                         std::fabs(point.y - mapped.back().y) >= 0.5;
        if (far) mapped.push_back(point);
    }
    return mapped;
}

template <typename Points>
std::vector<Point> Mapped(const Mapping& map, const Points& points)
{
    return Mapped(map, points.data(), points.data() + points.size());
}

/* ---- The layers ---- */

struct Marks {
    const Frame& frame;
    Mapping map;
    double unit;
};

Layer PointsLayer(const Marks& marks)
{
    Layer layer = {"points", "Border points, coloured by the side that they were seen from", {}};
    for (std::size_t i = 0; i < marks.frame.trace.sides.size(); ++i)
        DrawDots(Mapped(marks.map, marks.frame.trace.sides[i].points), kSideColours[i], marks.unit, &layer.shapes);
    return layer;
}

/* The kept or the dropped segments of a side. */
std::vector<std::vector<Point>> Runs(const Mapping& map, const Trace::Side& side, bool kept)
{
    std::vector<std::vector<Point>> runs;
    const int all = static_cast<int>(side.points.size());
    for (const Trace::Segment& segment : side.segments) {
        const int first = std::clamp(segment.first, 0, all);
        const int count = std::min(segment.count, all - first);
        if (segment.kept != kept || count <= 0) continue;
        runs.push_back(Mapped(map, side.points.data() + first, side.points.data() + first + count));
    }
    return runs;
}

Layer DroppedLayer(const Marks& marks)
{
    Layer layer = {"dropped", "Runs of border points that were left out as noise", {}};
    if (!HasDropped(marks.frame.trace)) return layer;
    for (const Trace::Side& side : marks.frame.trace.sides)
        DrawDropped(Runs(marks.map, side, false), marks.unit, &layer.shapes);
    return layer;
}

Layer KeptLayer(const Marks& marks)
{
    Layer layer = {"kept", "Runs of border points that the edges were fitted to", {}};
    for (std::size_t i = 0; i < marks.frame.trace.sides.size(); ++i)
        DrawKept(Runs(marks.map, marks.frame.trace.sides[i], true), kSideColours[i], marks.unit, &layer.shapes);
    return layer;
}

Layer LinesLayer(const Marks& marks)
{
    Layer layer = {"lines", "Lines fitted to the edges", {}};
    std::vector<std::vector<Point>> lines;
    for (std::size_t i = 0; i < marks.frame.trace.fitted.size(); ++i)
        if (marks.frame.trace.has_fitted[i]) lines.push_back(Mapped(marks.map, marks.frame.trace.fitted[i]));
    DrawFitted(lines, marks.unit, &layer.shapes);
    return layer;
}

Layer FrameLayer(const Marks& marks)
{
    Layer layer = {"frame", "The page: where its edges meet", {}};
    if (marks.frame.found)
        DrawFrame(Mapped(marks.map, OutlineOf(marks.frame.placement)), Verdict(marks.frame), marks.unit,
                  &layer.shapes);
    return layer;
}

Layer ExtremesLayer(const Marks& marks)
{
    constexpr std::array<Point, 4> inward = {{{1.0, 0.0}, {-1.0, 0.0}, {0.0, 1.0}, {0.0, -1.0}}};
    Layer layer = {"extremes", "The outermost points of the page", {}};
    if (!marks.frame.trace.has_extremes) return layer;
    for (std::size_t i = 0; i < inward.size(); ++i)
        DrawArrowHead(marks.map(marks.frame.trace.extremes[i]), inward[i], kSideColours[i], marks.unit,
                      &layer.shapes);
    return layer;
}

/* On the scan: where the upright page's right is. */
Point RightOf(const Frame& frame)
{
    constexpr double radians = 3.14159265358979323846 / 180.0;
    if (!std::isfinite(frame.angle_deg)) return {1.0, 0.0};
    return {std::cos(frame.angle_deg * radians), -std::sin(frame.angle_deg * radians)};
}

Layer CentreLayer(const Marks& marks)
{
    Layer layer = {"centre", "The centre that the page is turned about", {}};
    if (marks.frame.found)
        DrawCentre(marks.map(marks.frame.center), RightOf(marks.frame), Verdict(marks.frame), marks.unit,
                   &layer.shapes);
    return layer;
}

/* The outline of the result: half a pixel around the centres of its corner pixels. */
std::array<Point, 4> OutputCorners(const Frame& frame)
{
    const Point right = RightOf(frame);
    const auto beside = [&](const Point& corner, double along, double down) {
        return Point{corner.x + along * right.x - down * right.y, corner.y + along * right.y + down * right.x};
    };
    const std::array<Point, 4>& corners = frame.corners;
    return {beside(corners[0], -0.5, -0.5), beside(corners[1], 0.5, -0.5), beside(corners[2], 0.5, 0.5),
            beside(corners[3], -0.5, 0.5)};
}

Layer OutputLayer(const Marks& marks)
{
    Layer layer = {"output", "What is cut out", {}};
    if (marks.frame.found) DrawOutput(Mapped(marks.map, OutputCorners(marks.frame)), marks.unit, &layer.shapes);
    return layer;
}

/* ---- The drawing ---- */

std::string Description(const Frame& frame)
{
    std::string text = Headline(frame);
    if (frame.problem && !frame.problem.reason.empty()) text += ": " + frame.problem.reason;
    return Cleaned(text);
}

/* The legend stands beside a tall scan and below a wide one. */
void DrawLegend(const Frame& frame, const Scale& scale, Drawing* drawing)
{
    const double gap = 1.5 * scale.letters();
    const Box& panel = drawing->panel;
    const bool beside = panel.height >= panel.width;
    const Point at = beside ? Point{panel.width + gap, gap} : Point{gap, panel.height + gap};
    const Box box = DrawLegend(frame, drawing->title, scale, at, panel.width - 2.0 * gap, beside,
                               &drawing->layers.back().shapes);
    drawing->width = static_cast<int>(std::ceil(std::max(panel.width, box.x + box.width + gap)));
    drawing->height = static_cast<int>(std::ceil(std::max(panel.height, box.y + box.height + gap)));
}

} // namespace

bool HasDropped(const Trace& trace)
{
    bool kept = false, dropped = false;
    for (const Trace::Side& side : trace.sides)
        for (const Trace::Segment& segment : side.segments) (segment.kept ? kept : dropped) = true;
    return kept && dropped;
}

Problem Compose(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, Drawing* drawing)
{
    if (scan.empty() || options.longest < 1) return {Code::bad_argument, "overlay", "there is nothing to draw"};
    const Size size = DrawnSize(scan, options.longest);
    const Scale scale = {std::clamp(std::max(size.width, size.height) / 1000.0, 1.0, 2.0)};
    const double margin = std::ceil(18.0 * scale.unit); /* room for what lies on the scan's border */

    Picture picture;
    Problem problem = DrawScan(scan, size, &picture);
    if (problem) return problem;
    picture.at = {margin, margin};

    Drawing made;
    made.background = kGround;
    made.width = size.width + 2 * static_cast<int>(margin);
    made.height = size.height + 2 * static_cast<int>(margin);
    made.panel = {0.0, 0.0, size.width + 2.0 * margin, size.height + 2.0 * margin};
    made.title = Cleaned(options.title);
    made.description = Description(frame);
    made.layers.push_back({"scan", "The scan in grey, dimmed", {std::move(picture)}});
    const Marks marks = {frame, Mapping(scan, size, {margin, margin}), scale.unit};
    for (const auto& layer_of :
         {FrameLayer, KeptLayer, LinesLayer, PointsLayer, OutputLayer, DroppedLayer, ExtremesLayer, CentreLayer})
        made.layers.push_back(layer_of(marks));
    made.layers.push_back({"legend", "What was found, and what is drawn", {}});
    if (options.legend) DrawLegend(frame, scale, &made);
    *drawing = std::move(made);
    return {};
}

} // namespace quarlo::overlay
