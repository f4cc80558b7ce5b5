/*
 * Score_test.cpp - right frames score high, wrong ones low, and the score says why.
 */
#include <cmath>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "Score.h"
#include "pages/PageMaker.h"

namespace
{

using namespace quarlo;
using test::Scanned;
using test::ScannedOn;
using test::Sheet;

constexpr int kScanWidth = 500, kScanHeight = 440;
constexpr Sheet kSheet = {{250, 220}, 301, 241, 4.0, 210};

/* What detection would tell that had found just this sheet: its placement, and its edges as fitted lines. */
Detection DetectionOf(const Bitmap& scan, const Sheet& sheet)
{
    Detection detection;
    detection.placement = test::PlacementOf(scan, sheet);
    const std::array<Point, 4> outline = test::OutlineOf(sheet);
    for (size_t i = 0; i < 4; ++i) {
        const Point a = outline[i], b = outline[(i + 1) % 4];
        EdgePoints& edge = detection.edges[i];
        edge.points = static_cast<int>(std::hypot(b.x - a.x, b.y - a.y));
        edge.segments = edge.points / 6;
        edge.line.mean = {(a.x + b.x) / 2.0, scan.height() - 1 - (a.y + b.y) / 2.0};
        edge.line.angle_deg = std::remainder(std::atan2(a.y - b.y, b.x - a.x) / test::kRadians, 180.0);
    }
    return detection;
}

Evidence Weighed(const Bitmap& scan, const Detection& detection)
{
    return Weigh(GreyView(scan), detection, kThorough);
}

Evidence Weighed(const Bitmap& scan, const Sheet& frame) { return Weighed(scan, DetectionOf(scan, frame)); }

Bitmap Clean(int depth = 8) { return ScannedOn(30, kScanWidth, kScanHeight, depth, {kSheet}); }

Sheet Moved(double x, double y)
{
    Sheet sheet = kSheet;
    sheet.center = {sheet.center.x + x, sheet.center.y + y};
    return sheet;
}

void ExpectWeakness(const char* weakness, const Evidence& evidence) { EXPECT_STREQ(weakness, evidence.weakness); }

/* ---- Right frames ---- */

TEST(Score, PerfectFrameOfACleanPageIsTrusted)
{
    for (const int depth : {1, 8, 24})
        for (const double angle : {-40.0, -12.0, 0.0, 4.0, 30.0}) {
            Sheet sheet = kSheet;
            sheet.clockwise_deg = angle;
            const Bitmap scan = ScannedOn(30, kScanWidth, kScanHeight, depth, {sheet});
            const Evidence evidence = Weighed(scan, sheet);
            EXPECT_LE(0.99, evidence.score) << angle << " " << depth << " " << evidence.weakness;
            EXPECT_GE(1.0, evidence.score);
            EXPECT_EQ(4, evidence.real);
            EXPECT_NEAR(0.0, evidence.skew_error_deg, 0.1);
            EXPECT_NEAR(0.0, evidence.parallel_deg, 1e-6);
            EXPECT_NEAR(0.0, evidence.square_deg, 1e-6);
            for (const EdgeEvidence& edge : evidence.edges) {
                EXPECT_NEAR(0.0, edge.lean_deg, 1e-5);
                EXPECT_LE(0.95, edge.support);
                EXPECT_FALSE(edge.at_border);
                EXPECT_LE(0.95, edge.span);
            }
        }
}

TEST(Score, LevelsBesideTheEdgesAreThoseOfPageAndGround)
{
    for (const EdgeEvidence& edge : Weighed(Clean(), kSheet).edges) {
        EXPECT_EQ(210, edge.inside);
        EXPECT_EQ(30, edge.outside);
        EXPECT_NEAR(180, edge.contrast, 25);
    }
}

TEST(Score, ContrastOfADarkerPageIsNegative)
{
    Sheet dark = kSheet;
    dark.grey = 60;
    const Evidence evidence = Weighed(ScannedOn(220, kScanWidth, kScanHeight, 8, {dark}), dark);
    EXPECT_LE(0.99, evidence.score);
    for (const EdgeEvidence& edge : evidence.edges) EXPECT_NEAR(-160, edge.contrast, 25);
}

TEST(Score, EdgesAreTopRightBottomLeftAndKnowTheirLines)
{
    const Bitmap scan = Clean();
    Detection detection = DetectionOf(scan, kSheet);
    std::swap(detection.edges[0], detection.edges[3]);
    const Evidence evidence = Weighed(scan, detection);
    const size_t expected[] = {3, 1, 2, 0};
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(expected[i], evidence.edges[i].set);
}

/* ---- Frames beside the page ---- */

TEST(Score, ShiftedFrameScoresLowerAndTellsWhichWay)
{
    const Bitmap scan = Clean();
    const double perfect = Weighed(scan, kSheet).score;
    double last = perfect;
    for (const int shift : {3, 6, 9}) {
        const Evidence evidence = Weighed(scan, Moved(shift, 0));
        EXPECT_LT(evidence.rank, last) << shift;
        last = evidence.rank;
        EXPECT_NEAR(shift, evidence.edges[1].shift, 0.6); /* the page's right edge lies inside the frame's */
        EXPECT_NEAR(-shift, evidence.edges[3].shift, 0.6);
    }
    const Evidence evidence = Weighed(scan, Moved(6, 0));
    EXPECT_LT(evidence.score, 0.99);
    EXPECT_LT(evidence.score, perfect);
    ExpectWeakness("the edges in the picture lie beside the frame", evidence);
    EXPECT_NEAR(1.0 - 12.0 / 300, evidence.overlap, 0.006);
}

TEST(Score, TurnedFrameScoresLowerAndTellsByHowMuch)
{
    const Bitmap scan = Clean();
    const double perfect = Weighed(scan, kSheet).score;
    for (const double turn : {-1.0, 1.0}) {
        Sheet turned = kSheet;
        turned.clockwise_deg += turn;
        const Evidence evidence = Weighed(scan, turned);
        EXPECT_LT(evidence.score, 0.5 * perfect);
        EXPECT_NEAR(1.0, evidence.skew_error_deg, 0.05);
        ExpectWeakness("the edges in the picture are turned against the frame", evidence);
    }
}

TEST(Score, LargerFrameScoresLowerAndTellsThatThePageLiesInside)
{
    const Bitmap scan = Clean();
    Sheet larger = kSheet;
    larger.width = std::round(kSheet.width * 1.05);
    larger.height = std::round(kSheet.height * 1.05);
    const Evidence evidence = Weighed(scan, larger);
    EXPECT_LT(evidence.score, 0.8 * Weighed(scan, kSheet).score);
    for (size_t i = 0; i < 4; ++i) EXPECT_NEAR(i % 2 == 0 ? 6.0 : 7.5, evidence.edges[i].shift, 1.1);
    ExpectWeakness("the edges in the picture lie beside the frame", evidence);
}

TEST(Score, SmallerFrameTellsThatThePageReachesFurther)
{
    Sheet smaller = kSheet;
    smaller.width -= 12;
    smaller.height -= 12;
    const Evidence evidence = Weighed(Clean(), smaller);
    for (const EdgeEvidence& edge : evidence.edges) EXPECT_NEAR(-6.0, edge.shift, 1.0);
    EXPECT_LT(evidence.score, 0.9);
}

TEST(Score, FrameWithoutAPageScoresNothing)
{
    const Evidence evidence = Weighed(ScannedOn(90, kScanWidth, kScanHeight, 8, {}), kSheet);
    EXPECT_EQ(0.0, evidence.score);
    ExpectWeakness("too little of an edge shows a step from ground to page", evidence);
}

/* ---- The picture's border ---- */

Detection WholePicture(const Bitmap& scan)
{
    return DetectionOf(scan, {{249.5, 219.5}, kScanWidth - 1.0, kScanHeight - 1.0, 0.0, 0});
}

TEST(Score, WholePictureScoresNothing)
{
    for (const double grey : {0.0, 128.0, 255.0}) {
        const Bitmap scan = ScannedOn(grey, kScanWidth, kScanHeight, 8, {});
        const Evidence evidence = Weighed(scan, WholePicture(scan));
        EXPECT_EQ(0.0, evidence.score);
        EXPECT_EQ(0, evidence.real);
        ExpectWeakness("the frame is the whole picture", evidence);
    }
}

/* A sheet that the given sides of the scan cut off, and the frame of what is left. */
struct Cut {
    Sheet sheet, frame;
};

TEST(Score, EdgeAtTheBorderIsCutOff)
{
    const Sheet sheet = {{100, 220}, 401, 301, 0.0, 210}; /* from -100 to 300 */
    const Sheet frame = {{150, 220}, 301, 301, 0.0, 210};
    const Bitmap scan = ScannedOn(30, kScanWidth, kScanHeight, 8, {sheet});
    const Evidence evidence = Weighed(scan, frame);
    const bool expected[] = {false, false, false, true};
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(expected[i], evidence.edges[i].at_border);
    EXPECT_EQ(3, evidence.real);
    EXPECT_EQ(210, evidence.edges[3].inside);
    EXPECT_NEAR(0.97, evidence.score, 1e-9);
    ExpectWeakness("the border of the picture cuts off too many edges", evidence);
}

TEST(Score, EachCutOffEdgeCosts)
{
    const Sheet three = {{150, 220}, 301, 301, 0.0, 210};
    const Sheet two = {{150, 150}, 301, 301, 0.0, 210};
    const auto score = [](const Sheet& frame) {
        return Weighed(ScannedOn(30, kScanWidth, kScanHeight, 8, {frame}), frame).score;
    };
    EXPECT_NEAR(0.97, score(three), 1e-9);
    EXPECT_NEAR(0.9, score(two), 1e-9);
    EXPECT_NEAR(0.4, score({{249.5, 150}, kScanWidth, 301, 0.0, 210}), 1e-9);
}

TEST(Score, TwoCutOffEdgesOfAPageThatFillsThePictureAreDoubted)
{
    const Sheet frame = {{243, 215}, 487, 431, 0.0, 210};
    const Evidence evidence = Weighed(ScannedOn(30, kScanWidth, kScanHeight, 8, {frame}), frame);
    EXPECT_EQ(2, evidence.real);
    EXPECT_NEAR(0.36, evidence.score, 0.2);
    EXPECT_LT(evidence.score, 0.6);
}

TEST(Score, PageThatDoesNotReachTheBorderScoresNothing)
{
    const Sheet sheet = {{180, 220}, 241, 301, 0.0, 210}; /* from 60 to 300 */
    const Sheet frame = {{150, 220}, 301, 301, 0.0, 210};
    const Evidence evidence = Weighed(ScannedOn(30, kScanWidth, kScanHeight, 8, {sheet}), frame);
    EXPECT_TRUE(evidence.edges[3].at_border);
    EXPECT_EQ(30, evidence.edges[3].inside);
    EXPECT_EQ(0.0, evidence.score);
    ExpectWeakness("the page does not reach the border that is said to cut it off", evidence);
}

TEST(Score, LineThatTheBorderMadeIsCutOffToo)
{
    /* The frame leaves a few pixels, but the points of its edge are those of the border. */
    const Sheet sheet = {{152, 220}, 305, 301, 0.0, 210};
    const Sheet frame = {{156, 220}, 297, 301, 0.0, 210};
    const Bitmap scan = ScannedOn(30, kScanWidth, kScanHeight, 8, {sheet});
    Detection detection = DetectionOf(scan, frame);
    detection.edges[3].line.mean.x = 0.0;
    EXPECT_TRUE(Weighed(scan, detection).edges[3].at_border);
    detection.edges[3].line.mean.x = 8.0;
    EXPECT_FALSE(Weighed(scan, detection).edges[3].at_border);
}

/* ---- Weaknesses ---- */

TEST(Weakness, HalfAnEdgeWithoutAStep)
{
    /* The ground beside half of the top edge is as bright as the page. */
    const Sheet upright = {{250, 220}, 301, 241, 0.0, 210};
    const Bitmap scan = Scanned(kScanWidth, kScanHeight, 8,
                                [](int x, int y) { return x < 250 && y < 150 ? 210.0 : 30.0; }, {upright});
    const Evidence evidence = Weighed(scan, upright);
    EXPECT_NEAR(0.5, evidence.edges[0].support, 0.05);
    EXPECT_LT(evidence.score, 0.55);
    ExpectWeakness("too little of an edge shows a step from ground to page", evidence);
}

TEST(Weakness, PageBetweenTwoGrounds)
{
    Sheet page = kSheet;
    page.grey = 140;
    const Bitmap scan =
        Scanned(kScanWidth, kScanHeight, 8, [](int x, int) { return x < 250 ? 30.0 : 250.0; }, {page});
    const Evidence evidence = Weighed(scan, page);
    EXPECT_LT(evidence.score, 0.31);
    EXPECT_LT(evidence.edges[1].contrast, 0.0);
    EXPECT_GT(evidence.edges[3].contrast, 0.0);
    ExpectWeakness("the page is brighter than the ground at one edge and darker at another", evidence);
}

TEST(Weakness, FaintEdge)
{
    const Sheet upright = {{250, 220}, 301, 241, 0.0, 210};
    const Bitmap scan =
        Scanned(kScanWidth, kScanHeight, 8, [](int x, int) { return x > 390 ? 188.0 : 30.0; }, {upright});
    const Evidence evidence = Weighed(scan, upright);
    EXPECT_NEAR(22.0 / 180 / 0.2, evidence.score, 0.02);
    ExpectWeakness("an edge is much fainter than the others", evidence);
}

TEST(Weakness, FewPoints)
{
    const Bitmap scan = Clean();
    Detection detection = DetectionOf(scan, kSheet);
    detection.edges[2].points = 60; /* a fifth of 300 */
    const Evidence evidence = Weighed(scan, detection);
    EXPECT_NEAR(0.2, evidence.edges[2].span, 0.01);
    EXPECT_NEAR(0.2 / 0.3, evidence.score, 0.02);
    ExpectWeakness("too little of an edge was found", evidence);
}

TEST(Weakness, OppositeLinesThatLean)
{
    const Bitmap scan = Clean();
    Detection detection = DetectionOf(scan, kSheet);
    detection.edges[1].line.angle_deg += 2.5;
    const Evidence evidence = Weighed(scan, detection);
    EXPECT_NEAR(2.5, evidence.parallel_deg, 1e-9);
    EXPECT_NEAR(2.5, evidence.square_deg, 1e-9);
    EXPECT_NEAR(2.5, evidence.edges[1].lean_deg, 1e-5);
    EXPECT_NEAR(0.5, evidence.score, 0.01);
    ExpectWeakness("opposite edges are not parallel", evidence);
}

/* ---- Frames that lie anywhere ---- */

TEST(Score, FramesOutsideOfThePictureAndTinyPicturesAreTame)
{
    for (const auto& [width, height] : {std::pair<int, int>{1, 1}, {2, 2}, {3, 200}, {kScanWidth, kScanHeight}}) {
        const Bitmap scan = ScannedOn(255, width, height, 8, {});
        for (const Sheet& sheet : {Sheet{{0, 0}, 1, 1, 0, 0}, Sheet{{-5000, 3000}, 400, 300, 20, 0},
                                   Sheet{{10, 10}, 30000, 20000, -40, 0}, Sheet{{250, 220}, 1, 3000, 7, 0}}) {
            const Evidence evidence = Weighed(scan, sheet);
            EXPECT_EQ(0.0, evidence.score);
        }
    }
}

TEST(Score, GlanceAndThoroughLookAgreeOnACleanPage)
{
    const Bitmap scan = Clean();
    const Detection detection = DetectionOf(scan, kSheet);
    EXPECT_NEAR(Weigh(GreyView(scan), detection, kThorough).score, Weigh(GreyView(scan), detection, kGlance).score,
                0.05);
}

} // namespace
