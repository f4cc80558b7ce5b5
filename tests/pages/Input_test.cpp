/*
 * Input_test.cpp - reading: every format gives the same bitmap of the same page, whatever it was stored like.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foreign.h"

using namespace test;

namespace
{

using Pixels = std::vector<unsigned>;

/* A file of a test that goes with it. */
class TemporaryFile
{
public:
    explicit TemporaryFile(const Bytes& bytes, const std::string& ending = "")
        : name(testing::TempDir() + "input_test_" + std::to_string(getpid()) + ending)
    {
        std::FILE* file = std::fopen(name.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    ~TemporaryFile() { std::remove(name.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string name;
};

void ExpectPage(const Page& page, int depth, const Pixels& pixels, const std::string& warnings)
{
    EXPECT_EQ(depth, page.bitmap.depth());
    EXPECT_EQ(pixels, PixelsOf(page.bitmap));
    EXPECT_EQ(warnings, Joined(page.warnings));
}

void ExpectProblem(const Bytes& bytes, Code code, const std::string& reason)
{
    Page page;
    const Problem problem = Read(bytes, &page);
    EXPECT_EQ(code, problem.code);
    EXPECT_EQ("read", problem.stage);
    EXPECT_EQ(reason, problem.reason);
    EXPECT_TRUE(page.bitmap.empty());
}

/* A light page lying askew on a dark ground. */
Page Scan(int depth)
{
    Page page = MakePage(420, 500, depth);
    for (int y = 0; y < 500; ++y)
        for (int x = 0; x < 420; ++x) {
            const double u = (x - 210) * std::cos(0.05) + (y - 250) * std::sin(0.05);
            const double v = (y - 250) * std::cos(0.05) - (x - 210) * std::sin(0.05);
            const bool inside = std::fabs(u) < 140 && std::fabs(v) < 190;
            std::uint8_t* row = page.bitmap.row(499 - y);
            const int grey = inside ? 200 + (x + 2 * y) % 40 : 20;
            for (int c = 0; c < depth / 8; ++c) row[x * depth / 8 + c] = static_cast<std::uint8_t>(grey + 5 * c);
            const int bit = 0x80 >> x % 8;
            if (depth == 1) row[x / 8] = static_cast<std::uint8_t>(inside ? row[x / 8] | bit : row[x / 8] & ~bit);
        }
    return page;
}

} // namespace

/* ---- One page, every format ---- */

TEST(Input, TheSamePageIsTheSameBitmapInEveryFormat)
{
    for (const int depth : {1, 8, 24}) {
        /* What a JPEG file says counts, for it alone changes pixels when it is written. */
        const Bytes jpeg = FileOf(Scan(depth == 1 ? 8 : depth), OptionsFor(Format::jpeg));
        const Page scan = depth == 1 ? Scan(1) : PageOf(jpeg);
        for (const Format format : kFormats) {
            if (format == Format::jpeg) continue;
            SCOPED_TRACE(quarlo::NameOf(format));
            ExpectSamePixels(scan.bitmap, PageOf(FileOf(scan, OptionsFor(format))).bitmap);
        }
    }
}

TEST(Input, RowZeroIsTheBottomRowInEveryFormat)
{
    Page page = MakePage(16, 16, 8);
    for (int y = 0; y < 16; ++y) std::fill(page.bitmap.row(y), page.bitmap.row(y) + 16, y < 8 ? 0 : 255);
    for (const Format format : kFormats) {
        const Page again = PageOf(FileOf(page, OptionsFor(format)));
        EXPECT_EQ(0, again.bitmap.row(0)[5]) << quarlo::NameOf(format);
        EXPECT_EQ(255, again.bitmap.row(15)[5]) << quarlo::NameOf(format);
    }
}

TEST(Input, TheSameFrameIsFoundInEveryFormat)
{
    const Bytes jpeg = FileOf(Scan(24), OptionsFor(Format::jpeg));
    const Page scan = PageOf(jpeg);
    quarlo::SearchOptions options;
    options.ground = quarlo::Ground::dark;
    options.threshold = 100;
    const quarlo::Frame expected = quarlo::FindFrame(scan.bitmap, options);
    ASSERT_TRUE(expected.found) << expected.problem.reason;
    EXPECT_NEAR(0.05 * 180.0 / std::acos(-1.0), std::fabs(expected.angle_deg), 0.2);
    for (const Format format : kFormats) {
        const Page page = PageOf(format == Format::jpeg ? jpeg : FileOf(scan, OptionsFor(format)));
        const quarlo::Frame frame = quarlo::FindFrame(page.bitmap, options);
        SCOPED_TRACE(quarlo::NameOf(format));
        EXPECT_EQ(expected.angle_deg, frame.angle_deg);
        EXPECT_EQ(expected.width, frame.width);
        EXPECT_EQ(expected.height, frame.height);
        EXPECT_EQ(expected.center.x, frame.center.x);
        EXPECT_EQ(expected.center.y, frame.center.y);
    }
}

/* ---- Opening ---- */

TEST(Input, TheFormatIsToldByTheContent)
{
    for (const Format format : kFormats) {
        const Page page = MakePage(9, 9, 8);
        const TemporaryFile file(FileOf(page, OptionsFor(format)), ".txt");
        std::unique_ptr<quarlo::Input> input;
        ASSERT_EQ(Code::ok, quarlo::Input::OpenFile(file.name, &input).code);
        EXPECT_EQ(format, input->format());
        EXPECT_EQ(1, input->page_count());
        Page again;
        EXPECT_EQ(Code::ok, input->Read(0, {}, &again).code);
        EXPECT_EQ(9, again.bitmap.width());
        EXPECT_EQ(Code::no_such_page, input->Read(1, {}, &again).code);
        EXPECT_EQ(Code::ok, input->Read(0, {}, &again).code) << "any number of times";
    }
}

TEST(Input, WhatIsNoPictureIsRefused)
{
    std::unique_ptr<quarlo::Input> input;
    for (const char* text : {"hello world, this is text", "P", "B", "II*", "P8 1 1", "\xff\xd8", "GIF89a"}) {
        const Problem problem = quarlo::Input::OpenMemory(BytesOf(text), &input);
        EXPECT_EQ(Code::unknown_format, problem.code) << text;
        EXPECT_EQ("the file is none of BMP, PNG, JPEG, TIFF and PNM", problem.reason);
    }
    EXPECT_EQ("the file is empty", quarlo::Input::OpenMemory({}, &input).reason);
    EXPECT_EQ(nullptr, input);
}

TEST(Input, AFileThatIsNotThereOrIsAFolderCannotBeRead)
{
    std::unique_ptr<quarlo::Input> input;
    Problem problem = quarlo::Input::OpenFile(testing::TempDir() + "no/such/file", &input);
    EXPECT_EQ(Code::cannot_read, problem.code);
    EXPECT_EQ("No such file or directory", problem.reason);
    problem = quarlo::Input::OpenFile(testing::TempDir(), &input);
    EXPECT_EQ(Code::cannot_read, problem.code);
    EXPECT_EQ("Is a directory", problem.reason);
    const int file = open(testing::TempDir().c_str(), O_RDONLY);
    problem = quarlo::Input::OpenStream(file, &input);
    close(file);
    EXPECT_EQ(Code::cannot_read, problem.code);
    EXPECT_EQ("Is a directory", problem.reason);
}

TEST(Input, AStreamIsReadToItsEnd)
{
    const Page page = MakePage(50, 50, 24);
    const Bytes bytes = FileOf(page, OptionsFor(Format::tiff));
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(ends[1], bytes.data(), bytes.size()));
    close(ends[1]);
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenStream(ends[0], &input).code);
    EXPECT_EQ(0, fcntl(ends[0], F_GETFD)) << "it stays open";
    close(ends[0]);
    Page again;
    ASSERT_EQ(Code::ok, input->Read(0, {}, &again).code);
    ExpectSamePixels(page.bitmap, again.bitmap);
}

TEST(Input, AnEndlessStreamThatIsNoPictureIsLeftAtOnce)
{
    std::unique_ptr<quarlo::Input> input;
    EXPECT_EQ(Code::unknown_format, quarlo::Input::OpenFile("/dev/zero", &input).code);
}

/* ---- Limits ---- */

TEST(Input, PicturesBeyondTheLimitAreRefused)
{
    for (const Format format : kFormats) {
        const Bytes bytes = FileOf(MakePage(40, 30, 8), OptionsFor(format));
        Page page;
        EXPECT_EQ(Code::ok, Read(bytes, &page, 0, 1200).code);
        const Problem problem = Read(bytes, &page, 0, 1199);
        EXPECT_EQ(Code::too_large, problem.code) << quarlo::NameOf(format);
        EXPECT_EQ("page 1: 40 x 30 pixels are more than the limit of 1199", problem.reason);
    }
}

TEST(Input, PicturesThatNoBitmapHoldsAreRefusedBeforeMemoryIsTaken)
{
    Bmp bmp;
    bmp.width = 65536;
    bmp.height = 65536;
    ExpectProblem(BmpFile(bmp), Code::too_large, "page 1: 65536 x 65536 pixels are more than a bitmap can hold");
    ExpectProblem(BytesOf("P6 65536 65536 255\n"), Code::too_large,
                  "page 1: 65536 x 65536 pixels are more than a bitmap can hold");
    Png small;
    small.rows = {{0}};
    Bytes png = PngFile(small);
    const Bytes head = PngChunk("IHDR", {0, 2, 0, 0, 0, 2, 0, 0, 8, 0, 0, 0, 0});
    std::copy(head.begin(), head.end(), png.begin() + 8);
    ExpectProblem(png, Code::too_large, "page 1: 131072 x 131072 pixels are more than a bitmap can hold");
    const Bytes tiff = TiffFile([](TIFF* file) {
        SetTiffPicture(file, 70000, 70000, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 1);
        TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        Bytes row(70000);
        TIFFWriteEncodedStrip(file, 0, row.data(), 70000);
    });
    ExpectProblem(tiff, Code::too_large, "page 1: 70000 x 70000 pixels are more than a bitmap can hold");
}

TEST(Input, TilesFarLargerThanThePictureAreRefused)
{
    const Bytes tiff = TiffFile([](TIFF* file) {
        SetTiffPicture(file, 10, 10, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        TIFFUnsetField(file, TIFFTAG_ROWSPERSTRIP);
        TIFFSetField(file, TIFFTAG_TILEWIDTH, 32768);
        TIFFSetField(file, TIFFTAG_TILELENGTH, 32768);
        Bytes row(16);
        TIFFWriteRawTile(file, 0, row.data(), 16);
    });
    ExpectProblem(tiff, Code::too_large, "page 1: the picture's strips or tiles are larger than can be held");
}

/* ---- BMP ---- */

TEST(Input, BmpPalettesOfBlackAndWhiteStayOneBit)
{
    Bmp bmp;
    bmp.width = 10;
    bmp.height = 2;
    bmp.bits = 1;
    bmp.rows = {{0xF0, 0x40}, {0x0F, 0x80}};
    const Pixels straight = {0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0, 1};
    Pixels inverted = straight;
    for (unsigned& pixel : inverted) pixel ^= 1;
    bmp.palette = {0x000000, 0xFFFFFF};
    ExpectPage(PageOf(BmpFile(bmp)), 1, straight, "");
    bmp.palette = {0xFFFFFF, 0x000000};
    ExpectPage(PageOf(BmpFile(bmp)), 1, inverted, "");
    EXPECT_EQ(0, PageOf(BmpFile(bmp)).bitmap.row(0)[1] & 0x3F) << "unused bits are 0";
}

TEST(Input, BmpPalettesOfOtherColoursAreApplied)
{
    Bmp bmp;
    bmp.width = 3;
    bmp.height = 1;
    bmp.bits = 1;
    bmp.rows = {{0x40}};
    bmp.palette = {0x102030, 0xFFFFFF};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x102030, 0xFFFFFF, 0x102030},
               "the palette of 1 bit was applied: the page has 24 bits");
    bmp.palette = {0x202020, 0xF0F0F0};
    ExpectPage(PageOf(BmpFile(bmp)), 8, {0x20, 0xF0, 0x20},
               "the palette of 1 bit was applied: the page has 8 bits");
    bmp.bits = 4;
    bmp.rows = {{0x12, 0x30}};
    bmp.palette = {0, 0x111111, 0x222222, 0x333333};
    bmp.colours_used = 4;
    ExpectPage(PageOf(BmpFile(bmp)), 8, {0x11, 0x22, 0x33},
               "the palette of 4 bits was applied: the page has 8 bits");
    bmp.palette = {0, 0x111111, 0x220022};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x111111, 0x220022, 0x000000},
               "the palette of 4 bits was applied: the page has 24 bits");
    bmp.bits = 8;
    bmp.rows = {{2, 0, 1}};
    bmp.colours_used = 0;
    bmp.palette.assign(256, 0x7F7F7F);
    bmp.palette[1] = 0xFF0000;
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x7F7F7F, 0x7F7F7F, 0xFF0000},
               "the palette of 8 bits was applied: the page has 24 bits");
    bmp.palette[1] = 0x010101;
    ExpectPage(PageOf(BmpFile(bmp)), 8, {0x7F, 0x7F, 1}, "");
    bmp.palette.clear();
    ExpectPage(PageOf(BmpFile(bmp)), 8, {2, 0, 1}, "");
}

TEST(Input, BmpHeadersOfEverySizeAreTaken)
{
    for (const int header : {12, 40, 52, 56, 64, 108, 124}) {
        Bmp bmp;
        bmp.header = header;
        bmp.width = 2;
        bmp.height = 2;
        bmp.rows = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
        ExpectPage(PageOf(BmpFile(bmp)), 24, {0x090807, 0x0C0B0A, 0x030201, 0x060504}, "");
        bmp.bits = 1;
        bmp.rows = {{0x40}, {0x80}};
        bmp.palette = {0xFFFFFF, 0};
        ExpectPage(PageOf(BmpFile(bmp)), 1, {0, 1, 1, 0}, "");
    }
}

TEST(Input, BmpStoredFromTheTopDownIsTheSamePage)
{
    Bmp bmp;
    bmp.width = 2;
    bmp.height = -2;
    bmp.rows = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    bmp.per_metre = 11811;
    const Page page = PageOf(BmpFile(bmp));
    ExpectPage(page, 24, {0x030201, 0x060504, 0x090807, 0x0C0B0A}, "");
    EXPECT_EQ(300.0, page.meta.resolution.dpi_x());
}

TEST(Input, BmpOf16And32BitsIsConvertedWithAWarning)
{
    Bmp bmp;
    bmp.width = 3;
    bmp.height = 1;
    bmp.bits = 16;
    bmp.rows = {{0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0xFF0000, 0x00FF00, 0x0000FF},
               "pixels of 16 bits were converted to 24 bits");
    bmp.method = 3;
    bmp.masks = {0xF800, 0x07E0, 0x001F};
    bmp.rows = {{0x00, 0xF8, 0xE0, 0x07, 0x10, 0x00}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0xFF0000, 0x00FF00, 0x000084},
               "pixels of 16 bits were converted to 24 bits");
    bmp.bits = 32;
    bmp.width = 2;
    bmp.method = 0;
    bmp.masks.clear();
    bmp.rows = {{1, 2, 3, 0, 4, 5, 6, 99}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x030201, 0x060504}, "pixels of 32 bits were converted to 24 bits");
    bmp.method = 3;
    bmp.masks = {0x000000FF, 0x0000FF00, 0x00FF0000};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x010203, 0x040506}, "pixels of 32 bits were converted to 24 bits");
}

TEST(Input, BmpAlphaIsLaidOverWhite)
{
    Bmp bmp;
    bmp.header = 108;
    bmp.width = 3;
    bmp.height = 1;
    bmp.bits = 32;
    bmp.method = 3;
    bmp.masks = {0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
    bmp.rows = {{100, 100, 100, 255, 0, 0, 0, 0, 0, 0, 0, 128}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x646464, 0xFFFFFF, 0x7F7F7F},
               "transparency was laid over white\npixels of 32 bits were converted to 24 bits");
    bmp.rows = {{100, 100, 100, 255, 0, 0, 0, 255, 0, 0, 0, 255}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x646464, 0, 0},
               "the alpha channel, opaque throughout, was left out\npixels of 32 bits were converted to 24 bits");
    bmp.rows = {{100, 100, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
    ExpectPage(PageOf(BmpFile(bmp)), 24, {0x646464, 0, 0}, "pixels of 32 bits were converted to 24 bits");
}

TEST(Input, CompressedBmpIsRefused)
{
    for (const std::uint32_t method : {1u, 2u, 4u, 5u}) {
        Bmp bmp;
        bmp.method = method;
        bmp.bits = method == 2 ? 4 : 8;
        bmp.rows = {Bytes(4)};
        ExpectProblem(BmpFile(bmp), Code::unsupported,
                      "page 1: the BMP file is compressed; only plain ones are taken");
    }
}

TEST(Input, DamagedBmpHeadersAreNamed)
{
    Bmp bmp;
    bmp.rows = {Bytes(3), Bytes(24)};
    Bytes good = BmpFile(bmp);
    const auto changed = [&](std::size_t at, std::uint8_t value) {
        Bytes bytes = good;
        bytes[at] = value;
        return bytes;
    };
    ExpectProblem(changed(14, 11), Code::damaged, "page 1: the header has an impossible size");
    ExpectProblem(changed(10, 20), Code::damaged, "page 1: the pixels begin inside the header");
    ExpectProblem(changed(18, 0), Code::damaged, "page 1: the picture has no pixels");
    ExpectProblem(changed(21, 0x80), Code::damaged, "page 1: the picture has no pixels");
    ExpectProblem(changed(28, 7), Code::damaged, "page 1: the BMP file has pixels of 7 bits");
    ExpectProblem(changed(30, 9), Code::damaged, "page 1: the BMP file has an unknown kind of compression");
    ExpectProblem(changed(30, 3), Code::damaged, "page 1: the BMP file has colour masks, but pixels without any");
    ExpectProblem(changed(22, 99), Code::damaged, "page 1: the file is shorter than its header announces");
    good.resize(20);
    ExpectProblem(good, Code::damaged, "page 1: the file is cut short in its header");
}

/* ---- PNM ---- */

TEST(Input, PnmOfEveryKindIsTaken)
{
    const Pixels bits = {0, 1, 1, 0, 0, 1};
    ExpectPage(PageOf(BytesOf("P1\n# a comment\n3 2 # another\n1 0\n0 110")), 1, bits, "");
    ExpectPage(PageOf(BytesOf("P4 3\t2\n\x80\xC0")), 1, bits, "");
    ExpectPage(PageOf(BytesOf("P2 2 1 255 0 200")), 8, {0, 200}, "");
    ExpectPage(PageOf(BytesOf("P5 2 1 255 \x05\xFF")), 8, {5, 255}, "");
    ExpectPage(PageOf(BytesOf("P3 1 2 255 1 2 3\n4 5 6\n")), 24, {0x010203, 0x040506}, "");
    ExpectPage(PageOf(BytesOf("P6#c\n1 1#c\n255\nabc")), 24, {0x616263}, "");
}

TEST(Input, PnmOfOtherMaximaIsScaled)
{
    ExpectPage(PageOf(BytesOf("P2 3 1 15 0 7 15")), 8, {0, 119, 255}, "");
    ExpectPage(PageOf(BytesOf("P5 2 1 100\n\x32\x64")), 8, {128, 255}, "");
    ExpectPage(PageOf(BytesOf("P3 1 1 1 1 0 1")), 24, {0xFF00FF}, "");
    const std::string deep("P5 3 1 65535\n\x00\x00\x80\x80\xFF\xFF", 19);
    ExpectPage(PageOf(BytesOf(deep)), 8, {0, 128, 255}, "samples of 16 bits were converted to 8 bits");
    ExpectPage(PageOf(BytesOf("P2 2 1 1000 500 1000")), 8, {128, 255},
               "samples of 16 bits were converted to 8 bits");
    ExpectPage(PageOf(BytesOf("P2 2 1 100 50 101")), 8, {128, 255}, "");
    ExpectPage(PageOf(BytesOf("P5 2 1 100\n\x32\x65")), 8, {128, 255},
               "values above the file's own maximum were taken for white");
}

TEST(Input, WhatFollowsThePictureInAPnmFileIsWarnedOf)
{
    ExpectPage(PageOf(BytesOf("P5 1 1 255\n\x05\n")), 8, {5}, "");
    ExpectPage(PageOf(BytesOf("P5 1 1 255\n\x05P5 1 1 255\n\x06")), 8, {5},
               "what follows the first picture was left out");
}

TEST(Input, DamagedPnmIsNamed)
{
    ExpectProblem(BytesOf("P7\nWIDTH 1\n"), Code::unsupported, "page 1: PAM files (P7) are not taken");
    ExpectProblem(BytesOf("P5 1"), Code::damaged, "page 1: the file is cut short");
    ExpectProblem(BytesOf("P5 x 1 255\n "), Code::damaged, "page 1: the header is damaged");
    ExpectProblem(BytesOf("P5 99999999999999999999 1 255\n "), Code::damaged, "page 1: the header is damaged");
    ExpectProblem(BytesOf("P5 0 1 255\n "), Code::damaged, "page 1: the picture has no pixels");
    ExpectProblem(BytesOf("P5 1 1 0\n "), Code::damaged, "page 1: the largest value has to be between 1 and 65535");
    ExpectProblem(BytesOf("P5 1 1 65536\n "), Code::damaged,
                  "page 1: the largest value has to be between 1 and 65535");
    ExpectProblem(BytesOf("P5 2 2 255\nabc"), Code::damaged,
                  "page 1: the file is shorter than its header announces");
    ExpectProblem(BytesOf("P2 2 1 255\n1   "), Code::damaged, "page 1: the file is cut short");
    ExpectProblem(BytesOf("P2 2 1 255\n1 x 3"), Code::damaged, "page 1: something else stands among the pixels");
    ExpectProblem(BytesOf("P1 2 1\n1 2 3"), Code::damaged, "page 1: something else stands among the pixels");
}

/* ---- PNG ---- */

TEST(Input, PngOfFewBitsIsConverted)
{
    Png png;
    png.width = 3;
    png.bits = 1;
    png.rows = {{0x40}};
    ExpectPage(PageOf(PngFile(png)), 1, {0, 1, 0}, "");
    png.bits = 2;
    png.rows = {{0x1C}};
    ExpectPage(PageOf(PngFile(png)), 8, {0, 85, 255}, "samples of 2 bits were converted to 8 bits");
    png.bits = 4;
    png.rows = {{0x1F, 0x80}};
    ExpectPage(PageOf(PngFile(png)), 8, {17, 255, 136}, "samples of 4 bits were converted to 8 bits");
    EXPECT_EQ(4, PageOf(PngFile(png)).meta.depth_in_file);
}

TEST(Input, PngOf16BitsIsRoundedTo8)
{
    Png png;
    png.width = 4;
    png.bits = 16;
    png.rows = {{0x00, 0x80, 0x00, 0x81, 0x80, 0x00, 0xFF, 0x7F}};
    ExpectPage(PageOf(PngFile(png)), 8, {0, 1, 128, 255}, "samples of 16 bits were converted to 8 bits");
    png.kind = PNG_COLOR_TYPE_RGB;
    png.width = 1;
    png.rows = {{0x01, 0x01, 0x02, 0x02, 0xFF, 0xFF}};
    const Page page = PageOf(PngFile(png));
    ExpectPage(page, 24, {0x0102FF}, "samples of 16 bits were converted to 8 bits");
    EXPECT_EQ(48, page.meta.depth_in_file);
}

TEST(Input, PngPalettesAreApplied)
{
    static png_color colours[] = {{255, 255, 255}, {0, 0, 0}, {1, 2, 3}, {9, 9, 9}};
    int count = 2;
    Png png;
    png.width = 4;
    png.kind = PNG_COLOR_TYPE_PALETTE;
    png.before = [&](png_structp writer, png_infop info) { png_set_PLTE(writer, info, colours, count); };
    png.bits = 1;
    png.rows = {{0x50}};
    ExpectPage(PageOf(PngFile(png)), 1, {1, 0, 1, 0}, "");
    count = 4;
    png.bits = 2;
    png.rows = {{0x1B}};
    ExpectPage(PageOf(PngFile(png)), 24, {0xFFFFFF, 0, 0x010203, 0x090909},
               "the palette of 2 bits was applied: the page has 24 bits");
    png.bits = 8;
    png.rows = {{3, 2, 1, 0}};
    ExpectPage(PageOf(PngFile(png)), 24, {0x090909, 0x010203, 0, 0xFFFFFF},
               "the palette of 8 bits was applied: the page has 24 bits");
    count = 2;
    png.rows = {{1, 0, 1, 0}};
    ExpectPage(PageOf(PngFile(png)), 8, {0, 255, 0, 255}, "");
}

TEST(Input, PngTransparencyIsLaidOverWhite)
{
    Png png;
    png.width = 3;
    png.kind = PNG_COLOR_TYPE_GRAY_ALPHA;
    png.rows = {{100, 255, 100, 0, 0, 128}};
    ExpectPage(PageOf(PngFile(png)), 8, {100, 255, 127}, "transparency was laid over white");
    png.rows = {{100, 255, 7, 255, 0, 255}};
    ExpectPage(PageOf(PngFile(png)), 8, {100, 7, 0}, "the alpha channel, opaque throughout, was left out");
    png.width = 2;
    png.kind = PNG_COLOR_TYPE_RGB_ALPHA;
    png.rows = {{10, 20, 30, 255, 0, 100, 255, 51}};
    ExpectPage(PageOf(PngFile(png)), 24, {0x0A141E, 0xCCE0FF}, "transparency was laid over white");
    png.kind = PNG_COLOR_TYPE_GRAY_ALPHA;
    png.bits = 16;
    png.rows = {{0, 0, 0xFF, 0xFF, 0, 0, 0, 0}};
    ExpectPage(PageOf(PngFile(png)), 8, {0, 255},
               "samples of 16 bits were converted to 8 bits\ntransparency was laid over white");
}

TEST(Input, PngTransparentColoursAreLaidOverWhite)
{
    static png_color colours[] = {{0, 0, 0}, {100, 100, 100}, {200, 0, 0}};
    png_byte alphas[] = {0, 255};
    Png png;
    png.width = 3;
    png.kind = PNG_COLOR_TYPE_PALETTE;
    png.rows = {{0, 1, 2}};
    png.before = [&](png_structp writer, png_infop info) {
        png_set_PLTE(writer, info, colours, 3);
        png_set_tRNS(writer, info, alphas, 2, nullptr);
    };
    ExpectPage(PageOf(PngFile(png)), 24, {0xFFFFFF, 0x646464, 0xC80000},
               "transparency was laid over white\nthe palette of 8 bits was applied: the page has 24 bits");
    png_color_16 key = {};
    key.gray = 1;
    png.kind = PNG_COLOR_TYPE_GRAY;
    png.before = [&](png_structp writer, png_infop info) { png_set_tRNS(writer, info, nullptr, 0, &key); };
    ExpectPage(PageOf(PngFile(png)), 8, {0, 255, 2}, "transparency was laid over white");
}

TEST(Input, InterlacedPngIsTheSamePage)
{
    for (const int bits : {1, 8}) {
        Png png;
        png.width = 19;
        png.height = 11;
        png.bits = bits;
        for (int y = 0; y < png.height; ++y) {
            Bytes row;
            for (int k = 0; k < (png.width * bits + 7) / 8; ++k)
                row.push_back(static_cast<std::uint8_t>(37 * k + 91 * y));
            png.rows.push_back(row);
        }
        const Page plain = PageOf(PngFile(png));
        png.interlace = PNG_INTERLACE_ADAM7;
        ExpectSamePixels(plain.bitmap, PageOf(PngFile(png)).bitmap);
    }
}

TEST(Input, PngGammaThatIsLeftOutIsWarnedOf)
{
    Png png;
    png.rows = {{5}};
    png.before = [](png_structp writer, png_infop info) { png_set_gAMA(writer, info, 1.0); };
    ExpectPage(PageOf(PngFile(png)), 8, {5}, "the gamma of the file was left out");
    png.before = [](png_structp writer, png_infop info) { png_set_sRGB_gAMA_and_cHRM(writer, info, 0); };
    ExpectPage(PageOf(PngFile(png)), 8, {5}, "");
}

/* ---- JPEG ---- */

TEST(Input, CmykJpegIsRefused)
{
    Jpeg jpeg;
    jpeg.channels = 4;
    jpeg.rows.assign(8, Bytes(32, 9));
    for (const J_COLOR_SPACE stored : {JCS_CMYK, JCS_YCCK}) {
        jpeg.space = JCS_CMYK;
        jpeg.before = [=](j_compress_ptr writer) { jpeg_set_colorspace(writer, stored); };
        ExpectProblem(JpegFile(jpeg), Code::unsupported, "page 1: CMYK pictures are not taken");
    }
}

TEST(Input, JpegStoredAsRedGreenBlueIsTaken)
{
    Jpeg jpeg;
    jpeg.channels = 3;
    jpeg.space = JCS_RGB;
    for (int y = 0; y < 8; ++y) {
        Bytes row;
        for (int x = 0; x < 8; ++x) row.insert(row.end(), {200, 100, 50});
        jpeg.rows.push_back(row);
    }
    jpeg.before = [](j_compress_ptr writer) {
        jpeg_set_colorspace(writer, JCS_RGB);
        jpeg_set_quality(writer, 100, TRUE);
    };
    ExpectPage(PageOf(JpegFile(jpeg)), 24, Pixels(64, 0xC86432), "");
}

TEST(Input, JpegOf12BitsIsRefusedAsUnsupported)
{
    Jpeg jpeg;
    jpeg.rows.assign(8, Bytes(8, 9));
    Bytes bytes = JpegFile(jpeg);
    for (std::size_t k = 0; k + 4 < bytes.size(); ++k)
        if (bytes[k] == 0xFF && bytes[k + 1] == 0xC0) bytes[k + 4] = 12;
    Page page;
    EXPECT_EQ(Code::unsupported, Read(bytes, &page).code);
}

TEST(Input, SegmentsOfUnknownContentInJpegAreWarnedOf)
{
    Jpeg jpeg;
    jpeg.rows.assign(8, Bytes(8, 9));
    jpeg.after = [](j_compress_ptr writer) {
        jpeg_write_marker(writer, JPEG_APP0 + 4, BytesOf("what").data(), 4);
        jpeg_write_marker(writer, JPEG_APP0 + 7, BytesOf("ever").data(), 4);
        jpeg_write_marker(writer, JPEG_COM, BytesOf("a comment").data(), 9);
    };
    const Page page = PageOf(JpegFile(jpeg));
    EXPECT_EQ("segments of unknown content were left out (APP4, APP7)", Joined(page.warnings));
    ASSERT_EQ(1u, page.meta.text.size());
    EXPECT_EQ("a comment", page.meta.text[0].text);
}

TEST(Input, IptcIsFoundAmongOtherSettingsInJpeg)
{
    Jpeg jpeg;
    jpeg.rows.assign(8, Bytes(8, 9));
    constexpr char letters[] = "Photoshop 3.0\0"
                               "8BIM\x03\xED\x03"
                               "abc\0\0\0\x03xyz\0"
                               "8BIM\x04\x04\0\0\0\0\0\x05iptc!\0";
    const std::string settings(letters, sizeof letters - 1);
    jpeg.after = [&](j_compress_ptr writer) {
        jpeg_write_marker(writer, JPEG_APP0 + 13, BytesOf(settings).data(), static_cast<unsigned>(settings.size()));
    };
    const Page page = PageOf(JpegFile(jpeg));
    EXPECT_EQ(BytesOf("iptc!"), page.meta.iptc);
    EXPECT_EQ("settings of an image editor beside the IPTC data were left out", Joined(page.warnings));
}

TEST(Input, JpegWithoutADensityHasTheResolutionOfItsExifData)
{
    Jpeg jpeg;
    jpeg.rows.assign(8, Bytes(8, 9));
    jpeg.after = [](j_compress_ptr writer) {
        const Bytes exif = {'E', 'x', 'i', 'f', 0, 0, 'I',  'I', 42, 0, 8, 0, 0,   0, 3,  0, 0x1A, 1, 5,    0, 1, 0,
                            0,   0,   50,  0,   0, 0, 0x1B, 1,   5,  0, 1, 0, 0,   0, 50, 0, 0,    0, 0x28, 1, 3, 0,
                            1,   0,   0,   0,   3, 0, 0,    0,   0,  0, 0, 0, 236, 0, 0,  0, 2,    0, 0,    0};
        jpeg_write_marker(writer, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    };
    const Resolution resolution = PageOf(JpegFile(jpeg)).meta.resolution;
    EXPECT_EQ(118.0, resolution.x);
    EXPECT_EQ(118.0, resolution.y);
    EXPECT_EQ(Resolution::Unit::centimetre, resolution.unit);
}

/* ---- TIFF ---- */

namespace
{

struct TiffCase {
    int bits;
    int channels;
    int photometric;
    Bytes row;
    int depth;
    Pixels pixels;
    const char* warnings;
};

} // namespace

TEST(Input, TiffSamplesOfEveryKindAreTaken)
{
    const char* few2 = "samples of 2 bits were converted to 8 bits";
    const char* few4 = "samples of 4 bits were converted to 8 bits";
    const char* deep = "samples of 16 bits were converted to 8 bits";
    const TiffCase cases[] = {
        {1, 1, PHOTOMETRIC_MINISBLACK, {0x40}, 1, {0, 1, 0}, ""},
        {1, 1, PHOTOMETRIC_MINISWHITE, {0x40}, 1, {1, 0, 1}, ""},
        {2, 1, PHOTOMETRIC_MINISBLACK, {0x1C}, 8, {0, 85, 255}, few2},
        {4, 1, PHOTOMETRIC_MINISWHITE, {0x1F, 0x80}, 8, {238, 0, 119}, few4},
        {8, 1, PHOTOMETRIC_MINISBLACK, {1, 2, 3}, 8, {1, 2, 3}, ""},
        {8, 1, PHOTOMETRIC_MINISWHITE, {1, 2, 3}, 8, {254, 253, 252}, ""},
        {16, 1, PHOTOMETRIC_MINISBLACK, {0x00, 0x80, 0xFF, 0x7F, 0xFF, 0xFF}, 8, {128, 127, 255}, deep},
        {8, 3, PHOTOMETRIC_RGB, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 24, {0x010203, 0x040506, 0x070809}, ""},
        {16,
         3,
         PHOTOMETRIC_RGB,
         {1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9},
         24,
         {0x010203, 0x040506, 0x070809},
         deep},
    };
    for (const TiffCase& one : cases) {
        SCOPED_TRACE(std::to_string(one.bits) + " bits, " + std::to_string(one.channels) + " channels");
        const Page page = PageOf(TiffFile([&](TIFF* tiff) {
            SetTiffPicture(tiff, 3, 1, one.bits, one.channels, one.photometric);
            PutTiffRows(tiff, {one.row});
        }));
        ExpectPage(page, one.depth, one.pixels, one.warnings);
        EXPECT_EQ(one.bits * one.channels, page.meta.depth_in_file);
    }
}

TEST(Input, TiffPalettesAreApplied)
{
    for (const int bits : {1, 2, 4, 8}) {
        std::vector<std::uint16_t> red(256, 0x1111);
        std::vector<std::uint16_t> green(256, 0x1111);
        std::vector<std::uint16_t> blue(256, 0x1111);
        red[1] = 0xFFFF;
        const auto file = [&] {
            return TiffFile([&](TIFF* tiff) {
                SetTiffPicture(tiff, 2, 1, bits, 1, PHOTOMETRIC_PALETTE);
                TIFFSetField(tiff, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
                PutTiffRows(tiff, {bits == 8 ? Bytes{1, 0} : Bytes{static_cast<std::uint8_t>(1 << (8 - bits))}});
            });
        };
        const std::string number = std::to_string(bits) + (bits == 1 ? " bit" : " bits");
        ExpectPage(PageOf(file()), 24, {0xFF1111, 0x111111},
                   "the palette of " + number + " was applied: the page has 24 bits");
        red[1] = 0x1111;
        ExpectPage(PageOf(file()), 8, {0x11, 0x11},
                   bits == 8 ? "" : "the palette of " + number + " was applied: the page has 8 bits");
        /* Some programs put bytes where two belong. */
        red[0] = green[0] = blue[0] = 255;
        red[1] = green[1] = blue[1] = 0;
        for (std::size_t k = 2; k < 256; ++k) red[k] = green[k] = blue[k] = 0;
        ExpectPage(PageOf(file()), bits == 1 ? 1 : 8, {0, bits == 1 ? 1u : 255u},
                   bits == 1 || bits == 8 ? "" : "the palette of " + number + " was applied: the page has 8 bits");
    }
}

TEST(Input, TiffAlphaIsLaidOverWhite)
{
    const auto file = [](int kind, Bytes row) {
        return TiffFile([=](TIFF* tiff) {
            SetTiffPicture(tiff, 2, 1, 8, 4, PHOTOMETRIC_RGB);
            const std::uint16_t kinds[] = {static_cast<std::uint16_t>(kind)};
            TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, kinds);
            PutTiffRows(tiff, {row});
        });
    };
    ExpectPage(PageOf(file(EXTRASAMPLE_UNASSALPHA, {10, 20, 30, 255, 0, 100, 255, 51})), 24, {0x0A141E, 0xCCE0FF},
               "transparency was laid over white");
    ExpectPage(PageOf(file(EXTRASAMPLE_ASSOCALPHA, {10, 20, 30, 255, 0, 20, 51, 51})), 24, {0x0A141E, 0xCCE0FF},
               "transparency was laid over white");
    ExpectPage(PageOf(file(EXTRASAMPLE_UNASSALPHA, {10, 20, 30, 255, 1, 2, 3, 255})), 24, {0x0A141E, 0x010203},
               "the alpha channel, opaque throughout, was left out");
    ExpectPage(PageOf(file(EXTRASAMPLE_UNSPECIFIED, {10, 20, 30, 7, 1, 2, 3, 8})), 24, {0x0A141E, 0x010203},
               "channels beside the colours were left out");
}

TEST(Input, TiffOfPlanesTilesAndManyStripsIsTheSamePage)
{
    const Page page = MakePage(50, 37, 24);
    const auto sample = [&](int x, int y, int c) {
        return static_cast<std::uint8_t>(PixelAt(page.bitmap, x, y) >> (16 - 8 * c));
    };
    const auto row_of = [&](int y, int first, int count, int bytes) {
        Bytes row;
        for (int x = 0; x < 50; ++x)
            for (int c = first; c < first + count; ++c)
                for (int k = 0; k < bytes; ++k) row.push_back(sample(x, y, c));
        return row;
    };
    for (const int bytes : {1, 2})
        for (const int rows : {1, 5, 37}) {
            const Page strips = PageOf(TiffFile([&](TIFF* tiff) {
                SetTiffPicture(tiff, 50, 37, 8 * bytes, 3, PHOTOMETRIC_RGB);
                TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
                TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows);
                std::vector<Bytes> all;
                for (int y = 0; y < 37; ++y) all.push_back(row_of(y, 0, 3, bytes));
                PutTiffRows(tiff, all);
            }));
            ExpectSamePixels(page.bitmap, strips.bitmap);
            const Page planes = PageOf(TiffFile([&](TIFF* tiff) {
                SetTiffPicture(tiff, 50, 37, 8 * bytes, 3, PHOTOMETRIC_RGB);
                TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
                TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows);
                for (std::uint16_t c = 0; c < 3; ++c)
                    for (std::uint32_t y = 0; y < 37; ++y) {
                        Bytes row = row_of(static_cast<int>(y), c, 1, bytes);
                        TIFFWriteScanline(tiff, row.data(), y, c);
                    }
            }));
            ExpectSamePixels(page.bitmap, planes.bitmap);
        }
    for (const bool planar : {false, true}) {
        const Page tiles = PageOf(TiffFile([&](TIFF* tiff) {
            SetTiffPicture(tiff, 50, 37, 8, 3, PHOTOMETRIC_RGB);
            TIFFUnsetField(tiff, TIFFTAG_ROWSPERSTRIP);
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, 32);
            const int count = planar ? 1 : 3;
            for (int plane = 0; plane < (planar ? 3 : 1); ++plane)
                for (int top = 0; top < 37; top += 32)
                    for (int left = 0; left < 50; left += 16) {
                        Bytes tile;
                        for (int y = top; y < top + 32; ++y)
                            for (int x = left; x < left + 16; ++x)
                                for (int c = 0; c < count; ++c)
                                    tile.push_back(x < 50 && y < 37 ? sample(x, y, plane + c) : 99);
                        TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(left),
                                      static_cast<std::uint32_t>(top), 0, static_cast<std::uint16_t>(plane));
                    }
        }));
        ExpectSamePixels(page.bitmap, tiles.bitmap);
    }
}

TEST(Input, TiffOfOneBitInTilesIsTheSamePage)
{
    const Page page = MakePage(53, 37, 1);
    const Page tiles = PageOf(TiffFile([&](TIFF* tiff) {
        SetTiffPicture(tiff, 53, 37, 1, 1, PHOTOMETRIC_MINISWHITE);
        TIFFUnsetField(tiff, TIFFTAG_ROWSPERSTRIP);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
        for (int top = 0; top < 37; top += 16)
            for (int left = 0; left < 53; left += 16) {
                Bytes tile(32);
                for (int y = top; y < std::min(top + 16, 37); ++y)
                    for (int x = left; x < std::min(left + 16, 53); ++x)
                        if (PixelAt(page.bitmap, x, y) == 0)
                            tile[static_cast<std::size_t>(2 * (y - top) + (x - left) / 8)] |=
                                static_cast<std::uint8_t>(0x80 >> x % 8);
                TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top),
                              0, 0);
            }
    }));
    ExpectSamePixels(page.bitmap, tiles.bitmap);
}

TEST(Input, TiffOfUncommonSamplesIsConvertedByLibtiff)
{
    const Page page = PageOf(TiffFile([](TIFF* tiff) {
        SetTiffPicture(tiff, 2, 1, 8, 3, PHOTOMETRIC_YCBCR);
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
        PutTiffRows(tiff, {{200, 128, 128, 10, 128, 128}});
    }));
    ExpectPage(page, 24, {0xC8C8C8, 0x0A0A0A}, "samples of an uncommon kind were converted to 24 bits");
}

TEST(Input, TiffOfCmykAndFloatsIsRefused)
{
    const auto file = [](int channels, int photometric, int format) {
        return TiffFile([=](TIFF* tiff) {
            SetTiffPicture(tiff, 1, 1, format == SAMPLEFORMAT_IEEEFP ? 32 : 8, channels, photometric);
            TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, format);
            PutTiffRows(tiff, {Bytes(4)});
        });
    };
    ExpectProblem(file(4, PHOTOMETRIC_SEPARATED, SAMPLEFORMAT_UINT), Code::unsupported,
                  "page 1: CMYK pictures are not taken");
    Page page;
    EXPECT_EQ(Code::unsupported, Read(file(1, PHOTOMETRIC_MINISBLACK, SAMPLEFORMAT_IEEEFP), &page).code);
}

TEST(Input, TiffOfManyChannelsIsRefused)
{
    const Bytes bytes = TiffFile([](TIFF* tiff) {
        SetTiffPicture(tiff, 1, 1, 8, 17, PHOTOMETRIC_MINISBLACK);
        PutTiffRows(tiff, {Bytes(17)});
    });
    ExpectProblem(bytes, Code::unsupported, "page 1: pictures of 17 channels are not taken");
}

TEST(Input, ReducedCopiesInTiffAreNoPages)
{
    const auto directory = [](TIFF* tiff, int width, std::uint32_t kind) {
        SetTiffPicture(tiff, width, 1, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, kind);
        PutTiffRows(tiff, {Bytes(static_cast<std::size_t>(width))});
        TIFFWriteDirectory(tiff);
    };
    const Bytes bytes = TiffFile([&](TIFF* tiff) {
        directory(tiff, 4, FILETYPE_REDUCEDIMAGE);
        directory(tiff, 20, 0);
        directory(tiff, 5, FILETYPE_MASK);
        directory(tiff, 30, FILETYPE_PAGE);
    });
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenMemory(bytes, &input).code);
    EXPECT_EQ(2, input->page_count());
    Page page;
    ASSERT_EQ(Code::ok, input->Read(0, {}, &page).code);
    EXPECT_EQ(20, page.bitmap.width());
    EXPECT_EQ("reduced copies and masks of pages were left out (2)", Joined(page.warnings));
    ASSERT_EQ(Code::ok, input->Read(1, {}, &page).code);
    EXPECT_EQ(30, page.bitmap.width());
    EXPECT_EQ("", Joined(page.warnings));
}

TEST(Input, AFileOfReducedCopiesAloneHasThemAsPages)
{
    const Page page = PageOf(TiffFile([](TIFF* tiff) {
        SetTiffPicture(tiff, 4, 1, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
        PutTiffRows(tiff, {Bytes(4)});
    }));
    EXPECT_EQ(4, page.bitmap.width());
}

/* ---- Orientation ---- */

namespace
{

/* Of a page of 3 x 2 pixels, numbered from 1 at the top left, what is stored in an orientation. */
struct Stored {
    int width;
    int height;
    Pixels pixels;
};

Stored StoredIn(int orientation)
{
    const Stored all[] = {{3, 2, {1, 2, 3, 4, 5, 6}}, {3, 2, {3, 2, 1, 6, 5, 4}}, {3, 2, {6, 5, 4, 3, 2, 1}},
                          {3, 2, {4, 5, 6, 1, 2, 3}}, {2, 3, {1, 4, 2, 5, 3, 6}}, {2, 3, {3, 6, 2, 5, 1, 4}},
                          {2, 3, {6, 3, 5, 2, 4, 1}}, {2, 3, {4, 1, 5, 2, 6, 3}}};
    return all[orientation - 1];
}

/* The stored pixels enlarged to blocks of 8 x 8, as samples of a depth; the numbers become greys, odd ones white bits. */
std::vector<Bytes> RowsOf(const Stored& stored, int depth, int block)
{
    std::vector<Bytes> rows;
    for (int y = 0; y < stored.height * block; ++y) {
        Bytes row(depth == 1 ? static_cast<std::size_t>(stored.width * block + 7) / 8 : 0);
        for (int x = 0; x < stored.width * block; ++x) {
            const unsigned number = stored.pixels[static_cast<std::size_t>(y / block * stored.width + x / block)];
            if (depth == 1 && number % 2 != 0)
                row[static_cast<std::size_t>(x / 8)] |= static_cast<std::uint8_t>(0x80 >> x % 8);
            for (int c = 0; c < depth / 8; ++c) row.push_back(static_cast<std::uint8_t>(number * 40));
        }
        rows.push_back(row);
    }
    return rows;
}

/* The page that all orientations have to give. */
Pixels Upright(int depth, int block)
{
    Pixels pixels;
    for (int y = 0; y < 2 * block; ++y)
        for (int x = 0; x < 3 * block; ++x) {
            const unsigned number = static_cast<unsigned>(y / block * 3 + x / block + 1);
            pixels.push_back(depth == 1 ? number % 2 : depth == 8 ? number * 40 : number * 40 * 0x010101u);
        }
    return pixels;
}

const std::string kXmp = "<rdf:Description tiff:Orientation=\"6\"/><tiff:Orientation>8</tiff:Orientation>";
const std::string kUprightXmp = "<rdf:Description tiff:Orientation=\"1\"/><tiff:Orientation>1</tiff:Orientation>";

} // namespace

TEST(Input, EveryOrientationOfTiffIsApplied)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const int depth : {1, 8, 24})
            for (const int block : {1, 5, 8}) {
                const Stored stored = StoredIn(orientation);
                const Page page = PageOf(TiffFile([&](TIFF* tiff) {
                    SetTiffPicture(tiff, stored.width * block, stored.height * block, depth == 1 ? 1 : 8,
                                   depth == 24 ? 3 : 1, depth == 24 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
                    TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
                    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, orientation >= 5 ? 100.0 : 200.0);
                    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, orientation >= 5 ? 200.0 : 100.0);
                    TIFFSetField(tiff, TIFFTAG_XMLPACKET, static_cast<std::uint32_t>(kXmp.size()), kXmp.data());
                    PutTiffRows(tiff, RowsOf(stored, depth, block));
                }));
                SCOPED_TRACE("orientation " + std::to_string(orientation) + ", " + std::to_string(depth) + " bits");
                ASSERT_EQ(3 * block, page.bitmap.width());
                ExpectPage(page, depth, Upright(depth, block), "");
                EXPECT_EQ(200.0, page.meta.resolution.x);
                EXPECT_EQ(100.0, page.meta.resolution.y);
                EXPECT_EQ(BytesOf(kUprightXmp), page.meta.xmp);
                InspectTiff(FileOf(page, OptionsFor(Format::tiff)), [](TIFF* tiff) {
                    std::uint16_t written = 0;
                    TIFFGetField(tiff, TIFFTAG_ORIENTATION, &written);
                    EXPECT_EQ(1, written);
                });
            }
}

TEST(Input, EveryOrientationOfJpegIsAppliedAndReset)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const bool big_endian : {false, true}) {
            const Stored stored = StoredIn(orientation);
            const Bytes exif = ExifOf({{271, 4, 5}, {274, 3, static_cast<std::uint32_t>(orientation)}}, big_endian);
            Jpeg jpeg;
            jpeg.width = stored.width * 8;
            jpeg.height = stored.height * 8;
            jpeg.rows = RowsOf(stored, 8, 8);
            jpeg.before = [](j_compress_ptr writer) { jpeg_set_quality(writer, 100, TRUE); };
            jpeg.after = [&](j_compress_ptr writer) {
                Bytes marker = BytesOf(std::string("Exif\0\0", 6));
                marker.insert(marker.end(), exif.begin(), exif.end());
                jpeg_write_marker(writer, JPEG_APP0 + 1, marker.data(), static_cast<unsigned>(marker.size()));
                marker = BytesOf(std::string("http://ns.adobe.com/xap/1.0/\0", 29) + kXmp);
                jpeg_write_marker(writer, JPEG_APP0 + 1, marker.data(), static_cast<unsigned>(marker.size()));
            };
            const Page page = PageOf(JpegFile(jpeg));
            SCOPED_TRACE("orientation " + std::to_string(orientation));
            ExpectPage(page, 8, Upright(8, 8), "");
            EXPECT_EQ(ExifOf({{271, 4, 5}, {274, 3, 1}}, big_endian), page.meta.exif);
            EXPECT_EQ(BytesOf(kUprightXmp), page.meta.xmp);
            const Page again = PageOf(FileOf(page, OptionsFor(Format::jpeg)));
            EXPECT_EQ(page.meta.exif, again.meta.exif);
            EXPECT_EQ(page.meta.xmp, again.meta.xmp);
            ExpectSamePixels(page.bitmap, again.bitmap);
        }
}

TEST(Input, EveryOrientationOfPngIsAppliedAndReset)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const bool at_the_end : {false, true}) {
            const Stored stored = StoredIn(orientation);
            Png png;
            png.width = stored.width;
            png.height = stored.height;
            png.rows = RowsOf(stored, 8, 1);
            const Bytes exif = ExifOf({{274, 3, static_cast<std::uint32_t>(orientation)}});
            const Page page = PageOf(WithChunk(PngFile(png), PngChunk("eXIf", exif), at_the_end ? "IEND" : "IDAT"));
            SCOPED_TRACE("orientation " + std::to_string(orientation));
            ExpectPage(page, 8, Upright(8, 1), "");
            EXPECT_EQ(ExifOf({{274, 3, 1}}), page.meta.exif);
        }
}

TEST(Input, OrientationsThatDoNotExistChangeNothing)
{
    for (const std::uint32_t orientation : {0u, 9u, 40000u}) {
        Png png;
        png.width = 2;
        png.rows = {{1, 2}};
        const Page page =
            PageOf(WithChunk(PngFile(png), PngChunk("eXIf", ExifOf({{274, 3, orientation}})), "IDAT"));
        ExpectPage(page, 8, {1, 2}, "");
    }
}
