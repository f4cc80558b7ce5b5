/*
 * main.cpp - quarlo, the command-line tool: scans in, upright pages out.
 */
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <unistd.h>

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

/* A stream that was closed for us would otherwise be the first file that we open, and get our messages. */
void OpenStreams()
{
    int descriptor;
    do descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        OpenStreams();
        tool::Options options;
        const std::optional<int> end = tool::ParseOptions(argc, argv, &options);
        if (!end) return tool::Run(options);
        return std::cout.flush() && std::fflush(stdout) == 0 ? *end : tool::kFailed;
    } catch (const std::bad_alloc&) {
        EndWithoutMemory();
    }
}
