/*
 * TiffWriter.cpp - TIFF files through libtiff.
 *
 * A page that came from a TIFF file is compressed as it was there, as far as its depth allows. Other pages get G4 when
 * they have 1 bit, else Deflate with the horizontal predictor, which loses nothing; so do pages from JPEG files, whose
 * losses shall not grow unasked.
 */
#include <algorithm>
#include <cstring>
#include <deque>

#include "Exif.h"
#include "Samples.h"
#include "TiffHandle.h"

namespace quarlo
{

namespace
{

constexpr std::uint64_t kStripBytes = 1 << 18;
constexpr std::uint64_t kClassicMost = 0xFFFFFFFF; /* what offsets of 32 bits reach */

bool IsJpeg(int compression) { return compression == COMPRESSION_JPEG; }

bool IsPredicted(int compression)
{
    return compression == COMPRESSION_LZW || compression == COMPRESSION_ADOBE_DEFLATE ||
           compression == COMPRESSION_DEFLATE;
}

/* The source's compression where it is one that loses nothing, or JPEG, and the depth allows it. */
bool CanKeep(int compression, int depth)
{
    if (IsFax(compression)) return depth == 1 && compression != COMPRESSION_CCITTRLEW;
    if (IsJpeg(compression)) return depth != 1;
    const bool common = compression == COMPRESSION_NONE || compression == COMPRESSION_PACKBITS ||
                        IsPredicted(compression) || compression == COMPRESSION_LZMA ||
                        compression == COMPRESSION_ZSTD;
    return common && TIFFIsCODECConfigured(static_cast<std::uint16_t>(compression)) != 0;
}

int CompressionFor(const WriteOptions& options, const Page& page)
{
    const int depth = page.bitmap.depth();
    switch (options.compression) {
    case Compression::none:
        return COMPRESSION_NONE;
    case Compression::lzw:
        return COMPRESSION_LZW;
    case Compression::deflate:
        return COMPRESSION_ADOBE_DEFLATE;
    case Compression::g4:
        return COMPRESSION_CCITTFAX4;
    case Compression::jpeg:
        return COMPRESSION_JPEG;
    case Compression::same:
        break;
    }
    const int kept = page.meta.tiff_compression;
    if (kept != 0 && CanKeep(kept, depth)) return kept;
    return depth == 1 ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE;
}

/* Texts end with a zero, which some writers leave out. */
std::string TextOf(const TiffTag& tag)
{
    return std::string(tag.values.begin(), std::find(tag.values.begin(), tag.values.end(), 0));
}

bool IsFloating(std::uint16_t type)
{
    return type == type::kRational || type == type::kSignedRational || type == type::kFloat ||
           type == type::kDouble;
}

bool IsWhole(std::uint16_t type) { return type != type::kAscii && !IsFloating(type); }

class Writer : public TiffWriter
{
public:
    Writer(const WriteOptions& options, ByteSink* sink)
        : options_(options), sink_(sink), big_(options.raw_bytes > kClassicMost), file_(sink, big_)
    {
    }

    Problem Add(const Page& page, Warnings* warnings) override
    {
        if (file_.get() == nullptr) return Failure();
        page_ = &page;
        warnings_ = warnings;
        compression_ = CompressionFor(options_, page);
        file_.ForgetMessages();
        Holds holds;
        holds.resolution = holds.icc = holds.exif = holds.xmp = holds.iptc = holds.tags = true;
        WarnOfLoss(page.meta, holds, "TIFF", warnings);
        all_set_ = true;
        Problem problem = PutPixels();
        if (problem) return problem;
        /* As where there is no memory for a compression: libtiff would go on without. */
        if (!all_set_) return Failure();
        for (const std::string& words : file_.warnings()) warnings->push_back("libtiff: " + words);
        file_.ForgetMessages();
        return TIFFWriteDirectory(file_.get()) != 0 && file_.error().empty() ? Problem{} : Failure();
    }

    Problem Finish() override { return file_.Flush() && !sink_->problem() ? Problem{} : Failure(); }

private:
    Problem Failure() const
    {
        if (sink_->problem()) return sink_->problem();
        if (!big_ && sink_->size() > kClassicMost - 0x7FFFFFFF &&
            file_.error().find("Maximum TIFF") != std::string::npos)
            return {Code::cannot_hold, "write", "the file would be larger than 4 GiB"};
        return {Code::cannot_write, "write", file_.error().empty() ? "the file cannot be written" : file_.error()};
    }

    template <class... Values>
    void Set(std::uint32_t tag, Values... values)
    {
        if (TIFFSetField(file_.get(), tag, values...) == 0) all_set_ = false;
    }

    Problem PutPixels()
    {
        if (IsJpeg(compression_)) return PutJpeg();
        PutFields();
        return PutStrips();
    }

    void PutFields()
    {
        const Bitmap& bitmap = page_->bitmap;
        const Metadata& meta = page_->meta;
        const int colours = bitmap.depth() == 24 ? 3 : 1;
        inverted_ = bitmap.depth() != 24 && (meta.tiff_compression != 0 ? meta.white_is_zero : IsFax(compression_));
        Set(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(bitmap.width()));
        Set(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(bitmap.height()));
        Set(TIFFTAG_BITSPERSAMPLE, bitmap.depth() == 1 ? 1 : 8);
        Set(TIFFTAG_SAMPLESPERPIXEL, colours);
        Set(TIFFTAG_COMPRESSION, compression_);
        Set(TIFFTAG_ORIENTATION, static_cast<int>(ORIENTATION_TOPLEFT));
        Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        if (IsJpeg(compression_)) inverted_ = false;
        Set(TIFFTAG_PHOTOMETRIC, colours == 3 ? PHOTOMETRIC_RGB
                                 : inverted_  ? PHOTOMETRIC_MINISWHITE
                                              : PHOTOMETRIC_MINISBLACK);
        if (bitmap.depth() == 1 && meta.tiff_fill_order == FILLORDER_LSB2MSB)
            Set(TIFFTAG_FILLORDER, FILLORDER_LSB2MSB);
        if (IsPredicted(compression_) && bitmap.depth() != 1)
            Set(TIFFTAG_PREDICTOR, meta.tiff_compression == compression_ && meta.tiff_predictor == PREDICTOR_NONE
                                       ? PREDICTOR_NONE
                                       : PREDICTOR_HORIZONTAL);
        PutResolution(meta.resolution);
        const Bytes icc = FittingProfile(*page_, warnings_);
        if (!icc.empty()) Set(TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(icc.size()), icc.data());
        if (!meta.xmp.empty()) Set(TIFFTAG_XMLPACKET, static_cast<std::uint32_t>(meta.xmp.size()), meta.xmp.data());
        PutIptc(meta.iptc);
        PutTags();
    }

    void PutResolution(const Resolution& resolution)
    {
        if (!(resolution.x > 0.0) || !(resolution.y > 0.0)) return;
        double x = resolution.x;
        double y = resolution.y;
        int unit = RESUNIT_NONE;
        if (resolution.unit == Resolution::Unit::centimetre) unit = RESUNIT_CENTIMETER;
        if (resolution.unit == Resolution::Unit::inch || resolution.unit == Resolution::Unit::metre) {
            unit = RESUNIT_INCH;
            x = resolution.dpi_x();
            y = resolution.dpi_y();
        }
        Set(TIFFTAG_RESOLUTIONUNIT, unit);
        Set(TIFFTAG_XRESOLUTION, x);
        Set(TIFFTAG_YRESOLUTION, y);
    }

    /* Bytes, or four-byte numbers by old custom: libtiff says which it takes. */
    void PutIptc(const Bytes& iptc)
    {
        if (iptc.empty()) return;
        const TIFFField* field = TIFFFindField(file_.get(), TIFFTAG_RICHTIFFIPTC, TIFF_ANY);
        const std::size_t size = field != nullptr && TIFFFieldSetGetSize(field) == 4 ? 4 : 1;
        Bytes padded = iptc;
        padded.resize((iptc.size() + size - 1) / size * size);
        Set(TIFFTAG_RICHTIFFIPTC, static_cast<std::uint32_t>(padded.size() / size), padded.data());
    }

    /* ---- Tags that are not about pixels ---- */

    void PutTags()
    {
        Directory exif;
        if (!page_->meta.exif.empty()) {
            Bytes updated = page_->meta.exif;
            if (UpdateExif(page_->bitmap.width(), page_->bitmap.height(), &updated))
                warnings_->push_back("the thumbnail in the EXIF data shows the scan and was left out");
            if (!TakeExif(updated, &exif)) warnings_->push_back("the EXIF data are damaged and were left out");
        }
        std::vector<std::uint32_t> failed;
        const auto put = [&](const TiffTag& item) {
            file_.ForgetMessages();
            if (!PutTag(item) || !file_.error().empty()) failed.push_back(item.tag);
        };
        const auto is_set = [&](std::uint32_t number) {
            return std::any_of(page_->meta.tags.begin(), page_->meta.tags.end(),
                               [&](const TiffTag& item) { return item.tag == number; });
        };
        for (const TiffTag& item : page_->meta.tags) put(item);
        for (const TiffTag& item : exif.tags)
            if (IsSharedText(item.tag) && !is_set(item.tag)) put(item);
        for (const Directory::Child& child : exif.children) PutDirectoryOf(child);
        file_.ForgetMessages(); /* a tag that is lost is no reason to lose the page */
        WarnOfNumbers("tags that cannot be written were left out", failed, warnings_);
        WarnOfNumbers("of tags with several texts the first was kept", shortened_, warnings_);
        shortened_.clear();
    }

    /* The directory goes to the file's end at once, and its place into the tag. */
    void PutDirectoryOf(const Directory::Child& child)
    {
        if (child.tag != tag::kExif && child.tag != tag::kGps) return;
        if (sink_->size() % 2 != 0) sink_->Append("", 1);
        const std::uint64_t place = sink_->size();
        const Bytes bytes = PutDirectory(child.directory, {place, big_});
        if (sink_->Append(bytes.data(), bytes.size())) TIFFSetField(file_.get(), child.tag, place);
    }

    /* A tag of numbers of 64 bits, which only wide files hold, as one of 32 bits; false where they are too large. */
    static bool Narrow(const TiffTag& item, TiffTag* narrow)
    {
        const bool is_signed = item.type == type::kSignedLong8;
        *narrow = {item.tag, is_signed ? type::kSignedLong : type::kLong, item.count, {}};
        for (std::uint64_t k = 0; k < item.count; ++k) {
            const std::uint64_t value = WholeAt(item, k);
            const auto as_signed = static_cast<std::int64_t>(value);
            if (is_signed ? as_signed != static_cast<std::int32_t>(as_signed) : value > 0xFFFFFFFF) return false;
            const TiffTag one = NumberTag(item.tag, narrow->type, value);
            narrow->values.insert(narrow->values.end(), one.values.begin(), one.values.end());
        }
        return true;
    }

    bool PutTag(const TiffTag& item)
    {
        if (SizeOfType(item.type) == 8 && IsWhole(item.type) && !big_) {
            TiffTag narrow;
            return Narrow(item, &narrow) && PutTag(narrow);
        }
        if (item.tag == tag::kSubfileType)
            return TIFFSetField(file_.get(), item.tag, static_cast<std::uint32_t>(WholeAt(item, 0))) != 0;
        if (item.tag == tag::kPageNumber)
            return TIFFSetField(file_.get(), item.tag, static_cast<int>(WholeAt(item, 0)),
                                static_cast<int>(WholeAt(item, 1))) != 0;
        const TIFFField* field = TIFFFindField(file_.get(), item.tag, TIFF_ANY);
        return field != nullptr ? PutKnown(item, field) : PutUnknown(item);
    }

    /* libtiff is told of the tag as it stood in the source. */
    bool PutUnknown(const TiffTag& item)
    {
        if (SizeOfType(item.type) == 0) return false;
        names_.push_back("Tag " + std::to_string(item.tag));
        const TIFFFieldInfo info = {
            item.tag, TIFF_VARIABLE2,      TIFF_VARIABLE2, static_cast<TIFFDataType>(item.type), FIELD_CUSTOM, 1,
            1,        names_.back().data()};
        if (TIFFMergeFieldInfo(file_.get(), &info, 1) != 0) return false;
        const TIFFField* field = TIFFFindField(file_.get(), item.tag, TIFF_ANY);
        return field != nullptr && PutKnown(item, field);
    }

    /* libtiff takes each field in a form of its own: as text, one number, or an array with or without its length. */
    bool PutKnown(const TiffTag& item, const TIFFField* field)
    {
        TIFF* tiff = file_.get();
        const std::uint16_t type = static_cast<std::uint16_t>(TIFFFieldDataType(field));
        const bool counted = TIFFFieldPassCount(field) != 0;
        const int fixed = TIFFFieldWriteCount(field);
        if (type == type::kAscii && !counted) return item.type == type::kAscii && PutText(item);
        if (IsFloating(type) != IsFloating(item.type) || (type == type::kAscii) != (item.type == type::kAscii))
            return false;
        if (!counted && fixed == 1) {
            if (IsFloating(type)) return TIFFSetField(tiff, item.tag, NumberAt(item, 0)) != 0;
            if (TIFFFieldSetGetSize(field) == 8) return TIFFSetField(tiff, item.tag, WholeAt(item, 0)) != 0;
            return TIFFSetField(tiff, item.tag, static_cast<std::uint32_t>(WholeAt(item, 0))) != 0;
        }
        if (!counted && (fixed < 1 || static_cast<std::uint64_t>(fixed) != item.count)) return false;
        const Bytes array = ArrayOf(item, TIFFFieldSetGetSize(field), IsFloating(type));
        if (!counted) return TIFFSetField(tiff, item.tag, array.data()) != 0;
        if (item.count > 0xFFFF && TIFFFieldSetGetCountSize(field) == 2) return false;
        if (TIFFFieldSetGetCountSize(field) == 2)
            return TIFFSetField(tiff, item.tag, static_cast<int>(item.count), array.data()) != 0;
        return TIFFSetField(tiff, item.tag, static_cast<std::uint32_t>(item.count), array.data()) != 0;
    }

    bool PutText(const TiffTag& item)
    {
        const std::string text = TextOf(item);
        const auto rest = item.values.begin() + static_cast<std::ptrdiff_t>(text.size());
        if (std::any_of(rest, item.values.end(), [](std::uint8_t byte) { return byte != 0; }))
            shortened_.push_back(item.tag);
        return TIFFSetField(file_.get(), item.tag, text.c_str()) != 0;
    }

    static Bytes ArrayOf(const TiffTag& item, int size, bool floating)
    {
        Bytes array;
        const auto put = [&](const auto value) {
            const std::uint8_t* first = reinterpret_cast<const std::uint8_t*>(&value);
            array.insert(array.end(), first, first + sizeof value);
        };
        for (std::uint64_t k = 0; k < item.count; ++k) {
            if (floating && size == 4) put(static_cast<float>(NumberAt(item, k)));
            if (floating && size == 8) put(NumberAt(item, k));
            if (!floating && size == 1) put(static_cast<std::uint8_t>(WholeAt(item, k)));
            if (!floating && size == 2) put(static_cast<std::uint16_t>(WholeAt(item, k)));
            if (!floating && size == 4) put(static_cast<std::uint32_t>(WholeAt(item, k)));
            if (!floating && size == 8) put(WholeAt(item, k));
        }
        return array;
    }

    /* ---- Pixels ---- */

    Problem PutStrips()
    {
        const Bitmap& bitmap = page_->bitmap;
        Samples samples;
        samples.width = bitmap.width();
        samples.bits = bitmap.depth() == 1 ? 1 : 8;
        samples.channels = samples.colours = bitmap.depth() == 24 ? 3 : 1;
        samples.white_is_zero = inverted_;
        RowConverter converter(samples);
        const std::uint64_t row_bytes = RowBytes(static_cast<std::uint64_t>(bitmap.width()), bitmap.depth());
        const std::uint64_t height = static_cast<std::uint64_t>(bitmap.height());
        /* A fax is one strip by custom; others are cut for readers that take a piece at a time. */
        const std::uint64_t rows =
            IsFax(compression_) ? height : std::clamp<std::uint64_t>(kStripBytes / row_bytes, 1, height);
        Set(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rows));
        Bytes strip(static_cast<std::size_t>(rows * row_bytes));
        std::uint32_t number = 0;
        for (std::uint64_t y = 0; y < height; y += rows, ++number) {
            const std::uint64_t count = std::min(rows, height - y);
            for (std::uint64_t k = 0; k < count; ++k)
                converter.Convert(bitmap.row(static_cast<int>(height - 1 - y - k)), strip.data() + k * row_bytes);
            const tmsize_t bytes = static_cast<tmsize_t>(count * row_bytes);
            if (TIFFWriteEncodedStrip(file_.get(), number, strip.data(), bytes) != bytes || !file_.error().empty())
                return Failure();
        }
        return {};
    }

    /* The stream is made here, with the tables of the source where it had some, and put in as one strip. */
    Problem PutJpeg()
    {
        Bytes bytes;
        MemorySink stream(&bytes);
        JpegCoding coding;
        Problem problem = EncodeJpeg(*page_, options_.quality, &stream, &coding);
        if (!problem) problem = stream.Finish();
        if (problem) return problem;
        PutFields();
        Set(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(page_->bitmap.height()));
        /* No tables apart from the stream. */
        Set(TIFFTAG_JPEGTABLESMODE, 0);
        if (coding.components == 3) {
            Set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR);
            Set(TIFFTAG_YCBCRSUBSAMPLING, coding.h_sampling[0] / coding.h_sampling[1],
                coding.v_sampling[0] / coding.v_sampling[1]);
            const float reference[6] = {0.0F, 255.0F, 128.0F, 255.0F, 128.0F, 255.0F};
            Set(TIFFTAG_REFERENCEBLACKWHITE, reference);
        }
        const tmsize_t size = static_cast<tmsize_t>(bytes.size());
        return TIFFWriteRawStrip(file_.get(), 0, bytes.data(), size) == size ? Problem{} : Failure();
    }

    WriteOptions options_;
    ByteSink* sink_;
    bool big_;
    std::deque<std::string> names_; /* of unknown tags; libtiff keeps pointers to them, also while it closes */
    TiffHandle file_;
    const Page* page_ = nullptr;
    Warnings* warnings_ = nullptr;
    std::vector<std::uint32_t> shortened_; /* tags of several texts */
    int compression_ = COMPRESSION_NONE;
    bool inverted_ = false;
    bool all_set_ = true; /* libtiff has taken every field so far */
};

} // namespace

std::unique_ptr<TiffWriter> TiffWriter::Make(const WriteOptions& options, ByteSink* sink)
{
    return std::make_unique<Writer>(options, sink);
}

} // namespace quarlo
