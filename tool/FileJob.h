/*
 * FileJob.h - the work on one input: its pages in their order, and the files that come of them.
 *
 * A document stays whole: where a page of it fails and is not copied as it is, nothing is written for the document.
 */
#ifndef QUARLO_TOOL_FILEJOB_H
#define QUARLO_TOOL_FILEJOB_H

#include <string>
#include <vector>

#include "PageJob.h"

namespace tool
{

struct PageRecord {
    PageResult result;     /**< without its pixels */
    std::string target;    /**< the name that was meant for its file */
    std::string drawing;   /**< the name of its drawing, in the folder of drawings where there is one */
    bool is_file = false;  /**< told of the file as a whole, no page was reached */
    bool left_out = false; /**< nothing is wrong with it, but with another page of its document */
    bool exists = false;   /**< its result was there and is left as it is; nothing was done */
};

struct FileRecord {
    std::string input;
    std::vector<PageRecord> pages;
};

/** The names that an input asks for. */
struct Wishes {
    std::vector<std::string> targets;
    std::vector<std::string> drawings; /**< in the folder of drawings, without extension */
};
/** What is answered to each. */
struct Grants {
    std::vector<std::string> complaints; /**< why a target may not be written; empty: it may */
    std::vector<std::string> drawings;   /**< with extension, none given twice */
};

/**
 * Who looks after the whole call: several inputs are worked on at a time, yet what comes of each must be as if they
 * were taken one after the other.
 */
class Foreman
{
public:
    virtual ~Foreman() = default;

    /** Asks for names, once for an input. Answered in the order of the inputs; false: work has ended. */
    virtual bool Claim(const Wishes& wishes, Grants* grants) = 0;
    /** Asked before the first file of an input is put in its place; false: work has ended with an input before it. */
    virtual bool MayWrite() = 0;
    /**
     * Hands over lines of the report about pages whose file is about to be put in its place: where a report is gone on
     * with, no file is ever there without them, whenever the call is killed. False: work has ended.
     */
    virtual bool Announce(const std::string& lines) = 0;

    /** Pages of the input, beside the one that always may, that could be worked on now. */
    virtual void WantSlots(int count) = 0;
    /** How many of those may be, that is, have been granted since the last call. */
    virtual int TakeSlots() = 0;
    virtual void FreeSlots(int count) = 0;
    /** Something to read there: perhaps another slot. */
    virtual int descriptor() const = 0;
};

/** Whether the options ask to end all work after such a page. */
bool EndsWork(const Options& options, const PageResult& page);

/** A record of an input that was not begun or not finished. */
FileRecord FailedFile(const Source& input, const quarlo::Problem& problem);

/** Works on an input and writes its results. Only what cannot be told throws. */
FileRecord DoFile(const Options& options, const KnownPages& known, const Source& input, Foreman* foreman);

} // namespace tool

#endif
