#include "PeakMemory.h"

#include <algorithm>
#include <map>
#include <vector>

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

/* What happened, in order. What the result consists of is known only at the end, so the sums are made then. */
struct Block {
    size_t size;
    bool released;
};

struct Event {
    size_t block; /* its number */
    bool release;
};

/* Memory of its own comes from operator new, whose library is not among the wrapped objects. */
struct Record {
    std::vector<Block> blocks;
    std::vector<Event> events;
    std::map<void*, size_t> numbers; /* of the blocks that are held */
};

Record* record = nullptr;

void NoteNew(void* address, size_t size)
{
    if (record == nullptr || address == nullptr) return;
    record->numbers[address] = record->blocks.size();
    record->events.push_back({record->blocks.size(), false});
    record->blocks.push_back({size, false});
}

/* Blocks from before the recording are of no interest. */
void NoteRelease(void* address)
{
    if (record == nullptr) return;
    const auto held = record->numbers.find(address);
    if (held == record->numbers.end()) return;
    record->blocks[held->second].released = true;
    record->events.push_back({held->second, true});
    record->numbers.erase(held);
}

} // namespace

size_t bench::PeakMemoryOf(const std::function<void()>& call)
{
    Record recorded;
    record = &recorded;
    call();
    record = nullptr;

    size_t held = 0, peak = 0;
    for (const Event& event : recorded.events) {
        const Block& block = recorded.blocks[event.block];
        if (!block.released) continue;
        held = event.release ? held - block.size : held + block.size;
        peak = std::max(peak, held);
    }
    return peak;
}

void* __wrap_malloc(size_t size)
{
    void* block = __real_malloc(size);
    NoteNew(block, size);
    return block;
}

/* The new block may lie where the old one did, so the numbers change hands only after it is known. */
void* __wrap_realloc(void* block, size_t size)
{
    void* moved = __real_realloc(block, size);
    if (record == nullptr || moved == nullptr) return moved;
    const auto held = record->numbers.find(block);
    const bool known = held != record->numbers.end();
    const size_t old = known ? held->second : 0;
    if (known) record->numbers.erase(held);
    NoteNew(moved, size);
    if (known) {
        record->blocks[old].released = true;
        record->events.push_back({old, true});
    }
    return moved;
}

void __wrap_free(void* block)
{
    NoteRelease(block);
    __real_free(block);
}
