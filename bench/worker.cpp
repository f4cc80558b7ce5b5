/*
 * worker.cpp - the library's operations, at every level of instructions, for the harness to time.
 *
 *   bench_worker reused|fresh
 *
 * It is built in both word sizes. "floor" is what the machine needs for the bytes alone: a memcpy that moves as many as
 * the operation reads and writes together, or one fread or fwrite of the whole file.
 */
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "PeakMemory.h"
#include "QL_Interface.h"
#include "QuarloBitmap.h"
#include "Server.h"
#include "support/ChosenLevel.h"

namespace
{

using namespace bench;

/* A call of the library. One that makes a picture stores it in *dest, the others leave that alone. */
typedef std::function<sint32(Scan&, BitmapRec* dest)> Call;

struct Interpolation {
    const char* name;
    sint32 code;
};

constexpr Interpolation kInterpolations[] = {{"nearest", 3}, {"bilinear", 2}, {"cubic", 1}};

#ifdef __clang__
constexpr char kCompiler[] = "Clang " __clang_version__;
#else
constexpr char kCompiler[] = "GCC " __VERSION__;
#endif

/* The compiler may not leave out what was done to the memory. */
void Use(void* memory) { asm volatile("" : : "g"(memory) : "memory"); }

/* ---- Tasks ---- */

void RunOnce(const Call& call, Scan& scan)
{
    test::Bitmap dest;
    if (call(scan, &dest.rec) != QL_SUCCESS) Require(false, "a call of the library");
}

/* Bytes and pixels that a call has to do with: those of the scan, and those of the picture that it makes, if any. */
struct Extent {
    size_t bytes;
    double pixels;
};

Extent ExtentOf(const Call& call, Scan& scan)
{
    test::Bitmap dest;
    Require(call(scan, &dest.rec) == QL_SUCCESS, "a call of the library");
    const BitmapRec& counted = dest.rec.buffer != nullptr ? dest.rec : scan.bitmap.rec;
    return {static_cast<size_t>(scan.bitmap.rec.bfSize) + static_cast<size_t>(dest.rec.bfSize),
            static_cast<double>(counted.biWidth) * counted.biHeight};
}

Task TaskAt(Level level, const Call& call, const std::shared_ptr<Scan>& scan)
{
    ChooseLevel(level);
    Task task;
    task.pixels = ExtentOf(call, *scan).pixels;
    task.run = [=] {
        ChooseLevel(level);
        RunOnce(call, *scan);
    };
    return task;
}

/* The copy's memory is new each time, as that of the library's results is. */
Task CopyTask(const Call& call, const std::shared_ptr<Scan>& scan)
{
    const Extent extent = ExtentOf(call, *scan);
    const size_t size = extent.bytes / 2;
    const auto source = std::make_shared<std::vector<uint8>>(size, uint8{1});
    Task task;
    task.pixels = extent.pixels;
    task.run = [=] {
        void* copy = std::malloc(size);
        Require(copy != nullptr, "malloc");
        std::memcpy(copy, source->data(), size);
        Use(copy);
        std::free(copy);
    };
    return task;
}

/* In percent of the source. */
Task PeakTask(Level level, const Call& call, const std::shared_ptr<Scan>& scan)
{
    Task task;
    task.measure = [=] {
        ChooseLevel(level);
        test::Bitmap dest;
        const size_t peak = PeakMemoryOf([&] { Require(call(*scan, &dest.rec) == QL_SUCCESS, "the whole call"); });
        return 100.0 * static_cast<double>(peak) / scan->bitmap.rec.bfSize;
    };
    return task;
}

/* ---- Files ---- */

/* A file that lies in memory and goes with the program. */
class MemoryFile
{
public:
    MemoryFile() : name("/proc/self/fd/" + std::to_string(memfd_create("bench", 0))) {}

    sint8* Name() { return reinterpret_cast<sint8*>(name.data()); }
    FILE* Open(const char* mode) const
    {
        FILE* file = std::fopen(name.c_str(), mode);
        Require(file != nullptr, "opening a file in memory");
        return file;
    }

private:
    std::string name;
};

/* The largest header that the library writes, with its palette, is a kilobyte; for a whole scan it does not count. */
void WriteWhole(const MemoryFile& memory_file, const BitmapRec& rec)
{
    FILE* file = memory_file.Open("wb");
    const size_t size = static_cast<size_t>(rec.bfSize);
    Require(std::fwrite(rec.buffer, 1, size, file) == size, "fwrite");
    Require(std::fclose(file) == 0, "fclose");
}

void ReadWhole(const MemoryFile& memory_file, size_t size)
{
    FILE* file = memory_file.Open("rb");
    void* pixels = std::malloc(size);
    Require(pixels != nullptr && std::fread(pixels, 1, size, file) == size, "fread");
    Use(pixels);
    std::free(pixels);
    std::fclose(file);
}

/* ---- The operations ---- */

class OperationList
{
public:
    std::vector<Operation> all;

    /* A row: the call at every level beside the copy. */
    void Add(const std::string& name, sint32 depth, const Call& call)
    {
        AddLevels(name, depth, call);
        all.push_back({name, "floor", depth, [=](std::shared_ptr<Scan> scan) { return CopyTask(call, scan); }});
    }

    void AddLevels(const std::string& name, sint32 depth, const Call& call)
    {
        for (Level level : Levels())
            all.push_back({name, NameOf(level), depth,
                           [=](std::shared_ptr<Scan> scan) { return TaskAt(level, call, scan); }});
    }

    void AddPeak(const std::string& name, sint32 depth, const Call& call)
    {
        for (Level level : Levels())
            all.push_back({name, NameOf(level), depth,
                           [=](std::shared_ptr<Scan> scan) { return PeakTask(level, call, scan); }});
    }

    void AddFloor(const std::string& name, sint32 depth, std::function<void(Scan&)> run)
    {
        all.push_back({name, "floor", depth, [=](std::shared_ptr<Scan> scan) {
                           Task task;
                           task.run = [=] { run(*scan); };
                           return task;
                       }});
    }
};

std::string RowName(const char* function, sint32 depth, const std::string& detail = "")
{
    return std::string(function) + '/' + std::to_string(depth) + (detail.empty() ? "" : '/' + detail);
}

void AddRotations(OperationList* list, sint32 depth)
{
    for (const Interpolation& interpolation : kInterpolations) {
        const sint32 code = interpolation.code;
        if (depth == 1 && code != 3) continue; /* of one bit there is only this rotation */
        const Call rotate = [=](Scan& scan, BitmapRec* dest) {
            uint8 color[3] = {255, 0, 0};
            Detection& page = scan.page;
            return RotateBitmap(&scan.bitmap.rec, dest, &page.RowSeck, page.angle, page.SourceCenter, page.biWidth,
                                page.biHeight, code, color);
        };
        const Call crop = [=](Scan& scan, BitmapRec* dest) {
            return ImageQuarlo(&scan.bitmap.rec, code, 0, kDarkGround, dest);
        };
        list->Add(RowName("RotateBitmap", depth, interpolation.name), depth, rotate);
        list->Add(RowName("ImageQuarlo", depth, interpolation.name), depth, crop);
        list->AddPeak(RowName("PeakMemory", depth, interpolation.name), depth, crop);
    }
}

/* The functions that mark two sides of the page have the same face. */
template <class MarkFun>
sint32 Mark(MarkFun mark, Scan& scan)
{
    ImageBorderPointRec first = null_image_border_point, last = null_image_border_point;
    ImageRangeRectangleRec image_range = scan.page.image_range;
    const sint32 code = mark(&scan.bitmap.rec, &scan.page.fore_image_range, kDarkGround, kThreshold, 255, &first,
                             &last, &image_range);
    Release(&first);
    Release(&last);
    return code;
}

void AddDetection(OperationList* list, sint32 depth)
{
    list->Add(RowName("CalculateDividingPoint", depth), depth, [](Scan& scan, BitmapRec*) {
        uint8 background = 0;
        return CalculateDividingPoint(&scan.bitmap.rec, &background);
    });
    list->Add(RowName("SearchBitmapRange", depth), depth, [](Scan& scan, BitmapRec*) {
        RectangleRec fore_image_range = null_rectangle;
        return SearchBitmapRange(&scan.bitmap.rec, &fore_image_range, kThreshold);
    });
    list->Add(RowName("MarkLeftRightBorder", depth), depth,
              [](Scan& scan, BitmapRec*) { return Mark(MarkLeftRightBorder, scan); });
    list->Add(RowName("MarkTopBottomBorder", depth), depth,
              [](Scan& scan, BitmapRec*) { return Mark(MarkTopBottomBorder, scan); });
    list->Add(RowName("Scans", depth), depth, [](Scan& scan, BitmapRec*) {
        uint8 background = 0;
        RectangleRec fore_image_range = null_rectangle;
        sint32 code = CalculateDividingPoint(&scan.bitmap.rec, &background);
        if (code == QL_SUCCESS) code = SearchBitmapRange(&scan.bitmap.rec, &fore_image_range, kThreshold);
        if (code == QL_SUCCESS) code = Mark(MarkLeftRightBorder, scan);
        if (code == QL_SUCCESS) code = Mark(MarkTopBottomBorder, scan);
        return code;
    });
    list->Add(RowName("Detection", depth), depth, [](Scan& scan, BitmapRec*) {
        Detection detection(&scan.bitmap.rec);
        return QL_SUCCESS;
    });
}

void AddConversions(OperationList* list, sint32 depth)
{
    list->Add(RowName("GetBWBitmap", depth), depth,
              [](Scan& scan, BitmapRec* dest) { return GetBWBitmap(&scan.bitmap.rec, dest, kThreshold); });
    list->Add(RowName("GetGrayBitmap", depth), depth,
              [](Scan& scan, BitmapRec* dest) { return GetGrayBitmap(&scan.bitmap.rec, dest); });
    list->Add(RowName("GetColorBitmap", depth), depth,
              [](Scan& scan, BitmapRec* dest) { return GetColorBitmap(&scan.bitmap.rec, dest); });
    list->Add(RowName("Bitmap_Copy", depth), depth,
              [](Scan& scan, BitmapRec* dest) { return Bitmap_Copy(&scan.bitmap.rec, dest); });
}

void AddTurns(OperationList* list, sint32 depth)
{
    for (const sint32 degrees : {90, 180, 270})
        list->Add(RowName("imageRotate", depth, std::to_string(degrees)), depth,
                  [=](Scan& scan, BitmapRec* dest) { return imageRotate(&scan.bitmap.rec, dest, degrees); });
}

/* A raw buffer with the scan's pixels, row on row without padding, and its size. */
struct RawBuffer {
    std::vector<uint8> pixels;
    sint32 width = 0;
    sint32 height = 0;

    void Take(const BitmapRec& rec)
    {
        const size_t row_size = static_cast<size_t>((rec.biBitCount * rec.biWidth + 7) / 8);
        width = rec.biWidth;
        height = rec.biHeight;
        /* Room for the image upright and on its side. */
        pixels.resize(row_size * static_cast<size_t>(height + 64));
        for (sint32 row = 0; row < height; ++row)
            std::memcpy(pixels.data() + row_size * static_cast<size_t>(row), rec.ScanLine[row], row_size);
    }
};

/* These work in place. QuarloPic gets the scan anew each time, which its time includes; a turn goes on turning. */
void AddRawBuffers(OperationList* list, sint32 depth)
{
    const auto raw = std::make_shared<RawBuffer>();
    list->AddLevels(RowName("QuarloPic", depth, "bilinear"), depth, [=](Scan& scan, BitmapRec*) {
        raw->Take(scan.bitmap.rec);
        const sint32 done = QuarloPic(raw->pixels.data(), &raw->width, &raw->height, depth, 2, 0);
        return done == 1 ? QL_SUCCESS : QL_NO_PAGE;
    });
    const auto turned = std::make_shared<RawBuffer>();
    const auto dpi_width = std::make_shared<sint32>(0);
    list->AddLevels(RowName("RotatePicSP", depth, "90"), depth, [=](Scan& scan, BitmapRec*) {
        if (*dpi_width != scan.bitmap.rec.biWidth) turned->Take(scan.bitmap.rec);
        *dpi_width = scan.bitmap.rec.biWidth;
        return RotatePicSP(turned->pixels.data(), &turned->width, &turned->height, depth, 90);
    });
}

/* Packed rows are gathered one by one while they are written; those of the scan are padded as the file's are. */
void AddFiles(OperationList* list, sint32 depth)
{
    const auto file = std::make_shared<MemoryFile>();
    const std::string save = RowName("SaveBitmapToFile", depth), save_packed = save + "/packed";
    list->AddLevels(save, depth,
                    [=](Scan& scan, BitmapRec*) { return SaveBitmapToFile(&scan.bitmap.rec, file->Name()); });
    list->AddFloor(save, depth, [=](Scan& scan) { WriteWhole(*file, scan.bitmap.rec); });

    const auto packed = std::make_shared<test::Bitmap>();
    list->AddLevels(save_packed, depth, [=](Scan& scan, BitmapRec*) {
        const BitmapRec& rec = scan.bitmap.rec;
        if (packed->rec.biHeight != rec.biHeight) {
            Bitmap_Done(&packed->rec);
            Require(Bitmap_New(&packed->rec, rec.biWidth - 1, rec.biHeight, rec.biBitCount, 0) == 0, "Bitmap_New");
            std::memset(packed->rec.buffer, 255, static_cast<size_t>(packed->rec.bfSize));
        }
        return SaveBitmapToFile(&packed->rec, file->Name());
    });
    list->AddFloor(save_packed, depth, [=](Scan& scan) { WriteWhole(*file, scan.bitmap.rec); });

    const auto scan_file = std::make_shared<MemoryFile>();
    const auto bytes_in_it = std::make_shared<sint32>(0);
    const auto write_first = [=](Scan& scan) {
        if (*bytes_in_it == scan.bitmap.rec.bfSize) return;
        *bytes_in_it = scan.bitmap.rec.bfSize;
        Require(SaveBitmapToFile(&scan.bitmap.rec, scan_file->Name()) == QL_SUCCESS, "SaveBitmapToFile");
    };
    const std::string read = RowName("ReadBitmapFromFile", depth);
    list->AddLevels(read, depth, [=](Scan& scan, BitmapRec* dest) {
        write_first(scan);
        return ReadBitmapFromFile(dest, scan_file->Name());
    });
    list->AddFloor(read, depth, [=](Scan& scan) {
        write_first(scan);
        ReadWhole(*scan_file, static_cast<size_t>(scan.bitmap.rec.bfSize));
    });
}

} // namespace

int main(int argc, char** argv)
{
    const std::string memory = argc == 2 ? argv[1] : "";
    Require(memory == "reused" || memory == "fresh", "usage: bench_worker reused|fresh;");
    UseMemory(memory == "fresh" ? Memory::Fresh : Memory::Reused);
    OperationList list;
    for (const sint32 depth : {24, 8, 1}) AddRotations(&list, depth);
    for (const sint32 depth : {24, 8, 1}) AddDetection(&list, depth);
    for (const sint32 depth : {24, 8, 1}) AddConversions(&list, depth);
    for (const sint32 depth : {24, 8, 1}) AddTurns(&list, depth);
    for (const sint32 depth : {24, 8, 1}) AddRawBuffers(&list, depth);
    for (const sint32 depth : {24, 8, 1}) AddFiles(&list, depth);
    return Serve(list.all, kCompiler);
}
