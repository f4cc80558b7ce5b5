/*
 * Foreign.h - picture files as other programs make them, by libtiff, libpng and libjpeg themselves or byte by byte.
 */
#ifndef QUARLO_TESTS_PAGES_FOREIGN_H
#define QUARLO_TESTS_PAGES_FOREIGN_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <png.h>
#define TIFF_DISABLE_DEPRECATED
#include <tiffio.h>

#include "Pictures.h"

namespace test
{

/* What `fill` puts into a TIFF file; it writes the directories of all pages but the last itself. */
Bytes TiffFile(const std::function<void(TIFF*)>& fill, const char* mode = "w");

/* What libtiff finds on the given page of a file. */
void InspectTiff(const Bytes& bytes, const std::function<void(TIFF*)>& look, int page = 0);

/* The tags of an ordinary picture in one strip without compression. */
void SetTiffPicture(TIFF* tiff, int width, int height, int bits, int channels, int photometric);
void PutTiffRows(TIFF* tiff, const std::vector<Bytes>& rows);

struct Png {
    int width = 1;
    int height = 1;
    int bits = 8;
    int kind = PNG_COLOR_TYPE_GRAY;
    int interlace = PNG_INTERLACE_NONE;
    std::vector<Bytes> rows;                            /* as they stand in the file, the top one first */
    std::function<void(png_structp, png_infop)> before; /* sets what else the file says */
};
Bytes PngFile(const Png& png);

/* A chunk of a PNG file with its sum. */
Bytes PngChunk(const char* name, const Bytes& content);
/* Puts a chunk before the first one of the given name. */
Bytes WithChunk(const Bytes& png, const Bytes& chunk, const char* before);

struct Jpeg {
    int width = 8;
    int height = 8;
    int channels = 1;
    J_COLOR_SPACE space = JCS_GRAYSCALE;
    std::vector<Bytes> rows;
    std::function<void(j_compress_ptr)> before; /* before the stream starts */
    std::function<void(j_compress_ptr)> after;  /* before the first row: markers */
};
Bytes JpegFile(const Jpeg& jpeg);

/* Little-endian numbers appended to bytes. */
void Put(Bytes* bytes, std::uint32_t value, int count);

struct Bmp {
    int header = 40;
    int width = 1;
    int height = 1; /* negative: from the top down */
    int bits = 24;
    std::uint32_t method = 0;
    std::uint32_t per_metre = 0;
    std::vector<std::uint32_t> masks;
    std::vector<std::uint32_t> palette; /* 0xRRGGBB */
    std::vector<Bytes> rows;            /* in the order of the file, padded here */
    std::uint32_t colours_used = 0;
};
Bytes BmpFile(const Bmp& bmp);

/* EXIF data of one directory; entries of the type SHORT or LONG as numbers, in either order of bytes. */
struct ExifEntry {
    unsigned tag;
    unsigned type;
    std::uint32_t value;
};
Bytes ExifOf(const std::vector<ExifEntry>& entries, bool big_endian = false);

/* A colour profile as far as anybody here looks at it. */
Bytes ProfileOf(const char* space, std::size_t size = 300);

Bytes BytesOf(const std::string& text);
bool Contains(const Bytes& bytes, const std::string& text);

} // namespace test

#endif
