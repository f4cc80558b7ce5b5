/*
 * Score.cpp - how far a frame deserves trust.
 *
 * Detection answers with a frame, right or wrong. Whether the picture bears it out is seen at the frame's edges: at
 * many places along each, the levels are read from the inside to the outside, and where page meets ground there is a
 * step. A right frame has such steps all along, on one line, and that line is its edge; what is left of a difference
 * tells how far the frame's angle and place are off. An edge on the border of the picture has no ground beside it; the
 * page must then reach up to it.
 */
#include "Score.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace quarlo
{

namespace
{

constexpr double kEnds = 0.04; /* share of an edge left out at either end, where corners are worn */
constexpr int kInner = 16;     /* pixels that are read inside the edge */
constexpr int kOuter = 18;     /* and outside */
constexpr int kLength = kInner + 1 + kOuter;
constexpr int kInward = 10;           /* pixels inside the edge within which a step is looked for */
constexpr int kStepWidth = 3;         /* pixels on either side that make a step */
constexpr double kLeastStep = 4.0;    /* levels */
constexpr double kLeastShare = 0.35;  /* of the median step, for a step to count */
constexpr double kFirstShare = 0.6;   /* of the highest step, for the first one from outside to be taken */
constexpr double kStray = 3.0;        /* pixels off the line through the steps at which a step still counts */
constexpr double kBorderSeen = 0.3;   /* share of an edge in the picture below which it is cut off */
constexpr double kBorderPixels = 4.0; /* from the border of the picture, for a line to be the border's */

double Median(std::vector<double> values)
{
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/* The acute angle between two directions. */
double AngleBetween(double a, double b) { return std::fabs(std::remainder(a - b, 180.0)); }

/* 1 up to `full`, 0 from `none` on, even between. */
double Fall(double value, double full, double none) { return std::clamp((none - value) / (none - full), 0.0, 1.0); }

/* An edge of the frame, in rows as the bitmap has them. */
struct Side {
    Point from, to;
    Point along, out; /* unit vectors, out of the page */
    double length;
    double across; /* the page's extent at a right angle to it */

    Point At(double t) const { return {from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)}; }
    double AngleDeg() const { return std::atan2(along.y, along.x) * 180.0 / M_PI; }
};

Side MakeSide(const std::array<Point, 4>& corners, size_t i)
{
    const Point from = corners[i], to = corners[(i + 1) % 4], next = corners[(i + 2) % 4];
    const double length = std::max(1.0, std::hypot(to.x - from.x, to.y - from.y));
    const double across = std::max(1.0, std::hypot(next.x - to.x, next.y - to.y));
    return {from,
            to,
            {(to.x - from.x) / length, (to.y - from.y) / length},
            {(to.x - next.x) / across, (to.y - next.y) / across},
            length,
            across};
}

/* The levels across an edge at one place, from the inside to the outside, each the mean of three along the edge. */
class Profile
{
public:
    Profile(const GreyView& view, const Side& side, double t)
    {
        const Point at = side.At(t);
        for (int k = -kInner; k <= kOuter; ++k) {
            int sum = 0, count = 0;
            for (int j = -2; j <= 2; j += 2) {
                const double x = at.x + k * side.out.x + j * side.along.x;
                const double y = at.y + k * side.out.y + j * side.along.y;
                if (!view.Holds(x, y)) continue;
                sum += view.Nearest(x, y);
                ++count;
            }
            if (count == 0) continue;
            level_[IndexOf(k)] = static_cast<double>(sum) / count;
            first_ = std::min(first_, k);
            last_ = k;
        }
    }

    /* Of the levels from one distance to another, as far as they lie in the picture. */
    double Mean(int from, int to) const
    {
        double sum = 0.0;
        int count = 0;
        for (int k = std::max(from, first_); k <= std::min(to, last_); ++k, ++count) sum += At(k);
        return count == 0 ? 0.0 : sum / count;
    }
    double At(int k) const { return level_[IndexOf(k)]; }
    int first() const { return first_; }
    int last() const { return last_; }

private:
    static size_t IndexOf(int k)
    {
        const int index = k + kInner;
        return static_cast<size_t>(index);
    }

    std::array<double, kLength> level_{};
    int first_ = kOuter + 1;
    int last_ = -kInner - 1;
};

/* Where the levels step from page to ground, in pixels outside the edge, and by how many levels. */
struct Step {
    double at = 0.0;
    double height = 0.0;
};

/*
 * The highest step; but coming from outside, the first one that is nearly as high is taken: it is the page's, and print
 * begins behind it. Between pixels by a parabola.
 */
Step FindStep(const Profile& profile, double sign)
{
    const int first = std::max(profile.first() + kStepWidth, -kInward), last = profile.last() - kStepWidth;
    if (first > last) return {};
    std::array<double, kLength + 2> heights{}; /* one more on either side, so that ends are no special case */
    const auto height = [&](int k) -> double& {
        const int index = k + kInner + 1;
        return heights[static_cast<size_t>(index)];
    };
    int best = first;
    for (int k = first; k <= last; ++k) {
        double sum = 0.0;
        for (int j = 1; j <= kStepWidth; ++j) sum += profile.At(k - j) - profile.At(k + j);
        height(k) = sign * sum / kStepWidth;
        if (height(k) > height(best)) best = k;
    }
    for (int k = last; k > best; --k)
        if (height(k) >= kFirstShare * height(best) && height(k) >= height(k - 1) && height(k) > height(k + 1))
            best = k;
    if (best == first || best == last) return {static_cast<double>(best), height(best)};
    const double bend = height(best - 1) - 2.0 * height(best) + height(best + 1);
    const double off =
        bend < 0.0 ? std::clamp((height(best - 1) - height(best + 1)) / (2.0 * bend), -0.5, 0.5) : 0.0;
    return {best + off, height(best)};
}

/* The steps along an edge and the line through them. */
struct Steps {
    std::vector<Step> steps;
    double height = 0.0; /* median */
    double slope = 0.0;  /* pixels per pixel: the median of slopes between steps (Theil and Sen) */
    double shift = 0.0;  /* pixels outward, in the middle of the edge */
};

Steps FindSteps(const std::vector<Profile>& profiles, const std::vector<double>& along, double sign)
{
    Steps found;
    std::vector<double> heights, slopes, shifts;
    for (const Profile& profile : profiles) {
        found.steps.push_back(FindStep(profile, sign));
        heights.push_back(found.steps.back().height);
    }
    found.height = Median(heights);
    std::vector<size_t> firm; /* steps far below the median are noise, and would only disturb the line */
    for (size_t i = 0; i < found.steps.size(); ++i)
        if (found.steps[i].height >= kLeastShare * found.height) firm.push_back(i);
    for (size_t i = 0; i < firm.size(); i += 2)
        for (size_t k = i + firm.size() / 4 + 1; k < firm.size(); k += 2)
            slopes.push_back((found.steps[firm[k]].at - found.steps[firm[i]].at) /
                             (along[firm[k]] - along[firm[i]]));
    found.slope = Median(slopes);
    for (const size_t i : firm) shifts.push_back(found.steps[i].at - found.slope * along[i]);
    found.shift = Median(shifts);
    return found;
}

/* Brighter inside (1) or outside (-1)? */
double SignOf(const std::vector<Profile>& profiles)
{
    std::vector<double> contrasts;
    contrasts.reserve(profiles.size());
    for (const Profile& profile : profiles) contrasts.push_back(profile.Mean(-6, -2) - profile.Mean(2, 6));
    return Median(contrasts) < 0.0 ? -1.0 : 1.0;
}

/* The picture ends here: the page's level is all that can be told. */
void LookInside(const GreyView& view, const Side& side, const std::vector<double>& ts, EdgeEvidence* edge)
{
    std::vector<double> insides;
    for (const double t : ts) {
        const Point at = side.At(t);
        if (view.Holds(at.x - 6.0 * side.out.x, at.y - 6.0 * side.out.y))
            insides.push_back(Profile(view, side, t).Mean(-8, -4));
    }
    edge->at_border = true;
    edge->inside = Median(insides);
}

void LookAcross(const GreyView& view, const Side& side, bool on_border, int places, EdgeEvidence* edge)
{
    std::vector<Profile> profiles;
    std::vector<double> along, cut_off; /* pixels from the middle; shares of the edge */
    for (int i = 0; i < places; ++i) {
        const double t = kEnds + (1.0 - 2.0 * kEnds) * (i + 0.5) / places;
        const Point at = side.At(t);
        if (on_border || !view.Holds(at.x + 3.0 * side.out.x, at.y + 3.0 * side.out.y)) {
            cut_off.push_back(t);
            continue;
        }
        profiles.emplace_back(view, side, t);
        along.push_back((t - 0.5) * side.length);
    }
    if (static_cast<double>(profiles.size()) < kBorderSeen * places) return LookInside(view, side, cut_off, edge);

    const double sign = SignOf(profiles);
    const Steps steps = FindSteps(profiles, along, sign);
    const int middle = static_cast<int>(std::lround(steps.shift));
    const double least = std::max(kLeastStep, kLeastShare * steps.height);
    std::vector<double> insides, outsides;
    int supported = 0;
    for (size_t i = 0; i < profiles.size(); ++i) {
        const double off = steps.steps[i].at - steps.shift - steps.slope * along[i];
        if (steps.steps[i].height >= least && std::fabs(off) <= kStray) ++supported;
        insides.push_back(profiles[i].Mean(middle - 6, middle - 2));
        outsides.push_back(profiles[i].Mean(middle + 2, middle + 6));
    }
    edge->support = static_cast<double>(supported) / static_cast<double>(profiles.size());
    edge->contrast = sign * steps.height;
    edge->inside = Median(insides);
    edge->outside = Median(outsides);
    edge->slope_deg = std::atan(steps.slope) * 180.0 / M_PI;
    edge->shift = -steps.shift;
}

/* Which of the detection's edges was fitted here: the one whose line runs nearest to the frame's edge. */
size_t SetOf(const Detection& detection, const Side& side)
{
    size_t nearest = 0;
    double least = HUGE_VAL;
    for (size_t k = 0; k < detection.edges.size(); ++k) {
        const FittedLine& line = detection.edges[k].line;
        const double lean = std::min(AngleBetween(line.angle_deg, side.AngleDeg()), 89.0);
        const double distance =
            std::fabs((line.mean.x - side.from.x) * side.out.x + (line.mean.y - side.from.y) * side.out.y) +
            side.length * std::tan(lean * M_PI / 180.0) / 2.0;
        if (distance >= least) continue;
        least = distance;
        nearest = k;
    }
    return nearest;
}

/* Whether the points of an edge are those where the picture ends. */
bool LiesOnBorder(const GreyView& view, const FittedLine& line)
{
    if (line.rms > 3.0) return false;
    const bool upright = AngleBetween(line.angle_deg, 90.0) < 1.0, level = AngleBetween(line.angle_deg, 0.0) < 1.0;
    const double right = view.width() - 1 - kBorderPixels, high = view.height() - 1 - kBorderPixels;
    return (upright && (line.mean.x < kBorderPixels || line.mean.x > right)) ||
           (level && (line.mean.y < kBorderPixels || line.mean.y > high));
}

/* How the fitted lines stand to each other, where they are not the picture's border. */
void CompareLines(const Detection& detection, Evidence* evidence)
{
    const std::array<EdgeEvidence, 4>& edges = evidence->edges;
    for (size_t i = 0; i < 4; ++i)
        for (const size_t k : {(i + 1) % 4, (i + 2) % 4}) {
            if (edges[i].at_border || edges[k].at_border) continue;
            const double angle = AngleBetween(detection.edges[edges[i].set].line.angle_deg,
                                              detection.edges[edges[k].set].line.angle_deg);
            double& worst = k == (i + 2) % 4 ? evidence->parallel_deg : evidence->square_deg;
            worst = std::max(worst, k == (i + 2) % 4 ? angle : std::fabs(90.0 - angle));
        }
}

/* The middle of some numbers: of an even count, the mean of the two in the middle. */
double Middle(std::vector<double> values)
{
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2.0;
}

/* By how much the steps say that the frame's angle and place are off. */
void PredictErrors(const std::array<Side, 4>& sides, Evidence* evidence)
{
    std::vector<double> slopes;
    double lost = 0.0;
    for (size_t i = 0; i < 4; ++i) {
        const EdgeEvidence& edge = evidence->edges[i];
        if (edge.at_border) continue;
        slopes.push_back(edge.slope_deg);
        const double wedge = sides[i].length * std::fabs(std::tan(edge.slope_deg * M_PI / 180.0)) / 4.0;
        lost += (std::fabs(edge.shift) + wedge) / sides[i].across;
    }
    evidence->skew_error_deg = std::fabs(Middle(std::move(slopes)));
    evidence->overlap = std::max(0.0, 1.0 - lost);
}

/* Page and ground as the real edges have them, and what they agree on. */
struct Summary {
    double support = 1.0; /* of the weakest edge */
    double span = 1.0;    /* likewise */
    double even = 1.0;    /* least contrast against the largest */
    bool one_way = true;  /* the page is brighter than the ground at all edges, or darker at all */
    bool reaches = true;  /* the page reaches up to the borders that are said to cut it off */
};

Summary Summarise(const std::array<EdgeEvidence, 4>& edges)
{
    Summary summary;
    std::vector<double> insides, outsides, contrasts;
    for (const EdgeEvidence& edge : edges) {
        if (edge.at_border) continue;
        insides.push_back(edge.inside);
        outsides.push_back(edge.outside);
        contrasts.push_back(std::fabs(edge.contrast));
        summary.support = std::min(summary.support, edge.support);
        summary.span = std::min(summary.span, edge.span);
    }
    const double page = Median(insides), ground = Median(outsides);
    for (const EdgeEvidence& edge : edges) {
        if (edge.at_border)
            summary.reaches = summary.reaches && std::fabs(edge.inside - page) < std::fabs(edge.inside - ground);
        else
            summary.one_way = summary.one_way && edge.contrast * (page - ground) > 0.0;
    }
    if (!contrasts.empty())
        summary.even = *std::min_element(contrasts.begin(), contrasts.end()) /
                       std::max(1.0, *std::max_element(contrasts.begin(), contrasts.end()));
    return summary;
}

/* The terms of the score, multiplied, and what is weakest about the frame. */
void Rate(double area, Evidence* evidence)
{
    if (evidence->real == 0) {
        evidence->weakness = "the frame is the whole picture";
        return;
    }
    const Summary summary = Summarise(evidence->edges);
    /* Two edges may be cut off, but hardly of a page that fills the picture. */
    const double two = 0.9 - 0.54 * (1.0 - Fall(area, 0.85, 0.95));
    const double by_real[] = {0.0, 0.4, two, 0.97, 1.0};
    const struct {
        double term;
        const char* weakness;
    } terms[] = {
        {summary.support, "too little of an edge shows a step from ground to page"},
        {by_real[evidence->real], "the border of the picture cuts off too many edges"},
        {summary.reaches ? 1.0 : 0.0, "the page does not reach the border that is said to cut it off"},
        {summary.one_way ? 1.0 : 0.3, "the page is brighter than the ground at one edge and darker at another"},
        {std::clamp(summary.even / 0.2, 0.5, 1.0), "an edge is much fainter than the others"},
        {std::clamp(summary.span / 0.3, 0.5, 1.0), "too little of an edge was found"},
        {Fall(evidence->skew_error_deg, 0.35, 1.2), "the edges in the picture are turned against the frame"},
        {Fall(1.0 - evidence->overlap, 0.04, 0.2), "the edges in the picture lie beside the frame"},
        {Fall(evidence->parallel_deg, 1.0, 4.0), "opposite edges are not parallel"},
    };
    double worst = 1.0;
    evidence->score = 1.0;
    for (const auto& [term, weakness] : terms) {
        evidence->score *= term;
        if (term >= worst) continue;
        worst = term;
        evidence->weakness = weakness;
    }
    const double flaws = 0.2 * evidence->skew_error_deg + 6.0 * (1.0 - evidence->overlap);
    evidence->rank = evidence->score * std::max(0.0, 1.0 - flaws);
}

} // namespace

Evidence Weigh(const GreyView& view, const Detection& detection, int places)
{
    const Placement& placement = detection.placement;
    std::array<Point, 4> corners = CornersOf(placement);
    for (Point& corner : corners) corner.y = placement.scan_height - 1 - corner.y;
    const std::array<Side, 4> sides = {MakeSide(corners, 0), MakeSide(corners, 1), MakeSide(corners, 2),
                                       MakeSide(corners, 3)};
    Evidence evidence;
    for (size_t i = 0; i < 4; ++i) {
        EdgeEvidence& edge = evidence.edges[i];
        edge.set = SetOf(detection, sides[i]);
        const EdgePoints& points = detection.edges[edge.set];
        edge.lean_deg = AngleBetween(points.line.angle_deg, sides[i].AngleDeg());
        const double steps = std::max(std::fabs(sides[i].along.x), std::fabs(sides[i].along.y)) * sides[i].length;
        edge.span = std::min(1.0, points.points / std::max(1.0, steps));
        LookAcross(view, sides[i], LiesOnBorder(view, points.line), places, &edge);
        evidence.real += edge.at_border ? 0 : 1;
    }
    CompareLines(detection, &evidence);
    PredictErrors(sides, &evidence);
    const double area = static_cast<double>(placement.width) * placement.height / view.width() / view.height();
    Rate(area, &evidence);
    return evidence;
}

} // namespace quarlo
