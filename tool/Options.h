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

struct Options {
    std::vector<std::string> inputs; /**< "-": standard input */

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
};

/** Reads the command line. Answers the exit code where there is nothing more to do: help was asked for, or it is wrong. */
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

} // namespace tool

#endif
