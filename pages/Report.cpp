/*
 * Report.cpp - what is told about a page as a line of JSON, and placements read back from such lines.
 *
 * A line has all fields in all cases; what there is not is null, so that a reader never has to ask whether a field is
 * there. docs/report.md says what each means.
 */
#include "quarlo/pages.hpp"

#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

namespace quarlo
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;
constexpr std::array<Status, 5> kStatuses = {Status::ok, Status::no_frame, Status::refused, Status::copied,
                                             Status::error};
constexpr std::array<const char*, 4> kEdgeNames = {"top", "right", "bottom", "left"};

/* ---- Writing ---- */

/* File names may hold any bytes; those that are no UTF-8 become U+FFFD. */
std::string Dumped(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

template <typename Value>
Json Maybe(bool there, const Value& value)
{
    return there ? Json(value) : Json();
}

Json TextOrNull(const std::string& text) { return Maybe(!text.empty(), text); }

Json SizeOrNull(int width, int height) { return Maybe(width > 0 && height > 0, std::array<int, 2>{width, height}); }

Json Pair(Point point) { return std::array<double, 2>{point.x, point.y}; }
Json Pair(PointRec point) { return std::array<int, 2>{point.x, point.y}; }

Json CornersJson(const Frame& frame)
{
    Json corners = Json::array();
    for (const Point& corner : frame.corners) corners.push_back(Pair(corner));
    return corners;
}

Json EdgesJson(const Frame& frame)
{
    Json edges = Json::object();
    for (std::size_t i = 0; i < kEdgeNames.size(); ++i) {
        const Edge& edge = frame.edges[i];
        edges[kEdgeNames[i]] = {{"points", edge.points},     {"segments", edge.segments},
                                {"dropped", edge.dropped},   {"angle_deg", edge.angle_deg},
                                {"rms_px", edge.rms_px},     {"support", edge.support},
                                {"contrast", edge.contrast}, {"at_border", edge.at_border}};
    }
    return edges;
}

Json LineJson(const LineRec& line)
{
    return {
        {"type", line.type}, {"a", line.a}, {"b", line.b}, {"angle", line.angle}, {"center", Pair(line.center)}};
}

/* Doubles are written with the digits that it takes to read the same double back. */
Json PlacementJson(const Placement& placement)
{
    Json lines = Json::array();
    for (const LineRec& line : placement.lines) lines.push_back(LineJson(line));
    return {{"scan", std::array<int, 2>{placement.scan_width, placement.scan_height}},
            {"angle", placement.angle},
            {"center", Pair(placement.center)},
            {"size", std::array<int, 2>{placement.width, placement.height}},
            {"lines", lines}};
}

Json AffineJson(const Affine& map)
{
    return std::array<std::array<double, 3>, 2>{{{map.xx, map.xy, map.x0}, {map.yx, map.yy, map.y0}}};
}

std::string ColourText(const Fill& fill)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "#";
    for (const unsigned value : {fill.red, fill.green, fill.blue}) {
        text += digits[value / 16];
        text += digits[value % 16];
    }
    return text;
}

/* A stage that ran more than once is told once. */
Json TimesJson(const std::vector<std::pair<std::string, double>>& times)
{
    Json json = Json::object();
    for (const auto& [stage, ms] : times) json[stage] = json.value(stage, 0.0) + ms;
    return json;
}

/* What the search for a page found out. */
void AddSearch(const Frame& frame, Json* line)
{
    const bool searched = frame.ground != Ground::automatic; /* a frame from a report was not */
    (*line)["ground"] = Maybe(searched, NameOf(frame.ground));
    (*line)["threshold"] = Maybe(searched && frame.problem.stage != "threshold", frame.threshold);
    (*line)["prepared"] = TextOrNull(frame.prepared);
    (*line)["angle_deg"] = Maybe(frame.found, frame.angle_deg);
    (*line)["corners"] = Maybe(frame.found, CornersJson(frame));
    (*line)["center"] = Maybe(frame.found, Pair(frame.center));
}

void AddTrust(const Frame& frame, Json* line)
{
    const bool searched = frame.ground != Ground::automatic;
    (*line)["edges"] = Maybe(searched && frame.found, EdgesJson(frame));
    (*line)["parallel_deg"] = Maybe(searched && frame.found, frame.parallel_deg);
    (*line)["square_deg"] = Maybe(searched && frame.found, frame.square_deg);
    (*line)["score"] = Maybe(searched, frame.score);
}

} // namespace

std::string_view NameOf(Status status)
{
    switch (status) {
    case Status::ok:
        return "ok";
    case Status::no_frame:
        return "no_frame";
    case Status::refused:
        return "refused";
    case Status::copied:
        return "copied";
    case Status::error:
        return "error";
    }
    return {};
}

std::string ReportLine(const PageReport& report)
{
    const Frame none;
    const Frame& frame = report.frame != nullptr ? *report.frame : none;
    Json line;
    line["v"] = kVersion;
    line["file"] = report.file;
    line["page"] = report.page;
    line["status"] = NameOf(report.status);
    line["code"] = static_cast<int>(report.problem.code);
    line["stage"] = TextOrNull(report.problem.stage);
    line["reason"] = TextOrNull(report.problem.reason);
    AddSearch(frame, &line);
    line["size_in"] = SizeOrNull(report.width_in, report.height_in);
    line["size_out"] = report.has_result ? SizeOrNull(report.width_out, report.height_out) : Json();
    const bool resolution = report.resolution.known();
    line["dpi"] = resolution ? Pair(Point{report.resolution.dpi_x(), report.resolution.dpi_y()}) : Json();
    line["depth"] = Maybe(report.has_result, report.depth);
    line["to_source"] = Maybe(report.has_result, AffineJson(report.to_source));
    AddTrust(frame, &line);
    line["interpolate"] = Maybe(report.has_result, NameOf(report.interpolation));
    line["resampled"] = Maybe(report.has_result, report.resampled);
    line["fill"] = Maybe(report.has_result, ColourText(report.fill));
    line["out"] = TextOrNull(report.out);
    line["warnings"] = report.warnings;
    line["frame"] = frame.found ? PlacementJson(frame.placement) : Json();
    line["ms"] = TimesJson(report.ms);
    return Dumped(line);
}

std::string SummaryLine(const Summary& summary)
{
    return Dumped({{"v", kVersion},
                   {"summary",
                    {{"files", summary.files},
                     {"pages", summary.pages},
                     {"ok", summary.ok},
                     {"no_frame", summary.no_frame},
                     {"refused", summary.refused},
                     {"copied", summary.copied},
                     {"error", summary.error},
                     {"exit_code", summary.exit_code},
                     {"interrupted", summary.interrupted},
                     {"ms", summary.ms}}}});
}

/* ---- Reading ---- */

namespace
{

/* What is wrong with a line; never leaves this file. */
struct BadLine {
    std::string cause;
};

const Json& Member(const Json& object, const std::string& name)
{
    if (!object.is_object()) throw BadLine{"what should hold " + name + " is no object"};
    const auto found = object.find(name);
    if (found == object.end()) throw BadLine{name + " is missing"};
    return *found;
}

int Whole(const Json& value, const std::string& name, int least)
{
    constexpr int most = std::numeric_limits<int>::max();
    if (!value.is_number_integer()) throw BadLine{name + " is no whole number"};
    const bool fits = value.is_number_unsigned() ? value.get<std::uint64_t>() <= std::uint64_t{most}
                                                 : value.get<std::int64_t>() >= std::numeric_limits<int>::min();
    if (!fits || value.get<int>() < least) throw BadLine{name + " is out of range"};
    return value.get<int>();
}

double Real(const Json& value, const std::string& name)
{
    if (!value.is_number()) throw BadLine{name + " is no number"};
    return value
        .get<double>(); /* finite: JSON has no other numbers, and the parser refuses what a double cannot hold */
}

/* Two whole numbers. */
std::array<int, 2> Wholes(const Json& object, const std::string& name, int least)
{
    const Json& pair = Member(object, name);
    if (!pair.is_array() || pair.size() != 2) throw BadLine{name + " is no pair"};
    return {Whole(pair[0], name, least), Whole(pair[1], name, least)};
}

PointRec ReadPoint(const Json& object, const std::string& name)
{
    const std::array<int, 2> pair = Wholes(object, name, std::numeric_limits<int>::min());
    return {pair[0], pair[1]};
}

LineRec ReadLine(const Json& json)
{
    LineRec line = null_line;
    line.type = Whole(Member(json, "type"), "type", 1);
    if (line.type > 3) throw BadLine{"type is out of range"};
    line.a = Real(Member(json, "a"), "a");
    line.angle = Real(Member(json, "angle"), "angle");
    /* Only a general line has a slope; what else stands there may be no number. */
    const Json& slope = Member(json, "b");
    if (line.type == 3 || !slope.is_null()) line.b = Real(slope, "b");
    line.center = ReadPoint(json, "center");
    return line;
}

Placement ReadPlacement(const Json& json)
{
    Placement placement;
    const std::array<int, 2> scan = Wholes(json, "scan", 1);
    const std::array<int, 2> size = Wholes(json, "size", 1);
    placement.scan_width = scan[0];
    placement.scan_height = scan[1];
    placement.width = size[0];
    placement.height = size[1];
    placement.angle = Real(Member(json, "angle"), "angle");
    placement.center = ReadPoint(json, "center");
    const Json& lines = Member(json, "lines");
    if (!lines.is_array() || lines.size() != placement.lines.size()) throw BadLine{"lines are not four"};
    for (std::size_t i = 0; i < placement.lines.size(); ++i) placement.lines[i] = ReadLine(lines[i]);
    return placement;
}

Status ReadStatus(const Json& json)
{
    for (const Status status : kStatuses)
        if (json == NameOf(status)) return status;
    throw BadLine{"status is none of ok, no_frame, refused, copied, error"};
}

/* A frame that was not good enough to cut its own page is not good enough for other pictures of it. */
bool MayBeApplied(Status status) { return status == Status::ok || status == Status::error; }

void ReadPage(const Json& line, std::vector<KnownPage>* pages)
{
    if (!line.is_object()) throw BadLine{"is no JSON object"};
    if (Whole(Member(line, "v"), "v", 0) != kVersion) throw BadLine{"v is not 1: made by another version"};
    const auto frame = line.find("frame"); /* the closing line has none */
    if (frame == line.end() || frame->is_null()) return;
    if (!MayBeApplied(ReadStatus(Member(line, "status")))) return;
    const Json& file = Member(line, "file");
    if (!file.is_string()) throw BadLine{"file is no text"};
    pages->push_back({file.get<std::string>(), Whole(Member(line, "page"), "page", 1), ReadPlacement(*frame)});
}

Json Parsed(std::string_view text)
{
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw BadLine{"is not JSON, from byte " + std::to_string(error.byte) + " on"};
    } catch (const Json::out_of_range&) {
        throw BadLine{"holds a number that is out of range"};
    }
}

/* Takes the first line off the text. */
std::string_view TakeLine(std::string_view* text)
{
    const std::size_t end = text->find('\n');
    const std::string_view line = text->substr(0, end);
    text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
    return line;
}

} // namespace

bool ReadReportLine(std::string_view line, ToldPage* told)
{
    try {
        const Json json = Parsed(line);
        if (!json.is_object() || json.value("v", 0) != kVersion || json.count("frame") == 0) return false;
        const auto number = [&](const char* name) {
            const Json& value = Member(json, name);
            return value.is_null() ? std::numeric_limits<double>::quiet_NaN() : Real(value, name);
        };
        const auto text = [&](const char* name) {
            return json.value(name, Json()).is_string() ? json[name].get<std::string>() : "";
        };
        ToldPage read;
        read.file = text("file");
        read.page = Whole(Member(json, "page"), "page", 1);
        read.status = ReadStatus(Member(json, "status"));
        read.problem = {static_cast<Code>(Whole(Member(json, "code"), "code", 0)), text("stage"), text("reason")};
        read.score = number("score");
        read.angle_deg = number("angle_deg");
        *told = std::move(read);
        return true;
    } catch (const BadLine&) {
        return false;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string ToldName(const std::string& file) { return Json::parse(Dumped(Json(file))).get<std::string>(); }

Problem ReadReport(std::string_view text, std::vector<KnownPage>* pages)
{
    std::vector<KnownPage> known;
    for (int number = 1; !text.empty(); ++number) {
        const std::string_view line = TakeLine(&text);
        if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
        try {
            ReadPage(Parsed(line), &known);
        } catch (const BadLine& bad) {
            return {Code::bad_report, "report", "line " + std::to_string(number) + ": " + bad.cause};
        }
    }
    *pages = std::move(known);
    return {};
}

} // namespace quarlo
