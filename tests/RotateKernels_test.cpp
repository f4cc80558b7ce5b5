/*
 * RotateKernels_test.cpp - rotation at every level of instructions against the plain code, byte for byte.
 *
 *   RotateKernels_test --rounds=1000000 [--first=SEED]     more random cases than by default, from another one on
 *
 * Sources lie in memory of exactly their size, in one block or every row alone, so that a sanitizer sees any byte
 * read beyond.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "BitmapProcessing.h"
#include "QuarloBitmap.h"
#include "support/ChosenLevel.h"
#include "support/RandomBitmap.h"
#include "support/Rounds.h"

namespace
{

using test::Random;

/* A source whose rows follow each other, or lie anywhere. */
class Source
{
public:
    Source(Random& random, sint32 width, sint32 height, sint32 bits)
    {
        const sint32 packed = test::PackedStride(width, bits);
        const sint32 stride = packed + (random.OneIn(2) ? 0 : random.Between(0, 70));
        if (random.OneIn(2))
            blocks.emplace_back(new uint8[static_cast<size_t>(stride * (height - 1) + packed)]);
        else
            for (sint32 row = 0; row < height; ++row) blocks.emplace_back(new uint8[static_cast<size_t>(packed)]);
        for (sint32 row = 0; row < height; ++row)
            rows.push_back(blocks.size() == 1 ? blocks[0].get() + row * stride
                                              : blocks[static_cast<size_t>(row)].get());
        rec = {width, height, bits, stride * height, stride, rows.data(), blocks[0].get()};
        const bool noise = random.OneIn(2);
        for (uint8* row : rows)
            for (sint32 k = 0; k < packed; ++k)
                row[k] = noise ? random.Byte()
                               : random.OneOf<uint8>({0, 1, 128, 221, 222, 225, 229, 230, 253, 254, 255});
    }

    BitmapRec rec = null_bitmap;

private:
    std::vector<std::unique_ptr<uint8[]>> blocks;
    std::vector<uint8*> rows;
};

struct Rotation {
    Real64 angle;
    PointRec pivot;
    sint32 width;
    sint32 height;
    sint32 interpolation;
    std::vector<LineSeckRec> spans;
    RowSeckRec mask;
    uint8 color[3];
};

Real64 RandomAngle(Random& random)
{
    const Real64 sign = random.OneIn(2) ? 1.0 : -1.0;
    switch (random.Between(0, 9)) {
    case 0:
        return 0.0;
    case 1:
        return sign * std::pow(10.0, -random.Between(1, 18)) * (1.0 + random.Fraction());
    case 2:
        return sign * 6.3 * random.Fraction();
    case 3:
        return random.Between(-4, 4) * std::atan(1.0) + (random.OneIn(2) ? 0.0 : sign * 1e-9);
    case 4:
        return sign * 0.8 * random.Fraction();
    case 5:
        return random.OneIn(8) ? random.OneOf<Real64>({std::numeric_limits<Real64>::quiet_NaN(),
                                                       std::numeric_limits<Real64>::infinity(), 1e300})
                               : sign * 0.3 * random.Fraction();
    default:
        return sign * 0.1 * random.Fraction();
    }
}

/* The page as it would lie in the source, everything, or spans without any order. */
void FillMask(Random& random, const BitmapRec& source, Rotation* r)
{
    const sint32 last_col = source.biWidth - 1;
    r->mask = null_row_seck;
    r->mask.top = random.OneIn(2) ? 0 : random.Between(0, source.biHeight - 2);
    r->mask.bottom = random.OneIn(2) ? source.biHeight - 1 : random.Between(r->mask.top + 1, source.biHeight - 1);
    const sint32 kind = random.Between(0, 3);
    const Real64 slope = std::tan(r->angle);
    const sint32 left = random.Between(0, last_col);
    const sint32 right = random.Between(left, last_col);
    for (sint32 y = 0; y < source.biHeight; ++y) {
        LineSeckRec span = {0, last_col};
        if (kind == 1) {
            const Real64 shift = std::max(-1000.0, std::min(1000.0, slope * (y - source.biHeight / 2)));
            span = {left + static_cast<sint32>(shift), right + static_cast<sint32>(shift)};
            span = {std::max(0, span.left), std::min(last_col, span.right)};
        }
        if (kind == 2 && random.OneIn(3)) span = {random.Between(-9, last_col), random.Between(0, last_col + 9)};
        if (kind == 3 && random.OneIn(40))
            span = random.OneIn(2) ? LineSeckRec{last_col, 0} : LineSeckRec{INT32_MIN, INT32_MAX};
        r->spans.push_back(span);
    }
    r->mask.seck = r->spans.data();
}

sint32 RandomSide(Random& random)
{
    if (random.OneIn(12)) return random.Between(160, 700);
    return random.OneIn(3) ? random.Between(1, 40) : random.Between(20, 160);
}

Rotation RandomRotation(Random& random, const BitmapRec& source)
{
    Rotation r = {};
    r.angle = RandomAngle(random);
    if (std::isnan(r.angle) || std::isinf(r.angle)) r.angle = 0.01;
    FillMask(random, source, &r);
    r.angle = random.OneIn(60) ? RandomAngle(random) : r.angle;
    const bool centred = random.OneIn(2);
    r.pivot = {centred ? source.biWidth / 2 : random.Between(0, source.biWidth - 1),
               centred ? source.biHeight / 2 : random.Between(0, source.biHeight - 1)};
    r.width = random.OneIn(2) ? RandomSide(random) : source.biWidth + random.Between(0, 20);
    r.height = random.OneIn(2) ? RandomSide(random) : source.biHeight + random.Between(0, 20);
    r.interpolation = random.Between(1, 3);
    for (uint8& byte : r.color) byte = random.Byte();
    return r;
}

/* The result with everything that the record says; empty when there is none. */
std::vector<uint8> Rotated(Level level, BitmapRec source, Rotation r)
{
    ChooseLevel(level);
    BitmapRec dest = null_bitmap;
    r.mask.seck = r.spans.data();
    const sint32 code =
        RotateBitmap(&source, &dest, &r.mask, r.angle, r.pivot, r.width, r.height, r.interpolation, r.color);
    ChooseLevel(HighestLevel());
    if (code != 0) return {static_cast<uint8>(code)};
    std::vector<uint8> bytes(dest.buffer, dest.buffer + dest.bfSize);
    for (sint32 k : {dest.biWidth, dest.biHeight, dest.biBitCount, dest.BytesPerLine})
        for (sint32 shift : {0, 8, 16, 24}) bytes.push_back(static_cast<uint8>(k >> shift));
    Bitmap_Done(&dest);
    return bytes;
}

std::string Describe(const BitmapRec& source, const Rotation& r, uint32 seed)
{
    return "seed " + std::to_string(seed) + ": " + std::to_string(source.biBitCount) + " bits, code " +
           std::to_string(r.interpolation) + ", " + std::to_string(source.biWidth) + " x " +
           std::to_string(source.biHeight) + " to " + std::to_string(r.width) + " x " + std::to_string(r.height) +
           ", angle " + std::to_string(r.angle);
}

/* Whether all levels agree; says where they do not. */
testing::AssertionResult SameAtEveryLevel(const BitmapRec& source, const Rotation& r, uint32 seed)
{
    const std::vector<uint8> plain = Rotated(Level::Plain, source, r);
    for (Level level : Levels()) {
        const std::vector<uint8> bytes = Rotated(level, source, r);
        if (bytes == plain) continue;
        const auto at = std::mismatch(plain.begin(), plain.end(), bytes.begin(), bytes.end()).first - plain.begin();
        return testing::AssertionFailure()
               << Describe(source, r, seed) << ": " << NameOf(level) << " differs at byte " << at;
    }
    return testing::AssertionSuccess();
}

TEST(RotateKernels, RandomRotationsEqualThePlainOnes)
{
    for (uint32 seed = test::FirstSeed(); seed - test::FirstSeed() < test::Rounds(1500); ++seed) {
        Random random(seed);
        const sint32 bits = random.OneOf<sint32>({1, 8, 24});
        const Source source(random, RandomSide(random), std::max(2, RandomSide(random)), bits);
        ASSERT_TRUE(SameAtEveryLevel(source.rec, RandomRotation(random, source.rec), seed));
    }
}

/* Every pair of tenths meets every pair of neighbouring values that the tables treat in a way of its own. */
TEST(RotateKernels, EveryTenthMeetsEverySpecialValue)
{
    const std::vector<uint8> special = {0, 1, 8, 9, 10, 127, 128, 220, 221, 222, 223, 228, 229, 230, 253, 254, 255};
    for (sint32 bits : {8, 24}) {
        for (sint32 interpolation : {1, 2}) {
            Random random(static_cast<uint32>(bits + interpolation));
            Source source(random, 330, 300, bits);
            for (sint32 y = 0; y < 300; ++y)
                for (sint32 x = 0; x < test::PackedStride(330, bits); ++x)
                    source.rec.ScanLine[y][x] = random.OneOf(special);
            Rotation r = {0.09, {165, 150}, 340, 310, interpolation, {}, null_row_seck, {1, 2, 3}};
            r.spans.assign(300, {0, 329});
            r.mask.bottom = 299;
            EXPECT_TRUE(SameAtEveryLevel(source.rec, r, 0));
            r.angle = -0.37;
            EXPECT_TRUE(SameAtEveryLevel(source.rec, r, 0));
        }
    }
}

/* So large that a stream has several pieces, and so steep or flat that runs are a pixel or a whole piece long. */
TEST(RotateKernels, LongRowsAtEveryKindOfAngle)
{
    for (sint32 bits : {1, 8, 24}) {
        Random random(static_cast<uint32>(bits));
        const Source source(random, 1400, 60, bits);
        for (Real64 angle :
             {0.0, -0.0, 1e-15, -1e-9, 1e-6, 0.0002, 0.0004, -0.002, 0.02, 0.3, 1.0, 1.5707, 2.5, 3.14159}) {
            for (sint32 interpolation : {1, 2, 3}) {
                Rotation r = {angle, {700, 30}, 1391, 52, interpolation, {}, null_row_seck, {9, 8, 7}};
                r.spans.assign(60, {2, 1397});
                r.mask.bottom = 59;
                EXPECT_TRUE(SameAtEveryLevel(source.rec, r, 0));
            }
        }
    }
}

/* A page as scanners give them, whose output is too large for caches. */
TEST(RotateKernels, WholePagesEqualThePlainOnes)
{
    for (sint32 bits : {1, 8, 24}) {
        Random random(static_cast<uint32>(bits));
        const Source source(random, 1900, 1700, bits);
        Rotation r = {0.04, {950, 850}, 1801, 1600, bits == 8 ? 1 : 2, {}, null_row_seck, {9, 8, 7}};
        for (sint32 y = 0; y < 1700; ++y) r.spans.push_back({40 + y / 25, 1790 + y / 25});
        r.mask.top = 20;
        r.mask.bottom = 1680;
        EXPECT_TRUE(SameAtEveryLevel(source.rec, r, 0));
    }
}

/* An image that fits a record only without its border is refused at every level. */
TEST(RotateKernels, ImageThatCannotBeEnlargedIsRefusedAtEveryLevel)
{
    uint8 pixels[16] = {0};
    uint8* rows[2] = {pixels, pixels};
    BitmapRec source = {INT32_MAX - 15, 2, 1, 16, 8, rows, pixels};
    Rotation r = {0.0, {0, 0}, 4, 4, 3, {}, null_row_seck, {9, 8, 7}};
    r.spans.assign(2, {0, 3});
    r.mask.bottom = 1;
    for (Level level : Levels()) EXPECT_EQ(std::vector<uint8>{5}, Rotated(level, source, r)) << NameOf(level);
}

} // namespace
