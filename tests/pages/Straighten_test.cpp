/*
 * Straighten_test.cpp - the upright page: which pixels it has, where they come from, what is around it.
 */
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "QuarloBitmap.h"
#include "pages/TestScan.h"
#include "quarlo/pages.hpp"

namespace
{

using namespace quarlo;
using test::Drawn;
using test::NoiseBitmap;
using test::PagePlacement;
using test::PixelAt;

constexpr Fill kWhite = {};
constexpr Fill kBlack = {Fill::Kind::colour, 0, 0, 0};
constexpr Fill kEdge = {Fill::Kind::edge, 0, 0, 0};

Length Pixels(double value) { return {value, Length::Unit::pixels}; }
Length Millimetres(double value) { return {value, Length::Unit::millimetres}; }

Page PageWith(Bitmap bitmap)
{
    Page page;
    page.bitmap = std::move(bitmap);
    return page;
}

Result Straightened(const Page& scan, const Frame& frame, const ResultOptions& options)
{
    Result result;
    const Problem problem = Straighten(scan, frame, options, &result);
    EXPECT_EQ(Code::ok, problem.code) << problem.reason;
    return result;
}

/* A page in the middle of a scan. */
Frame CentredFrame(const Bitmap& scan, int width, int height, double angle_deg)
{
    return FrameOf(PagePlacement(scan, scan.width() / 2, scan.height() / 2, width, height, angle_deg));
}

void ExpectSize(int width, int height, const Bitmap& bitmap)
{
    EXPECT_EQ(width, bitmap.width());
    EXPECT_EQ(height, bitmap.height());
}

void ExpectSamePixels(const Bitmap& expected, const Bitmap& got)
{
    ASSERT_EQ(expected.width(), got.width());
    ASSERT_EQ(expected.height(), got.height());
    ASSERT_EQ(expected.depth(), got.depth());
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.width(); ++x)
            ASSERT_EQ(PixelAt(expected, x, y), PixelAt(got, x, y)) << x << "," << y;
}

/* Every pixel is the scan's where the map says, or the fill where that is outside; the map leads to whole pixels. */
void ExpectCopied(const Bitmap& scan, std::uint32_t fill, const Result& result)
{
    const Bitmap& page = result.page.bitmap;
    ASSERT_EQ(scan.depth(), page.depth());
    for (int y = 0; y < page.height(); ++y)
        for (int x = 0; x < page.width(); ++x) {
            const Point p = result.to_source({1.0 * x, 1.0 * y});
            ASSERT_EQ(std::floor(p.x), p.x);
            ASSERT_EQ(std::floor(p.y), p.y);
            const bool inside = p.x >= 0 && p.y >= 0 && p.x < scan.width() && p.y < scan.height();
            const std::uint32_t expected =
                inside ? PixelAt(scan, static_cast<int>(p.x), static_cast<int>(p.y)) : fill;
            ASSERT_EQ(expected, PixelAt(page, x, y)) << x << "," << y;
        }
}

void ExpectMap(const Affine& expected, const Affine& got)
{
    const double kNear = 1e-9;
    EXPECT_NEAR(expected.xx, got.xx, kNear);
    EXPECT_NEAR(expected.xy, got.xy, kNear);
    EXPECT_NEAR(expected.x0, got.x0, kNear);
    EXPECT_NEAR(expected.yx, got.yx, kNear);
    EXPECT_NEAR(expected.yy, got.yy, kNear);
    EXPECT_NEAR(expected.y0, got.y0, kNear);
}

void ExpectColour(int red, int green, int blue, const Fill& fill)
{
    EXPECT_EQ(Fill::Kind::colour, fill.kind);
    EXPECT_EQ(red, fill.red);
    EXPECT_EQ(green, fill.green);
    EXPECT_EQ(blue, fill.blue);
}

/* ---- Turning ---- */

TEST(Straighten, PixelsAreThoseOfRotateBitmap)
{
    for (const int depth : {1, 8, 24})
        for (const Interpolation interpolation :
             {Interpolation::cubic, Interpolation::linear, Interpolation::nearest})
            for (const double angle : {7.5, -3.25}) {
                const Page scan = PageWith(NoiseBitmap(90, 70, depth));
                const Frame frame = CentredFrame(scan.bitmap, 51, 40, angle);
                RowSpans spans = SpansOf(frame.placement);
                RowSeckRec mask = {0, 0, spans.top, spans.bottom, spans.rows.data()};
                uint8 white[] = {255, 255, 255};
                Bitmap expected;
                ASSERT_EQ(0,
                          RotateBitmap(scan.bitmap.rec(), expected.rec(), &mask, frame.placement.angle,
                                       frame.placement.center, 51, 40, static_cast<sint32>(interpolation), white));
                ResultOptions options;
                options.interpolation = interpolation;
                const Result result = Straightened(scan, frame, options);
                ExpectSamePixels(expected, result.page.bitmap);
                EXPECT_TRUE(result.resampled);
            }
}

TEST(Straighten, PositiveAngleTurnsThePageClockwise)
{
    /* The page's top edge rises to the right: its right half lies higher, and has to come down. */
    const Page scan = PageWith(NoiseBitmap(300, 200, 8));
    const Frame frame = CentredFrame(scan.bitmap, 200, 60, 10.0);
    EXPECT_NEAR(10.0, frame.angle_deg, 1e-4);
    const Affine map = Straightened(scan, frame, {}).to_source;
    EXPECT_NEAR(std::cos(10.0 * test::kRadians), map.xx, 1e-9);
    EXPECT_NEAR(-std::sin(10.0 * test::kRadians), map.yx, 1e-9);
}

TEST(Straighten, MarkOnTheHigherRightSideComesToTheTopRight)
{
    Page scan = PageWith(Drawn(300, 200, 8, [](int, int) { return 100u; }));
    const Frame frame = CentredFrame(scan.bitmap, 200, 60, 10.0);
    /* From the centre 95 to the right and 25 up along the page's own axes. */
    const double c = std::cos(10.0 * test::kRadians), s = std::sin(10.0 * test::kRadians);
    const int mark_x = static_cast<int>(std::lround(150 + 95 * c - 25 * s));
    const int mark_y = static_cast<int>(std::lround(100 - 95 * s - 25 * c));
    for (int y = mark_y - 2; y <= mark_y + 2; ++y)
        for (int x = mark_x - 2; x <= mark_x + 2; ++x) test::SetPixel(&scan.bitmap, x, y, 7);
    const Result result = Straightened(scan, frame, {});
    EXPECT_EQ(7u, PixelAt(result.page.bitmap, 99 + 95, 30 - 25));
    EXPECT_EQ(100u, PixelAt(result.page.bitmap, 99 + 95, 30 + 25));
    EXPECT_EQ(100u, PixelAt(result.page.bitmap, 99 - 95, 30 - 25));
}

TEST(Straighten, MapTakesTheResultsCornersToThePagesCorners)
{
    const Page scan = PageWith(NoiseBitmap(400, 300, 8));
    for (const double angle : {12.0, 0.3, -0.3, -31.0, 44.0})
        for (const int width : {120, 121})
            for (const int height : {90, 91})
                for (const int turn : {0, 90, 180, 270}) {
                    const Frame frame = CentredFrame(scan.bitmap, width, height, angle);
                    ResultOptions options;
                    options.turn = turn;
                    const Result result = Straightened(scan, frame, options);
                    const double right = result.page.bitmap.width() - 1;
                    const double bottom = result.page.bitmap.height() - 1;
                    const Point corners[] = {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}};
                    for (size_t k = 0; k < 4; ++k) {
                        /* Turned once clockwise, the page's bottom left corner is the result's top left one. */
                        const Point expected = frame.corners[(k + 4 - static_cast<size_t>(turn / 90)) % 4];
                        const Point got = result.to_source(corners[k]);
                        EXPECT_LT(std::hypot(got.x - expected.x, got.y - expected.y), 1e-9)
                            << angle << " " << width << "x" << height << " " << turn << " " << k;
                    }
                }
}

/* All the ways by which pixels come to their places. */
struct Path {
    double angle;
    int width;
    int height;
    int turn;
    double margin;
    double size;
    bool crop;
};

std::vector<Path> AllPaths()
{
    std::vector<Path> paths;
    for (const double angle : {9.0, -9.0, 40.0, -0.5})
        for (const int width : {60, 61})
            for (const int height : {44, 45})
                for (const int turn : {0, 90, 180, 270})
                    for (const double margin : {0.0, 3.0, -5.0})
                        for (const double size : {0.0, 70.0, 41.0})
                            for (const bool crop : {true, false})
                                paths.push_back({angle, width, height, turn, margin, size, crop});
    return paths;
}

ResultOptions OptionsOf(const Path& path)
{
    ResultOptions options;
    options.turn = path.turn;
    options.margins = {Pixels(path.margin), Pixels(path.margin + 1), Pixels(2), Pixels(-path.margin)};
    if (path.size > 0.0) options.size = {Pixels(path.size), Pixels(path.size + 3)};
    options.crop = path.crop;
    options.fill = kBlack;
    return options;
}

TEST(Straighten, NearestPixelsComeFromLessThanAPixelBesideTheMap)
{
    /* The place in red and green; blue tells them from the fill. */
    const Page scan = PageWith(
        Drawn(130, 120, 24, [](int x, int y) { return static_cast<std::uint32_t>(x << 16 | y << 8 | 255); }));
    for (const Path& path : AllPaths()) {
        ResultOptions options = OptionsOf(path);
        options.interpolation = Interpolation::nearest;
        const Result result =
            Straightened(scan, CentredFrame(scan.bitmap, path.width, path.height, path.angle), options);
        const Bitmap& page = result.page.bitmap;
        int shown = 0;
        for (int y = 0; y < page.height(); ++y)
            for (int x = 0; x < page.width(); ++x) {
                const std::uint32_t pixel = PixelAt(page, x, y);
                if ((pixel & 255) == 0) continue;
                ++shown;
                const Point p = result.to_source({1.0 * x, 1.0 * y});
                ASSERT_LT(std::fabs(p.x - (pixel >> 16)), 1.0 + 1e-6) << x << "," << y;
                ASSERT_LT(std::fabs(p.y - (pixel >> 8 & 255)), 1.0 + 1e-6) << x << "," << y;
            }
        ASSERT_GT(shown, 1000);
    }
}

TEST(Straighten, LinearPixelsLieOnBothSidesOfTheMap)
{
    /* Steps of three levels from one pixel to the next, low enough for libquarlo's tables. */
    const Page scan = PageWith(
        Drawn(66, 66, 24, [](int x, int y) { return static_cast<std::uint32_t>(3 * x << 16 | 3 * y << 8 | 150); }));
    for (Path path : AllPaths()) {
        path.width -= 20;
        path.height -= 16;
        const Result result =
            Straightened(scan, CentredFrame(scan.bitmap, path.width, path.height, path.angle), OptionsOf(path));
        const Bitmap& page = result.page.bitmap;
        double x_sum = 0.0, y_sum = 0.0;
        int shown = 0;
        for (int y = 0; y < page.height(); ++y)
            for (int x = 0; x < page.width(); ++x) {
                const std::uint32_t pixel = PixelAt(page, x, y);
                const Point p = result.to_source({1.0 * x, 1.0 * y});
                if ((pixel & 255) == 0 || p.x < 0 || p.y < 0 || p.x > 65 || p.y > 65) continue;
                x_sum += (pixel >> 16) / 3.0 - p.x;
                y_sum += (pixel >> 8 & 255) / 3.0 - p.y;
                ++shown;
            }
        ASSERT_GT(shown, 300);
        EXPECT_NEAR(0.0, x_sum / shown, 0.2);
        EXPECT_NEAR(0.0, y_sum / shown, 0.2);
    }
}

/* ---- Not turning ---- */

TEST(Straighten, AngleBelowTheLeastIsCutOutWithoutChangingAPixel)
{
    for (const int depth : {1, 8, 24})
        for (const double angle : {0.02, -0.02}) {
            const Page scan = PageWith(NoiseBitmap(101, 80, depth));
            ResultOptions options;
            options.least_angle_deg = 0.05;
            const Result result = Straightened(scan, CentredFrame(scan.bitmap, 60, 41, angle), options);
            ExpectSize(60, 41, result.page.bitmap);
            ExpectMap({1, 0, 50 - 29, 0, 1, 40 - 20}, result.to_source);
            ExpectCopied(scan.bitmap, 0, result);
            EXPECT_FALSE(result.resampled);
        }
}

TEST(Straighten, CutOutOfEvenSizeHasItsMiddleWhereTurningPutsIt)
{
    const Page scan = PageWith(NoiseBitmap(101, 80, 8));
    const Frame frame = CentredFrame(scan.bitmap, 60, 40, 0.02);
    ResultOptions options;
    options.least_angle_deg = 0.05;
    const Affine copied = Straightened(scan, frame, options).to_source;
    const Affine turned = Straightened(scan, frame, {}).to_source;
    EXPECT_NEAR(turned.x0, copied.x0, 0.02);
    EXPECT_NEAR(turned.y0, copied.y0, 0.02);
}

TEST(Straighten, AngleOfTheLeastIsTurned)
{
    const Page scan = PageWith(NoiseBitmap(101, 80, 8));
    Frame frame = CentredFrame(scan.bitmap, 60, 41, 0.05);
    frame.angle_deg = 0.05;
    ResultOptions options;
    options.least_angle_deg = 0.05;
    EXPECT_TRUE(Straightened(scan, frame, options).resampled);
}

TEST(Straighten, PageReachingBeyondTheScanIsFilledThere)
{
    const Page scan = PageWith(NoiseBitmap(50, 40, 8));
    const Frame frame = FrameOf(PagePlacement(scan.bitmap, 10, 35, 30, 20, 0.01));
    ResultOptions options;
    options.least_angle_deg = 0.05;
    options.fill = {Fill::Kind::colour, 9, 9, 9};
    const Result result = Straightened(scan, frame, options);
    ExpectSize(30, 20, result.page.bitmap);
    EXPECT_EQ(9u, PixelAt(result.page.bitmap, 0, 0));
    EXPECT_EQ(PixelAt(scan.bitmap, 10, 35), PixelAt(result.page.bitmap, 14, 10));
    ExpectCopied(scan.bitmap, 9, result);
}

TEST(Straighten, WithoutDeskewThePagesBoundingBoxIsCopied)
{
    for (const int depth : {1, 8, 24}) {
        const Page scan = PageWith(NoiseBitmap(101, 80, depth));
        Frame frame = CentredFrame(scan.bitmap, 40, 30, 20.0);
        frame.corners = {Point{20.4, 30.6}, Point{70.5, 11.2}, Point{81.4, 50.0}, Point{33.0, 70.7}};
        ResultOptions options;
        options.deskew = false;
        const Result result = Straightened(scan, frame, options);
        ExpectMap({1, 0, 20, 0, 1, 11}, result.to_source);
        ExpectSize(81 - 20 + 1, 71 - 11 + 1, result.page.bitmap);
        ExpectCopied(scan.bitmap, 0, result);
        EXPECT_FALSE(result.resampled);
    }
}

TEST(Straighten, WithoutDeskewTheBoundingBoxEndsAtTheScan)
{
    const Page scan = PageWith(NoiseBitmap(101, 80, 8));
    Frame frame = CentredFrame(scan.bitmap, 40, 30, 20.0);
    frame.corners = {Point{-20.0, 10.0}, Point{70.0, -1e300}, Point{1e300, 50.0}, Point{33.0, 79.6}};
    ResultOptions options;
    options.deskew = false;
    const Result result = Straightened(scan, frame, options);
    ExpectMap({}, result.to_source);
    ExpectSamePixels(scan.bitmap, result.page.bitmap);
}

TEST(Straighten, WithoutDeskewAPageOutsideTheScanIsRefused)
{
    const Page scan = PageWith(NoiseBitmap(101, 80, 8));
    ResultOptions options;
    options.deskew = false;
    for (const double x : {-30.0, 130.0, std::nan("")}) {
        Frame frame = CentredFrame(scan.bitmap, 40, 30, 20.0);
        frame.corners = {Point{x, 10.0}, Point{x + 5, 10.0}, Point{x, 20.0}, Point{x + 5, 20.0}};
        Result result;
        EXPECT_EQ(Code::bad_argument, Straighten(scan, frame, options, &result).code);
    }
}

TEST(Straighten, WithoutCropTheWholeScanIsTurnedIntoARoomThatHoldsIt)
{
    for (const double angle : {15.0, -15.0, 45.0, 100.0})
        for (const int width : {90, 91})
            for (const int height : {60, 61}) {
                const Page scan = PageWith(Drawn(width, height, 8, [](int, int) { return 77u; }));
                const Frame frame = FrameOf(PagePlacement(scan.bitmap, 40, 25, 20, 20, angle));
                ResultOptions options;
                options.crop = false;
                const Result result = Straightened(scan, frame, options);
                const double c = std::fabs(std::cos(angle * test::kRadians));
                const double s = std::fabs(std::sin(angle * test::kRadians));
                EXPECT_NEAR((width - 1) * c + (height - 1) * s + 1, result.page.bitmap.width(), 3.0);
                EXPECT_NEAR((width - 1) * s + (height - 1) * c + 1, result.page.bitmap.height(), 3.0);
                EXPECT_EQ(255u, PixelAt(result.page.bitmap, 0, 0));

                /* The map's inverse puts the scan's corners into the result. */
                const Affine& map = result.to_source;
                for (const double x : {0.0, width - 1.0})
                    for (const double y : {0.0, height - 1.0}) {
                        const double column = (x - map.x0) * map.xx + (y - map.y0) * map.yx;
                        const double line = (x - map.x0) * map.xy + (y - map.y0) * map.yy;
                        EXPECT_GE(column, -1e-6);
                        EXPECT_GE(line, -1e-6);
                        EXPECT_LE(column, result.page.bitmap.width() - 1 + 1e-6);
                        EXPECT_LE(line, result.page.bitmap.height() - 1 + 1e-6);
                    }
            }
}

TEST(Straighten, WithoutCropAQuarterTurnShowsEveryPixelOnce)
{
    const Page scan = PageWith(NoiseBitmap(31, 21, 8));
    const Frame frame = CentredFrame(scan.bitmap, 10, 10, 90.0);
    ResultOptions options;
    options.crop = false;
    options.interpolation = Interpolation::nearest;
    const Result result = Straightened(scan, frame, options);
    ExpectSize(21, 31, result.page.bitmap);
    ExpectMap({0, 1, 0, -1, 0, 20}, result.to_source);
}

TEST(Straighten, WithoutCropAndDeskewTheScanIsCopiedEvenWithoutAFrame)
{
    for (const int depth : {1, 8, 24})
        for (const int height : {1, 33}) {
            const Page scan = PageWith(NoiseBitmap(45, height, depth));
            ResultOptions options;
            options.crop = options.deskew = false;
            const Result result = Straightened(scan, {}, options);
            ExpectSamePixels(scan.bitmap, result.page.bitmap);
            ExpectMap({}, result.to_source);
            EXPECT_FALSE(result.resampled);
        }
}

TEST(Straighten, WithoutCropASmallAngleIsNotTurned)
{
    const Page scan = PageWith(NoiseBitmap(45, 33, 8));
    ResultOptions options;
    options.crop = false;
    options.least_angle_deg = 0.05;
    const Result result = Straightened(scan, CentredFrame(scan.bitmap, 20, 10, 0.02), options);
    ExpectSamePixels(scan.bitmap, result.page.bitmap);
}

/* ---- Fill ---- */

TEST(Straighten, EdgeFillIsTheMeanOfTheTwoOuterColumnsOnEachSideRoundedHalfUp)
{
    const std::uint32_t columns[] = {0x0A1000, 0x0B1000, 0xFFFFFF, 0x0A1100, 0x0B1102};
    const Page scan = PageWith(Drawn(5, 4, 24, [&](int x, int) { return columns[x]; }));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.fill = kEdge;
    options.margins[0] = Pixels(1);
    const Result result = Straightened(scan, {}, options);
    ExpectColour(0x0B, 0x11, 0x01, result.filled); /* of 10.5, 16.5 and 0.5 */
    EXPECT_EQ(0x0B1101u, PixelAt(result.page.bitmap, 2, 0));
}

TEST(Straighten, EdgeFillOfGreysIsTheirMean)
{
    const Page scan = PageWith(Drawn(6, 3, 8, [](int x, int y) {
        return x == 1 || x == 2 ? 40u : y == 0 ? 41u : 42u;
    }));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.fill = kEdge;
    /* Columns 0, 4 and 5 hold 41, 42, 42, column 1 holds 40: 495 by 12 is 41.25. */
    ExpectColour(41, 41, 41, Straightened(scan, {}, options).filled);
}

TEST(Straighten, EdgeFillOfNarrowScansTakesTheColumnsThereAre)
{
    ResultOptions options;
    options.crop = options.deskew = false;
    options.fill = kEdge;
    const std::uint32_t columns[] = {10, 30, 80};
    const int means[] = {10, 20, 38}; /* of three columns the middle one counts twice: 37.5 */
    for (const int width : {1, 2, 3}) {
        const Page scan = PageWith(Drawn(width, 2, 8, [&](int x, int) { return columns[x]; }));
        const int mean = means[width - 1];
        ExpectColour(mean, mean, mean, Straightened(scan, {}, options).filled);
    }
}

TEST(Straighten, EdgeFillOf1BitIsTheMajorityAndWhiteWhenEqual)
{
    ResultOptions options;
    options.crop = options.deskew = false;
    options.fill = kEdge;
    for (const int white : {7, 8, 9}) {
        const Page scan = PageWith(Drawn(20, 4, 1, [&](int x, int y) {
            const int place = x < 2 ? x + 2 * y : x >= 18 ? 8 + x - 18 + 2 * y : -1; /* 0 to 15 in outer columns */
            return place >= 0 && place < white ? 1u : 0u;
        }));
        const int level = white >= 8 ? 255 : 0;
        for (const int depth : {1, 8, 24}) {
            options.depth = depth;
            ExpectColour(level, level, level, Straightened(scan, {}, options).filled);
        }
    }
}

TEST(Straighten, FillOfA8BitPageIsTheLumaOfItsColour)
{
    const Page scan = PageWith(NoiseBitmap(9, 9, 8));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.fill = {Fill::Kind::colour, 200, 30, 90};
    options.margins[3] = Pixels(1);
    const Result result = Straightened(scan, {}, options);
    ExpectColour(88, 88, 88, result.filled); /* 59.8 + 17.61 + 10.26 = 87.67 */
    EXPECT_EQ(88u, PixelAt(result.page.bitmap, 0, 4));
}

TEST(Straighten, FillOfA1BitPageIsWhiteFromLuma128On)
{
    const Page scan = PageWith(NoiseBitmap(9, 9, 1));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.margins[3] = Pixels(1);
    for (const int level : {127, 128}) {
        const auto grey = static_cast<std::uint8_t>(level);
        options.fill = {Fill::Kind::colour, grey, grey, grey};
        const Result result = Straightened(scan, {}, options);
        const int expected = level == 128 ? 255 : 0;
        ExpectColour(expected, expected, expected, result.filled);
        EXPECT_EQ(level == 128 ? 1u : 0u, PixelAt(result.page.bitmap, 0, 4));
    }
}

TEST(Straighten, CornersOfAColourPageAreFilledInRedGreenBlue)
{
    const Page scan = PageWith(NoiseBitmap(80, 60, 24));
    ResultOptions options;
    options.crop = false;
    options.fill = {Fill::Kind::colour, 1, 2, 3};
    const Result result = Straightened(scan, CentredFrame(scan.bitmap, 20, 20, 30.0), options);
    EXPECT_EQ(0x010203u, PixelAt(result.page.bitmap, 0, 0));
    ExpectColour(1, 2, 3, result.filled);
}

/* ---- 1 bit ---- */

TEST(Straighten, OneBitPageIsThatOfBlackAndWhiteGreysOnEveryFill)
{
    const Page scan = PageWith(NoiseBitmap(93, 71, 1));
    Page grey = PageWith(Bitmap());
    ASSERT_EQ(0, GetGrayBitmap(scan.bitmap.rec(), grey.bitmap.rec()));
    for (const Fill& fill : {kWhite, kBlack, kEdge})
        for (const bool crop : {true, false})
            for (const double angle : {6.0, -6.0}) {
                const Frame frame = CentredFrame(scan.bitmap, 50, 37, angle);
                ResultOptions options;
                options.fill = fill;
                options.crop = crop;
                options.interpolation = Interpolation::nearest;
                const Result in_grey = Straightened(grey, frame, options);
                options.interpolation = Interpolation::cubic; /* makes no difference */
                if (fill.kind == Fill::Kind::edge) continue;  /* a majority is no mean */
                const Result result = Straightened(scan, frame, options);
                EXPECT_EQ(1, result.page.bitmap.depth());
                Bitmap expected;
                ASSERT_EQ(0, GetBWBitmap(in_grey.page.bitmap.rec(), expected.rec(), 128));
                ExpectSamePixels(expected, result.page.bitmap);
            }
}

TEST(Straighten, OneBitPageMovesExactlyByEveryNumberOfPixels)
{
    for (const int width : {1, 7, 8, 9, 30}) {
        const Page scan = PageWith(NoiseBitmap(width, 5, 1));
        for (int left = -20; left <= 20; ++left)
            for (const int right : {-6, 0, 3, 17}) {
                if (left <= -width || right <= -width || left + right <= -width) continue;
                ResultOptions options;
                options.crop = options.deskew = false;
                options.margins = {Pixels(1), Pixels(right), Pixels(-1), Pixels(left)};
                for (const Fill& fill : {kWhite, kBlack}) {
                    options.fill = fill;
                    const Result result = Straightened(scan, {}, options);
                    ExpectSize(left + width + right, 5, result.page.bitmap);
                    ExpectCopied(scan.bitmap, fill.red != 0 ? 1 : 0, result);
                }
            }
    }
}

TEST(Straighten, SmoothPageIsTurnedInGreyAndCutAt128)
{
    const Page scan = PageWith(NoiseBitmap(93, 71, 1));
    Page grey = PageWith(Bitmap());
    ASSERT_EQ(0, GetGrayBitmap(scan.bitmap.rec(), grey.bitmap.rec()));
    const Frame frame = CentredFrame(scan.bitmap, 50, 37, 6.0);
    ResultOptions options;
    const Result plain = Straightened(scan, frame, options);
    for (const Interpolation interpolation : {Interpolation::linear, Interpolation::cubic}) {
        options.interpolation = interpolation;
        options.smooth = true;
        const Result in_grey = Straightened(grey, frame, options);
        Bitmap expected;
        ASSERT_EQ(0, GetBWBitmap(in_grey.page.bitmap.rec(), expected.rec(), 128));
        const Result result = Straightened(scan, frame, options);
        ExpectSamePixels(expected, result.page.bitmap);
        int different = 0;
        for (int y = 0; y < 37; ++y)
            for (int x = 0; x < 50; ++x)
                different += PixelAt(plain.page.bitmap, x, y) != PixelAt(result.page.bitmap, x, y);
        EXPECT_GT(different, 100);
    }
}

TEST(Straighten, SmoothPageKeepsItsGreysWhereTheResultHoldsThem)
{
    const Page scan = PageWith(NoiseBitmap(93, 71, 1));
    Page grey = PageWith(Bitmap());
    ASSERT_EQ(0, GetGrayBitmap(scan.bitmap.rec(), grey.bitmap.rec()));
    const Frame frame = CentredFrame(scan.bitmap, 50, 37, 6.0);
    ResultOptions options;
    const Result expected = Straightened(grey, frame, options);
    options.smooth = true;
    options.depth = 8;
    ExpectSamePixels(expected.page.bitmap, Straightened(scan, frame, options).page.bitmap);
}

TEST(Straighten, SmoothPageThatIsNotTurnedKeepsItsPixels)
{
    const Page scan = PageWith(NoiseBitmap(93, 71, 1));
    ResultOptions options;
    options.smooth = true;
    options.least_angle_deg = 0.05;
    const Result result = Straightened(scan, CentredFrame(scan.bitmap, 50, 37, 0.01), options);
    ExpectCopied(scan.bitmap, 0, result);
}

TEST(Straighten, SmoothPageHasTheFillOfAPlainOne)
{
    const Page scan = PageWith(NoiseBitmap(93, 71, 1));
    ResultOptions options;
    options.smooth = true;
    options.crop = false;
    options.fill = {Fill::Kind::colour, 128, 128, 128};
    const Result result = Straightened(scan, CentredFrame(scan.bitmap, 50, 37, 6.0), options);
    ExpectColour(255, 255, 255, result.filled);
    EXPECT_EQ(1u, PixelAt(result.page.bitmap, 0, 0));
}

TEST(Straighten, RowsOfTheScanMayBePadded)
{
    for (const int depth : {1, 8, 24}) {
        const Page packed = PageWith(NoiseBitmap(93, 71, depth));
        Page padded = PageWith(Bitmap());
        ASSERT_EQ(0, Bitmap_New(padded.bitmap.rec(), 93, 71, depth, 1));
        for (int y = 0; y < 71; ++y)
            for (int x = 0; x < 93; ++x) test::SetPixel(&padded.bitmap, x, y, PixelAt(packed.bitmap, x, y));
        ResultOptions options;
        options.fill = kBlack;
        options.margins = {Pixels(3), Pixels(3), Pixels(-3), Pixels(3)};
        for (const double least : {0.0, 90.0}) {
            options.least_angle_deg = least;
            const Frame frame = CentredFrame(packed.bitmap, 50, 37, 6.0);
            ExpectSamePixels(Straightened(packed, frame, options).page.bitmap,
                             Straightened(padded, frame, options).page.bitmap);
        }
    }
}

/* ---- Margins and size ---- */

TEST(Straighten, MarginsAddFillAndTrimPixels)
{
    for (const int depth : {1, 8, 24}) {
        const Page scan = PageWith(NoiseBitmap(40, 30, depth));
        ResultOptions options;
        options.least_angle_deg = 0.05;
        options.fill = kBlack;
        options.margins = {Pixels(3), Pixels(-4), Pixels(5), Pixels(6)};
        const Result result = Straightened(scan, CentredFrame(scan.bitmap, 20, 10, 0.0), options);
        ExpectSize(6 + 20 - 4, 3 + 10 + 5, result.page.bitmap);
        ExpectMap({1, 0, 20 - 9 - 6, 0, 1, 15 - 5 - 3}, result.to_source);
        for (int y = 0; y < 18; ++y)
            for (int x = 0; x < 22; ++x) {
                const bool page = x >= 6 && y >= 3 && y < 13;
                ASSERT_EQ(page ? PixelAt(scan.bitmap, x + 5, y + 7) : 0u, PixelAt(result.page.bitmap, x, y))
                    << x << "," << y;
            }
    }
}

TEST(Straighten, MillimetresTakeTheResolutionOfTheirAxis)
{
    Page scan = PageWith(NoiseBitmap(400, 300, 8));
    scan.meta.resolution = {200.0, 100.0, Resolution::Unit::inch};
    ResultOptions options;
    options.crop = options.deskew = false;
    options.margins = {Millimetres(2), Millimetres(3), Millimetres(-4), Millimetres(5)};
    const Result result = Straightened(scan, {}, options);
    /* 2 mm are 7.87 pixels of 100 dpi, -4 mm -15.7; 3 mm are 23.6 of 200 dpi, 5 mm 39.4. */
    ExpectSize(39 + 400 + 24, 8 + 300 - 16, result.page.bitmap);
    ExpectMap({1, 0, -39, 0, 1, -8}, result.to_source);
}

TEST(Straighten, MillimetresWithoutAResolutionAreThoseOf300Dpi)
{
    for (const Resolution& resolution : {Resolution{}, Resolution{72.0, 72.0, Resolution::Unit::unknown}}) {
        Page scan = PageWith(NoiseBitmap(40, 30, 8));
        scan.meta.resolution = resolution;
        ResultOptions options;
        options.crop = options.deskew = false;
        options.margins[1] = Millimetres(2);
        ExpectSize(40 + 24, 30, Straightened(scan, {}, options).page.bitmap);
    }
}

TEST(Straighten, SizeInMillimetresIsThatOfThePaper)
{
    Page scan = PageWith(NoiseBitmap(40, 30, 1));
    scan.meta.resolution = {300.0, 300.0, Resolution::Unit::inch};
    ResultOptions options;
    options.crop = options.deskew = false;
    options.size = {Millimetres(210), Millimetres(297)};
    const Result result = Straightened(scan, {}, options);
    ExpectSize(2480, 3508, result.page.bitmap);
    ExpectMap({1, 0, -1220, 0, 1, -1739}, result.to_source);
    ExpectCopied(scan.bitmap, 1, result);
}

TEST(Straighten, SizeKeepsThePageInTheMiddle)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.size = {Pixels(45), Pixels(25)};
    const Result result = Straightened(scan, {}, options);
    ExpectSize(45, 25, result.page.bitmap);
    ExpectMap({1, 0, -2, 0, 1, 2}, result.to_source);
    ExpectCopied(scan.bitmap, 255, result);
}

TEST(Straighten, SizeOfOneAxisLeavesTheOther)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.size[1] = Pixels(50);
    ExpectSize(40, 50, Straightened(scan, {}, options).page.bitmap);
}

TEST(Straighten, SizeIsThatOfThePageWithItsMargins)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    ResultOptions options;
    options.crop = options.deskew = false;
    options.margins[3] = Pixels(10);
    options.size = {Pixels(40), Pixels(30)};
    const Result result = Straightened(scan, {}, options);
    ExpectSize(40, 30, result.page.bitmap);
    ExpectMap({1, 0, -5, 0, 1, 0}, result.to_source);
}

/* ---- Right angles, depth, metadata ---- */

TEST(Straighten, TurnIsClockwise)
{
    for (const int depth : {1, 8, 24}) {
        const Page scan = PageWith(NoiseBitmap(13, 6, depth));
        ResultOptions options;
        options.crop = options.deskew = false;
        const struct {
            int turn, width, height;
            Affine map;
        } cases[] = {{90, 6, 13, {0, 1, 0, -1, 0, 5}},
                     {180, 13, 6, {-1, 0, 12, 0, -1, 5}},
                     {270, 6, 13, {0, -1, 12, 1, 0, 0}}};
        for (const auto& expected : cases) {
            options.turn = expected.turn;
            const Result result = Straightened(scan, {}, options);
            ExpectSize(expected.width, expected.height, result.page.bitmap);
            ExpectMap(expected.map, result.to_source);
            ExpectCopied(scan.bitmap, 0, result);
            EXPECT_FALSE(result.resampled);
        }
        options.turn = 90; /* the top left corner comes to the top right */
        EXPECT_EQ(PixelAt(scan.bitmap, 0, 0), PixelAt(Straightened(scan, {}, options).page.bitmap, 5, 0));
    }
}

TEST(Straighten, ResolutionsChangePlacesWithTheAxes)
{
    Page scan = PageWith(NoiseBitmap(13, 6, 8));
    scan.meta.resolution = {204.0, 98.0, Resolution::Unit::inch};
    ResultOptions options;
    options.crop = options.deskew = false;
    for (const int turn : {0, 90, 180, 270}) {
        options.turn = turn;
        const Resolution resolution = Straightened(scan, {}, options).page.meta.resolution;
        const bool quarter = turn == 90 || turn == 270;
        EXPECT_EQ(quarter ? 98.0 : 204.0, resolution.x);
        EXPECT_EQ(quarter ? 204.0 : 98.0, resolution.y);
        EXPECT_EQ(Resolution::Unit::inch, resolution.unit);
    }
}

TEST(Straighten, MetadataGoThrough)
{
    Page scan = PageWith(NoiseBitmap(90, 70, 8));
    scan.meta.format = Format::tiff;
    scan.meta.depth_in_file = 4;
    scan.meta.icc = {1, 2, 3};
    scan.meta.exif = {4, 5};
    scan.meta.text = {{"Title", "A page", "", "", false, false}};
    scan.meta.tags = {{270, 2, 1, {'x'}}};
    scan.warnings = {"something was left out"};
    const Page page = Straightened(scan, CentredFrame(scan.bitmap, 50, 40, 5.0), {}).page;
    EXPECT_EQ(Format::tiff, page.meta.format);
    EXPECT_EQ(4, page.meta.depth_in_file);
    EXPECT_EQ((Bytes{1, 2, 3}), page.meta.icc);
    EXPECT_EQ((Bytes{4, 5}), page.meta.exif);
    ASSERT_EQ(1u, page.meta.text.size());
    EXPECT_EQ("A page", page.meta.text[0].text);
    ASSERT_EQ(1u, page.meta.tags.size());
    EXPECT_EQ(270u, page.meta.tags[0].tag);
    EXPECT_EQ(scan.warnings, page.warnings);
}

TEST(Straighten, DepthIsConvertedAsLibquarloDoesAfterTurning)
{
    for (const int from : {1, 8, 24})
        for (const int to : {1, 8, 24}) {
            const Page scan = PageWith(NoiseBitmap(90, 70, from));
            const Frame frame = CentredFrame(scan.bitmap, 50, 40, 5.0);
            ResultOptions options;
            const Result same = Straightened(scan, frame, options);
            Bitmap expected;
            if (to == 1) {
                ASSERT_EQ(0, GetBWBitmap(same.page.bitmap.rec(), expected.rec(), 128));
            } else if (to == 8) {
                ASSERT_EQ(0, GetGrayBitmap(same.page.bitmap.rec(), expected.rec()));
            } else {
                ASSERT_EQ(0, GetColorBitmap(same.page.bitmap.rec(), expected.rec()));
            }
            options.depth = to;
            ExpectSamePixels(expected, Straightened(scan, frame, options).page.bitmap);
        }
}

TEST(Straighten, GreyPageInColourIsFilledInColour)
{
    for (const int depth : {1, 8}) {
        const Page scan = PageWith(NoiseBitmap(90, 70, depth));
        ResultOptions options;
        options.crop = false;
        options.depth = 24;
        options.fill = {Fill::Kind::colour, 250, 10, 20};
        const Result result = Straightened(scan, CentredFrame(scan.bitmap, 50, 40, 25.0), options);
        EXPECT_EQ(0xFA0A14u, PixelAt(result.page.bitmap, 0, 0));
        ExpectColour(250, 10, 20, result.filled);
    }
}

TEST(Straighten, FillThatIsToldIsTheOneThatIsSeenInASmallerDepth)
{
    const Page scan = PageWith(NoiseBitmap(90, 70, 24));
    for (const int depth : {1, 8}) {
        ResultOptions options;
        options.crop = false;
        options.depth = depth;
        options.fill = {Fill::Kind::colour, 200, 30, 90};
        const Result result = Straightened(scan, CentredFrame(scan.bitmap, 50, 40, 25.0), options);
        const int level = depth == 8 ? 53 : 0; /* a luma of 87 by libquarlo's tone curve */
        EXPECT_EQ(static_cast<std::uint32_t>(level), PixelAt(result.page.bitmap, 0, 0));
        ExpectColour(level, level, level, result.filled);
    }
}

/* ---- Refusals ---- */

/* Expects a refusal that leaves the result as it was. */
void ExpectRefused(Code code, const Page& scan, const Frame& frame, const ResultOptions& options)
{
    Result result;
    result.page.bitmap = NoiseBitmap(3, 2, 8);
    result.to_source.x0 = 5.0;
    result.resampled = true;
    const Problem problem = Straighten(scan, frame, options, &result);
    EXPECT_EQ(code, problem.code) << problem.reason;
    EXPECT_EQ("turn", problem.stage);
    EXPECT_NE("", problem.reason);
    ExpectSamePixels(NoiseBitmap(3, 2, 8), result.page.bitmap);
    EXPECT_EQ(5.0, result.to_source.x0);
    EXPECT_TRUE(result.resampled);
}

TEST(StraightenRefuses, EmptyScan) { ExpectRefused(Code::invalid_bitmap, {}, {}, {}); }

TEST(StraightenRefuses, FrameThatWasNotFound)
{
    ExpectRefused(Code::no_page, PageWith(NoiseBitmap(40, 30, 8)), {}, {});
}

TEST(StraightenRefuses, FrameOfAScanOfAnotherSize)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    ExpectRefused(Code::bad_argument, scan, CentredFrame(NoiseBitmap(41, 30, 8), 20, 10, 3.0), {});
    ExpectRefused(Code::bad_argument, scan, CentredFrame(NoiseBitmap(40, 31, 8), 20, 10, 3.0), {});
}

TEST(StraightenRefuses, TurningAScanOfASingleRow)
{
    const Page scan = PageWith(NoiseBitmap(40, 1, 8));
    for (const bool crop : {true, false}) {
        ResultOptions options;
        options.crop = crop;
        ExpectRefused(Code::bad_argument, scan, CentredFrame(scan.bitmap, 20, 1, 3.0), options);
    }
}

TEST(StraightenRefuses, PlacementWithoutLinesCentreAngleOrSize)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    const Frame good = CentredFrame(scan.bitmap, 20, 10, 3.0);
    Frame frame = good;
    frame.placement.lines = {};
    ExpectRefused(Code::bad_argument, scan, frame, {});
    frame = good;
    frame.placement.center.x = 40;
    ExpectRefused(Code::bad_argument, scan, frame, {});
    for (const bool crop : {true, false}) {
        frame = good;
        frame.placement.angle = std::nan("");
        ResultOptions options;
        options.crop = crop;
        ExpectRefused(Code::bad_argument, scan, frame, options);
    }
    for (const int width : {0, -1, std::numeric_limits<int>::min()})
        for (const double least : {0.0, 90.0}) {
            frame = good;
            frame.placement.width = width;
            ResultOptions options;
            options.least_angle_deg = least;
            ExpectRefused(Code::bad_argument, scan, frame, options);
        }
}

TEST(StraightenRefuses, PageLargerThanABitmap)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    for (const int size : {100000, std::numeric_limits<int>::max()})
        for (const double least : {0.0, 90.0}) {
            Frame frame = CentredFrame(scan.bitmap, 20, 10, 3.0);
            frame.placement.width = frame.placement.height = size;
            ResultOptions options;
            options.least_angle_deg = least;
            ExpectRefused(Code::too_large, scan, frame, options);
        }
}

TEST(StraightenRefuses, ValuesOutsideTheirSets)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    const Frame frame = CentredFrame(scan.bitmap, 20, 10, 3.0);
    for (const int turn : {-90, 45, 360}) {
        ResultOptions options;
        options.turn = turn;
        ExpectRefused(Code::bad_argument, scan, frame, options);
    }
    for (const int depth : {-8, 4, 32}) {
        ResultOptions options;
        options.depth = depth;
        ExpectRefused(Code::bad_argument, scan, frame, options);
    }
    ResultOptions options;
    options.interpolation = static_cast<Interpolation>(4);
    ExpectRefused(Code::bad_argument, scan, frame, options);
}

TEST(StraightenRefuses, MarginsThatLeaveNoPage)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    const double all[][4] = {{-15, 0, -15, 0}, {0, 0, 0, -40}, {0, 100, 0, -40}, {50, 0, -30, 0}};
    for (const auto& margins : all) {
        ResultOptions options;
        options.crop = options.deskew = false;
        for (size_t k = 0; k < 4; ++k) options.margins[k] = Pixels(margins[k]);
        ExpectRefused(Code::bad_argument, scan, {}, options);
    }
}

TEST(StraightenRefuses, AbsurdLengths)
{
    const Page scan = PageWith(NoiseBitmap(40, 30, 8));
    for (const double value : {3e9, -3e9, 1e300, std::numeric_limits<double>::infinity(), std::nan("")})
        for (const Length::Unit unit : {Length::Unit::pixels, Length::Unit::millimetres}) {
            ResultOptions margin;
            margin.crop = margin.deskew = false;
            margin.margins[2] = {value, unit};
            ExpectRefused(Code::bad_argument, scan, {}, margin);
            ResultOptions size;
            size.crop = size.deskew = false;
            size.size[0] = {value, unit};
            ExpectRefused(Code::bad_argument, scan, {}, size);
        }
    ResultOptions options;
    options.crop = options.deskew = false;
    for (const double value : {2147483647.0, 2147483000.0}) {
        options.margins = {Pixels(value), Pixels(value), Pixels(value), Pixels(value)};
        ExpectRefused(Code::too_large, scan, {}, options);
    }
    options.margins = {};
    for (const double value : {-1.0, 0.4}) {
        options.size[0] = Pixels(value);
        ExpectRefused(Code::bad_argument, scan, {}, options);
    }
}

TEST(NameOf, InterpolationHasTheNameOfTheOption)
{
    EXPECT_EQ("cubic", NameOf(Interpolation::cubic));
    EXPECT_EQ("linear", NameOf(Interpolation::linear));
    EXPECT_EQ("nearest", NameOf(Interpolation::nearest));
}

} // namespace
