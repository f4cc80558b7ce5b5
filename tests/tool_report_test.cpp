/*
 * tool_report_test.cpp - what the tool tells: report, angles, messages, drawings, and a report that is applied.
 */
#include <cmath>
#include <sstream>

#include <nlohmann/json.hpp>

#include "support/ToolTest.h"

using nlohmann::json;
using quarlo::Page;
using test::Exists;
using test::Load;
using test::ReadAll;
using test::Save;
using test::Sheet;
using test::WriteAll;

namespace
{

class ToolReport : public test::ToolTest
{
};

std::vector<json> Lines(const std::string& text)
{
    std::vector<json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
    return lines;
}

Sheet Turned(double angle_deg)
{
    Sheet sheet;
    sheet.angle_deg = angle_deg;
    return sheet;
}

TEST_F(ToolReport, EachPageHasALineAndASummaryCloses)
{
    Make("a.png", Turned(1.0));
    MakeBlank("b.png");
    WriteAll(Path("c.png"), "no picture");
    EXPECT_EQ(1, Run("--json -O out a.png b.png c.png"));
    const std::vector<json> lines = Lines(out);
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ("a.png", lines[0]["file"]);
    EXPECT_EQ(1, lines[0]["page"]);
    EXPECT_EQ("ok", lines[0]["status"]);
    EXPECT_EQ("out/a_q.png", lines[0]["out"]);
    EXPECT_EQ(json({600, 800}), lines[0]["size_in"]);
    EXPECT_NEAR(300.0, lines[0]["dpi"][0].get<double>(), 0.01);
    for (const char* stage : {"read", "find", "turn", "write"})
        EXPECT_TRUE(lines[0]["ms"].contains(stage)) << stage;
    EXPECT_EQ("no_frame", lines[1]["status"]);
    EXPECT_EQ(9, lines[1]["code"]);
    EXPECT_EQ(nullptr, lines[1]["out"]);
    EXPECT_EQ("error", lines[2]["status"]);
    EXPECT_EQ(21, lines[2]["code"]);
    json summary = lines[3]["summary"];
    summary.erase("ms");
    EXPECT_EQ(json({{"files", 3},
                    {"pages", 3},
                    {"ok", 1},
                    {"no_frame", 1},
                    {"refused", 0},
                    {"copied", 0},
                    {"error", 1},
                    {"exit_code", 1},
                    {"interrupted", false}}),
              summary);
}

TEST_F(ToolReport, DryRunFindsAndWritesNothing)
{
    Make("scan.png", Turned(1.0));
    EXPECT_EQ(0, Run("-n --json -O out scan.png")) << err;
    EXPECT_EQ("scan.png ", Files());
    const std::vector<json> lines = Lines(out);
    EXPECT_NEAR(1.0, lines[0]["angle_deg"].get<double>(), 0.1);
    EXPECT_EQ(nullptr, lines[0]["out"]);
    EXPECT_EQ("ok", lines[0]["status"]);
}

TEST_F(ToolReport, ReportThatCannotBeWrittenGivesExit1)
{
    Make("scan.png");
    EXPECT_EQ(1, Run("--json=no/such/report scan.png"));
    EXPECT_EQ(0u, err.find("quarlo: no/such/report: ")) << err;
    EXPECT_EQ("scan.png ", Files());
    EXPECT_EQ(1, Run("-n --json=/dev/full scan.png"));
    EXPECT_EQ("quarlo: /dev/full: cannot be written: No space left on device (code 30)\n", err);
    EXPECT_EQ(1, Run("-n --json scan.png >/dev/full"));
    EXPECT_EQ(1, Run("--angle scan.png >/dev/full"));
    EXPECT_EQ(1, Run("-o - scan.png >/dev/full"));
}

TEST_F(ToolReport, StandardStreamsTakeTheReportUnderTheirNames)
{
    Make("scan.png");
    EXPECT_EQ(0, Run("-n --json=/dev/stdout scan.png"));
    EXPECT_EQ(2u, Lines(out).size());
    EXPECT_EQ("", err);
    EXPECT_EQ(0, Run("-n --json=/dev/stderr scan.png"));
    EXPECT_EQ(2u, Lines(err).size()) << err;
    EXPECT_EQ("", out);
}

TEST_F(ToolReport, AngleIsOneLineAPageAfterTheNameOfSeveral)
{
    Make("a.png", Turned(5.0));
    Make("b.png", Turned(-0.5));
    MakeBlank("c.png");
    EXPECT_EQ(0, Run("--angle a.png"));
    EXPECT_NEAR(5.0, std::stod(out), 0.1);
    EXPECT_EQ(out.find('\n'), out.size() - 1);
    EXPECT_EQ(3, Run("-q --angle a.png b.png c.png"));
    EXPECT_EQ("", err);
    std::istringstream lines(out);
    std::string name, angle;
    std::getline(std::getline(lines, name, '\t'), angle);
    EXPECT_EQ("a.png", name);
    EXPECT_NEAR(5.0, std::stod(angle), 0.1);
    std::getline(std::getline(lines, name, '\t'), angle);
    EXPECT_EQ("b.png", name);
    EXPECT_NEAR(-0.5, std::stod(angle), 0.1);
    std::getline(std::getline(lines, name, '\t'), angle);
    EXPECT_EQ("c.png", name);
    EXPECT_EQ("-", angle);
    EXPECT_EQ("a.png b.png c.png ", Files());
}

TEST_F(ToolReport, QuietTellsErrorsAndVerboseEveryPage)
{
    Make("scan.png", Turned(2.0));
    MakeBlank("blank.png");
    EXPECT_EQ(1, Run("-q -n scan.png blank.png missing.png"));
    EXPECT_EQ(0u, err.find("quarlo: missing.png: ")) << err;
    EXPECT_EQ(0, Run("-v -n scan.png"));
    EXPECT_EQ(0u, err.find("quarlo: scan.png: page 1: angle ")) << err;
    EXPECT_NE(std::string::npos, err.find(" dark ground, threshold ")) << err;
    EXPECT_EQ("", out);
}

/* ---- Drawings ---- */

TEST_F(ToolReport, OverlayFolderHoldsADrawingAPageAndAContactSheet)
{
    const Page one = test::PageOf(Turned(1.0)), two = test::PageOf(Turned(2.0));
    Save({&one, &two}, Path("scan.tif"));
    MakeBlank("blank.png");
    ASSERT_EQ(0, std::system(("mkdir '" + Path("sub") + "'").c_str()));
    MakeBlank("sub/blank.png");
    WriteAll(Path("bad.png"), "no picture");
    EXPECT_EQ(1, Run("-n --overlay check scan.tif blank.png sub/blank.png bad.png"));
    EXPECT_EQ("blank.svg blank~2.svg index.html scan-1.svg scan-2.svg thumbnails ", Files("check"));
    for (const char* name : {"blank.svg", "scan-1.svg"}) {
        EXPECT_EQ('<', ReadAll(Path("check/") + name)[0]) << name;
        EXPECT_NE(std::string::npos, ReadAll(Path("check/") + name).find("</svg>")) << name;
    }
    const std::string sheet = ReadAll(Path("check/index.html"));
    EXPECT_LT(sheet.find("blank.svg"), sheet.find("scan-1.svg"));
    EXPECT_NE(std::string::npos, sheet.find("bad.png"));
}

TEST_F(ToolReport, DrawingsOfPagesAndFilesDoNotCollide)
{
    const Page one = test::PageOf(Turned(1.0)), two = test::PageOf(Turned(2.0));
    Save({&one, &two}, Path("a.tif"));
    Make("a-1.tif", Turned(3.0));
    EXPECT_EQ(0, Run("-n --overlay check a.tif a-1.tif")) << err;
    EXPECT_EQ("a-1.svg a-1~2.svg a-2.svg index.html thumbnails ", Files("check"));
    EXPECT_NE(std::string::npos, ReadAll(Path("check/a-1.svg")).find("a.tif, page 1"));
    EXPECT_NE(std::string::npos, ReadAll(Path("check/a-1~2.svg")).find("a-1.tif"));
    EXPECT_NE(std::string::npos, ReadAll(Path("check/index.html")).find("a-1~2.svg"));
    EXPECT_EQ(0, Run("-n --overwrite --overlay check a.tif a-1.tif")) << err;
    EXPECT_EQ("a-1.svg a-1~2.svg a-2.svg index.html thumbnails ", Files("check"));
}

TEST_F(ToolReport, DrawingInAFolderSparesInputsAndReports)
{
    Make("a.png");
    ASSERT_EQ(0, std::rename(Path("a.png").c_str(), Path("a.svg").c_str()));
    Make("b.png");
    ASSERT_EQ(0, std::system(("mkdir '" + Path("thumbnails") + "'").c_str()));
    Make("thumbnails/c.png");
    const std::string scan = ReadAll(Path("a.svg")), small = ReadAll(Path("thumbnails/c.png"));
    EXPECT_EQ(0, Run("-n --overwrite --overlay . --json=b.svg a.svg b.png thumbnails/c.png")) << err;
    EXPECT_EQ("a.svg a~2.svg b.png b.svg b~2.svg c~2.svg index.html thumbnails ", Files());
    EXPECT_EQ("a~2.png b~2.png c.png c~2.png ", Files("thumbnails"));
    EXPECT_TRUE(scan == ReadAll(Path("a.svg")));
    EXPECT_TRUE(small == ReadAll(Path("thumbnails/c.png")));
    EXPECT_EQ('{', ReadAll(Path("b.svg"))[0]);
}

TEST_F(ToolReport, OverlayFileIsSvgOrPngByItsName)
{
    Make("scan.png", Turned(1.0));
    EXPECT_EQ(0, Run("-n --overlay d.svg scan.png")) << err;
    EXPECT_EQ(0, Run("-n --overlay d.PNG scan.png")) << err;
    const std::string drawing = ReadAll(Path("d.svg"));
    EXPECT_NE(std::string::npos, drawing.find("<svg"));
    /* Not only the frame, but the points that it was found by. */
    const size_t points = drawing.find("<g id=\"points\"");
    ASSERT_NE(std::string::npos, points);
    EXPECT_LT(drawing.find("<path", points), drawing.find("</g>", points));
    EXPECT_EQ(quarlo::Format::png, Load(Path("d.PNG")).at(0).meta.format);
    const Page page = test::PageOf({});
    Save({&page, &page}, Path("two.tif"));
    EXPECT_EQ(1, Run("-n --overlay e.svg two.tif"));
    EXPECT_EQ("quarlo: two.tif: e.svg holds the drawing of one page; give a folder or --pages (code 32)\n", err);
    EXPECT_EQ(0, Run("-n --pages 2 --overlay e.svg two.tif")) << err;
}

TEST_F(ToolReport, OverlayIsDrawnBesideResultsToo)
{
    Make("scan.png", Turned(1.0));
    EXPECT_EQ(0, Run("--json --overlay d.svg scan.png")) << err;
    EXPECT_EQ("d.svg scan.png scan_q.png ", Files());
    EXPECT_TRUE(Lines(out)[0]["ms"].contains("overlay"));
}

/* ---- A report that is applied ---- */

TEST_F(ToolReport, AppliedReportCutsOtherPicturesOfThePage)
{
    /* The same sheet in black and white, and in colour at twice the resolution. */
    Sheet binary = Turned(3.0), colour = Turned(3.0);
    binary.depth = 1;
    colour.depth = 24;
    colour.scan_width = 1200;
    colour.scan_height = 1600;
    colour.width = 800.0;
    colour.height = 1120.0;
    colour.center = {600.5, 800.5};
    Make("page.tif", binary);
    Make("page.png", colour);
    Make("other.tif", Turned(-8.0));
    ASSERT_EQ(0, Run("--json=r -O bw other.tif page.tif")) << err;
    ASSERT_EQ(0, Run("--json --apply r -O rgb page.png")) << err;
    const Page small = std::move(Load(Path("bw/page_q.tif")).at(0));
    const Page large = std::move(Load(Path("rgb/page_q.png")).at(0));
    EXPECT_EQ(24, large.bitmap.depth());
    EXPECT_EQ(2 * small.bitmap.width(), large.bitmap.width());
    EXPECT_EQ(2 * small.bitmap.height(), large.bitmap.height());
    const json line = Lines(out)[0];
    EXPECT_NEAR(3.0, line["angle_deg"].get<double>(), 0.1);
    EXPECT_EQ(nullptr, line["threshold"]);
}

TEST_F(ToolReport, AppliedToTheSameScanTheReportGivesTheSameResult)
{
    Make("scan.png", Turned(1.7));
    ASSERT_EQ(0, Run("--json=r scan.png")) << err;
    ASSERT_EQ(0, Run("--apply r -o again.png scan.png")) << err;
    EXPECT_TRUE(ReadAll(Path("scan_q.png")) == ReadAll(Path("again.png")));
}

TEST_F(ToolReport, PageThatTheReportDoesNotKnowIsNotCut)
{
    Make("a.png");
    Make("b.png");
    Make("c.png");
    ASSERT_EQ(0, Run("-n --json=r a.png b.png")) << err;
    EXPECT_EQ(3, Run("--apply r c.png"));
    EXPECT_EQ("quarlo: c.png: page 1: the report has no frame of this page (code 50)\n", err);
    WriteAll(Path("bad"), "{");
    EXPECT_EQ(1, Run("--apply bad c.png"));
    EXPECT_EQ(0u, err.find("quarlo: bad: ")) << err;
    EXPECT_EQ(1, Run("--apply missing c.png"));
    EXPECT_EQ("quarlo: missing: cannot be read: No such file or directory (code 20)\n", err);
    EXPECT_EQ("a.png b.png bad c.png r ", Files());
}

TEST_F(ToolReport, OnlyFrameOfAReportServesASingleInputOfAnotherName)
{
    Make("a.png", Turned(1.0));
    Make("b.png", Turned(2.0));
    ASSERT_EQ(0, Run("-n --json=r a.png")) << err;
    EXPECT_EQ(0, Run("--apply r -O one b.png")) << err;
    EXPECT_EQ("b_q.png ", Files("one"));
    EXPECT_EQ(3, Run("--apply r -O two a.png b.png"));
    EXPECT_EQ("quarlo: b.png: page 1: the report has no frame of this page (code 50)\n", err);
    EXPECT_EQ("a_q.png ", Files("two"));
}

TEST_F(ToolReport, FrameOfAPictureOfAnotherShapeIsNotApplied)
{
    Make("a.png", Turned(1.0));
    ASSERT_EQ(0, Run("-n --json=r a.png")) << err;
    Sheet wider = Turned(1.0);
    wider.scan_width = 611;
    Make("b.png", wider);
    EXPECT_EQ(0, Run("-n --apply r b.png")) << err;
    wider.scan_width = 613;
    Make("b.png", wider);
    EXPECT_EQ(3, Run("--json --apply r b.png"));
    const std::string words =
        "the report's frame is of a picture of 600 x 800 pixels, this one has 613 x 800, another shape";
    EXPECT_EQ("quarlo: b.png: page 1: " + words + " (code 50)\n", err);
    const json line = Lines(out)[0];
    EXPECT_EQ("no_frame", line["status"]);
    EXPECT_EQ(50, line["code"]);
    EXPECT_EQ("report", line["stage"]);
    EXPECT_EQ(words, line["reason"]);
    EXPECT_EQ("a.png b.png r ", Files());
}

TEST_F(ToolReport, EmptyReportIsNotApplied)
{
    Make("scan.png");
    for (const char* text : {"", "\n \r\n"}) {
        WriteAll(Path("r"), text);
        EXPECT_EQ(1, Run("--apply r scan.png"));
        EXPECT_EQ("quarlo: r: the report is empty (code 50)\n", err);
    }
    EXPECT_EQ("r scan.png ", Files());
}

TEST_F(ToolReport, AppliedReportIsNeverWrittenTo)
{
    Make("scan.png");
    ASSERT_EQ(0, Run("-n --json=r.svg scan.png")) << err;
    const std::string report = ReadAll(Path("r.svg"));
    for (const char* arguments : {"-f png -o r.svg", "-n --json=./r.svg", "-n --overlay r.svg"}) {
        EXPECT_EQ(2, Run(std::string("--overwrite --apply r.svg scan.png ") + arguments)) << arguments;
        EXPECT_NE(std::string::npos, err.find("r.svg is the report that is applied, which is not written to\n"))
            << err;
        EXPECT_EQ(report, ReadAll(Path("r.svg"))) << arguments;
    }
    EXPECT_EQ("r.svg scan.png ", Files());
}

} // namespace
