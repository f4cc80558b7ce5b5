/*
 * Sources.h - which files a call works on: what it was given, with folders and lists looked up, always in the same
 * order.
 */
#ifndef QUARLO_TOOL_SOURCES_H
#define QUARLO_TOOL_SOURCES_H

#include "Options.h"

namespace tool
{

/**
 * Fills `inputs`: the names that were given, in their order, then those in the list. With `recursive` a folder stands
 * for the picture files in it and below, sorted by name; hidden files, the folders of results and drawings, and results
 * of other files there are left out. A problem means that the list cannot be read.
 */
quarlo::Problem ListSources(Options* options);

/** The inputs from `begin` up to `end`, which is not among them. */
struct Part {
    size_t begin = 0;
    size_t end = 0;
};

/** What a shard of so many inputs is: all shards together are all inputs, in order. */
Part PartOf(const Shard& shard, size_t count);

} // namespace tool

#endif
