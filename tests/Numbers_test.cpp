/*
 * Numbers_test.cpp - conversions, sums and arrays at the ends of their ranges.
 */
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Numbers.h"

namespace
{

TEST(RealToInteger, TruncatesTowardZeroUpToTheLastIntegers)
{
    EXPECT_EQ(0, RealToInteger(0.999));
    EXPECT_EQ(0, RealToInteger(-0.999));
    EXPECT_EQ(-10, RealToInteger(-10.6));
    EXPECT_EQ(INT32_MAX, RealToInteger(2147483647.0));
    EXPECT_EQ(INT32_MAX, RealToInteger(2147483647.999));
    EXPECT_EQ(-2147483647, RealToInteger(-2147483647.5));
    EXPECT_EQ(INT32_MIN, RealToInteger(-2147483648.0));
    EXPECT_EQ(INT32_MIN, RealToInteger(-2147483648.999));
}

TEST(RealToInteger, WhatNoIntegerHoldsBecomesTheSmallestOne)
{
    for (const Real64 value : {2147483648.0, -2147483649.0, 1e300, -1e300, HUGE_VAL, -HUGE_VAL, std::nan("")})
        EXPECT_EQ(INT32_MIN, RealToInteger(value)) << value;
}

TEST(RoundReal, AddsAHalfAndTruncates)
{
    EXPECT_EQ(3, RoundReal(2.5));
    EXPECT_EQ(2, RoundReal(2.4999));
    EXPECT_EQ(-2, RoundReal(-2.7));
    EXPECT_EQ(INT32_MAX, RoundReal(2147483647.4));
    EXPECT_EQ(INT32_MIN, RoundReal(2147483647.5));
}

TEST(Wrap, SumsAndDifferencesAreThoseModulo2To32)
{
    EXPECT_EQ(INT32_MIN, WrapAdd(INT32_MAX, 1));
    EXPECT_EQ(INT32_MAX, WrapAdd(INT32_MIN, -1));
    EXPECT_EQ(INT32_MIN, WrapSubtract(0, INT32_MIN));
    EXPECT_EQ(INT32_MAX, WrapSubtract(INT32_MIN, 1));
}

TEST(NewArray, MoreThanMemoryCanHoldIsNull)
{
    EXPECT_EQ(nullptr, NewArray<Real64>(std::numeric_limits<int64_t>::max()));
    Real64* numbers = NewArray<Real64>(3);
    ASSERT_NE(nullptr, numbers);
    numbers[2] = 1.0;
    std::free(numbers);
}

TEST(MakeRoom, GrowsByStepsWhenThereIsNone)
{
    sint32* array = nullptr;
    sint32 len = 0;
    ASSERT_TRUE(MakeRoom(&array, 0, &len, 10));
    EXPECT_EQ(10, len);
    array[9] = 5;
    sint32* const before = array;
    ASSERT_TRUE(MakeRoom(&array, 9, &len, 10));
    EXPECT_EQ(before, array);
    ASSERT_TRUE(MakeRoom(&array, 10, &len, 10));
    EXPECT_EQ(20, len);
    EXPECT_EQ(5, array[9]);
    std::free(array);
}

TEST(MakeRoom, CountsThatNoArrayCanHaveAreRefused)
{
    struct Case {
        sint32 index, len;
    };
    for (const Case& refused : {Case{-1, 0}, Case{INT32_MIN, 10}, Case{10, -10}, Case{0, -10}, Case{10, 0},
                                Case{INT32_MAX, INT32_MAX}, Case{INT32_MAX - 5, INT32_MAX - 5}}) {
        sint32* array = NewArray<sint32>(1);
        sint32* const before = array;
        sint32 len = refused.len;
        EXPECT_FALSE(MakeRoom(&array, refused.index, &len, 10)) << refused.index << ' ' << refused.len;
        EXPECT_EQ(before, array);
        EXPECT_EQ(refused.len, len);
        std::free(array);
    }
}

} // namespace
