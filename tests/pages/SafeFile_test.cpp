/*
 * SafeFile_test.cpp - a file appears whole under its name or not at all.
 */
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Pictures.h"

using namespace test;
using Existing = quarlo::SafeFile::Existing;

namespace
{

class SafeFile : public testing::Test
{
protected:
    SafeFile() : folder(testing::TempDir() + "safe_file_XXXXXX") { EXPECT_NE(nullptr, mkdtemp(folder.data())); }
    ~SafeFile() override
    {
        for (const std::string& name : Names()) std::remove((folder + "/" + name).c_str());
        rmdir(folder.c_str());
    }

    std::string Path(const std::string& name) const { return folder + "/" + name; }
    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        DIR* opened = opendir(folder.c_str());
        while (const dirent* entry = readdir(opened)) names.insert(entry->d_name);
        closedir(opened);
        names.erase(".");
        names.erase("..");
        return names;
    }
    void Put(const std::string& name, const std::string& text) const
    {
        std::FILE* file = std::fopen(Path(name).c_str(), "wb");
        std::fputs(text.c_str(), file);
        std::fclose(file);
    }
    std::string Get(const std::string& name) const
    {
        char text[100] = "";
        std::FILE* file = std::fopen(Path(name).c_str(), "rb");
        if (file == nullptr) return "(none)";
        const std::size_t length = std::fread(text, 1, sizeof text, file);
        std::fclose(file);
        return std::string(text, length);
    }
    mode_t ModeOf(const std::string& name) const
    {
        struct stat status;
        EXPECT_EQ(0, stat(Path(name).c_str(), &status));
        return status.st_mode & 07777;
    }
    std::unique_ptr<quarlo::SafeFile> Begin(const std::string& name, Existing existing,
                                            const std::string& text) const
    {
        std::unique_ptr<quarlo::SafeFile> file;
        const Problem problem = quarlo::SafeFile::Create(Path(name), existing, &file);
        EXPECT_EQ(Code::ok, problem.code) << problem.reason;
        if (file != nullptr) {
            EXPECT_EQ(static_cast<ssize_t>(text.size()), write(file->descriptor(), text.data(), text.size()));
        }
        return file;
    }
    Problem Refusal(const std::string& path, Existing existing) const
    {
        std::unique_ptr<quarlo::SafeFile> file;
        const Problem problem = quarlo::SafeFile::Create(path, existing, &file);
        EXPECT_EQ(nullptr, file);
        EXPECT_EQ("write", problem.stage);
        return problem;
    }

    std::string folder;
};

} // namespace

TEST_F(SafeFile, AppearsWhenItIsCommittedAndNotBefore)
{
    auto file = Begin("a.txt", Existing::refuse, "hello");
    EXPECT_EQ("(none)", Get("a.txt"));
    EXPECT_EQ(Code::ok, file->Commit().code);
    EXPECT_EQ("hello", Get("a.txt"));
    EXPECT_EQ(std::set<std::string>{"a.txt"}, Names());
    EXPECT_EQ(Code::bad_argument, file->Commit().code) << "twice";
}

TEST_F(SafeFile, LeavesNothingWhenItIsNotCommitted)
{
    for (const Existing existing : {Existing::refuse, Existing::replace}) {
        Begin("a.txt", existing, "hello");
        EXPECT_EQ(std::set<std::string>{}, Names());
    }
}

TEST_F(SafeFile, ExistingTargetIsRefused)
{
    Put("a.txt", "old");
    const Problem problem = Refusal(Path("a.txt"), Existing::refuse);
    EXPECT_EQ(Code::exists, problem.code);
    EXPECT_EQ("the file exists already", problem.reason);
    EXPECT_EQ("old", Get("a.txt"));
}

TEST_F(SafeFile, TargetThatCameUpMeanwhileIsRefused)
{
    auto file = Begin("a.txt", Existing::refuse, "new");
    Put("a.txt", "other");
    EXPECT_EQ(Code::exists, file->Commit().code);
    file.reset();
    EXPECT_EQ("other", Get("a.txt"));
    EXPECT_EQ(std::set<std::string>{"a.txt"}, Names());
}

TEST_F(SafeFile, ExistingTargetIsReplacedAtOnce)
{
    Put("a.txt", "old");
    auto file = Begin("a.txt", Existing::replace, "new");
    EXPECT_EQ("old", Get("a.txt"));
    EXPECT_EQ(Code::ok, file->Commit().code);
    EXPECT_EQ("new", Get("a.txt"));
    EXPECT_EQ(std::set<std::string>{"a.txt"}, Names());
}

TEST_F(SafeFile, TargetThatIsNotThereIsCreatedByReplaceToo)
{
    EXPECT_EQ(Code::ok, Begin("a.txt", Existing::replace, "new")->Commit().code);
    EXPECT_EQ("new", Get("a.txt"));
    EXPECT_EQ(std::set<std::string>{"a.txt"}, Names());
}

TEST_F(SafeFile, ModeOfTheReplacedFileIsKept)
{
    for (const mode_t mode : {0600, 0640, 0444, 0755}) {
        Put("a.txt", "old");
        ASSERT_EQ(0, chmod(Path("a.txt").c_str(), mode));
        ASSERT_EQ(Code::ok, Begin("a.txt", Existing::replace, "new")->Commit().code);
        EXPECT_EQ(mode, ModeOf("a.txt"));
        EXPECT_EQ("new", Get("a.txt"));
        ASSERT_EQ(0, unlink(Path("a.txt").c_str()));
    }
}

TEST_F(SafeFile, OwnerOfTheReplacedFileIsKeptWhereThatIsAllowed)
{
    Put("a.txt", "old");
    if (chown(Path("a.txt").c_str(), 1234, 1235) != 0) GTEST_SKIP() << "only root may give files away";
    ASSERT_EQ(Code::ok, Begin("a.txt", Existing::replace, "new")->Commit().code);
    struct stat status;
    ASSERT_EQ(0, stat(Path("a.txt").c_str(), &status));
    EXPECT_EQ(1234u, status.st_uid);
    EXPECT_EQ(1235u, status.st_gid);
}

TEST_F(SafeFile, NewFileHasTheModeThatTheMaskLeaves)
{
    const mode_t before = umask(027);
    ASSERT_EQ(Code::ok, Begin("a.txt", Existing::refuse, "")->Commit().code);
    umask(0);
    ASSERT_EQ(Code::ok, Begin("b.txt", Existing::replace, "")->Commit().code);
    umask(before);
    EXPECT_EQ(0640u, ModeOf("a.txt"));
    EXPECT_EQ(0666u, ModeOf("b.txt"));
}

TEST_F(SafeFile, SymbolicLinkIsFollowedAndStays)
{
    ASSERT_EQ(0, mkdir(Path("inner").c_str(), 0777));
    Put("inner/real.txt", "old");
    ASSERT_EQ(0, symlink("inner/middle.txt", Path("link.txt").c_str()));
    ASSERT_EQ(0, symlink("real.txt", Path("inner/middle.txt").c_str()));
    EXPECT_EQ(Code::exists, Refusal(Path("link.txt"), Existing::refuse).code);
    ASSERT_EQ(Code::ok, Begin("link.txt", Existing::replace, "new")->Commit().code);
    EXPECT_EQ("new", Get("inner/real.txt"));
    struct stat status;
    ASSERT_EQ(0, lstat(Path("link.txt").c_str(), &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(0, lstat(Path("inner/middle.txt").c_str(), &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    for (const char* name : {"inner/real.txt", "inner/middle.txt"}) std::remove(Path(name).c_str());
}

TEST_F(SafeFile, DanglingLinkGetsTheFileThatItLeadsTo)
{
    ASSERT_EQ(0, symlink(Path("real.txt").c_str(), Path("link.txt").c_str()));
    for (const Existing existing : {Existing::refuse, Existing::replace}) {
        ASSERT_EQ(Code::ok, Begin("link.txt", existing, "new")->Commit().code);
        EXPECT_EQ("new", Get("real.txt"));
        ASSERT_EQ(0, unlink(Path("real.txt").c_str()));
    }
    struct stat status;
    ASSERT_EQ(0, lstat(Path("link.txt").c_str(), &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(SafeFile, LinkThatLeadsToItselfIsRefused)
{
    ASSERT_EQ(0, symlink("link.txt", Path("link.txt").c_str()));
    const Problem problem = Refusal(Path("link.txt"), Existing::replace);
    EXPECT_EQ(Code::cannot_write, problem.code);
    EXPECT_EQ("Too many levels of symbolic links", problem.reason);
}

TEST_F(SafeFile, TargetThatIsNoOrdinaryFileIsRefused)
{
    ASSERT_EQ(0, mkdir(Path("inner").c_str(), 0777));
    ASSERT_EQ(0, mkfifo(Path("fifo").c_str(), 0666));
    for (const Existing existing : {Existing::refuse, Existing::replace})
        for (const std::string& path : {Path("inner"), Path("fifo"), std::string("/dev/null")}) {
            const Problem problem = Refusal(path, existing);
            EXPECT_EQ(Code::cannot_write, problem.code) << path;
            EXPECT_EQ("the target is no ordinary file and is not replaced", problem.reason);
        }
}

TEST_F(SafeFile, FolderThatIsNotThereIsToldInTheSystemsWords)
{
    Problem problem = Refusal(Path("no/a.txt"), Existing::refuse);
    EXPECT_EQ(Code::cannot_write, problem.code);
    EXPECT_EQ("No such file or directory", problem.reason);
    Put("file", "");
    problem = Refusal(Path("file/a.txt"), Existing::refuse);
    EXPECT_EQ(Code::cannot_write, problem.code);
    EXPECT_EQ("Not a directory", problem.reason);
    EXPECT_EQ("Is a directory", Refusal(folder + "/", Existing::refuse).reason);
    EXPECT_EQ("No such file or directory", Refusal("", Existing::refuse).reason);
}

TEST_F(SafeFile, NameWithoutAFolderIsThatOfTheWorkingFolder)
{
    char before[4096];
    ASSERT_NE(nullptr, getcwd(before, sizeof before));
    ASSERT_EQ(0, chdir(folder.c_str()));
    std::unique_ptr<quarlo::SafeFile> file;
    EXPECT_EQ(Code::ok, quarlo::SafeFile::Create("a.txt", Existing::refuse, &file).code);
    ASSERT_EQ(0, chdir(before));
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(Code::ok, file->Commit().code) << "wherever the program has gone meanwhile";
    EXPECT_EQ("", Get("a.txt"));
}

TEST_F(SafeFile, LongestNameIsTaken)
{
    const std::string name(255, 'n');
    for (const Existing existing : {Existing::refuse, Existing::replace})
        EXPECT_EQ(Code::ok, Begin(name, existing, "x")->Commit().code) << static_cast<int>(existing);
}

TEST_F(SafeFile, DescriptorIsOpenForReadingToo)
{
    const auto file = Begin("a.txt", Existing::refuse, "hello");
    char text[5] = "";
    ASSERT_EQ(5, pread(file->descriptor(), text, 5, 0));
    EXPECT_EQ("hello", std::string(text, 5));
}

TEST_F(SafeFile, KilledProgramLeavesNothing)
{
    Put("b.txt", "old");
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        std::unique_ptr<quarlo::SafeFile> first;
        std::unique_ptr<quarlo::SafeFile> second;
        quarlo::SafeFile::Create(Path("a.txt"), Existing::refuse, &first);
        quarlo::SafeFile::Create(Path("b.txt"), Existing::replace, &second);
        const bool ready = write(first->descriptor(), "x", 1) == 1 && write(second->descriptor(), "x", 1) == 1;
        if (ready && write(ends[1], "x", 1) == 1) pause();
        _exit(1);
    }
    char signal = 0;
    ASSERT_EQ(1, read(ends[0], &signal, 1));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(std::set<std::string>{"b.txt"}, Names());
    EXPECT_EQ("old", Get("b.txt"));
}

/* In a world without /proc a file in the making needs a hidden name. */
TEST_F(SafeFile, HiddenNameServesWhereAFileCannotBeWithoutOne)
{
    Put("old.txt", "old");
    ASSERT_EQ(0, chmod(Path("old.txt").c_str(), 0604));
    const pid_t child = fork();
    if (child == 0) {
        const bool inside =
            chroot(folder.c_str()) == 0 || (unshare(CLONE_NEWUSER) == 0 && chroot(folder.c_str()) == 0);
        if (!inside || chdir("/") != 0) _exit(77);
        umask(022);
        std::unique_ptr<quarlo::SafeFile> dropped;
        std::unique_ptr<quarlo::SafeFile> fresh;
        std::unique_ptr<quarlo::SafeFile> late;
        std::unique_ptr<quarlo::SafeFile> over;
        const bool made = !quarlo::SafeFile::Create("/dropped.txt", Existing::refuse, &dropped) &&
                          !quarlo::SafeFile::Create("fresh.txt", Existing::refuse, &fresh) &&
                          !quarlo::SafeFile::Create("late.txt", Existing::refuse, &late) &&
                          !quarlo::SafeFile::Create("old.txt", Existing::replace, &over);
        if (!made) _exit(1);
        if (access("dropped.txt", F_OK) == 0) _exit(2);
        if (write(fresh->descriptor(), "fresh", 5) != 5 || write(over->descriptor(), "new", 3) != 3) _exit(3);
        const int file = open("late.txt", O_CREAT | O_WRONLY, 0666);
        if (file < 0 || late->Commit().code != Code::exists) _exit(4);
        if (fresh->Commit() || over->Commit()) _exit(5);
        dropped.reset();
        late.reset();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "another root is not allowed here";
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ((std::set<std::string>{"fresh.txt", "late.txt", "old.txt"}), Names());
    EXPECT_EQ("fresh", Get("fresh.txt"));
    EXPECT_EQ("new", Get("old.txt"));
    EXPECT_EQ("", Get("late.txt"));
    EXPECT_EQ(0644u, ModeOf("fresh.txt"));
    EXPECT_EQ(0604u, ModeOf("old.txt"));
}

TEST_F(SafeFile, OfManyAtOnceOneIsFirst)
{
    constexpr int count = 16;
    std::vector<std::unique_ptr<quarlo::SafeFile>> files;
    std::vector<Code> codes(count, Code::ok);
    for (int k = 0; k < count; ++k)
        files.push_back(Begin("a.txt", Existing::refuse, std::string(1, static_cast<char>('a' + k))));
    std::vector<std::thread> threads;
    for (std::size_t k = 0; k < count; ++k) threads.emplace_back([&, k] { codes[k] = files[k]->Commit().code; });
    for (std::thread& thread : threads) thread.join();
    files.clear();
    int placed = -1;
    for (std::size_t k = 0; k < count; ++k) {
        if (codes[k] == Code::exists) continue;
        EXPECT_EQ(Code::ok, codes[k]);
        EXPECT_EQ(-1, placed) << "two were first";
        placed = static_cast<int>(k);
    }
    ASSERT_NE(-1, placed);
    EXPECT_EQ(std::string(1, static_cast<char>('a' + placed)), Get("a.txt"));
    EXPECT_EQ(std::set<std::string>{"a.txt"}, Names());
}
