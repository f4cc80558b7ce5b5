/*
 * tool_crew_test.cpp - the pages of a document, side by side: what one process does harms no other page.
 */
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <new>
#include <numeric>
#include <sstream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PageCrew.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* Grants what a test says. */
class FakeForeman : public Foreman
{
public:
    FakeForeman()
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
        ours_ = Owned(ends[0]);
        theirs_ = Owned(ends[1]);
    }

    bool Claim(const Wishes&, Grants*) override { return false; }
    bool MayWrite() override { return false; }
    bool Announce(const std::string&) override { return false; }
    void WantSlots(int count) override { wanted.push_back(count); }
    void FreeSlots(int count) override { freed.push_back(count); }
    int TakeSlots() override
    {
        if (calls++ < late_by) {
            Ring();
            return 0;
        }
        char letter;
        while (recv(theirs_.number(), &letter, 1, MSG_DONTWAIT) > 0) {
        }
        return std::exchange(slots, 0);
    }
    int descriptor() const override { return theirs_.number(); }

    /* Something to read. */
    void Ring() const { EXPECT_EQ(1, write(ours_.number(), "!", 1)); }

    int slots = 0;   /* to be granted */
    int late_by = 0; /* calls that are answered with none, though there will be some */
    int calls = 0;
    std::vector<int> wanted, freed;

private:
    Owned ours_, theirs_;
};

/* What processes see of each other. */
struct Shared {
    std::atomic<int> begun{0};
    std::atomic<int> most{0}; /* children at a time, as they saw it */
};

int CountChildren(pid_t parent)
{
    const std::string process = std::to_string(parent);
    std::ifstream file("/proc/" + process + "/task/" + process + "/children");
    int count = 0;
    for (int child; file >> child;) ++count;
    return count;
}

/* Answers whether it came to pass; the limit is for a test that fails. */
template <class Condition>
bool WaitUntil(Condition condition)
{
    for (int k = 0; k < 20000 && !condition(); ++k) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

class PageCrewTest : public testing::Test
{
protected:
    PageCrewTest()
    {
        void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        shared = new (memory) Shared;
    }
    ~PageCrewTest() override { munmap(shared, sizeof(Shared)); }

    void TearDown() override
    {
        EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
        EXPECT_EQ(ECHILD, errno);
    }

    static std::vector<int> Pages(int count)
    {
        std::vector<int> indices(static_cast<size_t>(count));
        std::iota(indices.begin(), indices.end(), 0);
        return indices;
    }

    /* A page that says which it is. */
    static PageResult Good(int index, int width = 10, int height = 10)
    {
        PageResult result;
        result.report.page = index + 1;
        result.report.warnings = {"of " + std::to_string(index)};
        if (Bitmap::Make(width, height, 24, &result.page.bitmap)) std::abort();
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < 3 * width; ++x)
                result.page.bitmap.row(y)[x] = static_cast<std::uint8_t>(index + 3 * x + 7 * y);
        result.page.meta.text = {{"index", std::to_string(index), "", "", false, false}};
        return result;
    }

    static void ExpectGood(const PageResult& result, int index, int width = 10, int height = 10)
    {
        EXPECT_EQ(Status::ok, result.report.status) << index;
        EXPECT_EQ(index + 1, result.report.page);
        EXPECT_EQ((std::vector<std::string>{"of " + std::to_string(index)}), result.report.warnings);
        const Bitmap& bitmap = result.page.bitmap;
        ASSERT_EQ(width, bitmap.width());
        ASSERT_EQ(height, bitmap.height());
        const PageResult good = Good(index, width, height);
        for (int y = 0; y < height; ++y)
            ASSERT_TRUE(std::equal(bitmap.row(y), bitmap.row(y) + 3 * width, good.page.bitmap.row(y))) << y;
        ASSERT_EQ(1u, result.page.meta.text.size());
        EXPECT_EQ(std::to_string(index), result.page.meta.text[0].text);
    }

    static void ExpectFailed(const PageResult& result, int index, Code code, const std::string& reason)
    {
        EXPECT_EQ(Status::error, result.report.status);
        EXPECT_EQ(index + 1, result.report.page);
        EXPECT_EQ(code, result.report.problem.code);
        EXPECT_EQ("page", result.report.problem.stage);
        EXPECT_EQ(reason, result.report.problem.reason);
        EXPECT_TRUE(result.page.bitmap.empty());
    }

    FakeForeman foreman;
    Shared* shared;
};

TEST_F(PageCrewTest, PagesComeInTheirOrderWhateverTheyAreAndHoweverManyAtATime)
{
    const std::vector<int> indices = {4, 0, 7, 2, 5};
    for (int slots = 0; slots <= 6; ++slots) {
        foreman.slots = slots;
        PageCrew crew(
            indices, [](int index) { return Good(index); }, &foreman);
        for (const int index : indices) ExpectGood(crew.Take(), index);
    }
    EXPECT_EQ(std::vector<int>(7, 4), foreman.wanted);
}

TEST_F(PageCrewTest, PageThatIsLargerThanAPipeArrivesWhole)
{
    foreman.slots = 2;
    PageCrew crew(
        Pages(3), [](int index) { return Good(index, 1000, 700); }, &foreman);
    for (int index = 0; index < 3; ++index) ExpectGood(crew.Take(), index, 1000, 700);
}

TEST_F(PageCrewTest, ProcessThatDiesCostsItsPageAlone)
{
    foreman.slots = 2;
    const auto work = [](int index) -> PageResult {
        if (index == 1) raise(SIGKILL);
        if (index == 3) _exit(0);
        if (index == 5) throw std::bad_alloc();
        if (index == 7) {
            signal(SIGSEGV, SIG_DFL);
            raise(SIGSEGV);
        }
        return Good(index);
    };
    PageCrew crew(Pages(9), work, &foreman);
    std::vector<PageResult> results;
    for (int index = 0; index < 9; ++index) results.push_back(crew.Take());
    for (int index = 0; index < 9; index += 2) ExpectGood(results[static_cast<size_t>(index)], index);
    ExpectFailed(results[1], 1, Code::crashed, "the process working on it was ended by signal 9 (Killed)");
    ExpectFailed(results[3], 3, Code::crashed, "the process working on it broke off");
    ExpectFailed(results[5], 5, Code::out_of_memory, "memory ran out");
    ExpectFailed(results[7], 7, Code::crashed,
                 "the process working on it was ended by signal 11 (Segmentation fault)");
}

TEST_F(PageCrewTest, ProcessThatIsToldToEndWithoutTheCallHasNotDoneItsPage)
{
    const auto work = [](int index) {
        PageResult result = Good(index);
        if (index == 0) result.Fail(Status::error, Interrupted("find"));
        return result;
    };
    PageCrew crew(Pages(2), work, &foreman);
    ExpectFailed(crew.Take(), 0, Code::crashed, "the process working on it was told to end");
    ExpectGood(crew.Take(), 1);
}

TEST_F(PageCrewTest, ProcessThatHangsEndsWithTheCrew)
{
    foreman.slots = 2;
    {
        PageCrew crew(
            Pages(4),
            [](int index) {
                signal(SIGTERM, SIG_IGN);
                while (index > 0) pause();
                return Good(index);
            },
            &foreman);
        ExpectGood(crew.Take(), 0);
        EXPECT_EQ(2, CountChildren(getpid()));
    }
    EXPECT_EQ(0, CountChildren(getpid()));
}

TEST_F(PageCrewTest, ThereAreNeverMoreProcessesThanSlots)
{
    for (const int slots : {0, 1, 3}) {
        shared->most = 0;
        foreman.slots = slots;
        const pid_t parent = getpid();
        const auto work = [this, parent](int index) {
            const int count = CountChildren(parent);
            int most = shared->most;
            while (count > most && !shared->most.compare_exchange_weak(most, count)) {
            }
            return Good(index);
        };
        PageCrew crew(Pages(12), work, &foreman);
        for (int index = 0; index < 12; ++index) ExpectGood(crew.Take(), index);
        EXPECT_LE(shared->most, slots + 1);
        EXPECT_GT(shared->most, 0);
    }
}

TEST_F(PageCrewTest, AsManyPagesAsThereAreSlotsAreWorkedOnAtATime)
{
    foreman.slots = 2;
    const auto work = [this](int index) {
        ++shared->begun;
        if (!WaitUntil([this] { return shared->begun >= 3; })) _exit(1);
        return Good(index);
    };
    PageCrew crew(Pages(3), work, &foreman);
    for (int index = 0; index < 3; ++index) ExpectGood(crew.Take(), index);
}

TEST_F(PageCrewTest, SlotThatIsGrantedWhileAPageIsAwaitedIsUsed)
{
    foreman.slots = 1;
    foreman.late_by = 3;
    const auto work = [this](int index) {
        ++shared->begun;
        if (index == 0 && !WaitUntil([this] { return shared->begun >= 2; })) _exit(1);
        return Good(index);
    };
    PageCrew crew(Pages(3), work, &foreman);
    for (int index = 0; index < 3; ++index) ExpectGood(crew.Take(), index);
}

TEST_F(PageCrewTest, SlotsThatHaveNoPageAreGivenBackAndOneIsKept)
{
    foreman.slots = 3;
    PageCrew crew(
        Pages(4), [](int index) { return Good(index); }, &foreman);
    EXPECT_EQ((std::vector<int>{3}), foreman.wanted);
    for (int index = 0; index < 4; ++index) {
        ExpectGood(crew.Take(), index);
        EXPECT_EQ(std::vector<int>(static_cast<size_t>(index), 1), foreman.freed);
    }
}

TEST_F(PageCrewTest, SlotsThatComeTooLateAreGivenBack)
{
    PageCrew crew(
        Pages(4), [](int index) { return Good(index); }, &foreman);
    for (int index = 0; index < 3; ++index) ExpectGood(crew.Take(), index);
    foreman.slots = 3;
    ExpectGood(crew.Take(), 3);
    EXPECT_EQ((std::vector<int>{3}), foreman.freed);
}

TEST_F(PageCrewTest, SinglePageWantsNoSlot)
{
    PageCrew crew(
        Pages(1), [](int index) { return Good(index); }, &foreman);
    ExpectGood(crew.Take(), 0);
    EXPECT_TRUE(foreman.wanted.empty());
}

TEST_F(PageCrewTest, WhereNoProcessIsToBeHadThePageIsDoneHere)
{
    const pid_t here = getpid();
    const auto work = [here](int index) {
        PageResult result = Good(index);
        if (getpid() != here) result.report.warnings.clear();
        return result;
    };
    PageCrew crew(Pages(2), work, &foreman);
    rlimit before = {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const PageResult first = crew.Take(), second = crew.Take();
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    ExpectGood(first, 0);
    ExpectGood(second, 1);
}

} // namespace

} // namespace tool
