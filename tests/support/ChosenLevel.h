/*
 * ChosenLevel.h - runs the library at a chosen level of instructions. A program that has ChosenLevel.cpp among its
 * sources and links the archive gets this choice instead of the library's own.
 */
#ifndef QUARLO_TESTS_CHOSENLEVEL_H
#define QUARLO_TESTS_CHOSENLEVEL_H

#include <string>
#include <vector>

#include "kernels/Kernels.h"

/* Every call from now on takes this level; it must be one that the processor has. The highest one until then. */
void ChooseLevel(Level level);

/* Those that the processor has, the plain one first. */
std::vector<Level> Levels();

/* "plain", "sse41", "avx2", "avx512". */
std::string NameOf(Level level);

#endif
