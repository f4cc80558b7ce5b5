/*
 * SearchBitmapFrame_frame_test.cpp - from the segments of the page's four edges to angle, centre, size and row spans.
 *
 * Most pages here are rectangles with whole corners, so that everything follows by hand. An upright page has its top
 * and bottom edge as LT and RB, and its sides as LB and RT; a turned one has its sides as LT and RB.
 */
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ostream>
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

constexpr Real64 kDegreePi = 3.1415926;

PointRec operator+(PointRec a, PointRec b) { return {a.x + b.x, a.y + b.y}; }
PointRec operator*(sint32 n, PointRec a) { return {n * a.x, n * a.y}; }

/* The angle that a fit gives a slope. */
Real64 Degrees(Real64 b) { return std::atan(b) * 180.0 / kDegreePi; }

/* The slope that averaging gives an angle. */
Real64 Slope(Real64 angle) { return std::tan(angle / 180.0 * kDegreePi); }

/* One edge with the points of its segments. Line and number of points hold old values at first. */
class Edge
{
public:
    Edge() = default;
    Edge(const Edge&) = delete;
    Edge& operator=(const Edge&) = delete;

    /* A line through two places: a segment of six points about each, the places being their means. */
    void Through(PointRec p, PointRec q)
    {
        const bool is_flat = std::abs(q.x - p.x) >= std::abs(q.y - p.y);
        const PointRec step = is_flat ? PointRec{1, 0} : PointRec{0, 1};
        std::vector<PointRec> points;
        for (PointRec place : {p, q})
            for (sint32 n : {-3, -2, -1, 1, 2, 3}) points.push_back(place + n * step);
        Set(points, {6, 6});
    }
    /* The same from one segment of two points, which may also be negative: the mean of one point is itself. */
    void ThroughPoints(PointRec p, PointRec q) { Set({p, q}, {2}); }

    void Horizontal(sint32 y) { Through({160, y}, {240, y}); }
    void Vertical(sint32 x) { Through({x, 110}, {x, 190}); }

    /* Points to which no line can be fitted. */
    void Degenerate() { Set(std::vector<PointRec>(6, PointRec{70, 70}), {6}); }
    /* Too few points even to try. */
    void SinglePoint() { Set({{70, 70}}, {1}); }

    LineRec& line() { return rec.border_line; }

    ImageBorderLineRec rec = null_image_border_line;

private:
    void Set(const std::vector<PointRec>& points, const std::vector<sint32>& lengths)
    {
        points_ = points;
        segments_.clear();
        PointRec* first = points_.data();
        for (sint32 length : lengths) {
            segments_.push_back({length, length, first, 1, {-1, -1}}); /* the centres do not count here */
            first += length;
        }
        const sint32 num = static_cast<sint32>(segments_.size());
        rec.border_line = {11.0, 7.25, 33.0, 3, {5, 6}};
        rec.border_line_seck = {num, num, 999, segments_.data()};
    }

    std::vector<PointRec> points_;
    std::vector<BorderLineRec> segments_;
};

/* Everything that goes into the calculation and comes out of it. */
class Page
{
public:
    explicit Page(sint32 columns = 900, sint32 row_num = 900)
    {
        bitmap = null_bitmap; /* only the size is used: no pixels */
        bitmap.biWidth = columns;
        bitmap.biHeight = row_num;
        bitmap.biBitCount = 8;
        bitmap.BytesPerLine = columns;
        bitmap.ScanLine = &row_;
        bitmap.buffer = &pixel_;
        row_ = &pixel_;
    }
    ~Page() { std::free(rows.seck); }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    sint32 Calculate()
    {
        return CalBorderPoints(&bitmap, &rows, &angle, &center, &width, &height, &range, &flag, &LT.rec, &LB.rec,
                               &RT.rec, &RB.rec);
    }

    /* A failure keeps nothing that would have to be released. */
    void ExpectFailure(sint32 error_code)
    {
        EXPECT_EQ(error_code, Calculate());
        EXPECT_EQ(nullptr, rows.seck);
    }

    /* Every row from top to bottom, against the final lines and the corners where they change over. */
    void ExpectSpans(PointRec Left, PointRec Right) const
    {
        ASSERT_EQ(rows.bottom - rows.top + 1, rows.index);
        for (sint32 y = rows.top; y <= rows.bottom; ++y) {
            EXPECT_EQ(Column((Left.y > y ? LT : LB).rec.border_line, y, Left.x), rows.seck[y].left) << "row " << y;
            EXPECT_EQ(Column((Right.y > y ? RT : RB).rec.border_line, y, Right.x), rows.seck[y].right)
                << "row " << y;
        }
    }

    Edge LT, LB, RT, RB;
    BitmapRec bitmap;
    ImageRangeRectangleRec range = null_image_range_rectangle;
    sint32 flag = 0;

    RowSeckRec rows = null_row_seck;
    Real64 angle = -1.0;
    PointRec center = {-1, -1};
    sint32 width = -1;
    sint32 height = -1;

private:
    sint32 Column(const LineRec& line, sint32 y, sint32 corner_x) const
    {
        Real64 x = corner_x;
        if (line.type == 2) x = std::trunc(line.a + 0.5);
        if (line.type == 3) x = std::trunc((y - line.a) / line.b + 0.5);
        return static_cast<sint32>(std::fmin(std::fmax(x, 0.0), bitmap.biWidth - 1));
    }

    uint8 pixel_ = 0;
    uint8* row_ = nullptr;
};

/* The rectangle with the corners Left, Left + 4 u, Left + 4 v and Left + 4 u + 4 v; u leads to Top, v to Bottom. */
class Rectangle : public Page
{
public:
    Rectangle(PointRec Left_, PointRec u, PointRec v)
        : Left(Left_), Top(Left_ + 4 * u), Right(Left_ + 4 * u + 4 * v), Bottom(Left_ + 4 * v)
    {
        LT.Through(Left + u, Left + 3 * u);
        RT.Through(Top + v, Top + 3 * v);
        LB.Through(Left + v, Left + 3 * v);
        RB.Through(Bottom + u, Bottom + 3 * u);
        range = {Left, Right, Top, Bottom};
        flag = 1;
    }

    const PointRec Left, Top, Right, Bottom;
};

/* The left corner lower than the right one: LT and RB must fit. Corners (100, 500) (300, 100) (500, 200) (300, 600). */
class LowLeftPage : public Rectangle
{
public:
    LowLeftPage() : Rectangle({100, 500}, {50, -100}, {50, 25}) {}
};

/* The left corner higher than the right one: LB and RT must fit. Corners (100, 300) (300, 200) (500, 600) (300, 700). */
class HighLeftPage : public Rectangle
{
public:
    HighLeftPage() : Rectangle({100, 300}, {50, -25}, {50, 100}) {}
};

/* Columns 60 to 340, rows 50 to 250. */
class UprightPage : public Page
{
public:
    explicit UprightPage(sint32 columns = 400, sint32 row_num = 300) : Page(columns, row_num)
    {
        LT.Horizontal(50);
        LB.Vertical(60);
        RT.Vertical(340);
        RB.Horizontal(250);
        range = {{60, 150}, {340, 150}, {200, 50}, {200, 250}};
    }
    /* The same page seen as lying lower on the right, so that LB and RT must fit. */
    void LowerRight() { range.right.y = range.left.y + 1; }
};

/* The same rectangle with its sides as LT and RB. */
class TurnedPage : public Page
{
public:
    explicit TurnedPage(sint32 columns = 400, sint32 row_num = 300) : Page(columns, row_num)
    {
        LT.Vertical(60);
        LB.Horizontal(250);
        RT.Horizontal(50);
        RB.Vertical(340);
        range = {{60, 150}, {340, 150}, {200, 50}, {200, 250}};
    }
    void LowerRight() { range.right.y = range.left.y + 1; }
};

void ExpectAxis(const LineRec& line, sint32 type, PointRec center)
{
    EXPECT_EQ(type, line.type);
    EXPECT_EQ(type == 1 ? 0.0 : 90.0, line.angle);
    EXPECT_EQ(type == 1 ? center.y : center.x, line.a);
    EXPECT_EQ(center, line.center);
}

/* A general line in its final state: slope from the angle, intercept through its own centre. */
void ExpectGeneral(const LineRec& line, Real64 angle, PointRec center)
{
    EXPECT_EQ(3, line.type);
    EXPECT_EQ(angle, line.angle);
    EXPECT_EQ(Slope(angle), line.b);
    EXPECT_EQ(center.y - center.x * Slope(angle), line.a);
    EXPECT_EQ(center, line.center);
}

} // namespace

/* ======== Arguments ======== */

TEST(CalBorderPoints, EachNullPointerReturns1)
{
    for (int k = 0; k < 12; ++k) {
        UprightPage p;
        EXPECT_EQ(1, CalBorderPoints(
                         k == 0 ? nullptr : &p.bitmap, k == 1 ? nullptr : &p.rows, k == 2 ? nullptr : &p.angle,
                         k == 3 ? nullptr : &p.center, k == 4 ? nullptr : &p.width, k == 5 ? nullptr : &p.height,
                         k == 11 ? nullptr : &p.range, k == 6 ? nullptr : &p.flag, k == 7 ? nullptr : &p.LT.rec,
                         k == 8 ? nullptr : &p.LB.rec, k == 9 ? nullptr : &p.RT.rec, k == 10 ? nullptr : &p.RB.rec))
            << k;
        EXPECT_EQ(nullptr, p.rows.seck);
    }
}

TEST(CalBorderPoints, SegmentsWithoutAnArrayReturn1)
{
    for (int k = 0; k < 4; ++k) {
        UprightPage p;
        ImageBorderLineRec* const edges[] = {&p.LT.rec, &p.LB.rec, &p.RT.rec, &p.RB.rec};
        BorderLineRec* const segments = edges[k]->border_line_seck.borderLine;
        edges[k]->border_line_seck.borderLine = nullptr;
        p.ExpectFailure(1);
        edges[k]->border_line_seck.borderLine = segments;
    }
}

TEST(CalBorderPoints, InvalidBitmapReturns12)
{
    UprightPage p;
    p.bitmap.biBitCount = 16;
    p.ExpectFailure(12);
    EXPECT_EQ(1, CalBorderPoints(&p.bitmap, nullptr, &p.angle, &p.center, &p.width, &p.height, &p.range, &p.flag,
                                 &p.LT.rec, &p.LB.rec, &p.RT.rec, &p.RB.rec)); /* a null pointer comes first */
    p.LT.rec.border_line_seck.index = 0;
    p.ExpectFailure(12); /* and an empty edge last */
}

TEST(CalBorderPoints, EdgeWithoutSegmentsReturns1)
{
    for (sint32 index : {0, -1}) {
        for (Edge Page::*edge : {&Page::LT, &Page::LB, &Page::RT, &Page::RB}) {
            UprightPage p; /* none of the other edges could be fitted, but none is tried */
            for (Edge* other : {&p.LT, &p.LB, &p.RT, &p.RB}) other->Degenerate();
            (p.*edge).rec.border_line_seck.index = index;
            p.ExpectFailure(1);
        }
    }
}

/* ======== Whole pages ======== */

TEST(CalBorderPoints, UprightPageNeedsNoRotation)
{
    UprightPage p;
    const ImageRangeRectangleRec range = p.range;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(0.0, p.angle); /* 90 - 90 */
    EXPECT_EQ((PointRec{200, 150}), p.center);
    EXPECT_EQ(280, p.width);
    EXPECT_EQ(200, p.height);
    ExpectAxis(p.LT.line(), 1, {200, 50});
    ExpectAxis(p.LB.line(), 2, {60, 150});
    ExpectAxis(p.RT.line(), 2, {340, 150});
    ExpectAxis(p.RB.line(), 1, {200, 250});

    EXPECT_EQ(50, p.rows.top);
    EXPECT_EQ(250, p.rows.bottom);
    EXPECT_EQ(201, p.rows.index);
    EXPECT_EQ(266, p.rows.len);
    for (sint32 y = 50; y <= 250; ++y) {
        EXPECT_EQ(60, p.rows.seck[y].left) << y;
        EXPECT_EQ(340, p.rows.seck[y].right) << y;
    }
    /* What is only read. */
    EXPECT_EQ(range.left, p.range.left);
    EXPECT_EQ(range.right, p.range.right);
    EXPECT_EQ(range.top, p.range.top);
    EXPECT_EQ(range.bottom, p.range.bottom);
    EXPECT_EQ(0, p.flag);
}

TEST(CalBorderPoints, TurnedPageTakesAngleAndHeightFromLT)
{
    TurnedPage p;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(0.0, p.angle);
    EXPECT_EQ((PointRec{200, 150}), p.center);
    EXPECT_EQ(280, p.width);
    EXPECT_EQ(200, p.height);
    ExpectAxis(p.LT.line(), 2, {60, 150});
    ExpectAxis(p.LB.line(), 1, {200, 250});
    ExpectAxis(p.RT.line(), 1, {200, 50});
    ExpectAxis(p.RB.line(), 2, {340, 150});
    EXPECT_EQ(50, p.rows.top);
    EXPECT_EQ(250, p.rows.bottom);
    for (sint32 y = 50; y <= 250; ++y) {
        EXPECT_EQ(60, p.rows.seck[y].left) << y;
        EXPECT_EQ(340, p.rows.seck[y].right) << y;
    }
}

TEST(CalBorderPoints, PageWithItsLeftCornerLow)
{
    LowLeftPage p;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((270.0 - Degrees(-2.0)) * kDegreePi / 180.0, p.angle);
    EXPECT_EQ((PointRec{300, 350}), p.center);
    EXPECT_EQ(447, p.height); /* Left to Top, 447.2 */
    EXPECT_EQ(224, p.width);  /* Left to Bottom, 223.6 */
    ExpectGeneral(p.LT.line(), Degrees(-2.0), {200, 300});
    ExpectGeneral(p.LB.line(), Degrees(0.5), {200, 550});
    ExpectGeneral(p.RT.line(), Degrees(0.5), {400, 150});
    ExpectGeneral(p.RB.line(), Degrees(-2.0), {400, 400});

    EXPECT_EQ(100, p.rows.top);
    EXPECT_EQ(600, p.rows.bottom);
    EXPECT_EQ(501, p.rows.index);
    EXPECT_EQ(616, p.rows.len);
    const struct {
        sint32 y, left, right;
    } spans[] = {{100, 300, 300}, {150, 275, 400}, {200, 250, 500}, {400, 150, 400},
                 {498, 101, 351}, {500, 100, 350}, {502, 104, 349}, {600, 300, 300}};
    for (const auto& span : spans) {
        EXPECT_EQ(span.left, p.rows.seck[span.y].left) << span.y;
        EXPECT_EQ(span.right, p.rows.seck[span.y].right) << span.y;
    }
    p.ExpectSpans(p.Left, p.Right);
}

TEST(CalBorderPoints, PageWithItsLeftCornerHigh)
{
    HighLeftPage p;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((90.0 - Degrees(2.0)) * kDegreePi / 180.0, p.angle);
    EXPECT_EQ((PointRec{300, 450}), p.center);
    EXPECT_EQ(447, p.height); /* Left to Bottom */
    EXPECT_EQ(224, p.width);  /* Left to Top */
    EXPECT_EQ(200, p.rows.top);
    EXPECT_EQ(700, p.rows.bottom);
    EXPECT_EQ(501, p.rows.index);
    EXPECT_EQ(716, p.rows.len);
    const struct {
        sint32 y, left, right;
    } spans[] = {{200, 300, 300}, {250, 200, 325}, {300, 100, 350},
                 {400, 150, 400}, {600, 250, 500}, {700, 300, 300}};
    for (const auto& span : spans) {
        EXPECT_EQ(span.left, p.rows.seck[span.y].left) << span.y;
        EXPECT_EQ(span.right, p.rows.seck[span.y].right) << span.y;
    }
    p.ExpectSpans(p.Left, p.Right);
}

TEST(CalBorderPoints, PointsOfEachEdgeAreCountedEvenWhenAFitFails)
{
    UprightPage p;
    p.LB.ThroughPoints({60, 110}, {60, 190});
    p.RT.SinglePoint();
    p.LT.Degenerate();
    p.ExpectFailure(10);
    EXPECT_EQ(6, p.LT.rec.border_line_seck.PointNum);
    EXPECT_EQ(2, p.LB.rec.border_line_seck.PointNum);
    EXPECT_EQ(1, p.RT.rec.border_line_seck.PointNum);
    EXPECT_EQ(12, p.RB.rec.border_line_seck.PointNum);
}

/* ======== Fits and substitutes ======== */

TEST(CalBorderPoints, LeftNotAboveRightNeedsLTAndRB)
{
    for (sint32 right_y : {150, 149}) { /* level counts as not above */
        for (Edge Page::*edge : {&Page::LT, &Page::RB}) {
            TurnedPage p;
            p.range.right.y = right_y;
            (p.*edge).Degenerate();
            p.ExpectFailure(10);
        }
        for (Edge Page::*edge : {&Page::LB, &Page::RT}) {
            TurnedPage p;
            p.range.right.y = right_y;
            (p.*edge).Degenerate();
            EXPECT_EQ(0, p.Calculate());
        }
    }
}

TEST(CalBorderPoints, LeftAboveRightNeedsLBAndRT)
{
    for (Edge Page::*edge : {&Page::LB, &Page::RT}) {
        UprightPage p;
        p.LowerRight();
        (p.*edge).Degenerate();
        p.ExpectFailure(10);
    }
    for (Edge Page::*edge : {&Page::LT, &Page::RB}) {
        UprightPage p;
        p.LowerRight();
        (p.*edge).Degenerate();
        EXPECT_EQ(0, p.Calculate());
    }
}

TEST(CalBorderPoints, AnyOtherFailureOfAFitIsReturned)
{
    for (sint32 right_y : {150, 151}) {
        for (Edge Page::*edge : {&Page::LT, &Page::LB, &Page::RT, &Page::RB}) {
            UprightPage p;
            p.range.right.y = right_y;
            (p.*edge).SinglePoint();
            p.ExpectFailure(1);
        }
    }
}

TEST(CalBorderPoints, EdgesThatMustFitAreFittedFirst)
{
    /* Each time an edge without a line (10) comes before one with too few points (1). */
    const struct {
        sint32 right_y;
        Edge Page::*first;
        Edge Page::*second;
    } cases[] = {
        {150, &Page::LT, &Page::RB}, {150, &Page::LT, &Page::LB}, {150, &Page::RB, &Page::LB},
        {150, &Page::RB, &Page::RT}, {151, &Page::LB, &Page::RT}, {151, &Page::LB, &Page::LT},
        {151, &Page::RT, &Page::LT}, {151, &Page::RT, &Page::RB},
    };
    for (size_t k = 0; k < sizeof(cases) / sizeof(cases[0]); ++k) {
        SCOPED_TRACE(k);
        UprightPage p;
        p.range.right.y = cases[k].right_y;
        (p.*cases[k].first).Degenerate();
        (p.*cases[k].second).SinglePoint();
        p.ExpectFailure(10);
    }
}

TEST(CalBorderPoints, OtherFailureWinsOverASubstitute)
{
    UprightPage low;
    low.LB.Degenerate();
    low.RT.SinglePoint();
    low.ExpectFailure(1);
    UprightPage high;
    high.LowerRight();
    high.LT.Degenerate();
    high.RB.SinglePoint();
    high.ExpectFailure(1);
}

TEST(CalBorderPoints, BothOptionalEdgesFailingReturns9)
{
    TurnedPage low;
    low.LB.Degenerate();
    low.RT.Degenerate();
    low.ExpectFailure(9);
    UprightPage high;
    high.LowerRight();
    high.LT.Degenerate();
    high.RB.Degenerate();
    high.ExpectFailure(9);
}

/* Substitutes: the opposite edge's direction, through the neighbour's point at the corner's row (tilted page) or at
 * the image's first or last row (upright page). The column is truncated: half a column is always left over here. */

TEST(CalBorderPoints, SubstituteForLBRunsThroughLT)
{
    for (sint32 flag : {1, 0}) {
        LowLeftPage p;
        p.flag = flag;
        p.range.left.y = 501;
        p.LB.Degenerate();
        ASSERT_EQ(0, p.Calculate()) << flag;
        /* LT: y = 700 - 2 x, at 501 column 99.5, at 899 column -99.5 */
        ExpectGeneral(p.LB.line(), Degrees(0.5), flag == 1 ? PointRec{99, 501} : PointRec{-99, 899});
    }
}

TEST(CalBorderPoints, SubstituteForRTRunsThroughRB)
{
    for (sint32 flag : {1, 0}) {
        LowLeftPage p;
        p.flag = flag;
        p.range.right.y = 202;
        p.RB.Through({350, 501}, {450, 301});
        p.RT.Degenerate();
        ASSERT_EQ(0, p.Calculate()) << flag;
        /* RB: y = 1201 - 2 x, at 202 column 499.5, at 0 column 600.5 */
        ExpectGeneral(p.RT.line(), Degrees(0.5), flag == 1 ? PointRec{499, 202} : PointRec{600, 0});
    }
}

TEST(CalBorderPoints, SubstituteForLTRunsThroughLB)
{
    for (sint32 flag : {1, 0}) {
        HighLeftPage p;
        p.flag = flag;
        p.range.left.y = 302;
        p.LB.Through({150, 401}, {250, 601});
        p.LT.Degenerate();
        ASSERT_EQ(0, p.Calculate()) << flag;
        /* LB: y = 101 + 2 x, at 302 column 100.5, at 0 column -50.5 */
        ExpectGeneral(p.LT.line(), Degrees(-0.5), flag == 1 ? PointRec{100, 302} : PointRec{-50, 0});
    }
}

TEST(CalBorderPoints, SubstituteForRBRunsThroughRT)
{
    for (sint32 flag : {1, 0}) {
        HighLeftPage p;
        p.flag = flag;
        p.range.right.y = 601;
        p.RB.Degenerate();
        ASSERT_EQ(0, p.Calculate()) << flag;
        /* RT: y = -400 + 2 x, at 601 column 500.5, at 899 column 649.5 */
        ExpectGeneral(p.RB.line(), Degrees(-0.5), flag == 1 ? PointRec{500, 601} : PointRec{649, 899});
    }
}

TEST(CalBorderPoints, AnyNonZeroFlagMeansTilted)
{
    LowLeftPage p;
    p.flag = -1;
    p.LB.Degenerate();
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((PointRec{100, 500}), p.LB.line().center);
}

TEST(CalBorderPoints, HorizontalNeighbourOfASubstituteReturns9)
{
    for (sint32 flag : {0, 1}) {
        for (Edge Page::*edge : {&Page::LB, &Page::RT}) {
            UprightPage p; /* LT and RB are horizontal */
            p.flag = flag;
            (p.*edge).Degenerate();
            p.ExpectFailure(9);
        }
        for (Edge Page::*edge : {&Page::LT, &Page::RB}) {
            TurnedPage p; /* LB and RT are horizontal */
            p.LowerRight();
            p.flag = flag;
            (p.*edge).Degenerate();
            p.ExpectFailure(9);
        }
    }
}

TEST(CalBorderPoints, VerticalNeighbourOfASubstituteGivesItsColumn)
{
    /* The image has 300 rows. */
    const struct {
        Edge Page::*edge;
        PointRec tilted, upright;
    } low[] = {{&Page::LB, {60, 240}, {60, 299}}, {&Page::RT, {340, 70}, {340, 0}}};
    for (const auto& c : low) {
        for (sint32 flag : {0, 1}) {
            TurnedPage p;
            p.flag = flag;
            p.range.left.y = 240;
            p.range.right.y = 70;
            (p.*c.edge).Degenerate();
            ASSERT_EQ(0, p.Calculate());
            ExpectAxis((p.*c.edge).line(), 1, flag == 1 ? c.tilted : c.upright);
        }
    }
    const struct {
        Edge Page::*edge;
        PointRec tilted, upright;
    } high[] = {{&Page::LT, {60, 70}, {60, 0}}, {&Page::RB, {340, 240}, {340, 299}}};
    for (const auto& c : high) {
        for (sint32 flag : {0, 1}) {
            UprightPage p;
            p.flag = flag;
            p.range.left.y = 70;
            p.range.right.y = 240;
            (p.*c.edge).Degenerate();
            ASSERT_EQ(0, p.Calculate());
            ExpectAxis((p.*c.edge).line(), 1, flag == 1 ? c.tilted : c.upright);
        }
    }
}

/* ======== Squaring up ======== */

/*
 * Limits are met to the last bit by slopes of many digits, so one edge's centre lies far out; in an image wide enough
 * the page is still found. FarEdge has such a slope, to the right and downward of the place.
 */
static void FarEdge(Edge* edge, sint32 dx, sint32 dy) { edge->Through({60, 100}, {60 + dx, 100 + dy}); }

static constexpr sint32 kFarWidth = 8000000;

TEST(CalBorderPoints, ParallelPairsOffPerpendicularBy2DegreesReturn9)
{
    const struct {
        sint32 dx, dy;
        sint32 error_code;
    } cases[] = {
        {2709401, 77587035, 9},  /* 88 degrees to the last bit */
        {2048252, 58654219, 9},  /* one bit below */
        {5353997, 153318299, 0}, /* one bit above */
    };
    for (const auto& c : cases) {
        UprightPage p(kFarWidth);
        FarEdge(&p.LB, c.dx, c.dy);
        p.RT.Through({340, 100}, {344, 216}); /* slope 29, 88.03 degrees: parallel */
        EXPECT_EQ(c.error_code, p.Calculate()) << c.dx;
    }
    UprightPage near;
    near.LB.Through({60, 100}, {64, 216}); /* 1.97 off perpendicular */
    near.RT.Through({340, 100}, {344, 216});
    EXPECT_EQ(0, near.Calculate());
    UprightPage off;
    off.LB.Through({60, 100}, {64, 212}); /* 2.05 off */
    off.RT.Through({340, 100}, {344, 216});
    off.ExpectFailure(9);
}

TEST(CalBorderPoints, OnlyLTAndLBDecideWhetherParallelPairsArePerpendicular)
{
    UprightPage p;
    p.RB.Through({160, 249}, {240, 251}); /* 1.4 degrees */
    p.RT.Through({338, 100}, {342, 180}); /* 87.1 degrees: with RB 85.7 */
    EXPECT_EQ(0, p.Calculate());
}

TEST(CalBorderPoints, ExactlyThreeAndAHalfDegreesCountAsParallel)
{
    /* RB at 86.5 degrees to the last bit, LT vertical. Parallel, they are averaged. */
    TurnedPage averaged(kFarWidth);
    FarEdge(&averaged.RB, 2117096, 34614199);
    ASSERT_EQ(0, averaged.Calculate());
    EXPECT_EQ(88.25, averaged.LT.line().angle);
    EXPECT_EQ(88.25, averaged.RB.line().angle);

    /* One bit more between them, and RB follows LT, which is perpendicular to LB. */
    TurnedPage copied(kFarWidth);
    FarEdge(&copied.RB, 3065695, 50123649);
    ASSERT_EQ(0, copied.Calculate());
    EXPECT_EQ(90.0, copied.LT.line().angle);
    EXPECT_EQ(90.0, copied.RB.line().angle);

    UprightPage sides_averaged(kFarWidth);
    FarEdge(&sides_averaged.RT, 2117096, 34614199);
    ASSERT_EQ(0, sides_averaged.Calculate());
    EXPECT_EQ(88.25, sides_averaged.LB.line().angle);
    EXPECT_EQ(88.25, sides_averaged.RT.line().angle);

    UprightPage sides_copied(kFarWidth);
    FarEdge(&sides_copied.RT, 3065695, 50123649);
    ASSERT_EQ(0, sides_copied.Calculate());
    EXPECT_EQ(90.0, sides_copied.LB.line().angle);
    EXPECT_EQ(90.0, sides_copied.RT.line().angle);
}

TEST(CalBorderPoints, NeitherPairParallelReturns9)
{
    UprightPage p;
    p.RB.Through({160, 247}, {240, 254}); /* 5 degrees */
    p.RT.Through({337, 110}, {344, 190}); /* 85 degrees */
    p.ExpectFailure(9);
}

TEST(CalBorderPoints, WorseEdgeTakesTheDirectionOfTheOppositeOne)
{
    /* Each time one edge is 5 degrees off, and keeps its centre. */
    UprightPage RB_worse;
    RB_worse.RB.Through({160, 247}, {240, 254});
    ASSERT_EQ(0, RB_worse.Calculate());
    ExpectAxis(RB_worse.LT.line(), 1, {200, 50});
    ExpectAxis(RB_worse.RB.line(), 1, {200, 250});
    EXPECT_EQ(0.0, RB_worse.angle);
    EXPECT_EQ(200, RB_worse.height);

    UprightPage LT_worse;
    LT_worse.LT.Through({160, 47}, {240, 54});
    ASSERT_EQ(0, LT_worse.Calculate());
    ExpectAxis(LT_worse.LT.line(), 1, {200, 50});
    ExpectAxis(LT_worse.RB.line(), 1, {200, 250});

    UprightPage RT_worse;
    RT_worse.RT.Through({337, 110}, {344, 190});
    ASSERT_EQ(0, RT_worse.Calculate());
    ExpectAxis(RT_worse.LB.line(), 2, {60, 150});
    ExpectAxis(RT_worse.RT.line(), 2, {340, 150});

    UprightPage LB_worse;
    LB_worse.LB.Through({57, 110}, {64, 190});
    ASSERT_EQ(0, LB_worse.Calculate());
    ExpectAxis(LB_worse.LB.line(), 2, {60, 150});
    ExpectAxis(LB_worse.RT.line(), 2, {340, 150});
}

TEST(CalBorderPoints, TakenDirectionMayBeGeneral)
{
    const PointRec RB_center = {400, 400};
    LowLeftPage p;
    p.RB.Through({370, 420}, {430, 380}); /* slope -2/3 instead of -2 */
    ASSERT_EQ(0, p.Calculate());
    ExpectGeneral(p.RB.line(), Degrees(-2.0), RB_center);
    EXPECT_EQ(Degrees(-2.0), p.LT.line().angle);

    LowLeftPage q;
    q.LB.Through({170, 550}, {230, 550});
    ASSERT_EQ(0, q.Calculate());
    ExpectGeneral(q.LB.line(), Degrees(0.5), {200, 550});
    EXPECT_EQ(Degrees(0.5), q.RT.line().angle);
}

TEST(CalBorderPoints, EachEdgeIsMeasuredAgainstItsOwnNeighbour)
{
    /* LB and RT are parallel but 3.4 degrees apart. RB is square to RT, LT is square to neither: LT follows RB. */
    UprightPage p;
    p.RT.Through({337, 110}, {342, 194}); /* slope 16.8, 86.6 degrees */
    p.RB.Through({158, 253}, {242, 248}); /* -3.4 degrees */
    p.LT.Through({160, 47}, {240, 54});   /* 5 degrees */
    ASSERT_EQ(0, p.Calculate());
    ExpectGeneral(p.LT.line(), Degrees(-5.0 / 84.0), {200, 50});
    ExpectGeneral(p.RB.line(), Degrees(-5.0 / 84.0), {200, 250});

    /* LT and RB 3.4 degrees apart; RT is square to RB, LB is square to neither: LB follows RT. */
    UprightPage q;
    q.RB.Through({158, 253}, {242, 248});
    q.RT.Through({337, 110}, {342, 194});
    q.LB.Through({64, 110}, {57, 190}); /* -85 degrees */
    ASSERT_EQ(0, q.Calculate());
    ExpectGeneral(q.LB.line(), Degrees(16.8), {60, 150});
    ExpectGeneral(q.RT.line(), Degrees(16.8), {339, 152});
}

TEST(CalBorderPoints, EdgesOffBy2DegreesAndMoreAreSetPerpendicularToTheVertical)
{
    UprightPage p;
    p.LT.Through({160, 47}, {240, 54});   /* 5 degrees */
    p.RB.Through({160, 253}, {240, 247}); /* -4.3 */
    ASSERT_EQ(0, p.Calculate());
    ExpectAxis(p.LT.line(), 1, {200, 50});
    ExpectAxis(p.RB.line(), 1, {200, 250});

    TurnedPage q;
    q.LB.Through({160, 247}, {240, 254});
    q.RT.Through({160, 53}, {240, 47});
    ASSERT_EQ(0, q.Calculate());
    ExpectAxis(q.LB.line(), 1, {200, 250});
    ExpectAxis(q.RT.line(), 1, {200, 50});
}

TEST(CalBorderPoints, EdgesOffBy2DegreesAndMoreAreSetPerpendicularToTheHorizontal)
{
    TurnedPage p;
    p.LT.Through({57, 110}, {64, 190});
    p.RB.Through({343, 110}, {337, 190});
    ASSERT_EQ(0, p.Calculate());
    ExpectAxis(p.LT.line(), 2, {60, 150});
    ExpectAxis(p.RB.line(), 2, {340, 150});

    UprightPage q;
    q.LB.Through({57, 110}, {64, 190});
    q.RT.Through({343, 110}, {337, 190});
    ASSERT_EQ(0, q.Calculate());
    ExpectAxis(q.LB.line(), 2, {60, 150});
    ExpectAxis(q.RT.line(), 2, {340, 150});
}

TEST(CalBorderPoints, BothEdgesAreSetPerpendicularToTheFirstNeighbour)
{
    UprightPage p; /* LT and RB stand badly on LB and RT, which are 3.4 degrees apart */
    p.RT.Through({337, 110}, {342, 194});
    p.LT.Through({160, 47}, {240, 54});
    p.RB.Through({160, 256}, {240, 243});
    ASSERT_EQ(0, p.Calculate());
    ExpectAxis(p.LT.line(), 1, {200, 50});
    ExpectAxis(p.RB.line(), 1, {200, 249});

    UprightPage q; /* LB and RT on LT and RB */
    q.RB.Through({158, 253}, {242, 248});
    q.LB.Through({57, 110}, {64, 190});
    q.RT.Through({346, 110}, {333, 190});
    ASSERT_EQ(0, q.Calculate());
    ExpectAxis(q.LB.line(), 2, {60, 150});
    ExpectAxis(q.RT.line(), 2, {339, 150});
}

TEST(CalBorderPoints, TheTwoPairsComputeAPerpendicularAngleInDifferentOrder)
{
    const Real64 divided_first = std::atan(0.5) / kDegreePi * 180.0;
    const Real64 multiplied_first = std::atan(0.5) * 180.0 / kDegreePi;
    ASSERT_NE(divided_first, multiplied_first);

    HighLeftPage p;                       /* LB has slope 2 */
    p.LT.Through({150, 270}, {250, 230}); /* slopes -0.4 and -0.6 instead of -0.5 */
    p.RB.Through({350, 680}, {450, 620});
    ASSERT_EQ(0, p.Calculate());
    ExpectGeneral(p.LT.line(), -divided_first, {200, 250});
    ExpectGeneral(p.RB.line(), -divided_first, {400, 650});

    LowLeftPage q;                        /* LT has slope -2 */
    q.LB.Through({150, 530}, {250, 570}); /* slopes 0.4 and 0.6 instead of 0.5 */
    q.RT.Through({350, 120}, {450, 180});
    ASSERT_EQ(0, q.Calculate());
    ExpectGeneral(q.LB.line(), multiplied_first, {200, 550});
    ExpectGeneral(q.RT.line(), multiplied_first, {400, 150});
}

TEST(CalBorderPoints, EquallyBadEdgesAreSetPerpendicular)
{
    /* Slopes 32 and -32, each 1.79 degrees off, 3.58 apart. */
    TurnedPage p;
    p.LT.Through({60, 100}, {65, 260});
    p.RB.Through({345, 100}, {340, 260});
    ASSERT_EQ(0, p.Calculate());
    ExpectAxis(p.LT.line(), 2, {62, 180});
    ExpectAxis(p.RB.line(), 2, {342, 180});

    UprightPage q;
    q.LB.Through({60, 100}, {65, 260});
    q.RT.Through({345, 100}, {340, 260});
    ASSERT_EQ(0, q.Calculate());
    ExpectAxis(q.LB.line(), 2, {62, 180});
    ExpectAxis(q.RT.line(), 2, {342, 180});
}

TEST(CalBorderPoints, OnlyAnEdgeLessThan2DegreesOffGivesItsDirection)
{
    /* One edge at 88 degrees to the last bit, or one bit below or above; the opposite one at 84. */
    const struct {
        sint32 dx, dy;
        bool gives;
    } cases[] = {{2709401, 77587035, false}, {2048252, 58654219, false}, {5353997, 153318299, true}};
    for (const auto& c : cases) {
        const Real64 angle = c.gives ? Degrees(static_cast<Real64>(c.dy) / c.dx) : 90.0;
        for (bool exchanged : {false, true}) {
            TurnedPage p(kFarWidth);
            FarEdge(exchanged ? &p.RB : &p.LT, c.dx, c.dy);
            (exchanged ? p.LT : p.RB).Through({340, 100}, {350, 195}); /* slope 9.5 */
            ASSERT_EQ(0, p.Calculate());
            EXPECT_EQ(angle, p.LT.line().angle) << c.dx << exchanged;
            EXPECT_EQ(angle, p.RB.line().angle) << c.dx << exchanged;

            UprightPage q(kFarWidth);
            FarEdge(exchanged ? &q.RT : &q.LB, c.dx, c.dy);
            (exchanged ? q.LB : q.RT).Through({340, 100}, {350, 195});
            ASSERT_EQ(0, q.Calculate());
            EXPECT_EQ(angle, q.LB.line().angle) << c.dx << exchanged;
            EXPECT_EQ(angle, q.RT.line().angle) << c.dx << exchanged;
        }
    }
}

/* ======== Averaging ======== */

TEST(CalBorderPoints, OppositeEdgesGetTheirMeanAngleAndTheirOwnIntercepts)
{
    const Real64 rows_angle = (0.0 + Degrees(0.025)) / 2.0;
    const Real64 columns_angle = (90.0 + Degrees(40.0)) / 2.0;
    ASSERT_NE(std::tan(columns_angle * kDegreePi / 180.0), Slope(columns_angle));
    UprightPage p;
    p.RB.Through({160, 249}, {240, 251});
    p.RT.Through({339, 110}, {341, 190});
    ASSERT_EQ(0, p.Calculate());
    ExpectGeneral(p.LT.line(), rows_angle, {200, 50});
    ExpectGeneral(p.RB.line(), rows_angle, {200, 250});
    ExpectGeneral(p.LB.line(), columns_angle, {60, 150});
    ExpectGeneral(p.RT.line(), columns_angle, {340, 150});
}

TEST(CalBorderPoints, OppositeInclinationsMeetInAHorizontal)
{
    UprightPage p;
    p.LT.Through({160, 51}, {240, 49});
    p.RB.Through({160, 249}, {240, 251});
    ASSERT_EQ(0, p.Calculate());
    ExpectAxis(p.LT.line(), 1, {200, 50});
    ExpectAxis(p.RB.line(), 1, {200, 250});

    TurnedPage q;
    q.LB.Through({160, 251}, {240, 249});
    q.RT.Through({160, 49}, {240, 51});
    ASSERT_EQ(0, q.Calculate());
    ExpectAxis(q.LB.line(), 1, {200, 250});
    ExpectAxis(q.RT.line(), 1, {200, 50});
}

TEST(CalBorderPoints, NearVerticalsThatLeanApartGetHalfTheSum)
{
    /* 88.03 and -89.01 degrees: 88.5, farther from the vertical than the second. */
    const Real64 a = Degrees(29.0);
    const Real64 b = Degrees(-58.0);
    const Real64 angle = 90.0 - ((90.0 - a) + (b + 90.0)) / 2.0;
    TurnedPage p;
    p.LT.Through({60, 100}, {64, 216});
    p.RB.Through({342, 100}, {340, 216});
    ASSERT_EQ(0, p.Calculate());
    ExpectGeneral(p.LT.line(), angle, {62, 158});
    ExpectGeneral(p.RB.line(), angle, {341, 158});

    UprightPage q;
    q.LB.Through({60, 100}, {64, 216});
    q.RT.Through({342, 100}, {340, 216});
    ASSERT_EQ(0, q.Calculate());
    ExpectGeneral(q.LB.line(), angle, {62, 158});
    ExpectGeneral(q.RT.line(), angle, {341, 158});
}

/* ======== Centre ======== */

TEST(CalBorderPoints, CentreIsRoundedUp)
{
    UprightPage p;
    p.RT.Vertical(341);
    p.RB.Horizontal(253);
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((PointRec{201, 152}), p.center);
}

TEST(CalBorderPoints, CentreOutsideTheImageReturns9)
{
    /* The centre is (200, 150). */
    UprightPage inside(201, 151);
    EXPECT_EQ(0, inside.Calculate());
    UprightPage right(200, 151);
    right.ExpectFailure(9);
    UprightPage below(201, 150);
    below.ExpectFailure(9);
}

TEST(CalBorderPoints, CentreIsRoundedTowardMinusInfinityBelowZero)
{
    /* A corner at -13 is rounded to -12. With 10 on the other side: (-2 + 1) >> 1 = -1. */
    for (sint32 left : {-12, -13, -14}) {
        UprightPage p;
        p.LB.ThroughPoints({left, 110}, {left, 190});
        p.RT.Vertical(10);
        if (left == -12) {
            EXPECT_EQ(0, p.Calculate());
            EXPECT_EQ((PointRec{0, 150}), p.center);
        } else {
            p.ExpectFailure(9);
        }
    }
    for (sint32 top : {-22, -23, -24}) {
        UprightPage p;
        p.LT.ThroughPoints({160, top}, {240, top});
        p.RB.Horizontal(20);
        if (top == -22) {
            EXPECT_EQ(0, p.Calculate());
            EXPECT_EQ((PointRec{200, 0}), p.center);
        } else {
            p.ExpectFailure(9);
        }
    }
}

/* ======== Angle and size ======== */

/* The slopes below are such that the products and quotients in any other order give another double. */

TEST(CalBorderPoints, SlightSkewTurnsByAFewDegreesEitherWay)
{
    /* LB at 88 and LT at -2 degrees: 2 degrees; the height is that of Left to Bottom. */
    const Real64 LB_angle = Degrees(27.0);
    ASSERT_NE((90.0 - LB_angle) / 180.0 * kDegreePi, (90.0 - LB_angle) * kDegreePi / 180.0);
    ASSERT_NE((90.0 - LB_angle) * (kDegreePi / 180.0), (90.0 - LB_angle) * kDegreePi / 180.0);
    Rectangle p({100, 300}, {54, -2}, {3, 81});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((90.0 - LB_angle) * kDegreePi / 180.0, p.angle);
    EXPECT_NEAR(0.0370, p.angle, 0.0001);
    EXPECT_EQ(324, p.height); /* 324.2 */
    EXPECT_EQ(216, p.width);  /* 216.1 */

    /* LT at -88 and LB at 2 degrees: 358 degrees; the height is that of Left to Top. */
    const Real64 LT_angle = Degrees(-27.0);
    ASSERT_NE((270.0 - LT_angle) / 180.0 * kDegreePi, (270.0 - LT_angle) * kDegreePi / 180.0);
    ASSERT_NE((270.0 - LT_angle) * (kDegreePi / 180.0), (270.0 - LT_angle) * kDegreePi / 180.0);
    Rectangle q({100, 500}, {3, -81}, {54, 2});
    ASSERT_EQ(0, q.Calculate());
    EXPECT_EQ((270.0 - LT_angle) * kDegreePi / 180.0, q.angle);
    EXPECT_NEAR(6.2462, q.angle, 0.0001);
    EXPECT_EQ(324, q.height);
    EXPECT_EQ(216, q.width);
}

TEST(CalBorderPoints, EqualInclinationsCountAsLTSteeper)
{
    Rectangle p({100, 400}, {50, -50}, {30, 30});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ((270.0 - Degrees(-1.0)) * kDegreePi / 180.0, p.angle);
    EXPECT_EQ(283, p.height); /* Left to Top, 282.8 */
    EXPECT_EQ(170, p.width);  /* Left to Bottom, 169.7 */
}

/* The four edges of a page that stands on its corner, each through a place and in a direction. */
static void SetDiamond(Page* p, PointRec LT_RB, PointRec LB_RT)
{
    p->LT.ThroughPoints({100, 400}, PointRec{100, 400} + LT_RB);
    p->RB.ThroughPoints({400, 700}, PointRec{400, 700} + LT_RB);
    p->LB.ThroughPoints({100, 500}, PointRec{100, 500} + LB_RT);
    p->RT.ThroughPoints({400, 200}, PointRec{400, 200} + LB_RT);
    p->range = {{50, 450}, {654, 449}, {351, 152}, {352, 747}};
    p->flag = 1;
}

TEST(CalBorderPoints, SteeperEdgeBelow45DegreesTurnsTheOtherWay)
{
    const Real64 LT_angle = Degrees(-0.994); /* -44.8 */
    ASSERT_NE(LT_angle / 180.0 * (-kDegreePi), LT_angle * (-kDegreePi) / 180.0);
    ASSERT_NE(LT_angle * (-kDegreePi / 180.0), LT_angle * (-kDegreePi) / 180.0);
    Page p;
    SetDiamond(&p, {1000, -994}, {100, 98});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(LT_angle * (-kDegreePi) / 180.0, p.angle);

    const Real64 LB_angle = Degrees(0.989); /* 44.7 */
    ASSERT_NE((360.0 - LB_angle) / 180.0 * kDegreePi, (360.0 - LB_angle) * kDegreePi / 180.0);
    ASSERT_NE((360.0 - LB_angle) * (kDegreePi / 180.0), (360.0 - LB_angle) * kDegreePi / 180.0);
    Page q;
    SetDiamond(&q, {100, -98}, {1000, 989});
    ASSERT_EQ(0, q.Calculate());
    EXPECT_EQ((360.0 - LB_angle) * kDegreePi / 180.0, q.angle);
}

TEST(CalBorderPoints, Exactly45DegreesBelongToTheFlatterRange)
{
    ASSERT_EQ(45.0, Degrees(37320539.0 / 37320540.0));
    Page p;
    SetDiamond(&p, {100, -98}, {37320540, 37320539});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(45.0, p.LB.line().angle);
    EXPECT_EQ((360.0 - 45.0) * kDegreePi / 180.0, p.angle);

    ASSERT_LT(45.0, Degrees(74641079.0 / 74641081.0));
    Page q;
    SetDiamond(&q, {100, -98}, {74641081, 74641079});
    ASSERT_EQ(0, q.Calculate());
    EXPECT_EQ((90.0 - Degrees(74641079.0 / 74641081.0)) * kDegreePi / 180.0, q.angle);
}

TEST(CalBorderPoints, ExactlyMinus45DegreesBelongToTheSteeperRange)
{
    Page p;
    SetDiamond(&p, {37320540, -37320539}, {100, 98});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(-45.0, p.LT.line().angle);
    EXPECT_EQ((270.0 - -45.0) * kDegreePi / 180.0, p.angle);

    ASSERT_GT(45.0, Degrees(74641077.0 / 74641079.0));
    Page q;
    SetDiamond(&q, {74641079, -74641077}, {100, 98});
    ASSERT_EQ(0, q.Calculate());
    EXPECT_EQ(Degrees(-74641077.0 / 74641079.0) * (-kDegreePi) / 180.0, q.angle);
}

/* ======== Rows and spans ======== */

TEST(CalBorderPoints, CornerAboveTheImageStartsAtRow0)
{
    /* Corners (100, 60) (300, -40) (500, 360) (300, 460); rounding makes -40 into -39. */
    Page p;
    p.LT.Through({120, 50}, {180, 20});
    p.RT.Through({330, 20}, {400, 160});
    p.LB.Through({150, 160}, {250, 360});
    p.RB.Through({350, 435}, {450, 385});
    p.range = {{100, 60}, {500, 360}, {220, 0}, {300, 460}};
    p.flag = 1;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(0, p.rows.top);
    EXPECT_EQ(460, p.rows.bottom);
    EXPECT_EQ(461, p.rows.index);
    EXPECT_EQ(476, p.rows.len);
    EXPECT_EQ((PointRec{300, 211}), p.center);
    EXPECT_EQ(220, p.rows.seck[0].left);
    EXPECT_EQ(320, p.rows.seck[0].right);
    p.ExpectSpans({100, 60}, {500, 360});
}

TEST(CalBorderPoints, CornerBelowTheImageEndsAtTheLastRow)
{
    HighLeftPage p;
    p.bitmap.biHeight = 650;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(200, p.rows.top);
    EXPECT_EQ(649, p.rows.bottom);
    EXPECT_EQ(450, p.rows.index);
    EXPECT_EQ(665, p.rows.len);
    p.ExpectSpans(p.Left, p.Right);
}

TEST(CalBorderPoints, SpansAreClampedToTheColumns)
{
    HighLeftPage right;
    right.bitmap.biWidth = 400;
    ASSERT_EQ(0, right.Calculate());
    EXPECT_EQ(399, right.rows.seck[400].right); /* 400 */
    EXPECT_EQ(398, right.rows.seck[396].right);
    EXPECT_EQ(399, right.rows.seck[600].right); /* 500 */
    right.ExpectSpans(right.Left, right.Right);

    /* Corners (-50, 300) (150, 200) (350, 600) (150, 700). */
    Page left;
    left.LT.Through({10, 270}, {90, 230});
    left.LB.Through({10, 420}, {90, 580});
    left.RT.Through({200, 300}, {300, 500});
    left.RB.Through({200, 675}, {300, 625});
    left.range = {{0, 300}, {350, 600}, {150, 200}, {150, 700}};
    left.flag = 1;
    ASSERT_EQ(0, left.Calculate());
    EXPECT_EQ(2, left.rows.seck[274].left);
    EXPECT_EQ(0, left.rows.seck[276].left); /* -2 */
    EXPECT_EQ(0, left.rows.seck[300].left); /* -50 */
    EXPECT_EQ(0, left.rows.seck[398].left); /* -1 */
    EXPECT_EQ(1, left.rows.seck[402].left);
    left.ExpectSpans({-50, 300}, {350, 600});
}

TEST(CalBorderPoints, CornersRowComesFromTheLowerEdges)
{
    /* The left corner is at (100.04, 300.4), the right one at (600.04, 350.4). On row 300 the flat LT is already at
     * column 104, on row 350 the flat RB still at 604. */
    Page p;
    p.LT.Through({104, 300}, {304, 280});
    p.LB.Through({130, 600}, {150, 800});
    p.RT.Through({570, 50}, {580, 150});
    p.RB.Through({404, 370}, {604, 350});
    p.range = {{100, 300}, {600, 350}, {590, 251}, {110, 399}};
    p.flag = 1;
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(251, p.rows.top);
    EXPECT_EQ(399, p.rows.bottom);
    EXPECT_EQ(114, p.rows.seck[299].left);
    EXPECT_EQ(100, p.rows.seck[300].left);
    EXPECT_EQ(600, p.rows.seck[349].right);
    EXPECT_EQ(604, p.rows.seck[350].right);
    p.ExpectSpans({100, 300}, {600, 350});
}

/* With the edges exchanged top for bottom, the top corner lies lowest: it does not count for the last row, nor the
 * bottom corner for the first. */

TEST(CalBorderPoints, FirstRowIgnoresTheBottomCornerAndLastRowTheTopCorner)
{
    LowLeftPage p;
    p.LT.Through(p.Left + PointRec{50, 25}, p.Left + PointRec{150, 75});
    p.RT.Through(p.Bottom + PointRec{50, -100}, p.Bottom + PointRec{150, -300});
    p.LB.Through(p.Left + PointRec{50, -100}, p.Left + PointRec{150, -300});
    p.RB.Through(p.Top + PointRec{50, 25}, p.Top + PointRec{150, 75});
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(200, p.rows.top);    /* Right; the bottom corner is at 100 */
    EXPECT_EQ(500, p.rows.bottom); /* Left; the top corner is at 600 */
    EXPECT_EQ(301, p.rows.index);
    EXPECT_EQ(516, p.rows.len);
    EXPECT_EQ((PointRec{300, 350}), p.center);
    p.ExpectSpans(p.Left, p.Right);
}

TEST(CalBorderPoints, FirstRowNotAboveTheLastReturns9)
{
    /* Left and Right level, Top below and Bottom above them. */
    Rectangle p({100, 400}, {50, 50}, {50, -50});
    p.ExpectFailure(9);

    /* All rows of the page fall on the only row of the image; two are enough. */
    UprightPage one(400, 1);
    one.LT.ThroughPoints({160, -10}, {240, -10});
    one.RB.Horizontal(9);
    one.ExpectFailure(9);
    UprightPage two(400, 2);
    two.LT.ThroughPoints({160, -10}, {240, -10});
    two.RB.Horizontal(9);
    EXPECT_EQ(0, two.Calculate());
    EXPECT_EQ(0, two.rows.top);
    EXPECT_EQ(1, two.rows.bottom);
    EXPECT_EQ(2, two.rows.index);
    EXPECT_EQ(17, two.rows.len);
}

TEST(CalBorderPoints, HorizontalEdgeEndsItsRowsAtTheCorner)
{
    /* Upside down: LT and RB exchange their rows. Above the left corner the left end comes from LT, below the right
     * corner the right end from RB, and both run along rows. */
    UprightPage p;
    p.LT.Horizontal(250);
    p.RB.Horizontal(50);
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(50, p.rows.top);
    EXPECT_EQ(250, p.rows.bottom);
    for (sint32 y = 50; y <= 250; ++y) {
        EXPECT_EQ(60, p.rows.seck[y].left) << y;
        EXPECT_EQ(340, p.rows.seck[y].right) << y;
    }

    TurnedPage q;
    q.LB.Horizontal(50);
    q.RT.Horizontal(250);
    ASSERT_EQ(0, q.Calculate());
    EXPECT_EQ(50, q.rows.top);
    EXPECT_EQ(250, q.rows.bottom);
    for (sint32 y = 50; y <= 250; ++y) {
        EXPECT_EQ(60, q.rows.seck[y].left) << y;
        EXPECT_EQ(340, q.rows.seck[y].right) << y;
    }
}

TEST(CalBorderPoints, HorizontalEdgesCornerIsClamped)
{
    /* The right corner lies in column 340 of 300; the left one in column -39. */
    UprightPage p(300, 300);
    p.LB.ThroughPoints({-40, 110}, {-40, 190});
    p.LT.Horizontal(250);
    p.RB.Horizontal(50);
    ASSERT_EQ(0, p.Calculate());
    for (sint32 y = 50; y <= 250; ++y) {
        EXPECT_EQ(0, p.rows.seck[y].left) << y;
        EXPECT_EQ(299, p.rows.seck[y].right) << y;
    }
}

TEST(CalBorderPoints, SpanArrayReaches16EntriesBeyondTheLastRowIndexAndDownToRow0)
{
    UprightPage p(400, 5000);
    p.LT.Horizontal(4000);
    p.RB.Horizontal(4200);
    ASSERT_EQ(0, p.Calculate());
    EXPECT_EQ(4000, p.rows.top);
    EXPECT_EQ(4200, p.rows.bottom);
    EXPECT_EQ(201, p.rows.index);
    ASSERT_EQ(4216, p.rows.len);
    for (sint32 y : {0, 3999, 4201, 4215}) p.rows.seck[y] = {y, y}; /* all of it is allocated */
    EXPECT_EQ(60, p.rows.seck[4000].left);
    EXPECT_EQ(340, p.rows.seck[4200].right);
}

TEST(CalBorderPoints, RowSpansAreOverwrittenAndNotReleased)
{
    LineSeckRec old[1] = {{1, 2}};
    UprightPage p;
    p.rows = {3, 4, 5, 6, old};
    ASSERT_EQ(0, p.Calculate());
    EXPECT_NE(old, p.rows.seck);
    EXPECT_EQ(1, old[0].left);
    EXPECT_EQ(201, p.rows.index);
}
