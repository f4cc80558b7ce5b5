/*
 * write_sheets.cpp - writes the contact sheet of a run of 1,203 pages into a folder, for check_review.py. A title tells
 * the exact score. Every card has a drawing under a name of its own, though in truth there are eight: what a browser
 * has loaded for one card it may show on all others with that name at once, however far below they are.
 */
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "pages/TestFrame.h"

namespace
{

using namespace quarlo;

constexpr int kEntries = 1203;
constexpr int kDrawings = 8;

struct Kind {
    int count;
    Status status;
    bool left, has_score, has_drawing;
    const char* note;
};

/* The rest is cut out. */
constexpr Kind kKinds[] = {
    {3, Status::error, false, false, false, "cannot be read: no such file (code 20)"},
    {9, Status::no_frame, false, false, true, "a page edge is too ragged (code 11)"},
    {8, Status::copied, false, true, true, ""},
    {20, Status::refused, false, true, true, "the page is turned further than is allowed (code 41)"},
    {13, Status::ok, true, false, false, ""},
    {7, Status::ok, true, true, true, ""},
    {kEntries, Status::ok, false, true, true, ""},
};

const Kind& KindOf(int number)
{
    const Kind* kind = kKinds;
    for (; number >= kind->count; ++kind) number -= kind->count;
    return *kind;
}

SheetEntry EntryOf(int number)
{
    const Kind& kind = KindOf(number);
    const int thousandths = number * 389 % 1000;
    SheetEntry entry;
    entry.status = kind.status;
    entry.left = kind.left;
    entry.score = kind.has_score ? thousandths / 1000.0
                  : kind.left    ? std::numeric_limits<double>::quiet_NaN()
                                 : 0.0;
    entry.angle_deg = (number % 200 - 100) / 50.0;
    entry.note = kind.note;
    const std::string folder = number % 100 == 5 ? std::string(90, 'w') : "batch-7";
    entry.title = folder + "/scan-" + std::to_string(number) + "_" +
                  (kind.has_score ? std::to_string(thousandths) : std::string("none")) + ".tif";
    if (!kind.has_drawing) return entry;
    const std::string drawing = "drawing " + std::to_string(number);
    entry.overlay = drawing + ".svg";
    if (number % 3 != 0) entry.thumbnail = "thumbnails/" + drawing + ".png";
    return entry;
}

template <typename Contents>
bool Write(const std::string& name, const Contents& contents)
{
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
    return file.good();
}

bool WriteDrawing(const std::string& folder, int number)
{
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    const Bitmap scan = number % 2 == 0 ? test::Plain(400, 500, 24, 40) : test::Plain(500, 400, 24, 40);
    const std::string name = "drawing " + std::to_string(number);
    OverlayOptions options;
    options.title = name;
    std::string svg;
    if (OverlaySvg(scan, frame, options, &svg)) return false;
    options.longest = 320;
    options.legend = false;
    Bytes png;
    if (OverlayPng(scan, frame, options, &png)) return false;
    return Write(folder + "/" + name + ".svg", svg) && Write(folder + "/thumbnails/" + name + ".png", png);
}

/* Names of a drawing that is written already. */
void LinkDrawing(const std::string& folder, int number)
{
    const std::string written = "drawing " + std::to_string(number % kDrawings);
    const std::string name = "drawing " + std::to_string(number);
    std::filesystem::create_hard_link(folder + "/" + written + ".svg", folder + "/" + name + ".svg");
    std::filesystem::create_hard_link(folder + "/thumbnails/" + written + ".png",
                                      folder + "/thumbnails/" + name + ".png");
}

bool WriteAll(const std::string& folder)
{
    std::filesystem::create_directories(folder + "/thumbnails");
    ContactSheet sheet;
    for (int i = 0; i < kEntries; ++i)
        sheet.Add(EntryOf(i * 512 % kEntries)); /* which share no factor: each once */
    bool good = true;
    for (int i = 0; i < kDrawings; ++i) good = WriteDrawing(folder, i) && good;
    for (int i = kDrawings; good && i < kEntries; ++i) LinkDrawing(folder, i);
    for (int page = 1; page <= sheet.page_count(); ++page)
        good = Write(folder + "/" + ContactSheet::NameOf(page), sheet.Page(page)) && good;
    return good;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && WriteAll(argv[1])) return 0;
    std::fputs("usage: write_sheets FOLDER\n", stderr);
    return 1;
}
