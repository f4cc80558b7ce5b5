/*
 * PrintedScan.h - scans as an office makes them by the thousand: a printed page of A4, a little turned, on a plain
 * ground, at any resolution. They are drawn fast, and nothing is hard about them; hard ones are ScanMaker's.
 */
#ifndef QUARLO_STUDY_PRINTEDSCAN_H
#define QUARLO_STUDY_PRINTEDSCAN_H

#include "ScanMaker.h"

namespace study
{

/* The same seed, resolution and depth make the same scan everywhere. Pages of 1 bit lie on a dark ground. */
Scan MakePrinted(std::uint64_t seed, int dpi, int depth);

/* The same ground without a page. */
quarlo::Bitmap MakeEmpty(std::uint64_t seed, int dpi, int depth);

} // namespace study

#endif
