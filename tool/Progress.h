/*
 * Progress.h - how far the work is, on standard error: a bar on a terminal, or a line from time to time.
 */
#ifndef QUARLO_TOOL_PROGRESS_H
#define QUARLO_TOOL_PROGRESS_H

#include <chrono>
#include <string>

#include "FileJob.h"

namespace tool
{

/** What is known of the work. */
struct Stand {
    size_t inputs = 0;    /**< in all */
    size_t done = 0;      /**< of them, also those that were left */
    size_t worked = 0;    /**< of them, those that were not */
    size_t pages = 0;     /**< that were worked on */
    size_t failed = 0;    /**< of them, those without a result */
    double seconds = 0.0; /**< since the work began */
};

/** "62 %, 1240 pages, 8.3 pages/s, 1:32 left, 3 failed" */
std::string ProgressLine(const Stand& stand);
/** "2000 pages in 4:03, 8.2 pages/s, 3 failed" */
std::string LastLine(const Stand& stand);

/** How a bar looks. */
struct BarStyle {
    int columns = 80; /**< of the terminal; the bar leaves the last one free */
    bool colour = false;
    bool unicode = false;
};
/** The same with a bar, as much of it as there are columns for. */
std::string ProgressBar(const Stand& stand, const BarStyle& style);

class Progress
{
public:
    Progress(const Options& options, size_t inputs);

    void Count(const FileRecord& file);
    /** Draws the bar, or tells a line, if it is time to. */
    void Tick();
    void Finish();

private:
    ProgressStyle style_;
    bool talks_ = false; /* a line was told, or was asked for */
    BarStyle bar_;
    Stand stand_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double next_ = 0.0; /* second of the next line or bar */
};

/** Takes the bar off the screen, if there is one, before something else is written there. */
void EraseBar();

} // namespace tool

#endif
