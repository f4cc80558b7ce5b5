/*
 * Levels.cpp - grey levels that may part page and ground.
 *
 * libquarlo's own estimate, the mean of the outermost columns, lies in the middle of a noisy ground, so that half of it
 * counts as page. The candidates here keep clear of the ground by its spread, or lie between ground and page.
 */
#include "Levels.h"

#include <algorithm>
#include <cmath>

#include "Grey.h"
#include "SearchBitmapFrame.h"

namespace quarlo
{

namespace
{

constexpr int kAcross = 240;          /* pixels that are read of a row, and rows, at most */
constexpr double kMargin = 0.03;      /* of the picture's width and height, on either side */
constexpr int kLeastDeparture = 2;    /* levels; less is rounding */
constexpr double kDeviation = 1.4826; /* standard deviation over median absolute deviation, of normal noise */

int Total(const Histogram& histogram)
{
    int total = 0;
    for (const int count : histogram) total += count;
    return total;
}

/* The mean level of the pixels from one level to another. */
double MeanBetween(const Histogram& histogram, int from, int to)
{
    double sum = 0.0, count = 0.0;
    for (int level = std::max(from, 0); level <= std::min(to, 255); ++level) {
        sum += static_cast<double>(level) * histogram[static_cast<size_t>(level)];
        count += histogram[static_cast<size_t>(level)];
    }
    return count > 0.0 ? sum / count : (from + to) / 2.0;
}

double Spread(const Histogram& histogram, int median)
{
    Histogram distances{};
    for (int level = 0; level < 256; ++level)
        distances[static_cast<size_t>(std::abs(level - median))] += histogram[static_cast<size_t>(level)];
    return kDeviation * Quantile(distances, 0.5);
}

/* As whole levels, each once, none below the least. */
std::vector<int> RoundedOnce(const std::vector<double>& wanted, int least)
{
    std::vector<int> levels;
    for (const double value : wanted) {
        const int level = static_cast<int>(std::lround(std::clamp(value, 0.0, 254.0)));
        if (level >= least && std::find(levels.begin(), levels.end(), level) == levels.end())
            levels.push_back(level);
    }
    return levels;
}

} // namespace

int OtsuLevel(const Histogram& histogram)
{
    const double total = Total(histogram);
    double sum = 0.0;
    for (int level = 0; level < 256; ++level)
        sum += static_cast<double>(level) * histogram[static_cast<size_t>(level)];
    double below = 0.0, below_sum = 0.0, best = -1.0;
    int best_level = 127;
    for (int level = 0; level < 255; ++level) {
        below += histogram[static_cast<size_t>(level)];
        below_sum += static_cast<double>(level) * histogram[static_cast<size_t>(level)];
        if (below == 0.0 || below == total) continue;
        const double apart = below_sum / below - (sum - below_sum) / (total - below);
        const double between = below * (total - below) * apart * apart;
        if (between > best) {
            best = between;
            best_level = level;
        }
    }
    return best_level;
}

int Quantile(const Histogram& histogram, double share)
{
    const double wanted = share * Total(histogram);
    double count = 0.0;
    for (int level = 0; level < 256; ++level) {
        count += histogram[static_cast<size_t>(level)];
        if (count >= wanted) return level;
    }
    return 255;
}

Levels MeasureLevels(const Bitmap& bitmap)
{
    Levels levels;
    const GreyView view(bitmap);
    const int step_x = std::max(1, view.width() / kAcross), step_y = std::max(1, view.height() / kAcross);
    const int margin_x = std::max(1, static_cast<int>(view.width() * kMargin));
    const int margin_y = std::max(1, static_cast<int>(view.height() * kMargin));
    for (int y = step_y / 2; y < view.height(); y += step_y)
        for (int x = step_x / 2; x < view.width(); x += step_x) {
            const size_t level = static_cast<size_t>(view.At(x, y));
            ++levels.whole[level];
            if (x < margin_x || x >= view.width() - margin_x || y < margin_y || y >= view.height() - margin_y)
                ++levels.margins[level];
        }
    levels.ground = Quantile(levels.margins, 0.5);
    levels.spread = Spread(levels.margins, levels.ground);
    uint8 estimate = 0;
    if (CalculateDividingPoint(bitmap.rec(), &estimate) == QL_SUCCESS) levels.library = estimate;
    return levels;
}

std::vector<int> CandidateThresholds(const Levels& levels, Ground ground)
{
    const int otsu = OtsuLevel(levels.whole);
    const double spread = std::max(levels.spread, 1.0);
    std::vector<double> wanted;
    if (ground == Ground::dark) {
        const double page = MeanBetween(levels.whole, otsu + 1, 255);
        const int dark = std::min(levels.ground, otsu);
        wanted = {(dark + page) / 2,           otsu + 0.0,
                  dark + 6 * spread,           dark + 3 * spread,
                  dark + 0.25 * (page - dark), dark + 0.75 * (page - dark),
                  dark + 12 * spread,          dark + 24 * spread,
                  levels.library + 0.0,        OtsuLevel(levels.margins) + 0.0,
                  dark + 0.12 * (page - dark), dark + 0.88 * (page - dark)};
    } else {
        /* The band of a light ground is fixed: only thresholds near the ground's own level can part. */
        const double bright = std::max(levels.ground, otsu);
        wanted = {bright,
                  levels.library + 0.0,
                  bright - 4,
                  bright + 4,
                  bright - 8,
                  bright + 8,
                  bright - 2,
                  bright + 2,
                  Quantile(levels.margins, 0.75) + 0.0,
                  Quantile(levels.margins, 0.25) + 0.0};
    }
    return RoundedOnce(wanted, 1);
}

std::vector<int> CandidateDepartures(const Histogram& departures, double spread)
{
    const double most = Quantile(departures, 0.98);
    return RoundedOnce(
        {OtsuLevel(departures) + 0.0, 3.0 * spread, 0.5 * most, 6.0 * spread, 0.25 * most, 0.75 * most},
        kLeastDeparture);
}

} // namespace quarlo
