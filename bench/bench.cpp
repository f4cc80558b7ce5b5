/*
 * bench.cpp - the harness: asks the measured programs in turn and makes a table of what they answer.
 *
 *   quarlo_bench --worker64=PROGRAM [--worker32=PROGRAM] [--peers=PROGRAM] [--quick] [--tsv=FILE] [--bounds=FILE]
 *                [--docs=FILE] [--command=TEXT] [FILTER]
 *
 * A row of the table is a benchmark of Google Benchmark, and a repetition of it is a round: every column of the row
 * once, one after the other. Ratios are taken within a round, between neighbours in time, and the table shows their
 * median: so other work on the machine, and changes of its clock, disturb them little. FILTER is a regular expression
 * for rows; --quick leaves out scans of 600 dpi and rows with fresh memory.
 */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <memory>
#include <optional>

#include "Bounds.h"
#include "Child.h"
#include "Table.h"

namespace
{

using namespace bench;

struct Options {
    std::string worker64, worker32, peers;
    std::string tsv, bounds, docs, command, filter;
    bool quick = false;
};

/* A column is called so often in a round that it takes about as long as this. */
constexpr double kNanosecondsInRound = 8e6;

struct Column {
    Child* child;
    Cell cell;
    int count; /* calls in a round; 0 until the first round */
};

struct Row {
    std::string name;
    int dpi;
    std::vector<Column> columns;
};

/* ---- Measuring ---- */

/*
 * The first call lays everything ready and, if it is a long one, tells how long it takes. Short ones are asked again:
 * theirs may have had to fetch memory.
 */
int CountFor(const Column& column, int dpi)
{
    double once = column.child->Run(column.cell, dpi, 1).value;
    if (once < kNanosecondsInRound) once = column.child->Run(column.cell, dpi, 1).value;
    return static_cast<int>(std::clamp(std::ceil(kNanosecondsInRound / std::max(1.0, once)), 1.0, 100000.0));
}

/* One round. What it found goes to the reporter in counters; the time that Google Benchmark sees is the levels'. */
void RunRound(benchmark::State& state, Row* row)
{
    for (auto _ : state) {
        double sum = 0;
        for (Column& column : row->columns) {
            if (column.count == 0) column.count = CountFor(column, row->dpi);
            const Answer answer = column.child->Run(column.cell, row->dpi, column.count);
            state.counters[column.cell.column] = answer.value;
            if (!IsLevel(column.cell.column)) continue;
            sum += answer.value;
            state.counters["pixels"] = answer.pixels;
            state.counters["faults"] = answer.faults;
        }
        state.SetIterationTime(sum * 1e-9);
    }
}

/* Prints rows as they come and keeps them. */
class Reporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override
    {
        PrintHead(stdout);
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        Result result;
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            result.row = run.run_name.function_name;
            for (const auto& [name, counter] : run.counters) {
                if (name == "pixels")
                    result.pixels = counter.value;
                else if (name == "faults")
                    result.faults = counter.value;
                else
                    result.rounds[name].push_back(counter.value);
            }
        }
        if (result.rounds.empty()) return; /* a second report, of averages that nobody asked for */
        PrintRow(stdout, result);
        std::fflush(stdout);
        results.push_back(result);
    }

    std::vector<Result> results;
};

/* ---- The rows ---- */

/* The programs that are there. */
struct Programs {
    std::unique_ptr<Child> reused64, fresh64, reused32, fresh32, peers;
};

std::unique_ptr<Child> Start(const std::string& program, const char* memory)
{
    if (program.empty()) return nullptr;
    return std::make_unique<Child>(program, memory);
}

/* Those for which it matters where memory comes from; it does not matter more for larger scans. */
bool IsMain(const std::string& operation)
{
    for (const char* start : {"RotateBitmap/", "ImageQuarlo/", "Get", "Bitmap_Copy/", "imageRotate/24/90"})
        if (operation.rfind(start, 0) == 0) return true;
    return false;
}

std::vector<std::string> OperationsOf(const std::vector<Cell>& cells)
{
    std::vector<std::string> operations;
    for (const Cell& cell : cells)
        if (std::find(operations.begin(), operations.end(), cell.operation) == operations.end())
            operations.push_back(cell.operation);
    return operations;
}

void AddColumns(Row* row, Child* child, const std::vector<Cell>& cells, const std::string& operation)
{
    for (const Cell& cell : cells)
        if (cell.operation == operation) row->columns.push_back({child, cell, 0});
}

/* Peers have 64 bits, and stand beside the rows that reuse memory as they do. */
std::deque<Row> RowsOf(const Programs& programs, const std::vector<int>& resolutions)
{
    std::deque<Row> rows;
    const std::vector<Cell> cells = programs.reused64->List();
    const std::vector<Cell> peers = programs.peers ? programs.peers->List() : std::vector<Cell>();
    for (const std::string& operation : OperationsOf(cells)) {
        for (const int dpi : resolutions) {
            const std::string name = operation + '/' + std::to_string(dpi) + "dpi/";
            const auto add = [&](Child* child, const char* kind) {
                if (child == nullptr) return;
                rows.push_back({name + kind, dpi, {}});
                AddColumns(&rows.back(), child, cells, operation);
            };
            add(programs.reused64.get(), "64bit");
            AddColumns(&rows.back(), programs.peers.get(), peers, operation);
            add(programs.reused32.get(), "32bit");
            if (!IsMain(operation) || dpi != 300) continue;
            add(programs.fresh64.get(), "64bit/fresh");
            add(programs.fresh32.get(), "32bit/fresh");
        }
    }
    return rows;
}

/* Large scans take long, and vary less. What measures no time is the same each time. */
int RoundsFor(const Row& row)
{
    if (row.name.rfind("PeakMemory", 0) == 0) return 1;
    return row.dpi == 300 ? 5 : 3;
}

void Register(std::deque<Row>* rows)
{
    for (Row& row : *rows)
        benchmark::RegisterBenchmark(row.name.c_str(), RunRound, &row)
            ->Iterations(1)
            ->Repetitions(RoundsFor(row))
            ->UseManualTime();
}

/* ---- The program ---- */

std::optional<std::string> ValueIn(const std::string& argument, const std::string& option)
{
    if (argument.rfind(option + '=', 0) != 0) return std::nullopt;
    return argument.substr(option.size() + 1);
}

Options OptionsOf(int argc, char** argv)
{
    Options options;
    const std::pair<const char*, std::string*> values[] = {
        {"--worker64", &options.worker64}, {"--worker32", &options.worker32}, {"--peers", &options.peers},
        {"--tsv", &options.tsv},           {"--bounds", &options.bounds},     {"--docs", &options.docs},
        {"--command", &options.command}};
    for (int k = 1; k < argc; ++k) {
        const std::string argument = argv[k];
        bool taken = argument == "--quick";
        if (taken) options.quick = true;
        for (const auto& [name, value] : values) {
            const std::optional<std::string> given = ValueIn(argument, name);
            if (given) *value = *given;
            taken = taken || given;
        }
        if (taken) continue;
        if (argument[0] == '-' || !options.filter.empty()) {
            std::fprintf(stderr, "quarlo_bench: what is %s?\n", argument.c_str());
            std::exit(2);
        }
        options.filter = argument;
    }
    return options;
}

std::string Processor()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
    return "unknown";
}

std::vector<std::string> About(const Programs& programs, const Options& options)
{
    std::vector<std::string> about = {"Processor: " + Processor(), "Compiler: " + programs.reused64->About()};
    if (programs.peers) about.push_back("Peers: " + programs.peers->About());
    about.push_back("Command: " + options.command);
    return about;
}

} // namespace

int main(int argc, char** argv)
{
    const Options options = OptionsOf(argc, argv);
    char* no_more[] = {argv[0], nullptr};
    int one = 1;
    benchmark::Initialize(&one, no_more);

    Programs programs;
    programs.reused64 = Start(options.worker64, "reused");
    programs.reused32 = Start(options.worker32, "reused");
    if (!options.quick) {
        programs.fresh64 = Start(options.worker64, "fresh");
        programs.fresh32 = Start(options.worker32, "fresh");
    }
    programs.peers = Start(options.peers, "reused");
    if (!programs.reused64) {
        std::fprintf(stderr, "quarlo_bench: --worker64 is missing\n");
        return 2;
    }
    const std::vector<std::string> about = About(programs, options);
    for (const std::string& line : about) std::printf("%s\n", line.c_str());
    std::printf("\n");

    std::deque<Row> rows = RowsOf(programs, options.quick ? std::vector<int>{300} : std::vector<int>{300, 600});
    Register(&rows);
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter, options.filter.empty() ? "all" : options.filter);
    if (!options.tsv.empty()) WriteTsv(options.tsv, reporter.results);
    if (!options.docs.empty()) WriteDocument(options.docs, reporter.results, about);
    if (options.bounds.empty()) return 0;
    std::printf("\n");
    return KeepsBounds(options.bounds, reporter.results, options.filter.empty() && programs.reused32) ? 0 : 1;
}
