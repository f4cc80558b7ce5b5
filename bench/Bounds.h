/*
 * Bounds.h - the bounds that results have to keep. A line of their file has three fields, separated by tabs:
 *
 *   RotateBitmap/24/nearest/300dpi/64bit     plain/avx2     >=9
 *
 * rows, as a pattern for file names; a column, or a column divided by another; at least or at most so much.
 */
#ifndef QUARLO_BENCH_BOUNDS_H
#define QUARLO_BENCH_BOUNDS_H

#include <string>
#include <vector>

#include "Table.h"

namespace bench
{

/*
 * Checks every bound against every row that it is for, and prints those that are broken, and those that cannot be
 * checked here. Whether all that could be checked hold, and at least one could. `complete`: all rows were measured, so
 * that a bound for none of them is a mistake.
 */
bool KeepsBounds(const std::string& file, const std::vector<Result>& results, bool complete);

} // namespace bench

#endif
