/*
 * threads_test.cpp - pages deskewed in several threads at the same time come out as they do alone.
 */
#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "QL_Interface.h"
#include "support/TestBitmap.h"

namespace
{

constexpr sint32 kThreads = 4;
constexpr sint32 kPages = 200;

/* A page of its own size, place, skew and depth for each number; every eighth image holds none. */
void DrawPage(sint32 number, test::Bitmap* scan)
{
    const sint32 depths[3] = {1, 8, 24};
    const sint32 width = 300 + number % 17;
    const sint32 height = 290 + number % 23;
    test::Bitmap made(width, height, depths[number % 3]);
    std::swap(scan->rec, made.rec);
    if (number % 8 == 7) return;
    const double angle = (number % 41 - 20) / 500.0;
    const double half_width = 125 + number % 7;
    const double half_height = 110 + number % 5;
    for (sint32 row = 0; row < height; ++row) {
        for (sint32 col = 0; col < width; ++col) {
            const double x = col - width / 2;
            const double y = row - height / 2;
            const double u = x * std::cos(angle) + y * std::sin(angle);
            const double v = y * std::cos(angle) - x * std::sin(angle);
            if (std::fabs(u) <= half_width && std::fabs(v) <= half_height)
                scan->SetGray(row, col, static_cast<uint8>(150 + (row * 7 + col * 3 + number) % 100));
        }
    }
}

/* What became of one page: the answer, the size and all bytes. */
struct Outcome {
    sint32 answer = 0;
    sint32 width = 0;
    sint32 height = 0;
    test::Bytes pixels;
};

bool operator==(const Outcome& a, const Outcome& b)
{
    return a.answer == b.answer && a.width == b.width && a.height == b.height && a.pixels == b.pixels;
}

/* Three ways in, by number. */
Outcome Deskew(sint32 number)
{
    test::Bitmap scan;
    DrawPage(number, &scan);
    const sint32 interpolation = 1 + number / 3 % 3;
    Outcome outcome;
    if (number % 2 == 0) {
        test::Bitmap page;
        uint8 color[3] = {255, 0, 0};
        outcome.answer = number % 4 == 0 ? ImageQuarlo(&scan.rec, interpolation, 100, 1, &page.rec)
                                         : Quarlo(&scan.rec, &page.rec, interpolation, 100, 1, color);
        outcome.width = page.rec.biWidth;
        outcome.height = page.rec.biHeight;
        if (page.rec.buffer != nullptr) outcome.pixels = test::PackedPixels(page.rec);
        return outcome;
    }
    outcome.width = scan.rec.biWidth;
    outcome.height = scan.rec.biHeight;
    outcome.pixels = test::PackedPixels(scan.rec);
    outcome.answer =
        QuarloPic(outcome.pixels.data(), &outcome.width, &outcome.height, scan.rec.biBitCount, interpolation, 100);
    return outcome;
}

TEST(Threads, PagesComeOutAsTheyDoAlone)
{
    std::vector<Outcome> alone;
    sint32 found = 0;
    for (sint32 number = 0; number < kPages; ++number) {
        alone.push_back(Deskew(number));
        if (number % 8 != 7 && alone.back().answer == (number % 2 == 0 ? 0 : 1)) ++found;
    }
    ASSERT_EQ(162, found); /* most pages go the whole way; others fail, as they do alone */

    std::vector<std::vector<sint32>> wrong(kThreads);
    std::vector<std::thread> threads;
    for (sint32 k = 0; k < kThreads; ++k) {
        threads.emplace_back([&alone, &wrong, k] {
            for (sint32 step = 0; step < kPages; ++step) {
                const sint32 number = (step + k * kPages / kThreads) % kPages;
                if (!(Deskew(number) == alone[static_cast<size_t>(number)]))
                    wrong[static_cast<size_t>(k)].push_back(number);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::vector<sint32>& numbers : wrong) EXPECT_EQ(std::vector<sint32>(), numbers);
}

} // namespace
