/*
 * Damage_test.cpp - files that are cut short or changed: a message, never a crash and never a page that only looks whole.
 */
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/mman.h>
#include <unistd.h>

#include "Foreign.h"

using namespace test;

namespace
{

struct Sample {
    std::string name;
    Bytes bytes;
};

/* Files of all formats and depths with everything that can stand in them. */
std::vector<Sample> Samples()
{
    std::vector<Sample> samples;
    for (const Format format : kFormats)
        for (const int depth : {1, 8, 24})
            for (const Compression compression :
                 {Compression::same, Compression::none, Compression::lzw, Compression::jpeg}) {
                Page page = MakePage(37, 23, depth);
                page.meta.resolution = {300, 300, Resolution::Unit::inch};
                page.meta.icc = ProfileOf(depth == 24 ? "RGB " : "GRAY");
                page.meta.exif = ExifOf({{274, 3, 1}, {531, 3, 2}});
                page.meta.xmp = BytesOf("<x/>");
                page.meta.text.push_back({"Comment", "text", "", "", false, true});
                WriteOptions options = OptionsFor(format, compression);
                Bytes bytes;
                if (Write({&page}, options, &bytes)) continue;
                samples.push_back({std::string(quarlo::NameOf(format)) + std::to_string(depth) + "-" +
                                       std::to_string(static_cast<int>(compression)),
                                   bytes});
            }
    samples.push_back({"text", BytesOf("P3 2 2 255 1 2 3 4 5 6 7 8 9 10 11 9\n")});
    samples.push_back({"bits", BytesOf("P1 3 2 1 0 1 1 1 1\n")});
    Png png;
    png.width = png.height = 20;
    png.interlace = PNG_INTERLACE_ADAM7;
    png.rows.assign(20, Bytes(20, 77));
    samples.push_back({"interlaced", PngFile(png)});
    Jpeg jpeg;
    jpeg.width = jpeg.height = 40;
    jpeg.rows.assign(40, Bytes(40, 99));
    jpeg.before = [](j_compress_ptr writer) { jpeg_simple_progression(writer); };
    samples.push_back({"progressive", JpegFile(jpeg)});
    return samples;
}

bool IsCodeOfReading(Code code)
{
    return code == Code::ok || code == Code::damaged || code == Code::unknown_format || code == Code::unsupported ||
           code == Code::too_large || code == Code::no_such_page || code == Code::out_of_memory;
}

/* Where the bytes of a TIFF page's first strip lie. */
void FirstStrip(const Bytes& bytes, std::size_t* place, std::size_t* size)
{
    InspectTiff(bytes, [&](TIFF* tiff) {
        *place = static_cast<std::size_t>(TIFFGetStrileOffset(tiff, 0));
        *size = static_cast<std::size_t>(TIFFGetStrileByteCount(tiff, 0));
    });
}

} // namespace

TEST(Damage, AFileThatIsCutShortIsRefusedOrTheSame)
{
    for (const Sample& sample : Samples()) {
        const Page whole = PageOf(sample.bytes);
        for (std::size_t length = 0; length < sample.bytes.size(); ++length) {
            Page page;
            const Problem problem = Read(
                Bytes(sample.bytes.begin(), sample.bytes.begin() + static_cast<std::ptrdiff_t>(length)), &page);
            SCOPED_TRACE(sample.name + " cut to " + std::to_string(length) + " of " +
                         std::to_string(sample.bytes.size()) + " bytes");
            if (problem) {
                EXPECT_TRUE(problem.code == Code::damaged || (length < 8 && problem.code == Code::unknown_format));
                EXPECT_FALSE(problem.reason.empty());
                EXPECT_TRUE(page.bitmap.empty());
                continue;
            }
            ExpectSamePixels(whole.bitmap, page.bitmap);
            const bool ends_with_padding = sample.name[0] == 'b' || sample.name[0] == 'p' || sample.name[0] == 't';
            EXPECT_TRUE(ends_with_padding);
        }
    }
}

TEST(Damage, PngAndJpegAreNeverTakenWithoutTheirEnd)
{
    for (const Sample& sample : Samples()) {
        const bool strict = sample.name.rfind("png", 0) == 0 || sample.name.rfind("jpeg", 0) == 0 ||
                            sample.name == "interlaced" || sample.name == "progressive";
        if (!strict) continue;
        for (std::size_t cut = 1; cut < sample.bytes.size() - 8; ++cut) {
            Page page;
            const Bytes bytes(sample.bytes.begin(), sample.bytes.end() - static_cast<std::ptrdiff_t>(cut));
            EXPECT_EQ(Code::damaged, Read(bytes, &page).code)
                << sample.name << " without its last " << cut << " bytes";
        }
    }
}

TEST(Damage, ChangedBytesNeverGiveAnythingButACodeOfReading)
{
    unsigned seed = 5;
    for (const Sample& sample : Samples())
        for (std::size_t at = 0; at < sample.bytes.size(); at += at < 200 ? 1 : 7)
            for (const unsigned change : {0xFFu, 0u}) {
                Bytes bytes = sample.bytes;
                seed = seed * 1664525u + 1013904223u;
                bytes[at] = static_cast<std::uint8_t>(change != 0 ? bytes[at] ^ change : seed >> 24);
                Page page;
                const Problem problem = Read(bytes, &page, 0, 1000000);
                ASSERT_TRUE(IsCodeOfReading(problem.code)) << sample.name << " byte " << at;
                ASSERT_EQ(problem.code == Code::ok, !page.bitmap.empty());
            }
}

TEST(Damage, TheMessageSaysWhatIsMissing)
{
    const auto reason_of = [](Bytes bytes, std::size_t length) {
        bytes.resize(length);
        Page page;
        return Read(bytes, &page).reason;
    };
    const Page page = MakePage(40, 30, 8);
    EXPECT_EQ("page 1: the file is shorter than its header announces",
              reason_of(FileOf(page, OptionsFor(Format::bmp)), 500));
    EXPECT_EQ("page 1: the file is cut short", reason_of(FileOf(page, OptionsFor(Format::png)), 500));
    EXPECT_EQ("page 1: Premature end of input file", reason_of(FileOf(page, OptionsFor(Format::jpeg)), 500));
    EXPECT_EQ("page 1: the file is shorter than its header announces",
              reason_of(FileOf(page, OptionsFor(Format::pnm)), 500));
    EXPECT_EQ("page 1: the directory lies beyond the file's end",
              reason_of(FileOf(page, OptionsFor(Format::tiff)), 500));
}

TEST(Damage, JpegWithBrokenDataIsNoGreyPicture)
{
    Jpeg jpeg;
    jpeg.width = jpeg.height = 64;
    for (int y = 0; y < 64; ++y) {
        Bytes row;
        for (int x = 0; x < 64; ++x) row.push_back(static_cast<std::uint8_t>(x * y));
        jpeg.rows.push_back(row);
    }
    Bytes bytes = JpegFile(jpeg);
    /* The end comes early, but properly. */
    bytes.resize(bytes.size() / 2);
    bytes.push_back(0xFF);
    bytes.push_back(0xD9);
    Page page;
    const Problem problem = Read(bytes, &page);
    EXPECT_EQ(Code::damaged, problem.code);
    EXPECT_EQ("page 1: Corrupt JPEG data: premature end of data segment", problem.reason);
}

TEST(Damage, StripsThatAreCutShortAreFound)
{
    for (const int depth : {1, 8})
        for (const Compression compression :
             {Compression::none, Compression::lzw, Compression::deflate, Compression::g4, Compression::jpeg}) {
            Page page = MakePage(200, 100, depth);
            Bytes bytes;
            if (Write({&page}, OptionsFor(Format::tiff, compression), &bytes)) continue;
            std::size_t place = 0;
            std::size_t size = 0;
            FirstStrip(bytes, &place, &size);
            /* Zeros end none of the codes properly. */
            std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(place + size / 2),
                      bytes.begin() + static_cast<std::ptrdiff_t>(place + size), 0);
            Page again;
            const Problem problem = Read(bytes, &again);
            SCOPED_TRACE(std::to_string(depth) + " bits, compression " +
                         std::to_string(static_cast<int>(compression)));
            if (compression == Compression::none) {
                EXPECT_EQ(Code::ok, problem.code) << "pixels may well be zeros";
                continue;
            }
            EXPECT_EQ(Code::damaged, problem.code);
            EXPECT_EQ(0u, problem.reason.rfind("page 1: ", 0)) << problem.reason;
        }
}

namespace
{

/* Three pages; `links` are the places from which the file leads to a directory: in its head, and at the end of each. */
Bytes ThreePages(std::vector<std::size_t>* links)
{
    std::vector<Page> pages;
    for (int k = 0; k < 3; ++k) pages.push_back(MakePage(60 + k, 40, 8, static_cast<unsigned>(k + 1)));
    Bytes bytes;
    EXPECT_EQ(Code::ok, Write({&pages[0], &pages[1], &pages[2]}, OptionsFor(Format::tiff), &bytes).code);
    const auto number = [&](std::size_t at, std::size_t count) {
        std::size_t value = 0;
        for (std::size_t k = count; k > 0; --k) value = value << 8 | bytes[at + k - 1];
        return value;
    };
    links->assign(1, 4);
    for (std::size_t place = number(4, 4); place != 0; place = number(links->back(), 4))
        links->push_back(place + 2 + 12 * number(place, 2));
    return bytes;
}

} // namespace

TEST(Damage, OnePageThatIsDamagedLeavesTheOthers)
{
    std::vector<std::size_t> links;
    Bytes bytes = ThreePages(&links);
    std::size_t place = 0;
    InspectTiff(
        bytes, [&](TIFF* tiff) { place = static_cast<std::size_t>(TIFFGetStrileOffset(tiff, 0)); }, 1);
    std::memset(&bytes[place], 0x55, 40);
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenMemory(bytes, &input).code);
    ASSERT_EQ(3, input->page_count());
    for (const int k : {0, 1, 2, 1, 0}) {
        Page page;
        const Problem problem = input->Read(k, {}, &page);
        EXPECT_EQ(k == 1 ? Code::damaged : Code::ok, problem.code) << k;
        if (k == 1) {
            EXPECT_EQ(0u, problem.reason.rfind("page 2: ", 0)) << problem.reason;
        } else {
            ExpectSamePixels(MakePage(60 + k, 40, 8, static_cast<unsigned>(k + 1)).bitmap, page.bitmap);
        }
    }
}

TEST(Damage, ABrokenChainOfPagesEndsWithADamagedPage)
{
    std::vector<std::size_t> links;
    Bytes bytes = ThreePages(&links);
    bytes[links[2] + 3] = 0x7F; /* page 2 leads far beyond the end */
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenMemory(bytes, &input).code);
    ASSERT_EQ(3, input->page_count());
    Page page;
    EXPECT_EQ(Code::ok, input->Read(1, {}, &page).code);
    const Problem problem = input->Read(2, {}, &page);
    EXPECT_EQ(Code::damaged, problem.code);
    EXPECT_EQ("page 3: the directory lies beyond the file's end", problem.reason);
}

TEST(Damage, AChainOfPagesThatLeadsBackEnds)
{
    std::vector<std::size_t> links;
    Bytes bytes = ThreePages(&links);
    std::copy(bytes.begin() + 4, bytes.begin() + 8,
              bytes.begin() + static_cast<std::ptrdiff_t>(links[3])); /* to page 1 */
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenMemory(bytes, &input).code);
    ASSERT_EQ(4, input->page_count());
    Page page;
    EXPECT_EQ(Code::ok, input->Read(2, {}, &page).code);
    EXPECT_EQ("page 4: the chain of pages leads back into itself", input->Read(3, {}, &page).reason);
}

TEST(Damage, ATiffWithoutADirectoryHasADamagedPage)
{
    const Bytes bytes = {'I', 'I', 42, 0, 0, 0, 0, 0};
    Page page;
    const Problem problem = Read(bytes, &page);
    EXPECT_EQ(Code::damaged, problem.code);
    EXPECT_EQ("page 1: the file has no directory", problem.reason);
}

TEST(Damage, TagsThatAreDamagedAreLeftOutWithAWarning)
{
    std::size_t entry = 0;
    Bytes bytes = TiffFile([](TIFF* tiff) {
        SetTiffPicture(tiff, 8, 1, 8, 1, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_ARTIST, "somebody");
        PutTiffRows(tiff, {Bytes(8, 5)});
    });
    for (std::size_t k = 8; k + 1 < bytes.size(); ++k)
        if (bytes[k] == 0x3B && bytes[k + 1] == 0x01) entry = k; /* tag 315 */
    ASSERT_NE(0u, entry);
    bytes[entry + 7] = 0x7F; /* of so many characters */
    const Page page = PageOf(bytes);
    EXPECT_TRUE(page.meta.tags.empty());
    EXPECT_NE(std::string::npos, Joined(page.warnings).find("damaged tags were left out (315)"))
        << Joined(page.warnings);
}

TEST(Damage, AFileThatShrinksWhileItIsOpenIsDamaged)
{
    const Bytes bytes = FileOf(MakePage(400, 300, 8), OptionsFor(Format::bmp));
    const int file = memfd_create("shrinks", 0);
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(file, bytes.data(), bytes.size()));
    std::unique_ptr<quarlo::Input> input;
    ASSERT_EQ(Code::ok, quarlo::Input::OpenFile("/proc/self/fd/" + std::to_string(file), &input).code);
    ASSERT_EQ(0, ftruncate(file, 70000));
    Page page;
    const Problem problem = input->Read(0, {}, &page);
    close(file);
    EXPECT_EQ(Code::damaged, problem.code);
    EXPECT_EQ("page 1: the file is cut short", problem.reason);
}
