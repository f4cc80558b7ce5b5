/*
 * fuzz_rotate.cpp - rotation with any angle, pivot, size and mask: spans that cross, leave the image, or hold any number.
 */
#include "BitmapProcessing.h"
#include "FuzzInput.h"
#include "QuarloBitmap.h"

namespace
{

Real64 TakeAngle(FuzzInput* input)
{
    switch (input->Between(0, 3)) {
    case 0:
        return input->Take<Real64>(); /* also NaN and infinities */
    case 1:
        return input->Take<sint8>() * 3.1415926 / 4;
    default:
        return input->Take<int16_t>() / 10000.0;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    const sint32 width = input.Between(1, 70);
    const sint32 height = input.Between(1, 70);
    const sint32 depth = input.Depth();
    FuzzBitmap source(width, height, depth, input.Between(0, 9));
    source.FillRandomly(input.Take<uint32>());
    const std::vector<uint8> before(source.rec.buffer, source.rec.buffer + source.rec.bfSize);

    const Real64 angle = TakeAngle(&input);
    const PointRec center = {input.Hostile(0, width - 1), input.Hostile(0, height - 1)};
    const sint32 out_width = input.Hostile(1, 90);
    const sint32 out_height = input.Hostile(1, 90);
    if (int64_t{out_width} * out_height > 300 * 300) return 0; /* large, but nothing new */
    const sint32 interpolation = input.Hostile(1, 3);
    uint8 color[3] = {input.Take<uint8>(), input.Take<uint8>(), input.Take<uint8>()};

    /* The array has entries for the rows of the mask that the checks can let through, and no more. */
    std::vector<LineSeckRec> spans(static_cast<size_t>(height));
    RowSeckRec mask = {0, height, input.Hostile(0, height - 1), input.Hostile(0, height - 1), spans.data()};
    if (input.Flip()) {
        mask.top = 0;
        mask.bottom = height - 1;
    }
    for (LineSeckRec& span : spans) span = {0, width - 1};
    for (LineSeckRec& span : spans) {
        if (input.IsEmpty()) break;
        span = {input.Hostile(-2, 20), input.Hostile(width - 20, width + 20)};
    }

    BitmapRec dest = null_bitmap;
    const sint32 code = MakeAtEveryLevel(
        [&](BitmapRec* made) {
            return RotateBitmap(&source.rec, made, &mask, angle, center, out_width, out_height, interpolation,
                                color);
        },
        &dest);
    FUZZ_REQUIRE(code == 0 || dest.buffer == nullptr);
    FUZZ_REQUIRE(std::memcmp(before.data(), source.rec.buffer, before.size()) == 0);
    if (dest.buffer != nullptr)
        FUZZ_REQUIRE(dest.biWidth == out_width && dest.biHeight == out_height && dest.biBitCount == depth);
    Bitmap_Done(&dest);
    return 0;
}
