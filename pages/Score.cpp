/*
 * Score.cpp - how far a frame deserves trust.
 */
#include "Score.h"

#include <algorithm>
#include <cmath>

namespace quarlo
{

namespace
{

constexpr int kInward = 10;    /* pixels within which a step is looked for on the inner side */
constexpr double kStray = 3.0; /* pixels from the line through the steps at which a step still counts */
constexpr int kPlaces = 96;    /* at which an edge is looked at */
constexpr double kEnds = 0.04; /* share of an edge left out at either end, where corners are worn */
constexpr int kReach = 18;     /* pixels that are looked at on either side */

double Median(std::vector<double> values)
{
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/* An edge of the frame in bitmap rows, and the way out of the page. */
struct Side {
    Point from, to, out;
    double length;
};

Side MakeSide(Point from, Point to, Point middle)
{
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    Point out = {(to.y - from.y) / std::max(length, 1e-9), -(to.x - from.x) / std::max(length, 1e-9)};
    const Point centre = {(from.x + to.x) / 2 - middle.x, (from.y + to.y) / 2 - middle.y};
    if (out.x * centre.x + out.y * centre.y < 0.0) out = {-out.x, -out.y};
    return {from, to, out, length};
}

/* The levels across the edge at one place, from the inside to the outside, each the mean of three along the edge. */
struct Profile {
    std::array<double, 2 * kReach + 1> level;
    int first = 0, last = -1; /* those that lie in the picture */
};

Profile Look(const GreyView& view, const Side& side, double t)
{
    Profile profile;
    const Point along = {(side.to.x - side.from.x) / side.length, (side.to.y - side.from.y) / side.length};
    const double x = side.from.x + t * (side.to.x - side.from.x), y = side.from.y + t * (side.to.y - side.from.y);
    profile.first = 2 * kReach + 1;
    for (int k = -kReach; k <= kReach; ++k) {
        double sum = 0.0;
        int count = 0;
        for (int j = -2; j <= 2; ++j) {
            const double px = x + k * side.out.x + j * along.x, py = y + k * side.out.y + j * along.y;
            if (!view.Holds(px, py)) continue;
            sum += view.At(static_cast<int>(px + 0.5), static_cast<int>(py + 0.5));
            ++count;
        }
        if (count == 0) continue;
        profile.level[static_cast<size_t>(k + kReach)] = sum / count;
        profile.first = std::min(profile.first, k + kReach);
        profile.last = k + kReach;
    }
    return profile;
}

double Mean(const Profile& profile, int from, int to)
{
    double sum = 0.0;
    int count = 0;
    for (int k = std::max(from + kReach, profile.first); k <= std::min(to + kReach, profile.last); ++k, ++count)
        sum += profile.level[static_cast<size_t>(k)];
    return count == 0 ? -1.0 : sum / count;
}

/* Where the levels step most from page to ground, in pixels outside the edge, and by how many levels. */
struct Step {
    double at = 0.0;
    double height = 0.0;
};

/* Between pixels by a parabola. */
Step FindStep(const Profile& profile, double sign)
{
    std::array<double, 2 * kReach + 1> heights{};
    int best = -1;
    for (int k = std::max(profile.first + 3, kReach - kInward); k + 3 <= profile.last; ++k) {
        double& height = heights[static_cast<size_t>(k)];
        for (int j = 1; j <= 3; ++j)
            height += sign *
                      (profile.level[static_cast<size_t>(k - j)] - profile.level[static_cast<size_t>(k + j)]) / 3.0;
        if (best < 0 || height > heights[static_cast<size_t>(best)]) best = k;
    }
    if (best < 0) return {};
    /* Coming from outside, the first step that is nearly as high is the page's; print begins behind it. */
    const double most = heights[static_cast<size_t>(best)];
    for (int k = profile.last - 3; k > best; --k)
        if (heights[static_cast<size_t>(k)] >= 0.6 * most &&
            heights[static_cast<size_t>(k)] >= heights[static_cast<size_t>(k - 1)] &&
            heights[static_cast<size_t>(k)] > (k + 3 < profile.last ? heights[static_cast<size_t>(k + 1)] : -1.0)) {
            best = k;
            break;
        }
    Step step = {static_cast<double>(best - kReach), heights[static_cast<size_t>(best)]};
    if (best <= profile.first + 3 || best + 3 >= profile.last) return step;
    const double before = heights[static_cast<size_t>(best - 1)], after = heights[static_cast<size_t>(best + 1)];
    const double bend = before - 2.0 * step.height + after;
    if (bend < 0.0) step.at += std::clamp((before - after) / (2.0 * bend), -0.5, 0.5);
    return step;
}

/* The steps along an edge, and the line through them. */
struct Steps {
    std::vector<double> ts;
    std::vector<Step> steps;
    double height = 0.0; /* median */
    double slope = 0.0;  /* pixels per pixel, by the median of the slopes between places (Theil and Sen) */
    double shift = 0.0;  /* pixels outward, in the middle */
};

Steps FindSteps(const std::vector<Profile>& profiles, const std::vector<double>& ts, double length, double sign)
{
    Steps found;
    found.ts = ts;
    std::vector<double> heights, slopes, shifts;
    for (const Profile& profile : profiles) {
        found.steps.push_back(FindStep(profile, sign));
        heights.push_back(found.steps.back().height);
    }
    found.height = Median(heights);
    /* Steps far below the median are noise, and would only disturb the line. */
    std::vector<size_t> firm;
    for (size_t i = 0; i < found.steps.size(); ++i)
        if (found.steps[i].height >= 0.35 * found.height) firm.push_back(i);
    for (size_t i = 0; i < firm.size(); i += 2)
        for (size_t k = i + firm.size() / 4 + 1; k < firm.size(); k += 2)
            slopes.push_back((found.steps[firm[k]].at - found.steps[firm[i]].at) /
                             ((ts[firm[k]] - ts[firm[i]]) * length));
    found.slope = Median(slopes);
    for (const size_t i : firm) shifts.push_back(found.steps[i].at - found.slope * (ts[i] - 0.5) * length);
    found.shift = Median(shifts);
    return found;
}

EdgeEvidence WeighEdge(const GreyView& view, const Side& side, bool on_border)
{
    EdgeEvidence edge;
    std::vector<Profile> profiles;
    std::vector<double> insides, outsides, ts, off;
    for (int i = 0; i < kPlaces; ++i) {
        const double t = kEnds + (1.0 - 2.0 * kEnds) * (i + 0.5) / kPlaces;
        const double x = side.from.x + t * (side.to.x - side.from.x),
                     y = side.from.y + t * (side.to.y - side.from.y);
        if (on_border || !view.Holds(x + 3.0 * side.out.x, y + 3.0 * side.out.y)) {
            if (view.Holds(x - 6.0 * side.out.x, y - 6.0 * side.out.y))
                insides.push_back(Mean(Look(view, side, t), -8, -4));
            continue;
        }
        profiles.push_back(Look(view, side, t));
        ts.push_back(t);
    }
    edge.seen = static_cast<double>(profiles.size()) / kPlaces;
    edge.at_border = edge.seen < 0.3;
    if (edge.at_border) {
        edge.inside = Median(insides);
        return edge;
    }
    const Steps bright = FindSteps(profiles, ts, side.length, 1.0),
                dark = FindSteps(profiles, ts, side.length, -1.0);
    std::vector<double> contrasts;
    for (const Profile& profile : profiles) contrasts.push_back(Mean(profile, -6, -2) - Mean(profile, 2, 6));
    const double contrast = Median(contrasts);
    const double sign = contrast > 4.0 ? 1.0 : contrast < -4.0 ? -1.0 : bright.height >= dark.height ? 1.0 : -1.0;
    const Steps& steps = sign > 0.0 ? bright : dark;
    insides.clear();
    int supported = 0;
    for (size_t i = 0; i < profiles.size(); ++i) {
        const int at = static_cast<int>(std::lround(steps.shift));
        insides.push_back(Mean(profiles[i], at - 6, at - 2));
        outsides.push_back(Mean(profiles[i], at + 2, at + 6));
        off.push_back(std::fabs(steps.steps[i].at - steps.shift - steps.slope * (ts[i] - 0.5) * side.length));
        if (steps.steps[i].height >= std::max(4.0, 0.35 * steps.height) && off.back() <= kStray) ++supported;
    }
    edge.support = static_cast<double>(supported) / static_cast<double>(profiles.size());
    edge.contrast = sign * steps.height;
    edge.inside = Median(insides);
    edge.outside = Median(outsides);
    edge.shift = steps.shift;
    edge.slope = std::atan(steps.slope) * 180.0 / M_PI;
    edge.spread = Median(off);
    return edge;
}

double AngleBetween(double a, double b);

/* Whether the points of an edge are those where the picture ends. */
bool LiesOnBorder(const GreyView& view, const FittedLine& line)
{
    if (line.rms > 3.0) return false;
    const bool upright = AngleBetween(line.angle_deg, 90.0) < 1.0, level = AngleBetween(line.angle_deg, 0.0) < 1.0;
    return (upright && (line.mean.x < 4.0 || line.mean.x > view.width() - 5.0)) ||
           (level && (line.mean.y < 4.0 || line.mean.y > view.height() - 5.0));
}

double AngleBetween(double a, double b)
{
    const double d = std::fabs(std::remainder(a - b, 180.0));
    return d;
}

double Fall(double value, double full, double none) { return std::clamp((none - value) / (none - full), 0.0, 1.0); }

void Judge(const std::array<Point, 4>& corners, Evidence* evidence)
{
    std::array<EdgeEvidence, 4>& edges = evidence->edges;
    /* Levels of page and ground as the real edges have them. */
    std::vector<double> insides, outsides;
    int real = 0;
    double least = 1.0;
    for (const EdgeEvidence& edge : edges)
        if (!edge.at_border) {
            ++real;
            insides.push_back(edge.inside);
            outsides.push_back(edge.outside);
            least = std::min(least, edge.support);
        }
    if (real == 0) return;
    const double page = Median(insides), ground = Median(outsides);
    double border = 1.0;
    for (const EdgeEvidence& edge : edges)
        if (edge.at_border)
            border = std::min(border, std::fabs(edge.inside - page) < std::fabs(edge.inside - ground) ? 1.0 : 0.0);
    double same = 1.0;
    for (const EdgeEvidence& edge : edges)
        if (!edge.at_border && edge.contrast * (page - ground) <= 0.0) same = 0.3;
    /* How far the steps say that the frame's angle and place are off. */
    double sum = 0.0, weight = 0.0, lost = 0.0;
    for (size_t i = 0; i < 4; ++i) {
        if (edges[i].at_border) continue;
        const Point a = corners[i], b = corners[(i + 1) % 4], c = corners[(i + 2) % 4];
        const double length = std::hypot(b.x - a.x, b.y - a.y), across = std::hypot(c.x - b.x, c.y - b.y);
        const bool upright = i % 2 == 1;
        /* The upright edges alone give the angle, where there are such. */
        const double share = length * (upright ? 1.0 : 0.001);
        sum += edges[i].slope * share;
        weight += share;
        lost += (std::fabs(edges[i].shift) + length * std::fabs(std::tan(edges[i].slope * M_PI / 180.0)) / 4.0) /
                std::max(across, 1.0);
    }
    evidence->skew_error = std::fabs(sum / weight);
    evidence->overlap = 1.0 - lost;
    const double borders[] = {0.0, 0.4, 0.9 * (1.0 - 0.6 * (1.0 - Fall(evidence->area, 0.85, 0.95))), 0.97, 1.0};
    evidence->real = real;
    evidence->score = least * same * border * borders[real] * Fall(evidence->skew_error, 0.35, 1.2) *
                      Fall(1.0 - evidence->overlap, 0.04, 0.2) * Fall(evidence->parallel_deg, 1.0, 4.0);
    evidence->rank = evidence->score * (1.0 - 0.2 * evidence->skew_error - 0.5 * (1.0 - evidence->overlap));
}

} // namespace

Evidence Weigh(const GreyView& view, const Detection& detection)
{
    Evidence evidence;
    const Placement& placement = detection.placement;
    std::array<Point, 4> corners = CornersOf(placement);
    for (Point& corner : corners) corner.y = placement.scan_height - 1 - corner.y;
    Point middle;
    for (const Point& corner : corners) {
        middle.x += corner.x / 4.0;
        middle.y += corner.y / 4.0;
    }
    double best_fit[4] = {90, 90, 90, 90};
    std::array<int, 4> edge_of{};
    for (size_t i = 0; i < 4; ++i) {
        const Side side = MakeSide(corners[i], corners[(i + 1) % 4], middle);
        if (side.length < 1.0) return evidence;
        EdgeEvidence& edge = evidence.edges[i];
        /* The edge set whose line runs nearest to this side of the frame. */
        double nearest = 1e300;
        const double angle = std::atan2(side.to.y - side.from.y, side.to.x - side.from.x) * 180.0 / M_PI;
        for (size_t k = 0; k < 4; ++k) {
            const EdgePoints& points = detection.edges[k];
            if (points.points == 0) continue;
            const double lean = AngleBetween(points.line.angle_deg, angle);
            const double distance = std::fabs((points.line.mean.x - side.from.x) * side.out.x +
                                              (points.line.mean.y - side.from.y) * side.out.y);
            const double badness = distance + side.length * std::tan(std::min(lean, 89.0) * M_PI / 180.0) / 2;
            if (badness < nearest) {
                nearest = badness;
                edge_of[i] = static_cast<int>(k);
                edge.lean = lean;
                edge.rms = points.line.rms;
                edge.span = points.points /
                            std::max(std::fabs(side.to.x - side.from.x), std::fabs(side.to.y - side.from.y));
                best_fit[i] = points.line.angle_deg;
            }
        }
        const EdgePoints& points = detection.edges[static_cast<size_t>(edge_of[i])];
        const bool on_border = LiesOnBorder(view, points.line);
        const EdgeEvidence kept = edge;
        edge = WeighEdge(view, side, on_border);
        edge.set = edge_of[i];
        edge.lean = kept.lean;
        edge.rms = kept.rms;
        edge.span = kept.span;
    }
    for (size_t i = 0; i < 2; ++i)
        if (!evidence.edges[i].at_border && !evidence.edges[i + 2].at_border)
            evidence.parallel_deg = std::max(evidence.parallel_deg, AngleBetween(best_fit[i], best_fit[i + 2]));
    for (size_t i = 0; i < 4; ++i)
        if (!evidence.edges[i].at_border && !evidence.edges[(i + 1) % 4].at_border)
            evidence.square_deg =
                std::max(evidence.square_deg, std::fabs(90.0 - AngleBetween(best_fit[i], best_fit[(i + 1) % 4])));
    double twice = 0.0;
    for (size_t i = 0; i < 4; ++i)
        twice += corners[i].x * corners[(i + 1) % 4].y - corners[(i + 1) % 4].x * corners[i].y;
    evidence.area = std::fabs(twice) / 2.0 / view.width() / view.height();
    Judge(corners, &evidence);
    return evidence;
}

} // namespace quarlo
