/*
 * tool_wire_test.cpp - what the processes of a call tell each other arrives as it was, or not at all.
 */
#include <random>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Process.h"
#include "Wire.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* Every field differs from its default, and from its neighbours. */

Placement FullPlacement()
{
    Placement placement;
    placement.scan_width = 300;
    placement.scan_height = 301;
    placement.angle = 0.25;
    placement.center = {12, 13};
    placement.width = 200;
    placement.height = 201;
    for (int i = 0; i < 4; ++i) {
        LineRec& line = placement.lines[static_cast<size_t>(i)];
        line.type = 3;
        line.a = 1.5 + i;
        line.b = -2.5 - i;
        line.angle = 3.25 * i;
        line.center = {20 + i, 30 + i};
    }
    return placement;
}

Frame FullFrame()
{
    Frame frame;
    frame.problem = {Code::not_trusted, "trust", "too low"};
    frame.found = true;
    frame.ground = Ground::light;
    frame.threshold = 77;
    frame.prepared = "smoothed";
    frame.placement = FullPlacement();
    frame.angle_deg = -1.75;
    for (size_t i = 0; i < 4; ++i) {
        const auto k = static_cast<int>(i);
        frame.corners[i] = {1.0 + k, 11.0 + k};
        frame.edges[i] = {100 + k, 200 + k, 300 + k, 0.5 + k, 0.625 + k, 0.75 + k, 0.875 + k, i % 2 == 0};
    }
    frame.center = {5.5, 6.5};
    frame.width = 202;
    frame.height = 203;
    frame.parallel_deg = 0.03125;
    frame.square_deg = 0.0625;
    frame.score = 0.375;
    return frame;
}

void FillReport(PageReport* report)
{
    report->file = std::string("a\nb\0c", 5);
    report->page = 7;
    report->status = Status::refused;
    report->problem = {Code::angle_limit, "limits", "too much"};
    report->width_in = 1;
    report->height_in = 2;
    report->width_out = 3;
    report->height_out = 4;
    report->resolution = {300.5, 301.5, Resolution::Unit::centimetre};
    report->depth = 24;
    report->to_source = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5};
    report->has_result = true;
    report->interpolation = Interpolation::cubic;
    report->resampled = true;
    report->fill = {Fill::Kind::edge, 1, 2, 3};
    report->out = "out.png";
    report->warnings = {"one", "", "three"};
    report->ms = {{"read", 1.25}, {"find", 2.25}};
}

void FillResult(PageResult* result)
{
    FillReport(&result->report);
    result->frame = std::make_unique<Frame>(FullFrame());
    result->report.frame = result->frame.get();
    result->drawing = std::string(3000, 'd');
    result->thumbnail = "small";
    result->drawing_problem = {Code::cannot_write, "overlay", "full"};
}

void FillMetadata(Metadata* meta)
{
    meta->format = Format::jpeg;
    meta->depth_in_file = 16;
    meta->resolution = {72.25, 73.25, Resolution::Unit::metre};
    meta->icc = {1, 2, 3};
    meta->srgb_intent = 2;
    meta->exif = {4, 5};
    meta->xmp = {6};
    meta->iptc = {7, 8, 9, 10};
    meta->text = {{"key", "text", "en", "clef", true, true}, {"k", "", "", "", false, false}};
    meta->tags = {{315, 2, 5, {65, 66, 67, 68, 0}}};
    meta->tiff_compression = 5;
    meta->tiff_predictor = 2;
    meta->tiff_fill_order = 1;
    meta->white_is_zero = true;
    meta->jpeg.tables.resize(2);
    meta->jpeg.tables[1][63] = 99;
    meta->jpeg.table_of = {0, 1, 1};
    meta->jpeg.h_sampling = {2, 1, 1};
    meta->jpeg.v_sampling = {2, 1, 2};
    meta->jpeg.components = 3;
    meta->jpeg.progressive = true;
}

FileRecord FullRecord()
{
    FileRecord record;
    record.input = "scan.tif";
    record.pages.resize(2);
    PageRecord& page = record.pages[0];
    FillResult(&page.result);
    page.target = "target";
    page.drawing = "drawing.svg";
    page.is_file = page.left_out = page.exists = true;
    return record;
}

/* ---- Equality, field by field ---- */

void ExpectEqual(const Problem& one, const Problem& other)
{
    EXPECT_EQ(one.code, other.code);
    EXPECT_EQ(one.stage, other.stage);
    EXPECT_EQ(one.reason, other.reason);
}

void ExpectEqual(const Point& one, const Point& other)
{
    EXPECT_EQ(one.x, other.x);
    EXPECT_EQ(one.y, other.y);
}

void ExpectEqual(const PointRec& one, const PointRec& other)
{
    EXPECT_EQ(one.x, other.x);
    EXPECT_EQ(one.y, other.y);
}

void ExpectEqual(const Resolution& one, const Resolution& other)
{
    EXPECT_EQ(one.x, other.x);
    EXPECT_EQ(one.y, other.y);
    EXPECT_EQ(one.unit, other.unit);
}

void ExpectEqual(const Placement& one, const Placement& other)
{
    EXPECT_EQ(one.scan_width, other.scan_width);
    EXPECT_EQ(one.scan_height, other.scan_height);
    EXPECT_EQ(one.angle, other.angle);
    ExpectEqual(one.center, other.center);
    EXPECT_EQ(one.width, other.width);
    EXPECT_EQ(one.height, other.height);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(one.lines[i].type, other.lines[i].type);
        EXPECT_EQ(one.lines[i].a, other.lines[i].a);
        EXPECT_EQ(one.lines[i].b, other.lines[i].b);
        EXPECT_EQ(one.lines[i].angle, other.lines[i].angle);
        ExpectEqual(one.lines[i].center, other.lines[i].center);
    }
}

void ExpectEqual(const Edge& one, const Edge& other)
{
    EXPECT_EQ(one.points, other.points);
    EXPECT_EQ(one.segments, other.segments);
    EXPECT_EQ(one.dropped, other.dropped);
    EXPECT_EQ(one.angle_deg, other.angle_deg);
    EXPECT_EQ(one.rms_px, other.rms_px);
    EXPECT_EQ(one.support, other.support);
    EXPECT_EQ(one.contrast, other.contrast);
    EXPECT_EQ(one.at_border, other.at_border);
}

void ExpectEqual(const Frame& one, const Frame& other)
{
    ExpectEqual(one.problem, other.problem);
    EXPECT_EQ(one.found, other.found);
    EXPECT_EQ(one.ground, other.ground);
    EXPECT_EQ(one.threshold, other.threshold);
    EXPECT_EQ(one.prepared, other.prepared);
    ExpectEqual(one.placement, other.placement);
    EXPECT_EQ(one.angle_deg, other.angle_deg);
    for (size_t i = 0; i < 4; ++i) {
        ExpectEqual(one.corners[i], other.corners[i]);
        ExpectEqual(one.edges[i], other.edges[i]);
    }
    ExpectEqual(one.center, other.center);
    EXPECT_EQ(one.width, other.width);
    EXPECT_EQ(one.height, other.height);
    EXPECT_EQ(one.parallel_deg, other.parallel_deg);
    EXPECT_EQ(one.square_deg, other.square_deg);
    EXPECT_EQ(one.score, other.score);
}

void ExpectEqual(const PageReport& one, const PageReport& other)
{
    EXPECT_EQ(one.file, other.file);
    EXPECT_EQ(one.page, other.page);
    EXPECT_EQ(one.status, other.status);
    ExpectEqual(one.problem, other.problem);
    EXPECT_EQ(one.width_in, other.width_in);
    EXPECT_EQ(one.height_in, other.height_in);
    EXPECT_EQ(one.width_out, other.width_out);
    EXPECT_EQ(one.height_out, other.height_out);
    ExpectEqual(one.resolution, other.resolution);
    EXPECT_EQ(one.depth, other.depth);
    ExpectEqual(one.to_source({1, 0}), other.to_source({1, 0}));
    ExpectEqual(one.to_source({0, 1}), other.to_source({0, 1}));
    ExpectEqual(one.to_source({0, 0}), other.to_source({0, 0}));
    EXPECT_EQ(one.has_result, other.has_result);
    EXPECT_EQ(one.interpolation, other.interpolation);
    EXPECT_EQ(one.resampled, other.resampled);
    EXPECT_EQ(one.fill.kind, other.fill.kind);
    EXPECT_EQ(one.fill.red, other.fill.red);
    EXPECT_EQ(one.fill.green, other.fill.green);
    EXPECT_EQ(one.fill.blue, other.fill.blue);
    EXPECT_EQ(one.out, other.out);
    EXPECT_EQ(one.warnings, other.warnings);
    EXPECT_EQ(one.ms, other.ms);
}

void ExpectEqual(const PageResult& one, const PageResult& other)
{
    ExpectEqual(one.report, other.report);
    ASSERT_EQ(one.frame != nullptr, other.frame != nullptr);
    EXPECT_EQ(other.frame.get(), other.report.frame);
    if (one.frame) ExpectEqual(*one.frame, *other.frame);
    EXPECT_EQ(one.drawing, other.drawing);
    EXPECT_EQ(one.thumbnail, other.thumbnail);
    ExpectEqual(one.drawing_problem, other.drawing_problem);
}

void ExpectEqual(const Metadata& one, const Metadata& other)
{
    EXPECT_EQ(one.format, other.format);
    EXPECT_EQ(one.depth_in_file, other.depth_in_file);
    ExpectEqual(one.resolution, other.resolution);
    EXPECT_EQ(one.icc, other.icc);
    EXPECT_EQ(one.srgb_intent, other.srgb_intent);
    EXPECT_EQ(one.exif, other.exif);
    EXPECT_EQ(one.xmp, other.xmp);
    EXPECT_EQ(one.iptc, other.iptc);
    ASSERT_EQ(one.text.size(), other.text.size());
    for (size_t i = 0; i < one.text.size(); ++i) {
        EXPECT_EQ(one.text[i].key, other.text[i].key);
        EXPECT_EQ(one.text[i].text, other.text[i].text);
        EXPECT_EQ(one.text[i].language, other.text[i].language);
        EXPECT_EQ(one.text[i].translated_key, other.text[i].translated_key);
        EXPECT_EQ(one.text[i].international, other.text[i].international);
        EXPECT_EQ(one.text[i].compressed, other.text[i].compressed);
    }
    ASSERT_EQ(one.tags.size(), other.tags.size());
    for (size_t i = 0; i < one.tags.size(); ++i) {
        EXPECT_EQ(one.tags[i].tag, other.tags[i].tag);
        EXPECT_EQ(one.tags[i].type, other.tags[i].type);
        EXPECT_EQ(one.tags[i].count, other.tags[i].count);
        EXPECT_EQ(one.tags[i].values, other.tags[i].values);
    }
    EXPECT_EQ(one.tiff_compression, other.tiff_compression);
    EXPECT_EQ(one.tiff_predictor, other.tiff_predictor);
    EXPECT_EQ(one.tiff_fill_order, other.tiff_fill_order);
    EXPECT_EQ(one.white_is_zero, other.white_is_zero);
    EXPECT_EQ(one.jpeg.tables, other.jpeg.tables);
    EXPECT_EQ(one.jpeg.table_of, other.jpeg.table_of);
    EXPECT_EQ(one.jpeg.h_sampling, other.jpeg.h_sampling);
    EXPECT_EQ(one.jpeg.v_sampling, other.jpeg.v_sampling);
    EXPECT_EQ(one.jpeg.components, other.jpeg.components);
    EXPECT_EQ(one.jpeg.progressive, other.jpeg.progressive);
}

void FillPage(PageResult* result)
{
    FillResult(result);
    FillMetadata(&result->page.meta);
    result->page.warnings = {"read", "twice"};
    ASSERT_FALSE(Bitmap::Make(5, 3, 24, &result->page.bitmap));
}

/* Whatever can be unpacked. */
template <class Value>
bool Reads(const std::string& bytes)
{
    Value value;
    return Unpack(bytes, &value);
}

struct Kind {
    const char* name;
    std::string bytes;
    bool (*reads)(const std::string& bytes);
};

std::vector<Kind> AllKinds()
{
    Outcome outcome;
    outcome.record = FullRecord();
    PageResult page;
    FillPage(&page);
    return {{"Source", Packed(Source{"name", "below"}), Reads<Source>},
            {"Wishes", Packed(Wishes{{"a", "b"}, {"c"}}), Reads<Wishes>},
            {"Grants", Packed(Grants{{"", "no"}, {"c.svg"}}), Reads<Grants>},
            {"Outcome", Packed(outcome), Reads<Outcome>},
            {"int", Packed(5), Reads<int>},
            {"PageResult", Packed(page), Reads<PageResult>}};
}

TEST(Wire, SourceWishesGrantsAndNumbersArriveAsTheyWere)
{
    Source source;
    ASSERT_TRUE(Unpack(Packed(Source{std::string("n\0\n", 3), "b/c"}), &source));
    EXPECT_EQ(std::string("n\0\n", 3), source.name);
    EXPECT_EQ("b/c", source.below);
    Wishes wishes;
    ASSERT_TRUE(Unpack(Packed(Wishes{{"a", ""}, {"c", "d", "e"}}), &wishes));
    EXPECT_EQ((std::vector<std::string>{"a", ""}), wishes.targets);
    EXPECT_EQ((std::vector<std::string>{"c", "d", "e"}), wishes.drawings);
    Grants grants;
    ASSERT_TRUE(Unpack(Packed(Grants{{"", "no"}, {"c.svg"}}), &grants));
    EXPECT_EQ((std::vector<std::string>{"", "no"}), grants.complaints);
    EXPECT_EQ((std::vector<std::string>{"c.svg"}), grants.drawings);
    int number = 0;
    ASSERT_TRUE(Unpack(Packed(-12345678), &number));
    EXPECT_EQ(-12345678, number);
}

TEST(Wire, OutcomeArrivesAsItWas)
{
    Outcome sent, got;
    sent.record = FullRecord();
    sent.closed_pipe = sent.ends = true;
    ASSERT_TRUE(Unpack(Packed(sent), &got));
    EXPECT_TRUE(got.closed_pipe);
    EXPECT_TRUE(got.ends);
    EXPECT_EQ("scan.tif", got.record.input);
    ASSERT_EQ(2u, got.record.pages.size());
    for (size_t i = 0; i < 2; ++i) {
        const PageRecord &one = sent.record.pages[i], &other = got.record.pages[i];
        ExpectEqual(one.result, other.result);
        EXPECT_EQ(one.target, other.target);
        EXPECT_EQ(one.drawing, other.drawing);
        EXPECT_EQ(one.is_file, other.is_file);
        EXPECT_EQ(one.left_out, other.left_out);
        EXPECT_EQ(one.exists, other.exists);
    }
    EXPECT_EQ(nullptr, got.record.pages[1].result.frame);
    EXPECT_EQ(ReportLine(sent.record.pages[0].result.report), ReportLine(got.record.pages[0].result.report));
}

TEST(Wire, TruthValuesDoNotTakeEachOthersPlace)
{
    for (int which = 0; which < 5; ++which) {
        Outcome sent, got;
        sent.record.pages.resize(1);
        PageRecord& page = sent.record.pages[0];
        page.is_file = which == 0;
        page.left_out = which == 1;
        page.exists = which == 2;
        sent.closed_pipe = which == 3;
        sent.ends = which == 4;
        ASSERT_TRUE(Unpack(Packed(sent), &got));
        EXPECT_EQ(which == 0, got.record.pages[0].is_file);
        EXPECT_EQ(which == 1, got.record.pages[0].left_out);
        EXPECT_EQ(which == 2, got.record.pages[0].exists);
        EXPECT_EQ(which == 3, got.closed_pipe);
        EXPECT_EQ(which == 4, got.ends);
    }
}

TEST(Wire, PageArrivesWithAnEmptyBitmapOfItsSize)
{
    PageResult sent, got;
    FillPage(&sent);
    ASSERT_TRUE(Unpack(Packed(sent), &got));
    ExpectEqual(sent, got);
    ExpectEqual(sent.page.meta, got.page.meta);
    EXPECT_EQ(sent.page.warnings, got.page.warnings);
    EXPECT_EQ(5, got.page.bitmap.width());
    EXPECT_EQ(3, got.page.bitmap.height());
    EXPECT_EQ(24, got.page.bitmap.depth());
    PageResult nothing, same;
    ASSERT_TRUE(Unpack(Packed(nothing), &same));
    ExpectEqual(nothing, same);
    EXPECT_TRUE(same.page.bitmap.empty());
}

TEST(Wire, WhatIsCutShortOrTooLongIsRefused)
{
    for (const Kind& kind : AllKinds()) {
        EXPECT_TRUE(kind.reads(kind.bytes)) << kind.name;
        for (size_t size = 0; size < kind.bytes.size(); ++size)
            EXPECT_FALSE(kind.reads(kind.bytes.substr(0, size))) << kind.name << ", " << size;
        EXPECT_FALSE(kind.reads(kind.bytes + '\0')) << kind.name;
    }
}

TEST(Wire, SizeThatNoBitmapHasIsRefused)
{
    PageResult page;
    FillPage(&page);
    const std::string bytes = Packed(page);
    const auto size_of = [](int width, int height, int depth) {
        const int size[] = {width, height, depth};
        return std::string(reinterpret_cast<const char*>(size), sizeof size);
    };
    const std::string size = size_of(5, 3, 24);
    const size_t at = bytes.find(size);
    ASSERT_NE(std::string::npos, at);
    for (const std::string& wrong : {size_of(5, -3, 24), size_of(-5, 3, 24), size_of(0, 3, 24), size_of(5, 3, 7),
                                     size_of(2000000000, 2000000000, 24)}) {
        PageResult got;
        EXPECT_FALSE(Unpack(std::string(bytes).replace(at, size.size(), wrong), &got));
    }
}

TEST(Wire, WrongBytesAreRefusedOrReadAsSomethingOfTheSameLength)
{
    std::mt19937 random(20240229);
    size_t refused = 0, read = 0;
    PageResult whole;
    FillPage(&whole);
    const std::string right = Packed(whole);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = right;
        for (int k = static_cast<int>(random() % 4); k >= 0; --k)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        PageResult page;
        Outcome outcome;
        if (Unpack(bytes, &page)) {
            ++read;
            EXPECT_EQ(bytes.size(), Packed(page).size());
        } else {
            ++refused;
        }
        std::string noise(random() % 600, '\0');
        for (char& byte : noise) byte = static_cast<char>(random() % 3 == 0 ? random() : 0);
        EXPECT_TRUE(!Unpack(noise, &outcome) || noise.size() == Packed(outcome).size());
    }
    EXPECT_GT(refused, 0u);
    EXPECT_GT(read, 0u);
}

class Messages : public testing::Test
{
protected:
    void SetUp() override
    {
        int ends[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
        one = Owned(ends[0]);
        other = Owned(ends[1]);
    }
    Owned one, other;
};

TEST_F(Messages, ArriveInOrderWithTheirTopics)
{
    ASSERT_TRUE(SendMessage(one.number(), Topic::claim, std::string("b\0dy", 4)));
    ASSERT_TRUE(SendMessage(one.number(), Topic::ready));
    Message message;
    ASSERT_TRUE(ReceiveMessage(other.number(), &message));
    EXPECT_EQ(Topic::claim, message.topic);
    EXPECT_EQ(std::string("b\0dy", 4), message.body);
    ASSERT_TRUE(ReceiveMessage(other.number(), &message));
    EXPECT_EQ(Topic::ready, message.topic);
    EXPECT_EQ("", message.body);
}

TEST_F(Messages, EndOfTheOtherSideIsNoMessage)
{
    Message message;
    ASSERT_TRUE(SendMessage(one.number(), Topic::done, "last words"));
    one.Close();
    EXPECT_TRUE(ReceiveMessage(other.number(), &message));
    EXPECT_FALSE(ReceiveMessage(other.number(), &message));
}

TEST_F(Messages, OneThatIsCutShortIsNone)
{
    ASSERT_TRUE(SendMessage(one.number(), Topic::done, "last words"));
    one.Close();
    char begin[20];
    ASSERT_EQ(static_cast<ssize_t>(sizeof begin), read(other.number(), begin, sizeof begin));
    SetUp();
    ASSERT_TRUE(Transmit(one.number(), begin, sizeof begin));
    one.Close();
    Message message;
    EXPECT_FALSE(ReceiveMessage(other.number(), &message));
}

TEST_F(Messages, LengthThatMakesNoSenseIsRefusedBeforeItIsAllocated)
{
    const std::uint64_t head[] = {0, std::uint64_t{1} << 60};
    ASSERT_TRUE(Transmit(one.number(), head, sizeof head));
    Message message;
    EXPECT_FALSE(ReceiveMessage(other.number(), &message));
}

} // namespace

} // namespace tool
