/*
 * Jobs.cpp - how many pages a machine can work on at a time.
 */
#include "Jobs.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sched.h>
#include <sstream>

namespace tool
{

namespace
{

constexpr double kNoLimit = std::numeric_limits<double>::infinity();

/* The first number in a file; a word such as "max" is no limit, and neither is a file that is not there. */
double NumberIn(const std::string& file)
{
    double number = kNoLimit;
    std::ifstream(file) >> number;
    return number > 0.0 ? number : kNoLimit;
}

/* "MemAvailable: 123 kB" */
double FreeMemory(const std::string& root)
{
    std::ifstream file(root + "/proc/meminfo");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string key;
        double kilobytes = 0.0;
        if (words >> key >> kilobytes && key == "MemAvailable:") return kilobytes * 1024.0;
    }
    return kNoLimit;
}

double Processors()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1.0;
}

struct Room {
    double processors;
    double memory;
};

/* cpu.max is "QUOTA PERIOD" in microseconds, or "max PERIOD". */
double ProcessorsIn(const std::string& group)
{
    double quota = kNoLimit, period = 1.0;
    std::ifstream file(group + "/cpu.max");
    return file >> quota >> period && period > 0.0 ? quota / period : kNoLimit;
}

/* What the group may still take; kept file contents count as free, since they give way. */
double MemoryIn(const std::string& group)
{
    const double limit = NumberIn(group + "/memory.max");
    if (limit == kNoLimit) return kNoLimit;
    double used = 0.0;
    std::ifstream(group + "/memory.current") >> used;
    std::ifstream statistics(group + "/memory.stat");
    double amount = 0.0;
    for (std::string key; statistics >> key >> amount;)
        if (key == "inactive_file") used -= amount;
    return std::max(limit - used, 0.0);
}

/* The group of this process, and all that it lies in, each have a say. */
void Restrict(const std::string& root, Room* room)
{
    const std::string mount = root + "/sys/fs/cgroup";
    std::ifstream file(root + "/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("0::", 0) != 0) continue;
        for (std::filesystem::path group = line.substr(3);; group = group.parent_path()) {
            const std::string folder = mount + group.string();
            room->processors = std::min(room->processors, ProcessorsIn(folder));
            room->memory = std::min(room->memory, MemoryIn(folder));
            if (!group.has_relative_path()) return;
        }
    }
}

} // namespace

int AutomaticJobs(const std::string& root)
{
    Room room = {Processors(), FreeMemory(root)};
    Restrict(root, &room);
    const double jobs =
        std::min({std::floor(room.processors + 0.5), room.memory / kMemoryOfJob, double{kMostJobs}});
    return std::max(static_cast<int>(jobs), 1);
}

} // namespace tool
