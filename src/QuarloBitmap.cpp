/*
 * QuarloBitmap.cpp - rotation by any angle, cropped to a page in the same pass.
 *
 *   AddBorderPointToBitmap   surrounds the source with copies of its edge pixels
 *   Rotate24bitsPicNearby, Rotate8bitsPicNearby, Rotate1bitsPicNearby,
 *   Rotate24bitsPicBilinear, Rotate8bitsPicBilinear,
 *   Rotate24bitsPicCubic, Rotate8bitsPicCubic
 *   RotateBitmap             checks, border, dispatch
 *
 * The method: the output is painted with the background and walked from its centre outwards. An output pixel dc
 * columns and dr rows from the centre takes the source point
 *
 *   SourceCenter.x + (dc * cos + dr * sin)        SourceCenter.y + (dr * cos - dc * sin)
 *
 * if that lies inside the page's spans. All products come from two tables built by repeated addition, and each pair of
 * table sums serves a pixel and the one mirrored at the centre. One walk serves all seven functions:
 *
 *   Walk                the order of the output pixels; it is part of the result, since the centre row and column are
 *                       written more than once and since a mirrored pixel may reuse what its forward pixel computed
 *   Nearby, Tenths      samplers: what one pixel gets from its pair of table sums
 *   Bilinear, Cubic     how Tenths blends neighbours with weights in tenths
 *   Pixel1, 8, 24       pixel formats
 *
 * The source's border of 8 pixels lets a sampler read neighbours without a test. Where the processor has vector
 * instructions there is no enlarged copy: the walk proves long stretches of a row to lie inside the page, and these a
 * kernel draws straight from the source; the few pixels left are sampled with their coordinates clamped to the source,
 * which is what the border repeats. Kernels are in kernels/Rotate.h.
 */
#include "QuarloBitmap.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "BitmapConversionTable.h"
#include "BitmapProcessing.h"
#include "Numbers.h"
#include "Pixels.h"
#include "kernels/Kernels.h"

static constexpr sint32 kFrame = 8;       /* pixels of border on each side of the enlarged source */
static constexpr sint32 kSpareSteps = 10; /* entries of an angle table beyond the farthest output pixel */
static constexpr sint32 kPlainSteps = 8;  /* steps that are drawn without a kernel where little is proved */
static constexpr sint32 kRowsAhead = 4;   /* output rows before they are wanted, pixels are prefetched */

static constexpr sint32 kDraftMargin = 64;       /* bytes on each side of a row that a kernel may write */
static constexpr sint32 kStreamedSize = 8 << 20; /* bytes of an output that no cache is expected to keep */

/* For what is done once a pixel: the walks call it from several places, which compilers take as a reason not to. */
#if defined(__GNUC__)
#define INLINED inline __attribute__((always_inline))
#else
#define INLINED inline
#endif

/* ======== The enlarged source ======== */

/* Pixels of whole bytes: the row between copies of its first and last pixel. */
template <class Pixel>
static void EnlargeRow(const uint8* source, sint32 biWidth, sint32 width_extend, uint8* row)
{
    const size_t row_size = static_cast<size_t>(biWidth) * Pixel::channels;
    std::memcpy(Pixel::At(row, width_extend), source, row_size);
    for (sint32 k = 0; k < width_extend; ++k) {
        Pixel::Move(source, 0, row, k);
        Pixel::Move(source, biWidth - 1, row, width_extend + biWidth + k);
    }
}

/*
 * One-bit rows start all clear and only set pixels are written. Two irregularities are part of the result: the left
 * border starts on the first pixel itself, so that the outermost column stays clear; and the first pixel stands at bit
 * width_extend & 7 of byte (width_extend + 7) >> 3, which is column width_extend for multiples of 8 only. For others
 * the row's end reaches into the following row, which exists, because the height is extended as well.
 */
static void EnlargeBitRow(const uint8* source, sint32 biWidth, sint32 width_extend, uint8* row)
{
    const sint32 first = ((width_extend + 7) >> 3) * 8 + (width_extend & 7);
    if (Pixel1::IsSet(source, 0))
        for (sint32 k = 0; k < width_extend; ++k) Pixel1::Set(row, first - k);
    for (sint32 col = 0; col < biWidth; ++col)
        if (Pixel1::IsSet(source, col)) Pixel1::Set(row, first + col);
    if (Pixel1::IsSet(source, biWidth - 1))
        for (sint32 k = 0; k < width_extend; ++k) Pixel1::Set(row, first + biWidth + k);
}

/* Whether a record can hold an image enlarged by so many columns and rows on each side. */
static bool CanEnlarge(const BitmapRec& source, sint32 width_extend, sint32 height_extend)
{
    const int64_t biWidth = int64_t{source.biWidth} + 2 * int64_t{width_extend};
    const int64_t biHeight = int64_t{source.biHeight} + 2 * int64_t{height_extend};
    const int64_t BytesPerLine = (biWidth * source.biBitCount + 7) >> 3;
    return biWidth <= INT32_MAX && BytesPerLine <= INT32_MAX && BytesPerLine <= INT32_MAX / biHeight;
}

/*
 * Makes an image larger by width_extend columns on the left and the right and by height_extend rows above and below,
 * filled with copies of the source's edge pixels; packed rows.
 */
static sint32 AddBorderPointToBitmap(BitmapRec* source, sint32 width_extend, sint32 height_extend, BitmapRec* dest)
{
    BitmapRec bitmap = null_bitmap;
    if (width_extend < 1 || height_extend < 1 || source == nullptr || dest == nullptr) return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(source);
    if (error_code != QL_SUCCESS) return error_code;
    if (!CanEnlarge(*source, width_extend, height_extend)) return QL_OUT_OF_MEMORY;
    error_code = Bitmap_New(&bitmap, source->biWidth + 2 * width_extend, source->biHeight + 2 * height_extend,
                            source->biBitCount, 0);
    if (error_code != QL_SUCCESS) return error_code;

    if (bitmap.biBitCount == 1) std::memset(bitmap.buffer, 0, static_cast<size_t>(bitmap.bfSize));
    for (sint32 r = 0; r < source->biHeight; ++r) {
        const uint8* line = source->ScanLine[r];
        uint8* row = bitmap.ScanLine[height_extend + r];
        if (bitmap.biBitCount == 24)
            EnlargeRow<Pixel24>(line, source->biWidth, width_extend, row);
        else if (bitmap.biBitCount == 8)
            EnlargeRow<Pixel8>(line, source->biWidth, width_extend, row);
        else
            EnlargeBitRow(line, source->biWidth, width_extend, row);
    }
    const size_t stride = static_cast<size_t>(bitmap.BytesPerLine);
    for (sint32 i = 0; i < height_extend; ++i) {
        std::memcpy(bitmap.ScanLine[i], bitmap.ScanLine[height_extend], stride);
        std::memcpy(bitmap.ScanLine[bitmap.biHeight - i - 1], bitmap.ScanLine[bitmap.biHeight - height_extend - 1],
                    stride);
    }
    *dest = bitmap;
    return QL_SUCCESS;
}

/* ======== Where samples come from ======== */

/*
 * Two ways to read the source with its border, by the coordinates it has without: from the enlarged copy, or from the
 * source itself, where a neighbour beyond an edge is the edge pixel.
 */
struct EnlargedSource {
    const BitmapRec* bitmap;

    const uint8* Row(sint32 y) const { return bitmap->ScanLine[y + kFrame]; }
    static sint32 Column(sint32 x) { return x + kFrame; }
};

struct ClampedSource {
    const BitmapRec* bitmap;

    static sint32 Clamp(sint32 at, sint32 size) { return at < 0 ? 0 : at < size ? at : size - 1; }
    const uint8* Row(sint32 y) const { return bitmap->ScanLine[Clamp(y, bitmap->biHeight)]; }
    sint32 Column(sint32 x) const { return Clamp(x, bitmap->biWidth); }
};

/* The part of the source that is the page. */
struct PageRec {
    const RowSeckRec* mask;
    PointRec center;

    /* The spans are trusted to lie inside the source. */
    INLINED bool Holds(PointRec p) const
    {
        return p.x >= 0 && p.y >= 0 && mask->top <= p.y && p.y <= mask->bottom && mask->seck[p.y].left <= p.x &&
               p.x <= mask->seck[p.y].right;
    }
};

/* ======== Samplers ======== */

/*
 * A sampler says which source pixel belongs to a pair of table sums, for the forward and for the mirrored pixel, and
 * draws either pixel if that lies inside the page. `before` and `after` tell how far around it reads.
 */

/*
 * Nearest neighbour. The offset from the pivot is truncated, not the point itself, so that every sample is rounded
 * toward the pivot.
 */
template <class PixelFormat>
struct Nearby {
    typedef PixelFormat Pixel;
    static constexpr sint32 before = 0;
    static constexpr sint32 after = 0;

    explicit Nearby(const PageRec& of) : page(of) {}

    INLINED PointRec ForwardPoint(Real64 a, Real64 b) const
    {
        return {WrapAdd(page.center.x, RealToInteger(a)), WrapAdd(page.center.y, RealToInteger(b))};
    }

    INLINED PointRec MirroredPoint(Real64 a, Real64 b) const
    {
        return {WrapSubtract(page.center.x, RealToInteger(a)), WrapSubtract(page.center.y, RealToInteger(b))};
    }

    template <class Source>
    INLINED bool Forward(const Source& source, Real64 a, Real64 b, uint8* line, sint32 col)
    {
        return Take(source, ForwardPoint(a, b), line, col);
    }

    template <class Source>
    INLINED bool Mirrored(const Source& source, Real64 a, Real64 b, uint8* line, sint32 col)
    {
        return Take(source, MirroredPoint(a, b), line, col);
    }

    template <class Source>
    INLINED bool Take(const Source& source, PointRec p, uint8* line, sint32 col)
    {
        if (!page.Holds(p)) return false;
        Pixel::Show(source.Row(p.y), source.Column(p.x), line, col);
        return true;
    }

    PageRec page;
};

/*
 * The two blending interpolations: the point keeps its fraction, in tenths of a pixel. A mirrored pixel whose forward
 * pixel was accepted takes the complement of that one's tenths instead of its own; this can differ by a tenth, and
 * gives the whole weight to the right-hand neighbour where the fraction is 0. What CalFlag remembers outlives the
 * pair, so that in the extra row of an even height a mirrored pixel is weighted with the tenths of a forward pixel
 * that is not its own. Results depend on all of it.
 */
template <class PixelFormat, class Blend>
struct Tenths {
    typedef PixelFormat Pixel;
    static constexpr sint32 before = Blend::before;
    static constexpr sint32 after = Blend::after;

    explicit Tenths(const PageRec& of) : page(of), CalFlag(false), xt(0), yt(0) {}

    INLINED PointRec ForwardPoint(Real64 a, Real64 b) const
    {
        return {Whole(page.center.x + a), Whole(page.center.y + b)};
    }
    INLINED PointRec MirroredPoint(Real64 a, Real64 b) const
    {
        return {Whole(page.center.x - a), Whole(page.center.y - b)};
    }

    template <class Source>
    INLINED bool Forward(const Source& source, Real64 a, Real64 b, uint8* line, sint32 col)
    {
        const PointRec p = ForwardPoint(a, b);
        CalFlag = page.Holds(p);
        if (!CalFlag) return false;
        xt = TenthsOf(page.center.x + a - p.x);
        yt = TenthsOf(page.center.y + b - p.y);
        Blend::template Store<Pixel>(source, p, xt, yt, Pixel::At(line, col));
        return true;
    }

    template <class Source>
    INLINED bool Mirrored(const Source& source, Real64 a, Real64 b, uint8* line, sint32 col)
    {
        const PointRec p = MirroredPoint(a, b);
        if (!page.Holds(p)) return false;
        const sint32 right = CalFlag ? 10 - xt : TenthsOf(page.center.x - a - p.x);
        const sint32 lower = CalFlag ? 10 - yt : TenthsOf(page.center.y - b - p.y);
        Blend::template Store<Pixel>(source, p, right, lower, Pixel::At(line, col));
        return true;
    }

    /* Only the top-left neighbour has to lie inside the page. A point just left of column 0, or NaN, does not. */
    static sint32 Whole(Real64 coordinate) { return coordinate >= 0.0 ? RealToInteger(coordinate) : -1; }
    static sint32 TenthsOf(Real64 fraction) { return static_cast<sint32>(fraction * 10.0); }

    PageRec page;
    bool CalFlag;
    sint32 xt; /* tenths of the last accepted forward point: the weight of its right neighbour */
    sint32 yt; /* and of its lower one */
};

/*
 * Bilinear: shares of the four pixels around the point by table, first along the two rows, then between them. Each of
 * the three blends rounds by itself.
 */
struct Bilinear {
    static constexpr sint32 before = 0;
    static constexpr sint32 after = 1;

    template <class Pixel, class Source>
    INLINED static void Store(const Source& source, PointRec p, sint32 right, sint32 lower, uint8* to)
    {
        const sint32* LeftShare = ByteTable[10 - right];
        const sint32* RightShare = ByteTable[right];
        const sint32 LeftX = source.Column(p.x);
        const sint32 RightX = source.Column(p.x + 1);
        const uint8* top = source.Row(p.y);
        const uint8* bottom = source.Row(p.y + 1);
        for (sint32 k = 0; k < Pixel::channels; ++k) {
            const sint32 BiTop = LeftShare[Pixel::At(top, LeftX)[k]] + RightShare[Pixel::At(top, RightX)[k]];
            const sint32 BiBotm = LeftShare[Pixel::At(bottom, LeftX)[k]] + RightShare[Pixel::At(bottom, RightX)[k]];
            to[k] = static_cast<uint8>(ByteTable[10 - lower][BiTop] + ByteTable[lower][BiBotm]);
        }
    }
};

/*
 * Cubic convolution over 4 x 4 pixels, first along the rows, then down the columns, in units of 1/1024. The row sums
 * are shifted, not rounded, and not clamped before the second pass.
 */
struct Cubic {
    static constexpr sint32 before = 1;
    static constexpr sint32 after = 2;

    template <class Pixel, class Source>
    INLINED static void Store(const Source& source, PointRec p, sint32 right, sint32 lower, uint8* to)
    {
        const sint32* bcs = bulic[right];
        const sint32* bct = bulic[lower];
        const sint32 cx[4] = {source.Column(p.x - 1), source.Column(p.x), source.Column(p.x + 1),
                              source.Column(p.x + 2)};
        const uint8* const row[4] = {source.Row(p.y - 1), source.Row(p.y), source.Row(p.y + 1),
                                     source.Row(p.y + 2)};
        for (sint32 k = 0; k < Pixel::channels; ++k) {
            sint32 sum = 0;
            for (sint32 i = 0; i < 4; ++i) {
                sint32 row_sum = 0;
                for (sint32 j = 0; j < 4; ++j) row_sum += Pixel::At(row[i], cx[j])[k] * bcs[j];
                sum += bct[i] * (row_sum >> 10);
            }
            if (sum < 0) sum = 0;
            if (sum > 255 * 1024) sum = 255 * 1024;
            to[k] = static_cast<uint8>(sum >> 10);
        }
    }
};

/* ======== Output rows ======== */

/*
 * Two rows in which a kernel draws an output row and its mirror row, with room on both sides for what it writes beyond
 * them. Finished rows go to the output from here, past the cache where the output is large.
 */
struct DraftRec {
    uint8* memory; /* null where rows are drawn in place */
    uint8* row;
    uint8* mirror_row;
    bool streams;
};

static const DraftRec null_draft = {nullptr, nullptr, nullptr, false};

static sint32 Draft_New(DraftRec* draft, const BitmapRec& bitmap)
{
    const int64_t row_size = int64_t{bitmap.BytesPerLine} + kDraftMargin;
    draft->memory = NewArray<uint8>(2 * row_size + kDraftMargin);
    if (draft->memory == nullptr) return QL_OUT_OF_MEMORY;
    draft->row = draft->memory + kDraftMargin;
    draft->mirror_row = draft->row + row_size;
    draft->streams = bitmap.bfSize >= kStreamedSize;
    return QL_SUCCESS;
}

/* ======== The walk ======== */

/* Multiples of the cosine and the sine of the angle. */
struct AngleTablesRec {
    Real64* Cos;
    Real64* Sin;
    uint16* CosParts; /* of the same, see PartOf; null where there is no kernel */
    uint16* SinParts;
    Real64 CosA;
    Real64 SinA;
};

static const AngleTablesRec null_angle_tables = {nullptr, nullptr, nullptr, nullptr, 0.0, 0.0};

static void AngleTables_Done(AngleTablesRec* tables)
{
    std::free(tables->Cos);
    std::free(tables->Sin);
    std::free(tables->CosParts);
    std::free(tables->SinParts);
    *tables = null_angle_tables;
}

/*
 * Fills entries 0 to t by repeated addition, not by multiplication: the truncation of the sums sees the rounding that
 * builds up.
 */
static sint32 AngleTables_New(AngleTablesRec* tables, Real64 angle, sint32 t)
{
    tables->Cos = NewArray<Real64>(int64_t{t} + 1);
    tables->Sin = NewArray<Real64>(int64_t{t} + 1);
    if (tables->Cos == nullptr || tables->Sin == nullptr) {
        AngleTables_Done(tables);
        return QL_OUT_OF_MEMORY;
    }
    const Real64 CosA = std::cos(angle);
    const Real64 SinA = std::sin(angle);
    tables->CosA = CosA;
    tables->SinA = SinA;
    tables->Cos[0] = 0.0;
    tables->Sin[0] = 0.0;
    for (sint32 i = 1; i <= t; ++i) {
        tables->Cos[i] = tables->Cos[i - 1] + CosA;
        tables->Sin[i] = tables->Sin[i - 1] + SinA;
    }
    return QL_SUCCESS;
}

/* The parts of num entries, and room behind them for what kernels read beyond; null when memory runs out. */
static uint16* PartsOf(const Real64* entries, sint32 num)
{
    uint16* parts = NewArray<uint16>(int64_t{num} + kSpareParts);
    if (parts == nullptr) return nullptr;
    for (sint32 i = 0; i < num; ++i) parts[i] = PartOf(entries[i]);
    std::memset(parts + num, 0, kSpareParts * sizeof *parts);
    return parts;
}

/* Adds the parts of entries 0 to t; on failure the caller releases what there is. */
static sint32 AngleTables_FindParts(AngleTablesRec* tables, sint32 t)
{
    tables->CosParts = PartsOf(tables->Cos, t + 1);
    tables->SinParts = PartsOf(tables->Sin, t + 1);
    return tables->CosParts != nullptr && tables->SinParts != nullptr ? QL_SUCCESS : QL_OUT_OF_MEMORY;
}

/*
 * Whether source columns change by at most one from pixel to pixel, whatever rounding does: below 2^25 five roundings
 * add up to less than 2^-24, so that is the least that the cosine must fall short of 1.
 */
static bool IsSteady(const AngleTablesRec& tables, const BitmapRec& source, const BitmapRec& output)
{
    const sint32 limit = 1 << 24;
    return tables.CosA <= 1.0 - 1.0 / limit && source.biWidth <= limit && source.biHeight <= limit &&
           output.biWidth <= limit && output.biHeight <= limit;
}

/*
 * Whether the rows lie one behind the other in the image's block, each at least as long as a vector; then no vector that
 * starts in one row reaches beyond the next. Records may be made by hand, with rows anywhere.
 */
static bool AreRowsJoined(const BitmapRec& bitmap)
{
    const sint32 longest_vector = 64;
    const uint8* row = bitmap.buffer;
    bool joined = bitmap.BytesPerLine >= longest_vector;
    for (sint32 y = 0; y < bitmap.biHeight && joined; ++y, row += bitmap.BytesPerLine)
        joined = bitmap.ScanLine[y] == row;
    return joined;
}

/* The output pixel that the pivot lands on. */
static PointRec CenterOf(sint32 biWidth, sint32 biHeight) { return {(biWidth - 1) >> 1, (biHeight - 1) >> 1}; }

/*
 * Walks the output from its centre outwards, two streams of pixels at a time: the forward one to the right, and in the
 * mirror row the mirrored one to the left. An even size has one column more on the right and one row more at the end,
 * which have no mirror.
 *
 * A row and its mirror row are drawn by two pairs of streams, one after the other. Streams of both pairs meet in the
 * centre row and the centre column only, and there on the very same source point; so it makes no difference whether
 * the second pair follows the first step by step or as a whole.
 */
template <class Sampler, class Source>
struct Walk {
    typedef typename Sampler::Pixel Pixel;

    Sampler sampler;
    Source source;
    const BitmapRec& bitmap;
    const AngleTablesRec& tables;
    const uint8* color;            /* for pixels outside the page; null where the output is painted before */
    const RotateKernelRec* kernel; /* for pieces that are proved to lie inside; null to go without */
    PointRec DestCenter;
    bool steady; /* source columns are sure to change by at most one a step */
    bool joined; /* the source's rows follow each other in one block */
    DraftRec draft;

    /* Two streams from the centre column outwards, and what the tables' entries of the row add to their points. */
    struct Pair {
        uint8* forward_line;
        uint8* mirrored_line;
        Real64 across;
        Real64 down;
        sint32 ahead; /* source rows that the forward stream moves by in a few output rows, about */
    };

    /* NOLINTBEGIN(clang-analyzer-core.UndefinedBinaryOperatorResult): it does not see the tables filled */
    Real64 Across(const Pair& pair, sint32 h) const { return tables.Cos[h] + pair.across; }
    Real64 Down(const Pair& pair, sint32 h) const { return pair.down - tables.Sin[h]; }
    /* NOLINTEND(clang-analyzer-core.UndefinedBinaryOperatorResult) */

    void Leave(uint8* line, sint32 col) const
    {
        if (color != nullptr) Pixel::Fill(line, col, color);
    }

    INLINED void DrawForward(const Pair& pair, sint32 h)
    {
        const sint32 col = DestCenter.x + h;
        if (!sampler.Forward(source, Across(pair, h), Down(pair, h), pair.forward_line, col))
            Leave(pair.forward_line, col);
    }

    INLINED void DrawMirrored(const Pair& pair, sint32 h)
    {
        const sint32 col = DestCenter.x - h;
        if (!sampler.Mirrored(source, Across(pair, h), Down(pair, h), pair.mirrored_line, col))
            Leave(pair.mirrored_line, col);
    }

    /* Works on copies: the compiler has to expect that a pixel is written into anything it can reach by a pointer. */
    void DrawPlain(const Pair& streams, sint32 h, sint32 num)
    {
        const Pair pair = streams;
        Walk walk = *this;
        for (const sint32 end = h + num; h < end; ++h) {
            walk.DrawForward(pair, h);
            walk.DrawMirrored(pair, h);
        }
        sampler = walk.sampler;
    }

    /*
     * With a kernel, a stretch from h on is proved to lie on the page, as long as possible, and drawn by it; where not
     * even the first point is proved, or only little is left, a few steps are drawn without.
     */
    void DrawPair(const Pair& pair, sint32* proved)
    {
        const sint32 steps = DestCenter.x + 1;
        if (kernel == nullptr) return DrawPlain(pair, 0, steps);
        for (sint32 h = 0; h < steps;) {
            const sint32 left = steps - h;
            const sint32 num = left > kPlainSteps ? ProvedSteps(pair, h, left, h == 0 ? *proved : kPlainSteps) : 0;
            if (h == 0) *proved = num;
            DrawByKernel(pair, h, num);
            h += num;
            if (num >= kPlainSteps) continue;
            const sint32 plain = steps - h < kPlainSteps ? steps - h : kPlainSteps;
            DrawPlain(pair, h, plain);
            h += plain;
        }
    }

    /*
     * The largest number of steps from h on, up to `most`, that can be proved. What holds for a stretch holds for a
     * shorter one, so this is a search between what is proved and what is not; the guess is mostly right or nearly so.
     */
    sint32 ProvedSteps(const Pair& pair, sint32 h, sint32 most, sint32 guess) const
    {
        sint32 proved = 0;
        sint32 unproved = most + 1;
        for (sint32 stride = 1; proved + 1 < unproved; stride = stride < most ? 2 * stride : most) {
            if (guess <= proved || guess >= unproved) guess = proved + (unproved - proved) / 2;
            if (IsProved(pair, h, guess)) {
                proved = guess;
                guess += stride < unproved - guess ? stride : 0;
            } else {
                unproved = guess;
                guess -= stride;
            }
        }
        return proved;
    }

    /*
     * Tables, sums and truncation are monotone, so that the points of a stream lie within the box of its end points.
     */
    bool IsProved(const Pair& pair, sint32 h, sint32 num) const
    {
        const Real64 a1 = Across(pair, h);
        const Real64 b1 = Down(pair, h);
        const Real64 a2 = Across(pair, h + num - 1);
        const Real64 b2 = Down(pair, h + num - 1);
        return HoldsBox(sampler.ForwardPoint(a1, b1), sampler.ForwardPoint(a2, b2), 0, kernel->overrun) &&
               HoldsBox(sampler.MirroredPoint(a1, b1), sampler.MirroredPoint(a2, b2), kernel->overrun, 0);
    }

    /*
     * Whether all points of the box with corners p and q lie on the page, and whether all pixels that are read for
     * them, so many columns more on the left and the right among them, lie in the source.
     */
    bool HoldsBox(PointRec p, PointRec q, sint32 left_overrun, sint32 right_overrun) const
    {
        const BitmapRec& image = *source.bitmap;
        const RowSeckRec& mask = *sampler.page.mask;
        const sint32 left = p.x < q.x ? p.x : q.x;
        const sint32 right = p.x < q.x ? q.x : p.x;
        const sint32 top = p.y < q.y ? p.y : q.y;
        const sint32 bottom = p.y < q.y ? q.y : p.y;
        if (left < Sampler::before || right >= image.biWidth - Sampler::after) return false;
        if (top < Sampler::before || bottom >= image.biHeight - Sampler::after) return false;
        /* What a vector reads beyond one row it may take from the next, if there is one. */
        const bool row_before = joined && top > Sampler::before;
        const bool row_after = joined && bottom < image.biHeight - Sampler::after - 1;
        if (left < Sampler::before + left_overrun && !row_before) return false;
        if (right >= image.biWidth - Sampler::after - right_overrun && !row_after) return false;
        if (top < mask.top || bottom > mask.bottom) return false;
        sint32 widest_left = INT32_MIN;
        sint32 least_right = INT32_MAX;
        for (sint32 y = top; y <= bottom; ++y) {
            widest_left = mask.seck[y].left > widest_left ? mask.seck[y].left : widest_left;
            least_right = mask.seck[y].right < least_right ? mask.seck[y].right : least_right;
        }
        return widest_left <= left && right <= least_right;
    }

    RotatePieceRec PieceOf(const Pair& pair, sint32 h, sint32 num) const
    {
        RotatePieceRec piece = {};
        piece.source = source.bitmap;
        piece.center = sampler.page.center;
        piece.Cos = tables.Cos + h;
        piece.Sin = tables.Sin + h;
        piece.CosParts = tables.CosParts + h;
        piece.SinParts = tables.SinParts + h;
        piece.CosA = tables.CosA;
        piece.SinA = tables.SinA;
        piece.steady = steady;
        piece.across = pair.across;
        piece.down = pair.down;
        piece.num = num;
        piece.forward_line = pair.forward_line;
        piece.mirrored_line = pair.mirrored_line;
        piece.forward_col = DestCenter.x + h;
        piece.mirrored_col = DestCenter.x - h;
        piece.width = bitmap.biWidth;
        piece.ahead = pair.ahead;
        return piece;
    }

    void DrawByKernel(const Pair& pair, sint32 h, sint32 num) const
    {
        for (const sint32 end = h + num; h < end; h += kPieceSteps)
            kernel->RotatePiece(PieceOf(pair, h, end - h < kPieceSteps ? end - h : kPieceSteps));
    }

    void Finish(uint8* row, const uint8* line) const
    {
        const size_t size = static_cast<size_t>(bitmap.BytesPerLine);
        if (draft.streams)
            kernel->StreamRow(row, line, size);
        else
            std::memcpy(row, line, size);
    }

    void DrawOutput()
    {
        const bool WidthFlag = bitmap.biWidth % 2 == 0;
        const bool HeightFlag = bitmap.biHeight % 2 == 0;
        const sint32 extra = DestCenter.x + 1; /* the step of the extra column */
        const sint32 ahead = tables.CosA < 0.0 ? -kRowsAhead : kRowsAhead;
        sint32 proved[2] = {extra, extra};
        for (sint32 v = 0; v <= DestCenter.y; ++v) {
            uint8* row1 = bitmap.ScanLine[DestCenter.y + v];
            uint8* row2 = bitmap.ScanLine[DestCenter.y - v];
            uint8* line1 = draft.memory != nullptr ? draft.row : row1;
            uint8* line2 = draft.memory == nullptr ? row2 : v > 0 ? draft.mirror_row : draft.row;
            const Pair first = {line1, line2, tables.Sin[v], tables.Cos[v], ahead};
            const Pair second = {line2, line1, -tables.Sin[v], -tables.Cos[v], -ahead};
            DrawPair(first, &proved[0]);
            DrawPair(second, &proved[1]);
            if (WidthFlag) {
                DrawForward(first, extra);
                DrawForward(second, extra);
            }
            if (draft.memory == nullptr) continue;
            Finish(row1, line1);
            if (v > 0) Finish(row2, line2);
        }

        if (!HeightFlag) return;
        const sint32 v = DestCenter.y + 1;
        uint8* line1 = bitmap.ScanLine[bitmap.biHeight - 1];
        const Pair first = {line1, nullptr, tables.Sin[v], tables.Cos[v], 0};
        const Pair second = {nullptr, line1, -tables.Sin[v], -tables.Cos[v], 0};
        for (sint32 h = 0; h <= DestCenter.x; ++h) {
            DrawForward(first, h);
            DrawMirrored(second, h);
        }
        if (WidthFlag) DrawForward(first, extra);
    }
};

/* ======== The seven rotations ======== */

/*
 * Makes the output and walks it. Without a kernel it is painted before; with one, only what no sample covers gets the
 * colour, except at 1 bit, where samples show through the paint.
 */
template <class Sampler, class Source>
static sint32 RotateSource(const Source& source, BitmapRec* dest, const RowSeckRec* RowSeck, Real64 angle,
                           PointRec SourceCenter, sint32 biWidth, sint32 biHeight, const uint8* color,
                           const RotateKernelRec* kernel)
{
    typedef typename Sampler::Pixel Pixel;
    BitmapRec bitmap = null_bitmap;
    AngleTablesRec tables = null_angle_tables;
    DraftRec draft = null_draft;
    sint32 error_code = Bitmap_New(&bitmap, biWidth, biHeight, Pixel::bits, 0);
    if (error_code != QL_SUCCESS) return error_code;

    const PointRec DestCenter = CenterOf(biWidth, biHeight);
    const sint32 farthest = DestCenter.x > DestCenter.y ? DestCenter.x : DestCenter.y;
    const bool painted = kernel == nullptr || Pixel::bits == 1;
    error_code = AngleTables_New(&tables, angle, farthest + kSpareSteps);
    if (error_code == QL_SUCCESS && kernel != nullptr)
        error_code = AngleTables_FindParts(&tables, farthest + kSpareSteps);
    if (error_code == QL_SUCCESS && !painted) error_code = Draft_New(&draft, bitmap);
    if (error_code != QL_SUCCESS) {
        AngleTables_Done(&tables);
        Bitmap_Done(&bitmap);
        return error_code;
    }
    if (painted) Pixel::Paint(bitmap, color);
    Walk<Sampler, Source> walk = {Sampler(PageRec{RowSeck, SourceCenter}),
                                  source,
                                  bitmap,
                                  tables,
                                  painted ? nullptr : color,
                                  kernel,
                                  DestCenter,
                                  IsSteady(tables, *source.bitmap, bitmap),
                                  kernel != nullptr && AreRowsJoined(*source.bitmap),
                                  draft};
    walk.DrawOutput();
    std::free(draft.memory);
    AngleTables_Done(&tables);
    *dest = bitmap;
    return QL_SUCCESS;
}

/* `source` is the enlarged one; everything else is in terms of the source without its border. */
template <class Sampler>
static sint32 RotatePic(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                        PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotateSource<Sampler>(EnlargedSource{source}, dest, RowSeck, angle, SourceCenter, biWidth, biHeight,
                                 color, nullptr);
}

/* The same from the source itself, without a border and with a kernel. */
template <class Sampler>
static sint32 RotatePicByKernel(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color,
                                const RotateKernelRec* kernel)
{
    return RotateSource<Sampler>(ClampedSource{source}, dest, RowSeck, angle, SourceCenter, biWidth, biHeight,
                                 color, kernel);
}

static sint32 Rotate24bitsPicNearby(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                    PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Nearby<Pixel24>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight, color);
}

static sint32 Rotate8bitsPicNearby(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                   PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Nearby<Pixel8>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight, color);
}

static sint32 Rotate1bitsPicNearby(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                   PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Nearby<Pixel1>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight, color);
}

static sint32 Rotate24bitsPicBilinear(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                      PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Tenths<Pixel24, Bilinear>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight,
                                                color);
}

static sint32 Rotate8bitsPicBilinear(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                     PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Tenths<Pixel8, Bilinear>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight,
                                               color);
}

static sint32 Rotate24bitsPicCubic(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                   PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Tenths<Pixel24, Cubic>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight, color);
}

static sint32 Rotate8bitsPicCubic(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                                  PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    return RotatePic<Tenths<Pixel8, Cubic>>(source, dest, RowSeck, angle, SourceCenter, biWidth, biHeight, color);
}

/* ======== RotateBitmap ======== */

typedef sint32 (*RotatePicFun)(BitmapRec*, BitmapRec*, RowSeckRec*, Real64, PointRec, sint32, sint32, uint8*);
typedef sint32 (*RotatePicByKernelFun)(BitmapRec*, BitmapRec*, RowSeckRec*, Real64, PointRec, sint32, sint32,
                                       uint8*, const RotateKernelRec*);

/* A rotation, plain and with its kernel, and how far beyond an accepted pixel it reads. */
struct RotationRec {
    RotatePicFun RotatePic;
    RotatePicByKernelFun RotatePicByKernel;
    RotateKernelRec RotateKernelsRec::*kernel;
    sint32 reach;
};

/* One-bit images know nearest neighbour only. */
static const RotationRec& RotationOf(sint32 biBitCount, sint32 interpolation)
{
    static constexpr RotationRec rotations[3][3] = {
        {{Rotate24bitsPicCubic, RotatePicByKernel<Tenths<Pixel24, Cubic>>, &RotateKernelsRec::Cubic24,
          Cubic::after},
         {Rotate24bitsPicBilinear, RotatePicByKernel<Tenths<Pixel24, Bilinear>>, &RotateKernelsRec::Bilinear24,
          Bilinear::after},
         {Rotate24bitsPicNearby, RotatePicByKernel<Nearby<Pixel24>>, &RotateKernelsRec::Nearby24, 0}},
        {{Rotate8bitsPicCubic, RotatePicByKernel<Tenths<Pixel8, Cubic>>, &RotateKernelsRec::Cubic8, Cubic::after},
         {Rotate8bitsPicBilinear, RotatePicByKernel<Tenths<Pixel8, Bilinear>>, &RotateKernelsRec::Bilinear8,
          Bilinear::after},
         {Rotate8bitsPicNearby, RotatePicByKernel<Nearby<Pixel8>>, &RotateKernelsRec::Nearby8, 0}},
        {{Rotate1bitsPicNearby, RotatePicByKernel<Nearby<Pixel1>>, &RotateKernelsRec::Nearby1, 0}},
    };
    if (biBitCount == 1) return rotations[2][0];
    return rotations[biBitCount == 24 ? 0 : 1][interpolation - 1];
}

/* The kernel that serves a rotation, or null: at 1 bit a kernel takes 64 pixels at a time. */
static const RotateKernelRec* KernelFor(const RotationRec& rotation, const BitmapRec& source, sint32 biWidth)
{
    const KernelsRec* kernels = KernelsOf(ChosenLevel());
    if (kernels == nullptr) return nullptr;
    if (source.biBitCount == 1 && (source.biWidth < 64 || biWidth < 64)) return nullptr;
    return &(kernels->rotate.*rotation.kernel);
}

/*
 * The walk trusts the spans. Where one reaches beyond the border of the enlarged source, *mask gets a copy of them that
 * is cut there, for the caller to free, so that no mask can send a sample outside memory; what lies within the border is
 * sampled as ever. Left ends need no cut, since a sample left of column 0 is never accepted.
 */
static sint32 LimitSpans(const RowSeckRec& RowSeck, sint32 last_col, RowSeckRec* mask)
{
    *mask = RowSeck;
    bool inside = true;
    for (sint32 y = RowSeck.top; y <= RowSeck.bottom; ++y) inside = inside && RowSeck.seck[y].right <= last_col;
    if (inside) return QL_SUCCESS;

    LineSeckRec* cut = NewArray<LineSeckRec>(int64_t{RowSeck.bottom} + 1);
    if (cut == nullptr) return QL_OUT_OF_MEMORY;
    for (sint32 y = RowSeck.top; y <= RowSeck.bottom; ++y) {
        const LineSeckRec span = RowSeck.seck[y];
        cut[y] = {span.left, span.right < last_col ? span.right : last_col};
    }
    mask->seck = cut;
    return QL_SUCCESS;
}

static sint32 CheckRotation(const BitmapRec& source, const RowSeckRec& RowSeck, PointRec SourceCenter,
                            sint32 biWidth, sint32 biHeight, sint32 interpolation)
{
    if (biWidth < 1 || biHeight < 1) return QL_BAD_ARGUMENT;
    if (SourceCenter.x < 0 || SourceCenter.x >= source.biWidth) return QL_BAD_ARGUMENT;
    if (SourceCenter.y < 0 || SourceCenter.y >= source.biHeight) return QL_BAD_ARGUMENT;
    if (interpolation < 1 || interpolation > 3) return QL_BAD_ARGUMENT;
    if (RowSeck.top < 0 || RowSeck.bottom >= source.biHeight) return QL_BAD_ARGUMENT;
    if (RowSeck.top >= RowSeck.bottom || RowSeck.seck == nullptr) return QL_BAD_ARGUMENT;
    return QL_SUCCESS;
}

sint32 RotateBitmap(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle, PointRec SourceCenter,
                    sint32 biWidth, sint32 biHeight, sint32 interpolation, uint8* color)
{
    BitmapRec bitmap = null_bitmap;
    if (source == nullptr || dest == nullptr || RowSeck == nullptr || color == nullptr) return QL_BAD_ARGUMENT;
    sint32 error_code = Bitmap_Check(source);
    if (error_code != QL_SUCCESS) return error_code;
    error_code = CheckRotation(*source, *RowSeck, SourceCenter, biWidth, biHeight, interpolation);
    if (error_code != QL_SUCCESS) return error_code;

    const RotationRec& rotation = RotationOf(source->biBitCount, interpolation);
    const RotateKernelRec* kernel = KernelFor(rotation, *source, biWidth);
    if (kernel == nullptr)
        error_code = AddBorderPointToBitmap(source, kFrame, kFrame, &bitmap);
    else if (!CanEnlarge(*source, kFrame, kFrame)) /* refused at every level alike */
        error_code = QL_OUT_OF_MEMORY;
    if (error_code != QL_SUCCESS) return error_code;

    RowSeckRec mask = null_row_seck;
    const sint32 last_col = source->biWidth + kFrame - 1 - rotation.reach;
    error_code = LimitSpans(*RowSeck, last_col, &mask);
    /* What goes wrong inside a rotation is not passed on: callers see 0 and an untouched dest. */
    if (error_code == QL_SUCCESS && kernel == nullptr)
        rotation.RotatePic(&bitmap, dest, &mask, angle, SourceCenter, biWidth, biHeight, color);
    else if (error_code == QL_SUCCESS)
        rotation.RotatePicByKernel(source, dest, &mask, angle, SourceCenter, biWidth, biHeight, color, kernel);
    if (mask.seck != RowSeck->seck) std::free(mask.seck);
    Bitmap_Done(&bitmap);
    return error_code;
}
