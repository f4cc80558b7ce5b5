/*
 * Sources.cpp - which files a call works on.
 */
#include "Sources.h"

#include <algorithm>
#include <filesystem>
#include <regex>
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

/*
 * Tells results of earlier runs from scans, in a folder that holds both: a name that the pattern makes of the stem of
 * another file there, with or without a page's number.
 */
class ResultNames
{
public:
    explicit ResultNames(const std::string& pattern)
    {
        std::string expression;
        bool has_stem = false;
        for (std::string_view rest = pattern; !rest.empty();) expression += TakePiece(&rest, &has_stem);
        /* The number of a page that the pattern does not place is put before the extension. */
        if (pattern.find("{page}") == std::string::npos) {
            const size_t dot = expression.rfind("\\.");
            expression.insert(dot == std::string::npos ? expression.size() : dot, "(?:-[0-9]+)?");
        }
        if (has_stem) expression_ = std::make_unique<std::regex>(expression, std::regex::optimize);
    }

    /* The stem that the name would be made of; empty: it is no result's name. */
    std::string StemIn(const std::string& name) const
    {
        std::smatch match;
        return expression_ && std::regex_match(name, match, *expression_) ? match[1].str() : "";
    }

private:
    static std::string TakePiece(std::string_view* rest, bool* has_stem)
    {
        constexpr std::string_view special = "^$\\.*+?()[]{}|";
        const auto takes = [rest](std::string_view placeholder) {
            const bool found = rest->substr(0, placeholder.size()) == placeholder;
            if (found) rest->remove_prefix(placeholder.size());
            return found;
        };
        if (takes("{stem}")) {
            const bool again = *has_stem;
            *has_stem = true;
            return again ? "\\1" : "(.+)";
        }
        if (takes("{page}")) return "[0-9]+";
        if (takes("{ext}")) return "[^.]+";
        const char letter = rest->front();
        rest->remove_prefix(1);
        return special.find(letter) == std::string_view::npos ? std::string(1, letter) : std::string{'\\', letter};
    }

    std::unique_ptr<std::regex> expression_;
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
        const std::unordered_set<std::string> stems = StemsOf(names);
        for (const std::string& name : names) {
            if (name[0] == '.') continue;
            const std::string path = (fs::path(folder) / name).string();
            const fs::file_status status = fs::symlink_status(path, error);
            if (fs::is_directory(status)) {
                if (!IsOurs(path)) SearchIn(path, (fs::path(below) / name).string());
            } else if (FormatOfName(name) != Format::unknown && !IsResult(name, stems) && !IsFolder(path)) {
                found_.push_back({path, below});
            }
        }
    }

    static std::unordered_set<std::string> StemsOf(const std::vector<std::string>& names)
    {
        std::unordered_set<std::string> stems;
        for (const std::string& name : names)
            if (FormatOfName(name) != Format::unknown) stems.insert(StemOf(name));
        return stems;
    }

    bool IsResult(const std::string& name, const std::unordered_set<std::string>& stems) const
    {
        if (!holds_results_) return false;
        const std::string stem = results_.StemIn(name);
        return !stem.empty() && stem != StemOf(name) && stems.count(stem) != 0;
    }

    bool IsOurs(const std::string& folder) const
    {
        std::error_code error;
        return (!options_.folder.empty() && fs::equivalent(folder, options_.folder, error)) ||
               (!options_.overlay.empty() && fs::equivalent(folder, options_.overlay, error));
    }

    const Options& options_;
    const ResultNames results_;
    std::vector<Source>& found_;
    bool holds_results_ = false;
};

Problem AddList(const Given& given, std::vector<Source>* inputs)
{
    Bytes bytes;
    const Problem problem = given.list == "-" ? ReadAll(STDIN_FILENO, &bytes) : ReadFile(given.list, &bytes);
    if (problem) return problem;
    std::string_view text = ViewOf(bytes);
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
