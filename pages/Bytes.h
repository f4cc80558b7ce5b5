/*
 * Bytes.h - where the bytes of a picture file come from and go to: a descriptor or memory, read and written at any place.
 */
#ifndef QUARLO_PAGES_BYTES_H
#define QUARLO_PAGES_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "quarlo/pages.hpp"

namespace quarlo
{

/** The system's words for an errno. */
std::string SystemWords(int error);

/** A descriptor that is closed when its owner goes. */
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

/** The bytes of a file that is read. */
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /** Answers how many bytes were read: fewer than asked for at the end, or when reading fails. */
    virtual std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) = 0;

    /** The failure of a read, cannot_read; none where the bytes just ended. */
    Problem problem() const;
    void ForgetProblem() { error_ = 0; }

protected:
    int error_ = 0; /* an errno: reading happens inside of libraries that no exception may pass through */
};

class FileSource : public ByteSource
{
public:
    FileSource(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}
    std::uint64_t size() const override { return size_; }
    std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;

private:
    Descriptor file_;
    std::uint64_t size_;
};

class MemorySource : public ByteSource
{
public:
    explicit MemorySource(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;

private:
    Bytes bytes_;
};

/** Reads a source from front to back through a buffer. */
class ByteReader
{
public:
    explicit ByteReader(ByteSource* source) : source_(source), buffer_(1 << 16) {}

    /** Answers how many bytes were read; fewer than asked for at the end or on failure. */
    std::size_t Read(void* to, std::size_t count);
    /** The next byte, or -1 at the end. */
    int Get() { return begin_ < end_ || Fill() ? buffer_[begin_++] : -1; }
    int Peek() { return begin_ < end_ || Fill() ? buffer_[begin_] : -1; }
    std::uint64_t position() const { return next_ - (end_ - begin_); }
    void Seek(std::uint64_t position);
    std::uint64_t left() const { return source_->size() - std::min(source_->size(), position()); }

    /** What to say where bytes were missing: the failure of the source, or that the file is cut short. */
    Problem Shortage() const;

    /** The bytes that are in the buffer, at least one unless the end is reached; all of them count as read. */
    std::size_t Take(const std::uint8_t** bytes);

private:
    bool Fill();

    ByteSource* source_;
    Bytes buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t next_ = 0; /* where in the source the buffer ends */
};

/** The bytes of a file that is written. After a failure it takes no more, and problem() tells the first one. */
class ByteSink
{
public:
    virtual ~ByteSink() = default;
    bool WriteAt(std::uint64_t offset, const void* from, std::size_t count);
    bool Append(const void* from, std::size_t count) { return WriteAt(size_, from, count); }
    /** For libtiff, which reads again what it wrote. */
    virtual std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) = 0;
    /** Hands over what is buffered, and cuts off what a longer file held before. */
    virtual Problem Finish() = 0;

    std::uint64_t size() const { return size_; }
    const Problem& problem() const { return problem_; }

protected:
    virtual void Store(std::uint64_t offset, const void* from, std::size_t count) = 0;

    std::uint64_t size_ = 0;
    Problem problem_;
};

class DescriptorSink : public ByteSink
{
public:
    explicit DescriptorSink(int descriptor) : descriptor_(descriptor) {}
    std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;
    Problem Finish() override;

protected:
    void Store(std::uint64_t offset, const void* from, std::size_t count) override;

private:
    void Flush();
    void WriteOut(std::uint64_t offset, const std::uint8_t* from, std::size_t count);

    int descriptor_;
    Bytes pending_; /* written, but not handed to the system yet */
    std::uint64_t pending_at_ = 0;
};

class MemorySink : public ByteSink
{
public:
    explicit MemorySink(Bytes* result) : result_(result) {}
    std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;
    Problem Finish() override;

protected:
    void Store(std::uint64_t offset, const void* from, std::size_t count) override;

private:
    Bytes* result_;
    Bytes bytes_;
};

} // namespace quarlo

#endif
