/*
 * Words.cpp - what the values of options mean.
 */
#include "Words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

using quarlo::Fill;
using quarlo::Length;

namespace tool
{

namespace
{

constexpr double kLongest = 1e6; /* of lengths; no picture comes near it */
constexpr int kLastPage = 1000000;
constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 40; /* no picture that can be read has as many */

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::vector<std::string_view> Split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

/* The whole text has to be the number; independent of the locale. */
template <class Number>
bool Reads(std::string_view text, Number* number)
{
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    *number = value;
    return true;
}

/* Takes the ending off the text, if it has it. */
bool TakeEnd(std::string_view ending, std::string_view* text)
{
    if (text->size() < ending.size() || text->substr(text->size() - ending.size()) != ending) return false;
    text->remove_suffix(ending.size());
    return true;
}

struct UnitWord {
    std::string_view text;
    Length::Unit unit;
    double factor;
};

constexpr UnitWord kUnits[] = {{"px", Length::Unit::pixels, 1.0},
                               {"mm", Length::Unit::millimetres, 1.0},
                               {"cm", Length::Unit::millimetres, 10.0},
                               {"in", Length::Unit::millimetres, 25.4}};

/* The unit that ends the text is taken off it. */
const UnitWord* TakeUnit(std::string_view* text)
{
    for (const UnitWord& word : kUnits) {
        if (TakeEnd(word.text, text)) return &word;
    }
    return nullptr;
}

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

bool ReadsLength(std::string_view text, Length* length)
{
    text = Trimmed(text);
    const UnitWord* unit = TakeUnit(&text);
    text = Trimmed(text);
    double value = 0.0;
    if (!Reads(text, &value) || !(std::fabs(value) <= kLongest)) return false;
    if (unit == nullptr && value != 0.0) return false;
    *length = unit == nullptr ? Length{} : Length{value * unit->factor, unit->unit};
    return true;
}

struct Paper {
    std::string_view name;
    double width, height; /* millimetres */
};

constexpr Paper kPapers[] = {{"a3", 297.0, 420.0}, {"a4", 210.0, 297.0},     {"a5", 148.0, 210.0},
                             {"a6", 105.0, 148.0}, {"letter", 215.9, 279.4}, {"legal", 215.9, 355.6}};

bool ReadsPaper(std::string_view text, std::array<Length, 2>* size)
{
    const bool wide = TakeEnd("-landscape", &text);
    if (!wide) TakeEnd("-portrait", &text);
    for (const Paper& paper : kPapers) {
        if (text != paper.name) continue;
        *size = {Length{paper.width, Length::Unit::millimetres}, Length{paper.height, Length::Unit::millimetres}};
        if (wide) std::swap((*size)[0], (*size)[1]);
        return true;
    }
    return false;
}

/* 100x150mm: one unit for both. */
bool ReadsMeasures(std::string_view text, std::array<Length, 2>* size)
{
    const UnitWord* unit = TakeUnit(&text);
    const std::vector<std::string_view> sides = Split(text, 'x');
    if (unit == nullptr || sides.size() != 2) return false;
    std::array<Length, 2> read;
    for (size_t i = 0; i < 2; ++i) {
        double value = 0.0;
        if (!Reads(sides[i], &value) || !(value > 0.0 && value <= kLongest)) return false;
        read[i] = {value * unit->factor, unit->unit};
    }
    *size = read;
    return true;
}

bool ReadsRange(std::string_view text, PageRange* range)
{
    const size_t dash = text.find('-');
    PageRange read;
    if (!Reads(text.substr(0, dash), &read.first) || read.first < 1 || read.first > kLastPage) return false;
    read.last = read.first;
    if (dash != std::string_view::npos) {
        const std::string_view last = text.substr(dash + 1);
        if (last.empty())
            read.last = 0;
        else if (!Reads(last, &read.last) || read.last < read.first || read.last > kLastPage)
            return false;
    }
    *range = read;
    return true;
}

} // namespace

std::string LowerCase(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string NumberText(const char* format, double number)
{
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

std::string ReadNumber(std::string_view text, double least, double most, double* number)
{
    double value = 0.0;
    if (Reads(text, &value) && value >= least && value <= most) {
        *number = value;
        return "";
    }
    char range[64];
    std::snprintf(range, sizeof range, " is no number from %g to %g", least, most);
    return Quoted(text) + range;
}

std::string ReadWhole(std::string_view text, int least, int most, int* number)
{
    int value = 0;
    if (Reads(text, &value) && value >= least && value <= most) {
        *number = value;
        return "";
    }
    return Quoted(text) + " is no whole number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string ReadCount(std::string_view text, std::string_view word, int least, int most, int* count)
{
    if (LowerCase(text) == word) {
        *count = 0;
        return "";
    }
    if (ReadWhole(text, least, most, count).empty()) return "";
    return Quoted(text) + " is neither " + std::string(word) + " nor a whole number from " + std::to_string(least) +
           " to " + std::to_string(most);
}

std::string ReadPages(std::string_view text, std::vector<PageRange>* pages)
{
    std::vector<PageRange> read;
    for (std::string_view part : Split(text, ',')) {
        PageRange range;
        if (!ReadsRange(part, &range)) return Quoted(text) + " is no list of pages such as 1-3,7 or 4-";
        read.push_back(range);
    }
    *pages = read;
    return "";
}

std::string ReadShard(std::string_view text, Shard* shard)
{
    const std::vector<std::string_view> parts = Split(text, '/');
    Shard read;
    if (parts.size() != 2 || !Reads(parts[0], &read.number) || !Reads(parts[1], &read.count) || read.number < 1 ||
        read.count < read.number)
        return Quoted(text) + " is no part such as 2/5, the second of five";
    *shard = read;
    return "";
}

std::string ReadPixels(std::string_view text, std::uint64_t* pixels)
{
    const std::string lower = LowerCase(text);
    std::string_view digits = lower;
    std::uint64_t factor = 1, value = 0;
    if (TakeEnd("k", &digits))
        factor = 1000;
    else if (TakeEnd("m", &digits))
        factor = 1000000;
    if (!Reads(digits, &value) || value < 1 || value > kMostPixels / factor)
        return Quoted(text) + " is no number of pixels such as 200000000 or 200M";
    *pixels = value * factor;
    return "";
}

std::string ReadShare(std::string_view text, double* share)
{
    std::string_view digits = text;
    const bool percent = !digits.empty() && digits.back() == '%';
    if (percent) digits.remove_suffix(1);
    double value = 0.0;
    const bool reads = Reads(digits, &value);
    if (reads && !percent && value > 1.0 && value <= 100.0)
        return Quoted(text) + " is no share such as 0.25 or 25%; did you mean " + std::string(text) + "%?";
    if (percent) value /= 100.0;
    if (!reads || !(value >= 0.0 && value <= 1.0)) return Quoted(text) + " is no share such as 0.25 or 25%";
    *share = value;
    return "";
}

std::string ReadFill(std::string_view text, Fill* fill)
{
    std::string word = LowerCase(text);
    if (word.size() == 4 && word[0] == '#') word = {'#', word[1], word[1], word[2], word[2], word[3], word[3]};
    unsigned rgb = 0;
    if (word == "white") {
        *fill = Fill{};
    } else if (word == "black") {
        *fill = Fill{Fill::Kind::colour, 0, 0, 0};
    } else if (word == "edge") {
        *fill = Fill{};
        fill->kind = Fill::Kind::edge;
    } else if (word.size() == 7 && word[0] == '#' &&
               std::from_chars(word.data() + 1, word.data() + 7, rgb, 16).ptr == word.data() + 7) {
        *fill = Fill{Fill::Kind::colour, static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                     static_cast<std::uint8_t>(rgb)};
    } else {
        return Quoted(text) + " is neither white, black, edge nor a colour such as #ffe0c0";
    }
    return "";
}

std::string ReadMargins(std::string_view text, std::array<Length, 4>* margins)
{
    const std::string lower = LowerCase(text);
    const std::vector<std::string_view> parts = Split(lower, ',');
    std::array<Length, 4> read;
    bool good = parts.size() <= 4;
    for (size_t i = 0; good && i < parts.size(); ++i) good = ReadsLength(parts[i], &read[i]);
    if (!good) return Quoted(text) + " is no margin such as 2mm, -10px or 5mm,2mm,5mm,2mm (units: mm cm in px)";
    /* A side that is not given is as the one across from it, or as the first. */
    if (parts.size() < 2) read[1] = read[0];
    if (parts.size() < 3) read[2] = read[0];
    if (parts.size() < 4) read[3] = read[1];
    *margins = read;
    return "";
}

std::string ReadSize(std::string_view text, std::array<Length, 2>* size)
{
    const std::string lower = LowerCase(text);
    if (ReadsPaper(lower, size) || ReadsMeasures(lower, size)) return "";
    return Quoted(text) +
           " is no size: a3, a4, a5, a6, letter, legal, each with -landscape or -portrait if so, or such as "
           "100x150mm or 800x600px";
}

} // namespace tool
