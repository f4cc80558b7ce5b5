#include "Table.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Fail.h"

namespace bench
{

namespace
{

constexpr char kFirstMark[] = "<!-- table: written by ./dev bench --write-docs -->";
constexpr char kLastMark[] = "<!-- end of table -->";

/* Of the columns the first are levels, and the last stand only in rows that have them. */
constexpr size_t kLevels = 4;
constexpr size_t kRareColumns = 1;

constexpr size_t kNameWidth = 45;
constexpr size_t kValueWidth = 9;
constexpr size_t kComparisonWidth = 6;

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

std::string Padded(const std::string& text, size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string AlignedRight(const std::string& text, size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

/* Beside the plain code's time stands nothing. */
std::string CellOf(const std::string& column, const std::string& value, const std::string& comparison)
{
    const std::string cell = AlignedRight(value, kValueWidth);
    return column == "plain" ? cell : cell + ' ' + Padded(comparison, kComparisonWidth);
}

std::string Heading(const std::string& column) { return CellOf(column, column, ""); }

std::string CellText(const Result& result, const std::string& column)
{
    if (!result.Has(column)) return CellOf(column, "-", "");
    return CellOf(column, Shown(result, column), Comparison(result, column));
}

/* What stands behind the columns; also rare columns, where a row has them. */
std::string Details(const Result& result)
{
    const double per_pixel = result.ValueOf(result.BestLevel()) / result.pixels;
    std::string text = AlignedRight(Rounded(per_pixel), 9) + AlignedRight(Rounded(std::round(result.faults)), 8);
    for (size_t k = kColumns.size() - kRareColumns; k < kColumns.size(); ++k)
        if (result.Has(kColumns[k])) text += "  " + kColumns[k] + CellText(result, kColumns[k]);
    return text;
}

/* Rows of one function at one depth stand together. */
std::string GroupOf(const std::string& row)
{
    const size_t function = row.find('/');
    return row.substr(0, row.find('/', function + 1));
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

void PrintHead(FILE* file)
{
    std::string line = Padded("milliseconds", kNameWidth);
    for (size_t k = 0; k < kColumns.size() - kRareColumns; ++k) line += Heading(kColumns[k]);
    std::fprintf(file, "%s %8s %7s\n", line.c_str(), "ns/pixel", "faults");
}

void PrintRow(FILE* file, const Result& result)
{
    std::string line = Padded(result.row, kNameWidth);
    for (size_t k = 0; k < kColumns.size() - kRareColumns; ++k) line += CellText(result, kColumns[k]);
    if (!result.IsPercent()) line += Details(result);
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(file, "%s\n", line.c_str());
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
