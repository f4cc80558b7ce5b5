/*
 * tool_jobs_test.cpp - how many pages a machine can work on at a time, told by made-up systems.
 */
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sched.h>

#include <gtest/gtest.h>

#include "Jobs.h"

namespace tool
{

namespace
{

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

class AutomaticJobsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "quarlo_jobs_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        root_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(root_); }

    void Write(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories(std::filesystem::path(root_ + name).parent_path());
        std::ofstream(root_ + name) << text;
    }
    void SetFreeMemory(std::uint64_t kib) const
    {
        Write("/proc/meminfo", "MemTotal:       99999999 kB\nMemFree:               1 kB\nMemAvailable:   " +
                                   std::to_string(kib) + " kB\nBuffers: 7 kB\n");
    }
    void SetGroup(const std::string& group) const
    {
        Write("/proc/self/cgroup", "12:memory:/elsewhere\n0::" + group + "\n");
    }
    /* No more than this process has processors. */
    static int AtMost(int jobs)
    {
        cpu_set_t set;
        CPU_ZERO(&set);
        return sched_getaffinity(0, sizeof set, &set) == 0 ? std::min(CPU_COUNT(&set), jobs) : 1;
    }
    int Jobs() const { return AutomaticJobs(root_); }

    std::string root_;
};

TEST_F(AutomaticJobsTest, NothingThereLeavesTheProcessors) { EXPECT_EQ(AtMost(1024), Jobs()); }

TEST_F(AutomaticJobsTest, ProcessorsAreThoseOfTheProcess)
{
    cpu_set_t all, one;
    ASSERT_EQ(0, sched_getaffinity(0, sizeof all, &all));
    CPU_ZERO(&one);
    for (int cpu = 0; CPU_COUNT(&one) == 0; ++cpu)
        if (CPU_ISSET(cpu, &all)) CPU_SET(cpu, &one);
    ASSERT_EQ(0, sched_setaffinity(0, sizeof one, &one));
    EXPECT_EQ(1, Jobs());
    ASSERT_EQ(0, sched_setaffinity(0, sizeof all, &all));
}

TEST_F(AutomaticJobsTest, FreeMemoryIsReckonedInJobsOf512MiB)
{
    SetFreeMemory(1024 * 1024);
    EXPECT_EQ(AtMost(2), Jobs());
    SetFreeMemory(1024 * 1024 - 1);
    EXPECT_EQ(1, Jobs());
    SetFreeMemory(0);
    EXPECT_EQ(1, Jobs());
    Write("/proc/meminfo", "MemTotal: 5 kB\nMemAvailable: much\n");
    EXPECT_EQ(AtMost(1024), Jobs());
}

TEST_F(AutomaticJobsTest, ShareOfProcessorsIsRoundedAndNeverBelowOne)
{
    SetGroup("/job");
    for (const auto& [text, jobs] : {std::pair{"max 100000", 1024},
                                     {"150000 100000", 2},
                                     {"149999 100000", 1},
                                     {"1 100000", 1},
                                     {"0 100000", 1},
                                     {"nonsense", 1024},
                                     {"200000 0", 1024},
                                     {"", 1024},
                                     {"200000", 1024}}) {
        Write("/sys/fs/cgroup/job/cpu.max", std::string(text) + "\n");
        EXPECT_EQ(AtMost(jobs), Jobs()) << text;
    }
}

TEST_F(AutomaticJobsTest, TightestOfNestedGroupsCounts)
{
    SetGroup("/outer/middle/inner");
    Write("/sys/fs/cgroup/outer/middle/inner/cpu.max", "max 100000\n");
    EXPECT_EQ(AtMost(1024), Jobs());
    Write("/sys/fs/cgroup/outer/cpu.max", "100000 100000\n");
    EXPECT_EQ(1, Jobs());
    Write("/sys/fs/cgroup/outer/cpu.max", "max 100000\n");
    Write("/sys/fs/cgroup/outer/middle/inner/cpu.max", "100000 100000\n");
    EXPECT_EQ(1, Jobs());
    Write("/sys/fs/cgroup/outer/middle/inner/cpu.max", "max 100000\n");
    Write("/sys/fs/cgroup/cpu.max", "100000 100000\n");
    EXPECT_EQ(1, Jobs());
}

TEST_F(AutomaticJobsTest, GroupThatIsNotNamedFromItsRootHarmsNothing)
{
    for (const char* group : {"/", "", "relative/one", "/../../outside"}) {
        SetGroup(group);
        EXPECT_EQ(AtMost(1024), Jobs()) << group;
    }
}

TEST_F(AutomaticJobsTest, KeptFileContentsCountAsFreeMemoryOfTheGroup)
{
    SetGroup("/job");
    const std::string group = "/sys/fs/cgroup/job/";
    Write(group + "memory.max", "max\n");
    Write(group + "memory.current", std::to_string(999 * kMiB));
    EXPECT_EQ(AtMost(1024), Jobs());
    Write(group + "memory.max", std::to_string(2048 * kMiB));
    Write(group + "memory.current", std::to_string(1536 * kMiB));
    EXPECT_EQ(1, Jobs());
    Write(group + "memory.stat",
          "anon 5\nactive_file 99999999999\ninactive_file " + std::to_string(512 * kMiB) + "\n");
    EXPECT_EQ(AtMost(2), Jobs());
    Write(group + "memory.current", std::to_string(4096 * kMiB));
    EXPECT_EQ(1, Jobs());
}

TEST_F(AutomaticJobsTest, LessOfMachineAndGroupCounts)
{
    SetGroup("/job");
    Write("/sys/fs/cgroup/job/memory.max", std::to_string(9999 * kMiB));
    SetFreeMemory(600 * 1024);
    EXPECT_EQ(1, Jobs());
    Write("/sys/fs/cgroup/job/memory.max", std::to_string(600 * kMiB));
    SetFreeMemory(9999 * 1024);
    EXPECT_EQ(1, Jobs());
    Write("/sys/fs/cgroup/job/memory.max", std::to_string(1024 * kMiB));
    EXPECT_EQ(AtMost(2), Jobs());
}

} // namespace

} // namespace tool
