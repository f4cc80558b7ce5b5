/*
 * Bmp.cpp - BMP files, by the bytes of their headers: the library's own reader takes plain files alone.
 */
#include <algorithm>
#include <cstring>
#include <limits>

#include "Formats.h"
#include "Samples.h"

namespace quarlo
{

namespace
{

constexpr std::uint32_t kFileHead = 14;
constexpr std::uint32_t kCoreHead = 12;
constexpr std::uint32_t kInfoHead = 40;
constexpr std::uint32_t kOtherHead = 64; /* of another system, whose numbers of compressions mean something else */
constexpr std::uint32_t kV5Head = 124;
constexpr std::uint32_t kEmbeddedProfile = 0x4D424544; /* "MBED" */

enum Method : std::uint32_t { plain = 0, rle8 = 1, rle4 = 2, bit_fields = 3, jpeg = 4, png = 5, alpha_fields = 6 };

Problem Damaged(std::string reason) { return {Code::damaged, "read", std::move(reason)}; }

std::uint32_t Number(const std::uint8_t* bytes, int count)
{
    std::uint32_t value = 0;
    for (int k = count - 1; k >= 0; --k) value = value << 8 | bytes[k];
    return value;
}

void Put(std::uint8_t* bytes, int count, std::uint32_t value)
{
    for (int k = 0; k < count; ++k) bytes[k] = static_cast<std::uint8_t>(value >> 8 * k);
}

/* One colour of a pixel of 16 or 32 bits. */
struct Field {
    std::uint32_t mask = 0;
    int shift = 0;
    std::uint32_t max = 0;

    Field() = default;
    explicit Field(std::uint32_t bits) : mask(bits)
    {
        if (mask == 0) return;
        while ((mask >> shift & 1) == 0) ++shift;
        max = mask >> shift;
    }
    unsigned Of(std::uint32_t pixel) const
    {
        if (max == 0) return 0;
        return static_cast<unsigned>((std::uint64_t{(pixel & mask) >> shift} * 255 + max / 2) / max);
    }
};

struct Head {
    std::uint32_t size = 0;
    std::uint32_t pixels_at = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool top_down = false;
    int bits = 0;
    std::uint32_t method = plain;
    std::uint32_t x_per_metre = 0;
    std::uint32_t y_per_metre = 0;
    std::uint32_t colours = 0;
    std::uint32_t masks[4] = {};   /* red, green, blue, alpha */
    std::uint32_t masks_after = 0; /* bytes of masks between the header and the palette */
    std::uint32_t profile_at = 0;
    std::uint32_t profile_size = 0;
};

Problem TakeHead(ByteSource* source, Head* head)
{
    std::uint8_t file[kFileHead + 4];
    std::uint8_t info[kV5Head + 16] = {}; /* masks may follow the header */
    if (source->ReadAt(0, file, sizeof file) < sizeof file) return Damaged("the file is cut short in its header");
    head->pixels_at = Number(file + 10, 4);
    head->size = Number(file + 14, 4);
    if (head->size < kCoreHead || head->size > 4096) return Damaged("the header has an impossible size");
    const std::size_t got = source->ReadAt(kFileHead, info, sizeof info);
    if (got < std::min<std::size_t>(head->size, kV5Head)) return Damaged("the file is cut short in its header");
    if (head->size < kInfoHead) {
        head->width = Number(info + 4, 2);
        head->height = Number(info + 6, 2);
        head->bits = static_cast<int>(Number(info + 10, 2));
        return {};
    }
    head->width = static_cast<std::int32_t>(Number(info + 4, 4));
    head->height = static_cast<std::int32_t>(Number(info + 8, 4));
    head->bits = static_cast<int>(Number(info + 14, 2));
    head->method = Number(info + 16, 4);
    head->x_per_metre = Number(info + 24, 4);
    head->y_per_metre = Number(info + 28, 4);
    head->colours = Number(info + 32, 4);
    head->top_down = head->height < 0;
    if (head->top_down) head->height = -head->height;
    if (head->size == kOtherHead && head->method != plain) head->method = rle8;
    if (head->method == bit_fields || head->method == alpha_fields) {
        const bool inside = head->size >= 52;
        const int count = head->method == alpha_fields || head->size >= 56 ? 4 : 3;
        if (!inside) head->masks_after = 4 * static_cast<std::uint32_t>(count);
        if (got < kInfoHead + 4 * static_cast<std::size_t>(count))
            return Damaged("the file is cut short in its header");
        for (int k = 0; k < count; ++k) head->masks[k] = Number(info + kInfoHead + 4 * k, 4);
    }
    if (head->size >= kV5Head && Number(info + 56, 4) == kEmbeddedProfile) {
        head->profile_at = Number(info + 112, 4);
        head->profile_size = Number(info + 116, 4);
    }
    return {};
}

Problem Check(const Head& head)
{
    if (head.method == rle8 || head.method == rle4 || head.method == jpeg || head.method == png)
        return {Code::unsupported, "read", "the BMP file is compressed; only plain ones are taken"};
    if (head.method != plain && head.method != bit_fields && head.method != alpha_fields)
        return Damaged("the BMP file has an unknown kind of compression");
    if (head.width <= 0 || head.height <= 0) return Damaged("the picture has no pixels");
    if (head.pixels_at < kFileHead + head.size) return Damaged("the pixels begin inside the header");
    const bool deep = head.bits == 16 || head.bits == 32;
    if (head.method != plain && !deep) return Damaged("the BMP file has colour masks, but pixels without any");
    const bool known =
        deep || head.bits == 1 || head.bits == 2 || head.bits == 4 || head.bits == 8 || head.bits == 24;
    return known ? Problem{} : Damaged("the BMP file has pixels of " + std::to_string(head.bits) + " bits");
}

/* Greys where the file has no palette at all. */
Problem TakePalette(ByteSource* source, const Head& head, std::vector<Rgb>* palette)
{
    const std::uint32_t most = 1u << head.bits;
    const std::uint64_t at = kFileHead + std::uint64_t{head.size} + head.masks_after;
    const std::uint32_t entry = head.size < kInfoHead ? 3 : 4;
    const std::uint64_t room = head.pixels_at > at ? (head.pixels_at - at) / entry : 0;
    std::uint64_t count = head.colours == 0 ? most : std::min(head.colours, most);
    count = std::min(count, room);
    Bytes bytes(static_cast<std::size_t>(count) * entry);
    if (source->ReadAt(at, bytes.data(), bytes.size()) < bytes.size())
        return Damaged("the file is cut short in its palette");
    for (std::size_t k = 0; k < count; ++k) {
        const std::uint8_t* colour = bytes.data() + k * entry;
        palette->push_back({colour[2], colour[1], colour[0]});
    }
    for (std::uint32_t k = 0; count == 0 && k < most; ++k) {
        const std::uint8_t grey = static_cast<std::uint8_t>(k * 255 / (most - 1));
        palette->push_back({grey, grey, grey});
    }
    return {};
}

/* Pixels of 16 and 32 bits become red, green, blue and alpha bytes, which the converter takes. */
class DeepRow
{
public:
    explicit DeepRow(const Head& head) : bits_(head.bits)
    {
        constexpr std::uint32_t plain16[4] = {0x7C00, 0x03E0, 0x001F, 0};
        constexpr std::uint32_t plain32[4] = {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
        const std::uint32_t* usual = bits_ == 16 ? plain16 : plain32;
        for (int k = 0; k < 4; ++k) fields_[k] = Field(head.method == plain ? usual[k] : head.masks[k]);
    }
    bool has_alpha() const { return fields_[3].max != 0; }
    unsigned AlphaOf(const std::uint8_t* row, std::int64_t x) const { return fields_[3].Of(PixelAt(row, x)); }
    void Unpack(const std::uint8_t* row, std::int64_t width, bool alpha, std::uint8_t* to) const
    {
        for (std::int64_t x = 0; x < width; ++x)
            for (int k = 0; k < (alpha ? 4 : 3); ++k)
                *to++ = static_cast<std::uint8_t>(fields_[k].Of(PixelAt(row, x)));
    }

private:
    std::uint32_t PixelAt(const std::uint8_t* row, std::int64_t x) const
    {
        return Number(row + x * (bits_ / 8), bits_ / 8);
    }

    int bits_;
    Field fields_[4];
};

/* The rows of a BMP file, first stored row first. */
class Rows
{
public:
    Rows(ByteSource* source, const Head& head)
        : source_(source), at_(head.pixels_at),
          row_(static_cast<std::size_t>(RowBytes(static_cast<std::uint64_t>(head.width), head.bits))),
          stride_((row_.size() + 3) / 4 * 4), reader_(source)
    {
        reader_.Seek(at_);
    }
    /* The padding of the last row may be missing. */
    bool fits(std::int64_t height) const
    {
        const std::uint64_t size = source_->size();
        const std::uint64_t rest = at_ <= size ? size - at_ : 0;
        return rest >= row_.size() && (rest - row_.size()) / stride_ >= static_cast<std::uint64_t>(height - 1);
    }
    bool Next()
    {
        std::uint8_t padding[4];
        if (!first_) reader_.Read(padding, stride_ - row_.size());
        first_ = false;
        return reader_.Read(row_.data(), row_.size()) == row_.size();
    }
    const std::uint8_t* row() const { return row_.data(); }
    Problem Shortage() const { return reader_.Shortage(); }

private:
    ByteSource* source_;
    std::uint64_t at_;
    Bytes row_;
    std::size_t stride_;
    ByteReader reader_;
    bool first_ = true;
};

/* Alpha that is nowhere above 0 was never set: such pictures are meant to be opaque. */
bool AlphaIsSet(ByteSource* source, const Head& head, const DeepRow& deep)
{
    Rows rows(source, head);
    for (std::int64_t y = 0; y < head.height && rows.Next(); ++y)
        for (std::int64_t x = 0; x < head.width; ++x)
            if (deep.AlphaOf(rows.row(), x) != 0) return true;
    return false;
}

void TakeProfile(ByteSource* source, const Head& head, Page* page)
{
    const std::uint64_t at = kFileHead + std::uint64_t{head.profile_at};
    if (head.profile_size == 0 || at > source->size() || head.profile_size > source->size() - at) {
        if (head.profile_size != 0)
            page->warnings.push_back("the colour profile lies beyond the file's end and was left out");
        return;
    }
    page->meta.icc.resize(head.profile_size);
    source->ReadAt(at, page->meta.icc.data(), page->meta.icc.size());
}

} // namespace

Problem ReadBmp(ByteSource* source, const ReadLimits& limits, Page* page)
{
    Head head;
    Problem problem = TakeHead(source, &head);
    if (!problem) problem = Check(head);
    if (problem) return source->problem() ? source->problem() : problem;

    /* The smallest bitmap that the picture can become comes first: what the file cannot hold is not worth a table. */
    const auto width = static_cast<std::uint64_t>(head.width);
    const auto height = static_cast<std::uint64_t>(head.height);
    problem = CheckSize(width, height, head.bits == 1 ? 1 : head.bits <= 8 ? 8 : 24, limits);
    if (problem) return problem;
    Rows rows(source, head);
    if (!rows.fits(head.height)) return Damaged("the file is shorter than its header announces");

    Samples samples;
    samples.width = static_cast<int>(head.width);
    const DeepRow deep(head);
    const bool is_deep = head.bits == 16 || head.bits == 32;
    if (head.bits <= 8) {
        samples.bits = head.bits;
        problem = TakePalette(source, head, &samples.palette);
        if (problem) return source->problem() ? source->problem() : problem;
    } else {
        const bool alpha = is_deep && deep.has_alpha() && AlphaIsSet(source, head, deep);
        samples.colours = 3;
        samples.channels = alpha ? 4 : 3;
        samples.alpha = alpha ? Alpha::straight : Alpha::none;
    }
    RowConverter converter(samples);
    problem = MakeBitmap(width, height, converter.depth(), limits, &page->bitmap);
    if (problem) return problem;

    Bytes unpacked(is_deep ? static_cast<std::size_t>(head.width) * 4 : 0);
    for (std::int64_t k = 0; k < head.height; ++k) {
        if (!rows.Next()) return rows.Shortage();
        std::uint8_t* to = page->bitmap.row(static_cast<int>(head.top_down ? head.height - 1 - k : k));
        if (head.bits == 24) {
            std::memcpy(to, rows.row(), RowBytes(width, 24));
            continue;
        }
        if (is_deep) deep.Unpack(rows.row(), head.width, samples.alpha != Alpha::none, unpacked.data());
        converter.Convert(is_deep ? unpacked.data() : rows.row(), to);
    }
    converter.Warn(&page->warnings);
    if (is_deep)
        page->warnings.push_back("pixels of " + std::to_string(head.bits) + " bits were converted to 24 bits");
    page->meta.depth_in_file = head.bits;
    const bool sensible = head.x_per_metre > 0 && head.y_per_metre > 0 && head.x_per_metre <= 0x7FFFFFFF &&
                          head.y_per_metre <= 0x7FFFFFFF;
    if (sensible)
        page->meta.resolution = {double(head.x_per_metre), double(head.y_per_metre), Resolution::Unit::metre};
    TakeProfile(source, head, page);
    return source->problem();
}

Problem WriteBmp(const Page& page, const WriteOptions&, ByteSink* sink, Warnings* warnings)
{
    const Bitmap& bitmap = page.bitmap;
    const std::size_t row =
        static_cast<std::size_t>(RowBytes(static_cast<std::uint64_t>(bitmap.width()), bitmap.depth()));
    const std::size_t padding = (4 - row % 4) % 4;
    Holds holds;
    holds.resolution = true;
    holds.icc = true;
    WarnOfLoss(page.meta, holds, "BMP", warnings);
    const Bytes profile = FittingProfile(page, warnings);

    /* Only the longest header has a place for a profile. */
    const std::uint32_t info = profile.empty() ? kInfoHead : kV5Head;
    const std::uint32_t colours = bitmap.depth() == 24 ? 0 : 1u << bitmap.depth();
    const std::uint32_t pixels_at = kFileHead + info + 4 * colours;
    const std::uint64_t pixels = std::uint64_t{row + padding} * static_cast<std::uint64_t>(bitmap.height());
    const std::uint64_t size = pixels_at + pixels + profile.size();
    if (size > std::numeric_limits<std::uint32_t>::max())
        return {Code::cannot_hold, "write", "the page is larger than a BMP file can announce"};

    Bytes head(pixels_at);
    head[0] = 'B';
    head[1] = 'M';
    Put(&head[2], 4, static_cast<std::uint32_t>(size));
    Put(&head[10], 4, pixels_at);
    std::uint8_t* fields = &head[kFileHead];
    Put(fields, 4, info);
    Put(fields + 4, 4, static_cast<std::uint32_t>(bitmap.width()));
    Put(fields + 8, 4, static_cast<std::uint32_t>(bitmap.height()));
    Put(fields + 12, 2, 1);
    Put(fields + 14, 2, static_cast<std::uint32_t>(bitmap.depth()));
    Put(fields + 20, 4, static_cast<std::uint32_t>(pixels));
    const Resolution& resolution = page.meta.resolution;
    if (resolution.known()) {
        Put(fields + 24, 4, PerMetre(resolution.x, resolution.unit));
        Put(fields + 28, 4, PerMetre(resolution.y, resolution.unit));
    }
    if (!profile.empty()) {
        Put(fields + 56, 4, kEmbeddedProfile);
        Put(fields + 108, 4, 4); /* intent: as the picture is */
        Put(fields + 112, 4, static_cast<std::uint32_t>(pixels_at + pixels - kFileHead));
        Put(fields + 116, 4, static_cast<std::uint32_t>(profile.size()));
    }
    for (std::uint32_t k = 0; k < colours; ++k)
        std::memset(fields + info + 4 * k, static_cast<int>(k * 255 / (colours - 1)), 3);
    sink->Append(head.data(), head.size());
    const std::uint8_t zeros[4] = {};
    for (int y = 0; y < bitmap.height() && !sink->problem(); ++y) {
        sink->Append(bitmap.row(y), row);
        sink->Append(zeros, padding);
    }
    sink->Append(profile.data(), profile.size());
    return sink->problem();
}

} // namespace quarlo
