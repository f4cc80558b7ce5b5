/*
 * Words.h - what the values of options mean. Each reader fills its result, or leaves it and answers what is wrong with
 * the text, in words; empty: nothing. Letters may be large or small.
 */
#ifndef QUARLO_TOOL_WORDS_H
#define QUARLO_TOOL_WORDS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "quarlo/pages.hpp"

namespace tool
{

/** Pages counted from 1. */
struct PageRange {
    int first = 1;
    int last = 0; /**< 0: to the end */
};

/** One of so many equal parts of the inputs, for as many machines; the first is 1. */
struct Shard {
    int number = 1;
    int count = 1;
};

std::string LowerCase(std::string_view text);
/** A number as printf() writes it. */
std::string NumberText(const char* format, double number);

/** A finite number from `least` to `most`. */
std::string ReadNumber(std::string_view text, double least, double most, double* number);
/** A whole number from `least` to `most`. */
std::string ReadWhole(std::string_view text, int least, int most, int* number);
/** Likewise; `word` stands for 0. */
std::string ReadCount(std::string_view text, std::string_view word, int least, int most, int* count);
/** "1-3,7" or "4-". */
std::string ReadPages(std::string_view text, std::vector<PageRange>* pages);
/** "2/5": the second of five. */
std::string ReadShard(std::string_view text, Shard* shard);
/** "200000000", "200M" or "200k". */
std::string ReadPixels(std::string_view text, std::uint64_t* pixels);
/** "0.25" or "25%". */
std::string ReadShare(std::string_view text, double* share);
/** white, black, edge, #rrggbb or #rgb. */
std::string ReadFill(std::string_view text, quarlo::Fill* fill);
/** One to four lengths such as 2mm or -10px, in the order of style sheets: top, right, bottom, left. */
std::string ReadMargins(std::string_view text, std::array<quarlo::Length, 4>* margins);
/** a4, a4-portrait, letter-landscape, 100x150mm, 800x600px. */
std::string ReadSize(std::string_view text, std::array<quarlo::Length, 2>* size);

} // namespace tool

#endif
