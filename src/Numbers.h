/*
 * Numbers.h - conversions and sums that are defined for every input, and arrays whose size cannot wrap.
 *
 *   RealToInteger, RoundReal   real to integer
 *   WrapAdd, WrapSubtract      32-bit sums modulo 2^32
 *   SumOfSquares               of coordinate differences
 *   NewArray, MakeRoom         memory
 */
#ifndef QUARLO_SRC_NUMBERS_H
#define QUARLO_SRC_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "StructTypes.h"

/* Truncates toward zero. What no sint32 can hold, NaN among it, becomes the smallest one, as on the processor. */
static inline sint32 RealToInteger(Real64 value)
{
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<sint32>(value);
    return INT32_MIN;
}

/* Adds a half and truncates toward zero: half up for positive values, and -2.7 becomes -2. */
static inline sint32 RoundReal(Real64 value) { return RealToInteger(value + 0.5); }

static inline sint32 WrapAdd(sint32 a, sint32 b)
{
    return static_cast<sint32>(static_cast<uint32>(a) + static_cast<uint32>(b));
}

static inline sint32 WrapSubtract(sint32 a, sint32 b)
{
    return static_cast<sint32>(static_cast<uint32>(a) - static_cast<uint32>(b));
}

/* dx^2 + dy^2 as a real: the exact integer sum rounded once, for all differences between points of an image. */
static inline Real64 SumOfSquares(int64_t dx, int64_t dy)
{
    const int64_t limit = INT32_MAX;
    if (dx >= -limit && dx <= limit && dy >= -limit && dy <= limit) return static_cast<Real64>(dx * dx + dy * dy);
    return static_cast<Real64>(dx) * static_cast<Real64>(dx) + static_cast<Real64>(dy) * static_cast<Real64>(dy);
}

/* count uninitialised elements, at least one, or null when that is more than memory can hold. */
template <class Element>
static inline Element* NewArray(int64_t count)
{
    if (count > static_cast<int64_t>(PTRDIFF_MAX / sizeof(Element))) return nullptr;
    return static_cast<Element*>(std::malloc(static_cast<size_t>(count) * sizeof(Element)));
}

/*
 * Makes room for element `index` of an array of *len by growing it, if need be, by step elements. False, and nothing
 * changed, when memory runs out or when that is no room for it, as with counts that no array can have.
 */
template <class Element>
static inline bool MakeRoom(Element** array, sint32 index, sint32* len, sint32 step)
{
    if (index < 0) return false;
    if (index < *len) return true;
    const int64_t grown = int64_t{*len} + step;
    if (grown <= index || grown > INT32_MAX || grown > static_cast<int64_t>(PTRDIFF_MAX / sizeof(Element)))
        return false;
    void* memory = std::realloc(*array, static_cast<size_t>(grown) * sizeof(Element));
    if (memory == nullptr) return false;
    *array = static_cast<Element*>(memory);
    *len = static_cast<sint32>(grown);
    return true;
}

#endif
