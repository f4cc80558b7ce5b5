/*
 * ContactSheet_test.cpp - order, links and texts of the contact sheet.
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

bool Has(const std::string& html, const std::string& text) { return html.find(text) != std::string::npos; }

TEST(ContactSheet, WorstComesFirst)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    const std::string html = ContactSheet(
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
    EXPECT_EQ(titles, Titles(ContactSheet(entries)));
}

TEST(ContactSheet, HeadingCountsPagesByStatus)
{
    const std::string html =
        ContactSheet({Entry("a", Status::ok, 0.9), Entry("b", Status::ok, 0.5), Entry("c", Status::refused, 0.4)});
    EXPECT_TRUE(Has(html, "<h1>Quarlo: 3 pages, worst first</h1>"));
    EXPECT_TRUE(Has(html, "<li><span class=\"badge refused\">1 refused</span></li>\n"
                          "<li><span class=\"badge ok\">2 cut out</span></li>\n</ul>"));
    EXPECT_FALSE(Has(html, "badge error"));
    EXPECT_TRUE(Has(ContactSheet({Entry("a", Status::ok, 0.9)}), "<h1>Quarlo: 1 page, worst first</h1>"));
    EXPECT_TRUE(Has(ContactSheet({}), "<h1>Quarlo: 0 pages, worst first</h1>"));
}

TEST(ContactSheet, CardIsALinkWithPictureScoreAngleAndNote)
{
    SheetEntry entry = Entry("scan 1", Status::refused, 0.256);
    entry.angle_deg = -0.001;
    entry.note = "too little backed";
    EXPECT_TRUE(Has(ContactSheet({entry}),
                    "<li><a class=\"card\" href=\"scan%201.svg\"><img loading=\"lazy\" src=\"scan%201.svg\" "
                    "alt=\"Drawing of scan 1\"/>\n"
                    "<div class=\"about\"><h2 class=\"title\">scan 1</h2>\n"
                    "<p class=\"facts\"><span class=\"badge refused\">refused</span><span>score 0.26</span>"
                    "<span>turn 0.00&#176;</span></p>\n"
                    "<p class=\"note\">too little backed</p>\n</div></a></li>\n"));
}

TEST(ContactSheet, PageWithoutFrameTellsNoScore)
{
    EXPECT_FALSE(Has(ContactSheet({Entry("a", Status::no_frame, 0.0)}), "score 0"));
    EXPECT_FALSE(Has(ContactSheet({Entry("a", Status::copied, 0.0)}), "score 0"));
    EXPECT_TRUE(Has(ContactSheet({Entry("a", Status::copied, 0.25)}), "score 0.25"));
    EXPECT_TRUE(Has(ContactSheet({Entry("a", Status::ok, 0.0)}), "score 0.00"));
}

TEST(ContactSheet, PageWithoutDrawingIsNoLink)
{
    SheetEntry entry = Entry("unread", Status::error, 0.0);
    entry.overlay.clear();
    const std::string html = ContactSheet({entry});
    EXPECT_TRUE(Has(html, "<li><div class=\"card\"><div class=\"none\">no drawing</div>"));
    EXPECT_FALSE(Has(html, "<a "));
    EXPECT_FALSE(Has(html, "<img "));
}

TEST(ContactSheet, NamesAreEscaped)
{
    SheetEntry entry = Entry("<b>\"'&\x01\xFF", Status::ok, 1.0);
    entry.overlay = "a b/c#d?e%f\"g'h<i>&j:k\xFFl\xC3\xA9~.svg";
    entry.note = "<script>";
    const std::string html = ContactSheet({entry});
    const std::string url = "a%20b/c%23d%3Fe%25f%22g%27h%3Ci%3E%26j%3Ak%FFl%C3%A9~.svg";
    EXPECT_TRUE(Has(html, "href=\"" + url + "\"><img loading=\"lazy\" src=\"" + url + "\" "));
    EXPECT_TRUE(Has(html, "alt=\"Drawing of &lt;b&gt;&quot;&#39;&amp;\xEF\xBF\xBD\xEF\xBF\xBD\""));
    EXPECT_TRUE(Has(html, ">&lt;script&gt;</p>"));
    EXPECT_FALSE(Has(html, "<script"));
    EXPECT_FALSE(Has(html, "<b>"));
}

TEST(ContactSheet, NeedsNoNetwork)
{
    const std::string html = ContactSheet({Entry("a", Status::ok, 1.0)});
    EXPECT_FALSE(Has(html, "http"));
    EXPECT_FALSE(Has(html, "<link"));
    EXPECT_FALSE(Has(html, "@import"));
}

} // namespace
