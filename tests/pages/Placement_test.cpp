/*
 * Placement_test.cpp - what follows from the place of a page, against what libquarlo makes of the same page.
 */
#include "Placement.cpp" /* for its file-private parts */

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Detection.h"
#include "QuarloBitmap.h"
#include "pages/PageMaker.h"
#include "pages/Stages.h"
#include "support/RandomBitmap.h"

namespace
{

using namespace quarlo;
using test::PagePlacement;
using test::Stages;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

void ExpectPoint(Point expected, Point got, double near)
{
    EXPECT_NEAR(expected.x, got.x, near);
    EXPECT_NEAR(expected.y, got.y, near);
}

void ExpectPoints(const std::array<Point, 4>& expected, const std::array<Point, 4>& got, double near)
{
    for (size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        ExpectPoint(expected[i], got[i], near);
    }
}

void ExpectSameLine(const LineRec& expected, const LineRec& got)
{
    EXPECT_EQ(expected.type, got.type);
    EXPECT_EQ(expected.a, got.a);
    EXPECT_EQ(expected.b, got.b);
    EXPECT_EQ(expected.angle, got.angle);
    EXPECT_EQ(expected.center.x, got.center.x);
    EXPECT_EQ(expected.center.y, got.center.y);
}

void ExpectSamePlacement(const Placement& expected, const Placement& got)
{
    EXPECT_EQ(expected.scan_width, got.scan_width);
    EXPECT_EQ(expected.scan_height, got.scan_height);
    EXPECT_EQ(expected.angle, got.angle);
    EXPECT_EQ(expected.center.x, got.center.x);
    EXPECT_EQ(expected.center.y, got.center.y);
    EXPECT_EQ(expected.width, got.width);
    EXPECT_EQ(expected.height, got.height);
    for (size_t i = 0; i < 4; ++i) ExpectSameLine(expected.lines[i], got.lines[i]);
}

/* The library's rows, one for one. */
void ExpectSpans(const RowSeckRec& expected, const RowSpans& got)
{
    ASSERT_EQ(expected.top, got.top);
    ASSERT_EQ(expected.bottom, got.bottom);
    ASSERT_EQ(static_cast<size_t>(expected.bottom) + 1, got.rows.size());
    for (sint32 y = expected.top; y <= expected.bottom; ++y) {
        ASSERT_EQ(expected.seck[y].left, got.rows[static_cast<size_t>(y)].left) << y;
        ASSERT_EQ(expected.seck[y].right, got.rows[static_cast<size_t>(y)].right) << y;
    }
}

/* A picture's placement, by libquarlo's own stages. */
Placement PlacementOf(const Bitmap& scan, const Stages& stages)
{
    Placement placement;
    placement.scan_width = scan.width();
    placement.scan_height = scan.height();
    placement.angle = stages.angle;
    placement.center = stages.center;
    placement.width = stages.width;
    placement.height = stages.height;
    for (size_t i = 0; i < 4; ++i) placement.lines[i] = stages.edges[i].border_line;
    return placement;
}

/* Compares all that the search can find in a picture; answers how many frames there were. */
int CompareFrames(const Bitmap& scan)
{
    int found = 0;
    for (const Ground ground : {Ground::dark, Ground::light})
        for (const int threshold : {1, 13, 30, 60, 90, 128, 146, 180, 205, 232, 250}) {
            Stages stages;
            const sint32 code = stages.Run(scan, static_cast<sint32>(ground), threshold);
            const Detection detection = Detect(scan, ground, threshold, false);
            EXPECT_EQ(code, static_cast<sint32>(detection.code));
            if (code != 0 || detection.code != Code::ok) continue;
            ExpectSamePlacement(PlacementOf(scan, stages), detection.placement);
            ExpectSpans(stages.spans, SpansOf(detection.placement));
            ++found;
        }
    return found;
}

int CompareFramesIn(const char* folder)
{
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".bmp") continue;
        SCOPED_TRACE(entry.path().string());
        found += CompareFrames(test::ReadBmp(entry.path().string()));
    }
    return found;
}

/* ---- Spans ---- */

TEST(SpansOf, AreTheLibrarysForAllGoldenPictures) { EXPECT_LE(150, CompareFramesIn(QUARLO_GOLDEN_DIR)); }

TEST(SpansOf, AreTheLibrarysForAllSamples) { EXPECT_LE(60, CompareFramesIn(QUARLO_SAMPLES_DIR)); }

/* Four edges of some rectangle, told to CalBorderPoints by a few points each that lie nearly on them. */
class RandomEdges
{
public:
    explicit RandomEdges(test::Random* random)
    {
        const double angle = random->OneOf<double>({0.0, 45.0, random->Fraction() * 90.0 - 45.0}) * test::kRadians;
        const double cosine = std::cos(angle), sine = std::sin(angle);
        const double x = random->Between(40, 160), y = random->Between(40, 160);
        const double half_width = random->Between(10, 120), half_height = random->Between(10, 120);
        const auto corner = [&](double across, double along) {
            return Point{x + across * half_width * cosine + along * half_height * sine,
                         y + along * half_height * cosine - across * half_width * sine};
        };
        std::array<Point, 4> corners = {corner(-1, -1), corner(1, -1), corner(1, 1), corner(-1, 1)};
        const auto further_left = [](Point a, Point b) {
            return a.x < b.x - 1e-9 || (a.x < b.x + 1e-9 && a.y > b.y);
        };
        std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end(), further_left), corners.end());
        const size_t ends[4][2] = {{0, 1}, {0, 3}, {2, 1}, {2, 3}}; /* of left, top, right, bottom */
        const int stray = random->Between(0, 1);
        for (size_t k = 0; k < 4; ++k) {
            const Point from = corners[ends[k][0]], to = corners[ends[k][1]];
            for (size_t i = 0; i < kPoints; ++i) {
                const double t = 0.1 + 0.8 * static_cast<double>(i) / (kPoints - 1);
                points_[k][i] = {static_cast<sint32>(from.x + t * (to.x - from.x) + 300.5) - 300 +
                                     random->Between(-stray, stray),
                                 static_cast<sint32>(from.y + t * (to.y - from.y) + 300.5) - 300 +
                                     random->Between(-stray, stray)};
                points_[k][i].x = std::max(points_[k][i].x, 0);
                points_[k][i].y = std::max(points_[k][i].y, 0);
            }
            segments_[k] = {kPoints, kPoints, points_[k].data(), 1, points_[k][kPoints / 2]};
            edges[k].border_line_seck = {1, 1, 0, &segments_[k]};
            if (k == 0) extremes.left = PointOf(corners[0]);
            if (k == 0) extremes.right = PointOf(corners[2]);
        }
    }

    ImageBorderLineRec edges[4] = {null_image_border_line, null_image_border_line, null_image_border_line,
                                   null_image_border_line};
    ImageRangeRectangleRec extremes = null_image_range_rectangle;

private:
    static constexpr sint32 kPoints = 8;
    static PointRec PointOf(Point p) { return {static_cast<sint32>(p.x), static_cast<sint32>(p.y)}; }

    std::array<std::array<PointRec, kPoints>, 4> points_;
    std::array<BorderLineRec, 4> segments_;
};

TEST(SpansOf, AreTheLibrarysForRandomEdges)
{
    test::Random random(3);
    const Bitmap scan = test::MakeBitmap(200, 190, 1);
    int found = 0;
    for (int round = 0; round < 20000; ++round) {
        RandomEdges random_edges(&random);
        ImageBorderLineRec* edges = random_edges.edges;
        Stages stages;
        const sint32 code =
            CalBorderPoints(scan.rec(), &stages.spans, &stages.angle, &stages.center, &stages.width, &stages.height,
                            &random_edges.extremes, &stages.tilted, &edges[0], &edges[1], &edges[2], &edges[3]);
        if (code != 0) continue;
        Placement placement = PlacementOf(scan, stages);
        for (size_t i = 0; i < 4; ++i) placement.lines[i] = edges[i].border_line;
        ExpectSpans(stages.spans, SpansOf(placement));
        if (HasFailure()) FAIL() << "round " << round;
        ++found;
    }
    EXPECT_LE(10000, found);
}

/* What the library does: the point's row is computed on the second of two general lines. */
TEST(Cross, TwoGeneralLinesMeetOnTheSecond)
{
    test::Random random(5);
    int differ = 0;
    for (int round = 0; round < 1000; ++round) {
        LineRec first = null_line, second = null_line;
        first.type = second.type = kGeneral;
        first.a = 100.0 * random.Fraction();
        first.b = random.Fraction();
        second.a = 100.0 * random.Fraction();
        second.b = -3.0 * random.Fraction() - 0.1;
        const double x = (first.a - second.a) / (second.b - first.b);
        Point point;
        ASSERT_TRUE(Cross(first, second, &point));
        EXPECT_EQ(x, point.x);
        EXPECT_EQ(second.a + second.b * x, point.y);
        differ += second.a + second.b * x != first.a + first.b * x;
    }
    EXPECT_LT(100, differ);
}

TEST(SpansOf, UprightPageCoversItsColumnsOnAllItsRows)
{
    Placement placement;
    placement.scan_width = 100;
    placement.scan_height = 80;
    placement.lines = {test::LineThrough({10, 20}, {60, 20}), test::LineThrough({10, 20}, {10, 50}),
                       test::LineThrough({60, 50}, {60, 20}), test::LineThrough({60, 50}, {10, 50})};
    const RowSpans spans = SpansOf(placement);
    EXPECT_EQ(20, spans.top);
    EXPECT_EQ(50, spans.bottom);
    ASSERT_EQ(51u, spans.rows.size());
    for (size_t y = 20; y <= 50; ++y) {
        EXPECT_EQ(10, spans.rows[y].left);
        EXPECT_EQ(60, spans.rows[y].right);
    }
}

TEST(SpansOf, PageWithoutTwoRowsInTheScanHasNone)
{
    const Bitmap scan = test::MakeBitmap(100, 80, 1);
    EXPECT_FALSE(SpansOf(PagePlacement(scan, 50, 40, 40, 30, 5.0)).rows.empty());
    EXPECT_TRUE(SpansOf(PagePlacement(scan, 50, 400, 40, 30, 5.0)).rows.empty());
    EXPECT_TRUE(SpansOf(PagePlacement(scan, 50, -400, 40, 30, 5.0)).rows.empty());
    EXPECT_TRUE(SpansOf(Placement()).rows.empty());
}

/* ---- Corners ---- */

/* Every pixel is its own place. */
Bitmap Chart(int width, int height)
{
    return test::Drawn(width, height, 24,
                       [](int x, int y) { return static_cast<std::uint32_t>(x + 1) << 12 | (y + 1); });
}

/* The places in the scan that the result's corner pixels show. */
std::array<Point, 4> ShownAtCorners(const Bitmap& chart, const Placement& placement)
{
    RowSpans spans = SpansOf(placement);
    for (LineSeckRec& row : spans.rows) row = {0, chart.width() - 1};
    RowSeckRec mask = {0, 0, spans.top, spans.bottom, spans.rows.data()};
    uint8 black[] = {0, 0, 0};
    Bitmap page;
    EXPECT_EQ(0, RotateBitmap(chart.rec(), page.rec(), &mask, placement.angle, placement.center, placement.width,
                              placement.height, 3, black));
    const auto shown = [&](int x, int y) {
        const std::uint32_t pixel = test::PixelAt(page, x, y);
        EXPECT_NE(0u, pixel);
        return Point{(pixel >> 12) - 1.0, (pixel & 0xFFF) - 1.0};
    };
    const int right = placement.width - 1, low = placement.height - 1;
    return {shown(0, 0), shown(right, 0), shown(right, low), shown(0, low)};
}

TEST(CornersOf, OfAnUprightPageAreExactlyTheCornerPixels)
{
    const Bitmap chart = Chart(120, 100);
    for (const int width : {40, 41})
        for (const int height : {30, 31}) {
            Placement placement = PagePlacement(chart, 60, 50, width, height, 0.0);
            placement.angle = 0.0; /* as detection tells it, never below zero */
            const Point low = {60.0 - (width - 1) / 2, 50.0 + (height - 1) / 2};
            const std::array<Point, 4> expected = {Point{low.x, low.y - height + 1},
                                                   {low.x + width - 1, low.y - height + 1},
                                                   {low.x + width - 1, low.y},
                                                   low};
            ExpectPoints(expected, CornersOf(placement), 0.0);
            placement.lines = {test::LineThrough({0, 0}, {119, 0}), test::LineThrough({0, 0}, {0, 99}),
                               test::LineThrough({119, 99}, {119, 0}), test::LineThrough({119, 99}, {0, 99})};
            ExpectPoints(expected, ShownAtCorners(chart, placement), 0.0);
        }
}

TEST(CornersOf, OfATurnedPageAreLessThanAPixelFromWhatIsShownThere)
{
    const Bitmap chart = Chart(300, 280);
    for (const double angle : {-44.0, -30.0, -7.5, -0.5, 0.5, 7.5, 30.0, 44.0}) {
        SCOPED_TRACE(angle);
        Placement placement = PagePlacement(chart, 150, 140, 121, 90, angle);
        const std::array<LineRec, 4> whole = {
            test::LineThrough({0, 0}, {299, 0}), test::LineThrough({0, 0}, {0, 279}),
            test::LineThrough({299, 279}, {299, 0}), test::LineThrough({299, 279}, {0, 279})};
        const std::array<Point, 4> corners = CornersOf(placement);
        placement.lines = whole;
        ExpectPoints(ShownAtCorners(chart, placement), corners, 0.999);
    }
}

TEST(CornersOf, OfAnOddPageAreThePaperLessHalfAPixelAllAround)
{
    const Bitmap scan = test::MakeBitmap(400, 300, 1);
    const test::Sheet pixels = {{200, 150}, 120, 80, 20.0, 0};
    ExpectPoints(test::OutlineOf(pixels), CornersOf(PagePlacement(scan, 200, 150, 121, 81, 20.0)), 1e-9);
}

TEST(OutlineOf, IsWhereTheLinesCrossInReadingOrder)
{
    const Bitmap scan = test::MakeBitmap(500, 400, 1);
    for (const double angle : {-135.0, -100.0, -89.0, -44.0, -3.0, 0.0, 3.0, 44.0, 89.0, 100.0, 135.0, 180.0}) {
        SCOPED_TRACE(angle);
        const test::Sheet sheet = {{250, 200}, 200, 120, angle, 0};
        ExpectPoints(test::OutlineOf(sheet), quarlo::OutlineOf(PagePlacement(scan, 250, 200, 200, 120, angle)),
                     1e-6);
    }
}

TEST(OutlineOf, LongEdgesOfALowPageMayLeanAgainstTheShortOnes)
{
    /* Within the two degrees that detection allows, the lean is more than half of the page's height. */
    Placement placement;
    placement.scan_width = 1700;
    placement.scan_height = 300;
    placement.width = 1500;
    placement.height = 50;
    const Point tl = {100, 125 - 26}, tr = {1600, 125 + 26}, br = {1600, 175 + 26}, bl = {100, 175 - 26};
    const auto rows = [](Point p) { return Point{p.x, 299 - p.y}; };
    placement.lines = {test::LineThrough(rows(bl), rows(br)), test::LineThrough(rows(bl), rows(tl)),
                       test::LineThrough(rows(tr), rows(br)), test::LineThrough(rows(tr), rows(tl))};
    ExpectPoints({tl, tr, br, bl}, quarlo::OutlineOf(placement), 1e-6);
}

TEST(OutlineOf, WithoutCrossingsItIsTheCorners)
{
    const Bitmap scan = test::MakeBitmap(500, 400, 1);
    Placement placement = PagePlacement(scan, 250, 200, 200, 120, 10.0);
    placement.lines[0] = placement.lines[1];
    ExpectPoints(CornersOf(placement), quarlo::OutlineOf(placement), 0.0);
}

/* ---- Angle ---- */

TEST(DegreesOf, ClockwiseIsPositive)
{
    const Bitmap scan = test::MakeBitmap(500, 400, 1);
    for (const double angle : {-179.0, -90.0, -44.5, -0.25, 0.0, 0.25, 10.0, 90.0, 179.0})
        EXPECT_NEAR(angle, DegreesOf(PagePlacement(scan, 250, 200, 200, 120, angle)), 1e-5);
}

TEST(DegreesOf, IsAPlainZeroForNoAngle)
{
    EXPECT_EQ(0.0, DegreesOf(Placement()));
    EXPECT_FALSE(std::signbit(DegreesOf(Placement())));
}

TEST(DegreesOf, LiesWithinHalfATurnWhateverTheAngle)
{
    Placement placement;
    for (double angle = -40.0; angle <= 40.0; angle += 0.37) {
        placement.angle = angle;
        const double degrees = DegreesOf(placement);
        EXPECT_LE(std::fabs(degrees), 180.0);
        EXPECT_NEAR(std::sin(-angle), std::sin(degrees * kDegree), 1e-5);
        EXPECT_NEAR(std::cos(-angle), std::cos(degrees * kDegree), 1e-5);
    }
}

/* ---- Other sizes ---- */

TEST(Scaled, ToTheSameSizeIsTheSame)
{
    const Bitmap scan = test::MakeBitmap(500, 400, 1);
    for (const double angle : {0.0, 12.0, -33.3}) {
        const Placement placement = PagePlacement(scan, 251, 200, 200, 121, angle);
        ExpectSamePlacement(placement, Scaled(placement, 500, 400));
    }
}

TEST(Scaled, OutlineKeepsItsPlaceInThePicture)
{
    const Bitmap scan = test::MakeBitmap(600, 400, 1);
    for (const double angle : {0.0, 12.0, -33.3})
        for (const double factor : {2.0, 3.0, 0.5}) {
            SCOPED_TRACE(angle);
            SCOPED_TRACE(factor);
            const Placement placement = PagePlacement(scan, 301, 200, 200, 120, angle);
            const Placement scaled =
                Scaled(placement, static_cast<int>(600 * factor), static_cast<int>(400 * factor));
            std::array<Point, 4> expected = quarlo::OutlineOf(placement);
            for (Point& p : expected) p = {(p.x + 0.5) * factor - 0.5, (p.y + 0.5) * factor - 0.5};
            ExpectPoints(expected, quarlo::OutlineOf(scaled), 1e-6);
            EXPECT_EQ(static_cast<int>(200 * factor), scaled.width);
            EXPECT_EQ(static_cast<int>(120 * factor), scaled.height);
            EXPECT_EQ(placement.angle, scaled.angle);
        }
}

TEST(Scaled, EvenPageByTwoIsTheSamePageExactly)
{
    const Bitmap scan = test::MakeBitmap(600, 400, 1);
    Placement placement = PagePlacement(scan, 301, 200, 200, 120, 0.0);
    placement.lines = {
        test::LineThrough({201.5, 139.5}, {401.5, 139.5}), test::LineThrough({201.5, 139.5}, {201.5, 259.5}),
        test::LineThrough({401.5, 259.5}, {401.5, 139.5}), test::LineThrough({401.5, 259.5}, {201.5, 259.5})};
    const Placement scaled = Scaled(placement, 1200, 800);
    /* 200 columns from 301 - 99 on become 400 from 2 * 202 on: 404 + 199. Rows likewise, counted from below. */
    EXPECT_EQ(603, scaled.center.x);
    EXPECT_EQ(2 * 140 + 119, scaled.center.y);
    EXPECT_EQ(400, scaled.width);
    EXPECT_EQ(240, scaled.height);
    const double expected[] = {279.5, 403.5, 803.5, 519.5};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(placement.lines[i].type, scaled.lines[i].type);
        EXPECT_EQ(expected[i], scaled.lines[i].a);
    }
}

TEST(Scaled, ThereAndBackIsWithinAPixel)
{
    const Bitmap scan = test::MakeBitmap(601, 403, 1);
    for (const double angle : {0.0, 12.0, -33.3})
        for (const double factor : {2.0, 3.0, 7.0}) {
            SCOPED_TRACE(angle);
            SCOPED_TRACE(factor);
            const Placement placement = PagePlacement(scan, 301, 201, 211, 123, angle);
            const int width = static_cast<int>(601 * factor), height = static_cast<int>(403 * factor);
            const Placement back = Scaled(Scaled(placement, width, height), 601, 403);
            ExpectPoints(quarlo::OutlineOf(placement), quarlo::OutlineOf(back), 1e-6);
            EXPECT_NEAR(placement.center.x, back.center.x, 1);
            EXPECT_NEAR(placement.center.y, back.center.y, 1);
            EXPECT_NEAR(placement.width, back.width, 1);
            EXPECT_NEAR(placement.height, back.height, 1);
            for (size_t i = 0; i < 4; ++i) EXPECT_EQ(placement.lines[i].type, back.lines[i].type);
        }
}

TEST(ScaledBy, SizeAndFactorMayDiffer)
{
    const Bitmap scan = test::MakeBitmap(100, 80, 1);
    const Placement scaled = ScaledBy(PagePlacement(scan, 50, 40, 60, 40, 0.0), 1 / 3.0, 1 / 3.0, 34, 27);
    EXPECT_EQ(34, scaled.scan_width);
    EXPECT_EQ(27, scaled.scan_height);
    EXPECT_EQ(20, scaled.width);
    EXPECT_EQ(13, scaled.height);
    EXPECT_EQ(16, scaled.center.x); /* 50.5 / 3 - 0.5 = 16.33 */
    EXPECT_EQ(13, scaled.center.y); /* 39.5 / 3 - 0.5 = 12.67 */
}

TEST(ScaledBy, CentreStaysInThePictureAndThePageHasPixels)
{
    const Bitmap scan = test::MakeBitmap(100, 80, 1);
    const Placement scaled = ScaledBy(PagePlacement(scan, 99, 0, 3, 3, 0.0), 0.01, 0.01, 1, 1);
    EXPECT_EQ(0, scaled.center.x);
    EXPECT_EQ(0, scaled.center.y);
    EXPECT_EQ(1, scaled.width);
    EXPECT_EQ(1, scaled.height);
}

/* ---- Frame ---- */

TEST(FrameOf, TellsThePlacementAsPeopleSeeIt)
{
    const Bitmap scan = test::MakeBitmap(500, 400, 1);
    const Placement placement = PagePlacement(scan, 251, 150, 200, 120, 12.0);
    const Frame frame = FrameOf(placement);
    EXPECT_TRUE(frame.found);
    EXPECT_FALSE(frame.problem);
    ExpectSamePlacement(placement, frame.placement);
    EXPECT_NEAR(12.0, frame.angle_deg, 1e-5);
    ExpectPoint({251, 150}, frame.center, 0.0);
    ExpectPoints(CornersOf(placement), frame.corners, 0.0);
    EXPECT_EQ(200, frame.width);
    EXPECT_EQ(120, frame.height);
}

/* ---- What no detection gives ---- */

/* Spans lie in the scan, whatever the placement says. */
void ExpectTame(const Placement& placement)
{
    const RowSpans spans = SpansOf(placement);
    if (!spans.rows.empty()) {
        EXPECT_LE(0, spans.top);
        EXPECT_LT(spans.top, spans.bottom);
        EXPECT_LT(spans.bottom, placement.scan_height);
        ASSERT_EQ(static_cast<size_t>(spans.bottom) + 1, spans.rows.size());
    }
    for (const LineSeckRec& row : spans.rows) {
        ASSERT_TRUE(row.left >= 0 && row.left < placement.scan_width);
        ASSERT_TRUE(row.right >= 0 && row.right < placement.scan_width);
    }
    const double degrees = DegreesOf(placement);
    EXPECT_TRUE(std::isnan(degrees) || std::fabs(degrees) <= 180.0);
    const Frame frame = FrameOf(placement);
    EXPECT_EQ(static_cast<double>(placement.center.x), frame.center.x);
    EXPECT_EQ(static_cast<double>(placement.scan_height) - 1.0 - placement.center.y, frame.center.y);
    if (std::isfinite(placement.angle)) {
        for (const Point& corner : frame.corners) EXPECT_TRUE(std::isfinite(corner.x) && std::isfinite(corner.y));
        for (const Point& corner : quarlo::OutlineOf(placement))
            EXPECT_TRUE(std::isfinite(corner.x) && std::isfinite(corner.y));
    }
    for (const auto& [width, height] :
         {std::pair<int, int>{1, 1}, {100, 80}, {kMost, kMost}, {0, 0}, {kLeast, -1}}) {
        if (width == placement.scan_width && height == placement.scan_height) continue;
        const Placement scaled = Scaled(placement, width, height);
        EXPECT_LE(1, scaled.width);
        EXPECT_LE(1, scaled.height);
        EXPECT_TRUE(scaled.center.x >= 0 && scaled.center.x <= std::max(width, 1) - 1);
        EXPECT_TRUE(scaled.center.y >= 0 && scaled.center.y <= std::max(height, 1) - 1);
    }
}

Placement SomePlacement() { return PagePlacement(test::MakeBitmap(100, 80, 1), 50, 40, 60, 40, 10.0); }

TEST(HostilePlacement, AnyAngleIsTame)
{
    for (const double angle : {kNan, kInfinite, -kInfinite, 1e300, -1e300, 7.0, -7.0, 1e-320}) {
        Placement placement = SomePlacement();
        placement.angle = angle;
        ExpectTame(placement);
    }
}

TEST(HostilePlacement, AnyNumbersAreTame)
{
    const auto fields = {&Placement::scan_width, &Placement::scan_height, &Placement::width, &Placement::height};
    for (const auto field : fields)
        for (const int value : {kLeast, kLeast + 1, -1, 0, 1, 2, kMost - 1, kMost}) {
            Placement placement = SomePlacement();
            placement.*field = value;
            ExpectTame(placement);
        }
    for (const int x : {kLeast, -1, kMost})
        for (const int y : {kLeast, -1, kMost}) {
            Placement placement = SomePlacement();
            placement.center = {x, y};
            placement.scan_height = y < 0 ? kMost : 80;
            ExpectTame(placement);
            placement.scan_height = kLeast;
            ExpectTame(placement);
        }
}

TEST(HostilePlacement, AnyLinesAreTame)
{
    const double values[] = {kNan, kInfinite, -kInfinite, 0.0, -0.0, 1e308, -1e308, 1e-308, 40.0, 0.5, -3.0};
    test::Random random(11);
    for (int round = 0; round < 20000; ++round) {
        Placement placement = SomePlacement();
        for (int k = random.Between(1, 4); k > 0; --k) {
            LineRec& line = placement.lines[static_cast<size_t>(random.Between(0, 3))];
            line.type = random.OneOf<sint32>({0, 1, 2, 3, 3, 3, 4, kLeast, kMost});
            line.a = values[random.Between(0, 10)];
            line.b = values[random.Between(0, 10)];
            line.angle = values[random.Between(0, 10)];
            line.center = {random.OneOf<sint32>({kLeast, 0, kMost}), random.OneOf<sint32>({kLeast, 0, kMost})};
        }
        ExpectTame(placement);
        if (HasFailure()) FAIL() << "round " << round;
    }
}

TEST(HostilePlacement, ParallelLinesHaveNoSpans)
{
    Placement placement = SomePlacement();
    placement.lines[3] = placement.lines[2];
    ExpectTame(placement);
    EXPECT_TRUE(SpansOf(placement).rows.empty());
}

TEST(HostilePlacement, ManyRowsAreAsManySpans)
{
    Placement placement = SomePlacement();
    placement.scan_height = 3000000;
    placement.lines = {test::LineThrough({10, 20}, {60, 20}), test::LineThrough({10, 20}, {10, 2999999}),
                       test::LineThrough({60, 2999999}, {60, 20}), test::LineThrough({60, 4000000}, {10, 4000000})};
    const RowSpans spans = SpansOf(placement);
    EXPECT_EQ(20, spans.top);
    EXPECT_EQ(2999999, spans.bottom);
    EXPECT_EQ(10, spans.rows.back().left);
    EXPECT_EQ(60, spans.rows.back().right);
}

} // namespace
