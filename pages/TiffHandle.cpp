/*
 * TiffHandle.cpp - libtiff on sources and sinks. No exception may pass through libtiff, so that none leaves a callback.
 */
#include "TiffHandle.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <new>

namespace quarlo
{

namespace
{

TiffHandle* HandleOf(void* handle) { return static_cast<TiffHandle*>(handle); }

std::string Words(const char* format, va_list arguments)
{
    char words[512];
    std::vsnprintf(words, sizeof words, format, arguments);
    std::string text = words;
    while (!text.empty() && (text.back() == '.' || text.back() == ' ' || text.back() == '\n')) text.pop_back();
    return text;
}

} // namespace

TiffHandle::TiffHandle(ByteSource* source) : source_(source)
{
    /* Header only, for pages are found by their places; strips as the file has them. */
    Open("rhc");
}

TiffHandle::TiffHandle(ByteSink* sink, bool big) : sink_(sink) { Open(big ? "w8" : "w"); }

TiffHandle::~TiffHandle()
{
    if (tiff_ == nullptr) return;
    /* What was not flushed is not wanted; libtiff would try again what has failed, and crash over what it lacks. */
    TIFFSetMode(tiff_, O_RDONLY);
    TIFFClose(tiff_);
}

void TiffHandle::Open(const char* mode)
{
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (options == nullptr) throw std::bad_alloc();
    /* More than a bitmap can hold is never needed at once. */
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, std::numeric_limits<std::int32_t>::max());
    TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, this);
    tiff_ = TIFFClientOpenExt("", mode, this, OnRead, OnWrite, OnSeek, OnClose, OnSize, OnMap, OnUnmap, options);
    TIFFOpenOptionsFree(options);
}

void TiffHandle::ForgetMessages()
{
    error_.clear();
    warnings_.clear();
}

tmsize_t TiffHandle::OnRead(thandle_t handle, void* to, tmsize_t count)
{
    TiffHandle* self = HandleOf(handle);
    const std::size_t wanted = static_cast<std::size_t>(count);
    std::size_t got = 0;
    try {
        got = self->source_ != nullptr ? self->source_->ReadAt(self->position_, to, wanted)
                                       : self->sink_->ReadAt(self->position_, to, wanted);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    self->position_ += got;
    return static_cast<tmsize_t>(got);
}

tmsize_t TiffHandle::OnWrite(thandle_t handle, void* from, tmsize_t count)
{
    TiffHandle* self = HandleOf(handle);
    if (self->sink_ == nullptr) return -1;
    try {
        if (!self->sink_->WriteAt(self->position_, from, static_cast<std::size_t>(count))) return -1;
    } catch (const std::bad_alloc&) {
        return -1;
    }
    self->position_ += static_cast<std::uint64_t>(count);
    return count;
}

toff_t TiffHandle::OnSeek(thandle_t handle, toff_t offset, int whence)
{
    TiffHandle* self = HandleOf(handle);
    if (whence == SEEK_SET) self->position_ = offset;
    if (whence == SEEK_CUR) self->position_ += offset;
    if (whence == SEEK_END) self->position_ = self->size() + offset;
    return self->position_;
}

toff_t TiffHandle::OnSize(thandle_t handle) { return HandleOf(handle)->size(); }

int TiffHandle::OnError(TIFF*, void* user, const char*, const char* format, va_list arguments)
{
    TiffHandle* self = HandleOf(user);
    try {
        if (self->error_.empty()) self->error_ = Words(format, arguments);
    } catch (const std::bad_alloc&) {
    }
    return 1;
}

int TiffHandle::OnWarning(TIFF*, void* user, const char*, const char* format, va_list arguments)
{
    constexpr std::size_t most = 20; /* a damaged fax has one for every line */
    TiffHandle* self = HandleOf(user);
    try {
        std::string words = Words(format, arguments);
        /* Tags that libtiff does not know are kept nevertheless. */
        const bool wanted = words.find("Unknown field") == std::string::npos && self->warnings_.size() < most;
        if (wanted) self->warnings_.push_back(std::move(words));
    } catch (const std::bad_alloc&) {
    }
    return 1;
}

bool IsFax(int compression)
{
    return compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTRLEW ||
           compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4;
}

} // namespace quarlo
