/*
 * Directory.h - the structure that TIFF files and EXIF data share: directories of tags, chained and nested.
 */
#ifndef QUARLO_PAGES_DIRECTORY_H
#define QUARLO_PAGES_DIRECTORY_H

#include <cstdint>
#include <vector>

#include "Bytes.h"
#include "quarlo/pages.hpp"

namespace quarlo
{

/** Numbers of tags that have a meaning here. */
namespace tag
{
constexpr std::uint32_t kSubfileType = 254;
constexpr std::uint32_t kDescription = 270;
constexpr std::uint32_t kMake = 271;
constexpr std::uint32_t kModel = 272;
constexpr std::uint32_t kOrientation = 274;
constexpr std::uint32_t kXResolution = 282;
constexpr std::uint32_t kYResolution = 283;
constexpr std::uint32_t kResolutionUnit = 296;
constexpr std::uint32_t kPageNumber = 297;
constexpr std::uint32_t kSoftware = 305;
constexpr std::uint32_t kDateTime = 306;
constexpr std::uint32_t kArtist = 315;
constexpr std::uint32_t kHostComputer = 316;
constexpr std::uint32_t kXmp = 700;
constexpr std::uint32_t kCopyright = 33432;
constexpr std::uint32_t kIptc = 33723;
constexpr std::uint32_t kExif = 34665;
constexpr std::uint32_t kIcc = 34675;
constexpr std::uint32_t kGps = 34853;
constexpr std::uint32_t kPixelWidth = 40962;
constexpr std::uint32_t kPixelHeight = 40963;
constexpr std::uint32_t kInterop = 40965;
} // namespace tag

/** TIFF's numbers of types. */
namespace type
{
constexpr std::uint16_t kByte = 1;
constexpr std::uint16_t kAscii = 2;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;
constexpr std::uint16_t kRational = 5;
constexpr std::uint16_t kUndefined = 7;
constexpr std::uint16_t kSignedLong = 9;
constexpr std::uint16_t kSignedRational = 10;
constexpr std::uint16_t kFloat = 11;
constexpr std::uint16_t kDouble = 12;
constexpr std::uint16_t kIfd = 13;
constexpr std::uint16_t kLong8 = 16;
constexpr std::uint16_t kSignedLong8 = 17;
} // namespace type

/** Bytes of one value of a type; 0 for numbers that are no type. */
std::size_t SizeOfType(std::uint16_t type);

/** A value of a tag as a number; 0 where there is none. Rationals are divided. */
double NumberAt(const TiffTag& tag, std::uint64_t index);
/** The same for whole numbers, without loss. */
std::uint64_t WholeAt(const TiffTag& tag, std::uint64_t index);

/** A tag of one number, or of a text. */
TiffTag NumberTag(std::uint32_t number, std::uint16_t type, std::uint64_t value);

/** A directory and those that its tags lead to. */
struct Directory {
    struct Child;
    std::vector<TiffTag> tags;
    std::vector<Child> children;

    const TiffTag* Find(std::uint32_t number) const;
    const Directory* FindChild(std::uint32_t number) const;
};
struct Directory::Child {
    std::uint32_t tag = 0;
    Directory directory;
};

/** Reads directories where a source holds them. */
class DirectoryReader
{
public:
    struct Entry {
        std::uint32_t number = 0;
        std::uint16_t type = 0;
        std::uint64_t count = 0;
        std::uint64_t position = 0; /**< of the values in the source */
    };

    explicit DirectoryReader(ByteSource* source) : source_(source) {}

    /** False where the source does not begin as a TIFF structure does. */
    bool Open();
    std::uint64_t first() const { return first_; } /**< where the first directory lies; 0: nowhere */
    bool big_endian() const { return big_endian_; }
    bool wide() const { return wide_; } /**< offsets of 64 bits, which EXIF data never have */

    /** The entries of the directory at a place, and where the next one lies. False where it does not fit the source. */
    bool Entries(std::uint64_t place, std::vector<Entry>* entries, std::uint64_t* next) const;
    /** Values in the machine's byte order. False where they lie outside of the source, or are of no known type. */
    bool Values(const Entry& entry, TiffTag* tag) const;
    /** The directory with those that its tags for EXIF, GPS and interoperability lead to; what cannot be read is left out. */
    bool Tree(std::uint64_t place, Directory* directory, std::vector<std::uint32_t>* left_out) const;

private:
    /* Bytes of values that stand outside of their entry; more than the source has where they cannot fit. */
    std::uint64_t BytesApart(const Entry& entry) const;
    bool Branch(std::uint64_t place, int depth, std::uint64_t* room, Directory* directory,
                std::vector<std::uint32_t>* left_out) const;
    std::uint64_t Number(const std::uint8_t* bytes, std::size_t count) const;

    ByteSource* source_;
    bool big_endian_ = false;
    bool wide_ = false;
    std::uint64_t first_ = 0;
};

/** How a structure is laid out. */
struct DirectoryLayout {
    std::uint64_t place = 8; /**< where in the file the directory will lie */
    bool wide = false;       /**< offsets of 64 bits */
};

/** The bytes of a directory and its children, in the machine's byte order; the children follow their parent. */
Bytes PutDirectory(const Directory& directory, const DirectoryLayout& layout);

} // namespace quarlo

#endif
