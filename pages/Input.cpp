/*
 * Input.cpp - opening picture files: what kind they are is told by their first bytes, never by their names.
 */
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Formats.h"

namespace quarlo
{

namespace
{

constexpr std::size_t kSignature = 8; /* bytes that tell the format */

bool StartsWith(const std::uint8_t* head, std::size_t count, const char* signature, std::size_t length)
{
    return count >= length && std::memcmp(head, signature, length) == 0;
}

/* An order of bytes, and 42 or, for wide offsets, 43 in it. */
bool IsTiff(const std::uint8_t* head, std::size_t count)
{
    if (count < 4 || head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return false;
    const int low = head[head[0] == 'I' ? 2 : 3];
    const int high = head[head[0] == 'I' ? 3 : 2];
    return high == 0 && (low == 42 || low == 43);
}

Format FormatOfBytes(const std::uint8_t* head, std::size_t count)
{
    const auto is = [&](const char* signature, std::size_t length) {
        return StartsWith(head, count, signature, length);
    };
    if (is("\x89PNG\r\n\x1a\n", 8)) return Format::png;
    if (is("\xff\xd8\xff", 3)) return Format::jpeg;
    if (IsTiff(head, count)) return Format::tiff;
    if (is("BM", 2)) return Format::bmp;
    if (count >= 3 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7' &&
        (std::isspace(head[2]) || head[2] == '#'))
        return Format::pnm;
    return Format::unknown;
}

Problem UnknownFormat(std::size_t count)
{
    return {Code::unknown_format, "read",
            count == 0 ? "the file is empty" : "the file is none of BMP, PNG, JPEG, TIFF and PNM"};
}

/* A file that holds one picture. */
class SingleInput : public Input
{
public:
    using Reader = Problem (*)(ByteSource*, const ReadLimits&, Page*);

    SingleInput(Format format, Reader reader, std::unique_ptr<ByteSource> source)
        : format_(format), reader_(reader), source_(std::move(source))
    {
    }
    Format format() const override { return format_; }
    int page_count() const override { return 1; }
    Problem Read(int index, const ReadLimits& limits, Page* page) override
    {
        if (index != 0) return {Code::no_such_page, "read", "the file has one page"};
        source_->ForgetProblem();
        Page made;
        made.meta.format = format_;
        Problem problem = reader_(source_.get(), limits, &made);
        if (problem) return OnPage(0, std::move(problem));
        *page = std::move(made);
        return {};
    }

private:
    Format format_;
    Reader reader_;
    std::unique_ptr<ByteSource> source_;
};

Problem OpenSource(std::unique_ptr<ByteSource> source, std::unique_ptr<Input>* input)
{
    std::uint8_t head[kSignature];
    const std::size_t count = source->ReadAt(0, head, sizeof head);
    if (source->problem()) return source->problem();
    const Format format = FormatOfBytes(head, count);
    SingleInput::Reader reader = nullptr;
    switch (format) {
    case Format::tiff:
        return OpenTiff(std::move(source), input);
    case Format::bmp:
        reader = ReadBmp;
        break;
    case Format::png:
        reader = ReadPng;
        break;
    case Format::jpeg:
        reader = ReadJpeg;
        break;
    case Format::pnm:
        reader = ReadPnm;
        break;
    case Format::unknown:
        return UnknownFormat(count);
    }
    *input = std::make_unique<SingleInput>(format, reader, std::move(source));
    return {};
}

} // namespace

Problem OnPage(int index, Problem problem)
{
    problem.reason = "page " + std::to_string(index + 1) + ": " + problem.reason;
    return problem;
}

Problem Input::OpenFile(const std::string& name, std::unique_ptr<Input>* input)
{
    Descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status;
    if (file.number() < 0 || fstat(file.number(), &status) != 0)
        return {Code::cannot_read, "read", SystemWords(errno)};
    if (S_ISDIR(status.st_mode)) return {Code::cannot_read, "read", SystemWords(EISDIR)};
    if (!S_ISREG(status.st_mode)) return OpenStream(file.number(), input);
    const auto size = static_cast<std::uint64_t>(status.st_size);
    return OpenSource(std::make_unique<FileSource>(std::move(file), size), input);
}

Problem Input::OpenMemory(Bytes bytes, std::unique_ptr<Input>* input)
{
    return OpenSource(std::make_unique<MemorySource>(std::move(bytes)), input);
}

Problem Input::OpenStream(int descriptor, std::unique_ptr<Input>* input)
{
    constexpr std::size_t piece = 1 << 18;
    Bytes bytes;
    for (;;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + piece);
        const ssize_t got = read(descriptor, bytes.data() + size, piece);
        bytes.resize(size + static_cast<std::size_t>(got > 0 ? got : 0));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return {Code::cannot_read, "read", SystemWords(errno)};
        if (got == 0) break;
        /* A stream that is no picture may never end. */
        if (bytes.size() >= kSignature && FormatOfBytes(bytes.data(), bytes.size()) == Format::unknown)
            return UnknownFormat(bytes.size());
    }
    return OpenMemory(std::move(bytes), input);
}

} // namespace quarlo
