/*
 * BitmapProcessing_test.cpp - the bitmap record, BMP files, conversion between depths.
 *
 * Files are written down byte by byte here; the library's own reader never vouches for its writer. Every file lives
 * in a directory of its own that goes with the test.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/TestBitmap.h"

#include "../src/BitmapProcessing.cpp"

using test::Bitmap;
using test::Bytes;

namespace
{

constexpr sint32 kHuge = INT_MAX;

/* A record that owns nothing and looks like nothing the library makes. */
BitmapRec Marked()
{
    static uint8 pixel;
    static uint8* line = &pixel;
    return {11, 22, 33, 44, 55, &line, &pixel};
}

/* A valid record made by hand over one byte of pixels, for calls that must not come as far as reading them. */
BitmapRec HandMade(sint32 width, sint32 height, sint32 bits, sint32 BytesPerLine, sint32 bfSize)
{
    BitmapRec rec = Marked();
    rec.biWidth = width;
    rec.biHeight = height;
    rec.biBitCount = bits;
    rec.BytesPerLine = BytesPerLine;
    rec.bfSize = bfSize;
    return rec;
}

/* The record with its rows' bytes, padding included. */
Bytes Block(const BitmapRec& rec) { return Bytes(rec.buffer, rec.buffer + rec.bfSize); }

/*
 * Leaves 0xAA behind in freed memory of the size that an image of so many bytes asks for. The writes are volatile
 * because a compiler drops ordinary ones to memory that is freed next. Only the allocator's own first bytes escape.
 */
void PoisonHeap(sint32 bfSize)
{
    const size_t size = static_cast<size_t>(bfSize) + 16;
    std::vector<uint8*> blocks;
    for (int k = 0; k < 8; ++k) {
        uint8* block = static_cast<uint8*>(std::malloc(size));
        for (size_t i = 0; i < size; ++i) const_cast<volatile uint8*>(block)[i] = 0xAA;
        blocks.push_back(block);
    }
    for (uint8* block : blocks) std::free(block);
}

/* A fresh directory with room for one file; both are removed at the end. */
class TempFile
{
public:
    TempFile() : directory_(testing::TempDir() + "/quarlo_XXXXXX")
    {
        if (mkdtemp(&directory_[0]) == nullptr) std::abort();
        name_ = directory_ + "/image.bmp";
    }
    explicit TempFile(const Bytes& content) : TempFile()
    {
        std::ofstream(name_, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    ~TempFile()
    {
        std::remove(name_.c_str());
        rmdir(directory_.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& Name() const { return name_; }
    const std::string& Directory() const { return directory_; }
    bool Exists() const { return access(name_.c_str(), F_OK) == 0; }
    Bytes Content() const
    {
        std::ifstream file(name_, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(file), {});
    }

private:
    std::string directory_;
    std::string name_;
};

std::vector<sint8> FileName(const std::string& name)
{
    std::vector<sint8> chars(name.begin(), name.end());
    chars.push_back(0);
    return chars;
}

sint32 Read(BitmapRec* rec, const std::string& name) { return ReadBitmapFromFile(rec, FileName(name).data()); }
sint32 Read(Bitmap* bitmap, const Bytes& content) { return Read(&bitmap->rec, TempFile(content).Name()); }

sint32 Save(const BitmapRec& rec, const std::string& name)
{
    BitmapRec copy = rec;
    return SaveBitmapToFile(&copy, FileName(name).data());
}

/* What a record becomes as a file. */
Bytes Saved(const BitmapRec& rec)
{
    TempFile file;
    EXPECT_EQ(0, Save(rec, file.Name()));
    return file.Content();
}

/* Reads a file that is to be refused with the code and to leave the record alone. */
void ExpectRefused(sint32 code, const Bytes& content)
{
    BitmapRec rec = Marked();
    EXPECT_EQ(code, Read(&rec, TempFile(content).Name()));
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
}

/* Numbers of a file in hand, little-endian. */
enum Field { kOffBits = 10, kWidth = 18, kHeight = 22, kPlanes = 26, kBitCount = 28, kCompression = 30 };

void Put16(Bytes* file, size_t offset, uint32 value)
{
    for (size_t k = 0; k < 2; ++k) (*file)[offset + k] = static_cast<uint8>(value >> (8 * k));
}

void Put32(Bytes* file, size_t offset, uint32 value)
{
    Put16(file, offset, value & 0xFFFF);
    Put16(file, offset + 2, value >> 16);
}

Bytes Patched16(Bytes file, size_t offset, uint32 value)
{
    Put16(&file, offset, value);
    return file;
}

Bytes Patched32(Bytes file, size_t offset, uint32 value)
{
    Put32(&file, offset, value);
    return file;
}

Bytes Cut(Bytes file, size_t length)
{
    file.resize(length);
    return file;
}

Bytes Joined(std::initializer_list<Bytes> pieces)
{
    Bytes all;
    for (const Bytes& piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
    return all;
}

/* 3 x 2 pixels of 24 bits: 54 bytes of headers, two rows of 9 bytes and 3 of padding. */
Bytes File24()
{
    // clang-format off
    return {'B', 'M', 78, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,
            40, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0, 24, 0, 0, 0,
            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
            1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0,
            11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0};
    // clang-format on
}

Bytes GrayPalette()
{
    Bytes palette;
    for (int i = 0; i < 256; ++i) {
        const uint8 gray = static_cast<uint8>(i);
        for (uint8 byte : {gray, gray, gray, static_cast<uint8>(i == 0 ? 0 : 255)}) palette.push_back(byte);
    }
    return palette;
}

/* 3 x 2 pixels of 8 bits: 54 bytes of headers, a palette of 1024, two rows of 3 bytes and 1 of padding. */
Bytes File8()
{
    // clang-format off
    return Joined({{'B', 'M', 0x3E, 4, 0, 0, 0, 0, 0, 0, 0x36, 4, 0, 0,
                    40, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 1, 0, 8, 0, 0, 0, 0, 0, 8, 0, 0, 0,
                    0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0},
                   GrayPalette(),
                   {10, 20, 30, 0, 40, 50, 60, 0}});
    // clang-format on
}

/* 10 x 2 pixels of 1 bit: 54 bytes of headers, a palette of 8, two rows of 2 bytes and 2 of padding. */
Bytes File1()
{
    // clang-format off
    return {'B', 'M', 70, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0,
            40, 0, 0, 0, 10, 0, 0, 0, 2, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 8, 0, 0, 0,
            0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0,
            0, 0, 0, 0, 255, 255, 255, 0,
            0xA5, 0x40, 0, 0, 0x3C, 0x80, 0, 0};
    // clang-format on
}

/* The images of the three files. */
void Fill24(Bitmap* image)
{
    for (sint32 row = 0; row < 2; ++row)
        for (sint32 col = 0; col < 3; ++col) {
            const uint8 blue = static_cast<uint8>(10 * row + 3 * col + 1);
            image->SetColor(row, col, blue, static_cast<uint8>(blue + 1), static_cast<uint8>(blue + 2));
        }
}

void Fill8(Bitmap* image)
{
    for (sint32 k = 0; k < 6; ++k) image->SetGray(k / 3, k % 3, static_cast<uint8>(10 * k + 10));
}

void Fill1(Bitmap* image)
{
    for (sint32 col : {0, 2, 5, 7, 9}) image->SetGray(0, col, 1);
    for (sint32 col : {2, 3, 4, 5, 8}) image->SetGray(1, col, 1);
}

} // namespace

/* ---- Bitmap_New ---- */

TEST(Bitmap_New, NullPointerReturns1) { EXPECT_EQ(1, Bitmap_New(nullptr, 1, 1, 8, 0)); }

TEST(Bitmap_New, ArgumentOutsideItsSetReturns1AndLeavesTheRecord)
{
    BitmapRec rec = Marked();
    EXPECT_EQ(1, Bitmap_New(&rec, 0, 1, 8, 0));
    EXPECT_EQ(1, Bitmap_New(&rec, 1, 0, 8, 0));
    EXPECT_EQ(1, Bitmap_New(&rec, -1, 1, 8, 1));
    EXPECT_EQ(1, Bitmap_New(&rec, 1, INT_MIN, 8, 1));
    for (sint32 bits : {16, 32, 0, -1, 2, 4, 7, 9, 23, 25}) EXPECT_EQ(1, Bitmap_New(&rec, 1, 1, bits, 0)) << bits;
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
}

TEST(Bitmap_New, RowsArePackedOrPaddedToFourBytes)
{
    const struct {
        sint32 width, bits, packed, padded;
    } cases[] = {{1, 1, 1, 4},  {8, 1, 1, 4},   {9, 1, 2, 4},    {10, 1, 2, 4},  {32, 1, 4, 4},
                 {33, 1, 5, 8}, {1, 8, 1, 4},   {3, 8, 3, 4},    {4, 8, 4, 4},   {5, 8, 5, 8},
                 {1, 24, 3, 4}, {3, 24, 9, 12}, {4, 24, 12, 12}, {5, 24, 15, 16}};
    for (const auto& c : cases) {
        Bitmap packed(c.width, 1, c.bits, 0, 0);
        Bitmap padded(c.width, 1, c.bits, 0, 1);
        EXPECT_EQ(c.packed, packed.rec.BytesPerLine) << c.width << " pixels of " << c.bits;
        EXPECT_EQ(c.padded, padded.rec.BytesPerLine) << c.width << " pixels of " << c.bits;
    }
}

TEST(Bitmap_New, AnyAlignmentButZeroPads)
{
    for (sint32 align : {1, 2, 4, -1, INT_MIN}) EXPECT_EQ(4, Bitmap(3, 1, 8, 0, align).rec.BytesPerLine) << align;
}

TEST(Bitmap_New, RecordDescribesTheBlock)
{
    BitmapRec rec = Marked(); /* overwritten, not released */
    ASSERT_EQ(0, Bitmap_New(&rec, 5, 7, 24, 1));
    EXPECT_EQ(5, rec.biWidth);
    EXPECT_EQ(7, rec.biHeight);
    EXPECT_EQ(24, rec.biBitCount);
    EXPECT_EQ(16, rec.BytesPerLine);
    EXPECT_EQ(112, rec.bfSize);
    for (sint32 row = 0; row < 7; ++row) EXPECT_EQ(rec.buffer + 16 * row, rec.ScanLine[row]) << row;
    EXPECT_EQ(0, Bitmap_Check(&rec));
    EXPECT_EQ(0, Bitmap_Done(&rec));
}

TEST(Bitmap_New, SixteenSpareBytesFollowTheRows)
{
    Bitmap image(3, 2, 8);
    ASSERT_EQ(6, image.rec.bfSize);
    std::memset(image.rec.buffer, 0x55, 6 + 16); /* a shorter block is caught by the sanitizer */
    EXPECT_EQ(0x55, image.rec.buffer[6 + 15]);
}

TEST(Bitmap_New, BytesWithoutEightBitsOfPixelsAreZero)
{
    /* Tall, so that the rows lie beyond what the allocator itself writes into a freed block. */
    const struct {
        sint32 width, bits, align, full_bytes;
    } cases[] = {{10, 1, 0, 1}, {10, 1, 1, 1}, {16, 1, 0, 2},  {5, 1, 1, 0},
                 {3, 8, 0, 3},  {3, 8, 1, 3},  {5, 24, 0, 15}, {5, 24, 1, 15}};
    for (const auto& c : cases) {
        const sint32 height = 40;
        const sint32 bits = c.bits * c.width;
        const sint32 stride = c.align != 0 ? (bits + 31) / 32 * 4 : (bits + 7) / 8;
        PoisonHeap(height * stride);
        BitmapRec rec = null_bitmap;
        ASSERT_EQ(0, Bitmap_New(&rec, c.width, height, c.bits, c.align));
        for (sint32 row = 0; row < height; ++row)
            for (sint32 k = c.full_bytes; k < stride; ++k)
                ASSERT_EQ(0, rec.ScanLine[row][k]) << c.width << ' ' << c.bits << " row " << row << " byte " << k;
        for (sint32 k = 0; k < 16; ++k) ASSERT_EQ(0, rec.buffer[rec.bfSize + k]) << c.width << " spare " << k;
        Bitmap_Done(&rec);
    }
}

TEST(Bitmap_New, SizeBeyondARecordReturns5AndLeavesTheRecord)
{
    const struct {
        sint32 width, height, bits, align;
    } cases[] = {{kHuge, kHuge, 1, 0}, {kHuge, kHuge, 8, 0},   {kHuge, kHuge, 24, 0}, {kHuge, kHuge, 24, 1},
                 {kHuge, 1, 24, 0},    {kHuge, 1, 24, 1},      {kHuge, 1, 8, 1},      {1, kHuge, 8, 1},
                 {kHuge, 8, 1, 0},     {65536, 32768, 8, 0},   {262144, 65536, 1, 0}, {65536, 65536, 8, 0},
                 {65536, 65537, 8, 1}, {1431655766, 1, 24, 0}, {178956971, 4, 24, 0}};
    for (const auto& c : cases) {
        BitmapRec rec = Marked();
        EXPECT_EQ(5, Bitmap_New(&rec, c.width, c.height, c.bits, c.align))
            << c.width << " x " << c.height << " of " << c.bits;
        EXPECT_TRUE(test::SameRecord(Marked(), rec));
    }
}

/* ---- Bitmap_Init, Bitmap_Done ---- */

TEST(Bitmap_Init, NullPointerReturns1) { EXPECT_EQ(1, Bitmap_Init(nullptr)); }

TEST(Bitmap_Init, ClearsTheRecordWithoutFreeing)
{
    Bitmap image(2, 2, 8, 7);
    BitmapRec alias = image.rec;
    EXPECT_EQ(0, Bitmap_Init(&alias));
    EXPECT_TRUE(test::SameRecord(null_bitmap, alias));
    EXPECT_EQ(7u, image.At(1, 1)); /* still there, and freed once */
}

TEST(Bitmap_Done, NullPointerReturns1) { EXPECT_EQ(1, Bitmap_Done(nullptr)); }

TEST(Bitmap_Done, FreesAndClearsTheRecord)
{
    BitmapRec rec = null_bitmap;
    ASSERT_EQ(0, Bitmap_New(&rec, 2, 2, 8, 0)); /* a leak is caught by the sanitizer */
    EXPECT_EQ(0, Bitmap_Done(&rec));
    EXPECT_TRUE(test::SameRecord(null_bitmap, rec));
}

TEST(Bitmap_Done, SecondCallIsHarmless)
{
    BitmapRec rec = null_bitmap;
    ASSERT_EQ(0, Bitmap_New(&rec, 2, 2, 8, 0));
    EXPECT_EQ(0, Bitmap_Done(&rec));
    EXPECT_EQ(0, Bitmap_Done(&rec));
    EXPECT_TRUE(test::SameRecord(null_bitmap, rec));
}

TEST(Bitmap_Done, NullBitmapReturns0)
{
    BitmapRec rec = null_bitmap;
    EXPECT_EQ(0, Bitmap_Done(&rec));
    EXPECT_TRUE(test::SameRecord(null_bitmap, rec));
}

TEST(Bitmap_Done, EitherBlockMayBeMissing)
{
    BitmapRec pixels_only = null_bitmap;
    pixels_only.buffer = static_cast<uint8*>(std::malloc(4));
    EXPECT_EQ(0, Bitmap_Done(&pixels_only));
    EXPECT_EQ(nullptr, pixels_only.buffer);

    BitmapRec rows_only = null_bitmap;
    rows_only.ScanLine = static_cast<uint8**>(std::malloc(sizeof(uint8*)));
    EXPECT_EQ(0, Bitmap_Done(&rows_only));
    EXPECT_EQ(nullptr, rows_only.ScanLine);
}

/* ---- Bitmap_Check ---- */

TEST(Bitmap_Check, NullPointerReturns1) { EXPECT_EQ(1, Bitmap_Check(nullptr)); }

TEST(Bitmap_Check, NullBitmapReturns12)
{
    BitmapRec rec = null_bitmap;
    EXPECT_EQ(12, Bitmap_Check(&rec));
}

TEST(Bitmap_Check, EachUnusableFieldReturns12)
{
    const BitmapRec good = HandMade(1, 1, 8, 1, 1);
    BitmapRec rec = good;
    EXPECT_EQ(0, Bitmap_Check(&rec));
    for (sint32 size : {0, -1, INT_MIN}) {
        (rec = good).biWidth = size;
        EXPECT_EQ(12, Bitmap_Check(&rec)) << size;
        (rec = good).biHeight = size;
        EXPECT_EQ(12, Bitmap_Check(&rec)) << size;
        (rec = good).BytesPerLine = size;
        EXPECT_EQ(12, Bitmap_Check(&rec)) << size;
    }
    for (sint32 bits : {0, -8, 2, 4, 16, 32}) {
        (rec = good).biBitCount = bits;
        EXPECT_EQ(12, Bitmap_Check(&rec)) << bits;
    }
    (rec = good).ScanLine = nullptr;
    EXPECT_EQ(12, Bitmap_Check(&rec));
    (rec = good).buffer = nullptr;
    EXPECT_EQ(12, Bitmap_Check(&rec));
}

TEST(Bitmap_Check, SizesAreNotComparedWithTheWidth)
{
    for (sint32 bits : {1, 8, 24}) {
        BitmapRec rec = HandMade(1000, 1000, bits, 1, -5);
        EXPECT_EQ(0, Bitmap_Check(&rec)) << bits;
    }
}

/* ---- Bitmap_Copy ---- */

TEST(Bitmap_Copy, NullDestinationReturns4)
{
    Bitmap image(1, 1, 8);
    EXPECT_EQ(4, Bitmap_Copy(&image.rec, nullptr));
    EXPECT_EQ(4, Bitmap_Copy(nullptr, nullptr)); /* before the source is looked at */
}

TEST(Bitmap_Copy, NullSourceReturns1AndLeavesTheDestination)
{
    BitmapRec dest = Marked();
    EXPECT_EQ(1, Bitmap_Copy(nullptr, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(Bitmap_Copy, InvalidSourceReturns12AndLeavesTheDestination)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Marked();
    EXPECT_EQ(12, Bitmap_Copy(&source, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(Bitmap_Copy, SizeBeyondARecordReturns5AndLeavesTheDestination)
{
    BitmapRec source = HandMade(kHuge, kHuge, 8, 4, 4);
    BitmapRec dest = Marked();
    EXPECT_EQ(5, Bitmap_Copy(&source, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST(Bitmap_Copy, StrideIsTheSource)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 align : {0, 1})
            for (sint32 width = 1; width <= 34; ++width) {
                Bitmap source(width, 2, bits, 0, align);
                Bitmap copy;
                ASSERT_EQ(0, Bitmap_Copy(&source.rec, &copy.rec));
                ASSERT_EQ(source.rec.BytesPerLine, copy.rec.BytesPerLine) << width << " pixels of " << bits;
                ASSERT_EQ(source.rec.bfSize, copy.rec.bfSize);
            }
}

TEST(Bitmap_Copy, ThreeByteStrideStaysThreeAndFourStaysFour)
{
    Bitmap packed(3, 1, 8, 0, 0), padded(3, 1, 8, 0, 1), copy3, copy4;
    ASSERT_EQ(0, Bitmap_Copy(&packed.rec, &copy3.rec));
    ASSERT_EQ(0, Bitmap_Copy(&padded.rec, &copy4.rec));
    EXPECT_EQ(3, copy3.rec.BytesPerLine);
    EXPECT_EQ(4, copy4.rec.BytesPerLine);
}

TEST(Bitmap_Copy, CopiesTheWholeBlockWithItsPadding)
{
    Bitmap source(10, 3, 1, 0, 1);
    for (sint32 k = 0; k < source.rec.bfSize; ++k) source.rec.buffer[k] = static_cast<uint8>(17 * k + 3);
    Bitmap copy;
    ASSERT_EQ(0, Bitmap_Copy(&source.rec, &copy.rec));
    EXPECT_EQ(10, copy.rec.biWidth);
    EXPECT_EQ(3, copy.rec.biHeight);
    EXPECT_EQ(1, copy.rec.biBitCount);
    EXPECT_EQ(Block(source.rec), Block(copy.rec));
    for (sint32 row = 0; row < 3; ++row) EXPECT_EQ(copy.rec.buffer + 4 * row, copy.rec.ScanLine[row]) << row;
}

TEST(Bitmap_Copy, WiderRowsThanNeededAreCopiedAsOneBlock)
{
    /* Rows of 8 bytes for 3 pixels: the copy has rows of 4 and takes the first bytes of the block. */
    Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 14, 15, 16, 17, 18};
    uint8* lines[] = {&pixels[0], &pixels[8]};
    BitmapRec source = {3, 2, 8, 16, 8, lines, pixels.data()};
    Bitmap copy;
    ASSERT_EQ(0, Bitmap_Copy(&source, &copy.rec));
    EXPECT_EQ(4, copy.rec.BytesPerLine);
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8}), Block(copy.rec));
}

TEST(Bitmap_Copy, CopyIsIndependent)
{
    Bitmap source(std::vector<Bytes>{{1, 2}, {3, 4}});
    Bitmap copy;
    ASSERT_EQ(0, Bitmap_Copy(&source.rec, &copy.rec));
    copy.SetGray(0, 0, 99);
    source.SetGray(1, 1, 88);
    EXPECT_EQ(Bytes({1, 2, 3, 88}), Block(source.rec));
    EXPECT_EQ(Bytes({99, 2, 3, 4}), Block(copy.rec));
}

TEST(Bitmap_Copy, EarlierImageOfTheDestinationIsNotReleased)
{
    Bitmap source(1, 1, 8, 5);
    Bitmap dest(1, 1, 8, 6);
    BitmapRec earlier = dest.rec;
    ASSERT_EQ(0, Bitmap_Copy(&source.rec, &dest.rec));
    EXPECT_NE(earlier.buffer, dest.rec.buffer);
    EXPECT_EQ(6, earlier.buffer[0]);
    EXPECT_EQ(5u, dest.At(0, 0));
    Bitmap_Done(&earlier);
}

TEST(Bitmap_Copy, OntoItselfLeavesACopy)
{
    Bitmap image(2, 1, 8, 9);
    BitmapRec earlier = image.rec;
    ASSERT_EQ(0, Bitmap_Copy(&image.rec, &image.rec));
    EXPECT_NE(earlier.buffer, image.rec.buffer);
    EXPECT_EQ(Bytes({9, 9}), Block(image.rec));
    Bitmap_Done(&earlier);
}

/* ---- ReadBitmapFromFile: what it refuses, in the order of its tests ---- */

TEST(ReadBitmapFromFile, NullPointerReturns1)
{
    TempFile file(File24());
    BitmapRec rec = Marked();
    EXPECT_EQ(1, ReadBitmapFromFile(nullptr, FileName(file.Name()).data()));
    EXPECT_EQ(1, ReadBitmapFromFile(&rec, nullptr));
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
}

TEST(ReadBitmapFromFile, MissingFileReturns2)
{
    TempFile file;
    BitmapRec rec = Marked();
    EXPECT_EQ(2, Read(&rec, file.Name()));
    EXPECT_EQ(2, Read(&rec, ""));
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
}

TEST(ReadBitmapFromFile, DirectoryReturns8)
{
    TempFile file;
    BitmapRec rec = Marked();
    EXPECT_EQ(8, Read(&rec, file.Directory()));
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
}

TEST(ReadBitmapFromFile, FileCutInsideTheHeadersReturns8)
{
    for (size_t length = 0; length < 54; ++length) {
        SCOPED_TRACE(length);
        ExpectRefused(8, Cut(File24(), length));
    }
}

TEST(ReadBitmapFromFile, LessThanFourBytesAfterTheHeadersReturns8)
{
    for (const Bytes& file : {File1(), File8(), File24()})
        for (size_t length = 54; length < 58; ++length) {
            SCOPED_TRACE(length);
            ExpectRefused(8, Cut(file, length));
        }
    ExpectRefused(3, Cut(File24(), 58)); /* one more, and only pixels are missing */
}

TEST(ReadBitmapFromFile, WrongMagicReturns3)
{
    ExpectRefused(3, Patched16(File24(), 0, 0x424D));
    ExpectRefused(3, Patched16(File24(), 0, 0x4D43));
    ExpectRefused(3, Patched16(File24(), 0, 0));
    ExpectRefused(3, Cut(Patched16(File24(), 0, 0x4142), 14)); /* before the info header is read */
    ExpectRefused(8, Cut(Patched16(File24(), 0, 0x4142), 13)); /* after the file header is whole */
}

TEST(ReadBitmapFromFile, OtherBitCountReturns4)
{
    for (uint32 bits : {16u, 32u, 0u, 2u, 4u, 256u + 8u, 0xFFFFu}) {
        SCOPED_TRACE(bits);
        ExpectRefused(4, Patched16(File24(), kBitCount, bits));
    }
    ExpectRefused(4, Cut(Patched16(File24(), kBitCount, 32), 54)); /* before the four bytes are missed */
    ExpectRefused(4, Patched32(Patched16(File24(), kBitCount, 16), kWidth, 0)); /* before the width */
}

TEST(ReadBitmapFromFile, WidthBelow1Returns1)
{
    for (uint32 width : {0u, 0xFFFFFFFFu, 0x80000000u}) {
        SCOPED_TRACE(width);
        ExpectRefused(1, Patched32(File24(), kWidth, width));
    }
    ExpectRefused(1, Cut(Patched32(File24(), kWidth, 0), 58)); /* before the pixels are missed */
    ExpectRefused(8, Cut(Patched32(File24(), kWidth, 0), 57)); /* after the four bytes are */
}

TEST(ReadBitmapFromFile, HeightThatHasNoPositiveValueReturns1)
{
    ExpectRefused(1, Patched32(File24(), kHeight, 0));
    ExpectRefused(1, Patched32(File24(), kHeight, 0x80000000));
}

TEST(ReadBitmapFromFile, SizeBeyondARecordReturns5)
{
    for (Bytes file : {File1(), File8(), File24()}) {
        Put32(&file, kWidth, 0x7FFFFFFF);
        Put32(&file, kHeight, 0x7FFFFFFF);
        ExpectRefused(5, file);
        Put32(&file, kHeight, 0x80000001);
        ExpectRefused(5, file);
    }
    ExpectRefused(5, Patched32(File24(), kWidth, 0x7FFFFFFF));
}

TEST(ReadBitmapFromFile, PixelsBeyondTheEndOfTheFileReturn3)
{
    for (const Bytes& file : {File1(), File8(), File24()}) {
        ExpectRefused(3, Cut(file, file.size() - 1));
        ExpectRefused(3, Patched32(file, kOffBits, file[kOffBits] + 256u * file[kOffBits + 1] + 1));
        ExpectRefused(3, Patched32(file, kWidth, 10000));
        ExpectRefused(3, Patched32(file, kHeight, 3));
        ExpectRefused(3, Patched32(file, kHeight, static_cast<uint32>(-3)));
    }
    ExpectRefused(3, Patched32(Patched32(File8(), kWidth, 10000), kHeight, 10000));
}

TEST(ReadBitmapFromFile, OffsetThatWouldWrapReturns3)
{
    /* The 24 bytes of pixels plus each of these is far beyond the file, and less than its length modulo 2^32. */
    for (uint32 offset : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFE8u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(offset);
        ExpectRefused(3, Patched32(File24(), kOffBits, offset));
    }
}

TEST(ReadBitmapFromFile, PipeReturns8)
{
    /* The headers come through; its length cannot be told. */
    TempFile file;
    ASSERT_EQ(0, mkfifo(file.Name().c_str(), 0600));
    const int pipe = open(file.Name().c_str(), O_RDWR);
    ASSERT_GE(pipe, 0);
    const Bytes content = File24();
    EXPECT_EQ(static_cast<ssize_t>(content.size()), write(pipe, content.data(), content.size()));
    BitmapRec rec = Marked();
    EXPECT_EQ(8, Read(&rec, file.Name()));
    EXPECT_TRUE(test::SameRecord(Marked(), rec));
    close(pipe);
}

/* ---- ReadBitmapFromFile: what it reads ---- */

TEST(ReadBitmapFromFile, FileOfExactlyTheAnnouncedLengthIsRead)
{
    Bitmap image;
    ASSERT_EQ(0, Read(&image, File24()));
    EXPECT_EQ(3, image.rec.biWidth);
    EXPECT_EQ(2, image.rec.biHeight);
    EXPECT_EQ(24, image.rec.biBitCount);
    EXPECT_EQ(12, image.rec.BytesPerLine);
    EXPECT_EQ(24, image.rec.bfSize);
    EXPECT_EQ(0x030201u, image.At(0, 0));
    EXPECT_EQ(0x131211u, image.At(1, 2));
    const Bytes file = File24();
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()), Block(image.rec));
}

TEST(ReadBitmapFromFile, EightBitRowsArePaddedAsInTheFile)
{
    Bitmap image;
    ASSERT_EQ(0, Read(&image, File8()));
    EXPECT_EQ(8, image.rec.biBitCount);
    EXPECT_EQ(4, image.rec.BytesPerLine);
    EXPECT_EQ(Bytes({10, 20, 30, 0, 40, 50, 60, 0}), Block(image.rec));
}

TEST(ReadBitmapFromFile, OneBitRowsArePaddedAsInTheFile)
{
    Bitmap image;
    ASSERT_EQ(0, Read(&image, File1()));
    EXPECT_EQ(1, image.rec.biBitCount);
    EXPECT_EQ(10, image.rec.biWidth);
    EXPECT_EQ(4, image.rec.BytesPerLine);
    EXPECT_EQ(Bytes({0xA5, 0x40, 0, 0, 0x3C, 0x80, 0, 0}), Block(image.rec));
}

TEST(ReadBitmapFromFile, PaddingOfTheFileIsKept)
{
    Bytes file = File8();
    file[file.size() - 1] = 77;
    Bitmap image;
    ASSERT_EQ(0, Read(&image, file));
    EXPECT_EQ(77, image.rec.ScanLine[1][3]);
}

TEST(ReadBitmapFromFile, TopDownFileKeepsItsRowOrder)
{
    Bitmap image;
    ASSERT_EQ(0, Read(&image, Patched32(File8(), kHeight, static_cast<uint32>(-2))));
    EXPECT_EQ(2, image.rec.biHeight);
    EXPECT_EQ(Bytes({10, 20, 30, 40, 50, 60}), test::PackedPixels(image.rec));
    EXPECT_EQ(File8(), Saved(image.rec)); /* the sign is lost */
}

TEST(ReadBitmapFromFile, PaletteIsIgnored)
{
    Bytes gray = File8();
    for (size_t k = 54; k < 1078; ++k) gray[k] = static_cast<uint8>(255 - k);
    Bitmap image8;
    ASSERT_EQ(0, Read(&image8, gray));
    EXPECT_EQ(Bytes({10, 20, 30, 40, 50, 60}), test::PackedPixels(image8.rec));

    Bytes inverted = File1(); /* white first */
    for (size_t k = 0; k < 3; ++k) std::swap(inverted[54 + k], inverted[58 + k]);
    Bitmap image1;
    ASSERT_EQ(0, Read(&image1, inverted));
    EXPECT_EQ(Bytes({0xA5, 0x40, 0x3C, 0x80}), test::PackedPixels(image1.rec));
}

TEST(ReadBitmapFromFile, RestOfTheHeadersIsNotChecked)
{
    Bytes file = File24();
    Put32(&file, 2, 0xDEADBEEF); /* file size */
    Put32(&file, 6, 0xDEADBEEF); /* reserved */
    Put32(&file, 14, 12);        /* header size */
    Put16(&file, kPlanes, 7);
    for (size_t offset = kCompression; offset < 54; offset += 4) Put32(&file, offset, 0xDEADBEEF);
    Bitmap image;
    ASSERT_EQ(0, Read(&image, file));
    EXPECT_EQ(24, image.rec.bfSize);
    EXPECT_EQ(0x131211u, image.At(1, 2));
}

TEST(ReadBitmapFromFile, PixelsBeginWhereTheHeaderSays)
{
    Bytes gap = File24();
    gap.insert(gap.begin() + 54, {91, 92, 93, 94, 95});
    Bitmap later;
    ASSERT_EQ(0, Read(&later, Patched32(gap, kOffBits, 59)));
    EXPECT_EQ(0x030201u, later.At(0, 0));

    Bitmap inside; /* the headers themselves, taken as pixels */
    ASSERT_EQ(0, Read(&inside, Patched32(File24(), kOffBits, 0)));
    EXPECT_EQ('B', inside.rec.buffer[0]);
    EXPECT_EQ('M', inside.rec.buffer[1]);
}

TEST(ReadBitmapFromFile, BytesAfterThePixelsAreIgnored)
{
    Bitmap image;
    ASSERT_EQ(0, Read(&image, Joined({File8(), {1, 2, 3, 4, 5}})));
    EXPECT_EQ(Bytes({10, 20, 30, 0, 40, 50, 60, 0}), Block(image.rec));
}

TEST(ReadBitmapFromFile, EarlierImageOfTheRecordIsNotReleased)
{
    Bitmap image(1, 1, 8, 6);
    BitmapRec earlier = image.rec;
    ASSERT_EQ(0, Read(&image, File8()));
    EXPECT_EQ(6, earlier.buffer[0]);
    EXPECT_EQ(10u, image.At(0, 0));
    Bitmap_Done(&earlier);
}

TEST(ReadBitmapFromFile, ClosesItsFile)
{
    /* The lowest free descriptor is the same before and after, for files that are read and files that are not. */
    const int before = dup(0);
    close(before);
    for (const Bytes& content :
         {File24(), Cut(File24(), 20), Cut(File24(), 70), Patched16(File24(), kBitCount, 4)}) {
        Bitmap image;
        Read(&image, content);
    }
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

/* ---- SaveBitmapToFile ---- */

TEST(SaveBitmapToFile, NullPointerReturns1)
{
    TempFile file;
    Bitmap image(1, 1, 8);
    EXPECT_EQ(1, SaveBitmapToFile(nullptr, FileName(file.Name()).data()));
    EXPECT_EQ(1, SaveBitmapToFile(&image.rec, nullptr));
    EXPECT_FALSE(file.Exists());
}

TEST(SaveBitmapToFile, InvalidRecordReturns12AndCreatesNoFile)
{
    TempFile file;
    EXPECT_EQ(12, Save(null_bitmap, file.Name()));
    EXPECT_EQ(12, Save(HandMade(1, 1, 16, 4, 4), file.Name()));
    EXPECT_FALSE(file.Exists());
}

TEST(SaveBitmapToFile, NegativeSizeReturns12AndLeavesAnEarlierFile)
{
    TempFile file({1, 2, 3});
    EXPECT_EQ(12, Save(HandMade(1, 1, 8, 4, -1), file.Name()));
    EXPECT_EQ(12, Save(HandMade(1, 1, 8, 4, INT_MIN), file.Name()));
    EXPECT_EQ(Bytes({1, 2, 3}), file.Content());
}

TEST(SaveBitmapToFile, FileOfMoreThan4GiBReturns12)
{
    /* Rows of 5 bytes become 8; with 1078 bytes before them, 536870777 of them end 1 byte below 2^32. */
    TempFile file;
    EXPECT_EQ(12, Save(HandMade(1, kHuge, 8, 5, 5), file.Name()));
    EXPECT_EQ(12, Save(HandMade(1, 536870778, 8, 5, 5), file.Name()));
    EXPECT_FALSE(file.Exists());

    uint8 pixels[5] = {};
    std::vector<uint8*> lines(1 << 16, pixels); /* the device refuses long before these run out */
    EXPECT_EQ(7, Save({1, 536870777, 8, 5, 5, lines.data(), pixels}, "/dev/full"));
}

TEST(SaveBitmapToFile, UncreatableFileReturns6)
{
    TempFile file;
    Bitmap image(1, 1, 8);
    EXPECT_EQ(6, Save(image.rec, file.Directory() + "/missing/image.bmp"));
    EXPECT_EQ(6, Save(image.rec, file.Directory()));
    EXPECT_EQ(6, Save(image.rec, ""));
}

TEST(SaveBitmapToFile, FullDeviceReturns7)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 align : {0, 1})
            for (sint32 size : {1, 700}) { /* within the stream's buffer, and far beyond it */
                Bitmap image(size, size, bits, 0, align);
                EXPECT_EQ(7, Save(image.rec, "/dev/full")) << size << " pixels of " << bits;
            }
}

TEST(SaveBitmapToFile, WholeFile24)
{
    for (sint32 align : {0, 1}) {
        Bitmap image(3, 2, 24, 0, align);
        Fill24(&image);
        EXPECT_EQ(File24(), Saved(image.rec)) << align;
    }
}

TEST(SaveBitmapToFile, WholeFile8)
{
    for (sint32 align : {0, 1}) {
        Bitmap image(3, 2, 8, 0, align);
        Fill8(&image);
        EXPECT_EQ(File8(), Saved(image.rec)) << align;
    }
}

TEST(SaveBitmapToFile, WholeFile1)
{
    for (sint32 align : {0, 1}) {
        Bitmap image(10, 2, 1, 0, align);
        Fill1(&image);
        EXPECT_EQ(File1(), Saved(image.rec)) << align;
    }
}

TEST(SaveBitmapToFile, PackedRowsAreFollowedByZeros)
{
    Bitmap image(3, 2, 24);
    Fill24(&image);
    ASSERT_EQ(9, image.rec.BytesPerLine);
    const Bytes file = Saved(image.rec);
    ASSERT_EQ(78u, file.size());
    EXPECT_EQ(78, file[2]);  /* file size */
    EXPECT_EQ(24, file[34]); /* image size */
    for (size_t k : {63u, 64u, 65u, 75u, 76u, 77u}) EXPECT_EQ(0, file[k]) << k;
    EXPECT_EQ(11, file[66]);
}

TEST(SaveBitmapToFile, EveryPackedWidthIsPaddedToFourBytes)
{
    for (sint32 width = 1; width <= 9; ++width) {
        Bitmap image(width, 3, 8, 0x11);
        const Bytes file = Saved(image.rec);
        const size_t row = static_cast<size_t>((width + 3) / 4 * 4);
        ASSERT_EQ(1078 + 3 * row, file.size()) << width;
        EXPECT_EQ(3 * row, file[34]) << width;
        for (size_t k = 0; k < 3 * row; ++k)
            EXPECT_EQ(k % row < static_cast<size_t>(width) ? 0x11 : 0, file[1078 + k]) << width << " byte " << k;
    }
}

TEST(SaveBitmapToFile, PaddingOfAlignedRowsIsWrittenAsItIs)
{
    Bitmap image(3, 2, 8, 0, 1);
    Fill8(&image);
    image.rec.ScanLine[0][3] = 77;
    const Bytes file = Saved(image.rec);
    ASSERT_EQ(1086u, file.size());
    EXPECT_EQ(77, file[1081]);
}

TEST(SaveBitmapToFile, AlignedRecordAnnouncesItsOwnSize)
{
    Bitmap image(4, 3, 8, 0x22, 1);
    BitmapRec shortened = image.rec;
    shortened.bfSize = 8; /* two of its three rows */
    const Bytes file = Saved(shortened);
    EXPECT_EQ(1078u + 8, file.size());
    EXPECT_EQ(8, file[34]);
    EXPECT_EQ(3, file[22]);
}

TEST(SaveBitmapToFile, PackedRowsAreTakenThroughTheRowPointers)
{
    Bytes first = {1, 2, 3}, second = {4, 5, 6};
    uint8* lines[] = {second.data(), first.data()};
    const Bytes file = Saved({3, 2, 8, 6, 3, lines, first.data()});
    ASSERT_EQ(1086u, file.size());
    EXPECT_EQ(Bytes({4, 5, 6, 0, 1, 2, 3, 0}), Bytes(file.begin() + 1078, file.end()));
}

/* Rows far shorter than what is written at a time, just as long with their padding, and longer. */
TEST(SaveBitmapToFile, LargePackedImagesAreWrittenWhole)
{
    const sint32 block = 1 << 16;
    for (sint32 width : {1, 1001, block / 2 - 3, block / 2 - 1, block - 3, block - 1, block + 1, 3 * block + 1}) {
        const sint32 height = width == 1 ? block : 3 * block / width + 3;
        Bitmap image(width, height, 8);
        Bytes expected;
        for (sint32 row = 0; row < height; ++row) {
            for (sint32 col = 0; col < width; ++col)
                image.rec.ScanLine[row][col] = static_cast<uint8>(row * 31 + col % 251);
            expected.insert(expected.end(), image.rec.ScanLine[row], image.rec.ScanLine[row] + width);
            while (expected.size() % 4 != 0) expected.push_back(0);
        }
        const Bytes file = Saved(image.rec);
        ASSERT_EQ(1078 + expected.size(), file.size()) << width;
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), file.begin() + 1078)) << width;
    }
}

TEST(SaveBitmapToFile, TwoSavesGiveEqualFiles)
{
    for (sint32 bits : {1, 8, 24}) {
        PoisonHeap(40 * 4);
        Bitmap first(1, 40, bits, 0xFF, 1);
        Bitmap second(1, 40, bits, 0xFF, 1);
        const Bytes file = Saved(first.rec);
        EXPECT_EQ(file, Saved(first.rec)) << bits;
        EXPECT_EQ(file, Saved(second.rec)) << bits;
    }
}

TEST(SaveBitmapToFile, EarlierFileIsReplaced)
{
    TempFile file(Bytes(5000, 0xEE));
    Bitmap image(3, 2, 24);
    Fill24(&image);
    EXPECT_EQ(0, Save(image.rec, file.Name()));
    EXPECT_EQ(File24(), file.Content());
}

TEST(SaveBitmapToFile, RecordIsOnlyRead)
{
    TempFile file;
    Bitmap image(3, 2, 8);
    Fill8(&image);
    const BitmapRec before = image.rec;
    const Bytes pixels = Block(image.rec);
    ASSERT_EQ(0, SaveBitmapToFile(&image.rec, FileName(file.Name()).data()));
    EXPECT_TRUE(test::SameRecord(before, image.rec));
    EXPECT_EQ(pixels, Block(image.rec));
}

TEST(SaveBitmapToFile, HeaderConstantStaysAsItIs)
{
    const uint8 bytes[14] = {'B', 'M'}; /* of the one zero value that could be written */
    Bitmap image(3, 2, 8);
    Saved(image.rec);
    EXPECT_EQ(0, std::memcmp(bytes, &null_bitmap_file_header, sizeof bytes));
}

TEST(SaveBitmapToFile, ReadBackGivesThePixels)
{
    for (sint32 bits : {1, 8, 24})
        for (sint32 align : {0, 1})
            for (sint32 width = 1; width <= 33; ++width) {
                Bitmap image(width, 3, bits, 0, align);
                for (sint32 row = 0; row < 3; ++row)
                    for (sint32 col = 0; col < width; ++col) {
                        const sint32 value = 31 * row + 7 * col;
                        image.SetGray(row, col, static_cast<uint8>(bits == 1 ? value % 3 == 0 : value));
                    }
                TempFile file;
                ASSERT_EQ(0, Save(image.rec, file.Name()));
                Bitmap again;
                ASSERT_EQ(0, Read(&again.rec, file.Name()));
                ASSERT_EQ(width, again.rec.biWidth);
                ASSERT_EQ(test::PackedPixels(image.rec), test::PackedPixels(again.rec)) << width << ' ' << bits;
            }
}

/* ---- SaveBmpToFile ---- */

TEST(SaveBmpToFile, SuccessReturns1)
{
    TempFile file;
    Bitmap image(3, 2, 24);
    Fill24(&image);
    EXPECT_EQ(1, SaveBmpToFile(&image.rec, FileName(file.Name()).data()));
    EXPECT_EQ(File24(), file.Content());
}

TEST(SaveBmpToFile, EveryFailureReturns0)
{
    TempFile file;
    Bitmap image(1, 1, 8);
    BitmapRec invalid = null_bitmap;
    EXPECT_EQ(0, SaveBmpToFile(nullptr, FileName(file.Name()).data()));
    EXPECT_EQ(0, SaveBmpToFile(&image.rec, nullptr));
    EXPECT_EQ(0, SaveBmpToFile(&invalid, FileName(file.Name()).data()));
    EXPECT_EQ(0, SaveBmpToFile(&image.rec, FileName(file.Directory()).data()));
    EXPECT_EQ(0, SaveBmpToFile(&image.rec, FileName("/dev/full").data()));
    EXPECT_FALSE(file.Exists());
}

/* ---- Conversion between depths: what all three share ---- */

namespace
{

sint32 BWAbove127(QL_Bitmap source, QL_Bitmap dest) { return GetBWBitmap(source, dest, 127); }

struct Conversion {
    const char* name;
    sint32 bits;
    sint32 (*convert)(QL_Bitmap, QL_Bitmap);
};

void PrintTo(const Conversion& conversion, std::ostream* out) { *out << conversion.name; }

class DepthConversion : public testing::TestWithParam<Conversion>
{
protected:
    /* The other two depths. */
    static std::vector<sint32> SourceDepths()
    {
        std::vector<sint32> depths;
        for (sint32 bits : {1, 8, 24})
            if (bits != GetParam().bits) depths.push_back(bits);
        return depths;
    }
};

} // namespace

TEST_P(DepthConversion, NullPointerReturns1)
{
    Bitmap source(1, 1, 8);
    BitmapRec dest = Marked();
    EXPECT_EQ(1, GetParam().convert(nullptr, &dest));
    EXPECT_EQ(1, GetParam().convert(&source.rec, nullptr));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST_P(DepthConversion, NullDestinationReturns1EvenAtTheTargetDepth)
{
    Bitmap source(1, 1, GetParam().bits);
    EXPECT_EQ(1, GetParam().convert(&source.rec, nullptr));
}

TEST_P(DepthConversion, InvalidSourceReturns12AndLeavesTheDestination)
{
    BitmapRec source = null_bitmap;
    BitmapRec dest = Marked();
    EXPECT_EQ(12, GetParam().convert(&source, &dest));
    EXPECT_TRUE(test::SameRecord(Marked(), dest));
}

TEST_P(DepthConversion, SizeBeyondARecordReturns5AndLeavesTheDestination)
{
    for (sint32 bits : {1, 8, 24}) {
        BitmapRec source = HandMade(kHuge, kHuge, bits, 4, 4);
        BitmapRec dest = Marked();
        EXPECT_EQ(5, GetParam().convert(&source, &dest)) << bits;
        EXPECT_TRUE(test::SameRecord(Marked(), dest));
    }
}

TEST_P(DepthConversion, TargetDepthIsCopiedExactly)
{
    for (sint32 align : {0, 1}) {
        Bitmap source(11, 3, GetParam().bits, 0, align);
        for (sint32 k = 0; k < source.rec.bfSize; ++k) source.rec.buffer[k] = static_cast<uint8>(29 * k + 5);
        Bitmap dest;
        ASSERT_EQ(0, GetParam().convert(&source.rec, &dest.rec));
        EXPECT_EQ(source.rec.BytesPerLine, dest.rec.BytesPerLine);
        EXPECT_NE(source.rec.buffer, dest.rec.buffer);
        EXPECT_EQ(Block(source.rec), Block(dest.rec));
    }
}

TEST_P(DepthConversion, ResultIsPaddedExactlyWhenTheSourceStrideIsAMultipleOf4)
{
    for (sint32 bits : SourceDepths())
        for (sint32 align : {0, 1})
            for (sint32 width : {1, 3, 4, 5, 17, 25, 32}) {
                Bitmap source(width, 2, bits, 0, align);
                Bitmap dest;
                ASSERT_EQ(0, GetParam().convert(&source.rec, &dest.rec));
                const sint32 row = GetParam().bits * width;
                const sint32 stride = source.rec.BytesPerLine % 4 == 0 ? (row + 31) / 32 * 4 : (row + 7) / 8;
                EXPECT_EQ(width, dest.rec.biWidth);
                EXPECT_EQ(2, dest.rec.biHeight);
                EXPECT_EQ(GetParam().bits, dest.rec.biBitCount);
                EXPECT_EQ(stride, dest.rec.BytesPerLine) << width << " pixels of " << bits;
            }
}

TEST_P(DepthConversion, SourceIsOnlyRead)
{
    for (sint32 bits : {1, 8, 24}) {
        Bitmap source(10, 2, bits, 200);
        const BitmapRec before = source.rec;
        const Bytes pixels = Block(source.rec);
        Bitmap dest;
        ASSERT_EQ(0, GetParam().convert(&source.rec, &dest.rec));
        EXPECT_TRUE(test::SameRecord(before, source.rec));
        EXPECT_EQ(pixels, Block(source.rec));
    }
}

TEST_P(DepthConversion, OntoItselfLeavesTheConvertedImage)
{
    for (sint32 bits : {1, 8, 24}) {
        Bitmap image(2, 2, bits, 255);
        BitmapRec earlier = image.rec;
        ASSERT_EQ(0, GetParam().convert(&image.rec, &image.rec));
        EXPECT_EQ(GetParam().bits, image.rec.biBitCount);
        EXPECT_NE(earlier.buffer, image.rec.buffer);
        EXPECT_EQ(GetParam().bits == 1 ? 1u : GetParam().bits == 8 ? 255u : 0xFFFFFFu, image.At(1, 1));
        EXPECT_NE(0, earlier.buffer[0]); /* the earlier pixels are still the caller's */
        Bitmap_Done(&earlier);
    }
}

INSTANTIATE_TEST_SUITE_P(, DepthConversion,
                         testing::Values(Conversion{"GetBWBitmap", 1, BWAbove127},
                                         Conversion{"GetGrayBitmap", 8, GetGrayBitmap},
                                         Conversion{"GetColorBitmap", 24, GetColorBitmap}),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

/* ---- GetBWBitmap ---- */

namespace
{

/* The result's one pixel. */
uint32 ToBW(Bitmap* source, uint8 DividingValue)
{
    Bitmap dest;
    EXPECT_EQ(0, GetBWBitmap(&source->rec, &dest.rec, DividingValue));
    return dest.At(0, 0);
}

uint32 GrayToBW(uint8 gray, uint8 DividingValue)
{
    Bitmap source(1, 1, 8, gray);
    return ToBW(&source, DividingValue);
}

uint32 ColorToBW(uint8 blue, uint8 green, uint8 red, uint8 DividingValue)
{
    Bitmap source(1, 1, 24);
    source.SetColor(0, 0, blue, green, red);
    return ToBW(&source, DividingValue);
}

uint32 ColorToGray(uint8 blue, uint8 green, uint8 red)
{
    Bitmap source(1, 1, 24);
    source.SetColor(0, 0, blue, green, red);
    Bitmap dest;
    EXPECT_EQ(0, GetGrayBitmap(&source.rec, &dest.rec));
    return dest.At(0, 0);
}

} // namespace

TEST(GetBWBitmap, GrayAtTheThresholdIsBlackAndOneAboveIsWhite)
{
    for (sint32 threshold = 0; threshold < 255; ++threshold) {
        EXPECT_EQ(0u, GrayToBW(static_cast<uint8>(threshold), static_cast<uint8>(threshold))) << threshold;
        EXPECT_EQ(1u, GrayToBW(static_cast<uint8>(threshold + 1), static_cast<uint8>(threshold))) << threshold;
    }
}

TEST(GetBWBitmap, Threshold255MakesEveryGrayBlack)
{
    for (sint32 gray = 0; gray < 256; ++gray) EXPECT_EQ(0u, GrayToBW(static_cast<uint8>(gray), 255)) << gray;
}

TEST(GetBWBitmap, GrayIsComparedWithoutTheToneCurve)
{
    EXPECT_EQ(1u, GrayToBW(128, 127)); /* the curve takes 128 to 94 */
    EXPECT_EQ(0u, ColorToBW(128, 128, 128, 127));
}

TEST(GetBWBitmap, ColorIsComparedThroughTheToneCurve)
{
    EXPECT_EQ(1u, ColorToBW(128, 128, 128, 93));
    EXPECT_EQ(0u, ColorToBW(128, 128, 128, 94));
    EXPECT_EQ(1u, ColorToBW(255, 255, 255, 254));
    EXPECT_EQ(0u, ColorToBW(255, 255, 255, 255));
    EXPECT_EQ(1u, ColorToBW(0, 0, 255, 43)); /* red alone is 44 */
    EXPECT_EQ(0u, ColorToBW(0, 0, 255, 44));
}

TEST(GetBWBitmap, FirstPixelOfAByteIsItsHighestBit)
{
    Bitmap source(
        std::vector<Bytes>{{200, 0, 200, 0, 0, 200, 0, 200, 0, 200}, {0, 0, 200, 200, 200, 200, 0, 0, 200, 0}});
    Bitmap dest;
    ASSERT_EQ(0, GetBWBitmap(&source.rec, &dest.rec, 100));
    EXPECT_EQ(2, dest.rec.BytesPerLine);
    EXPECT_EQ(Bytes({0xA5, 0x40, 0x3C, 0x80}), Block(dest.rec));
}

TEST(GetBWBitmap, BitsAfterTheLastPixelStayZero)
{
    Bitmap source(3, 40, 8, 255);
    PoisonHeap(40);
    Bitmap dest;
    ASSERT_EQ(0, GetBWBitmap(&source.rec, &dest.rec, 100));
    EXPECT_EQ(Bytes(40, 0xE0), Block(dest.rec));
}

TEST(GetBWBitmap, OneBitSourceIsCopiedWhateverTheThreshold)
{
    Bitmap source(10, 2, 1);
    Fill1(&source);
    source.rec.ScanLine[1][1] = 0xBF; /* unused bits come along */
    for (sint32 threshold = 0; threshold < 256; ++threshold) {
        Bitmap dest;
        ASSERT_EQ(0, GetBWBitmap(&source.rec, &dest.rec, static_cast<uint8>(threshold)));
        ASSERT_EQ(Bytes({0xA5, 0x40, 0x3C, 0xBF}), Block(dest.rec)) << threshold;
    }
}

/* ---- GetGrayBitmap ---- */

TEST(GetGrayBitmap, BitsBecomeBlackAndWhite)
{
    Bitmap source(10, 2, 1);
    Fill1(&source);
    Bitmap dest;
    ASSERT_EQ(0, GetGrayBitmap(&source.rec, &dest.rec));
    EXPECT_EQ(Bytes({255, 0, 255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 0, 0, 255, 0}),
              Block(dest.rec));
}

TEST(GetGrayBitmap, BlackAndWhiteKeepTheirGray)
{
    EXPECT_EQ(0u, ColorToGray(0, 0, 0));
    EXPECT_EQ(255u, ColorToGray(255, 255, 255));
}

TEST(GetGrayBitmap, EachColorHasItsOwnWeight)
{
    EXPECT_EQ(10u, ColorToGray(255, 0, 0));  /* 29768 >> 10 = 29 */
    EXPECT_EQ(117u, ColorToGray(0, 255, 0)); /* 153277 >> 10 = 149 */
    EXPECT_EQ(44u, ColorToGray(0, 0, 255));  /* 78075 >> 10 = 76 */
}

TEST(GetGrayBitmap, SumOfTheWeightsIsTruncated)
{
    EXPECT_EQ(7u, ColorToGray(0, 0, 80)); /* 24494 / 1024 = 23.92: the tone of 23 */
    EXPECT_EQ(8u, ColorToGray(0, 0, 81)); /* 24800 / 1024 = 24.2 */
}

TEST(GetGrayBitmap, GrayColorsFollowTheToneCurve)
{
    EXPECT_EQ(94u, ColorToGray(128, 128, 128));
    EXPECT_EQ(3u, ColorToGray(12, 12, 12));
    EXPECT_EQ(14u, ColorToGray(34, 34, 34));
}

TEST(GetGrayBitmap, EveryPixelIsConvertedInItsPlace)
{
    Bitmap source(3, 2, 24, 0, 1);
    source.SetColor(0, 0, 255, 0, 0);
    source.SetColor(0, 2, 0, 255, 0);
    source.SetColor(1, 1, 0, 0, 255);
    Bitmap dest;
    ASSERT_EQ(0, GetGrayBitmap(&source.rec, &dest.rec));
    EXPECT_EQ(Bytes({10, 0, 117, 0, 0, 44, 0, 0}), Block(dest.rec));
}

/* ---- GetColorBitmap ---- */

TEST(GetColorBitmap, BitsBecomeBlackAndWhite)
{
    Bitmap source(10, 2, 1);
    Fill1(&source);
    Bitmap dest;
    ASSERT_EQ(0, GetColorBitmap(&source.rec, &dest.rec));
    for (sint32 row = 0; row < 2; ++row)
        for (sint32 col = 0; col < 10; ++col)
            EXPECT_EQ(source.At(row, col) != 0 ? 0xFFFFFFu : 0u, dest.At(row, col)) << row << ' ' << col;
}

TEST(GetColorBitmap, GrayStandsInAllThreeBytes)
{
    Bitmap source(std::vector<Bytes>{{1, 2, 3}, {253, 254, 255}});
    Bitmap dest;
    ASSERT_EQ(0, GetColorBitmap(&source.rec, &dest.rec));
    EXPECT_EQ(Bytes({1, 1, 1, 2, 2, 2, 3, 3, 3, 253, 253, 253, 254, 254, 254, 255, 255, 255}), Block(dest.rec));
}
