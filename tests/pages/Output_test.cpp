/*
 * Output_test.cpp - writing: what is refused, and disks that take no more.
 */
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Pictures.h"

using namespace test;

namespace
{

void ExpectProblem(const Problem& problem, Code code, const std::string& reason)
{
    EXPECT_EQ(code, problem.code);
    EXPECT_EQ("write", problem.stage);
    EXPECT_EQ(reason, problem.reason);
}

Problem WriteTo(int descriptor, const Page& page, const WriteOptions& options)
{
    Warnings warnings;
    std::unique_ptr<quarlo::Output> output;
    Problem problem = quarlo::Output::ToDescriptor(descriptor, options, &output);
    if (!problem) problem = output->Add(page, &warnings);
    return problem ? problem : output->Finish();
}

} // namespace

TEST(Output, ImpossibleOptionsAreRefused)
{
    Bytes bytes = {1};
    const Page page = MakePage(8, 8, 8);
    ExpectProblem(Write({&page}, OptionsFor(Format::unknown), &bytes), Code::bad_argument, "no format was chosen");
    ExpectProblem(Write({&page}, OptionsFor(Format::jpeg, Compression::same, 101), &bytes), Code::bad_argument,
                  "the quality has to be between 1 and 100");
    ExpectProblem(Write({&page}, OptionsFor(Format::jpeg, Compression::same, -1), &bytes), Code::bad_argument,
                  "the quality has to be between 1 and 100");
    ExpectProblem(Write({}, OptionsFor(Format::png), &bytes), Code::bad_argument, "no page was given");
    const Page empty;
    ExpectProblem(Write({&empty}, OptionsFor(Format::png), &bytes), Code::bad_argument, "the page has no pixels");
    EXPECT_EQ(Bytes{1}, bytes) << "untouched on failure";
}

TEST(Output, CompressionsThatAFormatDoesNotHaveAreRefused)
{
    const struct {
        Format format;
        Compression compression;
        const char* reason;
    } cases[] = {
        {Format::bmp, Compression::lzw, "bmp files cannot be compressed with LZW"},
        {Format::bmp, Compression::deflate, "bmp files cannot be compressed with Deflate"},
        {Format::pnm, Compression::g4, "pnm files cannot be compressed with G4"},
        {Format::pnm, Compression::jpeg, "pnm files cannot be compressed with JPEG"},
        {Format::png, Compression::lzw, "png files cannot be compressed with LZW"},
        {Format::png, Compression::jpeg, "png files cannot be compressed with JPEG"},
        {Format::jpeg, Compression::none, "jpeg files cannot be compressed with none"},
        {Format::jpeg, Compression::deflate, "jpeg files cannot be compressed with Deflate"},
        {Format::tiff, Compression::g4, "G4 holds only 1-bit pages, and this one has 8 bits"},
    };
    Bytes bytes;
    const Page grey = MakePage(8, 8, 8);
    for (const auto& one : cases)
        ExpectProblem(Write({&grey}, OptionsFor(one.format, one.compression), &bytes), Code::cannot_hold,
                      one.reason);
    const Page bits = MakePage(8, 8, 1);
    for (const Format format : {Format::tiff, Format::jpeg})
        ExpectProblem(Write({&bits}, OptionsFor(format, Compression::jpeg), &bytes), Code::cannot_hold,
                      "JPEG does not hold 1-bit pages");
}

TEST(Output, ASecondPageIsRefusedByFormatsThatHoldOne)
{
    const Page page = MakePage(8, 8, 8);
    for (const Format format : kFormats) {
        Bytes bytes;
        const Problem problem = Write({&page, &page}, OptionsFor(format), &bytes);
        if (format == Format::tiff)
            EXPECT_EQ(Code::ok, problem.code);
        else
            ExpectProblem(problem, Code::cannot_hold, std::string(quarlo::NameOf(format)) + " files hold one page");
    }
}

TEST(Output, ARefusedPageLeavesTheFileWhole)
{
    const Page first = MakePage(8, 8, 1);
    const Page second = MakePage(8, 8, 8);
    Warnings warnings;
    Bytes bytes;
    std::unique_ptr<quarlo::Output> output;
    ASSERT_EQ(Code::ok, quarlo::Output::ToMemory(&bytes, OptionsFor(Format::tiff, Compression::g4), &output).code);
    EXPECT_EQ(Code::ok, output->Add(first, &warnings).code);
    EXPECT_EQ(Code::cannot_hold, output->Add(second, &warnings).code);
    EXPECT_EQ(Code::ok, output->Finish().code);
    ExpectSamePixels(first.bitmap, PageOf(bytes).bitmap);
    EXPECT_EQ(Code::bad_argument, output->Add(first, &warnings).code) << "it is finished";
    EXPECT_EQ(Code::bad_argument, output->Finish().code);
}

TEST(Output, JpegRefusesPagesBeyondItsSize)
{
    Bytes bytes;
    const Page wide = MakePage(65501, 1, 8);
    for (const Format format : {Format::jpeg, Format::tiff})
        ExpectProblem(Write({&wide}, OptionsFor(format, Compression::jpeg), &bytes), Code::cannot_hold,
                      "JPEG holds at most 65500 pixels in each direction");
    EXPECT_EQ(65500, PageOf(FileOf(MakePage(65500, 1, 8), OptionsFor(Format::jpeg))).bitmap.width());
}

TEST(Output, PngWithoutCompressionIsLargerThanItsPixels)
{
    Page page = MakePage(300, 300, 8);
    for (int y = 0; y < 300; ++y) std::fill(page.bitmap.row(y), page.bitmap.row(y) + 300, 7);
    EXPECT_GT(FileOf(page, OptionsFor(Format::png, Compression::none)).size(), 90000u);
    EXPECT_LT(FileOf(page, OptionsFor(Format::png)).size(), 2000u);
}

TEST(Output, WarningsMayBeUnwanted)
{
    Page page = MakePage(8, 8, 8);
    page.meta.resolution = {300, 300, Resolution::Unit::inch};
    Bytes bytes;
    std::unique_ptr<quarlo::Output> output;
    ASSERT_EQ(Code::ok, quarlo::Output::ToMemory(&bytes, OptionsFor(Format::pnm), &output).code);
    EXPECT_EQ(Code::ok, output->Add(page, nullptr).code);
    EXPECT_EQ(Code::ok, output->Finish().code);
}

/* ---- Descriptors ---- */

TEST(Output, ADescriptorGetsTheSameBytesAsMemory)
{
    for (const Format format : kFormats) {
        const Page page = MakePage(600, 500, 24);
        const Bytes expected = FileOf(page, OptionsFor(format));
        const int file = memfd_create("output", 0);
        ASSERT_EQ(0, ftruncate(file, 3000000)) << "a longer file stood there before";
        ASSERT_EQ(Code::ok, WriteTo(file, page, OptionsFor(format)).code);
        struct stat status;
        ASSERT_EQ(0, fstat(file, &status)) << "it stays open";
        Bytes bytes(static_cast<std::size_t>(status.st_size));
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), pread(file, bytes.data(), bytes.size(), 0));
        close(file);
        EXPECT_TRUE(expected == bytes) << quarlo::NameOf(format);
    }
}

TEST(Output, AFullDiskIsToldInTheSystemsWords)
{
    const int full = open("/dev/full", O_RDWR);
    ASSERT_GE(full, 0);
    for (const Format format : kFormats)
        for (const int size : {5, 700}) /* small files fail only when they are finished */
            ExpectProblem(WriteTo(full, MakePage(size, size, 24), OptionsFor(format)), Code::cannot_write,
                          "No space left on device");
    close(full);
}

TEST(Output, ADiskThatFillsUpInTheMiddleIsTold)
{
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    for (const Format format : kFormats) {
        const Page page = MakePage(700, 700, 24);
        const int file = memfd_create("output", 0);
        struct rlimit limit = before;
        limit.rlim_cur = 100000;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
        const Problem problem = WriteTo(file, page, OptionsFor(format));
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
        close(file);
        ExpectProblem(problem, Code::cannot_write, "File too large");
    }
    std::signal(SIGXFSZ, handler);
}

TEST(Output, ADescriptorThatIsNotOpenForWritingIsRefused)
{
    const int null = open("/dev/null", O_RDONLY);
    for (const Format format : kFormats)
        ExpectProblem(WriteTo(null, MakePage(8, 8, 8), OptionsFor(format)), Code::cannot_write,
                      "Bad file descriptor");
    close(null);
}
