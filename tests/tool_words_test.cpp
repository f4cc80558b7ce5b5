/*
 * tool_words_test.cpp - what the values of options mean.
 */
#include <gtest/gtest.h>

#include "../tool/Words.h"

using quarlo::Fill;
using quarlo::Length;

namespace tool
{

namespace
{

TEST(ReadNumber, RangeIsInclusiveAndNothingMayFollow)
{
    double number = -1.0;
    EXPECT_EQ("", ReadNumber("0.02", 0, 45, &number));
    EXPECT_EQ(0.02, number);
    EXPECT_EQ("", ReadNumber("45", 0, 45, &number));
    EXPECT_EQ("\"45.01\" is no number from 0 to 45", ReadNumber("45.01", 0, 45, &number));
    for (const char* bad : {"", "1x", "nan", "inf", "-1", "0x10", "1,5", " 1", "1e99"})
        EXPECT_NE("", ReadNumber(bad, 0, 45, &number)) << bad;
    EXPECT_EQ(45.0, number);
}

TEST(ReadWhole, NothingButDigitsInTheRange)
{
    int number = -1;
    EXPECT_EQ("", ReadWhole("999", 0, 999, &number));
    EXPECT_EQ(999, number);
    for (const char* bad : {"", "1.5", "-1", "1000", "x", "1e2"})
        EXPECT_EQ("\"" + std::string(bad) + "\" is no whole number from 0 to 999", ReadWhole(bad, 0, 999, &number));
    EXPECT_EQ(999, number);
}

TEST(ReadCount, WordStandsForZero)
{
    int count = -1;
    EXPECT_EQ("", ReadCount("AUTO", "auto", 1, 255, &count));
    EXPECT_EQ(0, count);
    EXPECT_EQ("", ReadCount("255", "auto", 1, 255, &count));
    EXPECT_EQ(255, count);
    for (const char* bad : {"0", "256", "ten", "12x", "-5", "1.5", "99999999999"})
        EXPECT_EQ("\"" + std::string(bad) + "\" is neither auto nor a whole number from 1 to 255",
                  ReadCount(bad, "auto", 1, 255, &count));
}

TEST(ReadPages, RangesMayBeOpenAtTheEnd)
{
    std::vector<PageRange> pages;
    ASSERT_EQ("", ReadPages("1-3,7,9-", &pages));
    ASSERT_EQ(3u, pages.size());
    EXPECT_EQ(1, pages[0].first);
    EXPECT_EQ(3, pages[0].last);
    EXPECT_EQ(7, pages[1].first);
    EXPECT_EQ(7, pages[1].last);
    EXPECT_EQ(9, pages[2].first);
    EXPECT_EQ(0, pages[2].last);
    for (const char* bad : {"", "0", "3-1", "1,,2", "1-2-3", "-3", "a", "1;2", "99999999999"})
        EXPECT_NE("", ReadPages(bad, &pages)) << bad;
    EXPECT_EQ(3u, pages.size());
}

TEST(ReadShare, PercentAndFractionAreTheSame)
{
    double share = -1.0;
    EXPECT_EQ("", ReadShare("25%", &share));
    EXPECT_EQ(0.25, share);
    EXPECT_EQ("", ReadShare("0.5", &share));
    EXPECT_EQ(0.5, share);
    for (const char* bad : {"", "%", "25", "101%", "-1%", "nan"}) EXPECT_NE("", ReadShare(bad, &share)) << bad;
    EXPECT_EQ("\"90\" is no share such as 0.25 or 25%; did you mean 90%?", ReadShare("90", &share));
    EXPECT_EQ("\"101\" is no share such as 0.25 or 25%", ReadShare("101", &share));
    EXPECT_EQ(0.5, share);
}

TEST(ReadFill, ColoursAreWordsOrSixOrThreeDigits)
{
    Fill fill;
    EXPECT_EQ("", ReadFill("#Ff8001", &fill));
    EXPECT_EQ(Fill::Kind::colour, fill.kind);
    EXPECT_EQ(255, fill.red);
    EXPECT_EQ(128, fill.green);
    EXPECT_EQ(1, fill.blue);
    EXPECT_EQ("", ReadFill("#1aF", &fill));
    EXPECT_EQ(0x11, fill.red);
    EXPECT_EQ(0xaa, fill.green);
    EXPECT_EQ(0xff, fill.blue);
    EXPECT_EQ("", ReadFill("Black", &fill));
    EXPECT_EQ(0, fill.red + fill.green + fill.blue);
    EXPECT_EQ("", ReadFill("edge", &fill));
    EXPECT_EQ(Fill::Kind::edge, fill.kind);
    EXPECT_EQ("", ReadFill("white", &fill));
    EXPECT_EQ(Fill::Kind::colour, fill.kind);
    EXPECT_EQ(765, fill.red + fill.green + fill.blue);
    for (const char* bad : {"", "red", "#ff", "#ffg", "#12345g", "#1234567", "ff8000"})
        EXPECT_NE("", ReadFill(bad, &fill)) << bad;
}

TEST(ReadMargins, SidesFollowTheOrderOfStyleSheets)
{
    std::array<Length, 4> margins;
    const auto values = [&] {
        return std::array<double, 4>{margins[0].value, margins[1].value, margins[2].value, margins[3].value};
    };
    ASSERT_EQ("", ReadMargins("2mm", &margins));
    EXPECT_EQ((std::array<double, 4>{2, 2, 2, 2}), values());
    EXPECT_EQ(Length::Unit::millimetres, margins[3].unit);
    ASSERT_EQ("", ReadMargins("3 mm, 4px", &margins));
    EXPECT_EQ((std::array<double, 4>{3, 4, 3, 4}), values());
    ASSERT_EQ("", ReadMargins("1cm,-10PX", &margins));
    EXPECT_EQ((std::array<double, 4>{10, -10, 10, -10}), values());
    EXPECT_EQ(Length::Unit::millimetres, margins[2].unit);
    EXPECT_EQ(Length::Unit::pixels, margins[3].unit);
    ASSERT_EQ("", ReadMargins("1px,0,3px", &margins));
    EXPECT_EQ((std::array<double, 4>{1, 0, 3, 0}), values());
    ASSERT_EQ("", ReadMargins("1in,2px,3px,4px", &margins));
    EXPECT_EQ((std::array<double, 4>{25.4, 2, 3, 4}), values());
    for (const char* bad :
         {"", "2", "mm", "  mm", "2 m m", "2furlongs", "1px,,2px", "1px,1px,1px,1px,1px", "1e9mm", "nanpx"})
        EXPECT_NE("", ReadMargins(bad, &margins)) << bad;
}

TEST(ReadSize, PapersAndMeasuresAreWidthByHeight)
{
    std::array<Length, 2> size;
    ASSERT_EQ("", ReadSize("A4", &size));
    EXPECT_EQ(210.0, size[0].value);
    EXPECT_EQ(297.0, size[1].value);
    ASSERT_EQ("", ReadSize("a5-portrait", &size));
    EXPECT_EQ(148.0, size[0].value);
    EXPECT_EQ(210.0, size[1].value);
    ASSERT_EQ("", ReadSize("letter-landscape", &size));
    EXPECT_EQ(279.4, size[0].value);
    EXPECT_EQ(215.9, size[1].value);
    ASSERT_EQ("", ReadSize("80x120.5mm", &size));
    EXPECT_EQ(80.0, size[0].value);
    EXPECT_EQ(120.5, size[1].value);
    EXPECT_EQ(Length::Unit::millimetres, size[1].unit);
    ASSERT_EQ("", ReadSize("800x600px", &size));
    EXPECT_EQ(Length::Unit::pixels, size[0].unit);
    for (const char* bad : {"", "a7", "80x", "80x120", "x120mm", "0x5mm", "-1x5mm", "1x2x3mm", "a4 landscape",
                            "-portrait", "a4-landscape-portrait"})
        EXPECT_NE("", ReadSize(bad, &size)) << bad;
}

} // namespace

} // namespace tool
