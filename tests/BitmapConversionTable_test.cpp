/*
 * BitmapConversionTable_test.cpp - every entry of the constant tables against the rule behind it.
 *
 * The rules are computed in integers: the colour weights are thousandths, the interpolation weights tenths, and 1024
 * is a multiple of 8, so that no rounding ever meets a tie.
 */
#include <gtest/gtest.h>

#include "BitmapConversionTable.h"

namespace
{

/* The tone curve has no rule; this is a second copy of its values. */
constexpr sint32 kToneCurve[256] = {
    // clang-format off
    0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 4, 3, 4, 4, 4,
    5, 4, 5, 6, 7, 7, 7, 7, 8, 9, 10, 9, 10, 10, 12, 12,
    13, 13, 14, 14, 15, 15, 16, 16, 17, 17, 19, 19, 20, 21, 21, 21,
    23, 23, 24, 25, 25, 26, 27, 27, 28, 29, 30, 30, 31, 32, 33, 34,
    34, 35, 36, 36, 38, 38, 39, 40, 41, 41, 42, 43, 44, 44, 45, 46,
    47, 48, 49, 50, 51, 51, 53, 53, 54, 56, 57, 57, 58, 59, 59, 60,
    62, 63, 64, 64, 65, 66, 68, 68, 69, 70, 71, 72, 74, 74, 75, 76,
    78, 78, 79, 80, 81, 82, 83, 84, 85, 87, 87, 89, 90, 91, 91, 92,
    94, 95, 96, 97, 98, 99, 100, 101, 102, 104, 105, 105, 107, 108, 109, 110,
    112, 112, 113, 114, 116, 117, 118, 119, 120, 121, 123, 123, 125, 126, 127, 128,
    130, 131, 132, 133, 135, 135, 137, 137, 139, 140, 141, 142, 144, 145, 146, 147,
    149, 150, 151, 153, 154, 155, 156, 157, 159, 160, 161, 162, 164, 164, 166, 168,
    168, 170, 172, 173, 174, 176, 177, 178, 179, 180, 182, 183, 185, 186, 186, 188,
    190, 191, 192, 194, 194, 196, 198, 199, 200, 202, 203, 204, 206, 207, 208, 209,
    212, 213, 214, 215, 217, 218, 220, 220, 222, 223, 225, 226, 228, 229, 230, 232,
    233, 235, 236, 238, 239, 241, 242, 244, 245, 247, 248, 249, 250, 252, 254, 255
    // clang-format on
};

/* Thousandths of value, scaled by 1024 and rounded half up. */
constexpr sint32 Weigh(sint32 thousandths, sint32 value) { return (thousandths * value * 1024 + 500) / 1000; }

constexpr sint32 Share(sint32 tenths, sint32 value)
{
    if (tenths == 10) return value >= 222 && value <= 229 ? value + 1 : value;
    return (value == 255 ? 255 : value + 1) * tenths / 10;
}

/* 1000 * W(d) of the cubic convolution kernel with a = -1 at d = tenths / 10. */
constexpr sint32 Kernel(sint32 tenths)
{
    const sint32 square = tenths * tenths;
    if (tenths < 10) return 1000 - 20 * square + tenths * square;
    return tenths < 20 ? 4000 - 800 * tenths + 50 * square - tenths * square : 0;
}

/* Kernel scaled by 1024, rounded to the nearest integer. */
constexpr sint32 Weight(sint32 tenths)
{
    const sint32 scaled = 1024 * Kernel(tenths);
    return (scaled < 0 ? scaled - 500 : scaled + 500) / 1000;
}

} // namespace

TEST(BitValue, EntryIsTheMaskOfTheColumn)
{
    for (sint32 col = 0; col < 8; ++col) EXPECT_EQ(1 << (7 - col), BitValue[col]) << col;
}

TEST(BitsValue, EntryIsTheComplementOfTheMask)
{
    for (sint32 col = 0; col < 8; ++col) EXPECT_EQ(255 - (1 << (7 - col)), BitsValue[col]) << col;
}

TEST(RedToGrayTable, EveryEntryIsTheRoundedWeight)
{
    for (sint32 i = 0; i < 256; ++i) EXPECT_EQ(Weigh(299, i), RedToGrayTable[i]) << i;
    EXPECT_EQ(78075, RedToGrayTable[255]);
}

TEST(GreenToGrayTable, EveryEntryIsTheRoundedWeight)
{
    for (sint32 i = 0; i < 256; ++i) EXPECT_EQ(Weigh(587, i), GreenToGrayTable[i]) << i;
    EXPECT_EQ(153277, GreenToGrayTable[255]);
}

TEST(BlueToGrayTable, EveryEntryIsTheRoundedWeight)
{
    for (sint32 i = 0; i < 256; ++i) EXPECT_EQ(Weigh(114, i), BlueToGrayTable[i]) << i;
    EXPECT_EQ(29768, BlueToGrayTable[255]);
}

TEST(GrayWeightTables, WhiteSumsTo255)
{
    EXPECT_EQ(255 * 1024, RedToGrayTable[255] + GreenToGrayTable[255] + BlueToGrayTable[255]);
}

TEST(GrayChangeTable, EveryEntryMatchesTheToneCurve)
{
    for (sint32 i = 0; i < 256; ++i) EXPECT_EQ(kToneCurve[i], GrayChangeTable[i]) << i;
}

TEST(GrayChangeTable, EndsAreBlackAndWhite)
{
    EXPECT_EQ(0, GrayChangeTable[0]);
    EXPECT_EQ(255, GrayChangeTable[255]);
    EXPECT_EQ(3, GrayChangeTable[12]);
    EXPECT_EQ(213, GrayChangeTable[225]);
}

TEST(GrayChangeTable, DipsThreeTimesAndOnlyNearBlack)
{
    for (sint32 i = 1; i < 256; ++i) {
        const bool dips = i == 12 || i == 17 || i == 27;
        EXPECT_EQ(dips, GrayChangeTable[i] < GrayChangeTable[i - 1]) << i;
    }
}

TEST(ByteTable, EveryEntryIsTheShareOfItsByte)
{
    for (sint32 k = 0; k <= 10; ++k)
        for (sint32 v = 0; v < 256; ++v) EXPECT_EQ(Share(k, v), ByteTable[k][v]) << k << " tenths of " << v;
}

TEST(ByteTable, TellingValues)
{
    EXPECT_EQ(0, ByteTable[0][255]);
    EXPECT_EQ(0, ByteTable[1][8]);
    EXPECT_EQ(1, ByteTable[1][9]);
    EXPECT_EQ(51, ByteTable[2][255]);
    EXPECT_EQ(1, ByteTable[5][1]);
    EXPECT_EQ(127, ByteTable[5][254]);
    EXPECT_EQ(127, ByteTable[5][255]);
    EXPECT_EQ(178, ByteTable[7][255]);
    EXPECT_EQ(229, ByteTable[9][255]);
    EXPECT_EQ(221, ByteTable[10][221]);
    EXPECT_EQ(223, ByteTable[10][222]);
    EXPECT_EQ(230, ByteTable[10][229]);
    EXPECT_EQ(230, ByteTable[10][230]);
}

TEST(ByteTable, TwoSharesOfTenTenthsFitAByte)
{
    for (sint32 k = 0; k <= 10; ++k)
        for (sint32 v = 0; v < 256; ++v)
            for (sint32 w = 0; w < 256; ++w)
                ASSERT_LE(ByteTable[10 - k][v] + ByteTable[k][w], 255) << k << ' ' << v << ' ' << w;
}

TEST(bulic, EveryEntryIsTheRoundedKernel)
{
    for (sint32 k = 0; k <= 10; ++k)
        for (sint32 i = 0; i < 4; ++i) {
            const sint32 distance = i < 2 ? 10 * (1 - i) + k : 10 * (i - 1) - k;
            EXPECT_EQ(Weight(distance), bulic[k][i]) << k << ' ' << i;
        }
}

TEST(bulic, RowOfTheComplementaryTenthIsReversed)
{
    for (sint32 k = 0; k <= 10; ++k)
        for (sint32 i = 0; i < 4; ++i) EXPECT_EQ(bulic[k][i], bulic[10 - k][3 - i]) << k << ' ' << i;
}

TEST(bulic, RowSumsAreNotEvenedOut)
{
    const sint32 sums[11] = {1024, 1025, 1024, 1023, 1025, 1024, 1025, 1023, 1024, 1025, 1024};
    for (sint32 k = 0; k <= 10; ++k) EXPECT_EQ(sums[k], bulic[k][0] + bulic[k][1] + bulic[k][2] + bulic[k][3]) << k;
}
