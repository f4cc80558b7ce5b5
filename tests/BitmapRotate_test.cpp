/*
 * BitmapRotate_test.cpp - turning by right angles: small pictures whose turned rows are written out by hand.
 */
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/BitmapRotate.cpp"

using test::Bitmap;
using test::Bytes;

namespace
{

/* Rows of pixels, one character each. */
using Rows = std::vector<std::string>;

/* A pixel's byte, and its three bytes at 24 bits, tell its character. At 1 bit only '0' and '1' can be told. */
void Paint(Bitmap* image, const Rows& rows)
{
    for (sint32 row = 0; row < image->rec.biHeight; ++row)
        for (sint32 col = 0; col < image->rec.biWidth; ++col) {
            const uint8 c = static_cast<uint8>(rows[static_cast<size_t>(row)][static_cast<size_t>(col)]);
            if (image->rec.biBitCount == 24)
                image->SetColor(row, col, c, static_cast<uint8>(c + 50), static_cast<uint8>(c + 100));
            else
                image->SetGray(row, col, image->rec.biBitCount == 1 ? c == '1' : c);
        }
}

class Picture : public Bitmap
{
public:
    Picture(const Rows& rows, sint32 bits, sint32 align = 0)
        : Bitmap(static_cast<sint32>(rows[0].size()), static_cast<sint32>(rows.size()), bits, 0, align)
    {
        Paint(this, rows);
    }
};

/* The reverse of Paint; a pixel that no character gives is '?'. */
Rows Shown(const Bitmap& image)
{
    Rows rows;
    for (sint32 row = 0; row < image.rec.biHeight; ++row) {
        rows.emplace_back();
        for (sint32 col = 0; col < image.rec.biWidth; ++col) {
            const uint32 pixel = image.At(row, col);
            const uint32 c = pixel & 0xFF;
            const bool known = image.rec.biBitCount != 24 || pixel == (c | (c + 50) << 8 | (c + 100) << 16);
            rows.back() += !known                      ? '?'
                           : image.rec.biBitCount == 1 ? (pixel != 0 ? '1' : '0')
                                                       : static_cast<char>(c);
        }
    }
    return rows;
}

Bytes Block(const BitmapRec& rec) { return Bytes(rec.buffer, rec.buffer + rec.bfSize); }

/* A record that owns nothing and looks like nothing the library makes. */
BitmapRec Marked()
{
    static uint8 pixel;
    static uint8* line = &pixel;
    return {11, 22, 33, 44, 55, &line, &pixel};
}

const Rows kLetters = {"abc", "def"};
const Rows kLetters90 = {"cf", "be", "ad"};
const Rows kLetters180 = {"fed", "cba"};
const Rows kLetters270 = {"da", "eb", "fc"};

/* More than a byte in both directions, and no symmetry. */
const Rows kBits = {"1100100001", "0000000011", "1010101010", "1111000000", "0000000001",
                    "0110011001", "1000000000", "0001000100", "0010000111"};
const Rows kBits90 = {"110011001", "011000001", "000000011", "001001000", "000001000",
                      "101000000", "000100010", "001101001", "100101000", "101100100"};
const Rows kBits180 = {"1110000100", "0010001000", "0000000001", "1001100110", "1000000000",
                       "0000001111", "0101010101", "1100000000", "1000010011"};
const Rows kBits270 = {"001001101", "000101001", "100101100", "010001000", "000000101",
                       "000100000", "000100100", "110000000", "100000110", "100110011"};

const Rows& Turned(sint32 bits, sint32 angle)
{
    if (bits == 1) return angle == 90 ? kBits90 : angle == 180 ? kBits180 : kBits270;
    return angle == 90 ? kLetters90 : angle == 180 ? kLetters180 : kLetters270;
}

const Rows& Upright(sint32 bits) { return bits == 1 ? kBits : kLetters; }

} // namespace

/* ---- The nine private routines ---- */

namespace
{

struct Routine {
    const char* name;
    sint32 bits;
    sint32 angle;
    sint32 (*turn)(BitmapRec*, BitmapRec*);
};

void PrintTo(const Routine& routine, std::ostream* out) { *out << routine.name; }

class RotatePic : public testing::TestWithParam<Routine>
{
};

} // namespace

TEST_P(RotatePic, NullPointerReturns1)
{
    Bitmap source(1, 1, GetParam().bits);
    BitmapRec dest = Marked();
    EXPECT_EQ(1, GetParam().turn(nullptr, &dest));
    EXPECT_EQ(1, GetParam().turn(&source.rec, nullptr));
    EXPECT_EQ(1, GetParam().turn(nullptr, nullptr));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST_P(RotatePic, OtherDepthReturns1AndLeavesTheDestination)
{
    for (sint32 bits : {1, 8, 24}) {
        if (bits == GetParam().bits) continue;
        Bitmap source(2, 2, bits);
        BitmapRec dest = Marked();
        EXPECT_EQ(1, GetParam().turn(&source.rec, &dest)) << bits;
        EXPECT_TRUE(test::SameRecord(Marked(), dest));
    }
}

TEST_P(RotatePic, InvalidSourceReturns12AndLeavesTheDestination)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Marked();
    EXPECT_EQ(12, GetParam().turn(&source, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST_P(RotatePic, SizeBeyondARecordReturns5AndLeavesTheDestination)
{
    BitmapRec source = Marked();
    source.biWidth = source.biHeight = INT_MAX;
    source.biBitCount = GetParam().bits;
    BitmapRec dest = Marked();
    EXPECT_EQ(5, GetParam().turn(&source, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST_P(RotatePic, PixelsGoToTheirPlaces)
{
    for (sint32 align : {0, 1}) {
        Picture source(Upright(GetParam().bits), GetParam().bits, align);
        Bitmap dest;
        ASSERT_EQ(0, GetParam().turn(&source.rec, &dest.rec));
        EXPECT_EQ(Turned(GetParam().bits, GetParam().angle), Shown(dest));
        EXPECT_EQ(Upright(GetParam().bits), Shown(source));
    }
}

TEST_P(RotatePic, ResultOfAPaddedSourceIsPacked)
{
    Bitmap source(5, 3, GetParam().bits, 0, 1);
    ASSERT_EQ(0, source.rec.BytesPerLine % 4);
    Bitmap dest;
    ASSERT_EQ(0, GetParam().turn(&source.rec, &dest.rec));
    const sint32 width = GetParam().angle == 180 ? 5 : 3;
    EXPECT_EQ(width, dest.rec.biWidth);
    EXPECT_EQ(8 - width, dest.rec.biHeight);
    EXPECT_EQ(GetParam().bits, dest.rec.biBitCount);
    EXPECT_EQ((GetParam().bits * width + 7) / 8, dest.rec.BytesPerLine);
    EXPECT_EQ(dest.rec.BytesPerLine * (8 - width), dest.rec.bfSize);
}

INSTANTIATE_TEST_SUITE_P(, RotatePic,
                         testing::Values(Routine{"RotatePic1Bits90", 1, 90, RotatePic1Bits90},
                                         Routine{"RotatePic8Bits90", 8, 90, RotatePic8Bits90},
                                         Routine{"RotatePic24Bits90", 24, 90, RotatePic24Bits90},
                                         Routine{"RotatePic1Bits180", 1, 180, RotatePic1Bits180},
                                         Routine{"RotatePic8Bits180", 8, 180, RotatePic8Bits180},
                                         Routine{"RotatePic24Bits180", 24, 180, RotatePic24Bits180},
                                         Routine{"RotatePic1Bits270", 1, 270, RotatePic1Bits270},
                                         Routine{"RotatePic8Bits270", 8, 270, RotatePic8Bits270},
                                         Routine{"RotatePic24Bits270", 24, 270, RotatePic24Bits270}),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

/* ---- imageRotate ---- */

TEST(imageRotate, NullPointerReturns1)
{
    Bitmap source(1, 1, 8);
    BitmapRec dest = Marked();
    for (double angle : {0.0, 90.0, 180.0, 270.0}) {
        EXPECT_EQ(1, imageRotate(nullptr, &dest, angle)) << angle;
        EXPECT_EQ(1, imageRotate(&source.rec, nullptr, angle)) << angle;
    }
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(imageRotate, OtherAngleReturns1AndLeavesTheDestination)
{
    Bitmap source(2, 2, 8);
    BitmapRec dest = Marked();
    for (double angle : {45.0, -90.0, -180.0, -270.0, 360.0, 450.0, 90.0001, 89.9999, std::nextafter(180.0, 0.0),
                         std::nextafter(270.0, 300.0), 1e-300, double{NAN}, double{INFINITY}, double{-INFINITY}})
        EXPECT_EQ(1, imageRotate(&source.rec, &dest, angle)) << angle;
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(imageRotate, AngleIsTestedBeforeTheSource)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Marked();
    EXPECT_EQ(1, imageRotate(&source, &dest, 45.0));
}

TEST(imageRotate, InvalidSourceReturns12AndLeavesTheDestination)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Marked();
    for (double angle : {0.0, 90.0, 180.0, 270.0}) EXPECT_EQ(12, imageRotate(&source, &dest, angle)) << angle;
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(imageRotate, SizeBeyondARecordReturns5AndLeavesTheDestination)
{
    BitmapRec source = Marked();
    source.biWidth = source.biHeight = INT_MAX;
    source.biBitCount = 8;
    BitmapRec dest = Marked();
    for (double angle : {0.0, 90.0, 180.0, 270.0}) EXPECT_EQ(5, imageRotate(&source, &dest, angle)) << angle;
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(imageRotate, Angle0CopiesWithTheStrideOfTheSource)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 align : {0, 1}) {
            Bitmap source(5, 2, bits, 0, align);
            for (sint32 k = 0; k < source.rec.bfSize; ++k) source.rec.buffer[k] = static_cast<uint8>(37 * k + 11);
            Bitmap dest;
            ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, 0.0));
            EXPECT_NE(source.rec.buffer, dest.rec.buffer);
            EXPECT_EQ(source.rec.BytesPerLine, dest.rec.BytesPerLine);
            EXPECT_EQ(Block(source.rec), Block(dest.rec));
        }
}

TEST(imageRotate, EveryDepthAndAngleReachesItsRoutine)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 angle : {90, 180, 270}) {
            Picture source(Upright(bits), bits);
            Bitmap dest;
            ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, angle));
            EXPECT_EQ(bits, dest.rec.biBitCount);
            EXPECT_EQ(Turned(bits, angle), Shown(dest)) << bits << " bits turned by " << angle;
        }
}

TEST(imageRotate, SinglePixelTurnsIntoItself)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 angle : {0, 90, 180, 270}) {
            Picture source({"1"}, bits);
            Bitmap dest;
            ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, angle));
            EXPECT_EQ(Rows({"1"}), Shown(dest)) << bits << " bits turned by " << angle;
        }
}

TEST(imageRotate, SixLettersBy90)
{
    Picture source({"abc", "def"}, 8);
    Bitmap dest;
    ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, 90.0));
    EXPECT_EQ(2, dest.rec.biWidth);
    EXPECT_EQ(3, dest.rec.biHeight);
    EXPECT_EQ(Rows({"cf", "be", "ad"}), Shown(dest));
}

TEST(imageRotate, SixLettersBy180)
{
    Picture source({"abc", "def"}, 8);
    Bitmap dest;
    ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, 180.0));
    EXPECT_EQ(Rows({"fed", "cba"}), Shown(dest));
}

TEST(imageRotate, SixLettersBy270)
{
    Picture source({"abc", "def"}, 8);
    Bitmap dest;
    ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, 270.0));
    EXPECT_EQ(Rows({"da", "eb", "fc"}), Shown(dest));
}

TEST(imageRotate, OneBitRowsBy90ArePackedToTheByte)
{
    for (sint32 height : {1, 7, 8, 9, 16, 17})
        for (sint32 align : {0, 1}) {
            Bitmap source(10, height, 1, 1, align);
            Bitmap dest;
            ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, 90.0));
            EXPECT_EQ((height + 7) >> 3, dest.rec.BytesPerLine) << height;
            EXPECT_EQ(10, dest.rec.biHeight);
            EXPECT_EQ(height, dest.rec.biWidth);
        }
}

TEST(imageRotate, OneBitResultHasNoBitsAfterItsLastPixel)
{
    Picture source({"111", "111"}, 1);
    source.rec.ScanLine[0][0] = source.rec.ScanLine[1][0] = 0xFF; /* unused bits of the source do not travel */
    const struct {
        double angle;
        Bytes block;
    } cases[] = {{90.0, {0xC0, 0xC0, 0xC0}}, {180.0, {0xE0, 0xE0}}, {270.0, {0xC0, 0xC0, 0xC0}}};
    for (const auto& c : cases) {
        Bitmap dest;
        ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, c.angle));
        EXPECT_EQ(c.block, Block(dest.rec)) << c.angle;
    }
}

TEST(imageRotate, Turning90And270GivesTheImageBack)
{
    for (sint32 bits : {1, 8, 24}) {
        Picture source(Upright(bits), bits);
        Bitmap turned, back;
        ASSERT_EQ(0, imageRotate(&source.rec, &turned.rec, 90.0));
        ASSERT_EQ(0, imageRotate(&turned.rec, &back.rec, 270.0));
        EXPECT_EQ(Upright(bits), Shown(back)) << bits;
    }
}

TEST(imageRotate, EarlierImageOfTheDestinationIsNotReleased)
{
    Picture source({"ab"}, 8);
    for (double angle : {0.0, 90.0, 180.0, 270.0}) {
        Picture dest({"z"}, 8);
        BitmapRec earlier = dest.rec;
        ASSERT_EQ(0, imageRotate(&source.rec, &dest.rec, angle));
        EXPECT_EQ('z', earlier.buffer[0]) << angle;
        Bitmap_Done(&earlier);
    }
}

TEST(imageRotate, OntoItselfLeavesTheTurnedImage)
{
    Picture image({"abc", "def"}, 8);
    BitmapRec earlier = image.rec;
    ASSERT_EQ(0, imageRotate(&image.rec, &image.rec, 90.0));
    EXPECT_EQ(Rows({"cf", "be", "ad"}), Shown(image));
    Bitmap_Done(&earlier);
}

/* ---- RotatePicSP ---- */

namespace
{

/* A raw packed buffer with its sizes. */
struct Raw {
    Bytes pixels;
    sint32 width;
    sint32 height;
    sint32 bits;

    sint32 Turn(sint32 angle) { return RotatePicSP(pixels.data(), &width, &height, bits, angle); }
};

void ExpectRefused(sint32 code, const Raw& raw, sint32 angle)
{
    Raw turned = raw;
    EXPECT_EQ(code, turned.Turn(angle));
    EXPECT_EQ(raw.pixels, turned.pixels);
    EXPECT_EQ(raw.width, turned.width);
    EXPECT_EQ(raw.height, turned.height);
}

void ExpectTurned(const Bytes& pixels, sint32 width, sint32 height, Raw raw, sint32 angle)
{
    EXPECT_EQ(0, raw.Turn(angle));
    EXPECT_EQ(pixels, raw.pixels);
    EXPECT_EQ(width, raw.width);
    EXPECT_EQ(height, raw.height);
}

const Raw kRaw8 = {{'a', 'b', 'c', 'd', 'e', 'f'}, 3, 2, 8};

} // namespace

TEST(RotatePicSP, NullPointerReturns1)
{
    Raw raw = kRaw8;
    EXPECT_EQ(1, RotatePicSP(nullptr, &raw.width, &raw.height, 8, 90));
    EXPECT_EQ(1, RotatePicSP(raw.pixels.data(), nullptr, &raw.height, 8, 90));
    EXPECT_EQ(1, RotatePicSP(raw.pixels.data(), &raw.width, nullptr, 8, 90));
    EXPECT_EQ(kRaw8.pixels, raw.pixels);
    EXPECT_EQ(3, raw.width);
    EXPECT_EQ(2, raw.height);
}

TEST(RotatePicSP, SizeBelow1Returns1)
{
    for (sint32 size : {0, -1, INT_MIN}) {
        ExpectRefused(1, {kRaw8.pixels, size, 2, 8}, 90);
        ExpectRefused(1, {kRaw8.pixels, 3, size, 8}, 90);
    }
}

TEST(RotatePicSP, OtherAngleReturns1AndLeavesTheBuffer)
{
    for (sint32 angle : {-90, 360, 45, 1, -180, -270, 450, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(angle);
        ExpectRefused(1, kRaw8, angle);
    }
}

TEST(RotatePicSP, OtherBitCountReturns1AndLeavesTheBuffer)
{
    for (sint32 bits : {0, 2, 4, 16, 32, -8})
        for (sint32 angle : {0, 90}) {
            SCOPED_TRACE(bits);
            ExpectRefused(1, {kRaw8.pixels, 1, 1, bits}, angle);
        }
}

TEST(RotatePicSP, SizeBeyondARecordReturns5AndLeavesTheBuffer)
{
    for (sint32 angle : {0, 90, 180, 270}) {
        ExpectRefused(5, {kRaw8.pixels, INT_MAX, INT_MAX, 8}, angle);
        ExpectRefused(5, {kRaw8.pixels, INT_MAX, 1, 24}, angle);
    }
}

TEST(RotatePicSP, EightBitsAtEveryAngle)
{
    ExpectTurned({'a', 'b', 'c', 'd', 'e', 'f'}, 3, 2, kRaw8, 0);
    ExpectTurned({'c', 'f', 'b', 'e', 'a', 'd'}, 2, 3, kRaw8, 90);
    ExpectTurned({'f', 'e', 'd', 'c', 'b', 'a'}, 3, 2, kRaw8, 180);
    ExpectTurned({'d', 'a', 'e', 'b', 'f', 'c'}, 2, 3, kRaw8, 270);
}

TEST(RotatePicSP, TwentyFourBitsAtEveryAngle)
{
    const Raw raw = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 2, 2, 24};
    ExpectTurned({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 2, 2, raw, 0);
    ExpectTurned({4, 5, 6, 10, 11, 12, 1, 2, 3, 7, 8, 9}, 2, 2, raw, 90);
    ExpectTurned({10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3}, 2, 2, raw, 180);
    ExpectTurned({7, 8, 9, 1, 2, 3, 10, 11, 12, 4, 5, 6}, 2, 2, raw, 270);
}

TEST(RotatePicSP, OneBitAtEveryAngle)
{
    /* 10 x 2: 1010010101 and 0011110010. */
    const Raw raw = {{0xA5, 0x40, 0x3C, 0x80, 0, 0, 0, 0, 0, 0}, 10, 2, 1};
    ExpectTurned({0xA5, 0x40, 0x3C, 0x80, 0, 0, 0, 0, 0, 0}, 10, 2, raw, 0);
    ExpectTurned({0x80, 0x40, 0x80, 0x00, 0xC0, 0x40, 0x40, 0xC0, 0x00, 0x80}, 2, 10, raw, 90);
    ExpectTurned({0x4F, 0x00, 0xA9, 0x40, 0, 0, 0, 0, 0, 0}, 10, 2, raw, 180);
    ExpectTurned({0x40, 0x00, 0xC0, 0x80, 0x80, 0xC0, 0x00, 0x40, 0x80, 0x40}, 2, 10, raw, 270);
}

TEST(RotatePicSP, OneBitRowGrowsToAByteARow)
{
    /* 8 x 1, one byte, becomes 8 bytes; the ninth is not touched. */
    const Raw raw = {{0xB1, 9, 9, 9, 9, 9, 9, 9, 9}, 8, 1, 1};
    ExpectTurned({0x80, 0, 0, 0, 0x80, 0x80, 0, 0x80, 9}, 1, 8, raw, 90);
    ExpectTurned({0x80, 0, 0x80, 0x80, 0, 0, 0, 0x80, 9}, 1, 8, raw, 270);
}

TEST(RotatePicSP, OneBitColumnShrinksAndLeavesTheRestOfTheBuffer)
{
    const Raw raw = {{0x80, 0, 0x80, 0x80, 0, 0, 0, 0x80}, 1, 8, 1};
    ExpectTurned({0xB1, 0, 0x80, 0x80, 0, 0, 0, 0x80}, 8, 1, raw, 90);
    ExpectTurned({0x8D, 0, 0x80, 0x80, 0, 0, 0, 0x80}, 8, 1, raw, 270);
}

TEST(RotatePicSP, NothingBeyondThePixelsIsReadOrWritten)
{
    /* The buffer ends with the pixels; one byte more is caught by the sanitizer. */
    for (sint32 angle : {0, 90, 180, 270}) {
        Raw raw = {Bytes(3 * 5 * 7, 0x5A), 5, 7, 24};
        EXPECT_EQ(0, raw.Turn(angle));
        EXPECT_EQ(Bytes(3 * 5 * 7, 0x5A), raw.pixels);
    }
}
