/*
 * Splitting the four traced sides of a page into its four edges.
 */
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/SearchBitmapFrame.cpp"

namespace
{

using Points = std::vector<PointRec>;
using Numbers = std::vector<sint32>;

/* first, first + 1, ..., end - 1. */
Numbers Range(sint32 first, sint32 end)
{
    Numbers numbers;
    for (sint32 k = first; k < end; ++k) numbers.push_back(k);
    return numbers;
}

/* num centres, a step apart. */
Points Steps(PointRec start, PointRec step, sint32 num)
{
    Points centers;
    for (sint32 k = 0; k < num; ++k) centers.push_back({start.x + k * step.x, start.y + k * step.y});
    return centers;
}

Points Row(sint32 y, sint32 num) { return Steps({600, y}, {-6, 0}, num); }
Points Column(sint32 x, sint32 num) { return Steps({x, 50}, {0, 6}, num); }
Points Slant(sint32 num) { return Steps({100, 50}, {10, 12}, num); } /* about 50 degrees */

/* A row whose centres are at these heights. */
Points Heights(const Numbers& heights)
{
    Points centers = Row(0, static_cast<sint32>(heights.size()));
    for (size_t k = 0; k < heights.size(); ++k) centers[k].y = heights[k];
    return centers;
}

/* A column whose centres are at these columns. */
Points Offsets(const Numbers& columns)
{
    Points centers = Column(0, static_cast<sint32>(columns.size()));
    for (size_t k = 0; k < columns.size(); ++k) centers[k].x = columns[k];
    return centers;
}

/* Their line runs at 260, all centres far from it. */
const Points kBentRow = Heights({100, 500, 100, 500, 100, 100, 500, 100, 500, 100});
const Points kBentColumn = Offsets({100, 500, 100, 500, 100, 100, 500, 100, 500, 100});

/* A traced side whose segments of six points have given centres. */
class SideScan
{
public:
    explicit SideScan(const Points& centers) { Set(centers); }
    SideScan(const SideScan&) = delete;
    SideScan& operator=(const SideScan&) = delete;

    void Set(const Points& centers)
    {
        points.clear();
        segments.clear();
        for (const PointRec center : centers)
            for (sint32 k = 0; k < 6; ++k) points.push_back({center.x, center.y - 2 + k});
        for (size_t k = 0; k < centers.size(); ++k)
            segments.push_back({6, 99, points.data() + 6 * k, 7, centers[k]});
        const sint32 num = static_cast<sint32>(centers.size());
        rec = {{6 * num, 6 * num, points.data()}, {num, num, 0, segments.data()}};
    }

    /* Which of this side's segments an edge holds, -1 for one that is not this side's. */
    Numbers SegmentsIn(const ImageBorderLineRec& edge) const
    {
        Numbers numbers;
        for (sint32 i = 0; i < edge.border_line_seck.index; ++i) {
            sint32 found = -1;
            for (size_t k = 0; k < segments.size(); ++k)
                if (edge.border_line_seck.borderLine[i].points == segments[k].points)
                    found = static_cast<sint32>(k);
            numbers.push_back(found);
        }
        return numbers;
    }

    ImageBorderPointRec rec = null_image_border_point;

private:
    Points points;
    std::vector<BorderLineRec> segments;
};

/*
 * The arguments of a call: an upright page, wider than tall, inside the image, with 20, 18, 16 and 14 segments on
 * its top, left, bottom and right side. The edges start empty; the flag starts with a value that no call gives it.
 */
class Splitting
{
public:
    Splitting()
    {
        LeftPointIndexT = 33;
        LeftPointIndexB = 9;
        RightPointIndexT = 31;
        RightPointIndexB = 10;
        TopPointIndexR = 29;
        TopPointIndexL = 8;
        BottomPointIndexR = 27;
        BottomPointIndexL = 7;
        for (ImageBorderLineRec* edge : Edges()) edge->border_line = kOldLine;
    }
    ~Splitting()
    {
        for (ImageBorderLineRec* edge : Edges()) ImageBorderLine_Done(edge);
    }
    Splitting(const Splitting&) = delete;
    Splitting& operator=(const Splitting&) = delete;

    /* All sides slant and the page touches row 0, so that its left side's angle alone makes it a tilted one. */
    void Tilt(sint32 left_y)
    {
        for (SideScan* side : {&left, &right, &top, &bottom}) side->Set(Slant(40));
        range = {{10, left_y}, {390, 150}, {200, 0}, {200, 200}};
    }

    /* With the pointer of that number, in the order of the parameters, null. */
    sint32 Run(int null_argument = -1)
    {
        const auto pass = [null_argument](int number, auto* argument) {
            return number == null_argument ? nullptr : argument;
        };
        return DispartBorderPoints(pass(0, p_bitmap), pass(1, &range), pass(2, &flag), pass(3, &left.rec),
                                   pass(4, &right.rec), pass(5, &top.rec), pass(6, &bottom.rec), pass(7, &left_top),
                                   pass(8, &left_bottom), pass(9, &right_top), pass(10, &right_bottom));
    }

    bool EdgesAreEmpty()
    {
        for (const ImageBorderLineRec* edge : Edges())
            if (edge->border_line_seck.index != 0 || edge->border_line_seck.borderLine != nullptr) return false;
        return true;
    }

    /* In the order in which they are filled and cleaned. */
    std::vector<ImageBorderLineRec*> Edges() { return {&left_top, &left_bottom, &right_bottom, &right_top}; }

    static constexpr LineRec kOldLine = {1.5, 2.5, 3.5, 4, {5, 6}};

    test::Bitmap image{400, 300, 1};
    BitmapRec* p_bitmap = &image.rec;
    ImageRangeRectangleRec range = {{10, 20}, {390, 30}, {60, 40}, {70, 240}};
    sint32 flag = -5;
    SideScan left{Column(100, 18)};
    SideScan right{Column(700, 14)};
    SideScan top{Row(40, 20)};
    SideScan bottom{Row(240, 16)};
    ImageBorderLineRec left_top = null_image_border_line;
    ImageBorderLineRec left_bottom = null_image_border_line;
    ImageBorderLineRec right_top = null_image_border_line;
    ImageBorderLineRec right_bottom = null_image_border_line;
};

/* Whether each segment of an edge carries this mark. */
bool AllMarked(const ImageBorderLineRec& edge, sint32 type)
{
    for (sint32 k = 0; k < edge.border_line_seck.index; ++k)
        if (edge.border_line_seck.borderLine[k].type != type) return false;
    return edge.border_line_seck.index > 0;
}

/* ======== Arguments ======== */

TEST(DispartBorderPoints, EachOfElevenNullPointersReturns1AndWritesNothing)
{
    for (int argument = 0; argument < 11; ++argument) {
        Splitting split;
        EXPECT_EQ(split.Run(argument), 1) << argument;
        EXPECT_EQ(split.flag, -5) << argument;
        EXPECT_TRUE(split.EdgesAreEmpty()) << argument;
    }
}

TEST(DispartBorderPoints, InvalidBitmapReturns12AndWritesNothing)
{
    Splitting split;
    BitmapRec invalid = split.image.rec;
    invalid.ScanLine = nullptr;
    split.p_bitmap = &invalid;
    EXPECT_EQ(split.Run(), 12);
    EXPECT_EQ(split.flag, -5);
    EXPECT_TRUE(split.EdgesAreEmpty());
    for (int argument = 1; argument < 11; ++argument) EXPECT_EQ(split.Run(argument), 1) << argument;
}

TEST(DispartBorderPoints, SegmentsWithoutAnArrayReturn1AndWriteNothing)
{
    for (int k = 0; k < 4; ++k) {
        Splitting split;
        SideScan* const sides[] = {&split.left, &split.right, &split.top, &split.bottom};
        sides[k]->rec.border_line_seck.borderLine = nullptr;
        EXPECT_EQ(split.Run(), 1) << k;
        EXPECT_EQ(split.flag, -5) << k;
        EXPECT_TRUE(split.EdgesAreEmpty()) << k;
    }
}

/* ======== Upright or tilted ======== */

TEST(DispartBorderPoints, StraightSidesInsideTheImageGiveFlag0AndTrimmedSides)
{
    Splitting split;
    EXPECT_EQ(split.Run(), 0);
    EXPECT_EQ(split.flag, 0);
    EXPECT_EQ(split.top.SegmentsIn(split.left_top), Range(5, 15));
    EXPECT_EQ(split.left.SegmentsIn(split.left_bottom), Range(5, 13));
    EXPECT_EQ(split.bottom.SegmentsIn(split.right_bottom), Range(5, 11));
    EXPECT_EQ(split.right.SegmentsIn(split.right_top), Range(5, 9));
}

TEST(DispartBorderPoints, WidePageIsJudgedByTopThenBottom)
{
    Splitting split;
    split.left.Set(kBentColumn);
    split.right.Set(kBentColumn);
    split.Run();
    EXPECT_EQ(split.flag, 0);

    Splitting bent_top;
    bent_top.top.Set(kBentRow);
    bent_top.Run();
    EXPECT_EQ(bent_top.flag, 1);

    Splitting bent_bottom;
    bent_bottom.bottom.Set(kBentRow);
    bent_bottom.Run();
    EXPECT_EQ(bent_bottom.flag, 1);
}

TEST(DispartBorderPoints, TallPageIsJudgedByLeftThenRight)
{
    const ImageRangeRectangleRec tall = {{100, 20}, {200, 30}, {60, 40}, {70, 240}};
    Splitting split;
    split.range = tall;
    split.top.Set(kBentRow);
    split.bottom.Set(kBentRow);
    split.Run();
    EXPECT_EQ(split.flag, 0);

    Splitting bent_left;
    bent_left.range = tall;
    bent_left.left.Set(kBentColumn);
    bent_left.Run();
    EXPECT_EQ(bent_left.flag, 1);

    Splitting bent_right;
    bent_right.range = tall;
    bent_right.right.Set(kBentColumn);
    bent_right.Run();
    EXPECT_EQ(bent_right.flag, 1);
}

TEST(DispartBorderPoints, AsWideAsTallIsJudgedByLeftAndRight)
{
    for (const sint32 width : {200, 201}) {
        Splitting split;
        split.range.right.x = split.range.left.x + width; /* 200 high */
        split.top.Set(kBentRow);
        split.Run();
        EXPECT_EQ(split.flag, width == 200 ? 0 : 1) << width;
    }
}

TEST(DispartBorderPoints, ExtremesAtTheEndsOfTheNumbersAreCompared)
{
    Splitting split;
    split.top.Set(kBentRow);
    split.range.left.x = INT_MIN;
    split.range.right.x = INT_MAX; /* wider than tall */
    split.Run();
    EXPECT_EQ(split.flag, 1);
}

TEST(DispartBorderPoints, JudgedSideWithFewerThanTwoSegmentsReturns1WithFlag1AndWritesNothing)
{
    for (const sint32 num : {0, 1}) {
        Splitting short_top;
        short_top.top.Set(Row(40, num));
        EXPECT_EQ(short_top.Run(), 1);
        EXPECT_EQ(short_top.flag, 1);
        EXPECT_TRUE(short_top.EdgesAreEmpty());

        Splitting short_bottom;
        short_bottom.bottom.Set(Row(240, num));
        EXPECT_EQ(short_bottom.Run(), 1);
        EXPECT_EQ(short_bottom.flag, 1);
        EXPECT_TRUE(short_bottom.EdgesAreEmpty());

        Splitting short_left;
        short_left.range.top.y = 0;
        short_left.left.Set(Column(100, num));
        EXPECT_EQ(short_left.Run(), 1);
        EXPECT_EQ(short_left.flag, 1);
        EXPECT_TRUE(short_left.EdgesAreEmpty());

        Splitting short_right;
        short_right.range.top.y = 0;
        short_right.right.Set(Column(700, num));
        EXPECT_EQ(short_right.Run(), 1);
        EXPECT_EQ(short_right.flag, 1);
        EXPECT_TRUE(short_right.EdgesAreEmpty());
    }
}

TEST(DispartBorderPoints, TwoSegmentsAreEnoughForAJudgedSide)
{
    Splitting split;
    split.top.Set(Row(40, 2));
    EXPECT_EQ(split.Run(), 1); /* of two segments the trimming leaves none */
    EXPECT_EQ(split.flag, 0);
    EXPECT_FALSE(split.EdgesAreEmpty());
}

TEST(DispartBorderPoints, SideWithoutADirectionReturns10WithFlag1AndWritesNothing)
{
    Splitting split;
    split.top.Set(Points(10, {100, 40}));
    EXPECT_EQ(split.Run(), 10);
    EXPECT_EQ(split.flag, 1);
    EXPECT_TRUE(split.EdgesAreEmpty());
}

TEST(DispartBorderPoints, SecondSideIsNotFittedWhenTheFirstIsNotStraight)
{
    Splitting wide;
    wide.top.Set(kBentRow);
    wide.bottom.Set(Row(240, 1));
    wide.Run();
    EXPECT_EQ(wide.flag, 1);
    EXPECT_FALSE(wide.EdgesAreEmpty());

    Splitting cut;
    cut.range.top.y = 0;
    cut.left.Set(Slant(40));
    cut.right.Set(Column(700, 1));
    cut.Run();
    EXPECT_EQ(cut.flag, 1);
    EXPECT_FALSE(cut.EdgesAreEmpty());
}

TEST(DispartBorderPoints, SidesThatAreNotJudgedMayHaveFewerThanTwoSegments)
{
    Splitting split;
    split.left.Set({});
    split.right.Set(Column(700, 1));
    EXPECT_EQ(split.Run(), 1); /* the empty left edge, once it is cleaned */
    EXPECT_EQ(split.flag, 0);
    EXPECT_EQ(split.top.SegmentsIn(split.left_top), Range(5, 15));
    EXPECT_TRUE(AllMarked(split.left_top, 1));
}

/* The flag of a page whose top side has centres at these heights; the mean of either half is 300. */
sint32 FlagOfTop(const Numbers& heights)
{
    Splitting split;
    split.top.Set(Heights(heights));
    split.Run();
    return split.flag;
}

TEST(DispartBorderPoints, MoreThanSixtyPercentOfTheCentresMustLieNearTheLine)
{
    EXPECT_EQ(FlagOfTop({300, 300, 300, 400, 200, 300, 300, 300, 400, 200}), 1); /* 6 of 10 */
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 300, 300, 400, 400, 100}), 0); /* 7 of 10 */
    EXPECT_EQ(FlagOfTop({400, 200, 300, 300, 300}), 1);                          /* 3 of 5 */
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 400, 200}), 0);                /* 5 of 7 */
}

TEST(DispartBorderPoints, ThirtyFivePixelsAreNearTheLineAndThirtySixAreNot)
{
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 300, 335, 210, 210, 445}), 0);
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 300, 336, 209, 210, 445}), 1);
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 300, 265, 390, 390, 155}), 0);
    EXPECT_EQ(FlagOfTop({300, 300, 300, 300, 300, 300, 264, 391, 390, 155}), 1);
}

TEST(DispartBorderPoints, DistanceFromASlantingSideIsPerpendicularAndTruncated)
{
    const auto flag_at = [](sint32 offset) { /* from a line at 45 degrees: offset / 1.414 */
                                             Splitting split;
                                             Points centers = Steps({500, 500}, {10, 10}, 10);
                                             centers[6].y += offset;
                                             centers[7].y -= 200;
                                             centers[8].y -= 200 + offset - 50;
                                             centers[9].y += 350;
                                             split.top.Set(centers);
                                             split.Run();
                                             return split.flag;
    };
    EXPECT_EQ(flag_at(50), 0); /* 35.4 */
    EXPECT_EQ(flag_at(51), 1); /* 36.1 */
}

/* ======== Pages that the image cuts ======== */

/* The flag of a page on the image's first row whose left side runs from the origin to this point. */
sint32 FlagOfCutPage(PointRec end)
{
    Splitting split;
    split.range.top.y = 0;
    split.left.Set({{0, 0}, end});
    split.Run();
    return split.flag;
}

TEST(DispartBorderPoints, CutPageNeedsSidesSteeperThan80Degrees)
{
    EXPECT_EQ(FlagOfCutPage({100, 567}), 1); /* 79.998 degrees */
    EXPECT_EQ(FlagOfCutPage({100, 568}), 0); /* 80.015 */
    EXPECT_EQ(FlagOfCutPage({-100, 568}), 0);
    EXPECT_EQ(FlagOfCutPage({0, 100}), 0);
    EXPECT_EQ(FlagOfCutPage({100, 0}), 1);
}

TEST(DispartBorderPoints, CutPageAtExactly80DegreesIsTilted)
{
    const PointRec exact = {41549613, 235639532};
    SideScan side({{0, 0}, exact});
    LineRec line = null_line;
    ASSERT_EQ(LineOfPointsCenter(&line, &side.rec.border_line_seck), 0);
    ASSERT_EQ(line.angle, 80.0);
    EXPECT_EQ(FlagOfCutPage(exact), 1);
    EXPECT_EQ(FlagOfCutPage({exact.x, exact.y + 10}), 0);
}

TEST(DispartBorderPoints, CutPageNeedsASteepRightSideToo)
{
    for (const sint32 height : {567, 568}) {
        Splitting split;
        split.range.top.y = 0;
        split.right.Set({{0, 0}, {100, height}});
        split.Run();
        EXPECT_EQ(split.flag, height == 568 ? 0 : 1) << height;
    }
}

TEST(DispartBorderPoints, CutPageNeedsStraightSidesToo)
{
    for (SideScan Splitting::*side : {&Splitting::left, &Splitting::right}) {
        Splitting split;
        split.range.top.y = 0;
        /* Upright, 90 degrees, but only 6 of 10 near the line. */
        (split.*side).Set(Offsets({300, 300, 300, 400, 200, 300, 300, 300, 400, 200}));
        split.Run();
        EXPECT_EQ(split.flag, 1);
    }
}

TEST(DispartBorderPoints, PageOnTheFirstOrLastRowIsJudgedByLeftAndRightHoweverWide)
{
    const auto flag_of = [](sint32 top_y, sint32 bottom_y) {
        Splitting split;
        split.top.Set(kBentRow);
        split.range.top.y = top_y;
        split.range.bottom.y = bottom_y;
        split.Run();
        return split.flag;
    };
    EXPECT_EQ(flag_of(1, 298), 1); /* inside: the bent top side decides */
    EXPECT_EQ(flag_of(0, 298), 0);
    EXPECT_EQ(flag_of(1, 299), 0);
    EXPECT_EQ(flag_of(0, 299), 0);
    EXPECT_EQ(flag_of(-1, 298), 0);
}

TEST(DispartBorderPoints, PageInsideTheImageNeedsNoSteepSides)
{
    Splitting split;
    split.range = {{100, 20}, {200, 30}, {60, 40}, {70, 240}}; /* tall */
    split.left.Set(Slant(40));
    split.right.Set(Slant(40));
    split.Run();
    EXPECT_EQ(split.flag, 0);
}

/* ======== Filling ======== */

TEST(DispartBorderPoints, LeftCornerLowOrAtMidHeightTakesTheStretchesAwayFromTheCorners)
{
    for (const sint32 left_y : {100, 150}) {
        Splitting split;
        split.Tilt(left_y);
        EXPECT_EQ(split.Run(), 0);
        EXPECT_EQ(split.flag, 1);
        EXPECT_EQ(split.left.SegmentsIn(split.left_top), Range(5, 28));
        EXPECT_EQ(split.bottom.SegmentsIn(split.left_bottom), Range(12, 35));
        EXPECT_EQ(split.right.SegmentsIn(split.right_bottom), Range(15, 35));
        EXPECT_EQ(split.top.SegmentsIn(split.right_top), Range(5, 24));
    }
}

TEST(DispartBorderPoints, LeftCornerHighTakesTheOtherStretches)
{
    for (const sint32 left_y : {99, 50}) {
        Splitting split;
        split.Tilt(left_y);
        EXPECT_EQ(split.Run(), 0);
        EXPECT_EQ(split.flag, 1);
        EXPECT_EQ(split.top.SegmentsIn(split.left_top), Range(13, 35));
        EXPECT_EQ(split.left.SegmentsIn(split.left_bottom), Range(14, 35));
        EXPECT_EQ(split.bottom.SegmentsIn(split.right_bottom), Range(5, 22));
        EXPECT_EQ(split.right.SegmentsIn(split.right_top), Range(5, 26));
    }
}

TEST(DispartBorderPoints, CopiesShareThePointsAndHaveTheirLengthSet)
{
    Splitting split;
    ASSERT_EQ(split.Run(), 0);
    const SideScan* sides[] = {&split.top, &split.left, &split.bottom, &split.right};
    size_t edge_number = 0;
    for (const ImageBorderLineRec* edge : split.Edges()) {
        const BorderLineRec& copy = edge->border_line_seck.borderLine[0];
        const BorderLineRec& segment = sides[edge_number++]->rec.border_line_seck.borderLine[5];
        EXPECT_EQ(copy.index, 6);
        EXPECT_EQ(copy.len, 6);
        EXPECT_EQ(copy.type, 1);
        EXPECT_EQ(copy.points, segment.points);
        EXPECT_EQ(copy.Center.x, segment.Center.x);
        EXPECT_EQ(copy.Center.y, segment.Center.y);
        EXPECT_EQ(edge->border_line_seck.len, 1000);
    }
}

TEST(DispartBorderPoints, SidesAndTheEdgesLinesAreLeftAsTheyWere)
{
    Splitting split;
    ASSERT_EQ(split.Run(), 0);
    for (const SideScan* side : {&split.left, &split.right, &split.top, &split.bottom}) {
        for (sint32 k = 0; k < side->rec.border_line_seck.index; ++k) {
            EXPECT_EQ(side->rec.border_line_seck.borderLine[k].type, 7);
            EXPECT_EQ(side->rec.border_line_seck.borderLine[k].len, 99);
        }
    }
    for (const ImageBorderLineRec* edge : split.Edges()) {
        EXPECT_EQ(edge->border_line.a, 1.5);
        EXPECT_EQ(edge->border_line.b, 2.5);
        EXPECT_EQ(edge->border_line.angle, 3.5);
        EXPECT_EQ(edge->border_line.type, 4);
        EXPECT_EQ(edge->border_line.center.x, 5);
        EXPECT_EQ(edge->border_line.center.y, 6);
    }
}

TEST(DispartBorderPoints, SideOfTenSegmentsLeavesAnEmptyEdgeAndOfElevenOneSegment)
{
    for (const sint32 num : {10, 11}) {
        Splitting split;
        split.top.Set(Row(40, num));
        EXPECT_EQ(split.Run(), num == 11 ? 0 : 1);
        EXPECT_EQ(split.flag, 0);
        EXPECT_EQ(split.top.SegmentsIn(split.left_top), Range(5, num - 5));
    }
}

TEST(DispartBorderPoints, CornerWithinFiveSegmentsOfTheEndGivesAnEmptyEdgeThatCannotBeCleaned)
{
    struct Corner {
        sint32 left_y;
        sint32* global;
        sint32 one_left, none_left;
        ImageBorderLineRec Splitting::*edge;
    };
    const Corner corners[] = {{100, &LeftPointIndexT, 11, 10, &Splitting::left_top},
                              {100, &BottomPointIndexL, 29, 30, &Splitting::left_bottom},
                              {100, &RightPointIndexB, 29, 30, &Splitting::right_bottom},
                              {100, &TopPointIndexR, 11, 10, &Splitting::right_top},
                              {50, &TopPointIndexL, 29, 30, &Splitting::left_top},
                              {50, &LeftPointIndexB, 29, 30, &Splitting::left_bottom},
                              {50, &BottomPointIndexR, 11, 10, &Splitting::right_bottom},
                              {50, &RightPointIndexT, 11, 10, &Splitting::right_top}};
    for (const Corner& corner : corners) {
        Splitting one;
        one.Tilt(corner.left_y);
        *corner.global = corner.one_left;
        EXPECT_EQ(one.Run(), 0);
        EXPECT_EQ((one.*corner.edge).border_line_seck.index, 1);

        Splitting none;
        none.Tilt(corner.left_y);
        *corner.global = corner.none_left;
        EXPECT_EQ(none.Run(), 1);
        EXPECT_EQ(none.flag, 1);
        EXPECT_EQ((none.*corner.edge).border_line_seck.index, 0);
    }
}

TEST(DispartBorderPoints, CrossingBoundsGiveAnEmptyEdge)
{
    Splitting split;
    split.Tilt(100);
    LeftPointIndexT = 0;
    BottomPointIndexL = 39;
    RightPointIndexB = 39;
    TopPointIndexR = 0;
    EXPECT_EQ(split.Run(), 1);
    EXPECT_TRUE(split.EdgesAreEmpty());
}

TEST(DispartBorderPoints, SegmentNumbersFromElsewhereNeverReachOutsideASide)
{
    struct Hostile {
        sint32 number;
        Numbers until; /* what is left of a stretch that ends before this corner */
        Numbers from;  /* and of one that begins behind it */
    };
    const Hostile hostile[] = {{INT_MIN, {}, Range(0, 35)},     {INT_MIN + 5, {}, Range(0, 35)},
                               {-1000, {}, Range(0, 35)},       {-5, {}, Range(0, 35)},
                               {45, Range(5, 40), {}},          {1000000, Range(5, 40), {}},
                               {INT_MAX - 5, Range(5, 40), {}}, {INT_MAX, Range(5, 40), {}}};
    for (const Hostile& h : hostile) {
        for (const sint32 left_y : {100, 50}) {
            SCOPED_TRACE(testing::Message() << h.number << " " << left_y);
            Splitting split;
            split.Tilt(left_y);
            LeftPointIndexT = LeftPointIndexB = RightPointIndexT = RightPointIndexB = h.number;
            TopPointIndexR = TopPointIndexL = BottomPointIndexR = BottomPointIndexL = h.number;
            EXPECT_EQ(split.Run(), 1); /* two edges are empty */
            const bool low = left_y == 100;
            EXPECT_EQ(low ? split.left.SegmentsIn(split.left_top) : split.top.SegmentsIn(split.left_top),
                      low ? h.until : h.from);
            EXPECT_EQ(low ? split.bottom.SegmentsIn(split.left_bottom) : split.left.SegmentsIn(split.left_bottom),
                      h.from);
            EXPECT_EQ(low ? split.right.SegmentsIn(split.right_bottom)
                          : split.bottom.SegmentsIn(split.right_bottom),
                      low ? h.from : h.until);
            EXPECT_EQ(low ? split.top.SegmentsIn(split.right_top) : split.right.SegmentsIn(split.right_top),
                      h.until);
        }
    }
}

TEST(DispartBorderPoints, OneHostileSegmentNumberAloneTakesTheWholeRestOfItsSide)
{
    Splitting split;
    split.Tilt(100);
    LeftPointIndexT = INT_MAX;
    EXPECT_EQ(split.Run(), 0);
    EXPECT_EQ(split.left.SegmentsIn(split.left_top), Range(5, 40));
}

TEST(DispartBorderPoints, EdgeThatCannotGrowReturns5WithTheEarlierEdgesFilledAndNoneCleaned)
{
    Splitting split;
    split.right_bottom.border_line_seck = {INT_MAX, INT_MAX, 0, nullptr};
    EXPECT_EQ(split.Run(), 5);
    EXPECT_EQ(split.flag, 0);
    EXPECT_EQ(split.top.SegmentsIn(split.left_top), Range(5, 15));
    EXPECT_EQ(split.left.SegmentsIn(split.left_bottom), Range(5, 13));
    EXPECT_EQ(split.right_top.border_line_seck.index, 0);
    EXPECT_TRUE(AllMarked(split.left_top, 0));
    EXPECT_TRUE(AllMarked(split.left_bottom, 0));
}

/* ======== Cleaning ======== */

TEST(DispartBorderPoints, EdgesAreCleanedInOrderUntilOneFails)
{
    sint32* const corner_of_edge[] = {&LeftPointIndexT, &BottomPointIndexL, &RightPointIndexB, &TopPointIndexR};
    const sint32 emptying[] = {0, 39, 39, 0};
    for (size_t failing = 0; failing < 4; ++failing) {
        Splitting split;
        split.Tilt(100);
        *corner_of_edge[failing] = emptying[failing];
        EXPECT_EQ(split.Run(), 1);
        for (size_t k = 0; k < 4; ++k) {
            const ImageBorderLineRec& edge = *split.Edges()[k];
            if (k == failing)
                EXPECT_EQ(edge.border_line_seck.index, 0) << k;
            else
                EXPECT_TRUE(AllMarked(edge, k < failing ? 1 : 0)) << failing << " " << k;
        }
    }
}

TEST(DispartBorderPoints, CodeOfTheCleaningIsPassedOn)
{
    Splitting split;
    split.bottom.Set(Row(240, 11));
    PointRec* points = split.bottom.rec.border_line_seck.borderLine[5].points; /* the one segment of the edge */
    for (sint32 k = 0; k < 6; ++k) points[k] = {100, 240};
    EXPECT_EQ(split.Run(), 10);
    EXPECT_EQ(split.flag, 0);
    EXPECT_TRUE(AllMarked(split.left_bottom, 1));
    EXPECT_TRUE(AllMarked(split.right_top, 0));
}

TEST(DispartBorderPoints, NoiseOfAnUprightPageIsRemovedFromEachEdge)
{
    Splitting split;
    for (SideScan* side : {&split.top, &split.bottom}) side->rec.border_line_seck.borderLine[7].Center.y += 20;
    for (SideScan* side : {&split.left, &split.right}) side->rec.border_line_seck.borderLine[7].Center.x += 20;
    EXPECT_EQ(split.Run(), 0);
    EXPECT_EQ(split.flag, 0);
    const auto without_7 = [](sint32 end) {
        Numbers numbers = {5, 6};
        for (const sint32 k : Range(8, end)) numbers.push_back(k);
        return numbers;
    };
    EXPECT_EQ(split.top.SegmentsIn(split.left_top), without_7(15));
    EXPECT_EQ(split.left.SegmentsIn(split.left_bottom), without_7(13));
    EXPECT_EQ(split.bottom.SegmentsIn(split.right_bottom), without_7(11));
    EXPECT_EQ(split.right.SegmentsIn(split.right_top), without_7(9));
}

/* Six centres from number first on, moved along one axis. */
Points Shift(Points centers, size_t first, sint32 PointRec::*axis, const Numbers& noise)
{
    for (size_t k = 0; k < noise.size(); ++k) centers[first + k].*axis += noise[k];
    return centers;
}

Numbers Plus(sint32 first, Numbers numbers)
{
    for (sint32& number : numbers) number += first;
    return numbers;
}

/* The same noise on all four edges: each side number of the cleaning leaves other segments of it. */
TEST(DispartBorderPoints, EachEdgeOfATiltedPageIsCleanedByItsOwnSide)
{
    const Numbers noise = {7, -1, -9, -7, 12, -6};
    const Points centers = Shift(Shift(Slant(40), 5, &PointRec::y, noise), 29, &PointRec::y, noise);
    const Numbers left_top = {0, 1, 3, 4, 5};
    const Numbers left_bottom = {0, 1, 4};
    const Numbers right_bottom = {0, 1, 2, 3, 5};
    const Numbers right_top = {0, 1, 2, 3};

    for (const bool low : {true, false}) {
        SCOPED_TRACE(low);
        Splitting split;
        split.Tilt(low ? 100 : 50);
        for (SideScan* side : {&split.left, &split.right, &split.top, &split.bottom}) side->Set(centers);
        LeftPointIndexT = TopPointIndexR = BottomPointIndexR = RightPointIndexT = 16; /* stretches 5 to 10 */
        BottomPointIndexL = RightPointIndexB = TopPointIndexL = LeftPointIndexB = 24; /* and 29 to 34 */
        EXPECT_EQ(split.Run(), 0);
        EXPECT_EQ((low ? split.left : split.top).SegmentsIn(split.left_top), Plus(low ? 5 : 29, left_top));
        EXPECT_EQ((low ? split.bottom : split.left).SegmentsIn(split.left_bottom), Plus(29, left_bottom));
        EXPECT_EQ((low ? split.right : split.bottom).SegmentsIn(split.right_bottom),
                  Plus(low ? 29 : 5, right_bottom));
        EXPECT_EQ((low ? split.top : split.right).SegmentsIn(split.right_top), Plus(5, right_top));
    }
}

TEST(DispartBorderPoints, EachEdgeOfAnUprightPageIsCleanedByItsOwnSideAndAsUpright)
{
    const Points row = Shift(Row(60, 16), 5, &PointRec::y, {-10, -8, 3, 1, 5, -6});
    const Points column = Shift(Column(160, 16), 5, &PointRec::x, {7, -7, -6, -1, 11, -5});
    Splitting split;
    split.top.Set(row);
    split.bottom.Set(row);
    split.left.Set(column);
    split.right.Set(column);
    EXPECT_EQ(split.Run(), 0);
    EXPECT_EQ(split.flag, 0);
    EXPECT_EQ(split.top.SegmentsIn(split.left_top), Plus(5, {0, 1, 3, 4, 5}));
    EXPECT_EQ(split.left.SegmentsIn(split.left_bottom), Plus(5, {0, 1, 2, 3, 5}));
    EXPECT_EQ(split.bottom.SegmentsIn(split.right_bottom), Plus(5, {0, 1, 3, 5}));
    EXPECT_EQ(split.right.SegmentsIn(split.right_top), Plus(5, {0, 2, 3, 5}));
}

/* ======== Drawn pages ======== */

/* Detection up to the splitting, on a dark ground. */
struct Detection {
    explicit Detection(test::Bitmap& image)
    {
        RectangleRec range = {0, image.rec.biWidth - 1, 0, image.rec.biHeight - 1};
        EXPECT_EQ(MarkLeftRightBorder(&image.rec, &range, 1, 100, 0, &left, &right, &extremes), 0);
        EXPECT_EQ(MarkTopBottomBorder(&image.rec, &range, 1, 100, 0, &top, &bottom, &extremes), 0);
        EXPECT_EQ(DispartBorderPoints(&image.rec, &extremes, &flag, &left, &right, &top, &bottom, &left_top,
                                      &left_bottom, &right_top, &right_bottom),
                  0);
    }
    ~Detection()
    {
        for (ImageBorderLineRec* edge : {&left_top, &left_bottom, &right_top, &right_bottom})
            ImageBorderLine_Done(edge);
        for (ImageBorderPointRec* side : {&left, &right, &top, &bottom}) ImageBorderPoint_Done(side);
    }
    Detection(const Detection&) = delete;
    Detection& operator=(const Detection&) = delete;

    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    sint32 flag = -5;
    ImageBorderPointRec left = null_image_border_point;
    ImageBorderPointRec right = null_image_border_point;
    ImageBorderPointRec top = null_image_border_point;
    ImageBorderPointRec bottom = null_image_border_point;
    ImageBorderLineRec left_top = null_image_border_line;
    ImageBorderLineRec left_bottom = null_image_border_line;
    ImageBorderLineRec right_top = null_image_border_line;
    ImageBorderLineRec right_bottom = null_image_border_line;
};

/* Expects an edge to be num segments of a side from number first on, the first with this centre. */
void ExpectStretch(const ImageBorderLineRec& edge, const ImageBorderPointRec& side, sint32 first, sint32 num,
                   PointRec center)
{
    ASSERT_EQ(edge.border_line_seck.index, num);
    for (sint32 k = 0; k < num; ++k) {
        EXPECT_EQ(edge.border_line_seck.borderLine[k].points, side.border_line_seck.borderLine[first + k].points);
        EXPECT_EQ(edge.border_line_seck.borderLine[k].type, 1);
    }
    EXPECT_EQ(edge.border_line_seck.borderLine[0].Center.x, center.x);
    EXPECT_EQ(edge.border_line_seck.borderLine[0].Center.y, center.y);
}

TEST(DispartBorderPoints, DrawnUprightPageGivesTheSameEdgesInEveryDepth)
{
    for (const sint32 bits : {24, 8, 1}) {
        SCOPED_TRACE(bits);
        test::Bitmap image(440, 300, bits, 0);
        image.FillBox(100, 339, 50, 229, 255); /* 40 segments wide, 30 high */
        const Detection page(image);
        EXPECT_EQ(page.flag, 0);
        ExpectStretch(page.left_top, page.top, 5, 30, {306, 50});
        ExpectStretch(page.left_bottom, page.left, 5, 20, {100, 82});
        ExpectStretch(page.right_bottom, page.bottom, 5, 30, {306, 229});
        ExpectStretch(page.right_top, page.right, 5, 20, {339, 82});
    }
}

/* A square on its corner: 281 rows and columns, 46 full segments a side and one of five, corners in segment 23. */
TEST(DispartBorderPoints, DrawnTiltedPageGivesTheSameEdgesInEveryDepth)
{
    for (const sint32 bits : {24, 8, 1}) {
        SCOPED_TRACE(bits);
        test::Bitmap image(400, 300, bits, 0);
        for (sint32 row = 10; row <= 290; ++row) {
            const sint32 half = 140 - std::abs(row - 150);
            image.FillBox(200 - half, 200 + half, row, row, 255);
        }
        const Detection page(image);
        EXPECT_EQ(page.flag, 1);
        ExpectStretch(page.left_top, page.left, 5, 13, {167, 42});
        ExpectStretch(page.left_bottom, page.bottom, 28, 14, {169, 259});
        ExpectStretch(page.right_bottom, page.right, 28, 14, {309, 180});
        ExpectStretch(page.right_top, page.top, 5, 13, {307, 117});
    }
}

} // namespace
