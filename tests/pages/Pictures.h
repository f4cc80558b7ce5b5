/*
 * Pictures.h - pages for tests, and the way of a page into the bytes of a file and back.
 */
#ifndef QUARLO_TESTS_PAGES_PICTURES_H
#define QUARLO_TESTS_PAGES_PICTURES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "quarlo/pages.hpp"

namespace test
{

using quarlo::Bitmap;
using quarlo::Bytes;
using quarlo::Code;
using quarlo::Compression;
using quarlo::Format;
using quarlo::Page;
using quarlo::Problem;
using quarlo::Resolution;
using quarlo::WriteOptions;

using Warnings = std::vector<std::string>;

constexpr Format kFormats[] = {Format::bmp, Format::png, Format::jpeg, Format::tiff, Format::pnm};

/* A page that no turning or mirroring leaves as it was, with every value in its rows; unused bits are 0. */
inline Page MakePage(int width, int height, int depth, unsigned seed = 1)
{
    Page page;
    EXPECT_EQ(Code::ok, Bitmap::Make(width, height, depth, &page.bitmap).code);
    const int bytes = (width * depth + 7) / 8;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = page.bitmap.row(y);
        for (int k = 0; k < bytes; ++k) {
            seed = seed * 1664525u + 1013904223u;
            row[k] = static_cast<std::uint8_t>(seed >> 24);
        }
        if (depth == 1 && width % 8 != 0) row[bytes - 1] &= static_cast<std::uint8_t>(0xFF00 >> width % 8);
    }
    return page;
}

/* A copy of a page, which itself cannot be copied. */
inline Page CopyOf(const Page& page)
{
    Page copy;
    EXPECT_EQ(Code::ok, page.bitmap.CopyTo(&copy.bitmap).code);
    copy.meta = page.meta;
    copy.warnings = page.warnings;
    return copy;
}

/* The pixel as people count, from the top left: 0 or 1; the grey; red << 16 | green << 8 | blue. */
inline unsigned PixelAt(const Bitmap& bitmap, int x, int y)
{
    const std::uint8_t* row = bitmap.row(bitmap.height() - 1 - y);
    if (bitmap.depth() == 1) return row[x / 8] >> (7 - x % 8) & 1u;
    if (bitmap.depth() == 8) return row[x];
    return static_cast<unsigned>(row[3 * x + 2] << 16 | row[3 * x + 1] << 8 | row[3 * x]);
}

/* The pixels row by row from the top. */
inline std::vector<unsigned> PixelsOf(const Bitmap& bitmap)
{
    std::vector<unsigned> pixels;
    for (int y = 0; y < bitmap.height(); ++y)
        for (int x = 0; x < bitmap.width(); ++x) pixels.push_back(PixelAt(bitmap, x, y));
    return pixels;
}

inline void ExpectSamePixels(const Bitmap& expected, const Bitmap& actual)
{
    ASSERT_EQ(expected.width(), actual.width());
    ASSERT_EQ(expected.height(), actual.height());
    ASSERT_EQ(expected.depth(), actual.depth());
    EXPECT_EQ(PixelsOf(expected), PixelsOf(actual));
}

inline WriteOptions OptionsFor(Format format, Compression compression = Compression::same, int quality = 0)
{
    WriteOptions options;
    options.format = format;
    options.compression = compression;
    options.quality = quality;
    return options;
}

/* Writes pages into memory; the first problem ends it. */
inline Problem Write(const std::vector<const Page*>& pages, const WriteOptions& options, Bytes* bytes,
                     Warnings* warnings = nullptr)
{
    Warnings unheard;
    std::unique_ptr<quarlo::Output> output;
    Problem problem = quarlo::Output::ToMemory(bytes, options, &output);
    for (const Page* page : pages)
        if (!problem) problem = output->Add(*page, warnings == nullptr ? &unheard : warnings);
    return problem ? problem : output->Finish();
}

/* The bytes of a file that has to succeed. */
inline Bytes FileOf(const Page& page, const WriteOptions& options, Warnings* warnings = nullptr)
{
    Bytes bytes;
    const Problem problem = Write({&page}, options, &bytes, warnings);
    EXPECT_EQ(Code::ok, problem.code) << problem.reason;
    return bytes;
}

inline Problem Read(const Bytes& bytes, Page* page, int index = 0, std::uint64_t max_pixels = 0)
{
    std::unique_ptr<quarlo::Input> input;
    const Problem problem = quarlo::Input::OpenMemory(bytes, &input);
    quarlo::ReadLimits limits;
    limits.max_pixels = max_pixels;
    return problem ? problem : input->Read(index, limits, page);
}

/* The page of a file that has to be read without a problem. */
inline Page PageOf(const Bytes& bytes, int index = 0)
{
    Page page;
    const Problem problem = Read(bytes, &page, index);
    EXPECT_EQ(Code::ok, problem.code) << problem.reason;
    return page;
}

/* Words for what a page warns of, one line each. */
inline std::string Joined(const Warnings& warnings)
{
    std::string text;
    for (const std::string& line : warnings) text += (text.empty() ? "" : "\n") + line;
    return text;
}

} // namespace test

#endif
