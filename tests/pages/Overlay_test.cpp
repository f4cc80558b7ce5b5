/*
 * Overlay_test.cpp - drawings: what is on them, where, and that it is written without harm.
 */
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <png.h>

#include "OverlayDrawing.h"
#include "OverlayStyle.h"
#include "OverlayText.h"
#include "pages/TestFrame.h"

namespace
{

using namespace quarlo;
using namespace quarlo::overlay;
using Names = std::vector<std::string>;

Drawing Drawn(const Bitmap& scan, const Frame& frame, const OverlayOptions& options = {})
{
    Drawing drawing;
    const Problem problem = Compose(scan, frame, options, &drawing);
    EXPECT_FALSE(problem) << problem.reason;
    return drawing;
}

Drawing DrawnUpright()
{
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    return Drawn(test::Plain(400, 500, 8, 255), frame);
}

const Layer& LayerOf(const Drawing& drawing, const std::string& id)
{
    for (const Layer& layer : drawing.layers)
        if (layer.id == id) return layer;
    throw std::runtime_error("no layer " + id);
}

Names Words(const Drawing& drawing)
{
    Names words;
    for (const Shape& shape : LayerOf(drawing, "legend").shapes)
        if (const auto* label = std::get_if<Label>(&shape)) words.push_back(label->text);
    return words;
}

bool Says(const Drawing& drawing, const std::string& text)
{
    const Names words = Words(drawing);
    return std::find(words.begin(), words.end(), text) != words.end();
}

const Picture& PictureOf(const Drawing& drawing)
{
    return std::get<Picture>(LayerOf(drawing, "scan").shapes.at(0));
}

/* The layers with something on them. */
Names FilledLayers(const Drawing& drawing)
{
    Names ids;
    for (const Layer& layer : drawing.layers)
        if (!layer.shapes.empty()) ids.push_back(layer.id);
    return ids;
}

void ExpectNear(const std::vector<Point>& expected, const std::vector<Point>& points)
{
    ASSERT_EQ(expected.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_NEAR(expected[i].x, points[i].x, 1e-9) << i;
        EXPECT_NEAR(expected[i].y, points[i].y, 1e-9) << i;
    }
}

/* ---- The scan ---- */

TEST(OverlayScan, TopOfThePictureIsDrawnAtTheTopDimmed)
{
    Bitmap scan = test::Plain(300, 400, 8, 0);
    scan.row(399)[0] = 255;
    scan.row(0)[299] = 100;
    const Drawing drawing = Drawn(scan, {});
    const Picture picture = PictureOf(drawing);
    EXPECT_EQ(300, picture.width);
    EXPECT_EQ(400, picture.height);
    EXPECT_EQ(140, picture.grey.front());
    EXPECT_EQ(8, picture.grey[1]);
    EXPECT_EQ(56, picture.grey.back());
    EXPECT_EQ(18.0, picture.at.x);
    EXPECT_EQ(18.0, picture.at.y);
}

TEST(OverlayScan, LargeScanIsAveragedDown)
{
    Bitmap scan = test::Plain(800, 600, 8, 0);
    scan.row(599)[0] = 231;
    scan.row(598)[1] = 231;
    OverlayOptions options;
    options.longest = 400;
    const Picture picture = PictureOf(Drawn(scan, {}, options));
    EXPECT_EQ(400, picture.width);
    EXPECT_EQ(300, picture.height);
    EXPECT_EQ(68, picture.grey[0]); /* the mean of 231, 231, 0, 0, rounded up; 64 if not */
    EXPECT_EQ(8, picture.grey[1]);
}

TEST(OverlayScan, SmallScanIsEnlargedByAWholeFactor)
{
    Bitmap scan = test::Plain(2, 1, 8, 0);
    scan.row(0)[1] = 255;
    const Picture picture = PictureOf(Drawn(scan, {}));
    EXPECT_EQ(256, picture.width);
    EXPECT_EQ(128, picture.height);
    EXPECT_EQ(8, picture.grey[127]);
    EXPECT_EQ(140, picture.grey[128]);
}

TEST(OverlayScan, AllDepthsAreShownInGrey)
{
    EXPECT_EQ(140, PictureOf(Drawn(test::Plain(300, 2, 1, 1), {})).grey[299]);
    EXPECT_EQ(140, PictureOf(Drawn(test::Plain(300, 2, 24, 255), {})).grey[299]);
    Bitmap red = test::Plain(300, 2, 24, 0);
    red.row(1)[2] = 255;
    const std::uint8_t grey = PictureOf(Drawn(red, {})).grey[0];
    EXPECT_GT(grey, 8);
    EXPECT_LT(grey, 140);
}

TEST(OverlayScan, LongAndTinyScansAreDrawn)
{
    for (const auto& [width, height] : {std::pair(1, 1), {1, 20000}, {20000, 1}, {3, 1}}) {
        const Bitmap scan = test::Plain(width, height, 1, 1);
        const Drawing drawing = Drawn(scan, test::UprightFrame());
        const Picture picture = PictureOf(drawing);
        EXPECT_LE(std::max(picture.width, picture.height), 1600);
        EXPECT_EQ(Bytes(static_cast<std::size_t>(picture.width * picture.height), 140), picture.grey);
    }
}

TEST(OverlayScan, NothingToDrawIsRefused)
{
    Drawing drawing;
    EXPECT_EQ(Code::bad_argument, Compose(Bitmap(), {}, {}, &drawing).code);
    OverlayOptions options;
    options.longest = 0;
    EXPECT_EQ(Code::bad_argument, Compose(test::Plain(3, 3, 8, 0), {}, options, &drawing).code);
    std::string svg = "untouched";
    Bytes png = {1};
    EXPECT_EQ(Code::bad_argument, OverlaySvg(Bitmap(), {}, {}, &svg).code);
    EXPECT_EQ(Code::bad_argument, OverlayPng(Bitmap(), {}, {}, &png).code);
    EXPECT_EQ("untouched", svg);
    EXPECT_EQ(Bytes{1}, png);
}

/* ---- The layers ---- */

TEST(OverlayLayers, AreAllThereWhateverWasFound)
{
    const Names all = {"scan",   "frame",   "kept",     "lines",  "points",
                       "output", "dropped", "extremes", "centre", "legend"};
    for (const Frame& frame : {test::UprightFrame(), test::FailedFrame(), Frame()}) {
        Names ids;
        const Drawing drawing = Drawn(test::Plain(400, 500, 8, 0), frame);
        for (const Layer& layer : drawing.layers) ids.push_back(layer.id);
        EXPECT_EQ(all, ids);
    }
}

TEST(OverlayLayers, PageFoundFillsAll)
{
    const Drawing drawing = DrawnUpright();
    EXPECT_EQ(drawing.layers.size(), FilledLayers(drawing).size());
}

TEST(OverlayLayers, FailureIsDrawnUpToItsStage)
{
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    EXPECT_EQ(Names({"scan", "points", "extremes", "legend"}), FilledLayers(Drawn(scan, test::FailedFrame())));

    Frame frame = test::FailedFrame(); /* edges were fitted, but form no rectangle */
    frame.trace = test::UprightTrace();
    EXPECT_EQ(Names({"scan", "kept", "lines", "points", "dropped", "extremes", "legend"}),
              FilledLayers(Drawn(scan, frame)));

    frame.trace = {};
    EXPECT_EQ(Names({"scan", "legend"}), FilledLayers(Drawn(scan, frame)));
}

TEST(OverlayLayers, FrameKnownFromElsewhereIsDrawnWithoutTrace)
{
    Frame frame = test::UprightFrame();
    frame.ground = Ground::automatic;
    EXPECT_EQ(Names({"scan", "frame", "output", "centre", "legend"}),
              FilledLayers(Drawn(test::Plain(400, 500, 8, 0), frame)));
}

TEST(OverlayLayers, FrameShowsByItsColourWhetherItIsCut)
{
    Frame frame = test::UprightFrame();
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    const auto colour = [&] {
        const Drawing drawing = Drawn(scan, frame);
        return std::get<Path>(LayerOf(drawing, "frame").shapes.at(0)).colour.red;
    };
    EXPECT_EQ(kGood.red, colour());
    frame.problem = {Code::area_limit, "limits", "too small"};
    EXPECT_EQ(kBad.red, colour());
}

TEST(OverlayLayers, PointsAreCountedFromTheTopLeftPixelsCentre)
{
    const Drawing drawing = DrawnUpright();
    const Path& left = std::get<Path>(LayerOf(drawing, "points").shapes.at(0));
    ASSERT_EQ(90U, left.lines.size());
    ExpectNear({{18.0 + 100.5, 18.0 + 90.5}}, left.lines[0]);
    ExpectNear({{18.0 + 100.5, 18.0 + 93.5}}, left.lines[1]);
    const Path& frame = std::get<Path>(LayerOf(drawing, "frame").shapes.at(0));
    ExpectNear({{108.5, 98.5}, {318.5, 98.5}, {318.5, 398.5}, {108.5, 398.5}}, frame.lines.at(0));
}

TEST(OverlayLayers, EachSideHasItsColour)
{
    const Drawing drawing = DrawnUpright();
    const Layer& points = LayerOf(drawing, "points");
    ASSERT_EQ(4U, points.shapes.size());
    for (std::size_t i = 0; i < 4; ++i) {
        const Colour& colour = std::get<Path>(points.shapes[i]).colour;
        EXPECT_EQ(kSideColours[i].red, colour.red);
        EXPECT_EQ(kSideColours[i].green, colour.green);
        EXPECT_EQ(kSideColours[i].blue, colour.blue);
    }
}

TEST(OverlayLayers, RunsAreKeptOrDropped)
{
    const Drawing drawing = DrawnUpright();
    const Path& kept = std::get<Path>(LayerOf(drawing, "kept").shapes.at(0));
    ASSERT_EQ(2U, kept.lines.size());
    EXPECT_EQ(30U, kept.lines[0].size());
    EXPECT_EQ(18.0 + 90.5, kept.lines[0].front().y);
    EXPECT_EQ(18.0 + 90.5 + 60 * 3, kept.lines[1].front().y);
    const Path& dropped = std::get<Path>(LayerOf(drawing, "dropped").shapes.at(0));
    ASSERT_EQ(1U, dropped.lines.size());
    EXPECT_EQ(18.0 + 90.5 + 30 * 3, dropped.lines[0].front().y);
}

TEST(OverlayLayers, RunsBeyondThePointsAreCutOff)
{
    Frame frame;
    frame.trace.sides[0].points = {{1.0, 1.0}, {1.0, 5.0}};
    frame.trace.sides[0].segments = {
        {1, 2147483647, true}, {-5, 6, true}, {2, 1, true}, {0, -1, false}, {9, 9, false}};
    const Drawing drawing = Drawn(test::Plain(300, 300, 8, 0), frame);
    const Path& kept = std::get<Path>(LayerOf(drawing, "kept").shapes.at(0));
    ASSERT_EQ(2U, kept.lines.size());
    EXPECT_EQ(1U, kept.lines[0].size());
    EXPECT_EQ(2U, kept.lines[1].size());
}

TEST(OverlayLayers, PointsThatWouldCoverEachOtherAreLeftOut)
{
    Frame frame;
    for (int i = 0; i < 4000; ++i) frame.trace.sides[2].points.push_back({static_cast<double>(i), 10.0});
    OverlayOptions options;
    options.longest = 400;
    const Drawing drawing = Drawn(test::Plain(4000, 20, 8, 0), frame, options);
    const Path& dots = std::get<Path>(LayerOf(drawing, "points").shapes.at(0));
    EXPECT_EQ(800U, dots.lines.size());
}

std::vector<Point> OutputOf(const Drawing& drawing)
{
    return std::get<Path>(LayerOf(drawing, "output").shapes.at(0)).lines.at(0);
}

TEST(OverlayLayers, OutputIsTheOutlineOfTheResultsPixels)
{
    Frame frame = test::UprightFrame();
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    ExpectNear({{118.0, 98.0}, {319.0, 98.0}, {319.0, 399.0}, {118.0, 399.0}}, OutputOf(Drawn(scan, frame)));
}

TEST(OverlayLayers, OutputIsWhereTheResultsMapLeads)
{
    for (const double angle : {0.3, 6.0, 1.5, 3.0}) {
        Placement placement = test::UprightFrame().placement;
        placement.angle = angle;
        placement.width = 200; /* even: one column more on one side of the centre */
        placement.height = 122;
        Page scan;
        scan.bitmap = test::Plain(400, 500, 8, 0);
        Result result;
        const Problem problem = Straighten(scan, FrameOf(placement), {}, &result);
        ASSERT_FALSE(problem) << problem.reason;
        std::vector<Point> expected;
        for (const Point& corner : {Point{-0.5, -0.5}, {199.5, -0.5}, {199.5, 121.5}, {-0.5, 121.5}}) {
            const Point place = result.to_source(corner);
            expected.push_back({place.x + 18.5, place.y + 18.5});
        }
        const std::vector<Point> output = OutputOf(Drawn(scan.bitmap, FrameOf(placement)));
        ASSERT_EQ(4U, output.size());
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_NEAR(expected[i].x, output[i].x, 1e-4) << angle; /* degrees go by a pi of eight digits */
            EXPECT_NEAR(expected[i].y, output[i].y, 1e-4) << angle;
        }
    }
}

void ExpectWithin(double most, const std::vector<std::vector<Point>>& lines)
{
    for (const std::vector<Point>& line : lines)
        for (const Point& point : line) {
            EXPECT_LE(std::fabs(point.x), most); /* also fails on what is no number */
            EXPECT_LE(std::fabs(point.y), most);
        }
}

TEST(OverlayLayers, PlacesBeyondAllMeasureDoNoHarm)
{
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double endless = std::numeric_limits<double>::infinity();
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    frame.corners = {{{none, 1e300}, {-1e300, endless}, {-endless, 3.0}, {1e9, -1e9}}};
    frame.center = {none, endless};
    frame.angle_deg = none;
    frame.score = frame.parallel_deg = none;
    frame.threshold = -2147483647;
    frame.trace.sides[0].points[3] = {none, none};
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    std::string svg;
    Bytes png;
    ASSERT_FALSE(OverlaySvg(scan, frame, {}, &svg));
    ASSERT_FALSE(OverlayPng(scan, frame, {}, &png));
    const Drawing drawing = Drawn(scan, frame);
    for (const Layer& layer : drawing.layers)
        for (const Shape& shape : layer.shapes)
            if (const auto* path = std::get_if<Path>(&shape)) ExpectWithin(200000.0, path->lines);
}

/* ---- The legend ---- */

TEST(OverlayLegend, PageFoundIsToldInWords)
{
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    frame.angle_deg = -12.374;
    OverlayOptions options;
    options.title = "scan.tif, page 2";
    const Drawing drawing = Drawn(test::Plain(400, 500, 8, 0), frame, options);
    for (const char* words :
         {"scan.tif, page 2", "Page found", "dark, the page is lighter", "grey level 57", "the scan itself",
          "12.37\xC2\xB0 counter-clockwise", "201 \xC3\x97 301 pixels", "200.0, 230.0", "0.88 of 1", "75 %",
          "cut off", "border seen from the left", "border seen from the right", "border seen from the top",
          "border seen from the bottom", "run left out as noise", "line fitted to an edge", "what is cut out"})
        EXPECT_TRUE(Says(drawing, words)) << words;
    EXPECT_FALSE(Says(drawing, "Reason"));
    const Names words = Words(drawing);
    EXPECT_EQ(1, std::count(words.begin(), words.end(), "cut off"));
    EXPECT_EQ(3, std::count(words.begin(), words.end(), "75 %"));
}

TEST(OverlayLegend, AngleNamesItsDirection)
{
    Frame frame = test::UprightFrame();
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    frame.angle_deg = 1.5;
    EXPECT_TRUE(Says(Drawn(scan, frame), "1.50\xC2\xB0 clockwise"));
    frame.angle_deg = -0.001;
    EXPECT_TRUE(Says(Drawn(scan, frame), "0.00\xC2\xB0, upright"));
}

TEST(OverlayLegend, FailureTellsStageCodeAndReason)
{
    Frame frame = test::FailedFrame();
    frame.prepared = "grey, smoothed";
    const Drawing drawing = Drawn(test::Plain(400, 500, 8, 0), frame);
    for (const char* words : {"No page found", "split", "11", "a page edge is too ragged",
                              "light, the page is darker", "grey level 200", "grey, smoothed"})
        EXPECT_TRUE(Says(drawing, words)) << words;
    for (const char* words : {"Score", "Turn", "run left out as noise", "what is cut out"})
        EXPECT_FALSE(Says(drawing, words)) << words;
}

TEST(OverlayLegend, FrameThatIsNotTrustedIsNamedSo)
{
    Frame frame = test::UprightFrame();
    frame.problem = {Code::not_trusted, "trust", "too little backed"};
    frame.score = 0.125;
    const Bitmap scan = test::Plain(400, 500, 8, 0);
    EXPECT_TRUE(Says(Drawn(scan, frame), "0.12 of 1, too low to be trusted"));
    EXPECT_TRUE(Says(Drawn(scan, frame), "A frame was found, but it is not"));
    frame.problem = {Code::angle_limit, "limits", "turned too far"};
    EXPECT_TRUE(Says(Drawn(scan, frame), "turned too far"));
    EXPECT_TRUE(Says(Drawn(scan, frame), "what would be cut out"));
}

TEST(OverlayLegend, NothingKnownTellsNoKeys)
{
    const Drawing drawing = Drawn(test::Plain(400, 500, 8, 0), {});
    EXPECT_EQ(Names({"No page found"}), Words(drawing));
}

/* Nothing but the marks themselves is drawn over the scan, and no word leaves the drawing. */
TEST(OverlayLegend, WordsStayOffTheScanAndOnTheDrawing)
{
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    frame.problem = {Code::not_trusted, "trust", std::string(500, 'W') + " and " + std::string(50, '-')};
    frame.prepared = "a long way of preparing the copy that was searched, told in many words";
    OverlayOptions options;
    options.title = "a/long/folder/" + std::string(300, 'M') + ".tif";
    for (const auto& [width, height] :
         {std::pair(1, 1), {400, 500}, {500, 400}, {1600, 900}, {3000, 40}, {40, 3000}}) {
        const Drawing drawing = Drawn(test::Plain(width, height, 8, 0), frame, options);
        const Box& panel = drawing.panel;
        for (const Shape& shape : LayerOf(drawing, "legend").shapes) {
            const auto* label = std::get_if<Label>(&shape);
            if (label == nullptr) continue;
            const double length = TextWidth(label->text, label->bold) * label->size;
            const double left = label->right ? label->at.x - length : label->at.x;
            EXPECT_TRUE(left >= panel.width || label->at.y - label->size >= panel.height) << label->text;
            EXPECT_LE(left + length, drawing.width) << label->text;
            EXPECT_LE(label->at.y, drawing.height) << label->text;
        }
    }
}

TEST(OverlayLegend, IsLeftOutOnRequestAndTheScanIsAllThatIsDrawn)
{
    OverlayOptions options;
    options.legend = false;
    options.longest = 320;
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    const Drawing drawing = Drawn(test::Plain(400, 500, 8, 255), frame, options);
    EXPECT_EQ(Names({}), Words(drawing));
    EXPECT_EQ(256 + 2 * 18, drawing.width);
    EXPECT_EQ(320 + 2 * 18, drawing.height);
    EXPECT_EQ(292.0, drawing.panel.width);
    EXPECT_EQ(356.0, drawing.panel.height);
}

TEST(OverlayLegend, StandsBesideATallScanAndBelowAWideOne)
{
    const Drawing tall = Drawn(test::Plain(800, 1000, 8, 0), test::UprightFrame());
    EXPECT_EQ(836.0, tall.panel.width);
    EXPECT_EQ(836 + 325 + 39, tall.width); /* one column, and a gap on each side of it */
    EXPECT_EQ(1036, tall.height);
    const Drawing wide = Drawn(test::Plain(1000, 800, 8, 0), test::UprightFrame());
    EXPECT_EQ(1036, wide.width);
    EXPECT_GT(wide.height, 836);
    EXPECT_LT(wide.height, 836 + 300); /* in columns beside each other */
}

/* ---- SVG ---- */

std::string Svg(const Frame& frame, const OverlayOptions& options)
{
    std::string svg;
    EXPECT_FALSE(OverlaySvg(test::Plain(400, 500, 8, 0), frame, options, &svg));
    return svg;
}

TEST(OverlaySvg, LayersHaveIds)
{
    const std::string svg = Svg(test::UprightFrame(), {});
    for (const char* id : {"scan", "points", "dropped", "kept", "lines", "frame", "extremes", "centre", "output"})
        EXPECT_NE(std::string::npos, svg.find(std::string("<g id=\"") + id + "\" clip-path=\"url(#panel)\">"))
            << id;
    EXPECT_NE(std::string::npos, svg.find("<g id=\"legend\"><title>"));
    EXPECT_NE(std::string::npos, svg.find("href=\"data:image/png;base64,iVBORw0KGgo"));
    EXPECT_NE(std::string::npos, svg.find("<path d=\"M108.50 98.50L318.50 98.50L318.50 398.50L108.50 398.50z\" "
                                          "fill=\"none\" stroke=\"rgb(20,214,150)\" stroke-width=\"4.00\"/>"));
}

TEST(OverlaySvg, EmbeddedPictureIsPaddedToWholeGroups)
{
    std::array<int, 3> seen{};
    for (int width = 257; width < 300; ++width) {
        const Bitmap scan = test::Plain(width, 9, 8, 77);
        std::string svg;
        ASSERT_FALSE(OverlaySvg(scan, {}, {}, &svg));
        const std::size_t begin = svg.find("base64,") + 7;
        const std::string data = svg.substr(begin, svg.find('"', begin) - begin);
        const std::size_t bytes = EncodedPng(width, 9, 1, PictureOf(Drawn(scan, {})).grey).size();
        EXPECT_EQ((bytes + 2) / 3 * 4, data.size());
        EXPECT_EQ((3 - bytes % 3) % 3, data.size() - data.find_last_not_of('=') - 1);
        ++seen[bytes % 3];
    }
    for (const int count : seen) EXPECT_GT(count, 0);
}

TEST(OverlaySvg, TextIsEscaped)
{
    OverlayOptions options;
    options.title = "<a href=\"x\">&'\x02\xFF</a>";
    Frame frame = test::FailedFrame();
    frame.problem.reason = "<!-- ]]>";
    const std::string svg = Svg(frame, options);
    EXPECT_NE(std::string::npos, svg.find("<title id=\"title\">&lt;a href=&quot;x&quot;&gt;&amp;&#39;\xEF\xBF\xBD"
                                          "\xEF\xBF\xBD&lt;/a&gt;</title>"));
    EXPECT_NE(std::string::npos, svg.find("<desc id=\"description\">No page found: &lt;!-- ]]&gt;</desc>"));
    EXPECT_EQ(std::string::npos, svg.find("<a "));
    EXPECT_EQ(std::string::npos, svg.find("<!--"));
}

/* ---- PNG ---- */

struct Pixels {
    int width = 0, height = 0;
    Bytes rgb;

    std::array<int, 3> At(int x, int y) const
    {
        const std::size_t i = 3 * static_cast<std::size_t>(y * width + x);
        return {rgb.at(i), rgb.at(i + 1), rgb.at(i + 2)};
    }
};

Pixels Decoded(const Bytes& png)
{
    Pixels pixels;
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(0, png_image_begin_read_from_memory(&image, png.data(), png.size()));
    image.format = PNG_FORMAT_RGB;
    pixels.width = static_cast<int>(image.width);
    pixels.height = static_cast<int>(image.height);
    pixels.rgb.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(0, png_image_finish_read(&image, nullptr, pixels.rgb.data(), 0, nullptr));
    return pixels;
}

TEST(OverlayPng, HasTheSizeAndColoursOfTheDrawing)
{
    Frame frame = test::UprightFrame();
    frame.trace = test::UprightTrace();
    Bitmap scan = test::Plain(400, 500, 8, 255);
    scan.row(499)[0] = 0;
    const Drawing drawing = Drawn(scan, frame);
    Bytes png;
    ASSERT_FALSE(OverlayPng(scan, frame, {}, &png));
    const Pixels pixels = Decoded(png);
    EXPECT_EQ(drawing.width, pixels.width);
    EXPECT_EQ(drawing.height, pixels.height);
    using Rgb = std::array<int, 3>;
    EXPECT_EQ((Rgb{18, 21, 26}), pixels.At(0, 0));                /* the drawing's ground */
    EXPECT_EQ((Rgb{8, 8, 8}), pixels.At(18, 18));                 /* the scan's top left pixel */
    EXPECT_EQ((Rgb{140, 140, 140}), pixels.At(19, 18));           /* the next */
    EXPECT_EQ((Rgb{140, 140, 140}), pixels.At(417, 517));         /* the last */
    EXPECT_EQ((Rgb{18, 21, 26}), pixels.At(418, 517));            /* beyond */
    EXPECT_EQ((Rgb{86, 180, 233}), pixels.At(118 - 6, 18 + 200)); /* arrow head of the leftmost point */
    EXPECT_EQ((Rgb{240, 228, 66}), pixels.At(18 + 150, 98 - 6));  /* of the topmost */
    EXPECT_EQ((Rgb{18, 21, 26}), pixels.At(drawing.width - 1, drawing.height - 1));
}

TEST(OverlayPng, PageWithoutTraceShowsItsFrame)
{
    Frame frame = test::UprightFrame();
    frame.corners = {}; /* what is cut out is drawn elsewhere */
    const Bitmap scan = test::Plain(400, 500, 8, 255);
    Bytes png;
    ASSERT_FALSE(OverlayPng(scan, frame, {}, &png));
    const Pixels pixels = Decoded(png);
    EXPECT_EQ((std::array<int, 3>{20, 214, 150}), pixels.At(218, 98));
    EXPECT_EQ((std::array<int, 3>{20, 214, 150}), pixels.At(108, 248));
    EXPECT_EQ((std::array<int, 3>{140, 140, 140}), pixels.At(218, 120));
}

TEST(OverlayPng, MarksEndWhereTheScansPanelEnds)
{
    Frame frame;
    frame.trace.sides[1].points = {{417.0, 200.0}, {422.0, 200.0}};
    const Bitmap scan = test::Plain(400, 500, 8, 255);
    Bytes png;
    ASSERT_FALSE(OverlayPng(scan, frame, {}, &png));
    const Pixels pixels = Decoded(png);
    EXPECT_NE((std::array<int, 3>{18, 21, 26}), pixels.At(435, 218));
    EXPECT_EQ((std::array<int, 3>{18, 21, 26}), pixels.At(436, 218));
    EXPECT_EQ((std::array<int, 3>{18, 21, 26}), pixels.At(440, 218));
}

TEST(OverlayPng, AnyTitleIsPainted)
{
    OverlayOptions options;
    options.title = "\x01\xFF\xE6\xBC\xA2\n\xF0\x9F\x98\x80";
    Bytes png;
    ASSERT_FALSE(OverlayPng(test::Plain(1, 1, 1, 1), test::FailedFrame(), options, &png));
    EXPECT_GT(Decoded(png).width, 256);
}

/* ---- Texts ---- */

TEST(OverlayText, CleanedTextIsOneLineOfUtf8)
{
    const std::string bad = "\xEF\xBF\xBD";
    EXPECT_EQ("a b  c", Cleaned("a\tb\r\nc"));
    EXPECT_EQ("x" + bad + bad + "y", Cleaned(std::string("x\0\x1By", 4)));
    EXPECT_EQ("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", Cleaned("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));
    EXPECT_EQ(bad, Cleaned(std::string_view("\xC3\xA9", 1))); /* cut short */
    EXPECT_EQ(bad + bad, Cleaned("\xC0\x80"));                /* too long for what it says */
    EXPECT_EQ(bad + bad + bad, Cleaned("\xE0\x80\xBC"));      /* likewise */
    EXPECT_EQ(bad + bad + bad, Cleaned("\xED\xA0\x80"));      /* half of a pair */
    EXPECT_EQ(bad, Cleaned("\xEF\xBF\xBF"));                  /* no character */
    EXPECT_EQ(bad + "gnp", Cleaned("\xE2\x80\xAEgnp"));       /* turns the direction round */
    EXPECT_EQ(bad + "(", Cleaned("\xE2("));
}

TEST(OverlayText, EscapedTextHoldsNoMarkup) { EXPECT_EQ("&lt;a b=&quot;&#39;&amp;&gt;", Escaped("<a b=\"'&>")); }

TEST(OverlayText, WrappedTextBreaksAtSpaces)
{
    EXPECT_EQ(Names({"one two", "three"}), Wrapped("one two three", 6.0, false, 3));
    EXPECT_EQ(Names({"nnnn", "nnnn", "nn"}), Wrapped("nnnnnnnnnn", 3.0, false, 3));
    EXPECT_EQ(Names({"one two", "three\xE2\x80\xA6"}), Wrapped("one two three hundred", 6.0, false, 2));
    EXPECT_EQ(Names({"nnn\xE2\x80\xA6"}), Wrapped("nnnnnnnnnn", 3.0, false, 1));
    EXPECT_EQ(Names(), Wrapped("  ", 6.0, false, 2));
    EXPECT_EQ(Names({"\xE6\xBC\xA2", "\xE6\xBC\xA2"}), Wrapped("\xE6\xBC\xA2\xE6\xBC\xA2", 0.1, false, 5));
}

TEST(OverlayText, FixedNumbersHaveAPointAndNoSignOfZero)
{
    EXPECT_EQ("1.50", Fixed(1.5, 2));
    EXPECT_EQ("0.00", Fixed(-0.001, 2));
    EXPECT_EQ("-0.01", Fixed(-0.01, 2));
    EXPECT_EQ("3", Fixed(3.2, 0));
    EXPECT_EQ("?", Fixed(std::numeric_limits<double>::quiet_NaN(), 2));
    EXPECT_EQ(309U + 3U, Fixed(std::numeric_limits<double>::max(), 2).size());
}

} // namespace
