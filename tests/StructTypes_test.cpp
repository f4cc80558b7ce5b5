/*
 * StructTypes_test.cpp - the layout of every record, which callers compiled elsewhere rely on, and the zero values.
 *
 * Where pointers matter, layouts are given as Bytes(32-bit, 64-bit). On 32-bit Linux a double inside a record is
 * aligned to 4.
 */
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "StructTypes.h"

namespace
{

constexpr size_t Bytes(size_t in32, size_t in64) { return sizeof(void*) == 4 ? in32 : in64; }

/* A field's place and type. */
#define EXPECT_FIELD(record, field, type, offset)                                                                  \
    static_assert(offsetof(record, field) == (offset), #record "." #field);                                        \
    static_assert(std::is_same<decltype(record::field), type>::value, #record "." #field)

/* ---- Basic types ---- */

template <class Integer, size_t Size, bool Signed>
constexpr bool IsInteger = std::is_integral<Integer>::value &&
                           sizeof(Integer) == Size&& std::is_signed<Integer>::value == Signed;

static_assert(IsInteger<sint8, 1, true>, "");
static_assert(IsInteger<uint8, 1, false>, "");
static_assert(IsInteger<uint16, 2, false>, "");
static_assert(IsInteger<sint32, 4, true>, "");
static_assert(IsInteger<uint32, 4, false>, "");
static_assert(std::is_same<Real64, double>::value && sizeof(Real64) == 8, "");
static_assert(std::is_same<QL_Bitmap, BitmapRec*>::value, "");

/* ---- Bitmaps ---- */

static_assert(sizeof(BitmapRec) == Bytes(28, 40), "");
EXPECT_FIELD(BitmapRec, biWidth, sint32, 0);
EXPECT_FIELD(BitmapRec, biHeight, sint32, 4);
EXPECT_FIELD(BitmapRec, biBitCount, sint32, 8);
EXPECT_FIELD(BitmapRec, bfSize, sint32, 12);
EXPECT_FIELD(BitmapRec, BytesPerLine, sint32, 16);
EXPECT_FIELD(BitmapRec, ScanLine, uint8**, Bytes(20, 24));
EXPECT_FIELD(BitmapRec, buffer, uint8*, Bytes(24, 32));

static_assert(sizeof(PointRec) == 8, "");
EXPECT_FIELD(PointRec, x, sint32, 0);
EXPECT_FIELD(PointRec, y, sint32, 4);

static_assert(sizeof(RectangleRec) == 16, "");
EXPECT_FIELD(RectangleRec, left, sint32, 0);
EXPECT_FIELD(RectangleRec, right, sint32, 4);
EXPECT_FIELD(RectangleRec, top, sint32, 8);
EXPECT_FIELD(RectangleRec, bottom, sint32, 12);

static_assert(sizeof(RGBColorRec) == 3, "");
EXPECT_FIELD(RGBColorRec, blue, uint8, 0);
EXPECT_FIELD(RGBColorRec, green, uint8, 1);
EXPECT_FIELD(RGBColorRec, red, uint8, 2);

/* ---- BMP headers ---- */

static_assert(sizeof(BitmapFileHeadRec) == 14, "");
EXPECT_FIELD(BitmapFileHeadRec, bfType, uint16, 0);
EXPECT_FIELD(BitmapFileHeadRec, bfSize, uint32, 2);
EXPECT_FIELD(BitmapFileHeadRec, bfReserved1, uint16, 6);
EXPECT_FIELD(BitmapFileHeadRec, bfReserved2, uint16, 8);
EXPECT_FIELD(BitmapFileHeadRec, bfOffBits, uint32, 10);

static_assert(sizeof(BitmapInfoHeadRec) == 40, "");
EXPECT_FIELD(BitmapInfoHeadRec, biSize, uint32, 0);
EXPECT_FIELD(BitmapInfoHeadRec, biWidth, sint32, 4);
EXPECT_FIELD(BitmapInfoHeadRec, biHeight, sint32, 8);
EXPECT_FIELD(BitmapInfoHeadRec, biPlanes, uint16, 12);
EXPECT_FIELD(BitmapInfoHeadRec, biBitCount, uint16, 14);
EXPECT_FIELD(BitmapInfoHeadRec, biCompression, uint32, 16);
EXPECT_FIELD(BitmapInfoHeadRec, biSizeImage, uint32, 20);
EXPECT_FIELD(BitmapInfoHeadRec, biXPelsPerMeter, sint32, 24);
EXPECT_FIELD(BitmapInfoHeadRec, biYPelsPerMeter, sint32, 28);
EXPECT_FIELD(BitmapInfoHeadRec, biClrUsed, uint32, 32);
EXPECT_FIELD(BitmapInfoHeadRec, biClrImportant, uint32, 36);

static_assert(sizeof(RGBQuadRec) == 4, "");
EXPECT_FIELD(RGBQuadRec, rgbBlue, uint8, 0);
EXPECT_FIELD(RGBQuadRec, rgbGreen, uint8, 1);
EXPECT_FIELD(RGBQuadRec, rgbRed, uint8, 2);
EXPECT_FIELD(RGBQuadRec, rgbReserved, uint8, 3);

/* ---- Page borders ---- */

static_assert(sizeof(PointSetRec) == Bytes(12, 16), "");
EXPECT_FIELD(PointSetRec, index, sint32, 0);
EXPECT_FIELD(PointSetRec, len, sint32, 4);
EXPECT_FIELD(PointSetRec, points, PointRec*, 8);

static_assert(sizeof(BorderLineRec) == Bytes(24, 32), "");
EXPECT_FIELD(BorderLineRec, index, sint32, 0);
EXPECT_FIELD(BorderLineRec, len, sint32, 4);
EXPECT_FIELD(BorderLineRec, points, PointRec*, 8);
EXPECT_FIELD(BorderLineRec, type, sint32, Bytes(12, 16));
EXPECT_FIELD(BorderLineRec, Center, PointRec, Bytes(16, 20));

static_assert(sizeof(BorderLineSetRec) == Bytes(16, 24), "");
EXPECT_FIELD(BorderLineSetRec, index, sint32, 0);
EXPECT_FIELD(BorderLineSetRec, len, sint32, 4);
EXPECT_FIELD(BorderLineSetRec, PointNum, sint32, 8);
EXPECT_FIELD(BorderLineSetRec, borderLine, BorderLineRec*, Bytes(12, 16));

static_assert(sizeof(ImageBorderPointRec) == Bytes(28, 40), "");
EXPECT_FIELD(ImageBorderPointRec, border_point, PointSetRec, 0);
EXPECT_FIELD(ImageBorderPointRec, border_line_seck, BorderLineSetRec, Bytes(12, 16));

static_assert(sizeof(ImageRangeRectangleRec) == 32, "");
EXPECT_FIELD(ImageRangeRectangleRec, left, PointRec, 0);
EXPECT_FIELD(ImageRangeRectangleRec, right, PointRec, 8);
EXPECT_FIELD(ImageRangeRectangleRec, top, PointRec, 16);
EXPECT_FIELD(ImageRangeRectangleRec, bottom, PointRec, 24);

static_assert(sizeof(LineRec) == Bytes(36, 40), "");
EXPECT_FIELD(LineRec, a, Real64, 0);
EXPECT_FIELD(LineRec, b, Real64, 8);
EXPECT_FIELD(LineRec, angle, Real64, 16);
EXPECT_FIELD(LineRec, type, sint32, 24);
EXPECT_FIELD(LineRec, center, PointRec, 28);

static_assert(sizeof(ImageBorderLineRec) == Bytes(52, 64), "");
EXPECT_FIELD(ImageBorderLineRec, border_line, LineRec, 0);
EXPECT_FIELD(ImageBorderLineRec, border_line_seck, BorderLineSetRec, Bytes(36, 40));

static_assert(sizeof(LineSeckRec) == 8, "");
EXPECT_FIELD(LineSeckRec, left, sint32, 0);
EXPECT_FIELD(LineSeckRec, right, sint32, 4);

static_assert(sizeof(RowSeckRec) == Bytes(20, 24), "");
EXPECT_FIELD(RowSeckRec, index, sint32, 0);
EXPECT_FIELD(RowSeckRec, len, sint32, 4);
EXPECT_FIELD(RowSeckRec, top, sint32, 8);
EXPECT_FIELD(RowSeckRec, bottom, sint32, 12);
EXPECT_FIELD(RowSeckRec, seck, LineSeckRec*, 16);

#undef EXPECT_FIELD

/* ---- Zero values ---- */

#define EXPECT_CONSTANT(name, type) static_assert(std::is_same<decltype(name), const type>::value, #name)

EXPECT_CONSTANT(null_bitmap, BitmapRec);
EXPECT_CONSTANT(null_point, PointRec);
EXPECT_CONSTANT(null_rectangle, RectangleRec);
EXPECT_CONSTANT(null_point_set, PointSetRec);
EXPECT_CONSTANT(null_border_line, BorderLineRec);
EXPECT_CONSTANT(null_border_line_set, BorderLineSetRec);
EXPECT_CONSTANT(null_line_seck, LineSeckRec);
EXPECT_CONSTANT(null_row_seck, RowSeckRec);
EXPECT_CONSTANT(null_line, LineRec);
EXPECT_CONSTANT(null_image_border_point, ImageBorderPointRec);
EXPECT_CONSTANT(null_image_border_line, ImageBorderLineRec);
EXPECT_CONSTANT(null_image_range_rectangle, ImageRangeRectangleRec);
EXPECT_CONSTANT(null_bitmap_info_header, BitmapInfoHeadRec);
static_assert(std::is_same<decltype(null_bitmap_file_header), BitmapFileHeadRec>::value, "is not read-only");

#undef EXPECT_CONSTANT

void ExpectZero(const PointRec& point)
{
    EXPECT_EQ(0, point.x);
    EXPECT_EQ(0, point.y);
}

void ExpectZero(const PointSetRec& set)
{
    EXPECT_EQ(0, set.index);
    EXPECT_EQ(0, set.len);
    EXPECT_EQ(nullptr, set.points);
}

void ExpectZero(const BorderLineSetRec& set)
{
    EXPECT_EQ(0, set.index);
    EXPECT_EQ(0, set.len);
    EXPECT_EQ(0, set.PointNum);
    EXPECT_EQ(nullptr, set.borderLine);
}

void ExpectZero(const LineRec& line)
{
    EXPECT_EQ(0.0, line.a);
    EXPECT_EQ(0.0, line.b);
    EXPECT_EQ(0.0, line.angle);
    EXPECT_EQ(0, line.type);
    ExpectZero(line.center);
}

} // namespace

TEST(null_bitmap, HoldsNothing)
{
    EXPECT_EQ(0, null_bitmap.biWidth);
    EXPECT_EQ(0, null_bitmap.biHeight);
    EXPECT_EQ(0, null_bitmap.biBitCount);
    EXPECT_EQ(0, null_bitmap.bfSize);
    EXPECT_EQ(0, null_bitmap.BytesPerLine);
    EXPECT_EQ(nullptr, null_bitmap.ScanLine);
    EXPECT_EQ(nullptr, null_bitmap.buffer);
}

TEST(null_point, IsTheOrigin) { ExpectZero(null_point); }

TEST(null_rectangle, IsAllZero)
{
    EXPECT_EQ(0, null_rectangle.left);
    EXPECT_EQ(0, null_rectangle.right);
    EXPECT_EQ(0, null_rectangle.top);
    EXPECT_EQ(0, null_rectangle.bottom);
}

TEST(null_point_set, HoldsNothing) { ExpectZero(null_point_set); }

TEST(null_border_line, HoldsNothing)
{
    EXPECT_EQ(0, null_border_line.index);
    EXPECT_EQ(0, null_border_line.len);
    EXPECT_EQ(nullptr, null_border_line.points);
    EXPECT_EQ(0, null_border_line.type);
    ExpectZero(null_border_line.Center);
}

TEST(null_border_line_set, HoldsNothing) { ExpectZero(null_border_line_set); }

TEST(null_line_seck, IsAllZero)
{
    EXPECT_EQ(0, null_line_seck.left);
    EXPECT_EQ(0, null_line_seck.right);
}

TEST(null_row_seck, HoldsNothing)
{
    EXPECT_EQ(0, null_row_seck.index);
    EXPECT_EQ(0, null_row_seck.len);
    EXPECT_EQ(0, null_row_seck.top);
    EXPECT_EQ(0, null_row_seck.bottom);
    EXPECT_EQ(nullptr, null_row_seck.seck);
}

TEST(null_line, HasNoTypeThatALineCanHave) { ExpectZero(null_line); }

TEST(null_image_border_point, HoldsNothing)
{
    ExpectZero(null_image_border_point.border_point);
    ExpectZero(null_image_border_point.border_line_seck);
}

TEST(null_image_border_line, HoldsNothing)
{
    ExpectZero(null_image_border_line.border_line);
    ExpectZero(null_image_border_line.border_line_seck);
}

TEST(null_image_range_rectangle, IsAllZero)
{
    ExpectZero(null_image_range_rectangle.left);
    ExpectZero(null_image_range_rectangle.right);
    ExpectZero(null_image_range_rectangle.top);
    ExpectZero(null_image_range_rectangle.bottom);
}

TEST(null_bitmap_info_header, AnnouncesItsSizeAndOnePlane)
{
    const uint8 bytes[40] = {40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(0, std::memcmp(bytes, &null_bitmap_info_header, sizeof bytes));
}

TEST(null_bitmap_file_header, HoldsTheMagicOnly)
{
    const uint8 bytes[14] = {'B', 'M'};
    EXPECT_EQ(0, std::memcmp(bytes, &null_bitmap_file_header, sizeof bytes));
}

TEST(ResultCodes, HaveTheirNumbers)
{
    EXPECT_EQ(0, QL_SUCCESS);
    EXPECT_EQ(1, QL_BAD_ARGUMENT);
    EXPECT_EQ(2, QL_CANNOT_OPEN);
    EXPECT_EQ(3, QL_NOT_BMP);
    EXPECT_EQ(4, QL_BAD_BIT_COUNT);
    EXPECT_EQ(5, QL_OUT_OF_MEMORY);
    EXPECT_EQ(6, QL_CANNOT_CREATE);
    EXPECT_EQ(7, QL_WRITE_FAILED);
    EXPECT_EQ(8, QL_READ_FAILED);
    EXPECT_EQ(9, QL_NO_PAGE);
    EXPECT_EQ(10, QL_NO_LINE);
    EXPECT_EQ(11, QL_NO_EDGE);
    EXPECT_EQ(12, QL_INVALID_BITMAP);
}
