/*
 * Naming.h - formats and names of results, and the promise that no file is written twice in a call, nor an input
 * written to.
 */
#ifndef QUARLO_TOOL_NAMING_H
#define QUARLO_TOOL_NAMING_H

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Options.h"

namespace tool
{

/** What stands in the pattern of --name for parts of a name. */
constexpr std::string_view kStem = "{stem}", kExt = "{ext}", kPage = "{page}";

/** What is wrong with the names that the options give to results, reports and drawings; empty: nothing. */
std::string NamesComplaint(const Options& options);

/** The format of an input's results. */
quarlo::Format ResultFormat(const Options& options, quarlo::Format input_format);

/** Whether each page gets a file of its own, whatever the format holds. */
bool NamesPages(const Options& options);

/** The name of an input's result; page 0: all pages are in one file. */
std::string ResultName(const Options& options, const Source& input, quarlo::Format input_format, int page);

/** The file name without folder and extension; "stdin" for "-". */
std::string StemOf(const std::string& input);

/** Whether drawings go to a folder, not to one file. */
bool OverlayIsFolder(const Options& options);
/** The name of a page of the contact sheet in the folder of drawings. */
std::string SheetName(const Options& options, int page = 1);

/** The folder of small pictures in that of drawings. */
std::string ThumbnailFolder(const Options& options);
/** The name of the small picture beside a drawing, both in the folder of drawings. */
std::string ThumbnailOf(const std::string& drawing);

/**
 * The files of a call: what is read, and what is written. Each may be written once, and nothing that is read. Of a
 * million files, the names alone are kept, and the disk is asked about a file only where one stands at a target.
 */
class Claims
{
public:
    /** All inputs count, also those of other shards. */
    explicit Claims(const Options& options);

    /** Takes a file for writing. Answers why it may not be; `in_place` is what was asked to replace an input. */
    std::string Claim(const std::string& name, bool in_place);
    /** The same for a file that another shard writes, by its name alone: its machine looks at the file itself. */
    std::string ClaimElsewhere(const std::string& name, bool in_place);
    /** Takes the report, and the drawing or the contact sheet. Answers why one of them may not be written. */
    std::string ClaimReports(const Options& options);
    /** Takes a file for a drawing in the folder of drawings: of this name if it is free, else numbered. */
    std::string ClaimDrawing(const std::string& name);

private:
    std::string Take(const std::string& name, const std::string& number, bool in_place);
    std::string PlaceOf(const std::string& name);
    std::string FolderOf(const std::string& name);
    bool IsInput(const std::string& place, const std::string& number);

    const Options& options_;
    std::unordered_map<std::string, std::string> folders_; /* as spelled; what stands for each */
    std::unordered_set<std::string> read_;                 /* places */
    std::unordered_set<std::string> read_numbers_;         /* as the system knows them, once they are asked for */
    bool knows_numbers_ = false;
    std::unordered_set<std::string> applied_;       /* the report that is applied */
    std::unordered_set<std::string> written_;       /* both */
    std::unordered_map<std::string, int> drawings_; /* how often each name was asked for */
};

} // namespace tool

#endif
