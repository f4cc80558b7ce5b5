/*
 * Reporter.h - all that is told: messages, report, angles, contact sheet, exit code. Files are told one after the
 * other, in the order in which they come here.
 */
#ifndef QUARLO_TOOL_REPORTER_H
#define QUARLO_TOOL_REPORTER_H

#include <string>
#include <string_view>

#include "FileJob.h"
#include "Files.h"
#include "ReportFile.h"

namespace tool
{

/** "quarlo: SUBJECT: WORDS" on standard error. */
void Say(std::string_view subject, std::string_view words);
/** A problem in words, with its code. */
std::string WordsOf(const quarlo::Problem& problem);

class Reporter
{
public:
    explicit Reporter(const Options& options) : options_(options) {}

    /** Makes sure that the report and the drawings can be written, before any work is done. False: it has been said. */
    bool Open();
    void Tell(const FileRecord& file);
    /** The end of the report, and the contact sheet. Answers the exit code. */
    int Close();

private:
    quarlo::SafeFile::Existing Replacement() const;
    bool CheckOverlay();
    void TellPage(const FileRecord& file, const PageRecord& page);
    void TellWarnings(const FileRecord& file);
    void TellLeftOut(const FileRecord& file);
    void TellAngle(const PageRecord& page);
    void TellSheet(const FileRecord& file, const PageRecord& page);
    bool HasSheet() const;
    std::string InOverlay(const std::string& name) const;
    void AddDrawing(const std::string& drawing, quarlo::SheetEntry* entry) const;
    void TellLeft(const FileRecord& file, const PageRecord& page);
    void Count(quarlo::Status status);
    void Note(const std::string& name, const quarlo::Problem& problem);
    void WriteSheet();
    int ExitNow() const;

    const Options& options_;
    Stopwatch watch_;
    ReportFile json_;
    TextFile angles_;
    quarlo::Summary summary_;
    bool failed_ = false;          /* beside the pages */
    bool failed_to_write_ = false; /* to the report, or the angles, which has been said */
    quarlo::ContactSheet sheet_;
};

} // namespace tool

#endif
