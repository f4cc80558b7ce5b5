/*
 * StructTypes.h - the basic types, records, zero values and result codes of the whole library.
 *
 * Conventions, said once:
 *   Coordinates   whole pixels; x is a column, counted from the start of a row; y is a row, the index into
 *                 ScanLine. Row 0 is the first row in memory, which is the first row stored in a BMP file: the
 *                 bottom row of an ordinary BMP picture. Nothing in the library flips rows.
 *   Pixels        24 bits: blue, green, red bytes. 8 bits: one grey byte, 0 black to 255 white. 1 bit: eight
 *                 pixels a byte, the leftmost in the most significant bit, a set bit is white.
 *   Results       every function answers a sint32 from the list below (three answer in boolean style and say so).
 *                 Results are built aside and stored only on success, so a failed call leaves the caller's
 *                 records as they were unless its comment says otherwise.
 *   Ownership     a record that owns memory is released by the caller with its _Done function. An output record
 *                 is overwritten, never released first.
 *   Zero values   every record type but the two colours has a constant null_...; set a record to it before its first
 *                 use.
 *
 * This header compiles alone, as C99 and as C++17.
 */
#ifndef QUARLO_STRUCTTYPES_H
#define QUARLO_STRUCTTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QL_API __attribute__((visibility("default")))
#define QL_UNUSED __attribute__((unused))
#else
#define QL_API
#define QL_UNUSED
#endif

/* Tables are constants of the compiler where the language knows such. */
#ifdef __cplusplus
#define QL_TABLE static constexpr
#else
#define QL_TABLE static const
#endif

/* ---- Basic types ---- */

typedef signed char sint8; /* also the characters of file names */
typedef uint8_t uint8;
typedef uint16_t uint16;
typedef int32_t sint32;
typedef uint32_t uint32;
typedef double Real64;

/* ---- Result codes ---- */

enum {
    QL_SUCCESS = 0,
    QL_BAD_ARGUMENT = 1,   /* a null pointer, or a value outside its set */
    QL_CANNOT_OPEN = 2,    /* the file cannot be opened for reading */
    QL_NOT_BMP = 3,        /* no BMP file, or shorter than its headers announce */
    QL_BAD_BIT_COUNT = 4,  /* a BMP of other than 1, 8 or 24 bits; Bitmap_Copy: null destination */
    QL_OUT_OF_MEMORY = 5,  /* memory ran out, or the size is beyond what a record can hold */
    QL_CANNOT_CREATE = 6,  /* the file cannot be created for writing */
    QL_WRITE_FAILED = 7,   /* a write to the file failed */
    QL_READ_FAILED = 8,    /* a read from the file failed or came up short */
    QL_NO_PAGE = 9,        /* no usable page frame in the image */
    QL_NO_LINE = 10,       /* no line can be fitted to the points */
    QL_NO_EDGE = 11,       /* noise removal left nothing of a page edge */
    QL_INVALID_BITMAP = 12 /* the record is not a valid bitmap, see Bitmap_Check */
};

/* ---- Bitmaps ---- */

/* An image in memory. ScanLine[i] = buffer + i * BytesPerLine; the block has 16 spare bytes beyond bfSize. */
typedef struct BitmapRec {
    sint32 biWidth;      /* pixels, at least 1 */
    sint32 biHeight;     /* rows, at least 1 */
    sint32 biBitCount;   /* 1, 8 or 24 */
    sint32 bfSize;       /* bytes of pixels: biHeight * BytesPerLine */
    sint32 BytesPerLine; /* from one row to the next; packed to the byte or padded to 4 */
    uint8** ScanLine;    /* biHeight row pointers into buffer; owned */
    uint8* buffer;       /* the pixels, all rows contiguous; owned */
} BitmapRec;

typedef BitmapRec* QL_Bitmap;

typedef struct PointRec {
    sint32 x; /* column */
    sint32 y; /* row */
} PointRec;

/* An inclusive rectangle. Mind the order: both column bounds come first. */
typedef struct RectangleRec {
    sint32 left;
    sint32 right;
    sint32 top;
    sint32 bottom;
} RectangleRec;

/* A colour in the byte order of a 24-bit pixel. */
typedef struct RGBColorRec {
    uint8 blue;
    uint8 green;
    uint8 red;
} RGBColorRec;

/* ---- BMP file headers: the bytes of the file, little-endian, without padding ---- */

#pragma pack(push, 1)
typedef struct BitmapFileHeadRec {
    uint16 bfType; /* "BM", 0x4D42 */
    uint32 bfSize; /* of the whole file */
    uint16 bfReserved1;
    uint16 bfReserved2;
    uint32 bfOffBits; /* where the pixels begin */
} BitmapFileHeadRec;

typedef struct BitmapInfoHeadRec {
    uint32 biSize; /* of this header */
    sint32 biWidth;
    sint32 biHeight; /* negative: rows stored from the top down */
    uint16 biPlanes;
    uint16 biBitCount;
    uint32 biCompression;
    uint32 biSizeImage;
    sint32 biXPelsPerMeter;
    sint32 biYPelsPerMeter;
    uint32 biClrUsed;
    uint32 biClrImportant;
} BitmapInfoHeadRec;

typedef struct RGBQuadRec {
    uint8 rgbBlue;
    uint8 rgbGreen;
    uint8 rgbRed;
    uint8 rgbReserved;
} RGBQuadRec;
#pragma pack(pop)

/* ---- Page borders, as the marking scans find them ---- */

/* A growable array of points. */
typedef struct PointSetRec {
    sint32 index;     /* points in use */
    sint32 len;       /* points allocated */
    PointRec* points; /* owned */
} PointSetRec;

/* A segment: a short run of neighbouring border points. */
typedef struct BorderLineRec {
    sint32 index;     /* points in the segment */
    sint32 len;       /* the same, set when the segment is stored in a set */
    PointRec* points; /* its first point inside the side's point set; a view, never freed through here */
    sint32 type;      /* keep mark of the noise removal: 1 kept, 0 not */
    PointRec Center;  /* sums of x and y while the segment is open, the mean point once it is closed */
} BorderLineRec;

/* A growable array of segments. */
typedef struct BorderLineSetRec {
    sint32 index;              /* segments in use */
    sint32 len;                /* segments allocated */
    sint32 PointNum;           /* points of all segments together, where a stage has counted them; else 0 */
    BorderLineRec* borderLine; /* owned */
} BorderLineSetRec;

/* Everything found on one side of the page. */
typedef struct ImageBorderPointRec {
    PointSetRec border_point;          /* the kept border points in scan order */
    BorderLineSetRec border_line_seck; /* the segments in scan order; they cover border_point without a gap */
} ImageBorderPointRec;

/* The page's extreme points. */
typedef struct ImageRangeRectangleRec {
    PointRec left;
    PointRec right;
    PointRec top;
    PointRec bottom;
} ImageRangeRectangleRec;

/* A straight line, by its type: 1 horizontal y = a, 2 vertical x = a, 3 general y = a + b*x. */
typedef struct LineRec {
    Real64 a;
    Real64 b;        /* slope of a general line; of no meaning, and not cleared, for the other types */
    Real64 angle;    /* inclination in degrees; 0 for type 1, 90 for type 2 */
    sint32 type;     /* 1, 2, 3; 4 while undetermined; 0 in null_line */
    PointRec center; /* a point on the line, between the two halves that it was fitted to */
} LineRec;

/* One edge of the page. */
typedef struct ImageBorderLineRec {
    LineRec border_line;               /* the line fitted to the edge */
    BorderLineSetRec border_line_seck; /* its segments; their points belong to the sides' point sets */
} ImageBorderLineRec;

/* The page's extent on one source row: first and last column inside it. */
typedef struct LineSeckRec {
    sint32 left;
    sint32 right;
} LineSeckRec;

/* The page's extent on all rows: seck[y] holds for top <= y <= bottom, indexed by the source row itself. */
typedef struct RowSeckRec {
    sint32 index;      /* rows filled */
    sint32 len;        /* entries allocated */
    sint32 top;        /* first row covered */
    sint32 bottom;     /* last row covered */
    LineSeckRec* seck; /* owned; allocated with malloc, released with free */
} RowSeckRec;

/* ---- Zero values: plain literals, a private copy in each source file that includes this header ---- */

static const BitmapRec null_bitmap QL_UNUSED = {0, 0, 0, 0, 0, NULL, NULL};
static const PointRec null_point QL_UNUSED = {0, 0};
static const RectangleRec null_rectangle QL_UNUSED = {0, 0, 0, 0};
static const PointSetRec null_point_set QL_UNUSED = {0, 0, NULL};
static const BorderLineRec null_border_line QL_UNUSED = {0, 0, NULL, 0, {0, 0}};
static const BorderLineSetRec null_border_line_set QL_UNUSED = {0, 0, 0, NULL};
static const LineSeckRec null_line_seck QL_UNUSED = {0, 0};
static const RowSeckRec null_row_seck QL_UNUSED = {0, 0, 0, 0, NULL};
static const LineRec null_line QL_UNUSED = {0.0, 0.0, 0.0, 0, {0, 0}};
static const ImageBorderPointRec null_image_border_point QL_UNUSED = {{0, 0, NULL}, {0, 0, 0, NULL}};
static const ImageBorderLineRec null_image_border_line QL_UNUSED = {{0.0, 0.0, 0.0, 0, {0, 0}}, {0, 0, 0, NULL}};
static const ImageRangeRectangleRec null_image_range_rectangle QL_UNUSED = {{0, 0}, {0, 0}, {0, 0}, {0, 0}};
static const BitmapInfoHeadRec null_bitmap_info_header QL_UNUSED = {40, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};

/* The one zero value that is not read-only. */
static BitmapFileHeadRec null_bitmap_file_header QL_UNUSED = {0x4D42, 0, 0, 0, 0};

#endif
