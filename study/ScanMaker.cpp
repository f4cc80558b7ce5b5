/*
 * ScanMaker.cpp - scans whose page lies exactly where it was put.
 *
 * A scan is made pixel by pixel: the distance from the page's outline decides, softened by the scanner's blur, how much
 * of the page and how much of the ground is seen; then come gradients, shadows, specks, streaks and noise.
 */
#include "ScanMaker.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "BitmapProcessing.h"
#include "Place.h"
#include "Random.h"

namespace study
{

using quarlo::Ground;
using quarlo::Point;

namespace
{

/* Smooth noise between -1 and 1: random values on a coarse lattice, blended. */
class Cloud
{
public:
    Cloud(Random* random, double cell) : cell_(cell)
    {
        for (double& value : lattice_) value = random->In(-1.0, 1.0);
    }
    double At(double x, double y) const
    {
        const double u = x / cell_ + 1000.0, v = y / cell_ + 1000.0;
        const int i = static_cast<int>(u), j = static_cast<int>(v);
        const double a = Ease(u - i), b = Ease(v - j);
        return (Value(i, j) * (1 - a) + Value(i + 1, j) * a) * (1 - b) +
               (Value(i, j + 1) * (1 - a) + Value(i + 1, j + 1) * a) * b;
    }

private:
    static double Ease(double t) { return t * t * (3.0 - 2.0 * t); }
    double Value(int i, int j) const { return lattice_[static_cast<size_t>((i * 73 + j * 179) & 1023)]; }

    double cell_;
    std::array<double, 1024> lattice_;
};

/* Where the page lies, and how its outline looks. */
struct Sheet : Place {
    double wave = 0.0;            /* amplitude of the outline's waves */
    double round = 0.0;           /* radius of worn corners */
    std::array<double, 4> torn{}; /* legs of torn corners */

    /* The depth inside the page, negative outside. */
    double Depth(Point p, const Cloud& waves) const
    {
        const double sway = wave == 0.0 ? 0.0 : wave * waves.At(p.x, p.y);
        double depth = std::min(width / 2 - std::fabs(p.x), height / 2 - std::fabs(p.y)) + sway;
        const double leg = torn[(p.x > 0 ? 1 : 0) + (p.y > 0 ? 2 : 0)];
        const double cut = (width / 2 - std::fabs(p.x)) + (height / 2 - std::fabs(p.y)) - leg;
        if (leg > 0.0) depth = std::min(depth, cut * 0.7 + 2.0 * waves.At(p.x * 7, p.y * 7));
        const double a = std::fabs(p.x) - (width / 2 - round), b = std::fabs(p.y) - (height / 2 - round);
        if (round > 0.0 && a > 0.0 && b > 0.0) depth = std::min(depth, round - std::hypot(a, b));
        return depth;
    }
};

/* What a scan is made of beside its page's place. */
struct Look {
    double ground = 30.0, page = 220.0;
    double noise = 2.0, page_noise = 2.0;
    double blur = 1.0;
    double slope_x = 0.0, slope_y = 0.0; /* grey levels across the picture */
    double cloud = 0.0;
    double shade = 0.0; /* of the page towards one side */
    double shadow = 0.0, shadow_width = 0.0, shadow_x = 0.0, shadow_y = 0.0;
    int specks = 0, streaks = 0;
    double tint[3] = {0.0, 0.0, 0.0}; /* of the ground: blue, green, red */
    double paper[3] = {0.0, 0.0, 0.0};
};

std::string Join(const std::vector<std::string>& words)
{
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : " ") + word;
    return all.empty() ? "plain" : all;
}

/* A page of the given shape inside a picture of this size; some touch or leave its borders. */
Sheet PlaceSheet(Random* random, int width, int height, std::vector<std::string>* words)
{
    Sheet sheet;
    const double kind = random->Unit();
    sheet.angle_deg = kind < 0.12 ? 0.0 : random->In(-1.0, 1.0) * (kind < 0.5 ? 3.0 : kind < 0.75 ? 10.0 : 30.0);
    const bool leaving = random->Chance(0.22);
    const bool narrow = !leaving && random->Chance(0.08);
    const double c = std::cos(sheet.angle_deg * kDegree), s = std::fabs(std::sin(sheet.angle_deg * kDegree));

    /* The largest page of a random shape that fits, then a share of it. */
    const double shape = narrow ? random->In(3.0, 6.0) : random->In(0.6, 1.7);
    const double fit = std::min(width / (c + shape * s), height / (s + shape * c));
    const double share = narrow ? random->In(0.75, 0.97) : random->In(0.5, 0.96);
    sheet.width = fit * share;
    sheet.height = fit * share * shape;
    if (narrow && random->Chance(0.5) && std::fabs(sheet.angle_deg) < 10.0) std::swap(sheet.width, sheet.height);
    if (sheet.width > width * 0.96) sheet.width = width * 0.96;
    const double half_x = (sheet.width * c + sheet.height * s) / 2,
                 half_y = (sheet.width * s + sheet.height * c) / 2;
    const double room_x = std::max(0.0, width / 2.0 - half_x - 3.0),
                 room_y = std::max(0.0, height / 2.0 - half_y - 3.0);
    sheet.center = {width / 2.0 + random->In(-room_x, room_x), height / 2.0 + random->In(-room_y, room_y)};
    if (narrow) words->push_back("narrow");
    if (leaving) {
        words->push_back("leaving");
        sheet.angle_deg /= 4.0;
        const double beyond = random->Chance(0.3) ? 0.0 : random->In(0.0, 0.15);
        const int side = random->Whole(0, 5);
        if (side == 0 || side == 4) sheet.center.x = half_x - 2.0 * half_x * beyond;
        if (side == 1 || side == 5) sheet.center.x = width - half_x + 2.0 * half_x * beyond;
        if (side == 2 || side == 4) sheet.center.y = half_y - 2.0 * half_y * beyond;
        if (side == 3 || side == 5) sheet.center.y = height - half_y + 2.0 * half_y * beyond;
    }
    if (random->Chance(0.2)) {
        words->push_back("wavy");
        sheet.wave = random->In(0.5, 3.0);
    }
    if (random->Chance(0.2)) {
        words->push_back("worn");
        sheet.round = random->In(5.0, 40.0);
    }
    for (double& leg : sheet.torn)
        if (random->Chance(0.06)) {
            words->push_back("torn");
            leg = std::min(sheet.width, sheet.height) * random->In(0.05, 0.22);
        }
    return sheet;
}

/* How the scan looks; `mess` from 0 to 1 says how much may go wrong at once. */
Look ChooseLook(Random* random, Ground ground, std::vector<std::string>* words)
{
    Look look;
    const double mess = random->Unit();
    const bool dark = ground == Ground::dark;
    if (dark) {
        look.ground = random->Chance(0.3) ? random->In(0.0, 12.0) : random->In(5.0, 120.0);
        look.page = random->In(std::max(110.0, look.ground + 35.0), 252.0);
        if (look.page - look.ground < 60.0) words->push_back("faint");
    } else {
        look.ground = random->In(170.0, 250.0);
        const double step = random->Chance(0.25) ? random->In(8.0, 18.0) : random->In(18.0, 90.0);
        const bool brighter = look.ground + step < 254.0 && random->Chance(0.3);
        look.page = brighter ? look.ground + step : look.ground - step;
        if (step < 18.0) words->push_back("faint");
        if (brighter) words->push_back("brighter");
    }
    const double step = std::fabs(look.page - look.ground);
    look.noise = random->Chance(mess * 0.5) ? random->In(4.0, 14.0) : random->In(0.3, 4.0);
    look.noise = std::min(look.noise, step / 4.0);
    look.page_noise = random->In(0.5, 5.0);
    if (look.noise > 4.0) words->push_back("noisy");
    look.blur = random->In(0.5, 2.0);
    if (random->Chance(mess * 0.3)) {
        words->push_back("gradient");
        const double most = std::min(30.0, step * 0.5);
        look.slope_x = random->In(-most, most);
        look.slope_y = random->In(-most, most);
    }
    if (random->Chance(mess * 0.25)) {
        words->push_back("cloudy");
        look.cloud = random->In(0.1, 0.3) * step;
        look.cloud = std::min(look.cloud, 15.0);
    }
    if (random->Chance(mess * 0.2)) {
        words->push_back("shaded");
        look.shade = random->In(0.1, 0.35) * step;
    }
    if (random->Chance(mess * (dark ? 0.1 : 0.4))) {
        words->push_back("shadow");
        look.shadow = random->In(5.0, 40.0);
        look.shadow_width = random->In(3.0, 18.0);
        look.shadow_x = random->In(-1.0, 1.0);
        look.shadow_y = random->In(-1.0, 1.0);
    }
    if (random->Chance(mess * 0.35)) {
        words->push_back("specks");
        look.specks = random->Whole(3, random->Chance(0.5) ? 30 : 300);
    }
    if (random->Chance(mess * 0.1)) {
        words->push_back("streaks");
        look.streaks = random->Whole(1, 3);
    }
    for (double& tint : look.tint) tint = random->Chance(0.5) ? random->In(-12.0, 12.0) : 0.0;
    for (double& paper : look.paper) paper = random->Chance(0.5) ? random->In(-15.0, 0.0) : 0.0;
    return look;
}

/* Grey levels that print takes from the paper: lines of words, and now and then a picture. */
class Print
{
public:
    Print(Random* random, const Sheet& sheet) : sheet_(sheet), cloud_(random, 3.0)
    {
        margin_ = random->In(0.04, 0.15) * std::min(sheet.width, sheet.height);
        pitch_ = random->In(14.0, 40.0);
        ink_ = random->Chance(0.15) ? 0.0 : random->In(60.0, 190.0);
        if (random->Chance(0.2)) {
            picture_ = random->In(40.0, 150.0);
            left_ = random->In(-0.5, 0.2) * sheet.width;
            top_ = random->In(-0.5, 0.2) * sheet.height;
            right_ = left_ + random->In(0.1, 0.5) * sheet.width;
            bottom_ = top_ + random->In(0.1, 0.4) * sheet.height;
            /* Print keeps a little away from the paper's edge. */
            const double w = sheet.width / 2 - 12.0, h = sheet.height / 2 - 12.0;
            left_ = std::max(left_, -w);
            top_ = std::max(top_, -h);
            right_ = std::min(right_, w);
            bottom_ = std::min(bottom_, h);
        }
        for (double& length : lengths_) length = random->Chance(0.12) ? 0.0 : random->In(0.4, 1.0);
    }
    double At(Point p) const
    {
        if (p.x > left_ && p.x < right_ && p.y > top_ && p.y < bottom_) return picture_;
        const double u = p.x + sheet_.width / 2 - margin_, v = p.y + sheet_.height / 2 - margin_;
        const double w = sheet_.width - 2 * margin_, h = sheet_.height - 2 * margin_;
        if (u < 0 || v < 0 || u > w || v > h) return 0.0;
        const int line = static_cast<int>(v / pitch_);
        if (v - line * pitch_ > pitch_ * 0.5 || u > w * lengths_[static_cast<size_t>(line) % lengths_.size()])
            return 0.0;
        return cloud_.At(u, v) > 0.1 ? ink_ : 0.0;
    }

private:
    const Sheet& sheet_;
    Cloud cloud_;
    double margin_, pitch_, ink_;
    double picture_ = 0.0, left_ = 0.0, right_ = 0.0, top_ = 0.0, bottom_ = 0.0;
    std::array<double, 97> lengths_{};
};

double Cover(double depth, double blur) { return std::clamp(depth / (2.0 * blur) + 0.5, 0.0, 1.0); }

struct Speck {
    double x, y, radius, grey;
};

std::vector<Speck> MakeSpecks(Random* random, const Look& look, int width, int height)
{
    std::vector<Speck> specks(static_cast<size_t>(look.specks));
    for (Speck& speck : specks)
        speck = {random->In(0, width), random->In(0, height), random->In(0.5, 3.0),
                 random->Chance(0.7) ? random->In(150.0, 255.0) : random->In(0.0, 90.0)};
    return specks;
}

/* Grey of a picture with the page drawn by `paint`, rows from the top. */
template <class PagePaint, class GroundPaint>
std::vector<double> Paint(Random* random, int width, int height, const Sheet& sheet, const Look& look,
                          PagePaint page_paint, GroundPaint ground_paint)
{
    const Cloud waves(random, 60.0);
    const Cloud clouds(random, width / 4.0);
    Noise noise(random);
    std::vector<double> grey(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Point p = sheet.Inside(x, y);
            const double cover = Cover(sheet.Depth(p, waves), look.blur);
            double value = 0.0;
            if (cover < 1.0) {
                double ground = ground_paint(x, y) + look.slope_x * (x / static_cast<double>(width) - 0.5) +
                                look.slope_y * (y / static_cast<double>(height) - 0.5) +
                                look.cloud * clouds.At(x, y) + look.noise * noise();
                if (look.shadow > 0.0) {
                    const Point q =
                        sheet.Inside(x - look.shadow_x * look.shadow_width, y - look.shadow_y * look.shadow_width);
                    ground -= look.shadow * Cover(sheet.Depth(q, waves), look.shadow_width / 2);
                }
                value += (1.0 - cover) * ground;
            }
            if (cover > 0.0)
                value +=
                    cover * (page_paint(p) - look.shade * (p.x / sheet.width + 0.5) + look.page_noise * noise());
            grey[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] = value;
        }
    for (const Speck& speck : MakeSpecks(random, look, width, height))
        for (int y = static_cast<int>(speck.y - 3); y <= speck.y + 3; ++y)
            for (int x = static_cast<int>(speck.x - 3); x <= speck.x + 3; ++x)
                if (x >= 0 && y >= 0 && x < width && y < height &&
                    std::hypot(x - speck.x, y - speck.y) <= speck.radius)
                    grey[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] = speck.grey;
    for (int i = 0; i < look.streaks; ++i) {
        const int x = random->Whole(0, width - 1);
        const double lift = random->In(-40.0, 60.0);
        for (int y = 0; y < height; ++y)
            grey[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] += lift;
    }
    return grey;
}

std::uint8_t Level(double value) { return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

/* Rows from the top become rows from the bottom, in the wanted depth. */
quarlo::Bitmap Store(const std::vector<double>& grey, int width, int height, int depth, double cut,
                     const Look& look, const Sheet& sheet)
{
    quarlo::Bitmap bitmap;
    if (quarlo::Bitmap::Make(width, height, depth, &bitmap)) return bitmap;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = bitmap.row(height - 1 - y);
        const double* from = grey.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
        if (depth == 1) std::fill_n(row, (width + 7) / 8, std::uint8_t{0});
        for (int x = 0; x < width; ++x) {
            if (depth == 1) {
                if (from[x] > cut) row[x / 8] = static_cast<std::uint8_t>(row[x / 8] | (128 >> (x % 8)));
            } else if (depth == 8) {
                row[x] = Level(from[x]);
            } else {
                const Point p = sheet.Inside(x, y);
                const bool inside = std::fabs(p.x) < sheet.width / 2 && std::fabs(p.y) < sheet.height / 2;
                for (int c = 0; c < 3; ++c)
                    row[3 * x + c] = Level(from[x] + (inside ? look.paper[c] : look.tint[c]));
            }
        }
    }
    return bitmap;
}

Scan Finish(const std::vector<double>& grey, int width, int height, int depth, const Look& look, const Sheet& sheet,
            Ground ground, std::vector<std::string> words)
{
    Scan scan;
    words.push_back(std::to_string(depth));
    scan.bitmap = Store(grey, width, height, depth, (look.ground + look.page) / 2, look, sheet);
    scan.ground = ground;
    scan.corners = sheet.Corners();
    scan.angle_deg = sheet.angle_deg;
    scan.kind = Join(words);
    return scan;
}

} // namespace

Scan MakeDrawn(std::uint64_t seed)
{
    Random random(seed);
    std::vector<std::string> words;
    const int width = random.Whole(420, 1500), height = random.Whole(420, 1700);
    const Ground ground = random.Chance(0.65) ? Ground::dark : Ground::light;
    words.emplace_back(NameOf(ground));
    const Sheet sheet = PlaceSheet(&random, width, height, &words);
    const Look look = ChooseLook(&random, ground, &words);
    const double pick = random.Unit();
    const int depth = ground == Ground::dark && pick < 0.2 ? 1 : pick < 0.6 ? 24 : 8;
    const Print print(&random, sheet);
    const std::vector<double> grey = Paint(
        &random, width, height, sheet, look, [&](Point p) { return look.page - std::min(print.At(p), look.page); },
        [&](double, double) { return look.ground; });
    return Finish(grey, width, height, depth, look, sheet, ground, words);
}

namespace
{

/* A stretch of plain ground in a real scan. */
struct Patch {
    const char* name;
    int left, top, right, bottom; /* from the top left */
};
constexpr Patch kPatches[] = {
    {"s03_receipt_corner_8.bmp", 10, 20, 790, 1730},
    {"s07_receipt_board_8.bmp", 70, 20, 780, 1730},
    {"s09_tilt_receipt_8.bmp", 10, 10, 190, 1480},
    {"s11_light_lid_8.bmp", 5, 10, 230, 1280},
};

int Mirrored(int value, int size)
{
    const int period = 2 * size;
    const int rest = ((value % period) + period) % period;
    return rest < size ? rest : period - 1 - rest;
}

double Blend(const RealScan& scan, double x, double y)
{
    const int i = std::clamp(static_cast<int>(x), 0, scan.width - 2),
              j = std::clamp(static_cast<int>(y), 0, scan.height - 2);
    const double a = std::clamp(x - i, 0.0, 1.0), b = std::clamp(y - j, 0.0, 1.0);
    const std::uint8_t* p = scan.grey.data() + static_cast<size_t>(j) * static_cast<size_t>(scan.width) + i;
    return (p[0] * (1 - a) + p[1] * a) * (1 - b) + (p[scan.width] * (1 - a) + p[scan.width + 1] * a) * b;
}

const RealScan* Named(const std::vector<RealScan>& real, std::string_view name)
{
    for (const RealScan& scan : real)
        if (scan.name == name) return &scan;
    return nullptr;
}

double MeanOf(const RealScan& scan, const Patch& patch)
{
    double sum = 0.0;
    int count = 0;
    for (int y = patch.top; y < patch.bottom; y += 7)
        for (int x = patch.left; x < patch.right; x += 7, ++count) sum += Blend(scan, x, y);
    return sum / count;
}

} // namespace

Scan MakePasted(std::uint64_t seed, const std::vector<RealScan>& real)
{
    Random random(seed + 0x5000000000u);
    std::vector<std::string> words = {"pasted"};
    const Patch& patch = kPatches[random.Whole(0, 3)];
    const RealScan* board = Named(real, patch.name);
    const RealScan& paper = real[static_cast<size_t>(random.Whole(0, static_cast<int>(real.size()) - 1))];
    if (board == nullptr) return {};
    const int width = random.Whole(500, 1500), height = random.Whole(500, 1700);
    const Sheet sheet = PlaceSheet(&random, width, height, &words);
    const double lift = random.In(-25.0, 25.0);
    Look look;
    look.ground = MeanOf(*board, patch) + lift;
    const Ground ground = look.ground > 200.0 ? Ground::light : Ground::dark;
    look = ChooseLook(&random, ground, &words);
    look.ground = MeanOf(*board, patch) + lift;
    look.cloud = look.noise = 0.0;
    look.slope_x /= 2;
    look.slope_y /= 2;
    words.emplace_back(NameOf(ground));
    /* The paper is brought to a brightness that stands out by 12 levels at least. */
    const double level = ground == Ground::dark ? random.In(std::min(240.0, look.ground + 30.0), 250.0)
                                                : look.ground - random.In(14.0, 70.0);
    look.page = level;
    const int shift_x = random.Whole(0, 2000), shift_y = random.Whole(0, 2000);
    const auto ground_paint = [&](int x, int y) {
        return Blend(*board, patch.left + Mirrored(x + shift_x, patch.right - patch.left),
                     patch.top + Mirrored(y + shift_y, patch.bottom - patch.top)) +
               lift;
    };
    /* The print of the real page, a little inside its edges; its paper becomes the level. */
    const double white = paper.name.find("_1.bmp") != std::string::npos ? 255.0 : 0.0;
    double bright = white;
    if (bright == 0.0) {
        std::vector<double> values;
        double v = 0.1;
        while (v < 0.9) {
            double u = 0.1;
            while (u < 0.9) {
                values.push_back(Blend(paper,
                                       paper.corners[0].x + u * (paper.corners[1].x - paper.corners[0].x) +
                                           v * (paper.corners[3].x - paper.corners[0].x),
                                       paper.corners[0].y + u * (paper.corners[1].y - paper.corners[0].y) +
                                           v * (paper.corners[3].y - paper.corners[0].y)));
                u += 0.02;
            }
            v += 0.02;
        }
        std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() * 2 / 3), values.end());
        bright = values[values.size() * 2 / 3];
    }
    const auto page_paint = [&](Point p) {
        const double u = 0.04 + 0.92 * std::clamp(p.x / sheet.width + 0.5, 0.0, 1.0);
        const double v = 0.04 + 0.92 * std::clamp(p.y / sheet.height + 0.5, 0.0, 1.0);
        const std::array<Point, 4>& c = paper.corners;
        const double x = (c[0].x * (1 - u) + c[1].x * u) * (1 - v) + (c[3].x * (1 - u) + c[2].x * u) * v;
        const double y = (c[0].y * (1 - u) + c[1].y * u) * (1 - v) + (c[3].y * (1 - u) + c[2].y * u) * v;
        return std::max(0.0, Blend(paper, x, y) * level / bright);
    };
    const double pick = random.Unit();
    const int depth = ground == Ground::dark && pick < 0.1 ? 1 : pick < 0.5 ? 24 : 8;
    const std::vector<double> grey = Paint(&random, width, height, sheet, look, page_paint, ground_paint);
    return Finish(grey, width, height, depth, look, sheet, ground, words);
}

namespace
{

/* Grey from the top; for colour the mean of the three bytes. */
void FillGrey(RealScan* scan)
{
    scan->width = scan->bitmap.width();
    scan->height = scan->bitmap.height();
    scan->grey.resize(static_cast<size_t>(scan->width) * static_cast<size_t>(scan->height));
    for (int y = 0; y < scan->height; ++y)
        for (int x = 0; x < scan->width; ++x) {
            const std::uint8_t* row = scan->bitmap.row(scan->height - 1 - y);
            const int depth = scan->bitmap.depth();
            const int value = depth == 8   ? row[x]
                              : depth == 1 ? ((row[x / 8] >> (7 - x % 8)) & 1) * 255
                                           : (row[3 * x] + row[3 * x + 1] + row[3 * x + 2]) / 3;
            scan->grey[static_cast<size_t>(y) * static_cast<size_t>(scan->width) + static_cast<size_t>(x)] =
                static_cast<std::uint8_t>(value);
        }
}

} // namespace

std::vector<RealScan> ReadRealScans(const std::string& folder)
{
    std::vector<RealScan> scans;
    std::ifstream table(folder + "/scans.tsv");
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#' || line.rfind("file\t", 0) == 0) continue;
        std::vector<std::string> fields;
        std::istringstream stream(line);
        for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
        RealScan scan;
        scan.name = fields.at(0);
        std::string name = folder + "/" + scan.name;
        if (ReadBitmapFromFile(scan.bitmap.rec(), reinterpret_cast<sint8*>(name.data())) != 0) return {};
        FillGrey(&scan);
        scan.ground = fields.at(9) == "1" ? Ground::dark : Ground::light;
        for (size_t i = 0; i < 4; ++i) /* the table counts rows from the bottom */
            scan.corners[i] = {std::stod(fields.at(16 + 2 * i)),
                               scan.height - 1 - std::stod(fields.at(17 + 2 * i))};
        scan.leaves = fields.at(24) != "LTRB";
        scan.angle_deg = -std::stod(fields.at(25));
        scans.push_back(std::move(scan));
    }
    return scans;
}

} // namespace study
