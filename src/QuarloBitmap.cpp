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
 *   WalkOutput          the order of the output pixels; it is part of the result, since the centre row and column are
 *                       written more than once and since a mirrored pixel may reuse what its forward pixel computed
 *   Nearby, Tenths      samplers: what one pixel gets from its pair of table sums
 *   Bilinear, Cubic     how Tenths blends neighbours with weights in tenths
 *   Pixel1, 8, 24       pixel formats
 *
 * The source's border of 8 pixels lets a sampler read neighbours without a test.
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

static constexpr sint32 kFrame = 8;       /* pixels of border on each side of the enlarged source */
static constexpr sint32 kSpareSteps = 10; /* entries of an angle table beyond the farthest output pixel */

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

    const int64_t biWidth = int64_t{source->biWidth} + 2 * int64_t{width_extend};
    const int64_t biHeight = int64_t{source->biHeight} + 2 * int64_t{height_extend};
    if (biWidth > INT32_MAX || biHeight > INT32_MAX) return QL_OUT_OF_MEMORY;
    error_code =
        Bitmap_New(&bitmap, static_cast<sint32>(biWidth), static_cast<sint32>(biHeight), source->biBitCount, 0);
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

/* ======== Samplers ======== */

/* Where samples come from. Coordinates are those of the source without its border. */
struct SampleSourceRec {
    const BitmapRec* padded;
    const RowSeckRec* mask;
    PointRec center;

    /* Whether a point lies inside the page; the spans are trusted to lie inside the source. */
    bool Holds(sint32 x, sint32 y) const
    {
        return x >= 0 && y >= 0 && mask->top <= y && y <= mask->bottom && mask->seck[y].left <= x &&
               x <= mask->seck[y].right;
    }

    const uint8* Line(sint32 y) const { return padded->ScanLine[y + kFrame]; }
};

/*
 * Nearest neighbour. The offset from the pivot is truncated, not the point itself, so that every sample is rounded
 * toward the pivot.
 */
template <class Pixel>
struct Nearby {
    typedef Pixel Format;

    explicit Nearby(const SampleSourceRec& source) : from(source) {}

    void Forward(Real64 a, Real64 b, uint8* line, sint32 col)
    {
        Take(WrapAdd(from.center.x, RealToInteger(a)), WrapAdd(from.center.y, RealToInteger(b)), line, col);
    }

    void Mirrored(Real64 a, Real64 b, uint8* line, sint32 col)
    {
        Take(WrapSubtract(from.center.x, RealToInteger(a)), WrapSubtract(from.center.y, RealToInteger(b)), line,
             col);
    }

    void Take(sint32 x, sint32 y, uint8* line, sint32 col)
    {
        if (from.Holds(x, y)) Pixel::Show(from.Line(y), x + kFrame, line, col);
    }

    SampleSourceRec from;
};

/*
 * The two blending interpolations: the point keeps its fraction, in tenths of a pixel. A mirrored pixel whose forward
 * pixel was accepted takes the complement of that one's tenths instead of its own; this can differ by a tenth, and
 * gives the whole weight to the right-hand neighbour where the fraction is 0. What CalFlag remembers outlives the
 * pair, so that in the extra row of an even height a mirrored pixel is weighted with the tenths of a forward pixel
 * that is not its own. Results depend on all of it.
 */
template <class Pixel, class Blend>
struct Tenths {
    typedef Pixel Format;

    explicit Tenths(const SampleSourceRec& source) : from(source), CalFlag(false), xt(0), yt(0) {}

    void Forward(Real64 a, Real64 b, uint8* line, sint32 col)
    {
        CalFlag = false;
        const Real64 x1 = from.center.x + a;
        const Real64 y1 = from.center.y + b;
        const sint32 LeftX = RealToInteger(x1);
        const sint32 TopY = RealToInteger(y1);
        if (!Accepts(x1, y1, LeftX, TopY)) return;
        CalFlag = true;
        xt = TenthsOf(x1 - LeftX);
        yt = TenthsOf(y1 - TopY);
        Blend::template Store<Pixel>(*from.padded, LeftX + kFrame, TopY + kFrame, xt, yt, Pixel::At(line, col));
    }

    void Mirrored(Real64 a, Real64 b, uint8* line, sint32 col)
    {
        const Real64 x2 = from.center.x - a;
        const Real64 y2 = from.center.y - b;
        const sint32 LeftX = RealToInteger(x2);
        const sint32 TopY = RealToInteger(y2);
        if (!Accepts(x2, y2, LeftX, TopY)) return;
        const sint32 right = CalFlag ? 10 - xt : TenthsOf(x2 - LeftX);
        const sint32 lower = CalFlag ? 10 - yt : TenthsOf(y2 - TopY);
        Blend::template Store<Pixel>(*from.padded, LeftX + kFrame, TopY + kFrame, right, lower,
                                     Pixel::At(line, col));
    }

    static sint32 TenthsOf(Real64 fraction) { return static_cast<sint32>(fraction * 10.0); }

    /*
     * Only the top-left neighbour has to lie inside the page. A point just left of column 0 is outside, though it
     * truncates to 0.
     */
    bool Accepts(Real64 x, Real64 y, sint32 LeftX, sint32 TopY) const
    {
        return x >= 0.0 && y >= 0.0 && from.Holds(LeftX, TopY);
    }

    SampleSourceRec from;
    bool CalFlag;
    sint32 xt; /* tenths of the last accepted forward point: the weight of its right neighbour */
    sint32 yt; /* and of its lower one */
};

/*
 * Bilinear: shares of the four pixels around the point by table, first along the two rows, then between them. Each of
 * the three blends rounds by itself.
 */
struct Bilinear {
    static constexpr sint32 reach = 1; /* pixels that it reads right of and below the accepted one */

    template <class Pixel>
    static void Store(const BitmapRec& padded, sint32 LeftX, sint32 TopY, sint32 right, sint32 lower, uint8* to)
    {
        const sint32* LeftShare = ByteTable[10 - right];
        const sint32* RightShare = ByteTable[right];
        const uint8* top = Pixel::At(padded.ScanLine[TopY], LeftX);
        const uint8* bottom = Pixel::At(padded.ScanLine[TopY + 1], LeftX);
        for (sint32 k = 0; k < Pixel::channels; ++k) {
            const sint32 BiTop = LeftShare[top[k]] + RightShare[top[k + Pixel::channels]];
            const sint32 BiBotm = LeftShare[bottom[k]] + RightShare[bottom[k + Pixel::channels]];
            to[k] = static_cast<uint8>(ByteTable[10 - lower][BiTop] + ByteTable[lower][BiBotm]);
        }
    }
};

/*
 * Cubic convolution over 4 x 4 pixels, first along the rows, then down the columns, in units of 1/1024. The row sums
 * are shifted, not rounded, and not clamped before the second pass.
 */
struct Cubic {
    static constexpr sint32 reach = 2;

    template <class Pixel>
    static void Store(const BitmapRec& padded, sint32 LeftX, sint32 TopY, sint32 right, sint32 lower, uint8* to)
    {
        const sint32* bcs = bulic[right];
        const sint32* bct = bulic[lower];
        for (sint32 k = 0; k < Pixel::channels; ++k) {
            sint32 sum = 0;
            for (sint32 i = 0; i < 4; ++i) {
                const uint8* p = Pixel::At(padded.ScanLine[TopY - 1 + i], LeftX - 1) + k;
                sint32 row_sum = 0;
                for (sint32 j = 0; j < 4; ++j) row_sum += p[j * Pixel::channels] * bcs[j];
                sum += bct[i] * (row_sum >> 10);
            }
            if (sum < 0) sum = 0;
            if (sum > 255 * 1024) sum = 255 * 1024;
            to[k] = static_cast<uint8>(sum >> 10);
        }
    }
};

/* ======== The walk ======== */

/* Multiples of the cosine and the sine of the angle. */
struct AngleTablesRec {
    Real64* Cos;
    Real64* Sin;
};

static const AngleTablesRec null_angle_tables = {nullptr, nullptr};

static void AngleTables_Done(AngleTablesRec* tables)
{
    std::free(tables->Cos);
    std::free(tables->Sin);
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
    tables->Cos[0] = 0.0;
    tables->Sin[0] = 0.0;
    for (sint32 i = 1; i <= t; ++i) {
        tables->Cos[i] = tables->Cos[i - 1] + CosA;
        tables->Sin[i] = tables->Sin[i - 1] + SinA;
    }
    return QL_SUCCESS;
}

/* The output pixel that the pivot lands on. */
static PointRec CenterOf(sint32 biWidth, sint32 biHeight) { return {(biWidth - 1) >> 1, (biHeight - 1) >> 1}; }

/*
 * Walks the output from its centre outwards, four pixels a step: h columns and v rows off the centre in all four
 * combinations of signs. An even size has one column more on the right and one row more at the end, which have no
 * mirror.
 */
/* NOLINTBEGIN(clang-analyzer-core.UndefinedBinaryOperatorResult): the analyzer does not see the tables filled */
template <class Sampler>
static void WalkOutput(Sampler sampler, const BitmapRec& bitmap, const AngleTablesRec& tables)
{
    const PointRec DestCenter = CenterOf(bitmap.biWidth, bitmap.biHeight);
    const bool WidthFlag = bitmap.biWidth % 2 == 0;
    const bool HeightFlag = bitmap.biHeight % 2 == 0;
    const Real64* Cos = tables.Cos;
    const Real64* Sin = tables.Sin;
    const sint32 last_col = bitmap.biWidth - 1;

    for (sint32 v = 0; v <= DestCenter.y; ++v) {
        uint8* line1 = bitmap.ScanLine[DestCenter.y + v];
        uint8* line2 = bitmap.ScanLine[DestCenter.y - v];
        for (sint32 h = 0; h <= DestCenter.x; ++h) {
            const sint32 right = DestCenter.x + h;
            const sint32 left = DestCenter.x - h;
            Real64 a = Cos[h] + Sin[v];
            Real64 b = Cos[v] - Sin[h];
            sampler.Forward(a, b, line1, right);
            sampler.Mirrored(a, b, line2, left);
            a = Cos[h] - Sin[v];
            b = -Sin[h] - Cos[v];
            sampler.Forward(a, b, line2, right);
            sampler.Mirrored(a, b, line1, left);
        }
        if (WidthFlag) {
            const sint32 h = DestCenter.x + 1;
            sampler.Forward(Cos[h] + Sin[v], Cos[v] - Sin[h], line1, last_col);
            sampler.Forward(Cos[h] - Sin[v], -Sin[h] - Cos[v], line2, last_col);
        }
    }

    if (!HeightFlag) return;
    const sint32 v = DestCenter.y + 1;
    uint8* line1 = bitmap.ScanLine[bitmap.biHeight - 1];
    for (sint32 h = 0; h <= DestCenter.x; ++h) {
        sampler.Forward(Cos[h] + Sin[v], Cos[v] - Sin[h], line1, DestCenter.x + h);
        sampler.Mirrored(Cos[h] - Sin[v], -Sin[h] - Cos[v], line1, DestCenter.x - h);
    }
    const sint32 h = DestCenter.x + 1;
    if (WidthFlag) sampler.Forward(Cos[h] + Sin[v], Cos[v] - Sin[h], line1, last_col);
}

/* NOLINTEND(clang-analyzer-core.UndefinedBinaryOperatorResult) */

/* ======== The seven rotations ======== */

/* Makes the output, paints it and walks it. `source` is the enlarged one; everything else is in its own terms. */
template <class Sampler>
static sint32 RotatePic(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle,
                        PointRec SourceCenter, sint32 biWidth, sint32 biHeight, uint8* color)
{
    typedef typename Sampler::Format Pixel;
    BitmapRec bitmap = null_bitmap;
    AngleTablesRec tables = null_angle_tables;
    sint32 error_code = Bitmap_New(&bitmap, biWidth, biHeight, Pixel::bits, 0);
    if (error_code != QL_SUCCESS) return error_code;

    const PointRec DestCenter = CenterOf(biWidth, biHeight);
    const sint32 farthest = DestCenter.x > DestCenter.y ? DestCenter.x : DestCenter.y;
    error_code = AngleTables_New(&tables, angle, farthest + kSpareSteps);
    if (error_code != QL_SUCCESS) {
        Bitmap_Done(&bitmap);
        return error_code;
    }
    Pixel::Paint(bitmap, color);
    WalkOutput(Sampler(SampleSourceRec{source, RowSeck, SourceCenter}), bitmap, tables);
    AngleTables_Done(&tables);
    *dest = bitmap;
    return QL_SUCCESS;
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

/* A rotation, and how far beyond an accepted pixel it reads. */
struct RotationRec {
    RotatePicFun RotatePic;
    sint32 reach;
};

/* One-bit images know nearest neighbour only. */
static RotationRec RotationOf(sint32 biBitCount, sint32 interpolation)
{
    static const RotationRec rotations[2][3] = {
        {{Rotate24bitsPicCubic, Cubic::reach},
         {Rotate24bitsPicBilinear, Bilinear::reach},
         {Rotate24bitsPicNearby, 0}},
        {{Rotate8bitsPicCubic, Cubic::reach}, {Rotate8bitsPicBilinear, Bilinear::reach}, {Rotate8bitsPicNearby, 0}},
    };
    if (biBitCount == 1) return {Rotate1bitsPicNearby, 0};
    return rotations[biBitCount == 24 ? 0 : 1][interpolation - 1];
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
    error_code = AddBorderPointToBitmap(source, kFrame, kFrame, &bitmap);
    if (error_code != QL_SUCCESS) return error_code;

    const RotationRec rotation = RotationOf(bitmap.biBitCount, interpolation);
    RowSeckRec mask = null_row_seck;
    const sint32 last_col = bitmap.biWidth - kFrame - 1 - rotation.reach;
    error_code = LimitSpans(*RowSeck, last_col, &mask);
    /* What goes wrong inside a rotation is not passed on: callers see 0 and an untouched dest. */
    if (error_code == QL_SUCCESS)
        rotation.RotatePic(&bitmap, dest, &mask, angle, SourceCenter, biWidth, biHeight, color);
    if (mask.seck != RowSeck->seck) std::free(mask.seck);
    Bitmap_Done(&bitmap);
    return error_code;
}
