/*
 * RandomBitmap.h - random numbers that are the same everywhere, and random bitmaps of any stride.
 */
#ifndef QUARLO_TESTS_SUPPORT_RANDOMBITMAP_H
#define QUARLO_TESTS_SUPPORT_RANDOMBITMAP_H

#include <random>
#include <vector>

#include "StructTypes.h"

namespace test
{

/* The standard's distributions differ between libraries; its engine does not. */
class Random
{
public:
    explicit Random(uint32 seed) : engine(seed) {}

    uint32 Bits() { return static_cast<uint32>(engine()); }
    uint8 Byte() { return static_cast<uint8>(Bits() >> 24); }
    /* From low to high, both included. */
    sint32 Between(sint32 low, sint32 high)
    {
        return low + static_cast<sint32>(Bits() % static_cast<uint32>(high - low + 1));
    }
    bool OneIn(sint32 n) { return Between(1, n) == 1; }
    /* From 0 to below 1. */
    Real64 Fraction() { return Bits() / 4294967296.0; }
    template <typename T>
    T OneOf(const std::vector<T>& choices)
    {
        return choices[static_cast<size_t>(Between(0, static_cast<sint32>(choices.size()) - 1))];
    }

private:
    std::mt19937 engine;
};

inline sint32 PackedStride(sint32 width, sint32 bits) { return (bits * width + 7) / 8; }
inline sint32 AlignedStride(sint32 width, sint32 bits) { return (bits * width + 31) / 32 * 4; }

/* A record over memory of exactly the rows' size, without the spare bytes of the library's own blocks. */
class RawBitmap
{
public:
    RawBitmap(sint32 width, sint32 height, sint32 bits, sint32 stride)
        : bytes(static_cast<size_t>(stride) * static_cast<size_t>(height))
    {
        for (sint32 row = 0; row < height; ++row) rows.push_back(bytes.data() + row * stride);
        rec = {width, height, bits, height * stride, stride, rows.data(), bytes.data()};
    }
    RawBitmap(const RawBitmap&) = delete;
    RawBitmap& operator=(const RawBitmap&) = delete;

    std::vector<uint8> bytes;
    std::vector<uint8*> rows;
    BitmapRec rec;
};

} // namespace test

#endif
