/*
 * CountedMemory.h - an allocator that fails on demand and keeps count.
 *
 * A test that is linked with --wrap=malloc, --wrap=realloc and --wrap=free sends every allocation of the library and of
 * the test's own C code through here. Between Arm and Disarm the n-th allocation answers null.
 */
#ifndef QUARLO_TESTS_SUPPORT_COUNTEDMEMORY_H
#define QUARLO_TESTS_SUPPORT_COUNTEDMEMORY_H

#include <cstddef>

namespace memory
{

struct Counts {
    int calls = 0; /* allocations asked for since Arm */
    bool failed = false;
    long live = 0;      /* blocks allocated less blocks freed since Arm */
    size_t largest = 0; /* bytes of the largest request since Arm */
    long bytes = 0;     /* in those blocks, as the system rounds them */
    long peak = 0;      /* the most that `bytes` has been */
};

/* From here on the n-th allocation fails; 0: none does. */
void Arm(int n);

/* Ends that, and tells what happened. */
Counts Disarm();

} // namespace memory

#endif
