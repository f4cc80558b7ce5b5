/*
 * Samples.cpp - samples to pixels, and pictures to the upright.
 */
#include "Samples.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "BitmapRotate.h"

namespace quarlo
{

namespace
{

constexpr Rgb kBlack = {0, 0, 0};
constexpr Rgb kWhite = {255, 255, 255};

bool IsGrey(const Rgb& colour) { return colour.red == colour.green && colour.green == colour.blue; }

/* Greys as their own indices: the same as no palette. */
bool IsRamp(const std::vector<Rgb>& palette)
{
    for (std::size_t k = 0; k < palette.size(); ++k)
        if (palette[k].red != k || !IsGrey(palette[k])) return false;
    return !palette.empty();
}

int DepthOf(const Samples& samples)
{
    if (samples.palette.empty()) {
        if (samples.colours == 3) return 24;
        return samples.bits == 1 && samples.alpha == Alpha::none && samples.channels == 1 ? 1 : 8;
    }
    const std::vector<Rgb>& palette = samples.palette;
    const bool black_and_white =
        samples.bits == 1 && samples.channels == 1 &&
        ((palette[0] == kBlack && palette[1] == kWhite) || (palette[0] == kWhite && palette[1] == kBlack));
    if (black_and_white) return 1;
    return std::all_of(palette.begin(), palette.end(), IsGrey) ? 8 : 24;
}

std::uint8_t Reversed(std::uint8_t byte)
{
    byte = static_cast<std::uint8_t>((byte & 0xF0) >> 4 | (byte & 0x0F) << 4);
    byte = static_cast<std::uint8_t>((byte & 0xCC) >> 2 | (byte & 0x33) << 2);
    return static_cast<std::uint8_t>((byte & 0xAA) >> 1 | (byte & 0x55) << 1);
}

/* A packed row of bits back to front; the unused bits stay at its end. */
void MirrorBits(std::uint8_t* row, int width)
{
    const int bytes = (width + 7) / 8;
    const int unused = 8 * bytes - width;
    std::reverse(row, row + bytes);
    for (int k = 0; k < bytes; ++k) row[k] = Reversed(row[k]);
    if (unused == 0) return;
    for (int k = 0; k < bytes; ++k) {
        const int next = k + 1 < bytes ? row[k + 1] : 0;
        row[k] = static_cast<std::uint8_t>(row[k] << unused | next >> (8 - unused));
    }
}

void Mirror(Bitmap* bitmap)
{
    const int width = bitmap->width();
    for (int y = 0; y < bitmap->height(); ++y) {
        std::uint8_t* row = bitmap->row(y);
        if (bitmap->depth() == 1)
            MirrorBits(row, width);
        else if (bitmap->depth() == 8)
            std::reverse(row, row + width);
        else
            for (int low = 0, high = width - 1; low < high; ++low, --high)
                std::swap_ranges(row + 3 * std::int64_t{low}, row + 3 * std::int64_t{low} + 3,
                                 row + 3 * std::int64_t{high});
    }
}

Problem Turn(int degrees, Bitmap* bitmap)
{
    Bitmap turned;
    const sint32 code = imageRotate(bitmap->rec(), turned.rec(), degrees);
    if (code != QL_SUCCESS) return {static_cast<Code>(code), "read", "memory ran out"};
    *bitmap = std::move(turned);
    return {};
}

} // namespace

/* ---- Samples ---- */

RowConverter::RowConverter(Samples samples) : samples_(std::move(samples))
{
    if (samples_.max == 0) samples_.max = (1u << samples_.bits) - 1;
    if (!samples_.palette.empty()) samples_.palette.resize(std::size_t{1} << samples_.bits);
    if (samples_.bits == 8 && samples_.channels == 1 && IsRamp(samples_.palette)) samples_.palette.clear();
    depth_ = DepthOf(samples_);
    inverted_ = samples_.palette.empty() ? samples_.white_is_zero && samples_.colours == 1
                                         : depth_ == 1 && samples_.palette[0] == kWhite;
}

bool RowConverter::is_direct() const
{
    if (depth_ == 1) return true;
    return samples_.palette.empty() && samples_.bits == 8 && samples_.max == 255 &&
           samples_.channels == samples_.colours;
}

std::uint8_t RowConverter::Scaled(unsigned value)
{
    if (value > samples_.max) {
        beyond_max_ = true;
        value = samples_.max;
    }
    return static_cast<std::uint8_t>((value * 255 + samples_.max / 2) / samples_.max);
}

void RowConverter::ConvertBits(const std::uint8_t* from, std::uint8_t* to) const
{
    const std::size_t bytes = static_cast<std::size_t>(RowBytes(static_cast<std::uint64_t>(samples_.width), 1));
    if (from != to) std::memcpy(to, from, bytes);
    if (inverted_)
        for (std::size_t k = 0; k < bytes; ++k) to[k] = static_cast<std::uint8_t>(~to[k]);
    if (samples_.width % 8 != 0) to[bytes - 1] &= static_cast<std::uint8_t>(0xFF00 >> (samples_.width % 8));
}

void RowConverter::ConvertIndices(const std::uint8_t* from, std::uint8_t* to) const
{
    const int per_byte = 8 / samples_.bits;
    const unsigned mask = (1u << samples_.bits) - 1;
    for (int x = 0; x < samples_.width; ++x) {
        const std::int64_t sample = std::int64_t{x} * samples_.channels;
        const int shift = 8 - samples_.bits * (static_cast<int>(sample % per_byte) + 1);
        const Rgb colour = samples_.palette[from[sample / per_byte] >> shift & mask];
        if (depth_ == 8) {
            *to++ = colour.red;
            continue;
        }
        *to++ = colour.blue;
        *to++ = colour.green;
        *to++ = colour.red;
    }
}

void RowConverter::ConvertBytes(const std::uint8_t* from, std::uint8_t* to) const
{
    if (depth_ == 24) return SwapRedAndBlue(from, to, samples_.width);
    if (from != to) std::memcpy(to, from, static_cast<std::size_t>(samples_.width));
    if (inverted_)
        for (int x = 0; x < samples_.width; ++x) to[x] = static_cast<std::uint8_t>(~to[x]);
}

void RowConverter::ConvertAny(const std::uint8_t* from, std::uint8_t* to)
{
    const int bits = samples_.bits;
    const auto sample = [&](std::int64_t index) -> unsigned {
        if (bits == 8) return from[index];
        if (bits < 8) {
            const int per_byte = 8 / bits;
            return from[index / per_byte] >> (8 - bits * (index % per_byte + 1)) & ((1u << bits) - 1);
        }
        if (samples_.big_endian) return static_cast<unsigned>(from[2 * index] << 8 | from[2 * index + 1]);
        std::uint16_t value;
        std::memcpy(&value, from + 2 * index, sizeof value);
        return value;
    };
    for (int x = 0; x < samples_.width; ++x) {
        const std::int64_t first = std::int64_t{x} * samples_.channels;
        unsigned alpha = 255;
        if (samples_.alpha != Alpha::none) alpha = Scaled(sample(first + samples_.colours));
        translucent_ = translucent_ || alpha < 255;
        std::uint8_t values[3] = {};
        for (int c = 0; c < samples_.colours; ++c) {
            unsigned value = Scaled(sample(first + c));
            if (inverted_) value = 255 - value;
            if (samples_.alpha == Alpha::straight) value = OverWhite(value, alpha);
            if (samples_.alpha == Alpha::premultiplied) value = std::min(255u, value + 255 - alpha);
            values[c] = static_cast<std::uint8_t>(value);
        }
        for (int c = samples_.colours - 1; c >= 0; --c) *to++ = values[c];
    }
}

void RowConverter::Convert(const std::uint8_t* from, std::uint8_t* to)
{
    if (depth_ == 1) return ConvertBits(from, to);
    if (!samples_.palette.empty()) return ConvertIndices(from, to);
    if (is_direct()) return ConvertBytes(from, to);
    ConvertAny(from, to);
}

void RowConverter::Warn(std::vector<std::string>* warnings) const
{
    const auto warn = [&](std::string words) { warnings->push_back(std::move(words)); };
    const std::string bits = std::to_string(samples_.bits);
    const std::string now = std::to_string(depth_) + " bits";
    if (!samples_.palette.empty() && depth_ != samples_.bits)
        warn("the palette of " + bits + (samples_.bits == 1 ? " bit" : " bits") + " was applied: the page has " +
             now);
    else if (samples_.palette.empty() && depth_ != 1 && samples_.bits != 8)
        warn("samples of " + bits + (samples_.bits == 1 ? " bit" : " bits") + " were converted to 8 bits");
    if (samples_.alpha != Alpha::none && translucent_) warn("transparency was laid over white");
    if (samples_.alpha != Alpha::none && !translucent_) warn("the alpha channel, opaque throughout, was left out");
    const int known = samples_.colours + (samples_.alpha != Alpha::none ? 1 : 0);
    if (samples_.channels > known) warn("channels beside the colours were left out");
    if (beyond_max_) warn("values above the file's own maximum were taken for white");
}

/* ---- Bitmaps ---- */

std::uint64_t RowBytes(std::uint64_t width, int bits_per_pixel)
{
    return (width * static_cast<std::uint64_t>(bits_per_pixel) + 7) / 8;
}

Problem CheckSize(std::uint64_t width, std::uint64_t height, int depth, const ReadLimits& limits)
{
    constexpr std::uint64_t most = std::numeric_limits<sint32>::max();
    if (width == 0 || height == 0) return {Code::damaged, "read", "the picture has no pixels"};
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width > most || height > most || RowBytes(width, depth) > most / height)
        return {Code::too_large, "read", size + " are more than a bitmap can hold"};
    if (limits.max_pixels > 0 && width > limits.max_pixels / height)
        return {Code::too_large, "read", size + " are more than the limit of " + std::to_string(limits.max_pixels)};
    return {};
}

Problem MakeBitmap(std::uint64_t width, std::uint64_t height, int depth, const ReadLimits& limits, Bitmap* bitmap)
{
    Problem problem = CheckSize(width, height, depth, limits);
    if (problem) return problem;
    problem = Bitmap::Make(static_cast<int>(width), static_cast<int>(height), depth, bitmap);
    if (problem) problem.stage = "read";
    return problem;
}

void TurnOver(Bitmap* bitmap)
{
    const std::size_t bytes = static_cast<std::size_t>(bitmap->rec()->BytesPerLine);
    for (int low = 0, high = bitmap->height() - 1; low < high; ++low, --high)
        std::swap_ranges(bitmap->row(low), bitmap->row(low) + bytes, bitmap->row(high));
}

void SwapRedAndBlue(const std::uint8_t* from, std::uint8_t* to, int width)
{
    for (int x = 0; x < width; ++x, from += 3, to += 3) {
        const std::uint8_t first = from[0];
        const std::uint8_t last = from[2];
        to[0] = last;
        to[1] = from[1];
        to[2] = first;
    }
}

Problem Orient(int orientation, Page* page)
{
    /* Each orientation is a turn clockwise, some after a mirroring of left and right. */
    constexpr int turns[] = {0, 0, 0, 180, 180, 270, 90, 90, 270};
    if (orientation < 2 || orientation > 8) return {};
    if (orientation == 2 || orientation == 4 || orientation == 5 || orientation == 7) Mirror(&page->bitmap);
    if (orientation >= 5) std::swap(page->meta.resolution.x, page->meta.resolution.y);
    return turns[orientation] == 0 ? Problem{} : Turn(turns[orientation], &page->bitmap);
}

} // namespace quarlo
