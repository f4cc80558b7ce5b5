/*
 * BitmapProcessing.cpp - the bitmap record, BMP files, conversion between depths.
 *
 *   Bitmap_New, Bitmap_Init, Bitmap_Done, Bitmap_Copy, Bitmap_Check
 *   ReadBitmapFromFile, SaveBitmapToFile, SaveBmpToFile
 *   GetBWBitmap, GetGrayBitmap, GetColorBitmap
 *
 * A BMP file is a 14-byte file header, a 40-byte info header, a palette of four bytes an entry (256 entries at 8 bits,
 * 2 at 1 bit, none at 24) and the rows, each padded to four bytes; all numbers little-endian. The header records are
 * packed, so on the little-endian machines that the library runs on they are the bytes of the file.
 *
 * Conversion goes row by row, with kernels where the processor has vector instructions, see kernels/Convert.h.
 */
#include "BitmapProcessing.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__unix__)
#include <sys/mman.h>
#endif

#include "BitmapConversionTable.h"
#include "Numbers.h"
#include "Pixels.h"
#include "kernels/Kernels.h"

/* Bytes that every pixel block has beyond its last row, for readers that take several bytes at a time. */
static constexpr sint32 kSpareBytes = 16;

/* Bytes from which a pixel block is worth huge pages, which are cleared as a whole. */
static constexpr int64_t kHugeBlock = 4 << 20;

static constexpr uint16 kBmpMagic = 0x4D42;
static constexpr sint32 kGrayPaletteEntries = 256;
static constexpr sint32 kBWPaletteEntries = 2;

/* ---- The record ---- */

/*
 * Asks for huge pages under a large block before it is touched: faulting it in page by page costs more than filling
 * it, and a skewed walk through it needs hundreds of pages at once. Only advice: where it is not taken, or not known,
 * nothing changes.
 */
static void AdviseHugePages(uint8* block, int64_t size)
{
#ifdef MADV_HUGEPAGE
    const int64_t huge_page = int64_t{1} << 21;
    const int64_t past = static_cast<int64_t>(reinterpret_cast<uintptr_t>(block) % huge_page);
    const int64_t start = past == 0 ? 0 : huge_page - past;
    const int64_t whole_pages = (size - start) / huge_page;
    if (size < kHugeBlock || whole_pages < 1) return;
    const int error = errno;
    madvise(block + start, static_cast<size_t>(whole_pages * huge_page), MADV_HUGEPAGE);
    errno = error;
#else
    static_cast<void>(block);
    static_cast<void>(size);
#endif
}

/* Sets the record's sizes and allocates its memory without touching it. Anything but 0 leaves *bitmap alone. */
static sint32 AllocateBitmap(QL_Bitmap bitmap, sint32 biWidth, sint32 biHeight, sint32 biBitcount, bool padded)
{
    if (biWidth < 1 || biHeight < 1) return QL_BAD_ARGUMENT;
    if (biBitcount != 1 && biBitcount != 8 && biBitcount != 24) return QL_BAD_ARGUMENT;

    const int64_t bits = int64_t{biBitcount} * biWidth;
    const int64_t BytesPerLine = padded ? ((bits + 31) >> 5) * 4 : (bits + 7) >> 3;
    if (BytesPerLine > INT32_MAX || BytesPerLine * biHeight > INT32_MAX) return QL_OUT_OF_MEMORY;

    uint8* buffer = NewArray<uint8>(BytesPerLine * biHeight + kSpareBytes);
    uint8** ScanLine = NewArray<uint8*>(biHeight);
    if (buffer == nullptr || ScanLine == nullptr) {
        std::free(buffer);
        std::free(ScanLine);
        return QL_OUT_OF_MEMORY;
    }
    AdviseHugePages(buffer, BytesPerLine * biHeight);
    bitmap->biWidth = biWidth;
    bitmap->biHeight = biHeight;
    bitmap->biBitCount = biBitcount;
    bitmap->BytesPerLine = static_cast<sint32>(BytesPerLine);
    bitmap->bfSize = static_cast<sint32>(BytesPerLine * biHeight);
    bitmap->ScanLine = ScanLine;
    bitmap->buffer = buffer;
    return QL_SUCCESS;
}

/*
 * Points ScanLine at the rows, and clears every byte that holds less than eight bits of pixels, so that no
 * uninitialised memory can reach a file and equal images are equal byte for byte.
 */
static void LayOutRows(QL_Bitmap bitmap)
{
    const size_t stride = static_cast<size_t>(bitmap->BytesPerLine);
    const size_t full_bytes = static_cast<size_t>(int64_t{bitmap->biBitCount} * bitmap->biWidth / 8);
    uint8* line = bitmap->buffer;
    for (sint32 row = 0; row < bitmap->biHeight; ++row, line += stride) {
        bitmap->ScanLine[row] = line;
        std::memset(line + full_bytes, 0, stride - full_bytes);
    }
    std::memset(line, 0, kSpareBytes);
}

sint32 Bitmap_New(QL_Bitmap p_bitmap, sint32 biWidth, sint32 biHeight, sint32 biBitcount, sint32 Align_4_bytes)
{
    if (p_bitmap == nullptr) return QL_BAD_ARGUMENT;
    BitmapRec bitmap = null_bitmap;
    const sint32 error_code = AllocateBitmap(&bitmap, biWidth, biHeight, biBitcount, Align_4_bytes != 0);
    if (error_code != QL_SUCCESS) return error_code;
    LayOutRows(&bitmap);
    *p_bitmap = bitmap;
    return QL_SUCCESS;
}

sint32 Bitmap_Init(QL_Bitmap p_bitmap)
{
    if (p_bitmap == nullptr) return QL_BAD_ARGUMENT;
    *p_bitmap = null_bitmap;
    return QL_SUCCESS;
}

sint32 Bitmap_Done(QL_Bitmap p_bitmap)
{
    if (p_bitmap == nullptr) return QL_BAD_ARGUMENT;
    std::free(p_bitmap->buffer);
    std::free(p_bitmap->ScanLine);
    *p_bitmap = null_bitmap;
    return QL_SUCCESS;
}

/* Whether a new image made from this one has its rows padded to 4 bytes. */
static sint32 AlignmentOf(const BitmapRec& bitmap) { return bitmap.BytesPerLine % 4 == 0 ? 1 : 0; }

sint32 Bitmap_Copy(QL_Bitmap source, QL_Bitmap dest)
{
    if (dest == nullptr) return QL_BAD_BIT_COUNT; /* 4 and not 1: callers rely on it */
    sint32 error_code = Bitmap_Check(source);
    if (error_code != QL_SUCCESS) return error_code;

    BitmapRec bitmap = null_bitmap;
    error_code = Bitmap_New(&bitmap, source->biWidth, source->biHeight, source->biBitCount, AlignmentOf(*source));
    if (error_code != QL_SUCCESS) return error_code;
    std::memcpy(bitmap.buffer, source->buffer, static_cast<size_t>(bitmap.bfSize));
    *dest = bitmap;
    return QL_SUCCESS;
}

sint32 Bitmap_Check(QL_Bitmap p_bitmap)
{
    if (p_bitmap == nullptr) return QL_BAD_ARGUMENT;
    const sint32 bits = p_bitmap->biBitCount;
    const bool valid = p_bitmap->biWidth > 0 && p_bitmap->biHeight > 0 && (bits == 1 || bits == 8 || bits == 24) &&
                       p_bitmap->buffer != nullptr && p_bitmap->BytesPerLine > 0 && p_bitmap->ScanLine != nullptr;
    return valid ? QL_SUCCESS : QL_INVALID_BITMAP;
}

/* ---- BMP files: reading ---- */

static bool ReadBytes(FILE* file, void* bytes, size_t size) { return std::fread(bytes, 1, size, file) == size; }

/* Reads an open file into *bitmap, which starts empty; on failure it may hold memory for the caller to release. */
static sint32 ReadBitmap(FILE* file, QL_Bitmap bitmap)
{
    BitmapFileHeadRec file_header = null_bitmap_file_header;
    if (!ReadBytes(file, &file_header, sizeof file_header)) return QL_READ_FAILED;
    if (file_header.bfType != kBmpMagic) return QL_NOT_BMP;

    BitmapInfoHeadRec info_header = null_bitmap_info_header;
    if (!ReadBytes(file, &info_header, sizeof info_header)) return QL_READ_FAILED;
    if (info_header.biBitCount != 1 && info_header.biBitCount != 8 && info_header.biBitCount != 24)
        return QL_BAD_BIT_COUNT;

    /* The palette is ignored at every depth, but four bytes have to follow the header. */
    RGBQuadRec first_entry;
    if (!ReadBytes(file, &first_entry, sizeof first_entry)) return QL_READ_FAILED;

    /* A negative height says that the rows run from the top down; the most negative one stays below 1. */
    const sint32 biHeight = info_header.biHeight < 0 ? WrapSubtract(0, info_header.biHeight) : info_header.biHeight;
    const sint32 error_code = AllocateBitmap(bitmap, info_header.biWidth, biHeight, info_header.biBitCount, true);
    if (error_code != QL_SUCCESS) return error_code;

    /* Only after the length has shown that the announced pixels exist is the memory touched. */
    if (fseeko(file, 0, SEEK_END) != 0) return QL_READ_FAILED;
    const int64_t length = ftello(file);
    if (length < 0) return QL_READ_FAILED;
    if (int64_t{bitmap->bfSize} + file_header.bfOffBits > length) return QL_NOT_BMP;
    if (fseeko(file, static_cast<off_t>(file_header.bfOffBits), SEEK_SET) != 0) return QL_READ_FAILED;
    LayOutRows(bitmap);
    if (!ReadBytes(file, bitmap->buffer, static_cast<size_t>(bitmap->bfSize))) return QL_READ_FAILED;
    return QL_SUCCESS;
}

sint32 ReadBitmapFromFile(QL_Bitmap p_bitmap, sint8* image_name)
{
    if (p_bitmap == nullptr || image_name == nullptr) return QL_BAD_ARGUMENT;
    FILE* file = std::fopen(reinterpret_cast<const char*>(image_name), "rb");
    if (file == nullptr) return QL_CANNOT_OPEN;

    BitmapRec bitmap = null_bitmap;
    const sint32 error_code = ReadBitmap(file, &bitmap);
    std::fclose(file);
    if (error_code == QL_SUCCESS)
        *p_bitmap = bitmap;
    else
        Bitmap_Done(&bitmap);
    return error_code;
}

/* ---- BMP files: writing ---- */

static bool WriteBytes(FILE* file, const void* bytes, size_t size)
{
    return std::fwrite(bytes, 1, size, file) == size;
}

/* Bytes of padding that follow each row in the file. */
static sint32 RowPadding(const BitmapRec& bitmap) { return (4 - bitmap.BytesPerLine % 4) % 4; }

static uint32 PaletteEntries(const BitmapRec& bitmap)
{
    if (bitmap.biBitCount == 8) return kGrayPaletteEntries;
    return bitmap.biBitCount == 1 ? kBWPaletteEntries : 0;
}

/* Fills both headers; false when the file would be larger than they can announce. */
static bool FillHeaders(const BitmapRec& bitmap, BitmapFileHeadRec* file_header, BitmapInfoHeadRec* info_header)
{
    const sint32 padding = RowPadding(bitmap);
    const int64_t padded_row = int64_t{bitmap.BytesPerLine} + padding;
    const int64_t image_size = padding == 0 ? bitmap.bfSize : bitmap.biHeight * padded_row;
    const uint32 palette_size = PaletteEntries(bitmap) * static_cast<uint32>(sizeof(RGBQuadRec));
    const uint32 offset = static_cast<uint32>(sizeof *file_header + sizeof *info_header) + palette_size;
    if (image_size < 0 || image_size > int64_t{UINT32_MAX} - offset) return false;

    file_header->bfOffBits = offset;
    file_header->bfSize = offset + static_cast<uint32>(image_size);
    info_header->biWidth = bitmap.biWidth;
    info_header->biHeight = bitmap.biHeight;
    info_header->biBitCount = static_cast<uint16>(bitmap.biBitCount);
    info_header->biSizeImage = static_cast<uint32>(image_size);
    info_header->biClrUsed = PaletteEntries(bitmap);
    return true;
}

/*
 * Grey levels at 8 bits, black and white at 1 bit. The reserved byte is 255 on every grey entry but the first; files
 * have always been written so.
 */
static bool WritePalette(FILE* file, const BitmapRec& bitmap)
{
    const uint32 entries = PaletteEntries(bitmap);
    for (uint32 i = 0; i < entries; ++i) {
        const uint8 gray = static_cast<uint8>(entries == kGrayPaletteEntries ? i : i * 255);
        const uint8 reserved = entries == kGrayPaletteEntries && i > 0 ? 255 : 0;
        const RGBQuadRec entry = {gray, gray, gray, reserved};
        if (!WriteBytes(file, &entry, sizeof entry)) return false;
    }
    return true;
}

/* Rows with their padding, gathered to be written many at a time. */
class RowBlock
{
public:
    // cppcheck-suppress uninitMemberVar
    explicit RowBlock(FILE* stream) : file(stream), used(0) {}

    bool Append(const uint8* row, size_t size, size_t padding)
    {
        if (size + padding > sizeof bytes - used && !Flush()) return false;
        if (size + padding > sizeof bytes) return WriteBytes(file, row, size) && WriteBytes(file, kZeros, padding);
        std::memcpy(bytes + used, row, size);
        std::memcpy(bytes + used + size, kZeros, padding);
        used += size + padding;
        return true;
    }

    bool Flush()
    {
        const bool written = WriteBytes(file, bytes, used);
        used = 0;
        return written;
    }

private:
    static constexpr uint8 kZeros[4] = {0, 0, 0, 0};

    FILE* file;
    size_t used;
    uint8 bytes[1 << 16];
};

static bool WritePixels(FILE* file, const BitmapRec& bitmap)
{
    const size_t padding = static_cast<size_t>(RowPadding(bitmap));
    if (padding == 0) return WriteBytes(file, bitmap.buffer, static_cast<size_t>(bitmap.bfSize));

    RowBlock block(file);
    for (sint32 row = 0; row < bitmap.biHeight; ++row)
        if (!block.Append(bitmap.ScanLine[row], static_cast<size_t>(bitmap.BytesPerLine), padding)) return false;
    return block.Flush();
}

sint32 SaveBitmapToFile(QL_Bitmap p_bitmap, sint8* image_name)
{
    BitmapFileHeadRec file_header = null_bitmap_file_header;
    BitmapInfoHeadRec info_header = null_bitmap_info_header;
    if (p_bitmap == nullptr || image_name == nullptr) return QL_BAD_ARGUMENT;
    const sint32 error_code = Bitmap_Check(p_bitmap);
    if (error_code != QL_SUCCESS) return error_code;
    if (!FillHeaders(*p_bitmap, &file_header, &info_header)) return QL_INVALID_BITMAP;

    FILE* file = std::fopen(reinterpret_cast<const char*>(image_name), "wb");
    if (file == nullptr) return QL_CANNOT_CREATE;
    const bool written = WriteBytes(file, &file_header, sizeof file_header) &&
                         WriteBytes(file, &info_header, sizeof info_header) && WritePalette(file, *p_bitmap) &&
                         WritePixels(file, *p_bitmap);
    /* The last bytes may meet a full disk only when they leave the stream's buffer. */
    const bool closed = std::fclose(file) == 0;
    return written && closed ? QL_SUCCESS : QL_WRITE_FAILED;
}

sint32 SaveBmpToFile(QL_Bitmap p_bitmap, sint8* image_name)
{
    return SaveBitmapToFile(p_bitmap, image_name) == QL_SUCCESS ? 1 : 0;
}

/* ---- Conversion between depths: a reader per source depth, a writer per target depth ---- */

struct ReadBit {
    static uint8 Gray(const uint8* line, sint32 col) { return Pixel1::IsSet(line, col) ? 255 : 0; }
};

/* The byte itself: the tone curve belongs to colour alone. */
struct ReadGray {
    static uint8 Gray(const uint8* line, sint32 col) { return line[col]; }
};

/* The weighted sum through the tone curve. Page detection weighs colour differently; do not share the two. */
struct ReadColor {
    static uint8 Gray(const uint8* line, sint32 col)
    {
        const uint8* p = Pixel24::At(line, col);
        const sint32 sum = RedToGrayTable[p[2]] + GreenToGrayTable[p[1]] + BlueToGrayTable[p[0]];
        return static_cast<uint8>(GrayChangeTable[sum >> 10]); /* the weights sum to 255 << 10 at most */
    }
};

struct WriteBW {
    static constexpr sint32 bits = 1;
    static void Pixel(uint8* line, sint32 col, uint8 gray, uint8 DividingValue)
    {
        if (gray > DividingValue)
            Pixel1::Set(line, col);
        else
            Pixel1::Clear(line, col);
    }
};

struct WriteGray {
    static constexpr sint32 bits = 8;
    static void Pixel(uint8* line, sint32 col, uint8 gray, uint8) { line[col] = gray; }
};

struct WriteColor {
    static constexpr sint32 bits = 24;
    static void Pixel(uint8* line, sint32 col, uint8 gray, uint8) { std::memset(Pixel24::At(line, col), gray, 3); }
};

template <class Read, class Write>
static void ConvertRow(const uint8* from, uint8* to, sint32 num, uint8 DividingValue)
{
    for (sint32 col = 0; col < num; ++col) Write::Pixel(to, col, Read::Gray(from, col), DividingValue);
}

/* How a row is converted to the depth of Write: by the kernel of the level that this call takes, or pixel by pixel. */
template <class Read, class Write>
static ConvertRowFun RowConversion(ConvertRowFun ConvertKernelsRec::*kernel)
{
    const KernelsRec* kernels = KernelsOf(ChosenLevel());
    if (kernels == nullptr || kernels->convert.*kernel == nullptr) return ConvertRow<Read, Write>;
    return kernels->convert.*kernel;
}

/* Each target depth has two others as sources. */
static ConvertRowFun RowConversionTo(WriteBW, sint32 from_bits)
{
    if (from_bits == 8) return RowConversion<ReadGray, WriteBW>(&ConvertKernelsRec::GrayToBW);
    return RowConversion<ReadColor, WriteBW>(&ConvertKernelsRec::ColorToBW);
}

static ConvertRowFun RowConversionTo(WriteGray, sint32 from_bits)
{
    if (from_bits == 1) return RowConversion<ReadBit, WriteGray>(&ConvertKernelsRec::BWToGray);
    return RowConversion<ReadColor, WriteGray>(&ConvertKernelsRec::ColorToGray);
}

static ConvertRowFun RowConversionTo(WriteColor, sint32 from_bits)
{
    if (from_bits == 1) return RowConversion<ReadBit, WriteColor>(&ConvertKernelsRec::BWToColor);
    return RowConversion<ReadGray, WriteColor>(&ConvertKernelsRec::GrayToColor);
}

template <class Write>
static sint32 ConvertDepth(QL_Bitmap p_source, QL_Bitmap p_dest, uint8 DividingValue)
{
    if (p_source == nullptr || p_dest == nullptr) return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(p_source);
    if (error_code != QL_SUCCESS) return error_code;
    if (p_source->biBitCount == Write::bits) return Bitmap_Copy(p_source, p_dest);

    BitmapRec bitmap = null_bitmap;
    error_code = Bitmap_New(&bitmap, p_source->biWidth, p_source->biHeight, Write::bits, AlignmentOf(*p_source));
    if (error_code != QL_SUCCESS) return error_code;
    const ConvertRowFun convert = RowConversionTo(Write(), p_source->biBitCount);
    for (sint32 row = 0; row < bitmap.biHeight; ++row)
        convert(p_source->ScanLine[row], bitmap.ScanLine[row], bitmap.biWidth, DividingValue);
    *p_dest = bitmap;
    return QL_SUCCESS;
}

sint32 GetBWBitmap(QL_Bitmap p_source, QL_Bitmap p_dest, uint8 DividingValue)
{
    return ConvertDepth<WriteBW>(p_source, p_dest, DividingValue);
}

sint32 GetGrayBitmap(QL_Bitmap p_source, QL_Bitmap p_dest) { return ConvertDepth<WriteGray>(p_source, p_dest, 0); }

sint32 GetColorBitmap(QL_Bitmap p_source, QL_Bitmap p_dest)
{
    return ConvertDepth<WriteColor>(p_source, p_dest, 0);
}
