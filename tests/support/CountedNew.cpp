/*
 * CountedNew.cpp - sends the allocations of C++ through malloc and free, which CountedMemory counts.
 */
#include <cstdlib>
#include <new>

void* operator new(std::size_t size)
{
    if (void* block = std::malloc(size)) return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }
