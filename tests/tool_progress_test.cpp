/*
 * tool_progress_test.cpp - what is told of how far the work is.
 */
#include <algorithm>

#include <gtest/gtest.h>

#include "Progress.h"

namespace tool
{

namespace
{

Stand Half()
{
    Stand stand;
    stand.inputs = 2000;
    stand.done = stand.worked = stand.pages = 1240;
    stand.failed = 3;
    stand.seconds = 149.4;
    return stand;
}

BarStyle Wide(int columns)
{
    BarStyle style;
    style.columns = columns;
    return style;
}

/* Columns on the screen. */
int WidthOf(const std::string& text)
{
    int width = 0;
    bool escape = false;
    for (const char letter : text) {
        if (letter == '\033') escape = true;
        if (!escape && (static_cast<unsigned char>(letter) & 0xC0) != 0x80) ++width;
        if (letter == 'm') escape = false;
    }
    return width;
}

TEST(ProgressLine, TellsShareRateTimeLeftAndFailures)
{
    EXPECT_EQ("62 %, 1240 pages, 8.3 pages/s, 1:32 left, 3 failed", ProgressLine(Half()));
    Stand stand = Half();
    stand.failed = 0;
    EXPECT_EQ("62 %, 1240 pages, 8.3 pages/s, 1:32 left", ProgressLine(stand));
}

TEST(ProgressLine, NoTimeGivesNoRateAndNoWorkNoTimeLeft)
{
    EXPECT_EQ("100 %, 0 pages, 0.0 pages/s", ProgressLine({}));
    Stand stand;
    stand.inputs = 3;
    EXPECT_EQ("0 %, 0 pages, 0.0 pages/s", ProgressLine(stand));
    stand.done = stand.worked = stand.pages = 1;
    EXPECT_EQ("33 %, 1 page, 0.0 pages/s, 0:00 left", ProgressLine(stand));
}

TEST(ProgressLine, InputsThatWereLeftTellNothingOfTheTimeLeft)
{
    Stand stand;
    stand.inputs = 100;
    stand.done = 90;
    stand.seconds = 10.0;
    EXPECT_EQ("90 %, 0 pages, 0.0 pages/s", ProgressLine(stand));
    stand.done = 91;
    stand.worked = stand.pages = 1;
    EXPECT_EQ("91 %, 1 page, 0.1 pages/s, 1:30 left", ProgressLine(stand));
}

TEST(ProgressLine, PercentsAreWholeAndNeverTooMany)
{
    Stand stand;
    stand.inputs = 100;
    for (stand.done = 0; stand.done <= 100; ++stand.done)
        EXPECT_EQ(std::to_string(stand.done) + " %, 0 pages, 0.0 pages/s", ProgressLine(stand));
    stand.inputs = 1000;
    stand.done = 999;
    EXPECT_EQ("99 %, 0 pages, 0.0 pages/s", ProgressLine(stand));
}

TEST(ProgressLine, TimeIsRoundedBeforeItIsDivided)
{
    Stand stand;
    stand.inputs = 2;
    stand.done = stand.worked = 1;
    for (const auto& [seconds, text] : {std::pair{59.4, "0:59"},
                                        {59.6, "1:00"},
                                        {3599.4, "59:59"},
                                        {3599.6, "1:00:00"},
                                        {3723.0, "1:02:03"},
                                        {1e12, "99:59:59"}}) {
        stand.seconds = seconds;
        EXPECT_EQ("50 %, 0 pages, 0.0 pages/s, " + std::string(text) + " left", ProgressLine(stand));
    }
}

TEST(LastLine, TellsWhatWasDoneAndWhatNot)
{
    Stand stand = Half();
    EXPECT_EQ("1240 pages in 2:29, 8.3 pages/s, 760 not done, 3 failed", LastLine(stand));
    stand.done = 2000;
    stand.failed = 0;
    EXPECT_EQ("1240 pages in 2:29, 8.3 pages/s, 760 left from earlier", LastLine(stand));
    stand.worked = 2000;
    EXPECT_EQ("1240 pages in 2:29, 8.3 pages/s", LastLine(stand));
    EXPECT_EQ("0 pages in 0:00, 0.0 pages/s", LastLine({}));
}

TEST(ProgressBar, ShrinksWithTheTerminal)
{
    const Stand stand = Half();
    EXPECT_EQ("========================----------------  62 %  1240 pages  8.3 pages/s  1:32 left  3 failed",
              ProgressBar(stand, Wide(200)));
    EXPECT_EQ("================-----------  62 %  1240 pages  8.3 pages/s  1:32 left  3 failed",
              ProgressBar(stand, Wide(80)));
    EXPECT_EQ("===---  62 %  1240 pages  8.3 pages/s  1:32 left  3 failed", ProgressBar(stand, Wide(59)));
    EXPECT_EQ("================----------  62% 1240p 8.3/s 1:32 3 failed", ProgressBar(stand, Wide(58)));
    EXPECT_EQ("====----  62% 1240p 8.3/s 1:32 3 failed", ProgressBar(stand, Wide(40)));
    EXPECT_EQ("===---  62% 1240p 8.3/s 1:32 3 failed", ProgressBar(stand, Wide(38)));
    EXPECT_EQ("62% 1240p 8.3/s 1:32 3 failed", ProgressBar(stand, Wide(37)));
    EXPECT_EQ("62% 1240p 8.3/s 1:32 3 failed", ProgressBar(stand, Wide(30)));
    for (const int columns : {29, 20, 10, 4}) EXPECT_EQ("62%", ProgressBar(stand, Wide(columns))) << columns;
    EXPECT_EQ("62", ProgressBar(stand, Wide(3)));
    EXPECT_EQ("6", ProgressBar(stand, Wide(2)));
    EXPECT_EQ("", ProgressBar(stand, Wide(1)));
    EXPECT_EQ("", ProgressBar(stand, Wide(0)));
}

TEST(ProgressBar, ColourAndUnicodeTakeNoRoom)
{
    BarStyle style = Wide(40);
    style.unicode = true;
    EXPECT_EQ("━━━━────  62% 1240p 8.3/s 1:32 3 failed", ProgressBar(Half(), style));
    style.colour = true;
    EXPECT_EQ("\033[32m━━━━\033[2;39m────\033[0m  62% 1240p 8.3/s 1:32 \033[31m3 failed\033[0m",
              ProgressBar(Half(), style));
}

TEST(ProgressBar, FullAndEmptyBarsAreWhole)
{
    Stand stand;
    stand.inputs = 7;
    EXPECT_EQ("--------  0% 0p 0.0/s", ProgressBar(stand, Wide(22)));
    stand.done = stand.worked = stand.pages = 7;
    stand.seconds = 1.0;
    EXPECT_EQ("==========  100% 7p 7.0/s 0:00", ProgressBar(stand, Wide(31)));
}

TEST(ProgressBar, IsNeverWiderThanTheTerminalButItsLastColumn)
{
    constexpr const char* kPlain = " 0123456789.:%=-/abcdefghijklmnopqrstuvwxyz";
    Stand stand = Half();
    for (const size_t factor : {size_t{0}, size_t{1}, size_t{1000000}}) {
        stand.pages = stand.failed = 1240 * factor;
        for (int columns = 0; columns < 200; ++columns)
            for (const bool fancy : {false, true}) {
                const std::string bar = ProgressBar(stand, {columns, fancy, fancy});
                EXPECT_LE(WidthOf(bar), std::max(columns - 1, 0)) << bar;
                EXPECT_TRUE(fancy || bar.find_first_not_of(kPlain) == std::string::npos) << bar;
            }
    }
}

} // namespace

} // namespace tool
