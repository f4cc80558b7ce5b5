/*
 * Prepare.cpp - copies of a scan in which a page shows that no threshold parts from its ground.
 *
 * A threshold is one level for the whole picture. Where the ground brightens from one side to the other, where page and
 * ground differ by a few levels only, or where specks are strewn over the ground, none will do. Here the ground is
 * taken off first: a plane through the levels of the picture's margins, then what departs from it counts, then the
 * majority of each neighbourhood.
 */
#include "Prepare.h"

#include <algorithm>
#include <cmath>

namespace quarlo
{

namespace
{

constexpr int kLongest = 1400;   /* of a copy's longer side, about */
constexpr int kMostEnlarged = 4; /* times */
constexpr int kRadius = 3;       /* of the neighbourhood whose majority counts */
constexpr int kBlocks = 40;      /* along each side of the picture */
constexpr int kSamples = 16;     /* of a block's columns, and rows, about */
constexpr int kTries = 400;      /* planes through three blocks */
constexpr int kMostPlanes = 2;

int GreyAt(const GreyView& view, int x, int y)
{
    return view.At(std::clamp(x, 0, view.width() - 1), std::clamp(y, 0, view.height() - 1));
}

/* Pixels of the scan along a copy's pixel, so that the longer side comes to about the wanted length. */
int ReductionOf(int longest)
{
    return std::max(1, longest / kLongest + (longest % kLongest < kLongest / 2 ? 0 : 1));
}

/* Into how many parts a length falls, of which the last may be shorter. */
int PartsOf(int whole, int part) { return (whole - 1) / part + 1; }

void Enlarge(const GreyView& view, int times, Bitmap* grey)
{
    for (int y = 0; y < grey->height(); ++y)
        for (int x = 0; x < grey->width(); ++x) {
            /* Twice the distance from the centre of the pixel to the left and below, in parts of 2 * times. */
            const int u = 2 * x + 1 - times, v = 2 * y + 1 - times;
            const int i = u < 0 ? -1 : u / (2 * times), j = v < 0 ? -1 : v / (2 * times);
            const int a = u - i * 2 * times, b = v - j * 2 * times, whole = 2 * times;
            const int low = GreyAt(view, i, j) * (whole - a) + GreyAt(view, i + 1, j) * a;
            const int high = GreyAt(view, i, j + 1) * (whole - a) + GreyAt(view, i + 1, j + 1) * a;
            grey->row(y)[x] =
                static_cast<std::uint8_t>((low * (whole - b) + high * b + whole * whole / 2) / (whole * whole));
        }
}

void Reduce(const GreyView& view, int times, Bitmap* grey)
{
    std::vector<std::int64_t> sums(static_cast<size_t>(grey->width()));
    for (int y = 0; y < grey->height(); ++y) {
        std::fill(sums.begin(), sums.end(), 0);
        const int rows = std::min(times, view.height() - y * times);
        for (int row = y * times; row < y * times + rows; ++row)
            for (int x = 0; x < view.width(); ++x) sums[static_cast<size_t>(x / times)] += view.At(x, row);
        for (int x = 0; x < grey->width(); ++x) {
            const std::int64_t count = std::int64_t{rows} * std::min(times, view.width() - x * times);
            grey->row(y)[x] = static_cast<std::uint8_t>((sums[static_cast<size_t>(x)] + count / 2) / count);
        }
    }
}

/* A stretch of the picture's margin and its median level. */
struct Block {
    double x, y, level, spread;
};

/* The level in the middle, of an even count the higher one of the two. */
int MiddleOf(const Histogram& histogram, int count)
{
    size_t level = 0;
    for (int up_to = histogram[0]; up_to <= count / 2; up_to += histogram[level]) ++level;
    return static_cast<int>(level);
}

Block MeasureBlock(const GreyView& view, int left, int low, int width, int height)
{
    Histogram levels{}, distances{};
    int count = 0;
    const int step_x = std::max(1, width / kSamples), step_y = std::max(1, height / kSamples);
    for (int y = low; y < low + height; y += step_y)
        for (int x = left; x < left + width; x += step_x, ++count) ++levels[static_cast<size_t>(view.At(x, y))];
    const int median = MiddleOf(levels, count);
    for (int level = 0; level < 256; ++level)
        distances[static_cast<size_t>(std::abs(level - median))] += levels[static_cast<size_t>(level)];
    return {left + width / 2.0, low + height / 2.0, static_cast<double>(median),
            1.4826 * MiddleOf(distances, count)};
}

std::vector<Block> MeasureMargins(const GreyView& view)
{
    std::vector<Block> blocks;
    const int deep_x = std::clamp(view.width() / 50, 1, 24), deep_y = std::clamp(view.height() / 50, 1, 24);
    for (int i = 0; i < kBlocks; ++i) {
        const int left = static_cast<int>(static_cast<std::int64_t>(view.width()) * i / kBlocks);
        const int right = static_cast<int>(static_cast<std::int64_t>(view.width()) * (i + 1) / kBlocks);
        const int low = static_cast<int>(static_cast<std::int64_t>(view.height()) * i / kBlocks);
        const int high = static_cast<int>(static_cast<std::int64_t>(view.height()) * (i + 1) / kBlocks);
        if (right > left) {
            blocks.push_back(MeasureBlock(view, left, 0, right - left, deep_y));
            blocks.push_back(MeasureBlock(view, left, view.height() - deep_y, right - left, deep_y));
        }
        if (high > low) {
            blocks.push_back(MeasureBlock(view, 0, low, deep_x, high - low));
            blocks.push_back(MeasureBlock(view, view.width() - deep_x, low, deep_x, high - low));
        }
    }
    return blocks;
}

bool PlaneThrough(const Block& a, const Block& b, const Block& c, GroundPlane* plane)
{
    const double ux = b.x - a.x, uy = b.y - a.y, ul = b.level - a.level;
    const double vx = c.x - a.x, vy = c.y - a.y, vl = c.level - a.level;
    const double area = ux * vy - uy * vx;
    if (std::fabs(area) < 1.0) return false;
    plane->per_column = (ul * vy - uy * vl) / area;
    plane->per_row = (ux * vl - ul * vx) / area;
    plane->at = a.level - plane->per_column * a.x - plane->per_row * a.y;
    return true;
}

/* How well a plane holds: the blocks near it, each the more the nearer. */
double Support(const std::vector<Block>& blocks, const GroundPlane& plane)
{
    double support = 0.0;
    for (const Block& block : blocks) {
        const double off = (block.level - plane.LevelAt(block.x, block.y)) / 6.0;
        support += std::max(0.0, 1.0 - off * off);
    }
    return support;
}

/* The plane that most blocks lie on, of many through three blocks taken at random (Fischler and Bolles's consensus). */
GroundPlane BestPlane(const std::vector<Block>& blocks, double width, double height)
{
    GroundPlane best;
    double most = -1.0;
    std::uint32_t state = 1;
    const auto pick = [&]() -> const Block& {
        state = state * 1664525u + 1013904223u;
        return blocks[(state >> 8) % blocks.size()];
    };
    for (int i = 0; i < kTries; ++i) {
        GroundPlane plane;
        if (!PlaneThrough(pick(), pick(), pick(), &plane)) continue;
        if (std::fabs(plane.per_column) * width + std::fabs(plane.per_row) * height > 90.0) continue;
        const double support = Support(blocks, plane);
        if (support > most) {
            most = support;
            best = plane;
        }
    }
    if (most < 0.0) best.at = blocks[0].level;
    return best;
}

/* Far from the plane, for a ground that lies on it. */
bool LiesOff(const Block& block, const GroundPlane& plane)
{
    return std::fabs(block.level - plane.LevelAt(block.x, block.y)) > 8.0;
}

/* By how much a level departs from the ground, in the direction that counts. */
double Departure(double level, Departs departs)
{
    return departs == Departs::brighter ? level : departs == Departs::darker ? -level : std::fabs(level);
}

/* A row of marks: 1 where the grey departs by more than `least`. Levels in 65536ths. */
template <Departs departs>
void MarkRow(const std::uint8_t* grey, int width, std::int32_t ground, std::int32_t per_column, std::int32_t least,
             std::uint8_t* marks)
{
    for (int x = 0; x < width; ++x) {
        const std::int32_t level = grey[x] * 65536 - (ground + per_column * x);
        const std::int32_t departure = departs == Departs::brighter ? level
                                       : departs == Departs::darker ? -level
                                                                    : std::abs(level);
        marks[x] = departure > least ? 1 : 0;
    }
}

std::int32_t Fixed(double level) { return static_cast<std::int32_t>(std::clamp(level, -1000.0, 1000.0) * 65536.0); }

/* Marks the rows of a picture one by one. */
class Marker
{
public:
    Marker(const Bitmap& grey, const GroundPlane& plane, Departs departs, double least)
        : grey_(grey), plane_(plane), departs_(departs), least_(Fixed(least))
    {
    }
    void Mark(int y, std::uint8_t* marks) const
    {
        const int row = std::clamp(y, 0, grey_.height() - 1);
        const std::int32_t ground = Fixed(plane_.LevelAt(0, row)), slope = Fixed(plane_.per_column);
        const std::uint8_t* from = grey_.row(row);
        const int width = grey_.width();
        if (departs_ == Departs::brighter)
            MarkRow<Departs::brighter>(from, width, ground, slope, least_, marks);
        else if (departs_ == Departs::darker)
            MarkRow<Departs::darker>(from, width, ground, slope, least_, marks);
        else
            MarkRow<Departs::either>(from, width, ground, slope, least_, marks);
    }

private:
    const Bitmap& grey_;
    GroundPlane plane_;
    Departs departs_;
    std::int32_t least_;
};

/* White where the columns' sums over the neighbourhood come to more than half of it. */
void DecideRow(const std::uint8_t* columns, int width, std::uint8_t* row)
{
    constexpr int half = (2 * kRadius + 1) * (2 * kRadius + 1) / 2;
    const auto column = [&](int x) -> int { return columns[std::clamp(x, 0, width - 1)]; };
    int sum = 0;
    for (int x = -kRadius; x < kRadius; ++x) sum += column(x);
    for (int x = 0; x < width; ++x) {
        sum += column(x + kRadius);
        row[x] = sum > half ? 255 : 0;
        sum -= column(x - kRadius);
    }
}

} // namespace

Problem MakeCopy(const Bitmap& scan, Copy* copy)
{
    const GreyView view(scan);
    const int longest = std::max(view.width(), view.height());
    const int reduced = ReductionOf(longest);
    const int enlarged = std::clamp(kLongest / std::max(longest, 1), 1, kMostEnlarged);
    Copy made;
    made.scale = reduced > 1 ? 1.0 / reduced : enlarged;
    const int width = reduced > 1 ? PartsOf(view.width(), reduced) : view.width() * enlarged;
    const int height = reduced > 1 ? PartsOf(view.height(), reduced) : view.height() * enlarged;
    Problem problem = Bitmap::Make(width, height, 8, &made.grey);
    if (problem) return problem;
    if (reduced > 1)
        Reduce(view, reduced, &made.grey);
    else
        Enlarge(view, enlarged, &made.grey);
    *copy = std::move(made);
    return {};
}

std::vector<GroundPlane> FitGround(const GreyView& view)
{
    std::vector<Block> blocks = MeasureMargins(view);
    const size_t enough = blocks.size() / 6;
    std::vector<GroundPlane> planes;
    while (planes.size() < kMostPlanes && blocks.size() > enough) {
        GroundPlane plane = BestPlane(blocks, view.width(), view.height());
        std::vector<double> spreads;
        std::vector<Block> rest;
        for (const Block& block : blocks) {
            if (LiesOff(block, plane))
                rest.push_back(block);
            else
                spreads.push_back(block.spread);
        }
        if (spreads.size() <= enough) break;
        std::nth_element(spreads.begin(), spreads.begin() + static_cast<std::ptrdiff_t>(spreads.size() / 2),
                         spreads.end());
        plane.spread = std::max(0.5, spreads[spreads.size() / 2]);
        planes.push_back(plane);
        blocks = std::move(rest);
    }
    return planes;
}

Histogram Departures(const Bitmap& grey, const GroundPlane& plane, Departs departs)
{
    Histogram histogram{};
    const int step_x = std::max(1, grey.width() / 240), step_y = std::max(1, grey.height() / 240);
    for (int y = 0; y < grey.height(); y += step_y)
        for (int x = 0; x < grey.width(); x += step_x) {
            const double departure = Departure(grey.row(y)[x] - plane.LevelAt(x, y), departs);
            ++histogram[static_cast<size_t>(std::clamp(departure, 0.0, 255.0))];
        }
    return histogram;
}

Problem MakeMask(const Bitmap& grey, const GroundPlane& plane, Departs departs, double least, Bitmap* mask)
{
    Bitmap made;
    Problem problem = Bitmap::Make(grey.width(), grey.height(), 8, &made);
    if (problem) return problem;
    const int width = grey.width(), height = grey.height();
    const size_t pitch = static_cast<size_t>(width);
    constexpr int window = 2 * kRadius + 1;
    const Marker marker(grey, plane, departs, least);
    std::vector<std::uint8_t> marks(window * pitch), columns(pitch, 0);
    const auto marks_of = [&](int y) { return marks.data() + static_cast<size_t>((y + window) % window) * pitch; };
    const auto enter = [&](int y) {
        std::uint8_t* row = marks_of(y);
        marker.Mark(y, row);
        for (size_t x = 0; x < pitch; ++x) columns[x] = static_cast<std::uint8_t>(columns[x] + row[x]);
    };
    for (int y = -kRadius; y < kRadius; ++y) enter(y);
    for (int y = 0; y < height; ++y) {
        enter(y + kRadius);
        DecideRow(columns.data(), width, made.row(y));
        const std::uint8_t* row = marks_of(y - kRadius);
        for (size_t x = 0; x < pitch; ++x) columns[x] = static_cast<std::uint8_t>(columns[x] - row[x]);
    }
    *mask = std::move(made);
    return {};
}

} // namespace quarlo
