/*
 * Output.cpp - picture files in the making, and what of a page's metadata a format cannot hold.
 */
#include <cstring>

#include "Exif.h"
#include "Formats.h"

namespace quarlo
{

namespace
{

std::string Listed(const std::vector<std::string>& texts)
{
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
    return list;
}

Problem CannotHold(std::string reason) { return {Code::cannot_hold, "write", std::move(reason)}; }

std::string_view NameOf(Compression compression)
{
    switch (compression) {
    case Compression::same:
        return "same";
    case Compression::none:
        return "none";
    case Compression::lzw:
        return "LZW";
    case Compression::deflate:
        return "Deflate";
    case Compression::g4:
        return "G4";
    case Compression::jpeg:
        return "JPEG";
    }
    return "";
}

bool Takes(Format format, Compression compression)
{
    if (compression == Compression::same || format == Format::tiff) return true;
    if (format == Format::png) return compression == Compression::none || compression == Compression::deflate;
    if (format == Format::jpeg) return compression == Compression::jpeg;
    return compression == Compression::none;
}

Problem Check(const WriteOptions& options)
{
    if (options.format == Format::unknown) return {Code::bad_argument, "write", "no format was chosen"};
    if (options.quality < 0 || options.quality > 100)
        return {Code::bad_argument, "write", "the quality has to be between 1 and 100"};
    if (Takes(options.format, options.compression)) return {};
    return CannotHold(std::string(quarlo::NameOf(options.format)) + " files cannot be compressed with " +
                      std::string(NameOf(options.compression)));
}

Problem Check(const WriteOptions& options, const Bitmap& bitmap)
{
    if (bitmap.empty()) return {Code::bad_argument, "write", "the page has no pixels"};
    if (options.compression == Compression::g4 && bitmap.depth() != 1)
        return CannotHold("G4 holds only 1-bit pages, and this one has " + std::to_string(bitmap.depth()) +
                          " bits");
    if (options.compression == Compression::jpeg && bitmap.depth() == 1)
        return CannotHold("JPEG does not hold 1-bit pages");
    return {};
}

class FileOutput : public Output
{
public:
    FileOutput(const WriteOptions& options, std::unique_ptr<ByteSink> sink)
        : options_(options), sink_(std::move(sink))
    {
    }

    Problem Add(const Page& page, std::vector<std::string>* warnings) override
    {
        Warnings unheard;
        if (warnings == nullptr) warnings = &unheard;
        Problem problem = Check(options_, page.bitmap);
        if (problem) return problem;
        if (failed_) return failed_;
        if (pages_ > 0 && options_.format != Format::tiff)
            return CannotHold(std::string(quarlo::NameOf(options_.format)) + " files hold one page");
        problem = Write(page, warnings);
        if (sink_->problem()) problem = sink_->problem();
        failed_ = problem;
        ++pages_;
        return problem;
    }

    Problem Finish() override
    {
        if (failed_) return failed_;
        if (pages_ == 0) return {Code::bad_argument, "write", "no page was given"};
        Problem problem = tiff_ != nullptr ? tiff_->Finish() : Problem{};
        tiff_.reset();
        if (!problem) problem = sink_->Finish();
        /* Nothing is added to a file that is whole. */
        failed_ = problem ? problem : Problem{Code::bad_argument, "write", "the file is finished"};
        return problem;
    }

private:
    Problem Write(const Page& page, Warnings* warnings)
    {
        switch (options_.format) {
        case Format::bmp:
            return WriteBmp(page, options_, sink_.get(), warnings);
        case Format::png:
            return WritePng(page, options_, sink_.get(), warnings);
        case Format::jpeg:
            return WriteJpeg(page, options_, sink_.get(), warnings);
        case Format::pnm:
            return WritePnm(page, options_, sink_.get(), warnings);
        default:
            if (tiff_ == nullptr) tiff_ = TiffWriter::Make(options_, sink_.get());
            return tiff_->Add(page, warnings);
        }
    }

    WriteOptions options_;
    std::unique_ptr<ByteSink> sink_;
    std::unique_ptr<TiffWriter> tiff_; /* after the sink, which it writes to until it goes */
    Problem failed_;
    int pages_ = 0;
};

Problem Make(const WriteOptions& options, std::unique_ptr<ByteSink> sink, std::unique_ptr<Output>* output)
{
    Problem problem = Check(options);
    if (!problem) *output = std::make_unique<FileOutput>(options, std::move(sink));
    return problem;
}

} // namespace

Problem Output::ToDescriptor(int descriptor, const WriteOptions& options, std::unique_ptr<Output>* output)
{
    return Make(options, std::make_unique<DescriptorSink>(descriptor), output);
}

Problem Output::ToMemory(Bytes* bytes, const WriteOptions& options, std::unique_ptr<Output>* output)
{
    return Make(options, std::make_unique<MemorySink>(bytes), output);
}

void WarnOfLoss(const Metadata& meta, const Holds& holds, std::string_view format, Warnings* warnings)
{
    std::vector<std::string> lost;
    if (!holds.resolution && meta.resolution.known()) lost.push_back("the resolution");
    if (!holds.icc && !meta.icc.empty()) lost.push_back("the colour profile");
    if (!holds.exif && !meta.exif.empty()) lost.push_back("the EXIF data");
    if (!holds.xmp && !meta.xmp.empty()) lost.push_back("the XMP data");
    if (!holds.iptc && !meta.iptc.empty()) lost.push_back("the IPTC data");
    std::vector<std::string> keys;
    for (const TextItem& item : meta.text)
        if (!holds.text && !(holds.comments && item.key == kCommentKey)) keys.push_back(item.key);
    if (!keys.empty()) lost.push_back("the texts (" + Listed(keys) + ")");
    std::vector<std::string> numbers;
    for (const TiffTag& item : meta.tags)
        if (!holds.tags && !(holds.exif && IsSharedText(item.tag)) && item.tag != tag::kSubfileType)
            numbers.push_back(std::to_string(item.tag));
    if (!numbers.empty()) lost.push_back("the TIFF tags (" + Listed(numbers) + ")");
    if (lost.empty()) return;
    std::string words = std::string(format) + " cannot hold ";
    for (std::size_t k = 0; k < lost.size(); ++k)
        words += (k == 0 ? "" : k + 1 == lost.size() ? " and " : ", ") + lost[k];
    warnings->push_back(words);
}

void WarnOfNumbers(const char* words, const std::vector<std::uint32_t>& numbers, Warnings* warnings)
{
    std::vector<std::string> texts;
    texts.reserve(numbers.size());
    for (const std::uint32_t number : numbers) texts.push_back(std::to_string(number));
    if (!texts.empty()) warnings->push_back(words + (" (" + Listed(texts) + ")"));
}

Bytes FittingProfile(const Page& page, Warnings* warnings)
{
    constexpr std::size_t header = 128;
    constexpr std::size_t colours_at = 16;
    const Bytes& icc = page.meta.icc;
    if (icc.empty()) return {};
    const char* wanted = page.bitmap.depth() == 24 ? "RGB " : "GRAY";
    if (icc.size() >= header && std::memcmp(icc.data() + colours_at, wanted, 4) == 0) return icc;
    warnings->push_back("the colour profile does not fit a page of " + std::to_string(page.bitmap.depth()) +
                        (page.bitmap.depth() == 1 ? " bit" : " bits") + " and was left out");
    return {};
}

} // namespace quarlo
