/*
 * Options.h - the command line: what is to be done with which files.
 */
#ifndef QUARLO_TOOL_OPTIONS_H
#define QUARLO_TOOL_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "Words.h"
#include "quarlo/pages.hpp"

namespace tool
{

/** Exit codes of the program; one that a signal ended answers 128 and the signal's number. */
enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kNoFrame = 3 };

/** What becomes of a page without a usable frame. */
enum class OnFail { skip, copy, stop };
/** What becomes of a file that is where a result is to be. */
enum class Existing { refuse, replace, skip };
enum class Talk { quiet, normal, verbose };
/** How it is told how far the work is. */
enum class ProgressStyle { automatic, bar, lines, none };

/** One input. */
struct Source {
    std::string name; /**< "-": standard input */
    std::string
        below; /**< of a file that was found in a folder: where in that folder it lies, and its results below -O */
};

/** Which names the call was given, before they are looked up; see Sources.h. */
struct Given {
    std::vector<std::string> names; /**< files, folders with `recursive`, or "-" */
    std::string list;               /**< --files-from: a file's name, "-", or empty */
    bool nul = false;               /**< names in the list end in NUL, not in line ends */
    bool recursive = false;
    bool parents = false; /**< results keep the folders of their inputs' names */
};

struct Options {
    Given given;
    std::vector<Source> inputs; /**< all of them; `shard` says which are this call's */
    Shard shard;
    int jobs = 0; /**< pages worked on at a time; 0: as cores and memory allow */
    quarlo::ReadLimits read;

    std::string output; /**< -o: a file's name, "-" for standard output, or empty */
    std::string folder; /**< -O, or empty */
    std::string name = "{stem}_q.{ext}";
    quarlo::WriteOptions write; /**< format unknown: by the output's name, else the input's own */
    Existing existing = Existing::refuse;
    bool in_place = false;
    std::vector<PageRange> pages; /**< none: all */

    quarlo::SearchOptions search;
    quarlo::Limits limits;
    OnFail on_fail = OnFail::skip;

    quarlo::ResultOptions result;

    bool dry_run = false;
    bool angle = false;
    std::string json;    /**< the report's name, "-" for standard output, or empty */
    std::string overlay; /**< a file or a folder, or empty */
    std::string apply;   /**< a report's name, or empty */
    bool fail_fast = false;
    Talk talk = Talk::normal;
    ProgressStyle progress = ProgressStyle::automatic;
};

/** Reads the command line. Answers the exit code where there is nothing more to do: help was asked for, or it is wrong. */
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

} // namespace tool

#endif
