/*
 * Fail.h - the end of the harness when something is wrong.
 */
#ifndef QUARLO_BENCH_FAIL_H
#define QUARLO_BENCH_FAIL_H

#include <cstdio>
#include <cstdlib>
#include <string>

namespace bench
{

[[noreturn]] inline void Fail(const std::string& what)
{
    std::fprintf(stderr, "quarlo_bench: %s\n", what.c_str());
    std::exit(1);
}

} // namespace bench

#endif
