/*
 * SearchBitmapFrame_lines_test.cpp - the lines of page detection and the removal of segments that belong to none.
 *
 * Angles go between degrees and radians with 3.1415926, in a fixed order of operations. Where a test computes the
 * expected value, it writes that order out, and uses a slope for which the other order gives another double.
 */
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/SearchBitmapFrame.cpp"

inline bool operator==(const PointRec& a, const PointRec& b) { return a.x == b.x && a.y == b.y; }
inline std::ostream& operator<<(std::ostream& out, const PointRec& p)
{
    return out << '(' << p.x << ", " << p.y << ')';
}

namespace
{

using Points = std::vector<PointRec>;
using Indices = std::vector<sint32>;

constexpr Real64 kDegreePi = 3.1415926;
constexpr sint32 kWild = -12345; /* a value that no routine computes from the test data */

/* A set of segments together with the points that they are views of. */
class SegmentSet
{
public:
    SegmentSet() = default;
    SegmentSet(const SegmentSet&) = delete;
    SegmentSet& operator=(const SegmentSet&) = delete;

    void Add(PointRec center, const Points& points)
    {
        points_.push_back(points);
        const sint32 num = static_cast<sint32>(points.size());
        segments_.push_back({num, num, nullptr, 0, center});
        set.PointNum += num;
        Link();
    }

    BorderLineSetRec set = null_border_line_set;

private:
    void Link()
    {
        for (size_t k = 0; k < segments_.size(); ++k) segments_[k].points = points_[k].data();
        set.index = set.len = static_cast<sint32>(segments_.size());
        set.borderLine = segments_.data();
    }

    std::vector<Points> points_;
    std::vector<BorderLineRec> segments_;
};

/* Segments of which only the centres are known. */
class Centers : public SegmentSet
{
public:
    explicit Centers(const Points& centers)
    {
        for (const PointRec& center : centers) Add(center, {});
    }
};

/* Segments of which only the points are known. */
class Runs : public SegmentSet
{
public:
    explicit Runs(const std::vector<Points>& runs)
    {
        for (const Points& run : runs) Add({kWild, kWild}, run);
    }
};

LineRec Line(sint32 type, Real64 a, Real64 b = 0.0)
{
    LineRec line = null_line;
    line.type = type;
    line.a = a;
    line.b = b;
    return line;
}

/* A line as an earlier fit may have left it. */
const LineRec kUsedLine = {11.0, 7.25, 33.0, 3, {5, 6}};

void ExpectLine(const LineRec& expected, const LineRec& line)
{
    EXPECT_EQ(expected.type, line.type);
    EXPECT_EQ(expected.a, line.a);
    EXPECT_EQ(expected.b, line.b);
    EXPECT_EQ(expected.angle, line.angle);
    EXPECT_EQ(expected.center, line.center);
}

} // namespace

/* ======== LineOfPointsCenter ======== */

TEST(LineOfPointsCenter, NullPointerReturns1)
{
    Centers two({{0, 0}, {10, 20}});
    LineRec line = kUsedLine;
    EXPECT_EQ(1, LineOfPointsCenter(nullptr, &two.set));
    EXPECT_EQ(1, LineOfPointsCenter(&line, nullptr));
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPointsCenter, FewerThanTwoSegmentsReturn1)
{
    Centers two({{0, 0}, {10, 20}});
    LineRec line = kUsedLine;
    for (sint32 index : {-1, 0, 1}) {
        two.set.index = index;
        EXPECT_EQ(1, LineOfPointsCenter(&line, &two.set)) << index;
    }
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPointsCenter, TwoSegmentsGiveOneCentreToEachHalf)
{
    Centers two({{1, 10}, {4, 12}});
    two.set.PointNum = kWild; /* the points do not count here */
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    const Real64 b = 2.0 / 3.0;
    /* Through the first centre; the middle of both would give 11 - 2 b. */
    ExpectLine({10 - b * 1, b, std::atan(b) / kDegreePi * 180.0, 3, {2, 11}}, line);
}

TEST(LineOfPointsCenter, OddSegmentGoesToTheSecondHalf)
{
    Centers three({{0, 0}, {10, 40}, {30, 100}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &three.set));
    const Real64 b = 70.0 / 20.0;
    ExpectLine({0.0, b, std::atan(b) / kDegreePi * 180.0, 3, {10, 35}}, line);
}

TEST(LineOfPointsCenter, CentroidsAreTruncated)
{
    Centers four({{1, 1}, {2, 2}, {20, 40}, {21, 47}}); /* (1.5, 1.5) and (20.5, 43.5) */
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &four.set));
    const Real64 b = 42.0 / 19.0;
    ExpectLine({1 - b * 1, b, std::atan(b) / kDegreePi * 180.0, 3, {10, 22}}, line);
}

TEST(LineOfPointsCenter, CoincidingCentroidsReturn10AndLeaveTheLine)
{
    Centers four({{0, 0}, {10, 10}, {3, 8}, {7, 2}});
    LineRec line = kUsedLine;
    EXPECT_EQ(10, LineOfPointsCenter(&line, &four.set));
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPointsCenter, EqualColumnsGiveAVerticalLineThatKeepsItsOldSlope)
{
    Centers two({{9, 10}, {9, 13}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    ExpectLine({9.0, kUsedLine.b, 90.0, 2, {9, 11}}, line);
}

TEST(LineOfPointsCenter, EqualRowsGiveAHorizontalLineThatKeepsItsOldSlope)
{
    Centers two({{10, 9}, {13, 9}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    ExpectLine({9.0, kUsedLine.b, 0.0, 1, {11, 9}}, line);
}

TEST(LineOfPointsCenter, FallingLineHasAPositiveAngle)
{
    const Real64 b = -0.5;
    ASSERT_NE(std::atan(0.5) / kDegreePi * 180.0, std::atan(0.5) * 180.0 / kDegreePi);
    Centers two({{10, 40}, {30, 30}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    ExpectLine({45.0, b, std::atan(0.5) / kDegreePi * 180.0, 3, {20, 35}}, line);
}

TEST(LineOfPointsCenter, RightToLeftGivesTheSameSlope)
{
    Centers two({{30, 30}, {10, 40}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    ExpectLine({45.0, -0.5, std::atan(0.5) / kDegreePi * 180.0, 3, {20, 35}}, line);
}

TEST(LineOfPointsCenter, HalfADegreeSnapsToHorizontal)
{
    /* The first slope is half a degree to the last bit, the second the next double above. */
    const sint32 width = 910265553;
    const sint32 height = 7943767;
    const Real64 b = static_cast<Real64>(height) / width;
    ASSERT_EQ(0.5, std::atan(b) / kDegreePi * 180.0);
    Centers at({{0, 3}, {width, 3 + height}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &at.set));
    ExpectLine({3971886.0, b, 0.0, 1, {455132776, 3971886}}, line);

    const Real64 steeper = 7854711.0 / 900060746.0;
    ASSERT_EQ(std::nextafter(0.5, 1.0), std::atan(steeper) / kDegreePi * 180.0);
    Centers above({{0, 0}, {900060746, 7854711}});
    ASSERT_EQ(0, LineOfPointsCenter(&line, &above.set));
    ExpectLine({0.0, steeper, std::nextafter(0.5, 1.0), 3, {450030373, 3927355}}, line);
}

TEST(LineOfPointsCenter, JustBelowHalfADegreeSnapsThroughTheCentre)
{
    Centers flat({{0, 109}, {1032, 100}}); /* 0.49966 degrees, falling */
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &flat.set));
    ExpectLine({104.0, -9.0 / 1032.0, 0.0, 1, {516, 104}}, line);

    Centers steeper({{0, 109}, {1031, 100}}); /* 0.50014 degrees */
    ASSERT_EQ(0, LineOfPointsCenter(&line, &steeper.set));
    ExpectLine({109.0, -9.0 / 1031.0, std::atan(9.0 / 1031.0) / kDegreePi * 180.0, 3, {515, 104}}, line);
}

TEST(LineOfPointsCenter, EightyNineAndAHalfDegreesSnapToVertical)
{
    const sint32 width = 195679;
    const sint32 height = 22422524;
    const Real64 b = static_cast<Real64>(height) / width;
    ASSERT_EQ(89.5, std::atan(b) / kDegreePi * 180.0);
    Centers at({{3, 0}, {3 + width, height}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &at.set));
    ExpectLine({97842.0, b, 90.0, 2, {97842, 11211262}}, line);

    const Real64 flatter = 89793913.0 / 783622.0;
    ASSERT_EQ(std::nextafter(89.5, 0.0), std::atan(flatter) / kDegreePi * 180.0);
    Centers below({{0, 0}, {783622, 89793913}});
    ASSERT_EQ(0, LineOfPointsCenter(&line, &below.set));
    ExpectLine({0.0, flatter, std::nextafter(89.5, 0.0), 3, {391811, 44896956}}, line);
}

TEST(LineOfPointsCenter, JustAbove89AndAHalfDegreesSnapsThroughTheCentre)
{
    Centers steep({{109, 0}, {100, 1032}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &steep.set));
    ExpectLine({104.0, -1032.0 / 9.0, 90.0, 2, {104, 516}}, line);

    Centers flatter({{100, 0}, {109, 1031}});
    const Real64 b = 1031.0 / 9.0;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &flatter.set));
    ExpectLine({0 - b * 100, b, std::atan(b) / kDegreePi * 180.0, 3, {104, 515}}, line);
}

TEST(LineOfPointsCenter, SumsAbove31BitsAreUnsigned)
{
    Centers four({{1500000000, 1200000000}, {1500000000, 1200000000}, {100, 7}, {100, 7}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &four.set));
    const Real64 b = (7.0 - 1200000000.0) / (100.0 - 1500000000.0);
    ExpectLine({1200000000 - b * 1500000000, b, std::atan(b) / kDegreePi * 180.0, 3, {750000050, 600000003}}, line);
}

TEST(LineOfPointsCenter, SumsWrapModulo32Bits)
{
    const PointRec third = {1431655766, 3}; /* three of them: 2^32 + 2, which leaves 2 */
    Centers six({third, third, third, {10, 33}, {10, 33}, {10, 33}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &six.set));
    ExpectLine({3.0, 3.0, std::atan(3.0) / kDegreePi * 180.0, 3, {5, 18}}, line);
}

TEST(LineOfPointsCenter, CentreIsRoundedDownBelowZero)
{
    Centers two({{-3, -7}, {0, 0}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPointsCenter(&line, &two.set));
    const Real64 b = 7.0 / 3.0;
    ExpectLine({-7 - b * -3, b, std::atan(b) / kDegreePi * 180.0, 3, {-2, -4}}, line);
}

/* ======== LineOfPoints ======== */

TEST(LineOfPoints, NullPointerReturns1)
{
    Runs run({{{0, 0}, {10, 20}}});
    LineRec line = kUsedLine;
    EXPECT_EQ(1, LineOfPoints(nullptr, &run.set));
    EXPECT_EQ(1, LineOfPoints(&line, nullptr));
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPoints, NoSegmentReturns1AndLeavesTheLine)
{
    Runs run({{{0, 0}, {10, 20}}});
    LineRec line = kUsedLine;
    for (sint32 index : {-1, 0}) {
        run.set.index = index;
        EXPECT_EQ(1, LineOfPoints(&line, &run.set)) << index;
    }
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPoints, PointNumBelow2Returns1AndLeavesTheLine)
{
    Runs run({{{0, 0}, {10, 20}}});
    LineRec line = kUsedLine;
    for (sint32 num : {-1, 0, 1}) {
        run.set.PointNum = num;
        EXPECT_EQ(1, LineOfPoints(&line, &run.set)) << num;
    }
    ExpectLine(kUsedLine, line);
}

TEST(LineOfPoints, TwoPointsAreTheHalves)
{
    const Real64 b = -0.5;
    ASSERT_NE(std::atan(b) * 180.0 / kDegreePi, std::atan(b) / kDegreePi * 180.0);
    Runs run({{{10, 41}, {32, 30}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set));
    /* Through the centre, which is rounded down from 35.5; the first point would give 46. */
    ExpectLine({45.5, b, std::atan(b) * 180.0 / kDegreePi, 3, {21, 35}}, line);
}

TEST(LineOfPoints, ThirdOfThreePointsIsNotUsed)
{
    Runs run({{{0, 0}, {10, 10}, {999, 5}}});
    ASSERT_EQ(3, run.set.PointNum);
    ASSERT_NE(std::atan(1.0) * 180.0 / kDegreePi, std::atan(1.0) / kDegreePi * 180.0);
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set));
    ExpectLine({0.0, 1.0, std::atan(1.0) * 180.0 / kDegreePi, 3, {5, 5}}, line);
}

TEST(LineOfPoints, SecondHalfContinuesInsideASegment)
{
    Runs runs({{{0, 0}, {6, 6}, {12, 12}, {18, 18}},
               {{24, 24}, {30, 30}, {36, 100}, {42, 100}, {48, 100}, {54, 100}},
               {{60, 100}, {66, 100}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &runs.set)); /* (15, 15) and (51, 100) */
    const Real64 b = 85.0 / 36.0;
    ExpectLine({57 - b * 33, b, std::atan(b) * 180.0 / kDegreePi, 3, {33, 57}}, line);
}

TEST(LineOfPoints, FirstHalfMayEndWithASegment)
{
    Runs runs({{{0, 0}, {6, 6}}, {}, {{20, 100}, {40, 100}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &runs.set)); /* (3, 3) and (30, 100) */
    const Real64 b = 97.0 / 27.0;
    ExpectLine({51 - b * 16, b, std::atan(b) * 180.0 / kDegreePi, 3, {16, 51}}, line);
}

TEST(LineOfPoints, PointNumDecidesHowManyPointsAreTaken)
{
    Runs runs({{{0, 0}, {2, 2}, {10, 20}, {12, 22}, {500, 1}, {600, 1}}});
    runs.set.PointNum = 5; /* two for each half */
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &runs.set)); /* (1, 1) and (11, 21) */
    ExpectLine({-1.0, 2.0, std::atan(2.0) * 180.0 / kDegreePi, 3, {6, 11}}, line);
}

TEST(LineOfPoints, ShortSecondHalfIsDividedByItsOwnCount)
{
    Runs runs({{{0, 0}, {2, 2}, {4, 4}, {11, 22}}});
    runs.set.PointNum = 6; /* three and one */
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &runs.set)); /* (2, 2) and (11, 22) */
    const Real64 b = 20.0 / 9.0;
    ExpectLine({12 - b * 6, b, std::atan(b) * 180.0 / kDegreePi, 3, {6, 12}}, line);
}

TEST(LineOfPoints, NoPointsReturn10AndType4)
{
    Runs empty({{}, {}});
    empty.set.PointNum = 4;
    LineRec line = kUsedLine;
    EXPECT_EQ(10, LineOfPoints(&line, &empty.set));
    LineRec expected = kUsedLine;
    expected.type = 4;
    ExpectLine(expected, line);
}

TEST(LineOfPoints, EmptySecondHalfReturns10AndType4)
{
    Runs run({{{0, 0}, {10, 20}}});
    run.set.PointNum = 4;
    LineRec line = kUsedLine;
    EXPECT_EQ(10, LineOfPoints(&line, &run.set));
    LineRec expected = kUsedLine;
    expected.type = 4;
    ExpectLine(expected, line);
}

TEST(LineOfPoints, CoincidingCentroidsReturn10AndType4)
{
    Runs run({{{0, 0}, {10, 10}, {7, 2}, {3, 8}}});
    LineRec line = kUsedLine;
    EXPECT_EQ(10, LineOfPoints(&line, &run.set));
    LineRec expected = kUsedLine;
    expected.type = 4;
    ExpectLine(expected, line);
}

TEST(LineOfPoints, EqualColumnsGiveAVerticalLineThatKeepsItsOldSlope)
{
    Runs run({{{9, 10}, {9, 13}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set));
    ExpectLine({9.0, kUsedLine.b, 90.0, 2, {9, 11}}, line);
}

TEST(LineOfPoints, EqualRowsGiveAHorizontalLineThatKeepsItsOldSlope)
{
    Runs run({{{10, 9}, {13, 9}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set));
    ExpectLine({9.0, kUsedLine.b, 0.0, 1, {11, 9}}, line);
}

TEST(LineOfPoints, NothingSnapsToAnAxis)
{
    Runs flat({{{0, 100}, {1000, 101}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &flat.set));
    Real64 b = 1.0 / 1000.0;
    ExpectLine({100 - b * 500, b, std::atan(b) * 180.0 / kDegreePi, 3, {500, 100}}, line);

    Runs steep({{{100, 1000}, {101, 0}}});
    ASSERT_EQ(0, LineOfPoints(&line, &steep.set));
    b = -1000.0;
    ExpectLine({500 - b * 100, b, std::atan(b) * 180.0 / kDegreePi, 3, {100, 500}}, line);
}

TEST(LineOfPoints, FallingLineHasANegativeAngleWhereTheCentresGiveAPositiveOne)
{
    SegmentSet falling;
    falling.Add({10, 40}, {{10, 40}});
    falling.Add({30, 30}, {{30, 30}});
    LineRec points = null_line;
    LineRec centers = null_line;
    ASSERT_EQ(0, LineOfPoints(&points, &falling.set));
    ASSERT_EQ(0, LineOfPointsCenter(&centers, &falling.set));
    EXPECT_EQ(std::atan(-0.5) * 180.0 / kDegreePi, points.angle);
    EXPECT_EQ(std::atan(0.5) / kDegreePi * 180.0, centers.angle);
    EXPECT_EQ(-0.5, points.b);
    EXPECT_EQ(-0.5, centers.b);
}

TEST(LineOfPoints, SumsWrapModulo32Bits)
{
    const PointRec third = {3, 1431655766}; /* three of them: 2^32 + 2, which leaves 2 */
    Runs run({{third, third, third, {33, 10}, {33, 10}, {33, 10}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set)); /* (3, 0) and (33, 10) */
    const Real64 b = 10.0 / 30.0;
    ExpectLine({5 - b * 18, b, std::atan(b) * 180.0 / kDegreePi, 3, {18, 5}}, line);
}

TEST(LineOfPoints, CentreIsRoundedDownBelowZero)
{
    Runs run({{{-3, -7}, {0, 0}}});
    LineRec line = kUsedLine;
    ASSERT_EQ(0, LineOfPoints(&line, &run.set));
    const Real64 b = 7.0 / 3.0;
    ExpectLine({-4 - b * -2, b, std::atan(b) * 180.0 / kDegreePi, 3, {-2, -4}}, line);
}

/* ======== CalLineIntercept ======== */

TEST(CalLineIntercept, NullLineReturns1) { EXPECT_EQ(1, CalLineIntercept(nullptr)); }

TEST(CalLineIntercept, UnusableTypeReturns1AndLeavesTheLine)
{
    for (sint32 type : {-1, 0, 4, 5}) {
        LineRec line = kUsedLine;
        line.type = type;
        EXPECT_EQ(1, CalLineIntercept(&line)) << type;
        EXPECT_EQ(kUsedLine.a, line.a) << type;
    }
}

TEST(CalLineIntercept, AngleDecidesAndNotType)
{
    for (sint32 type : {1, 2, 3}) {
        LineRec line = {99.0, 0.3, 0.0, type, {5, 60}};
        ASSERT_EQ(0, CalLineIntercept(&line)) << type;
        ExpectLine({60.0, 0.3, 0.0, type, {5, 60}}, line);

        line.angle = 90.0;
        ASSERT_EQ(0, CalLineIntercept(&line)) << type;
        ExpectLine({5.0, 0.3, 90.0, type, {5, 60}}, line);

        line.angle = 30.0;
        ASSERT_EQ(0, CalLineIntercept(&line)) << type;
        ExpectLine({60 - 5 * 0.3, 0.3, 30.0, type, {5, 60}}, line);
    }
}

TEST(CalLineIntercept, OnlyExactly0And90AreAxes)
{
    for (Real64 angle : {1e-300, -1e-300, -90.0, std::nextafter(90.0, 0.0), std::nextafter(90.0, 100.0)}) {
        LineRec line = {99.0, -2.5, angle, 3, {4, 60}};
        ASSERT_EQ(0, CalLineIntercept(&line));
        EXPECT_EQ(70.0, line.a) << angle;
    }
}

/* ======== PointOfTwoLine ======== */

TEST(PointOfTwoLine, NullPointerReturns1)
{
    LineRec row = Line(1, 5);
    LineRec col = Line(2, 7);
    PointRec point = {kWild, kWild};
    EXPECT_EQ(1, PointOfTwoLine(nullptr, &col, &point));
    EXPECT_EQ(1, PointOfTwoLine(&row, nullptr, &point));
    EXPECT_EQ(1, PointOfTwoLine(&row, &col, nullptr));
    EXPECT_EQ((PointRec{kWild, kWild}), point);
}

TEST(PointOfTwoLine, UnusableTypeReturns1AndLeavesThePoint)
{
    PointRec point = {kWild, kWild};
    for (sint32 type : {-1, 0, 4, 5}) {
        for (sint32 other : {1, 2, 3}) {
            LineRec line1 = Line(type, 5, 2.0);
            LineRec line2 = Line(other, 7, 3.0);
            EXPECT_EQ(1, PointOfTwoLine(&line1, &line2, &point)) << type << ' ' << other;
            EXPECT_EQ(1, PointOfTwoLine(&line2, &line1, &point)) << type << ' ' << other;
        }
    }
    EXPECT_EQ((PointRec{kWild, kWild}), point);
}

TEST(PointOfTwoLine, EachPairOfTypes)
{
    struct CaseRec {
        LineRec line1, line2;
        PointRec point;
    };
    /* Fractions are carried on unrounded: from column 0.4 and slope 10 comes row 4, not 0. */
    const CaseRec cases[] = {
        {Line(2, 7.5), Line(1, 3.4), {8, 3}},
        {Line(1, 3.4), Line(2, 7.5), {8, 3}},
        {Line(2, 0.4), Line(3, 0.0, 10.0), {0, 4}},
        {Line(3, 0.0, 10.0), Line(2, 0.4), {0, 4}},
        {Line(1, 2.5), Line(3, 0.5, 0.25), {8, 3}},
        {Line(3, 0.5, 0.25), Line(1, 2.5), {8, 3}},
        {Line(3, 8.0, -10.0), Line(3, 0.0, 10.0), {0, 4}},
        {Line(3, 10.0, 1.0), Line(3, 70.0, -2.0), {20, 30}},
    };
    for (const CaseRec& c : cases) {
        LineRec line1 = c.line1;
        LineRec line2 = c.line2;
        PointRec point = {kWild, kWild};
        ASSERT_EQ(0, PointOfTwoLine(&line1, &line2, &point));
        EXPECT_EQ(c.point, point) << "types " << line1.type << ' ' << line2.type;
    }
}

TEST(PointOfTwoLine, RoundingAddsAHalfAndTruncates)
{
    const struct {
        Real64 value;
        sint32 rounded;
    } cases[] = {{-2.7, -2}, {-0.6, 0}, {-1.5, -1}, {-1.6, -1}, {2.4, 2}, {2.5, 3}, {-0.4, 0}};
    for (const auto& c : cases) {
        LineRec row = Line(1, c.value);
        LineRec col = Line(2, c.value);
        LineRec slope = Line(3, 0.0, 1.0);
        LineRec opposite = Line(3, 2.0 * c.value, -1.0);
        const PointRec expected = {c.rounded, c.rounded};
        LineRec* const pairs[][2] = {{&row, &col},   {&col, &row},   {&row, &slope},     {&slope, &row},
                                     {&col, &slope}, {&slope, &col}, {&slope, &opposite}};
        for (const auto& pair : pairs) {
            PointRec point = {kWild, kWild};
            ASSERT_EQ(0, PointOfTwoLine(pair[0], pair[1], &point));
            EXPECT_EQ(expected, point) << c.value << " types " << pair[0]->type << ' ' << pair[1]->type;
        }
    }
}

TEST(PointOfTwoLine, RowOfTwoGeneralLinesComesFromTheSecond)
{
    /* On the steep line the row at column 3 is lost in its huge coefficients, on the flat one it is exact. */
    LineRec steep = Line(3, -3e18, 1e18);
    LineRec flat = Line(3, 7.0, 0.0);
    PointRec point = {kWild, kWild};
    ASSERT_EQ(0, PointOfTwoLine(&steep, &flat, &point));
    EXPECT_EQ((PointRec{3, 7}), point);
    ASSERT_EQ(0, PointOfTwoLine(&flat, &steep, &point));
    EXPECT_EQ((PointRec{3, 0}), point);
}

TEST(PointOfTwoLine, ParallelLinesReturn1AndLeaveThePoint)
{
    PointRec point = {kWild, kWild};
    for (sint32 type : {1, 2, 3}) {
        LineRec line1 = Line(type, 5, 2.0);
        LineRec line2 = Line(type, 7, 2.0);
        EXPECT_EQ(1, PointOfTwoLine(&line1, &line2, &point)) << type;
        EXPECT_EQ(1, PointOfTwoLine(&line1, &line1, &point)) << type;
    }
    EXPECT_EQ((PointRec{kWild, kWild}), point);
}

TEST(PointOfTwoLine, SlopesOfAxisParallelLinesDoNotCount)
{
    PointRec point = {kWild, kWild};
    LineRec row1 = Line(1, 5, 2.0);
    LineRec row2 = Line(1, 7, 3.0);
    EXPECT_EQ(1, PointOfTwoLine(&row1, &row2, &point));
    LineRec col = Line(2, 7, 2.0);
    EXPECT_EQ(0, PointOfTwoLine(&row1, &col, &point));
    EXPECT_EQ((PointRec{7, 5}), point);
}

/* No fit makes such a line; it divides by zero, and what comes out fits no integer. */
TEST(PointOfTwoLine, GeneralLineWithoutSlopeMeetsAHorizontalInTheSmallestColumn)
{
    for (const Real64 row : {7.0, 3.0, -3.0}) {
        LineRec general = {3.0, 0.0, 0.0, 3, {0, 0}};
        LineRec horizontal = {row, 0.0, 0.0, 1, {0, 0}};
        PointRec point = {5, 5};
        EXPECT_EQ(0, PointOfTwoLine(&general, &horizontal, &point));
        EXPECT_EQ(INT32_MIN, point.x);
        EXPECT_EQ(RoundReal(row), point.y);
    }
}

TEST(PointOfTwoLine, OnlyExactlyEqualSlopesAreParallel)
{
    LineRec line1 = Line(3, 5, 1.0);
    LineRec line2 = Line(3, 5, std::nextafter(1.0, 2.0));
    PointRec point = {kWild, kWild};
    ASSERT_EQ(0, PointOfTwoLine(&line1, &line2, &point));
    EXPECT_EQ((PointRec{0, 5}), point);
}

/* ======== PointToLine ======== */

TEST(PointToLine, NullPointerReturns1)
{
    LineRec line = Line(1, 5);
    sint32 d = kWild;
    EXPECT_EQ(1, PointToLine({0, 0}, nullptr, &d));
    EXPECT_EQ(1, PointToLine({0, 0}, &line, nullptr));
    EXPECT_EQ(kWild, d);
}

TEST(PointToLine, UnusableTypeReturns1AndLeavesTheDistance)
{
    sint32 d = kWild;
    for (sint32 type : {-1, 0, 4, 5}) {
        LineRec line = Line(type, 5, 1.0);
        EXPECT_EQ(1, PointToLine({0, 0}, &line, &d)) << type;
    }
    EXPECT_EQ(kWild, d);
}

TEST(PointToLine, DistancesAreSignedAndTruncated)
{
    const struct {
        LineRec line;
        PointRec point;
        sint32 d;
    } cases[] = {
        {Line(2, 100.0, 5.0), {93, 1000}, 7},   /* left of a vertical line */
        {Line(2, 100.0, 5.0), {107, 1000}, -7}, /* right of it */
        {Line(2, 10.9), {0, 0}, 10},
        {Line(2, 10.9), {21, 0}, -10},
        {Line(1, 100.0, 5.0), {1000, 93}, -7},
        {Line(1, 100.0, 5.0), {1000, 107}, 7},
        {Line(1, 10.9), {0, 0}, -10},
        {Line(1, 10.9), {0, 21}, 10},
        {Line(3, 0.0, 0.75), {0, 5}, 4}, /* 5 / 1.25 */
        {Line(3, 0.0, 0.75), {0, -5}, -4},
        {Line(3, 2.0, 0.75), {4, 10}, 4},
        {Line(3, 1.0, 1.0), {0, 4}, 2},   /* 3 / sqrt 2 = 2.12 */
        {Line(3, 1.0, 1.0), {0, -5}, -4}, /* -4.24 */
        {Line(3, 1.0, -1.0), {4, 0}, 2},
        {Line(3, 0.0, 1.0), {0, 2000000000}, 1414213562},
    };
    for (const auto& c : cases) {
        LineRec line = c.line;
        sint32 d = kWild;
        ASSERT_EQ(0, PointToLine(c.point, &line, &d));
        EXPECT_EQ(c.d, d) << "type " << line.type << " a " << line.a << " b " << line.b << " point " << c.point;
    }
}

/* ======== PointOfIntersection ======== */

TEST(PointOfIntersection, NullPointerReturns1)
{
    sint32 y = kWild;
    sint32 d = kWild;
    EXPECT_EQ(1, PointOfIntersection({0, 0}, {3, 2}, {1, 1}, nullptr, &d));
    EXPECT_EQ(1, PointOfIntersection({0, 0}, {3, 2}, {1, 1}, &y, nullptr));
    EXPECT_EQ(kWild, y);
    EXPECT_EQ(kWild, d);
}

TEST(PointOfIntersection, EqualPointsReturn1AndLeaveTheOutputs)
{
    sint32 y = kWild;
    sint32 d = kWild;
    EXPECT_EQ(1, PointOfIntersection({3, 2}, {3, 2}, {1, 1}, &y, &d));
    EXPECT_EQ(kWild, y);
    EXPECT_EQ(kWild, d);
}

TEST(PointOfIntersection, DistanceIsPlainFromAnAxisAndSquaredFromASlope)
{
    const struct {
        PointRec point1, point2, point3;
        sint32 y, d;
    } cases[] = {
        {{50, 0}, {50, 90}, {43, 33}, 33, 7}, /* vertical */
        {{50, 90}, {50, 0}, {57, -33}, -33, 7},
        {{0, 50}, {90, 50}, {33, 43}, 50, 7}, /* horizontal */
        {{90, 50}, {0, 50}, {-33, 57}, 50, 7},
        {{0, 0}, {10, 10}, {20, 30}, 20, 50}, /* 10 off in the column: 50 is the square of the distance */
        {{0, 0}, {3, 2}, {10, 0}, 6, 31},     /* 6.67, and 30.77 */
        {{3, 2}, {0, 0}, {10, 0}, 6, 31},
        {{0, 0}, {3, 2}, {1, 0}, 0, 0},     /* 0.67, and 0.31 */
        {{0, 0}, {3, 2}, {-10, 0}, -6, 31}, /* truncated toward zero */
        {{0, 10}, {4, 7}, {8, 4}, 4, 0},
        {{0, 10}, {4, 7}, {8, 9}, 4, 16}, /* 3-4-5: 5 off in the column, 4 off the line */
    };
    for (const auto& c : cases) {
        sint32 y = kWild;
        sint32 d = kWild;
        ASSERT_EQ(0, PointOfIntersection(c.point1, c.point2, c.point3, &y, &d));
        EXPECT_EQ(c.y, y) << c.point1 << c.point2 << c.point3;
        EXPECT_EQ(c.d, d) << c.point1 << c.point2 << c.point3;
    }
}

TEST(SumOfSquares, IsTheIntegerSumRoundedOnceAndNeverOverflows)
{
    EXPECT_EQ(25.0, SumOfSquares(3, -4));
    /* 2^62 - 2^32 + 1 + 1 is no double; one rounding gives the even neighbour. */
    EXPECT_EQ(4611686014132420610.0, SumOfSquares(INT32_MAX, -1));
    EXPECT_EQ(2.0 * INT32_MAX * INT32_MAX, SumOfSquares(-INT32_MAX, INT32_MAX));
    /* Beyond any two points of an image; 2^32 squared is exact. */
    for (const int64_t far : {int64_t{4294967296}, int64_t{-4294967296}}) {
        EXPECT_EQ(18446744073709551616.0, SumOfSquares(far, 0));
        EXPECT_EQ(18446744073709551616.0, SumOfSquares(0, far));
        EXPECT_EQ(36893488147419103232.0, SumOfSquares(far, far));
    }
}

TEST(PointOfIntersection, ProductsBeyond32BitsAreRight)
{
    sint32 y = kWild;
    sint32 d = kWild;
    ASSERT_EQ(0, PointOfIntersection({0, 0}, {60000, 60000}, {50000, 50004}, &y, &d));
    EXPECT_EQ(50000, y);
    EXPECT_EQ(8, d);
    ASSERT_EQ(0, PointOfIntersection({0, 60000}, {60000, 0}, {60000, 50000}, &y, &d));
    EXPECT_EQ(0, y);
    EXPECT_EQ(1250000000, d);
    ASSERT_EQ(0, PointOfIntersection({0, 0}, {1000000000, 1000000000}, {900000000, 900000010}, &y, &d));
    EXPECT_EQ(900000000, y);
    EXPECT_EQ(50, d);
    ASSERT_EQ(0, PointOfIntersection({0, 1000000000}, {1000000000, 0}, {400000000, 600000000}, &y, &d));
    EXPECT_EQ(600000000, y);
    EXPECT_EQ(0, d);
    ASSERT_EQ(0, PointOfIntersection({0, 0}, {2147483647, 2147483647}, {2147483646, 2147483644}, &y, &d));
    EXPECT_EQ(2147483646, y);
    EXPECT_EQ(2, d);
}

/* ======== AngleOfTwoLine, MidOfTwoAngle ======== */

TEST(AngleOfTwoLine, EachPairOfAngles)
{
    const struct {
        Real64 a, b, angle;
    } cases[] = {
        {80, 10, 70},         {10, 80, 70},       {0, 90, 90},        {-80, -10, 70},     {-10, -80, 70},
        {89, -89, 2},         {-89, 89, 2},       {10, -10, 20},      {-10, 10, 20},      {45, -45, 90},
        {-45, 45, 90},        {45, -60, 75},      {-60, 45, 75},      {60, -45, 75},      {-45, 60, 75},
        {44.5, -60, 104.5},   {-60, 44.5, 104.5}, {60, -44.5, 104.5}, {-44.5, 60, 104.5}, {0, -60, 60},
        {-60, 0, 60},         {90, -60, 30},      {-60, 90, 30},      {90, 0, 90},        {90, -0.5, 90.5},
        {88.5, -89.25, 2.25},
    };
    for (const auto& c : cases) EXPECT_EQ(c.angle, AngleOfTwoLine(c.a, c.b)) << c.a << ' ' << c.b;
}

TEST(MidOfTwoAngle, SameSignOrNearHorizontalGivesTheMean)
{
    const struct {
        Real64 a, b, angle;
    } cases[] = {
        {10, 20, 15},  {80, 89, 84.5}, {0, 90, 45},    {-10, -20, -15},    {-80, -89, -84.5},
        {10, -10, 0},  {-10, 10, 0},   {44, -80, -18}, {-80, 44, -18},     {80, -44, 18},
        {-44, 80, 18}, {0, -60, -30},  {-60, 0, -30},  {44.5, -50, -2.75}, {1.5, -0.75, 0.375},
    };
    for (const auto& c : cases) EXPECT_EQ(c.angle, MidOfTwoAngle(c.a, c.b)) << c.a << ' ' << c.b;
}

TEST(MidOfTwoAngle, NearVerticalOfOppositeSignsGivesHalfTheSumFromTheVertical)
{
    const struct {
        Real64 a, b, angle;
    } cases[] = {
        {88, -89, 88.5}, {89, -88, -88.5}, {-88, 89, -88.5}, {-89, 88, 88.5}, {88, -88, -88},
        {-88, 88, -88},  {45, -45, -45},   {-45, 45, -45},   {45, -50, 47.5}, {50, -45, -47.5},
        {45, -46, 45.5}, {90, -89, -89.5}, {-89, 90, -89.5}, {50, -60, 55},   {-60, 50, 55},
    };
    for (const auto& c : cases) EXPECT_EQ(c.angle, MidOfTwoAngle(c.a, c.b)) << c.a << ' ' << c.b;
}

/* ======== DecideLineAccidented ======== */

TEST(DecideLineAccidented, BadArgumentReturns1AndLeavesTheMark)
{
    sint32 type = kWild;
    EXPECT_EQ(1, DecideLineAccidented({0, 0}, {20, 10}, {10, 5}, 0, 1, nullptr));
    for (sint32 flag : {-1, 2})
        EXPECT_EQ(1, DecideLineAccidented({0, 0}, {20, 10}, {10, 5}, flag, 1, &type)) << flag;
    for (sint32 side : {-1, 0, 5})
        for (sint32 flag : {0, 1})
            EXPECT_EQ(1, DecideLineAccidented({0, 0}, {20, 10}, {10, 5}, flag, side, &type)) << flag << ' ' << side;
    EXPECT_EQ(kWild, type);
}

TEST(DecideLineAccidented, EqualReferencesReturn1AndLeaveTheMark)
{
    sint32 type = kWild;
    for (sint32 flag : {0, 1})
        for (sint32 side : {1, 2, 3, 4})
            EXPECT_EQ(1, DecideLineAccidented({20, 10}, {20, 10}, {20, 10}, flag, side, &type))
                << flag << ' ' << side;
    EXPECT_EQ(kWild, type);
}

TEST(DecideLineAccidented, UprightPageKeepsWithin6OfBothReferences)
{
    const struct {
        sint32 off1, off2, mark;
    } cases[] = {{0, 0, 1}, {6, 6, 1}, {-6, -6, 1}, {6, -6, 1}, {7, 7, 0},         {-7, -7, 0},
                 {7, 0, 0}, {0, 7, 0}, {-7, 0, 0},  {0, -7, 0}, {1000000000, 0, 0}};
    for (const auto& c : cases) {
        for (sint32 side : {1, 2, 3, 4}) {
            /* Along the edge the references are far apart, which does not count. */
            const PointRec row1 = {100, 500 + c.off1};
            const PointRec row2 = {900, 500 + c.off2};
            const bool is_row = side == 1 || side == 3;
            const PointRec point1 = is_row ? row1 : PointRec{row1.y, row1.x};
            const PointRec point2 = is_row ? row2 : PointRec{row2.y, row2.x};
            sint32 type = kWild;
            ASSERT_EQ(0, DecideLineAccidented(point1, point2, {500, 500}, 0, side, &type));
            EXPECT_EQ(c.mark, type) << "side " << side << " off " << c.off1 << ' ' << c.off2;
        }
    }
}

TEST(DecideLineAccidented, TiltedPageDropsOneSideOfTheChord)
{
    const PointRec falling[2] = {{0, 100}, {40, 60}}; /* rows shrink as columns grow */
    const PointRec rising[2] = {{0, 60}, {40, 100}};
    for (sint32 side : {1, 2, 3, 4}) {
        for (bool rises : {false, true}) {
            /* Side 1 and 2: a falling chord keeps smaller rows, a rising one larger. Side 3 and 4: mirrored. */
            const sint32 kept = (side <= 2) == rises ? 1 : -1;
            const PointRec* chord = rises ? rising : falling;
            for (bool exchanged : {false, true}) {
                for (sint32 off : {-1000, -1, 0, 1, 1000}) {
                    sint32 type = kWild;
                    ASSERT_EQ(0, DecideLineAccidented(chord[exchanged ? 1 : 0], chord[exchanged ? 0 : 1],
                                                      {20, 80 + off}, 1, side, &type));
                    EXPECT_EQ(off * kept >= 0 ? 1 : 0, type)
                        << "side " << side << (rises ? " rising " : " falling ") << exchanged << " off " << off;
                }
            }
        }
    }
}

TEST(DecideLineAccidented, TiltedPageTruncatesTheRowOfTheChord)
{
    sint32 type = kWild;
    ASSERT_EQ(0, DecideLineAccidented({0, 0}, {3, 2}, {1, 0}, 1, 1, &type)); /* 0.67 counts as row 0 */
    EXPECT_EQ(1, type);
    ASSERT_EQ(0, DecideLineAccidented({0, 0}, {3, 2}, {1, 1}, 1, 3, &type));
    EXPECT_EQ(0, type);
}

TEST(DecideLineAccidented, TiltedPageLeavesTheMarkOnAnAxisParallelChord)
{
    for (sint32 side : {1, 2, 3, 4}) {
        for (sint32 mark : {0, 1, 7}) {
            for (sint32 off : {-30, 0, 30}) {
                sint32 type = mark;
                ASSERT_EQ(0, DecideLineAccidented({0, 50}, {40, 50}, {20, 50 + off}, 1, side, &type));
                EXPECT_EQ(mark, type) << "row, side " << side;
                ASSERT_EQ(0, DecideLineAccidented({50, 0}, {50, 40}, {50 + off, 20}, 1, side, &type));
                EXPECT_EQ(mark, type) << "column, side " << side;
            }
        }
    }
}

TEST(DecideLineAccidented, ProductsBeyond32BitsAreRight)
{
    const struct {
        PointRec point1, point2, pointX;
        sint32 side, mark;
    } cases[] = {
        {{0, 0}, {60000, 60000}, {59999, 59999}, 1, 1},
        {{0, 0}, {60000, 60000}, {59999, 59998}, 1, 0},
        {{0, 60000}, {60000, 0}, {50000, 10000}, 1, 1},
        {{0, 60000}, {60000, 0}, {50000, 10001}, 1, 0},
        {{0, 0}, {1000000000, 1000000000}, {900000000, 900000000}, 3, 1},
        {{0, 0}, {1000000000, 1000000000}, {900000000, 900000001}, 3, 0},
        {{0, 1000000000}, {1000000000, 0}, {400000000, 600000000}, 4, 1},
        {{0, 1000000000}, {1000000000, 0}, {400000000, 599999999}, 4, 0},
    };
    for (const auto& c : cases) {
        sint32 type = kWild;
        ASSERT_EQ(0, DecideLineAccidented(c.point1, c.point2, c.pointX, 1, c.side, &type));
        EXPECT_EQ(c.mark, type) << c.point1 << c.point2 << c.pointX;
    }
}

/* ======== DeleteImpurityLine ======== */

namespace
{

constexpr sint32 kOldPointNum = 999;
constexpr sint32 kOldType = 9;

/*
 * One edge of a page: a segment for each centre, with six points that all lie at the centre (or off it, by `off`), so
 * that both fits see the same places. Marks and the number of points hold old values at first.
 */
class Edge : public SegmentSet
{
public:
    explicit Edge(const Points& centers, PointRec off = {0, 0})
    {
        for (const PointRec& c : centers) Add(c, Points(6, {c.x + off.x, c.y + off.y}));
        set.PointNum = kOldPointNum;
        for (sint32 k = 0; k < set.index; ++k) {
            set.borderLine[k].type = kOldType;
            first_.push_back(set.borderLine[k].points);
            centers_.push_back(set.borderLine[k].Center);
        }
    }

    sint32 Clean(sint32 Image_Incline_Flag, sint32 side)
    {
        return DeleteImpurityLine(&set, Image_Incline_Flag, side);
    }

    /* The numbers of the segments that are in use; each must be whole, and marked as told. */
    Indices Kept(sint32 type = 1) const
    {
        Indices kept;
        for (sint32 k = 0; k < set.index; ++k) {
            const BorderLineRec& segment = set.borderLine[k];
            size_t n = 0;
            while (n < first_.size() && first_[n] != segment.points) ++n;
            EXPECT_LT(n, first_.size());
            EXPECT_EQ(centers_[n], segment.Center);
            EXPECT_EQ(6, segment.index);
            EXPECT_EQ(6, segment.len);
            EXPECT_EQ(type, segment.type);
            kept.push_back(static_cast<sint32>(n));
        }
        return kept;
    }

    /* The set as it was made. */
    void ExpectUnchanged() const
    {
        EXPECT_EQ(kOldPointNum, set.PointNum);
        EXPECT_EQ(static_cast<sint32>(first_.size()), set.len);
        Indices all(first_.size());
        std::iota(all.begin(), all.end(), 0);
        EXPECT_EQ(all, Kept(kOldType));
    }

private:
    std::vector<PointRec*> first_;
    Points centers_;
};

/* Centres 10 columns apart in these rows. */
Points InRows(const std::vector<sint32>& rows)
{
    Points centers;
    for (sint32 row : rows) centers.push_back({10 * static_cast<sint32>(centers.size()), row});
    return centers;
}

/* The transposed: centres 10 rows apart in these columns. */
Points InColumns(const std::vector<sint32>& columns)
{
    Points centers;
    for (sint32 col : columns) centers.push_back({col, 10 * static_cast<sint32>(centers.size())});
    return centers;
}

/*
 * An edge of an upright page for a side, from positions across the edge that are written for side 3: the outer side,
 * which the distance filter cuts, is where positions are smaller than the line's.
 */
Points UprightEdge(sint32 side, std::vector<sint32> across)
{
    if (side == 1 || side == 2)
        for (sint32& position : across) position = 200 - position;
    return side == 1 || side == 3 ? InRows(across) : InColumns(across);
}

void Append(std::vector<sint32>* values, sint32 num, sint32 value)
{
    values->insert(values->end(), static_cast<size_t>(num), value);
}

/* An edge of num segments at 95, with a hill that climbs by 6 a segment to the height after 20 of them. */
std::vector<sint32> Hill(sint32 num, sint32 height)
{
    std::vector<sint32> across;
    Append(&across, 20, 95);
    for (sint32 h = 6; h <= height; h += 6) across.push_back(95 + h);
    for (sint32 h = height - 6; h > 0; h -= 6) across.push_back(95 + h);
    Append(&across, num - static_cast<sint32>(across.size()), 95);
    return across;
}

std::vector<sint32> Twice(std::vector<sint32> values)
{
    const std::vector<sint32> once = values;
    values.insert(values.end(), once.begin(), once.end());
    return values;
}

Indices Count(sint32 num)
{
    Indices all(static_cast<size_t>(num));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

} // namespace

TEST(DeleteImpurityLine, BadArgumentReturns1AndLeavesTheSet)
{
    Edge edge(InRows({100, 100, 100, 100}));
    EXPECT_EQ(1, DeleteImpurityLine(nullptr, 0, 1));
    for (sint32 side : {-1, 5})
        for (sint32 flag : {0, 1}) EXPECT_EQ(1, edge.Clean(flag, side)) << flag << ' ' << side;
    for (sint32 flag : {-1, 2}) EXPECT_EQ(1, edge.Clean(flag, 1)) << flag;
    edge.ExpectUnchanged();
    Edge few(InRows({100, 100, 100}));
    for (sint32 side : {-1, 5}) EXPECT_EQ(1, few.Clean(0, side)) << side;
    for (sint32 flag : {-1, 2}) EXPECT_EQ(1, few.Clean(flag, 1)) << flag;
    few.ExpectUnchanged();
}

TEST(DeleteImpurityLine, EmptySetReturns1)
{
    Edge edge(InRows({100, 100, 100, 100}));
    for (sint32 index : {-1, 0}) {
        edge.set.index = index;
        EXPECT_EQ(1, edge.Clean(0, 1)) << index;
    }
    edge.set.index = 4;
    edge.ExpectUnchanged();
}

TEST(DeleteImpurityLine, Side0PassesWithThreeSegmentsAndReturns1WithFour)
{
    for (sint32 flag : {0, 1}) {
        Edge three(InRows({100, 100, 100}));
        EXPECT_EQ(0, three.Clean(flag, 0));
        EXPECT_EQ(Count(3), three.Kept());
        Edge four(InRows({100, 100, 100, 100}));
        EXPECT_EQ(1, four.Clean(flag, 0));
        four.ExpectUnchanged();
    }
}

TEST(DeleteImpurityLine, OneToThreeSegmentsAreAllMarkedAndCounted)
{
    for (sint32 num : {1, 2, 3}) {
        for (sint32 flag : {0, 1}) {
            for (sint32 side : {1, 2, 3, 4}) {
                SegmentSet few;
                for (sint32 k = 0; k < num; ++k) few.Add({50 * k, k * 300}, {{50 * k, 100}, {50 * k + 1, 100 + k}});
                few.set.PointNum = kOldPointNum;
                const BorderLineSetRec before = few.set;
                ASSERT_EQ(0, DeleteImpurityLine(&few.set, flag, side));
                EXPECT_EQ(num, few.set.index);
                EXPECT_EQ(before.len, few.set.len);
                EXPECT_EQ(before.borderLine, few.set.borderLine);
                EXPECT_EQ(2 * num, few.set.PointNum);
                for (sint32 k = 0; k < num; ++k) {
                    EXPECT_EQ((PointRec{50 * k, k * 300}), few.set.borderLine[k].Center);
                    EXPECT_EQ(1, few.set.borderLine[k].type);
                    EXPECT_EQ(2, few.set.borderLine[k].index);
                }
            }
        }
    }
}

TEST(DeleteImpurityLine, FewSegmentsWithoutALineReturnTheCodeOfTheFit)
{
    Edge same({{50, 60}, {50, 60}, {50, 60}});
    EXPECT_EQ(10, same.Clean(0, 1));
    EXPECT_EQ(Count(3), same.Kept());
    EXPECT_EQ(18, same.set.PointNum);

    SegmentSet one;
    one.Add({50, 60}, {{50, 60}});
    one.set.PointNum = kOldPointNum;
    EXPECT_EQ(1, DeleteImpurityLine(&one.set, 0, 1));
    EXPECT_EQ(1, one.set.PointNum);
    EXPECT_EQ(1, one.set.borderLine[0].type);
}

TEST(DeleteImpurityLine, FourCollinearSegmentsAllStay)
{
    for (sint32 side : {1, 2, 3, 4}) {
        Edge upright(UprightEdge(side, {100, 100, 100, 100}));
        const BorderLineSetRec before = upright.set;
        EXPECT_EQ(0, upright.Clean(0, side)) << side;
        EXPECT_EQ(Count(4), upright.Kept()) << side;
        EXPECT_EQ(kOldPointNum, upright.set.PointNum); /* not counted again */
        EXPECT_EQ(before.len, upright.set.len);
        EXPECT_EQ(before.borderLine, upright.set.borderLine);

        Edge falling({{0, 200}, {10, 190}, {20, 180}, {30, 170}});
        EXPECT_EQ(0, falling.Clean(1, side)) << side;
        EXPECT_EQ(Count(4), falling.Kept()) << side;
        Edge rising({{0, 200}, {10, 210}, {20, 220}, {30, 230}});
        EXPECT_EQ(0, rising.Clean(1, side)) << side;
        EXPECT_EQ(Count(4), rising.Kept()) << side;
    }
}

TEST(DeleteImpurityLine, UprightSegment7OffItsNeighboursIsDroppedAnd6OffStays)
{
    /* A dropped segment 1 leaves a line at 100, from which it is 9 off; kept, it draws the line to itself. */
    for (sint32 side : {1, 2, 3, 4}) {
        Edge near(UprightEdge(side, {102, 108, 102, 100, 98, 100, 100, 100, 100}));
        EXPECT_EQ(0, near.Clean(0, side)) << side;
        EXPECT_EQ(Count(9), near.Kept()) << side;
        Edge far(UprightEdge(side, {102, 109, 102, 100, 98, 100, 100, 100, 100}));
        EXPECT_EQ(0, far.Clean(0, side)) << side;
        EXPECT_EQ((Indices{0, 2, 3, 4, 5, 6, 7, 8}), far.Kept()) << side;
    }
}

TEST(DeleteImpurityLine, Segments5OffOnTheOuterSideAreDroppedAnd4OffStay)
{
    /* Each half's mean is 100. Without those on the outer side the line moves to 105, 9 and more away from them. */
    std::vector<sint32> half;
    Append(&half, 10, 95);
    Append(&half, 1, 101);
    Append(&half, 8, 106);
    Append(&half, 1, 101);
    Indices inner;
    for (sint32 k = 10; k < 20; ++k) inner.push_back(k);
    for (sint32 k = 30; k < 40; ++k) inner.push_back(k);
    std::vector<sint32> closer;
    Append(&closer, 10, 96);
    Append(&closer, 1, 102);
    Append(&closer, 6, 106);
    Append(&closer, 1, 102);
    for (sint32 side : {1, 2, 3, 4}) {
        Edge five(UprightEdge(side, Twice(half)));
        EXPECT_EQ(0, five.Clean(0, side)) << side;
        EXPECT_EQ(inner, five.Kept()) << side;
        Edge four(UprightEdge(side, Twice(closer)));
        EXPECT_EQ(0, four.Clean(0, side)) << side;
        EXPECT_EQ(Count(36), four.Kept()) << side;
    }
}

TEST(DeleteImpurityLine, DistantSegmentsOnTheInnerSideSurviveTheFilterAndKeepThePassesFromConverging)
{
    /* The mean of each half is 95 + 1944 / 486 = 99: the flat part is 4 off outward, the hilltop 104 off inward, on
     * average 7.4. */
    const std::vector<sint32> edge_with_hill = Hill(486, 108);
    ASSERT_EQ(95 * 486 + 1944, std::accumulate(edge_with_hill.begin(), edge_with_hill.end(), 0));
    for (sint32 side : {1, 2, 3, 4}) {
        Edge edge(UprightEdge(side, Twice(edge_with_hill)));
        EXPECT_EQ(11, edge.Clean(0, side)) << side;
        edge.ExpectUnchanged();
    }
}

TEST(DeleteImpurityLine, MeanDistanceBelow7Converges)
{
    /* As above with a lower hill: 6.9 on average, so the distant ones are cut off the line and the rest is fitted
     * again, to 95 or 96. The first steps of the hill, at 101, stay with the flat part. */
    const std::vector<sint32> across = Twice(Hill(122, 54));
    Indices low;
    for (sint32 k = 0; k < 244; ++k)
        if (across[static_cast<size_t>(k)] <= 101) low.push_back(k);
    ASSERT_EQ(214u, low.size());
    Edge edge(UprightEdge(1, across));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ(low, edge.Kept());
}

TEST(DeleteImpurityLine, UndecidedPassesWithOtherCountsGoOn)
{
    /* One segment out of the first hill is dropped with its neighbours; the gap then eats two segments a pass, until
     * the hill is gone and the mean distance small. */
    std::vector<sint32> across = Twice(Hill(949, 150));
    across[29] -= 40;
    Indices low;
    for (sint32 k = 0; k < 2 * 949; ++k)
        if (across[static_cast<size_t>(k)] <= 101) low.push_back(k);
    ASSERT_EQ(1804u, low.size());
    Edge edge(UprightEdge(1, across));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ(low, edge.Kept());
}

TEST(DeleteImpurityLine, DroppedSegmentsReturnWithin7OfTheFinalLine)
{
    /* Each outlier falls in the first pass together with its two neighbours. The line is y = 100. */
    Edge edge(
        InRows({100, 100, 100, 107, 100, 100, 100, 108, 100, 100, 100, 93, 100, 100, 100, 92, 100, 100, 100}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 16, 17, 18}), edge.Kept());
}

TEST(DeleteImpurityLine, FinalLineIsFittedToThePointsAndNotToTheCentres)
{
    /* The points lie 3 rows off the centres, on y = 103: 93 is 10 off them, 109 only 6. */
    Edge edge(InRows({100, 100, 100, 100, 93, 100, 100, 100, 100, 109, 100, 100, 100, 100}), {0, 3});
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13}), edge.Kept());
}

TEST(DeleteImpurityLine, BandIsAppliedAgainAfterEachFit)
{
    /* The end drifts inward too slowly for its neighbours to tell. The first fit is tilted by it and cuts off one
     * segment, the second is not. */
    Edge edge(InRows({100, 100, 100, 100, 100, 100, 100, 100, 105, 110, 115, 120}));
    EXPECT_EQ(0, edge.Clean(0, 3));
    EXPECT_EQ(Count(9), edge.Kept());
}

TEST(DeleteImpurityLine, NeighboursServeAsReferencesEvenWhenDropped)
{
    /* Segment 1 is dropped beside 0; 2 is kept between 1 and 3, 4 and 6 off, though it is 26 off 0. */
    Edge edge(InRows({80, 110, 106, 100, 100}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{1, 2, 3, 4}), edge.Kept());
}

TEST(DeleteImpurityLine, FirstSegmentIsJudgedByTheTwoNearestMarkedOnes)
{
    /* Segment 0 is 6 off the first and 10 off the second of them, but 4 off the third: dropped. */
    Edge edge(InRows({110, 104, 100, 106, 100}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{1, 2, 3, 4}), edge.Kept());
}

TEST(DeleteImpurityLine, LastSegmentIsJudgedByTheTwoNearestMarkedOnes)
{
    /* Segment 4 is 6 off the first and 12 off the second of them, but 6 off the third: dropped, as is segment 0. */
    Edge edge(InRows({94, 100, 106, 100, 94}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{1, 2, 3}), edge.Kept());
}

TEST(DeleteImpurityLine, OnlyMarkedSegmentsJudgeTheEnds)
{
    /* Segments 1 and 2 are dropped, so there is nothing to judge 0 and 3 by and both stay. */
    Edge edge(InRows({96, 80, 102, 90}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{0, 3}), edge.Kept());
}

TEST(DeleteImpurityLine, FirstSegmentNeverJudgesTheLast)
{
    /* Segment 2 is dropped, which leaves only 1 and the already marked 0 as references for 3: not enough, 3 stays
     * and turns the line, y = 97.55 + 0.65 x, away from 2. */
    Edge edge(InRows({100, 100, 100, 120}));
    EXPECT_EQ(0, edge.Clean(0, 3));
    EXPECT_EQ((Indices{0, 1, 3}), edge.Kept());
}

TEST(DeleteImpurityLine, LastSegmentNeverJudgesTheFirst)
{
    Edge edge(InRows({120, 100, 100, 100}));
    EXPECT_EQ(0, edge.Clean(0, 3));
    EXPECT_EQ((Indices{0, 2, 3}), edge.Kept());
}

TEST(DeleteImpurityLine, PointsAreCountedAfterDroppingTheMarkedOnes)
{
    /* Two segments of four are left: halves of six points. Halves of twelve would leave none for the second. */
    Edge edge(InRows({105, 120, 100, 100}));
    EXPECT_EQ(0, edge.Clean(0, 1));
    EXPECT_EQ((Indices{0, 2, 3}), edge.Kept());
}

TEST(DeleteImpurityLine, NothingKeptReturns11AndEmptiesTheSet)
{
    /* The ends alone are left, their line snaps to y = 115 and is 15 off everything. */
    Edge edge({{0, 100}, {1000, 100}, {3000, 130}, {4000, 130}});
    EXPECT_EQ(11, edge.Clean(0, 1));
    EXPECT_EQ(0, edge.set.index);
    EXPECT_EQ(4, edge.set.len);
}

TEST(DeleteImpurityLine, EqualNeighboursReturn1AndLeaveTheSet)
{
    for (sint32 flag : {0, 1}) {
        Edge edge({{0, 100}, {10, 110}, {20, 120}, {30, 130}, {20, 120}});
        EXPECT_EQ(1, edge.Clean(flag, 1)) << flag;
        edge.ExpectUnchanged();
    }
}

TEST(DeleteImpurityLine, CoincidingHalvesOfCentresReturn10AndLeaveTheSet)
{
    Edge edge({{0, 100}, {10, 100}, {1, 100}, {9, 100}});
    EXPECT_EQ(10, edge.Clean(0, 1));
    edge.ExpectUnchanged();
}

TEST(DeleteImpurityLine, CoincidingHalvesOfPointsReturn10AndLeaveTheSet)
{
    SegmentSet edge;
    for (sint32 k = 0; k < 4; ++k) edge.Add({10 * k, 100}, {{50, 100}, {50, 100}});
    EXPECT_EQ(10, DeleteImpurityLine(&edge.set, 0, 1));
    EXPECT_EQ(4, edge.set.index);
    for (sint32 k = 0; k < 4; ++k) {
        EXPECT_EQ(10 * k, edge.set.borderLine[k].Center.x);
        EXPECT_EQ(0, edge.set.borderLine[k].type);
    }
}

TEST(DeleteImpurityLine, TiltedSegmentsBetweenAlignedNeighboursAreDroppedInTheFirstPass)
{
    /* A zigzag: all inner neighbours share a row, so the marks stay 0, whatever the input's were. Only the ends make
     * the line, and it runs along their row. */
    for (sint32 side : {1, 2, 3, 4}) {
        Edge row(InRows({100, 120, 100, 120, 100, 120, 100, 120, 100}));
        EXPECT_EQ(0, row.Clean(1, side)) << side;
        EXPECT_EQ((Indices{0, 2, 4, 6, 8}), row.Kept()) << side;
        Edge column(InColumns({100, 120, 100, 120, 100, 120, 100, 120, 100}));
        EXPECT_EQ(0, column.Clean(1, side)) << side;
        EXPECT_EQ((Indices{0, 2, 4, 6, 8}), column.Kept()) << side;
    }
}

TEST(DeleteImpurityLine, TiltedSegmentsBetweenAlignedNeighboursKeepTheirMarkInLaterPasses)
{
    /* The first pass drops segment 3, and the second finds segment 2 between 1 and 4, which share a row. It keeps the
     * mark 1 and takes part in the fit, which the distance filter then follows; the last line runs along y = 360. */
    Edge edge({{100, 410}, {110, 360}, {115, 370}, {135, 380}, {140, 360}, {145, 350}});
    EXPECT_EQ(0, edge.Clean(1, 1));
    EXPECT_EQ((Indices{1, 4}), edge.Kept());
}

TEST(DeleteImpurityLine, TiltedEndsStartUnmarked)
{
    /* Both ends are judged by 1 and 2, which share a column: their marks stay 0, and the line runs along x = 120. */
    Edge both({{110, 370}, {120, 380}, {120, 390}, {140, 370}});
    EXPECT_EQ(0, both.Clean(1, 3));
    EXPECT_EQ((Indices{1, 2}), both.Kept());

    /* Segment 4 is judged by 3 and 2, which share a column. */
    Edge last({{110, 410}, {115, 385}, {130, 350}, {130, 370}, {145, 355}});
    EXPECT_EQ(0, last.Clean(1, 1));
    EXPECT_EQ((Indices{1, 2, 3}), last.Kept());
}

TEST(DeleteImpurityLine, SetsOfThousandsOfSegmentsAreCleaned)
{
    std::vector<sint32> rows;
    Append(&rows, 2500, 100);
    rows[1200] = 108;
    Edge edge(InRows(rows));
    EXPECT_EQ(0, edge.Clean(0, 1));
    Indices kept = Count(2500);
    kept.erase(kept.begin() + 1200);
    EXPECT_EQ(kept, edge.Kept());
    EXPECT_EQ(2500, edge.set.len);
}
