/*
 * Reading and writing pixels, the background estimate, the search for the page's rows, and the tracing of its
 * sides.
 */
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/SearchBitmapFrame.cpp"

namespace
{

BitmapRec Invalid(const test::Bitmap& image)
{
    BitmapRec rec = image.rec;
    rec.ScanLine = nullptr;
    return rec;
}

/* ======== Pixel readers ======== */

struct Reader {
    const char* name;
    GetDotColorFun read;
    sint32 bits;
};
const Reader kReaders[] = {{"GetBWBitmapDot", GetBWBitmapDot, 1},
                           {"GetGrayBitmapDot", GetGrayBitmapDot, 8},
                           {"GetColorBitmapDot", GetColorBitmapDot, 24}};

TEST(GetDotColorFun, NullBitmapReturns1)
{
    for (const Reader& reader : kReaders) {
        uint8 dot = 77;
        EXPECT_EQ(reader.read(nullptr, 0, 0, &dot), 1) << reader.name;
        EXPECT_EQ(dot, 77) << reader.name;
    }
}

TEST(GetDotColorFun, InvalidBitmapReturns12BeforeAnythingElseIsTested)
{
    for (const Reader& reader : kReaders) {
        const test::Bitmap image(10, 5, reader.bits);
        BitmapRec invalid = Invalid(image);
        uint8 dot = 77;
        EXPECT_EQ(reader.read(&invalid, 0, 0, &dot), 12) << reader.name;
        EXPECT_EQ(reader.read(&invalid, -1, -1, nullptr), 12) << reader.name;
        EXPECT_EQ(dot, 77) << reader.name;
    }
}

TEST(GetDotColorFun, NullDotValueReturns1)
{
    for (const Reader& reader : kReaders) {
        test::Bitmap image(10, 5, reader.bits);
        EXPECT_EQ(reader.read(&image.rec, 0, 0, nullptr), 1) << reader.name;
    }
}

TEST(GetDotColorFun, OtherDepthReturns1)
{
    for (const Reader& reader : kReaders) {
        for (const sint32 bits : {1, 8, 24}) {
            test::Bitmap image(10, 5, bits, 255);
            uint8 dot = 77;
            EXPECT_EQ(reader.read(&image.rec, 0, 0, &dot), bits == reader.bits ? 0 : 1) << reader.name << bits;
            EXPECT_EQ(dot, bits == reader.bits ? 255 : 77) << reader.name << bits;
        }
    }
}

TEST(GetDotColorFun, CoordinatesInsideAreReadAndOutsideReturn1)
{
    const PointRec inside[] = {{0, 0}, {9, 0}, {0, 4}, {9, 4}};
    const PointRec outside[] = {{-1, 0},      {10, 0},      {0, -1},      {0, 5},      {-1, 5},
                                {INT_MIN, 0}, {INT_MAX, 0}, {0, INT_MIN}, {0, INT_MAX}};
    for (const Reader& reader : kReaders) {
        test::Bitmap image(10, 5, reader.bits, 255);
        for (const PointRec at : inside) {
            uint8 dot = 77;
            EXPECT_EQ(reader.read(&image.rec, at.y, at.x, &dot), 0) << reader.name;
            EXPECT_EQ(dot, 255) << reader.name;
        }
        for (const PointRec at : outside) {
            uint8 dot = 77;
            EXPECT_EQ(reader.read(&image.rec, at.y, at.x, &dot), 1) << reader.name << at.x << " " << at.y;
            EXPECT_EQ(dot, 77) << reader.name;
        }
    }
}

TEST(GetBWBitmapDot, MostSignificantBitIsTheLeftmostPixel)
{
    test::Bitmap image(16, 2, 1);
    image.rec.ScanLine[1][0] = 0x80;
    image.rec.ScanLine[1][1] = 0x41;
    for (sint32 col = 0; col < 16; ++col) {
        uint8 dot = 77;
        ASSERT_EQ(GetBWBitmapDot(&image.rec, 1, col, &dot), 0);
        EXPECT_EQ(dot, col == 0 || col == 9 || col == 15 ? 255 : 0) << col;
    }
}

TEST(GetGrayBitmapDot, ReturnsTheByteWithoutToneCurve)
{
    test::Bitmap image({{0, 12, 255}, {1, 128, 254}});
    for (sint32 row = 0; row < 2; ++row) {
        for (sint32 col = 0; col < 3; ++col) {
            uint8 dot = 77;
            ASSERT_EQ(GetGrayBitmapDot(&image.rec, row, col, &dot), 0);
            EXPECT_EQ(dot, image.At(row, col));
        }
    }
}

uint8 ReadColor(uint8 blue, uint8 green, uint8 red)
{
    test::Bitmap image(3, 2, 24, 99);
    image.SetColor(1, 2, blue, green, red);
    uint8 dot = 77;
    EXPECT_EQ(GetColorBitmapDot(&image.rec, 1, 2, &dot), 0);
    return dot;
}

TEST(GetColorBitmapDot, RedIsNeverRead)
{
    EXPECT_EQ(ReadColor(0, 0, 255), 0);
    for (const uint8 red : test::Bytes{0, 1, 128, 255}) EXPECT_EQ(ReadColor(10, 100, red), 56) << int{red};
}

TEST(GetColorBitmapDot, GreenCarriesTheWeightOfRedToo)
{
    EXPECT_EQ(ReadColor(0, 255, 0), 213); /* (78075 + 153277) >> 10 = 225, cut from 225.9 */
    EXPECT_EQ(ReadColor(255, 0, 0), 10);  /* 29768 >> 10 = 29 */
    EXPECT_EQ(ReadColor(10, 100, 0), 56); /* (30618 + 60109 + 1167) >> 10 = 89 */
}

TEST(GetColorBitmapDot, GreyGoesThroughTheToneCurve)
{
    EXPECT_EQ(ReadColor(0, 0, 0), 0);
    EXPECT_EQ(ReadColor(12, 12, 12), 3); /* (3674 + 7213 + 1401) >> 10 = 12 */
    EXPECT_EQ(ReadColor(255, 255, 255), 255);
}

/* ======== Foreground deciders ======== */

TEST(DecideDividingDotBlackGround, OnlyBrighterThanTheMinimumIsPage)
{
    EXPECT_EQ(DecideDividingDotBlackGround(100, 0, 99), 0);
    EXPECT_EQ(DecideDividingDotBlackGround(100, 0, 100), 0);
    EXPECT_EQ(DecideDividingDotBlackGround(100, 0, 101), 1);
    EXPECT_EQ(DecideDividingDotBlackGround(255, 0, 255), 0);
}

TEST(DecideDividingDotBlackGround, MaximumIsIgnored)
{
    for (const sint32 Dividing_max : {0, 100, 101, 255}) {
        EXPECT_EQ(DecideDividingDotBlackGround(100, Dividing_max, 100), 0) << Dividing_max;
        EXPECT_EQ(DecideDividingDotBlackGround(100, Dividing_max, 101), 1) << Dividing_max;
    }
}

TEST(DecideDividingDotWhiteGround, OnlyStrictlyInsideTheBandIsGround)
{
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 0), 1);
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 91), 1);
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 92), 0);
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 108), 0);
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 109), 1);
    EXPECT_EQ(DecideDividingDotWhiteGround(91, 109, 255), 1);
}

/* ======== Pixel writers ======== */

const RGBColorRec kWhiteDot = {255, 255, 255};
const RGBColorRec kRedOnly = {0, 0, 1};
const RGBColorRec kNoRed = {255, 255, 0};

struct Writer {
    const char* name;
    sint32 (*write)(QL_Bitmap, sint32, sint32, RGBColorRec);
    sint32 bits;
};
const Writer kWriters[] = {{"SetBWBitmapDot", SetBWBitmapDot, 1},
                           {"SetGrayBitmapDot", SetGrayBitmapDot, 8},
                           {"SetColorBitmapDot", SetColorBitmapDot, 24}};

TEST(SetBitmapDot, NullOrInvalidBitmapReturns1)
{
    for (const Writer& writer : kWriters) {
        const test::Bitmap image(10, 5, writer.bits);
        BitmapRec invalid = Invalid(image);
        EXPECT_EQ(writer.write(nullptr, 0, 0, kWhiteDot), 1) << writer.name;
        EXPECT_EQ(writer.write(&invalid, 0, 0, kWhiteDot), 1) << writer.name;
    }
}

TEST(SetBitmapDot, OtherDepthOrCoordinatesOutsideReturn1AndWriteNothing)
{
    const PointRec outside[] = {{-1, 0}, {64, 0}, {0, -1}, {0, 5}, {INT_MAX, 0}, {0, INT_MIN}};
    for (const Writer& writer : kWriters) {
        for (const sint32 bits : {1, 8, 24}) {
            test::Bitmap image(64, 5, bits);
            const test::Bytes before = test::PackedPixels(image.rec);
            if (bits != writer.bits) {
                EXPECT_EQ(writer.write(&image.rec, 0, 0, kWhiteDot), 1) << writer.name << bits;
            }
            for (const PointRec at : outside) {
                EXPECT_EQ(writer.write(&image.rec, at.y, at.x, kWhiteDot), 1) << writer.name << at.x << " " << at.y;
            }
            EXPECT_EQ(test::PackedPixels(image.rec), before) << writer.name;
        }
    }
}

TEST(SetColorBitmapDot, WritesBlueGreenRedIntoThePixel)
{
    test::Bitmap image(3, 2, 24, 9);
    EXPECT_EQ(SetColorBitmapDot(&image.rec, 1, 1, {10, 20, 30}), 0);
    const test::Bytes expected = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 10, 20, 30, 9, 9, 9};
    EXPECT_EQ(test::PackedPixels(image.rec), expected);
}

TEST(SetGrayBitmapDot, WritesTheRedComponent)
{
    test::Bitmap image({{1, 2, 3}, {4, 5, 6}});
    EXPECT_EQ(SetGrayBitmapDot(&image.rec, 1, 2, {10, 20, 30}), 0);
    EXPECT_EQ(test::PackedPixels(image.rec), (test::Bytes{1, 2, 3, 4, 5, 30}));
}

TEST(SetBWBitmapDot, SetsTheBitOfTheColumnInTheByteOfTheColumn)
{
    test::Bitmap image(64, 1, 1);
    for (sint32 col = 0; col < 8; ++col) EXPECT_EQ(SetBWBitmapDot(&image.rec, 0, col, kRedOnly), 0);
    EXPECT_EQ(test::PackedPixels(image.rec), (test::Bytes{128, 64, 32, 16, 8, 4, 2, 1}));
}

TEST(SetBWBitmapDot, ClearsTheBitOfTheColumnInTheByteOfTheColumnWithoutRed)
{
    test::Bitmap image(64, 1, 1, 255);
    for (sint32 col = 0; col < 8; ++col) EXPECT_EQ(SetBWBitmapDot(&image.rec, 0, col, kNoRed), 0);
    EXPECT_EQ(test::PackedPixels(image.rec), (test::Bytes{127, 191, 223, 239, 247, 251, 253, 254}));
}

TEST(SetBWBitmapDot, ColumnsFrom8OnHaveNoMaskAndReturn1)
{
    test::Bitmap image(64, 1, 1);
    EXPECT_EQ(SetBWBitmapDot(&image.rec, 0, 8, kWhiteDot), 1);
    EXPECT_EQ(SetBWBitmapDot(&image.rec, 0, 63, kWhiteDot), 1);
    EXPECT_EQ(test::PackedPixels(image.rec), test::Bytes(8, 0));
}

/* ======== CalculateDividingPoint ======== */

uint8 DividingValueOf(test::Bitmap& image)
{
    uint8 value = 77;
    EXPECT_EQ(CalculateDividingPoint(&image.rec, &value), 0);
    return value;
}

TEST(CalculateDividingPoint, NullPointersReturn1)
{
    test::Bitmap image(4, 4, 8, 50);
    BitmapRec invalid = Invalid(image);
    uint8 value = 77;
    EXPECT_EQ(CalculateDividingPoint(nullptr, &value), 1);
    EXPECT_EQ(CalculateDividingPoint(&image.rec, nullptr), 1);
    EXPECT_EQ(CalculateDividingPoint(&invalid, nullptr), 1);
    EXPECT_EQ(CalculateDividingPoint(nullptr, nullptr), 1);
    EXPECT_EQ(value, 77);
}

TEST(CalculateDividingPoint, InvalidBitmapReturns12AndLeavesTheValue)
{
    const test::Bitmap image(4, 4, 8, 50);
    BitmapRec invalid = Invalid(image);
    uint8 value = 77;
    EXPECT_EQ(CalculateDividingPoint(&invalid, &value), 12);
    invalid.biWidth = INT_MIN;
    EXPECT_EQ(CalculateDividingPoint(&invalid, &value), 12);
    EXPECT_EQ(value, 77);
}

TEST(CalculateDividingPoint, OnePixelWideReturns1AndLeavesTheValue)
{
    for (const sint32 bits : {1, 8, 24}) {
        test::Bitmap image(1, 4, bits, 255);
        uint8 value = 77;
        EXPECT_EQ(CalculateDividingPoint(&image.rec, &value), 1) << bits;
        EXPECT_EQ(value, 77) << bits;
    }
}

TEST(CalculateDividingPoint, TwoPixelsWideSamplesBothColumnsTwice)
{
    test::Bitmap image({{10, 13}});
    EXPECT_EQ(DividingValueOf(image), 12); /* 46 / 4 = 11.5 */
}

TEST(CalculateDividingPoint, ThreePixelsWideSamplesTheMiddleColumnTwice)
{
    test::Bitmap image({{10, 20, 42}});
    EXPECT_EQ(DividingValueOf(image), 23); /* 92 / 4 */
}

TEST(CalculateDividingPoint, OnlyTheTwoOutermostColumnsOfEachSideCount)
{
    test::Bitmap image({{10, 20, 255, 255, 30, 40}, {50, 60, 255, 255, 70, 80}});
    EXPECT_EQ(DividingValueOf(image), 45); /* 360 / 8 */
}

TEST(CalculateDividingPoint, MeanIsRoundedHalfUp)
{
    test::Bitmap below({{0, 0, 0, 1}});
    test::Bitmap half({{0, 1, 0, 1}});
    test::Bitmap half_above_one({{1, 2, 1, 2}});
    test::Bitmap eighths({{0, 1, 1, 1}, {0, 0, 0, 0}}); /* 3 / 8 */
    EXPECT_EQ(DividingValueOf(below), 0);
    EXPECT_EQ(DividingValueOf(half), 1);
    EXPECT_EQ(DividingValueOf(half_above_one), 2);
    EXPECT_EQ(DividingValueOf(eighths), 0);
}

TEST(CalculateDividingPoint, AllBlackGives0AndAllWhiteGives255InEveryDepth)
{
    for (const sint32 bits : {1, 8, 24}) {
        test::Bitmap black(10, 6, bits, 0);
        test::Bitmap white(10, 6, bits, 255);
        EXPECT_EQ(DividingValueOf(black), 0) << bits;
        EXPECT_EQ(DividingValueOf(white), 255) << bits;
    }
}

TEST(CalculateDividingPoint, ColourIsReadAsGreenAndBlue)
{
    test::Bitmap image(5, 3, 24);
    for (sint32 row = 0; row < 3; ++row)
        for (sint32 col = 0; col < 5; ++col) image.SetColor(row, col, 0, 255, 99);
    EXPECT_EQ(DividingValueOf(image), 213);
}

TEST(CalculateDividingPoint, SumBeyondASint32StillGives255)
{
    test::Bitmap image(2, 2105377, 1, 255); /* 4 * 255 * 2105377 = 2^31 + 892 */
    EXPECT_EQ(DividingValueOf(image), 255);
}

/* ======== SearchBitmapRange ======== */

const RectangleRec kOldRange = {-1, -2, -3, -4};

std::string Text(const RectangleRec& r)
{
    return std::to_string(r.left) + ".." + std::to_string(r.right) + " x " + std::to_string(r.top) + ".." +
           std::to_string(r.bottom);
}

/* The code, and the rectangle as it is after the call. */
std::string RangeOf(test::Bitmap& image, uint8 Dividing_min)
{
    RectangleRec range = kOldRange;
    const sint32 error_code = SearchBitmapRange(&image.rec, &range, Dividing_min);
    return std::to_string(error_code) + ": " + Text(range);
}

TEST(SearchBitmapRange, NullPointersReturn1)
{
    test::Bitmap image(200, 4, 8, 255);
    BitmapRec invalid = Invalid(image);
    RectangleRec range = kOldRange;
    EXPECT_EQ(SearchBitmapRange(nullptr, &range, 0), 1);
    EXPECT_EQ(SearchBitmapRange(&image.rec, nullptr, 0), 1);
    EXPECT_EQ(SearchBitmapRange(&invalid, nullptr, 0), 1);
    EXPECT_EQ(Text(range), Text(kOldRange));
}

TEST(SearchBitmapRange, InvalidBitmapReturns12AndLeavesTheRange)
{
    const test::Bitmap image(200, 4, 8, 255);
    BitmapRec invalid = Invalid(image);
    RectangleRec range = kOldRange;
    EXPECT_EQ(SearchBitmapRange(&invalid, &range, 0), 12);
    EXPECT_EQ(Text(range), Text(kOldRange));
}

TEST(SearchBitmapRange, NarrowerThan151ReturnsNoPage)
{
    for (const sint32 bits : {1, 8, 24}) {
        test::Bitmap narrow(150, 4, bits, 255);
        test::Bitmap wide(151, 4, bits, 255);
        EXPECT_EQ(RangeOf(narrow, 0), "9: -1..-2 x -3..-4") << bits;
        EXPECT_EQ(RangeOf(wide, 0), "0: 0..150 x 0..3") << bits;
    }
}

TEST(SearchBitmapRange, RowOf150DoesNotQualifyAndOf151Does)
{
    test::Bitmap image(300, 10, 8, 0);
    image.FillBox(0, 149, 1, 1, 255);
    image.FillBox(149, 299, 3, 3, 255); /* 151 */
    image.FillBox(0, 150, 6, 6, 255);   /* 151 */
    image.FillBox(150, 299, 8, 8, 255); /* 150 */
    EXPECT_EQ(RangeOf(image, 100), "0: 0..299 x 3..6");
}

TEST(SearchBitmapRange, PixelsNeedNotBeNeighbours)
{
    test::Bitmap image(302, 3, 8, 0);
    for (sint32 col = 1; col < 302; col += 2) { /* 151 of them */
        image.SetGray(1, col, 255);
        image.SetGray(2, col, 255);
    }
    EXPECT_EQ(RangeOf(image, 100), "0: 0..301 x 1..2");
}

TEST(SearchBitmapRange, OnlyBrighterThanTheMinimumCounts)
{
    test::Bitmap at_minimum(200, 4, 8, 100);
    test::Bitmap above(200, 4, 8, 101);
    EXPECT_EQ(RangeOf(at_minimum, 100), "9: -1..-2 x -3..-4");
    EXPECT_EQ(RangeOf(above, 100), "0: 0..199 x 0..3");
}

TEST(SearchBitmapRange, RowsBetweenFirstAndLastDoNotMatter)
{
    test::Bitmap image(200, 20, 8, 0);
    for (const sint32 row : {4, 9, 15}) image.FillBox(0, 199, row, row, 255);
    EXPECT_EQ(RangeOf(image, 100), "0: 0..199 x 4..15");
}

TEST(SearchBitmapRange, RowsBetweenFirstAndLastAreNotRead)
{
    test::Bitmap image(200, 20, 8, 0);
    image.FillBox(0, 199, 4, 4, 255);
    image.FillBox(0, 199, 15, 15, 255);
    uint8* const row_5 = image.rec.ScanLine[5];
    uint8* const row_14 = image.rec.ScanLine[14];
    image.rec.ScanLine[5] = nullptr;
    image.rec.ScanLine[14] = nullptr;
    EXPECT_EQ(RangeOf(image, 100), "0: 0..199 x 4..15");
    image.rec.ScanLine[5] = row_5;
    image.rec.ScanLine[14] = row_14;
}

TEST(SearchBitmapRange, OnlyTheLastRowBrightGivesThatRow)
{
    test::Bitmap image(200, 20, 8, 0);
    image.FillBox(0, 199, 19, 19, 255);
    EXPECT_EQ(RangeOf(image, 100), "0: 0..199 x 19..19");
    test::Bitmap single_row(200, 1, 8, 255);
    EXPECT_EQ(RangeOf(single_row, 100), "0: 0..199 x 0..0");
}

TEST(SearchBitmapRange, OnlyOneOtherRowBrightReturnsNoPageWithTopWritten)
{
    for (const sint32 row : {0, 7, 18}) {
        test::Bitmap image(200, 20, 8, 0);
        image.FillBox(0, 199, row, row, 255);
        EXPECT_EQ(RangeOf(image, 100), "9: -1..-2 x " + std::to_string(row) + "..-4");
    }
}

TEST(SearchBitmapRange, NothingBrightReturnsNoPage)
{
    test::Bitmap image(200, 20, 8, 0);
    EXPECT_EQ(RangeOf(image, 0), "9: -1..-2 x -3..-4");
}

TEST(SearchBitmapRange, LightGroundAboveTheMinimumGivesTheWholeImage)
{
    test::Bitmap image(300, 30, 8, 200);
    image.FillBox(50, 250, 10, 20, 20);
    EXPECT_EQ(RangeOf(image, 191), "0: 0..299 x 0..29");
}

TEST(SearchBitmapRange, PageGivesTheSameRowsInEveryDepth)
{
    for (const sint32 bits : {1, 8, 24}) {
        test::Bitmap image(300, 30, bits, 0);
        image.FillBox(70, 230, 11, 23, 255);
        EXPECT_EQ(RangeOf(image, 100), "0: 0..299 x 11..23") << bits;
        EXPECT_EQ(RangeOf(image, 254), "0: 0..299 x 11..23") << bits;
        EXPECT_EQ(RangeOf(image, 255), "9: -1..-2 x -3..-4") << bits;
    }
}

/* ======== Appending ======== */

TEST(AddPointToBorderLine, NullOrNegativeReturns1AndChangesNothing)
{
    PointSetRec set = null_point_set;
    BorderLineRec open = null_border_line;
    EXPECT_EQ(AddPointToBorderLine(nullptr, &open, 1, 1), 1);
    EXPECT_EQ(AddPointToBorderLine(&set, nullptr, 1, 1), 1);
    EXPECT_EQ(AddPointToBorderLine(&set, &open, -1, 1), 1);
    EXPECT_EQ(AddPointToBorderLine(&set, &open, 1, -1), 1);
    EXPECT_EQ(set.index, 0);
    EXPECT_EQ(set.points, nullptr);
    EXPECT_EQ(open.index, 0);
}

TEST(AddPointToBorderLine, CountsThePointIntoTheOpenSegment)
{
    PointSetRec set = null_point_set;
    BorderLineRec open = null_border_line;
    ASSERT_EQ(AddPointToBorderLine(&set, &open, 0, 0), 0);
    ASSERT_EQ(AddPointToBorderLine(&set, &open, 20, 7), 0);
    ASSERT_EQ(AddPointToBorderLine(&set, &open, 3, 9), 0);
    EXPECT_EQ(set.index, 3);
    EXPECT_EQ(set.points[1].x, 20);
    EXPECT_EQ(set.points[1].y, 7);
    EXPECT_EQ(open.index, 3);
    EXPECT_EQ(open.Center.x, 23);
    EXPECT_EQ(open.Center.y, 16);
    EXPECT_EQ(open.points, nullptr);
    PointSet_Done(&set);
}

TEST(AddPointToBorderLine, GrowsBy1000WhenFull)
{
    PointSetRec set = null_point_set;
    BorderLineRec open = null_border_line;
    for (sint32 k = 0; k < 2001; ++k) {
        ASSERT_EQ(AddPointToBorderLine(&set, &open, k, 2 * k), 0);
        ASSERT_EQ(set.len, k < 1000 ? 1000 : k < 2000 ? 2000 : 3000) << k;
    }
    EXPECT_EQ(set.index, 2001);
    for (sint32 k = 0; k < 2001; ++k) {
        ASSERT_EQ(set.points[k].x, k);
        ASSERT_EQ(set.points[k].y, 2 * k);
    }
    PointSet_Done(&set);
}

TEST(AddPointToBorderLine, LengthThatCannotGrowReturns5AndChangesNothing)
{
    PointSetRec set = {INT_MAX - 999, INT_MAX - 999, nullptr};
    BorderLineRec open = null_border_line;
    EXPECT_EQ(AddPointToBorderLine(&set, &open, 1, 2), 5);
    EXPECT_EQ(set.index, INT_MAX - 999);
    EXPECT_EQ(set.len, INT_MAX - 999);
    EXPECT_EQ(open.index, 0);
    EXPECT_EQ(open.Center.x, 0);
}

TEST(AddBorderLineToBorderLines, NullReturns1)
{
    BorderLineSetRec set = null_border_line_set;
    BorderLineRec segment = null_border_line;
    EXPECT_EQ(AddBorderLineToBorderLines(nullptr, &segment), 1);
    EXPECT_EQ(AddBorderLineToBorderLines(&set, nullptr), 1);
    EXPECT_EQ(set.index, 0);
    EXPECT_EQ(set.borderLine, nullptr);
}

TEST(AddBorderLineToBorderLines, CopyHasItsLengthSetAndItsMarkCleared)
{
    PointRec points[4] = {};
    BorderLineRec segment = {4, 99, points, 1, {12, 34}};
    BorderLineSetRec set = null_border_line_set;
    ASSERT_EQ(AddBorderLineToBorderLines(&set, &segment), 0);
    EXPECT_EQ(set.index, 1);
    EXPECT_EQ(set.PointNum, 0);
    EXPECT_EQ(set.borderLine[0].index, 4);
    EXPECT_EQ(set.borderLine[0].len, 4);
    EXPECT_EQ(set.borderLine[0].points, points);
    EXPECT_EQ(set.borderLine[0].type, 0);
    EXPECT_EQ(set.borderLine[0].Center.x, 12);
    EXPECT_EQ(set.borderLine[0].Center.y, 34);
    EXPECT_EQ(segment.len, 99);
    EXPECT_EQ(segment.type, 1);
    BorderLineSet_Done(&set);
}

TEST(AddBorderLineToBorderLines, GrowsBy1000WhenFull)
{
    BorderLineSetRec set = null_border_line_set;
    for (sint32 k = 0; k < 1001; ++k) {
        BorderLineRec segment = {6, 0, nullptr, 0, {k, 2 * k}};
        ASSERT_EQ(AddBorderLineToBorderLines(&set, &segment), 0);
        ASSERT_EQ(set.len, k < 1000 ? 1000 : 2000) << k;
    }
    EXPECT_EQ(set.index, 1001);
    for (sint32 k = 0; k < 1001; ++k) ASSERT_EQ(set.borderLine[k].Center.y, 2 * k);
    BorderLineSet_Done(&set);
}

TEST(AddBorderLineToBorderLines, LengthThatCannotGrowReturns5AndChangesNothing)
{
    BorderLineSetRec set = {INT_MAX, INT_MAX, 0, nullptr};
    BorderLineRec segment = null_border_line;
    EXPECT_EQ(AddBorderLineToBorderLines(&set, &segment), 5);
    EXPECT_EQ(set.index, INT_MAX);
    EXPECT_EQ(set.len, INT_MAX);
}

/* ======== Marking: drawing and reading ======== */

constexpr sint32 kSize = 100; /* of the square images with hand-drawn sides */

enum class Side { Left, Right, Top, Bottom };

bool IsFirst(Side side) { return side == Side::Left || side == Side::Top; }
bool ScansRows(Side side) { return side == Side::Left || side == Side::Right; }

Side Opposite(Side side)
{
    const Side opposite[] = {Side::Right, Side::Left, Side::Bottom, Side::Top};
    return opposite[static_cast<int>(side)];
}

/* Hits on num scan lines of a side, counted in scan order, all at one depth below that side of the image. */
struct HitRun {
    sint32 line;
    sint32 num;
    sint32 depth;
};

void Draw(test::Bitmap& image, Side side, const std::vector<HitRun>& runs)
{
    for (const HitRun& run : runs) {
        for (sint32 line = run.line; line < run.line + run.num; ++line) {
            const sint32 across = IsFirst(side) ? run.depth : kSize - 1 - run.depth;
            if (ScansRows(side))
                image.SetGray(line, across, 255);
            else
                image.SetGray(across, kSize - 1 - line, 255);
        }
    }
}

std::string Text(PointRec point) { return std::to_string(point.x) + "," + std::to_string(point.y); }

/* A side's points, "x,y x,y ". */
std::string PointsOf(const ImageBorderPointRec& side)
{
    std::string text;
    for (sint32 k = 0; k < side.border_point.index; ++k) text += Text(side.border_point.points[k]) + " ";
    return text;
}

/* A side's segments, "number of its first point + number of points @ centre ", and ! where a field is amiss. */
std::string SegmentsOf(const ImageBorderPointRec& side)
{
    std::string text;
    for (sint32 k = 0; k < side.border_line_seck.index; ++k) {
        const BorderLineRec& segment = side.border_line_seck.borderLine[k];
        text += std::to_string(segment.points - side.border_point.points) + "+" + std::to_string(segment.index) +
                "@" + Text(segment.Center) + (segment.len == segment.index && segment.type == 0 ? " " : "! ");
    }
    return text;
}

PointRec old_point;
BorderLineRec old_segment;
const ImageBorderPointRec kOldSide = {{3, 5, &old_point}, {7, 9, 2, &old_segment}};
const ImageRangeRectangleRec kOldExtremes = {{-11, -12}, {-13, -14}, {-15, -16}, {-17, -18}};

bool IsOld(const ImageBorderPointRec& side)
{
    return side.border_point.index == 3 && side.border_point.len == 5 && side.border_point.points == &old_point &&
           side.border_line_seck.index == 7 && side.border_line_seck.len == 9 &&
           side.border_line_seck.PointNum == 2 && side.border_line_seck.borderLine == &old_segment;
}

std::string Text(const ImageRangeRectangleRec& extremes)
{
    return Text(extremes.left) + " " + Text(extremes.right) + " " + Text(extremes.top) + " " +
           Text(extremes.bottom);
}

using Numbers = std::vector<sint32>;

Numbers LeftRightGlobals() { return {LeftPointIndexT, LeftPointIndexB, RightPointIndexT, RightPointIndexB}; }
Numbers TopBottomGlobals() { return {TopPointIndexR, TopPointIndexL, BottomPointIndexR, BottomPointIndexL}; }
const Numbers kOldGlobals(4, -7);

/*
 * The arguments of a marking call: the whole image, all its columns, a dark ground. Outputs and globals start with
 * values that are found again where nothing is written; they own nothing, so releasing them would crash.
 */
struct Marking {
    explicit Marking(test::Bitmap& image)
        : p_bitmap(&image.rec), range{0, image.rec.biWidth - 1, 0, image.rec.biHeight - 1}
    {
        LeftPointIndexT = LeftPointIndexB = RightPointIndexT = RightPointIndexB = -7;
        TopPointIndexR = TopPointIndexL = BottomPointIndexR = BottomPointIndexL = -7;
    }
    ~Marking()
    {
        for (ImageBorderPointRec* side : {&first, &second})
            if (!IsOld(*side)) ImageBorderPoint_Done(side);
    }
    Marking(const Marking&) = delete;
    Marking& operator=(const Marking&) = delete;

    sint32 LeftRight()
    {
        return MarkLeftRightBorder(p_bitmap, &range, GroundColor, Dividing_min, Dividing_max, &first, &second,
                                   &extremes);
    }
    sint32 TopBottom()
    {
        return MarkTopBottomBorder(p_bitmap, &range, GroundColor, Dividing_min, Dividing_max, &first, &second,
                                   &extremes);
    }
    void Columns(sint32 left, sint32 right)
    {
        extremes.left.x = left;
        extremes.right.x = right;
    }
    bool OutputsAreOld() const { return IsOld(first) && IsOld(second); }

    BitmapRec* p_bitmap;
    RectangleRec range;
    sint32 GroundColor = 1;
    uint8 Dividing_min = 100;
    uint8 Dividing_max = 0;
    ImageBorderPointRec first = kOldSide;
    ImageBorderPointRec second = kOldSide;
    ImageRangeRectangleRec extremes = kOldExtremes;
};

/* ======== Marking: what both functions share ======== */

class MarkBorder : public testing::TestWithParam<Side>
{
protected:
    /* The lengths of the side's segments for these hits; the opposite side is hit on the same lines at depth 5. */
    static std::string Lengths(const std::vector<HitRun>& runs)
    {
        test::Bitmap image(kSize, kSize, 8, 0);
        Draw(image, GetParam(), runs);
        for (const HitRun& run : runs) Draw(image, Opposite(GetParam()), {{run.line, run.num, 5}});
        Marking marking(image);
        if (!ScansRows(GetParam())) marking.Columns(0, kSize - 1);
        const sint32 error_code = ScansRows(GetParam()) ? marking.LeftRight() : marking.TopBottom();
        if (error_code != 0) return "code " + std::to_string(error_code);

        const ImageBorderPointRec& side = IsFirst(GetParam()) ? marking.first : marking.second;
        std::string lengths;
        sint32 point_num = 0;
        for (sint32 k = 0; k < side.border_line_seck.index; ++k) {
            const BorderLineRec& segment = side.border_line_seck.borderLine[k];
            lengths += std::to_string(segment.index) + " ";
            EXPECT_EQ(segment.points, side.border_point.points + point_num);
            point_num += segment.index;
        }
        EXPECT_EQ(side.border_point.index, point_num);
        return lengths;
    }
};

std::string NameOfSide(const testing::TestParamInfo<Side>& side)
{
    const char* names[] = {"Left", "Right", "Top", "Bottom"};
    return names[static_cast<int>(side.param)];
}
INSTANTIATE_TEST_SUITE_P(Sides, MarkBorder, testing::Values(Side::Left, Side::Right, Side::Top, Side::Bottom),
                         NameOfSide);

TEST_P(MarkBorder, SegmentIsFullAtSixHits)
{
    EXPECT_EQ(Lengths({{0, 6, 20}}), "6 ");
    EXPECT_EQ(Lengths({{0, 12, 20}}), "6 6 ");
    EXPECT_EQ(Lengths({{0, 10, 20}}), "6 4 ");
    EXPECT_EQ(Lengths({{0, 11, 20}}), "6 5 ");
}

TEST_P(MarkBorder, StepOfSixContinuesTheSegmentAndOfSevenClosesIt)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {10, 1, 26}}), "6 5 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {10, 4, 27}}), "6 4 4 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {10, 1, 14}}), "6 5 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {10, 4, 13}}), "6 4 4 ");
}

TEST_P(MarkBorder, LinesWithoutHitDoNotCloseTheSegmentButADistanceOfSevenDoes)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 3, 20}, {14, 1, 20}}), "6 4 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {16, 4, 20}}), "6 4 4 ");
}

TEST_P(MarkBorder, BothDistancesAreTakenAlone)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 3, 20}, {14, 1, 26}}), "6 4 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {15, 4, 27}}), "6 4 4 ");
}

TEST_P(MarkBorder, RunOfThreeLeavesNoTraceAndOfFourStays)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 3, 20}, {9, 6, 40}}), "6 6 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}, {10, 6, 40}}), "6 4 6 ");
    EXPECT_EQ(Lengths({{0, 3, 40}, {3, 6, 20}}), "6 ");
    EXPECT_EQ(Lengths({{0, 4, 40}, {4, 6, 20}}), "4 6 ");
}

TEST_P(MarkBorder, LastRunOfThreeLeavesNoTraceAndOfFourStays)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 1, 20}}), "6 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 3, 20}}), "6 ");
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 4, 20}}), "6 4 ");
}

TEST_P(MarkBorder, ShortRunsInARowAllVanish)
{
    EXPECT_EQ(Lengths({{0, 6, 20}, {6, 3, 40}, {9, 2, 20}, {11, 1, 40}, {12, 3, 20}, {15, 6, 50}}), "6 6 ");
}

TEST_P(MarkBorder, FewerThanSixHitsReturnNoPage)
{
    EXPECT_EQ(Lengths({{0, 5, 20}}), "code 9");
    EXPECT_EQ(Lengths({{0, 3, 20}}), "code 9");
    EXPECT_EQ(Lengths({}), "code 9");
}

TEST_P(MarkBorder, SegmentsOfFiveAloneReturnNoPage)
{
    EXPECT_EQ(Lengths({{0, 5, 20}, {5, 5, 40}, {10, 4, 20}}), "code 9");
}

/* Both functions, for what does not depend on the direction of the scan. */
enum class Call { LeftRight, TopBottom };

class MarkCall : public testing::TestWithParam<Call>
{
protected:
    MarkCall() { image.FillBox(20, 79, 30, 69, 255); }

    static sint32 Mark(Marking& marking)
    {
        return GetParam() == Call::LeftRight ? marking.LeftRight() : marking.TopBottom();
    }
    /* Marks with one change made to the arguments; nothing may be written when it fails. */
    template <class Change>
    sint32 CodeAfter(Change change)
    {
        Marking marking(image);
        marking.Columns(0, kSize - 1);
        change(marking);
        const std::string extremes = Text(marking.extremes);
        const sint32 error_code = Mark(marking);
        EXPECT_NE(error_code, 0);
        EXPECT_TRUE(marking.OutputsAreOld());
        EXPECT_EQ(Text(marking.extremes), extremes);
        EXPECT_EQ(LeftRightGlobals(), kOldGlobals);
        EXPECT_EQ(TopBottomGlobals(), kOldGlobals);
        return error_code;
    }

    test::Bitmap image{kSize, kSize, 8};
};

std::string NameOfCall(const testing::TestParamInfo<Call>& call)
{
    return call.param == Call::LeftRight ? "LeftRight" : "TopBottom";
}
INSTANTIATE_TEST_SUITE_P(Calls, MarkCall, testing::Values(Call::LeftRight, Call::TopBottom), NameOfCall);

TEST_P(MarkCall, EachNullPointerReturns1EvenForAnInvalidBitmap)
{
    const auto Marks = GetParam() == Call::LeftRight ? MarkLeftRightBorder : MarkTopBottomBorder;
    BitmapRec invalid = Invalid(image);
    for (BitmapRec* rec : {&image.rec, &invalid}) {
        Marking m(image);
        EXPECT_EQ(Marks(nullptr, &m.range, 1, 100, 0, &m.first, &m.second, &m.extremes), 1);
        EXPECT_EQ(Marks(rec, nullptr, 1, 100, 0, &m.first, &m.second, &m.extremes), 1);
        EXPECT_EQ(Marks(rec, &m.range, 1, 100, 0, nullptr, &m.second, &m.extremes), 1);
        EXPECT_EQ(Marks(rec, &m.range, 1, 100, 0, &m.first, nullptr, &m.extremes), 1);
        EXPECT_EQ(Marks(rec, &m.range, 1, 100, 0, &m.first, &m.second, nullptr), 1);
        EXPECT_TRUE(m.OutputsAreOld());
        EXPECT_EQ(Text(m.extremes), Text(kOldExtremes));
    }
}

TEST_P(MarkCall, InvalidBitmapReturns12)
{
    BitmapRec invalid = Invalid(image);
    EXPECT_EQ(CodeAfter([&](Marking& marking) { marking.p_bitmap = &invalid; }), 12);
    EXPECT_EQ(CodeAfter([&](Marking& marking) {
                  marking.p_bitmap = &invalid;
                  marking.GroundColor = 2;
              }),
              12);
}

TEST_P(MarkCall, OtherGroundColorReturns1)
{
    for (const sint32 GroundColor : {INT_MIN, -1, 0, 2, 254, 256, INT_MAX})
        EXPECT_EQ(CodeAfter([&](Marking& marking) { marking.GroundColor = GroundColor; }), 1) << GroundColor;
}

TEST_P(MarkCall, RowsOutsideTheImageReturn1)
{
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.range.top = -1; }), 1);
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.range.bottom = kSize; }), 1);
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.range.top = INT_MIN; }), 1);
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.range.bottom = INT_MAX; }), 1);
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.range.top = marking.range.bottom = INT_MAX; }), 1);
}

TEST_P(MarkCall, ColumnsOutsideTheImageReturn1)
{
    const auto columns = [this](sint32 left, sint32 right) {
        return CodeAfter([left, right](Marking& marking) {
            marking.range.left = left;
            marking.range.right = right;
            marking.Columns(left, right);
        });
    };
    EXPECT_EQ(columns(-1, kSize - 1), 1);
    EXPECT_EQ(columns(0, kSize), 1);
    EXPECT_EQ(columns(INT_MIN, kSize - 1), 1);
    EXPECT_EQ(columns(0, INT_MAX), 1);
    EXPECT_EQ(columns(INT_MAX, INT_MAX), 1);
    EXPECT_EQ(columns(INT_MIN, INT_MIN), 1);
}

TEST_P(MarkCall, EmptyRowRangeReturnsNoPageAtOnce)
{
    const auto rows = [this](sint32 top, sint32 bottom) {
        return CodeAfter([top, bottom](Marking& marking) {
            marking.range = {INT_MIN, INT_MAX, top, bottom};
            marking.Columns(INT_MIN, INT_MAX);
        });
    };
    EXPECT_EQ(rows(41, 40), 9);
    EXPECT_EQ(rows(INT_MAX, INT_MIN), 9);
    EXPECT_EQ(rows(INT_MAX, 0), 9);
}

TEST_P(MarkCall, EmptyColumnRangeReturnsNoPageAtOnce)
{
    const auto columns = [this](sint32 left, sint32 right) {
        return CodeAfter([left, right](Marking& marking) {
            marking.range = {left, right, INT_MIN, INT_MAX};
            marking.Columns(left, right);
        });
    };
    EXPECT_EQ(columns(41, 40), 9);
    EXPECT_EQ(columns(INT_MAX, INT_MIN), 9);
    EXPECT_EQ(columns(INT_MAX, 0), 9);
}

TEST_P(MarkCall, NoPageDotReturnsNoPage)
{
    EXPECT_EQ(CodeAfter([](Marking& marking) { marking.Dividing_min = 255; }), 9);
}

TEST_P(MarkCall, DarkGroundTakesDotsBrighterThanTheMinimum)
{
    for (const uint8 grey : test::Bytes{100, 101}) {
        test::Bitmap page(kSize, kSize, 8, 50);
        page.FillBox(20, 79, 30, 69, grey);
        Marking marking(page);
        marking.Columns(0, kSize - 1);
        EXPECT_EQ(Mark(marking), grey == 101 ? 0 : 9) << int{grey};
    }
}

TEST_P(MarkCall, LightGroundTakesDotsOutsideTheBand)
{
    for (const uint8 grey : test::Bytes{0, 191, 192, 208, 209, 255}) {
        test::Bitmap page(kSize, kSize, 8, 200);
        page.FillBox(20, 79, 30, 69, grey);
        Marking marking(page);
        marking.Columns(0, kSize - 1);
        marking.GroundColor = 255;
        marking.Dividing_min = 191;
        marking.Dividing_max = 209;
        EXPECT_EQ(Mark(marking), grey <= 191 || grey >= 209 ? 0 : 9) << int{grey};
    }
}

TEST_P(MarkCall, PointCountIsLeftZeroAndArraysGrowBy1000)
{
    Marking marking(image);
    marking.Columns(0, kSize - 1);
    ASSERT_EQ(Mark(marking), 0);
    for (const ImageBorderPointRec* side : {&marking.first, &marking.second}) {
        EXPECT_EQ(side->border_point.len, 1000);
        EXPECT_EQ(side->border_line_seck.len, 1000);
        EXPECT_EQ(side->border_line_seck.PointNum, 0);
    }
}

/* ======== MarkLeftRightBorder ======== */

TEST(MarkLeftRightBorder, StaircaseGivesPointsSegmentsAndCentres)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{3, 4, 20}, {7, 2, 23}, {9, 3, 29}, {12, 4, 40}});
    Draw(image, Side::Right, {{3, 6, 10}, {9, 3, 30}, {12, 4, 9}});
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(PointsOf(marking.first), "20,3 20,4 20,5 20,6 23,7 23,8 40,12 40,13 40,14 40,15 ");
    EXPECT_EQ(SegmentsOf(marking.first), "0+6@21,5 6+4@40,13 "); /* 126 / 6, 33 / 6; 160 / 4, 54 / 4 */
    EXPECT_EQ(PointsOf(marking.second), "89,3 89,4 89,5 89,6 89,7 89,8 90,12 90,13 90,14 90,15 ");
    EXPECT_EQ(SegmentsOf(marking.second), "0+6@89,5 6+4@90,13 ");
}

TEST(MarkLeftRightBorder, FirstPageDotFromEitherEndIsTheHit)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(30, 70, 10, 15, 255);
    image.FillBox(40, 60, 10, 15, 0);
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(PointsOf(marking.first), "30,10 30,11 30,12 30,13 30,14 30,15 ");
    EXPECT_EQ(PointsOf(marking.second), "70,10 70,11 70,12 70,13 70,14 70,15 ");
}

TEST(MarkLeftRightBorder, OnlyTheRangeIsScanned)
{
    test::Bitmap image(kSize, kSize, 8, 255);
    Marking marking(image);
    marking.range = {30, 60, 10, 21};
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(SegmentsOf(marking.first), "0+6@30,12 6+6@30,18 ");
    EXPECT_EQ(SegmentsOf(marking.second), "0+6@60,12 6+6@60,18 ");
}

TEST(MarkLeftRightBorder, VerticalEdgesNameFirstAndLastSegmentOnTheLeftAndTheLastOnTheRight)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 79, 30, 58, 255); /* 29 rows: four full segments and one of five */
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, 3, 3, 3}));
    EXPECT_EQ(Text(marking.extremes), "20,30 79,53 -15,-16 -17,-18");
    EXPECT_EQ(TopBottomGlobals(), kOldGlobals);
}

TEST(MarkLeftRightBorder, LeftTieKeepsTheFirstPointAndRightTieTakesTheLast)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{0, 6, 20}, {6, 6, 18}, {12, 6, 20}, {18, 6, 18}, {24, 6, 20}});
    Draw(image, Side::Right, {{0, 6, 40}, {6, 6, 38}, {12, 6, 40}, {18, 6, 38}, {24, 6, 40}});
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(LeftRightGlobals(), (Numbers{1, 3, 3, 3}));
    EXPECT_EQ(Text(marking.extremes), "18,6 61,23 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, FartherPointMovesBothSegmentNumbers)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{0, 6, 20}, {6, 6, 20}, {12, 6, 19}, {18, 6, 21}});
    Draw(image, Side::Right, {{0, 6, 20}, {6, 6, 19}, {12, 6, 20}, {18, 6, 21}});
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(LeftRightGlobals(), (Numbers{2, 2, 1, 1}));
    EXPECT_EQ(Text(marking.extremes), "19,12 80,11 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, ExtremePointInsideASegmentIsFound)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{0, 2, 20}, {2, 2, 17}, {4, 2, 19}});
    Draw(image, Side::Right, {{0, 2, 20}, {2, 2, 17}, {4, 2, 19}});
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(Text(marking.extremes), "17,2 82,3 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, SegmentOfFiveIsNoCandidate)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{0, 5, 5}, {5, 6, 20}, {11, 5, 20}});
    Draw(image, Side::Right, {{0, 5, 5}, {5, 6, 20}, {11, 5, 20}});
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(SegmentsOf(marking.first), "0+5@5,2 5+6@20,7 11+5@20,13 ");
    EXPECT_EQ(SegmentsOf(marking.second), "0+5@94,2 5+6@79,7 11+5@79,13 ");
    EXPECT_EQ(LeftRightGlobals(), (Numbers{1, 1, 1, 1}));
    EXPECT_EQ(Text(marking.extremes), "20,5 79,10 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, WithoutCandidatesOnlyTheFirstNumbersAndTheColumnsAreReset)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 79, 30, 34, 255);
    Marking marking(image);
    EXPECT_EQ(marking.LeftRight(), 9);
    EXPECT_TRUE(marking.OutputsAreOld());
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, -7, 0, -7}));
    EXPECT_EQ(Text(marking.extremes), "100,-12 0,-14 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, FullSegmentsOnTheLeftAloneReturnNoPageWithTheLeftWritten)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Left, {{0, 10, 20}});
    Draw(image, Side::Right, {{0, 5, 20}, {5, 5, 40}});
    Marking marking(image);
    EXPECT_EQ(marking.LeftRight(), 9);
    EXPECT_TRUE(marking.OutputsAreOld());
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, 0, 0, -7}));
    EXPECT_EQ(Text(marking.extremes), "20,0 0,-14 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, OneSideWithoutSegmentReturnsNoPageAndWritesNothing)
{
    for (const Side empty : {Side::Left, Side::Right}) {
        test::Bitmap image(kSize, kSize, 8, 0);
        Draw(image, empty, {{0, 3, 20}, {3, 3, 30}, {6, 3, 20}, {9, 3, 30}});
        Draw(image, Opposite(empty), {{0, 12, 20}});
        Marking marking(image);
        EXPECT_EQ(marking.LeftRight(), 9);
        EXPECT_TRUE(marking.OutputsAreOld());
        EXPECT_EQ(LeftRightGlobals(), kOldGlobals);
        EXPECT_EQ(Text(marking.extremes), Text(kOldExtremes));
    }
}

TEST(MarkLeftRightBorder, PageOneColumnWideReturnsNoPageWithTheExtremesWritten)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(40, 40, 10, 27, 255);
    Marking marking(image);
    EXPECT_EQ(marking.LeftRight(), 9);
    EXPECT_TRUE(marking.OutputsAreOld());
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, 2, 2, 2}));
    EXPECT_EQ(Text(marking.extremes), "40,10 40,27 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, ColumnZeroIsACandidateOfTheRightSideToo)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(0, 0, 10, 21, 255);
    Marking marking(image);
    EXPECT_EQ(marking.LeftRight(), 9);
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, 1, 1, 1}));
    EXPECT_EQ(Text(marking.extremes), "0,10 0,21 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, PageTwoColumnsWideSucceeds)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(98, 99, 10, 15, 255);
    Marking marking(image);
    EXPECT_EQ(marking.LeftRight(), 0);
    EXPECT_EQ(Text(marking.extremes), "98,10 99,15 -15,-16 -17,-18");
}

TEST(MarkLeftRightBorder, MoreThan1000PointsAndSegmentsGrowTheArrays)
{
    test::Bitmap image(2, 6007, 1, 255); /* 1001 full segments, and one hit that vanishes */
    Marking marking(image);
    ASSERT_EQ(marking.LeftRight(), 0);
    for (const ImageBorderPointRec* side : {&marking.first, &marking.second}) {
        EXPECT_EQ(side->border_point.index, 6006);
        EXPECT_EQ(side->border_point.len, 7000);
        EXPECT_EQ(side->border_line_seck.index, 1001);
        EXPECT_EQ(side->border_line_seck.len, 2000);
        EXPECT_EQ(side->border_line_seck.borderLine[1000].points, side->border_point.points + 6000);
        EXPECT_EQ(side->border_line_seck.borderLine[1000].Center.y, 6002);
    }
    EXPECT_EQ(LeftRightGlobals(), (Numbers{0, 1000, 1000, 1000}));
}

/* ======== MarkTopBottomBorder ======== */

TEST(MarkTopBottomBorder, ColumnsRunFromRightToLeft)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Top, {{3, 4, 20}, {7, 2, 23}, {9, 3, 29}, {12, 4, 40}});
    Draw(image, Side::Bottom, {{3, 6, 10}, {9, 3, 30}, {12, 4, 9}});
    Marking marking(image);
    marking.Columns(0, 99);
    ASSERT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(PointsOf(marking.first), "96,20 95,20 94,20 93,20 92,23 91,23 87,40 86,40 85,40 84,40 ");
    EXPECT_EQ(SegmentsOf(marking.first), "0+6@93,21 6+4@85,40 "); /* 561 / 6, 126 / 6; 342 / 4, 160 / 4 */
    EXPECT_EQ(PointsOf(marking.second), "96,89 95,89 94,89 93,89 92,89 91,89 87,90 86,90 85,90 84,90 ");
    EXPECT_EQ(SegmentsOf(marking.second), "0+6@93,89 6+4@85,90 ");
}

TEST(MarkTopBottomBorder, ColumnsComeFromTheExtremePointsAndRowsFromTheRange)
{
    test::Bitmap image(kSize, kSize, 8, 255);
    Marking marking(image);
    marking.range = {50, 50, 10, 21};
    marking.Columns(30, 41);
    ASSERT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(SegmentsOf(marking.first), "0+6@38,10 6+6@32,10 ");
    EXPECT_EQ(SegmentsOf(marking.second), "0+6@38,21 6+6@32,21 ");
    EXPECT_EQ(Text(marking.extremes), "30,-12 41,-14 41,10 41,21");
    EXPECT_EQ(LeftRightGlobals(), kOldGlobals);
}

TEST(MarkTopBottomBorder, TieKeepsTheFirstPointAndMovesTheLastSegmentNumberOnBothSides)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Top, {{0, 6, 20}, {6, 6, 18}, {12, 6, 20}, {18, 6, 18}, {24, 6, 20}});
    Draw(image, Side::Bottom, {{0, 6, 40}, {6, 6, 40}, {12, 6, 38}, {18, 6, 38}, {24, 6, 40}});
    Marking marking(image);
    marking.Columns(0, 99);
    ASSERT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(TopBottomGlobals(), (Numbers{1, 3, 2, 3}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 93,18 87,61");
}

TEST(MarkTopBottomBorder, FartherPointMovesBothSegmentNumbers)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Top, {{0, 6, 20}, {6, 6, 20}, {12, 6, 19}, {18, 6, 21}});
    Draw(image, Side::Bottom, {{0, 6, 20}, {6, 6, 19}, {12, 6, 20}, {18, 6, 21}});
    Marking marking(image);
    marking.Columns(0, 99);
    ASSERT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(TopBottomGlobals(), (Numbers{2, 2, 1, 1}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 87,19 93,80");
}

TEST(MarkTopBottomBorder, SegmentOfFiveIsNoCandidate)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    Draw(image, Side::Top, {{0, 5, 5}, {5, 6, 20}, {11, 5, 20}});
    Draw(image, Side::Bottom, {{0, 5, 5}, {5, 6, 20}, {11, 5, 20}});
    Marking marking(image);
    marking.Columns(0, 99);
    ASSERT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(TopBottomGlobals(), (Numbers{1, 1, 1, 1}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 94,20 94,79");
}

TEST(MarkTopBottomBorder, WithoutCandidatesOnlyTheFirstNumbersAndTheRowsAreReset)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 24, 30, 60, 255);
    Marking marking(image);
    marking.Columns(0, 99);
    EXPECT_EQ(marking.TopBottom(), 9);
    EXPECT_TRUE(marking.OutputsAreOld());
    EXPECT_EQ(TopBottomGlobals(), (Numbers{0, -7, 0, -7}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 -15,100 -17,0");
}

TEST(MarkTopBottomBorder, OneSideWithoutSegmentReturnsNoPageAndWritesNothing)
{
    for (const Side empty : {Side::Top, Side::Bottom}) {
        test::Bitmap image(kSize, kSize, 8, 0);
        Draw(image, empty, {{0, 3, 20}, {3, 3, 30}, {6, 3, 20}, {9, 3, 30}});
        Draw(image, Opposite(empty), {{0, 12, 20}});
        Marking marking(image);
        marking.Columns(0, 99);
        EXPECT_EQ(marking.TopBottom(), 9);
        EXPECT_TRUE(marking.OutputsAreOld());
        EXPECT_EQ(TopBottomGlobals(), kOldGlobals);
        EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 -15,-16 -17,-18");
    }
}

TEST(MarkTopBottomBorder, PageOneRowHighReturnsNoPageWithTheExtremesWritten)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 37, 40, 40, 255);
    Marking marking(image);
    marking.Columns(0, 99);
    EXPECT_EQ(marking.TopBottom(), 9);
    EXPECT_TRUE(marking.OutputsAreOld());
    EXPECT_EQ(TopBottomGlobals(), (Numbers{0, 2, 0, 2}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 37,40 37,40");
}

TEST(MarkTopBottomBorder, RowZeroIsATieOfTheBottomSide)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 37, 0, 0, 255);
    Marking marking(image);
    marking.Columns(0, 99);
    EXPECT_EQ(marking.TopBottom(), 9);
    EXPECT_EQ(TopBottomGlobals(), (Numbers{0, 2, 0, 2}));
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 37,0 -17,0");
}

TEST(MarkTopBottomBorder, PageTwoRowsHighSucceeds)
{
    test::Bitmap image(kSize, kSize, 8, 0);
    image.FillBox(20, 25, 98, 99, 255);
    Marking marking(image);
    marking.Columns(0, 99);
    EXPECT_EQ(marking.TopBottom(), 0);
    EXPECT_EQ(Text(marking.extremes), "0,-12 99,-14 25,98 25,99");
}

TEST(MarkTopBottomBorder, CalledFirstScansTheColumnsThatTheExtremesHappenToHold)
{
    test::Bitmap image(kSize, kSize, 8, 255);
    Marking only_column_0(image);
    only_column_0.extremes = null_image_range_rectangle;
    EXPECT_EQ(only_column_0.TopBottom(), 9); /* one hit a side */
    EXPECT_EQ(Text(only_column_0.extremes), "0,0 0,0 0,0 0,0");
    Marking no_column(image);
    no_column.Columns(50, 49);
    EXPECT_EQ(no_column.TopBottom(), 9);
    EXPECT_TRUE(no_column.OutputsAreOld());
    EXPECT_EQ(Text(no_column.extremes), "50,-12 49,-14 -15,-16 -17,-18");
}

TEST(MarkTopBottomBorder, MoreThan1000PointsAndSegmentsGrowTheArrays)
{
    test::Bitmap image(6007, 2, 1, 255);
    Marking marking(image);
    marking.Columns(0, 6006);
    ASSERT_EQ(marking.TopBottom(), 0);
    for (const ImageBorderPointRec* side : {&marking.first, &marking.second}) {
        EXPECT_EQ(side->border_point.index, 6006);
        EXPECT_EQ(side->border_point.len, 7000);
        EXPECT_EQ(side->border_line_seck.index, 1001);
        EXPECT_EQ(side->border_line_seck.len, 2000);
        EXPECT_EQ(side->border_line_seck.borderLine[1000].Center.x, 3); /* columns 6 to 1, mean 3.5 */
    }
    EXPECT_EQ(TopBottomGlobals(), (Numbers{0, 1000, 0, 1000}));
}

/* ======== A drawn page ======== */

/* Six rows from column 20 to 60 upon six rows from column 18 to 62. */
TEST(MarkBorders, SteppedPageGivesTheSameSidesInEveryDepth)
{
    for (const sint32 bits : {24, 8, 1}) {
        SCOPED_TRACE(bits);
        test::Bitmap image(80, 20, bits, 0);
        image.FillBox(20, 60, 2, 7, 255);
        image.FillBox(18, 62, 8, 13, 255);

        Marking left_right(image);
        ASSERT_EQ(left_right.LeftRight(), 0);
        EXPECT_EQ(SegmentsOf(left_right.first), "0+6@20,4 6+6@18,10 ");
        EXPECT_EQ(SegmentsOf(left_right.second), "0+6@60,4 6+6@62,10 ");
        EXPECT_EQ(LeftRightGlobals(), (Numbers{1, 1, 1, 1}));

        Marking top_bottom(image);
        top_bottom.extremes = left_right.extremes;
        ASSERT_EQ(top_bottom.TopBottom(), 0);
        /* Columns 62 and 61 meet the step, row 8; the last three columns, 20 to 18, are too few. */
        EXPECT_EQ(SegmentsOf(top_bottom.first),
                  "0+6@59,4 6+6@53,2 12+6@47,2 18+6@41,2 24+6@35,2 30+6@29,2 36+6@23,2 ");
        EXPECT_EQ(SegmentsOf(top_bottom.second),
                  "0+6@59,13 6+6@53,13 12+6@47,13 18+6@41,13 24+6@35,13 30+6@29,13 36+6@23,13 ");
        EXPECT_EQ(TopBottomGlobals(), (Numbers{0, 6, 0, 6}));
        EXPECT_EQ(Text(top_bottom.extremes), "18,8 62,13 60,2 62,13");
    }
}

} // namespace
