/*
 * Made folders of scans: the same each time, and their table tells where the pages are.
 */
#include "ScanFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "Quality.h"

using namespace quarlo;
using study::FolderPlan;

namespace
{

/* A line of the table; numbers are 0 where it tells none. */
struct Line {
    std::string file, kind;
    int page = 0;
    study::Corners corners{};
    double angle = 0.0;
    int width = 0, height = 0;
};

/* Each test has a folder of its own, since they run at the same time. */
class ScanFolder : public testing::Test
{
protected:
    ScanFolder()
        : folder_(std::filesystem::path(testing::TempDir()) /
                  (std::string("scans-") + testing::UnitTest::GetInstance()->current_test_info()->name()))
    {
        std::filesystem::remove_all(folder_);
    }
    ~ScanFolder() override { std::filesystem::remove_all(folder_); }

    std::string Make(const std::string& name, const std::string& format, int count, std::uint64_t seed)
    {
        FolderPlan plan;
        plan.folder = (folder_ / name).string();
        plan.format = format;
        plan.count = count;
        plan.dpi = 75;
        plan.seed = seed;
        EXPECT_FALSE(study::WriteScanFolder(plan));
        return plan.folder;
    }

private:
    std::filesystem::path folder_;
};

/* Names below the folder, and contents. */
std::map<std::string, std::string> FilesIn(const std::string& folder)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream stream(entry.path(), std::ios::binary);
        files[std::filesystem::relative(entry.path(), folder).string()] =
            std::string(std::istreambuf_iterator<char>(stream), {});
    }
    return files;
}

std::vector<Line> TableOf(const std::string& folder)
{
    std::vector<Line> lines;
    std::ifstream stream(folder + "/truth.tsv");
    std::string text;
    std::getline(stream, text);
    while (std::getline(stream, text)) {
        std::istringstream fields(text);
        Line line;
        fields >> line.file >> line.page >> line.kind;
        for (Point& corner : line.corners) fields >> corner.x >> corner.y;
        fields >> line.angle >> line.width >> line.height;
        lines.push_back(line);
    }
    return lines;
}

Problem ReadPage(const std::string& folder, const Line& line, Page* page)
{
    std::unique_ptr<Input> input;
    const Problem problem = Input::OpenFile(folder + '/' + line.file, &input);
    return problem ? problem : input->Read(line.page - 1, {}, page);
}

} // namespace

TEST_F(ScanFolder, SamePlanWritesTheSameBytes)
{
    const auto first = FilesIn(Make("first", "mixed", 20, 7));
    EXPECT_EQ(first, FilesIn(Make("again", "mixed", 20, 7)));
    EXPECT_EQ(first.count("truth.tsv"), 1u);
}

TEST_F(ScanFolder, AnotherSeedWritesOtherScans)
{
    const auto first = FilesIn(Make("first", "tiff", 2, 7)), other = FilesIn(Make("other", "tiff", 2, 8));
    ASSERT_EQ(first.size(), 3u);
    for (const auto& [name, bytes] : first) EXPECT_NE(bytes, other.at(name)) << name;
}

TEST_F(ScanFolder, TableTellsWherePagesLie)
{
    const std::string folder = Make("all", "mixed", 60, 3);
    int pages = 0;
    for (const Line& line : TableOf(folder)) {
        if (line.kind != "page") continue;
        SCOPED_TRACE(line.file + ", page " + std::to_string(line.page));
        Page page;
        ASSERT_FALSE(ReadPage(folder, line, &page));
        EXPECT_EQ(page.bitmap.width(), line.width);
        EXPECT_EQ(page.bitmap.height(), line.height);
        if (page.meta.format != Format::pnm) {
            EXPECT_NEAR(page.meta.resolution.dpi_x(), 75.0, 0.02);
        }
        const Frame frame = FindFrame(page.bitmap, {});
        ASSERT_FALSE(frame.problem);
        const study::Quality quality =
            study::Judge(line.corners, line.angle, frame.corners, frame.angle_deg, line.width, line.height);
        EXPECT_LT(quality.skew_error, 0.15);
        EXPECT_GT(quality.overlap, 0.99);
        ++pages;
    }
    EXPECT_EQ(pages, 57);
}

TEST_F(ScanFolder, MixedHoldsDocumentsAndWhatIsBad)
{
    const std::string folder = Make("all", "mixed", 60, 3);
    std::map<std::string, Code> codes;
    size_t in_documents = 0;
    for (const Line& line : TableOf(folder)) {
        if (line.page > 1) ++in_documents;
        if (line.kind == "page") continue;
        Page page;
        const Problem problem = ReadPage(folder, line, &page);
        codes[line.kind] = problem ? problem.code : FindFrame(page.bitmap, {}).problem.code;
    }
    EXPECT_EQ(in_documents, 13u);
    const std::map<std::string, Code> expected = {
        {"empty", Code::not_trusted}, {"no_picture", Code::unknown_format}, {"truncated", Code::damaged}};
    EXPECT_EQ(codes, expected);
}

TEST_F(ScanFolder, FormatSaysHowPagesAreStored)
{
    const std::pair<const char*, Format> formats[] = {
        {"jpeg", Format::jpeg}, {"png", Format::png}, {"tiff", Format::tiff}, {"bmp", Format::bmp}};
    const int depths[] = {24, 8, 1, 24};
    for (size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(formats[k].first);
        const std::string folder = Make(formats[k].first, formats[k].first, 2, 1);
        const std::vector<Line> lines = TableOf(folder);
        ASSERT_EQ(lines.size(), 2u);
        Page page;
        ASSERT_FALSE(ReadPage(folder, lines[1], &page));
        EXPECT_EQ(page.meta.format, formats[k].second);
        EXPECT_EQ(page.bitmap.depth(), depths[k]);
    }
}

TEST_F(ScanFolder, UnknownFormatIsRefused)
{
    FolderPlan plan;
    plan.folder = testing::TempDir() + "/never-made";
    plan.format = "gif";
    plan.count = 1;
    EXPECT_EQ(study::WriteScanFolder(plan).code, Code::bad_argument);
    EXPECT_FALSE(std::filesystem::exists(plan.folder));
}
