/*
 * FileJob.cpp - the work on one input.
 */
#include "FileJob.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <new>
#include <optional>
#include <unistd.h>

#include "Files.h"
#include "Naming.h"
#include "PageCrew.h"
#include "ResultFile.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* A failure that is none of a page's own work; page 0: of the whole file. */
void AddFailure(int page, const Problem& problem, FileRecord* record)
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

/* One result in the making: a file, and the pages that it is to hold. */
struct Part {
    std::vector<int> indices;
    int number = 0; /* of its only page, where each page gets a file of its own */
    std::string target;
    Problem problem; /* it cannot be written */
    bool exists = false;
};

class FileJob
{
public:
    FileJob(const Options& options, const KnownPages& known, const Source& source, Foreman* foreman,
            FileRecord* record)
        : options_(options), known_(known), source_(source), foreman_(*foreman), record_(*record)
    {
    }

    Problem Run()
    {
        Problem problem = Open();
        if (problem && StopSignal() != 0) return Interrupted("read"); /* which is why it could not be read */
        if (!problem) problem = Select();
        if (!problem && !options_.dry_run) problem = Divide();
        if (!problem) problem = ClaimNames();
        if (problem) return problem;
        if (options_.dry_run)
            FindPages();
        else
            MakeResults();
        return {};
    }

private:
    /* ---- The input ---- */

    Problem Open()
    {
        is_stream_ = source_.name == "-" || IsPipe(source_.name);
        if (IsFolder(source_.name) && !options_.given.recursive)
            return {Code::cannot_read, "read", "it is a folder; -r takes the pictures in it"};
        if (!is_stream_) return Input::OpenFile(source_.name, &input_);
        Bytes bytes;
        Problem problem = source_.name == "-" ? ReadAll(STDIN_FILENO, &bytes) : ReadFile(source_.name, &bytes);
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

    /* Which pages go into which file. */
    Problem Divide()
    {
        format_ = ResultFormat(options_, input_->format());
        if (options_.in_place && format_ != input_->format())
            return {Code::bad_argument, "write", "--in-place cannot change the format"};
        const bool divides = indices_.size() > 1 && format_ != Format::tiff;
        if (!divides && !NamesPages(options_)) {
            parts_.push_back({indices_, 0, TargetOf(0), {}, false});
            return {};
        }
        if (!options_.output.empty() || options_.in_place)
            return {Code::cannot_hold, "write",
                    "the format holds one page of the " + std::to_string(indices_.size()) +
                        "; choose TIFF, --pages, or a file a page with -O"};
        for (const int index : indices_) parts_.push_back({{index}, index + 1, TargetOf(index + 1), {}, false});
        return {};
    }

    std::string TargetOf(int number) const { return ResultName(options_, source_, input_->format(), number); }

    /* ---- Names ---- */

    Problem ClaimNames()
    {
        Wishes wishes;
        for (const Part& part : parts_) wishes.targets.push_back(part.target == "-" ? "" : part.target);
        if (!options_.overlay.empty() && OverlayIsFolder(options_))
            for (const int index : indices_) wishes.drawings.push_back(DrawingWish(index));
        Grants grants;
        if (!foreman_.Claim(wishes, &grants)) return Interrupted("write");
        for (size_t i = 0; i < parts_.size(); ++i) Look(grants.complaints[i], &parts_[i]);
        for (size_t i = 0; i < grants.drawings.size(); ++i) drawings_[indices_[i]] = grants.drawings[i];
        return {};
    }

    std::string DrawingWish(int index) const
    {
        const std::string number = input_->page_count() > 1 ? "-" + std::to_string(index + 1) : "";
        return (std::filesystem::path(source_.below) / (StemOf(source_.name) + number)).string();
    }

    /* Whether the target may be written; it may also be left as it is. */
    void Look(const std::string& complaint, Part* part) const
    {
        if (part->target == "-") return;
        part->problem = CheckOrdinary(part->target);
        if (part->problem) return;
        if (!complaint.empty()) {
            part->problem = {Code::exists, "write", complaint};
            return;
        }
        part->exists = options_.existing == Existing::skip && Exists(part->target);
        if (!part->exists) part->problem = CheckFree(part->target, Replacement());
        if (part->problem) part->problem.reason = part->target + ": " + part->problem.reason;
    }

    /* ---- The pages ---- */

    PageResult Work(int index) const
    {
        PageJob job;
        job.input = input_.get();
        job.name = source_.name;
        job.index = index;
        job.finds_only = options_.dry_run;
        const std::string drawing = options_.overlay.empty() ? "" : DrawingOf(index);
        job.thumbnail = !drawing.empty() && OverlayIsFolder(options_);
        if (!drawing.empty()) job.drawing = FormatOfName(drawing) == Format::png ? Drawing::png : Drawing::svg;
        return DoPage(job, options_, known_);
    }

    std::string DrawingOf(int index) const
    {
        return OverlayIsFolder(options_) ? drawings_.at(index) : options_.overlay;
    }

    /* The pages that will be taken, in that order. A single one needs no help. */
    void Engage(const std::vector<int>& indices)
    {
        if (indices.size() > 1)
            crew_ = std::make_unique<PageCrew>(
                indices, [this](int index) { return Work(index); }, &foreman_);
    }

    /* Works on a page, except for what becomes of its pixels. */
    PageRecord& Take(int index)
    {
        record_.pages.emplace_back();
        PageRecord& page = record_.pages.back();
        page.result = crew_ ? crew_->Take() : Work(index);
        page.result.report.file = source_.name; /* also where the work on it broke off */
        if (!page.result.drawing.empty()) SaveDrawing(DrawingOf(index), &page);
        return page;
    }

    void SaveDrawing(const std::string& drawing, PageRecord* page)
    {
        const Stopwatch watch;
        PageResult& result = page->result;
        page->drawing = drawing;
        if (MayWrite()) {
            Save(drawing, result.drawing, &result.drawing_problem);
            if (!result.thumbnail.empty()) Save(ThumbnailOf(drawing), result.thumbnail, &result.drawing_problem);
        }
        result.drawing = result.thumbnail = std::string();
        for (auto& [stage, ms] : result.report.ms)
            if (stage == "overlay") ms += watch.ms();
    }

    void Save(const std::string& drawing, const std::string& bytes, Problem* problem) const
    {
        const bool in_folder = OverlayIsFolder(options_);
        const std::string name = in_folder ? (std::filesystem::path(options_.overlay) / drawing).string() : drawing;
        if (*problem || (options_.existing == Existing::skip && Exists(name))) return;
        if (in_folder) *problem = MakeFolderOf(name);
        if (!*problem) *problem = WriteFile(name, Replacement(), bytes);
    }

    /* Inputs that come after the end of the work leave no trace. */
    bool MayWrite()
    {
        if (!may_write_) may_write_ = foreman_.MayWrite();
        return *may_write_;
    }

    bool GoesOn(const PageRecord& page) const { return StopSignal() == 0 && !EndsWork(options_, page.result); }

    void FindPages()
    {
        Engage(indices_);
        for (const int index : indices_)
            if (!GoesOn(Take(index))) break;
    }

    /* ---- The results ---- */

    SafeFile::Existing Replacement() const
    {
        return options_.existing == Existing::replace || options_.in_place ? SafeFile::Existing::replace
                                                                           : SafeFile::Existing::refuse;
    }

    void MakeResults()
    {
        std::vector<int> indices;
        for (const Part& part : parts_)
            if (!part.exists && !part.problem)
                indices.insert(indices.end(), part.indices.begin(), part.indices.end());
        Engage(indices);
        for (const Part& part : parts_) {
            if (part.problem)
                TellOf(part);
            else if (part.exists)
                LeaveAsIs(part);
            else
                MakeResult(part);
            if (!record_.pages.empty() && !GoesOn(record_.pages.back())) break;
        }
    }

    void TellOf(const Part& part)
    {
        AddFailure(part.number, part.problem, &record_);
        if (part.problem.code == Code::cannot_write) record_.pages.back().target = part.target;
    }

    void LeaveAsIs(const Part& part)
    {
        for (const int index : part.indices) {
            record_.pages.emplace_back();
            PageRecord& page = record_.pages.back();
            page.exists = true;
            page.target = part.target;
            page.result.report.file = source_.name;
            page.result.report.page = index + 1;
            if (!options_.overlay.empty()) page.drawing = DrawingOf(index);
        }
    }

    void MakeResult(const Part& part)
    {
        /* Files from folders keep their folders; where one cannot be made, neither can the file. */
        const std::string folder = std::filesystem::path(part.target).parent_path().string();
        if (!source_.below.empty() && !IsFolder(folder) && MayWrite()) MakeFolder(folder);
        const size_t first = record_.pages.size();
        WriteOptions write = options_.write;
        write.format = format_;
        ResultFile file(part.target, Replacement(), write, part.indices.size());
        bool fails = false;
        for (const int index : part.indices) {
            PageRecord& page = Take(index);
            page.target = part.target;
            if (!fails) AddPage(&file, &page.result);
            page.result.page = Page();
            fails = fails || !page.result.delivers();
            if (!GoesOn(page)) break;
        }
        const std::string warning = NameWarning(part.target, format_);
        if (!warning.empty()) record_.pages[first].result.report.warnings.push_back(warning);
        if (fails || record_.pages.size() - first < part.indices.size())
            LeaveOut(first);
        else
            Finish(&file, first);
    }

    static void AddPage(ResultFile* file, PageResult* page)
    {
        if (!page->delivers()) return;
        const Stopwatch watch;
        const Problem problem = file->Add(page->page, &page->report.warnings);
        page->report.ms.emplace_back("write", watch.ms());
        if (problem) page->Fail(Status::error, problem);
    }

    void Finish(ResultFile* file, size_t first)
    {
        const auto begin = record_.pages.begin() + static_cast<std::ptrdiff_t>(first);
        const bool copied = std::all_of(begin, record_.pages.end(), [](const PageRecord& page) {
            return page.result.report.status == Status::copied;
        });
        for (auto page = begin; page != record_.pages.end(); ++page) page->result.report.out = page->target;
        const Stopwatch watch;
        Problem problem = StopSignal() != 0 || !MayWrite() || !Announce(first) ? Interrupted("write") : Problem{};
        if (!problem) problem = copied && CopiesBytes() ? FinishAsCopy(file) : file->Finish();
        record_.pages.back().result.report.ms.back().second += watch.ms();
        if (!problem) return;
        /* Another call has come first, and its result is as good. */
        const bool is_left = problem.code == Code::exists && options_.existing == Existing::skip;
        for (auto page = begin; page != record_.pages.end(); ++page) {
            page->exists = is_left;
            if (is_left) continue;
            page->result.Fail(Status::error, problem);
            page->result.report.out.clear();
        }
    }

    bool Announce(size_t first)
    {
        if (options_.existing != Existing::skip || options_.json.empty()) return true;
        std::string lines;
        for (size_t i = first; i < record_.pages.size(); ++i)
            lines += ReportLine(record_.pages[i].result.report) + "\n";
        return foreman_.Announce(lines);
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
        if (is_stream_) return file->FinishWith(stream_);
        Bytes bytes;
        const Problem problem = ReadFile(source_.name, &bytes);
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

    const Options& options_;
    const KnownPages& known_;
    const Source& source_;
    Foreman& foreman_;
    FileRecord& record_;
    bool is_stream_ = false;
    Bytes stream_; /* all of it, where it may have to be copied */
    std::unique_ptr<Input> input_;
    std::vector<int> indices_; /* of the chosen pages */
    Format format_ = Format::unknown;
    std::vector<Part> parts_;
    std::map<int, std::string> drawings_; /* by index, where they go to a folder */
    std::optional<bool> may_write_;
    std::unique_ptr<PageCrew> crew_; /* uses what is above, so it goes first */
};

} // namespace

bool EndsWork(const Options& options, const PageResult& page)
{
    const Status status = page.report.status;
    if (status == Status::error) return options.fail_fast;
    return options.on_fail == OnFail::stop && status != Status::ok;
}

FileRecord FailedFile(const Source& input, const Problem& problem)
{
    FileRecord record;
    record.input = input.name;
    AddFailure(0, problem, &record);
    return record;
}

FileRecord DoFile(const Options& options, const KnownPages& known, const Source& input, Foreman* foreman)
{
    FileRecord record;
    record.input = input.name;
    Problem problem;
    try {
        problem = FileJob(options, known, input, foreman, &record).Run();
    } catch (const std::bad_alloc&) {
        problem = MemoryRanOut("write");
    }
    if (problem) AddFailure(0, problem, &record);
    return record;
}

} // namespace tool
