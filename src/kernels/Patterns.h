/*
 * Patterns.h - tables of 16 bytes that look-ups and masks use, each given by a rule.
 */
#ifndef QUARLO_SRC_KERNELS_PATTERNS_H
#define QUARLO_SRC_KERNELS_PATTERNS_H

#include "StructTypes.h"

namespace
{

struct Pattern {
    uint8 at[16];
};

/* The byte of each position by a rule. */
template <class Rule>
constexpr Pattern PatternOf(Rule rule)
{
    Pattern pattern = {};
    for (sint32 p = 0; p < 16; ++p) pattern.at[p] = static_cast<uint8>(rule(p));
    return pattern;
}

/* As an index: the look-up gives 0. */
constexpr sint32 kNothing = 0x80;

/* Reverses each eight bytes. Eight pixels have the first one in the highest bit, a mask has it in the lowest. */
[[maybe_unused]] constexpr Pattern kEightsReversed = PatternOf([](sint32 p) { return p ^ 7; });

} // namespace

#endif
