/*
 * Naming.h - formats and names of results, and the promise that no file is written twice in a call, nor an input
 * written to.
 */
#ifndef QUARLO_TOOL_NAMING_H
#define QUARLO_TOOL_NAMING_H

#include <set>
#include <string>
#include <vector>

#include "Options.h"

namespace tool
{

/** What is wrong with the names that the options give to results, reports and drawings; empty: nothing. */
std::string NamesComplaint(const Options& options);

/** The format of an input's results. */
quarlo::Format ResultFormat(const Options& options, quarlo::Format input_format);

/** Whether each page gets a file of its own, whatever the format holds. */
bool NamesPages(const Options& options);

/** The name of an input's result; page 0: all pages are in one file. */
std::string ResultName(const Options& options, const std::string& input, quarlo::Format input_format, int page);

/** The file name without folder and extension; "stdin" for "-". */
std::string StemOf(const std::string& input);

/** Whether drawings go to a folder, not to one file. */
bool OverlayIsFolder(const Options& options);
/** The name of a page of the contact sheet in the folder of drawings. */
std::string SheetName(const Options& options, int page = 1);

/** The files of a call: what is read, and what is written. Each may be written once, and nothing that is read. */
class Claims
{
public:
    explicit Claims(const Options& options);

    /** Takes a file for writing. Answers why it may not be; `in_place` is what was asked to replace an input. */
    std::string Claim(const std::string& name, bool in_place);
    /** Takes the report, and the drawing or the contact sheet. Answers why one of them may not be written. */
    std::string ClaimReports(const Options& options);
    /** Takes a file for a drawing in the folder of drawings: of this name if it is free, else numbered. */
    std::string ClaimDrawing(const Options& options, const std::string& stem);

private:
    std::set<std::string> read_;
    std::set<std::string> applied_; /* the report that is applied */
    std::set<std::string> written_;
};

} // namespace tool

#endif
