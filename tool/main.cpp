/*
 * main.cpp - quarlo, the command-line tool: scans in, upright pages out.
 */
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "Options.h"
#include "Run.h"

namespace
{

/* The argument parser makes objects before main begins; memory may run out there as well. */
[[noreturn]] void EndWithoutMemory()
{
    std::fputs("quarlo: memory ran out\n", stderr);
    std::_Exit(tool::kFailed);
}

[[gnu::constructor(101)]] void PrepareForTheEnd() { std::set_terminate(EndWithoutMemory); }

} // namespace

int main(int argc, char** argv)
{
    try {
        tool::Options options;
        if (const std::optional<int> end = tool::ParseOptions(argc, argv, &options)) return *end;
        return tool::Run(options);
    } catch (const std::bad_alloc&) {
        EndWithoutMemory();
    }
}
