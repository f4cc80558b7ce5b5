/*
 * tool_options_test.cpp - the command line: help, version, codes, and what is wrong usage.
 */
#include <regex>
#include <sstream>

#include "support/ToolTest.h"

using test::WriteAll;

namespace
{

class ToolOptions : public test::ToolTest
{
protected:
    /* Refused as a whole: nothing is begun, and the message names the cause. */
    void ExpectUsage(const std::string& arguments, const std::string& words)
    {
        const std::string before = Files();
        EXPECT_EQ(2, Run(arguments)) << arguments;
        EXPECT_EQ("quarlo: " + words + "\nquarlo --help tells the usage\n", err) << arguments;
        EXPECT_EQ("", out) << arguments;
        EXPECT_EQ(before, Files()) << arguments;
    }
};

TEST_F(ToolOptions, HelpNamesEveryOptionWithin100Columns)
{
    EXPECT_EQ(0, Run("--help"));
    EXPECT_EQ("", err);
    for (const char* name :
         {"-o, --output",    "-O, --output-dir",  "--name",          "-f, --format",    "--overwrite",
          "--skip-existing", "--in-place",        "--compress",      "--quality",       "--pages",
          "--ground",        "-t, --threshold",   "-a, --max-angle", "-l, --min-angle", "--min-area",
          "--on-fail",       "-i, --interpolate", "--fill",          "--margin",        "--size",
          "--rotate",        "--depth",           "--smooth",        "--no-crop",       "--no-deskew",
          "-n, --dry-run",   "--angle",           "--json[=FILE]",   "--overlay",       "--apply",
          "--fail-fast",     "-q, --quiet",       "-v, --verbose",   "--explain",       "-h, --help",
          "-V, --version",   "-r, --recursive",   "--files-from",    "-0, --null",      "--shard",
          "-j, --jobs",      "--max-pixels",      "--progress"})
        EXPECT_NE(std::string::npos, out.find("\n  " + std::string(name) + " ")) << name;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100u) << line;
    EXPECT_NE(std::string::npos, out.find("\nExit codes: 0 all pages done; 1 ")) << out;
    EXPECT_NE(std::string::npos, out.find("\nExamples:\n")) << out;
    const std::string help = out;
    EXPECT_EQ(0, Run("-h"));
    EXPECT_EQ(help, out);
}

TEST_F(ToolOptions, VersionIsThatOfTheProject)
{
    EXPECT_EQ(0, Run("-V"));
    EXPECT_EQ("quarlo " QUARLO_VERSION "\n", out);
    EXPECT_EQ(0, Run("--version"));
    EXPECT_EQ("quarlo " QUARLO_VERSION "\n", out);
}

TEST_F(ToolOptions, ExplainTellsWhatACodeMeans)
{
    for (const int code : quarlo::AllCodes()) {
        EXPECT_EQ(0, Run("--explain " + std::to_string(code)));
        EXPECT_EQ(std::to_string(code) + ": " + std::string(quarlo::Explain(code)) + "\n", out);
    }
    std::string codes;
    for (const int code : quarlo::AllCodes()) codes += " " + std::to_string(code);
    ExpectUsage("--explain 999", "999 is no code; the codes are" + codes);
    ExpectUsage("--explain nine", "--explain: \"nine\" is no whole number from 0 to 999");
    ExpectUsage("--explain 1.5", "--explain: \"1.5\" is no whole number from 0 to 999");
}

TEST_F(ToolOptions, ValueOfAFlagIsWrongUsage)
{
    Make("scan.png");
    const std::string scan = test::ReadAll(Path("scan.png"));
    for (const char* value : {"", "no", "yes", "0", "-1", "maybe"}) {
        ExpectUsage("--in-place=" + std::string(value) + " scan.png", "--in-place takes no value");
        ExpectUsage("--dry-run=" + std::string(value) + " scan.png", "--dry-run takes no value");
    }
    EXPECT_TRUE(scan == test::ReadAll(Path("scan.png")));
    EXPECT_EQ(0, Run("-o out.png -- scan.png"));
}

TEST_F(ToolOptions, WrongValuesAreWrongUsage)
{
    Make("scan.png");
    for (const char* bad : {"-t 0",
                            "-t 256",
                            "-t ten",
                            "-i bilinear",
                            "--ground grey",
                            "--rotate 45",
                            "--depth 16",
                            "-a 0",
                            "-a x",
                            "-l -1",
                            "--min-area 25",
                            "--on-fail ignore",
                            "--fill grey",
                            "--margin 2",
                            "--size a4x",
                            "--compress zip",
                            "--quality 0",
                            "--quality 101",
                            "--pages 0",
                            "--pages 3-1",
                            "-f gif",
                            "--name 'x/{stem}'",
                            "--name '{base}'",
                            "--no-such-option",
                            "-o",
                            "--explain"}) {
        EXPECT_EQ(2, Run(std::string("scan.png ") + bad)) << bad;
        EXPECT_TRUE(std::regex_search(err, std::regex("^quarlo: .+\nquarlo --help tells the usage\n$"))) << err;
    }
    EXPECT_EQ("scan.png ", Files());
    ExpectUsage("scan.png --ground grey", "--ground: \"grey\" is none of dark|light|auto");
}

TEST_F(ToolOptions, WordsMayHaveLargeLetters)
{
    Make("scan.png");
    EXPECT_EQ(0,
              Run("--ground AUTO -i Cubic --fill White --size A4 -f PNG --compress Same --on-fail Copy scan.png"))
        << err;
}

TEST_F(ToolOptions, OptionsThatExcludeEachOtherAreWrongUsage)
{
    Make("a.png");
    Make("b.png");
    ExpectUsage("", "no input is given");
    ExpectUsage("-o c.png a.png b.png", "-o takes a single input; use -O for several");
    ExpectUsage("-o c.png -O out a.png", "-o and -O exclude each other");
    ExpectUsage("-o c.png --name x.png a.png", "-o and --name exclude each other");
    ExpectUsage("--overwrite --skip-existing a.png", "--overwrite and --skip-existing exclude each other");
    for (const char* search : {"--ground auto", "-t auto", "-t 90"})
        ExpectUsage(std::string("--apply r a.png ") + search,
                    "--apply does not search: it excludes --ground and -t");
    ExpectUsage("-q -v a.png", "-q and -v exclude each other");
    ExpectUsage("--in-place -O out a.png", "--in-place excludes -o, -O and --name");
    ExpectUsage("--in-place --overwrite a.png", "--in-place excludes --overwrite and --skip-existing");
    ExpectUsage("--in-place --pages 1 a.png", "--in-place with --pages would lose the other pages");
    ExpectUsage("--in-place -f tiff a.png", "a.png: --in-place cannot change the format");
    ExpectUsage("--in-place - <a.png", "--in-place cannot replace standard input");
    ExpectUsage("-O out - - <a.png", "standard input can be read once only");
    ExpectUsage("- <a.png", "the page from standard input needs -o or -O");
    ExpectUsage("-o . a.png", ". is a folder; use -O for it");
    ExpectUsage("-O a.png b.png", "a.png is no folder");
    ExpectUsage("--overlay d.svg a.png b.png",
                "d.svg holds the drawing of one page; give a folder for several inputs, such as d.svg/");
}

TEST_F(ToolOptions, NamesThatSayNothingAreWrongUsage)
{
    Make("a.png");
    WriteAll(Path("file"), "");
    WriteAll(Path("file.jpg"), "");
    const std::string known =
        ": the extension is none of bmp dib png jpg jpeg jpe tif tiff pbm pgm ppm pnm; -f tells "
        "the format";
    ExpectUsage("-o page.gif a.png", "page.gif" + known);
    ExpectUsage("-n -o page.v2 a.png", "page.v2" + known);
    ExpectUsage("-o newd/ a.png", "newd/ ends in /: -O takes a folder");
    ExpectUsage("--name '' a.png", "--name: the value is empty");
    ExpectUsage("'' a.png", "the name of an input is empty");
    for (const std::string name : {"one.jpg", "file.jpg", "check.v2"})
        ExpectUsage("-n --overlay " + name + " a.png",
                    name + ": a drawing is .svg or .png, a folder of them is given as " + name + "/");
    ExpectUsage("-n --overlay file a.png", "file is no folder for drawings");
    ExpectUsage("-n --overlay - a.png", "drawings are not written to standard output");
    EXPECT_EQ(0, Run("-n --overlay check.v2/ a.png")) << err;
    EXPECT_EQ(0, Run("-n --overwrite --overlay check.v2 a.png")) << err;
    EXPECT_EQ("a.svg index.html thumbnails ", Files("check.v2"));
    EXPECT_EQ(0, Run("-f png -o page.gif a.png")) << err;
    EXPECT_EQ(0, Run("-o page. a.png")) << err;
}

TEST_F(ToolOptions, EveryExtensionThatIsToldIsKnown)
{
    Make("a.png");
    ASSERT_EQ(2, Run("-o page.gif a.png"));
    const size_t begin = err.find("none of ") + 8;
    std::istringstream list(err.substr(begin, err.find(';') - begin));
    int count = 0;
    for (std::string extension; list >> extension; ++count)
        EXPECT_NE(quarlo::Format::unknown, quarlo::FormatOfName("." + extension)) << extension;
    EXPECT_EQ(12, count);
}

TEST_F(ToolOptions, NameThatBeginsWithADashNeedsHelp)
{
    Make("-dash.png");
    ExpectUsage("-dash.png", "The following argument was not expected: -dash.png; names that begin with a dash: "
                             "after -- or as ./-name");
    EXPECT_EQ(0, Run("-- -dash.png")) << err;
    EXPECT_EQ(0, Run("-n ./-dash.png")) << err;
    EXPECT_EQ("-dash.png -dash_q.png ", Files());
}

TEST_F(ToolOptions, CompressionThatTheFormatNeverHasIsWrongUsage)
{
    Make("a.png");
    ExpectUsage("--compress lzw -f png a.png", "png files cannot be compressed with LZW");
    ExpectUsage("--compress g4 -o page.jpg a.png", "jpeg files cannot be compressed with G4");
    ExpectUsage("--compress deflate --name page.bmp a.png", "bmp files cannot be compressed with Deflate");
    EXPECT_EQ(0, Run("--compress lzw -o page.tif a.png")) << err;
    EXPECT_EQ(0, Run("--compress deflate -o page.png a.png")) << err;
    /* The format is that of the input, whose name may say anything. */
    EXPECT_EQ(1, Run("--compress lzw a.png"));
}

TEST_F(ToolOptions, OnlyOneThingMayHaveStandardOutput)
{
    Make("a.png");
    const std::string words = "only one of -o -, --json and --angle can have standard output; use --json=FILE";
    ExpectUsage("-o - --json a.png", words);
    ExpectUsage("-o /dev/stdout --json a.png", words);
    ExpectUsage("--angle --json a.png", words);
    EXPECT_EQ(0, Run("-n -o - --json a.png")) << err;
}

TEST_F(ToolOptions, TwoInputsWithTheSameResultAreRefusedBeforeAnythingIsDone)
{
    Make("scan.png");
    Make("scan.bmp");
    ExpectUsage("-O out -f png scan.png scan.bmp", "out/scan_q.png would be written twice");
    ExpectUsage("scan.png scan.png", "scan_q.png would be written twice");
    ExpectUsage("scan.png ./scan.png", "./scan_q.png would be written twice");
    ExpectUsage("--in-place scan.png ./scan.png", "./scan.png would be written twice");
    ExpectUsage("--name page.png scan.png scan.bmp", "page.png would be written twice");
    ExpectUsage("--json=page.png -o page.png scan.png", "page.png would be written twice");
    EXPECT_EQ(0, Run("--name '{stem}-{ext}.{ext}' scan.png scan.bmp")) << err;
}

TEST_F(ToolOptions, JsonTakesAFileOnlyAfterAnEqualsSign)
{
    Make("scan.png");
    EXPECT_EQ(0, Run("-n --json scan.png")) << err;
    EXPECT_EQ('{', out[0]);
    EXPECT_EQ(0, Run("-n --json=report.jsonl scan.png")) << err;
    EXPECT_EQ("", out);
    EXPECT_EQ("report.jsonl scan.png ", Files());
}

} // namespace
