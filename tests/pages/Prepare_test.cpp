/*
 * Prepare_test.cpp - copies of a scan: their size, their greys, the ground that is taken off, the majority that counts.
 */
#include "Prepare.cpp" /* for its file-private parts */

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pages/PageMaker.h"
#include "support/RandomBitmap.h"

namespace
{

using namespace quarlo;
using test::Drawn;
using test::MakeBitmap;
using test::PixelAt;
using test::ScannedOn;

Copy CopyOf(const Bitmap& scan)
{
    Copy copy;
    EXPECT_EQ(Code::ok, MakeCopy(scan, &copy).code);
    return copy;
}

Bitmap MaskOf(const Bitmap& grey, const GroundPlane& plane, Departs departs, double least)
{
    Bitmap mask;
    EXPECT_EQ(Code::ok, MakeMask(grey, plane, departs, least, &mask).code);
    return mask;
}

GroundPlane Plane(double at, double per_column, double per_row) { return {at, per_column, per_row, 1.0}; }

/* ---- Copies ---- */

struct Size {
    int width, height;
    double scale;
    int copy_width, copy_height;
};

void PrintTo(const Size& size, std::ostream* stream) { *stream << size.width << "x" << size.height; }

class MakeCopySize : public testing::TestWithParam<Size>
{
};

TEST_P(MakeCopySize, IsAWholeMultipleOrPartOfTheScans)
{
    const Size size = GetParam();
    for (const int depth : {1, 8, 24}) {
        const Copy copy = CopyOf(ScannedOn(255, size.width, size.height, depth, {}));
        EXPECT_EQ(size.scale, copy.scale);
        EXPECT_EQ(8, copy.grey.depth());
        ASSERT_EQ(size.copy_width, copy.grey.width());
        ASSERT_EQ(size.copy_height, copy.grey.height());
        for (const int x : {0, size.copy_width - 1})
            for (const int y : {0, size.copy_height - 1}) EXPECT_EQ(255u, PixelAt(copy.grey, x, y));
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, MakeCopySize,
                         testing::Values(Size{1, 1, 4, 4, 4}, Size{350, 10, 4, 1400, 40},
                                         Size{351, 10, 3, 1053, 30}, Size{10, 466, 3, 30, 1398},
                                         Size{467, 10, 2, 934, 20}, Size{700, 3, 2, 1400, 6},
                                         Size{701, 3, 1, 701, 3}, Size{2099, 2, 1, 2099, 2},
                                         Size{2100, 2, 0.5, 1050, 1}, Size{2101, 3, 0.5, 1051, 2},
                                         Size{3, 3501, 1.0 / 3, 1, 1167}, Size{1, 100000, 1.0 / 71, 1, 1409},
                                         Size{100000, 1, 1.0 / 71, 1409, 1}));

TEST(MakeCopy, GreysAreThoseOfEachDepth)
{
    const Bitmap bits = Drawn(800, 2, 1, [](int x, int) { return static_cast<unsigned>(x % 3 == 0); });
    const Bitmap greys = Drawn(800, 2, 8, [](int x, int) { return static_cast<unsigned>(x % 256); });
    const Bitmap colours =
        Drawn(800, 2, 24, [](int x, int) { return static_cast<unsigned>(x % 256) << 16 | 100 << 8 | 31; });
    const Bitmap a = CopyOf(bits).grey, b = CopyOf(greys).grey, c = CopyOf(colours).grey;
    for (int x = 0; x < 800; ++x) {
        EXPECT_EQ(x % 3 == 0 ? 255u : 0u, PixelAt(a, x, 0));
        EXPECT_EQ(static_cast<unsigned>(x % 256), PixelAt(b, x, 0));
        EXPECT_EQ(static_cast<unsigned>((x % 256 + 200 + 31 + 2) / 4), PixelAt(c, x, 1));
    }
}

TEST(MakeCopy, EnlargedConstantStaysConstant)
{
    for (const int width : {100, 400, 600}) {
        const Bitmap copy = CopyOf(ScannedOn(77, width, 5, 8, {})).grey;
        for (int y = 0; y < copy.height(); ++y)
            for (int x = 0; x < copy.width(); ++x) ASSERT_EQ(77u, PixelAt(copy, x, y));
    }
}

TEST(MakeCopy, EnlargedRampStaysARampAboutTheOutlines)
{
    for (const int width : {30, 400, 600}) {
        /* Twelve levels a column would be too many for a wide picture: they are those of a short stretch. */
        const Bitmap scan =
            Drawn(width, 12, 8, [](int x, int y) { return static_cast<unsigned>(8 * (x % 16) + 10 * y); });
        const Copy copy = CopyOf(scan);
        const int times = static_cast<int>(copy.scale);
        ASSERT_LE(2, times);
        for (int y = times; y < 11 * times; ++y)
            for (int x = times; x < 15 * times; ++x) {
                const double column = (x + 0.5) / times - 0.5, row = (y + 0.5) / times - 0.5;
                EXPECT_EQ(std::floor(8 * column + 10 * row + 0.5 + 1e-9), PixelAt(copy.grey, x, y))
                    << x << "," << y;
            }
    }
}

TEST(MakeCopy, EnlargedBordersRepeatTheLastPixel)
{
    const Bitmap copy = CopyOf(Drawn(2, 1, 8, [](int x, int) { return x == 0 ? 40u : 200u; })).grey;
    const unsigned expected[] = {40, 40, 60, 100, 140, 180, 200, 200};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x) EXPECT_EQ(expected[x], PixelAt(copy, x, y));
}

TEST(MakeCopy, ReducedPixelIsTheRoundedMeanOfThoseItCovers)
{
    test::Random random(1);
    const Bitmap scan = Drawn(3503, 8, 8, [&](int, int) { return random.Byte(); });
    const Bitmap copy = CopyOf(scan).grey;
    ASSERT_EQ(1168, copy.width()); /* the last column of two pixels only, and the last row of two */
    ASSERT_EQ(3, copy.height());
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 1168; ++x) {
            unsigned sum = 0, count = 0;
            for (int row = 3 * y; row < std::min(3 * y + 3, 8); ++row)
                for (int column = 3 * x; column < std::min(3 * x + 3, 3503); ++column, ++count)
                    sum += scan.row(row)[column];
            ASSERT_EQ((sum + count / 2) / count, copy.row(y)[x]) << x << "," << y;
        }
}

TEST(ReductionOf, LongestSideOfAnyLengthBecomesAbout1400)
{
    const std::pair<int, int> expected[] = {{1, 1},    {2099, 1}, {2100, 2},
                                            {3499, 2}, {3500, 3}, {2147483647, 1533917}};
    for (const auto& [longest, reduction] : expected) EXPECT_EQ(reduction, ReductionOf(longest));
}

TEST(PartsOf, LastPartMayBeSmaller)
{
    const int most = 2147483647;
    const int expected[][3] = {{1, 1, 1},       {6, 3, 2},   {7, 3, 3}, {most, 1533917, 1400},
                               {most, 1, most}, {1, most, 1}};
    for (const auto& [whole, part, parts] : expected) EXPECT_EQ(parts, PartsOf(whole, part));
}

/* ---- The ground ---- */

void ExpectOnPlane(const GroundPlane& plane, double at, double per_column, double per_row, double near)
{
    EXPECT_NEAR(at, plane.at, near);
    EXPECT_NEAR(per_column, plane.per_column, near);
    EXPECT_NEAR(per_row, plane.per_row, near);
}

TEST(FitGround, RampAboutAPageIsFittedExactly)
{
    /* Blocks of one pixel, told by the middles of their pixels: half a pixel from where they are counted. */
    const Bitmap scan = Drawn(40, 40, 8, [](int x, int y) {
        const bool page = x >= 10 && x < 30 && y >= 12 && y < 28;
        return static_cast<unsigned>(page ? 230 : 50 + x + 39 - y);
    });
    const std::vector<GroundPlane> planes = FitGround(GreyView(scan));
    ASSERT_EQ(1u, planes.size());
    ExpectOnPlane(planes[0], 50 - 0.5 - 0.5, 1.0, 1.0, 1e-9);
    EXPECT_EQ(0.5, planes[0].spread);
}

TEST(FitGround, GentleRampOfALargePictureIsMetWithinALevel)
{
    for (const int width : {400, 1400}) {
        const auto level = [](double x, double row) { return 60 + 0.04 * x + 0.03 * row; };
        const Bitmap scan = Drawn(width, 300, 8, [&](int x, int y) {
            const bool page = x >= 60 && x < width - 50 && y >= 40 && y < 270;
            return static_cast<unsigned>(page ? 240 : level(x, 299 - y) + 0.5);
        });
        const std::vector<GroundPlane> planes = FitGround(GreyView(scan));
        ASSERT_EQ(1u, planes.size());
        for (const int x : {0, width - 1})
            for (const int row : {0, 299}) EXPECT_NEAR(level(x, row), planes[0].LevelAt(x, row), 1.0);
    }
}

TEST(FitGround, PageOnSomeOfTheMarginsDoesNotCount)
{
    /* Cut off at the left: its level takes a fifth of the margins. */
    const Bitmap scan = Drawn(400, 300, 8, [](int x, int y) { return x < 200 && y > 80 && y < 220 ? 210u : 90u; });
    const std::vector<GroundPlane> planes = FitGround(GreyView(scan));
    ASSERT_LE(1u, planes.size());
    ExpectOnPlane(planes[0], 90, 0, 0, 1e-9);
}

TEST(FitGround, TwoGroundsGiveTwoPlanesTheLargerFirst)
{
    const Bitmap scan = Drawn(400, 300, 8, [](int x, int) { return x < 240 ? 40u : 160u; });
    const std::vector<GroundPlane> planes = FitGround(GreyView(scan));
    ASSERT_EQ(2u, planes.size());
    ExpectOnPlane(planes[0], 40, 0, 0, 1e-9);
    ExpectOnPlane(planes[1], 160, 0, 0, 1e-9);
}

TEST(FitGround, SpreadIsThatOfTheGroundsPixels)
{
    const Bitmap scan = Drawn(400, 300, 8, [](int x, int) { return static_cast<unsigned>(90 + 4 * (x % 3)); });
    const std::vector<GroundPlane> planes = FitGround(GreyView(scan));
    ASSERT_EQ(1u, planes.size());
    EXPECT_NEAR(94, planes[0].LevelAt(200, 150), 0.5);
    EXPECT_DOUBLE_EQ(4 * 1.4826, planes[0].spread);
}

TEST(FitGround, TinyPicturesHaveALevelGround)
{
    for (const auto& [width, height] : {std::pair<int, int>{1, 1}, {2, 2}, {1, 5000}, {5000, 1}}) {
        const std::vector<GroundPlane> planes = FitGround(GreyView(ScannedOn(123, width, height, 8, {})));
        ASSERT_LE(1u, planes.size());
        ExpectOnPlane(planes[0], 123, 0, 0, 1e-9);
    }
}

/* ---- The mask ---- */

/* White where more than half of the 7 x 7 pixels about a place depart; beyond the borders the last pixel counts on. */
bool IsMasked(const Bitmap& grey, const GroundPlane& plane, Departs departs, double least, int x, int y)
{
    int marked = 0;
    for (int dy = -3; dy <= 3; ++dy)
        for (int dx = -3; dx <= 3; ++dx) {
            const int column = std::clamp(x + dx, 0, grey.width() - 1),
                      row = std::clamp(y + dy, 0, grey.height() - 1);
            const double off = grey.row(row)[column] - plane.LevelAt(column, row);
            const double departure = departs == Departs::brighter ? off
                                     : departs == Departs::darker ? -off
                                                                  : std::fabs(off);
            marked += departure > least ? 1 : 0;
        }
    return marked > 24;
}

TEST(MakeMask, IsTheMajorityForPicturesOfAllSizes)
{
    test::Random random(9);
    for (int width = 1; width <= 40; ++width)
        for (int height = 1; height <= 30; ++height) {
            const int shift = random.Between(0, 7); /* how coarse the picture is */
            const Bitmap grey = Drawn(width, height, 8, [&](int x, int y) {
                return random.OneIn(4) ? random.Byte() : (x / 8 + y / 8 + shift) % 2 == 0 ? 90u : 130u;
            });
            /* Slopes that 65536ths hold exactly. */
            const GroundPlane plane = Plane(110 + random.Between(-64, 64) / 4.0, random.Between(-64, 64) / 64.0,
                                            random.Between(-64, 64) / 64.0);
            const Departs departs = random.OneOf<Departs>({Departs::brighter, Departs::darker, Departs::either});
            const double least = random.Between(0, 80) / 4.0;
            const Bitmap mask = MaskOf(grey, plane, departs, least);
            ASSERT_EQ(width, mask.width());
            ASSERT_EQ(height, mask.height());
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    ASSERT_EQ(IsMasked(grey, plane, departs, least, x, y) ? 255 : 0, mask.row(y)[x])
                        << width << "x" << height << " at " << x << "," << y;
        }
}

TEST(MakeMask, SpecksVanish)
{
    const Bitmap grey =
        Drawn(60, 60, 8, [](int x, int y) { return (x + 6) % 12 < 3 && (y + 6) % 12 < 3 ? 255u : 30u; });
    const Bitmap mask = MaskOf(grey, Plane(30, 0, 0), Departs::brighter, 10);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x) ASSERT_EQ(0u, PixelAt(mask, x, y));
}

TEST(MakeMask, ThinStreaksVanish)
{
    const Bitmap grey = Drawn(60, 60, 8, [](int x, int) { return x >= 30 && x < 33 ? 255u : 30u; });
    const Bitmap mask = MaskOf(grey, Plane(30, 0, 0), Departs::either, 10);
    for (int x = 0; x < 60; ++x) ASSERT_EQ(0u, PixelAt(mask, x, 30));
}

TEST(MakeMask, StraightEdgesStayWhereTheyAre)
{
    const Bitmap upright = Drawn(60, 60, 8, [](int x, int) { return x >= 23 ? 200u : 30u; });
    const Bitmap level = Drawn(60, 60, 8, [](int, int y) { return y >= 23 ? 200u : 30u; });
    const Bitmap slanted = Drawn(60, 60, 8, [](int x, int y) { return x >= y ? 200u : 30u; });
    const Bitmap a = MaskOf(upright, Plane(30, 0, 0), Departs::brighter, 10);
    const Bitmap b = MaskOf(level, Plane(30, 0, 0), Departs::brighter, 10);
    const Bitmap c = MaskOf(slanted, Plane(30, 0, 0), Departs::brighter, 10);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x) {
            ASSERT_EQ(x >= 23 ? 255u : 0u, PixelAt(a, x, y));
            ASSERT_EQ(y >= 23 ? 255u : 0u, PixelAt(b, x, y));
            if (x < 3 || y < 3 || x > 56 || y > 56) continue;
            ASSERT_EQ(x >= y ? 255u : 0u, PixelAt(c, x, y));
        }
}

TEST(MakeMask, OnlyWhatDepartsInTheGivenDirectionCounts)
{
    const Bitmap grey = Drawn(60, 20, 8, [](int x, int) { return x < 20 ? 60u : x < 40 ? 100u : 140u; });
    const auto shown = [&](Departs departs, double least) {
        const Bitmap mask = MaskOf(grey, Plane(100, 0, 0), departs, least);
        return std::string{PixelAt(mask, 9, 9) ? 'x' : '.', PixelAt(mask, 29, 9) ? 'x' : '.',
                           PixelAt(mask, 49, 9) ? 'x' : '.'};
    };
    EXPECT_EQ("..x", shown(Departs::brighter, 39));
    EXPECT_EQ("x..", shown(Departs::darker, 39));
    EXPECT_EQ("x.x", shown(Departs::either, 39));
    EXPECT_EQ("...", shown(Departs::either, 40));
    EXPECT_EQ("xxx", shown(Departs::either, -1));
}

TEST(MakeMask, GroundOfManyLevelsDoesNotWrap)
{
    const Bitmap grey = ScannedOn(128, 1400, 20, 8, {});
    const Bitmap below = MaskOf(grey, Plane(-1e9, 0, 0), Departs::brighter, 1e9);
    const Bitmap above = MaskOf(grey, Plane(1e9, 0.05, 0), Departs::darker, 800);
    EXPECT_EQ(255u, PixelAt(below, 700, 10)); /* both are taken for a thousand levels */
    EXPECT_EQ(255u, PixelAt(above, 700, 10));
}

/* ---- Departures ---- */

TEST(Departures, AreCountedFromThePlane)
{
    /* On the ground, 20 above, 10 below; the ground rises by a level a column. */
    const Bitmap grey = Drawn(60, 30, 8, [](int x, int y) {
        return static_cast<unsigned>(50 + x + (y < 10 ? 0 : y < 20 ? 20 : -10));
    });
    const GroundPlane plane = Plane(50, 1, 0);
    const auto counts = [&](Departs departs) {
        const Histogram histogram = Departures(grey, plane, departs);
        return std::vector<int>{histogram[0], histogram[10], histogram[20]};
    };
    EXPECT_EQ((std::vector<int>{1200, 0, 600}), counts(Departs::brighter));
    EXPECT_EQ((std::vector<int>{1200, 600, 0}), counts(Departs::darker));
    EXPECT_EQ((std::vector<int>{600, 600, 600}), counts(Departs::either));
}

TEST(Departures, LargePicturesAreThinned)
{
    const Histogram histogram = Departures(ScannedOn(30, 960, 480, 8, {}), Plane(0, 0, 0), Departs::brighter);
    EXPECT_EQ(240 * 240, histogram[30]);
}

} // namespace
