/*
 * ContactSheet_test.cpp - order, pages, links and texts of the contact sheet.
 */
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "quarlo/pages.hpp"

namespace
{

using namespace quarlo;

SheetEntry Entry(const std::string& title, Status status, double score)
{
    SheetEntry entry;
    entry.title = title;
    entry.overlay = title + ".svg";
    entry.status = status;
    entry.score = score;
    return entry;
}

/* The titles in the order of the cards. */
std::vector<std::string> Titles(const std::string& html)
{
    std::vector<std::string> titles;
    const std::string before = "<h2 class=\"title\">";
    for (std::size_t at = html.find(before); at != std::string::npos; at = html.find(before, at + 1)) {
        const std::size_t begin = at + before.size();
        titles.push_back(html.substr(begin, html.find("</h2>", begin) - begin));
    }
    return titles;
}

ContactSheet SheetOf(const std::vector<SheetEntry>& entries)
{
    ContactSheet sheet;
    for (const SheetEntry& entry : entries) sheet.Add(entry);
    return sheet;
}

std::string FirstPage(const std::vector<SheetEntry>& entries) { return SheetOf(entries).Page(1); }

/* So many pages, the first the best. */
ContactSheet Numbered(int count)
{
    ContactSheet sheet;
    for (int i = 0; i < count; ++i) sheet.Add(Entry(std::to_string(i), Status::ok, 1.0 - i * 1e-7));
    return sheet;
}

/* The navigation of a page, up to its end. */
std::string Navigation(const std::string& html)
{
    const std::size_t begin = html.find("<nav ");
    return begin == std::string::npos ? "" : html.substr(begin, html.find("</nav>", begin) - begin);
}

/* The numbers that are linked, in their order; the page's own is among them, as text. */
std::vector<std::string> Numbers(const std::string& html)
{
    std::vector<std::string> numbers;
    const std::string navigation = Navigation(html);
    for (std::size_t at = navigation.find('>'); at != std::string::npos; at = navigation.find('>', at + 1)) {
        const std::string text = navigation.substr(at + 1, navigation.find('<', at) - at - 1);
        if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) numbers.push_back(text);
    }
    return numbers;
}

bool Has(const std::string& html, const std::string& text) { return html.find(text) != std::string::npos; }

TEST(ContactSheet, WorstComesFirst)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    const std::string html = FirstPage(
        {Entry("good", Status::ok, 0.9), Entry("poor", Status::ok, 0.5), Entry("refused", Status::refused, 0.4),
         Entry("no frame", Status::no_frame, 0.0), Entry("same as poor", Status::ok, 0.5),
         Entry("copied", Status::copied, 0.1), Entry("odd", Status::ok, none), Entry("error", Status::error, 0.0)});
    EXPECT_EQ(
        (std::vector<std::string>{"no frame", "error", "copied", "refused", "odd", "poor", "same as poor", "good"}),
        Titles(html));
}

TEST(ContactSheet, EqualScoresKeepTheirOrder)
{
    std::vector<SheetEntry> entries;
    std::vector<std::string> titles;
    for (int i = 0; i < 100; ++i) {
        titles.push_back("page " + std::to_string(i));
        entries.push_back(Entry(titles.back(), Status::ok, 0.5));
    }
    EXPECT_EQ(titles, Titles(FirstPage(entries)));
}

TEST(ContactSheet, HeadingCountsPagesByStatus)
{
    const std::string html =
        FirstPage({Entry("a", Status::ok, 0.9), Entry("b", Status::ok, 0.5), Entry("c", Status::refused, 0.4)});
    EXPECT_TRUE(Has(html, "<h1>Quarlo: 3 pages, worst first</h1>"));
    EXPECT_TRUE(Has(html, "<li><span class=\"badge refused\">1 refused</span></li>\n"
                          "<li><span class=\"badge ok\">2 cut out</span></li>\n</ul>"));
    EXPECT_FALSE(Has(html, "badge error"));
    EXPECT_TRUE(Has(FirstPage({Entry("a", Status::ok, 0.9)}), "<h1>Quarlo: 1 page, worst first</h1>"));
    EXPECT_TRUE(Has(FirstPage({}), "<h1>Quarlo: 0 pages, worst first</h1>"));
}

TEST(ContactSheet, CardIsALinkWithPictureScoreAngleAndNote)
{
    SheetEntry entry = Entry("scan 1", Status::refused, 0.256);
    entry.angle_deg = -0.001;
    entry.note = "too little backed";
    EXPECT_TRUE(Has(FirstPage({entry}),
                    "<li><a class=\"card\" href=\"scan%201.svg\"><img loading=\"lazy\" src=\"scan%201.svg\" "
                    "alt=\"Drawing of scan 1\"/>\n"
                    "<div class=\"about\"><h2 class=\"title\">scan 1</h2>\n"
                    "<p class=\"facts\"><span class=\"badge refused\">refused</span><span>score 0.26</span>"
                    "<span>turn 0.00&#176;</span></p>\n"
                    "<p class=\"note\">too little backed</p>\n</div></a></li>\n"));
}

TEST(ContactSheet, PageWithoutFrameTellsNoScore)
{
    EXPECT_FALSE(Has(FirstPage({Entry("a", Status::no_frame, 0.0)}), "score 0"));
    EXPECT_FALSE(Has(FirstPage({Entry("a", Status::copied, 0.0)}), "score 0"));
    EXPECT_TRUE(Has(FirstPage({Entry("a", Status::copied, 0.25)}), "score 0.25"));
    EXPECT_TRUE(Has(FirstPage({Entry("a", Status::ok, 0.0)}), "score 0.00"));
}

TEST(ContactSheet, PageWithoutDrawingIsNoLink)
{
    SheetEntry entry = Entry("unread", Status::error, 0.0);
    entry.overlay.clear();
    const std::string html = FirstPage({entry});
    EXPECT_TRUE(Has(html, "<li><div class=\"card\" tabindex=\"-1\"><div class=\"none\">no drawing</div>\n<div"));
    EXPECT_FALSE(Has(html, "<a "));
    EXPECT_FALSE(Has(html, "<img "));
}

TEST(ContactSheet, ThumbnailStandsForTheDrawing)
{
    SheetEntry entry = Entry("a", Status::ok, 1.0);
    entry.thumbnail = "thumbnails/a.png";
    EXPECT_TRUE(Has(FirstPage({entry}),
                    "<a class=\"card\" href=\"a.svg\"><img loading=\"lazy\" src=\"thumbnails/a.png\" alt"));
    entry.overlay.clear();
    EXPECT_TRUE(Has(FirstPage({entry}),
                    "<div class=\"card\" tabindex=\"-1\"><img loading=\"lazy\" src=\"thumbnails/a.png\" alt"));
}

TEST(ContactSheet, PageLeftFromAnEarlierRunComesLastAndSaysSo)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    SheetEntry known = Entry("known", Status::ok, 0.25), unknown = Entry("unknown", Status::no_frame, none);
    known.left = unknown.left = true;
    const std::string html = FirstPage({known, unknown, Entry("good", Status::ok, 0.9)});
    EXPECT_EQ((std::vector<std::string>{"good", "unknown", "known"}), Titles(html));
    EXPECT_TRUE(Has(html,
                    ">unknown</h2>\n<p class=\"facts\"><span class=\"badge left\">left from an earlier run</span>"
                    "</p>\n"));
    EXPECT_TRUE(Has(html,
                    ">known</h2>\n<p class=\"facts\"><span class=\"badge left\">left from an earlier run</span>"
                    "<span>score 0.25</span>"));
    EXPECT_TRUE(Has(html, "<ul class=\"counts\">\n<li><span class=\"badge ok\">1 cut out</span></li>\n"
                          "<li><span class=\"badge left\">2 left from an earlier run</span></li>\n</ul>"));
}

TEST(ContactSheet, ScoreThatIsNotKnownIsNotTold)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(Has(FirstPage({Entry("a", Status::ok, none)}), "score"));
}

TEST(ContactSheet, PagesHold500EntriesEachInOneOrder)
{
    ContactSheet sheet = Numbered(1203);
    ASSERT_EQ(3, sheet.page_count());
    std::vector<std::string> expected, titles;
    for (int i = 1202; i >= 0; --i) expected.push_back(std::to_string(i));
    for (const std::size_t count : {500U, 500U, 203U}) {
        const int page = static_cast<int>(titles.size() / 500) + 1;
        const std::vector<std::string> more = Titles(sheet.Page(page));
        EXPECT_EQ(count, more.size());
        titles.insert(titles.end(), more.begin(), more.end());
    }
    EXPECT_EQ(expected, titles);
}

TEST(ContactSheet, PageCountIsRoundedUpAndAtLeastOne)
{
    EXPECT_EQ(1, Numbered(0).page_count());
    EXPECT_EQ(1, Numbered(1).page_count());
    EXPECT_EQ(1, Numbered(500).page_count());
    EXPECT_EQ(2, Numbered(501).page_count());
    EXPECT_EQ(2, Numbered(1000).page_count());
    EXPECT_EQ(3, Numbered(1001).page_count());
}

TEST(ContactSheet, PageThatIsNotThereIsEmpty)
{
    ContactSheet sheet = Numbered(501);
    for (const int page : {-1, 0, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        EXPECT_EQ("", sheet.Page(page)) << page;
    EXPECT_EQ((std::vector<std::string>{"0"}), Titles(sheet.Page(2)));
}

TEST(ContactSheet, EntryAddedLaterFindsItsPlace)
{
    ContactSheet sheet = SheetOf({Entry("good", Status::ok, 0.9), Entry("poor", Status::ok, 0.5)});
    EXPECT_EQ((std::vector<std::string>{"poor", "good"}), Titles(sheet.Page(1)));
    sheet.Add(Entry("middle", Status::ok, 0.7));
    sheet.Add(Entry("as poor", Status::ok, 0.5));
    const std::string html = sheet.Page(1);
    EXPECT_EQ((std::vector<std::string>{"poor", "as poor", "middle", "good"}), Titles(html));
    EXPECT_TRUE(Has(html, "4 cut out"));
}

TEST(ContactSheet, PagesAreNamedByTheirNumbers)
{
    EXPECT_EQ("index.html", ContactSheet::NameOf(1));
    EXPECT_EQ("index-2.html", ContactSheet::NameOf(2));
    EXPECT_EQ("index-2000.html", ContactSheet::NameOf(2000));
}

TEST(ContactSheet, PagesLinkToEachOther)
{
    ContactSheet sheet = Numbered(1203);
    EXPECT_EQ("<nav class=\"sheets\" aria-label=\"Sheets\">\n<p>Sheet 1 of 3</p>\n<a>first</a>\n<a>previous</a>\n"
              "<a rel=\"next\" href=\"index-2.html\">next</a>\n<a href=\"index-3.html\">last</a>\n"
              "<b aria-current=\"page\">1</b>\n<a href=\"index-2.html\">2</a>\n<a href=\"index-3.html\">3</a>\n",
              Navigation(sheet.Page(1)));
    EXPECT_EQ(
        "<nav class=\"sheets\" aria-label=\"Sheets\">\n<p>Sheet 2 of 3</p>\n<a href=\"index.html\">first</a>\n"
        "<a rel=\"prev\" href=\"index.html\">previous</a>\n<a rel=\"next\" href=\"index-3.html\">next</a>\n"
        "<a href=\"index-3.html\">last</a>\n<a href=\"index.html\">1</a>\n<b aria-current=\"page\">2</b>\n"
        "<a href=\"index-3.html\">3</a>\n",
        Navigation(sheet.Page(2)));
    EXPECT_TRUE(Has(Navigation(sheet.Page(3)),
                    "<a rel=\"prev\" href=\"index-2.html\">previous</a>\n<a>next</a>\n<a>last</a>\n"));
    EXPECT_TRUE(Has(sheet.Page(3), "<title>Quarlo: 1203 pages, worst first. Sheet 3 of 3</title>"));
    EXPECT_EQ("", Navigation(Numbered(500).Page(1)));
}

TEST(ContactSheet, LinkedNumbersReachFarInGrowingSteps)
{
    ContactSheet sheet = Numbered(500 * 60);
    EXPECT_EQ((std::vector<std::string>{"1", "2", "3", "6", "11", "21", "51", "60"}), Numbers(sheet.Page(1)));
    EXPECT_EQ(
        (std::vector<std::string>{"1", "5", "15", "20", "23", "24", "25", "26", "27", "30", "35", "45", "60"}),
        Numbers(sheet.Page(25)));
}

TEST(ContactSheet, NamesAreEscaped)
{
    SheetEntry entry = Entry("<b>\"'&\x01\xFF", Status::ok, 1.0);
    entry.overlay = "a b/c#d?e%f\"g'h<i>&j:k\xFFl\xC3\xA9~.svg";
    entry.note = "<script>";
    entry.thumbnail = "s/\"&#.png";
    const std::string html = FirstPage({entry});
    const std::string url = "a%20b/c%23d%3Fe%25f%22g%27h%3Ci%3E%26j%3Ak%FFl%C3%A9~.svg";
    EXPECT_TRUE(Has(html, "href=\"" + url + "\"><img loading=\"lazy\" src=\"s/%22%26%23.png\" "));
    entry.thumbnail.clear();
    EXPECT_TRUE(Has(FirstPage({entry}), "href=\"" + url + "\"><img loading=\"lazy\" src=\"" + url + "\" "));
    EXPECT_TRUE(Has(html, "alt=\"Drawing of &lt;b&gt;&quot;&#39;&amp;\xEF\xBF\xBD\xEF\xBF\xBD\""));
    EXPECT_TRUE(Has(html, ">&lt;script&gt;</p>"));
    EXPECT_EQ(html.find("<script"), html.rfind("<script"));
    EXPECT_FALSE(Has(html, "<b>"));
}

TEST(ContactSheet, NeedsNoNetwork)
{
    const std::string html = FirstPage({Entry("a", Status::ok, 1.0)});
    EXPECT_FALSE(Has(html, "http"));
    EXPECT_FALSE(Has(html, "<link"));
    EXPECT_FALSE(Has(html, "@import"));
    EXPECT_FALSE(Has(html, "url("));
    EXPECT_FALSE(Has(html, "<script "));
}

} // namespace
