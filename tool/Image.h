/*
 * Image.h - a bitmap record that releases itself, and its way from and to files.
 */
#ifndef QUARLO_TOOL_IMAGE_H
#define QUARLO_TOOL_IMAGE_H

#include <string>

#include "BitmapProcessing.h"
#include "StructTypes.h"

struct Image {
    Image() = default;
    ~Image() { Bitmap_Done(&rec); }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    /* Takes over another's bitmap and releases its own. */
    void Take(Image* other);

    BitmapRec rec = null_bitmap;
};

/* Reads a BMP file with its rows from the bottom up. Answers what went wrong, in words; empty if nothing did. */
std::string ReadImage(const std::string& name, Image* image);

/*
 * Writes a BMP file: aside first, and under its name only when it is whole. An existing file is replaced only if
 * `overwrite` says so. Answers what went wrong, in words; empty if nothing did.
 */
std::string WriteImage(Image* image, const std::string& name, bool overwrite);

#endif
