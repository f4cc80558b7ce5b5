/*
 * Scans_random_test.cpp - background estimate, row range and border marking against their literal second writing.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "SearchBitmapFrame.h"
#include "support/LiteralScans.h"
#include "support/RandomBitmap.h"
#include "support/SideOutput.h"

namespace
{

using test::Random;
using test::RawBitmap;
using test::SideOutput;

const sint32 CasesEach = 200;
const sint32 Missing = -1;

uint8 Clamp(sint32 grey) { return static_cast<uint8>(std::min(std::max(grey, 0), 255)); }

/* ---- Scenes: greys, row after row, before they become pixels of some depth ---- */

struct Scene {
    Scene(sint32 w, sint32 h, uint8 ground_grey, uint8 page_grey)
        : width(w), height(h), ground(ground_grey), page(page_grey),
          greys(static_cast<size_t>(w) * static_cast<size_t>(h), ground_grey)
    {
    }
    void Set(sint32 row, sint32 col, uint8 grey) { greys[static_cast<size_t>(row * width + col)] = grey; }

    sint32 width, height;
    uint8 ground, page;
    std::vector<uint8> greys;
};

/* A tilted rectangle; the slope is in hundredths, all in integers. */
void DrawPage(Random& random, Scene& scene)
{
    const sint32 slope = random.OneIn(3) ? 0 : random.Between(-60, 60);
    const sint32 center_col = scene.width / 2 + random.Between(-10, 10);
    const sint32 center_row = scene.height / 2 + random.Between(-5, 5);
    const sint32 half_width = random.Between(scene.width / 4, scene.width / 2);
    const sint32 half_height = random.Between(scene.height / 4, scene.height / 2);
    for (sint32 row = 0; row < scene.height; ++row) {
        for (sint32 col = 0; col < scene.width; ++col) {
            const sint32 dx = col - center_col;
            const sint32 dy = row - center_row;
            if (std::abs(100 * dx + slope * dy) <= 100 * half_width &&
                std::abs(100 * dy - slope * dx) <= 100 * half_height)
                scene.Set(row, col, scene.page);
        }
    }
}

/*
 * The hits of one side: runs of one to seven, sometimes long ones, broken by jumps around the limit of 6 and by
 * gaps that make the next hit 5 to 8 lines away.
 */
std::vector<sint32> Outline(Random& random, sint32 lines, sint32 low, sint32 high)
{
    std::vector<sint32> hits;
    const bool straight = random.OneIn(3);
    sint32 at = random.Between(low, high);
    while (static_cast<sint32>(hits.size()) < lines) {
        const sint32 run = random.OneIn(4) ? random.Between(8, 40) : random.Between(1, 7);
        for (sint32 k = 0; k < run; ++k) {
            hits.push_back(at);
            if (!straight) at = std::min(std::max(at + random.Between(-1, 1), low), high);
        }
        at += random.OneOf<sint32>({0, 5, 6, 6, 7, 7, 20, -5, -6, -6, -7, -7, -20});
        at = std::min(std::max(at, low), high);
        hits.insert(hits.end(), static_cast<size_t>(random.OneOf<sint32>({0, 0, 0, 4, 5, 6, 7})), Missing);
    }
    hits.resize(static_cast<size_t>(lines));
    return hits;
}

void DrawRows(Random& random, Scene& scene)
{
    const std::vector<sint32> left = Outline(random, scene.height, 0, scene.width / 3);
    const std::vector<sint32> right = Outline(random, scene.height, scene.width / 2, scene.width - 1);
    for (sint32 row = 0; row < scene.height; ++row) {
        const sint32 first = left[static_cast<size_t>(row)];
        const sint32 last = right[static_cast<size_t>(row)];
        if (first == Missing || last == Missing) continue;
        for (sint32 col = first; col <= last; ++col) scene.Set(row, col, scene.page);
    }
}

void DrawColumns(Random& random, Scene& scene)
{
    const std::vector<sint32> top = Outline(random, scene.width, 0, scene.height / 3);
    const std::vector<sint32> bottom = Outline(random, scene.width, scene.height / 2, scene.height - 1);
    for (sint32 col = 0; col < scene.width; ++col) {
        const sint32 first = top[static_cast<size_t>(col)];
        const sint32 last = bottom[static_cast<size_t>(col)];
        if (first == Missing || last == Missing) continue;
        for (sint32 row = first; row <= last; ++row) scene.Set(row, col, scene.page);
    }
}

void DrawSpecks(Random& random, Scene& scene)
{
    const sint32 one_in = random.OneOf<sint32>({3, 30, 300, 3000});
    for (uint8& grey : scene.greys)
        if (random.OneIn(one_in)) grey = scene.page;
}

/* Rows with about the number of page pixels that decides. */
void DrawCountedRows(Random& random, Scene& scene)
{
    for (sint32 row = 0; row < scene.height; ++row) {
        if (!random.OneIn(4)) continue;
        const sint32 count = std::min(random.OneOf<sint32>({1, 149, 150, 151, 152, 400}), scene.width);
        const sint32 first = random.Between(0, scene.width - count);
        for (sint32 col = first; col < first + count; ++col) scene.Set(row, col, scene.page);
    }
}

/* Dark ground: a brighter page. Light ground: a page darker or brighter than it. */
Scene MakeScene(Random& random, sint32 width, sint32 height, bool dark)
{
    const sint32 ground = dark ? random.Between(0, 120) : random.Between(60, 235);
    const bool brighter = dark || random.OneIn(4);
    const sint32 page = brighter ? random.Between(ground + 20, 255) : random.Between(0, ground - 20);
    Scene scene(width, height, static_cast<uint8>(ground), static_cast<uint8>(page));
    const sint32 kind = random.Between(0, 6);
    if (kind <= 1) DrawPage(random, scene);
    if (kind == 2 || kind == 3) DrawRows(random, scene);
    if (kind == 4) DrawColumns(random, scene);
    if (kind == 5) DrawSpecks(random, scene);
    if (kind == 6) DrawCountedRows(random, scene);
    const sint32 noise = random.OneOf<sint32>({0, 0, 3, 8, 15});
    for (uint8& grey : scene.greys) grey = Clamp(grey + random.Between(-noise, noise));
    return scene;
}

/* Padding and the red bytes, which no scan may read, are noise. */
std::unique_ptr<RawBitmap> Render(Random& random, const Scene& scene, sint32 bits)
{
    const sint32 packed = test::PackedStride(scene.width, bits);
    const sint32 stride =
        random.OneOf<sint32>({packed, test::AlignedStride(scene.width, bits), packed + random.Between(1, 9)});
    auto bitmap = std::make_unique<RawBitmap>(scene.width, scene.height, bits, stride);
    for (uint8& byte : bitmap->bytes) byte = random.Byte();
    const sint32 middle = (scene.ground + scene.page) / 2;
    const sint32 tint = random.OneIn(2) ? 0 : random.Between(1, 60); /* how far blue may differ from green */
    for (sint32 row = 0; row < scene.height; ++row) {
        uint8* line = bitmap->rec.ScanLine[row];
        for (sint32 col = 0; col < scene.width; ++col) {
            const uint8 grey = scene.greys[static_cast<size_t>(row * scene.width + col)];
            if (bits == 8) line[col] = grey;
            if (bits == 24) line[3 * col] = Clamp(grey + random.Between(-tint, tint));
            if (bits == 24) line[3 * col + 1] = grey;
            if (bits == 1) {
                const uint8 mask = static_cast<uint8>(128 >> (col % 8));
                line[col / 8] = static_cast<uint8>(grey > middle ? line[col / 8] | mask : line[col / 8] & ~mask);
            }
        }
    }
    return bitmap;
}

/* ---- Cases ---- */

struct Combination {
    sint32 bits;
    sint32 GroundColor;
};

std::string Name(const Combination& c)
{
    return "b" + std::to_string(c.bits) + (c.GroundColor == 1 ? "_darkGround" : "_lightGround");
}

void PrintTo(const Combination& c, std::ostream* out) { *out << Name(c); }

/* One image with its thresholds. */
struct Case {
    Case(uint32 random_seed, const Combination& c) : seed(random_seed), random(random_seed)
    {
        const bool dark = c.GroundColor == 1;
        const sint32 width = random.Between(151, 400);
        const sint32 height = random.Between(1, 110);
        const Scene scene = MakeScene(random, width, height, dark);
        bitmap = Render(random, scene, c.bits);
        sint32 threshold = scene.ground;
        if (random.OneIn(2)) threshold = (scene.ground + scene.page) / 2;
        if (random.OneIn(6)) threshold = random.Byte();
        if (c.bits == 1 && dark) threshold = random.OneOf<sint32>({0, 100, 254, 255});
        Dividing_min = dark ? Clamp(threshold) : Clamp(threshold - 9);
        Dividing_max = dark ? random.Byte() : Clamp(threshold + 9);
        if (random.OneIn(10)) Dividing_max = random.Byte();
    }

    uint32 seed;
    Random random;
    std::unique_ptr<RawBitmap> bitmap;
    uint8 Dividing_min = 0;
    uint8 Dividing_max = 0;
};

std::ostream& operator<<(std::ostream& out, const Case& c)
{
    const BitmapRec& rec = c.bitmap->rec;
    return out << "b" << rec.biBitCount << ", " << rec.biWidth << "x" << rec.biHeight << " stride "
               << rec.BytesPerLine << ", thresholds " << +c.Dividing_min << " and " << +c.Dividing_max << ", seed "
               << c.seed;
}

class ScansRandom : public testing::TestWithParam<Combination>
{
protected:
    Case Make(sint32 k) const
    {
        const Combination& c = GetParam();
        return Case(static_cast<uint32>((c.bits * 1000 + c.GroundColor) * 1000 + k), c);
    }
};

std::vector<sint32> Numbers(const RectangleRec& r) { return {r.left, r.right, r.top, r.bottom}; }

std::vector<sint32> Numbers(const ImageRangeRectangleRec& r)
{
    return {r.left.x, r.left.y, r.right.x, r.right.y, r.top.x, r.top.y, r.bottom.x, r.bottom.y};
}

std::vector<sint32> Numbers(const literal::Extremes& e)
{
    return {e.LeftPointIndexT, e.LeftPointIndexB, e.RightPointIndexT,  e.RightPointIndexB,
            e.TopPointIndexR,  e.TopPointIndexL,  e.BottomPointIndexR, e.BottomPointIndexL};
}

std::vector<sint32> LibraryNumbers()
{
    return {LeftPointIndexT, LeftPointIndexB, RightPointIndexT,  RightPointIndexB,
            TopPointIndexR,  TopPointIndexL,  BottomPointIndexR, BottomPointIndexL};
}

/* Earlier values, for those that a scan leaves alone. */
literal::Extremes SetLibraryNumbers(Random& random)
{
    literal::Extremes e;
    for (sint32* number : {&e.LeftPointIndexT, &e.LeftPointIndexB, &e.RightPointIndexT, &e.RightPointIndexB,
                           &e.TopPointIndexR, &e.TopPointIndexL, &e.BottomPointIndexR, &e.BottomPointIndexL})
        *number = random.Between(1000, 9999);
    LeftPointIndexT = e.LeftPointIndexT;
    LeftPointIndexB = e.LeftPointIndexB;
    RightPointIndexT = e.RightPointIndexT;
    RightPointIndexB = e.RightPointIndexB;
    TopPointIndexR = e.TopPointIndexR;
    TopPointIndexL = e.TopPointIndexL;
    BottomPointIndexR = e.BottomPointIndexR;
    BottomPointIndexL = e.BottomPointIndexL;
    return e;
}

void ExpectSameSide(const ImageBorderPointRec& got, const literal::Side& want)
{
    ASSERT_EQ(got.border_point.index, static_cast<sint32>(want.points.size()));
    ASSERT_EQ(got.border_point.len, want.points_allocated);
    for (size_t k = 0; k < want.points.size(); ++k) {
        ASSERT_EQ(got.border_point.points[k].x, want.points[k].x) << "point " << k;
        ASSERT_EQ(got.border_point.points[k].y, want.points[k].y) << "point " << k;
    }
    ASSERT_EQ(got.border_line_seck.index, static_cast<sint32>(want.segments.size()));
    ASSERT_EQ(got.border_line_seck.len, want.segments_allocated);
    ASSERT_EQ(got.border_line_seck.PointNum, 0);
    for (size_t k = 0; k < want.segments.size(); ++k) {
        const BorderLineRec& segment = got.border_line_seck.borderLine[k];
        ASSERT_EQ(segment.index, want.segments[k].index) << "segment " << k;
        ASSERT_EQ(segment.len, want.segments[k].len) << "segment " << k;
        ASSERT_EQ(segment.type, want.segments[k].type) << "segment " << k;
        ASSERT_EQ(segment.Center.x, want.segments[k].Center.x) << "segment " << k;
        ASSERT_EQ(segment.Center.y, want.segments[k].Center.y) << "segment " << k;
        ASSERT_EQ(segment.points, got.border_point.points + want.segments[k].first) << "segment " << k;
    }
}

/* Mostly what the row search finds, else any rectangle: inside, empty, or one line outside. */
RectangleRec RandomRange(Case& c)
{
    const BitmapRec& rec = c.bitmap->rec;
    RectangleRec range = {0, rec.biWidth - 1, 0, rec.biHeight - 1};
    const sint32 kind = c.random.Between(0, 7);
    if (kind == 0)
        range = {c.random.Between(0, 40), rec.biWidth - 1 - c.random.Between(0, 40),
                 c.random.Between(0, rec.biHeight - 1), c.random.Between(0, rec.biHeight - 1)};
    const sint32 out = c.random.Between(0, 3);
    if (kind == 1 && out == 0) range.left = -1;
    if (kind == 1 && out == 1) range.right = rec.biWidth;
    if (kind == 1 && out == 2) range.top = -1;
    if (kind == 1 && out == 3) range.bottom = rec.biHeight;
    if (kind >= 3) literal::SearchBitmapRange(&rec, &range, c.Dividing_min);
    return range;
}

TEST_P(ScansRandom, DividingPointEqualsLiteralOne)
{
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        if (k % 10 == 0) {
            /* Narrow ones too, down to the width that is refused. */
            const Scene scene = MakeScene(c.random, 1 + k / 10 % 4, c.random.Between(1, 60), true);
            c.bitmap = Render(c.random, scene, GetParam().bits);
        }
        uint8 got = 77, want = 77;
        ASSERT_EQ(CalculateDividingPoint(&c.bitmap->rec, &got),
                  literal::CalculateDividingPoint(&c.bitmap->rec, &want))
            << c;
        ASSERT_EQ(+got, +want) << c;
    }
}

TEST_P(ScansRandom, RowRangeEqualsLiteralOne)
{
    sint32 found = 0;
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        RectangleRec got = {-1, -2, -3, -4}, want = got;
        const sint32 want_code = literal::SearchBitmapRange(&c.bitmap->rec, &want, c.Dividing_min);
        ASSERT_EQ(SearchBitmapRange(&c.bitmap->rec, &got, c.Dividing_min), want_code) << c;
        ASSERT_EQ(Numbers(got), Numbers(want)) << c;
        if (want_code == 0) ++found;
    }
    EXPECT_GT(found, CasesEach / 5);
    EXPECT_LT(found, CasesEach);
}

TEST_P(ScansRandom, LeftAndRightBorderEqualLiteralOnes)
{
    sint32 found = 0;
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        RectangleRec range = RandomRange(c);
        literal::Extremes extremes = SetLibraryNumbers(c.random);
        literal::Side want_left, want_right;
        ImageRangeRectangleRec want_range = {{-1, -2}, {-3, -4}, {-5, -6}, {-7, -8}}, got_range = want_range;
        SideOutput left, right;

        const sint32 want_code =
            literal::MarkLeftRightBorder(&c.bitmap->rec, range, GetParam().GroundColor, c.Dividing_min,
                                         c.Dividing_max, &want_left, &want_right, &want_range, &extremes);
        const sint32 got_code = MarkLeftRightBorder(&c.bitmap->rec, &range, GetParam().GroundColor, c.Dividing_min,
                                                    c.Dividing_max, &left.rec, &right.rec, &got_range);

        ASSERT_EQ(got_code, want_code) << c;
        ASSERT_EQ(Numbers(got_range), Numbers(want_range)) << c;
        ASSERT_EQ(LibraryNumbers(), Numbers(extremes)) << c;
        if (want_code == 0) {
            ++found;
            ASSERT_NO_FATAL_FAILURE(ExpectSameSide(left.rec, want_left)) << c;
            ASSERT_NO_FATAL_FAILURE(ExpectSameSide(right.rec, want_right)) << c;
        } else {
            ASSERT_TRUE(left.Untouched() && right.Untouched()) << c;
        }
    }
    EXPECT_GT(found, CasesEach / 5);
    EXPECT_LT(found, CasesEach);
}

TEST_P(ScansRandom, TopAndBottomBorderEqualLiteralOnes)
{
    sint32 found = 0;
    for (sint32 k = 0; k < CasesEach; ++k) {
        Case c = Make(k);
        const BitmapRec& rec = c.bitmap->rec;
        RectangleRec range = RandomRange(c);
        literal::Extremes extremes = SetLibraryNumbers(c.random);
        literal::Side want_left, want_right, want_top, want_bottom;
        ImageRangeRectangleRec want_range = {{-1, -2}, {-3, -4}, {-5, -6}, {-7, -8}};
        const sint32 first_code =
            literal::MarkLeftRightBorder(&rec, range, GetParam().GroundColor, c.Dividing_min, c.Dividing_max,
                                         &want_left, &want_right, &want_range, &extremes);
        if (first_code != 0 || c.random.OneIn(8)) {
            want_range.left.x = c.random.Between(0, rec.biWidth / 2);
            want_range.right.x = c.random.Between(0, rec.biWidth - 1);
            if (c.random.OneIn(8)) want_range.right.x = rec.biWidth;
        }
        extremes = SetLibraryNumbers(c.random);
        ImageRangeRectangleRec got_range = want_range;
        SideOutput top, bottom;

        const sint32 want_code =
            literal::MarkTopBottomBorder(&rec, range, GetParam().GroundColor, c.Dividing_min, c.Dividing_max,
                                         &want_top, &want_bottom, &want_range, &extremes);
        const sint32 got_code = MarkTopBottomBorder(&c.bitmap->rec, &range, GetParam().GroundColor, c.Dividing_min,
                                                    c.Dividing_max, &top.rec, &bottom.rec, &got_range);

        ASSERT_EQ(got_code, want_code) << c;
        ASSERT_EQ(Numbers(got_range), Numbers(want_range)) << c;
        ASSERT_EQ(LibraryNumbers(), Numbers(extremes)) << c;
        if (want_code == 0) {
            ++found;
            ASSERT_NO_FATAL_FAILURE(ExpectSameSide(top.rec, want_top)) << c;
            ASSERT_NO_FATAL_FAILURE(ExpectSameSide(bottom.rec, want_bottom)) << c;
        } else {
            ASSERT_TRUE(top.Untouched() && bottom.Untouched()) << c;
        }
    }
    EXPECT_GT(found, CasesEach / 5);
    EXPECT_LT(found, CasesEach);
}

INSTANTIATE_TEST_SUITE_P(All, ScansRandom,
                         testing::Values(Combination{1, 1}, Combination{1, 255}, Combination{8, 1},
                                         Combination{8, 255}, Combination{24, 1}, Combination{24, 255}),
                         [](const auto& combination) { return Name(combination.param); });

} // namespace
