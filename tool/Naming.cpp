/*
 * Naming.cpp - formats and names of results.
 */
#include "Naming.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

#include "Files.h"
#include "Sources.h"

namespace fs = std::filesystem;

using quarlo::Format;
using quarlo::FormatOfName;

namespace tool
{

namespace
{

constexpr const char* kThumbnails = "thumbnails";

void Replace(std::string_view placeholder, const std::string& value, std::string* text)
{
    for (size_t at = text->find(placeholder); at != std::string::npos;
         at = text->find(placeholder, at + value.size()))
        text->replace(at, placeholder.size(), value);
}

std::string PatternComplaint(std::string pattern)
{
    for (std::string_view placeholder : {kStem, kExt, kPage}) Replace(placeholder, "", &pattern);
    if (pattern.find_first_of("{}") != std::string::npos) return "--name knows {stem}, {ext} and {page} only";
    if (pattern.find('/') != std::string::npos) return "--name gives names, -O gives the folder";
    return "";
}

/* An extension is kept as it is spelled where it fits. */
std::string ExtensionOf(const std::string& input, Format format)
{
    const std::string own = fs::path(input).extension().string();
    if (own.size() > 1 && FormatOfName(input) == format) return own.substr(1);
    if (format == Format::jpeg) return "jpg";
    if (format == Format::tiff) return "tif";
    return std::string(NameOf(format));
}

/* What the system knows a file by, whatever it is called; empty: there is none. No place looks like it. */
std::string NumberOf(const std::string& name)
{
    struct stat status;
    if (stat(name.c_str(), &status) != 0) return "";
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

/* An extension means something; a dot alone is none. */
std::string MeaningfulExtension(const std::string& name)
{
    const std::string extension = fs::path(name).extension().string();
    return extension.size() > 1 ? LowerCase(extension) : "";
}

bool IsDrawing(const std::string& extension) { return extension == ".svg" || extension == ".png"; }

std::string OutputComplaint(const Options& options)
{
    const std::string& name = options.output;
    if (name.empty() || name == "-") return "";
    if (name.back() == '/') return name + " ends in /: -O takes a folder";
    if (options.write.format != Format::unknown || FormatOfName(name) != Format::unknown) return "";
    if (MeaningfulExtension(name).empty()) return "";
    return name +
           ": the extension is none of bmp dib png jpg jpeg jpe tif tiff pbm pgm ppm pnm; -f tells the format";
}

std::string OverlayComplaint(const Options& options)
{
    if (options.overlay.empty()) return "";
    const std::string extension = MeaningfulExtension(options.overlay);
    if (options.overlay == "-") return "drawings are not written to standard output";
    if (!OverlayIsFolder(options) && extension.empty()) return options.overlay + " is no folder for drawings";
    if (!IsFolder(options.overlay) && options.overlay.back() != '/' && !extension.empty() && !IsDrawing(extension))
        return options.overlay + ": a drawing is .svg or .png, a folder of them is given as " + options.overlay +
               "/";
    if (OverlayIsFolder(options) || options.inputs.size() < 2) return "";
    return options.overlay + " holds the drawing of one page; give a folder for several inputs, such as " +
           options.overlay + "/";
}

} // namespace

Claims::Claims(const Options& options) : options_(options)
{
    for (const Source& input : options.inputs)
        if (input.name != "-") read_.insert(PlaceOf(input.name));
    if (options.apply.empty()) return;
    applied_.insert(PlaceOf(options.apply));
    applied_.insert(NumberOf(options.apply));
}

/* Folders are few: each is looked up once, by whatever name. */
std::string Claims::FolderOf(const std::string& name)
{
    const std::string spelled = fs::path(name).parent_path().string();
    const auto [folder, is_new] = folders_.try_emplace(spelled);
    if (is_new) {
        std::error_code error;
        const fs::path path = fs::weakly_canonical(fs::absolute(spelled.empty() ? "." : spelled, error), error);
        folder->second = error ? spelled : path.lexically_normal().string();
    }
    return folder->second;
}

std::string Claims::PlaceOf(const std::string& name)
{
    return FolderOf(name) + "/" + fs::path(name).filename().string();
}

/* Links give an input other places; they matter only where there is a file. */
bool Claims::IsInput(const std::string& place, const std::string& number)
{
    if (read_.count(place) != 0) return true;
    if (number.empty()) return false;
    if (!knows_numbers_) {
        for (const Source& input : options_.inputs)
            if (input.name != "-") read_numbers_.insert(NumberOf(input.name));
        knows_numbers_ = true;
    }
    return read_numbers_.count(number) != 0;
}

std::string Claims::Claim(const std::string& name, bool in_place) { return Take(name, NumberOf(name), in_place); }

std::string Claims::ClaimElsewhere(const std::string& name, bool in_place) { return Take(name, "", in_place); }

std::string Claims::Take(const std::string& name, const std::string& number, bool in_place)
{
    const std::string place = PlaceOf(name);
    const auto has = [&](const std::unordered_set<std::string>& files) {
        return files.count(place) != 0 || (!number.empty() && files.count(number) != 0);
    };
    if (!in_place && IsInput(place, number))
        return name + " is an input, which is not written to; --in-place replaces inputs";
    if (has(applied_)) return name + " is the report that is applied, which is not written to";
    if (has(written_)) return name + " would be written twice";
    written_.insert(place);
    if (!number.empty()) written_.insert(number);
    return "";
}

std::string Claims::ClaimReports(const Options& options)
{
    std::string complaint;
    const bool is_stream = options.json == "-" || options.json == kErrorStream;
    if (!options.json.empty() && !is_stream) complaint = Claim(options.json, false);
    if (!complaint.empty() || options.overlay.empty()) return complaint;
    return Claim(OverlayIsFolder(options) ? SheetName(options) : options.overlay, false);
}

std::string Claims::ClaimDrawing(const std::string& name)
{
    for (;;) {
        const int use = ++drawings_[name];
        std::string drawing = name + (use > 1 ? "~" + std::to_string(use) : "") + ".svg";
        const fs::path folder = options_.overlay;
        const bool both = Claim((folder / drawing).string(), false).empty() &&
                          Claim((folder / ThumbnailOf(drawing)).string(), false).empty();
        if (both) return drawing;
    }
}

std::string NamesComplaint(const Options& options)
{
    std::string complaint = PatternComplaint(options.name);
    if (!complaint.empty()) return complaint;
    complaint = OutputComplaint(options);
    if (!complaint.empty()) return complaint;
    Claims claims(options);
    const Part part = PartOf(options.shard, options.inputs.size());
    for (size_t i = 0; i < options.inputs.size() && !options.dry_run; ++i) {
        const Source& input = options.inputs[i];
        const std::string name = ResultName(options, input, FormatOfName(input.name), 0);
        const bool is_ours = i >= part.begin && i < part.end;
        if (name != "-")
            complaint =
                is_ours ? claims.Claim(name, options.in_place) : claims.ClaimElsewhere(name, options.in_place);
        if (!complaint.empty()) return complaint;
    }
    complaint = OverlayComplaint(options);
    return complaint.empty() ? claims.ClaimReports(options) : complaint;
}

Format ResultFormat(const Options& options, Format input_format)
{
    if (options.write.format != Format::unknown) return options.write.format;
    const Format named =
        options.in_place ? Format::unknown : FormatOfName(options.output.empty() ? options.name : options.output);
    return named != Format::unknown ? named : input_format;
}

bool NamesPages(const Options& options)
{
    return options.output.empty() && !options.in_place && options.name.find(kPage) != std::string::npos;
}

std::string StemOf(const std::string& input) { return input == "-" ? "stdin" : fs::path(input).stem().string(); }

std::string ResultName(const Options& options, const Source& input, Format input_format, int page)
{
    if (options.in_place) return input.name;
    if (!options.output.empty()) return options.output;
    std::string name = options.name;
    Replace(kExt, ExtensionOf(input.name, ResultFormat(options, input_format)), &name);
    if (page > 0 && !NamesPages(options)) {
        const fs::path plain(name);
        name = plain.stem().string() + "-" + std::to_string(page) + plain.extension().string();
    }
    if (page > 0) Replace(kPage, std::to_string(page), &name);
    Replace(kStem, StemOf(input.name), &name);
    if (options.folder.empty()) return (fs::path(input.name).parent_path() / name).string();
    return (fs::path(options.folder) / input.below / name).string();
}

bool OverlayIsFolder(const Options& options)
{
    if (Exists(options.overlay)) return IsFolder(options.overlay);
    return options.overlay.back() == '/' || !IsDrawing(MeaningfulExtension(options.overlay));
}

std::string SheetName(const Options& options, int page)
{
    return (fs::path(options.overlay) / quarlo::ContactSheet::NameOf(page)).string();
}

std::string ThumbnailFolder(const Options& options) { return (fs::path(options.overlay) / kThumbnails).string(); }

std::string ThumbnailOf(const std::string& drawing)
{
    return (fs::path(kThumbnails) / fs::path(drawing).replace_extension(".png")).string();
}

} // namespace tool
