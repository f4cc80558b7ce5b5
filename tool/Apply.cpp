/*
 * Apply.cpp - placements that are known from a report.
 */
#include "Apply.h"

#include <cmath>
#include <iterator>
#include <vector>

#include "Files.h"
#include "Naming.h"

using namespace quarlo;

namespace tool
{

namespace
{

constexpr double kMostStretch = 0.02; /* between the aspect ratios of two pictures of the same sheet */

Problem BadReport(const std::string& reason) { return {Code::bad_report, "report", reason}; }

std::string SizeText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

/* A picture of another shape does not show the same area, so that the frame would lie anywhere in it. */
Problem CheckShape(const Placement& placement, int width, int height)
{
    const double known = static_cast<double>(placement.scan_width) / placement.scan_height;
    const double stretch = static_cast<double>(width) / height / known;
    if (std::fabs(stretch - 1.0) <= kMostStretch) return {};
    return BadReport("the report's frame is of a picture of " +
                     SizeText(placement.scan_width, placement.scan_height) + " pixels, this one has " +
                     SizeText(width, height) + ", another shape");
}

} // namespace

Problem KnownPages::Load(const std::string& report, bool one_input)
{
    Bytes text;
    std::vector<KnownPage> pages;
    Problem problem = ReadFile(report, &text);
    if (!problem && ViewOf(text).find_first_not_of(" \t\r\n") == std::string_view::npos)
        problem = BadReport("the report is empty");
    if (!problem) problem = ReadReport(ViewOf(text), &pages);
    if (problem) return problem;
    for (const KnownPage& page : pages) {
        const bool is_new = files_.count(page.file) == 0;
        if (is_new) stems_.emplace(StemOf(page.file), page.file);
        files_[page.file].emplace(page.page, page.placement);
    }
    loaded_ = true;
    one_input_ = one_input;
    return {};
}

Problem KnownPages::FileMeant(const std::string& input, std::string* file) const
{
    const auto [first, last] = stems_.equal_range(StemOf(input));
    if (files_.count(input) != 0)
        *file = input;
    else if (first != last && std::next(first) != last)
        return BadReport("the report has several files of this name, in other folders");
    else if (first != last)
        *file = first->second;
    else if (one_input_ && files_.size() == 1)
        *file = files_.begin()->first;
    return {};
}

Problem KnownPages::Find(const std::string& input, int page, int width, int height, Placement* placement) const
{
    std::string name;
    Problem problem = FileMeant(input, &name);
    if (problem) return problem;
    const auto file = files_.find(name);
    if (file == files_.end() || file->second.count(page) == 0)
        return BadReport("the report has no frame of this page");
    const Placement& known = file->second.at(page);
    problem = CheckShape(known, width, height);
    if (!problem) *placement = Scaled(known, width, height);
    return problem;
}

} // namespace tool
