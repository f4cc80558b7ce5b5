/*
 * LiteralRotation.cpp - the seven rotations, each written out.
 *
 *   AddBorderPoints                                            the source within a frame of repeated edge pixels
 *   Rotate24bitsPicNearby, Rotate8bitsPicNearby, Rotate1bitsPicNearby
 *   Rotate24bitsPicBilinear, Rotate8bitsPicBilinear
 *   Rotate24bitsPicCubic, Rotate8bitsPicCubic
 *
 * The near-copies are on purpose: a slip in a shared walk would be in all of them. Positions in the output are
 * offsets into its bytes, so that one that has stepped out of the picture does no harm until it is used.
 */
#include "support/LiteralRotation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "support/LiteralBitmap.h"

namespace literal
{

namespace
{

const sint32 Extend = 8;

/* A picture with packed rows. */
struct Picture {
    Picture(sint32 width, sint32 height, sint32 bits)
        : biWidth(width), biHeight(height), biBitCount(bits), BytesPerLine((bits * width + 7) >> 3),
          buffer(static_cast<size_t>(height) * static_cast<size_t>(BytesPerLine))
    {
    }
    uint8& At(sint32 position) { return buffer.at(static_cast<size_t>(position)); }
    uint8 Read(sint32 row, sint32 byte) const
    {
        if (row < 0 || row >= biHeight || byte < 0 || byte >= BytesPerLine) throw std::out_of_range("sample");
        return buffer[static_cast<size_t>(row * BytesPerLine + byte)];
    }

    sint32 biWidth, biHeight, biBitCount, BytesPerLine;
    std::vector<uint8> buffer;
};

/* The multiples of a sine or cosine by repeated addition, from 0 on. */
class Multiples
{
public:
    Multiples(Real64 step, sint32 last) : values(1, 0.0)
    {
        for (sint32 i = 1; i <= last; ++i) values.push_back(values.back() + step);
    }
    Real64 at(sint32 i) const { return values.at(static_cast<size_t>(i)); }

private:
    std::vector<Real64> values;
};

/* What all rotations compute before they walk. YCos and YSin are the same tables under other names. */
struct Frame {
    PointRec DestCenter;
    sint32 WidthFlag, HeightFlag;
    Multiples XCos, XSin;
};

Frame MakeFrame(Real64 angle, sint32 biWidth, sint32 biHeight)
{
    const PointRec DestCenter = {(biWidth - 1) >> 1, (biHeight - 1) >> 1};
    const sint32 t = std::max(DestCenter.x, DestCenter.y) + 10;
    /* Read twice, so that sine and cosine stay two calls: one for both may differ in the last bit. */
    const volatile Real64 turn = angle;
    const Real64 CosA = std::cos(turn);
    const Real64 SinA = std::sin(turn);
    return {DestCenter, biWidth % 2 == 0 ? 1 : 0, biHeight % 2 == 0 ? 1 : 0, Multiples(CosA, t),
            Multiples(SinA, t)};
}

/* Towards zero; what no sint32 holds, and NaN, becomes the value that the processor answers. */
sint32 Truncate(Real64 value)
{
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<sint32>(value) : INT32_MIN;
}

sint32 Add(sint32 a, sint32 b) { return static_cast<sint32>(static_cast<uint32>(a) + static_cast<uint32>(b)); }
sint32 Sub(sint32 a, sint32 b) { return static_cast<sint32>(static_cast<uint32>(a) - static_cast<uint32>(b)); }

bool InsidePage(const RowSeckRec& RowSeck, sint32 x, sint32 y)
{
    if (x < 0) return false;
    if (y < 0) return false;
    if (RowSeck.top > y) return false;
    if (y > RowSeck.bottom) return false;
    if (RowSeck.seck[y].left > x) return false;
    return x <= RowSeck.seck[y].right;
}

uint8 BitValue(sint32 bit) { return static_cast<uint8>(128 >> bit); }

/* k tenths of the byte v, from the table's rule. */
sint32 ByteTable(sint32 k, sint32 v)
{
    if (k < 0 || k > 10 || v < 0 || v > 255) throw std::out_of_range("share");
    if (k == 0) return 0;
    if (k == 10) return v >= 222 && v <= 229 ? v + 1 : v;
    return v == 255 ? 255 * k / 10 : (v + 1) * k / 10;
}

const sint32 bulic[11][4] = {{0, 1024, 0, 0},       {-83, 1005, 112, -9},  {-131, 950, 238, -33},
                             {-151, 867, 372, -65}, {-147, 762, 508, -98}, {-128, 640, 640, -128},
                             {-98, 508, 762, -147}, {-65, 372, 867, -151}, {-33, 238, 950, -131},
                             {-9, 112, 1005, -83},  {0, 0, 1024, 0}};

/* ---- Padding ---- */

Picture AddBorderPoints(const BitmapRec& source)
{
    Picture bitmap(source.biWidth + 2 * Extend, source.biHeight + 2 * Extend, source.biBitCount);
    const sint32 col = (source.biBitCount * Extend + 7) >> 3;
    sint32 line = Extend * bitmap.BytesPerLine + col;
    for (sint32 row = 0; row < source.biHeight; ++row) {
        const uint8* from = source.ScanLine[row];
        if (source.biBitCount == 24) {
            for (sint32 k = 0; k < 3 * source.biWidth; ++k) bitmap.At(line + k) = from[k];
            for (sint32 i = 1; i <= Extend; ++i)
                for (sint32 k = 0; k < 3; ++k) bitmap.At(line - 3 * i + k) = from[k];
            for (sint32 i = 0; i < Extend; ++i)
                for (sint32 k = 0; k < 3; ++k)
                    bitmap.At(line + 3 * (source.biWidth + i) + k) = from[3 * (source.biWidth - 1) + k];
        }
        if (source.biBitCount == 8) {
            for (sint32 k = 0; k < source.biWidth; ++k) bitmap.At(line + k) = from[k];
            for (sint32 i = 1; i <= Extend; ++i) bitmap.At(line - i) = from[0];
            for (sint32 i = 0; i < Extend; ++i) bitmap.At(line + source.biWidth + i) = from[source.biWidth - 1];
        }
        if (source.biBitCount == 1) {
            sint32 p = line;
            sint32 bit = Extend & 7;
            if (GetBit(source, row, 0)) {
                for (sint32 i = 0; i < Extend; ++i) {
                    if (bit < 0) {
                        --p;
                        bit += 8;
                    }
                    bitmap.At(p) |= BitValue(bit);
                    --bit;
                }
            }
            p = line;
            bit = Extend & 7;
            for (sint32 c = 0; c < source.biWidth; ++c) {
                if (bit > 7) {
                    ++p;
                    bit -= 8;
                }
                if (GetBit(source, row, c)) bitmap.At(p) |= BitValue(bit);
                ++bit;
            }
            if (GetBit(source, row, source.biWidth - 1)) {
                for (sint32 i = 0; i < Extend; ++i) {
                    if (bit > 7) {
                        ++p;
                        bit -= 8;
                    }
                    bitmap.At(p) |= BitValue(bit);
                    ++bit;
                }
            }
        }
        line += bitmap.BytesPerLine;
    }
    for (sint32 i = 0; i < Extend; ++i) {
        for (sint32 k = 0; k < bitmap.BytesPerLine; ++k) {
            bitmap.At(i * bitmap.BytesPerLine + k) = bitmap.Read(Extend, k);
            bitmap.At((bitmap.biHeight - i - 1) * bitmap.BytesPerLine + k) =
                bitmap.Read(bitmap.biHeight - Extend - 1, k);
        }
    }
    return bitmap;
}

/* ---- Nearest neighbour ---- */

Picture Rotate24bitsPicNearby(const Picture& source, const RowSeckRec& RowSeck, Real64 angle, PointRec SourceCenter,
                              sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 24);
    for (sint32 row = 0; row < biHeight; ++row) {
        for (sint32 col = 0; col < biWidth; ++col) {
            bitmap.At(row * bitmap.BytesPerLine + 3 * col) = color[0];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 1) = color[1];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 2) = color[2];
        }
    }
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    const auto sample = [&](sint32 p, sint32 x, sint32 y) {
        if (!InsidePage(RowSeck, x, y)) return;
        bitmap.At(p) = source.Read(y + Extend, (x + Extend) * 3);
        bitmap.At(p + 1) = source.Read(y + Extend, (x + Extend) * 3 + 1);
        bitmap.At(p + 2) = source.Read(y + Extend, (x + Extend) * 3 + 2);
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x * 3;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p3, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p2, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            p1 += 3;
            p4 += 3;
            p2 -= 3;
            p3 -= 3;
        }
        if (frame.WidthFlag == 1) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p2, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            p1 += 3;
            p2 -= 3;
        }
        if (frame.WidthFlag == 1) {
            const sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            const sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
    }
    return bitmap;
}

Picture Rotate8bitsPicNearby(const Picture& source, const RowSeckRec& RowSeck, Real64 angle, PointRec SourceCenter,
                             sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 8);
    std::fill(bitmap.buffer.begin(), bitmap.buffer.end(), color[0]);
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    const auto sample = [&](sint32 p, sint32 x, sint32 y) {
        if (InsidePage(RowSeck, x, y)) bitmap.At(p) = source.Read(y + Extend, x + Extend);
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p3, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p2, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            p1 += 1;
            p4 += 1;
            p2 -= 1;
            p3 -= 1;
        }
        if (frame.WidthFlag == 1) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p2, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            p1 += 1;
            p2 -= 1;
        }
        if (frame.WidthFlag == 1) {
            const sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            const sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
    }
    return bitmap;
}

Picture Rotate1bitsPicNearby(const Picture& source, const RowSeckRec& RowSeck, Real64 angle, PointRec SourceCenter,
                             sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 1);
    std::fill(bitmap.buffer.begin(), bitmap.buffer.end(), color[0]);
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    const auto sample = [&](sint32 p, sint32 bit, sint32 x, sint32 y) {
        if (!InsidePage(RowSeck, x, y)) return;
        const sint32 t1 = (x + Extend) >> 3;
        const sint32 t2 = x & 7;
        if ((source.Read(y + Extend, t1) & BitValue(t2)) == 0) bitmap.At(p) &= static_cast<uint8>(~BitValue(bit));
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + (DestCenter.x >> 3);
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint8 bitRight = static_cast<sint8>(DestCenter.x & 7);
        sint8 bitLeft = bitRight;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            if (bitLeft < 0) {
                bitLeft = static_cast<sint8>(bitLeft + 8);
                --p2;
                --p3;
            }
            if (bitRight > 7) {
                bitRight = static_cast<sint8>(bitRight - 8);
                ++p1;
                ++p4;
            }
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p3, bitLeft, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            sample(p2, bitLeft, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            bitLeft = static_cast<sint8>(bitLeft - 1);
            bitRight = static_cast<sint8>(bitRight + 1);
        }
        if (frame.WidthFlag == 1) {
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p4, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint8 bitRight = static_cast<sint8>(DestCenter.x & 7);
        sint8 bitLeft = bitRight;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            if (bitLeft < 0) {
                bitLeft = static_cast<sint8>(bitLeft + 8);
                --p2;
            }
            if (bitRight > 7) {
                bitRight = static_cast<sint8>(bitRight - 8);
                ++p1;
            }
            sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
            x = Truncate(XCos.at(h) - YSin.at(v));
            y = Truncate(-XSin.at(h) - YCos.at(v));
            sample(p2, bitLeft, Sub(SourceCenter.x, x), Sub(SourceCenter.y, y));
            ++h;
            bitLeft = static_cast<sint8>(bitLeft - 1);
            bitRight = static_cast<sint8>(bitRight + 1);
        }
        if (frame.WidthFlag == 1) {
            const sint32 x = Truncate(XCos.at(h) + YSin.at(v));
            const sint32 y = Truncate(YCos.at(v) - XSin.at(h));
            sample(p1, bitRight, Add(SourceCenter.x, x), Add(SourceCenter.y, y));
        }
    }
    return bitmap;
}

/* ---- Bilinear ---- */

Picture Rotate24bitsPicBilinear(const Picture& source, const RowSeckRec& RowSeck, Real64 angle,
                                PointRec SourceCenter, sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 24);
    for (sint32 row = 0; row < biHeight; ++row) {
        for (sint32 col = 0; col < biWidth; ++col) {
            bitmap.At(row * bitmap.BytesPerLine + 3 * col) = color[0];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 1) = color[1];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 2) = color[2];
        }
    }
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    uint8 CalFlag = 0, xt1 = 0, xt2 = 0, yt1 = 0, yt2 = 0;
    const auto first = [&](sint32 p, Real64 x, Real64 y) {
        CalFlag = 0;
        const Real64 x1 = SourceCenter.x + x;
        const Real64 y1 = SourceCenter.y + y;
        sint32 LeftX = Truncate(x1);
        sint32 TopY = Truncate(y1);
        if (!(x1 >= 0.0) || !(y1 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        CalFlag = 1;
        xt1 = static_cast<uint8>((x1 - LeftX) * 10.0);
        xt2 = static_cast<uint8>(10 - xt1);
        yt1 = static_cast<uint8>((y1 - TopY) * 10.0);
        yt2 = static_cast<uint8>(10 - yt1);
        LeftX = (LeftX + Extend) * 3;
        TopY += Extend;
        sint32 RightX = LeftX + 3;
        const sint32 BottomY = TopY + 1;
        for (sint32 channel = 0; channel < 3; ++channel) {
            const sint32 BiTop =
                ByteTable(xt2, source.Read(TopY, LeftX)) + ByteTable(xt1, source.Read(TopY, RightX));
            const sint32 BiBotm =
                ByteTable(xt2, source.Read(BottomY, LeftX)) + ByteTable(xt1, source.Read(BottomY, RightX));
            bitmap.At(p + channel) = static_cast<uint8>(ByteTable(yt2, BiTop) + ByteTable(yt1, BiBotm));
            ++LeftX;
            ++RightX;
        }
    };
    const auto mirrored = [&](sint32 p, Real64 x, Real64 y) {
        const Real64 x2 = SourceCenter.x - x;
        const Real64 y2 = SourceCenter.y - y;
        sint32 LeftX = Truncate(x2);
        sint32 TopY = Truncate(y2);
        if (!(x2 >= 0.0) || !(y2 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        if (CalFlag == 0) {
            xt2 = static_cast<uint8>((x2 - LeftX) * 10.0);
            xt1 = static_cast<uint8>(10 - xt2);
            yt2 = static_cast<uint8>((y2 - TopY) * 10.0);
            yt1 = static_cast<uint8>(10 - yt2);
        }
        LeftX = (LeftX + Extend) * 3;
        TopY += Extend;
        sint32 RightX = LeftX + 3;
        const sint32 BottomY = TopY + 1;
        for (sint32 channel = 0; channel < 3; ++channel) {
            const sint32 BiTop =
                ByteTable(xt1, source.Read(TopY, LeftX)) + ByteTable(xt2, source.Read(TopY, RightX));
            const sint32 BiBotm =
                ByteTable(xt1, source.Read(BottomY, LeftX)) + ByteTable(xt2, source.Read(BottomY, RightX));
            bitmap.At(p + channel) = static_cast<uint8>(ByteTable(yt1, BiTop) + ByteTable(yt2, BiBotm));
            ++LeftX;
            ++RightX;
        }
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x * 3;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            mirrored(p3, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
            mirrored(p2, x, y);
            ++h;
            p1 += 3;
            p4 += 3;
            p2 -= 3;
            p3 -= 3;
        }
        if (frame.WidthFlag == 1) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            /* CalFlag still tells of p1, whose tenths are reused. */
            mirrored(p2, x, y);
            ++h;
            p1 += 3;
            p2 -= 3;
        }
        if (frame.WidthFlag == 1) {
            const Real64 x = XCos.at(h) + YSin.at(v);
            const Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
        }
    }
    return bitmap;
}

Picture Rotate8bitsPicBilinear(const Picture& source, const RowSeckRec& RowSeck, Real64 angle,
                               PointRec SourceCenter, sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 8);
    std::fill(bitmap.buffer.begin(), bitmap.buffer.end(), color[0]);
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    uint8 CalFlag = 0, xt1 = 0, xt2 = 0, yt1 = 0, yt2 = 0;
    const auto first = [&](sint32 p, Real64 x, Real64 y) {
        CalFlag = 0;
        const Real64 x1 = SourceCenter.x + x;
        const Real64 y1 = SourceCenter.y + y;
        sint32 LeftX = Truncate(x1);
        sint32 TopY = Truncate(y1);
        if (!(x1 >= 0.0) || !(y1 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        CalFlag = 1;
        xt1 = static_cast<uint8>((x1 - LeftX) * 10.0);
        xt2 = static_cast<uint8>(10 - xt1);
        yt1 = static_cast<uint8>((y1 - TopY) * 10.0);
        yt2 = static_cast<uint8>(10 - yt1);
        LeftX += Extend;
        TopY += Extend;
        const sint32 RightX = LeftX + 1;
        const sint32 BottomY = TopY + 1;
        const sint32 BiTop = ByteTable(xt2, source.Read(TopY, LeftX)) + ByteTable(xt1, source.Read(TopY, RightX));
        const sint32 BiBotm =
            ByteTable(xt2, source.Read(BottomY, LeftX)) + ByteTable(xt1, source.Read(BottomY, RightX));
        bitmap.At(p) = static_cast<uint8>(ByteTable(yt2, BiTop) + ByteTable(yt1, BiBotm));
    };
    const auto mirrored = [&](sint32 p, Real64 x, Real64 y) {
        const Real64 x2 = SourceCenter.x - x;
        const Real64 y2 = SourceCenter.y - y;
        sint32 LeftX = Truncate(x2);
        sint32 TopY = Truncate(y2);
        if (!(x2 >= 0.0) || !(y2 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        if (CalFlag == 0) {
            xt2 = static_cast<uint8>((x2 - LeftX) * 10.0);
            xt1 = static_cast<uint8>(10 - xt2);
            yt2 = static_cast<uint8>((y2 - TopY) * 10.0);
            yt1 = static_cast<uint8>(10 - yt2);
        }
        LeftX += Extend;
        TopY += Extend;
        const sint32 RightX = LeftX + 1;
        const sint32 BottomY = TopY + 1;
        const sint32 BiTop = ByteTable(xt1, source.Read(TopY, LeftX)) + ByteTable(xt2, source.Read(TopY, RightX));
        const sint32 BiBotm =
            ByteTable(xt1, source.Read(BottomY, LeftX)) + ByteTable(xt2, source.Read(BottomY, RightX));
        bitmap.At(p) = static_cast<uint8>(ByteTable(yt1, BiTop) + ByteTable(yt2, BiBotm));
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            mirrored(p3, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
            mirrored(p2, x, y);
            ++h;
            p1 += 1;
            p4 += 1;
            p2 -= 1;
            p3 -= 1;
        }
        if (frame.WidthFlag == 1) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            /* CalFlag still tells of p1, whose tenths are reused. */
            mirrored(p2, x, y);
            ++h;
            p1 += 1;
            p2 -= 1;
        }
        if (frame.WidthFlag == 1) {
            const Real64 x = XCos.at(h) + YSin.at(v);
            const Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
        }
    }
    return bitmap;
}

/* ---- Cubic ---- */

Picture Rotate24bitsPicCubic(const Picture& source, const RowSeckRec& RowSeck, Real64 angle, PointRec SourceCenter,
                             sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 24);
    for (sint32 row = 0; row < biHeight; ++row) {
        for (sint32 col = 0; col < biWidth; ++col) {
            bitmap.At(row * bitmap.BytesPerLine + 3 * col) = color[0];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 1) = color[1];
            bitmap.At(row * bitmap.BytesPerLine + 3 * col + 2) = color[2];
        }
    }
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    uint8 CalFlag = 0, xt1 = 0, xt2 = 0, yt1 = 0, yt2 = 0;
    const auto first = [&](sint32 p, Real64 x, Real64 y) {
        CalFlag = 0;
        const Real64 x1 = SourceCenter.x + x;
        const Real64 y1 = SourceCenter.y + y;
        sint32 LeftX = Truncate(x1);
        sint32 TopY = Truncate(y1);
        if (!(x1 >= 0.0) || !(y1 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        CalFlag = 1;
        xt1 = static_cast<uint8>((x1 - LeftX) * 10.0);
        xt2 = static_cast<uint8>(10 - xt1);
        yt1 = static_cast<uint8>((y1 - TopY) * 10.0);
        yt2 = static_cast<uint8>(10 - yt1);
        LeftX += Extend;
        TopY += Extend;
        const sint32 cx[4] = {LeftX - 1, LeftX, LeftX + 1, LeftX + 2};
        const sint32 cy[4] = {TopY - 1, TopY, TopY + 1, TopY + 2};
        uint8 SourceRed[4][4], SourceGreen[4][4], SourceBlue[4][4];
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                SourceRed[i][j] = source.Read(cy[j], cx[i] * 3);
                SourceGreen[i][j] = source.Read(cy[j], cx[i] * 3 + 1);
                SourceBlue[i][j] = source.Read(cy[j], cx[i] * 3 + 2);
            }
        }
        sint32 dcsR[4] = {0, 0, 0, 0}, dcsG[4] = {0, 0, 0, 0}, dcsB[4] = {0, 0, 0, 0};
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                dcsR[i] += SourceRed[j][i] * bulic[xt1][j];
                dcsG[i] += SourceGreen[j][i] * bulic[xt1][j];
                dcsB[i] += SourceBlue[j][i] * bulic[xt1][j];
            }
            dcsR[i] >>= 10;
            dcsG[i] >>= 10;
            dcsB[i] >>= 10;
        }
        sint32 d1 = 0, d2 = 0, d3 = 0;
        for (sint32 i = 0; i < 4; ++i) {
            d1 += bulic[yt1][i] * dcsR[i];
            d2 += bulic[yt1][i] * dcsG[i];
            d3 += bulic[yt1][i] * dcsB[i];
        }
        bitmap.At(p) = static_cast<uint8>(std::min(std::max(d1, 0), 255 * 1024) >> 10);
        bitmap.At(p + 1) = static_cast<uint8>(std::min(std::max(d2, 0), 255 * 1024) >> 10);
        bitmap.At(p + 2) = static_cast<uint8>(std::min(std::max(d3, 0), 255 * 1024) >> 10);
    };
    const auto mirrored = [&](sint32 p, Real64 x, Real64 y) {
        const Real64 x2 = SourceCenter.x - x;
        const Real64 y2 = SourceCenter.y - y;
        sint32 LeftX = Truncate(x2);
        sint32 TopY = Truncate(y2);
        if (!(x2 >= 0.0) || !(y2 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        if (CalFlag == 0) {
            xt2 = static_cast<uint8>((x2 - LeftX) * 10.0);
            xt1 = static_cast<uint8>(10 - xt2);
            yt2 = static_cast<uint8>((y2 - TopY) * 10.0);
            yt1 = static_cast<uint8>(10 - yt2);
        }
        LeftX += Extend;
        TopY += Extend;
        const sint32 cx[4] = {LeftX - 1, LeftX, LeftX + 1, LeftX + 2};
        const sint32 cy[4] = {TopY - 1, TopY, TopY + 1, TopY + 2};
        uint8 SourceRed[4][4], SourceGreen[4][4], SourceBlue[4][4];
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                SourceRed[i][j] = source.Read(cy[j], cx[i] * 3);
                SourceGreen[i][j] = source.Read(cy[j], cx[i] * 3 + 1);
                SourceBlue[i][j] = source.Read(cy[j], cx[i] * 3 + 2);
            }
        }
        sint32 dcsR[4] = {0, 0, 0, 0}, dcsG[4] = {0, 0, 0, 0}, dcsB[4] = {0, 0, 0, 0};
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                dcsR[i] += SourceRed[j][i] * bulic[xt2][j];
                dcsG[i] += SourceGreen[j][i] * bulic[xt2][j];
                dcsB[i] += SourceBlue[j][i] * bulic[xt2][j];
            }
            dcsR[i] >>= 10;
            dcsG[i] >>= 10;
            dcsB[i] >>= 10;
        }
        sint32 d1 = 0, d2 = 0, d3 = 0;
        for (sint32 i = 0; i < 4; ++i) {
            d1 += bulic[yt2][i] * dcsR[i];
            d2 += bulic[yt2][i] * dcsG[i];
            d3 += bulic[yt2][i] * dcsB[i];
        }
        bitmap.At(p) = static_cast<uint8>(std::min(std::max(d1, 0), 255 * 1024) >> 10);
        bitmap.At(p + 1) = static_cast<uint8>(std::min(std::max(d2, 0), 255 * 1024) >> 10);
        bitmap.At(p + 2) = static_cast<uint8>(std::min(std::max(d3, 0), 255 * 1024) >> 10);
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x * 3;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            mirrored(p3, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
            mirrored(p2, x, y);
            ++h;
            p1 += 3;
            p4 += 3;
            p2 -= 3;
            p3 -= 3;
        }
        if (frame.WidthFlag == 1) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            /* CalFlag still tells of p1, whose tenths are reused. */
            mirrored(p2, x, y);
            ++h;
            p1 += 3;
            p2 -= 3;
        }
        if (frame.WidthFlag == 1) {
            const Real64 x = XCos.at(h) + YSin.at(v);
            const Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
        }
    }
    return bitmap;
}

Picture Rotate8bitsPicCubic(const Picture& source, const RowSeckRec& RowSeck, Real64 angle, PointRec SourceCenter,
                            sint32 biWidth, sint32 biHeight, const uint8* color)
{
    Picture bitmap(biWidth, biHeight, 8);
    std::fill(bitmap.buffer.begin(), bitmap.buffer.end(), color[0]);
    const Frame frame = MakeFrame(angle, biWidth, biHeight);
    const PointRec DestCenter = frame.DestCenter;
    const Multiples &XCos = frame.XCos, &XSin = frame.XSin, &YCos = frame.XCos, &YSin = frame.XSin;

    uint8 CalFlag = 0, xt1 = 0, xt2 = 0, yt1 = 0, yt2 = 0;
    const auto first = [&](sint32 p, Real64 x, Real64 y) {
        CalFlag = 0;
        const Real64 x1 = SourceCenter.x + x;
        const Real64 y1 = SourceCenter.y + y;
        sint32 LeftX = Truncate(x1);
        sint32 TopY = Truncate(y1);
        if (!(x1 >= 0.0) || !(y1 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        CalFlag = 1;
        xt1 = static_cast<uint8>((x1 - LeftX) * 10.0);
        xt2 = static_cast<uint8>(10 - xt1);
        yt1 = static_cast<uint8>((y1 - TopY) * 10.0);
        yt2 = static_cast<uint8>(10 - yt1);
        LeftX += Extend;
        TopY += Extend;
        const sint32 cx[4] = {LeftX - 1, LeftX, LeftX + 1, LeftX + 2};
        const sint32 cy[4] = {TopY - 1, TopY, TopY + 1, TopY + 2};
        uint8 SourceRed[4][4];
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                SourceRed[i][j] = source.Read(cy[j], cx[i]);
            }
        }
        sint32 dcsR[4] = {0, 0, 0, 0};
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                dcsR[i] += SourceRed[j][i] * bulic[xt1][j];
            }
            dcsR[i] >>= 10;
        }
        sint32 d1 = 0;
        for (sint32 i = 0; i < 4; ++i) {
            d1 += bulic[yt1][i] * dcsR[i];
        }
        bitmap.At(p) = static_cast<uint8>(std::min(std::max(d1, 0), 255 * 1024) >> 10);
    };
    const auto mirrored = [&](sint32 p, Real64 x, Real64 y) {
        const Real64 x2 = SourceCenter.x - x;
        const Real64 y2 = SourceCenter.y - y;
        sint32 LeftX = Truncate(x2);
        sint32 TopY = Truncate(y2);
        if (!(x2 >= 0.0) || !(y2 >= 0.0) || !InsidePage(RowSeck, LeftX, TopY)) return;
        if (CalFlag == 0) {
            xt2 = static_cast<uint8>((x2 - LeftX) * 10.0);
            xt1 = static_cast<uint8>(10 - xt2);
            yt2 = static_cast<uint8>((y2 - TopY) * 10.0);
            yt1 = static_cast<uint8>(10 - yt2);
        }
        LeftX += Extend;
        TopY += Extend;
        const sint32 cx[4] = {LeftX - 1, LeftX, LeftX + 1, LeftX + 2};
        const sint32 cy[4] = {TopY - 1, TopY, TopY + 1, TopY + 2};
        uint8 SourceRed[4][4];
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                SourceRed[i][j] = source.Read(cy[j], cx[i]);
            }
        }
        sint32 dcsR[4] = {0, 0, 0, 0};
        for (sint32 i = 0; i < 4; ++i) {
            for (sint32 j = 0; j < 4; ++j) {
                dcsR[i] += SourceRed[j][i] * bulic[xt2][j];
            }
            dcsR[i] >>= 10;
        }
        sint32 d1 = 0;
        for (sint32 i = 0; i < 4; ++i) {
            d1 += bulic[yt2][i] * dcsR[i];
        }
        bitmap.At(p) = static_cast<uint8>(std::min(std::max(d1, 0), 255 * 1024) >> 10);
    };

    sint32 line1 = DestCenter.y * bitmap.BytesPerLine + DestCenter.x;
    sint32 line2 = line1;
    sint32 v = 0;
    for (sint32 row = 0; row <= DestCenter.y; ++row) {
        sint32 p1 = line1, p2 = line1, p3 = line2, p4 = line2;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            mirrored(p3, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
            mirrored(p2, x, y);
            ++h;
            p1 += 1;
            p4 += 1;
            p2 -= 1;
            p3 -= 1;
        }
        if (frame.WidthFlag == 1) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            first(p4, x, y);
        }
        line1 += bitmap.BytesPerLine;
        line2 -= bitmap.BytesPerLine;
        ++v;
    }
    if (frame.HeightFlag == 1) {
        sint32 p1 = line1, p2 = line1;
        sint32 h = 0;
        for (sint32 col = 0; col <= DestCenter.x; ++col) {
            Real64 x = XCos.at(h) + YSin.at(v);
            Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
            x = XCos.at(h) - YSin.at(v);
            y = -XSin.at(h) - YCos.at(v);
            /* CalFlag still tells of p1, whose tenths are reused. */
            mirrored(p2, x, y);
            ++h;
            p1 += 1;
            p2 -= 1;
        }
        if (frame.WidthFlag == 1) {
            const Real64 x = XCos.at(h) + YSin.at(v);
            const Real64 y = YCos.at(v) - XSin.at(h);
            first(p1, x, y);
        }
    }
    return bitmap;
}

} // namespace

sint32 RotateBitmap(BitmapRec* source, BitmapRec* dest, RowSeckRec* RowSeck, Real64 angle, PointRec SourceCenter,
                    sint32 biWidth, sint32 biHeight, sint32 interpolation, uint8* color)
{
    if (!source || !dest || !RowSeck || !color) return 1;
    const sint32 error_code = CheckBitmap(source);
    if (error_code != 0) return error_code;
    if (biWidth < 1 || biHeight < 1) return 1;
    if (SourceCenter.x < 0 || SourceCenter.x >= source->biWidth) return 1;
    if (SourceCenter.y < 0 || SourceCenter.y >= source->biHeight) return 1;
    if (interpolation != 1 && interpolation != 2 && interpolation != 3) return 1;
    if (RowSeck->top < 0 || RowSeck->bottom >= source->biHeight || RowSeck->top >= RowSeck->bottom) return 1;

    const Picture padded = AddBorderPoints(*source);
    auto Rotate = Rotate1bitsPicNearby;
    if (padded.biBitCount == 24 && interpolation == 1) Rotate = Rotate24bitsPicCubic;
    if (padded.biBitCount == 24 && interpolation == 2) Rotate = Rotate24bitsPicBilinear;
    if (padded.biBitCount == 24 && interpolation == 3) Rotate = Rotate24bitsPicNearby;
    if (padded.biBitCount == 8 && interpolation == 1) Rotate = Rotate8bitsPicCubic;
    if (padded.biBitCount == 8 && interpolation == 2) Rotate = Rotate8bitsPicBilinear;
    if (padded.biBitCount == 8 && interpolation == 3) Rotate = Rotate8bitsPicNearby;
    const Picture bitmap = Rotate(padded, *RowSeck, angle, SourceCenter, biWidth, biHeight, color);

    *dest = NewBitmap(biWidth, biHeight, source->biBitCount, false);
    std::memcpy(dest->buffer, bitmap.buffer.data(), bitmap.buffer.size());
    return 0;
}

} // namespace literal
