/*
 * Apply.cpp - placements that are known from a report.
 */
#include "Apply.h"

#include <iterator>
#include <vector>

#include "Files.h"
#include "Naming.h"

using namespace quarlo;

namespace tool
{

Problem KnownPages::Load(const std::string& report)
{
    Bytes text;
    std::vector<KnownPage> pages;
    Problem problem = ReadFile(report, &text);
    if (!problem) problem = ReadReport(ViewOf(text), &pages);
    if (problem) return problem;
    for (const KnownPage& page : pages) {
        const bool is_new = files_.count(page.file) == 0;
        if (is_new) stems_.emplace(StemOf(page.file), page.file);
        files_[page.file].emplace(page.page, page.placement);
    }
    loaded_ = true;
    return {};
}

Problem KnownPages::FileMeant(const std::string& input, std::string* file) const
{
    const auto [first, last] = stems_.equal_range(StemOf(input));
    if (files_.count(input) != 0)
        *file = input;
    else if (first != last && std::next(first) != last)
        return {Code::bad_report, "report", "the report has several files of this name, in other folders"};
    else if (first != last)
        *file = first->second;
    else if (files_.size() == 1)
        *file = files_.begin()->first;
    return {};
}

Problem KnownPages::Find(const std::string& input, int page, Placement* placement) const
{
    std::string name;
    Problem problem = FileMeant(input, &name);
    if (problem) return problem;
    const auto file = files_.find(name);
    if (file == files_.end() || file->second.count(page) == 0)
        return {Code::bad_report, "report", "the report has no frame of this page"};
    *placement = file->second.at(page);
    return {};
}

} // namespace tool
