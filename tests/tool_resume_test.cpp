/*
 * tool_resume_test.cpp - a call that is interrupted and given again ends as if it had never been.
 */
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "support/ToolTest.h"

using nlohmann::json;
using test::Exists;
using test::ReadAll;
using test::SmallSheet;
using test::WriteAll;

namespace
{

class ToolResume : public test::ToolTest
{
protected:
    using List = std::vector<std::string>;

    static void SetUpTestSuite() { ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1)); }
    static void TearDownTestSuite() { ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 0)); }

    /* Ten inputs, among them documents, a page that is copied, one that is turned too far, one that cannot be read. */
    List MakeInputs()
    {
        std::filesystem::create_directories(Path("in"));
        List names;
        for (int i = 0; i < 10; ++i) {
            std::string name = "in/" + std::to_string(i) + (i == 2 || i == 8 ? ".tif" : ".png");
            if (i == 2 || i == 8)
                MakeDocument(name, {SmallSheet(i), SmallSheet(1), SmallSheet(2)});
            else if (i == 3)
                MakeBlank(name);
            else if (i == 6)
                WriteAll(Path(name), "no picture");
            else
                Make(name, SmallSheet(i == 1 ? 9.0 : 0.7 * i));
            names.push_back(name);
        }
        return names;
    }

    static List Call(const List& inputs)
    {
        List arguments = {"-j",  "3",         "-O",   "out",           "--skip-existing", "-a",
                          "8.5", "--on-fail", "copy", "--json=report", "--overlay",       "check"};
        arguments.insert(arguments.end(), inputs.begin(), inputs.end());
        return arguments;
    }

    /* Puts a pipe, which is waited for, in the place of an input. */
    void Block(const std::string& name) const
    {
        std::filesystem::rename(Path(name), Path("aside"));
        ASSERT_EQ(0, mkfifo(Path(name).c_str(), 0600));
    }
    void Unblock(const std::string& name) const { std::filesystem::rename(Path("aside"), Path(name)); }

    static void KillAll(pid_t tool)
    {
        kill(-tool, SIGKILL);
        while (waitpid(-tool, nullptr, 0) > 0 || errno != ECHILD) {
        }
    }

    List Results() const
    {
        List names;
        for (const auto& [name, content] : Tree("out")) names.push_back(name);
        return names;
    }
};

TEST_F(ToolResume, InterruptedAndKilledCallsEndAsOneThatWasNeither)
{
    const List names = MakeInputs();
    ASSERT_EQ(1, Wait(Start(Call(names))));
    const auto results = Tree("out"), drawings = Tree("check");
    const std::string report = Report("report");
    ASSERT_EQ(9u, results.size());
    Remove({"out", "check", "report"});

    Block(names[4]);
    pid_t tool = Start(Call(names));
    for (const char* result : {"out/0_q.png", "out/1_q.png", "out/2_q.tif", "out/3_q.png"}) WaitFor(result);
    kill(-tool, SIGINT);
    EXPECT_EQ(130, Wait(tool));
    Unblock(names[4]);
    EXPECT_EQ((List{"0_q.png", "1_q.png", "2_q.tif", "3_q.png"}), Results());

    Block(names[9]);
    tool = Start(Call(names));
    for (const char* result : {"out/4_q.png", "out/5_q.png", "out/7_q.png", "out/8_q.tif"}) WaitFor(result);
    KillAll(tool);
    Unblock(names[9]);
    EXPECT_FALSE(Exists(Path("out/9_q.png")));

    EXPECT_EQ(1, Wait(Start(Call(names))));
    EXPECT_TRUE(results == Tree("out"));
    EXPECT_EQ(report, Report("report"));
    EXPECT_TRUE(drawings == Tree("check"));

    EXPECT_EQ(1, Wait(Start(Call(names))));
    EXPECT_EQ(report, Report("report"));
    EXPECT_TRUE(drawings == Tree("check"));
}

TEST_F(ToolResume, ReportTellsOfEveryResultWheneverTheCallIsKilled)
{
    const List names = MakeInputs();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(1, Wait(Start(Call(names))));
    const auto whole = std::chrono::steady_clock::now() - start;
    const auto results = Tree("out");
    const std::string report = Report("report");
    Remove({"out", "check", "report"});
    constexpr int kMoments = 12;
    size_t seen = 0;
    for (int i = 1; i < kMoments; ++i) {
        const pid_t tool = Start(Call(names));
        std::this_thread::sleep_for(whole * i / kMoments);
        KillAll(tool);
        const std::string told = ReadAll(Path("report"));
        for (const std::string& name : Results())
            EXPECT_NE(std::string::npos, told.find("\"out\":\"out/" + name + "\"")) << name << " at moment " << i;
        seen += Results().size();
        if (i % 4 == 3) {
            EXPECT_EQ(1, Wait(Start(Call(names))));
            EXPECT_EQ(report, Report("report")) << i;
            EXPECT_TRUE(results == Tree("out")) << i;
            Remove({"out", "check", "report"});
        }
    }
    EXPECT_GT(seen, 0u);
}

TEST_F(ToolResume, SheetShowsAppliedFramesOfEarlierCallsAsItsOwn)
{
    Make("a.png", SmallSheet(2));
    MakeBlank("b.png");
    Make("c.png", SmallSheet(3));
    ASSERT_EQ(3, Run("-n --json=found a.png b.png c.png"));
    const std::string call = "-O out --skip-existing --on-fail copy --apply found --json=report --overlay check ";
    ASSERT_EQ(3, Run(call + "a.png b.png c.png")) << err;
    const std::string sheet = ReadAll(Path("check/index.html"));
    EXPECT_EQ(3, Run(call + "a.png b.png c.png")) << err;
    EXPECT_EQ(sheet, ReadAll(Path("check/index.html")));
}

TEST_F(ToolResume, SheetWithoutAReportTellsNoScoreOfWhatWasLeft)
{
    Make("a.png", SmallSheet(2));
    const std::string call = "-O out --skip-existing --overlay check a.png";
    ASSERT_EQ(0, Run(call)) << err;
    EXPECT_NE(std::string::npos, ReadAll(Path("check/index.html")).find("<span>score "));
    EXPECT_EQ(0, Run(call)) << err;
    const std::string sheet = ReadAll(Path("check/index.html"));
    EXPECT_NE(std::string::npos, sheet.find("left from an earlier run"));
    EXPECT_EQ(std::string::npos, sheet.find("<span>score "));
}

TEST_F(ToolResume, ResultIsToldBeforeItsInputsTurnComes)
{
    /* The first input has its names, but its pages take long: those behind it are done before it is told of. */
    const quarlo::Page page = test::PageOf({});
    test::Save(std::vector<const quarlo::Page*>(40, &page), Path("slow.tif"));
    Make("a.tif", SmallSheet());
    const pid_t tool = Start({"-j", "2", "-O", "out", "--skip-existing", "--json=report", "slow.tif", "a.tif"});
    WaitFor("out/a_q.tif");
    KillAll(tool);
    EXPECT_NE(std::string::npos,
              ReadAll(Path("report")).find("{\"v\":1,\"file\":\"a.tif\",\"page\":1,\"status\":\"ok\""));
}

TEST_F(ToolResume, PageThatFailedAndWorksNowIsToldOnce)
{
    Make("a.png", SmallSheet());
    Make("b.png", SmallSheet());
    const std::string good = ReadAll(Path("a.png"));
    WriteAll(Path("a.png"), "no picture");
    EXPECT_EQ(1, Run("-O out --skip-existing --json=report a.png b.png"));
    WriteAll(Path("a.png"), good);
    EXPECT_EQ(0, Run("-O out --skip-existing --json=report a.png b.png")) << err;
    const std::string resumed = Report("report");
    Remove({"out", "report"});
    EXPECT_EQ(0, Run("-O out --skip-existing --json=report a.png b.png")) << err;
    EXPECT_EQ(Report("report"), resumed);
}

TEST_F(ToolResume, LinesOfOtherInputsAreKept)
{
    Make("a.png", SmallSheet());
    Make("b.png", SmallSheet());
    ASSERT_EQ(0, Run("-O out --skip-existing --json=report b.png")) << err;
    const std::string first = Report("report");
    ASSERT_EQ(0, Run("-O out --skip-existing --json=report a.png")) << err;
    const std::string both = Report("report");
    EXPECT_EQ(0u, both.find(first.substr(0, first.find('\n') + 1) + "{\"v\":1,\"file\":\"a.png\","));
    EXPECT_NE(std::string::npos, both.find("\"summary\":{\"files\":1,\"pages\":1,"));
    ASSERT_EQ(0, Run("-O out --skip-existing --json=report a.png b.png")) << err;
    EXPECT_EQ(0u, Report("report").find("{\"v\":1,\"file\":\"a.png\","));
    EXPECT_NE(std::string::npos, Report("report").find("\"summary\":{\"files\":2,\"pages\":2,"));
}

TEST_F(ToolResume, TornLastLineIsMadeAnew)
{
    Make("a.png", SmallSheet());
    Make("b.png", SmallSheet());
    ASSERT_EQ(0, Run("-O out --skip-existing --json=report a.png b.png")) << err;
    const std::string whole = Report("report"), text = ReadAll(Path("report"));
    Remove({"out/b_q.png"});
    WriteAll(Path("report"), text.substr(0, text.find('\n') + 100));
    EXPECT_EQ(0, Run("-O out --skip-existing --json=report a.png b.png")) << err;
    EXPECT_EQ(whole, Report("report"));
}

TEST_F(ToolResume, ReportOfACallThatStillRunsIsNotTouched)
{
    Make("a.png", SmallSheet());
    ASSERT_EQ(0, Run("-O out --skip-existing --json=report a.png")) << err;
    const std::string text = ReadAll(Path("report"));
    const int other = open(Path("report").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, flock(other, LOCK_EX));
    EXPECT_EQ(1, Run("-O out --skip-existing --json=report a.png"));
    EXPECT_EQ("quarlo: report: cannot be written: another call is writing it (code 30)\n", err);
    EXPECT_EQ(text, ReadAll(Path("report")));
    close(other);
    EXPECT_EQ(0, Run("-O out --skip-existing --json=report a.png")) << err;
}

TEST_F(ToolResume, FileThatIsNoReportIsNotGoneOnWith)
{
    Make("a.png", SmallSheet());
    for (const char* other : {"precious", "precious\nlines\n", "{\"v\":7}\n"}) {
        WriteAll(Path("notes"), other);
        EXPECT_EQ(1, Run("-O out --skip-existing --json=notes a.png"));
        EXPECT_EQ("quarlo: notes: it is there and is no report, so that it cannot be gone on with (code 50)\n",
                  err);
        EXPECT_EQ(other, ReadAll(Path("notes")));
        EXPECT_EQ("", Files("out"));
    }
}

TEST_F(ToolResume, ReportThatCannotBeWrittenEndsTheCall)
{
    Make("a.png", SmallSheet());
    std::filesystem::create_directory(Path("folder"));
    EXPECT_EQ(1, Run("-O out --skip-existing --json=folder a.png"));
    EXPECT_EQ(1, Run("-O out --skip-existing --json=not/there a.png"));
    EXPECT_EQ("quarlo: not/there: cannot be written: No such file or directory (code 30)\n", err);
    EXPECT_EQ("", Files("out"));
}

TEST_F(ToolResume, WithoutSkippingAReportIsKeptOrReplacedAsAWhole)
{
    Make("a.png", SmallSheet());
    WriteAll(Path("report"), "precious");
    EXPECT_EQ(1, Run("-n --json=report a.png"));
    EXPECT_EQ("quarlo: report: exists already; --overwrite replaces it, --skip-existing keeps it (code 31)\n", err);
    EXPECT_EQ("precious", ReadAll(Path("report")));
    EXPECT_EQ(0, Run("-n --overwrite --json=report a.png")) << err;
    EXPECT_EQ(0u, ReadAll(Path("report")).find("{\"v\":1,\"file\":\"a.png\""));
}

} // namespace
