/*
 * ConvertKernels_test.cpp - conversion between depths at every level of instructions against the plain code.
 *
 *   ConvertKernels_test --rounds=1000000 [--first=SEED]     more random cases than by default, from another one on
 *
 * Rows lie in memory of exactly their size, so that a sanitizer sees any byte read or written beyond; results are
 * surrounded by guard bytes too, for builds without one.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/ChosenLevel.h"
#include "support/RandomBitmap.h"
#include "support/Rounds.h"

#include "../src/BitmapProcessing.cpp"

namespace
{

using test::Random;

struct Conversion {
    const char* name;
    sint32 from_bits;
    sint32 to_bits;
    ConvertRowFun plain;
    ConvertRowFun ConvertKernelsRec::*kernel;
};

const Conversion kConversions[] = {
    {"BWToGray", 1, 8, ConvertRow<ReadBit, WriteGray>, &ConvertKernelsRec::BWToGray},
    {"BWToColor", 1, 24, ConvertRow<ReadBit, WriteColor>, &ConvertKernelsRec::BWToColor},
    {"GrayToBW", 8, 1, ConvertRow<ReadGray, WriteBW>, &ConvertKernelsRec::GrayToBW},
    {"GrayToColor", 8, 24, ConvertRow<ReadGray, WriteColor>, &ConvertKernelsRec::GrayToColor},
    {"ColorToBW", 24, 1, ConvertRow<ReadColor, WriteBW>, &ConvertKernelsRec::ColorToBW},
    {"ColorToGray", 24, 8, ConvertRow<ReadColor, WriteGray>, &ConvertKernelsRec::ColorToGray},
};

void PrintTo(const Conversion& conversion, std::ostream* out) { *out << conversion.name; }

/* Levels with kernels. */
std::vector<Level> KernelLevels()
{
    std::vector<Level> levels = Levels();
    levels.erase(levels.begin());
    return levels;
}

/* Bytes on the heap, exactly as many as asked for. */
class Row
{
public:
    explicit Row(sint32 num) : size(static_cast<size_t>(num)), bytes(new uint8[size]) {}
    uint8* data() { return bytes.get(); }

    const size_t size;

private:
    std::unique_ptr<uint8[]> bytes;
};

const sint32 kGuard = 80;
const uint8 kGuardByte = 0xA5;

/* What a kernel makes of a row that starts out as noise; guard bytes before and behind have to stay. */
std::vector<uint8> Converted(ConvertRowFun kernel, const Conversion& conversion, const uint8* from, sint32 num,
                             uint8 DividingValue, bool guarded)
{
    const size_t to_size = static_cast<size_t>(test::PackedStride(num, conversion.to_bits));
    const size_t guard = guarded ? kGuard : 0;
    Row to(static_cast<sint32>(to_size + 2 * guard));
    std::fill(to.data(), to.data() + to.size, kGuardByte);
    kernel(from, to.data() + guard, num, DividingValue);
    for (size_t k = 0; k < guard; ++k) {
        EXPECT_EQ(+kGuardByte, +to.data()[k]) << "byte " << k << " before the row";
        EXPECT_EQ(+kGuardByte, +to.data()[guard + to_size + k]) << "byte " << k << " behind the row";
    }
    return std::vector<uint8>(to.data() + guard, to.data() + guard + to_size);
}

/* The plain code writes pixels only; the bits behind the last one are clear in a new bitmap. */
std::vector<uint8> Expected(const Conversion& conversion, const uint8* from, sint32 num, uint8 DividingValue)
{
    std::vector<uint8> to(static_cast<size_t>(test::PackedStride(num, conversion.to_bits)));
    conversion.plain(from, to.data(), num, DividingValue);
    return to;
}

class ConvertKernels : public testing::TestWithParam<Conversion>
{
protected:
    void ExpectEqual(Level level, const uint8* from, sint32 num, uint8 DividingValue, bool guarded)
    {
        const Conversion& conversion = GetParam();
        ASSERT_EQ(
            Expected(conversion, from, num, DividingValue),
            Converted(KernelsOf(level)->convert.*conversion.kernel, conversion, from, num, DividingValue, guarded))
            << NameOf(level) << ", " << num << " pixels, threshold " << +DividingValue;
    }
};

TEST_P(ConvertKernels, EveryLevelHasOne)
{
    for (Level level : KernelLevels())
        EXPECT_NE(nullptr, KernelsOf(level)->convert.*GetParam().kernel) << NameOf(level);
}

/* Rows from the start of their memory to its end, at every alignment. */
TEST_P(ConvertKernels, EveryWidthUpTo300)
{
    Random random(1);
    for (sint32 num = 1; num <= 300; ++num) {
        Row from(test::PackedStride(num, GetParam().from_bits));
        for (size_t k = 0; k < from.size; ++k) from.data()[k] = random.Byte();
        for (Level level : KernelLevels())
            for (bool guarded : {false, true})
                ASSERT_NO_FATAL_FAILURE(ExpectEqual(level, from.data(), num, 120, guarded));
    }
}

/* A ramp of all grey levels, and of all bytes in each channel against a few others. */
TEST_P(ConvertKernels, EveryThreshold)
{
    const sint32 num = 256 + 13;
    Row from(test::PackedStride(num, GetParam().from_bits));
    for (size_t k = 0; k < from.size; ++k)
        from.data()[k] = static_cast<uint8>(GetParam().from_bits == 24 ? k / 3 : k);
    for (sint32 threshold = 0; threshold < 256; ++threshold)
        for (Level level : KernelLevels())
            ASSERT_NO_FATAL_FAILURE(ExpectEqual(level, from.data(), num, static_cast<uint8>(threshold), false));
}

TEST_P(ConvertKernels, RandomRows)
{
    for (uint32 seed = test::FirstSeed(), rounds = test::Rounds(1000); rounds > 0; --rounds, ++seed) {
        Random random(seed);
        const sint32 num = random.Between(1, random.OneIn(20) ? 3000 : 300);
        const sint32 before = random.Between(0, 63);
        Row from(before + test::PackedStride(num, GetParam().from_bits));
        const bool noise = random.OneIn(2);
        for (size_t k = 0; k < from.size; ++k)
            from.data()[k] = noise ? random.Byte() : random.OneOf<uint8>({0, 1, 127, 128, 254, 255});
        const uint8 threshold = random.OneIn(3) ? random.OneOf<uint8>({0, 1, 127, 128, 254, 255}) : random.Byte();
        for (Level level : KernelLevels())
            ASSERT_NO_FATAL_FAILURE(ExpectEqual(level, from.data() + before, num, threshold, random.OneIn(2)))
                << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(All, ConvertKernels, testing::ValuesIn(kConversions),
                         [](const auto& conversion) { return std::string(conversion.param.name); });

/*
 * Colours in rows of 256: each green and blue with every red, in an order that puts neighbours of every kind beside
 * each other. Unoptimised and instrumented builds take every 61st row.
 */
class Colors
{
public:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
    static constexpr sint32 step = 61;
#else
    static constexpr sint32 step = 1;
#endif
    static constexpr sint32 num = 256;

    static void Fill(uint8* row, sint32 green_and_blue)
    {
        for (sint32 red = 0; red < num; ++red) {
            row[3 * red] = static_cast<uint8>(green_and_blue);
            row[3 * red + 1] = static_cast<uint8>(green_and_blue >> 8);
            row[3 * red + 2] = static_cast<uint8>(red);
        }
    }
};

/* The sums of the plain code, one for each colour, without their tables' cost for each level. */
TEST(ColorKernels, EveryColorGivesThePlainGray)
{
    uint8 row[3 * Colors::num], expected[Colors::num], gray[Colors::num];
    for (sint32 green_and_blue = 0; green_and_blue < 1 << 16; green_and_blue += Colors::step) {
        Colors::Fill(row, green_and_blue);
        ConvertRow<ReadColor, WriteGray>(row, expected, Colors::num, 0);
        for (Level level : KernelLevels()) {
            KernelsOf(level)->convert.ColorToGray(row, gray, Colors::num, 0);
            ASSERT_EQ(0, std::memcmp(expected, gray, sizeof gray))
                << NameOf(level) << ", green and blue " << green_and_blue;
        }
    }
}

/* Finds a colour whose weighted sum, before the tone curve, is the given one. */
bool FindColor(sint32 sum, uint8* color)
{
    for (sint32 gray = sum; gray < std::min(sum + 2, 256); ++gray)
        for (sint32 blue = 0; blue < 256; ++blue) {
            if ((RedToGrayTable[gray] + GreenToGrayTable[gray] + BlueToGrayTable[blue]) >> 10 != sum) continue;
            color[0] = static_cast<uint8>(blue);
            color[1] = color[2] = static_cast<uint8>(gray);
            return true;
        }
    return false;
}

/* A colour of each sum, at every threshold: the tone curve dips, so that white is no matter of a limit on the sum. */
TEST(ColorKernels, EverySumAtEveryThreshold)
{
    uint8 row[3 * 256];
    for (sint32 sum = 0; sum < 256; ++sum) ASSERT_TRUE(FindColor(sum, row + 3 * sum)) << sum;
    for (sint32 threshold = 0; threshold < 256; ++threshold) {
        uint8 expected[32] = {}, bits[32];
        ConvertRow<ReadColor, WriteBW>(row, expected, 256, static_cast<uint8>(threshold));
        for (Level level : KernelLevels()) {
            KernelsOf(level)->convert.ColorToBW(row, bits, 256, static_cast<uint8>(threshold));
            ASSERT_EQ(0, std::memcmp(expected, bits, sizeof bits)) << NameOf(level) << ", threshold " << threshold;
        }
    }
}

/* The whole conversion, whose rows lie anywhere and have any stride. */
TEST(ConvertDepth, TakesScatteredRows)
{
    for (uint32 seed = test::FirstSeed(), rounds = test::Rounds(300); rounds > 0; --rounds, ++seed) {
        Random random(seed);
        const sint32 bits = random.OneOf<sint32>({1, 8, 24});
        const sint32 width = random.Between(1, 150);
        const sint32 height = random.Between(1, 9);
        const sint32 packed = test::PackedStride(width, bits);
        const sint32 stride = packed + random.Between(0, 9);
        std::vector<std::unique_ptr<Row>> memory;
        std::vector<uint8*> rows;
        for (sint32 row = 0; row < height; ++row) {
            memory.push_back(std::make_unique<Row>(packed));
            rows.push_back(memory.back()->data());
            for (sint32 k = 0; k < packed; ++k) rows.back()[k] = random.Byte();
        }
        BitmapRec source = {width, height, bits, stride * height, stride, rows.data(), rows[0]};
        const sint32 to_bits = bits == 1   ? random.OneOf<sint32>({8, 24})
                               : bits == 8 ? random.OneOf<sint32>({1, 24})
                                           : random.OneOf<sint32>({1, 8});
        const uint8 threshold = random.Byte();
        std::vector<std::vector<uint8>> results;
        for (Level level : Levels()) {
            ChooseLevel(level);
            BitmapRec dest = null_bitmap;
            ASSERT_EQ(0, to_bits == 1   ? GetBWBitmap(&source, &dest, threshold)
                         : to_bits == 8 ? GetGrayBitmap(&source, &dest)
                                        : GetColorBitmap(&source, &dest));
            results.emplace_back(dest.buffer, dest.buffer + dest.bfSize + kSpareBytes);
            EXPECT_EQ(results.front(), results.back()) << NameOf(level) << ", seed " << seed;
            Bitmap_Done(&dest);
        }
    }
    ChooseLevel(HighestLevel());
}

} // namespace
