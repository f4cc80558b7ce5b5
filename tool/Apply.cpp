/*
 * Apply.cpp - placements that are known from a report.
 */
#include "Apply.h"

#include <set>

#include "Files.h"
#include "Naming.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* The files of the report that may be meant by the input, best kind first. */
std::set<std::string> FilesMeant(const std::vector<KnownPage>& pages, const std::string& input)
{
    std::set<std::string> all, same_stem;
    for (const KnownPage& known : pages) {
        if (known.file == input) return {input};
        all.insert(known.file);
        if (StemOf(known.file) == StemOf(input)) same_stem.insert(known.file);
    }
    return same_stem.empty() && all.size() == 1 ? all : same_stem;
}

} // namespace

Problem KnownPages::Load(const std::string& report)
{
    Bytes text;
    Problem problem = ReadFile(report, &text);
    if (!problem) problem = ReadReport(ViewOf(text), &pages_);
    loaded_ = !problem;
    return problem;
}

Problem KnownPages::Find(const std::string& input, int page, Placement* placement) const
{
    const std::set<std::string> files = FilesMeant(pages_, input);
    if (files.size() > 1)
        return {Code::bad_report, "report", "several files of the report have this name in other folders"};
    for (const KnownPage& known : pages_) {
        if (files.count(known.file) == 0 || known.page != page) continue;
        *placement = known.placement;
        return {};
    }
    return {Code::bad_report, "report", "the report has no frame of this page"};
}

} // namespace tool
