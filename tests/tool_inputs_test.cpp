/*
 * tool_inputs_test.cpp - lists, folders, parts and limits, as a user gives them.
 */
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "support/ToolTest.h"

using test::Exists;
using test::ReadAll;
using test::SmallSheet;
using test::WriteAll;

namespace
{

class ToolInputs : public test::ToolTest
{
protected:
    void Folder(const std::string& name) const { std::filesystem::create_directories(Path(name)); }
    void MakeAll(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            Folder(std::filesystem::path(name).parent_path().string());
            Make(name, SmallSheet());
        }
    }
    /* The names of files, each after a line end. */
    std::string Names(const std::string& subfolder) const
    {
        std::string names;
        for (const auto& [name, content] : Tree(subfolder))
            if (!content.empty()) names += "\n" + name;
        return names;
    }
};

/* ---- Lists ---- */

TEST_F(ToolInputs, ListGivesMoreInputsAfterThoseThatAreNamed)
{
    MakeAll({"a.png", "b.png", "c.png"});
    WriteAll(Path("list"), "b.png\r\n\r\n\na.png");
    EXPECT_EQ(0, Run("--angle --files-from list c.png"));
    EXPECT_EQ("c.png\t0.735\nb.png\t0.735\na.png\t0.735\n", out);
    EXPECT_EQ(0, Run("--angle --files-from - c.png <list"));
    EXPECT_EQ("c.png\t0.735\nb.png\t0.735\na.png\t0.735\n", out);
    EXPECT_EQ(0, Run("--angle --files-from /dev/stdin <list"));
    EXPECT_EQ("b.png\t0.735\na.png\t0.735\n", out);
}

TEST_F(ToolInputs, NamesThatEndInNulMayHoldLineEnds)
{
    MakeAll({"a\nb.png", "-"
                         ".png"});
    std::filesystem::rename(Path("-.png"), Path("-"));
    WriteAll(Path("list"), std::string("a\nb.png\0-\0", 10));
    EXPECT_EQ(0, Run("--angle -0 --files-from list"));
    EXPECT_EQ("a?b.png\t0.735\n./-\t0.735\n", out);
    EXPECT_EQ(0, Run("--angle -0 --files-from - <list"));
    EXPECT_EQ("a?b.png\t0.735\n./-\t0.735\n", out);
}

TEST_F(ToolInputs, ListThatCannotBeReadEndsTheCall)
{
    MakeAll({"a.png"});
    EXPECT_EQ(1, Run("--files-from missing a.png"));
    EXPECT_EQ("quarlo: missing: cannot be read: No such file or directory (code 20)\n", err);
    EXPECT_EQ(1, Run("--files-from . a.png"));
    EXPECT_EQ("a.png ", Files());
}

TEST_F(ToolInputs, ListOfNulsWithoutItsOptionEndsTheCall)
{
    MakeAll({"a.png", "b.png"});
    WriteAll(Path("list"), std::string("a.png\0b.png\0", 12));
    EXPECT_EQ(2, Run("-n --overlay . --files-from - <list"));
    EXPECT_EQ("quarlo: the list holds NUL characters; -0 reads such a one\nquarlo --help tells the usage\n", err);
    EXPECT_EQ("a.png b.png list ", Files());
}

TEST_F(ToolInputs, ControlCharactersInNamesDoNotReachTheTerminal)
{
    EXPECT_EQ(1, Run("-n 'a\033[31m\nb.png'"));
    EXPECT_EQ("quarlo: a?[31m?b.png: cannot be read: No such file or directory (code 20)\n", err);
}

TEST_F(ToolInputs, SmallDrawingsInTheSearchedFolderAreNoScans)
{
    MakeAll({"in/a.png"});
    EXPECT_EQ(0, Run("-n -r --overlay in in"));
    EXPECT_EQ(0, Run("-n -r --overwrite --overlay in in"));
    EXPECT_EQ("a.png a.svg index.html thumbnails ", Files("in"));
    EXPECT_EQ("a.png ", Files("in/thumbnails"));
}

TEST_F(ToolInputs, EmptyListIsNothingToDo)
{
    WriteAll(Path("list"), "\n");
    EXPECT_EQ(0, Run("-O out --files-from list"));
    EXPECT_EQ("quarlo: there is no picture to work on\n", out + err);
    EXPECT_EQ(0, Run("-q --files-from - </dev/null"));
    EXPECT_EQ("", out + err);
    EXPECT_EQ("list out ", Files());
    EXPECT_EQ("", Files("out"));
}

TEST_F(ToolInputs, WhatCannotBeMeantIsWrongUsage)
{
    MakeAll({"a.png"});
    WriteAll(Path("list"), "a.png\n");
    const auto expect_usage = [this](const std::string& arguments, const std::string& complaint) {
        EXPECT_EQ(2, Run(arguments + " </dev/null")) << arguments;
        EXPECT_EQ("quarlo: " + complaint + "\nquarlo --help tells the usage\n", err) << arguments;
    };
    expect_usage("-0 a.png", "-0 is about --files-from");
    expect_usage("-O out --files-from - -", "standard input can be read once only");
    expect_usage("-O out --files-from /dev/stdin /dev/stdin", "standard input can be read once only");
    expect_usage("-o page.png --files-from list a.png", "-o takes a single input; use -O for several");
    expect_usage("--files-from list a.png", "a_q.png would be written twice");
    EXPECT_EQ(2, Run("--files-from ''"));
    for (const char* shard :
         {"0/2", "3/2", "-1/2", "1/0", "1", "1/", "/2", "1/2/3", "a/b", "1.5/2", "", "1/99999999999"})
        EXPECT_EQ(2, Run("-n --shard '" + std::string(shard) + "' a.png")) << shard;
    for (const char* pixels : {"0", "-1", "1.5M", "1G", "M", "", "0k", "99999999999999999999", "2000000M", "1 M"})
        EXPECT_EQ(2, Run("-n --max-pixels '" + std::string(pixels) + "' a.png")) << pixels;
    EXPECT_EQ("a.png list ", Files());
}

/* ---- Folders ---- */

TEST_F(ToolInputs, FoldersAreMirroredUnderResultsAndDrawings)
{
    MakeAll({"in/a.png", "in/x/a.png", "in/x/y/b.bmp", "in/.hidden.png"});
    WriteAll(Path("in/x/notes.txt"), "no picture");
    const std::string command = "-r -j 3 -O in/out --overlay in/x/check --json=report in";
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(0, Run(command + (round > 0 ? " --overwrite" : ""))) << err;
        EXPECT_EQ("\na_q.png\nx/a_q.png\nx/y/b_q.bmp", Names("in/out"));
        EXPECT_EQ(
            "\na.svg\nindex.html\nthumbnails/a.png\nthumbnails/x/a.png\nthumbnails/x/y/b.png\nx/a.svg\nx/y/b.svg",
            Names("in/x/check"));
        EXPECT_NE(std::string::npos,
                  ReadAll(Path("report")).find("\"summary\":{\"files\":3,\"pages\":3,\"ok\":3,"));
    }
}

TEST_F(ToolInputs, SameCallAgainFindsTheSameInputsBesideTheirResults)
{
    MakeAll({"in/a.png", "in/x/b.bmp"});
    MakeDocument("in/c.tif", {SmallSheet(1), SmallSheet(2)});
    for (const char* name : {"", "--name '{stem} {page}.{ext}' ", "--name '{stem}-{stem}2.{ext}' "}) {
        const std::string command = "-r -f png " + std::string(name) + "--skip-existing --json=report in";
        ASSERT_EQ(0, Run(command)) << err;
        const auto files = Tree("in");
        const std::string report = Report("report");
        EXPECT_EQ(0, Run(command)) << err;
        EXPECT_TRUE(files == Tree("in")) << name;
        EXPECT_EQ(report, Report("report")) << name;
        for (const auto& [file, content] : files)
            if (file != "a.png" && file != "x" && file != "x/b.bmp" && file != "c.tif")
                std::filesystem::remove(Path("in/" + file));
        Remove({"report"});
    }
}

TEST_F(ToolInputs, FileThatIsNamedIsTakenWhateverItsExtension)
{
    MakeAll({"a.png"});
    std::filesystem::rename(Path("a.png"), Path("a.dat"));
    EXPECT_EQ(0, Run("-r -o page.png a.dat")) << err;
    EXPECT_TRUE(Exists(Path("page.png")));
}

TEST_F(ToolInputs, FolderWithoutRecursionIsAnErrorOfThatInput)
{
    MakeAll({"in/a.png", "b.png"});
    EXPECT_EQ(1, Run("-O out in b.png"));
    EXPECT_EQ("quarlo: in: cannot be read: it is a folder; -r takes the pictures in it (code 20)\n", err);
    EXPECT_EQ("b_q.png ", Files("out"));
}

TEST_F(ToolInputs, FolderThatCannotBeReadIsAnErrorOfItsOwn)
{
    MakeAll({"in/a.png", "in/locked/b.png"});
    ASSERT_EQ(0, chmod(Path("in/locked").c_str(), 0));
    /* The superuser may read everything, unless these rights are taken away. */
    const std::string rights = "-dac_override,-dac_read_search";
    const std::string bound =
        geteuid() == 0 ? "setpriv --bounding-set=" + rights + " --inh-caps=" + rights + " " : "";
    EXPECT_EQ(1, Run("--version >/dev/null; " + bound + "'" QUARLO_TOOL "' -n -r in"));
    EXPECT_EQ("quarlo: in/locked: cannot be read: Permission denied (code 20)\n", err);
    ASSERT_EQ(0, chmod(Path("in/locked").c_str(), 0700));
}

TEST_F(ToolInputs, NamesOfAnyBytesAreKept)
{
    const std::string names[] = {"new\nline", "q'uo\"te",  "bad\xff\xfe",
                                 "#%?&<>",    "tab\there", std::string(240, 'l')};
    for (const std::string& name : names) MakeAll({"in/" + name + ".png"});
    EXPECT_EQ(0, Run("-r -j 3 -O out --overlay check --json=report in")) << err;
    for (const std::string& name : names) {
        EXPECT_TRUE(Exists(Path("out/" + name + "_q.png"))) << name;
        EXPECT_TRUE(Exists(Path("check/" + name + ".svg"))) << name;
    }
    const std::string report = Report("report");
    EXPECT_EQ(0, Run("-r -j 3 -O out --skip-existing --overlay check --json=report in")) << err;
    EXPECT_EQ(report, Report("report"));
}

/* ---- Parts ---- */

TEST_F(ToolInputs, PartsTogetherAreTheWhole)
{
    std::vector<std::string> names;
    for (int i = 0; i < 5; ++i) names.push_back("in/" + std::to_string(i) + ".png");
    MakeAll(names);
    ASSERT_EQ(0, Run("-r -O whole --json=report in")) << err;
    const auto whole = Tree("whole");
    const auto pages = [this](const std::string& name) {
        const std::string report = Report(name);
        return report.substr(0, report.rfind("{\"v\""));
    };
    std::string report = pages("report");
    for (size_t at = report.find("whole/"); at != std::string::npos; at = report.find("whole/", at))
        report.replace(at, 6, "parts/");
    for (const int count : {1, 2, 3, 5, 7}) {
        std::string told;
        for (int number = 1; number <= count; ++number) {
            const std::string shard = std::to_string(number) + "/" + std::to_string(count);
            EXPECT_EQ(0, Run("-r -O parts --json=part --shard " + shard + " in")) << err;
            told += pages("part");
            Remove({"part"});
        }
        EXPECT_EQ(report, told) << count;
        EXPECT_TRUE(whole == Tree("parts")) << count;
        Remove({"parts"});
    }
}

TEST_F(ToolInputs, InputOfAnotherPartIsNotWrittenTo)
{
    MakeAll({"a.png", "b.png"});
    std::filesystem::rename(Path("b.png"), Path("a_q.png"));
    const std::string content = ReadAll(Path("a_q.png"));
    for (const char* shard : {"1/2", "2/2"}) {
        EXPECT_EQ(2, Run("--overwrite --shard " + std::string(shard) + " a.png a_q.png"));
        EXPECT_EQ("quarlo: a_q.png is an input, which is not written to; --in-place replaces inputs\n"
                  "quarlo --help tells the usage\n",
                  err);
    }
    /* That a document has pages is seen on the way. */
    MakeDocument("d.tif", {SmallSheet(), SmallSheet()});
    std::filesystem::rename(Path("a.png"), Path("d_q-1.png"));
    const std::string page = ReadAll(Path("d_q-1.png"));
    EXPECT_EQ(1, Run("--overwrite -f png --shard 1/2 d.tif d_q-1.png"));
    EXPECT_TRUE(page == ReadAll(Path("d_q-1.png")));
    EXPECT_TRUE(content == ReadAll(Path("a_q.png")));
}

/* ---- Limits ---- */

std::string Big(int bytes, unsigned value)
{
    std::string text;
    for (int k = bytes - 1; k >= 0; --k) text += static_cast<char>(value >> (8 * k) & 0xFF);
    return text;
}

std::string Little(int bytes, unsigned value)
{
    std::string text = Big(bytes, value);
    return {text.rbegin(), text.rend()};
}

/* One entry of a TIFF directory, its value in place. */
std::string Entry(unsigned tag, unsigned value)
{
    return Little(2, tag) + Little(2, 4) + Little(4, 1) + Little(4, value);
}

TEST_F(ToolInputs, HeaderThatClaimsTooManyPixelsIsRefusedBeforeAnythingIsDecoded)
{
    constexpr unsigned kSide = 30000;
    WriteAll(Path("p.pgm"), "P5\n30000 30000\n255\nxx");
    WriteAll(Path("b.bmp"), "BM" + Little(4, 60) + Little(4, 0) + Little(4, 54) + Little(4, 40) + Little(4, kSide) +
                                Little(4, kSide) + Little(2, 1) + Little(2, 24) + std::string(24, '\0') + "xx");
    WriteAll(Path("t.tif"), "II" + Little(2, 42) + Little(4, 8) + Little(2, 8) + Entry(256, kSide) +
                                Entry(257, kSide) + Entry(258, 8) + Entry(259, 1) + Entry(262, 1) + Entry(273, 4) +
                                Entry(278, kSide) + Entry(279, 2) + Little(4, 0));
    const std::string frame = Big(2, 0xFFC0) + Big(2, 11) + Big(1, 8) + Big(2, kSide) + Big(2, kSide) + Big(1, 1) +
                              Big(1, 1) + Big(1, 0x11) + Big(1, 0);
    WriteAll(Path("j.jpg"), Big(2, 0xFFD8) + Big(2, 0xFFDB) + Big(2, 67) + std::string(1, '\0') +
                                std::string(64, '\1') + frame + Big(2, 0xFFDA) + Big(2, 8) + Big(1, 1) + Big(1, 1) +
                                Big(1, 0) + Big(1, 0) + Big(1, 63) + Big(1, 0) + "xx");
    Make("n.png", SmallSheet());
    std::string png = ReadAll(Path("n.png"));
    /* Size and checksum of the header. */
    png.replace(16, 8, Big(4, kSide) + Big(4, kSide));
    unsigned sum = 0xFFFFFFFF;
    for (size_t i = 12; i < 29; ++i) {
        sum ^= static_cast<unsigned char>(png[i]);
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320 : 0);
    }
    png.replace(29, 4, Big(4, ~sum));
    WriteAll(Path("n.png"), png);
    for (const char* name : {"p.pgm", "b.bmp", "t.tif", "j.jpg", "n.png"}) {
        EXPECT_EQ(1, Run("-n --max-pixels 899999999 " + std::string(name))) << name;
        EXPECT_NE(std::string::npos, err.find("30000 x 30000")) << err;
        EXPECT_NE(std::string::npos, err.find("(code 24)")) << err;
    }
}

TEST_F(ToolInputs, PictureOfAsManyPixelsAsAreAllowedIsTaken)
{
    for (const char* name : {"a.png", "a.tif", "a.bmp", "a.pgm", "a.jpg"}) {
        Make(name, SmallSheet());
        EXPECT_EQ(0, Run("-n --max-pixels 90000 " + std::string(name))) << err;
        EXPECT_EQ(0, Run("-n --max-pixels 90k " + std::string(name))) << err;
        EXPECT_EQ(0, Run("-n --max-pixels 200M " + std::string(name))) << err;
        EXPECT_EQ(1, Run("-n --max-pixels 89999 " + std::string(name)));
        EXPECT_NE(std::string::npos, err.find("(code 24)")) << err;
    }
}

} // namespace
