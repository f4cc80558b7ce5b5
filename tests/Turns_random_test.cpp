/*
 * Turns_random_test.cpp - right-angle turns and depth conversions against their literal second writing.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "support/LiteralTurns.h"
#include "support/RandomBitmap.h"
#include "support/TestBitmap.h"

namespace
{

using test::Random;
using test::RawBitmap;

const sint32 CasesEach = 300;
const sint32 LargestSide = 70;

/* One image; the padding of its rows is noise as its pixels are. */
struct Case {
    Case(uint32 random_seed, sint32 bits, bool padded) : seed(random_seed), random(random_seed)
    {
        const sint32 width = random.Between(1, LargestSide);
        const sint32 height = random.Between(1, LargestSide);
        source = std::make_unique<RawBitmap>(
            width, height, bits, padded ? test::AlignedStride(width, bits) : test::PackedStride(width, bits));
        for (uint8& byte : source->bytes) byte = random.OneIn(9) ? 255 : random.Byte();
    }

    uint32 seed;
    Random random;
    std::unique_ptr<RawBitmap> source;
};

std::ostream& operator<<(std::ostream& out, const Case& c)
{
    const BitmapRec& rec = c.source->rec;
    return out << "b" << rec.biBitCount << ", " << rec.biWidth << "x" << rec.biHeight << " stride "
               << rec.BytesPerLine << ", seed " << c.seed;
}

struct Combination {
    sint32 bits;
    bool padded;
};

std::string Name(const Combination& c)
{
    return "b" + std::to_string(c.bits) + (c.padded ? "_paddedRows" : "_packedRows");
}

void PrintTo(const Combination& c, std::ostream* out) { *out << Name(c); }

class TurnsRandom : public testing::TestWithParam<Combination>
{
protected:
    Case Make(sint32 k) const
    {
        const Combination& c = GetParam();
        return Case(static_cast<uint32>((c.bits * 2 + c.padded) * 10000 + k), c.bits, c.padded);
    }
};

void ExpectSameBitmap(const BitmapRec& got, const BitmapRec& want)
{
    ASSERT_NE(got.buffer, nullptr);
    ASSERT_EQ(got.biWidth, want.biWidth);
    ASSERT_EQ(got.biHeight, want.biHeight);
    ASSERT_EQ(got.biBitCount, want.biBitCount);
    ASSERT_EQ(got.bfSize, want.bfSize);
    ASSERT_EQ(got.BytesPerLine, want.BytesPerLine);
    for (sint32 row = 0; row < got.biHeight; ++row) {
        ASSERT_EQ(got.ScanLine[row], got.buffer + row * got.BytesPerLine);
        for (sint32 k = 0; k < got.BytesPerLine; ++k)
            ASSERT_EQ(+got.ScanLine[row][k], +want.ScanLine[row][k]) << "row " << row << " byte " << k;
    }
}

TEST_P(TurnsRandom, ImageRotateEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        const std::vector<uint8> before = c.source->bytes;
        const double angle = c.random.OneOf<double>({0, 90, 180, 270, 90, 180, 270, 360, -90, 45, 90.0001});
        test::Bitmap got, want;
        const sint32 want_code = literal::imageRotate(&c.source->rec, &want.rec, angle);
        ASSERT_EQ(imageRotate(&c.source->rec, &got.rec, angle), want_code) << angle << " degrees, " << c;
        if (want_code == 0)
            ASSERT_NO_FATAL_FAILURE(ExpectSameBitmap(got.rec, want.rec)) << angle << " degrees, " << c;
        else
            ASSERT_TRUE(test::SameRecord(got.rec, null_bitmap)) << angle << " degrees, " << c;
        ASSERT_EQ(c.source->bytes, before) << c;
    }
}

/* The raw buffer is the packed rows with room for the larger of both sizes; what lies behind stays. */
TEST_P(TurnsRandom, RotatePicSPEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        const sint32 bits = GetParam().bits;
        const sint32 width = c.source->rec.biWidth;
        const sint32 height = c.source->rec.biHeight;
        const sint32 angle = c.random.OneOf<sint32>({0, 90, 180, 270, 90, 180, 270, 360, -90, 45});
        const sint32 room =
            std::max(height * test::PackedStride(width, bits), width * test::PackedStride(height, bits));
        std::vector<uint8> got(static_cast<size_t>(room) + 9);
        for (uint8& byte : got) byte = c.random.Byte();
        std::vector<uint8> want = got;
        sint32 got_size[2] = {width, height}, want_size[2] = {width, height};
        const sint32 want_code = literal::RotatePicSP(want.data(), &want_size[0], &want_size[1], bits, angle);
        ASSERT_EQ(RotatePicSP(got.data(), &got_size[0], &got_size[1], bits, angle), want_code)
            << angle << " degrees, " << c;
        ASSERT_EQ(got_size[0], want_size[0]) << angle << " degrees, " << c;
        ASSERT_EQ(got_size[1], want_size[1]) << angle << " degrees, " << c;
        ASSERT_EQ(got, want) << angle << " degrees, " << c;
    }
}

TEST_P(TurnsRandom, BWBitmapEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        const uint8 threshold = c.random.OneIn(4) ? c.random.OneOf<uint8>({0, 254, 255}) : c.random.Byte();
        test::Bitmap got, want;
        ASSERT_EQ(literal::GetBWBitmap(&c.source->rec, &want.rec, threshold), 0);
        ASSERT_EQ(GetBWBitmap(&c.source->rec, &got.rec, threshold), 0) << c;
        ASSERT_NO_FATAL_FAILURE(ExpectSameBitmap(got.rec, want.rec)) << "threshold " << +threshold << ", " << c;
    }
}

TEST_P(TurnsRandom, GrayBitmapEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        test::Bitmap got, want;
        ASSERT_EQ(literal::GetGrayBitmap(&c.source->rec, &want.rec), 0);
        ASSERT_EQ(GetGrayBitmap(&c.source->rec, &got.rec), 0) << c;
        ASSERT_NO_FATAL_FAILURE(ExpectSameBitmap(got.rec, want.rec)) << c;
    }
}

TEST_P(TurnsRandom, ColorBitmapEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        test::Bitmap got, want;
        ASSERT_EQ(literal::GetColorBitmap(&c.source->rec, &want.rec), 0);
        ASSERT_EQ(GetColorBitmap(&c.source->rec, &got.rec), 0) << c;
        ASSERT_NO_FATAL_FAILURE(ExpectSameBitmap(got.rec, want.rec)) << c;
    }
}

INSTANTIATE_TEST_SUITE_P(All, TurnsRandom,
                         testing::Values(Combination{1, false}, Combination{1, true}, Combination{8, false},
                                         Combination{8, true}, Combination{24, false}, Combination{24, true}),
                         [](const auto& combination) { return Name(combination.param); });

} // namespace
