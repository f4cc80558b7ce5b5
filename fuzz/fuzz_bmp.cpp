/*
 * fuzz_bmp.cpp - a file from a stranger: the BMP reader, and every operation on the record that it gives.
 */
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "FuzzInput.h"
#include "QL_Interface.h"

namespace
{

constexpr sint32 kMaxPixels = 400 * 400; /* larger images are read, but not worked on: the fuzzer has to be quick */

/* A file in memory, with a name to open it by. */
class MemoryFile
{
public:
    MemoryFile() : file(memfd_create("fuzz", 0)), name("/proc/self/fd/" + std::to_string(file)) {}
    ~MemoryFile() { close(file); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void Write(const uint8_t* data, size_t size)
    {
        FUZZ_REQUIRE(write(file, data, size) == static_cast<ssize_t>(size));
    }
    sint8* Name() { return reinterpret_cast<sint8*>(name.data()); }

private:
    int file;
    std::string name;
};

void UseRecord(BitmapRec* image)
{
    BitmapRec result = null_bitmap;
    for (const double angle : {0.0, 90.0, 180.0, 270.0}) {
        FUZZ_REQUIRE(imageRotate(image, &result, angle) == 0);
        Bitmap_Done(&result);
    }
    FUZZ_REQUIRE(GetBWBitmap(image, &result, 100) == 0);
    Bitmap_Done(&result);
    FUZZ_REQUIRE(GetGrayBitmap(image, &result) == 0);
    Bitmap_Done(&result);
    FUZZ_REQUIRE(GetColorBitmap(image, &result) == 0);
    Bitmap_Done(&result);
    for (const sint32 ground : {1, 255}) {
        const sint32 code = ImageQuarlo(image, 3, 0, ground, &result);
        FUZZ_REQUIRE(code >= 0 && code <= 12);
        FUZZ_REQUIRE(code == 0 || result.buffer == nullptr);
        Bitmap_Done(&result);
    }
}

/* What is written reads back the same. */
void SaveAndReadBack(BitmapRec* image)
{
    MemoryFile file;
    BitmapRec again = null_bitmap;
    FUZZ_REQUIRE(SaveBitmapToFile(image, file.Name()) == 0);
    FUZZ_REQUIRE(ReadBitmapFromFile(&again, file.Name()) == 0);
    FUZZ_REQUIRE(again.biWidth == image->biWidth && again.biHeight == image->biHeight);
    FUZZ_REQUIRE(again.bfSize == image->bfSize);
    FUZZ_REQUIRE(std::memcmp(again.buffer, image->buffer, static_cast<size_t>(image->bfSize)) == 0);
    Bitmap_Done(&again);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    MemoryFile file;
    file.Write(data, size);
    BitmapRec image = null_bitmap;
    const sint32 code = ReadBitmapFromFile(&image, file.Name());
    FUZZ_REQUIRE(code == 0 || image.buffer == nullptr);
    if (code == 0 && int64_t{image.biWidth} * image.biHeight <= kMaxPixels) {
        FUZZ_REQUIRE(Bitmap_Check(&image) == 0);
        UseRecord(&image);
        SaveAndReadBack(&image);
    }
    Bitmap_Done(&image);
    return 0;
}
