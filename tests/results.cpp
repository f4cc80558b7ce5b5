/*
 * results.cpp - prints what the library answers, one line per call, for comparison between two builds of it.
 *
 *   results GOLDEN_DIR SAMPLES_DIR ROTATIONS
 *
 * Each image of both folders goes through the pipeline with both grounds, all interpolations and several thresholds;
 * then come so many random rotations. A line holds the code, the size and a hash of every pixel. ./dev test compares the
 * lines of the 64-bit build with those of the 32-bit one: the mathematics library may differ in the last bit of a sine,
 * and no pixel may show it.
 */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "BitmapProcessing.h"
#include "QL_Interface.h"
#include "QuarloBitmap.h"
#include "support/TestBitmap.h"

namespace
{

void PrintResult(const std::string& name, sint32 code, const BitmapRec& rec)
{
    const test::Bytes pixels = rec.buffer == nullptr ? test::Bytes() : test::PackedPixels(rec);
    std::printf("%s %d %dx%d %016llx\n", name.c_str(), code, rec.biWidth, rec.biHeight,
                static_cast<unsigned long long>(test::Fnv1a(pixels)));
}

void CropAll(const std::filesystem::path& file)
{
    test::Bitmap scan;
    std::string name = file.string();
    if (ReadBitmapFromFile(&scan.rec, reinterpret_cast<sint8*>(name.data())) != 0) std::exit(1);
    for (const sint32 ground : {1, 255}) {
        for (const sint32 threshold : {0, 30, 60, 90, 128, 160, 200, 233}) {
            for (sint32 interpolation = 1; interpolation <= 3; ++interpolation) {
                test::Bitmap page;
                const sint32 code = ImageQuarlo(&scan.rec, interpolation, threshold, ground, &page.rec);
                PrintResult(file.filename().string() + ' ' + std::to_string(ground) + ' ' +
                                std::to_string(threshold) + ' ' + std::to_string(interpolation),
                            code, page.rec);
            }
        }
    }
}

/* Numbers that are the same in every build. */
class Random
{
public:
    sint32 Below(sint32 limit)
    {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<sint32>((state >> 33) % static_cast<uint64_t>(limit));
    }

private:
    uint64_t state = 1;
};

void RotateRandomly(Random* random, sint32 number)
{
    const sint32 depths[] = {1, 8, 24};
    const sint32 source_width = 2 + random->Below(90);
    const sint32 source_height = 2 + random->Below(90);
    test::Bitmap source(source_width, source_height, depths[random->Below(3)]);
    BitmapRec& rec = source.rec;
    for (sint32 k = 0; k < rec.bfSize; ++k) rec.buffer[k] = static_cast<uint8>(random->Below(256));
    std::vector<LineSeckRec> spans(static_cast<size_t>(rec.biHeight));
    for (LineSeckRec& span : spans) {
        span.left = random->Below(3);
        span.right = rec.biWidth - 1 - random->Below(3);
    }
    RowSeckRec mask = {rec.biHeight, rec.biHeight, 0, rec.biHeight - 1, spans.data()};
    uint8 color[3] = {255, static_cast<uint8>(random->Below(256)), 0};
    const Real64 angle = (random->Below(2000001) - 1000000) / 1000000.0 * (number % 2 == 0 ? 0.2 : 7.0);
    PointRec center = null_point;
    center.x = random->Below(rec.biWidth);
    center.y = random->Below(rec.biHeight);
    test::Bitmap rotated;
    const sint32 width = 1 + random->Below(120);
    const sint32 height = 1 + random->Below(120);
    const sint32 code =
        RotateBitmap(&rec, &rotated.rec, &mask, angle, center, width, height, 1 + random->Below(3), color);
    PrintResult("rotation " + std::to_string(number), code, rotated.rec);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) return 2;
    for (const char* folder : {argv[1], argv[2]}) {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            if (entry.path().extension() == ".bmp") files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (const auto& file : files) CropAll(file);
    }
    Random random;
    for (sint32 number = 0; number < std::atoi(argv[3]); ++number) RotateRandomly(&random, number);
    return 0;
}
