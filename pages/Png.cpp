/*
 * Png.cpp - PNG files through libpng.
 */
#include <cstring>
#include <new>
#include <png.h>
#include <zlib.h>

#include "Exif.h"
#include "Formats.h"
#include "Guard.h"
#include "Samples.h"

namespace quarlo
{

namespace
{

/* What reading and writing share: libpng's words, and the way out when it fails. */
struct Session {
    std::jmp_buf jump;
    std::string error;
    Warnings* warnings = nullptr;
    bool out_of_memory = false;

    /* No exception may pass through libpng. */
    void Note(const char* words, bool is_error) noexcept
    {
        try {
            if (is_error)
                error = words;
            else
                warnings->push_back(std::string("libpng: ") + words);
        } catch (const std::bad_alloc&) {
            out_of_memory = true;
        }
    }
    Problem Failure(Code code, const char* stage) const
    {
        if (out_of_memory || error.find("ut of memory") != std::string::npos)
            return {Code::out_of_memory, stage, "memory ran out"};
        return {code, stage, error};
    }
};

[[noreturn]] void OnError(png_structp png, png_const_charp words)
{
    Session* session = static_cast<Session*>(png_get_error_ptr(png));
    session->Note(words, true);
    std::longjmp(session->jump, 1); // NOLINT(cert-err52-cpp): the one way out of libpng
}

void OnWarning(png_structp png, png_const_charp words)
{
    static_cast<Session*>(png_get_error_ptr(png))->Note(words, false);
}

/* ---- Reading ---- */

struct Reading : Session {
    explicit Reading(ByteSource* source) : reader(source) {}
    ~Reading() { png_destroy_read_struct(&png, &info, nullptr); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    ByteReader reader;
    png_structp png = nullptr;
    png_infop info = nullptr;
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int passes = 1;
    int bits_in_file = 0;
    Samples samples;
    Bytes rows; /* one row, or all of an interlaced picture */
};

void ReadBytes(png_structp png, png_bytep to, png_size_t count)
{
    Reading* reading = static_cast<Reading*>(png_get_io_ptr(png));
    if (reading->reader.Read(to, count) < count) png_error(png, "the file is cut short");
}

/* A palette with transparent entries is laid over white at once. */
void TakePalette(Reading* reading)
{
    png_colorp colours = nullptr;
    int count = 0;
    png_bytep alphas = nullptr;
    int alpha_count = 0;
    if (png_get_PLTE(reading->png, reading->info, &colours, &count) == 0) return;
    png_get_tRNS(reading->png, reading->info, &alphas, &alpha_count, nullptr);
    bool translucent = false;
    for (int k = 0; k < count; ++k) {
        const unsigned alpha = alphas != nullptr && k < alpha_count ? alphas[k] : 255;
        translucent = translucent || alpha < 255;
        reading->samples.palette.push_back({OverWhite(colours[k].red, alpha), OverWhite(colours[k].green, alpha),
                                            OverWhite(colours[k].blue, alpha)});
    }
    if (translucent) reading->warnings->push_back("transparency was laid over white");
}

/* Everything before the pixels. */
void ReadHead(Reading* reading)
{
    png_structp png = reading->png;
    png_infop info = reading->info;
    png_set_read_fn(png, reading, ReadBytes);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    /* Chunks that are kept in memory: enough for any profile, too little for harm. */
    png_set_chunk_malloc_max(png, 64 << 20);
    png_read_info(png, info);
    reading->width = png_get_image_width(png, info);
    reading->height = png_get_image_height(png, info);
    const int kind = png_get_color_type(png, info);
    reading->bits_in_file = png_get_bit_depth(png, info) * png_get_channels(png, info);
    if (kind == PNG_COLOR_TYPE_PALETTE)
        TakePalette(reading);
    else if (png_get_valid(png, info, PNG_INFO_tRNS) != 0)
        png_set_tRNS_to_alpha(png);
    reading->passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);

    Samples& samples = reading->samples;
    samples.bits = png_get_bit_depth(png, info);
    samples.channels = png_get_channels(png, info);
    samples.colours = samples.channels >= 3 ? 3 : 1;
    samples.alpha = samples.channels % 2 == 0 ? Alpha::straight : Alpha::none;
    samples.big_endian = true;
}

/* The pixels of a picture that is stored in one pass go row by row through the converter. */
void ReadRows(Reading* reading, RowConverter* converter, Bitmap* bitmap)
{
    const std::size_t row = png_get_rowbytes(reading->png, reading->info);
    const int height = bitmap->height();
    for (int pass = 0; pass < reading->passes; ++pass)
        for (int y = 0; y < height; ++y) {
            std::uint8_t* at = reading->rows.data() + (reading->passes > 1 ? row * static_cast<std::size_t>(y) : 0);
            png_read_row(reading->png, at, nullptr);
            if (pass + 1 == reading->passes) converter->Convert(at, bitmap->row(height - 1 - y));
        }
    png_read_end(reading->png, reading->info);
}

void TakeTexts(Reading* reading, Metadata* meta)
{
    png_textp texts = nullptr;
    int count = 0;
    png_get_text(reading->png, reading->info, &texts, &count);
    for (int k = 0; k < count; ++k) {
        const png_text& text = texts[k];
        const bool international = text.compression >= PNG_ITXT_COMPRESSION_NONE;
        const std::size_t length = international ? text.itxt_length : text.text_length;
        const std::string words(text.text == nullptr ? "" : text.text, text.text == nullptr ? 0 : length);
        if (international && std::strcmp(text.key, kXmpKey) == 0) {
            meta->xmp.assign(words.begin(), words.end());
            continue;
        }
        TextItem item;
        item.key = text.key;
        item.text = words;
        if (international && text.lang != nullptr) item.language = text.lang;
        if (international && text.lang_key != nullptr) item.translated_key = text.lang_key;
        item.international = international;
        item.compressed =
            text.compression == PNG_TEXT_COMPRESSION_zTXt || text.compression == PNG_ITXT_COMPRESSION_zTXt;
        meta->text.push_back(std::move(item));
    }
}

void TakeMetadata(Reading* reading, Page* page)
{
    png_structp png = reading->png;
    png_infop info = reading->info;
    Metadata& meta = page->meta;
    meta.depth_in_file = reading->bits_in_file;
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &x, &y, &unit) != 0 && x > 0 && y > 0)
        meta.resolution = {double(x), double(y),
                           unit == PNG_RESOLUTION_METER ? Resolution::Unit::metre : Resolution::Unit::unknown};
    png_charp name = nullptr;
    int method = 0;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(png, info, &name, &method, &profile, &length) != 0) meta.icc.assign(profile, profile + length);
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(png, info, &length, &exif) != 0) meta.exif.assign(exif, exif + length);
    TakeTexts(reading, &meta);
    png_get_sRGB(png, info, &meta.srgb_intent);
    const bool own_gamma = png_get_valid(png, info, PNG_INFO_gAMA | PNG_INFO_cHRM) != 0 &&
                           png_get_valid(png, info, PNG_INFO_sRGB | PNG_INFO_iCCP) == 0;
    double gamma = 0.0;
    if (own_gamma && png_get_gAMA(png, info, &gamma) != 0 && (gamma < 0.45 || gamma > 0.46))
        page->warnings.push_back("the gamma of the file was left out");
}

/* ---- Writing ---- */

struct Writing : Session {
    explicit Writing(ByteSink* to) : sink(to) {}
    ~Writing() { png_destroy_write_struct(&png, &info); }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

    ByteSink* sink;
    png_structp png = nullptr;
    png_infop info = nullptr;
    Bytes icc;
    Bytes exif;
    std::string xmp;
    std::vector<png_text> texts;
};

void WriteBytes(png_structp png, png_bytep from, png_size_t count)
{
    Writing* writing = static_cast<Writing*>(png_get_io_ptr(png));
    bool stored = false;
    try {
        stored = writing->sink->Append(from, count);
    } catch (const std::bad_alloc&) {
        writing->out_of_memory = true;
    }
    if (!stored) png_error(png, "the file cannot be written");
}

/* The sink flushes itself when the file is finished. */
void FlushBytes(png_structp) {}

/* libpng takes texts without const, and leaves them as they are. */
char* Unconst(const std::string& text) { return const_cast<char*>(text.c_str()); }

void CollectTexts(const Metadata& meta, Writing* writing)
{
    for (const TextItem& item : meta.text) {
        /* libpng wants keys of 1 to 79 characters; comments from elsewhere have a key that fits. */
        if (item.key.empty() || item.key.size() > 79) {
            writing->warnings->push_back("a text whose key has no or too many characters was left out");
            continue;
        }
        png_text text = {};
        text.compression = item.international
                               ? (item.compressed ? PNG_ITXT_COMPRESSION_zTXt : PNG_ITXT_COMPRESSION_NONE)
                               : (item.compressed ? PNG_TEXT_COMPRESSION_zTXt : PNG_TEXT_COMPRESSION_NONE);
        text.key = Unconst(item.key);
        text.text = Unconst(item.text);
        (item.international ? text.itxt_length : text.text_length) = item.text.size();
        text.lang = Unconst(item.language);
        text.lang_key = Unconst(item.translated_key);
        writing->texts.push_back(text);
    }
    if (meta.xmp.empty()) return;
    writing->xmp.assign(meta.xmp.begin(), meta.xmp.end());
    png_text text = {};
    text.compression = PNG_ITXT_COMPRESSION_NONE;
    text.key = const_cast<char*>(kXmpKey);
    text.text = Unconst(writing->xmp);
    text.itxt_length = writing->xmp.size();
    text.lang = const_cast<char*>("");
    text.lang_key = const_cast<char*>("");
    writing->texts.push_back(text);
}

void WritePicture(Writing* writing, const Page& page, bool compressed)
{
    png_structp png = writing->png;
    png_infop info = writing->info;
    const Bitmap& bitmap = page.bitmap;
    png_set_write_fn(png, writing, WriteBytes, FlushBytes);
    png_set_benign_errors(png, 1); /* what is wrong with a profile or a text is worth a warning */
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    if (!compressed) png_set_compression_level(png, Z_NO_COMPRESSION);
    png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.width()), static_cast<png_uint_32>(bitmap.height()),
                 bitmap.depth() == 1 ? 1 : 8, bitmap.depth() == 24 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const Resolution& resolution = page.meta.resolution;
    if (resolution.x >= 1.0 && resolution.y >= 1.0)
        png_set_pHYs(png, info, PerMetre(resolution.x, resolution.unit), PerMetre(resolution.y, resolution.unit),
                     resolution.known() ? PNG_RESOLUTION_METER : PNG_RESOLUTION_UNKNOWN);
    if (!writing->icc.empty())
        png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, writing->icc.data(),
                     static_cast<png_uint_32>(writing->icc.size()));
    else if (page.meta.srgb_intent >= 0)
        png_set_sRGB(png, info, page.meta.srgb_intent);
    if (!writing->exif.empty())
        png_set_eXIf_1(png, info, static_cast<png_uint_32>(writing->exif.size()), writing->exif.data());
    if (!writing->texts.empty())
        png_set_text(png, info, writing->texts.data(), static_cast<int>(writing->texts.size()));
    png_write_info(png, info);
    png_set_bgr(png);
    for (int y = bitmap.height() - 1; y >= 0; --y) png_write_row(png, bitmap.row(y));
    png_write_end(png,
                  nullptr); /* all has been said before the pixels; told again, libpng would write eXIf twice */
}

} // namespace

Problem ReadPng(ByteSource* source, const ReadLimits& limits, Page* page)
{
    Reading reading(source);
    reading.warnings = &page->warnings;
    const auto failure = [&] {
        return source->problem() ? source->problem() : reading.Failure(Code::damaged, "read");
    };
    reading.png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, static_cast<Session*>(&reading), OnError, OnWarning);
    if (reading.png != nullptr) reading.info = png_create_info_struct(reading.png);
    if (reading.info == nullptr) return {Code::out_of_memory, "read", "memory ran out"};
    if (!Guarded(reading.jump, [&] { ReadHead(&reading); })) return failure();

    Problem problem = CheckSize(reading.width, reading.height, 1, limits);
    if (problem) return problem;
    reading.samples.width = static_cast<int>(reading.width);
    RowConverter converter(reading.samples);
    problem = MakeBitmap(reading.width, reading.height, converter.depth(), limits, &page->bitmap);
    if (problem) return problem;
    const std::size_t rows = reading.passes > 1 ? reading.height : 1;
    reading.rows.resize(png_get_rowbytes(reading.png, reading.info) * rows);
    if (!Guarded(reading.jump, [&] { ReadRows(&reading, &converter, &page->bitmap); })) return failure();

    converter.Warn(&page->warnings);
    TakeMetadata(&reading, page);
    problem = Orient(OrientationOf(page->meta.exif), page);
    ResetOrientation(&page->meta);
    return problem;
}

Problem WritePng(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings)
{
    Writing writing(sink);
    writing.warnings = warnings;
    Holds holds;
    holds.resolution = holds.icc = holds.exif = holds.xmp = holds.text = true;
    WarnOfLoss(page.meta, holds, "PNG", warnings);
    writing.icc = FittingProfile(page, warnings);
    writing.exif = ExifForFile(page, warnings);
    CollectTexts(page.meta, &writing);
    writing.png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, static_cast<Session*>(&writing), OnError, OnWarning);
    if (writing.png != nullptr) writing.info = png_create_info_struct(writing.png);
    if (writing.info == nullptr) return {Code::out_of_memory, "write", "memory ran out"};
    const bool compressed = options.compression != Compression::none;
    if (Guarded(writing.jump, [&] { WritePicture(&writing, page, compressed); })) return {};
    return writing.Failure(Code::cannot_write, "write");
}

} // namespace quarlo
