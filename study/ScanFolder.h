/*
 * ScanFolder.h - a folder of scans whose pages lie exactly where they were put, and a table of where that is.
 */
#ifndef QUARLO_STUDY_SCANFOLDER_H
#define QUARLO_STUDY_SCANFOLDER_H

#include <cstdint>
#include <string>

#include "quarlo/pages.hpp"

namespace study
{

struct FolderPlan {
    std::string folder; /* made if it is not there */
    std::string format; /* jpeg: 24 bits; png: 8; tiff: 1, in G4; bmp: 24; mixed: all of these and more, see .cpp */
    int count = 0;      /* of pages; what holds no page, in mixed, counts as one */
    int dpi = 300;
    std::uint64_t seed = 1;
};

/*
 * Writes the scans and truth.tsv. The same plan writes the same bytes everywhere. Columns of the table: file, page,
 * kind (page, empty, truncated, no_picture), the corners x0 y0 to x3 y3 as Scan tells them, angle_deg, width, height of
 * the scan; "-" where there is none.
 */
quarlo::Problem WriteScanFolder(const FolderPlan& plan);

} // namespace study

#endif
