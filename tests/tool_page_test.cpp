/*
 * tool_page_test.cpp - the tool on drawn pages whose place is known: what is found, cut and turned.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "support/ToolTest.h"

using nlohmann::json;
using quarlo::Page;
using quarlo::Point;
using quarlo::Resolution;
using test::Load;
using test::PixelsOf;
using test::Save;
using test::Sheet;

namespace
{

class ToolPage : public test::ToolTest
{
protected:
    double AngleOf(const std::string& name)
    {
        EXPECT_EQ(0, Run("--angle " + name)) << err;
        return std::atof(out.c_str());
    }
    /* The report's line of the only page; the tool has to end with this code. */
    json Report(const std::string& arguments, int exit_code = 0)
    {
        EXPECT_EQ(exit_code, Run("--json " + arguments)) << err;
        return json::parse(out.substr(0, out.find('\n')));
    }
    /* The part of the scan that was cut out without resampling. */
    quarlo::Bytes PixelsMeant(const Page& scan, const json& report)
    {
        const json map = report["to_source"], size = report["size_out"];
        EXPECT_EQ(json({1.0, 0.0}), json({map[0][0], map[0][1]})) << report;
        EXPECT_EQ(json({0.0, 1.0}), json({map[1][0], map[1][1]})) << report;
        return PixelsOf(scan.bitmap, map[0][2], map[1][2], size[0], size[1]);
    }
};

/* A point of the result in the scan, by the report. */
Point Mapped(const json& report, Point p)
{
    const json& map = report["to_source"];
    const auto row = [&](size_t i) {
        return map[i][0].get<double>() * p.x + map[i][1].get<double>() * p.y + map[i][2].get<double>();
    };
    return {row(0), row(1)};
}

Sheet Skewed(double angle_deg, int depth = 8)
{
    Sheet sheet;
    sheet.angle_deg = angle_deg;
    sheet.depth = depth;
    return sheet;
}

TEST_F(ToolPage, BlankSheetSkewedBy0465DegreesIsStraightenedByIt)
{
    Make("scan.png", Skewed(0.465));
    EXPECT_NEAR(0.465, AngleOf("scan.png"), 0.03);
    EXPECT_EQ(0, Run("--no-crop --fill '#191919' scan.png")) << err;
    EXPECT_NEAR(0.0, AngleOf("scan_q.png"), 0.03);
}

TEST_F(ToolPage, PositiveAngleMeansThatThePageIsTurnedClockwise)
{
    /* The sheet's top left corner lies left of and below where it would be: it has to go up, clockwise. */
    const Sheet sheet = Skewed(5.0);
    ASSERT_LT(CornersOf(sheet)[1].y, CornersOf(sheet)[0].y);
    Make("left.png", sheet);
    Make("right.png", Skewed(-5.0));
    EXPECT_NEAR(5.0, AngleOf("left.png"), 0.1);
    EXPECT_NEAR(-5.0, AngleOf("right.png"), 0.1);
}

TEST_F(ToolPage, ResultIsTheSheetUprightAndTheRightWayUp)
{
    Sheet skewed = Skewed(3.0), upright = Skewed(0.0);
    skewed.written_on = upright.written_on = true;
    Make("scan.png", skewed);
    ASSERT_EQ(0, Run("scan.png")) << err;
    upright.scan_width = 400;
    upright.scan_height = 560;
    upright.center = {199.5, 279.5};
    const quarlo::Bitmap expected = test::Draw(upright);
    const Page page = std::move(Load(Path("scan_q.png")).at(0));
    ASSERT_NEAR(400, page.bitmap.width(), 2);
    ASSERT_NEAR(560, page.bitmap.height(), 2);
    double difference = 0.0;
    for (int y = 10; y < 550; ++y)
        for (int x = 10; x < 390; ++x)
            difference += std::abs(expected.row(559 - y)[x] - page.bitmap.row(page.bitmap.height() - 1 - y)[x]);
    EXPECT_LT(difference / (540 * 380), 12.0);
}

TEST_F(ToolPage, AffineMapTakesTheResultsCornersToThePagesCorners)
{
    /* Exact for the frame that was found, which at these angles lies within a pixel of the sheet. */
    for (const double angle : {-12.4, -7.3, -1.0, 0.465, 12.4}) {
        Sheet sheet = Skewed(angle);
        sheet.scan_width = 1200;
        sheet.scan_height = 1600;
        sheet.width = 800.0;
        sheet.height = 1120.0;
        sheet.center = {600.0, 800.0};
        Make("scan.png", sheet);
        const json report = Report("--overwrite -o page.png scan.png");
        const double w = report["size_out"][0], h = report["size_out"][1];
        const auto expected = CornersOf(sheet);
        /* Corners of the sheet are those of its corner pixels; what is told are the middles of these pixels. */
        const Point outline[] = {{-0.5, -0.5}, {w - 0.5, -0.5}, {w - 0.5, h - 0.5}, {-0.5, h - 0.5}};
        const Point middles[] = {{0.0, 0.0}, {w - 1.0, 0.0}, {w - 1.0, h - 1.0}, {0.0, h - 1.0}};
        for (size_t i = 0; i < 4; ++i) {
            const Point mapped = Mapped(report, outline[i]), told = Mapped(report, middles[i]);
            EXPECT_NEAR(expected[i].x, mapped.x, 1.0) << angle << " corner " << i;
            EXPECT_NEAR(expected[i].y, mapped.y, 1.0) << angle << " corner " << i;
            EXPECT_NEAR(report["corners"][i][0].get<double>(), told.x, 1e-6) << angle << " corner " << i;
            EXPECT_NEAR(report["corners"][i][1].get<double>(), told.y, 1e-6) << angle << " corner " << i;
        }
    }
}

TEST_F(ToolPage, OneBitG4TiffStaysOneBitG4With300Dpi)
{
    Sheet sheet = Skewed(1.5, 1);
    const Page scan = test::PageOf(sheet);
    Save({&scan}, Path("scan.tif"), {quarlo::Format::tiff, quarlo::Compression::g4, 0});
    for (const char* options : {"", "--smooth"}) {
        ASSERT_EQ(0, Run(std::string("--overwrite ") + options + " scan.tif")) << err;
        const Page page = std::move(Load(Path("scan_q.tif")).at(0));
        EXPECT_EQ(1, page.meta.depth_in_file);
        EXPECT_EQ(1, page.bitmap.depth());
        EXPECT_EQ(4, page.meta.tiff_compression);
        EXPECT_EQ(300.0, page.meta.resolution.x);
        EXPECT_EQ(300.0, page.meta.resolution.y);
        EXPECT_EQ(Resolution::Unit::inch, page.meta.resolution.unit);
    }
}

TEST_F(ToolPage, SmallAngleIsCroppedWithoutChangingAPixel)
{
    Sheet sheet = Skewed(0.02);
    sheet.written_on = true;
    for (const int depth : {8, 24}) {
        sheet.depth = depth;
        Make("scan.png", sheet);
        const json report = Report("--overwrite -l 0.05 -o page.png scan.png");
        EXPECT_EQ(false, report["resampled"]);
        const Page scan = std::move(Load(Path("scan.png")).at(0)), page = std::move(Load(Path("page.png")).at(0));
        EXPECT_TRUE(PixelsMeant(scan, report) == PixelsOf(page.bitmap)) << depth;
        EXPECT_NEAR(400, page.bitmap.width(), 2);
        EXPECT_NEAR(560, page.bitmap.height(), 2);
    }
}

TEST_F(ToolPage, LeastAngleDividesCroppingFromTurning)
{
    for (const int depth : {1, 8, 24}) {
        Sheet sheet = Skewed(0.5, depth);
        sheet.written_on = true;
        Make("scan.png", sheet);
        const double angle = AngleOf("scan.png");
        const std::string more = std::to_string(angle + 0.01), less = std::to_string(angle - 0.01);
        const json cropped = Report("--overwrite -l " + more + " -o page.png scan.png");
        EXPECT_EQ(false, cropped["resampled"]);
        const Page scan = std::move(Load(Path("scan.png")).at(0)), page = std::move(Load(Path("page.png")).at(0));
        EXPECT_TRUE(PixelsMeant(scan, cropped) == PixelsOf(page.bitmap)) << depth;
        EXPECT_EQ(true, Report("--overwrite -l " + less + " -o page.png scan.png")["resampled"]);
    }
}

TEST_F(ToolPage, EdgeFillIsTheMeanOfTheOuterColumns)
{
    Page scan = test::PageOf(Skewed(2.0));
    for (int y = 0; y < scan.bitmap.height(); ++y) {
        std::uint8_t* row = scan.bitmap.row(y);
        row[0] = row[1] = 10;
        row[598] = row[599] = 50;
    }
    Save({&scan}, Path("scan.png"));
    const json report = Report("--fill edge --no-crop -o page.png scan.png");
    EXPECT_EQ("#1e1e1e", report["fill"]);
    const Page page = std::move(Load(Path("page.png")).at(0));
    EXPECT_EQ(30, page.bitmap.row(0)[0]);
    EXPECT_EQ(30, page.bitmap.row(page.bitmap.height() - 1)[page.bitmap.width() - 1]);
}

TEST_F(ToolPage, FillMarginAndSizeMakeTheResult)
{
    Make("scan.png", Skewed(0.0, 24));
    const json plain = Report("--overwrite -o page.png scan.png");
    const json framed = Report("--overwrite --fill '#ff8000' --margin 10px,2mm,0,5px -o page.png scan.png");
    /* 2 mm at 300 dpi are 23.6 pixels. */
    EXPECT_EQ(plain["size_out"][0].get<int>() + 24 + 5, framed["size_out"][0]);
    EXPECT_EQ(plain["size_out"][1].get<int>() + 10, framed["size_out"][1]);
    EXPECT_EQ("#ff8000", framed["fill"]);
    const json sized = Report("--overwrite --size 60x30mm -o page.png scan.png");
    EXPECT_EQ(json({709, 354}), sized["size_out"]);
    const json trimmed = Report("--overwrite --margin -10px -o page.png scan.png");
    EXPECT_EQ(plain["size_out"][0].get<int>() - 20, trimmed["size_out"][0]);
}

TEST_F(ToolPage, RotateTurnsThePageClockwiseAfterwards)
{
    Sheet sheet = Skewed(0.0);
    sheet.written_on = true;
    Make("scan.png", sheet);
    ASSERT_EQ(0, Run("-l 1 scan.png && '" QUARLO_TOOL "' -l 1 --rotate 90 -o turned.png scan.png")) << err;
    const Page page = std::move(Load(Path("scan_q.png")).at(0)), turned = std::move(Load(Path("turned.png")).at(0));
    const int w = page.bitmap.width(), h = page.bitmap.height();
    ASSERT_EQ(h, turned.bitmap.width());
    ASSERT_EQ(w, turned.bitmap.height());
    const quarlo::Bytes pixels = PixelsOf(page.bitmap), clockwise = PixelsOf(turned.bitmap);
    for (int y = 0; y < w; ++y)
        for (int x = 0; x < h; ++x)
            ASSERT_EQ(pixels[static_cast<size_t>((h - 1 - x) * w + y)], clockwise[static_cast<size_t>(y * h + x)]);
}

TEST_F(ToolPage, MinusNinetyDegreesAreThreeQuartersOfATurn)
{
    Sheet sheet = Skewed(0.0);
    sheet.written_on = true;
    Make("scan.png", sheet);
    ASSERT_EQ(0, Run("--rotate 270 -o clockwise.png scan.png")) << err;
    ASSERT_EQ(0, Run("--rotate -90 -o counter.png scan.png")) << err;
    EXPECT_TRUE(test::ReadAll(Path("clockwise.png")) == test::ReadAll(Path("counter.png")));
}

TEST_F(ToolPage, DepthIsThatOfTheScanOrAsAskedFor)
{
    for (const int depth : {1, 8, 24}) {
        Make("scan.png", Skewed(1.0, depth));
        for (const int wanted : {0, 1, 8, 24}) {
            const std::string word = wanted == 0 ? "same" : std::to_string(wanted);
            const json report = Report("--overwrite --depth " + word + " -o page.png scan.png");
            EXPECT_EQ(wanted == 0 ? depth : wanted, report["depth"]);
            EXPECT_EQ(wanted == 0 ? depth : wanted, Load(Path("page.png")).at(0).bitmap.depth());
        }
    }
}

TEST_F(ToolPage, PageWithoutFrameGivesExit3AndNoFile)
{
    const Page nothing = {test::DrawNothing(300, 300, 8), {}, {}};
    Save({&nothing}, Path("scan.png"));
    EXPECT_EQ(3, Run("scan.png"));
    EXPECT_EQ(0u, err.find("quarlo: scan.png: page 1: ")) << err;
    EXPECT_NE(std::string::npos, err.find(" (code 9)")) << err;
    EXPECT_EQ("scan.png ", Files());
}

TEST_F(ToolPage, PageWithoutFrameIsCopiedUnchangedOnRequest)
{
    const Page nothing = {test::DrawNothing(300, 300, 8), {}, {}};
    for (const char* name : {"scan.bmp", "scan.png", "scan.jpg", "scan.tif", "scan.pgm"}) {
        Save({&nothing}, Path(name));
        /* What no picture needs, and no picture that is written anew would have. */
        if (name != std::string("scan.pgm")) test::WriteAll(Path(name), test::ReadAll(Path(name)) + "\nmore\n");
        const json report = Report(std::string("--overwrite --on-fail copy -O out ") + name, 3);
        EXPECT_EQ("copied", report["status"]);
        EXPECT_EQ(9, report["code"]);
        const std::string copy = Path(report["out"]);
        EXPECT_TRUE(test::ReadAll(Path(name)) == test::ReadAll(copy)) << name;
    }
    EXPECT_EQ(3, Run("--on-fail copy -o - - <scan.png"));
    EXPECT_TRUE(test::ReadAll(Path("scan.png")) == out);
}

TEST_F(ToolPage, CopyInAnotherFormatHasTheSamePixels)
{
    Page nothing = {test::DrawNothing(300, 200, 8), {}, {}};
    nothing.bitmap.row(7)[9] = 20;
    nothing.meta.resolution = {200.0, 200.0, Resolution::Unit::inch};
    Save({&nothing}, Path("scan.png"));
    EXPECT_EQ(3, Run("--on-fail copy -f tiff scan.png"));
    const Page copy = std::move(Load(Path("scan_q.tif")).at(0));
    EXPECT_TRUE(PixelsOf(nothing.bitmap) == PixelsOf(copy.bitmap));
    EXPECT_NEAR(200.0, copy.meta.resolution.dpi_x(), 0.01);
}

TEST_F(ToolPage, PageBeyondALimitIsRefusedWithExit3)
{
    Make("scan.png", Skewed(5.0));
    EXPECT_EQ(41, Report("-a 4 scan.png", 3)["code"]);
    EXPECT_EQ("refused", Report("-a 4 scan.png", 3)["status"]);
    EXPECT_EQ(42, Report("--min-area 60% scan.png", 3)["code"]);
    EXPECT_EQ("scan.png ", Files());
    EXPECT_EQ("ok", Report("-a 6 --min-area 0.4 scan.png")["status"]);
}

TEST_F(ToolPage, GroundAndThresholdMayBeGiven)
{
    Sheet sheet = Skewed(1.0);
    sheet.ground = 240;
    sheet.paper = 120;
    Make("scan.png", sheet);
    const json light = Report("-n --ground Light -t 240 scan.png");
    EXPECT_EQ("light", light["ground"]);
    EXPECT_EQ(240, light["threshold"]);
    EXPECT_EQ("light", Report("-n scan.png")["ground"]);
    EXPECT_NEAR(1.0, light["angle_deg"].get<double>(), 0.2);
}

TEST_F(ToolPage, DoubtfulFrameThatIsCutByAThresholdByHandIsWarnedOf)
{
    Make("good.png");
    EXPECT_EQ(json::array(), Report("-t 120 -n good.png")["warnings"]);
    /* A hill of grey has no edge anywhere. */
    Page scan = {test::DrawNothing(300, 400, 8), {}, {}};
    for (int y = 0; y < 400; ++y)
        for (int x = 0; x < 300; ++x)
            scan.bitmap.row(y)[x] =
                static_cast<std::uint8_t>(250 - std::max(std::abs(x - 150), std::abs(y - 200) * 3 / 4));
    Save({&scan}, Path("scan.png"));
    const json line = Report("-t 150 -o page.png scan.png");
    ASSERT_LT(line["score"].get<double>(), 0.395);
    char score[16];
    std::snprintf(score, sizeof score, "%.2f", line["score"].get<double>());
    const std::string begin = "the frame has a score of " + std::string(score) + " only; it ";
    EXPECT_EQ(json({begin + "was cut since the threshold was given by hand"}), line["warnings"]);
    EXPECT_EQ("quarlo: scan.png: page 1: warning: " + begin + "was cut since the threshold was given by hand\n",
              err);
    EXPECT_EQ(json({begin + "would be cut since the threshold was given by hand"}),
              Report("-t 150 -n scan.png")["warnings"]);
}

TEST_F(ToolPage, SamePageGivesTheSamePixelsFromEveryFormat)
{
    Sheet sheet = Skewed(2.0);
    sheet.written_on = true;
    quarlo::Bytes expected;
    for (const char* name : {"a.png", "b.bmp", "c.tif", "d.pgm"}) {
        Make(name, sheet);
        ASSERT_EQ(0, Run(std::string("--overwrite -o page.png ") + name)) << err;
        const quarlo::Bytes pixels = PixelsOf(Load(Path("page.png")).at(0).bitmap);
        if (expected.empty()) expected = pixels;
        EXPECT_TRUE(expected == pixels) << name;
    }
}

} // namespace
