/*
 * fuzz_stages.cpp - the stages driven directly, with sides, edges, numbers and globals that no scan would give.
 */
#include "BitmapProcessing.h"
#include "FuzzInput.h"
#include "SearchBitmapFrame.h"

namespace
{

constexpr sint32 kMaxSegments = 60;
constexpr sint32 kSegmentPoints = 6;

/* A side of the page: segments along a line, with some that stand off it. */
struct FuzzSide {
    explicit FuzzSide(FuzzInput* input)
    {
        const sint32 segments = input->Between(0, kMaxSegments);
        PointRec at = {input->Between(0, 2000), input->Between(0, 2000)};
        const PointRec step = {input->Take<int8_t>(), input->Take<int8_t>()};
        points.resize(static_cast<size_t>(segments * kSegmentPoints));
        lines.resize(static_cast<size_t>(segments));
        for (sint32 k = 0; k < segments; ++k) {
            BorderLineRec& line = lines[static_cast<size_t>(k)];
            line = null_border_line;
            line.points = &points[static_cast<size_t>(k * kSegmentPoints)];
            const uint8 kind = input->IsEmpty() ? 0 : input->Take<uint8>();
            line.index = kind == 255 ? input->Between(-3, kSegmentPoints) : kSegmentPoints;
            line.len = line.index;
            line.type = kind & 1;
            line.Center = kind == 254 ? PointRec{input->Take<sint32>(), input->Take<sint32>()} : at;
            if (kind >= 200 && kind < 240) line.Center.y += kind - 220;
            for (sint32 i = 0; i < kSegmentPoints; ++i)
                line.points[i] = kind == 253 ? PointRec{input->Take<sint32>(), input->Take<sint32>()} : line.Center;
            at.x += step.x;
            at.y += step.y;
        }
        rec.border_point = {segments * kSegmentPoints, segments * kSegmentPoints, points.data()};
        rec.border_line_seck = {segments, segments, 0, lines.data()};
    }

    ImageBorderPointRec rec = null_image_border_point;
    std::vector<PointRec> points;
    std::vector<BorderLineRec> lines;
};

/* An edge that owns its segments, as the splitting fills it. */
struct FuzzEdge {
    ~FuzzEdge() { std::free(rec.border_line_seck.borderLine); }
    ImageBorderLineRec rec = null_image_border_line;
};

PointRec TakePoint(FuzzInput* input) { return {input->Hostile(0, 2500), input->Hostile(0, 2500)}; }

void SetGlobals(FuzzInput* input)
{
    for (sint32* global : {&LeftPointIndexT, &LeftPointIndexB, &RightPointIndexT, &RightPointIndexB,
                           &TopPointIndexR, &TopPointIndexL, &BottomPointIndexR, &BottomPointIndexL})
        *global = input->Hostile(0, kMaxSegments);
}

/* Splits four sides, then frames the edges: either those of the splitting or four sides as they are. */
void SplitAndFrame(FuzzInput* input)
{
    /* The sizes alone count here; one byte of memory stands for the image. */
    uint8 pixel = 0;
    uint8* row = &pixel;
    BitmapRec bitmap = {input->Between(1, 2500), input->Between(1, 2500), 8, 1, 1, &row, &pixel};
    const bool framed_directly = input->Flip();
    SetGlobals(input);
    ImageRangeRectangleRec range = {TakePoint(input), TakePoint(input), TakePoint(input), TakePoint(input)};
    FuzzSide left(input), right(input), top(input), bottom(input);
    FuzzEdge left_top, left_bottom, right_top, right_bottom;
    sint32 tilted = input->Hostile(0, 1);
    if (framed_directly) {
        left_top.rec.border_line_seck = top.rec.border_line_seck;
        left_bottom.rec.border_line_seck = left.rec.border_line_seck;
        right_top.rec.border_line_seck = right.rec.border_line_seck;
        right_bottom.rec.border_line_seck = bottom.rec.border_line_seck;
    } else {
        const sint32 code =
            DispartBorderPoints(&bitmap, &range, &tilted, &left.rec, &right.rec, &top.rec, &bottom.rec,
                                &left_top.rec, &left_bottom.rec, &right_top.rec, &right_bottom.rec);
        FUZZ_REQUIRE(code >= 0 && code <= 11);
        FUZZ_REQUIRE(tilted == 0 || tilted == 1);
    }

    RowSeckRec rows = null_row_seck;
    Real64 angle = 0.0;
    PointRec center = null_point;
    sint32 width = 0;
    sint32 height = 0;
    const sint32 code = CalBorderPoints(&bitmap, &rows, &angle, &center, &width, &height, &range, &tilted,
                                        &left_top.rec, &left_bottom.rec, &right_top.rec, &right_bottom.rec);
    FUZZ_REQUIRE((code == 0) == (rows.seck != nullptr));
    if (code == 0) {
        FUZZ_REQUIRE(center.x >= 0 && center.x < bitmap.biWidth && center.y >= 0 && center.y < bitmap.biHeight);
        FUZZ_REQUIRE(rows.top >= 0 && rows.top < rows.bottom && rows.bottom < bitmap.biHeight);
        for (sint32 y = rows.top; y <= rows.bottom; ++y) {
            FUZZ_REQUIRE(rows.seck[y].left >= 0 && rows.seck[y].left < bitmap.biWidth);
            FUZZ_REQUIRE(rows.seck[y].right >= 0 && rows.seck[y].right < bitmap.biWidth);
        }
    }
    std::free(rows.seck);
    if (framed_directly)
        for (FuzzEdge* edge : {&left_top, &left_bottom, &right_top, &right_bottom})
            edge->rec.border_line_seck.borderLine = nullptr;
}

void FreeSide(ImageBorderPointRec* side)
{
    std::free(side->border_point.points);
    std::free(side->border_line_seck.borderLine);
}

/* Marks borders in an image of blocks, within any rectangle. */
void MarkAnywhere(FuzzInput* input)
{
    const sint32 width = input->Between(1, 200);
    const sint32 height = input->Between(1, 200);
    const sint32 depth = input->Depth();
    FuzzBitmap image(width, height, depth, input->Between(0, 9));
    for (sint32 k = 0; k < 8 && !input->IsEmpty(); ++k) {
        const sint32 from = input->Between(0, image.rec.bfSize - 1);
        const sint32 num = input->Between(0, 65535) % (image.rec.bfSize - from);
        std::memset(image.rec.buffer + from, input->Take<uint8>(), static_cast<size_t>(num));
    }
    RectangleRec range = {input->Hostile(0, width / 2), input->Hostile(width / 2, width - 1),
                          input->Hostile(0, height / 2), input->Hostile(height / 2, height - 1)};
    if (input->Flip()) SearchBitmapRange(&image.rec, &range, input->Take<uint8>());
    ImageRangeRectangleRec extremes = {TakePoint(input), TakePoint(input), TakePoint(input), TakePoint(input)};
    const sint32 ground = input->Flip() ? 1 : input->Hostile(255, 255);
    const uint8 low = input->Take<uint8>();
    const uint8 high = input->Take<uint8>();
    uint8 DividingValue = 0;
    CalculateDividingPoint(&image.rec, &DividingValue);

    ImageBorderPointRec first = null_image_border_point;
    ImageBorderPointRec second = null_image_border_point;
    sint32 code = MarkLeftRightBorder(&image.rec, &range, ground, low, high, &first, &second, &extremes);
    FUZZ_REQUIRE(code == 0 || (first.border_point.points == nullptr && second.border_point.points == nullptr));
    FUZZ_REQUIRE(code != 0 || extremes.left.x < extremes.right.x);
    FreeSide(&first);
    FreeSide(&second);
    first = second = null_image_border_point;
    code = MarkTopBottomBorder(&image.rec, &range, ground, low, high, &first, &second, &extremes);
    FUZZ_REQUIRE(code == 0 || (first.border_point.points == nullptr && second.border_point.points == nullptr));
    FUZZ_REQUIRE(code != 0 || extremes.top.y < extremes.bottom.y);
    FreeSide(&first);
    FreeSide(&second);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    if (!input.Flip()) {
        SplitAndFrame(&input);
        return 0;
    }
    for (Level level : Levels()) {
        ChooseLevel(level);
        FuzzInput again = input;
        MarkAnywhere(&again);
    }
    return 0;
}
