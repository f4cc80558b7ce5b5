/*
 * Bytes.cpp - descriptors and memory as places to read from and write to.
 */
#include "Bytes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace quarlo
{

namespace
{

constexpr std::size_t kPending = 1 << 18; /* small writes are gathered up to this size */
constexpr std::size_t kOneCall = 1 << 30; /* the system takes no more than 2 GiB at once */

/* Answers the bytes read; fewer at the end, and on failure, which errno tells then. */
std::size_t ReadFully(int descriptor, std::uint64_t offset, void* to, std::size_t count, bool* failed)
{
    std::size_t done = 0;
    *failed = false;
    while (done < count) {
        const ssize_t got = pread(descriptor, static_cast<std::uint8_t*>(to) + done,
                                  std::min(count - done, kOneCall), static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        *failed = got < 0;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

} // namespace

std::string SystemWords(int error)
{
    char words[256];
    /* The GNU strerror_r, which every C++ program gets: it may answer a constant instead of filling the buffer. */
    return strerror_r(error, words, sizeof words);
}

Descriptor::~Descriptor()
{
    if (number_ >= 0) close(number_);
}

/* ---- Sources ---- */

Problem ByteSource::problem() const
{
    if (error_ == 0) return {};
    return {Code::cannot_read, "read", SystemWords(error_)};
}

std::size_t FileSource::ReadAt(std::uint64_t offset, void* to, std::size_t count)
{
    if (offset >= size_) return 0;
    bool failed = false;
    const std::size_t done = ReadFully(file_.number(), offset, to, count, &failed);
    if (failed) error_ = errno;
    return done;
}

std::size_t MemorySource::ReadAt(std::uint64_t offset, void* to, std::size_t count)
{
    if (offset >= bytes_.size()) return 0;
    const std::size_t done = std::min(count, bytes_.size() - static_cast<std::size_t>(offset));
    if (done > 0) std::memcpy(to, bytes_.data() + offset, done);
    return done;
}

bool ByteReader::Fill()
{
    begin_ = 0;
    end_ = source_->ReadAt(next_, buffer_.data(), buffer_.size());
    next_ += end_;
    return end_ > 0;
}

std::size_t ByteReader::Read(void* to, std::size_t count)
{
    std::uint8_t* out = static_cast<std::uint8_t*>(to);
    std::size_t done = std::min(count, end_ - begin_);
    if (done > 0) std::memcpy(out, buffer_.data() + begin_, done);
    begin_ += done;
    if (done < count && count - done >= buffer_.size()) {
        /* Large pieces need no buffer in between. */
        const std::size_t got = source_->ReadAt(next_, out + done, count - done);
        next_ += got;
        return done + got;
    }
    while (done < count && Fill()) {
        const std::size_t part = std::min(count - done, end_);
        std::memcpy(out + done, buffer_.data(), part);
        begin_ = part;
        done += part;
    }
    return done;
}

void ByteReader::Seek(std::uint64_t position)
{
    begin_ = 0;
    end_ = 0;
    next_ = position;
}

Problem ByteReader::Shortage() const
{
    return source_->problem() ? source_->problem() : Problem{Code::damaged, "read", "the file is cut short"};
}

std::size_t ByteReader::Take(const std::uint8_t** bytes)
{
    if (begin_ >= end_ && !Fill()) return 0;
    *bytes = buffer_.data() + begin_;
    return end_ - std::exchange(begin_, end_);
}

/* ---- Sinks ---- */

bool ByteSink::WriteAt(std::uint64_t offset, const void* from, std::size_t count)
{
    if (problem_) return false;
    if (count == 0) return true;
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()) - count) {
        problem_ = {Code::cannot_write, "write", SystemWords(EFBIG)};
        return false;
    }
    Store(offset, from, count);
    if (!problem_) size_ = std::max(size_, offset + count);
    return !problem_;
}

void DescriptorSink::Store(std::uint64_t offset, const void* from, std::size_t count)
{
    if (offset != pending_at_ + pending_.size() || pending_.size() + count > kPending) Flush();
    if (problem_) return;
    const std::uint8_t* bytes = static_cast<const std::uint8_t*>(from);
    if (count > kPending) return WriteOut(offset, bytes, count);
    if (pending_.empty()) pending_at_ = offset;
    pending_.insert(pending_.end(), bytes, bytes + count);
}

void DescriptorSink::Flush()
{
    WriteOut(pending_at_, pending_.data(), pending_.size());
    pending_.clear();
}

void DescriptorSink::WriteOut(std::uint64_t offset, const std::uint8_t* from, std::size_t count)
{
    while (count > 0) {
        const ssize_t put = pwrite(descriptor_, from, std::min(count, kOneCall), static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) {
            problem_ = {Code::cannot_write, "write", SystemWords(put < 0 ? errno : ENOSPC)};
            return;
        }
        from += put;
        offset += static_cast<std::uint64_t>(put);
        count -= static_cast<std::size_t>(put);
    }
}

std::size_t DescriptorSink::ReadAt(std::uint64_t offset, void* to, std::size_t count)
{
    Flush();
    bool failed = false;
    const std::size_t done = problem_ ? 0 : ReadFully(descriptor_, offset, to, count, &failed);
    if (failed) problem_ = {Code::cannot_write, "write", SystemWords(errno)};
    return done;
}

Problem DescriptorSink::Finish()
{
    Flush();
    struct stat status;
    const bool longer = !problem_ && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) &&
                        static_cast<std::uint64_t>(status.st_size) > size_;
    if (longer && ftruncate(descriptor_, static_cast<off_t>(size_)) != 0)
        problem_ = {Code::cannot_write, "write", SystemWords(errno)};
    return problem_;
}

void MemorySink::Store(std::uint64_t offset, const void* from, std::size_t count)
{
    if (offset > bytes_.max_size() - count) {
        problem_ = {Code::out_of_memory, "write", "memory ran out"};
        return;
    }
    const std::size_t at = static_cast<std::size_t>(offset);
    const std::uint8_t* bytes = static_cast<const std::uint8_t*>(from);
    if (at == bytes_.size()) {
        bytes_.insert(bytes_.end(), bytes, bytes + count);
        return;
    }
    if (at + count > bytes_.size()) bytes_.resize(at + count);
    std::memcpy(bytes_.data() + at, bytes, count);
}

std::size_t MemorySink::ReadAt(std::uint64_t offset, void* to, std::size_t count)
{
    if (offset >= bytes_.size()) return 0;
    const std::size_t done = std::min(count, bytes_.size() - static_cast<std::size_t>(offset));
    std::memcpy(to, bytes_.data() + offset, done);
    return done;
}

Problem MemorySink::Finish()
{
    if (!problem_) *result_ = std::move(bytes_);
    return problem_;
}

} // namespace quarlo
