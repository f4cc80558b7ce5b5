/*
 * ReportFile.h - the report in the making.
 *
 * As a rule it appears under its name when it is whole. Where existing results are left as they are, the work of several
 * calls makes up one whole, and so do their reports: lines are added to the file that exists, each before the result that
 * it is about is there, so that not even a killed call loses one; at the end the file is put in the order of the inputs.
 */
#ifndef QUARLO_TOOL_REPORTFILE_H
#define QUARLO_TOOL_REPORTFILE_H

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Files.h"
#include "Options.h"

namespace tool
{

class ReportFile
{
public:
    /** No report where the name is empty. */
    quarlo::Problem Open(const std::string& name, Existing existing);
    bool is_open() const { return is_open_; }

    /** Where a report is gone on with: writes lines down now that will be added in their turn. */
    quarlo::Problem Announce(std::string_view lines);
    quarlo::Problem Add(const quarlo::PageReport& page);
    /** Takes over the line of a page whose result was left, and answers what it tells; nothing: there is none. */
    std::optional<quarlo::ToldPage> Keep(const std::string& file, int page);
    /** The last line, and the end. */
    quarlo::Problem Close(const quarlo::Summary& summary);

private:
    struct Line {
        std::uint64_t offset = 0;
        std::uint64_t size = 0; /* without its end */
    };
    /* What was told of a page, by an earlier call or as an announcement. */
    struct Told {
        Line line;
        bool is_announced = false;
        bool is_old = false; /* replaced by a newer line, or placed among them */
    };

    quarlo::Problem OpenJournal(const std::string& name);
    quarlo::Problem ReadJournal();
    quarlo::Problem Learn(std::string_view text, std::uint64_t offset);
    quarlo::Problem Append(std::string_view text, Line* line);
    Told* Find(const std::string& file, int page);
    bool IsInOrder() const;
    quarlo::Problem PutInOrder(const std::string& summary);
    quarlo::Problem ReadLine(const Line& line, std::string* text) const;

    bool is_open_ = false;
    TextFile file_;
    /* Where a report is gone on with: */
    std::string name_;
    Owned journal_;
    std::uint64_t end_ = 0; /* of the journal */
    std::unordered_map<std::string, std::map<int, Told>> told_;
    std::vector<Line> lines_; /* in the order of the inputs */
};

} // namespace tool

#endif
