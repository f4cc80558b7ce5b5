/*
 * write_pages.cpp - writes drawn scans into folders within each other, for tests of many machines.
 *
 *   write_pages FOLDER COUNT WIDTH
 *
 * All formats take their turn. The sixth is a document of three pages, the seventh shows no page, the eighth is
 * damaged.
 */
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/PageMaker.h"

using namespace quarlo;

namespace
{

constexpr int kDocument = 5, kEmpty = 6, kDamaged = 7;

/* No two are alike, so that none can stand for another. */
Bitmap Scan(int number, int width)
{
    test::Sheet sheet;
    sheet.scan_width = width;
    sheet.scan_height = width * 4 / 3;
    sheet.width = width * 2 / 3.0;
    sheet.height = width * 0.9;
    sheet.center = {width / 2.0, width * 2 / 3.0};
    sheet.angle_deg = number % 60 * 0.2 - 6.0;
    sheet.depth = number % 3 == 0 ? 24 : 8;
    sheet.paper = static_cast<std::uint8_t>(200 + number % 50);
    sheet.written_on = true;
    return test::Draw(sheet);
}

Page PageWith(Bitmap bitmap)
{
    Page page;
    page.bitmap = std::move(bitmap);
    page.meta.resolution = {300.0, 300.0, Resolution::Unit::inch};
    return page;
}

std::vector<Page> Pages(int number, int width)
{
    std::vector<Page> pages;
    if (number == kEmpty) {
        pages.push_back(PageWith(test::DrawNothing(width, width, 8)));
        return pages;
    }
    const int count = number == kDocument ? 3 : 1;
    for (int i = 0; i < count; ++i) pages.push_back(PageWith(Scan(number + 7 * i, width)));
    return pages;
}

bool WriteBytes(const std::string& name, const std::string& bytes)
{
    std::ofstream file(name, std::ios::binary);
    file << bytes;
    return file.flush().good();
}

bool WriteScan(const std::string& name, const std::vector<Page>& pages)
{
    WriteOptions options;
    options.format = FormatOfName(name);
    Bytes bytes;
    std::unique_ptr<Output> output;
    std::vector<std::string> warnings;
    if (Output::ToMemory(&bytes, options, &output)) return false;
    for (const Page& page : pages)
        if (output->Add(page, &warnings)) return false;
    return !output->Finish() && WriteBytes(name, std::string(bytes.begin(), bytes.end()));
}

std::string NameOfScan(int number)
{
    const char* const extensions[] = {"png", "bmp", "jpg", "pnm"};
    const char* const folders[] = {"", "letters/", "letters/old/", "plans/"};
    const std::string extension = number == kDocument ? "tif" : extensions[number % 4];
    return std::string(folders[number / 3 % 4]) + "scan" + std::to_string(number) + "." + extension;
}

bool WriteAll(const std::string& folder, int count, int width)
{
    for (const char* below : {"letters/old", "plans"}) std::filesystem::create_directories(folder + "/" + below);
    for (int number = 0; number < count; ++number) {
        const std::string name = folder + "/" + NameOfScan(number);
        const bool written =
            number == kDamaged ? WriteBytes(name, "no picture") : WriteScan(name, Pages(number, width));
        if (!written) return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && WriteAll(argv[1], std::atoi(argv[2]), std::atoi(argv[3]))) return 0;
    std::fputs("usage: write_pages FOLDER COUNT WIDTH\n", stderr);
    return 1;
}
