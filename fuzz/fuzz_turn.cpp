/*
 * fuzz_turn.cpp - right-angle turns of raw buffers and records, conversions between depths, copies.
 */
#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "FuzzInput.h"

namespace
{

size_t PackedSize(sint32 width, sint32 height, sint32 bits)
{
    return static_cast<size_t>(height) * static_cast<size_t>((bits * width + 7) / 8);
}

/* Turns a buffer that has exactly the room that the header asks for. */
void TurnBuffer(FuzzInput* input)
{
    sint32 width = input->Hostile(1, 90);
    sint32 height = input->Hostile(1, 90);
    const sint32 bits = input->Hostile(0, 3) == 3 ? input->Take<sint32>() : input->Depth();
    const sint32 angles[5] = {0, 90, 180, 270, input->Take<sint8>()};
    const sint32 angle = angles[input->Between(0, 4)];
    const bool small = width >= 1 && width <= 1000 && height >= 1 && height <= 1000 && bits >= 0 && bits <= 24;
    const sint32 old_width = width;
    const sint32 old_height = height;
    if (!small) {
        /* Only what is refused before the pixels are read may come with a buffer of one byte. */
        if (width >= 1 && height >= 1 && (bits == 1 || bits == 8 || bits == 24)) return;
        uint8 pixel = 7;
        FUZZ_REQUIRE(RotatePicSP(&pixel, &width, &height, bits, angle) == 1);
        FUZZ_REQUIRE(width == old_width && height == old_height && pixel == 7);
        return;
    }
    const size_t before = PackedSize(width, height, bits);
    const size_t after = PackedSize(height, width, bits);
    std::vector<uint8> pixels(before > after ? before : after);
    for (uint8& pixel : pixels) pixel = input->Take<uint8>();
    const std::vector<uint8> original = pixels;
    const sint32 code = RotatePicSP(pixels.data(), &width, &height, bits, angle);
    FUZZ_REQUIRE(code == 0 || (pixels == original && width == old_width && height == old_height));
    FUZZ_REQUIRE(code != 0 || width * height == old_width * old_height);
}

sint32 Turn(BitmapRec* image, BitmapRec* turned, double angle)
{
    return MakeAtEveryLevel([&](BitmapRec* made) { return imageRotate(image, made, angle); }, turned);
}

/* Two turns by 90 are one by 180. */
void TurnRecord(BitmapRec* image)
{
    BitmapRec once = null_bitmap;
    BitmapRec twice = null_bitmap;
    BitmapRec half = null_bitmap;
    FUZZ_REQUIRE(Turn(image, &once, 90.0) == 0);
    FUZZ_REQUIRE(Turn(&once, &twice, 90.0) == 0);
    FUZZ_REQUIRE(Turn(image, &half, 180.0) == 0);
    FUZZ_REQUIRE(twice.bfSize == half.bfSize);
    FUZZ_REQUIRE(std::memcmp(twice.buffer, half.buffer, static_cast<size_t>(half.bfSize)) == 0);
    Bitmap_Done(&once);
    Bitmap_Done(&twice);
    Bitmap_Done(&half);
}

void ConvertRecord(BitmapRec* image, uint8 DividingValue)
{
    BitmapRec result = null_bitmap;
    BitmapRec again = null_bitmap;
    FUZZ_REQUIRE(Bitmap_Copy(image, &result) == 0);
    Bitmap_Done(&result);
    const auto to_bw = [&](BitmapRec* made) { return GetBWBitmap(image, made, DividingValue); };
    const auto to_color = [&](BitmapRec* made) { return GetColorBitmap(image, made); };
    const auto to_gray = [&](BitmapRec* made) { return GetGrayBitmap(&result, made); };
    FUZZ_REQUIRE(MakeAtEveryLevel(to_bw, &result) == 0 && result.biBitCount == 1);
    Bitmap_Done(&result);
    FUZZ_REQUIRE(MakeAtEveryLevel(to_color, &result) == 0 && result.biBitCount == 24);
    FUZZ_REQUIRE(MakeAtEveryLevel(to_gray, &again) == 0 && again.biBitCount == 8);
    Bitmap_Done(&result);
    Bitmap_Done(&again);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    if (input.Flip()) {
        TurnBuffer(&input);
        return 0;
    }
    const sint32 width = input.Between(1, 90);
    const sint32 height = input.Between(1, 90);
    const sint32 depth = input.Depth();
    FuzzBitmap image(width, height, depth, input.Between(0, 9));
    image.FillRandomly(input.Take<uint32>());
    TurnRecord(&image.rec);
    ConvertRecord(&image.rec, input.Take<uint8>());
    return 0;
}
