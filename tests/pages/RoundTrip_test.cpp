/*
 * RoundTrip_test.cpp - what is written is read back the same: pixels, resolution, and what a file says beside them.
 */
#include <cmath>

#include "Pictures.h"

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

} // namespace

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
