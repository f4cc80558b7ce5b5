/*
 * Run.h - a whole call.
 */
#ifndef QUARLO_TOOL_RUN_H
#define QUARLO_TOOL_RUN_H

#include "Options.h"

namespace tool
{

/** Takes the inputs one after the other. Answers the exit code. */
int Run(const Options& options);

} // namespace tool

#endif
