/*
 * tool_signals_test.cpp - the tool is ended at any moment, its disk is full, its reader goes away: no file is harmed,
 * none is left half made.
 */
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "support/ToolTest.h"

using nlohmann::json;
using quarlo::Page;
using test::Exists;
using test::ReadAll;
using test::Sheet;
using test::WriteAll;

namespace
{

class ToolSignals : public test::ToolTest
{
protected:
    static Sheet Turned()
    {
        Sheet sheet;
        sheet.angle_deg = 2.0;
        return sheet;
    }
    /* Many inputs that are all the same file; the results go to a folder. */
    std::vector<std::string> ManyInputs(int count)
    {
        Make("s0.png", Turned());
        std::vector<std::string> arguments = {"-O", "out", "--json=report"};
        for (int i = 0; i < count; ++i) {
            const std::string name = "s" + std::to_string(i) + ".png";
            if (i > 0 && symlink("s0.png", Path(name).c_str()) != 0) ADD_FAILURE() << name;
            arguments.push_back(name);
        }
        return arguments;
    }
};

TEST_F(ToolSignals, InPlaceIsSafeUnderSigkillAtAnyMoment)
{
    Make("scan.png", Turned());
    const std::string original = ReadAll(Path("scan.png"));
    ASSERT_EQ(0, Run("scan.png")) << err;
    const std::string result = ReadAll(Path("scan_q.png"));
    ASSERT_NE(original, result);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(0, Run("-o timed.png scan.png"));
    const auto whole = std::chrono::steady_clock::now() - start;
    constexpr int kMoments = 60;
    int killed = 0;
    for (int i = 0; i < kMoments; ++i) {
        WriteAll(Path("scan.png"), original);
        const pid_t child = Start({"--in-place", "scan.png"});
        std::this_thread::sleep_for(whole * i / kMoments);
        kill(child, SIGKILL);
        killed += Wait(child) == -SIGKILL ? 1 : 0;
        const std::string now = ReadAll(Path("scan.png"));
        ASSERT_TRUE(now == original || now == result) << "moment " << i;
    }
    EXPECT_GT(killed, 0);
}

TEST_F(ToolSignals, SignalsEndTheRunWithTheirNumberAndAClosedReport)
{
    const std::vector<std::string> arguments = ManyInputs(200);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const pid_t child = Start(arguments);
        WaitFor("out/s0_q.png");
        kill(child, number);
        EXPECT_EQ(128 + number, Wait(child));
        std::istringstream report(ReadAll(Path("report")));
        std::string line, page;
        json last;
        for (int done = 0; std::getline(report, line); last = json::parse(line)) {
            const json told = json::parse(line);
            if (told.value("status", "") != "ok") continue;
            const std::string name = Path(told["out"]), content = ReadAll(name);
            if (done++ == 0) page = content;
            EXPECT_TRUE(page == content && !page.empty()) << name;
            unlink(name.c_str());
        }
        const json summary = last["summary"];
        EXPECT_EQ(true, summary["interrupted"]);
        EXPECT_EQ(128 + number, summary["exit_code"]);
        EXPECT_GT(summary["ok"], 0);
        EXPECT_LT(summary["ok"], 200);
        EXPECT_EQ("", Files("out"));
        unlink(Path("report").c_str());
    }
}

TEST_F(ToolSignals, SignalWhileWaitingForInputEndsTheRun)
{
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    const pid_t child = Start({"--json=report", "-o", "page.png", "-"}, ends[0]);
    /* Once it reads, the pipe is empty again. */
    ASSERT_EQ(1, write(ends[1], "x", 1));
    for (int waiting = 1; waiting != 0;) {
        ASSERT_EQ(0, ioctl(ends[0], FIONREAD, &waiting));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(child, SIGINT);
    EXPECT_EQ(130, Wait(child));
    EXPECT_EQ("report ", Files());
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ToolSignals, IgnoredHangUpStaysIgnored)
{
    Make("scan.png");
    EXPECT_EQ(
        0,
        Run("--version >/dev/null; trap '' HUP; sh -c 'kill -HUP $$; exec \"$0\" -q scan.png' '" QUARLO_TOOL "'"))
        << err;
}

TEST_F(ToolSignals, ReaderThatGoesAwayEndsTheRunQuietlyWith141)
{
    Make("scan.png", Turned());
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    close(ends[0]);
    EXPECT_EQ(141, Wait(Start({"-o", "-", "scan.png"}, -1, ends[1])));
    EXPECT_EQ(141, Wait(Start({"--angle", "scan.png"}, -1, ends[1])));
    EXPECT_EQ(141, Wait(Start({"-n", "--json", "scan.png"}, -1, ends[1])));
    close(ends[1]);
    EXPECT_EQ(0, Run("--angle scan.png | true; true"));
    EXPECT_EQ("", err);
    EXPECT_EQ("scan.png ", Files());
}

TEST_F(ToolSignals, FullDiskGivesExit1AndNoPartialFile)
{
    Make("scan.bmp", Turned());
    WriteAll(Path("page.bmp"), "precious");
    /* No file may grow beyond 64 blocks of 512 bytes. */
    const std::string limited = "--version >/dev/null; ulimit -f 64; '" QUARLO_TOOL "' ";
    EXPECT_EQ(1, Run(limited + "scan.bmp"));
    EXPECT_NE(std::string::npos, err.find("(code 30)")) << err;
    EXPECT_EQ(1, Run(limited + "--overwrite -o page.bmp scan.bmp"));
    EXPECT_EQ(1, Run(limited + "--in-place scan.bmp"));
    EXPECT_EQ("precious", ReadAll(Path("page.bmp")));
    EXPECT_EQ("page.bmp scan.bmp ", Files());
    EXPECT_EQ(0, Run("scan.bmp")) << err;
}

TEST_F(ToolSignals, StreamsThatAreClosedAreNoFiles)
{
    Make("scan.png", Turned());
    EXPECT_EQ(0, Run("-v scan.png <&- >&- 2>&-"));
    ASSERT_EQ(0, Run("-o page.png scan.png")) << err;
    EXPECT_TRUE(ReadAll(Path("page.png")) == ReadAll(Path("scan_q.png")));
}

} // namespace
