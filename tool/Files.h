/*
 * Files.h - bytes in and out where pictures are not concerned.
 */
#ifndef QUARLO_TOOL_FILES_H
#define QUARLO_TOOL_FILES_H

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "quarlo/pages.hpp"

namespace tool
{

/** A descriptor that closes itself. */
class Owned
{
public:
    explicit Owned(int descriptor = -1) : descriptor_(descriptor) {}
    ~Owned() { Close(); }
    Owned(Owned&& other) noexcept : descriptor_(other.Release()) {}
    Owned& operator=(Owned&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    int number() const { return descriptor_; }
    void Close();

private:
    int Release() { return std::exchange(descriptor_, -1); }

    int descriptor_;
};

/** All of a descriptor that need not be a file. */
quarlo::Problem ReadAll(int descriptor, quarlo::Bytes* bytes);
quarlo::Problem ReadFile(const std::string& name, quarlo::Bytes* bytes);

quarlo::Problem WriteAll(int descriptor, std::string_view bytes);
inline std::string_view ViewOf(const quarlo::Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/** A file that is whole or not there. */
quarlo::Problem WriteFile(const std::string& name, quarlo::SafeFile::Existing existing, std::string_view bytes);

/** With all folders on the way to it. */
quarlo::Problem MakeFolder(const std::string& name);
/** The folder that a file is to lie in. */
quarlo::Problem MakeFolderOf(const std::string& file_name);

bool Exists(const std::string& name);
bool IsFolder(const std::string& name);
/** A named pipe, whose content comes but once. */
bool IsPipe(const std::string& name);
/** Refuses what is there and can never be replaced, such as a device or a folder. */
quarlo::Problem CheckOrdinary(const std::string& name);
/** Refuses that, too, and with a hint what is there and may not be replaced. */
quarlo::Problem CheckFree(const std::string& name, quarlo::SafeFile::Existing existing);

/** The name of standard error. */
constexpr std::string_view kErrorStream = "/dev/stderr";

/** Text in the making: standard output or error, a device or pipe, or a file that appears when it is closed. */
class TextFile
{
public:
    TextFile() = default;
    ~TextFile();
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    quarlo::Problem Open(const std::string& name, quarlo::SafeFile::Existing existing);
    bool is_open() const { return descriptor_ >= 0; }
    quarlo::Problem Write(std::string_view text) const { return WriteAll(descriptor_, text); }
    quarlo::Problem Close();

private:
    int descriptor_ = -1;
    bool owned_ = false; /* the descriptor is to be closed here */
    std::unique_ptr<quarlo::SafeFile> file_;
};

} // namespace tool

#endif
