/*
 * Formats.h - the readers and writers of the formats, as Input and Output use them.
 */
#ifndef QUARLO_PAGES_FORMATS_H
#define QUARLO_PAGES_FORMATS_H

#include <memory>
#include <string>
#include <vector>

#include "Bytes.h"
#include "quarlo/pages.hpp"

namespace quarlo
{

using Warnings = std::vector<std::string>;

/** Readers of formats that hold one picture. The page is filled on success. */
Problem ReadBmp(ByteSource* source, const ReadLimits& limits, Page* page);
Problem ReadPng(ByteSource* source, const ReadLimits& limits, Page* page);
Problem ReadJpeg(ByteSource* source, const ReadLimits& limits, Page* page);
Problem ReadPnm(ByteSource* source, const ReadLimits& limits, Page* page);

/** Writers of formats that hold one picture. */
Problem WriteBmp(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings);
Problem WritePng(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings);
Problem WriteJpeg(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings);
Problem WritePnm(const Page& page, const WriteOptions& options, ByteSink* sink, Warnings* warnings);

Problem OpenTiff(std::unique_ptr<ByteSource> source, std::unique_ptr<Input>* input);

/** The pages of a TIFF file in the making. */
class TiffWriter
{
public:
    virtual ~TiffWriter() = default;
    static std::unique_ptr<TiffWriter> Make(const WriteOptions& options, ByteSink* sink);
    virtual Problem Add(const Page& page, Warnings* warnings) = 0;
    virtual Problem Finish() = 0;
};

/** Tables and sampling of a JPEG stream, from its head; `tables` is a stream of tables alone that comes first, or empty. */
JpegCoding CodingOf(const Bytes& tables, const Bytes& stream);
/** A page as a JPEG stream for the inside of a TIFF file, without metadata. `coding` tells how it was made. */
Problem EncodeJpeg(const Page& page, int quality, ByteSink* sink, JpegCoding* coding);

/** Adds "page 3: " before the reason, counted from 1 for people. */
Problem OnPage(int index, Problem problem);

/* ---- What a page carries and what a format can hold ---- */

/** Adds one warning that names those things of the page which the format cannot hold. */
struct Holds {
    bool resolution = false;
    bool icc = false;
    bool exif = false;
    bool xmp = false;
    bool iptc = false;
    bool text = false;     /**< all of the texts */
    bool comments = false; /**< texts of the key "Comment" */
    bool tags = false;
};
void WarnOfLoss(const Metadata& meta, const Holds& holds, std::string_view format, Warnings* warnings);

/** A warning that ends with the numbers in brackets; none where there are none. */
void WarnOfNumbers(const char* words, const std::vector<std::uint32_t>& numbers, Warnings* warnings);

/** The colour profile, if it fits the page's depth: a grey page has no use for one of colours. Else empty, with a warning. */
Bytes FittingProfile(const Page& page, Warnings* warnings);

/** The key of a comment among the texts. */
constexpr char kCommentKey[] = "Comment";

/** A resolution in pixels per metre, as PNG and BMP hold it; 0 where it is not known or does not fit. */
std::uint32_t PerMetre(double value, Resolution::Unit unit);

/** The key of XMP data among the texts of a PNG file. */
constexpr char kXmpKey[] = "XML:com.adobe.xmp";

} // namespace quarlo

#endif
