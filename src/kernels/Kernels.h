/*
 * Kernels.h - the fast paths: what each does, which instruction sets have them, and how one is chosen.
 *
 * The five sources hold the plain code of every operation. Where it is worth it, a kernel does the same with vector
 * instructions, byte for byte. There is a set of kernels for each level of instructions:
 *
 *   Sse41.cpp, Avx2.cpp, Avx512.cpp     a level: its vector vocabulary, and its set
 *   Rotate.h, Scan.h, Convert.h, Turn.h the methods, as templates over a vocabulary
 *   Choice.cpp                          which level a call takes
 *
 * An operation asks for its set once a call. The plain level has none, and a set may lack a kernel; the plain code
 * serves then.
 */
#ifndef QUARLO_SRC_KERNELS_KERNELS_H
#define QUARLO_SRC_KERNELS_KERNELS_H

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

/*
 * A piece of two streams of output pixels, which run outwards from the middle of an output row and of its mirror row.
 * At step i, from 0, the forward pixel lies i columns right of forward_col and takes the source point center + (a, b);
 * the mirrored one lies i columns left of mirrored_col and takes center - (a, b), where
 *
 *   a = Cos[i] + across        b = down - Sin[i]
 *
 * All points of the piece are proved to lie inside the page, and all pixels that a kernel reads for them inside the
 * source: the pixels that the interpolation asks for, and `overrun` columns more in the direction of the stream.
 * A kernel may write ahead of its pixels in the direction of the stream, as far as the output row goes, since those
 * are written after; and it may read seven entries more of both tables.
 */
struct RotatePieceRec {
    const BitmapRec* source;
    PointRec center;
    const Real64* Cos;
    const Real64* Sin;
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
    sint32 width; /* of the output */
    sint32 ahead; /* source rows by which the forward stream will have moved in a few rows' time; for prefetching */
};

/* At 1 bit the output must be painted before, and only clear pixels are written; both images must be 64 wide. */
struct RotateKernelRec {
    void (*RotatePiece)(const RotatePieceRec& piece);
    sint32 overrun;
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

/* ---- A level's set ---- */

struct KernelsRec {
    RotateKernelsRec rotate;
    ConvertKernelsRec convert;
    TurnKernelsRec turn;
};

/* The set of a level, null for the plain one. */
const KernelsRec* KernelsOf(Level level);

#endif
