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
    ConvertKernelsRec convert;
    TurnKernelsRec turn;
    ScanKernelsRec scan;
};

/* The set of a level, null for the plain one. */
const KernelsRec* KernelsOf(Level level);

#endif
