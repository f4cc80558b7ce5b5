#include "Server.h"

#include <malloc.h>
#include <sys/resource.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <sstream>
#include <utility>

namespace bench
{

namespace
{

/* Nanoseconds. */
double ProcessorTime()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double PageFaults()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_minflt);
}

/* Keeps the scans of one resolution and the tasks of one row, which are asked for many times in turn. */
class Bench
{
public:
    explicit Bench(const std::vector<Operation>& list) : operations(list) {}

    void List() const
    {
        for (const Operation& operation : operations)
            std::printf("%s %s\n", operation.name.c_str(), operation.column.c_str());
        std::printf("\n");
    }

    void Run(const std::string& name, const std::string& column, sint32 wanted_dpi, int count)
    {
        const Task& task = TaskOf(name, column, wanted_dpi);
        const double faults = PageFaults();
        const double start = ProcessorTime();
        double value = 0;
        if (task.measure) {
            value = task.measure();
        } else {
            for (int k = 0; k < count; ++k) task.run();
            value = (ProcessorTime() - start) / count;
        }
        std::printf("%.17g %.17g %.17g\n", value, (PageFaults() - faults) / count, task.pixels);
    }

private:
    const Task& TaskOf(const std::string& name, const std::string& column, sint32 wanted_dpi)
    {
        if (wanted_dpi != dpi) scans.clear();
        if (wanted_dpi != dpi || name != row) tasks.clear();
        dpi = wanted_dpi;
        row = name;
        if (tasks.count(column) == 0) {
            const Operation& operation = OperationOf(name, column);
            tasks[column] = operation.prepare(ScanOf(operation.depth));
        }
        return tasks[column];
    }

    const Operation& OperationOf(const std::string& name, const std::string& column) const
    {
        for (const Operation& operation : operations)
            if (operation.name == name && operation.column == column) return operation;
        Require(false, (name + ' ' + column).c_str());
        return operations.front();
    }

    std::shared_ptr<Scan> ScanOf(sint32 depth)
    {
        if (scans.count(depth) == 0) scans[depth] = std::make_shared<Scan>(dpi, depth);
        return scans[depth];
    }

    const std::vector<Operation>& operations;
    sint32 dpi = 0;
    std::string row;
    std::map<sint32, std::shared_ptr<Scan>> scans;
    std::map<std::string, Task> tasks;
};

} // namespace

/*
 * A fixed threshold for mapped blocks switches off the allocator's habit of raising it as it goes, after which blocks
 * of ordinary scans would be reused too.
 */
void UseMemory(Memory memory)
{
    if (memory == Memory::Fresh) {
        mallopt(M_MMAP_THRESHOLD, 128 * 1024);
        return;
    }
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    mallopt(M_TOP_PAD, 64 * 1024 * 1024);
}

int Serve(const std::vector<Operation>& operations, const std::string& about)
{
    Bench bench(operations);
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream request(line);
        std::string verb, name, column;
        sint32 dpi = 0;
        int count = 0;
        request >> verb >> name >> column >> dpi >> count;
        if (verb == "about")
            std::printf("%s\n", about.c_str());
        else if (verb == "list")
            bench.List();
        else if (verb == "run" && count > 0)
            bench.Run(name, column, dpi, count);
        else
            Require(false, line.c_str());
        std::fflush(stdout);
    }
    return 0;
}

} // namespace bench
