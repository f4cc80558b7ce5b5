/*
 * SafeFile.cpp - files that appear whole or not at all.
 *
 * Where the file system can, the file in the making has no name, so that nothing is left of it even when the program is
 * killed; else it has a hidden name beside the target.
 */
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Bytes.h"

namespace quarlo
{

namespace
{

constexpr int kMostTries = 100; /* for a hidden name that is free */
constexpr int kMostLinks = 40;  /* that are followed, as the system does */
constexpr uid_t kNoOwner = static_cast<uid_t>(-1);

Problem CannotWrite(int error) { return {Code::cannot_write, "write", SystemWords(error)}; }
Problem Exists() { return {Code::exists, "write", "the file exists already"}; }

/* The rights that a new file gets, without touching the mask of the process, which other threads use. */
mode_t UsualMode()
{
    constexpr mode_t all = 0666;
    std::FILE* status = std::fopen("/proc/self/status", "re");
    if (status != nullptr) {
        constexpr std::string_view key = "Umask:";
        char line[256];
        mode_t mask = 0;
        bool found = false;
        while (!found && std::fgets(line, sizeof line, status) != nullptr) {
            found = std::string_view(line).substr(0, key.size()) == key;
            if (found) mask = static_cast<mode_t>(std::strtoul(line + key.size(), nullptr, 8));
        }
        std::fclose(status);
        if (found) return all & ~mask;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return all & ~mask;
}

/* The name that a chain of symbolic links leads to, whether or not there is a file. */
Problem Follow(std::string* name)
{
    for (int k = 0; k < kMostLinks; ++k) {
        char target[PATH_MAX];
        const ssize_t length = readlink(name->c_str(), target, sizeof target);
        if (length < 0) return errno == EINVAL || errno == ENOENT ? Problem{} : CannotWrite(errno);
        if (length == static_cast<ssize_t>(sizeof target)) return CannotWrite(ENAMETOOLONG);
        const std::string text(target, static_cast<std::size_t>(length));
        const std::size_t slash = name->rfind('/');
        const bool beside = text[0] != '/' && slash != std::string::npos;
        *name = beside ? name->substr(0, slash + 1) + text : text;
    }
    return CannotWrite(ELOOP);
}

std::string RandomLetters()
{
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz012345";
    unsigned char bytes[6] = {};
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        bytes[0] = static_cast<unsigned char>(getpid());
    std::string text;
    for (const unsigned char byte : bytes) text += letters[byte % 32];
    return text;
}

class FileInTheMaking : public SafeFile
{
public:
    ~FileInTheMaking() override { Remove(); }

    Problem Make(const std::string& target, Existing existing)
    {
        existing_ = existing;
        std::string name = target;
        Problem problem = Follow(&name);
        if (problem) return problem;
        const std::size_t slash = name.rfind('/');
        name_ = slash == std::string::npos ? name : name.substr(slash + 1);
        if (name_.empty()) return CannotWrite(name.empty() ? ENOENT : EISDIR);
        const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);
        folder_ = Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder_.number() < 0) return CannotWrite(errno);
        problem = Look();
        return problem ? problem : Open();
    }

    int descriptor() const override { return file_.number(); }

    Problem Commit() override
    {
        if (file_.number() < 0) return {Code::bad_argument, "write", "the file is in its place already"};
        Problem problem = Complete();
        if (problem) return problem;
        problem = existing_ == Existing::refuse ? PlaceNew() : PlaceOver();
        if (problem) return problem;
        hidden_.clear();
        file_ = Descriptor();
        /* A folder that cannot be flushed, as on some file systems, is no reason to call the file lost. */
        if (fsync(folder_.number()) != 0 && errno == EIO) return CannotWrite(errno);
        return {};
    }

private:
    /* What stands in the target's place. */
    Problem Look()
    {
        struct stat status;
        found_ = fstatat(folder_.number(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        if (!found_) return errno == ENOENT ? Problem{} : CannotWrite(errno);
        if (!S_ISREG(status.st_mode))
            return {Code::cannot_write, "write", "the target is no ordinary file and is not replaced"};
        if (existing_ == Existing::refuse) return Exists();
        mode_ = status.st_mode & 07777;
        owner_ = status.st_uid;
        group_ = status.st_gid;
        return {};
    }

    Problem Open()
    {
        file_ = Descriptor(openat(folder_.number(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
        if (file_.number() >= 0 && LinkHasAWay()) return {};
        return TakeHiddenName([&](const std::string& name) {
            file_ = Descriptor(openat(folder_.number(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
            return file_.number() >= 0;
        });
    }

    /* A file without a name gets one by way of /proc, which may not be there. */
    bool LinkHasAWay() const { return access(OwnPath().c_str(), F_OK) == 0; }
    std::string OwnPath() const { return "/proc/self/fd/" + std::to_string(file_.number()); }

    /* Tries names until one is free; `take` answers whether it got the name, and sets errno. */
    template <class Take>
    Problem TakeHiddenName(const Take& take)
    {
        /* The whole name may be no longer than 255 bytes. */
        const std::string stem = "." + name_.substr(0, 200) + ".";
        for (int k = 0; k < kMostTries; ++k) {
            const std::string name = stem + RandomLetters();
            if (take(name)) {
                hidden_ = name;
                return {};
            }
            if (errno != EEXIST) break;
        }
        return CannotWrite(errno);
    }

    Problem Complete()
    {
        const int file = file_.number();
        const mode_t mode = found_ ? mode_ : UsualMode();
        /* The owner stays where that is allowed, else the group; first, for it may clear bits of the mode. */
        const bool kept = !found_ || fchown(file, owner_, group_) == 0 || fchown(file, kNoOwner, group_) == 0;
        static_cast<void>(kept); /* what the system does not allow is no reason to fail */
        if (fchmod(file, mode) != 0 || fsync(file) != 0) return CannotWrite(errno);
        return {};
    }

    bool LinkTo(const std::string& name) const
    {
        if (hidden_.empty())
            return linkat(AT_FDCWD, OwnPath().c_str(), folder_.number(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
        return linkat(folder_.number(), hidden_.c_str(), folder_.number(), name.c_str(), 0) == 0;
    }

    /* Never over a file that came up meanwhile. */
    Problem PlaceNew()
    {
        if (!hidden_.empty()) {
            if (renameat2(folder_.number(), hidden_.c_str(), folder_.number(), name_.c_str(), RENAME_NOREPLACE) ==
                0)
                return {};
            if (errno != EINVAL && errno != ENOSYS) return errno == EEXIST ? Exists() : CannotWrite(errno);
        }
        if (!LinkTo(name_)) return errno == EEXIST ? Exists() : CannotWrite(errno);
        if (!hidden_.empty()) unlinkat(folder_.number(), hidden_.c_str(), 0);
        return {};
    }

    Problem PlaceOver()
    {
        const bool was_found = found_;
        Problem problem = Look(); /* a folder or device may have come up meanwhile */
        if (problem) return problem;
        found_ = was_found;
        if (hidden_.empty()) problem = TakeHiddenName([&](const std::string& name) { return LinkTo(name); });
        if (problem) return problem;
        if (renameat(folder_.number(), hidden_.c_str(), folder_.number(), name_.c_str()) != 0)
            return CannotWrite(errno);
        return {};
    }

    void Remove()
    {
        if (!hidden_.empty()) unlinkat(folder_.number(), hidden_.c_str(), 0);
    }

    Existing existing_ = Existing::refuse;
    Descriptor folder_;
    Descriptor file_;
    std::string name_;   /* in the folder */
    std::string hidden_; /* of the file in the making; empty: none */
    bool found_ = false; /* there is a file to be replaced */
    mode_t mode_ = 0;
    uid_t owner_ = 0;
    gid_t group_ = 0;
};

} // namespace

Problem SafeFile::Create(const std::string& target, Existing existing, std::unique_ptr<SafeFile>* file)
{
    auto made = std::make_unique<FileInTheMaking>();
    Problem problem = made->Make(target, existing);
    if (!problem) *file = std::move(made);
    return problem;
}

} // namespace quarlo
