/*
 * RoundTrip_test.cpp - what is written is read back the same: pixels, resolution, and what a file says beside them.
 */
#include <algorithm>
#include <array>
#include <cmath>

#include "Foreign.h"

using namespace test;

namespace
{

constexpr int kDepths[] = {1, 8, 24};
constexpr Compression kLossless[] = {Compression::same, Compression::none, Compression::lzw, Compression::deflate,
                                     Compression::g4};

bool Holds(Format format, Compression compression, int depth)
{
    if (compression == Compression::same) return true;
    if (compression == Compression::g4) return format == Format::tiff && depth == 1;
    if (format == Format::png) return compression != Compression::lzw;
    return format == Format::tiff || compression == Compression::none;
}

/* A page of soft shades, on which JPEG loses next to nothing. */
Page SoftPage(int width, int height, int depth)
{
    Page page = MakePage(width, height, depth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width * depth / 8; ++x)
            page.bitmap.row(y)[x] = static_cast<std::uint8_t>(40 + x / 3 + 2 * y);
    return page;
}

int LargestDifference(const Bitmap& a, const Bitmap& b)
{
    int largest = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int k = 0; k < a.width() * a.depth() / 8; ++k)
            largest = std::max(largest, std::abs(a.row(y)[k] - b.row(y)[k]));
    return largest;
}

quarlo::TiffTag TextTag(std::uint32_t number, const std::string& text)
{
    quarlo::TiffTag tag;
    tag.tag = number;
    tag.type = 2;
    tag.count = text.size() + 1;
    tag.values.assign(text.begin(), text.end());
    tag.values.push_back(0);
    return tag;
}

const quarlo::TiffTag* Find(const Page& page, std::uint32_t number)
{
    for (const quarlo::TiffTag& tag : page.meta.tags)
        if (tag.tag == number) return &tag;
    return nullptr;
}

} // namespace

/* ---- Pixels ---- */

TEST(RoundTrip, PixelsAreTheSame)
{
    for (const Format format : kFormats)
        for (const int depth : kDepths)
            for (const Compression compression : kLossless)
                for (const int width : {1, 7, 8, 9, 61, 300}) {
                    if (format == Format::jpeg || !Holds(format, compression, depth)) continue;
                    SCOPED_TRACE(std::string(quarlo::NameOf(format)) + " " + std::to_string(depth) +
                                 " bits, compression " + std::to_string(static_cast<int>(compression)) +
                                 ", width " + std::to_string(width));
                    const Page page = MakePage(width, 23, depth);
                    const Page again = PageOf(FileOf(page, OptionsFor(format, compression)));
                    ExpectSamePixels(page.bitmap, again.bitmap);
                    EXPECT_EQ("", Joined(again.warnings));
                    EXPECT_EQ(format, again.meta.format);
                    EXPECT_EQ(depth, again.meta.depth_in_file);
                }
}

TEST(RoundTrip, PagesLargerThanAStripOrABufferAreTheSame)
{
    for (const Format format : {Format::bmp, Format::png, Format::tiff, Format::pnm}) {
        const Page page = MakePage(1000, 700, 24);
        ExpectSamePixels(page.bitmap, PageOf(FileOf(page, OptionsFor(format))).bitmap);
    }
}

TEST(RoundTrip, JpegStaysNearThePixels)
{
    for (const int depth : {8, 24}) {
        const Page page = SoftPage(90, 50, depth);
        const Page again = PageOf(FileOf(page, OptionsFor(Format::jpeg)));
        ASSERT_EQ(depth, again.bitmap.depth());
        EXPECT_LE(LargestDifference(page.bitmap, again.bitmap), 6);
        const Page within = PageOf(FileOf(page, OptionsFor(Format::tiff, Compression::jpeg)));
        ASSERT_EQ(depth, within.bitmap.depth());
        EXPECT_EQ(0, LargestDifference(again.bitmap, within.bitmap)) << "the same coder stands behind both";
        EXPECT_EQ("", Joined(within.warnings));
        EXPECT_EQ(COMPRESSION_JPEG, within.meta.tiff_compression);
    }
}

TEST(RoundTrip, OneBitBecomesGreyInJpegWithAWarning)
{
    Page page = MakePage(64, 64, 1);
    for (int y = 0; y < 64; ++y)
        for (int k = 0; k < 8; ++k) page.bitmap.row(y)[k] = static_cast<std::uint8_t>(k < 4 ? 0xFF : 0);
    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::jpeg), &warnings));
    EXPECT_EQ("JPEG cannot hold 1 bit: the page was written with 8 bits", Joined(warnings));
    EXPECT_EQ(8, again.bitmap.depth());
    EXPECT_EQ(255u, PixelAt(again.bitmap, 3, 3));
    EXPECT_EQ(0u, PixelAt(again.bitmap, 60, 60));
}

/* ---- JPEG's tables ---- */

namespace
{

Bytes JpegFromElsewhere(int channels, bool progressive)
{
    Jpeg jpeg;
    jpeg.width = 64;
    jpeg.height = 48;
    jpeg.channels = channels;
    jpeg.space = channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
    for (int y = 0; y < jpeg.height; ++y) {
        Bytes row;
        for (int k = 0; k < jpeg.width * channels; ++k) row.push_back(static_cast<std::uint8_t>(60 + k / 2 + y));
        jpeg.rows.push_back(row);
    }
    jpeg.before = [=](j_compress_ptr writer) {
        jpeg_set_quality(writer, 63, TRUE);
        writer->quant_tbl_ptrs[0]->quantval[5] = 77; /* no quality has this one */
        if (channels == 3) writer->comp_info[0].v_samp_factor = 1;
        if (progressive) jpeg_simple_progression(writer);
    };
    return JpegFile(jpeg);
}

} // namespace

TEST(RoundTrip, JpegKeepsTheTablesTheSamplingAndTheKindOfItsSource)
{
    for (const int channels : {1, 3})
        for (const bool progressive : {false, true}) {
            const Page page = PageOf(JpegFromElsewhere(channels, progressive));
            const quarlo::JpegCoding& coding = page.meta.jpeg;
            ASSERT_EQ(channels, coding.components);
            ASSERT_EQ(channels == 3 ? 2u : 1u, coding.tables.size());
            EXPECT_EQ(77, coding.tables[0][5]);
            EXPECT_EQ(channels == 3 ? 2 : 1, coding.h_sampling[0]);
            EXPECT_EQ(1, coding.v_sampling[0]);
            EXPECT_EQ(progressive, coding.progressive);

            const Page again = PageOf(FileOf(page, OptionsFor(Format::jpeg)));
            EXPECT_EQ(coding.tables, again.meta.jpeg.tables);
            EXPECT_EQ(coding.table_of, again.meta.jpeg.table_of);
            EXPECT_EQ(coding.h_sampling, again.meta.jpeg.h_sampling);
            EXPECT_EQ(coding.v_sampling, again.meta.jpeg.v_sampling);
            EXPECT_EQ(progressive, again.meta.jpeg.progressive);

            const Page within = PageOf(FileOf(page, OptionsFor(Format::tiff, Compression::jpeg)));
            EXPECT_EQ(coding.tables, within.meta.jpeg.tables);
            EXPECT_EQ(coding.h_sampling, within.meta.jpeg.h_sampling);
        }
}

TEST(RoundTrip, JpegOfAPageThatBecameGreyTakesTheTableOfTheFirstComponent)
{
    const Page colour = PageOf(JpegFromElsewhere(3, false));
    Page grey = SoftPage(30, 30, 8);
    grey.meta = colour.meta;
    const Page again = PageOf(FileOf(grey, OptionsFor(Format::jpeg)));
    EXPECT_EQ(colour.meta.jpeg.tables[0], again.meta.jpeg.tables[0]);
    EXPECT_EQ(8, again.bitmap.depth());
}

TEST(RoundTrip, JpegWithAQualityHasTheTablesOfThatQuality)
{
    const Page page = PageOf(JpegFromElsewhere(3, false));
    const auto first_of = [&](int quality) {
        return PageOf(FileOf(page, OptionsFor(Format::jpeg, Compression::same, quality))).meta.jpeg;
    };
    EXPECT_EQ(16, first_of(50).tables[0][0]);
    EXPECT_EQ(2, first_of(50).h_sampling[0]);
    EXPECT_EQ(2, first_of(89).h_sampling[0]);
    EXPECT_EQ(3, first_of(90).tables[0][0]);
    EXPECT_EQ(1, first_of(90).h_sampling[0]);
    EXPECT_EQ(1, first_of(100).tables[0][0]);
}

TEST(RoundTrip, JpegFromAnotherFormatHasQuality90)
{
    const Page page = SoftPage(40, 40, 24);
    EXPECT_EQ(PageOf(FileOf(page, OptionsFor(Format::jpeg, Compression::same, 90))).meta.jpeg.tables,
              PageOf(FileOf(page, OptionsFor(Format::jpeg))).meta.jpeg.tables);
}

TEST(RoundTrip, JpegSamplingThatNoCoderTakesIsReplaced)
{
    Page page = PageOf(JpegFromElsewhere(3, false));
    page.meta.jpeg.h_sampling = {4, 4, 4};
    page.meta.jpeg.v_sampling = {4, 4, 4};
    EXPECT_EQ(1, PageOf(FileOf(page, OptionsFor(Format::jpeg))).meta.jpeg.h_sampling[0]);
    page.meta.jpeg.h_sampling = {3, 2, 1};
    page.meta.jpeg.v_sampling = {1, 1, 1};
    EXPECT_EQ(1, PageOf(FileOf(page, OptionsFor(Format::jpeg))).meta.jpeg.h_sampling[0]);
}

TEST(RoundTrip, TiffJpegKeepsTheTablesOfItsSource)
{
    const Bytes bytes = TiffFile([](TIFF* tiff) {
        SetTiffPicture(tiff, 32, 32, 8, 3, PHOTOMETRIC_YCBCR);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
        TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 50);
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        PutTiffRows(tiff, std::vector<Bytes>(32, Bytes(96, 130)));
    });
    const Page page = PageOf(bytes);
    ASSERT_EQ(2u, page.meta.jpeg.tables.size());
    EXPECT_EQ(16, page.meta.jpeg.tables[0][0]);
    EXPECT_EQ(COMPRESSION_JPEG, page.meta.tiff_compression);
    const Page again = PageOf(FileOf(page, OptionsFor(Format::tiff)));
    EXPECT_EQ(COMPRESSION_JPEG, again.meta.tiff_compression);
    EXPECT_EQ(page.meta.jpeg.tables, again.meta.jpeg.tables);
    EXPECT_EQ(page.meta.jpeg.h_sampling, again.meta.jpeg.h_sampling);
    EXPECT_EQ(page.meta.jpeg.tables, PageOf(FileOf(page, OptionsFor(Format::jpeg))).meta.jpeg.tables);
}

TEST(RoundTrip, LibtiffReadsTheJpegThatIsPutIntoTiff)
{
    const Page page = SoftPage(70, 33, 24);
    const Bytes bytes = FileOf(page, OptionsFor(Format::tiff, Compression::jpeg, 60));
    InspectTiff(bytes, [&](TIFF* tiff) {
        std::uint16_t h = 0;
        std::uint16_t v = 0;
        TIFFGetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, &h, &v);
        EXPECT_EQ(2, h);
        EXPECT_EQ(2, v);
        std::vector<std::uint32_t> raster(70 * 33);
        ASSERT_EQ(1, TIFFReadRGBAImageOriented(tiff, 70, 33, raster.data(), ORIENTATION_TOPLEFT, 1));
        EXPECT_NEAR(static_cast<double>(PixelAt(page.bitmap, 20, 20) & 0xFF), TIFFGetB(raster[20 * 70 + 20]), 6.0);
    });
}

/* ---- Resolution ---- */

TEST(RoundTrip, ResolutionSurvivesEveryPairOfFormatsThatHoldIt)
{
    const Format formats[] = {Format::bmp, Format::png, Format::jpeg, Format::tiff};
    const Resolution resolutions[] = {{300, 300, Resolution::Unit::inch},
                                      {200, 100, Resolution::Unit::inch},
                                      {118, 59, Resolution::Unit::centimetre},
                                      {11811, 7874, Resolution::Unit::metre},
                                      {118.11, 118.11, Resolution::Unit::centimetre},
                                      {72, 72, Resolution::Unit::inch}};
    for (const Resolution& resolution : resolutions)
        for (const Format first : formats)
            for (const Format second : formats) {
                Page page = SoftPage(20, 20, 8);
                page.meta.resolution = resolution;
                const Page between = PageOf(FileOf(page, OptionsFor(first)));
                const Page again = PageOf(FileOf(between, OptionsFor(second)));
                SCOPED_TRACE(std::string(quarlo::NameOf(first)) + " " + std::string(quarlo::NameOf(second)) + " " +
                             std::to_string(resolution.x));
                /* JPEG holds whole numbers alone: 118 per centimetre are 299.72 per inch. */
                const bool whole = std::round(resolution.dpi_x()) == resolution.dpi_x();
                const double slack = whole || (first != Format::jpeg && second != Format::jpeg) ? 0.02 : 0.6;
                EXPECT_NEAR(resolution.dpi_x(), again.meta.resolution.dpi_x(), slack);
                EXPECT_NEAR(resolution.dpi_y(), again.meta.resolution.dpi_y(), slack);
                if (whole) {
                    EXPECT_EQ(resolution.dpi_x(), again.meta.resolution.dpi_x());
                }
            }
}

TEST(RoundTrip, ResolutionKeepsItsUnit)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.resolution = {118, 59, Resolution::Unit::centimetre};
    for (const Format format : {Format::jpeg, Format::tiff}) {
        const Resolution again = PageOf(FileOf(page, OptionsFor(format))).meta.resolution;
        EXPECT_EQ(Resolution::Unit::centimetre, again.unit);
        EXPECT_EQ(118.0, again.x);
        EXPECT_EQ(59.0, again.y);
    }
    page.meta.resolution = {11811, 5906, Resolution::Unit::metre};
    for (const Format format : {Format::bmp, Format::png}) {
        const Resolution again = PageOf(FileOf(page, OptionsFor(format))).meta.resolution;
        EXPECT_EQ(Resolution::Unit::metre, again.unit);
        EXPECT_EQ(11811.0, again.x);
        EXPECT_EQ(5906.0, again.y);
    }
    page.meta.resolution = {2, 1, Resolution::Unit::unknown};
    for (const Format format : {Format::jpeg, Format::tiff, Format::png}) {
        const Resolution again = PageOf(FileOf(page, OptionsFor(format))).meta.resolution;
        EXPECT_EQ(Resolution::Unit::unknown, again.unit) << quarlo::NameOf(format);
        EXPECT_EQ(2.0, again.x);
        EXPECT_EQ(1.0, again.y);
        EXPECT_FALSE(again.known());
    }
}

TEST(RoundTrip, ResolutionThatJpegCannotHoldIsRoundedWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    Warnings warnings;
    page.meta.resolution = {150.4, 150.4, Resolution::Unit::inch};
    EXPECT_EQ(150.0, PageOf(FileOf(page, OptionsFor(Format::jpeg), &warnings)).meta.resolution.x);
    EXPECT_EQ("the resolution was rounded to whole numbers", Joined(warnings));
    warnings.clear();
    page.meta.resolution = {70000, 70000, Resolution::Unit::inch};
    EXPECT_FALSE(PageOf(FileOf(page, OptionsFor(Format::jpeg), &warnings)).meta.resolution.known());
    EXPECT_EQ("JPEG cannot hold the resolution", Joined(warnings));
}

TEST(RoundTrip, PnmWarnsOfEverythingThatItCannotHold)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.resolution = {300, 300, Resolution::Unit::inch};
    page.meta.icc = ProfileOf("GRAY");
    page.meta.exif = ExifOf({{271, 4, 1}});
    page.meta.xmp = BytesOf("<x/>");
    page.meta.iptc = BytesOf("iptc");
    page.meta.text.push_back({"Author", "somebody", "", "", false, false});
    page.meta.tags.push_back(TextTag(305, "program"));
    Warnings warnings;
    FileOf(page, OptionsFor(Format::pnm), &warnings);
    EXPECT_EQ(
        "PNM cannot hold the resolution, the colour profile, the EXIF data, the XMP data, the IPTC data, the texts "
        "(Author) and the TIFF tags (305)",
        Joined(warnings));
}

/* ---- Metadata ---- */

TEST(RoundTrip, ColourProfilesAreKept)
{
    for (const int depth : {8, 24})
        for (const Format first : {Format::bmp, Format::png, Format::jpeg, Format::tiff})
            for (const Format second : {Format::bmp, Format::png, Format::jpeg, Format::tiff}) {
                Page page = SoftPage(20, 20, depth);
                page.meta.icc = ProfileOf(depth == 24 ? "RGB " : "GRAY");
                Warnings warnings;
                const Page between = PageOf(FileOf(page, OptionsFor(first), &warnings));
                const Page again = PageOf(FileOf(between, OptionsFor(second), &warnings));
                SCOPED_TRACE(std::string(quarlo::NameOf(first)) + " " + std::string(quarlo::NameOf(second)));
                EXPECT_EQ(page.meta.icc, again.meta.icc);
                EXPECT_EQ("", Joined(warnings));
                EXPECT_EQ("", Joined(again.warnings));
            }
}

TEST(RoundTrip, ColourProfilesOfManySegmentsAreKeptInJpeg)
{
    Page page = SoftPage(20, 20, 24);
    page.meta.icc = ProfileOf("RGB ", 200000);
    EXPECT_EQ(page.meta.icc, PageOf(FileOf(page, OptionsFor(Format::jpeg))).meta.icc);
}

TEST(RoundTrip, ColourProfilesThatDoNotFitAreLeftOutWithAWarning)
{
    for (const Format format : {Format::bmp, Format::png, Format::jpeg, Format::tiff})
        for (const int depth : {8, 24}) {
            Page page = SoftPage(20, 20, depth);
            page.meta.icc = ProfileOf(depth == 24 ? "GRAY" : "RGB ");
            Warnings warnings;
            EXPECT_TRUE(PageOf(FileOf(page, OptionsFor(format), &warnings)).meta.icc.empty());
            EXPECT_EQ("the colour profile does not fit a page of " + std::to_string(depth) +
                          " bits and was left out",
                      Joined(warnings));
        }
}

TEST(RoundTrip, ExifXmpAndIptcAreKept)
{
    const Format formats[] = {Format::png, Format::jpeg, Format::tiff};
    for (const Format first : formats)
        for (const Format second : formats) {
            Page page = SoftPage(20, 20, 8);
            page.meta.xmp = BytesOf("<x:xmpmeta xmlns:x='adobe:ns:meta/'/>");
            page.meta.iptc = BytesOf("\x1c\x02\x78..abcdefg"); /* 12 bytes, which numbers of four hold exactly */
            /* A directory of EXIF with an exposure program, after which it comes. */
            page.meta.exif = {'I', 'I', 42, 0, 8, 0, 0,    0,    1, 0, 0x69, 0x87, 4, 0, 1, 0, 0, 0, 26, 0, 0, 0,
                              0,   0,   0,  0, 1, 0, 0x22, 0x88, 3, 0, 1,    0,    0, 0, 5, 0, 0, 0, 0,  0, 0, 0};
            const bool png = first == Format::png || second == Format::png;
            Warnings warnings;
            const Page between = PageOf(FileOf(page, OptionsFor(first), &warnings));
            const Page again = PageOf(FileOf(between, OptionsFor(second), &warnings));
            SCOPED_TRACE(std::string(quarlo::NameOf(first)) + " " + std::string(quarlo::NameOf(second)));
            EXPECT_EQ(page.meta.xmp, again.meta.xmp);
            EXPECT_EQ(png ? Bytes() : page.meta.iptc, again.meta.iptc);
            EXPECT_EQ(page.meta.exif, again.meta.exif);
            EXPECT_EQ(png ? "PNG cannot hold the IPTC data" : "", Joined(warnings));
        }
}

TEST(RoundTrip, ExifIsKeptByteForByteExceptForTheSize)
{
    /* Width and height of the picture stand in the inner directory; the rest is a maker's note with offsets of its own. */
    Bytes exif = {'M', 'M', 0,    42,   0, 0, 0,  8, 0, 1,    0x87, 0x69, 0,   4,   0,    0,    0, 1, 0,
                  0,   0,   26,   0,    0, 0, 0,  0, 3, 0x92, 0x7C, 0,    7,   0,   0,    0,    5, 0, 0,
                  0,   68,  0xA0, 0x02, 0, 3, 0,  0, 0, 1,    0,    99,   0,   0,   0xA0, 0x03, 0, 4, 0,
                  0,   0,   1,    0,    0, 0, 88, 0, 0, 0,    0,    'n',  'o', 't', 'e',  '!'};
    Page page = SoftPage(20, 10, 8);
    page.meta.exif = exif;
    exif[49] = 20;
    exif[63] = 10;
    for (const Format format : {Format::png, Format::jpeg})
        EXPECT_EQ(exif, PageOf(FileOf(page, OptionsFor(format))).meta.exif);
}

TEST(RoundTrip, TheThumbnailOfTheScanIsLeftOutWithAWarning)
{
    Bytes exif = ExifOf({{531, 3, 1}});
    const std::size_t link = exif.size() - 4;
    exif[link] = static_cast<std::uint8_t>(exif.size());
    Bytes second = ExifOf({{513, 4, 9}});
    exif.insert(exif.end(), second.begin() + 8, second.end());
    Page page = SoftPage(20, 20, 8);
    page.meta.exif = exif;
    exif[link] = 0;
    for (const Format format : {Format::png, Format::jpeg, Format::tiff}) {
        Warnings warnings;
        const Bytes bytes = FileOf(page, OptionsFor(format), &warnings);
        EXPECT_EQ("the thumbnail in the EXIF data shows the scan and was left out", Joined(warnings));
        if (format != Format::tiff) {
            EXPECT_EQ(exif, PageOf(bytes).meta.exif);
        }
    }
}

/* How often a kind of chunk stands in a PNG file. */
int CountChunks(const Bytes& file, const std::string& kind)
{
    int count = 0;
    for (std::size_t at = 8; at + 12 <= file.size();) {
        const std::size_t length = std::size_t{file[at]} << 24 | std::size_t{file[at + 1]} << 16 |
                                   std::size_t{file[at + 2]} << 8 | file[at + 3];
        count += std::equal(kind.begin(), kind.end(), file.begin() + static_cast<std::ptrdiff_t>(at) + 4) ? 1 : 0;
        at += 12 + length;
    }
    return count;
}

TEST(RoundTrip, EachChunkOfPngIsWrittenOnce)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.exif = ExifOf({{531, 3, 1}});
    page.meta.text = {{"Title", "one", "", "", false, false}};
    page.meta.resolution = {300.0, 300.0, Resolution::Unit::inch};
    const Bytes file = FileOf(page, OptionsFor(Format::png));
    for (const char* kind : {"IHDR", "eXIf", "tEXt", "pHYs", "IEND"}) EXPECT_EQ(1, CountChunks(file, kind)) << kind;
}

TEST(RoundTrip, PngKeepsThatItIsSrgb)
{
    Page page = SoftPage(20, 20, 24);
    EXPECT_EQ(-1, PageOf(FileOf(page, OptionsFor(Format::png))).meta.srgb_intent);
    page.meta.srgb_intent = 2;
    const Bytes file = FileOf(page, OptionsFor(Format::png));
    EXPECT_EQ(1, CountChunks(file, "sRGB"));
    EXPECT_EQ(2, PageOf(file).meta.srgb_intent);
}

TEST(RoundTrip, TextsOfPngAreKept)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.text = {{"Title", "one", "", "", false, false},
                      {"Comment", std::string(3000, 'c'), "", "", false, true},
                      {"Author", "M\xc3\xbcller", "de", "Verfasser", true, false},
                      {"Author", "long \xc3\xbc", "de", "Verfasser", true, true},
                      {"Empty", "", "", "", false, false}};
    const Page again = PageOf(FileOf(page, OptionsFor(Format::png)));
    ASSERT_EQ(page.meta.text.size(), again.meta.text.size());
    for (std::size_t k = 0; k < page.meta.text.size(); ++k) {
        EXPECT_EQ(page.meta.text[k].key, again.meta.text[k].key);
        EXPECT_EQ(page.meta.text[k].text, again.meta.text[k].text);
        EXPECT_EQ(page.meta.text[k].language, again.meta.text[k].language);
        EXPECT_EQ(page.meta.text[k].translated_key, again.meta.text[k].translated_key);
        EXPECT_EQ(page.meta.text[k].international, again.meta.text[k].international);
        EXPECT_EQ(page.meta.text[k].compressed, again.meta.text[k].compressed);
    }
    Warnings warnings;
    const Page jpeg = PageOf(FileOf(page, OptionsFor(Format::jpeg), &warnings));
    EXPECT_EQ("JPEG cannot hold the texts (Title, Author, Author, Empty)", Joined(warnings));
    ASSERT_EQ(1u, jpeg.meta.text.size());
    EXPECT_EQ("Comment", jpeg.meta.text[0].key);
    EXPECT_EQ(std::string(3000, 'c'), jpeg.meta.text[0].text);
}

TEST(RoundTrip, WhatJpegHasNoRoomForIsLeftOutWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.xmp = Bytes(70000, ' ');
    page.meta.exif = ExifOf({{271, 4, 1}});
    page.meta.exif.resize(70000);
    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::jpeg), &warnings));
    EXPECT_TRUE(again.meta.xmp.empty());
    EXPECT_TRUE(again.meta.exif.empty());
    EXPECT_EQ("the EXIF data are larger than JPEG can hold and were left out\n"
              "the XMP data are larger than JPEG can hold and were left out",
              Joined(warnings));
}

TEST(RoundTrip, TiffTagsThatAreNotAboutPixelsAreKept)
{
    const std::uint16_t shorts[] = {1, 2, 3};
    const double numbers[] = {0.5, -3.25};
    const Bytes bytes = TiffFile([&](TIFF* tiff) {
        static const TIFFFieldInfo own[] = {
            {65001, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_SHORT, FIELD_CUSTOM, 1, 1, const_cast<char*>("one")},
            {65002, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_DOUBLE, FIELD_CUSTOM, 1, 1, const_cast<char*>("two")},
            {65003, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_ASCII, FIELD_CUSTOM, 1, 1, const_cast<char*>("three")},
            {65004, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_UNDEFINED, FIELD_CUSTOM, 1, 1, const_cast<char*>("four")}};
        TIFFMergeFieldInfo(tiff, own, 4);
        SetTiffPicture(tiff, 8, 2, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "a page");
        TIFFSetField(tiff, TIFFTAG_MAKE, "maker");
        TIFFSetField(tiff, TIFFTAG_MODEL, "model");
        TIFFSetField(tiff, TIFFTAG_SOFTWARE, "scanning program");
        TIFFSetField(tiff, TIFFTAG_DATETIME, "2001:02:03 04:05:06");
        TIFFSetField(tiff, TIFFTAG_ARTIST, "somebody");
        TIFFSetField(tiff, TIFFTAG_HOSTCOMPUTER, "host");
        TIFFSetField(tiff, TIFFTAG_COPYRIGHT, "nobody");
        TIFFSetField(tiff, TIFFTAG_DOCUMENTNAME, "document");
        TIFFSetField(tiff, TIFFTAG_PAGENAME, "cover");
        TIFFSetField(tiff, TIFFTAG_PAGENUMBER, 3, 17);
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        TIFFSetField(tiff, TIFFTAG_XPOSITION, 1.5);
        TIFFSetField(tiff, 65001, 3u, shorts);
        TIFFSetField(tiff, 65002, 2u, numbers);
        TIFFSetField(tiff, 65003, 6u, "hello");
        TIFFSetField(tiff, 65004, 3u, "\1\0\2");
        PutTiffRows(tiff, {Bytes(8, 1), Bytes(8, 2)});
    });
    const Page page = PageOf(bytes);
    EXPECT_EQ("", Joined(page.warnings));
    ASSERT_EQ(16u, page.meta.tags.size());
    EXPECT_EQ(nullptr, Find(page, TIFFTAG_XPOSITION));

    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::tiff), &warnings));
    EXPECT_EQ("", Joined(warnings));
    EXPECT_EQ("", Joined(again.warnings));
    ASSERT_EQ(page.meta.tags.size(), again.meta.tags.size());
    for (const quarlo::TiffTag& tag : page.meta.tags) {
        const quarlo::TiffTag* found = Find(again, tag.tag);
        ASSERT_NE(nullptr, found) << tag.tag;
        EXPECT_EQ(tag.type, found->type) << tag.tag;
        EXPECT_EQ(tag.count, found->count) << tag.tag;
        EXPECT_EQ(tag.values, found->values) << tag.tag;
    }
}

TEST(RoundTrip, TagsInTheOtherOrderOfBytesAreTheSame)
{
    const auto file = [](const char* mode) {
        return TiffFile(
            [](TIFF* tiff) {
                const std::uint32_t longs[] = {0x01020304, 5};
                static const TIFFFieldInfo own[] = {{65001, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG, FIELD_CUSTOM,
                                                     1, 1, const_cast<char*>("one")}};
                TIFFMergeFieldInfo(tiff, own, 1);
                SetTiffPicture(tiff, 8, 2, 16, 1, PHOTOMETRIC_MINISBLACK);
                TIFFSetField(tiff, TIFFTAG_PAGENUMBER, 0x0102, 0x0304);
                TIFFSetField(tiff, 65001, 2u, longs);
                TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 300.0);
                TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 150.0);
                PutTiffRows(tiff, {Bytes(16, 0x11), Bytes(16, 0xEE)});
            },
            mode);
    };
    const Page little = PageOf(file("wl"));
    ASSERT_EQ(2u, little.meta.tags.size());
    for (const char* mode : {"wb", "w8l", "w8b"}) {
        const Page other = PageOf(file(mode));
        ExpectSamePixels(little.bitmap, other.bitmap);
        ASSERT_EQ(2u, other.meta.tags.size());
        EXPECT_EQ(little.meta.tags[0].values, other.meta.tags[0].values);
        EXPECT_EQ(little.meta.tags[1].values, other.meta.tags[1].values);
        EXPECT_EQ(300.0, other.meta.resolution.x);
        EXPECT_EQ(150.0, other.meta.resolution.y);
        EXPECT_EQ(Resolution::Unit::inch, other.meta.resolution.unit);
    }
}

TEST(RoundTrip, TextsOfTiffGoIntoTheExifDataOfOtherFormatsAndBack)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.format = Format::tiff;
    page.meta.tags = {TextTag(271, "maker"), TextTag(306, "2001:02:03 04:05:06"), TextTag(285, "cover")};
    for (const Format format : {Format::png, Format::jpeg}) {
        Warnings warnings;
        const Page between = PageOf(FileOf(page, OptionsFor(format), &warnings));
        EXPECT_EQ((format == Format::png ? "PNG" : "JPEG") + std::string(" cannot hold the TIFF tags (285)"),
                  Joined(warnings));
        const Page again = PageOf(FileOf(between, OptionsFor(Format::tiff)));
        ASSERT_EQ(2u, again.meta.tags.size());
        EXPECT_EQ(page.meta.tags[0].values, again.meta.tags[0].values);
        EXPECT_EQ(page.meta.tags[1].values, again.meta.tags[1].values);
    }
}

TEST(RoundTrip, TagsOnWhichThePixelsDependAreLeftOutWithAWarning)
{
    const Bytes bytes = TiffFile([](TIFF* tiff) {
        const float white[] = {0.3F, 0.3F};
        SetTiffPicture(tiff, 8, 1, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_WHITEPOINT, white);
        PutTiffRows(tiff, {Bytes(8, 1)});
    });
    const Page page = PageOf(bytes);
    EXPECT_EQ("tags about the stored values or further pictures were left out (318)", Joined(page.warnings));
    EXPECT_TRUE(page.meta.tags.empty());
}

TEST(RoundTrip, ASecondTextInOneTagIsLeftOutWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.tags = {TextTag(33432, std::string("photographer\0editor", 19))};
    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::tiff), &warnings));
    EXPECT_EQ("of tags with several texts the first was kept (33432)", Joined(warnings));
    ASSERT_EQ(1u, again.meta.tags.size());
    EXPECT_EQ(TextTag(33432, "photographer").values, again.meta.tags[0].values);
}

TEST(RoundTrip, NumbersOf64BitsBecomeNumbersOf32WhereTheyFit)
{
    const std::uint64_t small[] = {5, 0xFFFFFFFF};
    const std::int64_t negative[] = {-7};
    const std::uint64_t large[] = {std::uint64_t{1} << 32};
    const Bytes wide = TiffFile(
        [&](TIFF* tiff) {
            static const TIFFFieldInfo own[] = {
                {65001, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG8, FIELD_CUSTOM, 1, 1, const_cast<char*>("one")},
                {65002, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_SLONG8, FIELD_CUSTOM, 1, 1, const_cast<char*>("two")},
                {65003, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG8, FIELD_CUSTOM, 1, 1,
                 const_cast<char*>("three")}};
            TIFFMergeFieldInfo(tiff, own, 3);
            SetTiffPicture(tiff, 8, 1, 8, 1, PHOTOMETRIC_MINISBLACK);
            TIFFSetField(tiff, 65001, 2u, small);
            TIFFSetField(tiff, 65002, 1u, negative);
            TIFFSetField(tiff, 65003, 1u, large);
            PutTiffRows(tiff, {Bytes(8, 1)});
        },
        "w8");
    const Page page = PageOf(wide);
    ASSERT_EQ(3u, page.meta.tags.size());
    EXPECT_EQ(16, page.meta.tags[0].type);
    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::tiff), &warnings));
    EXPECT_EQ("tags that cannot be written were left out (65003)", Joined(warnings));
    ASSERT_EQ(2u, again.meta.tags.size());
    EXPECT_EQ(4, again.meta.tags[0].type);
    EXPECT_EQ((Bytes{5, 0, 0, 0, 255, 255, 255, 255}), again.meta.tags[0].values);
    EXPECT_EQ(9, again.meta.tags[1].type);
    EXPECT_EQ((Bytes{0xF9, 255, 255, 255}), again.meta.tags[1].values);
    WriteOptions options = OptionsFor(Format::tiff);
    options.raw_bytes = std::uint64_t{1} << 33;
    EXPECT_EQ(3u, PageOf(FileOf(page, options)).meta.tags.size());
}

TEST(RoundTrip, TagsThatLibtiffRefusesAreLeftOutWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    quarlo::TiffTag odd = TextTag(305, "program");
    odd.type = 7; /* not the text that libtiff wants here */
    page.meta.tags = {odd, TextTag(285, "cover")};
    Warnings warnings;
    const Page again = PageOf(FileOf(page, OptionsFor(Format::tiff), &warnings));
    EXPECT_EQ("tags that cannot be written were left out (305)", Joined(warnings));
    ASSERT_EQ(1u, again.meta.tags.size());
    EXPECT_EQ(285u, again.meta.tags[0].tag);
}

TEST(RoundTrip, DamagedExifIsLeftOutWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.exif = BytesOf("II*");
    for (const Format format : {Format::png, Format::jpeg, Format::tiff}) {
        Warnings warnings;
        EXPECT_TRUE(PageOf(FileOf(page, OptionsFor(format), &warnings)).meta.exif.empty());
        EXPECT_EQ("the EXIF data are damaged and were left out", Joined(warnings));
    }
}

TEST(RoundTrip, ProfilesThatLibpngDoesNotTakeAreLeftOutWithAWarning)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.icc = ProfileOf("GRAY");
    page.meta.icc[3] ^= 1; /* another length than it has */
    Warnings warnings;
    EXPECT_TRUE(PageOf(FileOf(page, OptionsFor(Format::png), &warnings)).meta.icc.empty());
    ASSERT_EQ(1u, warnings.size());
    EXPECT_NE(std::string::npos, warnings[0].find("length does not match profile")) << warnings[0];
}

/* ---- TIFF's own ways ---- */

TEST(RoundTrip, FaxOfAFewColumnsIsTheSame)
{
    for (const int width : {1, 2, 8})
        for (const int seed : {1, 2, 3, 4, 5}) {
            const Page page = MakePage(width, 5, 1, static_cast<unsigned>(seed));
            ExpectSamePixels(page.bitmap, PageOf(FileOf(page, OptionsFor(Format::tiff, Compression::g4))).bitmap);
        }
    for (const int byte : {0x00, 0xFF, 0x55, 0xAA}) {
        Page page = MakePage(64, 5, 1);
        for (int y = 0; y < 5; ++y)
            std::fill(page.bitmap.row(y), page.bitmap.row(y) + 8, static_cast<std::uint8_t>(byte));
        ExpectSamePixels(page.bitmap, PageOf(FileOf(page, OptionsFor(Format::tiff, Compression::g4))).bitmap);
    }
}

TEST(RoundTrip, TiffKeepsItsCompressionItsGreysAndItsOrderOfBits)
{
    for (const int depth : kDepths)
        for (const int compression :
             {COMPRESSION_NONE, COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4, COMPRESSION_LZW,
              COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_LZMA,
              COMPRESSION_ZSTD})
            for (const bool white_is_zero : {false, true}) {
                const bool fax = compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTFAX3 ||
                                 compression == COMPRESSION_CCITTFAX4;
                if (fax && depth != 1) continue;
                SCOPED_TRACE(std::to_string(depth) + " bits, compression " + std::to_string(compression));
                Page page = MakePage(77, 40, depth);
                page.meta.format = Format::tiff;
                page.meta.tiff_compression = compression;
                page.meta.tiff_predictor = depth == 8 ? 1 : 2;
                page.meta.tiff_fill_order = white_is_zero ? 2 : 1;
                page.meta.white_is_zero = white_is_zero;
                const Bytes bytes = FileOf(page, OptionsFor(Format::tiff));
                const Page again = PageOf(bytes);
                ExpectSamePixels(page.bitmap, again.bitmap);
                EXPECT_EQ(compression, again.meta.tiff_compression);
                EXPECT_EQ(depth != 24 && white_is_zero, again.meta.white_is_zero);
                EXPECT_EQ(depth == 1 && white_is_zero ? 2 : 1, again.meta.tiff_fill_order);
                const bool predicted = compression == COMPRESSION_LZW || compression == COMPRESSION_ADOBE_DEFLATE ||
                                       compression == COMPRESSION_DEFLATE;
                EXPECT_EQ(predicted && depth == 24 ? 2 : 1, again.meta.tiff_predictor);
            }
}

TEST(RoundTrip, TiffIsCompressedSensiblyWhereItsSourceCannotBeFollowed)
{
    const auto compression_of = [](int depth, int kept) {
        Page page = SoftPage(20, 20, depth);
        page.meta.tiff_compression = kept;
        return PageOf(FileOf(page, OptionsFor(Format::tiff))).meta.tiff_compression;
    };
    EXPECT_EQ(COMPRESSION_CCITTFAX4, compression_of(1, 0));
    EXPECT_EQ(COMPRESSION_ADOBE_DEFLATE, compression_of(8, 0));
    EXPECT_EQ(COMPRESSION_ADOBE_DEFLATE, compression_of(24, 0));
    EXPECT_EQ(COMPRESSION_ADOBE_DEFLATE, compression_of(8, COMPRESSION_CCITTFAX4));
    EXPECT_EQ(COMPRESSION_CCITTFAX4, compression_of(1, COMPRESSION_JPEG));
    EXPECT_EQ(COMPRESSION_JPEG, compression_of(8, COMPRESSION_JPEG));
    EXPECT_EQ(COMPRESSION_ADOBE_DEFLATE, compression_of(8, 12345));
}

TEST(RoundTrip, PagesOfTiffKeepTheirOrderAndTheirOwnTags)
{
    std::vector<Page> pages;
    std::vector<const Page*> pointers;
    for (int k = 0; k < 5; ++k) {
        pages.push_back(MakePage(30 + k, 20, k == 1 ? 8 : k == 2 ? 24 : 1, static_cast<unsigned>(k + 1)));
        pages.back().meta.tags = {TextTag(285, "page " + std::to_string(k)),
                                  TextTag(65100, std::string(5, static_cast<char>('a' + k)))};
        pages.back().meta.resolution = {100.0 + k, 100.0, Resolution::Unit::inch};
    }
    for (const Page& page : pages) pointers.push_back(&page);
    Bytes bytes;
    ASSERT_EQ(Code::ok, Write(pointers, OptionsFor(Format::tiff), &bytes).code);
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenMemory(bytes, &input).code);
    ASSERT_EQ(5, input->page_count());
    for (const int k : {3, 0, 4, 1, 2, 0}) {
        Page again;
        ASSERT_EQ(Code::ok, input->Read(k, {}, &again).code);
        const Page& page = pages[static_cast<std::size_t>(k)];
        ExpectSamePixels(page.bitmap, again.bitmap);
        ASSERT_EQ(2u, again.meta.tags.size());
        EXPECT_EQ(page.meta.tags[0].values, again.meta.tags[0].values);
        EXPECT_EQ(page.meta.tags[1].values, again.meta.tags[1].values);
        EXPECT_EQ(100.0 + k, again.meta.resolution.x);
    }
    Page page;
    const Problem problem = input->Read(5, {}, &page);
    EXPECT_EQ(Code::no_such_page, problem.code);
    EXPECT_EQ("the file has 5 pages", problem.reason);
    EXPECT_EQ(Code::no_such_page, input->Read(-1, {}, &page).code);
}

TEST(RoundTrip, ExifOfTiffIsKeptInWideFilesToo)
{
    Page page = SoftPage(20, 20, 8);
    page.meta.exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x69, 0x87, 4,  0, 1, 0, 0, 0,
                      26,  0,   0,  0, 0, 0, 0, 0, 1, 0, 0x9A, 0x82, 5,  0, 1, 0, 0, 0,
                      44,  0,   0,  0, 0, 0, 0, 0, 1, 0, 0,    0,    60, 0, 0, 0};
    WriteOptions options = OptionsFor(Format::tiff);
    options.raw_bytes = std::uint64_t{5} << 30;
    const Bytes bytes = FileOf(page, options);
    EXPECT_EQ(43, bytes[2]);
    EXPECT_EQ(page.meta.exif, PageOf(bytes).meta.exif);
    InspectTiff(bytes, [](TIFF* tiff) {
        toff_t place = 0;
        float exposure = 0;
        ASSERT_EQ(1, TIFFGetField(tiff, TIFFTAG_EXIFIFD, &place));
        ASSERT_EQ(1, TIFFReadEXIFDirectory(tiff, place));
        ASSERT_EQ(1, TIFFGetField(tiff, EXIFTAG_EXPOSURETIME, &exposure));
        EXPECT_FLOAT_EQ(1.0F / 60.0F, exposure);
    });
    options.raw_bytes = 1000;
    EXPECT_EQ(42, FileOf(page, options)[2]);
}

TEST(RoundTrip, TheSecondGenerationIsTheSameFile)
{
    for (const Format format : {Format::bmp, Format::png, Format::tiff, Format::pnm})
        for (const int depth : kDepths) {
            Page page = SoftPage(50, 30, depth);
            page.meta.resolution = {300, 300, Resolution::Unit::inch};
            const Bytes first = FileOf(PageOf(FileOf(page, OptionsFor(format))), OptionsFor(format));
            EXPECT_EQ(first, FileOf(PageOf(first), OptionsFor(format))) << quarlo::NameOf(format);
        }
}
