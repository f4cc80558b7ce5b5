/*
 * Format_test.cpp - names of formats, units of resolution.
 */
#include "Pictures.h"

using namespace test;

TEST(Format, NamesAreThoseOfTheHeader)
{
    EXPECT_EQ("bmp", quarlo::NameOf(Format::bmp));
    EXPECT_EQ("png", quarlo::NameOf(Format::png));
    EXPECT_EQ("jpeg", quarlo::NameOf(Format::jpeg));
    EXPECT_EQ("tiff", quarlo::NameOf(Format::tiff));
    EXPECT_EQ("pnm", quarlo::NameOf(Format::pnm));
    EXPECT_EQ("", quarlo::NameOf(Format::unknown));
}

TEST(FormatOfName, TakesTheExtensionInEitherCase)
{
    for (const char* name : {"a.bmp", "a.DIB"}) EXPECT_EQ(Format::bmp, quarlo::FormatOfName(name));
    for (const char* name : {"a.png", "x/y.z/a.PnG"}) EXPECT_EQ(Format::png, quarlo::FormatOfName(name));
    for (const char* name : {"a.jpg", "a.JPEG", "a.b.jpe"}) EXPECT_EQ(Format::jpeg, quarlo::FormatOfName(name));
    for (const char* name : {"a.tif", ".tiff"}) EXPECT_EQ(Format::tiff, quarlo::FormatOfName(name));
    for (const char* name : {"a.pbm", "a.pgm", "a.ppm", "a.pnm"})
        EXPECT_EQ(Format::pnm, quarlo::FormatOfName(name));
    for (const char* name : {"", "png", "a.", "a.txt", "a.png/b", "a.png.gz", "a.pngx", "."})
        EXPECT_EQ(Format::unknown, quarlo::FormatOfName(name)) << name;
}

TEST(Resolution, DotsPerInchAreWholeWhereTheyWereMeant)
{
    const Resolution metre = {11811, 7874, Resolution::Unit::metre};
    EXPECT_EQ(300.0, metre.dpi_x());
    EXPECT_EQ(200.0, metre.dpi_y());
    const Resolution centimetre = {118.11, 100, Resolution::Unit::centimetre};
    EXPECT_EQ(300.0, centimetre.dpi_x());
    EXPECT_EQ(254.0, centimetre.dpi_y());
    const Resolution inch = {299.995, 72.5, Resolution::Unit::inch};
    EXPECT_EQ(299.995, inch.dpi_x());
    EXPECT_EQ(72.5, inch.dpi_y());
    const Resolution other = {1000, 10, Resolution::Unit::metre};
    EXPECT_DOUBLE_EQ(25.4, other.dpi_x());
    EXPECT_DOUBLE_EQ(0.254, other.dpi_y());
}

TEST(Resolution, OfNoUnitIsUnknown)
{
    const Resolution none = {300, 300, Resolution::Unit::unknown};
    EXPECT_FALSE(none.known());
    EXPECT_EQ(0.0, none.dpi_x());
    const Resolution half = {300, 0, Resolution::Unit::inch};
    EXPECT_FALSE(half.known());
    EXPECT_EQ(0.0, half.dpi_x());
    EXPECT_EQ(0.0, half.dpi_y());
}
