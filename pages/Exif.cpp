/*
 * Exif.cpp - EXIF and XMP, changed in place where a value has room, so that everything else in them stays as it was.
 */
#include "Exif.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace quarlo
{

namespace
{

constexpr std::size_t kHeader = 8; /* bytes before the first directory of EXIF data made here */

/* A TIFF structure in memory whose values can be changed in place. */
class Editor
{
public:
    explicit Editor(Bytes* bytes) : bytes_(bytes), source_(*bytes), reader_(&source_)
    {
        open_ = reader_.Open() && !reader_.wide() && reader_.Entries(reader_.first(), &entries_, &next_);
        if (!open_) entries_.clear();
    }

    bool has_next() const { return open_ && next_ != 0; }

    void Set(std::uint32_t number, std::uint32_t value) { Set(entries_, number, value); }
    void SetInExif(std::uint32_t number, std::uint32_t value)
    {
        std::vector<DirectoryReader::Entry> entries;
        std::uint64_t next = 0;
        TiffTag pointer;
        for (const auto& entry : entries_)
            if (entry.number == tag::kExif && reader_.Values(entry, &pointer) &&
                reader_.Entries(WholeAt(pointer, 0), &entries, &next))
                Set(entries, number, value);
    }
    void UnlinkNext()
    {
        /* The link follows the entries. */
        const std::uint64_t link = reader_.first() + 2 + 12 * entries_.size();
        if (link + 4 <= bytes_->size()) std::memset(bytes_->data() + link, 0, 4);
    }

private:
    void Set(const std::vector<DirectoryReader::Entry>& entries, std::uint32_t number, std::uint32_t value)
    {
        for (const auto& entry : entries) {
            const std::size_t size = SizeOfType(entry.type);
            const bool whole = entry.type == type::kShort || entry.type == type::kLong;
            if (entry.number != number || !whole || entry.count != 1 || entry.position + size > bytes_->size())
                continue;
            for (std::size_t k = 0; k < size; ++k) {
                const std::size_t shift = 8 * (reader_.big_endian() ? size - 1 - k : k);
                (*bytes_)[entry.position + k] = static_cast<std::uint8_t>(value >> shift);
            }
        }
    }

    Bytes* bytes_;
    MemorySource source_;
    DirectoryReader reader_;
    std::vector<DirectoryReader::Entry> entries_;
    std::uint64_t next_ = 0;
    bool open_ = false;
};

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/* tiff:Orientation="6" or <tiff:Orientation>6</tiff:Orientation>: the digit becomes 1. */
void ResetXmp(Bytes* xmp)
{
    constexpr std::string_view name = "tiff:Orientation";
    const std::string_view text(reinterpret_cast<const char*>(xmp->data()), xmp->size());
    for (std::size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1)) {
        std::size_t k = at + name.size();
        while (k < text.size() &&
               (IsSpace(text[k]) || text[k] == '=' || text[k] == '"' || text[k] == '\'' || text[k] == '>'))
            ++k;
        if (k < text.size() && text[k] >= '2' && text[k] <= '8') (*xmp)[k] = '1';
    }
}

} // namespace

bool TakeExif(const Bytes& exif, Directory* directory)
{
    MemorySource source(exif);
    DirectoryReader reader(&source);
    std::vector<std::uint32_t> left_out;
    return reader.Open() && !reader.wide() && reader.Tree(reader.first(), directory, &left_out);
}

Bytes PutExif(const Directory& directory)
{
    if (directory.tags.empty() && directory.children.empty()) return {};
    const std::uint16_t version = 42;
    const std::uint32_t first = kHeader;
    const bool big_endian = reinterpret_cast<const std::uint8_t*>(&version)[0] == 0;
    Bytes bytes(kHeader, big_endian ? 'M' : 'I');
    std::memcpy(bytes.data() + 2, &version, sizeof version);
    std::memcpy(bytes.data() + 4, &first, sizeof first);
    const Bytes inner = PutDirectory(directory, {kHeader, false});
    bytes.insert(bytes.end(), inner.begin(), inner.end());
    return bytes;
}

int OrientationOf(const Bytes& exif)
{
    Directory directory;
    if (exif.empty() || !TakeExif(exif, &directory)) return 1;
    const TiffTag* found = directory.Find(tag::kOrientation);
    return found == nullptr ? 1 : static_cast<int>(WholeAt(*found, 0) & 0xFFFF);
}

Resolution ResolutionOf(const Directory& directory)
{
    Resolution resolution;
    const TiffTag* x = directory.Find(tag::kXResolution);
    const TiffTag* y = directory.Find(tag::kYResolution);
    const TiffTag* unit = directory.Find(tag::kResolutionUnit);
    if (x == nullptr && y == nullptr) return resolution;
    resolution.x = NumberAt(*(x != nullptr ? x : y), 0);
    resolution.y = NumberAt(*(y != nullptr ? y : x), 0);
    if (!(resolution.x > 0.0) || !(resolution.y > 0.0)) return {};
    const std::uint64_t number = unit == nullptr ? 2 : WholeAt(*unit, 0);
    if (number == 2) resolution.unit = Resolution::Unit::inch;
    if (number == 3) resolution.unit = Resolution::Unit::centimetre;
    return resolution;
}

Resolution ExifResolution(const Bytes& exif)
{
    Directory directory;
    return !exif.empty() && TakeExif(exif, &directory) ? ResolutionOf(directory) : Resolution{};
}

void ResetOrientation(Metadata* meta)
{
    if (!meta->exif.empty()) Editor(&meta->exif).Set(tag::kOrientation, 1);
    if (!meta->xmp.empty()) ResetXmp(&meta->xmp);
}

bool UpdateExif(int width, int height, Bytes* exif)
{
    Editor editor(exif);
    editor.SetInExif(tag::kPixelWidth, static_cast<std::uint32_t>(width));
    editor.SetInExif(tag::kPixelHeight, static_cast<std::uint32_t>(height));
    const bool had_next = editor.has_next();
    if (had_next) editor.UnlinkNext();
    return had_next;
}

bool IsSharedText(std::uint32_t number)
{
    constexpr std::uint32_t shared[] = {tag::kDescription, tag::kMake,   tag::kModel,        tag::kSoftware,
                                        tag::kDateTime,    tag::kArtist, tag::kHostComputer, tag::kCopyright};
    return std::find(std::begin(shared), std::end(shared), number) != std::end(shared);
}

Bytes ExifForFile(const Page& page, std::vector<std::string>* warnings)
{
    const Metadata& meta = page.meta;
    Directory directory;
    if (!meta.exif.empty() && !TakeExif(meta.exif, &directory)) {
        warnings->push_back("the EXIF data are damaged and were left out");
        directory = {};
    }
    bool added = false;
    for (const TiffTag& text : meta.tags) {
        if (!IsSharedText(text.tag) || directory.Find(text.tag) != nullptr) continue;
        directory.tags.push_back(text);
        added = true;
    }
    /* Data to which nothing is added stay byte for byte: notes of makers hold offsets that nobody else understands. */
    Bytes exif = added || directory.tags.size() + directory.children.size() == 0 ? PutExif(directory) : meta.exif;
    if (!exif.empty() && UpdateExif(page.bitmap.width(), page.bitmap.height(), &exif))
        warnings->push_back("the thumbnail in the EXIF data shows the scan and was left out");
    return exif;
}

} // namespace quarlo
