/*
 * tool_sources_test.cpp - which files a call works on.
 */
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Sources.h"

using quarlo::Code;
using quarlo::Problem;

namespace tool
{

namespace
{

class ListSourcesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "quarlo_sources_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        folder_ = pattern;
        before_ = std::filesystem::current_path();
        std::filesystem::current_path(folder_);
        options.given.recursive = true;
    }
    void TearDown() override
    {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(folder_);
    }

    static void Make(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            const std::filesystem::path path(name);
            if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
            std::ofstream(path) << "x";
        }
    }
    static void Write(const std::string& name, const std::string& text)
    {
        std::ofstream(name, std::ios::binary) << text;
    }

    using List = std::vector<std::string>;

    List Found(const List& given)
    {
        options.given.names = given;
        options.inputs.clear();
        const Problem problem = ListSources(&options);
        EXPECT_FALSE(problem) << problem.reason;
        List names;
        for (const Source& source : options.inputs) names.push_back(source.name);
        return names;
    }
    List Below() const
    {
        List folders;
        for (const Source& source : options.inputs) folders.push_back(source.below);
        return folders;
    }
    List Listed(const std::string& text)
    {
        Write("list", text);
        options.given.list = "list";
        return Found({});
    }

    Options options;

private:
    std::string folder_;
    std::filesystem::path before_;
};

/* ---- Folders ---- */

TEST_F(ListSourcesTest, FolderStandsForThePicturesInItAndBelowSortedByName)
{
    Make({"in/b.png", "in/a.tif", "in/B.JPG", "in/c/z.pnm", "in/c/y/x.bmp", "in/10.pgm", "in/9.pbm"});
    EXPECT_EQ((List{"in/10.pgm", "in/9.pbm", "in/B.JPG", "in/a.tif", "in/b.png", "in/c/y/x.bmp", "in/c/z.pnm"}),
              Found({"in"}));
    EXPECT_EQ((List{"", "", "", "", "", "c/y", "c"}), Below());
}

TEST_F(ListSourcesTest, NamesKeepTheOrderInWhichTheyAreGiven)
{
    Make({"in/b.png", "in/a.png", "z.png", "y.txt", "other/o.png"});
    EXPECT_EQ((List{"z.png", "in/a.png", "in/b.png", "y.txt", "other/o.png", "-"}),
              Found({"z.png", "in", "y.txt", "other", "-"}));
    EXPECT_EQ(List(6), Below());
}

TEST_F(ListSourcesTest, WithoutRecursionAFolderIsAnInputLikeAnyOther)
{
    Make({"in/a.png"});
    options.given.recursive = false;
    EXPECT_EQ((List{"in"}), Found({"in"}));
}

TEST_F(ListSourcesTest, HiddenFilesAndOtherExtensionsAreLeftOut)
{
    Make({"in/.a.png", "in/.hidden/b.png", "in/c.txt", "in/png", "in/d.png.bak", "in/e.svg", "in/f.png"});
    EXPECT_EQ((List{"in/f.png"}), Found({"in"}));
    EXPECT_EQ((List{"in/.hidden/b.png"}), Found({"in/.hidden"}));
    EXPECT_EQ((List{"in/.a.png", "in/c.txt"}), Found({"in/.a.png", "in/c.txt"}));
}

TEST_F(ListSourcesTest, LinksToFoldersAreNotFollowedButLinksToFilesAre)
{
    Make({"in/a.png", "else/b.png"});
    std::filesystem::create_directory_symlink("..", "in/loop");
    std::filesystem::create_directory_symlink("../else", "in/c.png");
    std::filesystem::create_symlink("../else/b.png", "in/link.png");
    EXPECT_EQ((List{"in/a.png", "in/link.png"}), Found({"in"}));
    std::filesystem::create_directory_symlink("else", "given");
    EXPECT_EQ((List{"given/b.png"}), Found({"given"}));
}

TEST_F(ListSourcesTest, WhatIsNoOrdinaryFileIsLeftOut)
{
    Make({"in/a.png"});
    ASSERT_EQ(0, mkfifo("in/pipe.png", 0600));
    EXPECT_EQ((List{"in/a.png"}), Found({"in"}));
    EXPECT_EQ((List{"in/pipe.png"}), Found({"in/pipe.png"}));
}

TEST_F(ListSourcesTest, FoldersOfResultsAndDrawingsAreLeftOut)
{
    Make({"in/a.png", "in/out/a_q.png", "in/sub/check/a.png", "in/sub/b.png"});
    options.folder = "in/sub/../out/";
    options.overlay = "./in/sub/check";
    EXPECT_EQ((List{"in/a.png", "in/sub/b.png"}), Found({"in"}));
    EXPECT_EQ((List{"in/out/a_q.png"}), Found({"in/out"}));
}

TEST_F(ListSourcesTest, EmptyFolderIsNoInput)
{
    std::filesystem::create_directories("in/empty");
    EXPECT_EQ(List{}, Found({"in"}));
}

TEST_F(ListSourcesTest, FolderThatCannotBeReadIsAnInputOfItsOwn)
{
    constexpr uid_t kNobody = 65534;
    const uid_t us = geteuid();
    Make({"in/a.png", "in/b/c.png", "in/d.png"});
    for (const char* folder : {".", "in"}) ASSERT_EQ(0, chmod(folder, 0755));
    ASSERT_EQ(0, chmod("in/b", 0));
    /* Root may read all folders. */
    ASSERT_EQ(0, us == 0 ? seteuid(kNobody) : 0);
    const List found = Found({"in"});
    ASSERT_EQ(0, seteuid(us));
    EXPECT_EQ((List{"in/a.png", "in/b", "in/d.png"}), found);
    EXPECT_EQ((List{"", "b", ""}), Below());
    ASSERT_EQ(0, chmod("in/b", 0700));
}

/* ---- Results of earlier runs ---- */

TEST_F(ListSourcesTest, ResultsBesideTheirScansAreLeftOut)
{
    Make({"in/a.png", "in/a_q.png", "in/b.tif", "in/b_q-1.png", "in/b_q-12.png", "in/b_q.jpg"});
    EXPECT_EQ((List{"in/a.png", "in/b.tif"}), Found({"in"}));
}

TEST_F(ListSourcesTest, NameThatOnlyLooksLikeAResultIsTaken)
{
    const List names = {"in/a_q.png", "in/b_q-x.png", "in/b_q2.png", "in/b.png", "in/c/b_q.png", "in/c_q.png"};
    Make(names);
    EXPECT_EQ((List{"in/a_q.png", "in/b.png", "in/b_q-x.png", "in/b_q2.png", "in/c/b_q.png", "in/c_q.png"}),
              Found({"in"}));
}

TEST_F(ListSourcesTest, ResultOfAResultIsLeftOutWithIt)
{
    Make({"in/a.png", "in/a_q.png", "in/a_q_q.png", "in/a_q-1_q.png"});
    EXPECT_EQ((List{"in/a.png", "in/a_q-1_q.png"}), Found({"in"}));
}

TEST_F(ListSourcesTest, ResultsAreKnownByThePattern)
{
    struct Case {
        const char* pattern;
        List names, found;
    };
    for (const Case& c : {Case{"page {page} of {stem}.{ext}",
                               {"in/a.tif", "in/page 1 of a.png", "in/page of a.png", "in/page 2 of b.png"},
                               {"in/a.tif", "in/page 2 of b.png", "in/page of a.png"}},
                          Case{"{stem}{page}.png",
                               {"in/a.tif", "in/a1.png", "in/a23.png", "in/a23.tif", "in/b1.png"},
                               {"in/a.tif", "in/a23.tif", "in/b1.png"}},
                          Case{"{stem}-{stem}2.{ext}",
                               {"in/a.tif", "in/a-a2.tif", "in/a-a2-7.png", "in/a-b2.tif", "in/a-a.tif"},
                               {"in/a-a.tif", "in/a-b2.tif", "in/a.tif"}},
                          Case{"[{stem}](+)$^.{ext}",
                               {"in/a.tif", "in/[a](+)$^.tif", "in/[a]()$^.tif"},
                               {"in/[a]()$^.tif", "in/a.tif"}},
                          Case{"{stem}_q.{ext}", {"in/x\ny.tif", "in/x\ny_q.tif"}, {"in/x\ny.tif"}},
                          Case{"{stem}_q.{ext}", {"in/\xff\xfe.tif", "in/\xff\xfe_q.tif"}, {"in/\xff\xfe.tif"}},
                          Case{"all.png", {"in/a.tif", "in/all.png"}, {"in/a.tif", "in/all.png"}}}) {
        std::filesystem::remove_all("in");
        Make(c.names);
        options.name = c.pattern;
        EXPECT_EQ(c.found, Found({"in"})) << c.pattern;
    }
}

TEST_F(ListSourcesTest, FileIsNeverTheResultOfItself)
{
    Make({"in/a.png", "in/a.tif", "in/a-1.png"});
    options.name = "{stem}.{ext}";
    EXPECT_EQ((List{"in/a-1.png", "in/a.png", "in/a.tif"}), Found({"in"}));
}

TEST_F(ListSourcesTest, WhereResultsGoElsewhereOrOverTheirScansNoneAreExpected)
{
    Make({"in/a.png", "in/a_q.png"});
    options.folder = "out";
    EXPECT_EQ((List{"in/a.png", "in/a_q.png"}), Found({"in"}));
    options.folder = "in/../in";
    EXPECT_EQ((List{"in/a.png"}), Found({"in"}));
    options.folder = "";
    options.in_place = true;
    EXPECT_EQ((List{"in/a.png", "in/a_q.png"}), Found({"in"}));
}

TEST_F(ListSourcesTest, LongNamesAreKnownToo)
{
    const std::string stem(240, 'a');
    Make({"in/" + stem + ".png", "in/" + stem + "_q-123.png"});
    EXPECT_EQ((List{"in/" + stem + ".png"}), Found({"in"}));
}

/* ---- Folders of names ---- */

TEST_F(ListSourcesTest, ParentsKeepTheFoldersOfNames)
{
    Make({"a/b/c.png"});
    options.given.parents = true;
    options.given.recursive = false;
    EXPECT_EQ((List{"a/b/c.png", "./a/./b/c.png", "../../x/../up.png", "/root/r.png", "-", "plain.png"}),
              Found({"a/b/c.png", "./a/./b/c.png", "../../x/../up.png", "/root/r.png", "-", "plain.png"}));
    EXPECT_EQ((List{"a/b", "a/b", "", "root", "", ""}), Below());
    options.given.recursive = true;
    EXPECT_EQ((List{"a/b/c.png"}), Found({"a"}));
    EXPECT_EQ((List{"a/b"}), Below());
}

/* ---- Lists ---- */

TEST_F(ListSourcesTest, ListHoldsANameALine)
{
    options.given.recursive = false;
    EXPECT_EQ((List{"a.png", " b .png", "c"}), Listed("a.png\n b .png\nc\n"));
    EXPECT_EQ((List{"a.png", "c"}), Listed("a.png\nc"));
    EXPECT_EQ((List{"a.png", "b.png", "c\rd"}), Listed("a.png\r\n\r\n\nb.png\r\nc\rd"));
    EXPECT_EQ(List{}, Listed(""));
    EXPECT_EQ(List{}, Listed("\n\r\n\n"));
}

TEST_F(ListSourcesTest, DashInAListIsAFileOfThatName) { EXPECT_EQ((List{"./-", "a"}), Listed("-\na\n")); }

TEST_F(ListSourcesTest, NamesThatEndInNulMayHoldAnythingElse)
{
    options.given.nul = true;
    EXPECT_EQ((List{"a\nb", "c\r", "./-"}), Listed(std::string("a\nb\0c\r\0\0-\0", 10)));
    EXPECT_EQ((List{"a\n"}), Listed("a\n"));
}

TEST_F(ListSourcesTest, NamesComeBeforeTheListAndFoldersInAListAreSearchedToo)
{
    Make({"in/a.png"});
    Write("list", "in\nz\n");
    options.given.list = "list";
    EXPECT_EQ((List{"x", "in/a.png", "z"}), Found({"x"}));
    options.given.recursive = false;
    EXPECT_EQ((List{"x", "in", "z"}), Found({"x"}));
}

TEST_F(ListSourcesTest, ListThatCannotBeReadIsAProblem)
{
    std::filesystem::create_directory("folder");
    for (const char* name : {"missing", "folder"}) {
        options.given.list = name;
        EXPECT_EQ(Code::cannot_read, ListSources(&options).code) << name;
    }
}

/* ---- Parts ---- */

TEST(PartOf, AllPartsInOrderAreTheWholeAndDifferByOneAtMost)
{
    for (const size_t count : {0u, 1u, 2u, 5u, 6u, 7u, 100u, 101u})
        for (const int shards : {1, 2, 3, 7, 100, 1000}) {
            size_t end = 0;
            for (int number = 1; number <= shards; ++number) {
                const Part part = PartOf({number, shards}, count);
                EXPECT_EQ(end, part.begin) << number << "/" << shards << " of " << count;
                end = part.end;
                const size_t size = part.end - part.begin, least = count / static_cast<size_t>(shards);
                EXPECT_TRUE(size == least || size == least + 1) << size;
            }
            EXPECT_EQ(count, end);
        }
}

TEST(PartOf, NumbersAsLargeAsCanBeDoNotWrap)
{
    const size_t most = std::numeric_limits<size_t>::max();
    const int many = std::numeric_limits<int>::max();
    EXPECT_EQ(0u, PartOf({1, many}, most).begin);
    EXPECT_EQ(most, PartOf({many, many}, most).end);
    EXPECT_EQ(PartOf({many - 1, many}, most).end, PartOf({many, many}, most).begin);
    EXPECT_EQ(most / 2, PartOf({1, 2}, most).end);
    EXPECT_EQ(most, PartOf({1, 1}, most).end);
}

} // namespace

} // namespace tool
