/*
 * Samples.h - from the samples of a file to the pixels of a bitmap: the one place for palettes, deeper samples, alpha
 * and inverted greys, whatever the format.
 */
#ifndef QUARLO_PAGES_SAMPLES_H
#define QUARLO_PAGES_SAMPLES_H

#include <cstdint>
#include <string>
#include <vector>

#include "quarlo/pages.hpp"

namespace quarlo
{

struct Rgb {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

inline bool operator==(const Rgb& a, const Rgb& b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

enum class Alpha { none, straight, premultiplied };

/** How a decoder delivers a row. */
struct Samples {
    int width = 0;
    int bits = 8;               /**< of a sample: 1, 2, 4, 8, 16; below 8 the first is in the high bits of a byte */
    int channels = 1;           /**< samples of a pixel */
    int colours = 1;            /**< the first of them: 1 a grey or an index into the palette, 3 red, green, blue */
    Alpha alpha = Alpha::none;  /**< what the sample after the colours is; further ones are passed over */
    unsigned max = 0;           /**< the value that is white or full; 0: the largest of that many bits */
    bool white_is_zero = false; /**< of greys */
    bool big_endian = false;    /**< of 16-bit samples; else the machine's order */
    std::vector<Rgb> palette;   /**< empty: none */
};

/** Composes an 8-bit value over white. */
inline std::uint8_t OverWhite(unsigned value, unsigned alpha)
{
    return static_cast<std::uint8_t>((value * alpha + 255 * (255 - alpha) + 127) / 255);
}

class RowConverter
{
public:
    explicit RowConverter(Samples samples);

    /** 1 for greys and palettes of plain black and white, 8 for all that is grey, else 24. */
    int depth() const { return depth_; }
    /** True where a row of samples is a row of the bitmap already, but for inversion and the order of colours. */
    bool is_direct() const;
    /** Pixels of the rows to come, where a picture comes in pieces. */
    void SetWidth(int width) { samples_.width = width; }
    /** Makes a row of the bitmap; `to` may be `from` where is_direct. Unused bits of the last byte become 0. */
    void Convert(const std::uint8_t* from, std::uint8_t* to);
    /** What was changed, in words; after the last row. */
    void Warn(std::vector<std::string>* warnings) const;

private:
    void ConvertBits(const std::uint8_t* from, std::uint8_t* to) const;
    void ConvertIndices(const std::uint8_t* from, std::uint8_t* to) const;
    void ConvertBytes(const std::uint8_t* from, std::uint8_t* to) const;
    void ConvertAny(const std::uint8_t* from, std::uint8_t* to);
    std::uint8_t Scaled(unsigned value);

    Samples samples_;
    int depth_ = 8;
    bool inverted_ = false;
    bool beyond_max_ = false;
    bool translucent_ = false;
};

/** Bytes of a packed row. */
std::uint64_t RowBytes(std::uint64_t width, int bits_per_pixel);

/** A bitmap for a picture that a file announces, refused before memory is taken where it is too large. */
Problem MakeBitmap(std::uint64_t width, std::uint64_t height, int depth, const ReadLimits& limits, Bitmap* bitmap);
/** The same check alone. */
Problem CheckSize(std::uint64_t width, std::uint64_t height, int depth, const ReadLimits& limits);

/** The first row becomes the last. */
void TurnOver(Bitmap* bitmap);

/** A row of a 24-bit bitmap with red and blue exchanged; `to` may be `from`. */
void SwapRedAndBlue(const std::uint8_t* from, std::uint8_t* to, int width);

/**
 * The picture as people see it, from one that is stored in the given orientation: 1 to 8 as EXIF and TIFF number them.
 * The resolution is turned with it. Other values change nothing.
 */
Problem Orient(int orientation, Page* page);

} // namespace quarlo

#endif
