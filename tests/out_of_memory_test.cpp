/*
 * out_of_memory_test.cpp - every allocation of every exported function fails once: the right code, nothing of the
 * caller's touched, nothing leaked, and no request larger than the work needs.
 */
#include <cstdlib>
#include <functional>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "QL_Interface.h"
#include "QuarloBitmap.h"
#include "SearchBitmapFrame.h"
#include "support/ChosenLevel.h"
#include "support/CountedMemory.h"
#include "support/TestBitmap.h"

namespace
{

constexpr int kMaxAllocations = 1000;
constexpr size_t kPointerRow = sizeof(uint8*);

/* A golden image as test input. */
struct GoldenBitmap : test::Bitmap {
    explicit GoldenBitmap(const char* file)
    {
        std::string name = std::string(QUARLO_GOLDEN_DIR "/") + file;
        if (ReadBitmapFromFile(&rec, reinterpret_cast<sint8*>(name.data())) != 0) std::abort();
    }
};

/*
 * Runs call with the first allocation failing, then with the second, and so on until it succeeds. Each failure has to
 * answer what failure(n) says and to leave no memory behind; `untouched` looks at the caller's things. Answers the number
 * of allocations of a successful call, and checks that none asked for more than `largest` bytes.
 */
int FailEach(const std::function<sint32()>& call, const std::function<sint32(int)>& failure,
             const std::function<bool()>& untouched, size_t largest)
{
    for (int n = 1; n <= kMaxAllocations; ++n) {
        memory::Arm(n);
        const sint32 code = call();
        const memory::Counts counts = memory::Disarm();
        EXPECT_LE(counts.largest, largest);
        if (!counts.failed) return counts.calls;
        EXPECT_EQ(failure(n), code) << "allocation " << n;
        EXPECT_EQ(0, counts.live) << "allocation " << n;
        EXPECT_TRUE(untouched()) << "allocation " << n;
    }
    ADD_FAILURE() << "does not succeed";
    return 0;
}

const auto kAlways5 = [](int) { return 5; };

/* A record that stands for whatever the caller's record held before. */
BitmapRec EarlierRecord()
{
    static uint8 pixel = 0;
    static uint8* row = &pixel;
    return {1, 1, 8, 1, 1, &row, &pixel};
}

/* For functions that make one bitmap: the destination keeps its earlier content on failure. */
int FailEachBitmap(const std::function<sint32(BitmapRec*)>& make, const std::function<sint32(int)>& failure,
                   size_t largest)
{
    BitmapRec dest = EarlierRecord();
    const int allocations = FailEach([&] { return make(&dest); }, failure,
                                     [&] { return test::SameRecord(dest, EarlierRecord()); }, largest);
    EXPECT_FALSE(test::SameRecord(dest, EarlierRecord()));
    Bitmap_Done(&dest);
    return allocations;
}

/* Bytes of the larger of a bitmap's two blocks. */
size_t LargerBlock(sint32 width, sint32 height, sint32 bits)
{
    const size_t pixels = static_cast<size_t>(height) * static_cast<size_t>((bits * width + 31) / 32 * 4) + 16;
    const size_t rows = static_cast<size_t>(height) * kPointerRow;
    return pixels > rows ? pixels : rows;
}

TEST(OutOfMemory, Bitmap_New)
{
    EXPECT_EQ(2, FailEachBitmap([](BitmapRec* dest) { return Bitmap_New(dest, 30, 20, 8, 0); }, kAlways5,
                                LargerBlock(30, 20, 8)));
}

TEST(OutOfMemory, Bitmap_Copy)
{
    test::Bitmap source(30, 20, 24, 9);
    EXPECT_EQ(2, FailEachBitmap([&](BitmapRec* dest) { return Bitmap_Copy(&source.rec, dest); }, kAlways5,
                                LargerBlock(30, 20, 24)));
}

TEST(OutOfMemory, ReadBitmapFromFile)
{
    std::string name = QUARLO_GOLDEN_DIR "/plain8.bmp";
    EXPECT_EQ(2,
              FailEachBitmap(
                  [&](BitmapRec* dest) { return ReadBitmapFromFile(dest, reinterpret_cast<sint8*>(name.data())); },
                  kAlways5, 4096));
}

TEST(OutOfMemory, DepthConversions)
{
    test::Bitmap gray(30, 20, 8, 9);
    const size_t largest = LargerBlock(30, 20, 24);
    EXPECT_EQ(2,
              FailEachBitmap([&](BitmapRec* dest) { return GetBWBitmap(&gray.rec, dest, 3); }, kAlways5, largest));
    EXPECT_EQ(2,
              FailEachBitmap([&](BitmapRec* dest) { return GetGrayBitmap(&gray.rec, dest); }, kAlways5, largest));
    EXPECT_EQ(2,
              FailEachBitmap([&](BitmapRec* dest) { return GetColorBitmap(&gray.rec, dest); }, kAlways5, largest));
}

TEST(OutOfMemory, imageRotate)
{
    for (const sint32 bits : {1, 8, 24}) {
        test::Bitmap source(30, 20, bits, 9);
        for (const double angle : {0.0, 90.0, 180.0, 270.0})
            EXPECT_EQ(2, FailEachBitmap([&](BitmapRec* dest) { return imageRotate(&source.rec, dest, angle); },
                                        kAlways5, LargerBlock(30, 30, bits)));
    }
}

TEST(OutOfMemory, RotatePicSP)
{
    sint32 width = 30;
    sint32 height = 20;
    test::Bytes pixels(600, 7);
    pixels[0] = 1;
    const test::Bytes before = pixels;
    EXPECT_EQ(3, FailEach([&] { return RotatePicSP(pixels.data(), &width, &height, 8, 90); }, kAlways5,
                          [&] { return pixels == before && width == 30 && height == 20; }, LargerBlock(30, 30, 8)));
    EXPECT_NE(before, pixels);
}

TEST(OutOfMemory, NothingIsAllocatedByChecksAndSearches)
{
    GoldenBitmap scan("dark8_upright.bmp");
    RectangleRec range = null_rectangle;
    uint8 DividingValue = 0;
    BitmapRec empty = null_bitmap;
    memory::Arm(1);
    EXPECT_EQ(0, Bitmap_Check(&scan.rec));
    EXPECT_EQ(0, Bitmap_Init(&empty));
    EXPECT_EQ(0, Bitmap_Done(&empty));
    EXPECT_EQ(0, CalculateDividingPoint(&scan.rec, &DividingValue));
    EXPECT_EQ(0, SearchBitmapRange(&scan.rec, &range, 60));
    EXPECT_EQ(0, memory::Disarm().calls);
}

/* The stages on a page, each with its allocations failing in turn. */
class OutOfMemoryStages : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(0, SearchBitmapRange(&scan.rec, &range, 60)); }

    void TearDown() override
    {
        for (ImageBorderPointRec* side : {&left, &right, &top, &bottom}) {
            std::free(side->border_line_seck.borderLine);
            std::free(side->border_point.points);
        }
        FreeEdges();
        std::free(rows.seck);
    }

    void FreeEdges()
    {
        for (ImageBorderLineRec* edge : {&left_top, &left_bottom, &right_top, &right_bottom}) {
            std::free(edge->border_line_seck.borderLine);
            *edge = null_image_border_line;
        }
    }

    void Mark(bool rows_first)
    {
        if (rows_first) {
            ASSERT_EQ(0, MarkLeftRightBorder(&scan.rec, &range, 1, 60, 255, &left, &right, &extremes));
        }
        ASSERT_EQ(0, MarkTopBottomBorder(&scan.rec, &range, 1, 60, 255, &top, &bottom, &extremes));
    }

    sint32 Split()
    {
        return DispartBorderPoints(&scan.rec, &extremes, &tilted, &left, &right, &top, &bottom, &left_top,
                                   &left_bottom, &right_top, &right_bottom);
    }

    GoldenBitmap scan{"dark8_tilt_plus.bmp"};
    RectangleRec range = null_rectangle;
    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    ImageBorderPointRec left = null_image_border_point, right = left, top = left, bottom = left;
    ImageBorderLineRec left_top = null_image_border_line, left_bottom = left_top, right_top = left_top,
                       right_bottom = left_top;
    RowSeckRec rows = null_row_seck;
    sint32 tilted = 1;
};

TEST_F(OutOfMemoryStages, MarkLeftRightBorder)
{
    EXPECT_EQ(4,
              FailEach([&] { return MarkLeftRightBorder(&scan.rec, &range, 1, 60, 255, &left, &right, &extremes); },
                       kAlways5,
                       [&] { return left.border_point.points == nullptr && right.border_point.points == nullptr; },
                       1000 * sizeof(BorderLineRec)));
}

TEST_F(OutOfMemoryStages, MarkTopBottomBorder)
{
    ASSERT_EQ(0, MarkLeftRightBorder(&scan.rec, &range, 1, 60, 255, &left, &right, &extremes));
    EXPECT_EQ(4,
              FailEach([&] { return MarkTopBottomBorder(&scan.rec, &range, 1, 60, 255, &top, &bottom, &extremes); },
                       kAlways5,
                       [&] { return top.border_point.points == nullptr && bottom.border_point.points == nullptr; },
                       1000 * sizeof(BorderLineRec)));
}

TEST_F(OutOfMemoryStages, DispartBorderPoints)
{
    Mark(true);
    /* The edges keep what was filled so far and belong to the caller on any result. */
    EXPECT_EQ(8, FailEach(
                     [&] {
                         FreeEdges();
                         const sint32 code = Split();
                         if (code != 0) FreeEdges();
                         return code;
                     },
                     kAlways5, [] { return true; }, 1000 * sizeof(BorderLineRec)));
}

TEST_F(OutOfMemoryStages, CalBorderPoints)
{
    Mark(true);
    ASSERT_EQ(0, Split());
    Real64 angle = 0.0;
    PointRec center = null_point;
    sint32 width = 0;
    sint32 height = 0;
    EXPECT_EQ(1, FailEach(
                     [&] {
                         return CalBorderPoints(&scan.rec, &rows, &angle, &center, &width, &height, &extremes,
                                                &tilted, &left_top, &left_bottom, &right_top, &right_bottom);
                     },
                     kAlways5, [&] { return rows.seck == nullptr && rows.len == 0; },
                     static_cast<size_t>(scan.rec.biHeight + 16) * sizeof(LineSeckRec)));
}

/* At the plain level a rotation first makes an enlarged copy of its source; kernels do without, if wide enough. */
constexpr int kCopy = 2;
int CopyAllocations(Level level, sint32 bits) { return level == Level::Plain || bits == 1 ? kCopy : 0; }

/* Inside a rotation: two for the output, two for the tables, and with a kernel two for their parts and one for two rows. */
int RotationAllocations(Level level, sint32 bits) { return level == Level::Plain || bits == 1 ? 4 : 7; }

/* Runs a test at the plain level and at the highest one. */
class OutOfMemoryAtLevel : public testing::TestWithParam<Level>
{
protected:
    OutOfMemoryAtLevel() { ChooseLevel(GetParam()); }
    ~OutOfMemoryAtLevel() override { ChooseLevel(HighestLevel()); }
};

/* Codes of a rotation: 5 while the enlarged copy is made, 0 for what fails inside the rotation. */
TEST_P(OutOfMemoryAtLevel, RotateBitmap)
{
    uint8 color[3] = {255, 0, 0};
    std::vector<LineSeckRec> spans(20, LineSeckRec{0, 29});
    RowSeckRec mask = {20, 20, 0, 19, spans.data()};
    for (const sint32 bits : {1, 8, 24}) {
        const int copy = CopyAllocations(GetParam(), bits);
        test::Bitmap source(30, 20, bits, 9);
        for (sint32 interpolation = 1; interpolation <= 3; ++interpolation)
            EXPECT_EQ(
                copy + RotationAllocations(GetParam(), bits),
                FailEachBitmap(
                    [&](BitmapRec* dest) {
                        return RotateBitmap(&source.rec, dest, &mask, 0.1, {15, 10}, 30, 20, interpolation, color);
                    },
                    [&](int n) { return n <= copy ? 5 : 0; }, LargerBlock(46, 36, bits)));
    }
}

TEST_P(OutOfMemoryAtLevel, RotateBitmapWithSpansThatLeaveTheImage)
{
    uint8 color[3] = {255, 0, 0};
    std::vector<LineSeckRec> spans(20, LineSeckRec{0, 1000});
    RowSeckRec mask = {20, 20, 0, 19, spans.data()};
    test::Bitmap source(30, 20, 8, 9);
    /* The copy of the spans is made before the rotation. */
    const int before = CopyAllocations(GetParam(), 8) + 1;
    EXPECT_EQ(before + RotationAllocations(GetParam(), 8),
              FailEachBitmap(
                  [&](BitmapRec* dest) {
                      return RotateBitmap(&source.rec, dest, &mask, 0.1, {15, 10}, 30, 20, 3, color);
                  },
                  [&](int n) { return n <= before ? 5 : 0; }, LargerBlock(46, 36, 8)));
}

/*
 * The allocations of the whole pipeline: 4 for the left and right side, 4 for top and bottom, 8 for the edges and their
 * cleaning, 1 for the row spans, those of the enlarged copy, and those inside the rotation.
 */
constexpr int kDetection = 17;

/* The largest block of a page's way: the enlarged copy, or a block of segments. */
size_t PipelineBlock(const BitmapRec& rec)
{
    const size_t image = LargerBlock(rec.biWidth + 16, rec.biHeight + 16, rec.biBitCount);
    const size_t segments = 1000 * sizeof(BorderLineRec);
    return image > segments ? image : segments;
}

TEST_P(OutOfMemoryAtLevel, PipelineOfRecords)
{
    GoldenBitmap scan("dark8_tilt_plus.bmp");
    uint8 color[3] = {255, 0, 0};
    const int before = kDetection + CopyAllocations(GetParam(), 8);
    const int all = before + RotationAllocations(GetParam(), 8);
    const auto failure = [&](int n) { return n <= before ? 5 : 0; };
    EXPECT_EQ(all, FailEachBitmap([&](BitmapRec* dest) { return ImageQuarlo(&scan.rec, 2, 60, 1, dest); }, failure,
                                  PipelineBlock(scan.rec)));
    EXPECT_EQ(all, FailEachBitmap([&](BitmapRec* dest) { return Quarlo(&scan.rec, dest, 2, 60, 1, color); },
                                  failure, PipelineBlock(scan.rec)));
}

TEST_P(OutOfMemoryAtLevel, PipelineOfRawBuffers)
{
    GoldenBitmap scan("dark8_tilt_plus.bmp");
    const test::Bytes before = test::PackedPixels(scan.rec);
    const sint32 old_width = scan.rec.biWidth;
    const sint32 old_height = scan.rec.biHeight;
    const int allocations = 2 + kDetection + CopyAllocations(GetParam(), 8) + RotationAllocations(GetParam(), 8);
    const auto always_0 = [](int) { return 0; };
    test::Bytes pixels = before;
    sint32 width = old_width;
    sint32 height = old_height;
    const auto untouched = [&] { return pixels == before && width == old_width && height == old_height; };
    EXPECT_EQ(allocations, FailEach([&] { return QuarloPic(pixels.data(), &width, &height, 8, 3, 60); }, always_0,
                                    untouched, PipelineBlock(scan.rec)));
    EXPECT_FALSE(untouched());

    pixels = before;
    width = old_width;
    height = old_height;
    EXPECT_EQ(allocations, FailEach([&] { return QuarloPicEx(pixels.data(), &width, &height, 8, 3); }, always_0,
                                    untouched, PipelineBlock(scan.rec)));
    EXPECT_FALSE(untouched());
}

INSTANTIATE_TEST_SUITE_P(Levels, OutOfMemoryAtLevel, testing::Values(Level::Plain, HighestLevel()));

/* With kernels the call for a page at 300 dpi needs little beyond it and the result: no copy of the scan. */
TEST(PeakMemory, WholeCallStaysBelow5PercentOfTheSource)
{
    if (HighestLevel() == Level::Plain) GTEST_SKIP() << "this processor has no kernels";
    test::Bitmap scan(2480, 3508, 24, 20);
    scan.FillBox(100, 2300, 90, 3400, 220);
    BitmapRec dest = null_bitmap;
    memory::Arm(0);
    ASSERT_EQ(0, ImageQuarlo(&scan.rec, 2, 100, 1, &dest));
    const memory::Counts counts = memory::Disarm();
    EXPECT_LT(counts.peak - counts.bytes, scan.rec.bfSize / 20);
    EXPECT_LT(counts.bytes, dest.bfSize + scan.rec.bfSize / 20);
    Bitmap_Done(&dest);
}

TEST(OutOfMemory, SavingAllocatesNothingItself)
{
    test::Bitmap source(30, 20, 8, 9);
    std::string name = testing::TempDir() + "quarlo_out_of_memory.bmp";
    memory::Arm(1);
    const sint32 code = SaveBitmapToFile(&source.rec, reinterpret_cast<sint8*>(name.data()));
    const sint32 done = SaveBmpToFile(&source.rec, reinterpret_cast<sint8*>(name.data()));
    EXPECT_EQ(0, memory::Disarm().calls);
    EXPECT_EQ(0, code);
    EXPECT_EQ(1, done);
    EXPECT_EQ(0, unlink(name.c_str()));
}

} // namespace
