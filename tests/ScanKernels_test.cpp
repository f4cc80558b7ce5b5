/*
 * ScanKernels_test.cpp - the kernels of the scans against the plain code: every dot value at every threshold, and
 * random images through the exported functions, at every level that the processor has.
 *
 *   ScanKernels_test --rounds=1000000 [--first=SEED]     more random images than by default, from another one on
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/ChosenLevel.h"
#include "support/CountedMemory.h"
#include "support/RandomBitmap.h"
#include "support/Rounds.h"
#include "support/SideOutput.h"

#include "../src/SearchBitmapFrame.cpp"

namespace
{

using test::Random;
using test::SideOutput;

/* All levels but the plain one. */
std::vector<Level> KernelLevels()
{
    std::vector<Level> levels = Levels();
    levels.erase(levels.begin());
    return levels;
}

/*
 * An image whose rows lie apart, each in a block of its own: of exactly its size, so that AddressSanitizer sees every
 * byte read beside it, or with noise around it, which no result may depend on.
 */
class ScatteredBitmap
{
public:
    ScatteredBitmap(sint32 width, sint32 height, sint32 bits, size_t around, Random* random)
    {
        const sint32 stride = test::PackedStride(width, bits);
        for (sint32 row = 0; row < height; ++row) {
            blocks.emplace_back(new uint8[static_cast<size_t>(stride) + 2 * around]);
            for (size_t k = 0; k < static_cast<size_t>(stride) + 2 * around; ++k)
                blocks.back()[k] = random != nullptr ? random->Byte() : 0;
            rows.push_back(blocks.back().get() + around);
        }
        rec = {width, height, bits, height * stride, stride, rows.data(), rows[0]};
    }

    BitmapRec rec;

private:
    std::vector<std::unique_ptr<uint8[]>> blocks;
    std::vector<uint8*> rows;
};

/* ======== Every dot value at every threshold ======== */

/* An image of single dots, and the grey that the reader gives to each. */
struct Dots {
    Dots(sint32 width, sint32 height, sint32 bits) : bitmap(width, height, bits, 0, nullptr) {}

    void ReadGrays()
    {
        grays.resize(static_cast<size_t>(bitmap.rec.biWidth) * static_cast<size_t>(bitmap.rec.biHeight));
        uint8* gray = grays.data();
        for (sint32 row = 0; row < bitmap.rec.biHeight; ++row)
            for (sint32 col = 0; col < bitmap.rec.biWidth; ++col)
                ASSERT_EQ(0, ReaderOf(bitmap.rec)(&bitmap.rec, row, col, gray++));
    }

    ScatteredBitmap bitmap;
    std::vector<uint8> grays;
};

/* Rays down columns of a single dot say of each dot whether it counts. */
void ExpectDecisions(const Dots& dots, DecideDividingDotFun IsPageDot, sint32 Dividing_min, sint32 Dividing_max)
{
    const BitmapRec& rec = dots.bitmap.rec;
    const DotScansRec* scans = DotScansOf(rec);
    ASSERT_NE(nullptr, scans);
    const DotSetRec set = DotSetOf(rec, IsPageDot, Dividing_min, Dividing_max);
    bool expected[256];
    for (sint32 gray = 0; gray < 256; ++gray)
        expected[gray] = IsPageDot(Dividing_min, Dividing_max, static_cast<uint8>(gray)) != 0;
    const uint8* gray = dots.grays.data();
    HitsRec hits;
    for (sint32 row = 0; row < rec.biHeight; ++row) {
        for (sint32 left = 0; left < rec.biWidth; left += kScanLines) {
            const sint32 right = std::min(left + kScanLines, rec.biWidth) - 1;
            scans->ScanColumns(rec.ScanLine, {left, right, row, row}, set, &hits);
            for (sint32 col = left; col <= right; ++col, ++gray) {
                if ((hits.first[col - left] == row) == expected[*gray]) continue;
                FAIL() << NameOf(ChosenLevel()) << ", dot " << row << ", " << col << ", thresholds " << Dividing_min
                       << " and " << Dividing_max;
            }
        }
    }
}

void ExpectDecisionsEverywhere(const Dots& dots, sint32 light_bands)
{
    for (Level level : KernelLevels()) {
        ChooseLevel(level);
        for (sint32 threshold = 0; threshold < 256; ++threshold) {
            ExpectDecisions(dots, DecideDividingDotBlackGround, threshold, 0);
            for (sint32 k = 0; k < light_bands; ++k) {
                /* One band around each threshold, or all that start there. */
                const sint32 band = light_bands == 1 ? 1 + threshold * 7 % 23 : k - threshold;
                if (threshold + band > 255) continue;
                ExpectDecisions(dots, DecideDividingDotWhiteGround, threshold, threshold + band);
            }
        }
    }
}

TEST(DotMasks, EveryBlueAndGreenAtEveryThreshold)
{
    Dots dots(256, 256, 24);
    for (sint32 blue = 0; blue < 256; ++blue) {
        for (sint32 green = 0; green < 256; ++green) {
            uint8* p = dots.bitmap.rec.ScanLine[blue] + 3 * green;
            p[0] = static_cast<uint8>(blue);
            p[1] = static_cast<uint8>(green);
            p[2] = static_cast<uint8>(blue * 31 + green * 17);
        }
    }
    dots.ReadGrays();
    ExpectDecisionsEverywhere(dots, 1);
}

TEST(DotMasks, EveryGrayAtEveryPairOfThresholds)
{
    Dots dots(256, 1, 8);
    for (sint32 k = 0; k < 256; ++k) dots.bitmap.rec.ScanLine[0][k] = static_cast<uint8>(k);
    dots.ReadGrays();
    ExpectDecisionsEverywhere(dots, 256);
}

TEST(DotMasks, EveryByteOfBitsAtEveryThreshold)
{
    Dots dots(8 * 256, 1, 1);
    for (sint32 k = 0; k < 256; ++k) dots.bitmap.rec.ScanLine[0][k] = static_cast<uint8>(k);
    dots.ReadGrays();
    ExpectDecisionsEverywhere(dots, 1);
}

/* ======== Random images ======== */

/* Everything that differs from one random image to the next; seed tells it all. */
struct Case {
    explicit Case(uint32 random_seed);

    uint32 seed;
    Random random;
    std::unique_ptr<ScatteredBitmap> bitmap;
    sint32 GroundColor = 1;
    uint8 Dividing_min = 0;
    uint8 Dividing_max = 0;
    uint8 RangeMinimum = 0;
    sint32 range_kind = 0;
    RectangleRec range = null_rectangle;
    ImageRangeRectangleRec image_range = null_image_range_rectangle;
};

uint8 Cut(sint32 gray) { return static_cast<uint8>(std::min(std::max(gray, 0), 255)); }

/* What lies on the ground: nothing, a gradient, a tilted page, ragged rows, specks. */
struct Picture {
    Picture(Random* random, sint32 w, sint32 h) : width(w), height(h), kind(random->Between(0, 5))
    {
        ground = random->Between(0, 255);
        page = random->OneIn(2) ? random->Between(0, 255) : ground + random->Between(-3, 3);
        slope = random->OneIn(3) ? 0 : random->Between(-40, 40);
        half_width = random->Between(width / 4, width / 2);
        half_height = random->Between(height / 4, height / 2);
        noise = random->OneOf<sint32>({0, 0, 0, 1, 2, 10});
        one_in = random->OneOf<sint32>({2, 10, 100, 1000});
    }

    sint32 Gray(Random* random, sint32 row, sint32 col)
    {
        if (col == 0) margin = random->Between(0, width / 2 + 1);
        return Plain(random, row, col) + (noise != 0 ? random->Between(-noise, noise) : 0);
    }

    sint32 width, height, kind;
    sint32 ground, page, slope, half_width, half_height, noise, one_in;
    sint32 margin = 0;

private:
    sint32 Plain(Random* random, sint32 row, sint32 col) const
    {
        if (kind == 1) return (row * 3 + col) & 255;
        if (kind == 2 || kind == 3) {
            const sint32 x = col - width / 2;
            const sint32 y = row - height / 2;
            const bool inside = std::abs(100 * x + slope * y) <= 100 * half_width &&
                                std::abs(100 * y - slope * x) <= 100 * half_height;
            return inside ? page : ground;
        }
        if (kind == 4) return col >= margin && col < width - margin / 2 ? page : ground;
        if (kind == 5) return random->OneIn(one_in) ? page : ground;
        return ground;
    }
};

/* Red is noise, as are the unused bits of a row's last byte. */
void Paint(Random* random, Picture* picture, const BitmapRec& rec)
{
    const sint32 tint = random->OneOf<sint32>({0, 0, 1, 5, 60});
    const sint32 middle = (picture->ground + picture->page) / 2;
    for (sint32 row = 0; row < rec.biHeight; ++row) {
        uint8* line = rec.ScanLine[row];
        for (sint32 col = 0; col < rec.biWidth; ++col) {
            const uint8 gray = Cut(picture->Gray(random, row, col));
            if (rec.biBitCount == 8) line[col] = gray;
            if (rec.biBitCount == 24) {
                line[3 * col] = tint != 0 ? Cut(gray + random->Between(-tint, tint)) : gray;
                line[3 * col + 1] = gray;
            }
            if (rec.biBitCount == 1) {
                const sint32 mask = 128 >> (col & 7);
                line[col >> 3] = static_cast<uint8>(gray > middle ? line[col >> 3] | mask : line[col >> 3] & ~mask);
            }
        }
    }
}

/* A place near the edges of 0 to size - 1, inside or just outside; seldom far away. */
sint32 Edge(Random* random, sint32 size)
{
    if (random->OneIn(40)) return random->OneOf<sint32>({INT_MIN, -1000, size + 1000, INT_MAX});
    return random->OneIn(2) ? random->Between(-1, size) : random->Between(0, size - 1);
}

Case::Case(uint32 random_seed) : seed(random_seed), random(random_seed)
{
    const bool large = random.OneIn(500);
    const sint32 width = large             ? random.Between(500, 1500)
                         : random.OneIn(2) ? random.Between(1, 400)
                                           : random.OneOf<sint32>({1,  2,  7,   8,   9,   16,  31,  32,  63,  64,
                                                                   65, 72, 127, 128, 129, 150, 151, 152, 192, 193});
    const sint32 height = large ? 1300 : random.OneIn(4) ? random.Between(60, 140) : random.Between(1, 30);
    bitmap = std::make_unique<ScatteredBitmap>(width, height, random.OneOf<sint32>({1, 8, 24, 24}),
                                               random.OneIn(2) ? 0 : 80, &random);
    const BitmapRec& rec = bitmap->rec;
    Picture picture(&random, width, height);
    if (!random.OneIn(10)) Paint(&random, &picture, rec); /* else noise */

    GroundColor = random.OneOf<sint32>({1, 1, 1, 1, 255, 255, 255, 255, 0, 2, -1, 254});
    if (!random.OneIn(10)) GroundColor = random.OneIn(2) ? 1 : 255;
    /* The tone curve darkens: thresholds for colour have to follow it. */
    const sint32 near = rec.biBitCount == 24 ? GrayChangeTable[Cut(picture.ground)] : picture.ground;
    const sint32 threshold = random.OneIn(8) ? random.Byte() : near + random.Between(-3, 12);
    const sint32 band = random.OneOf<sint32>({0, 1, 2, 9, 9, 9, 40});
    Dividing_min = Cut(GroundColor == 255 ? threshold - band : threshold);
    Dividing_max = random.OneIn(20) ? random.Byte() : Cut(threshold + band);
    RangeMinimum = random.OneIn(4) ? random.Byte() : Dividing_min;

    range_kind = random.Between(0, 3);
    range = {Edge(&random, width), Edge(&random, width), Edge(&random, height), Edge(&random, height)};
    if (random.OneIn(2) && range.left > range.right) std::swap(range.left, range.right);
    if (random.OneIn(2) && range.top > range.bottom) std::swap(range.top, range.bottom);
    image_range.left.x = Edge(&random, width);
    image_range.right.x = Edge(&random, width);
    if (random.OneIn(2) && image_range.left.x > image_range.right.x)
        std::swap(image_range.left.x, image_range.right.x);
}

std::string Describe(const Case& c)
{
    const BitmapRec& rec = c.bitmap->rec;
    return std::to_string(rec.biBitCount) + " bits, " + std::to_string(rec.biWidth) + " x " +
           std::to_string(rec.biHeight) + ", ground " + std::to_string(c.GroundColor) + ", thresholds " +
           std::to_string(c.Dividing_min) + " and " + std::to_string(c.Dividing_max) + ", seed " +
           std::to_string(c.seed);
}

/* ---- What a run leaves, as a row of numbers ---- */

typedef std::vector<sint32> Numbers;

void Append(Numbers* numbers, const RectangleRec& r)
{
    numbers->insert(numbers->end(), {r.left, r.right, r.top, r.bottom});
}

void Append(Numbers* numbers, PointRec p) { numbers->insert(numbers->end(), {p.x, p.y}); }

void Append(Numbers* numbers, const ImageRangeRectangleRec& r)
{
    for (const PointRec point : {r.left, r.right, r.top, r.bottom}) Append(numbers, point);
}

/* The content of a side; only arrays that a call has made are followed. */
void Append(Numbers* numbers, const SideOutput& side)
{
    const PointSetRec& points = side.rec.border_point;
    const BorderLineSetRec& segments = side.rec.border_line_seck;
    numbers->insert(numbers->end(), {points.index, points.len, side.KeepsPoints()});
    for (sint32 k = 0; k < points.index; ++k) Append(numbers, points.points[k]);
    numbers->insert(numbers->end(), {segments.index, segments.len, segments.PointNum, side.KeepsSegments()});
    for (sint32 k = 0; k < segments.index; ++k) {
        const BorderLineRec& s = segments.borderLine[k];
        const sint32 place = static_cast<sint32>(s.points - points.points);
        numbers->insert(numbers->end(), {s.index, s.len, place, s.type, s.Center.x, s.Center.y});
    }
}

sint32* const kGlobals[8] = {&LeftPointIndexT, &LeftPointIndexB, &RightPointIndexT,  &RightPointIndexB,
                             &TopPointIndexR,  &TopPointIndexL,  &BottomPointIndexR, &BottomPointIndexL};

void AppendSides(Numbers* numbers, sint32 error_code, const SideOutput& first, const SideOutput& second,
                 const ImageRangeRectangleRec& image_range)
{
    numbers->push_back(error_code);
    Append(numbers, first);
    Append(numbers, second);
    Append(numbers, image_range);
    for (const sint32* global : kGlobals) numbers->push_back(*global);
}

/* The four stages at a level, each with what the one before has left or with something else. */
Numbers RunStages(const Case& c, Level level)
{
    ChooseLevel(level);
    BitmapRec* rec = &c.bitmap->rec;
    Numbers numbers;
    uint8 DividingValue = 77;
    numbers.push_back(CalculateDividingPoint(rec, &DividingValue));
    numbers.push_back(DividingValue);

    RectangleRec found = {-1, -2, -3, -4};
    const sint32 range_code = SearchBitmapRange(rec, &found, c.RangeMinimum);
    numbers.push_back(range_code);
    Append(&numbers, found);

    RectangleRec range = c.range;
    if (c.range_kind == 1 && range_code == 0) range = found;
    if (c.range_kind >= 2) range = {0, rec->biWidth - 1, 0, rec->biHeight - 1};
    for (sint32 k = 0; k < 8; ++k) *kGlobals[k] = 1000 + k;
    ImageRangeRectangleRec image_range = c.image_range;
    SideOutput left, right, top, bottom;
    const sint32 error_code = MarkLeftRightBorder(rec, &range, c.GroundColor, c.Dividing_min, c.Dividing_max,
                                                  &left.rec, &right.rec, &image_range);
    AppendSides(&numbers, error_code, left, right, image_range);
    if (error_code != 0 && c.range_kind != 3) image_range = c.image_range;
    AppendSides(&numbers,
                MarkTopBottomBorder(rec, &range, c.GroundColor, c.Dividing_min, c.Dividing_max, &top.rec,
                                    &bottom.rec, &image_range),
                top, bottom, image_range);
    return numbers;
}

TEST(ScanKernels, RandomImagesGiveThePlainResult)
{
    for (uint32 seed = test::FirstSeed(); seed - test::FirstSeed() < test::Rounds(3000); ++seed) {
        const Case c(seed);
        const Numbers expected = RunStages(c, Level::Plain);
        for (Level level : KernelLevels()) {
            const Numbers got = RunStages(c, level);
            if (got == expected) continue;
            const auto at = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first;
            FAIL() << NameOf(level) << ": " << Describe(c) << ", number " << at - got.begin() << " of "
                   << expected.size();
        }
    }
}

/* So that the comparison says something: all ends of the stages come up, and pages are found. */
TEST(ScanKernels, RandomImagesReachEveryEnd)
{
    sint32 estimates[2] = {0, 0};
    sint32 ranges[2] = {0, 0};
    sint32 marks[10] = {};
    sint32 later_marks[10] = {};
    for (uint32 seed = 0; seed < 1000; ++seed) {
        const Case c(seed);
        ChooseLevel(Level::Plain);
        BitmapRec* rec = &c.bitmap->rec;
        RectangleRec found = null_rectangle;
        RectangleRec range = c.range_kind == 0 ? c.range : RectangleRec{0, rec->biWidth - 1, 0, rec->biHeight - 1};
        ImageRangeRectangleRec image_range = c.image_range;
        SideOutput left, right, top, bottom;
        uint8 DividingValue = 0;
        ++estimates[CalculateDividingPoint(rec, &DividingValue) != 0];
        ++ranges[SearchBitmapRange(rec, &found, c.RangeMinimum) != 0];
        ++marks[MarkLeftRightBorder(rec, &range, c.GroundColor, c.Dividing_min, c.Dividing_max, &left.rec,
                                    &right.rec, &image_range)];
        ++later_marks[MarkTopBottomBorder(rec, &range, c.GroundColor, c.Dividing_min, c.Dividing_max, &top.rec,
                                          &bottom.rec, &image_range)];
    }
    for (const sint32 end : {0, 1}) {
        EXPECT_GT(estimates[end], 20) << end;
        EXPECT_GT(ranges[end], 20) << end;
    }
    for (const sint32 code : {0, 1, 9}) {
        EXPECT_GT(marks[code], 50) << code;
        EXPECT_GT(later_marks[code], 50) << code;
    }
}

/* ======== Counting ======== */

TEST(HasMoreDots, CountsTheRowsDotsAndNoOthers)
{
    Random random(1);
    for (const sint32 bits : {1, 8, 24}) {
        for (sint32 width = 140; width < 420; width += 1) {
            ScatteredBitmap bitmap(width, 1, bits, random.OneIn(2) ? 0 : 80, &random);
            BitmapRec& rec = bitmap.rec;
            const sint32 one_in = random.OneOf<sint32>({1, 2, 2, 3});
            Picture picture(&random, width, 1);
            picture.kind = 5;
            picture.one_in = one_in;
            picture.noise = 0;
            picture.ground = 10;
            picture.page = 200;
            Paint(&random, &picture, rec);
            sint32 count = 0;
            for (sint32 col = 0; col < width; ++col) {
                uint8 gray = 0;
                ASSERT_EQ(0, ReaderOf(rec)(&rec, 0, col, &gray));
                if (gray > 100) ++count;
            }
            const DotSetRec dots = DotSetOf(rec, DecideDividingDotBlackGround, 100, 0);
            for (Level level : KernelLevels()) {
                ChooseLevel(level);
                const DotScansRec* scans = DotScansOf(rec);
                ASSERT_NE(nullptr, scans);
                for (sint32 num = std::max(63, count - 2); num < count + 3; ++num)
                    ASSERT_EQ(count > num, scans->HasMoreDots(rec.ScanLine[0], width, num, dots))
                        << NameOf(level) << ", " << bits << " bits, " << width << " wide, " << count << " dots";
            }
        }
    }
}

/* ======== Memory runs out while hits are chained ======== */

/* A page whose sides outgrow their first arrays. */
TEST(ScanKernels, AllocationsFailAsInThePlainCode)
{
    ScatteredBitmap bitmap(1300, 1300, 8, 0, nullptr);
    for (sint32 row = 20; row < 1280; ++row) std::memset(bitmap.rec.ScanLine[row] + 20 + row % 7, 200, 1240);
    RectangleRec range = {0, 1299, 0, 1299};
    for (Level level : Levels()) {
        ChooseLevel(level);
        for (const bool rows : {true, false}) {
            for (int n = 1; n <= 7; ++n) {
                ImageRangeRectangleRec image_range = null_image_range_rectangle;
                image_range.right.x = 1299;
                ImageBorderPointRec first = null_image_border_point, second = null_image_border_point;
                memory::Arm(n);
                const sint32 error_code = (rows ? MarkLeftRightBorder : MarkTopBottomBorder)(
                    &bitmap.rec, &range, 1, 60, 0, &first, &second, &image_range);
                const memory::Counts counts = memory::Disarm();
                EXPECT_EQ(n <= 6 ? 5 : 0, error_code) << NameOf(level) << ", allocation " << n;
                EXPECT_EQ(n <= 6 ? n : 6, counts.calls) << NameOf(level) << ", allocation " << n;
                if (error_code != 0) {
                    EXPECT_EQ(0, counts.live) << NameOf(level) << ", allocation " << n;
                    EXPECT_EQ(nullptr, first.border_point.points);
                    EXPECT_EQ(nullptr, second.border_line_seck.borderLine);
                }
                ImageBorderPoint_Done(&first);
                ImageBorderPoint_Done(&second);
            }
        }
    }
}

} // namespace
