/*
 * Worker.h - a process that takes inputs one after the other, and works on each.
 */
#ifndef QUARLO_TOOL_WORKER_H
#define QUARLO_TOOL_WORKER_H

#include "FileJob.h"

namespace tool
{

/** Works for whom the descriptor leads to, until it is closed or a signal asks to stop. Answers the exit code. */
int BeWorker(int descriptor, const Options& options, const KnownPages& known);

/** What a worker tells at the end of an input. */
struct Outcome {
    FileRecord record;
    bool closed_pipe = false; /**< nobody reads standard output any more */
    bool ends = false;        /**< it was asked to stop and takes no other input */
};

} // namespace tool

#endif
