/*
 * PeakMemory.h - how much memory a call needs at its worst moment, to the byte. A program that is linked with
 * --wrap=malloc, --wrap=realloc and --wrap=free sends every allocation of the library through here.
 */
#ifndef QUARLO_BENCH_PEAKMEMORY_H
#define QUARLO_BENCH_PEAKMEMORY_H

#include <cstddef>
#include <functional>

namespace bench
{

/*
 * Runs a call and answers the largest number of bytes that it held at one time, not counting those that are still held
 * when it returns: its result. Where a block grows, the old and the new one count for a moment.
 */
size_t PeakMemoryOf(const std::function<void()>& call);

} // namespace bench

#endif
