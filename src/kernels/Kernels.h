/*
 * Kernels.h - the fast paths: what each does, which instruction sets have them, and how one is chosen.
 *
 * The five sources hold the plain code of every operation. Where it is worth it, a kernel does the same with vector
 * instructions, byte for byte. There is a set of kernels for each level of instructions:
 *
 *   Sse41.cpp, Avx2.cpp, Avx512.cpp       a level: its vector vocabulary, and its set
 *   Vec32.h                               the vocabulary that AVX2 and AVX-512 share
 *   Rotate.h, Scan.h, Convert.h, Turn.h   the methods, as templates over a vocabulary
 *   Lane.h, Patterns.h                    16 bytes at every level, and constants that fill a vector
 *   Kernels.cpp, Choice.cpp               the sets of all levels, and which level a call takes
 *
 * An operation asks for its set once a call. The plain level has none, and a set may lack a kernel; the plain code
 * serves then.
 */
#ifndef QUARLO_SRC_KERNELS_KERNELS_H
#define QUARLO_SRC_KERNELS_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "StructTypes.h"

/* Levels of instructions, each holding all before it. */
enum class Level { Plain, Sse41, Avx2, Avx512 };

/* The highest level that the processor and the operating system have. */
Level HighestLevel();

/*
 * The level that this call takes. It stands alone in its source, so that a program which links the archive may bring
 * its own: tests and benchmarks choose levels that way, and the library needs no switch.
 */
Level ChosenLevel();

/* ---- Rotation by any angle ---- */

/* Steps of a piece at most. */
static constexpr sint32 kPieceSteps = 256;

/* Entries beyond the last one that a kernel may read of a table of parts. */
static constexpr sint32 kSpareParts = 32;

/*
 * What a coordinate has beyond whole numbers, in 65536ths, to the nearest: sums of parts, modulo 65536, are parts of the
 * sums, off by a half for each. What is no coordinate of an image has none.
 */
static inline uint16 PartOf(Real64 coordinate)
{
    if (!(coordinate > -4294967296.0 && coordinate < 4294967296.0)) return 0;
    const Real64 parts = coordinate * 65536.0;
    return static_cast<uint16>(static_cast<int64_t>(parts < 0.0 ? parts - 0.5 : parts + 0.5));
}

/*
 * A piece of two streams of output pixels, which run outwards from the middle of an output row and of its mirror row.
 * At step i, from 0, the forward pixel lies i columns right of forward_col and takes the source point center + (a, b);
 * the mirrored one lies i columns left of mirrored_col and takes center - (a, b), where
 *
 *   a = Cos[i] + across        b = down - Sin[i]
 *
 * All points of the piece are proved to lie inside the page, and all pixels that a kernel reads for them inside the
 * source: the pixels that the interpolation asks for, and `overrun` columns more in the direction of the stream.
 * A kernel may write up to 63 bytes ahead of its pixels in the direction of the stream: they are room around the row, or
 * pixels that are written after. And it may read kSpareParts entries more of the parts.
 */
struct RotatePieceRec {
    const BitmapRec* source;
    PointRec center;
    const Real64* Cos;
    const Real64* Sin;
    const uint16* CosParts; /* of the same entries, see PartOf */
    const uint16* SinParts;
    Real64 CosA; /* what neighbouring entries differ by, nearly */
    Real64 SinA;
    bool steady; /* columns are sure to change by at most one a step */
    Real64 across;
    Real64 down;
    sint32 num;
    uint8* forward_line;
    uint8* mirrored_line;
    sint32 forward_col;
    sint32 mirrored_col;
    sint32 width; /* of the output; at 1 bit no byte behind it may be touched */
    sint32 ahead; /* source rows by which the forward stream will have moved in a few rows' time; for prefetching */
};

/*
 * At 1 bit the output must be painted before, and only clear pixels are written, none ahead; both images must be 64
 * pixels wide. StreamRow copies a finished row to memory past the cache.
 */
struct RotateKernelRec {
    void (*RotatePiece)(const RotatePieceRec& piece);
    sint32 overrun;
    void (*StreamRow)(uint8* to, const uint8* from, size_t size);
};

struct RotateKernelsRec {
    RotateKernelRec Nearby1;
    RotateKernelRec Nearby8;
    RotateKernelRec Nearby24;
    RotateKernelRec Bilinear8;
    RotateKernelRec Bilinear24;
    RotateKernelRec Cubic8;
    RotateKernelRec Cubic24;
};

/* ---- Conversion between depths ---- */

/*
 * Converts num pixels, at least one, from the start of one row to the start of another. Reads and writes no byte but
 * those that hold these pixels; of a last byte with less than eight bits of them, the others become 0.
 */
typedef void (*ConvertRowFun)(const uint8* from, uint8* to, sint32 num, uint8 DividingValue);

struct ConvertKernelsRec {
    ConvertRowFun BWToGray;
    ConvertRowFun BWToColor;
    ConvertRowFun GrayToBW;
    ConvertRowFun GrayToColor;
    ConvertRowFun ColorToBW;
    ConvertRowFun ColorToGray;
};

/* ---- Turning by right angles ---- */

/* Turns a whole image into another of the right size and depth; touches no byte that holds no pixel of either. */
typedef void (*TurnFun)(const BitmapRec& source, const BitmapRec& dest);

struct TurnKernelsRec {
    TurnFun Turn1[3]; /* by 90, 180 and 270 degrees, 1 bit */
    TurnFun Turn8[3];
    TurnFun Turn24[3];
};

/* ---- Scans of page detection ---- */

/* Some of the levels 0 to 255: level v is one of them if bit (v >> 4) & 7 of rows[v >> 7][v & 15] is set. */
struct LevelSetRec {
    uint8 rows[2][16];
};

/*
 * Which dots count. A dot's level is 0 or 255 at 1 bit, the byte at 8 bits and, at 24 bits, the weighted sum of blue
 * and green before the tone curve, 0 to 255. At 24 bits a dot whose blue and green are equal goes by that byte and the
 * set `grays` instead; the other depths read `levels` alone.
 */
struct DotSetRec {
    LevelSetRec levels;
    LevelSetRec grays;
};

static constexpr sint32 kScanLines = 64; /* lines that are scanned by one call, at most */
static constexpr sint32 kNoHit = -1;

/* What the two rays of each line found: the column in a row, the row in a column, or kNoHit. */
struct HitsRec {
    sint32 first[kScanLines];
    sint32 second[kScanLines];
};

/* Whether more than num dots of a row count; num is at least 63. Reads no byte but those that hold dots of the row. */
typedef bool (*HasMoreDotsFun)(const uint8* line, sint32 biWidth, sint32 num, const DotSetRec& dots);

/*
 * Scans the lines of a rectangle, which is not empty, between its ends: at most kScanLines rows or columns. Line k is
 * the k-th from the top or from the left; its first ray starts at the left or the top, its second at the right or the
 * bottom. Reads no byte but those that hold dots of the rectangle; `lines` are the image's.
 */
typedef void (*ScanLinesFun)(const uint8* const* lines, const RectangleRec& range, const DotSetRec& dots,
                             HitsRec* hits);

/* The kernels of one depth; all or none are there. */
struct DotScansRec {
    HasMoreDotsFun HasMoreDots;
    ScanLinesFun ScanRows;
    ScanLinesFun ScanColumns;
};

struct ScanKernelsRec {
    DotScansRec Scan1;
    DotScansRec Scan8;
    DotScansRec Scan24;
};

/* ---- A level's set ---- */

struct KernelsRec {
    RotateKernelsRec rotate;
    ConvertKernelsRec convert;
    TurnKernelsRec turn;
    ScanKernelsRec scan;
};

/* The set of a level, null for the plain one. */
const KernelsRec* KernelsOf(Level level);

#endif
