/*
 * Guard.h - libpng and libjpeg leave by longjmp when they fail. A longjmp must not pass over objects that have something
 * to tidy up: they live outside of the guarded step, in the object that runs it.
 */
#ifndef QUARLO_PAGES_GUARD_H
#define QUARLO_PAGES_GUARD_H

#include <csetjmp>

namespace quarlo
{

/** Runs a step that may leave by longjmp to `jump`. Answers false when it did. */
template <class Step>
bool Guarded(std::jmp_buf& jump, const Step& step)
{
    if (setjmp(jump) != 0) return false; // NOLINT(cert-err52-cpp): libpng and libjpeg know no other way
    step();
    return true;
}

} // namespace quarlo

#endif
