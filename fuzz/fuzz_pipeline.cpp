/*
 * fuzz_pipeline.cpp - whole pages: images of page-like shapes and noise, so that the late stages are reached.
 */
#include <cmath>

#include "BitmapProcessing.h"
#include "FuzzInput.h"
#include "QL_Interface.h"

namespace
{

void SetDot(BitmapRec* rec, sint32 row, sint32 col, uint8 gray)
{
    if (row < 0 || col < 0 || row >= rec->biHeight || col >= rec->biWidth) return;
    uint8* line = rec->ScanLine[row];
    if (rec->biBitCount == 8)
        line[col] = gray;
    else if (rec->biBitCount == 24)
        std::memset(line + 3 * col, gray, 3);
    else {
        const uint8 mask = static_cast<uint8>(0x80 >> (col & 7));
        line[col >> 3] = static_cast<uint8>(gray >= 128 ? line[col >> 3] | mask : line[col >> 3] & ~mask);
    }
}

/* A rectangle that lies askew: the page, or a hole or a corner torn out of it. */
void DrawSheet(BitmapRec* rec, FuzzInput* input, bool is_page)
{
    const Real64 x = rec->biWidth * (is_page ? input->Between(90, 166) / 256.0 : input->Between(0, 256) / 256.0);
    const Real64 y = rec->biHeight * (is_page ? input->Between(90, 166) / 256.0 : input->Between(0, 256) / 256.0);
    const Real64 half_width = rec->biWidth * input->Between(0, 255) / 512.0 * (is_page ? 1.1 : 0.3);
    const Real64 half_height = rec->biHeight * input->Between(0, 255) / 512.0 * (is_page ? 1.1 : 0.3);
    const Real64 angle = input->Flip() ? input->Take<int8_t>() / 400.0 : input->Take<int8_t>() / 80.0;
    const uint8 gray = input->Take<uint8>();
    const Real64 c = std::cos(angle);
    const Real64 s = std::sin(angle);
    for (sint32 row = 0; row < rec->biHeight; ++row)
        for (sint32 col = 0; col < rec->biWidth; ++col) {
            const Real64 u = (col - x) * c + (row - y) * s;
            const Real64 v = (row - y) * c - (col - x) * s;
            if (std::fabs(u) <= half_width && std::fabs(v) <= half_height) SetDot(rec, row, col, gray);
        }
}

void DrawNoise(BitmapRec* rec, FuzzInput* input)
{
    uint32 seed = input->Take<uint32>();
    const sint32 specks = input->Between(0, 255) * 8;
    for (sint32 k = 0; k < specks; ++k) {
        seed = seed * 1664525u + 1013904223u;
        const sint32 row = static_cast<sint32>((seed >> 8) % static_cast<uint32>(rec->biHeight));
        seed = seed * 1664525u + 1013904223u;
        const sint32 col = static_cast<sint32>((seed >> 8) % static_cast<uint32>(rec->biWidth));
        SetDot(rec, row, col, static_cast<uint8>(seed >> 3));
    }
}

/* The same image as a raw buffer, which is written only on success and never beyond its end. */
void RunRawBuffer(const BitmapRec& rec, sint32 interpolation, sint32 threshold)
{
    const size_t row_size = static_cast<size_t>((rec.biBitCount * rec.biWidth + 7) / 8);
    std::vector<uint8> pixels;
    for (sint32 row = 0; row < rec.biHeight; ++row)
        pixels.insert(pixels.end(), rec.ScanLine[row], rec.ScanLine[row] + row_size);
    const std::vector<uint8> before = pixels;
    sint32 width = rec.biWidth;
    sint32 height = rec.biHeight;
    const sint32 done = QuarloPic(pixels.data(), &width, &height, rec.biBitCount, interpolation, threshold);
    if (done == 0)
        FUZZ_REQUIRE(pixels == before && width == rec.biWidth && height == rec.biHeight);
    else
        FUZZ_REQUIRE(static_cast<size_t>(height) * static_cast<size_t>((rec.biBitCount * width + 7) / 8) <=
                     before.size());
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    const sint32 width = input.Between(1, 700);
    const sint32 height = input.Between(1, 700);
    const sint32 depth = input.Depth();
    FuzzBitmap image(width, height, depth, input.Between(0, 9));
    const uint8 ground_gray = input.Take<uint8>();
    const sint32 ground = input.Flip() ? 1 : 255;
    const sint32 interpolation = input.Between(1, 3);
    const sint32 threshold = input.Flip() ? 0 : input.Between(0, 255);
    const sint32 holes = input.Between(0, 3);

    for (sint32 row = 0; row < height; ++row)
        for (sint32 col = 0; col < width; ++col) SetDot(&image.rec, row, col, ground_gray);
    DrawSheet(&image.rec, &input, true);
    for (sint32 k = 0; k < holes; ++k) DrawSheet(&image.rec, &input, false);
    DrawNoise(&image.rec, &input);
    const std::vector<uint8> before(image.rec.buffer, image.rec.buffer + image.rec.bfSize);

    BitmapRec page = null_bitmap;
    const sint32 code = MakeAtEveryLevel(
        [&](BitmapRec* made) { return ImageQuarlo(&image.rec, interpolation, threshold, ground, made); }, &page);
    FUZZ_REQUIRE(code >= 0 && code <= 11);
    FUZZ_REQUIRE((code == 0) == (page.buffer != nullptr));
    FUZZ_REQUIRE(std::memcmp(before.data(), image.rec.buffer, before.size()) == 0);
    Bitmap_Done(&page);
    RunRawBuffer(image.rec, interpolation, threshold);
    return 0;
}
