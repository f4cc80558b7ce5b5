/*
 * Options.cpp - the command line.
 */
#include "Options.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Files.h"
#include "Jobs.h"
#include "Naming.h"
#include "Reporter.h"
#include "Sources.h"

using namespace quarlo;

namespace tool
{

namespace
{

constexpr const char* kEmptyValue = "the value is empty";

constexpr const char* kFooter =
    "Angles: positive where the page has to be turned, and is turned, clockwise.\n"
    "\n"
    "Exit codes: 0 all pages done; 1 a file could not be read, processed or written; 2 wrong usage;\n"
    "3 all worked, but a page had no usable frame or was refused by a limit; 129 to 143 interrupted.\n"
    "\n"
    "Examples:\n"
    "  quarlo scan.tif                                  writes scan_q.tif beside it\n"
    "  quarlo -O pages -f png --margin 2mm --json=report.jsonl --overlay check/ scans/*.jpg\n"
    "  quarlo -r -O pages --skip-existing scans/        again after an interruption: does the rest";

/* Names as people read them, one empty line between groups. */
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter()
    {
        column_width(31);
        label("Positionals", "Input");
    }
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: quarlo [OPTIONS] INPUT...\n";
    }
    std::string make_option_name(const CLI::Option* option, bool is_positional) const override
    {
        const std::string name = CLI::Formatter::make_option_name(option, is_positional);
        const std::string spaced = CLI::detail::find_and_replace(name, ",", ", ");
        return CLI::detail::find_and_replace(spaced, "{-}", "[=FILE]");
    }
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override
    {
        return CLI::detail::find_and_replace(CLI::Formatter::make_help(app, name, mode), "\n\n\n", "\n\n");
    }
};

template <class T>
struct Word {
    const char* text;
    T value;
};

/* Adds options to one group of the help, each with a reader that answers what is wrong with a value. */
class Group
{
public:
    Group(CLI::App* app, const char* name) : app_(app), name_(name) {}

    using Reader = std::function<std::string(const std::string&)>;

    CLI::Option* Value(const std::string& names, const std::string& placeholder, const Reader& reader,
                       const std::string& help)
    {
        const std::string name = names.substr(names.rfind(',') + 1);
        const auto read = [=](const std::string& text) {
            const std::string complaint = reader(text);
            if (!complaint.empty()) throw CLI::ValidationError(name, complaint);
        };
        return app_->add_option_function<std::string>(names, read, help)
            ->option_text(placeholder)
            ->type_name("value")
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
            ->group(name_);
    }

    CLI::Option* Text(const std::string& names, const std::string& placeholder, std::string* text,
                      const std::string& help)
    {
        const auto read = [=](const std::string& word) {
            *text = word;
            return std::string(word.empty() ? kEmptyValue : "");
        };
        return Value(names, placeholder, read, help);
    }

    /* One of a few words; the help lists them. */
    template <class T>
    void Choice(const std::string& names, T* value, const std::vector<Word<T>>& words, const std::string& help)
    {
        std::string list;
        for (const Word<T>& word : words) list += (list.empty() ? "" : "|") + std::string(word.text);
        const auto read = [=](const std::string& text) {
            for (const Word<T>& word : words)
                if (LowerCase(text) == word.text) {
                    *value = word.value;
                    return std::string();
                }
            return "\"" + text + "\" is none of " + list;
        };
        Value(names, list, read, help);
    }

    void Flag(const std::string& names, bool* flag, bool value, const std::string& help)
    {
        app_->add_flag_callback(
                names, [=] { *flag = value; }, help)
            ->group(name_);
    }

private:
    CLI::App* app_;
    const char* name_;
};

/* What is on the command line beside the options that last. */
struct Extras {
    bool overwrite = false;
    bool skip_existing = false;
    bool named = false;    /* --name was given */
    bool searches = false; /* how to search was given */
    bool quiet = false;
    bool verbose = false;
    int explain = -1;
};

std::string ReadFormat(const std::string& text, Format* format)
{
    *format = FormatOfName("." + text);
    return *format != Format::unknown ? "" : "\"" + text + "\" is none of bmp|png|jpeg|tiff|pnm";
}

void AddInputOptions(CLI::App* app, Options* options)
{
    Group group(app, "Many inputs");
    group.Flag("-r,--recursive", &options->given.recursive, true,
               "take the pictures in folders, and in all folders below them");
    group.Text("--files-from", "FILE|-", &options->given.list,
               "names of more inputs, one a line; -: from standard input");
    group.Flag("-0,--null", &options->given.nul, true, "names in that list end in NUL characters");
    group.Value(
        "--shard", "I/N", [=](const std::string& text) { return ReadShard(text, &options->shard); },
        "only the I-th of N equal parts of all inputs, for N machines");
    group.Value(
        "-j,--jobs", "auto|N",
        [=](const std::string& text) { return ReadCount(text, "auto", 1, kMostJobs, &options->jobs); },
        "pages worked on at a time (default auto: as cores and memory allow)");
    group.Value(
        "--max-pixels", "N", [=](const std::string& text) { return ReadPixels(text, &options->read.max_pixels); },
        "refuse larger pictures before they are decoded; 200M are 200 million");
    group.Choice<ProgressStyle>("--progress", &options->progress,
                                {{"auto", ProgressStyle::automatic},
                                 {"bar", ProgressStyle::bar},
                                 {"lines", ProgressStyle::lines},
                                 {"none", ProgressStyle::none}},
                                "how far the work is, on standard error (default auto: a bar on a\n"
                                "terminal, a line from time to time elsewhere)");
}

void AddOutputOptions(CLI::App* app, Options* options, Extras* extras)
{
    Group group(app, "Output");
    group.Text("-o,--output", "FILE|-", &options->output, "the result of a single input; -: standard output");
    group.Text("-O,--output-dir", "DIR", &options->folder,
               "folder of the results, created if needed (default: the input's)");
    group.Flag("--parents", &options->given.parents, true,
               "below DIR keep the folders of the inputs' names, as cp does");
    group.Value(
        "--name", "PATTERN",
        [=](const std::string& text) {
            extras->named = true;
            options->name = text;
            return std::string(text.empty() ? kEmptyValue : "");
        },
        "names of the results (default {stem}_q.{ext}); with {page} each page\ngets a file of its own");
    group.Value(
        "-f,--format", "bmp|png|jpeg|tiff|pnm",
        [=](const std::string& text) { return ReadFormat(text, &options->write.format); },
        "format of the results (default: by the output's extension, else as\n"
        "the input)");
    group.Flag("--overwrite", &extras->overwrite, true, "replace files that exist");
    group.Flag("--skip-existing", &extras->skip_existing, true,
               "leave out inputs whose result exists, and go on with the report\n"
               "that exists: finishes a run that was interrupted");
    group.Flag("--in-place", &options->in_place, true, "replace each input by its result, safely");
    group.Choice<Compression>("--compress", &options->write.compression,
                              {{"same", Compression::same},
                               {"none", Compression::none},
                               {"lzw", Compression::lzw},
                               {"deflate", Compression::deflate},
                               {"g4", Compression::g4},
                               {"jpeg", Compression::jpeg}},
                              "compression within the format (default same: as the input's)");
    group.Value(
        "--quality", "same|1..100",
        [=](const std::string& text) { return ReadCount(text, "same", 1, 100, &options->write.quality); },
        "of JPEG (default same: as the input's, 90 where it has none)");
    group.Value(
        "--pages", "LIST", [=](const std::string& text) { return ReadPages(text, &options->pages); },
        "which pages of each input, such as 1-3,7 or 4- (default: all)");
}

void AddSearchOptions(CLI::App* app, Options* options)
{
    Group group(app, "Finding the page");
    group.Choice<Ground>("--ground", &options->search.ground,
                         {{"dark", Ground::dark}, {"light", Ground::light}, {"auto", Ground::automatic}},
                         "what the page lies on (default auto)");
    group.Value(
        "-t,--threshold", "auto|1..255",
        [=](const std::string& text) { return ReadCount(text, "auto", 1, 255, &options->search.threshold); },
        "grey level that parts ground and page (default auto)");
    group.Value(
        "-a,--max-angle", "DEGREES",
        [=](const std::string& text) { return ReadNumber(text, 0.001, 180, &options->limits.max_angle_deg); },
        "refuse pages that are turned further");
    group.Value(
        "-l,--min-angle", "DEGREES",
        [=](const std::string& text) { return ReadNumber(text, 0, 45, &options->result.least_angle_deg); },
        "crop pages that are turned less without resampling (default 0)");
    group.Value(
        "--min-area", "SHARE", [=](const std::string& text) { return ReadShare(text, &options->limits.min_area); },
        "refuse pages smaller than that share of the scan, such as 25%");
    group.Choice<OnFail>("--on-fail", &options->on_fail,
                         {{"copy", OnFail::copy}, {"skip", OnFail::skip}, {"stop", OnFail::stop}},
                         "a page that cannot be cropped is copied as it is, its document is\n"
                         "skipped, or all work stops (default skip)");
}

void AddResultOptions(CLI::App* app, Options* options)
{
    ResultOptions* result = &options->result;
    Group group(app, "The result");
    group.Choice<Interpolation>(
        "-i,--interpolate", &result->interpolation,
        {{"cubic", Interpolation::cubic}, {"linear", Interpolation::linear}, {"nearest", Interpolation::nearest}},
        "how pixels are made (default linear); 1-bit pages take the nearest\n"
        "unless --smooth is given");
    group.Value(
        "--fill", "white|black|#rrggbb|edge",
        [=](const std::string& text) { return ReadFill(text, &result->fill); },
        "colour of the corners and margins that the scan does not cover;\n"
        "edge: the mean of the scan's outer columns (default white)");
    group.Value(
        "--margin", "2mm|10px[,...]", [=](const std::string& text) { return ReadMargins(text, &result->margins); },
        "room around the page: all sides, or top,right,bottom,left;\n"
        "negative trims; units mm, cm, in, px (default 0)");
    group.Value(
        "--size", "a4|letter|WxHmm", [=](const std::string& text) { return ReadSize(text, &result->size); },
        "size of the result, the page in its middle (default: the page's)");
    group.Choice<int>("--rotate", &result->turn, {{"0", 0}, {"90", 90}, {"180", 180}, {"270", 270}, {"-90", 270}},
                      "turn the upright page clockwise (default 0)");
    group.Choice<int>("--depth", &result->depth, {{"same", 0}, {"1", 1}, {"8", 8}, {"24", 24}},
                      "bits per pixel (default same)");
    group.Flag("--smooth", &result->smooth, true, "turn 1-bit pages in grey and cut them to black and white again");
    group.Flag("--no-crop", &result->crop, false, "keep the whole scan, turned upright");
    group.Flag("--no-deskew", &result->deskew, false, "crop along the axes, do not turn");
}

void AddInformationOptions(CLI::App* app, Options* options, Extras* extras)
{
    Group group(app, "Information");
    group.Flag("-n,--dry-run", &options->dry_run, true, "find and report only, write no results");
    group.Flag("--angle", &options->angle, true, "print the angle of each page and nothing else; implies -n");
    /* A flag with a value: --json scan.png must not take the scan for the report's name. */
    app->add_flag("--json{-}", options->json, "report, a line of JSON for each page (default: to standard output)")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
        ->group("Information");
    group.Text("--overlay", "FILE|DIR", &options->overlay,
               "draw what was found: one .svg or .png file, or a folder of them\nwith a contact sheet, index.html");
    group.Text("--apply", "FILE", &options->apply, "cut by the frames of that report instead of searching");
    group.Flag("--fail-fast", &options->fail_fast, true, "stop at the first file that cannot be done");
    group.Flag("-q,--quiet", &extras->quiet, true, "tell errors only");
    group.Flag("-v,--verbose", &extras->verbose, true, "tell what was found on each page");
    group.Value(
        "--explain", "CODE", [=](const std::string& text) { return ReadWhole(text, 0, 999, &extras->explain); },
        "what the code of a message means, and what helps");
    app->set_help_flag("-h,--help", "this text")->group("Information");
    app->set_version_flag("-V,--version", "quarlo " QUARLO_VERSION, "the version")->group("Information");
}

/* The parser would take "--in-place=no" for no flag, and "--in-place=" for one. */
std::string FlagWithValue(const CLI::App& app, int argc, char** argv)
{
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        const std::string word = argv[i];
        const size_t equals = word.find('=');
        if (word.rfind("--", 0) != 0 || equals == std::string::npos) continue;
        std::string name = word.substr(0, equals);
        const CLI::Option* option = app.get_option_no_throw(name);
        if (option != nullptr && option->get_items_expected_max() == 0 && name != "--json") return name;
    }
    return "";
}

/* The names that systems have for the standard streams, too. */
void NameStreams(Options* options)
{
    for (std::string& name : options->given.names)
        if (name == "/dev/stdin") name = "-";
    if (options->given.list == "/dev/stdin") options->given.list = "-";
    for (std::string* output : {&options->output, &options->json})
        if (*output == "/dev/stdout") *output = "-";
}

void Combine(const Extras& extras, Options* options)
{
    if (extras.overwrite) options->existing = Existing::replace;
    if (extras.skip_existing) options->existing = Existing::skip;
    if (extras.quiet) options->talk = Talk::quiet;
    if (extras.verbose) options->talk = Talk::verbose;
    if (options->angle) options->dry_run = true;
    NameStreams(options);
}

std::string InPlaceComplaint(const Options& options, const Extras& extras)
{
    if (!options.output.empty() || !options.folder.empty() || extras.named)
        return "--in-place excludes -o, -O and --name";
    if (extras.overwrite || extras.skip_existing) return "--in-place excludes --overwrite and --skip-existing";
    if (!options.pages.empty()) return "--in-place with --pages would lose the other pages";
    const std::vector<std::string>& names = options.given.names;
    if (std::find(names.begin(), names.end(), "-") != names.end())
        return "--in-place cannot replace standard input";
    return "";
}

std::string StreamComplaint(const Options& options)
{
    const long from_stream = std::count(options.given.names.begin(), options.given.names.end(), "-");
    if (from_stream + (options.given.list == "-" ? 1 : 0) > 1) return "standard input can be read once only";
    if (from_stream == 1 && !options.dry_run && options.output.empty() && options.folder.empty())
        return "the page from standard input needs -o or -O";
    const bool writes_page = options.output == "-" && !options.dry_run;
    if (writes_page && isatty(STDOUT_FILENO)) return "a picture is not written to a terminal; use -o FILE";
    if ((writes_page ? 1 : 0) + (options.json == "-" ? 1 : 0) + (options.angle ? 1 : 0) > 1)
        return "only one of -o -, --json and --angle can have standard output; use --json=FILE";
    return "";
}

std::string FolderComplaint(const Options& options)
{
    if (IsFolder(options.output)) return options.output + " is a folder; use -O for it";
    if (Exists(options.folder) && !IsFolder(options.folder)) return options.folder + " is no folder";
    return "";
}

/* A compression that the format never has, where the format is known already. */
std::string CompressionComplaint(const Options& options)
{
    WriteOptions write = options.write;
    write.format = ResultFormat(options, Format::unknown);
    if (write.format == Format::unknown) return "";
    Bytes bytes;
    std::unique_ptr<Output> output;
    return Output::ToMemory(&bytes, write, &output).reason;
}

/* What does not go together, whatever the inputs are. */
std::string Complaint(const Options& options, const Extras& extras)
{
    if (options.given.names.empty() && options.given.list.empty()) return "no input is given";
    for (const std::string& name : options.given.names)
        if (name.empty()) return "the name of an input is empty";
    if (options.given.nul && options.given.list.empty()) return "-0 is about --files-from";
    if (!options.output.empty() && !options.folder.empty()) return "-o and -O exclude each other";
    if (!options.output.empty() && extras.named) return "-o and --name exclude each other";
    if (extras.overwrite && extras.skip_existing) return "--overwrite and --skip-existing exclude each other";
    if (options.given.parents && options.folder.empty()) return "--parents is about -O";
    if (!options.apply.empty() && extras.searches) return "--apply does not search: it excludes --ground and -t";
    if (extras.quiet && extras.verbose) return "-q and -v exclude each other";
    std::string complaint = options.in_place ? InPlaceComplaint(options, extras) : "";
    if (complaint.empty()) complaint = StreamComplaint(options);
    if (complaint.empty()) complaint = FolderComplaint(options);
    return complaint.empty() ? CompressionComplaint(options) : complaint;
}

/* What does not go with these inputs. */
std::string InputsComplaint(const Options& options)
{
    if (!options.output.empty() && options.inputs.size() > 1) return "-o takes a single input; use -O for several";
    if (options.in_place) {
        for (const Source& input : options.inputs) {
            const Format own = FormatOfName(input.name);
            if (options.write.format != Format::unknown && own != Format::unknown && own != options.write.format)
                return input.name + ": --in-place cannot change the format";
        }
    }
    return NamesComplaint(options);
}

int Usage(const std::string& complaint)
{
    std::fprintf(stderr, "quarlo: %s\nquarlo --help tells the usage\n", complaint.c_str());
    return kUsage;
}

int ExplainCode(int code)
{
    const std::string_view text = Explain(code);
    if (!text.empty()) {
        std::printf("%d: %.*s\n", code, static_cast<int>(text.size()), text.data());
        return kDone;
    }
    std::string all;
    for (const int known : AllCodes()) all += " " + std::to_string(known);
    return Usage(std::to_string(code) + " is no code; the codes are" + all);
}

} // namespace

std::optional<int> ParseOptions(int argc, char** argv, Options* options)
{
    Extras extras;
    CLI::App app{"Finds the page in a scan and gives it back upright and cropped to its exact size.\n", "quarlo"};
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(kFooter);
    app.add_option("INPUT", options->given.names, "scans: BMP, PNG, JPEG, TIFF or PNM files; -: standard input")
        ->option_text(" ");
    AddInputOptions(&app, options);
    AddOutputOptions(&app, options, &extras);
    AddSearchOptions(&app, options);
    AddResultOptions(&app, options);
    AddInformationOptions(&app, options, &extras);
    const std::string valued = FlagWithValue(app, argc, argv);
    if (!valued.empty()) return Usage(valued + " takes no value");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        return app.exit(wish);
    } catch (const CLI::ExtrasError& error) {
        return Usage(error.what() + std::string("; names that begin with a dash: after -- or as ./-name"));
    } catch (const CLI::ParseError& error) {
        return Usage(error.what());
    }
    extras.searches = app.count("--ground") + app.count("--threshold") > 0;
    if (extras.explain >= 0) return ExplainCode(extras.explain);
    Combine(extras, options);
    std::string complaint = Complaint(*options, extras);
    if (!complaint.empty()) return Usage(complaint);
    const Problem problem = ListSources(options);
    if (problem.code == Code::bad_argument) return Usage(problem.reason);
    if (problem) {
        Say(options->given.list == "-" ? "standard input" : options->given.list, WordsOf(problem));
        return kFailed;
    }
    complaint = InputsComplaint(*options);
    if (!complaint.empty()) return Usage(complaint);
    return std::nullopt;
}

} // namespace tool
