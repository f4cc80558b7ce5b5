/*
 * ReportFile.cpp - the report in the making.
 */
#include "ReportFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace quarlo;

namespace tool
{

namespace
{

constexpr size_t kChunk = 1 << 20;

Problem CannotWrite(int error) { return {Code::cannot_write, "report", std::strerror(error)}; }

Problem NoReport()
{
    return {Code::bad_report, "report", "it is there and is no report, so that it cannot be gone on with"};
}

/* As far as it goes. */
bool BeginsLikeALine(std::string_view text)
{
    constexpr std::string_view begin = "{\"v\":";
    return text.substr(0, begin.size()) == begin.substr(0, text.size());
}

bool IsOrdinary(const std::string& name)
{
    struct stat status;
    if (name == "-" || name == kErrorStream) return false;
    return stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

} // namespace

Problem ReportFile::Open(const std::string& name, Existing existing)
{
    if (name.empty()) return {};
    Problem problem;
    if (existing == Existing::skip && IsOrdinary(name))
        problem = OpenJournal(name);
    else
        problem = file_.Open(name, existing == Existing::replace ? SafeFile::Existing::replace
                                                                 : SafeFile::Existing::refuse);
    is_open_ = !problem;
    return problem;
}

/* ---- A report that is gone on with ---- */

Problem ReportFile::OpenJournal(const std::string& name)
{
    journal_ = Owned(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (journal_.number() < 0) return CannotWrite(errno);
    if (flock(journal_.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return {Code::cannot_write, "report", "another call is writing it"};
    name_ = name;
    return ReadJournal();
}

Problem ReportFile::ReadJournal()
{
    std::string rest;
    std::vector<char> chunk(kChunk);
    for (;;) {
        const ssize_t count = read(journal_.number(), chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return {Code::cannot_read, "report", std::strerror(errno)};
        if (count == 0) break;
        rest.append(chunk.data(), static_cast<size_t>(count));
        size_t begin = 0;
        for (size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', begin)) {
            Problem problem = Learn(std::string_view(rest).substr(begin, end - begin), end_);
            if (problem) return problem;
            end_ += end + 1 - begin;
            begin = end + 1;
        }
        rest.erase(0, begin);
    }
    if (end_ == 0 && !BeginsLikeALine(rest)) return NoReport();
    /* A line that was cut short when its call was killed. */
    if (!rest.empty() && ftruncate(journal_.number(), static_cast<off_t>(end_)) != 0) return CannotWrite(errno);
    if (lseek(journal_.number(), static_cast<off_t>(end_), SEEK_SET) < 0) return CannotWrite(errno);
    return {};
}

/* Of two lines about a page, the later one holds. A file that is no report is not gone on with, nor harmed. */
Problem ReportFile::Learn(std::string_view text, std::uint64_t offset)
{
    ToldPage page;
    std::vector<KnownPage> pages;
    if (ReadReportLine(text, &page))
        told_[page.file][page.page] = {{offset, text.size()}, false, false};
    else if (ReadReport(text, &pages))
        return NoReport();
    return {};
}

Problem ReportFile::Append(std::string_view text, Line* line)
{
    Problem problem = WriteAll(journal_.number(), std::string(text) + "\n");
    if (problem) return problem;
    *line = {end_, text.size()};
    end_ += text.size() + 1;
    return {};
}

Problem ReportFile::Announce(std::string_view lines)
{
    Problem problem;
    while (journal_.number() >= 0 && !problem && !lines.empty()) {
        const std::string_view text = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(text.size() + 1, lines.size()));
        ToldPage page;
        Line line;
        problem = Append(text, &line);
        if (!problem && ReadReportLine(text, &page)) told_[page.file][page.page] = {line, true, false};
    }
    return problem;
}

ReportFile::Told* ReportFile::Find(const std::string& file, int page)
{
    const auto pages = told_.find(ToldName(file));
    if (pages == told_.end()) return nullptr;
    const auto told = pages->second.find(page);
    return told == pages->second.end() ? nullptr : &told->second;
}

std::optional<ToldPage> ReportFile::Keep(const std::string& file, int page)
{
    Told* told = Find(file, page);
    if (told == nullptr) return std::nullopt;
    if (!told->is_old) lines_.push_back(told->line);
    told->is_old = true;
    std::string text;
    ToldPage kept;
    if (ReadLine(told->line, &text) || !ReadReportLine(text, &kept)) return std::nullopt;
    return kept;
}

Problem ReportFile::ReadLine(const Line& line, std::string* text) const
{
    text->resize(line.size);
    size_t filled = 0;
    while (filled < line.size) {
        const ssize_t count = pread(journal_.number(), text->data() + filled, line.size - filled,
                                    static_cast<off_t>(line.offset + filled));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0)
            return {Code::cannot_read, "report", count < 0 ? std::strerror(errno) : "it has become shorter"};
        filled += static_cast<size_t>(count);
    }
    return {};
}

/* The journal holds what is to be told, and nothing else. */
bool ReportFile::IsInOrder() const
{
    std::uint64_t at = 0;
    for (const Line& line : lines_) {
        if (line.offset != at) return false;
        at += line.size + 1;
    }
    return at == end_;
}

/* Lines of pages that this call did not come to, or does not know, stay: first, in their old order. */
Problem ReportFile::PutInOrder(const std::string& summary)
{
    std::vector<Line> others;
    for (const auto& [file, pages] : told_)
        for (const auto& [page, told] : pages)
            if (!told.is_old) others.push_back(told.line);
    std::sort(others.begin(), others.end(),
              [](const Line& one, const Line& other) { return one.offset < other.offset; });
    std::string text;
    TextFile whole;
    Problem problem = whole.Open(name_, SafeFile::Existing::replace);
    for (const std::vector<Line>* lines : {&others, &lines_})
        for (const Line& line : *lines) {
            if (!problem) problem = ReadLine(line, &text);
            if (!problem) problem = whole.Write(text + "\n");
        }
    if (!problem) problem = whole.Write(summary + "\n");
    return problem ? problem : whole.Close();
}

/* ---- Both kinds ---- */

Problem ReportFile::Add(const PageReport& page)
{
    if (journal_.number() < 0) return file_.Write(ReportLine(page) + "\n");
    Told* told = Find(page.file, page.page);
    const bool is_there = told != nullptr && told->is_announced && !told->is_old && !page.out.empty();
    if (told != nullptr) told->is_old = true;
    Line line;
    Problem problem;
    if (is_there)
        line = told->line;
    else
        problem = Append(ReportLine(page), &line);
    if (!problem) lines_.push_back(line);
    return problem;
}

Problem ReportFile::Close(const Summary& summary)
{
    const std::string text = SummaryLine(summary);
    if (journal_.number() < 0) {
        const Problem problem = file_.Write(text + "\n");
        return problem ? problem : file_.Close();
    }
    if (!IsInOrder()) return PutInOrder(text);
    Line line;
    const Problem problem = Append(text, &line);
    return !problem && fsync(journal_.number()) != 0 && errno == EIO ? CannotWrite(errno) : problem;
}

} // namespace tool
