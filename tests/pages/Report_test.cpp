/*
 * Report_test.cpp - lines of the report, and placements read back from them.
 */
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "pages/TestFrame.h"
#include "quarlo/pages.hpp"

namespace
{

using namespace quarlo;
using Json = nlohmann::ordered_json;

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

Json Written(const PageReport& report) { return Json::parse(ReportLine(report)); }

PageReport FullReport(const Frame& frame)
{
    PageReport report;
    report.file = "in/scan.tif";
    report.page = 3;
    report.frame = &frame;
    report.width_in = 400;
    report.height_in = 500;
    report.width_out = 201;
    report.height_out = 301;
    report.resolution = {300.0, 150.0, Resolution::Unit::inch};
    report.depth = 8;
    report.to_source = {0.5, 0.25, 100.0, -0.25, 0.5, 80.0};
    report.has_result = true;
    report.interpolation = Interpolation::cubic;
    report.resampled = true;
    report.fill = {Fill::Kind::edge, 16, 0, 255};
    report.out = "out/scan.png";
    report.warnings = {"one", "two"};
    report.ms = {{"read", 1.5}, {"turn", 2.25}, {"read", 0.25}};
    return report;
}

/* ---- Lines ---- */

TEST(ReportLine, FullReportTellsAllFieldsInOrder)
{
    const Frame frame = test::UprightFrame();
    const std::string edge =
        R"({"points":180,"segments":30,"dropped":2,"angle_deg":0.125,"rms_px":0.5,"support":0.75,)"
        R"("contrast":96.0,"at_border":)";
    const std::string expected =
        R"({"v":1,"file":"in/scan.tif","page":3,"status":"ok","code":0,"stage":null,"reason":null,"ground":"dark",)"
        R"("threshold":57,"prepared":null,"angle_deg":0.0,)"
        R"("corners":[[100.0,80.0],[300.0,80.0],[300.0,380.0],[100.0,380.0]],"center":[200.0,230.0],)"
        R"("size_in":[400,500],"size_out":[201,301],"dpi":[300.0,150.0],"depth":8,)"
        R"("to_source":[[0.5,0.25,100.0],[-0.25,0.5,80.0]],"edges":{"top":)" +
        edge + R"(false},"right":)" + edge + R"(true},"bottom":)" + edge + R"(false},"left":)" + edge +
        R"(false}},"parallel_deg":0.25,"square_deg":0.5,"score":0.875,"interpolate":"cubic","resampled":true,)"
        R"("fill":"#1000ff","out":"out/scan.png","warnings":["one","two"],"frame":{"scan":[400,500],"angle":0.0,)"
        R"("center":[200,269],"size":[201,301],"lines":[)"
        R"({"type":1,"a":119.0,"b":0.0,"angle":0.0,"center":[200,119]},)"
        R"({"type":2,"a":90.0,"b":0.0,"angle":90.0,"center":[90,269]},)"
        R"({"type":2,"a":300.0,"b":0.0,"angle":90.0,"center":[300,269]},)"
        R"({"type":3,"a":419.0,"b":0.0,"angle":0.25,"center":[200,419]}]},"ms":{"read":1.75,"turn":2.25}})";
    EXPECT_EQ(expected, ReportLine(FullReport(frame)));
}

TEST(ReportLine, UnreadableFileTellsNullForWhatThereIsNot)
{
    PageReport report;
    report.file = "scan.png";
    report.status = Status::error;
    report.problem = {Code::damaged, "read", "the file ends too early"};
    EXPECT_EQ(
        R"({"v":1,"file":"scan.png","page":1,"status":"error","code":22,"stage":"read",)"
        R"("reason":"the file ends too early","ground":null,"threshold":null,"prepared":null,"angle_deg":null,)"
        R"("corners":null,"center":null,"size_in":null,"size_out":null,"dpi":null,"depth":null,)"
        R"("to_source":null,"edges":null,"parallel_deg":null,"square_deg":null,"score":null,)"
        R"("interpolate":null,"resampled":null,"fill":null,"out":null,"warnings":[],"frame":null,"ms":{}})",
        ReportLine(report));
}

TEST(ReportLine, FailedSearchTellsWhatItTried)
{
    Frame frame = test::FailedFrame();
    frame.prepared = "smoothed";
    PageReport report;
    report.status = Status::no_frame;
    report.problem = frame.problem;
    report.frame = &frame;
    const Json line = Written(report);
    EXPECT_EQ("no_frame", line["status"]);
    EXPECT_EQ(11, line["code"]);
    EXPECT_EQ("light", line["ground"]);
    EXPECT_EQ(200, line["threshold"]);
    EXPECT_EQ("smoothed", line["prepared"]);
    EXPECT_EQ(0.0, line["score"]);
    for (const char* absent : {"angle_deg", "corners", "center", "edges", "parallel_deg", "square_deg", "frame"})
        EXPECT_TRUE(line[absent].is_null()) << absent;
}

TEST(ReportLine, SearchWithoutThresholdTellsNone)
{
    Frame frame = test::FailedFrame();
    frame.problem.stage = "threshold";
    PageReport report;
    report.frame = &frame;
    EXPECT_TRUE(Written(report)["threshold"].is_null());
    EXPECT_EQ("light", Written(report)["ground"]);
}

TEST(ReportLine, ThresholdZeroIsTold)
{
    Frame frame = test::UprightFrame();
    frame.threshold = 0;
    PageReport report;
    report.frame = &frame;
    EXPECT_EQ(0, Written(report)["threshold"]);
}

TEST(ReportLine, FrameFromElsewhereTellsNoTrust)
{
    Frame frame = test::UprightFrame();
    frame.ground = Ground::automatic;
    const Json line = Written(FullReport(frame));
    for (const char* absent : {"ground", "threshold", "edges", "parallel_deg", "square_deg", "score"})
        EXPECT_TRUE(line[absent].is_null()) << absent;
    EXPECT_EQ(0.0, line["angle_deg"]);
    EXPECT_EQ(Json({200.0, 230.0}), line["center"]);
    EXPECT_EQ(201, line["frame"]["size"][0]);
}

TEST(ReportLine, RefusedPageKeepsItsFrame)
{
    Frame frame = test::UprightFrame();
    frame.problem = {Code::not_trusted, "trust", "too little backed"};
    PageReport report = FullReport(frame);
    report.status = Status::refused;
    report.has_result = false;
    const Json line = Written(report);
    EXPECT_EQ(0.875, line["score"]);
    EXPECT_EQ(400, line["frame"]["scan"][0]);
    for (const char* absent : {"size_out", "depth", "to_source", "interpolate", "resampled", "fill"})
        EXPECT_TRUE(line[absent].is_null()) << absent;
}

TEST(ReportLine, ResolutionIsToldInDotsPerInch)
{
    PageReport report;
    report.resolution = {100.0, 200.0, Resolution::Unit::centimetre};
    EXPECT_EQ(Json({254.0, 508.0}), Written(report)["dpi"]);
    report.resolution.unit = Resolution::Unit::unknown;
    EXPECT_TRUE(Written(report)["dpi"].is_null());
}

TEST(ReportLine, NamesWithAnyBytesStayOnOneLineOfJson)
{
    PageReport report;
    report.file = "a\"b\\c\nd\x01"
                  "e\xFF"
                  "f\xC3\xA9.tif";
    report.problem.reason = "\x80";
    report.ms = {{"\xFE", 1.0}};
    const std::string line = ReportLine(report);
    EXPECT_EQ(std::string::npos, line.find('\n'));
    EXPECT_NE(std::string::npos, line.find("\"file\":\"a\\\"b\\\\c\\nd\\u0001e\xEF\xBF\xBD"
                                           "f\xC3\xA9.tif\""));
    EXPECT_EQ("\xEF\xBF\xBD", Json::parse(line)["reason"]);
    EXPECT_EQ(1.0, Json::parse(line)["ms"]["\xEF\xBF\xBD"]);
}

TEST(ReportLine, NoNumbersAreNull)
{
    Frame frame = test::UprightFrame();
    frame.edges[0].rms_px = kNoNumber;
    frame.placement.lines[0].b = std::numeric_limits<double>::infinity();
    const Json line = Written(FullReport(frame));
    EXPECT_TRUE(line["edges"]["top"]["rms_px"].is_null());
    EXPECT_TRUE(line["frame"]["lines"][0]["b"].is_null());
}

TEST(SummaryLine, TellsAllCountsInOrder)
{
    const Summary summary = {9, 21, 7, 5, 4, 3, 2, 3, true, 12.5};
    EXPECT_EQ(R"({"v":1,"summary":{"files":9,"pages":21,"ok":7,"no_frame":5,"refused":4,"copied":3,"error":2,)"
              R"("exit_code":3,"interrupted":true,"ms":12.5}})",
              SummaryLine(summary));
}

TEST(Status, HasTheNamesOfTheReport)
{
    EXPECT_EQ("ok", NameOf(Status::ok));
    EXPECT_EQ("no_frame", NameOf(Status::no_frame));
    EXPECT_EQ("refused", NameOf(Status::refused));
    EXPECT_EQ("copied", NameOf(Status::copied));
    EXPECT_EQ("error", NameOf(Status::error));
}

/* ---- And back ---- */

std::uint64_t Bits(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

void ExpectSameBits(const Placement& one, const Placement& other)
{
    EXPECT_EQ(one.scan_width, other.scan_width);
    EXPECT_EQ(one.scan_height, other.scan_height);
    EXPECT_EQ(Bits(one.angle), Bits(other.angle));
    EXPECT_EQ(one.center.x, other.center.x);
    EXPECT_EQ(one.center.y, other.center.y);
    EXPECT_EQ(one.width, other.width);
    EXPECT_EQ(one.height, other.height);
    for (std::size_t i = 0; i < one.lines.size(); ++i) {
        EXPECT_EQ(one.lines[i].type, other.lines[i].type);
        EXPECT_EQ(Bits(one.lines[i].a), Bits(other.lines[i].a));
        EXPECT_EQ(Bits(one.lines[i].b), Bits(other.lines[i].b));
        EXPECT_EQ(Bits(one.lines[i].angle), Bits(other.lines[i].angle));
        EXPECT_EQ(one.lines[i].center.x, other.lines[i].center.x);
        EXPECT_EQ(one.lines[i].center.y, other.lines[i].center.y);
    }
}

/* Any finite double, also the smallest, the largest and both zeros. */
double AnyDouble(std::mt19937_64* random)
{
    for (;;) {
        const std::uint64_t bits = (*random)();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (bits % 8 == 0) return bits % 16 == 0 ? -0.0 : 5e-324;
        if (std::isfinite(value)) return value;
    }
}

Placement AnyPlacement(std::mt19937_64* random)
{
    const auto positive = [&] { return static_cast<int>((*random)() % 2147483647U) + 1; };
    const auto any = [&] { return static_cast<int>(static_cast<std::uint32_t>((*random)())); };
    Placement placement;
    placement.scan_width = positive();
    placement.scan_height = positive();
    placement.angle = AnyDouble(random);
    placement.center = {any(), any()};
    placement.width = positive();
    placement.height = positive();
    for (LineRec& line : placement.lines)
        line = {AnyDouble(random), AnyDouble(random), AnyDouble(random), positive() % 3 + 1, {any(), any()}};
    return placement;
}

TEST(ReadReport, PlacementsComeBackBitForBit)
{
    std::mt19937_64 random(20241);
    std::vector<Placement> placements;
    std::string text;
    for (int i = 0; i < 500; ++i) {
        placements.push_back(AnyPlacement(&random));
        Frame frame = test::UprightFrame();
        frame.placement = placements.back();
        PageReport report = FullReport(frame);
        report.file = "scan " + std::to_string(i);
        report.page = i + 1;
        text += ReportLine(report) + '\n';
    }
    std::vector<KnownPage> pages;
    ASSERT_EQ("", ReadReport(text, &pages).reason);
    ASSERT_EQ(placements.size(), pages.size());
    for (std::size_t i = 0; i < pages.size(); ++i) {
        EXPECT_EQ("scan " + std::to_string(i), pages[i].file);
        EXPECT_EQ(static_cast<int>(i) + 1, pages[i].page);
        ExpectSameBits(placements[i], pages[i].placement);
    }
}

TEST(ReadReport, SlopeThatMeansNothingMayBeNoNumber)
{
    Frame frame = test::UprightFrame();
    frame.placement.lines[1].b = kNoNumber;
    std::vector<KnownPage> pages;
    ASSERT_FALSE(ReadReport(ReportLine(FullReport(frame)), &pages));
    ASSERT_EQ(1U, pages.size());
    EXPECT_EQ(0.0, pages[0].placement.lines[1].b);
    frame.placement.lines[3].b = kNoNumber; /* a general line */
    EXPECT_EQ("line 1: b is no number", ReadReport(ReportLine(FullReport(frame)), &pages).reason);
}

std::string LineOf(Status status, const std::string& file)
{
    const Frame frame = test::UprightFrame();
    PageReport report = FullReport(frame);
    report.status = status;
    report.file = file;
    return ReportLine(report);
}

TEST(ReadReport, OnlyPagesThatMayBeCutByTheirFramesAreTaken)
{
    PageReport unread;
    unread.status = Status::error;
    std::string text = "\xEF\xBB\xBF" + LineOf(Status::ok, "good") + "\r\n\n  \t\r\n";
    for (const Status status : {Status::no_frame, Status::refused, Status::copied})
        text += LineOf(status, "not to be taken") + "\n";
    text += ReportLine(unread) + "\n" + LineOf(Status::error, "not written") + "\n" + SummaryLine({}) + "\n";
    text += R"({"v": 1, "more": "than is known"})";
    std::vector<KnownPage> pages;
    ASSERT_EQ("", ReadReport(text, &pages).reason);
    ASSERT_EQ(2U, pages.size());
    EXPECT_EQ("good", pages[0].file);
    EXPECT_EQ("not written", pages[1].file);
}

TEST(ReadReport, EmptyTextHasNoPages)
{
    std::vector<KnownPage> pages(1);
    EXPECT_FALSE(ReadReport("", &pages));
    EXPECT_TRUE(pages.empty());
}

/* The reason why a report of a good line and this one is refused. */
std::string ReasonFor(const std::string& line)
{
    std::vector<KnownPage> pages(3);
    const Problem problem = ReadReport(LineOf(Status::ok, "good") + "\n" + line, &pages);
    EXPECT_EQ(3U, pages.size()) << line; /* untouched */
    EXPECT_EQ(Code::bad_report, problem.code) << line;
    EXPECT_EQ("report", problem.stage) << line;
    return problem.reason;
}

TEST(ReadReport, TextThatIsNoReportIsRefused)
{
    EXPECT_EQ("line 2: is not JSON, from byte 1 on", ReasonFor("x"));
    EXPECT_EQ("line 2: is not JSON, from byte 8 on", ReasonFor("{\"v\":1,"));
    EXPECT_EQ("line 2: is not JSON, from byte 6 on", ReasonFor("{\"v\":NaN}"));
    EXPECT_EQ("line 2: is not JSON, from byte 3 on", ReasonFor("{\"\xFF\":1}"));
    EXPECT_EQ("line 2: is not JSON, from byte 9 on", ReasonFor("{\"v\":1} {}"));
    EXPECT_EQ("line 2: holds a number that is out of range", ReasonFor("{\"v\":1e999}"));
    EXPECT_EQ("line 2: is no JSON object", ReasonFor("[1]"));
    EXPECT_EQ("line 2: is no JSON object", ReasonFor("1"));
    EXPECT_EQ("line 2: v is missing", ReasonFor("{}"));
    EXPECT_EQ("line 2: v is not 1: made by another version", ReasonFor("{\"v\":2}"));
    EXPECT_EQ("line 2: v is no whole number", ReasonFor("{\"v\":1.0}"));
    EXPECT_EQ("line 2: v is out of range", ReasonFor("{\"v\":-1}"));
    EXPECT_EQ("line 2: v is no whole number", ReasonFor("{\"v\":null,\"summary\":{}}"));
}

TEST(ReadReport, DeepNestingIsReadAndRefused)
{
    const std::string deep(1000000, '[');
    EXPECT_EQ("line 2: is not JSON, from byte 1000001 on", ReasonFor(deep));
    EXPECT_EQ("line 2: is no JSON object", ReasonFor(deep + std::string(1000000, ']')));
}

TEST(ReadReport, DamagedTextIsReadOrRefused)
{
    const std::string good = LineOf(Status::ok, "scan") + "\n" + SummaryLine({}) + "\n";
    std::mt19937 random(7);
    int refused = 0;
    for (int i = 0; i < 5000; ++i) {
        std::string text = good;
        for (unsigned k = random() % 4 + 1; k > 0; --k) text[random() % text.size()] = static_cast<char>(random());
        if (random() % 4 == 0) text.resize(random() % text.size());
        std::vector<KnownPage> pages(7);
        const Problem problem = ReadReport(text, &pages);
        ASSERT_EQ(problem ? Code::bad_report : Code::ok, problem.code);
        ASSERT_EQ(static_cast<bool>(problem), pages.size() == 7) << text;
        refused += problem ? 1 : 0;
    }
    EXPECT_GT(refused, 2500);
    EXPECT_LT(refused, 5000);
}

/* The reason when one value of a good line is another. */
std::string ReasonWith(const std::string& pointer, const Json& value)
{
    Json line = Json::parse(LineOf(Status::ok, "changed"));
    line[Json::json_pointer(pointer)] = value;
    return ReasonFor(line.dump());
}

std::string ReasonWithout(const std::string& pointer, const std::string& name)
{
    Json line = Json::parse(LineOf(Status::ok, "changed"));
    line[Json::json_pointer(pointer)].erase(name);
    return ReasonFor(line.dump());
}

TEST(ReadReport, ValuesOfTheWrongKindAreRefused)
{
    EXPECT_EQ("line 2: file is no text", ReasonWith("/file", 1));
    EXPECT_EQ("line 2: page is out of range", ReasonWith("/page", 0));
    EXPECT_EQ("line 2: page is no whole number", ReasonWith("/page", "1"));
    EXPECT_EQ("line 2: status is none of ok, no_frame, refused, copied, error", ReasonWith("/status", "fine"));
    EXPECT_EQ("line 2: status is none of ok, no_frame, refused, copied, error", ReasonWith("/status", 0));
    EXPECT_EQ("line 2: what should hold scan is no object", ReasonWith("/frame", "here"));
    EXPECT_EQ("line 2: scan is no pair", ReasonWith("/frame/scan", {1, 2, 3}));
    EXPECT_EQ("line 2: scan is out of range", ReasonWith("/frame/scan", {0, 2}));
    EXPECT_EQ("line 2: scan is out of range", ReasonWith("/frame/scan", {2, 2147483648U}));
    EXPECT_EQ("line 2: scan is out of range", ReasonWith("/frame/scan", {2, 18446744073709551615ULL}));
    EXPECT_EQ("line 2: size is out of range", ReasonWith("/frame/size", {-5, 2}));
    EXPECT_EQ("line 2: size is no whole number", ReasonWith("/frame/size", {1.5, 2}));
    EXPECT_EQ("line 2: center is out of range", ReasonWith("/frame/center", {-2147483649LL, 2}));
    EXPECT_EQ("line 2: angle is no number", ReasonWith("/frame/angle", nullptr));
    EXPECT_EQ("line 2: angle is no number", ReasonWith("/frame/angle", true));
    EXPECT_EQ("line 2: lines are not four", ReasonWith("/frame/lines", Json::array()));
    EXPECT_EQ("line 2: lines are not four", ReasonWith("/frame/lines", 4));
    EXPECT_EQ("line 2: what should hold type is no object", ReasonWith("/frame/lines/2", 4));
    EXPECT_EQ("line 2: type is out of range", ReasonWith("/frame/lines/2/type", 4));
    EXPECT_EQ("line 2: type is out of range", ReasonWith("/frame/lines/2/type", 0));
    EXPECT_EQ("line 2: a is no number", ReasonWith("/frame/lines/0/a", nullptr));
    EXPECT_EQ("line 2: b is no number", ReasonWith("/frame/lines/0/b", "0"));
    EXPECT_EQ("line 2: angle is no number", ReasonWith("/frame/lines/0/angle", nullptr));
    EXPECT_EQ("line 2: center is no pair", ReasonWith("/frame/lines/0/center", nullptr));
}

TEST(ReadReport, MissingValuesAreRefused)
{
    for (const char* name : {"v", "file", "page", "status"})
        EXPECT_EQ(std::string("line 2: ") + name + " is missing", ReasonWithout("", name));
    for (const char* name : {"scan", "angle", "center", "size", "lines"})
        EXPECT_EQ(std::string("line 2: ") + name + " is missing", ReasonWithout("/frame", name));
    for (const char* name : {"type", "a", "b", "angle", "center"})
        EXPECT_EQ(std::string("line 2: ") + name + " is missing", ReasonWithout("/frame/lines/3", name));
}

} // namespace
