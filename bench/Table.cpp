#include "Table.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace bench
{

namespace
{

constexpr char kFirstMark[] = "<!-- table: written by ./dev bench --write-docs -->";
constexpr char kLastMark[] = "<!-- end of table -->";
constexpr size_t kLevels = 4;

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/* Three digits that count, as few as possible behind the point. */
std::string Rounded(double value)
{
    const int behind = value >= 100 || value == 0 ? 0 : value >= 10 ? 1 : value >= 1 ? 2 : value >= 0.1 ? 3 : 4;
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", behind, value);
    return text;
}

/* What stands beside a column's time: how many times faster than plain, or the best level's time divided by its own. */
std::string Comparison(const Result& result, const std::string& column)
{
    if (result.IsPercent() || column == "plain") return "";
    if (IsLevel(column)) return 'x' + Rounded(result.RatioOf("plain", column));
    return Rounded(result.RatioOf(result.BestLevel(), column));
}

std::string Shown(const Result& result, const std::string& column)
{
    const double value = result.ValueOf(column);
    return result.IsPercent() ? Rounded(value) + '%' : Rounded(value / 1e6);
}

/* Rows of one function at one depth stand together. */
std::string GroupOf(const std::string& row)
{
    const size_t function = row.find('/');
    return row.substr(0, row.find('/', function + 1));
}

[[noreturn]] void Fail(const std::string& what)
{
    std::fprintf(stderr, "quarlo_bench: %s\n", what.c_str());
    std::exit(1);
}

std::string TableText(const std::vector<Result>& results)
{
    char* text = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&text, &size);
    PrintHead(file);
    std::string group;
    for (const Result& result : results) {
        if (GroupOf(result.row) != group) std::fprintf(file, "\n");
        group = GroupOf(result.row);
        PrintRow(file, result);
    }
    std::fclose(file);
    const std::string table(text, size);
    std::free(text);
    return table;
}

} // namespace

const std::vector<std::string> kColumns = {"plain", "sse41",  "avx2",      "avx512",
                                           "floor", "opencv", "leptonica", "opencv-bare"};

bool IsLevel(const std::string& column)
{
    return std::find(kColumns.begin(), kColumns.begin() + kLevels, column) != kColumns.begin() + kLevels;
}

double Result::ValueOf(const std::string& column) const { return MedianOf(rounds.at(column)); }

double Result::RatioOf(const std::string& column, const std::string& other) const
{
    const std::vector<double>& above = rounds.at(column);
    const std::vector<double>& below = rounds.at(other);
    std::vector<double> ratios;
    for (size_t k = 0; k < above.size(); ++k) ratios.push_back(above[k] / below[k]);
    return MedianOf(ratios);
}

std::string Result::BestLevel() const
{
    std::string best = kColumns.front();
    for (size_t k = 0; k < kLevels; ++k)
        if (Has(kColumns[k])) best = kColumns[k];
    return best;
}

/* The last column is rare, and left to those rows that have it. */
void PrintHead(FILE* file)
{
    std::fprintf(file, "%-45s", "milliseconds");
    for (size_t k = 0; k + 1 < kColumns.size(); ++k)
        std::fprintf(file, k == 0 ? " %7s" : " %7s %-6s", kColumns[k].c_str(), "");
    std::fprintf(file, " %8s %7s\n", "ns/pixel", "faults");
}

void PrintRow(FILE* file, const Result& result)
{
    std::fprintf(file, "%-45s", result.row.c_str());
    for (const std::string& column : kColumns) {
        const bool last = column == kColumns.back();
        if (last && !result.IsPercent())
            std::fprintf(file, " %8s %7.0f", Rounded(result.ValueOf(result.BestLevel()) / result.pixels).c_str(),
                         result.faults);
        if (last && !result.Has(column)) break;
        if (last) std::fprintf(file, " %s", column.c_str());
        const std::string value = result.Has(column) ? Shown(result, column) : "-";
        const std::string comparison = result.Has(column) ? Comparison(result, column) : "";
        if (column == "plain")
            std::fprintf(file, " %7s", value.c_str());
        else
            std::fprintf(file, " %7s %-6s", value.c_str(), comparison.c_str());
    }
    std::fprintf(file, "\n");
}

void WriteTsv(const std::string& name, const std::vector<Result>& results)
{
    std::ofstream file(name);
    file << "row\tcolumn\tvalue\tunit\tns_per_pixel\tplain_divided_by_it\tbest_divided_by_it\tfaults\n";
    for (const Result& result : results) {
        for (const std::string& column : kColumns) {
            if (!result.Has(column)) continue;
            const double value = result.ValueOf(column);
            file << result.row << '\t' << column << '\t' << value << '\t' << (result.IsPercent() ? "%" : "ns")
                 << '\t';
            if (!result.IsPercent()) file << value / result.pixels;
            file << '\t';
            if (!result.IsPercent()) file << result.RatioOf("plain", column);
            file << '\t';
            if (!result.IsPercent()) file << result.RatioOf(result.BestLevel(), column);
            file << '\t';
            if (column == result.BestLevel()) file << result.faults;
            file << '\n';
        }
    }
    if (!file.flush()) Fail("cannot write " + name);
}

void WriteDocument(const std::string& name, const std::vector<Result>& results,
                   const std::vector<std::string>& about)
{
    std::stringstream old;
    old << std::ifstream(name).rdbuf();
    const std::string text = old.str();
    const size_t first = text.find(kFirstMark), last = text.find(kLastMark);
    if (first == std::string::npos || last == std::string::npos || last < first) Fail("no marks in " + name);

    std::string table = std::string(kFirstMark) + "\n\n";
    for (const std::string& line : about) table += "- " + line + '\n';
    table += "\n```text\n" + TableText(results) + "```\n\n";
    std::ofstream file(name);
    file << text.substr(0, first) << table << text.substr(last);
    if (!file.flush()) Fail("cannot write " + name);
}

} // namespace bench
