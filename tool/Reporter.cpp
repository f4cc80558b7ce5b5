/*
 * Reporter.cpp - all that is told.
 */
#include "Reporter.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>

#include "Naming.h"
#include "Progress.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* Names may hold anything; what would break a line or play with the terminal shows as a question mark. */
std::string Printable(std::string_view text)
{
    std::string printable(text);
    for (char& letter : printable)
        if ((letter >= 0 && letter < ' ') || letter == 0x7F) letter = '?';
    return printable;
}

std::string PageName(const std::string& file, const PageRecord& page)
{
    return page.is_file ? file : file + ": page " + std::to_string(page.result.report.page);
}

/* Problems of writing concern the result, all others the input. Those of reading name the page themselves. */
std::string SubjectOf(const std::string& file, const PageRecord& page)
{
    const Problem& problem = page.result.report.problem;
    if (problem.stage == "read" && problem.reason.rfind("page ", 0) == 0) return file;
    const bool writes = problem.stage == "write" && !page.target.empty() && page.target != "-";
    return PageName(writes ? page.target : file, page);
}

/* A line for those who want to know more. */
std::string Account(const PageResult& result)
{
    const PageReport& report = result.report;
    const Frame& frame = *result.frame;
    std::string text = NumberText("angle %.3f degrees, ", frame.angle_deg) + std::to_string(frame.width) + " x " +
                       std::to_string(frame.height) + " pixels";
    if (frame.threshold != 0)
        text += ", " + std::string(NameOf(frame.ground)) + " ground, threshold " + std::to_string(frame.threshold) +
                NumberText(", score %.2f", frame.score);
    if (!frame.prepared.empty()) text += ", seen in " + frame.prepared;
    double ms = 0.0;
    for (const auto& [stage, time] : report.ms) ms += time;
    text += NumberText(", %.0f ms", ms);
    return report.out.empty() || report.out == "-" ? text : text + " -> " + report.out;
}

} // namespace

void Say(std::string_view subject, std::string_view words)
{
    EraseBar();
    std::fprintf(stderr, "quarlo: %s: %s\n", Printable(subject).c_str(), Printable(words).c_str());
}

std::string WordsOf(const Problem& problem)
{
    /* The system's words alone do not say what it is that failed. */
    const char* failed = "";
    if (problem.code == Code::cannot_read) failed = "cannot be read: ";
    if (problem.code == Code::cannot_write) failed = "cannot be written: ";
    return failed + problem.reason + " (code " + std::to_string(static_cast<int>(problem.code)) + ")";
}

SafeFile::Existing Reporter::Replacement() const
{
    return options_.existing == Existing::replace ? SafeFile::Existing::replace : SafeFile::Existing::refuse;
}

bool Reporter::Open()
{
    Problem problem;
    if (options_.angle) problem = angles_.Open("-", Replacement());
    if (!problem) problem = json_.Open(options_.json, options_.existing);
    if (problem) {
        Say(options_.json, WordsOf(problem));
        return false;
    }
    return options_.overlay.empty() || CheckOverlay();
}

bool Reporter::CheckOverlay()
{
    const bool is_folder = OverlayIsFolder(options_);
    const std::string name = is_folder ? SheetName(options_) : options_.overlay;
    Problem problem;
    if (is_folder) problem = MakeFolder(options_.overlay);
    if (!problem && options_.existing != Existing::skip) problem = CheckFree(name, Replacement());
    if (problem) Say(name, WordsOf(problem));
    return !problem;
}

bool Reporter::HasSheet() const { return !options_.overlay.empty() && OverlayIsFolder(options_); }

void Reporter::Announce(const std::string& lines)
{
    if (json_.is_open() && !failed_to_write_) Note(options_.json, json_.Announce(lines));
}

void Reporter::Tell(const FileRecord& file)
{
    ++summary_.files;
    for (const PageRecord& page : file.pages) {
        if (page.exists) {
            TellLeft(file, page);
            continue;
        }
        TellPage(file, page);
        if (angles_.is_open() && !page.is_file) TellAngle(page);
        if (json_.is_open() && !failed_to_write_) {
            if (options_.json == "-") EraseBar();
            Note(options_.json, json_.Add(page.result.report));
        }
        if (HasSheet()) TellSheet(file, page);
        Count(page.result.report.status);
    }
    if (options_.talk == Talk::quiet) return;
    TellLeftOut(file);
    TellWarnings(file);
}

/* What an earlier call told of the page holds on. */
void Reporter::TellLeft(const FileRecord& file, const PageRecord& page)
{
    const int number = page.result.report.page;
    if (options_.talk == Talk::verbose && (&page == file.pages.data() || (&page)[-1].target != page.target))
        Say(file.input, page.target + " exists and is left");
    const std::optional<ToldPage> told = json_.Keep(file.input, number);
    if (told) Count(told->status);
    if (!HasSheet()) return;
    SheetEntry entry;
    entry.title = PageName(file.input, page);
    if (Exists(InOverlay(page.drawing))) AddDrawing(page.drawing, &entry);
    if (!told) {
        entry.left = true;
        entry.score = std::nan(""); /* not known any more */
    } else {
        entry.status = told->status;
        entry.note = told->problem ? WordsOf(told->problem) : "";
        if (!std::isnan(told->score)) entry.score = told->score;
        if (!std::isnan(told->angle_deg)) entry.angle_deg = told->angle_deg;
    }
    sheet_.Add(entry);
}

std::string Reporter::InOverlay(const std::string& name) const
{
    return (std::filesystem::path(options_.overlay) / name).string();
}

void Reporter::AddDrawing(const std::string& drawing, SheetEntry* entry) const
{
    entry->overlay = drawing;
    const std::string thumbnail = ThumbnailOf(drawing);
    if (Exists(InOverlay(thumbnail))) entry->thumbnail = thumbnail;
}

void Reporter::TellPage(const FileRecord& file, const PageRecord& page)
{
    const PageReport& report = page.result.report;
    if (page.result.drawing_problem) {
        Say(HasSheet() ? InOverlay(page.drawing) : page.drawing, WordsOf(page.result.drawing_problem));
        failed_ = true;
    }
    if (report.problem && !page.left_out && report.problem.code != Code::interrupted) {
        const bool is_error = report.status == Status::error;
        const std::string copied = report.status == Status::copied ? "; copied as it is" : "";
        if (is_error || options_.talk != Talk::quiet)
            Say(SubjectOf(file.input, page), WordsOf(report.problem) + copied);
    } else if (report.status == Status::ok && options_.talk == Talk::verbose) {
        Say(PageName(file.input, page), Account(page.result));
    }
}

void Reporter::TellLeftOut(const FileRecord& file)
{
    std::set<std::string> told;
    for (const PageRecord& page : file.pages) {
        const Problem& problem = page.result.report.problem;
        if (!page.left_out || problem.code == Code::interrupted || !told.insert(page.target).second) continue;
        Say(file.input, "nothing is written: the document is " + problem.reason);
    }
}

/* Pages of a file are alike; each warning is given once. */
void Reporter::TellWarnings(const FileRecord& file)
{
    std::set<std::string> told;
    for (const PageRecord& page : file.pages)
        for (const std::string& warning : page.result.report.warnings)
            if (told.insert(warning).second) Say(PageName(file.input, page), "warning: " + warning);
}

void Reporter::TellAngle(const PageRecord& page)
{
    const PageReport& report = page.result.report;
    const std::string name = options_.inputs.size() > 1 ? Printable(report.file) + "\t" : "";
    const std::string angle = report.status == Status::ok ? NumberText("%.3f", page.result.frame->angle_deg) : "-";
    if (failed_to_write_) return;
    EraseBar();
    Note("standard output", angles_.Write(name + angle + "\n"));
}

void Reporter::TellSheet(const FileRecord& file, const PageRecord& page)
{
    const PageReport& report = page.result.report;
    SheetEntry entry;
    entry.title = PageName(file.input, page);
    if (!page.drawing.empty()) AddDrawing(page.drawing, &entry);
    entry.status = report.status;
    entry.note = report.problem ? WordsOf(report.problem) : "";
    if (page.result.frame) {
        entry.score = page.result.frame->score;
        entry.angle_deg = page.result.frame->angle_deg;
    }
    sheet_.Add(entry);
}

void Reporter::Count(Status status)
{
    ++summary_.pages;
    switch (status) {
    case Status::ok:
        ++summary_.ok;
        break;
    case Status::no_frame:
        ++summary_.no_frame;
        break;
    case Status::refused:
        ++summary_.refused;
        break;
    case Status::copied:
        ++summary_.copied;
        break;
    case Status::error:
        ++summary_.error;
        break;
    }
}

/* What cannot be told is said once. */
void Reporter::Note(const std::string& name, const Problem& problem)
{
    if (!problem) return;
    if (!failed_to_write_ && StopSignal() == 0) Say(name, WordsOf(problem));
    failed_to_write_ = failed_ = true;
}

void Reporter::WriteSheet()
{
    /* A sheet shows what there is, also of earlier calls, so it is made anew where they are gone on with. */
    const SafeFile::Existing existing =
        options_.existing == Existing::skip ? SafeFile::Existing::replace : Replacement();
    for (int page = 1; page <= sheet_.page_count(); ++page) {
        const std::string name = SheetName(options_, page);
        const Problem problem = WriteFile(name, existing, sheet_.Page(page));
        if (!problem) continue;
        failed_ = true;
        Say(name, WordsOf(problem));
        return;
    }
}

int Reporter::ExitNow() const
{
    if (StopSignal() != 0) return 128 + StopSignal();
    if (failed_ || summary_.error > 0) return kFailed;
    return summary_.no_frame + summary_.refused + summary_.copied > 0 ? kNoFrame : kDone;
}

int Reporter::Close()
{
    if (HasSheet()) WriteSheet();
    summary_.exit_code = ExitNow();
    summary_.interrupted = StopSignal() != 0;
    summary_.ms = watch_.ms();
    if (json_.is_open() && !failed_to_write_) {
        const Problem problem = json_.Close(summary_);
        if (problem && (problem.code != Code::interrupted)) Say(options_.json, WordsOf(problem));
        failed_ = failed_ || problem;
    }
    return ExitNow();
}

} // namespace tool
