/*
 * Foreign.cpp - files for tests. What goes wrong here ends the program: the tests would mean nothing.
 */
#include "Foreign.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace test
{

namespace
{

void Require(bool condition)
{
    if (!condition) std::abort();
}

Bytes ContentOf(int file)
{
    struct stat status;
    Require(fstat(file, &status) == 0);
    Bytes bytes(static_cast<std::size_t>(status.st_size));
    Require(pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    return bytes;
}

} // namespace

Bytes TiffFile(const std::function<void(TIFF*)>& fill, const char* mode)
{
    const int file = memfd_create("tiff", 0);
    TIFF* tiff = TIFFFdOpen(dup(file), "tiff", mode);
    Require(tiff != nullptr);
    fill(tiff);
    TIFFClose(tiff);
    const Bytes bytes = ContentOf(file);
    close(file);
    return bytes;
}

void InspectTiff(const Bytes& bytes, const std::function<void(TIFF*)>& look, int page)
{
    const int file = memfd_create("tiff", 0);
    Require(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    Require(lseek(file, 0, SEEK_SET) == 0);
    TIFFSetWarningHandler(nullptr); /* unknown tags are meant */
    TIFF* tiff = TIFFFdOpen(file, "tiff", "r");
    Require(tiff != nullptr && TIFFSetDirectory(tiff, static_cast<tdir_t>(page)) != 0);
    look(tiff);
    TIFFClose(tiff);
}

void SetTiffPicture(TIFF* tiff, int width, int height, int bits, int channels, int photometric)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, height);
}

void PutTiffRows(TIFF* tiff, const std::vector<Bytes>& rows)
{
    for (std::uint32_t y = 0; y < rows.size(); ++y) {
        Bytes row = rows[y];
        Require(TIFFWriteScanline(tiff, row.data(), y) == 1);
    }
}

Bytes PngFile(const Png& png)
{
    Bytes bytes;
    png_structp writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(writer);
    Require(setjmp(png_jmpbuf(writer)) == 0);
    png_set_write_fn(
        writer, &bytes,
        [](png_structp self, png_bytep from, png_size_t count) {
            Bytes* to = static_cast<Bytes*>(png_get_io_ptr(self));
            to->insert(to->end(), from, from + count);
        },
        nullptr);
    png_set_IHDR(writer, info, static_cast<png_uint_32>(png.width), static_cast<png_uint_32>(png.height), png.bits,
                 png.kind, png.interlace, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (png.before) png.before(writer, info);
    png_write_info(writer, info);
    std::vector<png_bytep> rows;
    for (const Bytes& row : png.rows) rows.push_back(const_cast<png_bytep>(row.data()));
    png_write_image(writer, rows.data());
    png_write_end(writer, info);
    png_destroy_write_struct(&writer, &info);
    return bytes;
}

Bytes PngChunk(const char* name, const Bytes& content)
{
    Bytes bytes;
    const auto put = [&](std::uint32_t value) {
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    };
    put(static_cast<std::uint32_t>(content.size()));
    bytes.insert(bytes.end(), name, name + 4);
    bytes.insert(bytes.end(), content.begin(), content.end());
    put(static_cast<std::uint32_t>(crc32(0, bytes.data() + 4, static_cast<uInt>(bytes.size() - 4))));
    return bytes;
}

Bytes WithChunk(const Bytes& png, const Bytes& chunk, const char* before)
{
    const auto name = std::search(png.begin(), png.end(), before, before + 4);
    Require(name != png.end());
    Bytes bytes(png.begin(), name - 4);
    bytes.insert(bytes.end(), chunk.begin(), chunk.end());
    bytes.insert(bytes.end(), name - 4, png.end());
    return bytes;
}

Bytes JpegFile(const Jpeg& jpeg)
{
    jpeg_compress_struct writer;
    jpeg_error_mgr errors;
    writer.err = jpeg_std_error(&errors);
    jpeg_create_compress(&writer);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&writer, &memory, &size);
    writer.image_width = static_cast<JDIMENSION>(jpeg.width);
    writer.image_height = static_cast<JDIMENSION>(jpeg.height);
    writer.input_components = jpeg.channels;
    writer.in_color_space = jpeg.space;
    jpeg_set_defaults(&writer);
    if (jpeg.before) jpeg.before(&writer);
    jpeg_start_compress(&writer, TRUE);
    if (jpeg.after) jpeg.after(&writer);
    for (const Bytes& row : jpeg.rows) {
        JSAMPROW samples = const_cast<JSAMPROW>(row.data());
        jpeg_write_scanlines(&writer, &samples, 1);
    }
    jpeg_finish_compress(&writer);
    jpeg_destroy_compress(&writer);
    const Bytes bytes(memory, memory + size);
    std::free(memory);
    return bytes;
}

void Put(Bytes* bytes, std::uint32_t value, int count)
{
    for (int k = 0; k < count; ++k) bytes->push_back(static_cast<std::uint8_t>(value >> 8 * k));
}

Bytes BmpFile(const Bmp& bmp)
{
    const bool core = bmp.header == 12;
    Bytes info;
    Put(&info, static_cast<std::uint32_t>(bmp.header), 4);
    Put(&info, static_cast<std::uint32_t>(bmp.width), core ? 2 : 4);
    Put(&info, static_cast<std::uint32_t>(bmp.height), core ? 2 : 4);
    Put(&info, 1, 2);
    Put(&info, static_cast<std::uint32_t>(bmp.bits), 2);
    if (!core) {
        Put(&info, bmp.method, 4);
        Put(&info, 0, 4);
        Put(&info, bmp.per_metre, 4);
        Put(&info, bmp.per_metre, 4);
        Put(&info, bmp.colours_used, 4);
        Put(&info, 0, 4);
    }
    for (const std::uint32_t mask : bmp.masks) Put(&info, mask, 4);
    if (info.size() < static_cast<std::size_t>(bmp.header)) info.resize(static_cast<std::size_t>(bmp.header));
    for (const std::uint32_t colour : bmp.palette) {
        Put(&info, colour, 3);
        if (!core) info.push_back(0);
    }
    Bytes bytes = {'B', 'M'};
    Put(&bytes, 0, 4);
    Put(&bytes, 0, 4);
    Put(&bytes, static_cast<std::uint32_t>(14 + info.size()), 4);
    bytes.insert(bytes.end(), info.begin(), info.end());
    for (const Bytes& row : bmp.rows) {
        bytes.insert(bytes.end(), row.begin(), row.end());
        bytes.resize(bytes.size() + (4 - row.size() % 4) % 4);
    }
    return bytes;
}

Bytes ExifOf(const std::vector<ExifEntry>& entries, bool big_endian)
{
    Bytes bytes = big_endian ? Bytes{'M', 'M'} : Bytes{'I', 'I'};
    const auto put = [&](std::uint32_t value, int count) {
        for (int k = 0; k < count; ++k)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (big_endian ? count - 1 - k : k)));
    };
    put(42, 2);
    put(8, 4);
    put(static_cast<std::uint32_t>(entries.size()), 2);
    for (const ExifEntry& entry : entries) {
        put(entry.tag, 2);
        put(entry.type, 2);
        put(1, 4);
        put(entry.value, entry.type == 3 ? 2 : 4);
        if (entry.type == 3) put(0, 2);
    }
    put(0, 4);
    return bytes;
}

/* An ICC profile of version 2 with no tags but those that libpng looks for, which are none. */
Bytes ProfileOf(const char* space, std::size_t size)
{
    Bytes bytes(size);
    const auto put = [&](std::size_t at, const std::string& text) {
        std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    };
    for (std::size_t k = 0; k < 4; ++k) bytes[k] = static_cast<std::uint8_t>(size >> 8 * (3 - k));
    bytes[8] = 2;
    put(12, "mntr");
    put(16, space);
    put(20, "XYZ ");
    put(36, "acsp");
    put(68, std::string("\0\0\xf6\xd6\0\1\0\0\0\0\xd3\x2d", 12));
    for (std::size_t k = 140; k < size; ++k) bytes[k] = static_cast<std::uint8_t>(k * 7);
    return bytes;
}

Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

bool Contains(const Bytes& bytes, const std::string& text)
{
    return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

} // namespace test
