/*
 * golden_test.cpp - every case of golden/cases.tsv against the exported functions, column by column.
 *
 * A case is run twice where it looks for a page: once through its entry point, once stage by stage, so that the
 * table also pins what each stage hands to the next. The columns are explained in golden/README.md.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "QL_Interface.h"
#include "QuarloBitmap.h"
#include "SearchBitmapFrame.h"
#include "support/TestBitmap.h"

namespace
{

/* Column name to text; a column that does not apply holds "-". */
using Row = std::map<std::string, std::string>;

constexpr size_t kCaseNum = 99;
constexpr sint32 kGrayBand = 9;

const char* const kResultColumns[] = {"code",  "width",  "height",   "bits",  "pixels",   "reached", "threshold",
                                      "range", "points", "segments", "sides", "extremes", "globals", "tilted",
                                      "kept",  "angle",  "centre",   "rows",  "spans"};

sint32* const kGlobals[] = {&LeftPointIndexT, &LeftPointIndexB, &RightPointIndexT,  &RightPointIndexB,
                            &TopPointIndexL,  &TopPointIndexR,  &BottomPointIndexL, &BottomPointIndexR};

void ClearGlobals()
{
    for (sint32* global : kGlobals) *global = 0;
}

/* ---- Text ---- */

std::string List(const std::vector<sint32>& numbers)
{
    std::string text;
    for (sint32 number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

std::vector<sint32> Numbers(const std::string& list)
{
    std::vector<sint32> numbers;
    std::istringstream stream(list);
    for (std::string number; std::getline(stream, number, ',');) numbers.push_back(std::stoi(number));
    return numbers;
}

std::string GlobalsText()
{
    std::vector<sint32> values;
    for (const sint32* global : kGlobals) values.push_back(*global);
    return List(values);
}

std::string HashText(std::uint64_t hash)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash);
    return text;
}

/* Every real has one such text, whatever way the table writes it. */
std::string RealText(Real64 value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
}

/* The hash of numbers as little-endian 32-bit integers. */
class NumberHash
{
public:
    void Add(sint32 number)
    {
        const uint32 value = static_cast<uint32>(number);
        for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8>(value >> shift));
    }
    void Add(const PointRec& point)
    {
        Add(point.x);
        Add(point.y);
    }
    std::string Text() const { return HashText(test::Fnv1a(bytes)); }

private:
    test::Bytes bytes;
};

std::string SideHash(const ImageBorderPointRec& side)
{
    NumberHash hash;
    for (sint32 k = 0; k < side.border_point.index; ++k) hash.Add(side.border_point.points[k]);
    for (sint32 k = 0; k < side.border_line_seck.index; ++k) {
        hash.Add(side.border_line_seck.borderLine[k].index);
        hash.Add(side.border_line_seck.borderLine[k].Center);
    }
    return hash.Text();
}

void NoteSpans(const RowSeckRec& spans, Row& seen)
{
    seen["rows"] = List({spans.top, spans.bottom});
    if (spans.top >= spans.bottom) return;
    NumberHash hash;
    for (sint32 y = spans.top; y <= spans.bottom; ++y) {
        hash.Add(spans.seck[y].left);
        hash.Add(spans.seck[y].right);
    }
    seen["spans"] = hash.Text();
}

void NoteImage(const BitmapRec& image, Row& seen)
{
    seen["width"] = std::to_string(image.biWidth);
    seen["height"] = std::to_string(image.biHeight);
    seen["bits"] = std::to_string(image.biBitCount);
    seen["pixels"] = HashText(test::Fnv1a(test::PackedPixels(image)));
}

/* ---- The stages, driven one by one ---- */

struct Stages {
    ~Stages()
    {
        for (const ImageBorderPointRec* side : {&left, &right, &top, &bottom}) {
            std::free(side->border_point.points);
            std::free(side->border_line_seck.borderLine);
        }
        for (const ImageBorderLineRec* edge : {&left_top, &left_bottom, &right_top, &right_bottom})
            std::free(edge->border_line_seck.borderLine);
        std::free(spans.seck);
    }

    ImageBorderPointRec left = null_image_border_point, right = null_image_border_point;
    ImageBorderPointRec top = null_image_border_point, bottom = null_image_border_point;
    ImageBorderLineRec left_top = null_image_border_line, left_bottom = null_image_border_line;
    ImageBorderLineRec right_top = null_image_border_line, right_bottom = null_image_border_line;
    ImageRangeRectangleRec extremes = null_image_range_rectangle;
    RectangleRec range = null_rectangle;
    RowSeckRec spans = null_row_seck;
    PointRec centre = null_point;
    Real64 angle = 0.0;
    sint32 width = 0, height = 0, tilted = 1;
};

void NoteSides(const Stages& s, Row& seen)
{
    std::vector<sint32> points, segments;
    std::string hashes;
    for (const ImageBorderPointRec* side : {&s.left, &s.right, &s.top, &s.bottom}) {
        points.push_back(side->border_point.index);
        segments.push_back(side->border_line_seck.index);
        hashes += (hashes.empty() ? "" : ",") + SideHash(*side);
    }
    seen["points"] = List(points);
    seen["segments"] = List(segments);
    seen["sides"] = hashes;
    seen["extremes"] = List({s.extremes.left.x, s.extremes.left.y, s.extremes.right.x, s.extremes.right.y,
                             s.extremes.top.x, s.extremes.top.y, s.extremes.bottom.x, s.extremes.bottom.y});
    seen["globals"] = GlobalsText();
}

/* Notes what each stage found, and in "reached" the one that failed. Returns its code, 0 when all succeed. */
sint32 DriveStages(BitmapRec* image, sint32 threshold, sint32 ground, sint32 interpolation, Row& seen,
                   BitmapRec* dest)
{
    Stages s;
    seen["reached"] = "threshold";
    if (threshold == 0) {
        uint8 estimate = 0;
        if (const sint32 code = CalculateDividingPoint(image, &estimate)) return code;
        threshold = estimate;
    }
    seen["threshold"] = std::to_string(threshold);
    const bool dark = ground == 1;
    const uint8 low = static_cast<uint8>(dark ? threshold : std::max(threshold - kGrayBand, 0));
    const uint8 high = static_cast<uint8>(dark ? 255 : std::min(threshold + kGrayBand, 255));

    seen["reached"] = "range";
    if (const sint32 code = SearchBitmapRange(image, &s.range, low)) return code;
    seen["range"] = List({s.range.left, s.range.right, s.range.top, s.range.bottom});

    seen["reached"] = "borders";
    if (const sint32 code = MarkLeftRightBorder(image, &s.range, ground, low, high, &s.left, &s.right, &s.extremes))
        return code;
    if (const sint32 code = MarkTopBottomBorder(image, &s.range, ground, low, high, &s.top, &s.bottom, &s.extremes))
        return code;
    NoteSides(s, seen);

    seen["reached"] = "split";
    const sint32 split = DispartBorderPoints(image, &s.extremes, &s.tilted, &s.left, &s.right, &s.top, &s.bottom,
                                             &s.left_top, &s.left_bottom, &s.right_top, &s.right_bottom);
    seen["tilted"] = std::to_string(s.tilted);
    if (split != 0) return split;
    seen["kept"] = List({s.left_top.border_line_seck.index, s.left_bottom.border_line_seck.index,
                         s.right_top.border_line_seck.index, s.right_bottom.border_line_seck.index});

    seen["reached"] = "frame";
    if (const sint32 code = CalBorderPoints(image, &s.spans, &s.angle, &s.centre, &s.width, &s.height, &s.extremes,
                                            &s.tilted, &s.left_top, &s.left_bottom, &s.right_top, &s.right_bottom))
        return code;
    seen["angle"] = RealText(s.angle);
    seen["centre"] = List({s.centre.x, s.centre.y});
    NoteSpans(s.spans, seen);

    seen["reached"] = "rotate";
    uint8 color[] = {255, 0, 0};
    if (const sint32 code =
            RotateBitmap(image, dest, &s.spans, s.angle, s.centre, s.width, s.height, interpolation, color))
        return code;
    seen["reached"] = "done";
    return 0;
}

/* ---- One case ---- */

class GoldenCase : public testing::Test
{
public:
    explicit GoldenCase(Row row) : expected(std::move(row)) {}

    void TestBody() override
    {
        for (const char* column : kResultColumns) seen[column] = "-";
        std::string file = std::string(QUARLO_GOLDEN_DIR) + "/" + expected["input"];
        std::vector<sint8> name(file.c_str(), file.c_str() + file.size() + 1);
        ASSERT_EQ(0, ReadBitmapFromFile(&source.rec, name.data())) << file;
        ReadArguments();
        const test::Bytes before = test::PackedPixels(source.rec);
        ClearGlobals();
        Run(expected["operation"]);
        EXPECT_EQ(before, test::PackedPixels(source.rec)) << "the source was changed";
        Compare();
    }

private:
    void ReadArguments()
    {
        std::istringstream stream(expected["arguments"]);
        for (std::string argument; stream >> argument;) {
            const size_t sign = argument.find('=');
            if (sign != std::string::npos) arguments[argument.substr(0, sign)] = argument.substr(sign + 1);
        }
    }

    sint32 Number(const std::string& name) { return std::stoi(arguments.at(name)); }

    void Run(const std::string& operation)
    {
        if (operation == "ImageQuarlo") return RunImageQuarlo();
        if (operation == "QuarloPic" || operation == "QuarloPicEx") return RunQuarloPic(operation == "QuarloPicEx");
        const std::map<std::string, std::function<sint32()>> others = {
            {"ReadBitmapFromFile", [this] { return Bitmap_Copy(&source.rec, &dest.rec); }},
            {"imageRotate", [this] { return imageRotate(&source.rec, &dest.rec, Number("angle")); }},
            {"GetBWBitmap",
             [this] { return GetBWBitmap(&source.rec, &dest.rec, static_cast<uint8>(Number("value"))); }},
            {"GetGrayBitmap", [this] { return GetGrayBitmap(&source.rec, &dest.rec); }},
            {"GetColorBitmap", [this] { return GetColorBitmap(&source.rec, &dest.rec); }},
            {"RotateBitmap", [this] { return RunRotateBitmap(); }},
        };
        ASSERT_EQ(1u, others.count(operation)) << "unknown operation " << operation;
        seen["code"] = std::to_string(others.at(operation)());
        NoteDest();
        EXPECT_EQ("0,0,0,0,0,0,0,0", GlobalsText()) << "the globals belong to page detection";
    }

    /* A failed call leaves the record as it was: without an image. */
    void NoteDest()
    {
        if (dest.rec.buffer != nullptr) NoteImage(dest.rec, seen);
    }

    void RunImageQuarlo()
    {
        const sint32 code =
            ImageQuarlo(&source.rec, Number("interpolation"), Number("threshold"), Number("background"), &dest.rec);
        seen["code"] = std::to_string(code);
        NoteDest();
        if (expected["reached"] == "-") return; /* refused before the first stage */
        EXPECT_EQ(code, RunStages(Number("threshold"), Number("background")));
    }

    void RunQuarloPic(bool automatic)
    {
        const test::Bytes input = test::PackedPixels(source.rec);
        test::Bytes pixels = input;
        sint32 width = source.rec.biWidth;
        sint32 height = source.rec.biHeight;
        const sint32 bits = source.rec.biBitCount;
        pixels.resize(std::max(input.size(), ResultSize(bits)));
        const sint32 threshold = automatic ? 0 : Number("threshold");
        const sint32 code =
            automatic ? QuarloPicEx(pixels.data(), &width, &height, bits, Number("interpolation"))
                      : QuarloPic(pixels.data(), &width, &height, bits, Number("interpolation"), threshold);
        seen["code"] = std::to_string(code);
        if (code == 1) {
            test::Bitmap page(width, height, bits);
            std::copy_n(pixels.begin(), page.rec.bfSize, page.rec.buffer);
            NoteImage(page.rec, seen);
        } else {
            pixels.resize(input.size());
            EXPECT_EQ(input, pixels) << "a failed call changed the buffer";
            EXPECT_EQ(source.rec.biWidth, width);
            EXPECT_EQ(source.rec.biHeight, height);
        }
        EXPECT_EQ(code == 1, RunStages(threshold, 1) == 0);
    }

    /* Bytes that the table's result takes, packed; 0 when it has none. */
    size_t ResultSize(sint32 bits)
    {
        if (expected["width"] == "-") return 0;
        const size_t width = std::stoul(expected["width"]);
        return (width * static_cast<size_t>(bits) + 7) / 8 * std::stoul(expected["height"]);
    }

    /* Runs the same page stage by stage; page and globals have to be those of the entry point. */
    sint32 RunStages(sint32 threshold, sint32 ground)
    {
        const std::string globals = GlobalsText();
        const std::string pixels = seen["pixels"];
        ClearGlobals();
        test::Bitmap page;
        const sint32 code = DriveStages(&source.rec, threshold, ground, Number("interpolation"), seen, &page.rec);
        if (code == 0) NoteImage(page.rec, seen);
        EXPECT_EQ(globals, GlobalsText()) << "the entry point and the stages disagree";
        EXPECT_EQ(pixels, seen["pixels"]) << "the entry point and the stages disagree";
        return code;
    }

    sint32 RunRotateBitmap()
    {
        const std::vector<sint32> centre = Numbers(arguments.at("centre"));
        std::vector<uint8> color;
        for (sint32 value : Numbers(arguments.at("color"))) color.push_back(static_cast<uint8>(value));
        const std::string shape = arguments.at("spans");
        const size_t open = shape.find('(');
        const std::vector<sint32> p = Numbers(shape.substr(open + 1));
        const bool ragged = shape.substr(0, open) == "ragged";
        std::vector<LineSeckRec> seck;
        for (sint32 y = 0; y <= p[1]; ++y)
            seck.push_back(ragged ? LineSeckRec{y * p[2] % 11, source.rec.biWidth - 1 - y * p[3] % 13}
                                  : LineSeckRec{p[2], p[3]});
        RowSeckRec spans = {p[1] - p[0] + 1, p[1] + 1, p[0], p[1], seck.data()};
        NoteSpans(spans, seen);
        return RotateBitmap(&source.rec, &dest.rec, &spans, std::strtod(arguments.at("angle").c_str(), nullptr),
                            {centre[0], centre[1]}, Number("width"), Number("height"), Number("interpolation"),
                            color.data());
    }

    void Compare()
    {
        if (expected["angle"] != "-") expected["angle"] = RealText(std::strtod(expected["angle"].c_str(), nullptr));
        for (const char* column : kResultColumns) EXPECT_EQ(expected[column], seen[column]) << "column " << column;
    }

    Row expected, seen, arguments;
    test::Bitmap source, dest;
};

/* ---- The table ---- */

std::vector<std::string> Columns(const std::string& line)
{
    std::vector<std::string> columns;
    std::istringstream stream(line);
    for (std::string column; std::getline(stream, column, '\t');) columns.push_back(column);
    return columns;
}

std::vector<Row> ReadTable()
{
    std::ifstream file(std::string(QUARLO_GOLDEN_DIR) + "/cases.tsv");
    std::string line;
    std::getline(file, line);
    const std::vector<std::string> names = Columns(line);
    std::vector<Row> table;
    while (std::getline(file, line)) {
        const std::vector<std::string> columns = Columns(line);
        Row row;
        for (size_t k = 0; k < names.size() && k < columns.size(); ++k) row[names[k]] = columns[k];
        table.push_back(row);
    }
    return table;
}

bool RegisterCases()
{
    for (const Row& row : ReadTable())
        testing::RegisterTest("Golden", row.at("case").c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [row]() -> GoldenCase* { return new GoldenCase(row); });
    return true;
}

const bool registered = RegisterCases();

} // namespace

TEST(GoldenTable, HoldsEveryCaseOnceWithEveryColumn)
{
    ASSERT_TRUE(registered);
    const std::vector<Row> table = ReadTable();
    EXPECT_EQ(kCaseNum, table.size());
    std::map<std::string, int> names;
    for (const Row& row : table) {
        EXPECT_EQ(1, ++names[row.at("case")]) << row.at("case");
        EXPECT_EQ(4 + std::size(kResultColumns), row.size()) << row.at("case");
    }
}
