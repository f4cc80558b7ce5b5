/*
 * RotateBitmap_random_test.cpp - the rotation against its literal second writing, byte for byte.
 */
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "QuarloBitmap.h"
#include "support/LiteralRotation.h"
#include "support/RandomBitmap.h"
#include "support/TestBitmap.h"

namespace
{

using test::Random;
using test::RawBitmap;

const sint32 CasesEach = 500;
const sint32 LargestSide = 36;

/* Everything that one call is given. */
struct Rotation {
    explicit Rotation(uint32 random_seed) : seed(random_seed) {}
    Rotation(const Rotation&) = delete;
    Rotation& operator=(const Rotation&) = delete;

    uint32 seed;
    std::unique_ptr<RawBitmap> source;
    std::vector<LineSeckRec> spans;
    RowSeckRec mask = null_row_seck;
    Real64 angle = 0.0;
    PointRec pivot = null_point;
    sint32 width = 1;
    sint32 height = 1;
    sint32 interpolation = 3;
    uint8 color[3] = {0, 0, 0};
};

std::ostream& operator<<(std::ostream& out, const Rotation& r)
{
    const BitmapRec& rec = r.source->rec;
    out.precision(17);
    return out << "b" << rec.biBitCount << " code " << r.interpolation << ", source " << rec.biWidth << "x"
               << rec.biHeight << " stride " << rec.BytesPerLine << ", output " << r.width << "x" << r.height
               << ", angle " << r.angle << ", pivot (" << r.pivot.x << ", " << r.pivot.y << "), rows " << r.mask.top
               << ".." << r.mask.bottom << ", color " << +r.color[0] << " " << +r.color[1] << " " << +r.color[2]
               << ", seed " << r.seed;
}

/* Noise, greys around the irregular table entries, flat runs, and sharp steps. */
void FillSource(Random& random, std::vector<uint8>& bytes)
{
    const sint32 kind = random.Between(0, 3);
    uint8 run = 0;
    for (uint8& byte : bytes) {
        if (random.OneIn(5)) run = random.OneOf<uint8>({0, 1, 9, 128, 221, 222, 225, 228, 229, 230, 254, 255});
        if (kind == 0) byte = random.Byte();
        if (kind == 1) byte = random.OneIn(6) ? 255 : static_cast<uint8>(random.Between(221, 230));
        if (kind == 2) byte = run;
        if (kind == 3) byte = random.OneIn(3) ? 0 : 255;
    }
}

/*
 * Rows outside the mask would accept everything, and none is allocated behind its last. Some spans reach into the
 * copies of the last column, as far as every interpolation can read.
 */
void FillMask(Random& random, Rotation& r)
{
    const sint32 last_col = r.source->rec.biWidth - 1;
    const sint32 last_row = r.source->rec.biHeight - 1;
    const bool all_rows = random.OneIn(2);
    r.mask.top = all_rows ? 0 : random.Between(0, last_row - 1);
    r.mask.bottom = all_rows ? last_row : random.Between(r.mask.top + 1, last_row);
    r.spans.assign(static_cast<size_t>(r.mask.bottom) + 1, {0, last_col});
    const sint32 kind = random.Between(0, 4);
    const LineSeckRec box = {random.Between(0, last_col), last_col};
    for (sint32 y = r.mask.top; y <= r.mask.bottom; ++y) {
        LineSeckRec& span = r.spans[static_cast<size_t>(y)];
        if (kind == 1) span = box;
        if (kind == 2) span = {random.Between(0, last_col), random.Between(0, last_col)};
        if (kind == 4) span.right += random.Between(-1, 5);
        if (kind == 3) span = {random.Between(0, last_col / 4), last_col - random.Between(0, last_col / 4)};
    }
    r.mask.index = r.mask.bottom - r.mask.top + 1;
    r.mask.len = static_cast<sint32>(r.spans.size());
    r.mask.seck = r.spans.data();
}

/* Of an angle whose sine or cosine is a whole tenth, most sums lie on the limits where truncation decides. */
Real64 RandomAngle(Random& random)
{
    const Real64 sign = random.OneIn(2) ? 1.0 : -1.0;
    const sint32 kind = random.Between(0, 8);
    if (kind == 0) return 0.0;
    if (kind == 1) return sign * random.OneOf<Real64>({1e-9, 1e-6, 1e-3, 1e-2});
    if (kind == 2) return sign * random.Between(1, 9) * 1.57079632679489661923;
    if (kind == 3) return sign * random.Between(1, 9) * 1.5707963;
    if (kind == 4) return sign * random.Fraction() * 0.3;
    if (kind == 5) return sign * random.Fraction() * 6.2831853;
    if (kind == 6) return sign * random.Fraction() * 1000.0;
    if (kind == 7) return sign * std::asin(random.Between(1, 9) * 0.1);
    return sign * std::acos(random.Between(1, 9) * 0.1);
}

/* A side of 1 to LargestSide pixels. */
sint32 RandomSide(Random& random, bool even)
{
    const sint32 half = random.Between(1, LargestSide / 2);
    return even ? 2 * half : 2 * half - 1;
}

void FillRotation(Random& random, Rotation& r, sint32 bits, sint32 interpolation, bool even_width, bool even_height)
{
    const sint32 width = random.Between(1, LargestSide);
    const sint32 height = random.Between(2, LargestSide);
    const sint32 packed = test::PackedStride(width, bits);
    const sint32 stride = random.OneOf<sint32>(
        {packed, test::AlignedStride(width, bits), packed + random.Between(1, 7), packed + random.Between(8, 60)});
    r.source = std::make_unique<RawBitmap>(width, height, bits, stride);
    FillSource(random, r.source->bytes);
    FillMask(random, r);
    r.angle = RandomAngle(random);
    r.pivot = {random.Between(0, width - 1), random.Between(0, height - 1)};
    if (random.OneIn(3)) r.pivot.x = random.OneIn(2) ? 0 : width - 1;
    if (random.OneIn(3)) r.pivot.y = random.OneIn(2) ? 0 : height - 1;
    if (random.OneIn(3)) r.pivot = {width / 2, height / 2};
    r.width = RandomSide(random, even_width);
    r.height = RandomSide(random, even_height);
    r.interpolation = interpolation;
    for (uint8& byte : r.color) byte = random.Byte();
    if (bits == 1 && random.OneIn(2)) r.color[0] = 255;
}

/* Rotates with both and compares all that a caller can see. */
void ExpectSameRotation(Rotation& r, test::Bitmap& got)
{
    const std::vector<uint8> source_before = r.source->bytes;
    test::Bitmap want;
    const sint32 want_code = literal::RotateBitmap(&r.source->rec, &want.rec, &r.mask, r.angle, r.pivot, r.width,
                                                   r.height, r.interpolation, r.color);
    const sint32 got_code = RotateBitmap(&r.source->rec, &got.rec, &r.mask, r.angle, r.pivot, r.width, r.height,
                                         r.interpolation, r.color);
    ASSERT_EQ(want_code, 0) << r;
    ASSERT_EQ(got_code, 0) << r;
    ASSERT_NE(got.rec.buffer, nullptr) << r;
    ASSERT_EQ(got.rec.biWidth, want.rec.biWidth) << r;
    ASSERT_EQ(got.rec.biHeight, want.rec.biHeight) << r;
    ASSERT_EQ(got.rec.biBitCount, want.rec.biBitCount) << r;
    ASSERT_EQ(got.rec.bfSize, want.rec.bfSize) << r;
    ASSERT_EQ(got.rec.BytesPerLine, want.rec.BytesPerLine) << r;
    for (sint32 row = 0; row < got.rec.biHeight; ++row) {
        ASSERT_EQ(got.rec.ScanLine[row], got.rec.buffer + row * got.rec.BytesPerLine) << r;
        for (sint32 k = 0; k < got.rec.BytesPerLine; ++k)
            ASSERT_EQ(+got.rec.ScanLine[row][k], +want.rec.ScanLine[row][k])
                << "row " << row << " byte " << k << " of " << r;
    }
    ASSERT_EQ(r.source->bytes, source_before) << r;
}

/* The pixel as Bitmap::At tells it where nothing of the page is seen. */
uint32 Background(const Rotation& r, sint32 col)
{
    const uint32 first = r.color[0];
    if (r.source->rec.biBitCount == 1) return (first >> (7 - col % 8)) & 1u;
    if (r.source->rec.biBitCount == 8) return first;
    return first | static_cast<uint32>(r.color[1]) << 8 | static_cast<uint32>(r.color[2]) << 16;
}

struct Combination {
    sint32 bits;
    sint32 interpolation;
    bool even_width;
    bool even_height;
};

std::string Name(const Combination& c)
{
    const char* const names[] = {"", "cubic", "bilinear", "nearest"};
    return "b" + std::to_string(c.bits) + "_" + names[c.interpolation] + (c.even_width ? "_even" : "_odd") +
           "Width" + (c.even_height ? "_even" : "_odd") + "Height";
}

void PrintTo(const Combination& c, std::ostream* out) { *out << Name(c); }

std::vector<Combination> AllCombinations()
{
    std::vector<Combination> all;
    for (sint32 bits : {24, 8, 1})
        for (sint32 interpolation : {1, 2, 3})
            for (bool even_width : {false, true})
                for (bool even_height : {false, true})
                    all.push_back({bits, interpolation, even_width, even_height});
    return all;
}

class RotateBitmapRandom : public testing::TestWithParam<Combination>
{
protected:
    /* A seed of its own for every case, so that a failing one can be run alone. */
    uint32 Seed(sint32 k) const
    {
        const Combination& c = GetParam();
        return static_cast<uint32>(((c.bits * 4 + c.interpolation) * 4 + c.even_width * 2 + c.even_height) * 10000 +
                                   k);
    }
};

TEST_P(RotateBitmapRandom, EqualsLiteralRotation)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Rotation r(Seed(k));
        Random random(r.seed);
        FillRotation(random, r, GetParam().bits, GetParam().interpolation, GetParam().even_width,
                     GetParam().even_height);
        test::Bitmap got;
        ASSERT_NO_FATAL_FAILURE(ExpectSameRotation(r, got));
    }
}

/* The tables start at 0, so the pivot's own offset is a number whatever the angle; every other one is not. */
TEST_P(RotateBitmapRandom, NonFiniteAngleLeavesBackgroundAroundPivot)
{
    const Real64 nan = std::numeric_limits<Real64>::quiet_NaN();
    const Real64 infinity = std::numeric_limits<Real64>::infinity();
    for (sint32 k = 0; k < 9; ++k) {
        Rotation r(Seed(k));
        Random random(r.seed);
        FillRotation(random, r, GetParam().bits, GetParam().interpolation, GetParam().even_width,
                     GetParam().even_height);
        r.angle = random.OneOf<Real64>({nan, infinity, -infinity});
        test::Bitmap got;
        ASSERT_NO_FATAL_FAILURE(ExpectSameRotation(r, got));
        for (sint32 row = 0; row < r.height; ++row) {
            for (sint32 col = 0; col < r.width; ++col) {
                const bool centre = row == (r.height - 1) / 2 && col == (r.width - 1) / 2;
                if (centre) continue;
                ASSERT_EQ(got.At(row, col), Background(r, col)) << "row " << row << " column " << col << ", " << r;
            }
        }
    }
}

/* One argument at a time is replaced, often by a value outside its set. */
TEST_P(RotateBitmapRandom, DoubtfulArgumentGivesLiteralCode)
{
    sint32 refused = 0;
    for (sint32 k = 0; k < CasesEach; ++k) {
        Rotation r(Seed(k));
        Random random(r.seed);
        FillRotation(random, r, GetParam().bits, GetParam().interpolation, GetParam().even_width,
                     GetParam().even_height);
        BitmapRec& rec = r.source->rec;
        const sint32 kind = random.Between(0, 8);
        if (kind == 0) r.width = random.Between(-1, 1);
        if (kind == 1) r.height = random.Between(-1, 1);
        if (kind == 2) r.pivot.x = random.OneOf<sint32>({-1, 0, rec.biWidth - 1, rec.biWidth});
        if (kind == 3) r.pivot.y = random.OneOf<sint32>({-1, 0, rec.biHeight - 1, rec.biHeight});
        if (kind == 4) r.interpolation = random.Between(-1, 5);
        if (kind == 5) r.mask.top = random.OneOf<sint32>({-1, r.mask.bottom, r.mask.bottom + 1});
        if (kind == 6) r.mask.bottom = random.OneOf<sint32>({rec.biHeight, r.mask.top, r.mask.top - 1});
        if (kind == 7) rec.biBitCount = random.OneOf<sint32>({0, 2, 4, 16, 32, rec.biBitCount});
        if (kind == 8) rec.BytesPerLine = random.OneOf<sint32>({0, -1, rec.BytesPerLine});
        test::Bitmap want;
        const sint32 want_code = literal::RotateBitmap(&rec, &want.rec, &r.mask, r.angle, r.pivot, r.width,
                                                       r.height, r.interpolation, r.color);
        BitmapRec got = null_bitmap;
        got.biWidth = -7;
        const BitmapRec before = got;
        const sint32 got_code =
            RotateBitmap(&rec, &got, &r.mask, r.angle, r.pivot, r.width, r.height, r.interpolation, r.color);
        ASSERT_EQ(got_code, want_code) << r;
        if (want_code != 0) {
            ++refused;
            ASSERT_TRUE(test::SameRecord(got, before)) << r;
        } else {
            ASSERT_EQ(test::PackedPixels(got), test::PackedPixels(want.rec)) << r;
            Bitmap_Done(&got);
        }
    }
    EXPECT_GT(refused, CasesEach / 4);
}

INSTANTIATE_TEST_SUITE_P(All, RotateBitmapRandom, testing::ValuesIn(AllCombinations()),
                         [](const auto& combination) { return Name(combination.param); });

} // namespace
