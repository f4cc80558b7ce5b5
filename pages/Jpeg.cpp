/*
 * Jpeg.cpp - JPEG files through libjpeg.
 *
 * A page that came from a JPEG stream is written with the tables, the sampling and the kind of that stream again, so
 * that it loses as little as it can. Others get quality 90. At 90 and above colours are stored in full, below that at
 * half the size in both directions.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <jerror.h>
#include <jpeglib.h>

#include "BitmapProcessing.h"
#include "Exif.h"
#include "Formats.h"
#include "Guard.h"
#include "Samples.h"

namespace quarlo
{

namespace
{

constexpr int kUsualQuality = 90;
constexpr int kMostScans =
    100; /* of a progressive stream; honest ones have ten, and each costs a pass over the picture */
constexpr std::size_t kMostInMarker = 65533;
constexpr char kExifMark[] = "Exif\0"; /* with the closing zero, six bytes */
constexpr char kXmpMark[] = "http://ns.adobe.com/xap/1.0/";
constexpr char kPhotoshopMark[] = "Photoshop 3.0";
constexpr unsigned kIptcResource = 0x0404;

/* What reading and writing share: libjpeg's words, and the way out when it fails. */
struct Session {
    jpeg_error_mgr manager; /* first, so that its address is the session's */
    std::jmp_buf jump;
    int code = 0;
    char error[JMSG_LENGTH_MAX] = "";
    char damage[JMSG_LENGTH_MAX] = ""; /* the first warning that means lost pixels */
    Warnings* warnings = nullptr;

    Problem Failure(Code usual, const char* stage) const
    {
        switch (code) {
        case JERR_OUT_OF_MEMORY:
            return {Code::out_of_memory, stage, "memory ran out"};
        case JERR_BAD_PRECISION:
        case JERR_SOF_UNSUPPORTED:
        case JERR_ARITH_NOTIMPL:
        case JERR_CONVERSION_NOTIMPL:
        case JERR_NOT_COMPILED:
            return {Code::unsupported, stage, error};
        default:
            return {usual, stage, error};
        }
    }
};

[[noreturn]] void OnError(j_common_ptr common)
{
    Session* session = reinterpret_cast<Session*>(common->err);
    session->code = common->err->msg_code;
    common->err->format_message(common, session->error);
    std::longjmp(session->jump, 1); // NOLINT(cert-err52-cpp): the one way out of libjpeg
}

/* Warnings that leave the pixels whole. */
bool IsHarmless(int code)
{
    return code == JWRN_EXTRANEOUS_DATA || code == JWRN_ADOBE_XFORM || code == JWRN_JFIF_MAJOR ||
           code == JWRN_BOGUS_PROGRESSION || code == JWRN_BOGUS_ICC;
}

void OnMessage(j_common_ptr common, int level)
{
    if (level >= 0) return;
    Session* session = reinterpret_cast<Session*>(common->err);
    char words[JMSG_LENGTH_MAX];
    common->err->format_message(common, words);
    if (!IsHarmless(common->err->msg_code)) {
        if (session->damage[0] == 0) std::memcpy(session->damage, words, sizeof words);
        return;
    }
    /* No exception may pass through libjpeg; a warning is not worth more. */
    try {
        if (session->warnings != nullptr) session->warnings->push_back(std::string("libjpeg: ") + words);
    } catch (const std::bad_alloc&) {
    }
}

void PrintNothing(j_common_ptr) {}

jpeg_error_mgr* Prepare(Session* session)
{
    jpeg_std_error(&session->manager);
    session->manager.error_exit = OnError;
    session->manager.emit_message = OnMessage;
    session->manager.output_message = PrintNothing;
    return &session->manager;
}

/* ---- Reading ---- */

struct Reading : Session {
    explicit Reading(ByteSource* bytes) : reader(bytes) { jpeg.err = Prepare(this); }
    ~Reading() { jpeg_destroy_decompress(&jpeg); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    ByteReader reader;
    jpeg_decompress_struct jpeg = {};
    jpeg_source_mgr source = {};
    jpeg_progress_mgr progress = {};
};

boolean FillInput(j_decompress_ptr jpeg)
{
    Reading* reading = static_cast<Reading*>(jpeg->client_data);
    const std::uint8_t* bytes = nullptr;
    const std::size_t count = reading->reader.Take(&bytes);
    if (count == 0) ERREXIT(jpeg, JERR_INPUT_EOF);
    jpeg->src->next_input_byte = bytes;
    jpeg->src->bytes_in_buffer = count;
    return TRUE;
}

void SkipInput(j_decompress_ptr jpeg, long count)
{
    while (count > 0 && static_cast<std::size_t>(count) > jpeg->src->bytes_in_buffer) {
        count -= static_cast<long>(jpeg->src->bytes_in_buffer);
        FillInput(jpeg);
    }
    if (count <= 0) return;
    jpeg->src->next_input_byte += count;
    jpeg->src->bytes_in_buffer -= static_cast<std::size_t>(count);
}

void DoNothing(j_decompress_ptr) {}

void LimitScans(j_common_ptr common)
{
    j_decompress_ptr jpeg = reinterpret_cast<j_decompress_ptr>(common);
    if (jpeg->input_scan_number <= kMostScans) return;
    Session* session = reinterpret_cast<Session*>(common->err);
    std::snprintf(session->error, sizeof session->error, "more than %d scans", kMostScans);
    std::longjmp(session->jump, 1); // NOLINT(cert-err52-cpp): the one way out of libjpeg
}

void Connect(Reading* reading)
{
    jpeg_decompress_struct& jpeg = reading->jpeg;
    jpeg_create_decompress(&jpeg);
    jpeg.client_data = reading;
    reading->source = {nullptr, 0, DoNothing, FillInput, SkipInput, jpeg_resync_to_restart, DoNothing};
    jpeg.src = &reading->source;
    reading->progress.progress_monitor = LimitScans;
    jpeg.progress = &reading->progress;
}

void ReadHead(Reading* reading)
{
    Connect(reading);
    for (int k = 0; k < 16; ++k) jpeg_save_markers(&reading->jpeg, JPEG_APP0 + k, 0xFFFF);
    jpeg_save_markers(&reading->jpeg, JPEG_COM, 0xFFFF);
    jpeg_read_header(&reading->jpeg, TRUE);
}

void ReadRows(Reading* reading, Bitmap* bitmap)
{
    jpeg_decompress_struct& jpeg = reading->jpeg;
    jpeg.out_color_space = bitmap->depth() == 24 ? JCS_EXT_BGR : JCS_GRAYSCALE;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = bitmap->row(bitmap->height() - 1 - static_cast<int>(jpeg.output_scanline));
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
}

void TakeCoding(const jpeg_decompress_struct& jpeg, JpegCoding* coding)
{
    if (jpeg.num_components != 1 && jpeg.num_components != 3) return;
    coding->components = jpeg.num_components;
    coding->progressive = jpeg.progressive_mode != FALSE;
    std::array<int, NUM_QUANT_TBLS> places;
    places.fill(-1);
    for (int k = 0; k < jpeg.num_components; ++k) {
        const jpeg_component_info& component = jpeg.comp_info[k];
        const std::size_t c = static_cast<std::size_t>(k);
        coding->h_sampling[c] = component.h_samp_factor;
        coding->v_sampling[c] = component.v_samp_factor;
        const int number = component.quant_tbl_no;
        if (number < 0 || number >= NUM_QUANT_TBLS) continue;
        /* Tables may change between scans: what a component was coded with is kept with it. */
        const JQUANT_TBL* table =
            component.quant_table != nullptr ? component.quant_table : jpeg.quant_tbl_ptrs[number];
        if (table == nullptr) {
            coding->tables.clear();
            return;
        }
        int& place = places[static_cast<std::size_t>(number)];
        if (place < 0) {
            place = static_cast<int>(coding->tables.size());
            coding->tables.emplace_back();
            std::copy(std::begin(table->quantval), std::end(table->quantval), coding->tables.back().begin());
        }
        coding->table_of[c] = place;
    }
}

bool HasMark(const jpeg_marker_struct* marker, const char* mark, std::size_t length)
{
    return marker->data_length >= length && std::memcmp(marker->data, mark, length) == 0;
}

Bytes After(const jpeg_marker_struct* marker, std::size_t length)
{
    return Bytes(marker->data + length, marker->data + marker->data_length);
}

/* The IPTC data among the resources of a Photoshop segment. */
void TakeIptc(const Bytes& resources, Page* page)
{
    bool others = false;
    std::size_t at = 0;
    while (at + 12 <= resources.size() && std::memcmp(&resources[at], "8BIM", 4) == 0) {
        const unsigned number = static_cast<unsigned>(resources[at + 4] << 8 | resources[at + 5]);
        const std::size_t name = (std::size_t{resources[at + 6]} + 2) / 2 * 2; /* with its length, even */
        const std::size_t size_at = at + 6 + name;
        if (size_at + 4 > resources.size()) break;
        std::size_t size = 0;
        for (std::size_t k = 0; k < 4; ++k) size = size << 8 | resources[size_at + k];
        const std::size_t begin = size_at + 4;
        if (size > resources.size() - begin) break;
        const auto first = resources.begin() + static_cast<std::ptrdiff_t>(begin);
        if (number == kIptcResource)
            page->meta.iptc.assign(first, first + static_cast<std::ptrdiff_t>(size));
        else
            others = true;
        at = begin + size + size % 2;
    }
    if (others) page->warnings.push_back("settings of an image editor beside the IPTC data were left out");
}

void TakeMarkers(const jpeg_decompress_struct& jpeg, Page* page)
{
    std::string unknown;
    for (jpeg_saved_marker_ptr marker = jpeg.marker_list; marker != nullptr; marker = marker->next) {
        Metadata& meta = page->meta;
        if (marker->marker == JPEG_COM) {
            TextItem item;
            item.key = kCommentKey;
            item.text.assign(reinterpret_cast<const char*>(marker->data), marker->data_length);
            meta.text.push_back(std::move(item));
        } else if (marker->marker == JPEG_APP0 || marker->marker == JPEG_APP0 + 14 ||
                   (marker->marker == JPEG_APP0 + 2 && HasMark(marker, "ICC_PROFILE", 12))) {
            continue; /* libjpeg reads these itself */
        } else if (marker->marker == JPEG_APP0 + 1 && HasMark(marker, kExifMark, 6) && meta.exif.empty()) {
            meta.exif = After(marker, 6);
        } else if (marker->marker == JPEG_APP0 + 1 && HasMark(marker, kXmpMark, sizeof kXmpMark)) {
            meta.xmp = After(marker, sizeof kXmpMark);
        } else if (marker->marker == JPEG_APP0 + 13 && HasMark(marker, kPhotoshopMark, sizeof kPhotoshopMark)) {
            TakeIptc(After(marker, sizeof kPhotoshopMark), page);
        } else {
            unknown +=
                (unknown.empty() ? "" : ", ") + std::string("APP") + std::to_string(marker->marker - JPEG_APP0);
        }
    }
    if (!unknown.empty()) page->warnings.push_back("segments of unknown content were left out (" + unknown + ")");
}

struct Freed {
    JOCTET* bytes = nullptr;
    ~Freed() { std::free(bytes); }
};

void TakeProfile(Reading* reading, Bytes* icc)
{
    Freed profile;
    unsigned length = 0;
    boolean found = FALSE;
    if (!Guarded(reading->jump, [&] { found = jpeg_read_icc_profile(&reading->jpeg, &profile.bytes, &length); }))
        return;
    if (found != FALSE) icc->assign(profile.bytes, profile.bytes + length);
}

Resolution ResolutionOf(const jpeg_decompress_struct& jpeg)
{
    Resolution resolution;
    if (jpeg.saw_JFIF_marker == FALSE || jpeg.X_density == 0 || jpeg.Y_density == 0) return resolution;
    resolution.x = jpeg.X_density;
    resolution.y = jpeg.Y_density;
    if (jpeg.density_unit == 1) resolution.unit = Resolution::Unit::inch;
    if (jpeg.density_unit == 2) resolution.unit = Resolution::Unit::centimetre;
    return resolution;
}

/* ---- Writing ---- */

struct Writing : Session {
    explicit Writing(ByteSink* to) : sink(to), buffer(1 << 16) { jpeg.err = Prepare(this); }
    ~Writing() { jpeg_destroy_compress(&jpeg); }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

    ByteSink* sink;
    Bytes buffer;
    jpeg_compress_struct jpeg = {};
    jpeg_destination_mgr destination = {};
    bool out_of_memory = false;
    Bytes row;
    Bytes icc;
    std::vector<std::pair<int, Bytes>> markers;
};

void InitOutput(j_compress_ptr jpeg)
{
    Writing* writing = static_cast<Writing*>(jpeg->client_data);
    jpeg->dest->next_output_byte = writing->buffer.data();
    jpeg->dest->free_in_buffer = writing->buffer.size();
}

void Hand(j_compress_ptr jpeg, std::size_t count)
{
    Writing* writing = static_cast<Writing*>(jpeg->client_data);
    bool stored = false;
    try {
        stored = writing->sink->Append(writing->buffer.data(), count);
    } catch (const std::bad_alloc&) {
        writing->out_of_memory = true;
    }
    if (!stored) ERREXIT(jpeg, JERR_FILE_WRITE);
}

boolean EmptyOutput(j_compress_ptr jpeg)
{
    Writing* writing = static_cast<Writing*>(jpeg->client_data);
    Hand(jpeg, writing->buffer.size());
    InitOutput(jpeg);
    return TRUE;
}

void EndOutput(j_compress_ptr jpeg)
{
    const Writing* writing = static_cast<const Writing*>(jpeg->client_data);
    Hand(jpeg, writing->buffer.size() - jpeg->dest->free_in_buffer);
}

/* libjpeg's encoder takes no more than ten blocks in a unit, and no sampling that is a fraction of the finest. */
bool CanSample(const JpegCoding& coding)
{
    int blocks = 0;
    int h_most = 1;
    int v_most = 1;
    for (std::size_t c = 0; c < 3; ++c) {
        blocks += coding.h_sampling[c] * coding.v_sampling[c];
        h_most = std::max(h_most, coding.h_sampling[c]);
        v_most = std::max(v_most, coding.v_sampling[c]);
    }
    for (std::size_t c = 0; c < 3; ++c) {
        const int h = coding.h_sampling[c];
        const int v = coding.v_sampling[c];
        if (h < 1 || v < 1 || h > 4 || v > 4 || h_most % h != 0 || v_most % v != 0) return false;
    }
    return blocks <= 10;
}

/* Tables, sampling and kind of the stream that the page came from. */
void SetCoding(const JpegCoding& coding, jpeg_compress_struct* jpeg)
{
    const std::size_t tables = std::min<std::size_t>(coding.tables.size(), NUM_QUANT_TBLS);
    for (std::size_t k = 0; k < tables; ++k) {
        unsigned values[DCTSIZE2];
        for (std::size_t i = 0; i < DCTSIZE2; ++i) values[i] = coding.tables[k][i];
        jpeg_add_quant_table(jpeg, static_cast<int>(k), values, 100, FALSE);
    }
    const bool sampled = jpeg->num_components == 3 && coding.components == 3 && CanSample(coding);
    for (int k = 0; k < jpeg->num_components; ++k) {
        const std::size_t c = static_cast<std::size_t>(k);
        const int table = coding.table_of[coding.components == 3 ? c : 0];
        jpeg->comp_info[k].quant_tbl_no = table >= 0 && static_cast<std::size_t>(table) < tables ? table : 0;
        jpeg->comp_info[k].h_samp_factor = sampled ? coding.h_sampling[c] : 1;
        jpeg->comp_info[k].v_samp_factor = sampled ? coding.v_sampling[c] : 1;
    }
    if (coding.progressive) jpeg_simple_progression(jpeg);
}

void SetQuality(int quality, jpeg_compress_struct* jpeg)
{
    jpeg_set_quality(jpeg, quality, TRUE);
    if (quality < kUsualQuality) return;
    for (int k = 0; k < jpeg->num_components; ++k)
        jpeg->comp_info[k].h_samp_factor = jpeg->comp_info[k].v_samp_factor = 1;
}

struct Stream {
    const Page* page = nullptr;
    int quality = 0;
    bool alone = true; /* with marks of its own; false: inside of a TIFF file */
    int density_unit = 0;
    int x_density = 1;
    int y_density = 1;
};

void Encode(Writing* writing, const Stream& stream)
{
    jpeg_compress_struct& jpeg = writing->jpeg;
    const Bitmap& bitmap = stream.page->bitmap;
    const JpegCoding& coding = stream.page->meta.jpeg;
    jpeg_create_compress(&jpeg);
    jpeg.client_data = writing;
    writing->destination = {nullptr, 0, InitOutput, EmptyOutput, EndOutput};
    jpeg.dest = &writing->destination;
    jpeg.image_width = static_cast<JDIMENSION>(bitmap.width());
    jpeg.image_height = static_cast<JDIMENSION>(bitmap.height());
    jpeg.input_components = bitmap.depth() == 24 ? 3 : 1;
    jpeg.in_color_space = bitmap.depth() == 24 ? JCS_EXT_BGR : JCS_GRAYSCALE;
    jpeg_set_defaults(&jpeg);
    jpeg.optimize_coding = TRUE;
    if (stream.quality == 0 && !coding.tables.empty())
        SetCoding(coding, &jpeg);
    else
        SetQuality(stream.quality == 0 ? kUsualQuality : stream.quality, &jpeg);
    jpeg.write_JFIF_header = stream.alone ? TRUE : FALSE;
    jpeg.density_unit = static_cast<UINT8>(stream.density_unit);
    jpeg.X_density = static_cast<UINT16>(stream.x_density);
    jpeg.Y_density = static_cast<UINT16>(stream.y_density);
    jpeg_start_compress(&jpeg, TRUE);
    for (std::size_t k = 0; k < writing->markers.size(); ++k)
        jpeg_write_marker(&jpeg, writing->markers[k].first, writing->markers[k].second.data(),
                          static_cast<unsigned>(writing->markers[k].second.size()));
    if (!writing->icc.empty())
        jpeg_write_icc_profile(&jpeg, writing->icc.data(), static_cast<unsigned>(writing->icc.size()));
    while (jpeg.next_scanline < jpeg.image_height) {
        const std::uint8_t* from = bitmap.row(bitmap.height() - 1 - static_cast<int>(jpeg.next_scanline));
        std::memcpy(writing->row.data(), from, writing->row.size());
        JSAMPROW row = writing->row.data();
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
}

Problem Run(Writing* writing, const Stream& stream)
{
    const Bitmap& bitmap = stream.page->bitmap;
    if (bitmap.width() > JPEG_MAX_DIMENSION || bitmap.height() > JPEG_MAX_DIMENSION)
        return {Code::cannot_hold, "write", "JPEG holds at most 65500 pixels in each direction"};
    writing->row.resize(
        static_cast<std::size_t>(RowBytes(static_cast<std::uint64_t>(bitmap.width()), bitmap.depth())));
    if (Guarded(writing->jump, [&] { Encode(writing, stream); })) return {};
    if (writing->out_of_memory) return {Code::out_of_memory, "write", "memory ran out"};
    return writing->Failure(Code::cannot_write, "write");
}

void AddMarker(int number, const void* mark, std::size_t length, const Bytes& content, const char* name,
               Writing* writing)
{
    if (content.empty()) return;
    if (content.size() > kMostInMarker - length) {
        writing->warnings->push_back(std::string("the ") + name +
                                     " are larger than JPEG can hold and were left out");
        return;
    }
    const std::uint8_t* first = static_cast<const std::uint8_t*>(mark);
    Bytes bytes(first, first + length);
    bytes.insert(bytes.end(), content.begin(), content.end());
    writing->markers.emplace_back(number, std::move(bytes));
}

Bytes IptcResource(const Bytes& iptc)
{
    if (iptc.empty()) return {};
    Bytes bytes = {'8', 'B', 'I', 'M', kIptcResource >> 8, kIptcResource & 0xFF, 0, 0};
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(iptc.size() >> shift));
    bytes.insert(bytes.end(), iptc.begin(), iptc.end());
    if (iptc.size() % 2 != 0) bytes.push_back(0);
    return bytes;
}

/* Densities are whole numbers of 16 bits. */
void SetDensity(const Resolution& resolution, Stream* stream, Warnings* warnings)
{
    const auto is_whole = [](double value) { return value == std::floor(value); };
    double x = resolution.x;
    double y = resolution.y;
    int unit = 0;
    if (resolution.unit == Resolution::Unit::centimetre && is_whole(x) && is_whole(y)) {
        unit = 2;
    } else if (resolution.known()) {
        unit = 1;
        x = resolution.dpi_x();
        y = resolution.dpi_y();
    }
    const double x_whole = std::round(x);
    const double y_whole = std::round(y);
    if (!(x_whole >= 1.0 && y_whole >= 1.0 && x_whole <= 65535.0 && y_whole <= 65535.0)) {
        if (resolution.known()) warnings->push_back("JPEG cannot hold the resolution");
        return;
    }
    if (x_whole != x || y_whole != y) warnings->push_back("the resolution was rounded to whole numbers");
    stream->density_unit = unit;
    stream->x_density = static_cast<int>(x_whole);
    stream->y_density = static_cast<int>(y_whole);
}

} // namespace

Problem ReadJpeg(ByteSource* source, const ReadLimits& limits, Page* page)
{
    Reading reading(source);
    reading.warnings = &page->warnings;
    const auto failure = [&] {
        return source->problem() ? source->problem() : reading.Failure(Code::damaged, "read");
    };
    if (!Guarded(reading.jump, [&] { ReadHead(&reading); })) return failure();

    const jpeg_decompress_struct& jpeg = reading.jpeg;
    const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    if (!grey && jpeg.jpeg_color_space != JCS_YCbCr && jpeg.jpeg_color_space != JCS_RGB)
        return {Code::unsupported, "read",
                jpeg.num_components == 4 ? "CMYK pictures are not taken"
                                         : "the JPEG file has colours of an unknown kind"};
    Problem problem = MakeBitmap(jpeg.image_width, jpeg.image_height, grey ? 8 : 24, limits, &page->bitmap);
    if (problem) return problem;
    if (!Guarded(reading.jump, [&] { ReadRows(&reading, &page->bitmap); })) return failure();

    Metadata& meta = page->meta;
    meta.depth_in_file = grey ? 8 : 24;
    TakeMarkers(jpeg, page);
    TakeProfile(&reading, &meta.icc);
    meta.resolution = ResolutionOf(jpeg);
    if (!meta.resolution.known()) {
        const Resolution other = ExifResolution(meta.exif);
        if (other.known()) meta.resolution = other;
    }
    TakeCoding(jpeg, &meta.jpeg);
    /* The end comes last: libjpeg forgets markers and tables with it. */
    if (!Guarded(reading.jump, [&] { jpeg_finish_decompress(&reading.jpeg); })) return failure();
    if (reading.damage[0] != 0) return {Code::damaged, "read", reading.damage};
    problem = Orient(OrientationOf(meta.exif), page);
    ResetOrientation(&meta);
    return problem;
}

JpegCoding CodingOf(const Bytes& tables, const Bytes& stream)
{
    JpegCoding coding;
    Bytes bytes = tables;
    bytes.insert(bytes.end(), stream.begin(), stream.end());
    MemorySource source(std::move(bytes));
    Reading reading(&source);
    const bool read = Guarded(reading.jump, [&] {
        Connect(&reading);
        /* Tables alone come first; jpeg_read_header then goes on with the stream. */
        if (jpeg_read_header(&reading.jpeg, FALSE) == JPEG_HEADER_TABLES_ONLY)
            jpeg_read_header(&reading.jpeg, TRUE);
    });
    if (read) TakeCoding(reading.jpeg, &coding);
    return coding;
}

Problem EncodeJpeg(const Page& page, int quality, ByteSink* sink, JpegCoding* coding)
{
    Writing writing(sink);
    Stream stream;
    stream.page = &page;
    stream.quality = quality;
    stream.alone = false;
    Problem problem = Run(&writing, stream);
    if (problem) return problem;
    coding->components = writing.jpeg.num_components;
    for (int k = 0; k < writing.jpeg.num_components; ++k) {
        coding->h_sampling[static_cast<std::size_t>(k)] = writing.jpeg.comp_info[k].h_samp_factor;
        coding->v_sampling[static_cast<std::size_t>(k)] = writing.jpeg.comp_info[k].v_samp_factor;
    }
    return {};
}

Problem WriteJpeg(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings)
{
    if (page.bitmap.depth() == 1) {
        Page grey;
        const sint32 code = GetGrayBitmap(page.bitmap.rec(), grey.bitmap.rec());
        if (code != QL_SUCCESS) return {static_cast<Code>(code), "write", "memory ran out"};
        grey.meta = page.meta;
        warnings->push_back("JPEG cannot hold 1 bit: the page was written with 8 bits");
        return WriteJpeg(grey, options, sink, warnings);
    }
    Writing writing(sink);
    writing.warnings = warnings;
    Holds holds;
    holds.resolution = holds.icc = holds.exif = holds.xmp = holds.iptc = holds.comments = true;
    WarnOfLoss(page.meta, holds, "JPEG", warnings);
    Stream stream;
    stream.page = &page;
    stream.quality = options.quality;
    SetDensity(page.meta.resolution, &stream, warnings);
    writing.icc = FittingProfile(page, warnings);
    AddMarker(JPEG_APP0 + 1, kExifMark, 6, ExifForFile(page, warnings), "EXIF data", &writing);
    AddMarker(JPEG_APP0 + 1, kXmpMark, sizeof kXmpMark, page.meta.xmp, "XMP data", &writing);
    AddMarker(JPEG_APP0 + 13, kPhotoshopMark, sizeof kPhotoshopMark, IptcResource(page.meta.iptc), "IPTC data",
              &writing);
    for (const TextItem& item : page.meta.text)
        if (item.key == kCommentKey)
            AddMarker(JPEG_COM, "", 0, Bytes(item.text.begin(), item.text.end()), "comments", &writing);
    return Run(&writing, stream);
}

} // namespace quarlo
