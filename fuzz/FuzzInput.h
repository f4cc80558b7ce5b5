/*
 * FuzzInput.h - turns the bytes of a fuzzer into the arguments of a call.
 *
 * Every target defines LLVMFuzzerTestOneInput. Built with libFuzzer it is a fuzzer; built with Replay.cpp it is a
 * program that runs the files given to it, which is how the corpus and past crashers are tested everywhere.
 */
#ifndef QUARLO_FUZZ_FUZZINPUT_H
#define QUARLO_FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "BitmapProcessing.h"
#include "StructTypes.h"
#include "support/ChosenLevel.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/* Stops the run with a message when the library breaks a promise. */
#define FUZZ_REQUIRE(condition)                                                                                    \
    do {                                                                                                           \
        if (!(condition)) {                                                                                        \
            std::fprintf(stderr, "%s:%d: broken promise: %s\n", __FILE__, __LINE__, #condition);                   \
            std::abort();                                                                                          \
        }                                                                                                          \
    } while (false)

/* Hands out the input from the front; zeros once it is used up. */
class FuzzInput
{
public:
    FuzzInput(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    template <class Value>
    Value Take()
    {
        Value value{};
        const size_t left = static_cast<size_t>(end - at);
        const size_t taken = left < sizeof value ? left : sizeof value;
        if (taken > 0) std::memcpy(&value, at, taken);
        at += taken;
        return value;
    }

    /* A whole number from low to high. */
    sint32 Between(sint32 low, sint32 high)
    {
        const uint32 range = static_cast<uint32>(high) - static_cast<uint32>(low) + 1;
        const uint32 raw = range <= 256 ? Take<uint8>() : range <= 65536 ? Take<uint16>() : Take<uint32>();
        return static_cast<sint32>(static_cast<uint32>(low) + (range == 0 ? raw : raw % range));
    }

    bool Flip() { return (Take<uint8>() & 1) != 0; }

    /* Mostly a number in the range, now and then any at all. */
    sint32 Hostile(sint32 low, sint32 high) { return Take<uint8>() == 255 ? Take<sint32>() : Between(low, high); }

    sint32 Depth()
    {
        const sint32 depths[3] = {1, 8, 24};
        return depths[Between(0, 2)];
    }

    bool IsEmpty() const { return at == end; }

private:
    const uint8_t* at;
    const uint8_t* end;
};

/* Makes a bitmap at every level of instructions, and demands that all answer the same code and the same bytes. */
template <class Make>
sint32 MakeAtEveryLevel(const Make& make, BitmapRec* result)
{
    ChooseLevel(Level::Plain);
    const sint32 code = make(result);
    for (Level level : Levels()) {
        if (level == Level::Plain) continue;
        ChooseLevel(level);
        BitmapRec other = null_bitmap;
        FUZZ_REQUIRE(make(&other) == code);
        FUZZ_REQUIRE((other.buffer == nullptr) == (result->buffer == nullptr) && other.bfSize == result->bfSize);
        if (result->buffer != nullptr)
            FUZZ_REQUIRE(std::memcmp(other.buffer, result->buffer, static_cast<size_t>(other.bfSize)) == 0);
        Bitmap_Done(&other);
    }
    return code;
}

/* A record around memory of exactly the size that it states, so that every access beyond is seen. */
struct FuzzBitmap {
    FuzzBitmap(sint32 width, sint32 height, sint32 bits, sint32 extra_stride)
    {
        rec.biWidth = width;
        rec.biHeight = height;
        rec.biBitCount = bits;
        rec.BytesPerLine = (bits * width + 7) / 8 + extra_stride;
        rec.bfSize = rec.BytesPerLine * height;
        pixels.reset(new uint8[static_cast<size_t>(rec.bfSize)]);
        std::memset(pixels.get(), 0, static_cast<size_t>(rec.bfSize));
        rows.reset(new uint8*[static_cast<size_t>(height)]);
        for (sint32 row = 0; row < height; ++row)
            rows[static_cast<size_t>(row)] = pixels.get() + static_cast<ptrdiff_t>(row) * rec.BytesPerLine;
        rec.buffer = pixels.get();
        rec.ScanLine = rows.get();
    }

    /* Fills the pixels with bytes that follow from a seed. */
    void FillRandomly(uint32 seed)
    {
        for (sint32 k = 0; k < rec.bfSize; ++k) {
            seed = seed * 1664525u + 1013904223u;
            rec.buffer[k] = static_cast<uint8>(seed >> 24);
        }
    }

    BitmapRec rec = null_bitmap;
    std::unique_ptr<uint8[]> pixels;
    std::unique_ptr<uint8*[]> rows;
};

#endif
