/*
 * TiffReader.cpp - TIFF files through libtiff, page by page from where they lie in the file. What libtiff knows of pixels
 * it tells; tags that are not about pixels are read from the directories themselves, so that none is lost.
 */
#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "Exif.h"
#include "Samples.h"
#include "TiffHandle.h"

namespace quarlo
{

namespace
{

constexpr std::size_t kMostPages = 1000000;
constexpr int kMostChannels = 16; /* more are measurements, not pages */

Problem Damaged(std::string reason) { return {Code::damaged, "read", std::move(reason)}; }
Problem Unsupported(std::string reason) { return {Code::unsupported, "read", std::move(reason)}; }

/* What libtiff tells of a picture. */
struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t channels = 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    std::uint16_t planes = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t sample_format = SAMPLEFORMAT_UINT;
    std::uint16_t extra = 0;
    std::uint16_t first_extra = EXTRASAMPLE_UNSPECIFIED;
    std::uint16_t orientation = 1;
    std::uint16_t predictor = 1;
    std::uint16_t fill_order = 1;
};

Problem Describe(TIFF* tiff, Picture* picture)
{
    const bool sized = TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &picture->width) != 0 &&
                       TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &picture->height) != 0;
    if (!sized) return Damaged("the size of the picture is missing");
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &picture->bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &picture->channels);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &picture->planes);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &picture->compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &picture->sample_format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &picture->orientation);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &picture->fill_order);
    const bool predicted = picture->compression == COMPRESSION_LZW ||
                           picture->compression == COMPRESSION_ADOBE_DEFLATE ||
                           picture->compression == COMPRESSION_DEFLATE;
    if (predicted) TIFFGetFieldDefaulted(tiff, TIFFTAG_PREDICTOR, &picture->predictor);
    std::uint16_t* kinds = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &picture->extra, &kinds) != 0 && picture->extra > 0)
        picture->first_extra = kinds[0];
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &picture->photometric) == 0)
        picture->photometric = picture->channels >= 3        ? PHOTOMETRIC_RGB
                               : IsFax(picture->compression) ? PHOTOMETRIC_MINISWHITE
                                                             : PHOTOMETRIC_MINISBLACK;
    if (picture->channels > kMostChannels)
        return Unsupported("pictures of " + std::to_string(picture->channels) + " channels are not taken");
    if (picture->photometric == PHOTOMETRIC_SEPARATED) return Unsupported("CMYK pictures are not taken");
    if (TIFFIsCODECConfigured(picture->compression) == 0)
        return Unsupported("the picture is compressed in a way that is not known (" +
                           std::to_string(picture->compression) + ")");
    /* JPEG pictures come as red, green and blue. */
    if (picture->compression == COMPRESSION_JPEG && picture->photometric == PHOTOMETRIC_YCBCR &&
        picture->planes == PLANARCONFIG_CONTIG) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        picture->photometric = PHOTOMETRIC_RGB;
    }
    return {};
}

/* A colour of 16 bits as one of 8; some files hold 8 bits in the first place. */
std::vector<Rgb> PaletteOf(TIFF* tiff, int bits)
{
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    std::vector<Rgb> palette;
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) == 0) return palette;
    const std::size_t count = std::size_t{1} << bits;
    bool deep = false;
    for (std::size_t k = 0; k < count; ++k) deep = deep || red[k] > 255 || green[k] > 255 || blue[k] > 255;
    const auto byte = [&](unsigned value) {
        return static_cast<std::uint8_t>(deep ? (value * 255 + 32767) / 65535 : value);
    };
    for (std::size_t k = 0; k < count; ++k) palette.push_back({byte(red[k]), byte(green[k]), byte(blue[k])});
    return palette;
}

/* False where the samples are of a kind that only libtiff's own conversion knows. */
bool SamplesOf(TIFF* tiff, const Picture& picture, Samples* samples)
{
    const bool bits_known =
        picture.bits == 1 || picture.bits == 2 || picture.bits == 4 || picture.bits == 8 || picture.bits == 16;
    const bool planar = picture.planes == PLANARCONFIG_SEPARATE && picture.channels > 1;
    if (!bits_known || picture.sample_format != SAMPLEFORMAT_UINT || (planar && picture.bits < 8)) return false;
    samples->width = static_cast<int>(picture.width);
    samples->bits = picture.bits;
    samples->channels = picture.channels;
    switch (picture.photometric) {
    case PHOTOMETRIC_MINISWHITE:
        samples->white_is_zero = true;
        break;
    case PHOTOMETRIC_MINISBLACK:
        break;
    case PHOTOMETRIC_RGB:
        samples->colours = 3;
        break;
    case PHOTOMETRIC_PALETTE:
        if (picture.bits <= 8) samples->palette = PaletteOf(tiff, picture.bits);
        if (samples->palette.empty()) return false;
        break;
    default:
        return false;
    }
    if (picture.channels < samples->colours) return false;
    if (picture.channels > samples->colours && samples->palette.empty()) {
        if (picture.first_extra == EXTRASAMPLE_ASSOCALPHA) samples->alpha = Alpha::premultiplied;
        if (picture.first_extra == EXTRASAMPLE_UNASSALPHA) samples->alpha = Alpha::straight;
    }
    return true;
}

/* Strips and tiles alike: blocks of the picture, each with all of its planes. */
class Blocks
{
public:
    Blocks(TIFF* tiff, const Picture& picture) : tiff_(tiff), picture_(picture), tiled_(TIFFIsTiled(tiff) != 0)
    {
        width_ = picture.width;
        std::uint32_t rows = 0;
        if (tiled_) {
            TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &width_);
            TIFFGetField(tiff, TIFFTAG_TILELENGTH, &rows);
        } else {
            TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rows);
        }
        rows_ = tiled_ ? rows : std::min(rows, picture.height);
        planes_ = picture.planes == PLANARCONFIG_SEPARATE ? picture.channels : 1;
        bytes_ = tiled_ ? TIFFTileSize64(tiff) : TIFFStripSize64(tiff);
        row_bytes_ = tiled_ ? TIFFTileRowSize64(tiff) : TIFFScanlineSize64(tiff);
    }

    bool tiled() const { return tiled_; }
    std::uint32_t width() const { return width_; }
    std::uint32_t rows() const { return rows_; }
    int planes() const { return planes_; }
    std::uint64_t bytes() const { return bytes_; } /* of one plane of a block */
    std::uint64_t row_bytes() const { return row_bytes_; }

    Problem Check() const
    {
        if (width_ == 0 || rows_ == 0 || bytes_ == 0 || row_bytes_ == 0)
            return Damaged("the picture's strips or tiles have an impossible size");
        const std::uint64_t samples = std::uint64_t{picture_.width} * picture_.height * picture_.channels;
        const std::uint64_t honest = (std::uint64_t{64} << 20) + samples / 8 * picture_.bits * 4;
        if (bytes_ > 0x7FFFFFFF || (tiled_ && bytes_ > honest))
            return {Code::too_large, "read", "the picture's strips or tiles are larger than can be held"};
        return {};
    }
    /* Reads the rows of a block that lie in the picture. */
    Problem Read(std::uint32_t x, std::uint32_t y, int plane, std::uint8_t* to) const
    {
        const std::uint64_t rows = tiled_ ? rows_ : std::min(rows_, picture_.height - y);
        const std::size_t bytes = static_cast<std::size_t>(rows * row_bytes_);
        /* Fax data that end early leave rows as they were, without a word from libtiff. Only a second look, over the
         * opposite bits, tells such rows from those that are meant to look like this. */
        for (const int before : {0x55, 0xAA}) {
            std::memset(to, before, bytes);
            if (!Decode(x, y, plane, to, bytes)) return Damaged("the picture cannot be decoded");
            const std::uint8_t* end = to + bytes;
            const bool untouched =
                std::all_of(end - row_bytes_, end, [=](std::uint8_t byte) { return byte == before; });
            if (!IsFax(picture_.compression) || !untouched) return {};
        }
        return Damaged("the fax data end before the picture does");
    }

private:
    bool Decode(std::uint32_t x, std::uint32_t y, int plane, std::uint8_t* to, std::size_t bytes) const
    {
        const std::uint16_t sample = static_cast<std::uint16_t>(plane);
        const tmsize_t size = static_cast<tmsize_t>(bytes);
        const tmsize_t got = tiled_ ? TIFFReadEncodedTile(tiff_, TIFFComputeTile(tiff_, x, y, 0, sample), to, size)
                                    : TIFFReadEncodedStrip(tiff_, TIFFComputeStrip(tiff_, y, sample), to, size);
        return got == size;
    }

    TIFF* tiff_;
    const Picture& picture_;
    bool tiled_;
    std::uint32_t width_ = 0;
    std::uint32_t rows_ = 0;
    int planes_ = 1;
    std::uint64_t bytes_ = 0;
    std::uint64_t row_bytes_ = 0;
};

/* Planes side by side become samples side by side. */
void Interleave(const std::uint8_t* from, std::size_t samples, int plane, int planes, int bytes, std::uint8_t* to)
{
    for (std::size_t k = 0; k < samples; ++k)
        std::memcpy(to + (k * static_cast<std::size_t>(planes) + static_cast<std::size_t>(plane)) *
                             static_cast<std::size_t>(bytes),
                    from + k * static_cast<std::size_t>(bytes), static_cast<std::size_t>(bytes));
}

/* Strips whose rows are those of the bitmap are decoded where they belong; the rows are put in order afterwards. */
Problem ReadStraight(const Blocks& blocks, RowConverter* converter, Bitmap* bitmap)
{
    const std::uint32_t height = static_cast<std::uint32_t>(bitmap->height());
    for (std::uint32_t y = 0; y < height; y += std::min(blocks.rows(), height - y))
        if (Problem problem = blocks.Read(0, y, 0, bitmap->row(static_cast<int>(y)))) return problem;
    for (int y = 0; y < bitmap->height(); ++y) converter->Convert(bitmap->row(y), bitmap->row(y));
    TurnOver(bitmap);
    return {};
}

/* Everything else goes through a block, and a row at a time through the converter. */
Problem ReadBlocks(const Blocks& blocks, const Picture& picture, Bitmap* bitmap, RowConverter* converter)
{
    const std::size_t bytes = static_cast<std::size_t>(blocks.bytes());
    const int sample_bytes = picture.bits / 8;
    Bytes block(bytes);
    Bytes mixed(blocks.planes() > 1 ? bytes * static_cast<std::size_t>(blocks.planes()) : 0);
    const std::uint64_t row_bytes = blocks.row_bytes() * static_cast<std::uint64_t>(blocks.planes());
    for (std::uint32_t y = 0; y < picture.height; y += std::min(blocks.rows(), picture.height - y))
        for (std::uint32_t x = 0; x < picture.width; x += std::min(blocks.width(), picture.width - x)) {
            const std::uint32_t rows = std::min(blocks.rows(), picture.height - y);
            for (int plane = 0; plane < blocks.planes(); ++plane) {
                if (Problem problem = blocks.Read(x, y, plane, block.data())) return problem;
                if (blocks.planes() > 1)
                    Interleave(block.data(),
                               static_cast<std::size_t>(blocks.row_bytes() / static_cast<unsigned>(sample_bytes)) *
                                   rows,
                               plane, blocks.planes(), sample_bytes, mixed.data());
            }
            const std::uint8_t* from = blocks.planes() > 1 ? mixed.data() : block.data();
            const std::size_t at = static_cast<std::size_t>(RowBytes(x, bitmap->depth()));
            converter->SetWidth(static_cast<int>(std::min(blocks.width(), picture.width - x)));
            for (std::uint32_t row = 0; row < rows; ++row)
                converter->Convert(from + row * row_bytes,
                                   bitmap->row(static_cast<int>(picture.height - 1 - y - row)) + at);
        }
    return {};
}

/* What libtiff converts itself: 8 bits of each colour, with alpha, first row on top. */
Problem ReadByLibtiff(TIFF* tiff, const Picture& picture, const ReadLimits& limits, Page* page)
{
    char words[1024] = "";
    if (TIFFRGBAImageOK(tiff, words) == 0) return Unsupported(words);
    Problem problem = MakeBitmap(picture.width, picture.height, 24, limits, &page->bitmap);
    if (problem) return problem;
    TIFFSetField(tiff, TIFFTAG_ORIENTATION,
                 ORIENTATION_TOPLEFT); /* it is applied afterwards, for all kinds alike */
    std::vector<std::uint32_t> raster(std::size_t{picture.width} * picture.height);
    if (TIFFReadRGBAImageOriented(tiff, picture.width, picture.height, raster.data(), ORIENTATION_TOPLEFT, 1) == 0)
        return Damaged("the picture cannot be decoded");
    const std::uint32_t* pixel = raster.data();
    for (int y = page->bitmap.height() - 1; y >= 0; --y) {
        std::uint8_t* to = page->bitmap.row(y);
        for (std::uint32_t x = 0; x < picture.width; ++x, ++pixel) {
            const std::uint32_t rest = 255 - TIFFGetA(*pixel);
            *to++ = static_cast<std::uint8_t>(std::min(255u, TIFFGetB(*pixel) + rest));
            *to++ = static_cast<std::uint8_t>(std::min(255u, TIFFGetG(*pixel) + rest));
            *to++ = static_cast<std::uint8_t>(std::min(255u, TIFFGetR(*pixel) + rest));
        }
    }
    page->warnings.push_back("samples of an uncommon kind were converted to 24 bits");
    return {};
}

Problem ReadPixels(TIFF* tiff, const Picture& picture, const ReadLimits& limits, Page* page)
{
    Samples samples;
    const bool known = SamplesOf(tiff, picture, &samples);
    const Blocks blocks(tiff, picture);
    Problem problem = blocks.Check();
    if (problem) return problem;
    if (!known) return ReadByLibtiff(tiff, picture, limits, page);

    RowConverter converter(samples);
    problem = MakeBitmap(picture.width, picture.height, converter.depth(), limits, &page->bitmap);
    if (problem) return problem;
    const std::uint64_t expected =
        RowBytes(blocks.width(), samples.bits * (blocks.planes() > 1 ? 1 : samples.channels));
    if (blocks.row_bytes() != expected || blocks.bytes() != expected * blocks.rows())
        return Damaged("the rows have another length than their samples");
    if (blocks.tiled() && blocks.width() % 8 != 0 && converter.depth() == 1)
        return Unsupported("tiles whose width is no multiple of 8 are not taken");
    const bool straight = !blocks.tiled() && blocks.planes() == 1 && converter.is_direct() &&
                          static_cast<std::uint64_t>(page->bitmap.rec()->BytesPerLine) == expected;
    problem = straight ? ReadStraight(blocks, &converter, &page->bitmap)
                       : ReadBlocks(blocks, picture, &page->bitmap, &converter);
    if (problem) return problem;
    converter.Warn(&page->warnings);
    return {};
}

/* ---- Metadata ---- */

/* Tags that describe pixels and where they lie; they are made anew for the file that is written. */
bool IsAboutPixels(std::uint32_t number)
{
    constexpr std::uint32_t numbers[] = {
        255, 256, 257, 258, 259, 262, 263, 264, 265, 266, 273, 274, 277,       278,        279,
        280, 281, 282, 283, 284, 286, 287, 288, 289, 292, 293, 296, 317,       320,        321,
        322, 323, 324, 325, 326, 327, 328, 336, 338, 339, 340, 341, 347,       512,        513,
        514, 515, 517, 518, 519, 520, 521, 529, 530, 531, 532, 559, tag::kXmp, tag::kIptc, tag::kIcc};
    return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

/* Tags that tell what the stored values mean, or lead to further pictures: true of the scan, but not of the result. */
bool IsLost(std::uint32_t number)
{
    constexpr std::uint32_t numbers[] = {290, 291, 301, 318, 319, 330, 332, 333, 334,
                                         342, 343, 344, 345, 346, 400, 401, 402};
    return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

void TakeMetadata(const Directory& directory, const Picture& picture, Page* page)
{
    Metadata& meta = page->meta;
    meta.resolution = ResolutionOf(directory);
    Directory exif;
    exif.children = directory.children;
    std::vector<std::uint32_t> lost;
    for (const TiffTag& item : directory.tags) {
        if (item.tag == tag::kIcc) meta.icc = item.values;
        if (item.tag == tag::kXmp) meta.xmp = item.values;
        if (item.tag == tag::kIptc) meta.iptc = item.values;
        const bool plain_page = item.tag == tag::kSubfileType && WholeAt(item, 0) != FILETYPE_PAGE;
        if (IsLost(item.tag))
            lost.push_back(item.tag);
        else if (!IsAboutPixels(item.tag) && !plain_page && item.count > 0)
            meta.tags.push_back(item);
    }
    WarnOfNumbers("tags about the stored values or further pictures were left out", lost, &page->warnings);
    meta.exif = PutExif(exif);
    meta.depth_in_file = picture.bits * picture.channels;
    meta.tiff_compression = picture.compression;
    meta.tiff_predictor = picture.predictor;
    meta.tiff_fill_order = picture.fill_order;
    meta.white_is_zero = picture.photometric == PHOTOMETRIC_MINISWHITE;
}

JpegCoding TakeCoding(TIFF* tiff)
{
    std::uint32_t size = 0;
    void* tables = nullptr;
    Bytes head;
    if (TIFFGetField(tiff, TIFFTAG_JPEGTABLES, &size, &tables) != 0)
        head.assign(static_cast<std::uint8_t*>(tables), static_cast<std::uint8_t*>(tables) + size);
    const tmsize_t raw = TIFFIsTiled(tiff) != 0 ? 0 : TIFFRawStripSize(tiff, 0);
    if (raw <= 0) return {};
    Bytes stream(static_cast<std::size_t>(raw));
    return TIFFReadRawStrip(tiff, 0, stream.data(), raw) == raw ? CodingOf(head, stream) : JpegCoding{};
}

/* Damage that libtiff's decoders only warn of. */
bool MeansDamage(const std::string& words)
{
    return words.find("Premature end") != std::string::npos || words.find("Premature EOF") != std::string::npos ||
           words.find("Corrupt") != std::string::npos;
}

class TiffInput : public Input
{
public:
    explicit TiffInput(std::unique_ptr<ByteSource> source)
        : source_(std::move(source)), directories_(source_.get()), file_(source_.get())
    {
    }

    Problem Open()
    {
        const bool open = directories_.Open() && file_.get() != nullptr;
        if (source_->problem()) return source_->problem();
        if (!open) return Damaged(file_.error().empty() ? "the header is damaged" : file_.error());
        FindPages();
        return {};
    }
    Format format() const override { return Format::tiff; }
    int page_count() const override { return static_cast<int>(pages_.size()); }

    Problem Read(int index, const ReadLimits& limits, Page* page) override
    {
        if (index < 0 || index >= page_count())
            return {Code::no_such_page, "read", "the file has " + std::to_string(page_count()) + " pages"};
        source_->ForgetProblem();
        Page made;
        made.meta.format = Format::tiff;
        Problem problem = ReadPage(pages_[static_cast<std::size_t>(index)], limits, &made);
        if (source_->problem()) problem = source_->problem();
        if (problem) return OnPage(index, std::move(problem));
        if (index == 0 && copies_ > 0)
            made.warnings.push_back("reduced copies and masks of pages were left out (" + std::to_string(copies_) +
                                    ")");
        *page = std::move(made);
        return {};
    }

private:
    struct Place {
        std::uint64_t offset = 0;
        std::string damage; /* why there is no directory, in words */
    };

    /* A chain that breaks ends with a page that cannot be read, so that the pages before it can. */
    void FindPages()
    {
        std::unordered_map<std::uint64_t, int> seen;
        std::vector<Place> copies;
        std::uint64_t place = directories_.first();
        if (place == 0) pages_.push_back({0, "the file has no directory"});
        while (place != 0) {
            std::vector<DirectoryReader::Entry> entries;
            std::uint64_t next = 0;
            const auto before = seen.emplace(place, static_cast<int>(pages_.size()) + 1);
            if (!before.second || seen.size() > kMostPages) {
                pages_.push_back({0, "the chain of pages leads back into itself"});
                break;
            }
            if (!directories_.Entries(place, &entries, &next)) {
                pages_.push_back({0, "the directory lies beyond the file's end"});
                break;
            }
            (IsCopy(entries) ? copies : pages_).push_back({place, ""});
            place = next;
        }
        copies_ = static_cast<int>(copies.size());
        if (!pages_.empty()) return;
        pages_.swap(copies);
        copies_ = 0;
    }

    bool IsCopy(const std::vector<DirectoryReader::Entry>& entries) const
    {
        TiffTag kind;
        for (const auto& entry : entries)
            if (entry.number == tag::kSubfileType && entry.count == 1 && directories_.Values(entry, &kind))
                return (WholeAt(kind, 0) & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
        return false;
    }

    Problem ReadPage(const Place& place, const ReadLimits& limits, Page* page)
    {
        if (!place.damage.empty()) return Damaged(place.damage);
        file_.ForgetMessages();
        TIFF* tiff = file_.get();
        if (TIFFSetSubDirectory(tiff, place.offset) == 0) return Damaged(file_.error());
        Picture picture;
        Problem problem = Describe(tiff, &picture);
        if (!problem) problem = CheckSize(picture.width, picture.height, 1, limits);
        if (problem) return problem;
        page->warnings = file_.warnings();
        file_.ForgetMessages();
        problem = ReadPixels(tiff, picture, limits, page);
        if (!file_.error().empty() && (!problem || problem.code == Code::damaged)) problem = Damaged(file_.error());
        for (const std::string& words : file_.warnings()) {
            if (!problem && MeansDamage(words)) problem = Damaged(words);
            page->warnings.push_back("libtiff: " + words);
        }
        if (problem) return problem;

        Directory directory;
        std::vector<std::uint32_t> left_out;
        directories_.Tree(place.offset, &directory, &left_out);
        WarnOfNumbers("damaged tags were left out", left_out, &page->warnings);
        TakeMetadata(directory, picture, page);
        if (picture.compression == COMPRESSION_JPEG) page->meta.jpeg = TakeCoding(tiff);
        problem = Orient(picture.orientation, page);
        ResetOrientation(&page->meta);
        return problem;
    }

    std::unique_ptr<ByteSource> source_;
    DirectoryReader directories_;
    TiffHandle file_;
    std::vector<Place> pages_;
    int copies_ = 0;
};

} // namespace

Problem OpenTiff(std::unique_ptr<ByteSource> source, std::unique_ptr<Input>* input)
{
    auto opened = std::make_unique<TiffInput>(std::move(source));
    Problem problem = opened->Open();
    if (!problem) *input = std::move(opened);
    return problem;
}

} // namespace quarlo
