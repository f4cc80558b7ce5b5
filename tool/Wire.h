/*
 * Wire.h - what the processes of a call tell each other, as bytes. Both ends are the same program, so that numbers
 * stand as they are in memory. What is read is checked for its length only: at worst it is nonsense, never a crash.
 */
#ifndef QUARLO_TOOL_WIRE_H
#define QUARLO_TOOL_WIRE_H

#include <string>
#include <string_view>

#include "Worker.h"

namespace tool
{

std::string Packed(const Source& source);
std::string Packed(const Wishes& wishes);
std::string Packed(const Grants& grants);
std::string Packed(const Outcome& outcome);
std::string Packed(int number);
/** All but the pixels, for which the size of the bitmap stands. */
std::string Packed(const PageResult& result);

/** False where the bytes are cut short; the result is undefined then. */
bool Unpack(std::string_view bytes, Source* source);
bool Unpack(std::string_view bytes, Wishes* wishes);
bool Unpack(std::string_view bytes, Grants* grants);
bool Unpack(std::string_view bytes, Outcome* outcome);
bool Unpack(std::string_view bytes, int* number);
/** Makes an empty bitmap of the size that was told; false also where there is no memory for it. */
bool Unpack(std::string_view bytes, PageResult* result);

} // namespace tool

#endif
