/*
 * tool_output_test.cpp - the files that the tool reads and writes: names, formats, documents, what may be replaced.
 */
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "support/ToolTest.h"

using nlohmann::json;
using quarlo::Page;
using quarlo::Resolution;
using test::Exists;
using test::Load;
using test::PixelsOf;
using test::ReadAll;
using test::Save;
using test::Sheet;
using test::WriteAll;

namespace
{

class ToolOutput : public test::ToolTest
{
protected:
    /* A document whose pages have other widths; the second is blank if so asked. */
    void MakeDocument(const std::string& name, bool second_is_blank = false)
    {
        std::vector<Page> pages;
        for (int i = 0; i < 3; ++i) {
            Sheet sheet;
            sheet.width = 300.0 + 50.0 * i;
            sheet.angle_deg = i - 1.0;
            pages.push_back(test::PageOf(sheet, 100.0 + i));
            /* Document name, artist. */
            pages.back().meta.tags = {Text(269, "page " + std::to_string(i + 1)), Text(315, "somebody")};
        }
        if (second_is_blank) pages[1].bitmap = test::DrawNothing(310, 320, 8);
        Save({&pages[0], &pages[1], &pages[2]}, Path(name));
    }
    static quarlo::TiffTag Text(std::uint32_t tag, const std::string& text)
    {
        quarlo::TiffTag item;
        item.tag = tag;
        item.type = 2;
        item.count = text.size() + 1;
        item.values.assign(text.begin(), text.end());
        item.values.push_back(0);
        return item;
    }
    mode_t ModeOf(const std::string& name) const
    {
        struct stat status = {};
        EXPECT_EQ(0, stat(Path(name).c_str(), &status));
        return status.st_mode & 07777;
    }
};

std::string TagText(const Page& page, std::uint32_t number)
{
    for (const quarlo::TiffTag& tag : page.meta.tags)
        if (tag.tag == number) return reinterpret_cast<const char*>(tag.values.data());
    return "";
}

/* ---- Names ---- */

TEST_F(ToolOutput, ResultLiesBesideItsInput)
{
    ASSERT_EQ(0, std::system(("mkdir '" + Path("sub") + "'").c_str()));
    Make("sub/scan.v2.TIF");
    EXPECT_EQ(0, Run("sub/scan.v2.TIF")) << err;
    EXPECT_EQ("", out);
    EXPECT_EQ("", err);
    EXPECT_EQ("scan.v2.TIF scan.v2_q.TIF ", Files("sub"));
}

TEST_F(ToolOutput, FolderIsCreatedAndNamesFollowThePattern)
{
    Make("a.jpg");
    Make("b.bmp");
    EXPECT_EQ(0, Run("-O out/deep a.jpg b.bmp")) << err;
    EXPECT_EQ("a_q.jpg b_q.bmp ", Files("out/deep"));
    EXPECT_EQ(0, Run("-O out2 --name '{stem}.{ext}' -f tiff a.jpg b.bmp")) << err;
    EXPECT_EQ("a.tif b.tif ", Files("out2"));
    EXPECT_EQ(0, Run("-O out3 --name 'p{page}-{stem}.png' a.jpg b.bmp")) << err;
    EXPECT_EQ("p1-a.png p1-b.png ", Files("out3"));
    EXPECT_EQ(quarlo::Format::png, Load(Path("out3/p1-a.png")).at(0).meta.format);
}

TEST_F(ToolOutput, FormatFollowsOptionThenNameThenInput)
{
    Make("scan.png");
    EXPECT_EQ(0, Run("-o page.tif scan.png")) << err;
    EXPECT_EQ(quarlo::Format::tiff, Load(Path("page.tif")).at(0).meta.format);
    EXPECT_EQ(0, Run("-o page scan.png")) << err;
    EXPECT_EQ("", err);
    EXPECT_EQ(quarlo::Format::png, Load(Path("page")).at(0).meta.format);
    EXPECT_EQ(0, Run("-f bmp -o page.jpg scan.png"));
    EXPECT_EQ("quarlo: scan.png: page 1: warning: page.jpg is written as bmp, which its name does not say\n", err);
    EXPECT_EQ(quarlo::Format::bmp, Load(Path("page.jpg")).at(0).meta.format);
    /* The content counts, not the name. */
    ASSERT_EQ(0, std::rename(Path("scan.png").c_str(), Path("scan.bmp").c_str()));
    EXPECT_EQ(0, Run("scan.bmp")) << err;
    EXPECT_EQ(quarlo::Format::png, Load(Path("scan_q.png")).at(0).meta.format);
}

/* ---- Documents ---- */

TEST_F(ToolOutput, ThreePageTiffKeepsItsPagesTheirOrderAndTags)
{
    MakeDocument("scan.tif");
    ASSERT_EQ(0, Run("scan.tif")) << err;
    const std::vector<Page> pages = Load(Path("scan_q.tif"));
    ASSERT_EQ(3u, pages.size());
    for (int i = 0; i < 3; ++i) {
        const Page& page = pages[static_cast<size_t>(i)];
        EXPECT_NEAR(300.0 + 50.0 * i, page.bitmap.width(), 2.0);
        EXPECT_EQ(100.0 + i, page.meta.resolution.x);
        EXPECT_EQ("page " + std::to_string(i + 1), TagText(page, 269));
        EXPECT_EQ("somebody", TagText(page, 315));
    }
}

TEST_F(ToolOutput, PagesChoosesPagesInTheOrderOfTheDocument)
{
    MakeDocument("scan.tif");
    ASSERT_EQ(0, Run("--pages 3,1 scan.tif")) << err;
    const std::vector<Page> pages = Load(Path("scan_q.tif"));
    ASSERT_EQ(2u, pages.size());
    EXPECT_EQ("page 1", TagText(pages[0], 269));
    EXPECT_EQ("page 3", TagText(pages[1], 269));
    EXPECT_EQ(0, Run("--overwrite --pages 2- scan.tif")) << err;
    EXPECT_EQ(2u, Load(Path("scan_q.tif")).size());
    EXPECT_EQ(1, Run("--overwrite --pages 2-5 scan.tif"));
    EXPECT_EQ("quarlo: scan.tif: there is no page 4, but 3 in all (code 25)\n", err);
    EXPECT_EQ(1, Run("--overwrite --pages 9- scan.tif"));
    EXPECT_EQ("quarlo: scan.tif: there is no page 9, but 3 in all (code 25)\n", err);
}

TEST_F(ToolOutput, DocumentBecomesAFileAPageWhereTheFormatHoldsOne)
{
    MakeDocument("scan.tif");
    ASSERT_EQ(0, Run("-f png scan.tif")) << err;
    EXPECT_EQ("scan.tif scan_q-1.png scan_q-2.png scan_q-3.png ", Files());
    EXPECT_NEAR(400.0, Load(Path("scan_q-3.png")).at(0).bitmap.width(), 2.0);
    ASSERT_EQ(0, Run("-O out --name '{stem}.{page}.{ext}' --pages 2- scan.tif")) << err;
    EXPECT_EQ("scan.2.tif scan.3.tif ", Files("out"));
    EXPECT_EQ(1u, Load(Path("out/scan.2.tif")).size());
    EXPECT_EQ(1, Run("-o page.png scan.tif"));
    EXPECT_EQ(
        "quarlo: scan.tif: the format holds one page of the 3; choose TIFF, --pages, or a file a page with -O "
        "(code 32)\n",
        err);
    EXPECT_EQ(0, Run("-o page.png --pages 2 scan.tif")) << err;
}

TEST_F(ToolOutput, DocumentWithAPageThatFailsIsSkippedAsAWhole)
{
    MakeDocument("scan.tif", true);
    EXPECT_EQ(3, Run("--json=r scan.tif"));
    EXPECT_NE(std::string::npos, err.find("quarlo: scan.tif: page 2: ")) << err;
    EXPECT_NE(std::string::npos,
              err.find("quarlo: scan.tif: nothing is written: the document is left out with page 2\n"))
        << err;
    EXPECT_EQ("r scan.tif ", Files());
    const std::string report = ReadAll(Path("r"));
    const json first = json::parse(report.substr(0, report.find('\n')));
    EXPECT_EQ("refused", first["status"]);
    EXPECT_EQ(nullptr, first["out"]);
    EXPECT_FALSE(first["frame"].is_null());
}

TEST_F(ToolOutput, PageThatFailsIsKeptAsItIsWhereCopiesAreAskedFor)
{
    MakeDocument("scan.tif", true);
    EXPECT_EQ(3, Run("--on-fail copy scan.tif")) << err;
    const std::vector<Page> pages = Load(Path("scan_q.tif"));
    ASSERT_EQ(3u, pages.size());
    EXPECT_TRUE(PixelsOf(Load(Path("scan.tif")).at(1).bitmap) == PixelsOf(pages[1].bitmap));
    EXPECT_EQ("page 2", TagText(pages[1], 269));
    EXPECT_NEAR(400.0, pages[2].bitmap.width(), 2.0);
}

TEST_F(ToolOutput, FileAPageLeavesOutOnlyThePageThatFails)
{
    MakeDocument("scan.tif", true);
    EXPECT_EQ(3, Run("-f png scan.tif"));
    EXPECT_EQ("scan.tif scan_q-1.png scan_q-3.png ", Files());
}

/* ---- Streams ---- */

TEST_F(ToolOutput, PipeGivesTheSameBytesAsFiles)
{
    for (const char* name : {"scan.png", "scan.jpg", "scan.tif", "scan.bmp", "scan.pgm"}) {
        Make(name);
        ASSERT_EQ(0, Run(std::string("--overwrite -O out --name page ") + name)) << err;
        EXPECT_EQ(0, Run(std::string("-o - - <") + name));
        EXPECT_EQ("", err);
        EXPECT_TRUE(ReadAll(Path("out/page")) == out) << name;
    }
}

TEST_F(ToolOutput, StandardInputHasANameInFolders)
{
    Make("scan.png");
    EXPECT_EQ(0, Run("-O out - <scan.png")) << err;
    EXPECT_EQ("stdin_q.png ", Files("out"));
}

TEST_F(ToolOutput, NothingIsWrittenToATerminal)
{
    Make("scan.png");
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(0, grantpt(terminal));
    ASSERT_EQ(0, unlockpt(terminal));
    const int other_end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    ASSERT_GE(other_end, 0);
    EXPECT_EQ(2, Wait(Start({"-o", "-", "scan.png"}, -1, other_end)));
    EXPECT_EQ(0, Wait(Start({"--angle", "scan.png"}, -1, other_end)));
    close(other_end);
    close(terminal);
}

/* ---- What may be written ---- */

TEST_F(ToolOutput, ExistingFileIsKeptUnlessToldOtherwise)
{
    Make("scan.png");
    WriteAll(Path("scan_q.png"), "precious");
    EXPECT_EQ(1, Run("scan.png"));
    EXPECT_EQ("quarlo: scan.png: scan_q.png: exists already; --overwrite replaces it, --skip-existing keeps it "
              "(code 31)\n",
              err);
    EXPECT_EQ(0, Run("--skip-existing -v scan.png"));
    EXPECT_EQ("quarlo: scan.png: scan_q.png exists and is left\n", err);
    EXPECT_EQ("precious", ReadAll(Path("scan_q.png")));
    EXPECT_EQ(0, Run("--overwrite scan.png")) << err;
    EXPECT_EQ(1u, Load(Path("scan_q.png")).size());
}

TEST_F(ToolOutput, ExistingReportsAndDrawingsAreKeptToo)
{
    Make("scan.png");
    WriteAll(Path("r"), "precious");
    WriteAll(Path("d.svg"), "precious");
    EXPECT_EQ(1, Run("--json=r scan.png"));
    EXPECT_EQ(1, Run("--overlay d.svg scan.png"));
    EXPECT_EQ("quarlo: d.svg: exists already; --overwrite replaces it, --skip-existing keeps it (code 31)\n", err);
    EXPECT_EQ("d.svg r scan.png ", Files());
    EXPECT_EQ("precious", ReadAll(Path("r")));
    EXPECT_EQ("precious", ReadAll(Path("d.svg")));
    EXPECT_EQ(0, Run("--overwrite --json=r --overlay d.svg scan.png")) << err;
    EXPECT_EQ('{', ReadAll(Path("r"))[0]);
    EXPECT_EQ('<', ReadAll(Path("d.svg"))[0]);
}

TEST_F(ToolOutput, InputIsNeverWrittenTo)
{
    Make("scan.png");
    Make("other.png");
    const std::string content = ReadAll(Path("scan.png"));
    ASSERT_EQ(0, symlink("scan.png", Path("soft.png").c_str()));
    ASSERT_EQ(0, link(Path("scan.png").c_str(), Path("hard.png").c_str()));
    for (const char* arguments :
         {"-o scan.png scan.png", "-o ./scan.png scan.png", "-o soft.png scan.png", "-o hard.png scan.png",
          "-o scan.png soft.png", "--name '{stem}.{ext}' scan.png", "-O . --name scan.png other.png scan.png",
          "-n --json=scan.png scan.png", "--overlay scan.png scan.png"}) {
        EXPECT_EQ(2, Run(std::string("--overwrite ") + arguments)) << arguments;
        EXPECT_NE(std::string::npos, err.find(" is an input, which is not written to; --in-place ")) << err;
        EXPECT_TRUE(content == ReadAll(Path("scan.png"))) << arguments;
    }
    EXPECT_EQ("hard.png other.png scan.png soft.png ", Files());
}

TEST_F(ToolOutput, PageOfADocumentIsNotReplacedByAnotherInputsResult)
{
    MakeDocument("a.tif");
    Make("a-1.tif");
    EXPECT_EQ(1, Run("-q --overwrite -f png -O out --name '{stem}.{ext}' a.tif a-1.tif"));
    EXPECT_EQ("quarlo: a-1.tif: out/a-1.png would be written twice (code 31)\n", err);
    EXPECT_EQ("a-1.png a-2.png a-3.png ", Files("out"));
    EXPECT_NEAR(300.0, Load(Path("out/a-1.png")).at(0).bitmap.width(), 2.0);
}

TEST_F(ToolOutput, FailedPageLeavesTheExistingResultAlone)
{
    const Page nothing = {test::DrawNothing(300, 300, 8), {}, {}};
    Save({&nothing}, Path("scan.png"));
    WriteAll(Path("scan_q.png"), "precious");
    EXPECT_EQ(3, Run("--overwrite scan.png"));
    EXPECT_EQ("precious", ReadAll(Path("scan_q.png")));
}

TEST_F(ToolOutput, NewFileHasTheRightsOfAnyNewFileAndAReplacedOneKeepsIts)
{
    Make("scan.png");
    const mode_t mask = umask(027);
    EXPECT_EQ(0, Run("scan.png")) << err;
    umask(mask);
    EXPECT_EQ(0640u, ModeOf("scan_q.png"));
    ASSERT_EQ(0, chmod(Path("scan_q.png").c_str(), 0604));
    EXPECT_EQ(0, Run("--overwrite scan.png")) << err;
    EXPECT_EQ(0604u, ModeOf("scan_q.png"));
    ASSERT_EQ(0, chmod(Path("scan.png").c_str(), 0640));
    EXPECT_EQ(0, Run("--in-place scan.png")) << err;
    EXPECT_EQ(0640u, ModeOf("scan.png"));
}

TEST_F(ToolOutput, SymbolicLinksAreFollowed)
{
    ASSERT_EQ(0, std::system(("mkdir '" + Path("real") + "'").c_str()));
    Make("real/scan.png");
    WriteAll(Path("real/page.png"), "old");
    ASSERT_EQ(0, symlink("real/scan.png", Path("scan.png").c_str()));
    ASSERT_EQ(0, symlink("real/page.png", Path("page.png").c_str()));
    EXPECT_EQ(0, Run("--overwrite -o page.png scan.png")) << err;
    EXPECT_TRUE(std::filesystem::is_symlink(Path("page.png")));
    EXPECT_EQ(1u, Load(Path("real/page.png")).size());
    EXPECT_EQ(0, Run("--in-place scan.png")) << err;
    EXPECT_TRUE(std::filesystem::is_symlink(Path("scan.png")));
    EXPECT_TRUE(ReadAll(Path("real/page.png")) == ReadAll(Path("real/scan.png")));
    EXPECT_EQ("page.png scan.png ", Files("real"));
}

TEST_F(ToolOutput, InPlaceReplacesTheInputByItsResult)
{
    MakeDocument("scan.tif");
    ASSERT_EQ(0, Run("scan.tif")) << err;
    const std::string result = ReadAll(Path("scan_q.tif"));
    EXPECT_EQ(0, Run("--in-place scan.tif")) << err;
    EXPECT_TRUE(result == ReadAll(Path("scan.tif")));
    EXPECT_EQ("scan.tif scan_q.tif ", Files());
}

TEST_F(ToolOutput, InPlaceLeavesAFileWithoutFrameAlone)
{
    const Page nothing = {test::DrawNothing(300, 300, 8), {}, {}};
    Save({&nothing}, Path("scan.jpg"));
    const std::string content = ReadAll(Path("scan.jpg"));
    struct stat before = {}, after = {};
    ASSERT_EQ(0, stat(Path("scan.jpg").c_str(), &before));
    for (const char* choice : {"skip", "copy", "stop"})
        EXPECT_EQ(3, Run(std::string("--in-place --on-fail ") + choice + " scan.jpg"));
    ASSERT_EQ(0, stat(Path("scan.jpg").c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_TRUE(content == ReadAll(Path("scan.jpg")));
}

TEST_F(ToolOutput, InPlaceGoesByTheContentNotTheName)
{
    Make("scan.png");
    ASSERT_EQ(0, std::rename(Path("scan.png").c_str(), Path("scan.tif").c_str()));
    const std::string content = ReadAll(Path("scan.tif"));
    EXPECT_EQ(1, Run("--in-place -f tiff scan.tif"));
    EXPECT_EQ("quarlo: scan.tif: --in-place cannot change the format (code 1)\n", err);
    EXPECT_TRUE(content == ReadAll(Path("scan.tif")));
    EXPECT_EQ(0, Run("--in-place scan.tif")) << err;
    EXPECT_EQ(quarlo::Format::png, Load(Path("scan.tif")).at(0).meta.format);
}

TEST_F(ToolOutput, OnlyOrdinaryFilesAreReplaced)
{
    Make("scan.png");
    ASSERT_EQ(0, mkfifo(Path("fifo.png").c_str(), 0600));
    ASSERT_EQ(0, mkdir(Path("scan_q.png").c_str(), 0700));
    const std::string words = ": cannot be written: the target is no ordinary file and is not replaced (code 30)\n";
    for (const char* more : {"", " --overwrite", " --skip-existing"}) {
        EXPECT_EQ(1, Run(std::string("scan.png") + more));
        EXPECT_EQ("quarlo: scan_q.png" + words, err);
        EXPECT_EQ(1, Run(std::string("-o fifo.png scan.png") + more));
        EXPECT_EQ("quarlo: fifo.png" + words, err);
        EXPECT_EQ(1, Run(std::string("-o /dev/null scan.png") + more));
        EXPECT_EQ("quarlo: /dev/null" + words, err);
    }
    EXPECT_EQ(1, Run("--overwrite -n --json=scan_q.png scan.png"));
    EXPECT_EQ("quarlo: scan_q.png" + words, err);
    EXPECT_EQ(1, Run("--overwrite -n --overlay fifo.png scan.png"));
    EXPECT_EQ("quarlo: fifo.png" + words, err);
    struct stat status = {};
    ASSERT_EQ(0, stat("/dev/null", &status));
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ("fifo.png scan.png scan_q.png ", Files());
}

/* ---- What goes wrong ---- */

TEST_F(ToolOutput, UnreadableFileAmongTenGivesExit1AndNineResults)
{
    std::string names, results;
    for (int i = 0; i < 10; ++i) {
        const std::string stem = "s" + std::to_string(i);
        names += " " + stem + ".png";
        if (i == 4) continue;
        Make(stem + ".png");
        results += stem + "_q.png ";
    }
    WriteAll(Path("s4.png"), "no picture");
    EXPECT_EQ(1, Run("-O out" + names));
    EXPECT_EQ(0u, err.find("quarlo: s4.png: ")) << err;
    EXPECT_EQ(results, Files("out"));
    EXPECT_EQ(1, Run("-O fast --fail-fast" + names));
    EXPECT_EQ("s0_q.png s1_q.png s2_q.png s3_q.png ", Files("fast"));
}

TEST_F(ToolOutput, FailureWinsOverAPageWithoutFrame)
{
    const Page nothing = {test::DrawNothing(300, 300, 8), {}, {}};
    Save({&nothing}, Path("blank.png"));
    Make("scan.png");
    EXPECT_EQ(1, Run("-O a blank.png missing.png scan.png"));
    EXPECT_EQ("scan_q.png ", Files("a"));
    EXPECT_EQ(3, Run("-O b blank.png scan.png"));
    EXPECT_EQ(3, Run("-O c --on-fail stop blank.png scan.png"));
    EXPECT_EQ("", Files("c"));
}

TEST_F(ToolOutput, DamagedFileIsNamedWithPageAndCause)
{
    MakeDocument("scan.tif");
    std::string content = ReadAll(Path("scan.tif"));
    Make("scan.png");
    WriteAll(Path("short.png"), ReadAll(Path("scan.png")).substr(0, 600));
    EXPECT_EQ(1, Run("short.png"));
    EXPECT_EQ("quarlo: short.png: page 1: the file is cut short (code 22)\n", err);
    WriteAll(Path("short.tif"), content.substr(0, content.size() / 2));
    EXPECT_EQ(1, Run("short.tif"));
    EXPECT_EQ(0u, err.find("quarlo: short.tif: ")) << err;
    EXPECT_EQ(1, Run("missing.png"));
    EXPECT_EQ(0u, err.find("quarlo: missing.png: ")) << err;
    EXPECT_NE(std::string::npos, err.find("No such file or directory (code 20)")) << err;
    EXPECT_EQ(1, Run("."));
    EXPECT_EQ(0u, err.find("quarlo: .: ")) << err;
    EXPECT_EQ("scan.png scan.tif short.png short.tif ", Files());
}

TEST_F(ToolOutput, DamagedPageOfADocumentIsNamedAndLeavesItOut)
{
    MakeDocument("scan.tif");
    ASSERT_EQ(0, Run("--compress deflate --no-crop scan.tif")) << err;
    std::string content = ReadAll(Path("scan_q.tif"));
    for (size_t k = content.size() / 2; k < content.size() / 2 + 200; ++k)
        content[k] = static_cast<char>(~content[k]);
    WriteAll(Path("broken.tif"), content);
    EXPECT_EQ(1, Run("--on-fail copy broken.tif"));
    EXPECT_TRUE(std::regex_match(err, std::regex("quarlo: broken.tif: page 2: .+ \\(code 22\\)\n"
                                                 "quarlo: broken.tif: nothing is written: the document is left out "
                                                 "with page 2\n")))
        << err;
    EXPECT_EQ("broken.tif scan.tif scan_q.tif ", Files());
    EXPECT_EQ(1, Run("-f png broken.tif"));
    EXPECT_EQ("broken.tif broken_q-1.png broken_q-3.png scan.tif scan_q.tif ", Files());
}

TEST_F(ToolOutput, FolderThatCannotBeMadeGivesExit1)
{
    Make("scan.png");
    WriteAll(Path("file"), "");
    EXPECT_EQ(1, Run("-O file/sub scan.png"));
    EXPECT_EQ("quarlo: file/sub: cannot be written: Not a directory (code 30)\n", err);
    EXPECT_EQ(1, Run("-o no/such/page.png scan.png"));
    EXPECT_EQ(0u, err.find("quarlo: no/such/page.png: page 1: ")) << err;
    EXPECT_EQ("file scan.png ", Files());
}

/* ---- Resolution ---- */

struct Kind {
    const char* name;
    double relative_error; /* of what the format rounds a resolution to */
};

TEST_F(ToolOutput, ResolutionSurvivesEveryPairOfFormatsThatCanHoldIt)
{
    /* Per metre in BMP and PNG, whole numbers in JPEG. */
    const Kind kinds[] = {{"a.bmp", 1e-4}, {"a.png", 1e-4}, {"a.jpg", 0.005}, {"a.tif", 1e-6}};
    const Resolution told[] = {{300.0, 300.0, Resolution::Unit::inch},
                               {204.0, 196.0, Resolution::Unit::inch},
                               {118.0, 118.0, Resolution::Unit::centimetre}};
    for (const Resolution& resolution : told) {
        Page scan = test::PageOf({});
        scan.meta.resolution = resolution;
        for (const Kind& from : kinds) {
            Save({&scan}, Path(from.name));
            for (const Kind& to : kinds) {
                const std::string name = std::string("out") + (to.name + 1);
                ASSERT_EQ(0, Run("--overwrite -o " + name + " " + from.name)) << err;
                const Resolution kept = Load(Path(name)).at(0).meta.resolution;
                const double error = from.relative_error + to.relative_error;
                EXPECT_NEAR(1.0, kept.dpi_x() / resolution.dpi_x(), error) << from.name << to.name;
                EXPECT_NEAR(1.0, kept.dpi_y() / resolution.dpi_y(), error) << from.name << to.name;
            }
        }
    }
}

TEST_F(ToolOutput, ResolutionPerCentimetreStaysPerCentimetre)
{
    Page scan = test::PageOf({});
    scan.meta.resolution = {118.0, 118.0, Resolution::Unit::centimetre};
    for (const char* name : {"a.jpg", "a.tif"}) {
        Save({&scan}, Path(name));
        for (const char* to : {"out.jpg", "out.tif"}) {
            ASSERT_EQ(0, Run(std::string("--overwrite -o ") + to + " " + name)) << err;
            const Resolution kept = Load(Path(to)).at(0).meta.resolution;
            EXPECT_EQ(Resolution::Unit::centimetre, kept.unit) << name << to;
            EXPECT_EQ(118.0, kept.x) << name << to;
        }
    }
}

} // namespace
