/*
 * tool_reportfile_test.cpp - a report in the making, in one call or in several.
 */
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ReportFile.h"

using namespace quarlo;

namespace tool
{

namespace
{

class ReportFileTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "quarlo_report_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        folder_ = pattern;
        name_ = folder_ + "/report";
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    static PageReport Page(const std::string& file, int number = 1, Status status = Status::ok)
    {
        PageReport page;
        page.file = file;
        page.page = number;
        page.status = status;
        if (status == Status::ok)
            page.out = file + ".out";
        else
            page.problem = {Code::damaged, "read", "cut short"};
        return page;
    }
    static std::string LineOf(const std::string& file, int number = 1, Status status = Status::ok)
    {
        return ReportLine(Page(file, number, status)) + "\n";
    }
    static std::string Last(int pages)
    {
        Summary summary;
        summary.pages = pages;
        return SummaryLine(summary) + "\n";
    }
    static Summary Pages(int pages)
    {
        Summary summary;
        summary.pages = pages;
        return summary;
    }
    void Write(const std::string& text) const { std::ofstream(name_, std::ios::binary) << text; }
    std::string Content() const
    {
        std::ifstream file(name_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string folder_, name_;
};

TEST_F(ReportFileTest, LinesOfOneCallAppearTogether)
{
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::refuse));
    ASSERT_FALSE(report.Add(Page("a")));
    ASSERT_FALSE(report.Announce(LineOf("never")));
    EXPECT_FALSE(std::filesystem::exists(name_));
    ASSERT_FALSE(report.Close(Pages(1)));
    EXPECT_EQ(LineOf("a") + Last(1), Content());
}

TEST_F(ReportFileTest, NoNameMeansNoReport)
{
    ReportFile report;
    EXPECT_FALSE(report.Open("", Existing::skip));
    EXPECT_FALSE(report.is_open());
}

TEST_F(ReportFileTest, LineIsInTheFileAsSoonAsItIsAdded)
{
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    EXPECT_EQ("", Content());
    ASSERT_FALSE(report.Add(Page("a")));
    EXPECT_EQ(LineOf("a"), Content());
    ASSERT_FALSE(report.Add(Page("b", 2, Status::error)));
    EXPECT_EQ(LineOf("a") + LineOf("b", 2, Status::error), Content());
    ASSERT_FALSE(report.Close(Pages(2)));
    EXPECT_EQ(LineOf("a") + LineOf("b", 2, Status::error) + Last(2), Content());
}

TEST_F(ReportFileTest, AnnouncedLinesAreInTheFileAtOnceAndToldInTheirTurn)
{
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_FALSE(report.Announce(LineOf("c") + LineOf("c", 2)));
    ASSERT_FALSE(report.Announce(LineOf("a")));
    EXPECT_EQ(LineOf("c") + LineOf("c", 2) + LineOf("a"), Content());
    ASSERT_FALSE(report.Add(Page("a")));
    ASSERT_FALSE(report.Add(Page("b", 1, Status::error)));
    ASSERT_FALSE(report.Add(Page("c")));
    ASSERT_FALSE(report.Add(Page("c", 2)));
    ASSERT_FALSE(report.Close(Pages(4)));
    EXPECT_EQ(LineOf("a") + LineOf("b", 1, Status::error) + LineOf("c") + LineOf("c", 2) + Last(4), Content());
}

TEST_F(ReportFileTest, PageThatFailedAfterItWasAnnouncedIsToldAsFailed)
{
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_FALSE(report.Announce(LineOf("a")));
    ASSERT_FALSE(report.Add(Page("a", 1, Status::error)));
    ASSERT_FALSE(report.Close(Pages(1)));
    EXPECT_EQ(LineOf("a", 1, Status::error) + Last(1), Content());
}

TEST_F(ReportFileTest, LineThatWasAnnouncedBeforeTheCallWasKilledIsKept)
{
    {
        ReportFile report;
        ASSERT_FALSE(report.Open(name_, Existing::skip));
        ASSERT_FALSE(report.Announce(LineOf("b")));
    }
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_FALSE(report.Add(Page("a")));
    ASSERT_TRUE(report.Keep("b", 1));
    ASSERT_FALSE(report.Close(Pages(2)));
    EXPECT_EQ(LineOf("a") + LineOf("b") + Last(2), Content());
}

TEST_F(ReportFileTest, LinesOfEarlierCallsAreKeptInTheOrderOfTheInputs)
{
    Write(LineOf("c") + LineOf("a") + Last(2));
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_TRUE(report.Keep("a", 1));
    EXPECT_FALSE(report.Keep("a", 2));
    EXPECT_FALSE(report.Keep("b", 1));
    ASSERT_FALSE(report.Add(Page("b")));
    ASSERT_TRUE(report.Keep("c", 1));
    ASSERT_FALSE(report.Close(Pages(3)));
    EXPECT_EQ(LineOf("a") + LineOf("b") + LineOf("c") + Last(3), Content());
}

TEST_F(ReportFileTest, KeptLineAnswersAllThatItTells)
{
    Frame frame;
    frame.found = true;
    frame.ground = Ground::dark;
    frame.score = 0.1234567890123456;
    frame.angle_deg = -1.0000000000000002;
    PageReport page = Page("a", 3, Status::copied);
    page.problem = {Code::angle_limit, "limits", "turned by 7 degrees"};
    page.frame = &frame;
    Write(ReportLine(page) + "\n");
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    const std::optional<ToldPage> told = report.Keep("a", 3);
    ASSERT_TRUE(told);
    EXPECT_EQ(Status::copied, told->status);
    EXPECT_EQ(Code::angle_limit, told->problem.code);
    EXPECT_EQ("turned by 7 degrees", told->problem.reason);
    EXPECT_EQ(frame.score, told->score);
    EXPECT_EQ(frame.angle_deg, told->angle_deg);
}

TEST_F(ReportFileTest, NewLineTakesThePlaceOfAnOldOne)
{
    Write(LineOf("a", 1, Status::error) + LineOf("b") + Last(2));
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_FALSE(report.Add(Page("a")));
    ASSERT_TRUE(report.Keep("b", 1));
    ASSERT_FALSE(report.Close(Pages(2)));
    EXPECT_EQ(LineOf("a") + LineOf("b") + Last(2), Content());
}

TEST_F(ReportFileTest, OfTwoOldLinesTheLaterOneHolds)
{
    Write(LineOf("a", 1, Status::error) + Last(1) + LineOf("b") + LineOf("a"));
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    const std::optional<ToldPage> told = report.Keep("a", 1);
    ASSERT_TRUE(told);
    EXPECT_EQ(Status::ok, told->status);
    ASSERT_TRUE(report.Keep("b", 1));
    ASSERT_FALSE(report.Close(Pages(2)));
    EXPECT_EQ(LineOf("a") + LineOf("b") + Last(2), Content());
}

TEST_F(ReportFileTest, LinesOfOtherFilesComeFirstInTheirOldOrder)
{
    Write(LineOf("z") + LineOf("a") + LineOf("m", 2) + Last(3));
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_TRUE(report.Keep("a", 1));
    ASSERT_FALSE(report.Close(Pages(1)));
    EXPECT_EQ(LineOf("z") + LineOf("m", 2) + LineOf("a") + Last(1), Content());
}

TEST_F(ReportFileTest, TornLastLineIsCutOff)
{
    for (const std::string& whole : {std::string(), LineOf("a")}) {
        const std::string torn = LineOf("b");
        for (const size_t size : {size_t{1}, size_t{4}, size_t{9}, torn.size() - 1}) {
            Write(whole + torn.substr(0, size));
            ReportFile report;
            ASSERT_FALSE(report.Open(name_, Existing::skip)) << size;
            EXPECT_EQ(whole, Content());
            EXPECT_FALSE(report.Keep("b", 1));
            ASSERT_FALSE(report.Add(Page("b")));
            EXPECT_EQ(whole + LineOf("b"), Content());
        }
    }
}

TEST_F(ReportFileTest, EmptyLinesAreNoReasonToRefuse)
{
    Write("\n" + LineOf("a") + "\n");
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    ASSERT_TRUE(report.Keep("a", 1));
    ASSERT_FALSE(report.Close(Pages(1)));
    EXPECT_EQ(LineOf("a") + Last(1), Content());
}

TEST_F(ReportFileTest, FileThatIsNoReportIsRefusedAndLeftAsItIs)
{
    for (const std::string& other :
         {std::string("precious"), std::string("precious\n"), LineOf("a") + "precious\n", std::string("{\"w\""),
          std::string("{\"v\":2,\"frame\":null}\n"), std::string("\x89PNG\r\n\x1a\n\0\0", 10)}) {
        Write(other);
        ReportFile report;
        const Problem problem = report.Open(name_, Existing::skip);
        EXPECT_EQ(Code::bad_report, problem.code) << other;
        EXPECT_FALSE(report.is_open());
        EXPECT_EQ(other, Content());
    }
}

TEST_F(ReportFileTest, OnlyOneCallAtATimeWritesIt)
{
    Write(LineOf("a"));
    ReportFile first, second;
    ASSERT_FALSE(first.Open(name_, Existing::skip));
    const Problem problem = second.Open(name_, Existing::skip);
    EXPECT_EQ(Code::cannot_write, problem.code);
    EXPECT_EQ("another call is writing it", problem.reason);
    EXPECT_EQ(LineOf("a"), Content());
}

TEST_F(ReportFileTest, FolderAndFileThatCannotBeWrittenAreRefused)
{
    ReportFile folder, missing;
    EXPECT_EQ(Code::cannot_write, folder.Open(folder_, Existing::skip).code);
    EXPECT_EQ(Code::cannot_write, missing.Open(folder_ + "/not/there", Existing::skip).code);
}

TEST_F(ReportFileTest, NamesThatAreNoUtf8AreKnownAgain)
{
    Write(LineOf("bad\xff") + Last(1));
    ReportFile report;
    ASSERT_FALSE(report.Open(name_, Existing::skip));
    EXPECT_TRUE(report.Keep("bad\xff", 1));
}

} // namespace

} // namespace tool
