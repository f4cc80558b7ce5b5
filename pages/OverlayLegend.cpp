/*
 * OverlayLegend.cpp - the strip beside or below the scan.
 *
 * The legend is made of blocks, each drawn as if it began at the origin, and put in place when all heights are known.
 */
#include "OverlayLegend.h"

#include <algorithm>
#include <cmath>

#include "OverlayStyle.h"
#include "OverlayText.h"

namespace quarlo::overlay
{

namespace
{

/* In letters' sizes. */
constexpr double kColumn = 25.0;
constexpr double kGap = 1.6; /* between blocks and between columns */
constexpr double kLineHeight = 1.45;
constexpr double kValueColumn = 7.5; /* where values begin, behind their names */
constexpr double kKeyColumn = 4.2;   /* where words begin, behind their marks */

/* A block in the making: rows from the top down. */
class Block
{
public:
    explicit Block(double letters) : letters_(letters) {}

    double height() const { return y_; }
    const Shapes& shapes() const { return shapes_; }

    void Text(const std::string& text, const Colour& colour, bool bold, double size, std::size_t most_lines)
    {
        for (const std::string& line : Wrapped(text, kColumn / size, bold, most_lines)) {
            Put(line, 0.0, colour, bold, size);
            NextRow(size);
        }
    }

    void Gap() { y_ += 0.5 * letters_; }

    void Head(const std::string& text)
    {
        Put(text, 0.0, kFaintText, true, 0.85);
        NextRow(1.0);
    }

    void Fact(const std::string& name, const std::string& value, const Colour& colour = kText)
    {
        Put(name, 0.0, kFaintText, false, 1.0);
        for (const std::string& line : Wrapped(value, kColumn - kValueColumn, false, 4)) {
            Put(line, kValueColumn, colour, false, 1.0);
            NextRow(1.0);
        }
    }

    /* Draws a mark for the row's words; `draw` is told the mark's middle and half of its width. */
    template <typename Draw>
    void Key(const std::string& words, Draw draw)
    {
        const double half = 0.5 * (kKeyColumn - 1.2) * letters_;
        draw(Point{half, y_ + 0.55 * kLineHeight * letters_}, half, &shapes_);
        for (const std::string& line : Wrapped(words, kColumn - kKeyColumn, false, 2)) {
            Put(line, kKeyColumn, kText, false, 1.0);
            NextRow(1.0);
        }
    }

    /* Cells of a table, the first to the left, the others to the right of their columns. */
    void Cells(const std::vector<std::string>& cells, const Colour& colour)
    {
        constexpr std::array<double, 6> ends = {0.0, 8.2, 11.8, 15.6, 19.6, kColumn};
        for (std::size_t i = 0; i < cells.size(); ++i) Put(cells[i], ends[i], colour, false, 0.85, i > 0);
        NextRow(0.95);
    }

    /* How much of a bar is full. */
    void Bar(double share, const Colour& colour)
    {
        const double width = (kColumn - kValueColumn) * letters_;
        Rectangle({kValueColumn * letters_, y_, width, 0.5 * letters_}, Faint(kText, 0.18));
        Rectangle({kValueColumn * letters_, y_, width * (share > 0.0 ? std::min(share, 1.0) : 0.0), 0.5 * letters_},
                  colour);
        y_ += 0.9 * letters_;
    }

    /* A little field behind the words of the row above. */
    void Field(const Colour& colour)
    {
        const double words = std::get<Label>(shapes_.back()).at.x / letters_ +
                             TextWidth(std::get<Label>(shapes_.back()).text, false);
        const Box box = {(words + 0.6) * letters_, y_ - 1.25 * letters_, letters_, letters_};
        Rectangle(box, colour);
        std::get<Path>(shapes_.back()).colour = kFaintText;
        std::get<Path>(shapes_.back()).width = 0.08 * letters_;
    }

private:
    void Put(const std::string& text, double x, const Colour& colour, bool bold, double size, bool right = false)
    {
        Label label;
        label.at = {x * letters_, y_ + 1.05 * size * letters_};
        label.text = text;
        label.size = size * letters_;
        label.colour = colour;
        label.bold = bold;
        label.right = right;
        shapes_.push_back(label);
    }

    void Rectangle(const Box& box, const Colour& colour)
    {
        Path path;
        const double right = box.x + box.width, bottom = box.y + box.height;
        path.lines = {{{box.x, box.y}, {right, box.y}, {right, bottom}, {box.x, bottom}}};
        path.closed = true;
        path.fill = colour;
        shapes_.push_back(path);
    }

    void NextRow(double size) { y_ += kLineHeight * size * letters_; }

    double letters_;
    double y_ = 0.0;
    Shapes shapes_;
};

/* ---- What the blocks say ---- */

bool Searched(const Frame& frame) { return frame.ground != Ground::automatic; }

std::string GroundText(Ground ground)
{
    return std::string(NameOf(ground)) +
           (ground == Ground::dark ? ", the page is lighter" : ", the page is darker");
}

std::string AngleText(double angle_deg)
{
    const std::string size = Fixed(std::fabs(angle_deg), 2) + "\xC2\xB0";
    if (Fixed(angle_deg, 2) == "0.00") return size + ", upright";
    return size + (angle_deg > 0.0 ? " clockwise" : " counter-clockwise");
}

std::string ScoreText(const Frame& frame)
{
    const std::string number = Fixed(frame.score, 2) + " of 1";
    return frame.problem.code == Code::not_trusted ? number + ", too low to be trusted" : number;
}

Block TitleBlock(const Frame& frame, const std::string& title, double letters)
{
    Block block(letters);
    block.Text(title, kText, true, 1.25, 3);
    block.Text(Headline(frame), Verdict(frame), true, 1.1, 2);
    if (!frame.problem) return block;
    block.Gap();
    if (!frame.problem.stage.empty()) block.Fact("Stopped at", Cleaned(frame.problem.stage));
    block.Fact("Code", std::to_string(static_cast<int>(frame.problem.code)));
    if (!frame.problem.reason.empty()) block.Fact("Reason", Cleaned(frame.problem.reason));
    return block;
}

void AddSearchFacts(const Frame& frame, Block* block)
{
    block->Fact("Ground", GroundText(frame.ground));
    if (frame.problem.stage != "threshold") {
        const auto grey = static_cast<std::uint8_t>(std::clamp(frame.threshold, 0, 255));
        block->Fact("Threshold", "grey level " + std::to_string(frame.threshold));
        block->Field({grey, grey, grey, 1.0});
    }
    block->Fact("Searched in", frame.prepared.empty() ? "the scan itself" : Cleaned(frame.prepared));
}

Block FactsBlock(const Frame& frame, double letters)
{
    Block block(letters);
    if (Searched(frame)) AddSearchFacts(frame, &block);
    if (!frame.found) return block;
    block.Fact("Turn", AngleText(frame.angle_deg));
    block.Fact("Page", std::to_string(frame.width) + " \xC3\x97 " + std::to_string(frame.height) + " pixels");
    block.Fact("Centre", Fixed(frame.center.x, 1) + ", " + Fixed(frame.center.y, 1));
    if (!Searched(frame)) return block;
    block.Fact("Shape", Fixed(frame.parallel_deg, 2) + "\xC2\xB0 from parallel, " + Fixed(frame.square_deg, 2) +
                            "\xC2\xB0 from square");
    block.Fact("Score", ScoreText(frame), Verdict(frame));
    block.Bar(frame.score, Verdict(frame));
    return block;
}

Block EdgesBlock(const Frame& frame, double letters)
{
    constexpr std::array<const char*, 4> names = {"top", "right", "bottom", "left"};
    Block block(letters);
    if (!Searched(frame) || !frame.found) return block;
    block.Cells({"Edge", "points", "kept", "drop.", "rms px", "backed"}, kFaintText);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Edge& edge = frame.edges[i];
        const std::string backed = edge.at_border ? "cut off" : Fixed(100.0 * edge.support, 0) + " %";
        block.Cells({names[i], std::to_string(edge.points), std::to_string(edge.segments),
                     std::to_string(edge.dropped), Fixed(edge.rms_px, 2), backed},
                    kText);
    }
    return block;
}

bool HasKept(const Trace::Side& side)
{
    return std::any_of(side.segments.begin(), side.segments.end(),
                       [](const Trace::Segment& segment) { return segment.kept; });
}

void AddSideKeys(const Trace& trace, double unit, Block* block)
{
    for (std::size_t side = 0; side < trace.sides.size(); ++side) {
        if (trace.sides[side].points.empty()) continue;
        block->Key(std::string("border seen from the ") + kSideNames[side],
                   [&](Point at, double half, Shapes* shapes) {
                       if (HasKept(trace.sides[side]))
                           DrawKept({{{at.x - half, at.y}, {at.x + half, at.y}}}, kSideColours[side], unit, shapes);
                       std::vector<Point> dots;
                       for (int k = -4; k <= 4; ++k) dots.push_back({at.x + half * k / 4.0, at.y});
                       DrawDots(dots, kSideColours[side], unit, shapes);
                   });
    }
}

void AddTraceKeys(const Trace& trace, double unit, Block* block)
{
    AddSideKeys(trace, unit, block);
    if (HasDropped(trace))
        block->Key("run left out as noise", [&](Point at, double half, Shapes* shapes) {
            DrawDropped({{{at.x - half, at.y}, at, {at.x + half, at.y}}}, unit, shapes);
        });
    if (std::find(trace.has_fitted.begin(), trace.has_fitted.end(), true) != trace.has_fitted.end())
        block->Key("line fitted to an edge", [&](Point at, double half, Shapes* shapes) {
            DrawFitted({{{at.x - half, at.y}, {at.x + half, at.y}}}, unit, shapes);
        });
    if (trace.has_extremes)
        block->Key("outermost point, by side", [&](Point at, double half, Shapes* shapes) {
            DrawArrowHead({at.x - 0.1 * half, at.y}, {1.0, 0.0}, kSideColours[0], unit, shapes);
            DrawArrowHead({at.x + 0.1 * half, at.y}, {-1.0, 0.0}, kSideColours[1], unit, shapes);
        });
}

void AddFrameKeys(const Frame& frame, double unit, Block* block)
{
    const auto corners = [unit](Point at, double half) {
        const double down = 4.5 * unit;
        return std::vector<Point>{{at.x - half, at.y - down},
                                  {at.x + half, at.y - down},
                                  {at.x + half, at.y + down},
                                  {at.x - half, at.y + down}};
    };
    block->Key("the page: where its edges meet", [&](Point at, double half, Shapes* shapes) {
        DrawFrame(corners(at, half), Verdict(frame), unit, shapes);
    });
    block->Key(frame.problem ? "what would be cut out" : "what is cut out",
               [&](Point at, double half, Shapes* shapes) { DrawOutput(corners(at, half), unit, shapes); });
    block->Key("centre; the arrow leads to the top", [&](Point at, double, Shapes* shapes) {
        DrawCentre({at.x, at.y + 2.0 * unit}, {1.0, 0.0}, Verdict(frame), 0.5 * unit, shapes);
    });
}

Block KeysBlock(const Frame& frame, double unit, double letters)
{
    Block block(letters);
    block.Head("What is drawn");
    const double empty = block.height();
    AddTraceKeys(frame.trace, unit, &block);
    if (frame.found) AddFrameKeys(frame, unit, &block);
    return block.height() > empty ? block : Block(letters);
}

/* ---- Putting blocks in place ---- */

void Move(Point by, Path* path)
{
    for (std::vector<Point>& line : path->lines)
        for (Point& point : line) point = {point.x + by.x, point.y + by.y};
}
void Move(Point by, Label* label) { label->at = {label->at.x + by.x, label->at.y + by.y}; }
void Move(Point by, Picture* picture) { picture->at = {picture->at.x + by.x, picture->at.y + by.y}; }

void Place(const Block& block, Point at, Shapes* shapes)
{
    for (Shape shape : block.shapes()) {
        std::visit([&](auto& kind) { Move(at, &kind); }, shape);
        shapes->push_back(std::move(shape));
    }
}

/* Blocks in their order, in columns: bit i of `breaks` begins a new one with block i. Answers where each block goes. */
std::vector<Point> Places(const std::vector<Block>& blocks, unsigned breaks, double step, double gap)
{
    std::vector<Point> places;
    Point at;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if ((breaks >> i & 1U) != 0) at = {at.x + step, 0.0};
        places.push_back(at);
        at.y += blocks[i].height() + gap;
    }
    return places;
}

double HeightOf(const std::vector<Block>& blocks, const std::vector<Point>& places)
{
    double height = 0.0;
    for (std::size_t i = 0; i < blocks.size(); ++i) height = std::max(height, places[i].y + blocks[i].height());
    return height;
}

/* The lowest way to put the blocks into so many columns; there are few. */
std::vector<Point> LowestPlaces(const std::vector<Block>& blocks, double width, double step, double gap)
{
    std::vector<Point> best = Places(blocks, 0, step, gap);
    for (unsigned breaks = 0; breaks < 1U << blocks.size();
         breaks += 2) { /* the first block begins no other column */
        const std::vector<Point> places = Places(blocks, breaks, step, gap);
        if (places.back().x + step - gap > width) continue;
        if (HeightOf(blocks, places) < HeightOf(blocks, best)) best = places;
    }
    return best;
}

} // namespace

std::string Headline(const Frame& frame)
{
    if (!frame.found) return "No page found";
    if (frame.problem.code == Code::not_trusted) return "A frame was found, but it is not trusted";
    if (frame.problem) return "A page was found, but it is not cut out";
    return Searched(frame) ? "Page found" : "Page known from a report";
}

double ColumnWidth(const Scale& scale) { return kColumn * scale.letters(); }

Box DrawLegend(const Frame& frame, const std::string& title, const Scale& scale, Point at, double width,
               bool one_column, Shapes* shapes)
{
    const double letters = scale.letters();
    std::vector<Block> blocks;
    for (Block block : std::array<Block, 4>{TitleBlock(frame, title, letters), FactsBlock(frame, letters),
                                            EdgesBlock(frame, letters), KeysBlock(frame, scale.unit, letters)})
        if (!block.shapes().empty()) blocks.push_back(std::move(block));
    const double gap = kGap * letters, step = ColumnWidth(scale) + gap;
    const std::vector<Point> places = LowestPlaces(blocks, one_column ? 0.0 : width, step, gap);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        Place(blocks[i], {at.x + places[i].x, at.y + places[i].y}, shapes);
    return {at.x, at.y, places.back().x + step - gap, HeightOf(blocks, places)};
}

} // namespace quarlo::overlay
