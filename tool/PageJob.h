/*
 * PageJob.h - the work on one page: from an open file and options to a page in memory and what is to be told of it.
 * It keeps no state and touches no file but the input, so that jobs may run side by side.
 */
#ifndef QUARLO_TOOL_PAGEJOB_H
#define QUARLO_TOOL_PAGEJOB_H

#include <chrono>
#include <memory>
#include <string>

#include "Apply.h"
#include "Options.h"
#include "quarlo/pages.hpp"

namespace tool
{

/** Milliseconds since it was made. */
class Stopwatch
{
public:
    double ms() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/** What becomes of the drawing. */
enum class Drawing { none, svg, png };

struct PageJob {
    quarlo::Input* input = nullptr;
    std::string name; /**< the input's, for people */
    int index = 0;    /**< 0: the first page */
    bool finds_only = false;
    Drawing drawing = Drawing::none;
    bool thumbnail = false; /**< a small picture of the drawing, too */
};

struct PageResult {
    quarlo::PageReport report;
    std::unique_ptr<quarlo::Frame> frame; /**< where one was looked for */
    quarlo::Page page;                    /**< the result; empty where there is none */
    std::string drawing;                  /**< the bytes of the drawing */
    std::string thumbnail;                /**< and those of the small one */
    quarlo::Problem drawing_problem;

    bool delivers() const { return report.status == quarlo::Status::ok || report.status == quarlo::Status::copied; }
    void Fail(quarlo::Status status, const quarlo::Problem& problem)
    {
        report.status = status;
        report.problem = problem;
        page = quarlo::Page();
    }
};

/** Finds the page and makes it upright. Memory that runs out is a failure of the page. */
PageResult DoPage(const PageJob& job, const Options& options, const KnownPages& known);

quarlo::Problem MemoryRanOut(const char* stage);
quarlo::Problem Interrupted(const char* stage);

} // namespace tool

#endif
