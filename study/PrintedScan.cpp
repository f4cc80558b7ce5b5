/*
 * PrintedScan.cpp - scans as an office makes them by the thousand.
 *
 * The print is drawn once, upright, as a picture of how much ink lies where. Then each pixel of the scan looks up what
 * is there: ink on paper, the ground, or at the page's edge some of both; and all gets the grain of a scanner.
 */
#include "PrintedScan.h"

#include <algorithm>
#include <cmath>

#include "Place.h"
#include "Random.h"

namespace study
{

using quarlo::Bitmap;
using quarlo::Ground;
using quarlo::Point;

namespace
{

constexpr double kPageWidth = 210.0, kPageHeight = 297.0; /* A4, in millimetres as all lengths here */
constexpr double kMostDegrees = 3.0;
constexpr double kFree = 2.0; /* of ground around the page, at least */

/* An upright page's print: how much ink lies on each pixel, 0 to 255. */
class Print
{
public:
    Print(Random* random, int dpi)
        : pixels_(dpi / 25.4), width_(Pixels(kPageWidth)), height_(Pixels(kPageHeight)),
          ink_(static_cast<size_t>(width_) * static_cast<size_t>(height_))
    {
        for (Glyph& glyph : alphabet_)
            for (bool& stroke : glyph) stroke = random->Chance(0.55);
        const double margin = random->In(16.0, 28.0), bottom = kPageHeight - margin;
        double y = margin;
        if (random->Chance(0.7)) y = Line(random, margin, y, random->In(0.3, 0.8), 5.0) + 8.0;
        const double letter = random->In(1.8, 2.8);
        while (y < bottom) {
            const double kind = random->Unit();
            if (kind < 0.12 && y + 60.0 < bottom)
                y = Photograph(random, margin, y, random->In(30.0, 55.0));
            else if (kind < 0.22 && y + 50.0 < bottom)
                y = Form(margin, y, random->Whole(3, 7));
            else
                y = Paragraph(random, margin, y, letter, bottom);
            y += letter * 2.5;
        }
    }

    /* Blended between pixels; p is counted in pixels from the page's middle, and lies on the page. */
    double At(Point p) const
    {
        const double x = std::clamp(p.x + width_ / 2.0, 0.0, width_ - 1.001);
        const double y = std::clamp(p.y + height_ / 2.0, 0.0, height_ - 1.001);
        const int i = static_cast<int>(x), j = static_cast<int>(y);
        const double a = x - i, b = y - j;
        const std::uint8_t* ink = ink_.data() + static_cast<size_t>(j) * static_cast<size_t>(width_) + i;
        return (ink[0] * (1 - a) + ink[1] * a) * (1 - b) + (ink[width_] * (1 - a) + ink[width_ + 1] * a) * b;
    }

private:
    /* Strokes of a letter: three lying ones, three standing ones in each half. */
    using Glyph = std::array<bool, 9>;

    int Pixels(double millimetres) const { return static_cast<int>(std::lround(millimetres * pixels_)); }

    void Box(double left, double top, double width, double height, int ink)
    {
        const int x0 = std::clamp(Pixels(left), 0, width_), y0 = std::clamp(Pixels(top), 0, height_);
        const int x1 = std::min(x0 + std::max(1, Pixels(width)), width_);
        const int y1 = std::min(y0 + std::max(1, Pixels(height)), height_);
        for (int y = y0; y < y1; ++y)
            std::fill_n(ink_.begin() + static_cast<std::ptrdiff_t>(y) * width_ + x0, x1 - x0,
                        static_cast<std::uint8_t>(ink));
    }

    void Letter(const Glyph& glyph, double x, double y, double height)
    {
        const double width = height * 0.6, stroke = height * 0.13;
        for (size_t k = 0; k < 3; ++k) {
            const double part = static_cast<double>(k) / 2.0;
            if (glyph[k]) Box(x, y + part * (height - stroke), width, stroke, 255);
            if (glyph[3 + k]) Box(x + part * (width - stroke), y, stroke, height / 2, 255);
            if (glyph[6 + k]) Box(x + part * (width - stroke), y + height / 2, stroke, height / 2, 255);
        }
    }

    /* Each answers where the next thing may begin. */
    double Line(Random* random, double margin, double y, double share, double letter)
    {
        const double end = margin + share * (kPageWidth - 2 * margin);
        double x = margin;
        while (x < end) {
            for (int k = random->Whole(2, 9); k > 0 && x < end; --k) {
                Letter(alphabet_[static_cast<size_t>(random->Whole(0, 25))], x, y, letter);
                x += letter * 0.8;
            }
            x += letter * 0.8;
        }
        return y + letter * 1.9;
    }

    double Paragraph(Random* random, double margin, double y, double letter, double bottom)
    {
        for (int lines = random->Whole(2, 9); lines > 0 && y + letter < bottom; --lines)
            y = Line(random, margin, y, lines == 1 ? random->In(0.2, 0.9) : 1.0, letter);
        return y;
    }

    double Photograph(Random* random, double margin, double y, double height)
    {
        constexpr double kStep = 25.4 / 30.0; /* squares of a thirtieth of an inch */
        const int columns = static_cast<int>(random->In(0.3, 1.0) * (kPageWidth - 2 * margin) / kStep);
        const int rows = static_cast<int>(height / kStep);
        const double wave = random->In(0.05, 0.2) * kStep;
        for (int j = 0; j < rows; ++j)
            for (int i = 0; i < columns; ++i)
                Box(margin + i * kStep, y + j * kStep, kStep, kStep,
                    140 + static_cast<int>(90.0 * std::sin(i * wave) * std::cos(j * wave * 1.7)));
        return y + height;
    }

    double Form(double margin, double y, int rows)
    {
        constexpr double kRow = 7.0, kRule = 0.3;
        const double width = kPageWidth - 2 * margin;
        for (int k = 0; k <= rows; ++k) Box(margin, y + k * kRow, width, kRule, 220);
        for (int k = 0; k <= 4; ++k) Box(margin + k * width / 4, y, kRule, rows * kRow, 220);
        return y + rows * kRow;
    }

    double pixels_; /* a millimetre */
    int width_, height_;
    std::vector<std::uint8_t> ink_;
    std::array<Glyph, 26> alphabet_{};
};

/* Blue, green, red; grey is the green. */
using Colour = std::array<double, 3>;

Colour Tinted(Random* random, double grey, double most)
{
    return {grey + random->In(-most, most), grey, grey + random->In(-most, most)};
}

/* How a scan looks, and how large it is in pixels. */
struct Look {
    Look(Random* random, int dpi, int depth)
    {
        const double pixels = dpi / 25.4;
        width = static_cast<int>(random->In(229.5, 233.0) * pixels);
        height = static_cast<int>(random->In(313.0, 316.0) * pixels);
        ground = depth == 1 || random->Chance(0.8) ? Ground::dark : Ground::light;
        const bool recycled = ground == Ground::light && random->Chance(0.5);
        double under = random->In(6.0, 70.0), white = random->In(205.0, 246.0);
        if (ground == Ground::light) under = recycled ? random->In(240.0, 250.0) : random->In(150.0, 190.0);
        if (recycled) white = under - random->In(35.0, 60.0);
        /* Most scanners are set to make white paper all white, whatever its grain; in colour fewer are. */
        if (!recycled && random->Chance(depth == 24 ? 0.4 : 0.85)) white = 262.0;
        board = Tinted(random, under, 6.0);
        paper = Tinted(random, white, 5.0);
        print = Tinted(random, random->In(20.0, 70.0), 15.0);
        grain = depth == 24 ? random->In(1.2, 3.0) : random->In(0.7, 1.8); /* a grey is the mean of three */
        if (ground == Ground::light)
            grain /= 2; /* on a lid, which differs from the page by little, more would hide it */
        blur = random->In(0.6, 1.4);
        slope = random->In(-5.0, 5.0);
    }

    int width = 0, height = 0;
    Ground ground = Ground::dark;
    Colour board{}, paper{}, print{};
    double grain = 0.0, blur = 0.0;
    double slope = 0.0; /* of the light, grey levels from the scan's top to its bottom */
};

Place PlacePage(Random* random, const Look& look, int dpi)
{
    const double pixels = dpi / 25.4;
    Place page;
    page.width = kPageWidth * pixels;
    page.height = kPageHeight * pixels;
    page.angle_deg = random->In(-kMostDegrees, kMostDegrees);
    const double c = std::cos(page.angle_deg * kDegree), s = std::fabs(std::sin(page.angle_deg * kDegree));
    const double room_x = (look.width - page.width * c - page.height * s) / 2 - kFree * pixels;
    const double room_y = (look.height - page.width * s - page.height * c) / 2 - kFree * pixels;
    page.center = {look.width / 2.0 + random->In(-room_x, room_x), look.height / 2.0 + random->In(-room_y, room_y)};
    return page;
}

std::uint8_t Level(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)); }

/* A row of pixels, from the left; the cut is between black and white. */
class RowWriter
{
public:
    RowWriter(std::uint8_t* row, int depth, int width, double cut) : row_(row), depth_(depth), cut_(cut)
    {
        if (depth == 1) std::fill_n(row, (width + 7) / 8, std::uint8_t{0});
    }
    /* Each channel of a scanner has a grain of its own. */
    void Put(int x, const Colour& colour, Noise* noise, double grain)
    {
        if (depth_ == 24)
            for (size_t k = 0; k < 3; ++k)
                row_[3 * x + static_cast<int>(k)] = Level(colour[k] + grain * (*noise)());
        else if (depth_ == 8)
            row_[x] = Level(colour[1] + grain * (*noise)());
        else if (colour[1] + grain * (*noise)() > cut_)
            row_[x / 8] = static_cast<std::uint8_t>(row_[x / 8] | (128 >> (x % 8)));
    }

private:
    std::uint8_t* row_;
    int depth_;
    double cut_;
};

Colour Blended(const Colour& from, const Colour& to, double share)
{
    return {from[0] + share * (to[0] - from[0]), from[1] + share * (to[1] - from[1]),
            from[2] + share * (to[2] - from[2])};
}

/* `cover(x, y)` says how much of the page is seen at a pixel, `page(x, y)` how it looks there. */
template <class Cover, class Page>
Bitmap Paint(const Look& look, int depth, Noise* noise, Cover cover, Page page)
{
    Bitmap bitmap;
    if (Bitmap::Make(look.width, look.height, depth, &bitmap)) throw std::bad_alloc();
    for (int y = 0; y < look.height; ++y) {
        const double light = look.slope * (y / static_cast<double>(look.height) - 0.5);
        const Colour board = {look.board[0] + light, look.board[1] + light, look.board[2] + light};
        RowWriter row(bitmap.row(look.height - 1 - y), depth, look.width, (look.board[1] + look.paper[1]) / 2);
        for (int x = 0; x < look.width; ++x) {
            const double share = cover(x, y);
            if (share <= 0.0)
                row.Put(x, board, noise, look.grain);
            else
                row.Put(x, Blended(board, page(x, y), share), noise, look.grain);
        }
    }
    return bitmap;
}

} // namespace

Scan MakePrinted(std::uint64_t seed, int dpi, int depth)
{
    Random random(seed);
    const Look look(&random, dpi, depth);
    const Place place = PlacePage(&random, look, dpi);
    const Print print(&random, dpi);
    Noise noise(&random);
    /* Place::Inside, with what is the same for all pixels taken out of the loop. */
    const Point origin = place.Inside(0, 0), right = place.Inside(1, 0), down = place.Inside(0, 1);
    const auto inside = [&](int x, int y) {
        return Point{origin.x + x * (right.x - origin.x) + y * (down.x - origin.x),
                     origin.y + x * (right.y - origin.y) + y * (down.y - origin.y)};
    };
    const auto cover = [&](int x, int y) {
        const Point p = inside(x, y);
        const double depth_inside = std::min(place.width / 2 - std::fabs(p.x), place.height / 2 - std::fabs(p.y));
        return std::clamp(depth_inside / (2 * look.blur) + 0.5, 0.0, 1.0);
    };
    const auto page = [&](int x, int y) { return Blended(look.paper, look.print, print.At(inside(x, y)) / 255.0); };

    Scan scan;
    scan.bitmap = Paint(look, depth, &noise, cover, page);
    scan.ground = look.ground;
    scan.corners = place.Corners();
    scan.angle_deg = place.angle_deg;
    scan.kind = "printed";
    return scan;
}

Bitmap MakeEmpty(std::uint64_t seed, int dpi, int depth)
{
    Random random(seed);
    const Look look(&random, dpi, depth);
    Noise noise(&random);
    return Paint(
        look, depth, &noise, [](int, int) { return 0.0; }, [&](int, int) { return look.paper; });
}

} // namespace study
