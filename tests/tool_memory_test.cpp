/*
 * tool_memory_test.cpp - allocations of whole runs of the tool fail, one a run: it says so, ends with 1 and leaves
 * nothing behind, or it does without and gives the full result.
 *
 * Every third allocation of a short run; of the others, which begin alike, less. --stride=1 takes all; of Tiff one then
 * crashes inside libtiff's own reading of a directory, which no caller can prevent.
 */
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "support/ToolTest.h"

using test::Exists;
using test::ReadAll;

namespace
{

constexpr size_t kPngEnd = 8; /* bytes of the chunk that ends a file */

int chosen_stride = 0;

struct MemoryCase {
    const char* name;
    const char* arguments;
    const char* outputs; /* each with a space after it */
    int stride;
};

const MemoryCase kCases[] = {
    {"Bmp", "--apply report -o out.bmp in.bmp", "out.bmp ", 3},
    {"Jpeg", "--apply report -o out.jpg --margin 2mm in.jpg", "out.jpg ", 7},
    {"Pnm", "--apply report -o out.pgm --no-crop in.pgm", "out.pgm ", 7},
    {"Png", "--apply report -o out.png --depth 24 --rotate 90 in.png", "out.png ", 7},
    {"Tiff", "--apply report -o out.tif in.tif", "out.tif ", 7},
    {"Document", "-j 2 --apply report2 -o out.tif two.tif", "out.tif ", 61},
    {"Search", "-o out.bmp in.bmp", "out.bmp ", 61},
    {"Report", "--json=out.json --overlay out.svg -n in.bmp", "out.json out.svg ", 61},
    {"Sheet", "-n --overlay out in.bmp", "out/in.svg out/thumbnails/in.png out/index.html ", 61},
    {"Copy", "-a 0.001 --on-fail copy -o out.png in.png", "out.png ", 61},
};

class ToolMemory : public test::ToolTest, public testing::WithParamInterface<MemoryCase>
{
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        const test::Sheet sheet = test::SmallSheet();
        for (const char* name : {"in.bmp", "in.jpg", "in.pgm", "in.png", "in.tif"}) Make(name, sheet);
        MakeDocument("two.tif", {sheet, sheet});
        ASSERT_EQ(0, Run("-n --json=report in.bmp")) << err;
        ASSERT_EQ(0, Run("-n --json=report2 two.tif")) << err;
        inputs_ = Files();
    }

    /* Runs with the n-th allocation failing; false where there are fewer. */
    bool RunFailing(int n)
    {
        const std::string settings = "FAIL_AT=" + std::to_string(n) + " FAIL_MARK='" + Path("mark") + "' ";
        code_ = Run("--version >/dev/null; " + settings + "LD_PRELOAD='" FAILING_MALLOC "' '" QUARLO_TOOL "' " +
                    GetParam().arguments);
        return std::filesystem::remove(Path("mark"));
    }

    /* The outputs' bytes, which are then removed. Times differ from run to run, so those of reports are left out. */
    std::string TakeOutputs()
    {
        std::string all;
        const std::string names = GetParam().outputs;
        for (size_t begin = 0; begin < names.size();) {
            const size_t end = names.find(' ', begin);
            const std::string name = Path(names.substr(begin, end - begin));
            EXPECT_TRUE(Exists(name)) << name;
            const std::string content = ReadAll(name);
            /* Where memory is short, small drawings are made in another way, which changes some pixels. */
            if (name.find("/thumbnails/") != std::string::npos)
                all += content.substr(content.size() - std::min(content.size(), kPngEnd));
            else if (name.substr(name.size() - 5) != ".json")
                all += content;
            std::filesystem::remove(name);
            begin = end + 1;
        }
        std::filesystem::remove_all(Path("out"));
        return all;
    }

    /* Files may have been finished before, and a report tells of the failure; all are whole. */
    void TakeRest(int n, const std::string& whole)
    {
        const std::string report = ReadAll(Path("out.json")), drawing = ReadAll(Path("out.svg"));
        EXPECT_TRUE(report.empty() || report.find("\"exit_code\":1,") != std::string::npos) << n;
        EXPECT_TRUE(drawing.empty() || drawing.find("</svg>") != std::string::npos) << n;
        for (const char* name : {"out.json", "out.svg", "out"}) std::filesystem::remove_all(Path(name));
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            if (entry.path().stem() == "out") {
                EXPECT_TRUE(ReadAll(entry.path()) == whole) << n;
                std::filesystem::remove(entry.path());
            }
    }

    std::string inputs_;
    int code_ = 0;
};

/* Allocations that the run-time system makes before main and copes with by itself may fail without a word. */
TEST_P(ToolMemory, FailedAllocationEndsInAMessageOrInTheFullResult)
{
    const int whole_code = Run(GetParam().arguments);
    ASSERT_NE(1, whole_code) << err;
    const std::string whole = TakeOutputs();
    int failures = 0;
    int n = 1;
    for (; n < 100000 && RunFailing(n); n += chosen_stride > 0 ? chosen_stride : GetParam().stride) {
        if (code_ == whole_code) {
            EXPECT_TRUE(whole == TakeOutputs()) << "allocation " << n;
        } else {
            ++failures;
            EXPECT_EQ(1, code_) << "allocation " << n << ": " << err;
            EXPECT_NE("", err) << "allocation " << n;
            TakeRest(n, whole);
        }
        ASSERT_EQ(inputs_, Files()) << "allocation " << n;
    }
    EXPECT_GT(failures, 20);
    EXPECT_EQ(whole_code, code_);
    EXPECT_TRUE(whole == TakeOutputs());
}

INSTANTIATE_TEST_SUITE_P(Runs, ToolMemory, testing::ValuesIn(kCases),
                         [](const auto& run) { return run.param.name; });

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--stride=", 9) == 0) chosen_stride = std::atoi(argv[i] + 9);
    return RUN_ALL_TESTS();
}
