/*
 * Rotate.h - rotation by any angle with vectors, a piece of two streams at a time.
 *
 * The method. Along a stream, source points advance by a step close to one column and a small share of a row. So the
 * source pixels form runs: stretches that lie side by side in one source row while the output pixels lie side by side
 * too. At 2 degrees a run is some 28 pixels long. The tenths of all points of a piece are computed first, several at a
 * time; then each stream is followed run by run, and a run is drawn a vector at a time: its neighbours are loaded
 * straight from their source rows, blended and stored.
 *
 * A vector that reaches beyond its run carries pixels of no meaning. They are stored as well: streams run outwards and
 * so does the excess, onto pixels which the next run or piece will write, or off the row. Runs of the mirrored stream
 * go to the left, in source and output alike; there a vector ends where a forward one would begin.
 *
 * Why it is exact. Since every point is proved inside, every forward point is accepted, and so every mirrored one takes
 * the complement of its tenths. Tenths come from 16-bit parts of the coordinates where these tell them for sure, else
 * from the operations of the plain code in the same order, on doubles, without contraction; so do the columns and rows
 * of runs. A run's end is estimated from the slope, and then shifted until the points on both sides of it prove it: rows
 * and columns are monotone along a stream. The blends are integer arithmetic that equals the tables for every byte:
 *
 *   Bilinear    ByteTable[k][v] for k from 1 to 9 is floor(u * k / 10) with u = min(v + 1, 255), and that is the high
 *               half of u * 6554 * k for all of them. Row 10 is v, one more from 222 to 229; it takes the place of the
 *               blend where the other neighbour has no share.
 *   Cubic       a weight is 64 * high + low with low from -32 to 31. A row's sum is then 64 * H + L, and
 *               floor((64 * H + L) / 1024) = floor((H + floor(L / 64)) / 16), all within 16 bits. The columns are
 *               summed in 32 bits, and packing with saturation does what clamping before the shift does.
 *
 * A vocabulary V gives: Bytes (size of them to a vector), Words (`words` 16-bit numbers), Mask, and the operations on
 * them; and Shorter, one of shorter vectors for the rest of a run, or itself.
 */
#ifndef QUARLO_SRC_KERNELS_ROTATE_H
#define QUARLO_SRC_KERNELS_ROTATE_H

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "BitmapConversionTable.h"
#include "kernels/Kernels.h"

namespace
{

/* ---- Which way a stream runs ---- */

struct Forward {
    static constexpr bool mirrored = false;
    static constexpr sint32 sign = 1;
};

struct Mirrored {
    static constexpr bool mirrored = true;
    static constexpr sint32 sign = -1;
};

/* ---- Runs ---- */

/*
 * A path gives the real coordinates that are cut to pixels, step by step: for nearest neighbour the offset from the
 * pivot, the same for both streams; for the blending interpolations the point itself.
 */
struct OffsetPath {
    static constexpr sint32 sign = 1;
    const RotatePieceRec& piece;

    Real64 X(sint32 step) const { return piece.Cos[step] + piece.across; }
    Real64 Y(sint32 step) const { return piece.down - piece.Sin[step]; }
};

template <class Way>
struct PointPath {
    static constexpr sint32 sign = Way::sign;
    const RotatePieceRec& piece;

    static Real64 From(sint32 center, Real64 offset) { return Way::mirrored ? center - offset : center + offset; }
    Real64 X(sint32 step) const { return From(piece.center.x, piece.Cos[step] + piece.across); }
    Real64 Y(sint32 step) const { return From(piece.center.y, piece.down - piece.Sin[step]); }
};

inline sint32 Cut(Real64 coordinate) { return static_cast<sint32>(coordinate); }

/* The row that a path is on, which changes in one direction only. */
template <class Path>
struct RowOf {
    Path path;

    sint32 operator()(sint32 step) const { return Cut(path.Y(step)); }
};

/* How far a path's column is from where a path would be that advances by a whole column a step. */
template <class Path>
struct ColumnLagOf {
    Path path;

    sint32 operator()(sint32 step) const { return Cut(path.X(step)) - Path::sign * step; }
};

/* How far a coordinate is from being cut to another number, when it rises or falls. */
inline Real64 RoomToChange(Real64 coordinate, bool rises)
{
    const sint32 cut = Cut(coordinate);
    return rises ? (cut < 0 ? cut : cut + 1) - coordinate : coordinate - (cut > 0 ? cut : cut - 1);
}

/* The steps at which a number changes, one after the other. */
template <class Number>
struct Changes {
    Number number;
    sint32 num;
    bool steady;     /* the number changes in one direction only */
    Real64 estimate; /* the step at which it will change */
    Real64 inverse;  /* steps to a change of one */
    sint32 now;
    sint32 next; /* the step at which it will be another, or num */

    bool Holds(sint32 step) const { return number(step) == now; }

    /* Finds the next change, at `from` or later: where it is estimated to be, if the steps around prove that. */
    void Find(sint32 from)
    {
        next = estimate < num ? Cut(estimate) : num;
        estimate += inverse;
        const bool proved = steady && next > from && Holds(next - 1) && (next == num || !Holds(next));
        if (!proved) next = steady ? Search(from - 1) : Follow(from);
    }

    /* By halving what lies between a step where nothing has changed yet and the end. */
    __attribute__((noinline)) sint32 Search(sint32 before) const
    {
        sint32 last = num;
        while (last - before > 1) {
            const sint32 middle = before + (last - before) / 2;
            (Holds(middle) ? before : last) = middle;
        }
        return last;
    }

    /* Step by step, since the number might change and change back. */
    __attribute__((noinline)) sint32 Follow(sint32 step) const
    {
        while (step < num && Holds(step)) ++step;
        return step;
    }

    void Pass(sint32 step)
    {
        if (next != step) return;
        now = number(step);
        Find(step + 1);
    }
};

/* A run: where it starts, and its first pixel, or for an offset path that pixel's offset from the pivot. */
struct RunRec {
    sint32 step;
    sint32 x;
    sint32 y;
};

/* The runs of a piece. The last entry only says where the last run ends. */
struct RunsRec {
    sint32 num;
    RunRec run[kPieceSteps + 1];
};

template <class Path>
inline void FindRuns(const RotatePieceRec& piece, RunsRec* runs)
{
    const Path path = {piece};
    const sint32 x = Cut(path.X(0));
    const sint32 y = Cut(path.Y(0));
    const bool down = (piece.SinA < 0.0) == (Path::sign > 0);    /* rows rise along the path */
    const Real64 steps_a_row = 1.0 / __builtin_fabs(piece.SinA); /* of -0.0, too, infinitely many */
    const Real64 steps_a_lag = 1.0 / (1.0 - piece.CosA);
    const Real64 first_row = RoomToChange(path.Y(0), down) * steps_a_row + 1.0;
    const Real64 first_lag = RoomToChange(path.X(0), Path::sign < 0) * steps_a_lag + 1.0;
    Changes<RowOf<Path>> rows = {{path}, piece.num, true, first_row, steps_a_row, y, 0};
    Changes<ColumnLagOf<Path>> lags = {{path}, piece.num, piece.steady, first_lag, steps_a_lag, x, 0};
    rows.Find(1);
    lags.Find(1);
    runs->num = 0;
    for (sint32 step = 0; step < piece.num;) {
        runs->run[runs->num++] = {step, lags.now + Path::sign * step, rows.now};
        step = rows.next < lags.next ? rows.next : lags.next;
        if (step == piece.num) break;
        rows.Pass(step);
        lags.Pass(step);
    }
    runs->run[runs->num].step = piece.num;
}

/* ---- Tenths ---- */

constexpr sint32 kSpare = 80; /* room for vectors that reach beyond the last step */

/* The tenths of the forward points, for both streams, as a blend keeps them. */
template <class Number>
struct TenthsRec {
    alignas(64) Number x[kPieceSteps + kSpare];
    alignas(64) Number y[kPieceSteps + kSpare];
};

/*
 * Tenths by the parts of coordinates. A sum of two parts is off by less than 1.1, rounding of the reals included; with 2
 * added it lies above the truth by 0.9 to 3.1. Both have the same tenths for sure if the sum is by more than that above
 * the least that has them: ten times the sum is tenths, and an excess in 65536ths.
 */
constexpr sint32 kPartsAbove = 2;
constexpr sint32 kLeastExcess = 32;

template <class V>
inline typename V::Words TenthsOf(typename V::Words parts, typename V::Words* doubt)
{
    const typename V::Words ten = V::FillWords(10);
    const typename V::Words excess = V::MultiplyWords(parts, ten);
    *doubt = V::Or(*doubt, V::SubtractSaturatedWords(V::FillWords(kLeastExcess), excess));
    return V::MultiplyHigh(parts, ten);
}

/* As the plain code computes them. */
inline sint32 ExactTenthsOf(Real64 coordinate) { return Cut((coordinate - Cut(coordinate)) * 10.0); }

template <class Blend>
__attribute__((noinline)) void FindExactTenths(const RotatePieceRec& piece, sint32 from, sint32 end,
                                               TenthsRec<typename Blend::Tenths>* tenths)
{
    const PointPath<Forward> path = {piece};
    for (sint32 i = from; i < end; ++i) {
        tenths->x[i] = Blend::Kept(ExactTenthsOf(path.X(i)));
        tenths->y[i] = Blend::Kept(ExactTenthsOf(path.Y(i)));
    }
}

template <class V, class Blend>
inline void FindTenths(const RotatePieceRec& piece, TenthsRec<typename Blend::Tenths>* tenths)
{
    typedef typename V::Words Words;
    const Words across = V::FillWords(PartOf(piece.across) + kPartsAbove);
    const Words down = V::FillWords(PartOf(piece.down) + kPartsAbove);
    for (sint32 i = 0; i < piece.num; i += V::words) {
        Words doubt = V::Zero();
        const Words x = V::AddWords(V::LoadWords(piece.CosParts + i), across);
        const Words y = V::SubtractWords(down, V::LoadWords(piece.SinParts + i));
        Blend::template Keep<V>(tenths->x + i, TenthsOf<V>(x, &doubt));
        Blend::template Keep<V>(tenths->y + i, TenthsOf<V>(y, &doubt));
        if (V::IsZero(doubt)) continue;
        FindExactTenths<Blend>(piece, i, piece.num - i < V::words ? piece.num : i + V::words, tenths);
    }
    /* The excess pixels get tenths too, so that whatever is computed is the same every time. */
    std::memset(tenths->x + piece.num, 0, kSpare * sizeof *tenths->x);
    std::memset(tenths->y + piece.num, 0, kSpare * sizeof *tenths->y);
}

/* ---- Layout ---- */

/* How the pixels of a format stand in a vector: as many whole ones as fit, at the end where the stream begins. */
template <class V, sint32 Channels>
struct Layout {
    static constexpr sint32 pixels = V::size / Channels;
    static constexpr sint32 slack = V::size - pixels * Channels;
    static constexpr sint32 touched = (V::size + Channels - 1) / Channels; /* pixels that a vector reaches into */
};

/* The step, counted from the vector's first, whose tenths belong to each byte of a vector. */
template <sint32 Size>
struct SpreadTable {
    alignas(Size) uint8 entry[Size];
};

template <sint32 Size, sint32 Channels, bool IsMirrored>
constexpr SpreadTable<Size> MakeSpreadTable()
{
    SpreadTable<Size> table = {};
    for (sint32 k = 0; k < Size; ++k) /* k bytes from the end where the stream begins */
        table.entry[IsMirrored ? Size - 1 - k : k] = static_cast<uint8>(k / Channels);
    return table;
}

/*
 * The same for the 16-bit numbers of half a vector's bytes, those that UnpackLow or UnpackHigh take: where a step's
 * number lies among eight of them, as bytes. Three bytes to a pixel.
 */
template <sint32 Size, bool IsMirrored, bool IsHigh>
struct WordSpread {
    /* Step of the first of the eight, so that all that count are among them. */
    static constexpr sint32 first = IsMirrored != IsHigh ? 2 : 0;

    static constexpr SpreadTable<Size> MakeTable()
    {
        SpreadTable<Size> table = {};
        for (sint32 k = 0; k < Size; k += 2) {
            const sint32 byte = k / 16 * 16 + (IsHigh ? 8 : 0) + k % 16 / 2;
            const sint32 step = (IsMirrored ? Size - 1 - byte : byte) / 3 - first;
            const sint32 held = step < 8 ? step : 7; /* the slack takes any */
            table.entry[k] = static_cast<uint8>(2 * held);
            table.entry[k + 1] = static_cast<uint8>(2 * held + 1);
        }
        return table;
    }
};

/* What turns eight 16-bit numbers round. */
constexpr SpreadTable<16> kWordsReversed = {{14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1}};

/* ---- Blends ---- */

/* The rows around a run: pointers to the run's first pixel in each, from `before` rows above it on. */
struct NeighboursRec {
    const uint8* row[4];
};

/* A run of num pixels on its way to the output, with the tenths of its steps as a blend keeps them. */
template <class Tenths>
struct StretchRec {
    NeighboursRec near;
    const Tenths* xt;
    const Tenths* yt;
    sint32 num;
    bool steady;
    uint8* to; /* where the first pixel goes */
};

/* Stores the vector of pixel k and those that follow it, which mix(V(), offset, k) makes. */
template <class V, sint32 Channels, class Way, class Mix>
inline void DrawVector(sint32 k, uint8* to, const Mix& mix)
{
    typedef Layout<V, Channels> Place;
    const ptrdiff_t offset = Way::mirrored
                                 ? -static_cast<ptrdiff_t>((k + Place::pixels - 1) * Channels + Place::slack)
                                 : static_cast<ptrdiff_t>(k * Channels);
    V::Store(to + offset, mix(V(), offset, k));
}

/* Draws num pixels, vector after vector; what a shorter vector can hold is left to that, if the vocabulary has one. */
template <class V, sint32 Channels, class Way, class Mix>
inline void DrawVectors(sint32 num, uint8* to, const Mix& mix)
{
    typedef typename V::Shorter Shorter;
    constexpr sint32 rest = V::size == Shorter::size ? 0 : Layout<Shorter, Channels>::pixels;
    sint32 k = 0;
    for (; num - k > rest; k += Layout<V, Channels>::pixels) DrawVector<V, Channels, Way>(k, to, mix);
    if (k < num) DrawVector<Shorter, Channels, Way>(k, to, mix);
}

struct NearbyBlend {
    typedef uint8 Tenths;
    static constexpr sint32 before = 0;
    static constexpr sint32 rows = 1;

    template <class V, sint32 Channels, class Way>
    static void DrawRun(const StretchRec<Tenths>& run)
    {
        DrawVectors<V, Channels, Way>(run.num, run.to, [&](auto v, ptrdiff_t offset, sint32) {
            return decltype(v)::Load(run.near.row[0] + offset);
        });
    }
};

constexpr sint32 kShare = 6554; /* of a tenth, in 65536ths */

/* The shares of two neighbours in a blend, from that of the forward point's right or lower one; modulo 2^16. */
template <class V, class Way>
struct PairOfShares {
    typename V::Words first;
    typename V::Words second;

    explicit PairOfShares(typename V::Words share)
    {
        const typename V::Words other = V::SubtractWords(V::FillWords(10 * kShare), share);
        first = Way::mirrored ? share : other;
        second = Way::mirrored ? other : share;
    }
};

/* Of all the bytes of a vector. */
template <class V, class Way>
struct SharesRec {
    PairOfShares<V, Way> low;
    PairOfShares<V, Way> high;
    typename V::Mask whole; /* where one neighbour has all: the first, for the mirrored stream the second */

    SharesRec(typename V::Words low_shares, typename V::Words high_shares)
        : low(low_shares), high(high_shares), whole(V::Equal(V::PackSigned(low_shares, high_shares), V::Zero()))
    {
    }
};

/* Whether the arithmetic below gives ByteTable, whatever the byte and its share. */
constexpr bool SharesAreExact()
{
    for (sint32 v = 0; v < 256; ++v) {
        const sint32 u = v < 255 ? v + 1 : 255;
        for (sint32 tenths = 0; tenths < 10; ++tenths)
            if (ByteTable[tenths][v] != u * kShare * tenths >> 16) return false;
        if (ByteTable[10][v] != v + (v >= 222 && v <= 229 ? 1 : 0)) return false;
    }
    return true;
}

static_assert(SharesAreExact(), "bilinear shares differ from their table");

struct BilinearBlend {
    typedef uint16 Tenths; /* as shares */
    static constexpr sint32 before = 0;
    static constexpr sint32 rows = 2;

    static Tenths Kept(sint32 tenths) { return static_cast<Tenths>(kShare * tenths); }

    template <class V>
    static void Keep(Tenths* to, typename V::Words tenths)
    {
        V::StoreWords(to, V::MultiplyWords(tenths, V::FillWords(kShare)));
    }

    /* Row 10 of ByteTable. */
    template <class V>
    static typename V::Bytes Whole(typename V::Bytes v)
    {
        const typename V::Bytes above = V::Subtract(v, V::Fill(222));
        return V::Increment(v, V::Equal(V::Min(above, V::Fill(7)), above));
    }

    /* Rows 1 to 9 of ByteTable: both neighbours have a share. */
    template <class V, class Way>
    static typename V::Bytes Blend(typename V::Bytes first, typename V::Bytes second,
                                   const PairOfShares<V, Way>& low_shares, const PairOfShares<V, Way>& high_shares)
    {
        const typename V::Bytes u1 = V::AddSaturated(first, V::Fill(1));
        const typename V::Bytes u2 = V::AddSaturated(second, V::Fill(1));
        const typename V::Words low = V::AddWords(V::MultiplyHigh(V::UnpackLow(u1, V::Zero()), low_shares.first),
                                                  V::MultiplyHigh(V::UnpackLow(u2, V::Zero()), low_shares.second));
        const typename V::Words high =
            V::AddWords(V::MultiplyHigh(V::UnpackHigh(u1, V::Zero()), high_shares.first),
                        V::MultiplyHigh(V::UnpackHigh(u2, V::Zero()), high_shares.second));
        return V::PackWords(low, high);
    }

    /* The same shares for all bytes, and both neighbours have some. */
    template <class V, class Way>
    static typename V::Bytes Blend(typename V::Bytes first, typename V::Bytes second,
                                   const PairOfShares<V, Way>& shares)
    {
        return Blend<V, Way>(first, second, shares, shares);
    }

    template <class V, class Way>
    static typename V::Bytes Blend(typename V::Bytes first, typename V::Bytes second,
                                   const SharesRec<V, Way>& shares)
    {
        const typename V::Bytes blend = Blend<V, Way>(first, second, shares.low, shares.high);
        return V::Select(shares.whole, Whole<V>(Way::mirrored ? second : first), blend);
    }

    template <class V, sint32 Channels, class Way>
    static SharesRec<V, Way> Shares(const Tenths* tenths)
    {
        return {V::template SpreadWords<Channels, Way::mirrored, false>(tenths),
                V::template SpreadWords<Channels, Way::mirrored, true>(tenths)};
    }

    /* First along the rows, then between them. */
    template <class V, sint32 Channels, class Way, class Across>
    static typename V::Bytes Mix(const NeighboursRec& near, ptrdiff_t offset, const Across& across,
                                 const Tenths* yt)
    {
        const uint8* top = near.row[0] + offset;
        const uint8* bottom = near.row[1] + offset;
        const typename V::Bytes BiTop = Blend<V, Way>(V::Load(top), V::Load(top + Channels), across);
        const typename V::Bytes BiBotm = Blend<V, Way>(V::Load(bottom), V::Load(bottom + Channels), across);
        return Blend<V, Way>(BiTop, BiBotm, Shares<V, Channels, Way>(yt));
    }

    /*
     * Along a run the column advances with the step but for the little that the cosine falls short of 1, by which the
     * fraction of the forward point falls; where columns are steady, rounding cannot outweigh it. Only a mirrored run may
     * start with a whole number, after which the fraction begins anew. So a run that begins and ends with the same
     * tenths, and not with none, has no others.
     */
    static bool HasOneShare(const StretchRec<Tenths>& run)
    {
        return run.steady && run.xt[0] != 0 && run.xt[0] == run.xt[run.num - 1];
    }

    template <class V, sint32 Channels, class Way>
    static void DrawRun(const StretchRec<Tenths>& run)
    {
        if (HasOneShare(run)) {
            DrawVectors<V, Channels, Way>(run.num, run.to, [&](auto v, ptrdiff_t offset, sint32 k) {
                typedef decltype(v) W;
                const PairOfShares<W, Way> across(W::FillWords(run.xt[0]));
                return Mix<W, Channels, Way>(run.near, offset, across, run.yt + k);
            });
        } else {
            DrawVectors<V, Channels, Way>(run.num, run.to, [&](auto v, ptrdiff_t offset, sint32 k) {
                typedef decltype(v) W;
                return Mix<W, Channels, Way>(run.near, offset, Shares<W, Channels, Way>(run.xt + k), run.yt + k);
            });
        }
    }
};

/* A table of 16 bytes for looking up by tenths. */
struct TenthsTable {
    alignas(16) uint8 entry[16];
};

/* The high and the low part of a cubic weight: 64 * high + low. */
constexpr sint32 HighPart(sint32 weight) { return (weight + 32) >> 6; }
constexpr sint32 LowPart(sint32 weight) { return weight - 64 * HighPart(weight); }
constexpr sint32 LowByte(sint32 weight) { return weight & 255; }
constexpr sint32 HighByte(sint32 weight) { return (weight >> 8) & 255; }

/* A part of the weight of neighbour k, for every number of tenths. */
constexpr TenthsTable WeightTable(sint32 (*part)(sint32), sint32 k)
{
    TenthsTable table = {};
    for (sint32 tenths = 0; tenths <= 10; ++tenths)
        table.entry[tenths] = static_cast<uint8>(part(bulic[tenths][k]));
    return table;
}

constexpr TenthsTable kHighParts[4] = {WeightTable(HighPart, 0), WeightTable(HighPart, 1), WeightTable(HighPart, 2),
                                       WeightTable(HighPart, 3)};
constexpr TenthsTable kLowParts[4] = {WeightTable(LowPart, 0), WeightTable(LowPart, 1), WeightTable(LowPart, 2),
                                      WeightTable(LowPart, 3)};
constexpr TenthsTable kHighBytes[4] = {WeightTable(HighByte, 0), WeightTable(HighByte, 1), WeightTable(HighByte, 2),
                                       WeightTable(HighByte, 3)};
constexpr TenthsTable kLowBytes[4] = {WeightTable(LowByte, 0), WeightTable(LowByte, 1), WeightTable(LowByte, 2),
                                      WeightTable(LowByte, 3)};

/* Whether sums of a row's four products stay within 16 bits, for any pixels. */
constexpr bool PartsAreSmall()
{
    for (const auto& weights : bulic) {
        sint32 high = 0;
        sint32 low = 0;
        for (const sint32 weight : weights) {
            high += 255 * (HighPart(weight) < 0 ? -HighPart(weight) : HighPart(weight));
            low += 255 * (LowPart(weight) < 0 ? -LowPart(weight) : LowPart(weight));
        }
        if (high + low / 64 + 1 > 32767 || low > 32767) return false;
    }
    return true;
}

static_assert(PartsAreSmall(), "cubic sums would leave 16 bits");

/* Two vectors that belong together: of the lower and of the upper half of every 16 bytes. */
template <class V>
struct HalvesRec {
    typename V::Bytes low;
    typename V::Bytes high;
};

template <class V>
inline HalvesRec<V> Interleave(typename V::Bytes a, typename V::Bytes b)
{
    return {V::UnpackLow(a, b), V::UnpackHigh(a, b)};
}

/* A pair of neighbours' weights, side by side as the pixels will be: looked up by tenths. */
template <class V>
inline HalvesRec<V> PairOfWeights(const TenthsTable* tables, typename V::Bytes tenths)
{
    return Interleave<V>(V::LookUp(V::FillTable(tables[0].entry), tenths),
                         V::LookUp(V::FillTable(tables[1].entry), tenths));
}

/* Sums along a row, divided by 1024 and rounded down as the plain code does by shifting. */
template <class V>
struct RowWeightsRec {
    HalvesRec<V> high01, high23;
    HalvesRec<V> low01, low23;

    explicit RowWeightsRec(typename V::Bytes tenths)
        : high01(PairOfWeights<V>(kHighParts, tenths)), high23(PairOfWeights<V>(kHighParts + 2, tenths)),
          low01(PairOfWeights<V>(kLowParts, tenths)), low23(PairOfWeights<V>(kLowParts + 2, tenths))
    {
    }

    static typename V::Words Sum(typename V::Bytes p01, typename V::Bytes p23, typename V::Bytes high01,
                                 typename V::Bytes high23, typename V::Bytes low01, typename V::Bytes low23)
    {
        const typename V::Words high = V::AddWords(V::MultiplyPairs(p01, high01), V::MultiplyPairs(p23, high23));
        const typename V::Words low = V::AddWords(V::MultiplyPairs(p01, low01), V::MultiplyPairs(p23, low23));
        return V::template ShiftWords<4>(V::AddWords(high, V::template ShiftWords<6>(low)));
    }

    template <sint32 Channels>
    HalvesRec<V> Sums(const uint8* p) const
    {
        const HalvesRec<V> p01 = Interleave<V>(V::Load(p - Channels), V::Load(p));
        const HalvesRec<V> p23 = Interleave<V>(V::Load(p + Channels), V::Load(p + 2 * Channels));
        return {Sum(p01.low, p23.low, high01.low, high23.low, low01.low, low23.low),
                Sum(p01.high, p23.high, high01.high, high23.high, low01.high, low23.high)};
    }
};

/* The weights of a pair of rows as 16-bit numbers side by side, for one half of the vector's bytes. */
template <class V>
inline HalvesRec<V> PairOfRowWeights(const HalvesRec<V>& first, const HalvesRec<V>& second, bool high)
{
    return high ? HalvesRec<V>{V::UnpackLowWords(first.high, second.high),
                               V::UnpackHighWords(first.high, second.high)}
                : HalvesRec<V>{V::UnpackLowWords(first.low, second.low), V::UnpackHighWords(first.low, second.low)};
}

struct CubicBlend {
    typedef uint8 Tenths;
    static constexpr sint32 before = 1;
    static constexpr sint32 rows = 4;

    static Tenths Kept(sint32 tenths) { return static_cast<Tenths>(tenths); }

    template <class V>
    static void Keep(Tenths* to, typename V::Words tenths)
    {
        V::StoreWordsAsBytes(to, tenths);
    }

    /* 16-bit weights of one row of neighbours. */
    template <class V>
    static HalvesRec<V> ColumnWeights(typename V::Bytes tenths, sint32 k)
    {
        return Interleave<V>(V::LookUp(V::FillTable(kLowBytes[k].entry), tenths),
                             V::LookUp(V::FillTable(kHighBytes[k].entry), tenths));
    }

    /* The sum down the columns for eight of every 16 bytes, in whole levels. */
    template <class V>
    static typename V::Words Down(typename V::Words d0, typename V::Words d1, typename V::Words d2,
                                  typename V::Words d3, const HalvesRec<V>& bct01, const HalvesRec<V>& bct23)
    {
        const typename V::Words first = V::AddInt32(V::MultiplyWordPairs(V::UnpackLowWords(d0, d1), bct01.low),
                                                    V::MultiplyWordPairs(V::UnpackLowWords(d2, d3), bct23.low));
        const typename V::Words second = V::AddInt32(V::MultiplyWordPairs(V::UnpackHighWords(d0, d1), bct01.high),
                                                     V::MultiplyWordPairs(V::UnpackHighWords(d2, d3), bct23.high));
        return V::PackInt32(V::template ShiftInt32<10>(first), V::template ShiftInt32<10>(second));
    }

    template <class V, sint32 Channels, class Way>
    static typename V::Bytes Mix(const NeighboursRec& near, ptrdiff_t offset, const Tenths* xt, const Tenths* yt)
    {
        typename V::Bytes right = V::template Spread<Channels, Way::mirrored>(xt);
        typename V::Bytes lower = V::template Spread<Channels, Way::mirrored>(yt);
        if (Way::mirrored) {
            right = V::Subtract(V::Fill(10), right);
            lower = V::Subtract(V::Fill(10), lower);
        }
        const RowWeightsRec<V> bcs(right);
        const HalvesRec<V> d0 = bcs.template Sums<Channels>(near.row[0] + offset);
        const HalvesRec<V> d1 = bcs.template Sums<Channels>(near.row[1] + offset);
        const HalvesRec<V> d2 = bcs.template Sums<Channels>(near.row[2] + offset);
        const HalvesRec<V> d3 = bcs.template Sums<Channels>(near.row[3] + offset);

        const HalvesRec<V> bct0 = ColumnWeights<V>(lower, 0);
        const HalvesRec<V> bct1 = ColumnWeights<V>(lower, 1);
        const HalvesRec<V> bct2 = ColumnWeights<V>(lower, 2);
        const HalvesRec<V> bct3 = ColumnWeights<V>(lower, 3);
        const typename V::Words low =
            Down<V>(d0.low, d1.low, d2.low, d3.low, PairOfRowWeights<V>(bct0, bct1, false),
                    PairOfRowWeights<V>(bct2, bct3, false));
        const typename V::Words high =
            Down<V>(d0.high, d1.high, d2.high, d3.high, PairOfRowWeights<V>(bct0, bct1, true),
                    PairOfRowWeights<V>(bct2, bct3, true));
        return V::PackWords(low, high);
    }

    template <class V, sint32 Channels, class Way>
    static void DrawRun(const StretchRec<Tenths>& run)
    {
        DrawVectors<V, Channels, Way>(run.num, run.to, [&](auto v, ptrdiff_t offset, sint32 k) {
            return Mix<decltype(v), Channels, Way>(run.near, offset, run.xt + k, run.yt + k);
        });
    }
};

/* ---- Pieces ---- */

/*
 * Asks for the memory that this run's pixels will come from a few output rows later. A skewed walk touches hundreds of
 * short pieces in different pages, which the processor does not foresee.
 * Inlined by force: GCC takes a function that only prefetches for one without effect and drops its calls.
 */
__attribute__((always_inline)) inline void Prefetch(const BitmapRec& source, sint32 row, ptrdiff_t from,
                                                    ptrdiff_t end)
{
    if (row < 0 || row >= source.biHeight) return;
    const uint8* line = source.ScanLine[row];
    for (ptrdiff_t at = from; at < end; at += 64)
        _mm_prefetch(reinterpret_cast<const char*>(line + at), _MM_HINT_T0);
    _mm_prefetch(reinterpret_cast<const char*>(line + end - 1), _MM_HINT_T0);
}

/* Draws a run of num steps from `step` on, which starts at the source pixel (x, y). */
template <class V, sint32 Channels, class Blend, class Way>
inline void DrawRunAt(const RotatePieceRec& piece, const TenthsRec<typename Blend::Tenths>& tenths, sint32 step,
                      sint32 num, sint32 x, sint32 y)
{
    const BitmapRec& source = *piece.source;
    const ptrdiff_t at = static_cast<ptrdiff_t>(x) * Channels;
    const ptrdiff_t from = Way::mirrored ? at - static_cast<ptrdiff_t>(num - 1) * Channels : at;
    Prefetch(source, y + Way::sign * piece.ahead, from, from + static_cast<ptrdiff_t>(num) * Channels);

    uint8* line = Way::mirrored ? piece.mirrored_line : piece.forward_line;
    const sint32 col = (Way::mirrored ? piece.mirrored_col : piece.forward_col) + Way::sign * step;
    uint8* to = line + static_cast<ptrdiff_t>(col) * Channels;
    StretchRec<typename Blend::Tenths> run = {{}, tenths.x + step, tenths.y + step, num, piece.steady, to};
    for (sint32 k = 0; k < Blend::rows; ++k) run.near.row[k] = source.ScanLine[y - Blend::before + k] + at;
    Blend::template DrawRun<V, Channels, Way>(run);
}

template <class V, sint32 Channels, class Blend, class Way>
inline void DrawStream(const RotatePieceRec& piece, const TenthsRec<typename Blend::Tenths>& tenths)
{
    RunsRec runs;
    FindRuns<PointPath<Way>>(piece, &runs);
    for (const RunRec* run = runs.run; run != runs.run + runs.num; ++run)
        DrawRunAt<V, Channels, Blend, Way>(piece, tenths, run->step, run[1].step - run->step, run->x, run->y);
}

template <class V, sint32 Channels, class Blend>
void RotatePiece(const RotatePieceRec& piece)
{
    TenthsRec<typename Blend::Tenths> tenths;
    FindTenths<V, Blend>(piece, &tenths);
    DrawStream<V, Channels, Blend, Forward>(piece, tenths);
    DrawStream<V, Channels, Blend, Mirrored>(piece, tenths);
}

/* Nearest neighbour: both streams have the same runs. */
template <class V, sint32 Channels>
void RotatePieceNearby(const RotatePieceRec& piece)
{
    static constexpr TenthsRec<uint8> kNoTenths = {};
    RunsRec runs;
    FindRuns<OffsetPath>(piece, &runs);
    for (const RunRec* run = runs.run; run != runs.run + runs.num; ++run) {
        const sint32 num = run[1].step - run->step;
        DrawRunAt<V, Channels, NearbyBlend, Forward>(piece, kNoTenths, run->step, num, piece.center.x + run->x,
                                                     piece.center.y + run->y);
        DrawRunAt<V, Channels, NearbyBlend, Mirrored>(piece, kNoTenths, run->step, num, piece.center.x - run->x,
                                                      piece.center.y - run->y);
    }
}

/* ---- One bit ---- */

inline uint64_t LoadBits(const uint8* from)
{
    uint64_t bits;
    std::memcpy(&bits, from, sizeof bits);
    return __builtin_bswap64(bits);
}

inline void StoreBits(uint8* to, uint64_t bits)
{
    bits = __builtin_bswap64(bits);
    std::memcpy(to, &bits, sizeof bits);
}

constexpr sint32 kWindow = 56; /* pixels that a window of eight bytes holds at least, wherever they start */

/* Where to load the window that holds kWindow pixels from col on, in a row of row_size bytes, at least eight. */
inline sint32 WindowAt(sint32 col, sint32 row_size) { return (col >> 3) < row_size - 8 ? col >> 3 : row_size - 8; }

/* Up to kWindow pixels from col on, the first one foremost; what lies beyond the row is clear. */
inline uint64_t Window(const uint8* line, sint32 col, sint32 row_size)
{
    const sint32 at = WindowAt(col, row_size);
    return LoadBits(line + at) << (col - 8 * at);
}

/* Clears the pixels from col on that are clear among the first num, at most kWindow, of `bits`. */
inline void ClearWindow(uint8* line, sint32 col, sint32 num, uint64_t bits, sint32 row_size)
{
    const sint32 at = WindowAt(col, row_size);
    const uint64_t cleared = ~bits & (~uint64_t{0} << (64 - num));
    StoreBits(line + at, LoadBits(line + at) & ~(cleared >> (col - 8 * at)));
}

/* Pixels of a stream, collected in the order of columns and written when no more fit into a window. */
template <class Way>
struct BitWriter {
    uint8* line;
    sint32 row_size;
    sint32 col; /* of the next pixel of the stream */
    sint32 num;
    uint64_t bits;

    /* Takes the first `count` pixels of a window, which come next in the direction of the stream. */
    void Append(uint64_t window, sint32 count)
    {
        if (num + count > kWindow) Flush();
        const uint64_t pixels = window & (~uint64_t{0} << (64 - count));
        bits = Way::mirrored ? bits >> count | pixels : bits | pixels >> num;
        num += count;
        col += Way::sign * count;
    }

    void Flush()
    {
        if (num > 0) ClearWindow(line, Way::mirrored ? col + 1 : col - num, num, bits, row_size);
        num = 0;
        bits = 0;
    }
};

template <class Way>
inline void DrawBits(const RotatePieceRec& piece, sint32 num, sint32 x, sint32 y, BitWriter<Way>* writer)
{
    const BitmapRec& source = *piece.source;
    const sint32 row_size = (source.biWidth + 7) >> 3;
    Prefetch(source, y + Way::sign * piece.ahead, x >> 3, (x >> 3) + 1);
    while (num > 0) {
        const sint32 count = num < kWindow ? num : kWindow;
        writer->Append(Window(source.ScanLine[y], Way::mirrored ? x - count + 1 : x, row_size), count);
        x += Way::sign * count;
        num -= count;
    }
}

inline void RotateBits(const RotatePieceRec& piece)
{
    const sint32 row_size = (piece.width + 7) >> 3;
    BitWriter<Forward> forward = {piece.forward_line, row_size, piece.forward_col, 0, 0};
    BitWriter<Mirrored> mirrored = {piece.mirrored_line, row_size, piece.mirrored_col, 0, 0};
    RunsRec runs;
    FindRuns<OffsetPath>(piece, &runs);
    for (const RunRec* run = runs.run; run != runs.run + runs.num; ++run) {
        const sint32 num = run[1].step - run->step;
        DrawBits<Forward>(piece, num, piece.center.x + run->x, piece.center.y + run->y, &forward);
        DrawBits<Mirrored>(piece, num, piece.center.x - run->x, piece.center.y - run->y, &mirrored);
    }
    forward.Flush();
    mirrored.Flush();
}

/* ---- The kernels of a vocabulary ---- */

/* Copies whole lines of the cache by stores that do not read them in first. */
inline void StreamRow(uint8* to, const uint8* from, size_t size)
{
    const size_t to_line = (64 - (reinterpret_cast<uintptr_t>(to) & 63)) & 63;
    const size_t head = to_line < size ? to_line : size;
    std::memcpy(to, from, head);
    size_t at = head;
    for (; at + 64 <= size; at += 64)
        for (size_t k = at; k < at + 64; k += 16)
            _mm_stream_si128(reinterpret_cast<__m128i*>(to + k),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + k)));
    std::memcpy(to + at, from + at, size - at);
    _mm_sfence();
}

template <class V, sint32 Channels, class Blend>
constexpr RotateKernelRec RotateKernel()
{
    return {RotatePiece<V, Channels, Blend>, Layout<V, Channels>::touched - 1, StreamRow};
}

template <class V, sint32 Channels>
constexpr RotateKernelRec NearbyKernel()
{
    return {RotatePieceNearby<V, Channels>, Layout<V, Channels>::touched - 1, StreamRow};
}

/* Of a level that has longer vectors, too, for what gains by them. */
template <class V, class Longer>
constexpr RotateKernelsRec RotateKernels()
{
    return {{RotateBits, 0, nullptr},
            NearbyKernel<V, 1>(),
            NearbyKernel<V, 3>(),
            RotateKernel<Longer, 1, BilinearBlend>(),
            RotateKernel<Longer, 3, BilinearBlend>(),
            RotateKernel<V, 1, CubicBlend>(),
            RotateKernel<V, 3, CubicBlend>()};
}

} // namespace

#endif
