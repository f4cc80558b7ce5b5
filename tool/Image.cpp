/*
 * Image.cpp - bitmaps from and to files.
 */
#include "Image.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

std::string SystemError() { return std::strerror(errno); }

std::string ReadError(sint32 code)
{
    switch (code) {
    case QL_CANNOT_OPEN:
        return "cannot be opened for reading: " + SystemError();
    case QL_NOT_BMP:
        return "is not a BMP file, or is shorter than its headers announce";
    case QL_BAD_BIT_COUNT:
        return "has neither 1, 8 nor 24 bits per pixel";
    case QL_OUT_OF_MEMORY:
        return "is too large: memory ran out";
    case QL_READ_FAILED:
        return "cannot be read to its end";
    default:
        return "announces an impossible size";
    }
}

std::string WriteError(sint32 code)
{
    if (code == QL_CANNOT_CREATE) return "cannot be created: " + SystemError();
    if (code == QL_WRITE_FAILED) return "cannot be written to its end";
    return "is too large for a BMP file";
}

/* The library takes names without const. */
std::vector<sint8> NameOf(const std::string& name)
{
    std::vector<sint8> chars(name.begin(), name.end());
    chars.push_back(0);
    return chars;
}

bool ReadInfoHeader(const std::string& name, BitmapInfoHeadRec* header)
{
    std::FILE* file = std::fopen(name.c_str(), "rb");
    if (file == nullptr) return false;
    const bool read = std::fseek(file, sizeof(BitmapFileHeadRec), SEEK_SET) == 0 &&
                      std::fread(header, sizeof *header, 1, file) == 1;
    std::fclose(file);
    return read;
}

void TurnOver(BitmapRec* rec)
{
    for (sint32 low = 0, high = rec->biHeight - 1; low < high; ++low, --high)
        std::swap_ranges(rec->ScanLine[low], rec->ScanLine[low] + rec->BytesPerLine, rec->ScanLine[high]);
}

/* A file that is removed again unless it has been moved into place, whatever happens in between. */
struct TemporaryFile {
    TemporaryFile() = default;
    ~TemporaryFile()
    {
        if (!name.empty()) unlink(name.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string name;
};

/* Makes it beside `name`, with the rights that creating `name` itself would give. */
std::string MakeTemporary(const std::string& name, TemporaryFile* temporary)
{
    temporary->name.reserve(name.size() + 8);
    std::string pattern = name + ".XXXXXX";
    const int file = mkstemp(pattern.data());
    if (file < 0) return "cannot be created: " + SystemError();
    temporary->name = pattern;
    const mode_t mask = umask(0);
    umask(mask);
    const bool done = fchmod(file, 0666 & ~mask) == 0;
    close(file);
    return done ? "" : "cannot be created: " + SystemError();
}

std::string MoveIntoPlace(TemporaryFile* temporary, const std::string& name, bool overwrite)
{
    /* A link, other than a rename, is never made over a file that came up meanwhile. */
    const bool moved = overwrite ? std::rename(temporary->name.c_str(), name.c_str()) == 0
                                 : link(temporary->name.c_str(), name.c_str()) == 0;
    if (!moved)
        return errno == EEXIST ? "exists already; --overwrite replaces it" : "cannot be created: " + SystemError();
    if (overwrite) temporary->name.clear();
    return "";
}

} // namespace

void Image::Take(Image* other)
{
    std::swap(rec, other->rec);
    Bitmap_Done(&other->rec);
}

std::string ReadImage(const std::string& name, Image* image)
{
    const sint32 code = ReadBitmapFromFile(&image->rec, NameOf(name).data());
    if (code != QL_SUCCESS) return ReadError(code);

    /* The library reads any file as if it were plain and stored from the bottom up. */
    BitmapInfoHeadRec header;
    if (!ReadInfoHeader(name, &header)) return ReadError(QL_READ_FAILED);
    if (header.biCompression != 0) return "is compressed; only plain BMP files can be read";
    if (header.biHeight < 0) TurnOver(&image->rec);
    return "";
}

std::string WriteImage(Image* image, const std::string& name, bool overwrite)
{
    struct stat status;
    if (lstat(name.c_str(), &status) == 0) {
        if (!overwrite) return "exists already; --overwrite replaces it";
        if (!S_ISREG(status.st_mode)) return "is no ordinary file and is not replaced";
    }
    TemporaryFile temporary;
    std::string error = MakeTemporary(name, &temporary);
    if (!error.empty()) return error;
    const sint32 code = SaveBitmapToFile(&image->rec, NameOf(temporary.name).data());
    return code != QL_SUCCESS ? WriteError(code) : MoveIntoPlace(&temporary, name, overwrite);
}
