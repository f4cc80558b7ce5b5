/*
 * Jobs.h - how many pages a machine can work on at a time.
 */
#ifndef QUARLO_TOOL_JOBS_H
#define QUARLO_TOOL_JOBS_H

#include <string>

namespace tool
{

/** No call works on more pages at a time. */
constexpr int kMostJobs = 1024;

/** Memory that a job is reckoned with: what a page of A4 in colour at 600 dpi takes at its worst moment. */
constexpr double kMemoryOfJob = 512.0 * 1024 * 1024;

/**
 * As many as there are processors for this process, but no more than free memory has room for; at least 1. What limits
 * the control groups of this process set, on processors or memory, counts. `root` is put before /proc and /sys.
 */
int AutomaticJobs(const std::string& root = "");

} // namespace tool

#endif
