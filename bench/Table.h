/*
 * Table.h - results, their ratios, and the table of them: printed, as tab-separated values, and in a document.
 */
#ifndef QUARLO_BENCH_TABLE_H
#define QUARLO_BENCH_TABLE_H

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench
{

/* A row: what each column took in each round. */
struct Result {
    std::string row; /* "RotateBitmap/24/nearest/300dpi/64bit" */
    double pixels = 0;
    double faults = 0;                                 /* page faults of a call at the best level */
    std::map<std::string, std::vector<double>> rounds; /* by column: nanoseconds, or percent of PeakMemory rows */

    bool Has(const std::string& column) const { return rounds.count(column) != 0; }
    bool IsPercent() const { return row.rfind("PeakMemory", 0) == 0; }

    /* The median over the rounds. */
    double ValueOf(const std::string& column) const;

    /* The median over the rounds of one column's value divided by the other's in the same round. */
    double RatioOf(const std::string& column, const std::string& other) const;

    /* The highest level that was measured. */
    std::string BestLevel() const;
};

/* Every column that may be there, in the order of the table: levels of instructions, the floor, peers. */
extern const std::vector<std::string> kColumns;
bool IsLevel(const std::string& column);

void PrintHead(FILE* file);
void PrintRow(FILE* file, const Result& result);
void WriteTsv(const std::string& name, const std::vector<Result>& results);

/* Replaces what stands between the document's two marks by the table and these lines about where it comes from. */
void WriteDocument(const std::string& name, const std::vector<Result>& results,
                   const std::vector<std::string>& about);

} // namespace bench

#endif
