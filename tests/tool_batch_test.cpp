/*
 * tool_batch_test.cpp - many inputs at a time: the number of jobs changes nothing, what happens to one input costs no
 * other, and nothing outlives the call.
 */
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <pty.h>
#include <sstream>
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

void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

class ToolBatch : public test::ToolTest
{
protected:
    using List = std::vector<std::string>;

    /* Its second page is empty. */
    void MakeHoley(const std::string& name)
    {
        const quarlo::Page good = test::PageOf(SmallSheet());
        quarlo::Page blank;
        blank.bitmap = test::DrawNothing(300, 300, 8);
        test::Save({&good, &blank, &good}, Path(name));
    }
    void Folder(const std::string& name) const { std::filesystem::create_directories(Path(name)); }

    /* Links to one page, or to a document of three where the number is divisible by four. */
    List ManyInputs(int count)
    {
        Make("page.png", SmallSheet());
        MakeDocument("document.tif", {SmallSheet(1), SmallSheet(2), SmallSheet(3)});
        Folder("in");
        List names;
        for (int i = 0; i < count; ++i) {
            const std::string name = "in/s" + std::to_string(i) + (i % 4 == 0 ? ".tif" : ".png");
            if (symlink(i % 4 == 0 ? "../document.tif" : "../page.png", Path(name).c_str()) != 0)
                ADD_FAILURE() << name;
            names.push_back(name);
        }
        return names;
    }
    static List With(List list, const List& more)
    {
        list.insert(list.end(), more.begin(), more.end());
        return list;
    }

    /* "FILE PAGE STATUS CODE" of each line, then the exit code. */
    List Told(const std::string& name) const
    {
        List told;
        std::istringstream lines(ReadAll(Path(name)));
        for (std::string line; std::getline(lines, line);) {
            const json page = json::parse(line);
            if (page.contains("summary"))
                told.push_back("exit " + page["summary"]["exit_code"].dump());
            else
                told.push_back(page["file"].get<std::string>() + " " + page["page"].dump() + " " +
                               page["status"].get<std::string>() + " " + page["code"].dump());
        }
        return told;
    }

    /* The same call with other numbers of jobs gives the same files, report and messages. */
    void ExpectSameForAnyJobs(const std::string& arguments, const List& outputs)
    {
        int code = -1;
        std::string said, told;
        std::vector<std::map<std::string, std::string>> made;
        for (const int jobs : {1, 2, 5}) {
            Remove(With(outputs, {"report"}));
            const int now = Run("-j " + std::to_string(jobs) + " --json=report " + arguments);
            std::vector<std::map<std::string, std::string>> trees;
            for (const std::string& output : outputs) trees.push_back(Tree(output));
            if (jobs == 1) {
                code = now;
                said = err;
                told = Report("report");
                made = trees;
                continue;
            }
            EXPECT_EQ(code, now) << jobs;
            EXPECT_EQ(said, err) << jobs;
            EXPECT_EQ(told, Report("report")) << jobs;
            for (size_t i = 0; i < outputs.size(); ++i)
                EXPECT_TRUE(made[i] == trees[i]) << outputs[i] << " with " << jobs;
        }
        code_ = code;
    }

    /* A named pipe that its reader waits for: the end to write to. */
    int OpenPipe(const std::string& name) const
    {
        for (;; Pause()) {
            const int pipe = open(Path(name).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (pipe >= 0) return pipe;
        }
    }
    static List ChildrenOf(pid_t process)
    {
        const std::string number = std::to_string(process);
        std::ifstream file("/proc/" + number + "/task/" + number + "/children");
        List children;
        for (std::string child; file >> child;) children.push_back(child);
        return children;
    }
    /* The child that reads the file, once it sleeps. */
    pid_t ReaderOf(const std::string& name, pid_t parent) const
    {
        namespace fs = std::filesystem;
        for (;; Pause()) {
            for (const std::string& child : ChildrenOf(parent)) {
                std::error_code error;
                bool reads = false;
                for (fs::directory_iterator file("/proc/" + child + "/fd", error), end; !error && file != end;
                     file.increment(error)) {
                    std::error_code gone;
                    reads = reads || fs::read_symlink(*file, gone) == fs::canonical(Path(name));
                }
                const std::string status = ReadAll("/proc/" + child + "/stat");
                const size_t state = status.rfind(") ");
                if (reads && state != std::string::npos && status[state + 2] == 'S') return std::stoi(child);
            }
        }
    }
    /* Until no process of the call is left; those without a parent come to us. */
    static void WaitForGroup(pid_t group)
    {
        while (waitpid(-group, nullptr, 0) > 0 || errno != ECHILD) {
        }
        EXPECT_EQ(-1, kill(-group, 0));
        EXPECT_EQ(ESRCH, errno);
    }
    void ExpectNoHiddenFiles(const std::string& subfolder) const
    {
        for (const auto& [name, content] : Tree(subfolder))
            EXPECT_NE('.', std::filesystem::path(name).filename().string()[0]) << name;
    }

    int code_ = -1;
};

/* ---- The number of jobs ---- */

TEST_F(ToolBatch, NumberOfJobsChangesNothing)
{
    int k = 0;
    for (const char* name : {"g.bmp", "g.png", "g.jpg", "g.tif", "g.pgm"}) Make(name, SmallSheet(1.5 * ++k));
    WriteAll(Path("none.png"), "no picture");
    WriteAll(Path("cut.png"), ReadAll(Path("g.png")).substr(0, 300));
    MakeBlank("blank.png");
    MakeDocument("three.tif", {SmallSheet(3), SmallSheet(2), SmallSheet(1)});
    MakeHoley("holey.tif");
    Folder("a");
    Folder("b");
    Make("a/s.png", SmallSheet(2));
    Make("b/s.bmp", SmallSheet(-2));
    ExpectSameForAnyJobs("-v -O out --overlay check three.tif g.bmp cut.png g.png b/s.bmp holey.tif none.png g.jpg "
                         "a/s.png blank.png missing.png g.tif g.pgm 2>&1 >/dev/null | sed 's/, [0-9]* ms//' >&2",
                         {"out", "check"});
    EXPECT_EQ(
        (List{"three.tif 1 ok 0", "three.tif 2 ok 0", "three.tif 3 ok 0", "g.bmp 1 ok 0", "cut.png 1 error 22",
              "g.png 1 ok 0", "b/s.bmp 1 ok 0", "holey.tif 1 refused 9", "holey.tif 2 no_frame 9",
              "holey.tif 3 refused 9", "none.png 1 error 21", "g.jpg 1 ok 0", "a/s.png 1 ok 0",
              "blank.png 1 no_frame 9", "missing.png 1 error 20", "g.tif 1 ok 0", "g.pgm 1 ok 0", "exit 1"}),
        Told("report"));
    EXPECT_EQ("g_q.bmp g_q.jpg g_q.pgm g_q.png g_q.tif s_q.bmp s_q.png three_q.tif ", Files("out"));
    const std::string of_bmp = ReadAll(Path("check/s.svg")), of_png = ReadAll(Path("check/s~2.svg"));
    EXPECT_NE(std::string::npos, of_bmp.find("b/s.bmp"));
    EXPECT_NE(std::string::npos, of_png.find("a/s.png"));
}

TEST_F(ToolBatch, OfResultsThatGetTheSameNameTheFirstInputsIsWritten)
{
    MakeDocument("x.tif", {SmallSheet(1), SmallSheet(2)});
    Make("x-1.bmp", SmallSheet(5));
    ExpectSameForAnyJobs("-O out -f png --name '{stem}.{ext}' x.tif x-1.bmp", {"out"});
    EXPECT_EQ(1, code_);
    EXPECT_EQ((List{"x.tif 1 ok 0", "x.tif 2 ok 0", "x-1.bmp 1 error 31", "exit 1"}), Told("report"));
    EXPECT_EQ("x-1.png x-2.png ", Files("out"));
    ExpectSameForAnyJobs("-O out -f png --name '{stem}.{ext}' x-1.bmp x.tif", {"out"});
    EXPECT_EQ((List{"x-1.bmp 1 ok 0", "x.tif 1 error 31", "x.tif 2 ok 0", "exit 1"}), Told("report"));
}

TEST_F(ToolBatch, CopiesAndFileAPageAreTheSameForAnyJobs)
{
    MakeHoley("holey.tif");
    MakeBlank("blank.png");
    Make("g.png", SmallSheet(4));
    ExpectSameForAnyJobs("-O out --on-fail copy holey.tif blank.png g.png", {"out"});
    EXPECT_EQ(3, code_);
    EXPECT_EQ((List{"holey.tif 1 ok 0", "holey.tif 2 copied 9", "holey.tif 3 ok 0", "blank.png 1 copied 9",
                    "g.png 1 ok 0", "exit 3"}),
              Told("report"));
    ExpectSameForAnyJobs("-O out --name '{stem} {page}.{ext}' holey.tif g.png", {"out"});
    EXPECT_EQ("g 1.png holey 1.tif holey 3.tif ", Files("out"));
}

TEST_F(ToolBatch, WorkEndsWithTheSameInputForAnyJobs)
{
    /* The document fails with its last page, long after those behind it could be done. */
    MakeDocument("slow.tif", {SmallSheet(1), SmallSheet(2), SmallSheet(3), SmallSheet(4)});
    Folder("out");
    std::string inputs = "a/1.png slow.tif";
    Folder("a");
    Make("a/1.png", SmallSheet());
    for (const char* folder_name : {"b", "c", "d"}) {
        Folder(folder_name);
        const std::string name = std::string(folder_name) + "/1.png";
        Make(name, SmallSheet());
        inputs += " " + name;
    }
    WriteAll(Path("precious"), "precious");
    std::map<std::string, std::string> made, drawn;
    std::string told, said;
    for (const int jobs : {1, 4}) {
        Remove({"out", "check", "report"});
        Folder("out");
        ASSERT_EQ(0, symlink("../precious", Path("out/slow_q-4.png").c_str()));
        EXPECT_EQ(1, Run("-j " + std::to_string(jobs) +
                         " --fail-fast --parents -f png -O out --overlay check --json=report " + inputs));
        EXPECT_EQ((List{"a/1.png 1 ok 0", "slow.tif 1 ok 0", "slow.tif 2 ok 0", "slow.tif 3 ok 0",
                        "slow.tif 4 error 31", "exit 1"}),
                  Told("report"));
        if (jobs == 1) {
            made = Tree("out");
            drawn = Tree("check");
            told = Report("report");
            said = err;
            EXPECT_EQ(1u, made.count("a/1_q.png"));
            EXPECT_EQ(0u, made.count("b"));
            EXPECT_EQ(1u, drawn.count("slow-3.svg"));
            EXPECT_EQ(0u, drawn.count("b"));
        }
        EXPECT_TRUE(made == Tree("out"));
        EXPECT_TRUE(drawn == Tree("check"));
        EXPECT_EQ(told, Report("report"));
        EXPECT_EQ(said, err);
    }
}

TEST_F(ToolBatch, PageWithoutFrameThatStopsTheWorkStopsItForAnyJobs)
{
    const quarlo::Page good = test::PageOf(SmallSheet());
    quarlo::Page blank;
    blank.bitmap = test::DrawNothing(300, 300, 8);
    test::Save({&good, &good, &good, &blank}, Path("slow.tif"));
    for (const char* name : {"1.png", "2.png", "3.png", "4.png"}) Make(name, SmallSheet());
    ExpectSameForAnyJobs("--on-fail stop -O out --overlay check 1.png slow.tif 2.png 3.png 4.png",
                         {"out", "check"});
    EXPECT_EQ(3, code_);
    EXPECT_EQ((List{"1.png 1 ok 0", "slow.tif 1 refused 9", "slow.tif 2 refused 9", "slow.tif 3 refused 9",
                    "slow.tif 4 no_frame 9", "exit 3"}),
              Told("report"));
    EXPECT_EQ("1_q.png ", Files("out"));
}

TEST_F(ToolBatch, OneBadInputStopsNoOther)
{
    List names = ManyInputs(12);
    unlink(Path(names[5]).c_str());
    WriteAll(Path(names[5]), "no picture");
    std::string inputs;
    for (const std::string& name : names) inputs += " " + name;
    EXPECT_EQ(1, Run("-j 3 -O out" + inputs));
    EXPECT_EQ("quarlo: in/s5.png: the file is none of BMP, PNG, JPEG, TIFF and PNM (code 21)\n", err);
    EXPECT_EQ(11u, Tree("out").size());
    EXPECT_FALSE(Exists(Path("out/s5_q.png")));
}

TEST_F(ToolBatch, MoreJobsThanInputsHarmNothing)
{
    Make("a.png", SmallSheet());
    MakeDocument("b.tif", std::vector<test::Sheet>(7, SmallSheet()));
    EXPECT_EQ(0, Run("-j 1024 -O out a.png b.tif")) << err;
    EXPECT_EQ(7u, test::Load(Path("out/b_q.tif")).size());
    EXPECT_EQ(2, Run("-j 1025 a.png"));
    EXPECT_EQ(2, Run("-j 0 a.png"));
}

TEST_F(ToolBatch, FewerProcessesThanJobsDoAllTheWork)
{
    std::string inputs;
    for (const std::string& name : ManyInputs(20)) inputs += " " + name;
    EXPECT_EQ(0, Run("--version >/dev/null; ulimit -n 16; '" QUARLO_TOOL "' -j 30 -O out" + inputs)) << err;
    EXPECT_EQ(20u, Tree("out").size());
}

/* ---- Processes that end ---- */

TEST_F(ToolBatch, ProcessThatIsKilledCostsItsInputAndNoOther)
{
    Make("a.png", SmallSheet());
    Make("b.png", SmallSheet());
    ASSERT_EQ(0, mkfifo(Path("pipe.png").c_str(), 0600));
    for (const char* jobs : {"1", "2"}) {
        for (const int number : {SIGKILL, SIGSEGV, SIGTERM}) {
            const pid_t tool = Start({"-j", jobs, "-O", "out", "--json=report", "a.png", "pipe.png", "b.png"});
            const int pipe = OpenPipe("pipe.png");
            const pid_t worker = ReaderOf("pipe.png", tool);
            WaitFor("out/a_q.png");
            kill(worker, number);
            EXPECT_EQ(1, Wait(tool)) << number;
            close(pipe);
            EXPECT_EQ((List{"a.png 1 ok 0", "pipe.png 1 error 61", "b.png 1 ok 0", "exit 1"}), Told("report"))
                << number;
            EXPECT_EQ("a_q.png b_q.png ", Files("out"));
            Remove({"out", "report"});
        }
    }
}

TEST_F(ToolBatch, PipeIsAnInputLikeAnyOther)
{
    Make("a.png", SmallSheet());
    MakeBlank("blank.png");
    ASSERT_EQ(0, mkfifo(Path("p.png").c_str(), 0600));
    ASSERT_EQ(0, Run("-O out a.png")) << err;
    EXPECT_EQ(0, Run("--version >/dev/null; cat a.png >p.png & '" QUARLO_TOOL "' -O out p.png")) << err;
    EXPECT_TRUE(ReadAll(Path("out/a_q.png")) == ReadAll(Path("out/p_q.png")));
    EXPECT_EQ(3, Run("--version >/dev/null; cat blank.png >p.png & '" QUARLO_TOOL
                     "' --overwrite --on-fail copy -O out p.png"))
        << err;
    EXPECT_TRUE(ReadAll(Path("blank.png")) == ReadAll(Path("out/p_q.png")));
}

TEST_F(ToolBatch, InterruptedCallLeavesNoProcessAndWholeFiles)
{
    const List names = ManyInputs(400);
    ASSERT_EQ(0, Run("-O whole " + names[0] + " " + names[1])) << err;
    const std::string document = ReadAll(Path("whole/s0_q.tif")), page = ReadAll(Path("whole/s1_q.png"));
    for (const bool all : {false, true}) {
        const pid_t tool = Start(With({"-j", "3", "-O", "out", "--json=report", "--overlay", "check"}, names));
        WaitFor("out/s1_q.png");
        kill(all ? -tool : tool, SIGINT);
        EXPECT_EQ(130, Wait(tool));
        EXPECT_EQ(-1, kill(-tool, 0));
        EXPECT_EQ(ESRCH, errno);
        const json last = json::parse(Report("report").substr(Report("report").rfind("{\"v\"")) + "}}");
        EXPECT_EQ(true, last["summary"]["interrupted"]);
        EXPECT_EQ(130, last["summary"]["exit_code"]);
        EXPECT_LT(last["summary"]["files"], 400);
        EXPECT_TRUE(Exists(Path("check/index.html")));
        ExpectNoHiddenFiles("");
        const auto results = Tree("out");
        EXPECT_GT(results.size(), 0u);
        for (const auto& [name, content] : results)
            EXPECT_TRUE(content == (name.find(".tif") != std::string::npos ? document : page)) << name;
        Remove({"out", "report", "check"});
    }
}

TEST_F(ToolBatch, InterruptedCallWaitsForNoPipe)
{
    Make("a.png", SmallSheet());
    ASSERT_EQ(0, mkfifo(Path("pipe.png").c_str(), 0600));
    for (const bool opened : {false, true}) {
        const pid_t tool = Start({"-O", "out", "--json=report", "a.png", "pipe.png"});
        int pipe = -1;
        if (opened) {
            pipe = OpenPipe("pipe.png");
            ReaderOf("pipe.png", tool);
        }
        WaitFor("out/a_q.png");
        while (ChildrenOf(tool).empty()) Pause();
        kill(tool, SIGINT);
        EXPECT_EQ(130, Wait(tool));
        if (pipe >= 0) close(pipe);
        const List told = Told("report");
        EXPECT_EQ("a.png 1 ok 0", told.front());
        for (size_t i = 1; i + 1 < told.size(); ++i) EXPECT_EQ("pipe.png 1 error 60", told[i]);
        Remove({"out", "report"});
    }
}

TEST_F(ToolBatch, WorkersEndWhenTheirForemanIsKilled)
{
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    const List names = ManyInputs(400);
    const pid_t tool = Start(With({"-j", "3", "-O", "out", "--json=report"}, names));
    WaitFor("out/s1_q.png");
    kill(tool, SIGKILL);
    EXPECT_EQ(-SIGKILL, Wait(tool));
    WaitForGroup(tool);
    EXPECT_FALSE(Exists(Path("report")));
    EXPECT_LT(Tree("out").size(), 400u);
    ExpectNoHiddenFiles("");
    /* Also one that waits for something else. */
    ASSERT_EQ(0, mkfifo(Path("pipe.png").c_str(), 0600));
    const pid_t other = Start({"-n", "pipe.png"});
    const int pipe = OpenPipe("pipe.png");
    ReaderOf("pipe.png", other);
    kill(other, SIGKILL);
    EXPECT_EQ(-SIGKILL, Wait(other));
    WaitForGroup(other);
    close(pipe);
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 0));
}

TEST_F(ToolBatch, ReaderThatGoesAwayEndsAllProcesses)
{
    const List names = ManyInputs(100);
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    close(ends[0]);
    for (const char* what : {"--angle", "--json"}) {
        const pid_t tool = Start(With({"-j", "3", "-n", what}, names), -1, ends[1]);
        EXPECT_EQ(141, Wait(tool)) << what;
        EXPECT_EQ(-1, kill(-tool, 0));
    }
    EXPECT_EQ(141, Wait(Start({"-j", "3", "-o", "-", "document.tif"}, -1, ends[1])));
    close(ends[1]);
}

/* ---- Other ways to give and take ---- */

TEST_F(ToolBatch, AnglesComeInTheOrderOfTheInputs)
{
    std::string inputs, angles;
    for (int i = 0; i < 12; ++i) {
        const std::string name = "s" + std::to_string(i) + ".png";
        Make(name, SmallSheet(0.5 * i));
        inputs += " " + name;
        ASSERT_EQ(0, Run("--angle " + name)) << err;
        angles += name + "\t" + out;
    }
    EXPECT_EQ(0, Run("-j 3 --angle" + inputs));
    EXPECT_EQ(angles, out);
}

TEST_F(ToolBatch, StandardInputIsOneOfManyInputs)
{
    for (const char* name : {"a.png", "b.png", "c.png"}) Make(name, SmallSheet());
    EXPECT_EQ(0, Run("-j 3 -O out --json=report a.png - b.png <c.png")) << err;
    EXPECT_EQ((List{"a.png 1 ok 0", "- 1 ok 0", "b.png 1 ok 0", "exit 0"}), Told("report"));
    EXPECT_EQ("a_q.png b_q.png stdin_q.png ", Files("out"));
    EXPECT_TRUE(ReadAll(Path("out/stdin_q.png")) == ReadAll(Path("out/a_q.png")));
}

TEST_F(ToolBatch, InPlaceReplacesAllInFolders)
{
    Folder("in/sub");
    std::map<std::string, std::string> expected;
    int k = 0;
    for (const char* name : {"a.png", "a_q.png", "b.bmp", "sub/c.tif", "sub/d.jpg"}) {
        Make("in/" + std::string(name), SmallSheet(++k));
        ASSERT_EQ(0, Run("--overwrite -o one" + std::filesystem::path(name).extension().string() + " in/" + name))
            << err;
        expected[name] = ReadAll(Path("one" + std::filesystem::path(name).extension().string()));
    }
    expected["sub"] = "";
    MakeBlank("in/sub/e.png");
    expected["sub/e.png"] = ReadAll(Path("in/sub/e.png"));
    EXPECT_EQ(3, Run("-j 3 --in-place -r in"));
    EXPECT_TRUE(expected == Tree("in"));
}

TEST_F(ToolBatch, ReportIsAppliedToDocumentsByManyJobs)
{
    MakeDocument("a.tif", {SmallSheet(1), SmallSheet(2), SmallSheet(3)});
    MakeDocument("b.tif", {SmallSheet(-1), SmallSheet(-2)});
    Make("c.png", SmallSheet(5));
    ASSERT_EQ(0, Run("-j 1 -O out --json=found a.tif b.tif c.png")) << err;
    const auto expected = Tree("out");
    for (const char* jobs : {"1", "3"}) {
        Remove({"out"});
        EXPECT_EQ(0, Run("-j " + std::string(jobs) + " -O out --apply found c.png b.tif a.tif")) << err;
        EXPECT_TRUE(expected == Tree("out")) << jobs;
    }
}

/* ---- How far the work is ---- */

/* A terminal that the tool is started on. */
class ToolTerminal : public ToolBatch
{
protected:
    /* All that was written there. The pipe is fed when the text has come. */
    std::string RunOn(const List& settings, const List& arguments, const std::string& awaited)
    {
        winsize size = {};
        size.ws_col = 40;
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            if (chdir(folder.c_str()) != 0) _exit(126);
            for (const char* name : {"NO_COLOR", "LC_ALL", "LC_CTYPE", "LANG"}) unsetenv(name);
            for (const std::string& setting : settings) putenv(strdup(setting.c_str()));
            std::vector<char*> argv;
            List all = With({QUARLO_TOOL}, arguments);
            for (std::string& argument : all) argv.push_back(argument.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        const int pipe = OpenPipe("pipe.png");
        std::string text;
        bool fed = false;
        char piece[4096];
        for (;;) {
            if (!fed && text.find(awaited) != std::string::npos) {
                EXPECT_EQ(10, write(pipe, "no picture", 10));
                close(pipe);
                fed = true;
            }
            const ssize_t count = read(terminal, piece, sizeof piece);
            if (count <= 0) break;
            text.append(piece, static_cast<size_t>(count));
        }
        if (!fed) close(pipe);
        close(terminal);
        EXPECT_EQ(1, Wait(child));
        return text;
    }

    void SetUp() override
    {
        ToolBatch::SetUp();
        Make("a.png", SmallSheet());
        ASSERT_EQ(0, mkfifo(Path("pipe.png").c_str(), 0600));
    }
    const List call = {"-n", "-j", "1", "a.png", "pipe.png"};
    const std::string message = "quarlo: pipe.png: the file is none of BMP, PNG, JPEG, TIFF and PNM (code 21)\r\n";
    static constexpr const char* kErase = "\r\033[K";
};

TEST_F(ToolTerminal, BarIsDrawnAndErasedBeforeMessages)
{
    const std::string text = RunOn({"TERM=xterm"}, call, "50% 1p");
    EXPECT_EQ(0u, text.find("\r\033[32m")) << text;
    EXPECT_NE(std::string::npos, text.find("\033[0m  50% 1p ")) << text;
    const size_t told = text.find(message);
    ASSERT_NE(std::string::npos, told) << text;
    EXPECT_EQ(kErase, text.substr(told - 4, 4)) << text;
    const std::string last = text.substr(told + message.size());
    EXPECT_NE(std::string::npos, last.find("quarlo: 2 pages in 0:0")) << text;
    EXPECT_EQ(", 1 failed\r\n", last.substr(last.size() - 12)) << text;
}

TEST_F(ToolTerminal, NoColorGivesABarWithoutColours)
{
    const std::string text = RunOn({"TERM=xterm", "NO_COLOR=1", "LANG=C.UTF-8"}, call, "50% 1p");
    EXPECT_NE(std::string::npos, text.find("━")) << text;
    for (size_t at = text.find('\033'); at != std::string::npos; at = text.find('\033', at + 1))
        EXPECT_EQ("\033[K", text.substr(at, 3)) << text;
}

TEST_F(ToolTerminal, DumbTerminalGetsNoBar)
{
    ASSERT_EQ(0, unlink(Path("pipe.png").c_str()));
    ASSERT_EQ(0, mkfifo(Path("pipe.png").c_str(), 0600));
    EXPECT_EQ(message, RunOn({"TERM=dumb"}, call, ""));
}

TEST_F(ToolTerminal, QuietAndNoneTellErrorsOnly)
{
    EXPECT_EQ(message, RunOn({"TERM=xterm"}, With({"-q"}, call), ""));
    EXPECT_EQ(message, RunOn({"TERM=xterm"}, With({"--progress", "none"}, call), ""));
    EXPECT_EQ(message, RunOn({"TERM=xterm"}, With({"-q", "--progress", "bar"}, call), ""));
}

TEST_F(ToolBatch, PipeGetsNoBarAndLinesEndWithALastOne)
{
    Make("a.png", SmallSheet());
    Make("b.png", SmallSheet());
    EXPECT_EQ(0, Run("-n --progress auto a.png b.png"));
    EXPECT_EQ(std::string::npos, err.find('\r')) << err;
    EXPECT_EQ(std::string::npos, err.find("pages in")) << err;
    EXPECT_EQ(0, Run("-n --progress lines a.png b.png"));
    EXPECT_EQ(std::string::npos, err.find('\r')) << err;
    const size_t last = err.rfind('\n', err.size() - 2) + 1;
    EXPECT_EQ(last, err.find("quarlo: 2 pages in ")) << err;
    EXPECT_EQ(0, Run("-n -q --progress lines a.png b.png"));
    EXPECT_EQ("", err);
    EXPECT_EQ(2, Run("-n --progress many a.png b.png"));
}

} // namespace
