/*
 * Sources.cpp - which files a call works on.
 */
#include "Sources.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <unistd.h>
#include <unordered_set>

#include "Files.h"
#include "Naming.h"

namespace fs = std::filesystem;

using quarlo::Bytes;
using quarlo::Format;
using quarlo::FormatOfName;
using quarlo::Problem;

namespace tool
{

namespace
{

using Names = std::unordered_set<std::string>;

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

/*
 * Tells results of earlier runs from scans, in a folder that holds both: a name that the pattern makes of the stem of
 * another file there, with or without a page's number.
 */
class ResultNames
{
public:
    explicit ResultNames(std::string pattern)
    {
        /* The number of a page that the pattern does not place is put before the extension. */
        if (pattern.find(kPage) == std::string::npos) {
            const size_t dot = pattern.rfind('.');
            pattern.insert(dot == std::string::npos ? pattern.size() : dot, kNumber);
        }
        pattern_ = pattern;
        has_stem_ = pattern_.find(kStem) != std::string::npos;
    }

    /* The longest of the stems that the name can be made of; empty: it is no result's name. */
    std::string StemIn(const std::string& name, const Names& stems) const
    {
        std::string stem;
        return has_stem_ && Matches(name, pattern_, stems, &stem) ? stem : "";
    }

private:
    static constexpr std::string_view kNumber = "{-page}"; /* or nothing */

    static bool Takes(std::string_view piece, std::string_view* text)
    {
        const bool takes = text->substr(0, piece.size()) == piece;
        if (takes) text->remove_prefix(piece.size());
        return takes;
    }

    /* `stem` is filled where the pattern first asks for it, and is to be the same from there on. */
    static bool Matches(std::string_view name, std::string_view pattern, const Names& stems, std::string* stem)
    {
        if (pattern.empty()) return name.empty();
        if (Takes(kStem, &pattern)) return MatchesStem(name, pattern, stems, stem);
        if (Takes(kPage, &pattern)) return MatchesRun(IsDigit, name, pattern, stems, stem);
        if (Takes(kExt, &pattern))
            return MatchesRun([](char letter) { return letter != '.'; }, name, pattern, stems, stem);
        if (Takes(kNumber, &pattern))
            return Matches(name, pattern, stems, stem) ||
                   (Takes("-", &name) && MatchesRun(IsDigit, name, pattern, stems, stem));
        return !name.empty() && name.front() == pattern.front() &&
               Matches(name.substr(1), pattern.substr(1), stems, stem);
    }

    static bool MatchesStem(std::string_view name, std::string_view pattern, const Names& stems, std::string* stem)
    {
        if (!stem->empty()) return Takes(*stem, &name) && Matches(name, pattern, stems, stem);
        for (size_t length = name.size(); length > 0; --length) {
            *stem = name.substr(0, length);
            if (stems.count(*stem) != 0 && Matches(name.substr(length), pattern, stems, stem)) return true;
        }
        stem->clear();
        return false;
    }

    /* At least one such letter. */
    template <class Belongs>
    static bool MatchesRun(Belongs belongs, std::string_view name, std::string_view pattern, const Names& stems,
                           std::string* stem)
    {
        while (!name.empty() && belongs(name.front())) {
            name.remove_prefix(1);
            if (Matches(name, pattern, stems, stem)) return true;
        }
        return false;
    }

    std::string pattern_;
    bool has_stem_;
};

/* The pictures in a folder and below. */
class FolderSearch
{
public:
    FolderSearch(const Options& options, std::vector<Source>* found)
        : options_(options), results_(options.name), found_(*found)
    {
    }

    void Search(const std::string& root)
    {
        std::error_code error;
        const bool apart = !options_.folder.empty() && !fs::equivalent(root, options_.folder, error);
        holds_results_ = !options_.in_place && !apart;
        SearchIn(root, "");
    }

private:
    void SearchIn(const std::string& folder, const std::string& below)
    {
        std::vector<std::string> names;
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
            names.push_back(entry->path().filename().string());
        /* That it cannot be read is told in its turn, like a file that cannot. */
        if (error) return found_.push_back({folder, below});
        std::sort(names.begin(), names.end());
        const Names stems = StemsOf(names);
        for (const std::string& name : names) {
            if (name[0] == '.') continue;
            const std::string path = (fs::path(folder) / name).string();
            const fs::file_status status = fs::symlink_status(path, error);
            if (fs::is_directory(status)) {
                if (!IsOurs(path)) SearchIn(path, (fs::path(below) / name).string());
            } else if (FormatOfName(name) != Format::unknown && !IsResult(name, stems) && !CheckOrdinary(path)) {
                found_.push_back({path, below});
            }
        }
    }

    static Names StemsOf(const std::vector<std::string>& names)
    {
        Names stems;
        for (const std::string& name : names)
            if (FormatOfName(name) != Format::unknown) stems.insert(StemOf(name));
        return stems;
    }

    bool IsResult(const std::string& name, const Names& stems) const
    {
        if (!holds_results_) return false;
        const std::string stem = results_.StemIn(name, stems);
        return !stem.empty() && stem != StemOf(name);
    }

    bool IsOurs(const std::string& folder) const
    {
        std::error_code error;
        return (!options_.folder.empty() && fs::equivalent(folder, options_.folder, error)) ||
               (!options_.overlay.empty() && fs::equivalent(folder, options_.overlay, error)) ||
               (!options_.overlay.empty() && fs::equivalent(folder, ThumbnailFolder(options_), error));
    }

    const Options& options_;
    const ResultNames results_;
    std::vector<Source>& found_;
    bool holds_results_ = false;
};

Problem AddList(const Given& given, std::vector<Source>* inputs)
{
    Bytes bytes;
    Problem problem = given.list == "-" ? ReadAll(STDIN_FILENO, &bytes) : ReadFile(given.list, &bytes);
    if (problem) return problem;
    std::string_view text = ViewOf(bytes);
    if (!given.nul && text.find('\0') != std::string_view::npos)
        return {quarlo::Code::bad_argument, "list", "the list holds NUL characters; -0 reads such a one"};
    while (!text.empty()) {
        const size_t end = text.find(given.nul ? '\0' : '\n');
        std::string_view name = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!given.nul && !name.empty() && name.back() == '\r') name.remove_suffix(1);
        /* A dash in a list is a file of that name. */
        if (!name.empty()) inputs->push_back({name == "-" ? "./-" : std::string(name), ""});
    }
    return {};
}

/* The folders of a name, none of which leads up. */
std::string ParentsOf(const std::string& name)
{
    fs::path parents;
    for (const fs::path& folder : fs::path(name).lexically_normal().parent_path().relative_path())
        if (folder != "..") parents /= folder;
    return parents.string();
}

} // namespace

Problem ListSources(Options* options)
{
    std::vector<Source> named;
    for (const std::string& name : options->given.names) named.push_back({name, ""});
    Problem problem;
    if (!options->given.list.empty()) problem = AddList(options->given, &named);
    if (problem) return problem;
    FolderSearch search(*options, &options->inputs);
    for (Source& source : named) {
        if (options->given.recursive && source.name != "-" && IsFolder(source.name))
            search.Search(source.name);
        else
            options->inputs.push_back(std::move(source));
    }
    if (options->given.parents)
        for (Source& source : options->inputs) source.below = ParentsOf(source.name);
    return {};
}

Part PartOf(const Shard& shard, size_t count)
{
    const auto bound = [&](int number) {
        const auto parts = static_cast<size_t>(shard.count);
        const auto before = static_cast<size_t>(number);
        /* count * before / parts, without wrapping */
        return count / parts * before + count % parts * before / parts;
    };
    return {bound(shard.number - 1), bound(shard.number)};
}

} // namespace tool
