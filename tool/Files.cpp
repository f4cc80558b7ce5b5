/*
 * Files.cpp - bytes in and out where pictures are not concerned.
 */
#include "Files.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "Signals.h"

using quarlo::Bytes;
using quarlo::Code;
using quarlo::Problem;
using quarlo::SafeFile;

namespace tool
{

namespace
{

constexpr size_t kChunk = 1 << 16;

Problem ReadProblem() { return {Code::cannot_read, "read", std::strerror(errno)}; }
Problem WriteProblem(int error) { return {Code::cannot_write, "write", std::strerror(error)}; }

/* Nobody reads on: not worth a message, but the end of the work. */
Problem ClosedPipe()
{
    NoteClosedPipe();
    return {Code::interrupted, "write", "nobody reads standard output"};
}

} // namespace

void Owned::Close()
{
    if (descriptor_ >= 0) close(Release());
}

Problem ReadAll(int descriptor, Bytes* bytes)
{
    Bytes all;
    for (;;) {
        const size_t filled = all.size();
        all.resize(filled + kChunk);
        const ssize_t count = read(descriptor, all.data() + filled, kChunk);
        all.resize(filled + static_cast<size_t>(count > 0 ? count : 0));
        if (count == 0) break;
        if (count < 0 && errno != EINTR) return ReadProblem();
        if (StopSignal() != 0) return {Code::interrupted, "read", "interrupted"};
    }
    *bytes = std::move(all);
    return {};
}

Problem ReadFile(const std::string& name, Bytes* bytes)
{
    const Owned file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    return file.number() < 0 ? ReadProblem() : ReadAll(file.number(), bytes);
}

Problem WriteAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR && StopSignal() == 0) continue;
        if (count < 0 && errno == EPIPE && descriptor == STDOUT_FILENO) return ClosedPipe();
        if (count < 0) return WriteProblem(errno);
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return {};
}

Problem WriteFile(const std::string& name, SafeFile::Existing existing, std::string_view bytes)
{
    TextFile file;
    Problem problem = file.Open(name, existing);
    if (!problem) problem = file.Write(bytes);
    return problem ? problem : file.Close();
}

Problem MakeFolder(const std::string& name)
{
    std::error_code error;
    std::filesystem::create_directories(name, error);
    return error ? WriteProblem(error.value()) : Problem{};
}

Problem MakeFolderOf(const std::string& file_name)
{
    const std::string folder = std::filesystem::path(file_name).parent_path().string();
    return folder.empty() || IsFolder(folder) ? Problem{} : MakeFolder(folder);
}

bool Exists(const std::string& name)
{
    struct stat status;
    return stat(name.c_str(), &status) == 0;
}

bool IsFolder(const std::string& name)
{
    struct stat status;
    return stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsPipe(const std::string& name)
{
    struct stat status;
    return stat(name.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

Problem CheckOrdinary(const std::string& name)
{
    struct stat status;
    if (stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return {};
    return {Code::cannot_write, "write", "the target is no ordinary file and is not replaced"};
}

Problem CheckFree(const std::string& name, SafeFile::Existing existing)
{
    Problem problem = CheckOrdinary(name);
    if (problem) return problem;
    if (existing == SafeFile::Existing::replace || !Exists(name)) return {};
    return {Code::exists, "write", "exists already; --overwrite replaces it, --skip-existing keeps it"};
}

TextFile::~TextFile()
{
    if (owned_) close(descriptor_);
}

Problem TextFile::Open(const std::string& name, SafeFile::Existing existing)
{
    struct stat status;
    if (name == "-") {
        descriptor_ = STDOUT_FILENO;
    } else if (name == kErrorStream) {
        descriptor_ = STDERR_FILENO; /* also where it is a file, which would be there already */
    } else if (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        descriptor_ = open(name.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) return WriteProblem(errno);
        owned_ = true;
    } else {
        Problem problem = CheckFree(name, existing);
        if (!problem) problem = SafeFile::Create(name, existing, &file_);
        if (problem) return problem;
        descriptor_ = file_->descriptor();
    }
    return {};
}

Problem TextFile::Close()
{
    descriptor_ = owned_ ? descriptor_ : -1;
    return file_ ? file_->Commit() : Problem{};
}

} // namespace tool
