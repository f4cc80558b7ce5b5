/*
 * Levels_test.cpp - grey levels of a picture, and the thresholds that they suggest.
 */
#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "Levels.h"
#include "pages/PageMaker.h"
#include "support/RandomBitmap.h"

namespace
{

using namespace quarlo;
using test::ScannedOn;

Histogram HistogramOf(const std::vector<std::pair<int, int>>& counts)
{
    Histogram histogram{};
    for (const auto& [level, count] : counts) histogram[static_cast<size_t>(level)] = count;
    return histogram;
}

int Total(const Histogram& histogram)
{
    int total = 0;
    for (const int count : histogram) total += count;
    return total;
}

/* ---- Histograms ---- */

TEST(OtsuLevel, TwoLevelsArePartedAtTheLower)
{
    EXPECT_EQ(50, OtsuLevel(HistogramOf({{50, 100}, {200, 100}})));
    EXPECT_EQ(0, OtsuLevel(HistogramOf({{0, 7}, {255, 900}})));
    EXPECT_EQ(254, OtsuLevel(HistogramOf({{254, 7}, {255, 900}})));
}

TEST(OtsuLevel, TwoClassesArePartedBetweenThem)
{
    const int level = OtsuLevel(HistogramOf({{20, 10}, {30, 80}, {40, 10}, {190, 30}, {200, 300}, {210, 30}}));
    EXPECT_EQ(40, level);
}

TEST(OtsuLevel, FlatHistogramIsPartedInTheMiddle)
{
    Histogram flat;
    flat.fill(3);
    EXPECT_EQ(127, OtsuLevel(flat));
}

TEST(OtsuLevel, SingleLevelOrNoneGivesTheMiddle)
{
    EXPECT_EQ(127, OtsuLevel(Histogram{}));
    for (const int level : {0, 30, 255}) EXPECT_EQ(127, OtsuLevel(HistogramOf({{level, 500}})));
}

TEST(OtsuLevel, CountsOfAFullPictureDoNotWrap)
{
    EXPECT_EQ(10, OtsuLevel(HistogramOf({{10, 1000000000}, {250, 1000000000}})));
}

TEST(Quantile, IsTheLevelUpToWhichTheShareLies)
{
    const Histogram histogram = HistogramOf({{10, 25}, {20, 25}, {30, 50}});
    EXPECT_EQ(10, Quantile(histogram, 0.25));
    EXPECT_EQ(20, Quantile(histogram, 0.26));
    EXPECT_EQ(20, Quantile(histogram, 0.5));
    EXPECT_EQ(30, Quantile(histogram, 0.51));
    EXPECT_EQ(30, Quantile(histogram, 1.0));
    EXPECT_EQ(0, Quantile(histogram, 0.0));
    EXPECT_EQ(255, Quantile(histogram, 1.1));
}

/* ---- Pictures ---- */

TEST(MeasureLevels, GroundIsTheMedianOfTheMargins)
{
    for (const int depth : {8, 24}) {
        const Levels levels = MeasureLevels(ScannedOn(30, 100, 200, depth, {{{49.5, 99.5}, 60, 160, 0, 210}}));
        EXPECT_EQ(30, levels.ground);
        EXPECT_EQ(0.0, levels.spread);
        EXPECT_EQ(60 * 160, levels.whole[210]);
        EXPECT_EQ(100 * 200 - 60 * 160, levels.whole[30]);
        EXPECT_EQ(100 * 200 - 94 * 188, levels.margins[30]);
        EXPECT_EQ(levels.margins[30], Total(levels.margins));
    }
}

TEST(MeasureLevels, BlackAndWhiteAreTheEndsOfTheScale)
{
    const Levels levels = MeasureLevels(ScannedOn(255, 100, 100, 1, {{{49.5, 49.5}, 50, 50, 0, 0}}));
    EXPECT_EQ(255, levels.ground);
    EXPECT_EQ(255, levels.library);
    EXPECT_EQ(2500, levels.whole[0]);
    EXPECT_EQ(7500, levels.whole[255]);
}

TEST(MeasureLevels, SpreadIsOneAndAHalfTimesTheMedianDistance)
{
    const Bitmap striped =
        test::Drawn(99, 99, 8, [](int x, int) { return static_cast<unsigned>(58 + 2 * (x % 3)); });
    const Levels levels = MeasureLevels(striped);
    EXPECT_EQ(60, levels.ground);
    EXPECT_DOUBLE_EQ(2 * 1.4826, levels.spread);
}

TEST(MeasureLevels, EstimateIsTheLibrarys)
{
    const Bitmap scan = test::Drawn(100, 50, 8, [](int x, int) { return x < 2 ? 20u : x > 97 ? 60u : 200u; });
    EXPECT_EQ(40, MeasureLevels(scan).library);
}

TEST(MeasureLevels, LargePicturesAreThinnedToMultiplesOfAStep)
{
    /* Steps of 3 and 2 pixels, from the middle of the first: columns 1, 4, ..., rows 1, 3, ... of the bitmap. */
    const Bitmap scan = test::Drawn(720, 480, 8, [](int x, int y) { return x % 3 == 1 && y % 2 == 0 ? 9u : 100u; });
    const Levels levels = MeasureLevels(scan);
    EXPECT_EQ(240 * 240, levels.whole[9]);
    EXPECT_EQ(240 * 240, Total(levels.whole));
}

TEST(MeasureLevels, TinyPicturesAreAllMargin)
{
    for (const int depth : {1, 8, 24})
        for (const int size : {1, 2}) {
            const Levels levels = MeasureLevels(ScannedOn(255, size, size, depth, {}));
            EXPECT_EQ(255, levels.ground);
            EXPECT_EQ(size * size, Total(levels.whole));
            EXPECT_EQ(levels.whole, levels.margins);
        }
}

/* ---- Thresholds ---- */

TEST(CandidateThresholds, OnDarkGroundLieBetweenGroundAndPageTheMiddleFirst)
{
    Levels levels;
    levels.whole = HistogramOf({{30, 500}, {230, 500}});
    levels.margins = HistogramOf({{28, 10}, {30, 80}, {33, 2}});
    levels.ground = 30;
    levels.spread = 2.0;
    levels.library = 31;
    /* The middle; Otsu's; 6 and 3 spreads; quarters; 12 and 24 spreads; libquarlo's; Otsu's of the margins; 0.88. */
    EXPECT_EQ((std::vector<int>{130, 30, 42, 36, 80, 180, 54, 78, 31, 28, 206}),
              CandidateThresholds(levels, Ground::dark));
}

TEST(CandidateThresholds, OnLightGroundLieAboutTheGroundItselfFirst)
{
    Levels levels;
    levels.whole = HistogramOf({{60, 500}, {230, 500}});
    levels.margins = HistogramOf({{225, 30}, {230, 40}, {235, 30}});
    levels.ground = 230;
    levels.library = 229;
    EXPECT_EQ((std::vector<int>{230, 229, 226, 234, 222, 238, 228, 232, 235, 225}),
              CandidateThresholds(levels, Ground::light));
}

TEST(CandidateThresholds, AreUsableAndDifferForWhateverPicture)
{
    test::Random random(7);
    for (int round = 0; round < 3000; ++round) {
        Levels levels;
        const int kinds = random.Between(0, 5);
        for (int k = 0; k < kinds; ++k) {
            levels.whole[random.Byte()] += random.Between(1, 1000);
            levels.margins[random.Byte()] += random.Between(1, 1000);
        }
        levels.ground = random.OneOf<int>({0, 255, random.Byte()});
        levels.spread = random.OneOf<double>({0.0, 1.4826 * random.Byte()});
        levels.library = random.OneOf<int>({0, 255, random.Byte()});
        for (const Ground ground : {Ground::dark, Ground::light}) {
            const std::vector<int> thresholds = CandidateThresholds(levels, ground);
            ASSERT_FALSE(thresholds.empty());
            EXPECT_EQ(thresholds.size(), std::set<int>(thresholds.begin(), thresholds.end()).size());
            EXPECT_LE(1, *std::min_element(thresholds.begin(), thresholds.end()));
            EXPECT_GE(254, *std::max_element(thresholds.begin(), thresholds.end()));
            const auto holds = [&](int level) {
                return level < 1 || std::count(thresholds.begin(), thresholds.end(), std::min(level, 254)) == 1;
            };
            const int otsu = OtsuLevel(levels.whole);
            EXPECT_TRUE(holds(ground == Ground::dark ? otsu : std::max(otsu, levels.ground)));
            EXPECT_TRUE(holds(levels.library));
        }
    }
}

TEST(CandidateDepartures, AreOtsuThenSpreadsAndSharesOfTheMost)
{
    /* 98 of 100 lie at or below 80. */
    const Histogram departures = HistogramOf({{0, 60}, {80, 38}, {90, 2}});
    EXPECT_EQ((std::vector<int>{15, 40, 30, 20, 60}), CandidateDepartures(departures, 5.0));
}

TEST(CandidateDepartures, RoundingIsNoDeparture)
{
    EXPECT_EQ((std::vector<int>{2, 3}), CandidateDepartures(HistogramOf({{0, 90}, {1, 10}}), 0.5));
    EXPECT_EQ((std::vector<int>{127}), CandidateDepartures(HistogramOf({{0, 100}}), 0.0));
}

} // namespace
