/*
 * Rounds.h - how many random cases a test runs: as many as it asks for, or as many as the command line says.
 * RoundsMain.cpp is the main program.
 */
#ifndef QUARLO_TESTS_SUPPORT_ROUNDS_H
#define QUARLO_TESTS_SUPPORT_ROUNDS_H

#include "StructTypes.h"

namespace test
{

/* --rounds=N, else the given number. */
uint32 Rounds(uint32 number);

/* --first=SEED, else 1. */
uint32 FirstSeed();

} // namespace test

#endif
