#include "support/CountedMemory.h"

#include <malloc.h>

extern "C" {
void* __real_malloc(size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);
void* __wrap_malloc(size_t size);
void* __wrap_realloc(void* block, size_t size);
void __wrap_free(void* block);
}

namespace
{

bool armed = false;
int fail_at = 0;
memory::Counts counts;

/* Counts an allocation; false if it is the one to fail. */
bool Admit(size_t size)
{
    if (!armed) return true;
    ++counts.calls;
    if (size > counts.largest) counts.largest = size;
    if (counts.calls != fail_at) return true;
    counts.failed = true;
    return false;
}

/* Counts a block in, or out with a sign of -1. */
void CountBlock(void* block, int sign)
{
    if (!armed || block == nullptr) return;
    counts.live += sign;
    counts.bytes += sign * static_cast<long>(malloc_usable_size(block));
    if (counts.bytes > counts.peak) counts.peak = counts.bytes;
}

} // namespace

void memory::Arm(int n)
{
    counts = Counts();
    fail_at = n;
    armed = true;
}

memory::Counts memory::Disarm()
{
    armed = false;
    return counts;
}

void* __wrap_malloc(size_t size)
{
    if (!Admit(size)) return nullptr;
    void* block = __real_malloc(size);
    CountBlock(block, 1);
    return block;
}

void* __wrap_realloc(void* block, size_t size)
{
    if (!Admit(size)) return nullptr;
    CountBlock(block, -1);
    void* moved = __real_realloc(block, size);
    CountBlock(moved, 1);
    return moved;
}

void __wrap_free(void* block)
{
    CountBlock(block, -1);
    __real_free(block);
}
