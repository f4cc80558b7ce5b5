/*
 * Pnm.cpp - PBM, PGM and PPM, as text and as bytes.
 */
#include <cctype>
#include <cstring>

#include "Formats.h"
#include "Samples.h"

namespace quarlo
{

namespace
{

Problem Damaged(std::string reason) { return {Code::damaged, "read", std::move(reason)}; }

/* The numbers of a header, or of a picture written as text, with comments in between. */
class Numbers
{
public:
    explicit Numbers(ByteReader* reader) : reader_(reader) {}

    /* False where none follows, or one too large for any use. */
    bool Next(std::uint64_t* value)
    {
        SkipBlanks();
        if (!std::isdigit(reader_->Peek())) return false;
        *value = 0;
        while (std::isdigit(reader_->Peek())) {
            *value = *value * 10 + static_cast<std::uint64_t>(reader_->Get() - '0');
            if (*value > 0xFFFFFFFF) return false;
        }
        return true;
    }
    /* Bits written as text need no blanks in between. */
    bool NextBit(unsigned* bit)
    {
        SkipBlanks();
        const int c = reader_->Get();
        *bit = static_cast<unsigned>(c - '0');
        return c == '0' || c == '1';
    }

private:
    void SkipBlanks()
    {
        for (int c = reader_->Peek(); std::isspace(c) || c == '#'; c = reader_->Peek()) {
            if (c == '#')
                while (c != '\n' && c != '\r' && c != -1) c = reader_->Get();
            else
                reader_->Get();
        }
    }

    ByteReader* reader_;
};

struct Head {
    int kind = 0; /* the digit after the P */
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t max = 1;

    bool is_text() const { return kind <= 3; }
    bool is_bits() const { return kind == 1 || kind == 4; }
    int colours() const { return kind == 3 || kind == 6 ? 3 : 1; }
};

Problem TakeHead(ByteReader* reader, Head* head)
{
    reader->Get(); /* the P, by which the format was known */
    head->kind = reader->Get() - '0';
    if (head->kind == 7) return {Code::unsupported, "read", "PAM files (P7) are not taken"};
    Numbers numbers(reader);
    bool whole = numbers.Next(&head->width) && numbers.Next(&head->height);
    if (!head->is_bits()) whole = whole && numbers.Next(&head->max);
    if (!whole) return reader->left() == 0 ? reader->Shortage() : Damaged("the header is damaged");
    if (head->max < 1 || head->max > 65535) return Damaged("the largest value has to be between 1 and 65535");
    if (!head->is_text()) reader->Get(); /* the one blank before the bytes */
    return {};
}

/* A row of text, as the bytes that the other kind of file would hold. */
bool ReadTextRow(Numbers* numbers, const Samples& samples, std::uint8_t* row)
{
    const std::int64_t count = std::int64_t{samples.width} * samples.channels;
    if (samples.bits == 1) std::memset(row, 0, static_cast<std::size_t>((count + 7) / 8));
    for (std::int64_t k = 0; k < count; ++k) {
        std::uint64_t value = 0;
        unsigned bit = 0;
        if (samples.bits == 1) {
            if (!numbers->NextBit(&bit)) return false;
            row[k / 8] = static_cast<std::uint8_t>(row[k / 8] | bit << (7 - k % 8));
            continue;
        }
        if (!numbers->Next(&value)) return false;
        if (value > samples.max) value = samples.max; /* which the bits have room for */
        if (samples.bits == 16) *row++ = static_cast<std::uint8_t>(value >> 8);
        *row++ = static_cast<std::uint8_t>(value);
    }
    return true;
}

bool MoreFollows(ByteReader* reader)
{
    while (std::isspace(reader->Peek())) reader->Get();
    return reader->Peek() != -1;
}

} // namespace

Problem ReadPnm(ByteSource* source, const ReadLimits& limits, Page* page)
{
    ByteReader reader(source);
    Head head;
    Problem problem = TakeHead(&reader, &head);
    if (problem) return problem;

    Samples samples;
    samples.bits = head.is_bits() ? 1 : head.max > 255 ? 16 : 8;
    samples.max = static_cast<unsigned>(head.max);
    samples.channels = head.colours();
    samples.colours = head.colours();
    samples.big_endian = true;
    samples.white_is_zero = head.is_bits();
    const int pixel_bits = samples.bits * samples.channels;
    const int depth = head.is_bits() ? 1 : 8 * samples.channels;
    problem = CheckSize(head.width, head.height, depth, limits);
    if (problem) return problem;
    samples.width = static_cast<int>(head.width);
    const std::uint64_t row_bytes = RowBytes(head.width, pixel_bits);
    const std::uint64_t least =
        head.is_text() ? head.width * static_cast<std::uint64_t>(samples.channels) : row_bytes;
    if (reader.left() / least < head.height) return Damaged("the file is shorter than its header announces");

    RowConverter converter(samples);
    problem = MakeBitmap(head.width, head.height, depth, limits, &page->bitmap);
    if (problem) return problem;
    Numbers numbers(&reader);
    Bytes row(static_cast<std::size_t>(row_bytes));
    for (int y = page->bitmap.height() - 1; y >= 0; --y) {
        const bool whole = head.is_text() ? ReadTextRow(&numbers, samples, row.data())
                                          : reader.Read(row.data(), row.size()) == row.size();
        if (!whole)
            return reader.left() == 0 ? reader.Shortage() : Damaged("something else stands among the pixels");
        converter.Convert(row.data(), page->bitmap.row(y));
    }
    converter.Warn(&page->warnings);
    if (MoreFollows(&reader)) page->warnings.push_back("what follows the first picture was left out");
    page->meta.depth_in_file = pixel_bits;
    return source->problem();
}

Problem WritePnm(const Page& page, const WriteOptions&, ByteSink* sink, Warnings* warnings)
{
    const Bitmap& bitmap = page.bitmap;
    WarnOfLoss(page.meta, Holds{}, "PNM", warnings);
    const char kind = bitmap.depth() == 1 ? '4' : bitmap.depth() == 8 ? '5' : '6';
    const std::string head = std::string("P") + kind + "\n" + std::to_string(bitmap.width()) + " " +
                             std::to_string(bitmap.height()) + (kind == '4' ? "\n" : "\n255\n");
    sink->Append(head.data(), head.size());

    Samples samples; /* black is the set bit here, and red comes first */
    samples.width = bitmap.width();
    samples.bits = bitmap.depth() == 1 ? 1 : 8;
    samples.channels = samples.colours = bitmap.depth() == 24 ? 3 : 1;
    samples.white_is_zero = bitmap.depth() == 1;
    RowConverter converter(samples);
    Bytes row(static_cast<std::size_t>(RowBytes(static_cast<std::uint64_t>(bitmap.width()), bitmap.depth())));
    for (int y = bitmap.height() - 1; y >= 0 && !sink->problem(); --y) {
        converter.Convert(bitmap.row(y), row.data());
        sink->Append(row.data(), row.size());
    }
    return sink->problem();
}

} // namespace quarlo
