/*
 * Detection_test.cpp - what the stages found, and where they gave up.
 */
#include "Detection.cpp" /* for its file-private parts */

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitmapConversionTable.h"
#include "pages/PageMaker.h"
#include "pages/Stages.h"
#include "support/RandomBitmap.h"

namespace
{

using namespace quarlo;
using test::Drawn;
using test::ScannedOn;

/* A page of 300 x 240 pixels whose edges are those of pixels; nearer to the top than to the bottom of the scan. */
constexpr int kLeft = 50, kRight = 349, kTop = 20, kBottom = 259, kScanWidth = 420, kScanHeight = 330;
constexpr int kLow = kScanHeight - 1 - kBottom, kHigh = kScanHeight - 1 - kTop; /* its first and last row */

bool IsPage(int x, int y) { return x >= kLeft && x <= kRight && y >= kTop && y <= kBottom; }

Bitmap UprightPage()
{
    return Drawn(kScanWidth, kScanHeight, 8, [](int x, int y) { return IsPage(x, y) ? 200u : 20u; });
}

constexpr int kTiltedHeight = 850;
test::Sheet TiltedSheet(double angle) { return {{450, 420}, 601, 501, angle, 210}; }
Bitmap TiltedPage(double angle) { return ScannedOn(40, 900, kTiltedHeight, 8, {TiltedSheet(angle)}); }

Detection DetectDark(const Bitmap& scan, bool with_trace = false)
{
    return Detect(scan, Ground::dark, 100, with_trace);
}

void ExpectFailure(const Detection& detection, Code code, const char* stage, const char* reason)
{
    EXPECT_EQ(code, detection.code);
    EXPECT_STREQ(stage, detection.stage);
    EXPECT_STREQ(reason, detection.reason);
}

void ExpectPoint(double x, double y, Point got)
{
    EXPECT_EQ(x, got.x);
    EXPECT_EQ(y, got.y);
}

/* ---- Stages that give up ---- */

TEST(Detect, BlankPictureFailsInTheRange)
{
    ExpectFailure(DetectDark(ScannedOn(20, 400, 300, 8, {})), Code::no_page, "range",
                  "fewer than two rows hold more than 150 page pixels");
}

TEST(Detect, NarrowPageFailsInTheRangeFrom150PixelsOn)
{
    const auto page = [](int width) {
        return Drawn(400, 300, 8,
                     [=](int x, int y) { return x >= 50 && x < 50 + width && y > 49 && y < 250 ? 200u : 9u; });
    };
    ExpectFailure(DetectDark(page(150)), Code::no_page, "range",
                  "fewer than two rows hold more than 150 page pixels");
    EXPECT_EQ(Code::ok, DetectDark(page(151)).code);
}

TEST(Detect, JumpingBorderFailsInTheBorders)
{
    const Bitmap scan =
        Drawn(400, 300, 8, [](int x, int y) { return x > 20 + y % 2 * 40 && x < 330 ? 200u : 20u; });
    ExpectFailure(DetectDark(scan), Code::no_page, "borders", "a side of the page has no clear border");
}

TEST(Detect, ShortEdgeFailsInTheSplit)
{
    const Bitmap scan =
        Drawn(400, 300, 8, [](int x, int y) { return x > 20 && x < 330 && y > 99 && y < 130 ? 200u : 20u; });
    ExpectFailure(DetectDark(scan), Code::bad_argument, "split", "a page edge is too short");
}

TEST(Detect, CrookedEdgesFailInTheFrame)
{
    /* Leaning towards each other by 8 degrees at either side. */
    const Bitmap scan = Drawn(500, 400, 8, [](int x, int y) {
        const double lean = 0.14 * (y - 50), rise = 0.14 * (x - 250);
        return x > 50 + lean && x < 450 - lean && y > 50 + rise && y < 350 - rise ? 200u : 20u;
    });
    ExpectFailure(DetectDark(scan), Code::no_page, "frame", "the edges form no rectangle that lies in the picture");
}

TEST(Detect, PictureThatIsNoneIsToldSo)
{
    ExpectFailure(DetectDark(Bitmap()), Code::invalid_bitmap, "range", "the bitmap is not valid");
}

TEST(Reason, CodesThatSayItAllNeedNoStage)
{
    for (const char* stage : {"borders", "split", "frame"}) {
        EXPECT_STREQ("memory ran out", Reason(QL_OUT_OF_MEMORY, stage));
        EXPECT_STREQ("the points of a page edge span no line", Reason(QL_NO_LINE, stage));
        EXPECT_STREQ("a page edge is too ragged", Reason(QL_NO_EDGE, stage));
    }
}

TEST(Detect, SuccessHasNoReasonAndEndsWithTheFrame)
{
    ExpectFailure(DetectDark(UprightPage()), Code::ok, "frame", "");
}

TEST(Detect, FailureTellsTheSizeOfTheScanAllTheSame)
{
    const Placement placement = DetectDark(ScannedOn(20, 401, 302, 8, {})).placement;
    EXPECT_EQ(401, placement.scan_width);
    EXPECT_EQ(302, placement.scan_height);
}

/* ---- Edges ---- */

TEST(Detect, UprightPageIsFoundToThePixel)
{
    const Placement placement = DetectDark(UprightPage()).placement;
    EXPECT_EQ(kScanWidth, placement.scan_width);
    EXPECT_EQ(kScanHeight, placement.scan_height);
    EXPECT_EQ(0.0, placement.angle);
    EXPECT_EQ((kLeft + kRight + 1) / 2, placement.center.x);
    EXPECT_EQ((kLow + kHigh + 1) / 2, placement.center.y);
    EXPECT_EQ(kRight - kLeft, placement.width);
    EXPECT_EQ(kHigh - kLow, placement.height);
    const double expected[] = {kLow, kLeft, kRight, kHigh};
    const sint32 types[] = {1, 2, 2, 1};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(types[i], placement.lines[i].type);
        EXPECT_EQ(expected[i], placement.lines[i].a);
    }
}

TEST(Detect, EdgesAreMadeOfSegmentsOfSixLessFiveAtEitherEnd)
{
    const Detection detection = DetectDark(UprightPage());
    const int segments[] = {300 / 6 - 10, 240 / 6 - 10, 240 / 6 - 10, 300 / 6 - 10};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(segments[i], detection.edges[i].segments);
        EXPECT_EQ(6 * segments[i], detection.edges[i].points);
        EXPECT_EQ(0, detection.edges[i].dropped);
        EXPECT_EQ(0.0, detection.edges[i].line.rms);
    }
}

TEST(Detect, StraightEdgesAreFittedExactly)
{
    const Detection detection = DetectDark(UprightPage());
    EXPECT_EQ(0.0, detection.edges[0].line.angle_deg);
    EXPECT_EQ(90.0, std::fabs(detection.edges[1].line.angle_deg));
    EXPECT_EQ(90.0, std::fabs(detection.edges[2].line.angle_deg));
    EXPECT_EQ(0.0, detection.edges[3].line.angle_deg);
    ExpectPoint((kLeft + kRight) / 2.0, kLow, detection.edges[0].line.mean);
    ExpectPoint(kLeft, (kLow + kHigh) / 2.0, detection.edges[1].line.mean);
    ExpectPoint(kRight, (kLow + kHigh) / 2.0, detection.edges[2].line.mean);
    ExpectPoint((kLeft + kRight) / 2.0, kHigh, detection.edges[3].line.mean);
}

TEST(Detect, UprightEdgesOfATiltedPageAreFittedToAFewHundredthsOfADegree)
{
    for (const double angle : {-20.0, -5.0, 5.0, 20.0}) {
        const Detection detection = DetectDark(TiltedPage(angle));
        ASSERT_EQ(Code::ok, detection.code);
        int upright = 0;
        for (const EdgePoints& edge : detection.edges) {
            if (std::fabs(edge.line.angle_deg) < 45.0) continue;
            /* In rows, what leans to the left for the eye as it rises does so in numbers. */
            EXPECT_NEAR(0.0, std::remainder(edge.line.angle_deg - angle, 90.0), 0.05);
            EXPECT_GT(0.4, edge.line.rms);
            EXPECT_LT(0.1, edge.line.rms);
            ++upright;
        }
        EXPECT_EQ(2, upright);
    }
}

TEST(Detect, BumpOnAnEdgeIsDroppedFromItAlone)
{
    /* Twelve rows from the twentieth segment on reach out, but not so far as to end the chain of points. */
    const Bitmap scan = Drawn(kScanWidth, kScanHeight, 8, [](int x, int y) {
        const int row = kScanHeight - 1 - y - kLow;
        const bool bump = row >= 120 && row < 132 && x >= kLeft - 30 && x < kLeft;
        return IsPage(x, y) || bump ? 200u : 20u;
    });
    const Detection detection = DetectDark(scan);
    ASSERT_EQ(Code::ok, detection.code);
    EXPECT_EQ(2, detection.edges[1].dropped);
    EXPECT_EQ(28, detection.edges[1].segments);
    EXPECT_EQ(6 * 28, detection.edges[1].points);
    EXPECT_EQ(0.0, detection.edges[1].line.rms);
    EXPECT_EQ(0, detection.edges[0].dropped);
    EXPECT_EQ(0, detection.edges[2].dropped);
    EXPECT_EQ(0, detection.edges[3].dropped);
}

/* ---- Lines ---- */

FittedLine FittedTo(std::vector<std::vector<PointRec>> runs)
{
    std::vector<BorderLineRec> segments;
    for (std::vector<PointRec>& run : runs)
        segments.push_back(
            {static_cast<sint32>(run.size()), static_cast<sint32>(run.size()), run.data(), 1, {0, 0}});
    const sint32 count = static_cast<sint32>(segments.size());
    return FitLine({count, count, 0, segments.data()});
}

TEST(FitLine, PointsOnALineGiveThatLine)
{
    const FittedLine line = FittedTo({{{0, 0}, {1, 2}, {2, 4}}, {{3, 6}, {4, 8}}});
    ExpectPoint(2.0, 4.0, line.mean);
    EXPECT_NEAR(std::atan(2.0) * 180.0 / M_PI, line.angle_deg, 1e-12);
    EXPECT_NEAR(0.0, line.rms, 1e-7);
    EXPECT_NEAR(-45.0, FittedTo({{{0, 9}, {9, 0}}}).angle_deg, 1e-12);
}

TEST(FitLine, DistancesAreTakenAtARightAngle)
{
    const FittedLine level = FittedTo({{{0, 6}, {0, 4}, {100, 4}, {100, 6}}});
    ExpectPoint(50.0, 5.0, level.mean);
    EXPECT_EQ(0.0, level.angle_deg);
    EXPECT_DOUBLE_EQ(1.0, level.rms);
    const FittedLine upright = FittedTo({{{6, 0}, {4, 0}, {4, 100}, {6, 100}}});
    EXPECT_EQ(90.0, std::fabs(upright.angle_deg));
    EXPECT_DOUBLE_EQ(1.0, upright.rms);
}

TEST(FitLine, NoPointsGiveNoLine)
{
    const FittedLine line = FittedTo({});
    ExpectPoint(0.0, 0.0, line.mean);
    EXPECT_EQ(0.0, line.angle_deg);
    EXPECT_EQ(0.0, line.rms);
}

TEST(FitLine, FarPointsLoseNothing)
{
    const FittedLine line = FittedTo({{{2000000000, 2000000000}, {2000000002, 2000000000}}});
    ExpectPoint(2000000001.0, 2000000000.0, line.mean);
    EXPECT_EQ(0.0, line.angle_deg);
    EXPECT_EQ(0.0, line.rms);
}

/* ---- Trace ---- */

TEST(Trace, IsThereOnRequestOnly)
{
    const Trace none = DetectDark(UprightPage()).trace;
    EXPECT_FALSE(none.has_extremes);
    for (const Trace::Side& side : none.sides) {
        EXPECT_TRUE(side.points.empty());
        EXPECT_TRUE(side.segments.empty());
    }
    EXPECT_TRUE(DetectDark(UprightPage(), true).trace.has_extremes);
}

TEST(Trace, SidesAreLeftRightTopBottomForTheEye)
{
    const Trace trace = DetectDark(UprightPage(), true).trace;
    const size_t counts[] = {240, 240, 300, 300};
    for (size_t i = 0; i < 4; ++i) ASSERT_EQ(counts[i], trace.sides[i].points.size());
    for (const Point& p : trace.sides[0].points) EXPECT_EQ(kLeft, p.x);
    for (const Point& p : trace.sides[1].points) EXPECT_EQ(kRight, p.x);
    for (const Point& p : trace.sides[2].points) EXPECT_EQ(kHigh, p.y);
    for (const Point& p : trace.sides[3].points) EXPECT_EQ(kLow, p.y);
}

TEST(Trace, ExtremesAreLeftmostRightmostTopmostBottommostForTheEye)
{
    const double angle = 10.0;
    const Trace trace = DetectDark(TiltedPage(angle), true).trace;
    const std::array<Point, 4> corners = test::OutlineOf(TiltedSheet(angle));
    /* The top edge rises to the right. Rows with up to 150 pixels of the page do not count. */
    const double cut = 150.0 * std::sin(angle * test::kRadians) * std::cos(angle * test::kRadians);
    EXPECT_NEAR(corners[0].x, trace.extremes[0].x, 2.0);
    EXPECT_NEAR(kTiltedHeight - 1 - corners[0].y, trace.extremes[0].y, 4.0);
    EXPECT_NEAR(corners[2].x, trace.extremes[1].x, 2.0);
    EXPECT_NEAR(kTiltedHeight - 1 - corners[2].y, trace.extremes[1].y, 4.0);
    EXPECT_NEAR(kTiltedHeight - 1 - corners[1].y - cut, trace.extremes[2].y, 2.0);
    EXPECT_NEAR(kTiltedHeight - 1 - corners[3].y + cut, trace.extremes[3].y, 2.0);
}

TEST(Trace, SegmentsCoverThePointsAndTellWhichWereKept)
{
    const Detection detection = DetectDark(UprightPage(), true);
    for (const Trace::Side& side : detection.trace.sides) {
        int next = 0;
        for (size_t k = 0; k < side.segments.size(); ++k) {
            EXPECT_EQ(next, side.segments[k].first);
            EXPECT_EQ(6, side.segments[k].count);
            EXPECT_EQ(k >= 5 && k + 5 < side.segments.size(), side.segments[k].kept);
            next += side.segments[k].count;
        }
        EXPECT_EQ(side.points.size(), static_cast<size_t>(next));
    }
}

TEST(Trace, OfSidesThatWereNotFoundIsEmpty)
{
    const Bitmap scan =
        Drawn(400, 300, 8, [](int x, int y) { return x > 20 + y % 2 * 40 && x < 330 ? 200u : 20u; });
    const Trace trace = DetectDark(scan, true).trace;
    EXPECT_FALSE(trace.has_extremes);
    for (const Trace::Side& side : trace.sides) EXPECT_TRUE(side.points.empty());
}

TEST(Trace, OfAFailedSplitHasPointsButKeptNone)
{
    const Bitmap scan =
        Drawn(400, 300, 8, [](int x, int y) { return x > 20 && x < 330 && y > 99 && y < 130 ? 200u : 20u; });
    const Trace trace = DetectDark(scan, true).trace;
    EXPECT_TRUE(trace.has_extremes);
    EXPECT_EQ(30u, trace.sides[0].points.size());
    for (const Trace::Side& side : trace.sides)
        for (const Trace::Segment& segment : side.segments) EXPECT_FALSE(segment.kept);
}

/* ---- What detection reads ---- */

TEST(Detect, ColourIsReadAsTheLibraryReadsIt)
{
    /* A grey of three equal bytes counts as another level than the byte alone. */
    const auto level = [](std::uint32_t grey) {
        return GrayChangeTable[(RedToGrayTable[grey] + GreenToGrayTable[grey] + BlueToGrayTable[grey]) >> 10];
    };
    const Bitmap grey = TiltedPage(7.0);
    const Bitmap colour =
        Drawn(grey.width(), grey.height(), 24, [&](int x, int y) { return test::PixelAt(grey, x, y) * 0x010101u; });
    const Bitmap same = Drawn(grey.width(), grey.height(), 8,
                              [&](int x, int y) -> std::uint32_t { return level(test::PixelAt(grey, x, y)); });
    for (const int threshold : {60, 100, 150, 180}) {
        const Detection a = DetectDark(colour), b = DetectDark(same);
        ASSERT_EQ(Code::ok, a.code) << threshold;
        EXPECT_EQ(a.placement.angle, b.placement.angle);
        EXPECT_EQ(a.placement.center.x, b.placement.center.x);
        EXPECT_EQ(a.placement.center.y, b.placement.center.y);
        EXPECT_EQ(a.placement.width, b.placement.width);
        EXPECT_EQ(a.placement.height, b.placement.height);
        for (size_t i = 0; i < 4; ++i) EXPECT_EQ(a.edges[i].points, b.edges[i].points);
    }
}

TEST(Detect, LightGroundTakesABandAboutTheThresholdForGround)
{
    /* From 9 levels off on, a pixel is the page's. */
    const auto scan = [](int off) {
        return Drawn(420, 330, 8,
                     [=](int x, int y) { return static_cast<unsigned>(IsPage(x, y) ? 200 + off : 200); });
    };
    for (const int off : {-9, 9}) EXPECT_EQ(Code::ok, Detect(scan(off), Ground::light, 200, false).code) << off;
    for (const int off : {-8, 8})
        EXPECT_EQ(Code::no_page, Detect(scan(off), Ground::light, 200, false).code) << off;
}

TEST(Detect, EveryThresholdIsTaken)
{
    const Bitmap scan = UprightPage();
    for (int threshold = 1; threshold <= 255; ++threshold) {
        EXPECT_EQ(threshold >= 20 && threshold < 200,
                  Detect(scan, Ground::dark, threshold, false).placement.width == 299)
            << threshold;
        const Detection light = Detect(scan, Ground::light, threshold, false);
        EXPECT_EQ(threshold > 11 && threshold < 29, light.code == Code::ok && light.placement.width == 299)
            << threshold;
    }
}

} // namespace
