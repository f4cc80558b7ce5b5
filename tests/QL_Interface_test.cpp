/*
 * QL_Interface_test.cpp - the pipeline and its entry points.
 *
 * Most pages are upright rectangles: columns 30 to 209, rows 20 to 199 of 240 x 220 pixels. Their frame runs through
 * the outermost pixels, so it is 179 x 179 about the centre (120, 110), and column 89, row 89 of the result shows the
 * centre.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/QL_Interface.cpp"

using test::Bitmap;
using test::Bytes;

namespace
{

constexpr sint32 kDark = 1;
constexpr sint32 kLight = 255;
constexpr sint32 kWidth = 240;
constexpr sint32 kHeight = 220;
constexpr sint32 kSide = 179; /* of the page's frame */

enum Interpolation { kCubic = 1, kBilinear = 2, kNearest = 3 };

/* An upright page. */
class Page : public Bitmap
{
public:
    Page(sint32 bits, uint8 ground, uint8 grey, sint32 align = 0) : Bitmap(kWidth, kHeight, bits, ground, align)
    {
        FillBox(30, 209, 20, 199, grey);
    }
};

/* A page of 2 * a x 2 * b pixels turned by some degrees about the centre of the image, cut off by its borders. */
class TiltedPage : public Bitmap
{
public:
    TiltedPage(sint32 width, sint32 height, sint32 bits, Real64 a, Real64 b, Real64 degrees, uint8 grey)
        : Bitmap(width, height, bits)
    {
        const Real64 turn = degrees / 180.0 * 3.14159265;
        for (sint32 row = 0; row < height; ++row)
            for (sint32 col = 0; col < width; ++col) {
                const Real64 x = col - (width - 1) / 2.0;
                const Real64 y = row - (height - 1) / 2.0;
                if (std::fabs(x * std::cos(turn) + y * std::sin(turn)) <= a &&
                    std::fabs(y * std::cos(turn) - x * std::sin(turn)) <= b)
                    SetGray(row, col, grey);
            }
    }
};

/* Its corners lie outside the image, so that the corners of the result are not covered. */
TiltedPage PageWithoutCorners(sint32 bits, uint8 grey) { return {400, 400, bits, 160, 200, 40, grey}; }

/* The frame, 366 x 454 pixels, is larger than the image. */
TiltedPage PageLargerThanItsImage() { return {400, 400, 8, 184, 230, 20, 255}; }

sint32 RunQuarlo(Bitmap& source, Bitmap& dest, sint32 threshold, sint32 ground, sint32 interpolation = kNearest)
{
    uint8 color[] = {1, 2, 3};
    return Quarlo(&source.rec, &dest.rec, interpolation, threshold, ground, color);
}

/* Whether the pipeline tells a page of one grey from a ground of another, and finds nothing where it is told so. */
void ExpectPage(uint8 ground_grey, uint8 page_grey, sint32 threshold, sint32 ground)
{
    Page source(8, ground_grey, page_grey);
    Bitmap dest;
    EXPECT_EQ(0, RunQuarlo(source, dest, threshold, ground));
    EXPECT_EQ(kSide, dest.rec.biWidth);
    EXPECT_EQ(kSide, dest.rec.biHeight);
}

void ExpectNoPage(uint8 ground_grey, uint8 page_grey, sint32 threshold, sint32 ground)
{
    Page source(8, ground_grey, page_grey);
    Bitmap dest;
    EXPECT_EQ(9, RunQuarlo(source, dest, threshold, ground));
    EXPECT_EQ(nullptr, dest.rec.buffer);
}

template <class Element>
Element* Allocate(size_t count)
{
    return static_cast<Element*>(std::calloc(count, sizeof(Element)));
}

/* A record that nothing may touch. */
BitmapRec Sentinel()
{
    static uint8 pixels[1];
    static uint8* lines[1] = {pixels};
    return {1, 2, 8, 4, 5, lines, pixels};
}

/* A raw image in the caller's hands: its packed rows, and bytes behind them that belong to somebody else. */
class RawImage
{
public:
    explicit RawImage(const Bitmap& source)
        : width(source.rec.biWidth), height(source.rec.biHeight), bits(source.rec.biBitCount),
          input(test::PackedPixels(source.rec)), memory(input)
    {
        memory.resize(input.size() + kGuardSize, kGuard);
    }

    sint32 Run(sint32 interpolation, sint32 threshold)
    {
        return QuarloPic(memory.data(), &width, &height, bits, interpolation, threshold);
    }
    sint32 RunEx(sint32 interpolation) { return QuarloPicEx(memory.data(), &width, &height, bits, interpolation); }

    Bytes Pixels(size_t size) const { return Slice(0, size); }
    Bytes Slice(size_t from, size_t to) const
    {
        return Bytes(memory.begin() + static_cast<std::ptrdiff_t>(from),
                     memory.begin() + static_cast<std::ptrdiff_t>(to));
    }
    bool GuardIsIntact() const { return Slice(input.size(), memory.size()) == Bytes(kGuardSize, kGuard); }
    bool IsUntouched(const Bitmap& source) const
    {
        return width == source.rec.biWidth && height == source.rec.biHeight && Pixels(input.size()) == input &&
               GuardIsIntact();
    }

    static constexpr size_t kGuardSize = 4096;
    static constexpr uint8 kGuard = 0xC3;

    sint32 width, height, bits;
    Bytes input, memory;
};

} // namespace

/* ======== The release routines ======== */

TEST(ReleaseRoutines, NullReturns0)
{
    EXPECT_EQ(0, PointSet_Done(nullptr));
    EXPECT_EQ(0, BorderLineSet_Done(nullptr));
    EXPECT_EQ(0, ImageBorderPoint_Done(nullptr));
    EXPECT_EQ(0, ImageBorderLine_Done(nullptr));
    EXPECT_EQ(0, RowSeck_Done(nullptr));
}

TEST(PointSet_Done, FreesThePointsAndResets)
{
    PointSetRec points = {3, 1000, Allocate<PointRec>(1000)};
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(0, PointSet_Done(&points));
        EXPECT_EQ(0, points.index);
        EXPECT_EQ(0, points.len);
        EXPECT_EQ(nullptr, points.points);
    }
}

TEST(BorderLineSet_Done, FreesTheSegmentsButNotTheirPoints)
{
    PointRec points[4] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    BorderLineSetRec lines = {1, 1000, 4, Allocate<BorderLineRec>(1000)};
    lines.borderLine[0].points = points;
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(0, BorderLineSet_Done(&lines));
        EXPECT_EQ(0, lines.index);
        EXPECT_EQ(0, lines.len);
        EXPECT_EQ(0, lines.PointNum);
        EXPECT_EQ(nullptr, lines.borderLine);
    }
    EXPECT_EQ(8, points[3].y);
}

TEST(ImageBorderPoint_Done, FreesSegmentsAndPoints)
{
    ImageBorderPointRec side = {{3, 10, Allocate<PointRec>(10)}, {1, 10, 3, Allocate<BorderLineRec>(10)}};
    side.border_line_seck.borderLine[0].points = side.border_point.points;
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(0, ImageBorderPoint_Done(&side));
        EXPECT_EQ(0, side.border_point.index);
        EXPECT_EQ(0, side.border_point.len);
        EXPECT_EQ(nullptr, side.border_point.points);
        EXPECT_EQ(0, side.border_line_seck.index);
        EXPECT_EQ(0, side.border_line_seck.len);
        EXPECT_EQ(0, side.border_line_seck.PointNum);
        EXPECT_EQ(nullptr, side.border_line_seck.borderLine);
    }
}

TEST(ImageBorderLine_Done, FreesTheSegmentsAndResetsTheLine)
{
    PointRec points[1] = {{1, 2}};
    ImageBorderLineRec edge = {{1.0, 2.0, 45.0, 3, {4, 5}}, {1, 10, 6, Allocate<BorderLineRec>(10)}};
    edge.border_line_seck.borderLine[0].points = points;
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(0, ImageBorderLine_Done(&edge));
        EXPECT_EQ(0.0, edge.border_line.a);
        EXPECT_EQ(0.0, edge.border_line.b);
        EXPECT_EQ(0.0, edge.border_line.angle);
        EXPECT_EQ(0, edge.border_line.type);
        EXPECT_EQ(0, edge.border_line.center.x);
        EXPECT_EQ(0, edge.border_line.center.y);
        EXPECT_EQ(0, edge.border_line_seck.index);
        EXPECT_EQ(0, edge.border_line_seck.len);
        EXPECT_EQ(0, edge.border_line_seck.PointNum);
        EXPECT_EQ(nullptr, edge.border_line_seck.borderLine);
    }
}

TEST(RowSeck_Done, FreesTheSpansAndResets)
{
    RowSeckRec spans = {5, 20, 1, 4, Allocate<LineSeckRec>(20)};
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(0, RowSeck_Done(&spans));
        EXPECT_EQ(0, spans.index);
        EXPECT_EQ(0, spans.len);
        EXPECT_EQ(0, spans.top);
        EXPECT_EQ(0, spans.bottom);
        EXPECT_EQ(nullptr, spans.seck);
    }
}

/* ======== Quarlo ======== */

TEST(Quarlo, UprightPageIsCroppedToItsFrame)
{
    for (sint32 bits : {1, 8, 24}) {
        Page source(bits, 0, 255);
        source.SetGray(50, 60, 0);
        Bitmap dest, expected(kSide, kSide, bits, 255);
        expected.SetGray(29, 29, 0);
        uint8 color[] = {255, 255, 255};
        ASSERT_EQ(0, Quarlo(&source.rec, &dest.rec, kNearest, 100, kDark, color));
        EXPECT_EQ(kSide, dest.rec.biWidth);
        EXPECT_EQ(kSide, dest.rec.biHeight);
        EXPECT_EQ(bits, dest.rec.biBitCount);
        EXPECT_EQ(test::PackedPixels(expected.rec), test::PackedPixels(dest.rec));
    }
}

/* The blending interpolations move the upper left quarter of an upright page by one pixel up and to the left. */
TEST(Quarlo, InterpolationReachesTheRotation)
{
    for (sint32 interpolation : {kCubic, kBilinear, kNearest}) {
        Page source(8, 0, 200);
        source.SetGray(50, 60, 10);
        Bitmap dest;
        ASSERT_EQ(0, RunQuarlo(source, dest, 100, kDark, interpolation));
        EXPECT_EQ(interpolation == kNearest ? 10u : 200u, dest.At(29, 29));
        EXPECT_EQ(interpolation == kNearest ? 200u : 10u, dest.At(28, 28));
    }
}

TEST(Quarlo, CallersColorFillsWhatThePageDoesNotCover)
{
    TiltedPage source = PageWithoutCorners(24, 255);
    Bitmap dest;
    ASSERT_EQ(0, RunQuarlo(source, dest, 100, kDark));
    EXPECT_EQ(0x030201u, dest.At(0, 0));
    EXPECT_EQ(0x030201u, dest.At(dest.rec.biHeight - 1, dest.rec.biWidth - 1));
    EXPECT_EQ(0xFFFFFFu, dest.At(dest.rec.biHeight / 2, dest.rec.biWidth / 2));
}

TEST(Quarlo, DarkGroundPageIsBrighterThanTheThreshold)
{
    ExpectPage(100, 101, 100, kDark);
    ExpectNoPage(99, 100, 100, kDark);
}

TEST(Quarlo, DarkGroundThreshold300CountsAs44)
{
    ExpectPage(44, 45, 300, kDark);
    ExpectNoPage(0, 44, 300, kDark);
}

TEST(Quarlo, DarkGroundNegativeThresholdCountsByItsLowByte)
{
    ExpectPage(100, 101, 100 - 256, kDark);
    ExpectNoPage(0, 255, -1, kDark);
}

TEST(Quarlo, DarkGroundThreshold256Is0AndNotAutomatic)
{
    ExpectPage(0, 1, 256, kDark);
    Page source(8, 60, 200);
    Bitmap dest;
    ASSERT_EQ(0, RunQuarlo(source, dest, 256, kDark));
    EXPECT_EQ(kWidth - 1, dest.rec.biWidth);
    EXPECT_EQ(kHeight - 1, dest.rec.biHeight);
}

TEST(Quarlo, DarkGroundThreshold0TakesTheGreyOfTheOutermostColumns)
{
    ExpectPage(60, 61, 0, kDark);
    ExpectPage(60, 200, 0, kDark);
    ExpectNoPage(60, 59, 0, kDark);
}

TEST(Quarlo, LightGroundPageDiffersBy9OrMore)
{
    ExpectPage(100, 91, 100, kLight);
    ExpectNoPage(100, 92, 100, kLight);
    ExpectPage(100, 109, 100, kLight);
    ExpectNoPage(100, 108, 100, kLight);
}

TEST(Quarlo, LightGroundThreshold0TakesTheGreyOfTheOutermostColumns)
{
    ExpectPage(100, 91, 0, kLight);
    ExpectNoPage(100, 92, 0, kLight);
    ExpectPage(100, 109, 0, kLight);
    ExpectNoPage(100, 108, 0, kLight);
    ExpectPage(250, 241, 0, kLight);
    ExpectNoPage(250, 254, 0, kLight);
    ExpectPage(5, 14, 0, kLight);
    ExpectNoPage(5, 1, 0, kLight);
}

TEST(Quarlo, LightGroundThreshold250IsBoundedBy241And255)
{
    ExpectPage(245, 241, 250, kLight);
    ExpectNoPage(245, 242, 250, kLight);
    ExpectPage(250, 255, 250, kLight);
    ExpectNoPage(250, 254, 250, kLight);
}

TEST(Quarlo, LightGroundThreshold5IsBoundedBy0And14)
{
    ExpectPage(2, 0, 5, kLight);
    ExpectNoPage(2, 1, 5, kLight);
    ExpectPage(12, 14, 5, kLight);
    ExpectNoPage(12, 13, 5, kLight);
}

TEST(Quarlo, LightGroundBoundsMeetTheEndsAt9And246)
{
    ExpectPage(10, 0, 9, kLight);
    ExpectNoPage(10, 1, 9, kLight);
    ExpectPage(10, 1, 10, kLight);
    ExpectPage(250, 255, 246, kLight);
    ExpectNoPage(250, 254, 246, kLight);
    ExpectPage(250, 254, 245, kLight);
}

/* 291 as a byte is 35; 309 is cut to 255 first. */
TEST(Quarlo, LightGroundThreshold300IsBoundedBy35And255)
{
    ExpectPage(100, 35, 300, kLight);
    ExpectNoPage(100, 36, 300, kLight);
    ExpectPage(100, 255, 300, kLight);
    ExpectNoPage(100, 254, 300, kLight);
}

TEST(Quarlo, AnotherGroundIsRefusedByTheBorderMarking)
{
    uint8 color[] = {0, 0, 0};
    Page source(8, 100, 91);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, Quarlo(&source.rec, &dest, kNearest, 100, 2, color));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(Quarlo, EmptyImageReturns9AndLeavesDestAlone)
{
    uint8 color[] = {0, 0, 0};
    for (sint32 bits : {1, 8, 24}) {
        Bitmap source(kWidth, kHeight, bits);
        BitmapRec dest = Sentinel();
        EXPECT_EQ(9, Quarlo(&source.rec, &dest, kNearest, 0, kDark, color));
        EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
    }
}

TEST(Quarlo, FailingThresholdEstimateEndsTheChain)
{
    uint8 color[] = {0, 0, 0};
    Bitmap source(1, kHeight, 8, 200);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, Quarlo(&source.rec, &dest, kNearest, 0, kDark, color));
    EXPECT_EQ(9, Quarlo(&source.rec, &dest, kNearest, 100, kDark, color));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(Quarlo, UncheckedArgumentsAreRefusedByTheStages)
{
    uint8 color[] = {0, 0, 0};
    Page source(8, 0, 200);
    BitmapRec invalid = null_bitmap;
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, Quarlo(nullptr, &dest, kNearest, 100, kDark, color));
    EXPECT_EQ(12, Quarlo(&invalid, &dest, kNearest, 100, kDark, color));
    EXPECT_EQ(12, Quarlo(&invalid, &dest, kNearest, 0, kDark, color));
    EXPECT_EQ(1, Quarlo(&source.rec, nullptr, kNearest, 100, kDark, color));
    EXPECT_EQ(1, Quarlo(&source.rec, &dest, 4, 100, kDark, color));
    EXPECT_EQ(1, Quarlo(&source.rec, &dest, kNearest, 100, kDark, nullptr));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(Quarlo, SameCallTwiceGivesTheSameImage)
{
    TiltedPage source = PageWithoutCorners(8, 200);
    Bitmap first, second;
    ASSERT_EQ(0, RunQuarlo(source, first, 100, kDark, kCubic));
    ASSERT_EQ(0, RunQuarlo(source, second, 100, kDark, kCubic));
    EXPECT_EQ(test::PackedPixels(first.rec), test::PackedPixels(second.rec));
}

/* ======== ImageQuarlo ======== */

TEST(ImageQuarlo, NullRecordReturns1)
{
    Page source(8, 0, 200);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(1, ImageQuarlo(nullptr, kNearest, 0, kDark, &dest));
    EXPECT_EQ(1, ImageQuarlo(&source.rec, kNearest, 0, kDark, nullptr));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(ImageQuarlo, ValueOutsideItsSetReturns1)
{
    Page source(8, 0, 200);
    BitmapRec dest = Sentinel();
    for (sint32 threshold : {-1, 256, 300}) EXPECT_EQ(1, ImageQuarlo(&source.rec, 3, threshold, kDark, &dest));
    for (sint32 interpolation : {-1, 0, 4}) EXPECT_EQ(1, ImageQuarlo(&source.rec, interpolation, 0, kDark, &dest));
    for (sint32 ground : {-1, 0, 2, 254, 256}) EXPECT_EQ(1, ImageQuarlo(&source.rec, 3, 0, ground, &dest));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(ImageQuarlo, InvalidSourceReturns12AfterTheOtherChecks)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Sentinel();
    EXPECT_EQ(12, ImageQuarlo(&source, kNearest, 0, kDark, &dest));
    EXPECT_EQ(1, ImageQuarlo(&source, kNearest, 256, kDark, &dest));
    EXPECT_EQ(1, ImageQuarlo(&source, 4, 0, kDark, &dest));
    for (sint32 ground : {0, 2, 254}) EXPECT_EQ(1, ImageQuarlo(&source, kNearest, 0, ground, &dest));
    EXPECT_EQ(1, ImageQuarlo(&source, kNearest, 0, kDark, nullptr));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(ImageQuarlo, Threshold1And255AreAccepted)
{
    Page source(8, 1, 255);
    Bitmap dest;
    EXPECT_EQ(0, ImageQuarlo(&source.rec, kNearest, 1, kDark, &dest.rec));
    Page light(8, 255, 246);
    Bitmap light_dest;
    EXPECT_EQ(0, ImageQuarlo(&light.rec, kNearest, 255, kLight, &light_dest.rec));
}

TEST(ImageQuarlo, EmptyImageReturns9AndLeavesDestAlone)
{
    Bitmap source(kWidth, kHeight, 8);
    BitmapRec dest = Sentinel();
    EXPECT_EQ(9, ImageQuarlo(&source.rec, kNearest, 0, kDark, &dest));
    EXPECT_TRUE(test::SameRecord(Sentinel(), dest));
}

TEST(ImageQuarlo, UncoveredPixelsAreBlueIn24Bits)
{
    TiltedPage source = PageWithoutCorners(24, 255);
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    const uint8* corner = dest.rec.ScanLine[0];
    EXPECT_EQ((Bytes{255, 0, 0}), Bytes(corner, corner + 3));
    EXPECT_EQ(0xFFFFFFu, dest.At(dest.rec.biHeight / 2, dest.rec.biWidth / 2));
}

TEST(ImageQuarlo, UncoveredPixelsAreWhiteIn8Bits)
{
    TiltedPage source = PageWithoutCorners(8, 200);
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    EXPECT_EQ(255u, dest.At(0, 0));
    EXPECT_EQ(200u, dest.At(dest.rec.biHeight / 2, dest.rec.biWidth / 2));
}

TEST(ImageQuarlo, UncoveredPixelsAreWhiteIn1Bit)
{
    TiltedPage source = PageWithoutCorners(1, 255);
    source.FillBox(195, 204, 195, 204, 0);
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    EXPECT_EQ(1u, dest.At(0, 0));
    EXPECT_EQ(1u, dest.At(dest.rec.biHeight / 4, dest.rec.biWidth / 2));
    EXPECT_EQ(0u, dest.At(dest.rec.biHeight / 2, dest.rec.biWidth / 2));
}

TEST(ImageQuarlo, ResultIsPackedWhateverTheStrideOfTheSource)
{
    const sint32 packed[][2] = {{1, 23}, {8, 179}, {24, 537}};
    for (const auto& [bits, bytes] : packed)
        for (sint32 align : {0, 1}) {
            Page source(bits, 0, 255, align);
            Bitmap dest;
            ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
            EXPECT_EQ(bytes, dest.rec.BytesPerLine);
            EXPECT_EQ(kSide * bytes, dest.rec.bfSize);
        }
}

TEST(ImageQuarlo, SourceIsOnlyReadAndDestIsOverwrittenNotReleased)
{
    Page source(8, 0, 200);
    Bitmap earlier(3, 3, 8, 77), dest;
    dest.rec = earlier.rec;
    const BitmapRec record = source.rec;
    const Bytes pixels = test::PackedPixels(source.rec);
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kCubic, 0, kDark, &dest.rec));
    EXPECT_TRUE(test::SameRecord(record, source.rec));
    EXPECT_EQ(pixels, test::PackedPixels(source.rec));
    EXPECT_EQ(Bytes(9, 77), test::PackedPixels(earlier.rec));
    EXPECT_EQ(kSide, dest.rec.biWidth);
}

TEST(ImageQuarlo, BackgroundChoosesTheForegroundTest)
{
    Page source(8, 200, 100);
    Bitmap dark, light;
    EXPECT_EQ(0, ImageQuarlo(&source.rec, kNearest, 0, kLight, &light.rec));
    EXPECT_EQ(kSide, light.rec.biWidth);
    EXPECT_EQ(100u, light.At(0, 0));
    EXPECT_EQ(9, ImageQuarlo(&source.rec, kNearest, 0, kDark, &dark.rec));
}

TEST(ImageQuarlo, FrameLargerThanTheImageIsGivenWhole)
{
    TiltedPage source = PageLargerThanItsImage();
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    EXPECT_EQ(366, dest.rec.biWidth);
    EXPECT_EQ(454, dest.rec.biHeight);
}

/* ======== QuarloPic, QuarloPicEx ======== */

TEST(QuarloPic, NullPointerReturns1)
{
    uint8 pixel = 5;
    sint32 size = 1;
    EXPECT_EQ(1, QuarloPic(nullptr, &size, &size, 8, 3, 0));
    EXPECT_EQ(1, QuarloPic(&pixel, nullptr, &size, 8, 3, 0));
    EXPECT_EQ(1, QuarloPic(&pixel, &size, nullptr, 8, 3, 0));
    EXPECT_EQ(5, pixel);
    EXPECT_EQ(1, size);
}

TEST(QuarloPic, BothSizesBelow1Return1)
{
    for (sint32 size : {0, -1}) {
        uint8 pixel = 5;
        sint32 width = size, height = size;
        EXPECT_EQ(1, QuarloPic(&pixel, &width, &height, 8, 3, 0));
        EXPECT_EQ(5, pixel);
        EXPECT_EQ(size, width);
        EXPECT_EQ(size, height);
    }
}

TEST(QuarloPic, OneSizeBelow1Returns0)
{
    for (sint32 size : {0, -1}) {
        uint8 pixel = 5;
        sint32 bad = size, good = 10;
        EXPECT_EQ(0, QuarloPic(&pixel, &bad, &good, 8, 3, 0));
        EXPECT_EQ(0, QuarloPic(&pixel, &good, &bad, 8, 3, 0));
        EXPECT_EQ(5, pixel);
        EXPECT_EQ(size, bad);
        EXPECT_EQ(10, good);
    }
}

TEST(QuarloPic, OtherBitCountOrInterpolationReturns1)
{
    Page source(8, 0, 200);
    RawImage image(source);
    for (sint32 bits : {-1, 0, 4, 16, 32})
        EXPECT_EQ(1, QuarloPic(image.memory.data(), &image.width, &image.height, bits, 3, 0));
    for (sint32 interpolation : {-1, 0, 4}) EXPECT_EQ(1, image.Run(interpolation, 0));
    EXPECT_TRUE(image.IsUntouched(source));
}

/* What is refused outright goes before the failures that answer 0. */
TEST(QuarloPic, RefusalsGoBeforeFailures)
{
    uint8 pixel = 5;
    sint32 width = 0, height = 10;
    EXPECT_EQ(1, QuarloPic(&pixel, &width, &height, 16, 3, 0));
    EXPECT_EQ(1, QuarloPic(&pixel, &width, &height, 8, 4, 0));
    EXPECT_EQ(0, QuarloPic(&pixel, &width, &height, 8, 3, 0));
}

TEST(QuarloPic, MoreThanARecordCanHoldReturns0)
{
    uint8 pixel = 5;
    sint32 width = 100000, height = 100000;
    EXPECT_EQ(0, QuarloPic(&pixel, &width, &height, 24, 3, 0));
    EXPECT_EQ(5, pixel);
    EXPECT_EQ(100000, width);
    EXPECT_EQ(100000, height);
}

/* Packed rows of 179 pixels; the bytes between the result's end and the input's are left. */
TEST(QuarloPic, PageReplacesTheImageInPackedRows)
{
    for (sint32 bits : {1, 8, 24}) {
        Page source(bits, 0, 255);
        source.SetGray(50, 60, 0);
        Bitmap page(kSide, kSide, bits, 255);
        page.SetGray(29, 29, 0);
        RawImage image(source);
        EXPECT_EQ(1, image.Run(kNearest, 100));
        EXPECT_EQ(kSide, image.width);
        EXPECT_EQ(kSide, image.height);
        Bitmap result(kSide, kSide, bits);
        const size_t size = static_cast<size_t>(result.rec.bfSize);
        std::copy_n(image.memory.begin(), size, result.rec.buffer);
        EXPECT_EQ(test::PackedPixels(page.rec), test::PackedPixels(result.rec));
        EXPECT_EQ(Bytes(image.input.begin() + static_cast<std::ptrdiff_t>(size), image.input.end()),
                  image.Slice(size, image.input.size()));
        EXPECT_TRUE(image.GuardIsIntact());
    }
}

TEST(QuarloPic, InterpolationReachesTheRotation)
{
    for (sint32 interpolation : {kCubic, kBilinear, kNearest}) {
        Page source(8, 0, 200);
        source.SetGray(50, 60, 10);
        RawImage image(source);
        ASSERT_EQ(1, image.Run(interpolation, 100));
        const size_t mark = interpolation == kNearest ? 29 : 28;
        EXPECT_EQ(10, image.memory[mark * kSide + mark]);
    }
}

TEST(QuarloPic, UncoveredPixelsAreBlueIn24Bits)
{
    TiltedPage source = PageWithoutCorners(24, 255);
    RawImage image(source);
    ASSERT_EQ(1, image.Run(kNearest, 100));
    EXPECT_LT(image.width * image.height, 400 * 400);
    EXPECT_EQ((Bytes{255, 0, 0}), image.Pixels(3));
    const size_t last = 3 * static_cast<size_t>(image.width * image.height);
    EXPECT_EQ((Bytes{255, 0, 0}), image.Slice(last - 3, last));
    const size_t centre = 3 * static_cast<size_t>(image.height / 2 * image.width + image.width / 2);
    EXPECT_EQ((Bytes{255, 255, 255}), image.Slice(centre, centre + 3));
}

TEST(QuarloPic, UncoveredPixelsAreWhiteIn8Bits)
{
    TiltedPage source = PageWithoutCorners(8, 200);
    RawImage image(source);
    ASSERT_EQ(1, image.Run(kNearest, 100));
    EXPECT_EQ(255, image.memory[0]);
    EXPECT_EQ(200, image.memory[static_cast<size_t>(image.height / 2 * image.width + image.width / 2)]);
}

TEST(QuarloPic, Threshold300CountsAs44)
{
    Page page(8, 44, 45), none(8, 0, 44);
    RawImage found(page), missed(none);
    EXPECT_EQ(1, found.Run(kNearest, 300));
    EXPECT_EQ(kSide, found.width);
    EXPECT_EQ(0, missed.Run(kNearest, 300));
    EXPECT_TRUE(missed.IsUntouched(none));
}

/* On a light ground this page would be found. */
TEST(QuarloPic, GroundIsDark)
{
    Page source(8, 200, 100);
    RawImage image(source);
    EXPECT_EQ(0, image.Run(kNearest, 200));
    EXPECT_TRUE(image.IsUntouched(source));
}

TEST(QuarloPic, EmptyImageReturns0AndLeavesEverything)
{
    for (sint32 bits : {1, 8, 24}) {
        Bitmap source(kWidth, kHeight, bits);
        RawImage image(source);
        EXPECT_EQ(0, image.Run(kNearest, 0));
        EXPECT_TRUE(image.IsUntouched(source));
    }
}

TEST(QuarloPic, ResultLargerThanTheInputReturns0AndLeavesEverything)
{
    TiltedPage source = PageLargerThanItsImage();
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    ASSERT_GT(dest.rec.bfSize, source.rec.bfSize);
    RawImage image(source);
    EXPECT_EQ(0, image.Run(kNearest, 100));
    EXPECT_TRUE(image.IsUntouched(source));
}

TEST(QuarloPic, ResultAsLargeAsTheInputFits)
{
    TiltedPage source(400, 396, 1, 178, 223, 20, 255);
    Bitmap dest;
    ASSERT_EQ(0, ImageQuarlo(&source.rec, kNearest, 100, kDark, &dest.rec));
    ASSERT_EQ(dest.rec.bfSize, source.rec.bfSize);
    RawImage image(source);
    EXPECT_EQ(1, image.Run(kNearest, 100));
    EXPECT_EQ(354, image.width);
    EXPECT_EQ(440, image.height);
    EXPECT_EQ(Bytes(dest.rec.buffer, dest.rec.buffer + dest.rec.bfSize), image.Pixels(image.input.size()));
    EXPECT_TRUE(image.GuardIsIntact());
}

TEST(QuarloPicEx, TakesTheAutomaticThreshold)
{
    /* with any threshold below 60 the whole image would be the page */
    Page source(8, 60, 200);
    RawImage automatic(source), zero(source), fixed(source);
    EXPECT_EQ(1, automatic.RunEx(kNearest));
    EXPECT_EQ(1, zero.Run(kNearest, 0));
    EXPECT_EQ(1, fixed.Run(kNearest, 10));
    EXPECT_EQ(kSide, automatic.width);
    EXPECT_EQ(kSide, automatic.height);
    EXPECT_EQ(zero.memory, automatic.memory);
    EXPECT_EQ(kWidth - 1, fixed.width);
}

TEST(QuarloPicEx, AnswersLikeQuarloPic)
{
    Bitmap source(kWidth, kHeight, 8);
    RawImage image(source);
    EXPECT_EQ(0, image.RunEx(kNearest));
    EXPECT_EQ(1, image.RunEx(4));
    EXPECT_EQ(1, QuarloPicEx(nullptr, &image.width, &image.height, 8, kNearest));
    EXPECT_EQ(1, QuarloPicEx(image.memory.data(), nullptr, &image.height, 8, kNearest));
    EXPECT_EQ(1, QuarloPicEx(image.memory.data(), &image.width, nullptr, 8, kNearest));
    EXPECT_EQ(1, QuarloPicEx(image.memory.data(), &image.width, &image.height, 16, kNearest));
    EXPECT_TRUE(image.IsUntouched(source));
}
