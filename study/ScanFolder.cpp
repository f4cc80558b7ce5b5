/*
 * ScanFolder.cpp - a folder of scans and the table of their pages.
 *
 * What each file holds is decided first, one after the other; then the files are made by as many threads as there are
 * processors. Each scan has a seed of its own, so it does not matter which thread makes it.
 */
#include "ScanFolder.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "PrintedScan.h"
#include "Random.h"

namespace study
{

using quarlo::Bytes;
using quarlo::Code;
using quarlo::Compression;
using quarlo::Format;
using quarlo::Problem;

namespace
{

/* How a file is stored. */
struct Kind {
    Format format;
    int depth;
    Compression compression;
    const char* extension;
    bool document = false; /* of several pages */
};

const std::vector<Kind> kJpeg = {{Format::jpeg, 24, Compression::same, "jpg"}};
const std::vector<Kind> kPng = {{Format::png, 8, Compression::same, "png"}};
const std::vector<Kind> kTiff = {{Format::tiff, 1, Compression::g4, "tif"}};
const std::vector<Kind> kBmp = {{Format::bmp, 24, Compression::same, "bmp"}};
const std::vector<Kind> kMixed = {
    {Format::jpeg, 24, Compression::same, "jpg"},       {Format::png, 8, Compression::same, "png"},
    {Format::tiff, 1, Compression::g4, "tif"},          {Format::bmp, 24, Compression::same, "bmp"},
    {Format::tiff, 1, Compression::g4, "tiff", true},   {Format::jpeg, 8, Compression::same, "jpeg"},
    {Format::png, 24, Compression::same, "png"},        {Format::tiff, 8, Compression::lzw, "tif"},
    {Format::bmp, 8, Compression::same, "bmp"},         {Format::pnm, 24, Compression::same, "ppm"},
    {Format::tiff, 24, Compression::jpeg, "tif", true}, {Format::png, 1, Compression::same, "png"},
    {Format::tiff, 24, Compression::deflate, "tif"},    {Format::bmp, 1, Compression::same, "bmp"},
    {Format::pnm, 8, Compression::same, "pgm"},         {Format::tiff, 8, Compression::deflate, "tif", true},
    {Format::tiff, 8, Compression::none, "tif"},
};

const char* const kFolders[] = {"", "a/", "b/", "b/deep/"};

/* Of so many files in mixed, one is bad. */
constexpr int kBadPeriod = 14;

enum class Content { pages, empty, truncated, no_picture };
const char* const kContentNames[] = {"page", "empty", "truncated", "no_picture"};

struct FilePlan {
    std::string name; /* below the folder */
    Kind kind;
    Content content = Content::pages;
    int first = 0; /* number of its first scan, which tells the seed */
    int pages = 1;
};

const std::vector<Kind>* KindsOf(const std::string& format)
{
    if (format == "jpeg") return &kJpeg;
    if (format == "png") return &kPng;
    if (format == "tiff") return &kTiff;
    if (format == "bmp") return &kBmp;
    return format == "mixed" ? &kMixed : nullptr;
}

Content ContentOf(int file)
{
    constexpr Content kBad[] = {Content::truncated, Content::no_picture, Content::empty};
    return file % kBadPeriod == kBadPeriod - 1 ? kBad[file / kBadPeriod % 3] : Content::pages;
}

std::vector<FilePlan> FilesOf(const FolderPlan& plan, const std::vector<Kind>& kinds)
{
    const bool mixed = kinds.size() > 1;
    Random random(plan.seed);
    std::vector<FilePlan> files;
    int made = 0;
    while (made < plan.count) {
        const int number = static_cast<int>(files.size());
        FilePlan file;
        file.kind = kinds[files.size() % kinds.size()];
        file.content = mixed ? ContentOf(number) : Content::pages;
        file.first = made;
        const int wanted = file.kind.document ? random.Whole(2, 5) : 1;
        file.pages = file.content == Content::pages ? std::min(wanted, plan.count - made) : 1;
        const std::string digits = std::to_string(10000 + number + 1).substr(1);
        file.name = std::string(mixed ? kFolders[number % 4] : "") + "scan-" + digits + '.' + file.kind.extension;
        made += file.pages;
        files.push_back(file);
    }
    return files;
}

/* The text that is no picture. */
constexpr char kNoPicture[] = "This file has the name of a picture, but it is a text.\n";

/* Makes one file and the lines of the table that tell of it. */
class FileMaker
{
public:
    FileMaker(const FolderPlan& plan, const FilePlan& file) : plan_(plan), file_(file) {}

    Problem Make()
    {
        Bytes bytes;
        Problem problem = Encode(&bytes);
        if (problem) return problem;
        const std::string name = plan_.folder + '/' + file_.name;
        std::ofstream stream(name, std::ios::binary);
        stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!stream.flush()) return {Code::cannot_write, "write", name + " cannot be written"};
        return {};
    }
    const std::string& lines() const { return lines_; }

private:
    Problem Encode(Bytes* bytes)
    {
        if (file_.content == Content::no_picture) {
            bytes->assign(kNoPicture, kNoPicture + sizeof kNoPicture - 1);
            TellNone();
            return {};
        }
        Problem problem = Write(bytes);
        if (file_.content == Content::truncated) bytes->resize(bytes->size() * 3 / 5);
        return problem;
    }

    Problem Write(Bytes* bytes)
    {
        quarlo::WriteOptions options;
        options.format = file_.kind.format;
        options.compression = file_.kind.compression;
        std::unique_ptr<quarlo::Output> output;
        Problem problem = quarlo::Output::ToMemory(bytes, options, &output);
        std::vector<std::string> warnings;
        for (int k = 0; k < file_.pages && !problem; ++k) problem = output->Add(Draw(k), &warnings);
        return problem ? problem : output->Finish();
    }

    quarlo::Page Draw(int index)
    {
        const std::uint64_t seed = plan_.seed * 1000003 + static_cast<std::uint64_t>(file_.first + index);
        quarlo::Page page;
        page.meta.resolution = {double(plan_.dpi), double(plan_.dpi), quarlo::Resolution::Unit::inch};
        if (file_.content == Content::pages) {
            Scan scan = MakePrinted(seed, plan_.dpi, file_.kind.depth);
            Tell(index + 1, scan);
            page.bitmap = std::move(scan.bitmap);
        } else {
            page.bitmap = MakeEmpty(seed, plan_.dpi, file_.kind.depth);
            TellNone();
        }
        return page;
    }

    void Tell(int page, const Scan& scan)
    {
        char text[300];
        const std::array<quarlo::Point, 4>& c = scan.corners;
        std::snprintf(text, sizeof text, "%d\tpage\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.5f\t%d\t%d\n",
                      page, c[0].x, c[0].y, c[1].x, c[1].y, c[2].x, c[2].y, c[3].x, c[3].y, scan.angle_deg,
                      scan.bitmap.width(), scan.bitmap.height());
        lines_ += file_.name + '\t' + text;
    }

    void TellNone()
    {
        const char* kind = kContentNames[static_cast<size_t>(file_.content)];
        lines_ += file_.name + "\t1\t" + kind + "\t-\t-\t-\t-\t-\t-\t-\t-\t-\t-\t-\n";
    }

    const FolderPlan& plan_;
    const FilePlan& file_;
    std::string lines_;
};

/* The parts of the table, one a file. */
Problem MakeFiles(const FolderPlan& plan, const std::vector<FilePlan>& files, std::vector<std::string>* lines)
{
    lines->resize(files.size());
    std::vector<Problem> problems(files.size());
    std::atomic<size_t> next = 0;
    const auto work = [&] {
        for (size_t k = next++; k < files.size(); k = next++) {
            FileMaker maker(plan, files[k]);
            problems[k] = maker.Make();
            (*lines)[k] = maker.lines();
        }
    };
    std::vector<std::thread> helpers;
    for (unsigned k = 1; k < std::thread::hardware_concurrency(); ++k) helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers) helper.join();
    const auto wrong = std::find_if(problems.begin(), problems.end(), [](const Problem& p) { return bool(p); });
    return wrong == problems.end() ? Problem{} : *wrong;
}

} // namespace

Problem WriteScanFolder(const FolderPlan& plan)
{
    const std::vector<Kind>* kinds = KindsOf(plan.format);
    if (kinds == nullptr) return {Code::bad_argument, "write", "there is no format " + plan.format};
    const std::vector<FilePlan> files = FilesOf(plan, *kinds);
    for (const FilePlan& file : files) {
        std::error_code error;
        const std::filesystem::path folder = std::filesystem::path(plan.folder + '/' + file.name).parent_path();
        std::filesystem::create_directories(folder, error);
        if (error) return {Code::cannot_write, "write", folder.string() + ": " + error.message()};
    }
    std::vector<std::string> lines;
    Problem problem = MakeFiles(plan, files, &lines);
    if (problem) return problem;
    std::ofstream table(plan.folder + "/truth.tsv");
    table << "file\tpage\tkind\tx0\ty0\tx1\ty1\tx2\ty2\tx3\ty3\tangle_deg\twidth\theight\n";
    for (const std::string& line : lines) table << line;
    if (!table.flush()) return {Code::cannot_write, "write", plan.folder + "/truth.tsv cannot be written"};
    return {};
}

} // namespace study
