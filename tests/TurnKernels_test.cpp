/*
 * TurnKernels_test.cpp - right-angle turns at every level of instructions against the plain code.
 *
 *   TurnKernels_test --rounds=1000000 [--first=SEED]     more random cases than by default, from another one on
 *
 * Every row of source and result lies in memory of exactly its size, so that a sanitizer sees any byte read or written
 * beyond; or between guard bytes, for builds without one.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/ChosenLevel.h"
#include "support/RandomBitmap.h"
#include "support/Rounds.h"

#include "../src/BitmapRotate.cpp"

namespace
{

using test::Random;

struct Case {
    sint32 bits;
    sint32 angle;
    TurnFun plain;
};

const Case kCases[] = {
    {1, 90, TurnPixels<Pixel1, Turn90>},     {1, 180, TurnPixels<Pixel1, Turn180>},
    {1, 270, TurnPixels<Pixel1, Turn270>},   {8, 90, TurnPixels<Pixel8, Turn90>},
    {8, 180, TurnPixels<Pixel8, Turn180>},   {8, 270, TurnPixels<Pixel8, Turn270>},
    {24, 90, TurnPixels<Pixel24, Turn90>},   {24, 180, TurnPixels<Pixel24, Turn180>},
    {24, 270, TurnPixels<Pixel24, Turn270>},
};

std::string NameOf(const Case& c) { return "b" + std::to_string(c.bits) + "_by" + std::to_string(c.angle); }
void PrintTo(const Case& c, std::ostream* out) { *out << NameOf(c); }

TurnFun KernelOf(Level level, const Case& c)
{
    const TurnKernelsRec& turn = KernelsOf(level)->turn;
    return (c.bits == 1 ? turn.Turn1 : c.bits == 8 ? turn.Turn8 : turn.Turn24)[c.angle / 90 - 1];
}

/* Levels with kernels. */
std::vector<Level> KernelLevels()
{
    std::vector<Level> levels = Levels();
    levels.erase(levels.begin());
    return levels;
}

const uint8 kGuardByte = 0xA5;

/* An image of scattered rows, each with so many guard bytes before and behind it. */
class Rows
{
public:
    Rows(sint32 width, sint32 height, sint32 bits, sint32 guard_bytes)
        : packed(test::PackedStride(width, bits)), guard(guard_bytes)
    {
        for (sint32 row = 0; row < height; ++row) {
            const sint32 size = packed + 2 * guard;
            memory.emplace_back(new uint8[static_cast<size_t>(size)]);
            std::fill(memory.back().get(), memory.back().get() + size, kGuardByte);
            lines.push_back(memory.back().get() + guard);
        }
        rec = {width, height, bits, packed * height, packed, lines.data(), lines[0]};
    }

    /* As the library hands out new images, the bits behind the last pixel are clear, all else is left over. */
    void ClearLastBits()
    {
        if (rec.biBitCount * rec.biWidth % 8 == 0) return;
        for (uint8* line : lines) line[packed - 1] = 0;
    }

    void FillWithNoise(Random* random)
    {
        for (uint8* line : lines)
            for (sint32 k = 0; k < packed; ++k) line[k] = random->Byte();
    }

    bool GuardsStand() const
    {
        for (const auto& line : memory)
            for (sint32 k = 0; k < guard; ++k)
                if (line[k] != kGuardByte || line[guard + packed + k] != kGuardByte) return false;
        return true;
    }

    bool HasSamePixels(const Rows& other) const
    {
        for (size_t row = 0; row < lines.size(); ++row)
            if (std::memcmp(lines[row], other.lines[row], static_cast<size_t>(packed)) != 0) return false;
        return true;
    }

    BitmapRec rec = null_bitmap;

private:
    sint32 packed;
    sint32 guard;
    std::vector<std::unique_ptr<uint8[]>> memory;
    std::vector<uint8*> lines;
};

class TurnKernels : public testing::TestWithParam<Case>
{
protected:
    void ExpectEqual(sint32 width, sint32 height, uint32 seed, sint32 guard)
    {
        const Case& c = GetParam();
        Random random(seed);
        Rows source(width, height, c.bits, 0);
        source.FillWithNoise(&random);
        Rows before(width, height, c.bits, 0);
        for (sint32 row = 0; row < height; ++row)
            std::memcpy(before.rec.ScanLine[row], source.rec.ScanLine[row],
                        static_cast<size_t>(source.rec.BytesPerLine));

        const bool across = c.angle != 180;
        Rows want(across ? height : width, across ? width : height, c.bits, 0);
        want.ClearLastBits();
        c.plain(source.rec, want.rec);
        for (Level level : KernelLevels()) {
            Rows got(want.rec.biWidth, want.rec.biHeight, c.bits, guard);
            KernelOf(level, c)(source.rec, got.rec);
            ASSERT_TRUE(got.HasSamePixels(want))
                << NameOf(level) << ", " << width << "x" << height << ", seed " << seed;
            ASSERT_TRUE(got.GuardsStand()) << NameOf(level) << ", " << width << "x" << height;
        }
        ASSERT_TRUE(source.HasSamePixels(before)) << width << "x" << height;
    }
};

TEST_P(TurnKernels, EveryLevelHasOne)
{
    for (Level level : KernelLevels()) EXPECT_NE(nullptr, KernelOf(level, GetParam())) << NameOf(level);
}

TEST_P(TurnKernels, EveryWidthAndEveryHeightUpTo300)
{
    for (sint32 side = 1; side <= 300; ++side) {
        const sint32 other = 1 + side * 37 % 41;
        ASSERT_NO_FATAL_FAILURE(ExpectEqual(side, other, static_cast<uint32>(side), side % 2 * 70));
        ASSERT_NO_FATAL_FAILURE(ExpectEqual(other, side, static_cast<uint32>(side), side % 2 * 70));
    }
}

/* Sides around the sizes of tiles, with nothing, something and all of a tile beyond whole ones. */
TEST_P(TurnKernels, SidesAroundWholeTiles)
{
    std::vector<sint32> sides;
    for (sint32 tile : {8, 16, 32, 64, 128})
        for (sint32 more : {-1, 0, 1}) sides.push_back(tile + more);
    for (sint32 width : sides)
        for (sint32 height : sides) ASSERT_NO_FATAL_FAILURE(ExpectEqual(width, height, 1, 0));
}

/* More rows than are taken together. */
TEST_P(TurnKernels, ManyRows)
{
    for (sint32 height : {511, 512, 513, 1100}) ASSERT_NO_FATAL_FAILURE(ExpectEqual(70, height, 1, 0));
}

TEST_P(TurnKernels, RandomSizes)
{
    for (uint32 seed = test::FirstSeed(), rounds = test::Rounds(60); rounds > 0; --rounds, ++seed) {
        Random random(seed);
        const sint32 largest = random.OneIn(10) ? 600 : 150;
        const sint32 width = random.Between(1, largest);
        const sint32 height = random.Between(1, largest);
        ASSERT_NO_FATAL_FAILURE(ExpectEqual(width, height, seed, random.OneIn(2) ? 0 : random.Between(1, 80)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TurnKernels, testing::ValuesIn(kCases),
                         [](const auto& c) { return NameOf(c.param); });

} // namespace
