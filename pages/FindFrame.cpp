/*
 * FindFrame.cpp - the page's frame, ground and threshold chosen by what the picture says about the result.
 *
 * Detection is as good as its threshold, and costs less than a millisecond: so it runs for a list of thresholds on
 * either ground, each frame is weighed against the picture, and the best is kept. Where none of them is good, all
 * thresholds are swept, then copies of the scan are searched from which the ground was taken off; a frame found there
 * is carried back. What is found is what detection finds: nothing is moved or turned afterwards.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>
#include <optional>

#include "Detection.h"
#include "Levels.h"
#include "Placement.h"
#include "Prepare.h"
#include "Score.h"

namespace quarlo
{

namespace
{

constexpr double kLeastOfCopy = 0.5;     /* score of a frame that was found in a copy, which may show too much */
constexpr double kGoodRank = 0.75;       /* from it on nothing else is tried but the list in hand */
constexpr double kExcellentRank = 0.96;  /* from it on nothing else is tried */
constexpr double kGlanceScore = 0.25;    /* at a glance, below which a frame is not looked at thoroughly */
constexpr double kLargerScore = 0.6;     /* of a frame that is preferred to smaller ones */
constexpr double kLargerArea = 1.2;      /* times the area of such a one */
constexpr double kOtherGroundRank = 0.9; /* times, of a frame found on a ground that the picture does not have */
constexpr size_t kFewest = 4;            /* thresholds that are tried in any case */
constexpr int kSweep = 3;                /* levels between the thresholds of a sweep */
constexpr int kMaskThreshold = 127;
constexpr double kGroundLevels = 7.0; /* off the ground all around: the frame lies inside something */

/* One run of detection, told in the scan's own pixels. */
struct Attempt {
    Ground ground = Ground::dark;
    int threshold = 0;
    std::string prepared;
    Detection detection;
    Evidence evidence;

    bool found() const { return detection.code == Code::ok; }
    double area() const { return static_cast<double>(detection.placement.width) * detection.placement.height; }
    /* How far the run came. */
    int progress() const
    {
        const std::string_view stage = detection.stage;
        return found() ? 5 : stage == "frame" ? 4 : stage == "split" ? 3 : stage == "borders" ? 2 : 1;
    }
};

/*
 * Whether a is so much larger than b, and as real, that b is taken for a picture or a block of print on a's page, whose
 * outline may well be the sharper one.
 */
bool Outgrows(const Attempt& a, const Attempt& b)
{
    return a.evidence.score >= kLargerScore && a.evidence.real >= b.evidence.real &&
           a.area() > kLargerArea * b.area();
}

bool IsBetter(const Attempt& a, const Attempt& b)
{
    if (!a.found() || !b.found()) return a.progress() > b.progress();
    if (Outgrows(a, b)) return true;
    if (Outgrows(b, a)) return false;
    return a.evidence.rank > b.evidence.rank;
}

/* Found as what differs from a light ground, though what lies around it is dark: seen so by chance. */
bool BelongsToTheOtherGround(const Attempt& attempt)
{
    if (attempt.ground != Ground::light || !attempt.prepared.empty()) return false;
    double around = 0.0;
    for (const EdgeEvidence& edge : attempt.evidence.edges) around += edge.at_border ? 0.0 : edge.outside;
    return attempt.evidence.real > 0 && around / attempt.evidence.real < 100.0;
}

bool IsSame(const Placement& a, const Placement& b)
{
    return a.angle == b.angle && a.center.x == b.center.x && a.center.y == b.center.y && a.width == b.width &&
           a.height == b.height;
}

/* What detection found in a copy, in the pixels of the scan. */
void CarryBack(double factor, const Bitmap& scan, Detection* detection)
{
    const auto carry = [&](Point* p) { *p = {(p->x + 0.5) * factor - 0.5, (p->y + 0.5) * factor - 0.5}; };
    for (EdgePoints& edge : detection->edges) {
        carry(&edge.line.mean);
        edge.line.rms *= factor;
    }
    for (Trace::Side& side : detection->trace.sides)
        for (Point& point : side.points) carry(&point);
    for (Point& point : detection->trace.extremes) carry(&point);
    if (detection->code == Code::ok)
        detection->placement = ScaledBy(detection->placement, factor, factor, scan.width(), scan.height());
}

std::string WordsOf(const Copy& copy, Departs departs)
{
    std::string words = departs == Departs::brighter ? "what is brighter than the ground"
                        : departs == Departs::darker ? "what is darker than the ground"
                                                     : "what differs from the ground";
    words += ", smoothed";
    if (copy.scale > 1.0) words += ", enlarged " + std::to_string(std::lround(copy.scale)) + " times";
    if (copy.scale < 1.0) words += ", reduced " + std::to_string(std::lround(1.0 / copy.scale)) + " times";
    return words;
}

/* A plane is dark or light by its level in the middle. */
Ground GroundAt(const Copy& copy, const GroundPlane& plane)
{
    return plane.LevelAt(copy.grey.width() / 2.0, copy.grey.height() / 2.0) > 127.0 ? Ground::light : Ground::dark;
}

class Search
{
public:
    Search(const Bitmap& scan, const SearchOptions& options) : scan_(scan), view_(scan), options_(options) {}

    Problem Run()
    {
        const Levels levels = MeasureLevels(scan_);
        std::vector<Ground> grounds = {options_.ground};
        if (options_.ground == Ground::automatic) {
            grounds = {Ground::dark, Ground::light};
            if (levels.ground > 128) std::swap(grounds[0], grounds[1]);
        }
        Problem problem;
        for (const Ground ground : grounds)
            if (!problem && Rank() < kGoodRank) problem = TryThresholds(ThresholdsFor(levels, ground), ground);
        if (problem || options_.threshold != 0 || Rank() >= kGoodRank) return problem;
        if (scan_.depth() > 1)
            for (const Ground ground : grounds)
                if (!problem) problem = TryThresholds(Sweep(), ground);
        return !problem && Rank() < kGoodRank ? TryCopies() : problem;
    }

    const std::optional<Attempt>& best() const { return best_; }

private:
    double Rank() const { return best_ && best_->found() ? best_->evidence.rank : -1.0; }

    std::vector<int> ThresholdsFor(const Levels& levels, Ground ground) const
    {
        if (options_.threshold != 0) return {options_.threshold};
        if (scan_.depth() == 1) return {kMaskThreshold};
        return CandidateThresholds(levels, ground);
    }

    static std::vector<int> Sweep()
    {
        std::vector<int> thresholds;
        for (int threshold = kSweep; threshold < 255; threshold += kSweep) thresholds.push_back(threshold);
        return thresholds;
    }

    Problem TryThresholds(const std::vector<int>& thresholds, Ground ground)
    {
        for (size_t i = 0; i < thresholds.size(); ++i) {
            if (i >= kFewest && Rank() >= kExcellentRank) return {};
            Attempt attempt;
            attempt.ground = ground;
            attempt.threshold = thresholds[i];
            attempt.detection = Detect(scan_, ground, thresholds[i], options_.trace);
            Problem problem = Consider(std::move(attempt));
            if (problem) return problem;
        }
        return {};
    }

    Problem TryCopies()
    {
        Copy copy;
        Problem problem = MakeCopy(scan_, &copy);
        if (problem) return problem;
        for (const GroundPlane& plane : FitGround(GreyView(copy.grey)))
            for (const Departs departs : {Departs::brighter, Departs::darker, Departs::either}) {
                if (options_.ground == Ground::dark && departs != Departs::brighter) continue;
                problem = TryMasks(copy, plane, departs);
                if (problem) return problem;
            }
        return {};
    }

    Problem TryMasks(const Copy& copy, const GroundPlane& plane, Departs departs)
    {
        for (const int least : CandidateDepartures(Departures(copy.grey, plane, departs), plane.spread)) {
            if (Rank() >= kExcellentRank) return {};
            Bitmap mask;
            Problem problem = MakeMask(copy.grey, plane, departs, least, &mask);
            if (problem) return problem;
            Attempt attempt;
            attempt.ground = GroundAt(copy, plane);
            attempt.threshold = least;
            attempt.prepared = WordsOf(copy, departs);
            attempt.detection = Detect(mask, Ground::dark, kMaskThreshold, options_.trace);
            CarryBack(1.0 / copy.scale, scan_, &attempt.detection);
            problem = Consider(std::move(attempt));
            if (problem) return problem;
        }
        return {};
    }

    /*
     * Weighs what was found, unless that was done before, and keeps it if it is the best so far. A run that memory did
     * not suffice for ends the search: what is found must not depend on that.
     */
    Problem Consider(Attempt attempt)
    {
        const Detection& detection = attempt.detection;
        if (detection.code == Code::out_of_memory) return {detection.code, detection.stage, detection.reason};
        if (attempt.found()) {
            const Placement& placement = detection.placement;
            for (const Placement& earlier : weighed_)
                if (IsSame(placement, earlier)) return {};
            weighed_.push_back(placement);
            attempt.evidence = Weigh(view_, attempt.detection, kGlance);
            if (attempt.evidence.score >= kGlanceScore)
                attempt.evidence = Weigh(view_, attempt.detection, kThorough);
            if (attempt.evidence.score >= kGlanceScore) DoubtIfInside(&attempt);
            if (BelongsToTheOtherGround(attempt)) attempt.evidence.rank *= kOtherGroundRank;
        }
        if (!best_ || IsBetter(attempt, *best_)) best_ = std::move(attempt);
        return {};
    }

    /* Beside a page lies the ground. Where something else lies all around, the frame is that of a picture on the page. */
    void DoubtIfInside(Attempt* attempt)
    {
        if (attempt->evidence.real < 3) return;
        if (planes_.empty()) planes_ = FitGround(view_);
        const std::array<Point, 4> corners = CornersOf(attempt->detection.placement);
        double least = 255.0;
        for (size_t i = 0; i < 4; ++i) {
            const EdgeEvidence& edge = attempt->evidence.edges[i];
            if (edge.at_border) continue;
            const Point a = corners[i], b = corners[(i + 1) % 4];
            for (const GroundPlane& plane : planes_)
                least = std::min(least,
                                 std::fabs(edge.outside - plane.LevelAt((a.x + b.x) / 2.0,
                                                                        scan_.height() - 1 - (a.y + b.y) / 2.0)));
        }
        if (planes_.empty() || least <= kGroundLevels) return;
        attempt->evidence.score *= 0.3;
        attempt->evidence.rank *= 0.3;
        attempt->evidence.weakness = "what lies around the frame is not the ground";
    }

    const Bitmap& scan_;
    GreyView view_;
    SearchOptions options_;
    std::vector<GroundPlane> planes_;
    std::vector<Placement> weighed_;
    std::optional<Attempt> best_;
};

/* The fitted line, as far as it runs along an edge of the frame. */
std::array<Point, 2> AlongEdge(const FittedLine& line, Point from, Point to, int height)
{
    const double angle = line.angle_deg * M_PI / 180.0;
    const Point mean = {line.mean.x, height - 1 - line.mean.y}, along = {std::cos(angle), -std::sin(angle)};
    const auto foot = [&](Point p) {
        const double t = (p.x - mean.x) * along.x + (p.y - mean.y) * along.y;
        return Point{mean.x + t * along.x, mean.y + t * along.y};
    };
    return {foot(from), foot(to)};
}

void FillEdges(const Attempt& attempt, Frame* frame)
{
    const int height = attempt.detection.placement.scan_height;
    for (size_t i = 0; i < 4; ++i) {
        const EdgeEvidence& evidence = attempt.evidence.edges[i];
        const EdgePoints& points = attempt.detection.edges[evidence.set];
        frame->edges[i] = {points.points,
                           points.segments,
                           points.dropped,
                           evidence.lean_deg,
                           points.line.rms,
                           evidence.support,
                           std::fabs(evidence.contrast),
                           evidence.at_border};
        frame->trace.fitted[i] = AlongEdge(points.line, frame->corners[i], frame->corners[(i + 1) % 4], height);
        frame->trace.has_fitted[i] = points.points > 0;
    }
}

/* The trace in points from the top left. */
void FlipTrace(int height, Trace* trace)
{
    for (Trace::Side& side : trace->sides)
        for (Point& point : side.points) point.y = height - 1 - point.y;
    for (Point& point : trace->extremes) point.y = height - 1 - point.y;
}

Problem TrustIn(const Attempt& best, const SearchOptions& options)
{
    /* Who gives the threshold by hand has looked at the picture; but the whole of it is no frame. */
    const bool by_hand = options.threshold != 0 && best.evidence.real > 0;
    const double usual = best.prepared.empty() ? kTrustedScore : kLeastOfCopy;
    const double least = options.least_score >= 0.0 ? options.least_score : by_hand ? 0.0 : usual;
    if (best.evidence.score >= least) return {};
    char score[32];
    std::snprintf(score, sizeof score, " (score %.2f)", best.evidence.score);
    return {Code::not_trusted, "trust", best.evidence.weakness + std::string(score)};
}

Problem CheckSearch(const Bitmap& scan, const SearchOptions& options)
{
    if (scan.empty()) return {Code::invalid_bitmap, "threshold", "there is no picture"};
    if (options.threshold < 0 || options.threshold > 255)
        return {Code::bad_argument, "threshold", "the threshold is not one of 1 to 255"};
    return {};
}

} // namespace

Frame FindFrame(const Bitmap& scan, const SearchOptions& options)
{
    Frame frame;
    frame.problem = CheckSearch(scan, options);
    if (frame.problem) return frame;
    Search search(scan, options);
    frame.problem = search.Run();
    if (frame.problem && frame.problem.stage.empty()) frame.problem.stage = "threshold";
    if (frame.problem || !search.best()) return frame;
    const Attempt& best = *search.best();
    if (best.found()) frame = FrameOf(best.detection.placement);
    frame.ground = best.ground;
    frame.threshold = best.threshold;
    frame.prepared = best.prepared;
    frame.trace = best.detection.trace;
    FlipTrace(scan.height(), &frame.trace);
    if (!best.found()) {
        frame.problem = {best.detection.code, best.detection.stage, best.detection.reason};
        return frame;
    }
    FillEdges(best, &frame);
    frame.parallel_deg = best.evidence.parallel_deg;
    frame.square_deg = best.evidence.square_deg;
    frame.score = best.evidence.score;
    frame.problem = TrustIn(best, options);
    return frame;
}

} // namespace quarlo
