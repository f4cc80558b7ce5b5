#include "Scan.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace bench
{

namespace
{

/* At 300 dots per inch. */
constexpr sint32 kScanWidth = 2700, kScanHeight = 3700;
constexpr sint32 kPageWidth = 2480, kPageHeight = 3508;
constexpr sint32 kMargin = 250;
constexpr Real64 kDegrees = 2.3;

/* Grain from 0 to 15, the same for a dot in every build. */
sint32 GrainAt(sint32 row, sint32 col)
{
    uint32 bits = static_cast<uint32>(row) * 0x9E3779B1u ^ static_cast<uint32>(col) * 0x85EBCA77u;
    bits = (bits ^ bits >> 15) * 0x2C1B3C6Du;
    return static_cast<sint32>(bits >> 28);
}

/* Whether there is print at a place of the page, in dots of 300 per inch: lines of words of letters of strokes. */
bool IsPrint(sint32 x, sint32 y)
{
    if (x < kMargin || x >= kPageWidth - kMargin || y < kMargin || y >= kPageHeight - kMargin) return false;
    const bool in_line = y % 60 < 34;
    const bool in_word = (x + y / 60 * 97) % 240 < 200;
    const bool in_letter = x % 26 < 20;
    const bool in_stroke = x % 13 < 5 || y % 17 < 5;
    return in_line && in_word && in_letter && in_stroke;
}

class Picture
{
public:
    explicit Picture(sint32 dpi)
        : scale(dpi / 300), cosine(std::cos(kDegrees * M_PI / 180.0)), sine(std::sin(kDegrees * M_PI / 180.0))
    {
    }

    uint8 GrayAt(sint32 row, sint32 col) const
    {
        const Real64 dx = col / scale - kScanWidth / 2.0;
        const Real64 dy = row / scale - kScanHeight / 2.0;
        const Real64 x = kPageWidth / 2.0 + dx * cosine - dy * sine;
        const Real64 y = kPageHeight / 2.0 + dy * cosine + dx * sine;
        const bool on_page = x >= 0 && x < kPageWidth && y >= 0 && y < kPageHeight;
        const sint32 grain = GrainAt(row, col);
        if (!on_page) return static_cast<uint8>(20 + grain);
        return static_cast<uint8>(IsPrint(static_cast<sint32>(x), static_cast<sint32>(y)) ? 40 + grain
                                                                                          : 225 + grain);
    }

private:
    Real64 scale, cosine, sine;
};

/* The outermost columns are as bright as the threshold and no brighter, so that the automatic one finds the page. */
void Paint(BitmapRec* bitmap, const Picture& picture)
{
    for (sint32 row = 0; row < bitmap->biHeight; ++row) {
        uint8* line = bitmap->ScanLine[row];
        for (sint32 col = 0; col < bitmap->biWidth; ++col) {
            const bool rim = col < 2 || col >= bitmap->biWidth - 2;
            const uint8 gray = rim ? static_cast<uint8>(kThreshold) : picture.GrayAt(row, col);
            if (bitmap->biBitCount == 8) {
                line[col] = gray;
            } else if (bitmap->biBitCount == 24) {
                line[3 * col] = static_cast<uint8>(gray - 10);
                line[3 * col + 1] = gray;
                line[3 * col + 2] = static_cast<uint8>(gray + 5);
            } else if (gray > kThreshold) {
                line[col >> 3] = static_cast<uint8>(line[col >> 3] | 0x80 >> (col & 7));
            }
        }
    }
}

BitmapRec* Painted(BitmapRec* bitmap, sint32 dpi)
{
    Paint(bitmap, Picture(dpi));
    return bitmap;
}

} // namespace

void Require(bool condition, const char* what)
{
    if (condition) return;
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::exit(1);
}

void Release(ImageBorderPointRec* side)
{
    std::free(side->border_point.points);
    std::free(side->border_line_seck.borderLine);
}

Detection::Detection(BitmapRec* scan)
{
    uint8 background = 0;
    sint32 tilted = 1;
    Require(CalculateDividingPoint(scan, &background) == 0, "CalculateDividingPoint");
    Require(SearchBitmapRange(scan, &fore_image_range, kThreshold) == 0, "SearchBitmapRange");
    Require(MarkLeftRightBorder(scan, &fore_image_range, kDarkGround, kThreshold, 255, &left, &right,
                                &image_range) == 0,
            "MarkLeftRightBorder");
    Require(MarkTopBottomBorder(scan, &fore_image_range, kDarkGround, kThreshold, 255, &top, &bottom,
                                &image_range) == 0,
            "MarkTopBottomBorder");
    Require(DispartBorderPoints(scan, &image_range, &tilted, &left, &right, &top, &bottom, &left_top, &left_bottom,
                                &right_top, &right_bottom) == 0,
            "DispartBorderPoints");
    Require(CalBorderPoints(scan, &RowSeck, &angle, &SourceCenter, &biWidth, &biHeight, &image_range, &tilted,
                            &left_top, &left_bottom, &right_top, &right_bottom) == 0,
            "CalBorderPoints");
}

Detection::~Detection()
{
    for (ImageBorderPointRec* side : {&left, &right, &top, &bottom}) Release(side);
    for (ImageBorderLineRec* edge : {&left_top, &left_bottom, &right_top, &right_bottom})
        std::free(edge->border_line_seck.borderLine);
    std::free(RowSeck.seck);
}

Scan::Scan(sint32 dpi, sint32 depth)
    : bitmap(kScanWidth * dpi / 300, kScanHeight * dpi / 300, depth, 0, 1), page(Painted(&bitmap.rec, dpi))
{
}

} // namespace bench
