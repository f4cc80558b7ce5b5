/*
 * PageJob.cpp - the work on one page.
 */
#include "PageJob.h"

#include <cstdio>
#include <new>

#include "Files.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

constexpr int kThumbnail = 320; /* pixels of its longer side */

std::string ScoreWarning(double score, bool finds_only)
{
    char text[128];
    std::snprintf(text, sizeof text,
                  "the frame has a score of %.2f only; it %s cut since the threshold was given by hand", score,
                  finds_only ? "would be" : "was");
    return text;
}

/* The stages of a page in their order, each with its time. */
class Work
{
public:
    Work(const PageJob& job, const Options& options, const KnownPages& known, PageResult* result)
        : job_(job), options_(options), known_(known), result_(*result)
    {
    }

    void Run()
    {
        if (!Stage("read", &Work::Read)) return;
        if (!Stage("find", &Work::Find)) return;
        if (job_.drawing != Drawing::none && !Stage("overlay", &Work::Draw)) return;
        if (!delivers_frame_)
            Refuse();
        else if (!job_.finds_only)
            Stage("turn", &Work::Turn);
    }

private:
    /* False where the page is done with: the stage failed, or a signal came meanwhile. */
    bool Stage(const char* name, Problem (Work::*stage)())
    {
        const Stopwatch watch;
        Problem problem;
        try {
            problem = (this->*stage)();
        } catch (const std::bad_alloc&) {
            problem = MemoryRanOut(name);
        }
        result_.report.ms.emplace_back(name, watch.ms());
        if (!problem && StopSignal() != 0) problem = Interrupted(name);
        if (problem) result_.Fail(Status::error, problem);
        return !problem;
    }

    Problem Read()
    {
        Problem problem = job_.input->Read(job_.index, options_.read, &scan_);
        if (problem) return problem;
        PageReport& report = result_.report;
        report.width_in = scan_.bitmap.width();
        report.height_in = scan_.bitmap.height();
        report.resolution = scan_.meta.resolution;
        report.warnings = scan_.warnings;
        return {};
    }

    Problem Find()
    {
        result_.frame = std::make_unique<Frame>(known_.loaded() ? KnownFrame() : SearchedFrame());
        const Frame& frame = *result_.frame;
        result_.report.frame = &frame;
        if (frame.problem.code == Code::out_of_memory) return frame.problem;
        refusal_ = frame.problem;
        if (!refusal_) refusal_ = Check(frame, options_.limits);
        delivers_frame_ = !refusal_;
        const bool by_hand = !known_.loaded() && options_.search.threshold != 0;
        if (delivers_frame_ && by_hand && frame.score < kTrustedScore)
            result_.report.warnings.push_back(ScoreWarning(frame.score, job_.finds_only));
        return {};
    }

    Frame SearchedFrame() const
    {
        SearchOptions search = options_.search;
        search.trace = job_.drawing != Drawing::none;
        return FindFrame(scan_.bitmap, search);
    }

    Frame KnownFrame() const
    {
        Placement placement;
        const Problem problem =
            known_.Find(job_.name, job_.index + 1, scan_.bitmap.width(), scan_.bitmap.height(), &placement);
        if (!problem) return FrameOf(placement);
        Frame none;
        none.problem = problem;
        return none;
    }

    Problem Draw()
    {
        OverlayOptions overlay;
        overlay.title = job_.name;
        if (job_.input->page_count() > 1) overlay.title += ", page " + std::to_string(job_.index + 1);
        Problem& problem = result_.drawing_problem;
        if (job_.drawing == Drawing::svg)
            problem = OverlaySvg(scan_.bitmap, *result_.frame, overlay, &result_.drawing);
        else
            problem = DrawPng(overlay, &result_.drawing);
        overlay.longest = kThumbnail;
        overlay.legend = false;
        if (!problem && job_.thumbnail) problem = DrawPng(overlay, &result_.thumbnail);
        result_.frame->trace = {}; /* it is large, and the report does not tell it */
        return {};
    }

    Problem DrawPng(const OverlayOptions& overlay, std::string* drawing) const
    {
        Bytes png;
        Problem problem = OverlayPng(scan_.bitmap, *result_.frame, overlay, &png);
        if (!problem) *drawing = ViewOf(png);
        return problem;
    }

    /* There is no frame to cut by. */
    void Refuse()
    {
        result_.Fail(result_.frame->found ? Status::refused : Status::no_frame, refusal_);
        if (options_.on_fail != OnFail::copy || job_.finds_only) return;
        PageReport& report = result_.report;
        report.status = Status::copied;
        report.resampled = false;
        result_.page = std::move(scan_);
        Describe();
    }

    Problem Turn()
    {
        Result upright;
        Problem problem = Straighten(scan_, *result_.frame, options_.result, &upright);
        if (problem) return problem;
        PageReport& report = result_.report;
        report.to_source = upright.to_source;
        report.interpolation = upright.interpolation;
        report.resampled = upright.resampled;
        report.fill = upright.filled;
        result_.page = std::move(upright.page);
        Describe();
        return {};
    }

    void Describe()
    {
        PageReport& report = result_.report;
        const Page& page = result_.page;
        report.has_result = true;
        report.width_out = page.bitmap.width();
        report.height_out = page.bitmap.height();
        report.depth = page.bitmap.depth();
        report.resolution = page.meta.resolution;
    }

    const PageJob& job_;
    const Options& options_;
    const KnownPages& known_;
    PageResult& result_;
    Page scan_;
    Problem refusal_;
    bool delivers_frame_ = false;
};

} // namespace

PageResult DoPage(const PageJob& job, const Options& options, const KnownPages& known)
{
    PageResult result;
    result.report.file = job.name;
    result.report.page = job.index + 1;
    Work(job, options, known, &result).Run();
    return result;
}

Problem MemoryRanOut(const char* stage) { return {Code::out_of_memory, stage, "memory ran out"}; }
Problem Interrupted(const char* stage) { return {Code::interrupted, stage, "interrupted"}; }

} // namespace tool
