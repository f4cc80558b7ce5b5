/*
 * main.cpp - quarlo, the command-line tool: a scan in, an upright page out.
 *
 * Exit status: 0 done; 1 a file could not be read or written, or memory ran out; 2 wrong usage; 3 no page found.
 */
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "FindPage.h"
#include "Image.h"
#include "QuarloBitmap.h"

namespace
{

enum ExitStatus { kDone = 0, kFileOrMemory = 1, kUsage = 2, kNoPage = 3 };

/* Grey levels up to this become black in a 1-bit result. */
constexpr uint8 kBlackLimit = 128;

struct Options {
    std::string input;
    std::string output;
    sint32 interpolation = 2;
    GroundChoice choice = {1, 0};
    sint32 turn = 0;  /* degrees */
    sint32 depth = 0; /* 0: that of the input */
    bool overwrite = false;
    bool verbose = false;
};

ExitStatus Fail(ExitStatus status, const std::string& file, const std::string& why)
{
    std::fprintf(stderr, "quarlo: %s: %s\n", file.c_str(), why.c_str());
    return status;
}

/* What it means that a detection stage failed. */
std::string SearchError(sint32 code, const std::string& stage)
{
    if (code == QL_NO_LINE) return "the points of a page edge span no line";
    if (code == QL_NO_EDGE) return "a page edge is too ragged";
    if (stage == "threshold") return "the image is too narrow";
    if (stage == "range") return "fewer than two rows hold more than 150 page pixels";
    if (stage == "borders") return "a side of the page has no clear border";
    if (stage == "split") return "a page edge is too short";
    return "the edges form no rectangle that lies in the image";
}

/* Finds the page in `image` and puts it there, upright and cropped. */
ExitStatus CropPage(const Options& options, Image* image)
{
    PageFrame frame;
    sint32 code = FindPage(&image->rec, options.choice, &frame);
    if (code == QL_OUT_OF_MEMORY) return Fail(kFileOrMemory, options.input, "memory ran out");
    if (code != QL_SUCCESS) return Fail(kNoPage, options.input, "no page found: " + SearchError(code, frame.stage));

    Image page;
    uint8 color[3] = {255, 0, 0}; /* as ImageQuarlo fills: blue in colour, white in the other depths */
    code = RotateBitmap(&image->rec, &page.rec, &frame.rows, frame.angle, frame.center, frame.width, frame.height,
                        options.interpolation, color);
    if (code == QL_BAD_ARGUMENT) return Fail(kNoPage, options.input, "no page found: the page has no size");
    if (page.rec.buffer == nullptr) return Fail(kFileOrMemory, options.input, "memory ran out");
    image->Take(&page);
    if (options.verbose)
        std::printf("%s: %d x %d pixels, skewed by %.3f degrees, centre at %d,%d, threshold %d\n",
                    options.input.c_str(), frame.width, frame.height, SkewDegrees(frame), frame.center.x,
                    frame.center.y, frame.threshold);
    return kDone;
}

/* Turns and converts the page as asked. */
sint32 Finish(const Options& options, Image* image)
{
    Image turned;
    sint32 code = imageRotate(&image->rec, &turned.rec, options.turn);
    if (code != QL_SUCCESS) return code;
    image->Take(&turned);

    Image converted;
    if (options.depth == 1)
        code = GetBWBitmap(&image->rec, &converted.rec, kBlackLimit);
    else if (options.depth == 8)
        code = GetGrayBitmap(&image->rec, &converted.rec);
    else if (options.depth == 24)
        code = GetColorBitmap(&image->rec, &converted.rec);
    else
        return QL_SUCCESS;
    if (code == QL_SUCCESS) image->Take(&converted);
    return code;
}

ExitStatus Run(const Options& options)
{
    Image image;
    std::string error = ReadImage(options.input, &image);
    if (!error.empty()) return Fail(kFileOrMemory, options.input, error);
    const ExitStatus status = CropPage(options, &image);
    if (status != kDone) return status;
    if (Finish(options, &image) != QL_SUCCESS) return Fail(kFileOrMemory, options.input, "memory ran out");
    error = WriteImage(&image, options.output, options.overwrite);
    return error.empty() ? kDone : Fail(kFileOrMemory, options.output, error);
}

struct Word {
    const char* text;
    sint32 value;
};

/* An option whose value is one of a few words. */
void AddChoice(CLI::App* app, const std::string& name, sint32* value, const std::vector<Word>& words,
               const std::string& help)
{
    std::string list;
    for (const Word& word : words) list += (list.empty() ? "" : "|") + std::string(word.text);
    app->add_option_function<std::string>(
           name,
           [=](const std::string& text) {
               for (const Word& word : words)
                   if (text == word.text) {
                       *value = word.value;
                       return;
                   }
               throw CLI::ValidationError(name, text + " is none of " + list);
           },
           help)
        ->type_name(list);
}

/* "auto" is 0 for the library; 0 itself is no grey level to choose. */
void SetThreshold(const std::string& word, sint32* threshold)
{
    if (word == "auto") {
        *threshold = 0;
        return;
    }
    if (!CLI::detail::lexical_cast(word, *threshold) || *threshold < 1 || *threshold > 255)
        throw CLI::ValidationError("--threshold", word + " is neither auto nor a grey level from 1 to 255");
}

/* Reads the command line and does what it says. */
ExitStatus Start(int argc, char** argv)
{
    Options options;
    CLI::App app{"Finds the page in a scan and gives it back upright and cropped to its exact size.\n"
                 "Exit status: 0 done; 1 a file could not be read or written, or memory ran out; 2 wrong usage;\n"
                 "3 no page found.",
                 "quarlo"};
    app.set_version_flag("--version", "quarlo " QUARLO_VERSION);
    app.add_option("input", options.input, "the scan, a plain BMP file of 1, 8 or 24 bits")
        ->required()
        ->type_name("IN.bmp");
    app.add_option("-o,--output", options.output, "the page, a BMP file")->required()->type_name("OUT.bmp");
    AddChoice(&app, "--interpolate", &options.interpolation, {{"nearest", 3}, {"linear", 2}, {"cubic", 1}},
              "how pixels are made; 1-bit images always take the nearest (linear)");
    AddChoice(&app, "--ground", &options.choice.ground, {{"dark", 1}, {"light", 255}},
              "the background around the page (dark)");
    app.add_option_function<std::string>(
           "--threshold", [&](const std::string& word) { SetThreshold(word, &options.choice.threshold); },
           "the grey level between background and page; auto takes that of the image's sides (auto)")
        ->type_name("auto|1..255");
    AddChoice(&app, "--rotate", &options.turn, {{"90", 90}, {"180", 180}, {"270", 270}},
              "turn the upright page clockwise, in degrees");
    AddChoice(&app, "--depth", &options.depth, {{"same", 0}, {"1", 1}, {"8", 8}, {"24", 24}},
              "bits per pixel of the result (same)");
    app.add_flag("--overwrite", options.overwrite, "replace OUT.bmp if it exists");
    app.add_flag("-v,--verbose", options.verbose, "tell where the page was found");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    return Run(options);
}

/* The argument parser makes objects before main begins; memory may run out there as well. */
[[noreturn]] void EndWithoutMemory()
{
    std::fputs("quarlo: memory ran out\n", stderr);
    std::_Exit(kFileOrMemory);
}

[[gnu::constructor(101)]] void PrepareForTheEnd() { std::set_terminate(EndWithoutMemory); }

} // namespace

int main(int argc, char** argv)
{
    try {
        return Start(argc, argv);
    } catch (const std::bad_alloc&) {
        EndWithoutMemory();
    } catch (const std::exception& error) {
        return Fail(kFileOrMemory, "stopped", error.what());
    }
}
