/*
 * hostile_files_test.cpp - files from strangers: every header field at its extremes, lies about sizes, and things that
 * are no ordinary files. The right code each time, no descriptor left open, no memory taken that the order of the
 * reader's steps does not ask for, and the caller's record as it was.
 */
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BitmapProcessing.h"
#include "support/CountedMemory.h"
#include "support/TestBitmap.h"

namespace
{

int OpenDescriptors()
{
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

std::string ReadAll(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Field {
    const char* name;
    size_t offset;
    size_t size;
};

const Field kFields[] = {
    {"bfType", 0, 2},           {"bfSize", 2, 4},           {"bfReserved1", 6, 2},    {"bfReserved2", 8, 2},
    {"bfOffBits", 10, 4},       {"biSize", 14, 4},          {"biWidth", 18, 4},       {"biHeight", 22, 4},
    {"biPlanes", 26, 2},        {"biBitCount", 28, 2},      {"biCompression", 30, 4}, {"biSizeImage", 34, 4},
    {"biXPelsPerMeter", 38, 4}, {"biYPelsPerMeter", 42, 4}, {"biClrUsed", 46, 4},     {"biClrImportant", 50, 4},
};

template <class Value>
Value Get(const std::string& file, size_t offset)
{
    Value value;
    std::memcpy(&value, &file[offset], sizeof value);
    return value;
}

/* What the reader has to answer for a file of at least 58 bytes, worked out in wide numbers. */
sint32 ExpectedCode(const std::string& file)
{
    if (file.compare(0, 2, "BM") != 0) return 3;
    const int64_t bits = Get<uint16>(file, 28);
    if (bits != 1 && bits != 8 && bits != 24) return 4;
    const int64_t width = Get<sint32>(file, 18);
    int64_t height = Get<sint32>(file, 22);
    if (height == INT32_MIN) return 1; /* has no positive counterpart in a record */
    if (height < 0) height = -height;
    if (width < 1 || height < 1) return 1;
    const int64_t row = (bits * width + 31) / 32 * 4;
    if (row > INT32_MAX || row * height > INT32_MAX) return 5;
    if (static_cast<uint64_t>(height) > SIZE_MAX / 2 / sizeof(uint8*)) return 5;
    return row * height + Get<uint32>(file, 10) > static_cast<int64_t>(file.size()) ? 3 : 0;
}

class HostileFiles : public testing::Test
{
protected:
    void SetUp() override
    {
        folder = testing::TempDir() + "quarlo_files_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(folder.data()));
        name = folder + "/file.bmp";
    }
    void TearDown() override { EXPECT_EQ(0, std::system(("rm -r '" + folder + "'").c_str())); }

    sint8* Name() { return reinterpret_cast<sint8*>(name.data()); }

    void Write(const std::string& content) { std::ofstream(name, std::ios::binary) << content; }

    /* Reads the file; whatever comes, no descriptor stays open and a failure changes nothing. */
    sint32 Read()
    {
        BitmapRec rec = null_bitmap;
        rec.biWidth = 77;
        const BitmapRec before = rec;
        const int descriptors = OpenDescriptors();
        memory::Arm(0);
        const sint32 code = ReadBitmapFromFile(&rec, Name());
        counts = memory::Disarm();
        EXPECT_EQ(descriptors, OpenDescriptors());
        EXPECT_EQ(code == 0 ? 2 : 0, counts.live);
        if (code == 0)
            Bitmap_Done(&rec);
        else
            EXPECT_TRUE(test::SameRecord(before, rec));
        return code;
    }

    std::string folder, name;
    memory::Counts counts;
};

TEST_F(HostileFiles, EveryHeaderFieldAtItsExtremes)
{
    const int64_t values[] = {0, 1, -1, INT32_MIN, INT32_MAX, INT16_MIN, INT16_MAX, 8, 24, 65536};
    for (const char* golden : {"plain1.bmp", "plain8.bmp", "plain24.bmp"}) {
        const std::string original = ReadAll(std::string(QUARLO_GOLDEN_DIR "/") + golden);
        for (const Field& field : kFields) {
            for (const int64_t value : values) {
                std::string file = original;
                std::memcpy(&file[field.offset], &value, field.size);
                Write(file);
                sint32 expected = ExpectedCode(file);
                const sint32 code = Read();
                /* Two gigabytes may be too much for the machine before they are too much for the file. */
                if (expected == 3 && code == 5 && counts.largest > 100000000) expected = 5;
                EXPECT_EQ(expected, code) << golden << ' ' << field.name << " = " << value;
            }
        }
    }
}

TEST_F(HostileFiles, EveryLengthOfAFile)
{
    const std::string original = ReadAll(QUARLO_GOLDEN_DIR "/plain1.bmp");
    for (size_t length = 0; length <= original.size(); ++length) {
        Write(original.substr(0, length));
        const sint32 expected = length < 58 ? 8 : length < original.size() ? 3 : 0;
        EXPECT_EQ(expected, Read()) << length << " bytes";
    }
}

TEST_F(HostileFiles, AnnouncedSizesAreNotTouchedUnlessTheFileHoldsThem)
{
    std::string file = ReadAll(QUARLO_GOLDEN_DIR "/plain8.bmp");
    const sint32 width = 20000;
    const sint32 height = 20000;
    std::memcpy(&file[18], &width, 4);
    std::memcpy(&file[22], &height, 4);
    Write(file);
    EXPECT_EQ(3, Read());
    EXPECT_EQ(400000016u, counts.largest); /* asked for, as the order of the codes wants it */
    EXPECT_EQ(2, counts.calls);
}

TEST_F(HostileFiles, SizeBeyondARecordIsNotEvenAskedFor)
{
    std::string file = ReadAll(QUARLO_GOLDEN_DIR "/plain8.bmp");
    const sint32 size = 2000000;
    std::memcpy(&file[18], &size, 4);
    std::memcpy(&file[22], &size, 4);
    Write(file);
    EXPECT_EQ(5, Read());
    EXPECT_EQ(0, counts.calls);
}

TEST_F(HostileFiles, OffsetBeyondTheEndAnswers3)
{
    std::string file = ReadAll(QUARLO_GOLDEN_DIR "/plain8.bmp");
    for (const uint32 offset : {static_cast<uint32>(file.size()), 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        std::memcpy(&file[10], &offset, 4);
        Write(file);
        EXPECT_EQ(3, Read()) << offset;
    }
}

TEST_F(HostileFiles, DirectoryAnswers8)
{
    name = folder;
    EXPECT_EQ(8, Read());
}

TEST_F(HostileFiles, PipeWhoseWriterStopsAnswers8)
{
    ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
    const std::string whole = ReadAll(QUARLO_GOLDEN_DIR "/plain8.bmp");
    for (const size_t length : {size_t{0}, size_t{10}, size_t{30}, size_t{56}, whole.size()}) {
        std::thread writer([&] {
            const int pipe = open(name.c_str(), O_WRONLY);
            const ssize_t written = write(pipe, whole.data(), length);
            static_cast<void>(written); /* the reader may be gone already */
            close(pipe);
        });
        BitmapRec rec = null_bitmap;
        EXPECT_EQ(8, ReadBitmapFromFile(&rec, Name())) << length << " bytes"; /* a pipe cannot be searched */
        writer.join();
        EXPECT_TRUE(test::SameRecord(null_bitmap, rec));
    }
}

TEST_F(HostileFiles, DeviceWithoutEndAnswers3)
{
    name = "/dev/zero";
    EXPECT_EQ(3, Read());
}

TEST_F(HostileFiles, FullDeviceAnswers7)
{
    const int descriptors = OpenDescriptors();
    name = "/dev/full";
    for (const sint32 size : {3, 300}) { /* below and above what a stream holds back */
        test::Bitmap image(size, size, 8, 5);
        EXPECT_EQ(7, SaveBitmapToFile(&image.rec, Name()));
        EXPECT_EQ(0, SaveBmpToFile(&image.rec, Name()));
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST_F(HostileFiles, TargetThatCannotBeWrittenAnswers6)
{
    test::Bitmap image(3, 3, 8, 5);
    name = folder;
    EXPECT_EQ(6, SaveBitmapToFile(&image.rec, Name()));
    name = folder + "/no/such/folder.bmp";
    EXPECT_EQ(6, SaveBitmapToFile(&image.rec, Name()));
    name = "/proc/self/exe"; /* a program that runs cannot be written, not even by root */
    EXPECT_EQ(6, SaveBitmapToFile(&image.rec, Name()));
}

} // namespace
