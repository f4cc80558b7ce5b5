/*
 * FileJob.h - the work on one input: its pages in their order, and the files that come of them.
 *
 * A document stays whole: where a page of it fails and is not copied as it is, nothing is written for the document.
 */
#ifndef QUARLO_TOOL_FILEJOB_H
#define QUARLO_TOOL_FILEJOB_H

#include <string>
#include <vector>

#include "Naming.h"
#include "PageJob.h"

namespace tool
{

struct PageRecord {
    PageResult result;     /**< without its pixels */
    std::string target;    /**< the name that was meant for its file */
    std::string drawing;   /**< the name of its drawing, without the folder */
    bool is_file = false;  /**< told of the file as a whole, no page was reached */
    bool left_out = false; /**< nothing is wrong with it, but with another page of its document */
};

struct FileRecord {
    std::string input;
    std::vector<PageRecord> pages;
    std::vector<std::string> skipped; /**< results that exist and were to be left */
};

/** What all files of a call share. */
struct Call {
    const Options& options;
    const KnownPages& known;
    Claims& claims;
};

/** Whether the options ask to end all work after such a page. */
bool EndsWork(const Options& options, const PageResult& page);

/** Works on an input and writes its results. Only what cannot be told throws. */
FileRecord DoFile(const Call& call, const std::string& input);

} // namespace tool

#endif
