/*
 * QuarloBitmap_test.cpp - rotation by any angle.
 *
 * Expected pixels are worked out by hand. Most sources hold 10 * row + col, so that a value tells where it came from.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/QuarloBitmap.cpp"

using test::Bitmap;
using test::Bytes;

namespace
{

using Rows = std::vector<Bytes>;

constexpr uint8 kGround = 99; /* background in most tests; no source pixel has it */

/* The pixels; of a 24-bit image one channel. */
Rows RowsOf(const Bitmap& bitmap, int channel = 0)
{
    Rows rows;
    for (sint32 row = 0; row < bitmap.rec.biHeight; ++row) {
        rows.emplace_back();
        for (sint32 col = 0; col < bitmap.rec.biWidth; ++col)
            rows.back().push_back(static_cast<uint8>(bitmap.At(row, col) >> (8 * channel)));
    }
    return rows;
}

/* Every row the same. */
Rows Repeat(const Bytes& row, size_t count) { return Rows(count, row); }

/* 10 * row + col. */
Rows Ramp(uint8 width, uint8 height)
{
    Rows rows(height, Bytes(width));
    for (uint8 row = 0; row < height; ++row)
        for (uint8 col = 0; col < width; ++col) rows[row][col] = static_cast<uint8>(10 * row + col);
    return rows;
}

/* A page mask: on rows top to bottom one span, or spans of their own. The array ends with the last row. */
class Mask
{
public:
    Mask(sint32 top, sint32 bottom, sint32 left, sint32 right)
        : Mask(top, std::vector<LineSeckRec>(static_cast<size_t>(bottom - top + 1), {left, right}))
    {
    }
    Mask(sint32 top, const std::vector<LineSeckRec>& spans) : seck(static_cast<size_t>(top), {7, -7})
    {
        seck.insert(seck.end(), spans.begin(), spans.end());
        const sint32 rows = static_cast<sint32>(spans.size());
        rec = {rows, static_cast<sint32>(seck.size()), top, top + rows - 1, seck.data()};
    }
    /* All of an image. */
    explicit Mask(const Bitmap& bitmap) : Mask(0, bitmap.rec.biHeight - 1, 0, bitmap.rec.biWidth - 1) {}

    std::vector<LineSeckRec> seck;
    RowSeckRec rec = null_row_seck;
};

enum Interpolation { kCubic = 1, kBilinear = 2, kNearest = 3 };

struct Turn {
    sint32 width, height;
    PointRec pivot;
    Real64 angle;
    sint32 interpolation;
};

void Rotate(Bitmap& source, Mask mask, const Turn& turn, Bitmap& out, Bytes color = {kGround, kGround, kGround})
{
    ASSERT_EQ(0, RotateBitmap(&source.rec, &out.rec, &mask.rec, turn.angle, turn.pivot, turn.width, turn.height,
                              turn.interpolation, color.data()));
    ASSERT_NE(nullptr, out.rec.buffer);
}

/* An 8-bit rotation from rows to rows. */
Rows Rotated(const Rows& pixels, const Mask& mask, const Turn& turn)
{
    Bitmap source(pixels), out;
    Rotate(source, mask, turn, out);
    return RowsOf(out);
}

Rows Rotated(const Rows& pixels, const Turn& turn)
{
    Bitmap source(pixels);
    return Rotated(pixels, Mask(source), turn);
}

/* A record that nothing may touch. */
BitmapRec Sentinel()
{
    static uint8 pixels[1];
    static uint8* lines[1] = {pixels};
    return {1, 2, 8, 4, 5, lines, pixels};
}

/* Whether 1-bit rows are as written, '#' for a set pixel. */
std::vector<std::string> BitsOf(const Bitmap& bitmap)
{
    std::vector<std::string> rows;
    for (const Bytes& row : RowsOf(bitmap)) {
        rows.emplace_back();
        for (uint8 pixel : row) rows.back() += pixel != 0 ? '#' : '.';
    }
    return rows;
}

void DrawBits(Bitmap& bitmap, const std::vector<std::string>& rows)
{
    for (sint32 row = 0; row < bitmap.rec.biHeight; ++row)
        for (sint32 col = 0; col < bitmap.rec.biWidth; ++col)
            bitmap.SetGray(row, col, rows[static_cast<size_t>(row)][static_cast<size_t>(col)] == '#');
}

/* Some 0 and 255 without a pattern. */
Rows Scatter(size_t width, size_t height)
{
    Rows rows(height, Bytes(width));
    uint32 state = 12345;
    for (Bytes& row : rows)
        for (uint8& pixel : row) {
            state = state * 1664525u + 1013904223u;
            pixel = state >> 31 != 0 ? 255 : 0;
        }
    return rows;
}

/* Any grey, without a pattern. */
Rows Noise(size_t width, size_t height, uint32 seed)
{
    Rows rows(height, Bytes(width));
    for (Bytes& row : rows)
        for (uint8& pixel : row) {
            seed = seed * 1664525u + 1013904223u;
            pixel = static_cast<uint8>(seed >> 24);
        }
    return rows;
}

} // namespace

/* ======== AddBorderPointToBitmap ======== */

TEST(AddBorderPointToBitmap, EightBitsRepeatEdgesAndCorners)
{
    Bitmap source(Rows{{10, 20}, {30, 40}}), out;
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 8, &out.rec));
    Bytes upper(9, 10), lower(9, 30);
    upper.resize(18, 20);
    lower.resize(18, 40);
    Rows expected = Repeat(upper, 9);
    expected.resize(18, lower);
    EXPECT_EQ(expected, RowsOf(out));
    EXPECT_EQ(18, out.rec.BytesPerLine);
    EXPECT_EQ(8, out.rec.biBitCount);
}

TEST(AddBorderPointToBitmap, TwentyFourBitsRepeatWholePixels)
{
    Bitmap source(2, 1, 24), out;
    source.SetColor(0, 0, 1, 2, 3);
    source.SetColor(0, 1, 4, 5, 6);
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 2, 1, &out.rec));
    EXPECT_EQ(Repeat({1, 1, 1, 4, 4, 4}, 3), RowsOf(out, 0));
    EXPECT_EQ(Repeat({2, 2, 2, 5, 5, 5}, 3), RowsOf(out, 1));
    EXPECT_EQ(Repeat({3, 3, 3, 6, 6, 6}, 3), RowsOf(out, 2));
    EXPECT_EQ(18, out.rec.BytesPerLine);
    EXPECT_EQ(24, out.rec.biBitCount);
}

TEST(AddBorderPointToBitmap, RowPaddingOfTheSourceNeverShows)
{
    Bitmap source(Rows{{1, 2, 3}}, 1), out;
    source.rec.ScanLine[0][3] = 77;
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 2, 1, &out.rec));
    EXPECT_EQ(Repeat({1, 1, 1, 2, 3, 3, 3}, 3), RowsOf(out));
}

TEST(AddBorderPointToBitmap, StrideBeyondTheEnlargedRowIsHarmless)
{
    Bytes pixels(3 * 100, 77);
    uint8* lines[] = {&pixels[0], &pixels[100], &pixels[200]};
    for (size_t row = 0; row < 3; ++row) std::fill_n(lines[row], 6, static_cast<uint8>(row + 1));
    for (sint32 bits : {8, 24}) {
        BitmapRec source = {2, 3, bits, 300, 100, lines, pixels.data()};
        Bitmap out;
        ASSERT_EQ(0, AddBorderPointToBitmap(&source, 1, 1, &out.rec));
        EXPECT_EQ((Rows{{1, 1, 1, 1}, {1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}, {3, 3, 3, 3}}), RowsOf(out));
        EXPECT_EQ(4 * bits / 8, out.rec.BytesPerLine);
    }
}

TEST(AddBorderPointToBitmap, OneBitAllSetLeavesColumn0Clear)
{
    Bitmap source(5, 1, 1, 255), out;
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 8, &out.rec));
    EXPECT_EQ(std::vector<std::string>(17, ".####################"), BitsOf(out));
    EXPECT_EQ(3, out.rec.BytesPerLine);
}

TEST(AddBorderPointToBitmap, OneBitEachEndDecidesItsOwnBorder)
{
    Bitmap source(4, 3, 1), out;
    DrawBits(source, {".#.#", "#.#.", "...."});
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 1, &out.rec));
    EXPECT_EQ((std::vector<std::string>{"........."
                                        "#.#"
                                        "########",
                                        "........."
                                        "#.#"
                                        "########",
                                        ".########"
                                        ".#."
                                        "........",
                                        "....................", "...................."}),
              BitsOf(out));
}

TEST(AddBorderPointToBitmap, OneBitCopiesAcrossBytes)
{
    Bitmap source(11, 1, 1), out;
    DrawBits(source, {"##.#..#.##."});
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 1, &out.rec));
    EXPECT_EQ(std::vector<std::string>(3, ".#######"
                                          "##.#..#.##."
                                          "........"),
              BitsOf(out));
}

/* Column 11 is bit 3 of byte 1; the border runs left from there. */
TEST(AddBorderPointToBitmap, OneBitExtension3StartsAtColumn11)
{
    Bitmap source(11, 1, 1), out;
    DrawBits(source, {"#.##.#####."});
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 3, 1, &out.rec));
    EXPECT_EQ(std::vector<std::string>(3, "........."
                                          "##"
                                          "#.##.#"),
              BitsOf(out));
}

/* The pixel after the second byte of a row is column 0 of the next row. */
TEST(AddBorderPointToBitmap, OneBitExtension3RunsIntoTheNextRow)
{
    Bitmap source(3, 2, 1, 255), out;
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 3, 1, &out.rec));
    EXPECT_EQ((std::vector<std::string>{".........", ".........", "#........", "#........"}), BitsOf(out));
}

TEST(AddBorderPointToBitmap, SourceIsOnlyRead)
{
    Bitmap source(Ramp(3, 3)), out;
    const BitmapRec before = source.rec;
    ASSERT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 8, &out.rec));
    EXPECT_TRUE(test::SameRecord(before, source.rec));
    EXPECT_EQ(Ramp(3, 3), RowsOf(source));
}

TEST(AddBorderPointToBitmap, RefusedArgumentsReturn1)
{
    Bitmap source(2, 2, 8);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, AddBorderPointToBitmap(&source.rec, 0, 8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source.rec, 8, 0, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source.rec, -8, 8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source.rec, 8, -8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(nullptr, 8, 8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source.rec, 8, 8, nullptr));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(AddBorderPointToBitmap, InvalidSourceReturns12AfterTheOtherChecks)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Sentinel();
    EXPECT_EQ(12, AddBorderPointToBitmap(&source, 8, 8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source, 0, 8, &dest));
    EXPECT_EQ(1, AddBorderPointToBitmap(&source, 8, 8, nullptr));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(AddBorderPointToBitmap, MoreThanARecordCanHoldReturns5)
{
    Bitmap source(1, 1, 24);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(5, AddBorderPointToBitmap(&source.rec, 1 << 29, 1 << 29, &dest));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

/* ======== RotateBitmap: arguments ======== */

namespace
{

/* A call that succeeds; each test spoils an argument or two. */
struct Call {
    Bitmap pixels{Ramp(4, 3)};
    Mask page{pixels};
    uint8 white[3] = {255, 255, 255};
    BitmapRec kept = Sentinel();

    BitmapRec* source = &pixels.rec;
    BitmapRec* dest = &kept;
    RowSeckRec* mask = &page.rec;
    PointRec pivot = {1, 1};
    sint32 width = 4, height = 3, interpolation = 3;
    uint8* color = white;

    sint32 Run() { return RotateBitmap(source, dest, mask, 0.0, pivot, width, height, interpolation, color); }
};

struct SpoiltCall {
    const char* name;
    sint32 code;
    void (*spoil)(Call& call);
};

void PrintTo(const SpoiltCall& call, std::ostream* stream) { *stream << call.name; }

class RotateBitmapCheck : public testing::TestWithParam<SpoiltCall>
{
};

const SpoiltCall kSpoiltCalls[] = {
    {"NullSourceReturns1", 1, [](Call& c) { c.source = nullptr; }},
    {"NullDestReturns1", 1, [](Call& c) { c.dest = nullptr; }},
    {"NullRowSeckReturns1", 1, [](Call& c) { c.mask = nullptr; }},
    {"NullColorReturns1", 1, [](Call& c) { c.color = nullptr; }},
    {"InvalidSourceReturns12", 12, [](Call& c) { c.source = &(c.kept = null_bitmap); }},
    {"NullColorIsTestedBeforeTheSource", 1,
     [](Call& c) {
         c.source = &(c.kept = null_bitmap);
         c.color = nullptr;
     }},
    {"InvalidSourceIsTestedBeforeTheValues", 12,
     [](Call& c) {
         c.source = &(c.kept = null_bitmap);
         c.width = c.interpolation = 0;
     }},
    {"Width0Returns1", 1, [](Call& c) { c.width = 0; }},
    {"WidthBelow0Returns1", 1, [](Call& c) { c.width = -4; }},
    {"Height0Returns1", 1, [](Call& c) { c.height = 0; }},
    {"HeightBelow0Returns1", 1, [](Call& c) { c.height = -3; }},
    {"PivotLeftOfTheSourceReturns1", 1, [](Call& c) { c.pivot.x = -1; }},
    {"PivotRightOfTheSourceReturns1", 1, [](Call& c) { c.pivot.x = 4; }},
    {"PivotBeforeTheFirstRowReturns1", 1, [](Call& c) { c.pivot.y = -1; }},
    {"PivotAfterTheLastRowReturns1", 1, [](Call& c) { c.pivot.y = 3; }},
    {"Interpolation0Returns1", 1, [](Call& c) { c.interpolation = 0; }},
    {"Interpolation4Returns1", 1, [](Call& c) { c.interpolation = 4; }},
    {"InterpolationBelow0Returns1", 1, [](Call& c) { c.interpolation = -1; }},
    {"MaskBeforeTheFirstRowReturns1", 1, [](Call& c) { c.mask->top = -1; }},
    {"MaskAfterTheLastRowReturns1", 1, [](Call& c) { c.mask->bottom = 3; }},
    {"SingleRowMaskReturns1", 1, [](Call& c) { c.mask->top = c.mask->bottom = 1; }},
    {"MaskUpsideDownReturns1", 1,
     [](Call& c) {
         c.mask->top = 2;
         c.mask->bottom = 1;
     }},
    {"NullSpansReturn1", 1, [](Call& c) { c.mask->seck = nullptr; }},
};

} // namespace

TEST_P(RotateBitmapCheck, LeavesDestAlone)
{
    Call call;
    GetParam().spoil(call);
    const BitmapRec before = call.kept;
    EXPECT_EQ(GetParam().code, call.Run());
    EXPECT_TRUE(test::SameRecord(before, call.kept));
    EXPECT_EQ(Ramp(4, 3), RowsOf(call.pixels));
}

INSTANTIATE_TEST_SUITE_P(RotateBitmap, RotateBitmapCheck, testing::ValuesIn(kSpoiltCalls),
                         [](const auto& call) { return std::string(call.param.name); });

TEST(RotateBitmap, OutermostPivotsAndTwoRowMaskAreAccepted)
{
    for (PointRec pivot : {PointRec{0, 0}, PointRec{3, 2}}) {
        Call call;
        Bitmap out;
        call.dest = &out.rec;
        call.pivot = pivot;
        call.mask->top = 1;
        EXPECT_EQ(0, call.Run());
        EXPECT_EQ(4, out.rec.biWidth);
        EXPECT_EQ(3, out.rec.biHeight);
    }
}

TEST(RotateBitmap, FailureInsideTheRotationReturns0AndLeavesDestAlone)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 interpolation : {1, 2, 3}) {
            Bitmap source(4, 3, bits);
            Call call;
            call.source = &source.rec;
            call.width = call.height = std::numeric_limits<sint32>::max();
            call.interpolation = interpolation;
            EXPECT_EQ(0, call.Run());
            EXPECT_TRUE(test::SameRecord(Sentinel(), call.kept));
        }
}

TEST(RotateBitmap, EarlierContentOfDestIsOverwrittenNotReleased)
{
    Bitmap source(Ramp(3, 3)), earlier(Ramp(2, 2)), out;
    out.rec = earlier.rec;
    Rotate(source, Mask(source), {3, 3, {1, 1}, 0.0, kNearest}, out);
    EXPECT_EQ(Ramp(3, 3), RowsOf(out));
    EXPECT_EQ(Ramp(2, 2), RowsOf(earlier));
}

TEST(RotateBitmap, SourceIsOnlyRead)
{
    for (sint32 interpolation : {1, 2, 3}) {
        Bitmap source(Ramp(5, 4)), out;
        const BitmapRec before = source.rec;
        Rotate(source, Mask(source), {6, 6, {2, 2}, 0.4, interpolation}, out);
        EXPECT_TRUE(test::SameRecord(before, source.rec));
        EXPECT_EQ(Ramp(5, 4), RowsOf(source));
    }
}

TEST(RotateBitmap, ResultHasPackedRowsWhateverTheStrideOfTheSource)
{
    const sint32 packed[][2] = {{1, 2}, {8, 9}, {24, 27}};
    for (const auto& [bits, bytes] : packed) {
        Bitmap source(9, 4, bits, 255, 1), out;
        Rotate(source, Mask(source), {9, 5, {4, 2}, 0.0, kNearest}, out);
        EXPECT_EQ(bytes, out.rec.BytesPerLine);
        EXPECT_EQ(5 * bytes, out.rec.bfSize);
        EXPECT_EQ(bits, out.rec.biBitCount);
    }
}

/* Stride 100 for rows of four bytes; what lies between the rows is never seen, not even as a neighbour. */
TEST(RotateBitmap, StrideLargerThanNeededIsFollowed)
{
    Bytes pixels(3 * 100, 77);
    uint8* lines[] = {&pixels[0], &pixels[100], &pixels[200]};
    for (uint8 row = 0; row < 3; ++row)
        for (uint8 col = 0; col < 4; ++col) lines[row][col] = static_cast<uint8>(10 * row + col);
    BitmapRec source = {4, 3, 8, 300, 100, lines, pixels.data()};
    uint8 color[] = {kGround};
    for (sint32 interpolation : {1, 2, 3}) {
        Bitmap plain(Ramp(4, 3)), expected, out;
        Mask mask(plain);
        const Turn turn = {7, 6, {2, 1}, 0.3, interpolation};
        Rotate(plain, mask, turn, expected);
        ASSERT_EQ(0, RotateBitmap(&source, &out.rec, &mask.rec, turn.angle, turn.pivot, turn.width, turn.height,
                                  interpolation, color));
        EXPECT_EQ(RowsOf(expected), RowsOf(out));
    }
}

/* Only the centre has an offset that is a number: 0 in both directions, whatever the angle. */
TEST(RotateBitmap, NotANumberAsAngleLeavesBackgroundAroundTheCentre)
{
    for (Real64 angle : {std::numeric_limits<Real64>::quiet_NaN(), std::numeric_limits<Real64>::infinity()})
        for (sint32 interpolation : {1, 2, 3}) {
            Rows expected(5, Bytes(6, kGround));
            EXPECT_EQ(expected, Rotated(Ramp(6, 6), Mask(0, 1, 0, 5), {6, 5, {2, 2}, angle, interpolation}));
            expected[2][2] = interpolation == kNearest ? 22 : 33;
            EXPECT_EQ(expected, Rotated(Ramp(6, 6), {6, 5, {2, 2}, angle, interpolation}));
        }
}

TEST(RotateBitmap, NotANumberAsAngleLeavesAOneBitImageAsPainted)
{
    Bitmap source(6, 6, 1), out;
    Rotate(source, Mask(0, 1, 0, 5), {6, 5, {2, 2}, std::numeric_limits<Real64>::quiet_NaN(), kNearest}, out,
           {255});
    EXPECT_EQ(std::vector<std::string>(5, "######"), BitsOf(out));
}

/* Columns -19 to 21 of an image of 3: six columns beyond the edge repeat it; beyond its border of 8 nothing is read. */
TEST(RotateBitmap, SpansThatLeaveTheImageNeverLeaveMemory)
{
    const sint32 far = std::numeric_limits<sint32>::max();
    for (sint32 bits : {8, 24})
        for (sint32 interpolation : {1, 2, 3}) {
            Bitmap source(3, 3, bits, 50), out;
            for (sint32 row = 0; row < 3; ++row) source.SetGray(row, 2, 70);
            Rotate(source, Mask(0, 2, -far, far), {41, 3, {1, 1}, 0.0, interpolation}, out);
            for (sint32 row = 0; row < 3; ++row) {
                const Bytes line = RowsOf(out)[static_cast<size_t>(row)];
                EXPECT_EQ(Bytes(19, kGround), Bytes(line.begin(), line.begin() + 19));
                EXPECT_EQ(Bytes(7, 70), Bytes(line.begin() + 21, line.begin() + 28));
                EXPECT_EQ(Bytes(11, kGround), Bytes(line.begin() + 30, line.end()));
            }
        }
}

TEST(RotateBitmap, SpansThatLeaveTheImageNeverLeaveMemoryAtAnyAngle)
{
    const sint32 far = std::numeric_limits<sint32>::max();
    for (sint32 bits : {1, 8, 24})
        for (sint32 interpolation : {1, 2, 3})
            for (Real64 angle : {0.5, 1.5, 3.0, 4.0, 6.0}) {
                Bitmap source(5, 4, bits, 0), out;
                Rotate(source, Mask(0, 3, -far, far), {60, 60, {4, 3}, angle, interpolation}, out, {255, 255, 255});
                EXPECT_EQ(0u, out.At(29, 29));
                EXPECT_NE(0u, out.At(0, 0));
            }
}

TEST(RotateBitmap, OneBitSpanThatLeavesTheImageRepeatsTheEdge)
{
    Bitmap source(3, 3, 1, 0), out;
    Rotate(source, Mask(0, 2, -9, 9000), {41, 3, {1, 1}, 0.0, kNearest}, out, {255});
    const std::string ground(19, '#');
    EXPECT_EQ(std::vector<std::string>(3, ground + std::string(11, '.') + std::string(11, '#')), BitsOf(out));
}

/* ======== Nearest neighbour ======== */

TEST(Rotate8bitsPicNearby, Angle0AboutTheCentreCopies)
{
    EXPECT_EQ(Ramp(5, 3), Rotated(Ramp(5, 3), {5, 3, {2, 1}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, OutsideTheSpansKeepsBackground)
{
    const Mask mask(1, {{1, 3}, {0, 0}, {4, 9}, {3, 2}});
    constexpr uint8 g = kGround;
    EXPECT_EQ((Rows{{g, g, g, g, g},
                    {g, 11, 12, 13, g},
                    {20, g, g, g, g},
                    {g, g, g, g, 34},
                    {g, g, g, g, g},
                    {g, g, g, g, g}}),
              Rotated(Ramp(5, 6), mask, {5, 6, {2, 2}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, OddSizesHaveNothingExtra)
{
    EXPECT_EQ((Rows{{13, 14, 15, 16, 17}, {23, 24, 25, 26, 27}, {33, 34, 35, 36, 37}}),
              Rotated(Ramp(9, 6), {5, 3, {5, 2}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, EvenWidthHasOneColumnMoreOnTheRight)
{
    EXPECT_EQ((Rows{{13, 14, 15, 16, 17, 18}, {23, 24, 25, 26, 27, 28}, {33, 34, 35, 36, 37, 38}}),
              Rotated(Ramp(9, 6), {6, 3, {5, 2}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, EvenHeightHasOneRowMoreAtTheEnd)
{
    EXPECT_EQ((Rows{{14, 15, 16}, {24, 25, 26}, {34, 35, 36}, {44, 45, 46}}),
              Rotated(Ramp(9, 6), {3, 4, {5, 2}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, EvenSizesHaveAnExtraCorner)
{
    EXPECT_EQ((Rows{{15, 16}, {25, 26}}), Rotated(Ramp(9, 6), {2, 2, {5, 1}, 0.0, kNearest}));
    EXPECT_EQ((Rows{{14, 15, 16, 17}, {24, 25, 26, 27}, {34, 35, 36, 37}, {44, 45, 46, 47}}),
              Rotated(Ramp(9, 6), {4, 4, {5, 2}, 0.0, kNearest}));
}

TEST(Rotate8bitsPicNearby, SinglePixelIsThePivot)
{
    EXPECT_EQ((Rows{{43}}), Rotated(Ramp(9, 6), {1, 1, {3, 4}, 0.7, kNearest}));
}

TEST(Rotate8bitsPicNearby, LargerOutputIsFilledAroundTheImage)
{
    constexpr uint8 g = kGround;
    EXPECT_EQ((Rows{{g, g, g, g, g}, {g, 0, 1, g, g}, {g, 10, 11, g, g}, {g, g, g, g, g}}),
              Rotated(Ramp(2, 2), {5, 4, {1, 0}, 0.0, kNearest}));
}

/*
 * cos 0.8776, sin 0.4794: a step to the right goes 0.88 columns on and 0.48 rows back in the source. Offsets are
 * truncated.
 */
TEST(Rotate8bitsPicNearby, PositiveAngleTurnsColumnsTowardsRows)
{
    EXPECT_EQ((Rows{{31, 22, 23, 13, 13},
                    {31, 32, 33, 23, 24},
                    {32, 33, 33, 33, 34},
                    {42, 43, 33, 34, 35},
                    {53, 53, 43, 44, 35}}),
              Rotated(Ramp(7, 7), {5, 5, {3, 3}, 0.5, kNearest}));
}

TEST(Rotate8bitsPicNearby, NegativeAngleTurnsRowsTowardsColumns)
{
    EXPECT_EQ((Rows{{13, 13, 23, 24, 35},
                    {22, 23, 33, 34, 35},
                    {32, 33, 33, 33, 34},
                    {31, 32, 33, 43, 44},
                    {31, 42, 43, 53, 53}}),
              Rotated(Ramp(7, 7), {5, 5, {3, 3}, -0.5, kNearest}));
}

TEST(Rotate8bitsPicNearby, EvenSizesUnderAnAngle)
{
    /* the 5 x 5 output without its first row and column */
    EXPECT_EQ((Rows{{32, 33, 23, 24}, {33, 33, 33, 34}, {43, 33, 34, 35}, {53, 43, 44, 35}}),
              Rotated(Ramp(7, 7), {4, 4, {3, 3}, 0.5, kNearest}));
}

TEST(Rotate8bitsPicNearby, MaskHoldsInSourceCoordinates)
{
    constexpr uint8 g = kGround;
    EXPECT_EQ((Rows{{g, 22, 23, g, g}, {g, 32, 33, 23, g}, {32, 33, 33, 33, g}, {g, g, 33, g, g}, {g, g, g, g, g}}),
              Rotated(Ramp(7, 7), Mask(2, 3, 2, 3), {5, 5, {3, 3}, 0.5, kNearest}));
}

/* sin 0.8833, cos 0.4687: the first row lies 10.6 columns and 5.6 rows from the pivot. */
TEST(Rotate8bitsPicNearby, OffsetsAreTruncatedTowardThePivot)
{
    const Turn turn = {1, 25, {10, 5}, std::asin(10.6 / 12), kNearest};
    Bytes cols(21);
    for (uint8 col = 0; col < 21; ++col) cols[col] = col;
    EXPECT_EQ((Rows{{0},  {1},  {2},  {3},  {3},  {4},  {5},  {6},  {7},  {8},  {9},  {10}, {10},
                    {10}, {11}, {12}, {13}, {14}, {15}, {16}, {17}, {17}, {18}, {19}, {20}}),
              Rotated(Repeat(cols, 11), turn));
    Rows rows;
    for (uint8 row = 0; row < 11; ++row) rows.emplace_back(21, row);
    EXPECT_EQ((Rows{{0}, {0}, {1}, {1}, {2}, {2}, {3}, {3}, {4}, {4}, {5},  {5}, {5},
                    {5}, {5}, {6}, {6}, {7}, {7}, {8}, {8}, {9}, {9}, {10}, {10}}),
              Rotated(rows, turn));
}

/* An offset of -0.6 is truncated to 0, so that even column 0 is sampled from half a pixel outside the image. */
TEST(Rotate8bitsPicNearby, OffsetBetweenMinus1And0SamplesThePivot)
{
    EXPECT_EQ((Rows{{50, 50, 50}}), Rotated(Repeat({50, 60, 70}, 3), {3, 1, {0, 0}, std::acos(0.6), kNearest}));
}

/* 0.1 added up ten times stays below 1, ten times 0.1 does not. */
TEST(Rotate8bitsPicNearby, OffsetsAreSumsNotProducts)
{
    const Real64 angle = std::acos(0.1);
    Real64 sum = 0.0;
    for (int k = 0; k < 10; ++k) sum += std::cos(angle);
    ASSERT_LT(sum, 1.0);
    ASSERT_GE(10 * std::cos(angle), 1.0);
    Bytes cols(21);
    for (uint8 col = 0; col < 21; ++col) cols[col] = col;
    const Rows out = Rotated(Repeat(cols, 20), {21, 1, {10, 9}, angle, kNearest});
    EXPECT_EQ(10, out[0][20]);
    EXPECT_EQ(10, out[0][0]);
}

TEST(Rotate24bitsPicNearby, CopiesWholePixelsAndPaintsThreeBytes)
{
    Bitmap source(3, 3, 24), out;
    for (sint32 row = 0; row < 3; ++row)
        for (sint32 col = 0; col < 3; ++col)
            source.SetColor(row, col, static_cast<uint8>(10 * row + col), static_cast<uint8>(100 + 10 * row + col),
                            static_cast<uint8>(200 + 10 * row + col));
    Rotate(source, Mask(0, 1, 1, 2), {4, 3, {1, 1}, 0.0, kNearest}, out, {7, 8, 9});
    EXPECT_EQ((Rows{{7, 1, 2, 7}, {7, 11, 12, 7}, {7, 7, 7, 7}}), RowsOf(out, 0));
    EXPECT_EQ((Rows{{8, 101, 102, 8}, {8, 111, 112, 8}, {8, 8, 8, 8}}), RowsOf(out, 1));
    EXPECT_EQ((Rows{{9, 201, 202, 9}, {9, 211, 212, 9}, {9, 9, 9, 9}}), RowsOf(out, 2));
}

/* ======== Bilinear ======== */

/*
 * At angle 0 the mirrored pixels, which go left of the centre and win in the centre column from the centre down, take
 * the tenths 0 and 10 of their forward pixels: one column and one row too far.
 */
const Rows kShiftedQuadrants = {
    {11, 12, 2, 3, 4}, {21, 22, 12, 13, 14}, {31, 32, 33, 23, 24}, {41, 42, 43, 33, 34}, {51, 52, 53, 43, 44}};
const Rows kShiftedQuadrantsEven = {{11, 12, 2, 3, 4, 5},     {21, 22, 12, 13, 14, 15}, {31, 32, 33, 23, 24, 25},
                                    {41, 42, 43, 33, 34, 35}, {51, 52, 53, 43, 44, 45}, {61, 62, 63, 53, 54, 55}};

TEST(Rotate8bitsPicBilinear, Angle0ShiftsTheMirroredQuadrants)
{
    EXPECT_EQ(kShiftedQuadrants, Rotated(Ramp(6, 6), {5, 5, {2, 2}, 0.0, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, Angle0WithEvenSizesShiftsTheExtraRowToo)
{
    EXPECT_EQ(kShiftedQuadrantsEven, Rotated(Ramp(7, 7), {6, 6, {2, 2}, 0.0, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, MirroredPixelWithRejectedPartnerIsExact)
{
    constexpr uint8 g = kGround;
    EXPECT_EQ((Rows{{0, 1, g, g, g}, {10, 11, g, g, g}, {20, 21, g, g, g}, {30, 31, g, g, g}, {40, 41, g, g, g}}),
              Rotated(Ramp(6, 6), Mask(0, 5, 0, 1), {5, 5, {2, 2}, 0.0, kBilinear}));
}

/*
 * The centre column below the centre is written twice, as a forward pixel and then as the mirror of the pixel above
 * the centre. With the upper half masked out the second writing is exact; in the extra row it still is not.
 */
TEST(Rotate8bitsPicBilinear, MirroredPixelOfTheOtherHalfIsWrittenLast)
{
    constexpr uint8 g = kGround;
    EXPECT_EQ((Rows{{g, g, g}, {32, 33, 23}, {31, 32, 33}, {52, 53, 43}}),
              Rotated(Ramp(6, 6), Mask(2, 5, 0, 5), {3, 4, {2, 2}, 0.0, kBilinear}));
}

/* One column of 0, 10, 50, 100, 200 each; cos 0.75, sin 0.6614: tenths 7 and 3 for the pixel right of the centre. */
const Bytes kSlope = {0, 10, 50, 100, 200};
const Real64 kSlopeAngle = std::acos(0.75);

TEST(Rotate8bitsPicBilinear, MirroredPixelReusesTheTenthsOfItsPartner)
{
    /* left: 7 tenths of 10 and 3 of 50, where its own point would get 8 and 2 */
    EXPECT_EQ((Rows{{22, 100, 85}}), Rotated(Repeat(kSlope, 5), {3, 1, {2, 2}, kSlopeAngle, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, MirroredPixelWithRejectedPartnerHasItsOwnTenths)
{
    EXPECT_EQ((Rows{{18, kGround, kGround}}),
              Rotated(Repeat(kSlope, 5), Mask(0, 4, 0, 1), {3, 1, {2, 2}, kSlopeAngle, kBilinear}));
}

/* Centre column: a forward pixel last above the centre (26 as the mirrored one), a mirrored below (80 as forward). */
TEST(Rotate8bitsPicBilinear, ExtraColumnIsForwardAndTheCentreColumnIsWrittenInOrder)
{
    EXPECT_EQ((Rows{{22, 50}, {100, 85}, {85, 140}}),
              Rotated(Repeat(kSlope, 5), {2, 3, {2, 2}, kSlopeAngle, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, ExtraRowMirrorsWithTheTenthsOfTheWrongPartner)
{
    EXPECT_EQ((Rows{{22, 100, 85}, {34, 70, 140}}),
              Rotated(Repeat(kSlope, 5), {3, 2, {2, 2}, kSlopeAngle, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, ExtraRowMirrorsWithItsOwnTenthsAfterARejectedPixel)
{
    EXPECT_EQ((Rows{{22, 100, 85}, {46, 70, kGround}}),
              Rotated(Repeat(kSlope, 5), Mask(0, 4, 0, 2), {3, 2, {2, 2}, kSlopeAngle, kBilinear}));
}

TEST(Rotate8bitsPicBilinear, ExtraCornerIsForward)
{
    EXPECT_EQ((Rows{{100, 85}, {70, 140}}), Rotated(Repeat(kSlope, 5), {2, 2, {2, 2}, kSlopeAngle, kBilinear}));
}

/* Row 0 right of the centre is made of forward pixels. */
TEST(Rotate8bitsPicBilinear, WholeNumberedPointRaises222To229)
{
    const Rows pixels = Repeat({220, 221, 222, 223, 224, 225, 226, 227, 228, 229, 230, 231}, 4);
    const Bytes row = Rotated(pixels, {25, 3, {0, 1}, 0.0, kBilinear})[0];
    EXPECT_EQ((Bytes{220, 221, 224, 225, 226, 227, 228, 229, 230, 230, 230, 231}),
              Bytes(row.begin() + 12, row.begin() + 24));
    EXPECT_EQ(kGround, row[24]);
}

/* x = 3.96: one tenth of 100 and nine of 200. */
TEST(Rotate8bitsPicBilinear, FractionIsTruncatedToTenths)
{
    EXPECT_EQ(190, Rotated(Repeat({0, 0, 0, 100, 200}, 5), {3, 1, {3, 2}, std::acos(0.96), kBilinear})[0][2]);
}

TEST(Rotate8bitsPicBilinear, PointLeftOfColumn0IsRejected)
{
    EXPECT_EQ((Rows{{kGround, 100, 100}}),
              Rotated(Repeat({100, 100}, 5), {3, 1, {0, 2}, std::acos(0.52), kBilinear}));
    EXPECT_EQ((Rows{{kGround}, {100}, {100}}),
              Rotated(Repeat({100, 100}, 5), {1, 3, {0, 2}, std::acos(0.52), kBilinear}));
}

TEST(Rotate8bitsPicBilinear, PointAboveRow0IsRejected)
{
    EXPECT_EQ((Rows{{100, 100, kGround}}),
              Rotated(Repeat({100, 100, 100, 100, 100}, 3), {3, 1, {2, 0}, std::acos(0.52), kBilinear}));
    EXPECT_EQ((Rows{{kGround}, {100}, {100}}),
              Rotated(Repeat({100, 100, 100, 100, 100}, 3), {1, 3, {2, 0}, std::acos(0.52), kBilinear}));
}

TEST(Rotate8bitsPicBilinear, WhiteDarkensByOneAtHalfAPixel)
{
    EXPECT_EQ((Rows{{254, 255, 254}}), Rotated(Rows(5, Bytes(5, 255)), {3, 1, {2, 2}, std::acos(0.52), kBilinear}));
}

TEST(Rotate8bitsPicBilinear, LastColumnOfASpanIsBlendedWithWhatLiesOutside)
{
    EXPECT_EQ(150, Rotated(Repeat({10, 20, 100, 200, 0}, 5), Mask(0, 4, 0, 2),
                           {3, 1, {2, 2}, std::acos(0.52), kBilinear})[0][2]);
}

TEST(Rotate8bitsPicBilinear, LastColumnOfTheImageIsBlendedWithItself)
{
    Bitmap source(Repeat({10, 20, 100}, 5), 1), out;
    for (sint32 row = 0; row < 5; ++row) source.rec.ScanLine[row][3] = 255;
    Rotate(source, Mask(source), {3, 1, {2, 2}, std::acos(0.52), kBilinear}, out);
    EXPECT_EQ(100u, out.At(0, 2));
}

/* x = 4.52, y = 3.146: five tenths, then one; rows first would give 141. */
TEST(Rotate8bitsPicBilinear, RowsAreBlendedAfterColumns)
{
    Rows pixels(6, Bytes(6, 0));
    pixels[3] = {0, 0, 0, 0, 100, 200};
    pixels[4] = {0, 0, 0, 0, 50, 60};
    /* 50 + 100 above, 25 + 30 below; then nine tenths of 150 and one of 55, 135 + 5 */
    EXPECT_EQ(140, Rotated(pixels, {3, 1, {4, 4}, std::acos(0.52), kBilinear})[0][2]);
}

/* ======== Cubic ======== */

TEST(Rotate8bitsPicCubic, Angle0ShiftsTheMirroredQuadrants)
{
    EXPECT_EQ(kShiftedQuadrants, Rotated(Ramp(6, 6), {5, 5, {2, 2}, 0.0, kCubic}));
}

TEST(Rotate8bitsPicCubic, Angle0WithEvenSizesShiftsTheExtraRowToo)
{
    EXPECT_EQ(kShiftedQuadrantsEven, Rotated(Ramp(7, 7), {6, 6, {2, 2}, 0.0, kCubic}));
}

TEST(Rotate8bitsPicCubic, WholeNumberedPointIsExactForEveryValue)
{
    Bytes values(256);
    for (size_t k = 0; k < 256; ++k) values[k] = static_cast<uint8>(k);
    const Bytes row = Rotated(Repeat(values, 4), {513, 3, {0, 1}, 0.0, kCubic})[0];
    EXPECT_EQ(values, Bytes(row.begin() + 256, row.begin() + 512));
}

TEST(Rotate8bitsPicCubic, MirroredPixelReusesTheTenthsOfItsPartner)
{
    EXPECT_EQ((Rows{{19, 100, 71}}), Rotated(Repeat(kSlope, 5), {3, 1, {2, 2}, kSlopeAngle, kCubic}));
}

TEST(Rotate8bitsPicCubic, MirroredPixelWithRejectedPartnerHasItsOwnTenths)
{
    EXPECT_EQ((Rows{{17, kGround, kGround}}),
              Rotated(Repeat(kSlope, 5), Mask(0, 4, 0, 1), {3, 1, {2, 2}, kSlopeAngle, kCubic}));
}

TEST(Rotate8bitsPicCubic, ExtraRowMirrorsWithTheTenthsOfTheWrongPartner)
{
    EXPECT_EQ((Rows{{19, 100, 71}, {27, 65, 147}}),
              Rotated(Repeat(kSlope, 5), {3, 2, {2, 2}, kSlopeAngle, kCubic}));
}

TEST(Rotate8bitsPicCubic, ExtraRowMirrorsWithItsOwnTenthsAfterARejectedPixel)
{
    EXPECT_EQ((Rows{{19, 100, 71}, {42, 65, kGround}}),
              Rotated(Repeat(kSlope, 5), Mask(0, 4, 0, 2), {3, 2, {2, 2}, kSlopeAngle, kCubic}));
}

/* (10 * -128 + 100 * 640 + 200 * 640 + 50 * -128) >> 10 = 180, of which only 10 and 100 lie inside the span. */
TEST(Rotate8bitsPicCubic, LastColumnOfASpanReadsTwoColumnsBeyondIt)
{
    EXPECT_EQ(180, Rotated(Repeat({0, 10, 100, 200, 50, 0}, 5), Mask(0, 4, 0, 2),
                           {3, 1, {2, 2}, std::acos(0.52), kCubic})[0][2]);
}

TEST(Rotate8bitsPicCubic, LastColumnOfTheImageReadsItsCopies)
{
    /* (20 * -128 + 100 * (640 + 640 - 128)) >> 10 = 110; 110 * 1025 >> 10 = 110 */
    EXPECT_EQ(110, Rotated(Repeat({10, 20, 100}, 5), {3, 1, {2, 2}, std::acos(0.52), kCubic})[0][2]);
}

TEST(Rotate8bitsPicCubic, PointOutsideTheImageByAFractionIsRejected)
{
    EXPECT_EQ((Rows{{kGround, 100, 100}}), Rotated(Repeat({100, 100}, 5), {3, 1, {0, 2}, std::acos(0.52), kCubic}));
    EXPECT_EQ((Rows{{100, 100, kGround}}),
              Rotated(Repeat({100, 100, 100, 100, 100}, 3), {3, 1, {2, 0}, std::acos(0.52), kCubic}));
}

/* x = 2.35: the weights of three tenths sum to 1023; the rows are hit at no tenth. */
TEST(Rotate8bitsPicCubic, WeightsAreNotNormalised)
{
    EXPECT_EQ((Rows{{254, 255, 254}}), Rotated(Rows(5, Bytes(5, 255)), {3, 1, {2, 2}, std::acos(0.35), kCubic}));
}

/* x = 11.12, y = 2.1634 for the last pixel: one tenth both ways, rows 1 to 4 and columns 10 to 13. */
const Turn kOneTenth = {21, 1, {3, 8}, std::acos(0.812), kCubic};

TEST(Rotate8bitsPicCubic, White255AtOneTenthStaysWhite)
{
    EXPECT_EQ(255, Rotated(Rows(12, Bytes(16, 255)), kOneTenth)[0][20]);
}

/* 255 * -83 >> 10 = -21, and 255 * 1005 >> 10 = 250; (-21 * -83 + 250 * 1005) >> 10 = 247, but 246 with -20. */
TEST(Rotate8bitsPicCubic, NegativeRowSumIsShiftedTowardMinusInfinity)
{
    Rows pixels(12, Bytes(16, 0));
    pixels[1][10] = 255;
    pixels[2][11] = 255;
    EXPECT_EQ(247, Rotated(pixels, kOneTenth)[0][20]);
}

/* x = 11.585, y = 4.5147 for the last pixel: five tenths both ways, rows 3 to 6 and columns 10 to 13. */
const Turn kFiveTenths = {11, 1, {8, 8}, std::acos(0.717), kCubic};

/* Row sums -64 and 318: 640 * (-64 + 318) >> 10 = 158; clamped between the passes they would give 159. */
TEST(Rotate8bitsPicCubic, RowSumsAreNotClamped)
{
    Rows pixels(16, Bytes(16, 0));
    pixels[4][10] = pixels[4][13] = 255;
    pixels[5][11] = pixels[5][12] = 255;
    EXPECT_EQ(158, Rotated(pixels, kFiveTenths)[0][10]);
}

/* 100 * 640 >> 10 = 62, and 62 * (-128 + 640 + 640) >> 10 = 69; columns first would give 70. */
TEST(Rotate8bitsPicCubic, RowsAreSummedBeforeColumns)
{
    Rows pixels(16, Bytes(16, 0));
    pixels[3][11] = pixels[4][11] = pixels[5][11] = 100;
    EXPECT_EQ(69, Rotated(pixels, kFiveTenths)[0][10]);
}

TEST(Rotate8bitsPicCubic, SumAbove255IsClamped)
{
    EXPECT_EQ(255, Rotated(Repeat({0, 0, 255, 255, 0}, 5), {3, 1, {2, 2}, std::acos(0.52), kCubic})[0][2]);
}

TEST(Rotate8bitsPicCubic, SumBelow0IsClamped)
{
    EXPECT_EQ(0, Rotated(Repeat({0, 255, 0, 0, 255}, 5), {3, 1, {2, 2}, std::acos(0.52), kCubic})[0][2]);
}

/* ======== 24 bits: each channel like an 8-bit image ======== */

TEST(Rotate24bitsPicBilinear, Angle0ShiftsTheMirroredQuadrants)
{
    Bitmap source(6, 6, 24), out;
    for (sint32 row = 0; row < 6; ++row)
        for (sint32 col = 0; col < 6; ++col) source.SetGray(row, col, static_cast<uint8>(10 * row + col));
    Rotate(source, Mask(source), {5, 5, {2, 2}, 0.0, kBilinear}, out);
    for (int channel : {0, 1, 2}) EXPECT_EQ(kShiftedQuadrants, RowsOf(out, channel));
}

TEST(Rotate24bitsPicCubic, Angle0ShiftsTheMirroredQuadrants)
{
    Bitmap source(6, 6, 24), out;
    for (sint32 row = 0; row < 6; ++row)
        for (sint32 col = 0; col < 6; ++col) source.SetGray(row, col, static_cast<uint8>(10 * row + col));
    Rotate(source, Mask(source), {5, 5, {2, 2}, 0.0, kCubic}, out);
    for (int channel : {0, 1, 2}) EXPECT_EQ(kShiftedQuadrants, RowsOf(out, channel));
}

TEST(RotateBitmap, ColorChannelsAreRotatedLikeThreeGreyImages)
{
    const Rows channels[] = {Noise(13, 11, 1), Noise(13, 11, 2), Noise(13, 11, 3)};
    Bitmap source(13, 11, 24);
    for (sint32 row = 0; row < 11; ++row)
        for (sint32 col = 0; col < 13; ++col) {
            const size_t r = static_cast<size_t>(row), c = static_cast<size_t>(col);
            source.SetColor(row, col, channels[0][r][c], channels[1][r][c], channels[2][r][c]);
        }
    const Mask mask(1, {{2, 12}, {0, 12}, {1, 11}, {0, 9}, {3, 12}, {0, 12}, {2, 8}, {1, 10}});
    for (sint32 interpolation : {1, 2, 3})
        for (sint32 size : {10, 15}) {
            const Turn turn = {size, size, {6, 5}, 0.37, interpolation};
            Bitmap out;
            Rotate(source, mask, turn, out);
            for (int channel : {0, 1, 2}) EXPECT_EQ(Rotated(channels[channel], mask, turn), RowsOf(out, channel));
        }
}

/* ======== One bit ======== */

TEST(Rotate1bitsPicNearby, Angle0AboutTheCentreCopies)
{
    Bitmap source(19, 2, 1), out;
    DrawBits(source, {"#..##.#.#.###.#..#.", ".##..###.#...#.#.##"});
    Rotate(source, Mask(source), {19, 2, {9, 0}, 0.0, kNearest}, out, {255});
    EXPECT_EQ(BitsOf(source), BitsOf(out));
}

TEST(Rotate1bitsPicNearby, ClearColorYieldsAllClear)
{
    Bitmap source(12, 5, 1, 255), out;
    Rotate(source, Mask(source), {12, 6, {6, 2}, 0.2, kNearest}, out, {0});
    EXPECT_EQ(std::vector<std::string>(6, "............"), BitsOf(out));
}

TEST(Rotate1bitsPicNearby, ClearPageIsClearExactlyWhereTheMaskAccepts)
{
    Bitmap source(7, 7, 1), out;
    Rotate(source, Mask(2, 3, 2, 3), {5, 5, {3, 3}, 0.5, kNearest}, out, {255});
    EXPECT_EQ((std::vector<std::string>{"#..##", "#...#", "....#", "##.##", "#####"}), BitsOf(out));
}

/* 0xA5 in every byte; the page shows as cleared bits only. */
TEST(Rotate1bitsPicNearby, PatternedColorShowsThroughSetPixels)
{
    Bitmap source(10, 4, 1), out;
    DrawBits(source, {"##########", "..........", "#.#.#.#.#.", "##########"});
    Rotate(source, Mask(0, 2, 0, 8), {10, 4, {4, 1}, 0.0, kNearest}, out, {0xA5});
    EXPECT_EQ((std::vector<std::string>{"#.#..#.##.", "..........", "#.#.....#.", "#.#..#.##."}), BitsOf(out));
}

TEST(Rotate1bitsPicNearby, EveryInterpolationIsNearestNeighbour)
{
    Bitmap source(7, 7, 1);
    DrawBits(source, {"#.#.#.#", ".##..#.", "###.#..", "..#.##.", "#..#..#", ".#.#.#.", "##..##."});
    Bitmap cubic, bilinear, nearest;
    Rotate(source, Mask(source), {8, 8, {3, 3}, 0.5, kCubic}, cubic, {255});
    Rotate(source, Mask(source), {8, 8, {3, 3}, 0.5, kBilinear}, bilinear, {255});
    Rotate(source, Mask(source), {8, 8, {3, 3}, 0.5, kNearest}, nearest, {255});
    EXPECT_EQ(BitsOf(nearest), BitsOf(bilinear));
    EXPECT_EQ(BitsOf(nearest), BitsOf(cubic));
}

/* The places are those of the 8-bit test of the same angle. */
TEST(Rotate1bitsPicNearby, PositiveAngleTurnsColumnsTowardsRows)
{
    for (sint32 row = 1; row < 6; ++row)
        for (sint32 col = 1; col < 6; ++col) {
            Bitmap source(7, 7, 1, 255), out;
            source.SetGray(row, col, 0);
            Rotate(source, Mask(source), {5, 5, {3, 3}, 0.5, kNearest}, out, {255});
            Rows expected = {{31, 22, 23, 13, 13},
                             {31, 32, 33, 23, 24},
                             {32, 33, 33, 33, 34},
                             {42, 43, 33, 34, 35},
                             {53, 53, 43, 44, 35}};
            for (Bytes& line : expected)
                for (uint8& place : line) place = place != 10 * row + col;
            EXPECT_EQ(expected, RowsOf(out)) << row << ", " << col;
        }
}

/* Every position of the centre within its byte, every position of the last column. */
TEST(Rotate1bitsPicNearby, EqualsTheEightBitRotationAtEveryWidth)
{
    const Rows pixels = Scatter(37, 23);
    Bitmap grey(pixels), bits(37, 23, 1);
    for (sint32 row = 0; row < 23; ++row)
        for (sint32 col = 0; col < 37; ++col) bits.SetGray(row, col, static_cast<uint8>(grey.At(row, col)));
    for (sint32 width = 1; width <= 34; ++width)
        for (sint32 height : {1, 2, 7, 8}) {
            Bitmap expected, out;
            const Turn turn = {width, height, {18, 11}, 0.3, kNearest};
            Rotate(grey, Mask(2, 20, 3, 33), turn, expected, {255});
            Rotate(bits, Mask(2, 20, 3, 33), turn, out, {255});
            Rows rows = RowsOf(expected);
            for (Bytes& row : rows)
                for (uint8& pixel : row) pixel = pixel != 0;
            EXPECT_EQ(rows, RowsOf(out)) << width << " x " << height;
        }
}

/* ======== The seven functions by themselves ======== */

namespace
{

struct RotatePicCase {
    const char* name;
    sint32 bits, interpolation;
    sint32 (*RotatePic)(BitmapRec*, BitmapRec*, RowSeckRec*, Real64, PointRec, sint32, sint32, uint8*);
};

void PrintTo(const RotatePicCase& rotation, std::ostream* stream) { *stream << rotation.name; }

class RotatePicTest : public testing::TestWithParam<RotatePicCase>
{
protected:
    /* The padded noise of 9 x 8 pixels, rotated. */
    sint32 Run(BitmapRec* dest, sint32 width, sint32 height)
    {
        const Rows pixels = Noise(9, 8, 5);
        for (sint32 row = 0; row < 8; ++row)
            for (sint32 col = 0; col < 9; ++col)
                source.SetGray(row, col, pixels[static_cast<size_t>(row)][static_cast<size_t>(col)] & 0xF0);
        Bitmap padded;
        EXPECT_EQ(0, AddBorderPointToBitmap(&source.rec, 8, 8, &padded.rec));
        return GetParam().RotatePic(&padded.rec, dest, &mask.rec, 0.37, {4, 4}, width, height, color);
    }

    Bitmap source{9, 8, GetParam().bits};
    Mask mask{0, 7, 0, 8};
    uint8 color[3] = {255, 20, 30};
};

} // namespace

TEST_P(RotatePicTest, IsTheOneThatTheDispatcherPicks)
{
    Bitmap direct, dispatched;
    ASSERT_EQ(0, Run(&direct.rec, 8, 7));
    ASSERT_EQ(0, RotateBitmap(&source.rec, &dispatched.rec, &mask.rec, 0.37, {4, 4}, 8, 7, GetParam().interpolation,
                              color));
    EXPECT_EQ(GetParam().bits, direct.rec.biBitCount);
    EXPECT_EQ(test::PackedPixels(direct.rec), test::PackedPixels(dispatched.rec));
}

TEST_P(RotatePicTest, SizeThatNoRecordHoldsIsReportedAndLeavesDestAlone)
{
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, Run(&dest, 0, 5));
    EXPECT_EQ(1, Run(&dest, 5, -1));
    EXPECT_EQ(5, Run(&dest, std::numeric_limits<sint32>::max(), std::numeric_limits<sint32>::max()));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

INSTANTIATE_TEST_SUITE_P(RotateBitmap, RotatePicTest,
                         testing::Values(RotatePicCase{"Rotate24bitsPicCubic", 24, 1, Rotate24bitsPicCubic},
                                         RotatePicCase{"Rotate24bitsPicBilinear", 24, 2, Rotate24bitsPicBilinear},
                                         RotatePicCase{"Rotate24bitsPicNearby", 24, 3, Rotate24bitsPicNearby},
                                         RotatePicCase{"Rotate8bitsPicCubic", 8, 1, Rotate8bitsPicCubic},
                                         RotatePicCase{"Rotate8bitsPicBilinear", 8, 2, Rotate8bitsPicBilinear},
                                         RotatePicCase{"Rotate8bitsPicNearby", 8, 3, Rotate8bitsPicNearby},
                                         RotatePicCase{"Rotate1bitsPicNearby", 1, 3, Rotate1bitsPicNearby}),
                         [](const auto& rotation) { return std::string(rotation.param.name); });
