/*
 * fuzz_picture.cpp - a picture file from a stranger: its pages are read, and written again in every format. What loses
 * nothing has to come back the same.
 */
#include <algorithm>

#include "FuzzInput.h"
#include "quarlo/pages.hpp"

namespace
{

using quarlo::Code;
using quarlo::Format;
using quarlo::Page;

constexpr int kMostPages = 4;
constexpr std::uint64_t kMaxPixels = 4000000;
constexpr int kMaxWritten = 300 * 300; /* larger pages are read, but not written: the fuzzer has to be quick */

void RequireSuccess(const quarlo::Problem& problem)
{
    if (problem) std::fprintf(stderr, "%s\n", problem.reason.c_str());
    FUZZ_REQUIRE(!problem);
}

bool SamePixels(const quarlo::Bitmap& a, const quarlo::Bitmap& b)
{
    if (a.width() != b.width() || a.height() != b.height() || a.depth() != b.depth()) return false;
    const int bits = a.width() * a.depth();
    for (int y = 0; y < a.height(); ++y) {
        if (std::memcmp(a.row(y), b.row(y), static_cast<size_t>(bits / 8)) != 0) return false;
        const int mask = 0xFF00 >> bits % 8 & 0xFF;
        if (mask != 0 && ((a.row(y)[bits / 8] ^ b.row(y)[bits / 8]) & mask) != 0) return false;
    }
    return true;
}

void WriteAndReadBack(const Page& page, Format format)
{
    quarlo::WriteOptions options;
    options.format = format;
    quarlo::Bytes bytes;
    std::vector<std::string> warnings;
    std::unique_ptr<quarlo::Output> output;
    RequireSuccess(quarlo::Output::ToMemory(&bytes, options, &output));
    const quarlo::Problem problem = output->Add(page, &warnings);
    /* Every page that can be read can be written, but for JPEG's narrow limits. */
    if (format == Format::jpeg && problem.code == Code::cannot_hold) return;
    RequireSuccess(problem);
    RequireSuccess(output->Finish());
    std::unique_ptr<quarlo::Input> input;
    Page again;
    RequireSuccess(quarlo::Input::OpenMemory(bytes, &input));
    FUZZ_REQUIRE(input->format() == format && input->page_count() == 1);
    RequireSuccess(input->Read(0, {}, &again));
    const bool lossless = format != Format::jpeg && again.meta.tiff_compression != 7;
    FUZZ_REQUIRE(!lossless || SamePixels(page.bitmap, again.bitmap));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<quarlo::Input> input;
    if (quarlo::Input::OpenMemory(quarlo::Bytes(data, data + size), &input)) return 0;
    FUZZ_REQUIRE(input->page_count() >= 1);
    quarlo::ReadLimits limits;
    limits.max_pixels = kMaxPixels;
    for (int k = 0; k < std::min(input->page_count(), kMostPages); ++k) {
        Page page;
        const quarlo::Problem problem = input->Read(k, limits, &page);
        FUZZ_REQUIRE(static_cast<bool>(problem) == page.bitmap.empty());
        FUZZ_REQUIRE(!problem || (problem.stage == "read" && !problem.reason.empty()));
        if (problem || std::int64_t{page.bitmap.width()} * page.bitmap.height() > kMaxWritten) continue;
        for (const Format format : {Format::bmp, Format::png, Format::jpeg, Format::tiff, Format::pnm})
            WriteAndReadBack(page, format);
    }
    return 0;
}
