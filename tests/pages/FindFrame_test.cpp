/*
 * FindFrame_test.cpp - the page is found on either ground and at every depth, and nothing is found where there is none.
 */
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "pages/PageMaker.h"
#include "support/RandomBitmap.h"

namespace
{

using namespace quarlo;
using test::Drawn;
using test::Scanned;
using test::ScannedOn;
using test::Sheet;

Frame Found(const Bitmap& scan) { return FindFrame(scan, {}); }

Frame FoundByHand(const Bitmap& scan, Ground ground, int threshold)
{
    SearchOptions options;
    options.ground = ground;
    options.threshold = threshold;
    return FindFrame(scan, options);
}

/*
 * The frame is the sheet's: its angle, its corners to some pixels. The library tells the mean of half an edge's points
 * in whole pixels, so that angles of small pages are off by some tenths of a degree.
 */
void ExpectSheet(const Sheet& sheet, const Frame& frame, double degrees, double pixels)
{
    ASSERT_TRUE(frame.found) << frame.problem.stage << ": " << frame.problem.reason;
    EXPECT_FALSE(frame.problem) << frame.problem.reason;
    EXPECT_NEAR(sheet.clockwise_deg, frame.angle_deg, degrees);
    const std::array<Point, 4> corners = test::OutlineOf(sheet);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(corners[i].x, frame.corners[i].x, pixels) << i;
        EXPECT_NEAR(corners[i].y, frame.corners[i].y, pixels) << i;
    }
}

void ExpectSamePoints(const std::array<Point, 4>& a, const std::array<Point, 4>& b)
{
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(a[i].x, b[i].x);
        EXPECT_EQ(a[i].y, b[i].y);
    }
}

void ExpectSameFrame(const Frame& a, const Frame& b)
{
    EXPECT_EQ(a.problem.code, b.problem.code);
    EXPECT_EQ(a.problem.stage, b.problem.stage);
    EXPECT_EQ(a.problem.reason, b.problem.reason);
    EXPECT_EQ(a.found, b.found);
    EXPECT_EQ(a.ground, b.ground);
    EXPECT_EQ(a.threshold, b.threshold);
    EXPECT_EQ(a.prepared, b.prepared);
    EXPECT_EQ(a.placement.angle, b.placement.angle);
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    EXPECT_EQ(a.center.x, b.center.x);
    EXPECT_EQ(a.center.y, b.center.y);
    ExpectSamePoints(a.corners, b.corners);
    EXPECT_EQ(a.score, b.score);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(a.edges[i].points, b.edges[i].points);
        EXPECT_EQ(a.edges[i].segments, b.edges[i].segments);
        EXPECT_EQ(a.edges[i].support, b.edges[i].support);
        EXPECT_EQ(a.edges[i].rms_px, b.edges[i].rms_px);
    }
}

/* ---- Clean pages ---- */

struct Clean {
    double angle;
    int depth;
    bool dark; /* the ground */
};

void PrintTo(const Clean& clean, std::ostream* stream)
{
    *stream << clean.angle << " degrees, " << clean.depth << " bits, " << (clean.dark ? "dark" : "light")
            << " ground";
}

class FindFrameOfCleanPage : public testing::TestWithParam<Clean>
{
};

TEST_P(FindFrameOfCleanPage, HasItsAngleAndItsCorners)
{
    const Clean clean = GetParam();
    const Sheet sheet = {{610.3, 650.6}, 720.4, 980.2, clean.angle, clean.dark ? 215.0 : 70.0};
    const Frame frame = Found(ScannedOn(clean.dark ? 25 : 235, 1230, 1290, clean.depth, {sheet}));
    ExpectSheet(sheet, frame, 0.1, 6.0);
    EXPECT_LE(0.9, frame.score);
    EXPECT_EQ(clean.dark ? Ground::dark : Ground::light, frame.ground);
}

std::vector<Clean> CleanPages()
{
    std::vector<Clean> pages;
    for (int angle = -30; angle <= 30; angle += 15)
        for (const int depth : {1, 8, 24})
            for (const bool dark : {true, false}) pages.push_back({0.99 * angle + 0.17, depth, dark});
    return pages;
}

INSTANTIATE_TEST_SUITE_P(Sweep, FindFrameOfCleanPage, testing::ValuesIn(CleanPages()));

TEST(FindFrame, BlankSheetOfHalfADegreeIsMeasuredToHundredths)
{
    const Sheet sheet = {{600, 800}, 900, 1270, 0.465, 225};
    const Frame frame = Found(ScannedOn(30, 1200, 1600, 8, {sheet}));
    ExpectSheet(sheet, frame, 0.03, 2.0);
}

TEST(FindFrame, EdgesToldAreTopRightBottomLeft)
{
    const Sheet sheet = {{400, 320}, 500, 380, 3.0, 215};
    SearchOptions options;
    options.trace = true;
    const Frame frame = FindFrame(ScannedOn(25, 800, 640, 8, {sheet}), options);
    ExpectSheet(sheet, frame, 0.35, 6.0);
    const std::array<Point, 4> corners = test::OutlineOf(sheet);
    for (size_t i = 0; i < 4; ++i) {
        const Edge& edge = frame.edges[i];
        EXPECT_LT(0.95, edge.support);
        EXPECT_NEAR(190, edge.contrast, 30);
        EXPECT_FALSE(edge.at_border);
        EXPECT_GT(edge.points, i % 2 == 0 ? 300 : 200);
        ASSERT_TRUE(frame.trace.has_fitted[i]);
        for (size_t end = 0; end < 2; ++end) {
            EXPECT_NEAR(corners[(i + end) % 4].x, frame.trace.fitted[i][end].x, 6.0);
            EXPECT_NEAR(corners[(i + end) % 4].y, frame.trace.fitted[i][end].y, 6.0);
        }
    }
}

TEST(FindFrame, TraceIsToldAsPeopleSeeIt)
{
    const Bitmap scan =
        Drawn(500, 400, 8, [](int x, int y) { return x >= 60 && x < 360 && y >= 30 && y < 280 ? 220u : 20u; });
    SearchOptions options;
    options.trace = true;
    const Trace trace = FindFrame(scan, options).trace;
    ASSERT_TRUE(trace.has_extremes);
    ASSERT_EQ(300u, trace.sides[2].points.size());
    ASSERT_EQ(300u, trace.sides[3].points.size());
    for (const Point& p : trace.sides[2].points) EXPECT_EQ(30.0, p.y);
    for (const Point& p : trace.sides[3].points) EXPECT_EQ(279.0, p.y);
    EXPECT_EQ(60.0, trace.extremes[0].x);
    EXPECT_EQ(359.0, trace.extremes[1].x);
    EXPECT_EQ(30.0, trace.extremes[2].y);
    EXPECT_EQ(279.0, trace.extremes[3].y);
    const Trace none = Found(scan).trace;
    EXPECT_FALSE(none.has_extremes);
    EXPECT_TRUE(none.sides[0].points.empty());
}

TEST(FindFrame, BlackAndWhiteIsTheSameAtEightAndTwentyFourBits)
{
    /* Only black and white are read as the same level from both. */
    for (const double angle : {-7.0, 0.0, 3.3}) {
        const Sheet sheet = {{400, 320}, 500, 380, angle, 255};
        const auto scan = [&](int depth) {
            const Bitmap bits = ScannedOn(0, 800, 640, 1, {sheet});
            return Drawn(800, 640, depth,
                         [&](int x, int y) { return test::PixelAt(bits, x, y) * (depth == 8 ? 255u : 0xFFFFFFu); });
        };
        const Frame grey = Found(scan(8)), colour = Found(scan(24));
        ExpectSheet(sheet, grey, 0.35, 6.0);
        ExpectSameFrame(grey, colour);
    }
}

/* ---- Pictures without a page ---- */

void ExpectNothing(const Bitmap& scan, const std::string& what)
{
    const Frame frame = Found(scan);
    EXPECT_TRUE(frame.problem) << what << " " << frame.score;
    EXPECT_FALSE(frame.problem.stage.empty()) << what;
    EXPECT_FALSE(frame.problem.reason.empty()) << what;
}

TEST(FindFrame, PlainPicturesHoldNoPage)
{
    for (const int depth : {1, 8, 24})
        for (const double grey : {0.0, 127.0, 255.0}) ExpectNothing(ScannedOn(grey, 400, 300, depth, {}), "plain");
}

TEST(FindFrame, NoiseHoldsNoPage)
{
    for (const int depth : {1, 8, 24}) ExpectNothing(test::NoiseBitmap(400, 300, depth), "noise");
    ExpectNothing(Drawn(400, 300, 8, [](int x, int y) { return 100 + test::Noise(x, y, 4); }), "faint noise");
    ExpectNothing(Drawn(400, 300, 8, [](int x, int y) { return test::Noise(x / 9, y / 9, 8); }), "coarse noise");
}

TEST(FindFrame, TinyPicturesHoldNoPage)
{
    const std::pair<int, int> sizes[] = {{1, 1}, {2, 2}, {1, 2}, {2, 1}, {3, 400}, {400, 3}, {1, 3000}, {3000, 1}};
    for (const int depth : {1, 8, 24})
        for (const auto& [width, height] : sizes)
            for (const double grey : {0.0, 255.0})
                ExpectNothing(ScannedOn(grey, width, height, depth, {}),
                              std::to_string(width) + "x" + std::to_string(height));
}

TEST(FindFrame, PageInAPictureOf150PixelsIsFoundInAnEnlargedCopy)
{
    const Sheet sheet = {{75, 110}, 100, 160, 2.0, 215};
    const Frame frame = Found(ScannedOn(25, 150, 220, 8, {sheet}));
    ExpectSheet(sheet, frame, 0.5, 2.0);
    EXPECT_EQ("what is brighter than the ground, smoothed, enlarged 4 times", frame.prepared);
    ExpectNothing(ScannedOn(25, 150, 220, 8, {}), "150 wide");
}

TEST(FindFrame, WhatACopyShowsIsToldInPixelsOfTheScan)
{
    /* Columns 25 to 124: left and right of their middle, 74.5, the copy is the same. */
    const Bitmap scan =
        Drawn(150, 220, 8, [](int x, int y) { return x >= 25 && x < 125 && y >= 30 && y < 190 ? 210u : 30u; });
    SearchOptions options;
    options.trace = true;
    const Frame frame = FindFrame(scan, options);
    ASSERT_NE("", frame.prepared);
    EXPECT_EQ(2 * 74.5, frame.trace.extremes[0].x + frame.trace.extremes[1].x);
    EXPECT_EQ(2 * 109.5, frame.trace.extremes[2].y + frame.trace.extremes[3].y);
    EXPECT_NEAR(24.5, frame.trace.extremes[0].x, 0.5);
    EXPECT_NEAR(24.5, frame.trace.fitted[3][0].x, 0.5);
    EXPECT_NEAR(124.5, frame.trace.fitted[1][0].x, 0.5);
    EXPECT_NEAR(29.5, frame.trace.fitted[0][0].y, 0.5);
}

TEST(FindFrame, PictureThatIsNoneIsRefused)
{
    const Frame frame = Found(Bitmap());
    EXPECT_EQ(Code::invalid_bitmap, frame.problem.code);
    EXPECT_EQ("threshold", frame.problem.stage);
    EXPECT_EQ("there is no picture", frame.problem.reason);
    EXPECT_FALSE(frame.found);
}

/* ---- By hand ---- */

TEST(FindFrame, ThresholdByHandIsUsedAsGiven)
{
    const Sheet sheet = {{400, 320}, 500, 380, 3.0, 215};
    const Bitmap scan = ScannedOn(25, 800, 640, 8, {sheet});
    for (const int threshold : {26, 77, 130, 200}) {
        const Frame frame = FoundByHand(scan, Ground::dark, threshold);
        ExpectSheet(sheet, frame, 0.35, 6.0);
        EXPECT_EQ(threshold, frame.threshold);
        EXPECT_EQ("", frame.prepared);
    }
    const Frame missed = FoundByHand(scan, Ground::dark, 230);
    EXPECT_FALSE(missed.found);
    EXPECT_EQ(230, missed.threshold);
    EXPECT_EQ(Code::no_page, missed.problem.code);
    EXPECT_EQ("range", missed.problem.stage);
}

TEST(FindFrame, ThresholdByHandIsNeverRefusedByTrust)
{
    /* The threshold cuts through the middle of a blurred sheet's shadow: a frame that nothing backs. */
    const Bitmap scan = Drawn(500, 400, 8, [](int x, int y) {
        const double off = std::max(std::fabs(x - 250.0) / 250, std::fabs(y - 200.0) / 200);
        return static_cast<unsigned>(200 - 150 * off);
    });
    const Frame trusted = FoundByHand(scan, Ground::dark, 100);
    ASSERT_TRUE(trusted.found);
    EXPECT_GT(0.4, trusted.score);
    EXPECT_FALSE(trusted.problem);
    SearchOptions options;
    options.ground = Ground::dark;
    options.threshold = 100;
    options.least_score = 0.5;
    EXPECT_EQ(Code::not_trusted, FindFrame(scan, options).problem.code);
    EXPECT_TRUE(Found(scan).problem);
}

TEST(FindFrame, ThresholdsThatAreNoneAreRefused)
{
    const Bitmap scan = ScannedOn(25, 400, 300, 8, {{{200, 150}, 250, 200, 0, 215}});
    for (const int threshold : {-2147483647, -1, 256, 300, 2147483647}) {
        const Frame frame = FoundByHand(scan, Ground::dark, threshold);
        EXPECT_EQ(Code::bad_argument, frame.problem.code);
        EXPECT_EQ("threshold", frame.problem.stage);
        EXPECT_EQ("the threshold is not one of 1 to 255", frame.problem.reason);
        EXPECT_FALSE(frame.found);
    }
}

TEST(FindFrame, LeastScoreOfOneRefusesAPageThatIsCutOff)
{
    const Sheet sheet = {{100, 320}, 700, 380, 0.0, 215};
    const Bitmap scan = ScannedOn(25, 800, 640, 8, {sheet});
    SearchOptions options;
    EXPECT_FALSE(FindFrame(scan, options).problem);
    options.least_score = 1.0;
    const Frame frame = FindFrame(scan, options);
    EXPECT_TRUE(frame.found);
    EXPECT_EQ(Code::not_trusted, frame.problem.code);
    EXPECT_EQ("trust", frame.problem.stage);
    EXPECT_EQ("the border of the picture cuts off too many edges (score 0.97)", frame.problem.reason);
    EXPECT_TRUE(frame.edges[3].at_border);
}

TEST(FindFrame, LeastScoreOfZeroTrustsAnyFrame)
{
    SearchOptions options;
    options.least_score = 0.0;
    const Bitmap scan = Drawn(400, 300, 1, [](int, int) { return 1u; });
    const Frame frame = FindFrame(scan, options);
    EXPECT_TRUE(frame.found);
    EXPECT_EQ(0.0, frame.score);
    EXPECT_FALSE(frame.problem);
    EXPECT_EQ(Code::not_trusted, Found(scan).problem.code);
}

TEST(FindFrame, GroundByHandRestrictsTheSearch)
{
    const Sheet dark_sheet = {{400, 320}, 500, 380, 3.0, 70};
    const Bitmap on_light = ScannedOn(235, 800, 640, 8, {dark_sheet});
    ExpectSheet(dark_sheet, FoundByHand(on_light, Ground::light, 0), 0.35, 6.0);
    EXPECT_TRUE(FoundByHand(on_light, Ground::dark, 0).problem);
    const Sheet bright_sheet = {{400, 320}, 500, 380, 3.0, 215};
    const Frame frame = FoundByHand(ScannedOn(25, 800, 640, 8, {bright_sheet}), Ground::dark, 0);
    ExpectSheet(bright_sheet, frame, 0.35, 6.0);
    EXPECT_EQ(Ground::dark, frame.ground);
}

/* ---- Pages that are hard to see ---- */

TEST(FindFrame, PictureOnAFaintPageIsNotThePage)
{
    /* So faint, at first, that the page might be taken for the ground. */
    for (const double grey : {46.0, 58.0, 90.0}) {
        const Sheet sheet = {{400, 320}, 560, 440, 3.0, grey};
        const Sheet print = {{400, 320}, 300, 220, 3.0, 230};
        const Frame frame = Found(ScannedOn(40, 800, 640, 8, {sheet, print}));
        ExpectSheet(sheet, frame, 0.35, 6.0);
    }
}

TEST(FindFrame, TornPageIsPreferredToAPerfectPictureOnIt)
{
    const Sheet sheet = {{400, 320}, 560, 440, 0.0, 46};
    const Sheet print = {{400, 320}, 300, 220, 0.0, 230};
    const Sheet tear = {{400, 100}, 80, 60, 0.0, 40};
    const Frame frame = Found(ScannedOn(40, 800, 640, 8, {sheet, print, tear}));
    ExpectSheet(sheet, frame, 0.35, 6.0);
    EXPECT_GT(0.95, frame.score);
}

TEST(FindFrame, PictureOnPaperThatHasNoFrameIsNotTrusted)
{
    /* Round paper, on which a picture is printed that would make a perfect page. */
    const auto paper = [](int x, int y) { return std::hypot((x - 400) / 1.2, y - 320.0) < 290 ? 90.0 : 40.0; };
    const Frame frame = Found(Scanned(800, 640, 8, paper, {{{400, 320}, 300, 220, 3.0, 230}}));
    EXPECT_TRUE(frame.found);
    EXPECT_EQ(Code::not_trusted, frame.problem.code);
    EXPECT_EQ("what lies around the frame is not the ground (score 0.30)", frame.problem.reason);
}

TEST(FindFrame, PageOnAGroundThatBrightensIsFoundInACopy)
{
    const Sheet sheet = {{400, 320}, 500, 380, -4.0, 120};
    const Bitmap scan = Scanned(800, 640, 8, [](int x, int) { return 30.0 + x * 0.1; }, {sheet});
    const Frame frame = Found(scan);
    ExpectSheet(sheet, frame, 0.2, 4.0);
}

TEST(FindFrame, SpecksOnTheGroundDoNotMatter)
{
    const Sheet sheet = {{400, 320}, 500, 380, 5.0, 200};
    const auto ground = [](int x, int y) { return test::Noise(x / 2, y / 2, 8) < 6 ? 220.0 : 30.0; };
    ExpectSheet(sheet, Found(Scanned(800, 640, 8, ground, {sheet})), 0.2, 4.0);
}

/* ---- Threads ---- */

TEST(FindFrame, ManyThreadsAtOnceFindWhatOneDoes)
{
    std::vector<Bitmap> scans;
    for (int i = 0; i < 4; ++i) {
        const Sheet sheet = {{250, 210}, 330.0 + 9 * i, 280, 2.0 * i - 3.0, i % 2 == 0 ? 210.0 : 60.0};
        scans.push_back(ScannedOn(i % 2 == 0 ? 20 : 230, 500, 420, i == 2 ? 24 : 8, {sheet}));
    }
    std::vector<Frame> alone;
    for (const Bitmap& scan : scans) alone.push_back(Found(scan));
    constexpr int kRounds = 6;
    std::vector<Frame> together(scans.size() * kRounds);
    std::vector<std::thread> threads;
    for (size_t k = 0; k < 2; ++k)
        threads.emplace_back([&, k] {
            for (size_t i = k; i < together.size(); i += 2) together[i] = Found(scans[(i / 2 + k) % scans.size()]);
        });
    for (std::thread& thread : threads) thread.join();
    for (size_t i = 0; i < together.size(); ++i)
        ExpectSameFrame(alone[(i / 2 + i % 2) % scans.size()], together[i]);
    for (const Frame& frame : alone) EXPECT_FALSE(frame.problem);
}

} // namespace
