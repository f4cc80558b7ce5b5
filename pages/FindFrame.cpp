/*
 * FindFrame.cpp - the page's frame, ground and threshold chosen by what the picture says about the result.
 *
 * Detection is as good as its threshold, and costs about a millisecond: so it runs for a list of thresholds on either
 * ground, each frame is weighed against the picture, and the best is kept. Where none of them is good, copies of the
 * scan are searched in the same way, from which the ground was taken off; a frame found there is carried back. What is
 * found is what detection finds: nothing is moved or turned afterwards.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
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

constexpr double kLeastScore = 0.5;      /* below it a frame is not trusted */
constexpr double kGoodScore = 0.75;      /* from it on no copies are searched */
constexpr double kExcellentScore = 0.96; /* from it on no further threshold is tried */
constexpr int kSweep = 3;                /* levels between the thresholds of a sweep */
constexpr double kAroundScore = 0.6;     /* of a frame that is preferred to any that lies in it */
constexpr size_t kFewest = 4;            /* thresholds that are tried in any case */
constexpr int kMaskThreshold = 127;

/* One run of detection, told in the scan's own pixels. */
struct Attempt {
    Ground ground = Ground::dark;
    int threshold = 0;
    std::string prepared;
    Detection detection;
    Evidence evidence;
    bool found = false;
};

/* How far a run came. */
int Progress(const Attempt& attempt)
{
    const std::string_view stage = attempt.detection.stage;
    return attempt.found ? 5 : stage == "frame" ? 4 : stage == "split" ? 3 : stage == "borders" ? 2 : 1;
}

double Area(const Attempt& attempt)
{
    return static_cast<double>(attempt.detection.placement.width) * attempt.detection.placement.height;
}

/*
 * Whether a lies around b, and is as real: then b is a picture or a block of print on the page, whose outline may well
 * be the sharper one.
 */
bool LiesAround(const Attempt& a, const Attempt& b)
{
    return a.evidence.score >= kAroundScore && a.evidence.real >= b.evidence.real && Area(a) > 1.2 * Area(b);
}

bool IsBetter(const Attempt& a, const Attempt& b)
{
    if (!a.found || !b.found) return Progress(a) > Progress(b);
    if (LiesAround(a, b)) return true;
    if (LiesAround(b, a)) return false;
    return a.evidence.rank > b.evidence.rank;
}

/* What detection found in a copy, in the pixels of the scan. */
void CarryBack(Detection* detection, double scale, const Bitmap& scan)
{
    const double factor = 1.0 / scale;
    const auto carried = [&](Point p) { return Point{(p.x + 0.5) * factor - 0.5, (p.y + 0.5) * factor - 0.5}; };
    for (EdgePoints& edge : detection->edges) {
        edge.line.mean = carried(edge.line.mean);
        edge.line.rms *= factor;
    }
    for (Trace::Side& side : detection->trace.sides)
        for (Point& point : side.points) point = carried(point);
    for (Point& point : detection->trace.extremes) point = carried(point);
    if (detection->code == Code::ok)
        detection->placement = ScaledBy(detection->placement, factor, factor, scan.width(), scan.height());
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
        for (const Ground ground : grounds)
            if (Rank() < kGoodScore) TryThresholds(levels, ground);
        if (options_.threshold != 0 || Rank() >= kGoodScore) return {};
        if (scan_.depth() > 1)
            for (const Ground ground : grounds) Sweep(ground);
        return Rank() < kGoodScore ? TryCopies() : Problem();
    }

    const std::optional<Attempt>& best() const { return best_; }

private:
    double Rank() const { return best_ && best_->found ? best_->evidence.rank : -1.0; }

    void Sweep(Ground ground)
    {
        for (int threshold = kSweep; threshold < 255; threshold += kSweep)
            if (Rank() < kExcellentScore) Try(scan_, 1.0, ground, threshold, "");
    }

    void TryThresholds(const Levels& levels, Ground ground)
    {
        std::vector<int> thresholds = {options_.threshold};
        if (options_.threshold == 0) thresholds = CandidateThresholds(levels, ground);
        if (options_.threshold == 0 && scan_.depth() == 1) thresholds = {kMaskThreshold};
        for (size_t i = 0; i < thresholds.size(); ++i) {
            if (i >= kFewest && Rank() >= kExcellentScore) return;
            Try(scan_, 1.0, ground, thresholds[i], "");
        }
    }

    Problem TryCopies()
    {
        Copy copy;
        Problem problem = MakeCopy(scan_, &copy);
        if (problem) return problem;
        for (const GroundPlane& plane : FitGround(copy.grey))
            for (const Departs departs : {Departs::brighter, Departs::darker, Departs::either}) {
                if (!problem && IsWanted(departs)) problem = TryMasks(copy, plane, departs);
                if (problem) return problem;
            }
        return {};
    }

    bool IsWanted(Departs departs) const { return options_.ground != Ground::dark || departs == Departs::brighter; }

    Problem TryMasks(const Copy& copy, const GroundPlane& plane, Departs departs)
    {
        const std::array<int, 256> departures = Departures(copy.grey, plane, departs);
        const int otsu = OtsuLevel(departures);
        const int most = Quantile(departures, 0.98);
        std::vector<double> tried;
        for (const double least :
             {otsu + 0.0, 3.0 * plane.spread, 0.5 * most, 6.0 * plane.spread, 0.25 * most, 0.75 * most}) {
            if (Rank() >= kExcellentScore) return {};
            if (least < 2.0 ||
                std::any_of(tried.begin(), tried.end(), [&](double t) { return std::fabs(t - least) < 1.0; }))
                continue;
            tried.push_back(least);
            Bitmap mask;
            const Problem problem = MakeMask(copy.grey, plane, departs, least, &mask);
            if (problem) return problem;
            Try(mask, copy.scale, departs == Departs::brighter ? Ground::dark : Ground::light,
                std::max(1, static_cast<int>(least)), "x");
        }
        return {};
    }

    void Try(const Bitmap& bitmap, double scale, Ground ground, int threshold, const char* prepared)
    {
        const bool is_copy = *prepared != 0;
        Attempt attempt;
        attempt.ground = ground;
        attempt.threshold = threshold;
        attempt.prepared = prepared;
        attempt.detection =
            Detect(bitmap, is_copy ? Ground::dark : ground, is_copy ? kMaskThreshold : threshold, options_.trace);
        attempt.found = attempt.detection.code == Code::ok;
        if (is_copy) CarryBack(&attempt.detection, scale, scan_);
        if (attempt.found) attempt.evidence = Weigh(view_, attempt.detection);
        if (!best_ || IsBetter(attempt, *best_)) best_ = std::move(attempt);
    }

    const Bitmap& scan_;
    GreyView view_;
    SearchOptions options_;
    std::optional<Attempt> best_;
};

} // namespace

Frame FindFrame(const Bitmap& scan, const SearchOptions& options)
{
    Frame frame;
    Search search(scan, options);
    frame.problem = search.Run();
    if (!search.best()) return frame;
    const Attempt& best = *search.best();
    if (best.found) frame = FrameOf(best.detection.placement);
    frame.ground = best.ground;
    frame.threshold = best.threshold;
    frame.prepared = best.prepared;
    if (!best.found) {
        frame.problem = {best.detection.code, best.detection.stage, best.detection.reason};
        return frame;
    }
    frame.parallel_deg = best.evidence.parallel_deg;
    frame.square_deg = best.evidence.square_deg;
    frame.score = best.evidence.score;
    if (frame.score < (options.least_score < 0.0 ? kLeastScore : options.least_score))
        frame.problem = {Code::not_trusted, "trust", "the frame deserves no trust"};
    return frame;
}

} // namespace quarlo
