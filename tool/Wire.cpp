/*
 * Wire.cpp - what the processes of a call tell each other, as bytes.
 *
 * Each struct names its fields once; the same list packs and unpacks them.
 */
#include "Wire.h"

#include <cstring>
#include <type_traits>

using namespace quarlo;

namespace tool
{

namespace
{

class Packer
{
public:
    template <class... Fields>
    void operator()(const Fields&... fields)
    {
        (Add(fields), ...);
    }
    std::string bytes;

private:
    template <class Value>
    void Add(const Value& value);
    void Add(const std::string& text)
    {
        Add(text.size());
        bytes += text;
    }
    template <class Element>
    void Add(const std::vector<Element>& list)
    {
        Add(list.size());
        for (const Element& element : list) Add(element);
    }
    void Add(const Bytes& list)
    {
        Add(list.size());
        bytes.append(reinterpret_cast<const char*>(list.data()), list.size());
    }
    template <class One, class Two>
    void Add(const std::pair<One, Two>& pair)
    {
        Add(pair.first);
        Add(pair.second);
    }
    template <class Element, size_t count>
    void Add(const std::array<Element, count>& list)
    {
        for (const Element& element : list) Add(element);
    }
};

class Unpacker
{
public:
    explicit Unpacker(std::string_view bytes) : rest_(bytes) {}

    template <class... Fields>
    void operator()(Fields&... fields)
    {
        (Take(fields), ...);
    }
    /* All was there, and nothing else. */
    bool IsWhole() const { return whole_ && rest_.empty(); }

private:
    /* So many bytes; empty: there are fewer. */
    std::string_view TakeBytes(size_t count)
    {
        if (count > rest_.size()) {
            whole_ = false;
            rest_ = {};
            return {};
        }
        const std::string_view bytes = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return bytes;
    }
    size_t TakeCount()
    {
        size_t count = 0;
        Take(count);
        return count;
    }
    template <class Value>
    void Take(Value& value);
    /* Not every byte is a truth value. */
    void Take(bool& flag)
    {
        const std::string_view byte = TakeBytes(1);
        flag = !byte.empty() && byte.front() != 0;
    }
    void Take(std::string& text) { text = TakeBytes(TakeCount()); }
    void Take(Bytes& list)
    {
        const std::string_view bytes = TakeBytes(TakeCount());
        list.assign(bytes.begin(), bytes.end());
    }
    template <class Element>
    void Take(std::vector<Element>& list)
    {
        list.clear();
        /* An element has at least a byte, so that a wrong count ends with the bytes. */
        for (size_t left = TakeCount(); left > 0 && whole_; --left) Take(list.emplace_back());
    }
    template <class One, class Two>
    void Take(std::pair<One, Two>& pair)
    {
        Take(pair.first);
        Take(pair.second);
    }
    template <class Element, size_t count>
    void Take(std::array<Element, count>& list)
    {
        for (Element& element : list) Take(element);
    }

    std::string_view rest_;
    bool whole_ = true;
};

/* ---- The fields of each struct; `value` is constant where it is packed ---- */

template <class Wire, class Value>
void Fields(Wire& wire, Value& value)
{
    using T = std::remove_const_t<Value>;
    if constexpr (std::is_same_v<T, Problem>)
        wire(value.code, value.stage, value.reason);
    else if constexpr (std::is_same_v<T, Source>)
        wire(value.name, value.below);
    else if constexpr (std::is_same_v<T, Wishes>)
        wire(value.targets, value.drawings);
    else if constexpr (std::is_same_v<T, Grants>)
        wire(value.complaints, value.drawings);
    else if constexpr (std::is_same_v<T, Placement>)
        wire(value.scan_width, value.scan_height, value.angle, value.center, value.width, value.height,
             value.lines);
    else if constexpr (std::is_same_v<T, Frame>) /* but for the trace, which is drawn where it is found */
        wire(value.problem, value.found, value.ground, value.threshold, value.prepared, value.placement,
             value.angle_deg, value.corners, value.center, value.width, value.height, value.edges,
             value.parallel_deg, value.square_deg, value.score);
    else if constexpr (std::is_same_v<T, PageReport>)
        wire(value.file, value.page, value.status, value.problem, value.width_in, value.height_in, value.width_out,
             value.height_out, value.resolution, value.depth, value.to_source, value.has_result,
             value.interpolation, value.resampled, value.fill, value.out, value.warnings, value.ms);
    else if constexpr (std::is_same_v<T, TextItem>)
        wire(value.key, value.text, value.language, value.translated_key, value.international, value.compressed);
    else if constexpr (std::is_same_v<T, TiffTag>)
        wire(value.tag, value.type, value.count, value.values);
    else if constexpr (std::is_same_v<T, JpegCoding>)
        wire(value.tables, value.table_of, value.h_sampling, value.v_sampling, value.components, value.progressive);
    else if constexpr (std::is_same_v<T, Metadata>)
        wire(value.format, value.depth_in_file, value.resolution, value.icc, value.srgb_intent, value.exif,
             value.xmp, value.iptc, value.text, value.tags, value.tiff_compression, value.tiff_predictor,
             value.tiff_fill_order, value.white_is_zero, value.jpeg);
    else if constexpr (std::is_same_v<T, PageRecord>)
        wire(value.result, value.target, value.drawing, value.is_file, value.left_out, value.exists);
    else if constexpr (std::is_same_v<T, FileRecord>)
        wire(value.input, value.pages);
    else {
        static_assert(std::is_same_v<T, Outcome>);
        wire(value.record, value.closed_pipe, value.ends);
    }
}

template <class Value>
void Packer::Add(const Value& value)
{
    if constexpr (std::is_trivially_copyable_v<Value>) {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    } else if constexpr (std::is_same_v<Value, PageResult>) {
        const bool has_frame = value.frame != nullptr;
        (*this)(value.report, has_frame, value.drawing, value.thumbnail, value.drawing_problem);
        if (has_frame) Add(*value.frame);
    } else {
        Fields(*this, value);
    }
}

template <class Value>
void Unpacker::Take(Value& value)
{
    if constexpr (std::is_trivially_copyable_v<Value>) {
        const std::string_view taken = TakeBytes(sizeof value);
        if (!taken.empty()) std::memcpy(&value, taken.data(), sizeof value);
    } else if constexpr (std::is_same_v<Value, PageResult>) {
        bool has_frame = false;
        (*this)(value.report, has_frame, value.drawing, value.thumbnail, value.drawing_problem);
        if (!has_frame) return;
        value.frame = std::make_unique<Frame>();
        value.report.frame = value.frame.get();
        Take(*value.frame);
    } else {
        Fields(*this, value);
    }
}

template <class Value>
std::string PackedValue(const Value& value)
{
    Packer packer;
    packer(value);
    return std::move(packer.bytes);
}

template <class Value>
bool UnpackValue(std::string_view bytes, Value* value)
{
    Unpacker unpacker(bytes);
    unpacker(*value);
    return unpacker.IsWhole();
}

/* What of a page's own fields crosses beside the record. */
struct Size {
    int width, height, depth;
};

} // namespace

std::string Packed(const Source& source) { return PackedValue(source); }
std::string Packed(const Wishes& wishes) { return PackedValue(wishes); }
std::string Packed(const Grants& grants) { return PackedValue(grants); }
std::string Packed(const Outcome& outcome) { return PackedValue(outcome); }
std::string Packed(int number) { return PackedValue(number); }

std::string Packed(const PageResult& result)
{
    const Page& page = result.page;
    const Size size = {page.bitmap.width(), page.bitmap.height(), page.bitmap.depth()};
    Packer packer;
    packer(result, size, page.meta, page.warnings);
    return std::move(packer.bytes);
}

bool Unpack(std::string_view bytes, Source* source) { return UnpackValue(bytes, source); }
bool Unpack(std::string_view bytes, Wishes* wishes) { return UnpackValue(bytes, wishes); }
bool Unpack(std::string_view bytes, Grants* grants) { return UnpackValue(bytes, grants); }
bool Unpack(std::string_view bytes, Outcome* outcome) { return UnpackValue(bytes, outcome); }
bool Unpack(std::string_view bytes, int* number) { return UnpackValue(bytes, number); }

bool Unpack(std::string_view bytes, PageResult* result)
{
    Size size = {};
    Unpacker unpacker(bytes);
    unpacker(*result, size, result->page.meta, result->page.warnings);
    if (!unpacker.IsWhole()) return false;
    return size.height == 0 || !Bitmap::Make(size.width, size.height, size.depth, &result->page.bitmap);
}

} // namespace tool
