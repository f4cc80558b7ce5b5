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
    void Count(const PageRecord& page);
    void WriteLine(TextFile* file, const std::string& name, const std::string& line);
    void WriteSheet();
    int ExitNow() const;

    const Options& options_;
    Stopwatch watch_;
    TextFile json_, angles_;
    quarlo::Summary summary_;
    bool failed_ = false;          /* beside the pages */
    bool failed_to_write_ = false; /* to the report, or the angles */
    quarlo::ContactSheet sheet_;
};

} // namespace tool

#endif
