/*
 * Directory.cpp - directories of tags, read from any source and laid out anew.
 */
#include "Directory.h"

#include <algorithm>
#include <cstring>

namespace quarlo
{

namespace
{

constexpr int kDeepest = 3; /* interoperability, inside EXIF, inside the first directory */

bool LeadsToDirectory(std::uint32_t number)
{
    return number == tag::kExif || number == tag::kGps || number == tag::kInterop;
}

const std::uint16_t kOne = 1;
const bool kMachineIsBigEndian = reinterpret_cast<const std::uint8_t&>(kOne) == 0;

/* What is swapped as one: the halves of a rational are numbers of their own. */
std::size_t WordOfType(std::uint16_t type)
{
    return type == type::kRational || type == type::kSignedRational ? 4 : SizeOfType(type);
}

template <class T>
T ValueAt(const TiffTag& tag, std::uint64_t index)
{
    T value{};
    if ((index + 1) * sizeof(T) <= tag.values.size())
        std::memcpy(&value, tag.values.data() + index * sizeof(T), sizeof(T));
    return value;
}

template <class T>
void Put(T value, Bytes* bytes)
{
    const std::size_t at = bytes->size();
    bytes->resize(at + sizeof value);
    std::memcpy(bytes->data() + at, &value, sizeof value);
}

void PutOffset(std::uint64_t value, bool wide, Bytes* bytes)
{
    if (wide)
        Put(value, bytes);
    else
        Put(static_cast<std::uint32_t>(value), bytes);
}

} // namespace

std::size_t SizeOfType(std::uint16_t type)
{
    constexpr std::uint8_t sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < sizeof sizes ? sizes[type] : 0;
}

double NumberAt(const TiffTag& tag, std::uint64_t index)
{
    switch (tag.type) {
    case type::kRational: {
        const double below = ValueAt<std::uint32_t>(tag, 2 * index + 1);
        return below > 0.0 ? ValueAt<std::uint32_t>(tag, 2 * index) / below : 0.0;
    }
    case type::kSignedRational: {
        const double below = ValueAt<std::int32_t>(tag, 2 * index + 1);
        return below != 0.0 ? ValueAt<std::int32_t>(tag, 2 * index) / below : 0.0;
    }
    case type::kFloat:
        return ValueAt<float>(tag, index);
    case type::kDouble:
        return ValueAt<double>(tag, index);
    default:
        return static_cast<double>(WholeAt(tag, index));
    }
}

std::uint64_t WholeAt(const TiffTag& tag, std::uint64_t index)
{
    switch (WordOfType(tag.type)) {
    case 1:
        return ValueAt<std::uint8_t>(tag, index);
    case 2:
        return ValueAt<std::uint16_t>(tag, index);
    case 4:
        return ValueAt<std::uint32_t>(tag, index);
    default:
        return ValueAt<std::uint64_t>(tag, index);
    }
}

TiffTag NumberTag(std::uint32_t number, std::uint16_t type, std::uint64_t value)
{
    TiffTag made = {number, type, 1, {}};
    if (SizeOfType(type) == 2)
        Put(static_cast<std::uint16_t>(value), &made.values);
    else
        PutOffset(value, SizeOfType(type) == 8, &made.values);
    return made;
}

const TiffTag* Directory::Find(std::uint32_t number) const
{
    for (const TiffTag& tag : tags)
        if (tag.tag == number) return &tag;
    return nullptr;
}

const Directory* Directory::FindChild(std::uint32_t number) const
{
    for (const Child& child : children)
        if (child.tag == number) return &child.directory;
    return nullptr;
}

/* ---- Reading ---- */

std::uint64_t DirectoryReader::Number(const std::uint8_t* bytes, std::size_t count) const
{
    std::uint64_t value = 0;
    for (std::size_t k = 0; k < count; ++k) value = value << 8 | bytes[big_endian_ ? k : count - 1 - k];
    return value;
}

bool DirectoryReader::Open()
{
    std::uint8_t head[16];
    const std::size_t got = source_->ReadAt(0, head, sizeof head);
    if (got < 8 || head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return false;
    big_endian_ = head[0] == 'M';
    const std::uint64_t version = Number(head + 2, 2);
    wide_ = version == 43;
    if (wide_ && (got < 16 || Number(head + 4, 2) != 8)) return false;
    first_ = wide_ ? Number(head + 8, 8) : Number(head + 4, 4);
    return wide_ || version == 42;
}

bool DirectoryReader::Entries(std::uint64_t place, std::vector<Entry>* entries, std::uint64_t* next) const
{
    const std::size_t count_bytes = wide_ ? 8 : 2;
    const std::size_t entry_bytes = wide_ ? 20 : 12;
    const std::size_t offset_bytes = wide_ ? 8 : 4;
    std::uint8_t head[8];
    if (source_->ReadAt(place, head, count_bytes) < count_bytes) return false;
    const std::uint64_t count = Number(head, count_bytes);
    if (count > 65535) return false;
    Bytes block(static_cast<std::size_t>(count) * entry_bytes + offset_bytes);
    const std::size_t got = source_->ReadAt(place + count_bytes, block.data(), block.size());
    if (got < block.size() - offset_bytes) return false;
    for (std::uint64_t k = 0; k < count; ++k) {
        const std::uint8_t* at = block.data() + k * entry_bytes;
        Entry entry;
        entry.number = static_cast<std::uint32_t>(Number(at, 2));
        entry.type = static_cast<std::uint16_t>(Number(at + 2, 2));
        entry.count = Number(at + 4, offset_bytes);
        const std::size_t size = SizeOfType(entry.type);
        const bool inside = size == 0 || entry.count <= offset_bytes / size;
        const std::uint64_t field = place + count_bytes + k * entry_bytes + 4 + offset_bytes;
        entry.position = inside ? field : Number(at + 4 + offset_bytes, offset_bytes);
        entries->push_back(entry);
    }
    /* Some writers end the file before the last directory's link, which leads nowhere. */
    *next = got < block.size() ? 0 : Number(block.data() + count * entry_bytes, offset_bytes);
    return true;
}

bool DirectoryReader::Values(const Entry& entry, TiffTag* tag) const
{
    const std::size_t size = SizeOfType(entry.type);
    const std::uint64_t end = source_->size();
    if (size == 0 || entry.position > end || entry.count > (end - entry.position) / size) return false;
    *tag = {entry.number, entry.type, entry.count, Bytes(static_cast<std::size_t>(entry.count * size))};
    if (source_->ReadAt(entry.position, tag->values.data(), tag->values.size()) < tag->values.size()) return false;
    const std::size_t word = WordOfType(entry.type);
    if (big_endian_ != kMachineIsBigEndian && word > 1)
        for (auto at = tag->values.begin(); at != tag->values.end(); at += static_cast<std::ptrdiff_t>(word))
            std::reverse(at, at + static_cast<std::ptrdiff_t>(word));
    return true;
}

std::uint64_t DirectoryReader::BytesApart(const Entry& entry) const
{
    const std::uint64_t size = SizeOfType(entry.type);
    const std::uint64_t inside = wide_ ? 8 : 4;
    if (size == 0 || entry.count <= inside / size) return 0;
    return entry.count <= source_->size() / size ? entry.count * size : source_->size() + 1;
}

bool DirectoryReader::Branch(std::uint64_t place, int depth, std::uint64_t* room, Directory* directory,
                             std::vector<std::uint32_t>* left_out) const
{
    std::vector<Entry> entries;
    std::uint64_t next = 0;
    if (!Entries(place, &entries, &next)) return false;
    /* Honest entries and values do not overlap: all of them together have room in the file. */
    const std::uint64_t taken = entries.size() * (wide_ ? 20 : 12);
    if (taken > *room) return false;
    *room -= taken;
    for (const Entry& entry : entries) {
        TiffTag tag;
        const std::uint64_t apart = BytesApart(entry);
        const bool fits = apart <= *room && Values(entry, &tag);
        if (fits) *room -= apart;
        if (fits && !LeadsToDirectory(entry.number)) {
            directory->tags.push_back(std::move(tag));
            continue;
        }
        Directory::Child child = {entry.number, {}};
        if (fits && depth < kDeepest && Branch(WholeAt(tag, 0), depth + 1, room, &child.directory, left_out))
            directory->children.push_back(std::move(child));
        else
            left_out->push_back(entry.number);
    }
    return true;
}

bool DirectoryReader::Tree(std::uint64_t place, Directory* directory, std::vector<std::uint32_t>* left_out) const
{
    std::uint64_t room = source_->size();
    return Branch(place, 1, &room, directory, left_out);
}

/* ---- Laying out ---- */

Bytes PutDirectory(const Directory& directory, const DirectoryLayout& layout)
{
    const std::size_t offset_bytes = layout.wide ? 8 : 4;
    std::vector<TiffTag> tags = directory.tags;
    for (const Directory::Child& child : directory.children)
        tags.push_back(NumberTag(child.tag, layout.wide ? type::kLong8 : type::kLong, 0));
    std::stable_sort(tags.begin(), tags.end(), [](const TiffTag& a, const TiffTag& b) { return a.tag < b.tag; });

    const std::uint64_t head_bytes = (layout.wide ? 8 : 2) + tags.size() * (layout.wide ? 20 : 12) + offset_bytes;
    const std::uint64_t after_head = layout.place + head_bytes;
    Bytes values;
    const auto place_next = [&] {
        if ((after_head + values.size()) % 2 != 0) values.push_back(0);
        return after_head + values.size();
    };
    Bytes head;
    if (layout.wide)
        Put(std::uint64_t{tags.size()}, &head);
    else
        Put(static_cast<std::uint16_t>(tags.size()), &head);
    for (TiffTag& tag : tags) {
        if (const Directory* child = directory.FindChild(tag.tag)) {
            const std::uint64_t place = place_next();
            const Bytes inner = PutDirectory(*child, {place, layout.wide});
            values.insert(values.end(), inner.begin(), inner.end());
            tag = NumberTag(tag.tag, tag.type, place);
        }
        Put(static_cast<std::uint16_t>(tag.tag), &head);
        Put(tag.type, &head);
        PutOffset(tag.count, layout.wide, &head);
        if (tag.values.size() <= offset_bytes) {
            head.insert(head.end(), tag.values.begin(), tag.values.end());
            head.resize(head.size() + offset_bytes - tag.values.size());
            continue;
        }
        PutOffset(place_next(), layout.wide, &head);
        values.insert(values.end(), tag.values.begin(), tag.values.end());
    }
    PutOffset(0, layout.wide, &head);
    head.insert(head.end(), values.begin(), values.end());
    return head;
}

} // namespace quarlo
