/*
 * FileJob.cpp - the work on one input.
 */
#include "FileJob.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <unistd.h>

#include "Files.h"
#include "ResultFile.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* A failure that is none of a page's own work; page 0: of the whole file. */
void TellOf(int page, const Problem& problem, FileRecord* record)
{
    record->pages.emplace_back();
    PageRecord& told = record->pages.back();
    told.result.report.file = record->input;
    told.result.report.page = std::max(page, 1);
    told.result.Fail(Status::error, problem);
    told.is_file = page == 0;
}

/* A name should say what is in the file. */
std::string NameWarning(const std::string& target, Format format)
{
    if (target == "-" || FormatOfName(target) == format || std::filesystem::path(target).extension().empty())
        return "";
    return target + " is written as " + std::string(NameOf(format)) + ", which its name does not say";
}

class FileJob
{
public:
    FileJob(const Call& call, FileRecord* record) : call_(call), options_(call.options), record_(*record) {}

    Problem Run()
    {
        Problem problem = Open();
        if (!problem) problem = Select();
        if (!problem) problem = options_.dry_run ? FindPages() : MakeResults();
        return problem;
    }

private:
    /* ---- The input ---- */

    Problem Open()
    {
        if (record_.input != "-") return Input::OpenFile(record_.input, &input_);
        Bytes bytes;
        Problem problem = ReadAll(STDIN_FILENO, &bytes);
        if (problem) return problem;
        /* A copy needs the bytes themselves, and they come but once. */
        if (options_.on_fail == OnFail::copy) stream_ = bytes;
        return Input::OpenMemory(std::move(bytes), &input_);
    }

    Problem Select()
    {
        const int count = input_->page_count();
        std::vector<bool> chosen(static_cast<size_t>(count), options_.pages.empty());
        for (const PageRange& range : options_.pages) {
            const int last = range.last == 0 ? std::max(count, range.first) : range.last;
            if (last > count)
                return {Code::no_such_page, "read",
                        "there is no page " + std::to_string(std::max(range.first, count + 1)) + ", but " +
                            std::to_string(count) + " in all"};
            for (int page = range.first; page <= last; ++page) chosen[static_cast<size_t>(page - 1)] = true;
        }
        for (int index = 0; index < count; ++index)
            if (chosen[static_cast<size_t>(index)]) indices_.push_back(index);
        const bool one_drawing = !options_.overlay.empty() && !OverlayIsFolder(options_);
        if (one_drawing && indices_.size() > 1)
            return {Code::cannot_hold, "overlay",
                    options_.overlay + " holds the drawing of one page; give a folder or --pages"};
        return {};
    }

    bool IsWhole() const { return static_cast<int>(indices_.size()) == input_->page_count(); }

    /* ---- The pages ---- */

    /* Works on a page, except for what becomes of its pixels. */
    PageRecord& Take(int index, bool finds_only)
    {
        PageJob job;
        job.input = input_.get();
        job.name = record_.input;
        job.index = index;
        job.finds_only = finds_only;
        const std::string drawing = options_.overlay.empty() ? "" : DrawingName(index);
        if (!drawing.empty()) job.drawing = FormatOfName(drawing) == Format::png ? Drawing::png : Drawing::svg;

        record_.pages.emplace_back();
        PageRecord& page = record_.pages.back();
        page.result = DoPage(job, options_, call_.known);
        if (!page.result.drawing.empty()) SaveDrawing(drawing, &page);
        return page;
    }

    std::string DrawingName(int index) const
    {
        if (!OverlayIsFolder(options_)) return options_.overlay;
        const std::string number = input_->page_count() > 1 ? "-" + std::to_string(index + 1) : "";
        return call_.claims.ClaimDrawing(options_, StemOf(record_.input) + number);
    }

    void SaveDrawing(const std::string& drawing, PageRecord* page)
    {
        const Stopwatch watch;
        std::string name = drawing;
        if (OverlayIsFolder(options_)) name = (std::filesystem::path(options_.overlay) / drawing).string();
        page->drawing = drawing;
        if (options_.existing != Existing::skip || !Exists(name))
            page->result.drawing_problem = WriteFile(name, Replacement(), page->result.drawing);
        page->result.drawing = std::string();
        for (auto& [stage, ms] : page->result.report.ms)
            if (stage == "overlay") ms += watch.ms();
    }

    bool GoesOn(const PageRecord& page) const { return StopSignal() == 0 && !EndsWork(options_, page.result); }

    Problem FindPages()
    {
        for (const int index : indices_)
            if (!GoesOn(Take(index, true))) break;
        return {};
    }

    /* ---- The results ---- */

    SafeFile::Existing Replacement() const
    {
        return options_.existing == Existing::replace || options_.in_place ? SafeFile::Existing::replace
                                                                           : SafeFile::Existing::refuse;
    }

    Problem MakeResults()
    {
        format_ = ResultFormat(options_, input_->format());
        if (options_.in_place && format_ != input_->format())
            return {Code::bad_argument, "write", "--in-place cannot change the format"};
        const bool divides = indices_.size() > 1 && format_ != Format::tiff;
        if (!divides && !NamesPages(options_)) {
            MakeResult(indices_, 0);
            return {};
        }
        if (!options_.output.empty() || options_.in_place)
            return {Code::cannot_hold, "write",
                    "the format holds one page of the " + std::to_string(indices_.size()) +
                        "; choose TIFF, --pages, or a file a page with -O"};
        for (const int index : indices_) {
            MakeResult({index}, index + 1);
            if (!record_.pages.empty() && !GoesOn(record_.pages.back())) break;
        }
        return {};
    }

    /* Whether the target may be written; it may also be left as it is. */
    Problem ClaimTarget(const std::string& target, bool* skip)
    {
        if (target == "-") return {};
        const std::string complaint = call_.claims.Claim(target, options_.in_place);
        if (!complaint.empty()) return {Code::exists, "write", complaint};
        *skip = options_.existing == Existing::skip && Exists(target);
        Problem problem = *skip ? Problem{} : CheckFree(target, Replacement());
        if (problem) problem.reason = target + ": " + problem.reason;
        return problem;
    }

    /* One result of these pages; number: that of the only page of a result, else 0. */
    void MakeResult(const std::vector<int>& indices, int number)
    {
        const std::string target = ResultName(options_, record_.input, input_->format(), number);
        const Problem odd = target == "-" ? Problem{} : CheckOrdinary(target);
        if (odd) {
            TellOf(number, odd, &record_);
            record_.pages.back().target = target;
            return;
        }
        bool skip = false;
        const Problem problem = ClaimTarget(target, &skip);
        if (problem) return TellOf(number, problem, &record_);
        if (skip) return record_.skipped.push_back(target);

        const size_t first = record_.pages.size();
        WriteOptions write = options_.write;
        write.format = format_;
        ResultFile file(target, Replacement(), write, indices.size());
        bool fails = false;
        for (const int index : indices) {
            PageRecord& page = Take(index, fails);
            page.target = target;
            if (!fails) AddPage(&file, &page.result);
            fails = fails || !page.result.delivers();
            if (!GoesOn(page)) break;
        }
        const std::string warning = NameWarning(target, format_);
        if (!warning.empty()) record_.pages[first].result.report.warnings.push_back(warning);
        if (fails || record_.pages.size() - first < indices.size())
            LeaveOut(first);
        else
            Finish(&file, first);
    }

    static void AddPage(ResultFile* file, PageResult* page)
    {
        if (!page->delivers()) return;
        const Stopwatch watch;
        const Problem problem = file->Add(page->page, &page->report.warnings);
        page->page = Page();
        page->report.ms.emplace_back("write", watch.ms());
        if (problem) page->Fail(Status::error, problem);
    }

    void Finish(ResultFile* file, size_t first)
    {
        const auto begin = record_.pages.begin() + static_cast<std::ptrdiff_t>(first);
        const bool copied = std::all_of(begin, record_.pages.end(), [](const PageRecord& page) {
            return page.result.report.status == Status::copied;
        });
        const Stopwatch watch;
        Problem problem = StopSignal() != 0 ? Interrupted("write") : Problem{};
        if (!problem) problem = copied && CopiesBytes() ? FinishAsCopy(file) : file->Finish();
        record_.pages.back().result.report.ms.back().second += watch.ms();
        for (auto page = begin; page != record_.pages.end(); ++page) {
            if (problem)
                page->result.Fail(Status::error, problem);
            else
                page->result.report.out = page->target;
        }
    }

    /* Where the input and a copy of its pages are the same, byte for byte. */
    bool CopiesBytes() const
    {
        return IsWhole() && format_ == input_->format() && (input_->page_count() == 1 || !NamesPages(options_)) &&
               options_.write.compression == Compression::same && options_.write.quality == 0;
    }

    Problem FinishAsCopy(ResultFile* file)
    {
        if (options_.in_place) return {};
        if (record_.input == "-") return file->FinishWith(stream_);
        Bytes bytes;
        const Problem problem = ReadFile(record_.input, &bytes);
        return problem ? problem : file->FinishWith(bytes);
    }

    /* Nothing is written of these pages, of which one at least has failed, or work has ended before the last. */
    void LeaveOut(size_t first)
    {
        const auto begin = record_.pages.begin() + static_cast<std::ptrdiff_t>(first);
        const auto culprit = std::find_if(begin, record_.pages.end(),
                                          [](const PageRecord& page) { return !page.result.delivers(); });
        const bool found = culprit != record_.pages.end();
        const Status status =
            found && culprit->result.report.status != Status::error ? Status::refused : Status::error;
        Problem problem = Interrupted("write");
        if (found)
            problem = {culprit->result.report.problem.code, "write",
                       "left out with page " + std::to_string(culprit->result.report.page)};
        for (auto page = begin; page != record_.pages.end(); ++page) {
            if (!page->result.delivers()) continue;
            page->result.Fail(status, problem);
            page->result.report.has_result = false;
            page->left_out = true;
        }
    }

    const Call& call_;
    const Options& options_;
    FileRecord& record_;
    Bytes stream_; /* standard input, where it may have to be copied */
    std::unique_ptr<Input> input_;
    std::vector<int> indices_; /* of the chosen pages */
    Format format_ = Format::unknown;
};

} // namespace

bool EndsWork(const Options& options, const PageResult& page)
{
    const Status status = page.report.status;
    if (status == Status::error) return options.fail_fast;
    return options.on_fail == OnFail::stop && status != Status::ok;
}

FileRecord DoFile(const Call& call, const std::string& input)
{
    FileRecord record;
    record.input = input;
    Problem problem;
    try {
        problem = FileJob(call, &record).Run();
    } catch (const std::bad_alloc&) {
        problem = MemoryRanOut("write");
    }
    if (problem) TellOf(0, problem, &record);
    return record;
}

} // namespace tool
