/*
 * Exif.h - what EXIF and XMP say about orientation and size, and EXIF data made from the tags of a TIFF file.
 */
#ifndef QUARLO_PAGES_EXIF_H
#define QUARLO_PAGES_EXIF_H

#include "Directory.h"
#include "quarlo/pages.hpp"

namespace quarlo
{

/** Where the picture of a file with this EXIF data has its first row and column; 1 where it does not say. */
int OrientationOf(const Bytes& exif);

/** The resolution in the EXIF data. */
Resolution ExifResolution(const Bytes& exif);

/** Says in EXIF and XMP that the picture stands upright, which it does once its orientation is applied. */
void ResetOrientation(Metadata* meta);

/** The resolution that a directory holds. */
Resolution ResolutionOf(const Directory& directory);

/** EXIF data as bytes; empty for an empty directory. */
Bytes PutExif(const Directory& directory);
/** False where the bytes are no EXIF data. */
bool TakeExif(const Bytes& exif, Directory* directory);

/** Tags that EXIF data share with TIFF files: texts about the picture. */
bool IsSharedText(std::uint32_t number);

/**
 * The EXIF data for a file of another format than TIFF: those of the page with the texts of its TIFF tags added, the
 * size of the picture brought up to date, and without the thumbnail, which shows the scan.
 */
Bytes ExifForFile(const Page& page, std::vector<std::string>* warnings);

/** Changes in place what EXIF data say about the size of the picture, and unlinks the thumbnail. True if there was one. */
bool UpdateExif(int width, int height, Bytes* exif);

} // namespace quarlo

#endif
