/*
 * tool_memory_test.cpp - every allocation of a whole run of the tool fails once: it says so, ends with 1, and leaves
 * nothing behind.
 */
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace
{

bool Exists(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

std::string ReadAll(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/* The folder holds these files and no others. */
void ExpectFiles(const std::string& folder, const std::string& names)
{
    EXPECT_EQ(0, std::system(("test \"$(ls '" + folder + "' | tr '\n' ' ')\" = '" + names + "'").c_str())) << names;
}

/* Allocations that the run-time system makes before main and copes with by itself may fail without a word. */
TEST(Tool, EveryFailedAllocationEndsInAMessageOrInTheFullResult)
{
    std::string folder = testing::TempDir() + "quarlo_memory_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder.data()));
    folder += '/';
    const std::string page = folder + "page.bmp";
    const std::string command = " LD_PRELOAD='" FAILING_MALLOC "' FAIL_DONE='" + folder +
                                "done' '" QUARLO_TOOL "' --threshold 60 --rotate 90 --depth 1 -o '" + page +
                                "' '" SCAN "' 2>'" + folder + "stderr'";
    std::string whole;
    int failures = 0;
    int n = 1;
    for (; n < 5000; ++n) {
        const int status = std::system(("FAIL_AT=" + std::to_string(n) + command).c_str());
        ASSERT_TRUE(WIFEXITED(status)) << "allocation " << n;
        const std::string said = ReadAll(folder + "stderr");
        if (Exists(folder + "done")) break;
        if (WEXITSTATUS(status) == 0) {
            if (whole.empty()) whole = ReadAll(page);
            EXPECT_TRUE(whole == ReadAll(page)) << "allocation " << n;
            unlink(page.c_str());
        } else {
            ++failures;
            EXPECT_EQ(1, WEXITSTATUS(status)) << "allocation " << n << ": " << said;
            EXPECT_NE("", said) << "allocation " << n;
        }
        ExpectFiles(folder, "stderr ");
    }
    EXPECT_GT(failures, 20);
    EXPECT_TRUE(Exists(page));
    EXPECT_TRUE(whole.empty() || whole == ReadAll(page));
    ExpectFiles(folder, "done page.bmp stderr ");
    EXPECT_EQ(0, std::system(("rm -r '" + folder + "'").c_str()));
}

} // namespace
