/*
 * pages_memory_test.cpp - allocations of the search and of the upright page fail: out of memory is told, as a
 * code where libquarlo or a bitmap ran out, as std::bad_alloc elsewhere, and nothing leaks.
 */
#include <new>

#include <gtest/gtest.h>

#include "pages/PageMaker.h"
#include "support/CountedMemory.h"

namespace
{

using namespace quarlo;

/* How often a call failed with a code, and how often with an exception. */
struct Failures {
    int codes = 0;
    int exceptions = 0;
};

/* Runs the call with one allocation after the other failing, of many thousands the later ones ever more thinly. */
template <typename Call>
Failures FailEach(Call call)
{
    Failures failures;
    for (int n = 1;; n += 1 + n / 8) {
        memory::Arm(n);
        Code code = Code::ok;
        bool thrown = false;
        try {
            code = call();
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        const memory::Counts counts = memory::Disarm();
        EXPECT_EQ(0, counts.live) << "allocation " << n;
        if (!counts.failed) return failures;
        EXPECT_TRUE(thrown || code == Code::out_of_memory)
            << "allocation " << n << ": code " << static_cast<int>(code);
        ++(thrown ? failures.exceptions : failures.codes);
        if (testing::Test::HasFailure()) return failures;
    }
}

Bitmap Scan(int depth) { return test::ScannedOn(30, 230, 210, depth, {{{114, 104}, 190, 160, 2.0, 210}}); }

TEST(OutOfMemory, FindFrameTellsItAndLeaksNothing)
{
    const Bitmap scan = Scan(8);
    SearchOptions options;
    options.trace = true;
    const Failures failures = FailEach([&] { return FindFrame(scan, options).problem.code; });
    EXPECT_LT(4, failures.codes);
    EXPECT_LT(20, failures.exceptions);
}

TEST(OutOfMemory, FindFrameTellsItOfCopiesToo)
{
    /* A page that only a copy without the ground shows. */
    const Bitmap scan = test::ScannedOn(25, 140, 200, 8, {{{70, 100}, 100, 150, 2.0, 210}});
    ASSERT_NE("", FindFrame(scan, {}).prepared);
    const Failures failures = FailEach([&] { return FindFrame(scan, {}).problem.code; });
    EXPECT_LT(0, failures.codes);
    EXPECT_LT(20, failures.exceptions);
}

TEST(OutOfMemory, StraightenTellsItAndLeaksNothing)
{
    for (const int depth : {1, 8, 24}) {
        Page scan;
        scan.bitmap = Scan(depth);
        const Frame frame = FrameOf(test::PagePlacement(scan.bitmap, 114, 104, 190, 160, 2.0));
        ResultOptions options;
        options.margins[0] = {5.0, Length::Unit::pixels};
        options.turn = 90;
        options.depth = depth == 8 ? 24 : 8;
        options.smooth = true;
        const auto call = [&] {
            Result result;
            return Straighten(scan, frame, options, &result).code;
        };
        const Failures failures = FailEach(call);
        EXPECT_LT(2, failures.codes);
        EXPECT_LT(0, failures.exceptions);
    }
}

} // namespace
