/*
 * TiffHandle.h - a TIFF file that libtiff has open on a source or a sink, with its messages kept apart from all others.
 */
#ifndef QUARLO_PAGES_TIFFHANDLE_H
#define QUARLO_PAGES_TIFFHANDLE_H

#include <cstdarg>
#include <string>
/* Its old names of types are those of StructTypes.h as well. */
#define TIFF_DISABLE_DEPRECATED
#include <tiffio.h>

#include "Formats.h"

namespace quarlo
{

class TiffHandle
{
public:
    /** For reading; the source has to live as long. */
    explicit TiffHandle(ByteSource* source);
    /** For writing; `big` for offsets of 64 bits. */
    TiffHandle(ByteSink* sink, bool big);
    ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    TIFF* get() const { return tiff_; }
    /** Writes what libtiff still holds; false when that fails. */
    bool Flush() { return TIFFFlush(tiff_) != 0; }

    void ForgetMessages();
    const std::string& error() const { return error_; } /**< the first since ForgetMessages */
    const Warnings& warnings() const { return warnings_; }

private:
    void Open(const char* mode);
    std::uint64_t size() const { return source_ != nullptr ? source_->size() : sink_->size(); }

    static tmsize_t OnRead(thandle_t handle, void* to, tmsize_t count);
    static tmsize_t OnWrite(thandle_t handle, void* from, tmsize_t count);
    static toff_t OnSeek(thandle_t handle, toff_t offset, int whence);
    static int OnClose(thandle_t) { return 0; }
    static toff_t OnSize(thandle_t handle);
    static int OnMap(thandle_t, void**, toff_t*) { return 0; }
    static void OnUnmap(thandle_t, void*, toff_t) {}
    static int OnError(TIFF*, void* user, const char* module, const char* format, va_list arguments);
    static int OnWarning(TIFF*, void* user, const char* module, const char* format, va_list arguments);

    ByteSource* source_ = nullptr;
    ByteSink* sink_ = nullptr;
    std::uint64_t position_ = 0;
    TIFF* tiff_ = nullptr;
    std::string error_;
    Warnings warnings_;
};

/** Numbers of TIFF's compressions that this library reads and writes itself. */
bool IsFax(int compression);

} // namespace quarlo

#endif
